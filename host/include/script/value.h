// Script values: a small tagged type. Numbers, booleans, names, vectors, quaternions, colours,
// Euler angles, times and intervals live inside the value; strings, arrays, matrices and host
// objects live on the heap behind an intrusive reference count. Main thread only.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace host::script {

class Interpreter;
class ScriptClass;
struct CallArgs;

// Base of everything a value may point to. The count starts at zero; Ref<> owns.
class HeapObject {
public:
    HeapObject() = default;
    HeapObject(const HeapObject&) = delete;
    HeapObject& operator=(const HeapObject&) = delete;
    virtual ~HeapObject() = default;
    void AddRef() { ++refs_; }
    void Release() {
        if (--refs_ == 0) delete this;
    }
    int RefCount() const { return refs_; }
    // Objects that live for the whole process (built-in classes): never freed.
    void MakeImmortal() { refs_ = 1 << 30; }

private:
    int refs_ = 0;
};

template <class T>
class Ref {
public:
    Ref() = default;
    Ref(T* p) : p_(p) {
        if (p_) p_->AddRef();
    }
    Ref(const Ref& o) : Ref(o.p_) {}
    Ref(Ref&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
    template <class U>
    Ref(const Ref<U>& o) : Ref(static_cast<T*>(o.get())) {}
    ~Ref() {
        if (p_) p_->Release();
    }
    Ref& operator=(Ref o) {
        std::swap(p_, o.p_);
        return *this;
    }
    T* get() const { return p_; }
    T* operator->() const { return p_; }
    T& operator*() const { return *p_; }
    explicit operator bool() const { return p_ != nullptr; }

private:
    T* p_ = nullptr;
};

// An interned, case-insensitive name (#foo, identifiers, property and keyword names).
// Two names are equal when they are the same ignoring ASCII case; each keeps the spelling it
// was made with. Names are never freed.
class Name {
public:
    Name() = default;
    static Name Intern(std::string_view s);
    // The spelling this name was made with.
    std::string_view Str() const;
    bool Empty() const { return entry_ == nullptr; }
    bool operator==(const Name& o) const { return entry_ == o.entry_; }
    bool operator!=(const Name& o) const { return entry_ != o.entry_; }
    // The same for every spelling of the name.
    const void* Id() const { return entry_; }

private:
    struct Entry;
    Name(const Entry* e, const std::string* spelling) : entry_(e), spelling_(spelling) {}
    const Entry* entry_ = nullptr;
    const std::string* spelling_ = nullptr;
};

class StringObj;
class ArrayObj;
class Matrix3Obj;
class ScriptObject;

enum class Tag : uint8_t {
    Undefined,
    Unsupplied,  // a keyword parameter the caller left out
    Ok,
    Bool,
    Int,
    Float,
    Time,   // ticks
    Name,
    Point2,
    Point3,
    Quat,    // x y z w
    Euler,   // degrees
    Color,   // r g b a, 0..255
    Interval,
    // Heap tags from here on.
    String,
    Array,
    Matrix3,
    Object,
};

class Value {
public:
    Value() : tag_(Tag::Undefined) { u_.obj = nullptr; }
    Value(const Value& o) : tag_(o.tag_), u_(o.u_) {
        if (IsHeap()) u_.obj->AddRef();
    }
    Value(Value&& o) noexcept : tag_(o.tag_), u_(o.u_) { o.tag_ = Tag::Undefined; }
    Value& operator=(const Value& o) {
        if (o.IsHeap()) o.u_.obj->AddRef();
        if (IsHeap()) u_.obj->Release();
        tag_ = o.tag_;
        u_ = o.u_;
        return *this;
    }
    Value& operator=(Value&& o) noexcept {
        if (this != &o) {
            if (IsHeap()) u_.obj->Release();
            tag_ = o.tag_;
            u_ = o.u_;
            o.tag_ = Tag::Undefined;
        }
        return *this;
    }
    ~Value() {
        if (IsHeap()) u_.obj->Release();
    }

