#include "objects_fixtures.h"

#include <cmath>

using namespace objtest;

namespace {

Box3 MeshBox(Object* obj, TimeValue t = 0) {
    Box3 b;
    obj->Eval(t).obj->GetDeformBBox(t, b);
    return b;
}

float SignedVolume(Mesh& m) {
    float v = 0.0f;
    for (int f = 0; f < m.numFaces; ++f)
        v += m.verts[m.faces[f].v[0]] % (m.verts[m.faces[f].v[1]] ^ m.verts[m.faces[f].v[2]]);
    return v / 6.0f;
}

::testing::AssertionResult BoxNear(const Box3& b, const Point3& lo, const Point3& hi, float eps = 1e-4f) {
    if (Length(b.pmin - lo) <= eps && Length(b.pmax - hi) <= eps) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "box (" << b.pmin.x << "," << b.pmin.y << "," << b.pmin.z << ")-("
                                         << b.pmax.x << "," << b.pmax.y << "," << b.pmax.z << ")";
}

}  // namespace

TEST_F(ObjectsTest, BoneMeshExtentsFollowWidthHeightLengthAndTaper) {
    auto* bone = Make<SimpleObject>(GEOMOBJECT_CLASS_ID, BONE_OBJ_CLASSID);
    ASSERT_NE(bone, nullptr);
    IParamBlock2* pb = bone->GetParamBlock(0);
    pb->SetValue(boneobj_width, 0, 4.0f);
    pb->SetValue(boneobj_height, 0, 6.0f);
    pb->SetValue(boneobj_length, 0, 30.0f);
    pb->SetValue(boneobj_taper, 0, 50.0f);
    EXPECT_TRUE(BoxNear(MeshBox(bone), Point3(0, -2, -3), Point3(30, 2, 3)));
    Mesh& m = static_cast<TriObject*>(bone)->mesh;
    EXPECT_NEAR(SignedVolume(m), 30.0f * (24.0f + 6.0f + std::sqrt(24.0f * 6.0f)) / 3.0f, 1e-2f)
        << "a frustum from 4 x 6 to 2 x 3, faces out";
    bool endHalved = false;
    for (int i = 0; i < m.numVerts; ++i)
        if (m.verts[i].x == 30.0f && std::fabs(m.verts[i].y) == 1.0f && std::fabs(m.verts[i].z) == 1.5f)
            endHalved = true;
    EXPECT_TRUE(endHalved) << "taper 50 halves the end section";

    // Fins widen the box on their sides only.
    pb->SetValue(boneobj_sidefins, 0, 1);
    pb->SetValue(boneobj_sidefins_size, 0, 5.0f);
    pb->SetValue(boneobj_sidefins_starttaper, 0, 0.0f);
    Box3 b = MeshBox(bone);
    EXPECT_NEAR(b.pmax.y, 7.0f, 1e-4f);
    EXPECT_NEAR(b.pmin.y, -7.0f, 1e-4f);
    EXPECT_NEAR(b.pmax.z, 3.0f, 1e-4f);
    pb->SetValue(boneobj_sidefins, 0, 0);
    pb->SetValue(boneobj_frontfin, 0, 1);
    pb->SetValue(boneobj_frontfin_size, 0, 1.0f);
    b = MeshBox(bone);
    EXPECT_NEAR(b.pmax.z, 3.0f + 1.0f, 0.3f);
    EXPECT_NEAR(b.pmax.y, 2.0f, 1e-4f);
    pb->SetValue(boneobj_frontfin, 0, 0);

    // Bad input: a negative length points the bone back, faces still out; zero sizes keep the
    // topology; an out-of-range taper is clamped.
    pb->SetValue(boneobj_length, 0, -10.0f);
    EXPECT_TRUE(BoxNear(MeshBox(bone), Point3(-10, -2, -3), Point3(0, 2, 3)));
    EXPECT_GT(SignedVolume(m), 0.0f);
    const int faces = m.numFaces;
    pb->SetValue(boneobj_length, 0, 0.0f);
    pb->SetValue(boneobj_width, 0, 0.0f);
    EXPECT_TRUE(BoxNear(MeshBox(bone), Point3(0, 0, -3), Point3(0, 0, 3)));
    EXPECT_EQ(m.numFaces, faces);
    pb->SetValue(boneobj_length, 0, 10.0f);
    pb->SetValue(boneobj_width, 0, 4.0f);
    pb->SetValue(boneobj_taper, 0, 250.0f);
    EXPECT_TRUE(BoxNear(MeshBox(bone), Point3(0, -2, -3), Point3(10, 2, 3)));
    bone->DeleteMe();
}

