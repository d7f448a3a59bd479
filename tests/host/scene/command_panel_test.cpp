// The motion panel: which controller is edited as the selection and the task mode change,
// and the rollup pages its editor shows.
#include <string>
#include <vector>

#include "ifnpub.h"
#include "maxscript.h"
#include "scene_fixtures.h"

using namespace scenetest;

namespace {

// "begin Name flags prev" / "end Name flags next", with the other side's node name or "-".
std::vector<std::string> g_log;

std::string NameOf(Animatable* a);

// An editor that adds one page while it is edited; the page stands for its widget.
class EditedTM : public TestTM {
public:
    explicit EditedTM(std::string name) : name(std::move(name)) {}
    std::string name;
    int page = 0;  // the page's widget is this int's address; the host never touches it

    QWidget& Page() { return *reinterpret_cast<QWidget*>(&page); }
    void BeginEditParams(IObjParam* ip, ULONG flags, Animatable* prev) override {
        g_log.push_back("begin " + name + " " + std::to_string(flags) + " " + NameOf(prev));
        ip->AddRollupPage(Page(), L"Edited");
    }
    void EndEditParams(IObjParam* ip, ULONG flags, Animatable* next) override {
        g_log.push_back("end " + name + " " + std::to_string(flags) + " " + NameOf(next));
        ip->DeleteRollupPage(Page());
    }
};

std::string NameOf(Animatable* a) {
    auto* e = dynamic_cast<EditedTM*>(a);
    return e ? e->name : "-";
}

class MotionPanelTest : public SceneTest {
protected:
    void SetUp() override {
        SceneTest::SetUp();
        g_log.clear();
    }
    void TearDown() override {
        ip()->SetCommandPanelTaskMode(TASK_MODE_MODIFY);
        SceneTest::TearDown();
    }
    INode* Make(const char* name) {
        INode* n = ip()->CreateObjectNode(nullptr, host::FromUtf8(name).c_str());
        n->SetTMController(new EditedTM(name));
        return n;
    }
    std::vector<std::string> Take() { return std::exchange(g_log, {}); }
};

const std::string B = std::to_string(BEGIN_EDIT_MOTION);
const std::string E = std::to_string(END_EDIT_REMOVEUI);

}  // namespace

TEST_F(MotionPanelTest, SelectionAndModeChangesBeginAndEndEditingOnceEach) {
    INode* a = Make("A");
    INode* b = Make("B");
    using V = std::vector<std::string>;
    EXPECT_EQ(ip()->GetCommandPanelTaskMode(), TASK_MODE_MODIFY);
    ip()->SelectNode(a);
    EXPECT_EQ(Take(), V{}) << "the modify panel edits no controller";

    ip()->SetCommandPanelTaskMode(TASK_MODE_MOTION);
    EXPECT_EQ(Take(), V{"begin A " + B + " -"});
    EXPECT_EQ(host::EditedInMotionPanel(), a->GetTMController());
    ASSERT_EQ(host::RollupPages().size(), 1u);
    EXPECT_EQ(host::RollupPages()[0].title, L"Edited");

    ip()->SelectNode(a);
    ip()->SetCommandPanelTaskMode(TASK_MODE_MOTION);
    EXPECT_EQ(Take(), V{}) << "nothing changed";

    ip()->SelectNode(b);
    EXPECT_EQ(Take(), (V{"end A " + E + " B", "begin B " + B + " A"}));
    EXPECT_EQ(host::RollupPages().size(), 1u);

    ip()->SelectNode(a, 0);
    EXPECT_EQ(Take(), V{"end B " + E + " -"}) << "two nodes selected: nothing is edited";
    EXPECT_TRUE(host::RollupPages().empty());
    ip()->DeSelectNode(b);
    EXPECT_EQ(Take(), V{"begin A " + B + " -"});

    ip()->SetCommandPanelTaskMode(TASK_MODE_HIERARCHY);
    EXPECT_EQ(Take(), V{"end A " + E + " -"});
    EXPECT_EQ(host::EditedInMotionPanel(), nullptr);
    ip()->SetCommandPanelTaskMode(99);
    EXPECT_EQ(ip()->GetCommandPanelTaskMode(), TASK_MODE_HIERARCHY) << "unknown modes are ignored";
    ip()->SetCommandPanelTaskMode(TASK_MODE_MOTION);
    EXPECT_EQ(Take(), V{"begin A " + B + " -"});

    ip()->ClearNodeSelection();
    EXPECT_EQ(Take(), V{"end A " + E + " -"});
    EXPECT_TRUE(host::RollupPages().empty());

    {
        SCOPED_TRACE("the node's controller replaced while edited: the old one ends before it goes");
        ip()->SelectNode(a);
        Take();
        a->SetTMController(new EditedTM("A2"));
        EXPECT_EQ(Take(), (V{"end A " + E + " A2", "begin A2 " + B + " -"}));
        EXPECT_EQ(host::RollupPages().size(), 1u);
        ip()->ClearNodeSelection();
        EXPECT_EQ(Take(), (V{"end A2 " + E + " -"}));
    }
}

