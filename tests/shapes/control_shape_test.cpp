#include <cmath>
#include <string>
#include <vector>

#include "shapes/control_shape.h"
#include "shapes/gizmo_block.h"
#include "shapes_scene.h"
#include "stdctrl.h"

using namespace kt;

using ControlShapeTest = shapes_test::ShapesTest;

TEST_F(ControlShapeTest, FiguresBecomeSplinesOnePerStripScaledAndValidAsTheirParameters) {
    auto* cs = new ControlShape();
    INode* node = GetCOREInterface()->CreateObjectNode(cs);
    cs->pblock->SetValue(pb_type, 0, kGizmoSphere);
    cs->pblock->SetValue(pb_steps, 0, 1);
    // Three circles of eight corner knots, closed, on the size's half.
    ASSERT_EQ(cs->NumberOfCurves(0), 3);
    for (int c = 0; c < 3; ++c) {
        EXPECT_TRUE(cs->CurveClosed(0, c));
        EXPECT_EQ(cs->NumberOfPieces(0, c), 8);
        EXPECT_EQ(cs->shape.GetSpline(c)->KnotCount(), 8);
    }
    EXPECT_TRUE(cs->InterpPiece3D(0, 0, 0, 0.0f).Equals(Point3(10.0f, 0.0f, 0.0f), 1e-4f));
    // Straight pieces: halfway along a piece lies on the chord.
    const Point3 a = cs->InterpPiece3D(0, 0, 0, 0.0f), b = cs->InterpPiece3D(0, 0, 0, 1.0f);
    EXPECT_TRUE(cs->InterpPiece3D(0, 0, 0, 0.5f).Equals((a + b) * 0.5f, 1e-4f));

    // scale multiplies everything, after the gizmo.
    cs->pblock->SetValue(pb_scale, 0, 2.0f);
    cs->SetGizmoPos(Point3(5.0f, 0.0f, 0.0f));
    Box3 box;
    cs->GetLocalBoundBox(0, node, nullptr, box);
    EXPECT_NEAR(box.pmax.x, 30.0f, 1e-3f);
    EXPECT_NEAR(box.pmin.x, -10.0f, 1e-3f);

    // The published scale part of the gizmo doubles it again, keeping its place.
    IControlShape* fp = static_cast<IControlShape*>(cs->GetInterface(ICONTROLSHAPE_INTERFACE_ID));
    ASSERT_NE(fp, nullptr);
    ASSERT_NE(fp->GetDesc()->FindProp(L"gizmoScale"), nullptr);
    fp->SetGizmoScale(Point3(2.0f, 2.0f, 2.0f));
    cs->GetLocalBoundBox(0, node, nullptr, box);
    EXPECT_NEAR(box.pmax.x, 50.0f, 1e-3f);
    EXPECT_TRUE(fp->GetGizmoPos().Equals(Point3(5.0f, 0.0f, 0.0f), 1e-5f));
    fp->SetGizmoScale(Point3(1.0f, 1.0f, 1.0f));

    // An open figure stays open; None has no curves.
    cs->pblock->SetValue(pb_type, 0, kGizmoCross);
    EXPECT_EQ(cs->NumberOfCurves(0), 3);
    EXPECT_FALSE(cs->CurveClosed(0, 0));
    cs->pblock->SetValue(pb_type, 0, kGizmoNone);
    EXPECT_EQ(cs->NumberOfCurves(0), 0);

    // An animated size narrows the validity to the time asked and rebuilds per time.
    cs->pblock->SetValue(pb_type, 0, kGizmoCircle);
    cs->pblock->SetValue(pb_scale, 0, 1.0f);
    cs->SetGizmoTM(Matrix3());
    AnimateOn();
    cs->pblock->SetValue(pb_size, 0, 20.0f);
    cs->pblock->SetValue(pb_size, 1600, 40.0f);
    AnimateOff();
    EXPECT_NEAR(cs->InterpPiece3D(0, 0, 0, 0.0f).x, 10.0f, 1e-3f);
    EXPECT_NEAR(cs->InterpPiece3D(1600, 0, 0, 0.0f).x, 20.0f, 1e-3f);
    const Interval v = cs->ChannelValidity(800, GEOM_CHAN_NUM);
    EXPECT_EQ(v.Start(), 800);
    EXPECT_EQ(v.End(), 800);
    EXPECT_EQ(cs->ChannelValidity(800, TEXMAP_CHAN_NUM), FOREVER);
}

TEST_F(ControlShapeTest, BlockVersionOneAndASavedSceneRebuildTheSameSplines) {
    auto* cs = new ControlShape();
    GetCOREInterface()->CreateObjectNode(cs, L"Shape");
    ASSERT_EQ(cs->pblock->GetDesc()->version, 1);
    cs->pblock->SetValue(pb_type, 0, kGizmoHand);
    cs->pblock->SetValue(pb_size, 0, 50.0f);
    cs->pblock->SetValue(pb_scale, 0, 0.5f);
    std::vector<Point3> before;
    for (int c = 0; c < cs->NumberOfCurves(0); ++c) before.push_back(cs->InterpCurve3D(0, c, 0.3f));

    std::vector<uint8_t> bytes;
    std::wstring error;
    ASSERT_TRUE(host::SaveSceneToMemory(bytes, &error));
    host::ResetScene();
    ASSERT_TRUE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &error));
    INode* node = GetCOREInterface()->GetINodeByName(L"Shape001");
    if (!node) node = GetCOREInterface()->GetINodeByName(L"Shape");
    ASSERT_NE(node, nullptr);
    auto* loaded = dynamic_cast<ControlShape*>(node->GetObjectRef());
    ASSERT_NE(loaded, nullptr);
    ASSERT_EQ(loaded->NumberOfCurves(0), static_cast<int>(before.size()));
    for (int c = 0; c < loaded->NumberOfCurves(0); ++c)
        EXPECT_TRUE(loaded->InterpCurve3D(0, c, 0.3f).Equals(before[size_t(c)], 1e-5f));
    EXPECT_TRUE(loaded->IsShapeObject());
    EXPECT_TRUE(loaded->IsSubClassOf(splineShapeClassID));
}
