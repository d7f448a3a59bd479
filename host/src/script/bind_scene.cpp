// Scene forms of the language: nodes, controllers and other animatables as script values, `$`
// paths, classes by script name with their constructors, and the scene built-ins.
#include <cctype>
#include <map>
#include <unordered_map>

#include "bind.h"
#include "../scene/scene.h"
#include "control.h"
#include "inode.h"
#include "iplugin.h"
#include "maxapi.h"
#include "object.h"
#include "scalevalue.h"

namespace host::script {

// ---- math conversions ---------------------------------------------------------------------------

Value FromPoint3(const ::Point3& p) { return Value::Point3(p.x, p.y, p.z); }
Value FromQuat(const ::Quat& q) { return Value::Quat(q.x, q.y, q.z, q.w); }
Value FromMatrix(const ::Matrix3& m) {
    float f[12];
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 3; ++c) f[r * 3 + c] = m[r][c];
    return Value::Matrix3(f);
}
::Point3 ToPoint3(const Value& v) {
    float p[3];
    v.ToPoint3(p);
    return ::Point3(p[0], p[1], p[2]);
}
::Quat ToQuat(const Value& v) {
    float q[4];
    v.ToQuat(q);
    return ::Quat(q[0], q[1], q[2], q[3]);
}
::Matrix3 ToMatrix(const Value& v) {
    float m[12];
    v.ToMatrix3(m);
    return ::Matrix3(::Point3(m[0], m[1], m[2]), ::Point3(m[3], m[4], m[5]), ::Point3(m[6], m[7], m[8]),
                     ::Point3(m[9], m[10], m[11]));
}

