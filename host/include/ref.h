// References and dependents: who owns whom in the scene, and how changes travel.
//
// A ReferenceMaker holds numbered references to ReferenceTargets; each target knows
// its dependents. The host releases a target when its last real dependent lets go,
// unless an undo record still needs it (it is released when that record goes).
#pragma once

#include <vector>
#include <functional>
#include "animtbl.h"

class ReferenceMaker;
class ReferenceTarget;
class RemapDir;
namespace host { class RefSwapRestore; }
typedef ReferenceTarget* RefTargetHandle;
typedef ReferenceMaker* RefMakerHandle;
typedef DWORD RefMessage;
typedef DWORD PartID;

enum RefResult { REF_FAIL = 0, REF_SUCCEED = 1, REF_DONTCARE = 2, REF_STOP = 3, REF_INVALID = 4 };
enum IOResult { IO_OK = 0, IO_END = 1, IO_ERROR = 2 };

// Messages.
constexpr RefMessage REFMSG_LOOPTEST = 0x00000010;
constexpr RefMessage REFMSG_TARGET_DELETED = 0x00000020;  // references to the target become null next
constexpr RefMessage REFMSG_MODAPP_DELETING = 0x00000021;
constexpr RefMessage REFMSG_EVAL = 0x00000030;
constexpr RefMessage REFMSG_RESET_ORIGIN = 0x00000040;
constexpr RefMessage REFMSG_CHANGE = 0x00000050;
constexpr RefMessage REFMSG_FLAGDEPENDENTS = 0x00000070;
constexpr RefMessage REFMSG_TARGET_SELECTIONCHANGE = 0x00000080;  // 128
constexpr RefMessage REFMSG_BEGIN_EDIT = 0x00000090;
constexpr RefMessage REFMSG_END_EDIT = 0x000000A0;
constexpr RefMessage REFMSG_DISABLE = 0x000000B0;
constexpr RefMessage REFMSG_ENABLE = 0x000000C0;
constexpr RefMessage REFMSG_TURNON = 0x000000D0;
constexpr RefMessage REFMSG_TURNOFF = 0x000000E0;
constexpr RefMessage REFMSG_NODE_NAMECHANGE = 0x000000F2;
constexpr RefMessage REFMSG_OBREF_CHANGE = 0x000000F5;
constexpr RefMessage REFMSG_NODE_LINK = 0x000000F8;
constexpr RefMessage REFMSG_CONTROLREF_CHANGE = 0x000000FD;
constexpr RefMessage REFMSG_NUMSUBOBJECTTYPES_CHANGED = 0x000000FE;
constexpr RefMessage REFMSG_SUBANIM_STRUCTURE_CHANGED = 0x00000102;  // 258
constexpr RefMessage REFMSG_REF_ADDED = 0x00000105;
constexpr RefMessage REFMSG_REF_DELETED = 0x00000106;
constexpr RefMessage REFMSG_TEST_DEPENDENCY = 0x00000107;  // 263
constexpr RefMessage REFMSG_INTERACTIVE_EDIT_STARTED = 0x00000140;   // 320
constexpr RefMessage REFMSG_INTERACTIVE_EDIT_FINISHED = 0x00000150;  // 336
constexpr RefMessage REFMSG_NODE_DISPLAY_PROP_CHANGED = 0x00000241;  // 577
constexpr RefMessage REFMSG_USER = 0x00010000;

// Parts.
constexpr PartID PART_TOPO = 1 << 0;
constexpr PartID PART_GEOM = 1 << 1;
constexpr PartID PART_TEXMAP = 1 << 2;
constexpr PartID PART_MTL = 1 << 3;
constexpr PartID PART_SELECT = 1 << 4;
constexpr PartID PART_SUBSEL_TYPE = 1 << 5;
constexpr PartID PART_DISPLAY = 1 << 6;
constexpr PartID PART_VERTCOLOR = 1 << 7;
constexpr PartID PART_GFX_DATA = 1 << 8;
constexpr PartID PART_DM_CHANNEL = 1 << 9;
constexpr PartID PART_TM_CHAN = 1 << 10;
constexpr PartID PART_MTL_CHAN = 1 << 11;
constexpr PartID PART_OBJECT_TYPE = 1 << 12;
constexpr PartID PART_HIDESTATE = 1 << 13;
constexpr PartID PART_TM = 1 << 24;
constexpr PartID PART_OBJ = PART_TOPO | PART_GEOM | PART_TEXMAP | PART_MTL | PART_SELECT | PART_SUBSEL_TYPE |
                           PART_DISPLAY | PART_VERTCOLOR | PART_GFX_DATA | PART_DM_CHANNEL;
