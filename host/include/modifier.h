// Modifiers and derived objects: the modifier stack.
//
// A derived object (super class GEN_DERIVOB_CLASS_ID) refers to an object (its object
// reference: a base object or another derived object) and to a list of modifiers, each with
// its ModContext. A node whose object has modifiers refers to the derived object.
//
// Modifier index order, used by every call here: index 0 is the TOP of the stack, the modifier
// applied LAST; index NumModifiers() - 1 sits right above the object reference and is applied
// FIRST. So "the first modifier" is GetModifier(0), the top one; evaluation runs from the
// highest index down to 0; "stack order" as a user reads the stack (top to bottom) is 0, 1,
// 2, ...; a walk "from the last to the first" goes from NumModifiers() - 1 down to 0.
// AddModifier(mod, mc, before) inserts at index `before` (0: on top).
//
// Evaluation (Eval(t)): the object reference is evaluated, then each enabled modifier from the
// bottom up gets ModifyObject(t, mc, &os, node) with node the node that shows the stack (found
// through the dependents, the first one when the stack is instanced; null when none). A modifier that changes channels is handed an
// object that belongs to the stack, never the base object: the stack copies the incoming
// object (or converts it when it is not of the modifier's InputType; a modifier whose input
// cannot be converted is skipped). A modifier that changes no channel (ChannelsChanged() == 0,
// such as the attribute holder) sees the incoming state as it is and must not change it.
// After each modifier the stack intersects LocalValidity(t) into the channels it changes;
// ModifyObject narrows them further itself (UpdateValidity) when its result depends on time.
// The result is cached for the intersection of the result's channel validities and dropped on
// any change below (REFMSG_CHANGE from the object reference or a modifier); the state's object
// belongs to the derived object and stays valid until the next evaluation or change.
//
// Undo: AddModifier, DeleteModifier and SetModifier are undoable while theHold is holding.
// Scene files: the derived object saves its modifier count and ModContexts; references carry
// the object and the modifiers. Clone copies the modifiers and the object.
#pragma once

#include <memory>
#include <vector>

#include "box3.h"
#include "object.h"

class INode;

// Per-application data a modifier keeps in its ModContext; the ModContext owns it.
class LocalModData {
public:
    virtual ~LocalModData() = default;
    virtual LocalModData* Clone() = 0;
    virtual void DeleteThis() { delete this; }
};

// Where a modifier is applied: tm (object space to modifier space; null means identity),
// box (the bounds of the object below the modifier in modifier space, set on the first
// evaluation when null) and the modifier's local data. Owns all three.
class ModContext {
public:
    Matrix3* tm = nullptr;
    Box3* box = nullptr;
    LocalModData* localData = nullptr;

    ModContext() = default;
    ModContext(Matrix3* tm, Box3* box, LocalModData* localData) : tm(tm), box(box), localData(localData) {}
    ModContext(const ModContext& mc);
    ModContext& operator=(const ModContext&) = delete;
    ~ModContext();
};

// Base of object-space modifiers.
class Modifier : public BaseObject {
public:
    SClass_ID SuperClassID() override { return OSM_CLASS_ID; }

    // What the modifier reads and what it changes (ChannelMask bits).
    virtual ChannelMask ChannelsUsed() { return GEOM_CHANNEL | TOPO_CHANNEL; }
    virtual ChannelMask ChannelsChanged() { return GEOM_CHANNEL; }
    // The object type the modifier works on: defObjectClassID (anything deformable),
    // triObjectClassID, polyObjectClassID, ...
    virtual Class_ID InputType() { return defObjectClassID; }
    // Changes os->obj (an object of InputType that belongs to the stack) for time t.
    virtual void ModifyObject(TimeValue t, ModContext& mc, ObjectState* os, INode* node) = 0;
    // How long the modifier's own effect stays as it is around t; FOREVER by default.
    virtual Interval LocalValidity(TimeValue t) { (void)t; return FOREVER; }
    // The validity the stack uses for this modifier's result: LocalValidity by default.
    virtual Interval Validity(TimeValue t) { return LocalValidity(t); }
    virtual BOOL DependOnTopology(ModContext& mc) { (void)mc; return FALSE; }
    // Told when something below the modifier in a stack changed.
    virtual void NotifyInputChanged(const Interval& changeInt, PartID partID, RefMessage message, ModContext* mc) {
        (void)changeInt; (void)partID; (void)message; (void)mc;
    }

