// The library's start and end work: what LibInitialize, the host's start and
// shutdown notifications and LibShutdown do, and the hooks other subsystems fill.
//
// Order: LibInitialize registers the two menu notifications (288, 274) and the start
// (NOTIFY_SYSTEM_STARTUP) and end (NOTIFY_SYSTEM_SHUTDOWN) callbacks. The start callback
// registers the menu notifications again, runs the curve editor's start steps and
// installs its override. The end work runs from the end callback and again from
// LibShutdown; the second run finds nothing left. LibShutdown then destroys the FBX
// manager if one was made. Main thread only.
#pragma once

#include "notify.h"

namespace kt {

// Steps that belong to other subsystems. Each is null until its owner sets it (from a
// static initialiser or before the host starts); a null hook is a step with nothing to
// do. Hooks that act on a window check themselves whether it exists.
struct FrameHooks {
    // Notification 288: the host asks for additions to its menu bar.
    void (*menuBarAdditions)(NotifyInfo* info) = nullptr;
    // Notification 274: the host hands over a value for the curve editor override.
    void (*curveEditorValue)(NotifyInfo* info) = nullptr;
    // Start: the curve editor toolbars' and settings' first load and the hand-over of
    // the host's value.
    void (*curveEditorStartSteps)() = nullptr;
    // Start: puts the system's curve editor in the host's editor's place. Answers false
    // when the native spinner menu interception could not be installed; the rest of the
    // override is in place either way.
    bool (*installCurveEditorOverride)() = nullptr;
    // End 1: removes the override and its event filter object.
    void (*removeCurveEditorOverride)() = nullptr;
    // End 2: saves the curve editor dock's layout if that dock exists.
    void (*saveCurveEditorLayout)() = nullptr;
    // End 3: saves the other dock window's docked state, area and geometry and destroys
    // it, if it exists.
    void (*closeDockWindow)() = nullptr;
    // End 4: closes what the curve editor's command layer still holds open.
    void (*closeCurveEditorCommands)() = nullptr;
    // The process's one FBX manager and how to destroy it; null until first made.
    void* fbxManager = nullptr;
    void (*destroyFbxManager)(void* manager) = nullptr;
};

FrameHooks& GetFrameHooks();

class PluginLifecycle {
public:
    // LibInitialize. Always 1.
    static int Initialize();
    // LibShutdown: unregisters the start and end callbacks, runs the end work, destroys
    // the FBX manager (clearing the pointer first). Always 1.
    static int Shutdown();
    // The end work; safe to run any number of times.
    static void EndWork();

    // Registers notifications 288 and 274; a flag per code makes a repeat do nothing.
    static void RegisterMenuNotifications();
    static void UnregisterMenuNotifications();
    static bool MenuNotificationsRegistered();
    // Whether the start callback has run since Initialize.
    static bool Started();
};

}  // namespace kt
