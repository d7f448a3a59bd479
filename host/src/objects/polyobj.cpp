#include "polyobj.h"

#include "hold.h"
#include "iosave.h"
#include "inode.h"
#include "modifier.h"
#include "simpobj.h"

namespace {
constexpr USHORT kMeshChunk = 0x1100;

// Before and after of one point set through host::SetVert.
class VertRestore : public RestoreObj {
public:
    VertRestore(Object* obj, int i, const Point3& before, const Point3& after)
        : handle_(Animatable::GetHandleByAnim(obj)), index_(i), before_(before), after_(after) {}
    void Restore(int) override { Set(before_); }
    void Redo() override { Set(after_); }
    MSTR Description() override { return MSTR(L"Set Vertex"); }

private:
    void Set(const Point3& p) {
        if (auto* obj = dynamic_cast<Object*>(Animatable::GetAnimByHandle(handle_))) {
            obj->SetPoint(index_, p);
            obj->PointsWereChanged();
            obj->NotifyDependents(FOREVER, PART_GEOM, REFMSG_CHANGE);
        }
    }
    AnimHandle handle_;
    int index_;
    Point3 before_, after_;
};

// Parametric objects are TriObjects too, but their points come from their parameters.
bool IsMeshOrPoly(Object* obj) {
    return (dynamic_cast<TriObject*>(obj) && !dynamic_cast<SimpleObject*>(obj)) || dynamic_cast<PolyObject*>(obj);
}

Object* Collapse(INode* node, TimeValue t, Class_ID wanted) {
    if (!node) return nullptr;
    Object* ref = node->GetObjectRef();
    if (!ref) return nullptr;
    if (ref->ClassID() == wanted) return ref;
    ObjectState os = ref->Eval(t);
    if (!os.obj || !os.obj->CanConvertToType(wanted)) return nullptr;
    Object* conv = os.obj->ConvertToType(t, wanted);
    if (!conv) return nullptr;
    if (conv == os.obj) {
        // The stack's own result belongs to the stack: the node gets a copy.
        conv = dynamic_cast<Object*>(CloneRefHierarchy(os.obj));
        if (!conv) return nullptr;
    }
    for (int c = 0; c < NUM_OBJ_CHANS; ++c) conv->SetChannelValidity(c, FOREVER);
    node->SetObjectRef(conv);
    return conv;
}
}  // namespace

void PolyObject::InvalidateChannels(ChannelMask channels) {
    for (int c = 0; c < NUM_OBJ_CHANS; ++c)
        if (channels & ChannelBit(c)) valid_.Set(c, NEVER);
}

void PolyObject::Deform(Deformer* defProc, int useSel) {
    (void)useSel;
    if (!defProc) return;
    for (int i = 0; i < mm.numv; ++i) mm.v[i].p = defProc->Map(i, mm.v[i].p);
}

void PolyObject::GetDeformBBox(TimeValue t, Box3& box, Matrix3* tm, BOOL useSel) {
    (void)t;
    (void)useSel;
    box = mm.getBoundingBox(tm);
}

void PolyObject::GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) {
    (void)inode;
    (void)vpt;
    Eval(t);
    box = mm.getBoundingBox();
}

int PolyObject::CanConvertToType(Class_ID obtype) {
    return obtype == ClassID() || obtype == polyObjectClassID || obtype == EPOLYOBJ_CLASS_ID ||
                   obtype == triObjectClassID || obtype == EDITTRIOBJ_CLASS_ID || obtype == defObjectClassID
               ? TRUE
               : FALSE;
}

