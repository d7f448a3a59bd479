#include "bmmlib.h"

#include <algorithm>

#include "maxapi.h"
#include "script/ini_file.h"

namespace {

std::string HistoryFile() { return host::ConfigDir() + "history.ini"; }

}  // namespace

bmmHistoryList::bmmHistoryList(const MCHAR* key) : key_(key ? key : L"") {}

void bmmHistoryList::LoadDefaults() {
    paths_.clear();
    host::script::IniFile ini;
    ini.Load(HistoryFile());
    const std::string section = host::ToUtf8(key_);
    for (int i = 1; i <= MaxEntries; ++i) {
        auto v = ini.Get(section, "Path" + std::to_string(i));
        if (!v || v->empty()) break;
        paths_.push_back(host::FromUtf8(*v));
    }
}

void bmmHistoryList::SetPath(const MCHAR* folder) {
    if (!folder || !*folder) return;
    const std::wstring f = folder;
    paths_.erase(std::remove(paths_.begin(), paths_.end(), f), paths_.end());
    paths_.insert(paths_.begin(), f);
    if (paths_.size() > MaxEntries) paths_.resize(MaxEntries);
}

const MCHAR* bmmHistoryList::GetPath(int i) const {
    return i >= 0 && i < Count() ? paths_[static_cast<size_t>(i)].c_str() : L"";
}

void bmmHistoryList::Save() const {
    host::script::IniFile ini;
    ini.Load(HistoryFile());
    const std::string section = host::ToUtf8(key_);
    ini.RemoveSection(section);
    for (size_t i = 0; i < paths_.size(); ++i)
        ini.Set(section, "Path" + std::to_string(i + 1), host::ToUtf8(paths_[i]));
    ini.Save(HistoryFile());
}
