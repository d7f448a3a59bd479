#include <cctype>
#include <cmath>
#include <cstdio>
#include <memory>
#include <unordered_map>

#include "maxtypes.h"
#include "runtime.h"
#include "script_time.h"

namespace host::script {

// ---- names ------------------------------------------------------------------------------------

struct Name::Entry {
    std::vector<std::unique_ptr<std::string>> spellings;  // the first is the canonical one
};

namespace {

std::string FoldCase(std::string_view s) {
    std::string r(s);
    for (char& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return r;
}

}  // namespace

Name Name::Intern(std::string_view s) {
    static auto* table = new std::unordered_map<std::string, std::unique_ptr<Entry>>();
    std::string key = FoldCase(s);
    auto it = table->find(key);
    Entry* e;
    if (it != table->end()) {
        e = it->second.get();
        for (const auto& sp : e->spellings)
            if (*sp == s) return Name(e, sp.get());
    } else {
        auto made = std::make_unique<Entry>();
        e = made.get();
        table->emplace(std::move(key), std::move(made));
    }
    e->spellings.push_back(std::make_unique<std::string>(s));
    return Name(e, e->spellings.back().get());
}

std::string_view Name::Str() const { return spelling_ ? std::string_view(*spelling_) : std::string_view(); }

int TicksPerFrame() {
    int t = ::GetTicksPerFrame();
    return t > 0 ? t : 160;
}

// ---- construction -----------------------------------------------------------------------------

Value Value::String(std::string s) {
    Value v(Tag::String);
    v.u_.obj = new StringObj(std::move(s));
    v.u_.obj->AddRef();
    return v;
}

Value Value::NewArray(std::vector<Value> items) {
    Value v(Tag::Array);
    v.u_.obj = new ArrayObj(std::move(items));
    v.u_.obj->AddRef();
    return v;
}

Value Value::Matrix3(const float rows[12]) {
    Value v(Tag::Matrix3);
    auto* m = new Matrix3Obj;
    std::memcpy(m->m, rows, sizeof(m->m));
    v.u_.obj = m;
    v.u_.obj->AddRef();
    return v;
}

Value Value::Object(ScriptObject* o) {
    if (!o) return Value();
    Value v(Tag::Object);
    v.u_.obj = o;
    o->AddRef();
    return v;
}

// ---- conversions ------------------------------------------------------------------------------

bool Value::ToBool() const {
    if (tag_ == Tag::Bool) return u_.b;
    throw ConversionError(*this, "Boolean");
}

int32_t Value::ToInt() const {
    switch (tag_) {
    case Tag::Int:
    case Tag::Time: return u_.i;
    case Tag::Float:
        if (!std::isfinite(u_.f) || std::fabs(u_.f) >= 2147483648.f) throw ConversionError(*this, "Integer");
        return static_cast<int32_t>(u_.f);
    default: throw ConversionError(*this, "Integer");
    }
}

float Value::ToFloat() const {
    switch (tag_) {
    case Tag::Int:
    case Tag::Time: return static_cast<float>(u_.i);
    case Tag::Float: return u_.f;
    default: throw ConversionError(*this, "Float");
    }
}

int32_t Value::ToTime() const {
    switch (tag_) {
    case Tag::Time: return u_.i;
    case Tag::Int: return u_.i * TicksPerFrame();
    case Tag::Float: return static_cast<int32_t>(std::lround(u_.f * TicksPerFrame()));
    default: throw ConversionError(*this, "Time");
    }
}

Name Value::ToName() const {
    if (tag_ == Tag::Name) return u_.name;
    if (tag_ == Tag::String) return Name::Intern(RawString()->str);
    throw ConversionError(*this, "Name");
}

const std::string& Value::ToStringRef() const {
    if (tag_ == Tag::String) return RawString()->str;
    throw ConversionError(*this, "String");
}

std::string Value::ToStr() const {
    if (tag_ == Tag::String) return RawString()->str;
    if (tag_ == Tag::Name) return std::string(u_.name.Str());
    throw ConversionError(*this, "String");
}

ArrayObj& Value::ToArray() const {
    if (tag_ == Tag::Array) return *RawArray();
    throw ConversionError(*this, "Array");
}

void Value::ToPoint3(float out[3]) const {
    if (tag_ == Tag::Point3 || tag_ == Tag::Point2) {
        out[0] = u_.v[0];
        out[1] = u_.v[1];
        out[2] = tag_ == Tag::Point3 ? u_.v[2] : 0.f;
        return;
    }
    throw ConversionError(*this, "Point3");
}

void Value::ToQuat(float out[4]) const {
    if (tag_ == Tag::Quat) {
        std::memcpy(out, u_.v, sizeof(float) * 4);
        return;
    }
    if (tag_ == Tag::Euler) {
        vmath::EulerToQuat(u_.v, out);
        return;
    }
    if (tag_ == Tag::Matrix3) {
        vmath::MatrixToQuat(RawMatrix3()->m, out);
        return;
    }
    throw ConversionError(*this, "Quat");
}

void Value::ToMatrix3(float out[12]) const {
    if (tag_ == Tag::Matrix3) {
        std::memcpy(out, RawMatrix3()->m, sizeof(float) * 12);
        return;
    }
    if (tag_ == Tag::Quat || tag_ == Tag::Euler) {
        float q[4];
        ToQuat(q);
        vmath::QuatToMatrix(q, out);
        return;
    }
    throw ConversionError(*this, "Matrix3");
}

// ---- printing ---------------------------------------------------------------------------------

void FormatFloat(float f, std::string& out) {
    if (std::isnan(f)) {
        out += "nan";
        return;
    }
    if (std::isinf(f)) {
        out += f > 0 ? "inf" : "-inf";
        return;
    }
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", static_cast<double>(f));
    out += buf;
    bool marked = false;
    for (const char* c = buf; *c; ++c)
        if (*c == '.' || *c == 'e') marked = true;
    if (!marked) out += ".0";
}

void FormatComponent(float f, std::string& out) {
    if (f == 0.f) f = 0.f;  // no "-0"
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", static_cast<double>(f));
    out += buf;
}

void FormatTime(int32_t ticks, std::string& out) {
    int tpf = TicksPerFrame();
    char buf[48];
    if (ticks % tpf == 0) std::snprintf(buf, sizeof buf, "%df", ticks / tpf);
    else std::snprintf(buf, sizeof buf, "%gf", static_cast<double>(ticks) / tpf);
    out += buf;
}

void QuoteString(std::string_view s, std::string& out) {
    out += '"';
    for (char c : s) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default: out += c;
        }
    }
    out += '"';
}

