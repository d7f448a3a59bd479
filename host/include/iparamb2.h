// Parameter blocks: ParamBlockDesc2 describes a class's parameters once; IParamBlock2 holds
// one object's values.
//
// Units: angles in radians, percent fractions as fractions (1.0 is 100%), times in ticks,
// indexes 0-based. Scripts see angles in degrees, percent fractions in percent and indexes
// 1-based; the conversion happens at the script boundary (host::PBToScript / PBFromScript in
// ifnpub.h), never in the block.
//
// Scene file layout of a block (chunk ids are the block's own):
//   0x0100 header   data: owner super class (u32), owner class id (u32, u32), block id (i32),
//                         descriptor version (i32), number of parameter chunks (i32)
//   0x0200 param    container, one per saved parameter:
//     0x0210 head   data: param id (i16), type (i32), entry count (i32)
//     0x0220 values data: the entries in order; float types f32, int types i32, point2/3/4 and
//                         colours 2/3/4 f32, matrix3 12 f32 (rows), P_NO_REF pointers i32 file
//                         index (-1 for null); reference entries and controllers write nothing
//                         (the scene file restores them through the reference slots)
//     0x0230 string one per entry of a string or filename parameter (WriteWString)
// Transient parameters are not saved. Load matches parameters by id: an unknown id is skipped,
// a missing one keeps its default, so blocks of an older descriptor version load.
//
// Reference slots: one per entry of every parameter, numbered through the parameters in block
// order and through each table in index order. An animatable entry's slot holds its controller;
// a reference type's slot (without P_NO_REF) its target; other slots stay empty. Table edits
// renumber the slots after the edited entries.
#pragma once

#include <cstdarg>
#include <memory>
#include <vector>

#include "paramtype.h"
#include "ref.h"
#include "iplugin.h"
#include "control.h"
#include "point2.h"
#include "point4.h"
#include "color.h"

class INode;
class Mtl;
class Texmap;
class PBBitmap;
class IParamBlock2;
class ParamBlockDesc2;
class ParamMap2UserDlgProc;
class ParamDimension;
class FPValue;
namespace host {
class ParamPlaceholder;
class PBRestore;
}  // namespace host

// Parameter flags.
constexpr int P_ANIMATABLE = 0x00000001;      // has a controller when animated; a track
constexpr int P_TRANSIENT = 0x00000002;       // not saved
constexpr int P_NO_INIT = 0x00000004;         // left alone by ResetAll
constexpr int P_COMPUTED_NAME = 0x00000008;
constexpr int P_INVISIBLE = 0x00000010;       // no track-view entry
constexpr int P_RESET_DEFAULT = 0x00000020;   // a user's last value never becomes the default
constexpr int P_SUBANIM = 0x00000040;         // a reference target shown as a sub-anim
constexpr int P_TV_SHOW_ALL = 0x00000080;
constexpr int P_NO_REF = 0x00000100;          // inode/reftarg held as a plain pointer, no reference
constexpr int P_OWNERS_REF = 0x00000200;      // the target is referenced by the owner (p_refno)
constexpr int P_CAN_CONVERT = 0x00000400;
constexpr int P_SUBTEX = 0x00000800;
constexpr int P_VARIABLE_SIZE = 0x00001000;   // a table the user (script, UI) may resize
constexpr int P_NO_AUTO_LABELS = 0x00002000;
constexpr int P_SHORT_LABELS = 0x00004000;
constexpr int P_READ_ONLY = 0x00008000;       // scripts and UI may read, not write
constexpr int P_OBSOLETE = 0x00010000;        // kept to load old files; not shown, not saved

// Block flags (ParamBlockDesc2::flags).
constexpr USHORT P_CLASS_PARAMS = 0x0001;
constexpr USHORT P_AUTO_CONSTRUCT = 0x0002;  // MakeAutoParamBlocks builds it into ref_no
constexpr USHORT P_AUTO_UI = 0x0004;
constexpr USHORT P_USE_PARAMS = 0x0008;
constexpr USHORT P_INCLUDE_PARAMS = 0x0010;
constexpr USHORT P_SCRIPTED_CLASS = 0x0020;
constexpr USHORT P_TEMPLATE_UI = 0x0040;
constexpr USHORT P_CALLSETS_ON_LOAD = 0x0080;
constexpr USHORT P_HASCATEGORY = 0x0100;
constexpr USHORT P_MULTIMAP = 0x0200;
constexpr USHORT P_VERSION = 0x0400;

