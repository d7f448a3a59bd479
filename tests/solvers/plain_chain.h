// A chain on plain data for driving IKFKSolver without a scene: FK values as position,
// rotation and scale per joint, preferred rotations, a parent matrix, and the matching
// steps that the chain controller performs through the scene.
#pragma once

#include <string>
#include <vector>

#include "solvers/ikfk_math.h"
#include "solvers/ikfk_solver.h"

namespace kttest {

struct PlainSource : kt::IKFKSolveSource {
    std::vector<Quat> pref;
    float xAngle = 0.0f;
    int prefReads = 0;
    Quat PreferredRotation(int i) override {
        ++prefReads;
        return i < int(pref.size()) ? pref[size_t(i)] : Quat();
    }
    float FirstJointXAngle() override { return xAngle; }
};

// Rotation of a right-handed turn about Z (the bend of the test chains).
inline Quat BendZ(float a) { return Quat(RotateZMatrix(a)); }
inline Quat Euler(float x, float y, float z) {
    Quat q;
    q.SetEuler(x, y, z);
    return q;
}

struct PlainChain {
    std::vector<Point3> pos;    // local offsets; pos[0] from the parent
    std::vector<Quat> rot;      // FK local rotations
    std::vector<Point3> scale;  // FK local scales
    PlainSource src;
    kt::IKFKSolveParams params;
    kt::IKFKSolveInputs in;
    kt::IKFKSolver solver;

    int Count() const { return int(pos.size()); }

    void Refresh() {
        in.fkTMs.SetCount(Count());
        for (int i = 0; i < Count(); ++i) {
            size_t k = size_t(i);
            in.fkTMs[i] = ScaleMatrix(scale[k]) * kt::RotTransMatrix(rot[k], pos[k]);
        }
    }
    void Solve(float blend, int skip = -1) {
        Refresh();
        params.blend = blend;
        solver.Solve(Count(), params, in, src, skip);
    }
    std::vector<Matrix3> Pose() const {
        return std::vector<Matrix3>(solver.jointTMs.begin(), solver.jointTMs.end());
    }
    float Length() const {
        float l = 0;
        for (int i = 1; i < solver.jointTMs.Count(); ++i)
            l += (solver.jointTMs[i].GetTrans() - solver.jointTMs[i - 1].GetTrans()).Length();
        return l;
    }

    // IK takes the FK pose: goal, target and swivel are placed from a solve at blend 0.
    void MatchIK() {
        Solve(0.0f);
        Matrix3 goal = solver.MatchGoalTM(params);
        if (params.hasTarget) {
            in.targetTM.SetTrans(solver.MatchTargetPos(params, src));
        } else {
            params.swivelAngle =
                kt::ClosestAngle(params.swivelAngle, solver.MatchSwivel(params, in, src, goal));
        }
        in.goalTM = goal;
    }
    // FK takes the IK pose: every FK rotation from a solve at blend 1.
    void MatchFK() {
        Solve(1.0f);
        Quat rs = kt::IKFKSolver::RotSpace(params, in, Inverse(in.baseTM));
        for (int i = 0; i < Count(); ++i) {
            Quat q = solver.jointRot[i];
            if (i == 0 && params.hasRotSpace) q = q * Inverse(rs);
            rot[size_t(i)] = q;
        }
    }
};

// Largest distance between corresponding rows of two poses, translation included.
inline float PoseDiff(const std::vector<Matrix3>& a, const std::vector<Matrix3>& b) {
    float d = 0;
    for (size_t i = 0; i < a.size() && i < b.size(); ++i)
        for (int r = 0; r < 4; ++r) d = std::max(d, (a[i][r] - b[i][r]).Length());
    return d;
}

struct ParentCase {
    std::string name;
    Matrix3 tm;
};

inline std::vector<ParentCase> ParentCases() {
    Matrix3 rotated = RotateYMatrix(0.7f) * RotateZMatrix(0.4f) * RotateXMatrix(-1.1f);
    rotated.SetTrans(Point3(3.0f, -4.0f, 2.0f));
    Matrix3 scaled = ScaleMatrix(Point3(1.0f, 2.0f, 0.5f)) * RotateZMatrix(0.3f);
    scaled.SetTrans(Point3(-2.0f, 1.0f, 5.0f));
    Matrix3 mirrored = ScaleMatrix(Point3(-1.0f, 1.0f, 1.0f)) * RotateXMatrix(0.5f);
    mirrored.SetTrans(Point3(1.0f, 1.0f, -1.0f));
    return {{"identity", Matrix3()},
            {"moved", TransMatrix(Point3(5.0f, -3.0f, 2.0f))},
            {"rotated", rotated},
            {"scaled", scaled},
            {"mirrored", mirrored}};
}

// Chains of 2, 3, 4 and 6 joints with bones along X, FK bent about Z (more or less than
// the preferred rotations), joint 0 and the last joint turned freely.
inline PlainChain MakeChain(int n, bool moreBentThanPreferred = false) {
    PlainChain c;
    const float lengths[] = {10, 12, 9, 8, 7, 6};
    const float prefBends[] = {0, 0.35f, 0.25f, 0.4f, 0.2f, 0.3f};
    for (int i = 0; i < n; ++i) {
        c.pos.push_back(i == 0 ? Point3(1.0f, 2.0f, -1.0f) : Point3(lengths[i - 1], 0.0f, 0.0f));
        c.scale.push_back(Point3(1.0f, 1.0f, 1.0f));
        Quat pref = i == 0 ? Euler(0.2f, -0.1f, 0.3f) : BendZ(prefBends[i]);
        c.src.pref.push_back(pref);
        Quat fk;
        if (i == 0)
            fk = Euler(0.3f, -0.5f, 0.8f);
        else if (i == n - 1)
            fk = Euler(-0.4f, 0.2f, 0.6f);
        else
            fk = BendZ(moreBentThanPreferred ? prefBends[i] + 0.3f : prefBends[i] * 0.6f);
        c.rot.push_back(fk);
    }
    if (n == 3) c.rot[1] = BendZ(moreBentThanPreferred ? 1.3f : 0.2f);
    c.src.xAngle = 0.4f;
    c.in.goalTM = TransMatrix(Point3(15.0f, 5.0f, 0.0f));
    c.in.targetTM = TransMatrix(Point3(5.0f, 15.0f, 0.0f));
    return c;
}

}  // namespace kttest
