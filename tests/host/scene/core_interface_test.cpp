#include "scene_fixtures.h"

#include <cstdlib>
#include <filesystem>

using namespace scenetest;

namespace {

class CoreInterface : public SceneTest {};

struct Log {
    std::vector<std::pair<int, void*>> calls;
    static void Proc(void* param, NotifyInfo* info) {
        static_cast<Log*>(param)->calls.emplace_back(info->intcode, info->callParam);
    }
};

struct Registration {
    Registration(NOTIFYPROC p, void* param, int code) : p_(p), param_(param), code_(code) {
        RegisterNotification(p, param, code);
    }
    ~Registration() { UnRegisterNotification(p_, param_, code_); }
    NOTIFYPROC p_;
    void* param_;
    int code_;
};

}  // namespace

TEST_F(CoreInterface, SelectionMessagesGoOnlyToNodesWhoseStateChanged) {
    INode* a = MakeNode(Matrix3(), nullptr, L"A");
    INode* b = MakeNode(Matrix3(), nullptr, L"B");
    auto* wa = new Holder();
    auto* wb = new Holder();
    wa->ReplaceReference(0, a);
    wb->ReplaceReference(0, b);
    Log log;
    Registration reg(&Log::Proc, &log, NOTIFY_SELECTIONSET_CHANGED);

    ip()->SelectNode(a);
    EXPECT_TRUE(a->Selected());
    EXPECT_EQ(wa->Count(REFMSG_TARGET_SELECTIONCHANGE), 1);
    EXPECT_EQ(log.calls.size(), 1u);

    // Selecting it again changes nothing: no message, no notification.
    ip()->SelectNode(a);
    EXPECT_EQ(wa->Count(REFMSG_TARGET_SELECTIONCHANGE), 1);
    EXPECT_EQ(log.calls.size(), 1u);

    // Adding b leaves a alone.
    ip()->SelectNode(b, 0);
    EXPECT_EQ(ip()->GetSelNodeCount(), 2);
    EXPECT_EQ(ip()->GetSelNode(1), b);
    EXPECT_EQ(ip()->GetSelNode(2), nullptr);
    EXPECT_EQ(wa->Count(REFMSG_TARGET_SELECTIONCHANGE), 1);
    EXPECT_EQ(wb->Count(REFMSG_TARGET_SELECTIONCHANGE), 1);
    EXPECT_EQ(log.calls.size(), 2u);

    // Selecting b with clearSel deselects a only.
    ip()->SelectNode(b);
    EXPECT_FALSE(a->Selected());
    EXPECT_EQ(wa->Count(REFMSG_TARGET_SELECTIONCHANGE), 2);
    EXPECT_EQ(wb->Count(REFMSG_TARGET_SELECTIONCHANGE), 1);
    EXPECT_EQ(log.calls.size(), 3u);

    INodeTab tab;
    tab.push_back(a);
    tab.push_back(b);
    ip()->SelectNodeTab(tab, TRUE);
    EXPECT_EQ(ip()->GetSelNodeCount(), 2);
    EXPECT_EQ(log.calls.size(), 4u);
    ip()->ClearNodeSelection();
    EXPECT_EQ(ip()->GetSelNodeCount(), 0);
    EXPECT_EQ(log.calls.size(), 5u);
    ip()->ClearNodeSelection();
    EXPECT_EQ(log.calls.size(), 5u);

    // A deleted node leaves the selection.
    ip()->SelectNode(a);
    ip()->DeleteNode(a);
    EXPECT_EQ(ip()->GetSelNodeCount(), 0);

    wa->DeleteAllRefsFromMe();
    wb->DeleteAllRefsFromMe();
    wa->DeleteThis();
    wb->DeleteThis();
}

