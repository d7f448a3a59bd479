#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <sstream>

#include "file_test_classes.h"
#include "control.h"
#include "maxapi.h"
#include "notify.h"

using namespace filetest;

namespace {

struct NotifyLog {
    std::vector<int> codes;
    static void Proc(void* param, NotifyInfo* info) { static_cast<NotifyLog*>(param)->codes.push_back(info->intcode); }
    NotifyLog() {
        for (int c : {NOTIFY_FILE_PRE_OPEN, NOTIFY_FILE_POST_OPEN, NOTIFY_FILE_PRE_SAVE, NOTIFY_FILE_POST_SAVE})
            RegisterNotification(&Proc, this, c);
    }
    ~NotifyLog() { UnRegisterNotification(&Proc, this); }
};

class SceneFiles : public ::testing::Test {
protected:
    void SetUp() override {
        RegisterClasses();
        host::ResetScene();
    }
    void TearDown() override {
        RegisterClasses();
        host::ResetScene();
    }
    Interface* ip() { return GetCOREInterface(); }

    INode* Node(Object* obj, const MCHAR* name, INode* parent = nullptr) {
        INode* n = ip()->CreateObjectNode(obj, name);
        n->SetName(name);
        if (parent) parent->AttachChild(n, 0);
        return n;
    }

    // Layers "Rig" (hidden) and "Sub" (below it, not renderable); Hips > Spine > Head share
    // one marker between Hips and Spine; Prop's marker aims at Head; tags on Spine and the root.
    void BuildScene() {
        ILayerManager* lm = ip()->GetLayerManager();
        ILayer* rig = lm->CreateLayer(L"Rig");
        ILayer* sub = lm->CreateLayer(L"Sub");
        ASSERT_TRUE(rig && sub);
        rig->Hide(true);
        sub->SetParentLayer(rig);
        sub->SetRenderable(false);
        auto* shared = new Marker;
        shared->size = 2.5f;
        INode* hips = Node(shared, L"Hips");
        INode* spine = Node(shared, L"Spine", hips);
        INode* head = Node(nullptr, L"Head", spine);
        rig->AddToLayer(hips);
        sub->AddToLayer(spine);
        auto* aim = new Marker;
        aim->size = 0.5f;
        INode* prop = Node(aim, L"Prop \u00e9");
        aim->ReplaceReference(0, head);
        prop->SetWireColor(0x00112233);
        prop->SetRenderable(FALSE);
        prop->SetUserPropString(L"grip", L"left hand");
        head->Hide(TRUE);
        spine->Freeze(TRUE);
        hips->SetBoneNodeOnOff(TRUE, 0);
        hips->SetObjOffsetPos(Point3(1, 2, 3));
        spine->AllocCustAttribContainer();
        auto* tag = new Tag;
        tag->number = 7;
        spine->GetCustAttribContainer()->AppendCustAttrib(tag);
        ip()->GetRootNode()->AllocCustAttribContainer();
        auto* rootTag = new Tag;
        rootTag->number = 99;
        ip()->GetRootNode()->GetCustAttribContainer()->AppendCustAttrib(rootTag);
        lm->SetCurrentLayer(sub);
        SetFrameRate(25);
        ip()->SetAnimRange(Interval(-192, 3840));
        ip()->SetTime(576);
    }

