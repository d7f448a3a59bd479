// Function publishing: interfaces whose functions, properties and enumerations scripts call
// by name and C++ calls by id.
//
// An FPInterfaceDesc describes one interface: its Interface_ID, functions (id, name, result
// type, typed arguments, keyword defaults), properties (getter and setter ids) and
// enumerations. A core interface (FP_CORE) is itself the interface and registers with the
// host; a mixin (FP_MIXIN) or static (FP_STATIC) description registers with its ClassDesc, and
// each object answers its mixin through GetInterface(Interface_ID).
//
// Calls go through FPInterface::Invoke into _dispatch_fn, which plug-in classes write with the
// function map macros below. An id the map does not list answers FPS_NO_SUCH_FUNCTION; a call
// with fewer arguments than the function reads throws MaxSDK::Util::OutOfRangeException
// ("Argument index out of bounds, passed into a MaxSDK::Array::operator[]").
//
// Units: values in FPValue are native (0-based indexes, radians, fractions). Scripts see
// TYPE_INDEX 1-based, TYPE_ANGLE in degrees and TYPE_PCNT_FRAC in percent (1.0 native is
// 100 at the script side); host::ToScriptUnits / FromScriptUnits convert at the boundary.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <deque>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "array.h"
#include "iplugin.h"
#include "maxmath.h"
#include "paramtype.h"

class Value;  // a script value, opaque to C++ (TYPE_VALUE)
class INode;
class Mtl;
class Texmap;
class Object;
class IObject;
class Mesh;
class PBBitmap;
class IParamBlock2;
class Control;
class FPInterface;
class FPInterfaceDesc;
class FPValue;
class FPParams;
class ActionTable;

typedef short FunctionID;
typedef short EnumID;
constexpr FunctionID FP_NO_FUNCTION = -1;
constexpr EnumID FP_NO_ENUM = -1;

enum FPStatus { FPS_FAIL = 0, FPS_OK = 1, FPS_NO_SUCH_FUNCTION = -1, FPS_ACTION_DISABLED = -2 };

// Interface flags (FPInterfaceDesc::flags).
constexpr USHORT FP_ACTIONS = 0x0001;
constexpr USHORT FP_MIXIN = 0x0002;          // per object; registered with the class
constexpr USHORT FP_CORE = 0x0004;           // one global instance; registered with the host
constexpr USHORT FP_STATIC_METHODS = 0x0008; // class-level functions; registered with the class
constexpr USHORT FP_STATIC = FP_STATIC_METHODS;
constexpr USHORT FP_TEST_INTERFACE = 0x0010;
constexpr USHORT FP_SCRIPTED_CLASS = 0x0020;

// Function flags (FPFunctionDef::flags).
constexpr USHORT FP_ACTION = 0x0001;
constexpr USHORT FP_MESSAGE = 0x0002;
constexpr USHORT FP_NO_REDRAW = 0x0004;
constexpr USHORT FP_VAR_ARGS = 0x0008;
constexpr USHORT FP_CLIENT_VALIDATE = 0x0010;
constexpr USHORT FP_ASYNC = 0x0020;
constexpr USHORT FP_RO = 0x0040;  // a property without setter

// Argument flags (FPParamDef::flags).
constexpr USHORT FPP_HAS_RANGE = 0x0001;
constexpr USHORT FPP_HAS_VALIDATOR = 0x0002;
constexpr USHORT FPP_IN_PARAM = 0x0004;
constexpr USHORT FPP_OUT_PARAM = 0x0008;
constexpr USHORT FPP_IN_OUT_PARAM = FPP_IN_PARAM | FPP_OUT_PARAM;
constexpr USHORT FPP_KEYARG = 0x0010;

// Tags of the descriptor's argument list; p_end (iparamb2.h's value) ends it. Negative and far
// from any id, so the list can tell a tag from the next function id.
enum FPTags : int {
    FP_TAGS_BASE = -0x30000000,
    f_range,          // low, high of the argument's type
    f_validator,      // FPValidator*
    f_inOut,          // FPP_IN_PARAM, FPP_OUT_PARAM or FPP_IN_OUT_PARAM
    f_keyArgDefault,  // value of the argument's type: the argument becomes a keyword argument
    f_index,          // the argument is an index (1-based at the script side)
    f_isEnabled,      // FunctionID of a bool predicate; FP_ACTION functions refuse while false
    f_isChecked,      // FunctionID
    f_isVisible,      // FunctionID
    f_iconRes,        // int
    f_icon,           // const MCHAR*, int
    f_buttonText,     // StringResID
    f_toolTip,        // StringResID
    f_menuText,       // StringResID
    f_ui,             // int map id, then int control id
    f_shortCut,       // int
    f_macroEmitter,   // a pointer, kept
    properties,       // the property list follows
    enums,            // the enumeration list follows
};
constexpr int FP_LIST_END = -0x40000000;  // the value of p_end

class FPValidator {
public:
    virtual ~FPValidator() = default;
    // False refuses the argument; msg may explain why.
    virtual bool Validate(FPInterface* fpi, FunctionID fid, int paramNum, FPValue& val, MSTR& msg) = 0;
};

