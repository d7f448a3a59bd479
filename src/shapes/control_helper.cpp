#include "shapes/control_helper.h"

#include <algorithm>
#include <cmath>

#include "frame/class_registry.h"
#include "gfx.h"
#include "hold.h"
#include "inode.h"
#include "iosave.h"
#include "polyobj.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "shapes/gizmo_block.h"
#include "shapes/gizmo_modes.h"
#include "triobj.h"
#include "viewexp.h"

namespace kt {

namespace {

constexpr USHORT kFaceSelChunk = 0x0100;

RegistryClassDesc* HelperDesc() { return ClassRegistry::Find(HELPER_CLASS_ID, CONTROLHELPER_CLASS_ID); }

ClassFactoryRegistrar helperRegistrar(HELPER_CLASS_ID, CONTROLHELPER_CLASS_ID,
                                      [](BOOL loading) -> void* { return new ControlHelper(loading); });

// Refuses the helper's own node and any node that depends on the helper.
class SelectorNodeValidator : public PBValidator {
public:
    BOOL Validate(PB2Value& v) override { (void)v; return TRUE; }
    BOOL Validate(PB2Value& v, ReferenceMaker* owner, ParamID id, int tabIndex) override {
        (void)id;
        (void)tabIndex;
        auto* node = static_cast<INode*>(v.r);
        auto* helper = dynamic_cast<ControlHelper*>(owner);
        if (!node || !helper) return TRUE;
        if (node == helper->OwnerNode()) return FALSE;
        return helper->DependsOn(node) ? FALSE : TRUE;
    }
};
SelectorNodeValidator selectorValidator;

ParamBlockDesc2& HelperBlock() {
    static ParamBlockDesc2* desc = [] {
        auto* d = new ParamBlockDesc2(0, L"params", 0, HelperDesc(), P_AUTO_CONSTRUCT, ControlHelper::kPBlockRef, p_end);
        DefineGizmoParams(*d, &selectorValidator);
        return d;
    }();
    return *desc;
}
const bool helperBlockReady = (HelperBlock(), true);

FPInterfaceDesc& HelperInterface() {
    static FPInterfaceDesc* desc = [] {
        auto* d = new FPInterfaceDesc(ICONTROLHELPER_INTERFACE_ID, L"interface", 0, HelperDesc(), FP_MIXIN, p_end);
        d->AppendFunction(IControlHelper::fnResetGizmo, L"ResetGizmo", TYPE_VOID);
        d->AppendProperty(IControlHelper::fnGetType, IControlHelper::fnSetType, L"type", TYPE_ENUM,
                          IControlHelper::enumType);
        d->AppendProperty(IControlHelper::fnGetGizmoPos, IControlHelper::fnSetGizmoPos, L"gizmoPos", TYPE_POINT3_BV);
        d->AppendProperty(IControlHelper::fnGetGizmoRot, IControlHelper::fnSetGizmoRot, L"gizmoRot", TYPE_QUAT_BV);
        d->AppendProperty(IControlHelper::fnGetGizmoScale, IControlHelper::fnSetGizmoScale, L"gizmoScale",
                          TYPE_POINT3_BV);
        d->AppendProperty(IControlHelper::fnGetGizmoTM, IControlHelper::fnSetGizmoTM, L"gizmoTM", TYPE_MATRIX3_BV);
        d->AppendProperty(IControlHelper::fnGetFaceSel, IControlHelper::fnSetFaceSel, L"selector_face_sel",
                          TYPE_BITARRAY_BV);
        FPEnum& e = d->AppendEnum(IControlHelper::enumType, {});
        for (int t = 0; t < kNumGizmoTypes; ++t) e.Add(GizmoScriptName(t), t);
        return d;
    }();
    return *desc;
}
const bool helperInterfaceReady = (HelperInterface(), true);

// Blends the matrix's rotation rows with the view's, keeping each row's length.
Matrix3 FacingCamera(const Matrix3& tm, ViewExp* vpt) {
    Matrix3 affine;
    vpt->GetAffineTM(affine);
    const Matrix3 viewToWorld = Inverse(affine);
    Matrix3 r = tm;
    for (int i = 0; i < 3; ++i) r.SetRow(i, Normalize(viewToWorld.GetRow(i)) * Length(tm.GetRow(i)));
    return r;
}

}  // namespace

// Restores the selector's face selection.
class FaceSelRestore : public RestoreObj {
public:
    explicit FaceSelRestore(ControlHelper* h) : helper_(h), undo_(h->faceSel_) {}
    void Restore(int isUndo) override {
        if (isUndo) redo_ = helper_->faceSel_;
        helper_->faceSel_ = undo_;
        helper_->NotifyDependents(FOREVER, PART_DISPLAY, REFMSG_CHANGE);
    }
    void Redo() override {
        helper_->faceSel_ = redo_;
        helper_->NotifyDependents(FOREVER, PART_DISPLAY, REFMSG_CHANGE);
    }
    MSTR Description() override { return MSTR(L"Selector Faces"); }

private:
    ControlHelper* helper_;
    BitArray undo_, redo_;
};

FPInterfaceDesc* IControlHelper::GetDesc() { return &HelperInterface(); }

GizmoModeSet& GizmoModes() {
    static GizmoModeSet modes;
    return modes;
}

ControlHelper::ControlHelper(BOOL loading) {
    if (!loading) ReplaceReference(kPBlockRef, CreateParameterBlock2(&HelperBlock(), this));
}

ControlHelper::~ControlHelper() = default;

MSTR ControlHelper::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_CONTROLHELPER) : nullptr;
    return MSTR(s ? s : L"Control Helper");
}

