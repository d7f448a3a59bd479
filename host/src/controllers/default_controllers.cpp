// The host's default controllers, controller cloning, and the registration of every
// standard controller class.
#include <memory>
#include <vector>
#include "controllers_internal.h"
#include "stdctrl.h"

Control* NewDefaultFloatController() { return host::ctrl::NewBezierFloat(); }
Control* NewDefaultPoint3Controller() { return host::ctrl::NewBezierPoint3(); }
Control* NewDefaultPositionController() { return host::ctrl::NewBezierPosition(); }
Control* NewDefaultRotationController() { return host::ctrl::NewEulerXYZ(); }
Control* NewDefaultScaleController() { return host::ctrl::NewBezierScale(); }
Control* NewDefaultMatrix3Controller() { return host::ctrl::NewPRS(); }
Control* NewDefaultColorController() { return host::ctrl::NewBezierColor(); }

Control* CloneControl(Control* c, RemapDir* remap) {
    if (!c) return nullptr;
    if (remap) return dynamic_cast<Control*>(remap->CloneRef(c));
    return dynamic_cast<Control*>(CloneRefHierarchy(c));
}

ClassDesc* host::ctrl::KeepDesc(ClassDesc* cd) {
    // descriptors live as long as the process; holding them keeps leak checkers quiet
    static std::vector<std::unique_ptr<ClassDesc>> kept;
    kept.emplace_back(cd);
    return cd;
}

void host::RegisterStandardControllers() {
    static bool done = false;
    if (done) return;
    done = true;
    host::ClassDirectory& dir = host::ClassDirectory::Get();
    host::ctrl::RegisterKeyframeClasses(dir);
    host::ctrl::RegisterXYZClasses(dir);
    host::ctrl::RegisterPRSClass(dir);
    host::ctrl::RegisterListClasses(dir);
    host::ctrl::RegisterConstraintClasses(dir);
}

namespace {
// The classes are there as soon as the host library is loaded.
const struct AutoRegister {
    AutoRegister() { host::RegisterStandardControllers(); }
} g_autoRegister;
} // namespace