namespace host::fp {

// How FPValue holds a base type.
enum class Cat { Void, Int, Float, Double, Int64, IntPtr, Dword, Bool, Struct, String, Pointer };

// Base code, C++ type held, category. Struct types are held on the heap (owned), strings as
// owned copies, pointers as they are (not owned).
#define KT_FP_STORAGE(X)                                                                               \
    X(FLOAT, float, Float) X(ANGLE, float, Float) X(PCNT_FRAC, float, Float) X(WORLD, float, Float)     \
    X(COLOR_CHANNEL, float, Float) X(INT, int, Int) X(BOOL, int, Int) X(INDEX, int, Int)                 \
    X(ENUM, int, Int) X(RADIOBTN_INDEX, int, Int) X(TIMEVALUE, int, Int) X(bool, bool, Bool)            \
    X(DWORD, DWORD, Dword) X(DOUBLE, double, Double) X(INT64, int64_t, Int64) X(INTPTR, INT_PTR, IntPtr) \
    X(POINT3, Point3, Struct) X(POINT2, Point2, Struct) X(POINT4, Point4, Struct)                       \
    X(MATRIX3, Matrix3, Struct) X(QUAT, Quat, Struct) X(ANGAXIS, AngAxis, Struct) X(RGBA, Color, Struct) \
    X(COLOR, Color, Struct) X(HSV, Color, Struct) X(FRGBA, AColor, Struct) X(INTERVAL, Interval, Struct) \
    X(BITARRAY, BitArray, Struct) X(TSTR, MSTR, Struct) X(FPVALUE, FPValue, Struct)                     \
    X(STRING, const MCHAR*, String) X(FILENAME, const MCHAR*, String) X(NAME, const MCHAR*, String)     \
    X(INODE, INode*, Pointer) X(REFTARG, ReferenceTarget*, Pointer) X(MTL, Mtl*, Pointer)               \
    X(TEXMAP, Texmap*, Pointer) X(CONTROL, Control*, Pointer) X(OBJECT, Object*, Pointer)               \
    X(INTERFACE, FPInterface*, Pointer) X(IOBJECT, IObject*, Pointer) X(VALUE, Value*, Pointer)         \
    X(CLASS, ClassDesc*, Pointer) X(PBLOCK2, IParamBlock2*, Pointer) X(MESH, Mesh*, Pointer)            \
    X(BITMAP, PBBitmap*, Pointer) X(HWND, HWND, Pointer)

constexpr Cat CategoryOf(int type) {
    switch (base_type(type)) {
#define KT_FP_CAT_CASE(n, T, c) \
    case TYPE_##n:              \
        return Cat::c;
        KT_FP_STORAGE(KT_FP_CAT_CASE)
#undef KT_FP_CAT_CASE
        default:
            return Cat::Void;
    }
}

// Whether two base codes are held as the same C++ type (colours, strings, numbers alike).
constexpr bool SameStorage(int a, int b) {
    a = base_type(a);
    b = base_type(b);
    if (a == b) return true;
    auto group = [](int x) {
        switch (x) {
            case TYPE_RGBA: case TYPE_COLOR: case TYPE_HSV: return 1;
            case TYPE_STRING: case TYPE_FILENAME: case TYPE_NAME: return 2;
            case TYPE_FLOAT: case TYPE_ANGLE: case TYPE_PCNT_FRAC: case TYPE_WORLD: case TYPE_COLOR_CHANNEL: return 3;
            case TYPE_INT: case TYPE_BOOL: case TYPE_INDEX: case TYPE_ENUM: case TYPE_RADIOBTN_INDEX:
            case TYPE_TIMEVALUE: return 4;
            default: return 0;
        }
    };
    return group(a) != 0 && group(a) == group(b);
}

template <int Base>
struct Storage {
    using S = void;
};

}  // namespace host::fp

// A typed value of a function-published call: an argument, a result, a property.
//
// type says what it holds and how: a plain or _BV struct type (Point3, Matrix3, MSTR ...) and a
// string are owned copies; a _BR type points at the caller's storage (an out argument); object
// types (INode, ReferenceTarget, Value ...) are pointers the value does not own; a _TAB type
// holds an owned Tab (elements of struct types are owned pointers). Copies are deep.
class FPValue {
public:
    ParamType2 type = TYPE_VOID;
    union {
        int i;
        float f;
        double dbl;
        int64_t i64;
        INT_PTR intptr;
        DWORD d;
        bool b;
        int* iptr;
        float* fptr;
        double* dblptr;
        int64_t* i64ptr;
        INT_PTR* intptrptr;
        DWORD* dptr;
        bool* bptr;
        Point3* p;
        Point2* p2;
        Point4* p4;
        Matrix3* m;
        Quat* q;
        AngAxis* aa;
        Color* clr;
        AColor* aclr;
        Interval* intvl;
        BitArray* bits;
        MSTR* tstr;
        FPValue* fpv;
        const MCHAR* s;
        INode* n;
        ReferenceTarget* r;
        Mtl* mtl;
        Texmap* tex;
        Control* ctrl;
        Object* obj;
        FPInterface* fpi;
        IObject* iobj;
        Value* v;
        ClassDesc* cd;
        IParamBlock2* pb;
        Mesh* msh;
        PBBitmap* bm;
        HWND hwnd;
        Tab<int>* i_tab;
        Tab<float>* f_tab;
        Tab<double>* dbl_tab;
        Tab<int64_t>* i64_tab;
        Tab<INT_PTR>* intptr_tab;
        Tab<DWORD>* d_tab;
        Tab<Point3*>* p_tab;
        Tab<Point2*>* p2_tab;
        Tab<Point4*>* p4_tab;
        Tab<Matrix3*>* m3_tab;
        Tab<Quat*>* q_tab;
        Tab<AngAxis*>* aa_tab;
        Tab<Color*>* clr_tab;
        Tab<AColor*>* aclr_tab;
        Tab<Interval*>* intvl_tab;
        Tab<BitArray*>* bits_tab;
        Tab<MSTR*>* tstr_tab;
        Tab<FPValue*>* fpv_tab;
        Tab<const MCHAR*>* s_tab;
        Tab<INode*>* n_tab;
        Tab<ReferenceTarget*>* r_tab;
        Tab<Mtl*>* mtl_tab;
        Tab<Texmap*>* tex_tab;
        Tab<Control*>* ctrl_tab;
        Tab<Object*>* obj_tab;
        Tab<FPInterface*>* fpi_tab;
        Tab<Value*>* v_tab;
        Tab<ClassDesc*>* cd_tab;
        void* ptr;
    };