constexpr PartID PART_ALL = 0xFFFFFFFF;
constexpr PartID PART_PUT_IN_FG = 1 << 0;
constexpr PartID PART_SHOW_DEPENDENCIES = 1 << 1;

// NotifyDependents: which super classes are told.
constexpr SClass_ID NOTIFY_ALL = 0xFFFFFFFF;

class DependentEnumProc {
public:
    virtual ~DependentEnumProc() = default;
    // Return DEP_ENUM_CONTINUE, DEP_ENUM_HALT or DEP_ENUM_SKIP (do not go below this maker).
    virtual int proc(ReferenceMaker* rmaker) = 0;
};
constexpr int DEP_ENUM_CONTINUE = 0;
constexpr int DEP_ENUM_HALT = 1;
constexpr int DEP_ENUM_SKIP = 2;

class ReferenceMaker : public Animatable {
public:
    ReferenceMaker() = default;
    ~ReferenceMaker() override;

    virtual int NumRefs() { return 0; }
    virtual RefTargetHandle GetReference(int i) { (void)i; return nullptr; }

    // Points slot `which` at newtarg, keeping dependents in step. While the hold is on,
    // records the swap. With delOld the old target is released once nothing needs it.
    // A maker that is itself a target then sends REFMSG_CHANGE to its dependents (undo and
    // redo of the swap do too): what it computes from the slot may have changed.
    RefResult ReplaceReference(int which, RefTargetHandle newtarg, BOOL delOld = TRUE);
    RefResult DeleteReference(int which);
    RefResult DeleteAllRefsFromMe();
    // Index of the first slot that refers to t, or -1.
    int FindRef(RefTargetHandle t);

    // Called with each message a target sends. Answer REF_STOP to stop propagation past this maker.
    virtual RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID,
                                       RefMessage message, BOOL propagate) = 0;

    // Whether the reference to `target` keeps it alive and carries dependency tests.
    virtual BOOL IsRealDependency(ReferenceTarget* target) { (void)target; return TRUE; }
    virtual BOOL IsRefTarget() { return FALSE; }

    // Scene file state of the object beyond its references.
    virtual IOResult Save(ISave* isave) { (void)isave; return IO_OK; }
    virtual IOResult Load(ILoad* iload) { (void)iload; return IO_OK; }

    // Called after a reference slot was set during load and after clone back-patching.
    virtual void RefAdded(RefMakerHandle rm) { (void)rm; }
    virtual void RefDeleted() {}

    // Sends REFMSG_TARGET_DELETED to dependents, drops every reference and deletes the object.
    void DeleteMe();

    // Internal: sets a slot with no bookkeeping beyond the dependents list (load, restore).
    void host_SetReferenceRaw(int which, RefTargetHandle t);

protected:
    // Stores the pointer. Only the host calls this, through ReplaceReference.
    virtual void SetReference(int i, RefTargetHandle rtarg) { (void)i; (void)rtarg; }

private:
    friend class ReferenceTarget;
    friend class host::RefSwapRestore;
    unsigned depTestEpoch_ = 0;  // last dependency test that reached this maker
    unsigned enumEpoch_ = 0;     // last dependents walk that visited this maker
};

class ReferenceTarget : public ReferenceMaker {
public:
    ReferenceTarget() = default;
    ~ReferenceTarget() override;

    BOOL IsRefTarget() override { return TRUE; }

