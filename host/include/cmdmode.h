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

class IObjParam;
class INode;
class ViewExp;
class PickNodeCallback;
class IPoint2;

// A mode in which a click in a viewport picks a node for whoever set it
// (Interface::SetPickMode). The host calls HitTest with the cursor; on a click where HitTest
// answered TRUE it calls Pick, which reads the node from vpt->GetClosestHit(). A Pick that
// answers TRUE ends the mode.
class PickModeCallback {
public:
    virtual ~PickModeCallback() = default;
    virtual BOOL HitTest(IObjParam* ip, HWND hWnd, ViewExp* vpt, IPoint2 m, int flags) = 0;
    virtual BOOL Pick(IObjParam* ip, ViewExp* vpt) = 0;
    // TRUE ends the mode.
    virtual BOOL RightClick(IObjParam* ip, ViewExp* vpt) { (void)ip; (void)vpt; return TRUE; }
    virtual void EnterMode(IObjParam* ip) { (void)ip; }
    virtual void ExitMode(IObjParam* ip) { (void)ip; }
    // What may be picked; null for any node.
    virtual PickNodeCallback* GetFilter() { return nullptr; }
    virtual BOOL AllowMultiSelect() { return FALSE; }
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
