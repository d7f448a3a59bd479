// Mesh: a triangle mesh in object space (points, triangles, map channels, selections).
//
// Faces index vertices; a face whose index is out of range or repeated is degenerate: it is
// kept, contributes nothing to normals and is skipped by conversions. RemoveDegenerateFaces
// drops such faces. Edge visibility marks the edges a polygon is drawn with: a quad built from
// two triangles has the shared diagonal invisible, which is how conversions to polygons find
// the polygon again.
//
// The counts and arrays (numVerts, verts, numFaces, faces) are read-only views kept in step
// by setNumVerts / setNumFaces; write points through verts[i] or setVert, never the counts.
#pragma once

#include <vector>

#include "bitarray.h"
#include "box3.h"
#include "matrix3.h"
#include "point3.h"
#include "ref.h"

class ISave;
class ILoad;

typedef Point3 UVVert;
typedef unsigned short MtlID;

// Face flags: edge visibility of edges v0-v1 (A), v1-v2 (B), v2-v0 (C); hidden; the material
// id in the high 16 bits.
constexpr DWORD EDGE_INVIS = 0;
constexpr DWORD EDGE_VIS = 1;
constexpr DWORD EDGE_A = 1u << 0;
constexpr DWORD EDGE_B = 1u << 1;
constexpr DWORD EDGE_C = 1u << 2;
constexpr DWORD EDGE_ALL = EDGE_A | EDGE_B | EDGE_C;
constexpr DWORD FACE_HIDDEN = 1u << 3;
constexpr int FACE_MATID_SHIFT = 16;
constexpr DWORD FACE_MATID_MASK = 0xFFFF;

// Selection levels of a mesh.
constexpr DWORD MESH_OBJECT = 1u << 0;
constexpr DWORD MESH_VERTEX = 1u << 1;
constexpr DWORD MESH_FACE = 1u << 2;
constexpr DWORD MESH_EDGE = 1u << 3;

class Face {
public:
    DWORD v[3] = {0, 0, 0};
    DWORD smGroup = 0;
    DWORD flags = EDGE_ALL;

    void setVerts(int a, int b, int c) {
        v[0] = static_cast<DWORD>(a);
        v[1] = static_cast<DWORD>(b);
        v[2] = static_cast<DWORD>(c);
    }
    void setVerts(const int* vrt) { setVerts(vrt[0], vrt[1], vrt[2]); }
    DWORD getVert(int i) const { return v[i]; }
    DWORD* getAllVerts() { return v; }
    // Visibility of edge 0 (v0-v1), 1 or 2: EDGE_VIS or EDGE_INVIS.
    void setEdgeVis(int edge, DWORD visFlag);
    void setEdgeVisFlags(DWORD va, DWORD vb, DWORD vc);
    DWORD getEdgeVis(int edge) const { return (flags >> edge) & 1u; }
    void setSmGroup(DWORD i) { smGroup = i; }
    DWORD getSmGroup() const { return smGroup; }
    MtlID getMatID() const { return static_cast<MtlID>((flags >> FACE_MATID_SHIFT) & FACE_MATID_MASK); }
    void setMatID(MtlID id) { flags = (flags & 0xFFFFu) | (DWORD(id) << FACE_MATID_SHIFT); }
    void Hide() { flags |= FACE_HIDDEN; }
    void Show() { flags &= ~FACE_HIDDEN; }
    bool Hidden() const { return (flags & FACE_HIDDEN) != 0; }
    // Which corner (0..2) holds vertex vert, or -1.
    int GetVertIndex(DWORD vert) const;
    // The edge (0..2) from v0 to v1 or from v1 to v0, or -1.
    int GetEdgeIndex(DWORD v0, DWORD v1) const;
};

// A face of a map channel: indices into the channel's own vertices.
class TVFace {
public:
    DWORD t[3] = {0, 0, 0};
    TVFace() = default;
    TVFace(DWORD a, DWORD b, DWORD c) : t{a, b, c} {}
    void setTVerts(int a, int b, int c) {
        t[0] = static_cast<DWORD>(a);
        t[1] = static_cast<DWORD>(b);
        t[2] = static_cast<DWORD>(c);
    }
    DWORD getTVert(int i) const { return t[i]; }
};

// One map channel: its vertices and one face per mesh face.
struct MeshMap {
    bool support = false;
    std::vector<UVVert> tv;
    std::vector<TVFace> tf;
};

