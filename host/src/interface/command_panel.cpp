// The command panel's state: the task mode, the rollup pages and the motion panel's editing.
#include <algorithm>

#include "../scene/scene.h"
#include "control.h"
#include "hold.h"
#include "maxapi.h"
#include "notify.h"

namespace host {
namespace {

struct Panel {
    int mode = TASK_MODE_MODIFY;
    // By handle: the edited controller may be deleted behind the panel's back, and then no
    // EndEditParams can be sent to it.
    AnimHandle edited = 0;
    std::vector<RollupPage> pages;
    std::vector<CommandPanelObserver*> observers;
};

Panel& P() {
    static Panel* p = new Panel();  // notifications may arrive during static destruction
    return *p;
}

IObjParam* Ip() { return static_cast<IObjParam*>(GetCOREInterface13()); }

Animatable* MotionTarget(bool closing) {
    Interface* ip = GetCOREInterface();
    if (closing || P().mode != TASK_MODE_MOTION || ip->GetSelNodeCount() != 1) return nullptr;
    INode* node = ip->GetSelNode(0);
    return node ? node->GetTMController() : nullptr;
}

// Ends the editing of what no longer qualifies and begins the editing of what now does.
void SyncMotionPanel(bool closing) {
    Panel& p = P();
    Animatable* next = MotionTarget(closing);
    Animatable* cur = p.edited ? Animatable::GetAnimByHandle(p.edited) : nullptr;
    if (next == cur && cur) return;
    p.edited = 0;
    if (cur) cur->EndEditParams(Ip(), END_EDIT_REMOVEUI, next);
    // An editor's End may have changed the selection and already begun the next editing.
    if (p.edited) return;
    if (next && next == MotionTarget(closing)) {
        p.edited = Animatable::GetHandleByAnim(next);
        next->BeginEditParams(Ip(), BEGIN_EDIT_MOTION, cur);
    }
}

void OnSelection(void*, NotifyInfo*) { SyncMotionPanel(false); }
void OnClosing(void*, NotifyInfo*) { SyncMotionPanel(true); }

const bool g_registered = [] {
    RegisterNotification(&OnSelection, nullptr, NOTIFY_SELECTIONSET_CHANGED);
    for (int code : {NOTIFY_SYSTEM_PRE_RESET, NOTIFY_SYSTEM_PRE_NEW, NOTIFY_FILE_PRE_OPEN})
        RegisterNotification(&OnClosing, nullptr, code);
    return true;
}();

}  // namespace

void MotionPanelTMChanging(Animatable* old, Animatable* next) {
    if (!old || P().edited != Animatable::GetHandleByAnim(old)) return;
    P().edited = 0;
    old->EndEditParams(Ip(), END_EDIT_REMOVEUI, next);
}

void MotionPanelTMChanged() { SyncMotionPanel(false); }

const std::vector<RollupPage>& RollupPages() { return P().pages; }

Animatable* EditedInMotionPanel() { return P().edited ? Animatable::GetAnimByHandle(P().edited) : nullptr; }

void AddCommandPanelObserver(CommandPanelObserver* o) {
    auto& obs = P().observers;
    if (o && std::find(obs.begin(), obs.end(), o) == obs.end()) obs.push_back(o);
}

void RemoveCommandPanelObserver(CommandPanelObserver* o) { std::erase(P().observers, o); }

}  // namespace host

using host::P;

int Interface::GetCommandPanelTaskMode() { return P().mode; }

void Interface::SetCommandPanelTaskMode(int mode) {
    if (mode < TASK_MODE_CREATE || mode > TASK_MODE_UTILITY || mode == P().mode) return;
    P().mode = mode;
    host::SyncMotionPanel(false);
    for (host::CommandPanelObserver* o : std::vector(P().observers)) o->TaskModeChanged(mode);
}

void Interface::AddRollupPage(QWidget& qtWidget, const MCHAR* title, DWORD rollupFlags, int category) {
    auto& pages = P().pages;
    if (std::any_of(pages.begin(), pages.end(), [&](const host::RollupPage& pg) { return pg.widget == &qtWidget; }))
        return;
    auto at = std::find_if(pages.begin(), pages.end(), [&](const host::RollupPage& pg) { return pg.category > category; });
    const host::RollupPage page{&qtWidget, MSTR(title ? title : L""), rollupFlags, category};
    pages.insert(at, page);
    for (host::CommandPanelObserver* o : std::vector(P().observers)) o->RollupPageAdded(page);
}

void Interface::DeleteRollupPage(QWidget& qtWidget) {
    auto& pages = P().pages;
    auto it = std::find_if(pages.begin(), pages.end(), [&](const host::RollupPage& pg) { return pg.widget == &qtWidget; });
    if (it == pages.end()) return;
    const host::RollupPage page = *it;
    for (host::CommandPanelObserver* o : std::vector(P().observers)) o->RollupPageDeleted(page);
    std::erase_if(pages, [&](const host::RollupPage& pg) { return pg.widget == &qtWidget; });
}
