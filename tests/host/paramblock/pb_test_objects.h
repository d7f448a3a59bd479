// Objects for the parameter block tests: an owner class with a block of every type, a small
// keyed float controller, a point3 controller, accessor and validator probes, and a fixture
// that starts each test from an empty scene and undo stack.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "hold.h"
#include "iosave.h"
#include "inode.h"
#include "iparamb2.h"
#include "maxapi.h"
#include "test_support.h"

namespace pbtest {

// Parameter ids: sparse and out of order on purpose.
enum : ParamID {
    pb_float = 40,
    pb_int = 3,
    pb_rgba = 7,
    pb_point3 = 11,
    pb_bool = 12,
    pb_angle = 13,
    pb_pcnt = 14,
    pb_world = 15,
    pb_string = 16,
    pb_filename = 17,
    pb_time = 18,
    pb_node = 19,
    pb_ref = 20,
    pb_index = 21,
    pb_matrix = 22,
    pb_point2 = 23,
    pb_point4 = 24,
    pb_frgba = 25,
    pb_float_tab = 30,
    pb_node_tab = 31,
    pb_string_tab = 32,
    pb_weak_node = 33,
    pb_blank = 34,
    pb_hidden = 35,
};

// Display names in the owner class's string table.
enum : StringResID { IDS_FLOAT = 101, IDS_WEIGHTS = 102, IDS_RGBA = 103, IDS_BLOCK = 100 };

constexpr Class_ID kOwnerClassID(0x7E570001, 0x2);
constexpr Class_ID kTargetClassID(0x7E570002, 0x3);
constexpr Class_ID kTestFloatClassID(0x7E570003, 0x4);
constexpr Class_ID kTestPoint3ClassID(0x7E570004, 0x5);

// A float controller with step keys: a key holds its value until the next one. Keys are made
// only under animate mode; otherwise a set changes the constant (or the key at t).
class TestFloat : public Control {
public:
    float value = 0.0f;
    std::map<TimeValue, float> keys;
    int sets = 0;

    SClass_ID SuperClassID() override { return CTRL_FLOAT_CLASS_ID; }
    Class_ID ClassID() override { return kTestFloatClassID; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod) override {
        auto* f = static_cast<float*>(val);
        if (keys.empty()) {
            *f = value;
            return;
        }
        auto it = keys.upper_bound(t);
        *f = it == keys.begin() ? it->second : std::prev(it)->second;
        valid &= Interval(t, t);
    }
    void SetValue(TimeValue t, void* val, int, GetSetMethod) override {
        ++sets;
        const float f = *static_cast<float*>(val);
        if (Animating() || keys.count(t)) keys[t] = f;
        else value = f;
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    void Copy(Control* from) override {
        if (auto* o = dynamic_cast<TestFloat*>(from)) {
            value = o->value;
            keys = o->keys;
        }
    }
    BOOL IsAnimated() override { return keys.empty() ? FALSE : TRUE; }
    int NumKeys() override { return static_cast<int>(keys.size()); }
    TimeValue GetKeyTime(int i) override { return std::next(keys.begin(), i)->first; }
    int GetKeyTimes(Tab<TimeValue>& times, Interval range, DWORD) override {
        for (auto& [t, v] : keys)
            if (range.InInterval(t)) times.push_back(t);
        return times.Count();
    }
    IOResult Save(ISave* isave) override {
        isave->BeginChunk(1);
        isave->Write(&value, sizeof(value), nullptr);
        for (auto& [t, v] : keys) {
            isave->Write(&t, sizeof(t), nullptr);
            isave->Write(&v, sizeof(v), nullptr);
        }
        isave->EndChunk();
        return IO_OK;
    }
    IOResult Load(ILoad* iload) override {
        while (iload->OpenChunk() == IO_OK) {
            if (iload->CurChunkID() == 1) {
                iload->Read(&value, sizeof(value), nullptr);
                for (ULONG n = (iload->CurChunkLength() - sizeof(value)) / 8; n > 0; --n) {
                    TimeValue t = 0;
                    float v = 0.0f;
                    iload->Read(&t, sizeof(t), nullptr);
                    iload->Read(&v, sizeof(v), nullptr);
                    keys[t] = v;
                }
            }
            iload->CloseChunk();
        }
        return IO_OK;
    }
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new TestFloat();
        c->value = value;
        c->keys = keys;
        BaseClone(this, c, remap);
        return c;
    }
};

class TestPoint3 : public Control {
public:
    Point3 value;
    SClass_ID SuperClassID() override { return CTRL_POINT3_CLASS_ID; }
    Class_ID ClassID() override { return kTestPoint3ClassID; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    void GetValue(TimeValue, void* val, Interval&, GetSetMethod) override { *static_cast<Point3*>(val) = value; }
    void SetValue(TimeValue, void* val, int, GetSetMethod) override {
        value = *static_cast<Point3*>(val);
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
};

// A plain reference target with a number, so clones can be told apart.
class Target : public ReferenceTarget {
public:
    int tag = 0;
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return kTargetClassID; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new Target();
        c->tag = tag + 1000;
        BaseClone(this, c, remap);
        return c;
    }
};

// Records what the block reports and lets a test change the value it reports.
class ProbeAccessor : public PBAccessor {
public:
    struct TabCall {
        tab_changes code;
        ParamID id;
        int tabIndex, count;
    };
    int gets = 0, sets = 0;
    float getOffset = 0.0f;        // added to float reads
    float setClampHigh = 1e30f;    // float writes above are clamped
    std::vector<TabCall> tabCalls;
    std::vector<ParamID> setIds;
    void Get(PB2Value& v, ReferenceMaker*, ParamID, int, TimeValue, Interval&) override {
        ++gets;
        v.f += getOffset;
    }
    void Set(PB2Value& v, ReferenceMaker*, ParamID id, int, TimeValue) override {
        ++sets;
        setIds.push_back(id);
        if (v.f > setClampHigh) v.f = setClampHigh;
    }
    void TabChanged(tab_changes code, Tab<PB2Value>*, ReferenceMaker*, ParamID id, int tabIndex, int count) override {
        tabCalls.push_back({code, id, tabIndex, count});
    }
};

// Refuses negative floats and targets tagged 13.
class ProbeValidator : public PBValidator {
public:
    int calls = 0;
    BOOL Validate(PB2Value& v) override {
        ++calls;
        if (v.r) return static_cast<Target*>(v.r)->tag != 13;
        return v.f >= 0.0f;
    }
};

ProbeAccessor& Accessor();
ProbeValidator& Validator();

class Owner : public ReferenceTarget {
public:
    IParamBlock2* pb = nullptr;
    std::vector<std::pair<ParamID, int>> changes;  // LastNotifyParamID at each REFMSG_CHANGE of pb

    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return kOwnerClassID; }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override { return i == 0 ? pb : nullptr; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle h, PartID&, RefMessage m, BOOL) override {
        if (m == REFMSG_CHANGE && h == pb && pb) {
            int tab = -2;
            ParamID id = pb->LastNotifyParamID(tab);
            changes.emplace_back(id, tab);
        }
        return REF_SUCCEED;
    }
    int NumSubs() override { return 1; }
    Animatable* SubAnim(int i) override { return i == 0 ? pb : nullptr; }
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* o = new Owner();
        o->ReplaceReference(0, remap.CloneRef(pb));
        BaseClone(this, o, remap);
        return o;
    }

protected:
    void SetReference(int i, RefTargetHandle t) override {
        if (i == 0) pb = dynamic_cast<IParamBlock2*>(t);
    }
};

