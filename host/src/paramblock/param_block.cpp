#include "iparamb2.h"
#include "hold.h"
#include "imtl.h"
#include "inode.h"
#include "maxapi.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>

namespace {

bool IsAnimatableParam(const ParamDef& pd) { return (pd.flags & P_ANIMATABLE) && animatable_type(pd.type); }

bool IsPoint4Type(int type) { return base_type(type) == TYPE_POINT4 || base_type(type) == TYPE_FRGBA; }

int RoundToInt(float f) { return static_cast<int>(std::lround(f)); }

// Class of blocks made by scene files.
class ParamBlock2ClassDesc : public ClassDesc2 {
public:
    int IsPublic() override { return 0; }
    void* Create(BOOL loading) override {
        (void)loading;
        return static_cast<Animatable*>(new IParamBlock2(nullptr, nullptr));
    }
    const MCHAR* ClassName() override { return L"ParamBlock2"; }
    SClass_ID SuperClassID() override { return PARAMETER_BLOCK2_CLASS_ID; }
    Class_ID ClassID() override { return host::PARAMBLOCK2_CLASS_ID; }
    const MCHAR* Category() override { return L""; }
};

ParamBlock2ClassDesc& BlockClass() {
    static ParamBlock2ClassDesc cd;
    return cd;
}

[[maybe_unused]] const bool g_registered = host::ClassDirectory::Get().AddClass(&BlockClass());

host::FilenameResolver g_resolver = nullptr;

MSTR DefaultResolve(const MSTR& stored) {
    if (stored.isNull()) return stored;
    std::error_code ec;
    std::filesystem::path p(stored.str());
    if (p.is_absolute()) return stored;
    auto abs = std::filesystem::absolute(p, ec);
    return ec ? stored : MSTR(abs.lexically_normal().wstring());
}

}  // namespace

namespace host {

void SetFilenameResolver(FilenameResolver resolver) { g_resolver = resolver; }
MSTR ResolveFilename(const MSTR& stored) { return g_resolver ? g_resolver(stored) : DefaultResolve(stored); }

// The block's whole state before the first change of a hold. References are kept by handle
// and held alive by the record until it goes.
class PBRestore : public RestoreObj {
public:
    explicit PBRestore(IParamBlock2* pb) : pb_(Animatable::GetHandleByAnim(pb)) {
        pb->host_AddHoldLock();
        Capture(pb, undo_);
    }
    ~PBRestore() override {
        for (AnimHandle h : locks_)
            if (auto* t = dynamic_cast<ReferenceTarget*>(Animatable::GetAnimByHandle(h))) t->host_ReleaseHoldLock();
        if (IParamBlock2* pb = Block()) pb->host_ReleaseHoldLock();
    }
    void Restore(int isUndo) override {
        IParamBlock2* pb = Block();
        if (!pb) return;
        if (isUndo) {
            redo_.clear();
            Capture(pb, redo_);
            haveRedo_ = true;
        }
        Apply(pb, undo_);
    }
    void Redo() override {
        IParamBlock2* pb = Block();
        if (pb && haveRedo_) Apply(pb, redo_);
    }
    void EndHold() override {
        if (IParamBlock2* pb = Block()) pb->ClearAFlag(A_HELD);
    }
    int Size() override { return static_cast<int>(sizeof(*this)); }
    MSTR Description() override { return MSTR(L"Parameter block"); }

private:
    struct Entry {
        PB2Value v;
        AnimHandle target = 0;  // the reference slot's target, when the entry has a slot
    };
    using State = std::vector<std::vector<Entry>>;

    IParamBlock2* Block() const { return dynamic_cast<IParamBlock2*>(Animatable::GetAnimByHandle(pb_)); }

    void Capture(IParamBlock2* pb, State& s) {
        s.assign(pb->params_.size(), {});
        for (size_t i = 0; i < pb->params_.size(); ++i) {
            const ParamDef& pd = pb->desc_->paramdefs[i];
            const bool slot = pb->UsesRefSlot(pd);
            const bool anim = IsAnimatableParam(pd);
            Tab<PB2Value>& tab = pb->params_[i];
            s[i].resize(static_cast<size_t>(tab.Count()));
            for (int k = 0; k < tab.Count(); ++k) {
                Entry& e = s[i][static_cast<size_t>(k)];
                e.v = tab[k];
                if (!slot) continue;
                ReferenceTarget* t = anim ? static_cast<ReferenceTarget*>(tab[k].control) : tab[k].r;
                e.v.control = nullptr;
                if (!anim) e.v.r = nullptr;
                if (t) {
                    e.target = Animatable::GetHandleByAnim(t);
                    t->host_AddHoldLock();
                    locks_.push_back(e.target);
                }
            }
        }
    }

    static void Apply(IParamBlock2* pb, const State& s) {
        std::vector<AnimHandle> dropped;
        for (int i = 0; i < pb->NumRefs(); ++i) {
            if (ReferenceTarget* t = pb->GetReference(i)) {
                dropped.push_back(Animatable::GetHandleByAnim(t));
                pb->host_SetReferenceRaw(i, nullptr);
            }
        }
        const int oldSubs = pb->numSubs_;
        for (size_t i = 0; i < s.size() && i < pb->params_.size(); ++i) {
            Tab<PB2Value>& tab = pb->params_[i];
            tab.SetCount(static_cast<int>(s[i].size()));
            for (size_t k = 0; k < s[i].size(); ++k) tab[static_cast<int>(k)] = s[i][k].v;
            auto& ph = pb->placeholders_[i];
            while (ph.size() > s[i].size()) {
                if (ph.back()) {
                    ph.back()->host_Detach();
                    pb->retired_.push_back(std::move(ph.back()));
                }
                ph.pop_back();
            }
            ph.resize(s[i].size());
        }
        pb->Renumber();
        for (size_t i = 0; i < s.size() && i < pb->params_.size(); ++i) {
            for (size_t k = 0; k < s[i].size(); ++k) {
                if (!s[i][k].target) continue;
                auto* t = dynamic_cast<ReferenceTarget*>(Animatable::GetAnimByHandle(s[i][k].target));
                if (t) pb->host_SetReferenceRaw(pb->SlotOf(static_cast<int>(i), static_cast<int>(k)), t);
            }
        }
        for (AnimHandle h : dropped)
            if (auto* t = dynamic_cast<ReferenceTarget*>(Animatable::GetAnimByHandle(h))) t->MaybeAutoDelete();
        pb->lastNotifyID_ = -1;
        pb->lastNotifyTab_ = -1;
        pb->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
        if (pb->numSubs_ != oldSubs) pb->NotifyDependents(FOREVER, 0, REFMSG_SUBANIM_STRUCTURE_CHANGED);
    }

    AnimHandle pb_;
    State undo_, redo_;
    bool haveRedo_ = false;
    std::vector<AnimHandle> locks_;
};

// Node references of a clone follow the clone of the node once every clone exists.
class NodeRemapProc : public PostPatchProc {
public:
    struct Item {
        int index, tab;
        ReferenceTarget* original;
        bool slot;
    };
    NodeRemapProc(IParamBlock2* clone, std::vector<Item> items)
        : pb_(Animatable::GetHandleByAnim(clone)), items_(std::move(items)) {}
    int Proc(RemapDir& remap) override {
        auto* pb = dynamic_cast<IParamBlock2*>(Animatable::GetAnimByHandle(pb_));
        if (!pb) return 1;
        for (const Item& it : items_) {
            ReferenceTarget* mapped = remap.FindMapping(it.original);
            if (!mapped || mapped == it.original) continue;
            if (it.slot) {
                pb->ReplaceReference(pb->GetRefNum(pb->IndextoID(it.index), it.tab), mapped);
            } else {
                Tab<PB2Value>& tab = pb->host_Entries(it.index);
                if (it.tab < tab.Count()) tab[it.tab].r = mapped;
            }
        }
        return 1;
    }

private:
    AnimHandle pb_;
    std::vector<Item> items_;
};

}  // namespace host

