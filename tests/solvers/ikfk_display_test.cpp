// Goal and target lines: drawn, framed and picked for the nodes of a chain.
#include "box3.h"
#include "chain_scene.h"
#include "gfx.h"
#include "viewexp.h"

using namespace kttest;
using kt::IKFKChain;

namespace {

IPoint2 Screen(ViewExp& vpt, const Point3& w) {
    Point3 s = vpt.MapWorldToScreen(w);
    return IPoint2(int(std::lround(s.x)), int(std::lround(s.y)));
}

// Lines the node's own controller draws: the number of primitives.
size_t Drawn(ViewExp& vpt, INode* node) {
    host::DrawList& list = vpt.getGW()->host_DrawList();
    list.Clear();
    node->GetTMController()->Display(0, node, &vpt, 0);
    return list.prims.size();
}

}  // namespace

TEST_F(ChainSceneTest, GoalAndTargetLinesDrawFrameAndPickTheirNodes) {
    ChainScene s = ChainScene::Make(3, Matrix3(), true);
    IParamBlock2* pb = s.chain->pblock;
    pb->SetValue(IKFKChain::pb_ikfk_blend, 0, 1.0f);
    pb->SetValue(IKFKChain::pb_display_goal, 0, 2);
    ViewExp& vpt = GetCOREInterface()->GetActiveViewExp();
    vpt.host_SetSize(200, 200);
    vpt.host_SetViewType(VIEW_TOP);
    Matrix3 affine;
    vpt.GetAffineTM(affine);
    vpt.host_SetOrthographic(affine, 60.0f);

    const Point3 root = s.joints[0]->GetNodeTM(0).GetTrans();
    const Point3 elbow = s.joints[1]->GetNodeTM(0).GetTrans();
    const Point3 goal = s.goal->GetNodeTM(0).GetTrans();
    const Point3 target = s.target->GetNodeTM(0).GetTrans();
    {
        SCOPED_TRACE("each node draws its own line; joints and the chain's node draw none");
        EXPECT_EQ(Drawn(vpt, s.goal), 1u);
        EXPECT_EQ(Drawn(vpt, s.target), 1u);
        EXPECT_EQ(Drawn(vpt, s.joints[1]), 0u);
        EXPECT_EQ(Drawn(vpt, s.chainNode), 0u);
        Point3 a, b;
        ASSERT_TRUE(s.chain->DisplayLine(0, s.goal, a, b));
        EXPECT_LT((a - root).Length(), 1e-3f);
        EXPECT_LT((b - goal).Length(), 1e-3f);
        ASSERT_TRUE(s.chain->DisplayLine(0, s.target, a, b));
        EXPECT_LT((a - elbow).Length(), 1e-3f);
        EXPECT_LT((b - target).Length(), 1e-3f);
    }
    {
        SCOPED_TRACE("the display modes: never, while selected, always");
        pb->SetValue(IKFKChain::pb_display_goal, 0, 0);
        EXPECT_EQ(Drawn(vpt, s.goal), 0u);
        pb->SetValue(IKFKChain::pb_display_goal, 0, 1);
        EXPECT_EQ(Drawn(vpt, s.goal), 0u);
        GetCOREInterface()->SelectNode(s.chainNode);
        EXPECT_EQ(Drawn(vpt, s.goal), 1u);
        GetCOREInterface()->ClearNodeSelection();
        GetCOREInterface()->SelectNode(s.goal);
        EXPECT_EQ(Drawn(vpt, s.goal), 1u);
        GetCOREInterface()->ClearNodeSelection();
        pb->SetValue(IKFKChain::pb_display_goal, 0, 2);
        pb->SetValue(IKFKChain::pb_display_target, 0, 0);
        EXPECT_EQ(Drawn(vpt, s.target), 0u);
        pb->SetValue(IKFKChain::pb_display_target, 0, 2);
        pb->SetValue(IKFKChain::pb_use_target, 0, 0);
        EXPECT_EQ(Drawn(vpt, s.target), 0u) << "a target not in use shows no line";
        Box3 box;
        s.target->GetTMController()->GetWorldBoundBox(0, s.target, &vpt, box);
        EXPECT_TRUE(box.IsEmpty());
        pb->SetValue(IKFKChain::pb_use_target, 0, 1);
    }
    {
        SCOPED_TRACE("the goal's box holds its line");
        Box3 box;
        s.goal->GetTMController()->GetWorldBoundBox(0, s.goal, &vpt, box);
        ASSERT_FALSE(box.IsEmpty());
        EXPECT_TRUE(box.Contains(root));
        EXPECT_TRUE(box.Contains(goal));
    }
    {
        SCOPED_TRACE("the goal parent's line runs to the goal while the goal parent is in use");
        INode* gp = s.parent;
        pb->SetValue(IKFKChain::pb_goal_parent, 0, gp);
        ASSERT_EQ(s.chain->GetGoalParent(), gp);
        s.chain->FitNodes(s.chainNode);
        EXPECT_EQ(Drawn(vpt, gp), 1u);
        Point3 a, b;
        ASSERT_TRUE(s.chain->DisplayLine(0, gp, a, b));
        EXPECT_LT((a - s.goal->GetNodeTM(0).GetTrans()).Length(), 1e-3f);
        EXPECT_LT((b - gp->GetNodeTM(0).GetTrans()).Length(), 1e-3f);
        pb->SetValue(IKFKChain::pb_use_goal_parent, 0, 0);
        EXPECT_EQ(Drawn(vpt, gp), 0u);
        pb->SetValue(IKFKChain::pb_goal_parent, 0, static_cast<INode*>(nullptr));
    }
    {
        SCOPED_TRACE("a click on a line picks its node; off the lines nothing");
        Interface* ip = GetCOREInterface();
        EXPECT_EQ(ip->PickNode(&vpt, Screen(vpt, (root + goal) * 0.5f)), s.goal);
        EXPECT_EQ(ip->PickNode(&vpt, Screen(vpt, target * 0.8f + elbow * 0.2f)), s.target);
        EXPECT_EQ(ip->PickNode(&vpt, Screen(vpt, Point3(-25.0f, -25.0f, 0.0f))), nullptr);
        pb->SetValue(IKFKChain::pb_display_goal, 0, 0);
        EXPECT_EQ(ip->PickNode(&vpt, Screen(vpt, (root + goal) * 0.5f)), nullptr) << "a hidden line is not picked";
    }
}
