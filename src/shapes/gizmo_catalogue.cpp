#include "shapes/gizmo_catalogue.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>
#include <utility>

#include "shapes/gizmo_tables.h"

namespace kt {

namespace {

constexpr float kPi = 3.14159265358979f;

// Figures mix integer and float literals; Point3's overloads would find that ambiguous.
constexpr Point3 P(float x, float y, float z) { return Point3(x, y, z); }

struct Names {
    const MCHAR* script;
    const MCHAR* label;
};

constexpr std::array<Names, kNumGizmoTypes> kNames{{
    {L"None", L"None"},
    {L"Cross", L"Cross"},
    {L"CrossDiagonal", L"Cross Diagonal"},
    {L"CrossAsterisk", L"Cross Asterisk"},
    {L"AxisTripod", L"Axis Tripod"},
    {L"Circle", L"Circle"},
    {L"CircleHalf", L"Circle Half"},
    {L"CirclePointy", L"Circle Pointy"},
    {L"Donut", L"Donut"},
    {L"Sphere", L"Sphere"},
    {L"SphereHalf", L"Sphere Hemi"},
    {L"Rectangle", L"Rectangle"},
    {L"Box", L"Box"},
    {L"Triangle", L"Triangle"},
    {L"Cone", L"Cone"},
    {L"Cylinder", L"Cylinder"},
    {L"Arrow", L"Arrow"},
    {L"ArrowDouble", L"Arrow Double"},
    {L"ArrowCircle", L"Arrow Circle"},
    {L"ArrowCylinder", L"Arrow Cylinder"},
    {L"ArrowCross", L"Arrow Cross"},
    {L"ArrowMixed", L"Arrow Mixed"},
    {L"CrossFlat", L"Cross Flat"},
    {L"Drop", L"Drop"},
    {L"Star", L"Star"},
    {L"StarSmooth", L"Star Smooth"},
    {L"Peanut", L"Peanut"},
    {L"Gear", L"Gear"},
    {L"Character", L"Character"},
    {L"Eye", L"Eye"},
    {L"Lips", L"Lips"},
    {L"Hand", L"Hand"},
    {L"Foot", L"Foot"},
    {L"Shoe", L"Shoe"},
    {L"FourArrows", L"Four Arrows"},
    {L"FourPyramids", L"Four Pyramids"},
    {L"FourTriangles", L"Four Triangles"},
    {L"IKFK", L"IKFK"},
    {L"SphereIcosa", L"Sphere Icosa"},
    {L"SphereGeo", L"Sphere Geo"},
    {L"Face", L"Face"},
    {L"Nose", L"Nose"},
    {L"Diamond", L"Diamond"},
}};

// Unit-size builder: points are given in unit coordinates and scaled on the way in.
class Builder {
public:
    Builder(const GizmoParams& p, GizmoLines& out) : p_(p), out_(out) {
        steps_ = std::clamp(p.steps, 0, 999);
        const float half = 0.5f;
        scale_ = p.uniform ? P(p.size * half, p.size * half, p.size * half)
                           : P(p.length * half, p.width * half, p.height * half);
        split_ = std::fabs(p.warpAmount) > 0.1f;
    }

    int Steps() const { return steps_; }
    int RoundCount() const { return steps_ * 4 + 4; }
    const Point3& HalfSize() const { return scale_; }

    Point3 Scaled(const Point3& u) const { return P(u.x * scale_.x, u.y * scale_.y, u.z * scale_.z); }

