// RootConstraint: a transform controller for a character's root. It follows a target (the
// body) on the ground plane and in heading, never in tilt, and holds its height over the
// ground; the inner controller's own motion comes on top of that space.
//
// Space, for the vertical axis v (0 X, 1 Y, 2 Z): the target's matrix T in the parent's space
// (local_world 0) or in the world (1, where the parent is ignored), taken relative to
// initial_target_tm when initial_target_offset is on (its rotation removed and its height
// added back). Height h = lerp(floor, T.v + vertical_offset, follow_vertical), never below the
// floor with use_ground (floor = ground_offset with use_ground, else 0); the two other
// translation components times follow_horizontal; the turn about v (XYZ Euler extraction)
// times follow_turning. No target: T is the identity.
// Setting a new target stores its matrix in the same space as initial_target_tm.
#pragma once

#include "controllers/constraint_base.h"

namespace kt {

constexpr Class_ID ROOT_CONSTRAINT_CLASS_ID(0x45596D56, 0x1E847B64);

class RootConstraint : public ConstraintBase {
public:
    enum ParamIds {
        rc_target = 0, rc_vertical_axis = 1, rc_follow_horizontal = 3, rc_follow_turning = 4, rc_vertical_offset = 5,
        rc_ground_offset = 6, rc_initial_target_offset = 7, rc_initial_target_tm = 8, rc_local_world = 9,
        rc_follow_vertical = 10, rc_use_ground = 11
    };

    explicit RootConstraint(BOOL loading = FALSE);
    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return ROOT_CONSTRAINT_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;

    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_RELATIVE) override;
    // Packets go to the inner controller with the root space as their parent.
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_RELATIVE) override;

    // The root space for a parent matrix (the block function).
    Matrix3 Space(TimeValue t, const Matrix3& parent, Interval& valid);
    // The target's matrix in the space the block works in (see local_world).
    Matrix3 TargetInSpace(INode* target, TimeValue t, const Matrix3& parent, Interval& valid);
};

}  // namespace kt
