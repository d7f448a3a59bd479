// Track utilities the plug-in's composed texts call: getAnimByHandle, maxOps.getNodeByHandle,
// reduceKeys, macros.run, fileIn.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "bind.h"
#include "control.h"
#include "inode.h"
#include "keyctrl.h"
#include "maxapi.h"

namespace host::script::scene {

namespace {

// Largest difference between two values of one controller.
float Deviation(const Value& a, const Value& b) {
    if (a.IsNumber() && b.IsNumber()) return std::fabs(a.ToFloat() - b.ToFloat());
    if (a.tag() != b.tag()) return INFINITY;
    if (a.tag() == Tag::Quat) {
        // angle between the rotations, in degrees (q and -q are the same rotation)
        const float* p = a.RawVec();
        const float* q = b.RawVec();
        float d = std::fabs(p[0] * q[0] + p[1] * q[1] + p[2] * q[2] + p[3] * q[3]);
        return 2.f * std::acos(std::min(1.f, d)) * 180.f / 3.14159265f;
    }
    if (a.tag() == Tag::Point3 || a.tag() == Tag::Point2) {
        float m = 0;
        for (int i = 0; i < 3; ++i) m = std::max(m, std::fabs(a.RawVec()[i] - b.RawVec()[i]));
        return m;
    }
    if (a.tag() == Tag::Matrix3) {
        float m = 0;
        for (int i = 0; i < 12; ++i) m = std::max(m, std::fabs(a.RawMatrix3()->m[i] - b.RawMatrix3()->m[i]));
        return m;
    }
    return ValuesEqual(a, b) ? 0.f : INFINITY;
}

// Matrix controllers have no keys of their own to reduce; they sample as undefined.
Value Sample(Control* c, TimeValue t) {
    return c->SuperClassID() == CTRL_MATRIX3_CLASS_ID ? Value() : ControlValue(c, t);
}

using KeyBytes = std::vector<unsigned char>;

std::vector<KeyBytes> ReadKeys(IKeyControl* kc) {
    std::vector<KeyBytes> keys;
    int size = kc->GetKeySize();
    for (int i = 0; i < kc->GetNumKeys(); ++i) {
        KeyBytes k(static_cast<size_t>(size));
        kc->GetKey(i, reinterpret_cast<IKey*>(k.data()));
        keys.push_back(std::move(k));
    }
    return keys;
}

void WriteKeys(IKeyControl* kc, std::vector<KeyBytes>& keys) {
    kc->SetNumKeys(static_cast<int>(keys.size()));
    for (size_t i = 0; i < keys.size(); ++i) kc->SetKey(static_cast<int>(i), reinterpret_cast<IKey*>(keys[i].data()));
}

TimeValue KeyTime(const KeyBytes& k) { return reinterpret_cast<const IKey*>(k.data())->time; }

// Removes every key inside the range whose removal keeps the curve within `threshold` of what
// it was, sampled every `step` ticks and at the keys; the first and last key in the range stay.
void ReduceKeys(Control* c, float threshold, TimeValue step, Interval range) {
    IKeyControl* kc = GetKeyControlInterface(c);
    if (!kc) {
        // compound controllers reduce their keyframe parts
        for (int i = 0; i < c->NumSubs(); ++i)
            if (auto* sub = dynamic_cast<Control*>(c->SubAnim(i))) ReduceKeys(sub, threshold, step, range);
        return;
    }
    if (Sample(c, range.Start()).IsUndefined() || kc->GetNumKeys() < 3) return;
    std::vector<TimeValue> times;
    for (TimeValue t = range.Start(); t <= range.End(); t += step) {
        times.push_back(t);
        if (t > range.End() - step) break;
    }
    std::vector<KeyBytes> keys = ReadKeys(kc);
    for (const KeyBytes& k : keys)
        if (range.InInterval(KeyTime(k))) times.push_back(KeyTime(k));
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    std::vector<Value> original;
    for (TimeValue t : times) original.push_back(Sample(c, t));

    size_t i = 0;
    while (i < keys.size()) {
        TimeValue t = KeyTime(keys[i]);
        bool inner = range.InInterval(t) && i > 0 && i + 1 < keys.size() && range.InInterval(KeyTime(keys[i - 1])) &&
                     range.InInterval(KeyTime(keys[i + 1]));
        if (!inner) {
            ++i;
            continue;
        }
        TimeValue lo = KeyTime(keys[i - 1]), hi = KeyTime(keys[i + 1]);
        KeyBytes removed = keys[i];
        keys.erase(keys.begin() + static_cast<long>(i));
        WriteKeys(kc, keys);
        bool fits = true;
        for (size_t s = 0; s < times.size() && fits; ++s)
            if (times[s] >= lo && times[s] <= hi && Deviation(Sample(c, times[s]), original[s]) > threshold) fits = false;
        if (!fits) {
            keys.insert(keys.begin() + static_cast<long>(i), std::move(removed));
            WriteKeys(kc, keys);
            ++i;
        }
    }
}

void Bind(Interpreter& in) {
    in.RegisterPrimitive("getAnimByHandle", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getAnimByHandle", a, 1);
        return AnimValue(Animatable::GetAnimByHandle(static_cast<AnimHandle>(a[0].ToInt())));
    });
    in.RegisterPrimitive("getHandleByAnim", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getHandleByAnim", a, 1);
        Animatable* anim = ToAnim(a[0]);
        if (!anim) throw ConversionError(a[0], "MAXWrapper");
        return Value::Int(static_cast<int32_t>(Animatable::GetHandleByAnim(anim)));
    });

