// Starting and stopping the headless host: plug-in loading and the start and end
// notifications around it. The command line and the tests start the host through these.
#pragma once

#include <string>

namespace host {

// Where plug-ins are looked for when no folder is given: the folder named by the
// environment variable KT_PLUGIN_DIR when it is set and not empty, else the folder of
// the running executable.
std::string DefaultPluginFolder();

// Loads every .dlc of `pluginFolder` (null or empty: DefaultPluginFolder()), then
// broadcasts NOTIFY_SYSTEM_STARTUP. Answers the number of libraries loaded. Starting a
// started host does nothing and answers 0.
int StartHost(const char* pluginFolder = nullptr);

// Broadcasts NOTIFY_SYSTEM_SHUTDOWN, then shuts down and unloads the plug-ins newest
// first. Does nothing when the host is not started.
void StopHost();

bool HostStarted();

}  // namespace host
