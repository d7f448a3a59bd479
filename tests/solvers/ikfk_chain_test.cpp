#include <gtest/gtest.h>

#include "chain_scene.h"
#include "math_matchers.h"
#include "solvers/ikfk_display_mod.h"
#include "solvers/ikfk_link.h"
#include "triobj.h"

using namespace kt;
using namespace kttest;

namespace {

std::vector<Matrix3> WorldBeforeFit(int n, const Matrix3& parentTM) {
    PlainChain c = MakeChain(n);
    c.in.baseTM = parentTM;
    c.Solve(0.0f);
    return c.Pose();
}

}  // namespace

TEST_F(ChainSceneTest, FittingKeepsThePoseAndJointsAnswerFromTheChain) {
    for (const ParentCase& pc : ParentCases()) {
        host::ResetScene();
        ChainScene s = ChainScene::Make(3, pc.tm, false);
        EXPECT_LT(PoseDiff(s.Pose(), WorldBeforeFit(3, pc.tm)), 1e-4f) << pc.name;
        for (INode* j : s.joints) {
            auto* c = static_cast<IKFKControl*>(j->GetTMController());
            ASSERT_EQ(c->ClassID(), IKFKCONTROL_CLASS_ID);
            EXPECT_EQ(c->GetChain(), s.chain);
            EXPECT_EQ(c->SubAnimName(IKFKControl::kMainRef), MSTR(L"FK Sub-Control"));
        }
        auto* gc = static_cast<IKFKControl*>(s.goal->GetTMController());
        EXPECT_EQ(gc->SubAnimName(IKFKControl::kMainRef), MSTR(L"IK Goal"));
        // The goal stands where it stood.
        EXPECT_THAT(s.goal->GetNodeTM(0).GetTrans(), NearPoint3(Point3(15.0f, 5.0f, 0.0f) * pc.tm, 1e-4f));
    }
}

TEST_F(ChainSceneTest, IKAndFKSnapWithoutAPop) {
    for (int n : {2, 3, 4, 6}) {
        for (bool target : {false, true}) {
            for (const ParentCase& pc : ParentCases()) {
                host::ResetScene();
                ChainScene s = ChainScene::Make(n, pc.tm, target);
                const std::vector<Matrix3> fk = s.Pose();
                const float tol = 1e-4f * s.MaxBone();
                std::string what = std::to_string(n) + (target ? " target " : " swivel ") + pc.name;
                s.chain->IK();
                EXPECT_FLOAT_EQ(s.Blend(), 1.0f);
                EXPECT_LT(PoseDiff(s.Pose(), fk), tol) << what << " FK -> IK";
                // Move the goal: a new IK pose; FK must take it over exactly.
                Point3 d(-2.0f, 1.5f, 1.0f);
                SetXFormPacket mv(d, s.parent->GetNodeTM(0), Matrix3());
                s.goal->GetTMController()->SetValue(0, &mv, 1, CTRL_RELATIVE);
                const std::vector<Matrix3> ik = s.Pose();
                EXPECT_GT(PoseDiff(ik, fk), 0.1f) << what;
                s.chain->FK();
                EXPECT_FLOAT_EQ(s.Blend(), 0.0f);
                EXPECT_LT(PoseDiff(s.Pose(), ik), tol) << what << " IK -> FK";
            }
        }
    }
}

TEST_F(ChainSceneTest, ThousandSwitchesDoNotDrift) {
    struct Case {
        const char* name;
        float manual, soft, autoS;
    };
    for (const Case& k : {Case{"plain", 1.0f, 0.0f, 0.0f}, Case{"stretched", 1.3f, 0.0f, 1.0f},
                          Case{"soft", 1.0f, 0.3f, 0.0f}}) {
        host::ResetScene();
        ChainScene s = ChainScene::Make(3, ParentCases()[2].tm, false);
        IParamBlock2* pb = s.chain->pblock;
        pb->SetValue(IKFKChain::pb_manual_stretch, 0, k.manual);
        pb->SetValue(IKFKChain::pb_soft_ik, 0, k.soft);
        pb->SetValue(IKFKChain::pb_auto_stretch, 0, k.autoS);
        const std::vector<Matrix3> start = s.Pose();
        const float length = s.Length();
        for (int i = 0; i < 1000; ++i) {
            s.chain->IK();
            s.chain->FK();
        }
        EXPECT_LT(PoseDiff(s.Pose(), start), 1e-4f * s.MaxBone()) << k.name;
        EXPECT_NEAR(s.Length(), length, 1e-4f * length) << k.name;
    }
}

