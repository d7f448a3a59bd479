// RotationSpace: a transform controller whose orientation follows a target node by `weight`
// while its translation stays with the parent (a head that keeps looking the way the body
// faces, or the way the world does). The inner controller holds the animator's own motion:
// its translation in the parent's space, its rotation within the turned space.
//
// Space step: R = T * Inverse(parent) with T the target's matrix (initial_offset * T with
// keep_initial_offset), q = OrthoQuat(R) slerped from the identity by weight, val = matrix(q)
// * val. No target: the parent's orientation. Switched off (`active` false): no space step.
// Setting a target stores, unless restoring, the rotation from it to the last space as
// initial_offset, so that with keep_initial_offset the node does not turn at the switch.
// SetValue keeps a moved, turned or placed node exactly where the host put it.
#pragma once

#include "controllers/constraint_base.h"

namespace kt {

constexpr Class_ID ROTATION_SPACE_CLASS_ID(0x45596D56, 0x1E847B55);

class RotationSpace : public ConstraintBase {
public:
    enum ParamIds { rs_target = 0, rs_weight = 1, rs_keep_initial_offset = 2, rs_initial_offset = 3 };

    explicit RotationSpace(BOOL loading = FALSE);
    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return ROTATION_SPACE_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;

    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_RELATIVE) override;
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_RELATIVE) override;

    bool IsActive() const { return active != 0; }
    // Switches the space step; undoable, tells dependents.
    void SetActive(bool on);
    // val turned into the space (the space step on its own).
    Matrix3 SpaceStep(TimeValue t, const Matrix3& val, Interval& valid);

    BYTE active = 1;
    // The last space step's result, at the current time.
    Matrix3 storedTM;

protected:
    void CopyStateTo(ConstraintBase* c) override;
    void SaveState(ISave* isave) override;
    IOResult LoadState(ILoad* iload, USHORT id) override;

private:
    // The inner controller's local value (translation and rotation) that puts the node at world.
    Matrix3 LocalFor(TimeValue t, const Matrix3& parent, const Matrix3& world);
};

}  // namespace kt