    static Value Undefined() { return Value(); }
    static Value Unsupplied() { return Value(Tag::Unsupplied); }
    static Value Ok() { return Value(Tag::Ok); }
    static Value Bool(bool b) {
        Value v(Tag::Bool);
        v.u_.b = b;
        return v;
    }
    static Value Int(int32_t i) {
        Value v(Tag::Int);
        v.u_.i = i;
        return v;
    }
    static Value Float(float f) {
        Value v(Tag::Float);
        v.u_.f = f;
        return v;
    }
    static Value Time(int32_t ticks) {
        Value v(Tag::Time);
        v.u_.i = ticks;
        return v;
    }
    static Value FromName(Name n) {
        Value v(Tag::Name);
        v.u_.name = n;
        return v;
    }
    static Value Point2(float x, float y) { return Vec(Tag::Point2, x, y, 0, 0); }
    static Value Point3(float x, float y, float z) { return Vec(Tag::Point3, x, y, z, 0); }
    static Value Quat(float x, float y, float z, float w) { return Vec(Tag::Quat, x, y, z, w); }
    static Value Euler(float x, float y, float z) { return Vec(Tag::Euler, x, y, z, 0); }
    static Value Color(float r, float g, float b, float a = 255.f) { return Vec(Tag::Color, r, g, b, a); }
    static Value Interval(int32_t start, int32_t end) {
        Value v(Tag::Interval);
        v.u_.iv[0] = start;
        v.u_.iv[1] = end;
        return v;
    }
    static Value String(std::string s);
    static Value NewArray(std::vector<Value> items = {});
    // Rows 0..3 of three floats each (three axes and the translation).
    static Value Matrix3(const float rows[12]);
    static Value Object(ScriptObject* o);
    static Value Object(const Ref<ScriptObject>& o) { return Object(o.get()); }

    Tag tag() const { return tag_; }
    bool IsHeap() const { return tag_ >= Tag::String; }
    bool IsUndefined() const { return tag_ == Tag::Undefined; }
    bool IsUnsupplied() const { return tag_ == Tag::Unsupplied; }
    bool IsBool() const { return tag_ == Tag::Bool; }
    bool IsInt() const { return tag_ == Tag::Int; }
    bool IsFloat() const { return tag_ == Tag::Float; }
    bool IsNumber() const { return tag_ == Tag::Int || tag_ == Tag::Float; }
    bool IsTime() const { return tag_ == Tag::Time; }
    bool IsName() const { return tag_ == Tag::Name; }
    bool IsString() const { return tag_ == Tag::String; }
    bool IsArray() const { return tag_ == Tag::Array; }
    bool IsObject() const { return tag_ == Tag::Object; }

    // Unchecked accessors: the caller has tested the tag.
    bool RawBool() const { return u_.b; }
    int32_t RawInt() const { return u_.i; }
    float RawFloat() const { return u_.f; }
    int32_t RawTime() const { return u_.i; }
    Name RawName() const { return u_.name; }
    const float* RawVec() const { return u_.v; }
    float* MutableVec() { return u_.v; }
    int32_t IntervalStart() const { return u_.iv[0]; }
    int32_t IntervalEnd() const { return u_.iv[1]; }
    StringObj* RawString() const { return reinterpret_cast<StringObj*>(u_.obj); }
    ArrayObj* RawArray() const { return reinterpret_cast<ArrayObj*>(u_.obj); }
    Matrix3Obj* RawMatrix3() const { return reinterpret_cast<Matrix3Obj*>(u_.obj); }
    ScriptObject* RawObject() const { return reinterpret_cast<ScriptObject*>(u_.obj); }

    // Checked conversions. Each throws the script's "Unable to convert" error on a mismatch.
    bool ToBool() const;
    int32_t ToInt() const;    // integers, floats (truncated), times (ticks)
    float ToFloat() const;    // integers, floats, times (ticks)
    int32_t ToTime() const;   // times; numbers are frames
    Name ToName() const;      // names and strings
    const std::string& ToStringRef() const;  // strings only
    std::string ToStr() const;  // strings and names
    ArrayObj& ToArray() const;
    // Point3 values; a Point2 widens with z = 0.
    void ToPoint3(float out[3]) const;
    void ToQuat(float out[4]) const;  // quats and Euler angles
    void ToMatrix3(float out[12]) const;  // matrices, quats, Euler angles
    // The object, or null when this is not an object of type T.
    template <class T>
    T* As() const {
        return tag_ == Tag::Object ? dynamic_cast<T*>(RawObject()) : nullptr;
    }

