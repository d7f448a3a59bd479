#include <gtest/gtest.h>

#include "math_matchers.h"
#include "plain_chain.h"

using namespace kt;
using namespace kttest;

namespace {

// Joint world matrices of the FK pose computed by hand: world(i) = local(i) * world(i-1),
// offsets carrying the parent's cumulative scale and the manual stretch.
std::vector<Matrix3> HandFK(const PlainChain& c, float stretch) {
    std::vector<Matrix3> out;
    Matrix3 parent = c.in.baseTM;
    Point3 cum(1, 1, 1);
    for (int i = 0; i < c.Count(); ++i) {
        size_t k = size_t(i);
        Point3 p = i == 0 ? c.pos[k] : c.pos[k] * cum * stretch;
        Matrix3 unscaled = RotTransMatrix(c.rot[k], p) * parent;
        cum = cum * c.scale[k];
        Matrix3 m = unscaled;
        m.PreScale(cum);
        out.push_back(m);
        parent = unscaled;
    }
    return out;
}

float BoneLength(const PlainChain& c) {
    float l = 0;
    for (int i = 1; i < c.Count(); ++i) l = std::max(l, c.pos[size_t(i)].Length());
    return l;
}

Point3 Trans(const PlainChain& c, int i) { return c.solver.jointTMs[i].GetTrans(); }

}  // namespace

TEST(IKFKSolver, BlendZeroIsTheFKPoseWithStretchAndScale) {
    for (int n : {2, 3, 4, 6}) {
        for (const ParentCase& pc : ParentCases()) {
            PlainChain c = MakeChain(n);
            c.in.baseTM = pc.tm;
            c.scale[0] = Point3(1.0f, 1.5f, 0.8f);
            c.params.manualStretch = 1.3f;
            c.params.autoStretch = 1.0f;  // inactive at blend 0
            c.params.softIK = 0.3f;
            c.Solve(0.0f);
            EXPECT_LT(PoseDiff(c.Pose(), HandFK(c, 1.3f)), 1e-4f) << n << " " << pc.name;
            EXPECT_EQ(c.src.prefReads, 0) << "blend 0 reads no preferred rotation";
            EXPECT_FLOAT_EQ(c.solver.stretchFactor, 1.0f);
        }
    }
}

TEST(IKFKSolver, MatchIKThenFullIKReproducesTheFKPose) {
    for (int n : {2, 3, 4, 6}) {
        for (bool moreBent : {false, true}) {
            for (bool target : {false, true}) {
                for (const ParentCase& pc : ParentCases()) {
                    PlainChain c = MakeChain(n, moreBent);
                    c.in.baseTM = pc.tm;
                    c.params.hasTarget = target;
                    c.params.swivelAngle = 2.0f * kTwoPi + 0.3f;
                    c.Solve(0.0f);
                    std::vector<Matrix3> fk = c.Pose();
                    c.MatchIK();
                    c.Solve(1.0f);
                    std::string what = std::to_string(n) + (moreBent ? " bent " : " open ") +
                                       (target ? "target " : "swivel ") + pc.name;
                    EXPECT_LT(PoseDiff(c.Pose(), fk), 1e-4f * BoneLength(c)) << what;
                    if (!target) {
                        // The swivel keeps its whole turns.
                        EXPECT_NEAR(c.params.swivelAngle, 2.0f * kTwoPi + 0.3f, kPi + 1e-3f) << what;
                    }
                }
            }
        }
    }
}

TEST(IKFKSolver, MatchFKThenBlendZeroReproducesTheIKPose) {
    for (int n : {2, 3, 4, 6}) {
        for (bool rotSpace : {false, true}) {
            for (const ParentCase& pc : ParentCases()) {
                PlainChain c = MakeChain(n);
                c.in.baseTM = pc.tm;
                // Goal and rotation space live under the same parent as the chain.
                c.in.goalTM = RotTransMatrix(Euler(0.5f, 0.1f, -0.2f), Point3(14.0f, 6.0f, 3.0f)) * pc.tm;
                c.params.hasRotSpace = rotSpace;
                c.params.rotationSpace = 0.7f;
                c.in.rotSpaceTM = RotTransMatrix(Euler(0.1f, 0.9f, -0.3f), Point3(1.0f, 1.0f, 1.0f));
                c.params.swivelAngle = 0.6f;
                c.Solve(1.0f);
                std::vector<Matrix3> ik = c.Pose();
                c.MatchFK();
                c.Solve(0.0f);
                EXPECT_LT(PoseDiff(c.Pose(), ik), 1e-4f * BoneLength(c))
                    << n << (rotSpace ? " rotspace " : " ") << pc.name;
            }
        }
    }
}

