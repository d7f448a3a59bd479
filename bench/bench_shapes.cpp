// Control helpers as the viewport feels them: 300 helpers of every figure drawn into a
// 1920 x 1080 image, and a click picked among them. The in-process reference draws (or hit
// tests) the very same world-space lines straight into the graphics window, without the
// helpers: x_ref is the helpers' cost over that floor.
#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <QImage>
#include <algorithm>
#include <chrono>
#include <vector>

#include "frame/class_registry.h"
#include "inode.h"
#include "maxapi.h"
#include "shapes/control_helper.h"
#include "ui/viewport_image.h"
#include "viewexp.h"

using namespace kt;

namespace {

constexpr int kHelpers = 300;

struct Scene {
    ViewExp vpt;
    std::vector<INode*> nodes;
    // Per helper: its strips in world space.
    std::vector<std::vector<std::vector<Point3>>> worldLines;
    IPoint2 click;
};

Scene& TheScene() {
    static Scene* s = [] {
        auto* sc = new Scene;
        host::ResetScene();
        for (int i = 0; i < kHelpers; ++i) {
            auto* h = new ControlHelper();
            h->pblock->SetValue(pb_type, 0, 1 + i % (kNumGizmoTypes - 1));
            h->pblock->SetValue(pb_size, 0, 30.0f);
            INode* node = GetCOREInterface()->CreateObjectNode(h);
            node->SetNodeTM(0, RotateZMatrix(0.1f * float(i)) *
                                   TransMatrix(Point3(float(i % 20) * 40.0f, float(i / 20) * 40.0f, 0.0f)));
            sc->nodes.push_back(node);
        }
        sc->vpt.host_SetSize(1920, 1080);
        sc->vpt.host_SetViewType(VIEW_PERSP_USER);
        sc->vpt.host_ZoomExtents(host::SceneWorldBox(sc->vpt, 0));
        for (INode* node : sc->nodes) {
            auto* h = static_cast<ControlHelper*>(node->GetObjectRef());
            const Matrix3 tm = h->MakeDrawTM(0, node, &sc->vpt);
            const GizmoLines& g = h->Lines(0);
            std::vector<std::vector<Point3>> strips;
            for (const GizmoStrip& st : g.strips) {
                std::vector<Point3> pts;
                for (int k = 0; k < st.count; ++k) pts.push_back(g.points[size_t(st.first + k)] * tm);
                if (st.closed) pts.push_back(pts.front());
                strips.push_back(std::move(pts));
            }
            sc->worldLines.push_back(std::move(strips));
        }
        const Point3 p = sc->vpt.MapWorldToScreen(sc->worldLines[kHelpers / 2][0][0]);
        sc->click = IPoint2(int(p.x + 0.5f), int(p.y + 0.5f));
        return sc;
    }();
    return *s;
}

void EnsureApp() {
    static int argc = 1;
    static char name[] = "bench_shapes";
    static char* argv[] = {name, nullptr};
    if (!QGuiApplication::instance()) new QGuiApplication(argc, argv);
}

void RawDraw(Scene& s) {
    s.vpt.host_BeginFrame();
    GraphicsWindow* gw = s.vpt.getGW();
    gw->setTransform(Matrix3());
    for (size_t i = 0; i < s.worldLines.size(); ++i) {
        gw->setColor(LINE_COLOR, 0.9f, 0.8f, 0.2f);
        for (auto& strip : s.worldLines[i]) gw->polyline(int(strip.size()), strip.data(), nullptr, FALSE, nullptr);
    }
}

INode* RawPick(Scene& s) {
    GraphicsWindow* gw = s.vpt.getGW();
    HitRegion hr;
    MakeHitRegion(hr, HITTYPE_POINT, 0, host::PickTolerance(), &s.click);
    gw->setHitRegion(&hr);
    const DWORD limits = gw->getRndLimits();
    gw->setRndLimits(limits | GW_PICK);
    gw->setTransform(Matrix3());
    INode* best = nullptr;
    DWORD bestDist = 0xFFFFFFFF;
    for (size_t i = 0; i < s.worldLines.size(); ++i) {
        gw->clearHitCode();
        for (auto& strip : s.worldLines[i]) gw->polyline(int(strip.size()), strip.data(), nullptr, FALSE, nullptr);
        if (gw->checkHitCode() && gw->getHitDistance() < bestDist) {
            bestDist = gw->getHitDistance();
            best = s.nodes[i];
        }
    }
    gw->setRndLimits(limits);
    return best;
}

template <class Fn>
double MedianNs(Fn&& fn, int runs) {
    std::vector<double> t;
    for (int r = 0; r < runs; ++r) {
        const auto a = std::chrono::steady_clock::now();
        fn();
        const auto b = std::chrono::steady_clock::now();
        t.push_back(std::chrono::duration<double, std::nano>(b - a).count());
    }
    std::sort(t.begin(), t.end());
    return t[t.size() / 2];
}

void BM_DisplayHelpers(benchmark::State& state) {
    EnsureApp();
    Scene& s = TheScene();
    for (auto _ : state) {
        QImage img = host::RenderViewport(s.vpt, 0);
        benchmark::DoNotOptimize(img.bits());
    }
    const double mine = MedianNs([&] { QImage img = host::RenderViewport(s.vpt, 0); benchmark::DoNotOptimize(img.bits()); }, 15);
    const double ref = MedianNs([&] {
        RawDraw(s);
        QImage img = host::PaintDrawList(s.vpt.getGW()->host_DrawList());
        benchmark::DoNotOptimize(img.bits());
    }, 15);
    state.counters["median_ms"] = mine * 1e-6;
    state.counters["ref_ms"] = ref * 1e-6;
    state.counters["x_ref"] = mine / ref;
}
BENCHMARK(BM_DisplayHelpers)->Unit(benchmark::kMillisecond);

void BM_PickAmongHelpers(benchmark::State& state) {
    Scene& s = TheScene();
    IPoint2 p = s.click;
    INode* expected = s.nodes[kHelpers / 2];
    for (auto _ : state) benchmark::DoNotOptimize(host::PickSceneNode(s.vpt, 0, HITTYPE_POINT, 0, &p));
    if (host::PickSceneNode(s.vpt, 0, HITTYPE_POINT, 0, &p) != expected || RawPick(s) != expected)
        state.SkipWithError("the click does not land on the helper it aims at");
    const double mine = MedianNs([&] { benchmark::DoNotOptimize(host::PickSceneNode(s.vpt, 0, HITTYPE_POINT, 0, &p)); }, 31);
    const double ref = MedianNs([&] { benchmark::DoNotOptimize(RawPick(s)); }, 31);
    state.counters["median_ms"] = mine * 1e-6;
    state.counters["ref_ms"] = ref * 1e-6;
    state.counters["x_ref"] = mine / ref;
}
BENCHMARK(BM_PickAmongHelpers)->Unit(benchmark::kMillisecond);

}  // namespace
