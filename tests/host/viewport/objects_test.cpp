// How the host's objects look: each one drawn into an image and read back at pixels whose
// colour only that object can explain.
#ifdef KT_VIEWPORT_IMAGE

#include <QImage>

#include <cstdlib>

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

}  // namespace

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
