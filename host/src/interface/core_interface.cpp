#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "../scene/scene.h"
#include "hold.h"
#include "maxapi.h"
#include "notify.h"

namespace host {

namespace {

class CoreInterface final : public Interface13 {};

struct State {
    TimeValue time = 0;
    Interval animRange{0, 100 * 160};
    std::vector<TimeChangeCallback*> timeCallbacks;
    bool animateButton = false;
    int animateSuspend = 0;
    long redraws = 0;
    int redrawDisabled = 0;
    int refCoordSys = COORDS_WORLD;
    float uiScale = 1.0f;
    QWidget* mainWindow = nullptr;
    std::vector<MSTR> prompts;
    MSTR tempPrompt;
    ProgressState progress;
    bool cancel = false;
    bool quiet = false;
    std::vector<MSTR> dirs;
};

State& S() {
    static State* s = new State();
    return *s;
}

CoreInterface& Core() {
    static CoreInterface* core = new CoreInterface();
    return *core;
}

std::string EnvOr(const char* name, const std::string& fallback) {
    const char* v = std::getenv(name);
    return v && *v ? std::string(v) : fallback;
}

std::string WithSlash(std::string p) {
    if (!p.empty() && p.back() != '/') p += '/';
    return p;
}

}  // namespace

std::string ConfigDir() {
    std::string dir;
    if (const char* v = std::getenv("KT_HOST_CONFIG_DIR"); v && *v) {
        dir = WithSlash(v);
    } else {
        std::string base = EnvOr("XDG_CONFIG_HOME", EnvOr("HOME", ".") + "/.config");
        dir = WithSlash(base) + "kinetrope/";
    }
    std::error_code ec;
    std::filesystem::create_directories(dir, ec);
    return dir;
}

long RedrawCount() { return S().redraws; }
const MSTR& CurrentPrompt() {
    static const MSTR empty;
    if (!S().tempPrompt.isNull()) return S().tempPrompt;
    return S().prompts.empty() ? empty : S().prompts.back();
}
const ProgressState& Progress() { return S().progress; }
void SetUIScaleFactor(float f) { S().uiScale = f > 0.0f ? f : 1.0f; }
void SetMainWindow(QWidget* w) { S().mainWindow = w; }

void ResetInterfaceState() {
    State& s = S();
    s.time = 0;
    s.animRange = Interval(0, 100 * GetTicksPerFrame());
    s.animateButton = false;
    s.animateSuspend = 0;
    s.refCoordSys = COORDS_WORLD;
    s.prompts.clear();
    s.tempPrompt = MSTR();
    s.progress = ProgressState();
    s.cancel = false;
}

namespace {
void ClearScene(int pre, int post) {
    BroadcastNotification(pre);
    theHold.Reset();
    Scene& scene = Scene::Get();
    scene.Clear();
    scene.Layers().Reset();
    ResetInterfaceState();
    BroadcastNotification(post);
}
}  // namespace

void ResetScene() { ClearScene(NOTIFY_SYSTEM_PRE_RESET, NOTIFY_SYSTEM_POST_RESET); }
void NewScene() { ClearScene(NOTIFY_SYSTEM_PRE_NEW, NOTIFY_SYSTEM_POST_NEW); }

}  // namespace host

using host::S;

Interface* GetCOREInterface() { return &host::Core(); }
Interface7* GetCOREInterface7() { return &host::Core(); }
Interface13* GetCOREInterface13() { return &host::Core(); }

BOOL Animating() { return S().animateButton && S().animateSuspend == 0 ? TRUE : FALSE; }
void AnimateOn() { S().animateButton = true; }
void AnimateOff() { S().animateButton = false; }
void SuspendAnimate() { ++S().animateSuspend; }
void ResumeAnimate() {
    if (S().animateSuspend > 0) --S().animateSuspend;
}

float MaxSDK::GetUIScaleFactor() { return S().uiScale; }

// ---- Time

TimeValue Interface::GetTime() { return S().time; }

void Interface::SetTime(TimeValue t, BOOL redraw) {
    if (t == S().time) return;
    S().time = t;
    // A callback may unregister itself (or another) while being called.
    std::vector<TimeChangeCallback*> cbs = S().timeCallbacks;
    for (TimeChangeCallback* cb : cbs) {
        auto& live = S().timeCallbacks;
        if (std::find(live.begin(), live.end(), cb) != live.end()) cb->TimeChanged(t);
    }
    if (redraw) RedrawViews(t);
}

Interval Interface::GetAnimRange() { return S().animRange; }

void Interface::SetAnimRange(Interval range) {
    if (range.Empty()) return;
    S().animRange = range;
}

