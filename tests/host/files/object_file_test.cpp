#include <gtest/gtest.h>

#include "file_test_classes.h"
#include "maxapi.h"
#include "test_support.h"

using namespace filetest;

namespace {

// root -> [a, null, b]; a -> c; b -> c (shared); a carries a Tag.
Gadget* BuildGraph() {
    auto* root = new Gadget;
    root->value = 1.0f;
    root->label = L"root";
    auto* a = new Gadget;
    a->value = 2.0f;
    a->label = L"A \u00e9\u6839";
    auto* b = new Gadget;
    b->value = 3.0f;
    auto* c = new Gadget;
    c->value = 4.0f;
    c->label = L"shared";
    root->SetRef(0, a);
    root->SetRef(2, b);
    a->SetRef(0, c);
    b->SetRef(0, c);
    a->AllocCustAttribContainer();
    auto* tag = new Tag;
    tag->number = 42;
    a->GetCustAttribContainer()->AppendCustAttrib(tag);
    return root;
}

std::vector<uint8_t> SaveGraph(std::vector<ReferenceTarget*> roots, const host::SceneSettings& st = {}) {
    std::vector<uint8_t> bytes;
    std::wstring err;
    EXPECT_TRUE(host::WriteObjectFile(roots, st, bytes, &err)) << Narrow(err);
    return bytes;
}

// A load that must fail: a message, and not one object left behind.
void ExpectRefused(const std::vector<uint8_t>& bytes, const std::wstring& mustMention, const char* what) {
    long live = Animatable::LiveCount();
    host::LoadedObjectFile f;
    std::wstring err;
    EXPECT_FALSE(host::ReadObjectFile(bytes.data(), bytes.size(), f, &err)) << what;
    EXPECT_FALSE(err.empty()) << what;
    EXPECT_NE(err.find(mustMention), std::wstring::npos) << what << ": " << Narrow(err);
    EXPECT_TRUE(f.Roots().empty()) << what;
    EXPECT_EQ(Animatable::LiveCount(), live) << what << " left objects behind";
}

}  // namespace

TEST(ObjectFiles, SharedTargetsStaySharedAndEveryObjectKeepsItsState) {
    RegisterClasses();
    kttest::LiveObjectGuard guard;
    host::SceneSettings st;
    st.time = 320;
    st.animRange = Interval(-160, 4800);
    st.frameRate = 25;
    st.ticksPerFrame = 192;
    Gadget* original = BuildGraph();
    std::vector<uint8_t> bytes = SaveGraph({original}, st);
    original->DeleteMe();
    ASSERT_EQ(guard.Leaked(), 0);

    host::LoadedObjectFile f;
    std::wstring err;
    ASSERT_TRUE(host::ReadObjectFile(bytes.data(), bytes.size(), f, &err)) << Narrow(err);
    ASSERT_EQ(f.Roots().size(), 1u);
    EXPECT_EQ(f.FileVersion(), host::SCENE_FILE_VERSION);
    EXPECT_EQ(f.Settings().time, 320);
    EXPECT_EQ(f.Settings().animRange, Interval(-160, 4800));
    EXPECT_EQ(f.Settings().frameRate, 25);
    EXPECT_EQ(f.Settings().ticksPerFrame, 192);
    auto* root = dynamic_cast<Gadget*>(f.Roots()[0]);
    f.Finish();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->value, 1.0f);
    EXPECT_EQ(root->label, L"root");
    ASSERT_EQ(root->NumRefs(), 3);
    EXPECT_EQ(root->GetReference(1), nullptr);
    auto* a = dynamic_cast<Gadget*>(root->GetReference(0));
    auto* b = dynamic_cast<Gadget*>(root->GetReference(2));
    ASSERT_TRUE(a && b);
    EXPECT_EQ(a->label, L"A \u00e9\u6839");
    EXPECT_EQ(b->value, 3.0f);
    ASSERT_EQ(a->NumRefs(), 1);
    ASSERT_EQ(b->NumRefs(), 1);
    EXPECT_EQ(a->GetReference(0), b->GetReference(0)) << "one object referred to by two makers stays one";
    auto* c = dynamic_cast<Gadget*>(a->GetReference(0));
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->label, L"shared");
    EXPECT_EQ(c->NumDependents(), 2);
    EXPECT_EQ(c->refAddedCount, 2) << "RefAdded once per restored reference";
    ASSERT_NE(a->GetCustAttribContainer(), nullptr);
    ASSERT_EQ(a->GetCustAttribContainer()->GetNumCustAttribs(), 1);
    auto* tag = dynamic_cast<Tag*>(a->GetCustAttribContainer()->GetCustAttrib(0));
    ASSERT_NE(tag, nullptr);
    EXPECT_EQ(tag->number, 42);
    EXPECT_EQ(b->GetCustAttribContainer(), nullptr);

    // The file order is a function of the graph: saving what was loaded gives the same bytes.
    EXPECT_EQ(SaveGraph({root}, st), bytes);
    EXPECT_EQ(theHold.NumUndoRecords(), 0) << "a load records nothing to undo";

    root->DeleteMe();
    EXPECT_EQ(guard.Leaked(), 0);
}

