// AimConstraint: a rotation controller that turns its node's aim axis toward a target node,
// with the up axis aligned to the world, the parent or a node.
//
// A relative request (val the parent's matrix) stores that matrix and answers the aligned
// frame turned toward the target: matrix(result) * F. An absolute request (val a Quat) answers
// result, relative to the frame of the last stored parent matrix. Frames:
//   align 0  the world's axes at the parent's place; 1 the parent itself (no alignment);
//   2 align_node's axes (the parent itself while no node is set).
// Without a target (or use_target off) result is the identity: the node shows the alignment
// only. viewline_length is drawn only.
#pragma once

#include "controllers/constraint_base.h"

namespace kt {

constexpr Class_ID AIM_CONSTRAINT_CLASS_ID(0x45596D56, 0x1E847B39);

class AimConstraint : public ConstraintBase {
public:
    enum ParamIds {
        ac_target = 0, ac_use_target, ac_aim_axis, ac_aim_axis_flip, ac_align_axis, ac_align_axis_flip,
        ac_align, ac_align_node, ac_viewline_length, ac_viewline_length_abs
    };

    explicit AimConstraint(BOOL loading = FALSE);
    SClass_ID SuperClassID() override { return CTRL_ROTATION_CLASS_ID; }
    Class_ID ClassID() override { return AIM_CONSTRAINT_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;

    // Draws the viewline (see DrawViewline).
    int Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) override;
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;
    // The constraint decides the rotation: sets are ignored.
    void SetValue(TimeValue, void*, int = 1, GetSetMethod = CTRL_ABSOLUTE) override {}

    // The aligned frame F for a parent matrix (before the up axis table).
    Matrix3 Frame(TimeValue t, const Matrix3& parentTM, Interval& valid);

    Matrix3 parentTM;

protected:
    void CopyStateTo(ConstraintBase* c) override { static_cast<AimConstraint*>(c)->parentTM = parentTM; }
    void SaveState(ISave* isave) override;
    IOResult LoadState(ILoad* iload, USHORT id) override;
};

}  // namespace kt
