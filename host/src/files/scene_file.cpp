// Whole scenes on top of the object layer: the root node as the file's root, node children
// as links, the layer table as a chunk of the scene's own, and the hand-over to the live scene.
#include "scenefile.h"

#include <cstring>

#include "custattrib.h"
#include "hold.h"
#include "inode.h"
#include "maxapi.h"
#include "notify.h"
#include "../scene/scene.h"

namespace host {

namespace {

constexpr DWORD LAYER_HIDDEN = 1, LAYER_FROZEN = 2, LAYER_RENDERABLE = 4;

void NodeChildren(ReferenceTarget* obj, std::vector<ReferenceTarget*>& out) {
    if (obj->SuperClassID() != BASENODE_CLASS_ID) return;
    if (auto* n = dynamic_cast<INode*>(obj))
        for (int i = 0; i < n->NumberOfChildren(); ++i) out.push_back(n->GetChildNode(i));
}

int LayerIndex(ILayerManager& lm, ILayer* layer) {
    for (int i = 0; i < lm.GetLayerCount(); ++i)
        if (lm.GetLayer(i) == layer) return i;
    return -1;
}

void WriteLayers(ISave* isave) {
    ILayerManager& lm = *GetCOREInterface()->GetLayerManager();
    isave->BeginChunk(scenefmt::LAYERS);
    for (int i = 0; i < lm.GetLayerCount(); ++i) {
        ILayer* l = lm.GetLayer(i);
        isave->BeginChunk(scenefmt::LAYER);
        isave->WriteWString(l->GetName().data());
        int32_t parent = LayerIndex(lm, l->GetParentLayer());
        DWORD flags = (l->IsHidden() ? LAYER_HIDDEN : 0) | (l->IsFrozen() ? LAYER_FROZEN : 0) |
                      (l->Renderable() ? LAYER_RENDERABLE : 0);
        isave->Write(&parent, 4, nullptr);
        isave->Write(&flags, 4, nullptr);
        isave->EndChunk();
    }
    isave->BeginChunk(scenefmt::CURRENT_LAYER);
    int32_t current = LayerIndex(lm, lm.GetCurrentLayer());
    isave->Write(&current, 4, nullptr);
    isave->EndChunk();
    isave->EndChunk();
}

struct LayerRecord {
    MSTR name;
    int32_t parent;
    DWORD flags;
};

// Reads and checks the layer table before anything of the live scene changes.
bool ReadLayers(const LoadedObjectFile& f, std::vector<LayerRecord>& layers, int32_t& current, std::wstring& err) {
    layers.clear();
    current = 0;
    size_t size = 0, offset = 0;
    const uint8_t* data = f.TopChunk(scenefmt::LAYERS, &size, &offset);
    if (!data) return true;  // a file without layers puts every node on layer "0"
    ChunkReader in(data, size, offset);
    IOResult res;
    while ((res = in.OpenChunk()) == IO_OK) {
        if (in.CurChunkID() == scenefmt::LAYER) {
            LayerRecord r;
            if (in.ReadWString(r.name) != IO_OK || in.Read(&r.parent, 4, nullptr) != IO_OK ||
                in.Read(&r.flags, 4, nullptr) != IO_OK) {
                err = L"damaged layer entry at byte " + std::to_wstring(in.CurChunkOffset());
                return false;
            }
            layers.push_back(r);
        } else if (in.CurChunkID() == scenefmt::CURRENT_LAYER) {
            if (in.Read(&current, 4, nullptr) != IO_OK) {
                err = L"damaged current layer at byte " + std::to_wstring(in.CurChunkOffset());
                return false;
            }
        }
        in.CloseChunk();
    }
    if (res != IO_END) {
        err = L"damaged layer table: " + in.Error();
        return false;
    }
    const int n = static_cast<int>(layers.size());
    if (n == 0 || layers[0].name != L"0" || layers[0].parent != -1) {
        err = L"the layer table does not start with layer \"0\"";
        return false;
    }
    for (int i = 0; i < n; ++i) {
        if (layers[static_cast<size_t>(i)].name.isNull()) {
            err = L"layer " + std::to_wstring(i) + L" has no name";
            return false;
        }
        for (int j = 0; j < i; ++j)
            if (EqualNoCase(layers[static_cast<size_t>(i)].name.str(), layers[static_cast<size_t>(j)].name.str())) {
                err = L"two layers are named \"" + layers[static_cast<size_t>(i)].name.str() + L"\"";
                return false;
            }
        // A parent must come earlier: that also rules out loops.
        int32_t p = layers[static_cast<size_t>(i)].parent;
        if (p < -1 || p >= i) {
            err = L"layer \"" + layers[static_cast<size_t>(i)].name.str() + L"\" has parent index " +
                  std::to_wstring(p) + L", which is not an earlier layer";
            return false;
        }
    }
    if (current < 0 || current >= n) {
        err = L"current layer index " + std::to_wstring(current) + L" is out of range";
        return false;
    }
    return true;
}

void ApplyLayers(const std::vector<LayerRecord>& layers, int32_t current) {
    if (layers.empty()) return;
    ILayerManager& lm = *GetCOREInterface()->GetLayerManager();
    std::vector<ILayer*> made;
    for (size_t i = 0; i < layers.size(); ++i) {
        const LayerRecord& r = layers[i];
        ILayer* l = i == 0 ? lm.GetRootLayer() : lm.CreateLayer(r.name);
        made.push_back(l);
        if (!l) continue;
        if (r.parent >= 0 && made[static_cast<size_t>(r.parent)]) l->SetParentLayer(made[static_cast<size_t>(r.parent)]);
        l->Hide((r.flags & LAYER_HIDDEN) != 0);
        l->Freeze((r.flags & LAYER_FROZEN) != 0);
        l->SetRenderable((r.flags & LAYER_RENDERABLE) != 0);
    }
    if (ILayer* c = made[static_cast<size_t>(current)]) lm.SetCurrentLayer(c);
}

// The scene root stays the same object for the life of the host; custom attributes on it
// come from the file and replace whatever it had.
void TakeRootAttribs(INode* from, INode* to) {
    if (ICustAttribContainer* cc = to->GetCustAttribContainer())
        while (cc->GetNumCustAttribs() > 0) cc->RemoveCustAttrib(cc->GetNumCustAttribs() - 1);
    ICustAttribContainer* src = from->GetCustAttribContainer();
    if (!src || src->GetNumCustAttribs() == 0) return;
    std::vector<CustAttrib*> cas;
    for (int i = 0; i < src->GetNumCustAttribs(); ++i) cas.push_back(src->GetCustAttrib(i));
    to->AllocCustAttribContainer();
    for (CustAttrib* ca : cas) to->GetCustAttribContainer()->AppendCustAttrib(ca);
    // The new container holds them now; the loaded root lets go without releasing them.
    while (src->GetNumCustAttribs() > 0) src->RemoveCustAttrib(src->GetNumCustAttribs() - 1);
}

struct HoldOff {
    HoldOff() { theHold.Suspend(); }
    ~HoldOff() { theHold.Resume(); }
};

}  // namespace

bool SaveSceneToMemory(std::vector<uint8_t>& out, std::wstring* error) {
    Interface* ip = GetCOREInterface();
    SceneSettings st;
    st.time = ip->GetTime();
    st.animRange = ip->GetAnimRange();
    st.frameRate = GetFrameRate();
    st.ticksPerFrame = GetTicksPerFrame();
    return WriteObjectFile({ip->GetRootNode()}, st, out, error, NodeChildren, WriteLayers);
}

bool LoadSceneFromMemory(const uint8_t* data, size_t size, std::wstring* error) {
    (void)NodeClassDesc();  // nodes are made through the class directory; make sure it is there
    LoadedObjectFile f;
    std::wstring err;
    if (!ReadObjectFile(data, size, f, &err)) {
        if (error) *error = err;
        return false;
    }
    auto* root = dynamic_cast<INode*>(f.Roots().empty() ? nullptr : f.Roots()[0]);
    std::vector<LayerRecord> layers;
    int32_t current = 0;
    if (!root || !root->IsRootNode()) err = L"the file's first root is not a scene root node";
    else if (f.Roots().size() != 1) err = L"a scene file has exactly one root";
    else ReadLayers(f, layers, current, err);
    if (!err.empty()) {
        f.DeleteAll();
        if (error) *error = err;
        return false;
    }

    // Nothing can fail from here on: the live scene is replaced.
    BroadcastNotification(NOTIFY_FILE_PRE_OPEN);
    {
        HoldOff off;
        theHold.Reset();
        Scene& scene = Scene::Get();
        scene.Clear();
        scene.Layers().Reset();
        ResetInterfaceState();
        ApplyLayers(layers, current);
        f.Finish(NodeChildren);
        TakeRootAttribs(root, scene.Root());
        AdoptLoadedRoot(root);

        const SceneSettings& st = f.Settings();
        SetFrameRate(st.frameRate);
        if (GetTicksPerFrame() != st.ticksPerFrame) SetTicksPerFrame(st.ticksPerFrame);
        Interface* ip = GetCOREInterface();
        ip->SetAnimRange(st.animRange);
        ip->SetTime(st.time, FALSE);
    }
    BroadcastNotification(NOTIFY_FILE_POST_OPEN);
    return true;
}

bool SaveScene(const MCHAR* path, std::wstring* error) {
    std::vector<uint8_t> bytes;
    std::wstring err;
    BroadcastNotification(NOTIFY_FILE_PRE_SAVE);
    bool ok = SaveSceneToMemory(bytes, &err) && WriteFileAtomically(path, bytes, &err);
    if (ok) BroadcastNotification(NOTIFY_FILE_POST_SAVE);
    else if (error) *error = L"Cannot save \"" + std::wstring(path ? path : L"") + L"\": " + err;
    return ok;
}

bool LoadScene(const MCHAR* path, std::wstring* error) {
    std::vector<uint8_t> bytes;
    std::wstring err;
    bool ok = ReadFileBytes(path, bytes, &err) && LoadSceneFromMemory(bytes.data(), bytes.size(), &err);
    if (!ok && error) *error = L"Cannot load \"" + std::wstring(path ? path : L"") + L"\": " + err;
    return ok;
}

}  // namespace host
