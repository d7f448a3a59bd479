// Restore objects shared by the controllers: a whole-state snapshot taken once per hold.
#pragma once

#include <memory>
#include <utility>

#include "hold.h"
#include "animtbl.h"

namespace host::ctrl {

// The before-state of an object for one hold. The owner sets A_HELD when it puts this and
// EndHold clears it, so the first change in a hold is the one recorded. The owner is found
// again by handle: an owner that is gone makes restore and redo do nothing.
// Ctl needs Snapshot() -> State and Apply(const State&).
template <class Ctl, class State> class KeyTableRestore : public RestoreObj {
  public:
    KeyTableRestore(Ctl* c, State before)
        : handle_(Animatable::GetHandleByAnim(c)), undo_(std::move(before)) {}
    void Restore(int isUndo) override {
        Ctl* c = Find();
        if (!c) return;
        if (isUndo && !redo_) redo_ = std::make_unique<State>(c->Snapshot());
        c->Apply(undo_);
    }
    void Redo() override {
        Ctl* c = Find();
        if (c && redo_) c->Apply(*redo_);
    }
    void EndHold() override {
        if (Ctl* c = Find()) c->ClearAFlag(A_HELD);
    }
    MSTR Description() override { return MSTR(L"Controller"); }

  private:
    Ctl* Find() const { return dynamic_cast<Ctl*>(Animatable::GetAnimByHandle(handle_)); }
    AnimHandle handle_;
    State undo_;
    std::unique_ptr<State> redo_;
};

} // namespace host::ctrl