TEST_F(ChainSceneTest, GoalBeyondReachWithAutoStretchMatchesThroughManualStretch) {
    ChainScene s = ChainScene::Make(3, ParentCases()[1].tm, false);
    IParamBlock2* pb = s.chain->pblock;
    pb->SetValue(IKFKChain::pb_auto_stretch, 0, 1.0f);
    s.chain->IK();
    SetXFormPacket mv(Point3(30.0f, 10.0f, 0.0f), s.parent->GetNodeTM(0), Matrix3());
    s.goal->GetTMController()->SetValue(0, &mv, 1, CTRL_RELATIVE);
    const std::vector<Matrix3> ik = s.Pose();
    EXPECT_THAT(ik[2].GetTrans(), NearPoint3(s.goal->GetNodeTM(0).GetTrans(), 1e-3f));
    EXPECT_GT(s.chain->Solver().stretchFactor, 1.0f);
    s.chain->MatchManualStretch();
    EXPECT_LT(PoseDiff(s.Pose(), ik), 1e-3f) << "the stretch moved into manual_stretch";
    EXPECT_NEAR(s.chain->Solver().stretchFactor, 1.0f, 1e-4f);
    s.chain->FK();
    EXPECT_LT(PoseDiff(s.Pose(), ik), 1e-3f);
}

TEST_F(ChainSceneTest, SolvingLeavesFKKeysAlone) {
    ChainScene s = ChainScene::Make(3, Matrix3(), false);
    Control* rot = s.chain->GetFKController(1)->GetRotationController();
    AnimateOn();
    Quat a = BendZ(0.3f), b = BendZ(0.9f);
    rot->SetValue(0, &a, 1, CTRL_ABSOLUTE);
    rot->SetValue(10 * GetTicksPerFrame(), &b, 1, CTRL_ABSOLUTE);
    AnimateOff();
    ASSERT_EQ(rot->NumKeys(), 2);
    s.chain->pblock->SetValue(IKFKChain::pb_ikfk_blend, 0, 0.6f);
    for (int f = 0; f <= 10; ++f) s.Pose(f * GetTicksPerFrame());
    s.chain->MatchIK(false);  // writes the goal and swivel only
    ASSERT_EQ(rot->NumKeys(), 2);
    Quat q;
    Interval iv = FOREVER;
    rot->GetValue(10 * GetTicksPerFrame(), &q, iv, CTRL_ABSOLUTE);
    EXPECT_THAT(q, SameRotation(b, 1e-6f));
    rot->GetValue(0, &q, iv, CTRL_ABSOLUTE);
    EXPECT_THAT(q, SameRotation(a, 1e-6f));
}

TEST_F(ChainSceneTest, CacheAnswersUntilTimeOrAnInputChanges) {
    ChainScene s = ChainScene::Make(3, Matrix3(), false);
    IParamBlock2* pb = s.chain->pblock;
    pb->SetValue(IKFKChain::pb_ikfk_blend, 0, 1.0f);
    Interval iv = FOREVER;
    Matrix3 first = s.joints[1]->GetNodeTM(0, &iv);
    EXPECT_EQ(iv, FOREVER) << "nothing is animated";
    const Interval solved = s.chain->cacheValid;
    EXPECT_EQ(solved, FOREVER);
    // Key the goal: the joints' validity narrows to what the goal answers.
    AnimateOn();
    Control* gpos = static_cast<IKFKControl*>(s.goal->GetTMController())->GetMain()->GetPositionController();
    Point3 p0(15.0f, 5.0f, 0.0f), p1(10.0f, 12.0f, 3.0f);
    gpos->SetValue(0, &p0, 1, CTRL_ABSOLUTE);
    gpos->SetValue(20 * GetTicksPerFrame(), &p1, 1, CTRL_ABSOLUTE);
    AnimateOff();
    iv = FOREVER;
    const TimeValue t = 5 * GetTicksPerFrame();
    Matrix3 m = s.joints[1]->GetNodeTM(t, &iv);
    Interval gv = FOREVER;
    Point3 g;
    gpos->GetValue(t, &g, gv, CTRL_ABSOLUTE);
    EXPECT_TRUE(iv.InInterval(t));
    EXPECT_FALSE(iv.InInterval(gv.End() + 1) && gv.End() < TIME_PosInfinity) << "narrowed by the goal";
    EXPECT_EQ(s.chain->cacheValid.End(), gv.End());
    // Same time, nothing changed: the same answer without a new solve.
    const TimeValue solvedAt = s.chain->cacheTime;
    EXPECT_EQ(s.chain->cacheDirty, 0);
    EXPECT_THAT(s.joints[1]->GetNodeTM(t), NearMatrix3(m, 0.0f));
    EXPECT_EQ(s.chain->cacheTime, solvedAt);
    // An FK controller changes: every joint follows at once.
    Quat q = BendZ(0.2f);
    s.chain->GetIKRotController(1)->SetValue(t, &q, 1, CTRL_ABSOLUTE);
    EXPECT_EQ(s.chain->cacheDirty, 1);
    EXPECT_GT(MaxDiff(s.joints[2]->GetNodeTM(t), m), 0.0f);
    (void)first;
}

