// How the host's objects look: each one drawn into an image and read back at pixels whose
// colour only that object can explain.
#ifdef KT_VIEWPORT_IMAGE

#include <QImage>

#include <cstdlib>

#include "control.h"
#include "polyobj.h"
#include "shape.h"
#include "simpobj.h"
#include "ui/viewport_image.h"
#include "viewport_fixture.h"

using namespace vptest;

namespace {

template <class T>
T* Make(SClass_ID sc, Class_ID cid) {
    return dynamic_cast<T*>(static_cast<Animatable*>(CreateInstance(sc, cid)));
}

void Place(INode* n, const Point3& p) {
    Matrix3 tm;
    tm.SetTrans(p);
    n->SetNodeTM(0, tm);
}

bool Near(QRgb c, int r, int g, int b, int tol = 40) {
    return std::abs(qRed(c) - r) <= tol && std::abs(qGreen(c) - g) <= tol && std::abs(qBlue(c) - b) <= tol;
}

// A transform controller that places the node at a fixed point and draws a line to a goal.
class GoalLineControl : public Control {
public:
    Point3 at, goal;
    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x6A1D0E31, 0x2F4C9B10); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    void GetValue(TimeValue, void* val, Interval&, GetSetMethod) override {
        Matrix3 local;
        local.SetTrans(at);
        *static_cast<Matrix3*>(val) = local * *static_cast<Matrix3*>(val);
    }
    void SetValue(TimeValue, void*, int, GetSetMethod) override {}
    int Display(TimeValue t, INode* inode, ViewExp* vpt, int) override {
        GraphicsWindow* gw = vpt->getGW();
        gw->setTransform(Matrix3());
        gw->setColor(LINE_COLOR, Point3(1, 1, 0));
        Point3 line[2] = {inode->GetNodeTM(t).GetTrans(), goal};
        gw->polyline(2, line, nullptr, FALSE, nullptr);
        return 0;
    }
    void GetWorldBoundBox(TimeValue t, INode* inode, ViewExp*, Box3& box) override {
        box += inode->GetNodeTM(t).GetTrans();
        box += goal;
    }
    int HitTest(TimeValue t, INode* inode, int type, int crossing, int, IPoint2* p, ViewExp* vpt) override {
        GraphicsWindow* gw = vpt->getGW();
        HitRegion hr;
        MakeHitRegion(hr, type, crossing, host::PickTolerance(), p);
        gw->setHitRegion(&hr);
        gw->setRndLimits(gw->getRndLimits() | GW_PICK);
        gw->setTransform(Matrix3());
        Point3 line[2] = {inode->GetNodeTM(t).GetTrans(), goal};
        gw->polyline(2, line, nullptr, FALSE, nullptr);
        return gw->checkHitCode();
    }
};

}  // namespace

TEST_F(ViewportTest, TransformControllersDrawAndFrameWhatTheyOwn) {
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, L"Limb");
    auto* c = new GoalLineControl;
    c->at = Point3(-40, 0, 0);
    c->goal = Point3(60, 0, 0);
    n->SetTMController(c);
    ViewExp& vpt = GetCOREInterface()->GetActiveViewExp();
    FrontPixelView(vpt, 200, 100);
    QImage img = host::CaptureActiveViewport();
    ASSERT_EQ(img.size(), QSize(200, 100));
    EXPECT_TRUE(Near(img.pixel(100, 50), 255, 255, 0, 30));
    EXPECT_TRUE(Near(img.pixel(155, 50), 255, 255, 0, 30));
    EXPECT_TRUE(Near(img.pixel(165, 50), 115, 115, 115, 2));  // past the goal
    Box3 box = host::SceneWorldBox(vpt, 0);
    EXPECT_FLOAT_EQ(box.pmin.x, -40.0f);
    EXPECT_FLOAT_EQ(box.pmax.x, 60.0f);

    // What the controller draws picks its node, though the node has no object.
    Interface* ip = GetCOREInterface();
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(150, 52)), n);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(150, 60)), nullptr);
    std::vector<INode*> hit;
    IPoint2 corners[2] = {IPoint2(50, 40), IPoint2(170, 60)};
    host::PickSceneNodes(vpt, 0, HITTYPE_BOX, FALSE, corners, hit);
    ASSERT_EQ(hit.size(), 1u);
    EXPECT_EQ(hit[0], n);
}

TEST_F(ViewportTest, LinksJoinChildrenToParentsWhenShown) {
    INode* parent = MakePoint(L"Hip", Point3(-50, 0, 0), 4.0f);
    INode* child = MakePoint(L"Knee", Point3(50, 0, 0), 4.0f);
    parent->AttachChild(child, TRUE);
    const Point3 saved = GetUIColor(COLOR_LINK_LINES);
    SetUIColor(COLOR_LINK_LINES, Point3(1, 0, 1));
    ViewExp vpt;
    FrontPixelView(vpt, 200, 100);
    EXPECT_TRUE(Near(host::RenderViewport(vpt, 0).pixel(100, 50), 115, 115, 115, 2));
    vpt.host_SetShowLinks(true);
    QImage img = host::RenderViewport(vpt, 0);
    EXPECT_TRUE(Near(img.pixel(100, 50), 255, 0, 255, 30));
    // Links are not something to click on.
    EXPECT_EQ(GetCOREInterface()->PickNode(&vpt, IPoint2(100, 50)), nullptr);
    // A top-level node has no link to the scene root.
    parent->GetParentNode()->AttachChild(child, TRUE);  // back under the root
    EXPECT_TRUE(Near(host::RenderViewport(vpt, 0).pixel(100, 50), 115, 115, 115, 2));
    SetUIColor(COLOR_LINK_LINES, saved);
}

