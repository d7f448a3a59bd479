// The reference suite: every suite/*.ms runs in a fresh interpreter on an empty scene and its
// listener output must equal suite/*.expected. KT_UPDATE_SUITE=1 rewrites the expected files.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "maxapi.h"
#include "script/interpreter.h"
#include "script_test_util.h"

namespace fs = std::filesystem;

namespace {

#ifdef KT_TEST_DATA_DIR
fs::path SuiteDir() { return fs::path(KT_TEST_DATA_DIR) / "suite"; }
#else
fs::path SuiteDir() { return fs::path(__FILE__).parent_path() / "suite"; }
#endif

std::vector<std::string> SuiteNames() {
    std::vector<std::string> names;
    std::error_code ec;
    for (fs::directory_iterator it(SuiteDir(), ec), end; !ec && it != end; it.increment(ec))
        if (it->path().extension() == ".ms") names.push_back(it->path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string ReadFile(const fs::path& p) {
    std::ifstream f(p, std::ios::binary);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

class ScriptSuite : public ::testing::TestWithParam<std::string> {};

TEST_P(ScriptSuite, ListenerOutputMatchesExpected) {
    fs::path ms = SuiteDir() / (GetParam() + ".ms");
    fs::path expected = SuiteDir() / (GetParam() + ".expected");
    script_test::TempDir config;
    ::setenv("KT_HOST_CONFIG_DIR", config.Path().c_str(), 1);
    host::ResetScene();
    host::script::RunOptions opt;
    opt.sourceName = ms.filename().string();
    std::string out;
    {
        host::ListenerCapture listener;
        host::script::Interpreter in(true);
        in.RunFile(ms.string(), opt);
        out = listener.Text();
    }
    host::ResetScene();
    ::unsetenv("KT_HOST_CONFIG_DIR");
    if (const char* u = std::getenv("KT_UPDATE_SUITE"); u && *u == '1') {
        std::ofstream(expected, std::ios::binary) << out;
        GTEST_SKIP() << "rewrote " << expected;
    }
    ASSERT_TRUE(fs::exists(expected)) << expected;
    std::string want = ReadFile(expected);
    // compare line by line so that a failure names the first line that differs
    std::istringstream a(out), b(want);
    std::string la, lb;
    int line = 0;
    while (true) {
        bool ga = static_cast<bool>(std::getline(a, la));
        bool gb = static_cast<bool>(std::getline(b, lb));
        ++line;
        if (!ga && !gb) break;
        ASSERT_EQ(ga, gb) << GetParam() << ": output and expected differ in length at line " << line;
        ASSERT_EQ(la, lb) << GetParam() << ": line " << line;
    }
}

INSTANTIATE_TEST_SUITE_P(Reference, ScriptSuite, ::testing::ValuesIn(SuiteNames()),
                         [](const ::testing::TestParamInfo<std::string>& info) { return info.param; });

}  // namespace
