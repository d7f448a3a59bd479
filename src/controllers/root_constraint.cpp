#include "controllers/root_constraint.h"

#include <algorithm>

#include "euler.h"
#include "hold.h"
#include "frame/class_registry.h"
#include "inode.h"
#include "maxapi.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

RegistryClassDesc* RootDesc() { return ClassRegistry::Find(CTRL_MATRIX3_CLASS_ID, ROOT_CONSTRAINT_CLASS_ID); }

ClassFactoryRegistrar rootRegistrar(CTRL_MATRIX3_CLASS_ID, ROOT_CONSTRAINT_CLASS_ID,
                                    [](BOOL loading) -> void* { return new RootConstraint(loading); });

// A new target is measured where it stands, so the root does not jump when it is set.
class RootTargetAccessor : public PBAccessor {
public:
    void Set(PB2Value& v, ReferenceMaker* owner, ParamID id, int, TimeValue t) override {
        auto* rc = dynamic_cast<RootConstraint*>(owner);
        auto* target = dynamic_cast<INode*>(v.r);
        if (!rc || !target || id != RootConstraint::rc_target || theHold.RestoreOrRedoing()) return;
        INode* node = rc->OwnerNode();
        const Matrix3 parent = node ? node->GetParentTM(t) : Matrix3();
        Interval iv = FOREVER;
        rc->pblock->SetValue(RootConstraint::rc_initial_target_tm, t, rc->TargetInSpace(target, t, parent, iv));
    }
};
RootTargetAccessor rootAccessor;

ParamBlockDesc2& RootBlock() {
    static ParamBlockDesc2* desc = [] {
        using R = RootConstraint;
        auto* d = new ParamBlockDesc2(0, L"params", 0, RootDesc(), 0, p_end);
        d->AddParam(R::rc_target, L"target", TYPE_INODE, 0, IDS_TARGET);
        d->SetValidator(R::rc_target, &CycleValidator());
        d->SetAccessor(R::rc_target, &rootAccessor);
        d->AddParam(R::rc_initial_target_offset, L"initial_target_offset", TYPE_BOOL, 0, IDS_INITIAL_TARGET_OFFSET);
        d->SetDefault(R::rc_initial_target_offset, 1);
        d->AddParam(R::rc_initial_target_tm, L"initial_target_tm", TYPE_MATRIX3, 0, IDS_INITIAL_TARGET_TM);
        d->AddParam(R::rc_vertical_axis, L"vertical_axis", TYPE_INT, 0, IDS_VERTICAL_AXIS);
        d->SetDefault(R::rc_vertical_axis, 2);
        d->SetRange(R::rc_vertical_axis, 0, 2);
        d->AddParam(R::rc_local_world, L"local_world", TYPE_INT, 0, IDS_LOCAL_WORLD);
        d->SetDefault(R::rc_local_world, 0);
        d->SetRange(R::rc_local_world, 0, 1);
        auto pct = [&](ParamID id, const MCHAR* name, int label) {
            d->AddParam(id, name, TYPE_PCNT_FRAC, P_ANIMATABLE, label);
            d->SetDefault(id, 1.0f);
            d->SetRange(id, 0.0f, 100.0f);  // percent types take their range in percent
        };
        pct(R::rc_follow_horizontal, L"follow_horizontal", IDS_FOLLOW_HORIZONTAL);
        pct(R::rc_follow_vertical, L"follow_vertical", IDS_FOLLOW_VERTICAL);
        pct(R::rc_follow_turning, L"follow_turning", IDS_FOLLOW_TURNING);
        auto dist = [&](ParamID id, const MCHAR* name, int label) {
            d->AddParam(id, name, TYPE_WORLD, P_ANIMATABLE, label);
            d->SetDefault(id, 0.0f);
            d->SetRange(id, -1000000.0f, 1000000.0f);
        };
        dist(R::rc_vertical_offset, L"vertical_offset", IDS_HEIGHT_OFFSET);
        dist(R::rc_ground_offset, L"ground_offset", IDS_GROUND_OFFSET);
        d->AddParam(R::rc_use_ground, L"use_ground", TYPE_BOOL, P_ANIMATABLE, IDS_USE_GROUND);
        d->SetDefault(R::rc_use_ground, 1);
        return d;
    }();
    return *desc;
}
const bool rootBlockReady = (RootBlock(), true);

}  // namespace

