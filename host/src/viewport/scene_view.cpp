// UI colours, the scene's draw and pick loops, and the core interface's view calls.
#include <algorithm>
#include <array>

#include "control.h"
#include "gfx.h"
#include "inode.h"
#include "maxapi.h"
#include "object.h"
#include "viewexp.h"

namespace {

std::array<Point3, COLOR_TOTAL>& UIColors() {
    static std::array<Point3, COLOR_TOTAL> colors = [] {
        std::array<Point3, COLOR_TOTAL> c{};
        c[COLOR_SELECTION] = Point3(1.0f, 1.0f, 1.0f);
        c[COLOR_SUBSELECTION] = Point3(1.0f, 0.0f, 0.0f);
        c[COLOR_FREEZE] = Point3(0.62f, 0.62f, 0.62f);
        c[COLOR_GRID] = Point3(0.4f, 0.4f, 0.4f);
        c[COLOR_LINK_LINES] = Point3(1.0f, 1.0f, 1.0f);
        c[COLOR_TRAJECTORY] = Point3(1.0f, 0.0f, 0.0f);
        c[COLOR_DUMMY_OBJ] = Point3(0.0f, 0.6f, 0.1f);
        c[COLOR_POINT_OBJ] = Point3(0.0f, 0.6f, 0.1f);
        c[COLOR_POINT_AXES] = Point3(1.0f, 0.0f, 0.0f);
        c[COLOR_BONES] = Point3(0.9f, 0.85f, 0.6f);
        c[COLOR_GIZMOS] = Point3(1.0f, 0.5f, 0.0f);
        c[COLOR_SEL_GIZMOS] = Point3(1.0f, 1.0f, 0.0f);
        c[COLOR_VP_BACKGROUND] = Point3(0.45f, 0.45f, 0.45f);
        return c;
    }();
    return colors;
}

int gPickTolerance = 4;

template <class Fn>
void ForEachNode(INode* node, Fn&& fn) {
    for (int i = 0; i < node->NumberOfChildren(); ++i) {
        INode* child = node->GetChildNode(i);
        fn(child);
        ForEachNode(child, fn);
    }
}

void ResetLimits(ViewExp& vpt, DWORD extra = 0) {
    DWORD limits = GW_Z_BUFFER | (vpt.IsWire() ? GW_WIREFRAME : (GW_ILLUM | GW_FLAT)) | extra;
    vpt.getGW()->setRndLimits(limits);
}

}  // namespace

Point3 GetUIColor(int which) {
    if (which < 0 || which >= COLOR_TOTAL) return Point3(0, 0, 0);
    return UIColors()[size_t(which)];
}

void SetUIColor(int which, const Point3& clr) {
    if (which >= 0 && which < COLOR_TOTAL) UIColors()[size_t(which)] = clr;
}

Point3 host_WireColorToPoint3(DWORD bgr) {
    return Point3(float(bgr & 0xFF) / 255.0f, float((bgr >> 8) & 0xFF) / 255.0f, float((bgr >> 16) & 0xFF) / 255.0f);
}

