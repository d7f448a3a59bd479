#include "inode.h"

#include <cmath>
#include <cwchar>

#include "control.h"
#include "hold.h"
#include "imtl.h"
#include "maxapi.h"
#include "scene.h"

namespace host {

// Records one slot of a node's references and tells the node after each swap, so that
// caches and dependents follow undo and redo. Keeps both targets alive while it exists.
class NodeRefRestore : public RestoreObj {
public:
    NodeRefRestore(INode* node, int which, ReferenceTarget* oldT, ReferenceTarget* newT)
        : node_(node), which_(which), old_(oldT), new_(newT) {}
    void Restore(int) override { Set(old_.Handle()); }
    void Redo() override { Set(new_.Handle()); }
    MSTR Description() override { return MSTR(L"Node Reference"); }

private:
    void Set(AnimHandle target);
    HoldLock node_;
    int which_;
    HoldLock old_, new_;
};

// One field of a node, before and after. `after` tells the node what changed.
template <class T>
class NodeValueRestore : public RestoreObj {
public:
    using After = void (*)(INode*);
    NodeValueRestore(INode* node, T INode::*member, After after)
        : node_(Animatable::GetHandleByAnim(node)), member_(member), undo_(node->*member), after_(after) {}
    void Restore(int) override {
        if (INode* n = FromHandle<INode>(node_)) {
            redo_ = n->*member_;
            n->*member_ = undo_;
            if (after_) after_(n);
        }
    }
    void Redo() override {
        if (INode* n = FromHandle<INode>(node_)) {
            n->*member_ = redo_;
            if (after_) after_(n);
        }
    }
    MSTR Description() override { return MSTR(L"Node Property"); }

private:
    AnimHandle node_;
    T INode::*member_;
    T undo_;
    T redo_{};
    After after_;
};

class NodeAccess {
public:
    static void RefSlotChanged(INode* n, int which) {
        switch (which) {
            case INode::kTMRef:
                n->TMChanged();
                break;
            case INode::kObjRef:
            case INode::kMtlRef:
            case INode::kVisRef:
                n->NotifyDependents(FOREVER, PART_ALL & ~PART_TM, REFMSG_CHANGE);
                break;
            default:
                break;
        }
        n->NotifyDependents(FOREVER, 0, REFMSG_SUBANIM_STRUCTURE_CHANGED);
    }
    static void OffsetChanged(INode* n) {
        n->UpdateOffsetTM();
        n->NotifyDependents(FOREVER, PART_OBJ, REFMSG_CHANGE);
    }
    template <class T>
    static void Record(INode* n, T INode::*member, void (*after)(INode*)) {
        if (theHold.Holding()) theHold.Put(new NodeValueRestore<T>(n, member, after));
    }
    static void ApplyXForm(INode* n, TimeValue t, SetXFormPacket& pk, BOOL affectKids);
};

void NodeRefRestore::Set(AnimHandle target) {
    INode* n = FromHandle<INode>(node_.Handle());
    if (!n) return;
    ReferenceTarget* t = FromHandle<ReferenceTarget>(target);
    if (target && !t) return;
    n->host_SetReferenceRaw(which_, t);
    NodeAccess::RefSlotChanged(n, which_);
}

}  // namespace host

using host::NodeAccess;

namespace {
void NotifyName(INode* n) { n->NotifyDependents(FOREVER, 0, REFMSG_NODE_NAMECHANGE); }
void NotifyHidden(INode* n) { n->NotifyDependents(FOREVER, 1, REFMSG_NODE_DISPLAY_PROP_CHANGED); }
void NotifyFrozen(INode* n) { n->NotifyDependents(FOREVER, 2, REFMSG_NODE_DISPLAY_PROP_CHANGED); }

// Property lines are "key = value"; keys compare case-insensitively.
bool FindUserProp(const std::wstring& buf, const std::wstring& key, size_t& lineStart, size_t& lineEnd,
                  size_t& valueStart) {
    size_t pos = 0;
    while (pos < buf.size()) {
        size_t end = buf.find_first_of(L"\r\n", pos);
        if (end == std::wstring::npos) end = buf.size();
        size_t eq = buf.find(L'=', pos);
        if (eq != std::wstring::npos && eq < end) {
            size_t ks = pos, ke = eq;
            while (ks < ke && iswspace(buf[ks])) ++ks;
            while (ke > ks && iswspace(buf[ke - 1])) --ke;
            if (host::EqualNoCase(std::wstring_view(buf).substr(ks, ke - ks), key)) {
                size_t vs = eq + 1;
                while (vs < end && (buf[vs] == L' ' || buf[vs] == L'\t')) ++vs;
                lineStart = pos;
                lineEnd = end;
                valueStart = vs;
                return true;
            }
        }
        pos = end;
        while (pos < buf.size() && (buf[pos] == L'\r' || buf[pos] == L'\n')) ++pos;
    }
    return false;
}
}  // namespace

