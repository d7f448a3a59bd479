#include <gtest/gtest.h>

#include <cmath>

#include "math_matchers.h"
#include "math_test_util.h"

using kttest::NearMatrix3;
using kttest::NearPoint3;
using kttest::SameRotation;
using kttest::SameRotationMatrix;
using mathtest::MatrixOf;

TEST(Matrix3Conventions, RowVectorsAndLeftOperandFirst) {
    Matrix3 a = RotateZMatrix(HALFPI);
    a.SetTrans(Point3(1.0f, 0.0f, 0.0f));
    Matrix3 b = TransMatrix(Point3(0.0f, 0.0f, 5.0f));
    // A point goes through a, then b.
    EXPECT_THAT(Point3::XAxis * (a * b), NearPoint3(Point3(1.0f, 1.0f, 5.0f), 1e-6f));
    EXPECT_THAT(Point3::XAxis * (b * a), NearPoint3(Point3(1.0f, 1.0f, 5.0f), 1e-6f)); // z is untouched by a
    Point3 p(0.3f, -2.0f, 4.0f);
    EXPECT_THAT(p * (a * b), NearPoint3((p * a) * b, 1e-5f));
    EXPECT_THAT(VectorTransform(a, Point3::XAxis), NearPoint3(Point3::YAxis, 1e-6f)); // no translation
    EXPECT_THAT(a * Point3::XAxis, NearPoint3(Point3(1.0f, 1.0f, 0.0f), 1e-6f));
    EXPECT_TRUE(Matrix3().IsIdentity());
    EXPECT_TRUE(Matrix3(1).IsIdentity());
    EXPECT_EQ(Matrix3(0).GetRow(0), Point3());
    EXPECT_FALSE(a.IsIdentity());
}

TEST(Matrix3Operations, PostFormsApplyAfterAndPreFormsBefore) {
    mathtest::Rng rng(21);
    for (int i = 0; i < 50; ++i) {
        Matrix3 m = rng.Affine(i % 2 == 1);
        Point3 v = rng.InBox(3.0f);
        float a = rng.Uniform(-3.0f, 3.0f);
        Matrix3 r;
        r = m;
        r.Translate(v);
        EXPECT_THAT(r, NearMatrix3(m * TransMatrix(v), 1e-4f));
        r = m;
        r.PreTranslate(v);
        EXPECT_THAT(r, NearMatrix3(TransMatrix(v) * m, 1e-4f));
        r = m;
        r.RotateX(a);
        EXPECT_THAT(r, NearMatrix3(m * RotateXMatrix(a), 1e-4f));
        r = m;
        r.RotateY(a);
        EXPECT_THAT(r, NearMatrix3(m * RotateYMatrix(a), 1e-4f));
        r = m;
        r.RotateZ(a);
        EXPECT_THAT(r, NearMatrix3(m * RotateZMatrix(a), 1e-4f));
        r = m;
        r.PreRotateX(a);
        EXPECT_THAT(r, NearMatrix3(RotateXMatrix(a) * m, 1e-4f));
        r = m;
        r.PreRotateY(a);
        EXPECT_THAT(r, NearMatrix3(RotateYMatrix(a) * m, 1e-4f));
        r = m;
        r.PreRotateZ(a);
        EXPECT_THAT(r, NearMatrix3(RotateZMatrix(a) * m, 1e-4f));
        r = m;
        r.PreScale(v);
        EXPECT_THAT(r, NearMatrix3(ScaleMatrix(v) * m, 1e-4f));
        r = m;
        r.Scale(v, true);
        EXPECT_THAT(r, NearMatrix3(m * ScaleMatrix(v), 1e-4f));
        // Scale keeps the translation unless asked.
        r = m;
        r.Scale(v);
        EXPECT_THAT(r, SameRotationMatrix(m * ScaleMatrix(v), 1e-4f));
        EXPECT_EQ(r.GetTrans(), m.GetTrans());
    }
    // Right-handed builders, by hand.
    EXPECT_THAT(Point3::YAxis * RotateXMatrix(HALFPI), NearPoint3(Point3::ZAxis, 1e-6f));
    EXPECT_THAT(Point3::ZAxis * RotateYMatrix(HALFPI), NearPoint3(Point3::XAxis, 1e-6f));
    EXPECT_THAT(Point3::XAxis * RotateZMatrix(HALFPI), NearPoint3(Point3::YAxis, 1e-6f));
    Matrix3 s;
    s.SetTrans(Point3(1.0f, 2.0f, 3.0f));
    s.Scale(Point3(2.0f, 2.0f, 2.0f));
    EXPECT_EQ(s.GetTrans(), Point3(1.0f, 2.0f, 3.0f));
    s.Scale(Point3(2.0f, 2.0f, 2.0f), true);
    EXPECT_EQ(s.GetTrans(), Point3(2.0f, 4.0f, 6.0f));
}

