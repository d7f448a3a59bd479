// Objects: what a node carries and evaluates. Only the bases live here; meshes (triobj.h),
// polygon meshes (polyobj.h), shapes (shape.h), parametric primitives (simpobj.h), helpers
// (helpers.h), modifiers and derived objects (modifier.h) build on them.
//
// A node refers to one object (its object reference). Evaluating the object at t gives an
// ObjectState: the object that results (the object itself for a base object; the end of the
// modifier stack for a derived object), an optional transform and validity intervals.
//
// Channels: an object's data is split into channels (topology, geometry, texture maps, ...).
// ChannelValidity(t, chan) says how long a channel stays as it is around t; an object whose
// data is computed from animated parameters narrows it, a static one answers FOREVER.
#pragma once

#include <vector>

#include "ref.h"
#include "point3.h"
#include "matrix3.h"
#include "box3.h"

class INode;
class ViewExp;
class IPoint2;
class Box3;
class Object;
class IObjParam;
class XFormModes;
class Quat;

// Channels of an object's data; the same bits as the PART_ values of REFMSG_CHANGE.
typedef DWORD ChannelMask;
constexpr ChannelMask TOPO_CHANNEL = PART_TOPO;
constexpr ChannelMask GEOM_CHANNEL = PART_GEOM;
constexpr ChannelMask TEXMAP_CHANNEL = PART_TEXMAP;
constexpr ChannelMask MTL_CHANNEL = PART_MTL;
constexpr ChannelMask SELECT_CHANNEL = PART_SELECT;
constexpr ChannelMask SUBSEL_TYPE_CHANNEL = PART_SUBSEL_TYPE;
constexpr ChannelMask DISP_ATTRIB_CHANNEL = PART_DISPLAY;
constexpr ChannelMask VERTCOLOR_CHANNEL = PART_VERTCOLOR;
constexpr ChannelMask GFX_DATA_CHANNEL = PART_GFX_DATA;
constexpr ChannelMask DISP_APPROX_CHANNEL = PART_DM_CHANNEL;
constexpr ChannelMask TM_CHANNEL = PART_TM_CHAN;
constexpr ChannelMask ALL_CHANNELS = TOPO_CHANNEL | GEOM_CHANNEL | TEXMAP_CHANNEL | MTL_CHANNEL | SELECT_CHANNEL |
                                     SUBSEL_TYPE_CHANNEL | DISP_ATTRIB_CHANNEL | VERTCOLOR_CHANNEL |
                                     GFX_DATA_CHANNEL | DISP_APPROX_CHANNEL | TM_CHANNEL;
// Channel numbers for ChannelValidity.
constexpr int TOPO_CHAN_NUM = 0;
constexpr int GEOM_CHAN_NUM = 1;
constexpr int TEXMAP_CHAN_NUM = 2;
constexpr int MTL_CHAN_NUM = 3;
constexpr int SELECT_CHAN_NUM = 4;
constexpr int SUBSEL_TYPE_CHAN_NUM = 5;
constexpr int DISP_ATTRIB_CHAN_NUM = 6;
constexpr int VERT_COLOR_CHAN_NUM = 7;
constexpr int GFX_DATA_CHAN_NUM = 8;
constexpr int DISP_APPROX_CHAN_NUM = 9;
constexpr int TM_CHAN_NUM = 10;
constexpr int NUM_OBJ_CHANS = 11;

// The channel bit of a channel number (TOPO_CHAN_NUM -> TOPO_CHANNEL); 0 out of range.
constexpr ChannelMask ChannelBit(int chanNum) {
    return chanNum >= 0 && chanNum < NUM_OBJ_CHANS ? ChannelMask(1u << chanNum) : 0u;
}

// Object types a modifier asks for (Modifier::InputType) and conversions aim at.
// defObjectClassID stands for any object that IsDeformable.
constexpr Class_ID defObjectClassID(0x0000AF00, 0);
constexpr Class_ID triObjectClassID(0x00000009, 0);
constexpr Class_ID polyObjectClassID(0x5D21369A, 0x61D207EA);
constexpr Class_ID mapObjectClassID(0x4EC13906, 0x5578130E);
constexpr Class_ID splineShapeClassID(0x0000000A, 0);

// The result of evaluating an object. tm, when set, is an extra transform in object space
// (owned by whoever evaluated); null means identity.
class ObjectState {
public:
    ObjectState() = default;
    explicit ObjectState(Object* o) : obj(o) {}

    Object* obj = nullptr;
    Matrix3* tm = nullptr;

    Interval& tmValid() { return tmValid_; }
    Interval& mtlValid() { return mtlValid_; }
    bool TMIsIdentity() const { return tm == nullptr; }
    Matrix3 GetTM() const { return tm ? *tm : Matrix3(); }
    // Where the whole state holds: the object's validity with the transform's and material's.
    Interval Validity(TimeValue t) const;

private:
    Interval tmValid_ = FOREVER;
    Interval mtlValid_ = FOREVER;
};

