// Random inputs for the math tests: fixed seeds, so failures reproduce.
#pragma once

#include <random>

#include "maxmath.h"

namespace mathtest {

class Rng {
  public:
    explicit Rng(unsigned seed) : gen_(seed) {}
    float Uniform(float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(gen_); }
    Point3 InBox(float r) { return Point3(Uniform(-r, r), Uniform(-r, r), Uniform(-r, r)); }
    // A uniformly distributed unit quaternion (any sign).
    Quat Rotation() {
        std::normal_distribution<float> n;
        Quat q(n(gen_), n(gen_), n(gen_), n(gen_));
        q.Normalize();
        return q;
    }
    // Per-axis factors in [lo, hi].
    Point3 Factors(float lo, float hi) { return Point3(Uniform(lo, hi), Uniform(lo, hi), Uniform(lo, hi)); }
    // An affine matrix: a stretch with its own axes, a rotation, optionally a mirror, a translation.
    Matrix3 Affine(bool mirrored) {
        Matrix3 m;
        Rotation().MakeMatrix(m);
        m = host::ScaleValueMatrix(ScaleValue(Factors(0.2f, 3.0f), Rotation())) * m;
        if (mirrored) m = ScaleMatrix(Point3(1.0f, -1.0f, 1.0f)) * m;
        m.SetTrans(InBox(50.0f));
        return m;
    }

  private:
    std::mt19937 gen_;
};

inline Matrix3 MatrixOf(const Quat& q) {
    Matrix3 m;
    q.MakeMatrix(m);
    return m;
}

} // namespace mathtest
