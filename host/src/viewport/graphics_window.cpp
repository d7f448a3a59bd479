#include "gfx.h"

#include <algorithm>
#include <cmath>

#include "viewexp.h"

namespace {

struct P2 {
    float x, y;
};

float DistToSegment(P2 p, P2 a, P2 b, float* tOut) {
    float dx = b.x - a.x, dy = b.y - a.y;
    float len2 = dx * dx + dy * dy;
    float t = len2 > 0 ? ((p.x - a.x) * dx + (p.y - a.y) * dy) / len2 : 0.0f;
    t = std::clamp(t, 0.0f, 1.0f);
    float cx = a.x + t * dx - p.x, cy = a.y + t * dy - p.y;
    if (tOut) *tOut = t;
    return std::sqrt(cx * cx + cy * cy);
}

bool InRect(P2 p, const HitRect& r) {
    return p.x >= float(r.left) && p.x <= float(r.right) && p.y >= float(r.top) && p.y <= float(r.bottom);
}

// Liang-Barsky: does any part of ab lie in the rectangle?
bool SegmentCrossesRect(P2 a, P2 b, const HitRect& r) {
    float t0 = 0, t1 = 1;
    float dx = b.x - a.x, dy = b.y - a.y;
    const float p[4] = {-dx, dx, -dy, dy};
    const float q[4] = {a.x - float(r.left), float(r.right) - a.x, a.y - float(r.top), float(r.bottom) - a.y};
    for (int i = 0; i < 4; ++i) {
        if (p[i] == 0) {
            if (q[i] < 0) return false;
        } else {
            float t = q[i] / p[i];
            if (p[i] < 0) t0 = std::max(t0, t);
            else t1 = std::min(t1, t);
            if (t0 > t1) return false;
        }
    }
    return true;
}

float Cross(P2 o, P2 a, P2 b) { return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x); }

bool SegmentsIntersect(P2 a, P2 b, P2 c, P2 d) {
    float d1 = Cross(c, d, a), d2 = Cross(c, d, b), d3 = Cross(a, b, c), d4 = Cross(a, b, d);
    if (((d1 > 0 && d2 < 0) || (d1 < 0 && d2 > 0)) && ((d3 > 0 && d4 < 0) || (d3 < 0 && d4 > 0))) return true;
    auto onSeg = [](P2 p, P2 q, P2 r) {
        return std::min(p.x, q.x) <= r.x && r.x <= std::max(p.x, q.x) && std::min(p.y, q.y) <= r.y &&
               r.y <= std::max(p.y, q.y);
    };
    return (d1 == 0 && onSeg(c, d, a)) || (d2 == 0 && onSeg(c, d, b)) || (d3 == 0 && onSeg(a, b, c)) ||
           (d4 == 0 && onSeg(a, b, d));
}

template <class Pt>
bool InPolygon(P2 p, const Pt* pts, size_t n) {
    bool in = false;
    for (size_t i = 0, j = n - 1; i < n; j = i++) {
        float xi = float(pts[i].x), yi = float(pts[i].y), xj = float(pts[j].x), yj = float(pts[j].y);
        if ((yi > p.y) != (yj > p.y) && p.x < (xj - xi) * (p.y - yi) / (yj - yi) + xi) in = !in;
    }
    return in;
}

bool InFence(P2 p, const std::vector<IPoint2>& fence) {
    return fence.size() >= 3 && InPolygon(p, fence.data(), fence.size());
}

bool SegmentCrossesFence(P2 a, P2 b, const std::vector<IPoint2>& fence) {
    if (fence.size() < 3) return false;
    if (InFence(a, fence) || InFence(b, fence)) return true;
    for (size_t i = 0, j = fence.size() - 1; i < fence.size(); j = i++) {
        P2 c{float(fence[j].x), float(fence[j].y)}, d{float(fence[i].x), float(fence[i].y)};
        if (SegmentsIntersect(a, b, c, d)) return true;
    }
    return false;
}

// Inside for window selection: the point lies in the region.
bool PointInRegion(P2 p, const HitRegion& r) {
    switch (r.type) {
        case RECT_RGN: return InRect(p, r.rect);
        case CIRCLE_RGN: {
            float dx = p.x - float(r.circle.x), dy = p.y - float(r.circle.y);
            return dx * dx + dy * dy <= float(r.circle.r) * float(r.circle.r);
        }
        case FENCE_RGN: return InFence(p, r.pts);
        default: return false;
    }
}

}  // namespace

