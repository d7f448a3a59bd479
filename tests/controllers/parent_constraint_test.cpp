#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "constraint_scene.h"
#include "controllers/parent_constraint.h"
#include "decomp.h"
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
using kttest::SameRotation;

namespace {

using ParentConstraintTest = kttest::ConstraintTest;

ParentConstraint* Constrain(INode* n) {
    auto* pc = new ParentConstraint();
    n->SetTMController(pc);
    return pc;
}

Quat RotOf(const Matrix3& m) {
    AffineParts ap;
    decomp_affine(m, &ap);
    return ap.q;
}

}  // namespace

TEST_F(ParentConstraintTest, BlendsOneAndSeveralWeightedTargetsUnderEveryParent) {
    for (const auto& [name, parentTM] : kttest::ParentCases()) {
        SCOPED_TRACE(name);
        host::ResetScene();
        INode* parent = MakeNode(L"P", nullptr, parentTM);
        INode* a = MakeNode(L"A", parent, Compose(Quat(Point3(0, 0, 1), 0.4f), Point3(1, 1, 1), Point3(2, 0, 0)));
        INode* b = MakeNode(L"B", parent, Compose(Quat(Point3(0, 0, 1), -0.8f), Point3(2, 2, 2), Point3(0, 6, 1)));
        INode* n = MakeNode(L"N", parent, TransMatrix(Point3(1, 1, 1)));
        ParentConstraint* pc = Constrain(n);
        const Matrix3 aw = a->GetNodeTM(0), bw = b->GetNodeTM(0);

        ASSERT_TRUE(pc->appendTarget(a, 0.0f));
        // One target is followed fully, mirrored or not, whatever its weight.
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(aw, 1e-5f));

        ASSERT_TRUE(pc->appendTarget(b, 30.0f));
        ASSERT_TRUE(pc->setWeight(0, 10.0f));
        const Matrix3 w = n->GetNodeTM(0);
        // Translation is the weighted mean in any parent.
        EXPECT_THAT(w.GetTrans(), NearPoint3((aw.GetTrans() * 10.0f + bw.GetTrans() * 30.0f) / 40.0f, 1e-4f));
        // Blends never mirror: the sign of a mirrored target is dropped.
        EXPECT_GT(w.Det(), 0.0f);
        if (parentTM.Det() > 0.0f && std::fabs(parentTM[0].Length() - parentTM[1].Length()) < 1e-6f) {
            // Rigid parents: the turn is a quarter of the way from A to B, and the uniform scale
            // the weighted mean.
            const Quat qa = RotOf(aw), qb = RotOf(bw);
            const float between = AngleBetweenRotations(qa, qb);
            EXPECT_NEAR(AngleBetweenRotations(qa, RotOf(w)), between * 0.75f, 1e-4f);
            EXPECT_NEAR(AngleBetweenRotations(qb, RotOf(w)), between * 0.25f, 1e-4f);
            EXPECT_NEAR(w[0].Length(), (aw[0].Length() * 10.0f + bw[0].Length() * 30.0f) / 40.0f, 1e-4f);
        }

        // Two targets on one matrix blend back to it: decomposition and recomposition agree,
        // stretch and shear of a non-uniform parent included.
        b->SetNodeTM(0, aw);
        if (parentTM.Det() > 0.0f) {
            EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(aw, 1e-4f));
        }

        // Weights of 0 everywhere leave no blend: the identity.
        pc->setWeight(0, 0.0f);
        pc->setWeight(1, 0.0f);
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(Matrix3(), 1e-6f));
    }
}

