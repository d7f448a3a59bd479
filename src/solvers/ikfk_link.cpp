#include "solvers/ikfk_link.h"

#include <algorithm>

#include "frame/class_registry.h"
#include "hold.h"
#include "inode.h"
#include "macrorec.h"
#include "maxapi.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "solvers/ikfk_chain.h"
#include "solvers/ikfk_control.h"

namespace kt {
namespace {

RegistryClassDesc* LinkDesc() { return ClassRegistry::Find(CTRL_FLOAT_CLASS_ID, IKFKLINK_CLASS_ID); }

ClassFactoryRegistrar linkRegistrar(CTRL_FLOAT_CLASS_ID, IKFKLINK_CLASS_ID,
                                    [](BOOL loading) -> void* { return new IKFKLink(loading); });

// Keeps the open rollup's list in step with the tables, whoever edits them (rollup, script,
// undo, track view).
class IKFKLinkPBAccessor : public PBAccessor {
public:
    void Set(PB2Value&, ReferenceMaker* owner, ParamID, int, TimeValue) override { Refresh(owner); }
    void TabChanged(tab_changes, Tab<PB2Value>*, ReferenceMaker* owner, ParamID, int, int) override {
        Refresh(owner);
    }

private:
    static void Refresh(ReferenceMaker* owner) {
        auto* link = dynamic_cast<IKFKLink*>(owner);
        if (link && link->rollup) link->rollup->RefreshList();
    }
};

ParamBlockDesc2& LinkBlock() {
    static ParamBlockDesc2* desc = [] {
        static IKFKLinkPBAccessor accessor;
        auto* d = new ParamBlockDesc2(0, L"params", 0, LinkDesc(), 0, p_end);
        d->AddParam(IKFKLink::pb_targets, L"", TYPE_INODE_TAB, 0, 0);
        d->AddParam(IKFKLink::pb_start_times, L"", TYPE_TIMEVALUE_TAB, 0, 0);
        d->AddParam(IKFKLink::pb_key_selection, L"", TYPE_BOOL_TAB, 0, 0);
        for (ParamID id : {IKFKLink::pb_targets, IKFKLink::pb_start_times, IKFKLink::pb_key_selection})
            d->SetAccessor(id, &accessor);
        return d;
    }();
    return *desc;
}
const bool linkBlockReady = (LinkBlock(), true);

FPInterfaceDesc& LinkInterface() {
    static FPInterfaceDesc* desc = [] {
        auto* d = new FPInterfaceDesc(IIKFKLINK_INTERFACE_ID, L"interface", 0, LinkDesc(), FP_MIXIN, p_end);
        d->AppendFunction(IIKFKLink::fnGetNumTargets, L"GetNumTargets", TYPE_INT);
        d->AppendFunction(IIKFKLink::fnGetNode, L"GetNode", TYPE_INODE).AddParam(L"nodeNumber", TYPE_INDEX);
        d->AppendFunction(IIKFKLink::fnGetFrameNo, L"GetFrameNo", TYPE_INT).AddParam(L"targetNumber", TYPE_INDEX);
        {
            FPFunctionDef& f = d->AppendFunction(IIKFKLink::fnSetFrameNo, L"SetFrameNo", TYPE_VOID);
            f.AddParam(L"targetNumber", TYPE_INDEX);
            f.AddParam(L"frameNo", TYPE_INT);
        }
        {
            FPFunctionDef& f = d->AppendFunction(IIKFKLink::fnAddTarget, L"AddTarget", TYPE_bool);
            f.AddParam(L"target", TYPE_INODE);
            f.AddParam(L"frameNo", TYPE_INT);
            f.AddParam(L"keepTM", TYPE_bool);
            f.KeyArgDefault(FPValue(TYPE_bool, true));
        }
        {
            FPFunctionDef& f = d->AppendFunction(IIKFKLink::fnDeleteTarget, L"DeleteTarget", TYPE_bool);
            f.AddParam(L"targetNumber", TYPE_INDEX);
            f.AddParam(L"keepTM", TYPE_bool);
            f.KeyArgDefault(FPValue(TYPE_bool, true));
        }
        {
            FPFunctionDef& f = d->AppendFunction(IIKFKLink::fnAddWorld, L"AddWorld", TYPE_bool);
            f.AddParam(L"frameNo", TYPE_INT);
            f.AddParam(L"keepTM", TYPE_bool);
            f.KeyArgDefault(FPValue(TYPE_bool, true));
        }
        return d;
    }();
    return *desc;
}
const bool linkInterfaceReady = (LinkInterface(), true);

}  // namespace

FPInterfaceDesc* IIKFKLink::GetDesc() { return &LinkInterface(); }

IKFKLink::IKFKLink(BOOL loading) {
    if (!loading) ReplaceReference(kPBlockRef, CreateParameterBlock2(&LinkBlock(), this));
}

MSTR IKFKLink::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_IKFKLINK) : nullptr;
    return MSTR(s ? s : L"IKFK Link");
}