// Tags of the descriptor's argument lists. Negative and far from any id or value, so a list
// can tell a tag from the next parameter id.
enum ParamTags : int {
    p_end = -0x40000000,
    p_default,      // value of the parameter's type
    p_ms_default,   // the default scripts see (same type)
    p_range,        // low, high of the parameter's type (int types int, float types float)
    p_ui,           // [MapID if P_MULTIMAP,] ControlType2, then as the control type needs (see below)
    p_validator,    // PBValidator*
    p_accessor,     // PBAccessor*
    p_dim,          // ParamDimension*
    p_classID,      // Class_ID: what a reftarg parameter accepts
    p_sclassID,     // SClass_ID: what a reftarg parameter accepts
    p_enabled,      // BOOL
    p_prompt,       // StringResID
    p_caption,      // StringResID
    p_init_file,    // const MCHAR*
    p_file_types,   // StringResID
    p_refno,        // int: the owner's reference slot for P_OWNERS_REF
    p_subtexno,     // int
    p_submtlno,     // int
    p_tabsize,      // int: initial table size
    p_tabsizevar,   // int: initial table size; also marks the table P_VARIABLE_SIZE
    p_vals,         // radio button values: one int per button of the p_ui
    p_tooltip,      // StringResID
    p_assetTypeID,  // int
    p_nonLocalizedName,  // const MCHAR*: replaces the script name
};

// UI control kinds of p_ui. What follows the kind in the list:
//   TYPE_SPINNER, TYPE_SLIDER: EditSpinnerType, then one (edit, spinner) id pair per component
//     (3 for point3 and colours, 4 for point4, 2 for point2), then a float scale
//   TYPE_RADIO: int count, then count ids
//   TYPE_INTLISTBOX: int id, int count, then count StringResIDs
//   TYPE_NODELISTBOX: list id, add id, replace id, delete id
//   every other kind: one control id
// The Qt frame binds widgets by script name; the ids are kept for inspection only.
enum ControlType2 : int {
    TYPE_SPINNER = 0,
    TYPE_RADIO,
    TYPE_SINGLECHEKBOX,
    TYPE_MULTICHEKBOX,
    TYPE_COLORSWATCH,
    TYPE_EDITBOX,
    TYPE_CHECKBUTTON,
    TYPE_PICKNODEBUTTON,
    TYPE_TEXMAPBUTTON,
    TYPE_MTLBUTTON,
    TYPE_BITMAPBUTTON,
    TYPE_FILEOPENBUTTON,
    TYPE_FILESAVEBUTTON,
    TYPE_INTLISTBOX,
    TYPE_BUTTON,
    TYPE_SLIDER,
    TYPE_NODELISTBOX,
    TYPE_COLORSWATCH_FRGBA,
    TYPE_CONTROL_NONE = -1,
};
enum EditSpinnerType : int { EDITTYPE_INT = 1, EDITTYPE_FLOAT, EDITTYPE_UNIVERSE, EDITTYPE_POS_INT,
                             EDITTYPE_POS_FLOAT, EDITTYPE_POS_UNIVERSE, EDITTYPE_TIME };
constexpr float SPIN_AUTOSCALE = -1.0f;

// One value of a block. Which member holds it follows the parameter's type: f for float
// types, i for int types (bool, index, timevalue), p4 for point2 (x, y), point3 and rgba
// (x, y, z) and point4 / frgba, m for matrix3, s for string and filename, r for inode,
// reftarg, mtl, texmap and pblock2. control is the entry's controller, or null.
struct PB2Value {
    float f = 0.0f;
    int i = 0;
    Point4 p4;
    Matrix3 m;
    MSTR s;
    ReferenceTarget* r = nullptr;
    Control* control = nullptr;

    Point3 p3() const { return Point3(p4.x, p4.y, p4.z); }
    Point2 p2() const { return Point2(p4.x, p4.y); }
};

// Table change codes of PBAccessor::TabChanged.
enum tab_changes { tab_insert, tab_append, tab_delete, tab_ref_deleted, tab_setcount, tab_sort };

