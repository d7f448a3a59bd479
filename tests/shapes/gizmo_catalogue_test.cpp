#include <algorithm>
#include <cmath>
#include <vector>
#include <cstring>

#include <gtest/gtest.h>

#include "shapes/gizmo_catalogue.h"

using namespace kt;

namespace {

GizmoParams Params(int type, int steps = 6, float warp = 0.0f) {
    GizmoParams p;
    p.type = type;
    p.steps = steps;
    p.warpAmount = warp;
    return p;
}

int PointCount(const GizmoLines& g) {
    int n = 0;
    for (const GizmoStrip& s : g.strips) n += s.count;
    return n;
}

// Hand-worked figures at size 20 (half size 10), thickness 0.5, steps as given.
struct Expect {
    int type;
    int steps;
    int points;
    int strips;
    float lo[3];
    float hi[3];
};

}  // namespace

TEST(GizmoCatalogue, EveryArithmeticFigureHasItsWorkedCountAndExtent) {
    const float r3 = 10.0f / std::sqrt(3.0f);
    const float icosa = 10.0f * 1.618034f / std::sqrt(1.0f + 1.618034f * 1.618034f);
    const Expect cases[] = {
        {kGizmoCross, 6, 6, 3, {-10, -10, -10}, {10, 10, 10}},
        {kGizmoCrossDiagonal, 6, 8, 4, {-r3, -r3, -r3}, {r3, r3, r3}},
        {kGizmoCrossAsterisk, 6, 14, 7, {-10, -10, -10}, {10, 10, 10}},
        {kGizmoAxisTripod, 6, 15, 6, {-2.5f, -2.5f, -2.5f}, {10, 10, 10}},
        {kGizmoCircle, 0, 4, 1, {-10, -10, 0}, {10, 10, 0}},
        {kGizmoCircle, 6, 28, 1, {-10, -10, 0}, {10, 10, 0}},
        {kGizmoCircle, 9, 40, 1, {-10, -10, 0}, {10, 10, 0}},
        {kGizmoCircleHalf, 6, 15, 1, {-10, 0, 0}, {10, 10, 0}},
        {kGizmoCirclePointy, 6, 28, 1, {-10, -10, 0}, {10, 15, 0}},
        {kGizmoDonut, 1, 16, 2, {-20, -20, 0}, {20, 20, 0}},
        {kGizmoSphere, 0, 12, 3, {-10, -10, -10}, {10, 10, 10}},
        {kGizmoSphereHalf, 6, 28 + 2 * 15, 3, {-10, -10, 0}, {10, 10, 10}},
        {kGizmoRectangle, 9, 4, 1, {-10, -10, 0}, {10, 10, 0}},
        {kGizmoBox, 6, 16, 6, {-10, -10, -10}, {10, 10, 10}},
        {kGizmoTriangle, 6, 3, 1, {-8.660254f, -5, 0}, {8.660254f, 10, 0}},
        {kGizmoCone, 6, 34, 3, {-10, -10, -10}, {10, 10, 10}},
        {kGizmoCylinder, 6, 64, 6, {-10, -10, -10}, {10, 10, 10}},
        {kGizmoArrow, 6, 7, 1, {-6, -10, 0}, {6, 10, 0}},
        {kGizmoArrowDouble, 6, 10, 1, {-6, -10, 0}, {6, 10, 0}},
        {kGizmoArrowCircle, 6, 25, 2, {-10, -12.5f, 0}, {10, 10, 0}},
        {kGizmoArrowCylinder, 6, 47, 3, {-10, -10, -5}, {10, 10, 5}},
        {kGizmoArrowCross, 6, 24, 9, {-10, -10, -10}, {10, 10, 10}},
        {kGizmoArrowMixed, 6, 44, 7, {-10, -10, 0}, {10, 10, 0}},
        {kGizmoCrossFlat, 6, 12, 1, {-10, -10, 0}, {10, 10, 0}},
        {kGizmoDrop, 6, 16, 1, {-6, -10, 0}, {6, 10, 0}},
        {kGizmoStar, 6, 10, 1, {-9.510565f, -8.090170f, 0}, {9.510565f, 10, 0}},
        {kGizmoGear, 0, 36, 2, {-9.951847f, -9.951847f, 0}, {9.951847f, 9.951847f, 0}},
        {kGizmoFourArrows, 6, 24, 1, {-10, -10, 0}, {10, 10, 0}},
        {kGizmoFourPyramids, 6, 40, 12, {-10, -10, -2}, {10, 10, 2}},
        {kGizmoFourTriangles, 6, 12, 4, {-10, -10, 0}, {10, 10, 0}},
        {kGizmoIKFK, 6, 17, 7, {-9, -5, 0}, {9.5f, 5, 0}},
        {kGizmoSphereIcosa, 6, 60, 30, {-icosa, -icosa, -icosa}, {icosa, icosa, icosa}},
        {kGizmoSphereGeo, 0, 240, 120, {-10, -10, -10}, {10, 10, 10}},
        {kGizmoDiamond, 6, 16, 5, {-10, -10, -10}, {10, 10, 10}},
    };
    GizmoLines g;
    for (const Expect& e : cases) {
        SCOPED_TRACE(e.type);
        BuildGizmo(Params(e.type, e.steps), g);
        EXPECT_EQ(PointCount(g), e.points);
        EXPECT_EQ(static_cast<int>(g.strips.size()), e.strips);
        const Box3 b = g.Bounds();
        for (int k = 0; k < 3; ++k) {
            EXPECT_NEAR(b.pmin[k], e.lo[k], 1e-3f) << "axis " << k;
            EXPECT_NEAR(b.pmax[k], e.hi[k], 1e-3f) << "axis " << k;
        }
    }

    // Round outlines with their own counts: five lobes of 2 (steps + 1) points, the peanut's
    // waist at 0.3 of its length.
    BuildGizmo(Params(kGizmoStarSmooth, 2), g);
    EXPECT_EQ(PointCount(g), 30);
    EXPECT_NEAR(g.Bounds().pmax.y, 10.0f, 1e-4f);
    BuildGizmo(Params(kGizmoPeanut, 6), g);
    EXPECT_EQ(PointCount(g), 28);
    EXPECT_NEAR(g.Bounds().pmax.x, 10.0f, 1e-4f);
    bool waist = false;
    for (const Point3& q : g.points)
        if (std::fabs(q.x) < 1e-3f) waist = waist || std::fabs(std::fabs(q.y) - 3.0f) < 1e-3f;
    EXPECT_TRUE(waist);
}

