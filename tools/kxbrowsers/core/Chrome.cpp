// Google Chrome: every profile folder ("Default", "Profile N") under the
// user's "User Data" folder, its SQLite stores and its session files.
#include <algorithm>
#include <fstream>
#include <regex>

#include "Browser.h"
#include "Text.h"

namespace kxb {

namespace {

// Chrome keeps times as microseconds since 1601-01-01 (UTC).
#define KXB_CHROME_TIME(col) \
    "CASE WHEN " col " > 0 THEN datetime(" col " / 1000000 - 11644473600, 'unixepoch') ELSE '' END"

const SqlLayout kHistory{
    {"SELECT id, " KXB_CHROME_TIME("last_visit_time") ", title, url, visit_count FROM urls ORDER BY id"},
    // A history entry goes with its visits and what hangs on them.
    {"DELETE FROM visit_source WHERE id IN (SELECT id FROM visits WHERE url = ?1)",
     "DELETE FROM content_annotations WHERE visit_id IN (SELECT id FROM visits WHERE url = ?1)",
     "DELETE FROM context_annotations WHERE visit_id IN (SELECT id FROM visits WHERE url = ?1)",
     "DELETE FROM clusters_and_visits WHERE visit_id IN (SELECT id FROM visits WHERE url = ?1)",
     "DELETE FROM visits WHERE url = ?1",
     "DELETE FROM visited_links WHERE link_url_id = ?1",
     "DELETE FROM keyword_search_terms WHERE url_id = ?1",
     "DELETE FROM segment_usage WHERE segment_id IN (SELECT id FROM segments WHERE url_id = ?1)",
     "DELETE FROM segments WHERE url_id = ?1",
     "DELETE FROM urls WHERE id = ?1"},
    {}};

const SqlLayout kDownloads{
    {"SELECT d.id, d.target_path, (SELECT c.url FROM downloads_url_chains c WHERE c.id = d.id "
     "ORDER BY c.chain_index DESC LIMIT 1), " KXB_CHROME_TIME("d.end_time") ", d.referrer "
     "FROM downloads d ORDER BY d.id",
     "SELECT d.id, d.target_path, (SELECT c.url FROM downloads_url_chains c WHERE c.id = d.id "
     "ORDER BY c.chain_index DESC LIMIT 1), " KXB_CHROME_TIME("d.end_time") ", '' "
     "FROM downloads d ORDER BY d.id"},
    {"DELETE FROM downloads_url_chains WHERE id = ?1",
     "DELETE FROM downloads_slices WHERE download_id = ?1",
     "DELETE FROM downloads WHERE id = ?1"},
    {}};

const SqlLayout kSearches{
    {"SELECT k.rowid, " KXB_CHROME_TIME("u.last_visit_time") ", k.term, u.url, u.visit_count "
     "FROM keyword_search_terms k LEFT JOIN urls u ON u.id = k.url_id ORDER BY k.rowid"},
    {"DELETE FROM keyword_search_terms WHERE rowid = ?1"},
    {}};

const SqlLayout kCookies{
    {"SELECT rowid, " KXB_CHROME_TIME("expires_utc") ", host_key, path, name FROM cookies ORDER BY rowid"},
    {"DELETE FROM cookies WHERE rowid = ?1"},
    {}};

// Autofill keeps Unix seconds; the oldest layout kept its dates in a table
// of their own (autofill_dates, by pair_id).
const SqlLayout kAutofill{
    {"SELECT rowid, CASE WHEN date_last_used > 0 THEN datetime(date_last_used, 'unixepoch') ELSE '' END, "
     "name, '', count, name, value FROM autofill ORDER BY rowid",
     "SELECT rowid, '', name, '', count, name, value FROM autofill ORDER BY rowid"},
    {"DELETE FROM autofill_dates WHERE pair_id = (SELECT pair_id FROM autofill WHERE rowid = ?1)",
     "DELETE FROM autofill WHERE rowid = ?1"},
    {}};

// The password itself (password_value, encrypted) is never selected. Older
// versions kept date_created in Unix seconds, newer ones in Chrome time.
const SqlLayout kLogins{
    {"SELECT rowid, CASE WHEN date_created > 100000000000000 THEN datetime(date_created / 1000000 - "
     "11644473600, 'unixepoch') WHEN date_created > 0 THEN datetime(date_created, 'unixepoch') ELSE '' END, "
     "origin_url, '', action_url, username_element, username_value FROM logins ORDER BY rowid"},
    {"DELETE FROM insecure_credentials WHERE parent_id = ?1",
     "DELETE FROM password_notes WHERE parent_id = ?1",
     "DELETE FROM logins WHERE rowid = ?1"},
    {}};

#undef KXB_CHROME_TIME

class Chrome final : public Browser {
public:
    explicit Chrome(BrowserSetup setup) : setup_(std::move(setup)) {}

    std::wstring DisplayName() const override { return L"Google Chrome"; }

