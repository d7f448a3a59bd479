#include "controllers/parent_constraint.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frame/class_registry.h"
#include "hold.h"
#include "inode.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

constexpr USHORT kInitTMChunk = 0x0100;
constexpr USHORT kNeedInitChunk = 0x0110;
constexpr USHORT kLockedChunk = 0x0120;

RegistryClassDesc* ParentDesc() { return ClassRegistry::Find(CTRL_MATRIX3_CLASS_ID, PARENT_CONSTRAINT_CLASS_ID); }

ClassFactoryRegistrar parentRegistrar(CTRL_MATRIX3_CLASS_ID, PARENT_CONSTRAINT_CLASS_ID,
                                      [](BOOL loading) -> void* { return new ParentConstraint(loading); });

// A change of `relative` only changes what the rollup shows; a deleted target changes the
// blend, which the block does not pass on by itself.
class ParentConstraintAccessor : public PBAccessor {
public:
    void Set(PB2Value& v, ReferenceMaker* owner, ParamID id, int tabIndex, TimeValue t) override {
        (void)v, (void)tabIndex, (void)t;
        auto* pc = dynamic_cast<ParentConstraint*>(owner);
        if (!pc) return;
        pc->MarkBlockChanged();
        if (id == ParentConstraint::pc_relative && pc->rollup) pc->rollup->RefreshList();
    }
    void TabChanged(tab_changes code, Tab<PB2Value>*, ReferenceMaker* owner, ParamID, int, int) override {
        auto* pc = dynamic_cast<ParentConstraint*>(owner);
        if (!pc) return;
        pc->MarkBlockChanged();
        if (code == tab_ref_deleted) pc->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
        if (pc->rollup) pc->rollup->RefreshList();
    }
};
ParentConstraintAccessor parentAccessor;

ParamBlockDesc2& ParentBlock() {
    static ParamBlockDesc2* desc = [] {
        auto* d = new ParamBlockDesc2(0, L"params", 0, ParentDesc(), 0, p_end);
        using PC = ParentConstraint;
        d->AddParam(PC::pc_weight, L"weight", TYPE_FLOAT_TAB, P_ANIMATABLE | P_VARIABLE_SIZE, IDS_PARENT_WEIGHT);
        d->SetDefault(PC::pc_weight, 50.0f);
        d->SetRange(PC::pc_weight, 0.0f, 100.0f);
        d->GetParamDef(PC::pc_weight).ctrl_type = TYPE_SPINNER;
        d->AddParam(PC::pc_target_list, L"target_list", TYPE_INODE_TAB, P_VARIABLE_SIZE, IDS_PARENT_LIST);
        d->SetValidator(PC::pc_target_list, &CycleValidator());
        d->SetAccessor(PC::pc_target_list, &parentAccessor);
        d->AddParam(PC::pc_relative, L"relative", TYPE_BOOL, 0, IDS_PARENT_RELATIVE);
        d->SetDefault(PC::pc_relative, 0);
        d->SetAccessor(PC::pc_relative, &parentAccessor);
        d->AddParam(PC::pc_offset, L"offset", TYPE_MATRIX3_TAB, P_VARIABLE_SIZE, IDS_OFFSET_LIST);
        return d;
    }();
    return *desc;
}
const bool parentBlockReady = (ParentBlock(), true);

FPInterfaceDesc& ParentInterface() {
    static FPInterfaceDesc* desc = MakeTargetListInterface(PARENT_CONSTRAINT_INTERFACE, ParentDesc());
    return *desc;
}
const bool parentInterfaceReady = (ParentInterface(), true);

bool RowsEqual(const Matrix3& a, const Matrix3& b) {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 3; ++c) {
            const float x = a[r][c], y = b[r][c];
            if (std::fabs(x - y) > std::max({std::fabs(x), std::fabs(y), 1.0f}) * 9.536743e-7f) return false;
        }
    return true;
}

Matrix3 ObjectOffsetTM(INode* n) {
    Matrix3 m = host::ScaleValueMatrix(n->GetObjOffsetScale());
    RotateMatrix(m, n->GetObjOffsetRot());
    m.Translate(n->GetObjOffsetPos());
    return m;
}

