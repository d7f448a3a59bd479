// FloatOperation: a float computed from two animatable operands, `a` first:
// Add b + a, Subtract a - b, Multiply b * a, Divide a / b (|b| guarded at 0.0001), Average,
// Power a^b (a negative base gives NaN, unguarded), Min, Max, Mod (the IEEE remainder, so
// 7 mod 4 is -1). `negative` flips the sign; an operation outside 0..8 gives 0.
#pragma once

#include "controllers/block_float_control.h"
#include "ifnpub.h"

namespace kt {

constexpr Class_ID FLOAT_OPERATION_CLASS_ID(0x45596D56, 0x1E847B56);
constexpr Interface_ID IFLOATOPERATION_INTERFACE_ID(0x45596D56, 0x1E847B56);

class IFloatOperation : public FPMixinInterface {
public:
    enum FunctionIDs { fnGetOperation = 0, fnSetOperation = 1 };
    enum EnumIDs { operationEnum = 0 };
    enum Operation { Add = 0, Subtract, Multiply, Divide, Average, Power, Min, Max, Mod };

    virtual int GetOperation() = 0;
    // One undo step; values outside 0..8 are refused.
    virtual void SetOperation(int op) = 0;

    FPInterfaceDesc* GetDesc() override;

    BEGIN_FUNCTION_MAP
    PROP_FNS(fnGetOperation, GetOperation, fnSetOperation, SetOperation, TYPE_ENUM)
    END_FUNCTION_MAP
};

class FloatOperation : public BlockFloatControl, public IFloatOperation {
public:
    enum ParamIds { pb_a = 0, pb_b = 1, pb_operation = 2, pb_negative = 3 };

    explicit FloatOperation(BOOL loading = FALSE);

    Class_ID ClassID() override { return FLOAT_OPERATION_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    BaseInterface* GetInterface(Interface_ID id) override;
    using BlockFloatControl::GetInterface;

    void GetValueLocalTime(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;

    int GetOperation() override;
    void SetOperation(int op) override;

    // The operation itself, for a and b.
    static float Apply(int operation, float a, float b);
};

}  // namespace kt