// Called on every read and write of a parameter: Get after the block produced the value (it
// may change it and narrow valid), Set before the block stores it (it may change v).
class PBAccessor {
public:
    virtual ~PBAccessor() = default;
    virtual void Get(PB2Value& v, ReferenceMaker* owner, ParamID id, int tabIndex, TimeValue t, Interval& valid) {
        (void)v; (void)owner; (void)id; (void)tabIndex; (void)t; (void)valid;
    }
    virtual void Set(PB2Value& v, ReferenceMaker* owner, ParamID id, int tabIndex, TimeValue t) {
        (void)v; (void)owner; (void)id; (void)tabIndex; (void)t;
    }
    // After a table edit: tabIndex is the first entry touched and count how many.
    virtual void TabChanged(tab_changes changeCode, Tab<PB2Value>* tab, ReferenceMaker* owner, ParamID id,
                            int tabIndex, int count) {
        (void)changeCode; (void)tab; (void)owner; (void)id; (void)tabIndex; (void)count;
    }
    virtual BOOL KeyFrameAtTime(ReferenceMaker* owner, ParamID id, int tabIndex, TimeValue t) {
        (void)owner; (void)id; (void)tabIndex; (void)t;
        return FALSE;
    }
    virtual void DeleteThis() {}
};

// Decides whether a value may be set or picked; a refusal leaves the parameter as it was.
class PBValidator {
public:
    virtual ~PBValidator() = default;
    virtual BOOL Validate(PB2Value& v) = 0;
    virtual BOOL Validate(PB2Value& v, ReferenceMaker* owner, ParamID id, int tabIndex) {
        (void)owner; (void)id; (void)tabIndex;
        return Validate(v);
    }
    virtual void DeleteThis() {}
};

// One parameter of a descriptor.
struct ParamDef {
    ParamID ID = -1;
    MSTR int_name;                 // script name; may be empty or contain a blank
    ParamType2 type = TYPE_VOID;
    int flags = 0;
    StringResID local_name = 0;    // display name in the class's string table; 0 for none
    PB2Value def;                  // default of a new entry
    PB2Value ms_def;               // default that scripts see
    PB2Value range_low, range_high;
    bool has_default = false, has_ms_default = false, has_range = false;
    PBAccessor* accessor = nullptr;
    PBValidator* validator = nullptr;
    ParamDimension* dim = nullptr;
    int tab_size = 0;              // entries of a new table
    SClass_ID sclassID = 0;
    Class_ID classID = Class_ID(0, 0);
    int refno = -1;                // P_OWNERS_REF slot
    // UI description (p_ui); the Qt frame binds by script name instead.
    ControlType2 ctrl_type = TYPE_CONTROL_NONE;
    MapID maxmap = 0;
    std::vector<int> ctrl_IDs;
    float spin_scale = SPIN_AUTOSCALE;
    std::vector<int> vals;
    MSTR init_file;
    StringResID prompt = 0, caption = 0, file_types = 0, tooltip = 0;
    BOOL enabled = TRUE;
};

// A rollout of an auto-UI block (P_AUTO_UI).
struct ParamMapInfo {
    MapID map_id = 0;
    int dlg_template = 0;
    StringResID title = 0;
    int test_flags = 0;
    int rollup_flags = 0;
    ParamMap2UserDlgProc* proc = nullptr;
};

// A class's block description. Declared as a global next to its ClassDesc2; the constructor
// registers it with cd and touches no other host service, so it is safe during static
// initialisation. Parameters keep the order they are given in (ids are sparse).
class ParamBlockDesc2 {
public:
    // The descriptor's own fields, then (per flags) version if P_VERSION, the owner's reference
    // slot if P_AUTO_CONSTRUCT, the rollouts if P_AUTO_UI (dialog, title, test flags, rollup
    // flags, proc; with P_MULTIMAP a count first and a MapID before each), a category if
    // P_HASCATEGORY; then per parameter: id, script name, type, [table size if a TAB type],
    // flags, display name id, tags ..., p_end; and a final p_end.
    ParamBlockDesc2(BlockID id, const MCHAR* int_name, StringResID local_name, ClassDesc2* cd, USHORT flags, ...);
    // An empty descriptor: Define it, then AddParam.
    ParamBlockDesc2();
    // Sets the block's own fields and registers with cd; for descriptors built without a list.
    void Define(BlockID id, const MCHAR* int_name, StringResID local_name, ClassDesc2* cd, USHORT flags,
                int version = 0, int ref_no = 0);
    ~ParamBlockDesc2();
    ParamBlockDesc2(const ParamBlockDesc2&) = delete;
    ParamBlockDesc2& operator=(const ParamBlockDesc2&) = delete;

