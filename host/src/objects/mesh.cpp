#include "mesh.h"

#include <algorithm>

#include "chunk_util.h"

namespace {
constexpr USHORT kVertsChunk = 0x2000;
constexpr USHORT kFacesChunk = 0x2010;
constexpr USHORT kMapChunk = 0x2020;      // container, one per supported channel
constexpr USHORT kMapIdChunk = 0x2021;    // int32 channel
constexpr USHORT kMapVertsChunk = 0x2022;
constexpr USHORT kMapFacesChunk = 0x2023;
}  // namespace

void Face::setEdgeVis(int edge, DWORD visFlag) {
    if (edge < 0 || edge > 2) return;
    if (visFlag) flags |= (1u << edge);
    else flags &= ~(1u << edge);
}

void Face::setEdgeVisFlags(DWORD va, DWORD vb, DWORD vc) {
    setEdgeVis(0, va);
    setEdgeVis(1, vb);
    setEdgeVis(2, vc);
}

int Face::GetVertIndex(DWORD vert) const {
    for (int i = 0; i < 3; ++i)
        if (v[i] == vert) return i;
    return -1;
}

int Face::GetEdgeIndex(DWORD v0, DWORD v1) const {
    for (int i = 0; i < 3; ++i) {
        DWORD a = v[i], b = v[(i + 1) % 3];
        if ((a == v0 && b == v1) || (a == v1 && b == v0)) return i;
    }
    return -1;
}

Mesh::Mesh() { maps_.resize(2); }

Mesh::Mesh(const Mesh& m) { *this = m; }

Mesh& Mesh::operator=(const Mesh& m) {
    if (this == &m) return *this;
    vertData_ = m.vertData_;
    faceData_ = m.faceData_;
    maps_ = m.maps_;
    vnormals_ = m.vnormals_;
    normalsValid_ = m.normalsValid_;
    bdgBox_ = m.bdgBox_;
    boxValid_ = m.boxValid_;
    vertSel = m.vertSel;
    faceSel = m.faceSel;
    edgeSel = m.edgeSel;
    selLevel = m.selLevel;
    Sync();
    return *this;
}

Mesh::Mesh(Mesh&& m) noexcept { *this = std::move(m); }

Mesh& Mesh::operator=(Mesh&& m) noexcept {
    if (this == &m) return *this;
    vertData_ = std::move(m.vertData_);
    faceData_ = std::move(m.faceData_);
    maps_ = std::move(m.maps_);
    vnormals_ = std::move(m.vnormals_);
    normalsValid_ = m.normalsValid_;
    bdgBox_ = m.bdgBox_;
    boxValid_ = m.boxValid_;
    vertSel = std::move(m.vertSel);
    faceSel = std::move(m.faceSel);
    edgeSel = std::move(m.edgeSel);
    selLevel = m.selLevel;
    Sync();
    m.FreeAll();
    return *this;
}

void Mesh::Sync() {
    numVerts = static_cast<int>(vertData_.size());
    numFaces = static_cast<int>(faceData_.size());
    verts = vertData_.empty() ? nullptr : vertData_.data();
    faces = faceData_.empty() ? nullptr : faceData_.data();
}

BOOL Mesh::setNumVerts(int ct, BOOL keep, BOOL synchSel) {
    (void)keep;
    ct = std::max(ct, 0);
    vertData_.resize(static_cast<size_t>(ct));
    if (synchSel) vertSel.SetSize(ct, TRUE);
    Sync();
    InvalidateGeomCache();
    return TRUE;
}

BOOL Mesh::setNumFaces(int ct, BOOL keep, BOOL synchSel) {
    (void)keep;
    ct = std::max(ct, 0);
    faceData_.resize(static_cast<size_t>(ct));
    for (MeshMap& m : maps_)
        if (m.support) m.tf.resize(static_cast<size_t>(ct));
    if (synchSel) {
        faceSel.SetSize(ct, TRUE);
        edgeSel.SetSize(ct * 3, TRUE);
    }
    Sync();
    InvalidateTopologyCache();
    return TRUE;
}

void Mesh::setVert(int i, const Point3& xyz) {
    if (i < 0 || i >= numVerts) return;
    verts[i] = xyz;
    InvalidateGeomCache();
}

Point3 Mesh::getVert(int i) const { return i >= 0 && i < numVerts ? verts[i] : Point3(); }

void Mesh::setNumMaps(int ct, BOOL keep) {
    ct = std::clamp(ct, 0, MAX_MESHMAPS);
    if (!keep) maps_.clear();
    maps_.resize(static_cast<size_t>(ct));
}

