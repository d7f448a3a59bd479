// KeyframeControl: one template for every Bezier, TCB and Linear controller. The engine does
// the interpolation; this class owns the key table, animate-mode sets, key editing, undo,
// the IKeyControl table view, clone and scene file chunks.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <numeric>
#include <vector>

#include "maxapi.h"
#include "hold.h"
#include "iosave.h"
#include "key_engines.h"
#include "ort_eval.h"
#include "restore_util.h"
#include "stdctrl.h"

namespace host::ctrl {

// Chunk ids of keyframe controllers (StdControl's own are 0x4000 and up).
constexpr USHORT KF_VALUE_CHUNK = 0x0100;
constexpr USHORT KF_KEYS_CHUNK = 0x0110;
constexpr USHORT KF_TRACKFLAGS_CHUNK = 0x0120;
constexpr USHORT KF_LOCK_CHUNK = 0x0130;

// How keys of each kind hold their value. Most store it as is; TCB rotation keys store it
// relative to the previous key, so edits go through absolute rotations.
template <class Key, class Engine> struct KeyValueOps {
    using V = decltype(Key::val);
    static V Absolute(const std::vector<Key>& keys, const Engine&, int i) { return keys[size_t(i)].val; }
    static void SetAbsolute(std::vector<Key>& keys, const Engine&, int i, const V& v) {
        keys[size_t(i)].val = v;
    }
    static void Insert(std::vector<Key>& keys, const Engine&, int idx, const Key& k, const V& v) {
        Key nk = k;
        nk.val = v;
        keys.insert(keys.begin() + idx, nk);
    }
    static void Erase(std::vector<Key>& keys, const Engine&, int idx) { keys.erase(keys.begin() + idx); }
    // keys now hold, in order, the old keys kept[0], kept[1], ...
    static void AfterReorder(std::vector<Key>&, const std::vector<V>&, const std::vector<int>&) {}
    static void OffsetAll(std::vector<Key>& keys, const V& from, const V& to) {
        if constexpr (std::is_same_v<V, Quat>) {
            const Quat d = SafeUnit(to * Inverse(from));
            for (Key& k : keys)
                k.val = SafeUnit(d * SafeUnit(k.val));
        } else if constexpr (std::is_same_v<V, ScaleValue>) {
            for (Key& k : keys)
                for (int c = 0; c < 3; ++c) {
                    if (from.s[c] != 0.0f)
                        k.val.s[c] *= to.s[c] / from.s[c];
                    else
                        k.val.s[c] += to.s[c] - from.s[c];
                }
        } else {
            const V d = to - from;
            for (Key& k : keys)
                k.val = k.val + d;
        }
    }
};

template <> struct KeyValueOps<ITCBRotKey, TCBRotEngine> {
    using V = Quat;
    static Quat Absolute(const std::vector<ITCBRotKey>&, const TCBRotEngine& e, int i) {
        return e.Absolute(i);
    }
    static AngAxis Shortest(const Quat& from, const Quat& to) {
        Quat r = SafeUnit(Inverse(from) * to);
        if (r.w < 0.0f) r = -r;
        return AngAxis(r);
    }
    static void Relink(std::vector<ITCBRotKey>& keys, const std::vector<Quat>& abs, int from, int to) {
        for (int i = std::max(from, 0); i <= to && i < int(keys.size()); ++i)
            keys[size_t(i)].val = i == 0 ? AngAxis(abs[0]) : Shortest(abs[size_t(i - 1)], abs[size_t(i)]);
    }
    static std::vector<Quat> All(const std::vector<ITCBRotKey>& keys, const TCBRotEngine& e) {
        std::vector<Quat> abs(keys.size());
        for (size_t i = 0; i < keys.size(); ++i)
            abs[i] = e.Absolute(int(i));
        return abs;
    }
    static void SetAbsolute(std::vector<ITCBRotKey>& keys, const TCBRotEngine& e, int i, const Quat& v) {
        std::vector<Quat> abs = All(keys, e);
        abs[size_t(i)] = v;
        Relink(keys, abs, i, i + 1);
    }
    static void Insert(std::vector<ITCBRotKey>& keys, const TCBRotEngine& e, int idx, const ITCBRotKey& k,
                       const Quat& v) {
        std::vector<Quat> abs = All(keys, e);
        abs.insert(abs.begin() + idx, v);
        keys.insert(keys.begin() + idx, k);
        Relink(keys, abs, idx, idx + 1);
    }
    static void Erase(std::vector<ITCBRotKey>& keys, const TCBRotEngine& e, int idx) {
        std::vector<Quat> abs = All(keys, e);
        abs.erase(abs.begin() + idx);
        keys.erase(keys.begin() + idx);
        Relink(keys, abs, idx, idx);
    }
    static void AfterReorder(std::vector<ITCBRotKey>& keys, const std::vector<Quat>& absBefore,
                             const std::vector<int>& kept) {
        bool same = true;
        for (size_t j = 0; j < kept.size(); ++j)
            same = same && kept[j] == int(j);
        if (same) return;
        std::vector<Quat> abs(kept.size());
        for (size_t j = 0; j < kept.size(); ++j)
            abs[j] = absBefore[size_t(kept[j])];
        Relink(keys, abs, 0, int(keys.size()) - 1);
    }
    static void OffsetAll(std::vector<ITCBRotKey>& keys, const Quat& from, const Quat& to) {
        if (keys.empty()) return;
        const Quat d = SafeUnit(to * Inverse(from));
        keys[0].val = AngAxis(SafeUnit(d * QuatOfAngAxis(keys[0].val)));
    }
};

// Class identity of one keyframe controller class.
struct KeyframeInfo {
    SClass_ID superClass;
    Class_ID classID;
};

template <class Engine, const KeyframeInfo& Info>
class KeyframeControl : public StdControl, public IKeyControl, public ILockedTrackImp {
  public:
    using Key = typename Engine::KeyType;
    using V = typename Engine::Value;
    using VOps = KeyValueOps<Key, Engine>;