namespace {

bool PlainName(std::string_view s) {
    if (s.empty()) return false;
    for (char c : s)
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_' || static_cast<unsigned char>(c) >= 0x80))
            return false;
    return true;
}

void PrintComponents(const float* v, int n, std::string& out, char sep) {
    for (int i = 0; i < n; ++i) {
        if (i) out += sep;
        FormatComponent(v[i], out);
    }
}

void PrintImpl(const Value& v, std::string& out, bool display, int depth) {
    switch (v.tag()) {
    case Tag::Undefined: out += "undefined"; return;
    case Tag::Unsupplied: out += "unsupplied"; return;
    case Tag::Ok: out += "OK"; return;
    case Tag::Bool: out += v.RawBool() ? "true" : "false"; return;
    case Tag::Int: out += std::to_string(v.RawInt()); return;
    case Tag::Float: FormatFloat(v.RawFloat(), out); return;
    case Tag::Time: FormatTime(v.RawTime(), out); return;
    case Tag::Name: {
        std::string_view s = v.RawName().Str();
        if (display) {
            out += s;
        } else if (PlainName(s)) {
            out += '#';
            out += s;
        } else {
            out += "#'";
            out += s;
            out += '\'';
        }
        return;
    }
    case Tag::Point2:
        out += '[';
        PrintComponents(v.RawVec(), 2, out, ',');
        out += ']';
        return;
    case Tag::Point3:
        out += '[';
        PrintComponents(v.RawVec(), 3, out, ',');
        out += ']';
        return;
    case Tag::Quat:
        out += "(quat ";
        PrintComponents(v.RawVec(), 4, out, ' ');
        out += ')';
        return;
    case Tag::Euler:
        out += "(eulerAngles ";
        PrintComponents(v.RawVec(), 3, out, ' ');
        out += ')';
        return;
    case Tag::Color:
        out += "(color ";
        PrintComponents(v.RawVec(), v.RawVec()[3] == 255.f ? 3 : 4, out, ' ');
        out += ')';
        return;
    case Tag::Interval:
        out += "(interval ";
        FormatTime(v.IntervalStart(), out);
        out += ' ';
        FormatTime(v.IntervalEnd(), out);
        out += ')';
        return;
    case Tag::String:
        if (display) out += v.RawString()->str;
        else QuoteString(v.RawString()->str, out);
        return;
    case Tag::Matrix3: {
        const float* m = v.RawMatrix3()->m;
        out += "(matrix3";
        for (int r = 0; r < 4; ++r) {
            out += " [";
            PrintComponents(m + r * 3, 3, out, ',');
            out += ']';
        }
        out += ')';
        return;
    }
    case Tag::Array: {
        if (depth > 32) {
            out += "#(...)";
            return;
        }
        out += "#(";
        bool first = true;
        for (const Value& item : v.RawArray()->items) {
            if (!first) out += ", ";
            first = false;
            PrintImpl(item, out, false, depth + 1);
        }
        out += ')';
        return;
    }
    case Tag::Object:
        if (display) v.RawObject()->ToDisplay(out);
        else v.RawObject()->Print(out);
        return;
    }
}

}  // namespace

