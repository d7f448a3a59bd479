// Helpers for the controller tests: a reference holder standing in for a node, and makers
// of controllers by class id.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <utility>
#include <vector>

#include "gfloat.h"
#include "hold.h"
#include "iplugin.h"
#include "keyctrl.h"
#include "maxapi.h"
#include "stdctrl.h"

namespace ctrltest {

// Holds controllers the way a node would: while it refers to them they live.
class Holder : public ReferenceMaker {
  public:
    explicit Holder(int n = 1) : refs_(size_t(n), nullptr) {}
    ~Holder() override { DeleteAllRefsFromMe(); }
    SClass_ID SuperClassID() override { return REF_MAKER_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x7E57C0DE, 1); }
    int NumRefs() override { return int(refs_.size()); }
    RefTargetHandle GetReference(int i) override { return refs_[size_t(i)]; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage msg, BOOL) override {
        if (msg == REFMSG_CHANGE) ++changes;
        return REF_SUCCEED;
    }
    template <class T> T* Hold(T* c, int slot = 0) {
        ReplaceReference(slot, c);
        return c;
    }
    int changes = 0;

  protected:
    void SetReference(int i, RefTargetHandle t) override { refs_[size_t(i)] = t; }

  private:
    std::vector<ReferenceTarget*> refs_;
};

// Every keyframe controller class (Bezier, TCB, linear) with its super class.
inline const std::pair<SClass_ID, ULONG> kKeyframeClasses[] = {
    {CTRL_FLOAT_CLASS_ID, HYBRIDINTERP_FLOAT_CLASS_ID},
    {CTRL_POSITION_CLASS_ID, HYBRIDINTERP_POSITION_CLASS_ID},
    {CTRL_POINT3_CLASS_ID, HYBRIDINTERP_POINT3_CLASS_ID},
    {CTRL_SCALE_CLASS_ID, HYBRIDINTERP_SCALE_CLASS_ID},
    {CTRL_FLOAT_CLASS_ID, TCBINTERP_FLOAT_CLASS_ID},
    {CTRL_POSITION_CLASS_ID, TCBINTERP_POSITION_CLASS_ID},
    {CTRL_ROTATION_CLASS_ID, TCBINTERP_ROTATION_CLASS_ID},
    {CTRL_SCALE_CLASS_ID, TCBINTERP_SCALE_CLASS_ID},
    {CTRL_FLOAT_CLASS_ID, LININTERP_FLOAT_CLASS_ID},
    {CTRL_POSITION_CLASS_ID, LININTERP_POSITION_CLASS_ID},
    {CTRL_ROTATION_CLASS_ID, LININTERP_ROTATION_CLASS_ID},
    {CTRL_SCALE_CLASS_ID, LININTERP_SCALE_CLASS_ID},
};

inline Control* Make(SClass_ID sc, Class_ID id) { return static_cast<Control*>(CreateInstance(sc, id)); }
inline Control* Make(SClass_ID sc, ULONG a) { return Make(sc, Class_ID(a, 0)); }

template <class T> T ValueAt(Control* c, TimeValue t) {
    T v{};
    Interval iv = FOREVER;
    c->GetValue(t, &v, iv, CTRL_ABSOLUTE);
    return v;
}
inline float FloatAt(Control* c, TimeValue t) { return ValueAt<float>(c, t); }
inline Point3 Point3At(Control* c, TimeValue t) { return ValueAt<Point3>(c, t); }
inline Quat QuatAt(Control* c, TimeValue t) { return ValueAt<Quat>(c, t); }
inline ScaleValue ScaleAt(Control* c, TimeValue t) { return ValueAt<ScaleValue>(c, t); }
inline Interval ValidAt(Control* c, TimeValue t) {
    Interval iv = FOREVER;
    char buf[64] = {};
    c->GetValue(t, buf, iv, CTRL_ABSOLUTE);
    return iv;
}

// Keys through IKeyControl, sorted afterwards.
inline void AddBezFloatKey(Control* c, TimeValue t, float v, int inType, int outType) {
    IBezFloatKey k;
    k.time = t;
    k.val = v;
    k.flags = SetOutTanType(SetInTanType(0, inType), outType);
    GetKeyControlInterface(c)->AppendKey(&k);
    GetKeyControlInterface(c)->SortKeys();
}

inline void SetFloatAnimated(Control* c, TimeValue t, float v) {
    AnimateOn();
    c->SetValue(t, &v, 1, CTRL_ABSOLUTE);
    AnimateOff();
}

// q and -q are the same rotation.
inline ::testing::AssertionResult SameRotation(const Quat& a, const Quat& b, float eps = 1e-5f) {
    if (std::fabs(std::fabs(a % b) - 1.0f) <= eps) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure()
           << "(" << a.x << ", " << a.y << ", " << a.z << ", " << a.w << ") vs (" << b.x << ", " << b.y
           << ", " << b.z << ", " << b.w << ")";
}
inline ::testing::AssertionResult Near3(const Point3& a, const Point3& b, float eps = 1e-4f) {
    if (a.Equals(b, eps)) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "(" << a.x << ", " << a.y << ", " << a.z << ") vs (" << b.x
                                         << ", " << b.y << ", " << b.z << ")";
}
inline ::testing::AssertionResult NearMatrix(const Matrix3& a, const Matrix3& b, float eps = 1e-4f) {
    if (a.Equals(b, eps)) return ::testing::AssertionSuccess();
    auto r = ::testing::AssertionFailure();
    for (int i = 0; i < 4; ++i)
        r << "\n  (" << a[i].x << ", " << a[i].y << ", " << a[i].z << ") vs (" << b[i].x << ", " << b[i].y
          << ", " << b[i].z << ")";
    return r;
}

// Starts every test with animate mode off, an empty undo stack and the default tangents.
class ControllerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        AnimateOff();
        theHold.Reset();
        SetBezierDefaultTangentType(BEZKEY_AUTO, BEZKEY_AUTO);
    }
    void TearDown() override {
        AnimateOff();
        theHold.Reset();
    }
};

} // namespace ctrltest
