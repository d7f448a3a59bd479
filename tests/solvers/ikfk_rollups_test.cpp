// The link and chain rollups, driven through their widgets and the viewport's pick mode.
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QListWidget>
#include <QPushButton>
#include <QTableWidget>
#include <memory>

#include "chain_scene.h"
#include "controllers/parent_constraint.h"
#include "frame/class_registry.h"
#include "helpers.h"
#include "solvers/ikfk_link.h"
#include "solvers/ui/ikfk_chain_rollup.h"
#include "solvers/ui/ikfk_link_rollup.h"
#include "ui/qmax_spinner.h"
#include "ui/ui_application.h"
#include "viewexp.h"

using namespace kttest;
using namespace kt;

namespace {

INode* MakePoint(const MCHAR* name, const Point3& pos) {
    auto* obj = static_cast<PointHelpObject*>(
        static_cast<Animatable*>(CreateInstance(HELPER_CLASS_ID, POINTHELP_CLASS_ID)));
    obj->pblock2->SetValue(pointobj_size, 0, 10.0f);
    INode* node = GetCOREInterface()->CreateObjectNode(obj, name);
    node->SetNodeTM(0, TransMatrix(pos));
    return node;
}

QString Name(INode* n) { return QString::fromWCharArray(n->GetName()); }

std::unique_ptr<MaxSDK::QMaxParamBlockWidget> Rollup(SClass_ID sid, Class_ID cid, ReferenceTarget& owner,
                                                     IParamBlock2& pb, MSTR& title) {
    int flags = 0, category = 0;
    RegistryClassDesc* cd = ClassRegistry::Find(sid, cid);
    return std::unique_ptr<MaxSDK::QMaxParamBlockWidget>(cd ? cd->CreateQtWidget(owner, pb, 0, title, flags, category)
                                                            : nullptr);
}

}  // namespace

TEST_F(ChainSceneTest, LinkRollupPicksListsRetimesAndDeletesEntries) {
    host::ui::EnsureApplication();
    ChainScene s = ChainScene::Make(3, Matrix3(), false);
    auto* link = new IKFKLink();
    static_cast<IKFKControl*>(s.goal->GetTMController())->SetLink(link);
    INode* a = MakePoint(L"A", Point3(30, 0, 0));
    INode* b = MakePoint(L"B", Point3(-30, 0, 0));

    MSTR title;
    auto widget = Rollup(CTRL_FLOAT_CLASS_ID, IKFKLINK_CLASS_ID, *link, *link->pblock, title);
    auto* rollup = dynamic_cast<IKFKLinkRollup*>(widget.get());
    ASSERT_NE(rollup, nullptr);
    EXPECT_EQ(std::wstring(title.data()), L"IKFK Links");
    auto* table = rollup->findChild<QTableWidget*>("linkTable");
    auto* add = rollup->findChild<QPushButton*>("addLink");
    auto* addWorld = rollup->findChild<QPushButton*>("addWorld");
    auto* del = rollup->findChild<QPushButton*>("deleteLink");
    auto* frame = rollup->findChild<MaxSDK::QmaxSpinBox*>("startFrame");
    ASSERT_TRUE(table && add && addWorld && del && frame);
    EXPECT_EQ(table->rowCount(), 0);

    {
        SCOPED_TRACE("the pick mode: its filter, a click on a node, and the end of the mode");
        PickIKFKLinkNode& mode = rollup->PickMode();
        EXPECT_FALSE(mode.Filter(s.goal)) << "the controlled node";
        INode* follower = MakePoint(L"Follower", Point3(0, 30, 0));
        auto* pc = new ParentConstraint();
        follower->SetTMController(pc);
        ASSERT_TRUE(pc->appendTarget(s.goal, 50.0f));
        EXPECT_FALSE(mode.Filter(follower)) << "a node that depends on the controlled node";
        EXPECT_TRUE(mode.Filter(a));
        Interface* ip = GetCOREInterface();
        add->click();
        EXPECT_EQ(ip->GetCurPickMode(), &mode);
        EXPECT_TRUE(add->isChecked());
        ViewExp& vpt = ip->GetActiveViewExp();
        vpt.host_SetSize(200, 200);
        vpt.host_SetViewType(VIEW_TOP);
        Matrix3 affine;
        vpt.GetAffineTM(affine);
        vpt.host_SetOrthographic(affine, 200.0f);
        const Point3 at = vpt.MapWorldToScreen(Point3(30, 0, 0));
        EXPECT_TRUE(host::PickModeClick(vpt, IPoint2(int(at.x), int(at.y))));
        EXPECT_EQ(ip->GetCurPickMode(), nullptr);
        EXPECT_FALSE(add->isChecked());
        ASSERT_EQ(link->GetNumTargets(), 1);
        EXPECT_EQ(link->GetNode(0), a);
        ASSERT_EQ(table->rowCount(), 1);
        EXPECT_EQ(table->item(0, 0)->text(), "0");
        EXPECT_EQ(table->item(0, 1)->text(), Name(a));
    }
    {
        SCOPED_TRACE("world at the current frame; retiming stays between the neighbours");
        GetCOREInterface()->SetTime(10 * GetTicksPerFrame());
        addWorld->click();
        ASSERT_EQ(table->rowCount(), 2);
        EXPECT_EQ(table->item(1, 0)->text(), "10");
        EXPECT_EQ(table->item(1, 1)->text(), "World");
        rollup->SelectEntry(1);
        EXPECT_EQ(frame->value(), 10);
        frame->setValue(5);
        EXPECT_EQ(link->GetFrameNo(1), 5);
        EXPECT_EQ(table->item(1, 0)->text(), "5");
        frame->setValue(-3);
        EXPECT_EQ(link->GetFrameNo(1), 0);
        EXPECT_EQ(frame->value(), 0) << "the spinner shows the clamped frame";
    }
    {
        SCOPED_TRACE("edits from elsewhere and undo show in the list");
        ASSERT_TRUE(link->AddTarget(b, 20));
        ASSERT_EQ(table->rowCount(), 3);
        EXPECT_EQ(table->item(2, 1)->text(), Name(b));
        rollup->SelectEntry(2);
        del->click();
        EXPECT_EQ(link->GetNumTargets(), 2);
        EXPECT_EQ(table->rowCount(), 2);
        ASSERT_TRUE(theHold.Undo());
        ASSERT_EQ(table->rowCount(), 3);
        EXPECT_EQ(table->item(2, 1)->text(), Name(b));
    }
    {
        SCOPED_TRACE("a closed rollup leaves no pick mode and no listener behind");
        add->click();
        widget.reset();
        EXPECT_EQ(GetCOREInterface()->GetCurPickMode(), nullptr);
        EXPECT_EQ(link->rollup, nullptr);
        EXPECT_TRUE(link->AddWorld(30));
    }
    {
        SCOPED_TRACE("the block's accessor tells whatever list is open of every table edit");
        struct Counter : IKFKLinkRollupLink {
            int refreshes = 0;
            void RefreshList() override { ++refreshes; }
        } counter;
        link->rollup = &counter;
        EXPECT_TRUE(link->DeleteTarget(3));
        EXPECT_GE(counter.refreshes, 3) << "one per table";
        const int before = counter.refreshes;
        link->SetFrameNo(1, 2);
        EXPECT_GT(counter.refreshes, before);
        link->rollup = nullptr;
    }
    GetCOREInterface()->SetTime(0);
}

