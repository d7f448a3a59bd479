#include "controllers/transform_constraint.h"

#include "frame/class_registry.h"
#include "hold.h"
#include "inode.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

constexpr USHORT kBaseScaleChunk = 0x0100;
constexpr USHORT kFirstScaleChunk = 0x0110;
constexpr USHORT kFirstAxisChunk = 0x0120;
constexpr USHORT kLastCountChunk = 0x0130;
constexpr USHORT kNeedInitChunk = 0x0140;
constexpr USHORT kStoredWorldChunk = 0x0150;
constexpr USHORT kStoredLocalChunk = 0x0160;
constexpr USHORT kReferenceChunk = 0x0170;
constexpr USHORT kLockedChunk = 0x0180;

RegistryClassDesc* ScaleDesc() { return ClassRegistry::Find(CTRL_SCALE_CLASS_ID, SCALE_CONSTRAINT_CLASS_ID); }
RegistryClassDesc* TransformDesc() { return ClassRegistry::Find(CTRL_MATRIX3_CLASS_ID, TRANSFORM_CONSTRAINT_CLASS_ID); }

ClassFactoryRegistrar scaleRegistrar(CTRL_SCALE_CLASS_ID, SCALE_CONSTRAINT_CLASS_ID,
                                     [](BOOL loading) -> void* { return new ScaleConstraint(loading); });
ClassFactoryRegistrar transformRegistrar(CTRL_MATRIX3_CLASS_ID, TRANSFORM_CONSTRAINT_CLASS_ID,
                                         [](BOOL loading) -> void* { return new TransformConstraint(loading); });

class ListAccessor : public PBAccessor {
public:
    void TabChanged(tab_changes code, Tab<PB2Value>*, ReferenceMaker* owner, ParamID, int, int) override {
        auto* c = dynamic_cast<TargetListControl*>(owner);
        if (!c) return;
        c->listChanged = true;
        if (code == tab_ref_deleted) c->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
        if (c->rollup) c->rollup->RefreshList();
    }
};
ListAccessor listAccessor;

ParamBlockDesc2* ListBlock(ClassDesc2* cd, int weightLabel, int listLabel, int relativeLabel) {
    using L = TargetListControl;
    auto* d = new ParamBlockDesc2(0, L"params", 0, cd, 0, p_end);
    d->AddParam(L::p_weight, L"weight", TYPE_FLOAT_TAB, P_ANIMATABLE | P_VARIABLE_SIZE, weightLabel);
    d->SetDefault(L::p_weight, 50.0f);
    d->SetRange(L::p_weight, 0.0f, 100.0f);
    d->AddParam(L::p_target_list, L"target_list", TYPE_INODE_TAB, P_VARIABLE_SIZE, listLabel);
    d->SetValidator(L::p_target_list, &CycleValidator());
    d->SetAccessor(L::p_target_list, &listAccessor);
    d->AddParam(L::p_relative, L"relative", TYPE_BOOL, 0, relativeLabel);
    d->SetDefault(L::p_relative, 0);
    d->AddParam(L::p_local_world, L"local_world", TYPE_INT, 0, IDS_LOCAL_WORLD);
    d->SetDefault(L::p_local_world, 0);
    d->SetRange(L::p_local_world, 0, 1);
    return d;
}

ParamBlockDesc2& ScaleBlock() {
    static ParamBlockDesc2* d = ListBlock(ScaleDesc(), IDS_SCALE_WEIGHT, IDS_SCALE_LIST, IDS_SCALE_RELATIVE);
    return *d;
}
ParamBlockDesc2& TransformBlock() {
    static ParamBlockDesc2* d =
        ListBlock(TransformDesc(), IDS_TRANSFORM_WEIGHT, IDS_TRANSFORM_LIST, IDS_TRANSFORM_WEIGHT_UI);
    return *d;
}
const bool blocksReady = (ScaleBlock(), TransformBlock(), true);

FPInterfaceDesc& ScaleInterface() {
    static FPInterfaceDesc* d = MakeTargetListInterface(SCALE_CONSTRAINT_INTERFACE, ScaleDesc());
    return *d;
}
FPInterfaceDesc& TransformInterface() {
    static FPInterfaceDesc* d = MakeTargetListInterface(TRANSFORM_CONSTRAINT_INTERFACE, TransformDesc());
    return *d;
}
const bool interfacesReady = (ScaleInterface(), TransformInterface(), true);

Point3 Divide(const Point3& a, const Point3& b) {
    auto d = [](float x, float y) { return y != 0.0f ? x / y : x; };
    return Point3(d(a.x, b.x), d(a.y, b.y), d(a.z, b.z));
}