    KeyframeControl() { InitValue(value_); }

    SClass_ID SuperClassID() override { return Info.superClass; }
    Class_ID ClassID() override { return Info.classID; }

    using StdControl::GetInterface;
    void* GetInterface(ULONG id) override {
        if (id == I_KEYCONTROL) return static_cast<IKeyControl*>(this);
        return StdControl::GetInterface(id);
    }

    // ---- Values.
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override {
        if (HasEaseOrMult()) {
            StdControl::GetValue(t, val, valid, method);
            return;
        }
        V v;
        if (!dirty_ && !keys_.empty() && t > engine_.First() && t < engine_.Last()) {
            engine_.Eval(t, v); // between keys: the common case, kept short
            valid &= Interval(t, t);
        } else {
            Evaluate(t, v, valid);
        }
        if (method == CTRL_RELATIVE)
            ApplyRelative(Info.superClass, val, v);
        else
            *static_cast<V*>(val) = v;
    }

    void GetValueLocalTime(TimeValue t, void* val, Interval& valid,
                           GetSetMethod method = CTRL_ABSOLUTE) override {
        V v;
        EvaluateInRange(t, v, valid);
        if (method == CTRL_RELATIVE)
            ApplyRelative(Info.superClass, val, v);
        else
            *static_cast<V*>(val) = v;
    }

    void Extrapolate(Interval range, TimeValue t, void* val, Interval& valid, int type) override {
        V v;
        Prepare();
        if (keys_.empty() ||
            !OrtEval(
                t, v, valid, range, type, type, [this](TimeValue tt, V& o) { engine_.Eval(tt, o); },
                [this](bool atEnd, V& d, double& ticks) { engine_.EndSlope(atEnd, d, ticks); }))
            EvaluateInRange(t, v, valid);
        *static_cast<V*>(val) = v;
    }

    void SetValueLocalTime(TimeValue t, void* val, int commit = 1,
                           GetSetMethod method = CTRL_ABSOLUTE) override {
        if (!val) return;
        Interval iv = FOREVER;
        V cur;
        Evaluate(t, cur, iv);
        const V target = method == CTRL_RELATIVE ? CombineRelativeSet(cur, val)
                                                 : ReadSetValue(val, static_cast<V*>(nullptr));
        if (commit == 0 && !drag_) drag_ = std::make_unique<State>(Snapshot());
        if (commit != 0) drag_.reset();
        HoldTrack();
        if (keys_.empty()) {
            if (Animating())
                InsertKey(t, target);
            else
                value_ = target;
        } else {
            const int k = KeyIndexAt(t);
            Prepare();
            if (k >= 0)
                VOps::SetAbsolute(keys_, engine_, k, target);
            else if (Animating())
                InsertKey(t, target);
            else
                VOps::OffsetAll(keys_, cur, target);
        }
        Changed();
    }

    void CommitValue(TimeValue) override { drag_.reset(); }
    void RestoreValue(TimeValue) override {
        if (!drag_) return;
        Apply(*drag_);
        drag_.reset();
    }

