// Bezier splines, shapes, and the editable spline object.
#include "shape.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "chunk_util.h"
#include "iosave.h"
#include "objects_internal.h"

namespace {

constexpr USHORT kSplineChunk = 0x2200;   // container per spline
constexpr USHORT kClosedChunk = 0x2201;   // int32
constexpr USHORT kKnotsChunk = 0x2202;    // count, then per knot: ktype, ltype (int32), 9 floats
constexpr USHORT kStepsChunk = 0x2203;    // int32

// Samples per segment for lengths and arc-length parameters.
constexpr int kLengthSamples = 32;

struct KnotRecord {
    int32_t ktype, ltype;
    float p[9];
};

Point3 Bezier(const Point3& a, const Point3& b, const Point3& c, const Point3& d, float t) {
    const float s = 1.0f - t;
    return a * (s * s * s) + b * (3.0f * s * s * t) + c * (3.0f * s * t * t) + d * (t * t * t);
}

Point3 BezierTangent(const Point3& a, const Point3& b, const Point3& c, const Point3& d, float t) {
    const float s = 1.0f - t;
    return (b - a) * (3.0f * s * s) + (c - b) * (6.0f * s * t) + (d - c) * (3.0f * t * t);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Spline3D

int Spline3D::Segments() const {
    const int n = KnotCount();
    if (n < 2) return 0;
    return closed_ ? n : n - 1;
}

int Spline3D::AddKnot(const SplineKnot& k, int where) {
    if (where < 0 || where > KnotCount()) where = KnotCount();
    knots_.insert(knots_.begin() + where, k);
    return where;
}

BOOL Spline3D::DeleteKnot(int where) {
    if (where < 0 || where >= KnotCount()) return FALSE;
    knots_.erase(knots_.begin() + where);
    return TRUE;
}

SplineKnot Spline3D::GetKnot(int i) const {
    return i >= 0 && i < KnotCount() ? knots_[static_cast<size_t>(i)] : SplineKnot();
}

void Spline3D::SetKnot(int i, const SplineKnot& k) {
    if (i >= 0 && i < KnotCount()) knots_[static_cast<size_t>(i)] = k;
}

void Spline3D::SetKnotPoint(int i, const Point3& p) {
    if (i >= 0 && i < KnotCount()) knots_[static_cast<size_t>(i)].SetKnot(p);
}
void Spline3D::SetInVec(int i, const Point3& p) {
    if (i >= 0 && i < KnotCount()) knots_[static_cast<size_t>(i)].SetInVec(p);
}
void Spline3D::SetOutVec(int i, const Point3& p) {
    if (i >= 0 && i < KnotCount()) knots_[static_cast<size_t>(i)].SetOutVec(p);
}
void Spline3D::SetKnotType(int i, int t) {
    if (i >= 0 && i < KnotCount()) knots_[static_cast<size_t>(i)].SetKtype(t);
}
void Spline3D::SetLineType(int i, int t) {
    if (i >= 0 && i < KnotCount()) knots_[static_cast<size_t>(i)].SetLtype(t);
}

void Spline3D::ComputeBezPoints() {
    const int n = KnotCount();
    for (int i = 0; i < n; ++i) {
        SplineKnot& k = knots_[static_cast<size_t>(i)];
        if (k.Ktype() != KTYPE_AUTO && k.Ktype() != KTYPE_CORNER) continue;
        const Point3 p = k.Knot();
        const bool hasPrev = closed_ || i > 0;
        const bool hasNext = closed_ || i + 1 < n;
        const Point3 prev = hasPrev && n > 1 ? knots_[static_cast<size_t>((i + n - 1) % n)].Knot() : p;
        const Point3 next = hasNext && n > 1 ? knots_[static_cast<size_t>((i + 1) % n)].Knot() : p;
        if (k.Ktype() == KTYPE_CORNER) {
            k.SetInVec(p + (prev - p) / 3.0f);
            k.SetOutVec(p + (next - p) / 3.0f);
            continue;
        }
        // Automatic: along the chord of the neighbours, a third of each neighbouring segment.
        const Point3 dir = (next - prev).Normalize();
        const float lenIn = Length(p - prev) / 3.0f;
        const float lenOut = Length(next - p) / 3.0f;
        if (dir == Point3()) {
            k.SetInVec(p + (prev - p) / 3.0f);
            k.SetOutVec(p + (next - p) / 3.0f);
        } else {
            k.SetInVec(hasPrev ? p - dir * lenIn : p);
            k.SetOutVec(hasNext ? p + dir * lenOut : p);
        }
    }
}

Point3 Spline3D::InterpBezier3D(int seg, float t) const {
    const int n = KnotCount();
    if (n == 0) return Point3();
    if (seg < 0) return knots_.front().Knot();
    if (seg >= Segments()) return closed_ || n == 1 ? knots_.front().Knot() : knots_.back().Knot();
    t = std::clamp(t, 0.0f, 1.0f);
    const SplineKnot& a = knots_[static_cast<size_t>(seg)];
    const SplineKnot& b = knots_[static_cast<size_t>((seg + 1) % n)];
    if (a.Ltype() == LTYPE_LINE) return a.Knot() + (b.Knot() - a.Knot()) * t;
    return Bezier(a.Knot(), a.OutVec(), b.InVec(), b.Knot(), t);
}

Point3 Spline3D::TangentBezier3D(int seg, float t) const {
    const int n = KnotCount();
    if (seg < 0 || seg >= Segments()) return Point3();
    t = std::clamp(t, 0.0f, 1.0f);
    const SplineKnot& a = knots_[static_cast<size_t>(seg)];
    const SplineKnot& b = knots_[static_cast<size_t>((seg + 1) % n)];
    if (a.Ltype() == LTYPE_LINE) return b.Knot() - a.Knot();
    return BezierTangent(a.Knot(), a.OutVec(), b.InVec(), b.Knot(), t);
}

void Spline3D::Locate(float u, int& seg, float& t) const {
    const int segs = Segments();
    u = std::clamp(u, 0.0f, 1.0f) * static_cast<float>(segs);
    seg = std::min(static_cast<int>(u), segs - 1);
    t = u - static_cast<float>(seg);
}

float Spline3D::SegmentLength(int seg) const {
    if (seg < 0 || seg >= Segments()) return 0.0f;
    float len = 0.0f;
    Point3 prev = InterpBezier3D(seg, 0.0f);
    for (int k = 1; k <= kLengthSamples; ++k) {
        const Point3 p = InterpBezier3D(seg, static_cast<float>(k) / kLengthSamples);
        len += Length(p - prev);
        prev = p;
    }
    return len;
}

float Spline3D::SplineLength() const {
    float len = 0.0f;
    for (int s = 0; s < Segments(); ++s) len += SegmentLength(s);
    return len;
}

float Spline3D::SimpleFromNormalized(float u) const {
    const int segs = Segments();
    const float total = SplineLength();
    if (segs == 0 || total <= 0.0f) return std::clamp(u, 0.0f, 1.0f);
    float want = std::clamp(u, 0.0f, 1.0f) * total;
    for (int s = 0; s < segs; ++s) {
        Point3 prev = InterpBezier3D(s, 0.0f);
        for (int k = 1; k <= kLengthSamples; ++k) {
            const float tk = static_cast<float>(k) / kLengthSamples;
            const Point3 p = InterpBezier3D(s, tk);
            const float step = Length(p - prev);
            if (want <= step && step > 0.0f) {
                const float t = tk - (1.0f - want / step) / kLengthSamples;
                return (static_cast<float>(s) + t) / static_cast<float>(segs);
            }
            want -= step;
            prev = p;
        }
    }
    return 1.0f;
}

Point3 Spline3D::InterpCurve3D(float u, int ptype) const {
    if (Segments() == 0) return KnotCount() ? knots_.front().Knot() : Point3();
    if (ptype == PARAM_NORMALIZED) u = SimpleFromNormalized(u);
    int seg;
    float t;
    Locate(u, seg, t);
    return InterpBezier3D(seg, t);
}

Point3 Spline3D::TangentCurve3D(float u, int ptype) const {
    if (Segments() == 0) return Point3();
    if (ptype == PARAM_NORMALIZED) u = SimpleFromNormalized(u);
    int seg;
    float t;
    Locate(u, seg, t);
    return TangentBezier3D(seg, t);
}

Box3 Spline3D::GetBBox(const Matrix3* tm) const {
    Box3 b;
    for (const SplineKnot& k : knots_)
        for (const Point3& p : {k.InVec(), k.Knot(), k.OutVec()}) b += tm ? p * *tm : p;
    return b;
}

void Spline3D::Transform(const Matrix3& tm) {
    for (SplineKnot& k : knots_) {
        k.SetKnot(k.Knot() * tm);
        k.SetInVec(k.InVec() * tm);
        k.SetOutVec(k.OutVec() * tm);
    }
}

void Spline3D::GetPolyline(int steps, std::vector<Point3>& out) const {
    out.clear();
    steps = std::max(steps, 0);
    if (KnotCount() == 0) return;
    out.push_back(InterpBezier3D(0, 0.0f));
    for (int s = 0; s < Segments(); ++s) {
        const bool line = knots_[static_cast<size_t>(s)].Ltype() == LTYPE_LINE;
        const int inner = line ? 0 : steps;
        for (int k = 1; k <= inner + 1; ++k) out.push_back(InterpBezier3D(s, static_cast<float>(k) / (inner + 1)));
    }
}

// ---------------------------------------------------------------------------------------------
// BezierShape

BezierShape::BezierShape(const BezierShape& from) { *this = from; }

BezierShape& BezierShape::operator=(const BezierShape& from) {
    if (this == &from) return *this;
    splines_.clear();
    for (const auto& s : from.splines_) splines_.push_back(std::make_unique<Spline3D>(*s));
    steps = from.steps;
    return *this;
}

Spline3D* BezierShape::NewSpline(int itype, int dtype, int ptype) {
    splines_.push_back(std::make_unique<Spline3D>(itype, dtype, ptype));
    return splines_.back().get();
}

Spline3D* BezierShape::AddSpline(const Spline3D& spline) {
    splines_.push_back(std::make_unique<Spline3D>(spline));
    return splines_.back().get();
}

Spline3D* BezierShape::GetSpline(int index) {
    return index >= 0 && index < SplineCount() ? splines_[static_cast<size_t>(index)].get() : nullptr;
}

const Spline3D* BezierShape::GetSpline(int index) const {
    return index >= 0 && index < SplineCount() ? splines_[static_cast<size_t>(index)].get() : nullptr;
}

BOOL BezierShape::DeleteSpline(int index) {
    if (index < 0 || index >= SplineCount()) return FALSE;
    splines_.erase(splines_.begin() + index);
    return TRUE;
}

Box3 BezierShape::BuildBoundingBox(const Matrix3* tm) const {
    Box3 b;
    for (const auto& s : splines_) b += s->GetBBox(tm);
    return b;
}

IOResult BezierShape::Save(ISave* isave) const {
    using namespace host::objio;
    WriteChunk(isave, kStepsChunk, int32_t(steps));
    for (const auto& s : splines_) {
        isave->BeginChunk(kSplineChunk);
        WriteChunk(isave, kClosedChunk, int32_t(s->Closed()));
        std::vector<KnotRecord> recs;
        for (int i = 0; i < s->KnotCount(); ++i) {
            const SplineKnot k = s->GetKnot(i);
            KnotRecord r{k.Ktype(), k.Ltype(), {}};
            const Point3 pts[3] = {k.Knot(), k.InVec(), k.OutVec()};
            for (int j = 0; j < 3; ++j)
                for (int c = 0; c < 3; ++c) r.p[j * 3 + c] = pts[j][c];
            recs.push_back(r);
        }
        WriteArray(isave, kKnotsChunk, recs.data(), static_cast<int>(recs.size()));
        isave->EndChunk();
    }
    return IO_OK;
}

IOResult BezierShape::Load(ILoad* iload) {
    using namespace host::objio;
    NewShape();
    IOResult res;
    while ((res = iload->OpenChunk()) == IO_OK) {
        bool ok = true;
        if (iload->CurChunkID() == kStepsChunk) {
            int32_t st = 6;
            ok = ReadValue(iload, st);
            steps = std::max<int32_t>(st, 0);
        } else if (iload->CurChunkID() == kSplineChunk) {
            Spline3D* s = NewSpline();
            while (ok && iload->OpenChunk() == IO_OK) {
                if (iload->CurChunkID() == kClosedChunk) {
                    int32_t c = 0;
                    ok = ReadValue(iload, c);
                    s->SetClosed(c);
                } else if (iload->CurChunkID() == kKnotsChunk) {
                    std::vector<KnotRecord> recs;
                    ok = ReadArray(iload, recs);
                    for (const KnotRecord& r : recs)
                        s->AddKnot(SplineKnot(r.ktype, r.ltype, Point3(r.p[0], r.p[1], r.p[2]),
                                              Point3(r.p[3], r.p[4], r.p[5]), Point3(r.p[6], r.p[7], r.p[8])));
                }
                iload->CloseChunk();
            }
        }
        iload->CloseChunk();
        if (!ok) return IO_ERROR;
    }
    return res == IO_ERROR ? IO_ERROR : IO_OK;
}

// ---------------------------------------------------------------------------------------------
// ShapeObject and SplineShape

void ShapeObject::host_GetPolylines(TimeValue t, int steps, std::vector<std::vector<Point3>>& out) {
    out.clear();
    steps = std::max(steps, 0);
    for (int c = 0; c < NumberOfCurves(t); ++c) {
        std::vector<Point3> line;
        const int pieces = NumberOfPieces(t, c);
        if (pieces <= 0) {
            out.push_back(std::move(line));
            continue;
        }
        line.push_back(InterpPiece3D(t, c, 0, 0.0f));
        for (int p = 0; p < pieces; ++p)
            for (int k = 1; k <= steps + 1; ++k)
                line.push_back(InterpPiece3D(t, c, p, static_cast<float>(k) / static_cast<float>(steps + 1)));
        out.push_back(std::move(line));
    }
}

BOOL SplineShape::CurveClosed(TimeValue, int curve) {
    const Spline3D* s = shape.GetSpline(curve);
    return s && s->Closed() ? TRUE : FALSE;
}

Point3 SplineShape::InterpCurve3D(TimeValue, int curve, float param, int ptype) {
    const Spline3D* s = shape.GetSpline(curve);
    return s ? s->InterpCurve3D(param, ptype) : Point3();
}

Point3 SplineShape::TangentCurve3D(TimeValue, int curve, float param, int ptype) {
    const Spline3D* s = shape.GetSpline(curve);
    return s ? s->TangentCurve3D(param, ptype) : Point3();
}

float SplineShape::LengthOfCurve(TimeValue, int curve) {
    const Spline3D* s = shape.GetSpline(curve);
    return s ? s->SplineLength() : 0.0f;
}

int SplineShape::NumberOfPieces(TimeValue, int curve) {
    const Spline3D* s = shape.GetSpline(curve);
    return s ? s->Segments() : 0;
}

Point3 SplineShape::InterpPiece3D(TimeValue, int curve, int piece, float param, int ptype) {
    (void)ptype;
    const Spline3D* s = shape.GetSpline(curve);
    return s ? s->InterpBezier3D(piece, param) : Point3();
}

int SplineShape::NumPoints() {
    int n = 0;
    for (int i = 0; i < shape.SplineCount(); ++i) n += 3 * shape.GetSpline(i)->KnotCount();
    return n;
}

Point3 SplineShape::GetPoint(int i) {
    if (i < 0) return Point3();
    for (int s = 0; s < shape.SplineCount(); ++s) {
        const Spline3D* sp = shape.GetSpline(s);
        if (i < 3 * sp->KnotCount()) {
            const SplineKnot k = sp->GetKnot(i / 3);
            return i % 3 == 0 ? k.InVec() : i % 3 == 1 ? k.Knot() : k.OutVec();
        }
        i -= 3 * sp->KnotCount();
    }
    return Point3();
}

void SplineShape::SetPoint(int i, const Point3& p) {
    if (i < 0) return;
    for (int s = 0; s < shape.SplineCount(); ++s) {
        Spline3D* sp = shape.GetSpline(s);
        if (i < 3 * sp->KnotCount()) {
            if (i % 3 == 0) sp->SetInVec(i / 3, p);
            else if (i % 3 == 1) sp->SetKnotPoint(i / 3, p);
            else sp->SetOutVec(i / 3, p);
            return;
        }
        i -= 3 * sp->KnotCount();
    }
}

void SplineShape::GetLocalBoundBox(TimeValue, INode*, ViewExp*, Box3& box) { box = shape.BuildBoundingBox(); }

void SplineShape::GetDeformBBox(TimeValue, Box3& box, Matrix3* tm, BOOL) { box = shape.BuildBoundingBox(tm); }

Object* SplineShape::MakeShallowCopy(ChannelMask) {
    auto* c = new SplineShape();
    c->shape = shape;
    c->valid_ = valid_;
    return c;
}

bool SplineShape::host_CopyChannels(Object* fromOb, ChannelMask) {
    auto* from = dynamic_cast<SplineShape*>(fromOb);
    if (!from) return false;
    if (from != this) shape = from->shape;
    valid_ = from->valid_;
    return true;
}

ReferenceTarget* SplineShape::Clone(RemapDir& remap) {
    auto* c = new SplineShape();
    c->shape = shape;
    c->valid_ = valid_;
    BaseClone(this, c, remap);
    return c;
}

IOResult SplineShape::Save(ISave* isave) {
    isave->BeginChunk(0x1200);
    shape.Save(isave);
    isave->EndChunk();
    return IO_OK;
}

IOResult SplineShape::Load(ILoad* iload) {
    IOResult res;
    while ((res = iload->OpenChunk()) == IO_OK) {
        if (iload->CurChunkID() == 0x1200 && shape.Load(iload) != IO_OK) return IO_ERROR;
        iload->CloseChunk();
    }
    return res == IO_ERROR ? IO_ERROR : IO_OK;
}