    FPValue() : ptr(nullptr) {}
    FPValue(const FPValue& o);
    FPValue(FPValue&& o) noexcept;
    FPValue& operator=(const FPValue& o);
    FPValue& operator=(FPValue&& o) noexcept;
    ~FPValue() { Free(); }

    // Loads value as type; see host::fp::LoadValue for what each type takes. A value that does
    // not fit the type leaves a TYPE_VOID value.
    template <class T>
    FPValue(ParamType2 t, const T& value) : ptr(nullptr) {
        Load(t, value);
    }
    template <class T>
    void Load(ParamType2 t, const T& value);
    // Releases what it owns; the value becomes TYPE_VOID.
    void Free();
    void Clear() { Free(); }
    bool IsVoid() const { return base_type(type) == TYPE_VOID; }
    // A null pointer, null struct, or void.
    bool IsNull() const;
};

namespace host::fp {

#define KT_FP_STORAGE_SPEC(n, T, c) \
    template <>                     \
    struct Storage<TYPE_##n> {      \
        using S = T;                \
    };
KT_FP_STORAGE(KT_FP_STORAGE_SPEC)
#undef KT_FP_STORAGE_SPEC

// Element type of a table of base B.
template <int B>
using Elem = std::conditional_t<CategoryOf(B) == Cat::Struct, typename Storage<B>::S*, typename Storage<B>::S>;

// Runtime helpers behind the templates. type is a struct base or a table's root type; the
// storage is what an owned value of that type points at.
void* CloneStorage(int type, const void* src);
void FreeStorage(int type, void* storage);
// Numeric value of a scalar of any numeric category (0 for others).
double NumberOf(const FPValue& v);
// The pointer held by an object-type value, converted between INode and ReferenceTarget and
// from Control to ReferenceTarget; null when it holds none of the wanted kind.
void* PointerAs(const FPValue& v, int wantBase);
// Makes v an owned default of type t (zero, empty, null).
void MakeDefault(FPValue& v, int t);
// Owned copy of a string.
const MCHAR* DupString(const MCHAR* s);

template <class S>
S& ScalarRef(FPValue& v) {
    if constexpr (std::is_same_v<S, int>) return v.i;
    else if constexpr (std::is_same_v<S, float>) return v.f;
    else if constexpr (std::is_same_v<S, double>) return v.dbl;
    else if constexpr (std::is_same_v<S, int64_t>) return v.i64;
    else if constexpr (std::is_same_v<S, INT_PTR>) return v.intptr;
    else if constexpr (std::is_same_v<S, DWORD>) return v.d;
    else return v.b;
}

template <class S>
S NumberAs(const FPValue& v) {
    // A value already of the wanted kind needs no conversion.
    if (!(v.type & (TYPE_TAB | TYPE_BY_REF | TYPE_BY_PTR))) {
        if constexpr (std::is_same_v<S, int>) {
            if (CategoryOf(v.type) == Cat::Int) return v.i;
        } else if constexpr (std::is_same_v<S, float>) {
            if (CategoryOf(v.type) == Cat::Float) return v.f;
        }
    }
    const double x = NumberOf(v);
    if constexpr (std::is_floating_point_v<S>) return static_cast<S>(x);
    else if constexpr (std::is_same_v<S, bool>) return x != 0.0;
    else return static_cast<S>(x < 0 ? x - 0.5 : x + 0.5);
}

// An argument of type Code as the C++ function receives it.
template <int Code>
struct Arg {
    static constexpr int B = base_type(Code);
    static constexpr Cat C = CategoryOf(B);
    using S = typename Storage<B>::S;
    static_assert(C != Cat::Void, "no function-published form for this type");

    static decltype(auto) Get(FPValue& v) {
        if constexpr (is_tab(Code)) {
            using TabT = Tab<Elem<B>>;
            TabT* t = is_tab(v.type) && SameStorage(v.type, B) ? static_cast<TabT*>(v.ptr) : nullptr;
            if constexpr (is_by_ref(Code)) {
                if (!t) {
                    MakeDefault(v, root_type(Code));
                    t = static_cast<TabT*>(v.ptr);
                }
                return static_cast<TabT&>(*t);
            } else if constexpr (is_by_val(Code)) {
                return t ? TabT(*t) : TabT();
            } else {
                return t;
            }
        } else if constexpr (C == Cat::Struct) {
            S* s = SameStorage(v.type, B) && !is_tab(v.type) ? static_cast<S*>(v.ptr) : nullptr;
            if constexpr (is_by_ref(Code)) {
                if (!s) {
                    MakeDefault(v, B);
                    s = static_cast<S*>(v.ptr);
                }
                return static_cast<S&>(*s);
            } else if constexpr (is_by_val(Code)) {
                return s ? S(*s) : S();
            } else {
                return s;
            }
        } else if constexpr (C == Cat::String) {
            if (is_tab(v.type)) return static_cast<const MCHAR*>(nullptr);
            if (base_type(v.type) == TYPE_TSTR) return v.tstr ? v.tstr->data() : static_cast<const MCHAR*>(nullptr);
            return CategoryOf(v.type) == Cat::String ? v.s : static_cast<const MCHAR*>(nullptr);
        } else if constexpr (C == Cat::Pointer) {
            if constexpr (is_by_ref(Code)) {
                if (!SameStorage(v.type, B) || is_tab(v.type)) MakeDefault(v, B);
                if (is_by_ref(v.type)) return static_cast<S&>(*static_cast<S*>(v.ptr));
                return static_cast<S&>(*reinterpret_cast<S*>(&v.ptr));
            } else {
                return static_cast<S>(PointerAs(v, B));
            }
        } else {
            // Numbers.
            if constexpr (is_by_ref(Code) || is_by_ptr(Code)) {
                S* s;
                if (CategoryOf(v.type) == C && (is_by_ref(v.type) || is_by_ptr(v.type))) {
                    s = static_cast<S*>(v.ptr);
                } else {
                    if (CategoryOf(v.type) != C || is_tab(v.type)) {
                        S x = NumberAs<S>(v);
                        MakeDefault(v, B);
                        ScalarRef<S>(v) = x;
                    }
                    s = &ScalarRef<S>(v);
                }
                if constexpr (is_by_ref(Code)) return static_cast<S&>(*s);
                else return s;
            } else {
                return NumberAs<S>(v);
            }
        }
    }
};

