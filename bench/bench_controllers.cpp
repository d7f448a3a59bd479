// Keyframe controller evaluation: a Bezier float track of 1,000 keys read at random times and
// in playback order, an Euler XYZ rotation over three keyed axes, and a PRS transform read at
// a new time with nothing, its rotation, or everything keyed. Each benchmark also
// times a reference over the same key data (raw arrays, binary search, Horner cubic) and
// reports the ratio: controller time / reference time.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <cmath>
#include <math.h>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "euler.h"
#include "keyctrl.h"
#include "matrix3.h"
#include "scalevalue.h"
#include "stdctrl.h"

#include "bench_support.h"

namespace {

constexpr int kKeys = 1000;
constexpr TimeValue kSpacing = 160;
constexpr TimeValue kEnd = (kKeys - 1) * kSpacing;

using kt::bench::NsPerCall;
using kt::bench::RefHolder;
using kt::bench::SetRatio;
using kt::bench::ThreadNs;

// A track of kKeys auto-tangent keys with random values.
Control* MakeTrack(unsigned seed) {
    Control* c = NewDefaultFloatController();
    IKeyControl* kc = GetKeyControlInterface(c);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> val(-10.0f, 10.0f);
    for (int i = 0; i < kKeys; ++i) {
        IBezFloatKey k;
        k.time = i * kSpacing;
        k.val = val(rng);
        k.flags = SetOutTanType(SetInTanType(0, BEZKEY_AUTO), BEZKEY_AUTO);
        kc->AppendKey(&k);
    }
    return c;
}

// The reference: the same curve as raw arrays (times, and per segment the cubic in u).
struct RawCurve {
    std::vector<TimeValue> times;
    std::vector<float> coef; // 4 per segment
    int hint = 0;

