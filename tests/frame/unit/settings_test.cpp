// Settings through the host's script texts, and the file dialogs with their folder history.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "bmmlib.h"
#include "filedialog.h"
#include "frame/settings.h"
#include "script/ini_file.h"

namespace {

class FrameSettings : public ::testing::Test {
protected:
    void SetUp() override {
        dir = std::filesystem::temp_directory_path() / ("kt_settings_" + std::to_string(::getpid()));
        std::filesystem::remove_all(dir);
        setenv("KT_HOST_CONFIG_DIR", dir.c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }
    std::filesystem::path dir;
};

TEST_F(FrameSettings, IntsRoundTripThroughTheHostIniFile) {
    int value = 42;
    EXPECT_EQ(kt::GetIniInt(L"DockPosX", value), 0) << "a missing file reads as no value";
    EXPECT_EQ(value, 42);
    EXPECT_FALSE(std::filesystem::exists(host::script::HostIniPath()));

    kt::SetIniValue(L"DockPosX", L"-17");
    ASSERT_TRUE(std::filesystem::exists(host::script::HostIniPath())) << "the first write creates the file";
    EXPECT_EQ(kt::GetIniInt(L"DockPosX", value), 1);
    EXPECT_EQ(value, -17);

    host::script::IniFile ini;
    ASSERT_TRUE(ini.Load(host::script::HostIniPath()));
    EXPECT_EQ(ini.Get("Kinetrope", "DockPosX").value_or(""), "-17") << "section Kinetrope of the host file";

    kt::SetIniValue(L"Empty", L"");
    value = 5;
    EXPECT_EQ(kt::GetIniInt(L"Empty", value), 0) << "an empty value is no value";
    EXPECT_EQ(value, 5);

    // A key with a quote cannot break out of the script text.
    kt::SetIniValue(L"odd\"key", L"9");
    EXPECT_EQ(kt::GetIniInt(L"odd\"key", value), 1);
    EXPECT_EQ(value, 9);
}

TEST_F(FrameSettings, FileDialogsStartInTheLastFolderAndRememberTheChoice) {
    host::ScriptedFileDialogs dialogs;
    host::FileDialogProvider* previous = host::SetFileDialogProvider(&dialogs);

    MSTR path;
    EXPECT_FALSE(kt::OpenFileDialog(L"Load Pose", L"*.pose", L"Pose files", path)) << "a cancel";
    ASSERT_EQ(dialogs.Requests().size(), 1u);
    const host::FileRequest& first = dialogs.Requests()[0];
    EXPECT_EQ(first.initialDir, L"");
    ASSERT_EQ(first.filters.size(), 4u);
    EXPECT_EQ(first.filters[0], L"Pose files");
    EXPECT_EQ(first.filters[1], L"*.pose");
    EXPECT_EQ(first.filters[2], L"All Files (*.*)");
    EXPECT_EQ(first.filters[3], L"*.*");

    dialogs.Push(L"/data/poses/walk.pose");
    ASSERT_TRUE(kt::SaveFileDialog(L"Save Pose", L"*.pose", L"Pose files", path));
    EXPECT_STREQ(path.data(), L"/data/poses/walk.pose");
    EXPECT_TRUE(dialogs.Requests()[1].save);

    kt::OpenFileDialog(L"Load Pose", L"*.pose", L"Pose files", path);
    EXPECT_EQ(dialogs.Requests()[2].initialDir, L"/data/poses") << "the default history remembers the folder";
    kt::OpenFileDialog(L"Load Clip", L"*.clip", L"Clips", path, L"ClipHistory");
    EXPECT_EQ(dialogs.Requests()[3].initialDir, L"") << "another history key is another list";

    bmmHistoryList history(L"KinetropeHistory");
    history.LoadDefaults();
    ASSERT_EQ(history.Count(), 1);
    history.SetPath(L"/b");
    history.SetPath(L"/data/poses");
    EXPECT_EQ(history.Count(), 2) << "a folder moves to the front rather than repeating";
    EXPECT_STREQ(history.GetPath(0), L"/data/poses");
    EXPECT_STREQ(history.GetPath(5), L"");
    host::SetFileDialogProvider(previous);
}

}  // namespace
