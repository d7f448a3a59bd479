// IKFKLink: switches a chain node's parent space over time by a list of (target, start time)
// entries, without a jump at a switch. It plugs into an IKFKControl as its link controller
// and delivers a matrix through LinkValue; as a float controller it answers nothing else.
//
// Entries are parallel tables kept sorted by start time: target node (null is the world),
// start time (ticks), key selection. Frame numbers at the interface are frames at the
// host's frame rate; entry numbers are 0-based here (1-based in scripts).
#pragma once

#include "control.h"
#include "ifnpub.h"
#include "iparamb2.h"

class INode;

namespace kt {

class IKFKControl;

constexpr Class_ID IKFKLINK_CLASS_ID(0x45596D56, 0x1E847B63);
constexpr Interface_ID IIKFKLINK_INTERFACE_ID(0x45596D56, 0x1E847B63);

// The link's open rollup: told by IKFKLinkPBAccessor whenever a table changes, including
// partway through an edit of the three tables (counts may then disagree).
class IKFKLinkRollupLink {
public:
    virtual ~IKFKLinkRollupLink() = default;
    virtual void RefreshList() = 0;
};

class IIKFKLink : public FPMixinInterface {
public:
    enum FunctionIDs { fnGetNumTargets = 0, fnGetNode, fnGetFrameNo, fnSetFrameNo, fnAddTarget, fnDeleteTarget, fnAddWorld };

    virtual int GetNumTargets() = 0;
    // Null for the world or an index out of range.
    virtual INode* GetNode(int nodeNumber) = 0;
    virtual int GetFrameNo(int targetNumber) = 0;
    virtual void SetFrameNo(int targetNumber, int frameNo) = 0;
    // keepTM: the controlled node keeps its world place at the change frame. One undo step,
    // recorded in the macro recorder as a call on the link (`<link's path>.DeleteTarget 2
    // keepTM:true`, entry numbers one-based).
    virtual bool AddTarget(INode* target, int frameNo, bool keepTM = true) = 0;
    virtual bool DeleteTarget(int targetNumber, bool keepTM = true) = 0;
    virtual bool AddWorld(int frameNo, bool keepTM = true) = 0;

    FPInterfaceDesc* GetDesc() override;

    BEGIN_FUNCTION_MAP
    FN_0(fnGetNumTargets, TYPE_INT, GetNumTargets)
    FN_1(fnGetNode, TYPE_INODE, GetNode, TYPE_INDEX)
    FN_1(fnGetFrameNo, TYPE_INT, GetFrameNo, TYPE_INDEX)
    VFN_2(fnSetFrameNo, SetFrameNo, TYPE_INDEX, TYPE_INT)
    FN_3(fnAddTarget, TYPE_bool, AddTarget, TYPE_INODE, TYPE_INT, TYPE_bool)
    FN_2(fnDeleteTarget, TYPE_bool, DeleteTarget, TYPE_INDEX, TYPE_bool)
    FN_2(fnAddWorld, TYPE_bool, AddWorld, TYPE_INT, TYPE_bool)
    END_FUNCTION_MAP
};

class IKFKLink : public Control, public ILockedTrackImp, public IIKFKLink {
public:
    enum ParamIds { pb_targets = 0, pb_start_times = 1, pb_key_selection = 2 };
    static constexpr int kPBlockRef = 0;

    explicit IKFKLink(BOOL loading = FALSE);

    SClass_ID SuperClassID() override { return CTRL_FLOAT_CLASS_ID; }
    Class_ID ClassID() override { return IKFKLINK_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override { return i == kPBlockRef ? pblock : nullptr; }
    int NumSubs() override { return 0; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override;
    using Control::GetInterface;
    BaseInterface* GetInterface(Interface_ID id) override;

    // A float controller that has no float: answers 0 and takes nothing.
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;
    void SetValue(TimeValue, void*, int = 1, GetSetMethod = CTRL_ABSOLUTE) override {}

    // val becomes offset * (active target's world matrix) at t; valid narrowed to the active
    // entry's span. Mismatched or empty tables leave val as it is.
    void LinkValue(TimeValue t, Matrix3& val, Interval& valid);

    int GetNumTargets() override;
    INode* GetNode(int nodeNumber) override;
    int GetFrameNo(int targetNumber) override;
    void SetFrameNo(int targetNumber, int frameNo) override;
    bool AddTarget(INode* target, int frameNo, bool keepTM = true) override;
    bool DeleteTarget(int targetNumber, bool keepTM = true) override;
    bool AddWorld(int frameNo, bool keepTM = true) override;

    // Start times as keys, Key Selection as their selection.
    int NumKeys() override { return GetNumTargets(); }
    TimeValue GetKeyTime(int index) override;
    BOOL IsKeySelected(int index) override;
    void SelectKeys(Interval range, DWORD flags) override;
    void MoveKeys(TimeValue delta, DWORD flags) override;
    void DeleteKeys(DWORD flags) override;
    Interval GetTimeRange(DWORD flags) override;

    // The pick filter of the link rollup: refuses the controlled node and nodes that depend on it.
    bool CanPick(INode* node);
    // The IKFKControl this link serves, and its node; null when unplugged.
    IKFKControl* OwnerControl();
    INode* OwnerNode();

    IParamBlock2* pblock = nullptr;
    // The open rollup, or null; not owned, not cloned.
    IKFKLinkRollupLink* rollup = nullptr;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override {
        if (i == kPBlockRef) pblock = static_cast<IParamBlock2*>(rtarg);
    }

private:
    // AddTarget and AddWorld without their recording.
    bool Insert(INode* target, int frameNo, bool keepTM);
    int ActiveEntry(TimeValue t);
    Matrix3 TargetTM(int k, TimeValue t, Interval& valid);
    Matrix3 Offset(int k, Interval& valid);
    Matrix3 AccumulatedLinkTM(TimeValue t, int k, Interval& valid);
    // Parent matrix of the controlled node at t as the tables stand.
    Matrix3 ParentAt(TimeValue t);
    // Rewrites the controlled node's local value so that its world matrix is `world` under
    // the tables as they stand now.
    void KeepWorld(TimeValue t, const Matrix3& world);
    Matrix3 WorldAt(TimeValue t);
    TimeValue Start(int k) { return pblock->GetTimeValue(pb_start_times, 0, k); }
};

}  // namespace kt
