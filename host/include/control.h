// Control: an animated value. The host's keyframe controllers and every plug-in
// controller derive from it.
#pragma once

#include "ref.h"
#include "point3.h"
#include "quat.h"
#include "matrix3.h"

class INode;
class ViewExp;
class IPoint2;
class Box3;
class ScaleValue;

// GetValue/SetValue method. Relative forms combine the controller's value with the
// caller's: a transform controller multiplies its local value into the parent matrix
// (val = local * val); a float adds; a position pre-translates; a rotation pre-multiplies
// its matrix; a scale applies ApplyScaling.
enum GetSetMethod { CTRL_RELATIVE = 0, CTRL_ABSOLUTE = 1 };

// SetXFormPacket commands.
enum SetXFormCommand { XFORM_MOVE = 0, XFORM_ROTATE = 1, XFORM_SCALE = 2, XFORM_SET = 3 };

// What a transform controller's SetValue receives: a move, rotate or scale expressed in
// the space of tmAxis, with tmParent the parent's world matrix; or XFORM_SET with the
// wanted world matrix in tmAxis.
class SetXFormPacket {
public:
    SetXFormCommand command = XFORM_SET;
    Matrix3 tmParent;
    Matrix3 tmAxis;
    Point3 p;
    Quat q;
    AngAxis aa;
    BOOL localOrigin = FALSE;

    SetXFormPacket() = default;
    // Set: the node's new world matrix and its parent's.
    SetXFormPacket(const Matrix3& mat, const Matrix3& par = Matrix3())
        : command(XFORM_SET), tmParent(par), tmAxis(mat) {}
    // Move by pt in the space of tma.
    SetXFormPacket(const Point3& pt, const Matrix3& tmp = Matrix3(), const Matrix3& tma = Matrix3())
        : command(XFORM_MOVE), tmParent(tmp), tmAxis(tma), p(pt) {}
    // Rotate by qt in the space of tma.
    SetXFormPacket(const Quat& qt, BOOL lo = FALSE, const Matrix3& tmp = Matrix3(), const Matrix3& tma = Matrix3())
        : command(XFORM_ROTATE), tmParent(tmp), tmAxis(tma), q(qt), aa(qt), localOrigin(lo) {}
    SetXFormPacket(const AngAxis& aax, BOOL lo = FALSE, const Matrix3& tmp = Matrix3(), const Matrix3& tma = Matrix3())
        : command(XFORM_ROTATE), tmParent(tmp), tmAxis(tma), q(aax), aa(aax), localOrigin(lo) {}
    // Scale by the factors pt in the space of tma.
    SetXFormPacket(const Point3& pt, BOOL lo, const Matrix3& tmp = Matrix3(), const Matrix3& tma = Matrix3())
        : command(XFORM_SCALE), tmParent(tmp), tmAxis(tma), p(pt), localOrigin(lo) {}
};

// Out-of-range types: what a keyframe controller answers before its first and after its last key.
constexpr int ORT_BEFORE = 1;
constexpr int ORT_AFTER = 2;
constexpr int ORT_CONSTANT = 1;
constexpr int ORT_CYCLE = 2;
constexpr int ORT_LOOP = 3;
constexpr int ORT_OSCILLATE = 4;  // ping-pong
constexpr int ORT_LINEAR = 5;
constexpr int ORT_IDENTITY = 6;
constexpr int ORT_RELATIVE_REPEAT = 7;

// Inheritance flags of transform controllers.
constexpr DWORD INHERIT_POS_X = 1 << 0;
constexpr DWORD INHERIT_POS_Y = 1 << 1;
constexpr DWORD INHERIT_POS_Z = 1 << 2;
constexpr DWORD INHERIT_ROT_X = 1 << 3;
constexpr DWORD INHERIT_ROT_Y = 1 << 4;
constexpr DWORD INHERIT_ROT_Z = 1 << 5;
constexpr DWORD INHERIT_SCL_X = 1 << 6;
constexpr DWORD INHERIT_SCL_Y = 1 << 7;
constexpr DWORD INHERIT_SCL_Z = 1 << 8;
constexpr DWORD INHERIT_ALL = 511;

// GetInterface(I_CONTROL) on a controller answers the Control itself.
constexpr ULONG I_CONTROL = 0x00001010;

class Control : public ReferenceTarget {
public:
    using ReferenceTarget::GetInterface;
    void* GetInterface(ULONG id) override {
        return id == I_CONTROL ? static_cast<Control*>(this) : ReferenceTarget::GetInterface(id);
    }

