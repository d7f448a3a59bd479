#include <gtest/gtest.h>

#include "math_matchers.h"
#include "solvers/ikfk_math.h"

using namespace kt;
using kttest::NearPoint3;
using kttest::SameRotation;

TEST(IKFKMath, RotXIsTheQuaternionOfRotateXMatrix) {
    for (float a : {-2.5f, -0.3f, 0.0f, 0.7f, 3.0f}) {
        EXPECT_THAT(RotX(a), SameRotation(Quat(RotateXMatrix(a)), 1e-6f)) << a;
        EXPECT_NEAR(XAngle(RotX(a)), a, 1e-5f) << a;
    }
}

TEST(IKFKMath, ArcsCarryOneDirectionOntoAnother) {
    const Point3 dirs[] = {Point3(1.0f, 0.0f, 0.0f), Point3(0.0f, 3.0f, 0.0f), Point3(-2.0f, 1.0f, 0.5f), Point3(0.2f, -0.1f, -4.0f),
                           Point3(-1.0f, 0.05f, 0.0f)};
    for (const Point3& v : dirs) {
        Point3 x = Point3::XAxis * RotMatrix(QuatFromX(v));
        EXPECT_THAT(x, NearPoint3(v.Normalize(), 1e-5f));
        for (const Point3& a : dirs) {
            if (AngleBetween(a, v) > 3.1f) continue;  // opposite: no unique arc
            Point3 r = a * RotMatrix(QuatArc(a, v));
            EXPECT_THAT(r.Normalize(), NearPoint3(v.Normalize(), 1e-5f));
        }
    }
    // Below 0.01 a vector has no direction.
    EXPECT_THAT(QuatFromX(Point3(0.0f, 0.001f, 0.0f)), SameRotation(Quat(), 0.0f));
    EXPECT_EQ(AngleBetween(Point3(0.05f, 0.0f, 0.0f), Point3(0.0f, 0.05f, 0.0f)), 0.0f);
    EXPECT_NEAR(AngleBetween(Point3(1.0f, 0.0f, 0.0f), Point3(0.0f, 1.0f, 0.0f)), kPi / 2, 1e-6f);
}

// The arcs and the slerp avoid trigonometry or work in float; they must still agree with the
// angle-axis and double definitions everywhere, above all where the angle is nearly 0 or pi.
TEST(IKFKMath, ArcAndSlerpMatchTheirDefinitionsAtEveryAngle) {
    const Point3 a = Point3(0.3f, -1.2f, 2.0f);
    const Point3 axis = (a ^ Point3(1.0f, 0.4f, -0.2f)).Normalize();
    for (double ang : {1e-4, 3e-3, 0.05, 0.7, 1.5707963, 1.6, 2.9, 3.1, 3.1413, 3.14158}) {
        const Point3 b = a * RotMatrix(Quat(AngAxis(axis, float(ang)))) * 1.7f;
        const Quat want(AngAxis((b ^ a).Normalize(), std::atan2((a ^ b).Length(), a % b)));
        EXPECT_THAT(QuatArc(a, b), kttest::NearQuat(want, 2e-6f)) << ang;
        EXPECT_NEAR(QuatArc(a, b) % QuatArc(a, b), 1.0f, 1e-6f) << ang;
    }
    const Quat p = Quat(RotateYMatrix(0.8f) * RotateZMatrix(-0.4f));
    for (double ang : {2e-3, 0.01, 0.5, 2.0, 3.1}) {
        const Quat q = p * Quat(AngAxis(Point3(0.6f, 0.0f, 0.8f), float(ang)));
        for (float w : {0.1f, 0.5f, 0.9f})
            EXPECT_THAT(SlerpClosest(p, q, w), kttest::NearQuat(Slerp(p, q, w), 1e-6f)) << ang << " " << w;
    }
}

