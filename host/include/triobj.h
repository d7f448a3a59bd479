// TriObject: an object that is a triangle Mesh, and the editable mesh built on it.
//
// The mesh is in object space. Channel validity is kept per channel: a TriObject that holds a
// static mesh answers FOREVER; one that results from a modifier stack carries the validity
// the stack gave it. Points are the mesh's vertices (NumPoints, GetPoint, SetPoint, Deform).
//
// Conversions: to triObjectClassID answers the object itself; to polyObjectClassID and
// EPOLYOBJ_CLASS_ID a new polygon object whose polygons are the mesh's triangles joined across
// invisible edges; to EDITTRIOBJ_CLASS_ID a new editable mesh with a copy of the mesh.
#pragma once

#include "chanvalid.h"
#include "mesh.h"
#include "object.h"

constexpr Class_ID EDITTRIOBJ_CLASS_ID(0xE44F10B3, 0);

class TriObject : public host::ChannelValidityObject<GeomObject> {
public:
    Mesh mesh;

    TriObject() = default;
    Class_ID ClassID() override { return triObjectClassID; }
    int IsSubClassOf(Class_ID classID) override { return classID == triObjectClassID || classID == ClassID(); }
    Mesh& GetMesh() { return mesh; }

    void InvalidateChannels(ChannelMask channels) override;

    int NumPoints() override { return mesh.numVerts; }
    Point3 GetPoint(int i) override { return mesh.getVert(i); }
    void SetPoint(int i, const Point3& p) override { mesh.setVert(i, p); }
    void PointsWereChanged() override { mesh.InvalidateGeomCache(); }
    void Deform(Deformer* defProc, int useSel = 0) override;
    void GetDeformBBox(TimeValue t, Box3& box, Matrix3* tm = nullptr, BOOL useSel = FALSE) override;
    void GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) override;
    // Viewport: wireframe edges, or flat-shaded faces when the view is not wireframe (a selected
    // mesh also shows its edges); faces are hit inside, edges within the region's tolerance.
    int Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) override;
    int HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) override;

    int CanConvertToType(Class_ID obtype) override;
    Object* ConvertToType(TimeValue t, Class_ID obtype) override;
    Object* MakeShallowCopy(ChannelMask channels) override;
    // Copies from any TriObject (parametric objects included). Without TOPO_CHANNEL and with
    // the same vertex count only the points are copied; the faces stay.
    bool host_CopyChannels(Object* fromOb, ChannelMask channels) override;

    ReferenceTarget* Clone(RemapDir& remap) override;
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;
};

// A new empty TriObject (the caller owns it until it is referenced).
TriObject* CreateNewTriObject();

// The editable mesh ("Editable_Mesh"): a TriObject the user edits point by point.
class EditTriObject : public TriObject {
public:
    Class_ID ClassID() override { return EDITTRIOBJ_CLASS_ID; }
    ReferenceTarget* Clone(RemapDir& remap) override;
};
