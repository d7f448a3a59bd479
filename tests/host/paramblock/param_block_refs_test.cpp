#include "iosave.h"
#include "pb_test_objects.h"
#include "scenefile.h"

using namespace pbtest;

namespace {

class Refs : public OwnerTest {
protected:
    bool DependsOnBlock(ReferenceTarget* t, IParamBlock2* block) {
        const auto& d = t->Dependents();
        return std::find(d.begin(), d.end(), block) != d.end();
    }
};

IParamBlock2* NewEmptyBlock() {
    ClassDesc* cd = host::ClassDirectory::Get().FindClass(PARAMETER_BLOCK2_CLASS_ID, host::PARAMBLOCK2_CLASS_ID);
    return cd ? dynamic_cast<IParamBlock2*>(static_cast<Animatable*>(cd->Create(TRUE))) : nullptr;
}

}  // namespace

TEST_F(Refs, ReferenceParametersHoldTheirTargetsUntilTheyAreDeleted) {
    auto* t = new Target();
    ASSERT_TRUE(pb->SetValue(pb_ref, 0, static_cast<ReferenceTarget*>(t)));
    EXPECT_EQ(pb->GetReferenceTarget(pb_ref), t);
    EXPECT_TRUE(DependsOnBlock(t, pb));
    EXPECT_EQ(pb->GetReference(pb->GetRefNum(pb_ref)), t);
    t->DeleteMe();
    EXPECT_EQ(pb->GetReferenceTarget(pb_ref), nullptr);

    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, L"Target");
    ASSERT_TRUE(pb->SetValue(pb_node, 0, n));
    EXPECT_EQ(pb->GetINode(pb_node), n);
    EXPECT_EQ(pb->GetReferenceTarget(pb_node), n);
    theHold.Begin();
    GetCOREInterface()->DeleteNode(n);
    theHold.Accept(L"delete");
    EXPECT_EQ(pb->GetINode(pb_node), nullptr);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(pb->GetINode(pb_node), n);

    // Without a reference the block neither keeps the node nor hears of it.
    INode* w = GetCOREInterface()->CreateObjectNode(nullptr, L"Weak");
    ASSERT_TRUE(pb->SetValue(pb_weak_node, 0, w));
    EXPECT_EQ(pb->GetINode(pb_weak_node), w);
    EXPECT_FALSE(DependsOnBlock(w, pb));
    EXPECT_EQ(pb->GetRefNum(pb_weak_node), -1);

    // The block may not come to depend on something that depends on it.
    EXPECT_FALSE(pb->SetValue(pb_ref, 0, static_cast<ReferenceTarget*>(owner)));
    EXPECT_EQ(pb->GetReferenceTarget(pb_ref), nullptr);
    auto* c = new TestFloat();
    ASSERT_TRUE(pb->SetController(pb_float, 0, c));
    EXPECT_FALSE(pb->SetValue(pb_ref, 0, static_cast<ReferenceTarget*>(pb)));

    // A deleted controller leaves its value behind as the constant.
    pb->SetValue(pb_float, 0, 2.75f);
    c->DeleteMe();
    EXPECT_EQ(pb->GetController(pb_float), nullptr);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float), 2.75f);
}

TEST_F(Refs, CloneCopiesValuesAndControllersAndSharesNodes) {
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, L"N");
    auto* t = new Target();
    t->tag = 5;
    auto* c = new TestFloat();
    c->keys = {{0, 1.0f}, {320, 4.0f}};
    pb->SetValue(pb_ref, 0, static_cast<ReferenceTarget*>(t));
    pb->SetValue(pb_node, 0, n);
    pb->SetValue(pb_weak_node, 0, n);
    pb->SetController(pb_float, 0, c);
    float w[2] = {0.5f, 0.75f};
    pb->Append(pb_float_tab, 2, w);
    pb->SetValue(pb_string, 0, L"cloned");

    auto* copy = dynamic_cast<Owner*>(CloneRefHierarchy(owner));
    ASSERT_NE(copy, nullptr);
    IParamBlock2* cpb = copy->pb;
    ASSERT_NE(cpb, nullptr);
    ASSERT_NE(cpb, pb);
    EXPECT_EQ(cpb->GetOwner(), copy);
    EXPECT_EQ(cpb->Count(pb_float_tab), 4);
    EXPECT_FLOAT_EQ(cpb->GetFloat(pb_float_tab, 0, 3), 0.75f);
    EXPECT_STREQ(cpb->GetStr(pb_string), L"cloned");

    auto* cc = dynamic_cast<TestFloat*>(cpb->GetController(pb_float));
    ASSERT_NE(cc, nullptr);
    EXPECT_NE(cc, c);
    EXPECT_EQ(cc->keys, c->keys);
    EXPECT_FLOAT_EQ(cpb->GetFloat(pb_float, 320), 4.0f);

    auto* ct = dynamic_cast<Target*>(cpb->GetReferenceTarget(pb_ref));
    ASSERT_NE(ct, nullptr);
    EXPECT_NE(ct, t);
    EXPECT_EQ(ct->tag, 1005);
    EXPECT_EQ(cpb->GetINode(pb_node), n) << "a node outside the clone is shared";
    EXPECT_TRUE(DependsOnBlock(n, cpb));
    EXPECT_EQ(cpb->GetINode(pb_weak_node), n);

    // The copies are independent.
    cpb->SetValue(pb_int, 0, 99);
    EXPECT_EQ(pb->GetInt(pb_int), 7);

    // A node cloned in the same operation is followed to its clone.
    INode* other = GetCOREInterface()->CreateObjectNode(nullptr, L"Other");
    RemapDir& remap = NewRemapDir();
    auto* again = dynamic_cast<IParamBlock2*>(remap.CloneRef(pb));
    remap.AddEntry(n, other);
    remap.Backpatch();
    remap.DeleteThis();
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->GetINode(pb_node), other);
    EXPECT_EQ(again->GetINode(pb_weak_node), other);
    again->DeleteMe();
    copy->DeleteMe();
}

