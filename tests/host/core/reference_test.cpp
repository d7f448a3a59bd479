#include <gtest/gtest.h>
#include "test_objects.h"
#include "weakref.h"

using kttest::Thing;

namespace {
struct HoldReset {
    ~HoldReset() { theHold.Reset(); }
};
}  // namespace

TEST(References, DependentsFollowEverySwapAndReleaseWhatNobodyNeeds) {
    HoldReset reset;
    long live = Animatable::LiveCount();
    int deleted = 0;
    auto* owner = new Thing(2);
    auto* a = new Thing(0, &deleted);
    auto* b = new Thing(0, &deleted);

    ASSERT_EQ(owner->ReplaceReference(0, a), REF_SUCCEED);
    ASSERT_EQ(owner->ReplaceReference(1, a), REF_SUCCEED);
    EXPECT_EQ(a->NumDependents(), 2);  // one entry per slot

    owner->ReplaceReference(0, b);
    EXPECT_EQ(a->NumDependents(), 1);
    EXPECT_EQ(deleted, 0) << "a is still referenced by slot 1";
    owner->ReplaceReference(1, nullptr);
    EXPECT_EQ(deleted, 1) << "a lost its last dependent outside a hold";

    // Out-of-range slots fail and change nothing.
    EXPECT_EQ(owner->ReplaceReference(5, b), REF_FAIL);

    owner->DeleteMe();
    EXPECT_EQ(deleted, 2) << "deleting the owner releases b";
    EXPECT_EQ(Animatable::LiveCount(), live);
}

TEST(References, MessagesTravelThroughDependentsUntilSomeoneStopsThem) {
    auto* leaf = new Thing(0);
    auto* mid = new Thing(1);
    auto* top = new Thing(1);
    mid->ReplaceReference(0, leaf);
    top->ReplaceReference(0, mid);

    leaf->NotifyDependents(FOREVER, PART_GEOM, REFMSG_CHANGE);
    ASSERT_EQ(mid->log.size(), 1u);
    ASSERT_EQ(top->log.size(), 1u);
    EXPECT_EQ(mid->lastFrom, leaf);
    EXPECT_EQ(top->lastFrom, mid) << "each dependent hears it from its own target";
    EXPECT_EQ(top->lastPart, PART_GEOM);

    mid->stopMessages = true;
    leaf->NotifyDependents(FOREVER, PART_GEOM, REFMSG_CHANGE);
    EXPECT_EQ(mid->log.size(), 2u);
    EXPECT_EQ(top->log.size(), 1u) << "REF_STOP keeps the message from going past mid";

    mid->stopMessages = false;
    leaf->NotifyDependents(FOREVER, PART_GEOM, REFMSG_CHANGE, NOTIFY_ALL, FALSE);
    EXPECT_EQ(top->log.size(), 1u) << "without propagate only direct dependents hear it";

    DisableRefMsgs();
    leaf->NotifyDependents(FOREVER, PART_GEOM, REFMSG_CHANGE);
    EnableRefMsgs();
    EXPECT_EQ(mid->log.size(), 3u);

    top->DeleteMe();
}

TEST(References, DeletingATargetNullsEveryReferenceToIt) {
    HoldReset reset;
    auto* a = new Thing(2);
    auto* b = new Thing(1);
    auto* victim = new Thing(0);
    a->ReplaceReference(0, victim);
    a->ReplaceReference(1, victim);
    b->ReplaceReference(0, victim);

    victim->DeleteMe();
    EXPECT_EQ(a->refs[0], nullptr);
    EXPECT_EQ(a->refs[1], nullptr);
    EXPECT_EQ(b->refs[0], nullptr);
    EXPECT_EQ(a->log.back(), REFMSG_TARGET_DELETED);
    EXPECT_EQ(b->log.back(), REFMSG_TARGET_DELETED);
    a->DeleteMe();
    b->DeleteMe();
}

TEST(References, ASwapItsUndoAndRedoTellTheMakersDependents) {
    HoldReset reset;
    auto* top = new Thing(1);
    auto* mid = new Thing(1);
    auto* a = new Thing(0);
    auto* b = new Thing(0);
    top->ReplaceReference(0, mid);
    mid->ReplaceReference(0, a);
    top->log.clear();
    theHold.Begin();
    mid->ReplaceReference(0, b);
    theHold.Accept(L"Swap");
    ASSERT_FALSE(top->log.empty()) << "a cache above mid would keep what a gave it";
    EXPECT_EQ(top->log.back(), REFMSG_CHANGE);
    EXPECT_EQ(top->lastFrom, mid);
    top->log.clear();
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(mid->refs[0], a);
    ASSERT_FALSE(top->log.empty()) << "a cache above mid would keep what b gave it";
    EXPECT_EQ(top->log.back(), REFMSG_CHANGE);
    EXPECT_EQ(top->lastFrom, mid);
    top->log.clear();
    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(mid->refs[0], b);
    ASSERT_FALSE(top->log.empty());
    EXPECT_EQ(top->log.back(), REFMSG_CHANGE);
    theHold.Reset();
    top->DeleteMe();
}

