#include <cmath>
#include <string>
#include <vector>

#include "scenefile.h"
#include "shapes/gizmo_block.h"
#include "shapes_scene.h"
#include "subobj.h"

using namespace kt;
using shapes_test::ScreenOf;
using shapes_test::SetView;

namespace {

using ControlHelperTest = shapes_test::ShapesTest;

// Pixel width and height of everything drawn.
Point3 DrawnExtent(ViewExp& vpt) {
    const host::DrawList& list = vpt.getGW()->host_DrawList();
    Box3 b;
    for (const host::ScreenVertex& v : list.vertices) b += Point3(v.x, v.y, 0.0f);
    return b.IsEmpty() ? Point3(0, 0, 0) : b.Width();
}

bool Picks(ViewExp& vpt, INode* node, IPoint2 p) {
    return node->GetObjectRef()->HitTest(0, node, HITTYPE_POINT, 0, 0, &p, &vpt) != 0;
}

}  // namespace

TEST_F(ControlHelperTest, BoundingBoxesHoldEveryLineThroughTheGizmo) {
    ControlHelper* h = nullptr;
    INode* node = MakeHelper(kGizmoCircle, 20.0f, Point3(30.0f, -5.0f, 12.0f), &h);
    node->SetNodeTM(0, RotateYMatrix(0.6f) * TransMatrix(Point3(30.0f, -5.0f, 12.0f)));
    const Matrix3 gizmo = ScaleMatrix(Point3(1.5f, 0.5f, 2.0f)) * RotateXMatrix(0.7f) * RotateZMatrix(-0.3f) *
                          TransMatrix(Point3(4.0f, -8.0f, 2.0f));
    h->pblock->SetValue(pb_gizmo, 0, gizmo);
    h->pblock->SetValue(pb_warp_amount, 0, 0.4f);
    h->pblock->SetValue(pb_warp_axis, 0, 2);
    ViewExp vpt;
    SetView(vpt, VIEW_PERSP_USER);
    for (int type = 1; type < kNumGizmoTypes; ++type) {
        h->pblock->SetValue(pb_type, 0, type);
        for (int camera = 0; camera < 2; ++camera) {
            h->pblock->SetValue(pb_face_camera, 0, camera);
            h->pblock->SetValue(pb_constant_screen_size, 0, camera);
            Box3 local, world;
            h->GetLocalBoundBox(0, node, &vpt, local);
            h->GetWorldBoundBox(0, node, &vpt, world);
            ASSERT_FALSE(world.IsEmpty()) << type;
            const Matrix3 drawTM = h->MakeDrawTM(0, node, &vpt);
            Matrix3 localTM = gizmo;
            if (camera) {
                const float s = vpt.GetVPWorldWidth(node->GetObjectTM(0).GetTrans()) / 360.0f;
                localTM = gizmo * ScaleMatrix(Point3(s, s, s));
            }
            Box3 worldGrown = world, localGrown = local;
            worldGrown.EnlargeBy(1e-3f * Length(world.Width()));
            localGrown.EnlargeBy(1e-3f * Length(local.Width()));
            for (const Point3& p : h->Lines(0).points) {
                EXPECT_TRUE(worldGrown.Contains(p * drawTM)) << type << " camera " << camera;
                EXPECT_TRUE(localGrown.Contains(p * localTM)) << type << " camera " << camera;
            }
        }
    }
    // None: nothing to bound.
    h->pblock->SetValue(pb_type, 0, kGizmoNone);
    Box3 none;
    h->GetLocalBoundBox(0, node, nullptr, none);
    EXPECT_TRUE(none.IsEmpty());
}

