// World transforms of a 300-node hierarchy, cached and re-evaluated, and the cost of putting
// a restore object in the hold. Each figure carries a ratio against a plain loop over the same
// data measured in the same process: matrix multiplies down the same hierarchy for GetNodeTM,
// std::vector::push_back of the same pointers for theHold.Put.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <vector>

#include "control.h"
#include "hold.h"
#include "inode.h"
#include "maxapi.h"

namespace {

constexpr int kChains = 30;
constexpr int kChainLength = 10;
constexpr int kNodes = kChains * kChainLength;

// A local transform, constant or sliding with time (then valid only at the instant asked).
class LocalTM : public Control {
public:
    Matrix3 local;
    bool animated = false;
    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x5C3E7E52, 1); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod) override {
        auto* m = static_cast<Matrix3*>(val);
        if (animated) {
            Matrix3 l = local;
            l.SetTrans(l.GetTrans() + Point3(0.001f * static_cast<float>(t), 0.0f, 0.0f));
            *m = l * *m;
            valid &= Interval(t, t);
        } else {
            *m = local * *m;
        }
    }
    void SetValue(TimeValue, void*, int, GetSetMethod) override {}
};

struct Rig {
    std::vector<INode*> nodes;  // parents before children
    std::vector<LocalTM*> ctrls;
    std::vector<int> parent;    // index into nodes, -1 for the root
};

Rig BuildRig(bool animated) {
    host::ResetScene();
    Rig rig;
    Interface* ip = GetCOREInterface();
    for (int c = 0; c < kChains; ++c) {
        INode* prev = nullptr;
        for (int j = 0; j < kChainLength; ++j) {
            INode* n = ip->CreateObjectNode(nullptr, L"Joint");
            auto* ctrl = new LocalTM();
            ctrl->local = RotateZMatrix(0.05f * static_cast<float>(j + 1)) * RotateXMatrix(0.02f * static_cast<float>(c));
            ctrl->local.SetTrans(Point3(1.0f, 0.1f * static_cast<float>(c), 0.0f));
            ctrl->animated = animated;
            n->SetTMController(ctrl);
            if (prev) prev->AttachChild(n, 0);
            rig.parent.push_back(prev ? static_cast<int>(rig.nodes.size()) - 1 : -1);
            rig.nodes.push_back(n);
            rig.ctrls.push_back(ctrl);
            prev = n;
        }
    }
    return rig;
}

