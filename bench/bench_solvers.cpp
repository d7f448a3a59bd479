// Limb solves as animators feel them: a three-joint arm with every option on, a six-joint
// chain, a joint answered from the chain's cache, and one frame of four limbs on a 60-node
// skeleton. The in-process reference is a bare two-bone IK (law of cosines, no blend, no
// stretch, no scene reads) on the same bone lengths; BM_ReferenceTwoBone reports its time and
// the others report their ratio to it.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cmath>
#include <string>
#include <vector>

#include "controllers/static_controllers.h"
#include "inode.h"
#include "maxapi.h"
#include "solvers/ikfk_chain.h"
#include "solvers/ikfk_control.h"
#include "solvers/ikfk_math.h"

using namespace kt;

namespace {

// ---- The reference: two bones from a root towards a goal, bent in the plane of a pole.
struct TwoBone {
    Matrix3 j0, j1;
};

TwoBone BareTwoBone(const Point3& root, const Point3& goal, const Point3& pole, float l1, float l2) {
    Point3 d = goal - root;
    float dist = std::min(d.Length(), l1 + l2 - 1e-4f);
    Point3 x = d.Normalize();
    Point3 z = (x ^ (pole - root)).Normalize();
    Point3 y = z ^ x;
    float ca = (l1 * l1 + dist * dist - l2 * l2) / (2.0f * l1 * dist);
    float a = std::acos(std::clamp(ca, -1.0f, 1.0f));
    Point3 b1 = x * std::cos(a) + y * std::sin(a);
    Point3 elbow = root + b1 * l1;
    Point3 b2 = (root + x * dist - elbow).Normalize();
    TwoBone r;
    r.j0 = Matrix3(b1, z ^ b1, z, root);
    r.j1 = Matrix3(b2, z ^ b2, z, elbow);
    return r;
}

double gReferenceNs = 0.0;

double MeasureReference() {
    if (gReferenceNs > 0.0) return gReferenceNs;
    const int n = 2000000;
    Point3 goal(14.0f, 6.0f, 1.0f);
    float acc = 0.0f;
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < n; ++i) {
        goal.z = 1.0f + float(i & 7) * 0.01f;
        TwoBone r = BareTwoBone(Point3(0, 0, 0), goal, Point3(5.0f, 15.0f, 0.0f), 12.0f, 10.0f);
        acc += r.j1.GetTrans().x;
        benchmark::DoNotOptimize(acc);
    }
    auto end = std::chrono::steady_clock::now();
    gReferenceNs = std::chrono::duration<double, std::nano>(end - start).count() / n;
    return gReferenceNs;
}

void ReportRatio(benchmark::State& state, double perIterNs) {
    state.counters["ref_ns"] = MeasureReference();
    state.counters["x_ref"] = perIterNs / MeasureReference();
}

// ---- A limb in the scene.
INode* MakeNode(const std::wstring& name, INode* parent, const Quat& rot, const Point3& pos) {
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, name.c_str());
    n->SetTMController(NewDefaultMatrix3Controller());
    if (parent) parent->AttachChild(n, 0);
    Control* c = n->GetTMController();
    Quat q = rot;
    Point3 p = pos;
    c->GetRotationController()->SetValue(0, &q, 1, CTRL_ABSOLUTE);
    c->GetPositionController()->SetValue(0, &p, 1, CTRL_ABSOLUTE);
    return n;
}

struct Limb {
    std::vector<INode*> joints;
    IKFKChain* chain = nullptr;
};

// n joints under `parent`, bones along X bent about Z; every option of the benchmark on.
Limb MakeLimb(const std::wstring& name, INode* parent, int n, bool target) {
    Limb l;
    INode* up = parent;
    for (int i = 0; i < n; ++i) {
        Quat bend = i == 0 ? Quat() : Quat(RotateZMatrix(0.3f));
        INode* j = MakeNode(name + L"Joint" + std::to_wstring(i), up, bend,
                            i == 0 ? Point3(1.0f, 2.0f, 0.0f) : Point3(12.0f - float(i), 0.0f, 0.0f));
        l.joints.push_back(j);
        up = j;
    }
    INode* goal = MakeNode(name + L"Goal", parent, Quat(), Point3(float(n) * 6.0f, 6.0f, 1.0f));
    INode* tgt = target ? MakeNode(name + L"Target", parent, Quat(), Point3(5.0f, 15.0f, 0.0f)) : nullptr;
    INode* chainNode = GetCOREInterface()->CreateObjectNode(nullptr, (name + L"IKFK").c_str());
    l.chain = new IKFKChain();
    chainNode->SetTMController(l.chain);
    IParamBlock2* pb = l.chain->pblock;
    for (INode* j : l.joints) pb->Append(IKFKChain::pb_joints, 1, &j);
    pb->SetValue(IKFKChain::pb_goal, 0, goal);
    if (tgt) pb->SetValue(IKFKChain::pb_target, 0, tgt);
    pb->SetValue(IKFKChain::pb_ikfk_blend, 0, 0.5f);
    pb->SetValue(IKFKChain::pb_soft_ik, 0, 0.2f);
    pb->SetValue(IKFKChain::pb_auto_stretch, 0, 1.0f);
    l.chain->FitNodes(chainNode);
    // Preferred rotations on keyed controllers.
    AnimateOn();
    for (int i = 0; i < n; ++i) {
        auto* c = static_cast<IKFKControl*>(l.joints[size_t(i)]->GetTMController());
        Control* pref = NewDefaultRotationController();
        c->SetPreferredRotation(pref);
        Quat a(RotateZMatrix(0.25f)), b(RotateZMatrix(0.45f));
        pref->SetValue(0, &a, 1, CTRL_ABSOLUTE);
        pref->SetValue(100 * GetTicksPerFrame(), &b, 1, CTRL_ABSOLUTE);
    }
    AnimateOff();
    return l;
}