    // The listener's print form: strings quoted and escaped, arrays as #(…).
    std::string Print() const;
    void Print(std::string& out) const;
    // The text form used by `format`, `as string` and string concatenation.
    std::string ToDisplay() const;
    void ToDisplay(std::string& out) const;

private:
    explicit Value(Tag t) : tag_(t) { u_.obj = nullptr; }
    static Value Vec(Tag t, float a, float b, float c, float d) {
        Value v(t);
        v.u_.v[0] = a;
        v.u_.v[1] = b;
        v.u_.v[2] = c;
        v.u_.v[3] = d;
        return v;
    }
    union U {
        bool b;
        int32_t i;
        float f;
        float v[4];
        int32_t iv[2];
        Name name;
        HeapObject* obj;
        U() : obj(nullptr) {}
    };
    Tag tag_;
    U u_;
};

class StringObj final : public HeapObject {
public:
    explicit StringObj(std::string s) : str(std::move(s)) {}
    std::string str;  // UTF-8
};

// Arrays are shared by reference, as the language has them.
class ArrayObj final : public HeapObject {
public:
    ArrayObj() = default;
    explicit ArrayObj(std::vector<Value> v) : items(std::move(v)) {}
    std::vector<Value> items;
};

class Matrix3Obj final : public HeapObject {
public:
    float m[12];  // row-major: row0 xyz, row1, row2, row3 (translation)
};

// A host or interpreter object with script behaviour: functions, classes, nodes, controllers,
// interfaces, streams. Each hook answers false when the object has no such member; the
// interpreter then raises the language's error ("Unknown property", "Call needs function").
class ScriptObject : public HeapObject {
public:
    // The class `classOf` answers.
    virtual ScriptClass* Class() const = 0;
    // Print form, e.g. "$Point:hip".
    virtual void Print(std::string& out) const = 0;
    // Form used by format / as string; the print form unless overridden.
    virtual void ToDisplay(std::string& out) const { Print(out); }
    virtual bool GetProperty(Interpreter& in, Name prop, Value& out);
    virtual bool SetProperty(Interpreter& in, Name prop, const Value& v);
    // obj.name args: the default reads the property and calls it.
    virtual bool CallMethod(Interpreter& in, Name method, const CallArgs& args, Value& out);
    virtual bool Call(Interpreter& in, const CallArgs& args, Value& out);
    // Indexing is 1-based; answer false when the object is not indexable.
    virtual bool GetIndex(Interpreter& in, const Value& index, Value& out);
    virtual bool SetIndex(Interpreter& in, const Value& index, const Value& v);
    // Collections (objects, selection, children, keys): the items for `for … in`, `.count`,
    // `as array`. Answer false when the object is not a collection.
    virtual bool Items(Interpreter& in, std::vector<Value>& out);
    virtual bool Equals(const ScriptObject& o) const { return this == &o; }
    // A deleted node or a released target reads as undefined in tests like isValidNode.
    virtual bool IsDead() const { return false; }
};

// Keyword argument of a call.
struct KeyArg {
    Name key;
    Value value;
};

// The arguments of a call, valid for the duration of the call.
struct CallArgs {
    std::span<const Value> pos;
    std::span<const KeyArg> keys;
    size_t Count() const { return pos.size(); }
    const Value& operator[](size_t i) const { return pos[i]; }
    // The keyword argument's value, or null when absent.
    const Value* Key(Name n) const {
        for (const KeyArg& k : keys)
            if (k.key == n) return &k.value;
        return nullptr;
    }
    const Value* Key(std::string_view n) const { return Key(Name::Intern(n)); }
};

// Structural equality (the `==` operator): numbers across integer/float, names and vectors by
// value, strings by content, arrays and objects by identity unless the object says otherwise.
bool ValuesEqual(const Value& a, const Value& b);

// Float formatting of the listener: up to 6 significant digits, always a decimal point
// ("1.0", "0.333333", "1e+07").
void FormatFloat(float f, std::string& out);
// Vector component form: integral values without ".0" ("[0,0,90]").
void FormatComponent(float f, std::string& out);
// A time as frames: "10f", "0.5f".
void FormatTime(int32_t ticks, std::string& out);
// Escapes a string for its print form.
void QuoteString(std::string_view s, std::string& out);

}  // namespace host::script
