// The interpreter's view of the host's scene: script values for nodes, animatables and classes,
// and the conversions between script values and the host's math types.
#pragma once

#include "matrix3.h"
#include "point3.h"
#include "quat.h"
#include "runtime.h"

class INode;
class Animatable;
class ClassDesc;
class FPValue;

namespace host::script {

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
bool ResolveGlobal(Interpreter& in, Name name, Value& out);

// A node as a script value; undefined for null. The value follows the node by handle and
// reads as deleted once the node has left the scene.
Value NodeValue(INode* node);
// The node of a node value, or null (not a node, or deleted).
INode* ToNode(const Value& v);
// True for a node value, deleted or not.
bool IsNodeValue(const Value& v);
// Any other animatable (controller, object, modifier, parameter block) as a script value.
Value AnimValue(Animatable* anim);
// The animatable of a node, animatable or sub-anim value, or null.
Animatable* ToAnim(const Value& v);
// The class value of a class descriptor (cached; classes live as long as the process).
Value ClassValue(ClassDesc* cd);

// Hooks the later bindings fill: properties of an animatable by script name beyond the ones
// the scene binding knows (parameter blocks, published interfaces). Answer false when unknown.
struct AnimPropertyHooks {
    std::function<bool(Interpreter&, Animatable*, Name, Value&)> get;
    std::function<bool(Interpreter&, Animatable*, Name, const Value&)> set;
    std::function<bool(Interpreter&, Animatable*, Name, const CallArgs&, Value&)> call;
};
void AddAnimPropertyHooks(AnimPropertyHooks hooks);
// Names the later bindings make global (core interfaces); tried after the class directory.
void AddGlobalResolver(std::function<bool(Name, Value&)> resolver);
// A script value as the FPValue nearest to it (ExecuteMAXScriptScript's result).
FPValue ToFPForResult(const Value& v);
// The class descriptor of a class value, or null.
ClassDesc* ToClassDesc(const Value& v);

}  // namespace scene

}  // namespace host::script