TEST_F(ControlHelperTest, ClickPicksWithinThePickToleranceOnly) {
    INode* node = MakeHelper(kGizmoRectangle, 20.0f, Point3(0, 0, 0));
    ViewExp vpt;
    SetView(vpt, VIEW_TOP);
    const IPoint2 edge = ScreenOf(vpt, Point3(10.0f, 0.0f, 0.0f));
    const int tol = host::PickTolerance();
    EXPECT_TRUE(Picks(vpt, node, edge));
    EXPECT_TRUE(Picks(vpt, node, IPoint2(edge.x + tol, edge.y)));
    EXPECT_FALSE(Picks(vpt, node, IPoint2(edge.x + tol + 1, edge.y)));
    // Inside the outline is not on it.
    EXPECT_FALSE(Picks(vpt, node, ScreenOf(vpt, Point3(0, 0, 0))));
    // Through the scene's own pick.
    IPoint2 p = edge;
    EXPECT_EQ(host::PickSceneNode(vpt, 0, HITTYPE_POINT, 0, &p), node);
    p = IPoint2(edge.x + tol + 1, edge.y);
    EXPECT_EQ(host::PickSceneNode(vpt, 0, HITTYPE_POINT, 0, &p), nullptr);

    // The gizmo moves what is picked; None has nothing to pick.
    auto* h = static_cast<ControlHelper*>(node->GetObjectRef());
    h->SetGizmoPos(Point3(50.0f, 0.0f, 0.0f));
    EXPECT_FALSE(Picks(vpt, node, edge));
    EXPECT_TRUE(Picks(vpt, node, ScreenOf(vpt, Point3(60.0f, 0.0f, 0.0f))));
    h->pblock->SetValue(pb_type, 0, kGizmoNone);
    EXPECT_FALSE(Picks(vpt, node, ScreenOf(vpt, Point3(60.0f, 0.0f, 0.0f))));
}

TEST_F(ControlHelperTest, ConstantScreenSizeKeepsTheDrawnSizeAsTheNodeMovesAway) {
    ControlHelper* h = nullptr;
    INode* node = MakeHelper(kGizmoCircle, 40.0f, Point3(0, 0, 0), &h);
    ViewExp vpt;
    SetView(vpt, VIEW_PERSP_USER);
    Matrix3 affine;
    vpt.GetAffineTM(affine);
    const Point3 eye = Inverse(affine).GetTrans();
    auto extentAt = [&](float distanceFactor) {
        node->SetNodeTM(0, TransMatrix(eye + (Point3(0, 0, 0) - eye) * distanceFactor));
        host::DrawScene(vpt, 0);
        return DrawnExtent(vpt);
    };
    h->pblock->SetValue(pb_constant_screen_size, 0, 1);
    const Point3 near1 = extentAt(1.0f);
    const Point3 far1 = extentAt(2.0f);
    ASSERT_GT(near1.x, 5.0f);
    EXPECT_NEAR(far1.x, near1.x, 0.02f * near1.x);
    EXPECT_NEAR(far1.y, near1.y, 0.02f * near1.y);
    // Without it the circle shrinks with distance.
    h->pblock->SetValue(pb_constant_screen_size, 0, 0);
    const Point3 near0 = extentAt(1.0f);
    const Point3 far0 = extentAt(2.0f);
    EXPECT_LT(far0.x, 0.6f * near0.x);

    // The offset line joins the gizmo's origin to the pivot: one more strip, ending there.
    h->pblock->SetValue(pb_constant_screen_size, 0, 0);
    node->SetNodeTM(0, Matrix3());
    h->SetGizmoPos(Point3(0.0f, 0.0f, 30.0f));
    host::DrawScene(vpt, 0);
    const size_t strips = vpt.getGW()->host_DrawList().prims.size();
    h->pblock->SetValue(pb_offset_line, 0, 1);
    host::DrawScene(vpt, 0);
    const host::DrawList& list = vpt.getGW()->host_DrawList();
    ASSERT_EQ(list.prims.size(), strips + 1);
    const host::DrawPrimitive& line = list.prims.back();
    ASSERT_EQ(line.count, 2u);
    const Point3 pivot = vpt.MapWorldToScreen(Point3(0, 0, 0));
    const Point3 origin = vpt.MapWorldToScreen(Point3(0, 0, 30));
    EXPECT_NEAR(list.vertices[line.first].x, origin.x, 0.5f);
    EXPECT_NEAR(list.vertices[line.first + 1].x, pivot.x, 0.5f);
    EXPECT_NEAR(list.vertices[line.first + 1].y, pivot.y, 0.5f);
    h->pblock->SetValue(pb_offset_line, 0, 0);

    // Shaded views add a faint fill under each closed outline; wireframe views draw lines only.
    auto fills = [&] {
        host::DrawScene(vpt, 0);
        int n = 0;
        for (const host::DrawPrimitive& prim : vpt.getGW()->host_DrawList().prims)
            n += prim.kind == host::DrawPrimitive::Polygon ? 1 : 0;
        return n;
    };
    EXPECT_EQ(fills(), 0);
    vpt.host_SetWire(false);
    EXPECT_EQ(fills(), 1);
    h->pblock->SetValue(pb_type, 0, kGizmoCross);
    EXPECT_EQ(fills(), 0);
    h->pblock->SetValue(pb_type, 0, kGizmoCircle);
    vpt.host_SetWire(true);

    // Orthographic: the factor is the view's width, never zero.
    h->pblock->SetValue(pb_constant_screen_size, 0, 1);
    SetView(vpt, VIEW_FRONT);
    Box3 box;
    h->GetWorldBoundBox(0, node, &vpt, box);
    EXPECT_GT(box.Width().x, 0.0f);
}