TEST(IKFKSolver, AlternatingMatchesDoNotDrift) {
    struct Case {
        const char* name;
        int n;
        float manual, soft, autoS;
        Point3 scale1;
    };
    const Case cases[] = {
        {"plain", 3, 1.0f, 0.0f, 0.0f, Point3(1.0f, 1.0f, 1.0f)},
        {"manually stretched and scaled", 3, 1.4f, 0.0f, 0.0f, Point3(1.2f, 0.9f, 1.1f)},
        {"soft, end in the soft zone", 3, 1.0f, 0.4f, 0.0f, Point3(1.0f, 1.0f, 1.0f)},
        {"auto stretch on", 3, 1.0f, 0.0f, 1.0f, Point3(1.0f, 1.0f, 1.0f)},
        {"two joints stretched", 2, 1.2f, 0.0f, 1.0f, Point3(1.0f, 1.0f, 1.0f)},
        {"long chain soft", 4, 1.1f, 0.3f, 0.0f, Point3(1.0f, 1.0f, 1.0f)},
        {"six joints", 6, 1.0f, 0.0f, 0.5f, Point3(1.0f, 1.0f, 1.0f)},
    };
    for (const Case& k : cases) {
        PlainChain c = MakeChain(k.n);
        c.in.baseTM = ParentCases()[2].tm;
        c.params.manualStretch = k.manual;
        c.params.softIK = k.soft;
        c.params.autoStretch = k.autoS;
        c.scale[1] = k.scale1;
        if (k.n == 3) c.rot[1] = BendZ(0.15f);  // nearly straight: deep in the soft zone
        c.Solve(0.0f);
        const std::vector<Matrix3> start = c.Pose();
        const float length = c.Length();
        for (int i = 0; i < 1000; ++i) {
            c.MatchIK();
            c.MatchFK();
        }
        c.Solve(0.0f);
        EXPECT_LT(PoseDiff(c.Pose(), start), 1e-4f * BoneLength(c)) << k.name;
        EXPECT_NEAR(c.Length(), length, 1e-4f * length) << k.name;
        c.Solve(1.0f);
        EXPECT_LT(PoseDiff(c.Pose(), start), 1e-4f * BoneLength(c)) << k.name << " (IK side)";
    }
}

TEST(IKFKSolver, HalfBlendKeepsTheElbowBetweenPoses) {
    for (const ParentCase& pc : ParentCases()) {
        if (pc.name == "mirrored" || pc.name == "scaled") continue;  // world rotations are not rigid there
        PlainChain c = MakeChain(3);
        c.in.baseTM = pc.tm;
        c.rot[0] = Quat();
        c.rot[1] = BendZ(0.3f);
        c.src.pref[0] = Quat();
        // Out of the FK plane, where blending local rotations would swing the elbow about.
        c.params.swivelAngle = 0.8f;
        c.in.goalTM = RotTransMatrix(Quat(), Point3(-6.0f, 8.0f, 7.0f)) * pc.tm;
        c.Solve(0.0f);
        std::vector<Matrix3> fk = c.Pose();
        c.Solve(1.0f);
        std::vector<Matrix3> ik = c.Pose();
        c.Solve(0.5f);
        std::vector<Matrix3> half = c.Pose();
        auto bone = [](const std::vector<Matrix3>& p, int i) {
            return (p[size_t(i + 1)].GetTrans() - p[size_t(i)].GetTrans()).Normalize();
        };
        for (int b = 0; b < 2; ++b) {
            float toFK = AngleBetween(bone(half, b), bone(fk, b));
            float toIK = AngleBetween(bone(half, b), bone(ik, b));
            EXPECT_NEAR(toFK, toIK, 1e-3f) << pc.name << " bone " << b;
            EXPECT_GT(toFK, 0.05f) << pc.name << " bone " << b;
        }
        // The elbow does not fold up on the way.
        auto inner = [&](const std::vector<Matrix3>& p) { return AngleBetween(-bone(p, 0), bone(p, 1)); };
        EXPECT_GE(inner(half), 0.75f * std::min(inner(fk), inner(ik))) << pc.name;
    }
}

