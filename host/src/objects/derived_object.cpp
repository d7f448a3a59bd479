// The modifier stack: derived objects, ModContext and the Modifier base.
#include <algorithm>

#include "chunk_util.h"
#include "hold.h"
#include "iplugin.h"
#include "modifier.h"
#include "objects_internal.h"

namespace {

constexpr USHORT kModNameChunk = 0x3F00;
constexpr USHORT kModEnabledChunk = 0x3F01;

constexpr USHORT kCountChunk = 0x0100;    // int32 number of modifiers
constexpr USHORT kContextChunk = 0x0110;  // container per modifier, in index order
constexpr USHORT kCtxTMChunk = 0x0111;    // 12 floats
constexpr USHORT kCtxBoxChunk = 0x0112;   // 6 floats

using ModContextPtr = std::shared_ptr<ModContext>;

class DerivedObject;

// The whole stack before and after one edit. Keeps the derived object and every modifier
// involved alive while the record exists.
class StackRestore : public RestoreObj {
public:
    struct Entry {
        AnimHandle mod;
        ModContextPtr mc;
    };
    StackRestore(DerivedObject* d, std::vector<Entry> before, std::vector<Entry> after);
    ~StackRestore() override;
    void Restore(int) override { Apply(before_); }
    void Redo() override { Apply(after_); }
    MSTR Description() override { return MSTR(L"Modifier Stack"); }

private:
    void Apply(const std::vector<Entry>& list);
    AnimHandle obj_;
    std::vector<Entry> before_, after_;
};

class DerivedObject : public IDerivedObject {
public:
    DerivedObject() = default;
    ~DerivedObject() override { DropWork(); }

    Class_ID ClassID() override { return DERIVOB_CLASS; }
    MSTR GetObjectName(bool localized) const override {
        (void)localized;
        return MSTR(L"Modified Object");
    }

    // ---- Stack
    void AddModifier(Modifier* mod, ModContext* mc, int before) override {
        ModContextPtr ctx(mc ? mc : new ModContext());
        if (!mod || DependsOn(mod)) return;
        auto list = Snapshot();
        before = std::clamp(before, 0, NumModifiers());
        list.insert(list.begin() + before, StackRestore::Entry{Animatable::GetHandleByAnim(mod), ctx});
        Change(std::move(list));
    }
    void DeleteModifier(int index) override {
        if (index < 0 || index >= NumModifiers()) return;
        auto list = Snapshot();
        list.erase(list.begin() + index);
        Change(std::move(list));
    }
    int NumModifiers() override { return static_cast<int>(mods_.size()); }
    Modifier* GetModifier(int index) override {
        return index >= 0 && index < NumModifiers() ? mods_[static_cast<size_t>(index)] : nullptr;
    }
    void SetModifier(int index, Modifier* mod) override {
        if (index < 0 || index >= NumModifiers() || !mod || DependsOn(mod)) return;
        auto list = Snapshot();
        list[static_cast<size_t>(index)].mod = Animatable::GetHandleByAnim(mod);
        Change(std::move(list));
    }
    ModContext* GetModContext(int index) override {
        return index >= 0 && index < NumModifiers() ? mcs_[static_cast<size_t>(index)].get() : nullptr;
    }
    Object* GetObjRef() override { return objRef_; }
    RefResult ReferenceObject(Object* pob) override { return ReplaceReference(0, pob); }
    Object* FindBaseObject() override { return objRef_ ? objRef_->FindBaseObject() : nullptr; }

