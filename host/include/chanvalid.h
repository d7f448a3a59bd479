// Objects that hold their own geometry and keep validity per channel (meshes, polys, editable
// splines): each answers itself when evaluated, and a channel's validity is what it was last
// given. They hold no references whose messages they would act on.
#pragma once

#include "object.h"

namespace host {

// Base is the SDK class the object derives from (GeomObject, ShapeObject).
template <class Base>
class ChannelValidityObject : public Base {
public:
    ObjectState Eval(TimeValue t) override { (void)t; return ObjectState(this); }
    Interval ChannelValidity(TimeValue t, int chan) override { (void)t; return valid_.Get(chan); }
    void SetChannelValidity(int nchan, Interval v) override { valid_.Set(nchan, v); }
    void UpdateValidity(int nchan, Interval v) override { valid_.Update(nchan, v); }
    int IsDeformable() override { return TRUE; }

    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }

protected:
    ChannelValidities valid_;
};

}  // namespace host