    explicit RawCurve(Control* c) {
        IKeyControl* kc = GetKeyControlInterface(c);
        std::vector<IBezFloatKey> k(size_t(kc->GetNumKeys()));
        for (int i = 0; i < kc->GetNumKeys(); ++i)
            kc->GetKey(i, &k[size_t(i)]);
        for (size_t i = 0; i < k.size(); ++i)
            times.push_back(k[i].time);
        for (size_t i = 0; i + 1 < k.size(); ++i) {
            const float dt = float(k[i + 1].time - k[i].time);
            const float p0 = k[i].val, p3 = k[i + 1].val;
            const float p1 = p0 + k[i].outtan * dt / 3.0f, p2 = p3 + k[i + 1].intan * dt / 3.0f;
            coef.insert(coef.end(), {p0, 3 * (p1 - p0), 3 * (p0 - 2 * p1 + p2), p3 - p0 + 3 * (p1 - p2)});
        }
    }
    float Cubic(int i, TimeValue t) const {
        const float u = float(t - times[size_t(i)]) / float(times[size_t(i) + 1] - times[size_t(i)]);
        const float* c = &coef[size_t(i) * 4];
        return ((c[3] * u + c[2]) * u + c[1]) * u + c[0];
    }
    float Search(TimeValue t) const {
        int i = int(std::upper_bound(times.begin(), times.end(), t) - times.begin()) - 1;
        return Cubic(std::clamp(i, 0, int(times.size()) - 2), t);
    }
    float Playback(TimeValue t) {
        if (!(times[size_t(hint)] <= t && t < times[size_t(hint) + 1])) {
            int i = int(std::upper_bound(times.begin(), times.end(), t) - times.begin()) - 1;
            hint = std::clamp(i, 0, int(times.size()) - 2);
        }
        return Cubic(hint, t);
    }
};

std::vector<TimeValue> RandomTimes(size_t n) {
    std::mt19937 rng(7);
    std::uniform_int_distribution<TimeValue> d(0, kEnd - 1);
    std::vector<TimeValue> t(n);
    for (auto& x : t)
        x = d(rng);
    return t;
}

// Guards the comparison: the reference must compute the controller's curve.
void CheckSameCurve(Control* c, const RawCurve& raw) {
    for (TimeValue t = 0; t < kEnd; t += 997) {
        float v = 0.0f;
        Interval iv = FOREVER;
        c->GetValue(t, &v, iv);
        if (std::fabs(v - raw.Search(t)) > 1e-3f) {
            std::fprintf(stderr, "reference differs at %d: %g vs %g\n", t, double(v), double(raw.Search(t)));
            std::abort();
        }
    }
}

void BM_BezierFloatRandomTime(benchmark::State& state) {
    RefHolder h;
    Control* c = MakeTrack(1);
    h.ReplaceReference(0, c);
    RawCurve raw(c);
    CheckSameCurve(c, raw);
    const std::vector<TimeValue> times = RandomTimes(4096);
    size_t i = 0;
    const double start = ThreadNs();
    for (auto _ : state) {
        float v;
        Interval iv = FOREVER;
        c->GetValue(times[i++ & 4095], &v, iv);
        benchmark::DoNotOptimize(v);
    }
    const double stop = ThreadNs();
    float sink = 0.0f;
    const double ref = NsPerCall(size_t(state.iterations()), [&](size_t k) {
        sink += raw.Search(times[k & 4095]);
        benchmark::DoNotOptimize(sink);
    });
    SetRatio(state, start, stop, ref);
}
BENCHMARK(BM_BezierFloatRandomTime);

void BM_BezierFloatPlayback(benchmark::State& state) {
    RefHolder h;
    Control* c = MakeTrack(2);
    h.ReplaceReference(0, c);
    RawCurve raw(c);
    CheckSameCurve(c, raw);
    TimeValue t = 0;
    const double start = ThreadNs();
    for (auto _ : state) {
        float v;
        Interval iv = FOREVER;
        c->GetValue(t, &v, iv);
        benchmark::DoNotOptimize(v);
        t += 16;
        if (t >= kEnd) t = 0;
    }
    const double stop = ThreadNs();
    float sink = 0.0f;
    TimeValue rt = 0;
    const double ref = NsPerCall(size_t(state.iterations()), [&](size_t) {
        sink += raw.Playback(rt);
        benchmark::DoNotOptimize(sink);
        rt += 16;
        if (rt >= kEnd) rt = 0;
    });
    SetRatio(state, start, stop, ref);
}
BENCHMARK(BM_BezierFloatPlayback);

// An Euler XYZ rotation whose three axes are keyed tracks, held by h.
Control* KeyedEulerXYZ(RefHolder& h) {
    Control* e = NewDefaultRotationController();
    h.ReplaceReference(0, e);
    e->ReplaceReference(0, MakeTrack(3));
    e->ReplaceReference(1, MakeTrack(4));
    e->ReplaceReference(2, MakeTrack(5));
    return e;
}

void BM_EulerXYZKeyed(benchmark::State& state) {
    RefHolder h;
    Control* e = KeyedEulerXYZ(h);
    RawCurve rx(e->GetXController()), ry(e->GetYController()), rz(e->GetZController());
    const std::vector<TimeValue> times = RandomTimes(4096);
    size_t i = 0;
    const double start = ThreadNs();
    for (auto _ : state) {
        Quat q;
        Interval iv = FOREVER;
        e->GetValue(times[i++ & 4095], &q, iv);
        benchmark::DoNotOptimize(q);
    }
    // Reference: three raw curves, then the Euler rotation by half-angle products.
    const double stop = ThreadNs();
    float sink = 0.0f;
    const double ref = NsPerCall(size_t(state.iterations()), [&](size_t k) {
        const TimeValue t = times[k & 4095];
        float a[3] = {rx.Search(t), ry.Search(t), rz.Search(t)};
        Quat q;
        EulerToQuat(a, q, EULERTYPE_XYZ);
        sink += q.w;
        benchmark::DoNotOptimize(sink);
    });
    SetRatio(state, start, stop, ref);
}
BENCHMARK(BM_EulerXYZKeyed);

// The same rotation read frame after frame, as a rig is played.
void BM_EulerXYZKeyedPlayback(benchmark::State& state) {
    RefHolder h;
    Control* e = KeyedEulerXYZ(h);
    RawCurve rx(e->GetXController()), ry(e->GetYController()), rz(e->GetZController());
    TimeValue t = 0;
    const double start = ThreadNs();
    for (auto _ : state) {
        Quat q;
        Interval iv = FOREVER;
        e->GetValue(t, &q, iv);
        benchmark::DoNotOptimize(q);
        t = t + 16 < kEnd ? t + 16 : 0;
    }
    const double stop = ThreadNs();
    float sink = 0.0f;
    TimeValue rt = 0;
    const double ref = NsPerCall(size_t(state.iterations()), [&](size_t) {
        float a[3] = {rx.Playback(rt), ry.Playback(rt), rz.Playback(rt)};
        Quat q;
        EulerToQuat(a, q, EULERTYPE_XYZ);
        sink += q.w;
        benchmark::DoNotOptimize(sink);
        rt = rt + 16 < kEnd ? rt + 16 : 0;
    });
    SetRatio(state, start, stop, ref);
}
BENCHMARK(BM_EulerXYZKeyedPlayback);

// ---- A node's transform read through its PRS: Bezier position, Euler XYZ over three Bezier
// floats, Bezier scale, at a new time on every read (as a solver evaluating frame after frame).
// Arg 0: nothing keyed; 1: the three Euler tracks keyed (2 keys each); 2: every track keyed.
// Reference: the matrix built directly from the values the tracks have at those times (scale,
// Euler rotation, translation, times the parent), the arithmetic without the controllers.

constexpr TimeValue kPRSSpan = 1 << 20;

void KeyFloat(Control* c, float a, float b) {
    IKeyControl* kc = GetKeyControlInterface(c);
    for (int i = 0; i < 2; ++i) {
        IBezFloatKey k;
        k.time = i * kPRSSpan;
        k.val = i ? b : a;
        k.flags = SetOutTanType(SetInTanType(0, BEZKEY_AUTO), BEZKEY_AUTO);
        kc->AppendKey(&k);
    }
}

Control* MakePRS(RefHolder& h, int keyed) {
    Control* prs = NewDefaultMatrix3Controller();
    h.ReplaceReference(0, prs);
    Control* pos = prs->GetPositionController();
    Control* rot = prs->GetRotationController();
    Control* scl = prs->GetScaleController();
    const float angles[2][3] = {{0.3f, -0.7f, 1.1f}, {-0.4f, 0.9f, 2.0f}};
    if (keyed >= 1) {
        KeyFloat(rot->GetXController(), angles[0][0], angles[1][0]);
        KeyFloat(rot->GetYController(), angles[0][1], angles[1][1]);
        KeyFloat(rot->GetZController(), angles[0][2], angles[1][2]);
    } else {
        Quat q;
        EulerToQuat(angles[0], q, EULERTYPE_XYZ);
        rot->SetValue(0, &q);
    }
    if (keyed >= 2) {
        IKeyControl* kp = GetKeyControlInterface(pos);
        IKeyControl* ks = GetKeyControlInterface(scl);
        for (int i = 0; i < 2; ++i) {
            IBezPoint3Key p;
            p.time = i * kPRSSpan;
            p.val = i ? Point3(4.0f, -2.0f, 7.0f) : Point3(1.0f, 2.0f, 3.0f);
            kp->AppendKey(&p);
            IBezScaleKey s;
            s.time = i * kPRSSpan;
            s.val = ScaleValue(i ? Point3(0.5f, 1.5f, 2.0f) : Point3(1.0f, 1.2f, 0.8f));
            ks->AppendKey(&s);
        }
    } else {
        Point3 p(1.0f, 2.0f, 3.0f);
        pos->SetValue(0, &p);
        ScaleValue s(Point3(1.0f, 1.2f, 0.8f));
        scl->SetValue(0, &s);
    }
    return prs;
}

struct PRSValues {
    Point3 p;
    float a[3];
    ScaleValue s;
};

// Scale (axis rows, identity scale axis), then X, Y, Z rotations, then translation, then the
// parent, in plain float arithmetic.
Matrix3 DirectPRS(const PRSValues& v, const Matrix3& parent) {
    float r[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    float sn[3], cs[3];
    for (int k = 0; k < 3; ++k)
        ::sincosf(v.a[k], &sn[k], &cs[k]);
    for (auto& row : r) {
        const float y = row[1] * cs[0] - row[2] * sn[0], z = row[1] * sn[0] + row[2] * cs[0];
        row[1] = y;
        row[2] = z;
        const float x = row[0] * cs[1] + row[2] * sn[1], z2 = row[2] * cs[1] - row[0] * sn[1];
        row[0] = x;
        row[2] = z2;
        const float x2 = row[0] * cs[2] - row[1] * sn[2], y2 = row[0] * sn[2] + row[1] * cs[2];
        row[0] = x2;
        row[1] = y2;
    }
    const Point3 p0 = parent.GetRow(0), p1 = parent.GetRow(1), p2 = parent.GetRow(2);
    Matrix3 m;
    for (int i = 0; i < 3; ++i)
        m.SetRow(i, (p0 * r[i][0] + p1 * r[i][1] + p2 * r[i][2]) * v.s.s[i]);
    m.SetRow(3, p0 * v.p.x + p1 * v.p.y + p2 * v.p.z + parent.GetRow(3));
    return m;
}

void BM_PRSNewTime(benchmark::State& state) {
    RefHolder h;
    Control* prs = MakePRS(h, int(state.range(0)));
    Control* pos = prs->GetPositionController();
    Control* rot = prs->GetRotationController();
    Control* scl = prs->GetScaleController();
    Matrix3 parent = RotateXMatrix(0.4f);
    parent.Translate(Point3(5.0f, -1.0f, 2.0f));
    // The values at each time the loop reads, for the reference.
    constexpr size_t kTimes = 4096;
    struct Values {
        Point3 p;
        float a[3];
        ScaleValue s;
    };
    std::vector<PRSValues> vals(kTimes);
    for (size_t i = 0; i < kTimes; ++i) {
        const TimeValue t = TimeValue(i + 1) * 37;
        Interval iv = FOREVER;
        pos->GetValue(t, &vals[i].p, iv);
        Control* axes[3] = {rot->GetXController(), rot->GetYController(), rot->GetZController()};
        for (int k = 0; k < 3; ++k)
            axes[k]->GetValue(t, &vals[i].a[k], iv);
        scl->GetValue(t, &vals[i].s, iv);
        Matrix3 m = parent;
        prs->GetValue(t, &m, iv, CTRL_RELATIVE);
        if (!m.Equals(DirectPRS(vals[i], parent), 1e-4f)) {
            std::fprintf(stderr, "PRS reference differs at %d\n", t);
            std::abort();
        }
    }
    size_t i = 0;
    const double start = ThreadNs();
    for (auto _ : state) {
        Matrix3 m = parent;
        Interval iv = FOREVER;
        prs->GetValue(TimeValue((i++ & (kTimes - 1)) + 1) * 37, &m, iv, CTRL_RELATIVE);
        benchmark::DoNotOptimize(m);
    }
    const double stop = ThreadNs();
    float sink = 0.0f;
    const double ref = NsPerCall(size_t(state.iterations()), [&](size_t k) {
        const Matrix3 m = DirectPRS(vals[k & (kTimes - 1)], parent);
        sink += m.GetRow(3).x;
        benchmark::DoNotOptimize(sink);
    });
    SetRatio(state, start, stop, ref);
}
BENCHMARK(BM_PRSNewTime)->Arg(0)->Arg(1)->Arg(2);

} // namespace
