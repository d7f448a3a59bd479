#include <cmath>

#include "cmdmode.h"
#include "viewport_fixture.h"

using namespace vptest;

namespace {

// Runs draw in pick mode with a region made from (type, crossing, epsilon, p) and answers
// whether it hit, and the hit distance.
template <class Draw>
bool Hits(ViewExp& vpt, int type, int crossing, int epsilon, std::vector<IPoint2> p, Draw draw,
          DWORD* distance = nullptr, DWORD extraLimits = 0) {
    GraphicsWindow* gw = vpt.getGW();
    HitRegion hr;
    MakeHitRegion(hr, type, crossing, epsilon, p.data());
    gw->setHitRegion(&hr);
    gw->setRndLimits(GW_Z_BUFFER | GW_WIREFRAME | GW_PICK | extraLimits);
    gw->setTransform(Matrix3());
    gw->clearHitCode();
    draw(gw);
    BOOL hit = gw->checkHitCode();
    if (distance) *distance = gw->getHitDistance();
    gw->setRndLimits(GW_Z_BUFFER | GW_WIREFRAME);
    return hit != FALSE;
}

}  // namespace

TEST_F(ViewportTest, PointRegionPicksLinesWithinItsToleranceOnly) {
    ViewExp vpt;
    FrontPixelView(vpt);  // world (x, z) -> pixel (100 + x, 100 - z)
    // A horizontal line at pixel row 100 from column 80 to 120.
    auto line = [](GraphicsWindow* gw) {
        Point3 pts[2] = {Point3(-20, 0, 0), Point3(20, 0, 0)};
        gw->polyline(2, pts, nullptr, FALSE, nullptr);
    };
    DWORD d = 0;
    EXPECT_TRUE(Hits(vpt, HITTYPE_POINT, 0, 4, {IPoint2(100, 100)}, line, &d));
    EXPECT_EQ(d, 0u);
    EXPECT_TRUE(Hits(vpt, HITTYPE_POINT, 0, 4, {IPoint2(100, 104)}, line, &d));
    EXPECT_EQ(d, 4u);
    EXPECT_FALSE(Hits(vpt, HITTYPE_POINT, 0, 4, {IPoint2(100, 105)}, line));
    // Beyond the end the distance is to the end point.
    EXPECT_TRUE(Hits(vpt, HITTYPE_POINT, 0, 4, {IPoint2(124, 100)}, line));
    EXPECT_FALSE(Hits(vpt, HITTYPE_POINT, 0, 4, {IPoint2(125, 100)}, line));
    EXPECT_FALSE(Hits(vpt, HITTYPE_POINT, 0, 0, {IPoint2(100, 101)}, line));

    // The closing edge of a closed polyline counts; an edge switched off does not.
    Point3 tri[3] = {Point3(-20, 0, 0), Point3(20, 0, 0), Point3(0, 0, 30)};  // pixels (80,100) (120,100) (100,70)
    auto closed = [&](GraphicsWindow* gw) { gw->polyline(3, tri, nullptr, TRUE, nullptr); };
    auto open = [&](GraphicsWindow* gw) { gw->polyline(3, tri, nullptr, FALSE, nullptr); };
    int es[3] = {1, 1, 0};
    auto hidden = [&](GraphicsWindow* gw) { gw->polyline(3, tri, nullptr, TRUE, es); };
    IPoint2 onClosing(90, 85);  // the midpoint of (100,70)-(80,100)
    EXPECT_TRUE(Hits(vpt, HITTYPE_POINT, 0, 1, {onClosing}, closed));
    EXPECT_FALSE(Hits(vpt, HITTYPE_POINT, 0, 1, {onClosing}, open));
    EXPECT_FALSE(Hits(vpt, HITTYPE_POINT, 0, 1, {onClosing}, hidden));

    // Several primitives: the smallest distance is kept.
    auto two = [](GraphicsWindow* gw) {
        Point3 a[2] = {Point3(-20, 0, 3), Point3(20, 0, 3)};
        Point3 b[2] = {Point3(-20, 0, -1), Point3(20, 0, -1)};
        gw->polyline(2, a, nullptr, FALSE, nullptr);
        gw->polyline(2, b, nullptr, FALSE, nullptr);
    };
    EXPECT_TRUE(Hits(vpt, HITTYPE_POINT, 0, 4, {IPoint2(100, 100)}, two, &d));
    EXPECT_EQ(d, 1u);
}

