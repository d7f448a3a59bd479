#include "ref.h"
#include "hold.h"
#include "custattrib.h"

#include <algorithm>
#include <array>

namespace {
int g_refMsgsDisabled = 0;
unsigned g_depTestEpoch = 0;

ReferenceTarget* AsTarget(Animatable* a) {
    auto* m = dynamic_cast<ReferenceMaker*>(a);
    return m && m->IsRefTarget() ? static_cast<ReferenceTarget*>(m) : nullptr;
}

// A small copy of a dependents list that tolerates the list changing while it is walked.
class DependentsSnapshot {
public:
    explicit DependentsSnapshot(const std::vector<ReferenceMaker*>& deps) {
        for (ReferenceMaker* m : deps) {
            if (std::find(begin(), end(), m) != end()) continue;  // one message per maker
            if (n_ < small_.size()) small_[n_++] = m;
            else {
                if (big_.empty()) big_.assign(small_.begin(), small_.end());
                big_.push_back(m);
                ++n_;
            }
        }
    }
    ReferenceMaker** begin() { return big_.empty() ? small_.data() : big_.data(); }
    ReferenceMaker** end() { return begin() + n_; }

private:
    std::array<ReferenceMaker*, 8> small_{};
    std::vector<ReferenceMaker*> big_;
    size_t n_ = 0;
};
}  // namespace

void DisableRefMsgs() { ++g_refMsgsDisabled; }
void EnableRefMsgs() { if (g_refMsgsDisabled > 0) --g_refMsgsDisabled; }
bool RefMsgsEnabled() { return g_refMsgsDisabled == 0; }