TEST_F(CoreInterface, NotificationsRegisterOnceAndSurviveChangesDuringABroadcast) {
    Log log;
    RegisterNotification(&Log::Proc, &log, NOTIFY_NODE_CREATED);
    RegisterNotification(&Log::Proc, &log, NOTIFY_NODE_CREATED);
    INode* n = ip()->CreateObjectNode(nullptr, L"N");
    ASSERT_EQ(log.calls.size(), 1u);
    EXPECT_EQ(log.calls[0].first, NOTIFY_NODE_CREATED);
    EXPECT_EQ(log.calls[0].second, n);
    EXPECT_TRUE(UnRegisterNotification(&Log::Proc, &log, NOTIFY_NODE_CREATED));
    EXPECT_FALSE(UnRegisterNotification(&Log::Proc, &log, NOTIFY_NODE_CREATED));
    ip()->CreateObjectNode(nullptr, L"N");
    EXPECT_EQ(log.calls.size(), 1u);

    // A callback that removes itself and the one after it, and adds a third.
    struct Juggler {
        Log* later;
        static void First(void* p, NotifyInfo*) {
            auto* j = static_cast<Juggler*>(p);
            UnRegisterNotification(&Juggler::First, p);
            UnRegisterNotification(&Log::Proc, j->later, 274);
            RegisterNotification(&Log::Proc, j->later, 288);
        }
    };
    Log later;
    Juggler j{&later};
    RegisterNotification(&Juggler::First, &j, 274);
    RegisterNotification(&Log::Proc, &later, 274);
    BroadcastNotification(274, nullptr);
    EXPECT_TRUE(later.calls.empty());
    BroadcastNotification(274);
    EXPECT_TRUE(later.calls.empty());
    BroadcastNotification(288, &j);
    ASSERT_EQ(later.calls.size(), 1u);
    EXPECT_EQ(later.calls[0].second, &j);
    UnRegisterNotification(&Log::Proc, &later);
}

namespace {
// A transform controller with one reference slot, as constraints have.
struct RefTM : public TestTM {
    ReferenceTarget* target = nullptr;
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int) override { return target; }

protected:
    void SetReference(int, RefTargetHandle t) override { target = t; }
};
}  // namespace

TEST_F(CoreInterface, DependencyTestGoesThroughNodesButNotDownToChildren) {
    INode* parent = ip()->CreateObjectNode(nullptr, L"Parent");
    auto* ctrl = new RefTM();
    ASSERT_TRUE(parent->SetTMController(ctrl));
    INode* child = MakeNode(Matrix3(), parent, L"Child");
    auto* onParent = new Holder();
    auto* onChild = new Holder();
    onParent->ReplaceReference(0, parent);
    onChild->ReplaceReference(0, child);

    // controller -> node -> what refers to the node.
    EXPECT_TRUE(ctrl->DependsOn(parent));
    EXPECT_TRUE(ctrl->DependsOn(onParent));
    // Children are not dependents: nothing below the parent is reached.
    EXPECT_FALSE(ctrl->DependsOn(child));
    EXPECT_FALSE(ctrl->DependsOn(onChild));
    EXPECT_FALSE(parent->DependsOn(onChild));

    // So the controller may not refer to what refers to its node, but may refer to a child's watcher.
    EXPECT_EQ(ctrl->ReplaceReference(0, onParent), REF_FAIL);
    EXPECT_EQ(ctrl->ReplaceReference(0, onChild), REF_SUCCEED);
    ctrl->ReplaceReference(0, nullptr, FALSE);

    // A node may not take a controller that refers to the node; its child may.
    auto* watching = new RefTM();
    watching->ReplaceReference(0, parent);
    EXPECT_FALSE(parent->SetTMController(watching));
    EXPECT_EQ(parent->GetTMController(), ctrl);
    EXPECT_TRUE(child->SetTMController(watching));

    for (Holder* h : {onParent, onChild}) {
        h->DeleteAllRefsFromMe();
        h->DeleteThis();
    }
}