// Thread CPU time: the machine is shared, so wall time would count other processes' work.
struct Clock {
    using duration = std::chrono::nanoseconds;
    using time_point = std::chrono::time_point<Clock, duration>;
    static time_point now() {
        timespec ts{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
        return time_point(duration(static_cast<long long>(ts.tv_sec) * 1000000000LL + ts.tv_nsec));
    }
};

// The same hierarchy as plain matrices: world[i] = local[i] * world[parent[i]].
double RawNsPerNode(const Rig& rig) {
    std::vector<Matrix3> local, world(rig.nodes.size());
    for (LocalTM* c : rig.ctrls) local.push_back(c->local);
    double best = 1e30;
    for (int rep = 0; rep < 20; ++rep) {
        auto t0 = Clock::now();
        constexpr int kPasses = 200;
        for (int pass = 0; pass < kPasses; ++pass) {
            for (size_t i = 0; i < local.size(); ++i) {
                world[i] = rig.parent[i] < 0 ? local[i] : local[i] * world[static_cast<size_t>(rig.parent[i])];
            }
            benchmark::DoNotOptimize(world.data());
            benchmark::ClobberMemory();
        }
        auto t1 = Clock::now();
        best = std::min(best, std::chrono::duration<double, std::nano>(t1 - t0).count() / (kPasses * local.size()));
    }
    return best;
}

void ReportPerNode(benchmark::State& state, Clock::duration spent, int nodesPerIteration, double rawNs) {
    const double ns = std::chrono::duration<double, std::nano>(spent).count() /
                      (static_cast<double>(state.iterations()) * nodesPerIteration);
    state.SetItemsProcessed(state.iterations() * nodesPerIteration);
    state.counters["ns_per_node"] = ns;
    state.counters["raw_mul_ns"] = rawNs;
    state.counters["vs_raw"] = ns / rawNs;
}

void BM_GetNodeTM_Cached(benchmark::State& state) {
    Rig rig = BuildRig(false);
    for (INode* n : rig.nodes) n->GetNodeTM(0);
    TimeValue t = 0;
    const auto start = Clock::now();
    for (auto _ : state) {
        for (INode* n : rig.nodes) {
            Matrix3 m = n->GetNodeTM(t);
            benchmark::DoNotOptimize(m);
        }
        ++t;  // another time, still inside FOREVER: answered from the cache
    }
    ReportPerNode(state, Clock::now() - start, kNodes, RawNsPerNode(rig));
    host::ResetScene();
}
BENCHMARK(BM_GetNodeTM_Cached);

void BM_GetNodeTM_AfterTimeChange(benchmark::State& state) {
    Rig rig = BuildRig(true);
    TimeValue t = 0;
    const auto start = Clock::now();
    for (auto _ : state) {
        ++t;  // every cache is valid only at the previous instant
        for (INode* n : rig.nodes) {
            Matrix3 m = n->GetNodeTM(t);
            benchmark::DoNotOptimize(m);
        }
    }
    ReportPerNode(state, Clock::now() - start, kNodes, RawNsPerNode(rig));
    host::ResetScene();
}
BENCHMARK(BM_GetNodeTM_AfterTimeChange);

// The leaves only, after a time change: each walks up its chain once.
void BM_GetNodeTM_LeavesAfterTimeChange(benchmark::State& state) {
    Rig rig = BuildRig(true);
    std::vector<INode*> leaves;
    for (size_t i = 0; i < rig.nodes.size(); ++i)
        if (i % kChainLength == kChainLength - 1) leaves.push_back(rig.nodes[i]);
    TimeValue t = 0;
    const auto start = Clock::now();
    for (auto _ : state) {
        ++t;
        for (INode* n : leaves) {
            Matrix3 m = n->GetNodeTM(t);
            benchmark::DoNotOptimize(m);
        }
    }
    // Per node of the hierarchy: the leaves' walks evaluate all 300 once.
    ReportPerNode(state, Clock::now() - start, kNodes, RawNsPerNode(rig));
    host::ResetScene();
}
BENCHMARK(BM_GetNodeTM_LeavesAfterTimeChange);

class SmallRestore : public RestoreObj {
public:
    void Restore(int) override {}
    void Redo() override {}
};

constexpr int kBatch = 1024;

// The reference: the same pointers pushed into a fresh std::vector, best of several batches.
double PushBackNsPerItem() {
    std::vector<RestoreObj*> objs(kBatch);
    for (auto& o : objs) o = new SmallRestore();
    double best = 1e30;
    for (int rep = 0; rep < 200; ++rep) {
        std::vector<RestoreObj*> v;
        const auto t0 = Clock::now();
        for (RestoreObj* o : objs) v.push_back(o);
        benchmark::DoNotOptimize(v.data());
        benchmark::ClobberMemory();
        best = std::min(best, std::chrono::duration<double, std::nano>(Clock::now() - t0).count() / kBatch);
    }
    for (RestoreObj* o : objs) delete o;
    return best;
}

void BM_HoldPut(benchmark::State& state) {
    host::ResetScene();
    std::vector<RestoreObj*> objs(kBatch);
    Clock::duration spent{};
    for (auto _ : state) {
        state.PauseTiming();
        for (auto& o : objs) o = new SmallRestore();
        theHold.Begin();
        state.ResumeTiming();
        const auto t0 = Clock::now();
        for (RestoreObj* o : objs) theHold.Put(o);
        spent += Clock::now() - t0;
        state.PauseTiming();
        theHold.Accept(L"Bench");
        theHold.Reset();
        state.ResumeTiming();
    }
    const double ns = std::chrono::duration<double, std::nano>(spent).count() /
                      (static_cast<double>(state.iterations()) * kBatch);
    const double ref = PushBackNsPerItem();
    state.SetItemsProcessed(state.iterations() * kBatch);
    state.counters["ns_per_put"] = ns;
    state.counters["push_back_ns"] = ref;
    state.counters["vs_push_back"] = ns / ref;
}
BENCHMARK(BM_HoldPut);

}  // namespace