void MakeHitRegion(HitRegion& hr, int type, int crossing, int epsi, IPoint2* p) {
    hr = HitRegion();
    hr.crossing = crossing;
    hr.epsilon = epsi;
    if (!p) return;
    switch (type) {
        case HITTYPE_BOX:
            hr.type = RECT_RGN;
            hr.rect.left = std::min(p[0].x, p[1].x);
            hr.rect.right = std::max(p[0].x, p[1].x);
            hr.rect.top = std::min(p[0].y, p[1].y);
            hr.rect.bottom = std::max(p[0].y, p[1].y);
            break;
        case HITTYPE_CIRCLE: {
            hr.type = CIRCLE_RGN;
            hr.circle.x = p[0].x;
            hr.circle.y = p[0].y;
            double dx = p[1].x - p[0].x, dy = p[1].y - p[0].y;
            hr.circle.r = long(std::lround(std::sqrt(dx * dx + dy * dy)));
            break;
        }
        case HITTYPE_FENCE:
            hr.type = FENCE_RGN;
            for (int i = 0; !(p[i].x == -1 && p[i].y == -1); ++i) hr.pts.push_back(p[i]);
            break;
        default:
            hr.type = POINT_RGN;
            hr.pt = p[0];
            hr.crossing = TRUE;
            break;
    }
}

GraphicsWindow::GraphicsWindow(ViewExp* view) : view_(view) {}

void GraphicsWindow::setTransform(const Matrix3& m) {
    objTM_ = m;
    Matrix3 affine;
    view_->GetAffineTM(affine);
    objToView_ = m * affine;
}

void GraphicsWindow::setColor(ColorType t, float r, float g, float b) {
    Color c(r, g, b);
    switch (t) {
        case LINE_COLOR: lineColor_ = c; break;
        case FILL_COLOR: fillColor_ = c; break;
        case TEXT_COLOR: textColor_ = c; break;
        case CLEAR_COLOR: clearColor_ = c; list_.background = c; break;
    }
}

Point3 GraphicsWindow::getColor(ColorType t) const {
    const Color& c = t == LINE_COLOR ? lineColor_ : t == FILL_COLOR ? fillColor_ : t == TEXT_COLOR ? textColor_ : clearColor_;
    return Point3(c.r, c.g, c.b);
}

int GraphicsWindow::getWinSizeX() const { return view_->host_Width(); }
int GraphicsWindow::getWinSizeY() const { return view_->host_Height(); }

Point3 GraphicsWindow::toView(const Point3& p) const { return p * objToView_; }

bool GraphicsWindow::project(const Point3* xyz, int ct, bool closed, const int* es,
                             std::vector<std::vector<ScreenPt>>& out) {
    bool cut = false;
    for (auto& piece : out) piece.clear();
    size_t used = 0;
    const bool persp = view_->IsPerspView() != FALSE;
    const float nearZ = -view_->host_NearPlane();
    const float w2 = 0.5f * float(view_->host_Width()), h2 = 0.5f * float(view_->host_Height());
    auto toScreen = [&](const Point3& v) {
        float depth = -v.z;
        float k = view_->host_PixelsPerUnit(depth);
        return ScreenPt{w2 + v.x * k, h2 - v.y * k, depth};
    };
    auto piece = [&]() -> std::vector<ScreenPt>& {
        if (used == out.size()) out.emplace_back();
        return out[used++];
    };
    const int nseg = closed ? ct : ct - 1;
    std::vector<ScreenPt>* cur = nullptr;
    for (int i = 0; i < nseg; ++i) {
        if (es && !es[i]) {
            cur = nullptr;
            continue;
        }
        Point3 a = toView(xyz[i]), b = toView(xyz[(i + 1) % ct]);
        bool clippedA = false, clippedB = false;
        if (persp) {
            bool ina = a.z <= nearZ, inb = b.z <= nearZ;
            if (!ina && !inb) {
                cur = nullptr;
                cut = true;
                continue;
            }
            if (!ina || !inb) {
                cut = true;
                float t = (nearZ - a.z) / (b.z - a.z);
                Point3 m = a + (b - a) * t;
                m.z = nearZ;
                if (!ina) {
                    a = m;
                    clippedA = true;
                } else {
                    b = m;
                    clippedB = true;
                }
            }
        }
        if (!cur || clippedA) {
            cur = &piece();
            cur->push_back(toScreen(a));
        }
        cur->push_back(toScreen(b));
        if (clippedB) cur = nullptr;
    }
    return cut;
}

void GraphicsWindow::recordHit(float distance, float depth) {
    DWORD d = DWORD(std::lround(std::max(distance, 0.0f)));
    if (!hit_ || d < hitDistance_ || (d == hitDistance_ && depth < hitDepth_)) {
        hitDistance_ = d;
        hitDepth_ = depth;
    }
    hit_ = true;
}

