// Weak references: an owner watches targets without keeping them alive.
//
// A weak reference reads null once its target is deleted, survives renames (it is a
// pointer, not a name), and is remapped when the owner is cloned together with the
// target. Dependency tests do not pass through it. Setting one while the hold is on
// is recorded like any reference swap.
#pragma once

#include <vector>
#include "ref.h"

class WeakRefOwner;

namespace host {
constexpr Class_ID WEAKREF_SLOT_CLASS_ID(0x3A1E55C1, 0x7B2C0D14);

// One watched target; owned by its WeakRefOwner.
class WeakRefSlot : public ReferenceMaker {
public:
    WeakRefSlot(WeakRefOwner* owner, int index) : owner_(owner), index_(index) {}
    SClass_ID SuperClassID() override { return REF_MAKER_CLASS_ID; }
    Class_ID ClassID() override { return WEAKREF_SLOT_CLASS_ID; }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override { return i == 0 ? target_ : nullptr; }
    BOOL IsRealDependency(ReferenceTarget*) override { return FALSE; }
    RefResult NotifyRefChanged(const Interval& iv, RefTargetHandle hTarget, PartID& partID, RefMessage message,
                               BOOL propagate) override;
    void SetIndex(int i) { index_ = i; }
    void Detach() { owner_ = nullptr; }

protected:
    void SetReference(int i, RefTargetHandle t) override {
        if (i == 0) target_ = t;
    }

private:
    WeakRefOwner* owner_;
    int index_;
    ReferenceTarget* target_ = nullptr;
};
}  // namespace host

class WeakRefOwner {
public:
    WeakRefOwner() = default;
    virtual ~WeakRefOwner();
    WeakRefOwner(const WeakRefOwner&) = delete;
    WeakRefOwner& operator=(const WeakRefOwner&) = delete;

    int NumWeakRefs() const { return static_cast<int>(slots_.size()); }
    // The watched target, or null (never set, out of range, or deleted).
    ReferenceTarget* GetWeakRef(int i) const;
    // Watches t in slot i, growing the table as needed; null clears the slot.
    void SetWeakRef(int i, ReferenceTarget* t);
    int AppendWeakRef(ReferenceTarget* t);
    // Shrinks or grows the table; dropped slots stop watching.
    void SetNumWeakRefs(int n);
    // Index of the first slot watching t, or -1.
    int FindWeakRef(ReferenceTarget* t) const;

    // Takes over from's weak references: a target that is cloned in the same operation
    // is replaced by its clone once the clone exists (at RemapDir::Backpatch).
    void CloneWeakRefs(const WeakRefOwner& from, RemapDir& remap);

protected:
    // Called with each message a watched target sends, before the host acts on it
    // (REFMSG_TARGET_DELETED: the slot reads null right after).
    virtual void WeakRefChanged(int index, ReferenceTarget* target, PartID part, RefMessage message) {
        (void)index; (void)target; (void)part; (void)message;
    }

private:
    friend class host::WeakRefSlot;
    std::vector<host::WeakRefSlot*> slots_;
};
