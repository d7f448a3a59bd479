// The script interpreter as plug-ins reach it: running texts, and defining primitives.
//
// A primitive is a C++ function that scripts call by name:
//
//     def_visible_primitive(CreateIKFKSolver, "CreateIKFKSolver");
//     Value* CreateIKFKSolver_cf(Value** arg_list, int count) {
//         check_arg_count(CreateIKFKSolver, 2, count);
//         if (!is_node(arg_list[0]))
//             throw RuntimeError(_M("Expected a Node for the first argument, in function CreateIKFKSolver"));
//         INode* start = arg_list[0]->to_node();
//         ...
//         return MAXNode::intern(node);  // or &undefined
//     }
//
// Argument values are borrowed for the duration of the call. Values a primitive makes with
// the interns, `new String(...)` or `new Array(...)` belong to the call and are released after
// the result has been taken, so a primitive never deletes one. Errors are thrown: RuntimeError
// gives "-- Runtime error: <text>", ArgCountError "-- Argument count error: <fn> wanted <n>,
// got <m>", ConversionError "-- Unable to convert: <value> to type: <type>"; every other C++
// exception becomes a runtime error with its what() text. Positional arguments only; keyword
// arguments are not passed to primitives.
#pragma once

#include <exception>
#include <string>
#include <vector>

#include "matrix3.h"
#include "maxtypes.h"
#include "point3.h"
#include "quat.h"
#include "script/value.h"

class FPValue;
class INode;
class Animatable;
class ReferenceTarget;
class Control;

// Runs `text` in the global scope of the host's interpreter. Answers TRUE when the whole text
// parsed and ran without an uncaught error. On error, the listener gets the host's report
// ("-- Syntax error: …", "-- Unknown property: …", with line and column) unless quietErrors is set;
// nothing of a text with a syntax error runs. `result`, when given, receives the value of the
// last expression: numbers, booleans, strings, names, points, quaternions, matrices, colours,
// intervals and times by value, nodes and other scene objects as pointers, undefined as
// TYPE_VOID; on error it is TYPE_VOID.
BOOL ExecuteMAXScriptScript(const MCHAR* text, BOOL quietErrors = FALSE, FPValue* result = nullptr);

// A script value seen from a primitive.
class Value {
public:
    Value() = default;
    explicit Value(host::script::Value v) : v_(std::move(v)) {}
    virtual ~Value() = default;
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;

    // Values made inside a primitive call belong to the call (see above).
    static void* operator new(size_t size);
    static void operator delete(void* p);

    // The value as the interpreter holds it.
    virtual host::script::Value ScriptValue() const { return v_; }

    // Conversions; each throws the script's conversion error when the value is of another kind.
    // to_node answers null for a deleted node.
    INode* to_node() const;
    int to_int() const;
    float to_float() const;
    BOOL to_bool() const;
    TimeValue to_timevalue() const;  // numbers are frames
    // Valid until the call ends.
    const MCHAR* to_string() const;
    Point3 to_point3() const;
    Quat to_quat() const;
    Matrix3 to_matrix3() const;
    // Any scene object (node, controller, object, modifier); null for a deleted one.
    ReferenceTarget* to_reftarg() const;
    Control* to_controller() const;

protected:
    host::script::Value v_;

private:
    mutable std::wstring text_;
};

bool is_undefined(const Value* v);
bool is_node(const Value* v);        // a node value, deleted or not
bool is_number(const Value* v);      // integer or float
bool is_integer(const Value* v);
bool is_float(const Value* v);
bool is_bool(const Value* v);
bool is_string(const Value* v);
bool is_name(const Value* v);
bool is_point3(const Value* v);
bool is_quat(const Value* v);
bool is_matrix3(const Value* v);
bool is_time(const Value* v);
bool is_array(const Value* v);
bool is_controller(const Value* v);

// The constants.
extern Value undefined;
extern Value ok;
extern Value true_value;
extern Value false_value;
inline Value* bool_result(bool b) { return b ? &true_value : &false_value; }

// Value kinds made by primitives.
class Integer : public Value {
public:
    explicit Integer(int i);
    static Value* intern(int i) { return new Integer(i); }
};

class Float : public Value {
public:
    explicit Float(float f);
    static Value* intern(float f) { return new Float(f); }
};

class String : public Value {
public:
    explicit String(const MCHAR* s);
};

class Name : public Value {
public:
    explicit Name(const MCHAR* s);
    static Value* intern(const MCHAR* s) { return new Name(s); }
};

class Point3Value : public Value {
public:
    explicit Point3Value(const Point3& p);
};

class QuatValue : public Value {
public:
    explicit QuatValue(const Quat& q);
};

class Matrix3Value : public Value {
public:
    explicit Matrix3Value(const Matrix3& m);
};

class MAXNode : public Value {
public:
    explicit MAXNode(INode* node);
    // undefined for null.
    static Value* intern(INode* node);
};

// Controllers, objects, modifiers and other animatables.
class MAXWrapper : public Value {
public:
    explicit MAXWrapper(Animatable* anim);
    static Value* intern(Animatable* anim);
};

class Array : public Value {
public:
    explicit Array(int capacity = 0);
    void append(Value* v);
    int size() const { return static_cast<int>(items_.size()); }
    // 0-based; null outside the array.
    Value* get(int i) { return i >= 0 && i < size() ? items_[static_cast<size_t>(i)] : nullptr; }
    host::script::Value ScriptValue() const override;

private:
    std::vector<Value*> items_;
};

// Errors a primitive throws.
class ScriptException : public std::exception {
public:
    explicit ScriptException(std::string message) : message_(std::move(message)) {}
    const char* what() const noexcept override { return message_.c_str(); }
    // The listener text without "-- ".
    const std::string& Message() const { return message_; }

private:
    std::string message_;
};

class RuntimeError : public ScriptException {
public:
    explicit RuntimeError(const MCHAR* text);
    RuntimeError(const MCHAR* text, Value* v);
};

class ArgCountError : public ScriptException {
public:
    ArgCountError(const MCHAR* fn, int wanted, int got);
};

class ConversionError : public ScriptException {
public:
    ConversionError(Value* v, const MCHAR* type);
};

class TypeError : public ScriptException {
public:
    explicit TypeError(const MCHAR* text);
};

typedef Value* (*PrimitiveFunction)(Value** arg_list, int count);

// Makes `name` a global function of every interpreter for as long as the object lives.
class PrimitiveRegistration {
public:
    PrimitiveRegistration(const MCHAR* name, PrimitiveFunction fn);
    ~PrimitiveRegistration();
    PrimitiveRegistration(const PrimitiveRegistration&) = delete;
    PrimitiveRegistration& operator=(const PrimitiveRegistration&) = delete;

private:
    std::wstring name_;
};

#define def_visible_primitive(fn, name)               \
    Value* fn##_cf(Value** arg_list, int count);      \
    static PrimitiveRegistration fn##_registration(_M(name), fn##_cf)

#define def_primitive(fn, name) def_visible_primitive(fn, name)

#define check_arg_count(fn, wanted, got) \
    if ((wanted) != (got)) throw ArgCountError(_M(#fn), (wanted), (got))
