// Placeholders that the animation manager and the layer code put in a track while they work.
// DummyFloat passes its inner controller through with an offset added; DummyRotation holds
// one rotation, optionally applied on top of what the caller passes.
#pragma once

#include "control.h"

namespace kt {

constexpr Class_ID DUMMYFLOAT_CLASS_ID(0x45596D56, 0x1E847B67);
constexpr Class_ID DUMMYROTATION_CLASS_ID(0x45596D56, 0x1E847B68);

class DummyFloat : public Control {
public:
    explicit DummyFloat(BOOL loading = FALSE) { (void)loading; }
    SClass_ID SuperClassID() override { return CTRL_FLOAT_CLASS_ID; }
    Class_ID ClassID() override { return DUMMYFLOAT_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override { return i == 0 ? inner : nullptr; }
    int NumSubs() override { return 1; }
    Animatable* SubAnim(int i) override { return GetReference(i); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override;

    // The inner value (0 without one) plus offset.
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;
    // Absolute sets have the offset taken off; everything goes on to the inner controller.
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override;

    Control* inner = nullptr;
    float offset = 0.0f;

protected:
    void SetReference(int i, RefTargetHandle rtarg) override {
        if (i == 0) inner = static_cast<Control*>(rtarg);
    }
};

class DummyRotation : public Control {
public:
    explicit DummyRotation(BOOL loading = FALSE) { (void)loading; }
    SClass_ID SuperClassID() override { return CTRL_ROTATION_CLASS_ID; }
    Class_ID ClassID() override { return DUMMYROTATION_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override;

    // Absolute: value. Relative (a Matrix3): matrix(value) * val when `relative` is set,
    // else matrix(value) alone.
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;
    // Absolute stores a Quat; relative turns by an AngAxis.
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override;

    Quat value;
    BYTE relative = 0;
};

}  // namespace kt
