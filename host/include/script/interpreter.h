// The script interpreter: runs texts and files in one global scope, reports to a listener sink,
// and stops a running script when the interrupt flag is set. Main thread only; re-entrant (a
// primitive may run another text while a script is running).
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "script/classes.h"
#include "script/error.h"
#include "script/value.h"

namespace host::script {

// Where `print`, `format` and error reports go.
class ListenerSink {
public:
    virtual ~ListenerSink() = default;
    virtual void Write(std::string_view text) = 0;
};

// Collects listener text in memory (tests, the command line's capture).
class CaptureSink : public ListenerSink {
public:
    void Write(std::string_view text) override { text_ += text; }
    const std::string& Text() const { return text_; }
    void Clear() { text_.clear(); }

private:
    std::string text_;
};

// What `messagebox`, `queryBox` and `yesNoCancelBox` ask.
enum class PromptKind { Message, YesNo, YesNoCancel };
enum class PromptAnswer { Ok, Yes, No, Cancel };

class PromptProvider {
public:
    virtual ~PromptProvider() = default;
    virtual PromptAnswer Ask(PromptKind kind, std::string_view title, std::string_view text,
                             PromptAnswer defaultAnswer) = 0;
};

// The scene side of the language, supplied by the host binding. The defaults describe an empty
// headless host: time 0, no nodes, no undo.
class ScriptHost {
public:
    virtual ~ScriptHost() = default;
    // Slider time in ticks (`sliderTime`, and `currentTime` outside `at time`).
    virtual int32_t SliderTime() { return 0; }
    virtual bool Animating() { return false; }
    virtual void SetAnimating(bool on) { (void)on; }
    // `$name`, `$'name'`, `$` (current selection), wildcards; undefined when nothing matches.
    virtual Value ResolvePath(Interpreter& in, std::string_view path) {
        (void)in;
        (void)path;
        return {};
    }
    // Names that are not variables: classes by script name, core interfaces. Called at parse time.
    virtual bool ResolveGlobal(Interpreter& in, Name name, Value& out) {
        (void)in;
        (void)name;
        (void)out;
        return false;
    }
    // `undo "label" on (…)`: one hold around the body, accepted under the label even on error.
    virtual void HoldBegin() {}
    virtual void HoldAccept(std::string_view label) { (void)label; }
    // `undo off (…)`.
    virtual void HoldSuspend() {}
    virtual void HoldResume() {}
    // `max <command>`; false for a command the host does not know.
    virtual bool MaxCommand(Interpreter& in, std::string_view command) {
        (void)in;
        (void)command;
        return false;
    }
    // `with redraw off`.
    virtual void SetRedraw(bool on) { (void)on; }
};

struct RunOptions {
    // Shown in error reports; empty for texts (reported as "anonymous codeblock").
    std::string sourceName;
    // No error report on the listener (the error still comes back in RunResult).
    bool quiet = false;
    // Listener mode: print the value of each top-level expression.
    bool echo = false;
};

struct RunResult {
    bool ok = true;
    Value value;          // of the last top-level expression
    std::string error;    // the listener text of the error: "-- Unknown property: …"
    int line = 0;         // 1-based position of the error, 0 when unknown
    int column = 0;
    bool syntaxError = false;  // nothing of the text ran
    bool incomplete = false;   // the syntax error is at the end of the text (an open bracket)
    bool interrupted = false;
};

class Interpreter {
public:
    // The host's interpreter, with the host binding installed.
    static Interpreter& Global();
    // A fresh interpreter; `withHost` installs the host binding (scene, undo, classes).
    explicit Interpreter(bool withHost = true);
    ~Interpreter();
    Interpreter(const Interpreter&) = delete;
    Interpreter& operator=(const Interpreter&) = delete;

    // Parses the whole text, then runs it in the global scope. A syntax error runs nothing.
    RunResult Run(std::string_view text, const RunOptions& options = {});
    // Runs a file (UTF-8); a missing file is a runtime error.
    RunResult RunFile(const std::string& path, RunOptions options = {});

    // Listener sink (not owned); null restores the default, which writes to stdout.
    void SetListener(ListenerSink* sink);
    ListenerSink& Listener();
    void Write(std::string_view text);

    // Prompt provider (not owned); null restores the headless default, which prints the prompt
    // and answers the default.
    void SetPromptProvider(PromptProvider* p);
    PromptProvider& Prompts();

    // Scene binding (not owned); null restores the empty headless host.
    void SetHost(ScriptHost* h);
    ScriptHost& Host() { return *host_; }

    // Stops the running script at the next loop iteration or call with "-- Interrupted".
    // Safe to call from a signal handler. Each top-level Run clears it when it starts.
    void RequestInterrupt() { interrupt_.store(true, std::memory_order_relaxed); }
    std::atomic<bool>& InterruptFlag() { return interrupt_; }

    // Globals. Names are case-insensitive.
    void SetGlobal(std::string_view name, Value v);
    Value GetGlobal(std::string_view name);
    bool HasGlobal(std::string_view name);
    // A global whose reads and writes go to the host (`sliderTime`); a null setter makes it
    // read-only ("Cannot set …").
    void DefineSystemGlobal(std::string_view name, std::function<Value(Interpreter&)> get,
                            std::function<void(Interpreter&, const Value&)> set = nullptr);
    void RegisterPrimitive(std::string_view name, PrimitiveFn fn);

    // Evaluation time: the `at time` value inside one, else the slider time (ticks).
    int32_t CurrentTime();
    bool InAtTime() const { return atTimeDepth_ > 0; }

    // The message of the exception being handled by the innermost `catch`, or empty.
    std::string CurrentException() const;

    // Calls a function value (user function, primitive, class) with positional arguments.
    Value Call(const Value& fn, const CallArgs& args);
    // Reads and writes properties the way `a.b` does, with the language's errors.
    Value GetProperty(const Value& target, Name prop);
    void SetProperty(const Value& target, Name prop, const Value& v);

    // Random generator of `random` and `seed`.
    uint32_t NextRandom();
    void Seed(uint32_t s);

    // Throws "-- Runtime error: Stack overflow" when the native stack runs low; the evaluator
    // calls it on every nested evaluation.
    void CheckStack() const {
        char probe;
        if (&probe < stackLimit_) ThrowStackOverflow();
    }
    // Throws "-- Interrupted" when the interrupt flag is set.
    void CheckInterrupt() {
        if (interrupt_.load(std::memory_order_relaxed)) ThrowInterrupt();
    }

    // Internals shared with the evaluator.
    struct Impl;
    Impl& impl() { return *impl_; }
    int atTimeDepth_ = 0;
    int32_t atTime_ = 0;

private:
    [[noreturn]] void ThrowStackOverflow() const;
    [[noreturn]] void ThrowInterrupt();

    std::unique_ptr<Impl> impl_;
    ScriptHost* host_;
    std::atomic<bool> interrupt_{false};
    const char* stackLimit_ = nullptr;
    int runDepth_ = 0;
};

// Host-side code that teaches every new interpreter the scene (registered at static
// initialisation by the binding files; run by the Interpreter constructor when withHost).
using Binder = void (*)(Interpreter&);
bool RegisterBinder(Binder b);

}  // namespace host::script
