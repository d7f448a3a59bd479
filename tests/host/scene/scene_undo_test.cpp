#include "scene_fixtures.h"

using namespace scenetest;

namespace {

class SceneUndo : public SceneTest {};

// Counts broadcasts of one code.
struct Counter {
    int n = 0;
    static void Proc(void* param, NotifyInfo*) { ++static_cast<Counter*>(param)->n; }
};

}  // namespace

TEST_F(SceneUndo, CreationIsUndoneAndRedoneWithItsReferences) {
    Counter undone, redone;
    RegisterNotification(&Counter::Proc, &undone, NOTIFY_SCENE_UNDO);
    RegisterNotification(&Counter::Proc, &redone, NOTIFY_SCENE_REDO);

    const long before = Animatable::LiveCount();
    auto* obj = new TestHelper();
    theHold.Begin();
    INode* n = ip()->CreateObjectNode(obj, L"Made");
    auto* c = new TestTM();
    c->local = Trans(1, 2, 3);
    n->SetTMController(c);
    const ULONG handle = n->GetHandle();
    theHold.Accept(L"Create");

    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(undone.n, 1);
    EXPECT_EQ(ip()->GetINodeByHandle(handle), nullptr);
    EXPECT_EQ(ip()->GetINodeByName(L"Made001"), nullptr);
    EXPECT_EQ(ip()->GetRootNode()->NumberOfChildren(), 0);
    EXPECT_EQ(n->GetObjectRef(), nullptr);  // alive in the record, its references dropped

    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(redone.n, 1);
    EXPECT_EQ(ip()->GetINodeByHandle(handle), n);
    EXPECT_EQ(n->GetParentNode(), ip()->GetRootNode());
    EXPECT_EQ(n->GetObjectRef(), obj);
    EXPECT_EQ(n->GetTMController(), c);
    EXPECT_TRUE(n->GetNodeTM(0).GetTrans().Equals(Point3(1, 2, 3)));

    // An undone creation whose record goes away frees the node and what it held.
    ASSERT_TRUE(theHold.Undo());
    theHold.Reset();
    EXPECT_EQ(Animatable::LiveCount(), before);

    UnRegisterNotification(&Counter::Proc, &undone);
    UnRegisterNotification(&Counter::Proc, &redone);
}