// ---------------------------------------------------------------------------------------------

INode::INode(bool isRoot) : isRoot_(isRoot) {
    if (isRoot) {
        name_ = L"Scene Root";
        tmValid_ = FOREVER;
    }
}

INode::~INode() {
    // Normally emptied by deletion; a node freed some other way must leave nothing dangling.
    for (int i = 0; i < kNumRefs; ++i)
        if (GetReference(i)) host_SetReferenceRaw(i, nullptr);
    if (inScene_ || parent_ || !children_.empty()) {
        auto& scene = host::Scene::Get();
        while (!children_.empty()) scene.Unlink(children_.back());
        scene.Unlink(this);
        if (inScene_) scene.Leave(this);
    }
}

void INode::GetClassName(MSTR& s, bool localized) const { s = ClassName(localized); }
MSTR INode::ClassName(bool) const { return MSTR(isRoot_ ? L"RootNode" : L"Node"); }

// ---- Name

void INode::SetName(const MCHAR* name) {
    MSTR n(name);
    if (n == name_) return;
    NodeAccess::Record(this, &INode::name_, &NotifyName);
    name_ = n;
    NotifyName(this);
}

// ---- Hierarchy

void INode::AttachChild(INode* child, int keepTM) {
    if (!child || child == this || child->isRoot_ || !inScene_ || !child->inScene_) return;
    for (INode* a = this; a; a = a->parent_)
        if (a == child) return;
    if (child->parent_ == this) return;
    TimeValue t = GetCOREInterface()->GetTime();
    Matrix3 world, oldParent, newParent;
    if (keepTM) {
        world = child->GetNodeTM(t);
        oldParent = child->GetParentTM(t);
        newParent = GetNodeTM(t);
    }
    host::Scene::Get().Relink(child, this, -1);
    if (keepTM && child->tmControl_) {
        if (!child->tmControl_->ChangeParents(t, oldParent, newParent, world)) child->SetNodeTM(t, world);
        child->TMChanged();
    }
}

void INode::Detach(TimeValue t, int keepPos) {
    if (isRoot_ || !parent_ || parent_->isRoot_) return;
    INode* root = host::Scene::Get().Root();
    Matrix3 world, oldParent;
    if (keepPos) {
        world = GetNodeTM(t);
        oldParent = GetParentTM(t);
    }
    host::Scene::Get().Relink(this, root, -1);
    if (keepPos && tmControl_) {
        if (!tmControl_->ChangeParents(t, oldParent, Matrix3(), world)) SetNodeTM(t, world);
        TMChanged();
    }
}

// ---- References

RefTargetHandle INode::GetReference(int i) {
    switch (i) {
        case kTMRef: return tmControl_;
        case kObjRef: return object_;
        case kMtlRef: return mtl_;
        case kVisRef: return visControl_;
        default: return nullptr;
    }
}

void INode::SetReference(int i, RefTargetHandle rtarg) {
    switch (i) {
        case kTMRef:
            tmControl_ = dynamic_cast<Control*>(rtarg);
            DropTMCaches();
            break;
        case kObjRef: object_ = dynamic_cast<Object*>(rtarg); break;
        case kMtlRef: mtl_ = dynamic_cast<Mtl*>(rtarg); break;
        case kVisRef: visControl_ = dynamic_cast<Control*>(rtarg); break;
        default: break;
    }
}

void INode::SetRefRecorded(int which, ReferenceTarget* target) {
    ReferenceTarget* old = GetReference(which);
    if (old == target) return;
    if (theHold.Holding()) theHold.Put(new host::NodeRefRestore(this, which, old, target));
    // The record above covers the swap; ReplaceReference must not record it a second time.
    theHold.Suspend();
    ReplaceReference(which, target, TRUE);
    theHold.Resume();
}

