#include "ifnpub.h"
#include "iparamb2.h"
#include "imtl.h"
#include "inode.h"

#include <cmath>
#include <numbers>

using host::fp::Cat;
using host::fp::CategoryOf;

namespace {

constexpr double kDegPerRad = 180.0 / std::numbers::pi;

template <class S, class Op>
void MapScalars(FPValue& v, Op op) {
    if (!v.ptr && (is_tab(v.type) || is_by_ref(v.type) || is_by_ptr(v.type))) return;
    if (is_tab(v.type)) {
        for (S& x : *static_cast<Tab<S>*>(v.ptr)) x = op(x);
    } else if (is_by_ref(v.type) || is_by_ptr(v.type)) {
        S* p = static_cast<S*>(v.ptr);
        *p = op(*p);
    } else {
        S& x = host::fp::ScalarRef<S>(v);
        x = op(x);
    }
}

void Convert(FPValue& v, bool toScript) {
    switch (base_type(v.type)) {
        case TYPE_INDEX:
            MapScalars<int>(v, [toScript](int x) { return toScript ? x + 1 : x - 1; });
            break;
        case TYPE_ANGLE:
            MapScalars<float>(v, [toScript](float x) {
                return static_cast<float>(toScript ? x * kDegPerRad : x / kDegPerRad);
            });
            break;
        case TYPE_PCNT_FRAC:
            MapScalars<float>(v, [toScript](float x) { return toScript ? x * 100.0f : x / 100.0f; });
            break;
        default:
            break;
    }
}

bool IsNumberCat(Cat c) {
    return c == Cat::Int || c == Cat::Float || c == Cat::Double || c == Cat::Int64 || c == Cat::IntPtr ||
           c == Cat::Dword || c == Cat::Bool;
}

// Makes v a value of the declared type (its by-value form), converting between numbers,
// colours and points, strings and names, scene object pointers, and enumeration names to
// codes. False when the value cannot stand for the type.
bool Coerce(FPValue& v, int declared, FPInterfaceDesc* desc, EnumID enumID) {
    const auto target = static_cast<ParamType2>(root_type(declared));
    const int tb = base_type(target);
    const Cat tc = CategoryOf(tb);
    if (is_tab(target)) {
        if (!is_tab(v.type)) return false;
        if (host::fp::SameStorage(v.type, tb)) {
            v.type = static_cast<ParamType2>(target | (v.type & (TYPE_BY_REF | TYPE_BY_VAL)));
            if (is_by_ref(v.type)) {
                FPValue owned;
                owned.ptr = host::fp::CloneStorage(target, v.ptr);
                owned.type = target;
                v = std::move(owned);
            }
            return true;
        }
        return false;
    }
    if (tb == TYPE_VOID) return true;
    const Cat vc = CategoryOf(v.type);
    if (tb == TYPE_ENUM && (vc == Cat::String || base_type(v.type) == TYPE_TSTR)) {
        FPEnum* e = desc ? desc->GetEnum(enumID) : nullptr;
        int code = 0;
        FPValue copy = v;
        const MCHAR* name = host::fp::Arg<TYPE_STRING>::Get(copy);
        if (!e || !e->FindCode(name, code)) return false;
        v.Load(target, code);
        return true;
    }
    if (IsNumberCat(tc)) {
        if (!IsNumberCat(vc) || is_tab(v.type)) return false;
        const double x = host::fp::NumberOf(v);
        switch (tc) {
            case Cat::Float: v.Load(target, static_cast<float>(x)); break;
            case Cat::Double: v.Load(target, x); break;
            case Cat::Bool: v.Load(target, x != 0.0); break;
            case Cat::Dword: v.Load(target, static_cast<DWORD>(x)); break;
            case Cat::Int64: v.Load(target, static_cast<int64_t>(std::llround(x))); break;
            case Cat::IntPtr: v.Load(target, static_cast<INT_PTR>(std::llround(x))); break;
            default: v.Load(target, static_cast<int>(std::lround(x))); break;
        }
        return true;
    }
    if (tc == Cat::String) {
        if (is_tab(v.type)) return false;
        if (vc != Cat::String && base_type(v.type) != TYPE_TSTR) return false;
        FPValue copy = v;
        v.Load(target, host::fp::Arg<TYPE_STRING>::Get(copy));
        return true;
    }
    if (tc == Cat::Pointer) {
        if (v.IsVoid()) {
            v.Load(target, nullptr);
            return true;
        }
        if (vc != Cat::Pointer || is_tab(v.type)) return false;
        void* p = host::fp::PointerAs(v, tb);
        if (!p && !v.IsNull()) return false;
        v.Free();
        v.ptr = p;
        v.type = target;
        return true;
    }
    if (tc == Cat::Struct) {
        if (is_tab(v.type)) return false;
        FPValue copy = v;
        if (host::fp::SameStorage(v.type, tb)) {
            if (tb == TYPE_TSTR) v.Load(target, host::fp::Arg<TYPE_TSTR_BV>::Get(copy));
            else if (is_by_ref(v.type) || is_by_ptr(v.type) || v.IsNull()) {
                void* owned = host::fp::CloneStorage(tb, v.ptr);
                v.Free();
                v.ptr = owned;
            }
            v.type = target;
            return !v.IsNull() || tb == TYPE_TSTR;
        }
        const int vb = base_type(v.type);
        const bool vColor = vb == TYPE_RGBA || vb == TYPE_COLOR || vb == TYPE_HSV;
        if (tb == TYPE_TSTR && (vc == Cat::String)) {
            v.Load(target, MSTR(host::fp::Arg<TYPE_STRING>::Get(copy)));
            return true;
        }
        if ((tb == TYPE_RGBA || tb == TYPE_COLOR || tb == TYPE_HSV) && vb == TYPE_POINT3) {
            v.Load(target, Color(host::fp::Arg<TYPE_POINT3_BV>::Get(copy)));
            return true;
        }
        if (tb == TYPE_POINT3 && vColor) {
            v.Load(target, Point3(host::fp::Arg<TYPE_COLOR_BV>::Get(copy)));
            return true;
        }
        if (tb == TYPE_FRGBA && vb == TYPE_POINT4) {
            v.Load(target, AColor(host::fp::Arg<TYPE_POINT4_BV>::Get(copy)));
            return true;
        }
        if (tb == TYPE_FRGBA && vColor) {
            v.Load(target, AColor(host::fp::Arg<TYPE_COLOR_BV>::Get(copy)));
            return true;
        }
        if (tb == TYPE_POINT4 && vb == TYPE_FRGBA) {
            AColor c = host::fp::Arg<TYPE_FRGBA_BV>::Get(copy);
            v.Load(target, Point4(c.r, c.g, c.b, c.a));
            return true;
        }
        return false;
    }
    return false;
}

bool InRange(const FPValue& v, const FPValue& lo, const FPValue& hi) {
    if (!IsNumberCat(CategoryOf(v.type)) || is_tab(v.type)) return true;
    const double x = host::fp::NumberOf(v);
    return x >= host::fp::NumberOf(lo) && x <= host::fp::NumberOf(hi);
}

}  // namespace

