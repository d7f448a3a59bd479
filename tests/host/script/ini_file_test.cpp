// The plain ini files of the settings built-ins.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "script/ini_file.h"
#include "script_test_util.h"

using host::script::IniFile;

namespace {
std::string Slurp(const std::string& p) {
    std::ifstream f(p);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}
}  // namespace

TEST(IniFile, RewriteKeepsCommentsOrderAndMatchesWithoutCase) {
    script_test::TempDir dir;
    std::string path = dir.File("a.ini");
    std::ofstream(path) << "; top comment\n[General]\nName = First\n\n[Kinetrope]\n# keep me\nDocked=1\n";
    IniFile ini;
    ASSERT_TRUE(ini.Load(path));
    EXPECT_EQ(ini.Get("general", "NAME").value_or("?"), "First");
    EXPECT_FALSE(ini.Get("General", "Missing").has_value());
    EXPECT_FALSE(ini.Get("Nope", "Name").has_value());
    ini.Set("KINETROPE", "docked", "0");
    ini.Set("General", "Added", "x=y");
    ini.Set("New Section", "k", "");
    ASSERT_TRUE(ini.Save(path));
    EXPECT_EQ(Slurp(path),
              "; top comment\n[General]\nName=First\nAdded=x=y\n\n[Kinetrope]\n# keep me\nDocked=0\n"
              "[New Section]\nk=\n");
    IniFile again;
    ASSERT_TRUE(again.Load(path));
    EXPECT_EQ(again.Get("General", "Added").value_or("?"), "x=y");
    EXPECT_EQ(again.Keys("general"), (std::vector<std::string>{"Name", "Added"}));
    EXPECT_EQ(again.Sections(), (std::vector<std::string>{"General", "Kinetrope", "New Section"}));
    EXPECT_TRUE(again.Remove("Kinetrope", "DOCKED"));
    EXPECT_FALSE(again.Remove("Kinetrope", "Docked"));
    EXPECT_TRUE(again.RemoveSection("general"));
    EXPECT_FALSE(again.HasSection("General"));
    // no temporary file is left beside the result
    int files = 0;
    for (auto& e : std::filesystem::directory_iterator(dir.Path())) {
        (void)e;
        ++files;
    }
    EXPECT_EQ(files, 1);
}

TEST(IniFile, MissingFilesReadEmptyAndSavesMakeTheirFolder) {
    script_test::TempDir dir;
    IniFile ini;
    EXPECT_FALSE(ini.Load(dir.File("missing.ini")));
    EXPECT_TRUE(ini.Sections().empty());
    ini.Set("S", "k", "v");
    std::string nested = dir.File("deeper/still/s.ini");
    ASSERT_TRUE(ini.Save(nested));
    IniFile back;
    ASSERT_TRUE(back.Load(nested));
    EXPECT_EQ(back.Get("s", "K").value_or("?"), "v");
    // a folder where the file should be: the save fails and nothing is left behind
    std::filesystem::create_directories(dir.File("blocked.ini"));
    EXPECT_FALSE(ini.Save(dir.File("blocked.ini")));
}

TEST(IniFile, ScriptBuiltinsReadKeysSectionsAndValues) {
    script_test::TempDir dir;
    std::string path = dir.File("s.ini");
    std::string text = "f = \"" + path + "\"\n"
                       "setINISetting f \"A\" \"one\" \"1\"\n"
                       "setINISetting f \"A\" \"two\" 2\n"
                       "setINISetting f \"B\" \"x\" #y\n"
                       "#(getINISetting f, getINISetting f \"a\", getINISetting f \"A\" \"TWO\", "
                       "getINISetting f \"B\" \"x\", hasINISetting f \"B\", hasINISetting f \"B\" \"z\", "
                       "delIniSetting f \"A\" \"one\", getINISetting f \"A\")";
    script_test::ScriptRun r(text);
    ASSERT_TRUE(r.result.ok) << r.Output();
    EXPECT_EQ(r.result.value.Print(),
              "#(#(\"A\", \"B\"), #(\"one\", \"two\"), \"2\", \"y\", true, false, true, #(\"two\"))");
}
