#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "math_matchers.h"

using kttest::NearPoint3;

TEST(Point3Ops, OperatorsFollowTheSdk) {
    Point3 a(1.0f, 2.0f, 3.0f), b(-2.0f, 0.5f, 4.0f);
    EXPECT_EQ(Point3::XAxis ^ Point3::YAxis, Point3::ZAxis); // right-handed cross
    EXPECT_EQ(a ^ b, CrossProd(a, b));
    EXPECT_FLOAT_EQ(a % b, 1.0f * -2.0f + 2.0f * 0.5f + 3.0f * 4.0f);
    EXPECT_EQ(a * b, Point3(-2.0f, 1.0f, 12.0f)); // per component
    EXPECT_EQ(a / Point3(1.0f, 2.0f, 3.0f), Point3(1.0f, 1.0f, 1.0f));
    EXPECT_EQ(-a, Point3(-1.0f, -2.0f, -3.0f));
    EXPECT_EQ(2.0f * a, a * 2.0f);
    EXPECT_EQ(a[2], 3.0f);
    EXPECT_FLOAT_EQ(Length(Point3(3.0f, 4.0f, 0.0f)), 5.0f);
    EXPECT_FLOAT_EQ(Point3(3.0f, 4.0f, 12.0f).LengthSquared(), 169.0f);
    EXPECT_EQ(Point3(0.0f, -5.0f, 2.0f).MaxComponent(), 1);
    EXPECT_EQ(Point3(0.0f, -5.0f, 2.0f).MinComponent(), 0);
    EXPECT_TRUE(a.Equals(a + Point3(1e-7f, 0.0f, 0.0f)));
    EXPECT_FALSE(a.Equals(a + Point3(1e-3f, 0.0f, 0.0f)));
}

TEST(Point3Ops, NormalizingZeroGivesZeroNeverNaN) {
    EXPECT_EQ(Normalize(Point3()), Point3());
    EXPECT_EQ(FNormalize(Point3()), Point3());
    EXPECT_EQ(Point3().Normalize(), Point3());
    Point3 z;
    EXPECT_EQ(z.Unify(), Point3());
    EXPECT_EQ(z.LengthUnify(), 0.0f);
    // Normalize is const (returns the unit vector); Unify normalizes in place.
    Point3 v(0.0f, 3.0f, 4.0f);
    EXPECT_THAT(v.Normalize(), NearPoint3(Point3(0.0f, 0.6f, 0.8f), 1e-7f));
    EXPECT_EQ(v, Point3(0.0f, 3.0f, 4.0f));
    EXPECT_FLOAT_EQ(v.LengthUnify(), 5.0f);
    EXPECT_THAT(v, NearPoint3(Point3(0.0f, 0.6f, 0.8f), 1e-7f));
    // Tiny and huge vectors whose squared length underflows or overflows in float.
    EXPECT_THAT(FNormalize(Point3(1e-30f, 0.0f, 0.0f)), NearPoint3(Point3::XAxis, 1e-7f));
    EXPECT_THAT(FNormalize(Point3(0.0f, 3e30f, 4e30f)), NearPoint3(Point3(0.0f, 0.6f, 0.8f), 1e-7f));
    EXPECT_THAT(Normalize(Point3(0.0f, 0.0f, 1e-40f)), NearPoint3(Point3::ZAxis, 1e-7f));
    EXPECT_EQ(Normalize(Point2()), Point2());
    EXPECT_EQ(Normalize(Point4()), Point4());
}

TEST(ColorValues, PackedColoursAreBgrBytes) {
    DWORD wire = RGB(0x12, 0x34, 0x56);
    EXPECT_EQ(wire, 0x00563412u);
    EXPECT_EQ(GetRValue(wire), 0x12);
    EXPECT_EQ(GetGValue(wire), 0x34);
    EXPECT_EQ(GetBValue(wire), 0x56);
    Color c(wire);
    EXPECT_FLOAT_EQ(c.r, 0x12 / 255.0f);
    EXPECT_EQ(c.toRGB(), wire);
    EXPECT_EQ(Color(1.5f, -0.2f, 0.5f).toRGB(), RGB(255, 0, 128)); // clamped and rounded
    EXPECT_EQ(AColor(c, 0.5f).toRGBA(), wire | (128u << 24));
    EXPECT_EQ(Point3(Color(0.1f, 0.2f, 0.3f)), Point3(0.1f, 0.2f, 0.3f));
    EXPECT_EQ(Color(0.5f, 0.5f, 0.5f) * 2.0f, Color(1.0f, 1.0f, 1.0f));
}

