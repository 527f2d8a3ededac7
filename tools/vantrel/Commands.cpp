#include "Commands.h"

#include <tlhelp32.h>

#include <algorithm>
#include <cwctype>
#include <set>

#include "Console.h"

namespace vantrel::cli {

namespace {

const char* LocationTypeName(TLocationType type) {
    switch (type) {
        case ltFile: return "file";
        case ltRegistry: return "registry";
        default: return "other";
    }
}

nlohmann::json CategoryJson(const CategoryView& c) {
    return {{"id", c.id},         {"type", c.type},
            {"identifier", c.identifier}, {"name", c.name},
            {"description", c.description}, {"severity", SeverityName(c.severity)},
            {"checked", c.checked}, {"installed", true}};
}

// Prints the per-category table of a scan (found, size) or of a clean
// (found, removed, size), only categories that found something.
void PrintResultTable(const std::vector<CategoryResult>& rows, bool clean) {
    std::vector<std::vector<std::string>> cells;
    long long size = 0;
    int found = 0, removed = 0;
    for (const CategoryResult& r : rows) {
        if (r.found == 0) continue;
        found += r.found;
        removed += r.removed;
        size += r.size;
        std::vector<std::string> line{r.view->identifier, r.view->name, std::to_string(r.found)};
        if (clean) line.push_back(std::to_string(r.removed));
        line.push_back(r.size > 0 ? HumanSize(r.size) : "-");
        cells.push_back(std::move(line));
    }
    std::vector<std::string> total{"total", "", std::to_string(found)};
    if (clean) total.push_back(std::to_string(removed));
    total.push_back(size > 0 ? HumanSize(size) : "-");
    cells.push_back(std::move(total));
    if (clean)
        PrintTable({"CATEGORY", "NAME", "FOUND", "REMOVED", "SIZE"}, cells, {2, 3, 4});
    else
        PrintTable({"CATEGORY", "NAME", "FOUND", "SIZE"}, cells, {2, 3});
}

nlohmann::json ResultsJson(const std::vector<CategoryResult>& rows, const Totals& totals) {
    nlohmann::json list = nlohmann::json::array();
    long long size = 0;
    for (const CategoryResult& r : rows) {
        size += r.size;
        list.push_back({{"identifier", r.view->identifier},
                        {"name", r.view->name},
                        {"checked", r.view->checked},
                        {"found", r.found},
                        {"size", r.size},
                        {"removed", r.removed}});
    }
    return {{"categories", list},
            {"totals",
             {{"scanned", totals.scanned},
              {"found", totals.detected},
              {"removed", totals.removed},
              {"failed", totals.failed},
              {"size", size}}}};
}

std::wstring FromUtf8Path(const std::string& path) { return Wide(path); }

// Loads the scan results of from (or of the last scan) into the host's engine.
std::wstring LoadScan(Host& host, const std::string& from) {
    const std::wstring file = from.empty() ? LastScanFile() : FromUtf8Path(from);
    if (from.empty() && ::GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES)
        throw Failure("there are no scan results to work on", "run 'vantrel scan' first");
    host.LoadResults(file);
    return file;
}

// Program names of the engine's task list that the checked categories need,
// and which of them run now.
struct TaskWarning {
    std::vector<std::string> needed, running;
};

TaskWarning ReadTaskList(Host& host) {
    TaskWarning w;
    Engine("cannot read the engine's task list", "try again", [&] {
        Ptr<IVTStringList> list;
        client::Check(host.Cleaner()->GetTaskList(list.Put()));
        std::int32_t count = 0;
        client::Check(list->GetCount(&count));
        for (std::int32_t i = 0; i < count; ++i) {
            std::int32_t users = 0;
            client::Check(list->GetValue(i, &users));
            if (users > 0) w.needed.push_back(Utf8(client::GetString(list.Get(), &IVTStringList::GetString, i)));
        }
    });
    if (w.needed.empty()) return w;
    std::set<std::wstring> running;
    HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot != INVALID_HANDLE_VALUE) {
        PROCESSENTRY32W entry{};
        entry.dwSize = sizeof entry;
        for (BOOL ok = ::Process32FirstW(snapshot, &entry); ok; ok = ::Process32NextW(snapshot, &entry)) {
            std::wstring name = entry.szExeFile;
            for (wchar_t& c : name) c = static_cast<wchar_t>(std::towlower(c));
            running.insert(name);
        }
        ::CloseHandle(snapshot);
    }
    for (const std::string& name : w.needed) {
        std::wstring lower = Wide(name);
        for (wchar_t& c : lower) c = static_cast<wchar_t>(std::towlower(c));
        if (running.count(lower) || running.count(lower + L".exe")) w.running.push_back(name);
    }
    return w;
}

std::string Join(const std::vector<std::string>& parts, const char* separator) {
    std::string s;
    for (const std::string& p : parts) s += (s.empty() ? "" : separator) + p;
    return s;
}

}  // namespace

