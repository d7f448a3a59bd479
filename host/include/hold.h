// theHold: the undo stack. Every user operation is one accepted hold.
#pragma once

#include <vector>
#include <memory>
#include "strclass.h"

// The before-state of one change. Restore puts it back, Redo applies it again.
class RestoreObj {
public:
    virtual ~RestoreObj() = default;
    // isUndo is TRUE for a user undo and FALSE for a Cancel.
    virtual void Restore(int isUndo) = 0;
    virtual void Redo() = 0;
    virtual int Size() { return 1; }
    // Called once when the hold that holds this object is accepted or cancelled:
    // the owner clears its once-per-hold flag here.
    virtual void EndHold() {}
    virtual MSTR Description() { return MSTR(L"---"); }
};

class Hold {
public:
    Hold();
    ~Hold();
    // Starts a hold; holds nest, the outermost Accept makes the undo record.
    void Begin();
    // Ends the hold; the outermost one pushes one named undo record (nothing if empty).
    void Accept(const MCHAR* name);
    void Accept(int nameResID) { (void)nameResID; Accept(L""); }
    // Ends the hold and restores everything it recorded, newest first.
    void Cancel();
    // True while restore objects are taken: a hold is open, not suspended, not restoring.
    int Holding() const { return depth_ > 0 && suspend_ == 0 && !restoring_ && !redoing_ && disable_ == 0; }
    // Takes ownership of rob when Holding(), else deletes it.
    void Put(RestoreObj* rob);
    void Suspend() { ++suspend_; }
    void Resume() { if (suspend_ > 0) --suspend_; }
    int IsSuspended() const { return suspend_ > 0; }
    int Restoring() const { return restoring_; }
    int Redoing() const { return redoing_; }
    int RestoreOrRedoing() const { return restoring_ || redoing_; }
    // Nesting depth of Begin.
    int HoldDepth() const { return depth_; }
    void DisableUndo() { ++disable_; }
    void EnableUndo() { if (disable_ > 0) --disable_; }

    // Super holds group several accepted holds into one record.
    void SuperBegin();
    void SuperAccept(const MCHAR* name);
    void SuperCancel();

    // The user's undo and redo. Answer false when there is nothing to do.
    bool Undo();
    bool Redo();
    int NumUndoRecords() const { return static_cast<int>(undo_.size()); }
    int NumRedoRecords() const { return static_cast<int>(redo_.size()); }
    // Name of the record Undo would restore, or empty.
    MSTR UndoName() const;
    MSTR RedoName() const;
    // Drops every record (a new scene, a reset). Releases what they kept alive.
    void Reset();
    // Most records kept; older ones drop off the bottom.
    void SetMaxRecords(int n);

private:
    struct Record {
        MSTR name;
        std::vector<RestoreObj*> objs;
    };
    void FreeRecord(Record& r);
    void EndHoldAll(std::vector<RestoreObj*>& objs);

    std::vector<RestoreObj*> current_;
    std::vector<Record> undo_;
    std::vector<Record> redo_;
    std::vector<size_t> superMarks_;
    int depth_ = 0;
    int suspend_ = 0;
    int disable_ = 0;
    int restoring_ = 0;
    int redoing_ = 0;
    int maxRecords_ = 200;
};

extern Hold theHold;

namespace host {
// Called after theHold.Undo (redo false) or theHold.Redo (redo true) has run a record; the
// notification module installs it to broadcast NOTIFY_SCENE_UNDO / NOTIFY_SCENE_REDO.
void SetHoldUndoRedoHook(void (*hook)(bool redo));
}  // namespace host