    // Adds one parameter from the tag list (id, name, type, [tab size], flags, name id, tags, p_end).
    void AddParam(ParamID id, ...);
    // Adds one parameter without tags; set options with ParamOption or the Set* calls. Answers
    // the new definition (valid until the next AddParam or DeleteParam).
    ParamDef& AddParam(ParamID id, const MCHAR* int_name, ParamType2 type, int flags, StringResID local_name);
    // Sets one tag of an existing parameter: ParamOption(id, p_range, 0.0f, 1.0f).
    void ParamOption(ParamID id, int option_tag, ...);
    void DeleteParam(ParamID id);

    void SetDefault(ParamID id, float v);
    void SetDefault(ParamID id, int v);
    void SetDefault(ParamID id, const Point2& v);
    void SetDefault(ParamID id, const Point3& v);
    void SetDefault(ParamID id, const Point4& v);
    void SetDefault(ParamID id, const Color& v);
    void SetDefault(ParamID id, const AColor& v);
    void SetDefault(ParamID id, const Matrix3& v);
    void SetDefault(ParamID id, const MCHAR* v);
    void SetRange(ParamID id, float low, float high);
    void SetRange(ParamID id, int low, int high);
    void SetAccessor(ParamID id, PBAccessor* accessor);
    void SetValidator(ParamID id, PBValidator* validator);
    void SetTabSize(ParamID id, int size);
    void SetClassID(ParamID id, Class_ID cid);
    void SetSClassID(ParamID id, SClass_ID sid);

    int Count() const { return static_cast<int>(paramdefs.size()); }
    // Index in block order, or -1.
    int IDtoIndex(ParamID id) const {
        return id >= 0 && id < static_cast<int>(idMap_.size()) ? idMap_[static_cast<size_t>(id)] : -1;
    }
    // -1 for a bad index.
    ParamID IndextoID(int i) const {
        return i >= 0 && i < Count() ? paramdefs[static_cast<size_t>(i)].ID : static_cast<ParamID>(-1);
    }
    // The definition; a definition with ID -1 and TYPE_VOID for an unknown id.
    ParamDef& GetParamDef(ParamID id);
    // By script name, ignoring case; -1 when none. An empty name never matches.
    int NameToIndex(const MCHAR* name) const;
    // Display name from the class's string table (ClassDesc2::GetRsrcString), else the script
    // name; a table entry's name has its 1-based number appended ("Weight 2").
    MSTR GetLocalName(ParamID id, int tabIndex = -1) const;
    // The block's display name, by the same rule.
    MSTR GetLocalName() const;

    BlockID ID = 0;
    MSTR int_name;
    StringResID local_name = 0;
    ClassDesc2* cd = nullptr;
    USHORT flags = 0;
    int version = 0;
    int ref_no = 0;           // the owner's reference slot of an auto-constructed block
    int category = 0;
    std::vector<ParamMapInfo> maps;
    std::vector<ParamDef> paramdefs;

private:
    void Init(BlockID id, const MCHAR* name, StringResID local, ClassDesc2* classDesc, USHORT fl);
    void ParseParams(va_list* ap);
    void ParseOneParam(ParamID id, va_list* ap);
    void ParseTag(ParamDef& pd, int tag, va_list* ap);
    void RebuildIdMap();
    std::vector<short> idMap_;
};

// One object's parameter values: a reference target owned (referenced) by its owner.
// Gets answer FALSE (or the type's empty value) for an unknown id, a wrong type or a bad
// table index and leave the out value alone. Sets answer FALSE in the same cases, and when the
// validator refuses; then nothing changes. Every change is undoable while theHold is holding
// and tells the owner REFMSG_CHANGE with LastNotifyParamID set to the parameter.
class IParamBlock2 : public ReferenceTarget {
public:
    IParamBlock2(ParamBlockDesc2* desc, ReferenceMaker* owner);
    ~IParamBlock2() override;

    // Identity.
    SClass_ID SuperClassID() override { return PARAMETER_BLOCK2_CLASS_ID; }
    Class_ID ClassID() override;
    BlockID ID() const { return desc_ ? desc_->ID : -1; }
    ParamBlockDesc2* GetDesc() const { return desc_; }
    int GetVersion() const { return desc_ ? desc_->version : 0; }
    ReferenceMaker* GetOwner() const { return owner_; }
    void SetOwner(ReferenceMaker* owner) { owner_ = owner; }
    MSTR GetLocalName() const { return desc_ ? desc_->GetLocalName() : MSTR(); }

