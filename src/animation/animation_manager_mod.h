// AnimationManagerMod: the record that ties a rig control's node to the animation tools. It
// names the node's parts in any rig (`tags`), its local-weights group, whether it is a root,
// how it mirrors, and the size it counts as for retargeting. It changes no geometry.
//
// References: 0 the block; 1 and 2 hold the node's animation layers and their local weights
// when the layer tools put them there (null otherwise). Readers find the modifier by walking
// the node's stack for its Class_ID; a node without one reads as ReadAnimationManager's
// defaults: no tags, no group, not a root, every mirror switch off, no size of its own.
#pragma once

#include <string>
#include <vector>

#include "iparamb2.h"
#include "modifier.h"

class INode;

namespace kt {

constexpr Class_ID ANIMATION_MANAGER_MOD_CLASS_ID(0x45596D58, 0x1E847B03);

class AnimationManagerMod : public Modifier {
public:
    enum ParamIds {
        pb_tags = 0,
        pb_root = 2,
        pb_mirror_pos_axis = 3,
        pb_mirror_rot_axis = 4,
        pb_use_mirror_pos = 5,
        pb_use_mirror_rot = 6,
        pb_use_mirror_node = 7,
        pb_mirror_node = 8,
        pb_use_retarget_size = 9,
        pb_retarget_size = 10,
        pb_group = 11,
    };
    static constexpr int kPBlockRef = 0;
    static constexpr int kLayersRef = 1;
    static constexpr int kLocalWeightsRef = 2;

    explicit AnimationManagerMod(BOOL loading = FALSE);

    Class_ID ClassID() override { return ANIMATION_MANAGER_MOD_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    int NumRefs() override { return 3; }
    RefTargetHandle GetReference(int i) override;
    int NumSubs() override { return 1; }
    Animatable* SubAnim(int i) override { return i == 0 ? pblock : nullptr; }
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override { return subNum == 0 ? kPBlockRef : -1; }
    int NumParamBlocks() override { return 1; }
    IParamBlock2* GetParamBlock(int i) override { return i == 0 ? pblock : nullptr; }
    IParamBlock2* GetParamBlockByID(BlockID id) override { return id == 0 ? pblock : nullptr; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override;
    ChannelMask ChannelsUsed() override { return 0; }
    ChannelMask ChannelsChanged() override { return 0; }
    void ModifyObject(TimeValue, ModContext&, ObjectState*, INode*) override {}

    // The node whose stack holds this modifier, or null.
    INode* OwnerNode();

    IParamBlock2* pblock = nullptr;
    ReferenceTarget* layers = nullptr;
    ReferenceTarget* localWeights = nullptr;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;
};

// The first AnimationManagerMod in the node's stacks, top first; null when it has none.
AnimationManagerMod* FindAnimationManagerMod(INode* node);

// What the animation tools read of a node (axes 0 X, 1 Y, 2 Z; size in world units).
struct AnimationManagerRecord {
    bool present = false;
    std::vector<std::wstring> tags;  // the comma-separated parts, blanks trimmed, empties dropped
    std::wstring group;
    bool root = false;
    int mirrorPosAxis = 2;
    int mirrorRotAxis = 2;
    bool useMirrorPos = false;
    bool useMirrorRot = false;
    bool useMirrorNode = false;
    INode* mirrorNode = nullptr;
    bool useRetargetSize = false;
    float retargetSize = 10.0f;
};

// The record of a node at t; the defaults above for a null node or one without the modifier.
AnimationManagerRecord ReadAnimationManager(INode* node, TimeValue t = 0);

// Where a mirrored paste of the node goes: its mirror node when it has the modifier with
// use_mirror_node on and a mirror node set; otherwise the node itself.
INode* MirrorTargetOf(INode* node, TimeValue t = 0);

// Splits a tags text at commas.
std::vector<std::wstring> SplitTags(const std::wstring& text);

// Refuses the modifier's own node as its mirror node; other nodes and other parameters pass.
class MirrorNodeValidator : public PBValidator {
public:
    BOOL Validate(PB2Value& v) override;
    BOOL Validate(PB2Value& v, ReferenceMaker* owner, ParamID id, int tabIndex) override;
};

}  // namespace kt
