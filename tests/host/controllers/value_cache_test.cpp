// The value caches of Euler XYZ, Position XYZ, Scale XYZ and PRS: every way of changing what
// a controller answers is seen by the next read, through undo and redo as well, and a
// controller that may depend on something silent is never answered from a cache.
#include "ctrl_test_util.h"

#include <array>
#include <functional>
#include <random>
#include <string>

#include "euler.h"
#include "scenefile.h"

using namespace ctrltest;

namespace {

// What a controller answers at t: its value (a transform on a fixed parent) and validity.
struct Reading {
    std::array<float, 12> v{};
    Interval valid;
    bool operator==(const Reading& o) const { return v == o.v && valid == o.valid; }
};

std::ostream& operator<<(std::ostream& os, const Reading& r) {
    os << "[" << r.valid.Start() << ", " << r.valid.End() << "] ";
    for (float f : r.v)
        os << f << " ";
    return os;
}

Point3 Abs(const Point3& p) { return Point3(std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)); }

Matrix3 Parent() {
    Matrix3 p = RotateYMatrix(0.6f) * ScaleMatrix(Point3(1.5f, 0.5f, 2.0f));
    p.SetTrans(Point3(3.0f, -2.0f, 1.0f));
    return p;
}

Reading Read(Control* c, TimeValue t) {
    Reading r;
    r.valid = FOREVER;
    switch (c->SuperClassID()) {
    case CTRL_MATRIX3_CLASS_ID: {
        Matrix3 m = Parent();
        c->GetValue(t, &m, r.valid, CTRL_RELATIVE);
        for (int i = 0; i < 4; ++i)
            for (int k = 0; k < 3; ++k)
                r.v[size_t(i * 3 + k)] = m[i][k];
        break;
    }
    case CTRL_ROTATION_CLASS_ID: {
        Quat q;
        c->GetValue(t, &q, r.valid, CTRL_ABSOLUTE);
        r.v = {q.x, q.y, q.z, q.w};
        break;
    }
    case CTRL_SCALE_CLASS_ID: {
        ScaleValue s;
        c->GetValue(t, &s, r.valid, CTRL_ABSOLUTE);
        r.v = {s.s.x, s.s.y, s.s.z, s.q.x, s.q.y, s.q.z, s.q.w};
        break;
    }
    default: {
        Point3 p;
        c->GetValue(t, &p, r.valid, CTRL_ABSOLUTE);
        r.v = {p.x, p.y, p.z};
        break;
    }
    }
    return r;
}

// The same read on a copy made now: a clone computes everything afresh.
Reading Fresh(Control* c, TimeValue t) {
    Holder h;
    auto* copy = h.Hold(static_cast<Control*>(CloneRefHierarchy(c)));
    return Read(copy, t);
}

struct Edit {
    std::string name;
    TimeValue t;
    std::function<void()> apply;
};

// For each edit on a controller made by `make`: read twice at t (the second read may come
// from the cache), edit inside a hold, and expect the next read to differ, to match a fresh
// computation, to come back exactly after undo and to return after redo.
void CheckEdits(const std::function<Control*(Holder&)>& make, const std::vector<Edit>& edits) {
    for (const Edit& e : edits) {
        SCOPED_TRACE(e.name);
        theHold.Reset();
        Holder h;
        Control* c = make(h);
        Read(c, e.t);
        const Reading before = Read(c, e.t);
        theHold.Begin();
        e.apply();
        theHold.Accept(L"Edit");
        const Reading after = Read(c, e.t);
        EXPECT_FALSE(after == before) << after;
        EXPECT_EQ(after, Fresh(c, e.t));
        EXPECT_EQ(Read(c, e.t), after);
        ASSERT_TRUE(theHold.Undo());
        EXPECT_EQ(Read(c, e.t), before);
        ASSERT_TRUE(theHold.Redo());
        EXPECT_EQ(Read(c, e.t), after);
        EXPECT_EQ(Read(c, e.t), Fresh(c, e.t));
    }
}

Quat EulerQuat(float x, float y, float z) {
    const float a[3] = {x, y, z};
    Quat q;
    EulerToQuat(a, q, EULERTYPE_XYZ);
    return q;
}

Control* BezFloat(float v) {
    Control* c = NewDefaultFloatController();
    c->SetValue(0, &v);
    return c;
}

