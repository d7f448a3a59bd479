#include "objects_fixtures.h"

#include "iosave.h"
#include "shape.h"

using namespace objtest;

namespace {

::testing::AssertionResult Near(const Point3& a, const Point3& b, float eps = 1e-3f) {
    if (Length(a - b) <= eps) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << a.x << "," << a.y << "," << a.z << ") vs (" << b.x << "," << b.y
                                         << "," << b.z << ")";
}

Spline3D Square(int ktype) {
    Spline3D s;
    for (const Point3& p : {Point3(0, 0, 0), Point3(10, 0, 0), Point3(10, 10, 0), Point3(0, 10, 0)})
        s.AddKnot(SplineKnot(ktype, LTYPE_CURVE, p, p, p));
    s.SetClosed();
    s.ComputeBezPoints();
    return s;
}

}  // namespace

TEST_F(ObjectsTest, SplinesInterpolateTheirKnotsAndHandles) {
    // Corner knots make straight sides: evenly by segment, and by length.
    Spline3D sq = Square(KTYPE_CORNER);
    EXPECT_EQ(sq.Segments(), 4);
    EXPECT_TRUE(Near(sq.InterpCurve3D(0.125f), Point3(5, 0, 0)));
    EXPECT_TRUE(Near(sq.InterpCurve3D(0.5f, PARAM_NORMALIZED), Point3(10, 10, 0)));
    EXPECT_TRUE(Near(sq.InterpCurve3D(1.0f), Point3(0, 0, 0))) << "a closed spline ends where it starts";
    EXPECT_NEAR(sq.SplineLength(), 40.0f, 1e-3f);
    EXPECT_TRUE(Near(sq.TangentCurve3D(0.125f).Normalize(), Point3(1, 0, 0)));
    sq.SetOpen();
    EXPECT_EQ(sq.Segments(), 3);
    EXPECT_NEAR(sq.SplineLength(), 30.0f, 1e-3f);

    // Automatic knots: the curve passes through the knots with a continuous tangent.
    Spline3D round = Square(KTYPE_AUTO);
    for (int k = 0; k < 4; ++k) {
        EXPECT_TRUE(Near(round.InterpBezier3D(k, 0.0f), round.GetKnotPoint(k)));
        const Point3 in = round.TangentBezier3D((k + 3) % 4, 1.0f).Normalize();
        const Point3 out = round.TangentBezier3D(k, 0.0f).Normalize();
        EXPECT_TRUE(Near(in, out)) << "knot " << k;
    }
    EXPECT_GT(round.SplineLength(), 40.0f) << "the smooth curve bulges out of the square";
    EXPECT_LT(round.SplineLength(), 2.0f * 3.14159265f * 7.0711f * 1.05f) << "about the circle through the knots";

    // A line segment is straight whatever its handles say; Bezier knots keep theirs.
    Spline3D s;
    s.AddKnot(SplineKnot(KTYPE_BEZIER, LTYPE_LINE, Point3(0, 0, 0), Point3(0, 0, 0), Point3(0, 50, 0)));
    s.AddKnot(SplineKnot(KTYPE_BEZIER, LTYPE_CURVE, Point3(10, 0, 0), Point3(10, -50, 0), Point3(10, 0, 0)));
    s.ComputeBezPoints();
    EXPECT_TRUE(Near(s.InterpBezier3D(0, 0.5f), Point3(5, 0, 0)));
    EXPECT_EQ(s.GetOutVec(0), Point3(0, 50, 0));

    // Bad input answers defined values.
    Spline3D empty;
    EXPECT_EQ(empty.Segments(), 0);
    EXPECT_EQ(empty.InterpCurve3D(0.5f), Point3());
    EXPECT_EQ(empty.SplineLength(), 0.0f);
    EXPECT_FALSE(empty.DeleteKnot(0));
    Spline3D one;
    one.AddKnot(SplineKnot(KTYPE_AUTO, LTYPE_CURVE, Point3(3, 4, 5), Point3(), Point3()));
    one.ComputeBezPoints();
    EXPECT_EQ(one.InterpCurve3D(0.7f, PARAM_NORMALIZED), Point3(3, 4, 5));
    EXPECT_EQ(one.GetInVec(0), Point3(3, 4, 5));
    EXPECT_EQ(sq.InterpBezier3D(17, 0.5f), Point3(0, 10, 0)) << "past the end of an open spline: its last knot";
}

TEST_F(ObjectsTest, SplineShapesDeformSaveAndDrawAsPolylines) {
    auto* ss = Make<SplineShape>(SHAPE_CLASS_ID, splineShapeClassID);
    ASSERT_NE(ss, nullptr);
    ss->shape.AddSpline(Square(KTYPE_CORNER));
    Spline3D* tri = ss->shape.NewSpline();
    for (const Point3& p : {Point3(0, 0, 5), Point3(1, 0, 5), Point3(0, 1, 5)})
        tri->AddKnot(SplineKnot(KTYPE_CORNER, LTYPE_LINE, p, p, p));
    tri->ComputeBezPoints();
    EXPECT_EQ(ss->NumPoints(), 3 * 7);
    EXPECT_EQ(ss->GetPoint(1), Point3(0, 0, 0));
    EXPECT_EQ(ss->GetPoint(13), Point3(0, 0, 5)) << "knot 0 of the second spline";

    INode* node = ip()->CreateObjectNode(ss, L"Shape");
    host::AddModifierToNode(node, MakeOffset(Point3(0, 0, 1), 2.0f));
    auto* result = dynamic_cast<ShapeObject*>(node->EvalWorldState(0).obj);
    ASSERT_NE(result, nullptr);
    EXPECT_NE(result, ss);
    EXPECT_EQ(result->NumberOfCurves(0), 2);
    EXPECT_TRUE(result->CurveClosed(0, 0));
    EXPECT_FALSE(result->CurveClosed(0, 1));
    EXPECT_TRUE(Near(result->InterpCurve3D(0, 0, 0.125f), Point3(10, 0, 1))) << "handles move with the knots";
    EXPECT_NEAR(result->LengthOfCurve(0, 0), 80.0f, 1e-2f);
    EXPECT_EQ(result->InterpCurve3D(0, 5, 0.5f), Point3()) << "a curve out of range";
    std::vector<std::vector<Point3>> lines;
    result->host_GetPolylines(0, 3, lines);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].size(), 1u + 4u * 4u);
    EXPECT_TRUE(Near(lines[0].front(), lines[0].back())) << "a closed curve comes back to its start";
    EXPECT_EQ(ss->GetPoint(1), Point3(0, 0, 0)) << "the base shape stays";

    host::ChunkWriter w;
    ss->Save(&w);
    auto* back = Make<SplineShape>(SHAPE_CLASS_ID, splineShapeClassID);
    host::ChunkReader r(w.Bytes().data(), w.Bytes().size());
    ASSERT_EQ(back->Load(&r), IO_OK);
    ASSERT_EQ(back->shape.SplineCount(), 2);
    EXPECT_TRUE(back->shape.GetSpline(0)->Closed());
    EXPECT_EQ(back->shape.GetSpline(1)->GetLineType(2), LTYPE_LINE);
    for (int i = 0; i < ss->NumPoints(); ++i) EXPECT_EQ(back->GetPoint(i), ss->GetPoint(i)) << i;
    back->DeleteMe();
}
