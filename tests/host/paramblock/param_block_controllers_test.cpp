#include "pb_test_objects.h"

using namespace pbtest;

namespace {

class Controllers : public OwnerTest {
protected:
    bool DependsOnBlock(ReferenceTarget* t) {
        const auto& d = t->Dependents();
        return std::find(d.begin(), d.end(), pb) != d.end();
    }
};

}  // namespace

TEST_F(Controllers, AssigningAControllerKeepsTheValue) {
    pb->SetValue(pb_float, 0, 4.0f);
    auto* c = new TestFloat();
    ASSERT_TRUE(pb->SetController(pb_float, 0, c));
    EXPECT_EQ(pb->GetController(pb_float), c);
    EXPECT_TRUE(DependsOnBlock(c));
    EXPECT_FLOAT_EQ(c->value, 4.0f) << "the controller starts from the constant";
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float), 4.0f);

    // Sets go to the controller now.
    const int before = c->sets;
    pb->SetValue(pb_float, 0, 6.0f);
    EXPECT_EQ(c->sets, before + 1);
    EXPECT_FLOAT_EQ(c->value, 6.0f);

    // A keyed controller narrows the validity of a read; a constant leaves it alone.
    c->keys = {{0, 1.0f}, {160, 2.0f}};
    Interval iv = FOREVER;
    float f = 0.0f;
    ASSERT_TRUE(pb->GetValue(pb_float, 200, f, iv));
    EXPECT_FLOAT_EQ(f, 2.0f);
    EXPECT_EQ(iv, Interval(200, 200));
    iv = FOREVER;
    pb->GetValue(pb_int, 200, f, iv);
    EXPECT_EQ(iv, FOREVER);

    // Removing the controller keeps its value at time 0 as the constant.
    ASSERT_TRUE(pb->SetController(pb_float, 0, nullptr));
    EXPECT_EQ(pb->GetController(pb_float), nullptr);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float, 500), 1.0f);

    // Super class and animatability are checked.
    auto* p3 = new TestPoint3();
    EXPECT_FALSE(pb->SetController(pb_float, 0, p3));
    auto* spare = new TestFloat();
    EXPECT_FALSE(pb->SetController(pb_int, 0, spare)) << "not animatable";
    spare->DeleteMe();
    ASSERT_TRUE(pb->SetController(pb_point3, 0, p3));
    EXPECT_EQ(p3->value, Point3(1.0f, 2.0f, 3.0f));
    pb->SetValue(pb_point3, 0, Point3(0.0f, 0.0f, 1.0f));
    EXPECT_EQ(p3->value, Point3(0.0f, 0.0f, 1.0f));

    // Replacing a controller hands the old one's content to the new one.
    auto* first = new TestFloat();
    first->keys = {{10, 3.0f}};
    pb->SetController(pb_blank, 0, first);
    const AnimHandle firstHandle = Animatable::GetHandleByAnim(first);
    auto* second = new TestFloat();
    ASSERT_TRUE(pb->SetController(pb_blank, 0, second));
    EXPECT_EQ(second->keys, (std::map<TimeValue, float>{{10, 3.0f}}));
    EXPECT_EQ(Animatable::GetAnimByHandle(firstHandle), nullptr) << "the replaced controller was released";
}

