#include "maxtypes.h"

namespace {
int g_fps = 30;
int g_ticksPerFrame = TIME_TICKSPERSEC / 30;
}  // namespace

int GetTicksPerFrame() { return g_ticksPerFrame; }
int GetFrameRate() { return g_fps; }

void SetFrameRate(int fps) {
    if (fps <= 0) return;
    g_fps = fps;
    g_ticksPerFrame = TIME_TICKSPERSEC / fps;
}

void SetTicksPerFrame(int ticks) {
    if (ticks <= 0) return;
    g_ticksPerFrame = ticks;
    g_fps = TIME_TICKSPERSEC / ticks;
}
