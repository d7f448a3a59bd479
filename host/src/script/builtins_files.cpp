// File name and file system built-ins.
#include <algorithm>
#include <filesystem>

#include "runtime.h"

namespace host::script {

namespace {

namespace fs = std::filesystem;

// Both separators count, so that texts written for either platform split the same way.
size_t LastSeparator(const std::string& s) { return s.find_last_of("/\\"); }

}  // namespace

void RegisterFileBuiltins(Interpreter& in) {
    // "C:/a/b.ms" -> "C:/a/"
    in.RegisterPrimitive("getFilenamePath", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getFilenamePath", a, 1);
        std::string s = a[0].ToStr();
        size_t p = LastSeparator(s);
        return Value::String(p == std::string::npos ? std::string() : s.substr(0, p + 1));
    });
    // "C:/a/b.ms" -> "b"
    in.RegisterPrimitive("getFilenameFile", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getFilenameFile", a, 1);
        std::string s = a[0].ToStr();
        size_t p = LastSeparator(s);
        std::string name = p == std::string::npos ? s : s.substr(p + 1);
        size_t dot = name.find_last_of('.');
        return Value::String(dot == std::string::npos ? name : name.substr(0, dot));
    });
    // "C:/a/b.ms" -> ".ms"
    in.RegisterPrimitive("getFilenameType", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getFilenameType", a, 1);
        std::string s = a[0].ToStr();
        size_t p = LastSeparator(s);
        std::string name = p == std::string::npos ? s : s.substr(p + 1);
        size_t dot = name.find_last_of('.');
        return Value::String(dot == std::string::npos ? std::string() : name.substr(dot));
    });
    in.RegisterPrimitive("filenameFromPath", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("filenameFromPath", a, 1);
        std::string s = a[0].ToStr();
        size_t p = LastSeparator(s);
        return Value::String(p == std::string::npos ? s : s.substr(p + 1));
    });
    in.RegisterPrimitive("doesFileExist", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("doesFileExist", a, 1);
        std::error_code ec;
        return Value::Bool(fs::exists(fs::path(a[0].ToStr()), ec));
    });
    in.RegisterPrimitive("deleteFile", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("deleteFile", a, 1);
        std::error_code ec;
        return Value::Bool(fs::remove(fs::path(a[0].ToStr()), ec));
    });
    in.RegisterPrimitive("makeDir", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("makeDir", a, 1);
        std::error_code ec;
        fs::create_directories(fs::path(a[0].ToStr()), ec);
        return Value::Bool(!ec && fs::is_directory(fs::path(a[0].ToStr()), ec));
    });
    in.RegisterPrimitive("getFiles", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("getFiles", a, 1);
        // a folder and a wildcard pattern: "dir/*.ms"
        std::string s = a[0].ToStr();
        size_t p = LastSeparator(s);
        fs::path dir = p == std::string::npos ? fs::path(".") : fs::path(s.substr(0, p + 1));
        std::string pattern = p == std::string::npos ? s : s.substr(p + 1);
        std::vector<std::string> names;
        std::error_code ec;
        for (fs::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
            if (!it->is_regular_file(ec)) continue;
            std::string name = it->path().filename().string();
            if (MatchPattern(name.c_str(), pattern.c_str(), true)) names.push_back((dir / name).string());
        }
        std::sort(names.begin(), names.end());
        std::vector<Value> out;
        for (const std::string& n : names) out.push_back(Value::String(n));
        return Value::NewArray(std::move(out));
    });
}

}  // namespace host::script
