#include "objects_fixtures.h"

#include <cmath>
#include <cstring>
#include <sstream>

#include "custattrib.h"
#include "scenefile.h"

using namespace objtest;

namespace {

constexpr Class_ID NOTE_CLASS_ID(0x6F1B0002, 0x1);

// A custom attribute with one number, saved in a chunk.
class Note : public CustAttrib {
public:
    int32_t number = 0;
    Class_ID ClassID() override { return NOTE_CLASS_ID; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new Note();
        c->number = number;
        BaseClone(this, c, remap);
        return c;
    }
    IOResult Save(ISave* isave) override {
        isave->BeginChunk(1);
        isave->Write(&number, sizeof number, nullptr);
        isave->EndChunk();
        return IO_OK;
    }
    IOResult Load(ILoad* iload) override {
        while (iload->OpenChunk() == IO_OK) {
            if (iload->CurChunkID() == 1 && iload->Read(&number, sizeof number, nullptr) != IO_OK) return IO_ERROR;
            iload->CloseChunk();
        }
        return IO_OK;
    }
};

class NoteDesc : public ClassDesc {
public:
    int IsPublic() override { return 0; }
    void* Create(BOOL) override { return static_cast<Animatable*>(new Note()); }
    const MCHAR* ClassName() override { return L"Note"; }
    SClass_ID SuperClassID() override { return CUST_ATTRIB_CLASS_ID; }
    Class_ID ClassID() override { return NOTE_CLASS_ID; }
    const MCHAR* Category() override { return L""; }
};

void Attach(Animatable* a, int number) {
    a->AllocCustAttribContainer();
    auto* n = new Note();
    n->number = number;
    a->GetCustAttribContainer()->AppendCustAttrib(n);
}

INode* Named(INode* n, const MCHAR* name) {
    n->SetName(name);
    return n;
}

std::string Notes(Animatable* a) {
    std::string s;
    ICustAttribContainer* cc = a ? a->GetCustAttribContainer() : nullptr;
    for (int i = 0; cc && i < cc->GetNumCustAttribs(); ++i)
        if (auto* n = dynamic_cast<Note*>(cc->GetCustAttrib(i))) s += "#" + std::to_string(n->number);
    return s;
}

std::string Block(Animatable* a) {
    std::ostringstream o;
    IParamBlock2* pb = a ? a->GetParamBlock(0) : nullptr;
    for (int i = 0; pb && i < pb->NumParams(); ++i) {
        const ParamID id = pb->IndextoID(i);
        const ParamType2 type = pb->GetParameterType(id);
        if (type == TYPE_POINT3) {
            const Point3 p = pb->GetPoint3(id);
            o << " " << p.x << "," << p.y << "," << p.z;
        } else if (type == TYPE_INT || type == TYPE_BOOL) {
            o << " " << pb->GetInt(id);
        } else {
            o << " " << pb->GetFloat(id);
        }
    }
    return o.str();
}

// Everything a user would notice about the objects of the scene's nodes.
std::string Describe(Interface* ip, const std::vector<std::wstring>& names) {
    std::ostringstream o;
    for (const std::wstring& name : names) {
        INode* n = ip->GetINodeByName(name.c_str());
        if (!n) {
            o << host::ToUtf8(name) << ": missing\n";
            continue;
        }
        o << host::ToUtf8(name) << ":";
        Object* obj = n->GetObjectRef();
        while (auto* d = dynamic_cast<IDerivedObject*>(obj)) {
            o << " [stack " << Notes(d);
            for (int i = 0; i < d->NumModifiers(); ++i) {
                Modifier* m = d->GetModifier(i);
                o << " (" << host::ToUtf8(m->GetName(false).str()) << " on " << m->IsEnabled() << Block(m) << Notes(m)
                  << ")";
            }
            o << "]";
            obj = d->GetObjRef();
        }
        o << " base " << std::hex << obj->ClassID().PartA() << std::dec << Block(obj) << Notes(obj);
        if (auto* dummy = dynamic_cast<DummyObject*>(obj)) o << " box " << dummy->GetBox().pmax.z;
        ObjectState os = n->EvalWorldState(0);
        double sum = 0.0;
        for (int i = 0; os.obj && i < os.obj->NumPoints(); ++i) {
            const Point3 p = os.obj->GetPoint(i);
            sum += (i + 1) * (p.x + 2.0 * p.y + 3.0 * p.z);
        }
        o << " points " << (os.obj ? os.obj->NumPoints() : -1) << " sum " << std::lround(sum * 100.0);
        if (auto* poly = dynamic_cast<PolyObject*>(os.obj)) {
            o << " degrees";
            for (int f = 0; f < poly->mm.numf; ++f) o << " " << poly->mm.F(f)->deg;
        }
        o << "\n";
    }
    return o.str();
}

}  // namespace