    // Parameters.
    int NumParams() const { return desc_ ? desc_->Count() : 0; }
    ParamID IndextoID(int i) const { return desc_ ? desc_->IndextoID(i) : static_cast<ParamID>(-1); }
    int IDtoIndex(ParamID id) const { return desc_ ? desc_->IDtoIndex(id) : -1; }
    ParamDef& GetParamDef(ParamID id);
    ParamType2 GetParameterType(ParamID id);
    MSTR GetLocalName(ParamID id, int tabIndex = -1) { return desc_ ? desc_->GetLocalName(id, tabIndex) : MSTR(); }

    // Reads at time t; valid is narrowed by the controller (a constant leaves it alone).
    // Numbers convert between int and float types (ints round to nearest); colours and
    // point3 read each other.
    BOOL GetValue(ParamID id, TimeValue t, float& v, Interval& valid, int tabIndex = 0);
    BOOL GetValue(ParamID id, TimeValue t, int& v, Interval& valid, int tabIndex = 0);
    BOOL GetValue(ParamID id, TimeValue t, Point2& v, Interval& valid, int tabIndex = 0);
    BOOL GetValue(ParamID id, TimeValue t, Point3& v, Interval& valid, int tabIndex = 0);
    BOOL GetValue(ParamID id, TimeValue t, Point4& v, Interval& valid, int tabIndex = 0);
    BOOL GetValue(ParamID id, TimeValue t, Color& v, Interval& valid, int tabIndex = 0);
    BOOL GetValue(ParamID id, TimeValue t, AColor& v, Interval& valid, int tabIndex = 0);
    BOOL GetValue(ParamID id, TimeValue t, Matrix3& v, Interval& valid, int tabIndex = 0);
    // Strings stay valid until the entry changes or is read again. A filename reads as a full
    // path.
    BOOL GetValue(ParamID id, TimeValue t, const MCHAR*& v, Interval& valid, int tabIndex = 0);
    BOOL GetValue(ParamID id, TimeValue t, MSTR& v, Interval& valid, int tabIndex = 0);
    BOOL GetValue(ParamID id, TimeValue t, INode*& v, Interval& valid, int tabIndex = 0);
    BOOL GetValue(ParamID id, TimeValue t, ReferenceTarget*& v, Interval& valid, int tabIndex = 0);
    BOOL GetValue(ParamID id, TimeValue t, Mtl*& v, Interval& valid, int tabIndex = 0);
    BOOL GetValue(ParamID id, TimeValue t, IParamBlock2*& v, Interval& valid, int tabIndex = 0);
    // Any type, tagged with the parameter's type (native units).
    BOOL GetValue(ParamID id, TimeValue t, FPValue& v, Interval& valid, int tabIndex = 0);

    // Sets at time t. An animatable parameter with a controller sets the controller; under
    // animate mode one without gets a new default controller first (keeping its value), so
    // the set makes a key. Otherwise the constant is stored.
    BOOL SetValue(ParamID id, TimeValue t, float v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, int v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, const Point2& v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, const Point3& v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, const Point4& v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, const Color& v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, const AColor& v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, const Matrix3& v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, const MCHAR* v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, INode* v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, ReferenceTarget* v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, Mtl* v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, IParamBlock2* v, int tabIndex = 0);
    BOOL SetValue(ParamID id, TimeValue t, const FPValue& v, int tabIndex = 0);

