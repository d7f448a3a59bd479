#include "frame/settings.h"

#include <cwchar>
#include <string>

#include "ifnpub.h"
#include "maxscript.h"

namespace kt {
namespace {

// Keys and values are spliced into script string literals.
std::wstring Quoted(const MCHAR* s) {
    std::wstring out = L"\"";
    for (const MCHAR* p = s ? s : L""; *p; ++p) {
        if (*p == L'"' || *p == L'\\') out += L'\\';
        out += *p;
    }
    return out + L"\"";
}

}  // namespace

int GetIniInt(const MCHAR* key, int& value) {
    const std::wstring text = L"GetINISetting (getMAXIniFile()) \"Kinetrope\" " + Quoted(key);
    FPValue result;
    if (!ExecuteMAXScriptScript(text.c_str(), TRUE, &result)) return 0;
    if (result.type != TYPE_STRING || !result.s || !*result.s) return 0;
    value = static_cast<int>(std::wcstol(result.s, nullptr, 10));
    return 1;
}

void SetIniValue(const MCHAR* key, const MCHAR* value) {
    const std::wstring text =
        L"SetINISetting (getMAXIniFile()) \"Kinetrope\" " + Quoted(key) + L" " + Quoted(value);
    ExecuteMAXScriptScript(text.c_str(), TRUE);
}

}  // namespace kt

#include <filesystem>

#include "bmmlib.h"
#include "filedialog.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

bool FileDialog(bool save, const MCHAR* title, const MCHAR* filter, const MCHAR* description, MSTR& path,
                const MCHAR* historyKey) {
    FilterList filters;
    filters.Append(description);
    filters.Append(filter);
    // The table answers null until the module handle is known (the frame's own tests).
    const MCHAR* allFiles = GetString(IDS_ALL_FILES);
    filters.Append(allFiles ? allFiles : L"All Files (*.*)");
    filters.Append(L"*.*");
    bmmHistoryList history(historyKey && *historyKey ? historyKey : L"KinetropeHistory");
    history.LoadDefaults();
    MSTR chosen = path;
    const BOOL ok = save ? DoMaxSaveFileDialog(title, chosen, history.GetPath(0), filters)
                         : DoMaxOpenFileDialog(title, chosen, history.GetPath(0), filters);
    if (!ok) return false;
    path = chosen;
    const std::filesystem::path folder = std::filesystem::path(chosen.data()).parent_path();
    history.SetPath(folder.wstring().c_str());
    history.Save();
    return true;
}

}  // namespace

bool OpenFileDialog(const MCHAR* title, const MCHAR* filter, const MCHAR* description, MSTR& path,
                    const MCHAR* historyKey) {
    return FileDialog(false, title, filter, description, path, historyKey);
}

bool SaveFileDialog(const MCHAR* title, const MCHAR* filter, const MCHAR* description, MSTR& path,
                    const MCHAR* historyKey) {
    return FileDialog(true, title, filter, description, path, historyKey);
}

}  // namespace kt
