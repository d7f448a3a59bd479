#include "controllers/constraint_targets.h"

#include "gfx.h"
#include "hold.h"
#include "inode.h"
#include "maxapi.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "viewexp.h"

namespace kt {

FPInterfaceDesc* MakeTargetListInterface(Interface_ID id, ClassDesc2* cd) {
    auto* d = new FPInterfaceDesc(id, L"constraints", 0, cd, FP_MIXIN, p_end);
    d->AppendFunction(ITargetListConstraint::getNumTargets_id, L"getNumTargets", TYPE_INT);
    d->AppendFunction(ITargetListConstraint::getNode_id, L"getNode", TYPE_INODE).AddParam(L"nodeNumber", TYPE_INDEX);
    d->AppendFunction(ITargetListConstraint::getWeight_id, L"getWeight", TYPE_FLOAT)
        .AddParam(L"targetNumber", TYPE_INDEX);
    {
        FPFunctionDef& f = d->AppendFunction(ITargetListConstraint::setWeight_id, L"setWeight", TYPE_bool);
        f.AddParam(L"targetNumber", TYPE_INDEX);
        f.AddParam(L"weight", TYPE_FLOAT);
    }
    {
        FPFunctionDef& f = d->AppendFunction(ITargetListConstraint::appendTarget_id, L"appendTarget", TYPE_bool);
        f.AddParam(L"target", TYPE_INODE);
        f.AddParam(L"weight", TYPE_FLOAT);
    }
    d->AppendFunction(ITargetListConstraint::deleteTarget_id, L"deleteTarget", TYPE_bool)
        .AddParam(L"targetNumber", TYPE_INDEX);
    return d;
}

BOOL ConstraintCycleValidator::Validate(PB2Value& v) {
    (void)v;
    return TRUE;
}

BOOL ConstraintCycleValidator::Validate(PB2Value& v, ReferenceMaker* owner, ParamID id, int tabIndex) {
    (void)id;
    (void)tabIndex;
    auto* node = dynamic_cast<INode*>(v.r);
    auto* self = dynamic_cast<ReferenceTarget*>(owner);
    if (!node || !self) return TRUE;
    return self->DependsOn(node) ? FALSE : TRUE;
}

ConstraintCycleValidator& CycleValidator() {
    static ConstraintCycleValidator v;
    return v;
}

Matrix3 ApplyPacket(const SetXFormPacket& pk, const Matrix3& world) {
    Matrix3 m = world;
    const Point3 trans = m.GetTrans();
    switch (pk.command) {
        case XFORM_MOVE:
            m.Translate(VectorTransform(pk.tmAxis, pk.p));
            break;
        case XFORM_ROTATE: {
            Matrix3 r;
            pk.q.MakeMatrix(r);
            m = m * (Inverse(pk.tmAxis) * r * pk.tmAxis);
            if (pk.localOrigin) m.SetTrans(trans);
            break;
        }
        case XFORM_SCALE:
            m = m * (Inverse(pk.tmAxis) * ScaleMatrix(pk.p) * pk.tmAxis);
            if (pk.localOrigin) m.SetTrans(trans);
            break;
        case XFORM_SET:
            m = pk.tmAxis;
            break;
    }
    return m;
}

int DrawViewline(ViewExp* vpt, const Matrix3& nodeTM, int aimAxis, bool flip, float length, bool absolute,
                 INode* target, TimeValue t) {
    if (!vpt) return 0;
    Point3 dir = nodeTM.GetRow(aimAxis >= 0 && aimAxis <= 2 ? aimAxis : 0);
    if (dir.Length() == 0.0f) return 0;
    dir = Normalize(dir) * (flip ? -1.0f : 1.0f);
    float len = length;
    if (!absolute) {
        if (!target) return 0;
        len = (target->GetNodeTM(t).GetTrans() - nodeTM.GetTrans()).Length() * length / 100.0f;
    }
    GraphicsWindow* gw = vpt->getGW();
    gw->setTransform(Matrix3());
    gw->setColor(LINE_COLOR, 1.0f, 1.0f, 0.0f);
    Point3 line[2] = {nodeTM.GetTrans(), nodeTM.GetTrans() + dir * len};
    gw->polyline(2, line, nullptr, FALSE, nullptr);
    return 1;
}

INode* OwnerNodeOf(ReferenceTarget* ctrl) {
    if (!ctrl) return nullptr;
    for (ReferenceMaker* m : ctrl->Dependents())
        if (m && m->SuperClassID() == BASENODE_CLASS_ID && static_cast<INode*>(m)->GetTMController() == ctrl)
            return static_cast<INode*>(m);
    return nullptr;
}

namespace targetlist {

int Count(IParamBlock2* pb) { return pb ? pb->Count(kTargets) : 0; }

bool CanAppend(ReferenceTarget* owner, IParamBlock2* pb, INode* target) {
    if (!pb || !target) return pb != nullptr;
    if (owner->DependsOn(target)) return false;
    for (int i = 0, n = Count(pb); i < n; ++i)
        if (pb->GetINode(kTargets, 0, i) == target) return false;
    return true;
}

void Append(IParamBlock2* pb, INode* target, float weight) {
    pb->Append(kTargets, 1, &target);
    pb->Append(kWeight, 1, &weight);
}

void Delete(IParamBlock2* pb, int i) {
    pb->Delete(kTargets, i, 1);
    if (i < pb->Count(kWeight)) pb->Delete(kWeight, i, 1);
}

float Weight(IParamBlock2* pb, TimeValue t, int i, float pastTable, Interval& valid) {
    if (i >= pb->Count(kWeight)) return pastTable;
    return pb->GetFloat(kWeight, t, valid, i);
}

INode* Node(IParamBlock2* pb, int i) {
    return i >= 0 && i < Count(pb) ? pb->GetINode(kTargets, 0, i) : nullptr;
}

float CurrentWeight(IParamBlock2* pb, int i) {
    if (!pb || i < 0 || i >= pb->Count(kWeight)) return 0.0f;
    return pb->GetFloat(kWeight, GetCOREInterface()->GetTime(), i);
}

bool SetCurrentWeight(IParamBlock2* pb, int i, float weight) {
    if (!pb || i < 0 || i >= pb->Count(kWeight)) return false;
    theHold.Begin();
    pb->SetValue(kWeight, GetCOREInterface()->GetTime(), weight, i);
    AcceptChange();
    return true;
}

void AcceptChange() { theHold.Accept(GetStringOr(IDS_CONSTRAINT_CHANGE, L"Constraint Change").data()); }

}  // namespace targetlist

}  // namespace kt
