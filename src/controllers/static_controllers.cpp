#include "controllers/static_controllers.h"

#include <type_traits>

#include "frame/class_registry.h"
#include "hold.h"
#include "iosave.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

ClassFactoryRegistrar regFloat(CTRL_FLOAT_CLASS_ID, STATIC_FLOAT_CLASS_ID,
                               [](BOOL loading) -> void* { return new StaticFloat(loading); });
ClassFactoryRegistrar regPos(CTRL_POSITION_CLASS_ID, STATIC_POSITION_CLASS_ID,
                             [](BOOL loading) -> void* { return new StaticPosition(loading); });
ClassFactoryRegistrar regRot(CTRL_ROTATION_CLASS_ID, STATIC_ROTATION_CLASS_ID,
                             [](BOOL loading) -> void* { return new StaticRotation(loading); });
ClassFactoryRegistrar regScale(CTRL_SCALE_CLASS_ID, STATIC_SCALE_CLASS_ID,
                               [](BOOL loading) -> void* { return new StaticScale(loading); });
ClassFactoryRegistrar regTM(CTRL_MATRIX3_CLASS_ID, STATIC_TRANSFORM_CLASS_ID,
                            [](BOOL loading) -> void* { return new StaticTransform(loading); });

Matrix3 RotMatrixOf(const Quat& q) {
    Matrix3 m;
    q.MakeMatrix(m);
    return m;
}

