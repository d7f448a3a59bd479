#include <cmath>
#include <string>
#include <vector>

#include "connection_scene.h"
#include "controllers/float_expose_tm.h"
#include "controllers/float_operation.h"
#include "controllers/float_wave.h"
#include "controllers/step_float.h"
#include "ifnpub.h"
#include "maxscript.h"
#include "scenefile.h"

using namespace kttest::conn;

namespace {

TEST_F(ConnectionTest, FloatOperationComputesEachOperationWithAFirst) {
    INode* n = XYZNode(L"N");
    auto* op = new kt::FloatOperation();
    XYZOf(n)->AssignController(op, 0);
    op->pblock->SetValue(kt::FloatOperation::pb_a, 0, 7.0f);
    op->pblock->SetValue(kt::FloatOperation::pb_b, 0, 4.0f);
    const float expected[] = {11.0f, 3.0f, 28.0f, 1.75f, 5.5f, 2401.0f, 4.0f, 7.0f, -1.0f};
    for (int i = 0; i < 9; ++i) {
        op->pblock->SetValue(kt::FloatOperation::pb_operation, 0, i);
        EXPECT_FLOAT_EQ(Read(op), expected[i]) << i;
    }
    // Negative flips the sign; relative reads add.
    op->pblock->SetValue(kt::FloatOperation::pb_negative, 0, 1);
    EXPECT_FLOAT_EQ(Read(op), 1.0f);
    float v = 10.0f;
    Interval iv = FOREVER;
    op->GetValue(0, &v, iv, CTRL_RELATIVE);
    EXPECT_FLOAT_EQ(v, 11.0f);
    // Guarded division, unguarded power, and nothing for an unknown operation.
    EXPECT_FLOAT_EQ(kt::FloatOperation::Apply(kt::IFloatOperation::Divide, 1.0f, 0.0f), 10000.0f);
    EXPECT_FLOAT_EQ(kt::FloatOperation::Apply(kt::IFloatOperation::Divide, 1.0f, -0.00005f), 10000.0f);
    EXPECT_TRUE(std::isnan(kt::FloatOperation::Apply(kt::IFloatOperation::Power, -2.0f, 0.5f)));
    EXPECT_FLOAT_EQ(kt::FloatOperation::Apply(9, 1.0f, 1.0f), 0.0f);
    EXPECT_FLOAT_EQ(kt::FloatOperation::Apply(kt::IFloatOperation::Subtract, 1.0f, 3.0f), -2.0f);

    // Animated operands: the value follows them and is valid where they are.
    AnimateOn();
    op->pblock->SetValue(kt::FloatOperation::pb_a, 0, 0.0f);
    op->pblock->SetValue(kt::FloatOperation::pb_a, 1600, 10.0f);
    AnimateOff();
    op->pblock->SetValue(kt::FloatOperation::pb_negative, 0, 0);
    op->pblock->SetValue(kt::FloatOperation::pb_operation, 0, 0);
    EXPECT_FLOAT_EQ(Read(op, 1600), 14.0f);
    iv = FOREVER;
    op->GetValue(800, &v, iv, CTRL_ABSOLUTE);
    EXPECT_EQ(iv, Interval(800, 800));

    // The published property by enum name, one undo step per set.
    theHold.Reset();
    ASSERT_TRUE(ExecuteMAXScriptScript(L"$N[3][1][1].controller.interface.operation = #Max", TRUE));
    EXPECT_EQ(op->GetOperation(), kt::IFloatOperation::Max);
    FPValue r;
    ASSERT_TRUE(ExecuteMAXScriptScript(L"$N[3][1][1].controller.interface.operation as string", TRUE, &r));
    EXPECT_EQ(std::wstring(r.s), L"Max");
    op->SetOperation(42);
    EXPECT_EQ(op->GetOperation(), kt::IFloatOperation::Max);
    EXPECT_EQ(theHold.UndoName(), MSTR(L"Float Operation Change"));
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(op->GetOperation(), kt::IFloatOperation::Add);
    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(op->GetOperation(), kt::IFloatOperation::Max);
}

TEST_F(ConnectionTest, FloatWavePlaysOneWaveOverOneWaveLengthOfPhase) {
    auto* w = new kt::FloatWave();
    INode* n = XYZNode(L"N");
    XYZOf(n)->AssignController(w, 0);
    IParamBlock2* pb = w->pblock;
    pb->SetValue(kt::FloatWave::pb_amplitude, 0, 2.0f);
    pb->SetValue(kt::FloatWave::pb_wave_length, 0, 40.0f);
    pb->SetValue(kt::FloatWave::pb_offset, 0, 0.5f);
    // Phase keyed from 0 to one wave length over 40 frames, linearly enough at the samples.
    AnimateOn();
    pb->SetValue(kt::FloatWave::pb_phase, 0, 0.0f);
    pb->SetValue(kt::FloatWave::pb_phase, 6400, 40.0f);
    AnimateOff();
    Control* phase = pb->GetController(kt::FloatWave::pb_phase);
    ASSERT_NE(phase, nullptr);
    auto at = [&](float x) {  // the wave at phase x, read at the time the phase is x
        for (TimeValue t = 0; t <= 6400; ++t)
            if (std::fabs(Read(phase, t) - x) < 0.01f) return Read(w, t);
        return std::nanf("");
    };
    EXPECT_NEAR(at(0.0f), 0.5f, 1e-3);
    EXPECT_NEAR(at(10.0f), 2.5f, 2e-3);
    EXPECT_NEAR(at(30.0f), -1.5f, 2e-3);
    EXPECT_NEAR(Read(w, 6400), 0.5f, 1e-3);  // one full wave

    using W = kt::FloatWave;
    EXPECT_FLOAT_EQ(W::Wave(W::kSaw, 0.25f), -0.5f);
    EXPECT_FLOAT_EQ(W::Wave(W::kSaw, -0.75f), -0.5f);  // wraps below zero like above it
    EXPECT_FLOAT_EQ(W::Wave(W::kTriangle, 0.25f), 0.0f);
    EXPECT_FLOAT_EQ(W::Wave(W::kTriangle, 0.4f), 0.6f);
    EXPECT_FLOAT_EQ(W::Wave(W::kTriangle, 0.6f), 0.6f);
    EXPECT_FLOAT_EQ(W::Wave(W::kTriangle, 0.9f), -0.6f);
    EXPECT_NEAR(W::Wave(W::kArcs, 0.5f), 1.0f, 1e-6);
    EXPECT_NEAR(W::Wave(W::kArcs, 1.0f), -1.0f, 1e-5);
    // Alignment lifts or drops the wave by one unit before the amplitude.
    pb->SetValue(W::pb_type, 0, W::kSaw);
    pb->SetValue(W::pb_alignment, 0, 1);
    pb->SetValue(W::pb_phase, 0, 10.0f);  // a set with animate off moves every key by the difference
    const float aligned = Read(w, 0);
    EXPECT_FLOAT_EQ(aligned, 2.0f * (2.0f * 0.25f - 1.0f + 1.0f) + 0.5f);
    pb->SetValue(W::pb_alignment, 0, 2);
    EXPECT_FLOAT_EQ(Read(w, 0), aligned - 4.0f);
    // A zero wave length is guarded.
    pb->SetValue(W::pb_wave_length, 0, 0.0f);
    EXPECT_TRUE(std::isfinite(Read(w, 0)));
}

TEST_F(ConnectionTest, FloatExposeTMReadsEachKindInItsReferenceSpace) {
    INode* parent = XYZNode(L"P");
    INode* child = XYZNode(L"C");
    parent->AttachChild(child, 0);
    Write(Sub(parent, 0), 10.0f);
    Write(Sub(child, 1), 3.0f);
    Write(Sub(child, 2), 4.0f);
    INode* host = XYZNode(L"H");
    auto* e = new kt::FloatExposeTM();
    XYZOf(host)->AssignController(e, 0);
    IParamBlock2* pb = e->pblock;
    EXPECT_FLOAT_EQ(Read(e), 0.0f);  // no node
    ASSERT_TRUE(pb->SetValue(kt::FloatExposeTM::pb_expose_node, 0, child));
    using E = kt::FloatExposeTM;
    // Position relative to the parent, and in the world.
    EXPECT_FLOAT_EQ(Read(e), 0.0f);
    pb->SetValue(E::pb_axis, 0, 2);
    EXPECT_FLOAT_EQ(Read(e), 4.0f);
    pb->SetValue(E::pb_local_world, 0, 1);
    pb->SetValue(E::pb_axis, 0, 0);
    EXPECT_FLOAT_EQ(Read(e), 10.0f);
    // Distance, weight and offset.
    pb->SetValue(E::pb_local_world, 0, 0);
    pb->SetValue(E::pb_type, 0, E::kDistance);
    pb->SetValue(E::pb_weight, 0, 0.5f);
    pb->SetValue(E::pb_offset, 0, 1.0f);
    EXPECT_FLOAT_EQ(Read(e), 3.5f);
    // Against a reference node instead of the parent.
    pb->SetValue(E::pb_use_parent, 0, 0);
    pb->SetValue(E::pb_local_reference_node, 0, host);
    EXPECT_FLOAT_EQ(Read(e), 0.5f * std::sqrt(100.0f + 9.0f + 16.0f) + 1.0f);

    Matrix3 m = RotateXMatrix(0.3f) * RotateZMatrix(0.5f);
    m.Scale(Point3(2.0f, 3.0f, 4.0f), TRUE);
    EXPECT_NEAR(E::Expose(m, E::kScale, 1, 0), 3.0f, 1e-4);
    EXPECT_NEAR(E::Expose(RotateXMatrix(0.7f), E::kLocalRotation, 0, 0), 0.7f, 1e-5);
    EXPECT_NEAR(E::Expose(RotateYMatrix(-0.4f), E::kLocalRotation, 1, 0), -0.4f, 1e-5);
    EXPECT_NEAR(E::Expose(RotateXMatrix(0.7f), E::kLocalRotation, 2, 0), 0.0f, 1e-5);
    EXPECT_NEAR(E::Expose(RotateZMatrix(0.6f), E::kEuler, 2, 0), 0.6f, 1e-5);

    // The node that carries the controller depends on it: refused, the old node stays.
    EXPECT_FALSE(pb->SetValue(E::pb_expose_node, 0, host));
    EXPECT_EQ(pb->GetINode(E::pb_expose_node), child);
}

TEST_F(ConnectionTest, StepFloatHoldsEachKeyUntilTheNext) {
    auto* s = new kt::StepFloat();
    INode* n = XYZNode(L"N");
    XYZOf(n)->AssignController(s, 0);
    Write(s, 2.0f);
    EXPECT_FLOAT_EQ(Read(s, 500), 2.0f);  // no key: the inner value
    AnimateOn();
    Write(s, 1.0f, 160);
    Write(s, 5.0f, 800);
    Write(s, -3.0f, 1600);
    AnimateOff();
    EXPECT_EQ(s->NumKeys(), 3);
    EXPECT_FLOAT_EQ(Read(s, 0), 1.0f);  // before the first key: the first key
    EXPECT_FLOAT_EQ(Read(s, 799), 1.0f);
    EXPECT_FLOAT_EQ(Read(s, 800), 5.0f);
    EXPECT_FLOAT_EQ(Read(s, 5000), -3.0f);
    Interval iv = FOREVER;
    float v;
    s->GetValue(1000, &v, iv, CTRL_ABSOLUTE);
    EXPECT_EQ(iv, Interval(800, 1599));
    iv = FOREVER;
    s->GetValue(0, &v, iv, CTRL_ABSOLUTE);
    EXPECT_EQ(iv, Interval(TIME_NegInfinity, 799));
    iv = FOREVER;
    s->GetValue(9000, &v, iv, CTRL_ABSOLUTE);
    EXPECT_EQ(iv, Interval(1600, TIME_PosInfinity));
    // Key edits reach the inner track.
    s->MoveKeys(160, TRACK_DOALL);
    EXPECT_EQ(s->GetKeyTime(0), 320);
    EXPECT_FLOAT_EQ(Read(s, 900), 1.0f);
}

TEST_F(ConnectionTest, OperatorsSaveAndLoadEvaluatingAlike) {
    INode* n = XYZNode(L"N");
    INode* other = XYZNode(L"O");
    Write(Sub(other, 0), 6.0f);
    auto* op = new kt::FloatOperation();
    XYZOf(n)->AssignController(op, 0);
    op->pblock->SetValue(kt::FloatOperation::pb_a, 0, 3.0f);
    AnimateOn();
    op->pblock->SetValue(kt::FloatOperation::pb_b, 1600, 8.0f);
    AnimateOff();
    op->pblock->SetValue(kt::FloatOperation::pb_operation, 0, kt::IFloatOperation::Power);
    auto* w = new kt::FloatWave();
    XYZOf(n)->AssignController(w, 1);
    w->pblock->SetValue(kt::FloatWave::pb_type, 0, kt::FloatWave::kTriangle);
    w->pblock->SetValue(kt::FloatWave::pb_phase, 0, 37.0f);
    w->SetORT(ORT_CYCLE, ORT_AFTER);
    auto* e = new kt::FloatExposeTM();
    XYZOf(n)->AssignController(e, 2);
    e->pblock->SetValue(kt::FloatExposeTM::pb_expose_node, 0, other);
    auto* s = new kt::StepFloat();
    XYZOf(other)->AssignController(s, 1);
    AnimateOn();
    Write(s, 4.0f, 320);
    Write(s, 9.0f, 960);
    AnimateOff();
    std::vector<float> before;
    for (TimeValue t = 0; t <= 1600; t += 160)
        for (int i = 0; i < 3; ++i) before.push_back(Read(Sub(n, i), t)), before.push_back(Read(s, t));

    std::vector<uint8_t> bytes;
    std::wstring err;
    ASSERT_TRUE(host::SaveSceneToMemory(bytes, &err)) << err;
    host::ResetScene();
    ASSERT_TRUE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &err)) << err;
    INode* n2 = GetCOREInterface()->GetINodeByName(L"N");
    INode* o2 = GetCOREInterface()->GetINodeByName(L"O");
    ASSERT_TRUE(n2 && o2);
    auto* s2 = dynamic_cast<kt::StepFloat*>(Sub(o2, 1));
    ASSERT_NE(s2, nullptr);
    EXPECT_EQ(Sub(n2, 1)->GetORT(ORT_AFTER), ORT_CYCLE);
    size_t k = 0;
    for (TimeValue t = 0; t <= 1600; t += 160)
        for (int i = 0; i < 3; ++i) {
            EXPECT_FLOAT_EQ(Read(Sub(n2, i), t), before[k++]) << t << " " << i;
            EXPECT_FLOAT_EQ(Read(s2, t), before[k++]) << t;
        }
    // A clone evaluates alike too.
    auto* copy = static_cast<Control*>(CloneRefHierarchy(Sub(n2, 0)));
    EXPECT_FLOAT_EQ(Read(copy, 800), Read(Sub(n2, 0), 800));
    copy->MaybeAutoDelete();
}

