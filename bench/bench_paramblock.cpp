// Parameter block reads and published calls. Every benchmark also times a reference in the
// same process and reports the ratio (block time / reference time):
//   - a float read through IParamBlock2::GetValue of an animatable parameter without keys
//     (a constant, and under a keyless default controller) against reading a float member
//     through a virtual call;
//   - FPInterface::Invoke of a two-int function against the same call made virtually.
#include <benchmark/benchmark.h>

#include <ctime>

#include "ifnpub.h"
#include "iparamb2.h"

#include "bench_support.h"

namespace {

enum : ParamID { pb_weight = 7, pb_count = 2 };

ParamBlockDesc2& Desc() {
    static ParamBlockDesc2 d(0, _T("params"), 0, nullptr, 0,
        pb_count, _T("count"), TYPE_INT, 0, 0, p_default, 3, p_end,
        pb_weight, _T("weight"), TYPE_FLOAT, P_ANIMATABLE, 0, p_default, 0.5f, p_end,
        p_end);
    return d;
}

using kt::bench::NsPerCall;
using kt::bench::RefHolder;
using kt::bench::SetRatio;
using kt::bench::ThreadNs;

// The reference read: a float member behind a virtual call the compiler cannot see through.
struct FloatSource {
    virtual ~FloatSource() = default;
    virtual float Get(TimeValue t) const = 0;
    virtual int Add(int a, int b) const = 0;
};
// Out of line, so that speculative devirtualisation cannot turn the reference into an inlined
// load: the reference pays for one real indirect call, as GetValue does.
struct Member : FloatSource {
    float v = 0.5f;
    [[gnu::noinline]] float Get(TimeValue) const override { return v; }
    [[gnu::noinline]] int Add(int a, int b) const override { return a + b; }
};
Member g_member;
FloatSource* volatile g_source = &g_member;

double VirtualReadNs(size_t n) {
    FloatSource* src = g_source;
    return NsPerCall(n, [&](size_t k) { benchmark::DoNotOptimize(src->Get(TimeValue(k & 1023))); });
}

// Reads `weight` at a new time on every iteration, against a plain virtual read.
void TimeWeightRead(benchmark::State& state, bool withController) {
    RefHolder h;
    IParamBlock2* pb = CreateParameterBlock2(&Desc(), &h);
    h.ReplaceReference(0, pb);
    if (withController) pb->SetController(pb_weight, 0, NewDefaultFloatController());
    size_t k = 0;
    const double start = ThreadNs();
    for (auto _ : state) {
        float f;
        Interval iv = FOREVER;
        pb->GetValue(pb_weight, TimeValue(k++ & 1023), f, iv);
        benchmark::DoNotOptimize(f);
        benchmark::DoNotOptimize(iv);
    }
    const double stop = ThreadNs();
    SetRatio(state, start, stop, VirtualReadNs(size_t(state.iterations())));
}

void BM_GetValueFloatConstant(benchmark::State& state) { TimeWeightRead(state, false); }
BENCHMARK(BM_GetValueFloatConstant);

void BM_GetValueFloatKeylessController(benchmark::State& state) { TimeWeightRead(state, true); }
BENCHMARK(BM_GetValueFloatKeylessController);

// The published form of FloatSource::Add.
class Adder : public FPStaticInterface {
public:
    DECLARE_DESCRIPTOR(Adder)
    int Add(int a, int b) { return a + b; }
    BEGIN_FUNCTION_MAP
        FN_2(0, TYPE_INT, Add, TYPE_INT, TYPE_INT)
    END_FUNCTION_MAP
};

void BM_InvokeTwoInts(benchmark::State& state) {
    static Adder adder(Interface_ID(0xBE4C0102, 1), _T("benchAdder"), 0, nullptr, 0,
                       0, _T("add"), 0, TYPE_INT, 0, 2, _T("a"), 0, TYPE_INT, _T("b"), 0, TYPE_INT,
                       p_end);
    FPParams p(2, TYPE_INT, 2, TYPE_INT, 3);
    FPValue r;
    FPInterface* fi = &adder;
    size_t k = 0;
    const double start = ThreadNs();
    for (auto _ : state) {
        p.params[0].i = int(k++ & 1023);
        fi->Invoke(0, r, &p);
        benchmark::DoNotOptimize(r.i);
    }
    const double stop = ThreadNs();
    FloatSource* src = g_source;
    const double ref = NsPerCall(size_t(state.iterations()), [&](size_t n) {
        benchmark::DoNotOptimize(src->Add(int(n & 1023), 3));
    });
    SetRatio(state, start, stop, ref);
}
BENCHMARK(BM_InvokeTwoInts);

}  // namespace
