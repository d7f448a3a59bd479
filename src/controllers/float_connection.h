// FloatConnection: a float track that answers another track's value, remapped and shifted in
// time, and with `two_way` writes what it is set to back into that track.
//
// Reference 0 is the block, reference 1 the target's owner (see connection_target.h); block
// parameter 0 holds the target's index. Without a target the last value read stands. Values
// are in the target's units; `time_offset` is in ticks (rounded to a tick); `weight` is a
// fraction. `transform`: 0 none, 1 x * weight + offset, 2 input range onto output range,
// 3 the first curve of `curve_ctrl` (an ICurveCtl) at x.
#pragma once

#include "control.h"
#include "controllers/connection_target.h"
#include "ifnpub.h"
#include "iparamb2.h"

class ICurveCtl;

namespace kt {

constexpr Class_ID FLOAT_CONNECTION_CLASS_ID(0x45596D56, 0x1E847B43);
constexpr Interface_ID IFLOATCONNECTION_INTERFACE_ID(0x45596D56, 0x1E847B43);

// The script interface every connection publishes as "interface".
class IConnection : public FPMixinInterface {
public:
    enum FunctionIDs { fnSetTarget = 0, fnGetTarget = 1 };

    // target: a track value (getSubAnim), a controller, or a parameter name with `owner` the
    // block (or its holder). False for no track or a track of the wrong kind; a target that
    // depends on this controller throws the script error. One undo step.
    virtual bool SetTarget(Value* target, ReferenceTarget* owner) = 0;
    // The target as a track value, or its controller; undefined without one.
    virtual Value* GetTarget(bool asController) = 0;

    BEGIN_FUNCTION_MAP
    FN_2(fnSetTarget, TYPE_bool, SetTarget, TYPE_VALUE, TYPE_REFTARG)
    FN_1(fnGetTarget, TYPE_VALUE, GetTarget, TYPE_bool)
    END_FUNCTION_MAP
};

class IFloatConnection : public IConnection {
public:
    FPInterfaceDesc* GetDesc() override;
};

// The common frame of the four connections: target references, the cycle-checked
// assignment, write-through guard, clone patching and the saved last value.
class ConnectionBase : public Control, public ILockedTrackImp {
public:
    static constexpr int kPBlockRef = 0;
    static constexpr int kTargetRef = 1;
    // Block parameters every connection has at the same ids.
    static constexpr ParamID pb_track_subanim = 0;
    static constexpr ParamID pb_two_way = 1;

    IParamBlock2* pblock = nullptr;
    ReferenceTarget* targetOwner = nullptr;

    int NumRefs() override { return 2; }
    RefTargetHandle GetReference(int i) override;
    int NumSubs() override { return 1; }
    Animatable* SubAnim(int i) override;
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override { return subNum == 0 ? kPBlockRef : -1; }
    int NumParamBlocks() override { return 1; }
    IParamBlock2* GetParamBlock(int i) override { return i == 0 ? pblock : nullptr; }
    IParamBlock2* GetParamBlockByID(BlockID id) override { return id == 0 ? pblock : nullptr; }
    RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                               RefMessage message, BOOL propagate) override;
    BOOL IsAnimated() override { return FALSE; }
    BOOL IsKeyable() override { return FALSE; }
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }

    // The index of the target under its owner (block parameter 0).
    int TargetIndex();
    // Points the connection at (owner, index) after the kind and cycle checks. fromDialog
    // reports a cycle in a message box; otherwise the caller reports it. Answers 1 when
    // assigned, 0 for a track of the wrong kind, -1 for a cycle.
    int AssignTarget(ReferenceTarget* owner, int index, bool fromDialog);
    // The track-view pick of the dialog's button: picks, checks and assigns.
    bool PickTarget();
    // True when reading `candidate` would make this connection depend on itself.
    bool WouldCycle(ReferenceTarget* candidate);
    // What the dialog and scripts show of the target.
    MSTR TargetName();

    // The script interface's work, shared by the four.
    bool ScriptSetTarget(Value* target, ReferenceTarget* owner);
    Value* ScriptGetTarget(bool asController);

    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;
    // Told when the block changed (values, controllers, undo).
    virtual void BlockChanged() {}
    virtual TrackKind Kind() const = 0;
    virtual const MCHAR* UndoName() const = 0;
    // The last value read, as bytes for the scene file.
    virtual void* LastValueData() = 0;
    virtual ULONG LastValueSize() const = 0;
    // Copies what Clone needs beyond the block; installs the target patch.
    void CloneInto(ConnectionBase* to, RemapDir& remap);
    bool Writable() const;
    bool UseTimeOffset(ParamID useId);
    // t shifted by round(time_offset at t) when use_time_offset is on.
    TimeValue ShiftedTime(TimeValue t, ParamID useId, ParamID offsetId, Interval& valid);

    unsigned char restoreGuard_ = 0;  // set around write-through
};

class FloatConnection : public ConnectionBase, public IFloatConnection {
public:
    enum ParamIds {
        pb_clamp = 2,
        pb_transform = 3,
        pb_offset = 4,
        pb_weight = 5,
        pb_input_min = 6,
        pb_input_max = 7,
        pb_output_min = 8,
        pb_output_max = 9,
        pb_curve_ctrl = 10,
        pb_use_time_offset = 11,
        pb_time_offset = 12,
    };
    enum Transform { kNone = 0, kOffsetWeight = 1, kRange = 2, kCurve = 3 };

    explicit FloatConnection(BOOL loading = FALSE);

    SClass_ID SuperClassID() override { return CTRL_FLOAT_CLASS_ID; }
    Class_ID ClassID() override { return FLOAT_CONNECTION_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    BaseInterface* GetInterface(Interface_ID id) override;
    using ConnectionBase::GetInterface;

    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override;

    // The target's value at t (time offset applied) into x: lastValue without a target; false
    // (x untouched) when a target is set but cannot be read, such as an index past its tracks.
    bool TargetValue(TimeValue t, Interval& valid, float& x);
    // The remap of x by `transform` at t, and its inverse.
    float Remap(float x, TimeValue t, Interval& valid);
    float Unmap(float y, TimeValue t);
    ICurveCtl* CurveCtl();

    bool SetTarget(Value* target, ReferenceTarget* owner) override { return ScriptSetTarget(target, owner); }
    Value* GetTarget(bool asController) override { return ScriptGetTarget(asController); }

    float lastValue = 0.0f;

protected:
    // The block's values as of its last change; parameters with a controller are read live.
    // Reads happen on every evaluation, so they skip the block's lookups.
    struct ParamCache {
        bool valid = false;
        unsigned animated = 0;  // bit per parameter id that has a controller
        int transform = 0, clamp = 0, useTimeOffset = 0, index = 0;
        float offset = 0, weight = 1, inMin = 0, inMax = 100, outMin = 0, outMax = 100, timeOffset = 0;
    };
    const ParamCache& Cache();
    float Param(ParamID id, float cached, TimeValue t, Interval& valid) {
        return (cache_.animated >> id) & 1u ? pblock->GetFloat(id, t, valid) : cached;
    }
    void BlockChanged() override { cache_.valid = false; }
    TrackKind Kind() const override { return TrackKind::Float; }
    const MCHAR* UndoName() const override { return L"Float Connection Change"; }
    void* LastValueData() override { return &lastValue; }
    ULONG LastValueSize() const override { return sizeof(float); }

private:
    ParamCache cache_;
};

// The block description of FloatConnection (for the dialog and tests).
ParamBlockDesc2& FloatConnectionBlock();

}  // namespace kt
