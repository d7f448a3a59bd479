#include "solvers/ikfk_chain.h"

#include <cmath>

#include "controllers/static_controllers.h"
#include "frame/class_registry.h"
#include "hold.h"
#include "inode.h"
#include "macrorec.h"
#include "maxapi.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "solvers/ikfk_control.h"
#include "solvers/ui/ikfk_motion_rollups.h"
#include "solvers/ikfk_link.h"
#include "solvers/ikfk_math.h"
#include "stdctrl.h"

namespace kt {

namespace {

bool gRigControlEnabled = true;

RegistryClassDesc* ChainDesc() { return ClassRegistry::Find(CTRL_MATRIX3_CLASS_ID, IKFKCHAIN_CLASS_ID); }

ClassFactoryRegistrar chainRegistrar(CTRL_MATRIX3_CLASS_ID, IKFKCHAIN_CLASS_ID,
                                     [](BOOL loading) -> void* { return new IKFKChain(loading); });

// Parameters whose change alters the pose.
bool ChangesShape(ParamID id) {
    switch (id) {
        case IKFKChain::pb_display_goal:
        case IKFKChain::pb_display_target:
            return false;
        default:
            return true;
    }
}

}  // namespace

bool RigControlEnabled() { return gRigControlEnabled; }
void SetRigControlEnabled(bool on) { gRigControlEnabled = on; }

// Side effects of setting a node parameter: release of the old goal, goal parent path,
// rotation space offset.
class IKFKChainAccessor : public PBAccessor {
public:
    void Set(PB2Value& v, ReferenceMaker* owner, ParamID id, int tabIndex, TimeValue t) override {
        auto* chain = static_cast<IKFKChain*>(owner);
        if (!chain || !chain->pblock) return;
        INode* old = chain->pblock->GetINode(id, t, tabIndex);
        if (!chain->NodeParamChanging(id, old, static_cast<INode*>(v.r), t)) v.r = nullptr;
    }
    void TabChanged(tab_changes, Tab<PB2Value>*, ReferenceMaker* owner, ParamID, int, int) override {
        if (auto* chain = static_cast<IKFKChain*>(owner)) {
            chain->weakDirty_ = true;
            chain->cacheDirty = 1;
        }
    }
};

// Refuses nodes whose evaluation would run through the chain again: anything that depends on
// the chain, except the chain's own fitted nodes, and the chain's own node.
class IKFKChainValidator : public PBValidator {
public:
    BOOL Validate(PB2Value& v) override { (void)v; return TRUE; }
    BOOL Validate(PB2Value& v, ReferenceMaker* owner, ParamID id, int tabIndex) override {
        (void)tabIndex;
        auto* chain = static_cast<IKFKChain*>(owner);
        auto* node = static_cast<INode*>(v.r);
        if (!chain || !node) return TRUE;
        if (node->GetTMController() == chain) return FALSE;
        // Joints are read through their FK controllers only; everything else through its
        // parents' GetNodeTM, so neither it nor an ancestor may evaluate through the chain.
        if (id == IKFKChain::pb_joints) return TRUE;
        for (INode* n = node; n && !n->IsRootNode(); n = n->GetParentNode()) {
            if (n->GetTMController() == chain) return FALSE;
            Control* tm = n->GetTMController();
            if (tm && tm->ClassID() == IKFKCONTROL_CLASS_ID && static_cast<IKFKControl*>(tm)->GetChain() == chain) {
                if (static_cast<IKFKControl*>(tm)->GetType() == IKFKChain::kJoint) return FALSE;
                continue;
            }
            if (chain->DependsOn(n)) return FALSE;
        }
        return TRUE;
    }
};

namespace {

IKFKChainAccessor chainAccessor;
IKFKChainValidator chainValidator;

ParamBlockDesc2& ChainBlock() {
    static ParamBlockDesc2* desc = [] {
        auto* d = new ParamBlockDesc2(0, L"params", 0, ChainDesc(), P_VERSION, 1, p_end);
        auto node = [&](ParamID id, const MCHAR* name, ParamType2 type, int flags) {
            d->AddParam(id, name, type, flags | P_NO_REF, 0);
            d->SetValidator(id, &chainValidator);
            d->SetAccessor(id, &chainAccessor);
        };
        node(IKFKChain::pb_joints, L"joints", TYPE_INODE_TAB, P_VARIABLE_SIZE);
        node(IKFKChain::pb_goal, L"goal", TYPE_INODE, 0);
        node(IKFKChain::pb_goal_parent, L"goal_parent", TYPE_INODE, 0);
        node(IKFKChain::pb_goal_inbetween, L"", TYPE_INODE_TAB, P_VARIABLE_SIZE);
        node(IKFKChain::pb_target, L"target", TYPE_INODE, 0);
        node(IKFKChain::pb_rotation_space_node, L"rotation_space_node", TYPE_INODE, 0);
        auto pct = [&](ParamID id, const MCHAR* name, float def, float hi) {
            d->AddParam(id, name, TYPE_PCNT_FRAC, P_ANIMATABLE, 0);
            d->SetDefault(id, def);
            d->SetRange(id, 0.0f, hi);
        };
        pct(IKFKChain::pb_ikfk_blend, L"ikfk_blend", 1.0f, 1.0f);
        pct(IKFKChain::pb_manual_stretch, L"manual_stretch", 1.0f, 10000.0f);
        pct(IKFKChain::pb_auto_stretch, L"auto_stretch", 0.0f, 1.0f);
        pct(IKFKChain::pb_rotation_space, L"rotation_space", 1.0f, 1.0f);
        d->AddParam(IKFKChain::pb_flexion_bias, L"flexion_bias", TYPE_ANGLE, P_ANIMATABLE, 0);
        d->SetDefault(IKFKChain::pb_flexion_bias, 0.0f);
        auto flag = [&](ParamID id, const MCHAR* name, int def) {
            d->AddParam(id, name, TYPE_BOOL, 0, 0);
            d->SetDefault(id, def);
        };
        flag(IKFKChain::pb_use_target, L"use_target", 1);
        d->AddParam(IKFKChain::pb_swivel_angle, L"swivel_angle", TYPE_ANGLE, P_ANIMATABLE, 0);
        d->SetDefault(IKFKChain::pb_swivel_angle, 0.0f);
        d->SetRange(IKFKChain::pb_swivel_angle, -1000000.0f, 1000000.0f);
        flag(IKFKChain::pb_use_goal_parent, L"use_goal_parent", 1);
        flag(IKFKChain::pb_use_rotation_space, L"use_rotation_space", 1);
        flag(IKFKChain::pb_auto_ikfk_match, L"auto_ikfk_match", 0);
        flag(IKFKChain::pb_last_joint_ik_rotation, L"last_joint_ik_rotation", 1);
        flag(IKFKChain::pb_keep_initial_rot_space, L"keep_initial_rot_space", 1);
        d->AddParam(IKFKChain::pb_initial_rot_space_offset, L"initial_rot_space_offset", TYPE_MATRIX3, 0, 0);
        d->AddParam(IKFKChain::pb_target_dist_percent, L"target_dist_percent", TYPE_PCNT_FRAC, 0, 0);
        d->SetDefault(IKFKChain::pb_target_dist_percent, 0.5f);
        d->SetRange(IKFKChain::pb_target_dist_percent, 0.0f, 10000.0f);
        auto integer = [&](ParamID id, const MCHAR* name, int def, int lo, int hi) {
            d->AddParam(id, name, TYPE_INT, 0, 0);
            d->SetDefault(id, def);
            if (lo < hi) d->SetRange(id, lo, hi);
        };
        integer(IKFKChain::pb_parent_space, L"parent_space", 1, 0, 0);
        integer(IKFKChain::pb_iterations, L"iterations", 40, 0, 9999);
        integer(IKFKChain::pb_display_goal, L"display_goal", 1, 0, 2);
        integer(IKFKChain::pb_display_target, L"display_target", 2, 0, 2);
        flag(IKFKChain::pb_affect_helpers_display, L"affect_helpers_display", 1);
        pct(IKFKChain::pb_soft_ik, L"soft_ik", 0.0f, 1.0f);
        return d;
    }();
    return *desc;
}

// Registered during static initialisation, before any chain exists.
const bool chainBlockReady = (ChainBlock(), true);

FPInterfaceDesc& ChainInterface() {
    static FPInterfaceDesc* desc = [] {
        auto* d = new FPInterfaceDesc(IIKFKCHAIN_INTERFACE_ID, L"interface", 0, ChainDesc(), FP_MIXIN, p_end);
        d->AppendFunction(IIKFKChain::fnFK, L"FK", TYPE_VOID);
        d->AppendFunction(IIKFKChain::fnIK, L"IK", TYPE_VOID);
        {
            FPFunctionDef& f = d->AppendFunction(IIKFKChain::fnMatchFK, L"MatchFK", TYPE_VOID);
            f.AddParam(L"toIK", TYPE_bool);
            f.KeyArgDefault(FPValue(TYPE_bool, false));
        }
        {
            FPFunctionDef& f = d->AppendFunction(IIKFKChain::fnMatchIK, L"MatchIK", TYPE_VOID);
            f.AddParam(L"toFK", TYPE_bool);
            f.KeyArgDefault(FPValue(TYPE_bool, false));
        }
        d->AppendFunction(IIKFKChain::fnMatchManualStretch, L"MatchManualStretch", TYPE_VOID);
        d->AppendFunction(IIKFKChain::fnMatchPreferredRotations, L"MatchPreferredRotations", TYPE_VOID);
        return d;
    }();
    return *desc;
}
const bool chainInterfaceReady = (ChainInterface(), true);

// After a whole clone: node parameters that still name the source's nodes are cleared.
}  // namespace

class IKFKChainPostPatchProc : public PostPatchProc {
public:
    IKFKChainPostPatchProc(IKFKChain* from, IKFKChain* to) : from_(from), to_(to) {}
    int Proc(RemapDir& remap) override {
        if (!to_->pblock || !from_->pblock) return TRUE;
        for (ParamID id = IKFKChain::pb_joints; id <= IKFKChain::pb_goal_inbetween; ++id) {
            int n = to_->pblock->Count(id);
            for (int i = 0; i < n; ++i) {
                INode* node = to_->pblock->GetINode(id, 0, i);
                if (!node) continue;
                auto* mapped = static_cast<INode*>(remap.FindMapping(node));
                if (mapped && mapped != node) {
                    to_->pblock->SetValue(id, 0, mapped, i);
                } else if (node == from_->pblock->GetINode(id, 0, i)) {
                    to_->pblock->SetValue(id, 0, static_cast<INode*>(nullptr), i);
                }
            }
        }
        to_->weakDirty_ = true;
        to_->cacheDirty = 1;
        to_->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
        return TRUE;
    }

private:
    IKFKChain* from_;
    IKFKChain* to_;
};

FPInterfaceDesc* IIKFKChain::GetDesc() { return &ChainInterface(); }

IKFKChain::IKFKChain(BOOL loading) {
    if (!loading) ReplaceReference(kPBlockRef, CreateParameterBlock2(&ChainBlock(), this));
}

IKFKChain::~IKFKChain() { delete rollups_; }

void IKFKChain::BeginEditParams(IObjParam* ip, ULONG flags, Animatable* prev) {
    (void)flags;
    (void)prev;
    delete rollups_;
    rollups_ = new IKFKMotionRollups(ip, this, nullptr);
}

void IKFKChain::EndEditParams(IObjParam* ip, ULONG flags, Animatable* next) {
    (void)ip;
    (void)flags;
    (void)next;
    delete rollups_;
    rollups_ = nullptr;
}

MSTR IKFKChain::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_IKFKCHAIN) : nullptr;
    return MSTR(s ? s : L"IKFK Chain");
}

