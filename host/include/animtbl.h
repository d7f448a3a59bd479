// Animatable: the root of everything the host animates, shows as a track, or saves.
#pragma once

#include "maxtypes.h"
#include "strclass.h"
#include "tab.h"

class BaseInterface;
class ICustAttribContainer;
class IParamBlock2;
class ReferenceTarget;
class ISave;
class ILoad;
class AnimEnum;
class Animatable;
class IObjParam;
typedef Tab<TimeValue> TimeTab;

// Anim flags used by the host and the plug-in.
constexpr DWORD A_EVALUATING = 0x00000001;
constexpr DWORD A_NOTIFYDEP = 0x00000002;
constexpr DWORD A_CHILD_TREE_OPEN = 0x00000004;
constexpr DWORD A_SUBANIM_TREE_OPEN = 0x00000008;
constexpr DWORD A_LOCK_TARGET = 0x00000400;  // never auto-deleted
constexpr DWORD A_HELD = 0x00001000;         // has put its restore object in the current hold
constexpr DWORD A_IS_DELETED = 0x00008000;
constexpr DWORD A_PLUGIN1 = 0x00010000;
constexpr DWORD A_PLUGIN2 = 0x00020000;
constexpr DWORD A_PLUGIN3 = 0x00040000;
constexpr DWORD A_PLUGIN4 = 0x00080000;
constexpr DWORD A_DEPENDENCY_TEST = 0x04000000;  // set on everything a dependency test reaches

// BeginEditParams flags: which panel opens the editing. Controllers are edited from the
// motion panel (BEGIN_EDIT_MOTION) while their node is the only one selected.
constexpr ULONG BEGIN_EDIT_CREATE = 1 << 0;
constexpr ULONG BEGIN_EDIT_MOTION = 1 << 1;
constexpr ULONG BEGIN_EDIT_HIERARCHY = 1 << 2;
constexpr ULONG BEGIN_EDIT_IK = 1 << 3;
constexpr ULONG BEGIN_EDIT_LINKINFO = 1 << 4;
constexpr ULONG BEGIN_EDIT_SUPPRESS_SO = 1 << 5;
// EndEditParams flags: END_EDIT_REMOVEUI asks the editor to take its rollups down (the host
// always passes it; an editor never keeps rollups for the next one).
constexpr ULONG END_EDIT_REMOVEUI = 1 << 0;

// GetKeyTimes / key iteration flags.
constexpr DWORD KEYAT_POSITION = 1 << 0;
constexpr DWORD KEYAT_ROTATION = 1 << 1;
constexpr DWORD KEYAT_SCALE = 1 << 2;
constexpr DWORD NEXTKEY_LEFT = 1 << 0;
constexpr DWORD NEXTKEY_RIGHT = 1 << 1;
constexpr DWORD NEXTKEY_POS = 1 << 2;
constexpr DWORD NEXTKEY_ROT = 1 << 3;
constexpr DWORD NEXTKEY_SCALE = 1 << 4;
constexpr DWORD TIMERANGE_ALL = 1 << 0;
constexpr DWORD TIMERANGE_SELONLY = 1 << 1;
constexpr DWORD TIMERANGE_CHILDNODES = 1 << 2;
constexpr DWORD TIMERANGE_CHILDANIMS = 1 << 3;

// Flags of AddNewKey.
constexpr DWORD ADDKEY_SELECT = 1 << 0;
constexpr DWORD ADDKEY_INTERP = 1 << 1;  // the new key takes the curve's value at t
constexpr DWORD ADDKEY_FLAGGED = 1 << 2;

// SelectKeys flags.
constexpr DWORD SELKEYS_SELECT = 1 << 0;
constexpr DWORD SELKEYS_DESELECT = 1 << 1;
constexpr DWORD SELKEYS_CLEARKEYS = 1 << 2;
constexpr DWORD SELKEYS_CLEARCURVE = 1 << 3;

// MoveKeys / DeleteKeys / MapKeys flags.
constexpr DWORD TRACK_DOSEL = 1 << 0;
constexpr DWORD TRACK_DOALL = 1 << 1;
constexpr DWORD TRACK_SLIDEUNSEL = 1 << 2;
constexpr DWORD TRACK_RIGHTTOLEFT = 1 << 3;
constexpr DWORD TRACK_DOSUBANIMS = 1 << 4;
constexpr DWORD TRACK_DOCHILDNODES = 1 << 5;
constexpr DWORD TRACK_MAPRANGE = 1 << 6;

// Maps a key time to a new one (scale, offset, snap).
class TimeMap {
public:
    virtual ~TimeMap() = default;
    virtual TimeValue map(TimeValue t) = 0;
    virtual TimeValue prevmap(TimeValue t) = 0;
};

class AnimEnum {
public:
    explicit AnimEnum(int s = 0) : scope(s) {}
    virtual ~AnimEnum() = default;
    // Return ANIM_ENUM_PROCEED, ANIM_ENUM_STOP or ANIM_ENUM_ABORT.
    virtual int proc(Animatable* anim, Animatable* client, int subNum) = 0;
    int scope;
};
constexpr int ANIM_ENUM_PROCEED = 0;
constexpr int ANIM_ENUM_STOP = 1;
constexpr int ANIM_ENUM_ABORT = 2;

class Animatable {
public:
    Animatable();
    virtual ~Animatable();
    Animatable(const Animatable&) = delete;
    Animatable& operator=(const Animatable&) = delete;