BOOL Mesh::mapSupport(int mp) const {
    return mp >= 0 && mp < getNumMaps() && maps_[static_cast<size_t>(mp)].support ? TRUE : FALSE;
}

void Mesh::setMapSupport(int mp, BOOL support) {
    if (mp < 0 || mp >= MAX_MESHMAPS) return;
    if (mp >= getNumMaps()) setNumMaps(mp + 1, TRUE);
    MeshMap& m = maps_[static_cast<size_t>(mp)];
    m.support = support != FALSE;
    if (m.support) {
        m.tf.resize(static_cast<size_t>(numFaces));
    } else {
        m.tv.clear();
        m.tf.clear();
    }
}

void Mesh::setNumMapVerts(int mp, int ct, BOOL keep) {
    (void)keep;
    if (!mapSupport(mp)) return;
    maps_[static_cast<size_t>(mp)].tv.resize(static_cast<size_t>(std::max(ct, 0)));
}

int Mesh::getNumMapVerts(int mp) const {
    return mapSupport(mp) ? static_cast<int>(maps_[static_cast<size_t>(mp)].tv.size()) : 0;
}

UVVert* Mesh::mapVerts(int mp) {
    if (!mapSupport(mp) || maps_[static_cast<size_t>(mp)].tv.empty()) return nullptr;
    return maps_[static_cast<size_t>(mp)].tv.data();
}

TVFace* Mesh::mapFaces(int mp) {
    if (!mapSupport(mp) || maps_[static_cast<size_t>(mp)].tf.empty()) return nullptr;
    return maps_[static_cast<size_t>(mp)].tf.data();
}

BOOL Mesh::setNumTVerts(int ct, BOOL keep) {
    if (!mapSupport(1)) setMapSupport(1, TRUE);
    setNumMapVerts(1, ct, keep);
    return TRUE;
}

void Mesh::setTVert(int i, const UVVert& uvw) {
    if (i < 0 || i >= getNumMapVerts(1)) return;
    maps_[1].tv[static_cast<size_t>(i)] = uvw;
}

UVVert Mesh::getTVert(int i) const {
    if (i < 0 || i >= getNumMapVerts(1)) return UVVert();
    return maps_[1].tv[static_cast<size_t>(i)];
}

bool Mesh::IsDegenerateFace(int fi) const {
    if (fi < 0 || fi >= numFaces) return true;
    const Face& f = faces[fi];
    const DWORD n = static_cast<DWORD>(numVerts);
    if (f.v[0] >= n || f.v[1] >= n || f.v[2] >= n) return true;
    return f.v[0] == f.v[1] || f.v[1] == f.v[2] || f.v[2] == f.v[0];
}

Point3 Mesh::FaceNormal(int fi, bool nrmlize) const {
    if (IsDegenerateFace(fi)) return Point3();
    const Face& f = faces[fi];
    Point3 n = (verts[f.v[1]] - verts[f.v[0]]) ^ (verts[f.v[2]] - verts[f.v[1]]);
    return nrmlize ? n.Normalize() : n;
}

void Mesh::buildNormals() {
    vnormals_.assign(static_cast<size_t>(numVerts), Point3());
    for (int fi = 0; fi < numFaces; ++fi) {
        if (IsDegenerateFace(fi)) continue;
        const Point3 n = FaceNormal(fi, false);  // length is twice the area: area weighting
        for (DWORD v : faces[fi].v) vnormals_[v] += n;
    }
    for (Point3& n : vnormals_) n = n.Normalize();
    normalsValid_ = true;
}

Point3 Mesh::getNormal(int vi) const {
    if (!normalsValid_) const_cast<Mesh*>(this)->buildNormals();
    return vi >= 0 && vi < static_cast<int>(vnormals_.size()) ? vnormals_[static_cast<size_t>(vi)] : Point3();
}

void Mesh::buildBoundingBox() {
    bdgBox_.Init();
    if (numVerts > 0) bdgBox_.IncludePoints(verts, numVerts);
    boxValid_ = true;
}

Box3 Mesh::getBoundingBox(Matrix3* tm) const {
    if (tm) {
        Box3 b;
        if (numVerts > 0) b.IncludePoints(verts, numVerts, tm);
        return b;
    }
    if (!boxValid_) const_cast<Mesh*>(this)->buildBoundingBox();
    return bdgBox_;
}

