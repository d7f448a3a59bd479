// Color (r, g, b) and AColor (r, g, b, a): float channels, 1.0 is full intensity.
//
// Packed colours (wire colours, the colour manager) are DWORDs laid out 0x00BBGGRR as on
// Windows: RGB(r, g, b) packs bytes, GetRValue/GetGValue/GetBValue unpack them.
#pragma once

#include <cmath>
#include <initializer_list>

#include "maxtypes.h"
#include "point3.h"
#include "point4.h"

#ifndef RGB
#define RGB(r, g, b) ((DWORD)(((BYTE)(r)) | (((DWORD)(BYTE)(g)) << 8) | (((DWORD)(BYTE)(b)) << 16)))
#endif
#ifndef GetRValue
#define GetRValue(rgb) ((BYTE)((rgb)&0xFF))
#define GetGValue(rgb) ((BYTE)(((rgb) >> 8) & 0xFF))
#define GetBValue(rgb) ((BYTE)(((rgb) >> 16) & 0xFF))
#endif

// A channel in [0, 1] as a byte: clamped, then rounded to nearest (0.5 -> 128).
inline int FLto255(float f) {
    if (!(f > 0.0f)) return 0;
    if (f >= 1.0f) return 255;
    return int(f * 255.0f + 0.5f);
}

class Color {
  public:
    float r = 0.0f, g = 0.0f, b = 0.0f;

    constexpr Color() = default;
    constexpr Color(float R, float G, float B) : r(R), g(G), b(B) {}
    constexpr Color(double R, double G, double B) : r(float(R)), g(float(G)), b(float(B)) {}
    constexpr Color(int R, int G, int B) : r(float(R)), g(float(G)), b(float(B)) {}
    // From a packed 0x00BBGGRR colour: each byte / 255.
    explicit Color(DWORD rgb)
        : r(GetRValue(rgb) / 255.0f), g(GetGValue(rgb) / 255.0f), b(GetBValue(rgb) / 255.0f) {}
    constexpr explicit Color(const Point3& p) : r(p.x), g(p.y), b(p.z) {}
    constexpr explicit Color(const float af[3]) : r(af[0]), g(af[1]), b(af[2]) {}

    // Packed 0x00BBGGRR; channels clamped to [0, 1] and rounded (FLto255).
    DWORD toRGB() const { return RGB(FLto255(r), FLto255(g), FLto255(b)); }
    constexpr operator Point3() const { return Point3(r, g, b); }

    float& operator[](int i) { return i == 0 ? r : (i == 1 ? g : b); }
    const float& operator[](int i) const { return i == 0 ? r : (i == 1 ? g : b); }

    constexpr Color& Black() {
        r = g = b = 0.0f;
        return *this;
    }
    constexpr Color& White() {
        r = g = b = 1.0f;
        return *this;
    }
    // Each channel clamped to [0, 1].
    void ClampMinMax() {
        for (float* c : {&r, &g, &b})
            *c = *c < 0.0f ? 0.0f : (*c > 1.0f ? 1.0f : *c);
    }
    constexpr float MaxComponent() const { return r > g ? (r > b ? r : b) : (g > b ? g : b); }
    constexpr float MinComponent() const { return r < g ? (r < b ? r : b) : (g < b ? g : b); }

    constexpr Color operator-() const { return Color(-r, -g, -b); }
    constexpr Color operator+(const Color& c) const { return Color(r + c.r, g + c.g, b + c.b); }
    constexpr Color operator-(const Color& c) const { return Color(r - c.r, g - c.g, b - c.b); }
    constexpr Color operator*(const Color& c) const { return Color(r * c.r, g * c.g, b * c.b); }
    constexpr Color operator/(const Color& c) const { return Color(r / c.r, g / c.g, b / c.b); }
    constexpr Color& operator+=(const Color& c) {
        r += c.r;
        g += c.g;
        b += c.b;
        return *this;
    }
    constexpr Color& operator-=(const Color& c) {
        r -= c.r;
        g -= c.g;
        b -= c.b;
        return *this;
    }
    constexpr Color& operator*=(const Color& c) {
        r *= c.r;
        g *= c.g;
        b *= c.b;
        return *this;
    }
    constexpr Color& operator*=(float f) {
        r *= f;
        g *= f;
        b *= f;
        return *this;
    }
    constexpr Color& operator/=(float f) {
        r /= f;
        g /= f;
        b /= f;
        return *this;
    }
    constexpr bool operator==(const Color& c) const { return r == c.r && g == c.g && b == c.b; }
    constexpr bool operator!=(const Color& c) const { return !(*this == c); }
    bool Equals(const Color& c, float epsilon = 1e-6f) const {
        return std::fabs(r - c.r) <= epsilon && std::fabs(g - c.g) <= epsilon &&
               std::fabs(b - c.b) <= epsilon;
    }
};