    // Everything a file must carry, as text; objects are named by first appearance so that
    // sharing shows.
    std::string Describe() {
        std::wostringstream o;
        Interval r = ip()->GetAnimRange();
        o << L"time " << ip()->GetTime() << L" range " << r.Start() << L".." << r.End() << L" fps " << GetFrameRate()
          << L" tpf " << GetTicksPerFrame() << L"\n";
        ILayerManager* lm = ip()->GetLayerManager();
        for (int i = 0; i < lm->GetLayerCount(); ++i) {
            ILayer* l = lm->GetLayer(i);
            o << L"layer " << l->GetName().str() << L" parent "
              << (l->GetParentLayer() ? l->GetParentLayer()->GetName().str() : L"-") << L" h" << l->IsHidden()
              << L" f" << l->IsFrozen() << L" r" << l->Renderable() << L"\n";
        }
        o << L"current " << lm->GetCurrentLayer()->GetName().str() << L"\n";
        std::map<ReferenceTarget*, int> ids;
        auto id = [&](ReferenceTarget* t) { return t ? ids.emplace(t, static_cast<int>(ids.size())).first->second : -1; };
        auto tags = [&](Animatable* a) {
            std::wstring s;
            if (ICustAttribContainer* cc = a->GetCustAttribContainer())
                for (int i = 0; i < cc->GetNumCustAttribs(); ++i)
                    if (auto* t = dynamic_cast<Tag*>(cc->GetCustAttrib(i))) s += L" tag" + std::to_wstring(t->number);
            return s;
        };
        o << L"root" << tags(ip()->GetRootNode()) << L"\n";
        std::vector<INode*> stack{ip()->GetRootNode()};
        while (!stack.empty()) {
            INode* n = stack.back();
            stack.pop_back();
            for (int i = n->NumberOfChildren() - 1; i >= 0; --i) stack.push_back(n->GetChildNode(i));
            if (n->IsRootNode()) continue;
            MSTR props;
            n->GetUserPropBuffer(props);
            Point3 off = n->GetObjOffsetPos();
            o << L"node " << n->GetName() << L" < " << n->GetParentNode()->GetName() << L" layer "
              << (n->GetNodeLayer() ? n->GetNodeLayer()->GetName().str() : L"?") << L" wire " << n->GetWireColor()
              << L" hidden " << n->IsHidden() << L" frozen " << n->IsFrozen() << L" render " << n->Renderable()
              << L" bone " << n->GetBoneNodeOnOff() << L" offset " << off.x << L"," << off.y << L"," << off.z
              << L" props [" << props.str() << L"]" << tags(n);
            if (auto* m = dynamic_cast<Marker*>(n->GetObjectRef())) {
                auto* aimed = dynamic_cast<INode*>(m->aim);
                o << L" marker#" << id(m) << L" size " << m->size << L" aims " << (aimed ? aimed->GetName() : L"-");
            }
            Control* tm = n->GetTMController();
            o << L" tmctrl " << (tm ? tm->ClassName(false).str() : L"-") << L"#" << id(tm);
            for (TimeValue t : {-400, 0, 100, 480, 1000, 5000}) {
                Matrix3 m = n->GetNodeTM(t);
                o << L" [";
                for (int row = 0; row < 4; ++row)
                    for (int c = 0; c < 3; ++c) o << std::lround(m.GetRow(row)[c] * 1000.0f) << L" ";
                o << L"]";
            }
            o << L"\n";
        }
        return host::ToUtf8(o.str());
    }

    std::vector<uint8_t> Save() {
        std::vector<uint8_t> bytes;
        std::wstring err;
        EXPECT_TRUE(host::SaveSceneToMemory(bytes, &err)) << Narrow(err);
        return bytes;
    }
};

}  // namespace

