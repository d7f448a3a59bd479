// Small scenes for the connection and float operator tests: float tracks under a Position
// XYZ controller, nodes that carry them, and the registration scripts and scene files need.
#pragma once

#include <gtest/gtest.h>

#include "control.h"
#include "hold.h"
#include "inode.h"
#include "library_scene.h"
#include "maxapi.h"
#include "stdctrl.h"

namespace kttest::conn {

// A node whose position is a Position XYZ: three Bezier float tracks, sub-anims 0..2.
inline INode* XYZNode(const wchar_t* name) {
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, name);
    n->SetName(name);
    auto* xyz = static_cast<Control*>(CreateInstance(CTRL_POSITION_CLASS_ID, IPOS_CONTROL_CLASS_ID));
    n->GetTMController()->SetPositionController(xyz);
    return n;
}

inline Control* XYZOf(INode* n) { return n->GetTMController()->GetPositionController(); }

inline float Read(Control* c, TimeValue t = 0) {
    float v = 0.0f;
    Interval iv = FOREVER;
    c->GetValue(t, &v, iv, CTRL_ABSOLUTE);
    return v;
}

inline void Write(Control* c, float v, TimeValue t = 0) { c->SetValue(t, &v, 1, CTRL_ABSOLUTE); }

inline Control* Sub(INode* n, int i) { return static_cast<Control*>(XYZOf(n)->SubAnim(i)); }

using ConnectionTest = LibrarySceneTest;

}  // namespace kttest::conn
