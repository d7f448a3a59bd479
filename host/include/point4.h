// Point4: a 4D float vector (homogeneous points, planes, matrix columns).
#pragma once

#include <cassert>
#include <cmath>

#include "point3.h"

class Point4 {
  public:
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;
    float w = 0.0f;

    constexpr Point4() = default;
    constexpr Point4(float X, float Y, float Z, float W) : x(X), y(Y), z(Z), w(W) {}
    constexpr Point4(double X, double Y, double Z, double W)
        : x(float(X)), y(float(Y)), z(float(Z)), w(float(W)) {}
    constexpr Point4(const Point3& p, float W) : x(p.x), y(p.y), z(p.z), w(W) {}
    constexpr explicit Point4(const float af[4]) : x(af[0]), y(af[1]), z(af[2]), w(af[3]) {}

    static const Point4 Origin;
    static const Point4 XAxis;
    static const Point4 YAxis;
    static const Point4 ZAxis;
    static const Point4 WAxis;

    float& operator[](int i) {
        assert(i >= 0 && i <= 3);
        return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w));
    }
    const float& operator[](int i) const {
        assert(i >= 0 && i <= 3);
        return i == 0 ? x : (i == 1 ? y : (i == 2 ? z : w));
    }

    constexpr Point4 operator-() const { return Point4(-x, -y, -z, -w); }
    constexpr Point4 operator+() const { return *this; }

    constexpr float LengthSquared() const { return x * x + y * y + z * z + w * w; }
    float Length() const {
        return float(std::sqrt(double(x) * x + double(y) * y + double(z) * z + double(w) * w));
    }
    float FLength() const { return std::sqrt(LengthSquared()); }
    // Unit vector; zero gives zero.
    [[nodiscard]] Point4 Normalize() const {
        double l = std::sqrt(double(x) * x + double(y) * y + double(z) * z + double(w) * w);
        return l > 0.0 ? Point4(x / l, y / l, z / l, w / l) : Point4();
    }
    [[nodiscard]] Point4 FNormalize() const { return Normalize(); }
    Point4& Unify() { return *this = Normalize(); }

    constexpr Point3 XYZ() const { return Point3(x, y, z); }

    constexpr Point4& operator+=(const Point4& p) {
        x += p.x;
        y += p.y;
        z += p.z;
        w += p.w;
        return *this;
    }
    constexpr Point4& operator-=(const Point4& p) {
        x -= p.x;
        y -= p.y;
        z -= p.z;
        w -= p.w;
        return *this;
    }
    constexpr Point4& operator*=(const Point4& p) {
        x *= p.x;
        y *= p.y;
        z *= p.z;
        w *= p.w;
        return *this;
    }
    constexpr Point4& operator*=(float f) {
        x *= f;
        y *= f;
        z *= f;
        w *= f;
        return *this;
    }
    constexpr Point4& operator/=(float f) {
        x /= f;
        y /= f;
        z /= f;
        w /= f;
        return *this;
    }
    constexpr Point4& Set(float X, float Y, float Z, float W) {
        x = X;
        y = Y;
        z = Z;
        w = W;
        return *this;
    }

    constexpr Point4 operator+(const Point4& p) const { return Point4(x + p.x, y + p.y, z + p.z, w + p.w); }
    constexpr Point4 operator-(const Point4& p) const { return Point4(x - p.x, y - p.y, z - p.z, w - p.w); }
    // Per component.
    constexpr Point4 operator*(const Point4& p) const { return Point4(x * p.x, y * p.y, z * p.z, w * p.w); }
    constexpr Point4 operator/(const Point4& p) const { return Point4(x / p.x, y / p.y, z / p.z, w / p.w); }
    // Dot product of all four components.
    constexpr float DotProd(const Point4& p) const { return x * p.x + y * p.y + z * p.z + w * p.w; }
    constexpr float operator%(const Point4& p) const { return DotProd(p); }

    constexpr bool operator==(const Point4& p) const { return x == p.x && y == p.y && z == p.z && w == p.w; }
    constexpr bool operator!=(const Point4& p) const { return !(*this == p); }
    bool Equals(const Point4& p, float epsilon = 1e-6f) const {
        return std::fabs(x - p.x) <= epsilon && std::fabs(y - p.y) <= epsilon &&
               std::fabs(z - p.z) <= epsilon && std::fabs(w - p.w) <= epsilon;
    }
};

inline constexpr Point4 Point4::Origin{0.0f, 0.0f, 0.0f, 0.0f};
inline constexpr Point4 Point4::XAxis{1.0f, 0.0f, 0.0f, 0.0f};
inline constexpr Point4 Point4::YAxis{0.0f, 1.0f, 0.0f, 0.0f};
inline constexpr Point4 Point4::ZAxis{0.0f, 0.0f, 1.0f, 0.0f};
inline constexpr Point4 Point4::WAxis{0.0f, 0.0f, 0.0f, 1.0f};

constexpr Point4 operator*(const Point4& p, float f) { return Point4(p.x * f, p.y * f, p.z * f, p.w * f); }
constexpr Point4 operator*(float f, const Point4& p) { return p * f; }
constexpr Point4 operator/(const Point4& p, float f) { return p * (1.0f / f); }

inline float Length(const Point4& p) { return p.Length(); }
constexpr float DotProd(const Point4& a, const Point4& b) { return a % b; }
inline Point4 Normalize(const Point4& p) { return p.Normalize(); }
inline Point4 FNormalize(const Point4& p) { return p.Normalize(); }