    // Deletes the object; scene objects are released by the host, never deleted by hand.
    virtual void DeleteThis() { delete this; }

    virtual SClass_ID SuperClassID() = 0;
    virtual Class_ID ClassID() = 0;
    // The display name; non-localised is the script name.
    virtual void GetClassName(MSTR& s, bool localized = true) const;
    virtual MSTR ClassName(bool localized = true) const;

    // Sub-anims: the tracks the host shows below this object.
    virtual int NumSubs() { return 0; }
    virtual Animatable* SubAnim(int i) { (void)i; return nullptr; }
    virtual MSTR SubAnimName(int i, bool localized = true) { (void)i; (void)localized; return MSTR(); }
    // The reference slot of a sub-anim, or -1.
    virtual int SubNumToRefNum(int subNum) { (void)subNum; return -1; }
    virtual BOOL CanAssignController(int subAnim) { (void)subAnim; return FALSE; }
    virtual BOOL AssignController(Animatable* control, int subAnim) { (void)control; (void)subAnim; return FALSE; }
    virtual BOOL IsAnimated() { return FALSE; }
    virtual BOOL IsKeyable() { return FALSE; }
    virtual BOOL IsLeaf() { return FALSE; }
    virtual BOOL IsReplaceable() { return TRUE; }
    virtual BOOL BypassTreeView() { return FALSE; }
    // Walks this object and its sub-anims depth first; returns the last proc result.
    int EnumAnimTree(AnimEnum* animEnum, Animatable* client, int subNum);

    // Interfaces by id; null when not offered.
    // Editing in the command panel: BeginEditParams adds the editor's rollups through
    // ip->AddRollupPage, EndEditParams removes them (ip->DeleteRollupPage). prev and next are
    // the objects edited before and after, or null. Every Begin is followed by exactly one End.
    virtual void BeginEditParams(IObjParam* ip, ULONG flags, Animatable* prev) { (void)ip; (void)flags; (void)prev; }
    virtual void EndEditParams(IObjParam* ip, ULONG flags, Animatable* next) { (void)ip; (void)flags; (void)next; }

    virtual BaseInterface* GetInterface(Interface_ID id);
    virtual void* GetInterface(ULONG id);
    virtual int NumInterfaces() const { return 0; }

    // Parameter blocks (ParamBlockDesc2 blocks) of the object, for scripts and tools that reach
    // parameters by name; none by default. Null for an index or id it does not have.
    virtual int NumParamBlocks() { return 0; }
    virtual IParamBlock2* GetParamBlock(int i) { (void)i; return nullptr; }
    virtual IParamBlock2* GetParamBlockByID(BlockID id) { (void)id; return nullptr; }

    // Custom attributes; the container exists once something was attached.
    ICustAttribContainer* GetCustAttribContainer() { return aCustAttrib; }
    void AllocCustAttribContainer();
    void DeleteCustAttribContainer();

    // Keys. Defaults describe an object without keys.
    virtual int NumKeys() { return 0; }
    virtual TimeValue GetKeyTime(int index) { (void)index; return 0; }
    virtual int GetKeyIndex(TimeValue t) { (void)t; return -1; }
    // Finds the next key after (NEXTKEY_RIGHT) or before (NEXTKEY_LEFT) t; FALSE when none.
    virtual BOOL GetNextKeyTime(TimeValue t, DWORD flags, TimeValue& nt);
    virtual void CopyKeysFromTime(TimeValue src, TimeValue dst, DWORD flags) { (void)src; (void)dst; (void)flags; }
    virtual void DeleteKeyAtTime(TimeValue t) { (void)t; }
    virtual BOOL IsKeyAtTime(TimeValue t, DWORD flags) { (void)t; (void)flags; return FALSE; }
    virtual int GetKeyTimes(Tab<TimeValue>& times, Interval range, DWORD flags);
    virtual void MoveKeys(TimeValue delta, DWORD flags) { (void)delta; (void)flags; }
    virtual void MapKeys(TimeMap* map, DWORD flags) { (void)map; (void)flags; }
    virtual void DeleteKeys(DWORD flags) { (void)flags; }
    virtual void DeleteTime(Interval iv, DWORD flags) { (void)iv; (void)flags; }
    virtual void SelectKeys(Interval range, DWORD flags) { (void)range; (void)flags; }
    virtual BOOL IsKeySelected(int index) { (void)index; return FALSE; }
    virtual int NumSelKeys() { return 0; }
    virtual void AddNewKey(TimeValue t, DWORD flags) { (void)t; (void)flags; }
    virtual Interval GetTimeRange(DWORD flags) { (void)flags; return NEVER; }
    virtual void EditTimeRange(Interval range, DWORD flags) { (void)range; (void)flags; }

    // Anim flags.
    void SetAFlag(DWORD mask) { aflag |= mask; }
    void ClearAFlag(DWORD mask) { aflag &= ~mask; }
    bool TestAFlag(DWORD mask) const { return (aflag & mask) != 0; }
    DWORD GetAFlags() const { return aflag; }

    // Handles are unique for the life of the process and never reused.
    static AnimHandle GetHandleByAnim(Animatable* anim);
    static Animatable* GetAnimByHandle(AnimHandle handle);
    AnimHandle GetHandle() const { return handle_; }

    // How many Animatables are alive now (for leak checks in tests).
    static long LiveCount();

protected:
    ICustAttribContainer* aCustAttrib = nullptr;

private:
    DWORD aflag = 0;
    AnimHandle handle_;
};