TEST(IKFKSolver, ReachSoftnessAndStretch) {
    PlainChain c = MakeChain(3);
    c.rot[1] = BendZ(0.5f);
    const float L = c.pos[1].Length() + c.pos[2].Length();
    const Point3 root = c.pos[0];
    auto endAt = [&](float dist) {
        c.in.goalTM = TransMatrix(root + Point3(0.6f, 0.8f, 0.0f) * dist);
        c.Solve(1.0f);
        return (Trans(c, 2) - root).Length();
    };
    {
        SCOPED_TRACE("reachable goal: the end lands on it");
        EXPECT_NEAR(endAt(15.0f), 15.0f, 1e-4f);
    }
    {
        SCOPED_TRACE("beyond reach without stretch: straight along the goal line, unstretched");
        EXPECT_NEAR(endAt(30.0f), L, 1e-4f);
        EXPECT_FLOAT_EQ(c.solver.stretchFactor, 1.0f);
        Point3 dir = (Trans(c, 2) - root).Normalize();
        EXPECT_THAT(dir, NearPoint3(Point3(0.6f, 0.8f, 0.0f), 1e-5f));
        EXPECT_THAT((Trans(c, 1) - root).Normalize(), NearPoint3(dir, 1e-4f));
    }
    {
        SCOPED_TRACE("beyond reach with auto stretch: the bones grow to reach it");
        c.params.autoStretch = 1.0f;
        EXPECT_NEAR(endAt(30.0f), 30.0f, 1e-3f);
        EXPECT_NEAR(c.solver.stretchFactor, 30.0f / L, 1e-4f);
        c.params.autoStretch = 0.5f;
        EXPECT_NEAR(endAt(30.0f), L + (30.0f - L) * 0.5f, 1e-3f);
        c.params.autoStretch = 0.0f;
    }
    {
        SCOPED_TRACE("soft reach: nothing changes inside L - s, then a smooth approach to L");
        c.params.softIK = 0.2f;
        EXPECT_NEAR(endAt(L * 0.7f), L * 0.7f, 1e-4f);
        float prev = endAt(L * 0.8f);
        for (float d = L * 0.8f + 0.1f; d < L * 1.5f; d += 0.1f) {
            float e = endAt(d);
            EXPECT_GT(e, prev) << d;
            EXPECT_LT(e, L) << d;
            EXPECT_LT(e - prev, 0.1f + 1e-4f) << "no faster than the goal, so no pop at " << d;
            prev = e;
        }
        EXPECT_GT(prev, L - 0.05f * L);
    }
    {
        SCOPED_TRACE("soft reach with auto stretch: the end reaches the goal");
        c.params.autoStretch = 1.0f;
        EXPECT_NEAR(endAt(L * 0.95f), L * 0.95f, 1e-3f);
        EXPECT_GT(c.solver.stretchFactor, 1.0f);
    }
}

TEST(IKFKSolver, GoalAtTheRootStaysFinite) {
    PlainChain c = MakeChain(3);
    c.pos[1] = Point3(12.0f, 0.0f, 0.0f);  // L1 == L2
    c.pos[2] = Point3(12.0f, 0.0f, 0.0f);
    c.in.baseTM = ParentCases()[2].tm;
    c.in.goalTM = TransMatrix(c.pos[0]) * c.in.baseTM;
    c.Solve(1.0f);
    for (int i = 0; i < 3; ++i)
        for (int r = 0; r < 4; ++r) EXPECT_FALSE(std::isnan(c.solver.jointTMs[i][r].x)) << i;
    // The elbow folds out sideways; the end comes back to the root.
    EXPECT_LT((Trans(c, 2) - Trans(c, 0)).Length(), 0.05f);
    // Round trips hold there too.
    c.Solve(0.0f);
    c.MatchFK();
    c.Solve(0.0f);
    std::vector<Matrix3> folded = c.Pose();
    c.MatchIK();
    c.Solve(1.0f);
    EXPECT_LT(PoseDiff(c.Pose(), folded), 1e-3f);
}

