// `undo "label" on (…)` makes exactly one hold; `max undo` and `max redo` walk the stack.
#include <gtest/gtest.h>

#include "hold.h"
#include "script_test_util.h"

using host::script::CallArgs;
using host::script::Interpreter;
using host::script::RunOptions;
using host::script::Value;

namespace {

// A change the script makes through a primitive: one restore object per call while holding.
struct Counter {
    int value = 0;
};

class CounterRestore : public RestoreObj {
public:
    CounterRestore(Counter& c, int before) : c_(c), before_(before), after_(c.value) {}
    void Restore(int) override { c_.value = before_; }
    void Redo() override { c_.value = after_; }

private:
    Counter& c_;
    int before_, after_;
};

void RegisterBump(Interpreter& in, Counter& c) {
    in.RegisterPrimitive("bump", [&c](Interpreter&, const CallArgs&) {
        int before = c.value++;
        if (theHold.Holding()) theHold.Put(new CounterRestore(c, before));
        return Value::Int(c.value);
    });
}

}  // namespace

TEST(ScriptUndo, UndoContextMakesExactlyOneNamedHold) {
    theHold.Reset();
    Counter c;
    Interpreter in(true);
    host::ListenerCapture listener;
    RegisterBump(in, c);

    auto r = in.Run("undo \"Three Bumps\" on (bump(); bump(); bump())");
    ASSERT_TRUE(r.ok) << listener.Text();
    EXPECT_EQ(c.value, 3);
    EXPECT_EQ(theHold.NumUndoRecords(), 1);
    EXPECT_EQ(theHold.UndoName(), MSTR(L"Three Bumps"));
    EXPECT_EQ(theHold.HoldDepth(), 0);

    ASSERT_TRUE(in.Run("max undo").ok);
    EXPECT_EQ(c.value, 0);
    ASSERT_TRUE(in.Run("max redo").ok);
    EXPECT_EQ(c.value, 3);

    // an error inside still closes the hold under its label
    r = in.Run("try (undo \"Failing\" on (bump(); throw \"stop\"; bump())) catch ()");
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(c.value, 4);
    EXPECT_EQ(theHold.NumUndoRecords(), 2);
    EXPECT_EQ(theHold.UndoName(), MSTR(L"Failing"));
    EXPECT_EQ(theHold.HoldDepth(), 0);

    // uncaught, too
    RunOptions quiet;
    quiet.quiet = true;
    r = in.Run("undo \"Uncaught\" on (bump(); undefined.x)", quiet);
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(theHold.NumUndoRecords(), 3);
    EXPECT_EQ(theHold.HoldDepth(), 0);

    // nested undo contexts still make one record
    r = in.Run("undo \"Outer\" on (bump(); undo \"Inner\" on (bump()))");
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(theHold.NumUndoRecords(), 4);
    EXPECT_EQ(theHold.UndoName(), MSTR(L"Outer"));
    ASSERT_TRUE(in.Run("max undo").ok);
    EXPECT_EQ(c.value, 5);

    // `undo off` records nothing, and the with-form and the label-less form work too
    int before = theHold.NumUndoRecords();
    ASSERT_TRUE(in.Run("undo off (bump())").ok);
    EXPECT_EQ(theHold.NumUndoRecords(), before);
    ASSERT_TRUE(in.Run("with undo \"With Form\" on bump()").ok);
    EXPECT_EQ(theHold.UndoName(), MSTR(L"With Form"));
    ASSERT_TRUE(in.Run("undo on (bump())").ok);
    EXPECT_EQ(theHold.NumUndoRecords(), before + 2);
    theHold.Reset();
}

TEST(ScriptUndo, UnknownMaxCommandIsARuntimeError) {
    RunOptions quiet;
    quiet.quiet = true;
    script_test::ScriptRun r("max frobnicate", quiet);
    EXPECT_EQ(r.result.error, "-- Runtime error: Unknown max command: frobnicate");
}