MSTR ControlHelper::SubAnimName(int i, bool localized) {
    (void)localized;
    return i == 0 ? MSTR(L"Parameters") : MSTR();
}

void ControlHelper::SetReference(int i, RefTargetHandle rtarg) {
    if (i == kPBlockRef) {
        pblock = static_cast<IParamBlock2*>(rtarg);
        linesValid_ = NEVER;
    }
}

RefResult ControlHelper::NotifyRefChanged(const Interval&, RefTargetHandle hTarget, PartID&, RefMessage message,
                                          BOOL) {
    if (hTarget != pblock || !pblock) return REF_SUCCEED;
    if (message == REFMSG_CHANGE) {
        const ParamID id = pblock->LastNotifyParamID();
        if (id <= pb_warp_axis) linesValid_ = NEVER;
        // The selector node's own edits come through the block too: the mesh is rebuilt on
        // its next use. A new node starts with an empty selection.
        selValid_ = NEVER;
        INode* node = pblock->GetINode(pb_selector_node);
        if (id == pb_selector_node && node != selMeshNode_) {
            if (!theHold.RestoreOrRedoing()) SetFaceSelection(BitArray());
            selMeshNode_ = node;
        }
    }
    return REF_SUCCEED;
}

ReferenceTarget* ControlHelper::Clone(RemapDir& remap) {
    auto* c = new ControlHelper(TRUE);
    c->ReplaceReference(kPBlockRef, remap.CloneRef(pblock));
    c->faceSel_ = faceSel_;
    c->selMeshNode_ = selMeshNode_;
    BaseClone(this, c, remap);
    return c;
}

BaseInterface* ControlHelper::GetInterface(Interface_ID id) {
    if (id == ICONTROLHELPER_INTERFACE_ID) return static_cast<IControlHelper*>(this);
    return HelperObject::GetInterface(id);
}

IOResult ControlHelper::Save(ISave* isave) {
    isave->BeginChunk(kFaceSelChunk);
    const int n = faceSel_.GetSize();
    ULONG nw = 0;
    IOResult r = isave->Write(&n, sizeof(n), &nw);
    // Eight bits to a byte, lowest index in the lowest bit.
    std::vector<unsigned char> bytes(size_t((n + 7) / 8), 0);
    for (int i = 0; i < n; ++i)
        if (faceSel_[i]) bytes[size_t(i / 8)] |= static_cast<unsigned char>(1u << (i % 8));
    if (r == IO_OK && !bytes.empty()) r = isave->Write(bytes.data(), ULONG(bytes.size()), &nw);
    isave->EndChunk();
    return r;
}

