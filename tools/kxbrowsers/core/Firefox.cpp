// Firefox: every profile listed in "profiles.ini", its SQLite stores
// (places, cookies, form history), its saved logins and its session files.
#include <fstream>
#include <iterator>

#include "Browser.h"
#include "FirefoxStores.h"
#include "Ini.h"
#include "Text.h"

namespace kxb {

namespace {

// Firefox keeps times as microseconds since 1970 (PRTime).
#define KXB_PR_TIME(col) "CASE WHEN " col " > 0 THEN datetime(" col " / 1000000, 'unixepoch') ELSE '' END"

// Visited pages: places with a last visit. Deleting one removes its visits;
// a bookmarked place stays (with no visits left), any other goes entirely.
const SqlLayout kHistory{
    {"SELECT id, " KXB_PR_TIME("last_visit_date") ", title, url, visit_count FROM moz_places "
     "WHERE last_visit_date IS NOT NULL ORDER BY id"},
    {"DELETE FROM moz_historyvisits WHERE place_id = ?1",
     "DELETE FROM moz_inputhistory WHERE place_id = ?1",
     "UPDATE moz_places SET visit_count = 0, last_visit_date = NULL, typed = 0 "
     "WHERE id = ?1 AND EXISTS (SELECT 1 FROM moz_bookmarks WHERE fk = ?1)",
     "DELETE FROM moz_annos WHERE place_id = ?1 AND NOT EXISTS (SELECT 1 FROM moz_bookmarks WHERE fk = ?1)",
     "DELETE FROM moz_places_metadata WHERE place_id = ?1 AND NOT EXISTS (SELECT 1 FROM moz_bookmarks WHERE fk = ?1)",
     "DELETE FROM moz_places WHERE id = ?1 AND NOT EXISTS (SELECT 1 FROM moz_bookmarks WHERE fk = ?1)"},
    {}};

// Typed addresses: places marked typed; deleting one clears the mark and the
// address bar's input history for it (its visits stay in visited history).
const SqlLayout kTyped{
    {"SELECT p.id, " KXB_PR_TIME("p.last_visit_date") ", p.url, p.title, "
     "(SELECT count(*) FROM moz_historyvisits v WHERE v.place_id = p.id AND v.visit_type = 2) "
     "FROM moz_places p WHERE p.typed = 1 ORDER BY p.id"},
    {"UPDATE moz_places SET typed = 0 WHERE id = ?1", "DELETE FROM moz_inputhistory WHERE place_id = ?1"},
    {}};

// Downloads: the page annotations Firefox writes for each download; the
// element key is the destination annotation's id.
const SqlLayout kDownloads{
    {"SELECT a.id, a.content, p.url, " KXB_PR_TIME("a.lastModified") ", '' FROM moz_annos a "
     "JOIN moz_anno_attributes n ON n.id = a.anno_attribute_id JOIN moz_places p ON p.id = a.place_id "
     "WHERE n.name = 'downloads/destinationFileURI' ORDER BY a.id"},
    {"DELETE FROM moz_historyvisits WHERE visit_type = 7 AND place_id = (SELECT place_id FROM moz_annos WHERE id = ?1)",
     "DELETE FROM moz_annos WHERE place_id = (SELECT place_id FROM moz_annos WHERE id = ?1) AND anno_attribute_id "
     "IN (SELECT id FROM moz_anno_attributes WHERE name LIKE 'downloads/%')"},
    {},
    [](Element& e) {
        // "file:///C:/Users/a%20b/x.zip" shown as "C:\Users\a b\x.zip".
        std::wstring& file = e.texts[0];
        if (file.rfind(L"file:///", 0) != 0) return;
        std::string bytes = Utf8FromWide(file.substr(8));
        std::string decoded;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            auto hex = [](char c) -> int {
                if (c >= '0' && c <= '9') return c - '0';
                if (c >= 'a' && c <= 'f') return c - 'a' + 10;
                if (c >= 'A' && c <= 'F') return c - 'A' + 10;
                return -1;
            };
            if (bytes[i] == '%' && i + 2 < bytes.size() && hex(bytes[i + 1]) >= 0 && hex(bytes[i + 2]) >= 0) {
                decoded.push_back(static_cast<char>(hex(bytes[i + 1]) * 16 + hex(bytes[i + 2])));
                i += 2;
            } else {
                decoded.push_back(bytes[i] == '/' ? '\\' : bytes[i]);
            }
        }
        file = WideFromUtf8(decoded);
    }};

// Cookie expiry: seconds since 1970 (milliseconds in the newest versions).
const SqlLayout kCookies{
    {"SELECT id, CASE WHEN expiry > 100000000000 THEN datetime(expiry / 1000, 'unixepoch') WHEN expiry > 0 "
     "THEN datetime(expiry, 'unixepoch') ELSE '' END, host, path, name FROM moz_cookies ORDER BY id"},
    {"DELETE FROM moz_cookies WHERE id = ?1"},
    {}};

// Form history keeps form values and, under the field name
// "searchbar-history", the search bar's searches.
const SqlLayout kForms{
    {"SELECT id, " KXB_PR_TIME("lastUsed") ", fieldname, '', timesUsed, fieldname, value FROM moz_formhistory "
     "WHERE fieldname <> 'searchbar-history' ORDER BY id"},
    {"DELETE FROM moz_history_to_sources WHERE history_id = ?1", "DELETE FROM moz_formhistory WHERE id = ?1"},
    {}};

const SqlLayout kSearches{
    {"SELECT id, " KXB_PR_TIME("lastUsed") ", value, '', timesUsed FROM moz_formhistory "
     "WHERE fieldname = 'searchbar-history' ORDER BY id"},
    {"DELETE FROM moz_history_to_sources WHERE history_id = ?1", "DELETE FROM moz_formhistory WHERE id = ?1"},
    {}};

#undef KXB_PR_TIME

std::string ReadText(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<fs::path> Profiles(const fs::path& dataFolder) {
    std::vector<fs::path> folders;
    for (FirefoxProfile& p : ReadProfilesIni(ReadText(dataFolder / "profiles.ini"), dataFolder)) {
        std::error_code ec;
        if (fs::is_directory(p.folder, ec)) folders.push_back(std::move(p.folder));
    }
    return folders;
}

class Firefox final : public Browser {
public:
    explicit Firefox(BrowserSetup setup) : setup_(std::move(setup)) {}

    std::wstring DisplayName() const override { return L"Firefox"; }

    std::wstring Version() const override {
        // "LastVersion=120.0_20231129155341/20231129155341" of the first profile.
        for (const fs::path& profile : Profiles(setup_.dataFolder)) {
            for (const IniSection& s : ParseIni(ReadText(profile / "compatibility.ini"))) {
                if (s.name != "Compatibility") continue;
                std::string version = s.Get("LastVersion");
                return WideFromUtf8(version.substr(0, version.find('_')));
            }
        }
        return {};
    }

    bool IsInstalled() const override { return !Profiles(setup_.dataFolder).empty(); }

    bool IsDataLocked() const override {
        if (setup_.isRunning && setup_.isRunning()) return true;
        for (const fs::path& profile : Profiles(setup_.dataFolder))
            for (const char* name : {"places.sqlite", "cookies.sqlite", "formhistory.sqlite"})
                if (IsDatabaseLocked(profile / name)) return true;
        return false;
    }

    std::wstring ExePath() const override { return setup_.exePath; }

    std::wstring Root(Kind) const override { return PathText(setup_.dataFolder); }

    std::unique_ptr<ElementList> MakeList(Kind kind, SinkSource sink) const override {
        auto list = MakeListOf(kind, std::move(sink));
        if (list) list->SetRunningCheck(setup_.isRunning);
        return list;
    }

private:
    std::unique_ptr<ElementList> MakeListOf(Kind kind, SinkSource sink) const {
        const fs::path folder = setup_.dataFolder;
        if (kind == Kind::Sessions || kind == Kind::Passwords) {
            const bool sessions = kind == Kind::Sessions;
            return std::make_unique<ElementList>(
                sessions ? RemovalMode::WholeStore : RemovalMode::ByElement,
                [folder, sessions] {
                    std::vector<std::unique_ptr<Store>> stores;
                    for (const fs::path& profile : Profiles(folder)) {
                        std::error_code ec;
                        if (sessions)
                            stores.push_back(std::make_unique<SessionStore>(profile));
                        else if (fs::is_regular_file(profile / "logins.json", ec))
                            stores.push_back(std::make_unique<LoginsStore>(profile / "logins.json"));
                    }
                    return stores;
                },
                std::move(sink));
        }
        const SqlLayout* layout = nullptr;
        const char* database = "places.sqlite";
        switch (kind) {
        case Kind::VisitedHistory: layout = &kHistory; break;
        case Kind::TypedHistory: layout = &kTyped; break;
        case Kind::Downloads: layout = &kDownloads; break;
        case Kind::Cookies: layout = &kCookies, database = "cookies.sqlite"; break;
        case Kind::Forms: layout = &kForms, database = "formhistory.sqlite"; break;
        case Kind::Searches: layout = &kSearches, database = "formhistory.sqlite"; break;
        default: return nullptr;
        }
        return std::make_unique<ElementList>(
            RemovalMode::ByElement,
            [folder, layout, database] {
                std::vector<std::unique_ptr<Store>> stores;
                for (const fs::path& profile : Profiles(folder)) {
                    std::error_code ec;
                    if (fs::is_regular_file(profile / database, ec))
                        stores.push_back(std::make_unique<SqlStore>(profile / database, *layout));
                }
                return stores;
            },
            std::move(sink));
    }

    BrowserSetup setup_;
};

}  // namespace

std::unique_ptr<Browser> MakeFirefox(BrowserSetup setup) { return std::make_unique<Firefox>(std::move(setup)); }

}  // namespace kxb
