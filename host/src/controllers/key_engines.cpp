#include "key_engines.h"

namespace host::ctrl {

namespace {
constexpr float kHalfTurn = 3.14159265358979f;

// Log of a relative key: unit axis times half the angle, kept for any angle (spins included).
Point3 LogOfRelative(const AngAxis& aa) {
    Point3 ax = aa.axis.Normalize();
    if (ax == Point3()) return Point3();
    return ax * (aa.angle * 0.5f);
}
} // namespace

void TCBRotEngine::Build(const std::vector<ITCBRotKey>& keys) {
    const int n = int(keys.size());
    times_.resize(size_t(n));
    abs_.resize(size_t(n));
    logs_.assign(size_t(n), Point3());
    segs_.resize(size_t(std::max(n - 1, 0)));
    for (int i = 0; i < n; ++i) {
        times_[size_t(i)] = keys[size_t(i)].time;
        const Quat r = QuatOfAngAxis(keys[size_t(i)].val);
        abs_[size_t(i)] = i == 0 ? r : SafeUnit(abs_[size_t(i - 1)] * r);
        if (i > 0) logs_[size_t(i)] = LogOfRelative(keys[size_t(i)].val);
    }
    // Tangents in log space; the ends keep their key (a = q, b = q) scaled by tension.
    std::vector<Point3> td(static_cast<size_t>(n)), ts(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const ITCBRotKey& k = keys[size_t(i)];
        const float T = Clamp(k.tens, -1.0f, 1.0f), C = Clamp(k.cont, -1.0f, 1.0f),
                    B = Clamp(k.bias, -1.0f, 1.0f);
        const bool hasPrev = i > 0, hasNext = i + 1 < n;
        const Point3 gIn = hasPrev ? logs_[size_t(i)] : Point3();
        const Point3 gOut = hasNext ? logs_[size_t(i + 1)] : Point3();
        if (hasPrev && hasNext) {
            const double dtIn = std::max(0.0, double(times_[size_t(i)]) - times_[size_t(i - 1)]);
            const double dtOut = std::max(0.0, double(times_[size_t(i + 1)]) - times_[size_t(i)]);
            const double sum = dtIn + dtOut;
            const float adjIn = sum > 0.0 ? float(2.0 * dtIn / sum) : 1.0f;
            const float adjOut = sum > 0.0 ? float(2.0 * dtOut / sum) : 1.0f;
            td[size_t(i)] =
                (gIn * ((1 - T) * (1 - C) * (1 + B) * 0.5f) + gOut * ((1 - T) * (1 + C) * (1 - B) * 0.5f)) *
                adjIn;
            ts[size_t(i)] =
                (gIn * ((1 - T) * (1 + C) * (1 + B) * 0.5f) + gOut * ((1 - T) * (1 - C) * (1 - B) * 0.5f)) *
                adjOut;
        } else {
            td[size_t(i)] = gIn * (1 - T);
            ts[size_t(i)] = gOut * (1 - T);
        }
    }
    for (int i = 0; i + 1 < n; ++i) {
        Seg& sg = segs_[size_t(i)];
        if (!TimeTCBSegment(sg, keys[size_t(i)], keys[size_t(i + 1)])) continue;
        const AngAxis& rel = keys[size_t(i + 1)].val;
        sg.axis = rel.axis.Normalize();
        sg.angle = sg.axis == Point3() ? 0.0f : rel.angle;
        sg.spin = std::fabs(sg.angle) > kHalfTurn + 1e-4f;
        const Point3 gOut = logs_[size_t(i + 1)];
        sg.a = SafeUnit(abs_[size_t(i)] * ExpV((ts[size_t(i)] - gOut) * 0.5f));
        sg.b = SafeUnit(abs_[size_t(i + 1)] * ExpV((gOut - td[size_t(i + 1)]) * 0.5f));
    }
    hint_ = 0;
}

void TCBRotEngine::Eval(TimeValue t, Quat& out) const {
    const int n = Count();
    if (n == 1 || t <= times_[0]) {
        out = abs_[0];
        return;
    }
    if (t >= times_[size_t(n - 1)]) {
        out = abs_[size_t(n - 1)];
        return;
    }
    const int i = FindSegment(times_.data(), n, t, hint_);
    const Seg& sg = segs_[size_t(i)];
    if (sg.hold) {
        out = abs_[size_t(i)];
        return;
    }
    const float s = Ease(SegmentFraction(t, times_[size_t(i)], sg.invDt), sg.easeA, sg.easeB);
    if (sg.spin)
        out = SafeUnit(abs_[size_t(i)] * QFromAngAxis(sg.angle * s, sg.axis));
    else
        out = Squad(abs_[size_t(i)], sg.a, sg.b, abs_[size_t(i + 1)], s);
}

void LinRotEngine::Build(const std::vector<ILinRotKey>& keys) {
    const int n = int(keys.size());
    times_.resize(size_t(n));
    vals_.resize(size_t(n));
    invDt_.resize(size_t(std::max(n - 1, 0)));
    for (int i = 0; i < n; ++i) {
        times_[size_t(i)] = keys[size_t(i)].time;
        vals_[size_t(i)] = SafeUnit(keys[size_t(i)].val);
        if (i > 0) vals_[size_t(i)].MakeClosest(vals_[size_t(i - 1)]);
    }
    for (int i = 0; i + 1 < n; ++i) {
        const double dt = double(times_[size_t(i + 1)]) - double(times_[size_t(i)]);
        invDt_[size_t(i)] = dt > 0.0 ? float(1.0 / dt) : 0.0f;
    }
    hint_ = 0;
}

void LinRotEngine::Eval(TimeValue t, Quat& out) const {
    const int n = Count();
    if (n == 1 || t <= times_[0]) {
        out = vals_[0];
        return;
    }
    if (t >= times_[size_t(n - 1)]) {
        out = vals_[size_t(n - 1)];
        return;
    }
    const int i = FindSegment(times_.data(), n, t, hint_);
    if (invDt_[size_t(i)] == 0.0f) {
        out = vals_[size_t(i)];
        return;
    }
    out = Slerp(vals_[size_t(i)], vals_[size_t(i + 1)],
                SegmentFraction(t, times_[size_t(i)], invDt_[size_t(i)]));
}

} // namespace host::ctrl
