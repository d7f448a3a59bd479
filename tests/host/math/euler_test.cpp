#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "math_matchers.h"
#include "math_test_util.h"

using kttest::NearMatrix3;
using kttest::NearPoint3;
using kttest::SameRotation;

namespace {

Matrix3 AxisMatrix(int axis, float a) {
    return axis == 0 ? RotateXMatrix(a) : axis == 1 ? RotateYMatrix(a) : RotateZMatrix(a);
}

Quat FromEuler(float a, float b, float c, int order) {
    float e[3] = {a, b, c};
    Quat q;
    EulerToQuat(e, q, order);
    return q;
}

const char* kNames[9] = {"XYZ", "XZY", "YZX", "YXZ", "ZXY", "ZYX", "XYX", "YZY", "ZXZ"};

} // namespace

TEST(EulerOrders, AnglesApplyInTheOrdersSequenceByPosition) {
    // The order table the layer code relies on: axes in application order.
    const int table[9][3] = {{0, 1, 2}, {0, 2, 1}, {1, 2, 0}, {1, 0, 2}, {2, 0, 1},
                             {2, 1, 0}, {0, 1, 0}, {1, 2, 1}, {2, 0, 2}};
    float e[3] = {0.3f, -0.7f, 1.1f};
    for (int order = 0; order < 9; ++order) {
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(EulerOrderAxes(order)[i], table[order][i]);
        Matrix3 expected = AxisMatrix(table[order][0], e[0]) * AxisMatrix(table[order][1], e[1]) *
                           AxisMatrix(table[order][2], e[2]);
        Matrix3 m;
        EulerToMatrix(e, m, order);
        EXPECT_THAT(m, NearMatrix3(expected, 1e-6f)) << kNames[order];
        EXPECT_THAT(FromEuler(e[0], e[1], e[2], order), SameRotation(Quat(expected), 1e-6f)) << kNames[order];
    }
    // By hand: ZXY (90, 90, 0) takes X to Y (about Z), then Y to Z (about X).
    Matrix3 m;
    float zxy[3] = {HALFPI, HALFPI, 0.0f};
    EulerToMatrix(zxy, m, EULERTYPE_ZXY);
    EXPECT_THAT(m[0], NearPoint3(Point3::ZAxis, 1e-6f));
    // XYZ (0, 0, a) is RotateZ(a); its quaternion is left-handed.
    EXPECT_THAT(FromEuler(0.0f, 0.0f, 0.8f, EULERTYPE_XYZ),
                SameRotation(Quat(0.0f, 0.0f, std::sin(-0.4f), std::cos(-0.4f)), 1e-6f));
    EXPECT_EQ(EulerOrderAxes(9), nullptr);
}

TEST(EulerOrders, QuatToEulerGivesHandWorkedAnglesAndRoundTripsInAllOrders) {
    float a[3];
    QuatToEuler(Quat(RotateYMatrix(0.3f) * RotateZMatrix(0.2f)), a, EULERTYPE_XYZ);
    EXPECT_THAT(Point3(a[0], a[1], a[2]), NearPoint3(Point3(0.0f, 0.3f, 0.2f), 1e-6f));
    QuatToEuler(Quat(RotateZMatrix(0.4f) * RotateXMatrix(0.5f) * RotateZMatrix(0.6f)), a, EULERTYPE_ZXZ);
    EXPECT_THAT(Point3(a[0], a[1], a[2]), NearPoint3(Point3(0.4f, 0.5f, 0.6f), 1e-6f));
    QuatToEuler(Quat(RotateYMatrix(-2.0f) * RotateXMatrix(1.0f) * RotateZMatrix(3.0f)), a, EULERTYPE_YXZ);
    EXPECT_THAT(Point3(a[0], a[1], a[2]), NearPoint3(Point3(-2.0f, 1.0f, 3.0f), 1e-6f));
    // A negative middle angle of a repeated order comes back as the other branch, same rotation.
    QuatToEuler(Quat(RotateXMatrix(0.4f) * RotateYMatrix(-0.5f) * RotateXMatrix(0.6f)), a, EULERTYPE_XYX);
    EXPECT_THAT(Point3(a[0], a[1], a[2]), NearPoint3(Point3(0.4f - PI, 0.5f, 0.6f - PI), 1e-6f));

    mathtest::Rng rng(61);
    for (int order = 0; order < 9; ++order) {
        bool repeated = order >= EULERTYPE_XYX;
        for (int i = 0; i < 300; ++i) {
            Quat q = rng.Rotation();
            QuatToEuler(q, a, order);
            if (repeated) {
                EXPECT_GE(a[1], 0.0f);
                EXPECT_LE(a[1], PI);
            } else {
                EXPECT_LE(std::fabs(a[1]), HALFPI + 1e-6f);
            }
            EXPECT_THAT(FromEuler(a[0], a[1], a[2], order), SameRotation(q, 3e-6f)) << kNames[order];
            float m[3];
            Matrix3 mat;
            q.MakeMatrix(mat);
            mat.PreScale(Point3(2.0f, 0.5f, 3.0f)); // scale is ignored
            MatrixToEuler(mat, m, order);
            EXPECT_THAT(Point3(m[0], m[1], m[2]), NearPoint3(Point3(a[0], a[1], a[2]), 1e-5f));
        }
        // Angles inside the principal ranges come back unchanged.
        float in[3] = {0.9f, repeated ? 1.3f : -0.6f, -2.4f};
        QuatToEuler(FromEuler(in[0], in[1], in[2], order), a, order);
        EXPECT_THAT(Point3(a[0], a[1], a[2]), NearPoint3(Point3(in[0], in[1], in[2]), 2e-6f))
            << kNames[order];
    }
}