TEST_F(ParentConstraintTest, RotationsFarApartBlendTheShortWayAndMirroredScaleStaysPositive) {
    // 170 degrees apart about different axes: each target's quaternion is made closest to the
    // running blend, so the middle lies halfway along the short arc.
    const Quat qa(Point3(1, 0, 0), 0.0f);
    const Quat qb(Normalize(Point3(0, 1, 1)), 170.0f * 3.14159265f / 180.0f);
    INode* a = MakeNode(L"A", nullptr, Compose(qa, Point3(1, 1, 1), Point3()));
    INode* b = MakeNode(L"B", nullptr, Compose(qb, Point3(1, 1, 1), Point3()));
    INode* n = MakeNode(L"N", nullptr, Matrix3());
    ParentConstraint* pc = Constrain(n);
    pc->appendTarget(a, 50.0f);
    pc->appendTarget(b, 50.0f);
    const Quat mid = RotOf(n->GetNodeTM(0));
    EXPECT_NEAR(AngleBetweenRotations(mid, qa), 85.0f * 3.14159265f / 180.0f, 1e-3f);
    EXPECT_NEAR(AngleBetweenRotations(mid, qb), 85.0f * 3.14159265f / 180.0f, 1e-3f);

    // A mirrored target with scale 2 and a plain one with scale 1: the mean is 1.5, not 0.5.
    a->SetNodeTM(0, ScaleMatrix(Point3(-2, 2, 2)));
    b->SetNodeTM(0, Matrix3());
    const Matrix3 w = n->GetNodeTM(0);
    EXPECT_NEAR(w[0].Length(), 1.5f, 1e-4f);
    EXPECT_NEAR(w[2].Length(), 1.5f, 1e-4f);
    EXPECT_GT(w.Det(), 0.0f);
}

TEST_F(ParentConstraintTest, KeepOffsetAddsTargetsWithoutAJumpAndMovesStayWhereTheAnimatorPutThem) {
    for (const auto& [name, parentTM] : kttest::ParentCases()) {
        SCOPED_TRACE(name);
        host::ResetScene();
        INode* parent = MakeNode(L"P", nullptr, parentTM);
        INode* a = MakeNode(L"A", nullptr, Compose(Quat(Point3(1, 0, 0), 0.6f), Point3(1, 1, 1), Point3(4, 4, 0)));
        INode* b = MakeNode(L"B", nullptr, TransMatrix(Point3(-3, 0, 2)));
        INode* n = MakeNode(L"N", parent, Compose(Quat(Point3(0, 1, 0), 0.3f), Point3(1, 1, 1), Point3(0, 2, 0)));
        ParentConstraint* pc = Constrain(n);
        // The first evaluation fixes the blend space of a constraint without targets.
        const Matrix3 before = n->GetNodeTM(0);
        EXPECT_THAT(before, NearMatrix3(parentTM, 1e-5f));
        pc->pblock->SetValue(ParentConstraint::pc_relative, 0, 1);

        ASSERT_TRUE(pc->appendTarget(a, 50.0f));
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(before, 1e-4f));
        // Follows A rigidly.
        const Matrix3 turn = RotateZMatrix(0.5f) * TransMatrix(Point3(1, 2, 3));
        const Matrix3 a0 = a->GetNodeTM(0);
        a->SetNodeTM(0, a0 * turn);
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(before * turn, 1e-4f));
        // A second target joins without a jump either.
        const Matrix3 held = n->GetNodeTM(0);
        ASSERT_TRUE(pc->appendTarget(b, 50.0f));
        // A mirrored blend space loses its sign once two targets are blended (deliberately).
        if (parentTM.Det() > 0.0f) {
            EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(held, 1e-4f));
        }

        // The animator moves and places the node: it stays there, and then follows from there.
        const Point3 at = n->GetNodeTM(0).GetTrans();
        n->Move(0, Matrix3(), Point3(0, 0, 5));
        EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(at + Point3(0, 0, 5), 1e-4f));
        // The inner controller keeps the handedness of the space it works in.
        const Matrix3 hand = n->GetNodeTM(0).Det() < 0.0f ? ScaleMatrix(Point3(-1, 1, 1)) : Matrix3();
        const Matrix3 placed = hand * RotateYMatrix(1.1f) * TransMatrix(Point3(7, 7, 7));
        n->SetNodeTM(0, placed);
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(placed, 1e-4f));
        b->SetNodeTM(0, b->GetNodeTM(0) * TransMatrix(Point3(2, 0, 0)));
        EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(placed.GetTrans() + Point3(1, 0, 0), 1e-4f));
    }
    {
        SCOPED_TRACE("without relative the node takes the target's frame under its own offset");
        host::ResetScene();
        INode* a = MakeNode(L"A", nullptr, RotateXMatrix(0.6f) * TransMatrix(Point3(4, 4, 0)));
        INode* n = MakeNode(L"N", nullptr, Matrix3());
        ParentConstraint* pc = Constrain(n);
        n->GetNodeTM(0);
        pc->appendTarget(a, 50.0f);
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(a->GetNodeTM(0), 1e-5f));
    }
}

