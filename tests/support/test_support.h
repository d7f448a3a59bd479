// Shared helpers for host and plug-in tests.
#pragma once

#include <gtest/gtest.h>
#include "max.h"

namespace kttest {

// Fails the test if Animatables created inside the scope are still alive at its end.
class LiveObjectGuard {
public:
    LiveObjectGuard() : start_(Animatable::LiveCount()) {}
    long Leaked() const { return Animatable::LiveCount() - start_; }

private:
    long start_;
};

}  // namespace kttest
