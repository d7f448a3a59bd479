#include "subobj.h"

#include "hold.h"
#include "inode.h"
#include "object.h"

namespace host {

namespace {

struct SubObjectState {
    INode* node = nullptr;
    int level = 0;
    XFormModes modes;
};

SubObjectState& State() {
    static SubObjectState s;
    return s;
}

void ForEachMode(const XFormModes& m, void (*fn)(CommandMode*)) {
    for (CommandMode* c : {m.move, m.rotate, m.scale, m.uscale, m.squash, m.select})
        if (c) fn(c);
}

BaseObject* EditedObject() {
    SubObjectState& s = State();
    if (s.level <= 0 || !s.node) return nullptr;
    Object* obj = s.node->GetObjectRef();
    return obj ? obj->FindBaseObject() : nullptr;
}

// Runs one tool as one undo record.
template <class Fn>
bool RunTool(CommandMode* mode, TimeValue t, const MCHAR* name, Fn&& apply) {
    BaseObject* obj = EditedObject();
    if (!obj || !mode) return false;
    Matrix3 partm = State().node->GetObjectTM(t);
    theHold.Begin();
    obj->TransformStart(t);
    apply(obj, partm);
    obj->TransformFinish(t);
    theHold.Accept(name);
    return true;
}

}  // namespace

bool SetSubObjectLevel(INode* node, int level) {
    SubObjectState& s = State();
    ForEachMode(s.modes, [](CommandMode* c) { c->ExitMode(); });
    if (BaseObject* old = EditedObject()) {
        XFormModes none;
        old->ActivateSubobjSel(0, none);
    }
    s = SubObjectState();
    Object* obj = node ? node->GetObjectRef() : nullptr;
    BaseObject* base = obj ? obj->FindBaseObject() : nullptr;
    if (!base || level <= 0 || level > base->NumSubObjTypes()) return level == 0 && node;
    s.node = node;
    s.level = level;
    base->ActivateSubobjSel(level, s.modes);
    ForEachMode(s.modes, [](CommandMode* c) { c->EnterMode(); });
    return true;
}

int SubObjectLevel() { return State().level; }
INode* SubObjectNode() { return State().node; }
const XFormModes& SubObjectModes() { return State().modes; }

bool SubObjectMove(TimeValue t, const Matrix3& tmAxis, const Point3& val, bool localOrigin) {
    return RunTool(State().modes.move, t, L"Move", [&](BaseObject* obj, Matrix3& partm) {
        Matrix3 axis = tmAxis;
        Point3 v = val;
        obj->Move(t, partm, axis, v, localOrigin ? TRUE : FALSE);
    });
}

bool SubObjectRotate(TimeValue t, const Matrix3& tmAxis, const Quat& val, bool localOrigin) {
    return RunTool(State().modes.rotate, t, L"Rotate", [&](BaseObject* obj, Matrix3& partm) {
        Matrix3 axis = tmAxis;
        Quat q = val;
        obj->Rotate(t, partm, axis, q, localOrigin ? TRUE : FALSE);
    });
}

bool SubObjectScale(TimeValue t, const Matrix3& tmAxis, const Point3& val, bool localOrigin) {
    const XFormModes& m = State().modes;
    CommandMode* mode = m.scale ? m.scale : (m.uscale ? m.uscale : m.squash);
    return RunTool(mode, t, L"Scale", [&](BaseObject* obj, Matrix3& partm) {
        Matrix3 axis = tmAxis;
        Point3 v = val;
        obj->Scale(t, partm, axis, v, localOrigin ? TRUE : FALSE);
    });
}

}  // namespace host