TEST_F(SceneFiles, ASavedAndReloadedSceneIsTheSameScene) {
    BuildScene();
    const std::string before = Describe();
    std::vector<uint8_t> bytes = Save();

    host::ResetScene();
    Node(nullptr, L"Leftover");
    NotifyLog log;
    std::wstring err;
    ASSERT_TRUE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &err)) << Narrow(err);
    EXPECT_EQ(log.codes, (std::vector<int>{NOTIFY_FILE_PRE_OPEN, NOTIFY_FILE_POST_OPEN}));
    EXPECT_EQ(Describe(), before);
    EXPECT_EQ(ip()->GetINodeByName(L"Leftover"), nullptr) << "the previous scene is gone";
    EXPECT_EQ(theHold.NumUndoRecords(), 0);

    INode* hips = ip()->GetINodeByName(L"Hips");
    INode* spine = ip()->GetINodeByName(L"Spine");
    INode* head = ip()->GetINodeByName(L"Head");
    INode* prop = ip()->GetINodeByName(L"Prop \u00e9");
    ASSERT_TRUE(hips && spine && head && prop);
    EXPECT_EQ(hips->GetObjectRef(), spine->GetObjectRef()) << "an instanced object stays one object";
    EXPECT_EQ(hips->GetObjectRef()->NumDependents(), 2);
    EXPECT_EQ(dynamic_cast<Marker*>(prop->GetObjectRef())->aim, head) << "a cross reference finds the loaded node";
    for (INode* n : {hips, spine, head, prop}) {
        EXPECT_TRUE(n->host_InScene());
        EXPECT_EQ(ip()->GetINodeByHandle(n->GetHandle()), n);
    }

    // Saving what was loaded gives the same bytes: nothing was lost or reordered.
    EXPECT_EQ(Save(), bytes);

    // And the loaded scene is a live one: undoable edits work on it.
    theHold.Begin();
    head->SetName(L"Skull");
    theHold.Accept(L"Rename");
    EXPECT_TRUE(theHold.Undo());
    EXPECT_STREQ(head->GetName(), L"Head");
}

TEST_F(SceneFiles, ARefusedFileLeavesTheCurrentSceneExactlyAsItWas) {
    BuildScene();
    const std::vector<uint8_t> good = Save();

    host::ResetScene();
    auto* keep = new Marker;
    keep->size = 9.0f;
    theHold.Begin();
    INode* keeper = Node(keep, L"Keeper");
    theHold.Accept(L"Create");
    keeper->AllocCustAttribContainer();
    keeper->GetCustAttribContainer()->AppendCustAttrib(new Tag);
    ip()->SetTime(160);
    const std::string scene = Describe();
    const long live = Animatable::LiveCount();
    const int undo = theHold.NumUndoRecords();
    ASSERT_EQ(undo, 1);

    NotifyLog log;
    auto refused = [&](const std::vector<uint8_t>& bytes, const std::wstring& mention, const std::string& what) {
        std::wstring err;
        EXPECT_FALSE(host::LoadSceneFromMemory(bytes.data(), bytes.size(), &err)) << what;
        EXPECT_NE(err.find(mention), std::wstring::npos) << what << ": " << Narrow(err);
        EXPECT_EQ(Describe(), scene) << what;
        EXPECT_EQ(Animatable::LiveCount(), live) << what;
        EXPECT_EQ(theHold.NumUndoRecords(), undo) << what;
        EXPECT_TRUE(log.codes.empty()) << what << ": nothing was opened";
    };

    for (size_t len = 0; len < good.size(); len += (len < 64 || len + 64 > good.size()) ? 1 : 7)
        refused(std::vector<uint8_t>(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(len)), L"",
                "cut at " + std::to_string(len));

    std::vector<uint8_t> bad = good;
    bad[0] = 'X';
    refused(bad, L"not a scene file", "wrong header");

    bad = good;
    size_t objects = ChunkAt(bad, {{host::scenefmt::OBJECTS, 0}});
    PutI32At(bad, objects + 2, static_cast<int32_t>(host::CHUNK_CONTAINER_BIT | 0x7FFFFF));
    refused(bad, L"remain in its parent", "a chunk overrunning its parent");

    bad = good;
    size_t refs = ChunkAt(bad, {{host::scenefmt::OBJECTS, 0}, {host::scenefmt::OBJECT, 0}, {host::scenefmt::OBJ_REFS, 0}});
    PutI32At(bad, refs + host::CHUNK_HEADER_SIZE + 4, 1000);  // the root node's first reference
    refused(bad, L"out of range", "an index out of range");

    bad = good;
    size_t layer = ChunkAt(bad, {{host::scenefmt::LAYERS, 0}, {host::scenefmt::LAYER, 1}});
    PutI32At(bad, layer + host::CHUNK_HEADER_SIZE + 4, 2);  // "Rig\0", then the parent index
    refused(bad, L"not an earlier layer", "a layer parent out of order");

    // A well-formed object file whose root is not a scene root.
    auto* loner = new Gadget;
    std::vector<uint8_t> notAScene;
    ASSERT_TRUE(host::WriteObjectFile({loner}, {}, notAScene, nullptr));
    loner->DeleteMe();
    refused(notAScene, L"not a scene root node", "a root that is not the scene root");

    host::ClassDirectory::Get().RemoveLibraryClasses(L"filetest");
    refused(good, L"unknown class \"Tag\" (super class 0x1160", "an unknown class");
    RegisterClasses();

    // The same file, untouched, still loads.
    std::wstring err;
    EXPECT_TRUE(host::LoadSceneFromMemory(good.data(), good.size(), &err)) << Narrow(err);
}

