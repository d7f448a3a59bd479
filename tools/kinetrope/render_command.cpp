// kinetrope render: a scene file drawn from a standard view into a PNG.
#include <cstdio>

#include "hoststart.h"
#include "maxapi.h"
#include "subcommand.h"
#include "ui/ui_application.h"
#include "ui/viewport_image.h"
#include "view_options.h"

namespace kt::cli {
namespace {

const char kUsage[] =
    "Usage: kinetrope render SCENE --out FILE.png [--frame N] [--view VIEW] [--size WxH]\n"
    "                        [--shaded] [--links] [--selected NAME...]\n\n"
    "Loads a scene file, frames every visible node and draws the viewport into a PNG.\n\n"
    "  --out FILE.png      the image to write\n"
    "  --frame N           the frame to draw (default 0)\n"
    "  --view VIEW         front, back, left, right, top, bottom or persp (default persp)\n"
    "  --size WxH          image size in pixels (default 800x600)\n"
    "  --shaded            meshes as flat-shaded faces instead of wireframe\n"
    "  --links             a line from each node to its parent\n"
    "  --selected NAME...  nodes drawn as selected\n";

int Run(const std::vector<std::string>& args, const GlobalOptions&);
const Subcommand kCommand{"render", "draw a scene file into a PNG", kUsage, Run};
SubcommandRegistrar registrar(kCommand);

int Run(const std::vector<std::string>& args, const GlobalOptions&) {
    ViewOptions opts;
    std::string problem = ParseViewOptions(args, opts);
    if (problem.empty() && !opts.positional.empty()) problem = "unexpected argument '" + opts.positional[0] + "'";
    if (problem.empty() && opts.out.empty()) problem = "missing --out FILE.png";
    if (!problem.empty()) return UsageError(kCommand, problem);

    host::ui::EnsureApplication();
    host::StartHost();
    ViewExp& vpt = GetCOREInterface()->GetActiveViewExp();
    int rc = kExitOk;
    problem = PrepareView(opts, vpt);
    if (problem.empty()) {
        QImage image = host::RenderViewport(vpt, GetCOREInterface()->GetTime());
        if (!image.save(QString::fromStdString(opts.out), "PNG")) problem = "cannot write " + opts.out;
    }
    if (!problem.empty()) {
        std::fprintf(stderr, "kinetrope render: %s\n", problem.c_str());
        rc = kExitFailure;
    }
    host::StopHost();
    return rc;
}

}  // namespace
}  // namespace kt::cli
