// Folder histories of file dialogs. Each history has a key; its folders, newest first, are
// kept in "history.ini" in the plug-in configuration folder (section = key, "Path1".."PathN").
#pragma once

#include <string>
#include <vector>
#include "strclass.h"

class bmmHistoryList {
public:
    static constexpr int MaxEntries = 20;
    explicit bmmHistoryList(const MCHAR* key = L"");
    void SetKey(const MCHAR* key) { key_ = key ? key : L""; }
    // Reads the saved folders of the key; a missing file or key leaves the list empty.
    void LoadDefaults();
    // Puts folder at the front; a folder already in the list moves there.
    void SetPath(const MCHAR* folder);
    // The i-th folder, newest first; empty (never null) past the end.
    const MCHAR* GetPath(int i = 0) const;
    int Count() const { return static_cast<int>(paths_.size()); }
    // Writes the list under its key; other keys of the file stay.
    void Save() const;

private:
    std::wstring key_;
    std::vector<std::wstring> paths_;
};