namespace scene {

namespace {

std::string Utf8(const MCHAR* s) { return host::ToUtf8(s ? s : L""); }
std::wstring Wide(std::string_view s) { return host::FromUtf8(s); }

// Script names have underscores where display names have blanks or punctuation:
// "Object (Point)" reads as Object__Point_.
std::string ScriptName(std::string s) {
    for (char& c : s)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && static_cast<unsigned char>(c) < 0x80) c = '_';
    return s;
}

std::vector<AnimPropertyHooks>& Hooks() {
    static std::vector<AnimPropertyHooks> h;
    return h;
}

std::vector<ClassMemberHooks>& ClassHooks() {
    static std::vector<ClassMemberHooks> h;
    return h;
}

std::vector<std::function<bool(Name, Value&)>>& Resolvers() {
    static std::vector<std::function<bool(Name, Value&)>> r;
    return r;
}

// ---- super classes ----

ScriptClass* RootClass() {
    static ScriptClass* c = [] {
        auto* k = new ScriptClass("HostObject", classes::ValueClass());
        k->MakeImmortal();
        return k;
    }();
    return c;
}

struct SuperClassInfo {
    SClass_ID id;
    const char* name;
};

const SuperClassInfo kSuperClasses[] = {
    {GEOMOBJECT_CLASS_ID, "GeometryClass"},
    {CAMERA_CLASS_ID, "camera"},
    {LIGHT_CLASS_ID, "light"},
    {SHAPE_CLASS_ID, "shape"},
    {HELPER_CLASS_ID, "helper"},
    {SYSTEM_CLASS_ID, "system"},
    {OSM_CLASS_ID, "modifier"},
    {WSM_CLASS_ID, "SpacewarpModifier"},
    {MATERIAL_CLASS_ID, "material"},
    {TEXMAP_CLASS_ID, "textureMap"},
    {CTRL_FLOAT_CLASS_ID, "FloatController"},
    {CTRL_POINT2_CLASS_ID, "Point2Controller"},
    {CTRL_POINT3_CLASS_ID, "Point3Controller"},
    {CTRL_POINT4_CLASS_ID, "Point4Controller"},
    {CTRL_MATRIX3_CLASS_ID, "Matrix3Controller"},
    {CTRL_POSITION_CLASS_ID, "PositionController"},
    {CTRL_ROTATION_CLASS_ID, "RotationController"},
    {CTRL_SCALE_CLASS_ID, "ScaleController"},
    {CTRL_MORPH_CLASS_ID, "MorphController"},
    {CUST_ATTRIB_CLASS_ID, "AttributeDef"},
    {SCENE_IMPORT_CLASS_ID, "ImporterPlugin"},
    {SCENE_EXPORT_CLASS_ID, "ExporterPlugin"},
    {UTILITY_CLASS_ID, "UtilityPlugin"},
    {GUP_CLASS_ID, "GlobalUtilityPlugin"},
    {REF_TARGET_CLASS_ID, "ReferenceTarget"},
    {PARAMETER_BLOCK2_CLASS_ID, "ParamBlock2"},
    {BASENODE_CLASS_ID, "Node"},
};

ScriptClass* SuperClassFor(SClass_ID id) {
    static std::map<SClass_ID, ScriptClass*> made;
    auto it = made.find(id);
    if (it != made.end()) return it->second;
    std::string name = "ReferenceTarget";
    for (const SuperClassInfo& s : kSuperClasses)
        if (s.id == id) name = s.name;
    if (name == "ReferenceTarget" && id != REF_TARGET_CLASS_ID) {
        char buf[32];
        std::snprintf(buf, sizeof buf, "SuperClass_0x%X", static_cast<unsigned>(id));
        name = buf;
    }
    auto* c = new ScriptClass(name, RootClass());
    c->MakeImmortal();
    made[id] = c;
    return c;
}

bool IsNodeFamily(SClass_ID id) {
    return id == GEOMOBJECT_CLASS_ID || id == HELPER_CLASS_ID || id == SHAPE_CLASS_ID || id == SYSTEM_CLASS_ID ||
           id == CAMERA_CLASS_ID || id == LIGHT_CLASS_ID;
}

// ---- values ----

class NodeObj;
class AnimObj;

// A class of the host's class directory: prints as its script name, constructs by calling.
class HostClass final : public ScriptClass {
public:
    explicit HostClass(ClassDesc* cd)
        : ScriptClass(ScriptName(Utf8(cd->NonLocalizedClassName())), SuperClassFor(cd->SuperClassID())), cd_(cd) {}
    ClassDesc* Desc() const { return cd_; }
    bool Call(Interpreter& in, const CallArgs& args, Value& out) override;
    bool GetProperty(Interpreter& in, Name prop, Value& out) override {
        for (const ClassMemberHooks& h : ClassHooks())
            if (h.get && h.get(in, cd_, prop, out)) return true;
        return false;
    }
    bool CallMethod(Interpreter& in, Name m, const CallArgs& args, Value& out) override {
        for (const ClassMemberHooks& h : ClassHooks())
            if (h.call && h.call(in, cd_, m, args, out)) return true;
        return ScriptObject::CallMethod(in, m, args, out);
    }

private:
    ClassDesc* cd_;
};

ScriptClass* ClassOfAnim(Animatable* a) {
    if (ClassDesc* cd = host::ClassDirectory::Get().FindClass(a->SuperClassID(), a->ClassID()))
        return ClassValue(cd).As<ScriptClass>();
    return SuperClassFor(a->SuperClassID());
}

INode* NodeByHandle(ULONG h) {
    INode* n = GetCOREInterface()->GetINodeByHandle(h);
    return n && n->host_InScene() ? n : nullptr;
}

void ApplyNodeProperty(Interpreter& in, INode* n, Name prop, const Value& v);
bool NodeProperty(Interpreter& in, INode* n, Name prop, Value& out);

bool AnimGet(Interpreter& in, Animatable* a, Name prop, Value& out);
bool AnimSet(Interpreter& in, Animatable* a, Name prop, const Value& v);
bool AnimCall(Interpreter& in, Animatable* a, Name m, const CallArgs& args, Value& out);

Value SubAnimValue(Animatable* parent, int index);

class NodeObj final : public ScriptObject {
public:
    explicit NodeObj(INode* n) : handle_(n->GetHandle()), root_(n->IsRootNode() != 0) {}
    INode* Node() const { return root_ ? GetCOREInterface()->GetRootNode() : NodeByHandle(handle_); }
    ScriptClass* Class() const override {
        INode* n = Node();
        if (n && n->GetObjectRef()) return ClassOfAnim(n->GetObjectRef()->FindBaseObject());
        return SuperClassFor(BASENODE_CLASS_ID);
    }
    void Print(std::string& out) const override {
        INode* n = Node();
        if (!n) {
            out += "<Deleted scene node>";
            return;
        }
        if (root_) {
            out += "<root>";
            return;
        }
        out += '$';
        if (n->GetObjectRef()) out += ClassOfAnim(n->GetObjectRef()->FindBaseObject())->ClassName();
        else out += "Node";
        out += ':';
        out += Utf8(n->GetName());
    }
    bool GetProperty(Interpreter& in, Name prop, Value& out) override {
        INode* n = Live();
        if (NodeProperty(in, n, prop, out)) return true;
        if (Object* o = n->GetObjectRef())
            if (AnimGet(in, o->FindBaseObject(), prop, out)) return true;
        return false;
    }
    bool SetProperty(Interpreter& in, Name prop, const Value& v) override {
        INode* n = Live();
        Value probe;
        if (NodeProperty(in, n, prop, probe)) {
            ApplyNodeProperty(in, n, prop, v);
            return true;
        }
        if (Object* o = n->GetObjectRef())
            if (AnimSet(in, o->FindBaseObject(), prop, v)) return true;
        return false;
    }
    bool CallMethod(Interpreter& in, Name m, const CallArgs& args, Value& out) override {
        INode* n = Live();
        if (AnimCall(in, n, m, args, out)) return true;
        if (Object* o = n->GetObjectRef())
            if (AnimCall(in, o->FindBaseObject(), m, args, out)) return true;
        return ScriptObject::CallMethod(in, m, args, out);
    }
    bool GetIndex(Interpreter&, const Value& index, Value& out) override {
        INode* n = Live();
        int i = index.ToInt();
        if (i < 1 || i > n->NumSubs()) throw RuntimeError("sub-anim index out of range: " + std::to_string(i));
        out = SubAnimValue(n, i - 1);
        return true;
    }
    bool Equals(const ScriptObject& o) const override {
        auto* other = dynamic_cast<const NodeObj*>(&o);
        return other && other->handle_ == handle_ && other->root_ == root_;
    }
    bool IsDead() const override { return Node() == nullptr; }

private:
    INode* Live() const {
        INode* n = Node();
        if (!n) throw RuntimeError("Attempt to access deleted scene object");
        return n;
    }
    ULONG handle_;
    bool root_;
};

class AnimObj final : public ScriptObject {
public:
    explicit AnimObj(Animatable* a) : handle_(Animatable::GetHandleByAnim(a)) {}
    Animatable* Anim() const { return Animatable::GetAnimByHandle(handle_); }
    ScriptClass* Class() const override {
        Animatable* a = Anim();
        return a ? ClassOfAnim(a) : RootClass();
    }
    void Print(std::string& out) const override {
        Animatable* a = Anim();
        if (!a) {
            out += "<Deleted>";
            return;
        }
        std::string cls = ClassOfAnim(a)->ClassName();
        SClass_ID s = a->SuperClassID();
        if (s >= CTRL_FLOAT_CLASS_ID && s <= CTRL_POINT4_CLASS_ID) {
            // controllers print under their display name: Controller:Position_Rotation_Scale
            out += "Controller:" + ScriptName(host::ToUtf8(a->ClassName(true).str()));
        } else if (s == OSM_CLASS_ID || s == WSM_CLASS_ID) {
            auto* b = dynamic_cast<BaseObject*>(a);
            out += cls + ":" + (b ? Utf8(b->GetObjectName().data()) : cls);
        } else {
            out += cls;
        }
    }
    bool GetProperty(Interpreter& in, Name prop, Value& out) override { return AnimGet(in, Live(), prop, out); }
    bool SetProperty(Interpreter& in, Name prop, const Value& v) override { return AnimSet(in, Live(), prop, v); }
    bool CallMethod(Interpreter& in, Name m, const CallArgs& args, Value& out) override {
        if (AnimCall(in, Live(), m, args, out)) return true;
        return ScriptObject::CallMethod(in, m, args, out);
    }
    bool GetIndex(Interpreter&, const Value& index, Value& out) override {
        Animatable* a = Live();
        int i = index.ToInt();
        if (i < 1 || i > a->NumSubs()) throw RuntimeError("sub-anim index out of range: " + std::to_string(i));
        out = SubAnimValue(a, i - 1);
        return true;
    }
    bool Equals(const ScriptObject& o) const override {
        auto* other = dynamic_cast<const AnimObj*>(&o);
        return other && other->handle_ == handle_;
    }
    bool IsDead() const override { return Anim() == nullptr; }

private:
    Animatable* Live() const {
        Animatable* a = Anim();
        if (!a) throw RuntimeError("Attempt to access deleted object");
        return a;
    }
    AnimHandle handle_;
};

// getSubAnim a i: the track i of a, whether or not a controller fills it.
class SubAnimObj final : public ScriptObject {
public:
    SubAnimObj(Animatable* parent, int index) : parent_(Animatable::GetHandleByAnim(parent)), index_(index) {}
    Animatable* Parent() const { return Animatable::GetAnimByHandle(parent_); }
    int Index() const { return index_; }
    Animatable* Target() const {
        Animatable* p = Parent();
        return p && index_ < p->NumSubs() ? p->SubAnim(index_) : nullptr;
    }
    ScriptClass* Class() const override {
        static ScriptClass* c = [] {
            auto* k = new ScriptClass("SubAnim", RootClass());
            k->MakeImmortal();
            return k;
        }();
        return c;
    }
    void Print(std::string& out) const override {
        Animatable* p = Parent();
        out += "SubAnim:";
        out += p ? ScriptName(Utf8(p->SubAnimName(index_, false).data())) : std::string("<deleted>");
    }
    bool GetProperty(Interpreter& in, Name prop, Value& out) override {
        static const Name kController = Name::Intern("controller"), kName = Name::Intern("name"),
                          kParent = Name::Intern("parent"), kObject = Name::Intern("object");
        Animatable* p = Parent();
        if (!p) throw RuntimeError("Attempt to access deleted object");
        Animatable* t = Target();
        if (prop == kName) {
            out = Value::String(Utf8(p->SubAnimName(index_, false).data()));
            return true;
        }
        if (prop == kParent) {
            out = dynamic_cast<INode*>(p) ? NodeValue(static_cast<INode*>(p)) : AnimValue(p);
            return true;
        }
        if (prop == kController) {
            out = t && dynamic_cast<Control*>(t) ? AnimValue(t) : Value();
            return true;
        }
        if (prop == kObject) {
            out = t ? AnimValue(t) : Value();
            return true;
        }
        return t ? AnimGet(in, t, prop, out) : false;
    }
    bool SetProperty(Interpreter& in, Name prop, const Value& v) override {
        static const Name kController = Name::Intern("controller");
        Animatable* p = Parent();
        if (!p) throw RuntimeError("Attempt to access deleted object");
        if (prop == kController) {
            Animatable* c = ToAnim(v);
            if (!c || !p->AssignController(c, index_))
                throw RuntimeError("Cannot assign controller " + v.Print() + " to " + Value::Object(this).Print());
            return true;
        }
        Animatable* t = Target();
        return t ? AnimSet(in, t, prop, v) : false;
    }
    bool CallMethod(Interpreter& in, Name m, const CallArgs& args, Value& out) override {
        Animatable* t = Target();
        if (t && AnimCall(in, t, m, args, out)) return true;
        return ScriptObject::CallMethod(in, m, args, out);
    }
    bool GetIndex(Interpreter&, const Value& index, Value& out) override {
        Animatable* t = Target();
        int i = index.ToInt();
        if (!t || i < 1 || i > t->NumSubs()) throw RuntimeError("sub-anim index out of range: " + std::to_string(i));
        out = SubAnimValue(t, i - 1);
        return true;
    }
    bool Equals(const ScriptObject& o) const override {
        auto* other = dynamic_cast<const SubAnimObj*>(&o);
        return other && other->parent_ == parent_ && other->index_ == index_;
    }
    bool IsDead() const override { return Parent() == nullptr; }

private:
    AnimHandle parent_;
    int index_;
};

// A key of a keyframe controller, by index (1-based at the script side).
class KeyObj final : public ScriptObject {
public:
    KeyObj(Animatable* a, int index) : anim_(Animatable::GetHandleByAnim(a)), index_(index) {}
    ScriptClass* Class() const override {
        static ScriptClass* c = [] {
            auto* k = new ScriptClass("MAXKey", RootClass());
            k->MakeImmortal();
            return k;
        }();
        return c;
    }
    void Print(std::string& out) const override {
        Animatable* a = Animatable::GetAnimByHandle(anim_);
        out += "#key(" + std::to_string(index_ + 1);
        if (a && index_ < a->NumKeys()) {
            out += " @ ";
            FormatTime(a->GetKeyTime(index_), out);
        }
        out += ")";
    }
    bool GetProperty(Interpreter& in, Name prop, Value& out) override;

private:
    AnimHandle anim_;
    int index_;
};

}  // namespace