    // ---- Evaluation
    using IDerivedObject::Eval;
    ObjectState Eval(TimeValue t, int modIndex) override;
    Interval ChannelValidity(TimeValue t, int chan) override {
        ObjectState os = Eval(t, 0);
        return os.obj && os.obj != this ? os.obj->ChannelValidity(t, chan) : FOREVER;
    }
    int IsDeformable() override { return FALSE; }
    int CanConvertToType(Class_ID obtype) override {
        ObjectState os = Eval(GetCOREInterfaceTime(), 0);
        return os.obj && os.obj != this ? os.obj->CanConvertToType(obtype) : FALSE;
    }
    Object* ConvertToType(TimeValue t, Class_ID obtype) override {
        ObjectState os = Eval(t, 0);
        if (!os.obj || os.obj == this) return nullptr;
        Object* conv = os.obj->ConvertToType(t, obtype);
        // The stack's own result must not leave it.
        if (conv == os.obj && conv == work_) conv = dynamic_cast<Object*>(CloneRefHierarchy(conv));
        return conv;
    }
    void GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) override {
        ObjectState os = Eval(t, 0);
        if (os.obj && os.obj != this) os.obj->GetLocalBoundBox(t, inode, vpt, box);
    }
    void GetDeformBBox(TimeValue t, Box3& box, Matrix3* tm, BOOL useSel) override {
        ObjectState os = Eval(t, 0);
        if (os.obj && os.obj != this) os.obj->GetDeformBBox(t, box, tm, useSel);
    }

    // ---- References: 0 the object, 1 + i modifier i.
    int NumRefs() override { return 1 + NumModifiers(); }
    RefTargetHandle GetReference(int i) override {
        if (i == 0) return objRef_;
        return GetModifier(i - 1);
    }
    // Sub-anims: the modifiers top first, then the object.
    int NumSubs() override { return NumModifiers() + 1; }
    Animatable* SubAnim(int i) override { return i == NumModifiers() ? static_cast<Animatable*>(objRef_) : GetModifier(i); }
    MSTR SubAnimName(int i, bool localized) override {
        if (i == NumModifiers()) return objRef_ ? objRef_->GetObjectName(localized) : MSTR(L"Object");
        Modifier* m = GetModifier(i);
        return m ? m->GetName(localized) : MSTR();
    }
    int SubNumToRefNum(int subNum) override {
        if (subNum == NumModifiers()) return 0;
        return subNum >= 0 && subNum < NumModifiers() ? subNum + 1 : -1;
    }
    RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                               RefMessage message, BOOL propagate) override {
        (void)propagate;
        if (message == REFMSG_CHANGE || message == REFMSG_TARGET_DELETED) {
            Invalidate();
            if (hTarget == objRef_ && (partID & PART_TOPO)) topoDirty_ = true;
            if (hTarget == objRef_ && message == REFMSG_CHANGE) {
                for (size_t i = 0; i < mods_.size(); ++i)
                    if (mods_[i]) mods_[i]->NotifyInputChanged(changeInt, partID, message, mcs_[i].get());
            }
        }
        return REF_SUCCEED;
    }

    ReferenceTarget* Clone(RemapDir& remap) override;
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

    // ---- For the restore record.
    std::vector<StackRestore::Entry> Snapshot() const {
        std::vector<StackRestore::Entry> list;
        for (size_t i = 0; i < mods_.size(); ++i) list.push_back({Animatable::GetHandleByAnim(mods_[i]), mcs_[i]});
        return list;
    }
    // Installs a stack without recording, keeping dependents in step.
    void Install(const std::vector<StackRestore::Entry>& list) {
        for (int i = 0; i < NumModifiers(); ++i) host_SetReferenceRaw(i + 1, nullptr);
        mods_.assign(list.size(), nullptr);
        mcs_.clear();
        for (const auto& e : list) mcs_.push_back(e.mc ? e.mc : std::make_shared<ModContext>());
        for (size_t i = 0; i < list.size(); ++i) {
            auto* m = dynamic_cast<Modifier*>(Animatable::GetAnimByHandle(list[i].mod));
            if (m) host_SetReferenceRaw(static_cast<int>(i) + 1, m);
        }
        topoDirty_ = true;
        Invalidate();
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
        NotifyDependents(FOREVER, 0, REFMSG_SUBANIM_STRUCTURE_CHANGED);
    }

protected:
    void SetReference(int i, RefTargetHandle rtarg) override {
        if (i == 0) objRef_ = dynamic_cast<Object*>(rtarg);
        else if (i - 1 < NumModifiers()) mods_[static_cast<size_t>(i - 1)] = dynamic_cast<Modifier*>(rtarg);
        topoDirty_ = true;
        Invalidate();
    }

