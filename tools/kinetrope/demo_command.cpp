// kinetrope demo: the main job on built-in defaults. Today: a small hierarchy built
// through the host, saved, loaded back and compared, with MsgChecker from the plug-in
// watching the reloaded scene.
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "hoststart.h"
#include "inode.h"
#include "iplugin.h"
#include "maxapi.h"
#include "scenefile.h"
#include "solvers/ikfk_demo.h"
#include "subcommand.h"
#include "ui/ui_application.h"
#include "ui/viewport_image.h"
#include "view_options.h"
#include "viewexp.h"

namespace kt::cli {
namespace {

namespace fs = std::filesystem;

const char kUsage[] =
    "Usage: kinetrope demo [--out DIR]\n\n"
    "Loads the plug-in, builds a small node hierarchy through the host, saves it as\n"
    "DIR/demo.kts, loads it back and prints the world transforms of both scenes; then points\n"
    "the plug-in's MsgChecker at the reloaded scene and turns its root. Exits with 1 when a\n"
    "node does not stand where it was placed or the reloaded transforms differ from the\n"
    "built ones.\n\n"
    "  --out DIR   where the scene files and the arm's picture go (default: demo-out)\n";

constexpr Class_ID kMsgCheckerID(0x8443DFA5, 0x3F434885);
constexpr Class_ID kPointHelperID(0x2013, 0);
constexpr float kTolerance = 1e-4f;

// The demo's creature, parents before children: name, parent, world position, rotation
// about Z in degrees.
struct NodePlan {
    const wchar_t* name;
    const wchar_t* parent;
    Point3 pos;
    float rotZ;
};
const NodePlan kNodes[] = {
    {L"Hips", nullptr, Point3(0, 0, 100), 0},
    {L"Spine", L"Hips", Point3(0, 0, 130), 0},
    {L"Neck", L"Spine", Point3(0, 5, 160), 15},
    {L"Head", L"Neck", Point3(0, 8, 172), 15},
    {L"r_UpperArm", L"Spine", Point3(-20, 0, 155), -80},
    {L"l_UpperArm", L"Spine", Point3(20, 0, 155), 80},
    {L"r_Thigh", L"Hips", Point3(-10, 0, 95), 180},
    {L"l_Thigh", L"Hips", Point3(10, 0, 95), 180},
};

struct Snapshot {
    std::wstring name;
    std::wstring parent;
    Matrix3 tm;
};

void Progress(const GlobalOptions& options, const std::string& text) {
    if (!options.quiet) std::fprintf(stderr, "%s\n", text.c_str());
}

void Build() {
    Interface* ip = GetCOREInterface();
    for (const NodePlan& plan : kNodes) {
        auto* point = static_cast<Object*>(CreateInstance(HELPER_CLASS_ID, kPointHelperID));
        INode* node = ip->CreateObjectNode(point, plan.name);
        node->SetName(plan.name);
        Matrix3 tm = RotateZMatrix(plan.rotZ * static_cast<float>(M_PI) / 180.0f);
        tm.SetTrans(plan.pos);
        node->SetNodeTM(0, tm);
        if (plan.parent) {
            if (INode* parent = ip->GetINodeByName(plan.parent)) parent->AttachChild(node, 1);
        }
    }
}

void Collect(INode* node, std::vector<Snapshot>& out) {
    for (int i = 0; i < node->NumberOfChildren(); ++i) {
        INode* child = node->GetChildNode(i);
        out.push_back({child->GetName(), node->GetName(), child->GetNodeTM(0)});
        Collect(child, out);
    }
}

std::vector<Snapshot> Capture() {
    std::vector<Snapshot> nodes;
    Collect(GetCOREInterface()->GetRootNode(), nodes);
    return nodes;
}

std::string Utf8(const std::wstring& s) { return host::ToUtf8(s); }

void Print(const char* title, const std::vector<Snapshot>& nodes) {
    std::printf("%s\n", title);
    for (const Snapshot& n : nodes) {
        const Point3 t = n.tm.GetTrans();
        const Point3 x = n.tm.GetRow(0);
        const Point3 y = n.tm.GetRow(1);
        const Point3 z = n.tm.GetRow(2);
        std::printf("  %-11s parent %-11s pos (%8.3f %8.3f %8.3f)  x (%6.3f %6.3f %6.3f)  y (%6.3f %6.3f %6.3f)  "
                    "z (%6.3f %6.3f %6.3f)\n",
                    Utf8(n.name).c_str(), Utf8(n.parent).c_str(), t.x, t.y, t.z, x.x, x.y, x.z, y.x, y.y, y.z,
                    z.x, z.y, z.z);
    }
}

// Largest distance of a built node from where it was asked to stand.
float PlacementError(const std::vector<Snapshot>& built) {
    float worst = built.size() == std::size(kNodes) ? 0.0f : INFINITY;
    for (const NodePlan& plan : kNodes)
        for (const Snapshot& n : built)
            if (n.name == plan.name) worst = std::fmax(worst, (n.tm.GetTrans() - plan.pos).Length());
    return worst;
}

// Largest difference of any matrix entry; infinity when the scenes differ in shape.
float Difference(const std::vector<Snapshot>& a, const std::vector<Snapshot>& b) {
    if (a.size() != b.size()) return INFINITY;
    float worst = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        if (a[i].name != b[i].name || a[i].parent != b[i].parent) return INFINITY;
        for (int r = 0; r < 4; ++r) {
            const Point3 d = a[i].tm.GetRow(r) - b[i].tm.GetRow(r);
            worst = std::fmax(worst, std::fmax(std::fabs(d.x), std::fmax(std::fabs(d.y), std::fabs(d.z))));
        }
    }
    return worst;
}

// Points a MsgChecker at the reloaded head and turns the hips: the head's transform
// changes with them, and the checker reports what reached it.
void WatchWithMsgChecker(const GlobalOptions& options) {
    Interface* ip = GetCOREInterface();
    INode* head = ip->GetINodeByName(L"Head");
    INode* hips = ip->GetINodeByName(L"Hips");
    auto* checker = static_cast<ReferenceTarget*>(CreateInstance(REF_TARGET_CLASS_ID, kMsgCheckerID));
    if (!checker || !head || !hips) {
        std::printf("MsgChecker is not available\n");
        return;
    }
    Progress(options, "Turning Hips with MsgChecker watching Head");
    checker->ReplaceReference(checker->NumRefs() - 1, head);
    std::printf("MsgChecker watching Head while Hips turns by 90 degrees:\n");
    std::fflush(stdout);
    hips->Rotate(0, hips->GetNodeTM(0), AngAxis(Point3(0, 0, 1), static_cast<float>(M_PI) / 2));
    const Point3 p = head->GetNodeTM(0).GetTrans();
    std::printf("Head now at (%.3f %.3f %.3f)\n", p.x, p.y, p.z);
    checker->DeleteMe();
}

// The host runs for the life of one of these, however the demo ends.
struct HostRun {
    HostRun() { host::StartHost(); }
    ~HostRun() { host::StopHost(); }
    HostRun(const HostRun&) = delete;
    HostRun& operator=(const HostRun&) = delete;
};

int Run(const std::vector<std::string>& args, const GlobalOptions& options);

const Subcommand kCommand{"demo", "build, save and reload a small scene through the plug-in host", kUsage, Run};
SubcommandRegistrar registrar(kCommand);

bool KinetropeLoaded() {
    for (const host::PluginLibrary* lib : host::LoadedPlugins())
        if (lib->description == L"Kinetrope") return true;
    return false;
}

bool RenderLimb(const GlobalOptions& options, const std::string& out) {
    ViewOptions view;
    view.scene = (fs::path(out) / "limb.kts").string();
    view.out = (fs::path(out) / "limb.png").string();
    view.shaded = true;
    view.links = true;
    Progress(options, "Rendering the arm to " + view.out);
    std::wstring error;
    if (!host::SaveScene(host::FromUtf8(view.scene).c_str(), &error)) {
        std::fprintf(stderr, "kinetrope demo: saving %s failed: %s\n", view.scene.c_str(), Utf8(error).c_str());
        return false;
    }
    host::ui::EnsureApplication();
    ViewExp& vpt = GetCOREInterface()->GetActiveViewExp();
    std::string problem = PrepareView(view, vpt);
    if (problem.empty() && !host::RenderViewport(vpt, 0).save(QString::fromStdString(view.out), "PNG"))
        problem = "cannot write " + view.out;
    if (!problem.empty()) {
        std::fprintf(stderr, "kinetrope demo: %s\n", problem.c_str());
        return false;
    }
    std::printf("Arm picture: %s\n", view.out.c_str());
    return true;
}

int Run(const std::vector<std::string>& args, const GlobalOptions& options) {
    std::string out = "demo-out";
    for (size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--out") {
            if (i + 1 == args.size()) return UsageError(kCommand, "--out needs a folder");
            out = args[++i];
        } else {
            return UsageError(kCommand, "unexpected argument '" + args[i] + "'");
        }
    }
    std::error_code ec;
    fs::create_directories(out, ec);
    if (ec) {
        std::fprintf(stderr, "kinetrope demo: cannot create %s: %s\n", out.c_str(), ec.message().c_str());
        return kExitFailure;
    }
    const std::string file = (fs::path(out) / "demo.kts").string();

