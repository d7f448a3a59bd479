// StretchConstraint: a transform controller for a bone between two nodes. The node stands on
// `start` (or its parent), aims its aim axis at `end`, and scales along that axis by how far
// `end` is compared with `length`: pow(dist / length, stretch) along the aim axis and
// pow(length / dist, squash) across it. Distances and lengths below 0.001 count as 0.001.
//
// Frames by `align`: 1 the parent, 2 start's matrix (the parent's while start is unset or off),
// 3 end's matrix (identity while unset), others identity. `inherit_scale` 1 the parent's scale,
// 2 start's, 3 end's, taken only when it differs from `align`; a missing node gives scale
// (1, 1, 1). Without `end` (or use_end off) there is no aim and no stretch.
// An absolute request works from an identity parent.
#pragma once

#include "controllers/constraint_base.h"

namespace kt {

constexpr Class_ID STRETCH_CONSTRAINT_CLASS_ID(0x45596D56, 0x1E847B40);
// The id ITransformConstraint has too; kept as it stands.
constexpr Interface_ID STRETCH_CONSTRAINT_INTERFACE(0x45596D56, 0x1E847B45);

class IStretchConstraint : public FPMixinInterface {
public:
    enum FunctionIDs { ResetLength_id = 0 };
    // Makes `length` the last measured distance at the current time; one undo step.
    virtual void ResetLength() = 0;
    FPInterfaceDesc* GetDesc() override;

    BEGIN_FUNCTION_MAP
    VFN_0(ResetLength_id, ResetLength)
    END_FUNCTION_MAP
};

class StretchConstraint : public ConstraintBase, public IStretchConstraint {
public:
    enum ParamIds {
        sc_start = 0, sc_use_start, sc_end, sc_use_end, sc_aim_axis, sc_aim_axis_flip, sc_align_axis,
        sc_align_axis_flip, sc_align, sc_inherit_scale, sc_stretch_scale_active, sc_stretch, sc_squash,
        sc_length, sc_viewline_length, sc_viewline_length_abs
    };

    explicit StretchConstraint(BOOL loading = FALSE);
    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return STRETCH_CONSTRAINT_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    BaseInterface* GetInterface(Interface_ID id) override;
    using Control::GetInterface;

    // Draws the viewline (see DrawViewline).
    int Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) override;
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_RELATIVE) override;
    void SetValue(TimeValue, void*, int = 1, GetSetMethod = CTRL_RELATIVE) override {}
    void ResetLength() override;

    Matrix3 parentTM;
    // The last measured distance from the node to `end`.
    float dist = 0.001f;

protected:
    void CopyStateTo(ConstraintBase* c) override;
    void SaveState(ISave* isave) override;
    IOResult LoadState(ILoad* iload, USHORT id) override;
};

}  // namespace kt