TEST_F(ControlHelperTest, FaceCameraTurnsTheFigureToTheViewerWithScreenUp) {
    ControlHelper* h = nullptr;
    INode* node = MakeHelper(kGizmoArrow, 40.0f, Point3(5, 5, 5), &h);
    node->SetNodeTM(0, RotateXMatrix(1.0f) * RotateZMatrix(0.4f) * TransMatrix(Point3(5, 5, 5)));
    h->pblock->SetValue(pb_face_camera, 0, 1);
    ViewExp vpt;
    SetView(vpt, VIEW_PERSP_USER);
    Matrix3 affine;
    vpt.GetAffineTM(affine);
    const Matrix3 toView = h->MakeDrawTM(0, node, &vpt) * affine;
    // Object Z points at the viewer (view +Z), object Y is screen up (view +Y).
    EXPECT_GT(Normalize(toView.GetRow(2)).z, 0.999f);
    EXPECT_GT(Normalize(toView.GetRow(1)).y, 0.999f);
    EXPECT_TRUE(h->MakeDrawTM(0, node, &vpt).GetTrans().Equals(Point3(5, 5, 5), 1e-4f));
}

TEST_F(ControlHelperTest, SelectorFacesPickTheControlAndBackFacesAreIgnoredWhenAsked) {
    INode* skin = MakePlane();
    ControlHelper* h = nullptr;
    INode* node = MakeHelper(kGizmoNone, 10.0f, Point3(200, 200, 0), &h);
    // Its own node, or another node of the same helper, is refused; another mesh is taken.
    EXPECT_FALSE(h->pblock->SetValue(pb_selector_node, 0, node));
    INode* instance = GetCOREInterface()->CreateObjectNode(h, L"Instance");
    EXPECT_FALSE(h->pblock->SetValue(pb_selector_node, 0, instance));
    GetCOREInterface()->DeleteNode(instance);
    ASSERT_TRUE(h->pblock->SetValue(pb_selector_node, 0, skin));
    h->pblock->SetValue(pb_selector_active, 0, 1);
    BitArray sel(2);
    sel.Set(0);
    h->SetFaceSelection(sel);

    ViewExp vpt;
    SetView(vpt, VIEW_TOP);
    const IPoint2 face0 = ScreenOf(vpt, Point3(-10, 0, 0));
    const IPoint2 face1 = ScreenOf(vpt, Point3(10, 0, 0));
    EXPECT_TRUE(Picks(vpt, node, face0));
    EXPECT_FALSE(Picks(vpt, node, face1));
    IPoint2 p = face0;
    EXPECT_EQ(host::PickSceneNode(vpt, 0, HITTYPE_POINT, 0, &p), node);
    // Inactive: no faces.
    h->pblock->SetValue(pb_selector_active, 0, 0);
    EXPECT_FALSE(Picks(vpt, node, face0));
    h->pblock->SetValue(pb_selector_active, 0, 1);

    // From below the faces turn their backs.
    SetView(vpt, VIEW_BOTTOM);
    const IPoint2 under = ScreenOf(vpt, Point3(-10, 0, 0));
    EXPECT_TRUE(Picks(vpt, node, under));
    h->pblock->SetValue(pb_selector_ignore_backfacing, 0, 1);
    EXPECT_FALSE(Picks(vpt, node, under));

    // Drawing: the selected face pushed along its normal, at the unselected opacity.
    SetView(vpt, VIEW_TOP);
    host::DrawScene(vpt, 0);
    int polygons = 0;
    for (const host::DrawPrimitive& prim : vpt.getGW()->host_DrawList().prims)
        if (prim.kind == host::DrawPrimitive::Polygon && prim.alpha < 1.0f) {
            ++polygons;
            EXPECT_NEAR(prim.alpha, 0.25f, 1e-5f);
        }
    EXPECT_EQ(polygons, 1);

    // Polygon-pick mode: a click toggles the face under it.
    ASSERT_TRUE(host::SetSubObjectLevel(node, kSelectPolygonsLevel));
    EXPECT_TRUE(Picks(vpt, node, face1));
    EXPECT_EQ(h->FaceSelection()[1], 1);
    EXPECT_EQ(h->FaceSelection()[0], 1);
    EXPECT_TRUE(Picks(vpt, node, face0));
    EXPECT_EQ(h->FaceSelection()[0], 0);
    // Each pick is one undo step.
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(h->FaceSelection()[0], 1);
    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(h->FaceSelection()[0], 0);
    // A crossing box over both faces adds them both.
    IPoint2 box[2] = {ScreenOf(vpt, Point3(-5, 5, 0)), ScreenOf(vpt, Point3(5, -5, 0))};
    EXPECT_NE(h->HitTest(0, node, HITTYPE_BOX, 1, 0, box, &vpt), 0);
    EXPECT_EQ(h->FaceSelection().NumberSet(), 2);
    host::SetSubObjectLevel(node, 0);

    // A mesh that lost faces clips the selection to the faces it has.
    auto* po = static_cast<PolyObject*>(skin->GetObjectRef());
    po->GetMesh().setNumFaces(1);
    po->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    ASSERT_NE(h->SelectorMesh(0), nullptr);
    EXPECT_EQ(h->SelectorMesh(0)->numf, 1);
    EXPECT_EQ(h->FaceSelection().GetSize(), 1);

    // A new selector node starts with no faces.
    INode* other = MakePlane();
    h->pblock->SetValue(pb_selector_node, 0, other);
    EXPECT_FALSE(h->FaceSelection().AnyBitSet());
}

