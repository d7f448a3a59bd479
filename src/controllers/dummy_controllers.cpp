#include "controllers/dummy_controllers.h"

#include "frame/class_registry.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

ClassFactoryRegistrar regFloat(CTRL_FLOAT_CLASS_ID, DUMMYFLOAT_CLASS_ID,
                               [](BOOL loading) -> void* { return new DummyFloat(loading); });
ClassFactoryRegistrar regRot(CTRL_ROTATION_CLASS_ID, DUMMYROTATION_CLASS_ID,
                             [](BOOL loading) -> void* { return new DummyRotation(loading); });

}  // namespace

MSTR DummyFloat::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_DUMMYFLOAT) : nullptr;
    return MSTR(s ? s : L"Dummy Float");
}

ReferenceTarget* DummyFloat::Clone(RemapDir& remap) {
    auto* c = new DummyFloat(TRUE);
    c->ReplaceReference(0, remap.CloneRef(inner));
    c->offset = offset;
    BaseClone(this, c, remap);
    return c;
}

void DummyFloat::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    if (!val) return;
    float& v = *static_cast<float*>(val);
    if (method == CTRL_ABSOLUTE) v = 0.0f;
    if (inner) inner->GetValue(t, val, valid, method);
    v += offset;
}

void DummyFloat::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    if (!val || !inner) return;
    float v = *static_cast<float*>(val);
    if (method == CTRL_ABSOLUTE) v -= offset;
    inner->SetValue(t, &v, commit, method);
}

MSTR DummyRotation::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_DUMMYROTATION) : nullptr;
    return MSTR(s ? s : L"Dummy Rotation");
}

ReferenceTarget* DummyRotation::Clone(RemapDir& remap) {
    auto* c = new DummyRotation(TRUE);
    c->value = value;
    c->relative = relative;
    BaseClone(this, c, remap);
    return c;
}

void DummyRotation::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    (void)t;
    (void)valid;
    if (!val) return;
    if (method == CTRL_ABSOLUTE) {
        *static_cast<Quat*>(val) = value;
        return;
    }
    Matrix3& m = *static_cast<Matrix3*>(val);
    Matrix3 r;
    value.MakeMatrix(r);
    m = relative ? r * m : r;
}

void DummyRotation::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    (void)t;
    (void)commit;
    if (!val) return;
    if (method == CTRL_ABSOLUTE)
        value = *static_cast<Quat*>(val);
    else
        value = value * Quat(*static_cast<AngAxis*>(val));
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

}  // namespace kt