TEST_F(ViewportTest, HostObjectsDrawInTheirOwnLook) {
    Interface* ip = GetCOREInterface();
    // An editable poly box (green) at the left, seen face-on from the front.
    auto* box = Make<SimpleObject>(GEOMOBJECT_CLASS_ID, BOXOBJ_CLASS_ID);
    box->GetParamBlock(0)->SetValue(box_length, 0, 40.0f);
    box->GetParamBlock(0)->SetValue(box_width, 0, 40.0f);
    box->GetParamBlock(0)->SetValue(box_height, 0, 40.0f);
    INode* polyNode = ip->CreateObjectNode(box, L"PolyBox");
    polyNode->SetWireColor(0x0000FF00);
    Place(polyNode, Point3(-100, 0, -20));
    ASSERT_NE(host::ConvertNodeToPoly(polyNode, 0), nullptr);
    // A bone (blue) pointing along +X in the middle.
    INode* bone = ip->CreateObjectNode(Make<Object>(GEOMOBJECT_CLASS_ID, BONE_OBJ_CLASSID), L"Bone");
    bone->SetWireColor(0x00FF0000);
    // A closed square spline (red) at the right, and a selected dummy around it.
    auto* shape = Make<SplineShape>(SHAPE_CLASS_ID, splineShapeClassID);
    Spline3D* sp = shape->shape.NewSpline();
    const Point3 corners[4] = {Point3(-15, 0, -15), Point3(15, 0, -15), Point3(15, 0, 15), Point3(-15, 0, 15)};
    for (const Point3& c : corners) sp->AddKnot(SplineKnot(KTYPE_CORNER, LTYPE_LINE, c, c, c));
    sp->SetClosed();
    INode* shapeNode = ip->CreateObjectNode(shape, L"Square");
    shapeNode->SetWireColor(0x000000FF);
    Place(shapeNode, Point3(100, 0, 0));
    auto* dummy = Make<DummyObject>(HELPER_CLASS_ID, DUMMY_CLASS_ID);
    dummy->SetBox(Box3(Point3(-25, -25, -25), Point3(25, 25, 25)));
    INode* dummyNode = ip->CreateObjectNode(dummy, L"Around");
    dummyNode->SetWireColor(0x000000FF);
    Place(dummyNode, Point3(100, 0, 0));
    ip->SelectNode(dummyNode);

    ViewExp vpt;
    FrontPixelView(vpt, 300, 120);  // pixel (150 + x, 60 - z)
    vpt.host_SetWire(false);
    QImage img = host::RenderViewport(vpt, 0);
    if (const char* dir = std::getenv("KT_VIEWPORT_LOOK_DIR")) img.save(QString(dir) + "/host_objects.png");

    // The poly's front face is lit head-on: full green. Its edges only show when selected.
    EXPECT_TRUE(Near(img.pixel(50, 60), 0, 255, 0, 10));
    EXPECT_TRUE(Near(img.pixel(69, 60), 0, 255, 0, 10));
    // The bone: blue faces along +X from the pivot, narrowing towards its tip.
    EXPECT_GT(qBlue(img.pixel(153, 60)), 150);
    EXPECT_LT(qRed(img.pixel(153, 60)), 60);
    EXPECT_TRUE(Near(img.pixel(145, 60), 115, 115, 115, 2)) << "nothing behind the pivot";
    // The spline's left edge at x = 85 is red; its inside is empty.
    EXPECT_TRUE(Near(img.pixel(235, 60), 255, 0, 0, 60));
    EXPECT_TRUE(Near(img.pixel(250, 60), 115, 115, 115, 2));
    // The dummy is selected: its edge at x = 75 is white, not red.
    EXPECT_TRUE(Near(img.pixel(225, 50), 255, 255, 255, 60));

    // Wireframe: the poly's face is no longer filled, its outline is.
    vpt.host_SetWire(true);
    img = host::RenderViewport(vpt, 0);
    EXPECT_TRUE(Near(img.pixel(50, 60), 115, 115, 115, 2));
    EXPECT_TRUE(Near(img.pixel(30, 60), 0, 255, 0, 80));

    // Picks match: the face inside only in a shaded view, the shape on its line.
    vpt.host_SetWire(false);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(50, 60)), polyNode);
    vpt.host_SetWire(true);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(50, 60)), nullptr);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(31, 60)), polyNode);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(236, 60)), shapeNode);
    EXPECT_EQ(ip->PickNode(&vpt, IPoint2(226, 60)), dummyNode);
}

#endif