TEST_F(ControlHelperTest, GizmoToolsEditTheGizmoInObjectSpaceWithUndoAndRedo) {
    ControlHelper* h = nullptr;
    INode* node = MakeHelper(kGizmoBox, 20.0f, Point3(0, 0, 0), &h);
    // The object turned a quarter about Z: world +X is object -Y.
    node->SetNodeTM(0, RotateZMatrix(0.5f * 3.14159265f) * TransMatrix(Point3(10, 0, 0)));
    ASSERT_TRUE(host::SetSubObjectLevel(node, kGizmoLevel));
    EXPECT_EQ(h->SubObjectLevel(), kGizmoLevel);

    const int records = theHold.NumUndoRecords();
    ASSERT_TRUE(host::SubObjectMove(0, Matrix3(), Point3(5.0f, 0.0f, 0.0f)));
    EXPECT_EQ(theHold.NumUndoRecords(), records + 1);
    EXPECT_TRUE(h->GetGizmoPos().Equals(Point3(0.0f, -5.0f, 0.0f), 1e-4f));

    // Scaling about the gizmo's own origin leaves it in place.
    ASSERT_TRUE(host::SubObjectScale(0, Matrix3(), Point3(2.0f, 2.0f, 2.0f), true));
    EXPECT_TRUE(h->GetGizmoPos().Equals(Point3(0.0f, -5.0f, 0.0f), 1e-4f));
    EXPECT_TRUE(h->GetGizmoScale().Equals(Point3(2.0f, 2.0f, 2.0f), 1e-4f));
    // A world turn about the world origin carries the gizmo round.
    ASSERT_TRUE(host::SubObjectRotate(0, Matrix3(), Quat(AngAxis(Point3(0, 0, 1), 0.3f))));
    EXPECT_EQ(theHold.NumUndoRecords(), records + 3);

    const Matrix3 done = h->GetGizmoTM();
    ASSERT_TRUE(theHold.Undo());
    ASSERT_TRUE(theHold.Undo());
    EXPECT_TRUE(h->GetGizmoScale().Equals(Point3(1, 1, 1), 1e-4f));
    ASSERT_TRUE(theHold.Undo());
    EXPECT_TRUE(h->GetGizmoTM().Equals(Matrix3()));
    ASSERT_TRUE(theHold.Redo());
    EXPECT_TRUE(h->GetGizmoPos().Equals(Point3(0.0f, -5.0f, 0.0f), 1e-4f));
    ASSERT_TRUE(theHold.Redo());
    ASSERT_TRUE(theHold.Redo());
    EXPECT_TRUE(h->GetGizmoTM().Equals(done, 1e-5f));

    // Reset Gizmo is one step of its own.
    h->ResetGizmo();
    EXPECT_TRUE(h->GetGizmoTM().Equals(Matrix3()));
    ASSERT_TRUE(theHold.Undo());
    EXPECT_TRUE(h->GetGizmoTM().Equals(done, 1e-5f));

    // Off the level the tools do nothing to the gizmo.
    host::SetSubObjectLevel(node, 0);
    EXPECT_FALSE(host::SubObjectMove(0, Matrix3(), Point3(1, 0, 0)));
}

