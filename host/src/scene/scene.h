// The scene behind the core interface: the root, the node tables, selection and layers.
#pragma once

#include <functional>
#include <unordered_map>
#include <vector>

#include "hold.h"
#include "maxapi.h"

namespace host {

template <class T>
T* FromHandle(AnimHandle h) {
    return h ? dynamic_cast<T*>(Animatable::GetAnimByHandle(h)) : nullptr;
}

// A restore object made of two functions. Captures handles, never raw pointers, so that it
// stays safe whatever else was released meanwhile.
// A node's TM controller is about to be replaced, and has been: the motion panel ends the
// old controller's editing while it is still whole, then edits the new one.
void MotionPanelTMChanging(Animatable* old, Animatable* next);
void MotionPanelTMChanged();

class FnRestore : public RestoreObj {
public:
    FnRestore(std::function<void()> undo, std::function<void()> redo, const wchar_t* what)
        : undo_(std::move(undo)), redo_(std::move(redo)), what_(what) {}
    void Restore(int) override { undo_(); }
    void Redo() override { redo_(); }
    MSTR Description() override { return MSTR(what_); }

private:
    std::function<void()> undo_, redo_;
    const wchar_t* what_;
};

// Deletes a node or layer that the scene has let go of (no A_LOCK_TARGET) once no undo record
// and no real dependent needs it. Nodes and layers are often never referenced, so the
// automatic release of targets does not cover them.
inline void DeleteIfOrphan(ReferenceTarget* t) {
    if (t && !t->TestAFlag(A_LOCK_TARGET | A_IS_DELETED) && t->host_HoldLocks() == 0 && t->NumRealDependents() == 0)
        t->DeleteMe();
}

// Keeps a reference target alive while an undo record needs it.
class HoldLock {
public:
    explicit HoldLock(ReferenceTarget* t) : h_(Animatable::GetHandleByAnim(t)) {
        if (t) t->host_AddHoldLock();
    }
    ~HoldLock() {
        if (auto* t = FromHandle<ReferenceTarget>(h_)) t->host_ReleaseHoldLock();
        if (auto* t = FromHandle<ReferenceTarget>(h_)) DeleteIfOrphan(t);
    }
    HoldLock(const HoldLock&) = delete;
    HoldLock& operator=(const HoldLock&) = delete;
    AnimHandle Handle() const { return h_; }

private:
    AnimHandle h_;
};

class LayerManager : public ILayerManager {
public:
    LayerManager();
    ILayer* CreateLayer() override;
    ILayer* CreateLayer(const MSTR& name) override;
    BOOL DeleteLayer(const MSTR& name) override;
    ILayer* GetLayer(const MSTR& name) const override;
    ILayer* GetLayer(int i) const override;
    int GetLayerCount() override { return static_cast<int>(layers_.size()); }
    ILayer* GetCurrentLayer() const override { return current_; }
    void SetCurrentLayer(const MSTR& name) override;
    void SetCurrentLayer(ILayer* layer) override;
    ILayer* GetRootLayer() const override { return layers_.front(); }

    // Drops every layer but "0" (which must then be empty) and resets "0".
    void Reset();
    // Internal: list membership for undo of creation.
    void Insert(ILayer* layer, int index);
    int Remove(ILayer* layer);

private:
    std::vector<ILayer*> layers_;
    ILayer* current_ = nullptr;
};

class Scene {
public:
    static Scene& Get();

    INode* Root() { return root_; }
    INode* FindByHandle(ULONG handle) const;
    INode* FindByName(const MCHAR* name) const;
    MSTR UniqueName(const MCHAR* baseName) const;
    // Calls fn for every node below the root, parents before children.
    void ForEachNode(const std::function<void(INode*)>& fn) const;

    INode* CreateNode(Object* obj, const MSTR& name);
    void DeleteNode(INode* node, bool keepChildTM);

    // Moves child under parent at index (-1: last), recorded while holding; the child's
    // transform is not touched.
    void Relink(INode* child, INode* parent, int index);
    // Without undo.
    void Link(INode* child, INode* parent, int index);
    int Unlink(INode* child);
    // Puts a node into the scene tables (handle, layer) and takes it out again.
    void Enter(INode* node, ILayer* layer);
    void Leave(INode* node);
    // Enter with a new handle (nodes made by a file load).
    void EnterNew(INode* node, ILayer* layer);
    // Moves a node to another layer, recorded while holding.
    void MoveToLayer(INode* node, ILayer* layer);

    // Selection without notification broadcast; sends the message when the state changes.
    bool SetSelected(INode* node, bool on);
    const std::vector<INode*>& Selection() const { return selection_; }

    LayerManager& Layers() { return layers_; }

    // Deletes every node without undo records.
    void Clear();

private:
    Scene();
    INode* root_ = nullptr;
    std::unordered_map<ULONG, INode*> byHandle_;
    std::vector<INode*> selection_;
    LayerManager layers_;
    ULONG nextHandle_ = 1;
};

// Core-interface state that a scene reset puts back.
void ResetInterfaceState();

}  // namespace host
