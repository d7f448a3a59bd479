// The command line as users and their scripts meet it: exit codes, what goes to stdout and
// what to stderr, and files written.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace {

struct Outcome {
    int code = -1;
    std::string out, err;
};

std::string Slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string Quote(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

class Cli : public ::testing::Test {
protected:
    void SetUp() override {
        dir = fs::temp_directory_path() / ("kt_cli_" + std::to_string(::getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        // settings and histories of the runs stay in the test's own folder
        setenv("KT_HOST_CONFIG_DIR", (dir / "config").c_str(), 1);
    }
    void TearDown() override { fs::remove_all(dir); }

    // Runs kinetrope with the words, stdin from `input`.
    Outcome Run(const std::vector<std::string>& words, const std::string& input = "") {
        const fs::path in = dir / "stdin", out = dir / "stdout", err = dir / "stderr";
        std::ofstream(in) << input;
        std::string cmd = Quote(KT_CLI_PATH);
        for (const std::string& w : words) cmd += " " + Quote(w);
        cmd += " <" + Quote(in) + " >" + Quote(out) + " 2>" + Quote(err);
        const int status = std::system(cmd.c_str());
        Outcome o;
        o.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        o.out = Slurp(out);
        o.err = Slurp(err);
        return o;
    }
    fs::path dir;
};

int Lines(const std::string& s) {
    int n = 0;
    for (char c : s) n += c == '\n';
    return n;
}

TEST_F(Cli, UsageErrorsAndHelp) {
    Outcome o = Run({});
    EXPECT_EQ(o.code, 2) << "no command is a usage error";
    EXPECT_NE(o.out.find("Commands:"), std::string::npos);

    o = Run({"--help"});
    EXPECT_EQ(o.code, 0);
    for (const char* name : {"classes", "demo", "eval", "repl", "run", "ui"})
        EXPECT_NE(o.out.find(std::string("  ") + name), std::string::npos) << name;

    o = Run({"frobnicate"});
    EXPECT_EQ(o.code, 2);
    EXPECT_NE(o.err.find("unknown command 'frobnicate'"), std::string::npos) << o.err;

    o = Run({"eval"});
    EXPECT_EQ(o.code, 2);
    EXPECT_NE(o.err.find("kinetrope eval: no expression given"), std::string::npos) << o.err;
    EXPECT_NE(o.err.find("Usage: kinetrope eval"), std::string::npos) << "the usage follows the error";

    o = Run({"run", "--help"});
    EXPECT_EQ(o.code, 0);
    EXPECT_NE(o.out.find("Usage: kinetrope run"), std::string::npos);
}

TEST_F(Cli, ClassesListsTheLibraryOnStdoutOnly) {
    Outcome o = Run({"classes", "--library", "Kinetrope"});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(Lines(o.out), 70) << "one line per registered class";
    EXPECT_NE(o.out.find("IKFKChain"), std::string::npos);

    o = Run({"classes", "--library", "NoSuchLibrary"});
    EXPECT_EQ(o.code, 1);
    EXPECT_TRUE(o.out.empty());
    EXPECT_NE(o.err.find("no library named 'NoSuchLibrary'"), std::string::npos) << o.err;
}

TEST_F(Cli, ScriptsReportValuesAndErrorsWithTheirPlace) {
    Outcome o = Run({"eval", "a = 4\na * 10 + 2"});
    EXPECT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out, "42\n");

    o = Run({"eval", "x = 1\ny = undefinedThing.foo"});
    EXPECT_EQ(o.code, 1);
    EXPECT_TRUE(o.out.empty()) << o.out;
    EXPECT_NE(o.err.find("line 2"), std::string::npos) << "errors name their line: " << o.err;

    // a script that builds a scene and saves it; a second run reads it back
    const fs::path script = dir / "build.ms", scene = dir / "built.kts";
    std::ofstream(script) << "p = Point name:\"hip\" pos:[0,0,90]\nc = Point name:\"knee\" pos:[0,5,50]\n"
                             "c.parent = p\nformat \"%\\n\" c.parent.name\n";
    o = Run({"run", script.string(), "--save", scene.string()});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out, "hip\n");
    ASSERT_TRUE(fs::exists(scene));
    o = Run({"eval", "$knee.pos.z + $hip.children.count", "--scene", scene.string()});
    EXPECT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.out, "51.0\n");

    // a damaged scene is refused with a message, and nothing runs
    std::ofstream(dir / "bad.kts") << "not a scene";
    o = Run({"eval", "print 1", "--scene", (dir / "bad.kts").string()});
    EXPECT_EQ(o.code, 1);
    EXPECT_TRUE(o.out.empty()) << o.out;
    EXPECT_FALSE(o.err.empty());

    // a syntax error in a file names the file's line and column
    std::ofstream(dir / "broken.ms") << "x = 1\ny = (2 +\n";
    o = Run({"run", (dir / "broken.ms").string()});
    EXPECT_EQ(o.code, 1);
    EXPECT_NE(o.err.find("line"), std::string::npos) << o.err;
}

TEST_F(Cli, ReplKeepsOneScopeAndContinuesOpenBrackets) {
    Outcome o = Run({"repl"}, "x = 6\n(\nx * 7\n)\n");
    EXPECT_EQ(o.code, 0) << o.err;
    EXPECT_NE(o.out.find("42"), std::string::npos) << o.out;

    o = Run({"repl"}, "1 + 1\nthrow \"stop here\"\n");
    EXPECT_EQ(o.code, 1) << "the last text failed";
    EXPECT_NE(o.err.find("stop here"), std::string::npos) << o.err;
}

TEST_F(Cli, UiScreenshotWritesAPng) {
    const fs::path png = dir / "frame.png";
    Outcome o = Run({"ui", "--screenshot", png.string()});
    ASSERT_EQ(o.code, 0) << o.err;
    const std::string bytes = Slurp(png);
    ASSERT_GT(bytes.size(), 8u);
    EXPECT_EQ(bytes.substr(1, 3), "PNG");

    o = Run({"ui", "--screenshot", (dir / "no" / "such" / "folder" / "x.png").string()});
    EXPECT_EQ(o.code, 1);
    EXPECT_FALSE(o.err.empty());
}

}  // namespace
