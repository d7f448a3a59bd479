#include "scene.h"

#include <algorithm>
#include <cwchar>

#include "control.h"
#include "notify.h"

// The standard controllers live in another part of the host that may not be linked in yet;
// until it is, new nodes start without a transform controller (identity local transform).
#pragma weak NewDefaultMatrix3Controller

namespace host {

namespace {

// Undoes the creation of a node: takes it out of the scene, keeping it alive for redo.
class NodeCreateRestore : public RestoreObj {
public:
    NodeCreateRestore(INode* n, INode* parent, int index, ILayer* layer)
        : node_(n), parent_(Animatable::GetHandleByAnim(parent)), layer_(Animatable::GetHandleByAnim(layer)),
          index_(index) {}
    void Restore(int) override;
    void Redo() override;
    MSTR Description() override { return MSTR(L"Create Node"); }

private:
    HoldLock node_;
    AnimHandle parent_, layer_;
    int index_;
};

// Undoes a deletion: puts the node back where it was.
class NodeDeleteRestore : public RestoreObj {
public:
    NodeDeleteRestore(INode* n, INode* parent, int index, ILayer* layer)
        : node_(n), parent_(Animatable::GetHandleByAnim(parent)), layer_(Animatable::GetHandleByAnim(layer)),
          index_(index) {}
    void Restore(int) override;
    void Redo() override;
    MSTR Description() override { return MSTR(L"Delete Node"); }

private:
    HoldLock node_;
    AnimHandle parent_, layer_;
    int index_;
};

void Withdraw(INode* n) {
    Scene& s = Scene::Get();
    if (s.SetSelected(n, false)) BroadcastNotification(NOTIFY_SELECTIONSET_CHANGED);
    s.Unlink(n);
    s.Leave(n);
}

void Reinstate(INode* n, AnimHandle parent, int index, AnimHandle layer) {
    Scene& s = Scene::Get();
    INode* p = FromHandle<INode>(parent);
    if (!p || !p->host_InScene()) p = s.Root();
    ILayer* l = FromHandle<ILayer>(layer);
    s.Enter(n, l ? l : s.Layers().GetRootLayer());
    s.Link(n, p, index);
    n->InvalidateTreeTM();
}

void NodeCreateRestore::Restore(int) {
    INode* n = FromHandle<INode>(node_.Handle());
    if (n && n->host_InScene()) Withdraw(n);
}

void NodeCreateRestore::Redo() {
    INode* n = FromHandle<INode>(node_.Handle());
    if (n && !n->host_InScene()) Reinstate(n, parent_, index_, layer_);
}

void NodeDeleteRestore::Restore(int) {
    INode* n = FromHandle<INode>(node_.Handle());
    if (n && !n->host_InScene()) Reinstate(n, parent_, index_, layer_);
}

void NodeDeleteRestore::Redo() {
    INode* n = FromHandle<INode>(node_.Handle());
    if (n && n->host_InScene()) Withdraw(n);
}

}  // namespace

Scene& Scene::Get() {
    // Never destroyed: undo records freed at exit may still release nodes through it.
    static Scene* scene = new Scene();
    return *scene;
}

Scene::Scene() {
    root_ = new INode(true);
    root_->nodeHandle_ = 0;
    root_->inScene_ = true;
    root_->SetAFlag(A_LOCK_TARGET);
    byHandle_.emplace(0, root_);
}

INode* Scene::FindByHandle(ULONG handle) const {
    auto it = byHandle_.find(handle);
    return it == byHandle_.end() ? nullptr : it->second;
}

void Scene::ForEachNode(const std::function<void(INode*)>& fn) const {
    std::vector<INode*> stack(root_->children_.rbegin(), root_->children_.rend());
    while (!stack.empty()) {
        INode* n = stack.back();
        stack.pop_back();
        fn(n);
        stack.insert(stack.end(), n->children_.rbegin(), n->children_.rend());
    }
}

INode* Scene::FindByName(const MCHAR* name) const {
    if (!name) return nullptr;
    INode* found = nullptr;
    std::wstring_view want(name);
    ForEachNode([&](INode* n) {
        if (!found && EqualNoCase(n->name_.str(), want)) found = n;
    });
    return found;
}

MSTR Scene::UniqueName(const MCHAR* baseName) const {
    std::wstring base = baseName ? baseName : L"";
    while (!base.empty() && base.back() >= L'0' && base.back() <= L'9') base.pop_back();
    long highest = 0;
    ForEachNode([&](INode* n) {
        const std::wstring& s = n->name_.str();
        if (s.size() <= base.size() || !EqualNoCase(std::wstring_view(s).substr(0, base.size()), base)) return;
        long v = 0;
        for (size_t i = base.size(); i < s.size(); ++i) {
            if (s[i] < L'0' || s[i] > L'9') return;
            if (v < 100000000) v = v * 10 + (s[i] - L'0');
        }
        highest = std::max(highest, v);
    });
    wchar_t num[32];
    std::swprintf(num, 32, L"%03ld", highest + 1);
    return MSTR(base + num);
}

void Scene::Link(INode* child, INode* parent, int index) {
    if (!child || !parent || child->parent_) return;
    auto& kids = parent->children_;
    if (index < 0 || index > static_cast<int>(kids.size())) index = static_cast<int>(kids.size());
    kids.insert(kids.begin() + index, child);
    child->parent_ = parent;
}

int Scene::Unlink(INode* child) {
    if (!child || !child->parent_) return -1;
    auto& kids = child->parent_->children_;
    auto it = std::find(kids.begin(), kids.end(), child);
    int index = -1;
    if (it != kids.end()) {
        index = static_cast<int>(it - kids.begin());
        kids.erase(it);
    }
    child->parent_ = nullptr;
    return index;
}

void Scene::Relink(INode* child, INode* parent, int index) {
    INode* old = child->parent_;
    if (old == parent) return;
    int oldIndex = Unlink(child);
    Link(child, parent, index);
    int newIndex = static_cast<int>(std::find(parent->children_.begin(), parent->children_.end(), child) -
                                    parent->children_.begin());
    if (theHold.Holding()) {
        AnimHandle c = Animatable::GetHandleByAnim(child), from = Animatable::GetHandleByAnim(old),
                   to = Animatable::GetHandleByAnim(parent);
        auto move = [c](AnimHandle dest, int at) {
            INode* n = FromHandle<INode>(c);
            INode* p = FromHandle<INode>(dest);
            if (!n || !p) return;
            Scene& s = Scene::Get();
            s.Unlink(n);
            s.Link(n, p, at);
            n->TMChanged();
            n->NotifyDependents(FOREVER, 0, REFMSG_NODE_LINK);
        };
        theHold.Put(new FnRestore([=] { move(from, oldIndex); }, [=] { move(to, newIndex); }, L"Link"));
    }
    child->TMChanged();
    child->NotifyDependents(FOREVER, 0, REFMSG_NODE_LINK);
}

void Scene::Enter(INode* node, ILayer* layer) {
    byHandle_[node->nodeHandle_] = node;
    node->inScene_ = true;
    node->SetAFlag(A_LOCK_TARGET);
    node->layer_ = layer;
    if (layer) layer->host_Attach(node);
}

void Scene::EnterNew(INode* node, ILayer* layer) {
    node->nodeHandle_ = nextHandle_++;
    Enter(node, layer);
}

void Scene::Leave(INode* node) {
    auto it = byHandle_.find(node->nodeHandle_);
    if (it != byHandle_.end() && it->second == node) byHandle_.erase(it);
    node->inScene_ = false;
    node->ClearAFlag(A_LOCK_TARGET);
    if (node->layer_) node->layer_->host_Detach(node);
    node->layer_ = nullptr;
    auto sel = std::find(selection_.begin(), selection_.end(), node);
    if (sel != selection_.end()) selection_.erase(sel);
    node->selected_ = false;
}

void Scene::MoveToLayer(INode* node, ILayer* layer) {
    if (!node || !layer || node->isRoot_ || node->layer_ == layer) return;
    ILayer* old = node->layer_;
    if (theHold.Holding()) {
        AnimHandle n = Animatable::GetHandleByAnim(node), from = Animatable::GetHandleByAnim(old),
                   to = Animatable::GetHandleByAnim(layer);
        auto move = [n](AnimHandle dest) {
            INode* nd = FromHandle<INode>(n);
            ILayer* l = FromHandle<ILayer>(dest);
            if (!nd || !l || !nd->host_InScene()) return;
            if (nd->layer_) nd->layer_->host_Detach(nd);
            nd->layer_ = l;
            l->host_Attach(nd);
        };
        theHold.Put(new FnRestore([=] { move(from); }, [=] { move(to); }, L"Layer"));
    }
    if (old) old->host_Detach(node);
    node->layer_ = layer;
    layer->host_Attach(node);
    node->NotifyDependents(FOREVER, 0, REFMSG_NODE_DISPLAY_PROP_CHANGED);
}

INode* Scene::CreateNode(Object* obj, const MSTR& name) {
    auto* n = new INode(false);
    n->nodeHandle_ = nextHandle_++;
    n->name_ = name;
    ILayer* layer = layers_.GetCurrentLayer();
    Enter(n, layer);
    Link(n, root_, -1);
    if (theHold.Holding()) theHold.Put(new NodeCreateRestore(n, root_, root_->NumberOfChildren() - 1, layer));
    // Recorded after the creation, so undo drops the references before the node goes.
    if (obj) n->SetObjectRef(obj);
    if (NewDefaultMatrix3Controller) {
        if (Control* tm = NewDefaultMatrix3Controller()) n->SetTMController(tm);
    }
    BroadcastNotification(NOTIFY_NODE_CREATED, n);
    return n;
}

void Scene::DeleteNode(INode* n, bool keepChildTM) {
    if (!n || n->isRoot_ || !n->inScene_) return;
    BroadcastNotification(NOTIFY_SCENE_PRE_DELETED_NODE, n);
    if (!n->inScene_) return;  // a callback deleted it
    if (SetSelected(n, false)) BroadcastNotification(NOTIFY_SELECTIONSET_CHANGED);
    INode* parent = n->parent_ ? n->parent_ : root_;
    while (!n->children_.empty()) {
        INode* c = n->children_.front();
        parent->AttachChild(c, keepChildTM ? 1 : 0);
        if (c->parent_ == n) Relink(c, parent, -1);  // refused above: never leave it dangling
    }
    n->NotifyDependents(FOREVER, PART_ALL, REFMSG_TARGET_DELETED);
    n->DeleteAllRefsToMe();
    for (int i = 0; i < INode::kNumRefs; ++i) n->SetRefRecorded(i, nullptr);
    ILayer* layer = n->layer_;
    int index = Unlink(n);
    Leave(n);
    if (theHold.Holding()) theHold.Put(new NodeDeleteRestore(n, parent, index, layer));
    else DeleteIfOrphan(n);
}

bool Scene::SetSelected(INode* node, bool on) {
    if (!node || node->isRoot_ || node->selected_ == on) return false;
    if (on && !node->inScene_) return false;
    node->selected_ = on;
    if (on) selection_.push_back(node);
    else selection_.erase(std::remove(selection_.begin(), selection_.end(), node), selection_.end());
    node->NotifyDependents(FOREVER, PART_SELECT, REFMSG_TARGET_SELECTIONCHANGE);
    return true;
}

void Scene::Clear() {
    std::vector<INode*> order;
    ForEachNode([&](INode* n) { order.push_back(n); });
    theHold.DisableUndo();
    // Children before parents; each stays whole until its turn.
    for (auto it = order.rbegin(); it != order.rend(); ++it) {
        INode* n = *it;
        Unlink(n);
        Leave(n);
        n->DeleteMe();
    }
    theHold.EnableUndo();
    selection_.clear();
}

}  // namespace host
