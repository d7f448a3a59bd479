#include <gtest/gtest.h>
#include <string>
#include "test_objects.h"

using kttest::Thing;

namespace {
struct HoldReset {
    HoldReset() { theHold.Reset(); }
    ~HoldReset() { theHold.Reset(); }
};

// Appends its tag to a shared log on every restore and redo.
class TagRestore : public RestoreObj {
public:
    TagRestore(std::string* log, char tag) : log_(log), tag_(tag) {}
    void Restore(int isUndo) override { *log_ += isUndo ? static_cast<char>(std::toupper(tag_)) : tag_; }
    void Redo() override { *log_ += tag_; }

private:
    std::string* log_;
    char tag_;
};
}  // namespace

TEST(Hold, UndoRestoresNewestFirstAndRedoReplaysOldestFirst) {
    HoldReset reset;
    std::string log;
    theHold.Begin();
    theHold.Put(new TagRestore(&log, 'a'));
    theHold.Put(new TagRestore(&log, 'b'));
    theHold.Put(new TagRestore(&log, 'c'));
    theHold.Accept(L"Three Steps");
    EXPECT_EQ(theHold.UndoName(), MSTR(L"Three Steps"));

    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(log, "CBA");
    EXPECT_EQ(theHold.RedoName(), MSTR(L"Three Steps"));
    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(log, "CBAabc");
    EXPECT_FALSE(theHold.Redo());

    // Cancel restores at once, not as an undo, and leaves no record.
    log.clear();
    theHold.Begin();
    theHold.Put(new TagRestore(&log, 'x'));
    theHold.Put(new TagRestore(&log, 'y'));
    theHold.Cancel();
    EXPECT_EQ(log, "yx");
    EXPECT_EQ(theHold.NumUndoRecords(), 1);

    // An empty hold makes no record; nested holds make one.
    theHold.Begin();
    theHold.Accept(L"Nothing");
    EXPECT_EQ(theHold.NumUndoRecords(), 1);
    theHold.Begin();
    theHold.Put(new TagRestore(&log, 'p'));
    theHold.Begin();
    theHold.Put(new TagRestore(&log, 'q'));
    theHold.Accept(L"Inner");
    theHold.Accept(L"Outer");
    EXPECT_EQ(theHold.NumUndoRecords(), 2);
    EXPECT_EQ(theHold.UndoName(), MSTR(L"Outer"));
}

TEST(Hold, SuspendedAndRestoringHoldsTakeNothing) {
    HoldReset reset;
    std::string log;
    EXPECT_FALSE(theHold.Holding());
    theHold.Put(new TagRestore(&log, 'z'));  // no hold open: deleted, not kept

    theHold.Begin();
    theHold.Suspend();
    EXPECT_TRUE(theHold.IsSuspended());
    EXPECT_FALSE(theHold.Holding());
    theHold.Put(new TagRestore(&log, 's'));
    theHold.Resume();
    EXPECT_TRUE(theHold.Holding());
    theHold.Put(new TagRestore(&log, 'r'));
    theHold.Accept(L"Bulk");
    theHold.Undo();
    EXPECT_EQ(log, "R") << "only what was put while resumed is restored";
}

TEST(Hold, OncePerHoldFlagKeepsTheFirstBeforeState) {
    HoldReset reset;
    Thing* t = new Thing(0);
    t->value = 1;
    theHold.Begin();
    t->SetValueUndoable(2);
    t->SetValueUndoable(3);
    theHold.Accept(L"Edit");
    EXPECT_FALSE(t->TestAFlag(A_HELD)) << "EndHold clears the flag";
    theHold.Begin();
    t->SetValueUndoable(4);
    theHold.Accept(L"Edit Again");

    theHold.Undo();
    EXPECT_EQ(t->value, 3);
    theHold.Undo();
    EXPECT_EQ(t->value, 1);
    theHold.Redo();
    EXPECT_EQ(t->value, 3);
    theHold.Redo();
    EXPECT_EQ(t->value, 4);
    theHold.Reset();
    t->DeleteMe();
}

TEST(Hold, ReferenceSwapsUndoAndKeepDroppedTargetsAliveUntilTheRecordGoes) {
    HoldReset reset;
    int deleted = 0;
    long live = Animatable::LiveCount();
    auto* owner = new Thing(1);
    auto* first = new Thing(0, &deleted);
    auto* second = new Thing(0, &deleted);
    owner->ReplaceReference(0, first);

    theHold.Begin();
    owner->ReplaceReference(0, second);
    theHold.Accept(L"Swap");
    EXPECT_EQ(deleted, 0) << "the undo record still needs first";
    EXPECT_EQ(first->NumDependents(), 0);

    theHold.Undo();
    EXPECT_EQ(owner->refs[0], first);
    EXPECT_EQ(first->NumDependents(), 1);
    EXPECT_EQ(second->NumDependents(), 0);
    theHold.Redo();
    EXPECT_EQ(owner->refs[0], second);
    theHold.Undo();

    // A new step drops the redo branch; second is needed by nothing any more.
    auto* third = new Thing(0, &deleted);
    theHold.Begin();
    owner->ReplaceReference(0, third);
    theHold.Accept(L"Other");
    EXPECT_EQ(deleted, 1) << "second went with the redo record";
    theHold.Reset();
    EXPECT_EQ(deleted, 2) << "first went with the undo record";

    owner->DeleteMe();
    EXPECT_EQ(deleted, 3);
    EXPECT_EQ(Animatable::LiveCount(), live);
}

TEST(Hold, SuperAcceptGroupsRecordsAndOldRecordsDropOff) {
    HoldReset reset;
    std::string log;
    theHold.SuperBegin();
    for (char c : std::string("abc")) {
        theHold.Begin();
        theHold.Put(new TagRestore(&log, c));
        theHold.Accept(L"Part");
    }
    theHold.SuperAccept(L"Whole");
    EXPECT_EQ(theHold.NumUndoRecords(), 1);
    theHold.Undo();
    EXPECT_EQ(log, "CBA");

    theHold.Reset();
    theHold.SetMaxRecords(2);
    for (int i = 0; i < 5; ++i) {
        theHold.Begin();
        theHold.Put(new TagRestore(&log, 'n'));
        theHold.Accept(L"Step");
    }
    EXPECT_EQ(theHold.NumUndoRecords(), 2);
    theHold.SetMaxRecords(200);
}
