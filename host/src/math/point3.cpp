#include "point3.h"

#include <cmath>

int Point3::MaxComponent() const {
    float ax = std::fabs(x), ay = std::fabs(y), az = std::fabs(z);
    if (ax >= ay && ax >= az) return 0;
    return ay >= az ? 1 : 2;
}

int Point3::MinComponent() const {
    float ax = std::fabs(x), ay = std::fabs(y), az = std::fabs(z);
    if (ax <= ay && ax <= az) return 0;
    return ay <= az ? 1 : 2;
}

Point3 Point3::Normalize() const {
    double l = std::sqrt(double(x) * x + double(y) * y + double(z) * z);
    if (!(l > 0.0) || !std::isfinite(l)) return Point3();
    return Point3(x / l, y / l, z / l);
}

Point3 Point3::FNormalize() const {
    float l2 = LengthSquared();
    if (!(l2 > 0.0f) || !std::isfinite(l2)) {
        // Underflow or overflow in float: fall back to double rather than answer zero for a real vector.
        return Normalize();
    }
    float inv = 1.0f / std::sqrt(l2);
    return Point3(x * inv, y * inv, z * inv);
}

Point3& Point3::Unify() { return *this = Normalize(); }

float Point3::LengthUnify() {
    float l = Length();
    *this = Normalize();
    return l;
}