MSTR IKFKChain::SubAnimName(int i, bool localized) {
    (void)localized;
    return i == 0 ? MSTR(L"Parameters") : MSTR();
}

void IKFKChain::SetReference(int i, RefTargetHandle rtarg) {
    if (i == kPBlockRef) {
        pblock = static_cast<IParamBlock2*>(rtarg);
        block_.filled = false;
        weakDirty_ = true;
        cacheDirty = 1;
    }
}

BaseInterface* IKFKChain::GetInterface(Interface_ID id) {
    if (id == IIKFKCHAIN_INTERFACE_ID) return static_cast<IIKFKChain*>(this);
    return Control::GetInterface(id);
}


IOResult IKFKChain::Load(ILoad* iload) {
    weakDirty_ = true;
    cacheDirty = 1;
    return Control::Load(iload);
}

RefResult IKFKChain::NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                                      RefMessage message, BOOL propagate) {
    (void)changeInt;
    (void)partID;
    (void)propagate;
    if (hTarget == pblock) block_.filled = false;
    if (hTarget == pblock && pblock && message != REFMSG_CHANGE) weakDirty_ = true;
    if (hTarget == pblock && message == REFMSG_CHANGE && pblock) {
        ParamID id = pblock->LastNotifyParamID();
        if (id < 0 || ChangesShape(id)) cacheDirty = 1;
        // an unknown id may be any parameter, an undo among them
        if (id <= pb_rotation_space_node) weakDirty_ = true;
        if (id == pb_ikfk_blend || id == pb_auto_ikfk_match || id == pb_affect_helpers_display) NotifyChainNodes();
    }
    return REF_SUCCEED;
}