// Euler XYZ: X keyed (0: 0.2, 200: 0.8, 400: 0.1), Y 0.3 and Z -0.5 constant.
Control* MakeEuler(Holder& h, int slot = 0) {
    Control* e = h.Hold(NewDefaultRotationController(), slot);
    Control* x = e->GetXController();
    AddBezFloatKey(x, 0, 0.2f, BEZKEY_AUTO, BEZKEY_AUTO);
    AddBezFloatKey(x, 200, 0.8f, BEZKEY_AUTO, BEZKEY_AUTO);
    AddBezFloatKey(x, 400, 0.1f, BEZKEY_AUTO, BEZKEY_AUTO);
    float y = 0.3f, z = -0.5f;
    e->GetYController()->SetValue(0, &y);
    e->GetZController()->SetValue(0, &z);
    return e;
}

// Edits of an Euler XYZ found by `euler` (the controller itself, or one inside a PRS). Reads
// at 500 lie after X's keys, so the answer holds over [400, +inf) and can be cached; reads
// between keys hold for their instant only.
std::vector<Edit> EulerEdits(const std::function<Control*()>& euler) {
    auto x = [euler] { return euler()->GetXController(); };
    auto y = [euler] { return euler()->GetYController(); };
    auto z = [euler] { return euler()->GetZController(); };
    return {
        {"SetValue of the controller", 500,
         [euler] {
             Quat q = EulerQuat(0.4f, 0.1f, -0.2f);
             euler()->SetValue(500, &q);
         }},
        {"SetValue of a sub-controller", 500,
         [z] {
             float v = -0.9f;
             z()->SetValue(0, &v);
         }},
        {"an animated set keys the sub-controller", 500,
         [y] {
             AnimateOn();
             float v = 1.0f;
             y()->SetValue(450, &v);
             AnimateOff();
         }},
        {"AddNewKey narrows the validity", 500, [euler] { euler()->AddNewKey(450, 0); }},
        {"DeleteKeys", 500, [x] { x()->DeleteKeys(TRACK_DOALL); }},
        {"DeleteKeyAtTime", 500, [x] { x()->DeleteKeyAtTime(400); }},
        {"MoveKeys", 500, [euler] { euler()->MoveKeys(200, TRACK_DOALL); }},
        {"MapKeys scales time", 500,
         [x] {
             struct Twice : TimeMap {
                 TimeValue map(TimeValue t) override { return t * 2; }
                 TimeValue prevmap(TimeValue t) override { return t / 2; }
             } twice;
             x()->MapKeys(&twice, TRACK_DOALL);
         }},
        {"DeleteTime", 500, [x] { x()->DeleteTime(Interval(100, 300), 0); }},
        {"CopyKeysFromTime", 500, [x] { x()->CopyKeysFromTime(0, 400, 0); }},
        {"SetKey changes a key's value", 500,
         [x] {
             IBezFloatKey k;
             GetKeyControlInterface(x())->GetKey(2, &k);
             k.val = -1.0f;
             GetKeyControlInterface(x())->SetKey(2, &k);
         }},
        {"SetKey changes a tangent", 300,
         [x] {
             IBezFloatKey k;
             GetKeyControlInterface(x())->GetKey(1, &k);
             k.flags = SetOutTanType(k.flags, BEZKEY_STEP);
             GetKeyControlInterface(x())->SetKey(1, &k);
         }},
        {"SetNumKeys", 500, [x] { GetKeyControlInterface(x())->SetNumKeys(2); }},
        {"out-of-range type", 500, [x] { x()->SetORT(ORT_CYCLE, ORT_AFTER); }},
        {"Copy from another controller", 500,
         [x] {
             Holder keep;
             x()->Copy(keep.Hold(BezFloat(0.7f)));
         }},
        {"an ease curve on a sub-controller", 500,
         [x] {
             Control* ease = BezFloat(250.0f);
             x()->AppendEaseCurve(ease);
         }},
        {"a multiplier curve on a sub-controller", 500,
         [z] {
             Control* mult = BezFloat(2.0f);
             z()->AppendMultCurve(mult);
         }},
        {"AssignController replaces a sub-controller", 500,
         [euler] { euler()->AssignController(BezFloat(1.2f), 2); }},
        {"ReplaceReference replaces a sub-controller", 500,
         [euler] { euler()->ReplaceReference(1, BezFloat(-0.4f)); }},
        {"Euler order", 500, [euler] { GetEulerControlInterface(euler())->SetOrder(EULERTYPE_ZYX); }},
    };
}

