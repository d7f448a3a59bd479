// INode: a node of the scene graph.
//
// A node refers to its transform controller, its object, its material and its visibility
// controller (those are references: the node keeps them alive). Parent and children are plain
// links, not references: a child node is not a dependent of its parent, and a dependency test
// does not travel down the hierarchy. Every node but the root ("Scene Root") has a parent;
// nodes at the top level have the root as parent.
//
// World transforms (GetNodeTM) are cached per node with their validity interval. The cache
// drops when the node's controller sends REFMSG_CHANGE, when the controller or the parent is
// replaced, and whenever an ancestor's cache drops; the dependents of every node whose
// transform changed get REFMSG_CHANGE with PART_TM.
//
// Undoable while theHold is holding: SetTMController, SetObjectRef, SetMtl, SetVisController,
// AttachChild and Detach, SetName, Hide, Freeze, SetWireColor, the object offset, user
// properties. Selection is not. Nodes are made and deleted only through the core interface
// (Interface::CreateObjectNode, DeleteNode); the plug-in never deletes one by hand.
#pragma once

#include "ref.h"
#include "matrix3.h"
#include "quat.h"
#include "scalevalue.h"
#include "object.h"

class Control;
class Mtl;
class ILayer;
namespace host { class Scene; class NodeAccess; class NodeAccessIO; }

// Transform lock types and axes.
constexpr int INODE_LOCKPOS = 0;
constexpr int INODE_LOCKROT = 1;
constexpr int INODE_LOCKSCL = 2;
constexpr int INODE_LOCK_X = 0;
constexpr int INODE_LOCK_Y = 1;
constexpr int INODE_LOCK_Z = 2;

// Bone stretch handling.
constexpr int BONE_SCALETYPE_NONE = 0;
constexpr int BONE_SCALETYPE_SCALE = 1;
constexpr int BONE_SCALETYPE_SQUASH = 2;

// Pivot modes of Move/Rotate/Scale. Only PIV_NONE (move the node) is modelled headless.
constexpr int PIV_NONE = 0;
constexpr int PIV_PIVOT_ONLY = 1;
constexpr int PIV_OBJECT_ONLY = 2;
constexpr int PIV_HIERARCHY_ONLY = 3;

constexpr Class_ID BASENODE_CLASS(BASENODE_CLASS_ID, 0);

// Sub-anims of a node.
constexpr int NODE_SUBANIM_VISIBILITY = 0;
constexpr int NODE_SUBANIM_SPACEWARPS = 1;
constexpr int NODE_SUBANIM_TRANSFORM = 2;
constexpr int NODE_SUBANIM_OBJECT = 3;

class INode : public ReferenceTarget {
public:
    SClass_ID SuperClassID() override { return BASENODE_CLASS_ID; }
    Class_ID ClassID() override { return BASENODE_CLASS; }
    void GetClassName(MSTR& s, bool localized = true) const override;
    MSTR ClassName(bool localized = true) const override;

    // ---- Name. Rename sends REFMSG_NODE_NAMECHANGE to dependents. Names need not be unique.
    const MCHAR* GetName() const { return name_.data(); }
    void SetName(const MCHAR* name);

    // ---- Hierarchy.
    // The root for a node at the top level; null for the root and for a deleted node.
    INode* GetParentNode() const { return parent_; }
    // Makes child the last child of this node. With keepTM the child keeps its world transform
    // at the current time (its controller's ChangeParents, or else an XFORM_SET); without it
    // the child keeps its local transform. Refuses null, this node and this node's ancestors.
    void AttachChild(INode* child, int keepTM = 1);
    // Moves the node to the top level (under the root).
    void Detach(TimeValue t, int keepPos = 1);
    int NumberOfChildren() const { return static_cast<int>(children_.size()); }
    // Null for an index out of range.
    INode* GetChildNode(int i) const {
        return i >= 0 && i < NumberOfChildren() ? children_[static_cast<size_t>(i)] : nullptr;
    }
    int IsRootNode() const { return isRoot_ ? TRUE : FALSE; }

    // ---- Object.
    Object* GetObjectRef() const { return object_; }
    void SetObjectRef(Object* obj);
    // Same as GetObjectRef: there are no space warps.
    Object* GetObjOrWSMRef() const { return object_; }
    // The object evaluated at t; obj is null when the node has no object.
    const ObjectState& EvalWorldState(TimeValue t, BOOL evalHidden = TRUE);