void host::ToScriptUnits(FPValue& v) { Convert(v, true); }
void host::FromScriptUnits(FPValue& v) { Convert(v, false); }

// ---------------------------------------------------------------------------------------------
// Calls

host::FPBindResult host::BindScriptCall(FPInterface* fpi, FPFunctionDef& fd, const FPScriptCall& call, FPParams& out,
                                        MSTR* message, int* expected) {
    FPInterfaceDesc* desc = fpi ? fpi->GetDesc() : nullptr;
    const int positional = fd.NumPositional();
    if (expected) *expected = positional;
    out.params.removeAll();
    if (static_cast<int>(call.positional.size()) != positional) {
        if (message)
            *message = MSTR(L"wanted " + std::to_wstring(positional) + L", got " +
                            std::to_wstring(call.positional.size()));
        return FPBindResult::WrongArgCount;
    }
    size_t next = 0;
    for (int k = 0; k < fd.params.Count(); ++k) {
        FPParamDef& pd = *fd.params[k];
        FPValue v;
        bool fromScript = true;
        if (!pd.IsKeyArg()) {
            v = call.positional[next++];
        } else {
            const FPValue* kw = nullptr;
            for (const auto& [name, value] : call.keywords)
                if (host::EqualNoCase(name.str(), pd.internal_name.str())) kw = &value;
            if (kw) {
                v = *kw;
            } else {
                v = *pd.keyArgDefault;
                fromScript = false;
            }
        }
        if (!Coerce(v, pd.type, desc, pd.enumID)) {
            if (message) *message = MSTR(L"cannot convert the argument " + pd.internal_name.str());
            return FPBindResult::BadValue;
        }
        if (fromScript) host::FromScriptUnits(v);
        if ((pd.flags & FPP_HAS_RANGE) && !InRange(v, pd.range_low, pd.range_high)) {
            if (message) *message = MSTR(L"argument " + pd.internal_name.str() + L" out of range");
            return FPBindResult::BadValue;
        }
        if (pd.validator) {
            MSTR why;
            if (!pd.validator->Validate(fpi, fd.ID, k, v, why)) {
                if (message) *message = why;
                return FPBindResult::BadValue;
            }
        }
        out.params.append(std::move(v));
    }
    return FPBindResult::Ok;
}