    // Convenience reads: the type's empty value on failure.
    int GetInt(ParamID id, TimeValue t = 0, int tabIndex = 0);
    int GetInt(ParamID id, TimeValue t, Interval& valid, int tabIndex = 0);
    float GetFloat(ParamID id, TimeValue t = 0, int tabIndex = 0);
    float GetFloat(ParamID id, TimeValue t, Interval& valid, int tabIndex = 0);
    TimeValue GetTimeValue(ParamID id, TimeValue t = 0, int tabIndex = 0);
    Point2 GetPoint2(ParamID id, TimeValue t = 0, int tabIndex = 0);
    Point2 GetPoint2(ParamID id, TimeValue t, Interval& valid, int tabIndex = 0);
    Point3 GetPoint3(ParamID id, TimeValue t = 0, int tabIndex = 0);
    Point3 GetPoint3(ParamID id, TimeValue t, Interval& valid, int tabIndex = 0);
    Point4 GetPoint4(ParamID id, TimeValue t = 0, int tabIndex = 0);
    Point4 GetPoint4(ParamID id, TimeValue t, Interval& valid, int tabIndex = 0);
    Color GetColor(ParamID id, TimeValue t = 0, int tabIndex = 0);
    Color GetColor(ParamID id, TimeValue t, Interval& valid, int tabIndex = 0);
    AColor GetAColor(ParamID id, TimeValue t = 0, int tabIndex = 0);
    AColor GetAColor(ParamID id, TimeValue t, Interval& valid, int tabIndex = 0);
    Matrix3 GetMatrix3(ParamID id, TimeValue t = 0, int tabIndex = 0);
    Matrix3 GetMatrix3(ParamID id, TimeValue t, Interval& valid, int tabIndex = 0);
    // Empty string (never null) on failure.
    const MCHAR* GetStr(ParamID id, TimeValue t = 0, int tabIndex = 0);
    const MCHAR* GetStr(ParamID id, TimeValue t, Interval& valid, int tabIndex = 0);
    INode* GetINode(ParamID id, TimeValue t = 0, int tabIndex = 0);
    INode* GetINode(ParamID id, TimeValue t, Interval& valid, int tabIndex = 0);
    ReferenceTarget* GetReferenceTarget(ParamID id, TimeValue t = 0, int tabIndex = 0);
    ReferenceTarget* GetReferenceTarget(ParamID id, TimeValue t, Interval& valid, int tabIndex = 0);
    Mtl* GetMtl(ParamID id, TimeValue t = 0, int tabIndex = 0);
    IParamBlock2* GetParamBlock2(ParamID id, TimeValue t = 0, int tabIndex = 0);

    // Tables. Count is 1 for a parameter that is not a table and 0 for an unknown id.
    // Edits answer the new count (Append and Insert: the index of the first new entry, or -1).
    // New entries take the default. P_VARIABLE_SIZE governs scripts and UI, not these calls.
    int Count(ParamID id);
    void ZeroCount(ParamID id) { SetCount(id, 0); }
    void SetCount(ParamID id, int n);
    int Delete(ParamID id, int start, int num);
    int Resize(ParamID id, int num);
    void Shrink(ParamID id) { (void)id; }
    // Appends num values from el (an array of values, or of pointers for struct types).
    int Append(ParamID id, int num, const float* el, int allocExtra = 0);
    int Append(ParamID id, int num, const int* el, int allocExtra = 0);
    int Append(ParamID id, int num, Point2** el, int allocExtra = 0);
    int Append(ParamID id, int num, Point3** el, int allocExtra = 0);
    int Append(ParamID id, int num, Point4** el, int allocExtra = 0);
    int Append(ParamID id, int num, Color** el, int allocExtra = 0);
    int Append(ParamID id, int num, AColor** el, int allocExtra = 0);
    int Append(ParamID id, int num, Matrix3** el, int allocExtra = 0);
    int Append(ParamID id, int num, const MCHAR** el, int allocExtra = 0);
    int Append(ParamID id, int num, INode** el, int allocExtra = 0);
    int Append(ParamID id, int num, ReferenceTarget** el, int allocExtra = 0);
    int Append(ParamID id, int num, Mtl** el, int allocExtra = 0);
    int Append(ParamID id, int num, IParamBlock2** el, int allocExtra = 0);
    int Insert(ParamID id, int start, int num, const float* el);
    int Insert(ParamID id, int start, int num, const int* el);
    int Insert(ParamID id, int start, int num, Point2** el);
    int Insert(ParamID id, int start, int num, Point3** el);
    int Insert(ParamID id, int start, int num, Point4** el);
    int Insert(ParamID id, int start, int num, Color** el);
    int Insert(ParamID id, int start, int num, AColor** el);
    int Insert(ParamID id, int start, int num, Matrix3** el);
    int Insert(ParamID id, int start, int num, const MCHAR** el);
    int Insert(ParamID id, int start, int num, INode** el);
    int Insert(ParamID id, int start, int num, ReferenceTarget** el);
    int Insert(ParamID id, int start, int num, Mtl** el);
    int Insert(ParamID id, int start, int num, IParamBlock2** el);