Value ControlValue(Control* c, TimeValue t) {
    Interval iv = FOREVER;
    switch (c->SuperClassID()) {
    case CTRL_FLOAT_CLASS_ID: {
        float f = 0;
        c->GetValue(t, &f, iv, CTRL_ABSOLUTE);
        return Value::Float(f);
    }
    case CTRL_POINT3_CLASS_ID:
    case CTRL_POSITION_CLASS_ID: {
        ::Point3 p;
        c->GetValue(t, &p, iv, CTRL_ABSOLUTE);
        return FromPoint3(p);
    }
    case CTRL_ROTATION_CLASS_ID: {
        ::Quat q;
        c->GetValue(t, &q, iv, CTRL_ABSOLUTE);
        return FromQuat(q);
    }
    case CTRL_SCALE_CLASS_ID: {
        ::ScaleValue s;
        c->GetValue(t, &s, iv, CTRL_ABSOLUTE);
        return FromPoint3(s.s);
    }
    case CTRL_MATRIX3_CLASS_ID: {
        ::Matrix3 m;
        c->GetValue(t, &m, iv, CTRL_RELATIVE);
        return FromMatrix(m);
    }
    default: return Value();
    }
}

namespace {

void SetControlValue(Control* c, TimeValue t, const Value& v) {
    switch (c->SuperClassID()) {
    case CTRL_FLOAT_CLASS_ID: {
        float f = v.ToFloat();
        c->SetValue(t, &f, 1, CTRL_ABSOLUTE);
        return;
    }
    case CTRL_POINT3_CLASS_ID:
    case CTRL_POSITION_CLASS_ID: {
        ::Point3 p = ToPoint3(v);
        c->SetValue(t, &p, 1, CTRL_ABSOLUTE);
        return;
    }
    case CTRL_ROTATION_CLASS_ID: {
        ::Quat q = ToQuat(v);
        c->SetValue(t, &q, 1, CTRL_ABSOLUTE);
        return;
    }
    case CTRL_SCALE_CLASS_ID: {
        ::ScaleValue s(ToPoint3(v));
        c->SetValue(t, &s, 1, CTRL_ABSOLUTE);
        return;
    }
    default: throw RuntimeError("Cannot set the value of " + AnimValue(c).Print());
    }
}

bool KeyObj::GetProperty(Interpreter&, Name prop, Value& out) {
    static const Name kTime = Name::Intern("time"), kValue = Name::Intern("value"),
                      kSelected = Name::Intern("selected");
    Animatable* a = Animatable::GetAnimByHandle(anim_);
    if (!a || index_ >= a->NumKeys()) throw RuntimeError("Attempt to access a deleted key");
    if (prop == kTime) {
        out = Value::Time(a->GetKeyTime(index_));
        return true;
    }
    if (prop == kSelected) {
        out = Value::Bool(a->IsKeySelected(index_) != FALSE);
        return true;
    }
    if (prop == kValue) {
        auto* c = dynamic_cast<Control*>(a);
        out = c ? ControlValue(c, a->GetKeyTime(index_)) : Value();
        return true;
    }
    return false;
}

Value SubAnimValue(Animatable* parent, int index) { return Value::Object(new SubAnimObj(parent, index)); }

Value KeysOf(Animatable* a) {
    std::vector<Value> keys;
    int n = a->NumKeys();
    for (int i = 0; i < n; ++i) keys.push_back(Value::Object(new KeyObj(a, i)));
    return Value::NewArray(std::move(keys));
}

// Sub-anims by script name: "Position", "Z_Rotation", "Transform".
int SubAnimByName(Animatable* a, Name prop) {
    int n = a->NumSubs();
    for (int i = 0; i < n; ++i) {
        std::string name = ScriptName(Utf8(a->SubAnimName(i, false).data()));
        if (!name.empty() && Name::Intern(name) == prop) return i;
    }
    return -1;
}

struct AnimNames {
    Name value = Name::Intern("value"), keys = Name::Intern("keys"), numSubs = Name::Intern("numSubs");
    Name controller = Name::Intern("controller");
};

const AnimNames& AN() {
    static const AnimNames n;
    return n;
}

bool AnimGet(Interpreter& in, Animatable* a, Name prop, Value& out) {
    const AnimNames& n = AN();
    auto* c = dynamic_cast<Control*>(a);
    if (prop == n.value && c) {
        out = ControlValue(c, in.CurrentTime());
        return true;
    }
    if (prop == n.controller && c) {
        // a track's controller reads as itself, so `x.controller` works on tracks and controllers alike
        out = AnimValue(c);
        return true;
    }
    if (prop == n.keys) {
        out = KeysOf(a);
        return true;
    }
    if (prop == n.numSubs) {
        out = Value::Int(a->NumSubs());
        return true;
    }
    for (const AnimPropertyHooks& h : Hooks())
        if (h.get && h.get(in, a, prop, out)) return true;
    int sub = SubAnimByName(a, prop);
    if (sub >= 0) {
        Animatable* s = a->SubAnim(sub);
        out = s ? AnimValue(s) : SubAnimValue(a, sub);
        return true;
    }
    return false;
}

bool AnimSet(Interpreter& in, Animatable* a, Name prop, const Value& v) {
    const AnimNames& n = AN();
    auto* c = dynamic_cast<Control*>(a);
    if (prop == n.value && c) {
        SetControlValue(c, in.CurrentTime(), v);
        return true;
    }
    for (const AnimPropertyHooks& h : Hooks())
        if (h.set && h.set(in, a, prop, v)) return true;
    int sub = SubAnimByName(a, prop);
    if (sub >= 0) {
        // a.position = <controller> assigns; a.position = <value> sets the track's value
        if (Animatable* ctrl = ToAnim(v); ctrl && dynamic_cast<Control*>(ctrl)) {
            if (!a->AssignController(ctrl, sub)) throw RuntimeError("Cannot assign controller " + v.Print());
            return true;
        }
        auto* sc = dynamic_cast<Control*>(a->SubAnim(sub));
        if (!sc) return false;
        SetControlValue(sc, in.CurrentTime(), v);
        return true;
    }
    return false;
}

bool AnimCall(Interpreter& in, Animatable* a, Name m, const CallArgs& args, Value& out) {
    for (const AnimPropertyHooks& h : Hooks())
        if (h.call && h.call(in, a, m, args, out)) return true;
    return false;
}

// ---- nodes ----

struct NodeNames {
    Name name = Name::Intern("name"), parent = Name::Intern("parent"), children = Name::Intern("children");
    Name transform = Name::Intern("transform"), pos = Name::Intern("pos"), position = Name::Intern("position");
    Name rotation = Name::Intern("rotation"), scale = Name::Intern("scale"), wirecolor = Name::Intern("wirecolor");
    Name isHidden = Name::Intern("isHidden"), controller = Name::Intern("controller");
    Name baseObject = Name::Intern("baseObject"), modifiers = Name::Intern("modifiers");
    Name handle = Name::Intern("handle"), isSelected = Name::Intern("isSelected");
    Name boneEnable = Name::Intern("boneEnable"), isFrozen = Name::Intern("isFrozen");
    Name renderable = Name::Intern("renderable");
};

const NodeNames& NN() {
    static const NodeNames n;
    return n;
}

Value ChildrenOf(INode* n) {
    std::vector<Value> kids;
    for (int i = 0; i < n->NumberOfChildren(); ++i) kids.push_back(NodeValue(n->GetChildNode(i)));
    return Value::NewArray(std::move(kids));
}

Value WireColor(DWORD c) {
    return Value::Color(static_cast<float>(c & 0xFF), static_cast<float>((c >> 8) & 0xFF),
                        static_cast<float>((c >> 16) & 0xFF));
}

DWORD ToWireColor(const Value& v) {
    if (v.tag() != Tag::Color && v.tag() != Tag::Point3) throw ConversionError(v, "Color");
    auto ch = [](float f) {
        int i = static_cast<int>(f + 0.5f);
        return static_cast<DWORD>(i < 0 ? 0 : (i > 255 ? 255 : i));
    };
    const float* c = v.RawVec();
    return ch(c[0]) | (ch(c[1]) << 8) | (ch(c[2]) << 16);
}

bool NodeProperty(Interpreter& in, INode* n, Name prop, Value& out) {
    const NodeNames& k = NN();
    TimeValue t = in.CurrentTime();
    if (prop == k.name) {
        out = Value::String(Utf8(n->GetName()));
    } else if (prop == k.parent) {
        INode* p = n->GetParentNode();
        out = p && !p->IsRootNode() ? NodeValue(p) : Value();
    } else if (prop == k.children) {
        out = ChildrenOf(n);
    } else if (prop == k.transform) {
        out = FromMatrix(n->GetNodeTM(t));
    } else if (prop == k.pos || prop == k.position) {
        out = FromPoint3(n->GetNodeTM(t).GetTrans());
    } else if (prop == k.rotation) {
        out = FromQuat(::Quat(n->GetNodeTM(t)));
    } else if (prop == k.scale) {
        ::Matrix3 m = n->GetNodeTM(t);
        out = Value::Point3(m[0].Length(), m[1].Length(), m[2].Length());
    } else if (prop == k.wirecolor) {
        out = WireColor(n->GetWireColor());
    } else if (prop == k.isHidden) {
        out = Value::Bool(n->IsHidden() != 0);
    } else if (prop == k.isFrozen) {
        out = Value::Bool(n->IsFrozen() != 0);
    } else if (prop == k.isSelected) {
        out = Value::Bool(n->Selected() != 0);
    } else if (prop == k.renderable) {
        out = Value::Bool(n->Renderable() != 0);
    } else if (prop == k.boneEnable) {
        out = Value::Bool(n->GetBoneNodeOnOff() != 0);
    } else if (prop == k.controller) {
        out = n->GetTMController() ? AnimValue(n->GetTMController()) : Value();
    } else if (prop == k.baseObject) {
        out = n->GetObjectRef() ? AnimValue(n->GetObjectRef()->FindBaseObject()) : Value();
    } else if (prop == k.handle) {
        out = Value::Int(static_cast<int32_t>(n->GetHandle()));
    } else if (prop == k.modifiers) {
        // modifiers live on derived objects; a base object has none
        std::vector<Value> mods;
        for (const AnimPropertyHooks& h : Hooks()) {
            Value r;
            if (h.get && h.get(in, n, k.modifiers, r)) return out = r, true;
        }
        out = Value::NewArray(std::move(mods));
    } else {
        return false;
    }
    return true;
}

// Rebuilds the world transform with new rotation or scale and keeps the rest.
::Matrix3 Compose(const ::Point3& pos, const ::Quat& rot, const ::Point3& scale) {
    ::Matrix3 m;
    rot.MakeMatrix(m);
    m.SetRow(0, m.GetRow(0) * scale.x);
    m.SetRow(1, m.GetRow(1) * scale.y);
    m.SetRow(2, m.GetRow(2) * scale.z);
    m.SetTrans(pos);
    return m;
}

void ApplyNodeProperty(Interpreter& in, INode* n, Name prop, const Value& v) {
    const NodeNames& k = NN();
    TimeValue t = in.CurrentTime();
    ::Matrix3 tm = n->GetNodeTM(t);
    ::Point3 scale(tm[0].Length(), tm[1].Length(), tm[2].Length());
    if (prop == k.name) {
        n->SetName(Wide(v.ToDisplay()).c_str());
    } else if (prop == k.parent) {
        if (v.IsUndefined()) {
            n->Detach(t, 1);
        } else {
            INode* p = ToNode(v);
            if (!p) throw ConversionError(v, "Node");
            INode* up = p;
            while (up && up != n) up = up->GetParentNode();
            if (up == n) throw RuntimeError("Cannot link " + NodeValue(n).Print() + " to its own descendant");
            p->AttachChild(n, 1);
        }
    } else if (prop == k.transform) {
        n->SetNodeTM(t, ToMatrix(v));
    } else if (prop == k.pos || prop == k.position) {
        tm.SetTrans(ToPoint3(v));
        n->SetNodeTM(t, tm);
    } else if (prop == k.rotation) {
        n->SetNodeTM(t, Compose(tm.GetTrans(), ToQuat(v), scale));
    } else if (prop == k.scale) {
        ::Matrix3 r = tm;
        r.Orthogonalize();
        n->SetNodeTM(t, Compose(tm.GetTrans(), ::Quat(r), ToPoint3(v)));
    } else if (prop == k.wirecolor) {
        n->SetWireColor(ToWireColor(v));
    } else if (prop == k.isHidden) {
        n->Hide(v.ToBool() ? TRUE : FALSE);
    } else if (prop == k.isFrozen) {
        n->Freeze(v.ToBool() ? TRUE : FALSE);
    } else if (prop == k.isSelected) {
        if (v.ToBool()) GetCOREInterface()->SelectNode(n, 0);
        else GetCOREInterface()->DeSelectNode(n);
    } else if (prop == k.renderable) {
        n->SetRenderable(v.ToBool() ? TRUE : FALSE);
    } else if (prop == k.boneEnable) {
        n->SetBoneNodeOnOff(v.ToBool() ? TRUE : FALSE, t);
    } else if (prop == k.controller) {
        auto* c = dynamic_cast<Control*>(ToAnim(v));
        if (!c || c->SuperClassID() != CTRL_MATRIX3_CLASS_ID) throw ConversionError(v, "Matrix3Controller");
        if (!n->SetTMController(c)) throw RuntimeError("Cannot assign controller " + v.Print());
    } else {
        throw RuntimeError("Cannot set " + std::string(prop.Str()) + " of " + NodeValue(n).Print());
    }
}

// ---- the scene ----

void AllNodes(INode* n, std::vector<INode*>& out) {
    for (int i = 0; i < n->NumberOfChildren(); ++i) {
        INode* c = n->GetChildNode(i);
        out.push_back(c);
        AllNodes(c, out);
    }
}

std::vector<INode*> SceneNodes() {
    std::vector<INode*> v;
    AllNodes(GetCOREInterface()->GetRootNode(), v);
    return v;
}

Value NodesValue(const std::vector<INode*>& nodes) {
    std::vector<Value> v;
    v.reserve(nodes.size());
    for (INode* n : nodes) v.push_back(NodeValue(n));
    return Value::NewArray(std::move(v));
}

Value SelectionValue() {
    Interface* ip = GetCOREInterface();
    std::vector<INode*> sel;
    for (int i = 0; i < ip->GetSelNodeCount(); ++i) sel.push_back(ip->GetSelNode(i));
    return NodesValue(sel);
}

// Nodes of a node value or a collection of them; throws for anything else.
std::vector<INode*> NodesOf(Interpreter& in, const Value& v, const char* fn) {
    std::vector<INode*> out;
    if (INode* n = ToNode(v)) {
        out.push_back(n);
        return out;
    }
    if (v.IsArray() || v.IsObject()) {
        std::vector<Value> items;
        if (v.IsArray()) items = v.RawArray()->items;
        else if (!v.RawObject()->Items(in, items)) throw RuntimeError(std::string(fn) + " needs nodes, got: " + v.Print());
        for (const Value& i : items)
            if (INode* n = ToNode(i)) out.push_back(n);
        return out;
    }
    throw RuntimeError(std::string(fn) + " needs nodes, got: " + v.Print());
}

Animatable* AnimArg(const Value& v, const char* fn, int pos) {
    Animatable* a = ToAnim(v);
    if (!a) throw RuntimeError(std::string(fn) + ": argument " + std::to_string(pos) + " is not an animatable: " + v.Print());
    return a;
}

int SubIndex(Animatable* a, const Value& v, const char* fn) {
    if (v.IsName() || v.IsString()) {
        int i = SubAnimByName(a, v.ToName());
        if (i < 0) throw RuntimeError(std::string(fn) + ": no sub-anim " + v.Print());
        return i;
    }
    int i = v.ToInt();
    if (i < 1 || i > a->NumSubs()) throw RuntimeError(std::string(fn) + ": sub-anim index out of range: " + std::to_string(i));
    return i - 1;
}

bool HostClass::Call(Interpreter& in, const CallArgs& args, Value& out) {
    if (args.Count() != 0) throw ArgCountError(ClassName(), 0, static_cast<int>(args.Count()));
    auto* made = static_cast<Animatable*>(cd_->Create(FALSE));
    if (!made) throw RuntimeError("Cannot create " + ClassName());
    if (IsNodeFamily(cd_->SuperClassID())) {
        auto* obj = dynamic_cast<Object*>(made);
        if (!obj) throw RuntimeError("Cannot create a node of " + ClassName());
        const Value* name = args.Key("name");
        INode* node = name ? GetCOREInterface()->CreateObjectNode(obj, Wide(name->ToDisplay()).c_str())
                           : GetCOREInterface()->CreateObjectNode(obj);
        if (name) node->SetName(Wide(name->ToDisplay()).c_str());
        Value nv = NodeValue(node);
        static const Name kName = Name::Intern("name");
        for (const KeyArg& k : args.keys)
            if (k.key != kName) in.SetProperty(nv, k.key, k.value);
        out = nv;
        return true;
    }
    Value av = AnimValue(made);
    for (const KeyArg& k : args.keys) in.SetProperty(av, k.key, k.value);
    out = av;
    return true;
}

}  // namespace

