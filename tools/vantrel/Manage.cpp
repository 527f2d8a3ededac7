// The ignore list and the backup sessions.
#include <algorithm>
#include <cwctype>
#include <optional>

#include "Commands.h"
#include "Console.h"

namespace vantrel::cli {

namespace {

// --- ignore list ---

struct IgnoreLine {
    std::string location, mask;
    TLocationType type = ltUnknown;
};

std::vector<IgnoreLine> ReadIgnoreList(IIgnoreList* list) {
    std::vector<IgnoreLine> lines;
    Engine("cannot read the ignore list", "the ignore-list file may be damaged", [&] {
        std::int32_t count = 0;
        client::Check(list->GetCount(&count));
        for (std::int32_t i = 0; i < count; ++i) {
            IgnoreLine line;
            line.location = Utf8(client::GetString(list, &IIgnoreList::GetItemLocation, i));
            line.mask = Utf8(client::GetString(list, &IIgnoreList::GetItemMask, i));
            client::Check(list->GetLocationType(i, &line.type));
            lines.push_back(std::move(line));
        }
    });
    return lines;
}

Ptr<IIgnoreList> UserIgnoreList(Host& host) {
    Ptr<IIgnoreList> list;
    Engine("cannot reach the ignore list", "reinstall the package",
           [&] { client::Check(host.Cleaner()->GetIgnoreList(list.Put())); });
    return list;
}

void PrintIgnoreList(const std::vector<IgnoreLine>& lines, bool json) {
    if (json) {
        nlohmann::json list = nlohmann::json::array();
        for (std::size_t i = 0; i < lines.size(); ++i)
            list.push_back({{"index", i + 1},
                            {"location", lines[i].location},
                            {"mask", lines[i].mask},
                            {"location_type", lines[i].type == ltFile       ? "file"
                                              : lines[i].type == ltRegistry ? "registry"
                                                                            : "other"}});
        PrintJson({{"ignore_list", list}});
        return;
    }
    if (lines.empty()) {
        Print("The ignore list is empty.\n");
        return;
    }
    std::vector<std::vector<std::string>> rows;
    for (std::size_t i = 0; i < lines.size(); ++i)
        rows.push_back({std::to_string(i + 1), lines[i].location, lines[i].mask.empty() ? "-" : lines[i].mask});
    PrintTable({"#", "LOCATION", "MASK"}, rows, {0});
}

std::wstring Lower(std::wstring s) {
    for (wchar_t& c : s) c = static_cast<wchar_t>(std::towlower(c));
    return s;
}

// --- backup sessions ---

class Backvault {
public:
    Backvault() {
        try {
            library_.emplace(ProgramFolder() + L"VantrelBackvault.dll");
            client::Check(library_->Entry()(client::IidOf<IBackvault>(), service_.PutVoid()));
        } catch (const client::Error& e) {
            throw Failure("cannot start the backup service: " + FailureText(e),
                          "VantrelBackvault.dll must be beside vantrel.exe; reinstall the package");
        }
    }
    IBackvault* operator->() const { return service_.Get(); }
    IBackvault* Get() const { return service_.Get(); }

private:
    std::optional<client::Library> library_;
    Ptr<IBackvault> service_;
};

std::string OleDateText(double when) {
    if (when == 0) return "";
    SYSTEMTIME t{};
    if (!::VariantTimeToSystemTime(when, &t)) return "";
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute,
                       t.wSecond);
}

const char* StateName(TBackvaultSessionState state) {
    switch (state) {
        case bssOpen: return "open";
        case bssClosed: return "closed";
        case bssInterrupted: return "interrupted";
        case bssRestored: return "restored";
    }
    return "unknown";
}

const char* EntryKindName(TBackvaultEntryKind kind) {
    switch (kind) {
        case bekFile: return "file";
        case bekFolder: return "folder";
        case bekValue: return "value";
        case bekKey: return "key";
        case bekCreatedKey: return "created-key";
    }
    return "unknown";
}

nlohmann::json SessionJson(IBackvault* vault, const std::wstring& id) {
    nlohmann::json j;
    Engine("cannot read the backup session", "run 'vantrel sessions list' to see the sessions", [&] {
        double started = 0, ended = 0;
        TBackvaultSessionState state{};
        std::int32_t files = 0, registry = 0;
        std::int64_t bytes = 0;
        client::Check(vault->GetSessionStartTime(id.c_str(), &started));
        client::Check(vault->GetSessionEndTime(id.c_str(), &ended));
        client::Check(vault->GetSessionState(id.c_str(), &state));
        client::Check(vault->GetSessionFileCount(id.c_str(), &files));
        client::Check(vault->GetSessionRegistryCount(id.c_str(), &registry));
        client::Check(vault->GetSessionBytes(id.c_str(), &bytes));
        BSTR text = nullptr;
        client::Check(vault->GetSessionDescription(id.c_str(), &text));
        const std::string description = Utf8(client::TakeBstr(text));
        client::Check(vault->GetSessionFolder(id.c_str(), &text));
        const std::string folder = Utf8(client::TakeBstr(text));
        j = {{"id", Utf8(id)},       {"description", description}, {"started", OleDateText(started)},
             {"ended", OleDateText(ended)}, {"state", StateName(state)}, {"files", files},
             {"registry", registry}, {"bytes", bytes},             {"folder", folder}};
    });
    return j;
}

std::vector<std::wstring> SessionIds(IBackvault* vault) {
    std::vector<std::wstring> ids;
    Engine("cannot list the backup sessions", "check that the data folder is readable", [&] {
        std::int32_t count = 0;
        client::Check(vault->GetSessionCount(&count));
        for (std::int32_t i = 0; i < count; ++i) {
            BSTR id = nullptr;
            client::Check(vault->GetSessionId(i, &id));
            ids.push_back(client::TakeBstr(id));
        }
    });
    return ids;
}

// The session a user's word names: its identifier, or "last" for the newest.
std::wstring ChooseSession(IBackvault* vault, const std::string& word) {
    const auto ids = SessionIds(vault);
    if (word.empty() || word == "last") {
        if (ids.empty()) throw Failure("there are no backup sessions", "a clean with the backup service makes one");
        return ids.back();
    }
    const std::wstring id = Wide(word);
    if (std::find(ids.begin(), ids.end(), id) == ids.end())
        throw Failure(fmt::format("there is no backup session '{}'", word),
                      "run 'vantrel sessions list' to see the sessions", kExitUsage);
    return id;
}

}  // namespace