std::string Value::Print() const {
    std::string s;
    PrintImpl(*this, s, false, 0);
    return s;
}
void Value::Print(std::string& out) const { PrintImpl(*this, out, false, 0); }
std::string Value::ToDisplay() const {
    std::string s;
    PrintImpl(*this, s, true, 0);
    return s;
}
void Value::ToDisplay(std::string& out) const { PrintImpl(*this, out, true, 0); }

// ---- equality ---------------------------------------------------------------------------------

bool ValuesEqual(const Value& a, const Value& b) {
    if (a.IsNumber() && b.IsNumber()) {
        if (a.IsInt() && b.IsInt()) return a.RawInt() == b.RawInt();
        return a.ToFloat() == b.ToFloat();
    }
    if (a.IsTime() || b.IsTime()) {
        if ((a.IsTime() || a.IsNumber()) && (b.IsTime() || b.IsNumber())) return a.ToTime() == b.ToTime();
        return false;
    }
    if (a.tag() != b.tag()) return false;
    switch (a.tag()) {
    case Tag::Undefined:
    case Tag::Unsupplied:
    case Tag::Ok: return true;
    case Tag::Bool: return a.RawBool() == b.RawBool();
    case Tag::Name: return a.RawName() == b.RawName();
    case Tag::Point2: return std::memcmp(a.RawVec(), b.RawVec(), sizeof(float) * 2) == 0;
    case Tag::Point3:
    case Tag::Euler: return a.RawVec()[0] == b.RawVec()[0] && a.RawVec()[1] == b.RawVec()[1] && a.RawVec()[2] == b.RawVec()[2];
    case Tag::Quat:
    case Tag::Color:
        for (int i = 0; i < 4; ++i)
            if (a.RawVec()[i] != b.RawVec()[i]) return false;
        return true;
    case Tag::Interval: return a.IntervalStart() == b.IntervalStart() && a.IntervalEnd() == b.IntervalEnd();
    case Tag::String: return a.RawString()->str == b.RawString()->str;
    case Tag::Matrix3:
        for (int i = 0; i < 12; ++i)
            if (a.RawMatrix3()->m[i] != b.RawMatrix3()->m[i]) return false;
        return true;
    case Tag::Array: return a.RawArray() == b.RawArray();
    case Tag::Object: return a.RawObject()->Equals(*b.RawObject());
    default: return false;
    }
}

// ---- objects and classes ----------------------------------------------------------------------

bool ScriptObject::GetProperty(Interpreter&, Name, Value&) { return false; }
bool ScriptObject::SetProperty(Interpreter&, Name, const Value&) { return false; }
bool ScriptObject::CallMethod(Interpreter& in, Name method, const CallArgs& args, Value& out) {
    Value fn;
    if (!GetProperty(in, method, fn)) return false;
    out = in.Call(fn, args);
    return true;
}
bool ScriptObject::Call(Interpreter&, const CallArgs&, Value&) { return false; }
bool ScriptObject::GetIndex(Interpreter&, const Value&, Value&) { return false; }
bool ScriptObject::SetIndex(Interpreter&, const Value&, const Value&) { return false; }
bool ScriptObject::Items(Interpreter&, std::vector<Value>&) { return false; }

bool ScriptClass::IsKindOf(const ScriptClass* c) const {
    for (const ScriptClass* k = this; k; k = k->super_)
        if (k == c) return true;
    return false;
}

ScriptClass* ScriptClass::Class() const { return super_ ? super_ : const_cast<ScriptClass*>(this); }

bool ScriptClass::Call(Interpreter& in, const CallArgs& args, Value& out) {
    if (!ctor_) return false;
    out = ctor_(in, args);
    return true;
}

