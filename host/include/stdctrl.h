// StdControl, the base of controllers whose value is computed in their own local time, and the
// host's standard controllers as the plug-in sees them: class ids and query interfaces.
#pragma once

#include <vector>

#include "control.h"
#include "keyctrl.h"
#include "scalevalue.h"

class INode;
namespace host {
class StdControlRestore;
}

// ---- Class ids of the standard controllers (first word; the second is 0 unless given).
constexpr ULONG LININTERP_FLOAT_CLASS_ID = 0x2001;
constexpr ULONG LININTERP_POSITION_CLASS_ID = 0x2002;
constexpr ULONG LININTERP_ROTATION_CLASS_ID = 0x2003;
constexpr ULONG LININTERP_SCALE_CLASS_ID = 0x2004;
constexpr ULONG PRS_CONTROL_CLASS_ID = 0x2005;
constexpr ULONG HYBRIDINTERP_FLOAT_CLASS_ID = 0x2007;    // Bezier Float
constexpr ULONG HYBRIDINTERP_POSITION_CLASS_ID = 0x2008; // Bezier Position
constexpr ULONG HYBRIDINTERP_POINT3_CLASS_ID = 0x200A;   // Bezier Point3
constexpr ULONG HYBRIDINTERP_SCALE_CLASS_ID = 0x2010;    // Bezier Scale
constexpr ULONG HYBRIDINTERP_COLOR_CLASS_ID = 0x2011;    // Bezier Color (a point3 controller)
constexpr ULONG EULER_CONTROL_CLASS_ID = 0x2012;         // Euler XYZ
constexpr ULONG POSITION_CONSTRAINT_CLASS_ID = 0x2019;
constexpr ULONG TCBINTERP_FLOAT_CLASS_ID = 0x442311;
constexpr ULONG TCBINTERP_POSITION_CLASS_ID = 0x442312;
constexpr ULONG TCBINTERP_ROTATION_CLASS_ID = 0x442313;
constexpr ULONG TCBINTERP_POINT3_CLASS_ID = 0x442314;
constexpr ULONG TCBINTERP_SCALE_CLASS_ID = 0x442315;
constexpr ULONG FLOATLIST_CONTROL_CLASS_ID = 0x4B4B1000;
constexpr ULONG POINT3LIST_CONTROL_CLASS_ID = 0x4B4B1001;
constexpr ULONG POSLIST_CONTROL_CLASS_ID = 0x4B4B1002;
constexpr ULONG ROTLIST_CONTROL_CLASS_ID = 0x4B4B1003;
constexpr ULONG SCALELIST_CONTROL_CLASS_ID = 0x4B4B1004;
constexpr Class_ID IPOS_CONTROL_CLASS_ID(0x118F7E02, 0xFFEE238A);   // Position XYZ
constexpr Class_ID ISCALE_CONTROL_CLASS_ID(0x118F7C01, 0xFEEE238B); // Scale XYZ

// ---- StdControl.
//
// A subclass computes its value in its own local time (GetValueLocalTime, always absolute);
// StdControl::GetValue wraps that in the host's pipeline: the ease curves warp t, the
// out-of-range types apply outside GetTimeRange(TIMERANGE_ALL) (through Extrapolate), the
// multiplier curves scale the result, and a CTRL_RELATIVE request gets the value applied to
// what the caller passed (float and point3 add, position pre-translates, rotation
// pre-multiplies, scale ApplyScaling). Value types follow the super class: float, Point3,
// Quat, ScaleValue, Point4; a matrix3 controller is passed through to GetValueLocalTime as is.
//
// SetValue ignores the call when the controller is a locked ILockedTrack, maps t through the
// ease curves and hands over to SetValueLocalTime.
//
// Ease and multiplier curves are float controllers held as StdControl's references, placed
// after the subclass's own: a subclass with references of its own numbers them first and
// passes higher indices (minus its count) to StdControl's NumRefs/GetReference/SetReference,
// and likewise for sub-anims. A subclass that does not will simply refuse curves.
class StdControl : public Control {
  public:
    StdControl() = default;

    virtual void GetValueLocalTime(TimeValue t, void* val, Interval& valid,
                                   GetSetMethod method = CTRL_ABSOLUTE) = 0;
    virtual void SetValueLocalTime(TimeValue t, void* val, int commit = 1,
                                   GetSetMethod method = CTRL_ABSOLUTE) = 0;

    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override;

    // The value at t outside range by out-of-range type `type`, through GetValueLocalTime.
    virtual void Extrapolate(Interval range, TimeValue t, void* val, Interval& valid, int type);
    // A value of the super class's type (identity), and its deletion.
    virtual void* CreateTempValue();
    virtual void DeleteTempValue(void* val);
    // val = val combined with delta the relative way (see above).
    virtual void ApplyValue(void* val, void* delta);
    // Multiplier: float, point3 and scale factors times m; a rotation's angle times m.
    virtual void MultiplyValue(void* val, float m);

    // Out-of-range types (ORT_CONSTANT etc.; type ORT_BEFORE or ORT_AFTER). Unknown values
    // are ignored. Undoable.
    int GetORT(int type) override;
    void SetORT(int ort, int type) override;
    // With ORTs disabled every side is constant.
    void EnableORTs(BOOL enable) override;