    // Same class: keys, value and out-of-range types; another controller of the same super
    // class: its value at time 0 becomes the constant and the keys go.
    void Copy(Control* from) override {
        if (!from || from == this || from->SuperClassID() != SuperClassID()) return;
        HoldTrack();
        if (auto* same = dynamic_cast<KeyframeControl*>(from)) {
            keys_ = same->keys_;
            value_ = same->value_;
            trackFlags_ = same->trackFlags_;
            SetORT(same->GetORT(ORT_BEFORE), ORT_BEFORE);
            SetORT(same->GetORT(ORT_AFTER), ORT_AFTER);
        } else {
            Interval iv = FOREVER;
            V v;
            InitValue(v);
            from->GetValue(0, &v, iv, CTRL_ABSOLUTE);
            keys_.clear();
            value_ = v;
        }
        Changed();
    }

    BOOL IsAnimated() override { return keys_.empty() ? FALSE : TRUE; }
    BOOL IsLeaf() override { return TRUE; }
    BOOL IsReplaceable() override { return GetLocked() ? FALSE : TRUE; }

    // ---- Animatable keys.
    int NumKeys() override { return int(keys_.size()); }
    TimeValue GetKeyTime(int index) override { return InRange(index) ? keys_[size_t(index)].time : 0; }
    int GetKeyIndex(TimeValue t) override { return KeyIndexAt(t); }
    BOOL IsKeyAtTime(TimeValue t, DWORD) override { return KeyIndexAt(t) >= 0 ? TRUE : FALSE; }

    // The new key takes the track's value at t (ADDKEY_INTERP or not); a key already there is
    // kept (and selected with ADDKEY_SELECT).
    void AddNewKey(TimeValue t, DWORD flags) override {
        if (GetLocked()) return;
        int k = KeyIndexAt(t);
        if (k < 0) {
            Interval iv = FOREVER;
            V v;
            Evaluate(t, v, iv);
            HoldTrack();
            k = InsertKey(t, v);
        } else if (flags & ADDKEY_SELECT) {
            HoldTrack();
        }
        if (flags & ADDKEY_SELECT) keys_[size_t(k)].flags |= SelBits();
        Changed();
    }

    void DeleteKeyAtTime(TimeValue t) override {
        if (GetLocked()) return;
        RemoveKeys([t](const Key& k) { return k.time == t; });
    }

    // TRACK_DOALL: every key; otherwise the selected ones. Deleting the last key leaves the
    // track constant at the value the first key had.
    void DeleteKeys(DWORD flags) override {
        if (GetLocked()) return;
        const bool all = (flags & TRACK_DOALL) != 0;
        RemoveKeys([all](const Key& k) { return all || (k.flags & IKEY_SELECTED); });
    }

    // TRACK_DOALL moves every key, otherwise the selected ones; TRACK_SLIDEUNSEL also moves the
    // unselected keys after the last selected one (before the first with TRACK_RIGHTTOLEFT).
    // A key that lands on another's time replaces it.
    void MoveKeys(TimeValue delta, DWORD flags) override {
        if (GetLocked() || keys_.empty() || delta == 0) return;
        std::vector<char> move(keys_.size(), 0);
        TimeValue lo = TIME_PosInfinity, hi = TIME_NegInfinity;
        for (size_t i = 0; i < keys_.size(); ++i) {
            move[i] = (flags & TRACK_DOALL) || (keys_[i].flags & IKEY_SELECTED);
            if (move[i]) {
                lo = std::min(lo, keys_[i].time);
                hi = std::max(hi, keys_[i].time);
            }
        }
        if (flags & TRACK_SLIDEUNSEL)
            for (size_t i = 0; i < keys_.size(); ++i)
                if (!move[i] && ((flags & TRACK_RIGHTTOLEFT) ? keys_[i].time < lo : keys_[i].time > hi))
                    move[i] = 1;
        if (std::find(move.begin(), move.end(), 1) == move.end()) return;
        HoldTrack();
        for (size_t i = 0; i < keys_.size(); ++i)
            if (move[i]) keys_[i].time = AddTicks(keys_[i].time, delta);
        SortKeysWithPriority(move);
        Changed();
    }