int Mesh::RemoveDegenerateFaces() {
    int kept = 0;
    for (int fi = 0; fi < numFaces; ++fi) {
        if (IsDegenerateFace(fi)) continue;
        faceData_[static_cast<size_t>(kept)] = faceData_[static_cast<size_t>(fi)];
        for (MeshMap& m : maps_)
            if (m.support && static_cast<size_t>(fi) < m.tf.size())
                m.tf[static_cast<size_t>(kept)] = m.tf[static_cast<size_t>(fi)];
        ++kept;
    }
    const int removed = numFaces - kept;
    if (removed > 0) setNumFaces(kept, TRUE);
    return removed;
}

int Mesh::DeleteIsoVerts() {
    std::vector<int> remap(static_cast<size_t>(numVerts), -1);
    for (int fi = 0; fi < numFaces; ++fi)
        for (DWORD v : faces[fi].v)
            if (v < static_cast<DWORD>(numVerts)) remap[v] = 0;
    int next = 0;
    for (int vi = 0; vi < numVerts; ++vi) {
        if (remap[static_cast<size_t>(vi)] < 0) continue;
        remap[static_cast<size_t>(vi)] = next;
        vertData_[static_cast<size_t>(next++)] = vertData_[static_cast<size_t>(vi)];
    }
    const int removed = numVerts - next;
    if (removed == 0) return 0;
    for (Face& f : faceData_)
        for (DWORD& v : f.v)
            if (v < remap.size()) v = static_cast<DWORD>(remap[v]);
    setNumVerts(next, TRUE);
    return removed;
}

void Mesh::InvalidateGeomCache() {
    normalsValid_ = false;
    boxValid_ = false;
}

void Mesh::InvalidateTopologyCache() { normalsValid_ = false; }

void Mesh::FreeAll() {
    vertData_.clear();
    faceData_.clear();
    maps_.clear();
    maps_.resize(2);
    vnormals_.clear();
    vertSel.SetSize(0);
    faceSel.SetSize(0);
    edgeSel.SetSize(0);
    Sync();
    InvalidateGeomCache();
}

IOResult Mesh::Save(ISave* isave) const {
    using namespace host::objio;
    WriteArray(isave, kVertsChunk, verts, numVerts);
    WriteArray(isave, kFacesChunk, faces, numFaces);
    for (int mp = 0; mp < getNumMaps(); ++mp) {
        const MeshMap& m = maps_[static_cast<size_t>(mp)];
        if (!m.support) continue;
        isave->BeginChunk(kMapChunk);
        WriteChunk(isave, kMapIdChunk, int32_t(mp));
        WriteArray(isave, kMapVertsChunk, m.tv.data(), static_cast<int>(m.tv.size()));
        WriteArray(isave, kMapFacesChunk, m.tf.data(), static_cast<int>(m.tf.size()));
        isave->EndChunk();
    }
    return IO_OK;
}

IOResult Mesh::Load(ILoad* iload) {
    using namespace host::objio;
    FreeAll();
    IOResult res;
    while ((res = iload->OpenChunk()) == IO_OK) {
        bool ok = true;
        switch (iload->CurChunkID()) {
            case kVertsChunk: ok = ReadArray(iload, vertData_); break;
            case kFacesChunk: ok = ReadArray(iload, faceData_); break;
            case kMapChunk: {
                int32_t mp = -1;
                MeshMap m;
                m.support = true;
                while (ok && iload->OpenChunk() == IO_OK) {
                    switch (iload->CurChunkID()) {
                        case kMapIdChunk: ok = ReadValue(iload, mp); break;
                        case kMapVertsChunk: ok = ReadArray(iload, m.tv); break;
                        case kMapFacesChunk: ok = ReadArray(iload, m.tf); break;
                        default: break;
                    }
                    iload->CloseChunk();
                }
                if (ok && mp >= 0 && mp < MAX_MESHMAPS) {
                    if (mp >= getNumMaps()) setNumMaps(mp + 1, TRUE);
                    maps_[static_cast<size_t>(mp)] = std::move(m);
                } else {
                    ok = false;
                }
                break;
            }
            default: break;
        }
        iload->CloseChunk();
        if (!ok) return IO_ERROR;
    }
    if (res == IO_ERROR) return IO_ERROR;
    for (MeshMap& m : maps_)
        if (m.support && m.tf.size() != faceData_.size()) return IO_ERROR;
    vertSel.SetSize(static_cast<int>(vertData_.size()));
    faceSel.SetSize(static_cast<int>(faceData_.size()));
    edgeSel.SetSize(static_cast<int>(faceData_.size()) * 3);
    Sync();
    InvalidateGeomCache();
    return IO_OK;
}