ReferenceTarget* IKFKLink::Clone(RemapDir& remap) {
    auto* c = new IKFKLink(TRUE);
    c->ReplaceReference(kPBlockRef, remap.CloneRef(pblock));
    BaseClone(this, c, remap);
    return c;
}

BaseInterface* IKFKLink::GetInterface(Interface_ID id) {
    if (id == IIKFKLINK_INTERFACE_ID) return static_cast<IIKFKLink*>(this);
    return Control::GetInterface(id);
}

void IKFKLink::GetValue(TimeValue, void* val, Interval&, GetSetMethod method) {
    if (val && method == CTRL_ABSOLUTE) *static_cast<float*>(val) = 0.0f;
}

int IKFKLink::GetNumTargets() { return pblock ? pblock->Count(pb_targets) : 0; }

INode* IKFKLink::GetNode(int nodeNumber) {
    return nodeNumber >= 0 && nodeNumber < GetNumTargets() ? pblock->GetINode(pb_targets, 0, nodeNumber) : nullptr;
}

int IKFKLink::GetFrameNo(int targetNumber) {
    if (!pblock || targetNumber < 0 || targetNumber >= pblock->Count(pb_start_times)) return 0;
    return Start(targetNumber) / GetTicksPerFrame();
}

int IKFKLink::ActiveEntry(TimeValue t) {
    const int n = pblock->Count(pb_start_times);
    int k = 0;
    for (int i = 1; i < n; ++i) {
        if (Start(i) > t) break;
        k = i;
    }
    return k;
}

Matrix3 IKFKLink::TargetTM(int k, TimeValue t, Interval& valid) {
    INode* n = pblock->GetINode(pb_targets, 0, k);
    return n ? n->GetNodeTM(t, &valid) : Matrix3();
}

Matrix3 IKFKLink::Offset(int k, Interval& valid) {
    if (k <= 0) return Matrix3();
    const TimeValue s = Start(k);
    return AccumulatedLinkTM(s, k - 1, valid) * Inverse(TargetTM(k, s, valid));
}

Matrix3 IKFKLink::AccumulatedLinkTM(TimeValue t, int k, Interval& valid) {
    return Offset(k, valid) * TargetTM(k, t, valid);
}

void IKFKLink::LinkValue(TimeValue t, Matrix3& val, Interval& valid) {
    if (!pblock) return;
    const int n = pblock->Count(pb_targets);
    if (n == 0 || n != pblock->Count(pb_start_times)) return;
    const int k = ActiveEntry(t);
    // The offsets are fixed once the switch times are: their own validity does not matter.
    Interval offsetValid = FOREVER;
    Matrix3 offset = Offset(k, offsetValid);
    TimeValue lo = k == 0 ? TIME_NegInfinity : Start(k);
    TimeValue hi = k == n - 1 ? TIME_PosInfinity : Start(k + 1) - 1;
    valid &= Interval(lo, hi);
    val = offset * TargetTM(k, t, valid);
}