IParamBlock2* CreateParameterBlock2(ParamBlockDesc2* pdesc, ReferenceMaker* owner) {
    if (!pdesc) return nullptr;
    return new IParamBlock2(pdesc, owner);
}

// ---------------------------------------------------------------------------------------------
// Construction

IParamBlock2::IParamBlock2(ParamBlockDesc2* desc, ReferenceMaker* owner) : desc_(desc), owner_(owner) {
    InitDefaults();
}

IParamBlock2::~IParamBlock2() {
    // Deleted by hand while still referencing: leave no dangling dependents behind.
    for (int i = 0; i < numRefs_; ++i)
        if (GetReference(i)) host_SetReferenceRaw(i, nullptr);
    for (auto& list : placeholders_)
        for (auto& ph : list)
            if (ph) ph->host_Detach();
    for (auto& ph : retired_) ph->host_Detach();
}

Class_ID IParamBlock2::ClassID() { return host::PARAMBLOCK2_CLASS_ID; }

void IParamBlock2::InitEntry(const ParamDef& pd, PB2Value& e) {
    e = PB2Value();
    e.f = pd.def.f;
    e.i = pd.def.i;
    e.p4 = pd.def.p4;
    e.m = pd.def.m;
    e.s = pd.def.s;
}

void IParamBlock2::InitDefaults() {
    const size_t n = desc_ ? desc_->paramdefs.size() : 0;
    params_.assign(n, Tab<PB2Value>());
    placeholders_.clear();
    placeholders_.resize(n);
    for (size_t i = 0; i < n; ++i) {
        const ParamDef& pd = desc_->paramdefs[i];
        int count = is_tab(pd.type) ? std::max(0, pd.tab_size) : 1;
        params_[i].SetCount(count);
        for (int k = 0; k < count; ++k) InitEntry(pd, params_[i][k]);
        placeholders_[i].resize(static_cast<size_t>(count));
    }
    Renumber();
}

void IParamBlock2::Renumber() {
    const size_t n = params_.size();
    slotBase_.assign(n, 0);
    subBase_.assign(n, -1);
    int slot = 0, sub = 0;
    for (size_t i = 0; i < n; ++i) {
        slotBase_[i] = slot;
        const int count = params_[i].Count();
        slot += count;
        if (IsAnimatableParam(desc_->paramdefs[i])) {
            subBase_[i] = sub;
            sub += count;
        }
        auto& ph = placeholders_[i];
        for (size_t k = 0; k < ph.size(); ++k)
            if (ph[k]) ph[k]->host_Move(static_cast<int>(i), static_cast<int>(k));
    }
    numRefs_ = slot;
    numSubs_ = sub;
    fast_.assign(desc_ && !desc_->paramdefs.empty() ? static_cast<size_t>(MaxParamID() + 1) : 0, FastParam());
    for (size_t i = 0; i < n; ++i) {
        const ParamDef& pd = desc_->paramdefs[i];
        if (pd.ID < 0) continue;
        FastParam& fp = fast_[static_cast<size_t>(pd.ID)];
        fp.entries = params_[i].begin();
        fp.count = params_[i].Count();
        fp.kind = pd.accessor ? 0 : float_type(pd.type) ? 1 : int_type(pd.type) ? 2 : 0;
    }
}

int IParamBlock2::MaxParamID() const {
    int m = -1;
    for (const ParamDef& pd : desc_->paramdefs) m = std::max(m, static_cast<int>(pd.ID));
    return m;
}

bool IParamBlock2::UsesRefSlot(const ParamDef& pd) const {
    if (IsAnimatableParam(pd)) return true;
    return reftarg_type(pd.type) && !(pd.flags & (P_NO_REF | P_OWNERS_REF));
}

int IParamBlock2::SlotOf(int index, int tabIndex) const { return slotBase_[static_cast<size_t>(index)] + tabIndex; }

bool IParamBlock2::SlotToEntry(int slot, int& index, int& tabIndex) const {
    if (slot < 0 || slot >= numRefs_) return false;
    auto it = std::upper_bound(slotBase_.begin(), slotBase_.end(), slot);
    // Empty tables share their base with the next parameter: step back to one that holds slot.
    while (it != slotBase_.begin()) {
        --it;
        int i = static_cast<int>(it - slotBase_.begin());
        if (slot - *it < params_[static_cast<size_t>(i)].Count()) {
            index = i;
            tabIndex = slot - *it;
            return true;
        }
    }
    return false;
}

bool IParamBlock2::Locate(ParamID id, int tabIndex, Locator& loc) {
    if (!desc_) return false;
    int i = desc_->IDtoIndex(id);
    if (i < 0) return false;
    Tab<PB2Value>& tab = params_[static_cast<size_t>(i)];
    if (tabIndex < 0 || tabIndex >= tab.Count()) return false;
    loc.index = i;
    loc.pd = &desc_->paramdefs[static_cast<size_t>(i)];
    loc.e = tab.begin() + tabIndex;
    return true;
}

ParamDef& IParamBlock2::GetParamDef(ParamID id) {
    static ParamDef none;
    if (desc_) return desc_->GetParamDef(id);
    none = ParamDef();
    return none;
}

ParamType2 IParamBlock2::GetParameterType(ParamID id) {
    int i = IDtoIndex(id);
    return i >= 0 ? desc_->paramdefs[static_cast<size_t>(i)].type : TYPE_VOID;
}

void IParamBlock2::Hold() {
    if (theHold.Holding() && !TestAFlag(A_HELD)) {
        theHold.Put(new host::PBRestore(this));
        SetAFlag(A_HELD);
    }
}