TEST_F(ControlHelperTest, SavedSceneBringsBackParametersGizmoAndFaceSelection) {
    INode* skin = MakePlane();
    const std::wstring skinName = skin->GetName();
    ControlHelper* h = nullptr;
    MakeHelper(kGizmoStar, 33.0f, Point3(1, 2, 3), &h);
    h->pblock->SetValue(pb_selector_node, 0, skin);
    h->pblock->SetValue(pb_selector_active, 0, 1);
    h->pblock->SetValue(pb_thickness, 0, 0.3f);
    h->SetGizmoTM(RotateXMatrix(0.5f) * TransMatrix(Point3(1, 0, 0)));
    BitArray sel(2);
    sel.Set(1);
    h->SetFaceSelection(sel);

    // A clone has its own block with the same values, and the same faces.
    auto* copy = static_cast<ControlHelper*>(CloneRefHierarchy(h));
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy->pblock, h->pblock);
    EXPECT_EQ(copy->GetType(), kGizmoStar);
    EXPECT_EQ(copy->FaceSelection(), sel);
    EXPECT_EQ(copy->GetSelectorNode(), skin);
    GetCOREInterface()->CreateObjectNode(copy, L"Copy");

    std::vector<uint8_t> bytes;
    std::wstring error;
    ASSERT_TRUE(host::SaveSceneToMemory(bytes, &error));
    host::ResetScene();
    ASSERT_TRUE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &error));
    INode* node = GetCOREInterface()->GetINodeByName(L"Ctl001");
    if (!node) node = GetCOREInterface()->GetINodeByName(L"Ctl");
    ASSERT_NE(node, nullptr);
    auto* loaded = dynamic_cast<ControlHelper*>(node->GetObjectRef());
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->GetType(), kGizmoStar);
    EXPECT_FLOAT_EQ(loaded->pblock->GetFloat(pb_size), 33.0f);
    EXPECT_FLOAT_EQ(loaded->pblock->GetFloat(pb_thickness), 0.3f);
    EXPECT_TRUE(loaded->GetGizmoTM().Equals(RotateXMatrix(0.5f) * TransMatrix(Point3(1, 0, 0)), 1e-6f));
    EXPECT_EQ(loaded->FaceSelection(), sel);
    ASSERT_NE(loaded->GetSelectorNode(), nullptr);
    EXPECT_EQ(std::wstring(loaded->GetSelectorNode()->GetName()), skinName);

    // A damaged selection chunk refuses the file whole.
    std::vector<uint8_t> damaged = bytes;
    bool changed = false;
    for (size_t i = 0; i + 6 < damaged.size() && !changed; ++i) {
        // The selection chunk: id 0x0100, then its length; the count of 2 bits follows.
        if (damaged[i] == 0x00 && damaged[i + 1] == 0x01 && damaged[i + 6] == 2 && damaged[i + 7] == 0) {
            damaged[i + 6] = 200;
            changed = true;
        }
    }
    ASSERT_TRUE(changed);
    {
        EXPECT_FALSE(host::LoadSceneFromMemory(damaged.data(), damaged.size(), &error));
    }
}

