// The modify panel's sub-object state, headless: one node's object is edited at a level, and
// the standard move, rotate and scale tools drive that object's sub-object transforms.
#pragma once

#include "cmdmode.h"
#include "matrix3.h"
#include "quat.h"

class INode;
class BaseObject;

namespace host {

// Edits node's object at level (1 and up; 0 leaves sub-object editing): the object's
// ActivateSubobjSel(level, modes) gives the tools' modes, each entered (EnterMode) in place of
// the previous level's (ExitMode). A null node or a level above the object's NumSubObjTypes
// leaves level 0 and answers false.
bool SetSubObjectLevel(INode* node, int level);
int SubObjectLevel();
INode* SubObjectNode();
const XFormModes& SubObjectModes();

// The standard tools at the current level, each one undo record ("Move", "Rotate", "Scale"):
// TransformStart, the object's Move / Rotate / Scale with partm the node's object matrix at t
// and tmAxis the tool's axis system (world), then TransformFinish. False, with nothing done,
// when no level is active or the level gave no mode for the tool (scale: any of the three).
bool SubObjectMove(TimeValue t, const Matrix3& tmAxis, const Point3& val, bool localOrigin = false);
bool SubObjectRotate(TimeValue t, const Matrix3& tmAxis, const Quat& val, bool localOrigin = false);
bool SubObjectScale(TimeValue t, const Matrix3& tmAxis, const Point3& val, bool localOrigin = false);

}  // namespace host