TEST_F(Refs, SaveAndLoadRoundTripEveryValue) {
    pb->SetValue(pb_float, 0, 2.5f);
    pb->SetValue(pb_int, 0, 12);
    pb->SetValue(pb_rgba, 0, Color(0.2f, 0.4f, 0.6f));
    pb->SetValue(pb_point3, 0, Point3(-1.0f, 2.0f, -3.0f));
    pb->SetValue(pb_string, 0, L"s\u00e4ved");
    pb->SetValue(pb_filename, 0, L"/abs/file.png");
    Matrix3 m;
    m.RotateY(0.7f);
    m.SetTrans(Point3(4.0f, 5.0f, 6.0f));
    pb->SetValue(pb_matrix, 0, m);
    pb->SetValue(pb_point2, 0, Point2(8.0f, 9.0f));
    pb->SetValue(pb_frgba, 0, AColor(0.5f, 0.5f, 0.5f, 0.25f));
    float w[3] = {1.0f, 2.0f, 3.0f};
    pb->Append(pb_float_tab, 3, w);
    const MCHAR* names[2] = {L"a", L"b"};
    pb->Append(pb_string_tab, 2, names);
    pb->SetValue(pb_hidden, 0, TRUE);  // transient: not saved

    host::ChunkWriter out;
    ASSERT_EQ(pb->Save(&out), IO_OK);
    ASSERT_TRUE(out.Ok());

    IParamBlock2* loaded = NewEmptyBlock();
    ASSERT_NE(loaded, nullptr);
    host::ChunkReader in(out.Bytes().data(), out.Bytes().size());
    ASSERT_EQ(loaded->Load(&in), IO_OK);
    EXPECT_EQ(loaded->GetDesc(), &AllTypesDesc());
    EXPECT_EQ(loaded->NumRefs(), pb->NumRefs()) << "the file restores references into these slots";
    EXPECT_FLOAT_EQ(loaded->GetFloat(pb_float), 2.5f);
    EXPECT_EQ(loaded->GetInt(pb_int), 12);
    EXPECT_EQ(loaded->GetColor(pb_rgba), Color(0.2f, 0.4f, 0.6f));
    EXPECT_EQ(loaded->GetPoint3(pb_point3), Point3(-1.0f, 2.0f, -3.0f));
    EXPECT_STREQ(loaded->GetStr(pb_string), L"s\u00e4ved");
    EXPECT_STREQ(loaded->GetStr(pb_filename), L"/abs/file.png");
    EXPECT_TRUE(loaded->GetMatrix3(pb_matrix).Equals(m, 0.0f));
    EXPECT_EQ(loaded->GetPoint2(pb_point2), Point2(8.0f, 9.0f));
    EXPECT_EQ(loaded->GetAColor(pb_frgba), AColor(0.5f, 0.5f, 0.5f, 0.25f));
    ASSERT_EQ(loaded->Count(pb_float_tab), 5);
    EXPECT_FLOAT_EQ(loaded->GetFloat(pb_float_tab, 0, 4), 3.0f);
    ASSERT_EQ(loaded->Count(pb_string_tab), 3);
    EXPECT_STREQ(loaded->GetStr(pb_string_tab, 0, 2), L"b");
    EXPECT_EQ(loaded->GetInt(pb_hidden), FALSE);
    EXPECT_EQ(loaded->NumSubs(), pb->NumSubs());
    loaded->DeleteMe();
}

