// Axis tables shared by the single-target constraints and the spline chain.
//
// Axis indices: 0 X, 1 Y, 2 Z; anything else reads as X. Matrices follow the host's
// conventions (row vectors, A * B applies A first).
#pragma once

#include "maxmath.h"

namespace kt {

// The quarter-turn rotation (rows of 0, 1 and -1 only) that brings X to `axis`; `flip` adds a
// half turn about Z first, so X lands on -axis. AxisMatrix(0, false) is the identity and
// AxisMatrix(0, true) is diag(-1, -1, 1).
const Matrix3& AxisMatrix(int axis, bool flip);

// The inverse form of the same table: the rotation that brings `axis` (or -axis with flip)
// to X, as a unit quaternion.
const Quat& AimRotation(int axis, bool flip);

}  // namespace kt