class ValueCache : public ControllerTest {};

TEST_F(ValueCache, EulerXYZSeesEveryChangeThroughUndoAndRedo) {
    Control* root = nullptr;
    CheckEdits([&](Holder& h) { return root = MakeEuler(h); }, EulerEdits([&] { return root; }));

    // An interactive set taken back, and a sub-controller that goes away.
    Holder h;
    Control* e = MakeEuler(h);
    const Reading start = Read(e, 500);
    Quat q = EulerQuat(1.0f, 0.0f, 0.0f);
    e->SetValue(500, &q, 0);
    EXPECT_FALSE(Read(e, 500) == start);
    e->RestoreValue(500);
    EXPECT_EQ(Read(e, 500), start);
    e->GetZController()->DeleteMe();
    EXPECT_EQ(e->GetZController(), nullptr);
    EXPECT_FALSE(Read(e, 500) == start);
    EXPECT_EQ(Read(e, 500), Fresh(e, 500));
}

// PRS: Bezier position keyed (0, 300), the Euler XYZ above, Bezier scale constant.
Control* MakePRS(Holder& h) {
    Control* prs = h.Hold(NewDefaultMatrix3Controller());
    Holder tmp;
    prs->SetRotationController(MakeEuler(tmp));
    IKeyControl* kp = GetKeyControlInterface(prs->GetPositionController());
    for (int i = 0; i < 2; ++i) {
        IBezPoint3Key k;
        k.time = i * 300;
        k.val = i ? Point3(4.0f, -2.0f, 7.0f) : Point3(1.0f, 2.0f, 3.0f);
        kp->AppendKey(&k);
    }
    ScaleValue s(Point3(1.0f, 1.5f, 0.5f), Quat(AngAxis(Point3(0.0f, 0.6f, 0.8f), 0.5f)));
    prs->GetScaleController()->SetValue(0, &s);
    return prs;
}

TEST_F(ValueCache, PRSSeesEveryChangeOfItsSubControllersThroughUndoAndRedo) {
    Control* root = nullptr;
    const auto make = [&](Holder& h) { return root = MakePRS(h); };
    // Everything that reaches the Euler XYZ inside reaches the PRS.
    CheckEdits(make, EulerEdits([&] { return root->GetRotationController(); }));

    auto pos = [&] { return root->GetPositionController(); };
    auto scale = [&] { return root->GetScaleController(); };
    CheckEdits(make, {
        {"XFORM_SET", 500,
         [&] {
             Matrix3 want = RotateZMatrix(0.3f) * TransMatrix(Point3(9.0f, 1.0f, 2.0f)) * Parent();
             SetXFormPacket p(want, Parent());
             root->SetValue(500, &p);
         }},
        {"XFORM_MOVE", 500,
         [&] {
             SetXFormPacket p(Point3(1.0f, 0.0f, 0.0f), Parent(), Matrix3());
             root->SetValue(500, &p);
         }},
        {"a position key", 500,
         [&] {
             IBezPoint3Key k;
             GetKeyControlInterface(pos())->GetKey(1, &k);
             k.val.y = 5.0f;
             GetKeyControlInterface(pos())->SetKey(1, &k);
         }},
        {"a position out-of-range type", 500, [&] { pos()->SetORT(ORT_LINEAR, ORT_AFTER); }},
        {"SetValue of the scale", 500,
         [&] {
             ScaleValue s(Point3(2.0f, 1.0f, 1.0f));
             scale()->SetValue(0, &s);
         }},
        {"SetScaleController", 500,
         [&] {
             Control* s = NewDefaultScaleController();
             ScaleValue v(Point3(0.5f, 0.5f, 3.0f));
             s->SetValue(0, &v);
             root->SetScaleController(s);
         }},
        {"SetPositionController to Position XYZ", 500,
         [&] {
             auto* xyz = static_cast<Control*>(CreateInstance(CTRL_POSITION_CLASS_ID, IPOS_CONTROL_CLASS_ID));
             float v = 6.0f;
             xyz->GetYController()->SetValue(0, &v);
             root->SetPositionController(xyz);
         }},
        {"SetRotationController to TCB rotation", 500,
         [&] {
             Control* r = Make(CTRL_ROTATION_CLASS_ID, TCBINTERP_ROTATION_CLASS_ID);
             Quat q(AngAxis(Point3(1.0f, 0.0f, 0.0f), 0.8f));
             r->SetValue(0, &q);
             root->SetRotationController(r);
         }},
    });

    // A file round trip answers what the original answers.
    Holder h(2);
    Control* prs = MakePRS(h);
    const Reading want = Read(prs, 500);
    std::vector<uint8_t> bytes;
    std::wstring err;
    ASSERT_TRUE(host::WriteObjectFile({prs}, host::SceneSettings(), bytes, &err));
    host::LoadedObjectFile loaded;
    ASSERT_TRUE(host::ReadObjectFile(bytes.data(), bytes.size(), loaded, &err));
    ASSERT_EQ(loaded.Roots().size(), 1u);
    auto* back = h.Hold(dynamic_cast<Control*>(loaded.Roots()[0]), 1);
    loaded.Finish();
    EXPECT_EQ(Read(back, 500), want);
    EXPECT_EQ(Read(back, 500), want);
}

