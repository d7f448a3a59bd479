// MsgChecker: a diagnostics reference target that writes every reference message it
// receives to the listener, one "Kinetrope: " line each with the message number, the
// part and the class name of the sender.
//
// It watches any number of targets through a variable reference list. NumRefs is one
// more than the watched slots: the last slot is always empty, and pointing it at a
// target (ReplaceReference(NumRefs() - 1, target)) watches one more. Watching does not
// keep a target alive and takes no part in dependency tests.
#pragma once

#include <vector>
#include "iosave.h"
#include "ref.h"

namespace kt {

class MsgChecker : public ReferenceTarget {
public:
    static constexpr Class_ID kClassID{0x8443DFA5, 0x3F434885};

    explicit MsgChecker(BOOL loading = FALSE);

    // Watches target in a new slot; answers the slot, or -1 for null or when the host
    // refused the reference.
    int Watch(ReferenceTarget* target);
    int NumWatched() const { return static_cast<int>(refs_.size()); }

    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return kClassID; }
    void GetClassName(MSTR& s, bool localized = true) const override;
    MSTR ClassName(bool localized = true) const override;

    int NumRefs() override { return NumWatched() + 1; }
    RefTargetHandle GetReference(int i) override;
    RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                               RefMessage message, BOOL propagate) override;
    BOOL IsRealDependency(ReferenceTarget*) override { return FALSE; }

    // A new checker watching the same targets.
    ReferenceTarget* Clone(RemapDir& remap) override;
    // Chunk kSlotCountChunk: the number of watched slots (uint32), so that load can size
    // the list before the references are restored.
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;
    static constexpr USHORT kSlotCountChunk = 0x0100;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;

private:
    std::vector<ReferenceTarget*> refs_;
};

}  // namespace kt
