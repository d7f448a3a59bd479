// The command line's subcommands. Each lives in its own source file and registers
// itself with a static SubcommandRegistrar, so adding one touches no other file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kt::cli {

// Options that every subcommand understands; they may stand anywhere on the line.
struct GlobalOptions {
    bool quiet = false;  // no progress on the terminal
};

struct Subcommand {
    const char* name;
    const char* summary;  // one line, shown by --help
    const char* usage;    // the subcommand's own help: its synopsis and options
    // Runs with the arguments after the subcommand's name (global options removed).
    // Answers the exit code: 0 success, 1 failure, 2 a usage error.
    int (*run)(const std::vector<std::string>& args, const GlobalOptions& options);
};

class SubcommandRegistry {
public:
    // False when the name is taken.
    static bool Add(const Subcommand& command);
    // Null when no subcommand has this name.
    static const Subcommand* Find(std::string_view name);
    // Every subcommand, by name.
    static std::vector<const Subcommand*> All();
};

struct SubcommandRegistrar {
    explicit SubcommandRegistrar(const Subcommand& command) { SubcommandRegistry::Add(command); }
};

// Exit codes.
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// Prints "kinetrope <name>: message" and the subcommand's usage to stderr; answers kExitUsage.
int UsageError(const Subcommand& command, std::string_view message);

}  // namespace kt::cli
