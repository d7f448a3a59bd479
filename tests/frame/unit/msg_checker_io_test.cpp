#include <cstring>

#include <gtest/gtest.h>

#include "frame/msg_checker.h"
#include "iosave.h"

namespace {

class Target : public ReferenceTarget {
public:
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x7E57, 0x2); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
};

TEST(MsgChecker, LoadSizesTheSlotListBeforeReferencesAreRestored) {
    Target* a = new Target;
    Target* b = new Target;
    auto* saved = new kt::MsgChecker;
    ASSERT_EQ(saved->Watch(a), 0);
    ASSERT_EQ(saved->Watch(nullptr), -1);  // nothing to watch: the open slot stays open
    ASSERT_EQ(saved->Watch(b), 1);
    saved->ReplaceReference(0, nullptr);  // an emptied slot keeps its place

    host::ChunkWriter writer;
    ASSERT_EQ(saved->Save(&writer), IO_OK);
    ASSERT_TRUE(writer.Ok());

    auto* loaded = new kt::MsgChecker(TRUE);
    host::ChunkReader reader(writer.Bytes().data(), writer.Bytes().size());
    ASSERT_EQ(loaded->Load(&reader), IO_OK);
    EXPECT_EQ(loaded->NumWatched(), 2);
    EXPECT_EQ(loaded->NumRefs(), 3);
    // The slots wait for the host to restore them.
    EXPECT_EQ(loaded->GetReference(1), nullptr);
    EXPECT_EQ(loaded->ReplaceReference(1, b), REF_SUCCEED);
    EXPECT_EQ(loaded->NumRefs(), 3);

    // A count no one could have saved is damage, not a request for a million slots.
    host::ChunkWriter bad;
    bad.BeginChunk(kt::MsgChecker::kSlotCountChunk);
    const uint32_t huge = 0x7FFFFFFF;
    bad.Write(&huge, sizeof(huge), nullptr);
    bad.EndChunk();
    auto* refused = new kt::MsgChecker(TRUE);
    host::ChunkReader badReader(bad.Bytes().data(), bad.Bytes().size());
    EXPECT_EQ(refused->Load(&badReader), IO_ERROR);
    EXPECT_EQ(refused->NumWatched(), 0);

    refused->DeleteMe();
    loaded->DeleteMe();
    saved->DeleteMe();
    a->DeleteMe();
    b->DeleteMe();
}

}  // namespace
