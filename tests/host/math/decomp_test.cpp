#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "math_matchers.h"
#include "math_test_util.h"

using kttest::NearMatrix3;
using kttest::NearPoint3;
using kttest::NearQuat;
using kttest::SameRotation;
using kttest::SameRotationMatrix;
using mathtest::MatrixOf;

namespace {

void ExpectWellFormed(const AffineParts& ap) {
    EXPECT_NEAR(ap.q % ap.q, 1.0f, 1e-5f);
    EXPECT_NEAR(ap.u % ap.u, 1.0f, 1e-5f);
    EXPECT_GE(ap.k.x, 0.0f);
    EXPECT_GE(ap.k.y, 0.0f);
    EXPECT_GE(ap.k.z, 0.0f);
    EXPECT_TRUE(ap.f == 1.0f || ap.f == -1.0f);
}

} // namespace

TEST(DecompAffine, RecomposesRandomAffineMatricesIncludingMirroredAndNonUniform) {
    mathtest::Rng rng(71);
    for (int i = 0; i < 2000; ++i) {
        bool mirrored = i % 2 == 1;
        Matrix3 m = rng.Affine(mirrored);
        AffineParts ap;
        decomp_affine(m, &ap);
        ExpectWellFormed(ap);
        EXPECT_EQ(ap.f, mirrored ? -1.0f : 1.0f);
        EXPECT_EQ(ap.t, m.GetTrans());
        ASSERT_THAT(host::ComposeAffine(ap), NearMatrix3(m, 1e-4f)) << "case " << i;
    }
    // Mirrors on one and on all three axes, without other scale.
    for (Point3 s : {Point3(-1.0f, 1.0f, 1.0f), Point3(1.0f, 1.0f, -2.0f), Point3(-1.0f, -1.0f, -1.0f)}) {
        Matrix3 m = ScaleMatrix(s) * RotateYMatrix(0.7f);
        AffineParts ap;
        decomp_affine(m, &ap);
        EXPECT_EQ(ap.f, -1.0f);
        EXPECT_THAT(host::ComposeAffine(ap), NearMatrix3(m, 1e-6f));
    }
}

TEST(DecompAffine, FindsTheRotationStretchAndSignItWasBuiltFrom) {
    mathtest::Rng rng(73);
    for (int i = 0; i < 300; ++i) {
        Quat q = rng.Rotation(), u = rng.Rotation();
        // Distinct factors, so the stretch frame is defined up to the axis order and signs.
        Point3 k(0.5f + rng.Uniform(0.0f, 0.3f), 1.2f + rng.Uniform(0.0f, 0.3f),
                 2.0f + rng.Uniform(0.0f, 0.5f));
        Matrix3 stretch = host::ScaleValueMatrix(ScaleValue(k, u));
        Matrix3 m = stretch * ScaleMatrix(Point3(-1.0f, -1.0f, -1.0f)) * MatrixOf(q);
        m.SetTrans(rng.InBox(5.0f));
        AffineParts ap;
        decomp_affine(m, &ap);
        EXPECT_EQ(ap.f, -1.0f);
        EXPECT_THAT(ap.q, SameRotation(q, 2e-5f));
        EXPECT_GE(ap.q.w, 0.0f);
        EXPECT_THAT(host::ScaleValueMatrix(ScaleValue(ap.k, ap.u)), NearMatrix3(stretch, 2e-5f));
        float sorted[3] = {ap.k.x, ap.k.y, ap.k.z};
        std::sort(sorted, sorted + 3);
        EXPECT_THAT(Point3(sorted[0], sorted[1], sorted[2]), NearPoint3(k, 2e-5f));
    }
}

TEST(DecompAffine, StretchFrameIsTheOneNearestIdentity) {
    // A scale without rotation keeps its axes: u is the identity and k the factors in order.
    AffineParts ap;
    Matrix3 m = ScaleMatrix(Point3(2.0f, 3.0f, 0.5f)) * RotateZMatrix(1.0f);
    m.SetTrans(Point3(1.0f, 2.0f, 3.0f));
    decomp_affine(m, &ap);
    EXPECT_THAT(ap.u, SameRotation(Quat(), 1e-6f));
    EXPECT_THAT(ap.k, NearPoint3(Point3(2.0f, 3.0f, 0.5f), 1e-6f));
    EXPECT_THAT(ap.q, SameRotation(Quat(RotateZMatrix(1.0f)), 1e-6f));
    // Equal factors: no preferred axes, u is the identity.
    decomp_affine(ScaleMatrix(Point3(2.0f, 2.0f, 2.0f)) * RotateXMatrix(0.3f), &ap);
    EXPECT_THAT(ap.u, SameRotation(Quat(), 1e-6f));
    EXPECT_THAT(ap.k, NearPoint3(Point3(2.0f, 2.0f, 2.0f), 1e-6f));
    // Stretch along axes turned by 10 degrees about Z: u is that small turn, not a relabelling.
    Quat small = Quat(RotateZMatrix(0.17f));
    decomp_affine(host::ScaleValueMatrix(ScaleValue(Point3(1.0f, 3.0f, 2.0f), small)), &ap);
    EXPECT_THAT(ap.u, SameRotation(small, 1e-5f));
    EXPECT_THAT(ap.k, NearPoint3(Point3(1.0f, 3.0f, 2.0f), 1e-5f));
    // A pure rotation has unit stretch and gives exactly the identity parts back.
    decomp_affine(Matrix3(), &ap);
    EXPECT_EQ(ap.q, Quat());
    EXPECT_EQ(ap.f, 1.0f);
    EXPECT_THAT(ap.k, NearPoint3(Point3(1.0f, 1.0f, 1.0f), 1e-7f));
    EXPECT_EQ(host::ComposeAffine(ap), Matrix3());
}

