#include <gtest/gtest.h>

#include <cmath>

#include "constraint_scene.h"
#include "controllers/aim_constraint.h"
#include "controllers/axis_tables.h"
#include "controllers/root_constraint.h"
#include "controllers/rotation_space.h"
#include "controllers/stretch_constraint.h"
#include "euler.h"
#include "gfx.h"
#include "viewexp.h"
#include "math_matchers.h"
#include "scenefile.h"
#include "script/interpreter.h"
#include "stdctrl.h"

using namespace kt;
using kttest::AngleBetweenRotations;
using kttest::Compose;
using kttest::MakeNode;
using kttest::NearMatrix3;
using kttest::NearPoint3;

namespace {

using SingleTargetTest = kttest::ConstraintTest;

// A node with a PRS whose rotation is an AimConstraint.
INode* AimedNode(const wchar_t* name, INode* parent, const Point3& pos, AimConstraint*& aim) {
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, name);
    n->SetName(name);
    n->SetTMController(NewDefaultMatrix3Controller());
    if (parent) parent->AttachChild(n, 0);
    Point3 p = pos;
    n->GetTMController()->GetPositionController()->SetValue(0, &p, 1, CTRL_ABSOLUTE);
    aim = new AimConstraint();
    n->GetTMController()->SetRotationController(aim);
    return n;
}

float Cos(const Point3& a, const Point3& b) { return (a % b) / (a.Length() * b.Length()); }

}  // namespace

TEST(AxisTables, QuarterTurnsBringXToEachAxisAndAimRotationUndoesThem) {
    const Point3 axes[3] = {Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1)};
    EXPECT_THAT(AxisMatrix(0, false), NearMatrix3(Matrix3(), 0.0f));
    EXPECT_THAT(AxisMatrix(0, true), NearMatrix3(ScaleMatrix(Point3(-1, -1, 1)), 0.0f));
    for (int a = 0; a < 3; ++a)
        for (bool flip : {false, true}) {
            SCOPED_TRACE(a * 2 + flip);
            const Matrix3& m = AxisMatrix(a, flip);
            const Point3 to = axes[a] * (flip ? -1.0f : 1.0f);
            EXPECT_THAT(VectorTransform(Point3(1, 0, 0), m), NearPoint3(to, 0.0f));
            EXPECT_NEAR(m.Det(), 1.0f, 0.0f);
            for (int r = 0; r < 3; ++r)
                for (int c = 0; c < 3; ++c) EXPECT_TRUE(m[r][c] == 0.0f || std::fabs(m[r][c]) == 1.0f);
            EXPECT_THAT(TransformVector(AimRotation(a, flip), to), NearPoint3(Point3(1, 0, 0), 1e-6f));
        }
    EXPECT_THAT(AxisMatrix(7, false), NearMatrix3(Matrix3(), 0.0f));
}