TEST_F(SceneFiles, FilesAreWrittenWholeOrNotAtAll) {
    namespace fs = std::filesystem;
    fs::path dir = fs::temp_directory_path() / ("kt_scene_files_" + std::to_string(::getpid()));
    fs::remove_all(dir);
    fs::create_directories(dir);
    const std::wstring path = (dir / "rig.kts").wstring();
    auto leftovers = [&] {
        int n = 0;
        for (const auto& e : fs::directory_iterator(dir))
            if (e.path().filename() != "rig.kts") ++n;
        return n;
    };

    BuildScene();
    const std::string scene = Describe();
    NotifyLog log;
    std::wstring err;
    ASSERT_TRUE(host::SaveScene(path.c_str(), &err)) << Narrow(err);
    EXPECT_EQ(log.codes, (std::vector<int>{NOTIFY_FILE_PRE_SAVE, NOTIFY_FILE_POST_SAVE}));
    std::vector<uint8_t> onDisk;
    ASSERT_TRUE(host::ReadFileBytes(path.c_str(), onDisk, &err));
    EXPECT_EQ(onDisk, Save());
    EXPECT_EQ(leftovers(), 0);

    // A save that fails (a class the host cannot save) leaves the old file as it was.
    auto* ghost = new Ghost;
    Node(nullptr, L"Haunted")->AllocCustAttribContainer();
    auto* holder = new Marker;
    holder->ReplaceReference(0, ghost);
    ip()->GetINodeByName(L"Haunted")->SetObjectRef(holder);
    host::ClassDirectory::Get().RemoveLibraryClasses(L"ghostlib");
    EXPECT_FALSE(host::SaveScene(path.c_str(), &err));
    EXPECT_NE(err.find(path), std::wstring::npos) << Narrow(err);
    RegisterClasses();
    std::vector<uint8_t> after;
    ASSERT_TRUE(host::ReadFileBytes(path.c_str(), after, nullptr));
    EXPECT_EQ(after, onDisk);
    EXPECT_EQ(leftovers(), 0);

    host::ResetScene();
    ASSERT_TRUE(host::LoadScene(path.c_str(), &err)) << Narrow(err);
    EXPECT_EQ(Describe(), scene);

    const std::wstring missing = (dir / "missing.kts").wstring();
    EXPECT_FALSE(host::LoadScene(missing.c_str(), &err));
    EXPECT_NE(err.find(L"missing.kts"), std::wstring::npos) << Narrow(err);
    const std::wstring nowhere = (dir / "no" / "such" / "dir.kts").wstring();
    EXPECT_FALSE(host::SaveScene(nowhere.c_str(), &err));
    EXPECT_FALSE(fs::exists(nowhere));
    EXPECT_EQ(Describe(), scene) << "failed saves and loads change nothing";
    fs::remove_all(dir);
}