ReferenceTarget* IKFKChain::Clone(RemapDir& remap) {
    auto* c = new IKFKChain(TRUE);
    c->ReplaceReference(kPBlockRef, remap.CloneRef(pblock));
    c->CloneWeakRefs(*this, remap);
    c->suspended = suspended;
    BaseClone(this, c, remap);
    remap.AddPostPatchProc(new IKFKChainPostPatchProc(this, c), true);
    return c;
}

// ---- Nodes.

int IKFKChain::NumJoints() {
    SyncWeakRefs();
    return pblock ? static_cast<int>(jointNodes_.size()) : 0;
}
INode* IKFKChain::GetJoint(int i) {
    SyncWeakRefs();
    return pblock && i >= 0 && i < static_cast<int>(jointNodes_.size()) ? jointNodes_[size_t(i)] : nullptr;
}
INode* IKFKChain::GetGoal() {
    SyncWeakRefs();
    return pblock ? goalNode_ : nullptr;
}
INode* IKFKChain::GetGoalParent() {
    SyncWeakRefs();
    return pblock ? goalParentNode_ : nullptr;
}
INode* IKFKChain::GetTarget() {
    SyncWeakRefs();
    return pblock ? targetNode_ : nullptr;
}
INode* IKFKChain::GetRotationSpaceNode() {
    SyncWeakRefs();
    return pblock ? rotSpaceNode_ : nullptr;
}

IKFKControl* IKFKChain::ControlOf(INode* node) {
    Control* c = node ? node->GetTMController() : nullptr;
    return c && c->ClassID() == IKFKCONTROL_CLASS_ID ? static_cast<IKFKControl*>(c) : nullptr;
}