    void MapKeys(TimeMap* map, DWORD flags) override {
        if (!map || GetLocked() || keys_.empty()) return;
        std::vector<char> mapped(keys_.size(), 0);
        bool any = false;
        for (size_t i = 0; i < keys_.size(); ++i) {
            mapped[i] = (flags & TRACK_DOALL) || (keys_[i].flags & IKEY_SELECTED) ||
                        !(flags & (TRACK_DOSEL | TRACK_DOALL));
            any = any || mapped[i];
        }
        if (!any) return;
        HoldTrack();
        for (size_t i = 0; i < keys_.size(); ++i)
            if (mapped[i]) keys_[i].time = map->map(keys_[i].time);
        SortKeysWithPriority(mapped);
        Changed();
    }

    // Selection is not an undoable edit and does not change the value.
    void SelectKeys(Interval range, DWORD flags) override {
        for (Key& k : keys_) {
            if (flags & SELKEYS_CLEARKEYS) k.flags &= ~IKEY_ALLSEL;
            if (range.InInterval(k.time)) {
                if (flags & SELKEYS_SELECT) k.flags |= SelBits();
                if (flags & SELKEYS_DESELECT) k.flags &= ~IKEY_ALLSEL;
            }
        }
    }
    BOOL IsKeySelected(int index) override {
        return InRange(index) && (keys_[size_t(index)].flags & IKEY_SELECTED) ? TRUE : FALSE;
    }
    int NumSelKeys() override {
        return int(std::count_if(keys_.begin(), keys_.end(),
                                 [](const Key& k) { return (k.flags & IKEY_SELECTED) != 0; }));
    }

    // The span of the keys (TIMERANGE_SELONLY: of the selected ones); NEVER without keys.
    Interval GetTimeRange(DWORD flags) override {
        Interval r = NEVER;
        for (const Key& k : keys_)
            if (!(flags & TIMERANGE_SELONLY) || (k.flags & IKEY_SELECTED)) r += k.time;
        return r;
    }

    void CopyKeysFromTime(TimeValue src, TimeValue dst, DWORD) override {
        if (GetLocked() || src == dst) return;
        Interval iv = FOREVER;
        V v;
        Evaluate(src, v, iv);
        HoldTrack();
        const int k = KeyIndexAt(dst);
        Prepare();
        if (k >= 0)
            VOps::SetAbsolute(keys_, engine_, k, v);
        else
            InsertKey(dst, v);
        Changed();
    }

    // Removes the keys inside iv and closes the gap: later keys move back by its length.
    void DeleteTime(Interval iv, DWORD) override {
        if (GetLocked() || iv.Empty() || keys_.empty()) return;
        RemoveKeys([&iv](const Key& k) { return iv.InInterval(k.time); });
        const TimeValue shift = iv.End() - iv.Start();
        bool any = false;
        for (const Key& k : keys_)
            any = any || k.time > iv.End();
        if (!any || shift == 0) return;
        HoldTrack();
        for (Key& k : keys_)
            if (k.time > iv.End()) k.time -= shift;
        Changed();
    }

    // ---- IKeyControl.
    int GetNumKeys() override { return int(keys_.size()); }
    void SetNumKeys(int n) override {
        n = std::max(n, 0);
        if (n == int(keys_.size())) return;
        HoldTrack();
        keys_.resize(size_t(n));
        Changed();
    }
    void GetKey(int i, IKey* key) override {
        if (!key || !InRange(i)) return;
        Prepare();
        Key k = keys_[size_t(i)];
        engine_.FillKey(i, k);
        std::memcpy(static_cast<void*>(key), &k, sizeof(Key));
    }
    void SetKey(int i, IKey* key) override {
        if (!key || !InRange(i)) return;
        HoldTrack();
        std::memcpy(&keys_[size_t(i)], static_cast<const void*>(key), sizeof(Key));
        Changed();
    }
    int AppendKey(IKey* key) override {
        if (!key) return -1;
        HoldTrack();
        Key k;
        std::memcpy(&k, static_cast<const void*>(key), sizeof(Key));
        keys_.push_back(k);
        Changed();
        return int(keys_.size()) - 1;
    }
    void SortKeys() override {
        if (keys_.size() < 2) return;
        bool sorted = true;
        for (size_t i = 1; i < keys_.size(); ++i)
            sorted = sorted && keys_[i - 1].time < keys_[i].time;
        if (sorted) return;
        HoldTrack();
        SortKeysWithPriority(std::vector<char>(keys_.size(), 0));
        Changed();
    }
    DWORD& GetTrackFlags() override { return trackFlags_; }
    int GetKeySize() override { return int(sizeof(Key)); }

