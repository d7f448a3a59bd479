#include "frame/plugin_lifecycle.h"

#include "maxapi.h"

namespace kt {
namespace {

struct State {
    bool menuBarRegistered = false;
    bool curveValueRegistered = false;
    bool started = false;
    bool overrideInstalled = false;
};

State& GetState() {
    static State state;
    return state;
}

void OnMenuBar(void*, NotifyInfo* info) {
    if (auto hook = GetFrameHooks().menuBarAdditions) hook(info);
}

void OnCurveEditorValue(void*, NotifyInfo* info) {
    if (auto hook = GetFrameHooks().curveEditorValue) hook(info);
}

void OnSystemStartup(void*, NotifyInfo*) {
    State& s = GetState();
    if (s.started) return;
    s.started = true;
    PluginLifecycle::RegisterMenuNotifications();
    FrameHooks& hooks = GetFrameHooks();
    if (hooks.curveEditorStartSteps) hooks.curveEditorStartSteps();
    // Until the curve editor sets its hook there is no override to install, so nothing
    // can fail here and no line is printed.
    if (hooks.installCurveEditorOverride) {
        if (!hooks.installCurveEditorOverride())
            host::Listener::Write(L"Kinetrope: native spinner menu interception could not be installed.\n");
        s.overrideInstalled = true;
    }
}

void OnSystemShutdown(void*, NotifyInfo*) { PluginLifecycle::EndWork(); }

}  // namespace

FrameHooks& GetFrameHooks() {
    static FrameHooks hooks;
    return hooks;
}

void PluginLifecycle::RegisterMenuNotifications() {
    State& s = GetState();
    if (!s.menuBarRegistered) s.menuBarRegistered = RegisterNotification(OnMenuBar, nullptr, NOTIFY_CUI_MENUS_POST_LOAD);
    if (!s.curveValueRegistered)
        s.curveValueRegistered = RegisterNotification(OnCurveEditorValue, nullptr, NOTIFY_CURVE_EDITOR_OVERRIDE);
}

void PluginLifecycle::UnregisterMenuNotifications() {
    State& s = GetState();
    if (s.menuBarRegistered) UnRegisterNotification(OnMenuBar, nullptr, NOTIFY_CUI_MENUS_POST_LOAD);
    if (s.curveValueRegistered) UnRegisterNotification(OnCurveEditorValue, nullptr, NOTIFY_CURVE_EDITOR_OVERRIDE);
    s.menuBarRegistered = false;
    s.curveValueRegistered = false;
}

bool PluginLifecycle::MenuNotificationsRegistered() {
    return GetState().menuBarRegistered && GetState().curveValueRegistered;
}

bool PluginLifecycle::Started() { return GetState().started; }

int PluginLifecycle::Initialize() {
    RegisterMenuNotifications();
    RegisterNotification(OnSystemStartup, nullptr, NOTIFY_SYSTEM_STARTUP);
    RegisterNotification(OnSystemShutdown, nullptr, NOTIFY_SYSTEM_SHUTDOWN);
    return 1;
}

void PluginLifecycle::EndWork() {
    State& s = GetState();
    FrameHooks& hooks = GetFrameHooks();
    if (s.overrideInstalled) {
        s.overrideInstalled = false;
        if (hooks.removeCurveEditorOverride) hooks.removeCurveEditorOverride();
    }
    if (hooks.saveCurveEditorLayout) hooks.saveCurveEditorLayout();
    if (hooks.closeDockWindow) hooks.closeDockWindow();
    UnregisterMenuNotifications();
    if (hooks.closeCurveEditorCommands) hooks.closeCurveEditorCommands();
}

int PluginLifecycle::Shutdown() {
    UnRegisterNotification(OnSystemStartup, nullptr, NOTIFY_SYSTEM_STARTUP);
    UnRegisterNotification(OnSystemShutdown, nullptr, NOTIFY_SYSTEM_SHUTDOWN);
    EndWork();
    GetState().started = false;
    FrameHooks& hooks = GetFrameHooks();
    if (void* manager = hooks.fbxManager) {
        hooks.fbxManager = nullptr;
        if (hooks.destroyFbxManager) hooks.destroyFbxManager(manager);
    }
    return 1;
}

}  // namespace kt
