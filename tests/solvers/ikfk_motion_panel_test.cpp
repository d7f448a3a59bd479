// The chain's controllers in the motion panel, and their edits in the macro recorder.
#include <QPointer>
#include <QWidget>
#include <vector>

#include "chain_scene.h"
#include "library_scene.h"
#include "macrorec.h"
#include "maxscript.h"
#include "scenefile.h"
#include "solvers/ikfk_link.h"
#include "solvers/ui/ikfk_chain_rollup.h"
#include "solvers/ui/ikfk_link_rollup.h"
#include "ui/ui_application.h"

using namespace kttest;
using namespace kt;

namespace {

std::vector<std::wstring> PageTitles() {
    std::vector<std::wstring> out;
    for (const host::RollupPage& p : host::RollupPages()) out.push_back(p.title.data());
    return out;
}

IKFKControl* Ctrl(INode* n) { return static_cast<IKFKControl*>(n->GetTMController()); }

INode* MakeNode(const MCHAR* name, const Point3& pos) {
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, name);
    n->SetName(name);
    n->SetNodeTM(0, TransMatrix(pos));
    return n;
}

std::wstring Path(INode* n) { return std::wstring(L"$") + n->GetName(); }

class MotionPanelTest : public ChainSceneTest {
protected:
    void TearDown() override {
        GetCOREInterface()->SetCommandPanelTaskMode(TASK_MODE_MODIFY);
        macroRecorder->ClearText();
        ChainSceneTest::TearDown();
    }
};

}  // namespace

TEST_F(MotionPanelTest, SelectingAChainNodeOpensItsRollupsAndDeselectingDestroysThem) {
    host::ui::EnsureApplication();
    Interface* ip = GetCOREInterface();
    ChainScene s = ChainScene::Make(3, Matrix3(), false);
    auto* link = new IKFKLink();
    Ctrl(s.goal)->SetLink(link);
    ip->SelectNode(s.joints[1]);
    EXPECT_TRUE(host::RollupPages().empty()) << "not in the motion panel";

    ip->SetCommandPanelTaskMode(TASK_MODE_MOTION);
    EXPECT_EQ(PageTitles(), std::vector<std::wstring>{L"IKFK Chain"});
    EXPECT_EQ(Ctrl(s.joints[1])->animFlag, BEGIN_EDIT_MOTION);
    QPointer<QWidget> jointChain = host::RollupPages()[0].widget;
    auto* chainRollup = dynamic_cast<IKFKChainRollup*>(jointChain.data());
    ASSERT_NE(chainRollup, nullptr);
    EXPECT_NE(chainRollup->findChild<QWidget*>("ikfk_blend"), nullptr) << "the chain's parameters";

    ip->SelectNode(s.goal);
    EXPECT_EQ(PageTitles(), (std::vector<std::wstring>{L"IKFK Chain", L"IKFK Links"}));
    EXPECT_TRUE(jointChain.isNull()) << "the joint's rollup was destroyed";
    EXPECT_EQ(Ctrl(s.joints[1])->animFlag, 0u);
    EXPECT_EQ(Ctrl(s.goal)->animFlag, BEGIN_EDIT_MOTION);
    QPointer<QWidget> goalChain = host::RollupPages()[0].widget;
    QPointer<QWidget> goalLink = host::RollupPages()[1].widget;
    ASSERT_NE(dynamic_cast<IKFKLinkRollup*>(goalLink.data()), nullptr);
    EXPECT_EQ(link->rollup, dynamic_cast<IKFKLinkRollupLink*>(goalLink.data())) << "the link's list follows it";

    ip->SelectNode(s.chainNode);
    EXPECT_EQ(PageTitles(), std::vector<std::wstring>{L"IKFK Chain"}) << "the chain node shows the chain alone";
    EXPECT_TRUE(goalChain.isNull());
    EXPECT_TRUE(goalLink.isNull());
    EXPECT_EQ(link->rollup, nullptr);
    QPointer<QWidget> own = host::RollupPages()[0].widget;
    ASSERT_NE(dynamic_cast<IKFKChainRollup*>(own.data()), nullptr);

    ip->ClearNodeSelection();
    EXPECT_TRUE(host::RollupPages().empty());
    EXPECT_TRUE(own.isNull());

    {
        SCOPED_TRACE("a node without a chain shows nothing; deleting the edited joint closes its rollup");
        INode* plain = MakeNode(L"Plain", Point3());
        auto* loose = new IKFKControl();
        plain->SetTMController(loose);
        ip->SelectNode(plain);
        EXPECT_TRUE(host::RollupPages().empty());
        EXPECT_EQ(loose->animFlag, BEGIN_EDIT_MOTION);
        ip->SelectNode(s.joints[0]);
        QPointer<QWidget> page = host::RollupPages().at(0).widget;
        ip->DeleteNode(s.joints[0]);
        EXPECT_TRUE(host::RollupPages().empty());
        EXPECT_TRUE(page.isNull());
    }
}