TEST_F(ViewportTest, BoxCircleAndFenceRegionsFollowWindowAndCrossing) {
    ViewExp vpt;
    FrontPixelView(vpt);
    auto line = [](GraphicsWindow* gw) {  // pixels (80,100) to (120,100)
        Point3 pts[2] = {Point3(-20, 0, 0), Point3(20, 0, 0)};
        gw->polyline(2, pts, nullptr, FALSE, nullptr);
    };
    // Corners in any order.
    EXPECT_TRUE(Hits(vpt, HITTYPE_BOX, 0, 0, {IPoint2(130, 110), IPoint2(70, 90)}, line));
    // Partly inside: crossing hits, window does not.
    std::vector<IPoint2> half = {IPoint2(100, 90), IPoint2(140, 110)};
    EXPECT_TRUE(Hits(vpt, HITTYPE_BOX, 1, 0, half, line));
    EXPECT_FALSE(Hits(vpt, HITTYPE_BOX, 0, 0, half, line));
    // A box the line passes through with both ends outside: crossing only.
    std::vector<IPoint2> middle = {IPoint2(95, 95), IPoint2(105, 105)};
    EXPECT_TRUE(Hits(vpt, HITTYPE_BOX, 1, 0, middle, line));
    EXPECT_FALSE(Hits(vpt, HITTYPE_BOX, 0, 0, middle, line));
    // Nowhere near.
    EXPECT_FALSE(Hits(vpt, HITTYPE_BOX, 1, 0, {IPoint2(0, 0), IPoint2(50, 50)}, line));

    // Window selection of an object: one primitive outside spoils the whole object.
    auto lineAndFarLine = [&](GraphicsWindow* gw) {
        line(gw);
        Point3 far[2] = {Point3(-90, 0, 90), Point3(-80, 0, 90)};
        gw->polyline(2, far, nullptr, FALSE, nullptr);
    };
    std::vector<IPoint2> around = {IPoint2(70, 90), IPoint2(130, 110)};
    EXPECT_TRUE(Hits(vpt, HITTYPE_BOX, 0, 0, around, line));
    EXPECT_FALSE(Hits(vpt, HITTYPE_BOX, 0, 0, around, lineAndFarLine));
    EXPECT_TRUE(Hits(vpt, HITTYPE_BOX, 1, 0, around, lineAndFarLine));

    // Circle: centre and a point on the rim.
    EXPECT_TRUE(Hits(vpt, HITTYPE_CIRCLE, 0, 0, {IPoint2(100, 100), IPoint2(125, 100)}, line));
    EXPECT_FALSE(Hits(vpt, HITTYPE_CIRCLE, 0, 0, {IPoint2(100, 100), IPoint2(115, 100)}, line));
    EXPECT_TRUE(Hits(vpt, HITTYPE_CIRCLE, 1, 0, {IPoint2(100, 108), IPoint2(100, 100)}, line));
    EXPECT_FALSE(Hits(vpt, HITTYPE_CIRCLE, 1, 0, {IPoint2(100, 110), IPoint2(100, 101)}, line));

    // Fence: a triangle around the line, then one that the line only crosses.
    std::vector<IPoint2> fence = {IPoint2(60, 110), IPoint2(140, 110), IPoint2(100, 60), IPoint2(-1, -1)};
    EXPECT_TRUE(Hits(vpt, HITTYPE_FENCE, 0, 0, fence, line));
    std::vector<IPoint2> thin = {IPoint2(95, 80), IPoint2(105, 80), IPoint2(100, 120), IPoint2(-1, -1)};
    EXPECT_TRUE(Hits(vpt, HITTYPE_FENCE, 1, 0, thin, line));
    EXPECT_FALSE(Hits(vpt, HITTYPE_FENCE, 0, 0, thin, line));
}

