#include "script_session.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <unistd.h>

#include "hoststart.h"
#include "scenefile.h"
#include "strclass.h"

namespace kt::cli {
namespace {

std::atomic<int> interruptsPending{0};  // lock-free: safe in a signal handler
struct sigaction previousAction;

void OnInterrupt(int) {
    // The first Ctrl-C asks the script to stop; if it is still running at the second, the
    // interpreter is stuck outside a checkpoint and the user wants out regardless.
    if (interruptsPending++ > 0) _exit(130);
    host::script::Interpreter::Global().RequestInterrupt();
}

}  // namespace

ScriptSession::ScriptSession() {
    host::StartHost();
    Interpreter();  // built before the handler can touch it
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &previousAction);
}

ScriptSession::~ScriptSession() {
    sigaction(SIGINT, &previousAction, nullptr);
    host::StopHost();
}

bool ScriptSession::LoadScene(const std::string& path) {
    std::wstring error;
    if (host::LoadScene(host::FromUtf8(path).c_str(), &error)) return true;
    std::fprintf(stderr, "kinetrope: cannot load scene %s: %s\n", path.c_str(), host::ToUtf8(error).c_str());
    return false;
}

bool ScriptSession::SaveScene(const std::string& path) {
    std::wstring error;
    if (host::SaveScene(host::FromUtf8(path).c_str(), &error)) return true;
    std::fprintf(stderr, "kinetrope: cannot save scene %s: %s\n", path.c_str(), host::ToUtf8(error).c_str());
    return false;
}

std::string FormatError(const host::script::RunResult& r, const std::string& sourceName) {
    const std::string source = sourceName.empty() ? "anonymous codeblock" : sourceName;
    std::string report;
    if (r.syntaxError) {
        report = r.error + "\n";
        if (r.line > 0)
            report += "--  In line " + std::to_string(r.line) + ", column " + std::to_string(r.column) + "\n";
        if (!sourceName.empty()) report += "--  In file: " + sourceName + "\n";
        return report;
    }
    report = "-- Error occurred in " + source;
    if (r.line > 0) report += " at line " + std::to_string(r.line) + ", column " + std::to_string(r.column);
    return report + "\n" + r.error + "\n";
}

bool ScriptSession::Run(const std::string& text, const std::string& sourceName, bool echo) {
    interruptsPending = 0;
    host::script::RunOptions options;
    options.sourceName = sourceName;
    options.quiet = true;
    options.echo = echo;
    const host::script::RunResult r = Interpreter().Run(text, options);
    interruptsPending = 0;
    if (r.ok) return true;
    std::fflush(stdout);
    std::fputs(FormatError(r, sourceName).c_str(), stderr);
    return false;
}

bool ScriptSession::RunFile(const std::string& path) {
    interruptsPending = 0;
    host::script::RunOptions options;
    options.quiet = true;
    const host::script::RunResult r = Interpreter().RunFile(path, options);
    interruptsPending = 0;
    if (r.ok) return true;
    std::fflush(stdout);
    std::fputs(FormatError(r, path).c_str(), stderr);
    return false;
}

}  // namespace kt::cli