TEST_F(MotionPanelTest, DeletingOrResettingEndsTheEditingAndUndoRestoresTheSelection) {
    INode* a = Make("A");
    INode* b = Make("B");
    using V = std::vector<std::string>;
    ip()->SetCommandPanelTaskMode(TASK_MODE_MOTION);
    ip()->SelectNode(a);
    Take();
    {
        SCOPED_TRACE("a selection change under a hold is one undo record");
        theHold.Begin();
        ip()->SelectNode(b);
        theHold.Accept(L"Select");
        EXPECT_EQ(Take(), (V{"end A " + E + " B", "begin B " + B + " A"}));
        ASSERT_TRUE(theHold.Undo());
        EXPECT_EQ(Take(), (V{"end B " + E + " A", "begin A " + B + " B"}));
        ASSERT_EQ(ip()->GetSelNodeCount(), 1);
        EXPECT_EQ(ip()->GetSelNode(0), a);
        ASSERT_TRUE(theHold.Redo());
        EXPECT_EQ(Take(), (V{"end A " + E + " B", "begin B " + B + " A"}));
        EXPECT_EQ(ip()->GetSelNode(0), b);
    }
    {
        SCOPED_TRACE("deleting the edited node ends the editing first");
        theHold.Begin();
        ip()->DeleteNode(b);
        theHold.Accept(L"Delete");
        EXPECT_EQ(Take(), V{"end B " + E + " -"});
        EXPECT_TRUE(host::RollupPages().empty());
        ASSERT_TRUE(theHold.Undo());
        EXPECT_TRUE(b->host_InScene());
        EXPECT_EQ(Take(), V{}) << "the restored node is not selected";
    }
    {
        SCOPED_TRACE("a reset ends the editing; the mode stays");
        ip()->SelectNode(a);
        Take();
        host::ResetScene();
        EXPECT_EQ(Take(), V{"end A " + E + " -"});
        EXPECT_EQ(host::EditedInMotionPanel(), nullptr);
        EXPECT_EQ(ip()->GetCommandPanelTaskMode(), TASK_MODE_MOTION);
    }
}

TEST_F(MotionPanelTest, PagesKeepTheirCategoryOrderAndTellObservers) {
    struct Watch : host::CommandPanelObserver {
        std::vector<std::string> seen;
        void RollupPageAdded(const host::RollupPage& p) override { seen.push_back("+" + host::ToUtf8(p.title.data())); }
        void RollupPageDeleted(const host::RollupPage& p) override { seen.push_back("-" + host::ToUtf8(p.title.data())); }
        void TaskModeChanged(int mode) override { seen.push_back("mode " + std::to_string(mode)); }
    } watch;
    host::AddCommandPanelObserver(&watch);
    int w[3] = {};
    auto page = [&](int i) -> QWidget& { return *reinterpret_cast<QWidget*>(&w[i]); };
    ip()->AddRollupPage(page(0), L"Standard");
    ip()->AddRollupPage(page(1), L"Late", 0, ROLLUP_CAT_CUSTATTRIB);
    ip()->AddRollupPage(page(2), L"Early", APPENDROLL_CLOSED, ROLLUP_CAT_SYSTEM);
    ip()->AddRollupPage(page(0), L"Again");
    ASSERT_EQ(host::RollupPages().size(), 3u);
    EXPECT_EQ(host::RollupPages()[0].title, L"Early");
    EXPECT_EQ(host::RollupPages()[0].flags, APPENDROLL_CLOSED);
    EXPECT_EQ(host::RollupPages()[1].title, L"Standard");
    EXPECT_EQ(host::RollupPages()[2].title, L"Late");
    ip()->DeleteRollupPage(page(0));
    ip()->DeleteRollupPage(page(0));
    ip()->SetCommandPanelTaskMode(TASK_MODE_UTILITY);
    host::RemoveCommandPanelObserver(&watch);
    ip()->DeleteRollupPage(page(1));
    ip()->DeleteRollupPage(page(2));
    EXPECT_EQ(watch.seen, (std::vector<std::string>{"+Standard", "+Late", "+Early", "-Standard", "mode 6"}));
    EXPECT_TRUE(host::RollupPages().empty());
}

TEST_F(MotionPanelTest, ScriptsReadAndSetTheTaskModeByName) {
    INode* a = Make("A");
    ip()->SelectNode(a);
    Take();
    ASSERT_TRUE(ExecuteMAXScriptScript(L"setCommandPanelTaskMode #motion", TRUE));
    EXPECT_EQ(ip()->GetCommandPanelTaskMode(), TASK_MODE_MOTION);
    EXPECT_EQ(g_log, std::vector<std::string>{"begin A " + B + " -"});
    ASSERT_TRUE(ExecuteMAXScriptScript(L"setCommandPanelTaskMode mode:#create", TRUE));
    EXPECT_EQ(ip()->GetCommandPanelTaskMode(), TASK_MODE_CREATE);
    FPValue mode;
    ASSERT_TRUE(ExecuteMAXScriptScript(L"getCommandPanelTaskMode() == #create", TRUE, &mode));
    EXPECT_TRUE(mode.b);
    ASSERT_TRUE(ExecuteMAXScriptScript(L"max hierarchy mode", TRUE));
    EXPECT_EQ(ip()->GetCommandPanelTaskMode(), TASK_MODE_HIERARCHY);
    host::ListenerCapture listener;
    EXPECT_FALSE(ExecuteMAXScriptScript(L"setCommandPanelTaskMode #sideways", FALSE));
    EXPECT_NE(listener.Text().find("setCommandPanelTaskMode: unknown mode #sideways"), std::string::npos)
        << listener.Text();
}