IOResult ControlHelper::Load(ILoad* iload) {
    IOResult r;
    while ((r = iload->OpenChunk()) == IO_OK) {
        if (iload->CurChunkID() == kFaceSelChunk) {
            int n = 0;
            ULONG nr = 0;
            if (iload->Read(&n, sizeof(n), &nr) != IO_OK || n < 0) return IO_ERROR;
            const ULONG want = ULONG((n + 7) / 8);
            if (iload->CurChunkLength() != sizeof(n) + want) return IO_ERROR;
            std::vector<unsigned char> bytes(want, 0);
            if (want && iload->Read(bytes.data(), want, &nr) != IO_OK) return IO_ERROR;
            faceSel_.SetSize(n);
            for (int i = 0; i < n; ++i)
                if (bytes[size_t(i / 8)] & (1u << (i % 8))) faceSel_.Set(i);
        }
        if (iload->CloseChunk() != IO_OK) return IO_ERROR;
    }
    selValid_ = NEVER;
    return r == IO_END ? IO_OK : r;
}

// ---- Lines and transforms.

const GizmoLines& ControlHelper::Lines(TimeValue t) {
    if (!linesValid_.InInterval(t)) {
        Interval valid = FOREVER;
        BuildGizmo(ReadGizmoParams(pblock, t, valid), lines_);
        linesValid_ = valid;
    }
    return lines_;
}

Interval ControlHelper::ObjectValidity(TimeValue t) {
    Lines(t);
    return linesValid_;
}

Matrix3 ControlHelper::MakeDrawTM(TimeValue t, INode* inode, ViewExp* vpt) {
    Matrix3 tm = inode ? inode->GetObjectTM(t) : Matrix3();
    if (!pblock) return tm;
    if (vpt && pblock->GetInt(pb_face_camera, t)) tm = FacingCamera(tm, vpt);
    if (vpt && pblock->GetInt(pb_constant_screen_size, t)) {
        const float s = vpt->NonScalingObjectSize() * vpt->GetVPWorldWidth(tm.GetTrans()) / 360.0f;
        tm.PreScale(Point3(s, s, s));
    }
    return pblock->GetMatrix3(pb_gizmo, t) * tm;
}

void ControlHelper::GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) {
    Matrix3 tm = pblock ? pblock->GetMatrix3(pb_gizmo, t) : Matrix3();
    if (vpt && inode && pblock && pblock->GetInt(pb_constant_screen_size, t)) {
        const float s = vpt->NonScalingObjectSize() * vpt->GetVPWorldWidth(inode->GetObjectTM(t).GetTrans()) / 360.0f;
        tm = tm * ScaleMatrix(Point3(s, s, s));
    }
    box = Lines(t).Bounds(&tm);
}

void ControlHelper::GetWorldBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) {
    const Matrix3 tm = MakeDrawTM(t, inode, vpt);
    box = Lines(t).Bounds(&tm);
}

// ---- Drawing and picking.

void ControlHelper::DrawLines(GraphicsWindow* gw, TimeValue t) {
    Lines(t);
    GizmoLines& g = lines_;
    for (const GizmoStrip& s : g.strips)
        gw->polyline(s.count, &g.points[size_t(s.first)], nullptr, s.closed ? TRUE : FALSE, nullptr);
}

