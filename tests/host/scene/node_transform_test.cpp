#include "scene_fixtures.h"

#include "gfloat.h"

using namespace scenetest;

namespace {
class NodeTransform : public SceneTest {};
}

TEST_F(NodeTransform, WorldTransformIsLocalTimesParentAndCachedUntilSomethingChanges) {
    INode* a = MakeNode(Trans(10, 0, 0));
    INode* b = MakeNode(RotateZMatrix(HALFPI) * Trans(0, 5, 0), a);
    INode* c = MakeNode(Trans(1, 0, 0), b);

    EXPECT_TRUE(MatrixNear(c->GetNodeTM(0), Trans(1, 0, 0) * RotateZMatrix(HALFPI) * Trans(0, 5, 0) * Trans(10, 0, 0)));
    // X of c is carried to Y by b's turn: world position (10, 6, 0).
    EXPECT_TRUE(c->GetNodeTM(0).GetTrans().Equals(Point3(10, 6, 0), 1e-4f));

    // Asking again, at the same or another time, calls no controller while nothing is animated.
    int ca = Ctrl(a)->getValueCalls, cb = Ctrl(b)->getValueCalls, cc = Ctrl(c)->getValueCalls;
    Interval valid = FOREVER;
    c->GetNodeTM(0, &valid);
    c->GetNodeTM(4800, &valid);
    b->GetNodeTM(-300, &valid);
    EXPECT_EQ(Ctrl(a)->getValueCalls, ca);
    EXPECT_EQ(Ctrl(b)->getValueCalls, cb);
    EXPECT_EQ(Ctrl(c)->getValueCalls, cc);
    EXPECT_EQ(valid, FOREVER);

    // Moving the parent drops the caches below it, grandchildren included.
    Ctrl(a)->SetLocal(Trans(20, 0, 0));
    EXPECT_TRUE(c->GetNodeTM(0).GetTrans().Equals(Point3(20, 6, 0), 1e-4f));
    EXPECT_EQ(Ctrl(c)->getValueCalls, cc + 1);

    // A change below does not touch the caches above.
    ca = Ctrl(a)->getValueCalls;
    Ctrl(c)->SetLocal(Trans(2, 0, 0));
    EXPECT_TRUE(c->GetNodeTM(0).GetTrans().Equals(Point3(20, 7, 0), 1e-4f));
    EXPECT_EQ(Ctrl(a)->getValueCalls, ca);

    // The root is the identity for all time.
    Interval rootValid = FOREVER;
    EXPECT_TRUE(ip()->GetRootNode()->GetNodeTM(123, &rootValid).IsIdentity());
    EXPECT_EQ(rootValid, FOREVER);
}

TEST_F(NodeTransform, NarrowValidityReevaluatesAtAnotherTimeAndNarrowsTheCaller) {
    INode* a = MakeNode(Trans(1, 0, 0));
    INode* b = MakeNode(Trans(0, 1, 0), a);
    Ctrl(a)->animated = true;
    Ctrl(a)->velocity = Point3(0.01f, 0.0f, 0.0f);
    a->InvalidateTreeTM();

    Interval valid = FOREVER;
    Matrix3 at100 = b->GetNodeTM(100, &valid);
    EXPECT_TRUE(at100.GetTrans().Equals(Point3(2, 1, 0), 1e-4f));
    EXPECT_EQ(valid, Interval(100, 100));  // the child inherits its parent's instant

    int ca = Ctrl(a)->getValueCalls, cb = Ctrl(b)->getValueCalls;
    b->GetNodeTM(100);
    EXPECT_EQ(Ctrl(a)->getValueCalls, ca);
    EXPECT_EQ(Ctrl(b)->getValueCalls, cb);

    Matrix3 at200 = b->GetNodeTM(200);
    EXPECT_TRUE(at200.GetTrans().Equals(Point3(3, 1, 0), 1e-4f));
    EXPECT_EQ(Ctrl(a)->getValueCalls, ca + 1);
    EXPECT_EQ(Ctrl(b)->getValueCalls, cb + 1);
}

