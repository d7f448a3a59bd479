#include <gtest/gtest.h>

#include <cmath>

#include "math_matchers.h"
#include "math_test_util.h"

using kttest::NearMatrix3;
using kttest::NearPoint3;
using kttest::NearQuat;
using kttest::SameRotation;
using mathtest::MatrixOf;

namespace {

// The limb solver's RotX helper, written out here on purpose.
Quat RotX(float a) { return Quat(std::sin(-a / 2), 0.0f, 0.0f, std::cos(-a / 2)); }

} // namespace

TEST(QuatConventions, QuaternionsAreLeftHandedWhileRotateIsRightHanded) {
    for (float a : {0.7f, -1.3f, 2.9f, HALFPI}) {
        float s = std::sin(-a / 2), c = std::cos(-a / 2);
        EXPECT_THAT(Quat(RotateXMatrix(a)), SameRotation(Quat(s, 0.0f, 0.0f, c), 1e-6f)) << a;
        EXPECT_THAT(Quat(RotateYMatrix(a)), SameRotation(Quat(0.0f, s, 0.0f, c), 1e-6f)) << a;
        EXPECT_THAT(Quat(RotateZMatrix(a)), SameRotation(Quat(0.0f, 0.0f, s, c), 1e-6f)) << a;
        EXPECT_THAT(Quat(RotateXMatrix(a)), SameRotation(RotX(a), 1e-6f));
        // The same quaternion through AngAxis takes the negated angle.
        EXPECT_THAT(Quat(AngAxis(Point3::YAxis, -a)), SameRotation(Quat(RotateYMatrix(a)), 1e-6f));
        // And the matrix of the quaternion is the right-handed matrix again.
        EXPECT_THAT(MatrixOf(RotX(a)), NearMatrix3(RotateXMatrix(a), 1e-6f));
    }
    // Right-handed RotateZ by 90 degrees carries X to Y, as does its quaternion.
    EXPECT_THAT(Point3::XAxis * RotateZMatrix(HALFPI), NearPoint3(Point3::YAxis, 1e-6f));
    EXPECT_THAT(TransformVector(Quat(RotateZMatrix(HALFPI)), Point3::XAxis),
                NearPoint3(Point3::YAxis, 1e-6f));
    // RotAngleAxisMatrix is right-handed, opposite to AngAxis.
    Point3 axis = Point3(1.0f, 2.0f, -0.5f).Normalize();
    EXPECT_THAT(RotAngleAxisMatrix(axis, 0.8f), NearMatrix3(MatrixOf(Quat(AngAxis(axis, -0.8f))), 1e-6f));
    EXPECT_THAT(RotAngleAxisMatrix(Point3::ZAxis, 0.8f), NearMatrix3(RotateZMatrix(0.8f), 1e-6f));
}

TEST(QuatConventions, ProductAppliesTheLeftOperandFirstLikeMatrix3) {
    mathtest::Rng rng(11);
    for (int i = 0; i < 200; ++i) {
        Quat a = rng.Rotation(), b = rng.Rotation();
        Matrix3 A = MatrixOf(a), B = MatrixOf(b);
        EXPECT_THAT(Quat(A * B), SameRotation(Quat(A) * Quat(B), 2e-6f));
        EXPECT_THAT(MatrixOf(a * b), NearMatrix3(A * B, 2e-6f));
        Point3 p = rng.InBox(1.0f);
        EXPECT_THAT(TransformVector(a * b, p), NearPoint3(TransformVector(b, TransformVector(a, p)), 2e-6f));
    }
    // Concretely: X by 90 then Z by 90 carries Y to Z (by X) and Z stays (by Z).
    Quat xz = Quat(RotateXMatrix(HALFPI)) * Quat(RotateZMatrix(HALFPI));
    EXPECT_THAT(TransformVector(xz, Point3::YAxis), NearPoint3(Point3::ZAxis, 1e-6f));
    EXPECT_THAT(RotX(0.4f) * RotX(0.5f), SameRotation(RotX(0.9f), 1e-6f));
    Quat q = RotX(0.3f);
    q *= Quat(RotateYMatrix(1.0f));
    EXPECT_THAT(q, SameRotation(RotX(0.3f) * Quat(RotateYMatrix(1.0f)), 1e-7f));
}

