// kinetrope ui: the host's Qt frame with the command panel, on a display or offscreen.
#include <QApplication>
#include <QTimer>
#include <cstdio>

#include "hoststart.h"
#include "maxapi.h"
#include "scenefile.h"
#include "subcommand.h"
#include "ui/main_window.h"
#include "ui/ui_application.h"

namespace kt::cli {
namespace {

const char kUsage[] =
    "Usage: kinetrope ui [--scene IN] [--screenshot OUT.png]\n\n"
    "Opens the host's main window: the viewport, the command panel with the rollups of the\n"
    "selected node, and the time slider. Without a display the offscreen platform is used.\n\n"
    "  --scene IN            load this scene first (its first node is selected)\n"
    "  --screenshot OUT.png  render the window to a PNG file and exit\n";

int Run(const std::vector<std::string>& args, const GlobalOptions&);
const Subcommand kCommand{"ui", "the host's Qt frame", kUsage, Run};
SubcommandRegistrar registrar(kCommand);

int Run(const std::vector<std::string>& args, const GlobalOptions&) {
    std::string scene, shot;
    for (size_t i = 0; i < args.size(); ++i) {
        if ((args[i] == "--scene" || args[i] == "--screenshot") && i + 1 < args.size())
            (args[i] == "--scene" ? scene : shot) = args[i + 1], ++i;
        else
            return UsageError(kCommand, "unexpected argument '" + args[i] + "'");
    }
    host::ui::EnsureApplication();
    host::StartHost();
    int rc = kExitOk;
    if (!scene.empty()) {
        std::wstring error;
        if (!host::LoadScene(host::FromUtf8(scene).c_str(), &error)) {
            std::fprintf(stderr, "kinetrope ui: cannot load scene %s: %s\n", scene.c_str(), host::ToUtf8(error).c_str());
            host::StopHost();
            return kExitFailure;
        }
    }
    host::ui::MainWindow* window = host::ui::StartUI(true);
    INode* root = GetCOREInterface()->GetRootNode();
    if (root->NumberOfChildren() > 0) GetCOREInterface()->SelectNode(root->GetChildNode(0));
    if (!shot.empty()) {
        QApplication::processEvents();
        if (!host::ui::RenderToPng(window, QString::fromStdString(shot))) {
            std::fprintf(stderr, "kinetrope ui: cannot write %s\n", shot.c_str());
            rc = kExitFailure;
        }
    } else {
        rc = QApplication::exec() == 0 ? kExitOk : kExitFailure;
    }
    host::ui::StopUI();
    host::StopHost();
    return rc;
}

}  // namespace
}  // namespace kt::cli
