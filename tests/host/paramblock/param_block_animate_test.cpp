#include "pb_test_objects.h"

using namespace pbtest;

namespace {

class Animate : public OwnerTest {};

}  // namespace

TEST_F(Animate, SetsUnderAnimateModeKeyThroughANewDefaultController) {
    const TimeValue f10 = 10 * GetTicksPerFrame();
    AnimateOn();
    ASSERT_TRUE(pb->SetValue(pb_float, f10, 5.0f));
    Control* c = pb->GetController(pb_float);
    ASSERT_NE(c, nullptr) << "the first keyed set makes a controller";
    EXPECT_EQ(c->SuperClassID(), CTRL_FLOAT_CLASS_ID);
    EXPECT_TRUE(c->IsAnimated());
    EXPECT_TRUE(c->IsKeyAtTime(f10, 0));
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float, f10), 5.0f);
    EXPECT_EQ(pb->SubAnim(0), c);
    EXPECT_TRUE(pb->IsAnimated());
    EXPECT_TRUE(pb->IsKeyAtTime(f10, 0));

    // A point3 and a colour get controllers of their own kind.
    ASSERT_TRUE(pb->SetValue(pb_point3, f10, Point3(0.0f, 0.0f, 4.0f)));
    ASSERT_NE(pb->GetController(pb_point3), nullptr);
    EXPECT_EQ(pb->GetController(pb_point3)->SuperClassID(), CTRL_POINT3_CLASS_ID);
    EXPECT_EQ(pb->GetPoint3(pb_point3, f10), Point3(0.0f, 0.0f, 4.0f));
    ASSERT_TRUE(pb->SetValue(pb_rgba, f10, Color(0.0f, 1.0f, 0.0f)));
    ASSERT_NE(pb->GetController(pb_rgba), nullptr);
    EXPECT_EQ(pb->GetColor(pb_rgba, f10), Color(0.0f, 1.0f, 0.0f));

    // Parameters that are not animatable stay constants.
    ASSERT_TRUE(pb->SetValue(pb_int, f10, 30));
    EXPECT_EQ(pb->GetInt(pb_int, 0), 30);
    EXPECT_EQ(pb->NumSubs(), 8);

    // With animate mode off a set of a constant makes no controller.
    AnimateOff();
    pb->SetValue(pb_angle, f10, 1.0f);
    EXPECT_EQ(pb->GetController(pb_angle), nullptr);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_angle, 0), 1.0f);

    // The whole keyed set is one undo step: the controller goes, the constant comes back.
    AnimateOn();
    theHold.Begin();
    pb->SetValue(pb_blank, f10, 2.0f);
    theHold.Accept(L"key");
    ASSERT_NE(pb->GetController(pb_blank), nullptr);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(pb->GetController(pb_blank), nullptr);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_blank, f10), 0.0f);
    ASSERT_TRUE(theHold.Redo());
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_blank, f10), 2.0f);
    AnimateOff();
}