TEST_F(SceneUndo, DeletionNullsReferencesAndUndoBringsEverythingBack) {
    INode* parent = MakeNode(Trans(1, 0, 0), nullptr, L"Parent");
    INode* victim = MakeNode(RotateZMatrix(0.5f) * Trans(0, 2, 0), parent, L"Victim");
    INode* kid = MakeNode(Trans(0, 0, 3), victim, L"Kid");
    INode* grandkid = MakeNode(Trans(1, 1, 1), kid, L"Grandkid");
    auto* obj = new TestHelper();
    victim->SetObjectRef(obj);
    TestTM* victimCtrl = Ctrl(victim);
    auto* watcher = new Holder();
    watcher->ReplaceReference(0, victim);
    watcher->ReplaceReference(1, kid);
    const Matrix3 kidWorld = kid->GetNodeTM(0);
    const Matrix3 grandkidWorld = grandkid->GetNodeTM(0);
    Counter preDeleted;
    RegisterNotification(&Counter::Proc, &preDeleted, NOTIFY_SCENE_PRE_DELETED_NODE);

    theHold.Begin();
    ip()->DeleteNode(victim);
    theHold.Accept(L"Delete");

    EXPECT_EQ(preDeleted.n, 1);
    EXPECT_EQ(watcher->Count(REFMSG_TARGET_DELETED), 1);
    EXPECT_EQ(watcher->refs[0], nullptr);
    EXPECT_EQ(watcher->refs[1], kid);
    EXPECT_EQ(ip()->GetINodeByName(L"Victim"), nullptr);
    // The children move up to the deleted node's parent and stay where they were.
    EXPECT_EQ(kid->GetParentNode(), parent);
    EXPECT_TRUE(MatrixNear(kid->GetNodeTM(0), kidWorld));
    EXPECT_TRUE(MatrixNear(grandkid->GetNodeTM(0), grandkidWorld));
    EXPECT_EQ(grandkid->GetParentNode(), kid);

    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(ip()->GetINodeByName(L"Victim"), victim);
    EXPECT_EQ(victim->GetParentNode(), parent);
    EXPECT_EQ(kid->GetParentNode(), victim);
    EXPECT_EQ(watcher->refs[0], victim);
    EXPECT_EQ(victim->GetObjectRef(), obj);
    EXPECT_EQ(victim->GetTMController(), victimCtrl);
    EXPECT_TRUE(MatrixNear(kid->GetNodeTM(0), kidWorld));
    EXPECT_TRUE(MatrixNear(grandkid->GetNodeTM(0), grandkidWorld));

    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(watcher->refs[0], nullptr);
    EXPECT_EQ(kid->GetParentNode(), parent);
    EXPECT_TRUE(MatrixNear(kid->GetNodeTM(0), kidWorld));

    // Without a hold the node is gone at once, with its object.
    const long live = Animatable::LiveCount();
    ip()->DeleteNode(kid, FALSE);
    EXPECT_EQ(Animatable::LiveCount(), live - 2);  // node and controller
    EXPECT_EQ(watcher->refs[1], nullptr);
    EXPECT_EQ(grandkid->GetParentNode(), parent);
    // keepChildTM off: the grandchild keeps its local transform.
    EXPECT_TRUE(MatrixNear(grandkid->GetNodeTM(0), Trans(1, 1, 1) * parent->GetNodeTM(0)));

    // The root is never deleted.
    ip()->DeleteNode(ip()->GetRootNode());
    EXPECT_TRUE(ip()->GetRootNode()->IsRootNode());

    UnRegisterNotification(&Counter::Proc, &preDeleted);
    watcher->DeleteAllRefsFromMe();
    watcher->DeleteThis();
}

TEST_F(SceneUndo, EveryRecordedNodeOperationUndoesAndRedoes) {
    INode* a = MakeNode(Trans(1, 0, 0), nullptr, L"A");
    INode* b = MakeNode(Trans(0, 1, 0), nullptr, L"B");
    TestTM* firstCtrl = Ctrl(b);

    // SetTMController: the transform follows the controller both ways.
    auto* other = new TestTM();
    other->local = Trans(0, 0, 9);
    theHold.Begin();
    b->SetTMController(other);
    theHold.Accept(L"Controller");
    EXPECT_TRUE(b->GetNodeTM(0).GetTrans().Equals(Point3(0, 0, 9)));
    theHold.Undo();
    EXPECT_EQ(b->GetTMController(), firstCtrl);
    EXPECT_TRUE(b->GetNodeTM(0).GetTrans().Equals(Point3(0, 1, 0)));
    theHold.Redo();
    EXPECT_EQ(b->GetTMController(), other);
    EXPECT_TRUE(b->GetNodeTM(0).GetTrans().Equals(Point3(0, 0, 9)));

    // SetObjectRef.
    auto* o1 = new TestHelper();
    theHold.Begin();
    b->SetObjectRef(o1);
    theHold.Accept(L"Object");
    theHold.Undo();
    EXPECT_EQ(b->GetObjectRef(), nullptr);
    theHold.Redo();
    EXPECT_EQ(b->GetObjectRef(), o1);

    // AttachChild with keepTM: link and transform together.
    const Matrix3 world = b->GetNodeTM(0);
    theHold.Begin();
    a->AttachChild(b, 1);
    theHold.Accept(L"Link");
    EXPECT_EQ(b->GetParentNode(), a);
    EXPECT_TRUE(MatrixNear(b->GetNodeTM(0), world));
    theHold.Undo();
    EXPECT_EQ(b->GetParentNode(), ip()->GetRootNode());
    EXPECT_EQ(a->NumberOfChildren(), 0);
    EXPECT_TRUE(MatrixNear(b->GetNodeTM(0), world));
    theHold.Redo();
    EXPECT_EQ(b->GetParentNode(), a);
    EXPECT_TRUE(MatrixNear(b->GetNodeTM(0), world));

    // Detach.
    theHold.Begin();
    b->Detach(0);
    theHold.Accept(L"Unlink");
    theHold.Undo();
    EXPECT_EQ(b->GetParentNode(), a);
    theHold.Redo();
    EXPECT_EQ(b->GetParentNode(), ip()->GetRootNode());

    // Rename, hide, offset and wire colour.
    theHold.Begin();
    b->SetName(L"Renamed");
    b->Hide(TRUE);
    b->SetObjOffsetPos(Point3(0, 0, 1));
    b->SetWireColor(0x000000FF);
    theHold.Accept(L"Props");
    theHold.Undo();
    EXPECT_STREQ(b->GetName(), L"B");
    EXPECT_FALSE(b->IsHidden());
    EXPECT_TRUE(MatrixNear(b->GetObjectTM(0), b->GetNodeTM(0)));
    EXPECT_NE(b->GetWireColor(), 0x000000FFu);
    theHold.Redo();
    EXPECT_STREQ(b->GetName(), L"Renamed");
    EXPECT_TRUE(b->IsHidden());
    EXPECT_TRUE((Point3() * b->GetObjectTM(0)).Equals(b->GetNodeTM(0).GetTrans() + Point3(0, 0, 1), 1e-5f));
    EXPECT_EQ(b->GetWireColor(), 0x000000FFu);

    // Cancel puts everything back at once.
    theHold.Begin();
    b->SetName(L"Cancelled");
    a->AttachChild(b);
    theHold.Cancel();
    EXPECT_STREQ(b->GetName(), L"Renamed");
    EXPECT_EQ(b->GetParentNode(), ip()->GetRootNode());
}

