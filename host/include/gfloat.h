// Angle constants and float helpers, as the SDK names them.
//
// PI, TWOPI and HALFPI are float constants (PI == 3.1415927f, TWOPI == 6.2831855f).
#pragma once

#include <cfloat> // FLT_EPSILON
#include <cmath>

inline constexpr float PI = 3.14159265358979323846f;
inline constexpr float TWOPI = 6.28318530717958647692f;
inline constexpr float HALFPI = 1.57079632679489661923f;

// Degrees to radians and back, in float.
constexpr float DegToRad(float deg) { return deg * (PI / 180.0f); }
constexpr float RadToDeg(float rad) { return rad * (180.0f / PI); }

// Sine and cosine of one angle (radians).
inline void SinCos(float angle, float* sine, float* cosine) {
    *sine = std::sin(angle);
    *cosine = std::cos(angle);
}
inline float Sin(float angle) { return std::sin(angle); }
inline float Cos(float angle) { return std::cos(angle); }
inline float Sqrt(float arg) { return std::sqrt(arg); }
