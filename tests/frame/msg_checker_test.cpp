// MsgChecker as scripts and the host reach it: made by identity, pointed at targets
// through its open reference slot.
#include <string>

#include <gtest/gtest.h>

#include "hoststart.h"
#include "iplugin.h"
#include "maxapi.h"

namespace {

constexpr Class_ID kMsgCheckerID(0x8443DFA5, 0x3F434885);

class Probe : public ReferenceTarget {
public:
    explicit Probe(const wchar_t* name) : name_(name) {}
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x7E57, 0x1); }
    MSTR ClassName(bool = true) const override { return name_; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }

private:
    MSTR name_;
};

class MsgCheckerTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(host::LoadPlugin((host::DefaultPluginFolder() + "/Kinetrope.dlc").c_str()), nullptr);
    }
    void TearDown() override { host::UnloadPlugins(); }
};

TEST_F(MsgCheckerTest, ReportsEveryMessageFromEveryWatchedTarget) {
    auto* checker = static_cast<ReferenceTarget*>(CreateInstance(REF_TARGET_CLASS_ID, kMsgCheckerID));
    ASSERT_NE(checker, nullptr);
    EXPECT_EQ(checker->ClassName(), L"MsgChecker");
    EXPECT_EQ(checker->NumRefs(), 1);  // the open slot only
    EXPECT_EQ(checker->GetReference(0), nullptr);

    Probe* sphere = new Probe(L"Sphere");
    Probe* box = new Probe(L"Box");
    ASSERT_EQ(checker->ReplaceReference(checker->NumRefs() - 1, sphere), REF_SUCCEED);
    ASSERT_EQ(checker->ReplaceReference(checker->NumRefs() - 1, box), REF_SUCCEED);
    EXPECT_EQ(checker->NumRefs(), 3);
    EXPECT_EQ(checker->GetReference(0), sphere);
    EXPECT_EQ(checker->GetReference(1), box);
    // Watching keeps nothing alive.
    EXPECT_EQ(sphere->NumRealDependents(), 0);

    host::ListenerCapture capture;
    sphere->NotifyDependents(FOREVER, PART_GEOM, REFMSG_CHANGE);
    box->NotifyDependents(FOREVER, PART_ALL, REFMSG_SUBANIM_STRUCTURE_CHANGED);
    EXPECT_EQ(capture.Text(),
              "Kinetrope: MsgChecker: message 80 (0x50), part 0x2, from Sphere\n"
              "Kinetrope: MsgChecker: message 258 (0x102), part 0xFFFFFFFF, from Box\n");

    // A copy watches the same targets and reports as well.
    ReferenceTarget* copy = CloneRefHierarchy(checker);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->GetReference(0), sphere);
    EXPECT_EQ(copy->GetReference(1), box);
    capture.Clear();
    box->NotifyDependents(FOREVER, PART_TM, REFMSG_CHANGE);
    EXPECT_EQ(capture.Text(),
              "Kinetrope: MsgChecker: message 80 (0x50), part 0x1000000, from Box\n"
              "Kinetrope: MsgChecker: message 80 (0x50), part 0x1000000, from Box\n");

    // Clearing the open slot does not grow the list; a deleted target leaves its slot
    // empty after the checker has heard about it.
    EXPECT_EQ(checker->ReplaceReference(checker->NumRefs() - 1, nullptr), REF_SUCCEED);
    EXPECT_EQ(checker->NumRefs(), 3);
    capture.Clear();
    sphere->DeleteMe();
    EXPECT_NE(capture.Text().find("Kinetrope: MsgChecker: message 32 (0x20)"), std::string::npos) << capture.Text();
    EXPECT_EQ(checker->GetReference(0), nullptr);
    EXPECT_EQ(copy->GetReference(0), nullptr);

    copy->DeleteMe();
    checker->DeleteMe();
    box->DeleteMe();
}

}  // namespace
