// The point helper, the dummy and the bone object.
#include "helpers.h"

#include <algorithm>
#include <cmath>

#include "chunk_util.h"
#include "hold.h"
#include "inode.h"
#include "iparamb2.h"
#include "objects_internal.h"
#include "viewexp.h"

using host::objects::MeshBuilder;
using host::objects::ObjectClassDesc;

namespace {

ObjectClassDesc<PointHelpObject>& PointDesc() {
    static ObjectClassDesc<PointHelpObject> cd(L"Point", L"Point", HELPER_CLASS_ID, POINTHELP_CLASS_ID, L"Standard");
    return cd;
}

ParamBlockDesc2& PointBlock() {
    static ParamBlockDesc2& d = []() -> ParamBlockDesc2& {
        ParamBlockDesc2* b = &host::objects::NewAutoBlock(&PointDesc());
        b->AddParam(pointobj_size, L"size", TYPE_WORLD, P_ANIMATABLE, 0);
        b->SetDefault(pointobj_size, 20.0f);
        b->SetRange(pointobj_size, 0.0f, 1e30f);
        const struct {
            ParamID id;
            const MCHAR* name;
            int def;
        } flags[] = {{pointobj_centermarker, L"centermarker", 0}, {pointobj_axistripod, L"axistripod", 0},
                     {pointobj_cross, L"cross", 1},               {pointobj_box, L"box", 0},
                     {pointobj_screensize, L"constantscreensize", 0}, {pointobj_drawontop, L"drawontop", 0}};
        for (const auto& f : flags) {
            b->AddParam(f.id, f.name, TYPE_BOOL, 0, 0);
            b->SetDefault(f.id, f.def);
        }
        return *b;
    }();
    return d;
}

ObjectClassDesc<DummyObject>& DummyDesc() {
    static ObjectClassDesc<DummyObject> cd(L"Dummy", L"Dummy", HELPER_CLASS_ID, DUMMY_CLASS_ID, L"Standard");
    return cd;
}

ObjectClassDesc<BoneObj>& BoneDesc() {
    static ObjectClassDesc<BoneObj> cd(L"Bone", L"BoneGeometry", GEOMOBJECT_CLASS_ID, BONE_OBJ_CLASSID, L"Systems");
    return cd;
}

ParamBlockDesc2& BoneBlock() {
    static ParamBlockDesc2& d = []() -> ParamBlockDesc2& {
        ParamBlockDesc2* b = &host::objects::NewAutoBlock(&BoneDesc());
        auto world = [&](ParamID id, const MCHAR* name, float def) {
            b->AddParam(id, name, TYPE_WORLD, P_ANIMATABLE, 0);
            b->SetDefault(id, def);
        };
        auto percent = [&](ParamID id, const MCHAR* name, float def, float lo) {
            b->AddParam(id, name, TYPE_FLOAT, P_ANIMATABLE, 0);
            b->SetDefault(id, def);
            b->SetRange(id, lo, 100.0f);
        };
        auto flag = [&](ParamID id, const MCHAR* name) {
            b->AddParam(id, name, TYPE_BOOL, 0, 0);
            b->SetDefault(id, 0);
        };
        world(boneobj_width, L"width", 10.0f);
        world(boneobj_height, L"height", 10.0f);
        percent(boneobj_taper, L"taper", 90.0f, -1000.0f);
        world(boneobj_length, L"length", 10.0f);
        flag(boneobj_sidefins, L"sidefins");
        world(boneobj_sidefins_size, L"sidefinssize", 2.0f);
        percent(boneobj_sidefins_starttaper, L"sidefinsstarttaper", 10.0f, 0.0f);
        percent(boneobj_sidefins_endtaper, L"sidefinsendtaper", 10.0f, 0.0f);
        flag(boneobj_frontfin, L"frontfin");
        world(boneobj_frontfin_size, L"frontfinsize", 2.0f);
        percent(boneobj_frontfin_starttaper, L"frontfinstarttaper", 10.0f, 0.0f);
        percent(boneobj_frontfin_endtaper, L"frontfinendtaper", 10.0f, 0.0f);
        flag(boneobj_backfin, L"backfin");
        world(boneobj_backfin_size, L"backfinsize", 2.0f);
        percent(boneobj_backfin_starttaper, L"backfinstarttaper", 10.0f, 0.0f);
        percent(boneobj_backfin_endtaper, L"backfinendtaper", 10.0f, 0.0f);
        return *b;
    }();
    return d;
}

void AddSegment(std::vector<Point3>& s, const Point3& a, const Point3& b) {
    s.push_back(a);
    s.push_back(b);
}

void AddBoxEdges(std::vector<Point3>& s, const Box3& b) {
    if (b.IsEmpty()) return;
    static constexpr int kEdges[12][2] = {{0, 1}, {2, 3}, {4, 5}, {6, 7}, {0, 2}, {1, 3},
                                          {4, 6}, {5, 7}, {0, 4}, {1, 5}, {2, 6}, {3, 7}};
    for (const auto& e : kEdges) AddSegment(s, b[e[0]], b[e[1]]);
}

constexpr USHORT kDummyBoxChunk = 0x0100;

class DummyBoxRestore : public RestoreObj {
public:
    DummyBoxRestore(DummyObject* d, const Box3& before, const Box3& after)
        : handle_(Animatable::GetHandleByAnim(d)), before_(before), after_(after) {}
    void Restore(int) override { Set(before_); }
    void Redo() override { Set(after_); }

private:
    void Set(const Box3& b) {
        if (auto* d = dynamic_cast<DummyObject*>(Animatable::GetAnimByHandle(handle_))) d->SetBox(b);
    }
    AnimHandle handle_;
    Box3 before_, after_;
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// Point helper

PointHelpObject::PointHelpObject(bool loading) {
    PointBlock();
    if (!loading) PointDesc().MakeAutoParamBlocks(this);
}

void PointHelpObject::GetLines(TimeValue t, std::vector<Point3>& segments, Interval& valid) {
    segments.clear();
    if (!pblock2) return;
    const float h = std::fabs(pblock2->GetFloat(pointobj_size, t, valid)) * 0.5f;
    if (pblock2->GetInt(pointobj_cross, t, valid)) {
        AddSegment(segments, Point3(-h, 0.0f, 0.0f), Point3(h, 0.0f, 0.0f));
        AddSegment(segments, Point3(0.0f, -h, 0.0f), Point3(0.0f, h, 0.0f));
        AddSegment(segments, Point3(0.0f, 0.0f, -h), Point3(0.0f, 0.0f, h));
    }
    if (pblock2->GetInt(pointobj_box, t, valid)) AddBoxEdges(segments, Box3(Point3(-h, -h, -h), Point3(h, h, h)));
    if (pblock2->GetInt(pointobj_axistripod, t, valid)) {
        AddSegment(segments, Point3(), Point3(h, 0.0f, 0.0f));
        AddSegment(segments, Point3(), Point3(0.0f, h, 0.0f));
        AddSegment(segments, Point3(), Point3(0.0f, 0.0f, h));
    }
    if (pblock2->GetInt(pointobj_centermarker, t, valid)) {
        const float m = h * 0.1f;
        AddSegment(segments, Point3(-m, -m, 0.0f), Point3(m, m, 0.0f));
        AddSegment(segments, Point3(-m, m, 0.0f), Point3(m, -m, 0.0f));
    }
}

void PointHelpObject::GetLocalBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) {
    Interval iv = FOREVER;
    float h = pblock2 ? std::fabs(pblock2->GetFloat(pointobj_size, t, iv)) * 0.5f : 0.0f;
    // At screen size the drawn cube depends on the view (see Display).
    if (pblock2 && inode && vpt && pblock2->GetInt(pointobj_screensize, t))
        h *= vpt->NonScalingObjectSize() * vpt->GetVPWorldWidth(inode->GetObjectTM(t).GetTrans()) / 360.0f;
    box = Box3(Point3(-h, -h, -h), Point3(h, h, h));
}

Interval PointHelpObject::ChannelValidity(TimeValue t, int chan) {
    if (chan != DISP_ATTRIB_CHAN_NUM || !pblock2) return FOREVER;
    Interval iv = FOREVER;
    pblock2->GetFloat(pointobj_size, t, iv);
    return iv;
}

RefTargetHandle PointHelpObject::GetReference(int i) { return i == 0 ? pblock2 : nullptr; }
void PointHelpObject::SetReference(int i, RefTargetHandle rtarg) {
    if (i == 0) pblock2 = dynamic_cast<IParamBlock2*>(rtarg);
}
Animatable* PointHelpObject::SubAnim(int i) { return i == 0 ? pblock2 : nullptr; }
MSTR PointHelpObject::SubAnimName(int i, bool) { return i == 0 ? MSTR(L"Parameters") : MSTR(); }
IParamBlock2* PointHelpObject::GetParamBlockByID(BlockID id) {
    return pblock2 && pblock2->ID() == id ? pblock2 : nullptr;
}

ReferenceTarget* PointHelpObject::Clone(RemapDir& remap) {
    auto* c = new PointHelpObject(true);
    c->ReplaceReference(0, remap.CloneRef(pblock2));
    BaseClone(this, c, remap);
    return c;
}

// ---------------------------------------------------------------------------------------------
// Dummy

DummyObject::DummyObject() : box_(Point3(-5, -5, -5), Point3(5, 5, 5)) {}

void DummyObject::SetBox(const Box3& b) {
    if (b == box_) return;
    if (theHold.Holding()) theHold.Put(new DummyBoxRestore(this, box_, b));
    box_ = b;
    NotifyDependents(FOREVER, PART_DISPLAY, REFMSG_CHANGE);
}

void DummyObject::GetLines(std::vector<Point3>& segments) const {
    segments.clear();
    AddBoxEdges(segments, box_);
}

void DummyObject::GetLocalBoundBox(TimeValue, INode*, ViewExp*, Box3& box) { box = box_; }

ReferenceTarget* DummyObject::Clone(RemapDir& remap) {
    auto* c = new DummyObject();
    c->box_ = box_;
    BaseClone(this, c, remap);
    return c;
}

IOResult DummyObject::Save(ISave* isave) {
    const float b[6] = {box_.pmin.x, box_.pmin.y, box_.pmin.z, box_.pmax.x, box_.pmax.y, box_.pmax.z};
    host::objio::WriteChunk(isave, kDummyBoxChunk, b);
    return IO_OK;
}

IOResult DummyObject::Load(ILoad* iload) {
    IOResult res;
    while ((res = iload->OpenChunk()) == IO_OK) {
        if (iload->CurChunkID() == kDummyBoxChunk) {
            float b[6];
            if (!host::objio::ReadValue(iload, b)) return IO_ERROR;
            box_.pmin = Point3(b[0], b[1], b[2]);
            box_.pmax = Point3(b[3], b[4], b[5]);
        }
        iload->CloseChunk();
    }
    return res == IO_ERROR ? IO_ERROR : IO_OK;
}

// ---------------------------------------------------------------------------------------------
// Bone

BoneObj::BoneObj(bool loading) {
    BoneBlock();
    if (!loading) BoneDesc().MakeAutoParamBlocks(this);
}

ReferenceTarget* BoneObj::Clone(RemapDir& remap) {
    auto* c = new BoneObj(true);
    CloneInto(c, remap);
    return c;
}

void BoneObj::BuildMesh(TimeValue t) {
    const float w = std::fabs(pblock2->GetFloat(boneobj_width, t, ivalid)) * 0.5f;
    const float h = std::fabs(pblock2->GetFloat(boneobj_height, t, ivalid)) * 0.5f;
    const float taper = std::clamp(pblock2->GetFloat(boneobj_taper, t, ivalid), -1000.0f, 100.0f);
    const float len = pblock2->GetFloat(boneobj_length, t, ivalid);
    const float endScale = 1.0f - taper / 100.0f;
    const bool flip = len < 0.0f;
    // Half sizes of the section at distance x along the bone.
    auto halfW = [&](float x) { return len == 0.0f ? w : w * (1.0f + (endScale - 1.0f) * x / len); };
    auto halfH = [&](float x) { return len == 0.0f ? h : h * (1.0f + (endScale - 1.0f) * x / len); };

    MeshBuilder mb;
    int c[2][4];
    for (int e = 0; e < 2; ++e) {
        const float x = e == 0 ? 0.0f : len;
        const float hw = halfW(x), hh = halfH(x);
        c[e][0] = mb.Vert(Point3(x, -hw, -hh));
        c[e][1] = mb.Vert(Point3(x, hw, -hh));
        c[e][2] = mb.Vert(Point3(x, hw, hh));
        c[e][3] = mb.Vert(Point3(x, -hw, hh));
    }
    // Start cap faces -X, end cap +X; the sides go round.
    mb.Quad(c[0][0], c[0][3], c[0][2], c[0][1], 1, 0, flip);
    mb.Quad(c[1][0], c[1][1], c[1][2], c[1][3], 2, 0, flip);
    for (int k = 0; k < 4; ++k) {
        const int k1 = (k + 1) % 4;
        mb.Quad(c[0][k], c[0][k1], c[1][k1], c[1][k], 4u << k, 0, flip);
    }
    // A fin: a two-sided quad on the side `dir` (unit axis) of the section.
    auto fin = [&](ParamID onId, ParamID sizeId, ParamID startId, ParamID endId, const Point3& dir) {
        if (!pblock2->GetInt(onId, t, ivalid)) return;
        const float size = pblock2->GetFloat(sizeId, t, ivalid);
        const float x0 = len * std::clamp(pblock2->GetFloat(startId, t, ivalid), 0.0f, 100.0f) / 100.0f;
        const float x1 = len * (1.0f - std::clamp(pblock2->GetFloat(endId, t, ivalid), 0.0f, 100.0f) / 100.0f);
        auto base = [&](float x) { return dir.y != 0.0f ? halfW(x) : halfH(x); };
        const int a = mb.Vert(Point3(x0, 0.0f, 0.0f) + dir * base(x0));
        const int b = mb.Vert(Point3(x1, 0.0f, 0.0f) + dir * base(x1));
        const int d = mb.Vert(Point3(x1 - (x1 - x0) * 0.2f, 0.0f, 0.0f) + dir * (base(x1) + size));
        const int e = mb.Vert(Point3(x0 + (x1 - x0) * 0.2f, 0.0f, 0.0f) + dir * (base(x0) + size));
        mb.Quad(a, b, d, e, 0, 1, false);
        mb.Quad(a, b, d, e, 0, 1, true);
    };
    fin(boneobj_sidefins, boneobj_sidefins_size, boneobj_sidefins_starttaper, boneobj_sidefins_endtaper,
        Point3(0.0f, 1.0f, 0.0f));
    fin(boneobj_sidefins, boneobj_sidefins_size, boneobj_sidefins_starttaper, boneobj_sidefins_endtaper,
        Point3(0.0f, -1.0f, 0.0f));
    fin(boneobj_frontfin, boneobj_frontfin_size, boneobj_frontfin_starttaper, boneobj_frontfin_endtaper,
        Point3(0.0f, 0.0f, 1.0f));
    fin(boneobj_backfin, boneobj_backfin_size, boneobj_backfin_starttaper, boneobj_backfin_endtaper,
        Point3(0.0f, 0.0f, -1.0f));
    mb.Into(mesh);
}

void host::objects::RegisterHelperClasses(host::ClassDirectory& dir) {
    PointBlock();
    BoneBlock();
    dir.AddClass(&PointDesc());
    dir.AddClass(&DummyDesc());
    dir.AddClass(&BoneDesc());
}
