// kinetrope pick: the node under a pixel of a framed view, as render would draw it.
#include <cstdio>
#include <cstdlib>

#include "hoststart.h"
#include "maxapi.h"
#include "strclass.h"
#include "subcommand.h"
#include "view_options.h"
#include "viewexp.h"

namespace kt::cli {
namespace {

const char kUsage[] =
    "Usage: kinetrope pick SCENE X Y [--frame N] [--view VIEW] [--size WxH] [--shaded]\n\n"
    "Loads a scene file, frames it as render does and prints the name of the node under the\n"
    "pixel X, Y (from the top-left corner). Exits with 1 when nothing is there.\n\n"
    "  --frame N    the frame (default 0)\n"
    "  --view VIEW  front, back, left, right, top, bottom or persp (default persp)\n"
    "  --size WxH   the view's size in pixels (default 800x600)\n"
    "  --shaded     faces of meshes are hit inside, not only on their edges\n";

int Run(const std::vector<std::string>& args, const GlobalOptions&);
const Subcommand kCommand{"pick", "the node under a pixel of a scene's view", kUsage, Run};
SubcommandRegistrar registrar(kCommand);

bool ToInt(const std::string& s, int& out) {
    char* end = nullptr;
    long v = std::strtol(s.c_str(), &end, 10);
    if (s.empty() || *end != '\0') return false;
    out = int(v);
    return true;
}

int Run(const std::vector<std::string>& args, const GlobalOptions&) {
    ViewOptions opts;
    std::string problem = ParseViewOptions(args, opts);
    int x = 0, y = 0;
    if (problem.empty() && opts.positional.size() != 2) problem = "needs the pixel as X Y after the scene";
    if (problem.empty() && (!ToInt(opts.positional[0], x) || !ToInt(opts.positional[1], y)))
        problem = "X and Y must be whole numbers of pixels";
    if (problem.empty() && (!opts.out.empty() || !opts.selected.empty())) problem = "--out and --selected are render's";
    if (!problem.empty()) return UsageError(kCommand, problem);

    host::StartHost();
    ViewExp& vpt = GetCOREInterface()->GetActiveViewExp();
    int rc = kExitOk;
    problem = PrepareView(opts, vpt);
    if (problem.empty()) {
        INode* node = GetCOREInterface()->PickNode(&vpt, IPoint2(x, y));
        if (node) {
            std::printf("%s\n", host::ToUtf8(node->GetName()).c_str());
        } else {
            problem = "nothing at pixel " + std::to_string(x) + ", " + std::to_string(y) + " in view " + opts.view;
        }
    }
    if (!problem.empty()) {
        std::fprintf(stderr, "kinetrope pick: %s\n", problem.c_str());
        rc = kExitFailure;
    }
    host::StopHost();
    return rc;
}

}  // namespace
}  // namespace kt::cli
