// Function publishing and parameter blocks at the script boundary: core interfaces by name,
// mixin interfaces of objects and controllers as methods and properties, parameters by script
// name, and the conversion between script values and FPValue.
#include <cctype>

#include "bind.h"
#include "color.h"
#include "control.h"
#include "ifnpub.h"
#include "inode.h"
#include "iparamb2.h"
#include "maxscript.h"
#include "point2.h"

namespace host::script::scene {

namespace {

std::wstring Wide(std::string_view s) { return host::FromUtf8(s); }
std::string Utf8(const MCHAR* s) { return host::ToUtf8(s ? s : L""); }

bool SameScriptName(const MSTR& declared, Name n) {
    std::string s = host::ToUtf8(declared.str());
    for (char& c : s)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && static_cast<unsigned char>(c) < 0x80) c = '_';
    return !s.empty() && Name::Intern(s) == n;
}

// The class `as` and conversion errors name for a parameter type.
const char* TypeName(int type) {
    switch (base_type(type)) {
    case TYPE_FLOAT:
    case TYPE_ANGLE:
    case TYPE_PCNT_FRAC:
    case TYPE_WORLD:
    case TYPE_COLOR_CHANNEL: return "Float";
    case TYPE_INT:
    case TYPE_INDEX:
    case TYPE_RADIOBTN_INDEX: return "Integer";
    case TYPE_TIMEVALUE: return "Time";
    case TYPE_BOOL:
    case TYPE_bool: return "BooleanClass";
    case TYPE_POINT3: return "Point3";
    case TYPE_POINT2: return "Point2";
    case TYPE_RGBA:
    case TYPE_COLOR:
    case TYPE_FRGBA: return "Color";
    case TYPE_MATRIX3: return "Matrix3";
    case TYPE_QUAT: return "Quat";
    case TYPE_STRING:
    case TYPE_FILENAME:
    case TYPE_TSTR: return "String";
    case TYPE_NAME: return "Name";
    case TYPE_INODE: return "Node";
    default: return "ReferenceTarget";
    }
}

Value InterfaceValue(FPInterface* fpi);

// ---- FPValue -> script ----

Value FromFP(const FPValue& v, FPInterfaceDesc* desc, EnumID enumID);

template <class T>
Value TabToArray(const Tab<T>* tab, int elemType, FPInterfaceDesc* desc, EnumID enumID) {
    std::vector<Value> items;
    if (tab)
        for (int i = 0; i < tab->Count(); ++i) {
            FPValue e;
            e.Load(static_cast<ParamType2>(elemType), (*tab)[i]);
            items.push_back(FromFP(e, desc, enumID));
        }
    return Value::NewArray(std::move(items));
}

Value ColorValue(const Color& c, float alpha = 1.f) {
    return Value::Color(c.r * 255.f, c.g * 255.f, c.b * 255.f, alpha * 255.f);
}

Value FromFP(const FPValue& v, FPInterfaceDesc* desc, EnumID enumID) {
    const int t = v.type;
    const int b = base_type(t);
    if (is_tab(t)) {
        switch (b) {
        case TYPE_INT:
        case TYPE_BOOL:
        case TYPE_INDEX:
        case TYPE_ENUM:
        case TYPE_TIMEVALUE:
        case TYPE_RADIOBTN_INDEX: return TabToArray(v.i_tab, b, desc, enumID);
        case TYPE_FLOAT:
        case TYPE_ANGLE:
        case TYPE_PCNT_FRAC:
        case TYPE_WORLD:
        case TYPE_COLOR_CHANNEL: return TabToArray(v.f_tab, b, desc, enumID);
        case TYPE_POINT3: return TabToArray(v.p_tab, b, desc, enumID);
        case TYPE_MATRIX3: return TabToArray(v.m3_tab, b, desc, enumID);
        case TYPE_QUAT: return TabToArray(v.q_tab, b, desc, enumID);
        case TYPE_STRING:
        case TYPE_FILENAME:
        case TYPE_NAME: return TabToArray(v.s_tab, b, desc, enumID);
        case TYPE_TSTR: return TabToArray(v.tstr_tab, b, desc, enumID);
        case TYPE_INODE: return TabToArray(v.n_tab, b, desc, enumID);
        case TYPE_REFTARG: return TabToArray(v.r_tab, b, desc, enumID);
        case TYPE_CONTROL: return TabToArray(v.ctrl_tab, b, desc, enumID);
        case TYPE_OBJECT: return TabToArray(v.obj_tab, b, desc, enumID);
        case TYPE_MTL: return TabToArray(v.mtl_tab, b, desc, enumID);
        case TYPE_FPVALUE: return TabToArray(v.fpv_tab, b, desc, enumID);
        case TYPE_INTERFACE: return TabToArray(v.fpi_tab, b, desc, enumID);
        default: return Value::NewArray();
        }
    }
    // by-reference and by-pointer values read through their pointer
    bool indirect = is_by_ref(t) || is_by_ptr(t);
    auto num = [&](auto direct, auto* ptr) {
        return indirect ? (ptr ? *ptr : decltype(direct){}) : direct;
    };
    switch (b) {
    case TYPE_VOID: return Value::Ok();
    case TYPE_INT:
    case TYPE_INDEX:
    case TYPE_RADIOBTN_INDEX: return Value::Int(num(v.i, v.iptr));
    case TYPE_BOOL: return Value::Bool(num(v.i, v.iptr) != 0);
    case TYPE_bool: return Value::Bool(num(v.b, v.bptr));
    case TYPE_TIMEVALUE: return Value::Time(num(v.i, v.iptr));
    case TYPE_ENUM: {
        int code = num(v.i, v.iptr);
        FPEnum* e = desc ? desc->GetEnum(enumID) : nullptr;
        const MCHAR* n = e ? e->FindName(code) : nullptr;
        return n ? Value::FromName(Name::Intern(Utf8(n))) : Value::Int(code);
    }
    case TYPE_FLOAT:
    case TYPE_ANGLE:
    case TYPE_PCNT_FRAC:
    case TYPE_WORLD:
    case TYPE_COLOR_CHANNEL: return Value::Float(num(v.f, v.fptr));
    case TYPE_DOUBLE: return Value::Float(static_cast<float>(num(v.dbl, v.dblptr)));
    case TYPE_DWORD: return Value::Int(static_cast<int32_t>(num(v.d, v.dptr)));
    case TYPE_INT64: return Value::Int(static_cast<int32_t>(num(v.i64, v.i64ptr)));
    case TYPE_INTPTR: return Value::Int(static_cast<int32_t>(num(v.intptr, v.intptrptr)));
    case TYPE_POINT3: return v.p ? FromPoint3(*v.p) : Value();
    case TYPE_POINT2: return v.p2 ? Value::Point2(v.p2->x, v.p2->y) : Value();
    case TYPE_POINT4: return v.p4 ? Value::NewArray({Value::Float(v.p4->x), Value::Float(v.p4->y), Value::Float(v.p4->z), Value::Float(v.p4->w)}) : Value();
    case TYPE_MATRIX3: return v.m ? FromMatrix(*v.m) : Value();
    case TYPE_QUAT: return v.q ? FromQuat(*v.q) : Value();
    case TYPE_ANGAXIS: return v.aa ? FromQuat(::Quat(*v.aa)) : Value();
    case TYPE_RGBA:
    case TYPE_COLOR:
    case TYPE_HSV: return v.clr ? ColorValue(*v.clr) : Value();
    case TYPE_FRGBA: return v.aclr ? ColorValue(Color(v.aclr->r, v.aclr->g, v.aclr->b), v.aclr->a) : Value();
    case TYPE_INTERVAL: return v.intvl ? Value::Interval(v.intvl->Start(), v.intvl->End()) : Value();
    case TYPE_BITARRAY: {
        std::vector<Value> set;
        if (v.bits)
            for (int i = 0; i < v.bits->GetSize(); ++i)
                if ((*v.bits)[i]) set.push_back(Value::Int(i + 1));
        return Value::NewArray(std::move(set));
    }
    case TYPE_TSTR: return v.tstr ? Value::String(host::ToUtf8(v.tstr->str())) : Value();
    case TYPE_STRING:
    case TYPE_FILENAME: return v.s ? Value::String(Utf8(v.s)) : Value();
    case TYPE_NAME: return v.s ? Value::FromName(Name::Intern(Utf8(v.s))) : Value();
    case TYPE_INODE: return NodeValue(v.n);
    case TYPE_REFTARG:
    case TYPE_MTL:
    case TYPE_TEXMAP:
    case TYPE_CONTROL:
    case TYPE_OBJECT:
    case TYPE_PBLOCK2: return AnimValue(static_cast<Animatable*>(indirect ? nullptr : v.r));
    case TYPE_INTERFACE: return InterfaceValue(v.fpi);
    case TYPE_CLASS: return v.cd ? ClassValue(v.cd) : Value();
    case TYPE_FPVALUE: return v.fpv ? FromFP(*v.fpv, desc, enumID) : Value();
    case TYPE_VALUE: return v.v ? v.v->ScriptValue() : Value();
    default: return Value();
    }
}

// ---- script -> FPValue ----

// A script value as the FPValue closest to it; `declared` (the argument's type) decides tables
// and colours. The binder coerces the rest to the declared type.
FPValue ToFP(const Value& v, int declared) {
    const int db = base_type(declared);
    if (is_tab(declared)) {
        std::vector<Value> items = v.IsArray() ? v.RawArray()->items : std::vector<Value>{v};
        FPValue out;
        switch (db) {
        case TYPE_INODE: {
            Tab<INode*> t;
            for (const Value& i : items) t.Append(1, std::vector<INode*>{ToNode(i)}.data());
            out.Load(TYPE_INODE_TAB_BV, t);
            return out;
        }
        case TYPE_FLOAT:
        case TYPE_ANGLE:
        case TYPE_PCNT_FRAC:
        case TYPE_WORLD: {
            Tab<float> t;
            for (const Value& i : items) {
                float f = i.ToFloat();
                t.Append(1, &f);
            }
            out.Load(static_cast<ParamType2>(db | TYPE_TAB | TYPE_BY_VAL), t);
            return out;
        }
        case TYPE_INT:
        case TYPE_INDEX:
        case TYPE_BOOL:
        case TYPE_TIMEVALUE: {
            Tab<int> t;
            for (const Value& i : items) {
                int n = i.IsBool() ? (i.RawBool() ? 1 : 0) : (db == TYPE_TIMEVALUE ? TimeOf(i) : i.ToInt());
                t.Append(1, &n);
            }
            out.Load(static_cast<ParamType2>(db | TYPE_TAB | TYPE_BY_VAL), t);
            return out;
        }
        case TYPE_POINT3: {
            Tab<Point3*> t;
            std::vector<Point3> store;
            store.reserve(items.size());
            for (const Value& i : items) store.push_back(ToPoint3(i));
            for (Point3& p : store) {
                Point3* pp = &p;
                t.Append(1, &pp);
            }
            out.Load(TYPE_POINT3_TAB_BV, t);
            return out;
        }
        case TYPE_STRING:
        case TYPE_FILENAME: {
            std::vector<std::wstring> store;
            for (const Value& i : items) store.push_back(Wide(i.ToDisplay()));
            Tab<const MCHAR*> t;
            for (const std::wstring& s : store) {
                const MCHAR* p = s.c_str();
                t.Append(1, &p);
            }
            out.Load(static_cast<ParamType2>(db | TYPE_TAB | TYPE_BY_VAL), t);
            return out;
        }
        case TYPE_REFTARG:
        case TYPE_CONTROL:
        case TYPE_OBJECT:
        case TYPE_MTL: {
            Tab<ReferenceTarget*> t;
            for (const Value& i : items) {
                auto* r = dynamic_cast<ReferenceTarget*>(ToAnim(i));
                t.Append(1, &r);
            }
            out.Load(TYPE_REFTARG_TAB_BV, t);
            return out;
        }
        default: throw RuntimeError("cannot pass " + v.Print() + " as a table argument");
        }
    }
    switch (v.tag()) {
    case Tag::Undefined:
    case Tag::Unsupplied: return FPValue();
    case Tag::Ok: return FPValue();
    case Tag::Bool: return FPValue(TYPE_bool, v.RawBool());
    case Tag::Int: return FPValue(TYPE_INT, v.RawInt());
    case Tag::Float: return FPValue(TYPE_FLOAT, v.RawFloat());
    case Tag::Time: return FPValue(TYPE_TIMEVALUE, v.RawTime());
    case Tag::Name: {
        std::wstring w = Wide(v.RawName().Str());
        return FPValue(TYPE_NAME, w.c_str());
    }
    case Tag::String: {
        std::wstring w = Wide(v.RawString()->str);
        return FPValue(TYPE_STRING, w.c_str());
    }
    case Tag::Point2: return FPValue(TYPE_POINT2, Point2(v.RawVec()[0], v.RawVec()[1]));
    case Tag::Point3: {
        if (db == TYPE_RGBA || db == TYPE_COLOR || db == TYPE_FRGBA)
            return FPValue(TYPE_COLOR, Color(v.RawVec()[0] / 255.f, v.RawVec()[1] / 255.f, v.RawVec()[2] / 255.f));
        return FPValue(TYPE_POINT3, ToPoint3(v));
    }
    case Tag::Quat:
    case Tag::Euler:
        if (db == TYPE_MATRIX3) return FPValue(TYPE_MATRIX3, ToMatrix(v));
        return FPValue(TYPE_QUAT, ToQuat(v));
    case Tag::Color: {
        const float* c = v.RawVec();
        if (db == TYPE_FRGBA) return FPValue(TYPE_FRGBA, AColor(c[0] / 255.f, c[1] / 255.f, c[2] / 255.f, c[3] / 255.f));
        if (db == TYPE_POINT3) return FPValue(TYPE_POINT3, Point3(c[0], c[1], c[2]));
        return FPValue(TYPE_COLOR, Color(c[0] / 255.f, c[1] / 255.f, c[2] / 255.f));
    }
    case Tag::Interval: return FPValue(TYPE_INTERVAL, ::Interval(v.IntervalStart(), v.IntervalEnd()));
    case Tag::Matrix3:
        if (db == TYPE_QUAT) return FPValue(TYPE_QUAT, ToQuat(v));
        return FPValue(TYPE_MATRIX3, ToMatrix(v));
    case Tag::Array: throw RuntimeError("cannot pass an array as " + v.Print());
    case Tag::Object: {
        if (INode* n = ToNode(v)) return FPValue(TYPE_INODE, n);
        if (Animatable* a = ToAnim(v)) {
            if (auto* c = dynamic_cast<Control*>(a)) return FPValue(TYPE_CONTROL, c);
            if (auto* r = dynamic_cast<ReferenceTarget*>(a)) return FPValue(TYPE_REFTARG, r);
        }
        if (ClassDesc* cd = ToClassDesc(v)) return FPValue(TYPE_CLASS, cd);
        if (v.IsObject() && v.RawObject()->IsDead()) return FPValue();
        throw RuntimeError("cannot pass " + v.Print() + " to a published function");
    }
    }
    return FPValue();
}

}  // namespace

