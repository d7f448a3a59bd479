#include "view_options.h"

#include <cstdlib>

#include "gfx.h"
#include "maxapi.h"
#include "scenefile.h"
#include "strclass.h"
#include "viewexp.h"

namespace kt::cli {
namespace {

bool ParseInt(const std::string& s, int& out) {
    if (s.empty()) return false;
    char* end = nullptr;
    long v = std::strtol(s.c_str(), &end, 10);
    if (*end != '\0') return false;
    out = int(v);
    return true;
}

}  // namespace

std::string ParseViewOptions(const std::vector<std::string>& args, ViewOptions& opts) {
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&](std::string& out) {
            if (i + 1 >= args.size()) return false;
            out = args[++i];
            return true;
        };
        std::string v;
        if (a == "--frame") {
            if (!value(v) || !ParseInt(v, opts.frame)) return "--frame needs a whole number";
        } else if (a == "--view") {
            if (!value(v)) return "--view needs front, back, left, right, top, bottom or persp";
            if (v != "front" && v != "back" && v != "left" && v != "right" && v != "top" && v != "bottom" &&
                v != "persp")
                return "unknown view '" + v + "' (front, back, left, right, top, bottom or persp)";
            opts.view = v;
        } else if (a == "--size") {
            size_t x = 0;
            if (!value(v) || (x = v.find('x')) == std::string::npos || !ParseInt(v.substr(0, x), opts.width) ||
                !ParseInt(v.substr(x + 1), opts.height) || opts.width <= 0 || opts.height <= 0 ||
                opts.width > 16384 || opts.height > 16384)
                return "--size needs WIDTHxHEIGHT in pixels, for example 1280x720";
        } else if (a == "--out") {
            if (!value(opts.out)) return "--out needs a file name";
        } else if (a == "--shaded") {
            opts.shaded = true;
        } else if (a == "--links") {
            opts.links = true;
        } else if (a == "--selected") {
            while (i + 1 < args.size() && args[i + 1].rfind("--", 0) != 0) opts.selected.push_back(args[++i]);
            if (opts.selected.empty()) return "--selected needs at least one node name";
        } else if (a.rfind("--", 0) == 0) {
            return "unknown option '" + a + "'";
        } else {
            opts.positional.push_back(a);
        }
    }
    if (opts.positional.empty()) return "missing the scene file";
    opts.scene = opts.positional.front();
    opts.positional.erase(opts.positional.begin());
    return {};
}

std::string PrepareView(const ViewOptions& opts, ViewExp& vpt) {
    std::wstring error;
    if (!host::LoadScene(host::FromUtf8(opts.scene).c_str(), &error))
        return "cannot load scene " + opts.scene + ": " + host::ToUtf8(error);
    Interface* ip = GetCOREInterface();
    ip->ClearNodeSelection(FALSE);
    for (const std::string& name : opts.selected) {
        INode* node = ip->GetINodeByName(host::FromUtf8(name).c_str());
        if (!node) return "no node named '" + name + "' in " + opts.scene;
        ip->SelectNode(node, 0);
    }
    const TimeValue t = opts.frame * GetTicksPerFrame();
    ip->SetTime(t, FALSE);
    vpt.host_SetSize(opts.width, opts.height);
    const std::string& v = opts.view;
    vpt.host_SetViewType(v == "front"    ? VIEW_FRONT
                         : v == "back"   ? VIEW_BACK
                         : v == "left"   ? VIEW_LEFT
                         : v == "right"  ? VIEW_RIGHT
                         : v == "top"    ? VIEW_TOP
                         : v == "bottom" ? VIEW_BOTTOM
                                         : VIEW_PERSP_USER);
    vpt.host_SetWire(!opts.shaded);
    vpt.host_SetShowLinks(opts.links);
    vpt.host_ZoomExtents(host::SceneWorldBox(vpt, t));
    return {};
}

}  // namespace kt::cli
