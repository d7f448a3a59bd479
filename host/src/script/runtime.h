// Interpreter internals shared by the parser, the evaluator and the built-ins.
#pragma once

#include <functional>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "script/interpreter.h"

namespace host::script {

struct Node;
struct FunctionProto;

// A global variable. System globals read and write through the host.
struct GlobalCell {
    Name name;
    Value value;
    std::function<Value(Interpreter&)> get;
    std::function<void(Interpreter&, const Value&)> set;
    bool system = false;
    // A function, class or constant the host defined; a block that assigns the name gets a
    // local of its own instead of replacing it for every later script.
    bool builtin = false;
};

// Locals of one activation: a function call or a top-level run. Closures keep their frame.
struct Frame final : HeapObject {
    Frame(uint32_t n, Frame* parentFrame) : parent(parentFrame), slots(new Value[n ? n : 1]), count(n) {}
    Ref<Frame> parent;
    std::unique_ptr<Value[]> slots;
    uint32_t count;
};

// A parsed text: owns every node, so closures made from it keep it alive.
struct ScriptUnit final : HeapObject {
    // Out of line, where Node is complete.
    ~ScriptUnit() override;
    std::vector<std::unique_ptr<Node>> nodes;
    std::vector<std::unique_ptr<FunctionProto>> functions;
    std::vector<Node*> top;  // top-level expressions
    uint32_t topSlots = 0;
    std::string sourceName;
    template <class T, class... A>
    T* Make(A&&... a) {
        auto p = std::make_unique<T>(std::forward<A>(a)...);
        T* raw = p.get();
        nodes.push_back(std::move(p));
        return raw;
    }
};

struct KeyParam {
    Name name;
    uint32_t slot;
    Node* def;  // null: unsupplied when left out
};

struct FunctionProto {
    std::string name;
    std::vector<uint32_t> params;  // slots of positional parameters
    std::vector<KeyParam> keys;
    uint32_t slots = 0;
    Node* body = nullptr;
    bool hasReturn = false;
    bool mapped = false;
};

// A user function: prototype plus the frame it was defined in.
class FunctionValue final : public ScriptObject {
public:
    FunctionValue(ScriptUnit* unit, FunctionProto* proto, Frame* env) : unit_(unit), proto_(proto), env_(env) {}
    ScriptClass* Class() const override { return classes::Function(); }
    void Print(std::string& out) const override { out += proto_->name + "()"; }
    bool Call(Interpreter& in, const CallArgs& args, Value& out) override;
    const FunctionProto& Proto() const { return *proto_; }

private:
    Value Invoke(Interpreter& in, const CallArgs& args);
    Ref<ScriptUnit> unit_;
    FunctionProto* proto_;
    Ref<Frame> env_;
};

// Non-local exits. Not std::exceptions, so no `catch` of the script or the host swallows them.
struct ExitSignal {
    Value value;
};
struct ContinueSignal {};
struct ReturnSignal {
    Value value;
};
// Raised by the interrupt flag; the script's `try` does not catch it.
struct InterruptSignal {};

struct Interpreter::Impl {
    std::unordered_map<const void*, std::unique_ptr<GlobalCell>> globals;
    // Cells made while parsing; kept only when the whole text parses.
    std::unordered_map<const void*, std::unique_ptr<GlobalCell>> pending;
    std::vector<ScriptError> handling;  // errors whose catch is running, innermost last
    ListenerSink* listener = nullptr;
    PromptProvider* prompts = nullptr;
    std::unique_ptr<PromptProvider> headless;
    bool defining = false;  // while the constructor and the binders define the built-ins
    std::mt19937 rng{12345};
    // macroScript definitions by category and name (see MacroKey).
    std::unordered_map<std::string, Value> macros;