TEST_F(ConnectionTest, ScriptsCreateWireAndQueryEveryOperator) {
    XYZNode(L"N");
    INode* o = XYZNode(L"O");
    Write(Sub(o, 2), 2.0f);
    FPValue r;
    ASSERT_TRUE(ExecuteMAXScriptScript(L"w = FloatWave(); w.amplitude = 3; w.type = 1; w.phase = 25\n"
                                       L"$N[3][1][1].controller = w\n"
                                       L"e = FloatExposeTM(); e.expose_node = $O; e.axis = 2; e.weight = 50\n"
                                       L"$N[3][1][2].controller = e\n"
                                       L"s = StepFloat(); $N[3][1][3].controller = s\n"
                                       L"animate on (at time 10 s.value = 4; at time 20 s.value = 8)\n"
                                       L"f = FloatOperation(); f.a = 2; f.b = 10; f.interface.operation = #Power\n"
                                       L"(($N[3][1][1].value) as string) + \"|\" + (($N[3][1][2].value) as string) + "
                                       L"\"|\" + ((at time 15 s.value) as string) + \"|\" + (f.value as string) + "
                                       L"\"|\" + ((classOf e) as string)",
                                       TRUE, &r));
    ASSERT_EQ(r.type, TYPE_STRING);
    EXPECT_EQ(std::wstring(r.s), L"-1.5|1.0|4.0|1024.0|FloatExposeTM");
}

}  // namespace