FPValue ToFPForResult(const Value& v) { return ToFP(v, TYPE_VOID); }

namespace {

// ---- calls ----

Value CallFunction(Interpreter& in, FPInterface* fpi, FPFunctionDef& fd, const CallArgs& args) {
    host::FPScriptCall call;
    FPCallValues values;
    // Value* arguments take the script value as it is, whatever it holds
    auto convert = [&values](const Value& a, int declared) {
        return base_type(declared) == TYPE_VALUE && !is_tab(declared) ? FPValue(TYPE_VALUE, values.Make(a))
                                                                       : ToFP(a, declared);
    };
    int k = 0;
    for (const Value& a : args.pos) {
        // the declared type of the k-th positional argument decides the conversion
        int declared = TYPE_VOID;
        int seen = 0;
        for (int i = 0; i < fd.params.Count(); ++i)
            if (!fd.params[i]->IsKeyArg() && seen++ == k) declared = fd.params[i]->type;
        call.positional.push_back(convert(a, declared));
        ++k;
    }
    for (const KeyArg& ka : args.keys) {
        int declared = TYPE_VOID;
        for (int i = 0; i < fd.params.Count(); ++i)
            if (SameScriptName(fd.params[i]->internal_name, ka.key)) declared = fd.params[i]->type;
        call.keywords.emplace_back(MSTR(Wide(ka.key.Str())), convert(ka.value, declared));
    }
    FPValue result;
    host::FPBindResult bind = host::FPBindResult::Ok;
    MSTR message;
    FPStatus st = FPS_FAIL;
    try {
        st = host::InvokeScriptCall(fpi, fd, in.CurrentTime(), call, result, &bind, &message);
    } catch (const ::ScriptException& e) {
        // a published function reports with the same error forms as a primitive
        throw ScriptError(e.Message());
    }
    std::string fn = Utf8(fd.internal_name.data());
    if (bind == host::FPBindResult::WrongArgCount)
        throw ArgCountError(fn, fd.NumPositional(), static_cast<int>(args.Count()));
    if (bind == host::FPBindResult::BadValue)
        throw RuntimeError(message.isNull() ? "bad argument in " + fn : host::ToUtf8(message.str()));
    if (st == FPS_NO_SUCH_FUNCTION) throw RuntimeError("No such function: " + fn);
    if (st == FPS_ACTION_DISABLED) throw RuntimeError("Action disabled: " + fn);
    return FromFP(result, fpi->GetDesc(), fd.enumID);
}

bool GetFPProperty(Interpreter& in, FPInterface* fpi, Name prop, Value& out) {
    FPInterfaceDesc* desc = fpi->GetDesc();
    if (!desc) return false;
    for (int i = 0; i < desc->props.Count(); ++i) {
        FPPropDef* pd = desc->props[i];
        if (!SameScriptName(pd->internal_name, prop)) continue;
        FPValue r;
        FPStatus st = host::GetScriptProperty(fpi, pd->internal_name.data(), in.CurrentTime(), r);
        if (st != FPS_OK) throw RuntimeError("Cannot get " + std::string(prop.Str()));
        out = FromFP(r, desc, pd->enumID);
        return true;
    }
    return false;
}

bool SetFPProperty(Interpreter& in, FPInterface* fpi, Name prop, const Value& v) {
    FPInterfaceDesc* desc = fpi->GetDesc();
    if (!desc) return false;
    for (int i = 0; i < desc->props.Count(); ++i) {
        FPPropDef* pd = desc->props[i];
        if (!SameScriptName(pd->internal_name, prop)) continue;
        if (pd->ReadOnly()) throw RuntimeError("Cannot set read-only property: " + std::string(prop.Str()));
        FPStatus st = host::SetScriptProperty(fpi, pd->internal_name.data(), in.CurrentTime(), ToFP(v, pd->prop_type));
        if (st != FPS_OK) throw RuntimeError("Cannot set " + std::string(prop.Str()) + " to " + v.Print());
        return true;
    }
    return false;
}

FPFunctionDef* FindFunction(FPInterface* fpi, Name name) {
    FPInterfaceDesc* desc = fpi->GetDesc();
    if (!desc) return nullptr;
    for (int i = 0; i < desc->functions.Count(); ++i)
        if (SameScriptName(desc->functions[i]->internal_name, name)) return desc->functions[i];
    return nullptr;
}

// A published function picked off its interface (`f = Kinetrope.About`).
class BoundFunction final : public ScriptObject {
public:
    BoundFunction(FPInterface* fpi, FPFunctionDef* fd) : fpi_(fpi), fd_(fd) {}
    ScriptClass* Class() const override { return classes::Primitive(); }
    void Print(std::string& out) const override { out += Utf8(fd_->internal_name.data()) + "()"; }
    bool Call(Interpreter& in, const CallArgs& args, Value& out) override {
        out = CallFunction(in, fpi_, *fd_, args);
        return true;
    }

private:
    FPInterface* fpi_;
    FPFunctionDef* fd_;
};

class InterfaceObj final : public ScriptObject {
public:
    explicit InterfaceObj(FPInterface* fpi) : fpi_(fpi) {}
    ScriptClass* Class() const override {
        static ScriptClass* c = [] {
            auto* k = new ScriptClass("Interface", classes::ValueClass());
            k->MakeImmortal();
            return k;
        }();
        return c;
    }
    void Print(std::string& out) const override {
        FPInterfaceDesc* d = fpi_->GetDesc();
        out += "<Interface:" + (d ? Utf8(d->internal_name.data()) : std::string("?")) + ">";
    }
    bool GetProperty(Interpreter& in, Name prop, Value& out) override {
        if (GetFPProperty(in, fpi_, prop, out)) return true;
        if (FPFunctionDef* fd = FindFunction(fpi_, prop)) {
            out = Value::Object(new BoundFunction(fpi_, fd));
            return true;
        }
        return false;
    }
    bool SetProperty(Interpreter& in, Name prop, const Value& v) override { return SetFPProperty(in, fpi_, prop, v); }
    bool CallMethod(Interpreter& in, Name m, const CallArgs& args, Value& out) override {
        FPFunctionDef* fd = FindFunction(fpi_, m);
        if (!fd) return false;
        out = CallFunction(in, fpi_, *fd, args);
        return true;
    }
    bool Equals(const ScriptObject& o) const override {
        auto* other = dynamic_cast<const InterfaceObj*>(&o);
        return other && other->fpi_ == fpi_;
    }

private:
    FPInterface* fpi_;
};

Value InterfaceValue(FPInterface* fpi) { return fpi ? Value::Object(new InterfaceObj(fpi)) : Value(); }

// The mixin interfaces an animatable answers, from its class's published descriptions.
std::vector<FPInterface*> Mixins(Animatable* a) {
    std::vector<FPInterface*> out;
    ClassDesc* cd = host::ClassDirectory::Get().FindClass(a->SuperClassID(), a->ClassID());
    if (!cd) return out;
    for (int i = 0; i < cd->NumInterfaces(); ++i) {
        FPInterfaceDesc* d = cd->GetInterfaceAt(i) ? cd->GetInterfaceAt(i)->GetDesc() : nullptr;
        if (!d || !(d->flags & FP_MIXIN)) continue;
        if (auto* fpi = dynamic_cast<FPInterface*>(a->GetInterface(d->ID))) out.push_back(fpi);
    }
    return out;
}

// ---- parameter blocks ----

// Parameter blocks are references of their owner, whatever kind of object it is.
bool FindParam(Animatable* a, Name prop, IParamBlock2*& pb, ParamID& id) {
    auto* owner = dynamic_cast<ReferenceMaker*>(a);
    if (!owner) return false;
    for (int i = 0; i < owner->NumRefs(); ++i) {
        auto* b = dynamic_cast<IParamBlock2*>(owner->GetReference(i));
        if (!b || b->GetOwner() != owner) continue;
        for (int k = 0; k < b->NumParams(); ++k) {
            ParamID pid = b->IndextoID(k);
            if (SameScriptName(b->GetParamDef(pid).int_name, prop)) {
                pb = b;
                id = pid;
                return true;
            }
        }
    }
    return false;
}

bool GetParam(Interpreter& in, Animatable* a, Name prop, Value& out) {
    IParamBlock2* pb = nullptr;
    ParamID id = -1;
    if (!FindParam(a, prop, pb, id)) return false;
    ParamDef& def = pb->GetParamDef(id);
    if (is_tab(def.type)) {
        std::vector<Value> items;
        for (int i = 0; i < pb->Count(id); ++i) {
            FPValue v;
            host::PBGetScriptValue(pb, id, in.CurrentTime(), v, i);
            items.push_back(FromFP(v, nullptr, FP_NO_ENUM));
        }
        out = Value::NewArray(std::move(items));
        return true;
    }
    FPValue v;
    if (!host::PBGetScriptValue(pb, id, in.CurrentTime(), v, 0)) throw RuntimeError("Cannot get " + std::string(prop.Str()));
    out = FromFP(v, nullptr, FP_NO_ENUM);
    return true;
}

void CheckSet(host::PBScriptResult r, Name prop, const Value& v, int type) {
    switch (r) {
    case host::PBScriptResult::Ok: return;
    case host::PBScriptResult::ReadOnly: throw RuntimeError("Cannot set read-only parameter: " + std::string(prop.Str()));
    case host::PBScriptResult::WrongType: throw ConversionError(v, TypeName(type));
    case host::PBScriptResult::OutOfRange:
        throw RuntimeError("Value out of range for " + std::string(prop.Str()) + ": " + v.Print());
    case host::PBScriptResult::Refused: throw RuntimeError("Value refused for " + std::string(prop.Str()) + ": " + v.Print());
    case host::PBScriptResult::NoSuchParam: throw UnknownPropertyError(prop.Str(), v);
    }
}

bool SetParam(Interpreter& in, Animatable* a, Name prop, const Value& v) {
    IParamBlock2* pb = nullptr;
    ParamID id = -1;
    if (!FindParam(a, prop, pb, id)) return false;
    ParamDef& def = pb->GetParamDef(id);
    int elem = base_type(def.type);
    if (is_tab(def.type)) {
        std::vector<Value> items = v.IsArray() ? v.RawArray()->items : std::vector<Value>{v};
        pb->SetCount(id, static_cast<int>(items.size()));
        for (size_t i = 0; i < items.size(); ++i)
            CheckSet(host::PBSetScriptValue(pb, id, in.CurrentTime(), ToFP(items[i], elem), static_cast<int>(i)), prop,
                     items[i], elem);
        return true;
    }
    CheckSet(host::PBSetScriptValue(pb, id, in.CurrentTime(), ToFP(v, elem), 0), prop, v, elem);
    return true;
}

// ---- hooks ----

bool HookGet(Interpreter& in, Animatable* a, Name prop, Value& out) {
    if (GetParam(in, a, prop, out)) return true;
    for (FPInterface* fpi : Mixins(a)) {
        if (GetFPProperty(in, fpi, prop, out)) return true;
        FPInterfaceDesc* d = fpi->GetDesc();
        if (d && SameScriptName(d->internal_name, prop)) {
            out = InterfaceValue(fpi);
            return true;
        }
    }
    return false;
}

bool HookSet(Interpreter& in, Animatable* a, Name prop, const Value& v) {
    if (SetParam(in, a, prop, v)) return true;
    for (FPInterface* fpi : Mixins(a))
        if (SetFPProperty(in, fpi, prop, v)) return true;
    return false;
}

bool HookCall(Interpreter& in, Animatable* a, Name m, const CallArgs& args, Value& out) {
    for (FPInterface* fpi : Mixins(a))
        if (FPFunctionDef* fd = FindFunction(fpi, m)) {
            out = CallFunction(in, fpi, *fd, args);
            return true;
        }
    return false;
}

// Static interfaces of a class: their descriptions dispatch themselves.
std::vector<FPInterface*> Statics(ClassDesc* cd) {
    std::vector<FPInterface*> out;
    for (int i = 0; i < cd->NumInterfaces(); ++i) {
        FPInterface* fpi = cd->GetInterfaceAt(i);
        FPInterfaceDesc* d = fpi ? fpi->GetDesc() : nullptr;
        if (d && (d->flags & FP_STATIC) && !(d->flags & FP_MIXIN)) out.push_back(fpi);
    }
    return out;
}

bool ClassGet(Interpreter& in, ClassDesc* cd, Name prop, Value& out) {
    for (FPInterface* fpi : Statics(cd)) {
        if (GetFPProperty(in, fpi, prop, out)) return true;
        if (FPFunctionDef* fd = FindFunction(fpi, prop)) {
            out = Value::Object(new BoundFunction(fpi, fd));
            return true;
        }
    }
    return false;
}

bool ClassCall(Interpreter& in, ClassDesc* cd, Name m, const CallArgs& args, Value& out) {
    for (FPInterface* fpi : Statics(cd))
        if (FPFunctionDef* fd = FindFunction(fpi, m)) {
            out = CallFunction(in, fpi, *fd, args);
            return true;
        }
    return false;
}

bool ResolveInterface(Name name, Value& out) {
    FPInterface* fpi = host::FindCoreInterface(Wide(name.Str()).c_str());
    if (!fpi) return false;
    out = InterfaceValue(fpi);
    return true;
}

const bool registered = [] {
    AddAnimPropertyHooks({&HookGet, &HookSet, &HookCall});
    AddClassMemberHooks({&ClassGet, &ClassCall});
    AddGlobalResolver(&ResolveInterface);
    return true;
}();

}  // namespace

}  // namespace host::script::scene

namespace host::script {

extern void (*g_fillFPValue)(const Value& v, FPValue* out);

namespace {

// ExecuteMAXScriptScript's result: the natural FPValue of the script value.
void FillFPValue(const Value& v, FPValue* out) {
    if (!out) return;
    out->Free();
    if (v.IsArray() || v.IsUndefined() || v.IsUnsupplied() || v.tag() == Tag::Ok) return;
    if (v.IsObject() && !scene::ToAnim(v) && !scene::ToClassDesc(v)) return;
    *out = scene::ToFPForResult(v);
}

const bool installed = [] {
    g_fillFPValue = &FillFPValue;
    return true;
}();

}  // namespace

}  // namespace host::script