TEST(QuatConversions, AngAxisRoundTripsAndZeroAxisIsNotUnitLength) {
    mathtest::Rng rng(5);
    for (int i = 0; i < 100; ++i) {
        Quat q = rng.Rotation();
        AngAxis aa(q);
        EXPECT_NEAR(aa.axis.Length(), 1.0f, 1e-6f);
        EXPECT_GE(aa.angle, 0.0f);
        EXPECT_LE(aa.angle, TWOPI);
        EXPECT_THAT(Quat(aa), NearQuat(q, 2e-6f)); // same sign: no flip on the way
    }
    // A zero axis keeps the cosine only: not a unit quaternion (the long-chain solve meets it).
    Quat z(AngAxis(Point3(), 1.0f));
    EXPECT_THAT(z, NearQuat(Quat(0.0f, 0.0f, 0.0f, std::cos(0.5f)), 1e-7f));
    EXPECT_LT(std::sqrt(z % z), 0.9f);
    Quat nearPi(AngAxis(Point3(), PI));
    EXPECT_NEAR(nearPi.w, 0.0f, 1e-6f);
    // A non-unit axis is used as given.
    EXPECT_THAT(Quat(AngAxis(Point3(0.0f, 0.0f, 2.0f), PI)), NearQuat(Quat(0.0f, 0.0f, 2.0f, 0.0f), 1e-6f));
    // The (axis, angle) constructor normalizes.
    EXPECT_THAT(Quat(Point3(0.0f, 0.0f, 2.0f), HALFPI),
                NearQuat(Quat(0.0f, 0.0f, std::sqrt(0.5f), std::sqrt(0.5f)), 1e-6f));
    EXPECT_THAT(Quat(Point3(), 1.0f), NearQuat(Quat(), 0.0f));
    // Identity and the full turn.
    float ang;
    Point3 axis;
    AngAxisFromQ(Quat(), &ang, axis);
    EXPECT_EQ(ang, 0.0f);
    EXPECT_EQ(axis, Point3::XAxis);
    AngAxisFromQ(Quat(0.0f, 0.0f, 0.0f, -1.0f), &ang, axis);
    EXPECT_FLOAT_EQ(ang, TWOPI);
    EXPECT_EQ(AngAxis(Point3::XAxis, 7.0f).GetNumRevs(), 1);
    AngAxis turns(Point3::XAxis, 0.5f);
    turns.SetNumRevs(-2);
    EXPECT_FLOAT_EQ(turns.angle, 0.5f - 2.0f * TWOPI);
}

TEST(QuatConversions, MatrixToQuatIgnoresScaleAndKeepsWNonNegative) {
    mathtest::Rng rng(7);
    for (int i = 0; i < 200; ++i) {
        Quat q = rng.Rotation();
        Matrix3 m = MatrixOf(q);
        m.PreScale(rng.Factors(0.1f, 10.0f));
        m.SetTrans(rng.InBox(100.0f));
        Quat r(m);
        EXPECT_GE(r.w, 0.0f);
        EXPECT_NEAR(r % r, 1.0f, 1e-6f);
        EXPECT_THAT(r, SameRotation(q, 3e-6f));
    }
    // All four branches of the conversion: half turns about each axis and the identity.
    EXPECT_THAT(Quat(RotateXMatrix(PI)), SameRotation(Quat(1.0f, 0.0f, 0.0f, 0.0f), 1e-6f));
    EXPECT_THAT(Quat(RotateYMatrix(PI)), SameRotation(Quat(0.0f, 1.0f, 0.0f, 0.0f), 1e-6f));
    EXPECT_THAT(Quat(RotateZMatrix(PI)), SameRotation(Quat(0.0f, 0.0f, 1.0f, 0.0f), 1e-6f));
    EXPECT_EQ(Quat(Matrix3()), Quat());
    // Non-unit quaternions still give rotation matrices; zero gives the identity.
    EXPECT_THAT(MatrixOf(RotX(0.6f) * 3.0f), NearMatrix3(RotateXMatrix(0.6f), 1e-6f));
    EXPECT_EQ(MatrixOf(Quat(0.0f, 0.0f, 0.0f, 0.0f)), Matrix3());
    Matrix3 t;
    RotX(0.6f).MakeMatrix(t, true);
    EXPECT_THAT(t, NearMatrix3(RotateXMatrix(-0.6f), 1e-6f));
}

TEST(QuatAlgebra, InverseNormalizeAndMakeClosest) {
    mathtest::Rng rng(3);
    Quat q = rng.Rotation(), r = rng.Rotation();
    EXPECT_THAT(q * Inverse(q), SameRotation(Quat(), 1e-6f));
    EXPECT_THAT(Inverse(q), NearQuat(Conjugate(q), 1e-6f));
    Quat big = q * 4.0f;
    EXPECT_THAT(big * Inverse(big), NearQuat(Quat(), 1e-6f)); // true inverse for non-unit too
    big.Normalize();
    EXPECT_THAT(big, NearQuat(q, 1e-6f));
    Quat zero(0.0f, 0.0f, 0.0f, 0.0f);
    zero.Normalize();
    EXPECT_EQ(zero, Quat());
    EXPECT_TRUE(Quat().IsIdentity());
    EXPECT_TRUE(Quat(0.0f, 0.0f, 0.0f, -1.0f).IsIdentity());
    EXPECT_FALSE(RotX(1e-3f).IsIdentity());

    Quat far = r;
    if (far % q > 0.0f) far = -far;
    Quat closest = far;
    closest.MakeClosest(q);
    EXPECT_GE(closest % q, 0.0f);
    EXPECT_THAT(closest, NearQuat(-far, 0.0f));
    Quat near = closest;
    near.MakeClosest(q);
    EXPECT_EQ(near, closest);
}

