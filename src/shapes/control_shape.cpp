#include "shapes/control_shape.h"

#include "frame/class_registry.h"
#include "iosave.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "shapes/gizmo_block.h"

namespace kt {

namespace {

RegistryClassDesc* ShapeDesc() { return ClassRegistry::Find(SHAPE_CLASS_ID, CONTROLSHAPE_CLASS_ID); }

ClassFactoryRegistrar shapeRegistrar(SHAPE_CLASS_ID, CONTROLSHAPE_CLASS_ID,
                                     [](BOOL loading) -> void* { return new ControlShape(loading); });

ParamBlockDesc2& ShapeBlock() {
    static ParamBlockDesc2* desc = [] {
        auto* d = new ParamBlockDesc2(0, L"params", 0, ShapeDesc(), P_AUTO_CONSTRUCT | P_VERSION, 1,
                                      ControlShape::kPBlockRef, p_end);
        DefineGizmoParams(*d, nullptr);
        d->AddParam(pb_scale, L"scale", TYPE_PCNT_FRAC, P_ANIMATABLE, IDS_SHAPES_SCALE);
        d->SetDefault(pb_scale, 1.0f);
        d->SetRange(pb_scale, 0.0f, 1e30f);
        return d;
    }();
    return *desc;
}
const bool shapeBlockReady = (ShapeBlock(), true);

FPInterfaceDesc& ShapeInterface() {
    static FPInterfaceDesc* desc = [] {
        auto* d = new FPInterfaceDesc(ICONTROLSHAPE_INTERFACE_ID, L"interface", 0, ShapeDesc(), FP_MIXIN, p_end);
        d->AppendFunction(IControlShape::fnResetGizmo, L"ResetGizmo", TYPE_VOID);
        d->AppendProperty(IControlShape::fnGetType, IControlShape::fnSetType, L"type", TYPE_ENUM,
                          IControlShape::enumType);
        d->AppendProperty(IControlShape::fnGetGizmoPos, IControlShape::fnSetGizmoPos, L"gizmoPos", TYPE_POINT3_BV);
        d->AppendProperty(IControlShape::fnGetGizmoTM, IControlShape::fnSetGizmoTM, L"gizmoTM", TYPE_MATRIX3_BV);
        d->AppendProperty(IControlShape::fnGetGizmoRot, IControlShape::fnSetGizmoRot, L"gizmoRot", TYPE_QUAT_BV);
        d->AppendProperty(IControlShape::fnGetGizmoScale, IControlShape::fnSetGizmoScale, L"gizmoScale",
                          TYPE_POINT3_BV);
        FPEnum& e = d->AppendEnum(IControlShape::enumType, {});
        for (int t = 0; t < kNumGizmoTypes; ++t) e.Add(GizmoScriptName(t), t);
        return d;
    }();
    return *desc;
}
const bool shapeInterfaceReady = (ShapeInterface(), true);

}  // namespace

FPInterfaceDesc* IControlShape::GetDesc() { return &ShapeInterface(); }

ControlShape::ControlShape(BOOL loading) {
    if (!loading) ReplaceReference(kPBlockRef, CreateParameterBlock2(&ShapeBlock(), this));
}

MSTR ControlShape::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_CONTROLSHAPE) : nullptr;
    return MSTR(s ? s : L"Control Shape");
}

MSTR ControlShape::SubAnimName(int i, bool localized) {
    (void)localized;
    return i == 0 ? MSTR(L"Parameters") : MSTR();
}

void ControlShape::SetReference(int i, RefTargetHandle rtarg) {
    if (i == kPBlockRef) {
        pblock = static_cast<IParamBlock2*>(rtarg);
        shapeValid_ = NEVER;
    }
}

RefResult ControlShape::NotifyRefChanged(const Interval&, RefTargetHandle hTarget, PartID&, RefMessage message, BOOL) {
    if (hTarget == pblock && message == REFMSG_CHANGE) shapeValid_ = NEVER;
    return REF_SUCCEED;
}