private:
    static TimeValue GetCOREInterfaceTime();

    void Invalidate() { cacheValid_ = NEVER; }
    void DropWork() {
        if (work_) work_->DeleteMe();
        work_ = nullptr;
        if (partial_) partial_->DeleteMe();
        partial_ = nullptr;
    }
    INode* FindNode();
    // Turns os.obj into an object owned through slot (reused when it can copy), converted to
    // `type` when the incoming one is not of it. False when it cannot.
    bool MakeWritable(TimeValue t, ObjectState& os, Class_ID type, Object*& slot, bool& owned, bool copyTopo);
    ObjectState Run(TimeValue t, int modIndex, Object*& slot);

    // Records and applies a stack edit.
    void Change(std::vector<StackRestore::Entry> list) {
        auto before = Snapshot();
        std::vector<Modifier*> old(mods_.begin(), mods_.end());
        theHold.Suspend();
        Install(list);
        theHold.Resume();
        if (theHold.Holding()) {
            theHold.Put(new StackRestore(this, std::move(before), std::move(list)));
        } else {
            for (Modifier* m : old)
                if (m && std::find(mods_.begin(), mods_.end(), m) == mods_.end()) m->MaybeAutoDelete();
        }
    }

    Object* objRef_ = nullptr;
    std::vector<Modifier*> mods_;
    std::vector<ModContextPtr> mcs_;

    ObjectState cache_;
    Interval cacheValid_ = NEVER;
    Object* work_ = nullptr;     // the stack's result object, reused from one evaluation to the next
    Object* partial_ = nullptr;  // the same for Eval(t, modIndex > 0)
    Object* lastSource_ = nullptr;
    Interval lastTopoValid_ = NEVER;
    bool topoDirty_ = true;
};

// ---------------------------------------------------------------------------------------------

StackRestore::StackRestore(DerivedObject* d, std::vector<Entry> before, std::vector<Entry> after)
    : obj_(Animatable::GetHandleByAnim(d)), before_(std::move(before)), after_(std::move(after)) {
    d->host_AddHoldLock();
    for (auto* list : {&before_, &after_})
        for (const Entry& e : *list)
            if (auto* m = dynamic_cast<ReferenceTarget*>(Animatable::GetAnimByHandle(e.mod))) m->host_AddHoldLock();
}

StackRestore::~StackRestore() {
    for (auto* list : {&after_, &before_})
        for (const Entry& e : *list)
            if (auto* m = dynamic_cast<ReferenceTarget*>(Animatable::GetAnimByHandle(e.mod))) m->host_ReleaseHoldLock();
    if (auto* d = dynamic_cast<ReferenceTarget*>(Animatable::GetAnimByHandle(obj_))) d->host_ReleaseHoldLock();
}

void StackRestore::Apply(const std::vector<Entry>& list) {
    if (auto* d = dynamic_cast<DerivedObject*>(Animatable::GetAnimByHandle(obj_))) d->Install(list);
}

TimeValue DerivedObject::GetCOREInterfaceTime() { return host::objects::CurrentTime(); }

// The first node found up the dependents, looking only through derived objects on the way.
INode* NodeAbove(ReferenceTarget* target) {
    struct Finder : DependentEnumProc {
        INode* node = nullptr;
        int proc(ReferenceMaker* rm) override {
            if (rm->SuperClassID() == BASENODE_CLASS_ID) {
                node = static_cast<INode*>(rm);
                return DEP_ENUM_HALT;
            }
            return rm->SuperClassID() == GEN_DERIVOB_CLASS_ID ? DEP_ENUM_CONTINUE : DEP_ENUM_SKIP;
        }
    } finder;
    target->DoEnumDependents(&finder);
    return finder.node;
}

INode* DerivedObject::FindNode() { return NodeAbove(this); }

