#include "controllers/float_connection.h"

#include <algorithm>
#include <cmath>

#include "frame/class_registry.h"
#include "hold.h"
#include "icurvctl.h"
#include "iosave.h"
#include "maxapi.h"
#include "maxscript.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "script/scene_values.h"

namespace kt {
namespace {

constexpr USHORT kLastValueChunk = 0x0100;
constexpr float kSpanGuard = 0.001f;
constexpr int kInverseBisections = 40;

RegistryClassDesc* ConnectionDesc() { return ClassRegistry::Find(CTRL_FLOAT_CLASS_ID, FLOAT_CONNECTION_CLASS_ID); }

ClassFactoryRegistrar registrar(CTRL_FLOAT_CLASS_ID, FLOAT_CONNECTION_CLASS_ID,
                                [](BOOL loading) -> void* { return new FloatConnection(loading); });

const bool blockReady = (FloatConnectionBlock(), true);

FPInterfaceDesc& ConnectionInterface() {
    static FPInterfaceDesc* desc = [] {
        auto* d = new FPInterfaceDesc(IFLOATCONNECTION_INTERFACE_ID, L"interface", 0, ConnectionDesc(), FP_MIXIN,
                                      p_end);
        FPFunctionDef& set = d->AppendFunction(IConnection::fnSetTarget, L"SetTarget", TYPE_bool);
        set.AddParam(L"target", TYPE_VALUE);
        set.AddParam(L"owner", TYPE_REFTARG);
        set.KeyArgDefault(FPValue(TYPE_REFTARG, static_cast<ReferenceTarget*>(nullptr)));
        FPFunctionDef& get = d->AppendFunction(IConnection::fnGetTarget, L"GetTarget", TYPE_VALUE);
        get.AddParam(L"asController", TYPE_bool);
        get.KeyArgDefault(FPValue(TYPE_bool, false));
        return d;
    }();
    return *desc;
}
const bool interfaceReady = (ConnectionInterface(), true);

// Points a clone's target at the clone of the original's target, when that was cloned too.
class FloatConnectionPostPatch : public PostPatchProc {
public:
    FloatConnectionPostPatch(ReferenceTarget* original, ConnectionBase* clone) : original_(original), clone_(clone) {}
    int Proc(RemapDir& remap) override {
        if (!original_) return TRUE;
        if (RefTargetHandle copy = remap.FindMapping(original_)) clone_->ReplaceReference(ConnectionBase::kTargetRef, copy);
        return TRUE;
    }

private:
    ReferenceTarget* original_;
    ConnectionBase* clone_;
};

float SafeSpan(float span) { return std::fabs(span) <= kSpanGuard ? kSpanGuard : span; }

}  // namespace

ParamBlockDesc2& FloatConnectionBlock() {
    static ParamBlockDesc2* desc = [] {
        using F = FloatConnection;
        auto* d = new ParamBlockDesc2(0, L"params", 0, ConnectionDesc(), 0, p_end);
        d->AddParam(F::pb_track_subanim, L"", TYPE_INT, 0, IDS_TRACK_SUBANIM);
        d->AddParam(F::pb_two_way, L"two_way", TYPE_BOOL, 0, IDS_TWO_WAY);
        d->AddParam(F::pb_clamp, L"clamp", TYPE_BOOL, 0, IDS_CLAMP);
        d->AddParam(F::pb_transform, L"transform", TYPE_INT, 0, IDS_TRANSFORM);
        d->SetRange(F::pb_transform, 0, 4);
        d->AddParam(F::pb_offset, L"offset", TYPE_FLOAT, P_ANIMATABLE, IDS_OFFSET);
        d->AddParam(F::pb_weight, L"weight", TYPE_PCNT_FRAC, P_ANIMATABLE, IDS_CONN_WEIGHT);
        d->SetDefault(F::pb_weight, 1.0f);
        d->AddParam(F::pb_input_min, L"input_min", TYPE_FLOAT, P_ANIMATABLE, IDS_INPUT_MIN);
        d->AddParam(F::pb_input_max, L"input_max", TYPE_FLOAT, P_ANIMATABLE, IDS_INPUT_MAX);
        d->SetDefault(F::pb_input_max, 100.0f);
        d->AddParam(F::pb_output_min, L"output_min", TYPE_FLOAT, P_ANIMATABLE, IDS_OUTPUT_MIN);
        d->AddParam(F::pb_output_max, L"output_max", TYPE_FLOAT, P_ANIMATABLE, IDS_OUTPUT_MAX);
        d->SetDefault(F::pb_output_max, 100.0f);
        d->AddParam(F::pb_curve_ctrl, L"curve_ctrl", TYPE_REFTARG, 0, IDS_CURVE_CTRL);
        d->AddParam(F::pb_use_time_offset, L"use_time_offset", TYPE_BOOL, 0, IDS_USE_TIME_OFFSET);
        d->AddParam(F::pb_time_offset, L"time_offset", TYPE_FLOAT, P_ANIMATABLE, IDS_TIME_OFFSET);
        return d;
    }();
    return *desc;
}

FPInterfaceDesc* IFloatConnection::GetDesc() { return &ConnectionInterface(); }

// ---- ConnectionBase ----

RefTargetHandle ConnectionBase::GetReference(int i) {
    if (i == kPBlockRef) return pblock;
    if (i == kTargetRef) return targetOwner;
    return nullptr;
}

void ConnectionBase::SetReference(int i, RefTargetHandle rtarg) {
    if (i == kPBlockRef) pblock = static_cast<IParamBlock2*>(rtarg);
    if (i == kTargetRef) targetOwner = rtarg;
}

Animatable* ConnectionBase::SubAnim(int i) { return i == 0 ? pblock : nullptr; }

MSTR ConnectionBase::SubAnimName(int i, bool) { return i == 0 ? MSTR(L"Parameters") : MSTR(); }

RefResult ConnectionBase::NotifyRefChanged(const Interval&, RefTargetHandle hTarget, PartID&, RefMessage, BOOL) {
    if (hTarget && hTarget == pblock) BlockChanged();
    return REF_SUCCEED;
}

int ConnectionBase::TargetIndex() { return pblock ? pblock->GetInt(pb_track_subanim) : 0; }

bool ConnectionBase::Writable() const {
    return !restoreGuard_ && !theHold.RestoreOrRedoing() && pblock && !GetLocked() && pblock->GetInt(pb_two_way);
}

bool ConnectionBase::UseTimeOffset(ParamID useId) { return pblock->GetInt(useId) != 0; }

TimeValue ConnectionBase::ShiftedTime(TimeValue t, ParamID useId, ParamID offsetId, Interval& valid) {
    if (!UseTimeOffset(useId)) return t;
    const float off = pblock->GetFloat(offsetId, t, valid);
    return t + static_cast<TimeValue>(std::lround(off));
}

bool ConnectionBase::WouldCycle(ReferenceTarget* candidate) { return candidate && DependsOn(candidate); }

int ConnectionBase::AssignTarget(ReferenceTarget* owner, int index, bool fromDialog) {
    if (!pblock || !owner || !TrackFits(owner, index, Kind())) return 0;
    if (WouldCycle(owner)) {
        if (fromDialog) ReportCycleInDialog();
        return -1;
    }
    theHold.Begin();
    ReplaceReference(kTargetRef, owner);
    pblock->SetValue(pb_track_subanim, GetCOREInterface()->GetTime(), index);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    theHold.Accept(UndoName());
    return 1;
}

bool ConnectionBase::PickTarget() {
    ConnectionFilter filter(Kind(), this);
    TrackViewPick pick;
    if (!GetCOREInterface()->TrackViewPickDlg(nullptr, &pick, &filter)) return false;
    ReferenceTarget* owner = nullptr;
    int index = 0;
    if (!PickToTarget(pick.client, pick.subNum, owner, index)) return false;
    return AssignTarget(owner, index, true) == 1;
}

MSTR ConnectionBase::TargetName() { return TargetTrackName(targetOwner, TargetIndex()); }

bool ConnectionBase::ScriptSetTarget(Value* target, ReferenceTarget* owner) {
    ReferenceTarget* o = nullptr;
    int index = 0;
    if (!ScriptValueToTarget(target, owner, o, index)) return false;
    const int r = AssignTarget(o, index, false);
    if (r < 0) ThrowCycleError(target);
    return r == 1;
}

Value* ConnectionBase::ScriptGetTarget(bool asController) {
    if (!targetOwner) return &undefined;
    if (asController) return MAXWrapper::intern(TargetController(targetOwner, TargetIndex()));
    const int sub = TargetSubNum(targetOwner, TargetIndex());
    if (sub < 0) return &undefined;
    return new ::Value(host::script::scene::SubAnimTrackValue(targetOwner, sub));
}

void ConnectionBase::CloneInto(ConnectionBase* to, RemapDir& remap) {
    to->ReplaceReference(kPBlockRef, remap.CloneRef(pblock));
    to->ReplaceReference(kTargetRef, targetOwner);
    std::copy_n(static_cast<const char*>(LastValueData()), LastValueSize(), static_cast<char*>(to->LastValueData()));
    remap.AddPostPatchProc(new FloatConnectionPostPatch(targetOwner, to), true);
    BaseClone(this, to, remap);
}

IOResult ConnectionBase::Save(ISave* isave) {
    ULONG nb = 0;
    isave->BeginChunk(kLastValueChunk);
    isave->Write(LastValueData(), LastValueSize(), &nb);
    isave->EndChunk();
    return IO_OK;
}

IOResult ConnectionBase::Load(ILoad* iload) {
    IOResult res;
    ULONG nb = 0;
    while ((res = iload->OpenChunk()) == IO_OK) {
        if (iload->CurChunkID() == kLastValueChunk) {
            if (iload->CurChunkLength() != LastValueSize()) {
                iload->CloseChunk();
                return IO_ERROR;
            }
            res = iload->Read(LastValueData(), LastValueSize(), &nb);
        }
        iload->CloseChunk();
        if (res != IO_OK) return res;
    }
    return IO_OK;
}

// ---- FloatConnection ----

FloatConnection::FloatConnection(BOOL loading) {
    if (loading) return;
    ReplaceReference(kPBlockRef, CreateParameterBlock2(&FloatConnectionBlock(), this));
    if (auto* cc = static_cast<ICurveCtl*>(CreateInstance(REF_TARGET_CLASS_ID, CURVE_CONTROL_CLASS_ID))) {
        cc->SetXRange(0.0f, 100.0f);
        cc->SetYRange(0.0f, 100.0f);
        cc->SetNumCurves(1);
        pblock->SetValue(pb_curve_ctrl, 0, static_cast<ReferenceTarget*>(cc));
    }
}

MSTR FloatConnection::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_FLOATCONNECTION) : nullptr;
    return MSTR(s ? s : L"Float Connection");
}

