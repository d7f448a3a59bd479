// List controllers: float, point3, position, rotation and scale lists.
#include <algorithm>
#include <cmath>

#include "compound_control.h"
#include "controllers_internal.h"
#include "stdctrl.h"
#include "value_ops.h"

namespace host::ctrl {

namespace {
constexpr USHORT LIST_COUNT_CHUNK = 0x0300;
constexpr USHORT LIST_WEIGHTS_CHUNK = 0x0310;
constexpr USHORT LIST_NAME_CHUNK = 0x0320;
constexpr USHORT LIST_ACTIVE_CHUNK = 0x0330;

struct ListInfo {
    SClass_ID superClass;
    ULONG classA;
};
constexpr ListInfo kFloatList{CTRL_FLOAT_CLASS_ID, FLOATLIST_CONTROL_CLASS_ID};
constexpr ListInfo kPoint3List{CTRL_POINT3_CLASS_ID, POINT3LIST_CONTROL_CLASS_ID};
constexpr ListInfo kPosList{CTRL_POSITION_CLASS_ID, POSLIST_CONTROL_CLASS_ID};
constexpr ListInfo kRotList{CTRL_ROTATION_CLASS_ID, ROTLIST_CONTROL_CLASS_ID};
constexpr ListInfo kScaleList{CTRL_SCALE_CLASS_ID, SCALELIST_CONTROL_CLASS_ID};

template <class V> V Zero() {
    if constexpr (std::is_same_v<V, float>)
        return 0.0f;
    else if constexpr (std::is_same_v<V, ScaleValue>)
        return ScaleValue();
    else
        return V();
}

ScaleValue Weighted(const ScaleValue& s, float w) {
    return ScaleValue(Point3(1, 1, 1) + (s.s - Point3(1, 1, 1)) * w, s.q);
}
} // namespace

class ListControlBase;

// Undo of a list's own state; the entries' references are recorded by ReplaceReference.
class ListRestore : public RestoreObj {
  public:
    enum Op { kInsert, kErase, kName, kWeight, kActive };
    ListRestore(ListControlBase* l, Op op, int index, MSTR name, float weight, int active);
    void Restore(int isUndo) override;
    void Redo() override;
    MSTR Description() override { return MSTR(L"List"); }

  private:
    ListControlBase* Find() const;
    void Do(bool forward);
    AnimHandle handle_;
    Op op_;
    int index_;
    MSTR name_, otherName_;
    float weight_, otherWeight_ = 1.0f;
    int active_, otherActive_ = 0;
};

class ListControlBase : public CompoundControl, public IListControl {
  public:
    explicit ListControlBase() : CompoundControl(0) {}

    // ---- References: the entries, then the cut buffer. Sub-anims: the entries, then "Available".
    int NumRefs() override { return int(subs_.size()) + 1; }
    RefTargetHandle GetReference(int i) override { return i == int(subs_.size()) ? clip_ : Sub(i); }
    int NumSubs() override { return int(subs_.size()) + 1; }
    Animatable* SubAnim(int i) override { return Sub(i); }
    MSTR SubAnimName(int i, bool) override {
        if (i == int(subs_.size())) return MSTR(L"Available");
        return i >= 0 && i < int(subs_.size()) ? SubName(i) : MSTR();
    }
    int SubNumToRefNum(int subNum) override {
        return subNum >= 0 && subNum < int(subs_.size()) ? subNum : -1;
    }
    MSTR SubName(int i) override {
        if (!names_[size_t(i)].isNull()) return names_[size_t(i)];
        MSTR n;
        if (Control* c = Sub(i)) n = c->ClassName();
        return n;
    }
    BOOL CanAssignController(int subAnim) override {
        return subAnim >= 0 && subAnim <= int(subs_.size()) ? TRUE : FALSE;
    }
    // Assigning to "Available" appends an entry (and makes it active).
    BOOL AssignController(Animatable* control, int subAnim) override {
        auto* c = dynamic_cast<Control*>(control);
        if (!c || c->SuperClassID() != SuperClassID() || subAnim < 0 || subAnim > int(subs_.size()) ||
            c == this || DependsOn(c))
            return FALSE;
        if (subAnim < int(subs_.size())) return CompoundControl::AssignController(control, subAnim);
        InsertEntry(subAnim, c, MSTR(), 1.0f);
        SetActive(subAnim);
        return TRUE;
    }
    SClass_ID SubSuperClass(int) override { return SuperClassID(); }