class OwnerClassDesc : public ClassDesc2 {
public:
    int IsPublic() override { return 0; }
    void* Create(BOOL loading) override {
        auto* o = new Owner();
        if (!loading) MakeAutoParamBlocks(o);
        return static_cast<Animatable*>(o);
    }
    const MCHAR* ClassName() override { return L"PBTestOwner"; }
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return kOwnerClassID; }
    const MCHAR* Category() override { return L"Tests"; }
    const MCHAR* GetRsrcString(INT_PTR id) override {
        switch (id) {
            case IDS_FLOAT: return L"Manual Stretch";
            case IDS_WEIGHTS: return L"Weight";
            case IDS_RGBA: return L"Tint";
            case IDS_BLOCK: return L"Parameters";
            default: return nullptr;
        }
    }
};

OwnerClassDesc& OwnerDesc();
ParamBlockDesc2& AllTypesDesc();

// A new owner with its block built by MakeAutoParamBlocks, kept alive by a holder reference.
Owner* NewOwner();

class PBTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::ResetScene();
        theHold.Reset();
        AnimateOff();
        live_ = Animatable::LiveCount();
    }
    // Subclasses release what they made first; then nothing may be left behind.
    void TearDown() override {
        AnimateOff();
        theHold.Reset();
        host::ResetScene();
        EXPECT_EQ(Animatable::LiveCount(), live_) << "objects leaked";
    }

private:
    long live_ = 0;
};

// A block on a fresh owner, with the probe accessor and validator installed. A test that
// deletes the owner itself sets owner to null.
class OwnerTest : public PBTest {
protected:
    void SetUp() override {
        PBTest::SetUp();
        Accessor() = ProbeAccessor();
        Validator() = ProbeValidator();
        owner = NewOwner();
        pb = owner->pb;
    }
    void TearDown() override {
        if (owner) owner->DeleteMe();
        PBTest::TearDown();
    }
    Owner* owner = nullptr;
    IParamBlock2* pb = nullptr;
};

}  // namespace pbtest
