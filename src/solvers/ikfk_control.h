// IKFKControl: the transform controller on every node of a chain (joints, goal, goal
// parent, target). It has no math of its own: it tells the chain who it is and answers what
// the chain computed. Without a chain (none set, deleted, or of another class) it passes
// straight to its main controller; nothing on these paths throws.
#pragma once

#include "control.h"
#include "iparamb2.h"

class INode;

namespace kt {

class IKFKChain;
class IKFKMotionRollups;

constexpr Class_ID IKFKCONTROL_CLASS_ID(0x45596D56, 0x1E847B62);

class IKFKControl : public Control, public ILockedTrackImp {
public:
    enum Refs { kPBlockRef = 0, kPrefRef = 1, kMainRef = 2, kLinkRef = 3, kNumRefs = 4 };
    enum ParamIds { pb_ikfkchain_node = 0, pb_type = 1, pb_index = 2 };

    explicit IKFKControl(BOOL loading = FALSE);
    ~IKFKControl() override;

    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return IKFKCONTROL_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }

    int NumRefs() override { return kNumRefs; }
    RefTargetHandle GetReference(int i) override;
    int NumSubs() override { return kNumRefs; }
    Animatable* SubAnim(int i) override { return GetReference(i); }
    // "Parameters", "Preferred Rotation", by type "FK Sub-Control" / "IK Goal" / "IK Goal
    // Parent" / "IK Target", "Links".
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override { return subNum >= 0 && subNum < kNumRefs ? subNum : -1; }
    BOOL CanAssignController(int subAnim) override { return subAnim >= 1 && subAnim < kNumRefs; }
    BOOL AssignController(Animatable* control, int subAnim) override;
    RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID, RefMessage message,
                               BOOL propagate) override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    void* GetInterface(ULONG id) override;

    // With a chain: the chain's per-node dispatch; without: the main controller.
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_RELATIVE) override;
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_RELATIVE) override;
    // The matrix the node is moved in: the chain's answer, or the caller's parent matrix.
    Matrix3 ParentMatrix(TimeValue t, const Matrix3& parentTM);

    // Keys, time range and the like are the main controller's (then the link's).
    int NumKeys() override;
    TimeValue GetKeyTime(int index) override;
    int GetKeyTimes(Tab<TimeValue>& times, Interval range, DWORD flags) override;
    BOOL IsKeyAtTime(TimeValue t, DWORD flags) override;
    void MoveKeys(TimeValue delta, DWORD flags) override;
    void DeleteKeys(DWORD flags) override;
    void DeleteKeyAtTime(TimeValue t) override;
    void SelectKeys(Interval range, DWORD flags) override;
    Interval GetTimeRange(DWORD flags) override;
    BOOL IsAnimated() override;
    BOOL CanCopyTrack(Interval iv, DWORD flags) override;

    Control* GetPositionController() override;
    Control* GetRotationController() override;
    Control* GetScaleController() override;

    // Goal and target lines are the chain's to draw (types 1..3).
    int Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) override;
    int HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) override;
    void GetWorldBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) override;

    // The motion panel: the chain's rollup and, with an IKFKLink as link controller, the
    // link's. animFlag holds flags from Begin to End.
    void BeginEditParams(IObjParam* ip, ULONG flags, Animatable* prev) override;
    void EndEditParams(IObjParam* ip, ULONG flags, Animatable* next) override;

    // The chain this node belongs to, or null (none, deleted, or not an IKFKChain).
    IKFKChain* GetChain();
    INode* GetChainNode();
    int GetType();
    int GetIndex();
    // Points the control at a chain; undoable.
    void SetChain(INode* chainNode, int type, int index);
    Control* GetPreferredRotation() { return pref_; }
    Control* GetMain() { return main_; }
    Control* GetLink() { return link_; }
    void SetPreferredRotation(Control* c) { ReplaceReference(kPrefRef, c); }
    void SetMain(Control* c) { ReplaceReference(kMainRef, c); }
    void SetLink(Control* c) { ReplaceReference(kLinkRef, c); }

    IParamBlock2* pblock = nullptr;
    DWORD animFlag = 0;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;

private:
    // The block's three values, read once per change of the block: the joint query is a
    // hot path and a block read is not cheap.
    void ReadBlock();
    INode* chainNode_ = nullptr;
    int type_ = 0;
    int index_ = 0;
    bool blockRead_ = false;
    Control* pref_ = nullptr;
    Control* main_ = nullptr;
    Control* link_ = nullptr;
    IKFKMotionRollups* rollups_ = nullptr;
};

}  // namespace kt
