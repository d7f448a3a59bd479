// IKFKChain: the solver one chain of joints shares. It sits on a small helper node, reads its
// joints, goal, goal parent, target and rotation space node from its parameter block, and
// solves all joints at once per time; each joint's IKFKControl asks it for its matrix.
//
// Evaluation never calls GetNodeTM of a node that depends on the chain: joints are read
// through their FK controllers, goal and target through their parents and controllers.
// Node parameters are plain pointers watched through weak references, so a deleted node
// reads null and keeps nothing alive. Units: radians, fractions for percent parameters.
#pragma once

#include <vector>

#include "control.h"
#include "ifnpub.h"
#include "iparamb2.h"
#include "solvers/ikfk_solver.h"
#include "weakref.h"

class INode;

namespace kt {

class IKFKControl;
class IKFKMotionRollups;

constexpr Class_ID IKFKCHAIN_CLASS_ID(0x45596D56, 0x1E847B60);
constexpr Interface_ID IIKFKCHAIN_INTERFACE_ID(0x45596D56, 0x1E847B60);

// The function-published face of the chain: chain.controller.FK() and the like.
class IIKFKChain : public FPMixinInterface {
public:
    enum FunctionIDs { fnFK = 0, fnIK, fnMatchFK, fnMatchIK, fnMatchManualStretch, fnMatchPreferredRotations };

    // FK takes the IK pose, then ikfk_blend goes to 0; one undo step.
    virtual void FK() = 0;
    // IK takes the FK pose, then ikfk_blend goes to 1; one undo step.
    virtual void IK() = 0;
    // FK controllers take the present pose (with toIK: the full IK pose).
    virtual void MatchFK(bool toIK) = 0;
    // Goal, target and swivel take the present pose (with toFK: the FK pose).
    virtual void MatchIK(bool toFK) = 0;
    // manual_stretch absorbs the present stretch.
    virtual void MatchManualStretch() = 0;
    // The preferred rotations take the present pose.
    virtual void MatchPreferredRotations() = 0;

    FPInterfaceDesc* GetDesc() override;

    BEGIN_FUNCTION_MAP
    VFN_0(fnFK, FK)
    VFN_0(fnIK, IK)
    VFN_1(fnMatchFK, MatchFK, TYPE_bool)
    VFN_1(fnMatchIK, MatchIK, TYPE_bool)
    VFN_0(fnMatchManualStretch, MatchManualStretch)
    VFN_0(fnMatchPreferredRotations, MatchPreferredRotations)
    END_FUNCTION_MAP
};

class IKFKChain : public Control, public ILockedTrackImp, public IIKFKChain, public WeakRefOwner, private IKFKSolveSource {
public:
    enum ParamIds {
        pb_joints = 0,
        pb_goal = 1,
        pb_goal_parent = 2,
        pb_goal_inbetween = 3,
        pb_target = 4,
        pb_rotation_space_node = 5,
        pb_ikfk_blend = 6,
        pb_manual_stretch = 7,
        pb_auto_stretch = 8,
        pb_rotation_space = 9,
        pb_flexion_bias = 10,
        pb_use_target = 11,
        pb_swivel_angle = 12,
        pb_use_goal_parent = 13,
        pb_use_rotation_space = 14,
        pb_auto_ikfk_match = 15,
        pb_last_joint_ik_rotation = 16,
        pb_keep_initial_rot_space = 17,
        pb_initial_rot_space_offset = 18,
        pb_target_dist_percent = 19,
        pb_parent_space = 20,
        pb_iterations = 21,
        pb_display_goal = 22,
        pb_display_target = 23,
        pb_affect_helpers_display = 24,
        pb_soft_ik = 25,
    };
    // Node types of IKFKControl.
    enum NodeType { kJoint = 0, kGoal = 1, kGoalParent = 2, kTarget = 3 };
    static constexpr int kPBlockRef = 0;

    explicit IKFKChain(BOOL loading = FALSE);
    ~IKFKChain() override;
    // The motion panel shows the chain's rollup while the chain's node is edited.
    void BeginEditParams(IObjParam* ip, ULONG flags, Animatable* prev) override;
    void EndEditParams(IObjParam* ip, ULONG flags, Animatable* next) override;

