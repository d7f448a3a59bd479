// Scene layers. Every node sits on exactly one layer; layer "0" always exists and takes new
// nodes until another layer is made current. Layers nest; a hidden or frozen layer hides or
// freezes its nodes and the layers below it. Layer names compare case-insensitively.
//
// Creating a layer, moving a node to a layer and changing a layer's parent are undoable.
#pragma once

#include <vector>
#include "ref.h"

class INode;

constexpr Class_ID LAYER_CLASS_ID(0x7E8E10D4, 0x44AF0A0D);

class ILayer : public ReferenceTarget {
public:
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return LAYER_CLASS_ID; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }

    MSTR GetName() const { return name_; }
    // Refuses (false) an empty name or one another layer has.
    bool SetName(const MSTR& name);

    // Moves node here from its current layer. False for null.
    bool AddToLayer(INode* node);
    int GetNodeCount() const { return static_cast<int>(nodes_.size()); }
    INode* GetNode(int i) const { return i >= 0 && i < GetNodeCount() ? nodes_[static_cast<size_t>(i)] : nullptr; }
    // Appends the layer's nodes to tab (this layer only, not the child layers).
    void GetNodes(Tab<INode*>& tab) const;

    // Null for a top layer. Refuses (false) a parent that is this layer or lies below it;
    // null makes the layer a top layer.
    ILayer* GetParentLayer() const { return parent_; }
    bool SetParentLayer(ILayer* parent);
    int GetNumOfChildLayers() const { return static_cast<int>(children_.size()); }
    ILayer* GetChildLayer(int i) const {
        return i >= 0 && i < GetNumOfChildLayers() ? children_[static_cast<size_t>(i)] : nullptr;
    }

    // The layer's own switches; with checkParents a hidden or frozen ancestor counts too.
    void Hide(bool onOff) { hidden_ = onOff; }
    bool IsHidden(bool checkParents = false) const;
    void Freeze(bool onOff) { frozen_ = onOff; }
    bool IsFrozen(bool checkParents = false) const;
    void SetRenderable(bool onOff) { renderable_ = onOff; }
    bool Renderable() const { return renderable_; }

    // Internal: membership bookkeeping without undo.
    void host_Attach(INode* node);
    void host_Detach(INode* node);
    void host_SetParent(ILayer* parent);
    void host_SetName(const MSTR& name) { name_ = name; }

private:
    MSTR name_;
    ILayer* parent_ = nullptr;
    std::vector<ILayer*> children_;
    std::vector<INode*> nodes_;
    bool hidden_ = false;
    bool frozen_ = false;
    bool renderable_ = true;
};

class ILayerManager {
public:
    virtual ~ILayerManager() = default;
    // A new top layer with the next free name "Layer001", "Layer002", ...
    virtual ILayer* CreateLayer() = 0;
    // A new top layer; null when the name is empty or taken.
    virtual ILayer* CreateLayer(const MSTR& name) = 0;
    // Deletes an empty layer without child layers; layer "0" and the current layer stay.
    virtual BOOL DeleteLayer(const MSTR& name) = 0;
    // By name (case-insensitive) or by index in creation order; null when there is none.
    virtual ILayer* GetLayer(const MSTR& name) const = 0;
    virtual ILayer* GetLayer(int i) const = 0;
    virtual int GetLayerCount() = 0;
    // The layer new nodes go to.
    virtual ILayer* GetCurrentLayer() const = 0;
    virtual void SetCurrentLayer(const MSTR& name) = 0;
    virtual void SetCurrentLayer(ILayer* layer) = 0;
    // Layer "0".
    virtual ILayer* GetRootLayer() const = 0;
};