Control* IKFKChain::MainController(INode* node) {
    if (!node) return nullptr;
    if (IKFKControl* c = ControlOf(node)) return c->GetMain();
    return node->GetTMController();
}

Control* IKFKChain::GetIKRotController(int i) {
    IKFKControl* c = ControlOf(GetJoint(i));
    return c ? c->GetPreferredRotation() : nullptr;
}
Control* IKFKChain::GetFKController(int i) {
    IKFKControl* c = ControlOf(GetJoint(i));
    return c ? c->GetMain() : nullptr;
}
Control* IKFKChain::GetLinkController(int i) {
    IKFKControl* c = ControlOf(GetJoint(i));
    return c ? c->GetLink() : nullptr;
}

bool IKFKChain::HasGoalParent(TimeValue t) {
    return pblock && pblock->GetInt(pb_use_goal_parent, t) && GetGoalParent();
}
bool IKFKChain::HasTarget(TimeValue t) { return pblock && pblock->GetInt(pb_use_target, t) && GetTarget(); }
bool IKFKChain::HasRotSpace(TimeValue t) {
    return pblock && pblock->GetInt(pb_use_rotation_space, t) && GetRotationSpaceNode();
}

// ---- Weak references: slots 0..3 goal, goal parent, target, rotation space node; then the
// joints and the in-between parents.

void IKFKChain::SyncWeakRefs() {
    if (!weakDirty_ || !pblock) return;
    weakDirty_ = false;
    goalNode_ = pblock->GetINode(pb_goal);
    goalParentNode_ = pblock->GetINode(pb_goal_parent);
    targetNode_ = pblock->GetINode(pb_target);
    rotSpaceNode_ = pblock->GetINode(pb_rotation_space_node);
    jointNodes_.resize(size_t(pblock->Count(pb_joints)));
    for (size_t i = 0; i < jointNodes_.size(); ++i) jointNodes_[i] = pblock->GetINode(pb_joints, 0, int(i));
    int slot = 0;
    for (INode* n : {goalNode_, goalParentNode_, targetNode_, rotSpaceNode_}) SetWeakRef(slot++, n);
    for (ParamID id : {pb_joints, pb_goal_inbetween})
        for (int i = 0, n = pblock->Count(id); i < n; ++i) SetWeakRef(slot++, pblock->GetINode(id, 0, i));
    SetNumWeakRefs(slot);
}

void IKFKChain::WeakRefChanged(int index, ReferenceTarget* target, PartID part, RefMessage message) {
    (void)index;
    (void)part;
    if (message == REFMSG_TARGET_DELETED && pblock) {
        // The node is going: its entries read null from now on.
        for (ParamID id = pb_joints; id <= pb_rotation_space_node; ++id)
            for (int i = 0, n = pblock->Count(id); i < n; ++i)
                if (pblock->GetINode(id, 0, i) == target) {
                    theHold.Suspend();
                    pblock->SetValue(id, 0, static_cast<INode*>(nullptr), i);
                    theHold.Resume();
                }
        weakDirty_ = true;
        cacheDirty = 1;
    } else if (message == REFMSG_CHANGE) {
        cacheDirty = 1;
    }
}

bool IKFKChain::NodeParamChanging(ParamID id, INode* oldNode, INode* newNode, TimeValue t) {
    weakDirty_ = true;
    cacheDirty = 1;
    if (id == pb_goal && oldNode && oldNode != newNode) {
        ReleaseNode(oldNode);
    } else if (id == pb_goal_parent) {
        // The path from the goal up to the goal parent; a goal parent that is no ancestor of
        // the goal is refused by clearing it afterwards.
        INode* goal = GetGoal();
        Tab<INode*> path;
        bool found = false;
        for (INode* n = goal ? goal->GetParentNode() : nullptr; n && newNode; n = n->GetParentNode()) {
            if (n == newNode) {
                found = true;
                break;
            }
            path.push_back(n);
        }
        pblock->SetCount(pb_goal_inbetween, 0);
        if (found)
            for (INode* n : path) pblock->Append(pb_goal_inbetween, 1, &n);
        else if (newNode)
            return false;
    } else if (id == pb_rotation_space_node && newNode) {
        Matrix3 m = RotMatrix(solver_.rotSpaceQuat) * baseTM * Inverse(newNode->GetNodeTM(t));
        pblock->SetValue(pb_initial_rot_space_offset, t, m);
    }
    return true;
}

void IKFKChain::NotifyChainNodes() {
    SyncWeakRefs();
    auto notify = [](INode* n) {
        if (n) n->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    };
    for (int i = 0, n = NumJoints(); i < n; ++i) notify(GetJoint(i));
    notify(GetGoal());
    notify(GetGoalParent());
    notify(GetTarget());
}

// ---- Evaluation.

Matrix3 IKFKChain::ParentWorld(INode* node, TimeValue t, Interval& valid) {
    if (!node || node->IsRootNode()) return Matrix3();
    if (!node->GetBoneNodeOnOff()) return node->GetNodeTM(t, &valid);
    // A stretched bone must not feed its stretch back: its matrix from its own parent and
    // controller.
    Matrix3 m = ParentWorld(node->GetParentNode(), t, valid);
    if (Control* c = node->GetTMController()) c->GetValue(t, &m, valid, CTRL_RELATIVE);
    return m;
}

