// ParentConstraint: a transform controller that places its node in the weighted blend of any
// number of target nodes, and keeps an inner transform controller (the offset controller) in
// which the animator goes on moving the node.
//
// Value: world = inner's local value * Blend, where Blend is
//   no target        initTM, the parent matrix of the first evaluation (identity without a block)
//   one target       its world matrix T, or offset[0] * T with `relative`; the weight is not read
//   several targets  translation and scale by weighted sum, rotation and stretch rotation by
//                    running slerp (each target made closest to the running value), composed
//                    again; offset[i] * T per target with `relative`. Weights are relative to
//                    each other (percent of the sum); a sum of 0 gives the identity. The sign of
//                    a mirrored target is dropped on purpose.
// A target deleted from the scene leaves a null entry that the blend passes over; when no live
// target is left the no-target rule holds.
//
// appendTarget's offset is the blend space as it stands (initTM for the first target) relative
// to the new target, so that with `relative` on the node does not move when a target is added.
//
// SetValue hands the host's packets to the inner controller with the blend as the parent, so a
// moved node stays where the animator put it.
#pragma once

#include <vector>

#include "control.h"
#include "controllers/constraint_targets.h"
#include "decomp.h"
#include "iparamb2.h"
#include "maxapi.h"

class INode;

namespace kt {

constexpr Class_ID PARENT_CONSTRAINT_CLASS_ID(0x45596D56, 0x1E847B54);
constexpr Interface_ID PARENT_CONSTRAINT_INTERFACE(0x45596D56, 0x1E847B54);

class IParentConstraint : public ITargetListConstraint {
public:
    FPInterfaceDesc* GetDesc() override;
    // The stored offset of entry i (identity past the table), and its direct write.
    virtual Matrix3 GetOffset(int i) = 0;
    virtual void SetOffset(int i, const Matrix3& offset) = 0;
};

class ParentConstraint : public Control,
                         public ILockedTrackImp,
                         public IParentConstraint,
                         public TimeChangeCallback {
public:
    enum Refs { kPBlockRef = 0, kOffsetRef = 1, kNumRefs = 2 };
    enum ParamIds { pc_weight = 0, pc_target_list = 1, pc_relative = 2, pc_offset = 3 };

    // One entry of the snapshot table: the last matrices of a target seen at the current
    // time and the pair before them.
    struct Snapshot {
        INode* node = nullptr;
        TimeValue time = 0;
        Matrix3 tm, lastTM, stretchTM, lastStretchTM;
        int changed = 0;
        // The object offset stretchTM was built from: rebuilt only when these change.
        Point3 offPos;
        Quat offRot;
        ScaleValue offScale;
    };

    explicit ParentConstraint(BOOL loading = FALSE);
    ~ParentConstraint() override;

    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return PARENT_CONSTRAINT_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }

    int NumRefs() override { return kNumRefs; }
    RefTargetHandle GetReference(int i) override;
    int NumSubs() override { return kNumRefs; }
    Animatable* SubAnim(int i) override { return GetReference(i); }
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override { return subNum >= 0 && subNum < kNumRefs ? subNum : -1; }
    BOOL CanAssignController(int subAnim) override { return subAnim == kOffsetRef; }
    BOOL AssignController(Animatable* control, int subAnim) override;
    RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID, RefMessage message,
                               BOOL propagate) override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    BaseInterface* GetInterface(Interface_ID id) override;
    using Control::GetInterface;
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

    // val: the parent's world matrix in, the node's world matrix out (always relative).
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_RELATIVE) override;
    // val: a SetXFormPacket.
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_RELATIVE) override;
    BOOL IsAnimated() override;
    // Takes over a transform controller's motion as the inner controller (a copy of it), so
    // a node given this constraint in place of its controller stays where it was.
    void Copy(Control* from) override;
    Control* GetPositionController() override { return inner_ ? inner_->GetPositionController() : nullptr; }
    Control* GetRotationController() override { return inner_ ? inner_->GetRotationController() : nullptr; }
    Control* GetScaleController() override { return inner_ ? inner_->GetScaleController() : nullptr; }

    void TimeChanged(TimeValue t) override;

    // The blend space at t (see the header comment); valid is narrowed by the targets.
    Matrix3 Blend(TimeValue t, Interval& valid, bool relative);

    int getNumTargets() override;
    INode* getNode(int nodeNumber) override;
    float getWeight(int targetNumber) override;
    bool setWeight(int targetNumber, float weight) override;
    bool appendTarget(INode* target, float weight) override;
    bool deleteTarget(int targetNumber) override;
    Matrix3 GetOffset(int i) override;
    void SetOffset(int i, const Matrix3& offset) override;

    // The block changed: node, offset and switch caches are read again at the next evaluation.
    void MarkBlockChanged() { blockDirty_ = true; }

    Control* GetOffsetController() { return inner_; }
    void SetOffsetController(Control* c) { ReplaceReference(kOffsetRef, c); }
    INode* OwnerNode() { return OwnerNodeOf(this); }
    bool Relative();

    IParamBlock2* pblock = nullptr;
    Matrix3 lastSetTM;
    TimeValue lastSetTime = TIME_NegInfinity;
    Matrix3 initTM;
    bool needInit = true;
    std::vector<Snapshot> snapshots;
    bool suspendSnapshots = false;
    ConstraintRollupLink* rollup = nullptr;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;

private:
    friend class ParentTransformSnapshotRestore;
    // Target i's world matrix; false for a null entry. Keeps the snapshot table at the current time.
    bool TargetTM(int i, TimeValue t, Interval& valid, Matrix3& tm);
    void TakeSnapshot(int i, INode* node, TimeValue t, const Matrix3& tm);
    void HoldSnapshots();
    // Decomposition of each target's matrix, reused while the matrix stays the same.
    struct PartsCache {
        Matrix3 tm;
        AffineParts parts;
        float weight = 0.0f;
        bool known = false;
        bool live = false;
    };
    std::vector<PartsCache> parts_;
    // What the block holds, read once per change of the block (hot path: no block reads).
    void ReadBlock();
    bool blockDirty_ = true;
    bool relative_ = false;
    std::vector<INode*> nodes_;
    std::vector<Matrix3> offsets_;
    std::vector<Matrix3> rawTMs_;
    // The inner controller's local value over its validity; dropped when it says it changed.
    Matrix3 innerLocal_;
    Interval innerValid_ = NEVER;
    // The last blend of several targets, good while every target's matrix and weight is.
    Matrix3 lastBlend_;
    bool lastBlendKnown_ = false;
    bool lastBlendRelative_ = false;
    Control* inner_ = nullptr;
};

}  // namespace kt
