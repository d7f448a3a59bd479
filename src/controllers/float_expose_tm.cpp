#include "controllers/float_expose_tm.h"

#include <algorithm>
#include <cmath>

#include "decomp.h"
#include "euler.h"
#include "frame/class_registry.h"
#include "inode.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

RegistryClassDesc* ExposeDesc() { return ClassRegistry::Find(CTRL_FLOAT_CLASS_ID, FLOAT_EXPOSE_TM_CLASS_ID); }

ClassFactoryRegistrar registrar(CTRL_FLOAT_CLASS_ID, FLOAT_EXPOSE_TM_CLASS_ID,
                                [](BOOL loading) -> void* { return new FloatExposeTM(loading); });

FloatExposeTMValidator validator;

ParamBlockDesc2& ExposeBlock() {
    static ParamBlockDesc2* desc = [] {
        using F = FloatExposeTM;
        auto* d = new ParamBlockDesc2(0, L"params", 0, ExposeDesc(), 0, p_end);
        d->AddParam(F::pb_expose_node, L"expose_node", TYPE_INODE, 0, IDS_EXPOSE_NODE);
        d->SetValidator(F::pb_expose_node, &validator);
        d->AddParam(F::pb_local_reference_node, L"local_reference_node", TYPE_INODE, 0, IDS_LOCAL_REFERENCE_NODE);
        d->SetValidator(F::pb_local_reference_node, &validator);
        d->AddParam(F::pb_use_parent, L"use_parent", TYPE_BOOL, 0, IDS_USE_PARENT);
        d->SetDefault(F::pb_use_parent, 1);
        d->AddParam(F::pb_type, L"type", TYPE_INT, 0, IDS_TYPE);
        d->SetRange(F::pb_type, 0, 4);
        d->AddParam(F::pb_axis, L"axis", TYPE_INT, 0, IDS_AXIS);
        d->SetRange(F::pb_axis, 0, 2);
        d->AddParam(F::pb_axis_order, L"axis_order", TYPE_INT, 0, IDS_AXIS_ORDER);
        d->SetRange(F::pb_axis_order, 0, 8);
        d->AddParam(F::pb_local_world, L"local_world", TYPE_INT, 0, IDS_EXPOSE_LOCAL_WORLD);
        d->SetRange(F::pb_local_world, 0, 1);
        d->AddParam(F::pb_offset, L"offset", TYPE_FLOAT, P_ANIMATABLE, IDS_OFFSET);
        d->AddParam(F::pb_weight, L"weight", TYPE_PCNT_FRAC, P_ANIMATABLE, IDS_CONN_WEIGHT);
        d->SetDefault(F::pb_weight, 1.0f);
        return d;
    }();
    return *desc;
}
const bool blockReady = (ExposeBlock(), true);

// The rotation of M without its scale and shear (the polar decomposition's rotation).
Quat OrthoRotation(const Matrix3& m) {
    AffineParts ap;
    decomp_affine(m, &ap);
    return ap.q;
}

}  // namespace

BOOL FloatExposeTMValidator::Validate(PB2Value&) { return TRUE; }

BOOL FloatExposeTMValidator::Validate(PB2Value& v, ReferenceMaker* owner, ParamID id, int) {
    auto* pb = dynamic_cast<IParamBlock2*>(owner);
    ReferenceMaker* ctrl = pb ? pb->GetOwner() : owner;
    auto* self = dynamic_cast<ReferenceTarget*>(ctrl);
    if (!self || !pb || !pb->GetDesc()) return TRUE;
    const int type = pb->GetDesc()->GetParamDef(id).type;
    if (type != TYPE_INODE && type != TYPE_INDEX) return TRUE;
    return v.r && self->DependsOn(v.r) ? FALSE : TRUE;
}

FloatExposeTM::FloatExposeTM(BOOL loading) {
    if (!loading) ReplaceReference(kPBlockRef, CreateParameterBlock2(&ExposeBlock(), this));
}

MSTR FloatExposeTM::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_FLOATEXPOSETM) : nullptr;
    return MSTR(s ? s : L"Float Expose TM");
}

ReferenceTarget* FloatExposeTM::Clone(RemapDir& remap) {
    auto* c = new FloatExposeTM(TRUE);
    CloneInto(c, remap);
    return c;
}

float FloatExposeTM::Expose(const Matrix3& m, int type, int axis, int axisOrder) {
    axis = std::clamp(axis, 0, 2);
    switch (type) {
        case kPosition: return m.GetTrans()[axis];
        case kEuler: {
            const Point3 angles = RotationValue(OrthoRotation(m)).ToEulerAngles(std::clamp(axisOrder, 0, 8));
            return angles[axis];
        }
        case kScale: {
            AffineParts ap;
            decomp_affine(m, &ap);
            return ap.k[axis] * ap.f;
        }
        case kDistance: return Length(m.GetTrans());
        case kLocalRotation: {
            Quat q = OrthoRotation(m);
            const float along = axis == 0 ? q.x : axis == 1 ? q.y : q.z;
            // The twist part of the swing-twist split; the host's quaternions turn the other
            // way from its matrices, hence the sign.
            float angle = -2.0f * std::atan2(along, q.w);
            if (angle > 3.1415927f) angle -= 6.2831855f;
            if (angle < -3.1415927f) angle += 6.2831855f;
            return angle;
        }
        default: return 0.0f;
    }
}

void FloatExposeTM::GetValueLocalTime(TimeValue t, void* val, Interval& valid, GetSetMethod) {
    if (!val || !pblock) return;
    INode* node = pblock->GetINode(pb_expose_node, t);
    if (!node) {
        *static_cast<float*>(val) = 0.0f;
        return;
    }
    const int type = pblock->GetInt(pb_type);
    const int axis = pblock->GetInt(pb_axis);
    const int order = pblock->GetInt(pb_axis_order);
    const float offset = pblock->GetFloat(pb_offset, t, valid);
    const float weight = pblock->GetFloat(pb_weight, t, valid);
    const Matrix3 tm = node->GetNodeTM(t, &valid);
    Matrix3 ref;
    if (pblock->GetInt(pb_local_world) != 1) {
        if (pblock->GetInt(pb_use_parent)) {
            INode* parent = node->GetParentNode();
            if (parent && !parent->IsRootNode()) ref = parent->GetNodeTM(t, &valid);
        } else if (INode* r = pblock->GetINode(pb_local_reference_node, t)) {
            ref = r->GetNodeTM(t, &valid);
        }
    }
    *static_cast<float*>(val) = weight * Expose(tm * Inverse(ref), type, axis, order) + offset;
}

}  // namespace kt
