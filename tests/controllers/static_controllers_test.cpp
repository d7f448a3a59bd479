#include <gtest/gtest.h>

#include "controllers/dummy_controllers.h"
#include "controllers/rotation_xyz.h"
#include "controllers/static_controllers.h"
#include "euler.h"
#include "hold.h"
#include "math_matchers.h"
#include "maxapi.h"

using namespace kt;
using kttest::NearMatrix3;
using kttest::NearPoint3;
using kttest::SameRotation;

namespace {
struct ControllerTest : ::testing::Test {
    void SetUp() override { host::ResetScene(); }
    void TearDown() override { host::ResetScene(); }
};
}  // namespace

TEST_F(ControllerTest, StaticValuesApplyTheHostWayAndNeverNarrowValidity) {
    {
        SCOPED_TRACE("rotation pre-multiplies a matrix and keeps its translation");
        StaticRotation r;
        r.value = Quat(RotateZMatrix(0.5f));
        Matrix3 m = TransMatrix(Point3(1.0f, 2.0f, 3.0f));
        Interval iv = FOREVER;
        r.GetValue(0, &m, iv, CTRL_RELATIVE);
        EXPECT_THAT(m, NearMatrix3(RotateZMatrix(0.5f) * TransMatrix(Point3(1.0f, 2.0f, 3.0f)), 1e-6f));
        EXPECT_EQ(iv, FOREVER);
        AngAxis turn(Point3::ZAxis, -0.25f);
        r.SetValue(0, &turn, 1, CTRL_RELATIVE);
        EXPECT_THAT(r.value, SameRotation(Quat(RotateZMatrix(0.75f)), 1e-6f));
    }
    {
        SCOPED_TRACE("float adds, position pre-translates");
        StaticFloat f;
        f.value = 2.5f;
        float v = 1.0f;
        Interval iv = FOREVER;
        f.GetValue(0, &v, iv, CTRL_RELATIVE);
        EXPECT_FLOAT_EQ(v, 3.5f);
        StaticPosition p;
        Point3 d(1.0f, 0.0f, 0.0f);
        p.SetValue(0, &d, 1, CTRL_RELATIVE);
        p.SetValue(0, &d, 1, CTRL_RELATIVE);
        Matrix3 m = RotateZMatrix(1.5707964f);
        p.GetValue(0, &m, iv, CTRL_RELATIVE);
        EXPECT_THAT(m.GetTrans(), NearPoint3(Point3(0.0f, 2.0f, 0.0f), 1e-5f));
        EXPECT_FALSE(p.IsAnimated());
    }
    {
        SCOPED_TRACE("transform packets: set by tmAxis * Inverse(tmParent), move through the parent");
        StaticTransform t;
        Matrix3 parent = RotateXMatrix(0.3f) * TransMatrix(Point3(0.0f, 5.0f, 0.0f));
        Matrix3 world = RotateYMatrix(0.8f) * TransMatrix(Point3(2.0f, 1.0f, -1.0f));
        SetXFormPacket set(world, parent);
        t.SetValue(0, &set, 1, CTRL_RELATIVE);
        Matrix3 m = parent;
        Interval iv = FOREVER;
        t.GetValue(0, &m, iv, CTRL_RELATIVE);
        EXPECT_THAT(m, NearMatrix3(world, 1e-5f));
        SetXFormPacket mv(Point3(0.0f, 0.0f, 4.0f), parent, Matrix3());
        t.SetValue(0, &mv, 1, CTRL_RELATIVE);
        m = parent;
        t.GetValue(0, &m, iv, CTRL_RELATIVE);
        EXPECT_THAT(m.GetTrans(), NearPoint3(world.GetTrans() + Point3(0.0f, 0.0f, 4.0f), 1e-4f));
    }
}

