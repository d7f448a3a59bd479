#include "controllers/stretch_constraint.h"

#include <algorithm>
#include <cmath>

#include "controllers/axis_tables.h"
#include "decomp.h"
#include "frame/class_registry.h"
#include "hold.h"
#include "inode.h"
#include "maxapi.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "solvers/ikfk_math.h"

namespace kt {
namespace {

constexpr USHORT kParentChunk = 0x0100;
constexpr USHORT kDistChunk = 0x0110;

RegistryClassDesc* StretchDesc() { return ClassRegistry::Find(CTRL_MATRIX3_CLASS_ID, STRETCH_CONSTRAINT_CLASS_ID); }

ClassFactoryRegistrar stretchRegistrar(CTRL_MATRIX3_CLASS_ID, STRETCH_CONSTRAINT_CLASS_ID,
                                       [](BOOL loading) -> void* { return new StretchConstraint(loading); });

ParamBlockDesc2& StretchBlock() {
    static ParamBlockDesc2* desc = [] {
        using S = StretchConstraint;
        auto* d = new ParamBlockDesc2(0, L"params", 0, StretchDesc(), 0, p_end);
        auto node = [&](ParamID id, const MCHAR* name, int label) {
            d->AddParam(id, name, TYPE_INODE, 0, label);
            d->SetValidator(id, &CycleValidator());
        };
        auto flag = [&](ParamID id, const MCHAR* name, int def, int label) {
            d->AddParam(id, name, TYPE_BOOL, 0, label);
            d->SetDefault(id, def);
        };
        auto choice = [&](ParamID id, const MCHAR* name, int def, int hi, int label) {
            d->AddParam(id, name, TYPE_INT, 0, label);
            d->SetDefault(id, def);
            d->SetRange(id, 0, hi);
        };
        auto number = [&](ParamID id, const MCHAR* name, ParamType2 type, int flags, float def, float lo, float hi,
                          int label) {
            d->AddParam(id, name, type, flags, label);
            d->SetDefault(id, def);
            d->SetRange(id, lo, hi);
        };
        node(S::sc_start, L"start", IDS_START);
        flag(S::sc_use_start, L"use_start", 1, IDS_USE_START);
        node(S::sc_end, L"end", IDS_END);
        flag(S::sc_use_end, L"use_end", 1, IDS_USE_END);
        choice(S::sc_aim_axis, L"aim_axis", 0, 2, IDS_AIM_AXIS);
        flag(S::sc_aim_axis_flip, L"aim_axis_flip", 0, IDS_AIM_AXIS_FLIP);
        choice(S::sc_align_axis, L"align_axis", 0, 2, IDS_UP_AXIS);
        flag(S::sc_align_axis_flip, L"align_axis_flip", 0, IDS_UP_AXIS_FLIP);
        choice(S::sc_align, L"align", 2, 3, IDS_ALIGN);
        choice(S::sc_inherit_scale, L"inherit_scale", 2, 3, IDS_INHERIT_SCALE);
        flag(S::sc_stretch_scale_active, L"stretch_scale_active", 1, IDS_STRETCH_SCALE_ACTIVE);
        number(S::sc_stretch, L"stretch", TYPE_PCNT_FRAC, P_ANIMATABLE, 1.0f, -1000000.0f, 1000000.0f, IDS_STRETCH);
        number(S::sc_squash, L"squash", TYPE_PCNT_FRAC, P_ANIMATABLE, 1.0f, -1000000.0f, 1000000.0f, IDS_SQUASH);
        number(S::sc_length, L"length", TYPE_WORLD, P_ANIMATABLE, 20.0f, 0.0f, 1000000.0f, IDS_LENGTH);
        number(S::sc_viewline_length, L"viewline_length", TYPE_WORLD, 0, 100.0f, 0.0f, 1e30f, IDS_VIEWLINE_LENGTH);
        flag(S::sc_viewline_length_abs, L"viewline_length_abs", 1, IDS_UP_AXIS_FLIP);
        return d;
    }();
    return *desc;
}
const bool stretchBlockReady = (StretchBlock(), true);

FPInterfaceDesc& StretchInterface() {
    static FPInterfaceDesc* desc = [] {
        auto* d = new FPInterfaceDesc(STRETCH_CONSTRAINT_INTERFACE, L"StretchConstraint", 0, StretchDesc(), FP_MIXIN,
                                      p_end);
        d->AppendFunction(IStretchConstraint::ResetLength_id, L"ResetLength", TYPE_VOID);
        return d;
    }();
    return *desc;
}
const bool stretchInterfaceReady = (StretchInterface(), true);

}  // namespace

FPInterfaceDesc* IStretchConstraint::GetDesc() { return &StretchInterface(); }

StretchConstraint::StretchConstraint(BOOL loading) : ConstraintBase(false) {
    if (!loading) MakeRefs(StretchBlock());
}

MSTR StretchConstraint::ClassName(bool) const {
    const MCHAR* s = GetString(IDS_CLASS_STRETCHCONSTRAINT);
    return MSTR(s ? s : L"Stretch Constraint");
}

ReferenceTarget* StretchConstraint::Clone(RemapDir& remap) { return CloneInto(new StretchConstraint(TRUE), remap); }

BaseInterface* StretchConstraint::GetInterface(Interface_ID id) {
    if (id == STRETCH_CONSTRAINT_INTERFACE) return static_cast<IStretchConstraint*>(this);
    return Control::GetInterface(id);
}

void StretchConstraint::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    if (!val || !pblock) return;
    Matrix3& out = *static_cast<Matrix3*>(val);
    parentTM = method == CTRL_RELATIVE ? out : Matrix3();
    INode* start = pblock->GetInt(sc_use_start, t) ? pblock->GetINode(sc_start, t) : nullptr;
    INode* end = pblock->GetInt(sc_use_end, t) ? pblock->GetINode(sc_end, t) : nullptr;
    const Matrix3 startTM = start ? start->GetNodeTM(t, &valid) : parentTM;
    const Matrix3 endTM = end ? end->GetNodeTM(t, &valid) : Matrix3();
    const int align = pblock->GetInt(sc_align, t);
    Matrix3 w;
    switch (align) {
        case 1: w = parentTM; break;
        case 2: w = startTM; break;
        case 3: w = endTM; break;
        default: break;
    }
    const int inherit = pblock->GetInt(sc_inherit_scale, t);
    if (inherit != align) {
        ScaleValue sv;
        if (inherit == 1 || (inherit == 2 && start) || (inherit == 3 && end)) {
            AffineParts ap;
            decomp_affine(inherit == 1 ? parentTM : (inherit == 2 ? startTM : endTM), &ap);
            sv = host::StretchOf(ap);
        }
        ApplyScaling(w, sv);
    }
    if (align != 2) w.SetTrans(startTM.GetTrans());
    if (end) {
        const int aim = pblock->GetInt(sc_aim_axis, t);
        w = AxisMatrix(pblock->GetInt(sc_align_axis, t), pblock->GetInt(sc_align_axis_flip, t) != 0) * w;
        const Point3 d = endTM.GetTrans() * Inverse(w);
        const Quat q = AimRotation(aim, pblock->GetInt(sc_aim_axis_flip, t) != 0) * QuatFromX(d);
        w = RotMatrix(q) * w;
        if (pblock->GetInt(sc_stretch_scale_active, t)) {
            dist = std::max(d.Length(), 0.001f);
            const float len = std::max(pblock->GetFloat(sc_length, t, valid), 0.001f);
            const float a = std::pow(dist / len, pblock->GetFloat(sc_stretch, t, valid));
            const float b = std::pow(len / dist, pblock->GetFloat(sc_squash, t, valid));
            Point3 s(b, b, b);
            s[aim >= 0 && aim <= 2 ? aim : 0] = a;
            w = ScaleMatrix(s) * w;
        }
    }
    out = w;
}

