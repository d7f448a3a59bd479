// Euler XYZ, Position XYZ and Scale XYZ: three float sub-controllers, one per axis.
#include <cmath>
#include <math.h>

#include "compound_control.h"
#include "controllers_internal.h"
#include "euler.h"
#include "maxapi.h"
#include "restore_util.h"
#include "stdctrl.h"
#include "value_cache.h"
#include "value_ops.h"

namespace host::ctrl {

namespace {

constexpr USHORT EULER_ORDER_CHUNK = 0x0210;

// Fills the three slots with new Bezier floats; building a new object is not an edit to undo.
void MakeFloatSubs(CompoundControl* c, float initial) {
    theHold.Suspend();
    SuspendAnimate();
    for (int i = 0; i < 3; ++i) {
        Control* f = NewBezierFloat();
        if (initial != 0.0f) f->SetValue(0, &initial, 1, CTRL_ABSOLUTE);
        c->ReplaceReference(i, f);
    }
    ResumeAnimate();
    theHold.Resume();
}

// Quat::operator* spelled out (same double arithmetic, same result) so that it inlines.
inline Quat MulQuat(const Quat& a, const Quat& b) {
    double ax = a.x, ay = a.y, az = a.z, aw = a.w;
    return Quat(aw * b.x + ax * b.w + ay * b.z - az * b.y, aw * b.y - ax * b.z + ay * b.w + az * b.x,
                aw * b.z + ax * b.y - ay * b.x + az * b.w, aw * b.w - ax * b.x - ay * b.y - az * b.z);
}

// Euler angles are kept per axis (X, Y, Z sub-controllers); the host's routines take them by
// position in the order. Repeated-axis orders take X, Y, Z as first, middle, last.
// The rotation of angles by position, as EulerToQuat computes it (left-handed quaternions:
// RotateX(a) is the quaternion of angle -a), in float without building each axis quaternion
// through the general routine: this runs on every evaluation.
Quat EulerQuat(const float pos[3], int order) {
    const int* ax = EulerOrderAxes(order);
    if (!ax) ax = EulerOrderAxes(EULERTYPE_XYZ);
    if (ax[0] == 0 && ax[1] == 1 && ax[2] == 2) {
        // X, then Y, then Z: the products above with their zero terms left out. The double
        // products of floats are exact and the dropped terms are exact zeros, so the result
        // is the general path's to the bit.
        float s[3], c[3];
        for (int i = 0; i < 3; ++i)
            ::sincosf(-0.5f * pos[i], &s[i], &c[i]);
        const double s0 = s[0], c0 = c[0], s1 = s[1], c1 = c[1], s2 = s[2], c2 = c[2];
        const double qx = float(s0 * c1), qy = float(c0 * s1), qz = float(s0 * s1), qw = float(c0 * c1);
        const Quat r(qx * c2 + qy * s2, -(qx * s2) + qy * c2, qw * s2 + qz * c2, qw * c2 - qz * s2);
        return r.w < 0.0f ? -r : r;
    }
    Quat q[3];
    for (int i = 0; i < 3; ++i) {
        float sn, cs;
        ::sincosf(-0.5f * pos[i], &sn, &cs);
        q[i] = Quat(0.0f, 0.0f, 0.0f, cs);
        q[i][ax[i]] = sn;
    }
    const Quat r = MulQuat(MulQuat(q[0], q[1]), q[2]);
    return r.w < 0.0f ? -r : r;
}

// PreRotateMatrix(mat, q): Quat::MakeMatrix's double rows, then the float product r * mat.
void PreRotate(Matrix3& mat, const Quat& q) {
    double n = double(q.x) * q.x + double(q.y) * q.y + double(q.z) * q.z + double(q.w) * q.w;
    double s = n > 0.0 ? 2.0 / n : 0.0;
    double xs = q.x * s, ys = q.y * s, zs = q.z * s;
    double wx = q.w * xs, wy = q.w * ys, wz = q.w * zs;
    double xx = q.x * xs, xy = q.x * ys, xz = q.x * zs;
    double yy = q.y * ys, yz = q.y * zs, zz = q.z * zs;
    const float r[3][3] = {{float(1.0 - (yy + zz)), float(xy - wz), float(xz + wy)},
                           {float(xy + wz), float(1.0 - (xx + zz)), float(yz - wx)},
                           {float(xz - wy), float(yz + wx), float(1.0 - (xx + yy))}};
    const Point3 m0 = mat[0], m1 = mat[1], m2 = mat[2];
    for (int i = 0; i < 3; ++i)
        mat.SetRow(i, Point3(r[i][0] * m0.x + r[i][1] * m1.x + r[i][2] * m2.x,
                             r[i][0] * m0.y + r[i][1] * m1.y + r[i][2] * m2.y,
                             r[i][0] * m0.z + r[i][1] * m1.z + r[i][2] * m2.z));
}

void AxesToPositional(const float axes[3], float pos[3], int order) {
    const int* ax = order < EULERTYPE_XYX ? EulerOrderAxes(order) : nullptr;
    for (int k = 0; k < 3; ++k)
        pos[k] = ax ? axes[ax[k]] : axes[k];
}
void PositionalToAxes(const float pos[3], float axes[3], int order) {
    const int* ax = order < EULERTYPE_XYX ? EulerOrderAxes(order) : nullptr;
    for (int k = 0; k < 3; ++k)
        (ax ? axes[ax[k]] : axes[k]) = pos[k];
}

// Factors of a ScaleValue along the local axes: the value itself for an identity axis, else
// the lengths of its matrix rows (the sign is lost for a turned axis).
Point3 FactorsOf(const ScaleValue& v) {
    if (std::fabs(v.q.w) > 1.0f - 1e-6f) return v.s;
    const Matrix3 m = host::ScaleValueMatrix(v);
    return Point3(m.GetRow(0).Length(), m.GetRow(1).Length(), m.GetRow(2).Length());
}

} // namespace

// ---------------------------------------------------------------------------------------------

class EulerXYZ : public CompoundControl, public IEulerControl {
  public:
    explicit EulerXYZ(bool loading = false) : CompoundControl(3) {
        if (!loading) MakeFloatSubs(this, 0.0f);
    }

