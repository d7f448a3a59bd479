// Helpers shared by the script interpreter tests.
#pragma once

#include <filesystem>
#include <string>

#include "maxapi.h"
#include "script/interpreter.h"

namespace script_test {

// Runs a text in a fresh interpreter bound to the host and answers what the listener got.
struct ScriptRun {
    host::ListenerCapture listener;
    host::script::Interpreter in{true};
    host::script::RunResult result;
    explicit ScriptRun(std::string_view text, host::script::RunOptions opt = {}) { result = in.Run(text, opt); }
    const std::string& Output() const { return listener.Text(); }
};

// A folder of its own under the system temp folder, removed at the end of the test.
class TempDir {
public:
    TempDir() {
        std::string tmpl = (std::filesystem::temp_directory_path() / "kt_script_XXXXXX").string();
        path_ = ::mkdtemp(tmpl.data()) ? tmpl : std::string();
    }
    ~TempDir() {
        std::error_code ec;
        if (!path_.empty()) std::filesystem::remove_all(path_, ec);
    }
    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

}  // namespace script_test