    // A disabled modifier is skipped by the stack. Undoable; tells dependents.
    void EnableMod();
    void DisableMod();
    BOOL IsEnabled() const { return enabled_ ? TRUE : FALSE; }

    // The name in the stack; the class name until one is set.
    MSTR GetName(bool localized = true) const;
    void SetName(const MSTR& name);
    MSTR GetObjectName(bool localized = true) const override { return GetName(localized); }

    // Subclasses call these first from their own Save and Load: the base keeps the name and
    // the enabled switch in chunks 0x3F00 and 0x3F01, which subclasses must not use.
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

protected:
    // Copies name and switch into a clone.
    void CopyModifierState(Modifier* to) const;

private:
    MSTR name_;
    bool enabled_ = true;
};

// Object-space modifiers are plain Modifiers here.
class OSModifier : public Modifier {};

class IDerivedObject : public Object {
public:
    SClass_ID SuperClassID() override { return GEN_DERIVOB_CLASS_ID; }

    // Inserts mod at index before (0: top of the stack; a value past the end: bottom). The
    // derived object takes mc over (a new identity ModContext when null), also when it refuses
    // the call: a null modifier or one that depends on this object changes nothing.
    virtual void AddModifier(Modifier* mod, ModContext* mc = nullptr, int before = 0) = 0;
    // Removes the modifier at index (0: top); out of range does nothing. The modifier is
    // released when nothing else needs it.
    virtual void DeleteModifier(int index = 0) = 0;
    virtual int NumModifiers() = 0;
    // Null out of range.
    virtual Modifier* GetModifier(int index) = 0;
    virtual void SetModifier(int index, Modifier* mod) = 0;
    virtual ModContext* GetModContext(int index) = 0;
    // The state with the modifiers at index modIndex and below applied: 0 is the whole stack,
    // NumModifiers() just the object reference. Not cached unless modIndex is 0.
    virtual ObjectState Eval(TimeValue t, int modIndex) = 0;
    ObjectState Eval(TimeValue t) override { return Eval(t, 0); }
    // The object reference (a base object or the next derived object).
    virtual Object* GetObjRef() = 0;
    virtual RefResult ReferenceObject(Object* pob) = 0;
};

// A new derived object referring to pob (may be null). The caller owns it until something
// refers to it.
IDerivedObject* CreateDerivedObject(Object* pob = nullptr);

constexpr Class_ID DERIVOB_CLASS(GEN_DERIVOB_CLASS_ID, 0);

namespace host {

// The node's object as a derived object: when the node's object is not one, a new derived
// object on it becomes the node's object (undoable while holding). Null for a null node or a
// node without object.
IDerivedObject* EnsureDerivedObject(INode* node);
// Inserts mod at index before of the node's stack, making the derived object as needed.
// False for a null node or modifier.
bool AddModifierToNode(INode* node, Modifier* mod, int before = 0);
// The first node found whose modifier stacks hold mod, or null.
INode* FindNodeOfModifier(Modifier* mod);
// Calls fn(derivedObject, index, modifier) for every modifier of the node's stacks, top first,
// walking down through nested derived objects.
template <class Fn>
void ForEachModifier(INode* node, Fn&& fn);

}  // namespace host

#include "inode.h"

template <class Fn>
void host::ForEachModifier(INode* node, Fn&& fn) {
    Object* obj = node ? node->GetObjectRef() : nullptr;
    while (auto* d = dynamic_cast<IDerivedObject*>(obj)) {
        for (int i = 0; i < d->NumModifiers(); ++i) fn(d, i, d->GetModifier(i));
        obj = d->GetObjRef();
    }
}

// The host's own modifiers.
// The attribute holder ("EmptyModifier", OSM_CLASS_ID): changes nothing; it exists to carry
// custom attributes in a node's stack.
constexpr Class_ID EMPTYMOD_CLASS_ID(0x6335C722, 0x86DAB700);
// The offset modifier ("Offset", OSM_CLASS_ID): every point p becomes p * scale + offset,
// both animatable; its validity is that of the two parameters at t.
constexpr Class_ID OFFSETMOD_CLASS_ID(0x4B7D1E20, 0x2C61A9F3);
enum { offsetmod_offset = 0, offsetmod_scale };