IKFKControl* IKFKLink::OwnerControl() {
    for (ReferenceMaker* m : Dependents())
        if (m && m->ClassID() == IKFKCONTROL_CLASS_ID && static_cast<IKFKControl*>(m)->GetLink() == this)
            return static_cast<IKFKControl*>(m);
    return nullptr;
}

INode* IKFKLink::OwnerNode() {
    IKFKControl* c = OwnerControl();
    if (!c) return nullptr;
    for (ReferenceMaker* m : c->Dependents())
        if (m && m->SuperClassID() == BASENODE_CLASS_ID && static_cast<INode*>(m)->GetTMController() == c)
            return static_cast<INode*>(m);
    return nullptr;
}

bool IKFKLink::CanPick(INode* node) {
    INode* owner = OwnerNode();
    if (!node || node == owner) return false;
    return !(owner && owner->DependsOn(node));
}

Matrix3 IKFKLink::ParentAt(TimeValue t) {
    INode* node = OwnerNode();
    INode* parent = node ? node->GetParentNode() : nullptr;
    Matrix3 m = parent && !parent->IsRootNode() ? parent->GetNodeTM(t) : Matrix3();
    Interval iv = FOREVER;
    LinkValue(t, m, iv);
    return m;
}

Matrix3 IKFKLink::WorldAt(TimeValue t) {
    Matrix3 m = ParentAt(t);
    IKFKControl* c = OwnerControl();
    Interval iv = FOREVER;
    if (c && c->GetMain()) c->GetMain()->GetValue(t, &m, iv, CTRL_RELATIVE);
    return m;
}

void IKFKLink::KeepWorld(TimeValue t, const Matrix3& world) {
    IKFKControl* c = OwnerControl();
    if (!c || !c->GetMain()) return;
    SetXFormPacket p(world, ParentAt(t));
    // The place is kept by the controller's value, not by a key.
    SuspendAnimate();
    c->GetMain()->SetValue(t, &p, 1, CTRL_RELATIVE);
    ResumeAnimate();
}

bool IKFKLink::Insert(INode* target, int frameNo, bool keepTM) {
    if (!pblock) return false;
    if (target && !CanPick(target)) return false;
    const TimeValue t = frameNo * GetTicksPerFrame();
    theHold.Begin();
    Matrix3 world = WorldAt(t);
    const int n = pblock->Count(pb_start_times);
    int at = 0;
    while (at < n && Start(at) <= t) ++at;
    pblock->Insert(pb_targets, at, 1, &target);
    int tv = t;
    pblock->Insert(pb_start_times, at, 1, &tv);
    int sel = 0;
    pblock->Insert(pb_key_selection, at, 1, &sel);
    if (keepTM) KeepWorld(t, world);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    theHold.Accept(L"IKFK Change");
    return true;
}


bool IKFKLink::AddTarget(INode* target, int frameNo, bool keepTM) {
    if (!target) return AddWorld(frameNo, keepTM);
    if (!Insert(target, frameNo, keepTM)) return false;
    macroRecorder->MethodCall(this, L"AddTarget", {MacroRecorder::Arg::Anim(target), frameNo},
                              {{L"keepTM", keepTM}});
    macroRecorder->EmitScript();
    return true;
}

bool IKFKLink::AddWorld(int frameNo, bool keepTM) {
    if (!Insert(nullptr, frameNo, keepTM)) return false;
    macroRecorder->MethodCall(this, L"AddWorld", {frameNo}, {{L"keepTM", keepTM}});
    macroRecorder->EmitScript();
    return true;
}

