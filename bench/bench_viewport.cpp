// The viewport with 300 point helpers (box, cross and axis tripod each) in a framed 1920x1080
// perspective view: drawing the scene into a draw list, painting it into an image, and a click
// pick among them. References in the same process: filling the same image with one colour
// (the least any frame costs), and the raw point-to-segment distances of the same number of
// screen segments (the arithmetic floor of a pick).
#include <benchmark/benchmark.h>

#include <QImage>

#include <algorithm>
#include <cmath>
#include <vector>

#include "gfx.h"
#include "helpers.h"
#include "iparamb2.h"
#include "maxapi.h"
#include "ui/viewport_image.h"
#include "viewexp.h"

namespace {

constexpr int kHelpers = 300;

struct Scene {
    ViewExp vpt;
    IPoint2 onHelper;
    Scene() {
        host::ResetScene();
        for (int i = 0; i < kHelpers; ++i) {
            auto* obj = static_cast<PointHelpObject*>(
                static_cast<Animatable*>(CreateInstance(HELPER_CLASS_ID, POINTHELP_CLASS_ID)));
            obj->pblock2->SetValue(pointobj_box, 0, 1);
            obj->pblock2->SetValue(pointobj_axistripod, 0, 1);
            INode* n = GetCOREInterface()->CreateObjectNode(obj, L"P");
            Matrix3 tm;
            tm.SetTrans(Point3(float(i % 20) * 30.0f, float(i / 20) * 30.0f, float((i * 7) % 11) * 5.0f));
            n->SetNodeTM(0, tm);
        }
        vpt.host_SetSize(1920, 1080);
        vpt.host_SetViewType(VIEW_PERSP_USER);
        vpt.host_ZoomExtents(host::SceneWorldBox(vpt, 0));
        // A pixel on the cross of a helper in the middle of the grid.
        Point3 s = vpt.MapWorldToScreen(Point3(10 * 30.0f, 7 * 30.0f, float((150 * 7) % 11) * 5.0f));
        onHelper = IPoint2(int(std::lround(s.x)), int(std::lround(s.y)));
    }
};

Scene& TheScene() {
    static Scene scene;
    return scene;
}

void BM_DrawScene300Helpers(benchmark::State& state) {
    Scene& s = TheScene();
    for (auto _ : state) {
        host::DrawScene(s.vpt, 0);
        benchmark::DoNotOptimize(s.vpt.getGW()->host_DrawList().prims.data());
    }
    state.counters["prims"] = double(s.vpt.getGW()->host_DrawList().prims.size());
}
BENCHMARK(BM_DrawScene300Helpers)->Unit(benchmark::kMillisecond);

void BM_RenderImage300Helpers(benchmark::State& state) {
    Scene& s = TheScene();
    for (auto _ : state) {
        QImage img = host::RenderViewport(s.vpt, 0);
        benchmark::DoNotOptimize(img.constBits());
    }
}
BENCHMARK(BM_RenderImage300Helpers)->Unit(benchmark::kMillisecond);

void BM_Reference_FillImage1920x1080(benchmark::State& state) {
    for (auto _ : state) {
        QImage img(1920, 1080, QImage::Format_ARGB32_Premultiplied);
        img.fill(QColor(115, 115, 115));
        benchmark::DoNotOptimize(img.constBits());
    }
}
BENCHMARK(BM_Reference_FillImage1920x1080)->Unit(benchmark::kMillisecond);

void BM_PickAmong300Helpers(benchmark::State& state) {
    Scene& s = TheScene();
    INode* hit = nullptr;
    for (auto _ : state) {
        hit = GetCOREInterface()->PickNode(&s.vpt, s.onHelper);
        benchmark::DoNotOptimize(hit);
    }
    if (!hit) state.SkipWithError("the probe pixel hit nothing");
}
BENCHMARK(BM_PickAmong300Helpers)->Unit(benchmark::kMicrosecond);

// The screen segments of the same scene, projected once, then only the distance test.
void BM_Reference_RawSegmentDistances(benchmark::State& state) {
    Scene& s = TheScene();
    host::DrawScene(s.vpt, 0);
    const host::DrawList& list = s.vpt.getGW()->host_DrawList();
    std::vector<float> seg;
    for (const host::DrawPrimitive& p : list.prims)
        for (uint32_t i = 0; i + 1 < p.count; ++i) {
            const host::ScreenVertex& a = list.vertices[p.first + i];
            const host::ScreenVertex& b = list.vertices[p.first + i + 1];
            seg.insert(seg.end(), {a.x, a.y, b.x, b.y});
        }
    const float px = float(s.onHelper.x), py = float(s.onHelper.y);
    for (auto _ : state) {
        float best = 1e30f;
        for (size_t i = 0; i < seg.size(); i += 4) {
            float dx = seg[i + 2] - seg[i], dy = seg[i + 3] - seg[i + 1];
            float len2 = dx * dx + dy * dy;
            float t = len2 > 0 ? std::clamp(((px - seg[i]) * dx + (py - seg[i + 1]) * dy) / len2, 0.0f, 1.0f) : 0.0f;
            float cx = seg[i] + t * dx - px, cy = seg[i + 1] + t * dy - py;
            best = std::min(best, cx * cx + cy * cy);
        }
        benchmark::DoNotOptimize(best);
    }
    state.counters["segments"] = double(seg.size() / 4);
}
BENCHMARK(BM_Reference_RawSegmentDistances)->Unit(benchmark::kMicrosecond);

}  // namespace