// Makes r hold x as type Code; the function map loads results through it. What each form
// takes: numbers by value (by reference for _BR, by pointer for _BP); struct types a pointer
// (plain: copied), a value (_BV: copied) or a reference (_BR: pointed at); strings a
// const MCHAR* (copied); objects a pointer; tables a Tab* (plain: copied), a Tab (_BV: copied)
// or a Tab& (_BR: pointed at).
template <int Code>
struct Result {
    static constexpr int B = base_type(Code);
    static constexpr Cat C = CategoryOf(B);
    using S = typename Storage<B>::S;

    template <class X>
    static void Load(FPValue& r, X&& x) {
        r.Free();
        if constexpr (is_tab(Code)) {
            using TabT = Tab<Elem<B>>;
            if constexpr (is_by_ref(Code)) {
                TabT& t = x;
                r.ptr = &t;
            } else if constexpr (is_by_val(Code)) {
                const TabT& t = x;
                r.ptr = CloneStorage(root_type(Code), &t);
            } else {
                const TabT* t = x;
                r.ptr = t ? CloneStorage(root_type(Code), t) : nullptr;
            }
        } else if constexpr (C == Cat::Struct) {
            if constexpr (is_by_ref(Code)) {
                S& s = x;
                r.ptr = &s;
            } else if constexpr (is_by_val(Code)) {
                r.ptr = new S(std::forward<X>(x));
            } else {
                const S* s = x;
                r.ptr = s ? new S(*s) : nullptr;
            }
        } else if constexpr (C == Cat::String) {
            const MCHAR* s = x;
            r.s = DupString(s);
        } else if constexpr (C == Cat::Pointer) {
            if constexpr (is_by_ref(Code)) {
                S& s = x;
                r.ptr = &s;
            } else {
                S s = x;
                r.ptr = const_cast<void*>(static_cast<const void*>(s));
            }
        } else {
            if constexpr (is_by_ref(Code)) {
                S& s = x;
                r.ptr = &s;
            } else if constexpr (is_by_ptr(Code)) {
                S* s = x;
                r.ptr = s;
            } else {
                ScalarRef<S>(r) = static_cast<S>(x);
            }
        }
        r.type = static_cast<ParamType2>(Code);
    }
};

// FPValue::Load for one type code: takes what Result takes, and also a struct type by value
// for the plain form, a value convertible to the struct type (not for _BR), any numeric type
// for numbers (_BR and _BP: the caller's variable of exactly the type, or a pointer to it).
// Anything else leaves a void value.
template <int Code, class T>
void LoadIfFits(FPValue& r, const T& value) {
    constexpr int B = base_type(Code);
    constexpr Cat C = CategoryOf(B);
    using S = typename Storage<B>::S;
    using V = std::remove_cv_t<T>;
    r.Free();
    if constexpr (C == Cat::Void) {
        return;
    } else if constexpr (is_tab(Code)) {
        using TabT = Tab<Elem<B>>;
        const TabT* src = nullptr;
        if constexpr (std::is_same_v<V, TabT>) src = &value;
        else if constexpr (std::is_same_v<V, TabT*> || std::is_same_v<V, const TabT*>) src = value;
        else return;
        if (!src) return;
        if constexpr (is_by_ref(Code)) r.ptr = const_cast<TabT*>(src);
        else r.ptr = CloneStorage(root_type(Code), src);
    } else if constexpr (C == Cat::Struct) {
        const S* src = nullptr;
        if constexpr (std::is_same_v<V, S>) {
            src = &value;
        } else if constexpr (std::is_same_v<V, S*> || std::is_same_v<V, const S*>) {
            src = value;
        } else if constexpr (!is_by_ref(Code) && !std::is_pointer_v<V> && std::is_convertible_v<const V&, S>) {
            r.ptr = new S(value);
            r.type = static_cast<ParamType2>(Code);
            return;
        } else {
            return;
        }
        if constexpr (is_by_ref(Code)) {
            if (!src) return;
            r.ptr = const_cast<S*>(src);
        } else {
            r.ptr = src ? new S(*src) : nullptr;
        }
    } else if constexpr (C == Cat::String) {
        if constexpr (!is_by_ref(Code) && std::is_convertible_v<const V&, const MCHAR*>) r.s = DupString(value);
        else return;
    } else if constexpr (C == Cat::Pointer) {
        if constexpr (is_by_ref(Code)) {
            if constexpr (std::is_same_v<V, S>) r.ptr = const_cast<V*>(&value);
            else return;
        } else if constexpr (std::is_same_v<V, std::nullptr_t>) {
            r.ptr = nullptr;
        } else if constexpr (std::is_convertible_v<const V&, S>) {
            S s = value;
            r.ptr = const_cast<void*>(static_cast<const void*>(s));
        } else {
            return;
        }
    } else {
        if constexpr (is_by_ref(Code) || is_by_ptr(Code)) {
            if constexpr (std::is_same_v<V, S>) r.ptr = const_cast<S*>(&value);
            else if constexpr (std::is_same_v<V, S*> || std::is_same_v<V, const S*>) {
                if (!value) return;
                r.ptr = const_cast<S*>(value);
            } else {
                return;
            }
        } else if constexpr (std::is_arithmetic_v<V> || std::is_enum_v<V>) {
            ScalarRef<S>(r) = static_cast<S>(value);
        } else {
            return;
        }
    }
    r.type = static_cast<ParamType2>(Code);
}