Value SubAnimTrackValue(Animatable* parent, int index) {
    return parent && index >= 0 ? SubAnimValue(parent, index) : Value();
}

bool ToSubAnim(const Value& v, Animatable*& parent, int& index) {
    auto* s = v.As<SubAnimObj>();
    if (!s || !s->Parent()) return false;
    parent = s->Parent();
    index = s->Index();
    return true;
}

// ---- public entry points ------------------------------------------------------------------------

Value NodeValue(INode* node) { return node ? Value::Object(new NodeObj(node)) : Value(); }

INode* ToNode(const Value& v) {
    auto* n = v.As<NodeObj>();
    return n ? n->Node() : nullptr;
}

bool IsNodeValue(const Value& v) { return v.As<NodeObj>() != nullptr; }

Value AnimValue(Animatable* anim) {
    if (!anim) return Value();
    if (auto* n = dynamic_cast<INode*>(anim)) return NodeValue(n);
    return Value::Object(new AnimObj(anim));
}

Animatable* ToAnim(const Value& v) {
    if (auto* n = v.As<NodeObj>()) return n->Node();
    if (auto* a = v.As<AnimObj>()) return a->Anim();
    if (auto* s = v.As<SubAnimObj>()) return s->Target();
    return nullptr;
}

Value ClassValue(ClassDesc* cd) {
    static std::unordered_map<ClassDesc*, HostClass*> made;
    auto it = made.find(cd);
    if (it != made.end()) return Value::Object(it->second);
    auto* c = new HostClass(cd);
    c->MakeImmortal();
    made[cd] = c;
    return Value::Object(c);
}

