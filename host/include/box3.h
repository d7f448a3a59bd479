// Box3: an axis-aligned bounding box, pmin to pmax (inclusive).
//
// A default or Init() box is empty (pmin (1e30,..) > pmax (-1e30,..)); adding a point to an
// empty box makes the box of that point alone.
#pragma once

#include "matrix3.h"
#include "point3.h"

class Box3 {
  public:
    Point3 pmin{1e30f, 1e30f, 1e30f};
    Point3 pmax{-1e30f, -1e30f, -1e30f};

    constexpr Box3() = default;
    // The box spanned by two corners (ordered per axis).
    Box3(const Point3& p, const Point3& q) {
        Init();
        *this += p;
        *this += q;
    }

    void Init() {
        pmin = Point3(1e30f, 1e30f, 1e30f);
        pmax = Point3(-1e30f, -1e30f, -1e30f);
    }
    bool IsEmpty() const { return pmin.x > pmax.x || pmin.y > pmax.y || pmin.z > pmax.z; }

    // Centre and size (pmax - pmin); both meaningless for an empty box (Width is negative).
    Point3 Min() const { return pmin; }
    Point3 Max() const { return pmax; }
    Point3 Center() const { return (pmin + pmax) * 0.5f; }
    Point3 Width() const { return pmax - pmin; }

    // Corner i (0..7): bit 0 picks x from pmax, bit 1 y, bit 2 z.
    Point3 operator[](int i) const {
        return Point3(i & 1 ? pmax.x : pmin.x, i & 2 ? pmax.y : pmin.y, i & 4 ? pmax.z : pmin.z);
    }

    // Grows to contain p, or the other box (an empty other box changes nothing).
    Box3& operator+=(const Point3& p);
    Box3& operator+=(const Box3& b);
    // Grows to contain each of the n points.
    void IncludePoints(const Point3* pts, int n, const Matrix3* tm = nullptr);

    // Inside or on the boundary; an empty box contains nothing.
    bool Contains(const Point3& p) const;
    bool Contains(const Box3& b) const;
    // True when the boxes overlap (touching counts); false if either is empty.
    bool Intersects(const Box3& b) const;

    // Scaled about its centre by s (the width is multiplied by s). Empty stays empty.
    void Scale(float s);
    // Each side moved out by s (in by a negative s). Empty stays empty.
    void EnlargeBy(float s);
    void Translate(const Point3& p);
    // The box of the eight corners transformed by tm. Empty stays empty.
    Box3 operator*(const Matrix3& tm) const;

    bool operator==(const Box3& b) const { return pmin == b.pmin && pmax == b.pmax; }
    bool operator!=(const Box3& b) const { return !(*this == b); }
};
