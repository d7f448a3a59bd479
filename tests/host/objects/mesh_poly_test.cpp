#include "objects_fixtures.h"

#include <cmath>

#include "iosave.h"

using namespace objtest;

namespace {

// Twice the signed volume enclosed by a closed triangle mesh: positive when faces point out.
float SignedVolume(const Mesh& m) {
    float v = 0.0f;
    for (int f = 0; f < m.numFaces; ++f) {
        const Point3& a = m.verts[m.faces[f].v[0]];
        const Point3& b = m.verts[m.faces[f].v[1]];
        const Point3& c = m.verts[m.faces[f].v[2]];
        v += a % (b ^ c);
    }
    return v / 6.0f;
}

int CountDegree(MNMesh& mm, int deg) {
    int n = 0;
    for (int f = 0; f < mm.numf; ++f) n += mm.F(f)->deg == deg ? 1 : 0;
    return n;
}

}  // namespace

TEST_F(ObjectsTest, QuadsStayQuadsThroughThePolyObject) {
    auto* box = Make<SimpleObject>(GEOMOBJECT_CLASS_ID, BOXOBJ_CLASS_ID);
    ASSERT_NE(box, nullptr);
    box->GetParamBlock(0)->SetValue(box_widthsegs, 0, 2);
    INode* node = ip()->CreateObjectNode(box, L"Box");

    Object* poly = host::ConvertNodeToPoly(node, 0);
    ASSERT_NE(poly, nullptr);
    auto* ep = dynamic_cast<PolyObject*>(poly);
    ASSERT_NE(ep, nullptr);
    EXPECT_EQ(poly->ClassID(), EPOLYOBJ_CLASS_ID);
    EXPECT_EQ(node->GetObjectRef(), poly);
    // 2 x 1 x 1 segments: 2 + 2 + 2 + 2 + 1 + 1 quads over 12 shared points.
    EXPECT_EQ(ep->mm.numf, 10);
    EXPECT_EQ(CountDegree(ep->mm, 4), 10);
    EXPECT_EQ(ep->mm.numv, 12);
    EXPECT_EQ(ep->mm.nume, 20) << "a closed quad mesh: every edge shared by two faces";

    // Through a deforming modifier the quads stay quads.
    IDerivedObject* d = host::EnsureDerivedObject(node);
    d->AddModifier(MakeOffset(Point3(0, 0, 5)));
    auto* result = dynamic_cast<PolyObject*>(node->EvalWorldState(0).obj);
    ASSERT_NE(result, nullptr);
    EXPECT_EQ(CountDegree(result->mm, 4), 10);
    EXPECT_FLOAT_EQ(result->mm.getBoundingBox().pmin.z, 5.0f);

    // Out to triangles and back: the diagonals are hidden, so the quads come back.
    Mesh tri;
    ep->mm.OutToTri(tri);
    EXPECT_EQ(tri.numFaces, 20);
    int hidden = 0;
    for (int f = 0; f < tri.numFaces; ++f)
        for (int e = 0; e < 3; ++e) hidden += tri.faces[f].getEdgeVis(e) ? 0 : 1;
    EXPECT_EQ(hidden, 20) << "one hidden diagonal per triangle";
    EXPECT_GT(SignedVolume(tri), 0.0f) << "faces keep pointing out";
    MNMesh back;
    back.SetFromTri(tri);
    back.MakePolyMesh();
    EXPECT_EQ(back.numf, 10);
    EXPECT_EQ(CountDegree(back, 4), 10);
}