TEST_F(ViewportTest, PolygonsAreHitInsideAndBackFacesAreCulledWhenAsked) {
    ViewExp vpt;
    FrontPixelView(vpt);
    // In the front view a face facing -Y faces the viewer: counter-clockwise seen from -Y.
    Point3 front[4] = {Point3(-10, 0, -10), Point3(10, 0, -10), Point3(10, 0, 10), Point3(-10, 0, 10)};
    Point3 back[4] = {front[3], front[2], front[1], front[0]};
    auto drawFront = [&](GraphicsWindow* gw) { gw->polygon(4, front, nullptr, nullptr); };
    auto drawBack = [&](GraphicsWindow* gw) { gw->polygon(4, back, nullptr, nullptr); };
    IPoint2 inside(103, 96);
    DWORD d = 99;
    EXPECT_TRUE(Hits(vpt, HITTYPE_POINT, 0, 0, {inside}, drawFront, &d));
    EXPECT_EQ(d, 0u);
    EXPECT_TRUE(Hits(vpt, HITTYPE_POINT, 0, 0, {inside}, drawBack));
    EXPECT_TRUE(Hits(vpt, HITTYPE_POINT, 0, 0, {inside}, drawFront, nullptr, GW_BACKCULL));
    EXPECT_FALSE(Hits(vpt, HITTYPE_POINT, 0, 0, {inside}, drawBack, nullptr, GW_BACKCULL));
    // Outside the face but within tolerance of its edge.
    EXPECT_TRUE(Hits(vpt, HITTYPE_POINT, 0, 3, {IPoint2(113, 100)}, drawFront));
    EXPECT_FALSE(Hits(vpt, HITTYPE_POINT, 0, 3, {IPoint2(114, 100)}, drawFront));
    // A crossing box wholly inside the face hits it; a window box does not contain it.
    std::vector<IPoint2> small = {IPoint2(98, 98), IPoint2(102, 102)};
    EXPECT_TRUE(Hits(vpt, HITTYPE_BOX, 1, 0, small, drawFront));
    EXPECT_FALSE(Hits(vpt, HITTYPE_BOX, 0, 0, small, drawFront));
    EXPECT_TRUE(Hits(vpt, HITTYPE_BOX, 0, 0, {IPoint2(80, 80), IPoint2(120, 120)}, drawFront));
}

TEST_F(ViewportTest, SceneClickPicksTheClosestVisibleNode) {
    ViewExp vpt;
    FrontPixelView(vpt);
    Interface* ip = GetCOREInterface();
    // Two crosses of size 20: A centred at pixel (100, 100), B at (130, 100).
    INode* a = MakePoint(L"A", Point3(0, 0, 0));
    INode* b = MakePoint(L"B", Point3(30, 0, 0));
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(100, 95)), a);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(130, 93)), b);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(60, 60)), nullptr);
    // Between the ends of the two horizontal arms (110 and 120): the nearer one wins.
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(113, 100)), a);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(117, 100)), b);

    // Equal screen distance: the node nearer the eye wins, whichever was made first.
    INode* c = MakePoint(L"C", Point3(0, 60, 40));   // behind (deeper along +Y)
    INode* d = MakePoint(L"D", Point3(0, -60, 40));  // in front
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(100, 60)), d);
    d->Hide(TRUE);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(100, 60)), c);
    c->Freeze(TRUE);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(100, 60)), nullptr);

    // A filter decides.
    struct OnlyB : PickNodeCallback {
        INode* keep;
        BOOL Filter(INode* n) override { return n == keep; }
    } onlyB;
    onlyB.keep = b;
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(100, 95), &onlyB), nullptr);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(130, 95), &onlyB), b);

    // A moved node is picked where it now is.
    Matrix3 tm;
    tm.SetTrans(Point3(-50, 0, -50));
    a->SetNodeTM(0, tm);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(100, 95)), nullptr);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(50, 145)), a);

    // Box selection collects what the region holds.
    std::vector<INode*> hit;
    IPoint2 corners[2] = {IPoint2(35, 135), IPoint2(145, 165)};
    host::PickSceneNodes(vpt, 0, HITTYPE_BOX, FALSE, corners, hit);
    ASSERT_EQ(hit.size(), 1u);
    EXPECT_EQ(hit[0], a);
}