    SClass_ID SuperClassID() override { return CTRL_ROTATION_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(EULER_CONTROL_CLASS_ID, 0); }
    SClass_ID SubSuperClass(int) override { return CTRL_FLOAT_CLASS_ID; }
    MSTR SubName(int i) override {
        return MSTR(i == 0 ? L"X Rotation" : i == 1 ? L"Y Rotation" : L"Z Rotation");
    }

    using CompoundControl::GetInterface;
    void* GetInterface(ULONG id) override {
        if (id == I_EULERCTRL) return static_cast<IEulerControl*>(this);
        return CompoundControl::GetInterface(id);
    }

    Control* GetXController() override { return Sub(0); }
    Control* GetYController() override { return Sub(1); }
    Control* GetZController() override { return Sub(2); }

    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override {
        const Quat q = cache_.Read(
            t, valid, [this] { return IsSelfContained(this); },
            [&](Interval& iv) {
                float axes[3] = {0.0f, 0.0f, 0.0f}, pos[3];
                for (int k = 0; k < 3; ++k)
                    if (Control* c = subs_[size_t(k)]) c->GetValue(t, &axes[k], iv, CTRL_ABSOLUTE);
                AxesToPositional(axes, pos, order_);
                return EulerQuat(pos, order_);
            });
        if (method == CTRL_RELATIVE)
            PreRotate(*static_cast<Matrix3*>(val), q);
        else
            *static_cast<Quat*>(val) = q;
    }

    // Absolute: a Quat; relative: an AngAxis turned in first (Quat(aa) * old). The angles
    // stay continuous with the current ones; each sub-controller gets its angle.
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override {
        if (!val || GetLocked()) return;
        float axes[3] = {0.0f, 0.0f, 0.0f}, pos[3];
        Interval iv = FOREVER;
        for (int k = 0; k < 3; ++k)
            if (Control* c = subs_[size_t(k)]) c->GetValue(t, &axes[k], iv, CTRL_ABSOLUTE);
        AxesToPositional(axes, pos, order_);
        Quat q;
        if (method == CTRL_RELATIVE) {
            q = CombineRelativeSet(EulerQuat(pos, order_), val);
        } else {
            q = ReadSetValue(val, static_cast<Quat*>(nullptr));
        }
        ContinuousQuatToEuler(q, pos, order_);
        PositionalToAxes(pos, axes, order_);
        for (int k = 0; k < 3; ++k)
            if (Control* c = subs_[size_t(k)]) c->SetValue(t, &axes[k], commit, CTRL_ABSOLUTE);
    }

