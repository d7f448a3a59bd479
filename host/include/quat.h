// Quat and AngAxis: the host's rotations.
//
// Conventions, the same as Matrix3's (see matrix3.h):
// - a * b applies a first, then b: (a * b).MakeMatrix == a.MakeMatrix * b.MakeMatrix, and
//   Quat(A * B) == Quat(A) * Quat(B) up to sign.
// - Quaternions and AngAxis angles are LEFT-handed while RotateX/Y/Z are right-handed:
//   Quat(RotateXMatrix(a)) == (sin(-a/2), 0, 0, cos(-a/2)) == Quat(AngAxis(Point3::XAxis, -a)),
//   and likewise for Y and Z.
// - q and -q are the same rotation. Nothing here picks a sign for you except where documented
//   (Quat(Matrix3) returns w >= 0); use MakeClosest.
// - All angles are radians. float32 storage, double inside the conversions.
#pragma once

#include "matrix3.h"
#include "point3.h"

class Quat;

// A rotation as an axis and an angle (radians, left-handed like Quat). The angle may exceed a
// full turn; the axis is not required to be unit length.
class AngAxis {
  public:
    Point3 axis; // zero by default
    float angle = 0.0f;

    constexpr AngAxis() = default;
    constexpr AngAxis(float x, float y, float z, float ang) : axis(x, y, z), angle(ang) {}
    constexpr AngAxis(const Point3& ax, float ang) : axis(ax), angle(ang) {}
    // See AngAxisFromQ. Implicit, as in the SDK.
    AngAxis(const Quat& q); // NOLINT
    // The rotation of Quat(m).
    explicit AngAxis(const Matrix3& m);

    AngAxis& Set(float x, float y, float z, float ang) {
        axis = Point3(x, y, z);
        angle = ang;
        return *this;
    }
    AngAxis& Set(const Point3& ax, float ang) {
        axis = ax;
        angle = ang;
        return *this;
    }
    AngAxis& Set(const Quat& q);
    AngAxis& Set(const Matrix3& m);

    // Whole turns in the angle: int(angle / TWOPI), truncated toward zero.
    int GetNumRevs() const;
    // angle += num * TWOPI.
    void SetNumRevs(int num);
};

class Quat {
  public:
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;
    float w = 1.0f;

    // Identity.
    constexpr Quat() = default;
    // Components as given (no normalization).
    constexpr Quat(float X, float Y, float Z, float W) : x(X), y(Y), z(Z), w(W) {}
    constexpr Quat(double X, double Y, double Z, double W)
        : x(float(X)), y(float(Y)), z(float(Z)), w(float(W)) {}
    constexpr explicit Quat(const float af[4]) : x(af[0]), y(af[1]), z(af[2]), w(af[3]) {}
    // The rotation of the matrix's 3x3 part, unit length, w >= 0. Each axis row is normalized
    // first, so uniform and per-axis scale do not disturb the result; a sheared matrix should be
    // orthogonalized first. A mirrored matrix has no rotation: use decomp_affine for those.
    // Implicit, as in the SDK.
    Quat(const Matrix3& m); // NOLINT
    // QFromAngAxis(aa.angle, aa.axis): (axis * sin(angle/2), cos(angle/2)) with the axis used
    // as given. A unit axis gives a unit quaternion; a zero axis gives (0, 0, 0, cos(angle/2)),
    // which is NOT unit length (and is near zero for angle near pi). Deliberately kept so.
    Quat(const AngAxis& aa); // NOLINT: implicit as in the SDK
    // Rotation by angle (left-handed) about the direction of axis: Quat(AngAxis(Normalize(axis),
    // angle)), made unit length. A zero axis gives (0, 0, 0, 1) or (0, 0, 0, -1).
    Quat(const Point3& axis, float angle);