void StretchConstraint::ResetLength() {
    if (!pblock) return;
    const TimeValue now = GetCOREInterface()->GetTime();
    // Measure now: the last evaluation may have been at another time or never.
    INode* node = OwnerNode();
    Matrix3 m = node ? node->GetParentTM(now) : Matrix3();
    Interval iv = FOREVER;
    GetValue(now, &m, iv, CTRL_RELATIVE);
    theHold.Begin();
    pblock->SetValue(sc_length, now, dist);
    const MCHAR* name = GetString(IDS_CONSTRAINT_CHANGE);
    theHold.Accept(name ? name : L"Constraint Change");
}

void StretchConstraint::CopyStateTo(ConstraintBase* c) {
    auto* s = static_cast<StretchConstraint*>(c);
    s->parentTM = parentTM;
    s->dist = dist;
}

void StretchConstraint::SaveState(ISave* isave) {
    WriteChunk(isave, kParentChunk, parentTM);
    WriteChunk(isave, kDistChunk, dist);
}

IOResult StretchConstraint::LoadState(ILoad* iload, USHORT id) {
    if (id == kParentChunk) return ReadChunk(iload, parentTM);
    if (id == kDistChunk) return ReadChunk(iload, dist);
    return IO_OK;
}

int StretchConstraint::Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) {
    (void)flags;
    if (!pblock || !inode) return 0;
    return DrawViewline(vpt, inode->GetNodeTM(t), pblock->GetInt(sc_aim_axis, t), pblock->GetInt(sc_aim_axis_flip, t) != 0,
                        pblock->GetFloat(sc_viewline_length, t), pblock->GetInt(sc_viewline_length_abs, t) != 0,
                        pblock->GetInt(sc_use_end, t) ? pblock->GetINode(sc_end, t) : nullptr, t);
}

}  // namespace kt