template <class T>
void LoadRuntime(FPValue& r, int t, const T& value) {
    switch (t & ~(TYPE_TAB | TYPE_BY_REF | TYPE_BY_VAL | TYPE_BY_PTR)) {
#define KT_FP_LOAD_CASE(n, S, c)                                   \
    case TYPE_##n:                                                 \
        if (is_tab(t)) {                                           \
            if constexpr (CategoryOf(TYPE_##n) != Cat::Bool) {     \
                if (is_by_ref(t)) LoadIfFits<TYPE_##n##_TAB_BR>(r, value);  \
                else if (is_by_val(t)) LoadIfFits<TYPE_##n##_TAB_BV>(r, value); \
                else LoadIfFits<TYPE_##n##_TAB>(r, value);         \
            } else {                                               \
                r.Free();                                          \
            }                                                      \
        } else if (is_by_ref(t)) {                                 \
            LoadIfFits<TYPE_##n##_BR>(r, value);                   \
        } else if (is_by_val(t)) {                                 \
            LoadIfFits<TYPE_##n##_BV>(r, value);                   \
        } else if (is_by_ptr(t)) {                                 \
            LoadIfFits<TYPE_##n##_BP>(r, value);                   \
        } else {                                                   \
            LoadIfFits<TYPE_##n>(r, value);                        \
        }                                                          \
        return;
        KT_FP_STORAGE(KT_FP_LOAD_CASE)
#undef KT_FP_LOAD_CASE
        default:
            r.Free();
    }
}

// The arguments of a call; a null FPParams reads as no arguments.
MaxSDK::Array<FPValue>& Params(FPParams* p);

}  // namespace host::fp

template <class T>
void FPValue::Load(ParamType2 t, const T& value) {
    host::fp::LoadRuntime(*this, t, value);
}

// The arguments of one call, in order.
class FPParams {
public:
    FPParams() = default;
    // count pairs of (ParamType2, value): numbers by value (floats as double), struct types
    // and tables as pointers (copied, or pointed at for _BR), strings as const MCHAR*,
    // objects as pointers.
    FPParams(int count, ...);
    int Count() const { return params.Count(); }
    template <class T>
    FPParams& Append(ParamType2 type, const T& value) {
        params.append(FPValue(type, value));
        return *this;
    }

    MaxSDK::Array<FPValue> params;
};

// One argument of a published function.
class FPParamDef {
public:
    FPParamDef() = default;
    FPParamDef(const FPParamDef&) = delete;
    FPParamDef& operator=(const FPParamDef&) = delete;
    // Keyword arguments have a default and are passed by name from scripts.
    bool IsKeyArg() const { return keyArgDefault != nullptr; }

    MSTR internal_name;
    StringResID description = 0;
    ParamType2 type = TYPE_VOID;
    EnumID enumID = FP_NO_ENUM;
    USHORT flags = FPP_IN_PARAM;
    FPValidator* validator = nullptr;
    FPValue range_low, range_high;  // native units, when FPP_HAS_RANGE
    std::unique_ptr<FPValue> keyArgDefault;  // native units
};

// One function: its id, name, result and arguments (positional first, then keyword ones).
class FPFunctionDef {
public:
    FPFunctionDef() = default;
    ~FPFunctionDef();
    FPFunctionDef(const FPFunctionDef&) = delete;
    FPFunctionDef& operator=(const FPFunctionDef&) = delete;
    // Appends an argument; answers it for options.
    FPParamDef& AddParam(const MCHAR* name, ParamType2 type, EnumID enumID = FP_NO_ENUM);
    // Makes the last argument a keyword argument with this default (native units).
    FPFunctionDef& KeyArgDefault(const FPValue& def);
    FPFunctionDef& Range(const FPValue& low, const FPValue& high);
    int NumPositional() const;

    FunctionID ID = FP_NO_FUNCTION;
    MSTR internal_name;
    StringResID description = 0;
    ParamType2 result_type = TYPE_VOID;
    EnumID enumID = FP_NO_ENUM;
    USHORT flags = 0;
    Tab<FPParamDef*> params;
    short keyparam_count = 0;
    FunctionID isEnabled_id = FP_NO_FUNCTION;
    FunctionID isChecked_id = FP_NO_FUNCTION;
    FunctionID isVisible_id = FP_NO_FUNCTION;
    StringResID button_text = 0, tool_tip = 0, menu_text = 0;
};

