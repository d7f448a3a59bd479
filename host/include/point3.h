// Point3: the host's 3D float vector, used for points, directions, scale factors and colours.
//
// Vectors are row vectors: a point transforms as p * M (see matrix3.h).
// Operators: + - on vectors, * / by a float, * and / per component between two Point3,
// ^ cross product, % dot product.
//
// Normalize() follows the SDK: it is const and returns the unit vector; use Unify() to
// normalize in place. The zero vector normalizes to the zero vector, never NaN.
#pragma once

#include <cassert>
#include <cmath>

#include "point2.h"

class Point3 {
  public:
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;

    constexpr Point3() = default;
    constexpr Point3(float X, float Y, float Z) : x(X), y(Y), z(Z) {}
    constexpr Point3(double X, double Y, double Z) : x(float(X)), y(float(Y)), z(float(Z)) {}
    constexpr Point3(int X, int Y, int Z) : x(float(X)), y(float(Y)), z(float(Z)) {}
    constexpr explicit Point3(const float af[3]) : x(af[0]), y(af[1]), z(af[2]) {}

    static const Point3 Origin; // (0, 0, 0)
    static const Point3 XAxis;  // (1, 0, 0)
    static const Point3 YAxis;  // (0, 1, 0)
    static const Point3 ZAxis;  // (0, 0, 1)

    // Index 0 is x, 1 is y, 2 is z; anything else is a programming error (asserted).
    float& operator[](int i) {
        assert(i >= 0 && i <= 2);
        return i == 0 ? x : (i == 1 ? y : z);
    }
    const float& operator[](int i) const {
        assert(i >= 0 && i <= 2);
        return i == 0 ? x : (i == 1 ? y : z);
    }

    constexpr Point3 operator-() const { return Point3(-x, -y, -z); }
    constexpr Point3 operator+() const { return *this; }

    constexpr float LengthSquared() const { return x * x + y * y + z * z; }
    // Length computed in double, then rounded to float.
    float Length() const { return float(std::sqrt(double(x) * x + double(y) * y + double(z) * z)); }
    // Length computed in float.
    float FLength() const { return std::sqrt(LengthSquared()); }

    // Index of the component with the largest (smallest) absolute value; ties go to the lower index.
    int MaxComponent() const;
    int MinComponent() const;

    // Unit vector of the same direction, computed in double. The zero vector gives the zero vector.
    [[nodiscard]] Point3 Normalize() const;
    // As Normalize(), computed in float.
    [[nodiscard]] Point3 FNormalize() const;
    // Normalizes in place (zero stays zero) and returns *this.
    Point3& Unify();
    // Normalizes in place and returns the length it had before.
    float LengthUnify();

    constexpr Point3& operator+=(const Point3& p) {
        x += p.x;
        y += p.y;
        z += p.z;
        return *this;
    }
    constexpr Point3& operator-=(const Point3& p) {
        x -= p.x;
        y -= p.y;
        z -= p.z;
        return *this;
    }
    // Per component.
    constexpr Point3& operator*=(const Point3& p) {
        x *= p.x;
        y *= p.y;
        z *= p.z;
        return *this;
    }
    // Per component; a zero component of p gives an infinity or NaN there, as float division does.
    constexpr Point3& operator/=(const Point3& p) {
        x /= p.x;
        y /= p.y;
        z /= p.z;
        return *this;
    }
    constexpr Point3& operator+=(float f) {
        x += f;
        y += f;
        z += f;
        return *this;
    }
    constexpr Point3& operator-=(float f) {
        x -= f;
        y -= f;
        z -= f;
        return *this;
    }
    constexpr Point3& operator*=(float f) {
        x *= f;
        y *= f;
        z *= f;
        return *this;
    }
    constexpr Point3& operator/=(float f) {
        x /= f;
        y /= f;
        z /= f;
        return *this;
    }
    constexpr Point3& Set(float X, float Y, float Z) {
        x = X;
        y = Y;
        z = Z;
        return *this;
    }

    constexpr Point3 operator+(const Point3& p) const { return Point3(x + p.x, y + p.y, z + p.z); }
    constexpr Point3 operator-(const Point3& p) const { return Point3(x - p.x, y - p.y, z - p.z); }
    // Per component product and quotient.
    constexpr Point3 operator*(const Point3& p) const { return Point3(x * p.x, y * p.y, z * p.z); }
    constexpr Point3 operator/(const Point3& p) const { return Point3(x / p.x, y / p.y, z / p.z); }

    constexpr float DotProd(const Point3& p) const { return x * p.x + y * p.y + z * p.z; }
    constexpr float operator%(const Point3& p) const { return DotProd(p); }
    // Right-handed cross product: XAxis ^ YAxis == ZAxis.
    constexpr Point3 CrossProd(const Point3& p) const {
        return Point3(y * p.z - z * p.y, z * p.x - x * p.z, x * p.y - y * p.x);
    }
    constexpr Point3 operator^(const Point3& p) const { return CrossProd(p); }

    constexpr bool operator==(const Point3& p) const { return x == p.x && y == p.y && z == p.z; }
    constexpr bool operator!=(const Point3& p) const { return !(*this == p); }
    // True when every component differs by at most epsilon.
    bool Equals(const Point3& p, float epsilon = 1e-6f) const {
        return std::fabs(x - p.x) <= epsilon && std::fabs(y - p.y) <= epsilon &&
               std::fabs(z - p.z) <= epsilon;
    }

    constexpr Point2 XY() const { return Point2(x, y); }
};

inline constexpr Point3 Point3::Origin{0.0f, 0.0f, 0.0f};
inline constexpr Point3 Point3::XAxis{1.0f, 0.0f, 0.0f};
inline constexpr Point3 Point3::YAxis{0.0f, 1.0f, 0.0f};
inline constexpr Point3 Point3::ZAxis{0.0f, 0.0f, 1.0f};

constexpr Point3 operator*(const Point3& p, float f) { return Point3(p.x * f, p.y * f, p.z * f); }
constexpr Point3 operator*(float f, const Point3& p) { return Point3(p.x * f, p.y * f, p.z * f); }
// Division by a float multiplies by its reciprocal, as the SDK does.
constexpr Point3 operator/(const Point3& p, float f) { return p * (1.0f / f); }
constexpr Point3 operator+(const Point3& p, float f) { return Point3(p.x + f, p.y + f, p.z + f); }
constexpr Point3 operator+(float f, const Point3& p) { return Point3(p.x + f, p.y + f, p.z + f); }
constexpr Point3 operator-(const Point3& p, float f) { return Point3(p.x - f, p.y - f, p.z - f); }

inline float Length(const Point3& p) { return p.Length(); }
inline float FLength(const Point3& p) { return p.FLength(); }
constexpr float LengthSquared(const Point3& p) { return p.LengthSquared(); }
constexpr float DotProd(const Point3& a, const Point3& b) { return a % b; }
constexpr Point3 CrossProd(const Point3& a, const Point3& b) { return a ^ b; }
inline int MaxComponent(const Point3& p) { return p.MaxComponent(); }
inline int MinComponent(const Point3& p) { return p.MinComponent(); }
// Unit vector (double precision); zero gives zero.
inline Point3 Normalize(const Point3& p) { return p.Normalize(); }
// Unit vector (float precision); zero gives zero.
inline Point3 FNormalize(const Point3& p) { return p.FNormalize(); }

// A ray: origin p and unit direction dir.
class Ray {
  public:
    Point3 p;
    Point3 dir;
    constexpr Ray() = default;
    constexpr Ray(const Point3& origin, const Point3& direction) : p(origin), dir(direction) {}
};