TEST_F(CoreInterface, LayersHoldNodesNestAndUndo) {
    ILayerManager* lm = ip()->GetLayerManager();
    ILayer* zero = lm->GetLayer(MSTR(L"0"));
    ASSERT_NE(zero, nullptr);
    EXPECT_EQ(lm->GetCurrentLayer(), zero);
    INode* n = MakeNode();
    EXPECT_EQ(n->GetNodeLayer(), zero);

    theHold.Begin();
    ILayer* rig = lm->CreateLayer(MSTR(L"Rig"));
    ASSERT_NE(rig, nullptr);
    EXPECT_TRUE(rig->AddToLayer(n));
    theHold.Accept(L"Layer");
    EXPECT_EQ(n->GetNodeLayer(), rig);
    EXPECT_EQ(rig->GetNodeCount(), 1);
    EXPECT_EQ(zero->GetNodeCount(), 0);
    EXPECT_EQ(lm->CreateLayer(MSTR(L"rig")), nullptr);
    EXPECT_EQ(lm->GetLayer(MSTR(L"RIG")), rig);

    theHold.Undo();
    EXPECT_EQ(n->GetNodeLayer(), zero);
    EXPECT_EQ(lm->GetLayer(MSTR(L"Rig")), nullptr);
    theHold.Redo();
    EXPECT_EQ(lm->GetLayer(MSTR(L"Rig")), rig);
    EXPECT_EQ(n->GetNodeLayer(), rig);

    // Nesting refuses loops; a hidden or frozen parent layer hides or freezes the nodes below.
    ILayer* controls = lm->CreateLayer(MSTR(L"Controls"));
    EXPECT_TRUE(rig->SetParentLayer(controls));
    EXPECT_FALSE(controls->SetParentLayer(rig));
    EXPECT_FALSE(rig->SetParentLayer(rig));
    EXPECT_EQ(rig->GetParentLayer(), controls);
    EXPECT_EQ(controls->GetChildLayer(0), rig);
    EXPECT_FALSE(n->IsHidden());
    controls->Hide(true);
    EXPECT_TRUE(n->IsHidden());
    controls->Hide(false);
    controls->Freeze(true);
    EXPECT_TRUE(n->IsFrozen());

    // A layer with nodes, layer "0" and the current layer are not deleted.
    EXPECT_FALSE(lm->DeleteLayer(MSTR(L"Rig")));
    EXPECT_FALSE(lm->DeleteLayer(MSTR(L"0")));
    ILayer* spare = lm->CreateLayer();
    EXPECT_EQ(spare->GetName(), MSTR(L"Layer001"));
    EXPECT_TRUE(lm->DeleteLayer(MSTR(L"Layer001")));
    EXPECT_EQ(lm->GetLayer(MSTR(L"Layer001")), nullptr);

    // New nodes go to the current layer.
    lm->SetCurrentLayer(MSTR(L"Controls"));
    EXPECT_EQ(ip()->CreateObjectNode(nullptr, L"Ctl")->GetNodeLayer(), controls);
}

TEST_F(CoreInterface, TimeAnimateModeAndViews) {
    struct Watch : TimeChangeCallback {
        std::vector<TimeValue> seen;
        void TimeChanged(TimeValue t) override { seen.push_back(t); }
    } watch;
    ip()->RegisterTimeChangeCallback(&watch);
    ip()->RegisterTimeChangeCallback(&watch);
    const long redraws = host::RedrawCount();
    ip()->SetTime(320);
    ip()->SetTime(320);
    ip()->SetTime(480, FALSE);
    EXPECT_EQ(ip()->GetTime(), 480);
    EXPECT_EQ(watch.seen, (std::vector<TimeValue>{320, 480}));
    EXPECT_EQ(host::RedrawCount(), redraws + 1);
    ip()->UnRegisterTimeChangeCallback(&watch);
    ip()->SetTime(0);
    EXPECT_EQ(watch.seen.size(), 2u);

    EXPECT_EQ(ip()->GetAnimRange(), Interval(0, 100 * GetTicksPerFrame()));
    ip()->SetAnimRange(Interval(160, 3200));
    EXPECT_EQ(ip()->GetAnimRange(), Interval(160, 3200));

    EXPECT_FALSE(Animating());
    AnimateOn();
    EXPECT_TRUE(Animating());
    SuspendAnimate();
    EXPECT_FALSE(Animating());
    ResumeAnimate();
    EXPECT_TRUE(Animating());
    ip()->SetAnimateButtonState(FALSE);
    EXPECT_FALSE(Animating());

    const long before = host::RedrawCount();
    ip()->DisableSceneRedraw();
    ip()->DisableSceneRedraw();
    ip()->RedrawViews(0);
    ip()->EnableSceneRedraw();
    ip()->RedrawViews(0);
    EXPECT_EQ(host::RedrawCount(), before);
    ip()->EnableSceneRedraw();
    ip()->RedrawViews(0);
    EXPECT_EQ(host::RedrawCount(), before + 1);

    ip()->SetRefCoordSys(COORDS_GIMBAL);
    EXPECT_EQ(ip()->GetRefCoordSys(), 6);
    EXPECT_FLOAT_EQ(MaxSDK::GetUIScaleFactor(), 1.0f);

    // A reset puts time, range and mode back and says so; a new scene says it differently.
    Log resets;
    Registration pre(&Log::Proc, &resets, NOTIFY_SYSTEM_PRE_RESET);
    Registration post(&Log::Proc, &resets, NOTIFY_SYSTEM_POST_RESET);
    Registration postNew(&Log::Proc, &resets, NOTIFY_SYSTEM_POST_NEW);
    AnimateOn();
    MakeNode();
    host::ResetScene();
    EXPECT_EQ(ip()->GetRootNode()->NumberOfChildren(), 0);
    ASSERT_EQ(resets.calls.size(), 2u);
    EXPECT_EQ(resets.calls[0].first, NOTIFY_SYSTEM_PRE_RESET);
    EXPECT_EQ(resets.calls[1].first, NOTIFY_SYSTEM_POST_RESET);
    host::NewScene();
    EXPECT_EQ(resets.calls.back().first, NOTIFY_SYSTEM_POST_NEW);
    EXPECT_EQ(ip()->GetTime(), 0);
    EXPECT_FALSE(Animating());
    EXPECT_EQ(ip()->GetAnimRange(), Interval(0, 100 * GetTicksPerFrame()));
}