// A property: a getter and an optional setter (FP_NO_FUNCTION for read-only).
class FPPropDef {
public:
    FPPropDef() = default;
    FPPropDef(const FPPropDef&) = delete;
    FPPropDef& operator=(const FPPropDef&) = delete;
    bool ReadOnly() const { return setter_ID == FP_NO_FUNCTION; }

    FunctionID getter_ID = FP_NO_FUNCTION;
    FunctionID setter_ID = FP_NO_FUNCTION;
    MSTR internal_name;
    StringResID description = 0;
    ParamType2 prop_type = TYPE_VOID;
    EnumID enumID = FP_NO_ENUM;
    USHORT flags = 0;
    FPParamDef setter_param;  // range and validator of the setter's argument
};

// An enumeration: names and their codes, in order.
class FPEnum {
public:
    struct enum_code {
        const MCHAR* name;
        int code;
    };
    FPEnum() = default;
    FPEnum(const FPEnum&) = delete;
    FPEnum& operator=(const FPEnum&) = delete;
    void Add(const MCHAR* name, int code);
    // By name ignoring case; false when unknown.
    bool FindCode(const MCHAR* name, int& code) const;
    // Null when no name has the code.
    const MCHAR* FindName(int code) const;

    EnumID ID = FP_NO_ENUM;
    Tab<enum_code> enumeration;

private:
    std::deque<MSTR> names_;
};

class BaseInterface {
public:
    virtual ~BaseInterface() = default;
    virtual Interface_ID GetID() { return Interface_ID(0, 0); }
    enum LifetimeType { noRelease, serverControlled, wantsRelease };
    virtual LifetimeType LifetimeControl() { return noRelease; }
    virtual BaseInterface* AcquireInterface() { return this; }
    virtual void ReleaseInterface() {}
    virtual void DeleteInterface() {}
};

// A published interface: calls by id with typed arguments.
class FPInterface : public BaseInterface {
public:
    virtual FPInterfaceDesc* GetDesc() = 0;
    Interface_ID GetID() override;

    // Runs function fid. FP_ACTION functions with an isEnabled predicate that answers false
    // give FPS_ACTION_DISABLED; otherwise whatever _dispatch_fn answers.
    virtual FPStatus Invoke(FunctionID fid, TimeValue t, FPValue& result, FPParams* params = nullptr);
    FPStatus Invoke(FunctionID fid, FPValue& result, FPParams* params = nullptr) { return Invoke(fid, 0, result, params); }
    FPStatus Invoke(FunctionID fid, TimeValue t = 0, FPParams* params = nullptr);
    FPStatus Invoke(FunctionID fid, FPParams* params) { return Invoke(fid, 0, params); }
    // By name (functions only, ignoring case); FPS_NO_SUCH_FUNCTION when unknown.
    FPStatus Invoke(const MCHAR* name, TimeValue t, FPValue& result, FPParams* params = nullptr);
    virtual ActionTable* GetActionTable() { return nullptr; }

    // The function map; the default knows no function.
    virtual FPStatus _dispatch_fn(FunctionID fid, TimeValue t, FPValue& result, FPParams* p);
};

// The description of an interface; for a core or static interface also the interface itself.
class FPInterfaceDesc : public FPInterface {
public:
    // The SDK list: after the fixed fields, per function: id, name, description id, result type
    // [, EnumID if TYPE_ENUM], flags, argument count, then per argument: name, description id,
    // type [, EnumID if TYPE_ENUM] and argument tags (f_keyArgDefault value, f_range low high,
    // f_inOut, f_validator, f_index); function tags (f_isEnabled ...) may follow the arguments.
    // Then optionally `properties` with getter id, setter id, name, description id, type
    // [, EnumID], and `enums` with id, count, then count (name, code) pairs; p_end ends it.
    FPInterfaceDesc(Interface_ID id, const MCHAR* int_name, StringResID descr, ClassDesc* cd, ULONG flag, ...);
    // An empty description: Define it, then AppendFunction / AppendProperty / AppendEnum.
    FPInterfaceDesc();
    // Sets the fixed fields and registers (see the class comment); for descriptions built
    // without a list.
    void Define(Interface_ID id, const MCHAR* int_name, StringResID descr, ClassDesc* cd, ULONG flag);
    // The list constructor's work, for subclasses' own list constructors (DECLARE_DESCRIPTOR).
    void load_descriptor(Interface_ID id, const MCHAR* int_name, StringResID descr, ClassDesc* cd, ULONG flag,
                         va_list ap);
    ~FPInterfaceDesc() override;
    FPInterfaceDesc(const FPInterfaceDesc&) = delete;
    FPInterfaceDesc& operator=(const FPInterfaceDesc&) = delete;

    FPInterfaceDesc* GetDesc() override { return this; }
    Interface_ID GetID() override { return ID; }

    FPFunctionDef& AppendFunction(FunctionID fid, const MCHAR* name, ParamType2 result, USHORT fnFlags = 0,
                                  EnumID resultEnum = FP_NO_ENUM);
    FPPropDef& AppendProperty(FunctionID getter, FunctionID setter, const MCHAR* name, ParamType2 type,
                              EnumID enumID = FP_NO_ENUM);
    FPEnum& AppendEnum(EnumID id, std::initializer_list<FPEnum::enum_code> codes);

    FPFunctionDef* GetFnDef(FunctionID fid);
    // Functions and properties by name, ignoring case; null when none.
    FPFunctionDef* FindFn(const MCHAR* name);
    FPPropDef* FindProp(const MCHAR* name);
    // The property whose getter or setter is fid.
    FPPropDef* FindPropByFn(FunctionID fid);
    FPEnum* GetEnum(EnumID id);
    FunctionID FindFunctionID(const MCHAR* name);

