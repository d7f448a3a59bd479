// Broadcast notifications: the host tells registered callbacks about scene-wide events.
//
// A callback is identified by (fn, param, code); registering the same triple twice keeps one.
// Callbacks may register and unregister (themselves or others) while a broadcast runs: a
// callback removed during a broadcast is not called any more, one added is called from the
// next broadcast on. Main thread only.
#pragma once

#include "maxtypes.h"

struct NotifyInfo {
    int intcode;      // the code broadcast
    void* callParam;  // what the broadcaster passed (the node for node events), or null
};

typedef void (*NOTIFYPROC)(void* param, NotifyInfo* info);

// Codes. Where the SDK name is not certain the number is what matters.
constexpr int NOTIFY_SYSTEM_PRE_RESET = 5;
constexpr int NOTIFY_SYSTEM_POST_RESET = 6;
constexpr int NOTIFY_SYSTEM_PRE_NEW = 7;
constexpr int NOTIFY_SYSTEM_POST_NEW = 8;
constexpr int NOTIFY_FILE_PRE_OPEN = 9;
constexpr int NOTIFY_FILE_POST_OPEN = 10;
constexpr int NOTIFY_FILE_PRE_SAVE = 13;
constexpr int NOTIFY_FILE_POST_SAVE = 14;
constexpr int NOTIFY_SELECTIONSET_CHANGED = 18;
constexpr int NOTIFY_NODE_CREATED = 58;             // callParam: the INode
constexpr int NOTIFY_SCENE_PRE_DELETED_NODE = 69;   // callParam: the INode, still whole
constexpr int NOTIFY_SYSTEM_SHUTDOWN = 73;
constexpr int NOTIFY_SYSTEM_STARTUP = 80;
constexpr int NOTIFY_COLOR_CHANGE = 85;
constexpr int NOTIFY_SCENE_UNDO = 97;               // after theHold.Undo restored a record
constexpr int NOTIFY_SCENE_REDO = 98;               // after theHold.Redo applied a record again
constexpr int NOTIFY_CURVE_EDITOR_OVERRIDE = 274;   // the host hands a value to a curve-editor override
constexpr int NOTIFY_CUI_MENUS_POST_LOAD = 288;     // the host asks for additions to its menu bar

// Answers TRUE; a repeated (fn, param, code) is registered once.
int RegisterNotification(NOTIFYPROC proc, void* param, int code);
// Removes (fn, param, code); answers TRUE when it was registered.
int UnRegisterNotification(NOTIFYPROC proc, void* param, int code);
// Removes (fn, param) for every code.
int UnRegisterNotification(NOTIFYPROC proc, void* param);
// Calls every callback registered for code, in registration order.
void BroadcastNotification(int code);
void BroadcastNotification(int code, void* callParam);