    // A strip of straight edges, split under warp.
    void Straight(std::initializer_list<Point3> unit, bool closed) { Straight(unit.begin(), unit.size(), closed); }
    void Straight(const Point3* unit, size_t n, bool closed) {
        Begin();
        const int pieces = split_ ? steps_ + 1 : 1;
        const size_t edges = closed ? n : n - 1;
        for (size_t i = 0; i < n; ++i) {
            Add(Scaled(unit[i]));
            if (i < edges) {
                const Point3 a = Scaled(unit[i]);
                const Point3 b = Scaled(unit[(i + 1) % n]);
                for (int k = 1; k < pieces; ++k) Add(a + (b - a) * (float(k) / float(pieces)));
            }
        }
        End(closed);
    }
    // A strip of points already in object space (corner arcs), never split.
    void Raw(const std::vector<Point3>& pts, bool closed) {
        Begin();
        for (const Point3& q : pts) Add(q);
        End(closed);
    }
    // count points of a unit circle of radius r about centre c in the plane of axes (u, v),
    // from angle a0 by step da; closed joins the ends.
    void Arc(const Point3& c, float r, int u, int v, int count, float a0, float da, bool closed) {
        Begin();
        for (int i = 0; i < count; ++i) {
            const float a = a0 + da * float(i);
            Point3 q = c;
            q[u] += r * std::cos(a);
            q[v] += r * std::sin(a);
            Add(Scaled(q));
        }
        End(closed);
    }
    void Circle(const Point3& c, float r, int u, int v) {
        const int n = RoundCount();
        Arc(c, r, u, v, n, 0.0f, 2.0f * kPi / float(n), true);
    }
    // A unit-table polyline (stored figures), never split.
    void Table(const GizmoTable& t) {
        Begin();
        for (int i = 0; i < t.count; ++i) Add(Scaled(P(t.xy[i][0], t.xy[i][1], 0.0f)));
        End(t.closed);
    }
    // Unit points given as they are, without splitting (round outlines built point by point).
    void Loop(const std::vector<Point3>& unit, bool closed) {
        Begin();
        for (const Point3& q : unit) Add(Scaled(q));
        End(closed);
    }

    void Warp() {
        if (p_.warpAmount == 0.0f) return;
        const int a = std::clamp(p_.warpAxis, 0, 2);
        const int b = a == 0 ? 1 : 0;
        const float h = scale_[b];
        if (h <= 0.0f) return;
        for (Point3& q : out_.points) {
            const float u = std::min(std::fabs(q[b]) / h, 1.0f);
            const float w = u * u * (3.0f - 2.0f * u);
            q[a] += -(2.0f * w - 1.0f) * p_.warpAmount * h;
        }
    }

private:
    void Begin() { first_ = static_cast<int>(out_.points.size()); }
    void Add(const Point3& q) { out_.points.push_back(q); }
    void End(bool closed) {
        const int count = static_cast<int>(out_.points.size()) - first_;
        if (count > 0) out_.strips.push_back({first_, count, closed});
    }

