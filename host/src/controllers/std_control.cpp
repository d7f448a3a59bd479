#include "stdctrl.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "hold.h"
#include "iosave.h"
#include "ort_eval.h"
#include "value_ops.h"

namespace {

constexpr USHORT STD_ORT_CHUNK = 0x4000;
constexpr USHORT STD_CURVES_CHUNK = 0x4001;

enum class Kind { Float, Point3, Quat, Scale, Matrix, Other };

Kind KindOf(SClass_ID sc) {
    switch (sc) {
    case CTRL_FLOAT_CLASS_ID:
        return Kind::Float;
    case CTRL_POINT3_CLASS_ID:
    case CTRL_POSITION_CLASS_ID:
        return Kind::Point3;
    case CTRL_ROTATION_CLASS_ID:
        return Kind::Quat;
    case CTRL_SCALE_CLASS_ID:
        return Kind::Scale;
    case CTRL_MATRIX3_CLASS_ID:
        return Kind::Matrix;
    default:
        return Kind::Other;
    }
}

// Calls f with a typed null pointer for the value type of kind k (not for Matrix and Other).
template <class F> void WithType(Kind k, F&& f) {
    switch (k) {
    case Kind::Float:
        f(static_cast<float*>(nullptr));
        break;
    case Kind::Point3:
        f(static_cast<Point3*>(nullptr));
        break;
    case Kind::Quat:
        f(static_cast<Quat*>(nullptr));
        break;
    case Kind::Scale:
        f(static_cast<ScaleValue*>(nullptr));
        break;
    default:
        break;
    }
}

// A value buffer on the stack large enough for every value kind.
struct TempValue {
    alignas(16) unsigned char bytes[64];
};

template <class V> V Init() {
    if constexpr (std::is_same_v<V, float>)
        return 0.0f;
    else
        return V();
}

bool ValidORT(int ort) { return ort >= ORT_CONSTANT && ort <= ORT_RELATIVE_REPEAT; }

} // namespace

namespace host {

// Undo of StdControl's own state: out-of-range types and the curve lists' entries. The curve
// references themselves are recorded by ReplaceReference.
class StdControlRestore : public RestoreObj {
  public:
    enum Op { kOrt, kCurveInsert, kCurveErase };

    StdControlRestore(StdControl* c, int before, int after, bool enabled)
        : handle_(Animatable::GetHandleByAnim(c)), op_(kOrt), ortB_(before), ortA_(after), enabled_(enabled) {
    }
    StdControlRestore(StdControl* c, Op op, bool ease, int index, bool on)
        : handle_(Animatable::GetHandleByAnim(c)), op_(op), ease_(ease), index_(index), on_(on) {}

    void Restore(int isUndo) override {
        StdControl* c = Find();
        if (!c) return;
        switch (op_) {
        case kOrt:
            if (isUndo) {
                redoB_ = c->ortBefore_;
                redoA_ = c->ortAfter_;
                redoEnabled_ = c->ortsEnabled_;
            }
            SetOrts(c, ortB_, ortA_, enabled_);
            break;
        case kCurveInsert:
            Erase(c);
            break;
        case kCurveErase:
            Insert(c);
            break;
        }
    }
    void Redo() override {
        StdControl* c = Find();
        if (!c) return;
        switch (op_) {
        case kOrt:
            SetOrts(c, redoB_, redoA_, redoEnabled_);
            break;
        case kCurveInsert:
            Insert(c);
            break;
        case kCurveErase:
            Erase(c);
            break;
        }
    }
    MSTR Description() override { return MSTR(L"Controller curves"); }

