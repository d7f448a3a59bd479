#include "custattrib.h"
#include "hold.h"

#include <vector>

namespace {

class CustAttribContainer : public ICustAttribContainer {
public:
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return host::CUSTATTRIB_CONTAINER_CLASS_ID; }
    MSTR ClassName(bool) const override { return MSTR(L"CustAttribContainer"); }

    int NumRefs() override { return static_cast<int>(attribs_.size()); }
    RefTargetHandle GetReference(int i) override {
        return i >= 0 && i < NumRefs() ? attribs_[static_cast<size_t>(i)] : nullptr;
    }
    int NumSubs() override { return NumRefs(); }
    Animatable* SubAnim(int i) override { return GetReference(i); }
    MSTR SubAnimName(int i, bool localized) override {
        CustAttrib* ca = GetCustAttrib(i);
        return ca ? MSTR(ca->GetName(localized)) : MSTR();
    }
    int SubNumToRefNum(int subNum) override { return subNum; }

    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }

    int GetNumCustAttribs() override { return NumRefs(); }
    CustAttrib* GetCustAttrib(int i) override { return dynamic_cast<CustAttrib*>(GetReference(i)); }
    void AppendCustAttrib(CustAttrib* ca) override { InsertCustAttrib(NumRefs(), ca); }
    void SetCustAttrib(int i, CustAttrib* ca) override {
        if (i >= 0 && i < NumRefs()) ReplaceReference(i, ca);
    }
    void InsertCustAttrib(int i, CustAttrib* ca) override {
        if (!ca) return;
        if (i < 0 || i > NumRefs()) i = NumRefs();
        // Grow by one empty slot at the end, then shift references up through recorded swaps.
        if (theHold.Holding()) theHold.Put(new SlotCountRestore(this, NumRefs(), NumRefs() + 1));
        attribs_.push_back(nullptr);
        for (int k = NumRefs() - 1; k > i; --k) {
            ReferenceTarget* prev = GetReference(k - 1);
            ReplaceReference(k - 1, nullptr, FALSE);
            ReplaceReference(k, prev, FALSE);
        }
        ReplaceReference(i, ca);
    }
    void RemoveCustAttrib(int i) override {
        if (i < 0 || i >= NumRefs()) return;
        CustAttrib* gone = GetCustAttrib(i);
        ReplaceReference(i, nullptr, FALSE);
        for (int k = i; k + 1 < NumRefs(); ++k) {
            ReferenceTarget* next = GetReference(k + 1);
            ReplaceReference(k + 1, nullptr, FALSE);
            ReplaceReference(k, next, FALSE);
        }
        if (theHold.Holding()) theHold.Put(new SlotCountRestore(this, NumRefs(), NumRefs() - 1));
        attribs_.pop_back();
        if (gone) gone->MaybeAutoDelete();
    }
    Animatable* GetOwner() override { return owner_; }
    void SetOwner(Animatable* owner) override { owner_ = owner; }

    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new CustAttribContainer();
        for (int i = 0; i < GetNumCustAttribs(); ++i)
            if (auto* ca = dynamic_cast<CustAttrib*>(remap.CloneRef(GetCustAttrib(i)))) c->AppendCustAttrib(ca);
        BaseClone(this, c, remap);
        return c;
    }

    // Size of the slot table at load time, before references are restored.
    void host_SetSlotCount(int n) { attribs_.resize(static_cast<size_t>(n < 0 ? 0 : n), nullptr); }

protected:
    void SetReference(int i, RefTargetHandle t) override {
        if (i >= 0 && i < NumRefs()) attribs_[static_cast<size_t>(i)] = dynamic_cast<CustAttrib*>(t);
    }

private:
    // Restores the slot count; the references themselves are restored by their own records.
    class SlotCountRestore : public RestoreObj {
    public:
        SlotCountRestore(CustAttribContainer* c, int before, int after)
            : handle_(Animatable::GetHandleByAnim(c)), before_(before), after_(after) {}
        void Restore(int) override { Set(before_); }
        void Redo() override { Set(after_); }

    private:
        void Set(int n) {
            if (auto* c = dynamic_cast<CustAttribContainer*>(Animatable::GetAnimByHandle(handle_))) {
                // Only empty slots are dropped or added; earlier records cleared them.
                c->attribs_.resize(static_cast<size_t>(n), nullptr);
            }
        }
        AnimHandle handle_;
        int before_, after_;
    };

    std::vector<CustAttrib*> attribs_;
    Animatable* owner_ = nullptr;
};

}  // namespace

ICustAttribContainer* host::NewCustAttribContainer() { return new CustAttribContainer(); }
