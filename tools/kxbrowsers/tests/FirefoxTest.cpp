// Firefox's stores: profiles from "profiles.ini", what each data kind lists,
// deletion in places, form history and logins, whole-store sessions.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Layouts.h"
#include "TestSupport.h"

namespace kxb::test {
namespace {

#include "SessionFixture.inc"

// 2023-11-14 22:13:20 UTC as Firefox keeps it (microseconds since 1970).
constexpr const char* kWhen = "1700000000000000";

const char* kLogins = R"({"nextId":3,"logins":[
{"id":1,"hostname":"https://accounts.example.com","httpRealm":null,"formSubmitURL":"https://accounts.example.com/session","usernameField":"login","passwordField":"pass","encryptedUsername":"MDIEEPgAAAAAAAAAAAAAAAAAAAEwFAYIKoZIhvcNAwcECBhS0mO6vX5NBAhIbVqmQ0E5yw==","encryptedPassword":"MDoEEPgAAAAAAAAAAAAAAAAAAAEwFAYIKoZIhvcNAwcECGJvH8qVbBkpBBCiAXl1F9UoYw7NcvLQ4r7M","guid":"{5ec0d2c5-4f0a-4b1e-9a4b-2a7b6b3c9d10}","encType":1,"timeCreated":1700000000000,"timeLastUsed":1700000000000,"timePasswordChanged":1700000000000,"timesUsed":1,"syncCounter":0,"everSynced":false,"encryptedUnknownFields":null},
{"id":2,"hostname":"https://forum.example.org","httpRealm":null,"formSubmitURL":"","usernameField":"user","passwordField":"pwd","encryptedUsername":"MDIEEPgAAAAAAAAAAAAAAAAAAAEwFAYIKoZIhvcNAwcECKn0vJ6bG3kUBAhyZ2Vq6m2k5w==","encryptedPassword":"MDIEEPgAAAAAAAAAAAAAAAAAAAEwFAYIKoZIhvcNAwcECLWbqJqZrM0DBAh0e3Nf8lY2pA==","guid":"{0b7f7a52-1d6c-4e8f-a2b3-c4d5e6f7a8b9}","encType":1,"timeCreated":1700000100000,"timeLastUsed":1700000100000,"timePasswordChanged":1700000100000,"timesUsed":2,"syncCounter":0,"everSynced":false,"encryptedUnknownFields":null}],
"potentiallyVulnerablePasswords":[],"dismissedBreachAlertsByLoginGUID":{},"version":3})";