Matrix3 IKFKChain::NodeSpace(INode* node, TimeValue t, Interval& valid, bool useLink) {
    INode* parent = node ? node->GetParentNode() : nullptr;
    Matrix3 m = parent && !parent->IsRootNode() ? parent->GetNodeTM(t, &valid) : Matrix3();
    if (useLink) {
        IKFKControl* c = ControlOf(node);
        if (c && c->GetLink() && c->GetLink()->ClassID() == IKFKLINK_CLASS_ID)
            static_cast<IKFKLink*>(c->GetLink())->LinkValue(t, m, valid);
    }
    return m;
}

Quat IKFKChain::PreferredRotation(int i) {
    Quat q;
    // Outside a solve (matching) the joints are looked up again.
    Control* c = solveControls_.empty() ? GetIKRotController(i)
                 : i >= 0 && size_t(i) < solveControls_.size() && solveControls_[size_t(i)]
                     ? solveControls_[size_t(i)]->GetPreferredRotation()
                     : nullptr;
    if (c) c->GetValue(solveTime_, &q, cacheValid, CTRL_ABSOLUTE);
    return q;
}

float IKFKChain::FirstJointXAngle() {
    Control* c = GetIKRotController(0);
    if (!c) return 0.0f;
    if (c->NumSubs() > 0) {
        Animatable* sub = c->SubAnim(0);
        if (sub && sub->SuperClassID() == CTRL_FLOAT_CLASS_ID) {
            float a = 0.0f;
            static_cast<Control*>(sub)->GetValue(solveTime_, &a, cacheValid, CTRL_ABSOLUTE);
            return a;
        }
    }
    Quat q;
    c->GetValue(solveTime_, &q, cacheValid, CTRL_ABSOLUTE);
    return XAngle(q);
}

// A block read costs more than the arithmetic it feeds, and most of these parameters are
// never animated: they are read once and kept while their interval lasts.
const IKFKChain::BlockValues& IKFKChain::BlockValuesAt(TimeValue t) {
    BlockValues& b = block_;
    if (b.filled && b.valid.InInterval(t)) return b;
    Interval iv = FOREVER;
    b.blend = pblock->GetFloat(pb_ikfk_blend, t, iv);
    b.manualStretch = pblock->GetFloat(pb_manual_stretch, t, iv);
    b.autoStretch = pblock->GetFloat(pb_auto_stretch, t, iv);
    b.rotationSpace = pblock->GetFloat(pb_rotation_space, t, iv);
    b.flexionBias = pblock->GetFloat(pb_flexion_bias, t, iv);
    b.swivelAngle = pblock->GetFloat(pb_swivel_angle, t, iv);
    b.softIK = pblock->GetFloat(pb_soft_ik, t, iv);
    b.targetDistPercent = pblock->GetFloat(pb_target_dist_percent, t, iv);
    b.parentSpace = pblock->GetInt(pb_parent_space, t, iv);
    b.iterations = pblock->GetInt(pb_iterations, t, iv);
    b.lastJointIKRotation = pblock->GetInt(pb_last_joint_ik_rotation, t, iv) != 0;
    // The switches are not animatable and do not narrow the solve's validity.
    b.useGoalParent = pblock->GetInt(pb_use_goal_parent, t) != 0;
    b.useTarget = pblock->GetInt(pb_use_target, t) != 0;
    b.useRotSpace = pblock->GetInt(pb_use_rotation_space, t) != 0;
    b.valid = iv;
    b.filled = true;
    return b;
}

