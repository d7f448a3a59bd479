// The frame of the float controllers computed from their own parameter block (FloatOperation,
// FloatWave, FloatExposeTM): a StdControl whose reference 0 is the block, with the host's
// ease and multiplier curves after it. They have no keys and take no value: SetValue does
// nothing. Reads are absolute in GetValueLocalTime; StdControl applies relative requests.
#pragma once

#include "iparamb2.h"
#include "stdctrl.h"

namespace kt {

class BlockFloatControl : public StdControl, public ILockedTrackImp {
public:
    static constexpr int kPBlockRef = 0;
    IParamBlock2* pblock = nullptr;

    SClass_ID SuperClassID() override { return CTRL_FLOAT_CLASS_ID; }
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    int NumRefs() override { return 1 + StdControl::NumRefs(); }
    RefTargetHandle GetReference(int i) override { return i == kPBlockRef ? pblock : StdControl::GetReference(i - 1); }
    int NumSubs() override { return 1 + StdControl::NumSubs(); }
    Animatable* SubAnim(int i) override { return i == 0 ? pblock : StdControl::SubAnim(i - 1); }
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override { return subNum; }
    int NumParamBlocks() override { return 1; }
    IParamBlock2* GetParamBlock(int i) override { return i == 0 ? pblock : nullptr; }
    IParamBlock2* GetParamBlockByID(BlockID id) override { return id == 0 ? pblock : nullptr; }
    BOOL IsAnimated() override { return pblock && pblock->IsAnimated(); }
    BOOL IsKeyable() override { return FALSE; }
    void SetValueLocalTime(TimeValue, void*, int, GetSetMethod) override {}
    RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                               RefMessage message, BOOL propagate) override;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;
    // Clone's common part: the block, the ORTs and curves, BaseClone.
    void CloneInto(BlockFloatControl* to, RemapDir& remap);
    // Sets one parameter as an undo step named `undoName`.
    void SetParam(ParamID id, int v, const MCHAR* undoName);
};

}  // namespace kt