TEST_F(SingleTargetTest, AimPointsEachAxisAtItsTargetUnderEveryParent) {
    for (const auto& [name, parentTM] : kttest::ParentCases()) {
        SCOPED_TRACE(name);
        host::ResetScene();
        INode* parent = MakeNode(L"P", nullptr, parentTM);
        INode* target = MakeNode(L"T", nullptr, TransMatrix(Point3(20, -5, 9)));
        AimConstraint* aim = nullptr;
        INode* n = AimedNode(L"N", parent, Point3(1, 2, 3), aim);
        const Matrix3 rest = n->GetNodeTM(0);
        // No target: the parent's frame (align 1).
        EXPECT_THAT(rest, NearMatrix3(TransMatrix(Point3(1, 2, 3)) * parentTM, 1e-5f));
        ASSERT_TRUE(aim->pblock->SetValue(AimConstraint::ac_target, 0, target));
        for (int axis = 0; axis < 3; ++axis)
            for (int flip = 0; flip < 2; ++flip) {
                SCOPED_TRACE(axis * 2 + flip);
                aim->pblock->SetValue(AimConstraint::ac_aim_axis, 0, axis);
                aim->pblock->SetValue(AimConstraint::ac_aim_axis_flip, 0, flip);
                const Matrix3 w = n->GetNodeTM(0);
                const Point3 toTarget = target->GetNodeTM(0).GetTrans() - w.GetTrans();
                EXPECT_NEAR(Cos(w[axis] * (flip ? -1.0f : 1.0f), toTarget), 1.0f, 1e-5f);
                EXPECT_THAT(w.GetTrans(), NearPoint3(rest.GetTrans(), 1e-4f));
            }
        // Aligned to the world, a turned parent no longer turns the node about its aim.
        if (parentTM.Det() > 0.0f) {
            aim->pblock->SetValue(AimConstraint::ac_align, 0, 0);
            const Matrix3 w0 = n->GetNodeTM(0);
            parent->SetNodeTM(0, RotateXMatrix(0.9f) * parentTM);
            const Matrix3 w1 = n->GetNodeTM(0);
            EXPECT_NEAR(Cos(w1[2] * -1.0f, target->GetNodeTM(0).GetTrans() - w1.GetTrans()), 1.0f, 1e-4f);
            EXPECT_NEAR(std::fabs(Cos(w0[1], w1[1])), 1.0f, 0.2f);
        }
    }
    {
        SCOPED_TRACE("cycles are refused through both node parameters");
        host::ResetScene();
        AimConstraint* aim = nullptr;
        INode* n = AimedNode(L"N", nullptr, Point3(), aim);
        INode* child = MakeNode(L"C", nullptr, Matrix3());
        AimConstraint* other = nullptr;
        INode* follower = AimedNode(L"F", nullptr, Point3(), other);
        ASSERT_TRUE(other->pblock->SetValue(AimConstraint::ac_target, 0, n));
        EXPECT_FALSE(aim->pblock->SetValue(AimConstraint::ac_target, 0, n));
        EXPECT_FALSE(aim->pblock->SetValue(AimConstraint::ac_align_node, 0, follower));
        EXPECT_TRUE(aim->pblock->SetValue(AimConstraint::ac_align_node, 0, child));
        EXPECT_EQ(aim->pblock->GetINode(AimConstraint::ac_target), nullptr);
    }
}

TEST_F(SingleTargetTest, AimViewlineIsDrawnWithTheSceneAlongTheAimAxis) {
    ViewExp vpt;  // a front view, one world unit a pixel: (x, z) -> pixel (100 + x, 100 - z)
    vpt.host_SetSize(200, 200);
    vpt.host_SetViewType(VIEW_FRONT);
    Matrix3 affine;
    vpt.GetAffineTM(affine);
    vpt.host_SetOrthographic(affine, 200.0f);
    AimConstraint* aim = nullptr;
    INode* n = AimedNode(L"N", nullptr, Point3(-30, 0, 0), aim);
    INode* target = MakeNode(L"T", nullptr, TransMatrix(Point3(70, 0, 0)));
    ASSERT_TRUE(aim->pblock->SetValue(AimConstraint::ac_target, 0, target));
    aim->pblock->SetValue(AimConstraint::ac_viewline_length, 0, 50.0f);
    const host::DrawList& list = vpt.getGW()->host_DrawList();
    auto end = [&]() -> Point3 {
        host::DrawScene(vpt, 0);
        for (const host::DrawPrimitive& p : list.prims) {
            if (p.count != 2) continue;
            const host::ScreenVertex& a = list.vertices[p.first];
            const host::ScreenVertex& b = list.vertices[p.first + 1];
            EXPECT_NEAR(a.x, 70.0f, 0.5f);  // from the node
            EXPECT_NEAR(a.y, 100.0f, 0.5f);
            return Point3(b.x, b.y, 0.0f);
        }
        ADD_FAILURE() << "no viewline in the scene";
        return Point3();
    };
    EXPECT_THAT(end(), NearPoint3(Point3(120, 100, 0), 0.5f));
    // It follows the aim when the target moves, and the aim axis when that changes.
    target->SetNodeTM(0, TransMatrix(Point3(-30, 0, 60)));
    EXPECT_THAT(end(), NearPoint3(Point3(70, 50, 0), 0.5f));
    aim->pblock->SetValue(AimConstraint::ac_aim_axis_flip, 0, 1);
    EXPECT_THAT(end(), NearPoint3(Point3(70, 50, 0), 0.5f)) << "the flipped axis still points at the target";
    // A percentage of the distance (60): 25 % is 15 units.
    aim->pblock->SetValue(AimConstraint::ac_viewline_length_abs, 0, 0);
    aim->pblock->SetValue(AimConstraint::ac_viewline_length, 0, 25.0f);
    EXPECT_THAT(end(), NearPoint3(Point3(70, 85, 0), 0.5f));
    (void)n;
}