TEST(Box3Bounds, GrowsContainsAndTransforms) {
    Box3 b;
    EXPECT_TRUE(b.IsEmpty());
    EXPECT_FALSE(b.Contains(Point3()));
    b += Point3(1.0f, 2.0f, 3.0f);
    EXPECT_FALSE(b.IsEmpty());
    EXPECT_EQ(b.pmin, b.pmax);
    b += Point3(-1.0f, 4.0f, 0.0f);
    EXPECT_EQ(b.pmin, Point3(-1.0f, 2.0f, 0.0f));
    EXPECT_EQ(b.pmax, Point3(1.0f, 4.0f, 3.0f));
    EXPECT_EQ(b.Center(), Point3(0.0f, 3.0f, 1.5f));
    EXPECT_EQ(b.Width(), Point3(2.0f, 2.0f, 3.0f));
    EXPECT_TRUE(b.Contains(Point3(1.0f, 4.0f, 3.0f)));
    EXPECT_FALSE(b.Contains(Point3(1.1f, 4.0f, 3.0f)));
    Box3 e;
    b += e;
    EXPECT_EQ(b.Width(), Point3(2.0f, 2.0f, 3.0f));
    Box3 s = b;
    s.Scale(2.0f);
    EXPECT_EQ(s.Center(), b.Center());
    EXPECT_EQ(s.Width(), Point3(4.0f, 4.0f, 6.0f));
    s = b;
    s.EnlargeBy(0.5f);
    EXPECT_EQ(s.Width(), Point3(3.0f, 3.0f, 4.0f));
    // All eight corners go through the matrix: a 90 degree turn about Z swaps X and Y extents.
    Matrix3 tm = RotateZMatrix(HALFPI);
    tm.SetTrans(Point3(10.0f, 0.0f, 0.0f));
    Box3 t = b * tm;
    EXPECT_THAT(t.pmin, NearPoint3(Point3(6.0f, -1.0f, 0.0f), 1e-5f));
    EXPECT_THAT(t.pmax, NearPoint3(Point3(8.0f, 1.0f, 3.0f), 1e-5f));
    EXPECT_TRUE((e * tm).IsEmpty());
    EXPECT_TRUE(b.Intersects(Box3(Point3(1.0f, 4.0f, 3.0f), Point3(5.0f, 5.0f, 5.0f))));
    EXPECT_FALSE(b.Intersects(e));
}

TEST(BitArrayBits, SetClearCountAndCombine) {
    BitArray a(70);
    EXPECT_EQ(a.GetSize(), 70);
    EXPECT_FALSE(a.AnyBitSet());
    a.Set(0);
    a.Set(69);
    a.Set(64, 1);
    EXPECT_EQ(a.NumberSet(), 3);
    EXPECT_EQ(a[69], 1);
    EXPECT_EQ(a[68], 0);
    a.Clear(64);
    EXPECT_EQ(a.NumberSet(), 2);
    a.SetAll();
    EXPECT_EQ(a.NumberSet(), 70); // no bits beyond the size
    a.ClearAll();
    EXPECT_TRUE(a.IsEmpty());

    BitArray k(10);
    k.Set(3);
    k.Set(9);
    k.SetSize(20, 1);
    EXPECT_EQ(k.NumberSet(), 2);
    k.SetSize(5, 1);
    EXPECT_EQ(k.NumberSet(), 1);
    k.SetSize(20);
    EXPECT_EQ(k.NumberSet(), 0);

    BitArray x(8), y(8);
    x.Set(1);
    x.Set(2);
    y.Set(2);
    y.Set(3);
    EXPECT_EQ((x | y).NumberSet(), 3);
    EXPECT_EQ((x & y).NumberSet(), 1);
    EXPECT_EQ((x ^ y).NumberSet(), 2);
    EXPECT_EQ((~x).NumberSet(), 6);
    BitArray x2(8);
    x2.Set(1);
    x2.Set(2);
    EXPECT_TRUE(x == x2);
    x2.SetSize(9, 1);
    EXPECT_FALSE(x == x2);
    BitArray shorter(2);
    shorter.Set(1);
    BitArray big(100);
    big.Set(1);
    big.Set(99);
    big &= shorter;
    EXPECT_EQ(big.NumberSet(), 1);
    EXPECT_EQ(big.GetSize(), 100);
}

TEST(AngleConstants, MatchTheSpecsFloats) {
    EXPECT_EQ(PI, 3.1415927f);
    EXPECT_EQ(TWOPI, 6.2831855f);
    EXPECT_EQ(HALFPI, PI / 2.0f);
    EXPECT_FLOAT_EQ(DegToRad(180.0f), PI);
    EXPECT_FLOAT_EQ(RadToDeg(HALFPI), 90.0f);
}
