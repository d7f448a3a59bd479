// The motion panel's rollups of a chain's controllers: the chain's ("IKFK Chain") and, for a
// node whose IKFKControl has an IKFKLink, the link's ("IKFK Links"). Made by the controllers'
// BeginEditParams; destroying it takes the pages down and destroys the rollups.
#pragma once

class IObjParam;
class QWidget;

namespace kt {

class IKFKChain;
class IKFKLink;

class IKFKMotionRollups {
public:
    // Either may be null: no rollup for it.
    IKFKMotionRollups(IObjParam* ip, IKFKChain* chain, IKFKLink* link);
    ~IKFKMotionRollups();
    IKFKMotionRollups(const IKFKMotionRollups&) = delete;
    IKFKMotionRollups& operator=(const IKFKMotionRollups&) = delete;

private:
    IObjParam* ip_;
    QWidget* chain_ = nullptr;
    QWidget* link_ = nullptr;
};

}  // namespace kt
