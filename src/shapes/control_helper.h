// ControlHelper: the helper an animator grabs. It draws a gizmo of the catalogue
// (gizmo_catalogue.h) through its `gizmo` matrix, and may carry a selector: faces of another
// mesh node that act as a click target for this control.
//
// Drawing transform (MakeDrawTM): the node's object matrix; with face_camera its rotation is
// replaced by the view's (Z to the viewer, Y up on screen, the node's scale and position
// kept); with constant_screen_size it is pre-scaled by the view's screen scale at the pivot
// (NonScalingObjectSize * GetVPWorldWidth / 360, so size reads as pixel-like units); `gizmo`
// premultiplies it. The lines are cached with the validity of the parameters they read.
//
// Sub-object levels: 1 "Gizmo" (the standard move, rotate and scale tools edit `gizmo`, see
// ModBox in gizmo_modes.h), 2 "Select Polygons" (clicks on the selector node's faces toggle
// them in the selection).
#pragma once

#include <vector>

#include "bitarray.h"
#include "ifnpub.h"
#include "iparamb2.h"
#include "mnmesh.h"
#include "object.h"
#include "shapes/gizmo_catalogue.h"

class GraphicsWindow;

namespace kt {

constexpr Class_ID CONTROLHELPER_CLASS_ID(0x45596D57, 0x1E847B30);
constexpr Interface_ID ICONTROLHELPER_INTERFACE_ID(0x45596D57, 0x1E847B30);

// Sub-object levels.
constexpr int kGizmoLevel = 1;
constexpr int kSelectPolygonsLevel = 2;

// The published face: controlHelper.interface.ResetGizmo() and the gizmo properties.
class IControlHelper : public FPMixinInterface {
public:
    enum FunctionIDs {
        fnResetGizmo = 0,
        fnGetType,
        fnSetType,
        fnGetGizmoPos,
        fnSetGizmoPos,
        fnGetGizmoRot,
        fnSetGizmoRot,
        fnGetGizmoScale,
        fnSetGizmoScale,
        fnGetGizmoTM,
        fnSetGizmoTM,
        fnGetFaceSel,
        fnSetFaceSel,
    };
    enum EnumIDs { enumType = 0 };

    // `gizmo` back to identity; one undo step.
    virtual void ResetGizmo() = 0;
    virtual int GetType() = 0;
    virtual void SetType(int type) = 0;
    // Parts of `gizmo`: translation, rotation, scale (the stretch of its decomposition).
    // Setting one keeps the others.
    virtual Point3 GetGizmoPos() = 0;
    virtual void SetGizmoPos(Point3 p) = 0;
    virtual Quat GetGizmoRot() = 0;
    virtual void SetGizmoRot(Quat q) = 0;
    virtual Point3 GetGizmoScale() = 0;
    virtual void SetGizmoScale(Point3 s) = 0;
    virtual Matrix3 GetGizmoTM() = 0;
    virtual void SetGizmoTM(Matrix3 m) = 0;
    virtual BitArray GetFaceSel() = 0;
    virtual void SetFaceSel(BitArray sel) = 0;

    FPInterfaceDesc* GetDesc() override;

    BEGIN_FUNCTION_MAP
    VFN_0(fnResetGizmo, ResetGizmo)
    PROP_FNS(fnGetType, GetType, fnSetType, SetType, TYPE_ENUM)
    PROP_FNS(fnGetGizmoPos, GetGizmoPos, fnSetGizmoPos, SetGizmoPos, TYPE_POINT3_BV)
    PROP_FNS(fnGetGizmoRot, GetGizmoRot, fnSetGizmoRot, SetGizmoRot, TYPE_QUAT_BV)
    PROP_FNS(fnGetGizmoScale, GetGizmoScale, fnSetGizmoScale, SetGizmoScale, TYPE_POINT3_BV)
    PROP_FNS(fnGetGizmoTM, GetGizmoTM, fnSetGizmoTM, SetGizmoTM, TYPE_MATRIX3_BV)
    PROP_FNS(fnGetFaceSel, GetFaceSel, fnSetFaceSel, SetFaceSel, TYPE_BITARRAY_BV)
    END_FUNCTION_MAP
};

class ControlHelper : public HelperObject, public IControlHelper {
public:
    static constexpr int kPBlockRef = 0;

