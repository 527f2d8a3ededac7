// The command-line interface of vantrel.exe: usage errors, exit codes, help,
// JSON that parses, messages that say what to do, and text that survives a
// pipe as UTF-8. Works whatever categories the engine has (also none).
#include <set>

#include "CliSupport.h"
#include "vantrel/Client.hpp"

namespace clitest {
namespace {

constexpr int kOk = 0, kFailure = 1, kUsage = 2;

TEST(Cli, UsageErrorsAndFailuresExitWithTheirCodeAndSayWhatToDo) {
    const struct {
        std::vector<std::wstring> args;
        int code;
        const char* says;
    } cases[] = {
        {{}, kUsage, "A subcommand is required"},
        {{L"frobnicate"}, kUsage, "unknown command 'frobnicate'"},
        {{L"scan", L"--bogus"}, kUsage, "--bogus"},
        {{L"items"}, kUsage, "category is required"},
        {{L"clean", L"--passes", L"3"}, kUsage, "--wipe"},
        {{L"clean", L"--wipe", L"--passes", L"99"}, kUsage, "99"},
        {{L"ignore"}, kUsage, "subcommand"},
        {{L"sessions"}, kUsage, "subcommand"},
        {{L"load", L"Z:\\no\\such\\results.vts"}, kUsage, "results.vts"},
        {{L"scan", L"NO_SUCH_CATEGORY"}, kUsage, "vantrel categories"},
        {{L"ignore", L"remove", L"C:\\not\\on\\the\\list"}, kUsage, "vantrel ignore list"},
        {{L"--lang", L"C:\\missing\\Klingon.lng", L"categories"}, kFailure, "language file"},
    };
    for (const auto& c : cases) {
        const Outcome o = Vantrel(c.args);
        const std::string line = o.out + o.err;
        EXPECT_EQ(o.code, c.code) << line;
        EXPECT_NE(line.find(c.says), std::string::npos) << line;
        if (c.code == kFailure || c.args.size() > 1) {
            EXPECT_TRUE(line.find("what to do") != std::string::npos || line.find("--help") != std::string::npos)
                << line;
        }
    }
}

TEST(Cli, EveryCommandHasHelp) {
    const std::vector<std::vector<std::wstring>> commands = {
        {L"categories"}, {L"scan"}, {L"items"}, {L"clean"}, {L"report"}, {L"save"}, {L"load"},
        {L"ignore"}, {L"ignore", L"list"}, {L"ignore", L"add"}, {L"ignore", L"remove"},
        {L"sessions"}, {L"sessions", L"list"}, {L"sessions", L"show"}, {L"sessions", L"undo"},
        {L"sessions", L"delete"}, {}};
    for (auto args : commands) {
        args.push_back(L"--help");
        const Outcome o = Vantrel(args);
        EXPECT_EQ(o.code, kOk) << o.err;
        EXPECT_NE(o.out.find("Usage"), std::string::npos) << o.out;
    }
}

TEST(Cli, CategoriesListsEveryIdentifierOnceInJson) {
    const nlohmann::json installed = Json(Vantrel({L"categories", L"--json"}));
    const nlohmann::json all = Json(Vantrel({L"categories", L"--all", L"--json"}));
    ASSERT_TRUE(installed["categories"].is_array());
    for (const auto& c : installed["categories"]) {
        for (const char* key : {"identifier", "name", "severity", "checked", "installed"})
            EXPECT_TRUE(c.contains(key)) << c.dump();
        EXPECT_TRUE(c["installed"].get<bool>());
        EXPECT_TRUE(std::set<std::string>({"low", "medium", "high"}).count(c["severity"].get<std::string>()));
    }
    // With --all the 59 identifiers of the fixed catalogue are all there, once
    // each, those the engine has as installed.
    std::set<std::string> identifiers;
    int installedCount = 0;
    for (const auto& c : all["categories"]) {
        const std::string id = c["identifier"];
        if (id.rfind("ID_APPLICATION", 0) == 0) continue;
        EXPECT_TRUE(identifiers.insert(id).second) << id;
        installedCount += c["installed"].get<bool>() ? 1 : 0;
    }
    EXPECT_EQ(identifiers.size(), 59u);
    EXPECT_TRUE(identifiers.count("ID_CHKDKS_FILES") && identifiers.count("ID_CHROME_DONWLOADS"));
    int installedApps = 0;
    for (const auto& c : installed["categories"]) installedApps += c["id"] == 59 ? 1 : 0;
    EXPECT_EQ(installedCount + installedApps, static_cast<int>(installed["categories"].size()));
}

TEST(Cli, ScanJsonReportAndSavedResultsAgree) {
    const nlohmann::json scan = Json(Vantrel({L"scan", L"--json"}));
    ASSERT_TRUE(scan["totals"].is_object());
    int found = 0;
    for (const auto& c : scan["categories"]) found += c["found"].get<int>();
    EXPECT_EQ(scan["totals"]["found"], found);
    EXPECT_TRUE(Exists(Wide(scan["results_file"].get<std::string>())));

    const nlohmann::json report = Json(Vantrel({L"report", L"--json"}));
    EXPECT_EQ(report["run"], "scan");
    EXPECT_EQ(report["found"], found);

    // Saved, then loaded back: the same totals.
    const std::wstring file = ProgramFolder() + L"saved scan Ωmega.vts";
    EXPECT_EQ(Vantrel({L"save", file}).code, kOk);
    const nlohmann::json loaded = Json(Vantrel({L"load", file, L"--json"}));
    EXPECT_EQ(loaded["totals"]["found"], found);
    ::DeleteFileW(file.c_str());
}

TEST(Cli, ResultsThatAreMissingOrDamagedFailWithTheEngineMessage) {
    const std::wstring damaged = ProgramFolder() + L"damaged.vts";
    WriteBytes(damaged, std::string("VT_SCAN\x01\x00\x00\x00\x05\x00\x00\x00", 15));
    const Outcome fromDamaged = Vantrel({L"clean", L"--yes", L"--from", damaged});
    EXPECT_EQ(fromDamaged.code, kFailure);
    EXPECT_NE(fromDamaged.err.find("cannot load scan results"), std::string::npos) << fromDamaged.err;
    EXPECT_NE(fromDamaged.err.find("(0x8"), std::string::npos) << "the engine's HRESULT: " << fromDamaged.err;
    EXPECT_EQ(Vantrel({L"load", damaged}).code, kFailure);
    ::DeleteFileW(damaged.c_str());

    ::DeleteFileW((HostStateFolder() + L"LastScan.vts").c_str());
    for (const auto& args : std::vector<std::vector<std::wstring>>{
             {L"clean", L"--yes"}, {L"items", L"1"}, {L"save", ProgramFolder() + L"x.vts"}}) {
        const Outcome o = Vantrel(args);
        EXPECT_EQ(o.code, kFailure) << o.err;
        EXPECT_NE(o.err.find("run 'vantrel scan' first"), std::string::npos) << o.err;
    }
}

TEST(Cli, IgnoreListKeepsNonLatinLocationsThroughSaveAndLoad) {
    // Start from an empty list, whatever earlier runs left.
    for (;;) {
        const nlohmann::json list = Json(Vantrel({L"ignore", L"list", L"--json"}));
        if (list["ignore_list"].empty()) break;
        ASSERT_EQ(Vantrel({L"ignore", L"remove", L"1"}).code, kOk);
    }
    const std::wstring folder = L"C:\\Users\\\u0141ukasz\\\u0414\u043e\u043a\u0443\u043c\u0435\u043d\u0442\u044b\\";
    const std::wstring key = L"HKEY_CURRENT_USER\\Software\\\u0396\u03c9\u03ae";
    ASSERT_EQ(Vantrel({L"ignore", L"add", folder, L"--mask", L"*.log"}).code, kOk);
    ASSERT_EQ(Vantrel({L"ignore", L"add", key}).code, kOk);
    ASSERT_EQ(Vantrel({L"ignore", L"add", L"C:\\Temp\\"}).code, kOk);

    // Each run loads the list afresh (sorted or not, as the engine keeps it).
    const nlohmann::json list = Json(Vantrel({L"ignore", L"list", L"--json"}));
    ASSERT_EQ(list["ignore_list"].size(), 3u);
    std::set<std::pair<std::string, std::string>> entries;
    for (const auto& e : list["ignore_list"])
        entries.insert({e["location"].get<std::string>(), e["mask"].get<std::string>()});
    const std::set<std::pair<std::string, std::string>> expected = {
        {Utf8(folder.substr(0, folder.size() - 1)), "*.log"}, {Utf8(key), ""}, {"C:\\Temp", ""}};
    EXPECT_EQ(entries, expected);
    // The text form reaches a pipe as UTF-8.
    EXPECT_NE(Vantrel({L"ignore", L"list"}).out.find(Utf8(key)), std::string::npos);

    // Removed by location (any case, trailing backslash or not) and by number.
    EXPECT_EQ(Vantrel({L"ignore", L"remove", L"c:\\temp\\"}).code, kOk);
    EXPECT_EQ(Vantrel({L"ignore", L"remove", Wide(Utf8(key))}).code, kOk);
    const nlohmann::json left = Json(Vantrel({L"ignore", L"list", L"--json"}));
    ASSERT_EQ(left["ignore_list"].size(), 1u);
    EXPECT_EQ(left["ignore_list"][0]["mask"], "*.log");
    EXPECT_EQ(Vantrel({L"ignore", L"remove", L"1"}).code, kOk);
    EXPECT_TRUE(Json(Vantrel({L"ignore", L"list", L"--json"}))["ignore_list"].empty());
}

TEST(Cli, SessionsNeedAnExistingSession) {
    if (!Exists(ProgramFolder() + L"VantrelBackvault.dll")) GTEST_SKIP() << "the backup service is not built";
    const nlohmann::json sessions = Json(Vantrel({L"sessions", L"list", L"--json"}));
    EXPECT_TRUE(sessions["sessions"].is_array());
    for (const std::wstring command : {L"undo", L"delete", L"show"}) {
        const Outcome o = Vantrel({L"sessions", command, L"20000101-000000-dead"});
        EXPECT_EQ(o.code, kUsage) << o.err;
        EXPECT_NE(o.err.find("vantrel sessions list"), std::string::npos) << o.err;
    }
}

}  // namespace
}  // namespace clitest