    GlobalCell* Find(Name n) {
        auto it = globals.find(n.Id());
        if (it != globals.end()) return it->second.get();
        auto p = pending.find(n.Id());
        return p == pending.end() ? nullptr : p->second.get();
    }
    GlobalCell* Define(Name n) {
        if (GlobalCell* c = Find(n)) return c;
        auto cell = std::make_unique<GlobalCell>();
        cell->name = n;
        GlobalCell* raw = cell.get();
        globals.emplace(n.Id(), std::move(cell));
        return raw;
    }
    GlobalCell* DefinePending(Name n) {
        if (GlobalCell* c = Find(n)) return c;
        auto cell = std::make_unique<GlobalCell>();
        cell->name = n;
        GlobalCell* raw = cell.get();
        pending.emplace(n.Id(), std::move(cell));
        return raw;
    }
    void CommitPending() {
        for (auto& [k, v] : pending) globals.emplace(k, std::move(v));
        pending.clear();
    }
};

// The key of a macro: category and name, ignoring case.
std::string MacroKey(std::string_view category, std::string_view name);

// Parses a whole text; throws SyntaxError. Globals first named by the text go to the pending table.
Ref<ScriptUnit> Parse(Interpreter& in, std::string_view text, std::string sourceName);

// Runs every top-level expression of a unit in a fresh frame; `echo` prints each value.
Value RunUnit(Interpreter& in, ScriptUnit& unit, bool echo);

// Operators shared by the evaluator and the built-ins.
enum class BinOp : uint8_t { Add, Sub, Mul, Div, Pow, Eq, Ne, Lt, Gt, Le, Ge };
const char* OpSymbol(BinOp op);
Value Arith(Interpreter& in, BinOp op, const Value& a, const Value& b);
Value Negate(const Value& v);
Value Convert(Interpreter& in, const Value& v, const Value& cls);
// Properties and indexing of the interpreter's own values. `found` false: no such property.
bool GetBuiltinProperty(Interpreter& in, const Value& v, Name prop, Value& out);
// Answers the modified copy of a value-type target (`p.x = 1` on a point3).
bool SetBuiltinProperty(Interpreter& in, Value& target, Name prop, const Value& v);
Value GetIndexed(Interpreter& in, const Value& target, const Value& index);
// Arrays are set in place; value types (strings) answer the modified copy through `target`.
void SetIndexed(Interpreter& in, Value& target, const Value& index, const Value& v);
// The items of a collection for `for … in`; throws when not iterable.
std::vector<Value> Items(Interpreter& in, const Value& coll);
// Time of a number or time value: numbers are frames.
int32_t TimeOf(const Value& v);

// A global that groups functions: `maxOps.getNodeByHandle h`, `macros.run c n`.
class NamespaceObj final : public ScriptObject {
public:
    explicit NamespaceObj(std::string name) : name_(std::move(name)) {}
    void Add(std::string_view member, PrimitiveFn fn) {
        members_.push_back({Name::Intern(member), Value::Object(new Primitive(std::string(member), std::move(fn)))});
    }
    ScriptClass* Class() const override { return classes::ValueClass(); }
    void Print(std::string& out) const override { out += "<" + name_ + ">"; }
    bool GetProperty(Interpreter&, Name prop, Value& out) override {
        for (const auto& [n, v] : members_)
            if (n == prop) {
                out = v;
                return true;
            }
        return false;
    }

private:
    std::string name_;
    std::vector<std::pair<Name, Value>> members_;
};

// Wildcards as matchPattern has them: * any run, ? any one character.
bool MatchPattern(const char* s, const char* pattern, bool ignoreCase);

// Built-in registration, one per topic.
void RegisterCoreBuiltins(Interpreter& in);
void RegisterMathBuiltins(Interpreter& in);
void RegisterStringBuiltins(Interpreter& in);
void RegisterIniBuiltins(Interpreter& in);
void RegisterFileBuiltins(Interpreter& in);

// Quaternion and matrix helpers on plain floats, in the host's conventions.
namespace vmath {
void QuatMul(const float a[4], const float b[4], float out[4]);  // applies a first
void QuatInverse(const float q[4], float out[4]);
void QuatNormalize(float q[4]);
void EulerToQuat(const float degXYZ[3], float out[4]);
void QuatToEuler(const float q[4], float degXYZ[3]);
void QuatToMatrix(const float q[4], float m[12]);
void MatrixToQuat(const float m[12], float q[4]);
void MatrixMul(const float a[12], const float b[12], float out[12]);  // applies a first
bool MatrixInverse(const float m[12], float out[12]);
void TransformPoint(const float p[3], const float m[12], float out[3]);
void RotateVector(const float v[3], const float q[4], float out[3]);
void Identity(float m[12]);
}  // namespace vmath

}  // namespace host::script
