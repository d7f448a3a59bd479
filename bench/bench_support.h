// Shared pieces of the benchmarks.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <ctime>

#include "ref.h"

namespace kt::bench {

// Keeps one target alive the way a node or an owner does: a single reference, released on
// destruction.
class RefHolder : public ReferenceMaker {
  public:
    RefHolder() = default;
    explicit RefHolder(ReferenceTarget* t) { ReplaceReference(0, t); }
    ~RefHolder() override { DeleteAllRefsFromMe(); }
    SClass_ID SuperClassID() override { return REF_MAKER_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0xBE4C0001, 0); }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int) override { return ref_; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }

  protected:
    void SetReference(int, RefTargetHandle t) override { ref_ = t; }

  private:
    RefTargetHandle ref_ = nullptr;
};

// CPU time of this thread in nanoseconds: the machine may be shared, so both sides of a ratio
// are measured in CPU time.
inline double ThreadNs() {
    timespec ts{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
    return double(ts.tv_sec) * 1e9 + double(ts.tv_nsec);
}

// Times `body` over n calls (body(0) .. body(n - 1)) and answers CPU nanoseconds per call.
template <class F> double NsPerCall(size_t n, F&& body) {
    const double start = ThreadNs();
    for (size_t i = 0; i < n; ++i)
        body(i);
    return (ThreadNs() - start) / double(n);
}

// Sets the measured loop's CPU time per call (start and stop from ThreadNs around the state
// loop), the reference's, and their ratio: counters cpu_ns, ref_ns, ratio.
inline void SetRatio(benchmark::State& state, double start, double stop, double refNs) {
    const double ns = (stop - start) / double(state.iterations());
    state.counters["cpu_ns"] = ns;
    state.counters["ref_ns"] = refNs;
    state.counters["ratio"] = refNs > 0.0 ? ns / refNs : 0.0;
}

}  // namespace kt::bench
