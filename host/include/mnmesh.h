// MNMesh: a polygon mesh. Faces have any degree (three or more corners); a quad stays a quad
// through every operation here except OutToTri, which triangulates for display and for
// conversion to a triangle Mesh.
//
// Topology: faces list their corners (vtx) counter-clockwise seen from the front. FillInMesh
// builds the edge list (each edge with its one or two faces) and each face's edge list; a face
// with an index out of range, a repeated corner or fewer than three corners is marked MN_DEAD
// there and is skipped by edges, triangulation and conversions (it never crashes them).
//
// Each face keeps a triangulation (corner triples) for display and OutToTri; RetriangulateFace
// computes it by ear clipping in the face's plane, so concave polygons triangulate correctly;
// a face without one is fanned from corner 0.
//
// The counts and arrays (numv, v, numf, f, nume, e) are read-only views kept in step by
// setNumVerts / setNumFaces / NewVert / NewFace / FillInMesh.
#pragma once

#include <memory>
#include <vector>

#include "bitarray.h"
#include "box3.h"
#include "mesh.h"

class ISave;
class ILoad;

// Flags of vertices, edges, faces and the mesh.
constexpr DWORD MN_SEL = 1u << 0;
constexpr DWORD MN_DEAD = 1u << 1;
constexpr DWORD MN_TARG = 1u << 2;
constexpr DWORD MN_BACKFACING = 1u << 3;
constexpr DWORD MN_HIDDEN = 1u << 4;
constexpr DWORD MN_EDGE_INVIS = 1u << 5;
constexpr DWORD MN_MESH_FILLED_IN = 1u << 14;
constexpr DWORD MN_MESH_NONMANIFOLD = 1u << 15;

class MNVert {
public:
    Point3 p;
    DWORD flags = 0;
    bool GetFlag(DWORD fl) const { return (flags & fl) != 0; }
    void SetFlag(DWORD fl, bool val = true) { flags = val ? (flags | fl) : (flags & ~fl); }
};

// An edge from v1 to v2 as face f1 walks it; f2 walks it the other way, -1 on a border.
class MNEdge {
public:
    int v1 = -1, v2 = -1;
    int f1 = -1, f2 = -1;
    DWORD flags = 0;
    int OtherVert(int vv) const { return vv == v1 ? v2 : v1; }
    int OtherFace(int ff) const { return ff == f1 ? f2 : f1; }
    bool GetFlag(DWORD fl) const { return (flags & fl) != 0; }
};

class MNFace {
public:
    int deg = 0;
    std::vector<int> vtx;   // corners, deg entries
    std::vector<int> edg;   // edge of corner i (vtx[i] to vtx[i+1]) once FillInMesh ran
    BitArray visedg;        // edge i drawn (a triangle's hidden diagonal is off)
    DWORD smGroup = 0;
    MtlID material = 0;
    DWORD flags = 0;

    // deg corners, all 0; edges cleared; every edge visible; triangulation dropped.
    void SetDeg(int d);
    void MakePoly(int fdeg, const int* vv, const bool* vis = nullptr);
    // Corner index of vertex vv, or -1.
    int VertIndex(int vv) const;
    int EdgeIndex(int ee) const;
    int TriNum() const { return deg > 2 ? deg - 2 : 0; }
    // The triangulation as corner indices (three per triangle, TriNum triangles).
    void GetTriangles(std::vector<int>& tri) const;
    bool GetFlag(DWORD fl) const { return (flags & fl) != 0; }
    void SetFlag(DWORD fl, bool val = true) { flags = val ? (flags | fl) : (flags & ~fl); }

    // Internal: the stored triangulation (corner triples), empty for a fan.
    std::vector<int> host_tri;
};

class MNMapFace {
public:
    int deg = 0;
    std::vector<int> tv;
    void SetSize(int d) {
        deg = d < 0 ? 0 : d;
        tv.assign(static_cast<size_t>(deg), 0);
    }
    void MakePoly(int fdeg, const int* tt) {
        SetSize(fdeg);
        for (int i = 0; i < deg; ++i) tv[static_cast<size_t>(i)] = tt[i];
    }
};

