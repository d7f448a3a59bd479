// Objects, modifiers, meshes and scene files as scripts reach them: addModifier, .modifiers,
// convertToMesh/convertToPoly, getNumVerts/getVert/setVert, saveMaxFile/loadMaxFile.
#include "bind.h"
#include "inode.h"
#include "maxapi.h"
#include "modifier.h"
#include "polyobj.h"
#include "scenefile.h"

namespace host::script::scene {

namespace {

INode* NodeArg(const Value& v, const char* fn) {
    INode* n = ToNode(v);
    if (!n) throw RuntimeError(std::string(fn) + " needs a node, got: " + v.Print());
    return n;
}

// The object whose points getNumVerts and its kin read: a mesh object value as it is, a node's
// object at the bottom of its stack (or, failing that, the evaluated stack).
Object* PointObject(Interpreter& in, const Value& v, const char* fn, INode** node) {
    *node = ToNode(v);
    if (*node) {
        Object* o = (*node)->GetObjectRef();
        if (!o) throw RuntimeError(std::string(fn) + ": " + v.Print() + " has no object");
        Object* base = o->FindBaseObject();
        if (host::GetNumVerts(base) >= 0) return base;
        Object* ws = (*node)->EvalWorldState(in.CurrentTime()).obj;
        if (host::GetNumVerts(ws) >= 0) return ws;
        throw RuntimeError(std::string(fn) + ": " + v.Print() + " is not a mesh");
    }
    auto* o = dynamic_cast<Object*>(ToAnim(v));
    if (!o || host::GetNumVerts(o) < 0) throw RuntimeError(std::string(fn) + " needs a mesh, got: " + v.Print());
    return o;
}

int VertIndex(Object* o, const Value& v, const char* fn) {
    int i = v.ToInt();
    if (i < 1 || i > host::GetNumVerts(o))
        throw RuntimeError(std::string(fn) + ": vertex index out of range: " + std::to_string(i));
    return i - 1;
}

Value ModifiersOf(INode* n) {
    std::vector<Value> mods;
    host::ForEachModifier(n, [&](IDerivedObject*, int, Modifier* m) { mods.push_back(AnimValue(m)); });
    return Value::NewArray(std::move(mods));
}

bool NodeModifiers(Interpreter&, Animatable* a, Name prop, Value& out) {
    static const Name kModifiers = Name::Intern("modifiers");
    auto* n = dynamic_cast<INode*>(a);
    if (!n || prop != kModifiers) return false;
    out = ModifiersOf(n);
    return true;
}

std::wstring PathArg(const Value& v) { return host::FromUtf8(v.ToStr()); }

void Bind(Interpreter& in) {
    in.RegisterPrimitive("addModifier", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("addModifier", a, 2);
        INode* n = NodeArg(a[0], "addModifier");
        auto* m = dynamic_cast<Modifier*>(ToAnim(a[1]));
        if (!m) throw RuntimeError("addModifier needs a modifier, got: " + a[1].Print());
        int before = 0;
        if (const Value* b = a.Key("before")) before = b->ToInt();
        if (!host::AddModifierToNode(n, m, before)) throw RuntimeError("Cannot add " + a[1].Print() + " to " + a[0].Print());
        return Value::Ok();
    });
    in.RegisterPrimitive("deleteModifier", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("deleteModifier", a, 2);
        INode* n = NodeArg(a[0], "deleteModifier");
        Modifier* target = dynamic_cast<Modifier*>(ToAnim(a[1]));
        int wanted = target ? -1 : a[1].ToInt();
        int k = 0;
        IDerivedObject* owner = nullptr;
        int index = -1;
        host::ForEachModifier(n, [&](IDerivedObject* d, int i, Modifier* m) {
            ++k;
            if (!owner && (m == target || k == wanted)) {
                owner = d;
                index = i;
            }
        });
        if (!owner) return Value::Bool(false);
        owner->DeleteModifier(index);
        return Value::Bool(true);
    });
    in.RegisterPrimitive("convertToMesh", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("convertToMesh", a, 1);
        INode* n = NodeArg(a[0], "convertToMesh");
        return host::ConvertNodeToMesh(n, in.CurrentTime()) ? a[0] : Value();
    });
    in.RegisterPrimitive("convertToPoly", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("convertToPoly", a, 1);
        INode* n = NodeArg(a[0], "convertToPoly");
        return host::ConvertNodeToPoly(n, in.CurrentTime()) ? a[0] : Value();
    });
    in.RegisterPrimitive("getNumVerts", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("getNumVerts", a, 1);
        INode* n = nullptr;
        return Value::Int(host::GetNumVerts(PointObject(in, a[0], "getNumVerts", &n)));
    });
    // Points of a node are in world space; points of a mesh value in its own space.
    in.RegisterPrimitive("getVert", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("getVert", a, 2);
        INode* n = nullptr;
        Object* o = PointObject(in, a[0], "getVert", &n);
        ::Point3 p;
        host::GetVert(o, VertIndex(o, a[1], "getVert"), p);
        if (n) p = p * n->GetObjectTM(in.CurrentTime());
        return FromPoint3(p);
    });
    in.RegisterPrimitive("setVert", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("setVert", a, 3);
        INode* n = nullptr;
        Object* o = PointObject(in, a[0], "setVert", &n);
        int i = VertIndex(o, a[1], "setVert");
        ::Point3 p = ToPoint3(a[2]);
        if (n) p = p * ::Inverse(n->GetObjectTM(in.CurrentTime()));
        host::SetVert(o, i, p);
        return a[2];
    });
    in.RegisterPrimitive("update", [](Interpreter&, const CallArgs& a) {
        CheckArgCountRange("update", a, 1, 1);
        return Value::Ok();
    });
    in.RegisterPrimitive("saveMaxFile", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("saveMaxFile", a, 1);
        std::wstring error;
        bool ok = host::SaveScene(PathArg(a[0]).c_str(), &error);
        if (!ok && !(a.Key("quiet") && a.Key("quiet")->ToBool()))
            throw RuntimeError("saveMaxFile: " + host::ToUtf8(error));
        return Value::Bool(ok);
    });
    in.RegisterPrimitive("loadMaxFile", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("loadMaxFile", a, 1);
        std::wstring error;
        bool ok = host::LoadScene(PathArg(a[0]).c_str(), &error);
        if (!ok && !(a.Key("quiet") && a.Key("quiet")->ToBool()))
            throw RuntimeError("loadMaxFile: " + host::ToUtf8(error));
        return Value::Bool(ok);
    });
}

const bool registered = [] {
    AddAnimPropertyHooks({&NodeModifiers, nullptr, nullptr});
    RegisterBinder(&Bind);
    return true;
}();

}  // namespace

}  // namespace host::script::scene
