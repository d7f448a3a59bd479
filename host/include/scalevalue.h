// ScaleValue: a per-axis scale in its own axis system.
//
// s holds the factors along the rows of matrix(q): the scale's matrix is
// Inverse(matrix(q)) * ScaleMatrix(s) * matrix(q), a symmetric stretch (row vectors, applied
// first). With q the identity it is plain ScaleMatrix(s).
#pragma once

#include "matrix3.h"
#include "point3.h"
#include "quat.h"

class ScaleValue {
  public:
    Point3 s{1.0f, 1.0f, 1.0f}; // factors; (1, 1, 1) by default
    Quat q;                     // axis system of the scale; identity by default

    constexpr ScaleValue() = default;
    // Factors as given along the identity axes.
    constexpr ScaleValue(const Point3& as) : s(as) {} // NOLINT: implicit as in the SDK
    constexpr ScaleValue(const Point3& as, const Quat& aq) : s(as), q(aq) {}
    // Uniform factor f along the identity axes.
    constexpr explicit ScaleValue(float f) : s(f, f, f) {}

    // Factor i (0..2).
    float& operator[](int i) { return s[i]; }
    const float& operator[](int i) const { return s[i]; }

    // Key arithmetic: factors add (subtract) per component; the axis quaternions compose
    // (a + b turns by a.q then b.q; a - b undoes b.q). A float multiplies the factors only.
    ScaleValue& operator+=(const ScaleValue& o) {
        s += o.s;
        q = q * o.q;
        return *this;
    }
    ScaleValue& operator-=(const ScaleValue& o) {
        s -= o.s;
        q = q * Inverse(o.q);
        return *this;
    }
    ScaleValue& operator*=(float f) {
        s *= f;
        return *this;
    }
    bool operator==(const ScaleValue& o) const { return s == o.s && q == o.q; }
    bool operator!=(const ScaleValue& o) const { return !(*this == o); }
};

inline ScaleValue operator+(const ScaleValue& a, const ScaleValue& b) {
    ScaleValue r = a;
    return r += b;
}
inline ScaleValue operator-(const ScaleValue& a, const ScaleValue& b) {
    ScaleValue r = a;
    return r -= b;
}
inline ScaleValue operator*(const ScaleValue& a, float f) {
    ScaleValue r = a;
    return r *= f;
}
inline ScaleValue operator*(float f, const ScaleValue& a) {
    ScaleValue r = a;
    return r *= f;
}

// m = Inverse(matrix(v.q)) * ScaleMatrix(v.s) * matrix(v.q) * m: the scale applied before
// (to the left of) m, in its own axis frame. Translation of m is kept.
void ApplyScaling(Matrix3& m, const ScaleValue& v);

namespace host {
// The matrix of a ScaleValue: ApplyScaling on the identity. No translation.
Matrix3 ScaleValueMatrix(const ScaleValue& v);
} // namespace host
