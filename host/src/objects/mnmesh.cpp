#include "mnmesh.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <numeric>
#include <unordered_map>

#include "chunk_util.h"

namespace {

constexpr USHORT kVertsChunk = 0x2100;
constexpr USHORT kFacesChunk = 0x2110;   // flattened ints, see FlattenFaces
constexpr USHORT kMapChunk = 0x2120;     // container per live channel
constexpr USHORT kMapIdChunk = 0x2121;
constexpr USHORT kMapVertsChunk = 0x2122;
constexpr USHORT kMapFacesChunk = 0x2123;  // flattened: deg, tv...
constexpr USHORT kNormalsChunk = 0x2130;   // container: the specified normals
constexpr USHORT kNormalValuesChunk = 0x2131;
constexpr USHORT kNormalExplicitChunk = 0x2132;
constexpr USHORT kNormalFacesChunk = 0x2133;  // flattened: deg, then (id, specified) per corner

uint64_t EdgeKey(int a, int b) {
    if (a > b) std::swap(a, b);
    return (static_cast<uint64_t>(static_cast<uint32_t>(a)) << 32) | static_cast<uint32_t>(b);
}

float Cross2(float ax, float ay, float bx, float by) { return ax * by - ay * bx; }

bool InTriangle(const float* p, const float* a, const float* b, const float* c) {
    const float d1 = Cross2(b[0] - a[0], b[1] - a[1], p[0] - a[0], p[1] - a[1]);
    const float d2 = Cross2(c[0] - b[0], c[1] - b[1], p[0] - b[0], p[1] - b[1]);
    const float d3 = Cross2(a[0] - c[0], a[1] - c[1], p[0] - c[0], p[1] - c[1]);
    return d1 >= 0.0f && d2 >= 0.0f && d3 >= 0.0f;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// MNFace

void MNFace::SetDeg(int d) {
    deg = d < 0 ? 0 : d;
    vtx.assign(static_cast<size_t>(deg), 0);
    edg.assign(static_cast<size_t>(deg), -1);
    visedg.SetSize(deg);
    visedg.SetAll();
    host_tri.clear();
}

void MNFace::MakePoly(int fdeg, const int* vv, const bool* vis) {
    SetDeg(fdeg);
    for (int i = 0; i < deg; ++i) {
        vtx[static_cast<size_t>(i)] = vv[i];
        if (vis && !vis[i]) visedg.Clear(i);
    }
}

int MNFace::VertIndex(int vv) const {
    for (int i = 0; i < deg; ++i)
        if (vtx[static_cast<size_t>(i)] == vv) return i;
    return -1;
}

int MNFace::EdgeIndex(int ee) const {
    for (int i = 0; i < static_cast<int>(edg.size()); ++i)
        if (edg[static_cast<size_t>(i)] == ee) return i;
    return -1;
}

void MNFace::GetTriangles(std::vector<int>& tri) const {
    tri.clear();
    if (deg < 3) return;
    if (host_tri.size() == static_cast<size_t>(3 * (deg - 2))) {
        tri = host_tri;
        return;
    }
    for (int i = 1; i + 1 < deg; ++i) {
        tri.push_back(0);
        tri.push_back(i);
        tri.push_back(i + 1);
    }
}

// ---------------------------------------------------------------------------------------------
// MNMesh

MNMesh::MNMesh() = default;

MNMesh::MNMesh(const MNMesh& from) { *this = from; }

MNMesh& MNMesh::operator=(const MNMesh& from) {
    if (this == &from) return *this;
    verts_ = from.verts_;
    faces_ = from.faces_;
    edges_ = from.edges_;
    maps_ = from.maps_;
    flags_ = from.flags_;
    selLevel = from.selLevel;
    normals_.reset();
    if (from.normals_) {
        normals_ = std::make_unique<MNNormalSpec>(*from.normals_);
        normals_->parent_ = this;
    }
    Sync();
    return *this;
}

void MNMesh::Sync() {
    numv = static_cast<int>(verts_.size());
    numf = static_cast<int>(faces_.size());
    nume = static_cast<int>(edges_.size());
    v = verts_.empty() ? nullptr : verts_.data();
    f = faces_.empty() ? nullptr : faces_.data();
    e = edges_.empty() ? nullptr : edges_.data();
}

void MNMesh::setNumVerts(int nvnum) {
    verts_.resize(static_cast<size_t>(std::max(nvnum, 0)));
    Sync();
}

void MNMesh::setNumFaces(int nfnum) {
    faces_.resize(static_cast<size_t>(std::max(nfnum, 0)));
    edges_.clear();
    ClearFlag(MN_MESH_FILLED_IN);
    Sync();
    for (MNMap& m : maps_)
        if (!m.dead) m.setNumFaces(numf);
}

int MNMesh::NewVert(const Point3& p) {
    MNVert nv;
    nv.p = p;
    verts_.push_back(nv);
    Sync();
    return numv - 1;
}

int MNMesh::NewFace(int initFace, int degg, const int* vv, const bool* vis, const bool* sel) {
    MNFace nf;
    if (initFace >= 0 && initFace < numf) {
        nf.smGroup = faces_[static_cast<size_t>(initFace)].smGroup;
        nf.material = faces_[static_cast<size_t>(initFace)].material;
    }
    nf.MakePoly(degg, vv, vis);
    if (sel && sel[0]) nf.SetFlag(MN_SEL);
    faces_.push_back(std::move(nf));
    edges_.clear();
    ClearFlag(MN_MESH_FILLED_IN);
    Sync();
    for (MNMap& m : maps_) {
        if (m.dead) continue;
        MNMapFace mf;
        mf.SetSize(degg);
        m.f.push_back(mf);
    }
    return numf - 1;
}

int MNMesh::NewTri(int a, int b, int c) {
    const int vv[3] = {a, b, c};
    return NewFace(-1, 3, vv);
}

int MNMesh::NewQuad(int a, int b, int c, int d) {
    const int vv[4] = {a, b, c, d};
    return NewFace(-1, 4, vv);
}

bool MNMesh::IsFaceValid(int ff) const {
    if (ff < 0 || ff >= numf) return false;
    const MNFace& fc = faces_[static_cast<size_t>(ff)];
    if (fc.deg < 3 || static_cast<int>(fc.vtx.size()) != fc.deg) return false;
    for (int i = 0; i < fc.deg; ++i) {
        const int a = fc.vtx[static_cast<size_t>(i)];
        if (a < 0 || a >= numv) return false;
        if (a == fc.vtx[static_cast<size_t>((i + 1) % fc.deg)]) return false;
    }
    return true;
}

void MNMesh::FillInMesh() {
    edges_.clear();
    ClearFlag(MN_MESH_NONMANIFOLD);
    std::unordered_map<uint64_t, int> byKey;
    byKey.reserve(static_cast<size_t>(numf) * 2);
    for (int ff = 0; ff < numf; ++ff) {
        MNFace& fc = faces_[static_cast<size_t>(ff)];
        if (!IsFaceValid(ff)) {
            fc.SetFlag(MN_DEAD);
            fc.edg.assign(fc.vtx.size(), -1);
            continue;
        }
        fc.SetFlag(MN_DEAD, false);
        fc.edg.assign(static_cast<size_t>(fc.deg), -1);
        for (int i = 0; i < fc.deg; ++i) {
            const int a = fc.vtx[static_cast<size_t>(i)], b = fc.vtx[static_cast<size_t>((i + 1) % fc.deg)];
            auto it = byKey.find(EdgeKey(a, b));
            if (it != byKey.end() && edges_[static_cast<size_t>(it->second)].f2 < 0 &&
                edges_[static_cast<size_t>(it->second)].f1 != ff) {
                edges_[static_cast<size_t>(it->second)].f2 = ff;
                fc.edg[static_cast<size_t>(i)] = it->second;
                continue;
            }
            if (it != byKey.end()) SetFlag(MN_MESH_NONMANIFOLD);
            MNEdge ne;
            ne.v1 = a;
            ne.v2 = b;
            ne.f1 = ff;
            if (!fc.visedg[i]) ne.flags |= MN_EDGE_INVIS;
            edges_.push_back(ne);
            const int idx = static_cast<int>(edges_.size()) - 1;
            fc.edg[static_cast<size_t>(i)] = idx;
            if (it == byKey.end()) byKey.emplace(EdgeKey(a, b), idx);
        }
        if (fc.host_tri.empty() && fc.deg > 3) RetriangulateFace(ff);
    }
    SetFlag(MN_MESH_FILLED_IN);
    Sync();
}

int MNMesh::FindEdgeFromVertToVert(int a, int b) const {
    for (int i = 0; i < nume; ++i) {
        const MNEdge& ed = edges_[static_cast<size_t>(i)];
        if ((ed.v1 == a && ed.v2 == b) || (ed.v1 == b && ed.v2 == a)) return i;
    }
    return -1;
}

Point3 MNMesh::GetFaceNormal(int ff, bool nrmlize) const {
    if (!IsFaceValid(ff)) return Point3();
    const MNFace& fc = faces_[static_cast<size_t>(ff)];
    Point3 n;
    for (int i = 0; i < fc.deg; ++i) {
        const Point3& a = P(fc.vtx[static_cast<size_t>(i)]);
        const Point3& b = P(fc.vtx[static_cast<size_t>((i + 1) % fc.deg)]);
        n.x += (a.y - b.y) * (a.z + b.z);
        n.y += (a.z - b.z) * (a.x + b.x);
        n.z += (a.x - b.x) * (a.y + b.y);
    }
    return nrmlize ? n.Normalize() : n;
}

void MNMesh::RetriangulateFace(int ff) {
    if (ff < 0 || ff >= numf) return;
    MNFace& fc = faces_[static_cast<size_t>(ff)];
    fc.host_tri.clear();
    if (!IsFaceValid(ff) || fc.deg == 3) return;
    const Point3 n = GetFaceNormal(ff, true);
    if (n == Point3()) return;  // collinear: the fan is as good as any
    // A basis of the face plane with u x w = n keeps the polygon counter-clockwise in 2D.
    Point3 u = std::fabs(n.x) < 0.9f ? Point3(1, 0, 0) ^ n : Point3(0, 1, 0) ^ n;
    u = u.Normalize();
    const Point3 w = n ^ u;
    std::vector<float> xy(static_cast<size_t>(fc.deg) * 2);
    for (int i = 0; i < fc.deg; ++i) {
        const Point3& p = P(fc.vtx[static_cast<size_t>(i)]);
        xy[static_cast<size_t>(2 * i)] = p % u;
        xy[static_cast<size_t>(2 * i + 1)] = p % w;
    }
    std::vector<int> rem(static_cast<size_t>(fc.deg));
    std::iota(rem.begin(), rem.end(), 0);
    std::vector<int> tri;
    tri.reserve(static_cast<size_t>(3 * (fc.deg - 2)));
    while (rem.size() > 3) {
        const size_t m = rem.size();
        bool clipped = false;
        for (size_t k = 0; k < m && !clipped; ++k) {
            const int ia = rem[(k + m - 1) % m], ib = rem[k], ic = rem[(k + 1) % m];
            const float* a = &xy[static_cast<size_t>(2 * ia)];
            const float* b = &xy[static_cast<size_t>(2 * ib)];
            const float* c = &xy[static_cast<size_t>(2 * ic)];
            if (Cross2(b[0] - a[0], b[1] - a[1], c[0] - b[0], c[1] - b[1]) <= 0.0f) continue;  // reflex
            bool inside = false;
            for (size_t j = 0; j < m && !inside; ++j) {
                const int ip = rem[j];
                if (ip == ia || ip == ib || ip == ic) continue;
                inside = InTriangle(&xy[static_cast<size_t>(2 * ip)], a, b, c);
            }
            if (inside) continue;
            tri.insert(tri.end(), {ia, ib, ic});
            rem.erase(rem.begin() + static_cast<std::ptrdiff_t>(k));
            clipped = true;
        }
        if (!clipped) {  // self-intersecting outline: finish with a fan of what is left
            for (size_t k = 1; k + 1 < rem.size(); ++k) tri.insert(tri.end(), {rem[0], rem[k], rem[k + 1]});
            rem.clear();
        }
    }
    if (rem.size() == 3) tri.insert(tri.end(), {rem[0], rem[1], rem[2]});
    fc.host_tri = std::move(tri);
}

void MNMesh::SetMapNum(int mpnum) {
    maps_.resize(static_cast<size_t>(std::clamp(mpnum, 0, MAX_MESHMAPS)));
}

void MNMesh::InitMap(int mp) {
    if (mp < 0 || mp >= MAX_MESHMAPS) return;
    if (mp >= MNum()) SetMapNum(mp + 1);
    MNMap& m = maps_[static_cast<size_t>(mp)];
    m.dead = false;
    m.v.clear();
    for (const MNVert& vv : verts_) m.v.push_back(vv.p);
    m.f.resize(static_cast<size_t>(numf));
    for (int ff = 0; ff < numf; ++ff) {
        const MNFace& fc = faces_[static_cast<size_t>(ff)];
        m.f[static_cast<size_t>(ff)].MakePoly(fc.deg, fc.vtx.data());
    }
}

void MNMesh::ClearMap(int mp) {
    if (MNMap* m = M(mp)) {
        m->ClearAndFree();
        m->dead = true;
    }
}

void MNMesh::SetFromTri(const Mesh& from) {
    ClearAndFree();
    verts_.resize(static_cast<size_t>(from.numVerts));
    for (int i = 0; i < from.numVerts; ++i) verts_[static_cast<size_t>(i)].p = from.verts[i];
    std::vector<int> kept;
    for (int fi = 0; fi < from.numFaces; ++fi)
        if (!from.IsDegenerateFace(fi)) kept.push_back(fi);
    faces_.resize(kept.size());
    for (size_t k = 0; k < kept.size(); ++k) {
        const Face& tf = from.faces[kept[k]];
        const int vv[3] = {static_cast<int>(tf.v[0]), static_cast<int>(tf.v[1]), static_cast<int>(tf.v[2])};
        const bool vis[3] = {tf.getEdgeVis(0) != 0, tf.getEdgeVis(1) != 0, tf.getEdgeVis(2) != 0};
        MNFace& nf = faces_[k];
        nf.MakePoly(3, vv, vis);
        nf.smGroup = tf.smGroup;
        nf.material = tf.getMatID();
    }
    Mesh& src = const_cast<Mesh&>(from);
    SetMapNum(from.getNumMaps());
    for (int mp = 0; mp < from.getNumMaps(); ++mp) {
        if (!from.mapSupport(mp)) continue;
        MNMap& m = maps_[static_cast<size_t>(mp)];
        m.dead = false;
        const int nv = from.getNumMapVerts(mp);
        m.v.assign(src.mapVerts(mp), src.mapVerts(mp) + nv);
        TVFace* tf = src.mapFaces(mp);
        m.f.resize(kept.size());
        for (size_t k = 0; k < kept.size(); ++k) {
            const TVFace& t = tf[kept[k]];
            const int tt[3] = {static_cast<int>(t.t[0]), static_cast<int>(t.t[1]), static_cast<int>(t.t[2])};
            m.f[k].MakePoly(3, tt);
        }
    }
    Sync();
}

void MNMesh::MakePolyMesh(int maxdeg, BOOL elimCollin) {
    (void)elimCollin;
    const int nf = numf;
    // Union of triangles across hidden edges shared by exactly two triangles.
    std::vector<int> parent(static_cast<size_t>(nf));
    std::iota(parent.begin(), parent.end(), 0);
    auto find = [&](int x) {
        while (parent[static_cast<size_t>(x)] != x) x = parent[static_cast<size_t>(x)] = parent[static_cast<size_t>(parent[static_cast<size_t>(x)])];
        return x;
    };
    struct Use {
        int face, corner, count;
    };
    std::unordered_map<uint64_t, Use> uses;
    std::unordered_map<uint64_t, int> counts;
    for (int ff = 0; ff < nf; ++ff) {
        if (!IsFaceValid(ff)) continue;
        const MNFace& fc = faces_[static_cast<size_t>(ff)];
        for (int i = 0; i < fc.deg; ++i) ++counts[EdgeKey(fc.vtx[static_cast<size_t>(i)], fc.vtx[static_cast<size_t>((i + 1) % fc.deg)])];
    }
    std::unordered_map<uint64_t, bool> joined;
    for (int ff = 0; ff < nf; ++ff) {
        if (!IsFaceValid(ff) || faces_[static_cast<size_t>(ff)].deg != 3) continue;
        const MNFace& fc = faces_[static_cast<size_t>(ff)];
        for (int i = 0; i < 3; ++i) {
            const uint64_t key = EdgeKey(fc.vtx[static_cast<size_t>(i)], fc.vtx[static_cast<size_t>((i + 1) % 3)]);
            if (counts[key] != 2) continue;
            auto it = uses.find(key);
            if (it == uses.end()) {
                uses.emplace(key, Use{ff, i, 1});
                continue;
            }
            const MNFace& other = faces_[static_cast<size_t>(it->second.face)];
            if (other.deg != 3) continue;
            if (fc.visedg[i] && other.visedg[it->second.corner]) continue;
            parent[static_cast<size_t>(find(ff))] = find(it->second.face);
            joined[key] = true;
        }
    }
    std::vector<std::vector<int>> groups(static_cast<size_t>(nf));
    for (int ff = 0; ff < nf; ++ff) groups[static_cast<size_t>(find(ff))].push_back(ff);

    std::vector<MNFace> out;
    std::vector<std::vector<MNMapFace>> outMaps(maps_.size());
    auto keepFace = [&](int ff) {
        out.push_back(faces_[static_cast<size_t>(ff)]);
        for (size_t mp = 0; mp < maps_.size(); ++mp)
            if (!maps_[mp].dead) outMaps[mp].push_back(maps_[mp].f[static_cast<size_t>(ff)]);
    };
    for (int ff = 0; ff < nf; ++ff) {
        const std::vector<int>& g = groups[static_cast<size_t>(ff)];
        if (g.empty()) continue;  // not a group root
        if (g.size() == 1) {
            keepFace(g[0]);
            continue;
        }
        // Outline: the directed edges of the group that are not joined.
        struct Dir {
            int to, face, corner;
            bool vis;
        };
        std::unordered_map<int, Dir> next;
        bool simple = true;
        int start = -1;
        size_t nEdges = 0;
        for (int gf : g) {
            const MNFace& fc = faces_[static_cast<size_t>(gf)];
            for (int i = 0; i < 3; ++i) {
                const int a = fc.vtx[static_cast<size_t>(i)], b = fc.vtx[static_cast<size_t>((i + 1) % 3)];
                if (joined.count(EdgeKey(a, b))) continue;
                if (!next.emplace(a, Dir{b, gf, i, fc.visedg[i] != 0}).second) simple = false;
                if (start < 0) start = a;
                ++nEdges;
            }
        }
        std::vector<int> loop;
        std::vector<Dir> corners;
        if (simple && start >= 0) {
            int cur = start;
            while (loop.size() <= nEdges) {
                auto it = next.find(cur);
                if (it == next.end()) {
                    simple = false;
                    break;
                }
                loop.push_back(cur);
                corners.push_back(it->second);
                cur = it->second.to;
                if (cur == start) break;
            }
            if (cur != start || loop.size() != nEdges) simple = false;
        }
        if (!simple || (maxdeg > 0 && static_cast<int>(loop.size()) > maxdeg)) {
            for (int gf : g) keepFace(gf);
            continue;
        }
        MNFace nfc;
        std::unique_ptr<bool[]> visArr(new bool[loop.size()]);
        for (size_t k = 0; k < loop.size(); ++k) visArr[k] = corners[k].vis;
        nfc.MakePoly(static_cast<int>(loop.size()), loop.data(), visArr.get());
        const MNFace& first = faces_[static_cast<size_t>(g[0])];
        nfc.smGroup = first.smGroup;
        nfc.material = first.material;
        nfc.flags = first.flags & ~MN_DEAD;
        out.push_back(std::move(nfc));
        for (size_t mp = 0; mp < maps_.size(); ++mp) {
            if (maps_[mp].dead) continue;
            MNMapFace mf;
            mf.SetSize(static_cast<int>(loop.size()));
            for (size_t k = 0; k < loop.size(); ++k) {
                const MNMapFace& src = maps_[mp].f[static_cast<size_t>(corners[k].face)];
                mf.tv[k] = src.tv[static_cast<size_t>(corners[k].corner)];
            }
            outMaps[mp].push_back(std::move(mf));
        }
    }
    faces_ = std::move(out);
    for (size_t mp = 0; mp < maps_.size(); ++mp)
        if (!maps_[mp].dead) maps_[mp].f = std::move(outMaps[mp]);
    Sync();
    FillInMesh();
}

void MNMesh::OutToTri(Mesh& tmesh) {
    tmesh.FreeAll();
    tmesh.setNumVerts(numv);
    for (int i = 0; i < numv; ++i) tmesh.verts[i] = verts_[static_cast<size_t>(i)].p;
    int ntri = 0;
    for (int ff = 0; ff < numf; ++ff)
        if (IsFaceValid(ff)) ntri += faces_[static_cast<size_t>(ff)].deg - 2;
    tmesh.setNumFaces(ntri);
    std::vector<int> liveMaps;
    for (int mp = 0; mp < MNum(); ++mp) {
        MNMap& m = maps_[static_cast<size_t>(mp)];
        if (m.dead || m.FNum() != numf) continue;
        liveMaps.push_back(mp);
        tmesh.setMapSupport(mp, TRUE);
        tmesh.setNumMapVerts(mp, m.VNum());
        std::copy(m.v.begin(), m.v.end(), tmesh.mapVerts(mp));
    }
    std::vector<int> tri;
    int out = 0;
    for (int ff = 0; ff < numf; ++ff) {
        if (!IsFaceValid(ff)) continue;
        const MNFace& fc = faces_[static_cast<size_t>(ff)];
        fc.GetTriangles(tri);
        for (size_t k = 0; k + 2 < tri.size(); k += 3, ++out) {
            Face& tf = tmesh.faces[out];
            const int c[3] = {tri[k], tri[k + 1], tri[k + 2]};
            tf.setVerts(fc.vtx[static_cast<size_t>(c[0])], fc.vtx[static_cast<size_t>(c[1])],
                        fc.vtx[static_cast<size_t>(c[2])]);
            for (int ed = 0; ed < 3; ++ed) {
                const int a = c[ed], b = c[(ed + 1) % 3];
                DWORD vis = EDGE_INVIS;
                if (b == (a + 1) % fc.deg) vis = fc.visedg[a] ? EDGE_VIS : EDGE_INVIS;
                else if (a == (b + 1) % fc.deg) vis = fc.visedg[b] ? EDGE_VIS : EDGE_INVIS;
                tf.setEdgeVis(ed, vis);
            }
            tf.smGroup = fc.smGroup;
            tf.setMatID(fc.material);
            for (int mp : liveMaps) {
                const MNMapFace& mf = maps_[static_cast<size_t>(mp)].f[static_cast<size_t>(ff)];
                if (static_cast<int>(mf.tv.size()) < fc.deg) continue;
                tmesh.mapFaces(mp)[out].setTVerts(mf.tv[static_cast<size_t>(c[0])], mf.tv[static_cast<size_t>(c[1])],
                                                  mf.tv[static_cast<size_t>(c[2])]);
            }
        }
    }
}

Box3 MNMesh::getBoundingBox(Matrix3* tm, bool targonly) {
    Box3 b;
    std::vector<char> used(static_cast<size_t>(numv), 0);
    bool any = false;
    for (int ff = 0; ff < numf; ++ff) {
        if (!IsFaceValid(ff)) continue;
        for (int vv : faces_[static_cast<size_t>(ff)].vtx) used[static_cast<size_t>(vv)] = 1;
        any = true;
    }
    for (int i = 0; i < numv; ++i) {
        if (any && !used[static_cast<size_t>(i)]) continue;
        if (targonly && !verts_[static_cast<size_t>(i)].GetFlag(MN_TARG)) continue;
        b += tm ? verts_[static_cast<size_t>(i)].p * *tm : verts_[static_cast<size_t>(i)].p;
    }
    return b;
}

void MNMesh::BBox(Box3& bbox, bool targonly) { bbox = getBoundingBox(nullptr, targonly); }

void MNMesh::ClearAndFree() {
    normals_.reset();
    verts_.clear();
    faces_.clear();
    edges_.clear();
    maps_.clear();
    flags_ = 0;
    Sync();
}

int MNMesh::CollapseDeadFaces() {
    std::vector<MNFace> out;
    std::vector<std::vector<MNMapFace>> outMaps(maps_.size());
    for (int ff = 0; ff < numf; ++ff) {
        if (!IsFaceValid(ff) || faces_[static_cast<size_t>(ff)].GetFlag(MN_DEAD)) continue;
        out.push_back(faces_[static_cast<size_t>(ff)]);
        for (size_t mp = 0; mp < maps_.size(); ++mp)
            if (!maps_[mp].dead && static_cast<size_t>(ff) < maps_[mp].f.size())
                outMaps[mp].push_back(maps_[mp].f[static_cast<size_t>(ff)]);
    }
    const int removed = numf - static_cast<int>(out.size());
    faces_ = std::move(out);
    for (size_t mp = 0; mp < maps_.size(); ++mp)
        if (!maps_[mp].dead) maps_[mp].f = std::move(outMaps[mp]);
    edges_.clear();
    ClearFlag(MN_MESH_FILLED_IN);
    Sync();
    return removed;
}

IOResult MNMesh::Save(ISave* isave) {
    using namespace host::objio;
    std::vector<Point3> pts(static_cast<size_t>(numv));
    for (int i = 0; i < numv; ++i) pts[static_cast<size_t>(i)] = verts_[static_cast<size_t>(i)].p;
    WriteArray(isave, kVertsChunk, pts.data(), numv);
    std::vector<int32_t> flat;
    for (const MNFace& fc : faces_) {
        flat.push_back(fc.deg);
        flat.push_back(static_cast<int32_t>(fc.smGroup));
        flat.push_back(fc.material);
        flat.push_back(static_cast<int32_t>(fc.flags & ~MN_DEAD));
        for (int i = 0; i < fc.deg; ++i) flat.push_back(fc.vtx[static_cast<size_t>(i)]);
        for (int i = 0; i < fc.deg; ++i) flat.push_back(fc.visedg[i]);
    }
    WriteArray(isave, kFacesChunk, flat.data(), static_cast<int>(flat.size()));
    for (int mp = 0; mp < MNum(); ++mp) {
        const MNMap& m = maps_[static_cast<size_t>(mp)];
        if (m.dead) continue;
        isave->BeginChunk(kMapChunk);
        WriteChunk(isave, kMapIdChunk, int32_t(mp));
        WriteArray(isave, kMapVertsChunk, m.v.data(), m.VNum());
        std::vector<int32_t> mf;
        for (const MNMapFace& face : m.f) {
            mf.push_back(face.deg);
            for (int i = 0; i < face.deg; ++i) mf.push_back(face.tv[static_cast<size_t>(i)]);
        }
        WriteArray(isave, kMapFacesChunk, mf.data(), static_cast<int>(mf.size()));
        isave->EndChunk();
    }
    if (normals_) {
        isave->BeginChunk(kNormalsChunk);
        WriteArray(isave, kNormalValuesChunk, normals_->normals_.data(), normals_->GetNumNormals());
        WriteArray(isave, kNormalExplicitChunk, normals_->explicit_.data(), normals_->GetNumNormals());
        std::vector<int32_t> nf;
        for (const MNNormalFace& face : normals_->faces_) {
            nf.push_back(face.GetDegree());
            for (int i = 0; i < face.GetDegree(); ++i) {
                nf.push_back(face.GetNormalID(i));
                nf.push_back(face.GetSpecified(i) ? 1 : 0);
            }
        }
        WriteArray(isave, kNormalFacesChunk, nf.data(), static_cast<int>(nf.size()));
        isave->EndChunk();
    }
    return IO_OK;
}

IOResult MNMesh::Load(ILoad* iload) {
    using namespace host::objio;
    ClearAndFree();
    constexpr int32_t kMaxDeg = 1 << 20;
    IOResult res;
    while ((res = iload->OpenChunk()) == IO_OK) {
        bool ok = true;
        switch (iload->CurChunkID()) {
            case kVertsChunk: {
                std::vector<Point3> pts;
                ok = ReadArray(iload, pts);
                verts_.resize(pts.size());
                for (size_t i = 0; i < pts.size(); ++i) verts_[i].p = pts[i];
                break;
            }
            case kFacesChunk: {
                std::vector<int32_t> flat;
                ok = ReadArray(iload, flat);
                size_t at = 0;
                while (ok && at < flat.size()) {
                    if (flat.size() - at < 4) { ok = false; break; }
                    const int32_t deg = flat[at];
                    if (deg < 0 || deg > kMaxDeg || flat.size() - at - 4 < static_cast<size_t>(2 * deg)) {
                        ok = false;
                        break;
                    }
                    MNFace fc;
                    fc.MakePoly(deg, &flat[at + 4]);
                    for (int i = 0; i < deg; ++i)
                        if (!flat[at + 4 + static_cast<size_t>(deg + i)]) fc.visedg.Clear(i);
                    fc.smGroup = static_cast<DWORD>(flat[at + 1]);
                    fc.material = static_cast<MtlID>(flat[at + 2]);
                    fc.flags = static_cast<DWORD>(flat[at + 3]);
                    faces_.push_back(std::move(fc));
                    at += 4 + static_cast<size_t>(2 * deg);
                }
                break;
            }
            case kMapChunk: {
                int32_t mp = -1;
                MNMap m;
                m.dead = false;
                while (ok && iload->OpenChunk() == IO_OK) {
                    switch (iload->CurChunkID()) {
                        case kMapIdChunk: ok = ReadValue(iload, mp); break;
                        case kMapVertsChunk: ok = ReadArray(iload, m.v); break;
                        case kMapFacesChunk: {
                            std::vector<int32_t> flat;
                            ok = ReadArray(iload, flat);
                            size_t at = 0;
                            while (ok && at < flat.size()) {
                                const int32_t deg = flat[at];
                                if (deg < 0 || deg > kMaxDeg || flat.size() - at - 1 < static_cast<size_t>(deg)) {
                                    ok = false;
                                    break;
                                }
                                MNMapFace mf;
                                mf.MakePoly(deg, &flat[at + 1]);
                                m.f.push_back(std::move(mf));
                                at += 1 + static_cast<size_t>(deg);
                            }
                            break;
                        }
                        default: break;
                    }
                    iload->CloseChunk();
                }
                if (ok && mp >= 0 && mp < MAX_MESHMAPS) {
                    if (mp >= MNum()) SetMapNum(mp + 1);
                    maps_[static_cast<size_t>(mp)] = std::move(m);
                } else {
                    ok = false;
                }
                break;
            }
            case kNormalsChunk: {
                auto normalSpec = std::make_unique<MNNormalSpec>();
                normalSpec->parent_ = this;
                while (ok && iload->OpenChunk() == IO_OK) {
                    switch (iload->CurChunkID()) {
                        case kNormalValuesChunk: ok = ReadArray(iload, normalSpec->normals_); break;
                        case kNormalExplicitChunk: ok = ReadArray(iload, normalSpec->explicit_); break;
                        case kNormalFacesChunk: {
                            std::vector<int32_t> flat;
                            ok = ReadArray(iload, flat);
                            size_t at = 0;
                            while (ok && at < flat.size()) {
                                const int32_t deg = flat[at];
                                if (deg < 0 || deg > kMaxDeg || (flat.size() - at - 1) / 2 < static_cast<size_t>(deg)) {
                                    ok = false;
                                    break;
                                }
                                MNNormalFace face;
                                face.SetDegree(deg);
                                for (int i = 0; i < deg; ++i) {
                                    face.SetNormalID(i, flat[at + 1 + 2 * static_cast<size_t>(i)]);
                                    face.SetSpecified(i, flat[at + 2 + 2 * static_cast<size_t>(i)] != 0);
                                }
                                normalSpec->faces_.push_back(std::move(face));
                                at += 1 + 2 * static_cast<size_t>(deg);
                            }
                            break;
                        }
                        default: break;
                    }
                    iload->CloseChunk();
                }
                if (ok && normalSpec->explicit_.size() != normalSpec->normals_.size()) ok = false;
                for (const MNNormalFace& face : normalSpec->faces_)
                    for (int i = 0; ok && i < face.GetDegree(); ++i)
                        if (face.GetNormalID(i) >= normalSpec->GetNumNormals()) ok = false;
                if (ok) normals_ = std::move(normalSpec);
                break;
            }
            default: break;
        }
        iload->CloseChunk();
        if (!ok) return IO_ERROR;
    }
    if (res == IO_ERROR) return IO_ERROR;
    Sync();
    for (const MNMap& m : maps_)
        if (!m.dead && m.FNum() != numf) return IO_ERROR;
    FillInMesh();
    return IO_OK;
}

// ---------------------------------------------------------------------------------------------
// Specified normals

void MNMesh::SpecifyNormals() {
    if (normals_) return;
    normals_ = std::make_unique<MNNormalSpec>();
    normals_->parent_ = this;
    normals_->SetNumFaces(numf);
    for (int ff = 0; ff < numf; ++ff) normals_->faces_[static_cast<size_t>(ff)].SetDegree(faces_[static_cast<size_t>(ff)].deg);
}

void MNNormalSpec::SetNumFaces(int n) { faces_.resize(static_cast<size_t>(std::max(n, 0))); }

void MNNormalSpec::SetNumNormals(int n) {
    n = std::max(n, 0);
    normals_.resize(static_cast<size_t>(n));
    explicit_.resize(static_cast<size_t>(n), 0);
}

void MNNormalSpec::SetNormalIndex(int face, int corner, int normalIndex) {
    MNNormalFace* f = Face(face);
    if (!f || corner < 0 || corner >= f->GetDegree() || normalIndex < 0 || normalIndex >= GetNumNormals()) return;
    f->SetNormalID(corner, normalIndex);
    f->SetSpecified(corner, true);
    SetNormalExplicit(normalIndex, true);
}

int MNNormalSpec::GetNormalIndex(int face, int corner) const {
    return face >= 0 && face < GetNumFaces() ? faces_[static_cast<size_t>(face)].GetNormalID(corner) : -1;
}

Point3 MNNormalSpec::GetNormal(int face, int corner) const {
    const int id = GetNormalIndex(face, corner);
    return id >= 0 && id < GetNumNormals() ? normals_[static_cast<size_t>(id)] : Point3();
}

void MNNormalSpec::BuildNormals() {
    if (!parent_) return;
    MNMesh& mm = *parent_;
    faces_.resize(static_cast<size_t>(mm.numf));
    for (int ff = 0; ff < mm.numf; ++ff)
        if (faces_[static_cast<size_t>(ff)].GetDegree() != mm.f[ff].deg) faces_[static_cast<size_t>(ff)].SetDegree(mm.f[ff].deg);

    // Keep the normals specified corners use, renumbered; everything else is rebuilt.
    std::vector<int> remap(normals_.size(), -1);
    std::vector<Point3> kept;
    std::vector<char> keptExplicit;
    for (MNNormalFace& face : faces_) {
        for (int c = 0; c < face.GetDegree(); ++c) {
            const int id = face.GetNormalID(c);
            if (!face.GetSpecified(c) || id < 0 || id >= GetNumNormals()) {
                face.SetSpecified(c, false);
                face.SetNormalID(c, -1);
                continue;
            }
            if (remap[static_cast<size_t>(id)] < 0) {
                remap[static_cast<size_t>(id)] = static_cast<int>(kept.size());
                kept.push_back(normals_[static_cast<size_t>(id)]);
                keptExplicit.push_back(explicit_[static_cast<size_t>(id)]);
            }
            face.SetNormalID(c, remap[static_cast<size_t>(id)]);
        }
    }
    normals_ = std::move(kept);
    explicit_ = std::move(keptExplicit);

    // Unspecified corners around each vertex, grouped by shared smoothing groups.
    std::vector<std::vector<std::pair<int, int>>> around(static_cast<size_t>(mm.numv));
    for (int ff = 0; ff < mm.numf; ++ff) {
        if (!mm.IsFaceValid(ff)) continue;
        const MNNormalFace& face = faces_[static_cast<size_t>(ff)];
        for (int c = 0; c < face.GetDegree(); ++c)
            if (!face.GetSpecified(c)) around[static_cast<size_t>(mm.f[ff].vtx[static_cast<size_t>(c)])].push_back({ff, c});
    }
    for (const auto& corners : around) {
        std::vector<int> group(corners.size(), -1);
        for (size_t i = 0; i < corners.size(); ++i) {
            if (group[i] >= 0) continue;
            const int id = static_cast<int>(normals_.size());
            normals_.push_back(Point3());
            explicit_.push_back(0);
            group[i] = id;
            DWORD sm = mm.f[corners[i].first].smGroup;
            if (sm == 0) continue;
            // Grow the group until no other corner shares a smoothing bit with it.
            for (bool grew = true; grew;) {
                grew = false;
                for (size_t j = i + 1; j < corners.size(); ++j) {
                    if (group[j] >= 0 || !(mm.f[corners[j].first].smGroup & sm)) continue;
                    group[j] = id;
                    sm |= mm.f[corners[j].first].smGroup;
                    grew = true;
                }
            }
        }
        for (size_t i = 0; i < corners.size(); ++i)
            faces_[static_cast<size_t>(corners[i].first)].SetNormalID(corners[i].second, group[i]);
    }
}

void MNNormalSpec::ComputeNormals() {
    if (!parent_) return;
    MNMesh& mm = *parent_;
    std::vector<Point3> sum(normals_.size());
    for (int ff = 0; ff < std::min(mm.numf, GetNumFaces()); ++ff) {
        if (!mm.IsFaceValid(ff)) continue;
        const Point3 n = mm.GetFaceNormal(ff, false);  // its length is twice the area
        const MNNormalFace& face = faces_[static_cast<size_t>(ff)];
        for (int c = 0; c < face.GetDegree(); ++c) {
            const int id = face.GetNormalID(c);
            if (id >= 0 && id < GetNumNormals()) sum[static_cast<size_t>(id)] += n;
        }
    }
    for (size_t i = 0; i < normals_.size(); ++i)
        if (!explicit_[i]) normals_[i] = sum[i].Normalize();
}
