// The catalogue of control gizmos: 43 line figures shared by ControlHelper (drawn as lines) and
// ControlShape (the same lines as splines).
//
// Every figure is built in object space. A figure is drawn in unit size (within -1..1 on each
// axis unless its rule says otherwise) and scaled per axis by half the size: size / 2 on all
// three axes when uniform, else length / 2 on X, width / 2 on Y, height / 2 on Z. Flat figures
// lie in the XY plane (their Z faces the viewer with face_camera); Rectangle and Box turn with
// `axis` (0 X, 1 Y, 2 Z: the normal of the rectangle, the up of the box).
//
// Round figures use steps * 4 + 4 points per full circle (4 at steps 0), point i at angle
// 2 pi i / count from +X towards +Y. Straight edges are split into steps + 1 pieces when
// |warp_amount| is above 0.1, so that the warp can bend them; otherwise they stay whole.
//
// Warp: the points move along `warp_axis` by -(2 w - 1) * warp_amount * h, where h is the half
// size along the profile axis (X, or Y when warping along X) and w = smoothstep(|p| / h) of
// the point's coordinate p on the profile axis (clamped to 1): the middle of the figure moves
// by +warp_amount * h, its ends by -warp_amount * h.
#pragma once

#include <vector>

#include "box3.h"
#include "matrix3.h"
#include "maxtypes.h"
#include "point3.h"

namespace kt {

enum GizmoType : int {
    kGizmoNone = 0,
    kGizmoCross,
    kGizmoCrossDiagonal,
    kGizmoCrossAsterisk,
    kGizmoAxisTripod,
    kGizmoCircle,
    kGizmoCircleHalf,
    kGizmoCirclePointy,
    kGizmoDonut,
    kGizmoSphere,
    kGizmoSphereHalf,
    kGizmoRectangle,
    kGizmoBox,
    kGizmoTriangle,
    kGizmoCone,
    kGizmoCylinder,
    kGizmoArrow,
    kGizmoArrowDouble,
    kGizmoArrowCircle,
    kGizmoArrowCylinder,
    kGizmoArrowCross,
    kGizmoArrowMixed,
    kGizmoCrossFlat,
    kGizmoDrop,
    kGizmoStar,
    kGizmoStarSmooth,
    kGizmoPeanut,
    kGizmoGear,
    kGizmoCharacter,
    kGizmoEye,
    kGizmoLips,
    kGizmoHand,
    kGizmoFoot,
    kGizmoShoe,
    kGizmoFourArrows,
    kGizmoFourPyramids,
    kGizmoFourTriangles,
    kGizmoIKFK,
    kGizmoSphereIcosa,
    kGizmoSphereGeo,
    kGizmoFace,
    kGizmoNose,
    kGizmoDiamond,
    kNumGizmoTypes
};

// What a figure is built from (the parameters of the helper's block at one time).
// thickness and warpAmount are fractions (0.5 is 50%); sizes are world units.
struct GizmoParams {
    int type = kGizmoSphere;
    bool uniform = true;
    float size = 20.0f;
    float length = 20.0f;
    float width = 20.0f;
    float height = 20.0f;
    int axis = 2;
    float thickness = 0.5f;
    float corner = 0.0f;
    int steps = 6;
    float warpAmount = 0.0f;
    int warpAxis = 0;
};

// One line strip of a figure: count points from first; closed joins the last to the first.
struct GizmoStrip {
    int first = 0;
    int count = 0;
    bool closed = false;
};

// A built figure: line strips over one point array, in object space.
class GizmoLines {
public:
    std::vector<Point3> points;
    std::vector<GizmoStrip> strips;

    void Clear() {
        points.clear();
        strips.clear();
    }
    bool Empty() const { return strips.empty(); }
    // The box of every point, through tm when given; empty for an empty figure.
    Box3 Bounds(const Matrix3* tm = nullptr) const;
    // Every point multiplied by f (about the origin).
    void Scale(float f);
};

// Builds the figure of p.type into out (cleared first). A type outside 0..42 and None build
// nothing. Negative steps count as 0; steps above 999 as 999.
void BuildGizmo(const GizmoParams& p, GizmoLines& out);

// The enumeration's name ("SphereHalf"), or null outside 0..42.
const MCHAR* GizmoScriptName(int type);
// The type list's label ("Sphere Hemi"); None reads "None". Null outside 0..42.
const MCHAR* GizmoLabel(int type);
// True for the figures drawn from stored tables (Character, Eye, Lips, Hand, Foot, Shoe, Face,
// Nose).
bool IsStoredGizmo(int type);

// Parameter ids of the block that ControlHelper and ControlShape share (block 0).
enum GizmoParamID : int {
    pb_type = 0,
    pb_gizmo = 1,
    pb_uniform = 2,
    pb_size = 3,
    pb_length = 4,
    pb_width = 5,
    pb_height = 6,
    pb_axis = 7,
    pb_thickness = 8,
    pb_corner = 9,
    pb_steps = 10,
    pb_warp_amount = 11,
    pb_warp_axis = 12,
    pb_offset_line = 13,
    pb_face_camera = 14,
    pb_constant_screen_size = 15,
    pb_draw_on_top = 16,
    pb_selector_active = 17,
    pb_selector_node = 18,
    pb_selector_ignore_backfacing = 19,
    pb_selector_use_wire_color = 20,
    pb_selector_color = 21,
    pb_selector_sel_opacity = 22,
    pb_selector_unsel_opacity = 23,
    pb_selector_push_value = 24,
    pb_scale = 25,  // ControlShape only
};

constexpr unsigned GizmoRowBit(int id) { return 1u << id; }

// The parameter rows a type uses (bits GizmoRowBit(id)), before the uniform switch: the
// rollout shows these, with size hidden while uniform is off and length, width and height
// hidden while it is on. None uses no row.
unsigned GizmoParamRows(int type);

}  // namespace kt