bool DerivedObject::MakeWritable(TimeValue t, ObjectState& os, Class_ID type, Object*& slot, bool& owned,
                                 bool copyTopo) {
    Object* in = os.obj;
    const bool fits = type == defObjectClassID ? in->IsDeformable() != 0 : in->IsSubClassOf(type) != 0;
    if (fits && owned) return true;
    if (fits) {
        // A copy of the incoming object: into the reused slot when it can take it.
        ChannelMask chans = ALL_CHANNELS;
        if (!copyTopo) chans &= ~(TOPO_CHANNEL | TEXMAP_CHANNEL | MTL_CHANNEL | SELECT_CHANNEL);
        if (slot && slot->host_CopyChannels(in, chans)) {
            for (int c = 0; c < NUM_OBJ_CHANS; ++c) slot->SetChannelValidity(c, in->ChannelValidity(t, c));
            os.obj = slot;
            owned = true;
            return true;
        }
        if (Object* copy = in->MakeShallowCopy(ALL_CHANNELS)) {
            for (int c = 0; c < NUM_OBJ_CHANS; ++c) copy->SetChannelValidity(c, in->ChannelValidity(t, c));
            if (slot && slot != copy) slot->DeleteMe();
            slot = copy;
            os.obj = copy;
            owned = true;
            return true;
        }
    }
    // Convert: to the wanted type, or to a mesh for a deformer working on anything.
    Class_ID target = type;
    if (type == defObjectClassID) {
        if (in->CanConvertToType(triObjectClassID)) target = triObjectClassID;
        else if (in->CanConvertToType(polyObjectClassID)) target = polyObjectClassID;
        else return false;
    }
    if (!in->CanConvertToType(target)) return false;
    Object* conv = in->ConvertToType(t, target);
    if (!conv) return false;
    if (conv == in) {
        // Already of the type, but not ours: copy it.
        if (owned) return true;
        return MakeWritable(t, os, conv->ClassID(), slot, owned, true);
    }
    if (slot) slot->DeleteMe();
    slot = conv;
    os.obj = conv;
    owned = true;
    return true;
}

ObjectState DerivedObject::Run(TimeValue t, int modIndex, Object*& slot) {
    ObjectState os = objRef_ ? objRef_->Eval(t) : ObjectState();
    if (!os.obj) return os;
    Object* source = os.obj;
    bool copyTopo = topoDirty_ || source != lastSource_ || !lastTopoValid_.InInterval(t);
    for (int i = NumModifiers() - 1; i >= modIndex; --i) {
        Modifier* m = mods_[static_cast<size_t>(i)];
        if (!m || !m->IsEnabled()) continue;
        if (m->ChannelsChanged() & (TOPO_CHANNEL | TEXMAP_CHANNEL | MTL_CHANNEL | SELECT_CHANNEL)) copyTopo = true;
    }
    if (&slot == &work_) {
        lastSource_ = source;
        lastTopoValid_ = source->ChannelValidity(t, TOPO_CHAN_NUM);
        topoDirty_ = false;
    }
    INode* node = nullptr;
    bool nodeFound = false;
    bool owned = false;
    for (int i = NumModifiers() - 1; i >= modIndex; --i) {
        Modifier* m = mods_[static_cast<size_t>(i)];
        if (!m || !m->IsEnabled()) continue;
        ModContext& mc = *mcs_[static_cast<size_t>(i)];
        const ChannelMask changed = m->ChannelsChanged();
        if (changed != 0 && !MakeWritable(t, os, m->InputType(), slot, owned, copyTopo)) continue;
        if (!mc.box) {
            mc.box = new Box3();
            os.obj->GetDeformBBox(t, *mc.box, mc.tm);
        }
        if (!nodeFound) {
            node = FindNode();
            nodeFound = true;
        }
        m->ModifyObject(t, mc, &os, node);
        if (!os.obj) return os;
        const Interval lv = m->Validity(t);
        for (int c = 0; c < NUM_OBJ_CHANS; ++c)
            if (changed & ChannelBit(c)) os.obj->UpdateValidity(c, lv);
    }
    return os;
}

ObjectState DerivedObject::Eval(TimeValue t, int modIndex) {
    if (modIndex > 0) return Run(t, std::min(modIndex, NumModifiers()), partial_);
    if (cacheValid_.InInterval(t) && cache_.obj) return cache_;
    cache_ = Run(t, 0, work_);
    cacheValid_ = cache_.obj ? cache_.obj->ObjectValidity(t) : NEVER;
    if (cache_.obj) cacheValid_ &= objRef_ ? objRef_->ObjectValidity(t) : FOREVER;
    if (!cacheValid_.InInterval(t)) cacheValid_ = NEVER;
    return cache_;
}