    // Ease curves warp time (the curve's value at t, in ticks, is the time used); they apply
    // in order. Multiplier curves multiply the value; their product is used. Undoable.
    int NumEaseCurves() override { return static_cast<int>(ease_.size()); }
    int NumMultCurves() override { return static_cast<int>(mult_.size()); }
    void AppendEaseCurve(Control* cont) override;
    void DeleteEaseCurve(int i) override;
    void AppendMultCurve(Control* cont) override;
    void DeleteMultCurve(int i) override;
    BOOL CanApplyEaseMultCurves() override { return TRUE; }
    // Null for an index out of range.
    Control* GetEaseCurve(int i);
    Control* GetMultCurve(int i);
    // A disabled curve is kept but skipped.
    void EnableEaseCurve(int i, BOOL onOff);
    void EnableMultCurve(int i, BOOL onOff);
    BOOL IsEaseCurveEnabled(int i);
    BOOL IsMultCurveEnabled(int i);
    TimeValue ApplyEase(TimeValue t, Interval& valid) override;
    float GetMultVal(TimeValue t, Interval& valid) override;

    int NumRefs() override { return NumEaseCurves() + NumMultCurves(); }
    RefTargetHandle GetReference(int i) override;
    int NumSubs() override { return NumEaseCurves() + NumMultCurves(); }
    Animatable* SubAnim(int i) override { return GetReference(i); }
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override { return subNum; }
    RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                               RefMessage message, BOOL propagate) override;

    // The ORTs, the curve counts and their switches. Subclasses call these from their own.
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

  protected:
    void SetReference(int i, RefTargetHandle rtarg) override;
    // Copies ORTs and curve switches (not the curves) into `to`; for Clone.
    void CopyStdState(StdControl* to) const;
    // True while the curve machinery must run (any curve, any non-constant ORT).
    bool HasEaseOrMult() const { return !ease_.empty() || !mult_.empty(); }
    bool HasActiveORT() const {
        return ortsEnabled_ && (ortBefore_ != ORT_CONSTANT || ortAfter_ != ORT_CONSTANT);
    }
    int EffectiveORT(int type) const {
        return ortsEnabled_ ? (type == ORT_BEFORE ? ortBefore_ : ortAfter_) : ORT_CONSTANT;
    }
    // Loads one chunk StdControl wrote; answers false for a chunk that is not its own.
    bool LoadStdChunk(ILoad* iload, IOResult& res);

  private:
    friend class host::StdControlRestore;
    bool AppendCurve(bool ease, Control* cont);
    void DeleteCurve(bool ease, int i);

    int ortBefore_ = ORT_CONSTANT;
    int ortAfter_ = ORT_CONSTANT;
    bool ortsEnabled_ = true;
    std::vector<Control*> ease_, mult_;
    std::vector<char> easeOn_, multOn_;
};

// ---- The keyframe controllers (Bezier, TCB, Linear; GetInterface(I_KEYCONTROL), keyctrl.h).
//
// GetValue narrows valid to [t, t] between keys, to (-inf, first] and [last, +inf) outside them
// under ORT_CONSTANT; without keys the constant value leaves valid alone.
// SetValue takes absolute values, or relative ones: float, point3 and position add; a rotation
// delta (an AngAxis) turns first, new = Quat(aa) * old; a scale delta composes. Under animate
// mode a key at t takes the value, else a key is made at t (Bezier keys with the default tangent
// types). With animate off: without keys the constant takes the value; a key at t takes it;
// otherwise every key moves by the difference at t (rotations turn, scale factors are scaled),
// so the curve keeps its shape. commit 0 starts an interactive change: RestoreValue takes it
// back, CommitValue (or a later commit 1) keeps it. A locked track ignores sets and key edits.
// Key calls: an index out of range answers 0, FALSE or -1 and changes nothing; AddNewKey gives the
// key the track's value at t; MoveKeys and MapKeys let a moved key replace one at its new time;
// deleting the last key leaves the track constant at the value its first key had. Key selection
// (SelectKeys) is not an undoable edit; every other edit is, once per controller per hold.
// Zero quaternions read as the identity; key times at the ends of time never overflow.
//
// ---- Compound controllers (Euler XYZ, Position XYZ, Scale XYZ, PRS, lists): sub-anim i is
// reference i and may be replaced by any controller of its super class (AssignController or
// ReplaceReference; another super class or a cycle is refused). Their key calls go to the
// sub-controllers, so they show the union of the sub-controllers' keys.
// Euler XYZ, Position XYZ, Scale XYZ and PRS answer a read inside the validity of the last value
// they computed from that value (a PRS keeps its local transform and answers local * parent)
// while every sub-controller is one of the host's keyframe controllers without ease or
// multiplier curves, or (in a PRS) Euler XYZ, Position XYZ or Scale XYZ over such floats. Any
// message from a sub-controller, a slot change, an Euler order change and undo or redo of these
// drop the kept value. With any other sub-controller (constraints, lists, controllers of
// plug-ins, which may follow things that send no message) every read is computed.
//
// PRS (the default transform controller): local = scale * rotation * position (row vectors, scale
// first). GetValue multiplies the local transform into the Matrix3 it is given (the parent), for
// either method. SetValue takes a SetXFormPacket:
// - XFORM_MOVE: p, a vector in tmAxis space, moves the pivot; the position sub-controller gets it
//   in the parent's frame, relative.
// - XFORM_ROTATE: the packet's rotation (aa; q when aa has no axis), its axis carried from tmAxis
//   into the parent's frame, turns first: the rotation sub-controller gets it relative, so with
//   identity tmParent and tmAxis the rotation becomes Quat(aa) * old. A mirroring tmAxis reverses
//   the angle. Without localOrigin the pivot also turns about tmAxis's origin.
// - XFORM_SCALE: factors p along the axes of tmAxis compose onto the scale; without localOrigin
//   the pivot also scales away from tmAxis's origin.
// - XFORM_SET: tmAxis is the wanted world transform; tmAxis * Inverse(tmParent) is decomposed into
//   position, rotation and stretch (a mirror becomes negative factors), each set absolute.
// Degenerate matrices go through the general inverse and give finite values; a zero axis does
// nothing.

