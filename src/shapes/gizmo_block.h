// The parameter block ControlHelper and ControlShape share (block 0, ids in gizmo_catalogue.h).
#pragma once

#include "iparamb2.h"
#include "shapes/gizmo_catalogue.h"

namespace kt {

// Adds the 25 rows (ids 0..24) to d in block order. The validators of `type` and
// `selector_node` ask the owner; selectorValidator may be null (ControlShape has no selector).
void DefineGizmoParams(ParamBlockDesc2& d, PBValidator* selectorValidator);

// The figure parameters of a block at t; valid is narrowed by every read.
GizmoParams ReadGizmoParams(IParamBlock2* pb, TimeValue t, Interval& valid);

// Parts of a gizmo matrix by its affine decomposition: the rotation, and the stretch (signed
// by the mirror); the With forms replace one part and keep the others.
Quat GizmoRotation(const Matrix3& m);
Point3 GizmoScale(const Matrix3& m);
Matrix3 WithGizmoRotation(const Matrix3& m, const Quat& q);
Matrix3 WithGizmoScale(const Matrix3& m, const Point3& s);
Matrix3 WithGizmoPos(const Matrix3& m, const Point3& p);

// `type` and `gizmo` of a block as the owners publish them: a null block reads as no figure
// and an identity gizmo, and takes no sets.
int BlockGizmoType(IParamBlock2* pb);
void SetBlockGizmoType(IParamBlock2* pb, int type);
Matrix3 BlockGizmoTM(IParamBlock2* pb);
void SetBlockGizmoTM(IParamBlock2* pb, const Matrix3& m);
// `gizmo` back to identity as one "Reset Gizmo" undo step.
void ResetBlockGizmo(IParamBlock2* pb);

}  // namespace kt
