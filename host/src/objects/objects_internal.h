// Shared pieces of the object classes: class registration and the class descriptor template.
#pragma once

#include <type_traits>

#include "iparamb2.h"
#include "iplugin.h"
#include "object.h"

namespace host::objects {

// The scene's current time (for calls that carry no time of their own).
TimeValue CurrentTime();

void RegisterDerivedObjectClass(ClassDirectory& dir);
void RegisterMeshClasses(ClassDirectory& dir);
void RegisterHelperClasses(ClassDirectory& dir);
void RegisterPrimitiveClasses(ClassDirectory& dir);
void RegisterModifierClasses(ClassDirectory& dir);

// A new auto-constructed block "params" (id 0, owner's reference 0) registered with cd.
ParamBlockDesc2& NewAutoBlock(ClassDesc2* cd);

// A descriptor for a host object class T; T(bool loading) is used when T has it.
template <class T>
class ObjectClassDesc : public ClassDesc2 {
public:
    ObjectClassDesc(const MCHAR* display, const MCHAR* script, SClass_ID sc, Class_ID id, const MCHAR* category,
                    bool isPublic = true)
        : display_(display), script_(script), category_(category), superClass_(sc), classID_(id),
          public_(isPublic) {}
    int IsPublic() override { return public_ ? 1 : 0; }
    void* Create(BOOL loading) override {
        if constexpr (std::is_constructible_v<T, bool>) return static_cast<Animatable*>(new T(loading != 0));
        else return static_cast<Animatable*>(new T());
    }
    const MCHAR* ClassName() override { return display_; }
    const MCHAR* NonLocalizedClassName() override { return script_; }
    SClass_ID SuperClassID() override { return superClass_; }
    Class_ID ClassID() override { return classID_; }
    const MCHAR* Category() override { return category_; }

private:
    const MCHAR* display_;
    const MCHAR* script_;
    const MCHAR* category_;
    SClass_ID superClass_;
    Class_ID classID_;
    bool public_;
};

}  // namespace host::objects

#include <vector>

#include "mesh.h"

namespace host::objects {

// Collects points and faces, then moves them into a Mesh. Quads are two triangles sharing a
// hidden diagonal (a-c), so conversions to polygons find the quad again.
class MeshBuilder {
public:
    int Vert(const Point3& p) {
        v.push_back(p);
        return static_cast<int>(v.size()) - 1;
    }
    // Corners counter-clockwise seen from the front; flip reverses the winding.
    void Tri(int a, int b, int c, DWORD sm, MtlID mat, bool flip = false) {
        Face fc;
        if (flip) std::swap(b, c);
        fc.setVerts(a, b, c);
        fc.setEdgeVisFlags(EDGE_VIS, EDGE_VIS, EDGE_VIS);
        fc.smGroup = sm;
        fc.setMatID(mat);
        f.push_back(fc);
    }
    void Quad(int a, int b, int c, int d, DWORD sm, MtlID mat, bool flip = false) {
        if (flip) std::swap(b, d);
        Face f1, f2;
        f1.setVerts(a, b, c);
        f1.setEdgeVisFlags(EDGE_VIS, EDGE_VIS, EDGE_INVIS);
        f2.setVerts(c, d, a);
        f2.setEdgeVisFlags(EDGE_VIS, EDGE_VIS, EDGE_INVIS);
        f1.smGroup = f2.smGroup = sm;
        f1.setMatID(mat);
        f2.setMatID(mat);
        f.push_back(f1);
        f.push_back(f2);
    }
    void Into(Mesh& m) const {
        m.setNumVerts(static_cast<int>(v.size()));
        m.setNumFaces(static_cast<int>(f.size()));
        for (size_t i = 0; i < v.size(); ++i) m.verts[i] = v[i];
        for (size_t i = 0; i < f.size(); ++i) m.faces[i] = f[i];
        m.InvalidateGeomCache();
        m.InvalidateTopologyCache();
    }
    std::vector<Point3> v;
    std::vector<Face> f;
};

}  // namespace host::objects