FPStatus host::InvokeScriptCall(FPInterface* fpi, FPFunctionDef& fd, TimeValue t, const FPScriptCall& call,
                                FPValue& result, FPBindResult* bind, MSTR* message, FPParams* bound) {
    FPParams params;
    FPBindResult b = BindScriptCall(fpi, fd, call, params, message);
    if (bind) *bind = b;
    if (b != FPBindResult::Ok) return FPS_FAIL;
    FPStatus st = fpi->Invoke(fd.ID, t, result, &params);
    host::ToScriptUnits(result);
    if (bound) *bound = std::move(params);
    return st;
}

FPStatus host::GetScriptProperty(FPInterface* fpi, const MCHAR* name, TimeValue t, FPValue& result) {
    FPInterfaceDesc* desc = fpi ? fpi->GetDesc() : nullptr;
    FPPropDef* pr = desc ? desc->FindProp(name) : nullptr;
    if (!pr) return FPS_NO_SUCH_FUNCTION;
    FPStatus st = fpi->Invoke(pr->getter_ID, t, result, nullptr);
    host::ToScriptUnits(result);
    return st;
}

FPStatus host::SetScriptProperty(FPInterface* fpi, const MCHAR* name, TimeValue t, const FPValue& value) {
    FPInterfaceDesc* desc = fpi ? fpi->GetDesc() : nullptr;
    FPPropDef* pr = desc ? desc->FindProp(name) : nullptr;
    if (!pr) return FPS_NO_SUCH_FUNCTION;
    if (pr->ReadOnly()) return FPS_FAIL;
    FPValue v = value;
    if (!Coerce(v, pr->prop_type, desc, pr->enumID)) return FPS_FAIL;
    host::FromScriptUnits(v);
    const FPParamDef& sp = pr->setter_param;
    if ((sp.flags & FPP_HAS_RANGE) && !InRange(v, sp.range_low, sp.range_high)) return FPS_FAIL;
    if (sp.validator) {
        MSTR why;
        if (!sp.validator->Validate(fpi, pr->setter_ID, 0, v, why)) return FPS_FAIL;
    }
    FPParams p;
    p.params.append(std::move(v));
    FPValue ignored;
    return fpi->Invoke(pr->setter_ID, t, ignored, &p);
}

// ---------------------------------------------------------------------------------------------
// Parameter blocks as typed values

BOOL IParamBlock2::GetValue(ParamID id, TimeValue t, FPValue& v, Interval& valid, int tabIndex) {
    const ParamType2 full = GetParameterType(id);
    const auto type = static_cast<ParamType2>(base_type(full));
    if (tabIndex < 0 || tabIndex >= Count(id)) return FALSE;
    if (float_type(type)) {
        float f;
        if (!GetValue(id, t, f, valid, tabIndex)) return FALSE;
        v.Load(type, f);
    } else if (int_type(type)) {
        int i;
        if (!GetValue(id, t, i, valid, tabIndex)) return FALSE;
        v.Load(type, i);
    } else {
        switch (type) {
            case TYPE_POINT3: case TYPE_HSV: {
                Point3 p;
                if (!GetValue(id, t, p, valid, tabIndex)) return FALSE;
                if (type == TYPE_HSV) v.Load(type, Color(p));
                else v.Load(type, p);
                break;
            }
            case TYPE_RGBA: {
                Color c;
                if (!GetValue(id, t, c, valid, tabIndex)) return FALSE;
                v.Load(type, c);
                break;
            }
            case TYPE_FRGBA: {
                AColor c;
                if (!GetValue(id, t, c, valid, tabIndex)) return FALSE;
                v.Load(type, c);
                break;
            }
            case TYPE_POINT4: {
                Point4 p;
                if (!GetValue(id, t, p, valid, tabIndex)) return FALSE;
                v.Load(type, p);
                break;
            }
            case TYPE_POINT2: {
                Point2 p;
                if (!GetValue(id, t, p, valid, tabIndex)) return FALSE;
                v.Load(type, p);
                break;
            }
            case TYPE_MATRIX3: {
                Matrix3 m;
                if (!GetValue(id, t, m, valid, tabIndex)) return FALSE;
                v.Load(type, m);
                break;
            }
            case TYPE_STRING: case TYPE_FILENAME: {
                MSTR s;
                if (!GetValue(id, t, s, valid, tabIndex)) return FALSE;
                v.Load(type, s.data());
                break;
            }
            case TYPE_INODE: {
                INode* n = nullptr;
                if (!GetValue(id, t, n, valid, tabIndex)) return FALSE;
                v.Load(type, n);
                break;
            }
            case TYPE_MTL: {
                Mtl* m = nullptr;
                if (!GetValue(id, t, m, valid, tabIndex)) return FALSE;
                v.Load(type, m);
                break;
            }
            case TYPE_PBLOCK2: {
                IParamBlock2* b = nullptr;
                if (!GetValue(id, t, b, valid, tabIndex)) return FALSE;
                v.Load(type, b);
                break;
            }
            case TYPE_REFTARG: case TYPE_TEXMAP: {
                ReferenceTarget* r = nullptr;
                if (!GetValue(id, t, r, valid, tabIndex)) return FALSE;
                v.Load(TYPE_REFTARG, r);
                break;
            }
            default:
                return FALSE;
        }
    }
    return TRUE;
}

