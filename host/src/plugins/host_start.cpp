// Host start and stop: plug-ins in, start notification; end notification, plug-ins out.
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "hoststart.h"
#include "iplugin.h"
#include "maxapi.h"
#include "notify.h"

namespace fs = std::filesystem;

namespace host {
namespace {
bool gStarted = false;
}  // namespace

std::string DefaultPluginFolder() {
    if (const char* env = std::getenv("KT_PLUGIN_DIR"); env && *env) return env;
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (ec) return fs::current_path(ec).string();
    return exe.parent_path().string();
}

int StartHost(const char* pluginFolder) {
    if (gStarted) return 0;
    gStarted = true;
    const std::string folder = pluginFolder && *pluginFolder ? std::string(pluginFolder) : DefaultPluginFolder();
    const int loaded = LoadPlugins(folder.c_str());
    BroadcastNotification(NOTIFY_SYSTEM_STARTUP);
    return loaded;
}

void StopHost() {
    if (!gStarted) return;
    BroadcastNotification(NOTIFY_SYSTEM_SHUTDOWN);
    // Objects of plug-in classes must be gone while their code is still loaded.
    ResetScene();
    UnloadPlugins();
    gStarted = false;
}

bool HostStarted() { return gStarted; }

}  // namespace host