TEST(References, DependencyTestFindsCyclesAndRefusesThem) {
    // chain: c -> b -> a (c refers to b, b refers to a), so c and b depend on a.
    auto* a = new Thing(1);
    auto* b = new Thing(1);
    auto* c = new Thing(1);
    b->ReplaceReference(0, a);
    c->ReplaceReference(0, b);

    EXPECT_TRUE(a->DependsOn(c));
    EXPECT_TRUE(a->DependsOn(b));
    EXPECT_FALSE(c->DependsOn(a));
    EXPECT_FALSE(b->DependsOn(a));

    // The bit protocol itself, as validators use it.
    c->ClearAFlag(A_DEPENDENCY_TEST);
    a->NotifyDependents(FOREVER, 0, REFMSG_TEST_DEPENDENCY);
    EXPECT_TRUE(c->TestAFlag(A_DEPENDENCY_TEST));
    EXPECT_EQ(c->log.back(), REFMSG_TEST_DEPENDENCY);

    // a referring to c would close the loop.
    EXPECT_EQ(a->ReplaceReference(0, c), REF_FAIL);
    EXPECT_EQ(a->refs[0], nullptr);
    EXPECT_EQ(a->ReplaceReference(0, a), REF_FAIL);

    // Weak references carry no dependency.
    struct Watcher : Thing, WeakRefOwner {
        Watcher() : Thing(0) {}
    };
    auto* w = new Watcher();
    auto* keep = new Thing(2);  // keeps a and w alive while b's reference moves between them
    keep->ReplaceReference(0, a);
    keep->ReplaceReference(1, w);
    w->AppendWeakRef(a);
    c->ClearAFlag(A_DEPENDENCY_TEST);
    EXPECT_FALSE(a->DependsOn(w));
    EXPECT_EQ(b->ReplaceReference(0, w), REF_SUCCEED) << "w watching a does not make b->w a loop";
    EXPECT_EQ(b->ReplaceReference(0, a), REF_SUCCEED);

    // A stop in the middle hides what lies past it, as the host does.
    b->stopMessages = true;
    EXPECT_FALSE(a->DependsOn(c));
    b->stopMessages = false;

    c->DeleteMe();
    keep->DeleteMe();
}

TEST(References, CloneMapsSharedTargetsOnceAndRunsPostPatchProcs) {
    HoldReset reset;
    auto* shared = new Thing(0);
    shared->value = 7;
    auto* root = new Thing(2);
    root->ReplaceReference(0, shared);
    root->ReplaceReference(1, shared);

    struct CountProc : PostPatchProc {
        int* runs;
        explicit CountProc(int* r) : runs(r) {}
        int Proc(RemapDir&) override { ++*runs; return 1; }
    };
    int runs = 0;
    RemapDir& remap = NewRemapDir();
    auto* copy = static_cast<Thing*>(remap.CloneRef(root));
    RefTargetHandle patched = shared;
    remap.PatchPointer(&patched, shared);
    remap.AddPostPatchProc(new CountProc(&runs), true);
    EXPECT_EQ(runs, 0) << "procs wait for Backpatch";
    remap.Backpatch();
    remap.DeleteThis();

    ASSERT_NE(copy, nullptr);
    ASSERT_NE(copy->refs[0], nullptr);
    EXPECT_NE(copy->refs[0], shared);
    EXPECT_EQ(copy->refs[0], copy->refs[1]) << "one clone for a target referred to twice";
    EXPECT_EQ(static_cast<Thing*>(copy->refs[0])->value, 7);
    EXPECT_EQ(patched, copy->refs[0]);
    EXPECT_EQ(runs, 1);

    root->DeleteMe();
    copy->DeleteMe();
}

TEST(References, HandlesFindLiveObjectsOnlyAndAreNeverReused) {
    auto* a = new Thing(0);
    AnimHandle h = Animatable::GetHandleByAnim(a);
    EXPECT_EQ(Animatable::GetAnimByHandle(h), a);
    a->DeleteMe();
    EXPECT_EQ(Animatable::GetAnimByHandle(h), nullptr);
    auto* b = new Thing(0);
    EXPECT_NE(Animatable::GetHandleByAnim(b), h);
    b->DeleteMe();
}