  private:
    StdControl* Find() const { return dynamic_cast<StdControl*>(Animatable::GetAnimByHandle(handle_)); }
    static void SetOrts(StdControl* c, int b, int a, bool e) {
        c->ortBefore_ = b;
        c->ortAfter_ = a;
        c->ortsEnabled_ = e;
        c->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    // Entries only come and go while their reference slot is null.
    void Insert(StdControl* c) {
        auto& v = ease_ ? c->ease_ : c->mult_;
        auto& on = ease_ ? c->easeOn_ : c->multOn_;
        if (index_ < 0 || index_ > int(v.size())) return;
        v.insert(v.begin() + index_, nullptr);
        on.insert(on.begin() + index_, on_ ? 1 : 0);
        c->NotifyDependents(FOREVER, PART_ALL, REFMSG_SUBANIM_STRUCTURE_CHANGED);
    }
    void Erase(StdControl* c) {
        auto& v = ease_ ? c->ease_ : c->mult_;
        auto& on = ease_ ? c->easeOn_ : c->multOn_;
        if (index_ < 0 || index_ >= int(v.size()) || v[size_t(index_)]) return;
        v.erase(v.begin() + index_);
        on.erase(on.begin() + index_);
        c->NotifyDependents(FOREVER, PART_ALL, REFMSG_SUBANIM_STRUCTURE_CHANGED);
    }

    AnimHandle handle_;
    Op op_;
    int ortB_ = ORT_CONSTANT, ortA_ = ORT_CONSTANT;
    bool enabled_ = true;
    int redoB_ = ORT_CONSTANT, redoA_ = ORT_CONSTANT;
    bool redoEnabled_ = true;
    bool ease_ = true;
    int index_ = 0;
    bool on_ = true;
};

} // namespace host

// ---------------------------------------------------------------------------------------------
// Values

void StdControl::GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method) {
    const Kind k = KindOf(SuperClassID());
    const TimeValue te = ease_.empty() ? t : ApplyEase(t, valid);
    // Validity found in warped time says nothing about t; ApplyEase has narrowed to [t, t].
    Interval warped = FOREVER;
    Interval& localValid = ease_.empty() ? valid : warped;
    if (k == Kind::Matrix || k == Kind::Other) {
        GetValueLocalTime(te, val, localValid, method);
        return;
    }
    TempValue tmp;
    WithType(k, [&](auto* tag) {
        using V = std::remove_pointer_t<decltype(tag)>;
        new (tmp.bytes) V(Init<V>());
    });
    bool done = false;
    if (HasActiveORT()) {
        const Interval range = GetTimeRange(TIMERANGE_ALL);
        if (!range.Empty() && range.Start() != range.End() && (te < range.Start() || te > range.End())) {
            Extrapolate(range, te, tmp.bytes, localValid,
                        EffectiveORT(te < range.Start() ? ORT_BEFORE : ORT_AFTER));
            done = true;
        }
    }
    if (!done) GetValueLocalTime(te, tmp.bytes, localValid, CTRL_ABSOLUTE);
    if (!mult_.empty()) MultiplyValue(tmp.bytes, GetMultVal(t, valid));
    if (method == CTRL_RELATIVE) {
        ApplyValue(val, tmp.bytes);
        return;
    }
    WithType(k, [&](auto* tag) {
        using V = std::remove_pointer_t<decltype(tag)>;
        *static_cast<V*>(val) = *reinterpret_cast<V*>(tmp.bytes);
    });
}

void StdControl::SetValue(TimeValue t, void* val, int commit, GetSetMethod method) {
    if (auto* lt = dynamic_cast<ILockedTrack*>(this); lt && lt->GetLocked()) return;
    if (!ease_.empty()) {
        Interval iv = FOREVER;
        t = ApplyEase(t, iv);
    }
    SetValueLocalTime(t, val, commit, method);
}

void StdControl::Extrapolate(Interval range, TimeValue t, void* val, Interval& valid, int type) {
    const Kind k = KindOf(SuperClassID());
    bool done = false;
    WithType(k, [&](auto* tag) {
        using V = std::remove_pointer_t<decltype(tag)>;
        auto local = [this](TimeValue tt, V& o) {
            Interval iv = FOREVER;
            GetValueLocalTime(tt, &o, iv, CTRL_ABSOLUTE);
        };
        auto slope = [&](bool atEnd, V& d, double& ticks) {
            const int64_t span = int64_t(range.End()) - int64_t(range.Start());
            const TimeValue h = TimeValue(std::min<int64_t>(span, 8));
            V a = Init<V>(), b = Init<V>();
            local(atEnd ? range.End() - h : range.Start(), a);
            local(atEnd ? range.End() : range.Start() + h, b);
            d = host::ctrl::Ops<V>::Diff(b, a);
            ticks = h > 0 ? double(h) : 1.0;
        };
        V out = Init<V>();
        done = host::ctrl::OrtEval(t, out, valid, range, type, type, local, slope);
        if (done) *static_cast<V*>(val) = out;
    });
    if (!done) GetValueLocalTime(t, val, valid, CTRL_ABSOLUTE);
}

