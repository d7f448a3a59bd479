// Position constraint: the weighted mean of target nodes' world positions.
#include <cmath>
#include <vector>

#include "controllers_internal.h"
#include "hold.h"
#include "inode.h"
#include "iosave.h"
#include "stdctrl.h"

namespace host::ctrl {

namespace {
constexpr USHORT PC_WEIGHTS_CHUNK = 0x0400;
constexpr USHORT PC_LOCK_CHUNK = 0x0410;
} // namespace

class PosConstraint;

// Undo of the target table beside the references (recorded by ReplaceReference).
class PosConstraintRestore : public RestoreObj {
  public:
    enum Op { kInsert, kErase, kWeight };
    PosConstraintRestore(PosConstraint* c, Op op, int index, float weight);
    void Restore(int isUndo) override;
    void Redo() override;
    MSTR Description() override { return MSTR(L"Position Constraint"); }

  private:
    void Do(bool forward);
    AnimHandle handle_;
    Op op_;
    int index_;
    float weight_, redoWeight_ = 0.0f;
};

class PosConstraint : public Control, public IPosConstraint, public ILockedTrackImp {
  public:
    explicit PosConstraint(bool loading = false) { (void)loading; }

    SClass_ID SuperClassID() override { return CTRL_POSITION_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(POSITION_CONSTRAINT_CLASS_ID, 0); }

    using Control::GetInterface;
    void* GetInterface(ULONG id) override {
        if (id == I_POSCONSTRAINT) return static_cast<IPosConstraint*>(this);
        return Control::GetInterface(id);
    }

    int NumRefs() override { return int(targets_.size()); }
    RefTargetHandle GetReference(int i) override { return GetNode(i); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    BOOL IsKeyable() override { return FALSE; }
    BOOL IsLeaf() override { return TRUE; }

    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override {
        Point3 sum;
        double wsum = 0.0;
        for (size_t i = 0; i < targets_.size(); ++i) {
            if (!targets_[i]) continue;
            sum += targets_[i]->GetNodeTM(t, &valid).GetTrans() * weights_[i];
            wsum += weights_[i];
        }
        const bool some = wsum > 0.0;
        const Point3 p = some ? sum * float(1.0 / wsum) : Point3();
        if (method == CTRL_RELATIVE) {
            if (some) static_cast<Matrix3*>(val)->SetTrans(p);
        } else {
            *static_cast<Point3*>(val) = p;
        }
    }
    // The targets decide the value; sets are ignored.
    void SetValue(TimeValue, void*, int, GetSetMethod) override {}

    // ---- IPosConstraint.
    int GetNumTargets() override { return int(targets_.size()); }
    INode* GetNode(int i) override {
        return i >= 0 && i < int(targets_.size()) ? targets_[size_t(i)] : nullptr;
    }
    float GetTargetWeight(int i) override {
        return i >= 0 && i < int(weights_.size()) ? weights_[size_t(i)] : 0.0f;
    }
    BOOL SetTargetWeight(int i, float weight) override {
        if (i < 0 || i >= int(weights_.size()) || !std::isfinite(weight)) return FALSE;
        if (theHold.Holding())
            theHold.Put(
                new PosConstraintRestore(this, PosConstraintRestore::kWeight, i, weights_[size_t(i)]));
        weights_[size_t(i)] = weight;
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
        return TRUE;
    }
    BOOL AppendTarget(INode* target, float weight = 50.0f) override {
        if (!target || GetLocked() || !std::isfinite(weight)) return FALSE;
        for (INode* n : targets_)
            if (n == target) return FALSE;
        if (DependsOn(target)) return FALSE;
        const int index = int(targets_.size());
        if (theHold.Holding())
            theHold.Put(new PosConstraintRestore(this, PosConstraintRestore::kInsert, index, weight));
        RawInsert(index, weight);
        if (ReplaceReference(index, target) != REF_SUCCEED) {
            RawErase(index);
            return FALSE;
        }
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
        return TRUE;
    }
    BOOL DeleteTarget(int i) override {
        if (GetLocked() || i < 0 || i >= int(targets_.size())) return FALSE;
        ReplaceReference(i, nullptr);
        if (theHold.Holding())
            theHold.Put(new PosConstraintRestore(this, PosConstraintRestore::kErase, i, weights_[size_t(i)]));
        RawErase(i);
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
        return TRUE;
    }

    // Targets that were cloned in the same operation are remapped; others stay shared.
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new PosConstraint(true);
        c->mLocked = mLocked;
        for (size_t i = 0; i < targets_.size(); ++i) {
            c->RawInsert(int(i), weights_[i]);
            ReferenceTarget* mapped = targets_[i] ? remap.FindMapping(targets_[i]) : nullptr;
            c->ReplaceReference(int(i), mapped ? mapped : targets_[i]);
        }
        BaseClone(this, c, remap);
        return c;
    }