TEST_F(Controllers, AnimatableEntriesWithoutControllerArePlaceholderTracks) {
    // Only animatable parameters are tracks: float, rgba, point3, angle, pcnt, two weights, blank.
    ASSERT_EQ(pb->NumSubs(), 8);
    Animatable* ph = pb->SubAnim(0);
    ASSERT_NE(ph, nullptr);
    EXPECT_EQ(ph->SuperClassID(), CTRL_USERTYPE_CLASS_ID);
    EXPECT_EQ(ph->ClassID(), PLACEHOLDER_CLASS_ID);
    EXPECT_FALSE(ph->IsAnimated());
    EXPECT_EQ(pb->SubAnim(0), ph) << "the same placeholder every time";
    EXPECT_EQ(pb->SubAnimName(0), L"Manual Stretch");
    EXPECT_EQ(pb->SubAnim(8), nullptr);

    auto* holder = dynamic_cast<host::ParamPlaceholder*>(ph);
    ASSERT_NE(holder, nullptr);
    EXPECT_EQ(holder->GetParamBlock(), pb);
    EXPECT_EQ(holder->GetParamID(), pb_float);
    float f = 0.0f;
    Interval iv = FOREVER;
    holder->GetValue(0, &f, iv);
    EXPECT_FLOAT_EQ(f, 1.5f);

    // Sub-anim numbers, parameters and reference slots map onto each other.
    const int sub = pb->GetAnimNum(pb_float_tab, 1);
    ASSERT_GE(sub, 0);
    int tab = -1;
    EXPECT_EQ(pb->AnimNumToParamNum(sub, tab), pb->IDtoIndex(pb_float_tab));
    EXPECT_EQ(tab, 1);
    EXPECT_EQ(pb->AnimNumToParamID(sub, tab), pb_float_tab);
    EXPECT_EQ(pb->SubNumToRefNum(sub), pb->GetRefNum(pb_float_tab, 1));
    EXPECT_EQ(pb->SubAnimName(sub), L"Weight 2");
    EXPECT_EQ(pb->GetAnimNum(pb_int), -1);
    EXPECT_EQ(pb->SubAnimName(pb->GetAnimNum(pb_blank)), L"two words");

    // The placeholder turns into a real controller that keeps the value.
    pb->SetValue(pb_float_tab, 0, 0.6f, 1);
    auto* weight = dynamic_cast<host::ParamPlaceholder*>(pb->SubAnim(sub));
    ASSERT_NE(weight, nullptr);
    EXPECT_TRUE(weight->CanAssignController(0));
    auto* c = new TestFloat();
    ASSERT_TRUE(weight->AssignController(c, 0));
    EXPECT_EQ(pb->SubAnim(sub), c);
    EXPECT_FLOAT_EQ(c->value, 0.6f);
    EXPECT_EQ(pb->GetController(pb_float_tab, 1), c);

    // The block's own AssignController does the same for a colour track.
    auto* tint = new TestPoint3();
    ASSERT_TRUE(pb->AssignController(tint, pb->GetAnimNum(pb_rgba)));
    EXPECT_EQ(tint->value, Point3(1.0f, 0.0f, 0.0f));
    auto* wrong = new TestPoint3();
    EXPECT_FALSE(pb->AssignController(wrong, pb->GetAnimNum(pb_angle)));
    wrong->DeleteMe();

    // A placeholder whose entry is gone answers nothing and takes nothing.
    auto* first = dynamic_cast<host::ParamPlaceholder*>(pb->SubAnim(pb->GetAnimNum(pb_float_tab, 0)));
    ASSERT_NE(first, nullptr);
    pb->Delete(pb_float_tab, 0, 1);
    EXPECT_EQ(first->GetSubNum(), -1);
    auto* unused = new TestFloat();
    EXPECT_FALSE(first->AssignController(unused, 0));
    unused->DeleteMe();
    EXPECT_EQ(pb->SubAnim(pb->GetAnimNum(pb_float_tab, 0)), c) << "the remaining weight moved up";
}