TEST(ObjectFiles, DamagedFilesAreRefusedWholeAndLeaveNothingBehind) {
    RegisterClasses();
    kttest::LiveObjectGuard guard;
    Gadget* original = BuildGraph();
    std::vector<uint8_t> good = SaveGraph({original});
    original->DeleteMe();

    for (size_t len = 0; len < good.size(); ++len) {
        std::vector<uint8_t> cut(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(len));
        ExpectRefused(cut, L"", ("cut at " + std::to_string(len)).c_str());
    }

    std::vector<uint8_t> bad = good;
    bad[3] ^= 0x20;
    ExpectRefused(bad, L"header", "wrong magic");

    bad = good;
    PutI32At(bad, 8, 0x00020000);
    ExpectRefused(bad, L"2.0", "a newer major version");
    bad = good;
    PutI32At(bad, 8, 0x00010007);
    {
        host::LoadedObjectFile f;
        EXPECT_TRUE(host::ReadObjectFile(bad.data(), bad.size(), f, nullptr)) << "a newer minor version reads";
        EXPECT_EQ(f.FileVersion(), 0x00010007u);
    }

    // The first object claims more bytes than the object list holds.
    bad = good;
    size_t obj0 = ChunkAt(bad, {{host::scenefmt::OBJECTS, 0}, {host::scenefmt::OBJECT, 0}});
    PutI32At(bad, obj0 + 2, static_cast<int32_t>(host::CHUNK_CONTAINER_BIT | 0x00FFFFFF));
    ExpectRefused(bad, L"only", "a chunk overrunning its parent");

    // Reference 0 of the root names an object past the end.
    bad = good;
    size_t refs = ChunkAt(bad, {{host::scenefmt::OBJECTS, 0}, {host::scenefmt::OBJECT, 0}, {host::scenefmt::OBJ_REFS, 0}});
    PutI32At(bad, refs + host::CHUNK_HEADER_SIZE + 4, 99);
    ExpectRefused(bad, L"out of range", "a reference index out of range");

    bad = good;
    size_t roots = ChunkAt(bad, {{host::scenefmt::ROOTS, 0}});
    PutI32At(bad, roots + host::CHUNK_HEADER_SIZE + 4, -1);
    ExpectRefused(bad, L"root index -1", "a root out of range");

    // The root's class index points past the directory.
    bad = good;
    size_t cls = ChunkAt(bad, {{host::scenefmt::OBJECTS, 0}, {host::scenefmt::OBJECT, 0}, {host::scenefmt::OBJ_CLASS, 0}});
    PutI32At(bad, cls + host::CHUNK_HEADER_SIZE, 5);
    ExpectRefused(bad, L"class index 5", "a class index out of range");

    // A custom attribute list naming a Gadget (object 0 is the root).
    bad = good;
    size_t cas = ChunkAt(bad, {{host::scenefmt::OBJECTS, 0}, {host::scenefmt::OBJECT, 1}, {host::scenefmt::OBJ_CUSTATTRIBS, 0}});
    PutI32At(bad, cas + host::CHUNK_HEADER_SIZE + 4, 0);
    ExpectRefused(bad, L"not one", "a custom attribute that is not one");

    // A class the host does not know (its library is not loaded): named in the message.
    auto* ghost = new Ghost;
    auto* holder = new Gadget;
    holder->SetRef(0, ghost);
    std::vector<uint8_t> haunted = SaveGraph({holder});
    holder->DeleteMe();
    host::ClassDirectory::Get().RemoveLibraryClasses(L"ghostlib");
    ExpectRefused(haunted, L"unknown class \"Ghost\" (super class 0x200, class id 0x7E570003, 0x3)", "unknown class");
    RegisterClasses();

    EXPECT_EQ(guard.Leaked(), 0);
}

TEST(ObjectFiles, AnObjectThatCannotLoadRefusesTheWholeFile) {
    RegisterClasses();
    kttest::LiveObjectGuard guard;
    for (float poison : {Gadget::kFailLoad, Gadget::kThrowOnLoad}) {
        Gadget* root = BuildGraph();
        dynamic_cast<Gadget*>(root->GetReference(2))->value = poison;  // b, loaded after a and c exist
        std::vector<uint8_t> bytes = SaveGraph({root});
        root->DeleteMe();
        ExpectRefused(bytes, L"object 2 (class \"Gadget\") could not be loaded", "a failing Load");
    }
    // A reference table smaller than the file's references.
    Gadget* root = BuildGraph();
    std::vector<uint8_t> bytes = SaveGraph({root});
    root->DeleteMe();
    size_t count = ChunkAt(bytes, {{host::scenefmt::OBJECTS, 0}, {host::scenefmt::OBJECT, 0}, {host::scenefmt::OBJ_STATE, 0}, {2, 0}});
    PutI32At(bytes, count + host::CHUNK_HEADER_SIZE, 1);
    ExpectRefused(bytes, L"only 1 after loading", "a reference table too small");
    EXPECT_EQ(guard.Leaked(), 0);
}