void IParamBlock2::Notify(ParamID id, int tabIndex) {
    lastNotifyID_ = id;
    lastNotifyTab_ = tabIndex;
    if (notifyEnabled_) NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

bool IParamBlock2::SetRefSlot(int slot, ReferenceTarget* t) {
    // The block's own record covers the swap; a second record would fight it on undo.
    theHold.Suspend();
    RefResult r = ReplaceReference(slot, t);
    theHold.Resume();
    return r == REF_SUCCEED;
}

// ---------------------------------------------------------------------------------------------
// Controllers

SClass_ID IParamBlock2::ControllerSuperClass(int type) {
    if (!animatable_type(type)) return 0;
    switch (base_type(type)) {
        case TYPE_POINT3: case TYPE_RGBA: case TYPE_HSV: return CTRL_POINT3_CLASS_ID;
        case TYPE_POINT4: case TYPE_FRGBA: return CTRL_POINT4_CLASS_ID;
        default: return CTRL_FLOAT_CLASS_ID;
    }
}

Control* IParamBlock2::NewControllerFor(const ParamDef& pd) {
    switch (ControllerSuperClass(pd.type)) {
        case CTRL_FLOAT_CLASS_ID: return NewDefaultFloatController();
        case CTRL_POINT3_CLASS_ID:
            return base_type(pd.type) == TYPE_RGBA ? NewDefaultColorController() : NewDefaultPoint3Controller();
        // No default point4 controller: such entries key only under a controller given to them.
        default: return nullptr;
    }
}

void IParamBlock2::ControllerGet(const ParamDef& pd, Control* c, TimeValue t, PB2Value& out, Interval& valid) {
    if (float_type(pd.type) || int_type(pd.type)) {
        float f = 0.0f;
        c->GetValue(t, &f, valid, CTRL_ABSOLUTE);
        out.f = f;
        out.i = RoundToInt(f);
    } else if (IsPoint4Type(pd.type)) {
        Point4 p;
        c->GetValue(t, &p, valid, CTRL_ABSOLUTE);
        out.p4 = p;
    } else {
        Point3 p;
        c->GetValue(t, &p, valid, CTRL_ABSOLUTE);
        out.p4 = Point4(p, base_type(pd.type) == TYPE_RGBA ? 1.0f : 0.0f);
    }
}

void IParamBlock2::ControllerSet(const ParamDef& pd, Control* c, TimeValue t, const PB2Value& nv) {
    if (float_type(pd.type)) {
        float f = nv.f;
        c->SetValue(t, &f, 1, CTRL_ABSOLUTE);
    } else if (int_type(pd.type)) {
        float f = static_cast<float>(nv.i);
        c->SetValue(t, &f, 1, CTRL_ABSOLUTE);
    } else if (IsPoint4Type(pd.type)) {
        Point4 p = nv.p4;
        c->SetValue(t, &p, 1, CTRL_ABSOLUTE);
    } else {
        Point3 p = nv.p3();
        c->SetValue(t, &p, 1, CTRL_ABSOLUTE);
    }
}

void IParamBlock2::StoreConstant(const ParamDef& pd, PB2Value& e, const PB2Value& nv) {
    if (float_type(pd.type)) {
        e.f = nv.f;
    } else if (int_type(pd.type)) {
        e.i = nv.i;
    } else {
        switch (base_type(pd.type)) {
            case TYPE_POINT2: case TYPE_POINT3: case TYPE_POINT4: case TYPE_RGBA: case TYPE_FRGBA: case TYPE_HSV:
                e.p4 = nv.p4;
                break;
            case TYPE_MATRIX3: e.m = nv.m; break;
            case TYPE_STRING: case TYPE_FILENAME: e.s = nv.s; break;
            default: e.r = nv.r; break;
        }
    }
}

bool IParamBlock2::AttachController(int index, int tabIndex, Control* c, bool preserveValue) {
    const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
    PB2Value* e = params_[static_cast<size_t>(index)].begin() + tabIndex;
    Control* old = e->control;
    if (old == c) return true;
    PB2Value cur;
    Interval iv = FOREVER;
    if (old) ControllerGet(pd, old, 0, cur, iv);
    else cur = *e;
    Hold();
    const int slot = SlotOf(index, tabIndex);
    if (!c) {
        // The constant takes over where the controller left off.
        StoreConstant(pd, *e, cur);
        if (float_type(pd.type)) e->i = RoundToInt(e->f);
        if (int_type(pd.type)) e->i = cur.i;
        return SetRefSlot(slot, nullptr);
    }
    // The old controller may be released by the swap; it must live until it has been copied.
    if (old) old->host_AddHoldLock();
    const bool swapped = SetRefSlot(slot, c);
    if (swapped && preserveValue && old) c->Copy(old);
    if (old) old->host_ReleaseHoldLock();
    if (!swapped) return false;
    if (preserveValue) {
        if (!old) {
            SuspendAnimate();
            ControllerSet(pd, c, 0, cur);
            ResumeAnimate();
        }
    }
    return true;
}

Control* IParamBlock2::GetController(ParamID id, int tabIndex) {
    Locator loc;
    return Locate(id, tabIndex, loc) ? loc.e->control : nullptr;
}

Control* IParamBlock2::GetControllerByIndex(int index, int tabIndex) {
    return GetController(IndextoID(index), tabIndex);
}

BOOL IParamBlock2::SetController(ParamID id, int tabIndex, Control* c, BOOL preserveValue) {
    return SetControllerByIndex(IDtoIndex(id), tabIndex, c, preserveValue);
}

BOOL IParamBlock2::SetControllerByIndex(int index, int tabIndex, Control* c, BOOL preserveValue) {
    if (index < 0 || index >= NumParams()) return FALSE;
    const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
    if (!IsAnimatableParam(pd) || tabIndex < 0 || tabIndex >= params_[static_cast<size_t>(index)].Count()) return FALSE;
    if (c && c->SuperClassID() != ControllerSuperClass(pd.type)) return FALSE;
    if (!AttachController(index, tabIndex, c, preserveValue != FALSE)) return FALSE;
    Notify(pd.ID, tabIndex);
    return TRUE;
}

// ---------------------------------------------------------------------------------------------
// Reads

void IParamBlock2::ReadValue(const Locator& loc, TimeValue t, PB2Value& out, Interval& valid) {
    const ParamDef& pd = *loc.pd;
    if (loc.e->control) {
        ControllerGet(pd, loc.e->control, t, out, valid);
    } else if (float_type(pd.type)) {
        out.f = loc.e->f;
    } else if (int_type(pd.type)) {
        out.i = loc.e->i;
    } else {
        switch (base_type(pd.type)) {
            case TYPE_MATRIX3: out.m = loc.e->m; break;
            case TYPE_STRING: case TYPE_FILENAME: out.s = loc.e->s; break;
            default:
                out.p4 = loc.e->p4;
                out.r = loc.e->r;
                break;
        }
    }
    if (pd.accessor) {
        const int index = loc.index;
        const int tab = static_cast<int>(loc.e - params_[static_cast<size_t>(index)].begin());
        pd.accessor->Get(out, owner_, pd.ID, tab, t, valid);
    }
}

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, float& v, Interval& valid, int tabIndex) {
    // The hot path: a number without accessor, found by id in one step.
    if (static_cast<size_t>(id) < fast_.size()) {
        const FastParam& fp = fast_[static_cast<size_t>(id)];
        if (fp.kind != 0 && static_cast<unsigned>(tabIndex) < static_cast<unsigned>(fp.count)) {
            const PB2Value& e = fp.entries[tabIndex];
            if (!e.control) {
                v = fp.kind == 1 ? e.f : static_cast<float>(e.i);
                return TRUE;
            }
            if (fp.kind == 1) {
                e.control->GetValue(t, &v, valid, CTRL_ABSOLUTE);
                return TRUE;
            }
        }
    }
    Locator loc;
    if (!Locate(id, tabIndex, loc)) return FALSE;
    const ParamDef& pd = *loc.pd;
    const bool isFloat = float_type(pd.type);
    if (!isFloat && !int_type(pd.type)) return FALSE;
    // The common case (a constant without accessor) reads straight from the entry.
    if (!loc.e->control && !pd.accessor) {
        v = isFloat ? loc.e->f : static_cast<float>(loc.e->i);
        return TRUE;
    }
    if (loc.e->control && !pd.accessor && isFloat) {
        loc.e->control->GetValue(t, &v, valid, CTRL_ABSOLUTE);
        return TRUE;
    }
    PB2Value out;
    ReadValue(loc, t, out, valid);
    v = isFloat ? out.f : static_cast<float>(out.i);
    return TRUE;
}

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, int& v, Interval& valid, int tabIndex) {
    if (static_cast<size_t>(id) < fast_.size()) {
        const FastParam& fp = fast_[static_cast<size_t>(id)];
        if (fp.kind != 0 && static_cast<unsigned>(tabIndex) < static_cast<unsigned>(fp.count)) {
            const PB2Value& e = fp.entries[tabIndex];
            if (!e.control) {
                v = fp.kind == 2 ? e.i : RoundToInt(e.f);
                return TRUE;
            }
        }
    }
    Locator loc;
    if (!Locate(id, tabIndex, loc)) return FALSE;
    const ParamDef& pd = *loc.pd;
    const bool isFloat = float_type(pd.type);
    if (!isFloat && !int_type(pd.type)) return FALSE;
    if (!loc.e->control && !pd.accessor) {
        v = isFloat ? RoundToInt(loc.e->f) : loc.e->i;
        return TRUE;
    }
    PB2Value out;
    ReadValue(loc, t, out, valid);
    v = isFloat ? RoundToInt(out.f) : out.i;
    return TRUE;
}