ReferenceTarget* FloatConnection::Clone(RemapDir& remap) {
    auto* c = new FloatConnection(TRUE);
    CloneInto(c, remap);
    return c;
}

BaseInterface* FloatConnection::GetInterface(Interface_ID id) {
    if (id == IFLOATCONNECTION_INTERFACE_ID) return static_cast<IFloatConnection*>(this);
    return ConnectionBase::GetInterface(id);
}

ICurveCtl* FloatConnection::CurveCtl() {
    return pblock ? dynamic_cast<ICurveCtl*>(pblock->GetReferenceTarget(pb_curve_ctrl)) : nullptr;
}

const FloatConnection::ParamCache& FloatConnection::Cache() {
    if (cache_.valid || !pblock) return cache_;
    ParamCache c;
    for (ParamID id : {pb_offset, pb_weight, pb_input_min, pb_input_max, pb_output_min, pb_output_max, pb_time_offset})
        if (pblock->GetController(id)) c.animated |= 1u << id;
    c.transform = pblock->GetInt(pb_transform);
    c.clamp = pblock->GetInt(pb_clamp);
    c.useTimeOffset = pblock->GetInt(pb_use_time_offset);
    c.index = pblock->GetInt(pb_track_subanim);
    c.offset = pblock->GetFloat(pb_offset);
    c.weight = pblock->GetFloat(pb_weight);
    c.inMin = pblock->GetFloat(pb_input_min);
    c.inMax = pblock->GetFloat(pb_input_max);
    c.outMin = pblock->GetFloat(pb_output_min);
    c.outMax = pblock->GetFloat(pb_output_max);
    c.timeOffset = pblock->GetFloat(pb_time_offset);
    c.valid = true;
    cache_ = c;
    return cache_;
}

