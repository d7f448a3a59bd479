#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "hold.h"
#include "icurvctl.h"
#include "iplugin.h"
#include "scenefile.h"

namespace {

ICurveCtl* NewCurveCtl() { return static_cast<ICurveCtl*>(CreateInstance(REF_TARGET_CLASS_ID, CURVE_CONTROL_CLASS_ID)); }

CurvePoint Pt(float x, float y, int flags = CURVEP_CORNER) {
    CurvePoint p;
    p.p = Point2(x, y);
    p.flags = flags;
    return p;
}

TEST(CurveCtl, NewCurvesAreLinesAcrossTheRangesAndEvaluateExactly) {
    ICurveCtl* cc = NewCurveCtl();
    ASSERT_NE(cc, nullptr);
    cc->SetXRange(-10.0f, 10.0f);
    cc->SetYRange(0.0f, 50.0f);
    cc->SetNumCurves(2);
    ASSERT_EQ(cc->GetNumCurves(), 2);
    EXPECT_EQ(cc->GetControlCurve(2), nullptr);
    ICurve* c = cc->GetControlCurve(0);
    ASSERT_EQ(c->GetNumPts(), 2);
    EXPECT_FLOAT_EQ(c->GetValue(0, -10.0f), 0.0f);
    EXPECT_FLOAT_EQ(c->GetValue(0, 0.0f), 25.0f);
    EXPECT_FLOAT_EQ(c->GetValue(0, 5.0f), 37.5f);
    // Constant beyond the ends.
    EXPECT_FLOAT_EQ(c->GetValue(0, -100.0f), 0.0f);
    EXPECT_FLOAT_EQ(c->GetValue(0, 100.0f), 50.0f);

    // Inserted points take their place in x order; lines between corner points.
    CurvePoint mid = Pt(0.0f, 40.0f);
    EXPECT_EQ(c->Insert(-1, mid), 1);
    EXPECT_FLOAT_EQ(c->GetValue(0, -5.0f), 20.0f);
    EXPECT_FLOAT_EQ(c->GetValue(0, 5.0f), 45.0f);
    // A moved point stops at its neighbour.
    CurvePoint past = Pt(20.0f, 40.0f);
    c->SetPoint(0, 1, &past);
    EXPECT_FLOAT_EQ(c->GetPoint(0, 1).p.x, 10.0f);
    c->Delete(1);
    EXPECT_EQ(c->GetNumPts(), 2);
    cc->SetNumCurves(1);
    EXPECT_EQ(cc->GetNumCurves(), 1);
    cc->DeleteThis();
}

TEST(CurveCtl, BezierSegmentsFollowTheirHandlesAndStayAFunctionOfX) {
    ICurveCtl* cc = NewCurveCtl();
    cc->SetNumCurves(1);
    ICurve* c = cc->GetControlCurve(0);
    CurvePoint a = Pt(0, 0, CURVEP_BEZIER), b = Pt(100, 100, CURVEP_BEZIER);
    // Handles on the straight line keep it straight.
    a.out = Point2(33.3333f, 33.3333f);
    b.in = Point2(-33.3333f, -33.3333f);
    c->SetPoint(0, 0, &a);
    c->SetPoint(0, 1, &b);
    EXPECT_NEAR(c->GetValue(0, 25.0f), 25.0f, 1e-3);
    // Flat handles give an ease: below the line early, above it late, symmetric about the middle.
    a.out = Point2(50, 0);
    b.in = Point2(-50, 0);
    c->SetPoint(0, 0, &a);
    c->SetPoint(0, 1, &b);
    EXPECT_NEAR(c->GetValue(0, 50.0f), 50.0f, 1e-3);
    EXPECT_LT(c->GetValue(0, 20.0f), 20.0f);
    EXPECT_NEAR(c->GetValue(0, 20.0f) + c->GetValue(0, 80.0f), 100.0f, 1e-3);
    // A handle reaching past the next point is held inside the segment.
    a.out = Point2(500, 0);
    c->SetPoint(0, 0, &a);
    float prev = -1.0f;
    for (float x = 0; x <= 100; x += 5) {
        const float y = c->GetValue(0, x);
        EXPECT_GE(y, prev - 1e-4f);
        prev = y;
    }
    cc->DeleteThis();
}

TEST(CurveCtl, EditsUndoAndRedoAsOneStepPerHold) {
    ICurveCtl* cc = NewCurveCtl();
    cc->SetNumCurves(1);
    ICurve* c = cc->GetControlCurve(0);
    theHold.Begin();
    CurvePoint mid = Pt(50, 80);
    c->Insert(0, mid);
    CurvePoint end = Pt(100, 10);
    c->SetPoint(0, 2, &end);
    cc->SetXRange(0, 200);
    theHold.Accept(L"Curve Edit");
    EXPECT_FLOAT_EQ(c->GetValue(0, 50), 80.0f);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(c->GetNumPts(), 2);
    EXPECT_FLOAT_EQ(c->GetValue(0, 50), 50.0f);
    EXPECT_FLOAT_EQ(cc->GetXRange().y, 100.0f);
    ASSERT_TRUE(theHold.Redo());
    EXPECT_EQ(c->GetNumPts(), 3);
    EXPECT_FLOAT_EQ(c->GetValue(0, 100), 10.0f);
    EXPECT_FLOAT_EQ(cc->GetXRange().y, 200.0f);
    theHold.Reset();
    cc->DeleteThis();
}

TEST(CurveCtl, FileRoundTripKeepsPointsAndRefusesADamagedPointTable) {
    ICurveCtl* cc = NewCurveCtl();
    cc->SetXRange(-1, 3);
    cc->SetNumCurves(1);
    ICurve* c = cc->GetControlCurve(0);
    CurvePoint a = Pt(1, 7, CURVEP_BEZIER);
    a.in = Point2(-0.5f, 1.0f);
    a.out = Point2(0.5f, -1.0f);
    c->Insert(0, a);
    std::vector<uint8_t> bytes;
    std::wstring err;
    ASSERT_TRUE(host::WriteObjectFile({cc}, host::SceneSettings(), bytes, &err));
    {
        host::LoadedObjectFile loaded;
        ASSERT_TRUE(host::ReadObjectFile(bytes.data(), bytes.size(), loaded, &err));
        auto* back = dynamic_cast<ICurveCtl*>(loaded.Roots().at(0));
        ASSERT_NE(back, nullptr);
        EXPECT_FLOAT_EQ(back->GetXRange().x, -1.0f);
        ICurve* bc = back->GetControlCurve(0);
        ASSERT_NE(bc, nullptr);
        ASSERT_EQ(bc->GetNumPts(), 3);
        for (float x = -1; x <= 3; x += 0.25f) EXPECT_FLOAT_EQ(bc->GetValue(0, x), c->GetValue(0, x));
        EXPECT_EQ(bc->GetPoint(0, 1).flags, CURVEP_BEZIER);
        loaded.DeleteAll();
    }
    // Claim more points than the chunk holds: the whole file is refused.
    const int n = 3;
    for (size_t i = 0; i + 4 <= bytes.size(); ++i) {
        int v;
        std::memcpy(&v, &bytes[i], 4);
        if (v == n && i >= 6 && bytes[i - 6] == 0x00 && bytes[i - 5] == 0x01) {
            int bad = 1000;
            std::memcpy(&bytes[i], &bad, 4);
            break;
        }
    }
    host::LoadedObjectFile broken;
    EXPECT_FALSE(host::ReadObjectFile(bytes.data(), bytes.size(), broken, &err));
    cc->DeleteThis();
}

}  // namespace
