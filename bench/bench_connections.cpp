// FloatConnection evaluation: one connection remapping a keyed Bezier float by input and output
// ranges, and a chain of 100 connections each reading the previous one, read at a new time on
// every call (no cache can answer). Each benchmark times, in the same process, a reference: a
// plain read of the keyed Bezier float the connections read, and reports
// ratio = connection time / reference time.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <vector>

#include "controllers/float_connection.h"
#include "keyctrl.h"
#include "stdctrl.h"

#include "bench_support.h"

namespace {

using kt::bench::RefHolder;
using kt::bench::ThreadNs;

// A Position XYZ whose X track has 20 keys, one every 10 frames.
Control* KeyedXYZ() {
    auto* xyz = static_cast<Control*>(CreateInstance(CTRL_POSITION_CLASS_ID, IPOS_CONTROL_CLASS_ID));
    IKeyControl* kc = GetKeyControlInterface(static_cast<Control*>(xyz->SubAnim(0)));
    for (int i = 0; i < 20; ++i) {
        IBezFloatKey k;
        k.time = i * 1600;
        k.val = static_cast<float>((i * 37) % 11) - 5.0f;
        k.flags = SetOutTanType(SetInTanType(0, BEZKEY_AUTO), BEZKEY_AUTO);
        kc->AppendKey(&k);
    }
    return xyz;
}

// CPU ns per call of f over n calls at times 0, 7, 14, ... (thread CPU time: the machine is
// shared, and wall time would count other processes).
template <class F>
double TimePerCall(int n, F&& f) {
    const double start = ThreadNs();
    for (int i = 0; i < n; ++i) f(static_cast<TimeValue>(i * 7 % 30000));
    return (ThreadNs() - start) / n;
}

void Report(benchmark::State& state, double ns, double refNs);

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0.0 : v[v.size() / 2];
}

// Medians over the iterations, each iteration timing both in turn.
void Report(benchmark::State& state, const std::vector<double>& ns, const std::vector<double>& ref) {
    Report(state, Median(ns), Median(ref));
}

void Report(benchmark::State& state, double ns, double refNs) {
    state.counters["ns_per_read"] = ns;
    state.counters["ref_ns"] = refNs;
    state.counters["ratio"] = refNs > 0.0 ? ns / refNs : 0.0;
}

float Read(Control* c, TimeValue t) {
    float v = 0.0f;
    Interval iv = FOREVER;
    c->GetValue(t, &v, iv, CTRL_ABSOLUTE);
    return v;
}

void BM_FloatConnectionRangeRemap(benchmark::State& state) {
    RefHolder src(KeyedXYZ());
    auto* source = static_cast<Control*>(src.GetReference(0));
    Control* track = static_cast<Control*>(source->SubAnim(0));
    auto* c = new kt::FloatConnection();
    RefHolder keep(c);
    c->AssignTarget(source, 0, false);
    c->pblock->SetValue(kt::FloatConnection::pb_transform, 0, 2);
    c->pblock->SetValue(kt::FloatConnection::pb_clamp, 0, 1);
    c->pblock->SetValue(kt::FloatConnection::pb_input_min, 0, -5.0f);
    c->pblock->SetValue(kt::FloatConnection::pb_input_max, 0, 5.0f);
    c->pblock->SetValue(kt::FloatConnection::pb_output_max, 0, 1.0f);
    constexpr int kReads = 200000;
    float sink = 0.0f;
    std::vector<double> ns, ref;
    for (auto _ : state) {
        ref.push_back(TimePerCall(kReads, [&](TimeValue t) { sink += Read(track, t); }));
        ns.push_back(TimePerCall(kReads, [&](TimeValue t) { sink += Read(c, t); }));
        benchmark::DoNotOptimize(sink);
    }
    Report(state, ns, ref);
}
BENCHMARK(BM_FloatConnectionRangeRemap)->Iterations(9);

void BM_FloatConnectionChain100(benchmark::State& state) {
    constexpr int kLinks = 100;
    std::vector<std::unique_ptr<RefHolder>> holders;
    holders.push_back(std::make_unique<RefHolder>(KeyedXYZ()));
    Control* first = static_cast<Control*>(holders[0]->GetReference(0));
    Control* track = static_cast<Control*>(first->SubAnim(0));
    kt::FloatConnection* last = nullptr;
    for (int i = 1; i <= kLinks; ++i) {
        auto* xyz = static_cast<Control*>(CreateInstance(CTRL_POSITION_CLASS_ID, IPOS_CONTROL_CLASS_ID));
        holders.push_back(std::make_unique<RefHolder>(xyz));
        auto* c = new kt::FloatConnection();
        xyz->AssignController(c, 0);
        c->AssignTarget(static_cast<Control*>(holders[static_cast<size_t>(i - 1)]->GetReference(0)), 0, false);
        c->pblock->SetValue(kt::FloatConnection::pb_transform, 0, 1);
        c->pblock->SetValue(kt::FloatConnection::pb_offset, 0, 0.01f);
        last = c;
    }
    constexpr int kReads = 5000;
    float sink = 0.0f;
    std::vector<double> ns, ref;
    for (auto _ : state) {
        ref.push_back(TimePerCall(kReads * 20, [&](TimeValue t) { sink += Read(track, t); }));
        ns.push_back(TimePerCall(kReads, [&](TimeValue t) { sink += Read(last, t); }));
        benchmark::DoNotOptimize(sink);
    }
    Report(state, ns, ref);
}
BENCHMARK(BM_FloatConnectionChain100)->Iterations(9);

}  // namespace
