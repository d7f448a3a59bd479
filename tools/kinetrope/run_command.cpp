// kinetrope run: one script file against the host, with a scene in and out.
#include <cstdio>

#include "script_session.h"
#include "subcommand.h"

namespace kt::cli {
namespace {

const char kUsage[] =
    "Usage: kinetrope run FILE.ms [--scene IN] [--save OUT]\n\n"
    "Runs a script file. Listener output goes to stdout; an uncaught script error goes to\n"
    "stderr and the exit code is 1. Ctrl-C stops a running script.\n\n"
    "  --scene IN   load this scene before the script runs\n"
    "  --save OUT   save the scene after the script has run without error\n";

int Run(const std::vector<std::string>& args, const GlobalOptions&);
const Subcommand kCommand{"run", "run a script file", kUsage, Run};
SubcommandRegistrar registrar(kCommand);

int Run(const std::vector<std::string>& args, const GlobalOptions&) {
    std::string file, scene, save;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--scene" || args[i] == "--save") {
            if (i + 1 == args.size()) return UsageError(kCommand, args[i] + " needs a file");
            (args[i] == "--scene" ? scene : save) = args[i + 1];
            ++i;
        } else if (file.empty() && (args[i].empty() || args[i][0] != '-')) {
            file = args[i];
        } else {
            return UsageError(kCommand, "unexpected argument '" + args[i] + "'");
        }
    }
    if (file.empty()) return UsageError(kCommand, "no script file given");

    ScriptSession session;
    if (!scene.empty() && !session.LoadScene(scene)) return kExitFailure;
    if (!session.RunFile(file)) return kExitFailure;
    if (!save.empty() && !session.SaveScene(save)) return kExitFailure;
    return kExitOk;
}

}  // namespace
}  // namespace kt::cli