void AddAnimPropertyHooks(AnimPropertyHooks hooks) { Hooks().push_back(std::move(hooks)); }

void AddGlobalResolver(std::function<bool(Name, Value&)> resolver) { Resolvers().push_back(std::move(resolver)); }

void AddClassMemberHooks(ClassMemberHooks hooks) { ClassHooks().push_back(std::move(hooks)); }

ClassDesc* ToClassDesc(const Value& v) {
    auto* c = v.As<HostClass>();
    return c ? c->Desc() : nullptr;
}

Value ResolvePath(Interpreter&, std::string_view path) {
    if (path.empty()) {
        Interface* ip = GetCOREInterface();
        int n = ip->GetSelNodeCount();
        if (n == 0) return Value();
        if (n == 1) return NodeValue(ip->GetSelNode(0));
        return SelectionValue();
    }
    std::string p(path);
    bool wild = p.find_first_of("*?") != std::string::npos;
    if (p.find('/') != std::string::npos) {
        // a/b/c: a at the top level, then each name among the children of the one before
        std::vector<INode*> level{GetCOREInterface()->GetRootNode()};
        size_t b = 0;
        while (b <= p.size()) {
            size_t e = p.find('/', b);
            std::string seg = p.substr(b, e == std::string::npos ? std::string::npos : e - b);
            std::vector<INode*> next;
            for (INode* n : level)
                for (int i = 0; i < n->NumberOfChildren(); ++i)
                    if (MatchPattern(Utf8(n->GetChildNode(i)->GetName()).c_str(), seg.c_str(), true))
                        next.push_back(n->GetChildNode(i));
            level = std::move(next);
            if (e == std::string::npos) break;
            b = e + 1;
        }
        if (wild) return NodesValue(level);
        return level.empty() ? Value() : NodeValue(level.front());
    }
    std::vector<INode*> hits;
    for (INode* n : SceneNodes())
        if (MatchPattern(Utf8(n->GetName()).c_str(), p.c_str(), true)) {
            if (!wild) return NodeValue(n);
            hits.push_back(n);
        }
    return wild ? NodesValue(hits) : Value();
}