void IKFKChain::Gather(TimeValue t, IKFKSolveParams& p) {
    SyncWeakRefs();
    Interval& iv = cacheValid;
    const BlockValues& b = BlockValuesAt(t);
    iv &= b.valid;
    p.manualStretch = b.manualStretch;
    p.autoStretch = b.autoStretch;
    p.rotationSpace = b.rotationSpace;
    p.flexionBias = b.flexionBias;
    p.swivelAngle = b.swivelAngle;
    p.softIK = b.softIK;
    p.targetDistPercent = b.targetDistPercent;
    p.parentSpace = b.parentSpace;
    p.iterations = b.iterations;
    p.lastJointIKRotation = b.lastJointIKRotation;
    const bool hasGoalParent = b.useGoalParent && GetGoalParent();
    p.hasTarget = b.useTarget && GetTarget();
    p.hasRotSpace = b.useRotSpace && GetRotationSpaceNode();

    const int n = NumJoints();
    INode* j0 = GetJoint(0);
    baseTM = j0 ? ParentWorld(j0->GetParentNode(), t, iv) : Matrix3();
    inputs_.baseTM = baseTM;

    INode* goal = GetGoal();
    Matrix3 goalParentWorld = NodeSpace(goal, t, iv, !hasGoalParent);
    Matrix3 g = goalParentWorld;
    if (Control* c = MainController(goal)) c->GetValue(t, &g, iv, CTRL_RELATIVE);
    goalTM = g;
    inputs_.goalTM = g;
    if (hasGoalParent) {
        INode* gp = GetGoalParent();
        Matrix3 w = NodeSpace(gp, t, iv, true);
        inputs_.parentSpaceTM = w;
        if (Control* c = MainController(gp)) c->GetValue(t, &w, iv, CTRL_RELATIVE);
        goalParentTM = w;
    } else {
        inputs_.parentSpaceTM = goalParentWorld;
    }
    if (p.hasTarget) {
        INode* target = GetTarget();
        Matrix3 m = NodeSpace(target, t, iv, true);
        if (Control* c = MainController(target)) c->GetValue(t, &m, iv, CTRL_RELATIVE);
        targetTM = m;
        inputs_.targetTM = m;
    }
    if (p.hasRotSpace) {
        Matrix3 s = GetRotationSpaceNode()->GetNodeTM(t, &iv);
        if (pblock->GetInt(pb_keep_initial_rot_space, t, iv)) s = pblock->GetMatrix3(pb_initial_rot_space_offset, t, iv) * s;
        inputs_.rotSpaceTM = s;
    }
    inputs_.fkTMs.SetCount(n);
    solveControls_.resize(size_t(n));
    Matrix3* fk = inputs_.fkTMs.begin();
    for (int i = 0; i < n; ++i) {
        IKFKControl* ctl = ControlOf(jointNodes_[size_t(i)]);
        solveControls_[size_t(i)] = ctl;
        fk[i] = Matrix3();
        if (Control* c = ctl ? ctl->GetMain() : nullptr) c->GetValue(t, &fk[i], iv, CTRL_RELATIVE);
    }
}

void IKFKChain::Solve(TimeValue t, float blendOverride, int skipJoint) {
    cacheValid = FOREVER;
    cacheDirty = 0;
    cacheTime = t;
    solveTime_ = t;
    if (!pblock) return;
    float blend = BlockValuesAt(t).blend;
    if (suspended) blend = 0.0f;
    if (blendOverride >= 0.0f) blend = blendOverride;
    Gather(t, params_);
    params_.blend = blend;
    solver_.Solve(NumJoints(), params_, inputs_, *this, skipJoint);
    solveControls_.clear();
}

void IKFKChain::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    (void)method;
    Evaluate(t);
    valid &= cacheValid;
    int n = solver_.jointTMs.Count();
    if (val && n > 0) *static_cast<Matrix3*>(val) = solver_.jointTMs[n - 1];
}

void IKFKChain::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    (void)t;
    (void)val;
    (void)commit;
    (void)method;
}

void IKFKChain::NodeGetValue(IKFKControl* ctl, int type, int index, TimeValue t, Matrix3& val, Interval& valid,
                             GetSetMethod method) {
    if (type == kJoint) {
        JointValue(index, t, val, valid);
        return;
    }
    const bool useLink = !(type == kGoal && HasGoalParent(t));
    if (useLink && ctl->GetLink() && ctl->GetLink()->ClassID() == IKFKLINK_CLASS_ID)
        static_cast<IKFKLink*>(ctl->GetLink())->LinkValue(t, val, valid);
    if (type == kGoal)
        goalSpaceTM = val;
    else if (type == kGoalParent)
        goalParentSpaceTM = val;
    else
        targetSpaceTM = val;
    if (Control* main = ctl->GetMain()) main->GetValue(t, &val, valid, method);
}

void IKFKChain::SetXForm(Control* c, TimeValue t, SetXFormPacket& p) {
    if (!c) return;
    SetRigControlEnabled(false);
    c->SetValue(t, &p, 1, CTRL_RELATIVE);
    SetRigControlEnabled(true);
}

