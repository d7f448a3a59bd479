#include <gtest/gtest.h>
#include "test_objects.h"
#include "weakref.h"

using kttest::Thing;

namespace {
// A target that watches others weakly and logs what they say.
class Watcher : public Thing, public WeakRefOwner {
public:
    Watcher() : Thing(0) {}
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* w = new Watcher();
        w->CloneWeakRefs(*this, remap);
        BaseClone(this, w, remap);
        return w;
    }
    std::vector<std::pair<int, RefMessage>> heard;

protected:
    void WeakRefChanged(int index, ReferenceTarget*, PartID, RefMessage msg) override {
        heard.emplace_back(index, msg);
    }
};
struct HoldReset {
    ~HoldReset() { theHold.Reset(); }
};
}  // namespace

TEST(WeakReferences, ReadNullAfterDeleteAndNeverKeepTargetsAlive) {
    HoldReset reset;
    int deleted = 0;
    auto* w = new Watcher();
    auto* t = new Thing(0, &deleted);
    auto* holder = new Thing(1);
    holder->ReplaceReference(0, t);
    w->AppendWeakRef(t);
    EXPECT_EQ(w->GetWeakRef(0), t);
    EXPECT_EQ(t->NumRealDependents(), 1);

    t->NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    ASSERT_FALSE(w->heard.empty());
    EXPECT_EQ(w->heard.back(), std::make_pair(0, REFMSG_CHANGE));

    holder->ReplaceReference(0, nullptr);
    EXPECT_EQ(deleted, 1) << "a weak reference does not keep its target";
    EXPECT_EQ(w->GetWeakRef(0), nullptr);
    EXPECT_EQ(w->heard.back(), std::make_pair(0, REFMSG_TARGET_DELETED));
    EXPECT_EQ(w->GetWeakRef(7), nullptr) << "out of range reads null";

    holder->DeleteMe();
    w->DeleteMe();
}

TEST(WeakReferences, SetsUndoAndCloneRemapsTargetsClonedTogether) {
    HoldReset reset;
    auto* a = new Thing(0);
    auto* b = new Thing(0);
    auto* keepA = new Thing(2);
    keepA->ReplaceReference(0, a);
    keepA->ReplaceReference(1, b);
    auto* w = new Watcher();
    w->SetWeakRef(0, a);

    theHold.Begin();
    w->SetWeakRef(0, b);
    theHold.Accept(L"Pick");
    theHold.Undo();
    EXPECT_EQ(w->GetWeakRef(0), a);
    theHold.Redo();
    EXPECT_EQ(w->GetWeakRef(0), b);

    // Clone the watcher together with a (as a group), but not b.
    w->SetWeakRef(1, a);
    struct Group : Thing {
        Group() : Thing(2) {}
    };
    auto* group = new Group();
    group->ReplaceReference(0, w);  // the watcher comes first: a is not cloned yet when it is
    group->ReplaceReference(1, a);
    auto* copy = static_cast<Thing*>(CloneRefHierarchy(group));
    auto* wCopy = dynamic_cast<Watcher*>(copy->refs[0]);
    ASSERT_NE(wCopy, nullptr);
    EXPECT_EQ(wCopy->GetWeakRef(0), b) << "b was not cloned: the copy watches the original";
    EXPECT_EQ(wCopy->GetWeakRef(1), copy->refs[1]) << "a was cloned later in the same operation";
    EXPECT_NE(copy->refs[1], a);

    theHold.Reset();
    copy->DeleteMe();
    group->DeleteMe();
    keepA->DeleteMe();
}