TEST_F(ObjectsTest, PrimitivesHaveTheirSizesAndDegenerateInputStaysDefined) {
    auto* box = Make<SimpleObject>(GEOMOBJECT_CLASS_ID, BOXOBJ_CLASS_ID);
    IParamBlock2* pb = box->GetParamBlock(0);
    pb->SetValue(box_length, 0, 10.0f);
    pb->SetValue(box_width, 0, 20.0f);
    pb->SetValue(box_height, 0, 5.0f);
    EXPECT_TRUE(BoxNear(MeshBox(box), Point3(-10, -5, 0), Point3(10, 5, 5)));
    EXPECT_NEAR(SignedVolume(box->mesh), 1000.0f, 1e-2f);
    pb->SetValue(box_height, 0, -5.0f);
    EXPECT_TRUE(BoxNear(MeshBox(box), Point3(-10, -5, -5), Point3(10, 5, 0)));
    EXPECT_NEAR(SignedVolume(box->mesh), 1000.0f, 1e-2f) << "a mirrored box still faces out";
    pb->SetValue(box_height, 0, 0.0f);
    pb->SetValue(box_lengthsegs, 0, 3);
    box->Eval(0);
    EXPECT_EQ(box->mesh.numFaces, 2 * (2 * 3 + 2 * 1 + 2 * 3)) << "flat, with its topology";
    EXPECT_EQ(MeshBox(box).pmax.z, 0.0f);

    auto* sphere = Make<SimpleObject>(GEOMOBJECT_CLASS_ID, SPHERE_CLASS_ID);
    sphere->GetParamBlock(0)->SetValue(sphere_radius, 0, 3.0f);
    sphere->GetParamBlock(0)->SetValue(sphere_segs, 0, 16);
    EXPECT_TRUE(BoxNear(MeshBox(sphere), Point3(-3, -3, -3), Point3(3, 3, 3)));
    const float ball = 4.0f / 3.0f * 3.14159265f * 27.0f;
    EXPECT_LT(SignedVolume(sphere->mesh), ball) << "points on the sphere, faces out: a bit less than the ball";
    EXPECT_GT(SignedVolume(sphere->mesh), 0.9f * ball);
    sphere->GetParamBlock(0)->SetValue(sphere_radius, 0, -2.0f);
    EXPECT_TRUE(BoxNear(MeshBox(sphere), Point3(), Point3()));
    sphere->GetParamBlock(0)->SetValue(sphere_segs, 0, 1);
    sphere->Eval(0);
    EXPECT_EQ(sphere->mesh.numVerts, 2 + 4) << "segments clamp to 4: two poles and one ring";

    auto* plane = Make<SimpleObject>(GEOMOBJECT_CLASS_ID, PLANE_CLASS_ID);
    plane->GetParamBlock(0)->SetValue(plane_width, 0, -8.0f);
    EXPECT_TRUE(BoxNear(MeshBox(plane), Point3(-4.0f, -12.5f, 0.0f), Point3(4.0f, 12.5f, 0.0f)));
    EXPECT_GT(plane->mesh.FaceNormal(0).z, 0.0f) << "a mirrored plane still faces +Z";
    box->DeleteMe();
    sphere->DeleteMe();
    plane->DeleteMe();
}

