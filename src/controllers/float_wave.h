// FloatWave: amplitude * w(phase / wave_length) + offset, w one of sine, saw, triangle or
// arcs over one unit of its argument, centred on zero, above it (alignment 1) or below it (2).
// The phase is the input: the controller does not read time by itself, so animating `phase`
// over one wave length plays one full wave.
#pragma once

#include "controllers/block_float_control.h"

namespace kt {

constexpr Class_ID FLOAT_WAVE_CLASS_ID(0x45596D56, 0x1E847B57);

class FloatWave : public BlockFloatControl {
public:
    enum ParamIds { pb_amplitude = 0, pb_wave_length = 1, pb_offset = 2, pb_phase = 3, pb_type = 4, pb_alignment = 5 };
    enum WaveType { kSine = 0, kSaw = 1, kTriangle = 2, kArcs = 3 };

    explicit FloatWave(BOOL loading = FALSE);

    Class_ID ClassID() override { return FLOAT_WAVE_CLASS_ID; }
    MSTR ClassName(bool localized = true) const override;
    ReferenceTarget* Clone(RemapDir& remap) override;
    void GetValueLocalTime(TimeValue t, void* val, Interval& valid, GetSetMethod method = CTRL_ABSOLUTE) override;

    // The wave of `type` at x (in waves), before alignment: in [-1, 1].
    static float Wave(int type, float x);
};

}  // namespace kt
