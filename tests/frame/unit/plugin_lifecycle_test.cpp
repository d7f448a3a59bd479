#include <string>

#include <gtest/gtest.h>

#include "frame/plugin_lifecycle.h"
#include "maxapi.h"

namespace {

struct Calls {
    int menuBar = 0, curveValue = 0, start = 0, install = 0, remove = 0, saveLayout = 0, closeDock = 0,
        closeCommands = 0, destroyFbx = 0;
    bool installSucceeds = true;
    void* destroyed = nullptr;
    void* pointerDuringDestroy = nullptr;
};
Calls gCalls;

void InstallCountingHooks() {
    kt::FrameHooks& h = kt::GetFrameHooks();
    h.menuBarAdditions = [](NotifyInfo*) { ++gCalls.menuBar; };
    h.curveEditorValue = [](NotifyInfo*) { ++gCalls.curveValue; };
    h.curveEditorStartSteps = [] { ++gCalls.start; };
    h.installCurveEditorOverride = [] {
        ++gCalls.install;
        return gCalls.installSucceeds;
    };
    h.removeCurveEditorOverride = [] { ++gCalls.remove; };
    h.saveCurveEditorLayout = [] { ++gCalls.saveLayout; };
    h.closeDockWindow = [] { ++gCalls.closeDock; };
    h.closeCurveEditorCommands = [] { ++gCalls.closeCommands; };
    h.destroyFbxManager = [](void* m) {
        ++gCalls.destroyFbx;
        gCalls.destroyed = m;
        gCalls.pointerDuringDestroy = kt::GetFrameHooks().fbxManager;
    };
}

TEST(PluginLifecycle, StartAndEndWorkFollowTheHostsNotifications) {
    gCalls = Calls{};
    gCalls.installSucceeds = false;
    InstallCountingHooks();
    host::ListenerCapture capture;

    ASSERT_EQ(kt::PluginLifecycle::Initialize(), 1);
    EXPECT_TRUE(kt::PluginLifecycle::MenuNotificationsRegistered());
    // Step 1 again is harmless: each notification still arrives once.
    kt::PluginLifecycle::RegisterMenuNotifications();
    BroadcastNotification(NOTIFY_CUI_MENUS_POST_LOAD);
    BroadcastNotification(NOTIFY_CURVE_EDITOR_OVERRIDE);
    EXPECT_EQ(gCalls.menuBar, 1);
    EXPECT_EQ(gCalls.curveValue, 1);
    EXPECT_EQ(gCalls.start, 0);

    // Start runs once, and a failed interception is reported once and does not stop it.
    BroadcastNotification(NOTIFY_SYSTEM_STARTUP);
    BroadcastNotification(NOTIFY_SYSTEM_STARTUP);
    EXPECT_TRUE(kt::PluginLifecycle::Started());
    EXPECT_EQ(gCalls.start, 1);
    EXPECT_EQ(gCalls.install, 1);
    EXPECT_EQ(capture.Text(), "Kinetrope: native spinner menu interception could not be installed.\n");

    // The end callback runs every end step; the menu notifications stop arriving.
    BroadcastNotification(NOTIFY_SYSTEM_SHUTDOWN);
    EXPECT_EQ(gCalls.remove, 1);
    EXPECT_EQ(gCalls.saveLayout, 1);
    EXPECT_EQ(gCalls.closeDock, 1);
    EXPECT_EQ(gCalls.closeCommands, 1);
    EXPECT_FALSE(kt::PluginLifecycle::MenuNotificationsRegistered());
    BroadcastNotification(NOTIFY_CUI_MENUS_POST_LOAD);
    EXPECT_EQ(gCalls.menuBar, 1);

    // LibShutdown runs the end work again: the override is not removed a second time.
    int manager = 0;
    kt::GetFrameHooks().fbxManager = &manager;
    ASSERT_EQ(kt::PluginLifecycle::Shutdown(), 1);
    EXPECT_EQ(gCalls.remove, 1);
    EXPECT_EQ(gCalls.destroyFbx, 1);
    EXPECT_EQ(gCalls.destroyed, &manager);
    EXPECT_EQ(gCalls.pointerDuringDestroy, nullptr);
    EXPECT_EQ(kt::GetFrameHooks().fbxManager, nullptr);

    // Nothing is registered any more, and a second shutdown destroys nothing.
    const Calls before = gCalls;
    BroadcastNotification(NOTIFY_SYSTEM_STARTUP);
    BroadcastNotification(NOTIFY_SYSTEM_SHUTDOWN);
    BroadcastNotification(NOTIFY_CURVE_EDITOR_OVERRIDE);
    EXPECT_EQ(gCalls.start, before.start);
    EXPECT_EQ(gCalls.saveLayout, before.saveLayout);
    EXPECT_EQ(gCalls.curveValue, before.curveValue);
    kt::PluginLifecycle::Shutdown();
    EXPECT_EQ(gCalls.destroyFbx, 1);
    kt::GetFrameHooks() = kt::FrameHooks{};
}

TEST(PluginLifecycle, StartWithoutACurveEditorPrintsNothing) {
    kt::GetFrameHooks() = kt::FrameHooks{};
    host::ListenerCapture capture;
    kt::PluginLifecycle::Initialize();
    BroadcastNotification(NOTIFY_SYSTEM_STARTUP);
    EXPECT_TRUE(kt::PluginLifecycle::Started());
    BroadcastNotification(NOTIFY_SYSTEM_SHUTDOWN);
    kt::PluginLifecycle::Shutdown();
    EXPECT_FALSE(kt::PluginLifecycle::Started());
    EXPECT_EQ(capture.Text(), "");
}

}  // namespace