    int GetOrder() override { return order_; }
    void SetOrder(int newOrder) override {
        if (newOrder < EULERTYPE_XYZ || newOrder > EULERTYPE_ZXZ || newOrder == order_) return;
        if (theHold.Holding() && !TestAFlag(A_HELD)) {
            SetAFlag(A_HELD);
            theHold.Put(new KeyTableRestore<EulerXYZ, int>(this, order_));
        }
        order_ = newOrder;
        cache_.Drop();
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }

    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new EulerXYZ(true);
        c->order_ = order_;
        CloneSubsInto(c, remap);
        BaseClone(this, c, remap);
        return c;
    }

    IOResult Save(ISave* isave) override {
        CompoundControl::Save(isave);
        ULONG nw = 0;
        isave->BeginChunk(EULER_ORDER_CHUNK);
        const int32_t order = order_;
        isave->Write(&order, sizeof(order), &nw);
        isave->EndChunk();
        return IO_OK;
    }
    IOResult Load(ILoad* iload) override {
        IOResult res = IO_OK;
        while ((res = iload->OpenChunk()) == IO_OK) {
            if (!LoadCompoundChunk(iload, res) && iload->CurChunkID() == EULER_ORDER_CHUNK) {
                int32_t order = 0;
                ULONG nr = 0;
                res = iload->Read(&order, sizeof(order), &nr);
                if (res == IO_OK)
                    order_ = order >= EULERTYPE_XYZ && order <= EULERTYPE_ZXZ ? order : EULERTYPE_XYZ;
                cache_.Drop();
            }
            iload->CloseChunk();
            if (res != IO_OK) return res;
        }
        return res == IO_END ? IO_OK : res;
    }

  private:
    friend class KeyTableRestore<EulerXYZ, int>;
    int Snapshot() const { return order_; }
    void Apply(int order) {
        order_ = order;
        cache_.Drop();
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    void DropCache() override { cache_.Drop(); }
    int order_ = EULERTYPE_XYZ;
    ValueCache<Quat> cache_;
};

// ---------------------------------------------------------------------------------------------

class PositionXYZ : public CompoundControl {
  public:
    explicit PositionXYZ(bool loading = false) : CompoundControl(3) {
        if (!loading) MakeFloatSubs(this, 0.0f);
    }
    SClass_ID SuperClassID() override { return CTRL_POSITION_CLASS_ID; }
    Class_ID ClassID() override { return IPOS_CONTROL_CLASS_ID; }
    SClass_ID SubSuperClass(int) override { return CTRL_FLOAT_CLASS_ID; }
    MSTR SubName(int i) override {
        return MSTR(i == 0 ? L"X Position" : i == 1 ? L"Y Position" : L"Z Position");
    }
    Control* GetXController() override { return Sub(0); }
    Control* GetYController() override { return Sub(1); }
    Control* GetZController() override { return Sub(2); }

    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override {
        const Point3 p = cache_.Read(
            t, valid, [this] { return IsSelfContained(this); },
            [&](Interval& iv) {
                Point3 v;
                for (int k = 0; k < 3; ++k)
                    if (Control* c = subs_[size_t(k)]) c->GetValue(t, &v[k], iv, CTRL_ABSOLUTE);
                return v;
            });
        ApplyRelativeOrStore(val, p, method);
    }
    // Absolute: a Point3; relative: a Point3 added per axis.
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override {
        if (!val || GetLocked()) return;
        Point3 p = *static_cast<const Point3*>(val);
        for (int k = 0; k < 3; ++k)
            if (Control* c = subs_[size_t(k)]) c->SetValue(t, &p[k], commit, method);
    }

    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new PositionXYZ(true);
        CloneSubsInto(c, remap);
        BaseClone(this, c, remap);
        return c;
    }
    IOResult Load(ILoad* iload) override { return LoadCompoundChunks(iload); }

