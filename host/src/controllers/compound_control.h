// CompoundControl: a controller made of sub-controllers held as references (Euler XYZ,
// Position XYZ, Scale XYZ, PRS, lists). Sub-anim i is reference i. Key calls go to the
// sub-controllers, so the compound shows the union of their keys.
#pragma once

#include <algorithm>
#include <cstring>
#include <vector>

#include "control.h"
#include "hold.h"
#include "iosave.h"

namespace host::ctrl {

constexpr USHORT COMPOUND_LOCK_CHUNK = 0x0200;

class CompoundControl : public Control, public ILockedTrackImp {
  public:
    explicit CompoundControl(int count) : subs_(size_t(count), nullptr) {}

    // The super class a sub-controller in slot i must have.
    virtual SClass_ID SubSuperClass(int i) = 0;
    virtual MSTR SubName(int i) = 0;

    int NumRefs() override { return int(subs_.size()); }
    RefTargetHandle GetReference(int i) override { return Sub(i); }
    int NumSubs() override { return int(subs_.size()); }
    Animatable* SubAnim(int i) override { return Sub(i); }
    MSTR SubAnimName(int i, bool) override { return i >= 0 && i < NumSubs() ? SubName(i) : MSTR(); }
    int SubNumToRefNum(int subNum) override { return subNum >= 0 && subNum < NumSubs() ? subNum : -1; }
    BOOL CanAssignController(int subAnim) override {
        return subAnim >= 0 && subAnim < NumSubs() ? TRUE : FALSE;
    }
    // Any controller of the slot's super class; refused for a wrong super class or a cycle.
    BOOL AssignController(Animatable* control, int subAnim) override {
        auto* c = dynamic_cast<Control*>(control);
        if (!c || subAnim < 0 || subAnim >= NumSubs() || c->SuperClassID() != SubSuperClass(subAnim))
            return FALSE;
        if (ReplaceReference(subAnim, c) != REF_SUCCEED) return FALSE;
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CONTROLREF_CHANGE);
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
        return TRUE;
    }
    // Whatever a sub-controller announces may have changed what it answers.
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage msg, BOOL) override {
        if (msg != REFMSG_TEST_DEPENDENCY) DropCache();
        return REF_SUCCEED;
    }

    BOOL IsAnimated() override {
        for (Control* c : subs_)
            if (c && c->IsAnimated()) return TRUE;
        return FALSE;
    }
    BOOL IsReplaceable() override { return GetLocked() ? FALSE : TRUE; }

    // ---- Keys: the union of the sub-controllers' key times.
    int NumKeys() override {
        std::vector<TimeValue> t = KeyTimes();
        return int(t.size());
    }
    TimeValue GetKeyTime(int index) override {
        std::vector<TimeValue> t = KeyTimes();
        return index >= 0 && index < int(t.size()) ? t[size_t(index)] : 0;
    }
    int GetKeyIndex(TimeValue t) override {
        std::vector<TimeValue> times = KeyTimes();
        auto it = std::find(times.begin(), times.end(), t);
        return it == times.end() ? -1 : int(it - times.begin());
    }
    BOOL IsKeyAtTime(TimeValue t, DWORD flags) override {
        for (Control* c : subs_)
            if (c && c->IsKeyAtTime(t, flags)) return TRUE;
        return FALSE;
    }
    int GetKeyTimes(Tab<TimeValue>& times, Interval range, DWORD flags) override {
        (void)flags;
        for (TimeValue t : KeyTimes())
            if (range.InInterval(t)) times.push_back(t);
        return times.Count();
    }
    void AddNewKey(TimeValue t, DWORD flags) override {
        ForSubs([&](Control* c) { c->AddNewKey(t, flags); });
    }
    void DeleteKeyAtTime(TimeValue t) override {
        ForSubs([&](Control* c) { c->DeleteKeyAtTime(t); });
    }
    void DeleteKeys(DWORD flags) override {
        ForSubs([&](Control* c) { c->DeleteKeys(flags); });
    }
    void MoveKeys(TimeValue delta, DWORD flags) override {
        ForSubs([&](Control* c) { c->MoveKeys(delta, flags); });
    }
    void MapKeys(TimeMap* map, DWORD flags) override {
        ForSubs([&](Control* c) { c->MapKeys(map, flags); });
    }
    void SelectKeys(Interval range, DWORD flags) override {
        for (Control* c : subs_)
            if (c) c->SelectKeys(range, flags);
    }
    void CopyKeysFromTime(TimeValue src, TimeValue dst, DWORD flags) override {
        ForSubs([&](Control* c) { c->CopyKeysFromTime(src, dst, flags); });
    }
    void DeleteTime(Interval iv, DWORD flags) override {
        ForSubs([&](Control* c) { c->DeleteTime(iv, flags); });
    }
    Interval GetTimeRange(DWORD flags) override {
        Interval r = NEVER;
        for (Control* c : subs_) {
            if (!c) continue;
            Interval s = c->GetTimeRange(flags);
            if (s.Empty()) continue;
            r += s.Start();
            r += s.End();
        }
        return r;
    }
    void CommitValue(TimeValue t) override {
        ForSubs([&](Control* c) { c->CommitValue(t); });
    }
    void RestoreValue(TimeValue t) override {
        ForSubs([&](Control* c) { c->RestoreValue(t); });
    }

    IOResult Save(ISave* isave) override {
        ULONG nw = 0;
        isave->BeginChunk(COMPOUND_LOCK_CHUNK);
        const int32_t locked = mLocked ? 1 : 0;
        isave->Write(&locked, sizeof(locked), &nw);
        isave->EndChunk();
        return IO_OK;
    }

  protected:
    Control* Sub(int i) const { return i >= 0 && i < int(subs_.size()) ? subs_[size_t(i)] : nullptr; }
    // Every slot change passes here: replacement, its undo and redo, load, a deleted target.
    void SetReference(int i, RefTargetHandle rtarg) override {
        if (i >= 0 && i < int(subs_.size())) subs_[size_t(i)] = dynamic_cast<Control*>(rtarg);
        DropCache();
    }
    // Forgets a cached value; controllers that keep one override this.
    virtual void DropCache() {}
    // Loads the chunk CompoundControl wrote; false for another chunk.
    bool LoadCompoundChunk(ILoad* iload, IOResult& res) {
        if (iload->CurChunkID() != COMPOUND_LOCK_CHUNK) return false;
        int32_t locked = 0;
        ULONG nr = 0;
        res = iload->Read(&locked, sizeof(locked), &nr);
        mLocked = locked != 0;
        return true;
    }
    // Load of a compound that saves nothing of its own: the lock chunk, other chunks skipped.
    IOResult LoadCompoundChunks(ILoad* iload) {
        IOResult res = IO_OK;
        while ((res = iload->OpenChunk()) == IO_OK) {
            LoadCompoundChunk(iload, res);
            iload->CloseChunk();
            if (res != IO_OK) return res;
        }
        return res == IO_END ? IO_OK : res;
    }
    // Clones every sub-controller into `to` (same slots) and the lock.
    void CloneSubsInto(CompoundControl* to, RemapDir& remap) {
        to->mLocked = mLocked;
        for (int i = 0; i < NumRefs() && i < to->NumRefs(); ++i)
            to->ReplaceReference(i, remap.CloneRef(Sub(i)));
    }
    // Key edits on locked tracks are refused here, before they reach the sub-controllers.
    template <class F> void ForSubs(F&& f) {
        if (GetLocked()) return;
        for (Control* c : subs_)
            if (c) f(c);
    }
    std::vector<TimeValue> KeyTimes() {
        Tab<TimeValue> all;
        for (Control* c : subs_)
            if (c) c->GetKeyTimes(all, FOREVER, 0);
        std::vector<TimeValue> t(all.begin(), all.end());
        std::sort(t.begin(), t.end());
        t.erase(std::unique(t.begin(), t.end()), t.end());
        return t;
    }

    std::vector<Control*> subs_;
};

} // namespace host::ctrl
