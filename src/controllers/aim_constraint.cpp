#include "controllers/aim_constraint.h"

#include "controllers/axis_tables.h"
#include "frame/class_registry.h"
#include "inode.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "solvers/ikfk_math.h"

namespace kt {
namespace {

constexpr USHORT kParentChunk = 0x0100;

RegistryClassDesc* AimDesc() { return ClassRegistry::Find(CTRL_ROTATION_CLASS_ID, AIM_CONSTRAINT_CLASS_ID); }

ClassFactoryRegistrar aimRegistrar(CTRL_ROTATION_CLASS_ID, AIM_CONSTRAINT_CLASS_ID,
                                   [](BOOL loading) -> void* { return new AimConstraint(loading); });

ParamBlockDesc2& AimBlock() {
    static ParamBlockDesc2* desc = [] {
        using A = AimConstraint;
        auto* d = new ParamBlockDesc2(0, L"params", 0, AimDesc(), 0, p_end);
        d->AddParam(A::ac_target, L"target", TYPE_INODE, 0, IDS_TARGET_NODE);
        d->SetValidator(A::ac_target, &CycleValidator());
        auto flag = [&](ParamID id, const MCHAR* name, int def, int label) {
            d->AddParam(id, name, TYPE_BOOL, 0, label);
            d->SetDefault(id, def);
        };
        auto axis = [&](ParamID id, const MCHAR* name, int def, int hi, int label) {
            d->AddParam(id, name, TYPE_INT, 0, label);
            d->SetDefault(id, def);
            d->SetRange(id, 0, hi);
        };
        flag(A::ac_use_target, L"use_target", 1, IDS_USE_TARGET);
        axis(A::ac_aim_axis, L"aim_axis", 0, 2, IDS_AIM_AXIS);
        flag(A::ac_aim_axis_flip, L"aim_axis_flip", 0, IDS_AIM_AXIS_FLIP);
        axis(A::ac_align_axis, L"align_axis", 0, 2, IDS_UP_AXIS);
        flag(A::ac_align_axis_flip, L"align_axis_flip", 0, IDS_UP_AXIS_FLIP);
        axis(A::ac_align, L"align", 1, 2, IDS_ALIGN_TYPE);
        d->AddParam(A::ac_align_node, L"align_node", TYPE_INODE, 0, IDS_ALIGN_NODE);
        d->SetValidator(A::ac_align_node, &CycleValidator());
        d->AddParam(A::ac_viewline_length, L"viewline_length", TYPE_WORLD, 0, IDS_VIEWLINE_LENGTH);
        d->SetDefault(A::ac_viewline_length, 100.0f);
        d->SetRange(A::ac_viewline_length, 0.0f, 1e30f);
        flag(A::ac_viewline_length_abs, L"viewline_length_abs", 1, IDS_UP_AXIS_FLIP);
        return d;
    }();
    return *desc;
}
const bool aimBlockReady = (AimBlock(), true);

}  // namespace

AimConstraint::AimConstraint(BOOL loading) : ConstraintBase(false) {
    if (!loading) MakeRefs(AimBlock());
}

MSTR AimConstraint::ClassName(bool) const {
    const MCHAR* s = GetString(IDS_CLASS_AIMCONSTRAINT);
    return MSTR(s ? s : L"Aim Constraint");
}

ReferenceTarget* AimConstraint::Clone(RemapDir& remap) { return CloneInto(new AimConstraint(TRUE), remap); }

Matrix3 AimConstraint::Frame(TimeValue t, const Matrix3& parent, Interval& valid) {
    const int align = pblock->GetInt(ac_align, t);
    INode* alignNode = pblock->GetINode(ac_align_node, t);
    if (align == 1 || (align == 2 && !alignNode)) return parent;
    const Matrix3 r = align == 2 ? alignNode->GetNodeTM(t, &valid) * Inverse(parent) : Inverse(parent);
    Matrix3 f = RotMatrix(OrthoQuat(r)) * parent;
    f.SetTrans(parent.GetTrans());
    return f;
}

void AimConstraint::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    if (!val || !pblock) return;
    if (method == CTRL_RELATIVE) parentTM = *static_cast<Matrix3*>(val);
    Matrix3 f = Frame(t, parentTM, valid);
    Quat result;
    INode* target = pblock->GetINode(ac_target, t);
    if (target && pblock->GetInt(ac_use_target, t)) {
        f = AxisMatrix(pblock->GetInt(ac_align_axis, t), pblock->GetInt(ac_align_axis_flip, t) != 0) * f;
        const Point3 local = target->GetNodeTM(t, &valid).GetTrans() * Inverse(f);
        result = AimRotation(pblock->GetInt(ac_aim_axis, t), pblock->GetInt(ac_aim_axis_flip, t) != 0) *
                 QuatFromX(local);
    }
    if (method == CTRL_ABSOLUTE)
        *static_cast<Quat*>(val) = result;
    else
        *static_cast<Matrix3*>(val) = RotMatrix(result) * f;
}

void AimConstraint::SaveState(ISave* isave) { WriteChunk(isave, kParentChunk, parentTM); }

IOResult AimConstraint::LoadState(ILoad* iload, USHORT id) {
    return id == kParentChunk ? ReadChunk(iload, parentTM) : IO_OK;
}

int AimConstraint::Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) {
    (void)flags;
    if (!pblock || !inode) return 0;
    return DrawViewline(vpt, inode->GetNodeTM(t), pblock->GetInt(ac_aim_axis, t), pblock->GetInt(ac_aim_axis_flip, t) != 0,
                        pblock->GetFloat(ac_viewline_length, t), pblock->GetInt(ac_viewline_length_abs, t) != 0,
                        pblock->GetInt(ac_use_target, t) ? pblock->GetINode(ac_target, t) : nullptr, t);
}

}  // namespace kt
