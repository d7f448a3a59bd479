#include <cwchar>
#include <set>

#include <gtest/gtest.h>

#include "frame/class_registry.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace {

TEST(StringTable, LoadsOnlyOnceTheModuleHandleIsKnownIntoOneBuffer) {
    // In this build nothing attaches a module, so the handle is unknown until set here.
    kt::SetModuleInstance(nullptr);
    EXPECT_EQ(kt::GetString(IDS_CLASS_STATICFLOAT), nullptr);
    EXPECT_EQ(kt::ClassRegistry::DescAt(0)->ClassName(), nullptr);

    int module = 0;
    kt::SetModuleInstance(&module);
    const MCHAR* offset = kt::GetString(IDS_VERTICAL_OFFSET);
    ASSERT_NE(offset, nullptr);
    EXPECT_STREQ(offset, L"Vertical Offset");

    const MCHAR* name = kt::GetString(IDS_CLASS_STATICFLOAT);
    EXPECT_EQ(name, offset);
    EXPECT_STREQ(offset, L"Static Float");

    // A missing id answers null and leaves the buffer as it was.
    EXPECT_EQ(kt::GetString(99999), nullptr);
    EXPECT_EQ(kt::GetString(0), nullptr);
    EXPECT_STREQ(name, L"Static Float");
    kt::SetModuleInstance(nullptr);
}

TEST(StringTable, EveryIdIsUniqueAndEveryClassNameIsThere) {
    std::set<int> ids;
    for (const kt::StringEntry& e : kt::StringTableEntries()) {
        EXPECT_TRUE(ids.insert(e.id).second) << "id " << e.id << " appears twice";
        ASSERT_NE(e.text, nullptr);
        EXPECT_LT(std::wcslen(e.text), static_cast<size_t>(kt::kStringBufferSize)) << "id " << e.id;
    }
    for (unsigned i = 0; i < kt::kNumClasses; ++i)
        EXPECT_TRUE(ids.count(kt::ClassRegistry::RowAt(i).displayNameId)) << "row " << i;
}

}  // namespace
