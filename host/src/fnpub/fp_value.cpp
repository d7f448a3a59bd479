#include "ifnpub.h"
#include "control.h"
#include "inode.h"

#include <cstring>

using host::fp::Cat;
using host::fp::CategoryOf;

namespace {

template <class S>
void* CloneStructTab(const void* src) {
    const auto& from = *static_cast<const Tab<S*>*>(src);
    auto* to = new Tab<S*>();
    to->SetCount(from.Count());
    for (int i = 0; i < from.Count(); ++i) (*to)[i] = from[i] ? new S(*from[i]) : nullptr;
    return to;
}

template <class S>
void FreeStructTab(void* p) {
    auto* t = static_cast<Tab<S*>*>(p);
    for (S* e : *t) delete e;
    delete t;
}

void* CloneStringTab(const void* src) {
    const auto& from = *static_cast<const Tab<const MCHAR*>*>(src);
    auto* to = new Tab<const MCHAR*>();
    to->SetCount(from.Count());
    for (int i = 0; i < from.Count(); ++i) (*to)[i] = host::fp::DupString(from[i]);
    return to;
}

void FreeStringTab(void* p) {
    auto* t = static_cast<Tab<const MCHAR*>*>(p);
    for (const MCHAR* s : *t) delete[] s;
    delete t;
}

// True when v owns what ptr points at.
bool Owns(const FPValue& v) {
    if (is_by_ref(v.type) || is_by_ptr(v.type) || v.ptr == nullptr) return false;
    if (is_tab(v.type)) return CategoryOf(v.type) != Cat::Void;
    Cat c = CategoryOf(v.type);
    return c == Cat::Struct || c == Cat::String;
}

}  // namespace

namespace host::fp {

const MCHAR* DupString(const MCHAR* s) {
    if (!s) return nullptr;
    size_t n = std::wcslen(s);
    auto* d = new MCHAR[n + 1];
    std::memcpy(d, s, (n + 1) * sizeof(MCHAR));
    return d;
}

namespace {

template <int B>
void* CloneFor(bool tab, const void* src) {
    using S = typename Storage<B>::S;
    constexpr Cat c = CategoryOf(B);
    if constexpr (c == Cat::Struct) {
        return tab ? CloneStructTab<S>(src) : new S(*static_cast<const S*>(src));
    } else if constexpr (c == Cat::String) {
        return tab ? CloneStringTab(src) : const_cast<MCHAR*>(DupString(static_cast<const MCHAR*>(src)));
    } else if constexpr (c == Cat::Bool) {
        return nullptr;
    } else {
        return tab ? new Tab<S>(*static_cast<const Tab<S>*>(src)) : nullptr;
    }
}

template <int B>
void FreeFor(bool tab, void* storage) {
    using S = typename Storage<B>::S;
    constexpr Cat c = CategoryOf(B);
    if constexpr (c == Cat::Struct) {
        if (tab) FreeStructTab<S>(storage);
        else delete static_cast<S*>(storage);
    } else if constexpr (c == Cat::String) {
        if (tab) FreeStringTab(storage);
        else delete[] static_cast<MCHAR*>(storage);
    } else if constexpr (c != Cat::Bool) {
        if (tab) delete static_cast<Tab<S>*>(storage);
    }
}

template <int B>
void DefaultFor(bool tab, FPValue& v) {
    using S = typename Storage<B>::S;
    constexpr Cat c = CategoryOf(B);
    if (tab) {
        if constexpr (c != Cat::Bool) v.ptr = new Tab<Elem<B>>();
    } else if constexpr (c == Cat::Struct) {
        v.ptr = new S();
    } else if constexpr (c == Cat::String) {
        v.s = DupString(L"");
    } else {
        v.ptr = nullptr;
    }
}

}  // namespace

void* CloneStorage(int type, const void* src) {
    if (!src) return nullptr;
    const bool tab = is_tab(type);
    switch (base_type(type)) {
#define KT_FP_CLONE_CASE(n, S, c) \
    case TYPE_##n:                \
        return CloneFor<TYPE_##n>(tab, src);
        KT_FP_STORAGE(KT_FP_CLONE_CASE)
#undef KT_FP_CLONE_CASE
        default:
            return nullptr;
    }
}

void FreeStorage(int type, void* storage) {
    if (!storage) return;
    const bool tab = is_tab(type);
    switch (base_type(type)) {
#define KT_FP_FREE_CASE(n, S, c)          \
    case TYPE_##n:                        \
        FreeFor<TYPE_##n>(tab, storage);  \
        return;
        KT_FP_STORAGE(KT_FP_FREE_CASE)
#undef KT_FP_FREE_CASE
        default:
            return;
    }
}

double NumberOf(const FPValue& v) {
    if (is_tab(v.type)) return 0.0;
    const bool indirect = is_by_ref(v.type) || is_by_ptr(v.type);
    if (indirect && !v.ptr) return 0.0;
    switch (CategoryOf(v.type)) {
        case Cat::Int: return indirect ? *v.iptr : v.i;
        case Cat::Float: return indirect ? *v.fptr : v.f;
        case Cat::Double: return indirect ? *v.dblptr : v.dbl;
        case Cat::Int64: return static_cast<double>(indirect ? *v.i64ptr : v.i64);
        case Cat::IntPtr: return static_cast<double>(indirect ? *v.intptrptr : v.intptr);
        case Cat::Dword: return indirect ? *v.dptr : v.d;
        case Cat::Bool: return (indirect ? *v.bptr : v.b) ? 1.0 : 0.0;
        default: return 0.0;
    }
}

void* PointerAs(const FPValue& v, int wantBase) {
    if (is_tab(v.type) || CategoryOf(v.type) != Cat::Pointer) return nullptr;
    void* p = is_by_ref(v.type) ? (v.ptr ? *static_cast<void**>(v.ptr) : nullptr) : v.ptr;
    if (!p) return nullptr;
    const int have = base_type(v.type);
    if (have == wantBase) return p;
    // Scene objects cross between their own type and ReferenceTarget.
    if (wantBase == TYPE_REFTARG) {
        if (have == TYPE_INODE) return static_cast<ReferenceTarget*>(static_cast<INode*>(p));
        if (have == TYPE_CONTROL) return static_cast<ReferenceTarget*>(static_cast<Control*>(p));
    }
    if (have == TYPE_REFTARG) {
        auto* r = static_cast<ReferenceTarget*>(p);
        if (wantBase == TYPE_INODE) return dynamic_cast<INode*>(r);
        if (wantBase == TYPE_CONTROL) return dynamic_cast<Control*>(r);
    }
    return nullptr;
}

void MakeDefault(FPValue& v, int t) {
    v.Free();
    t = root_type(t);
    switch (base_type(t)) {
#define KT_FP_DEF_CASE(n, S, c)                   \
    case TYPE_##n:                                \
        DefaultFor<TYPE_##n>(is_tab(t), v);       \
        break;
        KT_FP_STORAGE(KT_FP_DEF_CASE)
#undef KT_FP_DEF_CASE
        default:
            return;
    }
    v.type = static_cast<ParamType2>(t);
}

MaxSDK::Array<FPValue>& Params(FPParams* p) {
    if (p) return p->params;
    static MaxSDK::Array<FPValue> none;
    none.removeAll();
    return none;
}

}  // namespace host::fp

