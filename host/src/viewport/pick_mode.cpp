#include "cmdmode.h"
#include "gfx.h"
#include "maxapi.h"
#include "viewexp.h"

namespace {
PickModeCallback* gPickMode = nullptr;

IObjParam* ObjParam() { return static_cast<IObjParam*>(GetCOREInterface()); }
}  // namespace

void Interface::SetPickMode(PickModeCallback* mode) {
    if (mode == gPickMode) return;
    ClearPickMode();
    gPickMode = mode;
    if (mode) mode->EnterMode(ObjParam());
}

void Interface::ClearPickMode() {
    PickModeCallback* old = gPickMode;
    gPickMode = nullptr;
    // After the switch, so that a mode that sets another mode on exit is not undone.
    if (old) old->ExitMode(ObjParam());
}

PickModeCallback* Interface::GetCurPickMode() { return gPickMode; }

namespace host {

bool PickModeClick(ViewExp& vpt, const IPoint2& p) {
    PickModeCallback* mode = gPickMode;
    if (!mode) return false;
    vpt.host_SetClosestHit(nullptr);
    if (!mode->HitTest(ObjParam(), nullptr, &vpt, p, 0)) return false;
    const bool done = mode->Pick(ObjParam(), &vpt) != FALSE;
    if (done && gPickMode == mode) GetCOREInterface()->ClearPickMode();
    return true;
}

void PickModeRightClick(ViewExp& vpt) {
    PickModeCallback* mode = gPickMode;
    if (mode && mode->RightClick(ObjParam(), &vpt) && gPickMode == mode) GetCOREInterface()->ClearPickMode();
}

}  // namespace host