  private:
    static void ApplyRelativeOrStore(void* val, const Point3& p, GetSetMethod method) {
        if (method == CTRL_RELATIVE)
            static_cast<Matrix3*>(val)->PreTranslate(p);
        else
            *static_cast<Point3*>(val) = p;
    }
    void DropCache() override { cache_.Drop(); }
    ValueCache<Point3> cache_;
};

// ---------------------------------------------------------------------------------------------

class ScaleXYZ : public CompoundControl {
  public:
    explicit ScaleXYZ(bool loading = false) : CompoundControl(3) {
        if (!loading) MakeFloatSubs(this, 1.0f);
    }
    SClass_ID SuperClassID() override { return CTRL_SCALE_CLASS_ID; }
    Class_ID ClassID() override { return ISCALE_CONTROL_CLASS_ID; }
    SClass_ID SubSuperClass(int) override { return CTRL_FLOAT_CLASS_ID; }
    MSTR SubName(int i) override { return MSTR(i == 0 ? L"X Scale" : i == 1 ? L"Y Scale" : L"Z Scale"); }
    Control* GetXController() override { return Sub(0); }
    Control* GetYController() override { return Sub(1); }
    Control* GetZController() override { return Sub(2); }

    // A missing sub-controller reads 1.
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override {
        const ScaleValue v = cache_.Read(
            t, valid, [this] { return IsSelfContained(this); },
            [&](Interval& iv) {
                ScaleValue s;
                for (int k = 0; k < 3; ++k)
                    if (Control* c = subs_[size_t(k)]) c->GetValue(t, &s.s[k], iv, CTRL_ABSOLUTE);
                return s;
            });
        if (method == CTRL_RELATIVE)
            ApplyScaling(*static_cast<Matrix3*>(val), v);
        else
            *static_cast<ScaleValue*>(val) = v;
    }
    // Absolute: a ScaleValue; relative: a ScaleValue composed onto the current one. A turned
    // scale axis is taken as the lengths of its matrix rows.
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override {
        if (!val || GetLocked()) return;
        ScaleValue target = ReadSetValue(val, static_cast<ScaleValue*>(nullptr));
        if (method == CTRL_RELATIVE) {
            ScaleValue cur;
            Interval iv = FOREVER;
            GetValue(t, &cur, iv, CTRL_ABSOLUTE);
            target = CombineRelativeSet(cur, val);
        }
        Point3 f = FactorsOf(target);
        for (int k = 0; k < 3; ++k)
            if (Control* c = subs_[size_t(k)]) c->SetValue(t, &f[k], commit, CTRL_ABSOLUTE);
    }

    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new ScaleXYZ(true);
        CloneSubsInto(c, remap);
        BaseClone(this, c, remap);
        return c;
    }
    IOResult Load(ILoad* iload) override { return LoadCompoundChunks(iload); }

  private:
    void DropCache() override { cache_.Drop(); }
    ValueCache<ScaleValue> cache_;
};

Control* NewEulerXYZ() { return new EulerXYZ(); }

void RegisterXYZClasses(host::ClassDirectory& dir) {
    ClassDesc* euler = KeepDesc(new StdClassDesc<EulerXYZ>(L"Euler XYZ", L"Euler_XYZ", CTRL_ROTATION_CLASS_ID,
                                                           Class_ID(EULER_CONTROL_CLASS_ID, 0)));
    ClassDesc* pos = KeepDesc(new StdClassDesc<PositionXYZ>(L"Position XYZ", L"Position_XYZ",
                                                            CTRL_POSITION_CLASS_ID, IPOS_CONTROL_CLASS_ID));
    ClassDesc* scale = KeepDesc(
        new StdClassDesc<ScaleXYZ>(L"ScaleXYZ", L"ScaleXYZ", CTRL_SCALE_CLASS_ID, ISCALE_CONTROL_CLASS_ID));
    dir.AddClass(euler);
    dir.AddClass(pos);
    dir.AddClass(scale);
}

} // namespace host::ctrl