// ---------------------------------------------------------------------------------------------
// FPValue

void FPValue::Free() {
    if (Owns(*this)) host::fp::FreeStorage(root_type(type), ptr);
    ptr = nullptr;
    type = TYPE_VOID;
}

bool FPValue::IsNull() const {
    if (IsVoid()) return true;
    Cat c = CategoryOf(type);
    if (is_tab(type) || is_by_ref(type) || is_by_ptr(type) || c == Cat::Struct || c == Cat::String ||
        c == Cat::Pointer)
        return ptr == nullptr;
    return false;
}

FPValue::FPValue(const FPValue& o) : type(o.type), ptr(o.ptr) {
    // Copy the whole union first so scalars of any width come across.
    std::memcpy(static_cast<void*>(&ptr), static_cast<const void*>(&o.ptr), sizeof(ptr));
    if (Owns(o)) ptr = host::fp::CloneStorage(root_type(o.type), o.ptr);
}

FPValue::FPValue(FPValue&& o) noexcept : type(o.type), ptr(o.ptr) {
    std::memcpy(static_cast<void*>(&ptr), static_cast<const void*>(&o.ptr), sizeof(ptr));
    o.ptr = nullptr;
    o.type = TYPE_VOID;
}

FPValue& FPValue::operator=(const FPValue& o) {
    if (this == &o) return *this;
    FPValue copy(o);
    *this = std::move(copy);
    return *this;
}

FPValue& FPValue::operator=(FPValue&& o) noexcept {
    if (this == &o) return *this;
    Free();
    type = o.type;
    std::memcpy(static_cast<void*>(&ptr), static_cast<const void*>(&o.ptr), sizeof(ptr));
    o.ptr = nullptr;
    o.type = TYPE_VOID;
    return *this;
}

// ---------------------------------------------------------------------------------------------
// FPParams

FPParams::FPParams(int count, ...) {
    va_list ap;
    va_start(ap, count);
    for (int k = 0; k < count; ++k) {
        auto t = static_cast<ParamType2>(va_arg(ap, int));
        FPValue v;
        const bool indirect = is_tab(t) || is_by_ref(t) || is_by_ptr(t);
        switch (indirect ? Cat::Struct : CategoryOf(t)) {
            case Cat::Int: v.Load(t, va_arg(ap, int)); break;
            case Cat::Float: v.Load(t, static_cast<float>(va_arg(ap, double))); break;
            case Cat::Double: v.Load(t, va_arg(ap, double)); break;
            case Cat::Int64: v.Load(t, va_arg(ap, int64_t)); break;
            case Cat::IntPtr: v.Load(t, va_arg(ap, INT_PTR)); break;
            case Cat::Dword: v.Load(t, static_cast<DWORD>(va_arg(ap, unsigned int))); break;
            case Cat::Bool: v.Load(t, va_arg(ap, int) != 0); break;
            case Cat::String: v.Load(t, va_arg(ap, const MCHAR*)); break;
            case Cat::Pointer:
                v.ptr = va_arg(ap, void*);
                v.type = t;
                break;
            case Cat::Struct: {
                void* src = va_arg(ap, void*);
                if (is_by_ref(t) || is_by_ptr(t)) {
                    v.ptr = src;
                    v.type = t;
                } else if (CategoryOf(t) == Cat::Struct || is_tab(t)) {
                    v.ptr = host::fp::CloneStorage(root_type(t), src);
                    v.type = t;
                }
                break;
            }
            case Cat::Void: break;
        }
        params.append(std::move(v));
    }
    va_end(ap);
}
