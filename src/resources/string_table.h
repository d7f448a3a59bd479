// The library's string table: every display string comes from here by id.
#pragma once

#include <span>
#include "maxtypes.h"
#include "strclass.h"

namespace kt {

// Size in wide characters of the one buffer GetString answers in, terminator included.
constexpr int kStringBufferSize = 512;

// Loads entry `id` with the library's module handle into a single static buffer and
// returns it. The text is good only until the next call: two results share the buffer.
// Null while the module handle is unknown and for an id the table lacks. Texts longer
// than the buffer are cut to fit. Main thread only.
const MCHAR* GetString(int id);

// Entry `id` as an owned string, or `fallback` where GetString answers null.
MSTR GetStringOr(int id, const MCHAR* fallback);

// The module handle strings are loaded with. Set once when the library is attached
// and valid for the life of the process; null before.
void SetModuleInstance(HINSTANCE instance);
HINSTANCE GetModuleInstance();

struct StringEntry {
    int id;
    const MCHAR* text;
};

// Every entry, in table order (for checks of the table itself).
std::span<const StringEntry> StringTableEntries();

}  // namespace kt
