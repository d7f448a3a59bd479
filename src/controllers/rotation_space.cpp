#include "controllers/rotation_space.h"

#include "frame/class_registry.h"
#include "hold.h"
#include "inode.h"
#include "maxapi.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "solvers/ikfk_math.h"

namespace kt {
namespace {

constexpr USHORT kActiveChunk = 0x0100;
constexpr USHORT kStoredChunk = 0x0110;

RegistryClassDesc* SpaceDesc() { return ClassRegistry::Find(CTRL_MATRIX3_CLASS_ID, ROTATION_SPACE_CLASS_ID); }

ClassFactoryRegistrar spaceRegistrar(CTRL_MATRIX3_CLASS_ID, ROTATION_SPACE_CLASS_ID,
                                     [](BOOL loading) -> void* { return new RotationSpace(loading); });

class RotationSpaceAccessor : public PBAccessor {
public:
    void Set(PB2Value& v, ReferenceMaker* owner, ParamID id, int, TimeValue t) override {
        auto* rs = dynamic_cast<RotationSpace*>(owner);
        auto* target = dynamic_cast<INode*>(v.r);
        if (!rs || !target || id != RotationSpace::rs_target || theHold.RestoreOrRedoing()) return;
        const Matrix3 offset = RotMatrix(OrthoQuat(rs->storedTM * Inverse(target->GetNodeTM(t))));
        rs->pblock->SetValue(RotationSpace::rs_initial_offset, t, offset);
    }
};
RotationSpaceAccessor spaceAccessor;

ParamBlockDesc2& SpaceBlock() {
    static ParamBlockDesc2* desc = [] {
        using R = RotationSpace;
        auto* d = new ParamBlockDesc2(0, L"params", 0, SpaceDesc(), 0, p_end);
        d->AddParam(R::rs_target, L"target", TYPE_INODE, 0, IDS_TARGET);
        d->SetValidator(R::rs_target, &CycleValidator());
        d->SetAccessor(R::rs_target, &spaceAccessor);
        d->AddParam(R::rs_weight, L"weight", TYPE_PCNT_FRAC, P_ANIMATABLE, IDS_WEIGHT);
        d->SetDefault(R::rs_weight, 1.0f);
        d->SetRange(R::rs_weight, 0.0f, 100.0f);
        d->AddParam(R::rs_keep_initial_offset, L"keep_initial_offset", TYPE_BOOL, 0, IDS_RELATIVE);
        d->SetDefault(R::rs_keep_initial_offset, 0);
        d->AddParam(R::rs_initial_offset, L"initial_offset", TYPE_MATRIX3, 0, IDS_INITIAL_OFFSET);
        return d;
    }();
    return *desc;
}
const bool spaceBlockReady = (SpaceBlock(), true);

class ActiveRestore : public RestoreObj {
public:
    explicit ActiveRestore(RotationSpace* rs) : rs_(rs), undo_(rs->active) {}
    void Restore(int isUndo) override {
        if (isUndo) redo_ = rs_->active;
        Set(undo_);
    }
    void Redo() override { Set(redo_); }
    MSTR Description() override { return MSTR(L"Rotation space active"); }

private:
    void Set(BYTE v) {
        rs_->active = v;
        rs_->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    RotationSpace* rs_;
    BYTE undo_, redo_ = 1;
};

}  // namespace

RotationSpace::RotationSpace(BOOL loading) : ConstraintBase(true) {
    if (!loading) MakeRefs(SpaceBlock());
}

MSTR RotationSpace::ClassName(bool) const {
    const MCHAR* s = GetString(IDS_CLASS_ROTATIONSPACE);
    return MSTR(s ? s : L"Rotation Space");
}

ReferenceTarget* RotationSpace::Clone(RemapDir& remap) { return CloneInto(new RotationSpace(TRUE), remap); }

void RotationSpace::SetActive(bool on) {
    if (IsActive() == on) return;
    if (theHold.Holding()) theHold.Put(new ActiveRestore(this));
    active = on ? 1 : 0;
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

Matrix3 RotationSpace::SpaceStep(TimeValue t, const Matrix3& val, Interval& valid) {
    INode* target = pblock->GetINode(rs_target, t);
    if (!target) return val;
    Matrix3 tm = target->GetNodeTM(t, &valid);
    if (pblock->GetInt(rs_keep_initial_offset, t)) tm = pblock->GetMatrix3(rs_initial_offset, t) * tm;
    const Quat q = SlerpClosest(Quat(), OrthoQuat(tm * Inverse(val)), pblock->GetFloat(rs_weight, t, valid));
    return RotMatrix(q) * val;
}

void RotationSpace::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    (void)method;
    if (!val || !pblock) return;
    Matrix3& m = *static_cast<Matrix3*>(val);
    Matrix3 local;
    if (inner_) inner_->GetValue(t, &local, valid, CTRL_RELATIVE);
    m.PreTranslate(local.GetTrans());
    if (IsActive()) {
        m = SpaceStep(t, m, valid);
        if (t == GetCOREInterface()->GetTime()) storedTM = m;
    }
    local.NoTrans();
    m = local * m;
}

Matrix3 RotationSpace::LocalFor(TimeValue t, const Matrix3& parent, const Matrix3& world) {
    // The translation decides the space's place, the space then decides the rotation.
    Matrix3 placed = parent;
    const Point3 trans = world.GetTrans() * Inverse(parent);
    placed.PreTranslate(trans);
    Interval iv = FOREVER;
    const Matrix3 space = IsActive() ? SpaceStep(t, placed, iv) : placed;
    Matrix3 local = world * Inverse(space);
    local.SetTrans(trans);
    return local;
}

void RotationSpace::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    (void)method;
    if (!val || !pblock || !inner_ || GetLocked()) return;
    const SetXFormPacket& pk = *static_cast<SetXFormPacket*>(val);
    Matrix3 world = pk.tmParent;
    Interval iv = FOREVER;
    GetValue(t, &world, iv, CTRL_RELATIVE);
    const Matrix3 local = LocalFor(t, pk.tmParent, ApplyPacket(pk, world));
    SetXFormPacket set(local, Matrix3());
    inner_->SetValue(t, &set, commit, CTRL_RELATIVE);
}

void RotationSpace::CopyStateTo(ConstraintBase* c) {
    auto* rs = static_cast<RotationSpace*>(c);
    rs->active = active;
    rs->storedTM = storedTM;
}

void RotationSpace::SaveState(ISave* isave) {
    WriteChunk(isave, kActiveChunk, active);
    WriteChunk(isave, kStoredChunk, storedTM);
}

IOResult RotationSpace::LoadState(ILoad* iload, USHORT id) {
    if (id == kActiveChunk) return ReadChunk(iload, active);
    if (id == kStoredChunk) return ReadChunk(iload, storedTM);
    return IO_OK;
}

}  // namespace kt