TEST_F(MotionPanelTest, LinkAndChainEditsAreRecordedAsScriptThatRedoesThemOnAFreshScene) {
    RegisterLibraryClasses();
    ChainScene s = ChainScene::Make(3, Matrix3(), false);
    auto* link = new IKFKLink();
    Ctrl(s.goal)->SetLink(link);
    INode* a = MakeNode(L"A", Point3(30, 0, 0));
    INode* b = MakeNode(L"B Side", Point3(-30, 0, 0));
    const std::wstring goalName = s.goal->GetName();
    const std::wstring chainName = s.chainNode->GetName();
    const std::wstring jointName = s.joints[1]->GetName();
    std::vector<uint8_t> before;
    std::wstring error;
    ASSERT_TRUE(host::SaveSceneToMemory(before, &error)) << host::ToUtf8(error);
    macroRecorder->ClearText();

    ASSERT_TRUE(link->AddTarget(a, 0));
    ASSERT_TRUE(link->AddWorld(10));
    ASSERT_TRUE(link->AddTarget(b, 20, false));
    link->SetFrameNo(1, 12);
    ASSERT_TRUE(link->DeleteTarget(0));
    GetCOREInterface()->SetTime(5 * GetTicksPerFrame());
    s.chain->IK();
    s.chain->MatchFK(true);
    GetCOREInterface()->SetTime(0);
    EXPECT_FALSE(link->DeleteTarget(7)) << "a refused call";

    const std::wstring linkPath = Path(s.goal) + L".controller.Links.controller";
    const std::wstring chainPath = Path(s.chainNode) + L".controller";
    const std::wstring expected = linkPath + L".AddTarget $A 0 keepTM:true\n" +
                                  linkPath + L".AddWorld 10 keepTM:true\n" +
                                  linkPath + L".AddTarget $'B Side' 20 keepTM:false\n" +
                                  linkPath + L".SetFrameNo 2 12\n" +
                                  linkPath + L".DeleteTarget 1 keepTM:true\n" +
                                  chainPath + L".IK()\n" +
                                  chainPath + L".MatchFK toIK:true\n";
    ASSERT_EQ(std::wstring(macroRecorder->Text().data()), expected);

    auto state = [](INode* goal, IKFKLink* l) {
        std::vector<float> out;
        for (int i = 0; i < l->GetNumTargets(); ++i) {
            out.push_back(static_cast<float>(l->GetFrameNo(i)));
            out.push_back(l->GetNode(i) ? static_cast<float>(l->GetNode(i)->GetName()[0]) : 0.0f);
        }
        for (int f : {0, 11, 15, 25}) {
            const Point3 p = goal->GetNodeTM(f * GetTicksPerFrame()).GetTrans();
            out.insert(out.end(), {p.x, p.y, p.z});
        }
        return out;
    };
    const std::vector<float> done = state(s.goal, link);
    const TimeValue t5 = 5 * GetTicksPerFrame();
    const float blend = s.Blend(t5);
    const Matrix3 elbow = s.joints[1]->GetNodeTM(t5);

    ASSERT_TRUE(host::LoadSceneFromMemory(before.data(), before.size()));
    Interface* ip = GetCOREInterface();
    INode* goal = ip->GetINodeByName(goalName.c_str());
    ASSERT_NE(goal, nullptr);
    auto* fresh = dynamic_cast<IKFKLink*>(Ctrl(goal)->GetLink());
    ASSERT_NE(fresh, nullptr);
    ASSERT_EQ(fresh->GetNumTargets(), 0);
    auto* chain = dynamic_cast<IKFKChain*>(ip->GetINodeByName(chainName.c_str())->GetTMController());
    ASSERT_NE(chain, nullptr);
    ASSERT_NE(chain->pblock->GetFloat(IKFKChain::pb_ikfk_blend, t5), blend);

    // The chain's calls act at the current time, as they did when recorded.
    ip->SetTime(t5);
    host::ListenerCapture listener;
    ASSERT_TRUE(ExecuteMAXScriptScript(expected.c_str(), FALSE)) << listener.Text();
    ip->SetTime(0);
    const std::vector<float> replayed = state(goal, fresh);
    ASSERT_EQ(replayed.size(), done.size());
    for (size_t i = 0; i < done.size(); ++i) EXPECT_NEAR(replayed[i], done[i], 1e-3f) << "at " << i;
    EXPECT_FLOAT_EQ(chain->pblock->GetFloat(IKFKChain::pb_ikfk_blend, t5), blend);
    EXPECT_TRUE(ip->GetINodeByName(jointName.c_str())->GetNodeTM(t5).Equals(elbow, 1e-3f));
    EXPECT_EQ(std::wstring(macroRecorder->Text().data()), expected) << "a script's calls are not recorded";
}