TEST(IKFKMath, FramesAreRightHandedWithTheThirdPointOnPositiveY) {
    Point3 o(1, 2, 3), p(4, 2, 3), q(2, 5, 7);
    Matrix3 f = FrameFromPoints(o, p, q);
    EXPECT_THAT(f[0], NearPoint3(Point3(1.0f, 0.0f, 0.0f), 1e-6f));
    EXPECT_NEAR(f[0] % f[1], 0.0f, 1e-6f);
    EXPECT_NEAR(f.Det(), 1.0f, 1e-5f);
    EXPECT_GT((q - o) % f[1], 0.0f);
    EXPECT_NEAR((q - o) % f[2], 0.0f, 1e-5f);
    EXPECT_EQ(f.GetTrans(), o);
    // Degenerate input gives zero rows, never NaN.
    Matrix3 d = FrameFromVectors(Point3(1.0f, 0.0f, 0.0f), Point3(2.0f, 0.0f, 0.0f));
    EXPECT_EQ(d[2], Point3());
    EXPECT_FALSE(std::isnan(d[1].x));
}

TEST(IKFKMath, OrthoQuatAgreesWithTheHostOnEveryRotation) {
    // Every branch of the conversion: small and half turns about each axis and mixed ones.
    for (float x = -3.1f; x <= 3.1f; x += 0.39f)
        for (float y = -1.5f; y <= 1.5f; y += 0.37f)
            for (float z = -3.1f; z <= 3.1f; z += 0.41f) {
                Matrix3 m = RotateXMatrix(x) * RotateYMatrix(y) * RotateZMatrix(z);
                m.SetTrans(Point3(1.0f, 2.0f, 3.0f));
                EXPECT_THAT(OrthoQuat(m), kttest::NearQuat(Quat(m), 2e-6f)) << x << " " << y << " " << z;
            }
}

TEST(IKFKMath, OrthoQuatIgnoresScaleAndShear) {
    Quat q = Quat(RotateYMatrix(0.8f) * RotateZMatrix(-0.4f));
    Matrix3 scaled = ScaleMatrix(Point3(2.0f, 0.5f, 3.0f)) * RotMatrix(q);
    EXPECT_THAT(OrthoQuat(scaled), SameRotation(q, 1e-5f));
    Matrix3 sheared = RotMatrix(q);
    sheared[1] = sheared[1] + sheared[0] * 0.01f;
    Matrix3 o = sheared;
    o.Orthogonalize();
    EXPECT_THAT(OrthoQuat(sheared), SameRotation(Quat(o), 1e-6f));
    EXPECT_GT(kttest::RotationDiff(OrthoQuat(sheared), q), 1e-4f);
}

TEST(IKFKMath, SlerpClosestTakesTheShortWay) {
    Quat a = RotX(0.2f), b = -RotX(0.6f);
    EXPECT_THAT(SlerpClosest(a, b, 0.5f), SameRotation(RotX(0.4f), 1e-6f));
    EXPECT_THAT(SlerpClosest(a, b, 0.0f), SameRotation(a, 1e-6f));
}

TEST(IKFKMath, ClosestAngleKeepsWholeTurnsOfTheOldValue) {
    EXPECT_NEAR(ClosestAngle(0.2f, -0.5f), -0.5f, 1e-6f);
    EXPECT_NEAR(ClosestAngle(kTwoPi + 0.7f, 0.8f), kTwoPi + 0.8f, 1e-5f);
    EXPECT_NEAR(ClosestAngle(6.0f, -0.5f), kTwoPi - 0.5f, 1e-5f);
    EXPECT_NEAR(ClosestAngle(-kTwoPi - 0.1f, 0.1f), -kTwoPi + 0.1f, 1e-5f);
    // A new value half a turn away lands within pi of the old one.
    for (float x : {-7.0f, -1.0f, 0.0f, 2.0f, 13.0f})
        for (float v : {-3.0f, -1.0f, 0.5f, 3.0f}) {
            float r = ClosestAngle(x, v);
            EXPECT_LE(std::fabs(r - x), kPi + 1e-4f) << x << " " << v;
            float turns = (r - v) / kTwoPi;
            EXPECT_NEAR(turns, std::round(turns), 1e-5f) << x << " " << v;
        }
}

TEST(IKFKMath, SafeDivideGuardsSmallDivisors) {
    EXPECT_FLOAT_EQ(SafeDivide(1.0f, 0.0f, 0.001f), 1000.0f);
    EXPECT_FLOAT_EQ(SafeDivide(1.0f, -0.0001f, 0.001f), 1000.0f);
    EXPECT_FLOAT_EQ(SafeDivide(1.0f, -2.0f, 0.001f), -0.5f);
}
