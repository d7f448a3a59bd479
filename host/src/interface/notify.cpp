#include "notify.h"

#include <vector>

#include "hold.h"

namespace {

struct Entry {
    NOTIFYPROC proc;
    void* param;
    int code;
    bool alive;
};

struct Registry {
    std::vector<Entry> entries;
    int broadcasting = 0;
    bool dirty = false;

    void Compact() {
        if (broadcasting > 0 || !dirty) return;
        std::erase_if(entries, [](const Entry& e) { return !e.alive; });
        dirty = false;
    }
};

Registry& Reg() {
    static Registry* r = new Registry();  // callbacks may run during static destruction
    return *r;
}

void OnUndoRedo(bool redo) { BroadcastNotification(redo ? NOTIFY_SCENE_REDO : NOTIFY_SCENE_UNDO); }

// theHold's undo and redo broadcast through this module.
const bool g_hooked = (host::SetHoldUndoRedoHook(&OnUndoRedo), true);

}  // namespace

int RegisterNotification(NOTIFYPROC proc, void* param, int code) {
    if (!proc) return FALSE;
    Registry& r = Reg();
    for (const Entry& e : r.entries)
        if (e.alive && e.proc == proc && e.param == param && e.code == code) return TRUE;
    r.entries.push_back({proc, param, code, true});
    return TRUE;
}

int UnRegisterNotification(NOTIFYPROC proc, void* param, int code) {
    Registry& r = Reg();
    bool found = false;
    for (Entry& e : r.entries) {
        if (e.alive && e.proc == proc && e.param == param && e.code == code) {
            e.alive = false;
            found = true;
        }
    }
    r.dirty |= found;
    r.Compact();
    return found ? TRUE : FALSE;
}

int UnRegisterNotification(NOTIFYPROC proc, void* param) {
    Registry& r = Reg();
    bool found = false;
    for (Entry& e : r.entries) {
        if (e.alive && e.proc == proc && e.param == param) {
            e.alive = false;
            found = true;
        }
    }
    r.dirty |= found;
    r.Compact();
    return found ? TRUE : FALSE;
}

void BroadcastNotification(int code) { BroadcastNotification(code, nullptr); }

void BroadcastNotification(int code, void* callParam) {
    (void)g_hooked;
    Registry& r = Reg();
    ++r.broadcasting;
    // By index and up to the count at the start: entries added meanwhile wait for the next one.
    const size_t n = r.entries.size();
    for (size_t i = 0; i < n; ++i) {
        Entry e = r.entries[i];
        if (!e.alive || e.code != code) continue;
        NotifyInfo info{code, callParam};
        e.proc(e.param, &info);
    }
    --r.broadcasting;
    r.Compact();
}