class FirefoxTest : public ::testing::Test {
protected:
    void SetUp() override {
        data = tmp.Path() / "Mozilla" / "Firefox";
        main = data / "Profiles" / "abcd1234.default-release";
        other = tmp.Path() / "elsewhere" / PathFromUtf8("\xD0\x9B\xD0\xB8\xD1\x87\xD0\xBD\xD1\x8B\xD0\xB9");
        fs::create_directories(data / "Profiles" / "wxyz9876.default");  // listed, empty
        fs::create_directories(other);
        WriteBytes(data / "profiles.ini",
                   "[Install308046B0AF4A39CB]\r\nDefault=Profiles/abcd1234.default-release\r\nLocked=1\r\n\r\n"
                   "[Profile1]\r\nName=default\r\nIsRelative=1\r\nPath=Profiles/wxyz9876.default\r\nDefault=1\r\n\r\n"
                   "[Profile0]\r\nName=default-release\r\nIsRelative=1\r\nPath=Profiles/abcd1234.default-release\r\n\r\n"
                   "[Profile2]\r\nName=\xD0\x9B\xD0\xB8\xD1\x87\xD0\xBD\xD1\x8B\xD0\xB9\r\nIsRelative=0\r\nPath=" +
                       Utf8Path(other) + "\r\n\r\n[General]\r\nStartWithLastProfile=1\r\nVersion=2\r\n");
        WriteBytes(main / "compatibility.ini",
                   "[Compatibility]\r\nLastVersion=120.0_20231129155341/20231129155341\r\nLastOSABI=WINNT_x86_64-msvc\r\n");
        RunSql(main / "places.sqlite", std::string(kFirefoxPlaces) + R"(
INSERT INTO moz_places(id,url,title,rev_host,visit_count,typed,last_visit_date,guid) VALUES(1,'https://www.mozilla.org/en-US/','Mozilla','gro.allizom.www.',2,1,)" + kWhen + R"(,'AAAAAAAAAAAA');
INSERT INTO moz_places(id,url,title,rev_host,visit_count,typed,last_visit_date,guid) VALUES(2,'https://news.example.com/','Новости','moc.elpmaxe.swen.',1,0,)" + kWhen + R"(,'BBBBBBBBBBBB');
INSERT INTO moz_places(id,url,title,rev_host,visit_count,typed,last_visit_date,guid) VALUES(3,'https://bookmarked.example.org/','Never visited','gro.elpmaxe.dekramkoob.',0,0,NULL,'CCCCCCCCCCCC');
INSERT INTO moz_places(id,url,title,rev_host,visit_count,typed,last_visit_date,guid) VALUES(4,'https://dl.example.com/tool.zip','','moc.elpmaxe.ld.',0,0,)" + kWhen + R"(,'DDDDDDDDDDDD');
INSERT INTO moz_historyvisits(id,from_visit,place_id,visit_date,visit_type,session) VALUES(1,0,1,)" + kWhen + R"(,2,0);
INSERT INTO moz_historyvisits(id,from_visit,place_id,visit_date,visit_type,session) VALUES(2,1,1,)" + kWhen + R"(,1,0);
INSERT INTO moz_historyvisits(id,from_visit,place_id,visit_date,visit_type,session) VALUES(3,0,2,)" + kWhen + R"(,1,0);
INSERT INTO moz_historyvisits(id,from_visit,place_id,visit_date,visit_type,session) VALUES(4,0,4,)" + kWhen + R"(,7,0);
INSERT INTO moz_inputhistory VALUES(1,'moz',1);
INSERT INTO moz_bookmarks(id,type,fk,parent,position,title,guid) VALUES(1,2,NULL,0,0,'','root________');
INSERT INTO moz_bookmarks(id,type,fk,parent,position,title,guid) VALUES(2,1,1,1,0,'Mozilla','EEEEEEEEEEEE');
INSERT INTO moz_bookmarks(id,type,fk,parent,position,title,guid) VALUES(3,1,3,1,1,'Bookmarked','FFFFFFFFFFFF');
INSERT INTO moz_anno_attributes VALUES(1,'downloads/destinationFileURI');
INSERT INTO moz_anno_attributes VALUES(2,'downloads/metaData');
INSERT INTO moz_annos(id,place_id,anno_attribute_id,content,flags,expiration,type,dateAdded,lastModified) VALUES(1,4,1,'file:///C:/Users/%D0%98%D0%B2%D0%B0%D0%BD/Downloads/tool.zip',0,4,3,)" + kWhen + "," + kWhen + R"();
INSERT INTO moz_annos(id,place_id,anno_attribute_id,content,flags,expiration,type,dateAdded,lastModified) VALUES(2,4,2,'{"state":1,"deleted":false,"endTime":1700000000000,"fileSize":52480}',0,4,3,)" + kWhen + "," + kWhen + R"();
)");
        RunSql(main / "cookies.sqlite", std::string(kFirefoxCookies) + R"(
INSERT INTO moz_cookies(id,originAttributes,name,value,host,path,expiry,lastAccessed,creationTime,isSecure,isHttpOnly) VALUES(1,'','_ga','GA1.2.1','.example.com','/',1731536000,)" + kWhen + "," + kWhen + R"(,0,0);
INSERT INTO moz_cookies(id,originAttributes,name,value,host,path,expiry,lastAccessed,creationTime,isSecure,isHttpOnly) VALUES(2,'','session','x','www.example.com','/account',1731536000000,)" + kWhen + "," + kWhen + R"(,1,1);
)");
        RunSql(other / "formhistory.sqlite", std::string(kFirefoxFormHistory) + R"(
INSERT INTO moz_formhistory VALUES(1,'searchbar-history','погода в москве',3,)" + kWhen + "," + kWhen + R"(,'g1');
INSERT INTO moz_formhistory VALUES(2,'email','ivan@example.com',1,)" + kWhen + "," + kWhen + R"(,'g2');
INSERT INTO moz_sources VALUES(1,'https://shop.example.com/');
INSERT INTO moz_history_to_sources VALUES(2,1);
)");
        WriteBytes(main / "logins.json", kLogins);
        WriteBytes(main / "sessionstore-backups" / "recovery.jsonlz4",
                   std::string(reinterpret_cast<const char*>(kSessionFixture), sizeof kSessionFixture));
        WriteBytes(main / "sessionstore-backups" / "recovery.baklz4", std::string("mozLz40\0\xff\x00\x00\x00\x10", 13));
        firefox = MakeFirefox({data, L"C:\\Program Files\\Mozilla Firefox\\firefox.exe", nullptr});
    }