constexpr Color operator*(const Color& c, float f) { return Color(c.r * f, c.g * f, c.b * f); }
constexpr Color operator*(float f, const Color& c) { return Color(c.r * f, c.g * f, c.b * f); }
constexpr Color operator/(const Color& c, float f) { return Color(c.r / f, c.g / f, c.b / f); }

class AColor {
  public:
    float r = 0.0f, g = 0.0f, b = 0.0f, a = 0.0f;

    constexpr AColor() = default;
    constexpr AColor(float R, float G, float B, float A = 1.0f) : r(R), g(G), b(B), a(A) {}
    constexpr AColor(double R, double G, double B, double A = 1.0)
        : r(float(R)), g(float(G)), b(float(B)), a(float(A)) {}
    constexpr AColor(const Color& c, float alpha = 1.0f) : r(c.r), g(c.g), b(c.b), a(alpha) {} // NOLINT
    // From a packed 0x00BBGGRR colour and an alpha.
    explicit AColor(DWORD rgb, float alpha = 1.0f) : AColor(Color(rgb), alpha) {}
    constexpr explicit AColor(const Point4& p) : r(p.x), g(p.y), b(p.z), a(p.w) {}
    constexpr explicit AColor(const float af[4]) : r(af[0]), g(af[1]), b(af[2]), a(af[3]) {}

    // Packed 0x00BBGGRR (alpha dropped) and 0xAABBGGRR.
    DWORD toRGB() const { return Color(r, g, b).toRGB(); }
    DWORD toRGBA() const { return toRGB() | (DWORD(FLto255(a)) << 24); }
    constexpr operator Color() const { return Color(r, g, b); }
    constexpr operator Point4() const { return Point4(r, g, b, a); }

    float& operator[](int i) { return i == 0 ? r : (i == 1 ? g : (i == 2 ? b : a)); }
    const float& operator[](int i) const { return i == 0 ? r : (i == 1 ? g : (i == 2 ? b : a)); }

    void ClampMinMax() {
        for (float* c : {&r, &g, &b, &a})
            *c = *c < 0.0f ? 0.0f : (*c > 1.0f ? 1.0f : *c);
    }

    constexpr AColor operator+(const AColor& c) const { return AColor(r + c.r, g + c.g, b + c.b, a + c.a); }
    constexpr AColor operator-(const AColor& c) const { return AColor(r - c.r, g - c.g, b - c.b, a - c.a); }
    constexpr AColor operator*(const AColor& c) const { return AColor(r * c.r, g * c.g, b * c.b, a * c.a); }
    constexpr AColor& operator+=(const AColor& c) {
        r += c.r;
        g += c.g;
        b += c.b;
        a += c.a;
        return *this;
    }
    constexpr AColor& operator-=(const AColor& c) {
        r -= c.r;
        g -= c.g;
        b -= c.b;
        a -= c.a;
        return *this;
    }
    constexpr AColor& operator*=(float f) {
        r *= f;
        g *= f;
        b *= f;
        a *= f;
        return *this;
    }
    constexpr bool operator==(const AColor& c) const { return r == c.r && g == c.g && b == c.b && a == c.a; }
    constexpr bool operator!=(const AColor& c) const { return !(*this == c); }
};

constexpr AColor operator*(const AColor& c, float f) { return AColor(c.r * f, c.g * f, c.b * f, c.a * f); }
constexpr AColor operator*(float f, const AColor& c) { return c * f; }