    auto* maxOps = new NamespaceObj("maxOps");
    maxOps->Add("getNodeByHandle", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getNodeByHandle", a, 1);
        return NodeValue(GetCOREInterface()->GetINodeByHandle(static_cast<ULONG>(a[0].ToInt())));
    });
    in.SetGlobal("maxOps", Value::Object(maxOps));

    auto* macros = new NamespaceObj("macros");
    macros->Add("run", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("run", a, 2);
        auto it = in.impl().macros.find(MacroKey(a[0].ToDisplay(), a[1].ToDisplay()));
        if (it == in.impl().macros.end())
            throw RuntimeError("macros.run: no macro " + a[1].Print() + " in category " + a[0].Print());
        in.Call(it->second, CallArgs{});
        return Value::Bool(true);
    });
    in.SetGlobal("macros", Value::Object(macros));

    // reduceKeys <controller> <threshold> <step> [<interval>]
    in.RegisterPrimitive("reduceKeys", [](Interpreter&, const CallArgs& a) {
        CheckArgCountRange("reduceKeys", a, 3, 4);
        auto* c = dynamic_cast<Control*>(ToAnim(a[0]));
        if (!c) throw ConversionError(a[0], "Controller");
        float threshold = a[1].ToFloat();
        TimeValue step = TimeOf(a[2]);
        if (step <= 0) throw RuntimeError("reduceKeys: step must be positive, got: " + a[2].Print());
        Interval range = c->GetTimeRange(TIMERANGE_ALL);
        if (a.Count() == 4) {
            if (a[3].tag() != Tag::Interval) throw ConversionError(a[3], "Interval");
            range = Interval(a[3].IntervalStart(), a[3].IntervalEnd());
        }
        if (!range.Empty()) ReduceKeys(c, threshold, step, range);
        return Value::Ok();
    });

    in.RegisterPrimitive("fileIn", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("fileIn", a, 1);
        std::string path = a[0].ToStr();
        RunOptions opt;
        opt.sourceName = path;
        opt.quiet = true;
        RunResult r = in.RunFile(path, opt);
        if (!r.ok) throw ScriptError(r.error.size() > 3 ? r.error.substr(3) : r.error);
        return Value::Ok();
    });
}

const bool registered = RegisterBinder(&Bind);

}  // namespace

}  // namespace host::script::scene