TEST_F(Refs, LoadKeepsDefaultsForWhatTheFileLacksAndRefusesDamage) {
    // A file of an older layout: an id the class no longer has, one whose type changed, and
    // one good value.
    host::ChunkWriter out;
    auto put = [&](auto v) { out.Write(&v, sizeof(v), nullptr); };
    out.BeginChunk(0x0100);
    put(uint32_t(REF_TARGET_CLASS_ID));
    put(uint32_t(kOwnerClassID.PartA()));
    put(uint32_t(kOwnerClassID.PartB()));
    put(int32_t(0));
    put(int32_t(1));
    put(int32_t(3));
    out.EndChunk();
    auto param = [&](int16_t id, int32_t type, int32_t count, auto value) {
        out.BeginChunk(0x0200);
        out.BeginChunk(0x0210);
        put(id);
        put(type);
        put(count);
        out.EndChunk();
        out.BeginChunk(0x0220);
        put(value);
        out.EndChunk();
        out.EndChunk();
    };
    param(int16_t(500), int32_t(TYPE_FLOAT), 1, 3.0f);
    param(int16_t(pb_world), int32_t(TYPE_INT), 1, int32_t(5));
    param(int16_t(pb_int), int32_t(TYPE_INT), 1, int32_t(44));
    out.BeginChunk(0x0777);  // unknown to the block
    put(int32_t(1));
    out.EndChunk();
    ASSERT_TRUE(out.Ok());

    IParamBlock2* loaded = NewEmptyBlock();
    host::ChunkReader in(out.Bytes().data(), out.Bytes().size());
    ASSERT_EQ(loaded->Load(&in), IO_OK);
    EXPECT_EQ(loaded->GetInt(pb_int), 44);
    EXPECT_FLOAT_EQ(loaded->GetFloat(pb_world), 10.0f) << "a changed type keeps the default";
    EXPECT_FLOAT_EQ(loaded->GetFloat(pb_float), 1.5f);
    loaded->DeleteMe();

    // A block of a class the host does not know, and a cut-off header, are refused.
    std::vector<uint8_t> bytes = out.Bytes();
    bytes[6 + 4] ^= 0xFF;  // the class id's first word
    IParamBlock2* unknown = NewEmptyBlock();
    host::ChunkReader bad(bytes.data(), bytes.size());
    EXPECT_EQ(unknown->Load(&bad), IO_ERROR);
    unknown->DeleteMe();

    host::ChunkWriter shortHeader;
    shortHeader.BeginChunk(0x0100);
    uint32_t sc = REF_TARGET_CLASS_ID;
    shortHeader.Write(&sc, sizeof(sc), nullptr);
    shortHeader.EndChunk();
    IParamBlock2* cut = NewEmptyBlock();
    host::ChunkReader cutIn(shortHeader.Bytes().data(), shortHeader.Bytes().size());
    EXPECT_EQ(cut->Load(&cutIn), IO_ERROR);
    cut->DeleteMe();
}

TEST_F(Refs, SceneFilesRestoreControllersAndTargetsIntoTheirSlots) {
    auto* c = new TestFloat();
    c->keys = {{160, 8.0f}};
    auto* t = new Target();
    t->tag = 9;
    pb->SetController(pb_angle, 0, c);
    float w[1] = {0.5f};
    pb->Append(pb_float_tab, 1, w);
    auto* wc = new TestFloat();
    wc->value = 0.125f;
    pb->SetController(pb_float_tab, 2, wc, FALSE);
    pb->SetValue(pb_ref, 0, static_cast<ReferenceTarget*>(t));

    std::vector<uint8_t> bytes;
    std::wstring err;
    ASSERT_TRUE(host::WriteObjectFile({owner}, host::SceneSettings(), bytes, &err));
    host::LoadedObjectFile f;
    ASSERT_TRUE(host::ReadObjectFile(bytes.data(), bytes.size(), f, &err));
    ASSERT_EQ(f.Roots().size(), 1u);
    auto* o2 = dynamic_cast<Owner*>(f.Roots()[0]);
    f.Finish();
    ASSERT_NE(o2, nullptr);
    IParamBlock2* lpb = o2->pb;
    ASSERT_NE(lpb, nullptr);
    EXPECT_EQ(lpb->GetOwner(), o2) << "a loaded block learns its owner when it is referenced";
    auto* lc = dynamic_cast<TestFloat*>(lpb->GetController(pb_angle));
    ASSERT_NE(lc, nullptr);
    EXPECT_FLOAT_EQ(lpb->GetFloat(pb_angle, 200), 8.0f);
    auto* lwc = dynamic_cast<TestFloat*>(lpb->GetController(pb_float_tab, 2));
    ASSERT_NE(lwc, nullptr);
    EXPECT_FLOAT_EQ(lpb->GetFloat(pb_float_tab, 0, 2), 0.125f);
    EXPECT_EQ(lpb->GetController(pb_float_tab, 1), nullptr);
    auto* lt = dynamic_cast<Target*>(lpb->GetReferenceTarget(pb_ref));
    ASSERT_NE(lt, nullptr);
    EXPECT_NE(lt, t);
    // The loaded block is a full member of the scene graph: its owner hears its changes.
    o2->changes.clear();
    lpb->SetValue(pb_int, 0, 3);
    ASSERT_FALSE(o2->changes.empty());
    EXPECT_EQ(o2->changes.back().first, pb_int);
    o2->DeleteMe();
}