int IgnoreList(const CommonOptions& common) {
    Host host(common.host);
    PrintIgnoreList(ReadIgnoreList(UserIgnoreList(host).Get()), common.json);
    return kExitOk;
}

int IgnoreAdd(const CommonOptions& common, const std::string& location, const std::string& mask) {
    Host host(common.host);
    Ptr<IIgnoreList> list = UserIgnoreList(host);
    Engine("cannot add to the ignore list", "check the location (a path such as C:\\Data or a registry key)", [&] {
        std::int32_t index = -1;
        const std::wstring wideLocation = Wide(location), wideMask = Wide(mask);
        client::Check(list->Add(wideLocation.c_str(), wideMask.c_str(), &index));
        client::Check(host.Cleaner()->SaveIgnoreLists());
    });
    if (!common.json) Print("Added. The ignore list now reads:\n");
    PrintIgnoreList(ReadIgnoreList(list.Get()), common.json);
    return kExitOk;
}

int IgnoreRemove(const CommonOptions& common, const std::string& target) {
    Host host(common.host);
    Ptr<IIgnoreList> list = UserIgnoreList(host);
    const auto lines = ReadIgnoreList(list.Get());
    // The entry is found afresh in the loaded list: the list may have been
    // loaded sorted, so indexes shown earlier may have moved. A number is the
    // line number that 'ignore list' showed in this same order.
    std::int32_t index = -1;
    if (!target.empty() && std::all_of(target.begin(), target.end(), ::isdigit)) {
        const long n = std::stol(target);
        if (n >= 1 && n <= static_cast<long>(lines.size())) index = static_cast<std::int32_t>(n - 1);
    } else {
        const std::wstring wanted = Lower(Wide(target));
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const std::wstring location = Lower(Wide(lines[i].location));
            if (location == wanted || location + L"\\" == wanted) {
                index = static_cast<std::int32_t>(i);
                break;
            }
        }
    }
    if (index < 0)
        throw Failure(fmt::format("the ignore list has no entry '{}'", target),
                      "run 'vantrel ignore list' and give an entry's number or location", kExitUsage);
    Engine("cannot remove from the ignore list", "try again", [&] {
        client::Check(list->Delete(index));
        client::Check(host.Cleaner()->SaveIgnoreLists());
    });
    if (!common.json) Print("Removed. The ignore list now reads:\n");
    PrintIgnoreList(ReadIgnoreList(list.Get()), common.json);
    return kExitOk;
}

