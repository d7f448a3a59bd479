// Out-of-range types: the value of a keyed track before its first and after its last key.
#pragma once

#include <cstdint>

#include "control.h"
#include "value_ops.h"

namespace host::ctrl {

// Floor division for ticks (the remainder is never negative).
inline int64_t FloorDiv(int64_t a, int64_t b) {
    int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
    return q;
}

// When t lies outside range, computes out by the out-of-range type of that side, narrows
// valid and answers true; inside the range (or for a range of one instant) answers false and
// touches nothing. local(tt, V&) evaluates inside the range; slope(atEnd, V& delta, double&
// ticks) gives the rate at an end as a delta over a number of ticks (for ORT_LINEAR).
// Constant keeps (-inf, first] and [last, +inf); Identity the open side; the others [t, t].
template <class V, class Local, class Slope>
bool OrtEval(TimeValue t, V& out, Interval& valid, const Interval& range, int ortBefore, int ortAfter,
             Local&& local, Slope&& slope) {
    if (range.Empty()) return false;
    const TimeValue s = range.Start(), e = range.End();
    if (t >= s && t <= e) return false;
    const bool before = t < s;
    int ort = before ? ortBefore : ortAfter;
    const int64_t d = int64_t(e) - int64_t(s);
    if (d == 0 && ort != ORT_IDENTITY) ort = ORT_CONSTANT;
    using O = Ops<V>;
    switch (ort) {
    case ORT_CYCLE:
    case ORT_LOOP:
    case ORT_OSCILLATE:
    case ORT_RELATIVE_REPEAT: {
        const int64_t off = int64_t(t) - int64_t(s);
        const int64_t n = FloorDiv(off, d);
        const int64_t r = off - n * d;
        TimeValue tm = TimeValue(int64_t(s) + r);
        if (ort == ORT_OSCILLATE && (n & 1)) tm = TimeValue(int64_t(e) - r);
        local(tm, out);
        if (ort == ORT_LOOP || ort == ORT_RELATIVE_REPEAT) {
            V vs, ve;
            local(s, vs);
            local(e, ve);
            if (ort == ORT_LOOP)
                out = O::Add(out, O::Scale(O::Diff(vs, ve), double(r) / double(d)));
            else
                out = O::Add(out, O::Scale(O::Diff(ve, vs), double(n)));
        }
        valid &= Interval(t, t);
        return true;
    }
    case ORT_LINEAR: {
        V delta;
        double ticks = 1.0;
        slope(!before, delta, ticks);
        V edge;
        local(before ? s : e, edge);
        const double dt = double(t) - double(before ? s : e);
        out = ticks > 0.0 ? O::Add(edge, O::Scale(delta, dt / ticks)) : edge;
        valid &= Interval(t, t);
        return true;
    }
    case ORT_IDENTITY:
        out = O::Identity();
        valid &= before ? Interval(TIME_NegInfinity, s - 1) : Interval(e + 1, TIME_PosInfinity);
        return true;
    case ORT_CONSTANT:
    default:
        local(before ? s : e, out);
        valid &= before ? Interval(TIME_NegInfinity, s) : Interval(e, TIME_PosInfinity);
        return true;
    }
}

} // namespace host::ctrl