void Interface::RegisterTimeChangeCallback(TimeChangeCallback* tc) {
    auto& v = S().timeCallbacks;
    if (tc && std::find(v.begin(), v.end(), tc) == v.end()) v.push_back(tc);
}

void Interface::UnRegisterTimeChangeCallback(TimeChangeCallback* tc) {
    auto& v = S().timeCallbacks;
    v.erase(std::remove(v.begin(), v.end(), tc), v.end());
}

void Interface::SetAnimateButtonState(BOOL onOff) { S().animateButton = onOff != 0; }
BOOL Interface::GetAnimateButtonState() { return S().animateButton ? TRUE : FALSE; }

// ---- Scene

INode* Interface::GetRootNode() { return host::Scene::Get().Root(); }
INode* Interface::GetINodeByName(const MCHAR* name) { return host::Scene::Get().FindByName(name); }
INode* Interface::GetINodeByHandle(ULONG handle) { return host::Scene::Get().FindByHandle(handle); }

INode* Interface::CreateObjectNode(Object* obj) {
    MSTR base;
    if (obj) obj->InitNodeName(base);
    if (base.isNull()) base = L"Object";
    return CreateObjectNode(obj, base.data());
}

INode* Interface::CreateObjectNode(Object* obj, const MCHAR* baseName) {
    return host::Scene::Get().CreateNode(obj, MakeNameUnique(baseName));
}

MSTR Interface::MakeNameUnique(const MCHAR* baseName) { return host::Scene::Get().UniqueName(baseName); }

void Interface::DeleteNode(INode* node, BOOL keepChildTM, BOOL redraw, BOOL overrideSlaves) {
    (void)overrideSlaves;
    host::Scene::Get().DeleteNode(node, keepChildTM != 0);
    if (redraw) RedrawViews(GetTime());
}

void Interface13::DeleteNodes(INodeTab& nodes, bool keepChildTM, bool redraw, bool overrideSlaveTM) {
    // By handle: deleting one node may not free another, but a callback might.
    std::vector<ULONG> handles;
    for (INode* n : nodes)
        if (n) handles.push_back(n->GetHandle());
    for (ULONG h : handles)
        if (INode* n = GetINodeByHandle(h)) DeleteNode(n, keepChildTM, FALSE, overrideSlaveTM);
    if (redraw) RedrawViews(GetTime());
}

// ---- Selection

int Interface::GetSelNodeCount() { return static_cast<int>(host::Scene::Get().Selection().size()); }

INode* Interface::GetSelNode(int i) {
    const auto& sel = host::Scene::Get().Selection();
    return i >= 0 && i < static_cast<int>(sel.size()) ? sel[static_cast<size_t>(i)] : nullptr;
}

namespace host {
namespace {

std::vector<AnimHandle> SelectionHandles() {
    std::vector<AnimHandle> out;
    for (INode* n : Scene::Get().Selection()) out.push_back(Animatable::GetHandleByAnim(n));
    return out;
}

// Puts the whole selection back as one change, so that undo tells the panel once.
void ApplySelection(const std::vector<AnimHandle>& handles) {
    Scene& s = Scene::Get();
    std::vector<INode*> want;
    for (AnimHandle h : handles)
        if (auto* n = dynamic_cast<INode*>(Animatable::GetAnimByHandle(h)); n && n->host_InScene()) want.push_back(n);
    bool changed = false;
    for (INode* n : std::vector<INode*>(s.Selection()))
        if (std::find(want.begin(), want.end(), n) == want.end()) changed |= s.SetSelected(n, false);
    for (INode* n : want) changed |= s.SetSelected(n, true);
    if (changed) BroadcastNotification(NOTIFY_SELECTIONSET_CHANGED);
}

// Records a selection change made under a hold; the host's selection calls go through here.
class SelectionChange {
public:
    SelectionChange() : before_(SelectionHandles()) {}
    // Broadcasts the change (if any) and records it.
    void Done(bool changed) {
        if (!changed) return;
        if (theHold.Holding()) {
            theHold.Put(new FnRestore([b = before_] { ApplySelection(b); },
                                      [a = SelectionHandles()] { ApplySelection(a); }, L"Select"));
        }
        BroadcastNotification(NOTIFY_SELECTIONSET_CHANGED);
    }

private:
    std::vector<AnimHandle> before_;
};

}  // namespace
}  // namespace host

void Interface::SelectNode(INode* node, int clearSel) {
    host::Scene& s = host::Scene::Get();
    host::SelectionChange change;
    bool changed = false;
    if (clearSel) {
        std::vector<INode*> others = s.Selection();
        for (INode* n : others)
            if (n != node) changed |= s.SetSelected(n, false);
    }
    if (node) changed |= s.SetSelected(node, true);
    change.Done(changed);
}