namespace {
bool PointLike(int type) {
    switch (base_type(type)) {
        case TYPE_POINT2: case TYPE_POINT3: case TYPE_POINT4: case TYPE_RGBA: case TYPE_FRGBA: case TYPE_HSV:
            return true;
        default:
            return false;
    }
}
}  // namespace

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, Point4& v, Interval& valid, int tabIndex) {
    Locator loc;
    if (!Locate(id, tabIndex, loc) || !PointLike(loc.pd->type)) return FALSE;
    PB2Value out;
    ReadValue(loc, t, out, valid);
    v = out.p4;
    return TRUE;
}

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, Point3& v, Interval& valid, int tabIndex) {
    Point4 p;
    if (!GetValue(id, t, p, valid, tabIndex)) return FALSE;
    v = Point3(p.x, p.y, p.z);
    return TRUE;
}

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, Point2& v, Interval& valid, int tabIndex) {
    Point4 p;
    if (!GetValue(id, t, p, valid, tabIndex)) return FALSE;
    v = Point2(p.x, p.y);
    return TRUE;
}

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, Color& v, Interval& valid, int tabIndex) {
    Point4 p;
    if (!GetValue(id, t, p, valid, tabIndex)) return FALSE;
    v = Color(p.x, p.y, p.z);
    return TRUE;
}

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, AColor& v, Interval& valid, int tabIndex) {
    Point4 p;
    if (!GetValue(id, t, p, valid, tabIndex)) return FALSE;
    // A three-channel colour reads as opaque.
    v = AColor(p.x, p.y, p.z, IsPoint4Type(GetParameterType(id)) ? p.w : 1.0f);
    return TRUE;
}

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, Matrix3& v, Interval& valid, int tabIndex) {
    Locator loc;
    if (!Locate(id, tabIndex, loc) || base_type(loc.pd->type) != TYPE_MATRIX3) return FALSE;
    PB2Value out;
    ReadValue(loc, t, out, valid);
    v = out.m;
    return TRUE;
}

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, MSTR& v, Interval& valid, int tabIndex) {
    Locator loc;
    if (!Locate(id, tabIndex, loc)) return FALSE;
    const int b = base_type(loc.pd->type);
    if (b != TYPE_STRING && b != TYPE_FILENAME) return FALSE;
    PB2Value out;
    ReadValue(loc, t, out, valid);
    v = b == TYPE_FILENAME ? host::ResolveFilename(out.s) : out.s;
    return TRUE;
}

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, const MCHAR*& v, Interval& valid, int tabIndex) {
    Locator loc;
    if (Locate(id, tabIndex, loc) && base_type(loc.pd->type) == TYPE_STRING && !loc.pd->accessor) {
        v = loc.e->s.data();
        return TRUE;
    }
    MSTR s;
    if (!GetValue(id, t, s, valid, tabIndex)) return FALSE;
    // The answer must outlive this call: keep it per entry until the entry is read again.
    const int slot = SlotOf(IDtoIndex(id), tabIndex);
    if (static_cast<int>(resolved_.size()) < numRefs_) resolved_.resize(static_cast<size_t>(numRefs_));
    resolved_[static_cast<size_t>(slot)] = std::move(s);
    v = resolved_[static_cast<size_t>(slot)].data();
    return TRUE;
}

namespace {
bool RefTypeAccepts(int paramType, int wantBase) {
    const int b = base_type(paramType);
    if (!reftarg_type(b)) return false;
    return wantBase == TYPE_REFTARG || wantBase == b;
}

// A reference parameter read as one kind of target: null when it holds another kind.
template <class T>
BOOL GetRefAs(IParamBlock2* pb, ParamID id, TimeValue t, T*& v, Interval& valid, int tabIndex, int wantBase) {
    if (!RefTypeAccepts(pb->GetParameterType(id), wantBase)) return FALSE;
    ReferenceTarget* r = nullptr;
    if (!pb->GetValue(id, t, r, valid, tabIndex)) return FALSE;
    v = dynamic_cast<T*>(r);
    return TRUE;
}
}  // namespace

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, ReferenceTarget*& v, Interval& valid, int tabIndex) {
    Locator loc;
    if (!Locate(id, tabIndex, loc) || !reftarg_type(loc.pd->type)) return FALSE;
    if (!loc.pd->accessor) {
        v = loc.e->r;
        return TRUE;
    }
    PB2Value out;
    ReadValue(loc, t, out, valid);
    v = out.r;
    return TRUE;
}

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, INode*& v, Interval& valid, int tabIndex) {
    return GetRefAs(this, id, t, v, valid, tabIndex, TYPE_INODE);
}

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, Mtl*& v, Interval& valid, int tabIndex) {
    return GetRefAs(this, id, t, v, valid, tabIndex, TYPE_MTL);
}

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, IParamBlock2*& v, Interval& valid, int tabIndex) {
    return GetRefAs(this, id, t, v, valid, tabIndex, TYPE_PBLOCK2);
}

// Convenience reads.
#define KT_PB_CONVENIENCE(Type, Name, Init)                                        \
    Type IParamBlock2::Name(ParamID id, TimeValue t, int tabIndex) {               \
        Interval iv = FOREVER;                                                     \
        return Name(id, t, iv, tabIndex);                                          \
    }                                                                              \
    Type IParamBlock2::Name(ParamID id, TimeValue t, Interval& valid, int tabIndex) { \
        Type v = Init;                                                             \
        GetValue(id, t, v, valid, tabIndex);                                       \
        return v;                                                                  \
    }
KT_PB_CONVENIENCE(int, GetInt, 0)
KT_PB_CONVENIENCE(float, GetFloat, 0.0f)
KT_PB_CONVENIENCE(Point2, GetPoint2, Point2())
KT_PB_CONVENIENCE(Point3, GetPoint3, Point3())
KT_PB_CONVENIENCE(Point4, GetPoint4, Point4())
KT_PB_CONVENIENCE(Color, GetColor, Color())
KT_PB_CONVENIENCE(AColor, GetAColor, AColor())
KT_PB_CONVENIENCE(Matrix3, GetMatrix3, Matrix3())
KT_PB_CONVENIENCE(INode*, GetINode, nullptr)
KT_PB_CONVENIENCE(ReferenceTarget*, GetReferenceTarget, nullptr)
#undef KT_PB_CONVENIENCE
TimeValue IParamBlock2::GetTimeValue(ParamID id, TimeValue t, int tabIndex) { return GetInt(id, t, tabIndex); }

