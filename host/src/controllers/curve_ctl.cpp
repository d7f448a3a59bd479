// The curve control and its curves (icurvctl.h).
#include <algorithm>
#include <cmath>
#include <vector>

#include "controllers_internal.h"
#include "hold.h"
#include "icurvctl.h"
#include "iosave.h"
#include "restore_util.h"

namespace host::ctrl {
namespace {

constexpr USHORT kPointsChunk = 0x0100;  // count (i32), then per point p, in, out (6 f32), flags (i32)
constexpr USHORT kPenChunk = 0x0110;     // colour (u32)
constexpr USHORT kRangeChunk = 0x0100;   // x min, x max, y min, y max (4 f32)
constexpr USHORT kCountChunk = 0x0110;   // curve count (i32)

class Curve : public ICurve {
public:
    using State = std::vector<CurvePoint>;

    int GetNumPts() override { return static_cast<int>(pts_.size()); }

    void SetNumPts(int count) override {
        count = std::max(0, count);
        if (count == GetNumPts()) return;
        Hold();
        CurvePoint fill = pts_.empty() ? CurvePoint() : pts_.back();
        pts_.resize(static_cast<size_t>(count), fill);
        Changed();
    }

    CurvePoint GetPoint(TimeValue, int i, Interval&) override {
        return i >= 0 && i < GetNumPts() ? pts_[static_cast<size_t>(i)] : CurvePoint();
    }

    void SetPoint(TimeValue, int i, CurvePoint* point, BOOL checkRange, BOOL notify) override {
        if (!point || i < 0 || i >= GetNumPts()) return;
        Hold();
        CurvePoint p = *point;
        if (checkRange) {
            if (i > 0) p.p.x = std::max(p.p.x, pts_[static_cast<size_t>(i - 1)].p.x);
            if (i + 1 < GetNumPts()) p.p.x = std::min(p.p.x, pts_[static_cast<size_t>(i + 1)].p.x);
        }
        pts_[static_cast<size_t>(i)] = p;
        if (notify) Changed();
    }

    int Insert(int, CurvePoint& point) override {
        Hold();
        auto at = std::upper_bound(pts_.begin(), pts_.end(), point.p.x,
                                   [](float x, const CurvePoint& q) { return x < q.p.x; });
        int index = static_cast<int>(at - pts_.begin());
        pts_.insert(at, point);
        Changed();
        return index;
    }

    void Delete(int index) override {
        if (index < 0 || index >= GetNumPts()) return;
        Hold();
        pts_.erase(pts_.begin() + index);
        Changed();
    }

    float GetValue(TimeValue, float x, Interval&, BOOL) override {
        if (pts_.empty()) return 0.0f;
        if (x <= pts_.front().p.x) return pts_.front().p.y;
        if (x >= pts_.back().p.x) return pts_.back().p.y;
        auto hi = std::upper_bound(pts_.begin(), pts_.end(), x, [](float v, const CurvePoint& q) { return v < q.p.x; });
        const CurvePoint& b = *hi;
        const CurvePoint& a = *(hi - 1);
        const float span = b.p.x - a.p.x;
        if (span <= 0.0f) return b.p.y;
        if (!((a.flags | b.flags) & CURVEP_BEZIER)) return a.p.y + (x - a.p.x) / span * (b.p.y - a.p.y);
        // Handles kept inside the segment make x(u) monotone, so bisection finds the one u.
        const float x1 = std::clamp(a.p.x + a.out.x, a.p.x, b.p.x);
        const float x2 = std::clamp(b.p.x + b.in.x, a.p.x, b.p.x);
        const float y1 = a.p.y + a.out.y, y2 = b.p.y + b.in.y;
        auto bez = [](float p0, float p1, float p2, float p3, float u) {
            const float v = 1.0f - u;
            return v * v * v * p0 + 3.0f * v * v * u * p1 + 3.0f * v * u * u * p2 + u * u * u * p3;
        };
        float lo = 0.0f, up = 1.0f;
        for (int k = 0; k < 32; ++k) {
            const float mid = 0.5f * (lo + up);
            if (bez(a.p.x, x1, x2, b.p.x, mid) < x)
                lo = mid;
            else
                up = mid;
        }
        return bez(a.p.y, y1, y2, b.p.y, 0.5f * (lo + up));
    }

