// kinetrope classes: every class the host knows, one tab-separated line each.
#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "hoststart.h"
#include "iplugin.h"
#include "maxapi.h"
#include "subcommand.h"

namespace kt::cli {
namespace {

const char kUsage[] =
    "Usage: kinetrope classes [--library NAME]\n\n"
    "Prints one line per registered class, tab-separated: index, script name, display name,\n"
    "super class id, class id first word, class id second word (the last three in hex),\n"
    "category, public (1/0). Plug-in classes come first, library by library in load order,\n"
    "each in the order its library lists them; the host's own classes follow. The index\n"
    "counts within the class's library.\n\n"
    "  --library NAME   only the classes of one library: a plug-in's file name without its\n"
    "                   extension (Kinetrope), or host for the host's own classes\n";

std::string Utf8(const MCHAR* s) { return s ? host::ToUtf8(s) : std::string(); }

void PrintClass(int index, ClassDesc* cd) {
    // Names may share one static buffer: copy each before asking for the next.
    const std::string script = Utf8(cd->NonLocalizedClassName());
    const std::string display = Utf8(cd->ClassName());
    const std::string category = Utf8(cd->Category());
    std::printf("%d\t%s\t%s\t0x%lX\t0x%lX\t0x%lX\t%s\t%d\n", index, script.c_str(), display.c_str(),
                static_cast<unsigned long>(cd->SuperClassID()), cd->ClassID().PartA(), cd->ClassID().PartB(),
                category.c_str(), cd->IsPublic() ? 1 : 0);
}

// Library names in the order their classes were first registered, the host's own
// (registered without a library name) last.
std::vector<std::wstring> LibrariesInOrder(const host::ClassDirectory& dir) {
    std::vector<std::wstring> libs;
    bool hostClasses = false;
    for (int i = 0; i < dir.Count(); ++i) {
        std::wstring lib = dir.LibraryOf(i);
        if (lib.empty()) {
            hostClasses = true;
            continue;
        }
        if (std::find(libs.begin(), libs.end(), lib) == libs.end()) libs.push_back(lib);
    }
    if (hostClasses) libs.emplace_back();
    return libs;
}

int Run(const std::vector<std::string>& args, const GlobalOptions&);

const Subcommand kCommand{"classes", "list every registered class", kUsage, Run};
SubcommandRegistrar registrar(kCommand);

int Run(const std::vector<std::string>& args, const GlobalOptions&) {
    bool filtered = false;
    std::wstring only;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--library") {
            if (i + 1 == args.size()) return UsageError(kCommand, "--library needs a name");
            only = args[++i] == "host" ? std::wstring() : host::FromUtf8(args[i]);
            filtered = true;
        } else {
            return UsageError(kCommand, "unexpected argument '" + args[i] + "'");
        }
    }

    // The list is meant for other programs: whatever the host or a plug-in reports while
    // loading goes to stderr so that stdout holds class lines only.
    const host::Listener::Sink previous = host::Listener::SetSink(
        [](std::string_view text) { std::fwrite(text.data(), 1, text.size(), stderr); });
    host::StartHost();
    const host::ClassDirectory& dir = host::ClassDirectory::Get();
    bool found = false;
    for (const std::wstring& lib : LibrariesInOrder(dir)) {
        if (filtered && !host::EqualNoCase(lib, only)) continue;
        found = true;
        int index = 0;
        for (int i = 0; i < dir.Count(); ++i)
            if (lib == dir.LibraryOf(i)) PrintClass(index++, dir.GetClassAt(i));
    }
    host::StopHost();
    host::Listener::SetSink(previous);
    if (filtered && !found) {
        std::fprintf(stderr, "kinetrope classes: no library named '%s' is loaded\n", host::ToUtf8(only).c_str());
        return kExitFailure;
    }
    return kExitOk;
}

}  // namespace
}  // namespace kt::cli
