// Key editing through the Animatable calls and IKeyControl, out-of-range types, validity
// intervals, animate-mode sets, ease and multiplier curves, and undo of every edit.
#include "ctrl_test_util.h"

using namespace ctrltest;

namespace {

class Keys : public ControllerTest {
  protected:
    Holder holder{4};
    // A linear ramp 0 -> 10 over [0, 100]: easy to reason about out of range.
    Control* Ramp(ULONG classA = LININTERP_FLOAT_CLASS_ID, int slot = 0) {
        Control* c = holder.Hold(Make(CTRL_FLOAT_CLASS_ID, classA), slot);
        if (classA == HYBRIDINTERP_FLOAT_CLASS_ID) {
            AddBezFloatKey(c, 0, 0.0f, BEZKEY_LINEAR, BEZKEY_LINEAR);
            AddBezFloatKey(c, 100, 10.0f, BEZKEY_LINEAR, BEZKEY_LINEAR);
        } else {
            SetFloatAnimated(c, 0, 0.0f);
            SetFloatAnimated(c, 100, 10.0f);
        }
        return c;
    }
    static std::vector<TimeValue> Times(Control* c) {
        std::vector<TimeValue> t;
        for (int i = 0; i < c->NumKeys(); ++i)
            t.push_back(c->GetKeyTime(i));
        return t;
    }
};

TEST_F(Keys, OutOfRangeTypesRepeatOverSeveralCycles) {
    Control* c = Ramp();
    c->SetORT(ORT_CYCLE, ORT_AFTER);
    c->SetORT(ORT_CYCLE, ORT_BEFORE);
    EXPECT_NEAR(FloatAt(c, 250), 5.0f, 1e-5f);
    EXPECT_NEAR(FloatAt(c, 1030), 3.0f, 1e-5f);
    EXPECT_NEAR(FloatAt(c, -30), 7.0f, 1e-5f);
    EXPECT_NEAR(FloatAt(c, -270), 3.0f, 1e-5f);

    c->SetORT(ORT_OSCILLATE, ORT_AFTER);
    EXPECT_NEAR(FloatAt(c, 180), 2.0f, 1e-5f); // back down
    EXPECT_NEAR(FloatAt(c, 280), 8.0f, 1e-5f); // up again
    EXPECT_NEAR(FloatAt(c, 390), 1.0f, 1e-5f);

    c->SetORT(ORT_RELATIVE_REPEAT, ORT_AFTER);
    c->SetORT(ORT_RELATIVE_REPEAT, ORT_BEFORE);
    EXPECT_NEAR(FloatAt(c, 250), 25.0f, 1e-4f);
    EXPECT_NEAR(FloatAt(c, 399), 39.9f, 1e-4f);
    EXPECT_NEAR(FloatAt(c, -50), -5.0f, 1e-4f);

    c->SetORT(ORT_LINEAR, ORT_AFTER);
    c->SetORT(ORT_LINEAR, ORT_BEFORE);
    EXPECT_NEAR(FloatAt(c, 300), 30.0f, 1e-4f);
    EXPECT_NEAR(FloatAt(c, -100), -10.0f, 1e-4f);

    // Loop joins the cycles: each cycle is bent so it ends where the next begins.
    Control* hump = holder.Hold(Make(CTRL_FLOAT_CLASS_ID, LININTERP_FLOAT_CLASS_ID), 1);
    SetFloatAnimated(hump, 0, 0.0f);
    SetFloatAnimated(hump, 50, 10.0f);
    SetFloatAnimated(hump, 100, 4.0f);
    hump->SetORT(ORT_LOOP, ORT_AFTER);
    EXPECT_NEAR(FloatAt(hump, 150), 10.0f - 2.0f, 1e-4f); // v(50) + (v(0) - v(100)) * 0.5
    EXPECT_NEAR(FloatAt(hump, 199), 4.12f - 3.96f, 1e-3f);
    EXPECT_NEAR(FloatAt(hump, 200), 0.0f, 1e-5f);

    c->SetORT(ORT_IDENTITY, ORT_AFTER);
    EXPECT_FLOAT_EQ(FloatAt(c, 101), 0.0f);
    c->SetORT(ORT_CONSTANT, ORT_AFTER);
    EXPECT_FLOAT_EQ(FloatAt(c, 500), 10.0f);
    c->SetORT(42, ORT_AFTER); // unknown: ignored
    EXPECT_EQ(c->GetORT(ORT_AFTER), ORT_CONSTANT);
    c->SetORT(ORT_CYCLE, ORT_AFTER);
    c->EnableORTs(FALSE);
    EXPECT_FLOAT_EQ(FloatAt(c, 250), 10.0f);
}

TEST_F(Keys, BezierLinearOutOfRangeFollowsTheEndTangents) {
    Control* c = holder.Hold(Make(CTRL_FLOAT_CLASS_ID, HYBRIDINTERP_FLOAT_CLASS_ID));
    AddBezFloatKey(c, 0, 0.0f, BEZKEY_SLOW, BEZKEY_SLOW);
    AddBezFloatKey(c, 100, 10.0f, BEZKEY_FAST, BEZKEY_FAST); // arrives at 0.2 per tick
    c->SetORT(ORT_LINEAR, ORT_AFTER);
    c->SetORT(ORT_LINEAR, ORT_BEFORE);
    EXPECT_NEAR(FloatAt(c, 150), 20.0f, 1e-4f);
    EXPECT_NEAR(FloatAt(c, -50), 0.0f, 1e-5f); // leaves flat

    Holder h(1);
    Control* tcb = h.Hold(Make(CTRL_FLOAT_CLASS_ID, TCBINTERP_FLOAT_CLASS_ID));
    SetFloatAnimated(tcb, 0, 0.0f);
    SetFloatAnimated(tcb, 100, 10.0f);
    tcb->SetORT(ORT_LINEAR, ORT_AFTER);
    EXPECT_NEAR(FloatAt(tcb, 200), 20.0f, 1e-4f);
}

TEST_F(Keys, RotationRelativeRepeatKeepsTurning) {
    Control* r = holder.Hold(Make(CTRL_ROTATION_CLASS_ID, TCBINTERP_ROTATION_CLASS_ID));
    AnimateOn();
    Quat id, z = Quat(AngAxis(Point3::ZAxis, 1.0f));
    r->SetValue(0, &id);
    r->SetValue(100, &z);
    AnimateOff();
    r->SetORT(ORT_RELATIVE_REPEAT, ORT_AFTER);
    EXPECT_TRUE(SameRotation(QuatAt(r, 250), Quat(AngAxis(Point3::ZAxis, 2.5f))));
    r->SetORT(ORT_LINEAR, ORT_AFTER);
    EXPECT_TRUE(SameRotation(QuatAt(r, 200), Quat(AngAxis(Point3::ZAxis, 2.0f)), 1e-4f));
    r->SetORT(ORT_CYCLE, ORT_AFTER);
    EXPECT_TRUE(SameRotation(QuatAt(r, 130), Quat(AngAxis(Point3::ZAxis, 0.3f))));
}

TEST_F(Keys, ValidityFollowsTheKeys) {
    Control* c = Ramp();
    EXPECT_EQ(ValidAt(c, 50), Interval(50, 50));
    EXPECT_EQ(ValidAt(c, -20), Interval(TIME_NegInfinity, 0));
    EXPECT_EQ(ValidAt(c, 0), Interval(TIME_NegInfinity, 0));
    EXPECT_EQ(ValidAt(c, 500), Interval(100, TIME_PosInfinity));
    c->SetORT(ORT_CYCLE, ORT_AFTER);
    EXPECT_EQ(ValidAt(c, 500), Interval(500, 500));

    // A constant leaves the interval alone; a caller's narrower interval is only narrowed.
    Control* k = holder.Hold(Make(CTRL_FLOAT_CLASS_ID, HYBRIDINTERP_FLOAT_CLASS_ID), 1);
    EXPECT_EQ(ValidAt(k, 77), FOREVER);
    Interval iv(-40, 10);
    float v;
    c->GetValue(-20, &v, iv);
    EXPECT_EQ(iv, Interval(-40, 0));
    iv = Interval(10, 40);
    c->GetValue(-20, &v, iv);
    EXPECT_TRUE(iv.Empty());
}

TEST_F(Keys, SetValueKeysUnderAnimateAndOtherwiseSetsOrOffsets) {
    Control* c = holder.Hold(Make(CTRL_FLOAT_CLASS_ID, HYBRIDINTERP_FLOAT_CLASS_ID));
    float v = 3.0f;
    c->SetValue(100, &v); // no keys, animate off: the constant
    EXPECT_EQ(c->NumKeys(), 0);
    EXPECT_FLOAT_EQ(FloatAt(c, -1000), 3.0f);

    SetFloatAnimated(c, 100, 5.0f);
    SetFloatAnimated(c, 200, 9.0f);
    SetFloatAnimated(c, 200, 8.0f); // a key at t takes the value
    EXPECT_EQ(Times(c), (std::vector<TimeValue>{100, 200}));
    EXPECT_FLOAT_EQ(FloatAt(c, 200), 8.0f);

    v = 6.0f; // animate off, on a key: that key only
    c->SetValue(100, &v);
    EXPECT_FLOAT_EQ(FloatAt(c, 100), 6.0f);
    EXPECT_FLOAT_EQ(FloatAt(c, 200), 8.0f);

    // Animate off between keys: the whole curve moves by the difference at t.
    const float at150 = FloatAt(c, 150);
    v = at150 + 10.0f;
    c->SetValue(150, &v);
    EXPECT_EQ(c->NumKeys(), 2);
    EXPECT_NEAR(FloatAt(c, 100), 16.0f, 1e-5f);
    EXPECT_NEAR(FloatAt(c, 200), 18.0f, 1e-5f);

    // Relative sets add; new keys take the default tangents.
    v = 1.0f;
    AnimateOn();
    c->SetValue(300, &v, 1, CTRL_RELATIVE);
    AnimateOff();
    EXPECT_NEAR(FloatAt(c, 300), 19.0f, 1e-5f);
    IBezFloatKey k;
    GetKeyControlInterface(c)->GetKey(2, &k);
    EXPECT_EQ(GetInTanType(k.flags), BEZKEY_AUTO);
    SetBezierDefaultTangentType(BEZKEY_LINEAR, BEZKEY_STEP);
    SetFloatAnimated(c, 400, 0.0f);
    GetKeyControlInterface(c)->GetKey(3, &k);
    EXPECT_EQ(GetInTanType(k.flags), BEZKEY_LINEAR);
    EXPECT_EQ(GetOutTanType(k.flags), BEZKEY_STEP);

    // A locked track ignores sets.
    dynamic_cast<ILockedTrack*>(c)->SetLocked(true);
    SetFloatAnimated(c, 500, 1.0f);
    EXPECT_EQ(c->NumKeys(), 4);
}

TEST_F(Keys, AnimatableKeyCallsEditTheTable) {
    Control* c = holder.Hold(Make(CTRL_POSITION_CLASS_ID, HYBRIDINTERP_POSITION_CLASS_ID));
    AnimateOn();
    for (int i = 0; i < 5; ++i) {
        Point3 p(float(i), 0.0f, 0.0f);
        c->SetValue(i * 100, &p);
    }
    AnimateOff();
    EXPECT_TRUE(c->IsKeyAtTime(200, 0));
    EXPECT_EQ(c->GetKeyIndex(300), 3);
    EXPECT_EQ(c->GetTimeRange(TIMERANGE_ALL), Interval(0, 400));
    Tab<TimeValue> tt;
    c->GetKeyTimes(tt, Interval(50, 250), 0);
    EXPECT_EQ(tt.Count(), 2);

    c->SelectKeys(Interval(100, 200), SELKEYS_SELECT);
    EXPECT_EQ(c->NumSelKeys(), 2);
    IBezPoint3Key k;
    GetKeyControlInterface(c)->GetKey(1, &k);
    EXPECT_EQ(k.flags & (IKEY_SELECTED | IKEY_XSEL | IKEY_YSEL | IKEY_ZSEL),
              IKEY_SELECTED | IKEY_XSEL | IKEY_YSEL | IKEY_ZSEL);
    EXPECT_EQ(c->GetTimeRange(TIMERANGE_SELONLY), Interval(100, 200));

    // Moving the selection onto an unselected key replaces it.
    c->MoveKeys(100, TRACK_DOSEL);
    EXPECT_EQ(Times(c), (std::vector<TimeValue>{0, 200, 300, 400}));
    EXPECT_TRUE(Near3(Point3At(c, 300), Point3(2.0f, 0.0f, 0.0f)));
    c->MoveKeys(-50, TRACK_DOSEL | TRACK_SLIDEUNSEL);
    EXPECT_EQ(Times(c), (std::vector<TimeValue>{0, 150, 250, 350}));

    struct Double : TimeMap {
        TimeValue map(TimeValue t) override { return t * 2; }
        TimeValue prevmap(TimeValue t) override { return t / 2; }
    } twice;
    c->MapKeys(&twice, TRACK_DOALL);
    EXPECT_EQ(Times(c), (std::vector<TimeValue>{0, 300, 500, 700}));

    c->DeleteKeyAtTime(500);
    c->DeleteKeyAtTime(123); // nothing there
    EXPECT_EQ(c->NumKeys(), 3);
    c->AddNewKey(150, ADDKEY_SELECT);
    EXPECT_EQ(c->NumKeys(), 4);
    EXPECT_TRUE(c->IsKeySelected(1));
    c->DeleteKeys(TRACK_DOSEL); // the selected ones: 150 and 300
    EXPECT_EQ(Times(c), (std::vector<TimeValue>{0, 700}));
    const Point3 first = Point3At(c, 0);
    c->DeleteKeys(TRACK_DOALL);
    EXPECT_EQ(c->NumKeys(), 0);
    EXPECT_TRUE(Near3(Point3At(c, 999), first)); // constant at the first key's value
}

TEST_F(Keys, BadInputGivesDefinedResults) {
    Control* c = Ramp(HYBRIDINTERP_FLOAT_CLASS_ID);
    IKeyControl* kc = GetKeyControlInterface(c);
    IBezFloatKey k;
    k.val = 123.0f;
    kc->GetKey(-1, &k);
    kc->GetKey(2, &k);
    EXPECT_FLOAT_EQ(k.val, 123.0f); // untouched
    kc->SetKey(7, &k);
    kc->SetKey(0, nullptr);
    EXPECT_EQ(kc->AppendKey(nullptr), -1);
    EXPECT_EQ(c->GetKeyTime(-3), 0);
    EXPECT_FALSE(c->IsKeySelected(99));
    kc->SetNumKeys(-5);
    EXPECT_EQ(kc->GetNumKeys(), 0);

    // Keys sharing a time: SortKeys keeps the one that came last.
    for (float v : {1.0f, 2.0f, 3.0f}) {
        k.time = 50;
        k.val = v;
        k.flags = 0;
        kc->AppendKey(&k);
    }
    k.time = 10;
    k.val = 0.0f;
    kc->AppendKey(&k);
    EXPECT_TRUE(std::isfinite(FloatAt(c, 30))); // unsorted: still a number
    kc->SortKeys();
    EXPECT_EQ(Times(c), (std::vector<TimeValue>{10, 50}));
    EXPECT_FLOAT_EQ(FloatAt(c, 50), 3.0f);

    // Keys at the ends of time do not overflow the arithmetic.
    kc->SetNumKeys(0);
    k.time = TIME_NegInfinity;
    k.val = -1.0f;
    kc->AppendKey(&k);
    k.time = TIME_PosInfinity;
    k.val = 1.0f;
    kc->AppendKey(&k);
    EXPECT_TRUE(std::isfinite(FloatAt(c, 0)));
    c->SetORT(ORT_CYCLE, ORT_AFTER);
    c->MoveKeys(TIME_PosInfinity, TRACK_DOALL);
    EXPECT_TRUE(std::isfinite(FloatAt(c, 12345)));

    // Zero-length quaternions are the identity.
    Holder h(1);
    Control* r = h.Hold(Make(CTRL_ROTATION_CLASS_ID, LININTERP_ROTATION_CLASS_ID));
    Quat zero(0.0f, 0.0f, 0.0f, 0.0f);
    AnimateOn();
    r->SetValue(0, &zero);
    AnimateOff();
    EXPECT_TRUE(SameRotation(QuatAt(r, 0), Quat()));
}

TEST_F(Keys, EaseAndMultiplierCurves) {
    Control* c = Ramp();
    Control* ease = holder.Hold(Make(CTRL_FLOAT_CLASS_ID, LININTERP_FLOAT_CLASS_ID), 1);
    // The ease curve maps 0..100 onto 0..50: the track plays at half speed.
    SetFloatAnimated(ease, 0, 0.0f);
    SetFloatAnimated(ease, 100, 50.0f);
    c->AppendEaseCurve(ease);
    ASSERT_EQ(c->NumEaseCurves(), 1);
    EXPECT_NEAR(FloatAt(c, 80), 4.0f, 1e-5f);
    EXPECT_EQ(ValidAt(c, 80), Interval(80, 80));
    EXPECT_EQ(c->SubAnim(0), ease);
    EXPECT_EQ(c->SubAnimName(0), MSTR(L"Ease Curve"));

    Control* mult = holder.Hold(Make(CTRL_FLOAT_CLASS_ID, LININTERP_FLOAT_CLASS_ID), 2);
    float two = 2.0f;
    mult->SetValue(0, &two);
    c->AppendMultCurve(mult);
    EXPECT_NEAR(FloatAt(c, 80), 8.0f, 1e-5f);
    auto* sc = dynamic_cast<StdControl*>(c);
    ASSERT_NE(sc, nullptr);
    sc->EnableEaseCurve(0, FALSE);
    EXPECT_NEAR(FloatAt(c, 80), 16.0f, 1e-5f);
    sc->EnableEaseCurve(0, TRUE);

    // Undo takes the curves off again; redo puts them back.
    theHold.Begin();
    c->DeleteEaseCurve(0);
    theHold.Accept(L"Remove Ease Curve");
    EXPECT_EQ(c->NumEaseCurves(), 0);
    EXPECT_NEAR(FloatAt(c, 80), 16.0f, 1e-5f);
    theHold.Undo();
    ASSERT_EQ(c->NumEaseCurves(), 1);
    EXPECT_EQ(sc->GetEaseCurve(0), ease);
    EXPECT_NEAR(FloatAt(c, 80), 8.0f, 1e-5f);
    theHold.Redo();
    EXPECT_EQ(c->NumEaseCurves(), 0);

    // Only float controllers, and no cycles.
    c->AppendEaseCurve(holder.Hold(Make(CTRL_POSITION_CLASS_ID, HYBRIDINTERP_POSITION_CLASS_ID), 3));
    c->AppendEaseCurve(c);
    EXPECT_EQ(c->NumEaseCurves(), 0);
}

TEST_F(Keys, UndoAndRedoOfKeyEdits) {
    Control* c = holder.Hold(Make(CTRL_FLOAT_CLASS_ID, HYBRIDINTERP_FLOAT_CLASS_ID));
    theHold.Begin();
    SetFloatAnimated(c, 0, 1.0f);
    SetFloatAnimated(c, 100, 2.0f);
    SetFloatAnimated(c, 200, 3.0f);
    theHold.Accept(L"Set Keys");
    ASSERT_EQ(theHold.NumUndoRecords(), 1);

    theHold.Begin();
    c->MoveKeys(10, TRACK_DOALL);
    IBezFloatKey k;
    GetKeyControlInterface(c)->GetKey(1, &k);
    k.val = 7.0f;
    GetKeyControlInterface(c)->SetKey(1, &k);
    c->SetORT(ORT_CYCLE, ORT_AFTER);
    theHold.Accept(L"Edit");
    EXPECT_EQ(Times(c), (std::vector<TimeValue>{10, 110, 210}));
    EXPECT_FLOAT_EQ(FloatAt(c, 110), 7.0f);

    theHold.Undo();
    EXPECT_EQ(Times(c), (std::vector<TimeValue>{0, 100, 200}));
    EXPECT_FLOAT_EQ(FloatAt(c, 100), 2.0f);
    EXPECT_EQ(c->GetORT(ORT_AFTER), ORT_CONSTANT);
    theHold.Undo();
    EXPECT_EQ(c->NumKeys(), 0);
    EXPECT_FLOAT_EQ(FloatAt(c, 100), 0.0f);

    theHold.Redo();
    EXPECT_EQ(Times(c), (std::vector<TimeValue>{0, 100, 200}));
    theHold.Redo();
    EXPECT_EQ(Times(c), (std::vector<TimeValue>{10, 110, 210}));
    EXPECT_FLOAT_EQ(FloatAt(c, 110), 7.0f);
    EXPECT_EQ(c->GetORT(ORT_AFTER), ORT_CYCLE);

    // Cancel restores at once; the dependents heard about every change.
    const int heard = holder.changes;
    theHold.Begin();
    c->DeleteKeys(TRACK_DOALL);
    theHold.Cancel();
    EXPECT_EQ(c->NumKeys(), 3);
    EXPECT_GT(holder.changes, heard);

    // An interactive drag is taken back by RestoreValue.
    float v = 50.0f;
    c->SetValue(110, &v, 0);
    EXPECT_FLOAT_EQ(FloatAt(c, 110), 50.0f);
    c->RestoreValue(110);
    EXPECT_FLOAT_EQ(FloatAt(c, 110), 7.0f);
}

TEST_F(Keys, EveryKeyframeClassUndoesItsKeys) {
    for (auto [sc, id] : kKeyframeClasses) {
        Control* c = holder.Hold(Make(sc, id));
        ASSERT_NE(c, nullptr);
        theHold.Begin();
        c->AddNewKey(0, 0);
        c->AddNewKey(100, 0);
        theHold.Accept(L"Add Keys");
        EXPECT_EQ(c->NumKeys(), 2) << std::hex << id;
        theHold.Undo();
        EXPECT_EQ(c->NumKeys(), 0) << std::hex << id;
        theHold.Redo();
        EXPECT_EQ(c->NumKeys(), 2) << std::hex << id;
    }
}

} // namespace