TEST_F(NodeTransform, ChangesReachTheDependentsOfEveryNodeBelow) {
    INode* a = MakeNode(Trans(1, 0, 0));
    INode* b = MakeNode(Matrix3(), a);
    INode* c = MakeNode(Matrix3(), b);
    auto* watchB = new Holder();
    auto* watchC = new Holder();
    watchB->ReplaceReference(0, b);
    watchC->ReplaceReference(0, c);

    Ctrl(a)->SetLocal(Trans(2, 0, 0));
    EXPECT_EQ(watchB->Count(REFMSG_CHANGE, PART_TM), 1);
    EXPECT_EQ(watchC->Count(REFMSG_CHANGE, PART_TM), 1);

    // The node's own dependents hear its controller's change as a transform change.
    watchB->log.clear();
    Ctrl(b)->SetLocal(Trans(0, 3, 0));
    ASSERT_EQ(watchB->Count(REFMSG_CHANGE), 1);
    EXPECT_EQ(watchB->log.back().from, b);
    EXPECT_TRUE(watchB->log.back().part & PART_TM);

    watchB->DeleteAllRefsFromMe();
    watchC->DeleteAllRefsFromMe();
    watchB->DeleteThis();
    watchC->DeleteThis();
}

TEST_F(NodeTransform, SetNodeTMLandsExactlyUnderAnyParent) {
    const Matrix3 target = RotateXMatrix(0.3f) * RotateYMatrix(-1.1f) * Trans(4, -2, 7);
    Matrix3 mirrored = ScaleMatrix(Point3(-1, 1, 1));
    mirrored.SetTrans(Point3(3, 0, 0));
    const Matrix3 parents[] = {
        Matrix3(),
        Trans(5, 6, 7),
        RotateZMatrix(0.7f) * RotateXMatrix(-0.4f) * Trans(1, 2, 3),
        ScaleMatrix(Point3(2.0f, 0.5f, 3.0f)) * RotateYMatrix(0.9f) * Trans(-1, 0, 2),
        mirrored,
    };
    for (const Matrix3& p : parents) {
        INode* parent = MakeNode(p);
        INode* child = MakeNode(Trans(9, 9, 9), parent);
        child->SetNodeTM(0, target);
        EXPECT_TRUE(MatrixNear(child->GetNodeTM(0), target));
        ASSERT_FALSE(Ctrl(child)->packets.empty());
        const SetXFormPacket& pk = Ctrl(child)->packets.back();
        EXPECT_EQ(pk.command, XFORM_SET);
        EXPECT_TRUE(MatrixNear(pk.tmParent, p));
        EXPECT_TRUE(MatrixNear(pk.tmAxis, target));
    }
}

TEST_F(NodeTransform, MoveSendsAPacketInTheAxisSpaceAndCanLeaveChildrenInPlace) {
    INode* parent = MakeNode(RotateZMatrix(HALFPI));
    INode* n = MakeNode(Trans(1, 0, 0), parent);
    INode* kid = MakeNode(Trans(0, 0, 1), n);
    const Matrix3 kidBefore = kid->GetNodeTM(0);
    const Matrix3 axis = RotateXMatrix(HALFPI);

    n->Move(0, axis, Point3(0, 2, 0));
    const SetXFormPacket& pk = Ctrl(n)->packets.back();
    EXPECT_EQ(pk.command, XFORM_MOVE);
    EXPECT_TRUE(MatrixNear(pk.tmParent, parent->GetNodeTM(0)));
    EXPECT_TRUE(MatrixNear(pk.tmAxis, axis));
    EXPECT_TRUE(pk.p.Equals(Point3(0, 2, 0)));
    // Y of a frame turned a quarter about X is world Z.
    EXPECT_TRUE(n->GetNodeTM(0).GetTrans().Equals(Point3(0, 1, 2), 1e-4f));
    EXPECT_TRUE(kid->GetNodeTM(0).GetTrans().Equals(Point3(0, 1, 3), 1e-4f));

    const Matrix3 kidNow = kid->GetNodeTM(0);
    n->Move(0, Matrix3(), Point3(5, 0, 0), FALSE, FALSE);
    EXPECT_TRUE(MatrixNear(kid->GetNodeTM(0), kidNow));
    EXPECT_FALSE(kidNow.Equals(kidBefore, 1e-4f));

    n->Rotate(0, axis, Quat(Point3(0, 0, 1), 0.5f), TRUE);
    EXPECT_EQ(Ctrl(n)->packets.back().command, XFORM_ROTATE);
    EXPECT_TRUE(Ctrl(n)->packets.back().localOrigin);
    n->Scale(0, axis, Point3(2, 2, 2));
    EXPECT_EQ(Ctrl(n)->packets.back().command, XFORM_SCALE);
    EXPECT_TRUE(Ctrl(n)->packets.back().p.Equals(Point3(2, 2, 2)));
}

