#include "solvers/ikfk_control.h"

#include "box3.h"
#include "frame/class_registry.h"
#include "inode.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "solvers/ikfk_chain.h"
#include "solvers/ikfk_link.h"
#include "solvers/ui/ikfk_motion_rollups.h"

namespace kt {
namespace {

RegistryClassDesc* ControlDesc() { return ClassRegistry::Find(CTRL_MATRIX3_CLASS_ID, IKFKCONTROL_CLASS_ID); }

ClassFactoryRegistrar controlRegistrar(CTRL_MATRIX3_CLASS_ID, IKFKCONTROL_CLASS_ID,
                                       [](BOOL loading) -> void* { return new IKFKControl(loading); });

ParamBlockDesc2& ControlBlock() {
    static ParamBlockDesc2* desc = [] {
        auto* d = new ParamBlockDesc2(0, L"params", 0, ControlDesc(), 0, p_end);
        d->AddParam(IKFKControl::pb_ikfkchain_node, L"ikfkchain_node", TYPE_INODE, P_READ_ONLY, 0);
        d->AddParam(IKFKControl::pb_type, L"type", TYPE_INDEX, P_READ_ONLY, 0);
        d->AddParam(IKFKControl::pb_index, L"index", TYPE_INDEX, P_READ_ONLY, 0);
        return d;
    }();
    return *desc;
}
const bool controlBlockReady = (ControlBlock(), true);

// After a whole clone: a clone that still points at the source's chain lets go of it.
class IKFKControlPostPatchProc : public PostPatchProc {
public:
    IKFKControlPostPatchProc(IKFKControl* from, IKFKControl* to) : from_(from), to_(to) {}
    int Proc(RemapDir& remap) override {
        INode* chain = to_->GetChainNode();
        if (!chain) return TRUE;
        auto* mapped = static_cast<INode*>(remap.FindMapping(chain));
        if (mapped && mapped != chain)
            to_->pblock->SetValue(IKFKControl::pb_ikfkchain_node, 0, mapped);
        else if (chain == from_->GetChainNode())
            to_->pblock->SetValue(IKFKControl::pb_ikfkchain_node, 0, static_cast<INode*>(nullptr));
        return TRUE;
    }

private:
    IKFKControl* from_;
    IKFKControl* to_;
};

}  // namespace

IKFKControl::~IKFKControl() { delete rollups_; }

void IKFKControl::BeginEditParams(IObjParam* ip, ULONG flags, Animatable* prev) {
    (void)prev;
    animFlag = flags;
    delete rollups_;
    rollups_ = new IKFKMotionRollups(ip, GetChain(), dynamic_cast<IKFKLink*>(link_));
}

void IKFKControl::EndEditParams(IObjParam* ip, ULONG flags, Animatable* next) {
    (void)ip;
    (void)flags;
    (void)next;
    delete rollups_;
    rollups_ = nullptr;
    animFlag = 0;
}

IKFKControl::IKFKControl(BOOL loading) {
    if (!loading) ReplaceReference(kPBlockRef, CreateParameterBlock2(&ControlBlock(), this));
}

MSTR IKFKControl::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_IKFKCONTROL) : nullptr;
    return MSTR(s ? s : L"IKFK Control");
}

RefTargetHandle IKFKControl::GetReference(int i) {
    switch (i) {
        case kPBlockRef: return pblock;
        case kPrefRef: return pref_;
        case kMainRef: return main_;
        case kLinkRef: return link_;
        default: return nullptr;
    }
}

void IKFKControl::SetReference(int i, RefTargetHandle rtarg) {
    switch (i) {
        case kPBlockRef:
            pblock = static_cast<IParamBlock2*>(rtarg);
            blockRead_ = false;
            break;
        case kPrefRef: pref_ = static_cast<Control*>(rtarg); break;
        case kMainRef: main_ = static_cast<Control*>(rtarg); break;
        case kLinkRef: link_ = static_cast<Control*>(rtarg); break;
        default: break;
    }
}