// Map channels: 0 is vertex colour, 1 the first texture channel, up to MAX_MESHMAPS - 1.
constexpr int MAX_MESHMAPS = 100;

class Mesh {
public:
    Mesh();
    Mesh(const Mesh& m);
    Mesh& operator=(const Mesh& m);
    Mesh(Mesh&& m) noexcept;
    Mesh& operator=(Mesh&& m) noexcept;
    ~Mesh() = default;

    // Counts. Negative counts are taken as 0. New entries are zero (points) or faces of
    // vertex 0 with every edge visible; existing entries are kept.
    BOOL setNumVerts(int ct, BOOL keep = FALSE, BOOL synchSel = TRUE);
    int getNumVerts() const { return numVerts; }
    BOOL setNumFaces(int ct, BOOL keep = FALSE, BOOL synchSel = TRUE);
    int getNumFaces() const { return numFaces; }

    // Points. Out-of-range reads answer the origin; out-of-range writes are ignored.
    void setVert(int i, const Point3& xyz);
    void setVert(int i, float x, float y, float z) { setVert(i, Point3(x, y, z)); }
    Point3 getVert(int i) const;
    Point3* getVertPtr(int i) { return i >= 0 && i < numVerts ? &verts[i] : nullptr; }

    // Map channels. A channel without support has no vertices or faces.
    int getNumMaps() const { return static_cast<int>(maps_.size()); }
    void setNumMaps(int ct, BOOL keep = TRUE);
    BOOL mapSupport(int mp) const;
    // Turning support on gives the channel one face per mesh face (all of vertex 0).
    void setMapSupport(int mp, BOOL support = TRUE);
    void setNumMapVerts(int mp, int ct, BOOL keep = FALSE);
    int getNumMapVerts(int mp) const;
    UVVert* mapVerts(int mp);
    TVFace* mapFaces(int mp);
    // Channel 1 under its old names.
    int getNumTVerts() const { return getNumMapVerts(1); }
    BOOL setNumTVerts(int ct, BOOL keep = FALSE);
    void setTVert(int i, const UVVert& uvw);
    UVVert getTVert(int i) const;

    // Normals. The face normal follows the right-hand rule over v0, v1, v2 and is zero for a
    // degenerate face. buildNormals computes vertex normals as the area-weighted mean of the
    // normals of the faces around each vertex (zero for a vertex no valid face uses).
    Point3 FaceNormal(int fi, bool nrmlize = false) const;
    Point3 getFaceNormal(int fi) const { return FaceNormal(fi, true); }
    void buildNormals();
    Point3 getNormal(int vi) const;

    // Bounds of the points (all points, referenced or not); empty for a mesh without points.
    void buildBoundingBox();
    Box3 getBoundingBox(Matrix3* tm = nullptr) const;

    // A face is degenerate when an index is out of range or two of its corners are the same.
    bool IsDegenerateFace(int fi) const;
    // Drops degenerate faces (and their map faces); answers how many went.
    int RemoveDegenerateFaces();
    // Drops vertices no face uses, renumbering faces; answers how many went.
    int DeleteIsoVerts();

    // Caches (normals, bounds) rebuild after these.
    void InvalidateGeomCache();
    void InvalidateTopologyCache();

    // Empties the mesh.
    void FreeAll();
    void Init() { FreeAll(); }

    // Scene file chunks of the mesh (ids 0x2000..0x202F of the caller's chunk list). Load
    // answers IO_ERROR for sizes that do not match their counts.
    IOResult Save(ISave* isave) const;
    IOResult Load(ILoad* iload);

    // Views kept in step with the counts.
    int numVerts = 0;
    int numFaces = 0;
    Point3* verts = nullptr;
    Face* faces = nullptr;

    // Selections and their level (MESH_OBJECT, MESH_VERTEX, ...).
    BitArray vertSel;
    BitArray faceSel;
    BitArray edgeSel;
    DWORD selLevel = MESH_OBJECT;

private:
    void Sync();

    std::vector<Point3> vertData_;
    std::vector<Face> faceData_;
    std::vector<MeshMap> maps_;
    std::vector<Point3> vnormals_;
    bool normalsValid_ = false;
    Box3 bdgBox_;
    bool boxValid_ = false;
};
