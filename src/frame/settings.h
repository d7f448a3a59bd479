// Persistent settings and file dialogs shared by every dialog of the plug-in.
//
// Settings are key and value lines in section "Kinetrope" of the host's settings file, read
// and written through the host's script interpreter (quietly: a failure shows nothing). A
// missing file or key reads as no value; the file is created by the first write.
#pragma once

#include "max.h"

namespace kt {

// Reads the key as a base-10 int into value and answers 1; answers 0 and leaves value alone
// when the key has no non-empty value.
int GetIniInt(const MCHAR* key, int& value);
// Writes the key; the host writes the file, so nothing comes back.
void SetIniValue(const MCHAR* key, const MCHAR* value);

// File dialogs with a folder history. The filter list is description, filter, then "All Files
// (*.*)" and "*.*". The history under historyKey (null or empty: "KinetropeHistory") gives the
// initial folder; after a positive answer the chosen folder goes to the front of the history,
// which is saved. Answer true with the chosen file in path.
bool OpenFileDialog(const MCHAR* title, const MCHAR* filter, const MCHAR* description, MSTR& path,
                    const MCHAR* historyKey = nullptr);
bool SaveFileDialog(const MCHAR* title, const MCHAR* filter, const MCHAR* description, MSTR& path,
                    const MCHAR* historyKey = nullptr);

}  // namespace kt
