#include "hold.h"

#include <algorithm>

Hold theHold;

namespace {
void (*g_undoRedoHook)(bool redo) = nullptr;
}

void host::SetHoldUndoRedoHook(void (*hook)(bool redo)) { g_undoRedoHook = hook; }

Hold::Hold() = default;

Hold::~Hold() {
    // Records may keep scene objects alive; at exit nothing needs them any more.
    for (RestoreObj* r : current_) delete r;
    current_.clear();
    for (auto& r : undo_) FreeRecord(r);
    for (auto& r : redo_) FreeRecord(r);
}

void Hold::Begin() { ++depth_; }

void Hold::Put(RestoreObj* rob) {
    if (!rob) return;
    if (!Holding()) {
        delete rob;
        return;
    }
    current_.push_back(rob);
}

void Hold::EndHoldAll(std::vector<RestoreObj*>& objs) {
    for (RestoreObj* r : objs) r->EndHold();
}

void Hold::FreeRecord(Record& r) {
    for (RestoreObj* o : r.objs) delete o;
    r.objs.clear();
}

void Hold::Accept(const MCHAR* name) {
    if (depth_ == 0) return;
    if (--depth_ > 0) return;
    if (current_.empty()) return;
    Record rec;
    rec.name = name ? name : L"";
    rec.objs.swap(current_);
    EndHoldAll(rec.objs);
    // A new step makes the redo branch unreachable.
    std::vector<Record> dropped;
    dropped.swap(redo_);
    undo_.push_back(std::move(rec));
    if (static_cast<int>(undo_.size()) > maxRecords_ && superMarks_.empty()) {
        dropped.push_back(std::move(undo_.front()));
        undo_.erase(undo_.begin());
    }
    for (auto& r : dropped) FreeRecord(r);
}

void Hold::Cancel() {
    if (depth_ == 0) return;
    if (--depth_ > 0) return;
    std::vector<RestoreObj*> objs;
    objs.swap(current_);
    ++restoring_;
    for (auto it = objs.rbegin(); it != objs.rend(); ++it) (*it)->Restore(FALSE);
    --restoring_;
    EndHoldAll(objs);
    for (RestoreObj* r : objs) delete r;
}

void Hold::SuperBegin() { superMarks_.push_back(undo_.size()); }

void Hold::SuperAccept(const MCHAR* name) {
    if (superMarks_.empty()) return;
    size_t mark = superMarks_.back();
    superMarks_.pop_back();
    if (undo_.size() <= mark) return;
    Record merged;
    merged.name = name ? name : L"";
    for (size_t i = mark; i < undo_.size(); ++i)
        merged.objs.insert(merged.objs.end(), undo_[i].objs.begin(), undo_[i].objs.end());
    undo_.resize(mark);
    undo_.push_back(std::move(merged));
}

void Hold::SuperCancel() {
    if (superMarks_.empty()) return;
    size_t mark = superMarks_.back();
    superMarks_.pop_back();
    while (undo_.size() > mark) {
        Record rec = std::move(undo_.back());
        undo_.pop_back();
        ++restoring_;
        for (auto it = rec.objs.rbegin(); it != rec.objs.rend(); ++it) (*it)->Restore(FALSE);
        --restoring_;
        FreeRecord(rec);
    }
}

bool Hold::Undo() {
    if (depth_ > 0 || undo_.empty()) return false;
    Record rec = std::move(undo_.back());
    undo_.pop_back();
    ++restoring_;
    for (auto it = rec.objs.rbegin(); it != rec.objs.rend(); ++it) (*it)->Restore(TRUE);
    --restoring_;
    redo_.push_back(std::move(rec));
    if (g_undoRedoHook) g_undoRedoHook(false);
    return true;
}

bool Hold::Redo() {
    if (depth_ > 0 || redo_.empty()) return false;
    Record rec = std::move(redo_.back());
    redo_.pop_back();
    ++redoing_;
    for (RestoreObj* o : rec.objs) o->Redo();
    --redoing_;
    undo_.push_back(std::move(rec));
    if (g_undoRedoHook) g_undoRedoHook(true);
    return true;
}

MSTR Hold::UndoName() const { return undo_.empty() ? MSTR() : undo_.back().name; }
MSTR Hold::RedoName() const { return redo_.empty() ? MSTR() : redo_.back().name; }

void Hold::Reset() {
    std::vector<Record> u, r;
    u.swap(undo_);
    r.swap(redo_);
    superMarks_.clear();
    for (auto& rec : u) FreeRecord(rec);
    for (auto& rec : r) FreeRecord(rec);
}

void Hold::SetMaxRecords(int n) {
    maxRecords_ = std::max(1, n);
    std::vector<Record> dropped;
    while (static_cast<int>(undo_.size()) > maxRecords_) {
        dropped.push_back(std::move(undo_.front()));
        undo_.erase(undo_.begin());
    }
    for (auto& rec : dropped) FreeRecord(rec);
}
