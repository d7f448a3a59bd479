// The usual rollup factory of a plug-in class: on map 0 of an object of class Owner, a Widget
// built from that object, titled by Title(). Attach it from a static initialiser:
//   ClassRegistry::AttachQtWidgetFactory(CTRL_MATRIX3_CLASS_ID, IKFKCHAIN_CLASS_ID,
//                                        &MakeOwnerRollup<IKFKChain, IKFKChainRollup, ChainTitle>);
#pragma once

#include "frame/class_registry.h"
#include "ui/qmax_controls.h"

namespace kt {

template <class Owner, class Widget, const MCHAR* (*Title)()>
MaxSDK::QMaxParamBlockWidget* MakeOwnerRollup(ReferenceMaker& owner, IParamBlock2& pb, MapID map, MSTR& title,
                                              int& flags, int& category) {
    (void)flags;
    (void)category;
    auto* o = dynamic_cast<Owner*>(&owner);
    if (map != 0 || !o) return nullptr;
    title = Title();
    auto* w = new Widget(o);
    w->SetParamBlock(&owner, &pb);
    return w;
}

}  // namespace kt