    Progress(options, "Starting the host, plug-ins from " + host::DefaultPluginFolder());
    HostRun hostRun;
    if (!KinetropeLoaded()) {
        std::fprintf(stderr, "kinetrope demo: Kinetrope.dlc was not loaded from %s\n",
                     host::DefaultPluginFolder().c_str());
        return kExitFailure;
    }

    Progress(options, "Building the scene");
    Build();
    const std::vector<Snapshot> built = Capture();
    Print("Built scene, world transforms at frame 0:", built);
    if (PlacementError(built) > kTolerance) {
        std::fprintf(stderr, "kinetrope demo: the built nodes do not stand where they were placed\n");
        return kExitFailure;
    }

    Progress(options, "Saving " + file);
    std::wstring error;
    if (!host::SaveScene(host::FromUtf8(file).c_str(), &error)) {
        std::fprintf(stderr, "kinetrope demo: saving %s failed: %s\n", file.c_str(), Utf8(error).c_str());
        return kExitFailure;
    }
    host::ResetScene();
    Progress(options, "Loading " + file);
    if (!host::LoadScene(host::FromUtf8(file).c_str(), &error)) {
        std::fprintf(stderr, "kinetrope demo: loading %s failed: %s\n", file.c_str(), Utf8(error).c_str());
        return kExitFailure;
    }
    const std::vector<Snapshot> loaded = Capture();
    Print("Reloaded scene, world transforms at frame 0:", loaded);