    Interface_ID ID;
    MSTR internal_name;
    StringResID description = 0;
    ClassDesc* cd = nullptr;
    USHORT flags = 0;
    Tab<FPFunctionDef*> functions;
    Tab<FPPropDef*> props;
    Tab<FPEnum*> enumerations;

private:
    void Init(Interface_ID id, const MCHAR* int_name, StringResID descr, ClassDesc* classDesc, ULONG flag);
    void Register();
    void ParseList(va_list* ap);
    // Function index by id, rebuilt when the function table changes length.
    std::vector<short> fnIndex_;
    int indexedCount_ = -1;
};

// Core and static interfaces are descriptions that dispatch themselves. A subclass declares
// its list constructor with DECLARE_DESCRIPTOR (an ellipsis cannot be inherited).
class FPStaticInterface : public FPInterfaceDesc {};

#define DECLARE_DESCRIPTOR(cls)                                                                     \
public:                                                                                             \
    cls() = default;                                                                                \
    cls(Interface_ID id, const MCHAR* int_name, StringResID descr, ClassDesc* cd, ULONG flag, ...) { \
        va_list ap;                                                                                 \
        va_start(ap, flag);                                                                         \
        load_descriptor(id, int_name, descr, cd, flag, ap);                                         \
        va_end(ap);                                                                                 \
    }

// An interface an object offers through GetInterface(Interface_ID); GetDesc answers its
// class's description.
class FPMixinInterface : public FPInterface {};

// The host's registry of core interfaces.
void RegisterCOREInterface(FPInterface* fpi);
// Null when no core interface has the id.
FPInterface* GetCOREInterface(Interface_ID id);
int NumCOREInterfaces();
FPInterface* GetCOREInterfaceAt(int i);

namespace host {

// By interface name, ignoring case, or by id; null when none.
FPInterface* FindCoreInterface(const MCHAR* name);
FPInterface* FindCoreInterface(Interface_ID id);
const std::vector<FPInterface*>& CoreInterfaces();
void UnregisterCoreInterface(FPInterface* fpi);

// Script-side units <-> native, in place, by the value's type: TYPE_INDEX 1-based <-> 0-based,
// TYPE_ANGLE degrees <-> radians, TYPE_PCNT_FRAC percent <-> fraction; tables element-wise.
// Other types are left alone.
void ToScriptUnits(FPValue& v);
void FromScriptUnits(FPValue& v);

// A call as scripts make it: positional arguments in order and keyword arguments by name,
// all in script units.
struct FPScriptCall {
    std::vector<FPValue> positional;
    std::vector<std::pair<MSTR, FPValue>> keywords;
};

enum class FPBindResult { Ok, WrongArgCount, BadValue };

// Binds a script call to fd: positional values to the positional arguments in order,
// keywords by name (ignoring case; keywords the function does not take are ignored), missing
// keywords from their defaults; converts to native units (defaults are native already) and
// checks ranges and validators. On failure out is unusable and message says why;
// expected is the number of positional arguments fd takes.
FPBindResult BindScriptCall(FPInterface* fpi, FPFunctionDef& fd, const FPScriptCall& call, FPParams& out,
                            MSTR* message = nullptr, int* expected = nullptr);
// Binds, invokes and converts the result to script units. bound (when given) receives the
// native arguments after the call, so out arguments can be read back (ToScriptUnits them).
// A failed bind answers FPS_FAIL with *bind set.
FPStatus InvokeScriptCall(FPInterface* fpi, FPFunctionDef& fd, TimeValue t, const FPScriptCall& call,
                          FPValue& result, FPBindResult* bind = nullptr, MSTR* message = nullptr,
                          FPParams* bound = nullptr);
// Properties by name in script units. A read-only property refuses a set with FPS_FAIL; an
// unknown name answers FPS_NO_SUCH_FUNCTION.
FPStatus GetScriptProperty(FPInterface* fpi, const MCHAR* name, TimeValue t, FPValue& result);
FPStatus SetScriptProperty(FPInterface* fpi, const MCHAR* name, TimeValue t, const FPValue& value);

// Parameter blocks at the script boundary: a parameter's value in script units, and a set
// from script units that honours P_READ_ONLY, the range (a pcnt_frac range is given in percent,
// an angle range in radians) and the validator.
enum class PBScriptResult { Ok, NoSuchParam, ReadOnly, WrongType, OutOfRange, Refused };
BOOL PBGetScriptValue(IParamBlock2* pb, ParamID id, TimeValue t, FPValue& out, int tabIndex = 0);
PBScriptResult PBSetScriptValue(IParamBlock2* pb, ParamID id, TimeValue t, const FPValue& value, int tabIndex = 0);

}  // namespace host

// The function map. Plug-in classes list their functions between BEGIN_FUNCTION_MAP and
// END_FUNCTION_MAP; each entry reads its arguments from the call in order.
#define BEGIN_FUNCTION_MAP                                                                       \
public:                                                                                          \
    FPStatus _dispatch_fn(FunctionID fid, TimeValue t, FPValue& result, FPParams* p) override {  \
        (void)t;                                                                                 \
        (void)result;                                                                            \
        (void)p;                                                                                 \
        FPStatus status = FPS_OK;                                                                \
        switch (fid) {
#define BEGIN_FUNCTION_MAP_PARENT(parent) BEGIN_FUNCTION_MAP
#define END_FUNCTION_MAP                    \
    default:                                \
        status = FPS_NO_SUCH_FUNCTION;      \
        }                                   \
        return status;                      \
    }
