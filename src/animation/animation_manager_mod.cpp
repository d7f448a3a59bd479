#include "animation/animation_manager_mod.h"

#include "frame/class_registry.h"
#include "inode.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

RegistryClassDesc* ModDesc() { return ClassRegistry::Find(OSM_CLASS_ID, ANIMATION_MANAGER_MOD_CLASS_ID); }

ClassFactoryRegistrar registrar(OSM_CLASS_ID, ANIMATION_MANAGER_MOD_CLASS_ID,
                                [](BOOL loading) -> void* { return new AnimationManagerMod(loading); });

MirrorNodeValidator mirrorValidator;

ParamBlockDesc2& ModBlock() {
    static ParamBlockDesc2* desc = [] {
        using M = AnimationManagerMod;
        auto* d = new ParamBlockDesc2();
        d->Define(0, L"params", 0, ModDesc(), P_AUTO_CONSTRUCT, 0, M::kPBlockRef);
        d->AddParam(M::pb_tags, L"tags", TYPE_STRING, 0, IDS_TAGS);
        d->SetDefault(M::pb_tags, L"");
        d->AddParam(M::pb_root, L"root", TYPE_BOOL, 0, IDS_ROOT);
        d->AddParam(M::pb_mirror_pos_axis, L"mirror_pos_axis", TYPE_INT, 0, IDS_MIRROR_POS_AXIS);
        d->SetDefault(M::pb_mirror_pos_axis, 2);
        d->SetRange(M::pb_mirror_pos_axis, 0, 2);
        d->AddParam(M::pb_mirror_rot_axis, L"mirror_rot_axis", TYPE_INT, 0, IDS_MIRROR_ROT_AXIS);
        d->SetDefault(M::pb_mirror_rot_axis, 2);
        d->SetRange(M::pb_mirror_rot_axis, 0, 2);
        d->AddParam(M::pb_use_mirror_pos, L"use_mirror_pos", TYPE_BOOL, 0, IDS_USE_MIRROR_POS);
        d->AddParam(M::pb_use_mirror_rot, L"use_mirror_rot", TYPE_BOOL, 0, IDS_USE_MIRROR_ROT);
        d->AddParam(M::pb_use_mirror_node, L"use_mirror_node", TYPE_BOOL, 0, IDS_USE_MIRROR_NODE);
        d->SetDefault(M::pb_use_mirror_node, 1);
        d->AddParam(M::pb_mirror_node, L"mirror_node", TYPE_INODE, 0, IDS_MIRROR_NODE);
        d->SetValidator(M::pb_mirror_node, &mirrorValidator);
        d->AddParam(M::pb_use_retarget_size, L"use_retarget_size", TYPE_BOOL, 0, IDS_USE_RETARGET_SIZE);
        d->AddParam(M::pb_retarget_size, L"retarget_size", TYPE_WORLD, 0, IDS_RETARGET_SIZE);
        d->SetDefault(M::pb_retarget_size, 10.0f);
        // Shows the display name of "tags" on purpose: both read one string entry.
        d->AddParam(M::pb_group, L"group", TYPE_STRING, 0, IDS_TAGS);
        d->SetDefault(M::pb_group, L"");
        return d;
    }();
    return *desc;
}
const bool blockReady = (ModBlock(), true);

std::wstring Trim(const std::wstring& s) {
    const size_t a = s.find_first_not_of(L" \t");
    if (a == std::wstring::npos) return {};
    const size_t b = s.find_last_not_of(L" \t");
    return s.substr(a, b - a + 1);
}

}  // namespace

AnimationManagerMod::AnimationManagerMod(BOOL loading) {
    if (!loading) ReplaceReference(kPBlockRef, CreateParameterBlock2(&ModBlock(), this));
}

MSTR AnimationManagerMod::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_ANIMATIONMANAGERMOD) : nullptr;
    return MSTR(s ? s : L"Animation Manager");
}

RefTargetHandle AnimationManagerMod::GetReference(int i) {
    switch (i) {
        case kPBlockRef: return pblock;
        case kLayersRef: return layers;
        case kLocalWeightsRef: return localWeights;
        default: return nullptr;
    }
}