// ---- Euler XYZ: three float sub-controllers (X, Y, Z angles in radians, sub-anims 0..2,
// references 0..2) combined in an Euler order. Any float controller may replace one
// (ReplaceReference or AssignController); a null one reads 0.
constexpr ULONG I_EULERCTRL = 4992;

class IEulerControl {
  public:
    virtual ~IEulerControl() = default;
    // Host Euler order id (EULERTYPE_XYZ .. EULERTYPE_ZXZ).
    virtual int GetOrder() = 0;
    // Keeps the angles, so the rotation changes. Ids outside 0..8 are ignored. Undoable.
    virtual void SetOrder(int newOrder) = 0;
};

inline IEulerControl* GetEulerControlInterface(Animatable* anim) {
    return anim ? static_cast<IEulerControl*>(anim->GetInterface(I_EULERCTRL)) : nullptr;
}

// ---- List controllers: a weighted stack of controllers of one super class. Float, point3
// and position entries add (value times weight); rotation entries apply one after the other
// (each turned by its weight from the identity; entry 0 pre-multiplies first, so the last
// entry turns first); scale entries multiply (factors 1 + (s - 1) * weight). SetValue goes to
// the active entry, solving for the value that makes the whole list answer what was set.
// Sub-anims: the entries, then "Available", a null slot to which AssignController appends.
constexpr ULONG I_LISTCONTROL = 0x4B4B1100;

class IListControl {
  public:
    virtual ~IListControl() = default;
    virtual int GetListCount() = 0;
    // Index capped into the list. Undoable.
    virtual void SetActive(int index) = 0;
    virtual int GetActive() = 0;
    // Removes entry index (out of range: nothing). Undoable.
    virtual void DeleteItem(int index) = 0;
    // Cut keeps the entry for PasteItem, which inserts it before index (or appends).
    virtual void CutItem(int index) = 0;
    virtual void PasteItem(int index) = 0;
    virtual void SetName(int index, MSTR name) = 0;
    virtual MSTR GetName(int index) = 0;
    // The entry's controller, or null.
    virtual Control* GetSubCtrl(int index) = 0;
    // Weights are constant over time here; 1.0 is full. Out of range: 0, and nothing set.
    virtual float GetSubCtrlWeight(int index, TimeValue t) = 0;
    virtual void SetSubCtrlWeight(int index, TimeValue t, float weight) = 0;
};

inline IListControl* GetIListControlInterface(Animatable* anim) {
    return anim ? static_cast<IListControl*>(anim->GetInterface(I_LISTCONTROL)) : nullptr;
}

// ---- Position constraint: the weighted mean of its target nodes' world positions. Relative
// requests put that point in the caller's matrix as its translation; absolute ones answer it
// in world space. No target, or weights summing to 0 or less: relative leaves val as it is,
// absolute answers the origin. Targets are references; a deleted node drops out.
constexpr ULONG I_POSCONSTRAINT = 0x2019AB01;

class IPosConstraint {
  public:
    virtual ~IPosConstraint() = default;
    virtual int GetNumTargets() = 0;
    // Null for an index out of range.
    virtual INode* GetNode(int targetNumber) = 0;
    virtual float GetTargetWeight(int targetNumber) = 0;
    virtual BOOL SetTargetWeight(int targetNumber, float weight) = 0;
    // FALSE for null, a node already there, or a node that depends on this controller.
    virtual BOOL AppendTarget(INode* target, float weight = 50.0f) = 0;
    virtual BOOL DeleteTarget(int targetNumber) = 0;
};

inline IPosConstraint* GetPosConstraintInterface(Animatable* anim) {
    return anim ? static_cast<IPosConstraint*>(anim->GetInterface(I_POSCONSTRAINT)) : nullptr;
}

namespace host {
// Registers the ClassDesc2 of every standard controller with the ClassDirectory; runs at
// library load, calling it again does nothing.
void RegisterStandardControllers();
} // namespace host
