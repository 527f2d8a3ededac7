#include "Host.h"

#include <fmt/format.h>
#include <shlobj.h>

#include <algorithm>
#include <chrono>
#include <cwctype>
#include <thread>

#include "Console.h"
#include "Language.h"

namespace vantrel::cli {

namespace {

constexpr const char* kIdentifiers[] = {
    "ID_RECENT_DOCS",           "ID_RUN_MRU",                "ID_OTHER_MRU",
    "ID_NETWORK_DRIVES_MRU",    "ID_FIND_COMPUTER_HISTORY",  "ID_JUMP_LISTS_RECENT",
    "ID_JUMP_LISTS_FREQUENT",   "ID_DUMP_FILES",             "ID_CHKDKS_FILES",
    "ID_INDEXED_FILES",         "ID_PRINTER_RECENT_FILES",   "ID_CD_BURNING_FOLDER",
    "ID_HIBERNATE_FILE",        "ID_STORED_APP_DESCRIPTION", "ID_WINDOWS_EVENTS_LOGS",
    "ID_WINDOWS_FIREWALL_LOGS", "ID_WIN_DEBUG_HISTORY",      "ID_START_MENU_CLICKS",
    "ID_MFU_PROGRAMS",          "ID_CLIPBOARD",              "ID_UNREAD_MAIL_COUNT",
    "ID_IE_VISITED_HISTORY",    "ID_IE_COOKIES",             "ID_IE_TYPED_HISTORY",
    "ID_IE_FORMS",              "ID_IE_SESSIONS",            "ID_IE_DOWNLOADS",
    "ID_IE_PASSWORDS",          "ID_FIREFOX_VISITED_HISTORY", "ID_FIREFOX_COOKIES",
    "ID_FIREFOX_TYPED_HISTORY", "ID_FIREFOX_FORMS",          "ID_FIREFOX_SEARCHES",
    "ID_FIREFOX_SESSIONS",      "ID_FIREFOX_DOWNLOADS",      "ID_FIREFOX_PASSWORDS",
    "ID_CHROME_VISITED_HISTORY", "ID_CHROME_COOKIES",        "ID_CHROME_FORMS",
    "ID_CHROME_SEARCHES",       "ID_CHROME_SESSIONS",        "ID_CHROME_DONWLOADS",
    "ID_CHROME_PASSWORDS",      "ID_SAFARI_VISITED_HISTORY", "ID_SAFARI_COOKIES",
    "ID_SAFARI_FORMS",          "ID_SAFARI_TYPED_HISTORY",   "ID_SAFARI_SEARCHES",
    "ID_SAFARI_SESSIONS",       "ID_SAFARI_DOWNLOADS",       "ID_SAFARI_PASSWORDS",
    "ID_OPERA_VISITED_HISTORY", "ID_OPERA_COOKIES",          "ID_OPERA_TYPED_HISTORY",
    "ID_OPERA_FORMS",           "ID_OPERA_SEARCHES",         "ID_OPERA_SESSIONS",
    "ID_OPERA_DOWNLOADS",       "ID_OPERA_PASSWORDS",        "ID_APPLICATION",
};
static_assert(std::size(kIdentifiers) == ID_APPLICATION + 1);

// Offset of the entry count in saved scan results: "VT_SCAN" and four totals.
constexpr std::size_t kEntryCountOffset = 7 + 4 * 4;

std::atomic<bool> g_abortRequested{false};

BOOL WINAPI OnConsoleControl(DWORD event) {
    if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
        g_abortRequested = true;
        return TRUE;
    }
    return FALSE;
}

std::string Normalized(std::string_view word) {
    std::string s;
    for (char c : word) s.push_back(c == '-' ? '_' : static_cast<char>(std::toupper(static_cast<unsigned char>(c))));
    if (s.rfind("ID_", 0) != 0) s = "ID_" + s;
    return s;
}

std::string LowerUtf8(const std::string& text) {
    std::wstring w = Wide(text);
    for (wchar_t& c : w) c = static_cast<wchar_t>(std::towlower(c));
    return Utf8(w);
}

// Shortens text to at most width characters, dropping the middle.
std::wstring Squeeze(const std::wstring& text, std::size_t width) {
    if (text.size() <= width) return text;
    if (width < 5) return text.substr(0, width);
    const std::size_t head = (width - 3) / 2, tail = width - 3 - head;
    return text.substr(0, head) + L"..." + text.substr(text.size() - tail);
}

int ConsoleWidth() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (::GetConsoleScreenBufferInfo(::GetStdHandle(STD_ERROR_HANDLE), &info))
        return std::max(40, info.srWindow.Right - info.srWindow.Left + 1);
    return 80;
}

