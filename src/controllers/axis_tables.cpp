#include "controllers/axis_tables.h"

#include <array>

namespace kt {
namespace {

int Slot(int axis, bool flip) { return (axis >= 0 && axis <= 2 ? axis : 0) * 2 + (flip ? 1 : 0); }

const std::array<Matrix3, 6>& Matrices() {
    static const std::array<Matrix3, 6> table = [] {
        const Matrix3 toAxis[3] = {
            Matrix3(Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1), Point3(0, 0, 0)),
            Matrix3(Point3(0, 1, 0), Point3(-1, 0, 0), Point3(0, 0, 1), Point3(0, 0, 0)),
            Matrix3(Point3(0, 0, 1), Point3(0, 1, 0), Point3(-1, 0, 0), Point3(0, 0, 0)),
        };
        const Matrix3 halfTurn(Point3(-1, 0, 0), Point3(0, -1, 0), Point3(0, 0, 1), Point3(0, 0, 0));
        std::array<Matrix3, 6> t;
        for (int a = 0; a < 3; ++a) {
            t[static_cast<size_t>(a * 2)] = toAxis[a];
            t[static_cast<size_t>(a * 2 + 1)] = halfTurn * toAxis[a];
        }
        return t;
    }();
    return table;
}

const std::array<Quat, 6>& Rotations() {
    static const std::array<Quat, 6> table = [] {
        std::array<Quat, 6> q;
        for (size_t i = 0; i < 6; ++i) {
            q[i] = Quat(Inverse(Matrices()[i]));
            q[i].Normalize();
        }
        return q;
    }();
    return table;
}

}  // namespace

const Matrix3& AxisMatrix(int axis, bool flip) { return Matrices()[static_cast<size_t>(Slot(axis, flip))]; }

const Quat& AimRotation(int axis, bool flip) { return Rotations()[static_cast<size_t>(Slot(axis, flip))]; }

}  // namespace kt