TEST_F(ValueCache, PositionAndScaleXYZSeeEveryChange) {
    for (ULONG sc : {CTRL_POSITION_CLASS_ID, CTRL_SCALE_CLASS_ID}) {
        const Class_ID id = sc == CTRL_POSITION_CLASS_ID ? IPOS_CONTROL_CLASS_ID : ISCALE_CONTROL_CLASS_ID;
        SCOPED_TRACE(sc);
        Control* root = nullptr;
        auto make = [&](Holder& h) {
            root = h.Hold(static_cast<Control*>(CreateInstance(sc, id)));
            AddBezFloatKey(root->GetXController(), 0, 1.0f, BEZKEY_AUTO, BEZKEY_AUTO);
            AddBezFloatKey(root->GetXController(), 400, 2.0f, BEZKEY_AUTO, BEZKEY_AUTO);
            return root;
        };
        auto x = [&] { return root->GetXController(); };
        CheckEdits(make, {
            {"SetValue of the controller", 500,
             [&] {
                 if (sc == CTRL_POSITION_CLASS_ID) {
                     Point3 p(1.0f, 2.0f, 3.0f);
                     root->SetValue(500, &p);
                 } else {
                     ScaleValue s(Point3(1.0f, 2.0f, 3.0f));
                     root->SetValue(500, &s);
                 }
             }},
            {"SetValue of a sub-controller", 500,
             [&] {
                 float v = 4.0f;
                 root->GetZController()->SetValue(0, &v);
             }},
            {"a key", 500, [&] { x()->DeleteKeyAtTime(400); }},
            {"ReplaceReference", 500, [&] { root->ReplaceReference(1, BezFloat(-3.0f)); }},
        });
    }
}

// A controller whose value is a variable nobody announces changes of: what a script or an
// expression reading the scene looks like to the host. It claims to hold forever.
float g_silent = 0.0f;