bool AncestorSelected(INode* n) {
    for (INode* p = n ? n->GetParentNode() : nullptr; p && !p->IsRootNode(); p = p->GetParentNode())
        if (p->Selected()) return true;
    return false;
}

}  // namespace

// Brings back the lastSetTM pair and the snapshot tables as they were before a move.
class ParentTransformSnapshotRestore : public RestoreObj {
public:
    explicit ParentTransformSnapshotRestore(ParentConstraint* pc)
        : handle_(Animatable::GetHandleByAnim(pc)),
          undoTM_(pc->lastSetTM),
          undoTime_(pc->lastSetTime),
          undoSnaps_(pc->snapshots) {}
    void Restore(int isUndo) override {
        ParentConstraint* pc = Get();
        if (!pc) return;
        if (isUndo) {
            redoTM_ = pc->lastSetTM;
            redoTime_ = pc->lastSetTime;
            redoSnaps_ = pc->snapshots;
        }
        Apply(pc, undoTM_, undoTime_, undoSnaps_);
    }
    void Redo() override {
        if (ParentConstraint* pc = Get()) Apply(pc, redoTM_, redoTime_, redoSnaps_);
    }
    void EndHold() override {
        if (ParentConstraint* pc = Get()) pc->ClearAFlag(A_HELD);
    }
    MSTR Description() override { return MSTR(L"Parent transform snapshot"); }

private:
    ParentConstraint* Get() { return dynamic_cast<ParentConstraint*>(Animatable::GetAnimByHandle(handle_)); }
    static void Apply(ParentConstraint* pc, const Matrix3& tm, TimeValue t,
                      const std::vector<ParentConstraint::Snapshot>& s) {
        pc->lastSetTM = tm;
        pc->lastSetTime = t;
        pc->snapshots = s;
        pc->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    AnimHandle handle_;
    Matrix3 undoTM_, redoTM_;
    TimeValue undoTime_, redoTime_ = 0;
    std::vector<ParentConstraint::Snapshot> undoSnaps_, redoSnaps_;
};

FPInterfaceDesc* IParentConstraint::GetDesc() { return &ParentInterface(); }

ParentConstraint::ParentConstraint(BOOL loading) {
    if (!loading) {
        ReplaceReference(kPBlockRef, CreateParameterBlock2(&ParentBlock(), this));
        ReplaceReference(kOffsetRef, NewDefaultMatrix3Controller());
    }
    GetCOREInterface()->RegisterTimeChangeCallback(this);
}

ParentConstraint::~ParentConstraint() { GetCOREInterface()->UnRegisterTimeChangeCallback(this); }

MSTR ParentConstraint::ClassName(bool) const {
    return GetStringOr(IDS_CLASS_PARENTCONSTRAINT, L"Parent Constraint");
}

RefTargetHandle ParentConstraint::GetReference(int i) {
    if (i == kPBlockRef) return pblock;
    if (i == kOffsetRef) return inner_;
    return nullptr;
}

void ParentConstraint::SetReference(int i, RefTargetHandle rtarg) {
    if (i == kPBlockRef) pblock = static_cast<IParamBlock2*>(rtarg);
    if (i == kOffsetRef) {
        inner_ = static_cast<Control*>(rtarg);
        innerValid_ = NEVER;
    }
}

MSTR ParentConstraint::SubAnimName(int i, bool) {
    if (i == kPBlockRef) return pblock ? pblock->GetLocalName() : MSTR(L"params");
    if (i == kOffsetRef) return GetStringOr(IDS_OFFSET_LIST, L"Offset List");
    return MSTR();
}

BOOL ParentConstraint::AssignController(Animatable* control, int subAnim) {
    auto* c = dynamic_cast<Control*>(control);
    if (subAnim != kOffsetRef || !c || c->SuperClassID() != CTRL_MATRIX3_CLASS_ID) return FALSE;
    ReplaceReference(kOffsetRef, c);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    return TRUE;
}

RefResult ParentConstraint::NotifyRefChanged(const Interval&, RefTargetHandle hTarget, PartID&, RefMessage message,
                                             BOOL) {
    if (hTarget == pblock && (message == REFMSG_CHANGE || message == REFMSG_TARGET_DELETED)) blockDirty_ = true;
    if (hTarget == inner_) innerValid_ = NEVER;
    return REF_SUCCEED;
}

void ParentConstraint::ReadBlock() {
    blockDirty_ = false;
    relative_ = pblock && pblock->GetInt(pc_relative, 0) != 0;
    const int count = pblock ? pblock->Count(pc_target_list) : 0;
    const int offsets = pblock ? pblock->Count(pc_offset) : 0;
    nodes_.resize(static_cast<size_t>(count));
    offsets_.resize(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        nodes_[static_cast<size_t>(i)] = pblock->GetINode(pc_target_list, 0, i);
        offsets_[static_cast<size_t>(i)] = i < offsets ? pblock->GetMatrix3(pc_offset, 0, i) : Matrix3();
    }
    rawTMs_.assign(static_cast<size_t>(count), Matrix3(0));
    parts_.assign(static_cast<size_t>(count), PartsCache());
    lastBlendKnown_ = false;
}

ReferenceTarget* ParentConstraint::Clone(RemapDir& remap) {
    auto* c = new ParentConstraint(TRUE);
    c->ReplaceReference(kPBlockRef, remap.CloneRef(pblock));
    c->ReplaceReference(kOffsetRef, remap.CloneRef(inner_));
    c->initTM = initTM;
    c->needInit = needInit;
    c->mLocked = mLocked;
    BaseClone(this, c, remap);
    return c;
}

BaseInterface* ParentConstraint::GetInterface(Interface_ID id) {
    if (id == PARENT_CONSTRAINT_INTERFACE) return static_cast<IParentConstraint*>(this);
    return Control::GetInterface(id);
}

IOResult ParentConstraint::Save(ISave* isave) {
    WriteChunk(isave, kInitTMChunk, initTM);
    WriteFlagChunk(isave, kNeedInitChunk, needInit);
    WriteFlagChunk(isave, kLockedChunk, mLocked);
    return IO_OK;
}

IOResult ParentConstraint::Load(ILoad* iload) {
    return ReadChunks(iload, [&](USHORT id) {
        switch (id) {
        case kInitTMChunk:
            return ReadChunk(iload, initTM);
        case kNeedInitChunk:
            return ReadFlagChunk(iload, needInit);
        case kLockedChunk:
            return ReadFlagChunk(iload, mLocked);
        default:
            return IO_OK;
        }
    });
}

bool ParentConstraint::Relative() {
    if (blockDirty_) ReadBlock();
    return relative_;
}

BOOL ParentConstraint::IsAnimated() {
    return (pblock && pblock->IsAnimated()) || (inner_ && inner_->IsAnimated()) ? TRUE : FALSE;
}

void ParentConstraint::Copy(Control* from) {
    if (!from || from == this || from->SuperClassID() != CTRL_MATRIX3_CLASS_ID) return;
    ReplaceReference(kOffsetRef, CloneControl(from));
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

void ParentConstraint::TimeChanged(TimeValue t) {
    (void)t;
    // The snapshot pairs describe one time; a new time starts them afresh.
    for (Snapshot& s : snapshots) s.changed = 0;
}

void ParentConstraint::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    (void)method;
    if (!val) return;
    Matrix3& m = *static_cast<Matrix3*>(val);
    if (!theHold.RestoreOrRedoing() && t == GetCOREInterface()->GetTime()) {
        lastSetTM = m;
        lastSetTime = t;
        if (needInit) {
            initTM = m;
            needInit = false;
        }
    }
    m = Blend(t, valid, Relative());
    if (!inner_) return;
    // A transform controller's relative value is its local value times the parent's.
    if (!innerValid_.InInterval(t)) {
        innerLocal_ = Matrix3();
        innerValid_ = FOREVER;
        inner_->GetValue(t, &innerLocal_, innerValid_, CTRL_RELATIVE);
    }
    valid &= innerValid_;
    m = innerLocal_ * m;
}

Matrix3 ParentConstraint::Blend(TimeValue t, Interval& valid, bool relative) {
    if (!pblock) return Matrix3();
    if (blockDirty_) ReadBlock();
    const int count = static_cast<int>(nodes_.size());
    Matrix3 T;
    if (count == 1) {
        if (!TargetTM(0, t, valid, T)) return initTM;
        return relative ? offsets_[0] * T : T;
    }
    // Gather; decompose only what moved.
    bool same = lastBlendKnown_ && relative == lastBlendRelative_;
    int live = 0;
    for (int i = 0; i < count; ++i) {
        const size_t k = static_cast<size_t>(i);
        PartsCache& c = parts_[k];
        const bool wasLive = c.live;
        c.live = TargetTM(i, t, valid, T);
        if (c.live != wasLive) same = false;
        if (!c.live) continue;
        ++live;
        const float w = targetlist::Weight(pblock, t, i, 0.0f, valid);
        if (w != c.weight) {
            c.weight = w;
            same = false;
        }
        if (!c.known || relative != lastBlendRelative_ || std::memcmp(&rawTMs_[k], &T, sizeof(Matrix3)) != 0) {
            rawTMs_[k] = T;
            c.known = true;
            c.tm = relative ? offsets_[k] * T : T;
            decomp_affine(c.tm, &c.parts);
            same = false;
        }
    }
    lastBlendRelative_ = relative;
    if (live == 0) return initTM;
    if (same) return lastBlend_;
    PartsBlend b;
    for (const PartsCache& c : parts_)
        if (c.live) b.Add(c.parts, c.weight);
    if (b.sum <= 0.0f) {
        lastBlend_ = Matrix3();
    } else {
        AffineParts out = b.Parts();
        out.q.MakeClosest(IdentQuat());
        out.q.Normalize();
        lastBlend_ = host::ComposeAffine(out);
    }
    lastBlendKnown_ = true;
    return lastBlend_;
}

bool ParentConstraint::TargetTM(int i, TimeValue t, Interval& valid, Matrix3& tm) {
    INode* node = nodes_[static_cast<size_t>(i)];
    if (!node) return false;
    tm = node->GetNodeTM(t, &valid);
    if (!suspendSnapshots && !theHold.RestoreOrRedoing() && t == GetCOREInterface()->GetTime())
        TakeSnapshot(i, node, t, tm);
    return true;
}

void ParentConstraint::TakeSnapshot(int i, INode* node, TimeValue t, const Matrix3& tm) {
    if (snapshots.size() != nodes_.size()) snapshots.resize(nodes_.size());
    Snapshot& s = snapshots[static_cast<size_t>(i)];
    const bool offsetSame = s.offPos == node->GetObjOffsetPos() && s.offRot == node->GetObjOffsetRot() &&
                            s.offScale == node->GetObjOffsetScale();
    if (s.node != node || s.time != t) {
        s.node = node;
        s.time = t;
        s.tm = s.lastTM = tm;
        s.offPos = node->GetObjOffsetPos();
        s.offRot = node->GetObjOffsetRot();
        s.offScale = node->GetObjOffsetScale();
        s.stretchTM = s.lastStretchTM = ObjectOffsetTM(node);
        s.changed = 0;
        return;
    }
    if (offsetSame && s.tm.Equals(tm, 1e-6f)) return;
    const Matrix3 stretch = offsetSame ? s.stretchTM : ObjectOffsetTM(node);
    if (s.tm.Equals(tm, 1e-6f) && s.stretchTM.Equals(stretch, 1e-6f)) return;
    HoldSnapshots();
    s.lastTM = s.tm;
    s.lastStretchTM = s.stretchTM;
    s.tm = tm;
    s.stretchTM = stretch;
    s.offPos = node->GetObjOffsetPos();
    s.offRot = node->GetObjOffsetRot();
    s.offScale = node->GetObjOffsetScale();
    s.changed = 0;
}

void ParentConstraint::HoldSnapshots() {
    if (!theHold.Holding() || TestAFlag(A_HELD)) return;
    SetAFlag(A_HELD);
    theHold.Put(new ParentTransformSnapshotRestore(this));
}

void ParentConstraint::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    (void)method;
    if (!val || GetLocked()) return;
    SetXFormPacket& pk = *static_cast<SetXFormPacket*>(val);
    const bool live = theHold.Holding() && !theHold.RestoreOrRedoing();
    if (pk.command == XFORM_SCALE && live) {
        const int coords = GetCOREInterface7()->GetRefCoordSys();
        INode* node = OwnerNode();
        // The host scales a selected ancestor: this node follows it through its targets.
        if (coords != COORDS_HYBRID && coords != COORDS_SCREEN && node && !node->Selected() &&
            AncestorSelected(node)) {
            HoldSnapshots();
            return;
        }
    }
    if (lastSetTime == t && live && !pk.tmParent.Equals(lastSetTM, 1e-6f)) {
        const Matrix3 m = pk.command == XFORM_SET ? pk.tmParent : ApplyPacket(pk, pk.tmParent);
        INode* node = OwnerNode();
        if (RowsEqual(m, lastSetTM) && !(node && node->Selected())) {
            // Only the parent moved: nothing of this node's own to change.
            HoldSnapshots();
            lastSetTM = pk.tmParent;
            return;
        }
    }
    if (!inner_) return;
    Interval iv = FOREVER;
    pk.tmParent = Blend(t, iv, Relative());
    inner_->SetValue(t, &pk, commit, CTRL_RELATIVE);
    innerValid_ = NEVER;
}