bool ResolveGlobal(Interpreter&, Name name, Value& out) {
    std::string s(name.Str());
    if (ClassDesc* cd = host::ClassDirectory::Get().FindClassByScriptName(Wide(s).c_str())) {
        out = ClassValue(cd);
        return true;
    }
    // blanks in display names read as underscores in scripts
    std::string spaced = s;
    for (char& c : spaced)
        if (c == '_') c = ' ';
    if (spaced != s)
        if (ClassDesc* cd = host::ClassDirectory::Get().FindClassByScriptName(Wide(spaced).c_str())) {
            out = ClassValue(cd);
            return true;
        }
    for (const SuperClassInfo& sc : kSuperClasses)
        if (Name::Intern(sc.name) == name) {
            out = Value::Object(SuperClassFor(sc.id));
            return true;
        }
    for (const auto& r : Resolvers())
        if (r(name, out)) return true;
    return false;
}

void Bind(Interpreter& in) {
    in.DefineSystemGlobal("rootNode", [](Interpreter&) { return NodeValue(GetCOREInterface()->GetRootNode()); });
    in.DefineSystemGlobal("objects", [](Interpreter&) { return NodesValue(SceneNodes()); });
    in.DefineSystemGlobal("selection", [](Interpreter&) { return SelectionValue(); });

    in.RegisterPrimitive("getNodeByName", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getNodeByName", a, 1);
        std::string want = a[0].ToDisplay();
        const Value* exact = a.Key("exact");
        const Value* ignoreCase = a.Key("ignoreCase");
        bool caseSensitive = (exact && exact->ToBool()) || (ignoreCase && !ignoreCase->ToBool());
        for (INode* n : SceneNodes()) {
            std::string name = Utf8(n->GetName());
            bool same = caseSensitive ? name == want : Name::Intern(name) == Name::Intern(want);
            if (same) return NodeValue(n);
        }
        return Value();
    });
    in.RegisterPrimitive("isValidNode", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("isValidNode", a, 1);
        return Value::Bool(ToNode(a[0]) != nullptr);
    });
    in.RegisterPrimitive("select", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("select", a, 1);
        std::vector<INode*> nodes = NodesOf(in, a[0], "select");
        Interface* ip = GetCOREInterface();
        ip->ClearNodeSelection(FALSE);
        for (INode* n : nodes) ip->SelectNode(n, 0);
        return Value::Ok();
    });
    in.RegisterPrimitive("selectMore", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("selectMore", a, 1);
        for (INode* n : NodesOf(in, a[0], "selectMore")) GetCOREInterface()->SelectNode(n, 0);
        return Value::Ok();
    });
    in.RegisterPrimitive("deselect", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("deselect", a, 1);
        for (INode* n : NodesOf(in, a[0], "deselect")) GetCOREInterface()->DeSelectNode(n);
        return Value::Ok();
    });
    in.RegisterPrimitive("clearSelection", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("clearSelection", a, 0);
        GetCOREInterface()->ClearNodeSelection(FALSE);
        return Value::Ok();
    });
    in.RegisterPrimitive("delete", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("delete", a, 1);
        std::vector<INode*> nodes = NodesOf(in, a[0], "delete");
        std::vector<ULONG> handles;
        for (INode* n : nodes) handles.push_back(n->GetHandle());
        int count = 0;
        // by handle: deleting a node may take others with it
        for (ULONG h : handles)
            if (INode* n = NodeByHandle(h)) {
                GetCOREInterface()->DeleteNode(n, TRUE, FALSE);
                ++count;
            }
        return a[0].IsArray() ? Value::Int(count) : Value::Ok();
    });
    auto hide = [](bool on) {
        return [on](Interpreter& in, const CallArgs& a) {
            CheckArgCount(on ? "hide" : "unhide", a, 1);
            for (INode* n : NodesOf(in, a[0], on ? "hide" : "unhide")) n->Hide(on ? TRUE : FALSE);
            return Value::Ok();
        };
    };
    in.RegisterPrimitive("hide", hide(true));
    in.RegisterPrimitive("unhide", hide(false));

    in.RegisterPrimitive("getSubAnim", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getSubAnim", a, 2);
        Animatable* p = AnimArg(a[0], "getSubAnim", 1);
        return SubAnimValue(p, SubIndex(p, a[1], "getSubAnim"));
    });
    in.RegisterPrimitive("numSubs", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("numSubs", a, 1);
        return Value::Int(AnimArg(a[0], "numSubs", 1)->NumSubs());
    });
    in.RegisterPrimitive("getSubAnimName", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getSubAnimName", a, 2);
        Animatable* p = AnimArg(a[0], "getSubAnimName", 1);
        int i = SubIndex(p, a[1], "getSubAnimName");
        return Value::FromName(Name::Intern(ScriptName(Utf8(p->SubAnimName(i, false).data()))));
    });
    in.RegisterPrimitive("getSubAnimNames", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getSubAnimNames", a, 1);
        Animatable* p = AnimArg(a[0], "getSubAnimNames", 1);
        std::vector<Value> names;
        for (int i = 0; i < p->NumSubs(); ++i)
            names.push_back(Value::FromName(Name::Intern(ScriptName(Utf8(p->SubAnimName(i, false).data())))));
        return Value::NewArray(std::move(names));
    });
    in.RegisterPrimitive("numKeys", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("numKeys", a, 1);
        return Value::Int(AnimArg(a[0], "numKeys", 1)->NumKeys());
    });
    in.RegisterPrimitive("getKeyTime", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getKeyTime", a, 2);
        Animatable* c = AnimArg(a[0], "getKeyTime", 1);
        int i = a[1].ToInt();
        if (i < 1 || i > c->NumKeys()) throw RuntimeError("getKeyTime: key index out of range: " + std::to_string(i));
        return Value::Time(c->GetKeyTime(i - 1));
    });
    in.RegisterPrimitive("addNewKey", [](Interpreter&, const CallArgs& a) {
        CheckArgCountRange("addNewKey", a, 2, 3);
        Animatable* c = AnimArg(a[0], "addNewKey", 1);
        TimeValue t = TimeOf(a[1]);
        DWORD flags = ADDKEY_INTERP;
        if (a.Count() == 3 && a[2].IsName() && a[2].RawName() == Name::Intern("select")) flags |= ADDKEY_SELECT;
        c->AddNewKey(t, flags);
        int i = c->GetKeyIndex(t);
        return i >= 0 ? Value::Object(new KeyObj(c, i)) : Value();
    });
    in.RegisterPrimitive("deleteKeys", [](Interpreter&, const CallArgs& a) {
        CheckArgCountRange("deleteKeys", a, 1, 2);
        Animatable* c = AnimArg(a[0], "deleteKeys", 1);
        bool selOnly = a.Count() == 2 && a[1].IsName() && a[1].RawName() == Name::Intern("selection");
        c->DeleteKeys(selOnly ? TRACK_DOSEL : TRACK_DOALL);
        return Value::Ok();
    });
    in.RegisterPrimitive("deleteKey", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("deleteKey", a, 2);
        Animatable* c = AnimArg(a[0], "deleteKey", 1);
        int i = a[1].ToInt();
        if (i < 1 || i > c->NumKeys()) throw RuntimeError("deleteKey: key index out of range: " + std::to_string(i));
        c->DeleteKeyAtTime(c->GetKeyTime(i - 1));
        return Value::Ok();
    });
    in.RegisterPrimitive("resetMaxFile", [](Interpreter&, const CallArgs& a) {
        CheckArgCountRange("resetMaxFile", a, 0, 1);
        host::ResetScene();
        return Value::Ok();
    });
}

