#include <cmath>
#include <string>

#include "connection_scene.h"
#include "controllers/transform_connections.h"
#include "maxscript.h"
#include "scenefile.h"

using namespace kttest::conn;

namespace {

INode* PlainNode(const wchar_t* name) {
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, name);
    n->SetName(name);
    return n;
}

template <class T>
T ReadAs(Control* c, TimeValue t = 0) {
    T v{};
    Interval iv = FOREVER;
    c->GetValue(t, &v, iv, CTRL_ABSOLUTE);
    return v;
}

TEST_F(ConnectionTest, PositionConnectionWeighsAndWritesThroughPerAxis) {
    INode* a = PlainNode(L"A");
    INode* b = PlainNode(L"B");
    Control* aPos = a->GetTMController()->GetPositionController();
    Point3 p(2.0f, -4.0f, 6.0f);
    aPos->SetValue(0, &p);
    auto* c = new kt::PositionConnection();
    ASSERT_TRUE(b->GetTMController()->SetPositionController(c));
    ASSERT_EQ(c->AssignTarget(a->GetTMController(), 0, false), 1);
    EXPECT_EQ(theHold.UndoName(), MSTR(L"Position Connection Change"));
    EXPECT_TRUE(b->GetNodeTM(0).GetTrans().Equals(p, 1e-5f));

    c->pblock->SetValue(kt::WeightedConnection::pb_use_weight, 0, 1);
    c->pblock->SetValue(kt::WeightedConnection::pb_weight_x, 0, 0.5f);
    c->pblock->SetValue(kt::WeightedConnection::pb_weight_z, 0, 2.0f);
    EXPECT_TRUE(ReadAs<Point3>(c).Equals(Point3(1.0f, -4.0f, 12.0f), 1e-5f));
    // Relative reads pre-translate the matrix they are given.
    Matrix3 m = RotateZMatrix(0.5f);
    Interval iv = FOREVER;
    c->GetValue(0, &m, iv, CTRL_RELATIVE);
    Matrix3 expect = RotateZMatrix(0.5f);
    expect.PreTranslate(Point3(1.0f, -4.0f, 12.0f));
    EXPECT_TRUE(m.Equals(expect, 1e-5f));

    // Two way: a set divides by the weights (a zero weight guarded) and reaches A.
    Point3 want(3.0f, 1.0f, 8.0f);
    c->SetValue(0, &want);
    EXPECT_TRUE(ReadAs<Point3>(aPos).Equals(p, 1e-5f));  // two_way off
    c->pblock->SetValue(kt::ConnectionBase::pb_two_way, 0, 1);
    c->SetValue(0, &want);
    EXPECT_TRUE(ReadAs<Point3>(aPos).Equals(Point3(6.0f, 1.0f, 4.0f), 1e-5f));
    EXPECT_TRUE(ReadAs<Point3>(c).Equals(want, 1e-5f));
    c->pblock->SetValue(kt::WeightedConnection::pb_weight_y, 0, 0.0f);
    c->SetValue(0, &want);
    EXPECT_FLOAT_EQ(ReadAs<Point3>(aPos).y, 1000.0f);

    // A float track is the wrong kind; A reading B back is a cycle.
    INode* x = XYZNode(L"X");
    EXPECT_EQ(c->AssignTarget(XYZOf(x), 0, false), 0);
    auto* back = new kt::PositionConnection();
    INode* d = PlainNode(L"D");
    d->GetTMController()->SetPositionController(back);
    ASSERT_EQ(back->AssignTarget(b->GetTMController(), 0, false), 1);
    a->GetTMController()->SetPositionController(new kt::PositionConnection());
    auto* onA = static_cast<kt::PositionConnection*>(a->GetTMController()->GetPositionController());
    EXPECT_EQ(onA->AssignTarget(d->GetTMController(), 0, false), -1);
}

