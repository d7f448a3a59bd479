// ControlShape: the catalogue's figures as an editable spline shape, so that a rig control can
// be a real spline that modifiers and modelling take on. Each line strip of the figure is one
// spline of corner knots joined by straight segments; the figure is taken through `gizmo` and
// multiplied by `scale`. The splines are rebuilt when asked at a time outside their validity.
#pragma once

#include "ifnpub.h"
#include "iparamb2.h"
#include "shape.h"
#include "shapes/gizmo_block.h"
#include "shapes/gizmo_catalogue.h"

namespace kt {

constexpr Class_ID CONTROLSHAPE_CLASS_ID(0x45596D57, 0xED40C435);
constexpr Interface_ID ICONTROLSHAPE_INTERFACE_ID(0x45596D57, 0xED40C435);

class IControlShape : public FPMixinInterface {
public:
    enum FunctionIDs {
        fnResetGizmo = 0,
        fnGetType,
        fnSetType,
        fnGetGizmoPos,
        fnSetGizmoPos,
        fnGetGizmoTM,
        fnSetGizmoTM,
        fnGetGizmoRot,
        fnSetGizmoRot,
        fnGetGizmoScale,
        fnSetGizmoScale,
    };
    enum EnumIDs { enumType = 0 };

    virtual void ResetGizmo() = 0;
    virtual int GetType() = 0;
    virtual void SetType(int type) = 0;
    virtual Point3 GetGizmoPos() = 0;
    virtual void SetGizmoPos(Point3 p) = 0;
    virtual Matrix3 GetGizmoTM() = 0;
    virtual void SetGizmoTM(Matrix3 m) = 0;
    virtual Quat GetGizmoRot() = 0;
    virtual void SetGizmoRot(Quat q) = 0;
    virtual Point3 GetGizmoScale() = 0;
    virtual void SetGizmoScale(Point3 s) = 0;

    FPInterfaceDesc* GetDesc() override;

    BEGIN_FUNCTION_MAP
    VFN_0(fnResetGizmo, ResetGizmo)
    PROP_FNS(fnGetType, GetType, fnSetType, SetType, TYPE_ENUM)
    PROP_FNS(fnGetGizmoPos, GetGizmoPos, fnSetGizmoPos, SetGizmoPos, TYPE_POINT3_BV)
    PROP_FNS(fnGetGizmoTM, GetGizmoTM, fnSetGizmoTM, SetGizmoTM, TYPE_MATRIX3_BV)
    PROP_FNS(fnGetGizmoRot, GetGizmoRot, fnSetGizmoRot, SetGizmoRot, TYPE_QUAT_BV)
    PROP_FNS(fnGetGizmoScale, GetGizmoScale, fnSetGizmoScale, SetGizmoScale, TYPE_POINT3_BV)
    END_FUNCTION_MAP
};

class ControlShape : public SplineShape, public IControlShape {
public:
    static constexpr int kPBlockRef = 0;

    explicit ControlShape(BOOL loading = FALSE);

    Class_ID ClassID() override { return CONTROLSHAPE_CLASS_ID; }
    int IsSubClassOf(Class_ID classID) override { return classID == ClassID() || classID == splineShapeClassID; }
    MSTR ClassName(bool localized = true) const override;
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    void InitNodeName(MSTR& s) override { s = L"ControlShape"; }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override { return i == kPBlockRef ? pblock : nullptr; }
    int NumSubs() override { return 1; }
    Animatable* SubAnim(int i) override { return i == 0 ? pblock : nullptr; }
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override { return subNum == 0 ? kPBlockRef : -1; }
    int NumParamBlocks() override { return 1; }
    IParamBlock2* GetParamBlock(int i) override { return i == 0 ? pblock : nullptr; }
    IParamBlock2* GetParamBlockByID(BlockID id) override { return id == 0 ? pblock : nullptr; }
    RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID, RefMessage message,
                               BOOL propagate) override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    BaseInterface* GetInterface(Interface_ID id) override;
    // Everything lives in the block; the splines are rebuilt from it.
    IOResult Save(ISave* isave) override { (void)isave; return IO_OK; }
    IOResult Load(ILoad* iload) override;

    // Fills `shape` for t; valid is narrowed by every parameter read.
    void BuildShape(TimeValue t, Interval& valid);
    // BuildShape unless the splines hold for t.
    void UpdateShape(TimeValue t);

    ObjectState Eval(TimeValue t) override;
    Interval ChannelValidity(TimeValue t, int chan) override;
    int NumberOfCurves(TimeValue t) override;
    BOOL CurveClosed(TimeValue t, int curve) override;
    Point3 InterpCurve3D(TimeValue t, int curve, float param, int ptype = PARAM_SIMPLE) override;
    Point3 TangentCurve3D(TimeValue t, int curve, float param, int ptype = PARAM_SIMPLE) override;
    float LengthOfCurve(TimeValue t, int curve) override;
    int NumberOfPieces(TimeValue t, int curve) override;
    Point3 InterpPiece3D(TimeValue t, int curve, int piece, float param, int ptype = PARAM_SIMPLE) override;
    void GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) override;

    // ---- IControlShape.
    void ResetGizmo() override { ResetBlockGizmo(pblock); }
    int GetType() override { return BlockGizmoType(pblock); }
    void SetType(int type) override { SetBlockGizmoType(pblock, type); }
    Point3 GetGizmoPos() override { return GetGizmoTM().GetTrans(); }
    void SetGizmoPos(Point3 p) override { SetGizmoTM(WithGizmoPos(GetGizmoTM(), p)); }
    Matrix3 GetGizmoTM() override { return BlockGizmoTM(pblock); }
    void SetGizmoTM(Matrix3 m) override { SetBlockGizmoTM(pblock, m); }
    Quat GetGizmoRot() override { return GizmoRotation(GetGizmoTM()); }
    void SetGizmoRot(Quat q) override { SetGizmoTM(WithGizmoRotation(GetGizmoTM(), q)); }
    Point3 GetGizmoScale() override { return GizmoScale(GetGizmoTM()); }
    void SetGizmoScale(Point3 s) override { SetGizmoTM(WithGizmoScale(GetGizmoTM(), s)); }

    IParamBlock2* pblock = nullptr;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;

private:
    Interval shapeValid_ = NEVER;
    GizmoLines lines_;
};

}  // namespace kt
