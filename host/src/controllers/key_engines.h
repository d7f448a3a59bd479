// Interpolation engines of the keyframe controllers. An engine is built from a key table
// (Build) and then answers values at any time inside the keys (Eval; clamped outside), the
// rate at either end (EndSlope, for the linear out-of-range type) and what GetKey reports.
//
// Engines keep their own contiguous copies of times and values so that evaluation touches one
// small array for the search and one segment record for the value, and allocates nothing.
// Keys out of time order are tolerated: a segment without duration holds its first key.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "keyctrl.h"
#include "value_ops.h"

namespace host::ctrl {

// Float channels of a value: float 1, Point3 3, ScaleValue 3 (its factors).
template <class V> struct Chan;
template <> struct Chan<float> {
    static constexpr int N = 1;
    static float* P(float& v) { return &v; }
    static const float* P(const float& v) { return &v; }
};
template <> struct Chan<Point3> {
    static constexpr int N = 3;
    static float* P(Point3& v) { return &v.x; }
    static const float* P(const Point3& v) { return &v.x; }
};
template <> struct Chan<ScaleValue> {
    static constexpr int N = 3;
    static float* P(ScaleValue& v) { return &v.s.x; }
    static const float* P(const ScaleValue& v) { return &v.s.x; }
};

inline float Clamp(float v, float lo, float hi) { return v < lo ? lo : (v > hi ? hi : v); }

// Timing and easing of the TCB segment from key a to key b. A segment whose keys share a time
// holds: it is reset and the answer is false.
template <class Seg, class Key> bool TimeTCBSegment(Seg& sg, const Key& a, const Key& b) {
    const double dt = double(b.time) - double(a.time);
    if (dt <= 0.0) {
        sg = Seg();
        return false;
    }
    sg.hold = false;
    sg.invDt = float(1.0 / dt);
    sg.easeA = Clamp(a.easeOut, 0.0f, 1.0f);
    sg.easeB = Clamp(b.easeIn, 0.0f, 1.0f);
    return true;
}

// Segment search over sorted times with a hint for playback: answers i with
// times[i] <= t < times[i + 1], clamped into [0, n - 2]. n >= 2.
inline int FindSegment(const TimeValue* times, int n, TimeValue t, int& hint) {
    int h = hint;
    if (h >= 0 && h < n - 1 && times[h] <= t) {
        if (t < times[h + 1]) return h;
        if (h + 2 < n && t < times[h + 2]) return hint = h + 1;
    }
    // Branch-free binary search: the last index whose time is <= t (times[0] <= t assumed, else 0).
    const TimeValue* base = times;
    int len = n;
    while (len > 1) {
        const int half = len >> 1;
        base = base[half] <= t ? base + half : base;
        len -= half;
    }
    return hint = std::min(int(base - times), n - 2);
}

inline float SegmentFraction(TimeValue t, TimeValue t0, float invDt) {
    return float(double(int64_t(t) - int64_t(t0)) * invDt);
}

// The axes of a scale track: per key its unit axis, each made closest to the one before, and
// between keys the slerp of the two. Most tracks never turn their axis; the slerp of a segment
// whose ends agree is the same quaternion at every fraction and is found when building.
class ScaleAxes {
  public:
    template <class Key> void Build(const std::vector<Key>& keys) {
        const size_t n = keys.size();
        keys_.resize(n);
        for (size_t i = 0; i < n; ++i) {
            keys_[i] = SafeUnit(keys[i].val.q);
            if (i > 0) keys_[i].MakeClosest(keys_[i - 1]);
        }
        segs_.resize(n > 0 ? n - 1 : 0);
        for (size_t i = 0; i + 1 < n; ++i) {
            segs_[i].turns = !(keys_[i] == keys_[i + 1]);
            segs_[i].still = Slerp(keys_[i], keys_[i + 1], 0.0f);
        }
    }
    const Quat& AtKey(int i) const { return keys_[size_t(i)]; }
    // Segment i at fraction u.
    Quat Between(int i, float u) const {
        const Seg& s = segs_[size_t(i)];
        return s.turns ? Slerp(keys_[size_t(i)], keys_[size_t(i + 1)], u) : s.still;
    }