    // Controllers, per entry. SetController with preserveValue gives the new controller the
    // entry's value (the constant, or the old controller's value at time 0); removing a
    // controller keeps its value at time 0 as the constant. A controller of the wrong super
    // class, a parameter that is not animatable, or a cycle answers FALSE.
    Control* GetController(ParamID id, int tabIndex = 0);
    Control* GetControllerByIndex(int index, int tabIndex = 0);
    BOOL SetController(ParamID id, int tabIndex, Control* c, BOOL preserveValue = TRUE);
    BOOL SetControllerByIndex(int index, int tabIndex, Control* c, BOOL preserveValue = TRUE);
    // The controller's super class for an animatable type, 0 for others.
    static SClass_ID ControllerSuperClass(int type);

    // Notifications.
    ParamID LastNotifyParamID() const { return lastNotifyID_; }
    ParamID LastNotifyParamID(int& tabIndex) const { tabIndex = lastNotifyTab_; return lastNotifyID_; }
    void EnableNotifications(BOOL onOff) { notifyEnabled_ = onOff != FALSE; }
    BOOL NotificationsEnabled() const { return notifyEnabled_ ? TRUE : FALSE; }

    // Back to defaults: the value (every entry, or one) and, for a table, the default count.
    // Controllers are removed. With callSetHandlers the accessor's Set sees each new value.
    void Reset(ParamID id, int tabIndex = -1, BOOL updateUI = TRUE, BOOL callSetHandlers = TRUE);
    void ResetAll(BOOL updateUI = TRUE, BOOL callSetHandlers = TRUE);

    // Sub-anims: the entries of animatable parameters, in slot order. An entry without a
    // controller shows a placeholder (super class CTRL_USERTYPE_CLASS_ID, class
    // PLACEHOLDER_CLASS_ID) that reads the constant and takes a controller.
    int NumSubs() override { return numSubs_; }
    Animatable* SubAnim(int i) override;
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override;
    BOOL CanAssignController(int subAnim) override;
    BOOL AssignController(Animatable* control, int subAnim) override;
    // Sub-anim number of an entry, or -1 when it is not a track.
    int GetAnimNum(ParamID id, int tabIndex = 0);
    // Parameter index of a sub-anim (and its table index), or -1.
    int AnimNumToParamNum(int animNum, int& tabIndex);
    ParamID AnimNumToParamID(int animNum, int& tabIndex);
    BOOL IsAnimated() override;
    // Reference slot of an entry, or -1.
    int GetRefNum(ParamID id, int tabIndex = 0);

    // References.
    int NumRefs() override { return numRefs_; }
    RefTargetHandle GetReference(int i) override;
    RefResult NotifyRefChanged(const Interval& changeInt, RefTargetHandle hTarget, PartID& partID, RefMessage message,
                               BOOL propagate) override;
    void RefAdded(RefMakerHandle rm) override;

    ReferenceTarget* Clone(RemapDir& remap) override;
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

    // Keys of the controllers, for the timeline.
    int NumKeys() override;
    TimeValue GetKeyTime(int index) override;
    BOOL IsKeyAtTime(TimeValue t, DWORD flags) override;
    int GetKeyTimes(Tab<TimeValue>& times, Interval range, DWORD flags) override;

    // Internal: the block's values (per parameter index), for the block's own helpers.
    Tab<PB2Value>& host_Entries(int paramIndex) { return params_[static_cast<size_t>(paramIndex)]; }

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;

private:
    friend class host::PBRestore;
    friend class host::ParamPlaceholder;
    struct Locator {
        int index;
        ParamDef* pd;
        PB2Value* e;
    };
    bool Locate(ParamID id, int tabIndex, Locator& loc);
    BOOL SetEntry(ParamID id, TimeValue t, int tabIndex, PB2Value& nv, int what);
    BOOL SetRefEntry(ParamID id, TimeValue t, int tabIndex, ReferenceTarget* target, int wantBase);
    void ReadValue(const Locator& loc, TimeValue t, PB2Value& out, Interval& valid);
    void StoreConstant(const ParamDef& pd, PB2Value& e, const PB2Value& nv);
    void ControllerSet(const ParamDef& pd, Control* c, TimeValue t, const PB2Value& nv);
    void ControllerGet(const ParamDef& pd, Control* c, TimeValue t, PB2Value& out, Interval& valid);
    Control* NewControllerFor(const ParamDef& pd);
    bool AttachController(int index, int tabIndex, Control* c, bool preserveValue);
    bool SetRefSlot(int slot, ReferenceTarget* t);
    bool UsesRefSlot(const ParamDef& pd) const;
    int SlotOf(int index, int tabIndex) const;
    bool SlotToEntry(int slot, int& index, int& tabIndex) const;
    template <class T, class Fill>
    int TabEdit(ParamID id, int start, int num, bool insert, const T* el, Fill&& fill);
    void Notify(ParamID id, int tabIndex);
    void Hold();
    void Renumber();
    int MaxParamID() const;
    void InitDefaults();
    void InitEntry(const ParamDef& pd, PB2Value& e);
    void DropEntryRefs(int index, int first, int count);
    void CallTabChanged(int index, tab_changes code, int tabIndex, int count);
    host::ParamPlaceholder* PlaceholderFor(int index, int tabIndex);

