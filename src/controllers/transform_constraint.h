// ScaleConstraint and TransformConstraint: the two other multi-target constraints, with the
// target list interface of ParentConstraint. Weights default to 1.0 past the weight table.
//
// ScaleConstraint (a scale controller) blends only the targets' scale (weighted sum) and its
// axis system (running slerp), in world space or (local_world 1) in each target's parent
// space. With `relative` on, the blend counts relative to the blend at the last change of the
// target count, times baseScale (the node's scale then), so adding or removing a target never
// makes the node jump.
//
// TransformConstraint (a transform controller, no inner controller: the value is final).
//   no target        storedWorld (local_world 0), or storedLocal in the parent's space (1)
//   one target       its matrix exactly (relative off): no decomposition round-off
//   otherwise        the running blend of ParentConstraint; with `relative` on, the stored
//                    matrix's offset from referenceBlend (the blend at the last change of the
//                    target count) carried onto the blend
// With local_world 1 targets are taken in their parents' space and the result is applied in
// the node's parent space.
// SetValue stores the host's move: without targets in storedWorld / storedLocal; with targets
// in the stored matrix, solved against the blend at the time of the move. So with `relative`
// on the node stays under the cursor, also while the targets are animated, and from then on
// keeps following the targets' motion relative to where it was put.
#pragma once

#include "control.h"
#include "controllers/constraint_targets.h"
#include "decomp.h"
#include "iparamb2.h"
#include "maxapi.h"
#include "scalevalue.h"

namespace kt {

constexpr Class_ID SCALE_CONSTRAINT_CLASS_ID(0x45596D56, 0x1E847B44);
constexpr Interface_ID SCALE_CONSTRAINT_INTERFACE(0x45596D56, 0x1E847B44);
constexpr Class_ID TRANSFORM_CONSTRAINT_CLASS_ID(0x45596D56, 0x1E847B45);
constexpr Interface_ID TRANSFORM_CONSTRAINT_INTERFACE(0x45596D56, 0x1E847B45);

class IScaleConstraint : public ITargetListConstraint {
public:
    FPInterfaceDesc* GetDesc() override;
};
class ITransformConstraint : public ITargetListConstraint {
public:
    FPInterfaceDesc* GetDesc() override;
};

// The list, weights and block shared by both.
class TargetListControl : public Control, public ILockedTrackImp {
public:
    enum ParamIds { p_weight = 0, p_target_list = 1, p_relative = 2, p_local_world = 3 };

    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override { return i == 0 ? pblock : nullptr; }
    int NumSubs() override { return 1; }
    Animatable* SubAnim(int i) override { return i == 0 ? pblock : nullptr; }
    MSTR SubAnimName(int i, bool localized = true) override;
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    BOOL IsAnimated() override { return pblock && pblock->IsAnimated(); }

    int ListCount() { return targetlist::Count(pblock); }
    INode* ListNode(int i);
    float ListWeight(int i);
    bool ListSetWeight(int i, float w);
    bool ListAppend(INode* target, float w);
    bool ListDelete(int i);
    // Target i's matrix in the space local_world asks for; false for a null entry.
    bool TargetMatrix(int i, TimeValue t, Interval& valid, Matrix3& tm);

    IParamBlock2* pblock = nullptr;
    ConstraintRollupLink* rollup = nullptr;
    // Set by every edit of the list: the blend's reference is taken again, also when an edit
    // keeps the count.
    bool listChanged = false;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override {
        if (i == 0) pblock = static_cast<IParamBlock2*>(rtarg);
    }
};

// The published list functions of Iface answered by the list.
template <class Iface>
class TargetListConstraint : public TargetListControl, public Iface {
public:
    int getNumTargets() override { return ListCount(); }
    INode* getNode(int n) override { return ListNode(n); }
    float getWeight(int n) override { return ListWeight(n); }
    bool setWeight(int n, float w) override { return ListSetWeight(n, w); }
    bool appendTarget(INode* target, float w) override { return ListAppend(target, w); }
    bool deleteTarget(int n) override { return ListDelete(n); }
};

class ScaleConstraint : public TargetListConstraint<IScaleConstraint> {
public:
    explicit ScaleConstraint(BOOL loading = FALSE);
    SClass_ID SuperClassID() override { return CTRL_SCALE_CLASS_ID; }
    Class_ID ClassID() override { return SCALE_CONSTRAINT_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    BaseInterface* GetInterface(Interface_ID id) override;
    using Control::GetInterface;
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

    // val: a Matrix3 (relative: the scale is applied to it) or a ScaleValue (absolute).
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;
    void SetValue(TimeValue, void*, int = 1, GetSetMethod = CTRL_ABSOLUTE) override {}
    ScaleValue Blend(TimeValue t, Interval& valid);

    ScaleValue baseScale;
    Point3 firstTargetScale{1.0f, 1.0f, 1.0f};
    Quat firstTargetAxis;
    int lastCount = 0;
    bool needInit = true;
    ScaleValue lastResult;
};

class TransformConstraint : public TargetListConstraint<ITransformConstraint>, public TimeChangeCallback {
public:
    explicit TransformConstraint(BOOL loading = FALSE);
    ~TransformConstraint() override;
    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return TRANSFORM_CONSTRAINT_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    BaseInterface* GetInterface(Interface_ID id) override;
    using Control::GetInterface;
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_RELATIVE) override;
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_RELATIVE) override;
    // Takes over a transform controller's local value at the current time as storedLocal (and
    // storedWorld at the next evaluation): the node stays in place until targets are added.
    void Copy(Control* from) override;
    // Nothing is kept per time: the stored matrices hold for every time.
    void TimeChanged(TimeValue t) override { (void)t; }

    Matrix3 storedWorld, storedLocal, referenceBlend;
    bool needInit = true;
    int lastCount = 0;

private:
    // The value in the space local_world names (world, or the node's parent space); without
    // withOffset the bare blend, whatever `relative` says.
    Matrix3 Evaluate(TimeValue t, Interval& valid, bool& found, bool withOffset = true);
    Matrix3& Stored() { return pblock && pblock->GetInt(p_local_world, 0) == 1 ? storedLocal : storedWorld; }
    void HoldStored();
};

}  // namespace kt
