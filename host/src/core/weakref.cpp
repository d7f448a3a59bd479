#include "weakref.h"
#include "hold.h"

RefResult host::WeakRefSlot::NotifyRefChanged(const Interval&, RefTargetHandle hTarget, PartID& partID,
                                              RefMessage message, BOOL) {
    if (owner_) owner_->WeakRefChanged(index_, hTarget, partID, message);
    // What the target says goes no further than the owner.
    return REF_STOP;
}

WeakRefOwner::~WeakRefOwner() {
    theHold.DisableUndo();
    for (host::WeakRefSlot* s : slots_) {
        s->Detach();
        s->DeleteAllRefsFromMe();
        delete s;
    }
    theHold.EnableUndo();
}

ReferenceTarget* WeakRefOwner::GetWeakRef(int i) const {
    if (i < 0 || i >= NumWeakRefs()) return nullptr;
    return slots_[static_cast<size_t>(i)]->GetReference(0);
}

void WeakRefOwner::SetNumWeakRefs(int n) {
    if (n < 0) n = 0;
    while (NumWeakRefs() > n) {
        host::WeakRefSlot* s = slots_.back();
        slots_.pop_back();
        s->Detach();
        s->ReplaceReference(0, nullptr, FALSE);
        delete s;
    }
    while (NumWeakRefs() < n) slots_.push_back(new host::WeakRefSlot(this, NumWeakRefs()));
}

void WeakRefOwner::SetWeakRef(int i, ReferenceTarget* t) {
    if (i < 0) return;
    if (i >= NumWeakRefs()) SetNumWeakRefs(i + 1);
    slots_[static_cast<size_t>(i)]->ReplaceReference(0, t, FALSE);
}

int WeakRefOwner::AppendWeakRef(ReferenceTarget* t) {
    int i = NumWeakRefs();
    SetWeakRef(i, t);
    return i;
}

int WeakRefOwner::FindWeakRef(ReferenceTarget* t) const {
    if (!t) return -1;
    for (int i = 0; i < NumWeakRefs(); ++i)
        if (GetWeakRef(i) == t) return i;
    return -1;
}

namespace {
// Points a cloned owner's slot at the clone of its original target once all clones exist.
class WeakRefRemapProc : public PostPatchProc {
public:
    WeakRefRemapProc(WeakRefOwner* owner, int index, ReferenceTarget* original)
        : owner_(owner), index_(index), original_(original) {}
    int Proc(RemapDir& remap) override {
        if (ReferenceTarget* c = remap.FindMapping(original_)) owner_->SetWeakRef(index_, c);
        return 1;
    }

private:
    WeakRefOwner* owner_;
    int index_;
    ReferenceTarget* original_;
};
}  // namespace

void WeakRefOwner::CloneWeakRefs(const WeakRefOwner& from, RemapDir& remap) {
    SetNumWeakRefs(from.NumWeakRefs());
    for (int i = 0; i < from.NumWeakRefs(); ++i) {
        ReferenceTarget* t = from.GetWeakRef(i);
        ReferenceTarget* mapped = t ? remap.FindMapping(t) : nullptr;
        SetWeakRef(i, mapped ? mapped : t);
        if (t && !mapped) remap.AddPostPatchProc(new WeakRefRemapProc(this, i, t), true);
    }
}