MSTR IKFKControl::SubAnimName(int i, bool localized) {
    (void)localized;
    switch (i) {
        case kPBlockRef: return MSTR(L"Parameters");
        case kPrefRef: return MSTR(L"Preferred Rotation");
        case kMainRef:
            switch (GetType()) {
                case IKFKChain::kGoal: return MSTR(L"IK Goal");
                case IKFKChain::kGoalParent: return MSTR(L"IK Goal Parent");
                case IKFKChain::kTarget: return MSTR(L"IK Target");
                default: return MSTR(L"FK Sub-Control");
            }
        case kLinkRef: return MSTR(L"Links");
        default: return MSTR();
    }
}

BOOL IKFKControl::AssignController(Animatable* control, int subAnim) {
    if (!CanAssignController(subAnim)) return FALSE;
    ReplaceReference(subAnim, static_cast<Control*>(control));
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    return TRUE;
}

void IKFKControl::ReadBlock() {
    chainNode_ = pblock ? pblock->GetINode(pb_ikfkchain_node) : nullptr;
    type_ = pblock ? pblock->GetInt(pb_type) : 0;
    index_ = pblock ? pblock->GetInt(pb_index) : 0;
    blockRead_ = true;
}

IKFKChain* IKFKControl::GetChain() {
    INode* n = GetChainNode();
    Control* c = n ? n->GetTMController() : nullptr;
    return c && c->ClassID() == IKFKCHAIN_CLASS_ID ? static_cast<IKFKChain*>(c) : nullptr;
}

INode* IKFKControl::GetChainNode() {
    if (!blockRead_) ReadBlock();
    return chainNode_;
}
int IKFKControl::GetType() {
    if (!blockRead_) ReadBlock();
    return type_;
}
int IKFKControl::GetIndex() {
    if (!blockRead_) ReadBlock();
    return index_;
}

void IKFKControl::SetChain(INode* chainNode, int type, int index) {
    if (!pblock) return;
    pblock->SetValue(pb_ikfkchain_node, 0, chainNode);
    pblock->SetValue(pb_type, 0, type);
    pblock->SetValue(pb_index, 0, index);
}

RefResult IKFKControl::NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                                        RefMessage message, BOOL propagate) {
    (void)changeInt;
    (void)partID;
    (void)propagate;
    if (hTarget == pblock) {
        blockRead_ = false;
        // From the block: the chain node changed. A joint follows every change of the chain;
        // goal, goal parent and target only the chain's own (display) state.
        IKFKChain* chain = GetChain();
        if (!chain || message != REFMSG_CHANGE) return REF_SUCCEED;
        if (GetType() == IKFKChain::kJoint) return GetIndex() < chain->NumJoints() ? REF_SUCCEED : REF_STOP;
        return REF_SUCCEED;
    }
    if (message == REFMSG_CHANGE && (hTarget == main_ || hTarget == pref_ || hTarget == link_)) {
        // One of this node's inputs changed: the whole chain solves again, and every node of
        // it hears so through the chain node.
        if (IKFKChain* chain = GetChain()) {
            chain->InvalidateCache();
            if (INode* cn = GetChainNode()) cn->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
        }
    }
    return REF_SUCCEED;
}

ReferenceTarget* IKFKControl::Clone(RemapDir& remap) {
    auto* c = new IKFKControl(TRUE);
    for (int i = 0; i < kNumRefs; ++i) c->ReplaceReference(i, remap.CloneRef(GetReference(i)));
    c->animFlag = animFlag;
    BaseClone(this, c, remap);
    remap.AddPostPatchProc(new IKFKControlPostPatchProc(this, c), true);
    return c;
}

void* IKFKControl::GetInterface(ULONG id) { return Control::GetInterface(id); }

void IKFKControl::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    if (!val) return;
    if (IKFKChain* chain = GetChain()) {
        // Joints are read far more often than the rest: straight from the chain's cache.
        if (type_ == IKFKChain::kJoint)
            chain->JointValue(index_, t, *static_cast<Matrix3*>(val), valid);
        else
            chain->NodeGetValue(this, type_, index_, t, *static_cast<Matrix3*>(val), valid, method);
        return;
    }
    if (main_) main_->GetValue(t, val, valid, method);
}

void IKFKControl::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    if (!val || GetLocked()) return;
    if (IKFKChain* chain = GetChain()) {
        chain->NodeSetValue(this, GetType(), GetIndex(), t, *static_cast<SetXFormPacket*>(val), commit, method);
        return;
    }
    if (main_) main_->SetValue(t, val, commit, method);
}

