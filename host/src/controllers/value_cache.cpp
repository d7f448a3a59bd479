#include "value_cache.h"

#include "stdctrl.h"

namespace host::ctrl {

namespace {

bool IsKeyframeClass(const Class_ID& id) {
    if (id.PartB() != 0) return false;
    switch (id.PartA()) {
    case LININTERP_FLOAT_CLASS_ID:
    case LININTERP_POSITION_CLASS_ID:
    case LININTERP_ROTATION_CLASS_ID:
    case LININTERP_SCALE_CLASS_ID:
    case HYBRIDINTERP_FLOAT_CLASS_ID:
    case HYBRIDINTERP_POSITION_CLASS_ID:
    case HYBRIDINTERP_POINT3_CLASS_ID:
    case HYBRIDINTERP_SCALE_CLASS_ID:
    case HYBRIDINTERP_COLOR_CLASS_ID:
    case TCBINTERP_FLOAT_CLASS_ID:
    case TCBINTERP_POSITION_CLASS_ID:
    case TCBINTERP_ROTATION_CLASS_ID:
    case TCBINTERP_POINT3_CLASS_ID:
    case TCBINTERP_SCALE_CLASS_ID:
        return true;
    default:
        return false;
    }
}

// An ease or multiplier curve may be any float controller, one that reads the scene included.
bool IsPlainKeyframe(Control* c) {
    return IsKeyframeClass(c->ClassID()) && c->NumEaseCurves() == 0 && c->NumMultCurves() == 0;
}

bool IsXYZClass(const Class_ID& id) {
    return id == Class_ID(EULER_CONTROL_CLASS_ID, 0) || id == IPOS_CONTROL_CLASS_ID ||
           id == ISCALE_CONTROL_CLASS_ID;
}

} // namespace

bool IsSelfContained(Control* c) {
    if (!c) return true;
    if (IsPlainKeyframe(c)) return true;
    if (!IsXYZClass(c->ClassID())) return false;
    for (int i = 0; i < c->NumRefs(); ++i) {
        auto* sub = dynamic_cast<Control*>(c->GetReference(i));
        if (sub && !(sub->SuperClassID() == CTRL_FLOAT_CLASS_ID && IsPlainKeyframe(sub))) return false;
    }
    return true;
}

} // namespace host::ctrl
