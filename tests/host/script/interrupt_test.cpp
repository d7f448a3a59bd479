// The interrupt flag stops a running script at its next loop pass or call.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "script_test_util.h"

using host::script::CallArgs;
using host::script::Interpreter;
using host::script::RunOptions;
using host::script::Value;

TEST(ScriptInterrupt, FlagStopsLoopsAndRecursionAndTryCannotSwallowIt) {
    Interpreter in(true);
    host::ListenerCapture listener;
    in.RegisterPrimitive("pressCtrlC", [](Interpreter& in, const CallArgs&) {
        in.RequestInterrupt();
        return Value::Ok();
    });
    const char* runaways[] = {
        "pressCtrlC()\nwhile true do ()",
        "pressCtrlC()\nfor i = 1 to 2000000000 do ()",
        "pressCtrlC()\ndo () while true",
        "pressCtrlC()\nfor x in #(1,2,3) do while true do ()",
        "pressCtrlC()\nfn spin = spin()\nspin()",
        "while true do try (pressCtrlC(); while true do ()) catch ()",
    };
    for (const char* text : runaways) {
        listener.Clear();
        auto r = in.Run(text);
        EXPECT_FALSE(r.ok) << text;
        EXPECT_TRUE(r.interrupted) << text;
        EXPECT_EQ(r.error, "-- Interrupted") << text;
        EXPECT_NE(listener.Text().find("-- Interrupted"), std::string::npos) << text;
    }
    // a new run starts with the flag cleared
    auto r = in.Run("for i = 1 to 10 collect i");
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(r.value.RawArray()->items.size(), 10u);
}

TEST(ScriptInterrupt, AnotherThreadCanStopTheRunningScript) {
    Interpreter in(true);
    host::ListenerCapture listener;
    std::atomic<bool> started{false};
    in.RegisterPrimitive("started", [&started](Interpreter&, const CallArgs&) {
        started = true;
        return Value::Ok();
    });
    std::thread stopper([&] {
        while (!started) std::this_thread::yield();
        in.RequestInterrupt();
    });
    RunOptions quiet;
    quiet.quiet = true;
    auto r = in.Run("started()\nn = 0\nwhile true do n += 1", quiet);
    stopper.join();
    EXPECT_TRUE(r.interrupted);
    EXPECT_EQ(listener.Text(), "");
}
