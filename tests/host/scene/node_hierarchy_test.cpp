#include "scene_fixtures.h"

#include "gfloat.h"

using namespace scenetest;

namespace {
class NodeHierarchy : public SceneTest {};
}

TEST_F(NodeHierarchy, LinksFormATreeUnderTheRootAndRefuseLoops) {
    INode* root = ip()->GetRootNode();
    EXPECT_TRUE(root->IsRootNode());
    EXPECT_STREQ(root->GetName(), L"Scene Root");
    EXPECT_EQ(root->GetParentNode(), nullptr);

    INode* a = MakeNode();
    INode* b = MakeNode(Matrix3(), a);
    INode* c = MakeNode(Matrix3(), b);
    EXPECT_FALSE(a->IsRootNode());
    EXPECT_EQ(a->GetParentNode(), root);
    EXPECT_STREQ(a->GetParentNode()->GetName(), L"Scene Root");
    EXPECT_EQ(b->GetParentNode(), a);
    ASSERT_EQ(a->NumberOfChildren(), 1);
    EXPECT_EQ(a->GetChildNode(0), b);
    EXPECT_EQ(a->GetChildNode(1), nullptr);
    EXPECT_EQ(a->GetChildNode(-1), nullptr);

    // An ancestor cannot become a child of its descendant, nor a node its own child.
    c->AttachChild(a);
    b->AttachChild(b);
    c->AttachChild(nullptr);
    EXPECT_EQ(a->GetParentNode(), root);
    EXPECT_EQ(c->NumberOfChildren(), 0);
    // The root is nobody's child.
    a->AttachChild(root);
    EXPECT_EQ(root->GetParentNode(), nullptr);

    // Re-parenting moves the node from its old parent's list to the end of the new one's.
    INode* d = MakeNode();
    a->AttachChild(d);
    a->AttachChild(c);
    EXPECT_EQ(b->NumberOfChildren(), 0);
    ASSERT_EQ(a->NumberOfChildren(), 3);
    EXPECT_EQ(a->GetChildNode(1), d);
    EXPECT_EQ(a->GetChildNode(2), c);

    c->Detach(0);
    EXPECT_EQ(c->GetParentNode(), root);
    EXPECT_EQ(a->NumberOfChildren(), 2);
}

TEST_F(NodeHierarchy, AttachWithKeepTMKeepsTheWorldTransformWithoutItTheLocal) {
    INode* p = MakeNode(ScaleMatrix(Point3(2, 2, 2)) * RotateZMatrix(0.8f) * Trans(5, 0, 0));
    INode* n = MakeNode(RotateXMatrix(0.3f) * Trans(1, 2, 3));
    const Matrix3 world = n->GetNodeTM(0);

    p->AttachChild(n, 1);
    EXPECT_TRUE(MatrixNear(n->GetNodeTM(0), world));
    EXPECT_EQ(Ctrl(n)->packets.back().command, XFORM_SET);

    n->Detach(0, 1);
    EXPECT_TRUE(MatrixNear(n->GetNodeTM(0), world));

    // Without keepTM the local transform stays and the world one follows the parent.
    const Matrix3 local = Ctrl(n)->local;
    p->AttachChild(n, 0);
    EXPECT_TRUE(MatrixNear(n->GetNodeTM(0), local * p->GetNodeTM(0)));

    // A controller that handles the parent change itself is asked first and gets no packet.
    INode* m = MakeNode(Trans(7, 7, 7));
    Ctrl(m)->handleChangeParents = true;
    const size_t packets = Ctrl(m)->packets.size();
    p->AttachChild(m, 1);
    EXPECT_EQ(Ctrl(m)->changeParentsCalls, 1);
    EXPECT_EQ(Ctrl(m)->packets.size(), packets);
    EXPECT_TRUE(m->GetNodeTM(0).GetTrans().Equals(Point3(7, 7, 7), 1e-4f));
}

TEST_F(NodeHierarchy, NewNodesGetUniqueNumberedNamesAndAreFoundByNameAndHandle) {
    auto* obj = new TestHelper();
    INode* p1 = ip()->CreateObjectNode(obj);
    INode* p2 = ip()->CreateObjectNode(new TestHelper());
    EXPECT_STREQ(p1->GetName(), L"Point001");
    EXPECT_STREQ(p2->GetName(), L"Point002");
    EXPECT_EQ(p1->GetObjectRef(), obj);

    // Trailing digits of the base are dropped; the number follows the highest in use.
    INode* p3 = ip()->CreateObjectNode(nullptr, L"Point007");
    EXPECT_STREQ(p3->GetName(), L"Point003");
    p1->SetName(L"point041");
    INode* p4 = ip()->CreateObjectNode(nullptr, L"Point");
    EXPECT_STREQ(p4->GetName(), L"Point042");
    ip()->DeleteNode(p4);
    EXPECT_STREQ(ip()->CreateObjectNode(nullptr, L"Point")->GetName(), L"Point042");
    // Other bases do not count, nor names with more after the digits.
    ip()->CreateObjectNode(nullptr, L"Pointer");
    p2->SetName(L"Point099_L");
    EXPECT_STREQ(ip()->CreateObjectNode(nullptr, L"Point")->GetName(), L"Point043");

    EXPECT_EQ(ip()->GetINodeByName(L"POINT041"), p1);
    EXPECT_EQ(ip()->GetINodeByName(L"nothing"), nullptr);
    EXPECT_EQ(ip()->GetINodeByHandle(p3->GetHandle()), p3);
    EXPECT_NE(p1->GetHandle(), p2->GetHandle());
    const ULONG gone = p3->GetHandle();
    ip()->DeleteNode(p3);
    EXPECT_EQ(ip()->GetINodeByHandle(gone), nullptr);
}

