#include "script/interpreter.h"

#include <pthread.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "lexer.h"
#include "macrorec.h"
#include "runtime.h"

namespace host::script {

namespace {

class StdoutSink final : public ListenerSink {
public:
    void Write(std::string_view text) override {
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fflush(stdout);
    }
};

// Headless: the prompt goes to the listener and the default answer comes back at once.
class HeadlessPrompts final : public PromptProvider {
public:
    explicit HeadlessPrompts(Interpreter& in) : in_(in) {}
    PromptAnswer Ask(PromptKind, std::string_view title, std::string_view text, PromptAnswer def) override {
        std::string line = "MessageBox [";
        line += title;
        line += "]: ";
        line += text;
        line += '\n';
        in_.Write(line);
        return def;
    }

private:
    Interpreter& in_;
};

ScriptHost& EmptyHost() {
    static ScriptHost h;
    return h;
}

std::vector<Binder>& Binders() {
    static std::vector<Binder> b;
    return b;
}

// The lowest address the evaluator may use before it reports a stack overflow: a margin above
// the end of this thread's stack for host calls made from the deepest script frame.
const char* ComputeStackLimit() {
    pthread_attr_t attr;
    void* addr = nullptr;
    size_t size = 0;
    if (pthread_getattr_np(pthread_self(), &attr) == 0) {
        pthread_attr_getstack(&attr, &addr, &size);
        pthread_attr_destroy(&attr);
    }
    const char* here = static_cast<const char*>(__builtin_frame_address(0));
    if (!addr || size == 0) return here - 512 * 1024;  // unknown: allow half a megabyte from here
    size_t margin = std::max<size_t>(256 * 1024, size / 8);
    const char* low = static_cast<const char*>(addr) + margin;
    // a stack smaller than the margin: keep a little room below the current frame
    if (low >= here) return here - 64 * 1024;
    return low;
}

std::string SourceLine(std::string_view text, int line) {
    int cur = 1;
    size_t b = 0;
    while (cur < line && b < text.size()) {
        size_t nl = text.find('\n', b);
        if (nl == std::string_view::npos) return {};
        b = nl + 1;
        ++cur;
    }
    size_t e = text.find('\n', b);
    std::string s(text.substr(b, e == std::string_view::npos ? std::string_view::npos : e - b));
    while (!s.empty() && (s.back() == '\r' || s.back() == ' ' || s.back() == '\t')) s.pop_back();
    if (s.size() > 200) s = s.substr(0, 200) + "...";
    return s;
}

struct RunDepth {
    int& d;
    explicit RunDepth(int& depth) : d(depth) { ++d; }
    ~RunDepth() { --d; }
};

}  // namespace

bool RegisterBinder(Binder b) {
    Binders().push_back(b);
    return true;
}

Interpreter& Interpreter::Global() {
    // never destroyed: host objects released at exit must not find it gone
    static Interpreter* g = new Interpreter(true);
    return *g;
}

Interpreter::Interpreter(bool withHost) : impl_(std::make_unique<Impl>()), host_(&EmptyHost()) {
    stackLimit_ = ComputeStackLimit();
    impl_->defining = true;
    RegisterCoreBuiltins(*this);
    RegisterMathBuiltins(*this);
    RegisterStringBuiltins(*this);
    RegisterIniBuiltins(*this);
    RegisterFileBuiltins(*this);
    if (withHost)
        for (Binder b : Binders()) b(*this);
    impl_->defining = false;
}

Interpreter::~Interpreter() = default;

void Interpreter::SetListener(ListenerSink* sink) { impl_->listener = sink; }

ListenerSink& Interpreter::Listener() {
    static StdoutSink out;
    return impl_->listener ? *impl_->listener : out;
}

void Interpreter::Write(std::string_view text) { Listener().Write(text); }

void Interpreter::SetPromptProvider(PromptProvider* p) { impl_->prompts = p; }

PromptProvider& Interpreter::Prompts() {
    if (impl_->prompts) return *impl_->prompts;
    if (!impl_->headless) impl_->headless = std::make_unique<HeadlessPrompts>(*this);
    return *impl_->headless;
}

void Interpreter::SetHost(ScriptHost* h) { host_ = h ? h : &EmptyHost(); }

RunResult Interpreter::Run(std::string_view text, const RunOptions& options) {
    RunResult r;
    if (runDepth_ == 0) {
        interrupt_.store(false, std::memory_order_relaxed);
        stackLimit_ = ComputeStackLimit();
    }
    RunDepth depth(runDepth_);
    // What a script does is the script's, not the user's: the recorder keeps only the latter.
    struct RecorderPause {
        RecorderPause() { macroRecorder->Disable(); }
        ~RecorderPause() { macroRecorder->Enable(); }
    } pause;
    std::string source = options.sourceName.empty() ? "anonymous codeblock" : options.sourceName;

    Ref<ScriptUnit> unit;
    try {
        unit = Parse(*this, text, options.sourceName);
    } catch (SyntaxError& e) {
        r.ok = false;
        r.syntaxError = true;
        r.incomplete = e.atEnd;
        r.error = "-- Syntax error: " + e.message;
        r.line = e.line;
        r.column = e.col;
    } catch (ScriptError& e) {
        // the parser ran out of stack: the text nests too deeply
        r.ok = false;
        r.syntaxError = true;
        r.error = "-- Syntax error: expression nested too deeply";
    }
    if (r.syntaxError) {
        if (!options.quiet) {
            std::string report = r.error + "\n";
            if (r.line > 0)
                report += "--  In line " + std::to_string(r.line) + ", column " + std::to_string(r.column) + ": " +
                          SourceLine(text, r.line) + "\n";
            if (!options.sourceName.empty()) report += "--  In file: " + options.sourceName + "\n";
            Write(report);
        }
        return r;
    }

    try {
        r.value = RunUnit(*this, *unit, options.echo);
        return r;
    } catch (ScriptError& e) {
        r.error = e.Text();
        r.line = e.Line();
        r.column = e.Column();
    } catch (InterruptSignal&) {
        r.error = "-- Interrupted";
        r.interrupted = true;
    } catch (ExitSignal&) {
        r.error = "-- Runtime error: exit outside of a loop";
    } catch (ContinueSignal&) {
        r.error = "-- Runtime error: continue outside of a loop";
    } catch (const std::exception& e) {
        r.error = "-- Runtime error: " + std::string(e.what());
    } catch (...) {
        r.error = "-- Unknown system exception";
    }
    r.ok = false;
    if (!options.quiet) {
        std::string report = "-- Error occurred in " + source;
        if (r.line > 0) report += " at line " + std::to_string(r.line) + ", column " + std::to_string(r.column);
        report += "\n" + r.error + "\n";
        Write(report);
    }
    return r;
}

RunResult Interpreter::RunFile(const std::string& path, RunOptions options) {
    std::ifstream f(path, std::ios::binary);
    if (!f) {
        RunResult r;
        r.ok = false;
        r.error = "-- Runtime error: Can't open file: \"" + path + "\"";
        if (!options.quiet) Write(r.error + "\n");
        return r;
    }
    std::stringstream ss;
    ss << f.rdbuf();
    if (options.sourceName.empty()) options.sourceName = path;
    std::string text = ss.str();
    if (text.size() >= 3 && static_cast<unsigned char>(text[0]) == 0xEF && static_cast<unsigned char>(text[1]) == 0xBB &&
        static_cast<unsigned char>(text[2]) == 0xBF)
        text.erase(0, 3);
    return Run(text, options);
}

void Interpreter::SetGlobal(std::string_view name, Value v) {
    GlobalCell* c = impl_->Define(Name::Intern(name));
    if (impl_->defining) c->builtin = true;
    if (c->system) {
        if (c->set) c->set(*this, v);
        return;
    }
    c->value = std::move(v);
}

Value Interpreter::GetGlobal(std::string_view name) {
    GlobalCell* c = impl_->Find(Name::Intern(name));
    if (!c) return Value();
    return c->system ? c->get(*this) : c->value;
}

bool Interpreter::HasGlobal(std::string_view name) { return impl_->Find(Name::Intern(name)) != nullptr; }

void Interpreter::DefineSystemGlobal(std::string_view name, std::function<Value(Interpreter&)> get,
                                     std::function<void(Interpreter&, const Value&)> set) {
    GlobalCell* c = impl_->Define(Name::Intern(name));
    c->system = true;
    c->get = std::move(get);
    c->set = std::move(set);
}

void Interpreter::RegisterPrimitive(std::string_view name, PrimitiveFn fn) {
    GlobalCell* c = impl_->Define(Name::Intern(name));
    c->system = false;
    c->builtin = true;
    c->value = Value::Object(new Primitive(std::string(name), std::move(fn)));
}

int32_t Interpreter::CurrentTime() { return atTimeDepth_ > 0 ? atTime_ : host_->SliderTime(); }

std::string Interpreter::CurrentException() const {
    return impl_->handling.empty() ? std::string() : impl_->handling.back().Text();
}

Value Interpreter::Call(const Value& fn, const CallArgs& args) {
    CheckInterrupt();
    if (fn.IsObject()) {
        Value out;
        if (fn.RawObject()->Call(*this, args, out)) return out;
    }
    throw NotCallableError(fn);
}

Value Interpreter::GetProperty(const Value& target, Name prop) {
    Value out;
    if (target.IsObject()) {
        if (target.RawObject()->GetProperty(*this, prop, out)) return out;
    } else if (GetBuiltinProperty(*this, target, prop, out)) {
        return out;
    }
    throw UnknownPropertyError(prop.Str(), target);
}

void Interpreter::SetProperty(const Value& target, Name prop, const Value& v) {
    if (target.IsObject()) {
        if (target.RawObject()->SetProperty(*this, prop, v)) return;
    } else if (target.IsArray() && prop == Name::Intern("count")) {
        int32_t n = v.ToInt();
        if (n < 0) throw RuntimeError("array count must not be negative, got: " + std::to_string(n));
        target.RawArray()->items.resize(static_cast<size_t>(n));
        return;
    }
    throw UnknownPropertyError(prop.Str(), target);
}

uint32_t Interpreter::NextRandom() { return impl_->rng(); }
void Interpreter::Seed(uint32_t s) { impl_->rng.seed(s); }

void Interpreter::ThrowStackOverflow() const { throw RuntimeError("Stack overflow"); }

void Interpreter::ThrowInterrupt() { throw InterruptSignal{}; }

}  // namespace host::script