TEST_F(ChainSceneTest, HalfBlendIsBetweenPosesInTheScene) {
    ChainScene s = ChainScene::Make(3, ParentCases()[2].tm, false);
    IParamBlock2* pb = s.chain->pblock;
    pb->SetValue(IKFKChain::pb_swivel_angle, 0, 0.9f);
    const std::vector<Matrix3> fk = s.Pose();
    pb->SetValue(IKFKChain::pb_ikfk_blend, 0, 1.0f);
    const std::vector<Matrix3> ik = s.Pose();
    pb->SetValue(IKFKChain::pb_ikfk_blend, 0, 0.5f);
    const std::vector<Matrix3> half = s.Pose();
    Point3 dFK = (fk[2].GetTrans() - fk[1].GetTrans()).Normalize();
    Point3 dIK = (ik[2].GetTrans() - ik[1].GetTrans()).Normalize();
    Point3 dHalf = (half[2].GetTrans() - half[1].GetTrans()).Normalize();
    EXPECT_NEAR(AngleBetween(dHalf, dFK), AngleBetween(dHalf, dIK), 1e-3f);
    EXPECT_GT(AngleBetween(dFK, dIK), 0.1f);
}

TEST_F(ChainSceneTest, EveryChangeIsOneUndoStep) {
    ChainScene s = ChainScene::Make(4, ParentCases()[2].tm, true);
    theHold.Reset();
    IParamBlock2* pb = s.chain->pblock;
    pb->SetValue(IKFKChain::pb_ikfk_blend, 0, 0.0f);
    struct Op {
        const char* name;
        std::function<void()> run;
    };
    SetXFormPacket mv(Point3(-3.0f, 2.0f, 1.0f), Matrix3(), Matrix3());
    const Op ops[] = {
        {"IK", [&] { s.chain->IK(); }},
        {"MatchPreferredRotations", [&] { s.chain->MatchPreferredRotations(); }},
        {"FK", [&] { s.chain->FK(); }},
        {"MatchIK", [&] { s.chain->MatchIK(true); }},
        {"MatchFK", [&] { s.chain->MatchFK(true); }},
        {"MatchManualStretch", [&] { s.chain->MatchManualStretch(); }},
    };
    for (const Op& op : ops) {
        // Something for each to change: move the goal out of line first.
        s.goal->GetTMController()->SetValue(0, &mv, 1, CTRL_RELATIVE);
        theHold.Reset();
        const std::vector<Matrix3> before = s.Pose();
        const float blendBefore = s.Blend();
        op.run();
        ASSERT_EQ(theHold.NumUndoRecords(), 1) << op.name;
        EXPECT_EQ(theHold.UndoName(), MSTR(L"IKFK Change")) << op.name;
        const std::vector<Matrix3> after = s.Pose();
        const float blendAfter = s.Blend();
        ASSERT_TRUE(theHold.Undo());
        EXPECT_LT(PoseDiff(s.Pose(), before), 1e-5f) << op.name << " undo";
        EXPECT_FLOAT_EQ(s.Blend(), blendBefore) << op.name;
        ASSERT_TRUE(theHold.Redo());
        EXPECT_LT(PoseDiff(s.Pose(), after), 1e-5f) << op.name << " redo";
        EXPECT_FLOAT_EQ(s.Blend(), blendAfter) << op.name;
    }
}