    // ---- Identity and references.
    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return IKFKCHAIN_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override { return i == kPBlockRef ? pblock : nullptr; }
    // Sub-anims are the block: its animatable parameters are the chain's tracks.
    int NumSubs() override { return 1; }
    Animatable* SubAnim(int i) override { return i == 0 ? pblock : nullptr; }
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override { return subNum == 0 ? kPBlockRef : -1; }
    RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID, RefMessage message,
                               BOOL propagate) override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    BaseInterface* GetInterface(Interface_ID id) override;
    // Also answers I_IKFKDEMO (ikfk_demo.h).
    void* GetInterface(ULONG id) override;
    IOResult Load(ILoad* iload) override;

    // ---- Control. The chain's own value is the last joint's world matrix.
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_RELATIVE) override;
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_RELATIVE) override;

    // ---- Per-node dispatch for IKFKControl.
    // Type 0: jointTMs[index] (val untouched for an index out of range); types 1..3: the
    // node's parent matrix (with its link) through its main controller.
    void NodeGetValue(IKFKControl* ctl, int type, int index, TimeValue t, Matrix3& val, Interval& valid,
                      GetSetMethod method);
    void NodeSetValue(IKFKControl* ctl, int type, int index, TimeValue t, SetXFormPacket& packet, int commit,
                      GetSetMethod method);
    // The matrix the host moves a node of the chain in (see IKFKControl).
    Matrix3 NodeParentMatrix(int type, int index, TimeValue t);

    // ---- Nodes. Null for a missing entry or an index out of range.
    int NumJoints();
    INode* GetJoint(int i);
    INode* GetGoal();
    INode* GetGoalParent();
    INode* GetTarget();
    INode* GetRotationSpaceNode();
    // A joint's sub-controllers, when its TM controller is an IKFKControl; else null.
    Control* GetIKRotController(int i);
    Control* GetFKController(int i);
    Control* GetLinkController(int i);
    // Effective switches at t.
    bool HasGoalParent(TimeValue t);
    bool HasTarget(TimeValue t);
    bool HasRotSpace(TimeValue t);

    // Fits the chain onto its nodes: every joint, the goal, the goal parent and the target
    // get an IKFKControl that points at chainNode (the node this chain is the TM controller
    // of), keeping their previous controller as main controller. Safe to call again.
    void FitNodes(INode* chainNode);
    // Gives a node back its main controller (a new PRS when it has none).
    static void ReleaseNode(INode* node);

    // ---- Matching (each one undo step "IKFK Change"; the time is the current time).
    void FK() override;
    void IK() override;
    // FK, IK and these two are recorded in the macro recorder (`$Chain.controller.FK()`).
    void MatchFK(bool toIK) override;
    void MatchIK(bool toFK) override;
    void MatchManualStretch() override;
    void MatchPreferredRotations() override;
    // joint: a single joint, or -1 for all (without the last when skipLast).
    void MatchFK(bool toIK, int joint, bool skipLast);
    void MatchIK(bool toFK, bool withRotation, int skipJoint, bool matchGoal, bool matchTarget);

    // ---- Viewport. The goal line runs from the first joint to the goal (from the goal parent
    // to the goal for the goal parent's node), the target line from the second joint to the
    // target. They are drawn for the nodes whose IKFKControl forwards here; the chain's own
    // node draws nothing. display_goal / display_target: 0 never, 1 while the node or the
    // chain's node is selected, 2 always.
    int Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) override;
    int HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) override;
    void GetWorldBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) override;
    // The world end points of the line inode shows at t; false when it shows none.
    bool DisplayLine(TimeValue t, INode* inode, Point3& from, Point3& to);

    // ---- Cache.
    // Solves at t unless the cache holds t.
    void Evaluate(TimeValue t) {
        if (cacheDirty || cacheTime != t) Solve(t, -1.0f, -1);
    }
    // A joint's world matrix at t, from the cache while it holds; false for an index the
    // last solve did not cover (val untouched).
    bool JointValue(int index, TimeValue t, Matrix3& val, Interval& valid) {
        Evaluate(t);
        valid &= cacheValid;
        if (index < 0 || index >= solver_.jointTMs.Count()) return false;
        val = solver_.jointTMs.begin()[index];
        return true;
    }
    void InvalidateCache() { cacheDirty = 1; }
    const IKFKSolver& Solver() const { return solver_; }
    const IKFKSolveInputs& Inputs() const { return inputs_; }

    IParamBlock2* pblock = nullptr;
    TimeValue cacheTime = 0;
    int cacheDirty = 1;
    Interval cacheValid = NEVER;
    Matrix3 goalTM, goalParentTM, targetTM, baseTM;
    Matrix3 goalParentSpaceTM, goalSpaceTM, targetSpaceTM;
    BYTE suspended = 0;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;
    void WeakRefChanged(int index, ReferenceTarget* target, PartID part, RefMessage message) override;

