#include "controllers/transform_connections.h"

#include <cmath>

#include "euler.h"
#include "frame/class_registry.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

constexpr float kWeightGuard = 0.001f;

template <class C>
ClassFactoryRegistrar Register(SClass_ID sc, Class_ID id) {
    return ClassFactoryRegistrar(sc, id, [](BOOL loading) -> void* { return new C(loading); });
}
ClassFactoryRegistrar posReg = Register<PositionConnection>(CTRL_POSITION_CLASS_ID, POSITION_CONNECTION_CLASS_ID);
ClassFactoryRegistrar rotReg = Register<RotationConnection>(CTRL_ROTATION_CLASS_ID, ROTATION_CONNECTION_CLASS_ID);
ClassFactoryRegistrar sclReg = Register<ScaleConnection>(CTRL_SCALE_CLASS_ID, SCALE_CONNECTION_CLASS_ID);

// One block description per class; the parameters are the same.
ParamBlockDesc2& WeightedBlock(SClass_ID sc, Class_ID id) {
    auto make = [](SClass_ID s, Class_ID c) {
        using W = WeightedConnection;
        auto* d = new ParamBlockDesc2(0, L"params", 0, ClassRegistry::Find(s, c), 0, p_end);
        d->AddParam(ConnectionBase::pb_track_subanim, L"", TYPE_INT, 0, IDS_TRACK_SUBANIM);
        d->AddParam(ConnectionBase::pb_two_way, L"two_way", TYPE_BOOL, 0, IDS_TWO_WAY);
        d->AddParam(W::pb_use_weight, L"use_weight", TYPE_BOOL, 0, IDS_USE_WEIGHT);
        d->AddParam(W::pb_weight_x, L"weight_x", TYPE_PCNT_FRAC, P_ANIMATABLE, IDS_WEIGHT_X);
        d->SetDefault(W::pb_weight_x, 1.0f);
        d->AddParam(W::pb_weight_y, L"weight_y", TYPE_PCNT_FRAC, P_ANIMATABLE, IDS_WEIGHT_Y);
        d->SetDefault(W::pb_weight_y, 1.0f);
        d->AddParam(W::pb_weight_z, L"weight_z", TYPE_PCNT_FRAC, P_ANIMATABLE, IDS_WEIGHT_Z);
        d->SetDefault(W::pb_weight_z, 1.0f);
        d->AddParam(W::pb_use_time_offset, L"use_time_offset", TYPE_BOOL, 0, IDS_USE_TIME_OFFSET);
        d->AddParam(W::pb_time_offset, L"time_offset", TYPE_FLOAT, P_ANIMATABLE, IDS_TIME_OFFSET);
        return d;
    };
    static ParamBlockDesc2* pos = make(CTRL_POSITION_CLASS_ID, POSITION_CONNECTION_CLASS_ID);
    static ParamBlockDesc2* rot = make(CTRL_ROTATION_CLASS_ID, ROTATION_CONNECTION_CLASS_ID);
    static ParamBlockDesc2* scl = make(CTRL_SCALE_CLASS_ID, SCALE_CONNECTION_CLASS_ID);
    return sc == CTRL_POSITION_CLASS_ID ? *pos : sc == CTRL_ROTATION_CLASS_ID ? *rot : *scl;
    (void)id;
}
const bool blocksReady = (WeightedBlock(CTRL_POSITION_CLASS_ID, POSITION_CONNECTION_CLASS_ID), true);

FPInterfaceDesc* MakeInterface(Interface_ID iid, SClass_ID sc, Class_ID id) {
    auto* d = new FPInterfaceDesc(iid, L"interface", 0, ClassRegistry::Find(sc, id), FP_MIXIN, p_end);
    FPFunctionDef& set = d->AppendFunction(IConnection::fnSetTarget, L"SetTarget", TYPE_bool);
    set.AddParam(L"target", TYPE_VALUE);
    set.AddParam(L"owner", TYPE_REFTARG);
    set.KeyArgDefault(FPValue(TYPE_REFTARG, static_cast<ReferenceTarget*>(nullptr)));
    FPFunctionDef& get = d->AppendFunction(IConnection::fnGetTarget, L"GetTarget", TYPE_VALUE);
    get.AddParam(L"asController", TYPE_bool);
    get.KeyArgDefault(FPValue(TYPE_bool, false));
    return d;
}