bool IKFKLink::DeleteTarget(int targetNumber, bool keepTM) {
    if (!pblock || targetNumber < 0 || targetNumber >= GetNumTargets()) return false;
    const int n = GetNumTargets();
    // Deleting the first entry while others remain rebases on the second one's start.
    const TimeValue t = targetNumber == 0 && n > 1 ? Start(1) : Start(targetNumber);
    theHold.Begin();
    Matrix3 world = WorldAt(t);
    pblock->Delete(pb_targets, targetNumber, 1);
    pblock->Delete(pb_start_times, targetNumber, 1);
    pblock->Delete(pb_key_selection, targetNumber, 1);
    if (keepTM) KeepWorld(t, world);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    theHold.Accept(L"IKFK Change");
    macroRecorder->MethodCall(this, L"DeleteTarget", {targetNumber + 1}, {{L"keepTM", keepTM}});
    macroRecorder->EmitScript();
    return true;
}

void IKFKLink::SetFrameNo(int targetNumber, int frameNo) {
    if (!pblock || targetNumber < 0 || targetNumber >= GetNumTargets()) return;
    TimeValue t = frameNo * GetTicksPerFrame();
    // Keep the table sorted: an entry stays between its neighbours.
    if (targetNumber > 0) t = std::max(t, Start(targetNumber - 1));
    if (targetNumber + 1 < GetNumTargets()) t = std::min(t, Start(targetNumber + 1));
    theHold.Begin();
    pblock->SetValue(pb_start_times, 0, static_cast<int>(t), targetNumber);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    theHold.Accept(L"IKFK Change");
    macroRecorder->MethodCall(this, L"SetFrameNo", {targetNumber + 1, frameNo});
    macroRecorder->EmitScript();
}

TimeValue IKFKLink::GetKeyTime(int index) {
    return pblock && index >= 0 && index < pblock->Count(pb_start_times) ? Start(index) : 0;
}

BOOL IKFKLink::IsKeySelected(int index) {
    return pblock && index >= 0 && index < pblock->Count(pb_key_selection) ? pblock->GetInt(pb_key_selection, 0, index)
                                                                          : FALSE;
}

void IKFKLink::SelectKeys(Interval range, DWORD flags) {
    if (!pblock) return;
    for (int i = 0, n = pblock->Count(pb_key_selection); i < n; ++i) {
        if (flags & SELKEYS_CLEARKEYS) pblock->SetValue(pb_key_selection, 0, 0, i);
        if (!range.InInterval(Start(i))) continue;
        if (flags & SELKEYS_DESELECT)
            pblock->SetValue(pb_key_selection, 0, 0, i);
        else if (flags & SELKEYS_SELECT)
            pblock->SetValue(pb_key_selection, 0, 1, i);
    }
}

void IKFKLink::MoveKeys(TimeValue delta, DWORD flags) {
    if (!pblock) return;
    const int n = pblock->Count(pb_start_times);
    for (int i = 0; i < n; ++i) {
        if (!(flags & TRACK_DOALL) && !IsKeySelected(i)) continue;
        TimeValue t = Start(i) + delta;
        // The first key may not pass the second; the others stay in order.
        if (i + 1 < n && !((flags & TRACK_DOALL) || IsKeySelected(i + 1))) t = std::min(t, Start(i + 1));
        if (i > 0) t = std::max(t, Start(i - 1));
        pblock->SetValue(pb_start_times, 0, static_cast<int>(t), i);
    }
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

void IKFKLink::DeleteKeys(DWORD flags) {
    if (!pblock) return;
    for (int i = pblock->Count(pb_start_times) - 1; i >= 0; --i)
        if ((flags & TRACK_DOALL) || IsKeySelected(i)) {
            pblock->Delete(pb_targets, i, 1);
            pblock->Delete(pb_start_times, i, 1);
            pblock->Delete(pb_key_selection, i, 1);
        }
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

Interval IKFKLink::GetTimeRange(DWORD flags) {
    (void)flags;
    const int n = pblock ? pblock->Count(pb_start_times) : 0;
    return n == 0 ? NEVER : Interval(Start(0), Start(n - 1));
}

}  // namespace kt
