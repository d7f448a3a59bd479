#include <gtest/gtest.h>

#include <cmath>

#include "math_matchers.h"
#include "math_test_util.h"

using kttest::NearMatrix3;
using kttest::NearPoint3;
using mathtest::MatrixOf;

TEST(ApplyScaling, ScalesInItsOwnAxisFrameBeforeTheMatrix) {
    // Axes turned 45 degrees about Z (right-handed): row 0 of matrix(q) is (c, s, 0).
    Quat q = Quat(RotateZMatrix(PI / 4));
    Matrix3 axes = MatrixOf(q);
    float c = std::sqrt(0.5f);
    EXPECT_THAT(axes[0], NearPoint3(Point3(c, c, 0.0f), 1e-6f));
    ScaleValue sv(Point3(3.0f, 1.0f, 1.0f), q);
    Matrix3 m;
    ApplyScaling(m, sv);
    // Hand-worked: the diagonal (1, 1, 0) triples, the other diagonal and Z stay.
    EXPECT_THAT(VectorTransform(m, Point3(1.0f, 1.0f, 0.0f)), NearPoint3(Point3(3.0f, 3.0f, 0.0f), 1e-6f));
    EXPECT_THAT(VectorTransform(m, Point3(-1.0f, 1.0f, 0.0f)), NearPoint3(Point3(-1.0f, 1.0f, 0.0f), 1e-6f));
    EXPECT_THAT(VectorTransform(m, Point3::ZAxis), NearPoint3(Point3::ZAxis, 1e-6f));

    // Against the explicit product u^-1 K u M, for random frames, factors and matrices.
    mathtest::Rng rng(81);
    for (int i = 0; i < 200; ++i) {
        ScaleValue v(rng.Factors(-2.0f, 3.0f), rng.Rotation());
        Matrix3 base = rng.Affine(i % 2 == 0);
        Matrix3 applied = base;
        ApplyScaling(applied, v);
        Matrix3 U = MatrixOf(v.q);
        Matrix3 explicitProduct = Inverse(U) * ScaleMatrix(v.s) * U * base;
        EXPECT_THAT(applied, NearMatrix3(explicitProduct, 1e-4f));
        EXPECT_EQ(applied.GetTrans(), base.GetTrans());
        EXPECT_THAT(host::ScaleValueMatrix(v) * base, NearMatrix3(applied, 1e-4f));
    }
    // With the identity frame it is PreScale.
    Matrix3 a = RotateXMatrix(0.3f), b = a;
    a.SetTrans(Point3(1.0f, 2.0f, 3.0f));
    b = a;
    ApplyScaling(a, ScaleValue(Point3(2.0f, 3.0f, 4.0f)));
    b.PreScale(Point3(2.0f, 3.0f, 4.0f));
    EXPECT_EQ(a, b);
}

TEST(ApplyScaling, DecompositionGivesBackTheScaleValue) {
    // The scale layer path: identity through ApplyScaling, decomposed, is the same scale.
    mathtest::Rng rng(83);
    for (int i = 0; i < 100; ++i) {
        ScaleValue v(rng.Factors(0.3f, 3.0f), rng.Rotation());
        Matrix3 m;
        ApplyScaling(m, v);
        AffineParts ap;
        decomp_affine(m, &ap);
        EXPECT_THAT(ap.q, kttest::SameRotation(Quat(), 1e-5f));
        EXPECT_THAT(host::ScaleValueMatrix(host::StretchOf(ap)), NearMatrix3(m, 1e-5f));
    }
    ScaleValue d;
    EXPECT_EQ(d.s, Point3(1.0f, 1.0f, 1.0f));
    EXPECT_TRUE(d.q.IsIdentity());
    EXPECT_EQ(host::ScaleValueMatrix(d), Matrix3());
}
