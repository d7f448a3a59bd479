// The position constraint on real scene nodes.
#include "ctrl_test_util.h"

#include "inode.h"

using namespace ctrltest;

namespace {

class Constraint : public ControllerTest {
  protected:
    void TearDown() override {
        holder.DeleteAllRefsFromMe();
        host::ResetScene();
        ControllerTest::TearDown();
    }
    Holder holder{1};
};

TEST_F(Constraint, FollowsWeightedTargets) {
    INode* a = GetCOREInterface()->CreateObjectNode(nullptr);
    INode* b = GetCOREInterface()->CreateObjectNode(nullptr);
    a->SetNodeTM(0, TransMatrix(Point3(0.0f, 0.0f, 0.0f)));
    b->SetNodeTM(0, TransMatrix(Point3(10.0f, 20.0f, 0.0f)));
    Control* pc = holder.Hold(Make(CTRL_POSITION_CLASS_ID, POSITION_CONSTRAINT_CLASS_ID));
    IPosConstraint* ipc = GetPosConstraintInterface(pc);
    ASSERT_NE(ipc, nullptr);
    Matrix3 m = RotateZMatrix(1.0f);
    Interval iv = FOREVER;
    pc->GetValue(0, &m, iv, CTRL_RELATIVE);
    EXPECT_TRUE(NearMatrix(m, RotateZMatrix(1.0f))); // no target: untouched

    EXPECT_TRUE(ipc->AppendTarget(a, 100.0f));
    EXPECT_TRUE(ipc->AppendTarget(b, 100.0f));
    EXPECT_FALSE(ipc->AppendTarget(b));
    EXPECT_FALSE(ipc->AppendTarget(nullptr));
    EXPECT_TRUE(Near3(Point3At(pc, 0), Point3(5.0f, 10.0f, 0.0f)));
    ipc->SetTargetWeight(1, 300.0f);
    EXPECT_TRUE(Near3(Point3At(pc, 0), Point3(7.5f, 15.0f, 0.0f)));
    pc->GetValue(0, &m, iv, CTRL_RELATIVE);
    EXPECT_TRUE(Near3(m.GetTrans(), Point3(7.5f, 15.0f, 0.0f)));

    // Moving a target moves the result; a node on the constraint cannot be its own target.
    b->SetNodeTM(0, TransMatrix(Point3(10.0f, 0.0f, 0.0f)));
    EXPECT_TRUE(Near3(Point3At(pc, 0), Point3(7.5f, 0.0f, 0.0f)));
    INode* c = GetCOREInterface()->CreateObjectNode(nullptr);
    Control* prs = NewDefaultMatrix3Controller();
    c->SetTMController(prs);
    Control* pc2 = Make(CTRL_POSITION_CLASS_ID, POSITION_CONSTRAINT_CLASS_ID);
    prs->SetPositionController(pc2);
    EXPECT_FALSE(GetPosConstraintInterface(pc2)->AppendTarget(c));
    EXPECT_TRUE(GetPosConstraintInterface(pc2)->AppendTarget(a));
    EXPECT_TRUE(Near3(c->GetNodeTM(0).GetTrans(), Point3(0.0f, 0.0f, 0.0f)));
    a->SetNodeTM(0, TransMatrix(Point3(1.0f, 1.0f, 1.0f)));
    EXPECT_TRUE(Near3(c->GetNodeTM(0).GetTrans(), Point3(1.0f, 1.0f, 1.0f)));

    EXPECT_TRUE(ipc->DeleteTarget(0));
    EXPECT_EQ(ipc->GetNumTargets(), 1);
    EXPECT_FALSE(ipc->DeleteTarget(5));
}

} // namespace
