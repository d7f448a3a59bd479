#include "string_table.h"

#include <algorithm>
#include <cwchar>
#include <vector>

#include "resource.h"

namespace kt {
namespace {

// Add entries anywhere; ids must stay unique (checked by the frame tests).
constexpr StringEntry kStrings[] = {
    {IDS_LIBDESCRIPTION, L"Kinetrope"},

    {IDS_CLASS_STATICFLOAT, L"Static Float"},
    {IDS_CLASS_STEPFLOAT, L"Step Float"},
    {IDS_CLASS_MSGCHECKER, L"MsgChecker"},
    {IDS_CLASS_STRETCHCONSTRAINT, L"Stretch Constraint"},
    {IDS_CLASS_AIMCONSTRAINT, L"Aim Constraint"},
    {IDS_CLASS_FLOATEXPOSETM, L"Float Expose TM"},
    {IDS_CLASS_FLOATCONNECTION, L"Float Connection"},
    {IDS_CLASS_SCALECONSTRAINT, L"Scale Constraint"},
    {IDS_CLASS_TRANSFORMCONSTRAINT, L"Transform Constraint"},
    {IDS_CLASS_STATICPOSITION, L"Static Position"},
    {IDS_CLASS_STATICROTATION, L"Static Rotation"},
    {IDS_CLASS_STATICSCALE, L"Static Scale"},
    {IDS_CLASS_STATICTRANSFORM, L"Static Transform"},
    {IDS_CLASS_CURVEIKCONTROL, L"CurveIK Control"},
    {IDS_CLASS_CURVEIKCHAIN, L"CurveIK Chain"},
    {IDS_CLASS_CONTROLHELPER, L"Control Helper"},
    {IDS_CLASS_UIPANEL, L"UI Panel"},
    {IDS_CLASS_UIGROUP, L"UIGroup"},
    {IDS_CLASS_UIIMAGE, L"UIImage"},
    {IDS_CLASS_UIPICKER, L"UIPicker"},
    {IDS_CLASS_UIVISIBILITY, L"UIVisibility"},
    {IDS_CLASS_UITOGGLE, L"UIToggle"},
    {IDS_CLASS_UISLIDER, L"UISlider"},
    {IDS_CLASS_UI2DSLIDER, L"UI2DSlider"},
    {IDS_CLASS_UISPINNER, L"UISpinner"},
    {IDS_CLASS_UI2DSPINNER, L"UI2DSpinner"},
    {IDS_CLASS_UIPANELHOLDER, L"UIPanel Holder"},
    {IDS_CLASS_RIG, L"Rig"},
    {IDS_CLASS_IKFKCHAIN, L"IKFK Chain"},
    {IDS_CLASS_IKFKCONTROL, L"IKFK Control"},
    {IDS_CLASS_IKFKLINK, L"IKFK Link"},
    {IDS_CLASS_PARENTCONSTRAINT, L"Parent Constraint"},
    {IDS_CLASS_ROTATIONSPACE, L"Rotation Space"},
    {IDS_CLASS_POSEKIT, L"Pose Kit"},
    {IDS_CLASS_POSEKITHOLDER, L"Pose Kit Holder"},
    {IDS_CLASS_LIMBATTRIB, L"LimbAttrib"},
    {IDS_CLASS_CURVEATTRIB, L"CurveAttrib"},
    {IDS_CLASS_HEADATTRIB, L"HeadAttrib"},
    {IDS_CLASS_FOOTATTRIB, L"FootAttrib"},
    {IDS_CLASS_LINKATTRIB, L"LinkAttrib"},
    {IDS_CLASS_FLOATOPERATION, L"Float Operation"},
    {IDS_CLASS_FLOATWAVE, L"Float Wave"},
    {IDS_CLASS_RIGCONTROL, L"Rig Transform"},
    {IDS_CLASS_POSITIONCONNECTION, L"Position Connection"},
    {IDS_CLASS_ROTATIONCONNECTION, L"Rotation Connection"},
    {IDS_CLASS_SCALECONNECTION, L"Scale Connection"},
    {IDS_CLASS_MIRRORMORPH, L"Mirror Morph"},
    {IDS_CLASS_CORRECTIVEMORPH, L"CorrectiveMorph"},
    {IDS_CLASS_DYNAMICS, L"Dynamics"},
    {IDS_CLASS_ANIMATIONMANAGERMOD, L"Animation Manager"},
    {IDS_CLASS_ROOTATTRIB, L"RootAttrib"},
    {IDS_CLASS_ROOTCONSTRAINT, L"Root Constraint"},
    {IDS_CLASS_TWISTPOSESFLOAT, L"Twist Poses Float"},
    {IDS_CLASS_TWISTPOSESROTATION, L"Twist Poses Rotation"},
    {IDS_CLASS_UILABEL, L"UI Label"},
    {IDS_CLASS_DUMMYFLOAT, L"Dummy Float"},
    {IDS_CLASS_DUMMYROTATION, L"Dummy Rotation"},
    {IDS_CLASS_ANIMATIONLAYERS, L"Animation Layers"},
    {IDS_CLASS_FLOATLAYERS, L"Float Layers"},
    {IDS_CLASS_POSITIONLAYERS, L"Position Layers"},
    {IDS_CLASS_ROTATIONLAYERS, L"Rotation Layers"},
    {IDS_CLASS_SCALELAYERS, L"Scale Layers"},
    {IDS_CLASS_CONTROLSHAPE, L"Control Shape"},
    {IDS_CLASS_IKFKDISPLAYMOD, L"IKFK Display"},
    {IDS_CLASS_ANIMLAYERSLOCALWEIGHTS, L"Animation Layers Local Weights"},
    {IDS_CLASS_ROTATIONXYZ, L"Rotation XYZ"},
    {IDS_CLASS_FBXEXPORTER, L"Kinetrope FBX Exporter"},
    {IDS_CLASS_FBXIMPORTER, L"Kinetrope FBX Importer"},

    {IDS_VERTICAL_OFFSET, L"Vertical Offset"},

    {IDS_SHAPES_TYPE, L"Helper Type"},
    {IDS_SHAPES_GIZMO, L"Gizmo"},
    {IDS_SHAPES_UNIFORM, L"Uniform"},
    {IDS_SHAPES_SIZE, L"Size"},
    {IDS_SHAPES_LENGTH, L"Length"},
    {IDS_SHAPES_WIDTH, L"Width"},
    {IDS_SHAPES_HEIGHT, L"Height"},
    {IDS_SHAPES_AXIS, L"Axis"},
    {IDS_SHAPES_THICKNESS, L"Thickness"},
    {IDS_SHAPES_CORNER, L"Corner"},
    {IDS_SHAPES_STEPS, L"Steps"},
    {IDS_SHAPES_WARP_AMOUNT, L"Warp Amount"},
    {IDS_SHAPES_WARP_AXIS, L"Warp Axis"},
    {IDS_SHAPES_OFFSET_LINE, L"Offset Line"},
    {IDS_SHAPES_FACE_CAMERA, L"Face Camera"},
    {IDS_SHAPES_CONSTANT_SCREEN_SIZE, L"Constant Screen Size"},
    {IDS_SHAPES_DRAW_ON_TOP, L"Draw On Top"},
    {IDS_SHAPES_SELECTOR_ACTIVE, L"Selector Active"},
    {IDS_SHAPES_SELECTOR_NODE, L"Selector Node"},
    {IDS_SHAPES_SELECTOR_IGNORE_BACKFACING, L"Selector Ignore Backfacing"},
    {IDS_SHAPES_SELECTOR_USE_WIRE_COLOR, L"Selector Use Wire Color"},
    {IDS_SHAPES_SELECTOR_COLOR, L"Selector Color"},
    {IDS_SHAPES_SELECTOR_SEL_OPACITY, L"Selector Sel Opacity"},
    {IDS_SHAPES_SELECTOR_UNSEL_OPACITY, L"Use Position"},
    {IDS_SHAPES_SELECTOR_PUSH_VALUE, L"Selector Push Value"},
    {IDS_SHAPES_SCALE, L"Scale"},
    {IDS_SHAPES_NONE, L"None"},

    // Constraints.
    {IDS_PARENT_WEIGHT, L"Parent Weight"},
    {IDS_PARENT_LIST, L"Parent List"},
    {IDS_PARENT_RELATIVE, L"Parent Constraint Relative"},
    {IDS_OFFSET_LIST, L"Offset List"},
    {IDS_PARENT_WEIGHT_CHANGE, L"Parent Weight Change"},
    {IDS_CONSTRAINT_CHANGE, L"Constraint Change"},
    {IDS_PARENT_CONSTRAINT_ROLLUP, L"Parent Constraint"},
    {IDS_SCALE_WEIGHT, L"Scale Weight"},
    {IDS_SCALE_LIST, L"Scale List"},
    {IDS_SCALE_RELATIVE, L"Scale Relative"},
    {IDS_LOCAL_WORLD, L"Local World"},
    {IDS_TRANSFORM_WEIGHT, L"Transform Weight"},
    {IDS_TRANSFORM_LIST, L"Transform List"},
    {IDS_TRANSFORM_WEIGHT_UI, L"Transform Weight UI"},
    {IDS_TARGET_NODE, L"Target Node"},
    {IDS_USE_TARGET, L"Use Target"},
    {IDS_AIM_AXIS, L"Aim Axis"},
    {IDS_AIM_AXIS_FLIP, L"Aim Axis Flip"},
    {IDS_UP_AXIS, L"Up Axis"},
    {IDS_UP_AXIS_FLIP, L"Up Axis Flip"},
    {IDS_ALIGN_TYPE, L"Align Type"},
    {IDS_ALIGN_NODE, L"Align Node"},
    {IDS_VIEWLINE_LENGTH, L"Viewline Length"},
    {IDS_START, L"Start"},
    {IDS_USE_START, L"Use Start"},
    {IDS_END, L"End"},
    {IDS_USE_END, L"Use End"},
    {IDS_ALIGN, L"Align"},
    {IDS_INHERIT_SCALE, L"Inherit Scale"},
    {IDS_STRETCH_SCALE_ACTIVE, L"Stretch Scale Active"},
    {IDS_STRETCH, L"Stretch"},
    {IDS_SQUASH, L"Squash"},
    {IDS_LENGTH, L"Length"},
    {IDS_TARGET, L"Target"},
    {IDS_INITIAL_TARGET_OFFSET, L"Initial Target Offset"},
    {IDS_INITIAL_TARGET_TM, L"Initial Target TM"},
    {IDS_VERTICAL_AXIS, L"Vertical Axis"},
    {IDS_FOLLOW_HORIZONTAL, L"Follow Horizontal"},
    {IDS_FOLLOW_VERTICAL, L"Follow Vertical"},
    {IDS_FOLLOW_TURNING, L"Follow Turning"},
    {IDS_HEIGHT_OFFSET, L"Height Offset"},
    {IDS_GROUND_OFFSET, L"Ground Offset"},
    {IDS_USE_GROUND, L"Use Ground"},
    {IDS_WEIGHT, L"Weight"},
    {IDS_RELATIVE, L"Relative"},
    {IDS_INITIAL_OFFSET, L"Initial Offset"},
    {IDS_RESET_LENGTH, L"Reset Length"},

    // Connections and float operators.
    {IDS_TRACK_SUBANIM, L"Track SubAnim"},
    {IDS_TWO_WAY, L"Two Way"},
    {IDS_CLAMP, L"Clamp"},
    {IDS_TRANSFORM, L"Transform"},
    {IDS_OFFSET, L"Offset"},
    {IDS_CONN_WEIGHT, L"Weight"},
    {IDS_INPUT_MIN, L"Input Min"},
    {IDS_INPUT_MAX, L"Input Max"},
    {IDS_OUTPUT_MIN, L"Output Min"},
    {IDS_OUTPUT_MAX, L"Output Max"},
    {IDS_CURVE_CTRL, L"Curve Ctrl"},
    {IDS_USE_TIME_OFFSET, L"Use Time Offset"},
    {IDS_TIME_OFFSET, L"Time Offset"},
    {IDS_USE_WEIGHT, L"Use Weight"},
    {IDS_WEIGHT_X, L"Weight X"},
    {IDS_WEIGHT_Y, L"Weight Y"},
    {IDS_WEIGHT_Z, L"Weight Z"},
    {IDS_CIRCULAR_DEPENDENCY, L"Circular Dependency"},
    {IDS_CANT_ASSIGN_CONTROLLER, L"\"Can't Assign Controller\""},
    {IDS_FLOAT_CONNECTION_CHANGE, L"Float Connection Change"},
    {IDS_POSITION_CONNECTION_CHANGE, L"Position Connection Change"},
    {IDS_ROTATION_CONNECTION_CHANGE, L"Rotation Connection Change"},
    {IDS_SCALE_CONNECTION_CHANGE, L"Scale Connection Change"},
    {IDS_A_VALUE, L"A Value"},
    {IDS_B_VALUE, L"B Value"},
    {IDS_OPERATION_VAL, L"Operation Val"},
    {IDS_NEGATIVE, L"Negative"},
    {IDS_AMPLITUDE, L"Amplitude"},
    {IDS_WAVE_LENGTH, L"Wave Length"},
    {IDS_PHASE, L"Phase"},
    {IDS_TYPE, L"Type"},
    {IDS_ALIGNMENT, L"Alignment"},
    {IDS_EXPOSE_NODE, L"Expose Node"},
    {IDS_LOCAL_REFERENCE_NODE, L"Local Reference Node"},
    {IDS_USE_PARENT, L"Use Parent"},
    {IDS_AXIS, L"Axis"},
    {IDS_AXIS_ORDER, L"Axis Order"},
    {IDS_EXPOSE_LOCAL_WORLD, L"Local World"},
    {IDS_FLOAT_OPERATION_CHANGE, L"Float Operation Change"},
    {IDS_FLOAT_WAVE_CHANGE, L"Float Wave Change"},
    {IDS_FLOAT_EXPOSE_TM_CHANGE, L"Float Expose TM Change"},

    // Animation manager modifier.
    {IDS_TAGS, L"Tags"},
    {IDS_ROOT, L"Root"},
    {IDS_MIRROR_POS_AXIS, L"Mirror Pos Axis"},
    {IDS_MIRROR_ROT_AXIS, L"Mirror Rot Axis"},
    {IDS_USE_MIRROR_POS, L"Mirror Position"},
    {IDS_USE_MIRROR_ROT, L"Mirror Rotation"},
    {IDS_USE_MIRROR_NODE, L"Use Mirror Node"},
    {IDS_MIRROR_NODE, L"Mirror Node"},
    {IDS_USE_RETARGET_SIZE, L"Use Retarget Size"},
    {IDS_RETARGET_SIZE, L"Retarget Size"},
    {IDS_SELECT_MIRROR_NODE, L"Select Mirror Node"},

    // File dialogs.
    {IDS_ALL_FILES, L"All Files (*.*)"},
};

HINSTANCE gModuleInstance = nullptr;
MCHAR gBuffer[kStringBufferSize];

// Sorted view of the table for lookups, built on first use so the table itself can
// stay in the order people read it.
const std::vector<StringEntry>& SortedEntries() {
    static const std::vector<StringEntry> sorted = [] {
        std::vector<StringEntry> v(std::begin(kStrings), std::end(kStrings));
        std::stable_sort(v.begin(), v.end(), [](const StringEntry& a, const StringEntry& b) { return a.id < b.id; });
        return v;
    }();
    return sorted;
}

}  // namespace

const MCHAR* GetString(int id) {
    if (!gModuleInstance) return nullptr;
    const auto& entries = SortedEntries();
    auto it = std::lower_bound(entries.begin(), entries.end(), id,
                               [](const StringEntry& e, int key) { return e.id < key; });
    if (it == entries.end() || it->id != id) return nullptr;
    const size_t length = std::min(std::wcslen(it->text), static_cast<size_t>(kStringBufferSize - 1));
    std::wmemcpy(gBuffer, it->text, length);
    gBuffer[length] = L'\0';
    return gBuffer;
}

MSTR GetStringOr(int id, const MCHAR* fallback) {
    const MCHAR* s = GetString(id);
    return MSTR(s ? s : fallback);
}

void SetModuleInstance(HINSTANCE instance) { gModuleInstance = instance; }

HINSTANCE GetModuleInstance() { return gModuleInstance; }

std::span<const StringEntry> StringTableEntries() { return kStrings; }

}  // namespace kt
