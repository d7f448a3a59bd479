// The ModBox family: the command modes a ControlHelper hands the standard tools on its
// "Gizmo" level, so that Move, Rotate and the scales edit its `gizmo` (through the object's
// sub-object Move / Rotate / Scale), and the select mode of its "Select Polygons" level.
//
// The host's tools call the edited object's transforms themselves (subobj.h); each mode
// carries its tool's class and the mouse procedure object of its kind. One set serves every
// helper: the modes hold no per-object state.
#pragma once

#include "cmdmode.h"

namespace kt {

// Command mode ids (CommandMode::ID) of the sub-object tools.
constexpr int CID_SUBOBJMOVE = 0x1E847B31;
constexpr int CID_SUBOBJROTATE = 0x1E847B32;
constexpr int CID_SUBOBJUSCALE = 0x1E847B33;
constexpr int CID_SUBOBJNUSCALE = 0x1E847B34;
constexpr int CID_SUBOBJSQUASH = 0x1E847B35;
constexpr int CID_SUBOBJSELECT = 0x1E847B36;

// Mouse procedures: which transform a drag applies.
struct MoveModBox {};
struct RotateModBox {};
struct ScaleModBox {
    enum Kind { kNonUniform, kUniform, kSquash };
    Kind kind = kNonUniform;
};
struct SelectModBox {};

template <int Cls, int Id, class Proc>
class ModBoxCMode : public CommandMode {
public:
    int Class() override { return Cls; }
    int ID() override { return Id; }
    void EnterMode() override { ++active; }
    void ExitMode() override {
        if (active > 0) --active;
    }
    Proc proc;
    int active = 0;
};

using MoveModBoxCMode = ModBoxCMode<MOVE_COMMAND, CID_SUBOBJMOVE, MoveModBox>;
using RotateModBoxCMode = ModBoxCMode<ROTATE_COMMAND, CID_SUBOBJROTATE, RotateModBox>;
using UScaleModBoxCMode = ModBoxCMode<USCALE_COMMAND, CID_SUBOBJUSCALE, ScaleModBox>;
using NUScaleModBoxCMode = ModBoxCMode<SCALE_COMMAND, CID_SUBOBJNUSCALE, ScaleModBox>;
using SquashModBoxCMode = ModBoxCMode<SQUASH_COMMAND, CID_SUBOBJSQUASH, ScaleModBox>;
using SelectModBoxCMode = ModBoxCMode<SELECT_COMMAND, CID_SUBOBJSELECT, SelectModBox>;

struct GizmoModeSet {
    GizmoModeSet() {
        uscale.proc.kind = ScaleModBox::kUniform;
        squash.proc.kind = ScaleModBox::kSquash;
    }
    MoveModBoxCMode move;
    RotateModBoxCMode rotate;
    NUScaleModBoxCMode nuscale;
    UScaleModBoxCMode uscale;
    SquashModBoxCMode squash;
    SelectModBoxCMode select;
    // Every tool of the "Gizmo" level.
    XFormModes Modes() { return XFormModes(&move, &rotate, &nuscale, &uscale, &squash, &select); }
};

GizmoModeSet& GizmoModes();

}  // namespace kt
