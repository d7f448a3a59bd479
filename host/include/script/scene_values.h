// Scene objects as script values, for host code that hands objects to scripts or reads them
// back (primitives, the command line, tests).
#pragma once

#include "script/value.h"

class INode;
class Animatable;
class ClassDesc;

namespace host::script::scene {

// A node as a script value; undefined for null. The value follows the node by handle and
// reads as deleted once the node has left the scene.
Value NodeValue(INode* node);
// The node of a node value, or null (not a node, or deleted).
INode* ToNode(const Value& v);
// True for a node value, deleted or not.
bool IsNodeValue(const Value& v);
// Any other animatable (controller, object, modifier, parameter block) as a script value;
// nodes come back as node values. Undefined for null.
Value AnimValue(Animatable* anim);
// The animatable of a node, animatable or sub-anim value, or null.
Animatable* ToAnim(const Value& v);
// The track `index` of parent (what getSubAnim answers), whether or not a controller fills it;
// undefined for a null parent.
Value SubAnimTrackValue(Animatable* parent, int index);
// The owner and sub-anim index of a track value; false for any other value (a controller
// value is not a track: it does not know its owner).
bool ToSubAnim(const Value& v, Animatable*& parent, int& index);
// The class value of a class descriptor (cached; classes live as long as the process).
Value ClassValue(ClassDesc* cd);
// The class descriptor of a class value, or null.
ClassDesc* ToClassDesc(const Value& v);

}  // namespace host::script::scene
