// Small reference targets for exercising the object model.
#pragma once

#include <string>
#include <vector>
#include "max.h"

namespace kttest {

// A target with a growable reference table, a value with undo, and a message log.
class Thing : public ReferenceTarget {
public:
    explicit Thing(int nrefs = 2, int* deleted = nullptr) : refs(static_cast<size_t>(nrefs), nullptr), deletedCount(deleted) {}
    ~Thing() override {
        if (deletedCount) ++*deletedCount;
    }
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x1234, 0x5678); }
    int NumRefs() override { return static_cast<int>(refs.size()); }
    RefTargetHandle GetReference(int i) override { return refs[static_cast<size_t>(i)]; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle hTarget, PartID& part, RefMessage msg,
                               BOOL) override {
        log.push_back(msg);
        lastFrom = hTarget;
        lastPart = part;
        return stopMessages ? REF_STOP : REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new Thing(NumRefs());
        c->value = value;
        for (int i = 0; i < NumRefs(); ++i) c->ReplaceReference(i, remap.CloneRef(refs[static_cast<size_t>(i)]));
        BaseClone(this, c, remap);
        return c;
    }

    // Undoable value change, one restore object per hold.
    void SetValueUndoable(int v) {
        if (theHold.Holding() && !TestAFlag(A_HELD)) {
            SetAFlag(A_HELD);
            theHold.Put(new ValueRestore(this));
        }
        value = v;
        NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    }

    std::vector<ReferenceTarget*> refs;
    std::vector<RefMessage> log;
    RefTargetHandle lastFrom = nullptr;
    PartID lastPart = 0;
    bool stopMessages = false;
    int value = 0;
    int* deletedCount;

protected:
    void SetReference(int i, RefTargetHandle t) override { refs[static_cast<size_t>(i)] = t; }

private:
    class ValueRestore : public RestoreObj {
    public:
        explicit ValueRestore(Thing* t) : thing(t), undo(t->value) {}
        void Restore(int isUndo) override {
            if (isUndo) redo = thing->value;
            thing->value = undo;
        }
        void Redo() override { thing->value = redo; }
        void EndHold() override { thing->ClearAFlag(A_HELD); }
        Thing* thing;
        int undo;
        int redo = 0;
    };
};

}  // namespace kttest