    using CompoundControl::GetInterface;
    void* GetInterface(ULONG id) override {
        if (id == I_LISTCONTROL) return static_cast<IListControl*>(this);
        return CompoundControl::GetInterface(id);
    }

    // ---- IListControl.
    int GetListCount() override { return int(subs_.size()); }
    void SetActive(int index) override {
        index = subs_.empty() ? 0 : std::clamp(index, 0, int(subs_.size()) - 1);
        if (index == active_) return;
        if (theHold.Holding())
            theHold.Put(new ListRestore(this, ListRestore::kActive, 0, MSTR(), 0.0f, active_));
        active_ = index;
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    int GetActive() override { return subs_.empty() ? 0 : std::clamp(active_, 0, int(subs_.size()) - 1); }
    void DeleteItem(int index) override {
        if (GetLocked() || index < 0 || index >= int(subs_.size())) return;
        EraseEntry(index);
    }
    void CutItem(int index) override {
        if (GetLocked() || index < 0 || index >= int(subs_.size())) return;
        ReplaceReference(int(subs_.size()), Sub(index));
        EraseEntry(index);
    }
    void PasteItem(int index) override {
        if (GetLocked() || !clip_) return;
        Control* c = clip_;
        index = std::clamp(index, 0, int(subs_.size()));
        InsertEntry(index, c, MSTR(), 1.0f);
        ReplaceReference(int(subs_.size()), nullptr);
    }
    void SetName(int index, MSTR name) override {
        if (index < 0 || index >= int(subs_.size())) return;
        if (theHold.Holding())
            theHold.Put(new ListRestore(this, ListRestore::kName, index, names_[size_t(index)], 0.0f, 0));
        names_[size_t(index)] = name;
        NotifyDependents(FOREVER, PART_ALL, REFMSG_SUBANIM_STRUCTURE_CHANGED);
    }
    MSTR GetName(int index) override {
        return index >= 0 && index < int(subs_.size()) ? SubName(index) : MSTR();
    }
    Control* GetSubCtrl(int index) override { return Sub(index); }
    float GetSubCtrlWeight(int index, TimeValue) override {
        return index >= 0 && index < int(subs_.size()) ? weights_[size_t(index)] : 0.0f;
    }
    void SetSubCtrlWeight(int index, TimeValue, float weight) override {
        if (index < 0 || index >= int(subs_.size()) || !std::isfinite(weight)) return;
        if (theHold.Holding())
            theHold.Put(
                new ListRestore(this, ListRestore::kWeight, index, MSTR(), weights_[size_t(index)], 0));
        weights_[size_t(index)] = weight;
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }

    IOResult Save(ISave* isave) override {
        CompoundControl::Save(isave);
        ULONG nw = 0;
        const int32_t n = int32_t(subs_.size());
        isave->BeginChunk(LIST_COUNT_CHUNK);
        isave->Write(&n, sizeof(n), &nw);
        isave->EndChunk();
        isave->BeginChunk(LIST_WEIGHTS_CHUNK);
        if (n > 0) isave->Write(weights_.data(), ULONG(sizeof(float) * size_t(n)), &nw);
        isave->EndChunk();
        for (int32_t i = 0; i < n; ++i) {
            isave->BeginChunk(LIST_NAME_CHUNK);
            isave->Write(&i, sizeof(i), &nw);
            isave->WriteWString(names_[size_t(i)].data());
            isave->EndChunk();
        }
        isave->BeginChunk(LIST_ACTIVE_CHUNK);
        const int32_t a = active_;
        isave->Write(&a, sizeof(a), &nw);
        isave->EndChunk();
        return IO_OK;
    }
    IOResult Load(ILoad* iload) override {
        IOResult res = IO_OK;
        ULONG nr = 0;
        while ((res = iload->OpenChunk()) == IO_OK) {
            if (!LoadCompoundChunk(iload, res)) {
                switch (iload->CurChunkID()) {
                case LIST_COUNT_CHUNK: {
                    int32_t n = 0;
                    res = iload->Read(&n, sizeof(n), &nr);
                    if (res == IO_OK && (n < 0 || n > (1 << 20))) res = IO_ERROR;
                    if (res == IO_OK) Resize(n);
                    break;
                }
                case LIST_WEIGHTS_CHUNK:
                    if (iload->CurChunkLength() != sizeof(float) * weights_.size())
                        res = IO_ERROR;
                    else if (!weights_.empty())
                        res = iload->Read(weights_.data(), ULONG(sizeof(float) * weights_.size()), &nr);
                    break;
                case LIST_NAME_CHUNK: {
                    int32_t i = -1;
                    res = iload->Read(&i, sizeof(i), &nr);
                    MSTR name;
                    if (res == IO_OK) res = iload->ReadWString(name);
                    if (res == IO_OK && i >= 0 && i < int(names_.size())) names_[size_t(i)] = name;
                    break;
                }
                case LIST_ACTIVE_CHUNK: {
                    int32_t a = 0;
                    res = iload->Read(&a, sizeof(a), &nr);
                    active_ = a;
                    break;
                }
                default:
                    break;
                }
            }
            iload->CloseChunk();
            if (res != IO_OK) return res;
        }
        return res == IO_END ? IO_OK : res;
    }

  protected:
    friend class ListRestore;
    void SetReference(int i, RefTargetHandle rtarg) override {
        if (i == int(subs_.size()))
            clip_ = dynamic_cast<Control*>(rtarg);
        else
            CompoundControl::SetReference(i, rtarg);
    }
    void Resize(int n) {
        subs_.resize(size_t(n), nullptr);
        names_.resize(size_t(n));
        weights_.resize(size_t(n), 1.0f);
    }
    // Copies the list's own state (not the entries) into `to`, sized alike.
    void CopyListState(ListControlBase* to) const {
        to->Resize(int(subs_.size()));
        to->names_ = names_;
        to->weights_ = weights_;
        to->active_ = active_;
        to->mLocked = mLocked;
    }
    void InsertEntry(int index, Control* c, const MSTR& name, float weight) {
        if (theHold.Holding())
            theHold.Put(new ListRestore(this, ListRestore::kInsert, index, name, weight, 0));
        RawInsert(index, name, weight);
        ReplaceReference(index, c);
        NotifyDependents(FOREVER, PART_ALL, REFMSG_SUBANIM_STRUCTURE_CHANGED);
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    void EraseEntry(int index) {
        ReplaceReference(index, nullptr);
        if (theHold.Holding())
            theHold.Put(new ListRestore(this, ListRestore::kErase, index, names_[size_t(index)],
                                        weights_[size_t(index)], 0));
        RawErase(index);
        NotifyDependents(FOREVER, PART_ALL, REFMSG_SUBANIM_STRUCTURE_CHANGED);
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    // The clip slot moves with the count; entries only come and go while their slot is null.
    void RawInsert(int index, const MSTR& name, float weight) {
        subs_.insert(subs_.begin() + index, nullptr);
        names_.insert(names_.begin() + index, name);
        weights_.insert(weights_.begin() + index, weight);
    }
    bool RawErase(int index) {
        if (index < 0 || index >= int(subs_.size()) || subs_[size_t(index)]) return false;
        subs_.erase(subs_.begin() + index);
        names_.erase(names_.begin() + index);
        weights_.erase(weights_.begin() + index);
        return true;
    }

    std::vector<MSTR> names_;
    std::vector<float> weights_;
    int active_ = 0;
    Control* clip_ = nullptr;
};

ListRestore::ListRestore(ListControlBase* l, Op op, int index, MSTR name, float weight, int active)
    : handle_(Animatable::GetHandleByAnim(l)), op_(op), index_(index), name_(name), weight_(weight),
      active_(active) {}

ListControlBase* ListRestore::Find() const {
    return dynamic_cast<ListControlBase*>(Animatable::GetAnimByHandle(handle_));
}

void ListRestore::Restore(int isUndo) {
    ListControlBase* l = Find();
    if (!l) return;
    if (isUndo) {
        if (op_ == kName && index_ < int(l->names_.size())) otherName_ = l->names_[size_t(index_)];
        if (op_ == kWeight && index_ < int(l->weights_.size())) otherWeight_ = l->weights_[size_t(index_)];
        if (op_ == kActive) otherActive_ = l->active_;
    }
    Do(false);
}

void ListRestore::Redo() { Do(true); }

void ListRestore::Do(bool forward) {
    ListControlBase* l = Find();
    if (!l) return;
    switch (op_) {
    case kInsert:
    case kErase:
        if ((op_ == kInsert) == forward) {
            if (index_ >= 0 && index_ <= int(l->subs_.size())) l->RawInsert(index_, name_, weight_);
        } else {
            l->RawErase(index_);
        }
        l->NotifyDependents(FOREVER, PART_ALL, REFMSG_SUBANIM_STRUCTURE_CHANGED);
        break;
    case kName:
        if (index_ < int(l->names_.size())) l->names_[size_t(index_)] = forward ? otherName_ : name_;
        break;
    case kWeight:
        if (index_ < int(l->weights_.size())) l->weights_[size_t(index_)] = forward ? otherWeight_ : weight_;
        break;
    case kActive:
        l->active_ = forward ? otherActive_ : active_;
        break;
    }
    l->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

// ---------------------------------------------------------------------------------------------

template <class V, const ListInfo& Info> class ListControl : public ListControlBase {
  public:
    explicit ListControl(bool loading = false) { (void)loading; }
    SClass_ID SuperClassID() override { return Info.superClass; }
    Class_ID ClassID() override { return Class_ID(Info.classA, 0); }

    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override {
        if constexpr (std::is_same_v<V, Quat> || std::is_same_v<V, ScaleValue>) {
            if (method == CTRL_RELATIVE) {
                for (size_t i = 0; i < subs_.size(); ++i) {
                    if (!subs_[i]) continue;
                    V v = Zero<V>();
                    subs_[i]->GetValue(t, &v, valid, CTRL_ABSOLUTE);
                    ApplyRelative(Info.superClass, val, Weigh(v, weights_[i]));
                }
                return;
            }
        }
        const V total = Total(t, valid, -1);
        if (method == CTRL_RELATIVE)
            ApplyRelative(Info.superClass, val, total);
        else
            *static_cast<V*>(val) = total;
    }

    // Solves for the active entry's value that makes the whole list answer what is set; an
    // active entry of weight 0, or none, takes nothing.
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override {
        if (!val || GetLocked() || subs_.empty()) return;
        const int a = GetActive();
        Control* act = subs_[size_t(a)];
        const float w = weights_[size_t(a)];
        if (!act || w == 0.0f) return;
        Interval iv = FOREVER;
        if constexpr (std::is_same_v<V, float> || std::is_same_v<V, Point3>) {
            V d = *static_cast<const V*>(val);
            if (method == CTRL_ABSOLUTE) d = d - Total(t, iv, a);
            d = d * (1.0f / w);
            act->SetValue(t, &d, commit, method);
        } else if constexpr (std::is_same_v<V, Quat>) {
            Quat target = method == CTRL_RELATIVE ? CombineRelativeSet(Total(t, iv, -1), val)
                                                  : ReadSetValue(val, static_cast<Quat*>(nullptr));
            // total = after * active^w * before, entry 0 turning last.
            Quat before, after;
            for (int i = 0; i < int(subs_.size()); ++i) {
                if (i == a || !subs_[size_t(i)]) continue;
                Quat q;
                subs_[size_t(i)]->GetValue(t, &q, iv, CTRL_ABSOLUTE);
                q = Weigh(q, weights_[size_t(i)]);
                if (i < a)
                    before = SafeUnit(q * before);
                else
                    after = SafeUnit(q * after);
            }
            Quat q = QuatPow(SafeUnit(Inverse(after) * target * Inverse(before)), 1.0 / double(w));
            act->SetValue(t, &q, commit, CTRL_ABSOLUTE);
        } else {
            ScaleValue target = ReadSetValue(val, static_cast<ScaleValue*>(nullptr));
            if (method == CTRL_RELATIVE) target = CombineRelativeSet(Total(t, iv, -1), val);
            const ScaleValue others = Total(t, iv, a);
            ScaleValue s;
            for (int c = 0; c < 3; ++c) {
                const float f = others.s[c] != 0.0f ? target.s[c] / others.s[c] : target.s[c];
                s.s[c] = 1.0f + (f - 1.0f) / w;
            }
            act->SetValue(t, &s, commit, CTRL_ABSOLUTE);
        }
    }

    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new ListControl(true);
        CopyListState(c);
        for (int i = 0; i < int(subs_.size()); ++i)
            c->ReplaceReference(i, remap.CloneRef(subs_[size_t(i)]));
        BaseClone(this, c, remap);
        return c;
    }

  private:
    static V Weigh(const V& v, float w) {
        if (w == 1.0f) return v;
        if constexpr (std::is_same_v<V, Quat>)
            return QuatPow(v, w);
        else if constexpr (std::is_same_v<V, ScaleValue>)
            return Weighted(v, w);
        else
            return v * w;
    }
    // The combined value of every entry but `skip`.
    V Total(TimeValue t, Interval& valid, int skip) {
        V total = Zero<V>();
        for (int i = 0; i < int(subs_.size()); ++i) {
            if (i == skip || !subs_[size_t(i)]) continue;
            V v = Zero<V>();
            subs_[size_t(i)]->GetValue(t, &v, valid, CTRL_ABSOLUTE);
            v = Weigh(v, weights_[size_t(i)]);
            if constexpr (std::is_same_v<V, Quat>)
                total = SafeUnit(v * total);
            else if constexpr (std::is_same_v<V, ScaleValue>)
                total = ComposeScale(v, total);
            else
                total = total + v;
        }
        return total;
    }
};

using FloatList = ListControl<float, kFloatList>;
using Point3List = ListControl<Point3, kPoint3List>;
using PositionList = ListControl<Point3, kPosList>;
using RotationList = ListControl<Quat, kRotList>;
using ScaleList = ListControl<ScaleValue, kScaleList>;

void RegisterListClasses(host::ClassDirectory& dir) {
    ClassDesc* f = KeepDesc(new StdClassDesc<FloatList>(L"Float List", L"float_list", kFloatList.superClass,
                                                        Class_ID(kFloatList.classA, 0)));
    ClassDesc* p3 = KeepDesc(new StdClassDesc<Point3List>(
        L"Point3 List", L"point3_list", kPoint3List.superClass, Class_ID(kPoint3List.classA, 0)));
    ClassDesc* p = KeepDesc(new StdClassDesc<PositionList>(
        L"Position List", L"position_list", kPosList.superClass, Class_ID(kPosList.classA, 0)));
    ClassDesc* r = KeepDesc(new StdClassDesc<RotationList>(
        L"Rotation List", L"rotation_list", kRotList.superClass, Class_ID(kRotList.classA, 0)));
    ClassDesc* s = KeepDesc(new StdClassDesc<ScaleList>(L"Scale List", L"scale_list", kScaleList.superClass,
                                                        Class_ID(kScaleList.classA, 0)));
    dir.AddClass(f);
    dir.AddClass(p3);
    dir.AddClass(p);
    dir.AddClass(r);
    dir.AddClass(s);
}

} // namespace host::ctrl