namespace host {

// One reference swap. Keeps the maker and both targets alive while the record exists,
// and finds them again by handle in case something else released them.
class RefSwapRestore : public RestoreObj {
public:
    RefSwapRestore(ReferenceMaker* m, int which, ReferenceTarget* oldT, ReferenceTarget* newT)
        : maker_(Animatable::GetHandleByAnim(m)), which_(which), old_(Animatable::GetHandleByAnim(oldT)),
          new_(Animatable::GetHandleByAnim(newT)) {
        Lock(m);
        Lock(oldT);
        Lock(newT);
    }
    ~RefSwapRestore() override {
        Unlock(new_);
        Unlock(old_);
        Unlock(maker_);
    }
    void Restore(int) override { Set(old_); }
    void Redo() override { Set(new_); }
    MSTR Description() override { return MSTR(L"Reference"); }

private:
    static void Lock(Animatable* a) {
        if (ReferenceTarget* t = AsTarget(a)) t->host_AddHoldLock();
    }
    static void Unlock(AnimHandle h) {
        if (!h) return;
        if (ReferenceTarget* t = AsTarget(Animatable::GetAnimByHandle(h))) t->host_ReleaseHoldLock();
    }
    void Set(AnimHandle target) {
        auto* m = dynamic_cast<ReferenceMaker*>(Animatable::GetAnimByHandle(maker_));
        if (!m) return;
        ReferenceTarget* t = target ? AsTarget(Animatable::GetAnimByHandle(target)) : nullptr;
        if (target && !t) return;
        m->host_SetReferenceRaw(which_, t);
        // What the maker computes from the slot changed: its dependents' caches (a node's
        // transform behind a constraint's target list) must not outlive the swap.
        if (auto* mt = dynamic_cast<ReferenceTarget*>(m)) mt->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    AnimHandle maker_;
    int which_;
    AnimHandle old_, new_;
};

}  // namespace host

// ---------------------------------------------------------------------------------------------
// ReferenceMaker

ReferenceMaker::~ReferenceMaker() = default;

void ReferenceMaker::host_SetReferenceRaw(int which, RefTargetHandle t) {
    ReferenceTarget* old = GetReference(which);
    if (old == t) return;
    if (old) old->RemoveDependent(this);
    SetReference(which, t);
    if (t) t->AddDependent(this);
}

RefResult ReferenceMaker::ReplaceReference(int which, RefTargetHandle newtarg, BOOL delOld) {
    if (which < 0 || which >= NumRefs()) return REF_FAIL;
    ReferenceTarget* old = GetReference(which);
    if (old == newtarg) return REF_SUCCEED;
    // A maker may not come to depend on itself.
    if (newtarg && IsRefTarget()) {
        auto* self = static_cast<ReferenceTarget*>(this);
        if (newtarg == self || self->DependsOn(newtarg)) return REF_FAIL;
    }
    if (theHold.Holding()) theHold.Put(new host::RefSwapRestore(this, which, old, newtarg));
    host_SetReferenceRaw(which, newtarg);
    if (newtarg) newtarg->RefAdded(this);
    if (old) {
        old->RefDeleted();
        if (delOld) old->MaybeAutoDelete();
    }
    // As on undo and redo of the swap: caches computed from the old slot must go.
    if (IsRefTarget()) static_cast<ReferenceTarget*>(this)->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    return REF_SUCCEED;
}

RefResult ReferenceMaker::DeleteReference(int which) { return ReplaceReference(which, nullptr, TRUE); }

RefResult ReferenceMaker::DeleteAllRefsFromMe() {
    for (int i = 0; i < NumRefs(); ++i) {
        if (GetReference(i)) ReplaceReference(i, nullptr, TRUE);
    }
    return REF_SUCCEED;
}

int ReferenceMaker::FindRef(RefTargetHandle t) {
    for (int i = 0; i < NumRefs(); ++i)
        if (GetReference(i) == t) return i;
    return -1;
}

void ReferenceMaker::DeleteMe() {
    if (TestAFlag(A_IS_DELETED)) return;
    SetAFlag(A_IS_DELETED);
    theHold.DisableUndo();
    if (IsRefTarget()) {
        auto* self = static_cast<ReferenceTarget*>(this);
        self->NotifyDependents(FOREVER, PART_ALL, REFMSG_TARGET_DELETED);
        self->DeleteAllRefsToMe();
    }
    DeleteAllRefsFromMe();
    theHold.EnableUndo();
    DeleteThis();
}

// ---------------------------------------------------------------------------------------------
// ReferenceTarget

ReferenceTarget::~ReferenceTarget() {
    // Deleted by hand while still referenced: leave no dangling pointers behind.
    while (!dependents_.empty()) {
        ReferenceMaker* m = dependents_.back();
        int slot = m->FindRef(this);
        if (slot < 0) {
            dependents_.pop_back();
            continue;
        }
        m->SetReference(slot, nullptr);
        RemoveDependent(m);
    }
}

void ReferenceTarget::RemoveDependent(ReferenceMaker* m) {
    auto it = std::find(dependents_.begin(), dependents_.end(), m);
    if (it != dependents_.end()) dependents_.erase(it);
}

int ReferenceTarget::NumRealDependents() {
    int n = 0;
    for (ReferenceMaker* m : dependents_)
        if (m->IsRealDependency(this)) ++n;
    return n;
}

void ReferenceTarget::host_ReleaseHoldLock() {
    if (holdLocks_ > 0) --holdLocks_;
    if (holdLocks_ == 0) MaybeAutoDelete();
}

void ReferenceTarget::MaybeAutoDelete() {
    if (!everReferenced_ || holdLocks_ > 0 || TestAFlag(A_LOCK_TARGET | A_IS_DELETED) || NumRealDependents() > 0)
        return;
    DeleteMe();
}

RefResult ReferenceTarget::NotifyDependents(const Interval& changeInt, PartID partID, RefMessage message,
                                            SClass_ID sclass, BOOL propagate, RefTargetHandle hTarg) {
    if (g_refMsgsDisabled && message != REFMSG_TARGET_DELETED) return REF_SUCCEED;
    if (dependents_.empty()) return REF_SUCCEED;
    const bool depTest = message == REFMSG_TEST_DEPENDENCY;
    // Dependency tests mark what they reach, so cycles end by themselves; a test that
    // starts from outside any other opens a new epoch and older marks count as unreached.
    static int depTestDepth = 0;
    if (depTest) {
        if (depTestDepth == 0) ++g_depTestEpoch;
        ++depTestDepth;
    } else if (notifyDepth_ > 0) {
        return REF_SUCCEED;  // re-entry through a cycle ends here
    }
    ++notifyDepth_;
    DependentsSnapshot deps(dependents_);
    for (ReferenceMaker* m : deps) {
        if (depTest) {
            if (!m->IsRealDependency(this) || m->depTestEpoch_ == g_depTestEpoch) continue;
            m->depTestEpoch_ = g_depTestEpoch;
            m->SetAFlag(A_DEPENDENCY_TEST);
        }
        if (sclass != NOTIFY_ALL && m->SuperClassID() != sclass) continue;
        PartID p = partID;
        RefResult r = m->NotifyRefChanged(changeInt, hTarg ? hTarg : this, p, message, propagate);
        if (r == REF_STOP) continue;
        if (propagate && m->IsRefTarget())
            static_cast<ReferenceTarget*>(m)->NotifyDependents(changeInt, p, message, sclass, propagate, nullptr);
    }
    --notifyDepth_;
    if (depTest) --depTestDepth;
    return REF_SUCCEED;
}

bool ReferenceTarget::DependsOn(ReferenceTarget* candidate) {
    if (!candidate) return false;
    if (candidate == this) return true;
    candidate->ClearAFlag(A_DEPENDENCY_TEST);
    NotifyDependents(FOREVER, 0, REFMSG_TEST_DEPENDENCY);
    return candidate->TestAFlag(A_DEPENDENCY_TEST);
}

int ReferenceTarget::DoEnumDependents(DependentEnumProc* dep) { return DoEnumDependentsImpl(dep); }

int ReferenceTarget::DoEnumDependentsImpl(DependentEnumProc* dep) {
    // Each maker is visited once per walk, so a cycle among dependents ends by itself.
    static unsigned epoch = 0;
    static int depth = 0;
    if (depth == 0) ++epoch;
    ++depth;
    int halted = 0;
    DependentsSnapshot deps(dependents_);
    for (ReferenceMaker* m : deps) {
        if (m->enumEpoch_ == epoch) continue;
        m->enumEpoch_ = epoch;
        int r = dep->proc(m);
        if (r == DEP_ENUM_HALT) { halted = 1; break; }
        if (r == DEP_ENUM_SKIP) continue;
        if (m->IsRefTarget() && static_cast<ReferenceTarget*>(m)->DoEnumDependents(dep)) { halted = 1; break; }
    }
    --depth;
    return halted;
}

RefResult ReferenceTarget::DeleteAllRefsToMe() {
    while (true) {
        ReferenceMaker* found = nullptr;
        int slot = -1;
        for (ReferenceMaker* m : dependents_) {
            slot = m->FindRef(this);
            if (slot >= 0) { found = m; break; }
        }
        if (!found) break;
        found->ReplaceReference(slot, nullptr, FALSE);
    }
    dependents_.clear();
    return REF_SUCCEED;
}

ReferenceTarget* ReferenceTarget::Clone(RemapDir& remap) {
    (void)remap;
    return nullptr;
}

void ReferenceTarget::BaseClone(ReferenceTarget* from, ReferenceTarget* to, RemapDir& remap) {
    if (!from || !to) return;
    ICustAttribContainer* cc = from->GetCustAttribContainer();
    if (!cc || cc->GetNumCustAttribs() == 0) return;
    to->AllocCustAttribContainer();
    ICustAttribContainer* toCC = to->GetCustAttribContainer();
    for (int i = 0; i < cc->GetNumCustAttribs(); ++i) {
        auto* ca = dynamic_cast<CustAttrib*>(remap.CloneRef(cc->GetCustAttrib(i)));
        if (ca) toCC->AppendCustAttrib(ca);
    }
}

// ---------------------------------------------------------------------------------------------
// RemapDir

RemapDir::~RemapDir() {
    for (auto& p : procs_)
        if (p.second) delete p.first;
}

RefTargetHandle RemapDir::FindMapping(RefTargetHandle from) {
    for (auto& e : map_)
        if (e.first == from) return e.second;
    return nullptr;
}

void RemapDir::AddEntry(RefTargetHandle hfrom, RefTargetHandle hto) {
    if (!hfrom || FindMapping(hfrom)) return;
    map_.emplace_back(hfrom, hto);
}

RefTargetHandle RemapDir::CloneRef(RefTargetHandle oldTarg) {
    if (!oldTarg) return nullptr;
    if (RefTargetHandle done = FindMapping(oldTarg)) return done;
    RefTargetHandle clone = oldTarg->Clone(*this);
    if (clone) AddEntry(oldTarg, clone);
    return clone;
}

void RemapDir::PatchPointer(RefTargetHandle* patchThis, RefTargetHandle oldTarg) {
    if (RefTargetHandle done = FindMapping(oldTarg)) {
        *patchThis = done;
        return;
    }
    patches_.emplace_back(patchThis, oldTarg);
}

void RemapDir::AddPostPatchProc(PostPatchProc* proc, bool toDelete) { procs_.emplace_back(proc, toDelete); }

void RemapDir::Backpatch() {
    for (auto& p : patches_)
        if (RefTargetHandle done = FindMapping(p.second)) *p.first = done;
    patches_.clear();
    // A proc may add more procs; walk by index.
    for (size_t i = 0; i < procs_.size(); ++i) procs_[i].first->Proc(*this);
    for (auto& p : procs_)
        if (p.second) delete p.first;
    procs_.clear();
}

RemapDir& NewRemapDir(BOOL use_A_WORK1) {
    (void)use_A_WORK1;
    return *new RemapDir();
}

ReferenceTarget* CloneRefHierarchy(ReferenceTarget* t) {
    RemapDir& remap = NewRemapDir();
    ReferenceTarget* c = remap.CloneRef(t);
    remap.Backpatch();
    remap.DeleteThis();
    return c;
}