void GraphicsWindow::pickStrip(const std::vector<ScreenPt>& pts, bool closed) {
    const size_t n = pts.size();
    if (n == 0) return;
    const HitRegion& r = region_;
    auto P = [&](size_t i) { return P2{pts[i].x, pts[i].y}; };
    if (r.type == POINT_RGN) {
        P2 c{float(r.pt.x), float(r.pt.y)};
        if (n == 1) {
            float d = DistToSegment(c, P(0), P(0), nullptr);
            if (d <= float(r.epsilon)) recordHit(d, pts[0].depth);
            return;
        }
        const size_t nseg = closed ? n : n - 1;
        const float eps = float(r.epsilon);
        for (size_t i = 0; i < nseg; ++i) {
            size_t j = (i + 1) % n;
            // Most segments are nowhere near the click: reject on their bounds first.
            if (c.x < std::min(pts[i].x, pts[j].x) - eps - 1 || c.x > std::max(pts[i].x, pts[j].x) + eps + 1 ||
                c.y < std::min(pts[i].y, pts[j].y) - eps - 1 || c.y > std::max(pts[i].y, pts[j].y) + eps + 1)
                continue;
            float t;
            float d = DistToSegment(c, P(i), P(j), &t);
            if (d <= float(r.epsilon)) recordHit(d, pts[i].depth + (pts[j].depth - pts[i].depth) * t);
        }
        return;
    }
    if (!r.crossing) {
        for (size_t i = 0; i < n; ++i) {
            if (!PointInRegion(P(i), r)) {
                outside_ = true;
                return;
            }
        }
        float depth = pts[0].depth;
        for (const ScreenPt& p : pts) depth = std::min(depth, p.depth);
        recordHit(0.0f, depth);
        return;
    }
    const size_t nseg = n == 1 ? 1 : (closed ? n : n - 1);
    for (size_t i = 0; i < nseg; ++i) {
        P2 a = P(i), b = P((i + 1) % n);
        bool hit = false;
        switch (r.type) {
            case RECT_RGN: hit = SegmentCrossesRect(a, b, r.rect); break;
            case CIRCLE_RGN:
                hit = DistToSegment(P2{float(r.circle.x), float(r.circle.y)}, a, b, nullptr) <= float(r.circle.r);
                break;
            case FENCE_RGN: hit = SegmentCrossesFence(a, b, r.pts); break;
            default: break;
        }
        if (hit) {
            recordHit(0.0f, std::min(pts[i].depth, pts[(i + 1) % n].depth));
            return;
        }
    }
}

void GraphicsWindow::pickPolygon(const std::vector<ScreenPt>& pts) {
    const size_t n = pts.size();
    if (n < 3) return;
    const HitRegion& r = region_;
    if (r.type == POINT_RGN) {
        P2 c{float(r.pt.x), float(r.pt.y)};
        // Depth at the point from the fan triangle that holds it.
        for (size_t i = 1; i + 1 < n; ++i) {
            const ScreenPt &a = pts[0], &b = pts[i], &d = pts[i + 1];
            float area = (b.x - a.x) * (d.y - a.y) - (b.y - a.y) * (d.x - a.x);
            if (area == 0) continue;
            float w1 = ((c.x - a.x) * (d.y - a.y) - (c.y - a.y) * (d.x - a.x)) / area;
            float w2 = ((b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x)) / area;
            if (w1 >= 0 && w2 >= 0 && w1 + w2 <= 1) {
                recordHit(0.0f, a.depth + (b.depth - a.depth) * w1 + (d.depth - a.depth) * w2);
                return;
            }
        }
        if (InPolygon(c, pts.data(), n)) {
            float depth = 0;
            for (const ScreenPt& p : pts) depth += p.depth;
            recordHit(0.0f, depth / float(n));
            return;
        }
        pickStrip(pts, true);
        return;
    }
    if (!r.crossing) {
        pickStrip(pts, true);
        return;
    }
    // Crossing: an edge in the region, or the region inside the polygon.
    bool before = hit_;
    DWORD beforeDist = hitDistance_;
    hit_ = false;
    pickStrip(pts, true);
    bool edgeHit = hit_;
    hit_ = hit_ || before;
    if (!edgeHit) {
        hitDistance_ = beforeDist;
        P2 probe{0, 0};
        switch (r.type) {
            case RECT_RGN: probe = P2{float(r.rect.left), float(r.rect.top)}; break;
            case CIRCLE_RGN: probe = P2{float(r.circle.x), float(r.circle.y)}; break;
            case FENCE_RGN:
                if (r.pts.empty()) return;
                probe = P2{float(r.pts[0].x), float(r.pts[0].y)};
                break;
            default: return;
        }
        if (InPolygon(probe, pts.data(), n)) recordHit(0.0f, pts[0].depth);
    }
}