namespace clitest {
namespace {

// A session recorded by the backup service itself (as a clean would), then
// listed, shown, undone and deleted through vantrel.
TEST(Cli, SessionsListShowUndoAndDeleteARecordedSession) {
    const std::wstring dll = ProgramFolder() + L"VantrelBackvault.dll";
    if (!Exists(dll)) GTEST_SKIP() << "the backup service is not built";
    const std::wstring file = ProgramFolder() + L"sessions\\\u0416\u0443\u0440\u043d\u0430\u043b.log";
    const std::string content = "11/19/2026 10:05:37:411 NetpDoDomainJoin: status: 0x0\r\n";
    WriteBytes(file, content);

    std::wstring id;
    {
        vantrel::client::Library library(dll);
        vantrel::client::Ptr<IBackvault> vault;
        ASSERT_EQ(library.Entry()(vantrel::client::IidOf<IBackvault>(), vault.PutVoid()), S_OK);
        BSTR sessionId = nullptr;
        ASSERT_EQ(vault->BeginSession(L"vantrel test session", &sessionId), S_OK);
        id = vantrel::client::TakeBstr(sessionId);
        vantrel::client::Ptr<IBackvaultFiles> files;
        ASSERT_EQ(vault->GetFiles(files.Put()), S_OK);
        ASSERT_EQ(files->DeleteFile(file.c_str()), S_OK);
        ASSERT_EQ(vault->EndSession(), S_OK);
    }
    ASSERT_FALSE(Exists(file));

    nlohmann::json listed;
    const nlohmann::json sessions = Json(Vantrel({L"sessions", L"list", L"--json"}));
    for (const auto& s : sessions["sessions"])
        if (s["id"] == Utf8(id)) listed = s;
    ASSERT_TRUE(listed.is_object()) << "session not listed";
    EXPECT_EQ(listed["description"], "vantrel test session");
    EXPECT_EQ(listed["state"], "closed");
    EXPECT_EQ(listed["files"], 1);
    EXPECT_EQ(listed["bytes"], content.size());

    const nlohmann::json shown = Json(Vantrel({L"sessions", L"show", id, L"--json"}));
    ASSERT_EQ(shown["entries"].size(), 1u);
    EXPECT_EQ(shown["entries"][0]["kind"], "file");
    EXPECT_EQ(shown["entries"][0]["location"], Utf8(file));

    const nlohmann::json undone = Json(Vantrel({L"sessions", L"undo", id, L"--json"}));
    EXPECT_EQ(undone["restored"], 1);
    EXPECT_EQ(undone["failed"], 0);
    EXPECT_EQ(ReadBytes(file), content);
    // Undoing again does no harm.
    EXPECT_EQ(Vantrel({L"sessions", L"undo", id}).code, kOk);
    EXPECT_EQ(ReadBytes(file), content);

    EXPECT_EQ(Vantrel({L"sessions", L"delete", id}).code, kOk);
    const nlohmann::json after = Json(Vantrel({L"sessions", L"list", L"--json"}));
    for (const auto& s : after["sessions"]) EXPECT_NE(s["id"], Utf8(id));
    EXPECT_EQ(Vantrel({L"sessions", L"undo", id}).code, kUsage);
    ::DeleteFileW(file.c_str());
}

}  // namespace
}  // namespace clitest
