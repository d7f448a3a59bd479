// PRS: the default transform controller, a position, a rotation and a scale sub-controller.
// Local transform = scale * rotation * translation (row vectors: scale first).
#include <algorithm>
#include <cmath>
#include <vector>

#include "box3.h"
#include "compound_control.h"
#include "controllers_internal.h"
#include "decomp.h"
#include "gfx.h"
#include "stdctrl.h"
#include "value_cache.h"
#include "value_ops.h"

namespace host::ctrl {

class PRSControl : public CompoundControl {
  public:
    enum { kPos = 0, kRot = 1, kScale = 2 };

    explicit PRSControl(bool loading = false) : CompoundControl(3) {
        if (loading) return;
        theHold.Suspend();
        ReplaceReference(kPos, NewDefaultPositionController());
        ReplaceReference(kRot, NewDefaultRotationController());
        ReplaceReference(kScale, NewDefaultScaleController());
        theHold.Resume();
    }

    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(PRS_CONTROL_CLASS_ID, 0); }
    SClass_ID SubSuperClass(int i) override {
        return i == kPos ? CTRL_POSITION_CLASS_ID : i == kRot ? CTRL_ROTATION_CLASS_ID : CTRL_SCALE_CLASS_ID;
    }
    MSTR SubName(int i) override {
        return MSTR(i == kPos ? L"Position" : i == kRot ? L"Rotation" : L"Scale");
    }

    Control* GetPositionController() override { return Sub(kPos); }
    Control* GetRotationController() override { return Sub(kRot); }
    Control* GetScaleController() override { return Sub(kScale); }
    BOOL SetPositionController(Control* c) override { return AssignController(c, kPos); }
    BOOL SetRotationController(Control* c) override { return AssignController(c, kRot); }
    BOOL SetScaleController(Control* c) override { return AssignController(c, kScale); }

    // KEYAT_POSITION, KEYAT_ROTATION and KEYAT_SCALE pick sub-controllers; none picks all.
    BOOL IsKeyAtTime(TimeValue t, DWORD flags) override {
        for (int i : {kPos, kRot, kScale})
            if (Picked(i, flags) && Sub(i) && Sub(i)->IsKeyAtTime(t, flags)) return TRUE;
        return FALSE;
    }
    int GetKeyTimes(Tab<TimeValue>& times, Interval range, DWORD flags) override {
        if (!(flags & (KEYAT_POSITION | KEYAT_ROTATION | KEYAT_SCALE)))
            return CompoundControl::GetKeyTimes(times, range, flags);
        Tab<TimeValue> all;
        for (int i : {kPos, kRot, kScale})
            if (Picked(i, flags) && Sub(i)) Sub(i)->GetKeyTimes(all, range, 0);
        std::vector<TimeValue> t(all.begin(), all.end());
        std::sort(t.begin(), t.end());
        t.erase(std::unique(t.begin(), t.end()), t.end());
        for (TimeValue v : t)
            times.push_back(v);
        return times.Count();
    }

