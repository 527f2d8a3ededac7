#include "FirefoxStores.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <iterator>
#include <nlohmann/json.hpp>

#include "MozLz4.h"
#include "Text.h"

namespace kxb {

namespace {

using Json = nlohmann::ordered_json;

bool ReadFile(const fs::path& file, std::string& contents) {
    std::ifstream in(file, std::ios::binary);
    if (!in) return false;
    contents.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

std::string StringField(const Json& object, const char* name) {
    const auto it = object.find(name);
    return it != object.end() && it->is_string() ? it->get<std::string>() : std::string();
}

Json ReadLogins(const fs::path& file) {
    std::string text;
    if (!ReadFile(file, text)) throw StoreError(Utf8Path(file.filename()) + ": cannot be read");
    Json doc = Json::parse(text, nullptr, false);
    if (doc.is_discarded() || !doc.is_object() || !doc.contains("logins") || !doc["logins"].is_array())
        throw StoreError(Utf8Path(file.filename()) + ": not a logins file");
    return doc;
}

std::int64_t LoginKey(const Json& login, std::size_t position) {
    const auto id = login.find("id");
    return id != login.end() && id->is_number_integer() ? id->get<std::int64_t>()
                                                        : -1 - static_cast<std::int64_t>(position);
}

}  // namespace

void LoginsStore::Load(std::vector<Element>& out, std::uint32_t storeIndex) {
    const Json doc = ReadLogins(File());
    std::size_t position = 0;
    for (const Json& login : doc["logins"]) {
        if (!login.is_object()) {
            ++position;
            continue;
        }
        Element& e = out.emplace_back();
        e.store = storeIndex;
        e.key = LoginKey(login, position++);
        const auto created = login.find("timeCreated");
        if (created != login.end() && created->is_number()) e.texts[0] = FormatUnixSeconds(created->get<long long>() / 1000);
        e.texts[1] = WideFromUtf8(StringField(login, "hostname"));
        e.texts[3] = WideFromUtf8(StringField(login, "formSubmitURL"));
        e.values.push_back({WideFromUtf8(StringField(login, "usernameField")), std::wstring()});
    }
}

bool LoginsStore::Rewrite(RemovalRun& run, std::int64_t key, bool all) {
    try {
        Json doc = ReadLogins(File());
        Json& logins = doc["logins"];
        if (all) {
            logins = Json::array();
        } else {
            bool found = false;
            for (std::size_t i = 0; i < logins.size(); ++i) {
                if (logins[i].is_object() && LoginKey(logins[i], i) == key) {
                    logins.erase(i);
                    found = true;
                    break;
                }
            }
            if (!found) {
                error_ = "logins.json: the login is no longer there";
                return false;
            }
        }
        if (!run.BackupOnce(File())) {
            error_ = "logins.json: the backup service did not take the file";
            return false;
        }
        fs::path temporary = File();
        temporary += ".kxb-tmp";
        {
            std::ofstream outFile(temporary, std::ios::binary | std::ios::trunc);
            outFile << doc.dump();
            if (!outFile.flush()) throw StoreError("logins.json: cannot be written");
        }
        std::error_code ec;
        fs::rename(temporary, File(), ec);
        if (ec) {
            fs::remove(temporary, ec);
            throw StoreError("logins.json: cannot be replaced");
        }
        return true;
    } catch (const StoreError& e) {
        error_ = e.what();
        return false;
    }
}

bool LoginsStore::Delete(const Element& element, RemovalRun& run) { return Rewrite(run, element.key, false); }

bool LoginsStore::DeleteAll(RemovalRun& run) { return Rewrite(run, 0, true); }

SessionStore::SessionStore(const fs::path& profile) : FileSetStore(profile, {}) {
    files_.push_back(profile / "sessionstore.jsonlz4");
    files_.push_back(profile / "sessionstore.js");  // before Firefox 56
    std::vector<fs::path> backups;
    std::error_code ec;
    for (fs::directory_iterator it(profile / "sessionstore-backups", ec), end; !ec && it != end; it.increment(ec))
        if (it->is_regular_file(ec)) backups.push_back(it->path());
    std::sort(backups.begin(), backups.end());
    files_.insert(files_.end(), backups.begin(), backups.end());
}

bool ReadSessionTabs(std::string_view contents, std::vector<std::pair<std::string, std::string>>& tabs) {
    std::optional<std::string> decoded;
    if (contents.substr(0, 4) == "mozL") {
        decoded = DecodeMozLz4(contents);
        if (!decoded) return false;
        contents = *decoded;
    }
    const Json doc = Json::parse(contents, nullptr, false);
    if (doc.is_discarded() || !doc.is_object()) return false;
    // The current page of a tab: entries[index - 1] (index counts from 1).
    auto addTab = [&](const Json& tab) {
        if (!tab.is_object()) return;
        const auto entries = tab.find("entries");
        if (entries == tab.end() || !entries->is_array() || entries->empty()) return;
        std::size_t current = entries->size();
        const auto index = tab.find("index");
        if (index != tab.end() && index->is_number_integer()) {
            const auto i = index->get<long long>();
            if (i >= 1 && static_cast<std::size_t>(i) <= entries->size()) current = static_cast<std::size_t>(i);
        }
        const Json& entry = (*entries)[current - 1];
        if (!entry.is_object()) return;
        tabs.emplace_back(StringField(entry, "url"), StringField(entry, "title"));
    };
    auto addWindow = [&](const Json& window) {
        if (!window.is_object()) return;
        if (const auto open = window.find("tabs"); open != window.end() && open->is_array())
            for (const Json& tab : *open) addTab(tab);
        if (const auto closed = window.find("_closedTabs"); closed != window.end() && closed->is_array())
            for (const Json& tab : *closed)
                if (tab.is_object() && tab.contains("state")) addTab(tab["state"]);
    };
    for (const char* list : {"windows", "_closedWindows"})
        if (const auto windows = doc.find(list); windows != doc.end() && windows->is_array())
            for (const Json& window : *windows) addWindow(window);
    return true;
}

void SessionStore::LoadFile(const fs::path& file, std::vector<Element>& out, const Element& base) {
    std::string contents;
    std::vector<std::pair<std::string, std::string>> tabs;
    if (ReadFile(file, contents) && ReadSessionTabs(contents, tabs) && !tabs.empty()) {
        for (const auto& [url, title] : tabs) {
            Element& e = out.emplace_back(base);
            e.texts[1] = WideFromUtf8(url);
            e.texts[2] = WideFromUtf8(title);
        }
        return;
    }
    FileSetStore::LoadFile(file, out, base);
}

}  // namespace kxb
