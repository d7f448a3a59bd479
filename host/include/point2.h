// Point2: a 2D float vector (UV coordinates, screen points, curve keys).
#pragma once

#include <cassert>
#include <cmath>

class Point2 {
  public:
    float x = 0.0f;
    float y = 0.0f;

    constexpr Point2() = default;
    constexpr Point2(float X, float Y) : x(X), y(Y) {}
    constexpr Point2(double X, double Y) : x(float(X)), y(float(Y)) {}
    constexpr Point2(int X, int Y) : x(float(X)), y(float(Y)) {}
    constexpr explicit Point2(const float af[2]) : x(af[0]), y(af[1]) {}

    static const Point2 Origin;
    static const Point2 XAxis;
    static const Point2 YAxis;

    // Index 0 is x, 1 is y; anything else is a programming error (asserted).
    float& operator[](int i) {
        assert(i >= 0 && i <= 1);
        return i == 0 ? x : y;
    }
    const float& operator[](int i) const {
        assert(i >= 0 && i <= 1);
        return i == 0 ? x : y;
    }

    constexpr Point2 operator-() const { return Point2(-x, -y); }
    constexpr Point2 operator+() const { return *this; }

    constexpr float LengthSquared() const { return x * x + y * y; }
    float Length() const { return float(std::sqrt(double(x) * x + double(y) * y)); }
    float FLength() const { return std::sqrt(LengthSquared()); }
    // Unit vector of the same direction; the zero vector gives the zero vector.
    [[nodiscard]] Point2 Normalize() const {
        double l = std::sqrt(double(x) * x + double(y) * y);
        return l > 0.0 ? Point2(x / l, y / l) : Point2();
    }
    // Normalizes in place (zero stays zero) and returns *this.
    Point2& Unify() { return *this = Normalize(); }
    // 0 if |x| >= |y|, else 1.
    int MaxComponent() const { return std::fabs(x) >= std::fabs(y) ? 0 : 1; }
    int MinComponent() const { return std::fabs(x) <= std::fabs(y) ? 0 : 1; }

    constexpr Point2& operator+=(const Point2& p) {
        x += p.x;
        y += p.y;
        return *this;
    }
    constexpr Point2& operator-=(const Point2& p) {
        x -= p.x;
        y -= p.y;
        return *this;
    }
    constexpr Point2& operator*=(const Point2& p) {
        x *= p.x;
        y *= p.y;
        return *this;
    }
    constexpr Point2& operator*=(float f) {
        x *= f;
        y *= f;
        return *this;
    }
    constexpr Point2& operator/=(float f) {
        x /= f;
        y /= f;
        return *this;
    }
    constexpr Point2& Set(float X, float Y) {
        x = X;
        y = Y;
        return *this;
    }

    constexpr Point2 operator+(const Point2& p) const { return Point2(x + p.x, y + p.y); }
    constexpr Point2 operator-(const Point2& p) const { return Point2(x - p.x, y - p.y); }
    // Per component product and quotient.
    constexpr Point2 operator*(const Point2& p) const { return Point2(x * p.x, y * p.y); }
    constexpr Point2 operator/(const Point2& p) const { return Point2(x / p.x, y / p.y); }
    // Dot product.
    constexpr float DotProd(const Point2& p) const { return x * p.x + y * p.y; }
    constexpr float operator%(const Point2& p) const { return DotProd(p); }

    constexpr bool operator==(const Point2& p) const { return x == p.x && y == p.y; }
    constexpr bool operator!=(const Point2& p) const { return !(*this == p); }
    // True when every component differs by at most epsilon.
    bool Equals(const Point2& p, float epsilon = 1e-6f) const {
        return std::fabs(x - p.x) <= epsilon && std::fabs(y - p.y) <= epsilon;
    }
};

inline constexpr Point2 Point2::Origin{0.0f, 0.0f};
inline constexpr Point2 Point2::XAxis{1.0f, 0.0f};
inline constexpr Point2 Point2::YAxis{0.0f, 1.0f};

constexpr Point2 operator*(const Point2& p, float f) { return Point2(p.x * f, p.y * f); }
constexpr Point2 operator*(float f, const Point2& p) { return Point2(p.x * f, p.y * f); }
constexpr Point2 operator/(const Point2& p, float f) { return Point2(p.x / f, p.y / f); }
constexpr Point2 operator+(const Point2& p, float f) { return Point2(p.x + f, p.y + f); }
constexpr Point2 operator-(const Point2& p, float f) { return Point2(p.x - f, p.y - f); }

inline float Length(const Point2& p) { return p.Length(); }
inline float FLength(const Point2& p) { return p.FLength(); }
constexpr float LengthSquared(const Point2& p) { return p.LengthSquared(); }
constexpr float DotProd(const Point2& a, const Point2& b) { return a % b; }
inline Point2 Normalize(const Point2& p) { return p.Normalize(); }
inline Point2 FNormalize(const Point2& p) { return p.Normalize(); }
