// Parametric mesh objects: the SimpleObject base and the primitives Box, Plane and Sphere.
#include "simpobj.h"

#include <algorithm>
#include <cmath>

#include "iparamb2.h"
#include "objects_internal.h"

using host::objects::MeshBuilder;
using host::objects::ObjectClassDesc;

// ---------------------------------------------------------------------------------------------
// SimpleObject

void SimpleObject::UpdateMesh(TimeValue t) {
    if (ivalid.InInterval(t)) return;
    if (!pblock2) {
        mesh.FreeAll();
        ivalid = NEVER;
        return;
    }
    ivalid = FOREVER;
    BuildMesh(t);
    if (!ivalid.InInterval(t)) ivalid = Interval(t, t);
}

Interval SimpleObject::ChannelValidity(TimeValue t, int chan) {
    if (chan != GEOM_CHAN_NUM && chan != TOPO_CHAN_NUM) return FOREVER;
    UpdateMesh(t);
    return ivalid.InInterval(t) ? ivalid : Interval(t, t);
}

Object* SimpleObject::ConvertToType(TimeValue t, Class_ID obtype) {
    if (obtype == ClassID()) return this;
    UpdateMesh(t);
    if (obtype == defObjectClassID) return this;
    if (obtype == triObjectClassID) {
        TriObject* tri = CreateNewTriObject();
        tri->mesh = mesh;
        for (int c = 0; c < NUM_OBJ_CHANS; ++c) tri->SetChannelValidity(c, ChannelValidity(t, c));
        return tri;
    }
    return TriObject::ConvertToType(t, obtype);
}

RefTargetHandle SimpleObject::GetReference(int i) { return i == 0 ? pblock2 : nullptr; }

void SimpleObject::SetReference(int i, RefTargetHandle rtarg) {
    if (i != 0) return;
    pblock2 = dynamic_cast<IParamBlock2*>(rtarg);
    ivalid = NEVER;
}

Animatable* SimpleObject::SubAnim(int i) { return i == 0 ? pblock2 : nullptr; }

MSTR SimpleObject::SubAnimName(int i, bool localized) {
    (void)localized;
    return i == 0 ? MSTR(L"Parameters") : MSTR();
}

IParamBlock2* SimpleObject::GetParamBlockByID(BlockID id) {
    return pblock2 && pblock2->ID() == id ? pblock2 : nullptr;
}

RefResult SimpleObject::NotifyRefChanged(const Interval&, RefTargetHandle hTarget, PartID& partID, RefMessage message,
                                         BOOL) {
    if (hTarget == pblock2 && message == REFMSG_CHANGE) {
        ivalid = NEVER;
        partID |= PART_GEOM | PART_TOPO;
    }
    return REF_SUCCEED;
}

void SimpleObject::CloneInto(SimpleObject* to, RemapDir& remap) {
    to->ReplaceReference(0, remap.CloneRef(pblock2));
    BaseClone(this, to, remap);
}

namespace {

// ---------------------------------------------------------------------------------------------
// Box

ObjectClassDesc<class BoxObject>& BoxDesc();
ObjectClassDesc<class PlaneObject>& PlaneDesc();
ObjectClassDesc<class SphereObject>& SphereDesc();

ParamBlockDesc2& NewBlock(ClassDesc2* cd) { return host::objects::NewAutoBlock(cd); }

void WorldParam(ParamBlockDesc2& d, ParamID id, const MCHAR* name, float def) {
    d.AddParam(id, name, TYPE_WORLD, P_ANIMATABLE, 0);
    d.SetDefault(id, def);
    d.SetRange(id, -1e30f, 1e30f);
}

void IntParam(ParamBlockDesc2& d, ParamID id, const MCHAR* name, int def, int lo, int hi) {
    d.AddParam(id, name, TYPE_INT, P_ANIMATABLE, 0);
    d.SetDefault(id, def);
    d.SetRange(id, lo, hi);
}

ParamBlockDesc2& BoxBlock() {
    static ParamBlockDesc2& d = [&]() -> ParamBlockDesc2& {
        ParamBlockDesc2& b = NewBlock(static_cast<ClassDesc2*>(&BoxDesc()));
        WorldParam(b, box_length, L"length", 25.0f);
        WorldParam(b, box_width, L"width", 25.0f);
        WorldParam(b, box_height, L"height", 25.0f);
        IntParam(b, box_widthsegs, L"widthsegs", 1, 1, 200);
        IntParam(b, box_lengthsegs, L"lengthsegs", 1, 1, 200);
        IntParam(b, box_heightsegs, L"heightsegs", 1, 1, 200);
        return b;
    }();
    return d;
}

class BoxObject : public SimpleObject {
public:
    explicit BoxObject(bool loading = false) {
        BoxBlock();
        if (!loading) BoxDesc().MakeAutoParamBlocks(this);
    }
    Class_ID ClassID() override { return BOXOBJ_CLASS_ID; }
    void InitNodeName(MSTR& s) override { s = L"Box"; }
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new BoxObject(true);
        CloneInto(c, remap);
        return c;
    }

