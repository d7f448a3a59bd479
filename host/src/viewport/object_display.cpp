// How the host's own objects draw and hit: helpers as lines, meshes as wireframe or flat-shaded
// faces, shapes as polylines. Display and HitTest share one drawing routine per class so a
// pick always tests exactly what was drawn.
#include <algorithm>
#include <cmath>

#include "gfx.h"
#include "helpers.h"
#include "inode.h"
#include "iparamb2.h"
#include "mnmesh.h"
#include "polyobj.h"
#include "triobj.h"
#include "viewexp.h"

namespace {

// Puts the window in pick mode for one HitTest and back.
class PickScope {
public:
    PickScope(ViewExp* vpt, int type, int crossing, IPoint2* p) : gw_(vpt->getGW()), saved_(gw_->getRndLimits()) {
        HitRegion hr;
        MakeHitRegion(hr, type, crossing, host::PickTolerance(), p);
        gw_->setHitRegion(&hr);
        gw_->setRndLimits(saved_ | GW_PICK);
        gw_->clearHitCode();
    }
    ~PickScope() { gw_->setRndLimits(saved_); }
    int Result() { return gw_->checkHitCode(); }

private:
    GraphicsWindow* gw_;
    DWORD saved_;
};

void DrawSegments(GraphicsWindow* gw, std::vector<Point3>& segs) {
    for (size_t i = 0; i + 1 < segs.size(); i += 2) gw->polyline(2, &segs[i], nullptr, FALSE, nullptr);
}

bool Solid(ViewExp* vpt, int type, int flags) {
    return !vpt->IsWire() || type == HITTYPE_SOLID || (flags & HIT_ANYSOLID) != 0;
}

// Flat shading from a light at the eye: the face's facing ratio in view space.
Point3 Shade(const Point3& base, const Point3& a, const Point3& b, const Point3& c, const Matrix3& toView) {
    Point3 n = Normalize(VectorTransform((b - a) ^ (c - a), toView));
    float k = 0.3f + 0.7f * std::fabs(n.z);
    return base * k;
}

Matrix3 ObjectToView(INode* inode, TimeValue t, ViewExp* vpt) {
    Matrix3 affine;
    vpt->GetAffineTM(affine);
    return inode->GetObjectTM(t) * affine;
}

// Faces flat-shaded (back faces culled) and, unshaded or selected, their edges. forEachFace
// hands each visible face to its argument as (points, count, edge visibility or null).
template <class ForEachFace>
void DrawFaces(TimeValue t, INode* inode, ViewExp* vpt, bool solid, bool picking, ForEachFace&& forEachFace) {
    GraphicsWindow* gw = vpt->getGW();
    gw->setTransform(inode->GetObjectTM(t));
    const bool shaded = solid && (picking || !vpt->IsWire());
    if (shaded) {
        Matrix3 toView = ObjectToView(inode, t, vpt);
        Point3 base = host_WireColorToPoint3(inode->GetWireColor());
        DWORD limits = gw->getRndLimits();
        gw->setRndLimits(limits | GW_BACKCULL);
        forEachFace([&](Point3* pts, int n, int*) {
            if (!picking) gw->setColor(FILL_COLOR, Shade(base, pts[0], pts[1], pts[2], toView));
            gw->polygon(n, pts, nullptr, nullptr);
        });
        gw->setRndLimits(limits);
        // A shaded mesh shows its edges only when selected.
        if (picking || !inode->Selected()) return;
    }
    gw->setColor(LINE_COLOR, host::NodeDrawColor(inode));
    forEachFace([&](Point3* pts, int n, int* edgeVis) { gw->polyline(n, pts, nullptr, TRUE, edgeVis); });
}

void DrawMesh(TimeValue t, INode* inode, ViewExp* vpt, Mesh& mesh, bool solid, bool picking) {
    DrawFaces(t, inode, vpt, solid, picking, [&](auto&& draw) {
        for (int f = 0; f < mesh.getNumFaces(); ++f) {
            const Face& face = mesh.faces[f];
            if (face.Hidden()) continue;
            Point3 tri[3] = {mesh.getVert(int(face.v[0])), mesh.getVert(int(face.v[1])), mesh.getVert(int(face.v[2]))};
            int es[3] = {int(face.getEdgeVis(0)), int(face.getEdgeVis(1)), int(face.getEdgeVis(2))};
            draw(tri, 3, es);
        }
    });
}

void DrawPoly(TimeValue t, INode* inode, ViewExp* vpt, MNMesh& mm, bool solid, bool picking) {
    std::vector<Point3> pts;
    DrawFaces(t, inode, vpt, solid, picking, [&](auto&& draw) {
        for (int f = 0; f < mm.numf; ++f) {
            const MNFace& face = mm.f[f];
            if (face.GetFlag(MN_DEAD) || face.deg < 3) continue;
            pts.clear();
            for (int k = 0; k < face.deg; ++k) pts.push_back(mm.P(face.vtx[size_t(k)]));
            draw(pts.data(), int(pts.size()), nullptr);
        }
    });
}

void DrawPointHelper(PointHelpObject* obj, TimeValue t, INode* inode, ViewExp* vpt) {
    GraphicsWindow* gw = vpt->getGW();
    Matrix3 tm = inode->GetObjectTM(t);
    int screenSize = 0, onTop = 0;
    if (obj->pblock2) {
        screenSize = obj->pblock2->GetInt(pointobj_screensize, t);
        onTop = obj->pblock2->GetInt(pointobj_drawontop, t);
    }
    if (screenSize) {
        float s = vpt->NonScalingObjectSize() * vpt->GetVPWorldWidth(tm.GetTrans()) / 360.0f;
        tm.PreScale(Point3(s, s, s));
    }
    gw->setTransform(tm);
    if (onTop) gw->setRndLimits(gw->getRndLimits() & ~GW_Z_BUFFER);
    // Reused: every helper of every redraw and pick comes through here.
    static thread_local std::vector<Point3> segs;
    Interval valid = FOREVER;
    obj->GetLines(t, segs, valid);
    gw->setColor(LINE_COLOR, host::NodeDrawColor(inode));
    DrawSegments(gw, segs);
}

void DrawShape(ShapeObject* shape, TimeValue t, INode* inode, ViewExp* vpt) {
    GraphicsWindow* gw = vpt->getGW();
    gw->setTransform(inode->GetObjectTM(t));
    gw->setColor(LINE_COLOR, host::NodeDrawColor(inode));
    std::vector<std::vector<Point3>> lines;
    shape->host_GetPolylines(t, 8, lines);
    for (auto& line : lines) gw->polyline(int(line.size()), line.data(), nullptr, FALSE, nullptr);
}

}  // namespace