    // 0 x, 1 y, 2 z, 3 w.
    float& operator[](int i) { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }
    const float& operator[](int i) const { return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w)); }

    float Scalar() const { return w; }
    Point3 Vector() const { return Point3(x, y, z); }

    constexpr Quat operator-() const { return Quat(-x, -y, -z, -w); }
    constexpr Quat operator+() const { return *this; }

    // Multiplicative inverse: Conjugate() / |q|^2 (so it is right for non-unit quaternions too).
    // The zero quaternion gives the identity.
    Quat Inverse() const;
    // (-x, -y, -z, w): the inverse rotation of a unit quaternion.
    Quat Conjugate() const { return Quat(-x, -y, -z, w); }
    // Natural log of a unit quaternion: (axis * half angle, 0).
    Quat LogN() const;
    // Exponential of a pure quaternion (w ignored): inverse of LogN.
    Quat Exp() const;

    // *this = *this * q: applies *this first, then q.
    Quat& operator*=(const Quat& q);
    Quat& operator*=(float f);
    Quat& operator/=(float f);

    Quat& Set(float X, float Y, float Z, float W) {
        x = X;
        y = Y;
        z = Z;
        w = W;
        return *this;
    }
    Quat& Set(const Matrix3& m) { return *this = Quat(m); }
    Quat& Set(const AngAxis& aa) { return *this = Quat(aa); }
    // EulerToQuat with order XYZ (RotateX(X), then RotateY(Y), then RotateZ(Z)).
    Quat& SetEuler(float X, float Y, float Z);
    // QuatToEuler with order XYZ.
    void GetEuler(float* X, float* Y, float* Z) const;
    // In place Inverse().
    Quat& Invert() { return *this = Inverse(); }
    // Negates this quaternion when its dot product with qto is negative, so that both lie in the
    // same hemisphere (the short way between them). Same rotation either way.
    Quat& MakeClosest(const Quat& qto);

    // Exact component equality (q and -q are NOT equal here).
    bool operator==(const Quat& q) const { return x == q.x && y == q.y && z == q.z && w == q.w; }
    bool operator!=(const Quat& q) const { return !(*this == q); }
    // Every component within epsilon (q and -q are NOT equal here).
    bool Equals(const Quat& q, float epsilon = 1e-6f) const;

    void Identity() {
        x = y = z = 0.0f;
        w = 1.0f;
    }
    // Exactly (0, 0, 0, 1) or (0, 0, 0, -1).
    bool IsIdentity() const;
    // Divides by the length; the zero quaternion becomes the identity.
    void Normalize();
    // The rotation matrix of the quaternion, no translation. Need not be unit length (scaled by
    // 2/|q|^2 internally); the zero quaternion gives the identity. flag true gives the transpose,
    // the matrix of the inverse rotation.
    void MakeMatrix(Matrix3& mat, bool flag = false) const;

    // Product: a * b applies a first, then b.
    Quat operator*(const Quat& q) const;
    // Four-dimensional dot product.
    float operator%(const Quat& q) const { return x * q.x + y * q.y + z * q.z + w * q.w; }
    // Component-wise sum and difference (the SDK's + and - on Quat mean product and ratio; they
    // are left out here on purpose).
    Quat Plus(const Quat& q) const { return Quat(x + q.x, y + q.y, z + q.z, w + q.w); }
    Quat Minus(const Quat& q) const { return Quat(x - q.x, y - q.y, z - q.z, w - q.w); }
};

Quat operator*(float f, const Quat& q);
Quat operator*(const Quat& q, float f);
Quat operator/(const Quat& q, float f);

inline Quat IdentQuat() { return Quat(0.0f, 0.0f, 0.0f, 1.0f); }
inline Quat Inverse(const Quat& q) { return q.Inverse(); }
inline Quat Conjugate(const Quat& q) { return q.Conjugate(); }
inline Quat LogN(const Quat& q) { return q.LogN(); }
inline Quat Exp(const Quat& q) { return q.Exp(); }

// Spherical linear interpolation of unit quaternions along the great arc from p to q, exactly
// as given: t = 0 gives p, t = 1 gives q, 0.5 the midpoint of the arc, t > 1 and t < 0
// extrapolate along the same arc (no clamping). Slerp does NOT flip q to the short way: when
// p % q < 0 the result turns the long way round (more than half a turn). Callers that want
// the short way call q.MakeClosest(p) first. Near-equal inputs fall back to a normalized lerp;
// exactly opposite inputs turn through a perpendicular quaternion. The result is unit length.
Quat Slerp(const Quat& p, const Quat& q, float t);
// LogN(Inverse(p) * q): the log of the rotation that takes p to q.
Quat LnDif(const Quat& p, const Quat& q);
// Squad inner control point for q between qprev and qnext:
// q * Exp(-(LnDif(q, qnext) + LnDif(q, qprev)) / 4).
Quat QCompA(const Quat& qprev, const Quat& q, const Quat& qnext);
// Slerp(Slerp(p, q, t), Slerp(a, b, t), 2t(1-t)).
Quat Squad(const Quat& p, const Quat& a, const Quat& b, const Quat& q, float t);

// mat = mat * matrix(q) (post) and mat = matrix(q) * mat (pre).
void RotateMatrix(Matrix3& mat, const Quat& q);
void PreRotateMatrix(Matrix3& mat, const Quat& q);
// v rotated by q: v * matrix(q).
Point3 TransformVector(const Quat& q, const Point3& v);

// (axis * sin(ang/2), cos(ang/2)); the axis is used as given (see Quat(const AngAxis&)).
Quat QFromAngAxis(float ang, const Point3& axis);
// Inverse of QFromAngAxis for a quaternion of any length: ang = 2 acos(w / |q|) in [0, 2pi],
// axis the unit vector part. No sign is chosen: (0,0,0,-1) gives 2pi about X. A vector part of
// zero (identity) gives angle 0 (or 2pi) about Point3::XAxis. For a unit q, QFromAngAxis(ang,
// axis) gives q back exactly as it was (same sign).
void AngAxisFromQ(const Quat& q, float* ang, Point3& axis);
// Angle and axis of the rotation from p to q (of Inverse(p) * q, the short way). Returns the angle.
float QangAxis(const Quat& p, const Quat& q, Point3& axis);
// Rotation, per-axis scale and translation of a matrix without shear: p is the translation,
// s the row lengths, q the rotation of the orthogonalized matrix. For general matrices use
// decomp_affine.
void DecomposeMatrix(const Matrix3& mat, Point3& p, Quat& q, Point3& s);

// The SDK declares the Euler conversions (QuatToEuler, EulerToQuat) beside Quat.
#include "euler.h"