// One map channel of an MNMesh: its own vertices and one face per mesh face.
class MNMap {
public:
    int VNum() const { return static_cast<int>(v.size()); }
    int FNum() const { return static_cast<int>(f.size()); }
    void setNumVerts(int n) { v.resize(static_cast<size_t>(n < 0 ? 0 : n)); }
    void setNumFaces(int n) { f.resize(static_cast<size_t>(n < 0 ? 0 : n)); }
    int NewVert(const UVVert& p) {
        v.push_back(p);
        return VNum() - 1;
    }
    UVVert& V(int i) { return v[static_cast<size_t>(i)]; }
    MNMapFace* F(int i) { return i >= 0 && i < FNum() ? &f[static_cast<size_t>(i)] : nullptr; }
    void ClearAndFree() {
        v.clear();
        f.clear();
    }
    // An unused channel is dead: no data, skipped by conversions.
    bool GetFlag(DWORD fl) const { return fl == MN_DEAD ? dead : false; }
    void SetFlag(DWORD fl, bool val = true) { if (fl == MN_DEAD) dead = val; }

    std::vector<UVVert> v;
    std::vector<MNMapFace> f;
    bool dead = true;
};

class MNMesh;

// A face of the specified normals: one normal id per corner, and which corners were
// specified by hand (the others are rebuilt from smoothing groups).
class MNNormalFace {
public:
    void SetDegree(int d) {
        deg_ = d < 0 ? 0 : d;
        ids_.assign(static_cast<size_t>(deg_), -1);
        specified_.assign(static_cast<size_t>(deg_), 0);
    }
    int GetDegree() const { return deg_; }
    // -1 out of range or when unset.
    int GetNormalID(int corner) const {
        return corner >= 0 && corner < deg_ ? ids_[static_cast<size_t>(corner)] : -1;
    }
    void SetNormalID(int corner, int id) {
        if (corner >= 0 && corner < deg_) ids_[static_cast<size_t>(corner)] = id;
    }
    bool GetSpecified(int corner) const {
        return corner >= 0 && corner < deg_ && specified_[static_cast<size_t>(corner)] != 0;
    }
    void SetSpecified(int corner, bool value = true) {
        if (corner >= 0 && corner < deg_) specified_[static_cast<size_t>(corner)] = value ? 1 : 0;
    }

private:
    int deg_ = 0;
    std::vector<int> ids_;
    std::vector<char> specified_;
};

// Specified (user) normals of an MNMesh: a pool of normals, and per face corner an index into
// it. Corners set with SetNormalIndex are specified; BuildNormals gives every other corner a
// normal shared by the faces around its vertex that share a smoothing group (a face without
// smoothing groups gets its own), and ComputeNormals sets each such normal to the
// area-weighted mean of those faces' normals. Explicit normals keep their values.
class MNNormalSpec {
public:
    void SetNumFaces(int n);
    int GetNumFaces() const { return static_cast<int>(faces_.size()); }
    void SetNumNormals(int n);
    int GetNumNormals() const { return static_cast<int>(normals_.size()); }
    // Normal i; i must be in range.
    Point3& Normal(int i) { return normals_[static_cast<size_t>(i)]; }
    // Out of range answers null.
    MNNormalFace* Face(int i) { return i >= 0 && i < GetNumFaces() ? &faces_[static_cast<size_t>(i)] : nullptr; }
    // Sets the corner's normal index and marks it specified (and the normal explicit);
    // out-of-range faces, corners or indices are ignored.
    void SetNormalIndex(int face, int corner, int normalIndex);
    int GetNormalIndex(int face, int corner) const;
    // The corner's normal, or zero when it has none.
    Point3 GetNormal(int face, int corner) const;
    bool GetNormalExplicit(int i) const {
        return i >= 0 && i < GetNumNormals() && explicit_[static_cast<size_t>(i)] != 0;
    }
    void SetNormalExplicit(int i, bool value = true) {
        if (i >= 0 && i < GetNumNormals()) explicit_[static_cast<size_t>(i)] = value ? 1 : 0;
    }
    // Sizes the faces after the mesh (keeping specified corners of faces whose degree is
    // unchanged) and assigns the unspecified corners; drops normals nothing uses.
    void BuildNormals();
    // Values of the normals that are not explicit.
    void ComputeNormals();
    MNMesh* GetParent() const { return parent_; }

private:
    friend class MNMesh;
    MNMesh* parent_ = nullptr;
    std::vector<Point3> normals_;
    std::vector<char> explicit_;
    std::vector<MNNormalFace> faces_;
};

class MNMesh {
public:
    MNMesh();
    MNMesh(const MNMesh& from);
    MNMesh& operator=(const MNMesh& from);
    ~MNMesh() = default;

