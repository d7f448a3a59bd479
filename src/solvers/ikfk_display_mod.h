// IKFKDisplayMod: shrinks a helper's shape with the chain's blend so the animator sees which
// controls are live: FK controls fade to a dot as the chain goes to IK, goals do the opposite.
#pragma once

#include "modifier.h"

class INode;

namespace kt {

constexpr Class_ID IKFKDISPLAYMOD_CLASS_ID(0x45596D58, 0x03397FDC);

class IKFKDisplayMod : public Modifier {
public:
    explicit IKFKDisplayMod(BOOL loading = FALSE) { (void)loading; }

    Class_ID ClassID() override { return IKFKDISPLAYMOD_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override;
    ChannelMask ChannelsUsed() override { return GEOM_CHANNEL; }
    ChannelMask ChannelsChanged() override { return GEOM_CHANNEL; }

    // Scales every point about the centre of the points' bounding box by BlendView; the
    // geometry channel's validity is narrowed by the read.
    void ModifyObject(TimeValue t, ModContext& mc, ObjectState* os, INode* node) override;

    // The blend as the node's IKFKControl sees it: 1 with no chain, a chain whose
    // affect_helpers_display is off or whose auto_ikfk_match is on; 1 - ikfk_blend for joints,
    // ikfk_blend for goal, goal parent and target; 0.5 with no IKFKControl at all.
    static float BlendView(INode* node, TimeValue t, Interval& valid);

    // The rollup's one line.
    static const MCHAR* RollupText() { return L"Affects the Display based on the IKFK Blend Value"; }
};

}  // namespace kt