BOOL INode::SetTMController(Control* m3cont) {
    if (isRoot_) return FALSE;
    if (m3cont == tmControl_) return TRUE;
    if (m3cont && DependsOn(m3cont)) return FALSE;
    host::MotionPanelTMChanging(tmControl_, m3cont);
    SetRefRecorded(kTMRef, m3cont);
    NodeAccess::RefSlotChanged(this, kTMRef);
    host::MotionPanelTMChanged();
    return TRUE;
}

void INode::SetObjectRef(Object* obj) {
    if (isRoot_ || obj == object_) return;
    if (obj && DependsOn(obj)) return;
    SetRefRecorded(kObjRef, obj);
    NodeAccess::RefSlotChanged(this, kObjRef);
}

void INode::SetMtl(Mtl* matl) {
    if (isRoot_ || matl == mtl_) return;
    if (matl && DependsOn(matl)) return;
    SetRefRecorded(kMtlRef, matl);
    NodeAccess::RefSlotChanged(this, kMtlRef);
}

void INode::SetVisController(Control* cont) {
    if (isRoot_ || cont == visControl_) return;
    if (cont && DependsOn(cont)) return;
    SetRefRecorded(kVisRef, cont);
    NodeAccess::RefSlotChanged(this, kVisRef);
}

float INode::GetVisibility(TimeValue t, Interval* valid) {
    if (!visControl_) return 1.0f;
    float v = 1.0f;
    Interval iv = FOREVER;
    visControl_->GetValue(t, &v, iv, CTRL_ABSOLUTE);
    if (valid) *valid &= iv;
    return v;
}

const ObjectState& INode::EvalWorldState(TimeValue t, BOOL evalHidden) {
    (void)evalHidden;
    worldState_ = object_ ? object_->Eval(t) : ObjectState();
    return worldState_;
}

RefResult INode::NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                                  RefMessage message, BOOL propagate) {
    (void)changeInt;
    (void)propagate;
    if (hTarget && hTarget == tmControl_) {
        if (message == REFMSG_CHANGE) {
            // Our own dependents hear it through propagation; the subtree is told here.
            DropTMCaches();
            NotifyTreeTM();
            partID = PART_TM;
        } else if (message == REFMSG_TARGET_DELETED) {
            DropTMCaches();
        }
    }
    return REF_SUCCEED;
}

// ---- Transform

void INode::EvalTM(TimeValue t) {
    // A controller that asks for its own node's transform gets the last one, not a recursion.
    if (evaluating_) return;
    evaluating_ = true;
    Interval iv = FOREVER;
    Matrix3 m;
    if (parent_) m = parent_->GetNodeTM(t, &iv);
    if (tmControl_) tmControl_->GetValue(t, &m, iv, CTRL_RELATIVE);
    tmCache_ = m;
    tmValid_ = iv;
    evaluating_ = false;
}

void INode::DropTMCaches() {
    if (!isRoot_) tmValid_.SetEmpty();
    for (INode* c : children_) c->DropTMCaches();
}

void INode::NotifyTreeTM() {
    for (INode* c : children_) {
        c->NotifyDependents(FOREVER, PART_TM, REFMSG_CHANGE);
        c->NotifyTreeTM();
    }
}

void INode::TMChanged() {
    DropTMCaches();
    NotifyDependents(FOREVER, PART_TM, REFMSG_CHANGE);
    NotifyTreeTM();
}

void INode::InvalidateTreeTM() { TMChanged(); }

void INode::SetNodeTM(TimeValue t, const Matrix3& tm) {
    if (isRoot_ || !tmControl_) return;
    SetXFormPacket pk(tm, GetParentTM(t));
    tmControl_->SetValue(t, &pk, 1, CTRL_RELATIVE);
    DropTMCaches();
}

Matrix3 INode::GetParentTM(TimeValue t) { return parent_ ? parent_->GetNodeTM(t) : Matrix3(); }

Matrix3 INode::GetObjectTM(TimeValue t, Interval* valid) {
    Matrix3 m = GetNodeTM(t, valid);
    return offsetIdentity_ ? m : offsetTM_ * m;
}

void INode::SetChildrenWorldTMs(TimeValue t, const Matrix3* tms, int n) {
    for (int i = 0; i < n && i < NumberOfChildren(); ++i) children_[static_cast<size_t>(i)]->SetNodeTM(t, tms[i]);
}

namespace {
// The children's world transforms, to put back after their parent moved alone.
std::vector<Matrix3> ChildTMs(INode* n, TimeValue t) {
    std::vector<Matrix3> tms;
    for (int i = 0; i < n->NumberOfChildren(); ++i) tms.push_back(n->GetChildNode(i)->GetNodeTM(t));
    return tms;
}
}  // namespace