    explicit ControlHelper(BOOL loading = FALSE);
    ~ControlHelper() override;

    // ---- Identity and references.
    Class_ID ClassID() override { return CONTROLHELPER_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    void InitNodeName(MSTR& s) override { s = L"Control"; }
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
    // The block travels through the references; this adds the selector's face selection.
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

    // ---- Viewport.
    int Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) override;
    int HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) override;
    // The lines' box through `gizmo` (and the screen-size factor when vpt and inode are given).
    void GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) override;
    // The lines' box through the whole drawing transform.
    void GetWorldBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) override;
    Interval ObjectValidity(TimeValue t) override;
    // Object to world for drawing (see the header comment); vpt may be null (no camera terms).
    Matrix3 MakeDrawTM(TimeValue t, INode* inode, ViewExp* vpt);

    // ---- Sub-object levels (gizmo_modes.h).
    int NumSubObjTypes() override { return 2; }
    const MCHAR* GetSubObjTypeName(int i) override;
    void ActivateSubobjSel(int level, XFormModes& modes) override;
    // The tool's matrix (in tmAxis space) taken into object space through partm and
    // multiplied into `gizmo`; TransformFinish tells dependents.
    void Move(TimeValue t, Matrix3& partm, Matrix3& tmAxis, Point3& val, BOOL localOrigin = FALSE) override;
    void Rotate(TimeValue t, Matrix3& partm, Matrix3& tmAxis, Quat& val, BOOL localOrigin = FALSE) override;
    void Scale(TimeValue t, Matrix3& partm, Matrix3& tmAxis, Point3& val, BOOL localOrigin = FALSE) override;
    void TransformFinish(TimeValue t) override;
    int SubObjectLevel() const { return level_; }
    bool SelectorPickMode() const { return level_ == kSelectPolygonsLevel; }

    // ---- Lines: the figure at t in object space (before `gizmo`), cached.
    const GizmoLines& Lines(TimeValue t);

    // ---- Selector.
    INode* GetSelectorNode();
    // The selected faces, clipped to the selector mesh's face count when it is known.
    const BitArray& FaceSelection() const { return faceSel_; }
    // Replaces the selection (undoable while holding).
    void SetFaceSelection(const BitArray& sel);
    // The selector node's mesh at t (its object space), or null without a usable node.
    const MNMesh* SelectorMesh(TimeValue t);
    // The helper's own node (the first node whose object is this helper), or null.
    INode* OwnerNode();

    // ---- IControlHelper.
    void ResetGizmo() override;
    int GetType() override;
    void SetType(int type) override;
    Point3 GetGizmoPos() override;
    void SetGizmoPos(Point3 p) override;
    Quat GetGizmoRot() override;
    void SetGizmoRot(Quat q) override;
    Point3 GetGizmoScale() override;
    void SetGizmoScale(Point3 s) override;
    Matrix3 GetGizmoTM() override;
    void SetGizmoTM(Matrix3 m) override;
    BitArray GetFaceSel() override { return faceSel_; }
    void SetFaceSel(BitArray sel) override { SetFaceSelection(sel); }

    IParamBlock2* pblock = nullptr;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;

private:
    friend class FaceSelRestore;
    void DrawLines(GraphicsWindow* gw, TimeValue t);
    // Draws (or, picking, tests) the selector's faces; pick mode tests every face, answers the
    // nearest hit face (else -1) and, when hits is given, every face hit.
    int DrawSelector(TimeValue t, INode* inode, ViewExp* vpt, bool picking, bool allFaces,
                     std::vector<int>* hits = nullptr);
    void ApplyToGizmo(TimeValue t, const Matrix3& partm, const Matrix3& tmAxis, const Matrix3& tool,
                      BOOL localOrigin);

    GizmoLines lines_;
    Interval linesValid_ = NEVER;
    BitArray faceSel_;
    MNMesh selMesh_;
    std::vector<Point3> selNormals_;
    Interval selValid_ = NEVER;
    INode* selMeshNode_ = nullptr;
    int level_ = 0;
};

}  // namespace kt
