#include "controllers/connection_target.h"

#include <cmath>

#include "maxapi.h"
#include "maxscript.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "script/scene_values.h"

namespace kt {
namespace {

SClass_ID SuperOf(TrackKind kind) {
    switch (kind) {
        case TrackKind::Float: return CTRL_FLOAT_CLASS_ID;
        case TrackKind::Position: return CTRL_POSITION_CLASS_ID;
        case TrackKind::Rotation: return CTRL_ROTATION_CLASS_ID;
        case TrackKind::Scale: return CTRL_SCALE_CLASS_ID;
    }
    return 0;
}

IParamBlock2* AsBlock(ReferenceTarget* owner) {
    return owner && owner->SuperClassID() == PARAMETER_BLOCK2_CLASS_ID ? static_cast<IParamBlock2*>(owner) : nullptr;
}

// The block entry behind a sub-anim placeholder.
bool PlaceholderEntry(Animatable* a, IParamBlock2*& pb, ParamID& id) {
    if (!a || a->SuperClassID() != CTRL_USERTYPE_CLASS_ID) return false;
    auto* ph = static_cast<host::ParamPlaceholder*>(a);
    pb = ph->GetParamBlock();
    id = pb ? ph->GetParamID() : -1;
    return pb != nullptr && id >= 0;
}

// The block parameter (block, id) a target stands for; false for controller targets.
bool EntryOf(ReferenceTarget* owner, int index, IParamBlock2*& pb, ParamID& id) {
    if ((pb = AsBlock(owner))) {
        id = static_cast<ParamID>(index);
        return pb->GetDesc() && pb->GetDesc()->IDtoIndex(id) >= 0;
    }
    if (!owner || index < 0 || index >= owner->NumSubs()) return false;
    return PlaceholderEntry(owner->SubAnim(index), pb, id);
}

Animatable* SubOf(ReferenceTarget* owner, int index) {
    if (!owner || index < 0 || index >= owner->NumSubs()) return nullptr;
    return owner->SubAnim(index);
}

int ParamType(IParamBlock2* pb, ParamID id) { return pb->GetDesc()->GetParamDef(id).type; }

bool IsPointParam(int type) { return type == TYPE_POINT3 || type == TYPE_RGBA; }

}  // namespace

bool IsFloatParamType(int type) { return type >= 0 && type < 32 && ((kFloatParamMask >> type) & 1u); }
bool IsIntParamType(int type) { return type >= 0 && type < 32 && ((kIntParamMask >> type) & 1u); }

bool ReadTrack(ReferenceTarget* owner, int index, TimeValue t, float& out, Interval& valid) {
    IParamBlock2* pb = AsBlock(owner);
    if (!pb) {
        Animatable* s = SubOf(owner, index);
        if (!s) return false;
        if (s->SuperClassID() == CTRL_FLOAT_CLASS_ID) {
            static_cast<Control*>(s)->GetValue(t, &out, valid, CTRL_ABSOLUTE);
            return true;
        }
        ParamID id;
        if (!PlaceholderEntry(s, pb, id)) return false;
        index = id;
    }
    ParamBlockDesc2* d = pb->GetDesc();
    if (!d || d->IDtoIndex(static_cast<ParamID>(index)) < 0) return false;
    const int type = ParamType(pb, static_cast<ParamID>(index));
    if (IsFloatParamType(type)) {
        out = pb->GetFloat(static_cast<ParamID>(index), t, valid);
        return true;
    }
    if (IsIntParamType(type)) {
        out = static_cast<float>(pb->GetInt(static_cast<ParamID>(index), t, valid));
        return true;
    }
    return false;
}

bool ReadTrack(ReferenceTarget* owner, int index, TimeValue t, Point3& out, Interval& valid, TrackKind kind) {
    IParamBlock2* pb = nullptr;
    ParamID id = -1;
    if (EntryOf(owner, index, pb, id)) {
        const int type = ParamType(pb, id);
        if (IsPointParam(type)) {
            out = pb->GetPoint3(id, t, valid);
            return true;
        }
        float f = 0.0f;
        if (!ReadTrack(pb, id, t, f, valid)) return false;
        out = kind == TrackKind::Scale ? Point3(f, 1.0f, 1.0f) : Point3(f, 0.0f, 0.0f);
        return true;
    }
    Animatable* s = SubOf(owner, index);
    if (!s) return false;
    const SClass_ID sc = s->SuperClassID();
    auto* c = static_cast<Control*>(s);
    if (sc == CTRL_SCALE_CLASS_ID) {
        ScaleValue v;
        c->GetValue(t, &v, valid, CTRL_ABSOLUTE);
        out = v.s;
        return true;
    }
    if (sc == CTRL_POSITION_CLASS_ID || sc == CTRL_POINT3_CLASS_ID) {
        c->GetValue(t, &out, valid, CTRL_ABSOLUTE);
        return true;
    }
    if (sc == CTRL_FLOAT_CLASS_ID) {
        float f = 0.0f;
        c->GetValue(t, &f, valid, CTRL_ABSOLUTE);
        out = kind == TrackKind::Scale ? Point3(f, 1.0f, 1.0f) : Point3(f, 0.0f, 0.0f);
        return true;
    }
    return false;
}

bool ReadTrack(ReferenceTarget* owner, int index, TimeValue t, Quat& out, Interval& valid) {
    Animatable* s = AsBlock(owner) ? nullptr : SubOf(owner, index);
    if (!s || s->SuperClassID() != CTRL_ROTATION_CLASS_ID) return false;
    static_cast<Control*>(s)->GetValue(t, &out, valid, CTRL_ABSOLUTE);
    return true;
}

bool WriteTrack(ReferenceTarget* owner, int index, TimeValue t, float v, int commit) {
    IParamBlock2* pb = nullptr;
    ParamID id = -1;
    if (EntryOf(owner, index, pb, id)) {
        const int type = ParamType(pb, id);
        if (IsFloatParamType(type)) return pb->SetValue(id, t, v) != FALSE;
        if (IsIntParamType(type)) return pb->SetValue(id, t, static_cast<int>(std::lround(v))) != FALSE;
        return false;
    }
    Animatable* s = SubOf(owner, index);
    if (!s || s->SuperClassID() != CTRL_FLOAT_CLASS_ID) return false;
    static_cast<Control*>(s)->SetValue(t, &v, commit, CTRL_ABSOLUTE);
    return true;
}

bool WriteTrack(ReferenceTarget* owner, int index, TimeValue t, const Point3& v, int commit, TrackKind kind) {
    IParamBlock2* pb = nullptr;
    ParamID id = -1;
    if (EntryOf(owner, index, pb, id)) {
        if (IsPointParam(ParamType(pb, id))) return pb->SetValue(id, t, v) != FALSE;
        return WriteTrack(pb, id, t, v.x, commit);
    }
    Animatable* s = SubOf(owner, index);
    if (!s) return false;
    auto* c = static_cast<Control*>(s);
    switch (s->SuperClassID()) {
        case CTRL_SCALE_CLASS_ID: {
            ScaleValue sv(v);
            c->SetValue(t, &sv, commit, CTRL_ABSOLUTE);
            return true;
        }
        case CTRL_POSITION_CLASS_ID:
        case CTRL_POINT3_CLASS_ID: {
            Point3 p = v;
            c->SetValue(t, &p, commit, CTRL_ABSOLUTE);
            return true;
        }
        case CTRL_FLOAT_CLASS_ID: {
            float f = v.x;
            c->SetValue(t, &f, commit, CTRL_ABSOLUTE);
            return true;
        }
    }
    (void)kind;
    return false;
}

bool WriteTrack(ReferenceTarget* owner, int index, TimeValue t, const Quat& v, int commit) {
    Animatable* s = AsBlock(owner) ? nullptr : SubOf(owner, index);
    if (!s || s->SuperClassID() != CTRL_ROTATION_CLASS_ID) return false;
    Quat q = v;
    static_cast<Control*>(s)->SetValue(t, &q, commit, CTRL_ABSOLUTE);
    return true;
}

bool TrackFits(ReferenceTarget* owner, int index, TrackKind kind) {
    IParamBlock2* pb = nullptr;
    ParamID id = -1;
    if (EntryOf(owner, index, pb, id)) {
        const int type = ParamType(pb, id);
        switch (kind) {
            case TrackKind::Float: return IsFloatParamType(type) || IsIntParamType(type);
            case TrackKind::Position:
            case TrackKind::Scale: return IsPointParam(type);
            case TrackKind::Rotation: return false;
        }
    }
    Animatable* s = SubOf(owner, index);
    return s && s->SuperClassID() == SuperOf(kind);
}

bool PickToTarget(ReferenceTarget* client, int subNum, ReferenceTarget*& owner, int& index) {
    if (!client || subNum < 0 || subNum >= client->NumSubs()) return false;
    if (IParamBlock2* pb = AsBlock(client)) {
        int tab = 0;
        ParamID id = pb->AnimNumToParamID(subNum, tab);
        if (id < 0) return false;
        owner = pb;
        index = id;
        return true;
    }
    owner = client;
    index = subNum;
    return true;
}

namespace {

// The sub-anim number of `anim` under `parent`, or -1.
int SubNumOf(ReferenceTarget* parent, Animatable* anim) {
    if (!parent || !anim) return -1;
    for (int i = 0, n = parent->NumSubs(); i < n; ++i)
        if (parent->SubAnim(i) == anim) return i;
    return -1;
}

// A parameter by script name on a block, or on any block an object holds.
bool ParamByName(ReferenceTarget* holder, const MCHAR* name, ReferenceTarget*& owner, int& index) {
    if (!holder || !name) return false;
    auto tryBlock = [&](IParamBlock2* pb) {
        if (!pb || !pb->GetDesc()) return false;
        const int i = pb->GetDesc()->NameToIndex(name);
        if (i < 0) return false;
        owner = pb;
        index = pb->GetDesc()->IndextoID(i);
        return true;
    };
    if (tryBlock(AsBlock(holder))) return true;
    for (int r = 0, n = holder->NumRefs(); r < n; ++r)
        if (tryBlock(AsBlock(holder->GetReference(r)))) return true;
    return false;
}

}  // namespace

bool ScriptValueToTarget(Value* target, ReferenceTarget* ownerHint, ReferenceTarget*& owner, int& index) {
    if (!target || is_undefined(target)) return false;
    host::script::Value sv = target->ScriptValue();
    Animatable* parent = nullptr;
    int sub = -1;
    if (host::script::scene::ToSubAnim(sv, parent, sub))
        return PickToTarget(dynamic_cast<ReferenceTarget*>(parent), sub, owner, index);
    if (is_string(target) || is_name(target)) return ParamByName(ownerHint, target->to_string(), owner, index);
    Animatable* anim = host::script::scene::ToAnim(sv);
    if (!anim) return false;
    if (ownerHint) {
        if (int i = SubNumOf(ownerHint, anim); i >= 0) return PickToTarget(ownerHint, i, owner, index);
    }
    // A controller knows no owner of its own: the first dependent that shows it as a track.
    auto* rt = dynamic_cast<ReferenceTarget*>(anim);
    if (!rt) return false;
    for (ReferenceMaker* m : rt->Dependents()) {
        auto* p = dynamic_cast<ReferenceTarget*>(m);
        if (int i = SubNumOf(p, anim); i >= 0) return PickToTarget(p, i, owner, index);
    }
    return false;
}

Control* TargetController(ReferenceTarget* owner, int index) {
    if (IParamBlock2* pb = AsBlock(owner)) return pb->GetController(static_cast<ParamID>(index));
    Animatable* s = SubOf(owner, index);
    return s && s->SuperClassID() != CTRL_USERTYPE_CLASS_ID ? dynamic_cast<Control*>(s) : nullptr;
}

int TargetSubNum(ReferenceTarget* owner, int index) {
    if (IParamBlock2* pb = AsBlock(owner)) return pb->GetAnimNum(static_cast<ParamID>(index));
    return owner && index >= 0 && index < owner->NumSubs() ? index : -1;
}

MSTR TargetTrackName(ReferenceTarget* owner, int index) {
    if (!owner) return MSTR();
    MSTR track;
    if (IParamBlock2* pb = AsBlock(owner)) {
        track = pb->GetDesc() ? pb->GetDesc()->GetLocalName(static_cast<ParamID>(index)) : MSTR();
    } else if (index >= 0 && index < owner->NumSubs()) {
        track = owner->SubAnimName(index);
    }
    MSTR holder;
    owner->GetClassName(holder);
    return holder + MSTR(L" / ") + track;
}

BOOL ConnectionFilter::proc(Animatable* anim, Animatable* client, int subNumber) {
    (void)subNumber;
    if (!anim || anim == self_ || client == self_) return FALSE;
    const SClass_ID sc = anim->SuperClassID();
    return sc == SuperOf(kind_) || sc == CTRL_USERTYPE_CLASS_ID ? TRUE : FALSE;
}

void ReportCycleInDialog() {
    // The caption keeps the quotation marks it has in the string table.
    const MCHAR* s = GetString(IDS_CIRCULAR_DEPENDENCY);
    MSTR text(s ? s : L"Circular Dependency");
    s = GetString(IDS_CANT_ASSIGN_CONTROLLER);
    MSTR caption(s ? s : L"\"Can't Assign Controller\"");
    MessageBox(nullptr, text.data(), caption.data(), MB_ICONWARNING | 0x1000);
}

void ThrowCycleError(Value* target) {
    throw RuntimeError(L"AddTarget - setting reference would create circular dependency: ", target);
}

}  // namespace kt