// With affectKids false the children keep their world transforms.
void host::NodeAccess::ApplyXForm(INode* n, TimeValue t, SetXFormPacket& pk, BOOL affectKids) {
    std::vector<Matrix3> kids;
    if (!affectKids) kids = ChildTMs(n, t);
    n->tmControl_->SetValue(t, &pk, 1, CTRL_RELATIVE);
    n->DropTMCaches();
    if (!affectKids) n->SetChildrenWorldTMs(t, kids.data(), static_cast<int>(kids.size()));
}

void INode::Move(TimeValue t, const Matrix3& tmAxis, const Point3& val, BOOL localOrigin, BOOL affectKids,
                 int pivMode, BOOL ignoreLocks) {
    (void)localOrigin; (void)pivMode; (void)ignoreLocks;
    if (isRoot_ || !tmControl_) return;
    SetXFormPacket pk(val, GetParentTM(t), tmAxis);
    NodeAccess::ApplyXForm(this, t, pk, affectKids);
}

void INode::Rotate(TimeValue t, const Matrix3& tmAxis, const Quat& val, BOOL localOrigin, BOOL affectKids,
                   int pivMode, BOOL ignoreLocks) {
    (void)pivMode; (void)ignoreLocks;
    if (isRoot_ || !tmControl_) return;
    SetXFormPacket pk(val, localOrigin, GetParentTM(t), tmAxis);
    NodeAccess::ApplyXForm(this, t, pk, affectKids);
}

void INode::Rotate(TimeValue t, const Matrix3& tmAxis, const AngAxis& val, BOOL localOrigin, BOOL affectKids,
                   int pivMode, BOOL ignoreLocks) {
    (void)pivMode; (void)ignoreLocks;
    if (isRoot_ || !tmControl_) return;
    SetXFormPacket pk(val, localOrigin, GetParentTM(t), tmAxis);
    NodeAccess::ApplyXForm(this, t, pk, affectKids);
}

void INode::Scale(TimeValue t, const Matrix3& tmAxis, const Point3& val, BOOL localOrigin, BOOL affectKids,
                  int pivMode, BOOL ignoreLocks) {
    (void)pivMode; (void)ignoreLocks;
    if (isRoot_ || !tmControl_) return;
    SetXFormPacket pk(val, localOrigin, GetParentTM(t), tmAxis);
    NodeAccess::ApplyXForm(this, t, pk, affectKids);
}

// ---- Object offset

void INode::UpdateOffsetTM() {
    Matrix3 m = host::ScaleValueMatrix(offsetScale_);
    RotateMatrix(m, offsetRot_);
    m.Translate(offsetPos_);
    offsetTM_ = m;
    offsetIdentity_ = m.IsIdentity();
}

void INode::SetObjOffsetPos(const Point3& p) {
    if (p == offsetPos_) return;
    NodeAccess::Record(this, &INode::offsetPos_, &NodeAccess::OffsetChanged);
    offsetPos_ = p;
    NodeAccess::OffsetChanged(this);
}

void INode::SetObjOffsetRot(const Quat& q) {
    if (q == offsetRot_) return;
    NodeAccess::Record(this, &INode::offsetRot_, &NodeAccess::OffsetChanged);
    offsetRot_ = q;
    NodeAccess::OffsetChanged(this);
}

void INode::SetObjOffsetScale(const ScaleValue& sv) {
    if (sv == offsetScale_) return;
    NodeAccess::Record(this, &INode::offsetScale_, &NodeAccess::OffsetChanged);
    offsetScale_ = sv;
    NodeAccess::OffsetChanged(this);
}

// ---- Display and flags

void INode::SetWireColor(DWORD newcol) {
    if (newcol == wireColor_) return;
    NodeAccess::Record<DWORD>(this, &INode::wireColor_, nullptr);
    wireColor_ = newcol;
}

void INode::SetRenderable(BOOL onOff) {
    bool v = onOff != 0;
    if (v == renderable_) return;
    NodeAccess::Record(this, &INode::renderable_, nullptr);
    renderable_ = v;
}

void INode::Hide(BOOL onOff) {
    bool v = onOff != 0;
    if (v != hidden_) {
        NodeAccess::Record(this, &INode::hidden_, &NotifyHidden);
        hidden_ = v;
    }
    NotifyHidden(this);
}

