// Primitives defined the way plug-ins define them (maxscript.h).
#include <gtest/gtest.h>

#include "inode.h"
#include "maxscript.h"
#include "script_test_util.h"

def_visible_primitive(scriptTestJoin, "scriptTestJoin");

Value* scriptTestJoin_cf(Value** arg_list, int count) {
    check_arg_count(scriptTestJoin, 2, count);
    if (!is_node(arg_list[0])) throw RuntimeError(_M("Expected a Node for the first argument, in function scriptTestJoin"));
    INode* n = arg_list[0]->to_node();
    if (!n) throw RuntimeError(_M("Expected a valid Node for Start Joint, in function scriptTestJoin"));
    auto* a = new Array(3);
    a->append(MAXNode::intern(n));
    a->append(new String(n->GetName()));
    a->append(Float::intern(arg_list[1]->to_float() * 2));
    return a;
}

def_visible_primitive(scriptTestNothing, "scriptTestNothing");

Value* scriptTestNothing_cf(Value**, int count) {
    check_arg_count(scriptTestNothing, 0, count);
    return &undefined;
}

TEST(ScriptPrimitives, PluginPrimitivesCheckTheirArgumentsWithTheHostTexts) {
    host::ResetScene();
    INode* node = GetCOREInterface()->CreateObjectNode(nullptr, L"joint");
    ASSERT_NE(node, nullptr);
    node->SetName(L"joint");
    host::script::RunOptions quiet;
    quiet.quiet = true;
    host::script::Interpreter in(true);
    auto r = in.Run("scriptTestJoin $joint 1.5", quiet);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.value.Print(), "#($Node:joint, \"joint\", 3.0)");

    r = in.Run("scriptTestJoin $joint", quiet);
    EXPECT_EQ(r.error, "-- Argument count error: scriptTestJoin wanted 2, got 1");
    EXPECT_EQ(r.line, 1);
    r = in.Run("scriptTestJoin 5 1", quiet);
    EXPECT_EQ(r.error, "-- Runtime error: Expected a Node for the first argument, in function scriptTestJoin");
    r = in.Run("scriptTestJoin $joint \"x\"", quiet);
    EXPECT_EQ(r.error, "-- Unable to convert: \"x\" to type: Float");
    r = in.Run("j = $joint\ndelete j\nscriptTestJoin j 1", quiet);
    EXPECT_EQ(r.error, "-- Runtime error: Expected a valid Node for Start Joint, in function scriptTestJoin");
    r = in.Run("try (scriptTestJoin 1 2) catch (getCurrentException())", quiet);
    EXPECT_EQ(r.value.ToStr(), "-- Runtime error: Expected a Node for the first argument, in function scriptTestJoin");

    r = in.Run("scriptTestNothing()", quiet);
    ASSERT_TRUE(r.ok);
    EXPECT_TRUE(r.value.IsUndefined());
    // the host's own interpreter knows them too
    r = host::script::Interpreter::Global().Run("scriptTestNothing 1", quiet);
    EXPECT_EQ(r.error, "-- Argument count error: scriptTestNothing wanted 0, got 1");
    host::ResetScene();
}