TEST_F(ControllerTest, StaticChangesUndoAndRedo) {
    auto* r = new StaticScale();
    theHold.Begin();
    ScaleValue s(Point3(2.0f, 3.0f, 4.0f));
    r->SetValue(0, &s, 1, CTRL_ABSOLUTE);
    theHold.Accept(L"Scale");
    EXPECT_THAT(r->value.s, NearPoint3(Point3(2.0f, 3.0f, 4.0f), 0.0f));
    ASSERT_TRUE(theHold.Undo());
    EXPECT_THAT(r->value.s, NearPoint3(Point3(1.0f, 1.0f, 1.0f), 0.0f));
    ASSERT_TRUE(theHold.Redo());
    EXPECT_THAT(r->value.s, NearPoint3(Point3(2.0f, 3.0f, 4.0f), 0.0f));
    theHold.Reset();
    r->DeleteThis();
}

TEST_F(ControllerTest, RotationXYZFollowsItsOrderAndStaysContinuous) {
    RotationXYZ r;
    for (int order = 0; order < 6; ++order) {
        r.SetOrder(order);
        float angles[3] = {0.3f, -0.7f, 1.1f};  // by axis
        for (int a = 0; a < 3; ++a) r.rot[a]->SetValue(0, &angles[a], 1, CTRL_ABSOLUTE);
        const int* axes = EulerOrderAxes(order);
        float byPos[3] = {angles[axes[0]], angles[axes[1]], angles[axes[2]]};
        Quat expected;
        EulerToQuat(byPos, expected, order);
        Quat q;
        Interval iv = FOREVER;
        r.GetValue(0, &q, iv, CTRL_ABSOLUTE);
        EXPECT_THAT(q, SameRotation(expected, 1e-5f)) << order;
    }
    {
        SCOPED_TRACE("a set near a whole turn keeps counting turns instead of jumping back");
        r.SetOrder(EULERTYPE_XYZ);
        float z = 3.0f;
        r.rot[2]->SetValue(0, &z, 1, CTRL_ABSOLUTE);
        float zero = 0.0f;
        r.rot[0]->SetValue(0, &zero, 1, CTRL_ABSOLUTE);
        r.rot[1]->SetValue(0, &zero, 1, CTRL_ABSOLUTE);
        Quat q = Quat(RotateZMatrix(3.4f));
        r.SetValue(0, &q, 1, CTRL_ABSOLUTE);
        float got = 0.0f;
        Interval iv = FOREVER;
        r.rot[2]->GetValue(0, &got, iv, CTRL_ABSOLUTE);
        EXPECT_NEAR(got, 3.4f, 1e-4f);
    }
    {
        SCOPED_TRACE("a null sub-controller reads 0; the cache follows a change of the others");
        r.ReplaceReference(RotationXYZ::kRotY, nullptr);
        float x = 0.5f;
        r.rot[0]->SetValue(0, &x, 1, CTRL_ABSOLUTE);
        Quat q;
        Interval iv = FOREVER;
        r.GetValue(0, &q, iv, CTRL_ABSOLUTE);
        EXPECT_THAT(q, SameRotation(Quat(RotateXMatrix(0.5f) * RotateZMatrix(3.4f)), 1e-5f));
    }
}

TEST_F(ControllerTest, DummiesPassValuesThrough) {
    DummyFloat d;
    StaticFloat* inner = new StaticFloat();
    d.ReplaceReference(0, inner);
    d.offset = 2.0f;
    float v = 5.0f;
    d.SetValue(0, &v, 1, CTRL_ABSOLUTE);
    EXPECT_FLOAT_EQ(inner->value, 3.0f);
    float out = 0.0f;
    Interval iv = FOREVER;
    d.GetValue(0, &out, iv, CTRL_ABSOLUTE);
    EXPECT_FLOAT_EQ(out, 5.0f);

    DummyRotation r;
    r.value = Quat(RotateYMatrix(0.4f));
    Matrix3 m = TransMatrix(Point3(1.0f, 1.0f, 1.0f));
    r.GetValue(0, &m, iv, CTRL_RELATIVE);
    EXPECT_THAT(m, NearMatrix3(RotateYMatrix(0.4f), 1e-6f)) << "not relative: the rotation alone";
    r.relative = 1;
    m = TransMatrix(Point3(1.0f, 1.0f, 1.0f));
    r.GetValue(0, &m, iv, CTRL_RELATIVE);
    EXPECT_THAT(m, NearMatrix3(RotateYMatrix(0.4f) * TransMatrix(Point3(1.0f, 1.0f, 1.0f)), 1e-6f));
}
