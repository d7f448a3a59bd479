#include "solvers/ikfk_solver.h"

#include <algorithm>
#include <cmath>

#include "solvers/ikfk_math.h"

namespace kt {

namespace {

constexpr float kStep = 0.0872665f;       // 5 degrees: one opening or closing round
constexpr float kMaxBend = 3.1241395f;    // a little short of a full fold
constexpr float kStraight = 0.02f;        // below this a bend has no usable plane

// v * matrix(q), for any length of q as Quat::MakeMatrix treats it (zero gives v): the turn by
// the conjugate (the host's quaternions are left-handed) through two cross products, which
// costs less than building the matrix.
inline Point3 QRotate(const Point3& v, const Quat& q) {
    const float n = q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w;
    const float s = n > 0.0f ? 2.0f / n : 0.0f;
    const Point3 u(-q.x, -q.y, -q.z);
    const Point3 t = u ^ v;
    return v + (t * q.w + (u ^ t)) * s;
}

// a * b (a first), in float.
inline Quat QMul(const Quat& a, const Quat& b) {
    return Quat(a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y, a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x,
                a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w, a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z);
}

// The rotation of a joint in the chain, from its own and its parent's. Only the direction
// matters; the magnitude is kept from drifting towards zero when degenerate (scaled
// identity) rotations pile up.
inline Quat ChainRot(const Quat& own, const Quat& parent) {
    Quat q = QMul(own, parent);
    float l2 = q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w;
    if (l2 > 0.0f && std::fabs(l2 - 1.0f) > 1e-4f) q = q / std::sqrt(l2);
    return q;
}

// Quat(AngAxis(axis, angle)): the axis as given, so a zero axis yields a scaled identity.
inline Quat AxisAngle(const Point3& axis, float angle) {
    float s = std::sin(angle * 0.5f), c = std::cos(angle * 0.5f);
    return Quat(axis.x * s, axis.y * s, axis.z * s, c);
}

// Inverse of a rotation-and-translation matrix given by its parts.
inline Matrix3 InverseRigid(const Quat& q, const Point3& t) {
    Matrix3 m;
    q.MakeMatrix(m, true);
    m.SetTrans(-m.VectorTransform(t));
    return m;
}

// v * Inverse(matrix(q)).
inline Point3 QUnrotate(const Point3& v, const Quat& q) { return QRotate(v, Conjugate(q)); }

// Determinant of the 3x3 part, in double so that its sign is sure for any well-formed frame.
inline double Det3(const Matrix3& m) {
    const Point3 &a = m[0], &b = m[1], &c = m[2];
    return double(a.x) * (double(b.y) * c.z - double(b.z) * c.y) - double(a.y) * (double(b.x) * c.z - double(b.z) * c.x) +
           double(a.z) * (double(b.x) * c.y - double(b.y) * c.x);
}

// True when every row of the 3x3 part has unit length (a frame with no null direction).
inline bool UnitRows(const Matrix3& m) {
    for (int i = 0; i < 3; ++i)
        if (std::fabs(m[i].LengthSquared() - 1.0f) > 1e-4f) return false;
    return true;
}

// q at unit length; a null quaternion stands for no rotation, as Quat::MakeMatrix reads it.
inline Quat Unitized(const Quat& q) {
    const float l2 = q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w;
    if (!(l2 > 0.0f)) return Quat();
    const float k = 1.0f / std::sqrt(l2);
    return Quat(q.x * k, q.y * k, q.z * k, q.w * k);
}

// OrthoQuat(m), with the lengths of m's rows into scale on the way: an FK value is a rotation
// with per-axis scale, whose rows are already perpendicular, so the rows divided by their
// lengths are the rotation.
inline Quat FKRotation(const Matrix3& m, Point3& scale) {
    const Point3 &a = m[0], &b = m[1], &c = m[2];
    const float la = a.LengthSquared(), lb = b.LengthSquared(), lc = c.LengthSquared();
    scale = Point3(std::sqrt(la), std::sqrt(lb), std::sqrt(lc));
    constexpr float kTol2 = 1e-10f;  // as OrthoQuat's test
    const float ab = a % b, bc = b % c, ca = c % a;
    if (!(la > 0.0f && lb > 0.0f && lc > 0.0f) || ab * ab > kTol2 * la * lb || bc * bc > kTol2 * lb * lc ||
        ca * ca > kTol2 * lc * la || !(Det3(m) > 0.0))
        return OrthoQuat(m);
    return QuatFromUnitRows(a * (1.0f / scale.x), b * (1.0f / scale.y), c * (1.0f / scale.z));
}

// Soft reach: past L - s the reached distance approaches L exponentially. True when it
// applies; softDist is the distance reached, k the stretch that auto stretch adds.
inline bool SoftReach(float softIK, float autoS, float L, float dist, float& k, float& softDist) {
    const float s = softIK * L;
    if (!(softIK > 0.0f) || !(dist > L - s)) return false;
    softDist = L - std::exp(-(dist - (L - s)) / s) * s;
    k = autoS > 0.0f ? (dist / softDist - 1.0f) * autoS + 1.0f : 1.0f;
    return true;
}

}  // namespace

Quat IKFKSolver::RotSpace(const IKFKSolveParams& p, const IKFKSolveInputs& in, const Matrix3& invBase) {
    if (!p.hasRotSpace) return Quat();
    return SlerpClosest(Quat(), OrthoQuat(in.rotSpaceTM * invBase), p.rotationSpace);
}

Quat IKFKSolver::SpaceRot(const IKFKSolveParams& p, const IKFKSolveInputs& in, const Matrix3& invBase) {
    if (p.parentSpace != 0) return Quat();
    return OrthoQuat(in.parentSpaceTM * invBase);
}

void IKFKSolver::Gather(int n, const IKFKSolveParams& p, const IKFKSolveInputs& in) {
    solvedCount_ = n;
    if (jointTMs.Count() != n) {
        for (Tab<Point3>* t : {&pos_, &scale_, &axis_, &chainPos_, &jointPos, &jointScale}) t->SetCount(n);
        for (Tab<Quat>* t : {&ik_, &rest_, &chainRot_, &fkRot, &jointRot}) t->SetCount(n);
        angle_.SetCount(n);
        prev_.SetCount(n);
        jointTMs.SetCount(n);
    }

    baseTM = in.baseTM;
    invBase = Inverse(in.baseTM);
    baseProper_ = Det3(in.baseTM) > 0.0;
    Point3* pos = pos_.begin();
    Point3* scale = scale_.begin();
    Quat* fk = fkRot.begin();
    const int numFK = in.fkTMs.Count();
    for (int i = 0; i < n; ++i) {
        if (i < numFK) {
            const Matrix3& m = in.fkTMs.begin()[i];
            pos[i] = m.GetTrans();
            fk[i] = FKRotation(m, scale[i]);
        } else {
            pos[i] = Point3();
            scale[i] = Point3(1.0f, 1.0f, 1.0f);
            fk[i] = Quat();
        }
    }
    // Scale is inherited per axis; manual stretch lengthens every bone.
    for (int i = 1; i < n; ++i) {
        pos[i] = pos[i] * scale[i - 1] * p.manualStretch;
        scale[i] = scale[i] * scale[i - 1];
    }
    stretchFactor = 1.0f;
    if (p.hasRotSpace && p.blend < 1.0f) {
        rotSpaceQuat = RotSpace(p, in, invBase);
        fk[0] = fk[0] * rotSpaceQuat;
    } else {
        rotSpaceQuat = Quat();
    }
    goalLocal = in.goalTM.GetTrans() * invBase;
}

void IKFKSolver::Solve(int numJoints, const IKFKSolveParams& p, const IKFKSolveInputs& in, IKFKSolveSource& src,
                       int skipJoint) {
    numJoints_ = numJoints;
    if (numJoints == 3)
        SolveThree(p, in, src, skipJoint);
    else if (numJoints > 3)
        SolveLong(p, in, src, skipJoint);
    else
        SolveTwo(p, in, src, skipJoint);
}

void IKFKSolver::SolveTwo(const IKFKSolveParams& p, const IKFKSolveInputs& in, IKFKSolveSource& src, int skip) {
    Gather(2, p, in);
    Point3* pos = pos_.begin();
    const float blend = p.blend;
    Quat rot0 = fkRot[0];
    Quat B, f0;
    const bool blending = blend > 0.0f && blend < 1.0f;
    if (blending) {
        B = OrthoQuat(baseTM);
        f0 = fkRot[0] * B;
    }
    if (blend > 0.0f && skip != 0) {
        if (p.autoStretch > 0.0f) {
            float L = pos[1].Length();
            float d = (goalLocal - pos[0]).Length();
            if (d > L) {
                float k = (SafeDivide(d, L, 0.001f) - 1.0f) * p.autoStretch * blend + 1.0f;
                pos[1] *= k;
                stretchFactor *= k;
            }
        }
        Quat R;
        if (p.hasTarget) {
            Point3 targetLocal = in.targetTM.GetTrans() * invBase;
            Quat A(FrameFromPoints(pos[0], goalLocal, targetLocal));
            R = RotX(src.FirstJointXAngle()) * A;
        } else {
            Quat pq = src.PreferredRotation(0) * SpaceRot(p, in, invBase);
            Quat A = QuatFromX(QUnrotate(goalLocal - pos[0], pq)) * pq;
            R = RotX(p.swivelAngle) * A;
        }
        rot0 = Inverse(QuatFromX(pos[1])) * R;
        if (blending) rot0 = SlerpClosest(f0, rot0 * B, blend) * Inverse(B);
    }
    Matrix3 J0 = RotTransMatrix(rot0, pos[0]) * baseTM;
    Quat rot1 = fkRot[1];
    if (p.lastJointIKRotation && blend > 0.0f && skip != 1) {
        rot1 = OrthoQuat(in.goalTM * Inverse(J0));
        if (blending) rot1 = SlerpClosest(fkRot[1] * f0 * Inverse(OrthoQuat(J0)), rot1, blend);
    }
    Matrix3 J1 = RotTransMatrix(rot1, pos[1]) * J0;
    jointRot[0] = rot0;
    jointRot[1] = rot1;
    J0.PreScale(scale_[0]);
    J1.PreScale(scale_[1]);
    jointTMs[0] = J0;
    jointTMs[1] = J1;
    jointPos[0] = pos[0];
    jointPos[1] = pos[1];
    jointScale[0] = scale_[0];
    jointScale[1] = scale_[1];
}

void IKFKSolver::SolveThree(const IKFKSolveParams& p, const IKFKSolveInputs& in, IKFKSolveSource& src, int skip) {
    Gather(3, p, in);
    Point3* pos = pos_.begin();
    const float blend = p.blend;
    Quat rot0 = fkRot[0], rot1 = fkRot[1];
    const bool blending = blend > 0.0f && blend < 1.0f;
    // The base rotation B multiplies every world rotation of the blend from the right, where
    // it changes no slerp, and the polar factor commutes with rotations: with proper (not
    // mirrored) base and goal frames it cancels, and the blend and the last joint are worked
    // out in base space. Mirrored frames take the world-space products literally.
    const bool proper = baseProper_ && Det3(in.goalTM) > 0.0;
    Quat B, f0, f1;
    if (blending) {
        if (!proper) B = OrthoQuat(baseTM);
        f0 = proper ? fkRot[0] : QMul(fkRot[0], B);
        f1 = QMul(fkRot[1], f0);
    }
    if (blend > 0.0f) {
        Point3 goal = goalLocal;
        const Point3 D = goal - pos[0];
        float dist = D.Length();
        float L1 = pos[1].Length(), L2 = pos[2].Length();
        float L = L1 + L2;
        const float autoS = blend * p.autoStretch;

        float k = 1.0f, softDist = dist;
        if (SoftReach(p.softIK, autoS, L, dist, k, softDist)) {
            if (autoS > 0.0f) {
                pos[1] *= k;
                pos[2] *= k;
                L1 *= k;
                L2 *= k;
                L = L1 + L2;
                stretchFactor *= k;
            }
            if (autoS < 1.0f) {
                Point3 softGoal = pos[0] + D.Normalize() * softDist;
                goal = softGoal + (goal - softGoal) * autoS;
                dist = softDist + (dist - softDist) * autoS;
            }
        }

        // The elbow in the solve plane: x along the goal line, y towards the bend.
        Point3 elbow(L1, 0.0f, 0.0f);
        if (L > dist) {
            if (L2 - L1 > dist) {
                elbow.x = -L1;
            } else if (!(L1 - L2 > dist)) {
                elbow.x = SafeDivide(L1 * L1 - L2 * L2 + dist * dist, 2.0f * dist, 0.001f);
                elbow.y = std::sqrt(L1 * L1 - elbow.x * elbow.x);
            }
        } else if (autoS > 0.0f) {
            float ks = (SafeDivide(dist, L, 0.001f) - 1.0f) * autoS + 1.0f;
            pos[1] *= ks;
            pos[2] *= ks;
            stretchFactor *= ks;
        }

        Matrix3 M;
        if (p.hasTarget) {
            Point3 targetLocal = in.targetTM.GetTrans() * invBase;
            M = FrameFromPoints(pos[0], goal, targetLocal);
        } else {
            // The first joint's preferred rotation is the swivel's zero; the swivel turns
            // the plane about the line from the first joint to the goal.
            Quat pq = QMul(src.PreferredRotation(0), SpaceRot(p, in, invBase));
            Point3 d = QUnrotate(D, pq);
            M = RotTransMatrix(QMul(QMul(RotX(p.swivelAngle), QuatFromX(d)), pq), pos[0]);
        }

        const Quat r1 = src.PreferredRotation(1);
        Point3 P1 = elbow * M;
        Point3 w = QRotate(pos[2], r1);
        w.y = -w.y;
        // Mirroring the preferred bend gives the plane in which the bone leaves the first joint.
        Matrix3 T0 = FrameFromVectors(pos[1], w) * M;
        Point3 e;
        Quat qT0;
        if (UnitRows(T0)) {
            // Both frames are rotations: the inverse is the transpose.
            const Point3 v = P1 - T0.GetTrans();
            e = Point3(v % T0[0], v % T0[1], v % T0[2]);
            qT0 = QuatFromRows(T0);
        } else {
            e = P1 * Inverse(T0);
            qT0 = Quat(T0);
        }
        Quat Q0 = QMul(QuatArc(pos[1], e), qT0);
        Point3 g = QUnrotate(goal - P1, QMul(r1, Q0));
        Quat Q1 = QMul(QuatArc(pos[2], g), r1);

        if (blending) {
            // World rotations are blended, so a half blend keeps the hand between the two
            // poses instead of folding the elbow.
            const Quat w0 = proper ? Q0 : QMul(Q0, B);
            Quat s0 = SlerpClosest(f0, w0, blend);
            Quat s1 = SlerpClosest(f1, QMul(Q1, w0), blend);
            Q0 = proper ? s0 : QMul(s0, Inverse(B));
            Q1 = QMul(s1, Conjugate(s0));
        }
        if (skip != 0) rot0 = Q0;
        if (skip != 1) rot1 = Q1;
    }

    Matrix3 J0 = RotTransMatrix(rot0, pos[0]) * baseTM;
    Matrix3 J1 = RotTransMatrix(rot1, pos[1]) * J0;
    Quat rot2 = fkRot[2];
    if (p.lastJointIKRotation && blend > 0.0f && skip != 2) {
        if (proper) {
            // J1's rotation in base space, as its matrix reads it (any length of quaternion).
            const Quat c1 = Unitized(QMul(rot1, rot0));
            rot2 = QMul(OrthoQuat(in.goalTM * invBase), Conjugate(c1));
            if (blending) rot2 = SlerpClosest(QMul(QMul(fkRot[2], f1), Conjugate(c1)), rot2, blend);
        } else {
            rot2 = OrthoQuat(in.goalTM * Inverse(J1));
            if (blending) rot2 = SlerpClosest(QMul(QMul(fkRot[2], f1), Inverse(OrthoQuat(J1))), rot2, blend);
        }
    }
    Matrix3 J2 = RotTransMatrix(rot2, pos[2]) * J1;
    J0.PreScale(scale_[0]);
    J1.PreScale(scale_[1]);
    J2.PreScale(scale_[2]);
    jointTMs[0] = J0;
    jointTMs[1] = J1;
    jointTMs[2] = J2;
    jointRot[0] = rot0;
    jointRot[1] = rot1;
    jointRot[2] = rot2;
    for (int i = 0; i < 3; ++i) {
        jointPos[i] = pos[i];
        jointScale[i] = scale_[i];
    }
}

void IKFKSolver::ForwardPass(int n) {
    const Point3* pos = pos_.begin();
    const Quat* ik = ik_.begin();
    Point3* cp = chainPos_.begin();
    Quat* cr = chainRot_.begin();
    cp[0] = pos[0];
    cr[0] = ik[0];
    for (int i = 1; i < n; ++i) {
        cp[i] = cp[i - 1] + QRotate(pos[i], cr[i - 1]);
        cr[i] = ChainRot(ik[i], cr[i - 1]);
    }
}

float IKFKSolver::SpanDistance(int n) const {
    // The first joint turns the whole chain about its own place, which leaves the distance
    // alone: measured in its frame, and the last joint's rotation moves no position.
    const Point3* pos = pos_.begin();
    const Quat* ik = ik_.begin();
    Point3 end = pos[1];
    Quat r = ik[1];
    for (int i = 2; i < n; ++i) {
        end += QRotate(pos[i], r);
        if (i == n - 1) break;
        r = ChainRot(ik[i], r);
    }
    return end.Length();
}

void IKFKSolver::RebuildInterior(int n, const float* angles) {
    Quat* ik = ik_.begin();
    const Quat* rest = rest_.begin();
    const Point3* axis = axis_.begin();
    for (int j = 1; j < n - 1; ++j) ik[j] = QMul(rest[j], AxisAngle(axis[j], angles[j]));
}

void IKFKSolver::SolveLong(const IKFKSolveParams& p, const IKFKSolveInputs& in, IKFKSolveSource& src, int skip) {
    Gather(numJoints_, p, in);
    const int N = numJoints_;
    Point3* pos = pos_.begin();
    Quat* ik = ik_.begin();
    Quat* fk = fkRot.begin();
    Point3* cp = chainPos_.begin();
    Quat* cr = chainRot_.begin();
    float* angle = angle_.begin();
    float* prev = prev_.begin();
    const float blend = p.blend;

    for (int i = 0; i < N; ++i) ik[i] = blend > 0.0f ? src.PreferredRotation(i) : fk[i];
    ForwardPass(N);

    if (blend > 0.0f) {
        const Point3 start = cp[0];
        Point3 goal = goalLocal;
        const Point3 goalVec = goal - start;
        float goalDist = goalVec.Length();
        const float autoS = blend * p.autoStretch;
        float L = 0.0f;
        for (int i = 1; i < N; ++i) L += pos[i].Length();

        float k = 1.0f, softDist = goalDist;
        if (SoftReach(p.softIK, autoS, L, goalDist, k, softDist)) {
            if (autoS > 0.0f) {
                for (int i = 1; i < N; ++i) pos[i] *= k;
                L *= k;
                stretchFactor *= k;
            }
            if (autoS < 1.0f) {
                goalDist = softDist + (goalDist - softDist) * autoS;
                goal = start + goalVec.Normalize() * goalDist;
            }
        }

        Point3 targetLocal;
        if (p.hasTarget) {
            targetLocal = in.targetTM.GetTrans() * invBase;
            // The first joint relative to the line to the chain's end, bend towards joint 1.
            ik[0] = ik[0] * Inverse(Quat(FrameFromPoints(start, cp[N - 1], cp[1])));
        } else {
            ik[0] = ik[0] * SpaceRot(p, in, invBase);
        }

        // Each interior joint bends about its own axis; the family of bends is opened or
        // closed together until the chain spans the goal distance.
        Point3* axis = axis_.begin();
        Quat* rest = rest_.begin();
        int best = 1;
        for (int j = 1; j < N - 1; ++j) {
            Point3 a = pos[j];
            Point3 b = QRotate(pos[j + 1], ik[j]);
            axis[j] = (b ^ a).Normalize();
            float ang = AngleBetween(a, b);
            rest[j] = QMul(ik[j], Inverse(AxisAngle(axis[j], ang)));
            ang += (1.0f - 2.0f * float(j - 1) / float(N - 3)) * p.flexionBias;
            angle[j] = std::clamp(ang, -kMaxBend, kMaxBend);
            if (angle[j] > angle[best]) best = j;
        }
        RebuildInterior(N, angle);
        float curDist = SpanDistance(N);
        float prevDist = curDist;
        bool opening = goalDist > curDist;
        bool closing = !opening;

        for (int it = 0; it < p.iterations; ++it) {
            const bool wasClosing = closing;
            if (opening) {
                // Fully open: further rounds would change nothing.
                bool allOpen = true;
                for (int j = 1; j < N - 1; ++j) allOpen = allOpen && angle[j] == 0.0f;
                if (allOpen) break;
                std::copy(angle + 1, angle + N - 1, prev + 1);
                float f = angle[best] > kStep ? kStep / angle[best] : 1.0f;
                for (int j = 1; j < N - 1; ++j) angle[j] -= f * angle[j];
            } else if (closing) {
                bool allClosed = true;
                for (int j = 1; j < N - 1; ++j) allClosed = allClosed && angle[j] >= kPi;
                if (allClosed) break;
                std::copy(angle + 1, angle + N - 1, prev + 1);
                for (int j = 1; j < N - 1; ++j) angle[j] = std::min(angle[j] + kStep, kPi);
            } else {
                if (std::fabs(curDist - prevDist) < 0.00001f) break;
                // Secant step between the last two shapes.
                float r = (goalDist - prevDist) / (curDist - prevDist);
                for (int j = 1; j < N - 1; ++j) {
                    float old = prev[j];
                    prev[j] = angle[j];
                    angle[j] = old + (angle[j] - old) * r;
                }
            }
            RebuildInterior(N, angle);
            prevDist = curDist;
            curDist = SpanDistance(N);
            if (opening && curDist > goalDist) opening = false;
            if (closing && goalDist > curDist) closing = false;
            if (wasClosing && curDist > prevDist) {
                // Bending no longer shortens the chain: keep the last shape that did.
                RebuildInterior(N, prev);
                break;
            }
        }
        ForwardPass(N);

        // Turn the whole chain so that its end lies on the goal line.
        const Point3 endVec = cp[N - 1] - start;
        if (p.hasTarget)
            ik[0] = ik[0] * Inverse(QuatFromX(endVec)) * Quat(FrameFromVectors(goalVec, targetLocal - start));
        else
            ik[0] = ik[0] * Inverse(QuatFromX(endVec)) * RotX(p.swivelAngle) * QuatFromX(goalVec);

        if (autoS > 0.0f && goalDist > L) {
            float ks = (SafeDivide(goalDist, L, 0.001f) - 1.0f) * autoS + 1.0f;
            stretchFactor *= ks;
            for (int i = 1; i < N; ++i) pos[i] *= ks;
        }

        const bool blending = blend < 1.0f;
        Quat fkBase;  // FK rotation of the joint before the last, base space
        if (blending) {
            // As in the three-joint solve, B cancels unless the base is mirrored.
            const Quat B = baseProper_ ? Quat() : OrthoQuat(baseTM);
            Quat fw = baseProper_ ? fk[0] : QMul(fk[0], B);
            Quat iw = baseProper_ ? ik[0] : QMul(ik[0], B);
            Quat bwPrev = SlerpClosest(fw, iw, blend);
            ik[0] = baseProper_ ? bwPrev : QMul(bwPrev, Inverse(B));
            for (int i = 1; i < N; ++i) {
                fw = QMul(fk[i], fw);
                iw = QMul(ik[i], iw);
                Quat bw = SlerpClosest(fw, iw, blend);
                ik[i] = QMul(bw, Conjugate(bwPrev));
                bwPrev = bw;
            }
            fkBase = fk[0];
            for (int i = 1; i < N; ++i) fkBase = QMul(fk[i], fkBase);
        }

        ForwardPass(N);
        if (p.lastJointIKRotation) {
            Quat q = OrthoQuat(in.goalTM * invBase * InverseRigid(cr[N - 2], cp[N - 2]));
            if (blending) q = SlerpClosest(fkBase * Inverse(cr[N - 2]), q, blend);
            ik[N - 1] = q;
            cr[N - 1] = q * cr[N - 2];
        }
    }

    if (skip >= 0 && skip < N) {
        ik[skip] = fk[skip];
        ForwardPass(N);
    }

    for (int i = 0; i < N; ++i) {
        jointRot[i] = ik[i];
        Matrix3 m = RotTransMatrix(cr[i], cp[i]) * baseTM;
        m.PreScale(scale_[i]);
        jointTMs[i] = m;
        jointPos[i] = pos[i];
        jointScale[i] = scale_[i];
    }
}

Matrix3 IKFKSolver::MatchGoalTM(const IKFKSolveParams& p) const {
    const int n = jointTMs.Count();
    if (n == 0) return Matrix3();
    Matrix3 endTM = jointTMs[n - 1];
    // The two-joint solve has no soft reach to undo.
    if (solvedCount_ < 3 || !(p.softIK > 0.0f) || !(p.autoStretch < 1.0f)) return endTM;
    // Distances in base space, where the solve measures them; the length summed from the
    // joints' offsets exactly as the solve sums it, so that repeated matches do not creep.
    const Point3 start = jointTMs[0].GetTrans() * invBase;
    const Point3 end = jointTMs[n - 1].GetTrans() * invBase;
    float Ls = 0.0f;
    for (int i = 1; i < n; ++i) Ls += jointPos[i].Length();
    const float s = p.softIK * Ls;
    const float dist = (end - start).Length();
    if (dist > Ls - s && dist > 0.0f) {
        float x = std::max(0.0001f, (Ls - dist) / s);
        float wanted = (Ls - s) - s * std::log(x);
        float ratio = (wanted / dist) * (1.0f - p.autoStretch) + p.autoStretch;
        endTM.SetTrans((start + (end - start) * ratio) * baseTM);
    }
    return endTM;
}

Point3 IKFKSolver::MatchTargetPos(const IKFKSolveParams& p, IKFKSolveSource& src) const {
    const int n = jointTMs.Count();
    if (n == 0) return Point3();
    float L = 0.0f;
    for (int i = 1; i < n; ++i) L += jointPos[i].Length();
    Matrix3 F;
    if (solvedCount_ < 3) {
        Quat q = Inverse(RotX(src.FirstJointXAngle())) * QuatFromX(jointPos[1]) * jointRot[0];
        F = RotMatrix(q) * baseTM;
        F.SetTrans(jointTMs[numJoints_ >= 2 ? 1 : 0].GetTrans());
    } else {
        const Point3 p0 = jointPos[0];
        const Point3 p1 = jointTMs[1].GetTrans() * invBase;
        const Point3 pe = jointTMs[n - 1].GetTrans() * invBase;
        if (AngleBetween(pe - p0, p1 - p0) >= kStraight) {
            F = FrameFromPoints(p0, pe, p1) * baseTM;
        } else {
            // Straight: the side of the bend comes from the preferred rotations.
            Quat wr = jointRot[0];
            Point3 c = p0;
            for (int i = 1; i < n; ++i) {
                c = c + QRotate(jointPos[i], wr);
                if (i < n - 1) wr = src.PreferredRotation(i) * wr;
            }
            F = FrameFromVectors(pe - p0, pe - c) * baseTM;
        }
        F.SetTrans(jointTMs[1].GetTrans());
    }
    return Point3(0.0f, p.targetDistPercent * L, 0.0f) * F;
}

float IKFKSolver::MatchSwivel(const IKFKSolveParams& p, const IKFKSolveInputs& in, IKFKSolveSource& src,
                              const Matrix3& goalTM) const {
    if (jointTMs.Count() == 0) return p.swivelAngle;
    Quat pq = src.PreferredRotation(0);
    if (p.parentSpace == 0) pq = pq * SpaceRot(p, in, invBase);
    const Point3 p0 = jointPos[0];
    const Point3 g = goalTM.GetTrans() * invBase;
    const Point3 d = QUnrotate(g - p0, pq);
    const Quat rot0 = jointRot[0];

    if (solvedCount_ < 3) return XAngle(QuatFromX(jointPos[1]) * rot0 * Inverse(QuatFromX(d) * pq));

    Quat X;  // the rotation the swivel is applied before, in the solve being inverted
    if (solvedCount_ == 3) {
        const Point3 e = jointTMs[1].GetTrans() * invBase;
        float bend = AngleBetween(e - p0, g - p0);
        X = QuatFromX(d) * pq;
        if (bend >= kStraight && bend <= kPi - kStraight) {
            Point3 v = QUnrotate(e - p0, X);
            return -std::atan2(-v.z, v.y);
        }
    } else {
        X = QuatFromX(g - p0);
    }
    // No usable elbow (three joints, straight) or a long chain: the swivel is the twist that
    // carries a zero-swivel solve's first joint onto the present one.
    IKFKSolver zero;
    IKFKSolveParams zp = p;
    zp.blend = 1.0f;
    zp.swivelAngle = 0.0f;
    zp.hasTarget = false;
    IKFKSolveInputs zi = in;
    zi.goalTM = goalTM;
    zero.Solve(numJoints_, zp, zi, src, -1);
    return XAngle(X * Inverse(zero.jointRot[0]) * rot0 * Inverse(X));
}

}  // namespace kt