TEST_F(ConnectionTest, RotationAndScaleConnectionsReadTheirTrackWhole) {
    INode* a = PlainNode(L"A");
    INode* b = PlainNode(L"B");
    Control* aRot = a->GetTMController()->GetRotationController();
    Quat q;
    float ang[3] = {0.2f, -0.4f, 0.6f};
    EulerToQuat(ang, q, EULERTYPE_XYZ);
    aRot->SetValue(0, &q);
    auto* r = new kt::RotationConnection();
    ASSERT_TRUE(b->GetTMController()->SetRotationController(r));
    ASSERT_EQ(r->AssignTarget(a->GetTMController(), 1, false), 1);
    EXPECT_TRUE(ReadAs<Quat>(r).Equals(ReadAs<Quat>(aRot), 1e-5f));
    // Weighted: each XYZ angle times its weight.
    r->pblock->SetValue(kt::WeightedConnection::pb_use_weight, 0, 1);
    r->pblock->SetValue(kt::WeightedConnection::pb_weight_y, 0, 0.5f);
    float got[3];
    QuatToEuler(ReadAs<Quat>(r), got, EULERTYPE_XYZ);
    EXPECT_NEAR(got[0], 0.2f, 1e-4);
    EXPECT_NEAR(got[1], -0.2f, 1e-4);
    EXPECT_NEAR(got[2], 0.6f, 1e-4);
    // Two way divides the angles back.
    r->pblock->SetValue(kt::ConnectionBase::pb_two_way, 0, 1);
    float setAng[3] = {0.1f, 0.1f, 0.1f};
    Quat sq;
    EulerToQuat(setAng, sq, EULERTYPE_XYZ);
    r->SetValue(0, &sq);
    QuatToEuler(ReadAs<Quat>(aRot), got, EULERTYPE_XYZ);
    EXPECT_NEAR(got[1], 0.2f, 1e-4);
    EXPECT_NEAR(got[0], 0.1f, 1e-4);

    Control* aScale = a->GetTMController()->GetScaleController();
    ScaleValue sv(Point3(2.0f, 3.0f, 0.5f));
    aScale->SetValue(0, &sv);
    auto* s = new kt::ScaleConnection();
    ASSERT_TRUE(b->GetTMController()->SetScaleController(s));
    ASSERT_EQ(s->AssignTarget(a->GetTMController(), 2, false), 1);
    EXPECT_TRUE(ReadAs<ScaleValue>(s).s.Equals(Point3(2.0f, 3.0f, 0.5f), 1e-5f));
    s->pblock->SetValue(kt::WeightedConnection::pb_use_weight, 0, 1);
    s->pblock->SetValue(kt::WeightedConnection::pb_weight_x, 0, 0.5f);
    EXPECT_TRUE(ReadAs<ScaleValue>(s).s.Equals(Point3(1.0f, 3.0f, 0.5f), 1e-5f));
    // Time offsets shift the read.
    AnimateOn();
    sv = ScaleValue(Point3(4.0f, 4.0f, 4.0f));
    aScale->SetValue(1600, &sv);
    AnimateOff();
    s->pblock->SetValue(kt::WeightedConnection::pb_use_time_offset, 0, 1);
    s->pblock->SetValue(kt::WeightedConnection::pb_time_offset, 0, 800.0f);
    EXPECT_FLOAT_EQ(ReadAs<ScaleValue>(s, 800).s.y, ReadAs<ScaleValue>(aScale, 1600).s.y);

    // Saved and loaded, the three read alike.
    const Matrix3 before = b->GetNodeTM(400);
    std::vector<uint8_t> bytes;
    std::wstring err;
    ASSERT_TRUE(host::SaveSceneToMemory(bytes, &err)) << err;
    host::ResetScene();
    ASSERT_TRUE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &err)) << err;
    INode* b2 = GetCOREInterface()->GetINodeByName(L"B");
    ASSERT_NE(b2, nullptr);
    EXPECT_TRUE(b2->GetNodeTM(400).Equals(before, 1e-5f));
    EXPECT_NE(dynamic_cast<kt::ScaleConnection*>(b2->GetTMController()->GetScaleController()), nullptr);
}

TEST_F(ConnectionTest, ScriptsWireTransformConnections) {
    PlainNode(L"A");
    PlainNode(L"B");
    FPValue r;
    ASSERT_TRUE(ExecuteMAXScriptScript(L"$A[3][1].controller.value = [1,2,3]\n"
                                       L"c = PositionConnection()\n"
                                       L"$B[3][1].controller = c\n"
                                       L"ok1 = c.SetTarget $A[3][1]\n"
                                       L"ok2 = (RotationConnection()).SetTarget $A[3][1]\n"
                                       L"(ok1 as string) + \"|\" + (ok2 as string) + \"|\" + ($B.pos as string) + \"|\" + "
                                       L"((c.GetTarget()) as string)",
                                       TRUE, &r));
    ASSERT_EQ(r.type, TYPE_STRING);
    EXPECT_EQ(std::wstring(r.s), L"true|false|[1,2,3]|SubAnim:Position");
}

}  // namespace
