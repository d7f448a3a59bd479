// The base of the rollups' viewport pick modes: a click is tested against the nodes the
// subclass's Filter accepts, and the owner is told when the mode starts and ends so that its
// button follows. What a pick does is the subclass's Pick.
#pragma once

#include <functional>
#include <utility>

#include "cmdmode.h"
#include "maxapi.h"
#include "viewexp.h"

namespace kt {

class NodePickMode : public PickModeCallback, public PickNodeCallback {
  public:
    BOOL HitTest(IObjParam* ip, HWND hWnd, ViewExp* vpt, IPoint2 m, int flags) override {
        (void)hWnd;
        (void)flags;
        return ip && ip->PickNode(vpt, m, this) ? TRUE : FALSE;
    }
    void EnterMode(IObjParam* ip) override {
        (void)ip;
        if (modeChanged_) modeChanged_(true);
    }
    void ExitMode(IObjParam* ip) override {
        (void)ip;
        if (modeChanged_) modeChanged_(false);
    }
    PickNodeCallback* GetFilter() override { return this; }
    // Told when the mode is entered (true) and left (false); null to stop telling.
    void SetModeChanged(std::function<void(bool)> fn) { modeChanged_ = std::move(fn); }

  private:
    std::function<void(bool)> modeChanged_;
};

}  // namespace kt