int INode::IsHidden(DWORD hflags, BOOL forRenderer) const {
    (void)hflags;
    (void)forRenderer;
    if (hidden_) return TRUE;
    return layer_ && layer_->IsHidden(true) ? TRUE : FALSE;
}

void INode::Freeze(BOOL onOff) {
    bool v = onOff != 0;
    if (v == frozen_) return;
    NodeAccess::Record(this, &INode::frozen_, &NotifyFrozen);
    frozen_ = v;
    NotifyFrozen(this);
}

int INode::IsFrozen() const {
    if (frozen_) return TRUE;
    return layer_ && layer_->IsFrozen(true) ? TRUE : FALSE;
}

// ---- Bones

void INode::SetBoneNodeOnOff(BOOL onOff, TimeValue t) {
    (void)t;
    bool v = onOff != 0;
    if (v == boneOn_) return;
    NodeAccess::Record(this, &INode::boneOn_, nullptr);
    boneOn_ = v;
    NotifyDependents(FOREVER, PART_DISPLAY, REFMSG_CHANGE);
}

void INode::RealignBoneToChild(TimeValue t) {
    if (children_.empty() || !tmControl_) return;
    Matrix3 tm = GetNodeTM(t);
    Point3 target;
    for (INode* c : children_) target += c->GetNodeTM(t).GetTrans();
    target /= static_cast<float>(children_.size());
    Point3 dir = target - tm.GetTrans();
    Point3 axis = tm.GetRow(boneAxis_ < 0 || boneAxis_ > 2 ? 0 : boneAxis_);
    if (boneAxisFlip_) axis = -axis;
    float dl = Length(dir), al = Length(axis);
    if (dl < 1e-6f || al < 1e-6f) return;
    dir /= dl;
    axis /= al;
    Point3 turn = axis ^ dir;
    float s = Length(turn), c = axis % dir;
    if (s < 1e-7f) {
        if (c > 0.0f) return;
        // Pointing away: half a turn about any axis across the bone.
        turn = std::fabs(axis.x) < 0.9f ? Point3(1, 0, 0) ^ axis : Point3(0, 1, 0) ^ axis;
    }
    Matrix3 rot = RotAngleAxisMatrix(turn, std::atan2(s, c));
    Matrix3 m = tm;
    m.NoTrans();
    m = m * rot;
    m.SetTrans(tm.GetTrans());
    std::vector<Matrix3> kids = ChildTMs(this, t);
    SetNodeTM(t, m);
    SetChildrenWorldTMs(t, kids.data(), static_cast<int>(kids.size()));
}

void INode::ResetBoneStretch(TimeValue t) {
    if (!tmControl_) return;
    Matrix3 tm = GetNodeTM(t);
    Matrix3 m = tm;
    m.Orthogonalize();
    m.NoScale();
    if (m.Equals(tm, 1e-6f)) return;
    std::vector<Matrix3> kids = ChildTMs(this, t);
    SetNodeTM(t, m);
    SetChildrenWorldTMs(t, kids.data(), static_cast<int>(kids.size()));
}

// ---- Locks

void INode::SetTransformLock(int type, int axis, BOOL onOff) {
    if (type < 0 || type > 2 || axis < 0 || axis > 2) return;
    DWORD bit = 1u << (type * 3 + axis);
    DWORD v = onOff ? (transformLocks_ | bit) : (transformLocks_ & ~bit);
    if (v == transformLocks_) return;
    NodeAccess::Record<DWORD>(this, &INode::transformLocks_, nullptr);
    transformLocks_ = v;
}

BOOL INode::GetTransformLock(int type, int axis) const {
    if (type < 0 || type > 2 || axis < 0 || axis > 2) return FALSE;
    return (transformLocks_ >> (type * 3 + axis)) & 1u ? TRUE : FALSE;
}

// ---- User properties

void INode::SetUserPropString(const MSTR& key, const MSTR& string) {
    std::wstring buf = userProps_.str();
    size_t ls, le, vs;
    if (FindUserProp(buf, key.str(), ls, le, vs)) {
        buf.replace(vs, le - vs, string.str());
    } else {
        if (!buf.empty() && buf.back() != L'\n') buf += L"\r\n";
        buf += key.str() + L" = " + string.str() + L"\r\n";
    }
    SetUserPropBuffer(MSTR(buf));
}