TEST_F(SceneUndo, DeleteNodesRemovesATabAsOneStep) {
    INode* a = MakeNode(Trans(1, 0, 0), nullptr, L"A");
    INode* b = MakeNode(Trans(0, 1, 0), a, L"B");
    INode* c = MakeNode(Trans(0, 0, 1), b, L"C");
    INodeTab tab;
    tab.push_back(a);
    tab.push_back(b);
    theHold.Begin();
    ip()->DeleteNodes(tab);
    theHold.Accept(L"Delete");
    EXPECT_EQ(ip()->GetINodeByName(L"A"), nullptr);
    EXPECT_EQ(ip()->GetINodeByName(L"B"), nullptr);
    EXPECT_EQ(c->GetParentNode(), ip()->GetRootNode());
    EXPECT_TRUE(c->GetNodeTM(0).GetTrans().Equals(Point3(1, 1, 1), 1e-5f));

    theHold.Undo();
    EXPECT_EQ(ip()->GetINodeByName(L"A"), a);
    EXPECT_EQ(b->GetParentNode(), a);
    EXPECT_EQ(c->GetParentNode(), b);
    EXPECT_TRUE(c->GetNodeTM(0).GetTrans().Equals(Point3(1, 1, 1), 1e-5f));
}

TEST_F(SceneUndo, OneAcceptUndoesAWholeBuild) {
    theHold.Begin();
    INode* root = MakeNode(Trans(0, 0, 1), nullptr, L"Hips");
    INode* spine = MakeNode(Trans(0, 0, 1), root, L"Spine");
    MakeNode(Trans(0, 0, 1), spine, L"Head");
    root->SetObjectRef(new TestHelper());
    theHold.Accept(L"Build");
    EXPECT_EQ(theHold.NumUndoRecords(), 1);

    theHold.Undo();
    EXPECT_EQ(ip()->GetRootNode()->NumberOfChildren(), 0);
    for (const wchar_t* name : {L"Hips", L"Spine", L"Head"}) EXPECT_EQ(ip()->GetINodeByName(name), nullptr);
    theHold.Redo();
    INode* head = ip()->GetINodeByName(L"Head");
    ASSERT_NE(head, nullptr);
    EXPECT_STREQ(head->GetParentNode()->GetName(), L"Spine");
    EXPECT_TRUE(head->GetNodeTM(0).GetTrans().Equals(Point3(0, 0, 3), 1e-5f));
}