#define END_FUNCTION_MAP_PARENT(parent)                     \
    default:                                                \
        status = parent::_dispatch_fn(fid, t, result, p);   \
        }                                                   \
        return status;                                      \
    }

#define KT_FP_A(type, i) host::fp::Arg<type>::Get(host::fp::Params(p)[i])
#define KT_FP_R(type, expr) host::fp::Result<type>::Load(result, expr)

#define FN_0(fid, rt, f) case fid: KT_FP_R(rt, f()); break;
#define FN_1(fid, rt, f, a1) case fid: KT_FP_R(rt, f(KT_FP_A(a1, 0))); break;
#define FN_2(fid, rt, f, a1, a2) case fid: KT_FP_R(rt, f(KT_FP_A(a1, 0), KT_FP_A(a2, 1))); break;
#define FN_3(fid, rt, f, a1, a2, a3) case fid: KT_FP_R(rt, f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2))); break;
#define FN_4(fid, rt, f, a1, a2, a3, a4) \
    case fid: KT_FP_R(rt, f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2), KT_FP_A(a4, 3))); break;
#define FN_5(fid, rt, f, a1, a2, a3, a4, a5) \
    case fid: KT_FP_R(rt, f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2), KT_FP_A(a4, 3), KT_FP_A(a5, 4))); break;
#define FN_6(fid, rt, f, a1, a2, a3, a4, a5, a6)                                                          \
    case fid:                                                                                             \
        KT_FP_R(rt, f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2), KT_FP_A(a4, 3), KT_FP_A(a5, 4),     \
                      KT_FP_A(a6, 5)));                                                                   \
        break;
#define FN_7(fid, rt, f, a1, a2, a3, a4, a5, a6, a7)                                                      \
    case fid:                                                                                             \
        KT_FP_R(rt, f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2), KT_FP_A(a4, 3), KT_FP_A(a5, 4),     \
                      KT_FP_A(a6, 5), KT_FP_A(a7, 6)));                                                   \
        break;
#define FN_8(fid, rt, f, a1, a2, a3, a4, a5, a6, a7, a8)                                                  \
    case fid:                                                                                             \
        KT_FP_R(rt, f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2), KT_FP_A(a4, 3), KT_FP_A(a5, 4),     \
                      KT_FP_A(a6, 5), KT_FP_A(a7, 6), KT_FP_A(a8, 7)));                                   \
        break;

#define VFN_0(fid, f) case fid: f(); result.Free(); break;
#define VFN_1(fid, f, a1) case fid: f(KT_FP_A(a1, 0)); result.Free(); break;
#define VFN_2(fid, f, a1, a2) case fid: f(KT_FP_A(a1, 0), KT_FP_A(a2, 1)); result.Free(); break;
#define VFN_3(fid, f, a1, a2, a3) case fid: f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2)); result.Free(); break;
#define VFN_4(fid, f, a1, a2, a3, a4) \
    case fid: f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2), KT_FP_A(a4, 3)); result.Free(); break;
#define VFN_5(fid, f, a1, a2, a3, a4, a5) \
    case fid: f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2), KT_FP_A(a4, 3), KT_FP_A(a5, 4)); result.Free(); break;
#define VFN_6(fid, f, a1, a2, a3, a4, a5, a6)                                                             \
    case fid:                                                                                             \
        f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2), KT_FP_A(a4, 3), KT_FP_A(a5, 4), KT_FP_A(a6, 5)); \
        result.Free();                                                                                    \
        break;
#define VFN_7(fid, f, a1, a2, a3, a4, a5, a6, a7)                                                         \
    case fid:                                                                                             \
        f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2), KT_FP_A(a4, 3), KT_FP_A(a5, 4), KT_FP_A(a6, 5), \
          KT_FP_A(a7, 6));                                                                                \
        result.Free();                                                                                    \
        break;

// Time-taking forms: the call's time is passed as the last argument.
#define FNT_0(fid, rt, f) case fid: KT_FP_R(rt, f(t)); break;
#define FNT_1(fid, rt, f, a1) case fid: KT_FP_R(rt, f(KT_FP_A(a1, 0), t)); break;
#define FNT_2(fid, rt, f, a1, a2) case fid: KT_FP_R(rt, f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), t)); break;
#define FNT_3(fid, rt, f, a1, a2, a3) case fid: KT_FP_R(rt, f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2), t)); break;
#define VFNT_0(fid, f) case fid: f(t); result.Free(); break;
#define VFNT_1(fid, f, a1) case fid: f(KT_FP_A(a1, 0), t); result.Free(); break;
#define VFNT_2(fid, f, a1, a2) case fid: f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), t); result.Free(); break;
#define VFNT_3(fid, f, a1, a2, a3) case fid: f(KT_FP_A(a1, 0), KT_FP_A(a2, 1), KT_FP_A(a3, 2), t); result.Free(); break;

// Properties: the getter answers the value, the setter takes it as its one argument.
#define PROP_FNS(getId, getFn, setId, setFn, ptype) \
    case getId: KT_FP_R(ptype, getFn()); break;       \
    case setId: setFn(KT_FP_A(ptype, 0)); result.Free(); break;
#define RO_PROP_FN(getId, getFn, ptype) case getId: KT_FP_R(ptype, getFn()); break;
#define PROP_TFNS(getId, getFn, setId, setFn, ptype) \
    case getId: KT_FP_R(ptype, getFn(t)); break;       \
    case setId: setFn(KT_FP_A(ptype, 0), t); result.Free(); break;
#define RO_PROP_TFN(getId, getFn, ptype) case getId: KT_FP_R(ptype, getFn(t)); break;