TEST(GizmoCatalogue, StepsSizesAndAxisFollowTheParameters) {
    GizmoLines g;
    // steps 0 is the least: four points on the axes.
    BuildGizmo(Params(kGizmoCircle, 0), g);
    ASSERT_EQ(g.points.size(), 4u);
    EXPECT_NEAR(g.points[1].y, 10.0f, 1e-5f);
    EXPECT_NEAR(g.points[1].x, 0.0f, 1e-5f);
    BuildGizmo(Params(kGizmoCircle, -3), g);
    EXPECT_EQ(g.points.size(), 4u);

    // Non-uniform: length on X, width on Y, height on Z; uniform ignores them.
    GizmoParams p = Params(kGizmoSphere, 3);
    p.length = 40.0f;
    p.width = 10.0f;
    p.height = 6.0f;
    BuildGizmo(p, g);
    EXPECT_NEAR(g.Bounds().pmax.x, 10.0f, 1e-4f);
    p.uniform = false;
    BuildGizmo(p, g);
    Box3 b = g.Bounds();
    EXPECT_NEAR(b.pmax.x, 20.0f, 1e-4f);
    EXPECT_NEAR(b.pmax.y, 5.0f, 1e-4f);
    EXPECT_NEAR(b.pmin.z, -3.0f, 1e-4f);

    // The rectangle's normal follows axis.
    p = Params(kGizmoRectangle);
    p.axis = 0;
    BuildGizmo(p, g);
    b = g.Bounds();
    EXPECT_FLOAT_EQ(b.pmin.x, 0.0f);
    EXPECT_FLOAT_EQ(b.pmax.x, 0.0f);
    EXPECT_FLOAT_EQ(b.pmax.y, 10.0f);
    EXPECT_FLOAT_EQ(b.pmax.z, 10.0f);

    // Cut corners: arcs of steps + 2 points, radius 4 about (6, 6); the 45 degree point.
    p = Params(kGizmoRectangle, 3);
    p.corner = 4.0f;
    BuildGizmo(p, g);
    EXPECT_EQ(PointCount(g), 20);
    bool mid = false;
    for (const Point3& q : g.points) {
        EXPECT_LT(std::fabs(q.x) + std::fabs(q.y), 20.0f - 1e-3f);
        mid = mid || (std::fabs(q.x - 8.828427f) < 1e-3f && std::fabs(q.y - 8.828427f) < 1e-3f);
    }
    EXPECT_TRUE(mid);
    EXPECT_NEAR(g.Bounds().pmax.x, 10.0f, 1e-4f);
    // A corner larger than the side is clamped to a half side: a circle-like outline.
    p.corner = 100.0f;
    BuildGizmo(p, g);
    EXPECT_NEAR(g.Bounds().pmax.y, 10.0f, 1e-4f);

    // Thickness reaches the shaft of an arrow and the inner ring of a donut.
    p = Params(kGizmoDonut, 0);
    p.thickness = 0.25f;
    BuildGizmo(p, g);
    ASSERT_EQ(g.strips.size(), 2u);
    EXPECT_NEAR(g.points[size_t(g.strips[1].first)].x, 15.0f, 1e-4f);
}