void IKFKChain::NodeSetValue(IKFKControl* ctl, int type, int index, TimeValue t, SetXFormPacket& packet, int commit,
                             GetSetMethod method) {
    if (!pblock) return;
    if (type != kJoint) {
        const bool goalWithParent = type == kGoal && HasGoalParent(t);
        if (!goalWithParent && ctl->GetLink() && ctl->GetLink()->ClassID() == IKFKLINK_CLASS_ID) {
            Interval iv = FOREVER;
            static_cast<IKFKLink*>(ctl->GetLink())->LinkValue(t, packet.tmParent, iv);
        }
        if (Control* main = ctl->GetMain()) main->SetValue(t, &packet, commit, method);
        cacheDirty = 1;
        if (goalWithParent) return;
        if (pblock->GetInt(pb_auto_ikfk_match, t) && packet.command == XFORM_MOVE && !suspended && !inNodeSet_) {
            inNodeSet_ = true;
            MatchFK(true, -1, true);
            inNodeSet_ = false;
        }
        return;
    }
    Control* fk = ctl->GetMain();
    if (!fk) return;
    const int n = NumJoints();
    bool matchBack = false;
    if (packet.command == XFORM_ROTATE && index < n - 1 && !suspended && pblock->GetInt(pb_auto_ikfk_match, t) &&
        pblock->GetFloat(pb_ikfk_blend, t) > 0.0f && !inNodeSet_) {
        MatchFK(false, index, false);
        matchBack = true;
    }
    if (packet.command == XFORM_SCALE) {
        if (Control* sc = fk->GetScaleController()) {
            ScaleValue sv(packet.p);
            sc->SetValue(t, &sv, commit, CTRL_RELATIVE);
        } else {
            fk->SetValue(t, &packet, commit, method);
        }
    } else {
        if (index == 0 && HasRotSpace(t)) {
            Interval iv = FOREVER;
            IKFKSolveParams p;
            p.hasRotSpace = true;
            p.rotationSpace = pblock->GetFloat(pb_rotation_space, t, iv);
            IKFKSolveInputs in;
            in.rotSpaceTM = GetRotationSpaceNode()->GetNodeTM(t, &iv);
            if (pblock->GetInt(pb_keep_initial_rot_space, t))
                in.rotSpaceTM = pblock->GetMatrix3(pb_initial_rot_space_offset, t) * in.rotSpaceTM;
            Matrix3 R = RotMatrix(IKFKSolver::RotSpace(p, in, Inverse(packet.tmParent)));
            if (packet.command == XFORM_ROTATE) {
                packet.tmParent = R * packet.tmParent;
            } else if (packet.command == XFORM_SET) {
                // The set lands in FK space: the wanted matrix turned out of the rotation space.
                Point3 trans = packet.tmAxis.GetTrans();
                packet.tmAxis = packet.tmAxis * Inverse(packet.tmParent) * Inverse(R) * packet.tmParent;
                packet.tmAxis.SetTrans(trans);
            }
        }
        fk->SetValue(t, &packet, commit, method);
    }
    cacheDirty = 1;
    if (matchBack) MatchIK(true, true, -1, true, true);
}

Matrix3 IKFKChain::NodeParentMatrix(int type, int index, TimeValue t) {
    Evaluate(t);
    if (type == kJoint && index > 0)
        return index - 1 < solver_.jointTMs.Count() ? solver_.jointTMs[index - 1] : Matrix3();
    Matrix3 m = baseTM;
    if (HasRotSpace(t)) {
        IKFKSolveParams p = params_;
        p.hasRotSpace = true;
        Quat rs = IKFKSolver::RotSpace(p, inputs_, Inverse(baseTM));
        Point3 trans = m.GetTrans();
        m = RotMatrix(rs) * m;
        m.SetTrans(trans);
    }
    if (type > kJoint && solver_.jointTMs.Count() > 0) m.SetTrans(solver_.jointTMs[0].GetTrans());
    return m;
}

// ---- Fitting.

void IKFKChain::FitNodes(INode* chainNode) {
    if (!pblock) return;
    auto fit = [&](INode* node, int type, int index) {
        if (!node) return;
        IKFKControl* c = ControlOf(node);
        if (!c) {
            Control* old = node->GetTMController();
            c = new IKFKControl();
            if (old) {
                c->SetMain(old);
            } else {
                c->SetMain(NewDefaultMatrix3Controller());
            }
            // The IK pose starts from where the node stands now.
            Matrix3 local;
            Interval iv = FOREVER;
            if (Control* m = c->GetMain()) m->GetValue(GetCOREInterface()->GetTime(), &local, iv, CTRL_RELATIVE);
            auto* pref = new StaticRotation();
            pref->value = OrthoQuat(local);
            c->SetPreferredRotation(pref);
            node->SetTMController(c);
        }
        c->SetChain(chainNode, type, index);
    };
    for (int i = 0, n = NumJoints(); i < n; ++i) fit(GetJoint(i), kJoint, i);
    fit(GetGoal(), kGoal, 0);
    fit(GetGoalParent(), kGoalParent, 0);
    fit(GetTarget(), kTarget, 0);
    weakDirty_ = true;
    cacheDirty = 1;
}

void IKFKChain::ReleaseNode(INode* node) {
    IKFKControl* c = ControlOf(node);
    if (!c) return;
    Control* main = c->GetMain();
    node->SetTMController(main ? main : NewDefaultMatrix3Controller());
}

// ---- Matching.

void IKFKChain::MatchFK(bool toIK, int joint, bool skipLast) {
    if (!pblock) return;
    theHold.Begin();
    const TimeValue t = GetCOREInterface()->GetTime();
    if (toIK) {
        Solve(t, 1.0f, -1);
        cacheDirty = 1;
    } else {
        Evaluate(t);
    }
    const int n = NumJoints();
    int first = 0, last = skipLast ? n - 2 : n - 1;
    if (joint >= 0) first = last = joint;
    Quat rotSpace;
    if (HasRotSpace(t)) {
        IKFKSolveParams p = params_;
        p.hasRotSpace = true;
        rotSpace = IKFKSolver::RotSpace(p, inputs_, solver_.invBase);
    }
    // The solve's rotations are copied first: writing a controller invalidates the cache.
    Tab<Quat> rots = solver_.jointRot;
    for (int i = first; i <= last && i < rots.Count(); ++i) {
        Control* fk = GetFKController(i);
        if (!fk) continue;
        Quat q = rots[i];
        if (i == 0 && HasRotSpace(t)) q = q * Inverse(rotSpace);
        Matrix3 m;
        Interval iv = FOREVER;
        fk->GetValue(t, &m, iv, CTRL_RELATIVE);
        Quat c = OrthoQuat(m);
        q.MakeClosest(c);
        SetXFormPacket p(q * Inverse(c), TRUE, Matrix3(), Matrix3());
        SetXForm(fk, t, p);
    }
    cacheDirty = 1;
    theHold.Accept(L"IKFK Change");
}

