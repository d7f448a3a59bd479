// SimpleObject: a parametric mesh object. Its mesh is built from its parameter block
// (reference 0) by BuildMesh and rebuilt when t leaves the interval the last build holds for
// or a parameter changes. It is a TriObject (its mesh is the TriObject's), so the modifier
// stack and conversions treat it as one; the file keeps only its parameters.
//
// The host's primitives: Box ("Box": length along Y, width along X, height up Z from the
// base at z = 0; widthsegs, lengthsegs, heightsegs), Plane ("Plane": length, width,
// lengthsegs, widthsegs, facing +Z at z = 0) and Sphere ("Sphere": radius, segs, centred on the
// origin). Each side is made of quads (two triangles with a hidden diagonal), so a conversion
// to a polygon object gives quads (and triangles at the sphere's poles).
// Bad input: a negative length, width or height mirrors the box or plane (faces stay outward);
// a zero size gives coincident points (the topology stays); a negative radius is taken as 0;
// segment counts are clamped to 1..200 (box), 1..1000 (plane) and 4..200 (sphere).
#pragma once

#include "triobj.h"

class IParamBlock2;

class SimpleObject : public TriObject {
public:
    IParamBlock2* pblock2 = nullptr;

    // Fills mesh for time t and narrows ivalid (FOREVER on entry) by every parameter read.
    virtual void BuildMesh(TimeValue t) = 0;
    // Rebuilds the mesh unless t lies inside the interval of the last build.
    void UpdateMesh(TimeValue t);
    // The interval the current mesh holds for (NEVER before the first build).
    Interval GetMeshValidity() const { return ivalid; }

    int IsSubClassOf(Class_ID classID) override { return classID == ClassID(); }
    ObjectState Eval(TimeValue t) override {
        UpdateMesh(t);
        return ObjectState(this);
    }
    Interval ChannelValidity(TimeValue t, int chan) override;
    Object* ConvertToType(TimeValue t, Class_ID obtype) override;
    int CanConvertToType(Class_ID obtype) override {
        return obtype == ClassID() || TriObject::CanConvertToType(obtype) ? TRUE : FALSE;
    }

    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override;
    int NumSubs() override { return 1; }
    Animatable* SubAnim(int i) override;
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override { return subNum == 0 ? 0 : -1; }
    int NumParamBlocks() override { return 1; }
    IParamBlock2* GetParamBlock(int i) override { return i == 0 ? pblock2 : nullptr; }
    IParamBlock2* GetParamBlockByID(BlockID id) override;
    RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                               RefMessage message, BOOL propagate) override;
    IOResult Save(ISave* isave) override { (void)isave; return IO_OK; }
    IOResult Load(ILoad* iload) override { (void)iload; ivalid = NEVER; return IO_OK; }

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;
    // Copies what the base keeps into a clone made by the subclass.
    void CloneInto(SimpleObject* to, RemapDir& remap);

    Interval ivalid = NEVER;
};

// Primitive classes and parameter ids.
constexpr Class_ID BOXOBJ_CLASS_ID(0x00000010, 0);
constexpr Class_ID SPHERE_CLASS_ID(0x00000011, 0);
constexpr Class_ID PLANE_CLASS_ID(0x081F1DFC, 0x77566F65);

enum { box_length = 0, box_width, box_height, box_widthsegs, box_lengthsegs, box_heightsegs };
enum { plane_length = 0, plane_width, plane_lengthsegs, plane_widthsegs };
enum { sphere_radius = 0, sphere_segs };