int SessionsList(const CommonOptions& common) {
    Backvault vault;
    nlohmann::json list = nlohmann::json::array();
    for (const std::wstring& id : SessionIds(vault.Get())) list.push_back(SessionJson(vault.Get(), id));
    if (common.json) {
        PrintJson({{"sessions", list}});
        return kExitOk;
    }
    if (list.empty()) {
        Print("There are no backup sessions.\n");
        return kExitOk;
    }
    std::vector<std::vector<std::string>> rows;
    for (const auto& s : list)
        rows.push_back({s["id"], s["started"], s["state"], std::to_string(s["files"].get<int>()),
                        std::to_string(s["registry"].get<int>()), HumanSize(s["bytes"].get<long long>()),
                        s["description"]});
    PrintTable({"SESSION", "STARTED", "STATE", "FILES", "REGISTRY", "SIZE", "DESCRIPTION"}, rows, {3, 4, 5});
    return kExitOk;
}

int SessionsShow(const CommonOptions& common, const std::string& word) {
    Backvault vault;
    const std::wstring id = ChooseSession(vault.Get(), word);
    nlohmann::json session = SessionJson(vault.Get(), id);
    nlohmann::json entries = nlohmann::json::array();
    Engine("cannot read the session's entries", "the journal may be damaged", [&] {
        std::int32_t count = 0;
        client::Check(vault->GetSessionEntryCount(id.c_str(), &count));
        for (std::int32_t i = 0; i < count; ++i) {
            TBackvaultEntryKind kind{};
            BSTR location = nullptr;
            client::Check(vault->GetSessionEntry(id.c_str(), i, &kind, &location));
            entries.push_back({{"kind", EntryKindName(kind)}, {"location", Utf8(client::TakeBstr(location))}});
        }
    });
    session["entries"] = entries;
    if (common.json) {
        PrintJson(session);
        return kExitOk;
    }
    Print("Session {} ({}), started {}, {} files, {} registry entries, {}\n", session["id"].get<std::string>(),
          session["state"].get<std::string>(), session["started"].get<std::string>(), session["files"].get<int>(),
          session["registry"].get<int>(), HumanSize(session["bytes"].get<long long>()));
    std::vector<std::vector<std::string>> rows;
    for (const auto& e : entries) rows.push_back({e["kind"], e["location"]});
    if (!rows.empty()) PrintTable({"KIND", "LOCATION"}, rows);
    return kExitOk;
}

int SessionsUndo(const CommonOptions& common, const std::string& word) {
    Backvault vault;
    const std::wstring id = ChooseSession(vault.Get(), word);
    std::int32_t restored = 0, failed = 0;
    std::string report;
    Engine("cannot undo the session", "if another vantrel is still cleaning, wait for it to finish", [&] {
        client::Check(vault->RestoreSession(id.c_str(), &restored, &failed));
        BSTR text = nullptr;
        client::Check(vault->GetRestoreReport(&text));
        report = Utf8(client::TakeBstr(text));
    });
    if (common.json) {
        PrintJson({{"session", Utf8(id)}, {"restored", restored}, {"failed", failed}, {"report", report}});
    } else {
        Print("Session {} undone: {} entries restored, {} failed.\n", Utf8(id), restored, failed);
        if (!report.empty()) Print("{}{}", report, report.back() == '\n' ? "" : "\n");
    }
    if (failed > 0)
        throw Failure(fmt::format("{} entries could not be restored", failed),
                      "close the programs that hold those files or keys and run the undo again (it is safe to repeat)");
    return kExitOk;
}

int SessionsDelete(const CommonOptions& common, const std::string& word) {
    Backvault vault;
    const std::wstring id = ChooseSession(vault.Get(), word);
    Engine("cannot delete the session", "a session still being written cannot be deleted; try again later",
           [&] { client::Check(vault->DeleteSession(id.c_str())); });
    if (common.json)
        PrintJson({{"deleted", Utf8(id)}});
    else
        Print("Session {} deleted; it can no longer be undone.\n", Utf8(id));
    return kExitOk;
}

}  // namespace vantrel::cli
