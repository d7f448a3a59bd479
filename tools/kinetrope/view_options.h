// What render and pick share: a scene file, a frame and a framed standard view.
#pragma once

#include <string>
#include <vector>

#include "subcommand.h"

class ViewExp;

namespace kt::cli {

struct ViewOptions {
    std::string scene;
    int frame = 0;
    std::string view = "persp";
    int width = 800;
    int height = 600;
    bool shaded = false;
    bool links = false;
    std::vector<std::string> positional;  // arguments that are not options, in order
    std::vector<std::string> selected;
    std::string out;
};

// Parses the options render and pick understand. Answers an empty string, or what is wrong.
std::string ParseViewOptions(const std::vector<std::string>& args, ViewOptions& opts);

// Loads the scene (into a started host), selects the named nodes, sets vpt to the view and
// size and frames every visible node at the frame. Answers an empty string, or what failed.
std::string PrepareView(const ViewOptions& opts, ViewExp& vpt);

}  // namespace kt::cli