void Object::GetWorldBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) {
    if (!inode) return;
    Box3 local;
    GetLocalBoundBox(t, inode, vpt, local);
    if (local.IsEmpty()) return;
    box = local * inode->GetObjectTM(t);
}

// ---- Point helper

int PointHelpObject::Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) {
    (void)flags;
    if (!inode || !vpt) return 0;
    DWORD saved = vpt->getGW()->getRndLimits();
    DrawPointHelper(this, t, inode, vpt);
    vpt->getGW()->setRndLimits(saved);
    return 0;
}

int PointHelpObject::HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) {
    (void)flags;
    if (!inode || !vpt) return 0;
    PickScope pick(vpt, type, crossing, p);
    DrawPointHelper(this, t, inode, vpt);
    return pick.Result();
}

// ---- Dummy

int DummyObject::Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) {
    (void)flags;
    if (!inode || !vpt) return 0;
    GraphicsWindow* gw = vpt->getGW();
    gw->setTransform(inode->GetObjectTM(t));
    gw->setColor(LINE_COLOR, host::NodeDrawColor(inode));
    std::vector<Point3> segs;
    GetLines(segs);
    DrawSegments(gw, segs);
    return 0;
}

int DummyObject::HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) {
    (void)flags;
    if (!inode || !vpt) return 0;
    PickScope pick(vpt, type, crossing, p);
    GraphicsWindow* gw = vpt->getGW();
    gw->setTransform(inode->GetObjectTM(t));
    std::vector<Point3> segs;
    GetLines(segs);
    DrawSegments(gw, segs);
    return pick.Result();
}

// ---- Meshes

int TriObject::Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) {
    (void)flags;
    if (!inode || !vpt) return 0;
    DrawMesh(t, inode, vpt, mesh, true, false);
    return 0;
}

int TriObject::HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) {
    if (!inode || !vpt) return 0;
    PickScope pick(vpt, type, crossing, p);
    DrawMesh(t, inode, vpt, mesh, Solid(vpt, type, flags), true);
    return pick.Result();
}

int PolyObject::Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) {
    (void)flags;
    if (!inode || !vpt) return 0;
    DrawPoly(t, inode, vpt, mm, true, false);
    return 0;
}

int PolyObject::HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) {
    if (!inode || !vpt) return 0;
    PickScope pick(vpt, type, crossing, p);
    DrawPoly(t, inode, vpt, mm, Solid(vpt, type, flags), true);
    return pick.Result();
}

// ---- Shapes

int ShapeObject::Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) {
    (void)flags;
    if (!inode || !vpt) return 0;
    DrawShape(this, t, inode, vpt);
    return 0;
}

int ShapeObject::HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) {
    (void)flags;
    if (!inode || !vpt) return 0;
    PickScope pick(vpt, type, crossing, p);
    DrawShape(this, t, inode, vpt);
    return pick.Result();
}
