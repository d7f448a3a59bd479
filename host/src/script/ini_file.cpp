#include "script/ini_file.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <unistd.h>

namespace host::script {

namespace {

bool SameName(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

std::string Trim(const std::string& s) {
    size_t b = s.find_first_not_of(" \t\r");
    if (b == std::string::npos) return {};
    size_t e = s.find_last_not_of(" \t\r");
    return s.substr(b, e - b + 1);
}

}  // namespace

bool IniFile::Load(const std::string& path) {
    preamble_.clear();
    sections_.clear();
    std::ifstream f(path, std::ios::binary);
    if (!f) return false;
    std::string raw;
    bool first = true;
    while (std::getline(f, raw)) {
        if (first && raw.size() >= 3 && static_cast<unsigned char>(raw[0]) == 0xEF) raw.erase(0, 3);
        first = false;
        if (!raw.empty() && raw.back() == '\r') raw.pop_back();
        std::string t = Trim(raw);
        std::vector<Line>& into = sections_.empty() ? preamble_ : sections_.back().lines;
        if (t.size() >= 2 && t.front() == '[' && t.back() == ']') {
            sections_.push_back({Trim(t.substr(1, t.size() - 2)), {}});
            continue;
        }
        size_t eq = t.find('=');
        if (t.empty() || t[0] == ';' || t[0] == '#' || eq == std::string::npos || eq == 0) {
            into.push_back({"", "", raw});
            continue;
        }
        into.push_back({Trim(t.substr(0, eq)), Trim(t.substr(eq + 1)), ""});
    }
    return true;
}

bool IniFile::Save(const std::string& path) const {
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::path p(path);
    if (p.has_parent_path()) fs::create_directories(p.parent_path(), ec);
    std::string tmp = path + ".tmp" + std::to_string(::getpid());
    {
        std::ofstream f(tmp, std::ios::binary | std::ios::trunc);
        if (!f) return false;
        auto put = [&](const std::vector<Line>& lines) {
            for (const Line& l : lines) {
                if (l.key.empty()) f << l.raw << "\n";
                else f << l.key << "=" << l.value << "\n";
            }
        };
        put(preamble_);
        for (const Section& s : sections_) {
            f << "[" << s.name << "]\n";
            put(s.lines);
        }
        f.flush();
        if (!f) {
            fs::remove(tmp, ec);
            return false;
        }
    }
    fs::rename(tmp, path, ec);
    if (ec) {
        fs::remove(tmp, ec);
        return false;
    }
    return true;
}

IniFile::Section* IniFile::Find(const std::string& name) {
    for (Section& s : sections_)
        if (SameName(s.name, name)) return &s;
    return nullptr;
}

const IniFile::Section* IniFile::Find(const std::string& name) const {
    for (const Section& s : sections_)
        if (SameName(s.name, name)) return &s;
    return nullptr;
}

std::optional<std::string> IniFile::Get(const std::string& section, const std::string& key) const {
    const Section* s = Find(section);
    if (!s) return std::nullopt;
    for (const Line& l : s->lines)
        if (!l.key.empty() && SameName(l.key, key)) return l.value;
    return std::nullopt;
}

void IniFile::Set(const std::string& section, const std::string& key, const std::string& value) {
    Section* s = Find(section);
    if (!s) {
        sections_.push_back({section, {}});
        s = &sections_.back();
    }
    for (Line& l : s->lines)
        if (!l.key.empty() && SameName(l.key, key)) {
            l.value = value;
            return;
        }
    // keep trailing blank lines of the section after the new key
    auto pos = s->lines.end();
    while (pos != s->lines.begin() && (pos - 1)->key.empty() && Trim((pos - 1)->raw).empty()) --pos;
    s->lines.insert(pos, {key, value, ""});
}

bool IniFile::Remove(const std::string& section, const std::string& key) {
    Section* s = Find(section);
    if (!s) return false;
    for (auto it = s->lines.begin(); it != s->lines.end(); ++it)
        if (!it->key.empty() && SameName(it->key, key)) {
            s->lines.erase(it);
            return true;
        }
    return false;
}

bool IniFile::RemoveSection(const std::string& section) {
    for (auto it = sections_.begin(); it != sections_.end(); ++it)
        if (SameName(it->name, section)) {
            sections_.erase(it);
            return true;
        }
    return false;
}

bool IniFile::HasSection(const std::string& section) const { return Find(section) != nullptr; }

std::vector<std::string> IniFile::Sections() const {
    std::vector<std::string> r;
    for (const Section& s : sections_) r.push_back(s.name);
    return r;
}

std::vector<std::string> IniFile::Keys(const std::string& section) const {
    std::vector<std::string> r;
    if (const Section* s = Find(section))
        for (const Line& l : s->lines)
            if (!l.key.empty()) r.push_back(l.key);
    return r;
}

std::string HostConfigDir() {
    if (const char* d = std::getenv("KT_HOST_CONFIG_DIR"); d && *d) return d;
    if (const char* x = std::getenv("XDG_CONFIG_HOME"); x && *x) return std::string(x) + "/kinetrope";
    if (const char* h = std::getenv("HOME"); h && *h) return std::string(h) + "/.config/kinetrope";
    return ".kinetrope";
}

std::string HostIniPath() { return HostConfigDir() + "/host.ini"; }

}  // namespace host::script