Matrix3 IKFKControl::ParentMatrix(TimeValue t, const Matrix3& parentTM) {
    if (IKFKChain* chain = GetChain()) return chain->NodeParentMatrix(GetType(), GetIndex(), t);
    return parentTM;
}

int IKFKControl::NumKeys() { return main_ ? main_->NumKeys() : 0; }
TimeValue IKFKControl::GetKeyTime(int index) { return main_ ? main_->GetKeyTime(index) : 0; }
int IKFKControl::GetKeyTimes(Tab<TimeValue>& times, Interval range, DWORD flags) {
    int n = main_ ? main_->GetKeyTimes(times, range, flags) : 0;
    if (link_) {
        Tab<TimeValue> more;
        link_->GetKeyTimes(more, range, flags);
        for (TimeValue t : more)
            if (times.Find(t) < 0) times.push_back(t);
        n = times.Count();
    }
    return n;
}
BOOL IKFKControl::IsKeyAtTime(TimeValue t, DWORD flags) {
    return (main_ && main_->IsKeyAtTime(t, flags)) || (link_ && link_->IsKeyAtTime(t, flags));
}
void IKFKControl::MoveKeys(TimeValue delta, DWORD flags) {
    if (main_) main_->MoveKeys(delta, flags);
    if (link_) link_->MoveKeys(delta, flags);
}
void IKFKControl::DeleteKeys(DWORD flags) {
    if (main_) main_->DeleteKeys(flags);
    if (link_) link_->DeleteKeys(flags);
}
void IKFKControl::DeleteKeyAtTime(TimeValue t) {
    if (main_) main_->DeleteKeyAtTime(t);
}
void IKFKControl::SelectKeys(Interval range, DWORD flags) {
    if (main_) main_->SelectKeys(range, flags);
    if (link_) link_->SelectKeys(range, flags);
}
Interval IKFKControl::GetTimeRange(DWORD flags) {
    Interval r = main_ ? main_->GetTimeRange(flags) : NEVER;
    if (link_) {
        Interval l = link_->GetTimeRange(flags);
        if (!l.Empty()) {
            if (r.Empty()) {
                r = l;
            } else {
                r += l.Start();
                r += l.End();
            }
        }
    }
    return r;
}
BOOL IKFKControl::IsAnimated() { return (main_ && main_->IsAnimated()) || (link_ && link_->NumKeys() > 1); }
BOOL IKFKControl::CanCopyTrack(Interval iv, DWORD flags) { return main_ ? main_->CanCopyTrack(iv, flags) : FALSE; }

Control* IKFKControl::GetPositionController() { return main_ ? main_->GetPositionController() : nullptr; }
Control* IKFKControl::GetRotationController() { return main_ ? main_->GetRotationController() : nullptr; }
Control* IKFKControl::GetScaleController() { return main_ ? main_->GetScaleController() : nullptr; }

int IKFKControl::Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) {
    IKFKChain* chain = GetChain();
    if (!chain || GetType() == IKFKChain::kJoint) return 0;
    if (GetType() == IKFKChain::kTarget && !chain->HasTarget(t)) return 0;
    if (GetType() == IKFKChain::kGoalParent && !chain->HasGoalParent(t)) return 0;
    return chain->Display(t, inode, vpt, flags);
}

int IKFKControl::HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) {
    IKFKChain* chain = GetChain();
    if (!chain || GetType() == IKFKChain::kJoint) return 0;
    if (GetType() == IKFKChain::kTarget && !chain->HasTarget(t)) return 0;
    if (GetType() == IKFKChain::kGoalParent && !chain->HasGoalParent(t)) return 0;
    return chain->HitTest(t, inode, type, crossing, flags, p, vpt);
}

void IKFKControl::GetWorldBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) {
    IKFKChain* chain = GetChain();
    if (!chain || GetType() == IKFKChain::kJoint) return;
    if (GetType() == IKFKChain::kTarget && !chain->HasTarget(t)) return;
    if (GetType() == IKFKChain::kGoalParent && !chain->HasGoalParent(t)) return;
    chain->GetWorldBoundBox(t, inode, vpt, box);
}

}  // namespace kt