AffineParts Decompose(const Matrix3& m) {
    AffineParts ap;
    decomp_affine(m, &ap);
    return ap;
}

Matrix3 Compose(AffineParts p) {
    p.q.MakeClosest(IdentQuat());
    p.q.Normalize();
    p.f = 1.0f;
    return host::ComposeAffine(p);
}

class StoredRestore : public RestoreObj {
public:
    explicit StoredRestore(TransformConstraint* tc)
        : tc_(tc), world_(tc->storedWorld), local_(tc->storedLocal) {}
    void Restore(int isUndo) override {
        if (isUndo) {
            redoWorld_ = tc_->storedWorld;
            redoLocal_ = tc_->storedLocal;
        }
        Set(world_, local_);
    }
    void Redo() override { Set(redoWorld_, redoLocal_); }
    void EndHold() override { tc_->ClearAFlag(A_HELD); }
    MSTR Description() override { return MSTR(L"Transform constraint offset"); }

private:
    void Set(const Matrix3& w, const Matrix3& l) {
        tc_->storedWorld = w;
        tc_->storedLocal = l;
        tc_->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    TransformConstraint* tc_;
    Matrix3 world_, local_, redoWorld_, redoLocal_;
};

}  // namespace

FPInterfaceDesc* IScaleConstraint::GetDesc() { return &ScaleInterface(); }
FPInterfaceDesc* ITransformConstraint::GetDesc() { return &TransformInterface(); }

// ---------------------------------------------------------------------------------------------
// The list

MSTR TargetListControl::SubAnimName(int i, bool) {
    return i == 0 && pblock ? pblock->GetLocalName() : MSTR();
}

INode* TargetListControl::ListNode(int i) { return targetlist::Node(pblock, i); }

float TargetListControl::ListWeight(int i) { return targetlist::CurrentWeight(pblock, i); }

bool TargetListControl::ListSetWeight(int i, float w) {
    if (!targetlist::SetCurrentWeight(pblock, i, w)) return false;
    if (rollup) rollup->RefreshList();
    return true;
}

bool TargetListControl::ListAppend(INode* target, float w) {
    if (!targetlist::CanAppend(this, pblock, target)) return false;
    theHold.Begin();
    targetlist::Append(pblock, target, w);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    targetlist::AcceptChange();
    if (rollup) rollup->RefreshList();
    return true;
}

bool TargetListControl::ListDelete(int i) {
    if (!pblock || i < 0 || i >= ListCount()) return false;
    theHold.Begin();
    targetlist::Delete(pblock, i);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    targetlist::AcceptChange();
    if (rollup) rollup->RefreshList();
    return true;
}

bool TargetListControl::TargetMatrix(int i, TimeValue t, Interval& valid, Matrix3& tm) {
    INode* n = pblock->GetINode(p_target_list, t, i);
    if (!n) return false;
    tm = n->GetNodeTM(t, &valid);
    if (pblock->GetInt(p_local_world, t) == 1) tm = tm * Inverse(n->GetParentTM(t));
    return true;
}

// ---------------------------------------------------------------------------------------------
// ScaleConstraint

ScaleConstraint::ScaleConstraint(BOOL loading) {
    if (!loading) ReplaceReference(0, CreateParameterBlock2(&ScaleBlock(), this));
}

MSTR ScaleConstraint::ClassName(bool) const {
    return GetStringOr(IDS_CLASS_SCALECONSTRAINT, L"Scale Constraint");
}

ReferenceTarget* ScaleConstraint::Clone(RemapDir& remap) {
    auto* c = new ScaleConstraint(TRUE);
    c->ReplaceReference(0, remap.CloneRef(pblock));
    c->baseScale = baseScale;
    c->firstTargetScale = firstTargetScale;
    c->firstTargetAxis = firstTargetAxis;
    c->lastCount = lastCount;
    c->needInit = needInit;
    c->lastResult = lastResult;
    c->mLocked = mLocked;
    BaseClone(this, c, remap);
    return c;
}

BaseInterface* ScaleConstraint::GetInterface(Interface_ID id) {
    if (id == SCALE_CONSTRAINT_INTERFACE) return static_cast<IScaleConstraint*>(this);
    return Control::GetInterface(id);
}

