// Script interpreter speed: an arithmetic loop of a million passes (target under 0.5 s) and a
// property read over 10,000 nodes (target under 50 ms), each with the same work in plain C++ as
// the reference ("x_native" is script time over native time).
#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include "inode.h"
#include "maxapi.h"
#include "script/interpreter.h"

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point a, Clock::time_point b) { return std::chrono::duration<double>(b - a).count(); }

const char* kArithmetic =
    "(\n"
    "  local s = 0\n"
    "  for i = 1 to 1000000 do s = s + i * 2 - 1\n"
    "  s\n"
    ")";

// The same loop with the script's 32-bit wrap-around.
int32_t NativeArithmetic() {
    uint32_t s = 0;
    for (uint32_t i = 1; i <= 1000000; ++i) {
        benchmark::DoNotOptimize(i);
        s = s + i * 2 - 1;
    }
    return static_cast<int32_t>(s);
}

void BM_ScriptArithmeticLoop(benchmark::State& state) {
    host::script::Interpreter in(true);
    double script = 0, native = 0;
    int runs = 0;
    for (auto _ : state) {
        auto a = Clock::now();
        auto r = in.Run(kArithmetic);
        auto b = Clock::now();
        int32_t n = NativeArithmetic();
        auto c = Clock::now();
        if (!r.ok || r.value.RawInt() != n) state.SkipWithError("script and native results differ");
        benchmark::DoNotOptimize(n);
        script += Seconds(a, b);
        native += Seconds(b, c);
        ++runs;
    }
    state.counters["script_s"] = script / runs;
    state.counters["x_native"] = native > 0 ? script / native : 0;
}
BENCHMARK(BM_ScriptArithmeticLoop)->Unit(benchmark::kMillisecond)->Iterations(5);

class Nodes {
public:
    explicit Nodes(int n) {
        host::ResetScene();
        for (int i = 0; i < n; ++i) nodes_.push_back(GetCOREInterface()->CreateObjectNode(nullptr, L"Node"));
        for (size_t i = 0; i < nodes_.size(); ++i) {
            Matrix3 m;
            m.SetTrans(Point3(float(i), 0.f, 1.f));
            nodes_[i]->SetNodeTM(0, m);
        }
    }
    ~Nodes() { host::ResetScene(); }
    const std::vector<INode*>& All() const { return nodes_; }

private:
    std::vector<INode*> nodes_;
};

void BM_ScriptNodePropertyRead(benchmark::State& state) {
    Nodes nodes(10000);
    host::script::Interpreter in(true);
    const char* text =
        "(\n"
        "  local sum = 0.0\n"
        "  for n in objects do sum += n.pos.x\n"
        "  sum\n"
        ")";
    double script = 0, native = 0;
    int runs = 0;
    for (auto _ : state) {
        auto a = Clock::now();
        auto r = in.Run(text);
        auto b = Clock::now();
        float sum = 0;
        for (INode* n : nodes.All()) sum += n->GetNodeTM(0).GetTrans().x;
        auto c = Clock::now();
        if (!r.ok || r.value.RawFloat() != sum) state.SkipWithError("script and native sums differ");
        script += Seconds(a, b);
        native += Seconds(b, c);
        ++runs;
    }
    state.counters["script_s"] = script / runs;
    state.counters["x_native"] = native > 0 ? script / native : 0;
}
BENCHMARK(BM_ScriptNodePropertyRead)->Unit(benchmark::kMillisecond)->Iterations(10);

// Calls of a user function: the frame and argument path.
void BM_ScriptFunctionCalls(benchmark::State& state) {
    host::script::Interpreter in(true);
    in.Run("fn add a b = a + b");
    for (auto _ : state) {
        auto r = in.Run("(local s = 0; for i = 1 to 100000 do s = add s i; s)");
        benchmark::DoNotOptimize(r.value);
    }
    state.SetItemsProcessed(state.iterations() * 100000);
}
BENCHMARK(BM_ScriptFunctionCalls)->Unit(benchmark::kMillisecond);

}  // namespace
