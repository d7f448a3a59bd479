#include "controllers/float_operation.h"

#include <algorithm>
#include <cmath>

#include "frame/class_registry.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "solvers/ikfk_math.h"

namespace kt {
namespace {

RegistryClassDesc* OperationDesc() { return ClassRegistry::Find(CTRL_FLOAT_CLASS_ID, FLOAT_OPERATION_CLASS_ID); }

ClassFactoryRegistrar registrar(CTRL_FLOAT_CLASS_ID, FLOAT_OPERATION_CLASS_ID,
                                [](BOOL loading) -> void* { return new FloatOperation(loading); });

ParamBlockDesc2& OperationBlock() {
    static ParamBlockDesc2* desc = [] {
        auto* d = new ParamBlockDesc2(0, L"params", 0, OperationDesc(), 0, p_end);
        d->AddParam(FloatOperation::pb_a, L"a", TYPE_FLOAT, P_ANIMATABLE, IDS_A_VALUE);
        d->AddParam(FloatOperation::pb_b, L"b", TYPE_FLOAT, P_ANIMATABLE, IDS_B_VALUE);
        d->AddParam(FloatOperation::pb_operation, L"operation", TYPE_INT, 0, IDS_OPERATION_VAL);
        d->SetRange(FloatOperation::pb_operation, 0, 8);
        d->AddParam(FloatOperation::pb_negative, L"negative", TYPE_BOOL, 0, IDS_NEGATIVE);
        return d;
    }();
    return *desc;
}
const bool blockReady = (OperationBlock(), true);

FPInterfaceDesc& OperationInterface() {
    static FPInterfaceDesc* desc = [] {
        auto* d = new FPInterfaceDesc(IFLOATOPERATION_INTERFACE_ID, L"interface", 0, OperationDesc(), FP_MIXIN, p_end);
        d->AppendEnum(IFloatOperation::operationEnum, {{L"Add", 0},
                                                       {L"Subtract", 1},
                                                       {L"Multiply", 2},
                                                       {L"Divide", 3},
                                                       {L"Average", 4},
                                                       {L"Power", 5},
                                                       {L"Min", 6},
                                                       {L"Max", 7},
                                                       {L"Mod", 8}});
        d->AppendProperty(IFloatOperation::fnGetOperation, IFloatOperation::fnSetOperation, L"operation", TYPE_ENUM,
                          IFloatOperation::operationEnum);
        return d;
    }();
    return *desc;
}
const bool interfaceReady = (OperationInterface(), true);

}  // namespace

FPInterfaceDesc* IFloatOperation::GetDesc() { return &OperationInterface(); }

FloatOperation::FloatOperation(BOOL loading) {
    if (!loading) ReplaceReference(kPBlockRef, CreateParameterBlock2(&OperationBlock(), this));
}

MSTR FloatOperation::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_FLOATOPERATION) : nullptr;
    return MSTR(s ? s : L"Float Operation");
}

ReferenceTarget* FloatOperation::Clone(RemapDir& remap) {
    auto* c = new FloatOperation(TRUE);
    CloneInto(c, remap);
    return c;
}

BaseInterface* FloatOperation::GetInterface(Interface_ID id) {
    if (id == IFLOATOPERATION_INTERFACE_ID) return static_cast<IFloatOperation*>(this);
    return BlockFloatControl::GetInterface(id);
}

float FloatOperation::Apply(int operation, float a, float b) {
    switch (operation) {
        case Add: return b + a;
        case Subtract: return a - b;
        case Multiply: return b * a;
        case Divide: return SafeDivide(a, b, 0.0001f);
        case Average: return (b + a) * 0.5f;
        case Power: return std::pow(a, b);
        case Min: return std::min(a, b);
        case Max: return std::max(a, b);
        // The IEEE remainder on purpose: 7 mod 4 is -1, not 3.
        case Mod: return std::remainder(a, b);
        default: return 0.0f;
    }
}

void FloatOperation::GetValueLocalTime(TimeValue t, void* val, Interval& valid, GetSetMethod) {
    if (!val || !pblock) return;
    const float a = pblock->GetFloat(pb_a, t, valid);
    const float b = pblock->GetFloat(pb_b, t, valid);
    float r = Apply(pblock->GetInt(pb_operation), a, b);
    if (pblock->GetInt(pb_negative)) r = -r;
    *static_cast<float*>(val) = r;
}

int FloatOperation::GetOperation() { return pblock ? pblock->GetInt(pb_operation) : 0; }

void FloatOperation::SetOperation(int op) {
    if (op < Add || op > Mod) return;
    SetParam(pb_operation, op, L"Float Operation Change");
}

}  // namespace kt