Object* PolyObject::ConvertToType(TimeValue t, Class_ID obtype) {
    Eval(t);
    if (obtype == ClassID() || obtype == defObjectClassID) return this;
    if (obtype == polyObjectClassID || obtype == EPOLYOBJ_CLASS_ID) {
        if (IsSubClassOf(obtype)) return this;
        PolyObject* poly = obtype == EPOLYOBJ_CLASS_ID ? new EditPolyObject() : new PolyObject();
        poly->mm = mm;
        for (int c = 0; c < NUM_OBJ_CHANS; ++c) poly->SetChannelValidity(c, ChannelValidity(t, c));
        return poly;
    }
    if (obtype == triObjectClassID || obtype == EDITTRIOBJ_CLASS_ID) {
        TriObject* tri = obtype == EDITTRIOBJ_CLASS_ID ? new EditTriObject() : CreateNewTriObject();
        mm.OutToTri(tri->mesh);
        for (int c = 0; c < NUM_OBJ_CHANS; ++c) tri->SetChannelValidity(c, ChannelValidity(t, c));
        return tri;
    }
    return nullptr;
}

Object* PolyObject::MakeShallowCopy(ChannelMask channels) {
    auto* poly = new PolyObject();
    poly->host_CopyChannels(this, channels | TOPO_CHANNEL | GEOM_CHANNEL);
    return poly;
}

bool PolyObject::host_CopyChannels(Object* fromOb, ChannelMask channels) {
    auto* from = dynamic_cast<PolyObject*>(fromOb);
    if (!from) return false;
    if (from != this) {
        const bool sameCount = from->mm.numv == mm.numv;
        if ((channels & (TOPO_CHANNEL | TEXMAP_CHANNEL | MTL_CHANNEL | SELECT_CHANNEL)) || !sameCount) {
            mm = from->mm;
        } else if (channels & GEOM_CHANNEL) {
            for (int i = 0; i < mm.numv; ++i) mm.v[i].p = from->mm.v[i].p;
        }
    }
    valid_ = from->valid_;
    return true;
}

ReferenceTarget* PolyObject::Clone(RemapDir& remap) {
    auto* c = new PolyObject();
    c->mm = mm;
    c->valid_ = valid_;
    BaseClone(this, c, remap);
    return c;
}

IOResult PolyObject::Save(ISave* isave) {
    isave->BeginChunk(kMeshChunk);
    mm.Save(isave);
    isave->EndChunk();
    return IO_OK;
}

IOResult PolyObject::Load(ILoad* iload) {
    IOResult res;
    while ((res = iload->OpenChunk()) == IO_OK) {
        if (iload->CurChunkID() == kMeshChunk && mm.Load(iload) != IO_OK) return IO_ERROR;
        iload->CloseChunk();
    }
    return res == IO_ERROR ? IO_ERROR : IO_OK;
}

ReferenceTarget* EditPolyObject::Clone(RemapDir& remap) {
    auto* c = new EditPolyObject();
    c->mm = mm;
    c->valid_ = valid_;
    BaseClone(this, c, remap);
    return c;
}

int host::GetNumVerts(Object* obj) { return IsMeshOrPoly(obj) ? obj->NumPoints() : -1; }

bool host::GetVert(Object* obj, int i, Point3& p) {
    if (!IsMeshOrPoly(obj) || i < 0 || i >= obj->NumPoints()) return false;
    p = obj->GetPoint(i);
    return true;
}

bool host::SetVert(Object* obj, int i, const Point3& p) {
    if (!IsMeshOrPoly(obj) || i < 0 || i >= obj->NumPoints()) return false;
    const Point3 before = obj->GetPoint(i);
    if (theHold.Holding()) theHold.Put(new VertRestore(obj, i, before, p));
    obj->SetPoint(i, p);
    obj->PointsWereChanged();
    obj->NotifyDependents(FOREVER, PART_GEOM, REFMSG_CHANGE);
    return true;
}

Object* host::ConvertNodeToMesh(INode* node, TimeValue t) { return Collapse(node, t, EDITTRIOBJ_CLASS_ID); }
Object* host::ConvertNodeToPoly(INode* node, TimeValue t) { return Collapse(node, t, EPOLYOBJ_CLASS_ID); }
