// The plug-in loader: .dlc libraries, their exports and their classes.
#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "iplugin.h"
#include "maxapi.h"

namespace fs = std::filesystem;

namespace host {
namespace {

// Listener lines name the file, so a user can tell which library to rebuild or remove.
void ReportSkipped(const std::wstring& file, const std::wstring& reason) {
    Listener::Write(L"Plug-in " + file + L" skipped: " + reason + L"\n");
}

// The library name of a library's classes in the class directory: its file name
// without the extension.
MSTR LibraryName(const PluginLibrary& lib) {
    return MSTR(FromUtf8(fs::path(ToUtf8(lib.path.str())).stem().string()));
}

std::vector<PluginLibrary*>& Libraries() {
    static std::vector<PluginLibrary*> libs;
    return libs;
}

struct Exports {
    LibDescriptionFn description = nullptr;
    LibNumberClassesFn numberClasses = nullptr;
    LibClassDescFn classDesc = nullptr;
    LibVersionFn version = nullptr;
    LibInitializeFn initialize = nullptr;
    LibShutdownFn shutdown = nullptr;
    CanAutoDeferFn canAutoDefer = nullptr;
};

template <typename Fn>
bool Resolve(void* handle, const char* name, Fn& fn, const std::wstring& file) {
    fn = reinterpret_cast<Fn>(dlsym(handle, name));
    if (!fn) ReportSkipped(file, L"it lacks the export " + FromUtf8(name));
    return fn != nullptr;
}

bool ResolveAll(void* handle, Exports& e, const std::wstring& file) {
    // Every export is checked so that one line names each one missing.
    bool ok = Resolve(handle, "LibDescription", e.description, file);
    ok = Resolve(handle, "LibNumberClasses", e.numberClasses, file) && ok;
    ok = Resolve(handle, "LibClassDesc", e.classDesc, file) && ok;
    ok = Resolve(handle, "LibVersion", e.version, file) && ok;
    ok = Resolve(handle, "LibInitialize", e.initialize, file) && ok;
    ok = Resolve(handle, "LibShutdown", e.shutdown, file) && ok;
    ok = Resolve(handle, "CanAutoDefer", e.canAutoDefer, file) && ok;
    return ok;
}

std::wstring Hex(ULONG v) {
    wchar_t buf[16];
    swprintf(buf, 16, L"0x%08lX", v);
    return buf;
}

}  // namespace

PluginLibrary* LoadPlugin(const char* path) {
    if (!path || !*path) return nullptr;
    std::error_code ec;
    fs::path full = fs::weakly_canonical(fs::path(path), ec);
    if (ec) full = fs::path(path);
    const std::wstring file = FromUtf8(full.filename().string());
    const MSTR fullPath(FromUtf8(full.string()));

    for (PluginLibrary* lib : Libraries())
        if (lib->path == fullPath) return lib;

    void* handle = dlopen(full.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        const char* err = dlerror();
        ReportSkipped(file, L"it could not be opened: " + FromUtf8(err ? err : "unknown error"));
        return nullptr;
    }

    Exports e;
    if (!ResolveAll(handle, e, file)) {
        dlclose(handle);
        return nullptr;
    }
    const ULONG version = e.version();
    if (version != VERSION_3DSMAX) {
        ReportSkipped(file, L"it was built for version " + Hex(version) + L" and this host is " + Hex(VERSION_3DSMAX));
        dlclose(handle);
        return nullptr;
    }

    auto* lib = new PluginLibrary;
    lib->path = fullPath;
    lib->handle = handle;
    lib->shutdown = e.shutdown;
    const MCHAR* description = e.description();
    lib->description = description ? description : L"";

    const MSTR libName = LibraryName(*lib);
    ClassDirectory& dir = ClassDirectory::Get();
    const int count = e.numberClasses();
    for (int i = 0; i < count; ++i) {
        ClassDesc* cd = e.classDesc(i);
        if (!cd) continue;
        if (!dir.AddClass(cd, libName)) {
            wchar_t ids[64];
            swprintf(ids, 64, L"0x%lX, 0x%lX", cd->ClassID().PartA(), cd->ClassID().PartB());
            Listener::Write(L"Plug-in " + file + L": class " + std::to_wstring(i) + L" (" + ids +
                          L") skipped: a class with its identity is already known\n");
            continue;
        }
        lib->classes.push_back(cd);
    }

    if (!e.initialize()) {
        ReportSkipped(file, L"LibInitialize failed");
        dir.RemoveLibraryClasses(libName);
        dlclose(handle);
        delete lib;
        return nullptr;
    }
    Libraries().push_back(lib);
    return lib;
}

int LoadPlugins(const char* folder) {
    if (!folder || !*folder) return 0;
    std::error_code ec;
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(fs::path(folder), ec)) {
        if (entry.path().extension() == ".dlc" && entry.is_regular_file(ec)) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    int loaded = 0;
    for (const fs::path& f : files)
        if (LoadPlugin(f.c_str())) ++loaded;
    return loaded;
}

void UnloadPlugins() {
    std::vector<PluginLibrary*>& libs = Libraries();
    while (!libs.empty()) {
        PluginLibrary* lib = libs.back();
        libs.pop_back();
        if (lib->shutdown) lib->shutdown();
        // The directory must not outlive the descriptors it points into.
        ClassDirectory::Get().RemoveLibraryClasses(LibraryName(*lib));
        dlclose(lib->handle);
        delete lib;
    }
}

const std::vector<PluginLibrary*>& LoadedPlugins() { return Libraries(); }

}  // namespace host
