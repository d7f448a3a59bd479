// Euler angles in the host's nine orders.
//
// An order names the axes in the order they are applied: for EULERTYPE_YZX the matrix is
// identity.RotateY(a[0]), then RotateZ(a[1]), then RotateX(a[2]) (post forms, right-handed;
// row vectors, so the first rotation is applied first). Angle arrays `ang[3]` are indexed by
// application position, never by axis name. Radians throughout.
//
// Repeated-axis orders (XYX, YZY, ZXZ) use the same rule: ang[0] and ang[2] both turn about
// the repeated axis, ang[1] about the middle one.
//
// Out-of-range order ids are treated as EULERTYPE_XYZ. EULERTYPE_RF (rotating frame) is not
// supported.
#pragma once

#include "matrix3.h"
#include "point3.h"
#include "quat.h"

#define EULERTYPE_XYZ 0
#define EULERTYPE_XZY 1
#define EULERTYPE_YZX 2
#define EULERTYPE_YXZ 3
#define EULERTYPE_ZXY 4
#define EULERTYPE_ZYX 5
#define EULERTYPE_XYX 6
#define EULERTYPE_YZY 7
#define EULERTYPE_ZXZ 8
#define EULERTYPE_RF 16

// Angles of a rotation, by position. The middle angle is in [-pi/2, pi/2] for the six
// Tait-Bryan orders and in [0, pi] for the repeated-axis orders; the others in [-pi, pi]. At
// gimbal lock (middle angle within about 1e-6 of its limit) the first angle is 0 and the last
// takes the whole turn. Scale in the matrix is ignored (rows are normalized); a mirrored matrix
// gives meaningless angles.
void QuatToEuler(const Quat& q, float ang[3], int order = EULERTYPE_XYZ);
void MatrixToEuler(const Matrix3& mat, float ang[3], int order = EULERTYPE_XYZ);
// The rotation of the angles (unit quaternion, w >= 0) or its matrix (no translation).
void EulerToQuat(const float ang[3], Quat& q, int order = EULERTYPE_XYZ);
void EulerToMatrix(const float ang[3], Matrix3& mat, int order = EULERTYPE_XYZ);

// The angles of q in `order` nearest to the angles already in ang (by position), so that a
// sequence of nearby rotations gives a continuous sequence of angles: among the two solution
// branches, each angle shifted by whole turns to lie within pi of its incoming value, the one
// with the smallest total change wins. The result may lie outside (-pi, pi]; there are no 2pi
// or branch flips. At (and within 1e-6 of) gimbal lock, where only a sum or difference of the
// outer angles is defined, the last angle keeps its incoming value and the first takes the rest.
void ContinuousQuatToEuler(const Quat& q, float ang[3], int order);

// Axis (0 X, 1 Y, 2 Z) of each position in an order; nullptr for an invalid order.
const int* EulerOrderAxes(int order);

// A rotation kept in the representation it came in (a quaternion or Euler angles), so that
// reading it back in the same representation loses nothing.
//
// Euler angles as a Point3 are associated BY AXIS NAME for the six Tait-Bryan orders
// (a.x is always the X angle wherever X comes in the order) and BY POSITION for the
// repeated-axis orders (a.x the first angle, a.y the middle, a.z the last), as in the SDK.
class RotationValue {
  public:
    enum EulerType { kXYZ = EULERTYPE_XYZ, kXZY, kYZX, kYXZ, kZXY, kZYX, kXYX, kYZY, kZXZ };
    enum { kReptd = kXYX, kQuat = 100 };

    static bool IsEuler(int rep) { return kXYZ <= rep && rep <= kZXZ; }
    static bool IsRepetitive(int rep) { return rep >= kReptd && rep <= kZXZ; }
    static bool IsQuat(int rep) { return rep == kQuat; }

    // Identity, as XYZ angles (0, 0, 0).
    RotationValue() : mQ(0.0f, 0.0f, 0.0f, 0.0f), mRep(kXYZ) {}
    RotationValue(const Point3& angles, EulerType et) { Set(angles, et); }
    RotationValue(const Quat& q) { Set(q); } // NOLINT: implicit as in the SDK

    void Set(const Point3& angles, EulerType et) {
        mQ = Quat(angles.x, angles.y, angles.z, 0.0f);
        mRep = short(et);
    }
    void Set(const Quat& q) {
        mQ = q;
        mRep = kQuat;
    }

    // Euler angles in `et` (see the association rule above); the stored angles unchanged when
    // they are already in `et`.
    Point3 Euler(EulerType et = kXYZ) const;
    // The same conversion for any order id (0..8), always computed from the rotation.
    Point3 ToEulerAngles(int order) const;
    Quat ToQuat() const;
    operator Quat() const { return mRep == kQuat ? mQ : ToQuat(); }
    operator Matrix3() const;
    // m = matrix * m and m = m * matrix.
    void PreApplyTo(Matrix3& m) const;
    void PostApplyTo(Matrix3& m) const;
    // *this = *this * aa. A quaternion stays a quaternion; Euler angles stay in their order and
    // move continuously (ContinuousQuatToEuler).
    void PostRotate(const AngAxis& aa);

    int NativeRep() const { return mRep; }
    // The stored numbers: the quaternion, or the angles in x, y, z.
    Quat GetNative() const { return mQ; }

  private:
    Quat mQ;
    short mRep = kQuat;
};
