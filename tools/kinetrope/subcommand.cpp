#include "subcommand.h"

#include <algorithm>
#include <cstdio>
#include <map>

namespace kt::cli {
namespace {

// Built on first use: registrars in other files run during static initialisation.
std::map<std::string, Subcommand, std::less<>>& Commands() {
    static std::map<std::string, Subcommand, std::less<>> commands;
    return commands;
}

}  // namespace

bool SubcommandRegistry::Add(const Subcommand& command) {
    return Commands().emplace(command.name, command).second;
}

const Subcommand* SubcommandRegistry::Find(std::string_view name) {
    auto it = Commands().find(name);
    return it == Commands().end() ? nullptr : &it->second;
}

std::vector<const Subcommand*> SubcommandRegistry::All() {
    std::vector<const Subcommand*> all;
    for (const auto& [name, command] : Commands()) all.push_back(&command);
    return all;
}

int UsageError(const Subcommand& command, std::string_view message) {
    std::fprintf(stderr, "kinetrope %s: %.*s\n\n%s", command.name, static_cast<int>(message.size()), message.data(),
                 command.usage);
    return kExitUsage;
}

}  // namespace kt::cli