const MCHAR* IParamBlock2::GetStr(ParamID id, TimeValue t, int tabIndex) {
    Interval iv = FOREVER;
    return GetStr(id, t, iv, tabIndex);
}
const MCHAR* IParamBlock2::GetStr(ParamID id, TimeValue t, Interval& valid, int tabIndex) {
    const MCHAR* v = L"";
    if (!GetValue(id, t, v, valid, tabIndex)) return L"";
    return v;
}
Mtl* IParamBlock2::GetMtl(ParamID id, TimeValue t, int tabIndex) {
    Interval iv = FOREVER;
    Mtl* v = nullptr;
    GetValue(id, t, v, iv, tabIndex);
    return v;
}
IParamBlock2* IParamBlock2::GetParamBlock2(ParamID id, TimeValue t, int tabIndex) {
    Interval iv = FOREVER;
    IParamBlock2* v = nullptr;
    GetValue(id, t, v, iv, tabIndex);
    return v;
}

// ---------------------------------------------------------------------------------------------
// Sets

BOOL IParamBlock2::SetEntry(ParamID id, TimeValue t, int tabIndex, PB2Value& nv, int what) {
    (void)what;
    Locator loc;
    if (!Locate(id, tabIndex, loc)) return FALSE;
    const ParamDef& pd = *loc.pd;
    if (pd.validator && !pd.validator->Validate(nv, owner_, id, tabIndex)) return FALSE;
    if (pd.accessor) {
        pd.accessor->Set(nv, owner_, id, tabIndex, t);
        // The accessor may have edited the block.
        if (!Locate(id, tabIndex, loc)) return FALSE;
    }
    Control* c = loc.e->control;
    if (!c && IsAnimatableParam(pd) && Animating()) {
        // Under animate mode the first set of a constant makes a controller so that it keys.
        if (Control* fresh = NewControllerFor(pd)) {
            if (AttachController(loc.index, tabIndex, fresh, true)) c = fresh;
            else fresh->MaybeAutoDelete();
            Locate(id, tabIndex, loc);
        }
    }
    if (c) {
        ControllerSet(pd, c, t, nv);
    } else {
        Hold();
        StoreConstant(pd, *loc.e, nv);
    }
    Notify(id, tabIndex);
    return TRUE;
}

BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, float v, int tabIndex) {
    const ParamType2 type = GetParameterType(id);
    PB2Value nv;
    if (float_type(type)) nv.f = v;
    else if (int_type(type)) nv.i = RoundToInt(v);
    else return FALSE;
    return SetEntry(id, t, tabIndex, nv, 0);
}

BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, int v, int tabIndex) {
    const ParamType2 type = GetParameterType(id);
    PB2Value nv;
    if (int_type(type)) nv.i = v;
    else if (float_type(type)) nv.f = static_cast<float>(v);
    else return FALSE;
    return SetEntry(id, t, tabIndex, nv, 0);
}

BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, const Point4& v, int tabIndex) {
    if (!PointLike(GetParameterType(id))) return FALSE;
    PB2Value nv;
    nv.p4 = v;
    return SetEntry(id, t, tabIndex, nv, 0);
}

BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, const Point3& v, int tabIndex) {
    const float w = IsPoint4Type(GetParameterType(id)) ? GetPoint4(id, t, tabIndex).w : 0.0f;
    return SetValue(id, t, Point4(v, w), tabIndex);
}

BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, const Point2& v, int tabIndex) {
    return SetValue(id, t, Point4(v.x, v.y, 0.0f, 0.0f), tabIndex);
}

BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, const Color& v, int tabIndex) {
    const float a = IsPoint4Type(GetParameterType(id)) ? GetPoint4(id, t, tabIndex).w : 1.0f;
    return SetValue(id, t, Point4(v.r, v.g, v.b, a), tabIndex);
}

BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, const AColor& v, int tabIndex) {
    return SetValue(id, t, Point4(v.r, v.g, v.b, v.a), tabIndex);
}

BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, const Matrix3& v, int tabIndex) {
    if (base_type(GetParameterType(id)) != TYPE_MATRIX3) return FALSE;
    PB2Value nv;
    nv.m = v;
    return SetEntry(id, t, tabIndex, nv, 0);
}

BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, const MCHAR* v, int tabIndex) {
    const int b = base_type(GetParameterType(id));
    if (b != TYPE_STRING && b != TYPE_FILENAME) return FALSE;
    PB2Value nv;
    nv.s = v ? v : L"";
    return SetEntry(id, t, tabIndex, nv, 0);
}

BOOL IParamBlock2::SetRefEntry(ParamID id, TimeValue t, int tabIndex, ReferenceTarget* target, int wantBase) {
    Locator loc;
    if (!Locate(id, tabIndex, loc)) return FALSE;
    const ParamDef& pd = *loc.pd;
    if (!RefTypeAccepts(pd.type, wantBase)) return FALSE;
    const int b = base_type(pd.type);
    if (target) {
        if (b == TYPE_INODE && !dynamic_cast<INode*>(target)) return FALSE;
        if (b == TYPE_MTL && !dynamic_cast<Mtl*>(target)) return FALSE;
        if (b == TYPE_PBLOCK2 && !dynamic_cast<IParamBlock2*>(target)) return FALSE;
        if (pd.sclassID && target->SuperClassID() != pd.sclassID) return FALSE;
        if (pd.classID != Class_ID(0, 0) && target->ClassID() != pd.classID) return FALSE;
    }
    PB2Value nv;
    nv.r = target;
    if (pd.validator && !pd.validator->Validate(nv, owner_, id, tabIndex)) return FALSE;
    if (pd.accessor) {
        pd.accessor->Set(nv, owner_, id, tabIndex, t);
        if (!Locate(id, tabIndex, loc)) return FALSE;
    }
    if (loc.e->r == nv.r) {
        Notify(id, tabIndex);
        return TRUE;
    }
    Hold();
    if (UsesRefSlot(pd)) {
        if (!SetRefSlot(SlotOf(loc.index, tabIndex), nv.r)) return FALSE;
    } else {
        loc.e->r = nv.r;
    }
    Notify(id, tabIndex);
    return TRUE;
}

BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, ReferenceTarget* v, int tabIndex) {
    return SetRefEntry(id, t, tabIndex, v, TYPE_REFTARG);
}
BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, INode* v, int tabIndex) {
    return SetRefEntry(id, t, tabIndex, v, TYPE_REFTARG);
}
BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, Mtl* v, int tabIndex) {
    return SetRefEntry(id, t, tabIndex, v, TYPE_REFTARG);
}
BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, IParamBlock2* v, int tabIndex) {
    return SetRefEntry(id, t, tabIndex, v, TYPE_REFTARG);
}

// ---------------------------------------------------------------------------------------------
// Tables

int IParamBlock2::Count(ParamID id) {
    int i = IDtoIndex(id);
    return i < 0 ? 0 : params_[static_cast<size_t>(i)].Count();
}