TEST_F(NodeHierarchy, SubAnimsAreVisibilitySpaceWarpsTransformAndObject) {
    INode* n = MakeNode();
    n->SetObjectRef(new TestHelper());
    ASSERT_EQ(n->NumSubs(), 4);
    EXPECT_EQ(n->SubAnimName(0), MSTR(L"Visibility"));
    EXPECT_EQ(n->SubAnimName(2), MSTR(L"Transform"));
    EXPECT_EQ(n->SubAnimName(3), MSTR(L"Object (Point)"));
    EXPECT_EQ(n->SubAnim(2), n->GetTMController());
    EXPECT_EQ(n->SubAnim(3), n->GetObjectRef());
    EXPECT_EQ(n->SubAnim(1), nullptr);
    EXPECT_EQ(n->GetReference(n->SubNumToRefNum(2)), n->GetTMController());
    EXPECT_EQ(n->SubNumToRefNum(1), -1);

    // Assigning through the sub-anim is SetTMController.
    auto* c = new TestTM();
    c->local = Trans(0, 0, 4);
    EXPECT_TRUE(n->CanAssignController(2));
    EXPECT_TRUE(n->AssignController(c, 2));
    EXPECT_EQ(n->GetTMController(), c);
    EXPECT_TRUE(n->GetNodeTM(0).GetTrans().Equals(Point3(0, 0, 4)));
    auto* notAController = new TestHelper();
    EXPECT_FALSE(n->AssignController(notAController, 2));
    EXPECT_EQ(n->GetTMController(), c);
    notAController->DeleteThis();
}

TEST_F(NodeHierarchy, FlagsPropertiesAndTheirMessages) {
    INode* n = MakeNode();
    auto* watch = new Holder();
    watch->ReplaceReference(0, n);

    n->Hide(TRUE);
    EXPECT_TRUE(n->IsHidden());
    ASSERT_EQ(watch->Count(REFMSG_NODE_DISPLAY_PROP_CHANGED), 1);
    EXPECT_EQ(watch->log.back().part & 1u, 1u);

    n->SetName(L"Renamed");
    EXPECT_EQ(watch->Count(REFMSG_NODE_NAMECHANGE), 1);
    n->SetName(L"Renamed");
    EXPECT_EQ(watch->Count(REFMSG_NODE_NAMECHANGE), 1);

    n->SetWireColor(0x00332211);
    EXPECT_EQ(n->GetWireColor(), 0x00332211u);
    n->SetRenderable(FALSE);
    EXPECT_FALSE(n->Renderable());
    n->Freeze(TRUE);
    EXPECT_TRUE(n->IsFrozen());

    n->SetTransformLock(INODE_LOCKROT, INODE_LOCK_Y, TRUE);
    EXPECT_TRUE(n->GetTransformLock(INODE_LOCKROT, INODE_LOCK_Y));
    EXPECT_FALSE(n->GetTransformLock(INODE_LOCKROT, INODE_LOCK_X));
    EXPECT_FALSE(n->GetTransformLock(INODE_LOCKPOS, INODE_LOCK_Y));
    EXPECT_FALSE(n->GetTransformLock(7, 0));

    n->SetUserPropString(L"side", L"left");
    n->SetUserPropInt(L"index", 4);
    n->SetUserPropString(L"SIDE", L"right");
    MSTR s, buf;
    int i = 0;
    EXPECT_TRUE(n->GetUserPropString(L"side", s));
    EXPECT_EQ(s, MSTR(L"right"));
    EXPECT_TRUE(n->GetUserPropInt(L"index", i));
    EXPECT_EQ(i, 4);
    EXPECT_FALSE(n->GetUserPropString(L"missing", s));
    n->GetUserPropBuffer(buf);
    EXPECT_EQ(buf, MSTR(L"side = right\r\nindex = 4\r\n"));

    watch->DeleteAllRefsFromMe();
    watch->DeleteThis();
}
