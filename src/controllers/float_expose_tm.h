// FloatExposeTM: one number read off a node's world transform, weight * value + offset.
//
// M = expose node's world matrix * Inverse(R), R the reference: the world (identity) when
// `local_world` is 1; else the expose node's parent with `use_parent`, else
// `local_reference_node` (identity without one). `type`: 0 the `axis` component of M's
// translation; 1 the `axis` Euler angle (radians) of M's rotation in the host's order
// `axis_order`; 2 the `axis` scale factor of M; 3 the length of M's translation; 4 the
// twist of M's rotation around `axis` (radians). No expose node: 0.
#pragma once

#include "controllers/block_float_control.h"

namespace kt {

constexpr Class_ID FLOAT_EXPOSE_TM_CLASS_ID(0x45596D56, 0x1E847B41);

class FloatExposeTM : public BlockFloatControl {
public:
    enum ParamIds {
        pb_expose_node = 0,
        pb_local_reference_node = 1,
        pb_use_parent = 2,
        pb_type = 3,
        pb_axis = 4,
        pb_axis_order = 5,
        pb_local_world = 6,
        pb_offset = 7,
        pb_weight = 8,
    };
    enum ExposeType { kPosition = 0, kEuler = 1, kScale = 2, kDistance = 3, kLocalRotation = 4 };

    explicit FloatExposeTM(BOOL loading = FALSE);

    Class_ID ClassID() override { return FLOAT_EXPOSE_TM_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    void GetValueLocalTime(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;

    // The exposed value of M by type, axis and Euler order.
    static float Expose(const Matrix3& m, int type, int axis, int axisOrder);
};

// Refuses a node parameter whose node depends on the controller (the cycle test); other
// parameter types pass.
class FloatExposeTMValidator : public PBValidator {
public:
    BOOL Validate(PB2Value& v) override;
    BOOL Validate(PB2Value& v, ReferenceMaker* owner, ParamID id, int tabIndex) override;
};

}  // namespace kt