    // Sends a message to every dependent; each may answer REF_STOP to keep it from going on
    // past itself. With propagate the dependents' own dependents are told as well.
    RefResult NotifyDependents(const Interval& changeInt, PartID partID, RefMessage message,
                               SClass_ID sclass = NOTIFY_ALL, BOOL propagate = TRUE,
                               RefTargetHandle hTarg = nullptr);
    // Calls proc on each dependent maker and, unless it answers skip, on theirs; returns 1 if halted.
    int DoEnumDependents(DependentEnumProc* dep);
    virtual int DoEnumDependentsImpl(DependentEnumProc* dep);

    // The makers that refer to this, one entry per slot.
    const std::vector<ReferenceMaker*>& Dependents() const { return dependents_; }
    int NumDependents() const { return static_cast<int>(dependents_.size()); }
    // Real dependents only (what keeps the target alive).
    int NumRealDependents();

    // Nulls every reference that points here (recorded while holding).
    RefResult DeleteAllRefsToMe();

    // True when `candidate` is this or depends on this: the cycle test. Clears
    // A_DEPENDENCY_TEST on candidate, sends REFMSG_TEST_DEPENDENCY to this object's
    // dependents, and answers whether the bit came back.
    bool DependsOn(ReferenceTarget* candidate);

    // A deep copy. Subclasses copy their own state, clone their references through
    // remap.CloneRef and call BaseClone.
    virtual ReferenceTarget* Clone(RemapDir& remap);
    virtual void BaseClone(ReferenceTarget* from, ReferenceTarget* to, RemapDir& remap);

    // Releases the object if nothing needs it: no real dependents, no undo record, no lock.
    // An object that was never referenced belongs to whoever made it and is left alone.
    void MaybeAutoDelete();

    // Undo records that still need the object keep it alive through these.
    void host_AddHoldLock() { ++holdLocks_; }
    void host_ReleaseHoldLock();
    int host_HoldLocks() const { return holdLocks_; }

private:
    friend class ReferenceMaker;
    void AddDependent(ReferenceMaker* m) {
        dependents_.push_back(m);
        everReferenced_ = true;
    }
    void RemoveDependent(ReferenceMaker* m);

    std::vector<ReferenceMaker*> dependents_;
    int holdLocks_ = 0;
    int notifyDepth_ = 0;
    bool everReferenced_ = false;
};

// Maps originals to clones while a clone is made, so shared objects stay shared.
class PostPatchProc {
public:
    virtual ~PostPatchProc() = default;
    virtual int Proc(RemapDir& remap) = 0;
};

class RemapDir {
public:
    RemapDir() = default;
    virtual ~RemapDir();
    // The clone of `oldTarg`, made on first use.
    virtual RefTargetHandle CloneRef(RefTargetHandle oldTarg);
    // The clone already made for `from`, or null.
    virtual RefTargetHandle FindMapping(RefTargetHandle from);
    virtual void AddEntry(RefTargetHandle hfrom, RefTargetHandle hto);
    // Fills *patchThis with the clone of *patchThis once it is known (at Backpatch), or leaves it.
    virtual void PatchPointer(RefTargetHandle* patchThis, RefTargetHandle oldTarg);
    // Runs after every clone of the operation exists; owns proc when toDelete.
    virtual void AddPostPatchProc(PostPatchProc* proc, bool toDelete);
    virtual void Backpatch();
    virtual void DeleteThis() { delete this; }

private:
    std::vector<std::pair<RefTargetHandle, RefTargetHandle>> map_;
    std::vector<std::pair<RefTargetHandle*, RefTargetHandle>> patches_;
    std::vector<std::pair<PostPatchProc*, bool>> procs_;
};

RemapDir& NewRemapDir(BOOL use_A_WORK1 = FALSE);
// Clones t with a fresh RemapDir, back-patching at the end.
ReferenceTarget* CloneRefHierarchy(ReferenceTarget* t);

// Suspends and resumes reference messages (host wide, nesting).
void DisableRefMsgs();
void EnableRefMsgs();
bool RefMsgsEnabled();