int ParentConstraint::getNumTargets() { return targetlist::Count(pblock); }

INode* ParentConstraint::getNode(int nodeNumber) { return targetlist::Node(pblock, nodeNumber); }

float ParentConstraint::getWeight(int targetNumber) {
    return targetlist::CurrentWeight(pblock, targetNumber);
}

bool ParentConstraint::setWeight(int targetNumber, float weight) {
    if (!targetlist::SetCurrentWeight(pblock, targetNumber, weight)) return false;
    if (rollup) rollup->RefreshList();
    return true;
}

bool ParentConstraint::appendTarget(INode* target, float weight) {
    if (!targetlist::CanAppend(this, pblock, target)) return false;
    const TimeValue now = GetCOREInterface()->GetTime();
    theHold.Begin();
    Interval iv = FOREVER;
    // The blend space as it stands: with `relative` the new target adds no movement.
    Matrix3 base = initTM;
    if (pblock->Count(pc_target_list) > 0) {
        suspendSnapshots = true;
        base = Blend(now, iv, true);
        suspendSnapshots = false;
    }
    Matrix3 offset = target ? base * Inverse(target->GetNodeTM(now)) : Matrix3();
    // Offsets run parallel to the targets; an older list without them is padded first.
    while (pblock->Count(pc_offset) < pblock->Count(pc_target_list)) {
        Matrix3 id;
        Matrix3* p = &id;
        pblock->Append(pc_offset, 1, &p);
    }
    targetlist::Append(pblock, target, weight);
    Matrix3* p = &offset;
    pblock->Append(pc_offset, 1, &p);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    targetlist::AcceptChange();
    if (rollup) rollup->RefreshList();
    return true;
}

bool ParentConstraint::deleteTarget(int targetNumber) {
    if (!pblock || targetNumber < 0 || targetNumber >= getNumTargets()) return false;
    theHold.Begin();
    targetlist::Delete(pblock, targetNumber);
    if (targetNumber < pblock->Count(pc_offset)) pblock->Delete(pc_offset, targetNumber, 1);
    snapshots.clear();
    blockDirty_ = true;
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    targetlist::AcceptChange();
    if (rollup) rollup->RefreshList();
    return true;
}

Matrix3 ParentConstraint::GetOffset(int i) {
    if (!pblock || i < 0 || i >= pblock->Count(pc_offset)) return Matrix3();
    return pblock->GetMatrix3(pc_offset, 0, i);
}

void ParentConstraint::SetOffset(int i, const Matrix3& offset) {
    if (!pblock || i < 0 || i >= pblock->Count(pc_offset)) return;
    pblock->SetValue(pc_offset, 0, offset, i);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

}  // namespace kt