void GraphicsWindow::polyline(int ct, Point3* xyz, Point3* rgb, int closed, int* es) {
    if (ct <= 0 || !xyz) return;
    if (ct == 1) {
        marker(xyz, POINT_MRKR);
        return;
    }
    const bool picking = (limits_ & GW_PICK) != 0;
    bool cut = project(xyz, ct, closed != 0, es, pieces_);
    // A loop that survived clipping whole comes back as one piece of ct + 1 points.
    bool wholeLoop = closed && !es && !pieces_.empty() && pieces_[0].size() == size_t(ct) + 1 &&
                     (pieces_.size() == 1 || pieces_[1].empty());
    if (picking) {
        // Cut by the near plane: not wholly inside any window.
        if (cut && !region_.crossing && region_.type != POINT_RGN) outside_ = true;
        for (const auto& p : pieces_) {
            if (p.empty()) break;
            pickStrip(p, false);
        }
        return;
    }
    Color c = rgb ? Color(rgb[0].x, rgb[0].y, rgb[0].z) : lineColor_;
    const bool onTop = (limits_ & GW_Z_BUFFER) == 0;
    for (size_t k = 0; k < pieces_.size() && !pieces_[k].empty(); ++k) {
        auto& p = pieces_[k];
        host::DrawPrimitive prim;
        prim.kind = host::DrawPrimitive::LineStrip;
        size_t count = p.size();
        if (wholeLoop) {
            prim.kind = host::DrawPrimitive::LineLoop;
            count = size_t(ct);
        }
        prim.onTop = onTop;
        prim.color = c;
        prim.first = uint32_t(list_.vertices.size());
        prim.count = uint32_t(count);
        float depth = 0;
        for (size_t i = 0; i < count; ++i) {
            list_.vertices.push_back(host::ScreenVertex{p[i].x, p[i].y, p[i].depth});
            depth += p[i].depth;
        }
        prim.depth = depth / float(count);
        list_.prims.push_back(prim);
        if (wholeLoop) break;
    }
}

void GraphicsWindow::segment(Point3* xyz, int vis) {
    if (vis) polyline(2, xyz, nullptr, FALSE, nullptr);
}

void GraphicsWindow::polygon(int ct, Point3* xyz, Point3* rgb, Point3* uvw) {
    (void)uvw;
    if (ct < 3 || !xyz) return;
    // Near-plane clip (Sutherland-Hodgman against one plane) in view space.
    std::vector<Point3> v;
    v.reserve(size_t(ct) + 2);
    const bool persp = view_->IsPerspView() != FALSE;
    const float nearZ = -view_->host_NearPlane();
    bool clipped = false;
    for (int i = 0; i < ct; ++i) {
        Point3 a = toView(xyz[i]);
        if (!persp) {
            v.push_back(a);
            continue;
        }
        Point3 b = toView(xyz[(i + 1) % ct]);
        bool ina = a.z <= nearZ, inb = b.z <= nearZ;
        if (ina) v.push_back(a);
        else clipped = true;
        if (ina != inb) {
            float t = (nearZ - a.z) / (b.z - a.z);
            Point3 m = a + (b - a) * t;
            m.z = nearZ;
            v.push_back(m);
        }
    }
    const bool picking = (limits_ & GW_PICK) != 0;
    if (clipped && picking && !region_.crossing && region_.type != POINT_RGN) outside_ = true;
    if (v.size() < 3) return;
    std::vector<ScreenPt> s;
    s.reserve(v.size());
    const float w2 = 0.5f * float(view_->host_Width()), h2 = 0.5f * float(view_->host_Height());
    for (const Point3& p : v) {
        float depth = -p.z;
        float k = view_->host_PixelsPerUnit(depth);
        s.push_back(ScreenPt{w2 + p.x * k, h2 - p.y * k, depth});
    }
    if (limits_ & GW_BACKCULL) {
        // Counter-clockwise as seen means a negative area with y pointing down.
        float area = 0;
        for (size_t i = 0, j = s.size() - 1; i < s.size(); j = i++) area += s[j].x * s[i].y - s[i].x * s[j].y;
        if (area >= 0) return;
    }
    if (picking) {
        pickPolygon(s);
        return;
    }
    host::DrawPrimitive prim;
    prim.kind = host::DrawPrimitive::Polygon;
    prim.onTop = (limits_ & GW_Z_BUFFER) == 0;
    prim.color = rgb ? Color(rgb[0].x, rgb[0].y, rgb[0].z) : fillColor_;
    prim.alpha = alpha_;
    prim.first = uint32_t(list_.vertices.size());
    prim.count = uint32_t(s.size());
    float depth = 0;
    for (const ScreenPt& p : s) {
        list_.vertices.push_back(host::ScreenVertex{p.x, p.y, p.depth});
        depth += p.depth;
    }
    prim.depth = depth / float(s.size());
    list_.prims.push_back(prim);
}

