// PolyObject: an object that is a polygon mesh (MNMesh), and the Editable Poly built on it.
//
// Polygons stay polygons: deforming, copying, saving and the modifier stack keep every face's
// degree, so a quad stays a quad. Points are the MNMesh's vertices. Channel validity is kept
// per channel as in TriObject.
//
// Conversions: to polyObjectClassID answers the object itself; to triObjectClassID and
// EDITTRIOBJ_CLASS_ID a new triangle mesh (polygons triangulated, diagonals invisible); to
// EPOLYOBJ_CLASS_ID a new Editable Poly with a copy.
//
// Script-side point access and collapsing (getNumVerts, getVert, setVert, convertToMesh,
// convertToPoly) are the host:: functions at the end.
#pragma once

#include "chanvalid.h"
#include "mnmesh.h"
#include "object.h"
#include "triobj.h"

class INode;

constexpr Class_ID EPOLYOBJ_CLASS_ID(0x1BF8338D, 0x192F6098);

class PolyObject : public host::ChannelValidityObject<GeomObject> {
public:
    MNMesh mm;

    Class_ID ClassID() override { return polyObjectClassID; }
    int IsSubClassOf(Class_ID classID) override { return classID == polyObjectClassID || classID == ClassID(); }
    MNMesh& GetMesh() { return mm; }

    void InvalidateChannels(ChannelMask channels) override;

    int NumPoints() override { return mm.numv; }
    Point3 GetPoint(int i) override { return i >= 0 && i < mm.numv ? mm.P(i) : Point3(); }
    void SetPoint(int i, const Point3& p) override {
        if (i >= 0 && i < mm.numv) mm.P(i) = p;
    }
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
    // Copies from any PolyObject; without TOPO_CHANNEL and with the same vertex count only the
    // points are copied.
    bool host_CopyChannels(Object* fromOb, ChannelMask channels) override;

    ReferenceTarget* Clone(RemapDir& remap) override;
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;
};

// The Editable Poly ("Editable_Poly").
class EditPolyObject : public PolyObject {
public:
    Class_ID ClassID() override { return EPOLYOBJ_CLASS_ID; }
    ReferenceTarget* Clone(RemapDir& remap) override;
};

namespace host {

// Points of an editable mesh or poly (any TriObject or PolyObject but a parametric
// SimpleObject): the count, or -1 for another kind of object (null included).
int GetNumVerts(Object* obj);
// False out of range or for another kind of object; p is left alone then.
bool GetVert(Object* obj, int i, Point3& p);
// Sets point i; undoable while theHold is holding; tells dependents REFMSG_CHANGE with
// PART_GEOM. False (and no change) out of range or for another kind of object.
bool SetVert(Object* obj, int i, const Point3& p);

// Collapses the node's object: the stack evaluated at t becomes a new Editable Mesh (or
// Editable Poly) that replaces the node's object reference (undoable while holding). Answers
// the new object, or null (and no change) when the node has no object or it cannot convert
// (helpers, for instance). A node whose object is already of the wanted class without
// modifiers keeps it and answers it.
Object* ConvertNodeToMesh(INode* node, TimeValue t);
Object* ConvertNodeToPoly(INode* node, TimeValue t);

}  // namespace host
