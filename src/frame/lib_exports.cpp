// The library's entry points, called by the host's loader by their plain names.
#include <dlfcn.h>

#include "frame/class_registry.h"
#include "frame/plugin_lifecycle.h"
#include "resources/string_table.h"

#define KT_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// The module handle is known from the moment the library is attached, before the host
// calls any export; strings load with it from then on.
__attribute__((constructor)) void OnLibraryAttach() {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&OnLibraryAttach), &info) && info.dli_fbase)
        kt::SetModuleInstance(info.dli_fbase);
}

}  // namespace

KT_EXPORT const MCHAR* LibDescription() { return L"Kinetrope"; }

KT_EXPORT int LibNumberClasses() { return static_cast<int>(kt::kNumClasses); }

// The host passes the index as a signed int but means it unsigned: anything that is
// not 0..69 is out of range.
KT_EXPORT ClassDesc* LibClassDesc(int i) { return kt::ClassRegistry::DescAt(static_cast<unsigned>(i)); }

KT_EXPORT ULONG LibVersion() { return VERSION_3DSMAX; }

// Never deferred: the curve editor override must be in place from host start.
KT_EXPORT ULONG CanAutoDefer() { return 0; }

KT_EXPORT int LibInitialize() { return kt::PluginLifecycle::Initialize(); }

KT_EXPORT int LibShutdown() { return kt::PluginLifecycle::Shutdown(); }