void* StdControl::CreateTempValue() {
    switch (KindOf(SuperClassID())) {
    case Kind::Float:
        return new float(0.0f);
    case Kind::Point3:
        return new Point3();
    case Kind::Quat:
        return new Quat();
    case Kind::Scale:
        return new ScaleValue();
    case Kind::Matrix:
        return new Matrix3();
    default:
        return nullptr;
    }
}

void StdControl::DeleteTempValue(void* val) {
    if (!val) return;
    switch (KindOf(SuperClassID())) {
    case Kind::Float:
        delete static_cast<float*>(val);
        break;
    case Kind::Point3:
        delete static_cast<Point3*>(val);
        break;
    case Kind::Quat:
        delete static_cast<Quat*>(val);
        break;
    case Kind::Scale:
        delete static_cast<ScaleValue*>(val);
        break;
    case Kind::Matrix:
        delete static_cast<Matrix3*>(val);
        break;
    default:
        break;
    }
}

void StdControl::ApplyValue(void* val, void* delta) {
    if (!val || !delta) return;
    const SClass_ID sc = SuperClassID();
    if (KindOf(sc) == Kind::Matrix) {
        *static_cast<Matrix3*>(val) = *static_cast<Matrix3*>(delta) * *static_cast<Matrix3*>(val);
        return;
    }
    WithType(KindOf(sc), [&](auto* tag) {
        using V = std::remove_pointer_t<decltype(tag)>;
        host::ctrl::ApplyRelative(sc, val, *static_cast<V*>(delta));
    });
}

void StdControl::MultiplyValue(void* val, float m) {
    if (!val) return;
    WithType(KindOf(SuperClassID()), [&](auto* tag) {
        using V = std::remove_pointer_t<decltype(tag)>;
        *static_cast<V*>(val) = host::ctrl::Ops<V>::Multiply(*static_cast<V*>(val), m);
    });
}

// ---------------------------------------------------------------------------------------------
// Out-of-range types

int StdControl::GetORT(int type) { return type == ORT_BEFORE ? ortBefore_ : ortAfter_; }