RootConstraint::RootConstraint(BOOL loading) : ConstraintBase(true) {
    if (!loading) MakeRefs(RootBlock());
}

MSTR RootConstraint::ClassName(bool) const {
    const MCHAR* s = GetString(IDS_CLASS_ROOTCONSTRAINT);
    return MSTR(s ? s : L"Root Constraint");
}

ReferenceTarget* RootConstraint::Clone(RemapDir& remap) { return CloneInto(new RootConstraint(TRUE), remap); }

Matrix3 RootConstraint::TargetInSpace(INode* target, TimeValue t, const Matrix3& parent, Interval& valid) {
    if (!target) return Matrix3();
    const Matrix3 tm = target->GetNodeTM(t, &valid);
    return pblock->GetInt(rc_local_world, t) == 0 ? tm * Inverse(parent) : tm;
}

Matrix3 RootConstraint::Space(TimeValue t, const Matrix3& parent, Interval& valid) {
    const bool useGround = pblock->GetInt(rc_use_ground, t, valid) != 0;
    const float floorHeight = useGround ? pblock->GetFloat(rc_ground_offset, t, valid) : 0.0f;
    Matrix3 val = pblock->GetInt(rc_local_world, t) == 1 ? Matrix3() : parent;
    int v = pblock->GetInt(rc_vertical_axis, t);
    if (v < 0 || v > 2) v = 2;
    INode* target = pblock->GetINode(rc_target, t);
    Matrix3 tm;
    if (target) {
        tm = TargetInSpace(target, t, parent, valid);
        if (pblock->GetInt(rc_initial_target_offset, t)) {
            Matrix3 initial = pblock->GetMatrix3(rc_initial_target_tm, t);
            Point3 height(0.0f, 0.0f, 0.0f);
            height[v] = -initial.GetTrans()[v];
            initial.NoTrans();
            tm = Inverse(initial) * tm;
            tm.Translate(height);
        }
    }
    const float h0 = tm.GetTrans()[v] + pblock->GetFloat(rc_vertical_offset, t, valid);
    const float fv = pblock->GetFloat(rc_follow_vertical, t, valid);
    float h = floorHeight + (h0 - floorHeight) * fv;
    if (useGround) h = std::max(floorHeight, h);
    const float fh = pblock->GetFloat(rc_follow_horizontal, t, valid);
    Point3 move = tm.GetTrans() * fh;
    move[v] = h;
    float ang[3] = {0.0f, 0.0f, 0.0f};
    MatrixToEuler(tm, ang, EULERTYPE_XYZ);
    const float turn = ang[v] * pblock->GetFloat(rc_follow_turning, t, valid);
    val.PreTranslate(move);
    switch (v) {
        case 0: val.PreRotateX(turn); break;
        case 1: val.PreRotateY(turn); break;
        default: val.PreRotateZ(turn); break;
    }
    return val;
}

void RootConstraint::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    (void)method;
    if (!val || !pblock) return;
    Matrix3& m = *static_cast<Matrix3*>(val);
    m = Space(t, m, valid);
    if (inner_) inner_->GetValue(t, &m, valid, CTRL_RELATIVE);
}

void RootConstraint::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    (void)method;
    if (!val || !pblock || !inner_ || GetLocked()) return;
    SetXFormPacket& pk = *static_cast<SetXFormPacket*>(val);
    Interval iv = FOREVER;
    pk.tmParent = Space(t, pk.tmParent, iv);
    inner_->SetValue(t, &pk, commit, CTRL_RELATIVE);
}

}  // namespace kt
