// Browser-data library benchmarks, over a Chrome profile of 100,000 history
// entries (150,000 visits) and 10,000 cookies built in the browser's layout:
//
//   scan:   enumerating the visited history and the cookies, as a scan does
//           (one query per store, no statement per element);
//   delete: deleting 10,000 history entries (each with its visits) in one
//           removal run, from the last position down as the engine walks, the
//           commit included.
//
//   kxbrowsers_bench [--runs N]
//
// Each run prepares untimed (a fresh copy of the profile for deletions);
// the median of the runs is quoted, with the peak resident memory.
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "Browser.h"
#include "System.h"
#include "Text.h"

namespace {

namespace fs = std::filesystem;
using namespace kxb;

constexpr int kHistory = 100000;
constexpr int kCookies = 10000;
constexpr int kDeleted = 10000;
constexpr double kMiB = 1024.0 * 1024.0;

void Exec(sqlite3* db, const std::string& sql) {
    char* error = nullptr;
    if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
        std::fprintf(stderr, "setup failed: %s\n", error ? error : "?");
        std::exit(1);
    }
}

// A profile with the tables Chrome creates (the columns the library reads,
// with the indexes Chrome keeps on them).
void BuildProfile(const fs::path& profile) {
    fs::create_directories(profile / "Network");
    sqlite3* db = nullptr;
    sqlite3_open(Utf8Path(profile / "History").c_str(), &db);
    Exec(db, "PRAGMA synchronous = OFF; BEGIN;"
             "CREATE TABLE urls(id INTEGER PRIMARY KEY AUTOINCREMENT,url LONGVARCHAR,title LONGVARCHAR,"
             "visit_count INTEGER DEFAULT 0 NOT NULL,typed_count INTEGER DEFAULT 0 NOT NULL,"
             "last_visit_time INTEGER NOT NULL,hidden INTEGER DEFAULT 0 NOT NULL);"
             "CREATE TABLE visits(id INTEGER PRIMARY KEY AUTOINCREMENT,url INTEGER NOT NULL,visit_time INTEGER NOT NULL,"
             "from_visit INTEGER,transition INTEGER DEFAULT 0 NOT NULL,segment_id INTEGER,"
             "visit_duration INTEGER DEFAULT 0 NOT NULL);"
             "CREATE TABLE visit_source(id INTEGER PRIMARY KEY,source INTEGER NOT NULL);"
             "CREATE TABLE keyword_search_terms (keyword_id INTEGER NOT NULL,url_id INTEGER NOT NULL,"
             "term LONGVARCHAR NOT NULL,normalized_term LONGVARCHAR NOT NULL);"
             "CREATE TABLE segments (id INTEGER PRIMARY KEY,name VARCHAR,url_id INTEGER NON NULL);"
             "CREATE TABLE segment_usage (id INTEGER PRIMARY KEY,segment_id INTEGER NOT NULL,"
             "time_slot INTEGER NOT NULL,visit_count INTEGER DEFAULT 0 NOT NULL);"
             "CREATE INDEX visits_url_index ON visits (url);"
             "CREATE INDEX urls_url_index ON urls (url);"
             "CREATE INDEX keyword_search_terms_index2 ON keyword_search_terms (url_id);"
             "CREATE INDEX segments_url_id ON segments(url_id);"
             "CREATE INDEX segments_usage_seg_id ON segment_usage(segment_id);");
    sqlite3_stmt* url = nullptr;
    sqlite3_stmt* visit = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO urls(id,url,title,visit_count,last_visit_time) VALUES(?1,?2,?3,?4,?5)", -1,
                       &url, nullptr);
    sqlite3_prepare_v2(db, "INSERT INTO visits(url,visit_time,transition) VALUES(?1,?2,805306368)", -1, &visit,
                       nullptr);
    for (int i = 1; i <= kHistory; ++i) {
        const std::string address = "https://site" + std::to_string(i % 5000) + ".example.com/articles/" +
                                    std::to_string(i) + "?ref=news&lang=en";
        const std::string title = "Article number " + std::to_string(i) + " - Example News";
        const sqlite3_int64 when = 13344473600000000LL + i * 1000000LL;
        const int visits = 1 + (i % 2);
        sqlite3_bind_int(url, 1, i);
        sqlite3_bind_text(url, 2, address.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(url, 3, title.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_int(url, 4, visits);
        sqlite3_bind_int64(url, 5, when);
        sqlite3_step(url);
        sqlite3_reset(url);
        for (int v = 0; v < visits; ++v) {
            sqlite3_bind_int(visit, 1, i);
            sqlite3_bind_int64(visit, 2, when - v);
            sqlite3_step(visit);
            sqlite3_reset(visit);
        }
    }
    sqlite3_finalize(url);
    sqlite3_finalize(visit);
    Exec(db, "COMMIT;");
    sqlite3_close(db);

    sqlite3_open(Utf8Path(profile / "Network" / "Cookies").c_str(), &db);
    Exec(db, "PRAGMA synchronous = OFF; BEGIN;"
             "CREATE TABLE cookies(creation_utc INTEGER NOT NULL,host_key TEXT NOT NULL,top_frame_site_key TEXT NOT NULL,"
             "name TEXT NOT NULL,value TEXT NOT NULL,encrypted_value BLOB NOT NULL,path TEXT NOT NULL,"
             "expires_utc INTEGER NOT NULL,is_secure INTEGER NOT NULL,is_httponly INTEGER NOT NULL,"
             "last_access_utc INTEGER NOT NULL,has_expires INTEGER NOT NULL,is_persistent INTEGER NOT NULL,"
             "priority INTEGER NOT NULL,samesite INTEGER NOT NULL,source_scheme INTEGER NOT NULL,"
             "source_port INTEGER NOT NULL,last_update_utc INTEGER NOT NULL,source_type INTEGER NOT NULL,"
             "has_cross_site_ancestor INTEGER NOT NULL);"
             "CREATE UNIQUE INDEX cookies_unique_index ON cookies(host_key, top_frame_site_key, "
             "has_cross_site_ancestor, name, path, source_scheme, source_port);");
    sqlite3_stmt* cookie = nullptr;
    sqlite3_prepare_v2(db,
                       "INSERT INTO cookies VALUES(13344473600000000,?1,'',?2,'',randomblob(48),'/',"
                       "13400000000000000,1,1,13344473600000000,1,1,1,0,2,443,13344473600000000,0,0)",
                       -1, &cookie, nullptr);
    for (int i = 0; i < kCookies; ++i) {
        const std::string host = ".site" + std::to_string(i) + ".example.com";
        const std::string name = "_session_" + std::to_string(i % 7);
        sqlite3_bind_text(cookie, 1, host.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_bind_text(cookie, 2, name.c_str(), -1, SQLITE_TRANSIENT);
        sqlite3_step(cookie);
        sqlite3_reset(cookie);
    }
    sqlite3_finalize(cookie);
    Exec(db, "COMMIT;");
    sqlite3_close(db);
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const std::size_t mid = v.size() / 2;
    return v.size() % 2 ? v[mid] : (v[mid - 1] + v[mid]) / 2;
}

double Seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

void PrintMemory(std::uint64_t start) {
    const std::uint64_t peak = vt::bench::PeakResidentBytes();
    std::printf("  memory: resident at start %.1f MiB, peak %.1f MiB, peak growth %.1f MiB\n", start / kMiB,
                peak / kMiB, peak > start ? (peak - start) / kMiB : 0.0);
}

}  // namespace

int main(int argc, char** argv) {
    int runs = 3;
    for (int i = 1; i + 1 < argc; ++i)
        if (std::string(argv[i]) == "--runs") runs = std::max(1, std::atoi(argv[i + 1]));

    const fs::path root = fs::temp_directory_path() / ("kxb-bench-" + std::to_string(std::rand()));
    const fs::path pristine = root / "pristine" / "Default";
    const fs::path userData = root / "User Data";
    std::printf("building a Chrome profile: %d history entries, %d cookies...\n", kHistory, kCookies);
    BuildProfile(pristine);
    fs::create_directories(userData);
    fs::copy(pristine, userData / "Default", fs::copy_options::recursive);
    DirectFiles direct;
    const SinkSource sink = [&direct]() -> BackupSink& { return direct; };
    auto chrome = MakeChrome({userData, L"chrome.exe", nullptr});

    std::printf("scan: visited history and cookies\n");
    vt::bench::ReturnFreedMemory();
    vt::bench::ResetPeakResident();
    std::uint64_t start = vt::bench::CurrentResidentBytes();
    std::vector<double> times;
    int history = 0, cookies = 0;
    for (int r = 0; r < runs; ++r) {
        auto historyList = chrome->MakeList(Kind::VisitedHistory, sink);
        auto cookieList = chrome->MakeList(Kind::Cookies, sink);
        const auto t0 = std::chrono::steady_clock::now();
        historyList->Enumerate(nullptr);
        cookieList->Enumerate(nullptr);
        times.push_back(Seconds(t0));
        history = historyList->Count();
        cookies = cookieList->Count();
    }
    std::printf("  %d history entries, %d cookies: median %.3f s over %d runs (target < 1 s)\n", history, cookies,
                Median(times), runs);
    PrintMemory(start);

    std::printf("delete: %d history entries with their visits, one removal run\n", kDeleted);
    times.clear();
    vt::bench::ReturnFreedMemory();
    vt::bench::ResetPeakResident();
    start = vt::bench::CurrentResidentBytes();
    bool allDeleted = true;
    for (int r = 0; r < runs; ++r) {
        fs::remove_all(userData / "Default");
        fs::copy(pristine, userData / "Default", fs::copy_options::recursive);
        auto list = chrome->MakeList(Kind::VisitedHistory, sink);
        list->Enumerate(nullptr);
        const auto t0 = std::chrono::steady_clock::now();
        list->BeginRemove();
        for (int i = 0; i < kDeleted; ++i) allDeleted = list->DeleteElement(list->Count() - 1) && allDeleted;
        allDeleted = list->EndRemove() && allDeleted;
        times.push_back(Seconds(t0));
    }
    std::printf("  median %.3f s over %d runs (target < 2 s)%s\n", Median(times), runs,
                allDeleted ? "" : "  ERROR: a deletion failed");
    PrintMemory(start);
    fs::remove_all(root);
    return allDeleted ? 0 : 1;
}
