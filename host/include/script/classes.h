// Script classes and native functions: what `classOf` answers, what a constructor call makes,
// and the callable object behind every primitive.
#pragma once

#include <functional>
#include <string>

#include "script/value.h"

namespace host::script {

// A class value: prints as its name, answers `superClassOf` through Super(), and may construct.
class ScriptClass : public ScriptObject {
public:
    ScriptClass(std::string name, ScriptClass* super) : name_(std::move(name)), super_(super) {}
    const std::string& ClassName() const { return name_; }
    ScriptClass* Super() const { return super_; }
    // True when this class is `c` or derives from it.
    bool IsKindOf(const ScriptClass* c) const;

    ScriptClass* Class() const override;
    void Print(std::string& out) const override { out += name_; }
    // Construction: `(color 255 0 0)`, `Point name:"hip"`. Without a constructor the call is
    // refused with the language's "Call needs function or class" error.
    bool Call(Interpreter& in, const CallArgs& args, Value& out) override;
    void SetConstructor(std::function<Value(Interpreter&, const CallArgs&)> ctor) { ctor_ = std::move(ctor); }

private:
    std::string name_;
    ScriptClass* super_;
    std::function<Value(Interpreter&, const CallArgs&)> ctor_;
};

// The classes of the interpreter's own values. Immortal.
namespace classes {
ScriptClass* ValueClass();  // root
ScriptClass* Number();
ScriptClass* Integer();
ScriptClass* Float();
ScriptClass* Time();
ScriptClass* Boolean();
ScriptClass* UndefinedClass();
ScriptClass* UnsuppliedClass();
ScriptClass* OkClass();
ScriptClass* NameClass();
ScriptClass* String();
ScriptClass* Array();
ScriptClass* Point2();
ScriptClass* Point3();
ScriptClass* Quat();
ScriptClass* EulerAngles();
ScriptClass* Color();
ScriptClass* Matrix3();
ScriptClass* Interval();
ScriptClass* Function();   // user functions
ScriptClass* Primitive();  // native functions
ScriptClass* StringStream();
}  // namespace classes

// classOf for any value.
ScriptClass* ClassOf(const Value& v);

using PrimitiveFn = std::function<Value(Interpreter&, const CallArgs&)>;

// A named native function. Prints as "name()".
class Primitive : public ScriptObject {
public:
    Primitive(std::string name, PrimitiveFn fn) : name_(std::move(name)), fn_(std::move(fn)) {}
    const std::string& FunctionName() const { return name_; }
    ScriptClass* Class() const override { return classes::Primitive(); }
    void Print(std::string& out) const override { out += name_ + "()"; }
    bool Call(Interpreter& in, const CallArgs& args, Value& out) override {
        out = fn_(in, args);
        return true;
    }

private:
    std::string name_;
    PrimitiveFn fn_;
};

}  // namespace host::script