// A memory stream holding bytes (CreateStreamOnHGlobal).
Ptr<IStream> MemoryStream() {
    Ptr<IStream> stream;
    const HRESULT hr = ::CreateStreamOnHGlobal(nullptr, TRUE, stream.Put());
    if (FAILED(hr)) throw Failure(fmt::format("cannot create a memory stream (0x{:08X})", static_cast<unsigned>(hr)),
                                  "the system is low on memory; close other programs and try again");
    return stream;
}

}  // namespace

std::string FailureText(const client::Error& error) {
    return fmt::format("{} (0x{:08X})", Utf8(error.Message()), static_cast<std::uint32_t>(error.Code()));
}

const char* IdentifierName(int id) {
    return id >= 0 && id < static_cast<int>(std::size(kIdentifiers)) ? kIdentifiers[id] : "ID_UNKNOWN";
}

const char* SeverityName(TCategorySeverityLevel level) {
    switch (level) {
        case cslLow: return "low";
        case cslMedium: return "medium";
        case cslHigh: return "high";
    }
    return "unknown";
}

std::wstring ProgramFolder() {
    std::wstring path(32768, L'\0');
    const DWORD length = ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    path.resize(length);
    return path.substr(0, path.find_last_of(L'\\') + 1);
}

std::wstring StateFolder() {
    wchar_t base[MAX_PATH] = {};
    if (FAILED(::SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, nullptr, SHGFP_TYPE_CURRENT, base)))
        throw Failure("cannot find the local application data folder",
                      "check that the user profile is complete (%LOCALAPPDATA%)");
    std::wstring folder = base;
    if (folder.empty() || folder.back() != L'\\') folder += L'\\';
    folder += L"Vantrel\\";
    ::CreateDirectoryW(folder.c_str(), nullptr);
    folder += L"Host\\";
    ::CreateDirectoryW(folder.c_str(), nullptr);
    return folder;
}

std::wstring LastScanFile() { return StateFolder() + L"LastScan.vts"; }
std::wstring LastReportFile() { return StateFolder() + L"LastReport.json"; }

std::string ReadFileBytes(const std::wstring& file) {
    HANDLE h = ::CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        const DWORD error = ::GetLastError();
        throw Failure(fmt::format("cannot read {} (system error {})", Utf8(file), error),
                      error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND
                          ? "check the file name"
                          : "check that the file is readable and not locked by another program");
    }
    std::string bytes;
    char buffer[65536];
    DWORD read = 0;
    while (::ReadFile(h, buffer, sizeof buffer, &read, nullptr) && read > 0) bytes.append(buffer, read);
    ::CloseHandle(h);
    return bytes;
}

