#include <gtest/gtest.h>

#include <cmath>

#include "constraint_scene.h"
#include "controllers/parent_constraint.h"
#include "controllers/transform_constraint.h"
#include "math_matchers.h"
#include "scenefile.h"
#include "script/interpreter.h"
#include "stdctrl.h"

using namespace kt;
using kttest::Compose;
using kttest::MakeNode;
using kttest::NearMatrix3;
using kttest::NearPoint3;

namespace {

using TransformConstraintTest = kttest::ConstraintTest;

TransformConstraint* Constrain(INode* n) {
    auto* tc = new TransformConstraint();
    n->SetTMController(tc);
    return tc;
}

INode* KeyedNode(const wchar_t* name) {
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, name);
    n->SetName(name);
    n->SetTMController(NewDefaultMatrix3Controller());
    return n;
}

}  // namespace

TEST_F(TransformConstraintTest, FollowsOneTargetExactlyAndBlendsSeveralUnderEveryParent) {
    for (const auto& [name, parentTM] : kttest::ParentCases()) {
        SCOPED_TRACE(name);
        host::ResetScene();
        INode* parent = MakeNode(L"P", nullptr, parentTM);
        INode* a = MakeNode(L"A", parent, Compose(Quat(Point3(0, 1, 0), 0.4f), Point3(1, 2, 1), Point3(2, 0, 0)));
        INode* b = MakeNode(L"B", parent, Compose(Quat(Point3(0, 1, 0), -0.2f), Point3(1, 2, 1), Point3(0, 6, 0)));
        INode* n = MakeNode(L"N", parent, Matrix3());
        TransformConstraint* tc = Constrain(n);
        // Without targets the node stands where it was put.
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(parentTM, 1e-5f));
        ASSERT_TRUE(tc->appendTarget(a, 100.0f));
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(a->GetNodeTM(0), 0.0f)) << "no decomposition round-off";
        ASSERT_TRUE(tc->appendTarget(b, 100.0f));
        const Matrix3 w = n->GetNodeTM(0);
        EXPECT_THAT(w.GetTrans(), NearPoint3((a->GetNodeTM(0).GetTrans() + b->GetNodeTM(0).GetTrans()) * 0.5f, 1e-4f));
        // Past the weight table a target counts 1.0.
        tc->pblock->SetCount(TransformConstraint::p_weight, 1);
        tc->setWeight(0, 3.0f);
        EXPECT_THAT(n->GetNodeTM(0).GetTrans(),
                    NearPoint3((a->GetNodeTM(0).GetTrans() * 3.0f + b->GetNodeTM(0).GetTrans()) / 4.0f, 1e-4f));

        // local_world: the target's matrix in its parent's space, applied in the node's.
        host::ResetScene();
        INode* pa = MakeNode(L"PA", nullptr, TransMatrix(Point3(50, 0, 0)));
        INode* pn = MakeNode(L"PN", nullptr, parentTM);
        INode* t = MakeNode(L"T", pa, RotateZMatrix(0.5f) * TransMatrix(Point3(1, 2, 3)));
        INode* m = MakeNode(L"M", pn, Matrix3());
        TransformConstraint* lc = Constrain(m);
        lc->pblock->SetValue(TransformConstraint::p_local_world, 0, 1);
        lc->appendTarget(t, 100.0f);
        EXPECT_THAT(m->GetNodeTM(0), NearMatrix3(RotateZMatrix(0.5f) * TransMatrix(Point3(1, 2, 3)) * parentTM, 1e-4f));
    }
}