ReferenceTarget* DerivedObject::Clone(RemapDir& remap) {
    auto* d = new DerivedObject();
    d->mods_.assign(mods_.size(), nullptr);
    for (const ModContextPtr& mc : mcs_) d->mcs_.push_back(std::make_shared<ModContext>(*mc));
    d->ReplaceReference(0, remap.CloneRef(objRef_));
    for (size_t i = 0; i < mods_.size(); ++i) d->ReplaceReference(static_cast<int>(i) + 1, remap.CloneRef(mods_[i]));
    BaseClone(this, d, remap);
    return d;
}

IOResult DerivedObject::Save(ISave* isave) {
    using namespace host::objio;
    WriteChunk(isave, kCountChunk, int32_t(NumModifiers()));
    for (const ModContextPtr& mc : mcs_) {
        isave->BeginChunk(kContextChunk);
        if (mc->tm) {
            float m[12];
            for (int r = 0; r < 4; ++r)
                for (int c = 0; c < 3; ++c) m[r * 3 + c] = mc->tm->GetRow(r)[c];
            WriteChunk(isave, kCtxTMChunk, m);
        }
        if (mc->box) {
            const float b[6] = {mc->box->pmin.x, mc->box->pmin.y, mc->box->pmin.z,
                                mc->box->pmax.x, mc->box->pmax.y, mc->box->pmax.z};
            WriteChunk(isave, kCtxBoxChunk, b);
        }
        isave->EndChunk();
    }
    return IO_OK;
}

IOResult DerivedObject::Load(ILoad* iload) {
    using namespace host::objio;
    IOResult res;
    std::vector<ModContextPtr> contexts;
    int32_t count = -1;
    while ((res = iload->OpenChunk()) == IO_OK) {
        bool ok = true;
        switch (iload->CurChunkID()) {
            case kCountChunk: ok = ReadValue(iload, count) && count >= 0 && count < (1 << 20); break;
            case kContextChunk: {
                auto mc = std::make_shared<ModContext>();
                while (ok && iload->OpenChunk() == IO_OK) {
                    if (iload->CurChunkID() == kCtxTMChunk) {
                        float m[12];
                        ok = ReadValue(iload, m);
                        mc->tm = new Matrix3(Point3(m[0], m[1], m[2]), Point3(m[3], m[4], m[5]),
                                             Point3(m[6], m[7], m[8]), Point3(m[9], m[10], m[11]));
                    } else if (iload->CurChunkID() == kCtxBoxChunk) {
                        float b[6];
                        ok = ReadValue(iload, b);
                        mc->box = new Box3();
                        mc->box->pmin = Point3(b[0], b[1], b[2]);
                        mc->box->pmax = Point3(b[3], b[4], b[5]);
                    }
                    iload->CloseChunk();
                }
                contexts.push_back(mc);
                break;
            }
            default: break;
        }
        iload->CloseChunk();
        if (!ok) return IO_ERROR;
    }
    if (res == IO_ERROR || count < 0) return IO_ERROR;
    contexts.resize(static_cast<size_t>(count));
    for (ModContextPtr& mc : contexts)
        if (!mc) mc = std::make_shared<ModContext>();
    mods_.assign(static_cast<size_t>(count), nullptr);
    mcs_ = std::move(contexts);
    return IO_OK;
}

// ---------------------------------------------------------------------------------------------

class DerivedObjectClassDesc : public ClassDesc2 {
public:
    int IsPublic() override { return 0; }
    void* Create(BOOL) override { return static_cast<Animatable*>(new DerivedObject()); }
    const MCHAR* ClassName() override { return L"Derived Object"; }
    const MCHAR* NonLocalizedClassName() override { return L"DerivedObject"; }
    SClass_ID SuperClassID() override { return GEN_DERIVOB_CLASS_ID; }
    Class_ID ClassID() override { return DERIVOB_CLASS; }
    const MCHAR* Category() override { return L""; }
};