    std::unique_ptr<ElementList> List(Kind kind) {
        return firefox->MakeList(kind, [this]() -> BackupSink& { return sink; });
    }

    TempDir tmp;
    fs::path data, main, other;
    RecordingSink sink;
    std::unique_ptr<Browser> firefox;
};

TEST_F(FirefoxTest, ListsEveryDataKindOfEveryProfile) {
    struct Case {
        Kind kind;
        int slot;
        std::vector<std::wstring> texts;
    };
    const std::wstring backup = PathText(main / "sessionstore-backups" / "recovery.baklz4");
    const Case cases[] = {
        {Kind::VisitedHistory, 2, {L"https://www.mozilla.org/en-US/", L"https://news.example.com/", L"https://dl.example.com/tool.zip"}},
        {Kind::VisitedHistory, 1, {L"Mozilla", L"Новости", L""}},
        {Kind::VisitedHistory, 0, {L"2023-11-14 22:13:20", L"2023-11-14 22:13:20", L"2023-11-14 22:13:20"}},
        {Kind::TypedHistory, 1, {L"https://www.mozilla.org/en-US/"}},
        {Kind::TypedHistory, 3, {L"1"}},
        {Kind::Downloads, 0, {L"C:\\Users\\Иван\\Downloads\\tool.zip"}},
        {Kind::Downloads, 1, {L"https://dl.example.com/tool.zip"}},
        {Kind::Cookies, 1, {L".example.com", L"www.example.com"}},
        {Kind::Cookies, 0, {L"2024-11-13 22:13:20", L"2024-11-13 22:13:20"}},
        {Kind::Forms, 1, {L"email"}},
        {Kind::Searches, 1, {L"погода в москве"}},
        {Kind::Passwords, 1, {L"https://accounts.example.com", L"https://forum.example.org"}},
        {Kind::Passwords, 0, {L"2023-11-14 22:13:20", L"2023-11-14 22:15:00"}},
        {Kind::Sessions, 1,
         {backup, L"https://www.mozilla.org/en-US/firefox/", L"https://ru.wikipedia.org/wiki/%D0%A1%D0%BB%D0%BE%D0%BD",
          L"https://developer.mozilla.org/en-US/docs/Web/HTTP/Cookies"}},
    };
    for (const Case& c : cases) {
        auto list = List(c.kind);
        ASSERT_TRUE(list);
        EXPECT_EQ(Load(*list).back(), 1);
        EXPECT_EQ(Texts(*list, c.slot), c.texts) << "kind " << static_cast<int>(c.kind) << " slot " << c.slot;
    }
    EXPECT_TRUE(firefox->IsInstalled());
    EXPECT_EQ(firefox->Version(), L"120.0");
    EXPECT_EQ(List(Kind::Sessions)->Mode(), RemovalMode::WholeStore);

    // Logins: the user-name field's name only; the encrypted values never leave.
    auto logins = List(Kind::Passwords);
    Load(*logins);
    ASSERT_EQ(logins->At(0)->values.size(), 1u);
    EXPECT_EQ(logins->At(0)->values[0].name, L"login");
    EXPECT_EQ(logins->At(0)->values[0].value, L"");
}