TEST_F(TransformConstraintTest, RelativeMovesStayUnderTheCursorWithAnimatedTargets) {
    INode* a = KeyedNode(L"A");
    INode* b = MakeNode(L"B", nullptr, TransMatrix(Point3(0, 10, 0)));
    const TimeValue t5 = 5 * GetTicksPerFrame(), t10 = 10 * GetTicksPerFrame();
    AnimateOn();
    a->SetNodeTM(0, TransMatrix(Point3(0, 0, 0)));
    a->SetNodeTM(t10, RotateZMatrix(1.0f) * TransMatrix(Point3(10, 0, 0)));
    AnimateOff();
    INode* n = MakeNode(L"N", nullptr, Matrix3());
    TransformConstraint* tc = Constrain(n);
    tc->appendTarget(a, 50.0f);
    tc->appendTarget(b, 50.0f);
    tc->pblock->SetValue(TransformConstraint::p_relative, 0, 1);
    const Matrix3 placed = RotateXMatrix(0.3f) * TransMatrix(Point3(4, 4, 4));
    theHold.Begin();
    n->SetNodeTM(t5, placed);
    theHold.Accept(L"Place");
    EXPECT_THAT(n->GetNodeTM(t5), NearMatrix3(placed, 1e-4f));
    // From there it follows the targets' motion.
    const Point3 drift = (a->GetNodeTM(t10).GetTrans() - a->GetNodeTM(t5).GetTrans()) * 0.5f;
    EXPECT_THAT(n->GetNodeTM(t10).GetTrans(), NearPoint3(placed.GetTrans() + drift, 1e-3f));
    n->Move(t5, Matrix3(), Point3(0, 0, 2));
    EXPECT_THAT(n->GetNodeTM(t5).GetTrans(), NearPoint3(placed.GetTrans() + Point3(0, 0, 2), 1e-4f));
    ASSERT_TRUE(theHold.Undo());
    EXPECT_FALSE(n->GetNodeTM(t5).Equals(placed, 1e-3f)) << "undo takes the placement back";

    // Without targets the move goes to the stored matrix.
    INode* free = MakeNode(L"F", nullptr, Matrix3());
    TransformConstraint* fc = Constrain(free);
    free->SetNodeTM(0, placed);
    EXPECT_THAT(free->GetNodeTM(0), NearMatrix3(placed, 1e-5f));
    EXPECT_THAT(fc->storedWorld, NearMatrix3(placed, 1e-5f));
}

TEST_F(TransformConstraintTest, ScaleBlendsTargetScalesAndRebasesWhenTheListChanges) {
    INode* a = MakeNode(L"A", nullptr, ScaleMatrix(Point3(2, 2, 2)) * TransMatrix(Point3(5, 0, 0)));
    INode* b = MakeNode(L"B", nullptr, ScaleMatrix(Point3(4, 4, 4)));
    INode* n = KeyedNode(L"N");
    auto* sc = new ScaleConstraint();
    n->GetTMController()->SetScaleController(sc);
    sc->appendTarget(a, 50.0f);
    sc->appendTarget(b, 50.0f);
    EXPECT_NEAR(n->GetNodeTM(0)[0].Length(), 3.0f, 1e-5f);
    ScaleValue sv;
    Interval iv = FOREVER;
    sc->GetValue(0, &sv, iv, CTRL_ABSOLUTE);
    EXPECT_THAT(sv.s, NearPoint3(Point3(3, 3, 3), 1e-5f));
    EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(Point3(0, 0, 0), 1e-6f)) << "only scale follows";

    // local_world: a target under a scaled parent counts its own scale.
    INode* big = MakeNode(L"Big", nullptr, ScaleMatrix(Point3(10, 10, 10)));
    INode* c = MakeNode(L"C", big, ScaleMatrix(Point3(1.5f, 1.5f, 1.5f)));
    sc->deleteTarget(1);
    sc->deleteTarget(0);
    sc->appendTarget(c, 50.0f);
    EXPECT_NEAR(n->GetNodeTM(0)[1].Length(), 15.0f, 1e-4f);
    sc->pblock->SetValue(ScaleConstraint::p_local_world, 0, 1);
    EXPECT_NEAR(n->GetNodeTM(0)[1].Length(), 1.5f, 1e-5f);

    // Relative: a new constraint keeps the node's size and scales it with the targets; a list
    // change never makes it jump.
    INode* r = KeyedNode(L"R");
    auto* rel = new ScaleConstraint();
    r->GetTMController()->SetScaleController(rel);
    rel->pblock->SetValue(ScaleConstraint::p_relative, 0, 1);
    rel->appendTarget(a, 50.0f);
    EXPECT_NEAR(r->GetNodeTM(0)[0].Length(), 1.0f, 1e-5f);
    a->SetNodeTM(0, ScaleMatrix(Point3(4, 4, 4)));
    const float before = r->GetNodeTM(0)[0].Length();
    EXPECT_NEAR(before, 2.0f, 1e-4f);
    rel->appendTarget(b, 50.0f);
    EXPECT_NEAR(r->GetNodeTM(0)[0].Length(), before, 1e-4f);
    b->SetNodeTM(0, ScaleMatrix(Point3(8, 8, 8)));
    EXPECT_NEAR(r->GetNodeTM(0)[0].Length(), before * 6.0f / 4.0f, 1e-4f);
    const float beforeSwap = r->GetNodeTM(0)[0].Length();
    rel->deleteTarget(1);
    rel->appendTarget(c, 50.0f);
    EXPECT_NEAR(r->GetNodeTM(0)[0].Length(), beforeSwap, 1e-4f) << "same count, other targets";
}

