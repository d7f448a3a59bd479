// The interpreter's view of the host's scene: script values for nodes, animatables and classes,
// and the conversions between script values and the host's math types.
#pragma once

#include "matrix3.h"
#include "maxtypes.h"
#include "point3.h"
#include "quat.h"
#include "runtime.h"
#include "script/scene_values.h"

class INode;
class Animatable;
class Control;
class ClassDesc;
class FPValue;

class Value;

namespace host::script {

// While it lives, script values handed to published functions as Value* (TYPE_VALUE) and the
// Value* a function answers stay alive; they are released when it ends.
class FPCallValues {
public:
    FPCallValues();
    ~FPCallValues();
    FPCallValues(const FPCallValues&) = delete;
    FPCallValues& operator=(const FPCallValues&) = delete;
    ::Value* Make(const Value& v);

private:
    struct Impl;
    Impl* impl_;
};

// Host math <-> script values.
Value FromPoint3(const ::Point3& p);
Value FromQuat(const ::Quat& q);
Value FromMatrix(const ::Matrix3& m);
::Point3 ToPoint3(const Value& v);
::Quat ToQuat(const Value& v);
::Matrix3 ToMatrix(const Value& v);

namespace scene {

// Scene forms: `$…`, classes by script name, node and animatable values, scene built-ins.
void Bind(Interpreter& in);
Value ResolvePath(Interpreter& in, std::string_view path);
// The script path of a node or a track below a node's TM controller (see macrorec.h), or ""
// for an object outside the scene.
std::string ScriptPathOf(Animatable* anim);
bool ResolveGlobal(Interpreter& in, Name name, Value& out);

// Hooks the later bindings fill: properties of an animatable by script name beyond the ones
// the scene binding knows (parameter blocks, published interfaces). Answer false when unknown.
struct AnimPropertyHooks {
    std::function<bool(Interpreter&, Animatable*, Name, Value&)> get;
    std::function<bool(Interpreter&, Animatable*, Name, const Value&)> set;
    std::function<bool(Interpreter&, Animatable*, Name, const CallArgs&, Value&)> call;
};
void AddAnimPropertyHooks(AnimPropertyHooks hooks);
// Members of class values (`ClassName.fn args`): the static interfaces of a class.
struct ClassMemberHooks {
    std::function<bool(Interpreter&, ClassDesc*, Name, Value&)> get;
    std::function<bool(Interpreter&, ClassDesc*, Name, const CallArgs&, Value&)> call;
};
void AddClassMemberHooks(ClassMemberHooks hooks);
// Names the later bindings make global (core interfaces); tried after the class directory.
void AddGlobalResolver(std::function<bool(Name, Value&)> resolver);
// A controller's value at t by its super class; undefined for a kind of controller that has no
// script value.
Value ControlValue(Control* c, TimeValue t);
// A script value as the FPValue nearest to it (ExecuteMAXScriptScript's result).
FPValue ToFPForResult(const Value& v);

}  // namespace scene

}  // namespace host::script
