#include "controllers/float_wave.h"

#include <cmath>

#include "frame/class_registry.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "solvers/ikfk_math.h"

namespace kt {
namespace {

RegistryClassDesc* WaveDesc() { return ClassRegistry::Find(CTRL_FLOAT_CLASS_ID, FLOAT_WAVE_CLASS_ID); }

ClassFactoryRegistrar registrar(CTRL_FLOAT_CLASS_ID, FLOAT_WAVE_CLASS_ID,
                                [](BOOL loading) -> void* { return new FloatWave(loading); });

ParamBlockDesc2& WaveBlock() {
    static ParamBlockDesc2* desc = [] {
        auto* d = new ParamBlockDesc2(0, L"params", 0, WaveDesc(), 0, p_end);
        d->AddParam(FloatWave::pb_amplitude, L"amplitude", TYPE_FLOAT, P_ANIMATABLE, IDS_AMPLITUDE);
        d->SetDefault(FloatWave::pb_amplitude, 100.0f);
        d->AddParam(FloatWave::pb_wave_length, L"wave_length", TYPE_FLOAT, P_ANIMATABLE, IDS_WAVE_LENGTH);
        d->SetDefault(FloatWave::pb_wave_length, 100.0f);
        d->AddParam(FloatWave::pb_offset, L"offset", TYPE_FLOAT, P_ANIMATABLE, IDS_OFFSET);
        d->AddParam(FloatWave::pb_phase, L"phase", TYPE_FLOAT, P_ANIMATABLE, IDS_PHASE);
        d->AddParam(FloatWave::pb_type, L"type", TYPE_INT, 0, IDS_TYPE);
        d->SetRange(FloatWave::pb_type, 0, 3);
        d->AddParam(FloatWave::pb_alignment, L"alignment", TYPE_INT, 0, IDS_ALIGNMENT);
        d->SetRange(FloatWave::pb_alignment, 0, 2);
        return d;
    }();
    return *desc;
}
const bool blockReady = (WaveBlock(), true);

// The fractional part, always in [0, 1): negative inputs wrap like positive ones.
float Frac(float x) { return x - std::floor(x); }

}  // namespace

FloatWave::FloatWave(BOOL loading) {
    if (!loading) ReplaceReference(kPBlockRef, CreateParameterBlock2(&WaveBlock(), this));
}

MSTR FloatWave::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_FLOATWAVE) : nullptr;
    return MSTR(s ? s : L"Float Wave");
}

ReferenceTarget* FloatWave::Clone(RemapDir& remap) {
    auto* c = new FloatWave(TRUE);
    CloneInto(c, remap);
    return c;
}

float FloatWave::Wave(int type, float x) {
    switch (type) {
        case kSaw: return 2.0f * Frac(x) - 1.0f;
        case kTriangle: {
            const float v = 2.0f * Frac(2.0f * x) - 1.0f;
            return Frac(x) >= 0.5f ? -v : v;
        }
        case kArcs: return 2.0f * std::fabs(std::sin(x * 3.1415927f)) - 1.0f;
        default: return std::sin(x * 6.2831855f);
    }
}

void FloatWave::GetValueLocalTime(TimeValue t, void* val, Interval& valid, GetSetMethod) {
    if (!val || !pblock) return;
    const float amplitude = pblock->GetFloat(pb_amplitude, t, valid);
    const float length = pblock->GetFloat(pb_wave_length, t, valid);
    const float offset = pblock->GetFloat(pb_offset, t, valid);
    const float phase = pblock->GetFloat(pb_phase, t, valid);
    float w = Wave(pblock->GetInt(pb_type), SafeDivide(phase, length, 0.0001f));
    switch (pblock->GetInt(pb_alignment)) {
        case 1: w += 1.0f; break;
        case 2: w -= 1.0f; break;
        default: break;
    }
    *static_cast<float*>(val) = amplitude * w + offset;
}

}  // namespace kt
