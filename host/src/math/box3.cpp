#include "box3.h"

#include <algorithm>

Box3& Box3::operator+=(const Point3& p) {
    if (IsEmpty()) {
        pmin = pmax = p;
        return *this;
    }
    pmin = Point3(std::min(pmin.x, p.x), std::min(pmin.y, p.y), std::min(pmin.z, p.z));
    pmax = Point3(std::max(pmax.x, p.x), std::max(pmax.y, p.y), std::max(pmax.z, p.z));
    return *this;
}

Box3& Box3::operator+=(const Box3& b) {
    if (b.IsEmpty()) return *this;
    *this += b.pmin;
    return *this += b.pmax;
}

void Box3::IncludePoints(const Point3* pts, int n, const Matrix3* tm) {
    for (int i = 0; i < n; ++i)
        *this += tm ? pts[i] * *tm : pts[i];
}

bool Box3::Contains(const Point3& p) const {
    return !IsEmpty() && p.x >= pmin.x && p.x <= pmax.x && p.y >= pmin.y && p.y <= pmax.y && p.z >= pmin.z &&
           p.z <= pmax.z;
}

bool Box3::Contains(const Box3& b) const { return !b.IsEmpty() && Contains(b.pmin) && Contains(b.pmax); }

bool Box3::Intersects(const Box3& b) const {
    if (IsEmpty() || b.IsEmpty()) return false;
    return pmin.x <= b.pmax.x && b.pmin.x <= pmax.x && pmin.y <= b.pmax.y && b.pmin.y <= pmax.y &&
           pmin.z <= b.pmax.z && b.pmin.z <= pmax.z;
}

void Box3::Scale(float s) {
    if (IsEmpty()) return;
    Point3 c = Center(), h = Width() * (0.5f * s);
    pmin = c - h;
    pmax = c + h;
}

void Box3::EnlargeBy(float s) {
    if (IsEmpty()) return;
    pmin -= s;
    pmax += s;
}

void Box3::Translate(const Point3& p) {
    if (IsEmpty()) return;
    pmin += p;
    pmax += p;
}

Box3 Box3::operator*(const Matrix3& tm) const {
    Box3 r;
    if (IsEmpty()) return r;
    for (int i = 0; i < 8; ++i)
        r += (*this)[i] * tm;
    return r;
}
