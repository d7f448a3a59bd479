// Command modes: what the viewport's mouse does. The standard transform tools (move, rotate,
// the three scales) and selection are modes of fixed classes; an object entering a sub-object
// level hands the host its own modes for them (ActivateSubobjSel), and the tools then call the
// object's Move, Rotate and Scale instead of moving the node.
#pragma once

#include "maxtypes.h"

constexpr int SELECT_COMMAND = 0x0A;
constexpr int MOVE_COMMAND = 0x0B;
constexpr int ROTATE_COMMAND = 0x0C;
constexpr int SCALE_COMMAND = 0x0D;    // non-uniform scale
constexpr int USCALE_COMMAND = 0x0E;   // uniform scale
constexpr int SQUASH_COMMAND = 0x0F;

class CommandMode {
public:
    virtual ~CommandMode() = default;
    // One of the *_COMMAND classes.
    virtual int Class() = 0;
    virtual int ID() { return 0; }
    virtual void EnterMode() {}
    virtual void ExitMode() {}
};

// The modes an object gives the standard tools at a sub-object level; null where the level
// has no such tool.
class XFormModes {
public:
    XFormModes() = default;
    XFormModes(CommandMode* move, CommandMode* rotate, CommandMode* scale, CommandMode* uscale,
               CommandMode* squash, CommandMode* select)
        : move(move), rotate(rotate), scale(scale), uscale(uscale), squash(squash), select(select) {}
    CommandMode* move = nullptr;
    CommandMode* rotate = nullptr;
    CommandMode* scale = nullptr;
    CommandMode* uscale = nullptr;
    CommandMode* squash = nullptr;
    CommandMode* select = nullptr;
};
