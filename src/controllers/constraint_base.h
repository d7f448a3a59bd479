// The frame of the single-target constraints: a parameter block in reference 0 and, for the
// transform constraints that keep the animator's own motion, an inner transform controller in
// reference 1. Both are sub-anims. Saves the lock and whatever state a class adds through
// SaveState / LoadState (plain chunks; a chunk of the wrong size refuses the load).
#pragma once

#include "control.h"
#include "controllers/constraint_targets.h"
#include "iparamb2.h"

namespace kt {

class ConstraintBase : public Control, public ILockedTrackImp {
public:
    enum Refs { kPBlockRef = 0, kInnerRef = 1 };

    explicit ConstraintBase(bool hasInner) : hasInner_(hasInner) {}

    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    int NumRefs() override { return hasInner_ ? 2 : 1; }
    RefTargetHandle GetReference(int i) override;
    int NumSubs() override { return NumRefs(); }
    Animatable* SubAnim(int i) override { return GetReference(i); }
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override { return subNum >= 0 && subNum < NumRefs() ? subNum : -1; }
    BOOL CanAssignController(int subAnim) override { return hasInner_ && subAnim == kInnerRef; }
    BOOL AssignController(Animatable* control, int subAnim) override;
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    BOOL IsAnimated() override;
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

    Control* GetInner() { return inner_; }
    void SetInner(Control* c) { ReplaceReference(kInnerRef, c); }
    INode* OwnerNode() { return OwnerNodeOf(this); }

    IParamBlock2* pblock = nullptr;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;
    // Copies block, inner, lock and the class's state into c; then BaseClone.
    ReferenceTarget* CloneInto(ConstraintBase* c, RemapDir& remap);
    virtual void CopyStateTo(ConstraintBase* c) { (void)c; }
    virtual void SaveState(ISave* isave) { (void)isave; }
    // Answers IO_OK for chunks it does not know (they are skipped).
    virtual IOResult LoadState(ILoad* iload, USHORT id) { (void)iload; (void)id; return IO_OK; }
    // Makes the block and (with hasInner) a default inner controller.
    void MakeRefs(ParamBlockDesc2& desc);

    Control* inner_ = nullptr;

private:
    bool hasInner_;
};

}  // namespace kt