    // ---- Transform.
    Control* GetTMController() const { return tmControl_; }
    // Refuses (FALSE) a controller that depends on this node.
    BOOL SetTMController(Control* m3cont);
    // World transform at t: the TM controller's CTRL_RELATIVE value on the parent's world
    // transform. valid is narrowed by the node's and its ancestors' validity. Answers from the
    // cache while t lies inside the cached interval; allocates nothing.
    Matrix3 GetNodeTM(TimeValue t, Interval* valid = nullptr) {
        if (!tmValid_.InInterval(t)) EvalTM(t);
        if (valid) *valid &= tmValid_;
        return tmCache_;
    }
    // Sets the world transform at t: an XFORM_SET packet (tmAxis = tm, tmParent = the parent's
    // world transform) to the TM controller, which keys it while animating.
    void SetNodeTM(TimeValue t, const Matrix3& tm);
    // The parent's world transform (identity at the top level).
    Matrix3 GetParentTM(TimeValue t);
    // Object offset times the node transform: where the object's points are placed.
    Matrix3 GetObjectTM(TimeValue t, Interval* valid = nullptr);
    Matrix3 GetObjTMBeforeWSM(TimeValue t, Interval* valid = nullptr) { return GetObjectTM(t, valid); }
    Matrix3 GetObjTMAfterWSM(TimeValue t, Interval* valid = nullptr) { return GetObjectTM(t, valid); }
    // Drops the cached transform of this node and its descendants and tells their dependents.
    void InvalidateTreeTM();
    void InvalidateTM() { InvalidateTreeTM(); }

    // Move by val, rotate by val, scale by the factors val, each expressed in the space of
    // tmAxis, through the TM controller's SetValue packets. With affectKids FALSE the children
    // keep their world transforms. localOrigin rotates and scales about the node's own pivot.
    void Move(TimeValue t, const Matrix3& tmAxis, const Point3& val, BOOL localOrigin = FALSE,
              BOOL affectKids = TRUE, int pivMode = PIV_NONE, BOOL ignoreLocks = FALSE);
    void Rotate(TimeValue t, const Matrix3& tmAxis, const AngAxis& val, BOOL localOrigin = FALSE,
                BOOL affectKids = TRUE, int pivMode = PIV_NONE, BOOL ignoreLocks = FALSE);
    void Rotate(TimeValue t, const Matrix3& tmAxis, const Quat& val, BOOL localOrigin = FALSE,
                BOOL affectKids = TRUE, int pivMode = PIV_NONE, BOOL ignoreLocks = FALSE);
    void Scale(TimeValue t, const Matrix3& tmAxis, const Point3& val, BOOL localOrigin = FALSE,
               BOOL affectKids = TRUE, int pivMode = PIV_NONE, BOOL ignoreLocks = FALSE);

    // ---- Object offset: scale (in its axis system), then rotation, then translation, applied
    // before the node transform. The object moves, the node and its children do not.
    void SetObjOffsetPos(const Point3& p);
    Point3 GetObjOffsetPos() const { return offsetPos_; }
    void SetObjOffsetRot(const Quat& q);
    Quat GetObjOffsetRot() const { return offsetRot_; }
    void SetObjOffsetScale(const ScaleValue& sv);
    ScaleValue GetObjOffsetScale() const { return offsetScale_; }

    // ---- Visibility track (sub-anim 0). Without a controller the visibility is 1.
    Control* GetVisController() const { return visControl_; }
    void SetVisController(Control* cont);
    float GetVisibility(TimeValue t, Interval* valid = nullptr);

    // ---- Material (a reference).
    Mtl* GetMtl() const { return mtl_; }
    void SetMtl(Mtl* matl);

    // ---- Display and flags.
    // 0x00BBGGRR.
    DWORD GetWireColor() const { return wireColor_; }
    void SetWireColor(DWORD newcol);
    int Renderable() const { return renderable_ ? TRUE : FALSE; }
    void SetRenderable(BOOL onOff);
    // Sends REFMSG_NODE_DISPLAY_PROP_CHANGED with part bit 1 (hidden) to dependents.
    void Hide(BOOL onOff);
    // Hidden by its own flag or by its layer.
    int IsHidden(DWORD hflags = 0, BOOL forRenderer = FALSE) const;
    int IsNodeHidden(BOOL forRenderer = FALSE) const { return IsHidden(0, forRenderer); }
    void Freeze(BOOL onOff);
    // Frozen by its own flag or by its layer.
    int IsFrozen() const;
    int Selected() const { return selected_ ? TRUE : FALSE; }

    // ---- Bones: the node shows and behaves as a bone; the switches the limb tools use.
    void SetBoneNodeOnOff(BOOL onOff, TimeValue t);
    BOOL GetBoneNodeOnOff() const { return boneOn_ ? TRUE : FALSE; }
    void SetBoneAutoAlign(BOOL onOff) { boneAutoAlign_ = onOff != 0; }
    BOOL GetBoneAutoAlign() const { return boneAutoAlign_ ? TRUE : FALSE; }
    void SetBoneFreezeLen(BOOL onOff) { boneFreezeLen_ = onOff != 0; }
    BOOL GetBoneFreezeLen() const { return boneFreezeLen_ ? TRUE : FALSE; }
    void SetBoneScaleType(int which) { boneScaleType_ = which; }
    int GetBoneScaleType() const { return boneScaleType_; }
    // The bone's length axis: 0 X, 1 Y, 2 Z; flip points it the other way.
    void SetBoneAxis(int which) { boneAxis_ = which; }
    int GetBoneAxis() const { return boneAxis_; }
    void SetBoneAxisFlip(BOOL onOff) { boneAxisFlip_ = onOff != 0; }
    BOOL GetBoneAxisFlip() const { return boneAxisFlip_ ? TRUE : FALSE; }
    // Turns the node so its bone axis points at its only child's pivot (or at the mean of its
    // children's pivots); the children keep their world transforms. Nothing without children.
    void RealignBoneToChild(TimeValue t);
    // Takes the stretch out of the node's transform, keeping position and rotation.
    void ResetBoneStretch(TimeValue t);