    const float diff = Difference(built, loaded);
    const bool same = diff <= kTolerance;
    if (std::isinf(diff))
        std::printf("Reloaded scene differs in its nodes or hierarchy\n");
    else
        std::printf("Reloaded scene %s the built one (largest difference %g)\n", same ? "matches" : "differs from",
                    static_cast<double>(diff));

    WatchWithMsgChecker(options);
    std::printf("Scene file: %s\n", file.c_str());

    // The limb: FK -> IK -> FK on a three-joint arm, run inside the plug-in.
    Progress(options, "Switching an arm between FK and IK");
    host::ResetScene();
    bool limbOk = false;
    auto* chain = static_cast<Animatable*>(CreateInstance(CTRL_MATRIX3_CLASS_ID, Class_ID(0x45596D56, 0x1E847B60)));
    if (auto* demo = chain ? static_cast<kt::IIKFKDemo*>(chain->GetInterface(kt::I_IKFKDEMO)) : nullptr)
        limbOk = demo->RunLimbDemo(stdout);
    if (chain) chain->DeleteThis();

    // A picture of the arm as it ends, through a scene file as `kinetrope render` makes one.
    const bool pictureOk = limbOk && RenderLimb(options, out);
    return same && limbOk && pictureOk ? kExitOk : kExitFailure;
}

}  // namespace
}  // namespace kt::cli