    const GizmoParams& p_;
    GizmoLines& out_;
    Point3 scale_;
    int steps_ = 0;
    bool split_ = false;
    int first_ = 0;
};

Point3 AxisPoint(int axis, float v) {
    Point3 q(0.0f, 0.0f, 0.0f);
    q[axis] = v;
    return q;
}

// Three axis lines through the origin.
void AxisLines(Builder& b) {
    for (int axis = 0; axis < 3; ++axis) b.Straight({AxisPoint(axis, -1.0f), AxisPoint(axis, 1.0f)}, false);
}

// The four diagonals of the unit cube, scaled to unit length.
void DiagonalLines(Builder& b) {
    const float d = 1.0f / std::sqrt(3.0f);
    const Point3 corners[4] = {{d, d, d}, {-d, d, d}, {d, -d, d}, {-d, -d, d}};
    for (const Point3& c : corners) b.Straight({-c, c}, false);
}

// A V-shaped head at tip pointing along dir (unit), opening in direction side, of size h.
void ArrowHead(Builder& b, const Point3& tip, const Point3& dir, const Point3& side, float h) {
    b.Straight({tip - dir * h + side * h, tip, tip - dir * h - side * h}, false);
}

// The rectangle in the plane normal to axis, corners cut by `corner` (world units) with arcs of
// steps + 2 points.
void Rectangle(Builder& b, const GizmoParams& p, float level) {
    const int n = std::clamp(p.axis, 0, 2);
    const int u = (n + 1) % 3;
    const int v = (n + 2) % 3;
    const Point3& half = b.HalfSize();
    const float r = std::min({p.corner, half[u], half[v]});
    if (r <= 0.0f) {
        Point3 c[4];
        const float su[4] = {1, -1, -1, 1};
        const float sv[4] = {1, 1, -1, -1};
        for (int i = 0; i < 4; ++i) {
            c[i] = AxisPoint(n, level);
            c[i][u] = su[i];
            c[i][v] = sv[i];
        }
        b.Straight(c, 4, true);
        return;
    }
    // Corners in object space: centre of each arc inset by r, a quarter turn each.
    std::vector<Point3> pts;
    const int arcPts = b.Steps() + 2;
    const float cu[4] = {1, -1, -1, 1};
    const float cv[4] = {1, 1, -1, -1};
    for (int i = 0; i < 4; ++i) {
        Point3 centre(0.0f, 0.0f, 0.0f);
        centre[n] = level * half[n];
        centre[u] = cu[i] * (half[u] - r);
        centre[v] = cv[i] * (half[v] - r);
        const float a0 = 0.5f * kPi * float(i);
        for (int k = 0; k < arcPts; ++k) {
            const float a = a0 + 0.5f * kPi * float(k) / float(arcPts - 1);
            Point3 q = centre;
            q[u] += r * std::cos(a);
            q[v] += r * std::sin(a);
            pts.push_back(q);
        }
    }
    b.Raw(pts, true);
}

void Box(Builder& b, const GizmoParams& given) {
    GizmoParams p = given;
    p.corner = 0.0f;  // rounded loops would leave the vertical edges standing off the corners
    const int n = std::clamp(p.axis, 0, 2);
    const int u = (n + 1) % 3;
    const int v = (n + 2) % 3;
    Rectangle(b, p, -1.0f);
    Rectangle(b, p, 1.0f);
    const float su[4] = {1, -1, -1, 1};
    const float sv[4] = {1, 1, -1, -1};
    for (int i = 0; i < 4; ++i) {
        Point3 lo = AxisPoint(n, -1.0f), hi = AxisPoint(n, 1.0f);
        lo[u] = hi[u] = su[i];
        lo[v] = hi[v] = sv[i];
        b.Straight({lo, hi}, false);
    }
}

// Icosahedron on the unit sphere: 12 vertices, 30 edges.
const std::vector<Point3>& IcosaVertices() {
    static const std::vector<Point3> v = [] {
        const float g = (1.0f + std::sqrt(5.0f)) * 0.5f;
        std::vector<Point3> r;
        for (float s1 : {-1.0f, 1.0f})
            for (float s2 : {-1.0f, 1.0f}) {
                r.emplace_back(0.0f, s1, s2 * g);
                r.emplace_back(s1, s2 * g, 0.0f);
                r.emplace_back(s2 * g, 0.0f, s1);
            }
        for (Point3& q : r) q = q / std::sqrt(1.0f + g * g);
        return r;
    }();
    return v;
}

std::vector<std::array<int, 3>> IcosaFaces() {
    const auto& v = IcosaVertices();
    // Edges join vertices at the smallest distance; faces are triples of mutual neighbours.
    float best = 1e30f;
    for (size_t i = 1; i < v.size(); ++i) best = std::min(best, Length(v[0] - v[i]));
    auto adjacent = [&](int i, int j) { return std::fabs(Length(v[size_t(i)] - v[size_t(j)]) - best) < 1e-3f; };
    std::vector<std::array<int, 3>> faces;
    const int n = static_cast<int>(v.size());
    for (int i = 0; i < n; ++i)
        for (int j = i + 1; j < n; ++j)
            for (int k = j + 1; k < n; ++k)
                if (adjacent(i, j) && adjacent(j, k) && adjacent(i, k)) faces.push_back({i, j, k});
    return faces;
}

// Edges of the icosahedron (frequency 1) or of its geodesic split (frequency 2, every face in
// four, new points pushed out to the sphere), as pairs of unit points.
const std::vector<std::pair<Point3, Point3>>& GeodesicEdges(int frequency) {
    static std::vector<std::pair<Point3, Point3>> cache[2];
    auto& edges = cache[frequency == 1 ? 0 : 1];
    if (!edges.empty()) return edges;
    const auto& v = IcosaVertices();
    std::vector<std::pair<Point3, Point3>> raw;
    for (const auto& f : IcosaFaces()) {
        const Point3 a = v[size_t(f[0])], b = v[size_t(f[1])], c = v[size_t(f[2])];
        if (frequency == 1) {
            raw.push_back({a, b});
            raw.push_back({b, c});
            raw.push_back({c, a});
        } else {
            const Point3 ab = Normalize(a + b), bc = Normalize(b + c), ca = Normalize(c + a);
            const std::pair<Point3, Point3> e[9] = {{a, ab}, {ab, b}, {b, bc}, {bc, c}, {c, ca},
                                                    {ca, a}, {ab, bc}, {bc, ca}, {ca, ab}};
            raw.insert(raw.end(), std::begin(e), std::end(e));
        }
    }
    // Each shared edge appears twice (once per face); keep one.
    for (const auto& e : raw) {
        bool seen = false;
        for (const auto& k : edges)
            if ((Length(k.first - e.first) < 1e-4f && Length(k.second - e.second) < 1e-4f) ||
                (Length(k.first - e.second) < 1e-4f && Length(k.second - e.first) < 1e-4f)) {
                seen = true;
                break;
            }
        if (!seen) edges.push_back(e);
    }
    return edges;
}

// A round outline of RoundCount points at radius r(angle), in the XY plane.
template <class R>
void PolarLoop(Builder& b, int count, float a0, R&& radius) {
    std::vector<Point3> pts;
    pts.reserve(size_t(count));
    for (int i = 0; i < count; ++i) {
        const float a = a0 + 2.0f * kPi * float(i) / float(count);
        const float r = radius(a);
        pts.emplace_back(r * std::cos(a), r * std::sin(a), 0.0f);
    }
    b.Loop(pts, true);
}

// The open 270 degree arc of ArrowCircle at height z, three quarters of steps + 1 pieces each.
void ArrowArc(Builder& b, float z) {
    const int pieces = 3 * (b.Steps() + 1);
    b.Arc(P(0.0f, 0.0f, z), 1.0f, 0, 1, pieces + 1, 0.0f, 1.5f * kPi / float(pieces), false);
}

void BuildFigure(const GizmoParams& p, Builder& b) {
    const float tk = std::max(p.thickness, 0.0f);
    switch (p.type) {
        case kGizmoCross:
            AxisLines(b);
            break;
        case kGizmoCrossDiagonal:
            DiagonalLines(b);
            break;
        case kGizmoCrossAsterisk:
            AxisLines(b);
            DiagonalLines(b);
            break;
        case kGizmoAxisTripod: {
            const float h = tk * 0.5f;
            for (int axis = 0; axis < 3; ++axis) {
                const Point3 tip = AxisPoint(axis, 1.0f);
                b.Straight({P(0.0f, 0.0f, 0.0f), tip}, false);
                ArrowHead(b, tip, tip, AxisPoint((axis + 1) % 3, 1.0f), h);
            }
            break;
        }
        case kGizmoCircle:
            b.Circle(P(0, 0, 0), 1.0f, 0, 1);
            break;
        case kGizmoCircleHalf: {
            // The upper half disc: half the round count of pieces, closed along the diameter.
            const int pieces = b.RoundCount() / 2;
            b.Arc(P(0, 0, 0), 1.0f, 0, 1, pieces + 1, 0.0f, kPi / float(pieces), true);
            break;
        }
        case kGizmoCirclePointy: {
            const int n = b.RoundCount();
            std::vector<Point3> pts;
            for (int i = 0; i < n; ++i) {
                const float a = 2.0f * kPi * float(i) / float(n);
                const float r = i == n / 4 ? 1.0f + tk : 1.0f;
                pts.emplace_back(r * std::cos(a), r * std::sin(a), 0.0f);
            }
            b.Loop(pts, true);
            break;
        }
        case kGizmoDonut:
            // Radii of the whole size and of (1 - thickness) of it.
            b.Circle(P(0, 0, 0), 2.0f, 0, 1);
            b.Circle(P(0, 0, 0), 2.0f * (1.0f - std::min(tk, 1.0f)), 0, 1);
            break;
        case kGizmoSphere:
            b.Circle(P(0, 0, 0), 1.0f, 0, 1);
            b.Circle(P(0, 0, 0), 1.0f, 1, 2);
            b.Circle(P(0, 0, 0), 1.0f, 2, 0);
            break;
        case kGizmoSphereHalf: {
            const int pieces = b.RoundCount() / 2;
            b.Circle(P(0, 0, 0), 1.0f, 0, 1);
            b.Arc(P(0, 0, 0), 1.0f, 0, 2, pieces + 1, 0.0f, kPi / float(pieces), false);
            b.Arc(P(0, 0, 0), 1.0f, 1, 2, pieces + 1, 0.0f, kPi / float(pieces), false);
            break;
        }
        case kGizmoRectangle:
            Rectangle(b, p, 0.0f);
            break;
        case kGizmoBox:
            Box(b, p);
            break;
        case kGizmoTriangle: {
            const float c = std::cos(kPi / 6.0f);
            b.Straight({P(0.0f, 1.0f, 0.0f), P(-c, -0.5f, 0.0f), P(c, -0.5f, 0.0f)}, true);
            break;
        }
        case kGizmoCone:
            b.Circle(P(0.0f, 0.0f, -1.0f), 1.0f, 0, 1);
            b.Straight({P(1, 0, -1), P(0, 0, 1), P(-1, 0, -1)}, false);
            b.Straight({P(0, 1, -1), P(0, 0, 1), P(0, -1, -1)}, false);
            break;
        case kGizmoCylinder:
            b.Circle(P(0.0f, 0.0f, -1.0f), 1.0f, 0, 1);
            b.Circle(P(0.0f, 0.0f, 1.0f), 1.0f, 0, 1);
            for (const Point3& d : {P(1, 0, 0), P(0, 1, 0), P(-1, 0, 0), P(0, -1, 0)})
                b.Straight({d + P(0, 0, -1), d + P(0, 0, 1)}, false);
            break;
        case kGizmoArrow: {
            // Along +Y: shaft half width thickness / 2, head from y = 0 with half width 0.6.
            const float w = tk * 0.5f;
            b.Straight({P(-w, -1.0f, 0.0f), P(w, -1.0f, 0.0f), P(w, 0.0f, 0.0f),
                        P(0.6f, 0.0f, 0.0f), P(0.0f, 1.0f, 0.0f), P(-0.6f, 0.0f, 0.0f),
                        P(-w, 0.0f, 0.0f)},
                       true);
            break;
        }
        case kGizmoArrowDouble: {
            const float w = tk * 0.5f;
            b.Straight({P(0.0f, 1.0f, 0.0f), P(-0.6f, 0.4f, 0.0f), P(-w, 0.4f, 0.0f),
                        P(-w, -0.4f, 0.0f), P(-0.6f, -0.4f, 0.0f), P(0.0f, -1.0f, 0.0f),
                        P(0.6f, -0.4f, 0.0f), P(w, -0.4f, 0.0f), P(w, 0.4f, 0.0f),
                        P(0.6f, 0.4f, 0.0f)},
                       true);
            break;
        }
        case kGizmoArrowCircle: {
            // A three-quarter turn from +X through +Y ending at -Y, heading +X there.
            const float h = tk * 0.5f;
            ArrowArc(b, 0.0f);
            ArrowHead(b, P(0.0f, -1.0f, 0.0f), P(1, 0, 0), P(0, 1, 0), h);
            break;
        }
        case kGizmoArrowCylinder: {
            // Two arcs thickness / 2 above and below, a head standing across them.
            const float h = tk * 0.5f;
            ArrowArc(b, h);
            ArrowArc(b, -h);
            b.Straight({P(0.0f, -1.0f, 2.0f * h), P(2.0f * h, -1.0f, 0.0f), P(0.0f, -1.0f, -2.0f * h)},
                       true);
            break;
        }
        case kGizmoArrowCross: {
            AxisLines(b);
            for (int axis = 0; axis < 3; ++axis)
                for (float s : {-1.0f, 1.0f}) {
                    const Point3 tip = AxisPoint(axis, s);
                    ArrowHead(b, tip, tip, AxisPoint((axis + 1) % 3, 1.0f), 0.2f);
                }
            break;
        }
        case kGizmoArrowMixed: {
            // A ring with the flat cross of X and Y arrows through it.
            b.Circle(P(0, 0, 0), 0.6f, 0, 1);
            b.Straight({P(-1, 0, 0), P(1, 0, 0)}, false);
            b.Straight({P(0, -1, 0), P(0, 1, 0)}, false);
            for (int axis = 0; axis < 2; ++axis)
                for (float s : {-1.0f, 1.0f}) {
                    const Point3 tip = AxisPoint(axis, s);
                    ArrowHead(b, tip, tip, AxisPoint(1 - axis, 1.0f), 0.2f);
                }
            break;
        }
        case kGizmoCrossFlat: {
            const float w = tk * 0.5f;
            b.Straight({P(w, 1, 0), P(w, w, 0), P(1, w, 0), P(1, -w, 0), P(w, -w, 0),
                        P(w, -1, 0), P(-w, -1, 0), P(-w, -w, 0), P(-1, -w, 0), P(-1, w, 0),
                        P(-w, w, 0), P(-w, 1, 0)},
                       true);
            break;
        }
        case kGizmoDrop: {
            // The lower half of a circle of radius 0.6 about (0, -0.4), closed through the tip.
            const int pieces = b.RoundCount() / 2;
            std::vector<Point3> pts;
            for (int i = 0; i <= pieces; ++i) {
                const float a = kPi + kPi * float(i) / float(pieces);
                pts.emplace_back(0.6f * std::cos(a), -0.4f + 0.6f * std::sin(a), 0.0f);
            }
            pts.emplace_back(0.0f, 1.0f, 0.0f);
            b.Loop(pts, true);
            break;
        }
        case kGizmoStar: {
            std::vector<Point3> pts;
            const float inner = 1.0f - std::min(tk, 1.0f);
            for (int i = 0; i < 10; ++i) {
                const float a = 0.5f * kPi + kPi * float(i) / 5.0f;
                const float r = i % 2 ? inner : 1.0f;
                pts.emplace_back(r * std::cos(a), r * std::sin(a), 0.0f);
            }
            b.Straight(pts.data(), pts.size(), true);
            break;
        }
        case kGizmoStarSmooth: {
            // Five lobes between radius 1 and 1 - thickness, 2 (steps + 1) points per lobe.
            const float depth = std::min(tk, 1.0f);
            // Starts at the top lobe so that its tip is a point.
            PolarLoop(b, 10 * (b.Steps() + 1), 0.5f * kPi, [&](float a) {
                return 1.0f - depth * 0.5f * (1.0f - std::cos(5.0f * (a - 0.5f * kPi)));
            });
            break;
        }
        case kGizmoPeanut:
            // Two lobes along X, the waist at 0.3 of the length.
            PolarLoop(b, b.RoundCount(), 0.0f, [](float a) { return 0.65f + 0.35f * std::cos(2.0f * a); });
            break;
        case kGizmoGear: {
            // Eight teeth of four points between radius 1 and 1 - thickness / 2, a hole of 0.3.
            std::vector<Point3> pts;
            const float inner = 1.0f - 0.5f * std::min(tk, 1.0f);
            for (int tooth = 0; tooth < 8; ++tooth) {
                const float a = 2.0f * kPi * float(tooth) / 8.0f;
                const float q = 2.0f * kPi / 32.0f;
                const float ang[4] = {a - 1.5f * q, a - 0.5f * q, a + 0.5f * q, a + 1.5f * q};
                const float rad[4] = {inner, 1.0f, 1.0f, inner};
                for (int k = 0; k < 4; ++k) pts.emplace_back(rad[k] * std::cos(ang[k]), rad[k] * std::sin(ang[k]), 0.0f);
            }
            b.Loop(pts, true);
            b.Circle(P(0, 0, 0), 0.3f, 0, 1);
            break;
        }
        case kGizmoFourArrows: {
            // Arms of half width thickness / 4 to heads at 0.6, tips at 1.
            const float w = tk * 0.25f;
            std::vector<Point3> pts;
            for (int arm = 0; arm < 4; ++arm) {
                const float a = 0.5f * kPi * float(arm);
                const float c = std::cos(a), s = std::sin(a);
                const Point3 local[6] = {P(w, w, 0), P(w, 0.6f, 0), P(0.3f, 0.6f, 0), P(0, 1, 0), P(-0.3f, 0.6f, 0), P(-w, 0.6f, 0)};
                for (const Point3& q : local) pts.emplace_back(q.x * c - q.y * s, q.x * s + q.y * c, 0.0f);
            }
            b.Straight(pts.data(), pts.size(), true);
            break;
        }
        case kGizmoFourPyramids: {
            // Along +-X and +-Y: apex at 1, base square of half size 0.2 at 0.5.
            for (int axis = 0; axis < 2; ++axis)
                for (float s : {-1.0f, 1.0f}) {
                    const int u = 1 - axis;
                    Point3 base[4];
                    const float cu[4] = {0.2f, -0.2f, -0.2f, 0.2f};
                    const float cz[4] = {0.2f, 0.2f, -0.2f, -0.2f};
                    for (int k = 0; k < 4; ++k) {
                        base[k] = AxisPoint(axis, 0.5f * s);
                        base[k][u] = cu[k];
                        base[k].z = cz[k];
                    }
                    const Point3 apex = AxisPoint(axis, s);
                    b.Straight(base, 4, true);
                    b.Straight({base[0], apex, base[2]}, false);
                    b.Straight({base[1], apex, base[3]}, false);
                }
            break;
        }
        case kGizmoFourTriangles: {
            for (int axis = 0; axis < 2; ++axis)
                for (float s : {-1.0f, 1.0f}) {
                    const int u = 1 - axis;
                    Point3 l = AxisPoint(axis, 0.5f * s), r = AxisPoint(axis, 0.5f * s);
                    l[u] = -0.25f;
                    r[u] = 0.25f;
                    b.Straight({l, AxisPoint(axis, s), r}, true);
                }
            break;
        }
        case kGizmoIKFK: {
            // The letters I K F K, half a unit tall.
            const float t = 0.5f;
            b.Straight({P(-0.9f, -t, 0), P(-0.9f, t, 0)}, false);
            b.Straight({P(-0.6f, -t, 0), P(-0.6f, t, 0)}, false);
            b.Straight({P(-0.25f, t, 0), P(-0.6f, 0, 0), P(-0.25f, -t, 0)}, false);
            b.Straight({P(0.45f, t, 0), P(0.1f, t, 0), P(0.1f, -t, 0)}, false);
            b.Straight({P(0.1f, 0, 0), P(0.35f, 0, 0)}, false);
            b.Straight({P(0.6f, -t, 0), P(0.6f, t, 0)}, false);
            b.Straight({P(0.95f, t, 0), P(0.6f, 0, 0), P(0.95f, -t, 0)}, false);
            break;
        }
        case kGizmoSphereIcosa:
        case kGizmoSphereGeo:
            for (const auto& e : GeodesicEdges(p.type == kGizmoSphereIcosa ? 1 : 2)) b.Straight({e.first, e.second}, false);
            break;
        case kGizmoDiamond: {
            b.Straight({P(1, 0, 0), P(0, 1, 0), P(-1, 0, 0), P(0, -1, 0)}, true);
            for (float z : {-1.0f, 1.0f}) {
                b.Straight({P(1, 0, 0), P(0, 0, z), P(-1, 0, 0)}, false);
                b.Straight({P(0, 1, 0), P(0, 0, z), P(0, -1, 0)}, false);
            }
            break;
        }
        default:
            if (const GizmoFigure* f = StoredFigure(p.type))
                for (int i = 0; i < f->count; ++i) b.Table(f->tables[i]);
            break;
    }
}

}  // namespace

Box3 GizmoLines::Bounds(const Matrix3* tm) const {
    Box3 box;
    if (!points.empty()) box.IncludePoints(points.data(), static_cast<int>(points.size()), tm);
    return box;
}

void GizmoLines::Scale(float f) {
    for (Point3& q : points) q = q * f;
}

void BuildGizmo(const GizmoParams& p, GizmoLines& out) {
    out.Clear();
    if (p.type <= kGizmoNone || p.type >= kNumGizmoTypes) return;
    Builder b(p, out);
    BuildFigure(p, b);
    b.Warp();
}

const MCHAR* GizmoScriptName(int type) {
    return type >= 0 && type < kNumGizmoTypes ? kNames[size_t(type)].script : nullptr;
}

const MCHAR* GizmoLabel(int type) { return type >= 0 && type < kNumGizmoTypes ? kNames[size_t(type)].label : nullptr; }

bool IsStoredGizmo(int type) { return StoredFigure(type) != nullptr; }

unsigned GizmoParamRows(int type) {
    const unsigned size = GizmoRowBit(pb_uniform) | GizmoRowBit(pb_size) | GizmoRowBit(pb_length) |
                          GizmoRowBit(pb_width) | GizmoRowBit(pb_height);
    const unsigned thick = GizmoRowBit(pb_thickness);
    const unsigned steps = GizmoRowBit(pb_steps);
    const unsigned warp = GizmoRowBit(pb_warp_amount) | GizmoRowBit(pb_warp_axis);
    const unsigned axis = GizmoRowBit(pb_axis);
    const unsigned corner = GizmoRowBit(pb_corner);
    switch (type) {
        case kGizmoNone:
            return 0;
        case kGizmoCross:
        case kGizmoCrossDiagonal:
        case kGizmoCrossAsterisk:
        case kGizmoSphereIcosa:
        case kGizmoDiamond:
            return size;
        case kGizmoAxisTripod:
            return size | thick;
        case kGizmoCircle:
        case kGizmoCircleHalf:
            return size | steps | warp;
        case kGizmoCirclePointy:
        case kGizmoArrowCircle:
        case kGizmoArrowCylinder:
            return size | thick | steps;
        case kGizmoDonut:
            return size | thick | steps | warp;
        case kGizmoSphere:
        case kGizmoSphereHalf:
        case kGizmoCone:
        case kGizmoSphereGeo:
            return size | steps;
        case kGizmoRectangle:
            return size | axis | corner | steps | warp;
        case kGizmoBox:
            return size | axis | steps;
        case kGizmoCylinder:
        case kGizmoDrop:
        case kGizmoPeanut:
            return size | steps | warp;
        case kGizmoArrow:
        case kGizmoArrowDouble:
        case kGizmoCrossFlat:
        case kGizmoStar:
        case kGizmoFourArrows:
            return size | thick | steps | warp;
        case kGizmoStarSmooth:
        case kGizmoGear:
            return size | thick | steps | warp;
        case kGizmoTriangle:
        case kGizmoArrowCross:
        case kGizmoArrowMixed:
        case kGizmoFourPyramids:
        case kGizmoFourTriangles:
        case kGizmoIKFK:
            return size | steps | warp;
        default:
            return type > kGizmoNone && type < kNumGizmoTypes ? size | warp : 0;
    }
}

}  // namespace kt