TEST_F(ChainSceneTest, NodeParametersGuardTheChain) {
    ChainScene s = ChainScene::Make(3, Matrix3(), false);
    IParamBlock2* pb = s.chain->pblock;
    {
        SCOPED_TRACE("a node that depends on the chain cannot become its goal or target");
        INode* hand = ChainScene::MakeNode(L"Hand", s.joints[2], Quat(), Point3(1.0f, 0.0f, 0.0f));
        EXPECT_FALSE(pb->SetValue(IKFKChain::pb_target, 0, hand));
        EXPECT_EQ(pb->GetINode(IKFKChain::pb_target), nullptr);
        EXPECT_FALSE(pb->SetValue(IKFKChain::pb_goal, 0, s.chainNode));
        EXPECT_EQ(pb->GetINode(IKFKChain::pb_goal), s.goal);
    }
    {
        SCOPED_TRACE("the goal parent must be an ancestor of the goal; the path goes to parameter 3");
        INode* upper = ChainScene::MakeNode(L"Upper", nullptr, Quat(), Point3());
        INode* lower = ChainScene::MakeNode(L"Lower", upper, Quat(), Point3());
        s.parent->AttachChild(upper, 1);
        lower->AttachChild(s.goal, 1);
        pb->SetValue(IKFKChain::pb_goal_parent, 0, upper);
        EXPECT_EQ(pb->GetINode(IKFKChain::pb_goal_parent), upper);
        ASSERT_EQ(pb->Count(IKFKChain::pb_goal_inbetween), 1);
        EXPECT_EQ(pb->GetINode(IKFKChain::pb_goal_inbetween, 0, 0), lower);
        INode* stranger = ChainScene::MakeNode(L"Stranger", nullptr, Quat(), Point3());
        pb->SetValue(IKFKChain::pb_goal_parent, 0, stranger);
        EXPECT_EQ(pb->GetINode(IKFKChain::pb_goal_parent), nullptr);
        EXPECT_EQ(pb->Count(IKFKChain::pb_goal_inbetween), 0);
    }
    {
        SCOPED_TRACE("a new goal gives the old one back its own controller");
        INode* old = s.goal;
        INode* other = ChainScene::MakeNode(L"Other", s.parent, Quat(), Point3(12.0f, 3.0f, 0.0f));
        pb->SetValue(IKFKChain::pb_goal, 0, other);
        EXPECT_NE(old->GetTMController()->ClassID(), IKFKCONTROL_CLASS_ID);
        s.goal = other;
    }
    {
        SCOPED_TRACE("a deleted goal reads null and the chain still solves");
        pb->SetValue(IKFKChain::pb_ikfk_blend, 0, 1.0f);
        GetCOREInterface()->DeleteNode(s.goal);
        EXPECT_EQ(s.chain->GetGoal(), nullptr);
        Matrix3 m = s.joints[2]->GetNodeTM(0);
        EXPECT_FALSE(std::isnan(m.GetTrans().x));
    }
}

TEST_F(ChainSceneTest, CloneKeepsOnlyWhatWasClonedWithIt) {
    ChainScene s = ChainScene::Make(3, Matrix3(), false);
    RemapDir& remap = NewRemapDir();
    auto* joint0Clone = static_cast<INode*>(remap.CloneRef(s.joints[0]));
    (void)joint0Clone;
    auto* copy = static_cast<IKFKChain*>(remap.CloneRef(s.chain));
    remap.Backpatch();
    remap.DeleteThis();
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->pblock->GetINode(IKFKChain::pb_goal), nullptr) << "the source's goal is not the copy's";
    EXPECT_EQ(copy->pblock->GetFloat(IKFKChain::pb_ikfk_blend), s.Blend());
}