TEST_F(CoreInterface, MessageBoxesListenerAndFolders) {
    host::ScriptedPrompts prompts;
    prompts.Push(host::PromptAnswer::No);
    host::PromptProvider* previous = host::SetPromptProvider(&prompts);
    EXPECT_EQ(MessageBox(nullptr, L"Replace the rig?", L"Rig System", MB_YESNO), IDNO);
    // Queue empty: the default button answers.
    EXPECT_EQ(MessageBox(nullptr, L"Keep?", L"Rig System", MB_YESNOCANCEL | MB_DEFBUTTON2), IDNO);
    // An answer the box does not offer counts as its default.
    prompts.Push(host::PromptAnswer::Yes);
    EXPECT_EQ(MessageBox(nullptr, L"Done", L"Info", MB_OK), IDOK);
    ASSERT_EQ(prompts.AskedPrompts().size(), 3u);
    EXPECT_EQ(prompts.AskedPrompts()[0].title, L"Rig System");
    EXPECT_EQ(prompts.AskedPrompts()[0].buttons, host::PromptButtons::YesNo);

    {
        // Quiet mode asks nobody and writes the text to the listener.
        host::ListenerCapture capture;
        ip()->SetQuietMode(TRUE);
        EXPECT_EQ(MessageBox(nullptr, L"Quietly", L"Circular Dependency", MB_OKCANCEL), IDOK);
        ip()->SetQuietMode(FALSE);
        EXPECT_EQ(prompts.AskedPrompts().size(), 3u);
        host::Listener::Printf(L"Kinetrope: %d nodes\n", 3);
        EXPECT_EQ(capture.Text(), "Circular Dependency: Quietly\nKinetrope: 3 nodes\n");
    }
    host::SetPromptProvider(previous);

    ip()->PushPrompt(L"Pick a node");
    ip()->PushPrompt(L"Pick a target");
    EXPECT_EQ(host::CurrentPrompt(), MSTR(L"Pick a target"));
    ip()->PopPrompt();
    EXPECT_EQ(host::CurrentPrompt(), MSTR(L"Pick a node"));

    ip()->ProgressStart(L"Baking");
    ip()->ProgressUpdate(140);
    EXPECT_TRUE(host::Progress().active);
    EXPECT_EQ(host::Progress().percent, 100);
    ip()->ProgressEnd();
    EXPECT_FALSE(host::Progress().active);

    const std::string dir = (std::filesystem::temp_directory_path() / "kt_scene_cfg").string();
    setenv("KT_HOST_CONFIG_DIR", dir.c_str(), 1);
    EXPECT_EQ(MSTR(ip()->GetDir(APP_PLUGCFG_DIR)), MSTR(host::FromUtf8(dir + "/")));
    EXPECT_TRUE(std::filesystem::is_directory(dir));
    unsetenv("KT_HOST_CONFIG_DIR");
    setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
    EXPECT_EQ(host::ConfigDir(), dir + "/kinetrope/");
    unsetenv("XDG_CONFIG_HOME");
    std::filesystem::remove_all(dir);
}