BOOL INode::GetUserPropString(const MSTR& key, MSTR& string) const {
    size_t ls, le, vs;
    if (!FindUserProp(userProps_.str(), key.str(), ls, le, vs)) return FALSE;
    std::wstring v = userProps_.str().substr(vs, le - vs);
    while (!v.empty() && iswspace(v.back())) v.pop_back();
    string = MSTR(v);
    return TRUE;
}

BOOL INode::UserPropExists(const MSTR& key) const {
    size_t ls, le, vs;
    return FindUserProp(userProps_.str(), key.str(), ls, le, vs) ? TRUE : FALSE;
}

void INode::SetUserPropInt(const MSTR& key, int val) { SetUserPropString(key, MSTR(std::to_wstring(val))); }

BOOL INode::GetUserPropInt(const MSTR& key, int& val) const {
    MSTR s;
    if (!GetUserPropString(key, s)) return FALSE;
    wchar_t* end = nullptr;
    long v = std::wcstol(s.data(), &end, 10);
    if (end == s.data()) return FALSE;
    val = static_cast<int>(v);
    return TRUE;
}

void INode::SetUserPropFloat(const MSTR& key, float val) {
    wchar_t b[64];
    std::swprintf(b, 64, L"%g", static_cast<double>(val));
    SetUserPropString(key, MSTR(b));
}

BOOL INode::GetUserPropFloat(const MSTR& key, float& val) const {
    MSTR s;
    if (!GetUserPropString(key, s)) return FALSE;
    wchar_t* end = nullptr;
    double v = std::wcstod(s.data(), &end);
    if (end == s.data()) return FALSE;
    val = static_cast<float>(v);
    return TRUE;
}

void INode::SetUserPropBool(const MSTR& key, BOOL b) { SetUserPropString(key, MSTR(b ? L"true" : L"false")); }

BOOL INode::GetUserPropBool(const MSTR& key, BOOL& b) const {
    MSTR s;
    if (!GetUserPropString(key, s)) return FALSE;
    if (host::EqualNoCase(s.str(), L"true") || s == L"1") b = TRUE;
    else if (host::EqualNoCase(s.str(), L"false") || s == L"0") b = FALSE;
    else return FALSE;
    return TRUE;
}

void INode::SetUserPropBuffer(const MSTR& buf) {
    if (buf == userProps_) return;
    NodeAccess::Record(this, &INode::userProps_, nullptr);
    userProps_ = buf;
}

// ---- Sub-anims

Animatable* INode::SubAnim(int i) {
    switch (i) {
        case NODE_SUBANIM_VISIBILITY: return visControl_;
        case NODE_SUBANIM_TRANSFORM: return tmControl_;
        case NODE_SUBANIM_OBJECT: return object_;
        default: return nullptr;
    }
}

MSTR INode::SubAnimName(int i, bool localized) {
    switch (i) {
        case NODE_SUBANIM_VISIBILITY: return MSTR(L"Visibility");
        case NODE_SUBANIM_SPACEWARPS: return MSTR(L"Space Warps");
        case NODE_SUBANIM_TRANSFORM: return MSTR(L"Transform");
        case NODE_SUBANIM_OBJECT:
            if (!object_) return MSTR(L"Object");
            if (object_->SuperClassID() == GEN_DERIVOB_CLASS_ID) return MSTR(L"Modified Object");
            return MSTR(L"Object (") + object_->GetObjectName(localized) + MSTR(L")");
        default: return MSTR();
    }
}

int INode::SubNumToRefNum(int subNum) {
    switch (subNum) {
        case NODE_SUBANIM_VISIBILITY: return kVisRef;
        case NODE_SUBANIM_TRANSFORM: return kTMRef;
        case NODE_SUBANIM_OBJECT: return kObjRef;
        default: return -1;
    }
}

BOOL INode::CanAssignController(int subAnim) {
    return !isRoot_ && (subAnim == NODE_SUBANIM_VISIBILITY || subAnim == NODE_SUBANIM_TRANSFORM);
}

BOOL INode::AssignController(Animatable* control, int subAnim) {
    auto* c = dynamic_cast<Control*>(control);
    if (control && !c) return FALSE;
    if (subAnim == NODE_SUBANIM_TRANSFORM) return SetTMController(c);
    if (subAnim == NODE_SUBANIM_VISIBILITY && !isRoot_) {
        if (c && DependsOn(c)) return FALSE;
        SetVisController(c);
        return TRUE;
    }
    return FALSE;
}