    // ---- Clone and files.
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new KeyframeControl();
        c->keys_ = keys_;
        c->value_ = value_;
        c->trackFlags_ = trackFlags_;
        c->mLocked = mLocked;
        CopyStdState(c);
        for (int i = 0; i < NumEaseCurves(); ++i)
            if (auto* e = dynamic_cast<Control*>(remap.CloneRef(GetEaseCurve(i)))) c->AppendEaseCurve(e);
        for (int i = 0; i < NumMultCurves(); ++i)
            if (auto* m = dynamic_cast<Control*>(remap.CloneRef(GetMultCurve(i)))) c->AppendMultCurve(m);
        BaseClone(this, c, remap);
        return c;
    }

    IOResult Save(ISave* isave) override {
        StdControl::Save(isave);
        ULONG nw = 0;
        isave->BeginChunk(KF_VALUE_CHUNK);
        isave->Write(&value_, sizeof(V), &nw);
        isave->EndChunk();
        isave->BeginChunk(KF_KEYS_CHUNK);
        const int32_t n = int32_t(keys_.size());
        isave->Write(&n, sizeof(n), &nw);
        if (n > 0) isave->Write(keys_.data(), ULONG(sizeof(Key) * keys_.size()), &nw);
        isave->EndChunk();
        isave->BeginChunk(KF_TRACKFLAGS_CHUNK);
        isave->Write(&trackFlags_, sizeof(trackFlags_), &nw);
        isave->EndChunk();
        isave->BeginChunk(KF_LOCK_CHUNK);
        const int32_t locked = mLocked ? 1 : 0;
        isave->Write(&locked, sizeof(locked), &nw);
        isave->EndChunk();
        return IO_OK;
    }

    IOResult Load(ILoad* iload) override {
        IOResult res = IO_OK;
        ULONG nr = 0;
        while ((res = iload->OpenChunk()) == IO_OK) {
            if (!LoadStdChunk(iload, res)) {
                switch (iload->CurChunkID()) {
                case KF_VALUE_CHUNK:
                    res = iload->Read(&value_, sizeof(V), &nr);
                    break;
                case KF_KEYS_CHUNK: {
                    int32_t n = 0;
                    res = iload->Read(&n, sizeof(n), &nr);
                    if (res == IO_OK &&
                        (n < 0 || uint64_t(n) * sizeof(Key) != uint64_t(iload->CurChunkLength()) - sizeof(n)))
                        res = IO_ERROR;
                    if (res == IO_OK) {
                        keys_.resize(size_t(n));
                        if (n > 0) res = iload->Read(keys_.data(), ULONG(sizeof(Key) * size_t(n)), &nr);
                    }
                    break;
                }
                case KF_TRACKFLAGS_CHUNK:
                    res = iload->Read(&trackFlags_, sizeof(trackFlags_), &nr);
                    break;
                case KF_LOCK_CHUNK: {
                    int32_t locked = 0;
                    res = iload->Read(&locked, sizeof(locked), &nr);
                    mLocked = locked != 0;
                    break;
                }
                default:
                    break;
                }
            }
            iload->CloseChunk();
            if (res != IO_OK) return res;
        }
        dirty_ = true;
        return res == IO_END ? IO_OK : res;
    }

    // ---- Internal access for tests of the host.
    const std::vector<Key>& Keys() const { return keys_; }

  private:
    struct State {
        std::vector<Key> keys;
        V value;
        DWORD trackFlags;
    };
    friend class KeyTableRestore<KeyframeControl, State>;

    static void InitValue(V& v) {
        if constexpr (std::is_same_v<V, float>)
            v = 0.0f;
        else
            v = V();
    }
    // Multi-channel keys select every channel with the key.
    static DWORD SelBits() {
        if constexpr (std::is_same_v<V, Point3> || std::is_same_v<V, ScaleValue>)
            return IKEY_SELECTED | IKEY_XSEL | IKEY_YSEL | IKEY_ZSEL;
        else
            return IKEY_SELECTED;
    }

    bool InRange(int i) const { return i >= 0 && i < int(keys_.size()); }
    static TimeValue AddTicks(TimeValue t, TimeValue d) {
        int64_t r = int64_t(t) + int64_t(d);
        return TimeValue(std::clamp<int64_t>(r, TIME_NegInfinity, TIME_PosInfinity));
    }
    int KeyIndexAt(TimeValue t) const {
        for (size_t i = 0; i < keys_.size(); ++i)
            if (keys_[i].time == t) return int(i);
        return -1;
    }
    void Prepare() {
        if (!dirty_) return;
        engine_.Build(keys_);
        dirty_ = false;
    }
    void Changed() {
        dirty_ = true;
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }

