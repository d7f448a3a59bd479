#include "viewexp.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr float kStandardDistance = 1000.0f;

// World to view for an eye at `eye` looking along `forward` with `up` as screen up.
Matrix3 LookAlong(const Point3& eye, const Point3& forward, const Point3& up) {
    Point3 f = Normalize(forward);
    Point3 r = Normalize(f ^ up);
    Point3 u = r ^ f;
    Matrix3 camToWorld(r, u, -f, eye);
    return Inverse(camToWorld);
}

}  // namespace

ViewExp::ViewExp() : gw_(this) {
    host_SetViewType(VIEW_PERSP_USER);
}

ViewExp::~ViewExp() = default;

float ViewExp::GetVPWorldWidth(const Point3& wPoint) const {
    if (!persp_) return std::max(orthoWidth_, 1e-4f);
    float depth = -(wPoint * affine_).z;
    return 2.0f * std::max(depth, nearPlane_) * std::tan(fov_ * 0.5f);
}

float ViewExp::host_PixelsPerUnit(float depth) const {
    return persp_ ? unitScale_ / std::max(depth, nearPlane_) : unitScale_;
}

void ViewExp::updateScale() {
    unitScale_ = persp_ ? float(width_) / (2.0f * std::tan(fov_ * 0.5f)) : float(width_) / std::max(orthoWidth_, 1e-4f);
    // The window keeps object-to-view for its current transform; it must follow the view.
    gw_.setTransform(gw_.getTransform());
}

Point3 ViewExp::MapScreenToView(const IPoint2& sp, float depth) const {
    float dx = float(sp.x) - 0.5f * float(width_);
    float dy = float(sp.y) - 0.5f * float(height_);
    float k = persp_ ? depth / unitScale_ : 1.0f / unitScale_;
    return Point3(dx * k, -dy * k, -depth);
}

void ViewExp::MapScreenToWorldRay(float sx, float sy, Ray& ray) const {
    Matrix3 camToWorld = Inverse(affine_);
    float dx = sx - 0.5f * float(width_);
    float dy = sy - 0.5f * float(height_);
    if (persp_) {
        float f = 0.5f * float(width_) / std::tan(fov_ * 0.5f);
        ray.p = camToWorld.GetTrans();
        ray.dir = Normalize(VectorTransform(Point3(dx / f, -dy / f, -1.0f), camToWorld));
    } else {
        float k = orthoWidth_ / float(width_);
        ray.p = Point3(dx * k, -dy * k, 0.0f) * camToWorld;
        ray.dir = Normalize(VectorTransform(Point3(0.0f, 0.0f, -1.0f), camToWorld));
    }
}

Point3 ViewExp::MapWorldToScreen(const Point3& wp) const {
    Point3 v = wp * affine_;
    float depth = -v.z;
    float k = persp_ ? unitScale_ / std::max(depth, 1e-6f) : unitScale_;
    return Point3(0.5f * float(width_) + v.x * k, 0.5f * float(height_) - v.y * k, depth);
}

void ViewExp::host_SetSize(int width, int height) {
    width_ = std::max(width, 1);
    height_ = std::max(height, 1);
    updateScale();
}

void ViewExp::host_SetViewType(ViewType type) {
    const float d = kStandardDistance;
    const Point3 z(0, 0, 1);
    switch (type) {
        case VIEW_FRONT: host_SetOrthographic(LookAlong(Point3(0.0f, -d, 0.0f), Point3(0, 1, 0), z), 400.0f); break;
        case VIEW_BACK: host_SetOrthographic(LookAlong(Point3(0.0f, d, 0.0f), Point3(0, -1, 0), z), 400.0f); break;
        case VIEW_LEFT: host_SetOrthographic(LookAlong(Point3(-d, 0.0f, 0.0f), Point3(1, 0, 0), z), 400.0f); break;
        case VIEW_RIGHT: host_SetOrthographic(LookAlong(Point3(d, 0.0f, 0.0f), Point3(-1, 0, 0), z), 400.0f); break;
        case VIEW_TOP: host_SetOrthographic(LookAlong(Point3(0.0f, 0.0f, d), Point3(0, 0, -1), Point3(0, 1, 0)), 400.0f); break;
        case VIEW_BOTTOM:
            host_SetOrthographic(LookAlong(Point3(0.0f, 0.0f, -d), Point3(0, 0, 1), Point3(0, -1, 0)), 400.0f);
            break;
        default: {
            Point3 eye(250.0f, -250.0f, 200.0f);
            host_SetPerspective(LookAlong(eye, -eye, z), 0.785398163f);
            type = VIEW_PERSP_USER;
            break;
        }
    }
    type_ = type;
}

void ViewExp::host_SetPerspective(const Matrix3& affineTM, float fov) {
    affine_ = affineTM;
    persp_ = true;
    fov_ = std::clamp(fov, 0.01f, 3.1f);
    type_ = VIEW_OTHER;
    updateScale();
}

void ViewExp::host_SetOrthographic(const Matrix3& affineTM, float worldWidth) {
    affine_ = affineTM;
    persp_ = false;
    orthoWidth_ = std::max(std::fabs(worldWidth), 1e-4f);
    type_ = VIEW_OTHER;
    updateScale();
}

void ViewExp::host_ZoomExtents(const Box3& worldBox) {
    if (worldBox.IsEmpty()) return;
    Matrix3 camToWorld = Inverse(affine_);
    Point3 back = Normalize(camToWorld.GetRow(2));
    Point3 c = worldBox.Center();
    float r = std::max(0.5f * Length(worldBox.Width()), 1.0f);
    const float margin = 1.15f;
    if (persp_) {
        float aspect = float(height_) / float(width_);
        float half = std::min(fov_ * 0.5f, std::atan(std::tan(fov_ * 0.5f) * aspect));
        float dist = margin * r / std::sin(half);
        camToWorld.SetTrans(c + back * dist);
        affine_ = Inverse(camToWorld);
        nearPlane_ = std::max(dist * 1e-3f, 1e-3f);
        updateScale();
    } else {
        // Fit the box's projected extent, not its sphere, so flat scenes fill the view.
        camToWorld.SetTrans(c + back * (kStandardDistance + r));
        affine_ = Inverse(camToWorld);
        float ex = 0, ey = 0;
        Point3 cv = c * affine_;
        for (int i = 0; i < 8; ++i) {
            Point3 v = worldBox[i] * affine_ - cv;
            ex = std::max(ex, std::fabs(v.x));
            ey = std::max(ey, std::fabs(v.y));
        }
        float w = 2.0f * std::max(ex, ey * float(width_) / float(height_));
        orthoWidth_ = std::max(w * margin, 1e-2f);
        updateScale();
    }
}

void ViewExp::host_BeginFrame() {
    host::DrawList& list = gw_.host_DrawList();
    list.Clear();
    list.width = width_;
    list.height = height_;
    Point3 bg = GetUIColor(COLOR_VP_BACKGROUND);
    list.background = Color(bg.x, bg.y, bg.z);
    gw_.setTransform(Matrix3());
}