TEST_F(ViewportTest, HostObjectsHaveWorldBoxesAndScreenSizedHelpersKeepTheirPixelSize) {
    ViewExp vpt;
    FrontPixelView(vpt);
    INode* p = MakePoint(L"P", Point3(10, 20, 30), 8.0f, true);
    Matrix3 tm = ScaleMatrix(Point3(2, 2, 2));
    tm.SetTrans(Point3(10, 20, 30));
    p->SetNodeTM(0, tm);
    Box3 box;
    p->EvalWorldState(0).obj->GetWorldBoundBox(0, p, &vpt, box);
    EXPECT_NEAR(box.pmin.x, 2.0f, 1e-4f);
    EXPECT_NEAR(box.pmax.z, 38.0f, 1e-4f);
    Box3 scene = host::SceneWorldBox(vpt, 0);
    EXPECT_TRUE(scene.Contains(box));

    auto* dummy = static_cast<DummyObject*>(static_cast<Animatable*>(CreateInstance(HELPER_CLASS_ID, DUMMY_CLASS_ID)));
    INode* dn = GetCOREInterface()->CreateObjectNode(dummy, L"Dummy");
    Box3 db;
    dummy->GetWorldBoundBox(0, dn, &vpt, db);
    EXPECT_EQ(db, Box3(Point3(-5, -5, -5), Point3(5, 5, 5)));
    // The dummy's box edge at pixel column 95 is hit; its empty inside is not.
    EXPECT_EQ(GetCOREInterface()->PickNode(&vpt, IPoint2(95, 100)), dn);
    EXPECT_EQ(GetCOREInterface()->PickNode(&vpt, IPoint2(100, 100)), nullptr);

    // A point helper drawn at screen size spans the same pixels at any zoom.
    host::ResetScene();
    INode* s = MakePoint(L"S", Point3(0, 0, 0), 36.0f);
    auto* obj = static_cast<PointHelpObject*>(s->GetObjectRef());
    obj->pblock2->SetValue(pointobj_screensize, 0, 1);
    Matrix3 affine;
    vpt.GetAffineTM(affine);
    for (float width : {200.0f, 50.0f, 1000.0f}) {
        vpt.host_SetOrthographic(affine, width);
        // Its box follows: 18 world units per 360 of the view's width.
        Box3 sb;
        s->EvalWorldState(0).obj->GetWorldBoundBox(0, s, &vpt, sb);
        EXPECT_NEAR(sb.pmax.x, 18.0f * width / 360.0f, 1e-3f) << width;
        // 36 units of a 360-unit-wide reference: the cross arm reaches 18/360 of the window.
        int reach = int(200.0f * 18.0f / 360.0f);  // 10 pixels
        EXPECT_EQ(GetCOREInterface()->PickNode(&vpt, IPoint2(100 + reach, 100)), s) << width;
        EXPECT_EQ(GetCOREInterface()->PickNode(&vpt, IPoint2(100 + reach + 5, 100)), nullptr) << width;
    }
}