TEST(GizmoCatalogue, WarpBendsAndSplitsStraightEdgesOnlyAboveATenth) {
    GizmoLines g;
    // No warp, steps 9: edges stay whole.
    BuildGizmo(Params(kGizmoRectangle, 9, 0.0f), g);
    EXPECT_EQ(PointCount(g), 4);
    BuildGizmo(Params(kGizmoRectangle, 9, 0.1f), g);
    EXPECT_EQ(PointCount(g), 4);
    BuildGizmo(Params(kGizmoRectangle, 9, 0.5f), g);
    EXPECT_EQ(PointCount(g), 40);
    BuildGizmo(Params(kGizmoCross, 2, -0.5f), g);
    EXPECT_EQ(PointCount(g), 12);
    // Round figures keep their count.
    BuildGizmo(Params(kGizmoCircle, 6, 0.5f), g);
    EXPECT_EQ(PointCount(g), 28);

    // Along Z by X: the middle rises by warp * 10, the ends sink by as much.
    GizmoParams p = Params(kGizmoRectangle, 1, 0.5f);
    p.warpAxis = 2;
    BuildGizmo(p, g);
    ASSERT_EQ(PointCount(g), 8);
    for (const Point3& q : g.points) {
        const float expected = std::fabs(q.x) < 1e-4f ? 5.0f : -5.0f;
        EXPECT_NEAR(q.z, expected, 1e-4f) << q.x << " " << q.y;
    }
    // Below the split threshold the points still move.
    p.warpAmount = 0.05f;
    BuildGizmo(p, g);
    ASSERT_EQ(PointCount(g), 4);
    for (const Point3& q : g.points) EXPECT_NEAR(q.z, -0.5f, 1e-5f);
    // Along X the profile is read on Y: the circle's top moves by -warp * 10.
    p = Params(kGizmoCircle, 0, 0.5f);
    p.warpAxis = 0;
    BuildGizmo(p, g);
    EXPECT_NEAR(g.points[1].x, -5.0f, 1e-4f);
    EXPECT_NEAR(g.points[0].x, 15.0f, 1e-4f);
    EXPECT_NEAR(g.points[0].y, 0.0f, 1e-4f);
}

TEST(GizmoCatalogue, NamesStoredOutlinesAndTypesOutOfRange) {
    GizmoLines g;
    for (int t = 0; t < kNumGizmoTypes; ++t) {
        ASSERT_NE(GizmoScriptName(t), nullptr);
        ASSERT_NE(GizmoLabel(t), nullptr);
        BuildGizmo(Params(t), g);
        EXPECT_EQ(g.Empty(), t == kGizmoNone) << t;
    }
    EXPECT_EQ(std::wcscmp(GizmoScriptName(kGizmoSphereHalf), L"SphereHalf"), 0);
    EXPECT_EQ(std::wcscmp(GizmoLabel(kGizmoSphereHalf), L"Sphere Hemi"), 0);
    EXPECT_EQ(std::wcscmp(GizmoScriptName(kGizmoDiamond), L"Diamond"), 0);
    EXPECT_EQ(GizmoScriptName(kNumGizmoTypes), nullptr);
    EXPECT_EQ(GizmoLabel(-1), nullptr);
    for (int t : {-1, int(kNumGizmoTypes), 1000}) {
        BuildGizmo(Params(t), g);
        EXPECT_TRUE(g.Empty());
        EXPECT_TRUE(g.Bounds().IsEmpty());
    }

    // Stored outlines: one to three polylines of 4 to 82 points in the unit square, flat.
    const int stored[] = {kGizmoCharacter, kGizmoEye, kGizmoLips, kGizmoHand,
                          kGizmoFoot,      kGizmoShoe, kGizmoFace, kGizmoNose};
    for (int t : stored) {
        EXPECT_TRUE(IsStoredGizmo(t));
        BuildGizmo(Params(t), g);
        ASSERT_GE(g.strips.size(), 1u);
        ASSERT_LE(g.strips.size(), 3u);
        for (const GizmoStrip& s : g.strips) {
            EXPECT_GE(s.count, 4);
            EXPECT_LE(s.count, 82);
        }
        const Box3 b = g.Bounds();
        EXPECT_GE(b.pmin.x, -10.0f);
        EXPECT_LE(b.pmax.x, 10.0f);
        EXPECT_GE(b.pmin.y, -10.0f);
        EXPECT_LE(b.pmax.y, 10.0f);
        EXPECT_GT(b.Width().x, 8.0f) << t;
        EXPECT_FLOAT_EQ(b.Width().z, 0.0f);
        // Warp reaches stored outlines too, without splitting them.
        const std::vector<Point3> flat = g.points;
        BuildGizmo(Params(t, 6, 0.5f), g);
        ASSERT_EQ(g.points.size(), flat.size());
        float moved = 0.0f;
        for (size_t i = 0; i < flat.size(); ++i) moved = std::max(moved, std::fabs(g.points[i].x - flat[i].x));
        EXPECT_GT(moved, 1.0f) << t;
    }
    EXPECT_FALSE(IsStoredGizmo(kGizmoCircle));
}
