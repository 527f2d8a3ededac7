// Reader of the INI files Firefox keeps ("profiles.ini", "compatibility.ini").
// Tolerant like Firefox's own reader: a byte-order mark, CR LF or LF, blanks
// around names and values, ";" and "#" comments; malformed lines are skipped.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kxb {

struct IniSection {
    std::string name;
    std::vector<std::pair<std::string, std::string>> entries;
    // The value of the first entry named key (case-sensitive, as Firefox reads it); empty when absent.
    std::string Get(std::string_view key) const;
};

std::vector<IniSection> ParseIni(std::string_view text);

struct FirefoxProfile {
    std::string name;               // the profile's Name= (UTF-8)
    std::filesystem::path folder;   // absolute
};

// The profiles listed in a "profiles.ini" read from iniFolder: every
// [ProfileN] section with a Path=, relative to iniFolder when IsRelative=1
// ("/"-separated), else absolute. Each folder once, in file order.
std::vector<FirefoxProfile> ReadProfilesIni(std::string_view text, const std::filesystem::path& iniFolder);

}  // namespace kxb
