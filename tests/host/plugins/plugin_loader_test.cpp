#include <dlfcn.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "hoststart.h"
#include "iplugin.h"
#include "maxapi.h"

namespace {

const std::string kDir = KT_TEST_DLC_DIR;

// Position of needle in text, or npos; a test asserts presence before comparing order.
size_t At(const std::string& text, const std::string& needle) { return text.find(needle); }

const ClassDesc* FindTestClass(unsigned long b) {
    return host::ClassDirectory::Get().FindClass(REF_TARGET_CLASS_ID, Class_ID(0x7E57D1C0, b));
}

std::wstring LibraryOf(const ClassDesc* cd) {
    const host::ClassDirectory& dir = host::ClassDirectory::Get();
    for (int i = 0; i < dir.Count(); ++i)
        if (dir.GetClassAt(i) == cd) return dir.LibraryOf(i);
    return L"(absent)";
}

bool StillMapped(const std::string& file) {
    void* h = dlopen((kDir + "/" + file).c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (h) dlclose(h);
    return h != nullptr;
}

TEST(PluginLoader, SkipsBrokenLibrariesWithALineAndLoadsTheRest) {
    host::ListenerCapture capture;
    ASSERT_EQ(host::LoadPlugins(kDir.c_str()), 2);
    const std::string text = capture.Text();

    // Each refused library is named with its reason; the host goes on to the next.
    EXPECT_NE(At(text, "Plug-in b_missing_export.dlc skipped: it lacks the export LibShutdown\n"), std::string::npos)
        << text;
    EXPECT_NE(At(text, "Plug-in c_not_a_library.dlc skipped: it could not be opened"), std::string::npos) << text;
    EXPECT_NE(At(text, "Plug-in d_wrong_version.dlc skipped: it was built for version 0x69784100 and this host "
                       "is 0x69784200\n"),
              std::string::npos)
        << text;
    EXPECT_NE(At(text, "Plug-in f_init_fails.dlc skipped: LibInitialize failed\n"), std::string::npos) << text;

    // A library of the wrong version is not asked for its classes; one whose
    // initialisation failed leaves none behind.
    EXPECT_EQ(At(text, "d_wrong_version: LibNumberClasses"), std::string::npos);
    EXPECT_EQ(FindTestClass(0x102), nullptr);
    EXPECT_EQ(FindTestClass(0x104), nullptr);
    EXPECT_EQ(FindTestClass(0x106), nullptr);

    // The host's order of calls, library by library in name order.
    const size_t version = At(text, "a_good_first: LibVersion\n");
    const size_t count = At(text, "a_good_first: LibNumberClasses\n");
    const size_t desc0 = At(text, "a_good_first: LibClassDesc 0\n");
    const size_t desc1 = At(text, "a_good_first: LibClassDesc 1\n");
    const size_t init = At(text, "a_good_first: LibInitialize\n");
    const size_t secondInit = At(text, "e_good_second: LibInitialize\n");
    ASSERT_NE(version, std::string::npos);
    ASSERT_NE(secondInit, std::string::npos);
    EXPECT_LT(version, count);
    EXPECT_LT(count, desc0);
    EXPECT_LT(desc0, desc1);
    EXPECT_LT(desc1, init);
    EXPECT_LT(init, secondInit);

    const auto& libs = host::LoadedPlugins();
    ASSERT_EQ(libs.size(), 2u);
    EXPECT_EQ(libs[0]->description, L"a_good_first");
    EXPECT_EQ(libs[1]->description, L"e_good_second");

    // Classes carry their library's name; an identity already taken is refused for the
    // later library only, and said so.
    EXPECT_EQ(LibraryOf(FindTestClass(0x101)), L"a_good_first");
    EXPECT_EQ(LibraryOf(FindTestClass(0x105)), L"e_good_second");
    EXPECT_EQ(LibraryOf(FindTestClass(0x1)), L"a_good_first");
    EXPECT_EQ(libs[1]->classes.size(), 1u);
    EXPECT_NE(At(text, "Plug-in e_good_second.dlc: class 1 (0x7E57D1C0, 0x1) skipped: a class with its identity "
                       "is already known\n"),
              std::string::npos)
        << text;

    // A library already loaded is answered again, not initialised twice.
    capture.Clear();
    EXPECT_EQ(host::LoadPlugin((kDir + "/a_good_first.dlc").c_str()), libs[0]);
    EXPECT_EQ(capture.Text(), "");

    host::UnloadPlugins();
    const std::string down = capture.Text();
    const size_t second = At(down, "e_good_second: LibShutdown\n");
    const size_t first = At(down, "a_good_first: LibShutdown\n");
    ASSERT_NE(second, std::string::npos);
    ASSERT_NE(first, std::string::npos);
    EXPECT_LT(second, first);
    EXPECT_TRUE(host::LoadedPlugins().empty());
    EXPECT_EQ(FindTestClass(0x101), nullptr);
    EXPECT_EQ(FindTestClass(0x1), nullptr);
    EXPECT_FALSE(StillMapped("a_good_first.dlc"));
    EXPECT_FALSE(StillMapped("e_good_second.dlc"));
}

TEST(PluginLoader, MissingFilesAndFoldersLoadNothing) {
    host::ListenerCapture capture;
    EXPECT_EQ(host::LoadPlugin((kDir + "/no_such_library.dlc").c_str()), nullptr);
    EXPECT_NE(At(capture.Text(), "Plug-in no_such_library.dlc skipped: it could not be opened"), std::string::npos);
    EXPECT_EQ(host::LoadPlugins((kDir + "/no_such_folder").c_str()), 0);
    EXPECT_EQ(host::LoadPlugin(nullptr), nullptr);
    EXPECT_TRUE(host::LoadedPlugins().empty());
}

TEST(HostStart, StartupFollowsLoadingAndShutdownPrecedesUnloading) {
    host::ListenerCapture capture;
    ASSERT_EQ(host::StartHost(kDir.c_str()), 2);
    EXPECT_TRUE(host::HostStarted());
    const std::string up = capture.Text();
    const size_t lastInit = At(up, "e_good_second: LibInitialize\n");
    const size_t startup = At(up, "a_good_first: notify 80\n");
    ASSERT_NE(lastInit, std::string::npos);
    ASSERT_NE(startup, std::string::npos);
    EXPECT_LT(lastInit, startup);

    // A second start neither loads nor announces anything.
    capture.Clear();
    EXPECT_EQ(host::StartHost(kDir.c_str()), 0);
    EXPECT_EQ(capture.Text(), "");

    host::StopHost();
    const std::string down = capture.Text();
    const size_t shutdownNote = At(down, "a_good_first: notify 73\n");
    const size_t shutdown = At(down, "a_good_first: LibShutdown\n");
    ASSERT_NE(shutdownNote, std::string::npos);
    ASSERT_NE(shutdown, std::string::npos);
    EXPECT_LT(shutdownNote, shutdown);
    EXPECT_FALSE(host::HostStarted());
    EXPECT_TRUE(host::LoadedPlugins().empty());

    // Stopping a stopped host does nothing.
    capture.Clear();
    host::StopHost();
    EXPECT_EQ(capture.Text(), "");
}

TEST(HostStart, PluginFolderComesFromTheEnvironmentElseTheExecutable) {
    const char* saved = std::getenv("KT_PLUGIN_DIR");
    const std::string restore = saved ? saved : "";

    setenv("KT_PLUGIN_DIR", "/plugins/here", 1);
    EXPECT_EQ(host::DefaultPluginFolder(), "/plugins/here");

    const std::string exeDir = std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
    setenv("KT_PLUGIN_DIR", "", 1);
    EXPECT_EQ(host::DefaultPluginFolder(), exeDir);
    unsetenv("KT_PLUGIN_DIR");
    EXPECT_EQ(host::DefaultPluginFolder(), exeDir);

    if (saved) setenv("KT_PLUGIN_DIR", restore.c_str(), 1);
}

}  // namespace
