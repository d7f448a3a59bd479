// Language behaviours that the reference suite cannot show from the outside: scope resolution,
// value semantics, re-entrant runs and the plug-in's entry point.
#include <gtest/gtest.h>

#include "maxscript.h"
#include "script_test_util.h"

using host::script::CallArgs;
using host::script::Interpreter;
using host::script::RunOptions;
using host::script::Tag;
using SValue = host::script::Value;
using script_test::ScriptRun;

TEST(ScriptLanguage, GlobalsPersistAcrossRunsAndBlocksKeepTheirLocals) {
    Interpreter in(true);
    host::ListenerCapture listener;
    ASSERT_TRUE(in.Run("counter = 41\n(blockLocal = 1)\nfn bump = counter += 1").ok);
    auto r = in.Run("bump()\ncounter");
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(r.value.RawInt(), 42);
    EXPECT_FALSE(in.HasGlobal("blockLocal"));
    EXPECT_EQ(in.GetGlobal("counter").RawInt(), 42);
    // a name that is global by now resolves to the global inside a later function
    r = in.Run("fn readCounter = counter\nreadCounter()");
    EXPECT_EQ(r.value.RawInt(), 42);
    // names are case-insensitive
    r = in.Run("COUNTER");
    EXPECT_EQ(r.value.RawInt(), 42);
}

TEST(ScriptLanguage, ClosuresKeepTheirOwnFrames) {
    ScriptRun r("fn make start = (local n = start; fn step = (n += 1; n); step)\n"
          "a = make 10\nb = make 100\na()\na()\nb()\n#(a(), b())");
    ASSERT_TRUE(r.result.ok) << r.Output();
    EXPECT_EQ(r.result.value.Print(), "#(13, 102)");
}

TEST(ScriptLanguage, VectorsAreValuesAndArraysAreShared) {
    ScriptRun r("p = [1,2,3]\nq = p\nq.x = 9\na = #(p)\nb = a\nb[1].y = 7\n#(p, q, a[1])");
    ASSERT_TRUE(r.result.ok) << r.Output();
    EXPECT_EQ(r.result.value.Print(), "#([1,2,3], [9,2,3], [1,7,3])");
}

TEST(ScriptLanguage, PrimitivesMayRunNestedTexts) {
    Interpreter in(true);
    host::ListenerCapture listener;
    in.RegisterPrimitive("runNested", [](Interpreter& in, const CallArgs& a) {
        RunOptions quiet;
        quiet.quiet = true;
        auto r = in.Run(a[0].ToStr(), quiet);
        return r.ok ? r.value : SValue::String(r.error);
    });
    auto r = in.Run("shared = 5\nx = runNested \"shared * 2\"\ny = runNested \"undefined.nope\"\n#(x, y, shared)");
    ASSERT_TRUE(r.ok) << listener.Text();
    EXPECT_EQ(r.value.Print(), "#(10, \"-- Unknown property: \\\"nope\\\" in undefined\", 5)");
}

TEST(ScriptLanguage, EchoModePrintsEachTopLevelValue) {
    RunOptions echo;
    echo.echo = true;
    ScriptRun r("1 + 1\nx = \"s\"\nfn f = 1", echo);
    EXPECT_EQ(r.Output(), "2\n\"s\"\nf()\n");
}

TEST(ScriptLanguage, PluginSettingsTextsRoundTripThroughTheIniFile) {
    script_test::TempDir config;
    ::setenv("KT_HOST_CONFIG_DIR", config.Path().c_str(), 1);
    host::ListenerCapture listener;
    EXPECT_EQ(ExecuteMAXScriptScript(L"SetINISetting (getMAXIniFile()) \"Kinetrope\" \"PoseKit_Docked\" \"1\"", TRUE),
              TRUE);
    auto r = Interpreter::Global().Run("GetINISetting (getMAXIniFile()) \"Kinetrope\" \"PoseKit_Docked\"");
    EXPECT_EQ(r.value.ToStr(), "1");
    r = Interpreter::Global().Run("GetINISetting (getMAXIniFile()) \"Kinetrope\" \"Missing\"");
    EXPECT_EQ(r.value.ToStr(), "");
    r = Interpreter::Global().Run("getMAXIniFile()");
    EXPECT_EQ(r.value.ToStr(), config.File("host.ini"));
    ::unsetenv("KT_HOST_CONFIG_DIR");
    EXPECT_EQ(listener.Text(), "");
}

TEST(ScriptLanguage, UIActionTextReportsItsErrorThroughTheMessageBox) {
    host::ScriptedPrompts prompts;
    host::PromptProvider* previous = host::SetPromptProvider(&prompts);
    host::ListenerCapture listener;
    std::wstring text = L"try(\nundo \"UI Action\" on(\nctl=undefined\nctl.pos = [1,2,3]\n)\n)catch(messagebox "
                        L"(getCurrentException()) title:\"UI Action\")";
    EXPECT_EQ(ExecuteMAXScriptScript(text.c_str(), TRUE), TRUE);
    host::SetPromptProvider(previous);
    ASSERT_EQ(prompts.AskedPrompts().size(), 1u);
    EXPECT_EQ(prompts.AskedPrompts()[0].title, L"UI Action");
    EXPECT_EQ(prompts.AskedPrompts()[0].text, L"-- Unknown property: \"pos\" in undefined");
    EXPECT_EQ(prompts.AskedPrompts()[0].buttons, host::PromptButtons::Ok);
}

TEST(ScriptLanguage, PromptAnswersComeFromTheProvider) {
    host::ScriptedPrompts prompts;
    prompts.Push(host::PromptAnswer::No);
    prompts.Push(host::PromptAnswer::Cancel);
    host::PromptProvider* previous = host::SetPromptProvider(&prompts);
    ScriptRun r("#(queryBox \"sure?\" title:\"Q\", yesNoCancelBox \"save?\", queryBox \"again?\")");
    host::SetPromptProvider(previous);
    ASSERT_TRUE(r.result.ok) << r.Output();
    // the queue answers the first two; the third gets the default
    EXPECT_EQ(r.result.value.Print(), "#(false, #cancel, true)");
    ASSERT_EQ(prompts.AskedPrompts().size(), 3u);
    EXPECT_EQ(prompts.AskedPrompts()[0].title, L"Q");
    EXPECT_EQ(prompts.AskedPrompts()[1].buttons, host::PromptButtons::YesNoCancel);
}

TEST(ScriptLanguage, BlocksThatAssignHostNamesKeepThemLocal) {
    Interpreter in(true);
    host::ListenerCapture listener;
    // a UI action that names its variable after a built-in must not break the built-in
    auto r = in.Run("try (\nlength = 5\nselection2 = 1\nfn distance a b = 0\nlength + distance 1 2\n) catch ()");
    ASSERT_TRUE(r.ok) << listener.Text();
    EXPECT_EQ(r.value.RawInt(), 5);
    r = in.Run("#(length [3,4,0], distance [0,0,0] [0,0,2])");
    ASSERT_TRUE(r.ok) << listener.Text();
    EXPECT_EQ(r.value.Print(), "#(5.0, 2.0)");
    // declared global, or at top level, the name is the global one
    r = in.Run("(global length; length = 1)\nlength");
    EXPECT_EQ(r.value.Print(), "1");
    r = in.Run("distance = 2\ndistance");
    EXPECT_EQ(r.value.Print(), "2");
    // system globals keep writing through to the host
    r = in.Run("(sliderTime = 12f)\nsliderTime");
    EXPECT_EQ(r.value.Print(), "12f");
    in.Run("sliderTime = 0");
}
