// kinetrope eval: one expression, its value printed.
#include <cstdio>

#include "script_session.h"
#include "subcommand.h"

namespace kt::cli {
namespace {

const char kUsage[] =
    "Usage: kinetrope eval \"EXPR\" [--scene IN]\n\n"
    "Runs the text and prints the value of its last expression. An uncaught error goes to\n"
    "stderr and the exit code is 1.\n\n"
    "  --scene IN   load this scene first\n";

int Run(const std::vector<std::string>& args, const GlobalOptions&);
const Subcommand kCommand{"eval", "run a script text and print its value", kUsage, Run};
SubcommandRegistrar registrar(kCommand);

int Run(const std::vector<std::string>& args, const GlobalOptions&) {
    std::string text, scene;
    bool haveText = false;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--scene") {
            if (i + 1 == args.size()) return UsageError(kCommand, "--scene needs a file");
            scene = args[++i];
        } else if (!haveText) {
            text = args[i];
            haveText = true;
        } else {
            return UsageError(kCommand, "unexpected argument '" + args[i] + "'");
        }
    }
    if (!haveText) return UsageError(kCommand, "no expression given");

    ScriptSession session;
    if (!scene.empty() && !session.LoadScene(scene)) return kExitFailure;
    host::script::RunOptions options;
    options.quiet = true;
    const host::script::RunResult r = session.Interpreter().Run(text, options);
    if (!r.ok) {
        std::fflush(stdout);
        std::fputs(FormatError(r, "").c_str(), stderr);
        return kExitFailure;
    }
    std::printf("%s\n", r.value.Print().c_str());
    return kExitOk;
}

}  // namespace
}  // namespace kt::cli
