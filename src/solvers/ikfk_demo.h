// The limb step of `kinetrope demo`: a three-joint arm that goes FK -> IK -> FK, printing the
// joint positions at each step. The command line reaches it through a chain object's
// GetInterface(I_IKFKDEMO) (it does not link the plug-in), so this header is all it needs.
#pragma once

#include <cstdio>

#include "maxtypes.h"

namespace kt {

constexpr ULONG I_IKFKDEMO = 0x45596D60;

class IIKFKDemo {
public:
    virtual ~IIKFKDemo() = default;
    // Builds the arm in the current scene, switches it FK -> IK -> FK and prints to `out`.
    // True when the joints stayed put at each switch and moved with the goal in IK.
    virtual bool RunLimbDemo(std::FILE* out) = 0;
};

}  // namespace kt
