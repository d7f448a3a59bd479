// Small scenes for the constraint tests: nodes carrying any local matrix, the parent
// transforms every constraint is checked under, and the registration scripts and scene
// files need.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "controllers/static_controllers.h"
#include "hold.h"
#include "inode.h"
#include "library_scene.h"
#include "maxapi.h"

namespace kttest {

// A node with a StaticTransform holding `local` (any affine matrix, shear and mirror included).
inline INode* MakeNode(const wchar_t* name, INode* under, const Matrix3& local) {
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, name);
    n->SetName(name);
    auto* st = new kt::StaticTransform();
    st->value = local;
    n->SetTMController(st);
    if (under) under->AttachChild(n, 0);
    return n;
}

inline Matrix3 Compose(const Quat& q, const Point3& scale, const Point3& pos) {
    Matrix3 m = ScaleMatrix(scale);
    RotateMatrix(m, q);
    m.Translate(pos);
    return m;
}

// The parents every constraint is checked under.
inline std::vector<std::pair<const char*, Matrix3>> ParentCases() {
    Matrix3 rotated = RotateXMatrix(0.7f) * RotateZMatrix(-0.4f) * TransMatrix(Point3(3.0f, -2.0f, 5.0f));
    Matrix3 squashed = ScaleMatrix(Point3(1.0f, 2.0f, 0.5f)) * RotateYMatrix(0.3f) * TransMatrix(Point3(0, 4, 0));
    Matrix3 mirrored = ScaleMatrix(Point3(-1.0f, 1.0f, 1.0f)) * RotateZMatrix(0.5f) * TransMatrix(Point3(-6, 1, 2));
    return {{"identity", Matrix3()},
            {"moved", TransMatrix(Point3(10.0f, -4.0f, 7.0f))},
            {"rotated", rotated},
            {"non-uniformly scaled", squashed},
            {"mirrored", mirrored}};
}

using ConstraintTest = LibrarySceneTest;

// Angle in radians between two rotations (either sign).
inline float AngleBetweenRotations(const Quat& a, const Quat& b) {
    Quat d = Inverse(a) * b;
    d.Normalize();
    return 2.0f * std::acos(std::min(1.0f, std::fabs(d.w)));
}

}  // namespace kttest