TEST_F(Controllers, ChangesTellTheOwnerWhichParameterChanged) {
    owner->changes.clear();
    pb->SetValue(pb_int, 0, 5);
    ASSERT_FALSE(owner->changes.empty());
    EXPECT_EQ(owner->changes.back(), std::make_pair(static_cast<ParamID>(pb_int), 0));
    pb->SetValue(pb_float_tab, 0, 0.5f, 1);
    EXPECT_EQ(owner->changes.back(), std::make_pair(static_cast<ParamID>(pb_float_tab), 1));

    // A controller's own change reaches the owner naming the parameter it drives.
    auto* c = new TestFloat();
    pb->SetController(pb_angle, 0, c);
    pb->SetValue(pb_int, 0, 6);
    owner->changes.clear();
    float v = 2.0f;
    static_cast<Control*>(c)->SetValue(0, &v);
    ASSERT_EQ(owner->changes.size(), 1u);
    EXPECT_EQ(owner->changes.back(), std::make_pair(static_cast<ParamID>(pb_angle), 0));

    // With notifications off the owner hears nothing, from sets or controllers.
    pb->EnableNotifications(FALSE);
    owner->changes.clear();
    pb->SetValue(pb_int, 0, 8);
    static_cast<Control*>(c)->SetValue(0, &v);
    EXPECT_TRUE(owner->changes.empty());
    EXPECT_EQ(pb->GetInt(pb_int), 8);
    pb->EnableNotifications(TRUE);
    pb->SetValue(pb_int, 0, 9);
    EXPECT_EQ(owner->changes.size(), 1u);
}

TEST_F(Controllers, UndoRestoresSetsAndControllerAssignments) {
    theHold.Begin();
    pb->SetValue(pb_float, 0, 3.0f);
    pb->SetValue(pb_int, 0, 9);
    pb->SetValue(pb_string, 0, L"changed");
    theHold.Accept(L"sets");
    ASSERT_TRUE(theHold.Undo());
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float), 1.5f);
    EXPECT_EQ(pb->GetInt(pb_int), 7);
    EXPECT_STREQ(pb->GetStr(pb_string), L"hello");
    ASSERT_TRUE(theHold.Redo());
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float), 3.0f);
    EXPECT_EQ(pb->GetInt(pb_int), 9);
    EXPECT_STREQ(pb->GetStr(pb_string), L"changed");

    auto* c = new TestFloat();
    const AnimHandle ch = Animatable::GetHandleByAnim(c);
    theHold.Begin();
    ASSERT_TRUE(pb->SetController(pb_float, 0, c));
    theHold.Accept(L"assign");
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(pb->GetController(pb_float), nullptr);
    EXPECT_EQ(pb->SubAnim(0)->SuperClassID(), CTRL_USERTYPE_CLASS_ID);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float), 3.0f);
    EXPECT_EQ(Animatable::GetAnimByHandle(ch), c) << "the undo record keeps the controller for redo";
    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(pb->GetController(pb_float), c);
    EXPECT_TRUE(DependsOnBlock(c));

    // A cancelled hold puts everything back at once.
    theHold.Begin();
    pb->SetValue(pb_point3, 0, Point3(7.0f, 7.0f, 7.0f));
    pb->Delete(pb_float_tab, 0, 1);
    theHold.Cancel();
    EXPECT_EQ(pb->GetPoint3(pb_point3), Point3(1.0f, 2.0f, 3.0f));
    EXPECT_EQ(pb->Count(pb_float_tab), 2);

    // Without a hold nothing is recorded, and a dropped controller is released.
    const int records = theHold.NumUndoRecords();
    pb->SetController(pb_float, 0, nullptr);
    EXPECT_EQ(theHold.NumUndoRecords(), records);
    theHold.Reset();
    EXPECT_EQ(Animatable::GetAnimByHandle(ch), nullptr);
}

TEST_F(Controllers, ResetPutsDefaultsBackAndDropsControllers) {
    pb->SetValue(pb_int, 0, 50);
    pb->SetController(pb_float, 0, new TestFloat());
    float v[3] = {1.0f, 2.0f, 3.0f};
    pb->Append(pb_float_tab, 3, v);
    pb->Reset(pb_float_tab, 3);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float_tab, 0, 3), 0.25f) << "one entry";
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float_tab, 0, 4), 3.0f);
    pb->ResetAll();
    EXPECT_EQ(pb->GetInt(pb_int), 7);
    EXPECT_EQ(pb->GetController(pb_float), nullptr);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float), 1.5f);
    EXPECT_EQ(pb->Count(pb_float_tab), 2);
}
