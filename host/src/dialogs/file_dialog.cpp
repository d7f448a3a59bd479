#include "filedialog.h"

namespace {

host::FileDialogProvider* provider = nullptr;

BOOL Ask(bool save, const MCHAR* title, MSTR& filename, const MCHAR* initialDir, const FilterList& filters) {
    if (!provider) return FALSE;
    host::FileRequest r;
    r.save = save;
    r.title = title ? title : L"";
    r.initialDir = initialDir ? initialDir : L"";
    for (int i = 0; i < filters.Count(); ++i) r.filters.emplace_back(filters[i]);
    const std::wstring chosen = provider->Choose(r);
    if (chosen.empty()) return FALSE;
    filename = chosen.c_str();
    return TRUE;
}

}  // namespace

BOOL DoMaxOpenFileDialog(const MCHAR* title, MSTR& filename, const MCHAR* initialDir, const FilterList& filters) {
    return Ask(false, title, filename, initialDir, filters);
}

BOOL DoMaxSaveFileDialog(const MCHAR* title, MSTR& filename, const MCHAR* initialDir, const FilterList& filters) {
    return Ask(true, title, filename, initialDir, filters);
}

namespace host {

FileDialogProvider* SetFileDialogProvider(FileDialogProvider* p) {
    FileDialogProvider* previous = provider;
    provider = p;
    return previous;
}

}  // namespace host