  private:
    struct Seg {
        Quat still;
        bool turns = false;
    };
    std::vector<Quat> keys_;
    std::vector<Seg> segs_;
};

// Ease of a TCB segment: a warp of u in [0, 1] that starts slow over a (ease out of the
// earlier key) and ends slow over b (ease into the later key); a + b above 1 is scaled down.
inline float Ease(float u, float a, float b) {
    float s = a + b;
    if (u <= 0.0f || u >= 1.0f || s <= 0.0f) return u;
    if (s > 1.0f) {
        a /= s;
        b /= s;
    }
    float k = 1.0f / (2.0f - a - b);
    if (u < a) return (k / a) * u * u;
    if (u < 1.0f - b) return k * (2.0f * u - a);
    u = 1.0f - u;
    return 1.0f - (k / b) * u * u;
}
// d Ease / du at u = 0 (atEnd false) or u = 1 (atEnd true).
inline float EaseSlopeAtEnd(bool atEnd, float a, float b) {
    float s = a + b;
    if (s <= 0.0f) return 1.0f;
    if (s > 1.0f) {
        a /= s;
        b /= s;
    }
    if ((atEnd ? b : a) > 0.0f) return 0.0f;
    return 2.0f / (2.0f - a - b);
}

// ---------------------------------------------------------------------------------------------
// Bezier: per channel a cubic through the two keys and their handles. With the default handle
// lengths (a third of the segment each way) time is the curve parameter; with other lengths
// the handles move in time too and the parameter is solved for the time.

template <class Key, class V> class BezierEngine {
  public:
    static constexpr int N = Chan<V>::N;
    using KeyType = Key;
    using Value = V;
    static constexpr bool kHasTangents = true;

    void Build(const std::vector<Key>& keys) {
        const int n = int(keys.size());
        times_.resize(size_t(n));
        vals_.resize(size_t(n));
        eff_.resize(size_t(n));
        segs_.resize(size_t(std::max(n - 1, 0)));
        for (int i = 0; i < n; ++i) {
            times_[size_t(i)] = keys[size_t(i)].time;
            const float* v = Chan<V>::P(keys[size_t(i)].val);
            for (int c = 0; c < N; ++c)
                vals_[size_t(i)][size_t(c)] = v[c];
        }
        if constexpr (std::is_same_v<V, ScaleValue>) axes_.Build(keys);
        for (int i = 0; i < n; ++i)
            BuildTangents(keys, i);
        for (int i = 0; i + 1 < n; ++i)
            BuildSegment(keys, i);
        hint_ = 0;
    }

    int Count() const { return int(times_.size()); }
    TimeValue First() const { return times_.front(); }
    TimeValue Last() const { return times_.back(); }

    void Eval(TimeValue t, V& out) const {
        const int n = Count();
        float* o = Chan<V>::P(out);
        int i;
        if (n == 1 || t <= times_[0])
            i = 0;
        else if (t >= times_[size_t(n - 1)])
            i = n - 1;
        else {
            i = FindSegment(times_.data(), n, t, hint_);
            const Seg& sg = segs_[size_t(i)];
            if (sg.mode != kStep) {
                const float u = SegmentFraction(t, times_[size_t(i)], sg.invDt);
                for (int c = 0; c < N; ++c) {
                    float s = sg.mode == kCubic ? u : SolveParam(u, sg.x1[c], sg.x2[c]);
                    o[c] = ((sg.c[c][3] * s + sg.c[c][2]) * s + sg.c[c][1]) * s + sg.c[c][0];
                }
                if constexpr (std::is_same_v<V, ScaleValue>) out.q = axes_.Between(i, u);
                return;
            }
        }
        for (int c = 0; c < N; ++c)
            o[c] = vals_[size_t(i)][size_t(c)];
        if constexpr (std::is_same_v<V, ScaleValue>) out.q = axes_.AtKey(i);
    }

    // Rate leaving the first key (atEnd false) or arriving at the last, per tick.
    void EndSlope(bool atEnd, V& delta, double& ticks) const {
        ticks = 1.0;
        delta = V();
        if constexpr (std::is_same_v<V, ScaleValue>) delta.s = Point3();
        const int n = Count();
        if (n < 2) return;
        float* d = Chan<V>::P(delta);
        if (atEnd) {
            if (segs_[size_t(n - 2)].mode == kStep) return;
            for (int c = 0; c < N; ++c)
                d[c] = -eff_[size_t(n - 1)].in[c];
        } else {
            if (segs_[0].mode == kStep) return;
            for (int c = 0; c < N; ++c)
                d[c] = eff_[0].out[c];
        }
    }

    // Custom sides report what is stored; the other types their computed tangents and the
    // default lengths.
    void FillKey(int i, Key& k) const {
        float* in = Chan<decltype(k.intan)>::P(k.intan);
        float* out = Chan<decltype(k.outtan)>::P(k.outtan);
        float* inL = Chan<decltype(k.inLength)>::P(k.inLength);
        float* outL = Chan<decltype(k.outLength)>::P(k.outLength);
        const bool userIn = GetInTanType(k.flags) == BEZKEY_USER;
        const bool userOut = GetOutTanType(k.flags) == BEZKEY_USER;
        for (int c = 0; c < N; ++c) {
            if (!userIn) {
                in[c] = eff_[size_t(i)].in[c];
                inL[c] = BEZ_DEFAULT_LENGTH;
            }
            if (!userOut) {
                out[c] = eff_[size_t(i)].out[c];
                outL[c] = BEZ_DEFAULT_LENGTH;
            }
        }
    }

    static DWORD NewKeyFlags() {
        int in = BEZKEY_AUTO, out = BEZKEY_AUTO;
        GetBezierDefaultTangentType(in, out);
        return SetOutTanType(SetInTanType(0, in), out);
    }

  private:
    enum : uint8_t { kCubic = 0, kStep = 1, kHandles = 2 };
    struct Seg {
        float invDt = 0.0f;
        uint8_t mode = kStep;
        float c[N][4] = {};
        float x1[N] = {}, x2[N] = {};
    };
    struct Eff {
        float in[N] = {}, out[N] = {}; // intan (backward) and outtan, per tick
        float inLen[N] = {}, outLen[N] = {};
    };

    // Parameter s of the handle curve x(s) = 3(1-s)^2 s x1 + 3(1-s) s^2 x2 + s^3 at x = u.
    // x is monotone for handle lengths in [0, 1]; Newton steps guarded by bisection.
    static float SolveParam(float u, float x1, float x2) {
        float lo = 0.0f, hi = 1.0f, s = u;
        for (int it = 0; it < 12; ++it) {
            const float is = 1.0f - s;
            const float x = 3.0f * is * is * s * x1 + 3.0f * is * s * s * x2 + s * s * s;
            const float err = x - u;
            if (std::fabs(err) < 1e-7f) break;
            if (err > 0.0f)
                hi = s;
            else
                lo = s;
            const float dx = 3.0f * is * is * x1 + 6.0f * is * s * (x2 - x1) + 3.0f * s * s * (1.0f - x2);
            float ns = dx > 1e-6f ? s - err / dx : 0.5f * (lo + hi);
            if (!(ns > lo && ns < hi)) ns = 0.5f * (lo + hi);
            s = ns;
        }
        return s;
    }

    void BuildTangents(const std::vector<Key>& keys, int i) {
        const int n = Count();
        const Key& k = keys[size_t(i)];
        const int inType = int(GetInTanType(k.flags)), outType = int(GetOutTanType(k.flags));
        const float* kin = Chan<decltype(k.intan)>::P(k.intan);
        const float* kout = Chan<decltype(k.outtan)>::P(k.outtan);
        const float* kinL = Chan<decltype(k.inLength)>::P(k.inLength);
        const float* koutL = Chan<decltype(k.outLength)>::P(k.outLength);
        const bool hasPrev = i > 0 && times_[size_t(i)] > times_[size_t(i - 1)];
        const bool hasNext = i + 1 < n && times_[size_t(i + 1)] > times_[size_t(i)];
        const double dtIn = hasPrev ? double(times_[size_t(i)]) - times_[size_t(i - 1)] : 0.0;
        const double dtOut = hasNext ? double(times_[size_t(i + 1)]) - times_[size_t(i)] : 0.0;
        Eff& e = eff_[size_t(i)];
        for (int c = 0; c < N; ++c) {
            const double v = vals_[size_t(i)][size_t(c)];
            const double sIn = hasPrev ? (v - vals_[size_t(i - 1)][size_t(c)]) / dtIn : 0.0;
            const double sOut = hasNext ? (vals_[size_t(i + 1)][size_t(c)] - v) / dtOut : 0.0;
            double smooth;
            if (hasPrev && hasNext)
                smooth = (vals_[size_t(i + 1)][size_t(c)] - vals_[size_t(i - 1)][size_t(c)]) / (dtIn + dtOut);
            else
                smooth = hasPrev ? sIn : sOut;
            auto slopeOf = [&](int type, bool inSide) -> double {
                const double lin = inSide ? (hasPrev ? sIn : sOut) : (hasNext ? sOut : sIn);
                switch (type) {
                case BEZKEY_LINEAR:
                    return lin;
                case BEZKEY_FAST:
                    return 2.0 * lin;
                case BEZKEY_STEP:
                case BEZKEY_SLOW:
                    return 0.0;
                case BEZKEY_AUTO: {
                    if (!(hasPrev && hasNext)) return lin;
                    if (sIn * sOut <= 0.0) return 0.0;
                    const double limit = 3.0 * std::min(std::fabs(sIn), std::fabs(sOut));
                    return std::clamp(smooth, -limit, limit);
                }
                case BEZKEY_USER:
                    return inSide ? -double(kin[c]) : double(kout[c]);
                case BEZKEY_SMOOTH:
                default:
                    return smooth;
                }
            };
            e.in[c] = float(-slopeOf(inType, true));
            e.out[c] = float(slopeOf(outType, false));
            e.inLen[c] = inType == BEZKEY_USER ? Clamp(kinL[c], 0.0f, 1.0f) : BEZ_DEFAULT_LENGTH;
            e.outLen[c] = outType == BEZKEY_USER ? Clamp(koutL[c], 0.0f, 1.0f) : BEZ_DEFAULT_LENGTH;
        }
    }

    void BuildSegment(const std::vector<Key>& keys, int i) {
        Seg& sg = segs_[size_t(i)];
        const double dt = double(times_[size_t(i + 1)]) - double(times_[size_t(i)]);
        const bool step = GetOutTanType(keys[size_t(i)].flags) == BEZKEY_STEP ||
                          GetInTanType(keys[size_t(i + 1)].flags) == BEZKEY_STEP;
        if (dt <= 0.0 || step) {
            sg = Seg();
            return;
        }
        sg.invDt = float(1.0 / dt);
        sg.mode = kCubic;
        const Eff& a = eff_[size_t(i)];
        const Eff& b = eff_[size_t(i + 1)];
        for (int c = 0; c < N; ++c) {
            const double p0 = vals_[size_t(i)][size_t(c)], p3 = vals_[size_t(i + 1)][size_t(c)];
            const double p1 = p0 + double(a.out[c]) * a.outLen[c] * dt;
            const double p2 = p3 + double(b.in[c]) * b.inLen[c] * dt;
            sg.c[c][0] = float(p0);
            sg.c[c][1] = float(3.0 * (p1 - p0));
            sg.c[c][2] = float(3.0 * (p0 - 2.0 * p1 + p2));
            sg.c[c][3] = float(p3 - p0 + 3.0 * (p1 - p2));
            sg.x1[c] = a.outLen[c];
            sg.x2[c] = 1.0f - b.inLen[c];
            if (std::fabs(a.outLen[c] - BEZ_DEFAULT_LENGTH) > 1e-5f ||
                std::fabs(b.inLen[c] - BEZ_DEFAULT_LENGTH) > 1e-5f)
                sg.mode = kHandles;
        }
    }

    std::vector<TimeValue> times_;
    std::vector<std::array<float, N>> vals_;
    std::vector<Eff> eff_;
    std::vector<Seg> segs_;
    ScaleAxes axes_;
    mutable int hint_ = 0;
};

// ---------------------------------------------------------------------------------------------
// TCB (Kochanek-Bartels) on float channels: Hermite segments whose tangents come from tension,
// continuity and bias, scaled for uneven key spacing, and eased in time.

template <class Key, class V> class TCBEngine {
  public:
    static constexpr int N = Chan<V>::N;
    using KeyType = Key;
    using Value = V;
    static constexpr bool kHasTangents = false;

    void Build(const std::vector<Key>& keys) {
        const int n = int(keys.size());
        times_.resize(size_t(n));
        vals_.resize(size_t(n));
        segs_.resize(size_t(std::max(n - 1, 0)));
        std::vector<std::array<float, N>>& td = td_;
        std::vector<std::array<float, N>>& ts = ts_;
        td.assign(size_t(n), {});
        ts.assign(size_t(n), {});
        for (int i = 0; i < n; ++i) {
            times_[size_t(i)] = keys[size_t(i)].time;
            const float* v = Chan<V>::P(keys[size_t(i)].val);
            for (int c = 0; c < N; ++c)
                vals_[size_t(i)][size_t(c)] = v[c];
        }
        if constexpr (std::is_same_v<V, ScaleValue>) axes_.Build(keys);
        // Interior keys.
        for (int i = 1; i + 1 < n; ++i) {
            const Key& k = keys[size_t(i)];
            const float T = Clamp(k.tens, -1.0f, 1.0f), C = Clamp(k.cont, -1.0f, 1.0f),
                        B = Clamp(k.bias, -1.0f, 1.0f);
            const double dtIn = std::max(0.0, double(times_[size_t(i)]) - times_[size_t(i - 1)]);
            const double dtOut = std::max(0.0, double(times_[size_t(i + 1)]) - times_[size_t(i)]);
            const double sum = dtIn + dtOut;
            const double adjIn = sum > 0.0 ? 2.0 * dtIn / sum : 1.0;
            const double adjOut = sum > 0.0 ? 2.0 * dtOut / sum : 1.0;
            for (int c = 0; c < N; ++c) {
                const double gIn = double(vals_[size_t(i)][size_t(c)]) - vals_[size_t(i - 1)][size_t(c)];
                const double gOut = double(vals_[size_t(i + 1)][size_t(c)]) - vals_[size_t(i)][size_t(c)];
                td[size_t(i)][size_t(c)] = float(adjIn * ((1 - T) * (1 - C) * (1 + B) * 0.5 * gIn +
                                                          (1 - T) * (1 + C) * (1 - B) * 0.5 * gOut));
                ts[size_t(i)][size_t(c)] = float(adjOut * ((1 - T) * (1 + C) * (1 + B) * 0.5 * gIn +
                                                           (1 - T) * (1 - C) * (1 - B) * 0.5 * gOut));
            }
        }
        // End keys: a straight line for two keys, else no curvature at the end.
        if (n >= 2) {
            const float T0 = Clamp(keys[0].tens, -1.0f, 1.0f);
            const float Tn = Clamp(keys[size_t(n - 1)].tens, -1.0f, 1.0f);
            for (int c = 0; c < N; ++c) {
                const double g0 = double(vals_[1][size_t(c)]) - vals_[0][size_t(c)];
                const double gn = double(vals_[size_t(n - 1)][size_t(c)]) - vals_[size_t(n - 2)][size_t(c)];
                if (n == 2) {
                    ts[0][size_t(c)] = float(g0 * (1 - T0));
                    td[1][size_t(c)] = float(gn * (1 - Tn));
                } else {
                    ts[0][size_t(c)] = float((g0 * 1.5 - td[1][size_t(c)] * 0.5) * (1 - T0));
                    td[size_t(n - 1)][size_t(c)] =
                        float((gn * 1.5 - ts[size_t(n - 2)][size_t(c)] * 0.5) * (1 - Tn));
                }
            }
        }
        for (int i = 0; i + 1 < n; ++i) {
            Seg& sg = segs_[size_t(i)];
            if (!TimeTCBSegment(sg, keys[size_t(i)], keys[size_t(i + 1)])) continue;
            for (int c = 0; c < N; ++c) {
                const double p0 = vals_[size_t(i)][size_t(c)], p1 = vals_[size_t(i + 1)][size_t(c)];
                const double m0 = ts[size_t(i)][size_t(c)], m1 = td[size_t(i + 1)][size_t(c)];
                sg.c[c][0] = float(p0);
                sg.c[c][1] = float(m0);
                sg.c[c][2] = float(3.0 * (p1 - p0) - 2.0 * m0 - m1);
                sg.c[c][3] = float(2.0 * (p0 - p1) + m0 + m1);
            }
        }
        hint_ = 0;
    }

    int Count() const { return int(times_.size()); }
    TimeValue First() const { return times_.front(); }
    TimeValue Last() const { return times_.back(); }

    void Eval(TimeValue t, V& out) const {
        const int n = Count();
        float* o = Chan<V>::P(out);
        int i;
        if (n == 1 || t <= times_[0])
            i = 0;
        else if (t >= times_[size_t(n - 1)])
            i = n - 1;
        else {
            i = FindSegment(times_.data(), n, t, hint_);
            const Seg& sg = segs_[size_t(i)];
            if (!sg.hold) {
                const float u = SegmentFraction(t, times_[size_t(i)], sg.invDt);
                const float s = Ease(u, sg.easeA, sg.easeB);
                for (int c = 0; c < N; ++c)
                    o[c] = ((sg.c[c][3] * s + sg.c[c][2]) * s + sg.c[c][1]) * s + sg.c[c][0];
                if constexpr (std::is_same_v<V, ScaleValue>) out.q = axes_.Between(i, s);
                return;
            }
        }
        for (int c = 0; c < N; ++c)
            o[c] = vals_[size_t(i)][size_t(c)];
        if constexpr (std::is_same_v<V, ScaleValue>) out.q = axes_.AtKey(i);
    }

    void EndSlope(bool atEnd, V& delta, double& ticks) const {
        ticks = 1.0;
        delta = V();
        if constexpr (std::is_same_v<V, ScaleValue>) delta.s = Point3();
        const int n = Count();
        if (n < 2) return;
        const Seg& sg = segs_[size_t(atEnd ? n - 2 : 0)];
        if (sg.hold) return;
        const float k = EaseSlopeAtEnd(atEnd, sg.easeA, sg.easeB) * sg.invDt;
        float* d = Chan<V>::P(delta);
        for (int c = 0; c < N; ++c)
            d[c] = k * (atEnd ? td_[size_t(n - 1)][size_t(c)] : ts_[0][size_t(c)]);
    }

    void FillKey(int, Key&) const {}
    static DWORD NewKeyFlags() { return 0; }

  private:
    struct Seg {
        float invDt = 0.0f;
        bool hold = true;
        float easeA = 0.0f, easeB = 0.0f;
        float c[N][4] = {};
    };
    std::vector<TimeValue> times_;
    std::vector<std::array<float, N>> vals_;
    std::vector<std::array<float, N>> td_, ts_;
    std::vector<Seg> segs_;
    ScaleAxes axes_;
    mutable int hint_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Linear on float channels.

template <class Key, class V> class LinearEngine {
  public:
    static constexpr int N = Chan<V>::N;
    using KeyType = Key;
    using Value = V;
    static constexpr bool kHasTangents = false;

    void Build(const std::vector<Key>& keys) {
        const int n = int(keys.size());
        times_.resize(size_t(n));
        vals_.resize(size_t(n));
        invDt_.resize(size_t(std::max(n - 1, 0)));
        for (int i = 0; i < n; ++i) {
            times_[size_t(i)] = keys[size_t(i)].time;
            vals_[size_t(i)] = keys[size_t(i)].val;
        }
        if constexpr (std::is_same_v<V, ScaleValue>) axes_.Build(keys);
        for (int i = 0; i + 1 < n; ++i) {
            const double dt = double(times_[size_t(i + 1)]) - double(times_[size_t(i)]);
            invDt_[size_t(i)] = dt > 0.0 ? float(1.0 / dt) : 0.0f;
        }
        hint_ = 0;
    }

    int Count() const { return int(times_.size()); }
    TimeValue First() const { return times_.front(); }
    TimeValue Last() const { return times_.back(); }

    void Eval(TimeValue t, V& out) const {
        const int n = Count();
        if (n == 1 || t <= times_[0]) return Pick(0, out);
        if (t >= times_[size_t(n - 1)]) return Pick(n - 1, out);
        const int i = FindSegment(times_.data(), n, t, hint_);
        if (invDt_[size_t(i)] == 0.0f) return Pick(i, out);
        const float u = SegmentFraction(t, times_[size_t(i)], invDt_[size_t(i)]);
        if constexpr (std::is_same_v<V, ScaleValue>) {
            out.s = vals_[size_t(i)].s + (vals_[size_t(i + 1)].s - vals_[size_t(i)].s) * u;
            out.q = axes_.Between(i, u);
        } else {
            out = vals_[size_t(i)] + (vals_[size_t(i + 1)] - vals_[size_t(i)]) * u;
        }
    }

    void EndSlope(bool atEnd, V& delta, double& ticks) const {
        ticks = 1.0;
        delta = V();
        if constexpr (std::is_same_v<V, ScaleValue>) delta.s = Point3();
        const int n = Count();
        if (n < 2) return;
        const int i = atEnd ? n - 2 : 0;
        if constexpr (std::is_same_v<V, ScaleValue>)
            delta.s = (vals_[size_t(i + 1)].s - vals_[size_t(i)].s) * invDt_[size_t(i)];
        else
            delta = (vals_[size_t(i + 1)] - vals_[size_t(i)]) * invDt_[size_t(i)];
    }

    void FillKey(int, Key&) const {}
    static DWORD NewKeyFlags() { return 0; }

  private:
    void Pick(int i, V& out) const {
        out = vals_[size_t(i)];
        if constexpr (std::is_same_v<V, ScaleValue>) out.q = axes_.AtKey(i);
    }
    std::vector<TimeValue> times_;
    std::vector<V> vals_;
    std::vector<float> invDt_;
    ScaleAxes axes_;
    mutable int hint_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Rotations.

// Exp of a pure quaternion (v, 0).
inline Quat ExpV(const Point3& v) {
    const double a = std::sqrt(double(v.x) * v.x + double(v.y) * v.y + double(v.z) * v.z);
    if (a < 1e-12) return Quat();
    const double s = std::sin(a) / a;
    return Quat(v.x * s, v.y * s, v.z * s, std::cos(a));
}

// Rate at an end of a rotation track by a short difference (a delta over `ticks`).
template <class Engine> void QuatEndSlope(const Engine& e, bool atEnd, Quat& delta, double& ticks) {
    delta = Quat();
    ticks = 1.0;
    const int n = e.Count();
    if (n < 2) return;
    const TimeValue a = atEnd ? e.TimeAt(n - 2) : e.TimeAt(0);
    const TimeValue b = atEnd ? e.TimeAt(n - 1) : e.TimeAt(1);
    const int64_t span = int64_t(b) - int64_t(a);
    if (span <= 0) return;
    const TimeValue h = TimeValue(std::min<int64_t>(span, 8));
    Quat q0, q1;
    if (atEnd) {
        e.Eval(b - h, q0);
        e.Eval(b, q1);
    } else {
        e.Eval(a, q0);
        e.Eval(a + h, q1);
    }
    q1.MakeClosest(q0);
    delta = Ops<Quat>::Diff(q1, q0);
    ticks = double(h);
}

// TCB rotation: relative AngAxis keys; squad between absolute key rotations with TCB control
// points in log space; a segment turning more than half a turn spins about its axis instead.
class TCBRotEngine {
  public:
    using KeyType = ITCBRotKey;
    using Value = Quat;
    static constexpr bool kHasTangents = false;

    void Build(const std::vector<ITCBRotKey>& keys);
    int Count() const { return int(times_.size()); }
    TimeValue First() const { return times_.front(); }
    TimeValue Last() const { return times_.back(); }
    TimeValue TimeAt(int i) const { return times_[size_t(i)]; }
    void Eval(TimeValue t, Quat& out) const;
    void EndSlope(bool atEnd, Quat& delta, double& ticks) const { QuatEndSlope(*this, atEnd, delta, ticks); }
    void FillKey(int, ITCBRotKey&) const {}
    static DWORD NewKeyFlags() { return 0; }
    // Absolute rotation of key i (after Build).
    const Quat& Absolute(int i) const { return abs_[size_t(i)]; }

  private:
    struct Seg {
        float invDt = 0.0f;
        bool hold = true;
        bool spin = false;
        float easeA = 0.0f, easeB = 0.0f;
        Point3 axis;
        float angle = 0.0f;
        Quat a, b; // squad inner points
    };
    std::vector<TimeValue> times_;
    std::vector<Quat> abs_;
    std::vector<Seg> segs_;
    std::vector<Point3> logs_; // per key i > 0: log of its relative rotation
    mutable int hint_ = 0;
};

// Linear rotation: absolute keys, slerp the short way.
class LinRotEngine {
  public:
    using KeyType = ILinRotKey;
    using Value = Quat;
    static constexpr bool kHasTangents = false;

    void Build(const std::vector<ILinRotKey>& keys);
    int Count() const { return int(times_.size()); }
    TimeValue First() const { return times_.front(); }
    TimeValue Last() const { return times_.back(); }
    TimeValue TimeAt(int i) const { return times_[size_t(i)]; }
    void Eval(TimeValue t, Quat& out) const;
    void EndSlope(bool atEnd, Quat& delta, double& ticks) const { QuatEndSlope(*this, atEnd, delta, ticks); }
    void FillKey(int, ILinRotKey&) const {}
    static DWORD NewKeyFlags() { return 0; }

  private:
    std::vector<TimeValue> times_;
    std::vector<Quat> vals_;
    std::vector<float> invDt_;
    mutable int hint_ = 0;
};

} // namespace host::ctrl