// The enable switch as a restore record.
class EnableRestore : public RestoreObj {
public:
    EnableRestore(Modifier* m, bool before) : handle_(Animatable::GetHandleByAnim(m)), before_(before) {}
    void Restore(int) override { Set(before_); }
    void Redo() override { Set(!before_); }

private:
    void Set(bool on) {
        if (auto* m = dynamic_cast<Modifier*>(Animatable::GetAnimByHandle(handle_))) {
            if (on) m->EnableMod();
            else m->DisableMod();
        }
    }
    AnimHandle handle_;
    bool before_;
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// ModContext

ModContext::ModContext(const ModContext& mc)
    : tm(mc.tm ? new Matrix3(*mc.tm) : nullptr), box(mc.box ? new Box3(*mc.box) : nullptr),
      localData(mc.localData ? mc.localData->Clone() : nullptr) {}

ModContext::~ModContext() {
    delete tm;
    delete box;
    if (localData) localData->DeleteThis();
}

// ---------------------------------------------------------------------------------------------
// Modifier

void Modifier::EnableMod() {
    if (enabled_) return;
    if (theHold.Holding()) theHold.Put(new EnableRestore(this, enabled_));
    enabled_ = true;
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

void Modifier::DisableMod() {
    if (!enabled_) return;
    if (theHold.Holding()) theHold.Put(new EnableRestore(this, enabled_));
    enabled_ = false;
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

MSTR Modifier::GetName(bool localized) const { return name_.isNull() ? ClassName(localized) : name_; }

void Modifier::SetName(const MSTR& name) {
    name_ = name;
    NotifyDependents(FOREVER, 0, REFMSG_NODE_NAMECHANGE);
}

void Modifier::CopyModifierState(Modifier* to) const {
    if (!to) return;
    to->name_ = name_;
    to->enabled_ = enabled_;
}

IOResult Modifier::Save(ISave* isave) {
    if (!name_.isNull()) {
        isave->BeginChunk(kModNameChunk);
        isave->WriteWString(name_.data());
        isave->EndChunk();
    }
    host::objio::WriteChunk(isave, kModEnabledChunk, int32_t(enabled_ ? 1 : 0));
    return IO_OK;
}

IOResult Modifier::Load(ILoad* iload) {
    IOResult res;
    while ((res = iload->OpenChunk()) == IO_OK) {
        if (iload->CurChunkID() == kModNameChunk) {
            MSTR s;
            if (iload->ReadWStringChunk(s) != IO_OK) return IO_ERROR;
            name_ = s;
        } else if (iload->CurChunkID() == kModEnabledChunk) {
            int32_t on = 1;
            if (!host::objio::ReadValue(iload, on)) return IO_ERROR;
            enabled_ = on != 0;
        }
        iload->CloseChunk();
    }
    return res == IO_ERROR ? IO_ERROR : IO_OK;
}

// ---------------------------------------------------------------------------------------------

IDerivedObject* CreateDerivedObject(Object* pob) {
    auto* d = new DerivedObject();
    if (pob) d->ReferenceObject(pob);
    return d;
}

IDerivedObject* host::EnsureDerivedObject(INode* node) {
    if (!node || !node->GetObjectRef()) return nullptr;
    if (auto* d = dynamic_cast<IDerivedObject*>(node->GetObjectRef())) return d;
    IDerivedObject* d = CreateDerivedObject(node->GetObjectRef());
    node->SetObjectRef(d);
    return d;
}

bool host::AddModifierToNode(INode* node, Modifier* mod, int before) {
    if (!node || !mod) return false;
    IDerivedObject* d = EnsureDerivedObject(node);
    if (!d) return false;
    const int n = d->NumModifiers();
    d->AddModifier(mod, nullptr, before);
    return d->NumModifiers() == n + 1;
}

INode* host::FindNodeOfModifier(Modifier* mod) {
    if (!mod) return nullptr;
    return NodeAbove(mod);
}

void host::objects::RegisterDerivedObjectClass(host::ClassDirectory& dir) {
    static DerivedObjectClassDesc cd;
    dir.AddClass(&cd);
}