void StdControl::SetORT(int ort, int type) {
    if (!ValidORT(ort) || (type != ORT_BEFORE && type != ORT_AFTER)) return;
    if ((type == ORT_BEFORE ? ortBefore_ : ortAfter_) == ort) return;
    if (theHold.Holding())
        theHold.Put(new host::StdControlRestore(this, ortBefore_, ortAfter_, ortsEnabled_));
    (type == ORT_BEFORE ? ortBefore_ : ortAfter_) = ort;
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

void StdControl::EnableORTs(BOOL enable) {
    if (ortsEnabled_ == (enable != 0)) return;
    if (theHold.Holding())
        theHold.Put(new host::StdControlRestore(this, ortBefore_, ortAfter_, ortsEnabled_));
    ortsEnabled_ = enable != 0;
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

// ---------------------------------------------------------------------------------------------
// Ease and multiplier curves

bool StdControl::AppendCurve(bool ease, Control* cont) {
    if (!cont || cont == this || cont->SuperClassID() != CTRL_FLOAT_CLASS_ID || DependsOn(cont)) return false;
    const int curves = NumEaseCurves() + NumMultCurves();
    const int own = NumRefs() - curves;
    if (own < 0) return false;
    auto& v = ease ? ease_ : mult_;
    auto& on = ease ? easeOn_ : multOn_;
    const int index = int(v.size());
    v.push_back(nullptr);
    on.push_back(1);
    if (NumRefs() != own + curves + 1) { // the subclass does not pass our references on
        v.pop_back();
        on.pop_back();
        return false;
    }
    if (theHold.Holding())
        theHold.Put(
            new host::StdControlRestore(this, host::StdControlRestore::kCurveInsert, ease, index, true));
    const int slot = own + (ease ? index : NumEaseCurves() + index);
    if (ReplaceReference(slot, cont) != REF_SUCCEED) {
        v.pop_back();
        on.pop_back();
        return false;
    }
    NotifyDependents(FOREVER, PART_ALL, REFMSG_SUBANIM_STRUCTURE_CHANGED);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    return true;
}

void StdControl::DeleteCurve(bool ease, int i) {
    auto& v = ease ? ease_ : mult_;
    auto& on = ease ? easeOn_ : multOn_;
    if (i < 0 || i >= int(v.size())) return;
    const int own = NumRefs() - (NumEaseCurves() + NumMultCurves());
    if (own < 0) return;
    const int slot = own + (ease ? i : NumEaseCurves() + i);
    if (v[size_t(i)]) ReplaceReference(slot, nullptr);
    if (theHold.Holding())
        theHold.Put(new host::StdControlRestore(this, host::StdControlRestore::kCurveErase, ease, i,
                                                on[size_t(i)] != 0));
    v.erase(v.begin() + i);
    on.erase(on.begin() + i);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_SUBANIM_STRUCTURE_CHANGED);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

void StdControl::AppendEaseCurve(Control* cont) { AppendCurve(true, cont); }
void StdControl::DeleteEaseCurve(int i) { DeleteCurve(true, i); }
void StdControl::AppendMultCurve(Control* cont) { AppendCurve(false, cont); }
void StdControl::DeleteMultCurve(int i) { DeleteCurve(false, i); }

Control* StdControl::GetEaseCurve(int i) {
    return i >= 0 && i < NumEaseCurves() ? ease_[size_t(i)] : nullptr;
}
Control* StdControl::GetMultCurve(int i) {
    return i >= 0 && i < NumMultCurves() ? mult_[size_t(i)] : nullptr;
}

void StdControl::EnableEaseCurve(int i, BOOL onOff) {
    if (i < 0 || i >= NumEaseCurves()) return;
    easeOn_[size_t(i)] = onOff ? 1 : 0;
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}
void StdControl::EnableMultCurve(int i, BOOL onOff) {
    if (i < 0 || i >= NumMultCurves()) return;
    multOn_[size_t(i)] = onOff ? 1 : 0;
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}
BOOL StdControl::IsEaseCurveEnabled(int i) {
    return i >= 0 && i < NumEaseCurves() && easeOn_[size_t(i)] ? TRUE : FALSE;
}
BOOL StdControl::IsMultCurveEnabled(int i) {
    return i >= 0 && i < NumMultCurves() && multOn_[size_t(i)] ? TRUE : FALSE;
}

TimeValue StdControl::ApplyEase(TimeValue t, Interval& valid) {
    const TimeValue t0 = t;
    bool any = false;
    for (size_t i = 0; i < ease_.size(); ++i) {
        if (!ease_[i] || !easeOn_[i]) continue;
        float v = float(t);
        Interval iv = FOREVER;
        ease_[i]->GetValue(t, &v, iv, CTRL_ABSOLUTE);
        const double r = std::isfinite(v) ? std::round(double(v)) : double(t);
        t = TimeValue(std::clamp(r, double(TIME_NegInfinity), double(TIME_PosInfinity)));
        any = true;
    }
    // The eased value's validity lives in warped time; only the instant is known to hold.
    if (any) valid &= Interval(t0, t0);
    return t;
}

float StdControl::GetMultVal(TimeValue t, Interval& valid) {
    float m = 1.0f;
    for (size_t i = 0; i < mult_.size(); ++i) {
        if (!mult_[i] || !multOn_[i]) continue;
        float v = 1.0f;
        mult_[i]->GetValue(t, &v, valid, CTRL_ABSOLUTE);
        m *= v;
    }
    return m;
}

// ---------------------------------------------------------------------------------------------
// References and sub-anims

RefTargetHandle StdControl::GetReference(int i) {
    if (i < 0) return nullptr;
    if (i < NumEaseCurves()) return ease_[size_t(i)];
    i -= NumEaseCurves();
    return i < NumMultCurves() ? mult_[size_t(i)] : nullptr;
}

void StdControl::SetReference(int i, RefTargetHandle rtarg) {
    auto* c = dynamic_cast<Control*>(rtarg);
    if (i < 0) return;
    if (i < NumEaseCurves()) {
        ease_[size_t(i)] = c;
        return;
    }
    i -= NumEaseCurves();
    if (i < NumMultCurves()) mult_[size_t(i)] = c;
}

MSTR StdControl::SubAnimName(int i, bool) {
    const bool ease = i < NumEaseCurves();
    const int index = ease ? i : i - NumEaseCurves();
    if (i < 0 || index >= (ease ? NumEaseCurves() : NumMultCurves())) return MSTR();
    MSTR name(ease ? L"Ease Curve" : L"Multiplier Curve");
    if (index > 0) {
        MSTR n;
        n.printf(L" %d", index + 1);
        name += n;
    }
    return name;
}

RefResult StdControl::NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) {
    return REF_SUCCEED;
}

void StdControl::CopyStdState(StdControl* to) const {
    to->ortBefore_ = ortBefore_;
    to->ortAfter_ = ortAfter_;
    to->ortsEnabled_ = ortsEnabled_;
}

// ---------------------------------------------------------------------------------------------
// Files

IOResult StdControl::Save(ISave* isave) {
    ULONG nw = 0;
    isave->BeginChunk(STD_ORT_CHUNK);
    const int32_t orts[3] = {ortBefore_, ortAfter_, ortsEnabled_ ? 1 : 0};
    isave->Write(orts, sizeof(orts), &nw);
    isave->EndChunk();
    if (!ease_.empty() || !mult_.empty()) {
        isave->BeginChunk(STD_CURVES_CHUNK);
        const int32_t counts[2] = {int32_t(ease_.size()), int32_t(mult_.size())};
        isave->Write(counts, sizeof(counts), &nw);
        if (!easeOn_.empty()) isave->Write(easeOn_.data(), ULONG(easeOn_.size()), &nw);
        if (!multOn_.empty()) isave->Write(multOn_.data(), ULONG(multOn_.size()), &nw);
        isave->EndChunk();
    }
    return IO_OK;
}

bool StdControl::LoadStdChunk(ILoad* iload, IOResult& res) {
    ULONG nr = 0;
    switch (iload->CurChunkID()) {
    case STD_ORT_CHUNK: {
        int32_t orts[3] = {ORT_CONSTANT, ORT_CONSTANT, 1};
        res = iload->Read(orts, sizeof(orts), &nr);
        if (res == IO_OK) {
            ortBefore_ = ValidORT(orts[0]) ? orts[0] : ORT_CONSTANT;
            ortAfter_ = ValidORT(orts[1]) ? orts[1] : ORT_CONSTANT;
            ortsEnabled_ = orts[2] != 0;
        }
        return true;
    }
    case STD_CURVES_CHUNK: {
        int32_t counts[2] = {0, 0};
        res = iload->Read(counts, sizeof(counts), &nr);
        if (res != IO_OK) return true;
        if (counts[0] < 0 || counts[1] < 0 ||
            uint64_t(counts[0]) + uint64_t(counts[1]) + sizeof(counts) != iload->CurChunkLength()) {
            res = IO_ERROR;
            return true;
        }
        ease_.assign(size_t(counts[0]), nullptr);
        mult_.assign(size_t(counts[1]), nullptr);
        easeOn_.assign(size_t(counts[0]), 1);
        multOn_.assign(size_t(counts[1]), 1);
        if (counts[0] > 0) res = iload->Read(easeOn_.data(), ULONG(counts[0]), &nr);
        if (res == IO_OK && counts[1] > 0) res = iload->Read(multOn_.data(), ULONG(counts[1]), &nr);
        return true;
    }
    default:
        return false;
    }
}

IOResult StdControl::Load(ILoad* iload) {
    IOResult res = IO_OK;
    while ((res = iload->OpenChunk()) == IO_OK) {
        LoadStdChunk(iload, res);
        iload->CloseChunk();
        if (res != IO_OK) return res;
    }
    return res == IO_END ? IO_OK : res;
}