void AnimationManagerMod::SetReference(int i, RefTargetHandle rtarg) {
    switch (i) {
        case kPBlockRef: pblock = static_cast<IParamBlock2*>(rtarg); break;
        case kLayersRef: layers = rtarg; break;
        case kLocalWeightsRef: localWeights = rtarg; break;
        default: break;
    }
}

MSTR AnimationManagerMod::SubAnimName(int i, bool) { return i == 0 ? MSTR(L"Parameters") : MSTR(); }

ReferenceTarget* AnimationManagerMod::Clone(RemapDir& remap) {
    auto* m = new AnimationManagerMod(TRUE);
    m->ReplaceReference(kPBlockRef, remap.CloneRef(pblock));
    m->ReplaceReference(kLayersRef, layers ? remap.CloneRef(layers) : nullptr);
    m->ReplaceReference(kLocalWeightsRef, localWeights ? remap.CloneRef(localWeights) : nullptr);
    CopyModifierState(m);
    BaseClone(this, m, remap);
    return m;
}

INode* AnimationManagerMod::OwnerNode() { return host::FindNodeOfModifier(this); }

BOOL MirrorNodeValidator::Validate(PB2Value&) { return TRUE; }

BOOL MirrorNodeValidator::Validate(PB2Value& v, ReferenceMaker* owner, ParamID id, int) {
    if (id != AnimationManagerMod::pb_mirror_node || !v.r) return TRUE;
    auto* pb = dynamic_cast<IParamBlock2*>(owner);
    auto* mod = dynamic_cast<AnimationManagerMod*>(pb ? pb->GetOwner() : owner);
    INode* self = mod ? mod->OwnerNode() : nullptr;
    return self && static_cast<ReferenceTarget*>(self) == v.r ? FALSE : TRUE;
}

AnimationManagerMod* FindAnimationManagerMod(INode* node) {
    AnimationManagerMod* found = nullptr;
    host::ForEachModifier(node, [&](IDerivedObject*, int, Modifier* m) {
        if (!found && m && m->ClassID() == ANIMATION_MANAGER_MOD_CLASS_ID) found = static_cast<AnimationManagerMod*>(m);
    });
    return found;
}

std::vector<std::wstring> SplitTags(const std::wstring& text) {
    std::vector<std::wstring> out;
    size_t start = 0;
    while (start <= text.size()) {
        size_t comma = text.find(L',', start);
        if (comma == std::wstring::npos) comma = text.size();
        std::wstring part = Trim(text.substr(start, comma - start));
        if (!part.empty()) out.push_back(std::move(part));
        start = comma + 1;
    }
    return out;
}

AnimationManagerRecord ReadAnimationManager(INode* node, TimeValue t) {
    AnimationManagerRecord r;
    AnimationManagerMod* mod = FindAnimationManagerMod(node);
    IParamBlock2* pb = mod ? mod->pblock : nullptr;
    if (!pb) return r;
    using M = AnimationManagerMod;
    r.present = true;
    r.tags = SplitTags(pb->GetStr(M::pb_tags, t));
    r.group = pb->GetStr(M::pb_group, t);
    r.root = pb->GetInt(M::pb_root, t) != 0;
    r.mirrorPosAxis = pb->GetInt(M::pb_mirror_pos_axis, t);
    r.mirrorRotAxis = pb->GetInt(M::pb_mirror_rot_axis, t);
    r.useMirrorPos = pb->GetInt(M::pb_use_mirror_pos, t) != 0;
    r.useMirrorRot = pb->GetInt(M::pb_use_mirror_rot, t) != 0;
    r.useMirrorNode = pb->GetInt(M::pb_use_mirror_node, t) != 0;
    r.mirrorNode = pb->GetINode(M::pb_mirror_node, t);
    r.useRetargetSize = pb->GetInt(M::pb_use_retarget_size, t) != 0;
    r.retargetSize = pb->GetFloat(M::pb_retarget_size, t);
    return r;
}

INode* MirrorTargetOf(INode* node, TimeValue t) {
    const AnimationManagerRecord r = ReadAnimationManager(node, t);
    return r.useMirrorNode && r.mirrorNode ? r.mirrorNode : node;
}

}  // namespace kt
