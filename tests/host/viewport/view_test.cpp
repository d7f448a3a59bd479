#include <cmath>

#include "viewport_fixture.h"

using namespace vptest;

namespace {

float DistanceToRay(const Ray& r, const Point3& p) {
    Point3 d = p - r.p;
    return Length(d - r.dir * (d % r.dir));
}

}  // namespace

TEST_F(ViewportTest, ProjectionRoundTripsInEveryStandardView) {
    ViewExp vpt;
    vpt.host_SetSize(320, 240);
    const Point3 probes[] = {Point3(0, 0, 0), Point3(10, -20, 30), Point3(-35, 12, -8), Point3(5, 40, 15)};
    for (ViewType type : {VIEW_FRONT, VIEW_BACK, VIEW_LEFT, VIEW_RIGHT, VIEW_TOP, VIEW_BOTTOM, VIEW_PERSP_USER}) {
        vpt.host_SetViewType(type);
        EXPECT_EQ(vpt.IsPerspView() != FALSE, type == VIEW_PERSP_USER) << type;
        for (const Point3& p : probes) {
            Point3 s = vpt.MapWorldToScreen(p);
            ASSERT_GT(s.z, 0.0f) << "probe behind the eye in view " << type;
            // The ray under the projected pixel passes through the point.
            Ray ray;
            vpt.MapScreenToWorldRay(s.x, s.y, ray);
            EXPECT_NEAR(Length(ray.dir), 1.0f, 1e-4f);
            EXPECT_LT(DistanceToRay(ray, p), 1e-2f) << "view " << type;
            // Screen to view at the point's depth and back lands on the same pixel.
            Matrix3 affine;
            vpt.GetAffineTM(affine);
            Point3 back = vpt.MapScreenToView(IPoint2(int(s.x), int(s.y)), s.z) * Inverse(affine);
            Point3 s2 = vpt.MapWorldToScreen(back);
            EXPECT_NEAR(s2.x, float(int(s.x)), 1e-2f);
            EXPECT_NEAR(s2.y, float(int(s.y)), 1e-2f);
        }
    }
    // Directions on screen: y grows downwards.
    vpt.host_SetViewType(VIEW_FRONT);
    EXPECT_GT(vpt.MapWorldToScreen(Point3(10, 0, 0)).x, vpt.MapWorldToScreen(Point3()).x);
    EXPECT_LT(vpt.MapWorldToScreen(Point3(0, 0, 10)).y, vpt.MapWorldToScreen(Point3()).y);
    vpt.host_SetViewType(VIEW_TOP);
    EXPECT_LT(vpt.MapWorldToScreen(Point3(0, 10, 0)).y, vpt.MapWorldToScreen(Point3()).y);
    EXPECT_GT(vpt.MapWorldToScreen(Point3(10, 0, 0)).x, vpt.MapWorldToScreen(Point3()).x);
    vpt.host_SetViewType(VIEW_LEFT);
    EXPECT_GT(vpt.MapWorldToScreen(Point3(0, -10, 0)).x, vpt.MapWorldToScreen(Point3()).x);
    // The front view looks along +Y: farther along +Y is deeper.
    vpt.host_SetViewType(VIEW_FRONT);
    EXPECT_GT(vpt.MapWorldToScreen(Point3(0, 10, 0)).z, vpt.MapWorldToScreen(Point3()).z);

    // The window follows a view that changes after an object set its transform.
    for (ViewType type : {VIEW_FRONT, VIEW_PERSP_USER}) {
        vpt.host_SetViewType(type);
        vpt.host_BeginFrame();
        Matrix3 objTM;
        objTM.SetTrans(Point3(5, 0, 5));
        vpt.getGW()->setTransform(objTM);
        vpt.host_ZoomExtents(Box3(Point3(-500, -500, -500), Point3(500, 500, 500)));
        Point3 seg[2] = {Point3(0, 0, 0), Point3(1, 0, 0)};
        vpt.getGW()->polyline(2, seg, nullptr, FALSE, nullptr);
        Point3 s = vpt.MapWorldToScreen(Point3(5, 0, 5));
        ASSERT_FALSE(vpt.getGW()->host_DrawList().vertices.empty());
        EXPECT_NEAR(vpt.getGW()->host_DrawList().vertices[0].x, s.x, 1e-2f) << type;
        EXPECT_NEAR(vpt.getGW()->host_DrawList().vertices[0].y, s.y, 1e-2f) << type;
    }
}

