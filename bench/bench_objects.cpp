// Object::Eval of a 50,000-point mesh through one deforming modifier whose parameter moves
// with time, so every evaluation copies the points up the stack and deforms them. The
// reference is a memcpy of the same points in the same process: evaluation is memory bound
// when the ratio stays small.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <vector>

#include "control.h"
#include "inode.h"
#include "iparamb2.h"
#include "maxapi.h"
#include "modifier.h"
#include "triobj.h"

namespace {

constexpr int kPoints = 50000;

// An offset that moves with time: valid only at the instant asked.
class MovingOffset : public Control {
public:
    SClass_ID SuperClassID() override { return CTRL_POINT3_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x6F1B0003, 1); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod) override {
        *static_cast<Point3*>(val) = Point3(0.001f * static_cast<float>(t), 0.0f, 0.0f);
        valid &= Interval(t, t);
    }
    void SetValue(TimeValue, void*, int, GetSetMethod) override {}
};

struct Scene {
    INode* node = nullptr;
    TriObject* base = nullptr;
};

Scene Build(bool animated) {
    host::ResetScene();
    auto* tri = static_cast<TriObject*>(static_cast<Animatable*>(CreateInstance(GEOMOBJECT_CLASS_ID, EDITTRIOBJ_CLASS_ID)));
    Mesh& m = tri->mesh;
    m.setNumVerts(kPoints);
    for (int i = 0; i < kPoints; ++i)
        m.verts[i] = Point3(static_cast<float>(i % 250), static_cast<float>(i / 250), static_cast<float>(i % 7));
    m.setNumFaces(kPoints - 2);
    for (int f = 0; f < kPoints - 2; ++f) m.faces[f].setVerts(f, f + 1, f + 2);
    Scene s;
    s.base = tri;
    s.node = GetCOREInterface()->CreateObjectNode(tri, L"Mesh");
    auto* mod = static_cast<Modifier*>(static_cast<Animatable*>(CreateInstance(OSM_CLASS_ID, OFFSETMOD_CLASS_ID)));
    mod->GetParamBlock(0)->SetValue(offsetmod_scale, 0, 1.001f);
    if (animated) mod->GetParamBlock(0)->SetController(offsetmod_offset, 0, new MovingOffset(), FALSE);
    host::AddModifierToNode(s.node, mod);
    return s;
}

// The reference: the same points copied with memcpy, best of several passes (ns per copy).
double MemcpyNs(const Mesh& m) {
    std::vector<Point3> dst(static_cast<size_t>(m.numVerts));
    double best = 1e30;
    for (int pass = 0; pass < 200; ++pass) {
        const auto t0 = std::chrono::steady_clock::now();
        std::memcpy(dst.data(), m.verts, sizeof(Point3) * static_cast<size_t>(m.numVerts));
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
        best = std::min(best, std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - t0).count());
    }
    return best;
}

// Best and mean per evaluation; the ratio takes the best against the best copy, so that other
// work on a shared machine does not count against either.
void Report(benchmark::State& state, double spentNs, double bestNs, double refNs) {
    state.SetItemsProcessed(state.iterations() * kPoints);
    state.counters["mean_ns_per_eval"] = spentNs / static_cast<double>(state.iterations());
    state.counters["best_ns_per_eval"] = bestNs;
    state.counters["memcpy_ns"] = refNs;
    state.counters["vs_memcpy"] = bestNs / refNs;
}

// Evaluates the stack at a new time on every iteration.
void TimeObjectEval(benchmark::State& state, bool animated) {
    Scene s = Build(animated);
    Object* obj = s.node->GetObjectRef();
    obj->Eval(0);
    TimeValue t = 0;
    double spent = 0.0, best = 1e30;
    for (auto _ : state) {
        ++t;
        const auto t0 = std::chrono::steady_clock::now();
        ObjectState os = obj->Eval(t);
        benchmark::DoNotOptimize(os.obj);
        const double ns = std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - t0).count();
        spent += ns;
        best = std::min(best, ns);
    }
    Report(state, spent, best, MemcpyNs(s.base->mesh));
    host::ResetScene();
}

// Every evaluation at a new time: the stack copies the points and the modifier moves them.
void BM_ObjectEval_DeformingModifier(benchmark::State& state) { TimeObjectEval(state, true); }
BENCHMARK(BM_ObjectEval_DeformingModifier);

// A static modifier: every later evaluation is answered from the stack's cache.
void BM_ObjectEval_Cached(benchmark::State& state) { TimeObjectEval(state, false); }
BENCHMARK(BM_ObjectEval_Cached);

}  // namespace