    // val points at the value type of the super class: float, Point3, Quat, ScaleValue,
    // or for transform controllers a Matrix3 (always called CTRL_RELATIVE with the parent
    // matrix in val). valid is narrowed to the time over which the answer holds.
    virtual void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) = 0;
    // Sets the value at t; under animate mode a keyframe controller keys t. commit=0 marks an
    // interactive drag that a later CommitValue or RestoreValue ends.
    virtual void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) = 0;
    virtual void CommitValue(TimeValue t) { (void)t; }
    virtual void RestoreValue(TimeValue t) { (void)t; }
    // Copies what it can from another controller of the same super class (keys or value).
    virtual void Copy(Control* from) { (void)from; }

    // Sub-controllers of transform and compound controllers; null when there is none.
    virtual Control* GetPositionController() { return nullptr; }
    virtual Control* GetRotationController() { return nullptr; }
    virtual Control* GetScaleController() { return nullptr; }
    virtual Control* GetRollController() { return nullptr; }
    virtual Control* GetXController() { return nullptr; }
    virtual Control* GetYController() { return nullptr; }
    virtual Control* GetZController() { return nullptr; }
    virtual Control* GetWController() { return nullptr; }
    virtual BOOL SetPositionController(Control* c) { (void)c; return FALSE; }
    virtual BOOL SetRotationController(Control* c) { (void)c; return FALSE; }
    virtual BOOL SetScaleController(Control* c) { (void)c; return FALSE; }
    virtual BOOL SetRollController(Control* c) { (void)c; return FALSE; }

    // Asked when a node changes parent: keep the world transform by changing the local one.
    virtual BOOL ChangeParents(TimeValue t, const Matrix3& oldP, const Matrix3& newP, const Matrix3& tm) {
        (void)t; (void)oldP; (void)newP; (void)tm;
        return FALSE;
    }
    virtual BOOL InheritsParentTransform() { return TRUE; }
    virtual DWORD GetInheritanceFlags() { return INHERIT_ALL; }
    virtual BOOL SetInheritanceFlags(DWORD f, BOOL keepPos) { (void)f; (void)keepPos; return FALSE; }

    // Out-of-range types.
    virtual int GetORT(int type) { (void)type; return ORT_CONSTANT; }
    virtual void SetORT(int ort, int type) { (void)ort; (void)type; }
    virtual void EnableORTs(BOOL enable) { (void)enable; }

    // Ease and multiplier curves (float controllers answering a time warp and a factor).
    virtual int NumEaseCurves() { return 0; }
    virtual int NumMultCurves() { return 0; }
    virtual TimeValue ApplyEase(TimeValue t, Interval& valid) { (void)valid; return t; }
    virtual float GetMultVal(TimeValue t, Interval& valid) { (void)t; (void)valid; return 1.0f; }
    // Controllers that take curves answer TRUE; the others ignore Append and Delete.
    virtual BOOL CanApplyEaseMultCurves() { return FALSE; }
    virtual void AppendEaseCurve(Control* cont) { (void)cont; }
    virtual void DeleteEaseCurve(int i) { (void)i; }
    virtual void AppendMultCurve(Control* cont) { (void)cont; }
    virtual void DeleteMultCurve(int i) { (void)i; }

    BOOL IsKeyable() override { return TRUE; }
    BOOL IsLeaf() override { return NumSubs() == 0 ? TRUE : FALSE; }
    virtual BOOL IsColorController() { return FALSE; }
    virtual BOOL CanCopyTrack(Interval iv, DWORD flags) { (void)iv; (void)flags; return FALSE; }

    // Viewport hooks for controllers that draw (IK goals and the like).
    virtual int Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) {
        (void)t; (void)inode; (void)vpt; (void)flags;
        return 0;
    }
    virtual int HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) {
        (void)t; (void)inode; (void)type; (void)crossing; (void)flags; (void)p; (void)vpt;
        return 0;
    }
    virtual void GetWorldBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) {
        (void)t; (void)inode; (void)vpt; (void)box;
    }
    virtual void MouseCycleStarted() {}
    virtual void MouseCycleCompleted() {}
};

// A track that the animator may lock; a locked track ignores SetValue (checked first).
class ILockedTrack {
public:
    virtual ~ILockedTrack() = default;
    virtual bool GetLocked(bool checkOverride = true) const = 0;
    virtual void SetLocked(bool val, bool setChildren = false) = 0;
};

class ILockedTrackImp : public ILockedTrack {
public:
    bool GetLocked(bool checkOverride = true) const override { (void)checkOverride; return mLocked; }
    void SetLocked(bool val, bool setChildren = false) override { (void)setChildren; mLocked = val; }

protected:
    bool mLocked = false;
};

// The host's default controllers; each answers a new instance the caller must reference.
Control* NewDefaultFloatController();
Control* NewDefaultPoint3Controller();
Control* NewDefaultPositionController();
Control* NewDefaultRotationController();
Control* NewDefaultScaleController();
Control* NewDefaultMatrix3Controller();  // PRS with the three defaults under it
Control* NewDefaultColorController();
// A deep copy of c (keys included); null for null.
Control* CloneControl(Control* c, RemapDir* remap = nullptr);
