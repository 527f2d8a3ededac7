// Chrome's stores: what each data kind lists from every profile, deletion
// row by row and as a whole, backups, locked and damaged databases.
#include <gtest/gtest.h>

#include "Layouts.h"
#include "TestSupport.h"

namespace kxb::test {
namespace {

// 2023-11-14 22:13:20 UTC as Chrome keeps it (microseconds since 1601).
constexpr const char* kWhen = "13344473600000000";

class ChromeTest : public ::testing::Test {
protected:
    void SetUp() override {
        data = tmp.Path() / "Google" / "Chrome" / "User Data";
        const fs::path def = data / "Default";
        const fs::path second = data / "Profile 2";
        fs::create_directories(data / "System Profile");  // not a user's profile
        fs::create_directories(data / "Crashpad");
        WriteBytes(data / "Last Version", "131.0.6778.86");
        WriteBytes(data / "System Profile" / "History", "not read");

        RunSql(def / "History", std::string(kChromeHistory) + R"(
INSERT INTO urls VALUES(1,'http://example.com/a','Example A',2,0,)" + kWhen + R"(,0);
INSERT INTO urls VALUES(2,'https://www.google.com/search?q=vantrel','vantrel - Google Search',1,1,)" + kWhen + R"(,0);
INSERT INTO urls VALUES(3,'file:///C:/Users/%D0%98%D0%B2%D0%B0%D0%BD/report.pdf','report.pdf',1,0,0,0);
INSERT INTO visits(id,url,visit_time,from_visit,transition,segment_id) VALUES(1,1,)" + kWhen + R"(,0,805306368,1);
INSERT INTO visits(id,url,visit_time,from_visit,transition,segment_id) VALUES(2,1,)" + kWhen + R"(,1,805306368,1);
INSERT INTO visits(id,url,visit_time,from_visit,transition,segment_id) VALUES(3,2,)" + kWhen + R"(,0,805306369,0);
INSERT INTO visits(id,url,visit_time,from_visit,transition,segment_id) VALUES(4,3,)" + kWhen + R"(,0,805306368,0);
INSERT INTO visit_source VALUES(1,1);
INSERT INTO content_annotations(visit_id,annotation_flags,search_terms,has_url_keyed_image) VALUES(2,0,'',0);
INSERT INTO context_annotations(visit_id,context_annotation_flags) VALUES(2,0);
INSERT INTO context_annotations(visit_id,context_annotation_flags) VALUES(3,0);
INSERT INTO clusters_and_visits(cluster_id,visit_id,url_for_deduping,normalized_url,url_for_display) VALUES(1,1,'http://example.com/a','http://example.com/a','example.com/a');
INSERT INTO visited_links(link_url_id,top_level_url,frame_url,visit_count) VALUES(1,'http://example.com/','http://example.com/',2);
INSERT INTO keyword_search_terms VALUES(2,2,'vantrel','vantrel');
INSERT INTO segments VALUES(1,'http://example.com/',1);
INSERT INTO segment_usage VALUES(1,1,13344422400000000,2);
INSERT INTO downloads VALUES(1,'8f2a0c1e-3b4d-4e5f-8a9b-0c1d2e3f4a5b','C:\Users\Иван\Downloads\setup.exe','C:\Users\Иван\Downloads\setup.exe',)" + kWhen + R"(,1048576,1048576,1,0,0,X'',)" + kWhen + R"(,0,0,0,'https://example.com/download','','','','','GET','','','','','','application/octet-stream','application/octet-stream');
INSERT INTO downloads_url_chains VALUES(1,0,'https://example.com/get?id=1');
INSERT INTO downloads_url_chains VALUES(1,1,'https://cdn.example.com/setup.exe');
)");
        RunSql(second / "History", std::string(kChromeHistory) +
                                       "INSERT INTO urls VALUES(1,'https://mail.example.net/','Inbox',1,0," + kWhen + ",0);");
        RunSql(def / "Network" / "Cookies", std::string(kChromeCookies) + R"(
INSERT INTO cookies VALUES()" + kWhen + R"(,'.example.com','','SID','',X'763130aa',  '/',13400000000000000,1,1,)" + kWhen + R"(,1,1,1,0,2,443,)" + kWhen + R"(,0,0);
INSERT INTO cookies VALUES()" + kWhen + R"(,'www.example.com','','pref','',X'763130bb','/app',0,0,0,)" + kWhen + R"(,0,0,1,-1,2,443,)" + kWhen + R"(,0,0);
INSERT INTO cookies VALUES()" + kWhen + R"(,'.google.com','','NID','',X'763130cc','/',13400000000000000,1,1,)" + kWhen + R"(,1,1,1,0,2,443,)" + kWhen + R"(,0,0);
)");
        // The older location, beside the profile's other databases.
        RunSql(second / "Cookies", std::string(kChromeCookies) + "INSERT INTO cookies VALUES(" + kWhen +
                                       ",'.profile2.example','','id','',X'00','/',0,0,0,0,0,0,1,0,2,443,0,0,0);");
        RunSql(def / "Web Data", std::string(kChromeWebData) + R"(
INSERT INTO autofill VALUES('email','ivan@example.com','ivan@example.com',1700000000,1700000000,3);
INSERT INTO autofill VALUES('q','погода','погода',1700000000,1700000000,1);
)");
        RunSql(def / "Login Data", std::string(kChromeLoginData) + R"(
INSERT INTO logins(origin_url,action_url,username_element,username_value,password_element,password_value,submit_element,signon_realm,date_created,blacklisted_by_user,scheme,times_used)
VALUES('https://accounts.example.com/login','https://accounts.example.com/session','username','ivan','password',X'7631305f656e637279707465645f626c6f62','','https://accounts.example.com/',)" + kWhen + R"(,0,0,4);
INSERT INTO insecure_credentials VALUES(1,0,)" + kWhen + R"(,0,0);
)");
        WriteBytes(def / "Sessions" / "Session_13344473600000000", std::string("SNSS\x03\0\0\0", 8));
        WriteBytes(def / "Sessions" / "Tabs_13344473600000000", std::string("SNSS\x03\0\0\0", 8));
        WriteBytes(second / "Current Session", std::string("SNSS\x01\0\0\0", 8));
        chrome = MakeChrome({data, L"C:\\Program Files\\Google\\Chrome\\Application\\chrome.exe",
                             [this] { return running; }});
    }