template <SClass_ID SC> class Silent : public Control {
  public:
    SClass_ID SuperClassID() override { return SC; }
    Class_ID ClassID() override { return Class_ID(0x7E57CAC4, SC); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    void GetValue(TimeValue, void* val, Interval&, GetSetMethod method) override {
        if constexpr (SC == CTRL_FLOAT_CLASS_ID) {
            if (method == CTRL_RELATIVE)
                *static_cast<float*>(val) += g_silent;
            else
                *static_cast<float*>(val) = g_silent;
        } else {
            static_cast<Matrix3*>(val)->PreTranslate(Point3(g_silent, 0.0f, 0.0f));
        }
    }
    void SetValue(TimeValue, void*, int, GetSetMethod) override {}
};

TEST_F(ValueCache, ControllersThatMayChangeSilentlyAreNeverCached) {
    // Reads at 500 twice, changes the variable, and expects the change at once.
    auto seesSilentChange = [](Control* c, float from = 0.25f, float to = 0.75f) {
        g_silent = from;
        Read(c, 500);
        const Reading before = Read(c, 500);
        g_silent = to;
        return !(Read(c, 500) == before);
    };
    {
        SCOPED_TRACE("a silent float in Euler XYZ");
        Holder h;
        Control* e = MakeEuler(h);
        e->AssignController(new Silent<CTRL_FLOAT_CLASS_ID>, 1);
        EXPECT_TRUE(seesSilentChange(e));
        Holder hp;
        Control* prs = hp.Hold(NewDefaultMatrix3Controller());
        prs->SetRotationController(e);
        EXPECT_TRUE(seesSilentChange(prs));
    }
    {
        SCOPED_TRACE("a silent ease curve on a keyed sub-controller");
        Holder h;
        Control* e = MakeEuler(h);
        // The ease curve warps time: the variable is the time in ticks.
        e->GetXController()->AppendEaseCurve(new Silent<CTRL_FLOAT_CLASS_ID>);
        EXPECT_TRUE(seesSilentChange(e, 100.0f, 300.0f));
    }
    {
        SCOPED_TRACE("a silent float in Position XYZ");
        Holder h;
        auto* p = h.Hold(static_cast<Control*>(CreateInstance(CTRL_POSITION_CLASS_ID, IPOS_CONTROL_CLASS_ID)));
        p->AssignController(new Silent<CTRL_FLOAT_CLASS_ID>, 0);
        EXPECT_TRUE(seesSilentChange(p));
    }
    {
        SCOPED_TRACE("a silent position in a PRS");
        Holder h;
        Control* prs = MakePRS(h);
        prs->SetPositionController(new Silent<CTRL_POSITION_CLASS_ID>);
        EXPECT_TRUE(seesSilentChange(prs));
    }
}

// Every cell of a and b within 1e-6 of the larger magnitude (at least 1).
::testing::AssertionResult Agree(const Matrix3& a, const Matrix3& b) {
    float scale = 1.0f;
    for (int i = 0; i < 4; ++i)
        for (int k = 0; k < 3; ++k)
            scale = std::max(scale, std::fabs(a[i][k]));
    if (a.Equals(b, 1e-6f * scale)) return ::testing::AssertionSuccess();
    return NearMatrix(a, b, 0.0f);
}

TEST_F(ValueCache, CachedTransformsAgreeWithTheSubControllersApplied) {
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> u(-1.0f, 1.0f);
    auto p3 = [&](float s) { return Point3(u(rng), u(rng), u(rng)) * s; };
    for (int pose = 0; pose < 60; ++pose) {
        SCOPED_TRACE(pose);
        Holder h;
        Control* prs = h.Hold(NewDefaultMatrix3Controller());
        Control *pos = prs->GetPositionController(), *rot = prs->GetRotationController(),
                *scl = prs->GetScaleController();
        GetEulerControlInterface(rot)->SetOrder(pose % 9);
        for (Control* a : {rot->GetXController(), rot->GetYController(), rot->GetZController()}) {
            AddBezFloatKey(a, 0, u(rng) * 3.0f, BEZKEY_AUTO, BEZKEY_AUTO);
            AddBezFloatKey(a, 300, u(rng) * 3.0f, BEZKEY_AUTO, BEZKEY_AUTO);
        }
        Point3 p = p3(10.0f);
        pos->SetValue(0, &p);
        ScaleValue s(Point3(0.5f, 0.5f, 0.5f) + Abs(p3(1.5f)), Quat(AngAxis(p3(1.0f).Normalize(), u(rng) * 3.0f)));
        scl->SetValue(0, &s);
        Matrix3 parent = RotateXMatrix(u(rng)) * ScaleMatrix(Point3(1.0f, 2.0f, 0.5f));
        parent.SetTrans(p3(5.0f));
        for (TimeValue t : {-100, 150, 150, 700}) {
            Matrix3 applied = parent;
            Interval ia = FOREVER;
            for (Control* c : {pos, rot, scl})
                c->GetValue(t, &applied, ia, CTRL_RELATIVE);
            Matrix3 m = parent;
            Interval iv = FOREVER;
            prs->GetValue(t, &m, iv, CTRL_RELATIVE);
            EXPECT_TRUE(Agree(m, applied)) << t;
            EXPECT_EQ(iv, ia) << t;
        }
    }
}

} // namespace
