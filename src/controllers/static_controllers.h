// Controllers that hold one constant value: a track that must exist (a preferred rotation,
// a placeholder transform) without keys and without evaluation cost.
//
// Each answers IsAnimated false, has no keys, and leaves the caller's validity untouched.
// Absolute GetValue answers the value; relative applies it the host's way (float adds,
// position pre-translates, rotation and transform pre-multiply the matrix, scale applies
// ApplyScaling). SetValue stores (absolute) or combines (relative: position adds a Point3,
// rotation turns by an AngAxis, scale multiplies the factors). StaticTransform's SetValue
// takes a SetXFormPacket: move, rotate and scale through the parent, set by
// tmAxis * Inverse(tmParent). A change is undoable.
#pragma once

#include "maxtypes.h"
#include "scalevalue.h"
#include "stdctrl.h"

namespace kt {

constexpr Class_ID STATIC_FLOAT_CLASS_ID(0x45596D56, 0x1E847B36);
constexpr Class_ID STATIC_POSITION_CLASS_ID(0x45596D56, 0x1E847B50);
constexpr Class_ID STATIC_ROTATION_CLASS_ID(0x45596D56, 0x1E847B47);
constexpr Class_ID STATIC_SCALE_CLASS_ID(0x45596D56, 0x1E847B48);
constexpr Class_ID STATIC_TRANSFORM_CLASS_ID(0x45596D56, 0x1E847B49);

// The common frame: T is the value type, S the super class.
template <class T>
class StaticControl : public StdControl, public ILockedTrackImp {
public:
    T value{};

    void GetClassName(MSTR& s, bool localized = true) const override { s = ClassName(localized); }
    BOOL IsAnimated() override { return FALSE; }
    BOOL IsKeyable() override { return FALSE; }
    Interval GetTimeRange(DWORD flags) override { (void)flags; return NEVER; }
    void GetValueLocalTime(TimeValue t, void* val, Interval& valid, GetSetMethod method) override;
    void SetValueLocalTime(TimeValue t, void* val, int commit, GetSetMethod method) override;
    void Copy(Control* from) override;
    // Sets the value with an undo record while the hold is holding.
    void SetConstant(const T& v);

    IOResult Save(ISave* isave) override;
    IOResult Load(ILoad* iload) override;
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }

protected:
    // Chunk of the value.
    static constexpr USHORT kValueChunk = 0x0100;
};

class StaticFloat : public StaticControl<float> {
public:
    explicit StaticFloat(BOOL loading = FALSE) { (void)loading; }
    SClass_ID SuperClassID() override { return CTRL_FLOAT_CLASS_ID; }
    Class_ID ClassID() override { return STATIC_FLOAT_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
};

class StaticPosition : public StaticControl<Point3> {
public:
    explicit StaticPosition(BOOL loading = FALSE) { (void)loading; }
    SClass_ID SuperClassID() override { return CTRL_POSITION_CLASS_ID; }
    Class_ID ClassID() override { return STATIC_POSITION_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
};

class StaticRotation : public StaticControl<Quat> {
public:
    explicit StaticRotation(BOOL loading = FALSE) { (void)loading; }
    SClass_ID SuperClassID() override { return CTRL_ROTATION_CLASS_ID; }
    Class_ID ClassID() override { return STATIC_ROTATION_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
};

class StaticScale : public StaticControl<ScaleValue> {
public:
    explicit StaticScale(BOOL loading = FALSE) { (void)loading; value = ScaleValue(Point3(1, 1, 1)); }
    SClass_ID SuperClassID() override { return CTRL_SCALE_CLASS_ID; }
    Class_ID ClassID() override { return STATIC_SCALE_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
};

// A transform controller; GetValue is always relative (val holds the parent's matrix).
class StaticTransform : public StaticControl<Matrix3> {
public:
    explicit StaticTransform(BOOL loading = FALSE) { (void)loading; }
    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return STATIC_TRANSFORM_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
};

}  // namespace kt