TEST_F(ParentConstraintTest, RefusesCyclesDuplicatesAndBadIndexesAndPassesOverDeletedTargets) {
    INode* a = MakeNode(L"A", nullptr, TransMatrix(Point3(4, 0, 0)));
    INode* b = MakeNode(L"B", nullptr, TransMatrix(Point3(0, 8, 0)));
    INode* n = MakeNode(L"N", nullptr, Matrix3());
    ParentConstraint* pc = Constrain(n);
    ParentConstraint* onN = Constrain(b);
    ASSERT_TRUE(onN->appendTarget(n, 50.0f));

    EXPECT_FALSE(pc->appendTarget(n, 50.0f));  // itself
    EXPECT_FALSE(pc->appendTarget(b, 50.0f));  // B already follows N
    // The block's own validator refuses the same through a direct set.
    pc->pblock->SetCount(ParentConstraint::pc_target_list, 1);
    EXPECT_FALSE(pc->pblock->SetValue(ParentConstraint::pc_target_list, 0, b, 0));
    pc->pblock->SetCount(ParentConstraint::pc_target_list, 0);
    ASSERT_TRUE(pc->appendTarget(a, 50.0f));
    EXPECT_FALSE(pc->appendTarget(a, 20.0f));
    EXPECT_EQ(pc->getNumTargets(), 1);

    EXPECT_EQ(pc->getWeight(1), 0.0f);
    EXPECT_EQ(pc->getWeight(-1), 0.0f);
    EXPECT_FALSE(pc->setWeight(1, 10.0f));
    EXPECT_FALSE(pc->deleteTarget(3));
    EXPECT_EQ(pc->getNode(1), nullptr);
    EXPECT_FLOAT_EQ(pc->getWeight(0), 50.0f);

    // A deleted target is passed over; with none left the node keeps its first blend space.
    INode* c = MakeNode(L"C", nullptr, TransMatrix(Point3(0, 0, 12)));
    ASSERT_TRUE(pc->appendTarget(c, 50.0f));
    EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(Point3(2, 0, 6), 1e-5f));
    theHold.Begin();
    GetCOREInterface()->DeleteNode(c);
    theHold.Accept(L"Delete");
    EXPECT_EQ(pc->getNumTargets(), 2);
    EXPECT_EQ(pc->getNode(1), nullptr);
    EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(Point3(4, 0, 0), 1e-5f));
    ASSERT_TRUE(theHold.Undo());
    EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(Point3(2, 0, 6), 1e-5f));
    GetCOREInterface()->DeleteNode(a);
    GetCOREInterface()->DeleteNode(GetCOREInterface()->GetINodeByName(L"C"));
    EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(pc->initTM, 1e-6f));
}

TEST_F(ParentConstraintTest, EveryPublishedEditUndoesAndRedoesAsOneStep) {
    INode* a = MakeNode(L"A", nullptr, TransMatrix(Point3(4, 0, 0)));
    INode* b = MakeNode(L"B", nullptr, TransMatrix(Point3(0, 8, 0)));
    INode* n = MakeNode(L"N", nullptr, Matrix3());
    ParentConstraint* pc = Constrain(n);
    ASSERT_TRUE(pc->appendTarget(a, 50.0f));
    const Point3 onA(4, 0, 0), even(2, 4, 0), quarter(3, 2, 0);

    struct Step {
        const char* what;
        std::function<void()> run;
        Point3 before, after;
        int countBefore, countAfter;
    };
    std::vector<Step> steps = {
        {"appendTarget", [&] { pc->appendTarget(b, 50.0f); }, onA, even, 1, 2},
        {"setWeight", [&] { pc->setWeight(0, 150.0f); }, even, Point3(3, 2, 0), 2, 2},
        {"deleteTarget", [&] { pc->deleteTarget(1); }, quarter, onA, 2, 1},
    };
    for (Step& s : steps) {
        SCOPED_TRACE(s.what);
        const int records = theHold.NumUndoRecords();
        s.run();
        EXPECT_EQ(theHold.NumUndoRecords(), records + 1);
        EXPECT_EQ(pc->getNumTargets(), s.countAfter);
        EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(s.after, 1e-5f));
        ASSERT_TRUE(theHold.Undo());
        EXPECT_EQ(pc->getNumTargets(), s.countBefore);
        EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(s.before, 1e-5f));
        ASSERT_TRUE(theHold.Redo());
        EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(s.after, 1e-5f));
    }
    EXPECT_EQ(pc->pblock->Count(ParentConstraint::pc_offset), 1);
}

