// Interpolation against values worked by hand: Bezier tangent types and handle lengths, TCB
// tension, continuity, bias and ease, linear, and rotations that take the short way.
#include "ctrl_test_util.h"

using namespace ctrltest;

namespace {

class Interpolation : public ControllerTest {
  protected:
    Holder holder{16};
    int next = 1; // slot 0 is for the tests' own use
    Control* Bezier() { return holder.Hold(Make(CTRL_FLOAT_CLASS_ID, HYBRIDINTERP_FLOAT_CLASS_ID), next++); }
    Control* TCB() { return holder.Hold(Make(CTRL_FLOAT_CLASS_ID, TCBINTERP_FLOAT_CLASS_ID), next++); }

    static void AddTCBKey(Control* c, TimeValue t, float v, float tens = 0, float cont = 0, float bias = 0,
                          float easeIn = 0, float easeOut = 0) {
        ITCBFloatKey k;
        k.time = t;
        k.val = v;
        k.tens = tens;
        k.cont = cont;
        k.bias = bias;
        k.easeIn = easeIn;
        k.easeOut = easeOut;
        GetKeyControlInterface(c)->AppendKey(&k);
        GetKeyControlInterface(c)->SortKeys();
    }
};

TEST_F(Interpolation, BezierTangentTypesShapeTheCurveAsWorkedByHand) {
    // Smooth: the end keys aim at their neighbour, the middle key through its neighbours.
    // Segment 0 has handles 0, 10/3, 10, 10: at u = 0.5 (0 + 10 + 30 + 10) / 8.
    Control* c = Bezier();
    AddBezFloatKey(c, 0, 0.0f, BEZKEY_SMOOTH, BEZKEY_SMOOTH);
    AddBezFloatKey(c, 100, 10.0f, BEZKEY_SMOOTH, BEZKEY_SMOOTH);
    AddBezFloatKey(c, 200, 0.0f, BEZKEY_SMOOTH, BEZKEY_SMOOTH);
    EXPECT_NEAR(FloatAt(c, 50), 6.25f, 1e-5f);
    EXPECT_NEAR(FloatAt(c, 25), 2.96875f, 1e-5f);
    EXPECT_NEAR(FloatAt(c, 150), 6.25f, 1e-5f);
    EXPECT_FLOAT_EQ(FloatAt(c, 100), 10.0f);

    // Linear on both sides of every key: straight segments.
    Control* lin = Bezier();
    AddBezFloatKey(lin, 0, 0.0f, BEZKEY_LINEAR, BEZKEY_LINEAR);
    AddBezFloatKey(lin, 100, 10.0f, BEZKEY_LINEAR, BEZKEY_LINEAR);
    AddBezFloatKey(lin, 200, 0.0f, BEZKEY_LINEAR, BEZKEY_LINEAR);
    EXPECT_NEAR(FloatAt(lin, 30), 3.0f, 1e-5f);
    EXPECT_NEAR(FloatAt(lin, 170), 3.0f, 1e-5f);

    // Slow out of the first key, fast into the second: exactly 10 u^2.
    Control* q = Bezier();
    AddBezFloatKey(q, 0, 0.0f, BEZKEY_SLOW, BEZKEY_SLOW);
    AddBezFloatKey(q, 100, 10.0f, BEZKEY_FAST, BEZKEY_FAST);
    EXPECT_NEAR(FloatAt(q, 50), 2.5f, 1e-5f);
    EXPECT_NEAR(FloatAt(q, 20), 0.4f, 1e-5f);
    EXPECT_NEAR(FloatAt(q, 90), 8.1f, 1e-5f);
}

TEST_F(Interpolation, StepHoldsTheEarlierKeyFromEitherSide) {
    Control* c = Bezier();
    AddBezFloatKey(c, 0, 1.0f, BEZKEY_SMOOTH, BEZKEY_STEP);
    AddBezFloatKey(c, 100, 5.0f, BEZKEY_SMOOTH, BEZKEY_SMOOTH);
    AddBezFloatKey(c, 200, 9.0f, BEZKEY_STEP, BEZKEY_SMOOTH);
    EXPECT_FLOAT_EQ(FloatAt(c, 1), 1.0f);
    EXPECT_FLOAT_EQ(FloatAt(c, 99), 1.0f);
    EXPECT_FLOAT_EQ(FloatAt(c, 100), 5.0f);
    EXPECT_FLOAT_EQ(FloatAt(c, 199), 5.0f); // the step-in of the later key holds too
    EXPECT_FLOAT_EQ(FloatAt(c, 200), 9.0f);
}

TEST_F(Interpolation, AutoTangentsAreFlatAtExtremesAndNeverOvershoot) {
    Control* autoC = Bezier();
    Control* smooth = Bezier();
    for (auto [t, v] : {std::pair{0, 0.0f}, {100, 10.0f}, {200, 5.0f}}) {
        AddBezFloatKey(autoC, t, v, BEZKEY_AUTO, BEZKEY_AUTO);
        AddBezFloatKey(smooth, t, v, BEZKEY_SMOOTH, BEZKEY_SMOOTH);
    }
    // Handles 10, 10, 6.667, 5 for auto and 10, 10.833, 6.667, 5 for smooth at u = 0.1.
    EXPECT_NEAR(FloatAt(autoC, 110), 9.905f, 1e-4f);
    EXPECT_NEAR(FloatAt(smooth, 110), 10.1075f, 1e-4f);
    for (TimeValue t = 0; t <= 200; t += 5)
        EXPECT_LE(FloatAt(autoC, t), 10.0f + 1e-5f) << t;

    // A steep neighbour cannot drag the slope past three times the gentle side: the
    // first segment stays inside [0, 1]; handles 0, 1/3, 0, 1 give 0.25 halfway.
    Control* clamp = Bezier();
    for (auto [t, v] : {std::pair{0, 0.0f}, {100, 1.0f}, {200, 100.0f}})
        AddBezFloatKey(clamp, t, v, BEZKEY_AUTO, BEZKEY_AUTO);
    EXPECT_NEAR(FloatAt(clamp, 50), 0.25f, 1e-5f);
    for (TimeValue t = 0; t <= 100; t += 5) {
        EXPECT_GE(FloatAt(clamp, t), -1e-6f);
        EXPECT_LE(FloatAt(clamp, t), 1.0f + 1e-6f);
    }
}

TEST_F(Interpolation, CustomTangentsUseTheKeysSlopesAndHandleLengths) {
    Control* c = Bezier();
    IKeyControl* kc = GetKeyControlInterface(c);
    IBezFloatKey a, b;
    a.time = 0;
    a.val = 0.0f;
    a.outtan = 0.3f;
    a.flags = SetOutTanType(SetInTanType(0, BEZKEY_USER), BEZKEY_USER);
    b.time = 100;
    b.val = 10.0f;
    b.intan = 0.0f;
    b.flags = a.flags;
    kc->AppendKey(&a);
    kc->AppendKey(&b);
    // Handles 0, 10, 10, 10.
    EXPECT_NEAR(FloatAt(c, 50), 8.75f, 1e-5f);

    // Full-length flat handles: the handles move in time, so the curve is solved for time.
    // At parameter 0.25: time 0.4375 of the segment (700 of 1600 ticks), value 1.5625.
    a.outtan = 0.0f;
    a.outLength = 1.0f;
    b.time = 1600;
    b.inLength = 1.0f;
    kc->SetKey(0, &a);
    kc->SetKey(1, &b);
    EXPECT_NEAR(FloatAt(c, 700), 1.5625f, 1e-4f);
    EXPECT_NEAR(FloatAt(c, 800), 5.0f, 1e-4f);

    // Negative and oversized lengths are clamped to [0, 1] when evaluated and kept as stored.
    a.outLength = -1.0f;
    b.inLength = 7.0f;
    kc->SetKey(0, &a);
    kc->SetKey(1, &b);
    const float v = FloatAt(c, 400);
    EXPECT_TRUE(std::isfinite(v));
    EXPECT_GE(v, 0.0f);
    EXPECT_LE(v, 10.0f);
    IBezFloatKey back;
    kc->GetKey(0, &back);
    EXPECT_FLOAT_EQ(back.outLength, -1.0f);
}

TEST_F(Interpolation, GetKeyReportsTheEffectiveTangentsOfComputedTypes) {
    Control* c = Bezier();
    AddBezFloatKey(c, 0, 0.0f, BEZKEY_SMOOTH, BEZKEY_SMOOTH);
    AddBezFloatKey(c, 100, 10.0f, BEZKEY_LINEAR, BEZKEY_SMOOTH);
    AddBezFloatKey(c, 200, 40.0f, BEZKEY_SMOOTH, BEZKEY_SMOOTH);
    IKeyControl* kc = GetKeyControlInterface(c);
    IBezFloatKey k;
    kc->GetKey(1, &k);
    EXPECT_NEAR(k.intan, -0.1f, 1e-6f); // arrives with the slope of the line from key 0
    EXPECT_NEAR(k.outtan, 0.2f, 1e-6f); // smooth: (40 - 0) / 200
    EXPECT_FLOAT_EQ(k.inLength, BEZ_DEFAULT_LENGTH);

    // Turning the key custom with those tangents keeps the curve.
    const float before = FloatAt(c, 140);
    k.flags = SetOutTanType(SetInTanType(k.flags, BEZKEY_USER), BEZKEY_USER);
    kc->SetKey(1, &k);
    EXPECT_NEAR(FloatAt(c, 140), before, 1e-5f);
}

TEST_F(Interpolation, TCBTensionContinuityAndBiasAsWorkedByHand) {
    // Keys 0, 10, 30 at 0, 100, 200; segment 0 at s = 0.5 is
    // 0.5 p0 + 0.125 TS0 + 0.5 p1 - 0.125 TD1 with TS0 = 1.5 * 10 - 0.5 * TD1.
    struct Case {
        float tens, cont, bias, expected;
    } cases[] = {
        {0, 0, 0, 4.0625f}, // Catmull-Rom: TD1 = 15
        {1, 0, 0, 6.875f},  // full tension: TD1 = 0
        {0, 1, 0, 3.125f},  // continuity 1: TD1 = 20
        {0, 0, 1, 5.0f},    // bias 1: TD1 = 10
        {0, -1, 0, 5.0f},   // continuity -1: TD1 = 10
    };
    for (const Case& cs : cases) {
        Control* c = TCB();
        AddTCBKey(c, 0, 0.0f);
        AddTCBKey(c, 100, 10.0f, cs.tens, cs.cont, cs.bias);
        AddTCBKey(c, 200, 30.0f);
        EXPECT_NEAR(FloatAt(c, 50), cs.expected, 1e-4f) << cs.tens << " " << cs.cont << " " << cs.bias;
        EXPECT_FLOAT_EQ(FloatAt(c, 100), 10.0f);
    }

    // Uneven spacing scales the tangents: TS1 = 4/3 * 5, TD2 = -0.5 * TS1.
    Control* c = TCB();
    AddTCBKey(c, 0, 0.0f);
    AddTCBKey(c, 100, 10.0f);
    AddTCBKey(c, 300, 10.0f);
    EXPECT_NEAR(FloatAt(c, 200), 11.25f, 1e-4f);
}

TEST_F(Interpolation, TCBEaseWarpsTimeWithinASegment) {
    Control* c = TCB();
    AddTCBKey(c, 0, 0.0f, 0, 0, 0, 0, 1.0f); // full ease out of the first key
    AddTCBKey(c, 100, 10.0f);
    // The two-key curve is the line 10 s; ease out 1 gives s = u^2.
    EXPECT_NEAR(FloatAt(c, 50), 2.5f, 1e-5f);
    EXPECT_NEAR(FloatAt(c, 100), 10.0f, 1e-5f);

    // Ease both ways, half each: s = 2 u^2 before the middle, then 1 - 2 (1 - u)^2.
    Control* d = TCB();
    AddTCBKey(d, 0, 0.0f, 0, 0, 0, 0, 0.5f);
    AddTCBKey(d, 100, 10.0f, 0, 0, 0, 0.5f, 0);
    EXPECT_NEAR(FloatAt(d, 25), 1.25f, 1e-5f);
    EXPECT_NEAR(FloatAt(d, 75), 8.75f, 1e-5f);
    // Out-of-range parameters are clamped, never NaN.
    Control* e = TCB();
    AddTCBKey(e, 0, 0.0f, 5.0f, -9.0f, 3.0f, -1.0f, 2.0f);
    AddTCBKey(e, 100, 10.0f, -5.0f, 9.0f, -3.0f, 4.0f, -2.0f);
    for (TimeValue t = 0; t <= 100; t += 10)
        EXPECT_TRUE(std::isfinite(FloatAt(e, t)));
}

TEST_F(Interpolation, LinearControllersInterpolateStraight) {
    Control* f = holder.Hold(Make(CTRL_FLOAT_CLASS_ID, LININTERP_FLOAT_CLASS_ID));
    ILinFloatKey k;
    k.time = 0;
    k.val = 2.0f;
    GetKeyControlInterface(f)->AppendKey(&k);
    k.time = 160;
    k.val = 10.0f;
    GetKeyControlInterface(f)->AppendKey(&k);
    EXPECT_NEAR(FloatAt(f, 40), 4.0f, 1e-6f);
    EXPECT_EQ(GetKeyControlInterface(f)->GetKeySize(), int(sizeof(ILinFloatKey)));

    Holder h(1);
    Control* s = h.Hold(Make(CTRL_SCALE_CLASS_ID, LININTERP_SCALE_CLASS_ID));
    ILinScaleKey sk;
    sk.time = 0;
    sk.val = ScaleValue(Point3(1.0f, 1.0f, 1.0f));
    GetKeyControlInterface(s)->AppendKey(&sk);
    sk.time = 100;
    sk.val = ScaleValue(Point3(3.0f, 1.0f, 2.0f));
    GetKeyControlInterface(s)->AppendKey(&sk);
    EXPECT_TRUE(Near3(ScaleAt(s, 50).s, Point3(2.0f, 1.0f, 1.5f)));
}

// Scale axes: a segment whose keys share an axis holds it (a key with the negated quaternion
// is the same axis), a segment between different axes slerps, for every scale class.
template <class Key> void AddScaleKeys(Control* c, const Quat (&axes)[4]) {
    for (int i = 0; i < 4; ++i) {
        Key k;
        k.time = i * 100;
        k.val = ScaleValue(Point3(1.0f + float(i), 2.0f, 1.0f), axes[i]);
        GetKeyControlInterface(c)->AppendKey(&k);
    }
}

TEST_F(Interpolation, ScaleAxesTurnOnlyBetweenKeysThatTurnThem) {
    const Quat a(AngAxis(Point3(0.0f, 0.6f, 0.8f), 0.7f)), b(AngAxis(Point3(1.0f, 0.0f, 0.0f), -1.2f));
    const Quat axes[4] = {a, a, b, -b};
    for (ULONG id : {HYBRIDINTERP_SCALE_CLASS_ID, TCBINTERP_SCALE_CLASS_ID, LININTERP_SCALE_CLASS_ID}) {
        SCOPED_TRACE(id);
        Holder h;
        Control* c = h.Hold(Make(CTRL_SCALE_CLASS_ID, id));
        if (id == HYBRIDINTERP_SCALE_CLASS_ID)
            AddScaleKeys<IBezScaleKey>(c, axes);
        else if (id == TCBINTERP_SCALE_CLASS_ID)
            AddScaleKeys<ITCBScaleKey>(c, axes);
        else
            AddScaleKeys<ILinScaleKey>(c, axes);
        for (TimeValue t : {0, 1, 37, 99, 100})
            EXPECT_TRUE(SameRotation(ScaleAt(c, t).q, a, 1e-6f)) << t;
        for (TimeValue t : {200, 201, 250, 299, 300, 400})
            EXPECT_TRUE(SameRotation(ScaleAt(c, t).q, b, 1e-6f)) << t;
        // Halfway between a and b the axis is halfway (no ease on the TCB keys).
        EXPECT_TRUE(SameRotation(ScaleAt(c, 150).q, Slerp(a, b, 0.5f), 1e-5f));
        EXPECT_FALSE(SameRotation(ScaleAt(c, 150).q, a, 1e-3f));
    }
}

TEST_F(Interpolation, RotationKeysTakeTheShortWay) {
    const Quat z90 = Quat(AngAxis(Point3::ZAxis, HALFPI));
    const Quat z45 = Quat(AngAxis(Point3::ZAxis, HALFPI / 2));

    // Linear: the second key given as -q still turns 45 degrees at the middle, not 135.
    Control* lin = holder.Hold(Make(CTRL_ROTATION_CLASS_ID, LININTERP_ROTATION_CLASS_ID));
    ILinRotKey lk;
    lk.time = 0;
    GetKeyControlInterface(lin)->AppendKey(&lk);
    lk.time = 100;
    lk.val = -z90;
    GetKeyControlInterface(lin)->AppendKey(&lk);
    EXPECT_TRUE(SameRotation(QuatAt(lin, 50), z45));

    // TCB: SetValue of a three-quarter turn keys the quarter turn the other way.
    Holder h(1);
    Control* tcb = h.Hold(Make(CTRL_ROTATION_CLASS_ID, TCBINTERP_ROTATION_CLASS_ID));
    AnimateOn();
    Quat id;
    tcb->SetValue(0, &id);
    Quat z270 = Quat(AngAxis(Point3::ZAxis, 3 * HALFPI));
    tcb->SetValue(100, &z270);
    AnimateOff();
    EXPECT_TRUE(SameRotation(QuatAt(tcb, 50), Quat(AngAxis(Point3::ZAxis, -HALFPI / 2))));
    ITCBRotKey rk;
    GetKeyControlInterface(tcb)->GetKey(1, &rk);
    EXPECT_LE(std::fabs(rk.val.angle), PI + 1e-4f);
    EXPECT_EQ(GetKeyControlInterface(tcb)->GetKeySize(), 44);

    // A key set with more than half a turn relative to the previous one spins that way:
    // 450 degrees about Z is at 225 degrees halfway.
    rk.val = AngAxis(Point3::ZAxis, 5 * HALFPI);
    GetKeyControlInterface(tcb)->SetKey(1, &rk);
    EXPECT_TRUE(SameRotation(QuatAt(tcb, 50), Quat(AngAxis(Point3::ZAxis, 5 * HALFPI / 2))));
    EXPECT_TRUE(SameRotation(QuatAt(tcb, 100), Quat(AngAxis(Point3::ZAxis, HALFPI))));

    // A zero axis is no rotation.
    rk.val = AngAxis(Point3(), 1.0f);
    GetKeyControlInterface(tcb)->SetKey(1, &rk);
    EXPECT_TRUE(SameRotation(QuatAt(tcb, 100), id));
}

TEST_F(Interpolation, TCBRotationThroughThreeKeysPassesEachKey) {
    Control* tcb = holder.Hold(Make(CTRL_ROTATION_CLASS_ID, TCBINTERP_ROTATION_CLASS_ID));
    const Quat qs[] = {Quat(), Quat(AngAxis(Point3::XAxis, 1.0f)),
                       Quat(AngAxis(Point3(0.0f, 1.0f, 1.0f).Normalize(), 2.0f))};
    AnimateOn();
    for (int i = 0; i < 3; ++i) {
        Quat q = qs[i];
        tcb->SetValue(i * 100, &q);
    }
    AnimateOff();
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(SameRotation(QuatAt(tcb, i * 100), qs[i])) << i;
    // Unit length everywhere, and continuous through the middle key.
    for (TimeValue t = 0; t <= 200; t += 7) {
        Quat q = QuatAt(tcb, t);
        EXPECT_NEAR(q % q, 1.0f, 1e-4f);
    }
    EXPECT_TRUE(SameRotation(QuatAt(tcb, 99), QuatAt(tcb, 101), 1e-3f));
}

TEST_F(Interpolation, KeyStructsHaveTheHostSizes) {
    struct Expect {
        SClass_ID sc;
        ULONG id;
        int size;
    } expect[] = {
        {CTRL_FLOAT_CLASS_ID, HYBRIDINTERP_FLOAT_CLASS_ID, 28},
        {CTRL_POSITION_CLASS_ID, HYBRIDINTERP_POSITION_CLASS_ID, 68},
        {CTRL_POINT3_CLASS_ID, HYBRIDINTERP_POINT3_CLASS_ID, 68},
        {CTRL_SCALE_CLASS_ID, HYBRIDINTERP_SCALE_CLASS_ID, 84},
        {CTRL_FLOAT_CLASS_ID, TCBINTERP_FLOAT_CLASS_ID, 32},
        {CTRL_POSITION_CLASS_ID, TCBINTERP_POSITION_CLASS_ID, 40},
        {CTRL_ROTATION_CLASS_ID, TCBINTERP_ROTATION_CLASS_ID, 44},
        {CTRL_SCALE_CLASS_ID, TCBINTERP_SCALE_CLASS_ID, 56},
        {CTRL_POSITION_CLASS_ID, LININTERP_POSITION_CLASS_ID, 20},
        {CTRL_ROTATION_CLASS_ID, LININTERP_ROTATION_CLASS_ID, 24},
    };
    for (const Expect& e : expect) {
        Control* c = holder.Hold(Make(e.sc, e.id));
        ASSERT_NE(c, nullptr) << std::hex << e.id;
        auto* viaControl = static_cast<Control*>(c->GetInterface(I_CONTROL));
        ASSERT_EQ(viaControl, c);
        ASSERT_NE(GetKeyControlInterface(viaControl), nullptr);
        EXPECT_EQ(GetKeyControlInterface(c)->GetKeySize(), e.size) << std::hex << e.id;
    }
    EXPECT_EQ(GetKeyControlInterface(holder.Hold(NewDefaultRotationController())), nullptr);
}

} // namespace
