#include "Ini.h"

#include "Text.h"

namespace kxb {

namespace {

std::string_view Trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
    return s;
}

}  // namespace

std::string IniSection::Get(std::string_view key) const {
    for (const auto& [k, v] : entries)
        if (k == key) return v;
    return {};
}

std::vector<IniSection> ParseIni(std::string_view text) {
    if (text.substr(0, 3) == "\xEF\xBB\xBF") text.remove_prefix(3);
    std::vector<IniSection> sections;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = Trim(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.empty() || line.front() == ';' || line.front() == '#') continue;
        if (line.front() == '[') {
            const std::size_t close = line.find(']');
            if (close == std::string_view::npos) continue;
            sections.push_back({std::string(Trim(line.substr(1, close - 1))), {}});
            continue;
        }
        const std::size_t eq = line.find('=');
        if (eq == std::string_view::npos || sections.empty()) continue;
        sections.back().entries.emplace_back(std::string(Trim(line.substr(0, eq))),
                                             std::string(Trim(line.substr(eq + 1))));
    }
    return sections;
}

std::vector<FirefoxProfile> ReadProfilesIni(std::string_view text, const std::filesystem::path& iniFolder) {
    std::vector<FirefoxProfile> profiles;
    for (const IniSection& section : ParseIni(text)) {
        if (section.name.rfind("Profile", 0) != 0) continue;
        const std::string path = section.Get("Path");
        if (path.empty()) continue;
        std::filesystem::path folder;
        if (section.Get("IsRelative") == "1") {
            folder = iniFolder;
            std::string_view rest = path;
            while (!rest.empty()) {
                const std::size_t cut = rest.find_first_of("/\\");
                const std::string_view part = rest.substr(0, cut);
                if (!part.empty() && part != ".") folder /= PathFromUtf8(part);
                rest.remove_prefix(cut == std::string_view::npos ? rest.size() : cut + 1);
            }
        } else {
            folder = PathFromUtf8(path);
        }
        bool seen = false;
        for (const FirefoxProfile& p : profiles) seen = seen || p.folder == folder;
        if (!seen) profiles.push_back({section.Get("Name"), std::move(folder)});
    }
    return profiles;
}

}  // namespace kxb
