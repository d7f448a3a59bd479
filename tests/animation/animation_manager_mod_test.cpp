#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "animation/animation_manager_mod.h"
#include "frame/class_registry.h"
#include "helpers.h"
#include "ifnpub.h"
#include "hold.h"
#include "inode.h"
#include "iplugin.h"
#include "library_scene.h"
#include "maxapi.h"
#include "maxscript.h"
#include "modifier.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "scenefile.h"

namespace {

using kt::AnimationManagerMod;

struct AnimationManagerTest : kttest::LibrarySceneTest {
    static INode* Node(const wchar_t* name) {
        auto* obj = static_cast<Object*>(CreateInstance(HELPER_CLASS_ID, POINTHELP_CLASS_ID));
        INode* n = GetCOREInterface()->CreateObjectNode(obj, name);
        n->SetName(name);
        return n;
    }
    static Modifier* HostMod(Class_ID id) { return static_cast<Modifier*>(CreateInstance(OSM_CLASS_ID, id)); }
};

TEST_F(AnimationManagerTest, RecordIsFoundThroughTheStackAndDefaultsWithoutOne) {
    INode* bare = Node(L"Bare");
    INode* ctrl = Node(L"r_hand");
    INode* other = Node(L"l_hand");
    // Other modifiers above and below, and a nested derived object under the top one.
    host::AddModifierToNode(ctrl, HostMod(OFFSETMOD_CLASS_ID));
    auto* mod = new AnimationManagerMod();
    host::AddModifierToNode(ctrl, mod, 1);
    host::AddModifierToNode(ctrl, HostMod(EMPTYMOD_CLASS_ID), 0);
    IParamBlock2* pb = mod->pblock;
    pb->SetValue(AnimationManagerMod::pb_tags, 0, L" hand, r_arm ,,wrist ");
    pb->SetValue(AnimationManagerMod::pb_group, 0, L"arm_r");
    pb->SetValue(AnimationManagerMod::pb_root, 0, 1);
    pb->SetValue(AnimationManagerMod::pb_use_mirror_pos, 0, 1);
    pb->SetValue(AnimationManagerMod::pb_mirror_pos_axis, 0, 0);

    EXPECT_EQ(kt::FindAnimationManagerMod(ctrl), mod);
    kt::AnimationManagerRecord r = kt::ReadAnimationManager(ctrl);
    EXPECT_TRUE(r.present);
    EXPECT_EQ(r.tags, (std::vector<std::wstring>{L"hand", L"r_arm", L"wrist"}));
    EXPECT_EQ(r.group, L"arm_r");
    EXPECT_TRUE(r.root);
    EXPECT_TRUE(r.useMirrorPos);
    EXPECT_EQ(r.mirrorPosAxis, 0);
    EXPECT_EQ(r.mirrorRotAxis, 2);
    EXPECT_TRUE(r.useMirrorNode);
    EXPECT_FLOAT_EQ(r.retargetSize, 10.0f);
    // No mirror node: a mirrored paste goes to the node itself.
    EXPECT_EQ(kt::MirrorTargetOf(ctrl), ctrl);

    // A node without the modifier: no tags, not a root, mirror switches off.
    host::AddModifierToNode(bare, HostMod(EMPTYMOD_CLASS_ID));
    EXPECT_EQ(kt::FindAnimationManagerMod(bare), nullptr);
    kt::AnimationManagerRecord none = kt::ReadAnimationManager(bare);
    EXPECT_FALSE(none.present);
    EXPECT_TRUE(none.tags.empty());
    EXPECT_FALSE(none.root || none.useMirrorPos || none.useMirrorRot || none.useMirrorNode);
    EXPECT_EQ(kt::MirrorTargetOf(bare), bare);
    EXPECT_FALSE(kt::ReadAnimationManager(nullptr).present);

    // The mirror node: any node but its own.
    EXPECT_FALSE(pb->SetValue(AnimationManagerMod::pb_mirror_node, 0, ctrl));
    EXPECT_EQ(pb->GetINode(AnimationManagerMod::pb_mirror_node), nullptr);
    EXPECT_TRUE(pb->SetValue(AnimationManagerMod::pb_mirror_node, 0, other));
    EXPECT_EQ(kt::MirrorTargetOf(ctrl), other);
    pb->SetValue(AnimationManagerMod::pb_use_mirror_node, 0, 0);
    EXPECT_EQ(kt::MirrorTargetOf(ctrl), ctrl);
}

TEST_F(AnimationManagerTest, BlockLabelsScriptsUndoAndFilesKeepTheRecord) {
    INode* a = Node(L"A");
    INode* b = Node(L"B");
    // "group" shows the display name of "tags".
    auto* probe = new AnimationManagerMod();
    ParamBlockDesc2* d = probe->pblock->GetDesc();
    EXPECT_EQ(d->GetLocalName(AnimationManagerMod::pb_group), MSTR(L"Tags"));
    EXPECT_EQ(d->GetLocalName(AnimationManagerMod::pb_tags), MSTR(L"Tags"));
    EXPECT_EQ(d->GetLocalName(AnimationManagerMod::pb_use_mirror_pos), MSTR(L"Mirror Position"));
    EXPECT_EQ(d->IDtoIndex(1), -1);
    probe->DeleteMe();

    FPValue r;
    ASSERT_TRUE(ExecuteMAXScriptScript(L"m = AnimationManagerMod()\n"
                                       L"addModifier $A m\n"
                                       L"m.tags = \"spine,chest\"; m.retarget_size = 4.5\n"
                                       L"m.mirror_node = $B\n"
                                       L"undo \"Tag\" on (m.group = \"torso\")\n"
                                       L"m.group + \"|\" + (m.mirror_node.name)",
                                       TRUE, &r));
    ASSERT_EQ(r.type, TYPE_STRING);
    EXPECT_EQ(std::wstring(r.s), L"torso|B");
    kt::AnimationManagerRecord rec = kt::ReadAnimationManager(a);
    EXPECT_EQ(rec.tags, (std::vector<std::wstring>{L"spine", L"chest"}));
    EXPECT_EQ(rec.mirrorNode, b);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(kt::ReadAnimationManager(a).group, L"");
    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(kt::ReadAnimationManager(a).group, L"torso");
    // The script path refuses the own node too.
    EXPECT_FALSE(ExecuteMAXScriptScript(L"m.mirror_node = $A", TRUE));
    EXPECT_EQ(kt::ReadAnimationManager(a).mirrorNode, b);

    std::vector<uint8_t> bytes;
    std::wstring err;
    ASSERT_TRUE(host::SaveSceneToMemory(bytes, &err)) << err;
    host::ResetScene();
    ASSERT_TRUE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &err)) << err;
    INode* a2 = GetCOREInterface()->GetINodeByName(L"A");
    ASSERT_NE(a2, nullptr);
    kt::AnimationManagerRecord back = kt::ReadAnimationManager(a2);
    EXPECT_TRUE(back.present);
    EXPECT_EQ(back.tags, rec.tags);
    EXPECT_EQ(back.group, L"torso");
    EXPECT_FLOAT_EQ(back.retargetSize, 4.5f);
    EXPECT_EQ(back.mirrorNode, GetCOREInterface()->GetINodeByName(L"B"));
}

}  // namespace