TEST_F(ObjectsTest, EveryHostObjectIsCreatableByItsScriptName) {
    struct Want {
        const MCHAR* name;
        SClass_ID sc;
        Class_ID cid;
    };
    const Want wants[] = {{L"Point", HELPER_CLASS_ID, POINTHELP_CLASS_ID},
                          {L"Dummy", HELPER_CLASS_ID, DUMMY_CLASS_ID},
                          {L"BoneGeometry", GEOMOBJECT_CLASS_ID, BONE_OBJ_CLASSID},
                          {L"Box", GEOMOBJECT_CLASS_ID, BOXOBJ_CLASS_ID},
                          {L"Plane", GEOMOBJECT_CLASS_ID, PLANE_CLASS_ID},
                          {L"Sphere", GEOMOBJECT_CLASS_ID, SPHERE_CLASS_ID},
                          {L"Editable_Mesh", GEOMOBJECT_CLASS_ID, EDITTRIOBJ_CLASS_ID},
                          {L"Editable_Poly", GEOMOBJECT_CLASS_ID, EPOLYOBJ_CLASS_ID},
                          {L"EmptyModifier", OSM_CLASS_ID, EMPTYMOD_CLASS_ID},
                          {L"Offset", OSM_CLASS_ID, OFFSETMOD_CLASS_ID}};
    for (const Want& w : wants) {
        ClassDesc* cd = host::ClassDirectory::Get().FindClassByScriptName(w.name);
        ASSERT_NE(cd, nullptr) << host::ToUtf8(w.name);
        EXPECT_EQ(cd->SuperClassID(), w.sc) << host::ToUtf8(w.name);
        EXPECT_EQ(cd->ClassID(), w.cid) << host::ToUtf8(w.name);
        auto* obj = static_cast<Animatable*>(CreateInstance(w.sc, w.cid));
        ASSERT_NE(obj, nullptr);
        EXPECT_EQ(obj->ClassID(), w.cid);
        EXPECT_EQ(obj->SuperClassID(), w.sc);
        auto* cd2 = static_cast<ClassDesc2*>(cd);
        for (int i = 0; i < cd2->NumParamBlockDescs(); ++i)
            EXPECT_NE(obj->GetParamBlockByID(cd2->GetParamBlockDesc(i)->ID), nullptr) << host::ToUtf8(w.name);
        dynamic_cast<ReferenceMaker*>(obj)->DeleteMe();
    }

    // The point helper's block as a bake sets it: ids 0..6.
    auto* point = Make<PointHelpObject>(HELPER_CLASS_ID, POINTHELP_CLASS_ID);
    IParamBlock2* pb = point->GetParamBlock(0);
    EXPECT_EQ(pb->GetFloat(pointobj_size), 20.0f);
    EXPECT_EQ(pb->GetInt(pointobj_cross), 1);
    EXPECT_TRUE(pb->SetValue(pointobj_centermarker, 0, 1));
    EXPECT_TRUE(pb->SetValue(pointobj_axistripod, 0, 0));
    EXPECT_TRUE(pb->SetValue(pointobj_cross, 0, 0));
    EXPECT_TRUE(pb->SetValue(pointobj_size, 0, 10.0f));
    EXPECT_TRUE(pb->SetValue(pointobj_screensize, 0, 1));
    EXPECT_TRUE(pb->SetValue(pointobj_drawontop, 0, 1));
    std::vector<Point3> lines;
    Interval iv = FOREVER;
    point->GetLines(0, lines, iv);
    EXPECT_EQ(lines.size(), 4u) << "only the centre marker's two strokes";
    Box3 b;
    point->GetLocalBoundBox(0, nullptr, nullptr, b);
    EXPECT_TRUE(BoxNear(b, Point3(-5, -5, -5), Point3(5, 5, 5)));
    point->DeleteMe();

    auto* dummy = Make<DummyObject>(HELPER_CLASS_ID, DUMMY_CLASS_ID);
    dummy->SetBox(Box3(Point3(-1, -2, -3), Point3(1, 2, 3)));
    dummy->GetLines(lines);
    EXPECT_EQ(lines.size(), 24u);
    dummy->SetBox(Box3());
    dummy->GetLines(lines);
    EXPECT_TRUE(lines.empty()) << "an empty box draws nothing";
    dummy->DeleteMe();
}