    std::wstring Version() const override {
        // Chrome writes its version into "Last Version" beside the profiles.
        std::ifstream in(setup_.dataFolder / "Last Version", std::ios::binary);
        std::string text;
        std::getline(in, text);
        while (!text.empty() && (text.back() == '\r' || text.back() == ' ')) text.pop_back();
        return WideFromUtf8(text);
    }

    bool IsInstalled() const override { return !Profiles(setup_.dataFolder).empty(); }

    bool IsDataLocked() const override {
        if (setup_.isRunning && setup_.isRunning()) return true;
        for (const fs::path& profile : Profiles(setup_.dataFolder))
            for (const fs::path& db : {profile / "History", CookiesFile(profile), profile / "Web Data",
                                       profile / "Login Data"})
                if (IsDatabaseLocked(db)) return true;
        return false;
    }

    std::wstring ExePath() const override { return setup_.exePath; }

    std::wstring Root(Kind kind) const override {
        return kind == Kind::TypedHistory ? std::wstring() : PathText(setup_.dataFolder);
    }

    std::unique_ptr<ElementList> MakeList(Kind kind, SinkSource sink) const override {
        auto list = MakeListOf(kind, std::move(sink));
        if (list) list->SetRunningCheck(setup_.isRunning);
        return list;
    }

private:
    std::unique_ptr<ElementList> MakeListOf(Kind kind, SinkSource sink) const {
        const SqlLayout* layout = nullptr;
        switch (kind) {
        case Kind::TypedHistory: return nullptr;
        case Kind::VisitedHistory: layout = &kHistory; break;
        case Kind::Downloads: layout = &kDownloads; break;
        case Kind::Searches: layout = &kSearches; break;
        case Kind::Cookies: layout = &kCookies; break;
        case Kind::Forms: layout = &kAutofill; break;
        case Kind::Passwords: layout = &kLogins; break;
        case Kind::Sessions:
            return std::make_unique<ElementList>(
                RemovalMode::WholeStore,
                [folder = setup_.dataFolder] {
                    std::vector<std::unique_ptr<Store>> stores;
                    for (const fs::path& profile : Profiles(folder))
                        stores.push_back(std::make_unique<FileSetStore>(profile, SessionFiles(profile)));
                    return stores;
                },
                std::move(sink));
        }
        return std::make_unique<ElementList>(
            RemovalMode::ByElement,
            [folder = setup_.dataFolder, kind, layout] {
                std::vector<std::unique_ptr<Store>> stores;
                for (const fs::path& profile : Profiles(folder)) {
                    const fs::path file = DatabaseOf(profile, kind);
                    std::error_code ec;
                    if (fs::is_regular_file(file, ec)) stores.push_back(std::make_unique<SqlStore>(file, *layout));
                }
                return stores;
            },
            std::move(sink));
    }

    static fs::path CookiesFile(const fs::path& profile) {
        // Chrome 96 moved the cookies into the "Network" folder.
        fs::path moved = profile / "Network" / "Cookies";
        std::error_code ec;
        return fs::is_regular_file(moved, ec) ? moved : profile / "Cookies";
    }

    static fs::path DatabaseOf(const fs::path& profile, Kind kind) {
        switch (kind) {
        case Kind::Cookies: return CookiesFile(profile);
        case Kind::Forms: return profile / "Web Data";
        case Kind::Passwords: return profile / "Login Data";
        default: return profile / "History";
        }
    }

    static std::vector<fs::path> SessionFiles(const fs::path& profile) {
        std::vector<fs::path> files;
        std::error_code ec;
        for (fs::directory_iterator it(profile / "Sessions", ec), end; !ec && it != end; it.increment(ec))
            if (it->is_regular_file(ec)) files.push_back(it->path());
        std::sort(files.begin(), files.end());
        for (const char* name : {"Current Session", "Current Tabs", "Last Session", "Last Tabs"})
            files.push_back(profile / name);
        return files;
    }

    // "Default" first, then "Profile N" by N.
    static std::vector<fs::path> Profiles(const fs::path& dataFolder) {
        std::vector<std::pair<long, fs::path>> found;
        static const std::regex numbered("Profile ([0-9]{1,9})");
        std::error_code ec;
        for (fs::directory_iterator it(dataFolder, ec), end; !ec && it != end; it.increment(ec)) {
            if (!it->is_directory(ec)) continue;
            const std::string name = Utf8Path(it->path().filename());
            std::smatch m;
            if (name == "Default")
                found.emplace_back(-1, it->path());
            else if (std::regex_match(name, m, numbered))
                found.emplace_back(std::stol(m[1].str()), it->path());
        }
        std::sort(found.begin(), found.end());
        std::vector<fs::path> profiles;
        for (auto& [order, path] : found) profiles.push_back(std::move(path));
        return profiles;
    }

    BrowserSetup setup_;
};

}  // namespace

std::unique_ptr<Browser> MakeChrome(BrowserSetup setup) { return std::make_unique<Chrome>(std::move(setup)); }

}  // namespace kxb