void IParamBlock2::CallTabChanged(int index, tab_changes code, int tabIndex, int count) {
    const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
    if (pd.accessor)
        pd.accessor->TabChanged(code, &params_[static_cast<size_t>(index)], owner_, pd.ID, tabIndex, count);
}

void IParamBlock2::DropEntryRefs(int index, int first, int count) {
    const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
    if (!UsesRefSlot(pd)) return;
    for (int k = first; k < first + count; ++k)
        if (GetReference(SlotOf(index, k))) SetRefSlot(SlotOf(index, k), nullptr);
}

template <class T, class Fill>
int IParamBlock2::TabEdit(ParamID id, int start, int num, bool insert, const T* el, Fill&& fill) {
    (void)insert;
    const int index = IDtoIndex(id);
    if (index < 0 || num < 0) return -1;
    const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
    if (!is_tab(pd.type)) return -1;
    Tab<PB2Value>& tab = params_[static_cast<size_t>(index)];
    start = std::clamp(start, 0, tab.Count());
    if (num == 0) return start;
    Hold();
    std::vector<PB2Value> fresh(static_cast<size_t>(num));
    std::vector<ReferenceTarget*> targets(static_cast<size_t>(num), nullptr);
    for (int k = 0; k < num; ++k) {
        PB2Value& e = fresh[static_cast<size_t>(k)];
        InitEntry(pd, e);
        if (el) fill(e, el[k]);
        if (UsesRefSlot(pd)) {
            targets[static_cast<size_t>(k)] = e.r;
            e.r = nullptr;
        }
    }
    tab.Insert(start, num, fresh.data());
    auto& ph = placeholders_[static_cast<size_t>(index)];
    std::vector<std::unique_ptr<host::ParamPlaceholder>> none(static_cast<size_t>(num));
    ph.insert(ph.begin() + start, std::make_move_iterator(none.begin()), std::make_move_iterator(none.end()));
    Renumber();
    for (int k = 0; k < num; ++k)
        if (targets[static_cast<size_t>(k)]) SetRefSlot(SlotOf(index, start + k), targets[static_cast<size_t>(k)]);
    return start;
}

namespace {
struct FillFloat {
    const ParamDef& pd;
    void operator()(PB2Value& e, float v) const {
        if (int_type(pd.type)) e.i = static_cast<int>(std::lround(v));
        else e.f = v;
    }
};
struct FillInt {
    const ParamDef& pd;
    void operator()(PB2Value& e, int v) const {
        if (float_type(pd.type)) e.f = static_cast<float>(v);
        else e.i = v;
    }
};
}  // namespace

#define KT_PB_TAB_EDITS(ElemT, Check, FillExpr)                                                     \
    int IParamBlock2::Append(ParamID id, int num, ElemT el, int allocExtra) {                       \
        (void)allocExtra;                                                                           \
        return Insert(id, Count(id), num, el);                                                      \
    }                                                                                               \
    int IParamBlock2::Insert(ParamID id, int start, int num, ElemT el) {                            \
        const int index = IDtoIndex(id);                                                            \
        if (index < 0) return -1;                                                                   \
        const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];                          \
        if (!(Check)) return -1;                                                                    \
        int at = TabEdit(id, start, num, true, el, FillExpr);                                       \
        if (at < 0) return at;                                                                      \
        CallTabChanged(index, start >= Count(id) - num ? tab_append : tab_insert, at, num);        \
        Notify(id, at);                                                                             \
        return at;                                                                                  \
    }

KT_PB_TAB_EDITS(const float*, float_type(pd.type) || int_type(pd.type), (FillFloat{pd}))
KT_PB_TAB_EDITS(const int*, float_type(pd.type) || int_type(pd.type), (FillInt{pd}))
KT_PB_TAB_EDITS(Point2**, PointLike(pd.type),
                ([](PB2Value& e, Point2* p) { if (p) e.p4 = Point4(p->x, p->y, 0.0f, 0.0f); }))
KT_PB_TAB_EDITS(Point3**, PointLike(pd.type),
                ([](PB2Value& e, Point3* p) { if (p) e.p4 = Point4(*p, e.p4.w); }))
KT_PB_TAB_EDITS(Point4**, PointLike(pd.type), ([](PB2Value& e, Point4* p) { if (p) e.p4 = *p; }))
KT_PB_TAB_EDITS(Color**, PointLike(pd.type),
                ([](PB2Value& e, Color* c) { if (c) e.p4 = Point4(c->r, c->g, c->b, 1.0f); }))
KT_PB_TAB_EDITS(AColor**, PointLike(pd.type),
                ([](PB2Value& e, AColor* c) { if (c) e.p4 = Point4(c->r, c->g, c->b, c->a); }))
KT_PB_TAB_EDITS(Matrix3**, base_type(pd.type) == TYPE_MATRIX3, ([](PB2Value& e, Matrix3* m) { if (m) e.m = *m; }))
KT_PB_TAB_EDITS(const MCHAR**, base_type(pd.type) == TYPE_STRING || base_type(pd.type) == TYPE_FILENAME,
                ([](PB2Value& e, const MCHAR* s) { e.s = s ? s : L""; }))
KT_PB_TAB_EDITS(INode**, base_type(pd.type) == TYPE_INODE || base_type(pd.type) == TYPE_REFTARG,
                ([](PB2Value& e, INode* n) { e.r = n; }))
KT_PB_TAB_EDITS(ReferenceTarget**, reftarg_type(pd.type),
                ([&pd](PB2Value& e, ReferenceTarget* r) {
                    const int b = base_type(pd.type);
                    bool ok = !r || b == TYPE_REFTARG || (b == TYPE_INODE && dynamic_cast<INode*>(r)) ||
                              (b == TYPE_MTL && dynamic_cast<Mtl*>(r)) ||
                              (b == TYPE_PBLOCK2 && dynamic_cast<IParamBlock2*>(r)) || b == TYPE_TEXMAP;
                    e.r = ok ? r : nullptr;
                }))
KT_PB_TAB_EDITS(Mtl**, base_type(pd.type) == TYPE_MTL || base_type(pd.type) == TYPE_REFTARG,
                ([](PB2Value& e, Mtl* m) { e.r = m; }))
KT_PB_TAB_EDITS(IParamBlock2**, base_type(pd.type) == TYPE_PBLOCK2 || base_type(pd.type) == TYPE_REFTARG,
                ([](PB2Value& e, IParamBlock2* b) { e.r = b; }))
#undef KT_PB_TAB_EDITS

int IParamBlock2::Delete(ParamID id, int start, int num) {
    const int index = IDtoIndex(id);
    if (index < 0) return -1;
    const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
    Tab<PB2Value>& tab = params_[static_cast<size_t>(index)];
    if (!is_tab(pd.type)) return tab.Count();
    if (start < 0 || start >= tab.Count() || num <= 0) return tab.Count();
    num = std::min(num, tab.Count() - start);
    Hold();
    DropEntryRefs(index, start, num);
    params_[static_cast<size_t>(index)].Delete(start, num);
    auto& ph = placeholders_[static_cast<size_t>(index)];
    for (int k = start; k < start + num; ++k) {
        auto& p = ph[static_cast<size_t>(k)];
        if (p) {
            p->host_Detach();
            retired_.push_back(std::move(p));
        }
    }
    ph.erase(ph.begin() + start, ph.begin() + start + num);
    Renumber();
    CallTabChanged(index, tab_delete, start, num);
    Notify(id, start);
    return params_[static_cast<size_t>(index)].Count();
}