    IOResult Save(ISave* isave) override {
        ULONG nw = 0;
        isave->BeginChunk(PC_WEIGHTS_CHUNK);
        const int32_t n = int32_t(weights_.size());
        isave->Write(&n, sizeof(n), &nw);
        if (n > 0) isave->Write(weights_.data(), ULONG(sizeof(float) * weights_.size()), &nw);
        isave->EndChunk();
        isave->BeginChunk(PC_LOCK_CHUNK);
        const int32_t locked = mLocked ? 1 : 0;
        isave->Write(&locked, sizeof(locked), &nw);
        isave->EndChunk();
        return IO_OK;
    }
    IOResult Load(ILoad* iload) override {
        IOResult res = IO_OK;
        ULONG nr = 0;
        while ((res = iload->OpenChunk()) == IO_OK) {
            if (iload->CurChunkID() == PC_WEIGHTS_CHUNK) {
                int32_t n = 0;
                res = iload->Read(&n, sizeof(n), &nr);
                if (res == IO_OK &&
                    (n < 0 || uint64_t(n) * sizeof(float) + sizeof(n) != iload->CurChunkLength()))
                    res = IO_ERROR;
                if (res == IO_OK) {
                    targets_.assign(size_t(n), nullptr);
                    weights_.assign(size_t(n), 0.0f);
                    if (n > 0) res = iload->Read(weights_.data(), ULONG(sizeof(float) * size_t(n)), &nr);
                }
            } else if (iload->CurChunkID() == PC_LOCK_CHUNK) {
                int32_t locked = 0;
                res = iload->Read(&locked, sizeof(locked), &nr);
                mLocked = locked != 0;
            }
            iload->CloseChunk();
            if (res != IO_OK) return res;
        }
        return res == IO_END ? IO_OK : res;
    }

  protected:
    void SetReference(int i, RefTargetHandle rtarg) override {
        if (i >= 0 && i < int(targets_.size())) targets_[size_t(i)] = dynamic_cast<INode*>(rtarg);
    }

  private:
    friend class PosConstraintRestore;
    void RawInsert(int index, float weight) {
        targets_.insert(targets_.begin() + index, nullptr);
        weights_.insert(weights_.begin() + index, weight);
    }
    void RawErase(int index) {
        if (index < 0 || index >= int(targets_.size()) || targets_[size_t(index)]) return;
        targets_.erase(targets_.begin() + index);
        weights_.erase(weights_.begin() + index);
    }
    std::vector<INode*> targets_;
    std::vector<float> weights_;
};

PosConstraintRestore::PosConstraintRestore(PosConstraint* c, Op op, int index, float weight)
    : handle_(Animatable::GetHandleByAnim(c)), op_(op), index_(index), weight_(weight) {}

void PosConstraintRestore::Restore(int isUndo) {
    auto* c = dynamic_cast<PosConstraint*>(Animatable::GetAnimByHandle(handle_));
    if (c && isUndo && op_ == kWeight && index_ < int(c->weights_.size()))
        redoWeight_ = c->weights_[size_t(index_)];
    Do(false);
}

void PosConstraintRestore::Redo() { Do(true); }

void PosConstraintRestore::Do(bool forward) {
    auto* c = dynamic_cast<PosConstraint*>(Animatable::GetAnimByHandle(handle_));
    if (!c) return;
    switch (op_) {
    case kInsert:
    case kErase:
        if ((op_ == kInsert) == forward) {
            if (index_ >= 0 && index_ <= int(c->targets_.size())) c->RawInsert(index_, weight_);
        } else {
            c->RawErase(index_);
        }
        break;
    case kWeight:
        if (index_ >= 0 && index_ < int(c->weights_.size()))
            c->weights_[size_t(index_)] = forward ? redoWeight_ : weight_;
        break;
    }
    c->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

void RegisterConstraintClasses(host::ClassDirectory& dir) {
    ClassDesc* pc = KeepDesc(new StdClassDesc<PosConstraint>(L"Position Constraint", L"Position_Constraint",
                                                             CTRL_POSITION_CLASS_ID,
                                                             Class_ID(POSITION_CONSTRAINT_CLASS_ID, 0)));
    dir.AddClass(pc);
}

} // namespace host::ctrl