TEST_F(ParentConstraintTest, SavedAndClonedConstraintsEvaluateIdentically) {
    INode* p = MakeNode(L"P", nullptr, RotateZMatrix(0.3f) * TransMatrix(Point3(1, 2, 3)));
    INode* a = MakeNode(L"A", p, Compose(Quat(Point3(1, 1, 0), 0.5f), Point3(1, 2, 1), Point3(4, 0, 0)));
    INode* b = MakeNode(L"B", nullptr, TransMatrix(Point3(0, 8, 0)));
    INode* n = MakeNode(L"N", p, Matrix3());
    ParentConstraint* pc = Constrain(n);
    n->GetNodeTM(0);
    pc->pblock->SetValue(ParentConstraint::pc_relative, 0, 1);
    pc->appendTarget(a, 30.0f);
    pc->appendTarget(b, 70.0f);
    n->Move(0, Matrix3(), Point3(1, 0, 0));
    a->SetNodeTM(0, a->GetNodeTM(0) * TransMatrix(Point3(0, 0, 3)));
    const Matrix3 expected = n->GetNodeTM(0);

    auto* copy = static_cast<ParentConstraint*>(CloneRefHierarchy(pc));
    INode* m = MakeNode(L"M", p, Matrix3());
    m->SetTMController(copy);
    EXPECT_THAT(m->GetNodeTM(0), NearMatrix3(expected, 1e-6f));
    EXPECT_EQ(copy->getNode(1), b);
    GetCOREInterface()->DeleteNode(m);

    std::vector<uint8_t> bytes;
    std::wstring error;
    ASSERT_TRUE(host::SaveSceneToMemory(bytes, &error)) << std::string(error.begin(), error.end());
    host::ResetScene();
    ASSERT_TRUE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &error)) << std::string(error.begin(), error.end());
    INode* loaded = GetCOREInterface()->GetINodeByName(L"N");
    ASSERT_NE(loaded, nullptr);
    auto* lpc = dynamic_cast<ParentConstraint*>(loaded->GetTMController());
    ASSERT_NE(lpc, nullptr);
    EXPECT_EQ(lpc->getNumTargets(), 2);
    EXPECT_EQ(lpc->getNode(0), GetCOREInterface()->GetINodeByName(L"A"));
    EXPECT_FLOAT_EQ(lpc->getWeight(1), 70.0f);
    EXPECT_THAT(loaded->GetNodeTM(0), NearMatrix3(expected, 1e-6f));

    // A damaged state chunk refuses the file whole: the scene stays as it was.
    std::vector<uint8_t> cut(bytes.begin(), bytes.begin() + static_cast<long>(bytes.size() / 2));
    EXPECT_FALSE(host::LoadSceneFromMemory(cut.data(), cut.size(), &error));
    EXPECT_NE(GetCOREInterface()->GetINodeByName(L"N"), nullptr);
}

TEST_F(ParentConstraintTest, ScriptsCreateWireAndQueryTheConstraint) {
    MakeNode(L"A", nullptr, TransMatrix(Point3(4, 0, 0)));
    MakeNode(L"B", nullptr, TransMatrix(Point3(0, 8, 0)));
    MakeNode(L"N", nullptr, Matrix3());
    host::script::RunOptions quiet;
    quiet.quiet = true;
    auto& in = host::script::Interpreter::Global();
    auto run = [&](const char* text) {
        host::script::RunResult r = in.Run(text, quiet);
        EXPECT_TRUE(r.ok) << r.error;
        return r;
    };
    run("c = ParentConstraint()\n$N.controller = c\n"
        "ok1 = c.appendTarget $A 50\nok2 = c.constraints.appendTarget $B 25\n"
        "bad = c.appendTarget $N 50");
    host::script::RunResult r = run("c.getNumTargets()");
    EXPECT_EQ(r.value.Print(), "2");
    EXPECT_EQ(run("ok1 and ok2 and not bad").value.Print(), "true");
    EXPECT_EQ(run("(c.getNode 2) == $B").value.Print(), "true");
    EXPECT_EQ(run("c.getWeight 2").value.Print(), "25.0");
    run("undo \"w\" on (c.setWeight 2 75)\nc.deleteTarget 1");
    INode* n = GetCOREInterface()->GetINodeByName(L"N");
    auto* pc = dynamic_cast<ParentConstraint*>(n->GetTMController());
    ASSERT_NE(pc, nullptr);
    EXPECT_EQ(pc->getNumTargets(), 1);
    EXPECT_FLOAT_EQ(pc->getWeight(0), 75.0f);
    EXPECT_EQ(run("c.relative").value.Print(), "false");
}