// Moves points: Deform calls Map once per point.
class Deformer {
public:
    virtual ~Deformer() = default;
    // The new position of point i, which is now at p.
    virtual Point3 Map(int i, Point3 p) = 0;
    // Maps n consecutive points in place, pts[k] being point first + k. Objects that keep
    // their points in one array call this; the default calls Map for each point, a deformer
    // with a cheap per-point rule may override it with a tight loop (same results).
    virtual void MapRange(Point3* pts, int first, int n) {
        for (int k = 0; k < n; ++k) pts[k] = Map(first + k, pts[k]);
    }
};

// Anything that shows in viewports: objects and modifiers.
class BaseObject : public ReferenceTarget {
public:
    // Viewport drawing and picking; the defaults draw nothing and hit nothing.
    virtual int Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) {
        (void)t; (void)inode; (void)vpt; (void)flags;
        return 0;
    }
    // Non-zero when the object is hit.
    virtual int HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) {
        (void)t; (void)inode; (void)type; (void)crossing; (void)flags; (void)p; (void)vpt;
        return 0;
    }
    // Bounding boxes; the defaults leave box as the caller passed it (callers pass an empty box).
    virtual void GetWorldBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) {
        (void)t; (void)inode; (void)vpt; (void)box;
    }
    virtual void GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) {
        (void)t; (void)inode; (void)vpt; (void)box;
    }
    // Sub-object levels (subobj.h drives them): their count and names (index 0 is level 1).
    virtual int NumSubObjTypes() { return 0; }
    virtual const MCHAR* GetSubObjTypeName(int i) { (void)i; return nullptr; }
    // Entering level (0 is the object itself): modes receives the level's tool modes.
    virtual void ActivateSubobjSel(int level, XFormModes& modes) { (void)level; (void)modes; }
    // Sub-object transforms at the active level. partm maps object to world; val is in the
    // space of tmAxis (a world axis system); localOrigin turns and scales each sub-object
    // about its own centre instead of the axis origin.
    virtual void Move(TimeValue t, Matrix3& partm, Matrix3& tmAxis, Point3& val, BOOL localOrigin = FALSE) {
        (void)t; (void)partm; (void)tmAxis; (void)val; (void)localOrigin;
    }
    virtual void Rotate(TimeValue t, Matrix3& partm, Matrix3& tmAxis, Quat& val, BOOL localOrigin = FALSE) {
        (void)t; (void)partm; (void)tmAxis; (void)val; (void)localOrigin;
    }
    virtual void Scale(TimeValue t, Matrix3& partm, Matrix3& tmAxis, Point3& val, BOOL localOrigin = FALSE) {
        (void)t; (void)partm; (void)tmAxis; (void)val; (void)localOrigin;
    }
    virtual void TransformStart(TimeValue t) { (void)t; }
    virtual void TransformFinish(TimeValue t) { (void)t; }
    virtual void TransformCancel(TimeValue t) { (void)t; }
    // The object's name in the modifier stack and the track view; the class name by default.
    virtual MSTR GetObjectName(bool localized = true) const { return ClassName(localized); }
};

namespace host {
// Per-channel validity for objects that keep it (meshes, polys, parametric objects).
struct ChannelValidities {
    Interval v[NUM_OBJ_CHANS] = {FOREVER, FOREVER, FOREVER, FOREVER, FOREVER, FOREVER,
                                 FOREVER, FOREVER, FOREVER, FOREVER, FOREVER};
    Interval Get(int chan) const { return chan >= 0 && chan < NUM_OBJ_CHANS ? v[chan] : FOREVER; }
    void Set(int chan, Interval iv) { if (chan >= 0 && chan < NUM_OBJ_CHANS) v[chan] = iv; }
    void Update(int chan, Interval iv) { if (chan >= 0 && chan < NUM_OBJ_CHANS) v[chan] &= iv; }
    void SetAll(Interval iv) { for (Interval& c : v) c = iv; }
};
}  // namespace host

