#include "shapes/gizmo_block.h"

#include <cmath>

#include "decomp.h"
#include "hold.h"
#include "resources/resource.h"

namespace kt {

namespace {

// Refuses a type outside the catalogue.
class GizmoTypeValidator : public PBValidator {
public:
    BOOL Validate(PB2Value& v) override { return v.i >= 0 && v.i < kNumGizmoTypes ? TRUE : FALSE; }
};
GizmoTypeValidator typeValidator;

// Labels sit at the shapes' string block plus the parameter id.
StringResID Label(ParamID id) { return IDS_SHAPES_TYPE + id; }

}  // namespace

void DefineGizmoParams(ParamBlockDesc2& d, PBValidator* selectorValidator) {
    auto integer = [&](ParamID id, const MCHAR* name, int def, int lo, int hi) {
        d.AddParam(id, name, TYPE_INT, 0, Label(id));
        d.SetDefault(id, def);
        d.SetRange(id, lo, hi);
    };
    auto flag = [&](ParamID id, const MCHAR* name, int def) {
        d.AddParam(id, name, TYPE_BOOL, 0, Label(id));
        d.SetDefault(id, def);
    };
    auto world = [&](ParamID id, const MCHAR* name, float def) {
        d.AddParam(id, name, TYPE_WORLD, P_ANIMATABLE, Label(id));
        d.SetDefault(id, def);
        d.SetRange(id, 0.0f, 1e30f);
    };
    auto percent = [&](ParamID id, const MCHAR* name, float def, float lo, float hi, int flags) {
        d.AddParam(id, name, TYPE_PCNT_FRAC, flags, Label(id));
        d.SetDefault(id, def);
        d.SetRange(id, lo, hi);
    };
    integer(pb_type, L"type", kGizmoSphere, 0, kNumGizmoTypes - 1);
    d.SetValidator(pb_type, &typeValidator);
    d.AddParam(pb_gizmo, L"gizmo", TYPE_MATRIX3, 0, Label(pb_gizmo));
    flag(pb_uniform, L"uniform", 1);
    world(pb_size, L"size", 20.0f);
    world(pb_length, L"length", 20.0f);
    world(pb_width, L"width", 20.0f);
    world(pb_height, L"height", 20.0f);
    integer(pb_axis, L"axis", 2, 0, 2);
    // Percent ranges are given in percent, defaults in fractions.
    percent(pb_thickness, L"thickness", 0.5f, 0.0f, 100.0f, P_ANIMATABLE);
    world(pb_corner, L"corner", 0.0f);
    integer(pb_steps, L"steps", 6, 0, 999);
    percent(pb_warp_amount, L"warp_amount", 0.0f, -100.0f, 100.0f, P_ANIMATABLE);
    integer(pb_warp_axis, L"warp_axis", 0, 0, 2);
    flag(pb_offset_line, L"offset_line", 0);
    flag(pb_face_camera, L"face_camera", 0);
    flag(pb_constant_screen_size, L"constant_screen_size", 0);
    flag(pb_draw_on_top, L"draw_on_top", 0);
    flag(pb_selector_active, L"selector_active", 0);
    d.AddParam(pb_selector_node, L"selector_node", TYPE_INODE, 0, Label(pb_selector_node));
    if (selectorValidator) d.SetValidator(pb_selector_node, selectorValidator);
    flag(pb_selector_ignore_backfacing, L"selector_ignore_backfacing", 0);
    flag(pb_selector_use_wire_color, L"selector_use_wire_color", 1);
    d.AddParam(pb_selector_color, L"selector_color", TYPE_RGBA, 0, Label(pb_selector_color));
    d.SetDefault(pb_selector_color, Point3(1.0f, 0.0f, 0.0f));
    percent(pb_selector_sel_opacity, L"selector_sel_opacity", 0.5f, 0.0f, 100.0f, 0);
    percent(pb_selector_unsel_opacity, L"selector_unsel_opacity", 0.25f, 0.0f, 100.0f, 0);
    d.AddParam(pb_selector_push_value, L"selector_push_value", TYPE_FLOAT, 0, Label(pb_selector_push_value));
    d.SetDefault(pb_selector_push_value, 0.1f);
    d.SetRange(pb_selector_push_value, 0.0f, 1e30f);
}

GizmoParams ReadGizmoParams(IParamBlock2* pb, TimeValue t, Interval& valid) {
    GizmoParams p;
    if (!pb) return p;
    p.type = pb->GetInt(pb_type, t, valid);
    p.uniform = pb->GetInt(pb_uniform, t, valid) != 0;
    p.size = pb->GetFloat(pb_size, t, valid);
    p.length = pb->GetFloat(pb_length, t, valid);
    p.width = pb->GetFloat(pb_width, t, valid);
    p.height = pb->GetFloat(pb_height, t, valid);
    p.axis = pb->GetInt(pb_axis, t, valid);
    p.thickness = pb->GetFloat(pb_thickness, t, valid);
    p.corner = pb->GetFloat(pb_corner, t, valid);
    p.steps = pb->GetInt(pb_steps, t, valid);
    p.warpAmount = pb->GetFloat(pb_warp_amount, t, valid);
    p.warpAxis = pb->GetInt(pb_warp_axis, t, valid);
    return p;
}

Quat GizmoRotation(const Matrix3& m) {
    AffineParts ap;
    decomp_affine(m, &ap);
    return ap.q;
}

Point3 GizmoScale(const Matrix3& m) {
    AffineParts ap;
    decomp_affine(m, &ap);
    return ap.k * ap.f;
}

Matrix3 WithGizmoRotation(const Matrix3& m, const Quat& q) {
    AffineParts ap;
    decomp_affine(m, &ap);
    ap.q = q;
    return host::ComposeAffine(ap);
}

Matrix3 WithGizmoScale(const Matrix3& m, const Point3& s) {
    AffineParts ap;
    decomp_affine(m, &ap);
    ap.k = Point3(std::fabs(s.x), std::fabs(s.y), std::fabs(s.z));
    return host::ComposeAffine(ap);
}

Matrix3 WithGizmoPos(const Matrix3& m, const Point3& p) {
    Matrix3 r = m;
    r.SetTrans(p);
    return r;
}

int BlockGizmoType(IParamBlock2* pb) { return pb ? pb->GetInt(pb_type) : kGizmoNone; }

void SetBlockGizmoType(IParamBlock2* pb, int type) {
    if (pb) pb->SetValue(pb_type, 0, type);
}

Matrix3 BlockGizmoTM(IParamBlock2* pb) { return pb ? pb->GetMatrix3(pb_gizmo) : Matrix3(); }

void SetBlockGizmoTM(IParamBlock2* pb, const Matrix3& m) {
    if (pb) pb->SetValue(pb_gizmo, 0, m);
}

void ResetBlockGizmo(IParamBlock2* pb) {
    if (!pb) return;
    theHold.Begin();
    pb->SetValue(pb_gizmo, 0, Matrix3());
    theHold.Accept(L"Reset Gizmo");
}

}  // namespace kt