FPInterfaceDesc* InterfaceFor(Interface_ID iid) {
    static FPInterfaceDesc* pos =
        MakeInterface(IPOSITIONCONNECTION_INTERFACE_ID, CTRL_POSITION_CLASS_ID, POSITION_CONNECTION_CLASS_ID);
    static FPInterfaceDesc* rot =
        MakeInterface(IROTATIONCONNECTION_INTERFACE_ID, CTRL_ROTATION_CLASS_ID, ROTATION_CONNECTION_CLASS_ID);
    static FPInterfaceDesc* scl =
        MakeInterface(ISCALECONNECTION_INTERFACE_ID, CTRL_SCALE_CLASS_ID, SCALE_CONNECTION_CLASS_ID);
    return iid == IPOSITIONCONNECTION_INTERFACE_ID ? pos : iid == IROTATIONCONNECTION_INTERFACE_ID ? rot : scl;
}
const bool interfacesReady = (InterfaceFor(IPOSITIONCONNECTION_INTERFACE_ID), true);

float Guard(float w) { return std::fabs(w) < kWeightGuard ? kWeightGuard : w; }

}  // namespace

// ---- WeightedConnection ----

void WeightedConnection::MakeBlock() {
    ReplaceReference(kPBlockRef, CreateParameterBlock2(&WeightedBlock(SuperClassID(), ClassID()), this));
}

FPInterfaceDesc* WeightedConnection::GetDesc() { return InterfaceFor(InterfaceID()); }

BaseInterface* WeightedConnection::GetInterface(Interface_ID id) {
    if (id == InterfaceID()) return static_cast<IConnection*>(this);
    return ConnectionBase::GetInterface(id);
}

Point3 WeightedConnection::Weights(TimeValue t, Interval& valid) {
    if (!pblock || !pblock->GetInt(pb_use_weight)) return Point3(1.0f, 1.0f, 1.0f);
    return Point3(pblock->GetFloat(pb_weight_x, t, valid), pblock->GetFloat(pb_weight_y, t, valid),
                  pblock->GetFloat(pb_weight_z, t, valid));
}

namespace {

// The target read at t through the time offset into out: `last` without a target; false when a
// target is set but cannot be read.
template <class C, class V, class Read>
bool ReadTarget(C* c, TimeValue t, Interval& valid, V& last, V& out, Read&& read) {
    if (!c->targetOwner || !c->pblock) {
        out = last;
        return true;
    }
    const TimeValue ts = [&] {
        Interval iv = FOREVER;
        if (!c->pblock->GetInt(WeightedConnection::pb_use_time_offset)) return t;
        const float off = c->pblock->GetFloat(WeightedConnection::pb_time_offset, t, iv);
        valid &= iv;
        return t + static_cast<TimeValue>(std::lround(off));
    }();
    V v = last;
    Interval shifted = FOREVER;
    if (!read(c->targetOwner, c->TargetIndex(), ts, v, ts == t ? valid : shifted)) return false;
    if (ts != t) valid &= Interval(t, t);
    out = last = v;
    return true;
}

template <class C>
TimeValue WriteTime(C* c, TimeValue t) {
    if (!c->pblock->GetInt(WeightedConnection::pb_use_time_offset)) return t;
    return t + static_cast<TimeValue>(std::lround(c->pblock->GetFloat(WeightedConnection::pb_time_offset, t)));
}

}  // namespace

// ---- PositionConnection ----

PositionConnection::PositionConnection(BOOL loading) {
    if (!loading) MakeBlock();
}

MSTR PositionConnection::ClassName(bool) const {
    return GetStringOr(IDS_CLASS_POSITIONCONNECTION, L"Position Connection");
}

ReferenceTarget* PositionConnection::Clone(RemapDir& remap) {
    auto* c = new PositionConnection(TRUE);
    CloneInto(c, remap);
    return c;
}

void PositionConnection::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    if (!val) return;
    Point3 p;
    if (!ReadTarget(this, t, valid, lastValue, p, [](ReferenceTarget* o, int i, TimeValue ts, Point3& v, Interval& iv) {
            return ReadTrack(o, i, ts, v, iv, TrackKind::Position);
        }))
        return;
    p = p * Weights(t, valid);
    if (method == CTRL_ABSOLUTE)
        *static_cast<Point3*>(val) = p;
    else
        static_cast<Matrix3*>(val)->PreTranslate(p);
}

void PositionConnection::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    if (!val || !Writable()) return;
    Point3 p = *static_cast<Point3*>(val);
    if (method == CTRL_RELATIVE) {
        Interval iv = FOREVER;
        Point3 own;
        GetValue(t, &own, iv, CTRL_ABSOLUTE);
        p += own;
    }
    Interval iv = FOREVER;
    const Point3 w = Weights(t, iv);
    const Point3 x(p.x / Guard(w.x), p.y / Guard(w.y), p.z / Guard(w.z));
    if (targetOwner) {
        restoreGuard_ = 1;
        WriteTrack(targetOwner, TargetIndex(), WriteTime(this, t), x, commit, TrackKind::Position);
        restoreGuard_ = 0;
    } else {
        lastValue = x;
    }
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