DWORD GraphicsWindow::transPoint(const Point3* in, IPoint3* out) {
    Point3 v = toView(*in);
    const bool persp = view_->IsPerspView() != FALSE;
    float depth = -v.z;
    DWORD clip = 0;
    if (persp && depth < view_->host_NearPlane()) {
        clip = 1;
        depth = view_->host_NearPlane();
    }
    float k = view_->host_PixelsPerUnit(persp ? depth : 1.0f);
    float x = 0.5f * float(view_->host_Width()) + v.x * k;
    float y = 0.5f * float(view_->host_Height()) - v.y * k;
    if (out) *out = IPoint3(int(std::lround(x)), int(std::lround(y)), int(std::lround(-v.z * 1000.0f)));
    if (x < 0 || y < 0 || x >= float(view_->host_Width()) || y >= float(view_->host_Height())) clip |= 2;
    return clip;
}

DWORD GraphicsWindow::wTransPoint(const Point3* in, IPoint3* out) {
    Matrix3 saved = objTM_;
    setTransform(Matrix3());
    DWORD r = transPoint(in, out);
    setTransform(saved);
    return r;
}

void GraphicsWindow::marker(Point3* xyz, MarkerType type) {
    if (!xyz) return;
    Point3 v = toView(*xyz);
    const bool persp = view_->IsPerspView() != FALSE;
    if (persp && -v.z < view_->host_NearPlane()) {
        if ((limits_ & GW_PICK) && !region_.crossing && region_.type != POINT_RGN) outside_ = true;
        return;
    }
    float depth = -v.z;
    float k = view_->host_PixelsPerUnit(persp ? depth : 1.0f);
    ScreenPt s{0.5f * float(view_->host_Width()) + v.x * k, 0.5f * float(view_->host_Height()) - v.y * k, depth};
    if (limits_ & GW_PICK) {
        pieces_.resize(std::max<size_t>(pieces_.size(), 1));
        pieces_[0].assign(1, s);
        pickStrip(pieces_[0], false);
        return;
    }
    host::DrawPrimitive prim;
    prim.kind = host::DrawPrimitive::Marker;
    prim.marker = uint8_t(type);
    prim.onTop = (limits_ & GW_Z_BUFFER) == 0;
    prim.color = lineColor_;
    prim.first = uint32_t(list_.vertices.size());
    prim.count = 1;
    prim.depth = depth;
    list_.vertices.push_back(host::ScreenVertex{s.x, s.y, s.depth});
    list_.prims.push_back(prim);
}

void GraphicsWindow::text(Point3* xyz, const MCHAR* s) {
    if (!xyz || !s || (limits_ & GW_PICK)) return;
    IPoint3 sp;
    Point3 v = toView(*xyz);
    if (view_->IsPerspView() && -v.z < view_->host_NearPlane()) return;
    transPoint(xyz, &sp);
    host::DrawPrimitive prim;
    prim.kind = host::DrawPrimitive::Text;
    prim.onTop = true;
    prim.color = textColor_;
    prim.first = uint32_t(list_.vertices.size());
    prim.count = 1;
    prim.text = uint32_t(list_.texts.size());
    prim.depth = -v.z;
    list_.vertices.push_back(host::ScreenVertex{float(sp.x), float(sp.y), -v.z});
    list_.texts.emplace_back(s);
    list_.prims.push_back(prim);
}

void GraphicsWindow::setHitRegion(HitRegion* rgn) {
    if (rgn) region_ = *rgn;
}

void GraphicsWindow::clearHitCode() {
    hit_ = false;
    outside_ = false;
    hitDistance_ = 0xFFFFFFFF;
    hitDepth_ = 1e30f;
}

BOOL GraphicsWindow::checkHitCode() {
    bool window = !region_.crossing && region_.type != POINT_RGN;
    return hit_ && !(window && outside_) ? TRUE : FALSE;
}