    // In-range evaluation with the keyframe validity rules; no keys: the constant, valid kept.
    void EvaluateInRange(TimeValue t, V& v, Interval& valid) {
        if (keys_.empty()) {
            v = value_;
            return;
        }
        Prepare();
        engine_.Eval(t, v);
        const TimeValue first = engine_.First(), last = engine_.Last();
        if (t <= first && EffectiveORT(ORT_BEFORE) == ORT_CONSTANT)
            valid &= Interval(TIME_NegInfinity, first);
        else if (t >= last && EffectiveORT(ORT_AFTER) == ORT_CONSTANT)
            valid &= Interval(last, TIME_PosInfinity);
        else
            valid &= Interval(t, t);
    }

    // Value at t with out-of-range types (no ease, no multiplier).
    void Evaluate(TimeValue t, V& v, Interval& valid) {
        if (keys_.empty()) {
            v = value_;
            return;
        }
        Prepare();
        const TimeValue first = engine_.First(), last = engine_.Last();
        if ((t < first || t > last) && HasActiveORT()) {
            if (OrtEval(
                    t, v, valid, Interval(first, last), EffectiveORT(ORT_BEFORE), EffectiveORT(ORT_AFTER),
                    [this](TimeValue tt, V& o) { engine_.Eval(tt, o); },
                    [this](bool atEnd, V& d, double& ticks) { engine_.EndSlope(atEnd, d, ticks); }))
                return;
        }
        EvaluateInRange(t, v, valid);
    }

    int InsertKey(TimeValue t, const V& v) {
        Prepare();
        int idx = 0;
        while (idx < int(keys_.size()) && keys_[size_t(idx)].time < t)
            ++idx;
        Key k;
        k.time = t;
        k.flags = Engine::NewKeyFlags();
        VOps::Insert(keys_, engine_, idx, k, v);
        dirty_ = true;
        return idx;
    }

    template <class Pred> void RemoveKeys(Pred pred) {
        bool any = false;
        for (const Key& k : keys_)
            any = any || pred(k);
        if (!any) return;
        HoldTrack();
        Prepare();
        const V firstValue = VOps::Absolute(keys_, engine_, 0);
        for (int i = int(keys_.size()) - 1; i >= 0; --i) {
            if (!pred(keys_[size_t(i)])) continue;
            VOps::Erase(keys_, engine_, i);
            dirty_ = true;
            Prepare();
        }
        if (keys_.empty()) value_ = firstValue;
        Changed();
    }

    // Stable sort by time; of keys sharing a time the one with priority wins, else the later.
    void SortKeysWithPriority(const std::vector<char>& priority) {
        Prepare();
        std::vector<V> absBefore(keys_.size());
        for (size_t i = 0; i < keys_.size(); ++i)
            absBefore[i] = VOps::Absolute(keys_, engine_, int(i));
        std::vector<int> order(keys_.size());
        std::iota(order.begin(), order.end(), 0);
        std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
            if (keys_[size_t(a)].time != keys_[size_t(b)].time)
                return keys_[size_t(a)].time < keys_[size_t(b)].time;
            return priority[size_t(a)] < priority[size_t(b)];
        });
        std::vector<int> kept;
        for (size_t j = 0; j < order.size(); ++j) {
            if (j + 1 < order.size() && keys_[size_t(order[j])].time == keys_[size_t(order[j + 1])].time)
                continue;
            kept.push_back(order[j]);
        }
        std::vector<Key> sorted;
        sorted.reserve(kept.size());
        for (int i : kept)
            sorted.push_back(keys_[size_t(i)]);
        keys_.swap(sorted);
        VOps::AfterReorder(keys_, absBefore, kept);
        dirty_ = true;
    }

    State Snapshot() const { return State{keys_, value_, trackFlags_}; }
    void Apply(const State& s) {
        keys_ = s.keys;
        value_ = s.value;
        trackFlags_ = s.trackFlags;
        Changed();
    }
    void HoldTrack() {
        if (theHold.Holding() && !TestAFlag(A_HELD)) {
            SetAFlag(A_HELD);
            theHold.Put(new KeyTableRestore<KeyframeControl, State>(this, Snapshot()));
        }
    }

    std::vector<Key> keys_;
    V value_;
    DWORD trackFlags_ = 0;
    Engine engine_;
    bool dirty_ = true;
    std::unique_ptr<State> drag_;
};

} // namespace host::ctrl