TEST_F(ViewportTest, LinesAndFacesReachingBehindTheEyeAreCutAtTheNearPlane) {
    ViewExp vpt;
    vpt.host_SetSize(200, 200);
    // The eye at the origin looking down -Z (view space is world space here).
    vpt.host_SetPerspective(Matrix3(), 1.2f);
    GraphicsWindow* gw = vpt.getGW();
    // From 50 units ahead, slightly right, to 50 units behind the eye.
    Point3 through[2] = {Point3(10, 0, -50), Point3(10, 0, 50)};
    vpt.host_BeginFrame();
    gw->setRndLimits(GW_Z_BUFFER);
    gw->polyline(2, through, nullptr, FALSE, nullptr);
    const host::DrawList& list = gw->host_DrawList();
    ASSERT_EQ(list.prims.size(), 1u);
    ASSERT_EQ(list.prims[0].count, 2u);
    const host::ScreenVertex& a = list.vertices[0];
    const host::ScreenVertex& b = list.vertices[1];
    EXPECT_NEAR(a.depth, 50.0f, 1e-3f);
    EXPECT_NEAR(b.depth, vpt.host_NearPlane(), 1e-4f);
    // Both ends are to the right of the centre: nothing was mirrored through the eye.
    EXPECT_GT(a.x, 100.0f);
    EXPECT_GT(b.x, a.x);

    // Wholly behind: nothing drawn, nothing hit.
    Point3 behind[2] = {Point3(-10, 0, 5), Point3(10, 0, 5)};
    vpt.host_BeginFrame();
    gw->polyline(2, behind, nullptr, FALSE, nullptr);
    Point3 quadBehind[4] = {Point3(-10, -10, 5), Point3(10, -10, 5), Point3(10, 10, 5), Point3(-10, 10, 5)};
    gw->polygon(4, quadBehind, nullptr, nullptr);
    EXPECT_TRUE(gw->host_DrawList().prims.empty());
    auto drawBehind = [&](GraphicsWindow* w) {
        w->polyline(2, behind, nullptr, FALSE, nullptr);
        w->polygon(4, quadBehind, nullptr, nullptr);
    };
    std::vector<IPoint2> all = {IPoint2(0, 0), IPoint2(199, 199)};
    EXPECT_FALSE(Hits(vpt, HITTYPE_BOX, 1, 0, all, drawBehind));
    EXPECT_FALSE(Hits(vpt, HITTYPE_POINT, 0, 4, {IPoint2(100, 100)}, drawBehind));

    // A quad across the near plane keeps its front part; a window around the whole screen does
    // not hold it, since part of it lies behind the viewer.
    Point3 floor[4] = {Point3(-10, -5, -40), Point3(10, -5, -40), Point3(10, -5, 20), Point3(-10, -5, 20)};
    vpt.host_BeginFrame();
    gw->polygon(4, floor, nullptr, nullptr);
    ASSERT_EQ(gw->host_DrawList().prims.size(), 1u);
    for (const host::ScreenVertex& v : gw->host_DrawList().vertices) EXPECT_GE(v.depth, vpt.host_NearPlane() - 1e-4f);
    auto drawFloor = [&](GraphicsWindow* w) { w->polygon(4, floor, nullptr, nullptr); };
    EXPECT_TRUE(Hits(vpt, HITTYPE_BOX, 1, 0, all, drawFloor));
    EXPECT_FALSE(Hits(vpt, HITTYPE_BOX, 0, 0, all, drawFloor));
}

namespace {

// Picks nodes whose name does not start with "X"; remembers what it saw.
class NamePickMode : public PickModeCallback, public PickNodeCallback {
public:
    std::vector<INode*> picked;
    int entered = 0, exited = 0;
    bool endOnPick = true;
    BOOL Filter(INode* node) override { return node->GetName()[0] != L'X'; }
    PickNodeCallback* GetFilter() override { return this; }
    BOOL HitTest(IObjParam* ip, HWND, ViewExp* vpt, IPoint2 m, int) override {
        return ip->PickNode(vpt, m, GetFilter()) != nullptr;
    }
    BOOL Pick(IObjParam*, ViewExp* vpt) override {
        picked.push_back(vpt->GetClosestHit());
        return endOnPick;
    }
    void EnterMode(IObjParam*) override { ++entered; }
    void ExitMode(IObjParam*) override { ++exited; }
};

}  // namespace