class Object : public BaseObject {
public:
    // The local box (GetLocalBoundBox) through inode's object matrix at t; unchanged when the
    // local box is empty or inode is null.
    void GetWorldBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) override;
    // The state at t. A base object answers itself; derived objects evaluate their stack.
    virtual ObjectState Eval(TimeValue t) { (void)t; return ObjectState(this); }
    // The object at the bottom of a modifier stack; this for a base object.
    virtual Object* FindBaseObject() { return this; }
    // How long channel chan (a *_CHAN_NUM) stays as it is at t; FOREVER by default.
    virtual Interval ChannelValidity(TimeValue t, int chan) { (void)t; (void)chan; return FOREVER; }
    // The intersection of every channel's validity at t.
    virtual Interval ObjectValidity(TimeValue t);

    // Point access for deformers. A deformable object answers TRUE and its points.
    virtual int IsDeformable() { return FALSE; }
    virtual int NumPoints() { return 0; }
    virtual Point3 GetPoint(int i) { (void)i; return Point3(); }
    virtual void SetPoint(int i, const Point3& p) { (void)i; (void)p; }
    // Called after points were set so that caches (normals, bounds) are rebuilt.
    virtual void PointsWereChanged() {}
    // Sets every point to defProc.Map(i, point); useSel is for objects with a sub-selection.
    // A null deformer changes nothing.
    virtual void Deform(Deformer* defProc, int useSel = 0);
    // The box of the points (through tm when given); an empty box for an object without points.
    virtual void GetDeformBBox(TimeValue t, Box3& box, Matrix3* tm = nullptr, BOOL useSel = FALSE);

    // Channel validity for objects that keep it; the defaults keep nothing.
    // SetChannelValidity replaces a channel's interval, UpdateValidity intersects it.
    virtual void SetChannelValidity(int nchan, Interval v) { (void)nchan; (void)v; }
    virtual void UpdateValidity(int nchan, Interval v) { (void)nchan; (void)v; }
    // Marks the channels as changed (their validity becomes NEVER) so caches rebuild.
    virtual void InvalidateChannels(ChannelMask channels) { (void)channels; }

    // Copies for the modifier stack. MakeShallowCopy answers a new object (the caller owns it)
    // that holds a copy of the given channels, or null when the class cannot be copied so (a
    // parametric object is converted instead). ShallowCopy takes the channels of fromOb, which
    // must be of a class this object can copy from; host_CopyChannels says whether it could.
    virtual Object* MakeShallowCopy(ChannelMask channels) { (void)channels; return nullptr; }
    virtual void ShallowCopy(Object* fromOb, ChannelMask channels) { host_CopyChannels(fromOb, channels); }
    virtual bool host_CopyChannels(Object* fromOb, ChannelMask channels) { (void)fromOb; (void)channels; return false; }
    // True for classID itself and for the types this class is a kind of (an editable mesh is a
    // kind of triObjectClassID).
    virtual int IsSubClassOf(Class_ID classID) { return classID == ClassID() ? TRUE : FALSE; }

    // Conversion between object types; the defaults convert only to the object's own class.
    // ConvertToType answers this, or a new object the caller owns (delete it with
    // DeleteThis when it was not put in the scene), or null when it cannot convert.
    virtual int CanConvertToType(Class_ID obtype) { return obtype == ClassID() ? TRUE : FALSE; }
    virtual Object* ConvertToType(TimeValue t, Class_ID obtype) {
        (void)t;
        return obtype == ClassID() ? this : nullptr;
    }

    virtual BOOL IsWorldSpaceObject() { return FALSE; }
    virtual int IsRenderable() { return FALSE; }
    virtual BOOL IsShapeObject() { return FALSE; }
    virtual BOOL UsesWireColor() { return TRUE; }
    // The base of the name a new node of this object gets ("Point" gives "Point001").
    virtual void InitNodeName(MSTR& s) { s = GetObjectName(true); }
};

class GeomObject : public Object {
public:
    SClass_ID SuperClassID() override { return GEOMOBJECT_CLASS_ID; }
    int IsRenderable() override { return TRUE; }
};

class HelperObject : public Object {
public:
    SClass_ID SuperClassID() override { return HELPER_CLASS_ID; }
};

// A shape: curves (splines) in object space (shape.h has the Bezier splines and SplineShape).
// Curve questions take the curve's index and a parameter in 0..1: ptype 0 (PARAM_SIMPLE) runs
// evenly over the pieces, 1 (PARAM_NORMALIZED) by arc length. A curve or piece out of range
// answers the origin (length 0, not closed).
class ShapeObject : public GeomObject {
public:
    SClass_ID SuperClassID() override { return SHAPE_CLASS_ID; }
    BOOL IsShapeObject() override { return TRUE; }
    int IsRenderable() override { return FALSE; }

    virtual int NumberOfCurves(TimeValue t) { (void)t; return 0; }
    virtual BOOL CurveClosed(TimeValue t, int curve) { (void)t; (void)curve; return FALSE; }
    virtual Point3 InterpCurve3D(TimeValue t, int curve, float param, int ptype = 0) {
        (void)t; (void)curve; (void)param; (void)ptype;
        return Point3();
    }
    virtual Point3 TangentCurve3D(TimeValue t, int curve, float param, int ptype = 0) {
        (void)t; (void)curve; (void)param; (void)ptype;
        return Point3();
    }
    virtual float LengthOfCurve(TimeValue t, int curve) { (void)t; (void)curve; return 0.0f; }
    virtual int NumberOfPieces(TimeValue t, int curve) { (void)t; (void)curve; return 0; }
    virtual Point3 InterpPiece3D(TimeValue t, int curve, int piece, float param, int ptype = 0) {
        (void)t; (void)curve; (void)piece; (void)param; (void)ptype;
        return Point3();
    }
    // What a drawer needs: each curve as a polyline, sampled with `steps` points inside each
    // piece; a closed curve repeats its first point at the end.
    void host_GetPolylines(TimeValue t, int steps, std::vector<std::vector<Point3>>& out);

    // Viewport: the curves as polylines in the node's colour; the box of the polylines.
    int Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) override;
    int HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) override;
};