TEST_F(TransformConstraintTest, ListEditsUndoAndBothClassesSaveCloneAndScript) {
    INode* a = MakeNode(L"A", nullptr, TransMatrix(Point3(4, 0, 0)));
    MakeNode(L"B", nullptr, ScaleMatrix(Point3(2, 2, 2)) * TransMatrix(Point3(0, 8, 0)));
    INode* n = MakeNode(L"N", nullptr, Matrix3());
    INode* s = KeyedNode(L"S");
    s->GetTMController()->SetScaleController(new ScaleConstraint());
    n->GetNodeTM(0);
    host::script::RunOptions quiet;
    quiet.quiet = true;
    auto& in = host::script::Interpreter::Global();
    auto run = [&](const char* text) {
        host::script::RunResult r = in.Run(text, quiet);
        EXPECT_TRUE(r.ok) << text << "\n" << r.error;
        return r.value.Print();
    };
    run("t = TransformConstraint()\n$N.controller = t\nt.appendTarget $A 100\nt.constraints.appendTarget $B 50\n"
        "sc = $S.controller.scale.controller\nsc.appendTarget $B 50");
    EXPECT_EQ(run("t.getNumTargets()"), "2");
    EXPECT_EQ(run("(t.getNode 1) == $A"), "true");
    EXPECT_EQ(run("sc.getWeight 1"), "50.0");
    EXPECT_EQ(run("t.appendTarget $N 50"), "false");
    auto* tc = dynamic_cast<TransformConstraint*>(n->GetTMController());
    ASSERT_NE(tc, nullptr);

    const Point3 both = n->GetNodeTM(0).GetTrans();
    const int records = theHold.NumUndoRecords();
    tc->setWeight(1, 100.0f);
    tc->deleteTarget(0);
    EXPECT_EQ(theHold.NumUndoRecords(), records + 2);
    EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(Point3(0, 8, 0), 1e-4f));
    ASSERT_TRUE(theHold.Undo());
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(tc->getNode(0), a);
    EXPECT_THAT(n->GetNodeTM(0).GetTrans(), NearPoint3(both, 1e-4f));
    EXPECT_FALSE(tc->setWeight(5, 1.0f));
    EXPECT_FALSE(tc->deleteTarget(-1));

    const Matrix3 nBefore = n->GetNodeTM(0), sBefore = s->GetNodeTM(0);
    auto* copy = static_cast<Control*>(CloneRefHierarchy(tc));
    INode* twin = MakeNode(L"Twin", nullptr, Matrix3());
    twin->SetTMController(copy);
    EXPECT_THAT(twin->GetNodeTM(0), NearMatrix3(nBefore, 1e-5f));
    GetCOREInterface()->DeleteNode(twin);
    std::vector<uint8_t> bytes;
    std::wstring error;
    ASSERT_TRUE(host::SaveSceneToMemory(bytes, &error));
    host::ResetScene();
    ASSERT_TRUE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &error));
    EXPECT_THAT(GetCOREInterface()->GetINodeByName(L"N")->GetNodeTM(0), NearMatrix3(nBefore, 1e-5f));
    EXPECT_THAT(GetCOREInterface()->GetINodeByName(L"S")->GetNodeTM(0), NearMatrix3(sBefore, 1e-5f));
}

TEST_F(TransformConstraintTest, ConstraintsTakingOverAControllerLeaveTheNodeInPlace) {
    for (const auto& [name, parentTM] : kttest::ParentCases()) {
        if (parentTM.Det() < 0.0f) continue;  // a PRS cannot hold the local of a mirrored parent's child
        SCOPED_TRACE(name);
        host::ResetScene();
        INode* p = MakeNode(L"P", nullptr, parentTM);
        INode* n = KeyedNode(L"N");
        p->AttachChild(n, 0);
        n->SetNodeTM(0, RotateXMatrix(0.4f) * TransMatrix(Point3(3, 1, 2)));
        const Matrix3 before = n->GetNodeTM(0);
        Control* old = n->GetTMController();
        auto* tc = new TransformConstraint();
        tc->Copy(old);
        n->SetTMController(tc);
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(before, 1e-4f)) << "TransformConstraint";

        host::ResetScene();
        p = MakeNode(L"P", nullptr, parentTM);
        n = KeyedNode(L"N");
        p->AttachChild(n, 0);
        n->SetNodeTM(0, RotateXMatrix(0.4f) * TransMatrix(Point3(3, 1, 2)));
        const Matrix3 again = n->GetNodeTM(0);
        auto* pc = new ParentConstraint();
        pc->Copy(n->GetTMController());
        n->SetTMController(pc);
        EXPECT_THAT(n->GetNodeTM(0), NearMatrix3(again, 1e-4f)) << "ParentConstraint";
    }
}
