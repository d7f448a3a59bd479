// Shapes: Bezier splines (Spline3D of SplineKnots, gathered in a BezierShape) and the objects
// that carry them (ShapeObject, and the editable SplineShape).
//
// A knot has a position and two handles, in and out, stored as absolute points (not offsets).
// Segment i runs from knot i to knot i + 1 (a closed spline has one more, from the last knot
// to the first) as the cubic Bezier knot i, out(i), in(i + 1), knot i + 1. ComputeBezPoints
// places the handles of automatic knots (KTYPE_AUTO: smooth, a third of the neighbouring
// segments along the neighbours' chord) and corner knots (KTYPE_CORNER: a third of the way to
// the neighbours, so a run of corners is straight lines); Bezier knots keep the handles given.
// A line segment (LTYPE_LINE) is straight whatever its handles say.
//
// Parameters: PARAM_SIMPLE runs 0..1 over the segments evenly (u * Segments() picks the
// segment); PARAM_NORMALIZED runs 0..1 by arc length. A spline without segments answers its
// only knot (or the origin when empty) for every parameter and has length 0.
#pragma once

#include <memory>
#include <vector>

#include "box3.h"
#include "chanvalid.h"
#include "object.h"

class ISave;
class ILoad;

constexpr int KTYPE_AUTO = 0;
constexpr int KTYPE_CORNER = 1;
constexpr int KTYPE_BEZIER = 2;
constexpr int KTYPE_BEZIER_CORNER = 3;
constexpr int LTYPE_CURVE = 0;
constexpr int LTYPE_LINE = 1;
constexpr int PARAM_SIMPLE = 0;
constexpr int PARAM_NORMALIZED = 1;

class SplineKnot {
public:
    SplineKnot() = default;
    SplineKnot(int ktype, int ltype, const Point3& p, const Point3& in, const Point3& out)
        : ktype_(ktype), ltype_(ltype), point_(p), in_(in), out_(out) {}
    int Ktype() const { return ktype_; }
    void SetKtype(int t) { ktype_ = t; }
    int Ltype() const { return ltype_; }
    void SetLtype(int t) { ltype_ = t; }
    Point3 Knot() const { return point_; }
    void SetKnot(const Point3& p) { point_ = p; }
    Point3 InVec() const { return in_; }
    void SetInVec(const Point3& p) { in_ = p; }
    Point3 OutVec() const { return out_; }
    void SetOutVec(const Point3& p) { out_ = p; }

private:
    int ktype_ = KTYPE_CORNER;
    int ltype_ = LTYPE_CURVE;
    Point3 point_, in_, out_;
};

class Spline3D {
public:
    Spline3D() = default;
    // The knot-type arguments of the SDK's constructor; knots carry their own types here.
    explicit Spline3D(int itype, int dtype = KTYPE_BEZIER, int ptype = PARAM_SIMPLE) {
        (void)itype; (void)dtype; (void)ptype;
    }

    int KnotCount() const { return static_cast<int>(knots_.size()); }
    // Closed splines with n knots have n segments, open ones n - 1 (never below 0).
    int Segments() const;
    // Inserts at `where` (-1 or past the end: appends); answers the knot's index.
    int AddKnot(const SplineKnot& k, int where = -1);
    // Out of range does nothing and answers FALSE.
    BOOL DeleteKnot(int where);
    void NewSpline() { knots_.clear(); closed_ = false; }

    // Out-of-range reads answer a default knot; writes are ignored.
    SplineKnot GetKnot(int i) const;
    void SetKnot(int i, const SplineKnot& k);
    Point3 GetKnotPoint(int i) const { return GetKnot(i).Knot(); }
    void SetKnotPoint(int i, const Point3& p);
    Point3 GetInVec(int i) const { return GetKnot(i).InVec(); }
    void SetInVec(int i, const Point3& p);
    Point3 GetOutVec(int i) const { return GetKnot(i).OutVec(); }
    void SetOutVec(int i, const Point3& p);
    int GetKnotType(int i) const { return GetKnot(i).Ktype(); }
    void SetKnotType(int i, int t);
    int GetLineType(int i) const { return GetKnot(i).Ltype(); }
    void SetLineType(int i, int t);

    int Closed() const { return closed_ ? 1 : 0; }
    int IsClosed() const { return Closed(); }
    void SetClosed(int flag = 1) { closed_ = flag != 0; }
    void SetOpen() { closed_ = false; }