ScaleValue ScaleConstraint::Blend(TimeValue t, Interval& valid) {
    const int count = ListCount();
    Point3 scale(0.0f, 0.0f, 0.0f);
    Quat axis;
    float sum = 0.0f;
    for (int i = 0; i < count; ++i) {
        Matrix3 tm;
        if (!TargetMatrix(i, t, valid, tm)) tm = Matrix3();
        AffineParts ap;
        decomp_affine(tm, &ap);
        const float w = targetlist::Weight(pblock, t, i, 1.0f, valid);
        sum += w;
        const float f = sum != 0.0f ? w / sum : 0.0f;
        scale += ap.k * w;
        Quat u = ap.u;
        u.Normalize();
        u.MakeClosest(axis);
        axis = Slerp(axis, u, f);
        axis.Normalize();
    }
    if (sum <= 0.0f) {
        lastCount = count;
        return lastResult = baseScale;
    }
    scale /= sum;
    if (count != lastCount || listChanged) {
        listChanged = false;
        // The new list starts where the node stands.
        if (lastCount > 0) baseScale = lastResult;
        firstTargetScale = scale;
        firstTargetAxis = axis;
        lastCount = count;
    }
    ScaleValue out(scale, axis);
    if (pblock->GetInt(p_relative, GetCOREInterface()->GetTime())) {
        out.s = Divide(scale, firstTargetScale) * baseScale.s;
        out.q = baseScale.q * (Inverse(firstTargetAxis) * axis);
        out.q.Normalize();
    }
    lastResult = out;
    return out;
}

void ScaleConstraint::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    if (!val || !pblock) return;
    if (needInit) {
        // The identity's scale: the node keeps its size until targets say otherwise.
        baseScale = ScaleValue();
        needInit = false;
    }
    const ScaleValue sv = Blend(t, valid);
    if (method == CTRL_ABSOLUTE)
        *static_cast<ScaleValue*>(val) = sv;
    else
        ApplyScaling(*static_cast<Matrix3*>(val), sv);
}

IOResult ScaleConstraint::Save(ISave* isave) {
    WriteChunk(isave, kBaseScaleChunk, baseScale);
    WriteChunk(isave, kFirstScaleChunk, firstTargetScale);
    WriteChunk(isave, kFirstAxisChunk, firstTargetAxis);
    WriteChunk(isave, kLastCountChunk, lastCount);
    WriteFlagChunk(isave, kNeedInitChunk, needInit);
    WriteFlagChunk(isave, kLockedChunk, mLocked);
    return IO_OK;
}

IOResult ScaleConstraint::Load(ILoad* iload) {
    const IOResult res = ReadChunks(iload, [&](USHORT id) {
        switch (id) {
        case kBaseScaleChunk:
            return ReadChunk(iload, baseScale);
        case kFirstScaleChunk:
            return ReadChunk(iload, firstTargetScale);
        case kFirstAxisChunk:
            return ReadChunk(iload, firstTargetAxis);
        case kLastCountChunk:
            return ReadChunk(iload, lastCount);
        case kNeedInitChunk:
            return ReadFlagChunk(iload, needInit);
        case kLockedChunk:
            return ReadFlagChunk(iload, mLocked);
        default:
            return IO_OK;
        }
    });
    if (res != IO_OK) return res;
    // The rebase state is not saved: the first evaluation rebuilds it from the saved base.
    lastResult = baseScale;
    return IO_OK;
}

// ---------------------------------------------------------------------------------------------
// TransformConstraint

TransformConstraint::TransformConstraint(BOOL loading) {
    if (!loading) ReplaceReference(0, CreateParameterBlock2(&TransformBlock(), this));
    GetCOREInterface()->RegisterTimeChangeCallback(this);
}

TransformConstraint::~TransformConstraint() { GetCOREInterface()->UnRegisterTimeChangeCallback(this); }

MSTR TransformConstraint::ClassName(bool) const {
    return GetStringOr(IDS_CLASS_TRANSFORMCONSTRAINT, L"Transform Constraint");
}

ReferenceTarget* TransformConstraint::Clone(RemapDir& remap) {
    auto* c = new TransformConstraint(TRUE);
    c->ReplaceReference(0, remap.CloneRef(pblock));
    c->storedWorld = storedWorld;
    c->storedLocal = storedLocal;
    c->referenceBlend = referenceBlend;
    c->needInit = needInit;
    c->lastCount = lastCount;
    c->mLocked = mLocked;
    BaseClone(this, c, remap);
    return c;
}

BaseInterface* TransformConstraint::GetInterface(Interface_ID id) {
    if (id == TRANSFORM_CONSTRAINT_INTERFACE) return static_cast<ITransformConstraint*>(this);
    return Control::GetInterface(id);
}