bool FloatConnection::TargetValue(TimeValue t, Interval& valid, float& x) {
    if (!targetOwner || !pblock) {
        x = lastValue;
        return true;
    }
    const ParamCache& c = Cache();
    TimeValue ts = t;
    if (c.useTimeOffset) ts += static_cast<TimeValue>(std::lround(Param(pb_time_offset, c.timeOffset, t, valid)));
    if (ts == t) {
        if (!ReadTrack(targetOwner, c.index, t, x, valid)) return false;
    } else {
        // What holds around the shifted time is only known to hold at t itself.
        Interval shifted = FOREVER;
        if (!ReadTrack(targetOwner, c.index, ts, x, shifted)) return false;
        valid &= Interval(t, t);
    }
    lastValue = x;
    return true;
}

float FloatConnection::Remap(float x, TimeValue t, Interval& valid) {
    const ParamCache& c = Cache();
    switch (c.transform) {
        case kOffsetWeight:
            return x * Param(pb_weight, c.weight, t, valid) + Param(pb_offset, c.offset, t, valid);
        case kRange: {
            const float inMin = Param(pb_input_min, c.inMin, t, valid);
            const float inMax = Param(pb_input_max, c.inMax, t, valid);
            const float outMin = Param(pb_output_min, c.outMin, t, valid);
            const float outMax = Param(pb_output_max, c.outMax, t, valid);
            if (c.clamp) x = std::clamp(x, std::min(inMin, inMax), std::max(inMin, inMax));
            return (x - inMin) / SafeSpan(inMax - inMin) * (outMax - outMin) + outMin;
        }
        case kCurve: {
            ICurveCtl* cc = CurveCtl();
            ICurve* curve = cc ? cc->GetControlCurve(0) : nullptr;
            if (!curve || curve->GetNumPts() == 0) return std::nanf("");
            if (pblock->GetInt(pb_clamp)) {
                const float lo = curve->GetPoint(t, 0).p.x, hi = curve->GetPoint(t, curve->GetNumPts() - 1).p.x;
                x = std::clamp(x, std::min(lo, hi), std::max(lo, hi));
            }
            return curve->GetValue(t, x, valid);
        }
        default: return x;
    }
}