TEST(ObjectFiles, ReferenceLoopsInAFileAreRefused) {
    RegisterClasses();
    kttest::LiveObjectGuard guard;
    auto* root = new Gadget;
    auto* a = new Gadget;
    root->SetRef(0, a);
    a->refs.resize(1);  // one empty slot, saved as -1
    std::vector<uint8_t> bytes = SaveGraph({root});
    root->DeleteMe();
    size_t refs = ChunkAt(bytes, {{host::scenefmt::OBJECTS, 0}, {host::scenefmt::OBJECT, 1}, {host::scenefmt::OBJ_REFS, 0}});
    int32_t slot;
    std::memcpy(&slot, bytes.data() + refs + host::CHUNK_HEADER_SIZE + 4, 4);
    ASSERT_EQ(slot, -1);
    PutI32At(bytes, refs + host::CHUNK_HEADER_SIZE + 4, 0);
    ExpectRefused(bytes, L"loop", "a reference loop");
    EXPECT_EQ(guard.Leaked(), 0);
}

TEST(ObjectFiles, PostLoadCallbacksRunAfterReferencesAndOrphansAreReleased) {
    RegisterClasses();
    kttest::LiveObjectGuard guard;
    Gadget* root = BuildGraph();
    auto* stray = new Gadget;  // saved as a second root, then made unreachable in the file
    std::vector<uint8_t> bytes = SaveGraph({root, stray});
    root->DeleteMe();
    stray->DeleteMe();
    size_t roots = ChunkAt(bytes, {{host::scenefmt::ROOTS, 0}});
    PutI32At(bytes, roots + host::CHUNK_HEADER_SIZE + 8, 0);

    Gadget::registerCallback = true;
    Gadget::throwingCallback = true;
    host::ListenerCapture listener;
    host::LoadedObjectFile f;
    std::wstring err;
    ASSERT_TRUE(host::ReadObjectFile(bytes.data(), bytes.size(), f, &err)) << Narrow(err);
    auto* loaded = dynamic_cast<Gadget*>(f.Roots()[0]);
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->seenAfterLoad, -1.0f) << "callbacks wait for Finish";
    EXPECT_EQ(guard.Leaked(), 7) << "four gadgets, the tag, its container and the stray";
    f.Finish();
    EXPECT_EQ(loaded->seenAfterLoad, 5.0f) << "the callback saw a and b in place, after others threw";
    EXPECT_NE(listener.Text().find("post-load callback failed: Invalid index"), std::string::npos) << listener.Text();
    EXPECT_EQ(guard.Leaked(), 6) << "the unreachable stray is gone";
    Gadget::registerCallback = false;
    Gadget::throwingCallback = false;
    loaded->DeleteMe();
    EXPECT_EQ(guard.Leaked(), 0);
}

TEST(ObjectFiles, SavingRefusesClassesThatMisbehaveOrAreUnknown) {
    RegisterClasses();
    kttest::LiveObjectGuard guard;
    Gadget* root = BuildGraph();
    const std::pair<SaveMode, const wchar_t*> cases[] = {
        {SaveMode::LeaveChunkOpen, L"unbalanced"},
        {SaveMode::DataOutsideChunk, L"outside a chunk"},
        {SaveMode::Throw, L"Invalid index"},
    };
    for (auto [mode, text] : cases) {
        Gadget::saveMode = mode;
        std::vector<uint8_t> out{1, 2, 3};
        std::wstring err;
        EXPECT_FALSE(host::WriteObjectFile({root}, {}, out, &err));
        EXPECT_NE(err.find(L"\"Gadget\""), std::wstring::npos) << Narrow(err);
        EXPECT_NE(err.find(text), std::wstring::npos) << Narrow(err);
        EXPECT_EQ(out, (std::vector<uint8_t>{1, 2, 3})) << "a failed save hands back nothing";
    }
    Gadget::saveMode = SaveMode::Normal;

    auto* ghost = new Ghost;
    root->SetRef(3, ghost);
    host::ClassDirectory::Get().RemoveLibraryClasses(L"ghostlib");
    std::vector<uint8_t> out;
    std::wstring err;
    EXPECT_FALSE(host::WriteObjectFile({root}, {}, out, &err));
    EXPECT_NE(err.find(L"not registered"), std::wstring::npos) << Narrow(err);
    RegisterClasses();
    root->DeleteMe();
    EXPECT_EQ(guard.Leaked(), 0);
}
