// The limb solve of one IKFK chain on plain data: the two-joint, three-joint and
// long-chain solves, the FK/IK blend in world rotation space, soft reach, manual and
// auto stretch, flexion bias and swivel, and the arithmetic of matching IK to FK.
//
// IKFKChain gathers the inputs from the scene (never through GetNodeTM of a node that
// depends on the chain) and keeps one IKFKSolver as its cache; tests drive it directly.
//
// Spaces: "world" is the scene's; "base" is the space of the first joint's parent
// (baseTM). Positions are in scene units, angles in radians, percent parameters are
// fractions (1.0 is 100%). Rotations follow the host: `a * b` applies `a` first.
#pragma once

#include "maxmath.h"
#include "tab.h"

namespace kt {

// The chain's parameters at the time of a solve.
struct IKFKSolveParams {
    float blend = 1.0f;            // ikfk_blend; 0 while the chain is suspended
    float manualStretch = 1.0f;    // manual_stretch
    float autoStretch = 0.0f;      // auto_stretch
    float rotationSpace = 1.0f;    // rotation_space weight
    float flexionBias = 0.0f;      // flexion_bias, radians
    float swivelAngle = 0.0f;      // swivel_angle, radians
    float softIK = 0.0f;           // soft_ik
    float targetDistPercent = 0.5f;
    int parentSpace = 1;           // 0: the swivel's zero follows the goal parent's space
    int iterations = 40;
    bool hasTarget = false;        // use_target and a target node
    bool hasRotSpace = false;      // use_rotation_space and a rotation space node
    bool lastJointIKRotation = true;
};

// World matrices and FK values the chain gathered.
struct IKFKSolveInputs {
    Matrix3 baseTM;         // the first joint's parent (identity when none)
    Matrix3 goalTM;         // the goal, from its parent and its own controller
    Matrix3 targetTM;       // the target likewise; read only with hasTarget
    Matrix3 rotSpaceTM;     // the rotation space node with its initial offset; with hasRotSpace
    Matrix3 parentSpaceTM;  // the goal's parent space; read only with parentSpace 0
    Tab<Matrix3> fkTMs;     // per joint: its FK controller's value on an identity parent
};

// Values that a solve reads only when it needs them (so that a solve that does not use
// them does not narrow its validity by them).
class IKFKSolveSource {
public:
    virtual ~IKFKSolveSource() = default;
    // Joint i's preferred local rotation; identity when it has none.
    virtual Quat PreferredRotation(int i) = 0;
    // The twist of the first joint in a two-joint chain with a target.
    virtual float FirstJointXAngle() = 0;
};

class IKFKSolver {
public:
    // Solves all joints: the two-joint solve for up to two joints, the three-joint solve
    // for three, the long-chain solve for more. A missing joint (beyond fkTMs) counts as
    // an identity FK value. skipJoint keeps that joint's FK rotation (-1 for none).
    // Allocates only when the joint count grows.
    void Solve(int numJoints, const IKFKSolveParams& p, const IKFKSolveInputs& in, IKFKSolveSource& src,
               int skipJoint = -1);

    // The rotation that rotation space adds to the first joint's FK rotation (identity
    // without rotation space); the value FK of joint 0 is matched through.
    static Quat RotSpace(const IKFKSolveParams& p, const IKFKSolveInputs& in, const Matrix3& invBase);
    // The rotation that makes the swivel's zero follow the goal parent's space.
    static Quat SpaceRot(const IKFKSolveParams& p, const IKFKSolveInputs& in, const Matrix3& invBase);

    // Matching IK to the pose of the last solve (normally one at blend 0).
    // The world matrix the goal must take so that a solve at blend 1 puts the last joint
    // where it is now: the last joint's matrix, moved out along the chain so that the soft
    // reach brings it back.
    Matrix3 MatchGoalTM(const IKFKSolveParams& p) const;
    // The world position of the target that keeps the chain's bend plane.
    Point3 MatchTargetPos(const IKFKSolveParams& p, IKFKSolveSource& src) const;
    // The swivel angle that makes a solve at blend 1 with the goal at goalTM reproduce the
    // first joint's rotation (two and long chains) or the elbow's place (three joints).
    // Not made continuous with the present value (see ClosestAngle).
    float MatchSwivel(const IKFKSolveParams& p, const IKFKSolveInputs& in, IKFKSolveSource& src,
                      const Matrix3& goalTM) const;

    int NumJoints() const { return jointTMs.Count(); }

    // Results of the last solve, one entry per joint.
    Tab<Matrix3> jointTMs;  // world matrices, scale applied
    Tab<Point3> jointPos;   // local offsets from the parent joint, after stretch
    Tab<Quat> jointRot;     // final local rotations (joint 0 relative to baseTM)
    Tab<Point3> jointScale; // cumulative scale
    Tab<Quat> fkRot;        // FK local rotations as gathered (joint 0 with rotation space)
    float stretchFactor = 1.0f;  // product of the stretches applied, 1 when none
    Quat rotSpaceQuat;           // rotation space applied to joint 0; identity when none
    Matrix3 baseTM;              // the first joint's parent, as gathered
    Matrix3 invBase;             // Inverse(baseTM)
    Point3 goalLocal;            // the goal as the solve aimed at it, base space

private:
    void Gather(int n, const IKFKSolveParams& p, const IKFKSolveInputs& in);
    void SolveTwo(const IKFKSolveParams& p, const IKFKSolveInputs& in, IKFKSolveSource& src, int skip);
    void SolveThree(const IKFKSolveParams& p, const IKFKSolveInputs& in, IKFKSolveSource& src, int skip);
    void SolveLong(const IKFKSolveParams& p, const IKFKSolveInputs& in, IKFKSolveSource& src, int skip);
    // Base-space forward pass over ik_: positions into chainPos_, world rotations into chainRot_.
    void ForwardPass(int n);
    // |end - start| of the forward pass, without its rotations or places.
    float SpanDistance(int n) const;
    void RebuildInterior(int n, const float* angles);

    // Work tables of the long chain, sized with the joint count.
    Tab<Point3> pos_, scale_;
    Tab<Quat> ik_, rest_, chainRot_;
    Tab<Point3> axis_, chainPos_;
    Tab<float> angle_, prev_;
    bool baseProper_ = true;  // baseTM is not mirrored
    int numJoints_ = 0;    // the chain's joint count at the last solve
    int solvedCount_ = 0;  // joints the last solve covered (2 for the two-joint solve)
};

}  // namespace kt
