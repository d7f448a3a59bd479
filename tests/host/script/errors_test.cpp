// Errors: positions, nothing of a faulty text runs, quiet mode, host exceptions, and inputs that
// must not bring the host down.
#include <gtest/gtest.h>

#include <stdexcept>

#include "maxscript.h"
#include "script_test_util.h"

using host::script::CallArgs;
using host::script::Interpreter;
using host::script::RunOptions;
using SValue = host::script::Value;
using script_test::ScriptRun;

TEST(ScriptErrors, SyntaxErrorReportsLineAndColumnAndRunsNothing) {
    ScriptRun r("print \"first\"\nglobal ranAnyway = 1\nx = (1 + )\nprint \"last\"\n");
    EXPECT_FALSE(r.result.ok);
    EXPECT_TRUE(r.result.syntaxError);
    EXPECT_FALSE(r.result.incomplete);
    EXPECT_EQ(r.result.line, 3);
    EXPECT_EQ(r.result.column, 10);
    EXPECT_EQ(r.result.error, "-- Syntax error: at ), expected <factor>");
    EXPECT_EQ(r.Output(), "-- Syntax error: at ), expected <factor>\n--  In line 3, column 10: x = (1 + )\n");
    // the global named by the faulty text was not left behind either
    EXPECT_FALSE(r.in.HasGlobal("ranAnyway"));

    ScriptRun open("(\n  print 1\n");
    EXPECT_TRUE(open.result.syntaxError);
    EXPECT_TRUE(open.result.incomplete);
    EXPECT_EQ(open.Output().find("1\n"), std::string::npos);

    ScriptRun str("print \"never closed");
    EXPECT_TRUE(str.result.incomplete);
    EXPECT_EQ(str.result.line, 1);
    EXPECT_EQ(str.result.column, 7);

    ScriptRun badChar("x = 1 ~ 2");
    EXPECT_TRUE(badChar.result.syntaxError);
    EXPECT_EQ(badChar.result.column, 7);

    ScriptRun misplaced("exit");
    EXPECT_TRUE(misplaced.result.syntaxError);
}

TEST(ScriptErrors, RuntimeErrorNamesWhatAndWhere) {
    ScriptRun r("fn inner a =\n(\n  local b = a\n  b.nope\n)\nprint \"before\"\ninner 5\nprint \"after\"\n");
    EXPECT_FALSE(r.result.ok);
    EXPECT_FALSE(r.result.syntaxError);
    EXPECT_EQ(r.result.error, "-- Unknown property: \"nope\" in 5");
    EXPECT_EQ(r.result.line, 4);
    EXPECT_EQ(r.result.column, 3);
    EXPECT_EQ(r.Output(),
              "\"before\"\n-- Error occurred in anonymous codeblock at line 4, column 3\n"
              "-- Unknown property: \"nope\" in 5\n");

    RunOptions named;
    named.sourceName = "rig.ms";
    ScriptRun f("x = #(1)\nx[0]", named);
    EXPECT_EQ(f.Output(),
              "-- Error occurred in rig.ms at line 2, column 1\n"
              "-- Runtime error: array index must be positive number, got: 0\n");
}

TEST(ScriptErrors, QuietModeKeepsTheListenerClean) {
    RunOptions quiet;
    quiet.quiet = true;
    ScriptRun r("print 1\nundefined + 1", quiet);
    EXPECT_FALSE(r.result.ok);
    EXPECT_EQ(r.result.error, "-- No \"\"+\"\" function for undefined");
    EXPECT_EQ(r.Output(), "1\n");

    ScriptRun s("((", quiet);
    EXPECT_TRUE(s.result.syntaxError);
    EXPECT_EQ(s.Output(), "");

    host::ListenerCapture listener;
    EXPECT_EQ(ExecuteMAXScriptScript(L"undefined.foo", TRUE), FALSE);
    EXPECT_EQ(ExecuteMAXScriptScript(L"1 + 1", TRUE), TRUE);
    EXPECT_EQ(listener.Text(), "");
    EXPECT_EQ(ExecuteMAXScriptScript(L"undefined.foo", FALSE), FALSE);
    EXPECT_NE(listener.Text().find("-- Unknown property: \"foo\" in undefined"), std::string::npos);
}

TEST(ScriptErrors, HostExceptionsBecomeCatchableRuntimeErrors) {
    Interpreter in(true);
    host::ListenerCapture listener;
    in.RegisterPrimitive("failsInHost", [](Interpreter&, const CallArgs&) -> SValue {
        throw std::out_of_range("Invalid index passed into a Max SDK Tab::operator[]");
    });
    auto r = in.Run("failsInHost()");
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.error, "-- Runtime error: Invalid index passed into a Max SDK Tab::operator[]");
    EXPECT_EQ(r.line, 1);
    r = in.Run("try (failsInHost()) catch (getCurrentException())");
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(r.value.ToStr(), "-- Runtime error: Invalid index passed into a Max SDK Tab::operator[]");
}

TEST(ScriptErrors, RunawayInputsStopWithAnErrorInsteadOfCrashing) {
    RunOptions quiet;
    quiet.quiet = true;
    ScriptRun recursion("fn down n = down (n + 1)\ndown 0", quiet);
    EXPECT_FALSE(recursion.result.ok);
    EXPECT_EQ(recursion.result.error, "-- Runtime error: Stack overflow");
    // the interpreter is still usable afterwards
    EXPECT_TRUE(recursion.in.Run("1 + 1").ok);

    ScriptRun caught("fn down n = down (n + 1)\ntry (down 0) catch (\"recovered\")", quiet);
    ASSERT_TRUE(caught.result.ok);
    EXPECT_EQ(caught.result.value.ToStr(), "recovered");

    std::string nested(100000, '(');
    ScriptRun parens(nested, quiet);
    EXPECT_TRUE(parens.result.syntaxError);

    std::string chain = "x = 1";
    for (int i = 0; i < 100000; ++i) chain += " + 1";
    ScriptRun longChain(chain, quiet);
    // either it evaluates or it stops cleanly; it must not take the process down
    if (longChain.result.ok) EXPECT_EQ(longChain.result.value.RawInt(), 100001);
    else EXPECT_EQ(longChain.result.error, "-- Runtime error: Stack overflow");

    ScriptRun cyclic("a = #(1)\na[2] = a\nprint a", quiet);
    EXPECT_TRUE(cyclic.result.ok);
}