TEST_F(FirefoxTest, HistoryDeletionTakesVisitsAndKeepsBookmarkedPlaces) {
    const fs::path places = main / "places.sqlite";
    auto list = List(Kind::VisitedHistory);
    Load(*list);
    ASSERT_TRUE(list->BeginRemove());
    ASSERT_TRUE(list->DeleteElement(2));  // the download's page
    ASSERT_TRUE(list->DeleteElement(0));  // bookmarked and typed
    ASSERT_TRUE(list->EndRemove());
    EXPECT_EQ(QueryInt(places, "SELECT count(*) FROM moz_historyvisits WHERE place_id IN (1, 4)"), 0);
    EXPECT_EQ(QueryInt(places, "SELECT count(*) FROM moz_historyvisits WHERE place_id = 2"), 1);
    EXPECT_EQ(QueryInt(places, "SELECT count(*) FROM moz_places WHERE id = 1 AND visit_count = 0 AND "
                               "last_visit_date IS NULL AND typed = 0"), 1);
    EXPECT_EQ(QueryInt(places, "SELECT count(*) FROM moz_places WHERE id = 4"), 0);
    EXPECT_EQ(QueryInt(places, "SELECT count(*) FROM moz_annos"), 0);
    EXPECT_EQ(QueryInt(places, "SELECT count(*) FROM moz_inputhistory"), 0);
    EXPECT_EQ(QueryInt(places, "SELECT count(*) FROM moz_bookmarks"), 3);
    EXPECT_EQ(QueryInt(places, "SELECT count(*) FROM pragma_integrity_check WHERE integrity_check = 'ok'"), 1);
    EXPECT_EQ(sink.Count("backup", places), 1);
}

TEST_F(FirefoxTest, RowDeletionsTakeOnlyTheirRow) {
    const fs::path places = main / "places.sqlite";
    const fs::path forms = other / "formhistory.sqlite";
    struct Case {
        Kind kind;
        fs::path file;
        const char* left;
        std::int64_t expected;
    };
    const Case cases[] = {
        {Kind::Cookies, main / "cookies.sqlite", "SELECT group_concat(name) = 'session' FROM moz_cookies", 1},
        {Kind::TypedHistory, places, "SELECT count(*) FROM moz_places WHERE typed = 1", 0},
        {Kind::TypedHistory, places, "SELECT count(*) FROM moz_historyvisits", 4},
        {Kind::Downloads, places, "SELECT count(*) FROM moz_annos", 0},
        {Kind::Downloads, places, "SELECT count(*) FROM moz_places WHERE id = 4", 1},
        {Kind::Searches, forms, "SELECT group_concat(fieldname) = 'email' FROM moz_formhistory", 1},
        {Kind::Forms, forms, "SELECT count(*) FROM moz_history_to_sources", 0},
    };
    for (const Case& c : cases) {
        fs::remove_all(tmp.Path());
        fs::create_directories(tmp.Path());
        SetUp();
        auto list = List(c.kind);
        Load(*list);
        ASSERT_TRUE(list->DeleteElement(0)) << list->LastError();
        EXPECT_EQ(QueryInt(c.file, c.left), c.expected) << c.left;
    }
}

TEST_F(FirefoxTest, LoginDeletionRewritesTheFileWithoutIt) {
    auto list = List(Kind::Passwords);
    Load(*list);
    ASSERT_TRUE(list->BeginRemove());
    ASSERT_TRUE(list->DeleteElement(0));
    EXPECT_EQ(list->At(0)->texts[1], L"https://forum.example.org");
    ASSERT_TRUE(list->EndRemove());
    const auto doc = nlohmann::json::parse(ReadBytes(main / "logins.json"));
    ASSERT_EQ(doc["logins"].size(), 1u);
    EXPECT_EQ(doc["logins"][0]["id"], 2);
    EXPECT_EQ(doc["logins"][0]["encryptedPassword"], nlohmann::json::parse(kLogins)["logins"][1]["encryptedPassword"]);
    EXPECT_EQ(doc["nextId"], 3);
    EXPECT_EQ(doc["version"], 3);
    ASSERT_EQ(sink.Count("backup", main / "logins.json"), 1);
    EXPECT_EQ(sink.calls[0].bytes, kLogins);
    EXPECT_FALSE(fs::exists(main / "logins.json.kxb-tmp"));
}

TEST_F(FirefoxTest, SessionFilesGoAsAWholeAndRefusalsKeepThem) {
    auto list = List(Kind::Sessions);
    Load(*list);
    sink.refuse = true;
    EXPECT_FALSE(list->DeleteAll());
    EXPECT_TRUE(fs::exists(main / "sessionstore-backups" / "recovery.jsonlz4"));
    sink.refuse = false;
    ASSERT_TRUE(list->DeleteAll());
    EXPECT_TRUE(fs::is_empty(main / "sessionstore-backups"));
    EXPECT_TRUE(fs::exists(main / "places.sqlite"));
}

}  // namespace
}  // namespace kxb::test