TEST_F(ObjectsTest, PolygonsTriangulateInsideTheirOutline) {
    MNMesh mm;
    // An L shape: concave at corner 3; a fan from corner 0 would leave the outline.
    const Point3 pts[6] = {{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {1, 1, 0}, {1, 2, 0}, {0, 2, 0}};
    for (const Point3& p : pts) mm.NewVert(p);
    const int vv[6] = {0, 1, 2, 3, 4, 5};
    mm.NewFace(-1, 6, vv);
    mm.FillInMesh();
    mm.RetriangulateFace(0);
    Mesh tri;
    mm.OutToTri(tri);
    ASSERT_EQ(tri.numFaces, 4);
    float area = 0.0f;
    for (int f = 0; f < tri.numFaces; ++f) {
        const Point3 n = tri.FaceNormal(f);
        EXPECT_GT(n.z, 0.0f) << "triangle " << f << " keeps the polygon's facing";
        area += n.z * 0.5f;
    }
    EXPECT_NEAR(area, 3.0f, 1e-5f) << "the triangles cover the L exactly";

    // Bad faces: out-of-range and repeated corners are dead, skipped, and never crash.
    const int bad1[3] = {0, 1, 99};
    const int bad2[4] = {0, 1, 1, 2};
    const int two[2] = {0, 1};
    mm.NewFace(-1, 3, bad1);
    mm.NewFace(-1, 4, bad2);
    mm.NewFace(-1, 2, two);
    mm.FillInMesh();
    EXPECT_TRUE(mm.F(1)->GetFlag(MN_DEAD));
    EXPECT_TRUE(mm.F(2)->GetFlag(MN_DEAD));
    EXPECT_TRUE(mm.F(3)->GetFlag(MN_DEAD));
    EXPECT_FALSE(mm.F(0)->GetFlag(MN_DEAD));
    mm.OutToTri(tri);
    EXPECT_EQ(tri.numFaces, 4);
    EXPECT_EQ(mm.GetFaceNormal(1), Point3());
    EXPECT_EQ(mm.CollapseDeadFaces(), 3);
    EXPECT_EQ(mm.numf, 1);

    // A triangle mesh with degenerate faces converts without them.
    Mesh m;
    m.setNumVerts(3);
    m.verts[1] = Point3(1, 0, 0);
    m.verts[2] = Point3(0, 1, 0);
    m.setNumFaces(3);
    m.faces[0].setVerts(0, 1, 2);
    m.faces[1].setVerts(0, 0, 2);
    m.faces[2].setVerts(0, 1, 7);
    EXPECT_EQ(m.FaceNormal(2), Point3());
    EXPECT_EQ(m.getNormal(0), Point3(0, 0, 1));
    MNMesh fromTri;
    fromTri.SetFromTri(m);
    EXPECT_EQ(fromTri.numf, 1);
    EXPECT_EQ(m.RemoveDegenerateFaces(), 2);
    EXPECT_EQ(m.numFaces, 1);
}

TEST_F(ObjectsTest, EditableMeshAndPolyPointsAreReadAndSetUndoably) {
    auto* plane = Make(GEOMOBJECT_CLASS_ID, PLANE_CLASS_ID);
    ASSERT_NE(plane, nullptr);
    INode* node = ip()->CreateObjectNode(plane, L"Plane");
    EXPECT_EQ(host::GetNumVerts(plane), -1) << "a parametric object is not editable";

    Object* mesh = host::ConvertNodeToMesh(node, 0);
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(mesh->ClassID(), EDITTRIOBJ_CLASS_ID);
    EXPECT_EQ(host::GetNumVerts(mesh), 25) << "4 x 4 segments";
    Point3 p;
    ASSERT_TRUE(host::GetVert(mesh, 0, p));
    EXPECT_EQ(p, Point3(-12.5f, -12.5f, 0.0f));
    EXPECT_FALSE(host::GetVert(mesh, 25, p));
    EXPECT_FALSE(host::SetVert(mesh, -1, p));

    theHold.Begin();
    ASSERT_TRUE(host::SetVert(mesh, 0, Point3(1, 2, 3)));
    theHold.Accept(L"Set Vertex");
    EXPECT_EQ(node->EvalWorldState(0).obj->GetPoint(0), Point3(1, 2, 3));
    ASSERT_TRUE(theHold.Undo());
    ASSERT_TRUE(host::GetVert(mesh, 0, p));
    EXPECT_EQ(p, Point3(-12.5f, -12.5f, 0.0f));
    ASSERT_TRUE(theHold.Redo());
    ASSERT_TRUE(host::GetVert(mesh, 0, p));
    EXPECT_EQ(p, Point3(1, 2, 3));

    // Collapsing a stack bakes the modifiers into the new object.
    host::AddModifierToNode(node, MakeOffset(Point3(0, 0, 10)));
    Object* poly = host::ConvertNodeToPoly(node, 0);
    ASSERT_NE(poly, nullptr);
    EXPECT_EQ(node->GetObjectRef(), poly);
    ASSERT_TRUE(host::GetVert(poly, 0, p));
    EXPECT_EQ(p, Point3(1, 2, 13));
    EXPECT_EQ(host::GetNumVerts(poly), 25);
    EXPECT_EQ(dynamic_cast<PolyObject*>(poly)->mm.numf, 16) << "the plane's quads";
    EXPECT_EQ(poly->ChannelValidity(0, GEOM_CHAN_NUM), FOREVER);

    // Objects that cannot become meshes are left as they are.
    INode* helper = ip()->CreateObjectNode(Make(HELPER_CLASS_ID, POINTHELP_CLASS_ID), L"Pt");
    Object* before = helper->GetObjectRef();
    EXPECT_EQ(host::ConvertNodeToMesh(helper, 0), nullptr);
    EXPECT_EQ(helper->GetObjectRef(), before);
    EXPECT_EQ(host::ConvertNodeToPoly(nullptr, 0), nullptr);
}

TEST_F(ObjectsTest, SpecifiedNormalsFollowSmoothingGroupsAndKeepWhatWasSet) {
    auto* box = Make<SimpleObject>(GEOMOBJECT_CLASS_ID, BOXOBJ_CLASS_ID);
    box->GetParamBlock(0)->SetValue(box_height, 0, 25.0f);
    auto* poly = dynamic_cast<PolyObject*>(box->ConvertToType(0, polyObjectClassID));
    ASSERT_NE(poly, nullptr);
    MNMesh& mm = poly->mm;
    ASSERT_EQ(mm.numf, 6);

    EXPECT_EQ(mm.GetSpecifiedNormals(), nullptr);
    mm.SpecifyNormals();
    MNNormalSpec* normalSpec = mm.GetSpecifiedNormals();
    ASSERT_NE(normalSpec, nullptr);
    normalSpec->BuildNormals();
    normalSpec->ComputeNormals();
    EXPECT_EQ(normalSpec->GetNumNormals(), 24) << "each side its own smoothing group: three normals per corner point";
    for (int f = 0; f < mm.numf; ++f)
        for (int c = 0; c < 4; ++c) EXPECT_TRUE(Length(normalSpec->GetNormal(f, c) - mm.GetFaceNormal(f, true)) < 1e-5f);

    // One smoothing group for all: one normal per point, pointing out diagonally.
    for (int f = 0; f < mm.numf; ++f) mm.F(f)->smGroup = 1;
    normalSpec->BuildNormals();
    normalSpec->ComputeNormals();
    EXPECT_EQ(normalSpec->GetNumNormals(), 8);
    const int v0 = mm.F(0)->vtx[0];
    const Point3 out = (mm.P(v0) - Point3(0.0f, 0.0f, 12.5f)).Normalize();
    EXPECT_TRUE(Length(normalSpec->GetNormal(0, 0) - out) < 1e-4f);

    // A corner set by hand survives rebuilding; bad indices are ignored.
    normalSpec->SetNumNormals(normalSpec->GetNumNormals() + 1);
    const int mine = normalSpec->GetNumNormals() - 1;
    normalSpec->Normal(mine) = Point3(0, 0, 1);
    normalSpec->SetNormalIndex(2, 1, mine);
    normalSpec->SetNormalIndex(2, 9, mine);
    normalSpec->SetNormalIndex(99, 0, mine);
    normalSpec->SetNormalIndex(2, 0, 999);
    normalSpec->BuildNormals();
    normalSpec->ComputeNormals();
    EXPECT_EQ(normalSpec->GetNormal(2, 1), Point3(0, 0, 1));
    EXPECT_TRUE(normalSpec->Face(2)->GetSpecified(1));
    EXPECT_FALSE(normalSpec->Face(2)->GetSpecified(0));
    EXPECT_EQ(normalSpec->GetNumNormals(), 9);

    // They travel with copies and through files.
    MNMesh copy = mm;
    ASSERT_NE(copy.GetSpecifiedNormals(), nullptr);
    EXPECT_EQ(copy.GetSpecifiedNormals()->GetParent(), &copy);
    host::ChunkWriter w;
    poly->Save(&w);
    auto* back = new PolyObject();
    host::ChunkReader r(w.Bytes().data(), w.Bytes().size());
    ASSERT_EQ(back->Load(&r), IO_OK);
    ASSERT_NE(back->mm.GetSpecifiedNormals(), nullptr);
    EXPECT_EQ(back->mm.GetSpecifiedNormals()->GetNumNormals(), 9);
    EXPECT_EQ(back->mm.GetSpecifiedNormals()->GetNormal(2, 1), Point3(0, 0, 1));
    EXPECT_TRUE(back->mm.GetSpecifiedNormals()->GetNormalExplicit(back->mm.GetSpecifiedNormals()->GetNormalIndex(2, 1)));
    back->DeleteMe();
    poly->DeleteMe();
    box->DeleteMe();
}