TEST_F(ViewportTest, ScreenScaleIsNeverZeroAndGrowsWithDistanceInPerspective) {
    ViewExp vpt;
    vpt.host_SetSize(400, 300);
    vpt.host_SetViewType(VIEW_FRONT);
    const float w = vpt.GetVPWorldWidth(Point3());
    EXPECT_GT(w, 0.0f);
    // Orthographic: the same wherever the point is, even at or behind the eye.
    EXPECT_FLOAT_EQ(vpt.GetVPWorldWidth(Point3(0, -5000, 0)), w);
    EXPECT_FLOAT_EQ(vpt.GetVPWorldWidth(Point3(30, 900, -12)), w);
    EXPECT_FLOAT_EQ(vpt.GetScreenScaleFactor(Point3(1, 2, 3)), w);
    Matrix3 affine;
    vpt.GetAffineTM(affine);
    vpt.host_SetOrthographic(affine, 0.0f);
    EXPECT_GT(vpt.GetVPWorldWidth(Point3()), 0.0f);

    // Perspective: proportional to the depth in front of the eye.
    Matrix3 eye;
    eye.SetTrans(Point3(0, 0, 0));  // at the origin looking down -Z of world
    vpt.host_SetPerspective(Inverse(eye), 0.8f);
    const float at10 = vpt.GetVPWorldWidth(Point3(3, 1, -10));
    const float at20 = vpt.GetVPWorldWidth(Point3(-4, 2, -20));
    EXPECT_NEAR(at10, 2.0f * 10.0f * std::tan(0.4f), 1e-4f);
    EXPECT_NEAR(at20 / at10, 2.0f, 1e-5f);
    // Sideways offset does not matter, only depth.
    EXPECT_NEAR(vpt.GetVPWorldWidth(Point3(50, 50, -10)), at10, 1e-4f);
    // At or behind the eye it stays positive (clamped to the near plane).
    EXPECT_GT(vpt.GetVPWorldWidth(Point3(0, 0, 0)), 0.0f);
    EXPECT_GT(vpt.GetVPWorldWidth(Point3(0, 0, 10)), 0.0f);
    // An object scaled by it keeps its size on screen as it moves away.
    for (float depth : {10.0f, 40.0f, 300.0f}) {
        Point3 c(0.0f, 0.0f, -depth);
        float s = vpt.GetVPWorldWidth(c) / 360.0f * 20.0f;
        float px = vpt.MapWorldToScreen(c + Point3(s, 0.0f, 0.0f)).x - vpt.MapWorldToScreen(c).x;
        EXPECT_NEAR(px, 400.0f * 20.0f / 360.0f, 1e-2f) << depth;
    }
}

TEST_F(ViewportTest, ZoomExtentsFramesTheBoxInsideTheWindow) {
    ViewExp vpt;
    vpt.host_SetSize(300, 200);
    Box3 box(Point3(100, 50, -20), Point3(160, 90, 40));
    for (ViewType type : {VIEW_FRONT, VIEW_TOP, VIEW_LEFT, VIEW_PERSP_USER}) {
        vpt.host_SetViewType(type);
        vpt.host_ZoomExtents(box);
        float minX = 1e9f, maxX = -1e9f;
        for (int i = 0; i < 8; ++i) {
            Point3 s = vpt.MapWorldToScreen(box[i]);
            EXPECT_GE(s.x, 0.0f) << type;
            EXPECT_LE(s.x, 300.0f) << type;
            EXPECT_GE(s.y, 0.0f) << type;
            EXPECT_LE(s.y, 200.0f) << type;
            EXPECT_GT(s.z, 0.0f) << type;
            minX = std::min(minX, s.x);
            maxX = std::max(maxX, s.x);
        }
        // Framed, not a speck in the middle.
        EXPECT_GT(maxX - minX, 60.0f) << type;
        Point3 c = vpt.MapWorldToScreen(box.Center());
        EXPECT_NEAR(c.x, 150.0f, 2.0f) << type;
        EXPECT_NEAR(c.y, 100.0f, 2.0f) << type;
    }
    // Far from the origin and large (the near plane moves out with the distance): what the
    // window draws lands where the view maps it.
    Box3 big(Point3(-8000, 3000, 0), Point3(9000, 12000, 5000));
    for (ViewType type : {VIEW_PERSP_USER, VIEW_TOP}) {
        vpt.host_SetViewType(type);
        vpt.host_ZoomExtents(big);
        vpt.host_BeginFrame();
        Point3 seg[2] = {big.pmin, big.pmax};
        vpt.getGW()->polyline(2, seg, nullptr, FALSE, nullptr);
        const host::DrawList& list = vpt.getGW()->host_DrawList();
        ASSERT_EQ(list.prims.size(), 1u);
        for (int i = 0; i < 2; ++i) {
            Point3 s = vpt.MapWorldToScreen(seg[i]);
            EXPECT_NEAR(list.vertices[size_t(i)].x, s.x, 1e-2f) << type;
            EXPECT_NEAR(list.vertices[size_t(i)].y, s.y, 1e-2f) << type;
        }
    }
}
