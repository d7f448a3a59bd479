// PositionConnection, RotationConnection, ScaleConnection: FloatConnection's siblings for
// point, rotation and scale tracks. They read their target whole (a position or point track,
// a point parameter, or a float into X; a rotation track as a quaternion; a scale track's
// factors) and, with `use_weight`, weigh it per axis: position and scale factors times
// weight_x/y/z, rotation by its XYZ Euler angles. With `two_way`, a set divides by the weights
// (|w| guarded at 0.001) and writes through. Relative reads apply the value the host's way
// (pre-translate, pre-rotate, ApplyScaling). Target assignment is one undo step named
// "<Kind> Connection Change".
#pragma once

#include "controllers/float_connection.h"

namespace kt {

constexpr Class_ID POSITION_CONNECTION_CLASS_ID(0x45596D56, 0x1E847B59);
constexpr Class_ID ROTATION_CONNECTION_CLASS_ID(0x45596D56, 0x1E847B60);
constexpr Class_ID SCALE_CONNECTION_CLASS_ID(0x45596D56, 0x1E847B61);
constexpr Interface_ID IPOSITIONCONNECTION_INTERFACE_ID(0x45596D56, 0x1E847B59);
constexpr Interface_ID IROTATIONCONNECTION_INTERFACE_ID(0x45596D56, 0x1E847B60);
constexpr Interface_ID ISCALECONNECTION_INTERFACE_ID(0x45596D56, 0x1E847B61);

// The common part of the three: block, weights, time offset.
class WeightedConnection : public ConnectionBase, public IConnection {
public:
    enum ParamIds {
        pb_use_weight = 2,
        pb_weight_x = 3,
        pb_weight_y = 4,
        pb_weight_z = 5,
        pb_use_time_offset = 6,
        pb_time_offset = 7,
    };

    bool SetTarget(Value* target, ReferenceTarget* owner) override { return ScriptSetTarget(target, owner); }
    Value* GetTarget(bool asController) override { return ScriptGetTarget(asController); }
    FPInterfaceDesc* GetDesc() override;
    BaseInterface* GetInterface(Interface_ID id) override;
    using ConnectionBase::GetInterface;

    // The three weights at t, or ones when `use_weight` is off.
    Point3 Weights(TimeValue t, Interval& valid);

protected:
    WeightedConnection() = default;
    void MakeBlock();
    virtual Interface_ID InterfaceID() const = 0;
};

class PositionConnection : public WeightedConnection {
public:
    explicit PositionConnection(BOOL loading = FALSE);
    SClass_ID SuperClassID() override { return CTRL_POSITION_CLASS_ID; }
    Class_ID ClassID() override { return POSITION_CONNECTION_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override;

    Point3 lastValue;

protected:
    TrackKind Kind() const override { return TrackKind::Position; }
    const MCHAR* UndoName() const override { return L"Position Connection Change"; }
    void* LastValueData() override { return &lastValue; }
    ULONG LastValueSize() const override { return sizeof(Point3); }
    Interface_ID InterfaceID() const override { return IPOSITIONCONNECTION_INTERFACE_ID; }
};

class RotationConnection : public WeightedConnection {
public:
    explicit RotationConnection(BOOL loading = FALSE);
    SClass_ID SuperClassID() override { return CTRL_ROTATION_CLASS_ID; }
    Class_ID ClassID() override { return ROTATION_CONNECTION_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override;

    Quat lastValue;

protected:
    TrackKind Kind() const override { return TrackKind::Rotation; }
    const MCHAR* UndoName() const override { return L"Rotation Connection Change"; }
    void* LastValueData() override { return &lastValue; }
    ULONG LastValueSize() const override { return sizeof(Quat); }
    Interface_ID InterfaceID() const override { return IROTATIONCONNECTION_INTERFACE_ID; }
};

class ScaleConnection : public WeightedConnection {
public:
    explicit ScaleConnection(BOOL loading = FALSE);
    SClass_ID SuperClassID() override { return CTRL_SCALE_CLASS_ID; }
    Class_ID ClassID() override { return SCALE_CONNECTION_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    void GetValue(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;
    void SetValue(TimeValue t, void* val, int commit = 1, GetSetMethod method = CTRL_ABSOLUTE) override;

    Point3 lastValue{1.0f, 1.0f, 1.0f};

protected:
    TrackKind Kind() const override { return TrackKind::Scale; }
    const MCHAR* UndoName() const override { return L"Scale Connection Change"; }
    void* LastValueData() override { return &lastValue; }
    ULONG LastValueSize() const override { return sizeof(Point3); }
    Interface_ID InterfaceID() const override { return ISCALECONNECTION_INTERFACE_ID; }
};

}  // namespace kt