    void SetPenProperty(DWORD color, int, int) override { pen_ = color; }
    DWORD GetPenColor() override { return pen_; }

    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }

    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new Curve();
        c->pts_ = pts_;
        c->pen_ = pen_;
        BaseClone(this, c, remap);
        return c;
    }

    IOResult Save(ISave* isave) override {
        ULONG nb = 0;
        isave->BeginChunk(kPointsChunk);
        int n = GetNumPts();
        isave->Write(&n, sizeof(n), &nb);
        for (const CurvePoint& p : pts_) {
            const float f[6] = {p.p.x, p.p.y, p.in.x, p.in.y, p.out.x, p.out.y};
            isave->Write(f, sizeof(f), &nb);
            isave->Write(&p.flags, sizeof(int), &nb);
        }
        isave->EndChunk();
        isave->BeginChunk(kPenChunk);
        isave->Write(&pen_, sizeof(pen_), &nb);
        isave->EndChunk();
        return IO_OK;
    }

    IOResult Load(ILoad* iload) override {
        IOResult res;
        ULONG nb = 0;
        while ((res = iload->OpenChunk()) == IO_OK) {
            if (iload->CurChunkID() == kPointsChunk) {
                int n = 0;
                res = iload->Read(&n, sizeof(n), &nb);
                // 28 bytes a point: a count the chunk cannot hold is a corrupt file
                if (res == IO_OK && (n < 0 || static_cast<ULONG>(n) * 28u + 4u != iload->CurChunkLength()))
                    res = IO_ERROR;
                std::vector<CurvePoint> pts(res == IO_OK ? static_cast<size_t>(n) : 0);
                for (CurvePoint& p : pts) {
                    float f[6] = {};
                    if (res == IO_OK) res = iload->Read(f, sizeof(f), &nb);
                    if (res == IO_OK) res = iload->Read(&p.flags, sizeof(int), &nb);
                    p.p = Point2(f[0], f[1]);
                    p.in = Point2(f[2], f[3]);
                    p.out = Point2(f[4], f[5]);
                }
                if (res == IO_OK) pts_ = std::move(pts);
            } else if (iload->CurChunkID() == kPenChunk) {
                res = iload->Read(&pen_, sizeof(pen_), &nb);
            }
            iload->CloseChunk();
            if (res != IO_OK) return res;
        }
        return IO_OK;
    }

    State Snapshot() const { return pts_; }
    void Apply(const State& s) {
        pts_ = s;
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }

private:
    void Hold() {
        if (theHold.Holding() && !TestAFlag(A_HELD)) {
            SetAFlag(A_HELD);
            theHold.Put(new KeyTableRestore<Curve, State>(this, pts_));
        }
    }
    void Changed() { NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE); }

    std::vector<CurvePoint> pts_;
    DWORD pen_ = 0x000000FF;
};

class CurveCtl : public ICurveCtl {
public:
    struct State {
        Point2 x, y;
    };

    explicit CurveCtl(bool loading = false) { (void)loading; }
    ~CurveCtl() override = default;

    int GetNumCurves() override { return static_cast<int>(curves_.size()); }

    void SetNumCurves(int num, BOOL) override {
        num = std::max(0, num);
        const int old = GetNumCurves();
        if (num > old) {
            curves_.resize(static_cast<size_t>(num), nullptr);
            for (int i = old; i < num; ++i) {
                auto* c = new Curve();
                CurvePoint a, b;
                a.p = Point2(x_.x, y_.x);
                b.p = Point2(x_.y, y_.y);
                a.flags = b.flags = CURVEP_CORNER | CURVEP_ENDPOINT;
                // a new curve has no before-state: only the reference swap is recorded
                theHold.Suspend();
                c->SetNumPts(2);
                c->SetPoint(0, 0, &a, FALSE, FALSE);
                c->SetPoint(0, 1, &b, FALSE, FALSE);
                theHold.Resume();
                ReplaceReference(i, c);
            }
        } else {
            for (int i = old - 1; i >= num; --i) ReplaceReference(i, nullptr);
            curves_.resize(static_cast<size_t>(num));
        }
        NotifyDependents(FOREVER, PART_ALL, REFMSG_SUBANIM_STRUCTURE_CHANGED);
    }

    ICurve* GetControlCurve(int n) override {
        return n >= 0 && n < GetNumCurves() ? curves_[static_cast<size_t>(n)] : nullptr;
    }