const MNMesh* ControlHelper::SelectorMesh(TimeValue t) {
    INode* node = GetSelectorNode();
    if (!node) return nullptr;
    if (selValid_.InInterval(t) && selMeshNode_ == node) return &selMesh_;
    selMeshNode_ = node;
    selMesh_.ClearAndFree();
    selNormals_.clear();
    const ObjectState& os = node->EvalWorldState(t);
    Object* obj = os.obj;
    if (!obj) return nullptr;
    Interval valid = obj->ObjectValidity(t);
    if (obj->IsSubClassOf(polyObjectClassID)) {
        selMesh_ = static_cast<PolyObject*>(obj)->GetMesh();
    } else if (obj->CanConvertToType(polyObjectClassID)) {
        Object* conv = obj->ConvertToType(t, polyObjectClassID);
        if (!conv) return nullptr;
        selMesh_ = static_cast<PolyObject*>(conv)->GetMesh();
        if (conv != obj) conv->DeleteThis();
    } else if (obj->CanConvertToType(triObjectClassID)) {
        Object* conv = obj->ConvertToType(t, triObjectClassID);
        if (!conv) return nullptr;
        selMesh_.SetFromTri(static_cast<TriObject*>(conv)->GetMesh());
        if (conv != obj) conv->DeleteThis();
    } else {
        return nullptr;
    }
    // A mesh whose face count changed keeps only the faces it still has.
    if (faceSel_.GetSize() != selMesh_.numf) faceSel_.SetSize(selMesh_.numf, 1);
    selNormals_.assign(size_t(selMesh_.numv), Point3(0.0f, 0.0f, 0.0f));
    for (int f = 0; f < selMesh_.numf; ++f) {
        if (selMesh_.f[f].GetFlag(MN_DEAD)) continue;
        const Point3 n = selMesh_.GetFaceNormal(f, true);
        for (int v : selMesh_.f[f].vtx)
            if (v >= 0 && v < selMesh_.numv) selNormals_[size_t(v)] += n;
    }
    for (Point3& n : selNormals_) n = Normalize(n);
    selValid_ = valid;
    return &selMesh_;
}

int ControlHelper::DrawSelector(TimeValue t, INode* inode, ViewExp* vpt, bool picking, bool allFaces,
                                std::vector<int>* hits) {
    INode* node = GetSelectorNode();
    const MNMesh* mesh = SelectorMesh(t);
    if (!mesh || !node) return -1;
    GraphicsWindow* gw = vpt->getGW();
    gw->setTransform(node->GetObjectTM(t));
    const float push = pblock->GetFloat(pb_selector_push_value, t);
    const DWORD limits = gw->getRndLimits();
    const bool cull = pblock->GetInt(pb_selector_ignore_backfacing, t) != 0;
    gw->setRndLimits(cull ? (limits | GW_BACKCULL) : (limits & ~GW_BACKCULL));
    if (!picking) {
        const bool useWire = pblock->GetInt(pb_selector_use_wire_color, t) != 0;
        const Point3 color = useWire ? host_WireColorToPoint3(inode->GetWireColor()) : pblock->GetPoint3(pb_selector_color, t);
        gw->setColor(FILL_COLOR, color);
        gw->setTransparency(pblock->GetFloat(inode->Selected() ? pb_selector_sel_opacity : pb_selector_unsel_opacity, t));
    }
    int best = -1;
    float bestDepth = 1e30f;
    std::vector<Point3> pts;
    for (int f = 0; f < mesh->numf; ++f) {
        if (!allFaces && !faceSel_[f]) continue;
        const MNFace& face = mesh->f[f];
        if (face.GetFlag(MN_DEAD) || face.deg < 3) continue;
        pts.clear();
        for (int v : face.vtx) pts.push_back(mesh->P(v) + selNormals_[size_t(v)] * push);
        if (picking && allFaces) gw->clearHitCode();
        gw->polygon(int(pts.size()), pts.data(), nullptr, nullptr);
        if (picking && allFaces && gw->checkHitCode()) {
            if (hits) hits->push_back(f);
            if (gw->host_HitDepth() < bestDepth) {
                bestDepth = gw->host_HitDepth();
                best = f;
            }
        }
    }
    if (!picking) gw->setTransparency(1.0f);
    gw->setRndLimits(limits);
    return best;
}

