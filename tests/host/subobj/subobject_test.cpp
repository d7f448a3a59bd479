#include <gtest/gtest.h>

#include "hold.h"
#include "inode.h"
#include "maxapi.h"
#include "object.h"
#include "subobj.h"

namespace {

class CountingMode : public CommandMode {
public:
    explicit CountingMode(int cls) : cls_(cls) {}
    int Class() override { return cls_; }
    void EnterMode() override { ++entered; }
    void ExitMode() override { ++exited; }
    int entered = 0;
    int exited = 0;

private:
    int cls_;
};

// One level whose move tool records what it was given; no rotate tool.
class LevelObject : public HelperObject {
public:
    Class_ID ClassID() override { return Class_ID(0x5B0B1, 0x5B0B2); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    int NumSubObjTypes() override { return 1; }
    const MCHAR* GetSubObjTypeName(int i) override { return i == 0 ? L"Part" : nullptr; }
    void ActivateSubobjSel(int level, XFormModes& modes) override {
        lastLevel = level;
        if (level == 1) modes = XFormModes(&move, nullptr, nullptr, &uscale, nullptr, nullptr);
    }
    void Move(TimeValue, Matrix3& partm, Matrix3&, Point3& val, BOOL) override {
        moved += val;
        seenPartm = partm;
        inHold = theHold.Holding();
    }
    void Scale(TimeValue, Matrix3&, Matrix3&, Point3& val, BOOL) override { scaled = val; }
    void TransformStart(TimeValue) override { ++starts; }
    void TransformFinish(TimeValue) override { ++finishes; }

    CountingMode move{MOVE_COMMAND};
    CountingMode uscale{USCALE_COMMAND};
    int lastLevel = -1;
    Point3 moved{0.0f, 0.0f, 0.0f};
    Point3 scaled{0.0f, 0.0f, 0.0f};
    Matrix3 seenPartm;
    bool inHold = false;
    int starts = 0;
    int finishes = 0;
};

}  // namespace

TEST(SubObjectLevels, ToolsDriveTheEditedObjectOneUndoRecordEach) {
    auto* obj = new LevelObject;
    INode* node = GetCOREInterface()->CreateObjectNode(obj);
    node->SetNodeTM(0, TransMatrix(Point3(5.0f, 0.0f, 0.0f)));

    // Nothing happens before a level is entered, or above the object's levels.
    EXPECT_FALSE(host::SubObjectMove(0, Matrix3(), Point3(1, 2, 3)));
    EXPECT_FALSE(host::SetSubObjectLevel(node, 2));
    EXPECT_EQ(host::SubObjectLevel(), 0);
    EXPECT_FALSE(host::SetSubObjectLevel(nullptr, 1));

    ASSERT_TRUE(host::SetSubObjectLevel(node, 1));
    EXPECT_EQ(obj->lastLevel, 1);
    EXPECT_EQ(host::SubObjectNode(), node);
    EXPECT_EQ(obj->move.entered, 1);
    EXPECT_EQ(host::SubObjectModes().move, &obj->move);

    const int records = theHold.NumUndoRecords();
    ASSERT_TRUE(host::SubObjectMove(0, Matrix3(), Point3(1.0f, 2.0f, 3.0f)));
    EXPECT_EQ(obj->moved, Point3(1.0f, 2.0f, 3.0f));
    EXPECT_TRUE(obj->inHold);
    EXPECT_TRUE(obj->seenPartm.Equals(node->GetObjectTM(0)));
    EXPECT_EQ(obj->starts, 1);
    EXPECT_EQ(obj->finishes, 1);
    // The move's record exists only if the object recorded something; the tool never adds more.
    EXPECT_LE(theHold.NumUndoRecords(), records + 1);

    // No rotate mode: refused. Scale uses the uniform mode the level gave.
    EXPECT_FALSE(host::SubObjectRotate(0, Matrix3(), Quat()));
    EXPECT_EQ(obj->starts, 1);
    EXPECT_TRUE(host::SubObjectScale(0, Matrix3(), Point3(2.0f, 2.0f, 2.0f)));
    EXPECT_EQ(obj->scaled, Point3(2.0f, 2.0f, 2.0f));

    // Leaving exits the modes and takes the object back to its own level.
    EXPECT_TRUE(host::SetSubObjectLevel(node, 0));
    EXPECT_EQ(obj->move.exited, 1);
    EXPECT_EQ(obj->lastLevel, 0);
    EXPECT_EQ(host::SubObjectLevel(), 0);
    EXPECT_FALSE(host::SubObjectMove(0, Matrix3(), Point3(1, 0, 0)));
    GetCOREInterface()->DeleteNode(node);
}