void Interface::DeSelectNode(INode* node) {
    host::SelectionChange change;
    change.Done(host::Scene::Get().SetSelected(node, false));
}

void Interface::SelectNodeTab(INodeTab& nodes, BOOL sel, BOOL redraw) {
    host::Scene& s = host::Scene::Get();
    host::SelectionChange change;
    bool changed = false;
    for (INode* n : nodes) changed |= s.SetSelected(n, sel != 0);
    change.Done(changed);
    if (redraw) RedrawViews(GetTime());
}

void Interface::ClearNodeSelection(BOOL redraw) {
    host::Scene& s = host::Scene::Get();
    host::SelectionChange change;
    std::vector<INode*> all = s.Selection();
    bool changed = false;
    for (INode* n : all) changed |= s.SetSelected(n, false);
    change.Done(changed);
    if (redraw) RedrawViews(GetTime());
}

// ---- Views

void Interface::RedrawViews(TimeValue t, DWORD vpFlags, ReferenceTarget* change) {
    (void)t; (void)vpFlags; (void)change;
    if (S().redrawDisabled == 0) ++S().redraws;
}

void Interface::ForceCompleteRedraw(BOOL doDisabled) {
    if (doDisabled || S().redrawDisabled == 0) ++S().redraws;
}

void Interface::DisableSceneRedraw() { ++S().redrawDisabled; }
void Interface::EnableSceneRedraw() {
    if (S().redrawDisabled > 0) --S().redrawDisabled;
}
int Interface::IsSceneRedrawDisabled() { return S().redrawDisabled > 0 ? TRUE : FALSE; }
int Interface::GetRefCoordSys() { return S().refCoordSys; }
void Interface::SetRefCoordSys(int coordSys) { S().refCoordSys = coordSys; }
float Interface::GetUIScaleFactor() { return MaxSDK::GetUIScaleFactor(); }
QWidget* Interface::GetQmaxMainWindow() { return S().mainWindow; }
HWND Interface::GetMAXHWnd() { return S().mainWindow; }

// ---- Layers

ILayerManager* Interface::GetLayerManager() { return &host::Scene::Get().Layers(); }

// ---- User

void Interface::PushPrompt(const MCHAR* msg) { S().prompts.emplace_back(msg); }
void Interface::PopPrompt() {
    if (!S().prompts.empty()) S().prompts.pop_back();
}
void Interface::ReplacePrompt(const MCHAR* msg) {
    if (S().prompts.empty()) S().prompts.emplace_back(msg);
    else S().prompts.back() = MSTR(msg);
}
void Interface::DisplayTempPrompt(const MCHAR* msg, int msec) {
    (void)msec;
    S().tempPrompt = MSTR(msg);
}

BOOL Interface::ProgressStart(const MCHAR* title, BOOL dispBar, LPTHREAD_START_ROUTINE fn, void* arg) {
    (void)dispBar;
    host::ProgressState& p = S().progress;
    p.active = true;
    p.title = MSTR(title);
    p.percent = 0;
    S().cancel = false;
    if (fn) return fn(arg) ? TRUE : FALSE;
    return TRUE;
}

void Interface::ProgressUpdate(int pct, BOOL showPct, const MCHAR* title) {
    (void)showPct;
    host::ProgressState& p = S().progress;
    p.percent = std::clamp(pct, 0, 100);
    if (title) p.title = MSTR(title);
}

void Interface::ProgressEnd() { S().progress = host::ProgressState(); }
BOOL Interface::GetCancel() { return S().cancel ? TRUE : FALSE; }
void Interface::SetCancel(BOOL sw) { S().cancel = sw != 0; }
BOOL Interface::GetQuietMode(BOOL checkServerMode) {
    (void)checkServerMode;
    return S().quiet ? TRUE : FALSE;
}
void Interface::SetQuietMode(BOOL onOff) { S().quiet = onOff != 0; }

const MCHAR* Interface::GetDir(int which) {
    if (which < 0 || which >= 32) return L"";
    // Worked out on each call: tests and the command line point the folders elsewhere.
    std::string cfg = host::ConfigDir();
    std::string dir = host::EnvOr("KT_HOST_ROOT_DIR", cfg);
    if (which == APP_PLUGCFG_DIR) {
        dir = cfg;
    } else if (which == APP_TEMP_DIR || which == APP_AUTOBACK_DIR) {
        std::error_code ec;
        dir = host::WithSlash(std::filesystem::temp_directory_path(ec).string());
    }
    auto& dirs = S().dirs;
    dirs.resize(32);
    dirs[static_cast<size_t>(which)] = MSTR(host::FromUtf8(dir));
    return dirs[static_cast<size_t>(which)].data();
}