TEST_F(SingleTargetTest, StretchSpansStartToEndAndResetsItsLength) {
    INode* a = MakeNode(L"A", nullptr, RotateZMatrix(0.3f) * TransMatrix(Point3(1, 1, 0)));
    INode* b = MakeNode(L"B", nullptr, TransMatrix(Point3(1, 41, 0)));
    INode* n = MakeNode(L"N", nullptr, Matrix3());
    auto* sc = new StretchConstraint();
    n->SetTMController(sc);
    sc->pblock->SetValue(StretchConstraint::sc_start, 0, a);
    sc->pblock->SetValue(StretchConstraint::sc_end, 0, b);
    Matrix3 w = n->GetNodeTM(0);
    EXPECT_THAT(w.GetTrans(), NearPoint3(Point3(1, 1, 0), 1e-5f));
    EXPECT_NEAR(Cos(w[0], Point3(0, 1, 0)), 1.0f, 1e-5f);
    EXPECT_NEAR(w[0].Length(), 40.0f / 20.0f, 1e-4f);  // stretch: dist / length
    EXPECT_NEAR(w[1].Length(), 20.0f / 40.0f, 1e-4f);  // squash: length / dist
    EXPECT_NEAR(w[2].Length(), 0.5f, 1e-4f);

    theHold.Begin();
    sc->ResetLength();
    theHold.Accept(L"Reset");
    EXPECT_FLOAT_EQ(sc->pblock->GetFloat(StretchConstraint::sc_length, 0), 40.0f);
    EXPECT_NEAR(n->GetNodeTM(0)[0].Length(), 1.0f, 1e-5f);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_FLOAT_EQ(sc->pblock->GetFloat(StretchConstraint::sc_length, 0), 20.0f);
    EXPECT_NEAR(n->GetNodeTM(0)[0].Length(), 2.0f, 1e-4f);

    // Aim axis Z flipped, squash off.
    sc->pblock->SetValue(StretchConstraint::sc_aim_axis, 0, 2);
    sc->pblock->SetValue(StretchConstraint::sc_aim_axis_flip, 0, 1);
    sc->pblock->SetValue(StretchConstraint::sc_squash, 0, 0.0f);
    w = n->GetNodeTM(0);
    EXPECT_NEAR(Cos(w[2] * -1.0f, Point3(0, 1, 0)), 1.0f, 1e-5f);
    EXPECT_NEAR(w[2].Length(), 2.0f, 1e-4f);
    EXPECT_NEAR(w[0].Length(), 1.0f, 1e-5f);

    // Start and end in one place: the distance is clamped, the scale stays finite.
    b->SetNodeTM(0, TransMatrix(Point3(1, 1, 0)));
    w = n->GetNodeTM(0);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 3; ++c) EXPECT_TRUE(std::isfinite(w[r][c]));
    EXPECT_NEAR(sc->dist, 0.001f, 1e-7f);

    {
        SCOPED_TRACE("the viewline: world units, or a percentage of the distance to end");
        b->SetNodeTM(0, TransMatrix(Point3(1, 41, 0)));
        ViewExp vpt;  // the host's default perspective view
        host::DrawList& list = vpt.getGW()->host_DrawList();
        auto line = [&] {
            list.Clear();
            EXPECT_EQ(sc->Display(0, n, &vpt, 0), 1);
            EXPECT_EQ(list.prims.size(), 1u);
            return list.vertices;
        };
        sc->pblock->SetValue(StretchConstraint::sc_viewline_length, 0, 20.0f);
        const auto worldUnits = line();
        sc->pblock->SetValue(StretchConstraint::sc_viewline_length_abs, 0, 0);
        sc->pblock->SetValue(StretchConstraint::sc_viewline_length, 0, 50.0f);  // half of 40
        const auto percent = line();
        ASSERT_EQ(worldUnits.size(), 2u);
        ASSERT_EQ(percent.size(), 2u);
        EXPECT_NEAR(worldUnits[1].x, percent[1].x, 1e-2f);
        EXPECT_NEAR(worldUnits[1].y, percent[1].y, 1e-2f);
        EXPECT_GT(std::fabs(worldUnits[1].x - worldUnits[0].x) + std::fabs(worldUnits[1].y - worldUnits[0].y), 1.0f);
        sc->pblock->SetValue(StretchConstraint::sc_use_end, 0, 0);
        list.Clear();
        EXPECT_EQ(sc->Display(0, n, &vpt, 0), 0) << "a percentage of nothing";
        sc->pblock->SetValue(StretchConstraint::sc_use_end, 0, 1);
        sc->pblock->SetValue(StretchConstraint::sc_viewline_length_abs, 0, 1);
    }

    // Inherited scale comes from start when align is the parent; a missing start gives 1.
    sc->pblock->SetValue(StretchConstraint::sc_align, 0, 1);
    sc->pblock->SetValue(StretchConstraint::sc_stretch_scale_active, 0, 0);
    b->SetNodeTM(0, TransMatrix(Point3(1, 41, 0)));
    a->SetNodeTM(0, ScaleMatrix(Point3(3, 3, 3)) * TransMatrix(Point3(1, 1, 0)));
    EXPECT_NEAR(n->GetNodeTM(0)[1].Length(), 3.0f, 1e-4f);
    sc->pblock->SetValue(StretchConstraint::sc_use_start, 0, 0);
    EXPECT_NEAR(n->GetNodeTM(0)[1].Length(), 1.0f, 1e-5f);
}

