// kinetrope repl: the listener on a terminal. Lines gather until the text parses (an open
// bracket asks for more); each complete text runs and its values are echoed.
#include <cstdio>
#include <iostream>
#include <unistd.h>

#include "script_session.h"
#include "subcommand.h"

namespace kt::cli {
namespace {

const char kUsage[] =
    "Usage: kinetrope repl [--scene IN]\n\n"
    "Reads script text from stdin and runs it in one global scope, printing the value of each\n"
    "expression. A text with an open bracket continues on the next line. Ctrl-C stops a running\n"
    "script; Ctrl-D (end of input) or `exit` on a line of its own ends the session. The exit code\n"
    "is 1 when the last text failed.\n\n"
    "  --scene IN   load this scene first\n";

int Run(const std::vector<std::string>& args, const GlobalOptions&);
const Subcommand kCommand{"repl", "an interactive script listener", kUsage, Run};
SubcommandRegistrar registrar(kCommand);

int Run(const std::vector<std::string>& args, const GlobalOptions& options) {
    std::string scene;
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--scene" && i + 1 < args.size())
            scene = args[++i];
        else
            return UsageError(kCommand, "unexpected argument '" + args[i] + "'");
    }
    ScriptSession session;
    if (!scene.empty() && !session.LoadScene(scene)) return kExitFailure;

    const bool prompt = !options.quiet && isatty(STDIN_FILENO);
    bool lastOk = true;
    std::string pending, line;
    for (;;) {
        if (prompt) {
            std::fputs(pending.empty() ? "kinetrope> " : "       ... ", stdout);
            std::fflush(stdout);
        }
        if (!std::getline(std::cin, line)) break;
        if (pending.empty() && line == "exit") break;
        pending += line;
        pending += '\n';

        host::script::RunOptions run;
        run.quiet = true;
        run.echo = true;
        const host::script::RunResult r = session.Interpreter().Run(pending, run);
        if (!r.ok && r.syntaxError && r.incomplete) continue;
        if (!r.ok) {
            std::fflush(stdout);
            std::fputs(FormatError(r, "").c_str(), stderr);
        }
        lastOk = r.ok;
        pending.clear();
    }
    if (prompt) std::fputs("\n", stdout);
    return lastOk ? kExitOk : kExitFailure;
}

}  // namespace
}  // namespace kt::cli