void WriteFileAtomically(const std::wstring& file, const std::string& bytes) {
    const std::wstring temporary = file + L".tmp";
    HANDLE h = ::CreateFileW(temporary.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    bool ok = h != INVALID_HANDLE_VALUE;
    if (ok) {
        DWORD written = 0;
        ok = ::WriteFile(h, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
             written == bytes.size() && ::FlushFileBuffers(h);
        ::CloseHandle(h);
    }
    if (ok) ok = ::MoveFileExW(temporary.c_str(), file.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
    if (!ok) {
        const DWORD error = ::GetLastError();
        ::DeleteFileW(temporary.c_str());
        throw Failure(fmt::format("cannot write {} (system error {})", Utf8(file), error),
                      "check that the folder exists, is writable and the disk is not full");
    }
}

Host::Host(const HostOptions& options) : library_([] {
    const std::wstring path = ProgramFolder() + L"VantrelHelper.dll";
    try {
        return client::Library(path);
    } catch (const client::Error& e) {
        throw Failure(FailureText(e), "VantrelHelper.dll must be in the same folder as vantrel.exe; reinstall the package");
    }
}()) {
    cleaner_ = Engine("cannot create the engine", "reinstall the package; the DLL may be damaged",
                      [&] { return library_.CreateCleaner(); });
    const std::wstring languageFile =
        options.languageFile.empty() ? ProgramFolder() + L"lang\\English.lng" : options.languageFile;
    auto strings = client::StringList::Create();
    LoadLanguageFile(languageFile, strings->Entries(), !options.languageFile.empty());
    Engine("cannot hand the language file to the engine", "check the language file's lines (name=value)",
           [&] { client::Check(cleaner_->Localize(strings.Get())); });
    Engine("cannot load the ignore lists", "the ignore-list file may be damaged; see 'vantrel ignore --help'",
           [&] { client::Check(cleaner_->LoadIgnoreLists()); });
}

Host::~Host() = default;

const std::vector<CategoryView>& Host::Categories() {
    if (categoriesRead_) return categories_;
    Engine("cannot read the categories", "reinstall the package; the engine refused to list its categories", [&] {
        Ptr<ICategories> list;
        client::Check(cleaner_->GetCategories(list.Put()));
        std::int32_t count = 0;
        client::Check(list->GetCount(&count));
        for (std::int32_t i = 0; i < count; ++i) {
            CategoryView view;
            client::Check(list->GetItem(i, view.category.Put()));
            std::int32_t id = 0;
            TCategoryType type{};
            client::Check(view.category->GetId(&id));
            client::Check(view.category->GetCategoryType(&type));
            view.id = id;
            view.type = type;
            view.identifier = id == ID_APPLICATION ? fmt::format("ID_APPLICATION:{}", view.type) : IdentifierName(id);
            view.name = Utf8(client::GetString(view.category.Get(), &ICategory::GetName));
            if (view.name.empty()) view.name = view.identifier;
            view.description = Utf8(client::GetString(view.category.Get(), &ICategory::GetDescription));
            client::Check(view.category->GetSeverityLevel(&view.severity));
            client::Check(view.category->GetEnabled(&view.checked));
            categories_.push_back(std::move(view));
        }
    });
    categoriesRead_ = true;
    return categories_;
}

std::vector<const CategoryView*> Host::Resolve(const std::vector<std::string>& words) {
    const auto& all = Categories();
    std::vector<const CategoryView*> chosen;
    for (const std::string& word : words) {
        std::vector<const CategoryView*> hits;
        const std::string id = Normalized(word);
        const std::string lower = LowerUtf8(word);
        for (const CategoryView& c : all) {
            const bool byIdentifier = c.identifier == id || (c.id == ID_APPLICATION && id == "ID_APPLICATION");
            const bool byNumber = !word.empty() && std::all_of(word.begin(), word.end(), ::isdigit) &&
                                  std::to_string(c.type) == word;
            if (byIdentifier || byNumber || LowerUtf8(c.name) == lower) hits.push_back(&c);
        }
        if (hits.empty())
            throw Failure(fmt::format("no category is called '{}'", word),
                          "run 'vantrel categories' to see the identifiers and names of the categories", kExitUsage);
        for (const CategoryView* c : hits)
            if (std::find(chosen.begin(), chosen.end(), c) == chosen.end()) chosen.push_back(c);
    }
    return chosen;
}

IBackvault* Host::AttachBackvault() {
    const std::wstring path = ProgramFolder() + L"VantrelBackvault.dll";
    const char* hint =
        "VantrelBackvault.dll must be beside vantrel.exe; reinstall the package, or pass --no-backup to clean "
        "without a way to undo";
    try {
        backvaultLibrary_.emplace(path);
        client::Check(backvaultLibrary_->Entry()(client::IidOf<IBackvault>(), backvault_.PutVoid()));
    } catch (const client::Error& e) {
        throw Failure("cannot start the backup service: " + FailureText(e), hint);
    }
    Engine("the engine refused the backup service", hint, [&] { client::Check(cleaner_->SetBackvault(backvault_.Get())); });
    return backvault_.Get();
}

void Host::AttachWipe(int passes) {
    const std::wstring path = ProgramFolder() + L"VantrelWipe.dll";
    const char* hint = "VantrelWipe.dll must be beside vantrel.exe; reinstall the package, or clean without --wipe";
    try {
        wipeLibrary_.emplace(path);
        client::Check(wipeLibrary_->Entry()(client::IidOf<IDiskWipeHelper>(), wipe_.PutVoid()));
        client::Check(wipe_->SetPassCount(passes));
    } catch (const client::Error& e) {
        throw Failure("cannot start the wipe helper: " + FailureText(e), hint);
    }
    Engine("the engine refused the wipe helper", hint, [&] { client::Check(cleaner_->SetWipeDLL(wipe_.Get())); });
}

void Host::Run(bool clean, Progress progress) {
    const TCleanerState done = clean ? csCleaned : csScanned;
    Ptr<ICleanerStatistics> statistics;
    Engine(clean ? "cannot start the clean" : "cannot start the scan",
           clean ? "run 'vantrel scan' first, then clean" : "another run may still be going on; try again", [&] {
               client::Check(cleaner_->GetStatistics(statistics.Put()));
               client::Check(clean ? cleaner_->StartCleaning(false) : cleaner_->StartScanning(false));
           });
    // Ctrl+C aborts the run only while it goes on; elsewhere (a confirmation
    // prompt) it ends the program as usual.
    struct CtrlHandler {
        CtrlHandler() { ::SetConsoleCtrlHandler(&OnConsoleControl, TRUE); }
        ~CtrlHandler() {
            ::SetConsoleCtrlHandler(&OnConsoleControl, FALSE);
            g_abortRequested = false;
        }
    } ctrlHandler;
    const bool bar = progress == Progress::Auto && IsConsole(Stream::Err);
    const bool lines = progress == Progress::Auto && !bar;
    const char* verb = clean ? "cleaning" : "scanning";
    std::string lastCategory;
    int lastDecile = -1;
    bool abortSent = false;
    for (;;) {
        if (g_abortRequested && !abortSent) {
            cleaner_->Abort();
            abortSent = interrupted_ = true;
            PrintErr("\n{}: interrupted, stopping after the current item...\n", verb);
        }
        TCleanerState state{};
        double percent = 0;
        Totals t;
        std::wstring item;
        std::string categoryName;
        Engine("lost track of the run", "try again; if it keeps failing, report the message", [&] {
            client::Check(cleaner_->GetState(&state));
            client::Check(statistics->GetProgress(&percent));
            client::Check(statistics->GetTotalScannedItems(&t.scanned));
            client::Check(statistics->GetTotalDetectedItems(&t.detected));
            client::Check(statistics->GetTotalRemovedItems(&t.removed));
            client::Check(statistics->GetTotalFailedItems(&t.failed));
            item = client::GetString(statistics.Get(), &ICleanerStatistics::GetCurrentItem);
            Ptr<ICategory> current;
            client::Check(statistics->GetCurrentCategory(current.Put()));
            if (current) {
                categoryName = Utf8(client::GetString(current.Get(), &ICategory::GetName));
                if (categoryName.empty()) {
                    std::int32_t id = 0;
                    current->GetId(&id);
                    categoryName = IdentifierName(id);
                }
            }
        });
        const bool finished = state == done;
        if (finished) percent = 100;
        const std::string counts = clean ? fmt::format("{} removed, {} failed", t.removed, t.failed)
                                         : fmt::format("{} found, {} scanned", t.detected, t.scanned);
        if (bar) {
            const int width = ConsoleWidth() - 1;
            const int filled = static_cast<int>(percent / 100.0 * 20.0);
            std::string line = fmt::format("[{}{}] {:3.0f}%  {}  {}", std::string(filled, '#'),
                                           std::string(20 - filled, '-'), percent, counts, categoryName);
            const std::wstring wideLine = Wide(line);
            std::wstring full = wideLine;
            const int room = width - static_cast<int>(wideLine.size()) - 2;
            if (!item.empty() && room > 8) full += L"  " + Squeeze(item, static_cast<std::size_t>(room));
            full = Squeeze(full, static_cast<std::size_t>(width));
            full.resize(static_cast<std::size_t>(width), L' ');
            Write(Stream::Err, "\r" + Utf8(full));
            if (finished) Write(Stream::Err, "\n");
        } else if (lines) {
            const int decile = static_cast<int>(percent) / 10;
            if ((!categoryName.empty() && categoryName != lastCategory) || decile > lastDecile || finished) {
                PrintErr("{} {:3.0f}%  {}  {}\n", verb, percent, counts, categoryName);
                lastCategory = categoryName;
                lastDecile = decile;
            }
        }
        if (finished) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(bar ? 80 : 40));
    }
}

Totals Host::Statistics() {
    Totals t;
    Engine("cannot read the statistics", "try again", [&] {
        Ptr<ICleanerStatistics> statistics;
        client::Check(cleaner_->GetStatistics(statistics.Put()));
        client::Check(statistics->GetTotalScannedItems(&t.scanned));
        client::Check(statistics->GetTotalDetectedItems(&t.detected));
        client::Check(statistics->GetTotalRemovedItems(&t.removed));
        client::Check(statistics->GetTotalFailedItems(&t.failed));
    });
    return t;
}

std::vector<CategoryResult> Host::Results() {
    std::vector<CategoryResult> rows;
    for (const CategoryView& view : Categories()) {
        CategoryResult row;
        row.view = &view;
        Engine("cannot read what a category found", "try again", [&] {
            Ptr<IDetectedItems> items;
            client::Check(view.category->GetDetectedItems(items.Put()));
            std::int64_t size = 0;
            client::Check(items->GetCount(&row.found));
            client::Check(items->GetTotalSize(&size));
            row.size = size;
            for (std::int32_t i = 0; i < row.found; ++i) {
                Ptr<IDetectedItem> item;
                client::Check(items->GetItem(i, item.Put()));
                if (!item) continue;
                bool removed = false, enabled = false;
                client::Check(item->GetRemoved(&removed));
                client::Check(item->GetEnabled(&enabled));
                row.removed += removed ? 1 : 0;
                row.checked += enabled ? 1 : 0;
            }
        });
        rows.push_back(row);
    }
    return rows;
}

void Host::SaveResults(const std::wstring& file) {
    Ptr<IStream> stream = MemoryStream();
    Engine("cannot save the scan results", "scan first: only a finished scan can be saved",
           [&] { client::Check(cleaner_->SaveScanResults(stream.Get())); });
    std::int32_t entries = 0;
    for (const CategoryResult& row : Results()) entries += row.found > 0 ? 1 : 0;
    STATSTG stat{};
    stream->Stat(&stat, STATFLAG_NONAME);
    std::string bytes(static_cast<std::size_t>(stat.cbSize.QuadPart), '\0');
    LARGE_INTEGER zero{};
    stream->Seek(zero, STREAM_SEEK_SET, nullptr);
    ULONG read = 0;
    stream->Read(bytes.data(), static_cast<ULONG>(bytes.size()), &read);
    if (read != bytes.size() || bytes.size() < kEntryCountOffset + 4)
        throw Failure("the engine wrote incomplete scan results", "try the scan again");
    for (int i = 0; i < 4; ++i)
        bytes[kEntryCountOffset + static_cast<std::size_t>(i)] =
            static_cast<char>((static_cast<std::uint32_t>(entries) >> (8 * i)) & 0xFF);
    WriteFileAtomically(file, bytes);
}

void Host::LoadResults(const std::wstring& file) {
    const std::string bytes = ReadFileBytes(file);
    Ptr<IStream> stream = MemoryStream();
    ULONG written = 0;
    stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    try {
        client::Check(cleaner_->LoadScanResults(stream.Get()));
    } catch (const client::Error& e) {
        throw Failure(fmt::format("cannot load scan results from {}: {}", Utf8(file), FailureText(e)),
                      "the file is not a scan saved by this version of vantrel, or it is damaged; run 'vantrel "
                      "scan' again");
    }
    RefreshMarks();
}

void Host::RefreshMarks() {
    for (CategoryView& view : categories_) view.category->GetEnabled(&view.checked);
}

nlohmann::json Host::Report(const char* run) {
    Ptr<IVantrelReport> report = cleaner_.As<IVantrelReport>();
    if (!report) throw Failure("the engine has no report", "reinstall the package");
    nlohmann::json j;
    Engine("cannot read the report", "try again", [&] {
        double scanTime = 0, cleanTime = 0;
        std::int32_t found = 0, selected = 0, removed = 0, failed = 0, ignored = 0;
        std::int64_t wiped = 0;
        client::Check(report->GetScanTime(&scanTime));
        client::Check(report->GetCleanTime(&cleanTime));
        client::Check(report->GetFoundItems(&found));
        client::Check(report->GetSelectedItems(&selected));
        client::Check(report->GetRemovedItems(&removed));
        client::Check(report->GetFailedToRemove(&failed));
        client::Check(report->GetIgnoredItems(&ignored));
        client::Check(report->GetWipeSize(&wiped));
        SYSTEMTIME now{};
        ::GetLocalTime(&now);
        j = {{"run", run},
             {"finished", fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", now.wYear, now.wMonth, now.wDay,
                                      now.wHour, now.wMinute, now.wSecond)},
             {"scan_seconds", static_cast<long long>(scanTime * 86400.0 + 0.5)},
             {"clean_seconds", static_cast<long long>(cleanTime * 86400.0 + 0.5)},
             {"found", found},
             {"selected", selected},
             {"removed", removed},
             {"failed", failed},
             {"ignored", ignored},
             {"wiped_bytes", wiped}};
    });
    nlohmann::json rows = nlohmann::json::array();
    for (const CategoryResult& row : Results()) {
        if (row.found == 0) continue;
        rows.push_back({{"identifier", row.view->identifier},
                        {"name", row.view->name},
                        {"found", row.found},
                        {"size", row.size},
                        {"removed", row.removed}});
    }
    j["categories"] = rows;
    return j;
}

}  // namespace vantrel::cli