TEST(Matrix3Inverse, InvertsRandomAffineMatricesIncludingMirrored) {
    mathtest::Rng rng(33);
    for (int i = 0; i < 500; ++i) {
        Matrix3 m = rng.Affine(i % 3 == 0);
        Matrix3 inv = Inverse(m);
        // Translations up to 50 units: float rounding there is a few 1e-6 relative.
        EXPECT_THAT(m * inv, NearMatrix3(Matrix3(), 1e-4f));
        EXPECT_THAT(inv * m, NearMatrix3(Matrix3(), 1e-4f));
        Point3 p = rng.InBox(10.0f);
        EXPECT_THAT((p * m) * inv, NearPoint3(p, 1e-4f));
        EXPECT_EQ(inv.Parity(), m.Parity());
    }
    Matrix3 a = rng.Affine(false), b = rng.Affine(true);
    EXPECT_THAT(Inverse(a * b), NearMatrix3(Inverse(b) * Inverse(a), 1e-4f));
    Matrix3 c = a;
    c.Invert();
    EXPECT_EQ(c, Inverse(a));
}

TEST(Matrix3Inverse, SingularMatricesGiveAFinitePseudoInverse) {
    // Flattened along Y, with a translation: the Y direction has no inverse and maps to nothing.
    Matrix3 flat = ScaleMatrix(Point3(2.0f, 0.0f, 4.0f));
    flat.SetTrans(Point3(1.0f, 2.0f, 3.0f));
    Matrix3 inv = Inverse(flat);
    EXPECT_THAT(inv, NearMatrix3(Matrix3(Point3(0.5f, 0.0f, 0.0f), Point3(), Point3(0.0f, 0.0f, 0.25f),
                                         Point3(-0.5f, 0.0f, -0.75f)),
                                 1e-6f));
    // Pseudo-inverse property M * M+ * M == M (3x3 part), in a rotated frame too.
    Matrix3 r = MatrixOf(Quat(Point3(1.0f, 2.0f, 3.0f), 0.9f));
    Matrix3 m = Inverse(r) * ScaleMatrix(Point3(3.0f, 0.0f, 0.5f)) * r;
    EXPECT_THAT(m * Inverse(m) * m, SameRotationMatrix(m, 1e-5f));
    // Rank one and zero.
    Matrix3 line(Point3(1.0f, 1.0f, 0.0f), Point3(2.0f, 2.0f, 0.0f), Point3(), Point3());
    Matrix3 li = Inverse(line);
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 3; ++j)
            EXPECT_TRUE(std::isfinite(li[i][j]));
    EXPECT_THAT(line * li * line, SameRotationMatrix(line, 1e-5f));
    EXPECT_EQ(Inverse(Matrix3(0)), Matrix3(0));
    // Tiny but independent axes are not singular.
    EXPECT_THAT(Inverse(ScaleMatrix(Point3(1.0f, 1e-7f, 2.0f))),
                NearMatrix3(ScaleMatrix(Point3(1.0f, 1e7f, 0.5f)), 1e-6f));
}