TEST_F(ChainSceneTest, ChainRollupEditsParametersAndRunsTheMatches) {
    host::ui::EnsureApplication();
    ChainScene s = ChainScene::Make(3, Matrix3(), true);
    IParamBlock2* pb = s.chain->pblock;
    MSTR title;
    auto widget = Rollup(CTRL_MATRIX3_CLASS_ID, IKFKCHAIN_CLASS_ID, *s.chain, *pb, title);
    auto* rollup = dynamic_cast<IKFKChainRollup*>(widget.get());
    ASSERT_NE(rollup, nullptr);
    auto* blend = rollup->findChild<QDoubleSpinBox*>("ikfk_blend");
    auto* displayGoal = rollup->findChild<QComboBox*>("display_goal");
    auto* joints = rollup->findChild<QListWidget*>("joints");
    auto* ik = rollup->findChild<QPushButton*>("ik");
    auto* fk = rollup->findChild<QPushButton*>("fk");
    ASSERT_TRUE(blend && displayGoal && joints && ik && fk);

    EXPECT_EQ(joints->count(), 3);
    EXPECT_EQ(displayGoal->currentIndex(), 1);
    blend->setValue(50.0);
    EXPECT_FLOAT_EQ(pb->GetFloat(IKFKChain::pb_ikfk_blend, 0), 0.5f);
    pb->SetValue(IKFKChain::pb_display_goal, 0, 2);
    EXPECT_EQ(displayGoal->currentIndex(), 2) << "block edits show in the rollup";
    displayGoal->setCurrentIndex(0);
    EXPECT_EQ(pb->GetInt(IKFKChain::pb_display_goal, 0), 0);

    const std::vector<Matrix3> pose = s.Pose();
    ik->click();
    EXPECT_FLOAT_EQ(pb->GetFloat(IKFKChain::pb_ikfk_blend, 0), 1.0f);
    EXPECT_DOUBLE_EQ(blend->value(), 100.0);
    EXPECT_EQ(std::wstring(theHold.UndoName().data()), L"IKFK Change");
    const std::vector<Matrix3> after = s.Pose();
    for (size_t i = 0; i < pose.size(); ++i)
        EXPECT_LT((after[i].GetTrans() - pose[i].GetTrans()).Length(), 1e-3f) << "IK takes the pose: joint " << i;
    fk->click();
    EXPECT_FLOAT_EQ(pb->GetFloat(IKFKChain::pb_ikfk_blend, 0), 0.0f);
}