    std::unique_ptr<ElementList> List(Kind kind) {
        return chrome->MakeList(kind, [this]() -> BackupSink& { return sink; });
    }

    TempDir tmp;
    fs::path data;
    RecordingSink sink;
    bool running = false;
    std::unique_ptr<Browser> chrome;
};

TEST_F(ChromeTest, ListsEveryDataKindOfEveryProfile) {
    struct Case {
        Kind kind;
        int slot;
        std::vector<std::wstring> texts;
    };
    const Case cases[] = {
        {Kind::VisitedHistory, 2,
         {L"http://example.com/a", L"https://www.google.com/search?q=vantrel",
          L"file:///C:/Users/%D0%98%D0%B2%D0%B0%D0%BD/report.pdf", L"https://mail.example.net/"}},
        {Kind::VisitedHistory, 0, {L"2023-11-14 22:13:20", L"2023-11-14 22:13:20", L"", L"2023-11-14 22:13:20"}},
        {Kind::Cookies, 1, {L".example.com", L"www.example.com", L".google.com", L".profile2.example"}},
        {Kind::Cookies, 3, {L"SID", L"pref", L"NID", L"id"}},
        {Kind::Searches, 1, {L"vantrel"}},
        {Kind::Downloads, 0, {L"C:\\Users\\Иван\\Downloads\\setup.exe"}},
        {Kind::Downloads, 1, {L"https://cdn.example.com/setup.exe"}},
        {Kind::Forms, 1, {L"email", L"q"}},
        {Kind::Passwords, 1, {L"https://accounts.example.com/login"}},
        {Kind::Sessions, 1,
         {PathText(data / "Default" / "Sessions" / "Session_13344473600000000"),
          PathText(data / "Default" / "Sessions" / "Tabs_13344473600000000"),
          PathText(data / "Profile 2" / "Current Session")}},
    };
    for (const Case& c : cases) {
        auto list = List(c.kind);
        ASSERT_TRUE(list);
        const auto statuses = Load(*list);
        EXPECT_EQ(statuses.back(), 1);
        EXPECT_EQ(Texts(*list, c.slot), c.texts) << "kind " << static_cast<int>(c.kind) << " slot " << c.slot;
    }
    EXPECT_FALSE(List(Kind::TypedHistory));
    EXPECT_TRUE(chrome->IsInstalled());
    EXPECT_EQ(chrome->Version(), L"131.0.6778.86");

    // Values: the form's value, the login's user name; never the password.
    auto forms = List(Kind::Forms);
    Load(*forms);
    EXPECT_EQ(forms->At(1)->values.at(0).value, L"погода");
    auto logins = List(Kind::Passwords);
    Load(*logins);
    ASSERT_EQ(logins->At(0)->values.size(), 1u);
    EXPECT_EQ(logins->At(0)->values[0].name, L"username");
    EXPECT_EQ(logins->At(0)->values[0].value, L"ivan");
    for (const auto& text : logins->At(0)->texts) EXPECT_EQ(text.find(L"encrypted"), std::wstring::npos);
}

TEST_F(ChromeTest, HistoryEntryGoesWithItsVisitsAndLaterPositionsMoveDown) {
    const fs::path history = data / "Default" / "History";
    auto list = List(Kind::VisitedHistory);
    Load(*list);
    ASSERT_TRUE(list->BeginRemove());
    ASSERT_TRUE(list->DeleteElement(0));            // example.com/a, two visits
    EXPECT_EQ(list->At(0)->texts[2], L"https://www.google.com/search?q=vantrel");
    ASSERT_TRUE(list->DeleteElement(1));            // was position 2: report.pdf
    ASSERT_TRUE(list->EndRemove());

    EXPECT_EQ(QueryInt(history, "SELECT group_concat(id) FROM urls"), 2);
    EXPECT_EQ(QueryInt(history, "SELECT count(*) FROM visits WHERE url IN (1, 3)"), 0);
    EXPECT_EQ(QueryInt(history, "SELECT count(*) FROM visits WHERE url = 2"), 1);
    EXPECT_EQ(QueryInt(history, "SELECT count(*) FROM visit_source"), 0);
    EXPECT_EQ(QueryInt(history, "SELECT count(*) FROM content_annotations"), 0);
    EXPECT_EQ(QueryInt(history, "SELECT group_concat(visit_id) FROM context_annotations"), 3);
    EXPECT_EQ(QueryInt(history, "SELECT count(*) FROM clusters_and_visits"), 0);
    EXPECT_EQ(QueryInt(history, "SELECT count(*) FROM visited_links"), 0);
    EXPECT_EQ(QueryInt(history, "SELECT count(*) FROM segments"), 0);
    EXPECT_EQ(QueryInt(history, "SELECT count(*) FROM segment_usage"), 0);
    EXPECT_EQ(QueryInt(history, "SELECT count(*) FROM keyword_search_terms"), 1);
    EXPECT_EQ(QueryInt(history, "SELECT count(*) FROM downloads"), 1);
    EXPECT_EQ(QueryInt(history, "SELECT count(*) FROM pragma_integrity_check WHERE integrity_check = 'ok'"), 1);
    EXPECT_EQ(QueryInt(data / "Profile 2" / "History", "SELECT count(*) FROM urls"), 1);

    // Backed up once for the whole run, before anything changed.
    ASSERT_EQ(sink.Count("backup", history), 1);
    const fs::path copy = tmp.Path() / "History.backup";
    WriteBytes(copy, sink.calls[0].bytes);
    EXPECT_EQ(QueryInt(copy, "SELECT count(*) FROM urls"), 3);
}

TEST_F(ChromeTest, RowDeletionsTakeOnlyTheirRow) {
    struct Case {
        Kind kind;
        fs::path file;
        int index;
        const char* remaining;  // SQL answering the number of rows left
        std::int64_t expected;
    };
    const fs::path def = data / "Default";
    const Case cases[] = {
        {Kind::Cookies, def / "Network" / "Cookies", 1, "SELECT count(*) FROM cookies WHERE name IN ('SID','NID')", 2},
        {Kind::Cookies, def / "Network" / "Cookies", 1, "SELECT count(*) FROM cookies", 2},
        {Kind::Searches, def / "History", 0, "SELECT count(*) FROM keyword_search_terms", 0},
        {Kind::Downloads, def / "History", 0, "SELECT count(*) FROM downloads_url_chains", 0},
        {Kind::Forms, def / "Web Data", 0, "SELECT count(*) FROM autofill WHERE name = 'q'", 1},
        {Kind::Passwords, def / "Login Data", 0, "SELECT count(*) FROM logins", 0},
        {Kind::Passwords, def / "Login Data", 0, "SELECT count(*) FROM insecure_credentials", 0},
    };
    for (const Case& c : cases) {
        fs::remove_all(data);
        sink.calls.clear();
        SetUp();
        auto list = List(c.kind);
        Load(*list);
        const int before = list->Count();
        // Outside a run each deletion is its own transaction, backed up first.
        ASSERT_TRUE(list->DeleteElement(c.index)) << list->LastError();
        EXPECT_EQ(list->Count(), before - 1);
        EXPECT_EQ(QueryInt(c.file, c.remaining), c.expected) << c.remaining;
        EXPECT_GE(sink.Count("backup", c.file), 1);
        EXPECT_FALSE(list->DeleteElement(list->Count()));  // out of range
    }
}

TEST_F(ChromeTest, SessionsAreDeletedAsAWholeThroughTheBackupService) {
    auto list = List(Kind::Sessions);
    Load(*list);
    EXPECT_EQ(list->Mode(), RemovalMode::WholeStore);
    EXPECT_FALSE(list->DeleteElement(0));
    ASSERT_TRUE(list->BeginRemove());
    ASSERT_TRUE(list->DeleteAll());
    ASSERT_TRUE(list->EndRemove());
    int deletes = 0;
    for (const auto& call : sink.calls) deletes += call.kind == "delete";
    EXPECT_EQ(deletes, 3);
    EXPECT_FALSE(fs::exists(data / "Profile 2" / "Current Session"));
    EXPECT_TRUE(fs::is_empty(data / "Default" / "Sessions"));
    EXPECT_TRUE(fs::exists(data / "Default" / "History"));
}

TEST_F(ChromeTest, LockedDataIsNeitherReadNorWritten) {
    const fs::path history = data / "Default" / "History";
    const std::string before = ReadBytes(history);
    EXPECT_FALSE(chrome->IsDataLocked());
    auto loaded = List(Kind::VisitedHistory);
    Load(*loaded);
    running = true;
    EXPECT_TRUE(chrome->IsDataLocked());
    EXPECT_FALSE(loaded->BeginRemove());
    EXPECT_FALSE(loaded->DeleteElement(0));
    EXPECT_EQ(Load(*loaded), (std::vector<int>{2, 1}));
    EXPECT_EQ(loaded->Count(), 0);
    running = false;

    sqlite3* holder = nullptr;
    sqlite3_open(Utf8Path(history).c_str(), &holder);
    ASSERT_EQ(sqlite3_exec(holder, "PRAGMA locking_mode = EXCLUSIVE; BEGIN EXCLUSIVE; SELECT count(*) FROM urls;",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    EXPECT_TRUE(chrome->IsDataLocked());
    auto list = List(Kind::VisitedHistory);
    EXPECT_EQ(Load(*list), (std::vector<int>{2, 0, 1}));  // Default locked, Profile 2 read
    EXPECT_EQ(Texts(*list, 2), std::vector<std::wstring>{L"https://mail.example.net/"});
    EXPECT_NE(list->LastError().find("locked"), std::string::npos);
    EXPECT_FALSE(list->BeginRemove());
    sqlite3_exec(holder, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close(holder);
    EXPECT_EQ(ReadBytes(history), before);
    EXPECT_EQ(sink.calls.size(), 0u);
}

TEST_F(ChromeTest, DamagedDatabaseFailsClearlyAndIsNotWritten) {
    const fs::path cookies = data / "Default" / "Network" / "Cookies";
    // Enough rows for several pages, so that a cut leaves a readable header.
    std::string rows = "BEGIN;";
    for (int i = 0; i < 400; ++i)
        rows += "INSERT INTO cookies VALUES(1,'.site" + std::to_string(i) +
                ".example','','n','',X'00','/',0,0,0,0,0,0,1,0,2,443,0,0,0);";
    RunSql(cookies, rows + "COMMIT;");
    const std::string whole = ReadBytes(cookies);
    struct Case {
        const char* name;
        std::string bytes;
    };
    const Case cases[] = {
        {"truncated", whole.substr(0, whole.size() / 2)},
        {"not a database", std::string(4096, 'x')},
        {"header only", whole.substr(0, 100)},
    };
    for (const Case& c : cases) {
        // Loaded while intact, damaged before the removal.
        WriteBytes(cookies, whole);
        auto list = List(Kind::Cookies);
        Load(*list);
        WriteBytes(cookies, c.bytes);
        EXPECT_FALSE(list->DeleteElement(0)) << c.name;
        EXPECT_FALSE(list->LastError().empty()) << c.name;
        EXPECT_EQ(ReadBytes(cookies), c.bytes) << c.name;

        auto fresh = List(Kind::Cookies);
        EXPECT_EQ(Load(*fresh).front(), 2) << c.name;  // Default's store: nothing taken
        EXPECT_EQ(Texts(*fresh, 1), std::vector<std::wstring>{L".profile2.example"}) << c.name;
        EXPECT_EQ(ReadBytes(cookies), c.bytes) << c.name;
    }
}

}  // namespace
}  // namespace kxb::test