    // ---- Transform locks (type INODE_LOCK*, axis INODE_LOCK_X..Z). Kept for the tools that
    // honour them; Move/Rotate/Scale here do not.
    void SetTransformLock(int type, int axis, BOOL onOff);
    BOOL GetTransformLock(int type, int axis) const;

    // ---- User properties: lines "key = value" separated by "\r\n".
    void SetUserPropString(const MSTR& key, const MSTR& string);
    BOOL GetUserPropString(const MSTR& key, MSTR& string) const;
    void SetUserPropInt(const MSTR& key, int val);
    BOOL GetUserPropInt(const MSTR& key, int& val) const;
    void SetUserPropFloat(const MSTR& key, float val);
    BOOL GetUserPropFloat(const MSTR& key, float& val) const;
    void SetUserPropBool(const MSTR& key, BOOL b);
    BOOL GetUserPropBool(const MSTR& key, BOOL& b) const;
    BOOL UserPropExists(const MSTR& key) const;
    void GetUserPropBuffer(MSTR& buf) const { buf = userProps_; }
    void SetUserPropBuffer(const MSTR& buf);

    // ---- Identity. A node handle is unique for the life of the process (Interface::
    // GetINodeByHandle finds it).
    ULONG GetHandle() const { return nodeHandle_; }
    ILayer* GetNodeLayer() const { return layer_; }
    // A word of user data the host does not look at.
    void SetNodeLong(DWORD_PTR l) { userData_ = l; }
    DWORD_PTR GetNodeLong() const { return userData_; }
    // True while the node is part of the scene (false after deletion, also while an undo
    // record keeps it).
    bool host_InScene() const { return inScene_; }

    // ---- Animatable / ReferenceMaker.
    int NumSubs() override { return 4; }
    Animatable* SubAnim(int i) override;
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override;
    BOOL CanAssignController(int subAnim) override;
    BOOL AssignController(Animatable* control, int subAnim) override;
    int NumRefs() override { return kNumRefs; }
    RefTargetHandle GetReference(int i) override;
    RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                               RefMessage message, BOOL propagate) override;
    // Scene files: name, root flag, display and bone flags, wire colour, locks, object offset,
    // user properties, layer name and children (as file indices, linked after load). The
    // references are the file's; a loaded node enters the scene through host::AdoptLoadedRoot.
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

    // Reference slots.
    static constexpr int kTMRef = 0;
    static constexpr int kObjRef = 1;
    static constexpr int kMtlRef = 2;
    static constexpr int kVisRef = 3;
    static constexpr int kNumRefs = 4;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;

private:
    friend class host::Scene;
    friend class host::NodeAccess;
    friend class host::NodeAccessIO;
    explicit INode(bool isRoot);
    ~INode() override;

    void EvalTM(TimeValue t);
    void DropTMCaches();
    void NotifyTreeTM();
    void TMChanged();
    void SetRefRecorded(int which, ReferenceTarget* target);
    void UpdateOffsetTM();
    void SetChildrenWorldTMs(TimeValue t, const Matrix3* tms, int n);

    // Hot data first: what GetNodeTM touches.
    Matrix3 tmCache_;
    Interval tmValid_ = NEVER;
    INode* parent_ = nullptr;
    Control* tmControl_ = nullptr;
    bool evaluating_ = false;
    bool isRoot_ = false;
    bool offsetIdentity_ = true;
    Matrix3 offsetTM_;

    Object* object_ = nullptr;
    Mtl* mtl_ = nullptr;
    Control* visControl_ = nullptr;
    std::vector<INode*> children_;
    MSTR name_;
    ObjectState worldState_;
    Point3 offsetPos_;
    Quat offsetRot_;
    ScaleValue offsetScale_;
    MSTR userProps_;
    MSTR loadLayer_;  // layer name read from a file, until the node enters the scene
    ILayer* layer_ = nullptr;
    DWORD_PTR userData_ = 0;
    ULONG nodeHandle_ = 0;
    DWORD wireColor_ = 0x00E8A01Eu;
    DWORD transformLocks_ = 0;
    int boneScaleType_ = BONE_SCALETYPE_SCALE;
    int boneAxis_ = 0;
    bool inScene_ = false;
    bool selected_ = false;
    bool hidden_ = false;
    bool frozen_ = false;
    bool renderable_ = true;
    bool boneOn_ = false;
    bool boneAutoAlign_ = true;
    bool boneFreezeLen_ = true;
    bool boneAxisFlip_ = false;
};