TEST_F(ControlHelperTest, PublishedPropertiesReadAndWriteTheGizmoParts) {
    ControlHelper* h = nullptr;
    MakeHelper(kGizmoCircle, 20.0f, Point3(0, 0, 0), &h);
    IControlHelper* fp = static_cast<IControlHelper*>(h->GetInterface(ICONTROLHELPER_INTERFACE_ID));
    ASSERT_NE(fp, nullptr);
    FPInterfaceDesc* desc = fp->GetDesc();
    ASSERT_NE(desc->FindProp(L"gizmoPos"), nullptr);
    ASSERT_NE(desc->FindProp(L"selector_face_sel"), nullptr);
    int code = -1;
    ASSERT_TRUE(desc->GetEnum(IControlHelper::enumType)->FindCode(L"SphereGeo", code));
    EXPECT_EQ(code, kGizmoSphereGeo);

    fp->SetGizmoScale(Point3(2.0f, 3.0f, 4.0f));
    fp->SetGizmoRot(Quat(AngAxis(Point3(0, 0, 1), 0.4f)));
    fp->SetGizmoPos(Point3(7.0f, 8.0f, 9.0f));
    EXPECT_TRUE(fp->GetGizmoScale().Equals(Point3(2.0f, 3.0f, 4.0f), 1e-4f));
    EXPECT_TRUE(fp->GetGizmoPos().Equals(Point3(7.0f, 8.0f, 9.0f), 1e-5f));
    const Point3 x = fp->GetGizmoTM().GetRow(0);
    EXPECT_NEAR(std::atan2(x.y, x.x), -0.4f, 1e-4f);  // quaternions turn the other way

    FPValue result;
    ASSERT_EQ(fp->Invoke(IControlHelper::fnResetGizmo, result), FPS_OK);
    EXPECT_TRUE(fp->GetGizmoTM().Equals(Matrix3()));
    // Display names of the rows, the unselected opacity's label included as it stands.
    ParamBlockDesc2* pbd = h->pblock->GetDesc();
    EXPECT_EQ(std::wstring(pbd->GetLocalName(pb_type).data()), L"Helper Type");
    EXPECT_EQ(std::wstring(pbd->GetLocalName(pb_selector_unsel_opacity).data()), L"Use Position");
    EXPECT_EQ(std::wstring(pbd->GetLocalName(pb_warp_amount).data()), L"Warp Amount");
    // The type enum refuses anything outside the catalogue.
    EXPECT_FALSE(h->pblock->SetValue(pb_type, 0, kNumGizmoTypes));
    EXPECT_EQ(fp->GetType(), kGizmoCircle);
}

TEST_F(ControlHelperTest, ColoursFollowTheNodeAndDrawOnTopLeavesTheDepthTest) {
    ControlHelper* h = nullptr;
    INode* node = MakeHelper(kGizmoCircle, 20.0f, Point3(0, 0, 0), &h);
    node->SetWireColor(0x000000FF);
    ViewExp vpt;
    SetView(vpt, VIEW_TOP);
    auto first = [&]() -> host::DrawPrimitive {
        host::DrawScene(vpt, 0);
        const auto& prims = vpt.getGW()->host_DrawList().prims;
        return prims.empty() ? host::DrawPrimitive() : prims.front();
    };
    host::DrawPrimitive p = first();
    EXPECT_NEAR(p.color.r, 1.0f, 1e-5f);
    EXPECT_NEAR(p.color.g, 0.0f, 1e-5f);
    EXPECT_FALSE(p.onTop);
    GetCOREInterface()->SelectNode(node);
    p = first();
    const Point3 selected = GetUIColor(COLOR_SELECTION);
    EXPECT_NEAR(p.color.r, selected.x, 1e-5f);
    EXPECT_NEAR(p.color.b, selected.z, 1e-5f);
    GetCOREInterface()->ClearNodeSelection();
    node->Freeze(TRUE);
    p = first();
    EXPECT_NEAR(p.color.g, GetUIColor(COLOR_FREEZE).y, 1e-5f);
    node->Freeze(FALSE);
    h->pblock->SetValue(pb_draw_on_top, 0, 1);
    EXPECT_TRUE(first().onTop);
    // The window's own limits come back after drawing.
    EXPECT_NE(vpt.getGW()->getRndLimits() & GW_Z_BUFFER, 0u);
}