int ControlHelper::Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) {
    (void)flags;
    if (!pblock || !inode || !vpt) return 0;
    GraphicsWindow* gw = vpt->getGW();
    const DWORD limits = gw->getRndLimits();
    if (pblock->GetInt(pb_draw_on_top, t)) gw->setRndLimits(limits & ~GW_Z_BUFFER);
    const Point3 color = host::NodeDrawColor(inode);
    const Matrix3 tm = MakeDrawTM(t, inode, vpt);
    gw->setTransform(tm);
    gw->setColor(LINE_COLOR, color);
    const bool selector = pblock->GetInt(pb_selector_active, t) && faceSel_.AnyBitSet();
    const bool offset = pblock->GetInt(pb_offset_line, t) != 0;
    if (pblock->GetInt(pb_type, t) == kGizmoNone) {
        if (offset || selector) {
            Point3 origin(0.0f, 0.0f, 0.0f);
            gw->marker(&origin, PLUS_SIGN_MRKR);
        }
    } else {
        // Shaded views fill the closed outlines faintly under their lines.
        if (!vpt->IsWire()) {
            Lines(t);
            GizmoLines& g = lines_;
            gw->setColor(FILL_COLOR, color);
            gw->setTransparency(0.25f);
            for (const GizmoStrip& s : g.strips)
                if (s.closed && s.count >= 3) gw->polygon(s.count, &g.points[size_t(s.first)], nullptr, nullptr);
            gw->setTransparency(1.0f);
        }
        DrawLines(gw, t);
    }
    if (offset) {
        // Gizmo origin to pivot, both in the object's space.
        const Matrix3 objTM = inode->GetObjectTM(t);
        const Matrix3 toObj = Inverse(objTM);
        Point3 ends[2] = {tm.GetTrans() * toObj, inode->GetNodeTM(t).GetTrans() * toObj};
        gw->setTransform(objTM);
        gw->polyline(2, ends, nullptr, FALSE, nullptr);
    }
    if (selector) DrawSelector(t, inode, vpt, false, false);
    gw->setRndLimits(limits);
    return 0;
}

int ControlHelper::HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) {
    (void)flags;
    if (!pblock || !inode || !vpt) return 0;
    GraphicsWindow* gw = vpt->getGW();
    const DWORD limits = gw->getRndLimits();
    HitRegion hr;
    MakeHitRegion(hr, type, crossing, host::PickTolerance(), p);
    gw->setHitRegion(&hr);
    DWORD pick = limits | GW_PICK;
    if (pblock->GetInt(pb_draw_on_top, t)) pick &= ~GW_Z_BUFFER;
    gw->setRndLimits(pick);
    gw->clearHitCode();
    int hit = 0;
    if (SelectorPickMode()) {
        // A click toggles the nearest face under it; a region adds every face it takes.
        std::vector<int> faces;
        const int face = DrawSelector(t, inode, vpt, true, true, &faces);
        if (face >= 0) {
            BitArray sel = faceSel_;
            if (const MNMesh* mesh = SelectorMesh(t); mesh && sel.GetSize() < mesh->numf) sel.SetSize(mesh->numf, 1);
            if (type == HITTYPE_POINT || type == HITTYPE_SOLID) {
                sel.Set(face, !sel[face]);
            } else {
                for (int f : faces) sel.Set(f);
            }
            // A pick is a user operation of its own unless the caller already holds.
            const bool own = !theHold.Holding();
            if (own) theHold.Begin();
            SetFaceSelection(sel);
            if (own) theHold.Accept(L"Select Polygons");
            hit = 1;
        }
    } else {
        if (pblock->GetInt(pb_type, t) != kGizmoNone) {
            gw->setTransform(MakeDrawTM(t, inode, vpt));
            DrawLines(gw, t);
        }
        if (pblock->GetInt(pb_selector_active, t) && faceSel_.AnyBitSet()) DrawSelector(t, inode, vpt, true, false);
        hit = gw->checkHitCode();
    }
    gw->setRndLimits(limits);
    return hit;
}

// ---- Sub-objects.

const MCHAR* ControlHelper::GetSubObjTypeName(int i) {
    switch (i) {
        case 0: return L"Gizmo";
        case 1: return L"Select Polygons";
        default: return nullptr;
    }
}

void ControlHelper::ActivateSubobjSel(int level, XFormModes& modes) {
    level_ = level;
    if (level == kGizmoLevel) modes = GizmoModes().Modes();
    else if (level == kSelectPolygonsLevel) modes = XFormModes(nullptr, nullptr, nullptr, nullptr, nullptr, &GizmoModes().select);
    NotifyDependents(FOREVER, PART_DISPLAY, REFMSG_CHANGE);
}