    void BuildMesh(TimeValue t) override {
        const float l = pblock2->GetFloat(box_length, t, ivalid);
        const float w = pblock2->GetFloat(box_width, t, ivalid);
        const float h = pblock2->GetFloat(box_height, t, ivalid);
        const int n[3] = {std::clamp(pblock2->GetInt(box_widthsegs, t, ivalid), 1, 200),
                          std::clamp(pblock2->GetInt(box_lengthsegs, t, ivalid), 1, 200),
                          std::clamp(pblock2->GetInt(box_heightsegs, t, ivalid), 1, 200)};
        const bool flip = (l < 0.0f) != ((w < 0.0f) != (h < 0.0f));
        MeshBuilder mb;
        std::vector<int> ids(static_cast<size_t>((n[0] + 1) * (n[1] + 1) * (n[2] + 1)), -1);
        auto vert = [&](const int* ijk) {
            int& id = ids[static_cast<size_t>((ijk[2] * (n[1] + 1) + ijk[1]) * (n[0] + 1) + ijk[0])];
            if (id < 0)
                id = mb.Vert(Point3(-w * 0.5f + w * static_cast<float>(ijk[0]) / static_cast<float>(n[0]),
                                    -l * 0.5f + l * static_cast<float>(ijk[1]) / static_cast<float>(n[1]),
                                    h * static_cast<float>(ijk[2]) / static_cast<float>(n[2])));
            return id;
        };
        // Sides as (fixed axis, at max, u axis, v axis) with u x v pointing out of the box.
        struct Side {
            int a;
            bool atMax;
            int u, v;
        };
        static constexpr Side kSides[6] = {{2, false, 1, 0}, {2, true, 0, 1}, {1, false, 0, 2},
                                           {0, true, 1, 2},  {1, true, 2, 0}, {0, false, 2, 1}};
        for (int s = 0; s < 6; ++s) {
            const Side& sd = kSides[s];
            for (int i = 0; i < n[sd.u]; ++i) {
                for (int j = 0; j < n[sd.v]; ++j) {
                    int c[4][3];
                    const int du[4] = {0, 1, 1, 0}, dv[4] = {0, 0, 1, 1};
                    for (int k = 0; k < 4; ++k) {
                        c[k][sd.a] = sd.atMax ? n[sd.a] : 0;
                        c[k][sd.u] = i + du[k];
                        c[k][sd.v] = j + dv[k];
                    }
                    mb.Quad(vert(c[0]), vert(c[1]), vert(c[2]), vert(c[3]), 1u << (s + 1),
                            static_cast<MtlID>(s), flip);
                }
            }
        }
        mb.Into(mesh);
    }
};

ObjectClassDesc<BoxObject>& BoxDesc() {
    static ObjectClassDesc<BoxObject> cd(L"Box", L"Box", GEOMOBJECT_CLASS_ID, BOXOBJ_CLASS_ID, L"Standard Primitives");
    return cd;
}

// ---------------------------------------------------------------------------------------------
// Plane

ParamBlockDesc2& PlaneBlock() {
    static ParamBlockDesc2& d = [&]() -> ParamBlockDesc2& {
        ParamBlockDesc2& b = NewBlock(static_cast<ClassDesc2*>(&PlaneDesc()));
        WorldParam(b, plane_length, L"length", 25.0f);
        WorldParam(b, plane_width, L"width", 25.0f);
        IntParam(b, plane_lengthsegs, L"lengthsegs", 4, 1, 1000);
        IntParam(b, plane_widthsegs, L"widthsegs", 4, 1, 1000);
        return b;
    }();
    return d;
}

