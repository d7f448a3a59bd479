// Frame rate as the interpreter sees it.
#pragma once

namespace host::script {

// The host's ticks per frame, never zero.
int TicksPerFrame();

}  // namespace host::script
