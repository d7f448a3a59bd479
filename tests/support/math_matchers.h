// GoogleTest matchers and printers for the host's math types, with explicit tolerances.
//
//   EXPECT_THAT(p, kttest::NearPoint3(Point3(1, 2, 3), 1e-5f));
//   EXPECT_THAT(m, kttest::NearMatrix3(expected, 1e-5f));      // all 12 entries
//   EXPECT_THAT(q, kttest::SameRotation(expected, 1e-5f));     // q or -q
//   EXPECT_THAT(q, kttest::NearQuat(expected, 1e-5f));         // exact sign
//   EXPECT_THAT(m, kttest::SameRotationMatrix(expected, 1e-5f)); // 3x3 part only
//
// Tolerances are absolute, per component.
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <ostream>

#include "maxmath.h"

inline void PrintTo(const Point3& p, std::ostream* os) {
    *os << "Point3(" << p.x << ", " << p.y << ", " << p.z << ")";
}
inline void PrintTo(const Point2& p, std::ostream* os) { *os << "Point2(" << p.x << ", " << p.y << ")"; }
inline void PrintTo(const Point4& p, std::ostream* os) {
    *os << "Point4(" << p.x << ", " << p.y << ", " << p.z << ", " << p.w << ")";
}
inline void PrintTo(const Quat& q, std::ostream* os) {
    *os << "Quat(" << q.x << ", " << q.y << ", " << q.z << ", " << q.w << ")";
}
inline void PrintTo(const Matrix3& m, std::ostream* os) {
    *os << "Matrix3(";
    for (int i = 0; i < 4; ++i) {
        PrintTo(m[i], os);
        if (i < 3) *os << ", ";
    }
    *os << ")";
}

namespace kttest {

// Largest absolute difference of the components.
inline float MaxDiff(const Point3& a, const Point3& b) {
    return std::max({std::fabs(a.x - b.x), std::fabs(a.y - b.y), std::fabs(a.z - b.z)});
}
inline float MaxDiff(const Quat& a, const Quat& b) {
    return std::max({std::fabs(a.x - b.x), std::fabs(a.y - b.y), std::fabs(a.z - b.z), std::fabs(a.w - b.w)});
}
inline float MaxDiff(const Matrix3& a, const Matrix3& b, int rows = 4) {
    float d = 0.0f;
    for (int i = 0; i < rows; ++i)
        d = std::max(d, MaxDiff(a[i], b[i]));
    return d;
}
// Difference of two rotations ignoring the quaternion sign.
inline float RotationDiff(const Quat& a, const Quat& b) { return std::min(MaxDiff(a, b), MaxDiff(a, -b)); }

MATCHER_P2(NearPoint3, expected, tol,
           std::string(negation ? "is not" : "is") + " within " + ::testing::PrintToString(tol) + " of " +
               ::testing::PrintToString(expected)) {
    float d = MaxDiff(arg, expected);
    *result_listener << "largest difference " << d;
    return d <= tol;
}

MATCHER_P2(NearQuat, expected, tol,
           std::string(negation ? "is not" : "is") + " within " + ::testing::PrintToString(tol) + " of " +
               ::testing::PrintToString(expected) + " (same sign)") {
    float d = MaxDiff(arg, expected);
    *result_listener << "largest difference " << d;
    return d <= tol;
}

// q and -q are the same rotation.
MATCHER_P2(SameRotation, expected, tol,
           std::string(negation ? "is not" : "is") + " the rotation " + ::testing::PrintToString(expected) +
               " (either sign) within " + ::testing::PrintToString(tol)) {
    float d = RotationDiff(arg, expected);
    *result_listener << "largest difference (best sign) " << d;
    return d <= tol;
}

MATCHER_P2(NearMatrix3, expected, tol,
           std::string(negation ? "is not" : "is") + " within " + ::testing::PrintToString(tol) + " of " +
               ::testing::PrintToString(expected)) {
    float d = MaxDiff(arg, expected);
    *result_listener << "largest difference " << d;
    return d <= tol;
}

// The 3x3 parts agree (translation ignored).
MATCHER_P2(SameRotationMatrix, expected, tol,
           std::string(negation ? "does not have" : "has") + " the 3x3 part of " +
               ::testing::PrintToString(expected) + " within " + ::testing::PrintToString(tol)) {
    float d = MaxDiff(arg, expected, 3);
    *result_listener << "largest difference " << d;
    return d <= tol;
}

} // namespace kttest
