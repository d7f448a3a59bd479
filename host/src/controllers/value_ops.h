// Arithmetic on controller values, one set per value type, so that out-of-range types, lists
// and relative sets are written once for float, Point3, Quat and ScaleValue.
//
// Offsets are "deltas": Add(a, Diff(b, a)) == b, Scale(d, m) repeats a delta m times (m may
// be fractional or negative). For rotations a delta is applied after: Add(q, d) = q * d.
#pragma once

#include <cmath>

#include "control.h"
#include "decomp.h"
#include "matrix3.h"
#include "point3.h"
#include "quat.h"
#include "scalevalue.h"

namespace host::ctrl {

// Unit quaternion; zero (or non-finite) becomes the identity.
inline Quat SafeUnit(const Quat& q) {
    double l2 = double(q.x) * q.x + double(q.y) * q.y + double(q.z) * q.z + double(q.w) * q.w;
    if (!(l2 > 1e-30) || !std::isfinite(l2)) return Quat();
    double inv = 1.0 / std::sqrt(l2);
    return Quat(q.x * inv, q.y * inv, q.z * inv, q.w * inv);
}

// q^m along the short arc of q (w >= 0 first), for unit q.
inline Quat QuatPow(const Quat& qin, double m) {
    Quat q = qin.w < 0.0f ? -qin : qin;
    double v = std::sqrt(double(q.x) * q.x + double(q.y) * q.y + double(q.z) * q.z);
    if (v < 1e-12) return Quat();
    double half = std::atan2(v, double(q.w)) * m;
    double s = std::sin(half) / v;
    return Quat(q.x * s, q.y * s, q.z * s, std::cos(half));
}

// The rotation of an AngAxis with its axis normalized; a zero axis is the identity.
inline Quat QuatOfAngAxis(const AngAxis& aa) {
    Point3 ax = aa.axis.Normalize();
    if (ax == Point3()) return Quat();
    return QFromAngAxis(aa.angle, ax);
}

// b applied on top of a as one stretch: factors multiply when the axes agree; otherwise the
// stretch of the combined matrix. A factor's sign survives.
inline ScaleValue ComposeScale(const ScaleValue& a, const ScaleValue& b) {
    auto uniform = [](const Point3& s) { return s.x == s.y && s.y == s.z; };
    if (std::fabs(a.q % b.q) > 1.0f - 1e-6f) return ScaleValue(a.s * b.s, a.q);
    if (uniform(b.s)) return ScaleValue(a.s * b.s.x, a.q);
    if (uniform(a.s)) return ScaleValue(b.s * a.s.x, b.q);
    Matrix3 m = host::ScaleValueMatrix(a) * host::ScaleValueMatrix(b);
    AffineParts ap;
    decomp_affine(m, &ap);
    return ScaleValue(ap.k * ap.f, ap.u);
}

template <class V> struct Ops;

template <> struct Ops<float> {
    static float Identity() { return 0.0f; }
    static float Add(float a, float d) { return a + d; }
    static float Diff(float to, float from) { return to - from; }
    static float Scale(float d, double m) { return float(d * m); }
    static float Multiply(float v, float m) { return v * m; }
    static float Lerp(float a, float b, float u) { return a + (b - a) * u; }
};

template <> struct Ops<Point3> {
    static Point3 Identity() { return Point3(); }
    static Point3 Add(const Point3& a, const Point3& d) { return a + d; }
    static Point3 Diff(const Point3& to, const Point3& from) { return to - from; }
    static Point3 Scale(const Point3& d, double m) { return d * float(m); }
    static Point3 Multiply(const Point3& v, float m) { return v * m; }
    static Point3 Lerp(const Point3& a, const Point3& b, float u) { return a + (b - a) * u; }
};

template <> struct Ops<Quat> {
    static Quat Identity() { return Quat(); }
    static Quat Add(const Quat& a, const Quat& d) { return SafeUnit(a * d); }
    static Quat Diff(const Quat& to, const Quat& from) { return SafeUnit(Inverse(from) * to); }
    static Quat Scale(const Quat& d, double m) { return QuatPow(d, m); }
    static Quat Multiply(const Quat& v, float m) { return QuatPow(v, m); }
    static Quat Lerp(const Quat& a, const Quat& b, float u) {
        Quat c = b;
        c.MakeClosest(a);
        return Slerp(a, c, u);
    }
};

// Scale deltas are ratios of factors; the axis stays that of the base value.
template <> struct Ops<ScaleValue> {
    static ScaleValue Identity() { return ScaleValue(); }
    static ScaleValue Add(const ScaleValue& a, const ScaleValue& d) { return ScaleValue(a.s * d.s, a.q); }
    static ScaleValue Diff(const ScaleValue& to, const ScaleValue& from) {
        auto ratio = [](float t, float f) { return f != 0.0f ? t / f : 1.0f; };
        return ScaleValue(Point3(ratio(to.s.x, from.s.x), ratio(to.s.y, from.s.y), ratio(to.s.z, from.s.z)),
                          to.q);
    }
    static ScaleValue Scale(const ScaleValue& d, double m) {
        auto p = [m](float f) { return float(std::copysign(std::pow(std::fabs(double(f)), m), double(f))); };
        return ScaleValue(Point3(p(d.s.x), p(d.s.y), p(d.s.z)), d.q);
    }
    static ScaleValue Multiply(const ScaleValue& v, float m) { return ScaleValue(v.s * m, v.q); }
    static ScaleValue Lerp(const ScaleValue& a, const ScaleValue& b, float u) {
        return ScaleValue(a.s + (b.s - a.s) * u, Ops<Quat>::Lerp(a.q, b.q, u));
    }
};

// Combines an absolute value into a relative request of the controller's super class:
// float and point3 add, position pre-translates, rotation pre-multiplies, scale ApplyScaling.
inline void ApplyRelative(SClass_ID, void* val, const float& v) { *static_cast<float*>(val) += v; }
inline void ApplyRelative(SClass_ID sc, void* val, const Point3& v) {
    if (sc == CTRL_POSITION_CLASS_ID)
        static_cast<Matrix3*>(val)->PreTranslate(v);
    else
        *static_cast<Point3*>(val) += v;
}
inline void ApplyRelative(SClass_ID, void* val, const Quat& v) {
    PreRotateMatrix(*static_cast<Matrix3*>(val), v);
}
inline void ApplyRelative(SClass_ID, void* val, const ScaleValue& v) {
    ApplyScaling(*static_cast<Matrix3*>(val), v);
}

// The absolute value a relative SetValue asks for: float and position add the delta, a
// rotation delta (an AngAxis) turns first (Quat(aa) * old), a scale delta composes.
inline float CombineRelativeSet(const float& cur, const void* delta) {
    return cur + *static_cast<const float*>(delta);
}
inline Point3 CombineRelativeSet(const Point3& cur, const void* delta) {
    return cur + *static_cast<const Point3*>(delta);
}
inline Quat CombineRelativeSet(const Quat& cur, const void* delta) {
    return SafeUnit(QuatOfAngAxis(*static_cast<const AngAxis*>(delta)) * cur);
}
inline ScaleValue CombineRelativeSet(const ScaleValue& cur, const void* delta) {
    return ComposeScale(cur, *static_cast<const ScaleValue*>(delta));
}

// Values read from a SetValue argument; rotations are made unit (zero: identity).
inline float ReadSetValue(const void* val, float*) { return *static_cast<const float*>(val); }
inline Point3 ReadSetValue(const void* val, Point3*) { return *static_cast<const Point3*>(val); }
inline Quat ReadSetValue(const void* val, Quat*) { return SafeUnit(*static_cast<const Quat*>(val)); }
inline ScaleValue ReadSetValue(const void* val, ScaleValue*) {
    ScaleValue v = *static_cast<const ScaleValue*>(val);
    v.q = SafeUnit(v.q);
    return v;
}

} // namespace host::ctrl
