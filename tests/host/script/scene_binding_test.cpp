// Scene values through deletion and undo, paths, time contexts, and key reduction in one hold.
#include <gtest/gtest.h>

#include "control.h"
#include "hold.h"
#include "inode.h"
#include "keyctrl.h"
#include "maxapi.h"
#include "script/scene_values.h"
#include "script_test_util.h"

using host::script::Interpreter;
using host::script::RunOptions;

namespace {

struct Scene {
    Scene() { host::ResetScene(); }
    ~Scene() { host::ResetScene(); }
};

std::string Eval(Interpreter& in, const std::string& text) {
    RunOptions quiet;
    quiet.quiet = true;
    auto r = in.Run(text, quiet);
    return r.ok ? r.value.Print() : r.error;
}

}  // namespace

TEST(ScriptScene, NodeValuesFollowDeletionUndoAndRenames) {
    Scene scene;
    Interpreter in(true);
    host::ListenerCapture listener;
    EXPECT_EQ(Eval(in, "a = Point name:\"alpha\"\nb = $alpha\n#(a == b, isValidNode a)"), "#(true, true)");
    INode* node = host::script::scene::ToNode(in.GetGlobal("a"));
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(host::script::scene::ToNode(host::script::scene::NodeValue(node)), node);

    // renaming does not lose the value; paths see the new name
    EXPECT_EQ(Eval(in, "a.name = \"beta\"\n#(b.name, $alpha, $beta == a)"), "#(\"beta\", undefined, true)");

    theHold.Reset();
    EXPECT_EQ(Eval(in, "undo \"Delete\" on delete a\n#(isValidNode a, isDeleted b, a)"),
              "#(false, true, <Deleted scene node>)");
    EXPECT_EQ(Eval(in, "a.pos"), "-- Runtime error: Attempt to access deleted scene object");
    // undo brings the node back and the old value finds it again
    EXPECT_EQ(Eval(in, "max undo\n#(isValidNode a, a.name, objects.count)"), "#(true, \"beta\", 1)");
    theHold.Reset();
}

TEST(ScriptScene, PathsReachNodesByNameHierarchyAndPattern) {
    Scene scene;
    Interpreter in(true);
    host::ListenerCapture listener;
    Eval(in, "r = Point name:\"root\"\n"
             "a = Point name:\"arm_L\" parent:r\n"
             "Point name:\"hand_L\" parent:a\n"
             "Point name:\"arm_R\" parent:r\n"
             "Point name:\"hand\"");
    EXPECT_EQ(Eval(in, "$root/arm_L/hand_L"), "$Point:hand_L");
    EXPECT_EQ(Eval(in, "$root/arm_L/missing"), "undefined");
    EXPECT_EQ(Eval(in, "$arm_?"), "#($Point:arm_L, $Point:arm_R)");
    EXPECT_EQ(Eval(in, "$root/*"), "#($Point:arm_L, $Point:arm_R)");
    EXPECT_EQ(Eval(in, "$HAND_l"), "$Point:hand_L");
    EXPECT_EQ(Eval(in, "$nothing*"), "#()");
    EXPECT_EQ(Eval(in, "$"), "undefined");
    EXPECT_EQ(Eval(in, "select $arm_*\n$"), "#($Point:arm_L, $Point:arm_R)");
    EXPECT_EQ(Eval(in, "select $hand\n$"), "$Point:hand");
    EXPECT_EQ(Eval(in, "$root.parent = $hand_L"), "-- Runtime error: Cannot link $Point:root to its own descendant");
}

TEST(ScriptScene, TimeContextsReadAndKeyAnimatedValues) {
    Scene scene;
    Interpreter in(true);
    host::ListenerCapture listener;
    Eval(in, "p = Point name:\"p\"\n"
             "with animate on (at time 0 p.pos = [0,0,0]; at time 20 p.pos = [0,0,100])");
    EXPECT_EQ(Eval(in, "numKeys p.controller.position"), "2");
    EXPECT_EQ(Eval(in, "at time 20 p.pos"), "[0,0,100]");
    EXPECT_EQ(Eval(in, "at time 20 (at time 0 p.pos)"), "[0,0,0]");
    EXPECT_EQ(Eval(in, "at time 20f currentTime"), "20f");
    EXPECT_EQ(Eval(in, "sliderTime = 20\np.pos"), "[0,0,100]");
    EXPECT_EQ(Eval(in, "for t = 0 to 20 by 10 collect (at time t p.pos.z > 0)"), "#(false, true, true)");
    // outside animate mode a set moves the current key
    EXPECT_EQ(Eval(in, "p.pos = [0,0,50]\n#(numKeys p.controller.position, at time 20 p.pos)"), "#(2, [0,0,50])");
    EXPECT_EQ(Eval(in, "animButtonState"), "false");
    Eval(in, "sliderTime = 0");
}

TEST(ScriptScene, ReduceKeysKeepsTheShapeAndMakesOneHold) {
    Scene scene;
    Interpreter in(true);
    host::ListenerCapture listener;
    // a ramp up to frame 10 and flat after it: only the ends and the corner matter
    Eval(in, "f = bezier_float()\n"
             "with animate on (for t = 0 to 30 do at time t f.value = (if t <= 10 then t * 2.0 else 20.0))");
    ASSERT_EQ(Eval(in, "numKeys f"), "31");
    std::string before = Eval(in, "for t = 0 to 30 collect (at time t f.value)");
    theHold.Reset();
    EXPECT_EQ(Eval(in, "undo \"Simplify Curve\" on (\nlocal target\ntarget = f\n"
                       "if target != undefined do reduceKeys target 0.5 1f (interval 0t 4800t)\n)\nnumKeys f <= 4"),
              "true");
    // the ends and the corner carry the shape; a key just before the corner may stay to hold the
    // ramp straight against the corner's flattened tangent
    EXPECT_EQ(Eval(in, "for t in #(0f, 10f, 30f) where findItem (for k in f.keys collect k.time) t == 0 collect t"),
              "#()");
    EXPECT_EQ(theHold.NumUndoRecords(), 1);
    EXPECT_EQ(theHold.UndoName(), MSTR(L"Simplify Curve"));
    // every sample stays within the threshold
    EXPECT_EQ(Eval(in, "for t = 0 to 30 where abs ((at time t f.value) - (if t <= 10 then t * 2.0 else 20.0)) > 0.5 "
                       "collect t"),
              "#()");
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(Eval(in, "numKeys f"), "31");
    EXPECT_EQ(Eval(in, "for t = 0 to 30 collect (at time t f.value)"), before);
    // a range keeps the keys outside it and its own first and last: 21f..29f go
    Eval(in, "reduceKeys f 0.5 1f (interval 20f 30f)");
    EXPECT_EQ(Eval(in, "numKeys f"), "22");
    EXPECT_EQ(Eval(in, "for k in f.keys where k.time > 19f collect k.time"), "#(20f, 30f)");
    theHold.Reset();
}