void IKFKChain::MatchIK(bool toFK, bool withRotation, int skipJoint, bool matchGoal, bool matchTarget) {
    if (!pblock) return;
    theHold.Begin();
    const TimeValue t = GetCOREInterface()->GetTime();
    if (toFK) {
        Solve(t, skipJoint >= 0 ? -1.0f : 0.0f, skipJoint);
        cacheDirty = 1;
    } else {
        Evaluate(t);
    }
    const Matrix3 endTM = solver_.MatchGoalTM(params_);
    const bool hasGoalParent = HasGoalParent(t);
    Interval iv = FOREVER;
    if (matchGoal && GetGoal()) {
        INode* moved = hasGoalParent ? GetGoalParent() : GetGoal();
        Control* c = MainController(moved);
        // World matrix the moved node must take so that the goal lands on endTM.
        Matrix3 want = endTM;
        Matrix3 now = goalTM;
        if (hasGoalParent) {
            want = Inverse(goalTM * Inverse(goalParentTM)) * endTM;
            now = goalParentTM;
        }
        if (c && withRotation && params_.lastJointIKRotation) {
            SetXFormPacket rot(OrthoQuat(want * Inverse(now)), TRUE, Matrix3(), Matrix3());
            SetXForm(c, t, rot);
        }
        if (c) {
            Matrix3 space = NodeSpace(moved, t, iv, true);
            Matrix3 cur = space;
            c->GetValue(t, &cur, iv, CTRL_RELATIVE);
            SetXFormPacket mv(want.GetTrans() - cur.GetTrans(), space, Matrix3());
            SetXForm(c, t, mv);
        }
    }
    if (params_.hasTarget) {
        Control* c = MainController(GetTarget());
        if (matchTarget && c) {
            Point3 wanted = solver_.MatchTargetPos(params_, *this);
            Matrix3 space = NodeSpace(GetTarget(), t, iv, true);
            Matrix3 cur = space;
            c->GetValue(t, &cur, iv, CTRL_RELATIVE);
            SetXFormPacket mv(wanted - cur.GetTrans(), space, Matrix3());
            SetXForm(c, t, mv);
        }
    } else {
        solveTime_ = t;
        float a = solver_.MatchSwivel(params_, inputs_, *this, endTM);
        float old = pblock->GetFloat(pb_swivel_angle, t);
        pblock->SetValue(pb_swivel_angle, t, ClosestAngle(old, a));
    }
    cacheDirty = 1;
    theHold.Accept(L"IKFK Change");
}

void IKFKChain::FK() {
    if (!pblock) return;
    theHold.Begin();
    MatchFK(false, -1, false);
    pblock->SetValue(pb_ikfk_blend, GetCOREInterface()->GetTime(), 0.0f);
    theHold.Accept(L"IKFK Change");
    macroRecorder->MethodCall(this, L"FK");
    macroRecorder->EmitScript();
}

void IKFKChain::IK() {
    if (!pblock) return;
    theHold.Begin();
    MatchIK(false, true, -1, true, true);
    pblock->SetValue(pb_ikfk_blend, GetCOREInterface()->GetTime(), 1.0f);
    theHold.Accept(L"IKFK Change");
    macroRecorder->MethodCall(this, L"IK");
    macroRecorder->EmitScript();
}

void IKFKChain::MatchFK(bool toIK) {
    MatchFK(toIK, -1, false);
    macroRecorder->MethodCall(this, L"MatchFK", {}, {{L"toIK", toIK}});
    macroRecorder->EmitScript();
}

void IKFKChain::MatchIK(bool toFK) {
    MatchIK(toFK, true, -1, true, true);
    macroRecorder->MethodCall(this, L"MatchIK", {}, {{L"toFK", toFK}});
    macroRecorder->EmitScript();
}

void IKFKChain::MatchManualStretch() {
    if (!pblock) return;
    theHold.Begin();
    const TimeValue t = GetCOREInterface()->GetTime();
    Evaluate(t);
    float k = solver_.stretchFactor;
    pblock->SetValue(pb_manual_stretch, t, pblock->GetFloat(pb_manual_stretch, t) * k);
    theHold.Accept(L"IKFK Change");
}

void IKFKChain::MatchPreferredRotations() {
    if (!pblock) return;
    theHold.Begin();
    const TimeValue t = GetCOREInterface()->GetTime();
    Evaluate(t);
    Tab<Quat> rots = solver_.jointRot;
    for (int i = 0; i < rots.Count() && i < NumJoints(); ++i)
        if (Control* c = GetIKRotController(i)) c->SetValue(t, &rots[i], 1, CTRL_ABSOLUTE);
    cacheDirty = 1;
    theHold.Accept(L"IKFK Change");
}

}  // namespace kt