float FloatConnection::Unmap(float y, TimeValue t) {
    switch (pblock->GetInt(pb_transform)) {
        case kOffsetWeight: {
            float w = pblock->GetFloat(pb_weight, t);
            if (std::fabs(w) < kSpanGuard) w = kSpanGuard;
            return (y - pblock->GetFloat(pb_offset, t)) / w;
        }
        case kRange: {
            const float inMin = pblock->GetFloat(pb_input_min, t), inMax = pblock->GetFloat(pb_input_max, t);
            const float outMin = pblock->GetFloat(pb_output_min, t), outMax = pblock->GetFloat(pb_output_max, t);
            return (y - outMin) / SafeSpan(outMax - outMin) * (inMax - inMin) + inMin;
        }
        case kCurve: {
            ICurveCtl* cc = CurveCtl();
            ICurve* curve = cc ? cc->GetControlCurve(0) : nullptr;
            if (!curve || curve->GetNumPts() == 0) return y;
            float lo = curve->GetPoint(t, 0).p.x, hi = curve->GetPoint(t, curve->GetNumPts() - 1).p.x;
            const bool rising = curve->GetValue(t, hi) >= curve->GetValue(t, lo);
            for (int k = 0; k < kInverseBisections; ++k) {
                const float mid = 0.5f * (lo + hi);
                if ((curve->GetValue(t, mid) < y) == rising)
                    lo = mid;
                else
                    hi = mid;
            }
            return 0.5f * (lo + hi);
        }
        default: return y;
    }
}

void FloatConnection::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    if (!val) return;
    if (!pblock) {
        if (method == CTRL_ABSOLUTE) *static_cast<float*>(val) = lastValue;
        return;
    }
    float x = 0.0f;
    if (!TargetValue(t, valid, x)) return;
    const float out = Remap(x, t, valid);
    if (std::isnan(out)) return;  // a curve transform without a curve writes nothing
    if (method == CTRL_ABSOLUTE)
        *static_cast<float*>(val) = out;
    else
        *static_cast<float*>(val) += out;
}

void FloatConnection::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    if (!val || !Writable()) return;
    float y = *static_cast<float*>(val);
    if (method == CTRL_RELATIVE) {
        Interval iv = FOREVER;
        float own = 0.0f;
        GetValue(t, &own, iv, CTRL_ABSOLUTE);
        y += own;
    }
    const float x = Unmap(y, t);
    if (!targetOwner) {
        lastValue = x;
    } else {
        Interval iv = FOREVER;
        const TimeValue ts = ShiftedTime(t, pb_use_time_offset, pb_time_offset, iv);
        restoreGuard_ = 1;
        WriteTrack(targetOwner, TargetIndex(), ts, x, commit);
        restoreGuard_ = 0;
    }
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

}  // namespace kt