TEST_F(SingleTargetTest, RootFollowsGroundProjectionAndHeadingNeverTilt) {
    for (const auto& [name, parentTM] : kttest::ParentCases()) {
        SCOPED_TRACE(name);
        host::ResetScene();
        INode* parent = MakeNode(L"P", nullptr, parentTM);
        INode* body = MakeNode(L"Body", nullptr, RotateXMatrix(0.3f) * RotateZMatrix(0.8f) * TransMatrix(Point3(3, 4, 5)));
        INode* n = MakeNode(L"N", parent, Matrix3());
        auto* rc = new RootConstraint();
        n->SetTMController(rc);
        rc->pblock->SetValue(RootConstraint::rc_initial_target_offset, 0, 0);
        rc->pblock->SetValue(RootConstraint::rc_ground_offset, 0, -1000.0f);
        rc->pblock->SetValue(RootConstraint::rc_target, 0, body);
        // In the parent's space the root stands where the body is.
        EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(Point3(3, 4, 5), 1e-4f));
    }
    host::ResetScene();
    INode* body = MakeNode(L"Body", nullptr, RotateXMatrix(0.3f) * RotateZMatrix(0.8f) * TransMatrix(Point3(3, 4, 5)));
    INode* n = MakeNode(L"N", nullptr, Matrix3());
    auto* rc = new RootConstraint();
    n->SetTMController(rc);
    rc->pblock->SetValue(RootConstraint::rc_initial_target_offset, 0, 0);
    rc->pblock->SetValue(RootConstraint::rc_target, 0, body);
    Matrix3 w = n->GetNodeTM(0);
    EXPECT_THAT(w.GetTrans(), NearPoint3(Point3(3, 4, 5), 1e-4f));
    EXPECT_THAT(w[2], NearPoint3(Point3(0, 0, 1), 1e-5f)) << "no tilt";
    float bodyAng[3], rootAng[3];
    MatrixToEuler(body->GetNodeTM(0), bodyAng, EULERTYPE_XYZ);
    MatrixToEuler(w, rootAng, EULERTYPE_XYZ);
    EXPECT_NEAR(rootAng[2], bodyAng[2], 1e-5f);

    rc->pblock->SetValue(RootConstraint::rc_follow_vertical, 0, 0.0f);
    rc->pblock->SetValue(RootConstraint::rc_ground_offset, 0, 1.5f);
    rc->pblock->SetValue(RootConstraint::rc_follow_horizontal, 0, 0.5f);
    rc->pblock->SetValue(RootConstraint::rc_follow_turning, 0, 0.0f);
    w = n->GetNodeTM(0);
    EXPECT_THAT(w.GetTrans(), NearPoint3(Point3(1.5f, 2.0f, 1.5f), 1e-5f)) << "height is the floor";
    EXPECT_THAT(w, kttest::SameRotationMatrix(Matrix3(), 1e-6f));
    // Never below the ground while use_ground is on.
    rc->pblock->SetValue(RootConstraint::rc_follow_vertical, 0, 1.0f);
    body->SetNodeTM(0, TransMatrix(Point3(3, 4, -7)));
    EXPECT_NEAR(n->GetNodeTM(0).GetTrans().z, 1.5f, 1e-5f);
    rc->pblock->SetValue(RootConstraint::rc_use_ground, 0, 0);
    EXPECT_NEAR(n->GetNodeTM(0).GetTrans().z, -7.0f, 1e-5f);

    // With the initial offset the root measures from where the body was when it was picked.
    rc->pblock->SetValue(RootConstraint::rc_initial_target_offset, 0, 1);
    rc->pblock->SetValue(RootConstraint::rc_follow_horizontal, 0, 1.0f);
    rc->pblock->SetValue(RootConstraint::rc_target, 0, static_cast<INode*>(nullptr));
    body->SetNodeTM(0, RotateZMatrix(0.4f) * TransMatrix(Point3(3, 4, 5)));
    rc->pblock->SetValue(RootConstraint::rc_target, 0, body);
    EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(TransMatrix(Point3(3, 4, 0)), 1e-5f));
    body->SetNodeTM(0, RotateZMatrix(0.4f) * TransMatrix(Point3(3, 4, 7)));
    EXPECT_NEAR(n->GetNodeTM(0).GetTrans().z, 2.0f, 1e-5f);

    // The animator's own move goes to the inner controller within the root space.
    n->Move(0, Matrix3(), Point3(0, 1, 0));
    EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(Point3(3, 5, 2), 1e-5f));
}

