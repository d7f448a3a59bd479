// The Bezier, TCB and Linear controller classes.
#include "controllers_internal.h"
#include "keyframe_control.h"

namespace {
int g_defaultIn = BEZKEY_AUTO;
int g_defaultOut = BEZKEY_AUTO;
} // namespace

void GetBezierDefaultTangentType(int& in, int& out) {
    in = g_defaultIn;
    out = g_defaultOut;
}

void SetBezierDefaultTangentType(int in, int out) {
    if (in >= 0 && in < BEZKEY_NUMTYPES) g_defaultIn = in;
    if (out >= 0 && out < BEZKEY_NUMTYPES) g_defaultOut = out;
}

namespace host::ctrl {

namespace {
constexpr KeyframeInfo kBezFloat{CTRL_FLOAT_CLASS_ID, Class_ID(HYBRIDINTERP_FLOAT_CLASS_ID, 0)};
constexpr KeyframeInfo kBezPosition{CTRL_POSITION_CLASS_ID, Class_ID(HYBRIDINTERP_POSITION_CLASS_ID, 0)};
constexpr KeyframeInfo kBezPoint3{CTRL_POINT3_CLASS_ID, Class_ID(HYBRIDINTERP_POINT3_CLASS_ID, 0)};
constexpr KeyframeInfo kBezColor{CTRL_POINT3_CLASS_ID, Class_ID(HYBRIDINTERP_COLOR_CLASS_ID, 0)};
constexpr KeyframeInfo kBezScale{CTRL_SCALE_CLASS_ID, Class_ID(HYBRIDINTERP_SCALE_CLASS_ID, 0)};
constexpr KeyframeInfo kTCBFloat{CTRL_FLOAT_CLASS_ID, Class_ID(TCBINTERP_FLOAT_CLASS_ID, 0)};
constexpr KeyframeInfo kTCBPosition{CTRL_POSITION_CLASS_ID, Class_ID(TCBINTERP_POSITION_CLASS_ID, 0)};
constexpr KeyframeInfo kTCBPoint3{CTRL_POINT3_CLASS_ID, Class_ID(TCBINTERP_POINT3_CLASS_ID, 0)};
constexpr KeyframeInfo kTCBRotation{CTRL_ROTATION_CLASS_ID, Class_ID(TCBINTERP_ROTATION_CLASS_ID, 0)};
constexpr KeyframeInfo kTCBScale{CTRL_SCALE_CLASS_ID, Class_ID(TCBINTERP_SCALE_CLASS_ID, 0)};
constexpr KeyframeInfo kLinFloat{CTRL_FLOAT_CLASS_ID, Class_ID(LININTERP_FLOAT_CLASS_ID, 0)};
constexpr KeyframeInfo kLinPosition{CTRL_POSITION_CLASS_ID, Class_ID(LININTERP_POSITION_CLASS_ID, 0)};
constexpr KeyframeInfo kLinRotation{CTRL_ROTATION_CLASS_ID, Class_ID(LININTERP_ROTATION_CLASS_ID, 0)};
constexpr KeyframeInfo kLinScale{CTRL_SCALE_CLASS_ID, Class_ID(LININTERP_SCALE_CLASS_ID, 0)};
} // namespace

using BezierFloat = KeyframeControl<BezierEngine<IBezFloatKey, float>, kBezFloat>;
using BezierPosition = KeyframeControl<BezierEngine<IBezPoint3Key, Point3>, kBezPosition>;
using BezierPoint3 = KeyframeControl<BezierEngine<IBezPoint3Key, Point3>, kBezPoint3>;
using BezierColor = KeyframeControl<BezierEngine<IBezPoint3Key, Point3>, kBezColor>;
using BezierScale = KeyframeControl<BezierEngine<IBezScaleKey, ScaleValue>, kBezScale>;
using TCBFloat = KeyframeControl<TCBEngine<ITCBFloatKey, float>, kTCBFloat>;
using TCBPosition = KeyframeControl<TCBEngine<ITCBPoint3Key, Point3>, kTCBPosition>;
using TCBPoint3 = KeyframeControl<TCBEngine<ITCBPoint3Key, Point3>, kTCBPoint3>;
using TCBRotation = KeyframeControl<TCBRotEngine, kTCBRotation>;
using TCBScale = KeyframeControl<TCBEngine<ITCBScaleKey, ScaleValue>, kTCBScale>;
using LinearFloat = KeyframeControl<LinearEngine<ILinFloatKey, float>, kLinFloat>;
using LinearPosition = KeyframeControl<LinearEngine<ILinPoint3Key, Point3>, kLinPosition>;
using LinearRotation = KeyframeControl<LinRotEngine, kLinRotation>;
using LinearScale = KeyframeControl<LinearEngine<ILinScaleKey, ScaleValue>, kLinScale>;

Control* NewBezierFloat() { return new BezierFloat(); }
Control* NewBezierPoint3() { return new BezierPoint3(); }
Control* NewBezierColor() { return new BezierColor(); }
Control* NewBezierPosition() { return new BezierPosition(); }
Control* NewBezierScale() { return new BezierScale(); }

void RegisterKeyframeClasses(host::ClassDirectory& dir) {
    ClassDesc* bezFloat = KeepDesc(new StdClassDesc<BezierFloat>(L"Bezier Float", L"bezier_float",
                                                                 kBezFloat.superClass, kBezFloat.classID));
    ClassDesc* bezPos = KeepDesc(new StdClassDesc<BezierPosition>(
        L"Bezier Position", L"bezier_position", kBezPosition.superClass, kBezPosition.classID));
    ClassDesc* bezP3 = KeepDesc(new StdClassDesc<BezierPoint3>(L"Bezier Point3", L"bezier_point3",
                                                               kBezPoint3.superClass, kBezPoint3.classID));
    ClassDesc* bezColor = KeepDesc(new StdClassDesc<BezierColor>(L"Bezier Color", L"bezier_color",
                                                                 kBezColor.superClass, kBezColor.classID));
    ClassDesc* bezScale = KeepDesc(new StdClassDesc<BezierScale>(L"Bezier Scale", L"bezier_scale",
                                                                 kBezScale.superClass, kBezScale.classID));
    ClassDesc* tcbFloat = KeepDesc(
        new StdClassDesc<TCBFloat>(L"TCB Float", L"tcb_float", kTCBFloat.superClass, kTCBFloat.classID));
    ClassDesc* tcbPos = KeepDesc(new StdClassDesc<TCBPosition>(
        L"TCB Position", L"tcb_position", kTCBPosition.superClass, kTCBPosition.classID));
    ClassDesc* tcbP3 = KeepDesc(
        new StdClassDesc<TCBPoint3>(L"TCB Point3", L"tcb_point3", kTCBPoint3.superClass, kTCBPoint3.classID));
    ClassDesc* tcbRot = KeepDesc(new StdClassDesc<TCBRotation>(
        L"TCB Rotation", L"tcb_rotation", kTCBRotation.superClass, kTCBRotation.classID));
    ClassDesc* tcbScale = KeepDesc(
        new StdClassDesc<TCBScale>(L"TCB Scale", L"tcb_scale", kTCBScale.superClass, kTCBScale.classID));
    ClassDesc* linFloat = KeepDesc(new StdClassDesc<LinearFloat>(L"Linear Float", L"linear_float",
                                                                 kLinFloat.superClass, kLinFloat.classID));
    ClassDesc* linPos = KeepDesc(new StdClassDesc<LinearPosition>(
        L"Linear Position", L"linear_position", kLinPosition.superClass, kLinPosition.classID));
    ClassDesc* linRot = KeepDesc(new StdClassDesc<LinearRotation>(
        L"Linear Rotation", L"linear_rotation", kLinRotation.superClass, kLinRotation.classID));
    ClassDesc* linScale = KeepDesc(new StdClassDesc<LinearScale>(L"Linear Scale", L"linear_scale",
                                                                 kLinScale.superClass, kLinScale.classID));
    ClassDesc* all[] = {bezFloat, bezPos, bezP3,    bezColor, bezScale, tcbFloat, tcbPos,
                        tcbP3,    tcbRot, tcbScale, linFloat, linPos,   linRot,   linScale};
    for (ClassDesc* cd : all)
        dir.AddClass(cd);
}

} // namespace host::ctrl