Matrix3 TransformConstraint::Evaluate(TimeValue t, Interval& valid, bool& found, bool withOffset) {
    const int count = ListCount();
    const bool relative = withOffset && pblock->GetInt(p_relative, t) != 0;
    found = false;
    if (count == 1 && !relative) {
        Matrix3 tm;
        if (TargetMatrix(0, t, valid, tm)) {
            found = true;
            if (lastCount != 1 || listChanged) referenceBlend = tm;
            lastCount = 1;
            listChanged = false;
            return tm;
        }
    }
    PartsBlend b;
    for (int i = 0; i < count; ++i) {
        Matrix3 tm;
        if (!TargetMatrix(i, t, valid, tm)) continue;
        found = true;
        b.Add(Decompose(tm), targetlist::Weight(pblock, t, i, 1.0f, valid));
    }
    if (!found) return Matrix3();
    if (b.sum <= 0.0f) return Matrix3();
    AffineParts p = b.Parts();
    if (count != lastCount || listChanged) referenceBlend = Compose(p);
    lastCount = count;
    listChanged = false;
    if (relative) {
        const AffineParts s = Decompose(Stored()), r = Decompose(referenceBlend);
        p.t = p.t + s.t - r.t;
        p.q = s.q * (Inverse(r.q) * p.q);
        p.k = Divide(p.k, r.k) * s.k;
        p.u = s.u * (Inverse(r.u) * p.u);
        p.u.Normalize();
    }
    return Compose(p);
}

void TransformConstraint::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    if (!val || !pblock) return;
    Matrix3& m = *static_cast<Matrix3*>(val);
    const bool local = pblock->GetInt(p_local_world, t) == 1;
    if (needInit) {
        storedWorld = storedLocal * m;
        needInit = false;
    }
    bool found = false;
    const Matrix3 v = Evaluate(t, valid, found);
    if (!found) {
        if (!local) m = storedWorld;
        else m = method == CTRL_RELATIVE ? storedLocal * m : storedLocal;
        return;
    }
    m = local && method == CTRL_RELATIVE ? v * m : v;
}

void TransformConstraint::Copy(Control* from) {
    if (!from || from == this || from->SuperClassID() != CTRL_MATRIX3_CLASS_ID) return;
    HoldStored();
    Matrix3 local;
    Interval iv = FOREVER;
    from->GetValue(GetCOREInterface()->GetTime(), &local, iv, CTRL_RELATIVE);
    storedLocal = local;
    needInit = true;
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

void TransformConstraint::HoldStored() {
    if (!theHold.Holding() || TestAFlag(A_HELD)) return;
    SetAFlag(A_HELD);
    theHold.Put(new StoredRestore(this));
}

void TransformConstraint::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    (void)commit;
    (void)method;
    if (!val || !pblock || GetLocked()) return;
    const SetXFormPacket& pk = *static_cast<SetXFormPacket*>(val);
    const bool local = pblock->GetInt(p_local_world, t) == 1;
    Matrix3 world = pk.tmParent;
    Interval iv = FOREVER;
    GetValue(t, &world, iv, CTRL_RELATIVE);
    const Matrix3 wanted = ApplyPacket(pk, world);
    // What the stored matrix is compared in: the world, or the node's parent space.
    const Matrix3 target = local ? wanted * Inverse(pk.tmParent) : wanted;
    HoldStored();
    bool found = false;
    Interval biv = FOREVER;
    const Matrix3 blend = Evaluate(t, biv, found, false);
    if (!found) {
        Stored() = target;
    } else {
        // Solve the relative branch for the stored matrix that gives `target` now.
        const AffineParts w = Decompose(target), b = Decompose(blend), r = Decompose(referenceBlend);
        AffineParts s;
        s.t = w.t - b.t + r.t;
        s.q = w.q * Inverse(Inverse(r.q) * b.q);
        s.k = Divide(w.k, b.k) * r.k;
        s.u = w.u * Inverse(Inverse(r.u) * b.u);
        s.u.Normalize();
        Stored() = Compose(s);
    }
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

IOResult TransformConstraint::Save(ISave* isave) {
    WriteChunk(isave, kStoredWorldChunk, storedWorld);
    WriteChunk(isave, kStoredLocalChunk, storedLocal);
    WriteChunk(isave, kReferenceChunk, referenceBlend);
    WriteChunk(isave, kLastCountChunk, lastCount);
    WriteFlagChunk(isave, kLockedChunk, mLocked);
    return IO_OK;
}

IOResult TransformConstraint::Load(ILoad* iload) {
    const IOResult res = ReadChunks(iload, [&](USHORT id) {
        switch (id) {
        case kStoredWorldChunk:
            return ReadChunk(iload, storedWorld);
        case kStoredLocalChunk:
            return ReadChunk(iload, storedLocal);
        case kReferenceChunk:
            return ReadChunk(iload, referenceBlend);
        case kLastCountChunk:
            return ReadChunk(iload, lastCount);
        case kLockedChunk:
            return ReadFlagChunk(iload, mLocked);
        default:
            return IO_OK;
        }
    });
    if (res != IO_OK) return res;
    needInit = true;
    return IO_OK;
}

}  // namespace kt
