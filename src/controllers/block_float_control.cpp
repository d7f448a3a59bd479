#include "controllers/block_float_control.h"

#include "hold.h"
#include "maxapi.h"

namespace kt {

MSTR BlockFloatControl::SubAnimName(int i, bool localized) {
    return i == 0 ? MSTR(L"Parameters") : StdControl::SubAnimName(i - 1, localized);
}

void BlockFloatControl::SetReference(int i, RefTargetHandle rtarg) {
    if (i == kPBlockRef)
        pblock = static_cast<IParamBlock2*>(rtarg);
    else
        StdControl::SetReference(i - 1, rtarg);
}

RefResult BlockFloatControl::NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                                              RefMessage message, BOOL propagate) {
    if (hTarget == pblock) return REF_SUCCEED;
    return StdControl::NotifyRefChanged(changeInt, hTarget, partID, message, propagate);
}

void BlockFloatControl::CloneInto(BlockFloatControl* to, RemapDir& remap) {
    to->ReplaceReference(kPBlockRef, remap.CloneRef(pblock));
    for (int i = 0; i < NumEaseCurves(); ++i) to->AppendEaseCurve(static_cast<Control*>(remap.CloneRef(GetEaseCurve(i))));
    for (int i = 0; i < NumMultCurves(); ++i) to->AppendMultCurve(static_cast<Control*>(remap.CloneRef(GetMultCurve(i))));
    CopyStdState(to);
    BaseClone(this, to, remap);
}

void BlockFloatControl::SetParam(ParamID id, int v, const MCHAR* undoName) {
    if (!pblock) return;
    theHold.Begin();
    pblock->SetValue(id, GetCOREInterface()->GetTime(), v);
    theHold.Accept(undoName);
}

}  // namespace kt
