// The Qt rollup of IKFKChain: its parameters bound by script name (blend, stretch, soft
// reach, swivel and flexion, the node pickers and their switches, iterations, display
// modes), the joint list, and buttons for the published functions (FK, IK, the matches).
// Every button is the chain's own undo step ("IKFK Change").
#pragma once

#include "ui/qmax_param_block_widget.h"

namespace kt {

class IKFKChain;

class IKFKChainRollup : public MaxSDK::QMaxParamBlockWidget {
    Q_OBJECT
public:
    explicit IKFKChainRollup(IKFKChain* chain, QWidget* parent = nullptr);
    // Out of line: whoever uses the class links in the rollup's registration with it.
    ~IKFKChainRollup() override;

private:
    IKFKChain* chain_;
};

}  // namespace kt
