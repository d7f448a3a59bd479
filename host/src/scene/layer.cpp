#include <algorithm>
#include <cwchar>

#include "ilayer.h"
#include "inode.h"
#include "scene.h"

// ---- ILayer

bool ILayer::SetName(const MSTR& name) {
    if (name.isNull()) return false;
    ILayer* other = host::Scene::Get().Layers().GetLayer(name);
    if (other && other != this) return false;
    name_ = name;
    return true;
}

bool ILayer::AddToLayer(INode* node) {
    if (!node || node->IsRootNode() || !node->host_InScene()) return false;
    host::Scene::Get().MoveToLayer(node, this);
    return true;
}

void ILayer::GetNodes(Tab<INode*>& tab) const {
    for (INode* n : nodes_) tab.push_back(n);
}

bool ILayer::SetParentLayer(ILayer* parent) {
    for (ILayer* a = parent; a; a = a->parent_)
        if (a == this) return false;
    if (parent == parent_) return true;
    if (theHold.Holding()) {
        AnimHandle self = Animatable::GetHandleByAnim(this), from = Animatable::GetHandleByAnim(parent_),
                   to = Animatable::GetHandleByAnim(parent);
        auto set = [self](AnimHandle p) {
            if (ILayer* l = host::FromHandle<ILayer>(self)) l->host_SetParent(host::FromHandle<ILayer>(p));
        };
        theHold.Put(new host::FnRestore([=] { set(from); }, [=] { set(to); }, L"Layer Parent"));
    }
    host_SetParent(parent);
    return true;
}

void ILayer::host_SetParent(ILayer* parent) {
    if (parent_) {
        auto& sib = parent_->children_;
        sib.erase(std::remove(sib.begin(), sib.end(), this), sib.end());
    }
    parent_ = parent;
    if (parent_) parent_->children_.push_back(this);
}

bool ILayer::IsHidden(bool checkParents) const {
    if (hidden_) return true;
    return checkParents && parent_ && parent_->IsHidden(true);
}

bool ILayer::IsFrozen(bool checkParents) const {
    if (frozen_) return true;
    return checkParents && parent_ && parent_->IsFrozen(true);
}

void ILayer::host_Attach(INode* node) {
    if (std::find(nodes_.begin(), nodes_.end(), node) == nodes_.end()) nodes_.push_back(node);
}

void ILayer::host_Detach(INode* node) { nodes_.erase(std::remove(nodes_.begin(), nodes_.end(), node), nodes_.end()); }

// ---- LayerManager

namespace host {

namespace {
ILayer* NewLayer(const MSTR& name) {
    auto* l = new ILayer();
    l->host_SetName(name);
    l->SetAFlag(A_LOCK_TARGET);
    return l;
}
}  // namespace

LayerManager::LayerManager() {
    layers_.push_back(NewLayer(MSTR(L"0")));
    current_ = layers_.front();
}

ILayer* LayerManager::GetLayer(const MSTR& name) const {
    for (ILayer* l : layers_)
        if (EqualNoCase(l->GetName().str(), name.str())) return l;
    return nullptr;
}

ILayer* LayerManager::GetLayer(int i) const {
    return i >= 0 && i < static_cast<int>(layers_.size()) ? layers_[static_cast<size_t>(i)] : nullptr;
}

ILayer* LayerManager::CreateLayer() {
    for (int i = 1;; ++i) {
        wchar_t name[32];
        std::swprintf(name, 32, L"Layer%03d", i);
        if (!GetLayer(MSTR(name))) return CreateLayer(MSTR(name));
    }
}

void LayerManager::Insert(ILayer* layer, int index) {
    if (std::find(layers_.begin(), layers_.end(), layer) != layers_.end()) return;
    if (index < 0 || index > static_cast<int>(layers_.size())) index = static_cast<int>(layers_.size());
    layers_.insert(layers_.begin() + index, layer);
    layer->SetAFlag(A_LOCK_TARGET);
}

int LayerManager::Remove(ILayer* layer) {
    auto it = std::find(layers_.begin(), layers_.end(), layer);
    if (it == layers_.end()) return -1;
    int index = static_cast<int>(it - layers_.begin());
    layers_.erase(it);
    if (current_ == layer) current_ = layers_.front();
    layer->host_SetParent(nullptr);
    layer->ClearAFlag(A_LOCK_TARGET);
    return index;
}

ILayer* LayerManager::CreateLayer(const MSTR& name) {
    if (name.isNull() || GetLayer(name)) return nullptr;
    ILayer* l = NewLayer(name);
    int index = static_cast<int>(layers_.size());
    layers_.push_back(l);
    if (theHold.Holding()) {
        // The lock keeps an undone layer alive for redo; it is freed with the record.
        auto lock = std::make_shared<HoldLock>(l);
        AnimHandle h = lock->Handle();
        theHold.Put(new FnRestore(
            [lock, h] {
                if (ILayer* x = FromHandle<ILayer>(h)) Scene::Get().Layers().Remove(x);
            },
            [lock, h, index] {
                if (ILayer* x = FromHandle<ILayer>(h)) Scene::Get().Layers().Insert(x, index);
            },
            L"Create Layer"));
    }
    return l;
}

BOOL LayerManager::DeleteLayer(const MSTR& name) {
    ILayer* l = GetLayer(name);
    if (!l || l == layers_.front() || l == current_ || l->GetNodeCount() > 0 || l->GetNumOfChildLayers() > 0)
        return FALSE;
    int index = Remove(l);
    if (theHold.Holding()) {
        auto lock = std::make_shared<HoldLock>(l);
        AnimHandle h = lock->Handle();
        theHold.Put(new FnRestore(
            [lock, h, index] {
                if (ILayer* x = FromHandle<ILayer>(h)) Scene::Get().Layers().Insert(x, index);
            },
            [lock, h] {
                if (ILayer* x = FromHandle<ILayer>(h)) Scene::Get().Layers().Remove(x);
            },
            L"Delete Layer"));
    } else {
        host::DeleteIfOrphan(l);
    }
    return TRUE;
}

void LayerManager::SetCurrentLayer(const MSTR& name) {
    if (ILayer* l = GetLayer(name)) current_ = l;
}

void LayerManager::SetCurrentLayer(ILayer* layer) {
    if (layer && std::find(layers_.begin(), layers_.end(), layer) != layers_.end()) current_ = layer;
}

void LayerManager::Reset() {
    std::vector<ILayer*> drop(layers_.begin() + 1, layers_.end());
    for (ILayer* l : drop) Remove(l);
    for (ILayer* l : drop) DeleteIfOrphan(l);
    ILayer* zero = layers_.front();
    zero->Hide(false);
    zero->Freeze(false);
    zero->SetRenderable(true);
    current_ = zero;
}

}  // namespace host