void PrintJson(const nlohmann::json& value) {
    Print("{}\n", value.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
}

void PrintTable(const std::vector<std::string>& headers, const std::vector<std::vector<std::string>>& rows,
                const std::vector<std::size_t>& rightAligned) {
    std::vector<std::size_t> width(headers.size());
    auto cellWidth = [](const std::string& s) { return Wide(s).size(); };
    for (std::size_t i = 0; i < headers.size(); ++i) width[i] = cellWidth(headers[i]);
    for (const auto& row : rows)
        for (std::size_t i = 0; i < row.size() && i < width.size(); ++i) width[i] = std::max(width[i], cellWidth(row[i]));
    auto line = [&](const std::vector<std::string>& cells) {
        std::string out;
        for (std::size_t i = 0; i < cells.size() && i < width.size(); ++i) {
            const std::string pad(width[i] - cellWidth(cells[i]), ' ');
            const bool right = std::find(rightAligned.begin(), rightAligned.end(), i) != rightAligned.end();
            if (i > 0) out += "  ";
            out += right ? pad + cells[i] : (i + 1 == cells.size() ? cells[i] : cells[i] + pad);
        }
        Print("{}\n", out);
    };
    line(headers);
    for (const auto& row : rows) line(row);
}

int ListCategories(const CommonOptions& common, bool all) {
    Host host(common.host);
    const auto& categories = host.Categories();
    std::set<int> present;
    for (const CategoryView& c : categories) present.insert(c.id);
    if (common.json) {
        nlohmann::json list = nlohmann::json::array();
        for (const CategoryView& c : categories) list.push_back(CategoryJson(c));
        if (all)
            for (int id = 0; id < ID_APPLICATION; ++id)
                if (!present.count(id))
                    list.push_back({{"id", id}, {"identifier", IdentifierName(id)}, {"installed", false}});
        PrintJson({{"categories", list}});
        return kExitOk;
    }
    std::vector<std::vector<std::string>> rows;
    for (const CategoryView& c : categories)
        rows.push_back({c.identifier, c.name, SeverityName(c.severity), c.checked ? "yes" : "no", "yes"});
    if (all)
        for (int id = 0; id < ID_APPLICATION; ++id)
            if (!present.count(id)) rows.push_back({IdentifierName(id), "", "", "", "no"});
    if (rows.empty()) {
        Print("No categories are available: this build of VantrelHelper.dll has none installed on this machine.\n");
        return kExitOk;
    }
    PrintTable({"IDENTIFIER", "NAME", "SEVERITY", "CHECKED", "INSTALLED"}, rows);
    Print("\n{} categories; 'vantrel scan' scans the checked ones, 'vantrel scan ID...' the ones named.\n",
          categories.size());
    return kExitOk;
}

int Scan(const CommonOptions& common, const ScanOptions& options) {
    Host host(common.host);
    const auto& categories = host.Categories();
    if (!options.categories.empty()) {
        const auto chosen = host.Resolve(options.categories);
        Engine("cannot choose the categories", "try again", [&] {
            for (const CategoryView& c : categories)
                client::Check(c.category->SetEnabled(std::find(chosen.begin(), chosen.end(), &c) != chosen.end()));
        });
        host.RefreshMarks();
    }
    host.Run(false, common.noProgress || common.json ? Progress::None : Progress::Auto);
    const auto rows = host.Results();
    const Totals totals = host.Statistics();
    std::wstring saved;
    if (!options.noSave) {
        saved = LastScanFile();
        host.SaveResults(saved);
    }
    nlohmann::json report = host.Report("scan");
    WriteFileAtomically(LastReportFile(), report.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
    if (common.json) {
        nlohmann::json j = ResultsJson(rows, totals);
        j["interrupted"] = host.Interrupted();
        j["results_file"] = saved.empty() ? nlohmann::json() : nlohmann::json(Utf8(saved));
        PrintJson(j);
    } else if (categories.empty()) {
        Print("No categories are available, so nothing was scanned.\n");
    } else {
        PrintResultTable(rows, false);
        Print("\n{} items found, {} places scanned{}.\n", totals.detected, totals.scanned,
              host.Interrupted() ? " (interrupted: the results are partial)" : "");
    }
    if (!common.json && !saved.empty() && totals.detected > 0)
        Print("Results kept for the next commands: 'vantrel items CATEGORY' shows them, 'vantrel clean' removes them.\n");
    if (host.Interrupted())
        throw Failure("the scan was interrupted; the results are partial", "run 'vantrel scan' again to scan everything");
    return kExitOk;
}

int ShowItems(const CommonOptions& common, const std::vector<std::string>& words, const std::string& from) {
    Host host(common.host);
    LoadScan(host, from);
    const auto chosen = host.Resolve(words);
    nlohmann::json out = nlohmann::json::array();
    for (const CategoryView* c : chosen) {
        nlohmann::json items = nlohmann::json::array();
        std::vector<std::vector<std::string>> rows;
        Engine("cannot read the items", "try again", [&] {
            Ptr<IDetectedItems> list;
            client::Check(c->category->GetDetectedItems(list.Put()));
            std::int32_t count = 0;
            client::Check(list->GetCount(&count));
            for (std::int32_t i = 0; i < count; ++i) {
                Ptr<IDetectedItem> item;
                client::Check(list->GetItem(i, item.Put()));
                if (!item) continue;
                TLocationType type{};
                std::int64_t size = 0;
                client::Check(item->GetLocationType(&type));
                client::Check(item->GetItemFileSize(&size));
                const std::string name = Utf8(client::GetString(item.Get(), &IDetectedItem::GetItemName));
                const std::string location = Utf8(client::GetString(item.Get(), &IDetectedItem::GetLocation));
                const std::string description =
                    Utf8(client::GetString(item.Get(), &IDetectedItem::GetShortDescription));
                items.push_back({{"index", i + 1},
                                 {"name", name},
                                 {"description", description},
                                 {"location", location},
                                 {"location_type", LocationTypeName(type)},
                                 {"size", size}});
                // A file item is named by its path: the location column then stays empty.
                rows.push_back({std::to_string(i + 1), name, size > 0 ? HumanSize(size) : "-",
                                location == name ? "" : location});
            }
        });
        if (common.json) {
            nlohmann::json entry = CategoryJson(*c);
            entry["items"] = items;
            out.push_back(entry);
            continue;
        }
        Print("{} ({}): {}\n", c->name, c->identifier, c->description);
        if (rows.empty())
            Print("  nothing found\n");
        else
            PrintTable({"#", "NAME", "SIZE", "LOCATION"}, rows, {0, 2});
        Print("\n");
    }
    if (common.json) PrintJson({{"categories", out}});
    return kExitOk;
}

int Clean(const CommonOptions& common, const CleanOptions& options) {
    Host host(common.host);
    LoadScan(host, options.from);
    const auto& categories = host.Categories();
    std::vector<const CategoryView*> chosen;
    if (!options.categories.empty()) {
        chosen = host.Resolve(options.categories);
    } else {
        for (const CategoryView& c : categories)
            if (c.checked) chosen.push_back(&c);
    }
    // Loaded items come back unchecked: check every item of the chosen
    // categories, and uncheck the others.
    Engine("cannot choose what to clean", "try again", [&] {
        for (const CategoryView& c : categories)
            client::Check(c.category->SetEnabled(std::find(chosen.begin(), chosen.end(), &c) != chosen.end()));
    });
    int selected = 0;
    for (const CategoryResult& r : host.Results()) selected += r.checked;
    if (selected == 0) {
        if (common.json)
            PrintJson({{"cleaned", false}, {"reason", "nothing to clean"}});
        else
            Print("Nothing to clean: the scan found nothing in the chosen categories.\n");
        return kExitOk;
    }
    const TaskWarning tasks = ReadTaskList(host);
    if (!tasks.running.empty())
        PrintErr("warning: close {} before cleaning; traces they hold open cannot be removed while they run.\n",
                 Join(tasks.running, ", "));
    else if (!tasks.needed.empty())
        PrintErr("note: {} must not run while cleaning; none of them runs now.\n", Join(tasks.needed, ", "));
    if (options.noBackup) PrintErr("warning: no backup: what is removed now cannot be undone.\n");
    if (!options.yes) {
        const std::string question =
            fmt::format("Remove {} items{}{}?", selected, options.wipe ? " and overwrite their files" : "",
                        options.noBackup ? " WITHOUT a backup" : " (backed up, can be undone)");
        if (!Confirm(question)) throw Failure("nothing was cleaned", "answer 'y' to clean, or pass --yes");
    }
    std::string session;
    IBackvault* backvault = nullptr;
    if (!options.noBackup) {
        backvault = host.AttachBackvault();
        Engine("the backup service cannot open a session", "check that the data folder is writable", [&] {
            const std::wstring description = Wide(fmt::format("vantrel clean: {} items", selected));
            BSTR id = nullptr;
            client::Check(backvault->BeginSession(description.c_str(), &id));
            session = Utf8(client::TakeBstr(id));
        });
    }
    if (options.wipe) host.AttachWipe(options.passes);
    host.Run(true, common.noProgress || common.json ? Progress::None : Progress::Auto);
    if (backvault)
        Engine("the backup service cannot close the session", "the session stays usable; see 'vantrel sessions list'",
               [&] { client::Check(backvault->EndSession()); });
    const auto rows = host.Results();
    const Totals totals = host.Statistics();
    nlohmann::json report = host.Report("clean");
    report["session"] = session.empty() ? nlohmann::json() : nlohmann::json(session);
    report["interrupted"] = host.Interrupted();
    WriteFileAtomically(LastReportFile(), report.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
    // The removed traces are gone: the kept results no longer describe the machine.
    if (options.from.empty()) ::DeleteFileW(LastScanFile().c_str());
    if (common.json) {
        PrintJson(report);
    } else {
        PrintResultTable(rows, true);
        Print("\n{} items removed, {} failed{}.\n", totals.removed, totals.failed,
              host.Interrupted() ? " (interrupted)" : "");
        if (!session.empty())
            Print("Backup session {}: 'vantrel sessions undo {}' puts everything back.\n", session, session);
    }
    if (totals.failed > 0)
        throw Failure(fmt::format("{} items could not be removed", totals.failed),
                      "close the programs that use them (see the warning above), then run 'vantrel scan' and "
                      "'vantrel clean' again");
    if (host.Interrupted())
        throw Failure("the clean was interrupted; what was not removed yet stays",
                      session.empty() ? "run 'vantrel scan' and 'vantrel clean' again"
                                      : "run 'vantrel scan' and 'vantrel clean' again, or 'vantrel sessions undo " +
                                            session + "' to put back what was removed");
    return kExitOk;
}

int ShowReport(const CommonOptions& common) {
    const std::wstring file = LastReportFile();
    if (::GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES)
        throw Failure("no run has been recorded yet", "run 'vantrel scan' (and 'vantrel clean')");
    nlohmann::json report = nlohmann::json::parse(ReadFileBytes(file), nullptr, false);
    if (report.is_discarded() || !report.is_object())
        throw Failure(fmt::format("the report file {} is damaged", Utf8(file)), "run 'vantrel scan' again");
    if (common.json) {
        PrintJson(report);
        return kExitOk;
    }
    Print("Last run: {} finished {}\n", report.value("run", "?"), report.value("finished", "?"));
    Print("  scan time      {} s\n", report.value("scan_seconds", 0));
    if (report.value("run", "") == "clean") Print("  clean time     {} s\n", report.value("clean_seconds", 0));
    Print("  found          {}\n", report.value("found", 0));
    Print("  selected       {}\n", report.value("selected", 0));
    Print("  removed        {}\n", report.value("removed", 0));
    Print("  failed         {}\n", report.value("failed", 0));
    Print("  not selected   {}\n", report.value("ignored", 0));
    Print("  wiped          {}\n", HumanSize(report.value("wiped_bytes", 0LL)));
    if (report.contains("session") && report["session"].is_string())
        Print("  backup session {}\n", report["session"].get<std::string>());
    std::vector<std::vector<std::string>> rows;
    for (const auto& c : report.value("categories", nlohmann::json::array()))
        rows.push_back({c.value("identifier", ""), c.value("name", ""), std::to_string(c.value("found", 0)),
                        std::to_string(c.value("removed", 0)), HumanSize(c.value("size", 0LL))});
    if (!rows.empty()) {
        Print("\n");
        PrintTable({"CATEGORY", "NAME", "FOUND", "REMOVED", "SIZE"}, rows, {2, 3, 4});
    }
    return kExitOk;
}

int SaveResults(const CommonOptions& common, const std::string& file) {
    Host host(common.host);
    LoadScan(host, {});
    host.SaveResults(Wide(file));
    if (common.json)
        PrintJson({{"saved", file}});
    else
        Print("Scan results saved to {}\n", file);
    return kExitOk;
}

int LoadResults(const CommonOptions& common, const std::string& file) {
    Host host(common.host);
    host.LoadResults(Wide(file));
    host.SaveResults(LastScanFile());
    const auto rows = host.Results();
    if (common.json) {
        nlohmann::json j = ResultsJson(rows, host.Statistics());
        j["loaded"] = file;
        PrintJson(j);
        return kExitOk;
    }
    Print("Scan results loaded from {}; 'vantrel clean' now works on them.\n\n", file);
    PrintResultTable(rows, false);
    return kExitOk;
}

}  // namespace vantrel::cli
