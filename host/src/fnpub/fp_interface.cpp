#include "ifnpub.h"
#include "iparamb2.h"

#include <algorithm>

using host::fp::Cat;
using host::fp::CategoryOf;

namespace {

std::vector<FPInterface*>& Registry() {
    static std::vector<FPInterface*> list;
    return list;
}

bool IsTag(int v) { return v > FP_TAGS_BASE && v < FP_TAGS_BASE + 0x1000; }

// One value of type t from a descriptor list: numbers as int or double, struct types by value,
// strings and objects as pointers.
FPValue ReadListValue(int t, va_list* ap) {
    FPValue v;
    switch (CategoryOf(t)) {
        case Cat::Int: case Cat::Bool: v.Load(base_type(t), va_arg(*ap, int)); break;
        case Cat::Dword: v.Load(base_type(t), static_cast<DWORD>(va_arg(*ap, unsigned int))); break;
        case Cat::Float: v.Load(base_type(t), static_cast<float>(va_arg(*ap, double))); break;
        case Cat::Double: v.Load(base_type(t), va_arg(*ap, double)); break;
        case Cat::Int64: v.Load(base_type(t), va_arg(*ap, int64_t)); break;
        case Cat::IntPtr: v.Load(base_type(t), va_arg(*ap, INT_PTR)); break;
        case Cat::String: v.Load(base_type(t), va_arg(*ap, const MCHAR*)); break;
        case Cat::Pointer:
            v.ptr = va_arg(*ap, void*);
            v.type = base_type(t);
            break;
        case Cat::Struct: {
            const auto bv = static_cast<ParamType2>(base_type(t) | TYPE_BY_VAL);
            switch (base_type(t)) {
                case TYPE_POINT3: v.Load(bv, va_arg(*ap, Point3)); break;
                case TYPE_POINT2: v.Load(bv, va_arg(*ap, Point2)); break;
                case TYPE_POINT4: v.Load(bv, va_arg(*ap, Point4)); break;
                case TYPE_RGBA: case TYPE_COLOR: case TYPE_HSV: v.Load(bv, va_arg(*ap, Color)); break;
                case TYPE_FRGBA: v.Load(bv, va_arg(*ap, AColor)); break;
                case TYPE_QUAT: v.Load(bv, va_arg(*ap, Quat)); break;
                case TYPE_ANGAXIS: v.Load(bv, va_arg(*ap, AngAxis)); break;
                case TYPE_MATRIX3: v.Load(bv, va_arg(*ap, Matrix3)); break;
                case TYPE_INTERVAL: v.Load(bv, va_arg(*ap, Interval)); break;
                case TYPE_TSTR: v.Load(bv, MSTR(va_arg(*ap, const MCHAR*))); break;
                default: (void)va_arg(*ap, void*); break;
            }
            if (!v.IsVoid()) v.type = base_type(t);
            break;
        }
        case Cat::Void: break;
    }
    return v;
}

// Reads a type code and, for enumerations, the EnumID after it.
ParamType2 ReadType(va_list* ap, EnumID& enumID) {
    auto t = static_cast<ParamType2>(va_arg(*ap, int));
    enumID = FP_NO_ENUM;
    if (base_type(t) == TYPE_ENUM) enumID = static_cast<EnumID>(va_arg(*ap, int));
    return t;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Registry

void RegisterCOREInterface(FPInterface* fpi) {
    if (!fpi) return;
    auto& r = Registry();
    if (std::find(r.begin(), r.end(), fpi) == r.end()) r.push_back(fpi);
}

FPInterface* GetCOREInterface(Interface_ID id) { return host::FindCoreInterface(id); }
int NumCOREInterfaces() { return static_cast<int>(Registry().size()); }
FPInterface* GetCOREInterfaceAt(int i) {
    return i >= 0 && i < NumCOREInterfaces() ? Registry()[static_cast<size_t>(i)] : nullptr;
}

FPInterface* host::FindCoreInterface(Interface_ID id) {
    for (FPInterface* f : Registry())
        if (f->GetID() == id) return f;
    return nullptr;
}

FPInterface* host::FindCoreInterface(const MCHAR* name) {
    if (!name) return nullptr;
    for (FPInterface* f : Registry()) {
        FPInterfaceDesc* d = f->GetDesc();
        if (d && host::EqualNoCase(d->internal_name.str(), name)) return f;
    }
    return nullptr;
}

const std::vector<FPInterface*>& host::CoreInterfaces() { return Registry(); }

void host::UnregisterCoreInterface(FPInterface* fpi) { std::erase(Registry(), fpi); }

// ---------------------------------------------------------------------------------------------
// ClassDesc interface lookup

FPInterface* ClassDesc::GetInterface(Interface_ID id) const {
    for (FPInterface* f : interfaces_)
        if (f && f->GetID() == id) return f;
    return nullptr;
}

FPInterface* ClassDesc::GetInterface(const MCHAR* name) const {
    if (!name) return nullptr;
    for (FPInterface* f : interfaces_) {
        FPInterfaceDesc* d = f ? f->GetDesc() : nullptr;
        if (d && host::EqualNoCase(d->internal_name.str(), name)) return f;
    }
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// FPInterface

Interface_ID FPInterface::GetID() {
    FPInterfaceDesc* d = GetDesc();
    return d ? d->ID : Interface_ID();
}

FPStatus FPInterface::_dispatch_fn(FunctionID fid, TimeValue t, FPValue& result, FPParams* p) {
    (void)fid; (void)t; (void)result; (void)p;
    return FPS_NO_SUCH_FUNCTION;
}

FPStatus FPInterface::Invoke(FunctionID fid, TimeValue t, FPValue& result, FPParams* params) {
    if (FPInterfaceDesc* d = GetDesc()) {
        FPFunctionDef* fd = d->GetFnDef(fid);
        if (fd && (fd->flags & FP_ACTION) && fd->isEnabled_id != FP_NO_FUNCTION) {
            FPValue enabled;
            if (_dispatch_fn(fd->isEnabled_id, t, enabled, nullptr) == FPS_OK && host::fp::NumberOf(enabled) == 0.0)
                return FPS_ACTION_DISABLED;
        }
    }
    return _dispatch_fn(fid, t, result, params);
}

FPStatus FPInterface::Invoke(FunctionID fid, TimeValue t, FPParams* params) {
    FPValue result;
    return Invoke(fid, t, result, params);
}

FPStatus FPInterface::Invoke(const MCHAR* name, TimeValue t, FPValue& result, FPParams* params) {
    FPInterfaceDesc* d = GetDesc();
    FPFunctionDef* fd = d ? d->FindFn(name) : nullptr;
    if (!fd) return FPS_NO_SUCH_FUNCTION;
    return Invoke(fd->ID, t, result, params);
}

// ---------------------------------------------------------------------------------------------
// Definitions

FPFunctionDef::~FPFunctionDef() {
    for (FPParamDef* p : params) delete p;
}

FPParamDef& FPFunctionDef::AddParam(const MCHAR* name, ParamType2 type, EnumID eid) {
    auto* pd = new FPParamDef();
    pd->internal_name = name ? name : L"";
    pd->type = type;
    pd->enumID = eid;
    if (is_by_ref(type)) pd->flags = FPP_IN_OUT_PARAM;
    params.push_back(pd);
    return *pd;
}

FPFunctionDef& FPFunctionDef::KeyArgDefault(const FPValue& def) {
    if (params.Count() == 0) return *this;
    FPParamDef* pd = params[params.Count() - 1];
    if (!pd->keyArgDefault) ++keyparam_count;
    pd->keyArgDefault = std::make_unique<FPValue>(def);
    pd->flags |= FPP_KEYARG;
    return *this;
}

FPFunctionDef& FPFunctionDef::Range(const FPValue& low, const FPValue& high) {
    if (params.Count() == 0) return *this;
    FPParamDef* pd = params[params.Count() - 1];
    pd->range_low = low;
    pd->range_high = high;
    pd->flags |= FPP_HAS_RANGE;
    return *this;
}

int FPFunctionDef::NumPositional() const {
    int n = 0;
    for (const FPParamDef* p : params)
        if (!p->IsKeyArg()) ++n;
    return n;
}

void FPEnum::Add(const MCHAR* name, int code) {
    names_.emplace_back(name ? name : L"");
    enumeration.push_back({names_.back().data(), code});
}

bool FPEnum::FindCode(const MCHAR* name, int& code) const {
    if (!name) return false;
    for (const enum_code& e : enumeration) {
        if (host::EqualNoCase(e.name, name)) {
            code = e.code;
            return true;
        }
    }
    return false;
}

const MCHAR* FPEnum::FindName(int code) const {
    for (const enum_code& e : enumeration)
        if (e.code == code) return e.name;
    return nullptr;
}

// ---------------------------------------------------------------------------------------------
// FPInterfaceDesc

FPInterfaceDesc::FPInterfaceDesc() = default;

FPInterfaceDesc::FPInterfaceDesc(Interface_ID id, const MCHAR* int_name, StringResID descr, ClassDesc* classDesc,
                                 ULONG flag, ...) {
    va_list ap;
    va_start(ap, flag);
    load_descriptor(id, int_name, descr, classDesc, flag, ap);
    va_end(ap);
}

void FPInterfaceDesc::Define(Interface_ID id, const MCHAR* int_name, StringResID descr, ClassDesc* classDesc,
                             ULONG flag) {
    Init(id, int_name, descr, classDesc, flag);
    Register();
}

void FPInterfaceDesc::load_descriptor(Interface_ID id, const MCHAR* int_name, StringResID descr, ClassDesc* classDesc,
                                      ULONG flag, va_list ap) {
    Init(id, int_name, descr, classDesc, flag);
    va_list copy;
    va_copy(copy, ap);
    ParseList(&copy);
    va_end(copy);
    Register();
}

FPInterfaceDesc::~FPInterfaceDesc() {
    host::UnregisterCoreInterface(this);
    for (FPFunctionDef* f : functions) delete f;
    for (FPPropDef* p : props) delete p;
    for (FPEnum* e : enumerations) delete e;
}

void FPInterfaceDesc::Init(Interface_ID id, const MCHAR* name, StringResID descr, ClassDesc* classDesc, ULONG flag) {
    ID = id;
    internal_name = name ? name : L"";
    description = descr;
    cd = classDesc;
    flags = static_cast<USHORT>(flag);
}

void FPInterfaceDesc::Register() {
    // Static initialisation order is unknown: only plain containers are touched here.
    if (flags & FP_CORE) RegisterCOREInterface(this);
    else if (cd) cd->AddInterface(this);
}

void FPInterfaceDesc::ParseList(va_list* ap) {
    enum Section { Functions, Properties, Enums } section = Functions;
    FPFunctionDef* fn = nullptr;
    FPPropDef* prop = nullptr;
    FPParamDef* arg = nullptr;  // the argument that argument tags apply to
    for (;;) {
        int word = va_arg(*ap, int);
        if (word == FP_LIST_END) break;
        if (word == properties) {
            section = Properties;
            fn = nullptr;
            arg = nullptr;
            continue;
        }
        if (word == enums) {
            section = Enums;
            fn = nullptr;
            arg = nullptr;
            prop = nullptr;
            continue;
        }
        if (IsTag(word)) {
            FPParamDef* target = arg ? arg : (prop ? &prop->setter_param : nullptr);
            switch (word) {
                case f_keyArgDefault:
                    if (target && fn && arg) {
                        FPValue def = ReadListValue(target->type, ap);
                        if (!target->keyArgDefault) ++fn->keyparam_count;
                        target->keyArgDefault = std::make_unique<FPValue>(std::move(def));
                        target->flags |= FPP_KEYARG;
                    } else if (target) {
                        (void)ReadListValue(target->type, ap);
                    }
                    break;
                case f_range:
                    if (target) {
                        target->range_low = ReadListValue(target->type, ap);
                        target->range_high = ReadListValue(target->type, ap);
                        target->flags |= FPP_HAS_RANGE;
                    }
                    break;
                case f_validator: {
                    auto* val = va_arg(*ap, FPValidator*);
                    if (target) {
                        target->validator = val;
                        target->flags |= FPP_HAS_VALIDATOR;
                    }
                    break;
                }
                case f_inOut: {
                    int io = va_arg(*ap, int);
                    if (target) target->flags = static_cast<USHORT>((target->flags & ~FPP_IN_OUT_PARAM) | io);
                    break;
                }
                case f_index: break;
                case f_isEnabled: { auto id = static_cast<FunctionID>(va_arg(*ap, int)); if (fn) fn->isEnabled_id = id; break; }
                case f_isChecked: { auto id = static_cast<FunctionID>(va_arg(*ap, int)); if (fn) fn->isChecked_id = id; break; }
                case f_isVisible: { auto id = static_cast<FunctionID>(va_arg(*ap, int)); if (fn) fn->isVisible_id = id; break; }
                case f_buttonText: { int s = va_arg(*ap, int); if (fn) fn->button_text = s; break; }
                case f_toolTip: { int s = va_arg(*ap, int); if (fn) fn->tool_tip = s; break; }
                case f_menuText: { int s = va_arg(*ap, int); if (fn) fn->menu_text = s; break; }
                case f_iconRes: case f_shortCut: (void)va_arg(*ap, int); break;
                case f_icon: (void)va_arg(*ap, const MCHAR*); (void)va_arg(*ap, int); break;
                case f_ui: (void)va_arg(*ap, int); (void)va_arg(*ap, int); break;
                case f_macroEmitter: (void)va_arg(*ap, void*); break;
                default: break;
            }
            continue;
        }
        if (section == Functions) {
            auto* f = new FPFunctionDef();
            f->ID = static_cast<FunctionID>(word);
            const MCHAR* name = va_arg(*ap, const MCHAR*);
            f->internal_name = name ? name : L"";
            f->description = va_arg(*ap, int);
            f->result_type = ReadType(ap, f->enumID);
            f->flags = static_cast<USHORT>(va_arg(*ap, int));
            int count = va_arg(*ap, int);
            functions.push_back(f);
            fn = f;
            arg = nullptr;
            prop = nullptr;
            for (int k = 0; k < count; ++k) {
                const MCHAR* an = va_arg(*ap, const MCHAR*);
                int adesc = va_arg(*ap, int);
                EnumID eid;
                ParamType2 at = ReadType(ap, eid);
                FPParamDef& pd = f->AddParam(an, at, eid);
                pd.description = adesc;
                arg = &pd;
                // Argument tags follow the type; a peek tells them from the next argument's name.
                for (;;) {
                    va_list probe;
                    va_copy(probe, *ap);
                    int next = va_arg(probe, int);
                    va_end(probe);
                    if (!(next == f_keyArgDefault || next == f_range || next == f_validator || next == f_inOut ||
                          next == f_index))
                        break;
                    (void)va_arg(*ap, int);
                    switch (next) {
                        case f_keyArgDefault: {
                            FPValue def = ReadListValue(pd.type, ap);
                            if (!pd.keyArgDefault) ++f->keyparam_count;
                            pd.keyArgDefault = std::make_unique<FPValue>(std::move(def));
                            pd.flags |= FPP_KEYARG;
                            break;
                        }
                        case f_range:
                            pd.range_low = ReadListValue(pd.type, ap);
                            pd.range_high = ReadListValue(pd.type, ap);
                            pd.flags |= FPP_HAS_RANGE;
                            break;
                        case f_validator:
                            pd.validator = va_arg(*ap, FPValidator*);
                            pd.flags |= FPP_HAS_VALIDATOR;
                            break;
                        case f_inOut:
                            pd.flags = static_cast<USHORT>((pd.flags & ~FPP_IN_OUT_PARAM) | va_arg(*ap, int));
                            break;
                        default:
                            break;
                    }
                }
            }
            arg = nullptr;
        } else if (section == Properties) {
            auto* pr = new FPPropDef();
            pr->getter_ID = static_cast<FunctionID>(word);
            pr->setter_ID = static_cast<FunctionID>(va_arg(*ap, int));
            const MCHAR* name = va_arg(*ap, const MCHAR*);
            pr->internal_name = name ? name : L"";
            pr->description = va_arg(*ap, int);
            pr->prop_type = ReadType(ap, pr->enumID);
            if (pr->setter_ID == FP_NO_FUNCTION) pr->flags |= FP_RO;
            pr->setter_param.internal_name = pr->internal_name;
            pr->setter_param.type = pr->prop_type;
            pr->setter_param.enumID = pr->enumID;
            props.push_back(pr);
            prop = pr;
            arg = nullptr;
        } else {
            auto* e = new FPEnum();
            e->ID = static_cast<EnumID>(word);
            int count = va_arg(*ap, int);
            for (int k = 0; k < count; ++k) {
                const MCHAR* name = va_arg(*ap, const MCHAR*);
                int code = va_arg(*ap, int);
                e->Add(name, code);
            }
            enumerations.push_back(e);
        }
    }
}

FPFunctionDef& FPInterfaceDesc::AppendFunction(FunctionID fid, const MCHAR* name, ParamType2 result, USHORT fnFlags,
                                               EnumID resultEnum) {
    auto* f = new FPFunctionDef();
    f->ID = fid;
    f->internal_name = name ? name : L"";
    f->result_type = result;
    f->flags = fnFlags;
    f->enumID = resultEnum;
    functions.push_back(f);
    return *f;
}

FPPropDef& FPInterfaceDesc::AppendProperty(FunctionID getter, FunctionID setter, const MCHAR* name, ParamType2 type,
                                           EnumID enumID) {
    auto* pr = new FPPropDef();
    pr->getter_ID = getter;
    pr->setter_ID = setter;
    pr->internal_name = name ? name : L"";
    pr->prop_type = type;
    pr->enumID = enumID;
    if (setter == FP_NO_FUNCTION) pr->flags |= FP_RO;
    pr->setter_param.internal_name = pr->internal_name;
    pr->setter_param.type = type;
    pr->setter_param.enumID = enumID;
    props.push_back(pr);
    return *pr;
}

FPEnum& FPInterfaceDesc::AppendEnum(EnumID id, std::initializer_list<FPEnum::enum_code> codes) {
    auto* e = new FPEnum();
    e->ID = id;
    for (const auto& c : codes) e->Add(c.name, c.code);
    enumerations.push_back(e);
    return *e;
}

FPFunctionDef* FPInterfaceDesc::GetFnDef(FunctionID fid) {
    if (indexedCount_ != functions.Count()) {
        fnIndex_.clear();
        for (int i = 0; i < functions.Count(); ++i) {
            const FunctionID id = functions[i]->ID;
            if (id < 0) continue;
            if (static_cast<size_t>(id) >= fnIndex_.size()) fnIndex_.resize(static_cast<size_t>(id) + 1, -1);
            if (fnIndex_[static_cast<size_t>(id)] < 0) fnIndex_[static_cast<size_t>(id)] = static_cast<short>(i);
        }
        indexedCount_ = functions.Count();
    }
    if (fid >= 0 && static_cast<size_t>(fid) < fnIndex_.size()) {
        const short i = fnIndex_[static_cast<size_t>(fid)];
        // Ids may have been edited in place since the index was built.
        if (i >= 0 && functions[i]->ID == fid) return functions[i];
    }
    for (FPFunctionDef* f : functions)
        if (f->ID == fid) return f;
    return nullptr;
}

FPFunctionDef* FPInterfaceDesc::FindFn(const MCHAR* name) {
    if (!name) return nullptr;
    for (FPFunctionDef* f : functions)
        if (host::EqualNoCase(f->internal_name.str(), name)) return f;
    return nullptr;
}

FPPropDef* FPInterfaceDesc::FindProp(const MCHAR* name) {
    if (!name) return nullptr;
    for (FPPropDef* p : props)
        if (host::EqualNoCase(p->internal_name.str(), name)) return p;
    return nullptr;
}

FPPropDef* FPInterfaceDesc::FindPropByFn(FunctionID fid) {
    for (FPPropDef* p : props)
        if (p->getter_ID == fid || (p->setter_ID != FP_NO_FUNCTION && p->setter_ID == fid)) return p;
    return nullptr;
}

FPEnum* FPInterfaceDesc::GetEnum(EnumID id) {
    for (FPEnum* e : enumerations)
        if (e->ID == id) return e;
    return nullptr;
}

FunctionID FPInterfaceDesc::FindFunctionID(const MCHAR* name) {
    FPFunctionDef* f = FindFn(name);
    return f ? f->ID : FP_NO_FUNCTION;
}