class PlaneObject : public SimpleObject {
public:
    explicit PlaneObject(bool loading = false) {
        PlaneBlock();
        if (!loading) PlaneDesc().MakeAutoParamBlocks(this);
    }
    Class_ID ClassID() override { return PLANE_CLASS_ID; }
    void InitNodeName(MSTR& s) override { s = L"Plane"; }
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new PlaneObject(true);
        CloneInto(c, remap);
        return c;
    }

    void BuildMesh(TimeValue t) override {
        const float l = pblock2->GetFloat(plane_length, t, ivalid);
        const float w = pblock2->GetFloat(plane_width, t, ivalid);
        const int ny = std::clamp(pblock2->GetInt(plane_lengthsegs, t, ivalid), 1, 1000);
        const int nx = std::clamp(pblock2->GetInt(plane_widthsegs, t, ivalid), 1, 1000);
        const bool flip = (l < 0.0f) != (w < 0.0f);
        MeshBuilder mb;
        for (int j = 0; j <= ny; ++j)
            for (int i = 0; i <= nx; ++i)
                mb.Vert(Point3(-w * 0.5f + w * static_cast<float>(i) / static_cast<float>(nx),
                               -l * 0.5f + l * static_cast<float>(j) / static_cast<float>(ny), 0.0f));
        auto id = [&](int i, int j) { return j * (nx + 1) + i; };
        for (int j = 0; j < ny; ++j)
            for (int i = 0; i < nx; ++i) mb.Quad(id(i, j), id(i + 1, j), id(i + 1, j + 1), id(i, j + 1), 1, 0, flip);
        mb.Into(mesh);
    }
};

ObjectClassDesc<PlaneObject>& PlaneDesc() {
    static ObjectClassDesc<PlaneObject> cd(L"Plane", L"Plane", GEOMOBJECT_CLASS_ID, PLANE_CLASS_ID,
                                           L"Standard Primitives");
    return cd;
}

// ---------------------------------------------------------------------------------------------
// Sphere

ParamBlockDesc2& SphereBlock() {
    static ParamBlockDesc2& d = [&]() -> ParamBlockDesc2& {
        ParamBlockDesc2& b = NewBlock(static_cast<ClassDesc2*>(&SphereDesc()));
        WorldParam(b, sphere_radius, L"radius", 25.0f);
        IntParam(b, sphere_segs, L"segs", 32, 4, 200);
        return b;
    }();
    return d;
}

class SphereObject : public SimpleObject {
public:
    explicit SphereObject(bool loading = false) {
        SphereBlock();
        if (!loading) SphereDesc().MakeAutoParamBlocks(this);
    }
    Class_ID ClassID() override { return SPHERE_CLASS_ID; }
    void InitNodeName(MSTR& s) override { s = L"Sphere"; }
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new SphereObject(true);
        CloneInto(c, remap);
        return c;
    }

    void BuildMesh(TimeValue t) override {
        const float r = std::max(pblock2->GetFloat(sphere_radius, t, ivalid), 0.0f);
        const int segs = std::clamp(pblock2->GetInt(sphere_segs, t, ivalid), 4, 200);
        const int rings = std::max(segs / 2, 2);
        constexpr double kPi = 3.14159265358979323846;
        MeshBuilder mb;
        const int top = mb.Vert(Point3(0.0f, 0.0f, r));
        for (int k = 1; k < rings; ++k) {
            const double phi = kPi * k / rings;
            for (int i = 0; i < segs; ++i) {
                const double theta = 2.0 * kPi * i / segs;
                mb.Vert(Point3(static_cast<float>(r * std::sin(phi) * std::cos(theta)),
                               static_cast<float>(r * std::sin(phi) * std::sin(theta)),
                               static_cast<float>(r * std::cos(phi))));
            }
        }
        const int bottom = mb.Vert(Point3(0.0f, 0.0f, -r));
        auto ring = [&](int k, int i) { return 1 + (k - 1) * segs + (i % segs); };
        for (int i = 0; i < segs; ++i) mb.Tri(top, ring(1, i), ring(1, i + 1), 1, 0);
        for (int k = 1; k + 1 < rings; ++k)
            for (int i = 0; i < segs; ++i) mb.Quad(ring(k, i), ring(k + 1, i), ring(k + 1, i + 1), ring(k, i + 1), 1, 0);
        for (int i = 0; i < segs; ++i) mb.Tri(bottom, ring(rings - 1, i + 1), ring(rings - 1, i), 1, 0);
        mb.Into(mesh);
    }
};

ObjectClassDesc<SphereObject>& SphereDesc() {
    static ObjectClassDesc<SphereObject> cd(L"Sphere", L"Sphere", GEOMOBJECT_CLASS_ID, SPHERE_CLASS_ID,
                                            L"Standard Primitives");
    return cd;
}

}  // namespace

void host::objects::RegisterPrimitiveClasses(host::ClassDirectory& dir) {
    BoxBlock();
    PlaneBlock();
    SphereBlock();
    dir.AddClass(&BoxDesc());
    dir.AddClass(&PlaneDesc());
    dir.AddClass(&SphereDesc());
}