BOOL IParamBlock2::SetValue(ParamID id, TimeValue t, const FPValue& value, int tabIndex) {
    const auto type = static_cast<ParamType2>(base_type(GetParameterType(id)));
    FPValue v = value;
    if (type == TYPE_VOID || !Coerce(v, type == TYPE_TEXMAP ? TYPE_REFTARG : type, nullptr, FP_NO_ENUM)) return FALSE;
    if (float_type(type)) return SetValue(id, t, v.f, tabIndex);
    if (int_type(type)) return SetValue(id, t, v.i, tabIndex);
    switch (type) {
        case TYPE_POINT3: return SetValue(id, t, *v.p, tabIndex);
        case TYPE_HSV: case TYPE_RGBA: return SetValue(id, t, *v.clr, tabIndex);
        case TYPE_FRGBA: return SetValue(id, t, *v.aclr, tabIndex);
        case TYPE_POINT4: return SetValue(id, t, *v.p4, tabIndex);
        case TYPE_POINT2: return SetValue(id, t, *v.p2, tabIndex);
        case TYPE_MATRIX3: return SetValue(id, t, *v.m, tabIndex);
        case TYPE_STRING: case TYPE_FILENAME: return SetValue(id, t, v.s, tabIndex);
        case TYPE_INODE: return SetValue(id, t, v.n, tabIndex);
        case TYPE_MTL: return SetValue(id, t, v.mtl, tabIndex);
        case TYPE_PBLOCK2: return SetValue(id, t, v.pb, tabIndex);
        case TYPE_REFTARG: case TYPE_TEXMAP: return SetValue(id, t, v.r, tabIndex);
        default: return FALSE;
    }
}

BOOL host::PBGetScriptValue(IParamBlock2* pb, ParamID id, TimeValue t, FPValue& out, int tabIndex) {
    if (!pb) return FALSE;
    Interval iv = FOREVER;
    if (!pb->GetValue(id, t, out, iv, tabIndex)) return FALSE;
    host::ToScriptUnits(out);
    return TRUE;
}

host::PBScriptResult host::PBSetScriptValue(IParamBlock2* pb, ParamID id, TimeValue t, const FPValue& value,
                                            int tabIndex) {
    if (!pb || pb->IDtoIndex(id) < 0 || tabIndex < 0 || tabIndex >= pb->Count(id)) return PBScriptResult::NoSuchParam;
    const ParamDef& pd = pb->GetParamDef(id);
    if (pd.flags & P_READ_ONLY) return PBScriptResult::ReadOnly;
    const int b = base_type(pd.type);
    FPValue v = value;
    if (!Coerce(v, b == TYPE_TEXMAP ? TYPE_REFTARG : b, nullptr, FP_NO_ENUM)) return PBScriptResult::WrongType;
    host::FromScriptUnits(v);
    if (pd.has_range && (float_type(b) || int_type(b))) {
        double lo = float_type(b) ? pd.range_low.f : pd.range_low.i;
        double hi = float_type(b) ? pd.range_high.f : pd.range_high.i;
        if (b == TYPE_PCNT_FRAC) {
            lo /= 100.0;
            hi /= 100.0;
        }
        const double x = host::fp::NumberOf(v);
        // Ranges are float32 on both sides; compare with a hair of slack for the unit change.
        const double slack = 1e-6 * std::max(1.0, std::fabs(hi - lo));
        if (x < lo - slack || x > hi + slack) return PBScriptResult::OutOfRange;
    }
    return pb->SetValue(id, t, v, tabIndex) ? PBScriptResult::Ok : PBScriptResult::Refused;
}