void ControlHelper::ApplyToGizmo(TimeValue t, const Matrix3& partm, const Matrix3& tmAxis, const Matrix3& tool,
                                 BOOL localOrigin) {
    if (!pblock || level_ != kGizmoLevel) return;
    const Matrix3 gizmo = pblock->GetMatrix3(pb_gizmo, t);
    Matrix3 axis = tmAxis;
    // About the gizmo's own origin rather than the axis system's.
    if (localOrigin) axis.SetTrans((gizmo * partm).GetTrans());
    const Matrix3 world = Inverse(axis) * tool * axis;
    const Matrix3 local = partm * world * Inverse(partm);
    pblock->SetValue(pb_gizmo, t, gizmo * local);
}

void ControlHelper::Move(TimeValue t, Matrix3& partm, Matrix3& tmAxis, Point3& val, BOOL localOrigin) {
    ApplyToGizmo(t, partm, tmAxis, TransMatrix(val), localOrigin);
}

void ControlHelper::Rotate(TimeValue t, Matrix3& partm, Matrix3& tmAxis, Quat& val, BOOL localOrigin) {
    Matrix3 r;
    val.MakeMatrix(r);
    ApplyToGizmo(t, partm, tmAxis, r, localOrigin);
}

void ControlHelper::Scale(TimeValue t, Matrix3& partm, Matrix3& tmAxis, Point3& val, BOOL localOrigin) {
    ApplyToGizmo(t, partm, tmAxis, ScaleMatrix(val), localOrigin);
}

void ControlHelper::TransformFinish(TimeValue t) {
    (void)t;
    NotifyDependents(FOREVER, PART_DISPLAY | PART_GEOM, REFMSG_CHANGE);
}

// ---- Selector.

INode* ControlHelper::GetSelectorNode() { return pblock ? pblock->GetINode(pb_selector_node) : nullptr; }

void ControlHelper::SetFaceSelection(const BitArray& sel) {
    if (sel == faceSel_) return;
    if (theHold.Holding()) theHold.Put(new FaceSelRestore(this));
    faceSel_ = sel;
    NotifyDependents(FOREVER, PART_DISPLAY, REFMSG_CHANGE);
}

INode* ControlHelper::OwnerNode() {
    for (ReferenceMaker* rm : Dependents()) {
        if (rm && rm->SuperClassID() == BASENODE_CLASS_ID) {
            auto* node = static_cast<INode*>(rm);
            if (node->GetObjectRef() && node->GetObjectRef()->FindBaseObject() == this) return node;
        }
        // Under a modifier stack the node refers to the derived object.
        if (rm && rm->SuperClassID() == GEN_DERIVOB_CLASS_ID)
            for (ReferenceMaker* up : static_cast<ReferenceTarget*>(rm)->Dependents())
                if (up && up->SuperClassID() == BASENODE_CLASS_ID) return static_cast<INode*>(up);
    }
    return nullptr;
}

// ---- IControlHelper.

void ControlHelper::ResetGizmo() { ResetBlockGizmo(pblock); }
int ControlHelper::GetType() { return BlockGizmoType(pblock); }
void ControlHelper::SetType(int type) { SetBlockGizmoType(pblock, type); }
Matrix3 ControlHelper::GetGizmoTM() { return BlockGizmoTM(pblock); }
void ControlHelper::SetGizmoTM(Matrix3 m) { SetBlockGizmoTM(pblock, m); }
Point3 ControlHelper::GetGizmoPos() { return GetGizmoTM().GetTrans(); }
void ControlHelper::SetGizmoPos(Point3 p) { SetGizmoTM(WithGizmoPos(GetGizmoTM(), p)); }
Quat ControlHelper::GetGizmoRot() { return GizmoRotation(GetGizmoTM()); }
void ControlHelper::SetGizmoRot(Quat q) { SetGizmoTM(WithGizmoRotation(GetGizmoTM(), q)); }
Point3 ControlHelper::GetGizmoScale() { return GizmoScale(GetGizmoTM()); }
void ControlHelper::SetGizmoScale(Point3 s) { SetGizmoTM(WithGizmoScale(GetGizmoTM(), s)); }

}  // namespace kt