namespace {

// How a node is written: `$name`, `$'name'`, or by handle when the name does not find it.
std::string NodePath(INode* n) {
    const std::wstring name = n->GetName() ? n->GetName() : L"";
    int same = 0;
    host::Scene::Get().ForEachNode([&](INode* o) {
        if (host::EqualNoCase(o->GetName() ? o->GetName() : L"", name)) ++same;
    });
    const std::string utf8 = Utf8(name.c_str());
    if (same == 1 && !name.empty()) {
        if (ScriptName(utf8) == utf8 && !std::isdigit(static_cast<unsigned char>(utf8[0]))) return "$" + utf8;
        if (utf8.find('\'') == std::string::npos && utf8.find('\n') == std::string::npos) return "$'" + utf8 + "'";
    }
    return "(maxOps.getNodeByHandle " + std::to_string(n->GetHandle()) + ")";
}

// The way from `from` to `target` through sub-anims, each step `.Name.controller` (or
// `[i].controller` when the name is empty, taken twice or a property of its own).
bool SubPath(Animatable* from, Animatable* target, int depth, std::string& out) {
    if (from == target) return true;
    if (depth == 0) return false;
    static const Name reserved[] = {Name::Intern("value"), Name::Intern("keys"), Name::Intern("numSubs"),
                                    Name::Intern("controller")};
    const int n = from->NumSubs();
    for (int i = 0; i < n; ++i) {
        Animatable* sub = from->SubAnim(i);
        if (!sub) continue;
        std::string rest;
        if (!SubPath(sub, target, depth - 1, rest)) continue;
        const std::string name = ScriptName(Utf8(from->SubAnimName(i, false).data()));
        bool byName = !name.empty() && !std::isdigit(static_cast<unsigned char>(name[0])) &&
                      SubAnimByName(from, Name::Intern(name)) == i;
        for (Name r : reserved) byName = byName && Name::Intern(name) != r;
        out = (byName ? "." + name : "[" + std::to_string(i + 1) + "]") + ".controller" + rest;
        return true;
    }
    return false;
}

}  // namespace

std::string ScriptPathOf(Animatable* anim) {
    if (!anim) return {};
    std::string found;
    host::Scene::Get().ForEachNode([&](INode* n) {
        if (!found.empty() || n->IsRootNode()) return;
        if (n == anim) {
            found = NodePath(n);
            return;
        }
        Animatable* tm = n->GetTMController();
        std::string rest;
        if (tm && SubPath(tm, anim, 6, rest)) found = NodePath(n) + ".controller" + rest;
    });
    return found;
}

}  // namespace scene

}  // namespace host::script