TEST(QuatSlerp, MidpointsExtrapolationAndNoHiddenShortWay) {
    Quat p = RotX(0.2f), q = RotX(1.0f);
    EXPECT_THAT(Slerp(p, q, 0.0f), NearQuat(p, 1e-6f));
    EXPECT_THAT(Slerp(p, q, 1.0f), NearQuat(q, 1e-6f));
    EXPECT_THAT(Slerp(p, q, 0.5f), NearQuat(RotX(0.6f), 1e-6f));
    EXPECT_THAT(Slerp(p, q, 0.25f), NearQuat(RotX(0.4f), 1e-6f));
    // Extrapolation: t = 2 goes as far again, t = -1 backwards; no clamping.
    EXPECT_THAT(Slerp(p, q, 2.0f), NearQuat(RotX(1.8f), 1e-6f));
    EXPECT_THAT(Slerp(p, q, -1.0f), NearQuat(RotX(-0.6f), 1e-6f));
    EXPECT_THAT(Slerp(p, q, 4.0f), SameRotation(RotX(3.4f), 1e-6f));

    // Given q and -q for the far end, Slerp follows the arc as given: the midpoint of p=identity
    // to -RotX(1) is the long way round (a turn of pi + 0.5 about X, i.e. -(2pi - 1)/2 ...).
    Quat far = -RotX(1.0f);
    Quat longMid = Slerp(Quat(), far, 0.5f);
    EXPECT_THAT(longMid, SameRotation(RotX(0.5f - PI), 1e-6f));
    Quat shortEnd = far;
    shortEnd.MakeClosest(Quat());
    EXPECT_THAT(Slerp(Quat(), shortEnd, 0.5f), SameRotation(RotX(0.5f), 1e-6f));

    // Nearly equal and exactly opposite inputs stay unit length and hit their ends.
    Quat tiny = RotX(1e-5f);
    Quat m = Slerp(Quat(), tiny, 0.5f);
    EXPECT_NEAR(m % m, 1.0f, 1e-6f);
    EXPECT_THAT(m, NearQuat(RotX(5e-6f), 1e-7f));
    Quat opp = -p;
    Quat o = Slerp(p, opp, 0.5f);
    EXPECT_NEAR(o % o, 1.0f, 1e-6f);
    EXPECT_THAT(Slerp(p, opp, 1.0f), NearQuat(opp, 1e-6f));
    mathtest::Rng rng(9);
    for (int i = 0; i < 100; ++i) {
        Quat a = rng.Rotation(), b = rng.Rotation();
        b.MakeClosest(a);
        // Constant angular speed: the halfway point is half the way.
        Quat h = Slerp(a, b, 0.5f);
        EXPECT_NEAR(h % a, h % b, 2e-6f);
        EXPECT_THAT(Slerp(a, b, 2.0f), SameRotation(b * Inverse(a) * b, 1e-5f));
    }
}

TEST(QuatSlerp, SquadHitsItsKeysAndLnDifIsTheRelativeLog) {
    Quat p = RotX(0.3f), r = Quat(RotateYMatrix(0.4f));
    EXPECT_THAT(LnDif(p, p * r), NearQuat(r.LogN(), 1e-6f));
    EXPECT_THAT(r.LogN().Exp(), NearQuat(r, 1e-6f));
    Quat q0 = RotX(0.0f), q1 = RotX(0.5f), q2 = RotX(1.2f), q3 = RotX(1.5f);
    Quat a = QCompA(q0, q1, q2), b = QCompA(q1, q2, q3);
    EXPECT_THAT(Squad(q1, a, b, q2, 0.0f), SameRotation(q1, 1e-6f));
    EXPECT_THAT(Squad(q1, a, b, q2, 1.0f), SameRotation(q2, 1e-6f));
    // About one axis, squad stays on that axis and between the keys.
    Quat mid = Squad(q1, a, b, q2, 0.5f);
    EXPECT_NEAR(mid.y, 0.0f, 1e-6f);
    EXPECT_NEAR(mid.z, 0.0f, 1e-6f);
    float ang;
    Point3 axis;
    AngAxisFromQ(mid, &ang, axis);
    EXPECT_GT(ang, 0.5f);
    EXPECT_LT(ang, 1.2f);
}
