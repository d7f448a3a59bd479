// What the controller sources share: class descriptors and the factories behind the
// NewDefault*Controller calls.
#pragma once

#include <type_traits>

#include "control.h"
#include "iplugin.h"

namespace host::ctrl {

// The descriptor of one standard controller class. Category "Standard", public. Made once
// and never freed: the class directory may be asked about classes until the process ends.
template <class C> class StdClassDesc : public ClassDesc2 {
  public:
    StdClassDesc(const MCHAR* display, const MCHAR* script, SClass_ID sc, Class_ID id)
        : display_(display), script_(script), superClass_(sc), classID_(id) {}
    int IsPublic() override { return 1; }
    // Compound controllers take `loading` and then leave their sub-controllers to the file.
    void* Create(BOOL loading) override {
        if constexpr (std::is_constructible_v<C, bool>)
            return new C(loading != 0);
        else
            return new C();
    }
    const MCHAR* ClassName() override { return display_; }
    const MCHAR* NonLocalizedClassName() override { return script_; }
    SClass_ID SuperClassID() override { return superClass_; }
    Class_ID ClassID() override { return classID_; }
    const MCHAR* Category() override { return L"Standard"; }

  private:
    const MCHAR* display_;
    const MCHAR* script_;
    SClass_ID superClass_;
    Class_ID classID_;
};

// Keeps a descriptor for the life of the process (reachable from a plain static table, so
// nothing tears it down before the last lookup) and answers it.
ClassDesc* KeepDesc(ClassDesc* cd);

// Each source file registers its own classes.
void RegisterKeyframeClasses(host::ClassDirectory& dir);
void RegisterXYZClasses(host::ClassDirectory& dir);
void RegisterPRSClass(host::ClassDirectory& dir);
void RegisterListClasses(host::ClassDirectory& dir);
void RegisterConstraintClasses(host::ClassDirectory& dir);

Control* NewBezierFloat();
Control* NewBezierPoint3();
Control* NewBezierColor();
Control* NewBezierPosition();
Control* NewBezierScale();
Control* NewEulerXYZ();
Control* NewPRS();

} // namespace host::ctrl
