// StepFloat: a keyframe float that holds each key's value until the next key.
//
// It wraps the host's Bezier float as its one reference, which holds the keys: sets, keys and
// key edits go straight to it. A read at t answers the inner track's value at the last key at
// or before t (the first key before it), valid from that key to the tick before the next one,
// open beyond the first and last keys. Without keys it answers the inner value at t.
#pragma once

#include "control.h"

namespace kt {

constexpr Class_ID STEP_FLOAT_CLASS_ID(0x45596D56, 0x1E847B37);

class StepFloat : public Control, public ILockedTrackImp {
public:
    static constexpr int kInnerRef = 0;
    Control* inner = nullptr;

    explicit StepFloat(BOOL loading = FALSE);

    SClass_ID SuperClassID() override { return CTRL_FLOAT_CLASS_ID; }
    Class_ID ClassID() override { return STEP_FLOAT_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override { return i == kInnerRef ? inner : nullptr; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override;
    void* GetInterface(ULONG id) override;
    using Control::GetInterface;

    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override;
    void CommitValue(TimeValue t) override { if (inner) inner->CommitValue(t); }
    void RestoreValue(TimeValue t) override { if (inner) inner->RestoreValue(t); }
    void Copy(Control* from) override { if (inner) inner->Copy(from); }

    BOOL IsAnimated() override { return inner && inner->IsAnimated(); }
    int NumKeys() override { return inner ? inner->NumKeys() : 0; }
    TimeValue GetKeyTime(int index) override { return inner ? inner->GetKeyTime(index) : 0; }
    int GetKeyIndex(TimeValue t) override { return inner ? inner->GetKeyIndex(t) : -1; }
    BOOL GetNextKeyTime(TimeValue t, DWORD flags, TimeValue& nt) override {
        return inner ? inner->GetNextKeyTime(t, flags, nt) : FALSE;
    }
    void CopyKeysFromTime(TimeValue src, TimeValue dst, DWORD flags) override {
        if (inner) inner->CopyKeysFromTime(src, dst, flags);
    }
    void DeleteKeyAtTime(TimeValue t) override { if (inner) inner->DeleteKeyAtTime(t); }
    BOOL IsKeyAtTime(TimeValue t, DWORD flags) override { return inner ? inner->IsKeyAtTime(t, flags) : FALSE; }
    int GetKeyTimes(Tab<TimeValue>& times, Interval range, DWORD flags) override {
        return inner ? inner->GetKeyTimes(times, range, flags) : 0;
    }
    void MoveKeys(TimeValue delta, DWORD flags) override { if (inner) inner->MoveKeys(delta, flags); }
    void MapKeys(TimeMap* map, DWORD flags) override { if (inner) inner->MapKeys(map, flags); }
    void DeleteKeys(DWORD flags) override { if (inner) inner->DeleteKeys(flags); }
    void DeleteTime(Interval iv, DWORD flags) override { if (inner) inner->DeleteTime(iv, flags); }
    void SelectKeys(Interval range, DWORD flags) override { if (inner) inner->SelectKeys(range, flags); }
    BOOL IsKeySelected(int index) override { return inner ? inner->IsKeySelected(index) : FALSE; }
    int NumSelKeys() override { return inner ? inner->NumSelKeys() : 0; }
    void AddNewKey(TimeValue t, DWORD flags) override { if (inner) inner->AddNewKey(t, flags); }
    Interval GetTimeRange(DWORD flags) override { return inner ? inner->GetTimeRange(flags) : NEVER; }
    int GetORT(int type) override { return inner ? inner->GetORT(type) : ORT_CONSTANT; }
    void SetORT(int ort, int type) override { if (inner) inner->SetORT(ort, type); }

protected:
    void SetReference(int i, RefTargetHandle rtarg) override {
        if (i == kInnerRef) inner = static_cast<Control*>(rtarg);
    }
};

}  // namespace kt