TEST_F(ViewportTest, PickModeClicksPickThroughItsFilterAndEndTheMode) {
    ViewExp vpt;
    FrontPixelView(vpt);
    Interface* ip = GetCOREInterface();
    INode* a = MakePoint(L"A", Point3(0, 0, 0));
    MakePoint(L"Xb", Point3(30, 0, 0));
    NamePickMode first, second;
    second.endOnPick = false;

    EXPECT_FALSE(host::PickModeClick(vpt, IPoint2(100, 100))) << "no mode";
    ip->SetPickMode(&first);
    ip->SetPickMode(&first);
    EXPECT_EQ(first.entered, 1);
    EXPECT_FALSE(host::PickModeClick(vpt, IPoint2(130, 100))) << "refused by the filter";
    EXPECT_FALSE(host::PickModeClick(vpt, IPoint2(60, 60))) << "nothing there";
    EXPECT_TRUE(first.picked.empty());
    EXPECT_TRUE(host::PickModeClick(vpt, IPoint2(100, 100)));
    ASSERT_EQ(first.picked.size(), 1u);
    EXPECT_EQ(first.picked[0], a);
    EXPECT_EQ(ip->GetCurPickMode(), nullptr) << "a pick answering TRUE ends the mode";
    EXPECT_EQ(first.exited, 1);

    // A mode that stays for several picks; another mode, or a right click, ends it.
    ip->SetPickMode(&second);
    EXPECT_TRUE(host::PickModeClick(vpt, IPoint2(100, 100)));
    EXPECT_TRUE(host::PickModeClick(vpt, IPoint2(100, 100)));
    EXPECT_EQ(second.picked.size(), 2u);
    EXPECT_EQ(ip->GetCurPickMode(), &second);
    ip->SetPickMode(&first);
    EXPECT_EQ(second.exited, 1);
    EXPECT_EQ(first.entered, 2);
    host::PickModeRightClick(vpt);
    EXPECT_EQ(ip->GetCurPickMode(), nullptr);
    EXPECT_EQ(first.exited, 2);
}

namespace {

// A rotation controller that leaves the parent's frame alone and draws a line of `length`
// along its node's X axis, as a constraint's viewline does.
class LineRotation : public Control {
public:
    float length = 50.0f;
    SClass_ID SuperClassID() override { return CTRL_ROTATION_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x6A1D0E32, 0x2F4C9B11); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    void GetValue(TimeValue, void*, Interval&, GetSetMethod) override {}
    void SetValue(TimeValue, void*, int, GetSetMethod) override {}
    void Line(TimeValue t, INode* inode, Point3 (&pts)[2]) {
        const Matrix3 tm = inode->GetNodeTM(t);
        pts[0] = tm.GetTrans();
        pts[1] = tm.GetTrans() + Normalize(tm.GetRow(0)) * length;
    }
    int Display(TimeValue t, INode* inode, ViewExp* vpt, int) override {
        GraphicsWindow* gw = vpt->getGW();
        gw->setTransform(Matrix3());
        Point3 pts[2];
        Line(t, inode, pts);
        gw->polyline(2, pts, nullptr, FALSE, nullptr);
        return 1;
    }
    int HitTest(TimeValue t, INode* inode, int type, int crossing, int, IPoint2* p, ViewExp* vpt) override {
        GraphicsWindow* gw = vpt->getGW();
        HitRegion hr;
        MakeHitRegion(hr, type, crossing, host::PickTolerance(), p);
        gw->setHitRegion(&hr);
        gw->setRndLimits(gw->getRndLimits() | GW_PICK);
        gw->setTransform(Matrix3());
        Point3 pts[2];
        Line(t, inode, pts);
        gw->polyline(2, pts, nullptr, FALSE, nullptr);
        return gw->checkHitCode();
    }
    void GetWorldBoundBox(TimeValue t, INode* inode, ViewExp*, Box3& box) override {
        Point3 pts[2];
        Line(t, inode, pts);
        box += pts[0];
        box += pts[1];
    }
};

}  // namespace

