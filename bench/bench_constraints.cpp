// Constraint evaluation: ParentConstraint with three weighted targets (rotated, scaled, one
// stretched), GetValue at the current time with the targets' world matrices cached by their
// nodes. Two references run in the same process over the same three matrices:
//   ref_ns       the blend's raw math from decompositions made beforehand (weighted sums,
//                six slerps, one composition): what a GetValue cannot go below
//   decomp_ns    the same with the three decompositions made on every call
// ratio is GetValue time / ref_ns. All times are this thread's CPU time.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "controllers/parent_constraint.h"
#include "controllers/static_controllers.h"
#include "decomp.h"
#include "inode.h"
#include "maxapi.h"

#include "bench_support.h"

namespace {

using kt::bench::NsPerCall;
using kt::bench::ThreadNs;

INode* MakeTarget(const wchar_t* name, const Matrix3& tm) {
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, name);
    auto* st = new kt::StaticTransform();
    st->value = tm;
    n->SetTMController(st);
    return n;
}

Matrix3 RawBlend(const AffineParts* parts, const float* w, int n) {
    Point3 pos(0, 0, 0), scale(0, 0, 0);
    Quat rot, stretch;
    float sum = 0.0f;
    for (int i = 0; i < n; ++i) {
        sum += w[i];
        const float f = sum != 0.0f ? w[i] / sum : 0.0f;
        pos += parts[i].t * w[i];
        scale += parts[i].k * w[i];
        Quat q = parts[i].q;
        q.MakeClosest(rot);
        rot = Slerp(rot, q, f);
        Quat u = parts[i].u;
        u.MakeClosest(stretch);
        stretch = Slerp(stretch, u, f);
    }
    AffineParts out;
    out.t = pos / sum;
    out.k = scale / sum;
    rot.MakeClosest(IdentQuat());
    out.q = rot;
    out.u = stretch;
    return host::ComposeAffine(out);
}

void BM_ParentConstraintThreeTargets(benchmark::State& state) {
    host::ResetScene();
    const Matrix3 tms[3] = {
        RotateXMatrix(0.4f) * TransMatrix(Point3(3, 0, 0)),
        ScaleMatrix(Point3(2, 2, 2)) * RotateZMatrix(-1.2f) * TransMatrix(Point3(0, 5, 1)),
        ScaleMatrix(Point3(1, 3, 1)) * RotateYMatrix(0.7f) * TransMatrix(Point3(-2, 1, 4)),
    };
    const float weights[3] = {20.0f, 50.0f, 30.0f};
    INode* node = GetCOREInterface()->CreateObjectNode(nullptr, L"N");
    auto* pc = new kt::ParentConstraint();
    node->SetTMController(pc);
    node->GetNodeTM(0);
    pc->pblock->SetValue(kt::ParentConstraint::pc_relative, 0, 1);
    const wchar_t* names[3] = {L"A", L"B", L"C"};
    for (int i = 0; i < 3; ++i) pc->appendTarget(MakeTarget(names[i], tms[i]), weights[i]);
    // The reference must compute what the constraint computes.
    AffineParts parts[3];
    Matrix3 withOffsets[3];
    for (int i = 0; i < 3; ++i) {
        withOffsets[i] = pc->GetOffset(i) * tms[i];
        decomp_affine(withOffsets[i], &parts[i]);
    }
    const Matrix3 parent;
    {
        Matrix3 blend = parent;
        Interval iv = FOREVER;
        pc->GetValue(0, &blend, iv, CTRL_RELATIVE);
        Matrix3 raw = RawBlend(parts, weights, 3);
        for (int r = 0; r < 4; ++r)
            if ((blend[r] - raw[r]).Length() > 1e-4f) {
                std::fprintf(stderr, "reference differs from the blend\n");
                std::abort();
            }
    }

    const double start = ThreadNs();
    for (auto _ : state) {
        Matrix3 m = parent;
        Interval iv = FOREVER;
        pc->GetValue(0, &m, iv, CTRL_RELATIVE);
        benchmark::DoNotOptimize(m);
    }
    const double stop = ThreadNs();
    const size_t n = size_t(state.iterations());
    const double ref = NsPerCall(n, [&](size_t) {
        Matrix3 m = RawBlend(parts, weights, 3);
        benchmark::DoNotOptimize(m);
    });
    const double withDecomp = NsPerCall(n, [&](size_t) {
        AffineParts p[3];
        for (int i = 0; i < 3; ++i) decomp_affine(withOffsets[i], &p[i]);
        Matrix3 m = RawBlend(p, weights, 3);
        benchmark::DoNotOptimize(m);
    });
    // Where the time goes: the blend alone, and the inner controller alone.
    const double blendNs = NsPerCall(n, [&](size_t) {
        Interval iv = FOREVER;
        Matrix3 m = pc->Blend(0, iv, true);
        benchmark::DoNotOptimize(m);
    });
    const double innerNs = NsPerCall(n, [&](size_t) {
        Matrix3 m = parent;
        Interval iv = FOREVER;
        pc->GetOffsetController()->GetValue(0, &m, iv, CTRL_RELATIVE);
        benchmark::DoNotOptimize(m);
    });
    state.counters["blend_ns"] = blendNs;
    state.counters["inner_ns"] = innerNs;
    const double ns = (stop - start) / double(n);
    state.counters["cpu_ns"] = ns;
    state.counters["ref_ns"] = ref;
    state.counters["decomp_ns"] = withDecomp;
    state.counters["ratio"] = ref > 0.0 ? ns / ref : 0.0;
    host::ResetScene();
}
BENCHMARK(BM_ParentConstraintThreeTargets);

}  // namespace