TEST_F(NodeTransform, ObjectOffsetPlacesTheObjectNotTheNode) {
    INode* n = MakeNode(Trans(10, 0, 0));
    INode* kid = MakeNode(Trans(1, 0, 0), n);
    n->SetObjOffsetPos(Point3(0, 2, 0));
    n->SetObjOffsetRot(Quat(RotateZMatrix(HALFPI)));
    n->SetObjOffsetScale(ScaleValue(Point3(2, 3, 1)));

    // A point of the object: scaled, then turned, then offset, then placed by the node.
    Point3 p = Point3(1, 0, 0) * n->GetObjectTM(0);
    EXPECT_TRUE(p.Equals(Point3(10, 4, 0), 1e-4f));
    EXPECT_TRUE(MatrixNear(n->GetObjTMAfterWSM(0), n->GetObjectTM(0)));
    EXPECT_TRUE(MatrixNear(n->GetNodeTM(0), Trans(10, 0, 0)));
    EXPECT_TRUE(kid->GetNodeTM(0).GetTrans().Equals(Point3(11, 0, 0), 1e-4f));

    // An axis system on the scale stretches along the turned axes.
    n->SetObjOffsetRot(Quat());
    n->SetObjOffsetPos(Point3());
    n->SetObjOffsetScale(ScaleValue(Point3(3, 1, 1), Quat(RotateZMatrix(HALFPI))));
    Point3 q = Point3(0, 1, 0) * n->GetObjectTM(0);
    EXPECT_TRUE(q.Equals(Point3(10, 3, 0), 1e-4f));
}

TEST_F(NodeTransform, RealignBoneTurnsTheBoneAxisToTheChildAndKeepsTheChild) {
    INode* bone = MakeNode(Trans(1, 1, 0));
    INode* tip = MakeNode(Trans(0, 4, 0), bone);
    const Matrix3 tipBefore = tip->GetNodeTM(0);
    bone->SetBoneNodeOnOff(TRUE, 0);
    EXPECT_TRUE(bone->GetBoneNodeOnOff());

    bone->RealignBoneToChild(0);
    Matrix3 tm = bone->GetNodeTM(0);
    EXPECT_TRUE(Normalize(tm.GetRow(0)).Equals(Point3(0, 1, 0), 1e-4f));
    EXPECT_TRUE(tm.GetTrans().Equals(Point3(1, 1, 0), 1e-4f));
    EXPECT_TRUE(MatrixNear(tip->GetNodeTM(0), tipBefore));

    // Stretch comes out, position and direction stay.
    Ctrl(bone)->SetLocal(ScaleMatrix(Point3(3, 1, 1)) * Ctrl(bone)->local);
    const Matrix3 tipStretched = tip->GetNodeTM(0);
    bone->ResetBoneStretch(0);
    tm = bone->GetNodeTM(0);
    EXPECT_NEAR(Length(tm.GetRow(0)), 1.0f, 1e-4f);
    EXPECT_TRUE(Normalize(tm.GetRow(0)).Equals(Point3(0, 1, 0), 1e-4f));
    EXPECT_TRUE(MatrixNear(tip->GetNodeTM(0), tipStretched));
}

TEST_F(NodeTransform, AControllerAskingForItsOwnNodeDoesNotRecurse) {
    struct SelfAsking : public TestTM {
        INode* node = nullptr;
        void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod m) override {
            if (node) node->GetNodeTM(t);
            TestTM::GetValue(t, val, valid, m);
        }
    };
    INode* n = ip()->CreateObjectNode(nullptr, L"Self");
    auto* c = new SelfAsking();
    c->local = Trans(1, 2, 3);
    n->SetTMController(c);
    c->node = n;
    EXPECT_TRUE(n->GetNodeTM(0).GetTrans().Equals(Point3(1, 2, 3)));
    EXPECT_EQ(c->getValueCalls, 1);
}