    // Places the handles of automatic and corner knots (see the header comment).
    void ComputeBezPoints();
    // Point and tangent (derivative per unit parameter) on segment seg at t in 0..1; t is
    // clamped, a bad segment answers the nearest knot and a zero tangent.
    Point3 InterpBezier3D(int seg, float t) const;
    Point3 TangentBezier3D(int seg, float t) const;
    // Over the whole spline, u in 0..1 (clamped).
    Point3 InterpCurve3D(float u, int ptype = PARAM_SIMPLE) const;
    Point3 TangentCurve3D(float u, int ptype = PARAM_SIMPLE) const;
    float SegmentLength(int seg) const;
    float SplineLength() const;
    // Bounds of the knots and handles (which hold the curve), through tm when given.
    Box3 GetBBox(const Matrix3* tm = nullptr) const;
    void Transform(const Matrix3& tm);
    // The curve sampled with `steps` points between knots (steps >= 0), as one polyline;
    // a closed spline repeats its first point at the end.
    void GetPolyline(int steps, std::vector<Point3>& out) const;

private:
    // Segment and local t of u (simple parametrization).
    void Locate(float u, int& seg, float& t) const;
    float SimpleFromNormalized(float u) const;

    std::vector<SplineKnot> knots_;
    bool closed_ = false;
};

// A set of splines. Owns its splines.
class BezierShape {
public:
    BezierShape() = default;
    BezierShape(const BezierShape& from);
    BezierShape& operator=(const BezierShape& from);
    ~BezierShape() = default;

    int SplineCount() const { return static_cast<int>(splines_.size()); }
    // A new empty spline at the end; the shape owns it.
    Spline3D* NewSpline(int itype = KTYPE_CORNER, int dtype = KTYPE_BEZIER, int ptype = PARAM_SIMPLE);
    Spline3D* AddSpline(const Spline3D& spline);
    // Null out of range.
    Spline3D* GetSpline(int index);
    const Spline3D* GetSpline(int index) const;
    BOOL DeleteSpline(int index);
    void NewShape() { splines_.clear(); }
    // Kept for the SDK's calling sequence after edits; selections are not modelled.
    void UpdateSels() {}
    void InvalidateGeomCache() {}
    // Bounds of every spline's knots and handles; empty for an empty shape.
    Box3 BuildBoundingBox(const Matrix3* tm = nullptr) const;
    // Interpolation steps between knots for drawing.
    int steps = 6;

    // Scene file chunks (ids 0x2200..0x220F of the caller's chunk list).
    IOResult Save(ISave* isave) const;
    IOResult Load(ILoad* iload);

private:
    std::vector<std::unique_ptr<Spline3D>> splines_;
};

// The editable spline ("SplineShape"): a ShapeObject holding a BezierShape. Its points for
// deformers are, per knot, the in handle, the knot and the out handle (3 per knot).
class SplineShape : public host::ChannelValidityObject<ShapeObject> {
public:
    BezierShape shape;

    Class_ID ClassID() override { return splineShapeClassID; }
    int IsSubClassOf(Class_ID classID) override { return classID == splineShapeClassID || classID == ClassID(); }


    int NumberOfCurves(TimeValue t) override { (void)t; return shape.SplineCount(); }
    BOOL CurveClosed(TimeValue t, int curve) override;
    Point3 InterpCurve3D(TimeValue t, int curve, float param, int ptype = PARAM_SIMPLE) override;
    Point3 TangentCurve3D(TimeValue t, int curve, float param, int ptype = PARAM_SIMPLE) override;
    float LengthOfCurve(TimeValue t, int curve) override;
    int NumberOfPieces(TimeValue t, int curve) override;
    Point3 InterpPiece3D(TimeValue t, int curve, int piece, float param, int ptype = PARAM_SIMPLE) override;

    int NumPoints() override;
    Point3 GetPoint(int i) override;
    void SetPoint(int i, const Point3& p) override;
    void GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) override;
    void GetDeformBBox(TimeValue t, Box3& box, Matrix3* tm = nullptr, BOOL useSel = FALSE) override;

    Object* MakeShallowCopy(ChannelMask channels) override;
    bool host_CopyChannels(Object* fromOb, ChannelMask channels) override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;
};
