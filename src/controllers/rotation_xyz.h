// RotationXYZ: a lean Euler rotation controller for rigs: three float sub-controllers (angles
// in radians about X, Y and Z) applied in a selectable order of the host's XYZ family
// (EULERTYPE_XYZ .. EULERTYPE_ZYX). A null sub-controller reads 0. The three angles are cached
// with their validity; any change of a sub-controller or of the order drops the cache.
#pragma once

#include "control.h"

namespace kt {

constexpr Class_ID ROTATIONXYZ_CLASS_ID(0x45596D56, 0x1E847B74);

class RotationXYZ : public Control, public ILockedTrackImp {
public:
    enum { kRotX = 0, kRotY = 1, kRotZ = 2, kNumRefs = 3 };

    explicit RotationXYZ(BOOL loading = FALSE);

    SClass_ID SuperClassID() override { return CTRL_ROTATION_CLASS_ID; }
    Class_ID ClassID() override { return ROTATIONXYZ_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    int NumRefs() override { return kNumRefs; }
    RefTargetHandle GetReference(int i) override { return i >= 0 && i < kNumRefs ? rot[i] : nullptr; }
    int NumSubs() override { return kNumRefs; }
    Animatable* SubAnim(int i) override { return GetReference(i); }
    MSTR SubAnimName(int i, bool localized = true) override;
    int SubNumToRefNum(int subNum) override { return subNum >= 0 && subNum < kNumRefs ? subNum : -1; }
    BOOL CanAssignController(int subAnim) override { return subAnim >= 0 && subAnim < kNumRefs; }
    BOOL AssignController(Animatable* control, int subAnim) override;
    BOOL IsAnimated() override;
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage message, BOOL) override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;

    // Absolute: the Quat; relative: the rotation pre-multiplied into the Matrix3 in val.
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;
    // Absolute takes a Quat, relative an AngAxis applied after the present rotation. The new
    // angles are the ones nearest the present ones (no whole-turn flips).
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override;

    int GetOrder() const { return order; }
    // Orders outside the XYZ family are ignored.
    void SetOrder(int newOrder);

    Control* rot[kNumRefs] = {nullptr, nullptr, nullptr};
    int order = 0;
    Point3 cache;
    Interval cacheValid = NEVER;
    bool cacheOk = false;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override;

private:
    void Fill(TimeValue t);
};

}  // namespace kt
