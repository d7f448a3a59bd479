// A node's own state in scene files. References (controller, object, material, visibility)
// are the file's business; children are written as file indices and linked after load.
#include <cstring>

#include "iosave.h"
#include "iplugin.h"
#include "scene.h"

namespace host {

namespace {

constexpr USHORT NODE_NAME_CHUNK = 0x0100;
constexpr USHORT NODE_ROOT_CHUNK = 0x0105;
constexpr USHORT NODE_FLAGS_CHUNK = 0x0110;
constexpr USHORT NODE_OFFSET_CHUNK = 0x0120;
constexpr USHORT NODE_USERPROPS_CHUNK = 0x0130;
constexpr USHORT NODE_LAYER_CHUNK = 0x0140;
constexpr USHORT NODE_CHILDREN_CHUNK = 0x0150;

struct Flags {
    DWORD bits;
    DWORD wireColor;
    DWORD transformLocks;
    int32_t boneScaleType;
    int32_t boneAxis;
};

class NodeDesc : public ClassDesc {
public:
    int IsPublic() override { return FALSE; }
    void* Create(BOOL loading) override;
    const MCHAR* ClassName() override { return L"Node"; }
    SClass_ID SuperClassID() override { return BASENODE_CLASS_ID; }
    Class_ID ClassID() override { return BASENODE_CLASS; }
    const MCHAR* Category() override { return L""; }
};

NodeDesc g_nodeDesc;
const bool g_registered = ClassDirectory::Get().AddClass(&g_nodeDesc);

template <class T>
IOResult WriteChunk(ISave* isave, USHORT id, const T& v) {
    isave->BeginChunk(id);
    IOResult r = isave->Write(&v, sizeof(T), nullptr);
    isave->EndChunk();
    return r;
}

}  // namespace

class NodeAccessIO {
public:
    static INode* New() { return new INode(false); }
    static void EnterLoaded(INode* n) {
        Scene& scene = Scene::Get();
        LayerManager& layers = scene.Layers();
        ILayer* layer = n->loadLayer_.isNull() ? nullptr : layers.GetLayer(n->loadLayer_);
        if (!layer && !n->loadLayer_.isNull()) {
            theHold.Suspend();
            layer = layers.CreateLayer(n->loadLayer_);
            theHold.Resume();
        }
        n->loadLayer_ = MSTR();
        scene.EnterNew(n, layer ? layer : layers.GetRootLayer());
    }
    // Links the children once every object of the file exists.
    class LinkChildren : public PostLoadCallback {
    public:
        explicit LinkChildren(INode* n) : node(n) {}
        void proc(ILoad*) override {
            for (void* p : slots) {
                auto* child = static_cast<INode*>(p);
                if (child && child != node && !child->GetParentNode()) Scene::Get().Link(child, node, -1);
            }
            delete this;
        }
        int Priority() override { return 0; }
        INode* node;
        std::vector<void*> slots;
    };
};

void* NodeDesc::Create(BOOL loading) {
    (void)loading;
    return NodeAccessIO::New();
}

}  // namespace host

IOResult INode::Save(ISave* isave) {
    if (isRoot_) {
        host::WriteChunk(isave, host::NODE_ROOT_CHUNK, int32_t{1});
    }
    isave->BeginChunk(host::NODE_NAME_CHUNK);
    isave->WriteWString(name_.data());
    isave->EndChunk();

    host::Flags f{};
    f.bits = (hidden_ ? 1u : 0u) | (frozen_ ? 2u : 0u) | (renderable_ ? 4u : 0u) | (boneOn_ ? 8u : 0u) |
             (boneAutoAlign_ ? 16u : 0u) | (boneFreezeLen_ ? 32u : 0u) | (boneAxisFlip_ ? 64u : 0u);
    f.wireColor = wireColor_;
    f.transformLocks = transformLocks_;
    f.boneScaleType = boneScaleType_;
    f.boneAxis = boneAxis_;
    host::WriteChunk(isave, host::NODE_FLAGS_CHUNK, f);

    float off[14] = {offsetPos_.x, offsetPos_.y, offsetPos_.z, offsetRot_.x, offsetRot_.y, offsetRot_.z,
                     offsetRot_.w, offsetScale_.s.x, offsetScale_.s.y, offsetScale_.s.z, offsetScale_.q.x,
                     offsetScale_.q.y, offsetScale_.q.z, offsetScale_.q.w};
    host::WriteChunk(isave, host::NODE_OFFSET_CHUNK, off);

    if (!userProps_.isNull()) {
        isave->BeginChunk(host::NODE_USERPROPS_CHUNK);
        isave->WriteWString(userProps_.data());
        isave->EndChunk();
    }
    if (layer_) {
        isave->BeginChunk(host::NODE_LAYER_CHUNK);
        isave->WriteWString(layer_->GetName().data());
        isave->EndChunk();
    }
    if (!children_.empty()) {
        std::vector<int32_t> ids;
        ids.push_back(static_cast<int32_t>(children_.size()));
        for (INode* c : children_) ids.push_back(isave->GetRefID(c));
        isave->BeginChunk(host::NODE_CHILDREN_CHUNK);
        isave->Write(ids.data(), static_cast<ULONG>(ids.size() * sizeof(int32_t)), nullptr);
        isave->EndChunk();
    }
    return IO_OK;
}