void IParamBlock2::SetCount(ParamID id, int n) {
    const int index = IDtoIndex(id);
    if (index < 0 || n < 0) return;
    const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
    if (!is_tab(pd.type)) return;
    const int count = params_[static_cast<size_t>(index)].Count();
    if (n == count) return;
    if (n > count) {
        TabEdit(id, count, n - count, true, static_cast<const int*>(nullptr), [](PB2Value&, int) {});
        CallTabChanged(index, tab_setcount, count, n - count);
        Notify(id, count);
        return;
    }
    Hold();
    DropEntryRefs(index, n, count - n);
    params_[static_cast<size_t>(index)].SetCount(n);
    auto& ph = placeholders_[static_cast<size_t>(index)];
    for (size_t k = static_cast<size_t>(n); k < ph.size(); ++k) {
        if (ph[k]) {
            ph[k]->host_Detach();
            retired_.push_back(std::move(ph[k]));
        }
    }
    ph.resize(static_cast<size_t>(n));
    Renumber();
    CallTabChanged(index, tab_setcount, n, count - n);
    Notify(id, n);
}

int IParamBlock2::Resize(ParamID id, int num) {
    const int index = IDtoIndex(id);
    if (index < 0) return -1;
    params_[static_cast<size_t>(index)].Resize(num);
    Renumber();
    return params_[static_cast<size_t>(index)].Count();
}

// ---------------------------------------------------------------------------------------------
// Reset

void IParamBlock2::Reset(ParamID id, int tabIndex, BOOL updateUI, BOOL callSetHandlers) {
    (void)updateUI;
    const int index = IDtoIndex(id);
    if (index < 0) return;
    const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
    Hold();
    if (is_tab(pd.type) && tabIndex < 0) SetCount(id, std::max(0, pd.tab_size));
    const int count = Count(id);
    const int first = tabIndex < 0 ? 0 : tabIndex;
    const int last = tabIndex < 0 ? count : std::min(tabIndex + 1, count);
    for (int k = first; k < last; ++k) {
        DropEntryRefs(index, k, 1);
        PB2Value& e = params_[static_cast<size_t>(index)][k];
        if (e.control) continue;  // a slot that would not let go (cannot happen for controllers)
        InitEntry(pd, e);
        if (callSetHandlers && pd.accessor) pd.accessor->Set(e, owner_, id, k, 0);
    }
    Notify(id, tabIndex);
}

void IParamBlock2::ResetAll(BOOL updateUI, BOOL callSetHandlers) {
    for (int i = 0; i < NumParams(); ++i) {
        const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(i)];
        if (pd.flags & P_NO_INIT) continue;
        Reset(pd.ID, -1, updateUI, callSetHandlers);
    }
}

// ---------------------------------------------------------------------------------------------
// Sub-anims

host::ParamPlaceholder* IParamBlock2::PlaceholderFor(int index, int tabIndex) {
    auto& list = placeholders_[static_cast<size_t>(index)];
    if (static_cast<int>(list.size()) <= tabIndex) list.resize(static_cast<size_t>(tabIndex + 1));
    auto& ph = list[static_cast<size_t>(tabIndex)];
    if (!ph) ph = std::make_unique<host::ParamPlaceholder>(this, index, tabIndex);
    return ph.get();
}

namespace {
// The parameter index whose sub-anims contain sub, and the table index.
bool SubToEntry(const std::vector<int>& subBase, const std::vector<Tab<PB2Value>>& params, int sub, int& index,
                int& tabIndex) {
    for (size_t i = 0; i < subBase.size(); ++i) {
        if (subBase[i] < 0) continue;
        const int k = sub - subBase[i];
        if (k >= 0 && k < params[i].Count()) {
            index = static_cast<int>(i);
            tabIndex = k;
            return true;
        }
    }
    return false;
}
}  // namespace

Animatable* IParamBlock2::SubAnim(int i) {
    int index, tab;
    if (!SubToEntry(subBase_, params_, i, index, tab)) return nullptr;
    PB2Value& e = params_[static_cast<size_t>(index)][tab];
    if (e.control) return e.control;
    return PlaceholderFor(index, tab);
}

MSTR IParamBlock2::SubAnimName(int i, bool localized) {
    (void)localized;
    int index, tab;
    if (!SubToEntry(subBase_, params_, i, index, tab)) return MSTR();
    const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
    return desc_->GetLocalName(pd.ID, is_tab(pd.type) ? tab : -1);
}

int IParamBlock2::SubNumToRefNum(int subNum) {
    int index, tab;
    if (!SubToEntry(subBase_, params_, subNum, index, tab)) return -1;
    return SlotOf(index, tab);
}

BOOL IParamBlock2::CanAssignController(int subAnim) {
    int index, tab;
    return SubToEntry(subBase_, params_, subAnim, index, tab) ? TRUE : FALSE;
}

BOOL IParamBlock2::AssignController(Animatable* control, int subAnim) {
    int index, tab;
    if (!SubToEntry(subBase_, params_, subAnim, index, tab)) return FALSE;
    auto* c = dynamic_cast<Control*>(control);
    if (control && !c) return FALSE;
    if (!SetControllerByIndex(index, tab, c, TRUE)) return FALSE;
    NotifyDependents(FOREVER, 0, REFMSG_CONTROLREF_CHANGE, NOTIFY_ALL, FALSE);
    return TRUE;
}

int IParamBlock2::GetAnimNum(ParamID id, int tabIndex) {
    const int index = IDtoIndex(id);
    if (index < 0 || subBase_[static_cast<size_t>(index)] < 0) return -1;
    if (tabIndex < 0 || tabIndex >= params_[static_cast<size_t>(index)].Count()) return -1;
    return subBase_[static_cast<size_t>(index)] + tabIndex;
}

int IParamBlock2::AnimNumToParamNum(int animNum, int& tabIndex) {
    int index;
    if (!SubToEntry(subBase_, params_, animNum, index, tabIndex)) return -1;
    return index;
}

ParamID IParamBlock2::AnimNumToParamID(int animNum, int& tabIndex) {
    int index = AnimNumToParamNum(animNum, tabIndex);
    return index < 0 ? static_cast<ParamID>(-1) : IndextoID(index);
}

int IParamBlock2::GetRefNum(ParamID id, int tabIndex) {
    const int index = IDtoIndex(id);
    if (index < 0 || tabIndex < 0 || tabIndex >= params_[static_cast<size_t>(index)].Count()) return -1;
    return UsesRefSlot(desc_->paramdefs[static_cast<size_t>(index)]) ? SlotOf(index, tabIndex) : -1;
}

BOOL IParamBlock2::IsAnimated() {
    for (auto& tab : params_)
        for (const PB2Value& e : tab)
            if (e.control && e.control->IsAnimated()) return TRUE;
    return FALSE;
}

int IParamBlock2::GetKeyTimes(Tab<TimeValue>& times, Interval range, DWORD flags) {
    std::set<TimeValue> all;
    for (auto& tab : params_) {
        for (const PB2Value& e : tab) {
            if (!e.control) continue;
            Tab<TimeValue> t;
            e.control->GetKeyTimes(t, range, flags);
            all.insert(t.begin(), t.end());
        }
    }
    for (TimeValue t : all) times.push_back(t);
    return times.Count();
}