TEST(DecompAffine, SingularMatricesStillDecomposeAndRecompose) {
    Matrix3 flat = ScaleMatrix(Point3(2.0f, 0.0f, 1.0f)) * RotateYMatrix(0.4f);
    flat.SetTrans(Point3(3.0f, 0.0f, 0.0f));
    AffineParts ap;
    decomp_affine(flat, &ap);
    ExpectWellFormed(ap);
    EXPECT_EQ(ap.f, 1.0f);
    EXPECT_THAT(host::ComposeAffine(ap), NearMatrix3(flat, 1e-6f));
    decomp_affine(Matrix3(0), &ap);
    ExpectWellFormed(ap);
    EXPECT_THAT(ap.k, NearPoint3(Point3(), 0.0f));
    EXPECT_THAT(host::ComposeAffine(ap), NearMatrix3(Matrix3(0), 0.0f));
    Matrix3 line(Point3(1.0f, 2.0f, 2.0f), Point3(), Point3(), Point3(1.0f, 1.0f, 1.0f));
    decomp_affine(line, &ap);
    ExpectWellFormed(ap);
    EXPECT_THAT(host::ComposeAffine(ap), NearMatrix3(line, 1e-6f));
}

TEST(DecompAffine, ComposeFollowsTheLayerBlendSteps) {
    // Sign only: a uniform -1 with the translation kept.
    AffineParts ap;
    ap.t = Point3(1.0f, 2.0f, 3.0f);
    ap.f = -1.0f;
    Matrix3 expected = ScaleMatrix(Point3(-1.0f, -1.0f, -1.0f));
    expected.SetTrans(ap.t);
    EXPECT_EQ(host::ComposeAffine(ap), expected);
    // Rotation and stretch are multiplied on the left in that order: stretch applies first.
    ap.f = 1.0f;
    ap.q = Quat(RotateZMatrix(HALFPI));
    ap.k = Point3(2.0f, 1.0f, 1.0f);
    Matrix3 m = host::ComposeAffine(ap);
    EXPECT_THAT(Point3::XAxis * m, NearPoint3(Point3(0.0f, 2.0f, 0.0f) + ap.t, 1e-6f));
    // u conjugates the stretch: u^-1 K u.
    ap.q = Quat();
    ap.u = Quat(RotateZMatrix(HALFPI));
    m = host::ComposeAffine(ap);
    Matrix3 U = MatrixOf(ap.u);
    Matrix3 direct = Inverse(U) * ScaleMatrix(ap.k) * U;
    direct.SetTrans(ap.t);
    EXPECT_THAT(m, NearMatrix3(direct, 1e-6f));
    // The stretch's first axis is row 0 of matrix(u): here world Y doubles, X does not.
    EXPECT_THAT(VectorTransform(m, Point3::YAxis), NearPoint3(Point3(0.0f, 2.0f, 0.0f), 1e-6f));
    EXPECT_THAT(VectorTransform(m, Point3::XAxis), NearPoint3(Point3::XAxis, 1e-6f));
}

TEST(DecompAffine, SpectralDecompOfASymmetricMatrix) {
    Quat q = Quat(Point3(1.0f, -1.0f, 0.5f), 0.8f);
    Matrix3 s = host::ScaleValueMatrix(ScaleValue(Point3(1.0f, 4.0f, 2.0f), q));
    Point3 ev;
    Quat axes;
    SpectralDecomp(s, ev, axes);
    EXPECT_THAT(ev, NearPoint3(Point3(4.0f, 2.0f, 1.0f), 1e-5f));
    EXPECT_THAT(host::ScaleValueMatrix(ScaleValue(ev, axes)), SameRotationMatrix(s, 1e-5f));
}
