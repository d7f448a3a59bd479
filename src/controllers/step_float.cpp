#include "controllers/step_float.h"

#include "frame/class_registry.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

ClassFactoryRegistrar registrar(CTRL_FLOAT_CLASS_ID, STEP_FLOAT_CLASS_ID,
                                [](BOOL loading) -> void* { return new StepFloat(loading); });

}  // namespace

StepFloat::StepFloat(BOOL loading) {
    if (!loading) ReplaceReference(kInnerRef, NewDefaultFloatController());
}

MSTR StepFloat::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_STEPFLOAT) : nullptr;
    return MSTR(s ? s : L"Step Float");
}

ReferenceTarget* StepFloat::Clone(RemapDir& remap) {
    auto* c = new StepFloat(TRUE);
    c->ReplaceReference(kInnerRef, remap.CloneRef(inner));
    BaseClone(this, c, remap);
    return c;
}

void* StepFloat::GetInterface(ULONG id) {
    // The keys are the inner track's: key interfaces answer for it.
    if (inner && id != I_CONTROL) {
        if (void* i = inner->GetInterface(id)) return i;
    }
    return Control::GetInterface(id);
}

void StepFloat::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    if (!val || !inner) return;
    const int n = inner->NumKeys();
    if (n == 0) {
        inner->GetValue(t, val, valid, method);
        return;
    }
    // Keys are in time order: the last one at or before t, or the first.
    int lo = 0, hi = n - 1;
    if (t < inner->GetKeyTime(0)) {
        hi = 0;
    } else {
        while (lo < hi) {
            const int mid = (lo + hi + 1) / 2;
            if (inner->GetKeyTime(mid) <= t)
                lo = mid;
            else
                hi = mid - 1;
        }
    }
    const int k = hi;
    const TimeValue start = k == 0 ? TIME_NegInfinity : inner->GetKeyTime(k);
    const TimeValue end = k == n - 1 ? TIME_PosInfinity : inner->GetKeyTime(k + 1) - 1;
    Interval held = FOREVER;
    float v = 0.0f;
    inner->GetValue(inner->GetKeyTime(k), &v, held, CTRL_ABSOLUTE);
    valid &= Interval(start, end);
    if (method == CTRL_ABSOLUTE)
        *static_cast<float*>(val) = v;
    else
        *static_cast<float*>(val) += v;
}

void StepFloat::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    if (!inner || GetLocked()) return;
    inner->SetValue(t, val, commit, method);
}

}  // namespace kt