    // Reads of numbers by id go straight to the entries; rebuilt whenever entries move.
    struct FastParam {
        PB2Value* entries = nullptr;
        int count = 0;
        signed char kind = 0;  // 1 float type, 2 int type, 0 anything else or an accessor
    };
    ParamBlockDesc2* desc_;
    ReferenceMaker* owner_;
    std::vector<FastParam> fast_;
    std::vector<Tab<PB2Value>> params_;
    std::vector<int> slotBase_;     // first reference slot of each parameter
    std::vector<int> subBase_;      // first sub-anim of each parameter, -1 when none
    std::vector<std::vector<std::unique_ptr<host::ParamPlaceholder>>> placeholders_;
    std::vector<std::unique_ptr<host::ParamPlaceholder>> retired_;
    int numRefs_ = 0;
    int numSubs_ = 0;
    ParamID lastNotifyID_ = -1;
    int lastNotifyTab_ = -1;
    bool notifyEnabled_ = true;
    mutable std::vector<MSTR> resolved_;  // filename reads
};

// A new block of desc for owner (which must still reference it). Null for a null desc.
IParamBlock2* CreateParameterBlock2(ParamBlockDesc2* pdesc, ReferenceMaker* owner);

namespace host {

// The block class, for the class directory (scene files create blocks by it).
constexpr Class_ID PARAMBLOCK2_CLASS_ID(0x00000082, 0x00000000);

// The track an animatable entry without a controller shows. It belongs to its block and
// lives as long as the block; once its entry is gone it reads nothing and takes nothing.
class ParamPlaceholder : public Animatable {
public:
    ParamPlaceholder(IParamBlock2* pb, int paramIndex, int tabIndex)
        : pb_(pb), index_(paramIndex), tab_(tabIndex) {}
    SClass_ID SuperClassID() override { return CTRL_USERTYPE_CLASS_ID; }
    Class_ID ClassID() override { return PLACEHOLDER_CLASS_ID; }
    using Animatable::GetParamBlock;
    IParamBlock2* GetParamBlock() const { return pb_; }
    ParamID GetParamID() const;
    int GetTabIndex() const { return tab_; }
    // The sub-anim number under the block, or -1 once detached.
    int GetSubNum() const;
    // The entry's value as a controller of its type answers it (float, Point3, Point4).
    void GetValue(TimeValue t, void* val, Interval& valid);
    void SetValue(TimeValue t, void* val);
    // Turns the entry into one driven by control, keeping the value; subAnim is ignored.
    BOOL AssignController(Animatable* control, int subAnim) override;
    BOOL CanAssignController(int subAnim) override { (void)subAnim; return pb_ ? TRUE : FALSE; }
    BOOL IsAnimated() override { return FALSE; }
    BOOL IsKeyable() override { return FALSE; }
    BOOL IsLeaf() override { return TRUE; }
    void GetClassName(MSTR& s, bool localized = true) const override { (void)localized; s = L"ParamFloat"; }
    MSTR ClassName(bool localized = true) const override { (void)localized; return MSTR(L"ParamFloat"); }

    // Internal: the block moves or drops the entry.
    void host_Move(int paramIndex, int tabIndex) { index_ = paramIndex; tab_ = tabIndex; }
    void host_Detach() { pb_ = nullptr; }

private:
    IParamBlock2* pb_;
    int index_;
    int tab_;
};

// Filename parameters store what was set and read a full path through this resolver. The
// default makes a relative path absolute against the working folder; the scene code may put
// its asset search in its place. Null restores the default.
using FilenameResolver = MSTR (*)(const MSTR& stored);
void SetFilenameResolver(FilenameResolver resolver);
MSTR ResolveFilename(const MSTR& stored);

}  // namespace host