TEST(EulerOrders, GimbalLockStillRoundTrips) {
    for (int order = 0; order < 9; ++order) {
        bool repeated = order >= EULERTYPE_XYX;
        for (float mid : {repeated ? 0.0f : HALFPI, repeated ? PI : -HALFPI}) {
            Quat q = FromEuler(0.5f, mid, 0.25f, order);
            float a[3];
            QuatToEuler(q, a, order);
            EXPECT_EQ(a[0], 0.0f) << kNames[order];
            EXPECT_THAT(FromEuler(a[0], a[1], a[2], order), SameRotation(q, 3e-6f))
                << kNames[order] << " " << mid;
        }
    }
}

TEST(EulerContinuity, ContinuousQuatToEulerTracksAnglesAcrossHalfTurns) {
    for (int order = 0; order < 9; ++order) {
        bool repeated = order >= EULERTYPE_XYX;
        // Spin the first angle through two full turns with the others fixed: the output follows
        // the input exactly, past pi and 2pi, with no flips; feeding q or -q makes no difference.
        float e[3] = {0.0f, repeated ? 0.7f : 0.3f, -0.4f};
        for (int step = 0; step <= 160; ++step) {
            float t = step * (4.0f * PI / 160.0f);
            Quat q = FromEuler(t, e[1], -0.4f, order);
            ContinuousQuatToEuler(step % 2 ? -q : q, e, order);
            ASSERT_THAT(Point3(e[0], e[1], e[2]), NearPoint3(Point3(t, repeated ? 0.7f : 0.3f, -0.4f), 1e-4f))
                << kNames[order] << " step " << step;
        }
        // The same for the last angle, backwards.
        float g[3] = {0.2f, repeated ? 0.7f : 0.3f, 0.0f};
        for (int step = 0; step <= 160; ++step) {
            float t = -step * (4.0f * PI / 160.0f);
            ContinuousQuatToEuler(FromEuler(0.2f, g[1], t, order), g, order);
            ASSERT_THAT(Point3(g[0], g[1], g[2]), NearPoint3(Point3(0.2f, repeated ? 0.7f : 0.3f, t), 1e-4f))
                << kNames[order] << " step " << step;
        }
    }
}

TEST(EulerContinuity, MiddleAngleThroughItsLimitAndThroughGimbalLockStaysContinuous) {
    for (int order = 0; order < 9; ++order) {
        bool repeated = order >= EULERTYPE_XYX;
        float lock = repeated ? PI : HALFPI;
        // Sweep the middle angle through its limit, passing the lock exactly once.
        float e[3] = {0.5f, lock - 0.6f, 0.25f};
        float prev[3] = {e[0], e[1], e[2]};
        std::vector<float> mids;
        for (int step = 0; step <= 120; ++step)
            mids.push_back(lock - 0.6f + step * 0.01f);
        mids.insert(mids.begin() + 60, lock);
        for (float mid : mids) {
            Quat q = FromEuler(0.5f, mid, 0.25f, order);
            ContinuousQuatToEuler(q, e, order);
            // Same rotation, and no jumps between samples.
            ASSERT_THAT(FromEuler(e[0], e[1], e[2], order), SameRotation(q, 5e-6f))
                << kNames[order] << " " << mid;
            for (int i = 0; i < 3; ++i)
                ASSERT_LT(std::fabs(e[i] - prev[i]), 0.05f)
                    << kNames[order] << " angle " << i << " at " << mid;
            for (int i = 0; i < 3; ++i)
                prev[i] = e[i];
        }
        // It kept going the way it came in: the middle angle went past the limit.
        EXPECT_THAT(Point3(e[0], e[1], e[2]), NearPoint3(Point3(0.5f, lock + 0.6f, 0.25f), 2e-4f))
            << kNames[order];
    }
}