TEST(IKFKSolver, SolveKeepsTheSkippedJointsFKRotation) {
    for (int n : {2, 3, 5}) {
        PlainChain c = MakeChain(n);
        for (int skip = 0; skip < n; ++skip) {
            c.Solve(1.0f, skip);
            EXPECT_THAT(c.solver.jointRot[skip], SameRotation(c.solver.fkRot[skip], 1e-6f)) << n << " " << skip;
        }
    }
}

TEST(IKFKSolver, LongChainShapes) {
    {
        SCOPED_TRACE("flexion bias moves the bend: + at the first interior joint, - at the last");
        PlainChain c = MakeChain(4);
        c.in.goalTM = TransMatrix(Point3(25.0f, 5.0f, 0.0f));
        c.params.iterations = 0;
        c.Solve(1.0f);
        Quat r1 = c.solver.jointRot[1], r2 = c.solver.jointRot[2];
        c.params.flexionBias = 0.2f;
        c.Solve(1.0f);
        float a1 = 2 * std::acos(std::min(1.0f, std::fabs(c.solver.jointRot[1].w)));
        float a2 = 2 * std::acos(std::min(1.0f, std::fabs(c.solver.jointRot[2].w)));
        float b1 = 2 * std::acos(std::min(1.0f, std::fabs(r1.w)));
        float b2 = 2 * std::acos(std::min(1.0f, std::fabs(r2.w)));
        EXPECT_NEAR(a1 - b1, 0.2f, 1e-4f);
        EXPECT_NEAR(a2 - b2, -0.2f, 1e-4f);
    }
    {
        SCOPED_TRACE("iterations 0 keeps the preferred shape and only turns it onto the goal");
        PlainChain c = MakeChain(5);
        c.params.iterations = 0;
        c.in.goalTM = TransMatrix(Point3(3.0f, 30.0f, 4.0f));
        c.Solve(1.0f);
        for (int j = 1; j < 4; ++j) EXPECT_THAT(c.solver.jointRot[j], SameRotation(c.src.pref[size_t(j)], 1e-5f));
        Point3 endDir = (Trans(c, 4) - Trans(c, 0)).Normalize();
        EXPECT_THAT(endDir, NearPoint3((Point3(3.0f, 30.0f, 4.0f) - Trans(c, 0)).Normalize(), 1e-5f));
    }
    {
        SCOPED_TRACE("iterations bring the end onto a reachable goal, opening and closing");
        for (float d : {12.0f, 20.0f, 30.0f, 35.0f}) {
            PlainChain c = MakeChain(6);
            Point3 goal = c.pos[0] + Point3(0.0f, 0.6f, 0.8f) * d;
            c.in.goalTM = TransMatrix(goal);
            c.Solve(1.0f);
            EXPECT_LT((Trans(c, 5) - goal).Length(), 1e-3f) << d;
        }
    }
    {
        SCOPED_TRACE("colinear joints: zero axes are no error and nothing is NaN");
        PlainChain c = MakeChain(4);
        for (auto& q : c.src.pref) q = Quat();
        c.in.goalTM = TransMatrix(Point3(10.0f, 5.0f, 0.0f));
        c.params.flexionBias = 0.3f;
        c.Solve(1.0f);
        for (int i = 0; i < 4; ++i) EXPECT_FALSE(std::isnan(Trans(c, i).x)) << i;
        // Straight bones cannot bend, so the end stays at full length on the goal line.
        Point3 end = Trans(c, 3) - Trans(c, 0);
        EXPECT_NEAR(end.Length(), c.pos[1].Length() + c.pos[2].Length() + c.pos[3].Length(), 1e-3f);
        EXPECT_THAT(end.Normalize(), NearPoint3((Point3(10.0f, 5.0f, 0.0f) - c.pos[0]).Normalize(), 1e-5f));
    }
}

TEST(IKFKSolver, FewJointsPadToTwoWithIdentityFK) {
    for (int n : {0, 1}) {
        PlainChain c;
        for (int i = 0; i < n; ++i) {
            c.pos.push_back(Point3(1.0f, 2.0f, 3.0f));
            c.rot.push_back(Quat());
            c.scale.push_back(Point3(1.0f, 1.0f, 1.0f));
        }
        c.Solve(1.0f);
        ASSERT_EQ(c.solver.jointTMs.Count(), 2);
        for (int r = 0; r < 4; ++r) EXPECT_FALSE(std::isnan(c.solver.jointTMs[0][r].x));
    }
}
