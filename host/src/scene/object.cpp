#include "object.h"

Interval ObjectState::Validity(TimeValue t) const {
    Interval iv = obj ? obj->ObjectValidity(t) : FOREVER;
    iv &= tmValid_;
    iv &= mtlValid_;
    return iv;
}

Interval Object::ObjectValidity(TimeValue t) {
    Interval iv = FOREVER;
    for (int chan = 0; chan < NUM_OBJ_CHANS; ++chan) iv &= ChannelValidity(t, chan);
    return iv;
}

void Object::Deform(Deformer* defProc, int useSel) {
    (void)useSel;
    if (!defProc) return;
    const int n = NumPoints();
    for (int i = 0; i < n; ++i) SetPoint(i, defProc->Map(i, GetPoint(i)));
    if (n > 0) PointsWereChanged();
}