    // Counts. Negative counts are taken as 0; existing entries are kept, new faces have degree 0
    // (dead until made into polygons). Changing faces drops the edge list.
    void setNumVerts(int nvnum);
    void setNumFaces(int nfnum);
    int VNum() const { return numv; }
    int FNum() const { return numf; }
    int ENum() const { return nume; }
    MNVert* V(int i) { return i >= 0 && i < numv ? &verts_[static_cast<size_t>(i)] : nullptr; }
    MNFace* F(int i) { return i >= 0 && i < numf ? &faces_[static_cast<size_t>(i)] : nullptr; }
    MNEdge* E(int i) { return i >= 0 && i < nume ? &edges_[static_cast<size_t>(i)] : nullptr; }
    // The point of vertex i; i must be in range.
    Point3& P(int i) { return verts_[static_cast<size_t>(i)].p; }
    const Point3& P(int i) const { return verts_[static_cast<size_t>(i)].p; }

    int NewVert(const Point3& p);
    // A new face with degg corners vv (vis: per-edge visibility, all visible when null);
    // answers its index. NewTri and NewQuad are the common cases.
    int NewFace(int initFace, int degg, const int* vv, const bool* vis = nullptr, const bool* sel = nullptr);
    int NewTri(int a, int b, int c);
    int NewQuad(int a, int b, int c, int d);

    // Builds edges and marks bad faces MN_DEAD (see the header comment). An edge shared by more
    // than two faces gets a new edge for each extra face and the mesh MN_MESH_NONMANIFOLD.
    void FillInMesh();
    void FillInFaceEdges() { FillInMesh(); }
    // Edge between vertices a and b, or -1 (needs FillInMesh).
    int FindEdgeFromVertToVert(int a, int b) const;
    bool GetFlag(DWORD fl) const { return (flags_ & fl) != 0; }
    void SetFlag(DWORD fl, bool val = true) { flags_ = val ? (flags_ | fl) : (flags_ & ~fl); }
    void ClearFlag(DWORD fl) { flags_ &= ~fl; }

    // A face is usable when it has three or more corners, all in range and distinct in turn.
    bool IsFaceValid(int ff) const;
    void RetriangulateFace(int ff);
    // The normal of a face (Newell's method: right for non-planar and concave faces); zero
    // for a dead or collinear face.
    Point3 GetFaceNormal(int ff, bool nrmlize = false) const;

    // Map channels 0..MNum()-1; M answers null out of range.
    void SetMapNum(int mpnum);
    int MNum() const { return static_cast<int>(maps_.size()); }
    MNMap* M(int mp) { return mp >= 0 && mp < MNum() ? &maps_[static_cast<size_t>(mp)] : nullptr; }
    // Makes channel mp live with one map face per face, copying the face corners.
    void InitMap(int mp);
    void ClearMap(int mp);

    // Specified normals: made on demand, null until then.
    void SpecifyNormals();
    MNNormalSpec* GetSpecifiedNormals() { return normals_.get(); }
    void ClearSpecifiedNormals() { normals_.reset(); }

    // Conversions. SetFromTri makes one triangle per valid face (degenerate ones are
    // dropped); MakePolyMesh then joins triangles across invisible edges into polygons, so a
    // mesh built of quads with hidden diagonals comes back as quads. A group whose outline is
    // not one simple loop stays triangles. OutToTri writes the triangulation, polygon edges
    // visible and diagonals hidden; map channels follow.
    void SetFromTri(const Mesh& from);
    void MakePolyMesh(int maxdeg = 0, BOOL elimCollin = TRUE);
    void OutToTri(Mesh& tmesh);

    // Bounds of the vertices that faces use (all vertices when no face is valid).
    Box3 getBoundingBox(Matrix3* tm = nullptr, bool targonly = false);
    void BBox(Box3& bbox, bool targonly = false);

    // Drops everything.
    void ClearAndFree();
    void Init() { ClearAndFree(); }
    // Removes dead faces (and their map faces); drops the edge list. Answers how many went.
    int CollapseDeadFaces();

    // Scene file chunks (ids 0x2100..0x213F of the caller's chunk list), specified normals
    // included.
    IOResult Save(ISave* isave);
    IOResult Load(ILoad* iload);

    // Views kept in step with the data.
    int numv = 0;
    int numf = 0;
    int nume = 0;
    MNVert* v = nullptr;
    MNFace* f = nullptr;
    MNEdge* e = nullptr;

    DWORD selLevel = 0;

private:
    void Sync();
    std::vector<MNVert> verts_;
    std::vector<MNFace> faces_;
    std::vector<MNEdge> edges_;
    std::vector<MNMap> maps_;
    std::unique_ptr<MNNormalSpec> normals_;
    DWORD flags_ = 0;
};
