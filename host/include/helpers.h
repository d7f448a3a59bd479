// The host's helper objects and the bone object: class ids, parameter ids and what each
// offers the viewport (lines and boxes in object space; drawing itself is the viewport's).
//
// Point helper ("Point", HELPER_CLASS_ID, (0x2013, 0)): parameter block 0 with
//   0 size (world, animatable, default 20), 1 centermarker, 2 axistripod, 3 cross (default on),
//   4 box, 5 constantscreensize, 6 drawontop (ints used as booleans, default off).
//   A negative size draws as its absolute value.
// Dummy ("Dummy", HELPER_CLASS_ID, (0x876234, 0)): a box (default -5..5 on each axis) set by
//   SetBox (undoable); an empty box draws nothing and has an empty bound box.
// Bone ("BoneGeometry", GEOMOBJECT_CLASS_ID, (0x28BF6E8D, 0x2ECCA840)): a mesh along +X from
//   the pivot: a box section width (Y) by height (Z) at x = 0 narrowing to (1 - taper / 100) of
//   it at x = length. Taper is in percent (default 90), clamped to -1000..100. Side fins
//   stick out along +-Y, the front fin along +Z and the back fin along -Z, each of its size,
//   from startTaper percent of the length to (100 - endTaper) percent. A negative length
//   points the bone along -X; negative width or height count as their absolute values;
//   zero sizes give coincident points (the topology stays).
#pragma once

#include <vector>

#include "object.h"
#include "simpobj.h"

class IParamBlock2;

constexpr Class_ID POINTHELP_CLASS_ID(0x00002013, 0);
constexpr Class_ID DUMMY_CLASS_ID(0x00876234, 0);
constexpr Class_ID BONE_OBJ_CLASSID(0x28BF6E8D, 0x2ECCA840);

enum {
    pointobj_size = 0,
    pointobj_centermarker,
    pointobj_axistripod,
    pointobj_cross,
    pointobj_box,
    pointobj_screensize,
    pointobj_drawontop,
};

enum {
    boneobj_width = 0,
    boneobj_height,
    boneobj_taper,
    boneobj_length,
    boneobj_sidefins,
    boneobj_sidefins_size,
    boneobj_sidefins_starttaper,
    boneobj_sidefins_endtaper,
    boneobj_frontfin,
    boneobj_frontfin_size,
    boneobj_frontfin_starttaper,
    boneobj_frontfin_endtaper,
    boneobj_backfin,
    boneobj_backfin_size,
    boneobj_backfin_starttaper,
    boneobj_backfin_endtaper,
};

class PointHelpObject : public HelperObject {
public:
    IParamBlock2* pblock2 = nullptr;

    explicit PointHelpObject(bool loading = false);
    Class_ID ClassID() override { return POINTHELP_CLASS_ID; }
    void InitNodeName(MSTR& s) override { s = L"Point"; }

    // Line segments (pairs of end points) of what the switches show at t: the cross, the box,
    // the axis tripod (X, Y, Z from the pivot) and the centre marker. valid is narrowed.
    void GetLines(TimeValue t, std::vector<Point3>& segments, Interval& valid);
    // The cube of the size at t; at screen size (with inode and vpt given) scaled as drawn.
    void GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) override;
    // Viewport: the lines of GetLines in the node's colour; with screen size on, size is in
    // pixel-like units (scaled by the view's screen scale at the pivot); draw on top turns the
    // depth test off.
    int Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) override;
    int HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) override;
    Interval ChannelValidity(TimeValue t, int chan) override;

    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override;
    int NumSubs() override { return 1; }
    Animatable* SubAnim(int i) override;
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override { return subNum == 0 ? 0 : -1; }
    int NumParamBlocks() override { return 1; }
    IParamBlock2* GetParamBlock(int i) override { return i == 0 ? pblock2 : nullptr; }
    IParamBlock2* GetParamBlockByID(BlockID id) override;
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;
};

class DummyObject : public HelperObject {
public:
    DummyObject();
    Class_ID ClassID() override { return DUMMY_CLASS_ID; }
    void InitNodeName(MSTR& s) override { s = L"Dummy"; }

    // Undoable while theHold is holding; tells dependents (PART_DISPLAY).
    void SetBox(const Box3& b);
    Box3 GetBox() const { return box_; }
    // The twelve edges of the box as pairs of end points; none for an empty box.
    void GetLines(std::vector<Point3>& segments) const;
    void GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) override;
    // Viewport: the box edges in the node's colour.
    int Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) override;
    int HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) override;

    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override;
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

private:
    Box3 box_;
};

class BoneObj : public SimpleObject {
public:
    explicit BoneObj(bool loading = false);
    Class_ID ClassID() override { return BONE_OBJ_CLASSID; }
    void InitNodeName(MSTR& s) override { s = L"Bone"; }
    void BuildMesh(TimeValue t) override;
    ReferenceTarget* Clone(RemapDir& remap) override;
};
