#include "maxscript.h"

#include <algorithm>
#include <map>
#include <memory>

#include "bind.h"
#include "control.h"
#include "inode.h"
#include "script/interpreter.h"
#include "strclass.h"

namespace hs = host::script;

namespace {

// Values made during the innermost primitive call.
struct CallArena {
    std::vector<Value*> made;
    CallArena* previous;
};
thread_local CallArena* g_arena = nullptr;

struct ArenaScope {
    CallArena arena;
    ArenaScope() : arena{{}, g_arena} { g_arena = &arena; }
    ~ArenaScope() {
        g_arena = arena.previous;
        for (Value* v : arena.made) delete v;
    }
};

std::string Narrow(const MCHAR* s) { return host::ToUtf8(s ? s : L""); }

// Primitives registered by loaded libraries, by name; the interpreters pick them up.
std::map<std::wstring, PrimitiveFunction>& Registry() {
    static auto* r = new std::map<std::wstring, PrimitiveFunction>();
    return *r;
}

hs::Value CallPrimitive(PrimitiveFunction fn, hs::Interpreter&, const hs::CallArgs& a) {
    // the arguments are made before the call's arena opens: they belong to this frame
    std::vector<std::unique_ptr<Value>> args;
    std::vector<Value*> argv;
    for (const hs::Value& v : a.pos) {
        args.push_back(std::make_unique<Value>(v));
        argv.push_back(args.back().get());
    }
    ArenaScope scope;
    Value* r = nullptr;
    try {
        r = fn(argv.data(), static_cast<int>(argv.size()));
    } catch (const ScriptException& e) {
        throw hs::ScriptError(e.Message());
    }
    return r ? r->ScriptValue() : hs::Value();
}

void InstallPrimitive(hs::Interpreter& in, const std::wstring& name, PrimitiveFunction fn) {
    in.RegisterPrimitive(host::ToUtf8(name),
                         [fn](hs::Interpreter& i, const hs::CallArgs& a) { return CallPrimitive(fn, i, a); });
}

void BindPrimitives(hs::Interpreter& in) {
    for (const auto& [name, fn] : Registry()) InstallPrimitive(in, name, fn);
}

const bool registered = hs::RegisterBinder(&BindPrimitives);

}  // namespace

namespace host::script {

struct FPCallValues::Impl {
    ArenaScope scope;
};
FPCallValues::FPCallValues() : impl_(new Impl) {}
FPCallValues::~FPCallValues() { delete impl_; }
::Value* FPCallValues::Make(const Value& v) { return new ::Value(v); }

// Fills an FPValue from a script value; installed by the function publishing binding.
void (*g_fillFPValue)(const Value& v, FPValue* out) = nullptr;
}  // namespace host::script

BOOL ExecuteMAXScriptScript(const MCHAR* text, BOOL quietErrors, FPValue* result) {
    hs::RunOptions opt;
    opt.quiet = quietErrors != FALSE;
    hs::RunResult r = hs::Interpreter::Global().Run(host::ToUtf8(text ? text : L""), opt);
    if (result && hs::g_fillFPValue) hs::g_fillFPValue(r.ok ? r.value : hs::Value(), result);
    return r.ok ? TRUE : FALSE;
}

// ---- values ---------------------------------------------------------------------------------------

[[gnu::noinline]] void* Value::operator new(size_t size) {
    void* p = ::operator new(size);
    if (g_arena) g_arena->made.push_back(static_cast<Value*>(p));
    return p;
}

// Both kept out of line, so that the compiler pairs the two class functions rather than the
// global ones they call.
[[gnu::noinline]] void Value::operator delete(void* p) { ::operator delete(p); }

Value undefined;
Value ok{hs::Value::Ok()};
Value true_value{hs::Value::Bool(true)};
Value false_value{hs::Value::Bool(false)};

INode* Value::to_node() const {
    if (!hs::scene::IsNodeValue(v_)) throw hs::ConversionError(v_, "Node");
    return hs::scene::ToNode(v_);
}
int Value::to_int() const { return v_.ToInt(); }
float Value::to_float() const { return v_.ToFloat(); }
BOOL Value::to_bool() const { return v_.ToBool() ? TRUE : FALSE; }
TimeValue Value::to_timevalue() const { return hs::TimeOf(v_); }
const MCHAR* Value::to_string() const {
    text_ = host::FromUtf8(v_.ToStr());
    return text_.c_str();
}
Point3 Value::to_point3() const { return hs::ToPoint3(v_); }
Quat Value::to_quat() const { return hs::ToQuat(v_); }
Matrix3 Value::to_matrix3() const { return hs::ToMatrix(v_); }
ReferenceTarget* Value::to_reftarg() const {
    Animatable* a = hs::scene::ToAnim(v_);
    if (!a && !(v_.IsObject() && v_.RawObject()->IsDead())) throw hs::ConversionError(v_, "ReferenceTarget");
    return dynamic_cast<ReferenceTarget*>(a);
}
Control* Value::to_controller() const {
    auto* c = dynamic_cast<Control*>(hs::scene::ToAnim(v_));
    if (!c) throw hs::ConversionError(v_, "Controller");
    return c;
}