namespace host {

int PickTolerance() { return gPickTolerance; }
void SetPickTolerance(int pixels) { gPickTolerance = std::max(pixels, 0); }

Point3 NodeDrawColor(INode* node) {
    if (!node) return GetUIColor(COLOR_SELECTION);
    if (node->IsFrozen()) return GetUIColor(COLOR_FREEZE);
    if (node->Selected()) return GetUIColor(COLOR_SELECTION);
    return host_WireColorToPoint3(node->GetWireColor());
}

void DrawScene(ViewExp& vpt, TimeValue t) {
    vpt.host_BeginFrame();
    INode* root = GetCOREInterface()->GetRootNode();
    if (!root) return;
    ForEachNode(root, [&](INode* node) {
        if (node->IsHidden()) return;
        const ObjectState& os = node->EvalWorldState(t);
        if (os.obj) {
            ResetLimits(vpt);
            os.obj->Display(t, node, &vpt, 0);
        }
        // Transform controllers draw what they own (IK goals and the like) over the object.
        if (Control* tmc = node->GetTMController()) {
            ResetLimits(vpt);
            tmc->Display(t, node, &vpt, 0);
        }
        INode* parent = node->GetParentNode();
        if (vpt.host_ShowLinks() && parent && !parent->IsRootNode() && !parent->IsHidden()) {
            ResetLimits(vpt);
            GraphicsWindow* gw = vpt.getGW();
            gw->setTransform(Matrix3());
            gw->setColor(LINE_COLOR, GetUIColor(COLOR_LINK_LINES));
            Point3 link[2] = {parent->GetNodeTM(t).GetTrans(), node->GetNodeTM(t).GetTrans()};
            gw->polyline(2, link, nullptr, FALSE, nullptr);
        }
    });
    ResetLimits(vpt);
}

static bool Pickable(INode* node, int flags) {
    if (node->IsHidden() || node->IsFrozen()) return false;
    if ((flags & HIT_SELONLY) && !node->Selected()) return false;
    if ((flags & HIT_UNSELONLY) && node->Selected()) return false;
    return true;
}

// The object first; what the transform controller draws (IK goal lines and the like) picks
// the node as well when the object is missed.
static bool HitNode(ViewExp& vpt, INode* node, TimeValue t, int type, int crossing, int flags, IPoint2* p) {
    GraphicsWindow* gw = vpt.getGW();
    const ObjectState& os = node->EvalWorldState(t);
    if (os.obj) {
        ResetLimits(vpt);
        gw->clearHitCode();
        if (os.obj->HitTest(t, node, type, crossing, flags, p, &vpt)) return true;
    }
    if (Control* tmc = node->GetTMController()) {
        ResetLimits(vpt);
        gw->clearHitCode();
        if (tmc->HitTest(t, node, type, crossing, flags, p, &vpt)) return true;
    }
    return false;
}

INode* PickSceneNode(ViewExp& vpt, TimeValue t, int type, int crossing, IPoint2* p, PickNodeCallback* filter,
                     int flags) {
    INode* root = GetCOREInterface()->GetRootNode();
    if (!root || !p) return nullptr;
    GraphicsWindow* gw = vpt.getGW();
    INode* best = nullptr;
    DWORD bestDist = 0;
    float bestDepth = 0;
    ForEachNode(root, [&](INode* node) {
        if (!Pickable(node, flags)) return;
        if (filter && !filter->Filter(node)) return;
        if (!HitNode(vpt, node, t, type, crossing, flags, p)) return;
        DWORD d = gw->getHitDistance();
        float depth = gw->host_HitDepth();
        if (!best || d < bestDist || (d == bestDist && depth < bestDepth)) {
            best = node;
            bestDist = d;
            bestDepth = depth;
        }
    });
    ResetLimits(vpt);
    return best;
}

void PickSceneNodes(ViewExp& vpt, TimeValue t, int type, int crossing, IPoint2* p, std::vector<INode*>& out,
                    int flags) {
    out.clear();
    INode* root = GetCOREInterface()->GetRootNode();
    if (!root || !p) return;
    ForEachNode(root, [&](INode* node) {
        if ((flags & HIT_ABORTONHIT) && !out.empty()) return;
        if (!Pickable(node, flags)) return;
        if (HitNode(vpt, node, t, type, crossing, flags, p)) out.push_back(node);
    });
    ResetLimits(vpt);
}

Box3 SceneWorldBox(ViewExp& vpt, TimeValue t) {
    Box3 all;
    INode* root = GetCOREInterface()->GetRootNode();
    if (!root) return all;
    ForEachNode(root, [&](INode* node) {
        if (node->IsHidden()) return;
        const ObjectState& os = node->EvalWorldState(t);
        Box3 b;
        if (os.obj) os.obj->GetWorldBoundBox(t, node, &vpt, b);
        if (b.IsEmpty()) b += node->GetNodeTM(t).GetTrans();
        all += b;
        if (Control* tmc = node->GetTMController()) {
            Box3 cb;
            tmc->GetWorldBoundBox(t, node, &vpt, cb);
            all += cb;
        }
    });
    return all;
}

}  // namespace host

ViewExp& Interface::GetActiveViewExp() {
    static ViewExp view;
    return view;
}

INode* Interface::PickNode(ViewExp* vpt, const IPoint2& pt, PickNodeCallback* filter) {
    if (!vpt) return nullptr;
    IPoint2 p = pt;
    INode* hit = host::PickSceneNode(*vpt, GetTime(), HITTYPE_POINT, TRUE, &p, filter);
    vpt->host_SetClosestHit(hit);
    return hit;
}
