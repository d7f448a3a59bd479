#include "solvers/ikfk_math.h"

#include <algorithm>
#include <cmath>

namespace kt {

// The angle of the clamped cosine, taken through atan2 of sine and cosine: the same value,
// without acos's loss of precision near 0 and pi, where nearly straight limbs live.
float AngleBetween(const Point3& a, const Point3& b) {
    float lens = std::sqrt(a.LengthSquared() * b.LengthSquared());
    if (lens < 0.01f) return 0.0f;
    return std::atan2((a ^ b).Length(), a % b);
}

Quat QuatFromX(const Point3& v) {
    float len = v.Length();
    float angle = len < 0.01f ? 0.0f : std::atan2(std::sqrt(v.y * v.y + v.z * v.z), v.x);
    return Quat(AngAxis(Point3(0.0f, v.z, -v.y).Normalize(), angle));
}

Quat QuatArc(const Point3& a, const Point3& b) {
    return Quat(AngAxis((b ^ a).Normalize(), AngleBetween(a, b)));
}

Matrix3 FrameFromPoints(const Point3& origin, const Point3& p, const Point3& q) {
    Point3 r0 = (p - origin).Normalize();
    Point3 r2 = (r0 ^ (q - origin).Normalize()).Normalize();
    Point3 r1 = (r2 ^ r0).Normalize();
    return Matrix3(r0, r1, r2, origin);
}

Matrix3 FrameFromVectors(const Point3& a, const Point3& b) { return FrameFromPoints(Point3(), a, b); }

Quat OrthoQuat(const Matrix3& m) {
    // The polar decomposition is costly and changes nothing when the axes are already
    // perpendicular (pure rotation with or without per-axis scale), which is the usual case.
    const Point3& a = m[0];
    const Point3& b = m[1];
    const Point3& c = m[2];
    float la = a.LengthSquared(), lb = b.LengthSquared(), lc = c.LengthSquared();
    constexpr float kTol = 1e-5f;
    float ab = a % b, bc = b % c, ca = c % a;
    if (la > 0.0f && lb > 0.0f && lc > 0.0f && ab * ab <= kTol * kTol * la * lb && bc * bc <= kTol * kTol * lb * lc &&
        ca * ca <= kTol * kTol * lc * la)
        return Quat(m);
    Matrix3 o = m;
    o.Orthogonalize();
    return Quat(o);
}

Quat SlerpClosest(const Quat& a, Quat b, float w) {
    b.MakeClosest(a);
    return Slerp(a, b, w);
}

float ClosestAngle(float x, float v) {
    float r = std::fmod(x, kTwoPi);
    if (r < 0.0f) r += kTwoPi;
    float d = v - r;
    if (d > kPi)
        d -= kTwoPi;
    else if (d < -kPi)
        d += kTwoPi;
    return x + d;
}

float XAngle(const Quat& q) {
    return -std::atan2(2.0f * (q.x * q.w + q.y * q.z), 1.0f - 2.0f * (q.x * q.x + q.y * q.y));
}

}  // namespace kt