void BM_ReferenceTwoBone(benchmark::State& state) {
    Point3 goal(14.0f, 6.0f, 1.0f);
    int i = 0;
    for (auto _ : state) {
        goal.z = 1.0f + float(++i & 7) * 0.01f;
        TwoBone r = BareTwoBone(Point3(0, 0, 0), goal, Point3(5.0f, 15.0f, 0.0f), 12.0f, 10.0f);
        benchmark::DoNotOptimize(r);
    }
    state.counters["ref_ns"] = MeasureReference();
}
BENCHMARK(BM_ReferenceTwoBone);

// A solve at a new time each round, reading every controller through the host.
void SolveAtNewTimes(benchmark::State& state, int joints, bool target) {
    host::ResetScene();
    INode* root = GetCOREInterface()->CreateObjectNode(nullptr, L"Root");
    Limb l = MakeLimb(L"L", root, joints, target);
    TimeValue t = 0;
    auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        t = (t + 1) % 16000;
        l.chain->Evaluate(t);
        benchmark::DoNotOptimize(l.chain->Solver().jointTMs[joints - 1]);
    }
    auto end = std::chrono::steady_clock::now();
    double ns = std::chrono::duration<double, std::nano>(end - start).count() / double(state.iterations());
    ReportRatio(state, ns);
    host::ResetScene();
}

void BM_ThreeJointSolve(benchmark::State& state) { SolveAtNewTimes(state, 3, true); }
BENCHMARK(BM_ThreeJointSolve);

void BM_SixJointSolve(benchmark::State& state) { SolveAtNewTimes(state, 6, false); }
BENCHMARK(BM_SixJointSolve);

void BM_JointFromCache(benchmark::State& state) {
    host::ResetScene();
    INode* root = GetCOREInterface()->CreateObjectNode(nullptr, L"Root");
    Limb l = MakeLimb(L"L", root, 3, true);
    Control* c = l.joints[1]->GetTMController();
    Matrix3 m;
    Interval iv = FOREVER;
    c->GetValue(0, &m, iv, CTRL_RELATIVE);
    auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        Interval v = FOREVER;
        c->GetValue(0, &m, v, CTRL_RELATIVE);
        benchmark::DoNotOptimize(m);
    }
    auto end = std::chrono::steady_clock::now();
    ReportRatio(state, std::chrono::duration<double, std::nano>(end - start).count() / double(state.iterations()));
    host::ResetScene();
}
BENCHMARK(BM_JointFromCache);

// Two arms and two legs (three joints each) on a 60-node skeleton; every node read at a new time.
void BM_FourLimbFrame(benchmark::State& state) {
    host::ResetScene();
    std::vector<INode*> all;
    INode* pelvis = MakeNode(L"Pelvis", nullptr, Quat(), Point3(0, 0, 100));
    all.push_back(pelvis);
    INode* up = pelvis;
    for (int i = 0; i < 6; ++i) {
        up = MakeNode(L"Spine" + std::to_wstring(i), up, Quat(RotateXMatrix(0.05f)), Point3(0, 0, 8));
        all.push_back(up);
    }
    INode* chest = up;
    std::vector<Limb> limbs;
    limbs.push_back(MakeLimb(L"ArmL", chest, 3, true));
    limbs.push_back(MakeLimb(L"ArmR", chest, 3, true));
    limbs.push_back(MakeLimb(L"LegL", pelvis, 3, true));
    limbs.push_back(MakeLimb(L"LegR", pelvis, 3, true));
    for (Limb& l : limbs)
        for (INode* j : l.joints) all.push_back(j);
    // Fingers, toes, head and helpers up to 60 nodes, hanging off the limbs' last joints.
    int k = 0;
    while (all.size() < 60) {
        INode* parent = limbs[size_t(k % 4)].joints.back();
        for (int d = 0; d < 3 && all.size() < 60; ++d) {
            parent = MakeNode(L"Extra" + std::to_wstring(all.size()), parent, Quat(RotateZMatrix(0.1f)),
                              Point3(2, 0, 0));
            all.push_back(parent);
        }
        ++k;
    }
    TimeValue t = 0;
    auto start = std::chrono::steady_clock::now();
    for (auto _ : state) {
        t = (t + 1) % 16000;
        for (INode* n : all) benchmark::DoNotOptimize(n->GetNodeTM(t));
    }
    auto end = std::chrono::steady_clock::now();
    state.counters["nodes"] = double(all.size());
    ReportRatio(state, std::chrono::duration<double, std::nano>(end - start).count() / double(state.iterations()));
    host::ResetScene();
}
BENCHMARK(BM_FourLimbFrame);

}  // namespace