TEST(EulerContinuity, NearestSolutionIsChosenFromFarAwayStartingAngles) {
    // Incoming angles several turns away: the answer is shifted by whole turns to meet them.
    float e[3] = {0.1f + 4.0f * PI, 0.2f - 2.0f * PI, 0.3f + 6.0f * PI};
    ContinuousQuatToEuler(FromEuler(0.1f, 0.2f, 0.3f, EULERTYPE_ZYX), e, EULERTYPE_ZYX);
    EXPECT_THAT(Point3(e[0], e[1], e[2]),
                NearPoint3(Point3(0.1f + 4.0f * PI, 0.2f - 2.0f * PI, 0.3f + 6.0f * PI), 1e-5f));
    // Incoming angles on the other branch keep that branch.
    float o[3] = {0.1f + PI, PI - 0.2f, 0.3f + PI};
    ContinuousQuatToEuler(FromEuler(0.1f, 0.2f, 0.3f, EULERTYPE_XYZ), o, EULERTYPE_XYZ);
    EXPECT_THAT(Point3(o[0], o[1], o[2]), NearPoint3(Point3(0.1f + PI, PI - 0.2f, 0.3f + PI), 1e-5f));
    // The stepped rotation of the layer reverse solve: a large AngAxis applied in
    // steps of at most 3pi/4, converting after each step, ends a whole turn further on.
    float s[3] = {0.0f, 0.0f, 0.0f};
    Quat q;
    float remaining = TWOPI + 0.5f;
    while (remaining > 0.0f) {
        float step = remaining > 2.3561945f ? 2.3561945f : remaining;
        q *= Quat(Point3::ZAxis, step);
        ContinuousQuatToEuler(q, s, EULERTYPE_XYZ);
        remaining -= step;
    }
    // Quat(axis, angle) is left-handed, so the Z angle runs negative.
    EXPECT_THAT(Point3(s[0], s[1], s[2]), NearPoint3(Point3(0.0f, 0.0f, -(TWOPI + 0.5f)), 1e-5f));
}

TEST(EulerRotationValue, EulerAnglesAreByAxisNameForTaitBryanAndByPositionForRepeated) {
    // ZXY by position (z 0.1, x 0.2, y 0.3): by axis name that is (x 0.2, y 0.3, z 0.1).
    Quat q = FromEuler(0.1f, 0.2f, 0.3f, EULERTYPE_ZXY);
    RotationValue rv(q);
    EXPECT_EQ(rv.NativeRep(), RotationValue::kQuat);
    EXPECT_THAT(rv.Euler(RotationValue::kZXY), NearPoint3(Point3(0.2f, 0.3f, 0.1f), 1e-6f));
    EXPECT_THAT(rv.ToEulerAngles(EULERTYPE_ZXY), NearPoint3(Point3(0.2f, 0.3f, 0.1f), 1e-6f));
    Quat r = FromEuler(0.1f, 0.2f, 0.3f, EULERTYPE_ZXZ);
    EXPECT_THAT(RotationValue(r).ToEulerAngles(EULERTYPE_ZXZ), NearPoint3(Point3(0.1f, 0.2f, 0.3f), 1e-6f));
    // Built from angles: read back unchanged in its own order, converted in others.
    RotationValue e(Point3(0.2f, 0.3f, 0.1f), RotationValue::kZXY);
    EXPECT_EQ(e.Euler(RotationValue::kZXY), Point3(0.2f, 0.3f, 0.1f));
    EXPECT_THAT(Quat(e), SameRotation(q, 1e-6f));
    EXPECT_THAT(Matrix3(e), NearMatrix3(mathtest::MatrixOf(q), 1e-6f));
    EXPECT_THAT(RotationValue(Quat(e)).Euler(RotationValue::kZXY),
                NearPoint3(Point3(0.2f, 0.3f, 0.1f), 1e-6f));
    // Applying.
    Matrix3 m = TransMatrix(Point3(1.0f, 2.0f, 3.0f));
    Matrix3 pre = m, post = m;
    e.PreApplyTo(pre);
    e.PostApplyTo(post);
    EXPECT_THAT(pre, NearMatrix3(Matrix3(e) * m, 1e-6f));
    EXPECT_THAT(post, NearMatrix3(m * Matrix3(e), 1e-6f));
    // PostRotate keeps the representation and keeps the angles continuous past a half turn.
    RotationValue spin(Point3(0.0f, 0.0f, 3.0f), RotationValue::kXYZ);
    spin.PostRotate(AngAxis(Point3::ZAxis, -0.5f)); // left-handed: +0.5 about Z
    EXPECT_EQ(spin.NativeRep(), RotationValue::kXYZ);
    EXPECT_THAT(spin.Euler(RotationValue::kXYZ), NearPoint3(Point3(0.0f, 0.0f, 3.5f), 1e-5f));
}
