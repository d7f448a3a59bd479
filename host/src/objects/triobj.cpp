#include "triobj.h"

#include <cstring>

#include "iosave.h"

#include "polyobj.h"

namespace {
constexpr USHORT kMeshChunk = 0x1000;
}  // namespace

void TriObject::InvalidateChannels(ChannelMask channels) {
    for (int c = 0; c < NUM_OBJ_CHANS; ++c)
        if (channels & ChannelBit(c)) valid_.Set(c, NEVER);
    if (channels & (GEOM_CHANNEL | TOPO_CHANNEL)) mesh.InvalidateGeomCache();
}

void TriObject::Deform(Deformer* defProc, int useSel) {
    (void)useSel;
    if (!defProc || mesh.numVerts <= 0) return;
    defProc->MapRange(mesh.verts, 0, mesh.numVerts);
    PointsWereChanged();
}

void TriObject::GetDeformBBox(TimeValue t, Box3& box, Matrix3* tm, BOOL useSel) {
    (void)t;
    (void)useSel;
    box = mesh.getBoundingBox(tm);
}

void TriObject::GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) {
    (void)inode;
    (void)vpt;
    Eval(t);
    box = mesh.getBoundingBox();
}

int TriObject::CanConvertToType(Class_ID obtype) {
    return obtype == ClassID() || obtype == triObjectClassID || obtype == EDITTRIOBJ_CLASS_ID ||
                   obtype == polyObjectClassID || obtype == EPOLYOBJ_CLASS_ID || obtype == defObjectClassID
               ? TRUE
               : FALSE;
}

Object* TriObject::ConvertToType(TimeValue t, Class_ID obtype) {
    Eval(t);
    if (obtype == ClassID() || obtype == defObjectClassID) return this;
    if (obtype == triObjectClassID || obtype == EDITTRIOBJ_CLASS_ID) {
        if (IsSubClassOf(obtype)) return this;
        TriObject* tri = obtype == EDITTRIOBJ_CLASS_ID ? new EditTriObject() : CreateNewTriObject();
        tri->mesh = mesh;
        for (int c = 0; c < NUM_OBJ_CHANS; ++c) tri->SetChannelValidity(c, ChannelValidity(t, c));
        return tri;
    }
    if (obtype == polyObjectClassID || obtype == EPOLYOBJ_CLASS_ID) {
        PolyObject* poly = obtype == EPOLYOBJ_CLASS_ID ? new EditPolyObject() : new PolyObject();
        poly->mm.SetFromTri(mesh);
        poly->mm.MakePolyMesh();
        for (int c = 0; c < NUM_OBJ_CHANS; ++c) poly->SetChannelValidity(c, ChannelValidity(t, c));
        return poly;
    }
    return nullptr;
}

Object* TriObject::MakeShallowCopy(ChannelMask channels) {
    TriObject* tri = CreateNewTriObject();
    tri->host_CopyChannels(this, channels | TOPO_CHANNEL | GEOM_CHANNEL);
    return tri;
}

bool TriObject::host_CopyChannels(Object* fromOb, ChannelMask channels) {
    auto* from = dynamic_cast<TriObject*>(fromOb);
    if (!from) return false;
    if (from != this) {
        const bool sameCount = from->mesh.numVerts == mesh.numVerts;
        if ((channels & (TOPO_CHANNEL | TEXMAP_CHANNEL | MTL_CHANNEL | SELECT_CHANNEL)) || !sameCount) {
            mesh = from->mesh;
        } else if (channels & GEOM_CHANNEL) {
            if (mesh.numVerts > 0) std::memcpy(mesh.verts, from->mesh.verts, sizeof(Point3) * mesh.numVerts);
            mesh.InvalidateGeomCache();
        }
    }
    valid_ = from->valid_;
    return true;
}

ReferenceTarget* TriObject::Clone(RemapDir& remap) {
    TriObject* c = CreateNewTriObject();
    c->mesh = mesh;
    c->valid_ = valid_;
    BaseClone(this, c, remap);
    return c;
}

IOResult TriObject::Save(ISave* isave) {
    isave->BeginChunk(kMeshChunk);
    mesh.Save(isave);
    isave->EndChunk();
    return IO_OK;
}

IOResult TriObject::Load(ILoad* iload) {
    IOResult res;
    while ((res = iload->OpenChunk()) == IO_OK) {
        if (iload->CurChunkID() == kMeshChunk && mesh.Load(iload) != IO_OK) return IO_ERROR;
        iload->CloseChunk();
    }
    return res == IO_ERROR ? IO_ERROR : IO_OK;
}

TriObject* CreateNewTriObject() { return new TriObject(); }

ReferenceTarget* EditTriObject::Clone(RemapDir& remap) {
    auto* c = new EditTriObject();
    c->mesh = mesh;
    c->valid_ = valid_;
    BaseClone(this, c, remap);
    return c;
}