bool is_undefined(const Value* v) { return v && v->ScriptValue().IsUndefined(); }
bool is_node(const Value* v) { return v && hs::scene::IsNodeValue(v->ScriptValue()); }
bool is_number(const Value* v) { return v && v->ScriptValue().IsNumber(); }
bool is_integer(const Value* v) { return v && v->ScriptValue().IsInt(); }
bool is_float(const Value* v) { return v && v->ScriptValue().IsFloat(); }
bool is_bool(const Value* v) { return v && v->ScriptValue().IsBool(); }
bool is_string(const Value* v) { return v && v->ScriptValue().IsString(); }
bool is_name(const Value* v) { return v && v->ScriptValue().IsName(); }
bool is_point3(const Value* v) { return v && v->ScriptValue().tag() == hs::Tag::Point3; }
bool is_quat(const Value* v) { return v && v->ScriptValue().tag() == hs::Tag::Quat; }
bool is_matrix3(const Value* v) { return v && v->ScriptValue().tag() == hs::Tag::Matrix3; }
bool is_time(const Value* v) { return v && v->ScriptValue().IsTime(); }
bool is_array(const Value* v) { return v && v->ScriptValue().IsArray(); }
bool is_controller(const Value* v) {
    return v && dynamic_cast<Control*>(hs::scene::ToAnim(v->ScriptValue())) != nullptr;
}

Integer::Integer(int i) : Value(hs::Value::Int(i)) {}
Float::Float(float f) : Value(hs::Value::Float(f)) {}
String::String(const MCHAR* s) : Value(hs::Value::String(Narrow(s))) {}
Name::Name(const MCHAR* s) : Value(hs::Value::FromName(hs::Name::Intern(Narrow(s)))) {}
Point3Value::Point3Value(const Point3& p) : Value(hs::FromPoint3(p)) {}
QuatValue::QuatValue(const Quat& q) : Value(hs::FromQuat(q)) {}
Matrix3Value::Matrix3Value(const Matrix3& m) : Value(hs::FromMatrix(m)) {}
MAXNode::MAXNode(INode* node) : Value(hs::scene::NodeValue(node)) {}
Value* MAXNode::intern(INode* node) { return node ? static_cast<Value*>(new MAXNode(node)) : &undefined; }
MAXWrapper::MAXWrapper(Animatable* anim) : Value(hs::scene::AnimValue(anim)) {}
Value* MAXWrapper::intern(Animatable* anim) { return anim ? static_cast<Value*>(new MAXWrapper(anim)) : &undefined; }

Array::Array(int capacity) { items_.reserve(static_cast<size_t>(std::max(0, capacity))); }
void Array::append(Value* v) { items_.push_back(v ? v : &undefined); }
hs::Value Array::ScriptValue() const {
    std::vector<hs::Value> items;
    for (Value* v : items_) items.push_back(v->ScriptValue());
    return hs::Value::NewArray(std::move(items));
}

// ---- errors -----------------------------------------------------------------------------------------

RuntimeError::RuntimeError(const MCHAR* text) : ScriptException("Runtime error: " + Narrow(text)) {}
RuntimeError::RuntimeError(const MCHAR* text, Value* v)
    : ScriptException("Runtime error: " + Narrow(text) + (v ? v->ScriptValue().Print() : std::string("undefined"))) {}
ArgCountError::ArgCountError(const MCHAR* fn, int wanted, int got)
    : ScriptException(hs::ArgCountError(Narrow(fn), wanted, got).Message()) {}
ConversionError::ConversionError(Value* v, const MCHAR* type)
    : ScriptException(hs::ConversionError(v ? v->ScriptValue() : hs::Value(), Narrow(type)).Message()) {}
TypeError::TypeError(const MCHAR* text) : ScriptException("Type error: " + Narrow(text)) {}

// ---- registration -------------------------------------------------------------------------------------

PrimitiveRegistration::PrimitiveRegistration(const MCHAR* name, PrimitiveFunction fn) : name_(name ? name : L"") {
    Registry()[name_] = fn;
    InstallPrimitive(hs::Interpreter::Global(), name_, fn);
}

PrimitiveRegistration::~PrimitiveRegistration() {
    Registry().erase(name_);
    // the library that owns the function is going away: scripts must not reach it any more
    hs::Interpreter::Global().SetGlobal(host::ToUtf8(name_), hs::Value());
}
