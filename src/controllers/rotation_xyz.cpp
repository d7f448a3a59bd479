#include "controllers/rotation_xyz.h"

#include "euler.h"
#include "frame/class_registry.h"
#include "iosave.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

ClassFactoryRegistrar reg(CTRL_ROTATION_CLASS_ID, ROTATIONXYZ_CLASS_ID,
                          [](BOOL loading) -> void* { return new RotationXYZ(loading); });

constexpr USHORT kOrderChunk = 0x0100;

// Axes (0 X, 1 Y, 2 Z) of each position for the XYZ family of host Euler orders.
constexpr int kOrderAxes[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 2, 0}, {1, 0, 2}, {2, 0, 1}, {2, 1, 0}};
// Load and SetOrder keep the order in range; the bound also tells the optimizer so.
inline const int* OrderAxes(int order) { return kOrderAxes[order >= 0 && order < 6 ? order : 0]; }

}  // namespace

RotationXYZ::RotationXYZ(BOOL loading) {
    if (loading) return;
    for (int i = 0; i < kNumRefs; ++i) ReplaceReference(i, NewDefaultFloatController());
}

MSTR RotationXYZ::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_ROTATIONXYZ) : nullptr;
    return MSTR(s ? s : L"Rotation XYZ");
}

MSTR RotationXYZ::SubAnimName(int i, bool localized) {
    (void)localized;
    const MCHAR* names[] = {L"X Rotation", L"Y Rotation", L"Z Rotation"};
    return i >= 0 && i < kNumRefs ? MSTR(names[i]) : MSTR();
}

void RotationXYZ::SetReference(int i, RefTargetHandle rtarg) {
    if (i < 0 || i >= kNumRefs) return;
    rot[i] = static_cast<Control*>(rtarg);
    cacheOk = false;
}

BOOL RotationXYZ::AssignController(Animatable* control, int subAnim) {
    if (!CanAssignController(subAnim)) return FALSE;
    if (control && control->SuperClassID() != CTRL_FLOAT_CLASS_ID) return FALSE;
    ReplaceReference(subAnim, static_cast<Control*>(control));
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    return TRUE;
}

BOOL RotationXYZ::IsAnimated() {
    for (Control* c : rot)
        if (c && c->IsAnimated()) return TRUE;
    return FALSE;
}

RefResult RotationXYZ::NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage message, BOOL) {
    if (message == REFMSG_CHANGE) cacheOk = false;
    return REF_SUCCEED;
}

void RotationXYZ::SetOrder(int newOrder) {
    if (newOrder < 0 || newOrder > 5 || newOrder == order) return;
    order = newOrder;
    cacheOk = false;
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

void RotationXYZ::Fill(TimeValue t) {
    cacheValid = FOREVER;
    for (int a = 0; a < kNumRefs; ++a) {
        float v = 0.0f;
        if (rot[a]) rot[a]->GetValue(t, &v, cacheValid, CTRL_ABSOLUTE);
        cache[a] = v;
    }
    cacheOk = true;
}

// Out of line: a copy speculatively inlined for the float sub-controllers' calls in Fill
// would be checked against a float.
[[gnu::noinline]] void RotationXYZ::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    if (!val) return;
    if (!cacheOk || !cacheValid.InInterval(t)) Fill(t);
    valid &= cacheValid;
    Matrix3 m;
    for (int k = 0; k < 3; ++k) {
        int axis = OrderAxes(order)[k];
        if (axis == 0)
            m.RotateX(cache[axis]);
        else if (axis == 1)
            m.RotateY(cache[axis]);
        else
            m.RotateZ(cache[axis]);
    }
    if (method == CTRL_ABSOLUTE) {
        *static_cast<Quat*>(val) = Quat(m);
    } else {
        Matrix3& v = *static_cast<Matrix3*>(val);
        v = m * v;
    }
}

void RotationXYZ::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    if (!val || GetLocked()) return;
    Interval iv = FOREVER;
    Quat now;
    GetValue(t, &now, iv, CTRL_ABSOLUTE);
    Quat q = method == CTRL_ABSOLUTE ? *static_cast<Quat*>(val) : now * Quat(*static_cast<AngAxis*>(val));
    // Angles by position, starting from the present ones so the result stays continuous.
    float ang[3];
    for (int k = 0; k < 3; ++k) ang[k] = cache[OrderAxes(order)[k]];
    ContinuousQuatToEuler(q, ang, order);
    for (int k = 0; k < 3; ++k) {
        int axis = OrderAxes(order)[k];
        if (rot[axis]) rot[axis]->SetValue(t, &ang[k], commit, CTRL_ABSOLUTE);
    }
    cacheOk = false;
}

ReferenceTarget* RotationXYZ::Clone(RemapDir& remap) {
    auto* c = new RotationXYZ(TRUE);
    for (int i = 0; i < kNumRefs; ++i) c->ReplaceReference(i, remap.CloneRef(rot[i]));
    c->order = order;
    BaseClone(this, c, remap);
    return c;
}

IOResult RotationXYZ::Save(ISave* isave) {
    ULONG nb = 0;
    isave->BeginChunk(kOrderChunk);
    isave->Write(&order, sizeof(order), &nb);
    isave->EndChunk();
    return IO_OK;
}

IOResult RotationXYZ::Load(ILoad* iload) {
    IOResult res = IO_OK;
    ULONG nb = 0;
    while ((res = iload->OpenChunk()) == IO_OK) {
        if (iload->CurChunkID() == kOrderChunk) res = iload->Read(&order, sizeof(order), &nb);
        iload->CloseChunk();
        if (res != IO_OK) return res;
    }
    if (order < 0 || order > 5) order = 0;
    cacheOk = false;
    return IO_OK;
}

}  // namespace kt