    void SetXRange(float min, float max, BOOL) override {
        HoldRange();
        x_ = Point2(min, max);
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    void SetYRange(float min, float max) override {
        HoldRange();
        y_ = Point2(min, max);
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    Point2 GetXRange() override { return x_; }
    Point2 GetYRange() override { return y_; }
    BOOL IsActive() override { return active_; }
    void SetActive(BOOL sw) override { active_ = sw; }
    void SetTitle(const MCHAR* title) override { title_ = title ? title : L""; }

    int NumRefs() override { return GetNumCurves(); }
    RefTargetHandle GetReference(int i) override { return GetControlCurve(i); }
    int NumSubs() override { return GetNumCurves(); }
    Animatable* SubAnim(int i) override { return GetControlCurve(i); }
    MSTR SubAnimName(int i, bool) override { return MSTR(L"Curve ") + MSTR(std::to_wstring(i + 1).c_str()); }
    int SubNumToRefNum(int subNum) override { return subNum; }

    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }

    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new CurveCtl(true);
        c->x_ = x_;
        c->y_ = y_;
        c->curves_.resize(curves_.size(), nullptr);
        for (int i = 0; i < GetNumCurves(); ++i) c->ReplaceReference(i, remap.CloneRef(curves_[static_cast<size_t>(i)]));
        BaseClone(this, c, remap);
        return c;
    }

    IOResult Save(ISave* isave) override {
        ULONG nb = 0;
        isave->BeginChunk(kRangeChunk);
        const float f[4] = {x_.x, x_.y, y_.x, y_.y};
        isave->Write(f, sizeof(f), &nb);
        isave->EndChunk();
        isave->BeginChunk(kCountChunk);
        int n = GetNumCurves();
        isave->Write(&n, sizeof(n), &nb);
        isave->EndChunk();
        return IO_OK;
    }

    IOResult Load(ILoad* iload) override {
        IOResult res;
        ULONG nb = 0;
        while ((res = iload->OpenChunk()) == IO_OK) {
            if (iload->CurChunkID() == kRangeChunk) {
                float f[4];
                res = iload->Read(f, sizeof(f), &nb);
                if (res == IO_OK) {
                    x_ = Point2(f[0], f[1]);
                    y_ = Point2(f[2], f[3]);
                }
            } else if (iload->CurChunkID() == kCountChunk) {
                int n = 0;
                res = iload->Read(&n, sizeof(n), &nb);
                // the reference slots that follow are sized from this count
                if (res == IO_OK && (n < 0 || n > 4096)) res = IO_ERROR;
                if (res == IO_OK) curves_.assign(static_cast<size_t>(n), nullptr);
            }
            iload->CloseChunk();
            if (res != IO_OK) return res;
        }
        return IO_OK;
    }

    State Snapshot() const { return {x_, y_}; }
    void Apply(const State& s) {
        x_ = s.x;
        y_ = s.y;
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }

protected:
    void SetReference(int i, RefTargetHandle rtarg) override {
        if (i < 0) return;
        if (i >= GetNumCurves()) curves_.resize(static_cast<size_t>(i + 1), nullptr);
        curves_[static_cast<size_t>(i)] = dynamic_cast<Curve*>(rtarg);
    }

private:
    void HoldRange() {
        if (theHold.Holding() && !TestAFlag(A_HELD)) {
            SetAFlag(A_HELD);
            theHold.Put(new KeyTableRestore<CurveCtl, State>(this, Snapshot()));
        }
    }

    std::vector<Curve*> curves_;
    Point2 x_{0.0f, 100.0f};
    Point2 y_{0.0f, 100.0f};
    BOOL active_ = FALSE;
    MSTR title_;
};

}  // namespace

void RegisterCurveClasses(host::ClassDirectory& dir) {
    dir.AddClass(KeepDesc(
        new StdClassDesc<CurveCtl>(L"CurveControl", L"CurveControl", REF_TARGET_CLASS_ID, CURVE_CONTROL_CLASS_ID)));
    dir.AddClass(KeepDesc(new StdClassDesc<Curve>(L"Curve", L"Curve", REF_TARGET_CLASS_ID, CURVE_CLASS_ID)));
}

namespace {
const struct AutoRegister {
    AutoRegister() { RegisterCurveClasses(host::ClassDirectory::Get()); }
} g_autoRegister;
}  // namespace

}  // namespace host::ctrl