template <class T>
class ValueRestore : public RestoreObj {
public:
    ValueRestore(StaticControl<T>* c) : ctrl_(c), undo_(c->value) {}
    void Restore(int isUndo) override {
        if (isUndo) redo_ = ctrl_->value;
        ctrl_->value = undo_;
        ctrl_->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    void Redo() override {
        ctrl_->value = redo_;
        ctrl_->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    void EndHold() override { ctrl_->ClearAFlag(A_HELD); }
    MSTR Description() override { return MSTR(L"Static value"); }

private:
    StaticControl<T>* ctrl_;
    T undo_, redo_;
};

// Relative reads: how each value type is applied to what the caller passed.
void ApplyRelative(const float& v, void* val) { *static_cast<float*>(val) += v; }
void ApplyRelative(const Point3& v, void* val) { static_cast<Matrix3*>(val)->PreTranslate(v); }
void ApplyRelative(const Quat& v, void* val) { PreRotateMatrix(*static_cast<Matrix3*>(val), v); }
void ApplyRelative(const ScaleValue& v, void* val) { ApplyScaling(*static_cast<Matrix3*>(val), v); }
void ApplyRelative(const Matrix3& v, void* val) {
    Matrix3& m = *static_cast<Matrix3*>(val);
    m = v * m;
}

// Relative sets.
void Combine(float& v, void* val) { v += *static_cast<float*>(val); }
void Combine(Point3& v, void* val) { v += *static_cast<Point3*>(val); }
void Combine(Quat& v, void* val) { v = v * Quat(*static_cast<AngAxis*>(val)); }
void Combine(ScaleValue& v, void* val) {
    const ScaleValue& d = *static_cast<ScaleValue*>(val);
    v.s = v.s * d.s;
}
void Combine(Matrix3& v, void* val) {
    const SetXFormPacket& p = *static_cast<SetXFormPacket*>(val);
    switch (p.command) {
        case XFORM_MOVE:
            v.Translate(VectorTransform(p.tmAxis * Inverse(p.tmParent), p.p));
            break;
        case XFORM_ROTATE: {
            // The turn is given in tmAxis space; carry it into the parent's space.
            Matrix3 axis = p.tmAxis * Inverse(p.tmParent);
            Point3 trans = v.GetTrans();
            Matrix3 r = Inverse(axis) * RotMatrixOf(p.q) * axis;
            if (p.localOrigin) {
                v.NoTrans();
                v = v * r;
                v.SetTrans(trans);
            } else {
                v = v * r;
            }
            break;
        }
        case XFORM_SCALE: {
            Matrix3 axis = p.tmAxis * Inverse(p.tmParent);
            Point3 trans = v.GetTrans();
            v = v * (Inverse(axis) * ScaleMatrix(p.p) * axis);
            if (p.localOrigin) v.SetTrans(trans);
            break;
        }
        case XFORM_SET:
            v = p.tmAxis * Inverse(p.tmParent);
            break;
    }
}

template <class T>
void WriteValue(ISave* isave, const T& v) {
    ULONG nb = 0;
    isave->Write(&v, sizeof(T), &nb);
}
void WriteValue(ISave* isave, const ScaleValue& v) {
    ULONG nb = 0;
    isave->Write(&v.s, sizeof(Point3), &nb);
    isave->Write(&v.q, sizeof(Quat), &nb);
}
template <class T>
IOResult ReadValue(ILoad* iload, T& v) {
    ULONG nb = 0;
    return iload->Read(&v, sizeof(T), &nb);
}
IOResult ReadValue(ILoad* iload, ScaleValue& v) {
    ULONG nb = 0;
    IOResult r = iload->Read(&v.s, sizeof(Point3), &nb);
    if (r == IO_OK) r = iload->Read(&v.q, sizeof(Quat), &nb);
    return r;
}

}  // namespace

template <class T>
void StaticControl<T>::GetValueLocalTime(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    (void)t;
    (void)valid;
    if (!val) return;
    if constexpr (std::is_same_v<T, Matrix3>) {
        ApplyRelative(value, val);
    } else if (method == CTRL_ABSOLUTE) {
        *static_cast<T*>(val) = value;
    } else {
        ApplyRelative(value, val);
    }
}

template <class T>
void StaticControl<T>::SetConstant(const T& v) {
    if (theHold.Holding() && !TestAFlag(A_HELD)) {
        SetAFlag(A_HELD);
        theHold.Put(new ValueRestore<T>(this));
    }
    value = v;
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

template <class T>
void StaticControl<T>::SetValueLocalTime(TimeValue t, void* val, int commit, GetSetMethod method) {
    (void)t;
    (void)commit;
    if (!val || GetLocked()) return;
    T v = value;
    if constexpr (std::is_same_v<T, Matrix3>) {
        Combine(v, val);
    } else if (method == CTRL_ABSOLUTE) {
        v = *static_cast<T*>(val);
    } else {
        Combine(v, val);
    }
    SetConstant(v);
}

template <class T>
void StaticControl<T>::Copy(Control* from) {
    if (!from || from->SuperClassID() != SuperClassID()) return;
    T v{};
    if constexpr (std::is_same_v<T, Matrix3>) {
        Interval iv = FOREVER;
        from->GetValue(0, &v, iv, CTRL_RELATIVE);
    } else {
        Interval iv = FOREVER;
        from->GetValue(0, &v, iv, CTRL_ABSOLUTE);
    }
    SetConstant(v);
}

template <class T>
IOResult StaticControl<T>::Save(ISave* isave) {
    IOResult r = StdControl::Save(isave);
    if (r != IO_OK) return r;
    isave->BeginChunk(kValueChunk);
    WriteValue(isave, value);
    isave->EndChunk();
    return IO_OK;
}

template <class T>
IOResult StaticControl<T>::Load(ILoad* iload) {
    IOResult res = IO_OK;
    while ((res = iload->OpenChunk()) == IO_OK) {
        if (iload->CurChunkID() == kValueChunk) {
            res = ReadValue(iload, value);
        } else {
            IOResult std = IO_OK;
            LoadStdChunk(iload, std);
            res = std;
        }
        iload->CloseChunk();
        if (res != IO_OK) return res;
    }
    return IO_OK;
}

template class StaticControl<float>;
template class StaticControl<Point3>;
template class StaticControl<Quat>;
template class StaticControl<ScaleValue>;
template class StaticControl<Matrix3>;

template <class C>
static ReferenceTarget* CloneStatic(C* from, RemapDir& remap) {
    auto* c = new C(TRUE);
    c->value = from->value;
    from->BaseClone(from, c, remap);
    return c;
}

MSTR StaticFloat::ClassName(bool) const { return GetStringOr(IDS_CLASS_STATICFLOAT, L"Static Float"); }
MSTR StaticPosition::ClassName(bool) const {
    return GetStringOr(IDS_CLASS_STATICPOSITION, L"Static Position");
}
MSTR StaticRotation::ClassName(bool) const {
    return GetStringOr(IDS_CLASS_STATICROTATION, L"Static Rotation");
}
MSTR StaticScale::ClassName(bool) const { return GetStringOr(IDS_CLASS_STATICSCALE, L"Static Scale"); }
MSTR StaticTransform::ClassName(bool) const {
    return GetStringOr(IDS_CLASS_STATICTRANSFORM, L"Static Transform");
}
ReferenceTarget* StaticFloat::Clone(RemapDir& remap) { return CloneStatic(this, remap); }
ReferenceTarget* StaticPosition::Clone(RemapDir& remap) { return CloneStatic(this, remap); }
ReferenceTarget* StaticRotation::Clone(RemapDir& remap) { return CloneStatic(this, remap); }
ReferenceTarget* StaticScale::Clone(RemapDir& remap) { return CloneStatic(this, remap); }
ReferenceTarget* StaticTransform::Clone(RemapDir& remap) { return CloneStatic(this, remap); }

}  // namespace kt