TEST_F(ChainSceneTest, LinkSwitchesKeepTheWorldPlace) {
    ChainScene s = ChainScene::Make(3, Matrix3(), false);
    auto* gc = static_cast<IKFKControl*>(s.goal->GetTMController());
    auto* link = new IKFKLink();
    gc->SetLink(link);
    INode* a = ChainScene::MakeNode(L"A", nullptr, Euler(0.2f, 0.1f, 0.5f), Point3(3.0f, 4.0f, 5.0f));
    INode* b = ChainScene::MakeNode(L"B", nullptr, Euler(-0.4f, 0.3f, 0.1f), Point3(-6.0f, 2.0f, 1.0f));
    // Both move over time, so a switch that ignored the offset would jump.
    AnimateOn();
    for (INode* n : {a, b}) {
        Control* pos = n->GetTMController()->GetPositionController();
        Point3 p0 = n->GetNodeTM(0).GetTrans();
        Point3 p1 = p0 + Point3(5.0f, -3.0f, 2.0f);
        pos->SetValue(0, &p0, 1, CTRL_ABSOLUTE);
        pos->SetValue(40 * GetTicksPerFrame(), &p1, 1, CTRL_ABSOLUTE);
    }
    AnimateOff();
    const int tpf = GetTicksPerFrame();
    auto worldAt = [&](int frame) { return s.goal->GetNodeTM(frame * tpf); };
    const Matrix3 start = worldAt(0);
    ASSERT_TRUE(link->AddTarget(a, 0, true));
    EXPECT_THAT(worldAt(0), NearMatrix3(start, 1e-4f)) << "the first entry keeps the place";
    Matrix3 before = worldAt(10);
    ASSERT_TRUE(link->AddTarget(b, 10, true));
    EXPECT_THAT(worldAt(10), NearMatrix3(before, 1e-4f)) << "node -> node";
    EXPECT_GT(MaxDiff(worldAt(30), worldAt(10)), 0.01f) << "then follows the new target";
    before = worldAt(20);
    ASSERT_TRUE(link->AddWorld(20, true));
    EXPECT_THAT(worldAt(20), NearMatrix3(before, 1e-4f)) << "node -> world";
    EXPECT_THAT(worldAt(35), NearMatrix3(worldAt(20), 1e-4f)) << "in the world it stands still";
    ASSERT_EQ(link->GetNumTargets(), 3);
    EXPECT_EQ(link->GetFrameNo(1), 10);
    before = worldAt(10);
    Matrix3 later = worldAt(15);
    ASSERT_TRUE(link->DeleteTarget(0, true));
    EXPECT_EQ(link->GetNode(0), b);
    EXPECT_THAT(worldAt(10), NearMatrix3(before, 1e-4f)) << "deleting entry 0 rebases on entry 1";
    EXPECT_THAT(worldAt(15), NearMatrix3(later, 1e-4f));
    // Each change was one undo step.
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(link->GetNumTargets(), 3);
    EXPECT_EQ(link->GetNode(0), a);
    EXPECT_FALSE(link->CanPick(s.goal));
}

TEST_F(ChainSceneTest, WithoutItsChainANodeFollowsItsMainController) {
    ChainScene s = ChainScene::Make(3, ParentCases()[1].tm, false);
    const std::vector<Matrix3> fk = s.Pose();
    s.chain->pblock->SetValue(IKFKChain::pb_ikfk_blend, 0, 1.0f);
    ASSERT_GT(PoseDiff(s.Pose(), fk), 0.1f);
    GetCOREInterface()->DeleteNode(s.chainNode);
    auto* c = static_cast<IKFKControl*>(s.joints[1]->GetTMController());
    EXPECT_EQ(c->GetChain(), nullptr);
    EXPECT_LT(PoseDiff(s.Pose(), fk), 1e-4f) << "the FK controllers stand alone again";
}