int IParamBlock2::NumKeys() {
    Tab<TimeValue> t;
    return GetKeyTimes(t, FOREVER, 0);
}

TimeValue IParamBlock2::GetKeyTime(int index) {
    Tab<TimeValue> t;
    GetKeyTimes(t, FOREVER, 0);
    return index >= 0 && index < t.Count() ? t[index] : 0;
}

BOOL IParamBlock2::IsKeyAtTime(TimeValue t, DWORD flags) {
    for (auto& tab : params_)
        for (const PB2Value& e : tab)
            if (e.control && e.control->IsKeyAtTime(t, flags)) return TRUE;
    return FALSE;
}

// ---------------------------------------------------------------------------------------------
// References

RefTargetHandle IParamBlock2::GetReference(int i) {
    int index, tab;
    if (!SlotToEntry(i, index, tab)) return nullptr;
    const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
    if (!UsesRefSlot(pd)) return nullptr;
    const PB2Value& e = params_[static_cast<size_t>(index)][tab];
    return IsAnimatableParam(pd) ? static_cast<ReferenceTarget*>(e.control) : e.r;
}

void IParamBlock2::SetReference(int i, RefTargetHandle rtarg) {
    int index, tab;
    if (!SlotToEntry(i, index, tab)) return;
    const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
    if (!UsesRefSlot(pd)) return;
    PB2Value& e = params_[static_cast<size_t>(index)][tab];
    if (IsAnimatableParam(pd)) e.control = dynamic_cast<Control*>(rtarg);
    else e.r = rtarg;
}

RefResult IParamBlock2::NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                                         RefMessage message, BOOL propagate) {
    (void)changeInt; (void)partID; (void)propagate;
    if (message != REFMSG_CHANGE && message != REFMSG_TARGET_DELETED) return REF_SUCCEED;
    for (size_t i = 0; i < params_.size(); ++i) {
        const ParamDef& pd = desc_->paramdefs[i];
        if (!UsesRefSlot(pd)) continue;
        Tab<PB2Value>& tab = params_[i];
        for (int k = 0; k < tab.Count(); ++k) {
            PB2Value& e = tab[k];
            ReferenceTarget* t = IsAnimatableParam(pd) ? static_cast<ReferenceTarget*>(e.control) : e.r;
            if (t != hTarget) continue;
            lastNotifyID_ = pd.ID;
            lastNotifyTab_ = k;
            if (message == REFMSG_TARGET_DELETED) {
                // A controller that goes leaves its value behind as the constant.
                if (e.control) {
                    PB2Value cur;
                    Interval iv = FOREVER;
                    ControllerGet(pd, e.control, 0, cur, iv);
                    StoreConstant(pd, e, cur);
                    if (int_type(pd.type)) e.i = cur.i;
                }
                if (is_tab(pd.type)) CallTabChanged(static_cast<int>(i), tab_ref_deleted, k, 1);
            }
            if (message == REFMSG_CHANGE) return notifyEnabled_ ? REF_SUCCEED : REF_STOP;
        }
    }
    return REF_SUCCEED;
}

void IParamBlock2::RefAdded(RefMakerHandle rm) {
    if (owner_ || !rm) return;
    // A block made by a clone or a file learns its owner from the first maker of its class.
    if (desc_ && desc_->cd) {
        if (rm->SuperClassID() != desc_->cd->SuperClassID() || rm->ClassID() != desc_->cd->ClassID()) return;
    }
    owner_ = rm;
}

// ---------------------------------------------------------------------------------------------
// Clone

ReferenceTarget* IParamBlock2::Clone(RemapDir& remap) {
    auto* pb = new IParamBlock2(desc_, nullptr);
    std::vector<host::NodeRemapProc::Item> nodes;
    for (size_t i = 0; i < params_.size(); ++i) {
        const ParamDef& pd = desc_->paramdefs[i];
        const bool slot = UsesRefSlot(pd);
        const Tab<PB2Value>& src = params_[i];
        Tab<PB2Value>& dst = pb->params_[i];
        dst.SetCount(src.Count());
        pb->placeholders_[i].clear();
        pb->placeholders_[i].resize(static_cast<size_t>(src.Count()));
        for (int k = 0; k < src.Count(); ++k) {
            dst[k] = src[k];
            if (slot) {
                dst[k].control = nullptr;
                if (!IsAnimatableParam(pd)) dst[k].r = nullptr;
            }
        }
    }
    pb->Renumber();
    for (size_t i = 0; i < params_.size(); ++i) {
        const ParamDef& pd = desc_->paramdefs[i];
        const bool slot = UsesRefSlot(pd);
        const int b = base_type(pd.type);
        for (int k = 0; k < params_[i].Count(); ++k) {
            const PB2Value& e = params_[i][k];
            const int index = static_cast<int>(i);
            if (e.control) {
                pb->SetRefSlot(pb->SlotOf(index, k), remap.CloneRef(e.control));
            } else if (e.r && slot) {
                // Nodes are shared unless the same clone copies them; other targets are copied.
                ReferenceTarget* t = b == TYPE_INODE ? e.r : remap.CloneRef(e.r);
                if (b == TYPE_INODE) {
                    if (ReferenceTarget* m = remap.FindMapping(e.r)) t = m;
                    else nodes.push_back({index, k, e.r, true});
                }
                pb->SetRefSlot(pb->SlotOf(index, k), t);
            } else if (e.r && b == TYPE_INODE) {
                nodes.push_back({index, k, e.r, false});
            }
        }
    }
    if (!nodes.empty()) remap.AddPostPatchProc(new host::NodeRemapProc(pb, std::move(nodes)), true);
    BaseClone(this, pb, remap);
    return pb;
}

// ---------------------------------------------------------------------------------------------
// Placeholder

ParamID host::ParamPlaceholder::GetParamID() const { return pb_ ? pb_->IndextoID(index_) : static_cast<ParamID>(-1); }

int host::ParamPlaceholder::GetSubNum() const {
    if (!pb_) return -1;
    return pb_->GetAnimNum(pb_->IndextoID(index_), tab_);
}

void host::ParamPlaceholder::GetValue(TimeValue t, void* val, Interval& valid) {
    if (!pb_ || !val) return;
    const ParamID id = pb_->IndextoID(index_);
    const ParamType2 type = pb_->GetParameterType(id);
    if (float_type(type) || int_type(type)) pb_->GetValue(id, t, *static_cast<float*>(val), valid, tab_);
    else if (IsPoint4Type(type)) pb_->GetValue(id, t, *static_cast<Point4*>(val), valid, tab_);
    else pb_->GetValue(id, t, *static_cast<Point3*>(val), valid, tab_);
}

void host::ParamPlaceholder::SetValue(TimeValue t, void* val) {
    if (!pb_ || !val) return;
    const ParamID id = pb_->IndextoID(index_);
    const ParamType2 type = pb_->GetParameterType(id);
    if (float_type(type) || int_type(type)) pb_->SetValue(id, t, *static_cast<float*>(val), tab_);
    else if (IsPoint4Type(type)) pb_->SetValue(id, t, *static_cast<Point4*>(val), tab_);
    else pb_->SetValue(id, t, *static_cast<Point3*>(val), tab_);
}

BOOL host::ParamPlaceholder::AssignController(Animatable* control, int subAnim) {
    (void)subAnim;
    const int sub = GetSubNum();
    if (sub < 0) return FALSE;
    return pb_->AssignController(control, sub);
}