namespace classes {

namespace {
ScriptClass* Immortal(ScriptClass* c) {
    c->MakeImmortal();
    return c;
}
}  // namespace

#define KT_SCRIPT_CLASS(fn, name, super)                             \
    ScriptClass* fn() {                                              \
        static ScriptClass* c = Immortal(new ScriptClass(name, super)); \
        return c;                                                    \
    }

KT_SCRIPT_CLASS(ValueClass, "Value", nullptr)
KT_SCRIPT_CLASS(Number, "Number", ValueClass())
KT_SCRIPT_CLASS(Integer, "Integer", Number())
KT_SCRIPT_CLASS(Float, "Float", Number())
KT_SCRIPT_CLASS(Time, "Time", Number())
KT_SCRIPT_CLASS(Boolean, "BooleanClass", ValueClass())
KT_SCRIPT_CLASS(UndefinedClass, "UndefinedClass", ValueClass())
KT_SCRIPT_CLASS(UnsuppliedClass, "UnsuppliedClass", ValueClass())
KT_SCRIPT_CLASS(OkClass, "OkClass", ValueClass())
KT_SCRIPT_CLASS(NameClass, "Name", ValueClass())
KT_SCRIPT_CLASS(String, "String", ValueClass())
KT_SCRIPT_CLASS(Array, "Array", ValueClass())
KT_SCRIPT_CLASS(Point2, "Point2", ValueClass())
KT_SCRIPT_CLASS(Point3, "Point3", ValueClass())
KT_SCRIPT_CLASS(Quat, "Quat", ValueClass())
KT_SCRIPT_CLASS(EulerAngles, "EulerAngles", ValueClass())
KT_SCRIPT_CLASS(Color, "Color", ValueClass())
KT_SCRIPT_CLASS(Matrix3, "Matrix3", ValueClass())
KT_SCRIPT_CLASS(Interval, "Interval", ValueClass())
KT_SCRIPT_CLASS(Function, "ScriptFunction", ValueClass())
KT_SCRIPT_CLASS(Primitive, "Primitive", ValueClass())
KT_SCRIPT_CLASS(StringStream, "StringStream", ValueClass())

#undef KT_SCRIPT_CLASS

}  // namespace classes

ScriptClass* ClassOf(const Value& v) {
    switch (v.tag()) {
    case Tag::Undefined: return classes::UndefinedClass();
    case Tag::Unsupplied: return classes::UnsuppliedClass();
    case Tag::Ok: return classes::OkClass();
    case Tag::Bool: return classes::Boolean();
    case Tag::Int: return classes::Integer();
    case Tag::Float: return classes::Float();
    case Tag::Time: return classes::Time();
    case Tag::Name: return classes::NameClass();
    case Tag::Point2: return classes::Point2();
    case Tag::Point3: return classes::Point3();
    case Tag::Quat: return classes::Quat();
    case Tag::Euler: return classes::EulerAngles();
    case Tag::Color: return classes::Color();
    case Tag::Interval: return classes::Interval();
    case Tag::String: return classes::String();
    case Tag::Array: return classes::Array();
    case Tag::Matrix3: return classes::Matrix3();
    case Tag::Object: return v.RawObject()->Class();
    }
    return classes::ValueClass();
}

// ---- errors -----------------------------------------------------------------------------------

ScriptError RuntimeError(std::string_view text) { return ScriptError("Runtime error: " + std::string(text)); }
ScriptError TypeError(std::string_view text) { return ScriptError("Type error: " + std::string(text)); }
ScriptError NotCallableError(const Value& v) {
    return TypeError("Call needs function or class, got: " + v.Print());
}
ScriptError NoFunctionError(std::string_view op, const Value& v) {
    return ScriptError("No \"\"" + std::string(op) + "\"\" function for " + v.Print());
}
ScriptError UnknownPropertyError(std::string_view prop, const Value& v) {
    return ScriptError("Unknown property: \"" + std::string(prop) + "\" in " + v.Print());
}
ScriptError ArgCountError(std::string_view fn, int wanted, int got) {
    return ArgCountError(fn, std::to_string(wanted), got);
}
ScriptError ArgCountError(std::string_view fn, std::string_view wanted, int got) {
    return ScriptError("Argument count error: " + std::string(fn) + " wanted " + std::string(wanted) + ", got " +
                       std::to_string(got));
}
ScriptError ConversionError(const Value& v, std::string_view type) {
    return ScriptError("Unable to convert: " + v.Print() + " to type: " + std::string(type));
}

void CheckArgCount(std::string_view fn, const CallArgs& args, int wanted) {
    if (static_cast<int>(args.Count()) != wanted) throw ArgCountError(fn, wanted, static_cast<int>(args.Count()));
}

void CheckArgCountRange(std::string_view fn, const CallArgs& args, int least, int most) {
    int n = static_cast<int>(args.Count());
    if (n >= least && n <= most) return;
    if (least == most) throw ArgCountError(fn, least, n);
    throw ArgCountError(fn, std::to_string(least) + " or " + std::to_string(most), n);
}

}  // namespace host::script
