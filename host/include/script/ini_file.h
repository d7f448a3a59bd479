// Plain ini files: "[section]" headers and "key=value" lines, as the host's settings file and the
// `getINISetting` / `setINISetting` built-ins use them. Section and key names match without regard
// to ASCII case; values keep their text (no quoting rules). Comment lines (";" or "#") and the
// order of sections and keys survive a rewrite.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace host::script {

class IniFile {
public:
    // Reads the file; a missing or unreadable file reads as empty and answers false.
    bool Load(const std::string& path);
    // Writes to a temporary file beside `path` and renames it into place, creating missing parent
    // folders. False when the folder or the file cannot be written; the old file then stands.
    bool Save(const std::string& path) const;

    std::optional<std::string> Get(const std::string& section, const std::string& key) const;
    // Adds the section or key when missing.
    void Set(const std::string& section, const std::string& key, const std::string& value);
    bool Remove(const std::string& section, const std::string& key);
    bool RemoveSection(const std::string& section);
    bool HasSection(const std::string& section) const;
    std::vector<std::string> Sections() const;
    // Keys of a section in file order; empty when the section is missing.
    std::vector<std::string> Keys(const std::string& section) const;

private:
    struct Line {
        std::string key;    // empty: a comment or blank line kept as `raw`
        std::string value;
        std::string raw;
    };
    struct Section {
        std::string name;
        std::vector<Line> lines;
    };
    Section* Find(const std::string& name);
    const Section* Find(const std::string& name) const;
    std::vector<Line> preamble_;  // lines before the first section
    std::vector<Section> sections_;
};

// The host's configuration folder: $KT_HOST_CONFIG_DIR when set and not empty, else
// $XDG_CONFIG_HOME/kinetrope, else $HOME/.config/kinetrope. Not created here.
std::string HostConfigDir();
// The host's settings file, "host.ini" in that folder (what `getMAXIniFile()` answers).
std::string HostIniPath();

}  // namespace host::script