TEST_F(SingleTargetTest, RotationSpaceTurnsTowardItsTargetByWeightAndKeepsMovesInPlace) {
    for (const auto& [name, parentTM] : kttest::ParentCases()) {
        if (parentTM.Det() < 0.0f || std::fabs(parentTM[0].Length() - parentTM[1].Length()) > 1e-6f) continue;
        SCOPED_TRACE(name);
        host::ResetScene();
        INode* parent = MakeNode(L"P", nullptr, parentTM);
        INode* space = MakeNode(L"S", nullptr, RotateYMatrix(1.2f) * TransMatrix(Point3(9, 9, 9)));
        INode* n = MakeNode(L"N", parent, Matrix3());
        auto* rs = new RotationSpace();
        n->SetTMController(rs);
        n->Move(0, parentTM, Point3(1, 2, 3));
        const Matrix3 rest = n->GetNodeTM(0);
        EXPECT_THAT(rest, NearMatrix3(TransMatrix(Point3(1, 2, 3)) * parentTM, 1e-5f));
        rs->pblock->SetValue(RotationSpace::rs_target, 0, space);
        Matrix3 w = n->GetNodeTM(0);
        EXPECT_THAT(w, kttest::SameRotationMatrix(RotateYMatrix(1.2f), 1e-5f));
        EXPECT_THAT(w.GetTrans(), NearPoint3(rest.GetTrans(), 1e-5f)) << "translation stays with the parent";
        rs->pblock->SetValue(RotationSpace::rs_weight, 0, 0.0f);
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(rest, 1e-5f));
        rs->pblock->SetValue(RotationSpace::rs_weight, 0, 0.5f);
        const Quat half(n->GetNodeTM(0));
        EXPECT_NEAR(AngleBetweenRotations(half, Quat(rest)), AngleBetweenRotations(Quat(rest), Quat(RotateYMatrix(1.2f))) / 2, 1e-4f);

        // Placed by the host: exactly there, whatever the space does.
        const Matrix3 placed = RotateXMatrix(0.5f) * TransMatrix(Point3(-4, 0, 2));
        n->SetNodeTM(0, placed);
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(placed, 1e-4f));
        n->Rotate(0, Matrix3(), Quat(Point3(0, 0, 1), 0.3f), TRUE);
        EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(placed.GetTrans(), 1e-4f));

        // Switching off is undoable and leaves the parent's orientation.
        theHold.Begin();
        rs->SetActive(false);
        theHold.Accept(L"Off");
        EXPECT_FALSE(rs->IsActive());
        ASSERT_TRUE(theHold.Undo());
        EXPECT_TRUE(rs->IsActive());
    }
    {
        SCOPED_TRACE("keep_initial_offset: picking a target does not turn the node");
        host::ResetScene();
        INode* space = MakeNode(L"S", nullptr, RotateYMatrix(1.2f));
        INode* n = MakeNode(L"N", nullptr, Matrix3());
        auto* rs = new RotationSpace();
        n->SetTMController(rs);
        rs->pblock->SetValue(RotationSpace::rs_keep_initial_offset, 0, 1);
        const Matrix3 rest = n->GetNodeTM(0);
        rs->pblock->SetValue(RotationSpace::rs_target, 0, space);
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(rest, 1e-5f));
        space->SetNodeTM(0, RotateYMatrix(1.2f) * RotateZMatrix(0.4f));
        EXPECT_THAT(n->GetNodeTM(0), kttest::SameRotationMatrix(RotateZMatrix(0.4f), 1e-5f));
    }
}