TEST_F(ObjectsTest, EveryObjectSurvivesASaveAndLoadWithItsModifiersAndAttributes) {
    static NoteDesc noteDesc;
    host::ClassDirectory::Get().AddClass(&noteDesc, L"objtest");

    // A control: a point helper with the attribute holder carrying attributes.
    auto* point = Make(HELPER_CLASS_ID, POINTHELP_CLASS_ID);
    point->GetParamBlock(0)->SetValue(pointobj_size, 0, 7.5f);
    point->GetParamBlock(0)->SetValue(pointobj_box, 0, 1);
    INode* ctl = Named(ip()->CreateObjectNode(point), L"Ctl");
    auto* holder = Make<Modifier>(OSM_CLASS_ID, EMPTYMOD_CLASS_ID);
    host::AddModifierToNode(ctl, holder);
    Attach(holder, 11);
    Attach(holder, 12);
    Attach(point, 13);

    // A box under two offsets, one renamed and one disabled, with an attribute on the stack.
    auto* box = Make(GEOMOBJECT_CLASS_ID, BOXOBJ_CLASS_ID);
    box->GetParamBlock(0)->SetValue(box_length, 0, 3.0f);
    box->GetParamBlock(0)->SetValue(box_heightsegs, 0, 2);
    INode* boxNode = Named(ip()->CreateObjectNode(box), L"BoxNode");
    Modifier* lift = MakeOffset(Point3(0, 0, 4), 2.0f);
    lift->SetName(L"Lift");
    host::AddModifierToNode(boxNode, lift);
    Modifier* off = MakeOffset(Point3(100, 0, 0));
    off->DisableMod();
    host::AddModifierToNode(boxNode, off);
    Attach(host::EnsureDerivedObject(boxNode), 21);

    // Editable poly (quads), editable mesh, dummy, bone, sphere, plane.
    INode* polyNode = Named(ip()->CreateObjectNode(Make(GEOMOBJECT_CLASS_ID, PLANE_CLASS_ID)), L"PolyNode");
    Object* poly = host::ConvertNodeToPoly(polyNode, 0);
    host::SetVert(poly, 3, Point3(1, 2, 3));
    Attach(poly, 31);
    INode* meshNode = Named(ip()->CreateObjectNode(Make(GEOMOBJECT_CLASS_ID, SPHERE_CLASS_ID)), L"MeshNode");
    host::SetVert(host::ConvertNodeToMesh(meshNode, 0), 0, Point3(0, 0, 40));
    auto* dummy = Make<DummyObject>(HELPER_CLASS_ID, DUMMY_CLASS_ID);
    dummy->SetBox(Box3(Point3(-1, -1, -1), Point3(2, 2, 9)));
    Named(ip()->CreateObjectNode(dummy), L"DummyNode");
    auto* bone = Make(GEOMOBJECT_CLASS_ID, BONE_OBJ_CLASSID);
    bone->GetParamBlock(0)->SetValue(boneobj_length, 0, 42.0f);
    bone->GetParamBlock(0)->SetValue(boneobj_backfin, 0, 1);
    Named(ip()->CreateObjectNode(bone), L"BoneNode");
    auto* sphere = Make(GEOMOBJECT_CLASS_ID, SPHERE_CLASS_ID);
    sphere->GetParamBlock(0)->SetValue(sphere_segs, 0, 6);
    INode* sphereNode = Named(ip()->CreateObjectNode(sphere), L"SphereNode");
    host::AddModifierToNode(sphereNode, MakeOffset(Point3(1, 1, 1)));

    const std::vector<std::wstring> names = {L"Ctl",      L"BoxNode",   L"PolyNode",  L"MeshNode",
                                             L"DummyNode", L"BoneNode", L"SphereNode"};
    const std::string before = Describe(ip(), names);
    EXPECT_NE(before.find("#11#12"), std::string::npos) << before;
    EXPECT_NE(before.find("Lift"), std::string::npos) << before;
    EXPECT_NE(before.find("degrees 4 4 4"), std::string::npos) << before;

    std::vector<uint8_t> bytes;
    std::wstring err;
    ASSERT_TRUE(host::SaveSceneToMemory(bytes, &err)) << host::ToUtf8(err);
    host::ResetScene();
    EXPECT_EQ(ip()->GetINodeByName(L"Ctl"), nullptr);
    ASSERT_TRUE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &err)) << host::ToUtf8(err);
    EXPECT_EQ(Describe(ip(), names), before);

    // Clone keeps the stack and the attributes, as separate objects.
    INode* loaded = ip()->GetINodeByName(L"BoxNode");
    ASSERT_NE(loaded, nullptr);
    auto* copy = dynamic_cast<IDerivedObject*>(CloneRefHierarchy(loaded->GetObjectRef()));
    ASSERT_NE(copy, nullptr);
    auto* orig = dynamic_cast<IDerivedObject*>(loaded->GetObjectRef());
    ASSERT_EQ(copy->NumModifiers(), 2);
    EXPECT_NE(copy->GetModifier(0), orig->GetModifier(0));
    EXPECT_EQ(copy->GetModifier(1)->GetName(false), MSTR(L"Lift"));
    EXPECT_FALSE(copy->GetModifier(0)->IsEnabled());
    EXPECT_EQ(Notes(copy), "#21");
    INode* twin = Named(ip()->CreateObjectNode(copy), L"Twin");
    EXPECT_EQ(twin->EvalWorldState(0).obj->GetPoint(0), loaded->EvalWorldState(0).obj->GetPoint(0));

    host::ResetScene();
    host::ClassDirectory::Get().RemoveLibraryClasses(L"objtest");
}

TEST_F(ObjectsTest, DamagedMeshChunksAreRefused) {
    TriObject* tri = LineMesh(5);
    host::ChunkWriter w;
    tri->Save(&w);
    std::vector<uint8_t> bytes = w.Bytes();
    {
        auto* back = CreateNewTriObject();
        host::ChunkReader r(bytes.data(), bytes.size());
        EXPECT_EQ(back->Load(&r), IO_OK);
        EXPECT_EQ(back->mesh.numVerts, 5);
        EXPECT_EQ(back->mesh.numFaces, 3);
        EXPECT_EQ(back->mesh.verts[4], Point3(4, 1, 0));
        back->DeleteMe();
    }
    // The vertex count says 6 while 5 points follow.
    for (size_t i = 0; i + 4 <= bytes.size(); ++i) {
        int32_t v;
        std::memcpy(&v, &bytes[i], 4);
        if (v == 5) {
            v = 6;
            std::memcpy(&bytes[i], &v, 4);
            break;
        }
    }
    auto* back = CreateNewTriObject();
    host::ChunkReader r(bytes.data(), bytes.size());
    EXPECT_EQ(back->Load(&r), IO_ERROR);
    back->DeleteMe();
    tri->DeleteMe();
}