    // Transform controllers are always asked relative to a parent, whatever the method says.
    // When every sub-controller pre-multiplies by a value of its own, the local transform is
    // kept and a read inside its interval is one product (composed the same way on a miss, so
    // that a read answers the same whatever was read before); otherwise each sub-controller
    // applies itself to the parent in turn.
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod = CTRL_ABSOLUTE) override {
        Matrix3& m = *static_cast<Matrix3*>(val);
        Matrix3 local;
        if (cache_.Get(t, local, valid)) {
            Compose(local, m);
            return;
        }
        const auto cacheable = [this] {
            for (int i : {kPos, kRot, kScale})
                if (Control* c = Sub(i); c && (c->SuperClassID() != SubSuperClass(i) || !IsSelfContained(c)))
                    return false;
            return true;
        };
        Interval iv = FOREVER;
        if (!cache_.Allowed(cacheable)) {
            for (int i : {kPos, kRot, kScale})
                if (Control* c = Sub(i)) c->GetValue(t, &m, iv, CTRL_RELATIVE);
        } else {
            for (int i : {kPos, kRot, kScale})
                if (Control* c = Sub(i)) c->GetValue(t, &local, iv, CTRL_RELATIVE);
            cache_.Put(local, iv);
            Compose(local, m);
        }
        valid &= iv;
    }

    // m = local * m; an identity m (every FK read, every node under the root) is left as the
    // product would leave it, without the product.
    static void Compose(const Matrix3& local, Matrix3& m) {
        if (m[0] == Point3(1.0f, 0.0f, 0.0f) && m[1] == Point3(0.0f, 1.0f, 0.0f) && m[2] == Point3(0.0f, 0.0f, 1.0f) &&
            m[3] == Point3(0.0f, 0.0f, 0.0f))
            m = local;
        else
            m = local * m;
    }

    // A constraint placed as a sub-controller draws, picks and frames what it owns (viewlines,
    // goal lines) for the node the PRS belongs to.
    int Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) override {
        int drawn = 0;
        for (int i : {kPos, kRot, kScale})
            if (Control* c = Sub(i)) drawn |= c->Display(t, inode, vpt, flags);
        return drawn;
    }
    int HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) override {
        int hit = 0;
        for (int i : {kPos, kRot, kScale}) {
            Control* c = Sub(i);
            if (!c || !c->HitTest(t, inode, type, crossing, flags, p, vpt)) continue;
            hit = 1;
            if (flags & HIT_ABORTONHIT) break;
        }
        return hit;
    }
    void GetWorldBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) override {
        for (int i : {kPos, kRot, kScale}) {
            Control* c = Sub(i);
            if (!c) continue;
            Box3 b;
            c->GetWorldBoundBox(t, inode, vpt, b);
            box += b;
        }
    }

    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod = CTRL_ABSOLUTE) override {
        if (!val || GetLocked()) return;
        const SetXFormPacket& p = *static_cast<const SetXFormPacket*>(val);
        switch (p.command) {
        case XFORM_MOVE:
            Move(t, p.tmParent, VectorTransform(p.tmAxis, p.p), commit);
            break;
        case XFORM_ROTATE:
            Rotate(t, p, commit);
            break;
        case XFORM_SCALE:
            ScaleBy(t, p, commit);
            break;
        case XFORM_SET:
            Set(t, p, commit);
            break;
        }
    }

    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new PRSControl(true);
        CloneSubsInto(c, remap);
        BaseClone(this, c, remap);
        return c;
    }
    IOResult Load(ILoad* iload) override { return LoadCompoundChunks(iload); }

  private:
    void DropCache() override { cache_.Drop(); }

    static bool Picked(int i, DWORD flags) {
        const DWORD which = flags & (KEYAT_POSITION | KEYAT_ROTATION | KEYAT_SCALE);
        return !which || (which & (i == kPos ? KEYAT_POSITION : i == kRot ? KEYAT_ROTATION : KEYAT_SCALE));
    }
    // World position of the pivot for the given parent.
    Point3 PivotWorld(TimeValue t, const Matrix3& parent) {
        Matrix3 m = parent;
        Interval iv = FOREVER;
        if (Control* c = Sub(kPos)) c->GetValue(t, &m, iv, CTRL_RELATIVE);
        return m.GetTrans();
    }

    void Move(TimeValue t, const Matrix3& parent, const Point3& worldDelta, int commit) {
        Control* c = Sub(kPos);
        if (!c || worldDelta == Point3()) return;
        Point3 local = VectorTransform(Inverse(parent), worldDelta);
        c->SetValue(t, &local, commit, CTRL_RELATIVE);
    }

    void Rotate(TimeValue t, const SetXFormPacket& p, int commit) {
        AngAxis aa = p.aa;
        if (aa.axis == Point3() && !p.q.IsIdentity()) aa = AngAxis(SafeUnit(p.q));
        const Point3 axis = aa.axis.Normalize();
        if (axis == Point3() || aa.angle == 0.0f) return;
        const Matrix3 toParent = p.tmAxis * Inverse(p.tmParent);
        const Point3 ax = VectorTransform(toParent, axis).Normalize();
        if (ax == Point3()) return;
        AngAxis local(ax, toParent.Parity() ? -aa.angle : aa.angle);
        if (!p.localOrigin) {
            const Point3 w = PivotWorld(t, p.tmParent), o = p.tmAxis.GetTrans();
            const Point3 worldAxis = VectorTransform(p.tmAxis, axis).Normalize();
            if (w != o && worldAxis != Point3()) {
                Matrix3 r;
                QFromAngAxis(p.tmAxis.Parity() ? -aa.angle : aa.angle, worldAxis).MakeMatrix(r);
                Move(t, p.tmParent, VectorTransform(r, w - o) - (w - o), commit);
            }
        }
        if (Control* c = Sub(kRot)) c->SetValue(t, &local, commit, CTRL_RELATIVE);
    }

    void ScaleBy(TimeValue t, const SetXFormPacket& p, int commit) {
        Matrix3 frame = p.tmParent; // the parent advanced to the scale step
        Interval iv = FOREVER;
        if (Control* c = Sub(kPos)) c->GetValue(t, &frame, iv, CTRL_RELATIVE);
        if (Control* c = Sub(kRot)) c->GetValue(t, &frame, iv, CTRL_RELATIVE);
        Matrix3 axisInLocal = p.tmAxis * Inverse(frame);
        axisInLocal.NoTrans();
        axisInLocal.Orthogonalize();
        if (axisInLocal.Parity()) axisInLocal.SetRow(2, -axisInLocal.GetRow(2));
        ScaleValue delta(p.p, Quat(axisInLocal));
        if (!p.localOrigin) {
            Matrix3 a = p.tmAxis;
            const Point3 o = a.GetTrans();
            a.NoTrans();
            const Point3 w = PivotWorld(t, p.tmParent);
            const Point3 inAxis = VectorTransform(Inverse(a), w - o) * p.p;
            Move(t, p.tmParent, VectorTransform(a, inAxis) - (w - o), commit);
        }
        if (Control* c = Sub(kScale)) c->SetValue(t, &delta, commit, CTRL_RELATIVE);
    }

    void Set(TimeValue t, const SetXFormPacket& p, int commit) {
        AffineParts ap;
        decomp_affine(p.tmAxis * Inverse(p.tmParent), &ap);
        Point3 pos = ap.t;
        Quat q = ap.q;
        ScaleValue s(ap.k * ap.f, ap.u);
        if (Control* c = Sub(kPos)) c->SetValue(t, &pos, commit, CTRL_ABSOLUTE);
        if (Control* c = Sub(kRot)) c->SetValue(t, &q, commit, CTRL_ABSOLUTE);
        if (Control* c = Sub(kScale)) c->SetValue(t, &s, commit, CTRL_ABSOLUTE);
    }

    ValueCache<Matrix3> cache_; // the local transform: the sub-controllers' product on the identity
};

Control* NewPRS() { return new PRSControl(); }

void RegisterPRSClass(host::ClassDirectory& dir) {
    ClassDesc* prs = KeepDesc(new StdClassDesc<PRSControl>(
        L"Position/Rotation/Scale", L"prs", CTRL_MATRIX3_CLASS_ID, Class_ID(PRS_CONTROL_CLASS_ID, 0)));
    dir.AddClass(prs);
}

} // namespace host::ctrl