private:
    IKFKMotionRollups* rollups_ = nullptr;
    friend class IKFKChainAccessor;
    friend class IKFKChainPostPatchProc;
    // The solve; blend < 0 takes ikfk_blend.
    void Solve(TimeValue t, float blendOverride, int skipJoint);
    void Gather(TimeValue t, IKFKSolveParams& p);
    // The world matrix of a node's parent, through bone-style parents' controllers.
    Matrix3 ParentWorld(INode* node, TimeValue t, Interval& valid);
    // The parent matrix a goal, goal parent or target node is evaluated in (link applied).
    Matrix3 NodeSpace(INode* node, TimeValue t, Interval& valid, bool useLink);
    // The node's main controller (its IKFKControl's, or its TM controller).
    static Control* MainController(INode* node);
    static IKFKControl* ControlOf(INode* node);
    Quat PreferredRotation(int i) override;
    float FirstJointXAngle() override;
    void SyncWeakRefs();
    void NotifyChainNodes();
    // Parameter-change side effects (goal released, goal parent path, rotation space offset).
    // False refuses the new value (a goal parent that is no ancestor of the goal).
    bool NodeParamChanging(ParamID id, INode* oldNode, INode* newNode, TimeValue t);
    void SetXForm(Control* c, TimeValue t, SetXFormPacket& p);

    // The block's scalar parameters as a solve reads them, with the interval they hold for.
    // Refilled when a solve falls outside it or the block sends any message.
    struct BlockValues {
        float blend = 0.0f, manualStretch = 1.0f, autoStretch = 0.0f, rotationSpace = 1.0f, flexionBias = 0.0f,
              swivelAngle = 0.0f, softIK = 0.0f, targetDistPercent = 0.5f;
        int parentSpace = 1, iterations = 40;
        bool lastJointIKRotation = true, useGoalParent = true, useTarget = true, useRotSpace = true;
        Interval valid = NEVER;
        bool filled = false;
    };
    const BlockValues& BlockValuesAt(TimeValue t);

    IKFKSolver solver_;
    BlockValues block_;
    IKFKSolveInputs inputs_;
    IKFKSolveParams params_;
    TimeValue solveTime_ = 0;
    bool weakDirty_ = true;
    bool inNodeSet_ = false;
    // The block's nodes as of the last SyncWeakRefs: a solve reads them many times, and
    // a block lookup per read costs more than the solve's arithmetic.
    INode* goalNode_ = nullptr;
    INode* goalParentNode_ = nullptr;
    INode* targetNode_ = nullptr;
    INode* rotSpaceNode_ = nullptr;
    std::vector<INode*> jointNodes_;
    // Each joint's IKFKControl as the running solve found it (null when the joint has none):
    // the preferred rotations are read through them while it lasts.
    std::vector<IKFKControl*> solveControls_;
};

// The program-wide switch RigControl tests: off while the solvers write FK controllers
// through transform packets, so that the rig's own controller passes the packet through.
bool RigControlEnabled();
void SetRigControlEnabled(bool on);

}  // namespace kt