TEST_F(ViewportTest, PRSSubControllersDrawPickAndFrameForTheirNode) {
    ViewExp vpt;
    FrontPixelView(vpt);  // world (x, z) -> pixel (100 + x, 100 - z)
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, L"Aimed");
    n->SetTMController(NewDefaultMatrix3Controller());
    auto* line = new LineRotation;
    ASSERT_TRUE(n->GetTMController()->SetRotationController(line));
    Matrix3 tm;
    tm.SetTrans(Point3(-30, 0, 20));
    n->SetNodeTM(0, tm);

    host::DrawScene(vpt, 0);
    const host::DrawList& list = vpt.getGW()->host_DrawList();
    ASSERT_EQ(list.prims.size(), 1u) << "the rotation controller draws through the PRS";
    ASSERT_EQ(list.prims[0].count, 2u);
    const host::ScreenVertex& a = list.vertices[list.prims[0].first];
    const host::ScreenVertex& b = list.vertices[list.prims[0].first + 1];
    EXPECT_NEAR(a.x, 70.0f, 0.5f);  // drawn from the node it belongs to
    EXPECT_NEAR(a.y, 80.0f, 0.5f);
    EXPECT_NEAR(b.x, 120.0f, 0.5f);
    EXPECT_NEAR(b.y, 80.0f, 0.5f);

    Interface* ip = GetCOREInterface();
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(110, 82)), n);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(110, 90)), nullptr);
    Box3 box = host::SceneWorldBox(vpt, 0);
    EXPECT_NEAR(box.pmax.x, 20.0f, 1e-4f);
    EXPECT_NEAR(box.pmin.x, -30.0f, 1e-4f);

    // A turned parent turns the line: the PRS hands over its own node's world frame.
    INode* parent = GetCOREInterface()->CreateObjectNode(nullptr, L"Parent");
    parent->SetNodeTM(0, RotateYMatrix(1.5707964f));
    parent->AttachChild(n, TRUE);
    host::DrawScene(vpt, 0);
    ASSERT_EQ(list.prims.size(), 1u);
    EXPECT_NEAR(std::fabs(list.vertices[list.prims[0].first + 1].y - 80.0f), 50.0f, 0.5f);
    EXPECT_NEAR(list.vertices[list.prims[0].first + 1].x, 70.0f, 0.5f);
}

TEST_F(ViewportTest, ScenePicksHonourSelectedAndUnselectedOnly) {
    ViewExp vpt;
    FrontPixelView(vpt);
    INode* a = MakePoint(L"A", Point3(-20, 0, 0), 10.0f);
    INode* b = MakePoint(L"B", Point3(20, 0, 0), 10.0f);
    Interface* ip = GetCOREInterface();
    ip->SelectNode(a);
    IPoint2 atA(80, 100), atB(120, 100);
    EXPECT_EQ(host::PickSceneNode(vpt, 0, HITTYPE_POINT, 0, &atA, nullptr, HIT_SELONLY), a);
    EXPECT_EQ(host::PickSceneNode(vpt, 0, HITTYPE_POINT, 0, &atB, nullptr, HIT_SELONLY), nullptr);
    EXPECT_EQ(host::PickSceneNode(vpt, 0, HITTYPE_POINT, 0, &atA, nullptr, HIT_UNSELONLY), nullptr);
    EXPECT_EQ(host::PickSceneNode(vpt, 0, HITTYPE_POINT, 0, &atB, nullptr, HIT_UNSELONLY), b);
    EXPECT_EQ(host::PickSceneNode(vpt, 0, HITTYPE_POINT, 0, &atB), b);

    std::vector<INode*> hit;
    IPoint2 all[2] = {IPoint2(50, 80), IPoint2(150, 120)};
    host::PickSceneNodes(vpt, 0, HITTYPE_BOX, FALSE, all, hit);
    EXPECT_EQ(hit.size(), 2u);
    host::PickSceneNodes(vpt, 0, HITTYPE_BOX, FALSE, all, hit, HIT_SELONLY);
    ASSERT_EQ(hit.size(), 1u);
    EXPECT_EQ(hit[0], a);
    host::PickSceneNodes(vpt, 0, HITTYPE_BOX, FALSE, all, hit, HIT_UNSELONLY);
    ASSERT_EQ(hit.size(), 1u);
    EXPECT_EQ(hit[0], b);
    host::PickSceneNodes(vpt, 0, HITTYPE_BOX, FALSE, all, hit, HIT_ABORTONHIT);
    EXPECT_EQ(hit.size(), 1u);
    // Selection changes are seen by the next pick.
    ip->SelectNode(b);  // clears a
    host::PickSceneNodes(vpt, 0, HITTYPE_BOX, FALSE, all, hit, HIT_SELONLY);
    ASSERT_EQ(hit.size(), 1u);
    EXPECT_EQ(hit[0], b);
}