TEST(Matrix3Orthogonalize, GivesTheNearestFrameWithoutFavouringAnAxis) {
    mathtest::Rng rng(44);
    for (int i = 0; i < 200; ++i) {
        Quat q = rng.Rotation();
        // A symmetric stretch before a rotation: the polar rotation is exactly the rotation.
        Matrix3 m = host::ScaleValueMatrix(ScaleValue(rng.Factors(0.3f, 3.0f), rng.Rotation())) * MatrixOf(q);
        bool mirror = i % 2 == 1;
        if (mirror) m = ScaleMatrix(Point3(-1.0f, -1.0f, -1.0f)) * m;
        m.SetTrans(rng.InBox(10.0f));
        Matrix3 o = m;
        o.Orthogonalize();
        EXPECT_EQ(o.GetTrans(), m.GetTrans());
        EXPECT_EQ(o.Parity(), mirror);
        for (int r = 0; r < 3; ++r) {
            EXPECT_NEAR(o[r].Length(), 1.0f, 1e-6f);
            EXPECT_NEAR(o[r] % o[(r + 1) % 3], 0.0f, 1e-6f);
        }
        Matrix3 rot = MatrixOf(q);
        if (mirror) rot = ScaleMatrix(Point3(-1.0f, -1.0f, -1.0f)) * rot;
        EXPECT_THAT(o, SameRotationMatrix(rot, 2e-5f));
    }
    // A shear symmetric in X and Y tilts both axes by the same amount (Gram-Schmidt would keep X).
    Matrix3 shear(Point3(1.0f, 0.2f, 0.0f), Point3(0.2f, 1.0f, 0.0f), Point3::ZAxis, Point3());
    shear.Orthogonalize();
    EXPECT_THAT(shear, NearMatrix3(Matrix3(), 1e-6f)); // symmetric: its polar rotation is the identity
    Matrix3 skew(Point3(1.0f, 0.0f, 0.0f), Point3(0.3f, 1.0f, 0.0f), Point3::ZAxis, Point3());
    skew.Orthogonalize();
    EXPECT_NEAR(std::acos(skew[0] % Point3::XAxis), std::acos(skew[1] % Point3::YAxis), 1e-6f);
    EXPECT_GT(std::fabs(skew[0].y), 1e-3f);
    // Degenerate input becomes a frame; zero becomes the identity.
    Matrix3 flat(Point3(2.0f, 0.0f, 0.0f), Point3(0.0f, 3.0f, 0.0f), Point3(), Point3(1.0f, 1.0f, 1.0f));
    flat.Orthogonalize();
    EXPECT_THAT(flat, NearMatrix3(TransMatrix(Point3(1.0f, 1.0f, 1.0f)), 1e-6f));
    Matrix3 zero(0);
    zero.Orthogonalize();
    EXPECT_EQ(zero, Matrix3());
}

TEST(Matrix3Parts, NoTransNoRotNoScaleParityAndEquals) {
    Matrix3 m = RotateZMatrix(0.5f);
    m.PreScale(Point3(2.0f, 3.0f, -4.0f));
    m.SetTrans(Point3(5.0f, 6.0f, 7.0f));
    EXPECT_TRUE(m.Parity());
    Matrix3 n = m;
    n.NoTrans();
    EXPECT_EQ(n.GetTrans(), Point3());
    n = m;
    n.NoRot();
    EXPECT_THAT(n, NearMatrix3(Matrix3(Point3(2.0f, 0.0f, 0.0f), Point3(0.0f, 3.0f, 0.0f),
                                       Point3(0.0f, 0.0f, 4.0f), Point3(5.0f, 6.0f, 7.0f)),
                               1e-6f));
    n = m;
    n.NoScale();
    EXPECT_THAT(n, NearMatrix3(ScaleMatrix(Point3(1.0f, 1.0f, -1.0f)) * RotateZMatrix(0.5f) *
                                   TransMatrix(m.GetTrans()),
                               1e-6f));
    EXPECT_FALSE(RotateXMatrix(2.0f).Parity());
    EXPECT_NEAR(m.Det(), -24.0f, 1e-4f);

    Matrix3 e = m;
    e[2].z += 1e-5f;
    EXPECT_FALSE(e == m);
    EXPECT_FALSE(e.Equals(m));
    EXPECT_TRUE(e.Equals(m, 1e-4f));
    EXPECT_EQ(Matrix3().GetIdentFlags(), std::uint32_t(MAT_IDENT));
    EXPECT_EQ(RotateXMatrix(1.0f).GetIdentFlags(), std::uint32_t(POS_IDENT | SCL_IDENT));
    EXPECT_EQ(m.GetIdentFlags(), 0u);

    Matrix3 f;
    MatrixFromNormal(Point3::ZAxis, f);
    EXPECT_THAT(f, NearMatrix3(Matrix3(), 1e-6f));
    MatrixFromNormal(Point3(0.0f, 1.0f, 0.0f), f);
    EXPECT_THAT(f[2], NearPoint3(Point3::YAxis, 0.0f));
    EXPECT_NEAR(f[0] % f[2], 0.0f, 1e-6f);
    EXPECT_FALSE(f.Parity());
    // In the space of a frame at (1, 0, 0): the origin turns about that point.
    EXPECT_THAT(Point3() * XFormMat(TransMatrix(Point3(1.0f, 0.0f, 0.0f)), RotateZMatrix(HALFPI)),
                NearPoint3(Point3(-1.0f, 1.0f, 0.0f), 1e-6f));
    Matrix3 xm = TransMatrix(Point3(1.0f, 0.0f, 0.0f));
    EXPECT_THAT(XFormMat(xm, RotateZMatrix(HALFPI)),
                NearMatrix3(xm * RotateZMatrix(HALFPI) * Inverse(xm), 1e-6f));
}