TEST_F(SingleTargetTest, SavedClonedAndScriptedConstraintsEvaluateIdentically) {
    INode* a = MakeNode(L"A", nullptr, RotateZMatrix(0.3f) * TransMatrix(Point3(1, 1, 0)));
    INode* b = MakeNode(L"B", nullptr, RotateXMatrix(0.4f) * TransMatrix(Point3(5, 41, 3)));
    MakeNode(L"S", nullptr, Matrix3());
    MakeNode(L"R", nullptr, Matrix3());
    MakeNode(L"Q", nullptr, Matrix3());
    AimConstraint* aim = nullptr;
    AimedNode(L"M", nullptr, Point3(2, 2, 2), aim);
    host::script::RunOptions quiet;
    quiet.quiet = true;
    auto& in = host::script::Interpreter::Global();
    auto run = [&](const char* text) {
        host::script::RunResult r = in.Run(text, quiet);
        EXPECT_TRUE(r.ok) << text << "\n" << r.error;
        return r.value.Print();
    };
    run("s = StretchConstraint()\n$S.controller = s\ns.start = $A\ns.end = $B\ns.length = 10\n"
        "r = RootConstraint()\n$R.controller = r\nr.target = $B\nr.follow_horizontal = 50\n"
        "q = RotationSpace()\n$Q.controller = q\nq.target = $B\nq.weight = 25\n"
        "a = $M.controller.rotation.controller\na.target = $B\na.aim_axis = 1");
    EXPECT_EQ(run("s.align"), "2");
    EXPECT_EQ(run("r.vertical_axis"), "2");
    EXPECT_EQ(run("q.weight"), "25.0");
    run("s.ResetLength()");
    EXPECT_NEAR(std::stof(run("s.length")), (b->GetNodeTM(0).GetTrans() - a->GetNodeTM(0).GetTrans()).Length(), 1e-3f);
    EXPECT_EQ(aim->pblock->GetINode(AimConstraint::ac_target), b);

    const wchar_t* names[] = {L"S", L"R", L"Q", L"M"};
    std::vector<Matrix3> before;
    for (const wchar_t* nm : names) before.push_back(GetCOREInterface()->GetINodeByName(nm)->GetNodeTM(0));
    // Clones evaluate the same on a node under the same parent.
    for (size_t i = 0; i < 3; ++i) {
        INode* orig = GetCOREInterface()->GetINodeByName(names[i]);
        auto* copy = static_cast<Control*>(CloneRefHierarchy(orig->GetTMController()));
        INode* twin = MakeNode(L"Twin", nullptr, Matrix3());
        twin->SetTMController(copy);
        EXPECT_THAT(twin->GetNodeTM(0), NearMatrix3(before[i], 1e-5f)) << i;
        GetCOREInterface()->DeleteNode(twin);
    }
    std::vector<uint8_t> bytes;
    std::wstring error;
    ASSERT_TRUE(host::SaveSceneToMemory(bytes, &error));
    host::ResetScene();
    ASSERT_TRUE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &error));
    for (size_t i = 0; i < 4; ++i) {
        INode* n = GetCOREInterface()->GetINodeByName(names[i]);
        ASSERT_NE(n, nullptr);
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(before[i], 1e-5f)) << i;
    }
}