ReferenceTarget* ControlShape::Clone(RemapDir& remap) {
    auto* c = new ControlShape(TRUE);
    c->ReplaceReference(kPBlockRef, remap.CloneRef(pblock));
    BaseClone(this, c, remap);
    return c;
}

BaseInterface* ControlShape::GetInterface(Interface_ID id) {
    if (id == ICONTROLSHAPE_INTERFACE_ID) return static_cast<IControlShape*>(this);
    return SplineShape::GetInterface(id);
}

IOResult ControlShape::Load(ILoad* iload) {
    shapeValid_ = NEVER;
    IOResult r;
    while ((r = iload->OpenChunk()) == IO_OK) iload->CloseChunk();
    return r == IO_ERROR ? IO_ERROR : IO_OK;
}

void ControlShape::BuildShape(TimeValue t, Interval& valid) {
    Interval v = FOREVER;
    const GizmoParams p = ReadGizmoParams(pblock, t, v);
    const float scale = pblock ? pblock->GetFloat(pb_scale, t, v) : 1.0f;
    const Matrix3 tm = (pblock ? pblock->GetMatrix3(pb_gizmo, t, v) : Matrix3()) * ScaleMatrix(Point3(scale, scale, scale));
    BuildGizmo(p, lines_);
    shape.NewShape();
    for (const GizmoStrip& s : lines_.strips) {
        Spline3D* spline = shape.NewSpline();
        for (int i = 0; i < s.count; ++i) {
            const Point3 q = lines_.points[size_t(s.first + i)] * tm;
            spline->AddKnot(SplineKnot(KTYPE_CORNER, LTYPE_LINE, q, q, q));
        }
        spline->SetClosed(s.closed ? 1 : 0);
        spline->ComputeBezPoints();
    }
    shapeValid_ = v;
    valid &= v;
}

void ControlShape::UpdateShape(TimeValue t) {
    if (shapeValid_.InInterval(t)) return;
    Interval v = FOREVER;
    BuildShape(t, v);
}

ObjectState ControlShape::Eval(TimeValue t) {
    UpdateShape(t);
    return ObjectState(this);
}

Interval ControlShape::ChannelValidity(TimeValue t, int chan) {
    UpdateShape(t);
    return chan == GEOM_CHAN_NUM || chan == TOPO_CHAN_NUM ? shapeValid_ : FOREVER;
}

int ControlShape::NumberOfCurves(TimeValue t) {
    UpdateShape(t);
    return SplineShape::NumberOfCurves(t);
}
BOOL ControlShape::CurveClosed(TimeValue t, int curve) {
    UpdateShape(t);
    return SplineShape::CurveClosed(t, curve);
}
Point3 ControlShape::InterpCurve3D(TimeValue t, int curve, float param, int ptype) {
    UpdateShape(t);
    return SplineShape::InterpCurve3D(t, curve, param, ptype);
}
Point3 ControlShape::TangentCurve3D(TimeValue t, int curve, float param, int ptype) {
    UpdateShape(t);
    return SplineShape::TangentCurve3D(t, curve, param, ptype);
}
float ControlShape::LengthOfCurve(TimeValue t, int curve) {
    UpdateShape(t);
    return SplineShape::LengthOfCurve(t, curve);
}
int ControlShape::NumberOfPieces(TimeValue t, int curve) {
    UpdateShape(t);
    return SplineShape::NumberOfPieces(t, curve);
}
Point3 ControlShape::InterpPiece3D(TimeValue t, int curve, int piece, float param, int ptype) {
    UpdateShape(t);
    return SplineShape::InterpPiece3D(t, curve, piece, param, ptype);
}
void ControlShape::GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) {
    UpdateShape(t);
    SplineShape::GetLocalBoundBox(t, inode, vpt, box);
}

}  // namespace kt
