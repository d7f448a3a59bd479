#include <set>
#include <utility>

#include <gtest/gtest.h>

#include "frame/class_registry.h"

namespace {

TEST(ClassRegistry, RowsAreFoundByTheirWholeIdentity) {
    // Second words repeat across super classes; each pair must still find its own row.
    const Class_ID shared(0x45596D56, 0x1E847B60);
    EXPECT_EQ(kt::ClassRegistry::IndexOf(CTRL_MATRIX3_CLASS_ID, shared), 30);    // IKFKChain
    EXPECT_EQ(kt::ClassRegistry::IndexOf(CTRL_ROTATION_CLASS_ID, shared), 46);   // RotationConnection
    EXPECT_EQ(kt::ClassRegistry::IndexOf(REF_TARGET_CLASS_ID, Class_ID(0x45596D56, 0x1E847F0A)), 26);
    EXPECT_EQ(kt::ClassRegistry::IndexOf(CTRL_FLOAT_CLASS_ID, Class_ID(0x45596D56, 0x1E847F0A)), 36);
    EXPECT_EQ(kt::ClassRegistry::IndexOf(CTRL_ROTATION_CLASS_ID, Class_ID(0x45596D56, 0x1E847B68)), 58);
    EXPECT_EQ(kt::ClassRegistry::IndexOf(REF_TARGET_CLASS_ID, Class_ID(0x45596D56, 0x1E847B68)), 66);
    // Rig objects and controllers differ in the first word only.
    EXPECT_EQ(kt::ClassRegistry::IndexOf(HELPER_CLASS_ID, Class_ID(0x45596D57, 0x1E847B40)), 28);
    EXPECT_EQ(kt::ClassRegistry::IndexOf(CTRL_MATRIX3_CLASS_ID, Class_ID(0x45596D56, 0x1E847B40)), 3);
    EXPECT_EQ(kt::ClassRegistry::IndexOf(CTRL_MATRIX3_CLASS_ID, Class_ID(0x45596D57, 0x1E847B40)), -1);
    EXPECT_EQ(kt::ClassRegistry::Find(HELPER_CLASS_ID, shared), nullptr);

    // No two rows share an identity, and every descriptor answers its own row.
    std::set<std::pair<SClass_ID, std::pair<ULONG, ULONG>>> seen;
    for (unsigned i = 0; i < kt::kNumClasses; ++i) {
        kt::RegistryClassDesc* cd = kt::ClassRegistry::DescAt(i);
        ASSERT_NE(cd, nullptr);
        EXPECT_EQ(&cd->Row(), &kt::ClassRegistry::RowAt(i));
        EXPECT_TRUE(seen.insert({cd->SuperClassID(), {cd->ClassID().PartA(), cd->ClassID().PartB()}}).second)
            << "row " << i;
        EXPECT_EQ(kt::ClassRegistry::IndexOf(cd->SuperClassID(), cd->ClassID()), static_cast<int>(i));
    }
    EXPECT_EQ(kt::ClassRegistry::DescAt(kt::kNumClasses), nullptr);
    EXPECT_THROW(kt::ClassRegistry::RowAt(kt::kNumClasses), std::out_of_range);
}

BOOL gLastLoading = -1;
int gCreated = 0;
void* MakeExporter(BOOL loading) {
    gLastLoading = loading;
    ++gCreated;
    return &gCreated;
}
void* MakeOther(BOOL) { return nullptr; }

TEST(ClassRegistry, AFactoryAttachesOnceAndReceivesTheLoadingFlag) {
    // Nothing in this build implements the exporter row, so it starts without a factory.
    const Class_ID exporter(0x61A849D3, 0x2E7B530C);
    kt::RegistryClassDesc* cd = kt::ClassRegistry::Find(SCENE_EXPORT_CLASS_ID, exporter);
    ASSERT_NE(cd, nullptr);
    EXPECT_FALSE(cd->HasFactory());
    EXPECT_EQ(cd->Create(FALSE), nullptr);

    kt::ClassFactoryRegistrar reg(SCENE_EXPORT_CLASS_ID, exporter, MakeExporter);
    EXPECT_TRUE(reg.attached);
    EXPECT_EQ(cd->Create(TRUE), &gCreated);
    EXPECT_EQ(gLastLoading, TRUE);
    EXPECT_EQ(cd->Create(FALSE), &gCreated);
    EXPECT_EQ(gLastLoading, FALSE);
    EXPECT_EQ(gCreated, 2);

    // A second factory for the same row is a wiring mistake and is refused; so are
    // identities no row has and null factories.
    EXPECT_FALSE(kt::ClassRegistry::AttachFactory(SCENE_EXPORT_CLASS_ID, exporter, MakeOther));
    EXPECT_EQ(cd->Create(FALSE), &gCreated);
    EXPECT_FALSE(kt::ClassRegistry::AttachFactory(SCENE_IMPORT_CLASS_ID, exporter, MakeOther));
    EXPECT_FALSE(kt::ClassRegistry::AttachFactory(SCENE_IMPORT_CLASS_ID, Class_ID(0x61A849D3, 0x2E7B530C), nullptr));
}

}  // namespace
