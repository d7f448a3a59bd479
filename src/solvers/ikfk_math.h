// Small rotation and frame operations shared by the solvers and the controllers.
//
// Conventions are the host's: row vectors, `a * b` applies `a` first for Quat and
// Matrix3 alike, quaternions are left-handed (RotX(a) equals RotateXMatrix(a)).
// Angles are radians. None of these allocate or fail: degenerate input gives the
// result written next to each function, never an exception.
#pragma once

#include "maxmath.h"

namespace kt {

// Two pi and pi as the solvers use them (float).
constexpr float kTwoPi = 6.2831855f;
constexpr float kPi = 3.1415927f;

// a / b, with b replaced by eps when |b| is below eps (eps itself, so the sign of a tiny
// negative b is lost on purpose).
inline float SafeDivide(float a, float b, float eps) { return a / (eps > std::fabs(b) ? eps : b); }

// Angle between two vectors in [0, pi]; 0 when |a| * |b| is below 0.01.
float AngleBetween(const Point3& a, const Point3& b);

// The shortest rotation that carries the X axis to the direction of v; identity when
// |v| is below 0.01.
Quat QuatFromX(const Point3& v);

// The shortest rotation that carries the direction of a to the direction of b. For
// opposite or null vectors the axis is the zero vector (see Quat(AngAxis)).
Quat QuatArc(const Point3& a, const Point3& b);

// Rotation by a about X, equal to the quaternion of RotateXMatrix(a).
inline Quat RotX(float a) { return Quat(std::sin(-a * 0.5f), 0.0f, 0.0f, std::cos(-a * 0.5f)); }

// A frame at origin: row 0 towards p, row 2 normal to the plane of origin, p and q,
// row 1 completing it so that q lies on the side of +row 1. Null directions give zero rows.
Matrix3 FrameFromPoints(const Point3& origin, const Point3& p, const Point3& q);
// FrameFromPoints(zero, a, b).
Matrix3 FrameFromVectors(const Point3& a, const Point3& b);

// The rotation of m after orthogonalization (scale and shear removed; mirrored matrices
// keep their handedness, so their result is not a proper rotation).
Quat OrthoQuat(const Matrix3& m);

// The quaternion of a matrix whose rows are perpendicular and form a right-handed frame
// (rows normalized first; w >= 0): what OrthoQuat answers for such a matrix, without testing it.
Quat QuatFromRows(const Matrix3& m);
// The same for rows already of unit length.
Quat QuatFromUnitRows(const Point3& r0, const Point3& r1, const Point3& r2);

// Slerp from a to w of the way to b, b first flipped into a's hemisphere.
Quat SlerpClosest(const Quat& a, Quat b, float w);

// x moved by less than a half turn so that it lands on the angle v modulo whole turns:
// keeps an animated angle continuous when a new value is written over it.
float ClosestAngle(float x, float v);

// The matrix of a quaternion with a translation.
inline Matrix3 RotTransMatrix(const Quat& q, const Point3& t) {
    Matrix3 m;
    q.MakeMatrix(m);
    m.SetTrans(t);
    return m;
}
inline Matrix3 RotMatrix(const Quat& q) {
    Matrix3 m;
    q.MakeMatrix(m);
    return m;
}

// The angle about X of a rotation: -atan2(2(xw + yz), 1 - 2(x^2 + y^2)); RotX(a) gives a back.
float XAngle(const Quat& q);

}  // namespace kt
