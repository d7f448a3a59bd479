#include <cmath>
#include <string>
#include <vector>

#include "connection_scene.h"
#include "controllers/aim_constraint.h"
#include "controllers/float_connection.h"
#include "controllers/float_expose_tm.h"
#include "icurvctl.h"
#include "ifnpub.h"
#include "maxscript.h"
#include "scenefile.h"

using namespace kttest::conn;
using kt::FloatConnection;

namespace {

// A connection in track `sub` of `on`'s position, reading track `from` of `src`'s position.
FloatConnection* Connect(INode* on, int sub, INode* src, int from) {
    auto* c = new FloatConnection();
    EXPECT_TRUE(XYZOf(on)->AssignController(c, sub));
    EXPECT_EQ(c->AssignTarget(XYZOf(src), from, false), 1);
    return c;
}

bool RunScript(const std::wstring& text, FPValue* result = nullptr) {
    return ExecuteMAXScriptScript(text.c_str(), TRUE, result) != FALSE;
}

TEST_F(ConnectionTest, FloatConnectionRemapsByEachTransformExactly) {
    INode* a = XYZNode(L"A");
    INode* b = XYZNode(L"B");
    Write(Sub(a, 0), 30.0f);
    FloatConnection* c = Connect(b, 1, a, 0);
    IParamBlock2* pb = c->pblock;

    // none: the target's value, and relative reads add it.
    EXPECT_FLOAT_EQ(Read(c), 30.0f);
    float v = 5.0f;
    Interval iv = FOREVER;
    c->GetValue(0, &v, iv, CTRL_RELATIVE);
    EXPECT_FLOAT_EQ(v, 35.0f);

    // offset and weight.
    pb->SetValue(FloatConnection::pb_transform, 0, 1);
    pb->SetValue(FloatConnection::pb_weight, 0, 0.5f);
    pb->SetValue(FloatConnection::pb_offset, 0, -2.0f);
    EXPECT_FLOAT_EQ(Read(c), 13.0f);

    // input range onto output range, with and without clamp.
    pb->SetValue(FloatConnection::pb_transform, 0, 2);
    pb->SetValue(FloatConnection::pb_input_min, 0, 10.0f);
    pb->SetValue(FloatConnection::pb_input_max, 0, 20.0f);
    pb->SetValue(FloatConnection::pb_output_min, 0, 0.0f);
    pb->SetValue(FloatConnection::pb_output_max, 0, 1.0f);
    EXPECT_FLOAT_EQ(Read(c), 2.0f);
    pb->SetValue(FloatConnection::pb_clamp, 0, 1);
    EXPECT_FLOAT_EQ(Read(c), 1.0f);
    // A reversed input range clamps to its smaller and greater end and keeps its sense.
    pb->SetValue(FloatConnection::pb_input_min, 0, 20.0f);
    pb->SetValue(FloatConnection::pb_input_max, 0, 10.0f);
    EXPECT_FLOAT_EQ(Read(c), 0.0f);
    Write(Sub(a, 0), 12.5f);
    EXPECT_FLOAT_EQ(Read(c), 0.75f);
    // An empty input range divides by the guard span and stays finite.
    pb->SetValue(FloatConnection::pb_clamp, 0, 0);
    pb->SetValue(FloatConnection::pb_input_min, 0, 12.0f);
    pb->SetValue(FloatConnection::pb_input_max, 0, 12.0f);
    EXPECT_FLOAT_EQ(Read(c), 0.5f / 0.001f);
    EXPECT_TRUE(std::isfinite(Read(c)));

    // A parameter that becomes animated after reads is read at each time from then on.
    pb->SetValue(FloatConnection::pb_clamp, 0, 0);
    pb->SetValue(FloatConnection::pb_input_min, 0, 10.0f);
    pb->SetValue(FloatConnection::pb_input_max, 0, 20.0f);
    EXPECT_FLOAT_EQ(Read(c, 0), 0.25f);
    AnimateOn();
    pb->SetValue(FloatConnection::pb_output_max, 0, 1.0f);
    pb->SetValue(FloatConnection::pb_output_max, 1600, 3.0f);
    AnimateOff();
    EXPECT_FLOAT_EQ(Read(c, 1600), 0.75f);
    EXPECT_FLOAT_EQ(Read(c, 0), 0.25f);
    // Removing the controller keeps its value at 0 as the constant.
    ASSERT_TRUE(pb->SetController(FloatConnection::pb_output_max, 0, nullptr));
    EXPECT_FLOAT_EQ(Read(c, 1600), 0.25f);
    pb->SetValue(FloatConnection::pb_input_min, 0, 12.0f);
    pb->SetValue(FloatConnection::pb_input_max, 0, 12.0f);

    // The curve: its value at the input, and with clamp the input is held to its points' span.
    pb->SetValue(FloatConnection::pb_transform, 0, 3);
    ICurve* curve = c->CurveCtl()->GetControlCurve(0);
    CurvePoint p0 = curve->GetPoint(0, 0), p1 = curve->GetPoint(0, 1);
    p0.p = Point2(0.0f, 10.0f);
    p1.p = Point2(10.0f, 30.0f);
    curve->SetPoint(0, 1, &p1);
    curve->SetPoint(0, 0, &p0);
    EXPECT_FLOAT_EQ(Read(c), curve->GetValue(0, 12.5f));
    Write(Sub(a, 0), 2.5f);
    EXPECT_FLOAT_EQ(Read(c), 15.0f);
    // No curve: nothing is written.
    c->CurveCtl()->SetNumCurves(0);
    v = -7.0f;
    c->GetValue(0, &v, iv, CTRL_ABSOLUTE);
    EXPECT_FLOAT_EQ(v, -7.0f);
}

TEST_F(ConnectionTest, FloatConnectionTimeOffsetShiftsByWholeTicks) {
    INode* a = XYZNode(L"A");
    INode* b = XYZNode(L"B");
    AnimateOn();
    Write(Sub(a, 0), 0.0f, 0);
    Write(Sub(a, 0), 100.0f, 1000);
    AnimateOff();
    FloatConnection* c = Connect(b, 0, a, 0);
    c->pblock->SetValue(FloatConnection::pb_use_time_offset, 0, 1);
    c->pblock->SetValue(FloatConnection::pb_time_offset, 0, 160.6f);  // rounds to 161 ticks
    for (TimeValue t : {0, 200, 500, 838}) EXPECT_FLOAT_EQ(Read(c, t), Read(Sub(a, 0), t + 161)) << t;
    // What holds at a shifted time holds at t alone.
    Interval iv = FOREVER;
    float v = 0;
    c->GetValue(400, &v, iv, CTRL_ABSOLUTE);
    EXPECT_EQ(iv, Interval(400, 400));
    c->pblock->SetValue(FloatConnection::pb_use_time_offset, 0, 0);
    EXPECT_FLOAT_EQ(Read(c, 500), Read(Sub(a, 0), 500));
}

TEST_F(ConnectionTest, TwoWayWritesThroughTheInverseAndAlongAChainWithoutLooping) {
    INode* a = XYZNode(L"A");
    INode* b = XYZNode(L"B");
    INode* d = XYZNode(L"D");
    FloatConnection* c = Connect(b, 0, a, 0);
    c->pblock->SetValue(FloatConnection::pb_transform, 0, 2);
    c->pblock->SetValue(FloatConnection::pb_output_max, 0, 1.0f);  // 0..100 onto 0..1

    // Off: a set changes nothing.
    Write(c, 0.25f);
    EXPECT_FLOAT_EQ(Read(Sub(a, 0)), 0.0f);
    c->pblock->SetValue(FloatConnection::pb_two_way, 0, 1);
    Write(c, 0.25f);
    EXPECT_FLOAT_EQ(Read(Sub(a, 0)), 25.0f);
    EXPECT_FLOAT_EQ(Read(c), 0.25f);
    // Relative sets are made absolute with the connection's own value first.
    float delta = 0.5f;
    c->SetValue(0, &delta, 1, CTRL_RELATIVE);
    EXPECT_FLOAT_EQ(Read(Sub(a, 0)), 75.0f);

    // offset and weight, with a weight near zero guarded.
    c->pblock->SetValue(FloatConnection::pb_transform, 0, 1);
    c->pblock->SetValue(FloatConnection::pb_weight, 0, 2.0f);
    c->pblock->SetValue(FloatConnection::pb_offset, 0, 1.0f);
    Write(c, 9.0f);
    EXPECT_FLOAT_EQ(Read(Sub(a, 0)), 4.0f);
    c->pblock->SetValue(FloatConnection::pb_weight, 0, 0.0f);
    Write(c, 1.5f);
    EXPECT_FLOAT_EQ(Read(Sub(a, 0)), 0.5f / 0.001f);

    // A curve is inverted by search between its ends.
    c->pblock->SetValue(FloatConnection::pb_transform, 0, 3);
    Write(c, 40.0f);
    EXPECT_NEAR(Read(Sub(a, 0)), 40.0f, 1e-3);

    // A chain: D's track reads B's, which reads A's; a set at the end reaches A once.
    c->pblock->SetValue(FloatConnection::pb_transform, 0, 0);
    FloatConnection* e = Connect(d, 0, b, 0);
    e->pblock->SetValue(FloatConnection::pb_two_way, 0, 1);
    e->pblock->SetValue(FloatConnection::pb_transform, 0, 1);
    e->pblock->SetValue(FloatConnection::pb_offset, 0, 3.0f);
    Write(e, 10.0f);
    EXPECT_FLOAT_EQ(Read(Sub(a, 0)), 7.0f);
    EXPECT_FLOAT_EQ(Read(e), 10.0f);

    // A locked connection takes nothing.
    e->SetLocked(true);
    Write(e, 50.0f);
    EXPECT_FLOAT_EQ(Read(Sub(a, 0)), 7.0f);
}

TEST_F(ConnectionTest, CyclesAreRefusedWithTheirMessageOnEachPath) {
    INode* a = XYZNode(L"A");
    INode* b = XYZNode(L"B");
    INode* d = XYZNode(L"D");
    FloatConnection* ab = Connect(b, 0, a, 0);  // B.x reads A.x
    FloatConnection* bd = Connect(d, 0, b, 1);  // D.x reads B.y

    // Two connections on one another: the second assignment is the cycle.
    INode* p = XYZNode(L"P");
    INode* q = XYZNode(L"Q");
    auto* onP = new FloatConnection();
    XYZOf(p)->AssignController(onP, 0);
    EXPECT_EQ(onP->AssignTarget(ab, 0, false), 0);  // its block is no float track
    ASSERT_EQ(onP->AssignTarget(XYZOf(q), 0, false), 1);
    auto* onQ = new FloatConnection();
    XYZOf(q)->AssignController(onQ, 1);
    EXPECT_EQ(onQ->AssignTarget(XYZOf(p), 1, false), -1);
    EXPECT_EQ(onQ->targetOwner, nullptr);

    // A.y reading D: D depends on B, B on A.
    auto* back = new FloatConnection();
    XYZOf(a)->AssignController(back, 1);
    host::ScriptedPrompts prompts;
    host::PromptProvider* oldPrompts = host::SetPromptProvider(&prompts);
    host::ScriptedTrackPicks picks;
    host::TrackPickProvider* oldPicks = host::SetTrackPickProvider(&picks);

    picks.Push(XYZOf(d), 2);
    EXPECT_FALSE(back->PickTarget());
    ASSERT_EQ(prompts.AskedPrompts().size(), 1u);
    EXPECT_EQ(prompts.AskedPrompts()[0].text, L"Circular Dependency");
    EXPECT_EQ(prompts.AskedPrompts()[0].title, L"\"Can't Assign Controller\"");
    EXPECT_EQ(back->targetOwner, nullptr);
    // A connection on itself is a cycle too, and the filter never offers its own track.
    EXPECT_EQ(ab->AssignTarget(XYZOf(b), 2, false), -1);
    EXPECT_EQ(ab->targetOwner, XYZOf(a));

    // The filter never offers the connection's own track.
    picks.Push(XYZOf(a), 1);
    EXPECT_FALSE(back->PickTarget());
    EXPECT_EQ(picks.FilterVerdicts().back(), false);

    // The dialog path assigns what is not a cycle, as one undo step.
    INode* e = XYZNode(L"E");
    Write(Sub(e, 2), 4.0f);
    picks.Push(XYZOf(e), 2);
    EXPECT_TRUE(back->PickTarget());
    EXPECT_EQ(prompts.AskedPrompts().size(), 1u);
    EXPECT_FLOAT_EQ(Read(back), 4.0f);
    EXPECT_EQ(theHold.UndoName(), MSTR(L"Float Connection Change"));
    host::SetPromptProvider(oldPrompts);
    host::SetTrackPickProvider(oldPicks);

    // The script path: a runtime error with the text and the value.
    ASSERT_TRUE(RunScript(L"c = $A[3][1][2].controller; c.SetTarget $E[3][1][1]"));
    host::ListenerCapture out;
    EXPECT_FALSE(ExecuteMAXScriptScript(L"c.SetTarget $D[3][1][3]", FALSE));
    EXPECT_NE(out.Text().find("-- Runtime error: AddTarget - setting reference would create circular dependency: "
                              "SubAnim:Z_Position"),
              std::string::npos)
        << out.Text();
    FPValue caught;
    ASSERT_TRUE(RunScript(L"try (c.SetTarget $D[3][1][3]) catch (getCurrentException())", &caught));
    ASSERT_EQ(caught.type, TYPE_STRING);
    EXPECT_NE(std::wstring(caught.s).find(L"AddTarget - setting reference would create circular dependency: "),
              std::wstring::npos)
        << caught.s;
    EXPECT_EQ(back->targetOwner, XYZOf(e));
    EXPECT_EQ(back->TargetIndex(), 0);
    (void)bd;
}

TEST_F(ConnectionTest, ANodeCannotAimAtWhatAChainOfConnectionsBuildsFromItself) {
    // A aims at T; T.x will read H.x, H.x reads E.x, and E.x exposes A's own transform.
    INode* a = XYZNode(L"A");
    auto* aim = new kt::AimConstraint();
    ASSERT_TRUE(a->GetTMController()->SetRotationController(aim));
    INode* t = XYZNode(L"T");
    INode* h = XYZNode(L"H");
    INode* e = XYZNode(L"E");
    ASSERT_TRUE(aim->pblock->SetValue(kt::AimConstraint::ac_target, 0, t));
    auto* expose = new kt::FloatExposeTM();
    ASSERT_TRUE(XYZOf(e)->AssignController(expose, 0));
    ASSERT_TRUE(expose->pblock->SetValue(kt::FloatExposeTM::pb_expose_node, 0, a));
    Connect(h, 0, e, 0);
    auto* onT = new FloatConnection();
    ASSERT_TRUE(XYZOf(t)->AssignController(onT, 0));

    host::ScriptedPrompts prompts;
    host::PromptProvider* oldPrompts = host::SetPromptProvider(&prompts);
    host::ScriptedTrackPicks picks;
    host::TrackPickProvider* oldPicks = host::SetTrackPickProvider(&picks);
    picks.Push(XYZOf(h), 0);
    EXPECT_FALSE(onT->PickTarget());
    ASSERT_EQ(prompts.AskedPrompts().size(), 1u);
    EXPECT_EQ(prompts.AskedPrompts()[0].text, L"Circular Dependency");
    EXPECT_EQ(onT->targetOwner, nullptr);
    host::SetPromptProvider(oldPrompts);
    host::SetTrackPickProvider(oldPicks);

    FPValue caught;
    ASSERT_TRUE(RunScript(L"try ($T[3][1][1].controller.SetTarget $H[3][1][1]) catch (getCurrentException())",
                          &caught));
    ASSERT_EQ(caught.type, TYPE_STRING);
    EXPECT_NE(std::wstring(caught.s).find(L"AddTarget - setting reference would create circular dependency: "),
              std::wstring::npos)
        << caught.s;
    EXPECT_EQ(onT->targetOwner, nullptr);

    // The aim is the link that closes the loop: without it the same chain is wired, and
    // then the aim may not take T back.
    ASSERT_TRUE(aim->pblock->SetValue(kt::AimConstraint::ac_target, 0, static_cast<INode*>(nullptr)));
    EXPECT_EQ(onT->AssignTarget(XYZOf(h), 0, false), 1);
    EXPECT_FALSE(aim->pblock->SetValue(kt::AimConstraint::ac_target, 0, t));
    EXPECT_EQ(aim->pblock->GetINode(kt::AimConstraint::ac_target), nullptr);
}

TEST_F(ConnectionTest, TargetAssignmentUndoesAndRedoesAsOneStep) {
    INode* a = XYZNode(L"A");
    INode* b = XYZNode(L"B");
    Write(Sub(a, 0), 3.0f);
    Write(Sub(a, 2), 9.0f);
    auto* c = new FloatConnection();
    XYZOf(b)->AssignController(c, 0);
    theHold.Reset();
    ASSERT_EQ(c->AssignTarget(XYZOf(a), 0, false), 1);
    ASSERT_EQ(c->AssignTarget(XYZOf(a), 2, false), 1);
    EXPECT_EQ(theHold.NumUndoRecords(), 2);
    EXPECT_FLOAT_EQ(Read(c), 9.0f);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_FLOAT_EQ(Read(c), 3.0f);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(c->targetOwner, nullptr);
    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(c->targetOwner, XYZOf(a));
    EXPECT_EQ(c->TargetIndex(), 0);
    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(c->TargetIndex(), 2);
    // A wrong kind of track is refused and records nothing.
    EXPECT_EQ(c->AssignTarget(b->GetTMController(), 0, false), 0);
    EXPECT_EQ(theHold.NumUndoRecords(), 2);
    // An index past the owner's tracks writes nothing and leaves the caller's validity.
    c->pblock->SetValue(FloatConnection::pb_track_subanim, 0, 7);
    float untouched = -2.0f;
    Interval keep(10, 20);
    c->GetValue(15, &untouched, keep, CTRL_ABSOLUTE);
    EXPECT_FLOAT_EQ(untouched, -2.0f);
    EXPECT_EQ(keep, Interval(10, 20));
    c->pblock->SetValue(FloatConnection::pb_track_subanim, 0, 2);
    // A lost target leaves the last value in force.
    Read(c);
    XYZOf(a)->DeleteAllRefsToMe();
    EXPECT_EQ(c->targetOwner, nullptr);
    EXPECT_FLOAT_EQ(Read(c), 9.0f);
}

TEST_F(ConnectionTest, ScriptsCreateWireAndQueryFloatConnections) {
    XYZNode(L"A");
    XYZNode(L"B");
    FPValue r;
    ASSERT_TRUE(RunScript(L"$A[3][1][1].controller.value = 40\n"
                          L"c = FloatConnection()\n"
                          L"$B[3][1][2].controller = c\n"
                          L"c.transform = 1; c.weight = 50; c.offset = 1\n"
                          L"ok1 = c.SetTarget $A[3][1][1]\n"
                          L"(ok1 as string) + \"|\" + ($B[3][1][2].value as string) + \"|\" + (c.weight as string)",
                          &r));
    ASSERT_EQ(r.type, TYPE_STRING);
    EXPECT_EQ(std::wstring(r.s), L"true|21.0|50.0");
    FPValue printed;
    ASSERT_TRUE(RunScript(L"(c.GetTarget()) as string + \"|\" + ((c.GetTarget asController:true) as string)", &printed));
    EXPECT_EQ(std::wstring(printed.s), L"SubAnim:X_Position|Controller:Bezier_Float") << printed.s;

    // A controller without its owner: the owner is found; with the owner given: the same.
    ASSERT_TRUE(RunScript(L"c.SetTarget ($A[3][1][3].controller)\n c.GetTarget() as string", &printed));
    EXPECT_EQ(std::wstring(printed.s), L"SubAnim:Z_Position");
    ASSERT_TRUE(RunScript(L"c.SetTarget ($A[3][1][2].controller) owner:($A[3][1].controller)\n c.GetTarget() as string",
                    &printed));
    EXPECT_EQ(std::wstring(printed.s), L"SubAnim:Y_Position");
    // A parameter by name on a block's holder; a rotation track is the wrong kind.
    ASSERT_TRUE(RunScript(L"d = FloatConnection(); d.input_max = 7\n"
                          L"((c.SetTarget #input_max owner:d) as string) + \"|\" + "
                          L"((c.SetTarget $A[3][2]) as string) + \"|\" + ($B[3][1][2].value as string)",
                          &r));
    ASSERT_EQ(r.type, TYPE_STRING);
    EXPECT_EQ(std::wstring(r.s), L"true|false|4.5");
    // Undo through the script's own undo context.
    ASSERT_TRUE(RunScript(L"undo \"wire\" on (c.SetTarget $A[3][1][1])\n $B[3][1][2].value", &r));
    EXPECT_FLOAT_EQ(r.f, 21.0f);
    ASSERT_TRUE(theHold.Undo());
    ASSERT_TRUE(RunScript(L"$B[3][1][2].value", &r));
    EXPECT_FLOAT_EQ(r.f, 4.5f);
}

TEST_F(ConnectionTest, SaveLoadAndCloneKeepEveryConnectionEvaluatingAlike) {
    INode* a = XYZNode(L"A");
    INode* b = XYZNode(L"B");
    AnimateOn();
    Write(Sub(a, 0), -5.0f, 0);
    Write(Sub(a, 0), 50.0f, 3000);
    AnimateOff();
    FloatConnection* c = Connect(b, 0, a, 0);
    c->pblock->SetValue(FloatConnection::pb_transform, 0, 3);
    c->pblock->SetValue(FloatConnection::pb_clamp, 0, 1);
    c->pblock->SetValue(FloatConnection::pb_use_time_offset, 0, 1);
    c->pblock->SetValue(FloatConnection::pb_time_offset, 0, -320.0f);
    ICurve* curve = c->CurveCtl()->GetControlCurve(0);
    CurvePoint mid;
    mid.p = Point2(20.0f, 70.0f);
    mid.flags = CURVEP_BEZIER;
    mid.in = Point2(-5.0f, 0.0f);
    mid.out = Point2(5.0f, 0.0f);
    curve->Insert(0, mid);
    FloatConnection* lost = Connect(b, 2, a, 1);
    Write(Sub(a, 1), 6.0f);
    Read(lost);
    lost->DeleteReference(FloatConnection::kTargetRef);

    std::vector<float> before;
    for (TimeValue t = 0; t <= 3200; t += 160) before.push_back(Read(c, t));

    // A clone of the target's owner and the connection together reads the copy.
    auto* xyzCopy = static_cast<Control*>(CloneRefHierarchy(XYZOf(b)));
    auto* cloneOfC = static_cast<FloatConnection*>(xyzCopy->SubAnim(0));
    EXPECT_EQ(cloneOfC->targetOwner, XYZOf(a));
    RemapDir& remap = NewRemapDir();
    auto* tmCopy = static_cast<Control*>(remap.CloneRef(a->GetTMController()));
    auto* pairCopy = static_cast<FloatConnection*>(remap.CloneRef(c));
    remap.Backpatch();
    remap.DeleteThis();
    EXPECT_EQ(pairCopy->targetOwner, tmCopy->GetPositionController());
    EXPECT_FLOAT_EQ(Read(pairCopy, 800), before[5]);
    xyzCopy->MaybeAutoDelete();

    std::vector<uint8_t> bytes;
    std::wstring err;
    ASSERT_TRUE(host::SaveSceneToMemory(bytes, &err)) << err;
    host::ResetScene();
    ASSERT_TRUE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &err)) << err;
    INode* b2 = GetCOREInterface()->GetINodeByName(L"B");
    ASSERT_NE(b2, nullptr);
    auto* c2 = dynamic_cast<FloatConnection*>(Sub(b2, 0));
    ASSERT_NE(c2, nullptr);
    size_t k = 0;
    for (TimeValue t = 0; t <= 3200; t += 160) EXPECT_FLOAT_EQ(Read(c2, t), before[k++]) << t;
    auto* lost2 = dynamic_cast<FloatConnection*>(Sub(b2, 2));
    ASSERT_NE(lost2, nullptr);
    EXPECT_EQ(lost2->targetOwner, nullptr);
    EXPECT_FLOAT_EQ(Read(lost2), 6.0f);

    // A damaged last-value chunk refuses the file whole and leaves the scene as it stands.
    std::vector<uint8_t> broken = bytes;
    broken.resize(broken.size() / 2);
    EXPECT_FALSE(host::LoadSceneFromMemory(broken.data(), broken.size(), &err));
    EXPECT_NE(GetCOREInterface()->GetINodeByName(L"B"), nullptr);
}

}  // namespace