// ---- RotationConnection ----

RotationConnection::RotationConnection(BOOL loading) {
    if (!loading) MakeBlock();
}

MSTR RotationConnection::ClassName(bool) const {
    return GetStringOr(IDS_CLASS_ROTATIONCONNECTION, L"Rotation Connection");
}

ReferenceTarget* RotationConnection::Clone(RemapDir& remap) {
    auto* c = new RotationConnection(TRUE);
    CloneInto(c, remap);
    return c;
}

void RotationConnection::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    if (!val) return;
    Quat q;
    if (!ReadTarget(this, t, valid, lastValue, q, [](ReferenceTarget* o, int i, TimeValue ts, Quat& v, Interval& iv) {
            return ReadTrack(o, i, ts, v, iv);
        }))
        return;
    if (pblock && pblock->GetInt(pb_use_weight)) {
        const Point3 w = Weights(t, valid);
        float a[3];
        QuatToEuler(q, a, EULERTYPE_XYZ);
        a[0] *= w.x;
        a[1] *= w.y;
        a[2] *= w.z;
        EulerToQuat(a, q, EULERTYPE_XYZ);
    }
    if (method == CTRL_ABSOLUTE)
        *static_cast<Quat*>(val) = q;
    else
        PreRotateMatrix(*static_cast<Matrix3*>(val), q);
}

void RotationConnection::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    if (!val || !Writable()) return;
    Quat q;
    if (method == CTRL_RELATIVE) {
        // A relative rotation set is an AngAxis turn, applied first.
        Interval iv = FOREVER;
        Quat own;
        GetValue(t, &own, iv, CTRL_ABSOLUTE);
        q = Quat(*static_cast<AngAxis*>(val)) * own;
    } else {
        q = *static_cast<Quat*>(val);
    }
    if (pblock->GetInt(pb_use_weight)) {
        Interval iv = FOREVER;
        const Point3 w = Weights(t, iv);
        float a[3];
        QuatToEuler(q, a, EULERTYPE_XYZ);
        a[0] /= Guard(w.x);
        a[1] /= Guard(w.y);
        a[2] /= Guard(w.z);
        EulerToQuat(a, q, EULERTYPE_XYZ);
    }
    if (targetOwner) {
        restoreGuard_ = 1;
        WriteTrack(targetOwner, TargetIndex(), WriteTime(this, t), q, commit);
        restoreGuard_ = 0;
    } else {
        lastValue = q;
    }
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

// ---- ScaleConnection ----

ScaleConnection::ScaleConnection(BOOL loading) {
    if (!loading) MakeBlock();
}

MSTR ScaleConnection::ClassName(bool) const {
    return GetStringOr(IDS_CLASS_SCALECONNECTION, L"Scale Connection");
}

ReferenceTarget* ScaleConnection::Clone(RemapDir& remap) {
    auto* c = new ScaleConnection(TRUE);
    CloneInto(c, remap);
    return c;
}

void ScaleConnection::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    if (!val) return;
    Point3 s;
    if (!ReadTarget(this, t, valid, lastValue, s, [](ReferenceTarget* o, int i, TimeValue ts, Point3& v, Interval& iv) {
            return ReadTrack(o, i, ts, v, iv, TrackKind::Scale);
        }))
        return;
    s = s * Weights(t, valid);
    if (method == CTRL_ABSOLUTE)
        *static_cast<ScaleValue*>(val) = ScaleValue(s);
    else
        ApplyScaling(*static_cast<Matrix3*>(val), ScaleValue(s));
}

void ScaleConnection::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    if (!val || !Writable()) return;
    Point3 s = static_cast<ScaleValue*>(val)->s;
    if (method == CTRL_RELATIVE) {
        Interval iv = FOREVER;
        ScaleValue own;
        GetValue(t, &own, iv, CTRL_ABSOLUTE);
        s = own.s * s;
    }
    Interval iv = FOREVER;
    const Point3 w = Weights(t, iv);
    const Point3 x(s.x / Guard(w.x), s.y / Guard(w.y), s.z / Guard(w.z));
    if (targetOwner) {
        restoreGuard_ = 1;
        WriteTrack(targetOwner, TargetIndex(), WriteTime(this, t), x, commit, TrackKind::Scale);
        restoreGuard_ = 0;
    } else {
        lastValue = x;
    }
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

}  // namespace kt