IOResult INode::Load(ILoad* iload) {
    IOResult res;
    while ((res = iload->OpenChunk()) == IO_OK) {
        switch (iload->CurChunkID()) {
            case host::NODE_ROOT_CHUNK:
                isRoot_ = true;
                tmValid_ = FOREVER;
                break;
            case host::NODE_NAME_CHUNK: {
                MSTR s;
                if (iload->ReadWString(s) != IO_OK) return IO_ERROR;
                name_ = s;
                break;
            }
            case host::NODE_FLAGS_CHUNK: {
                host::Flags f{};
                if (iload->Read(&f, sizeof f, nullptr) != IO_OK) return IO_ERROR;
                hidden_ = f.bits & 1u;
                frozen_ = f.bits & 2u;
                renderable_ = f.bits & 4u;
                boneOn_ = f.bits & 8u;
                boneAutoAlign_ = f.bits & 16u;
                boneFreezeLen_ = f.bits & 32u;
                boneAxisFlip_ = f.bits & 64u;
                wireColor_ = f.wireColor;
                transformLocks_ = f.transformLocks;
                boneScaleType_ = f.boneScaleType;
                boneAxis_ = f.boneAxis;
                break;
            }
            case host::NODE_OFFSET_CHUNK: {
                float o[14];
                if (iload->Read(o, sizeof o, nullptr) != IO_OK) return IO_ERROR;
                offsetPos_ = Point3(o[0], o[1], o[2]);
                offsetRot_ = Quat(o[3], o[4], o[5], o[6]);
                offsetScale_ = ScaleValue(Point3(o[7], o[8], o[9]), Quat(o[10], o[11], o[12], o[13]));
                UpdateOffsetTM();
                break;
            }
            case host::NODE_USERPROPS_CHUNK:
                if (iload->ReadWString(userProps_) != IO_OK) return IO_ERROR;
                break;
            case host::NODE_LAYER_CHUNK:
                if (iload->ReadWString(loadLayer_) != IO_OK) return IO_ERROR;
                break;
            case host::NODE_CHILDREN_CHUNK: {
                int32_t n = 0;
                if (iload->Read(&n, sizeof n, nullptr) != IO_OK || n < 0 ||
                    static_cast<ULONG>(n) * sizeof(int32_t) + sizeof n != iload->CurChunkLength())
                    return IO_ERROR;
                auto* cb = new host::NodeAccessIO::LinkChildren(this);
                cb->slots.assign(static_cast<size_t>(n), nullptr);
                for (int32_t i = 0; i < n; ++i) {
                    int32_t id = -1;
                    if (iload->Read(&id, sizeof id, nullptr) != IO_OK) {
                        delete cb;
                        return IO_ERROR;
                    }
                    iload->RecordBackpatch(id, &cb->slots[static_cast<size_t>(i)]);
                }
                iload->RegisterPostLoadCallback(cb);
                break;
            }
            default:
                break;
        }
        iload->CloseChunk();
    }
    return res == IO_END ? IO_OK : res;
}

namespace host {

ClassDesc* NodeClassDesc() { return &g_nodeDesc; }

void AdoptLoadedRoot(INode* loadedRoot) {
    (void)g_registered;
    if (!loadedRoot) return;
    Scene& scene = Scene::Get();
    std::vector<INode*> tops;
    for (int i = 0; i < loadedRoot->NumberOfChildren(); ++i) tops.push_back(loadedRoot->GetChildNode(i));
    for (INode* n : tops) {
        scene.Unlink(n);
        scene.Link(n, scene.Root(), -1);
    }
    std::vector<INode*> stack(tops.begin(), tops.end());
    while (!stack.empty()) {
        INode* n = stack.back();
        stack.pop_back();
        NodeAccessIO::EnterLoaded(n);
        for (int i = 0; i < n->NumberOfChildren(); ++i) stack.push_back(n->GetChildNode(i));
    }
    if (loadedRoot != scene.Root()) DeleteIfOrphan(loadedRoot);
}

}  // namespace host