TEST_F(ParentConstraintTest, ParentMovesAndAncestorScalesLeaveTheNodeAndSnapshotsUndo) {
    INode* p = MakeNode(L"P", nullptr, TransMatrix(Point3(0, 0, 10)));
    INode* a = MakeNode(L"A", nullptr, TransMatrix(Point3(4, 0, 0)));
    INode* n = MakeNode(L"N", p, Matrix3());
    ParentConstraint* pc = Constrain(n);
    pc->appendTarget(a, 50.0f);
    const Matrix3 start = n->GetNodeTM(0);
    const Matrix3 parentTM = p->GetNodeTM(0);
    EXPECT_THAT(pc->lastSetTM, NearMatrix3(parentTM, 0.0f));

    {
        SCOPED_TRACE("a scale meant for a selected ancestor does not reach the inner controller");
        GetCOREInterface()->SelectNode(p);
        GetCOREInterface()->SetRefCoordSys(COORDS_LOCAL);
        theHold.Begin();
        SetXFormPacket scale(Point3(2, 2, 2), TRUE, parentTM, Matrix3());
        pc->SetValue(0, &scale);
        theHold.Accept(L"Scale");
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(start, 1e-6f));
        // In the first coordinate mode the node is scaled itself.
        GetCOREInterface()->SetRefCoordSys(COORDS_HYBRID);
        theHold.Begin();
        pc->SetValue(0, &scale);
        theHold.Accept(L"Scale");
        EXPECT_NEAR(n->GetNodeTM(0)[0].Length(), 2.0f, 1e-5f);
        ASSERT_TRUE(theHold.Undo());
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(start, 1e-6f));
        GetCOREInterface()->SetRefCoordSys(COORDS_WORLD);
        GetCOREInterface()->ClearNodeSelection();
    }
    {
        SCOPED_TRACE("a packet that only restates the parent's own move leaves the node");
        n->GetNodeTM(0);
        theHold.Begin();
        SetXFormPacket move(Point3(0, 0, 3), parentTM * TransMatrix(Point3(0, 0, -3)), Matrix3());
        pc->SetValue(0, &move);
        theHold.Accept(L"Move");
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(start, 1e-6f));
        // Selected, the same packet is the animator's move.
        GetCOREInterface()->SelectNode(n);
        n->GetNodeTM(0);
        theHold.Begin();
        SetXFormPacket again(Point3(0, 0, 3), parentTM * TransMatrix(Point3(0, 0, -3)), Matrix3());
        pc->SetValue(0, &again);
        theHold.Accept(L"Move");
        EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(start.GetTrans() + Point3(0, 0, 3), 1e-5f));
        GetCOREInterface()->ClearNodeSelection();
    }
    {
        SCOPED_TRACE("a moved target is snapshotted once per hold and undo brings the pair back");
        n->GetNodeTM(0);
        ASSERT_EQ(pc->snapshots.size(), 1u);
        const Matrix3 before = pc->snapshots[0].tm;
        theHold.Begin();
        a->SetNodeTM(0, TransMatrix(Point3(5, 0, 0)));
        n->GetNodeTM(0);
        EXPECT_TRUE(pc->TestAFlag(A_HELD));
        a->SetNodeTM(0, TransMatrix(Point3(6, 0, 0)));
        n->GetNodeTM(0);
        theHold.Accept(L"Move target");
        EXPECT_FALSE(pc->TestAFlag(A_HELD));
        EXPECT_THAT(pc->snapshots[0].tm, NearMatrix3(TransMatrix(Point3(6, 0, 0)), 0.0f));
        EXPECT_THAT(pc->snapshots[0].lastTM, NearMatrix3(TransMatrix(Point3(5, 0, 0)), 0.0f));
        ASSERT_TRUE(theHold.Undo());
        EXPECT_THAT(pc->snapshots[0].tm, NearMatrix3(before, 0.0f));
        EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(start.GetTrans() + Point3(0, 0, 3), 1e-5f));
    }
}
