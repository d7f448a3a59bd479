// kinetrope: drives the headless host and the plug-ins it loads.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "subcommand.h"

namespace {

void PrintHelp() {
    std::printf(
        "Usage: kinetrope [--quiet] <command> [arguments]\n"
        "       kinetrope <command> --help\n\n"
        "Commands:\n");
    for (const kt::cli::Subcommand* c : kt::cli::SubcommandRegistry::All())
        std::printf("  %-10s %s\n", c->name, c->summary);
    std::printf(
        "\nOptions:\n"
        "  --quiet    no progress on the terminal\n"
        "  --help     this text\n\n"
        "Plug-ins are loaded from the folder of this program, or from KT_PLUGIN_DIR when it is set.\n");
}

}  // namespace

int main(int argc, char** argv) {
    kt::cli::GlobalOptions options;
    std::vector<std::string> args;
    bool help = false;
    bool verbatim = false;  // after "--" every word goes to the command as it stands
    for (int i = 1; i < argc; ++i) {
        if (verbatim)
            args.emplace_back(argv[i]);
        else if (std::strcmp(argv[i], "--") == 0)
            verbatim = true;
        else if (std::strcmp(argv[i], "--quiet") == 0 || std::strcmp(argv[i], "-q") == 0)
            options.quiet = true;
        else if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0)
            help = true;
        else
            args.emplace_back(argv[i]);
    }
    if (args.empty() || args.front() == "help") {
        if (args.size() < 2) {
            PrintHelp();
            return help || !args.empty() ? kt::cli::kExitOk : kt::cli::kExitUsage;
        }
        args.erase(args.begin());
        help = true;
    }

    const kt::cli::Subcommand* command = kt::cli::SubcommandRegistry::Find(args.front());
    if (!command) {
        std::fprintf(stderr, "kinetrope: unknown command '%s'; see kinetrope --help\n", args.front().c_str());
        return kt::cli::kExitUsage;
    }
    if (help) {
        std::printf("%s", command->usage);
        return kt::cli::kExitOk;
    }
    args.erase(args.begin());
    return command->run(args, options);
}
