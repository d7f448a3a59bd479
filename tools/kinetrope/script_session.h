// What the script subcommands share: the started host, Ctrl-C as a script interrupt, scene
// load and save, and error reports on stderr.
#pragma once

#include <string>

#include "script/interpreter.h"

namespace kt::cli {

// Starts the host (plug-ins loaded) and, while it lives, turns SIGINT into an interrupt of
// the running script. A second Ctrl-C while a script does not stop ends the process.
class ScriptSession {
public:
    ScriptSession();
    ~ScriptSession();
    ScriptSession(const ScriptSession&) = delete;
    ScriptSession& operator=(const ScriptSession&) = delete;

    host::script::Interpreter& Interpreter() { return host::script::Interpreter::Global(); }

    // Replaces the scene with the file's; false with a line on stderr on failure.
    bool LoadScene(const std::string& path);
    bool SaveScene(const std::string& path);

    // Runs quietly and reports an error on stderr in the listener's form, with its place.
    // Answers true when the text ran without an uncaught error.
    bool Run(const std::string& text, const std::string& sourceName, bool echo);
    bool RunFile(const std::string& path);
};

// The error report of a failed run: "-- Error occurred in <source> at line L, column C"
// (or the syntax error's place) and the error text, each on its own line.
std::string FormatError(const host::script::RunResult& r, const std::string& sourceName);

}  // namespace kt::cli
