// Small scene pieces for the scene tests: a transform controller that counts its calls,
// a reference holder that logs messages, a helper object, and a fixture that resets the scene.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "control.h"
#include "hold.h"
#include "inode.h"
#include "maxapi.h"
#include "notify.h"
#include "test_support.h"

namespace scenetest {

// A transform controller with a constant local matrix, or one moving along `velocity` per
// tick (valid only at the instant asked). Records its SetValue packets and is undoable.
class TestTM : public Control {
public:
    Matrix3 local;
    Point3 velocity;
    bool animated = false;
    bool handleChangeParents = false;
    int getValueCalls = 0;
    int changeParentsCalls = 0;
    std::vector<SetXFormPacket> packets;

    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x5C3E7E51, 0x1); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }

    Matrix3 LocalAt(TimeValue t) const {
        Matrix3 m = local;
        if (animated) m.Translate(velocity * static_cast<float>(t));
        return m;
    }
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod) override {
        ++getValueCalls;
        auto* m = static_cast<Matrix3*>(val);
        *m = LocalAt(t) * *m;
        if (animated) valid &= Interval(t, t);
    }
    void SetValue(TimeValue t, void* val, int, GetSetMethod) override {
        auto* pk = static_cast<SetXFormPacket*>(val);
        packets.push_back(*pk);
        Matrix3 world = LocalAt(t) * pk->tmParent;
        if (pk->command == XFORM_SET) world = pk->tmAxis;
        else if (pk->command == XFORM_MOVE) world.SetTrans(world.GetTrans() + VectorTransform(pk->tmAxis, pk->p));
        SetLocal(world * Inverse(pk->tmParent));
    }
    BOOL ChangeParents(TimeValue, const Matrix3&, const Matrix3& newP, const Matrix3& tm) override {
        ++changeParentsCalls;
        if (!handleChangeParents) return FALSE;
        SetLocal(tm * Inverse(newP));
        return TRUE;
    }
    void SetLocal(const Matrix3& m);
};

class LocalRestore : public RestoreObj {
public:
    LocalRestore(TestTM* c) : ctrl(c), before(c->local) {}
    void Restore(int) override {
        after = ctrl->local;
        ctrl->local = before;
        ctrl->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    void Redo() override {
        ctrl->local = after;
        ctrl->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }
    TestTM* ctrl;
    Matrix3 before, after;
};

inline void TestTM::SetLocal(const Matrix3& m) {
    if (theHold.Holding()) theHold.Put(new LocalRestore(this));
    local = m;
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
}

// Refers to up to four targets and logs every message it gets.
class Holder : public ReferenceTarget {
public:
    struct Msg {
        RefTargetHandle from;
        PartID part;
        RefMessage msg;
    };
    ReferenceTarget* refs[4] = {};
    std::vector<Msg> log;

    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x5C3E7E51, 0x2); }
    int NumRefs() override { return 4; }
    RefTargetHandle GetReference(int i) override { return refs[i]; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle h, PartID& p, RefMessage m, BOOL) override {
        log.push_back({h, p, m});
        return REF_SUCCEED;
    }
    int Count(RefMessage m, PartID part = 0) const {
        int n = 0;
        for (const Msg& e : log)
            if (e.msg == m && (part == 0 || (e.part & part))) ++n;
        return n;
    }

protected:
    void SetReference(int i, RefTargetHandle t) override { refs[i] = t; }
};

class TestHelper : public HelperObject {
public:
    Class_ID ClassID() override { return Class_ID(0x5C3E7E51, 0x3); }
    MSTR GetObjectName(bool) const override { return MSTR(L"Point"); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
};

// Every test starts and ends with an empty scene; whatever it made must be freed by then.
class SceneTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::ResetScene();
        live_ = Animatable::LiveCount();
    }
    void TearDown() override {
        host::ResetScene();
        EXPECT_EQ(Animatable::LiveCount(), live_) << "objects left alive after the scene was reset";
    }
    Interface13* ip() { return GetCOREInterface13(); }
    // A node named exactly `name` with a TestTM holding `local`.
    INode* MakeNode(const Matrix3& local = Matrix3(), INode* parent = nullptr, const MCHAR* name = L"Node") {
        INode* n = ip()->CreateObjectNode(nullptr, name);
        n->SetName(name);
        auto* c = new TestTM();
        c->local = local;
        n->SetTMController(c);
        if (parent) parent->AttachChild(n, 0);
        return n;
    }
    static TestTM* Ctrl(INode* n) { return static_cast<TestTM*>(n->GetTMController()); }

private:
    long live_ = 0;
};

inline Matrix3 Trans(float x, float y, float z) { return TransMatrix(Point3(x, y, z)); }

inline ::testing::AssertionResult MatrixNear(const Matrix3& a, const Matrix3& b, float eps = 1e-4f) {
    if (a.Equals(b, eps)) return ::testing::AssertionSuccess();
    auto row = [](const Point3& p) {
        return "(" + std::to_string(p.x) + ", " + std::to_string(p.y) + ", " + std::to_string(p.z) + ")";
    };
    std::string s;
    for (int i = 0; i < 4; ++i) s += row(a.GetRow(i)) + " vs " + row(b.GetRow(i)) + "\n";
    return ::testing::AssertionFailure() << "matrices differ:\n" << s;
}

}  // namespace scenetest