TEST_F(ChainSceneTest, DisplayModShrinksControlsThatAreNotLive) {
    ChainScene s = ChainScene::Make(3, Matrix3(), false);
    s.chain->pblock->SetValue(IKFKChain::pb_ikfk_blend, 0, 0.25f);
    Interval iv = FOREVER;
    EXPECT_FLOAT_EQ(IKFKDisplayMod::BlendView(s.joints[0], 0, iv), 0.75f);
    EXPECT_FLOAT_EQ(IKFKDisplayMod::BlendView(s.goal, 0, iv), 0.25f);
    EXPECT_FLOAT_EQ(IKFKDisplayMod::BlendView(s.parent, 0, iv), 0.5f) << "no IKFKControl";
    s.chain->pblock->SetValue(IKFKChain::pb_auto_ikfk_match, 0, TRUE);
    EXPECT_FLOAT_EQ(IKFKDisplayMod::BlendView(s.goal, 0, iv), 1.0f);
    s.chain->pblock->SetValue(IKFKChain::pb_auto_ikfk_match, 0, FALSE);

    TriObject* tri = CreateNewTriObject();
    tri->GetMesh().setNumVerts(2);
    tri->SetPoint(0, Point3(0.0f, 0.0f, 0.0f));
    tri->SetPoint(1, Point3(4.0f, 2.0f, 2.0f));
    ObjectState os(tri);
    ModContext mc;
    IKFKDisplayMod mod;
    mod.ModifyObject(0, mc, &os, s.goal);
    EXPECT_THAT(tri->GetPoint(0), NearPoint3(Point3(1.5f, 0.75f, 0.75f), 1e-6f));
    EXPECT_THAT(tri->GetPoint(1), NearPoint3(Point3(2.5f, 1.25f, 1.25f), 1e-6f));
    tri->DeleteThis();
}

// The chain keeps the block's values between solves: every edit, key and undo must still reach
// the next solve, and an animated parameter must narrow the cache to its own interval.
TEST_F(ChainSceneTest, BlockValuesFollowEditsKeysAndUndo) {
    ChainScene s = ChainScene::Make(3, Matrix3(), false);
    IParamBlock2* pb = s.chain->pblock;
    pb->SetValue(IKFKChain::pb_ikfk_blend, 0, 1.0f);
    const TimeValue t = 10 * GetTicksPerFrame();
    const Matrix3 elbow = s.joints[1]->GetNodeTM(t);
    EXPECT_EQ(s.chain->cacheValid, FOREVER);

    // A plain edit at the time already solved.
    pb->SetValue(IKFKChain::pb_manual_stretch, t, 1.5f);
    const Matrix3 stretched = s.joints[1]->GetNodeTM(t);
    EXPECT_GT(MaxDiff(stretched, elbow), 0.1f);
    pb->SetValue(IKFKChain::pb_manual_stretch, t, 1.0f);
    EXPECT_THAT(s.joints[1]->GetNodeTM(t), NearMatrix3(elbow, 1e-5f));

    // An edit undone.
    theHold.Begin();
    pb->SetValue(IKFKChain::pb_manual_stretch, t, 1.5f);
    theHold.Accept(L"Stretch");
    EXPECT_THAT(s.joints[1]->GetNodeTM(t), NearMatrix3(stretched, 1e-5f));
    theHold.Undo();
    EXPECT_THAT(s.joints[1]->GetNodeTM(t), NearMatrix3(elbow, 1e-5f));

    // A keyed swivel: each time gets its own value, and the cache holds only as long as it does.
    AnimateOn();
    pb->SetValue(IKFKChain::pb_swivel_angle, 0, 0.0f);
    pb->SetValue(IKFKChain::pb_swivel_angle, 20 * GetTicksPerFrame(), 1.0f);
    AnimateOff();
    const Matrix3 atZero = s.joints[1]->GetNodeTM(0);
    EXPECT_THAT(atZero, NearMatrix3(elbow, 1e-5f)) << "no swivel at the first key";
    const Matrix3 turned = s.joints[1]->GetNodeTM(t);
    EXPECT_GT(MaxDiff(turned, elbow), 0.1f);
    EXPECT_FALSE(s.chain->cacheValid.InInterval(0));
    EXPECT_THAT(s.joints[1]->GetNodeTM(0), NearMatrix3(atZero, 1e-5f));
    EXPECT_THAT(s.joints[1]->GetNodeTM(t), NearMatrix3(turned, 1e-5f));
    // A key edited through the parameter's controller reaches the chain too.
    Control* swivel = pb->GetController(IKFKChain::pb_swivel_angle);
    ASSERT_NE(swivel, nullptr);
    AnimateOn();
    float back = -1.0f;
    swivel->SetValue(20 * GetTicksPerFrame(), &back, 1, CTRL_ABSOLUTE);
    AnimateOff();
    EXPECT_GT(MaxDiff(s.joints[1]->GetNodeTM(t), turned), 0.1f);
}
