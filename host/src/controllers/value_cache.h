// The value cache of the compound controllers: the last value computed, with its validity
// interval, kept only while the controller's value depends on nothing but state that announces
// its changes (see IsSelfContained).
#pragma once

#include <cstdint>

#include "control.h"

namespace host::ctrl {

// Whether c's value is a function of time and of its own keys and constants alone, so that
// every change to it reaches its dependents as a reference message: the host's keyframe
// controllers without ease or multiplier curves, and Euler XYZ, Position XYZ and Scale XYZ
// whose sub-controllers are such keyframe floats (or empty). For each of these a relative
// GetValue pre-multiplies the matrix it is given by a value that does not depend on it.
// Null qualifies (it contributes nothing).
bool IsSelfContained(Control* c);

// Keeps one value with the interval it holds over. Drop forgets both the value and whether
// the owner may cache at all.
template <class V> class ValueCache {
  public:
    // The cached value when t lies inside its interval; narrows valid by that interval.
    bool Get(TimeValue t, V& v, Interval& valid) const {
        if (!valid_.InInterval(t)) return false;
        v = value_;
        valid &= valid_;
        return true;
    }
    void Put(const V& v, const Interval& valid) {
        value_ = v;
        valid_ = valid;
    }
    void Drop() {
        valid_.SetEmpty();
        use_ = kUnknown;
    }

    // Whether the owner may cache: cacheable(), asked once after each Drop.
    template <class Cacheable> bool Allowed(Cacheable&& cacheable) {
        if (use_ == kUnknown) use_ = cacheable() ? kUse : kOff;
        return use_ == kUse;
    }

    // The value at t: the cached one inside its interval, else compute(Interval&), which
    // narrows the interval it is given, kept when Allowed.
    template <class Cacheable, class Compute>
    V Read(TimeValue t, Interval& valid, Cacheable&& cacheable, Compute&& compute) {
        V v;
        if (Get(t, v, valid)) return v;
        if (!Allowed(cacheable)) return compute(valid);
        Interval iv = FOREVER;
        v = compute(iv);
        Put(v, iv);
        valid &= iv;
        return v;
    }

  private:
    enum : uint8_t { kUnknown, kUse, kOff };
    V value_{};
    Interval valid_ = NEVER;
    uint8_t use_ = kUnknown;
};

} // namespace host::ctrl
