// What the four connection controllers share: a target track named by (owner, index), how it
// is read and written, how a script value or a track-view pick becomes such a pair, and the
// cycle test that keeps a connection from reading anything that depends on it.
//
// The owner is any ReferenceTarget. For a parameter block the index is a parameter id (its
// type decides how it reads: float types as float, int types converted); for every other
// owner it is a sub-anim index, and the sub-anim must be a controller of the wanted super
// class or a block placeholder. An index past the owner's tracks reads and writes nothing.
#pragma once

#include "control.h"
#include "iparamb2.h"
#include "scalevalue.h"
#include "trackview.h"

class Value;

namespace kt {

// The kinds of value a connection carries.
enum class TrackKind { Float, Position, Rotation, Scale };

// Parameter types read as float and as int (ParamType2 bit masks).
constexpr unsigned kFloatParamMask = 2273;
constexpr unsigned kIntParamMask = 532498;
bool IsFloatParamType(int type);
bool IsIntParamType(int type);

// Reads the target at t into out; false when nothing could be read (out and valid untouched).
bool ReadTrack(ReferenceTarget* owner, int index, TimeValue t, float& out, Interval& valid);
bool ReadTrack(ReferenceTarget* owner, int index, TimeValue t, Point3& out, Interval& valid, TrackKind kind);
bool ReadTrack(ReferenceTarget* owner, int index, TimeValue t, Quat& out, Interval& valid);
// Writes an absolute value to the target; false when the target takes nothing.
bool WriteTrack(ReferenceTarget* owner, int index, TimeValue t, float v, int commit);
bool WriteTrack(ReferenceTarget* owner, int index, TimeValue t, const Point3& v, int commit, TrackKind kind);
bool WriteTrack(ReferenceTarget* owner, int index, TimeValue t, const Quat& v, int commit);

// Whether (owner, index) is a track a connection of `kind` may read.
bool TrackFits(ReferenceTarget* owner, int index, TrackKind kind);

// The animatable a pick or script names at (client, subNum), turned into the connection's
// (owner, index): a block's sub-anim becomes its parameter id.
bool PickToTarget(ReferenceTarget* client, int subNum, ReferenceTarget*& owner, int& index);

// A script track value: a track (getSubAnim), a controller (its owner found among its
// dependents unless `owner` is given), or a parameter's name with a block or an object that
// holds one as `owner`. False when it names no track.
bool ScriptValueToTarget(Value* target, ReferenceTarget* ownerHint, ReferenceTarget*& owner, int& index);

// The controller at (owner, index), or null (constant parameters, placeholders).
Control* TargetController(ReferenceTarget* owner, int index);
// Sub-anim number of the target under its owner (a block's parameter id mapped back), or -1.
int TargetSubNum(ReferenceTarget* owner, int index);
// "Owner name / track name", for dialogs; empty when there is no target.
MSTR TargetTrackName(ReferenceTarget* owner, int index);

// Track-view filter of the pick button: tracks of the kind's super class and block entries.
class ConnectionFilter : public TrackViewFilter {
public:
    ConnectionFilter(TrackKind kind, ReferenceTarget* self) : kind_(kind), self_(self) {}
    BOOL proc(Animatable* anim, Animatable* client, int subNumber) override;

private:
    TrackKind kind_;
    ReferenceTarget* self_;
};

// The float pick filter: super classes float (36867) and placeholder (36879).
class FloatFilter : public ConnectionFilter {
public:
    explicit FloatFilter(ReferenceTarget* self) : ConnectionFilter(TrackKind::Float, self) {}
};

// The message box of a refused pick, and the script error text.
void ReportCycleInDialog();
[[noreturn]] void ThrowCycleError(Value* target);

}  // namespace kt
