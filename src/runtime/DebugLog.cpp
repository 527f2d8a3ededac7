#include "runtime/DebugLog.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <thread>

#include "runtime/Exception.h"
#include "runtime/FileSystem.h"
#include "runtime/Utf.h"

namespace vt {

std::atomic<int> TDebugLog::level_{-1};

namespace {

struct LogState {
    std::mutex lock;
    std::wstring folder;
    std::uint64_t sizeCap = TDebugLog::kDefaultSizeCap;
    std::function<void(const std::wstring&)> sink;
    std::function<std::wstring()> folderProvider;
    std::FILE* file = nullptr;
    std::uint64_t written = 0;
};

LogState& State() {
    static LogState* state = new LogState();  // outlives every other static user
    return *state;
}

thread_local int tNesting = 0;

const wchar_t* LevelName(TLogLevel level) {
    switch (level) {
        case llError: return L"ERROR";
        case llWarning: return L"WARN ";
        case llInfo: return L"INFO ";
        default: return L"     ";
    }
}

std::wstring Timestamp() {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t t = system_clock::to_time_t(now);
    const auto ms = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm tm{};
#if defined(_WIN32)
    localtime_s(&tm, &t);
#else
    localtime_r(&t, &tm);
#endif
    char buf[64];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d.%03d", tm.tm_year + 1900, tm.tm_mon + 1,
                  tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, static_cast<int>(ms));
    return FromUtf8(buf);
}

// Opens the log file when needed; the state lock is held.
bool EnsureFile(LogState& s) {
    if (s.file) return true;
    std::wstring folder = s.folder;
    if (folder.empty() && s.folderProvider) folder = s.folderProvider();
    if (folder.empty()) return false;
    folder = IncludeTrailingPathDelimiter(folder);
    ForceDirectories(folder);
    const std::wstring path = folder + L"VantrelHelper.log";
    const std::int64_t size = FileSizeOf(path);
    if (size > 0 && static_cast<std::uint64_t>(size) >= s.sizeCap) {
        const std::wstring old = folder + L"VantrelHelper.old.log";
        RemoveFile(old);
        RenameFile(path, old);
    }
    s.file = OpenFileForAppend(path);
    s.written = size > 0 && static_cast<std::uint64_t>(size) < s.sizeCap ? static_cast<std::uint64_t>(size) : 0;
    return s.file != nullptr;
}

}  // namespace

int TDebugLog::InitLevel() noexcept {
    int level = llNone;
    if (const char* v = std::getenv("VANTREL_LOG")) {
        const std::string s(v);
        if (s == "error") level = llError;
        else if (s == "warning") level = llWarning;
        else if (s == "info") level = llInfo;
    }
    int expected = -1;
    level_.compare_exchange_strong(expected, level);
    return level_.load();
}

TLogLevel TDebugLog::Level() noexcept {
    int current = level_.load(std::memory_order_relaxed);
    if (current < 0) current = InitLevel();
    return static_cast<TLogLevel>(current);
}

void TDebugLog::Log(TLogLevel level, std::wstring_view sender, std::wstring_view message) {
    if (!Enabled(level)) return;
    Write(level, sender, message);
}

void TDebugLog::Log(TLogLevel level, std::wstring_view sender, std::wstring_view format,
                    std::initializer_list<FormatArg> args) {
    if (!Enabled(level)) return;
    std::wstring message;
    try {
        message = Format(format, args);
    } catch (const Exception& e) {
        message = std::wstring(format) + L" (" + e.Message() + L")";
    }
    Write(level, sender, message);
}

void TDebugLog::Begin(std::wstring_view sender, std::wstring_view procedure) {
    if (!Enabled(llInfo)) return;
    Write(llInfo, sender, L"Begin " + std::wstring(procedure));
    ++tNesting;
}

void TDebugLog::End(std::wstring_view sender, std::wstring_view procedure) {
    if (!Enabled(llInfo)) return;
    if (tNesting > 0) --tNesting;
    Write(llInfo, sender, L"End " + std::wstring(procedure));
}

void TDebugLog::SetLogFolder(std::wstring folder) {
    LogState& s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.file) {
        std::fclose(s.file);
        s.file = nullptr;
    }
    s.folder = std::move(folder);
}

void TDebugLog::SetFolderProvider(std::function<std::wstring()> provider) {
    LogState& s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    s.folderProvider = std::move(provider);
}

void TDebugLog::SetSizeCap(std::uint64_t bytes) noexcept {
    LogState& s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    s.sizeCap = bytes;
}

void TDebugLog::SetSink(std::function<void(const std::wstring&)> sink) {
    LogState& s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    s.sink = std::move(sink);
}

void TDebugLog::Shutdown() noexcept {
    LogState& s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.file) {
        std::fclose(s.file);
        s.file = nullptr;
    }
}

void TDebugLog::Write(TLogLevel level, std::wstring_view sender, std::wstring_view message) {
    std::wstring line = Timestamp();
    line += L' ';
    line += LevelName(level);
    line += L' ';
    line.append(static_cast<std::size_t>(tNesting) * 2, L' ');
    line += sender;
    line += L": ";
    line += message;

    LogState& s = State();
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.sink) {
        s.sink(line);
        return;
    }
    if (!EnsureFile(s)) return;
    const std::string bytes = ToUtf8(line) + "\r\n";
    std::fwrite(bytes.data(), 1, bytes.size(), s.file);
    std::fflush(s.file);
    s.written += bytes.size();
    if (s.written >= s.sizeCap) {
        std::fclose(s.file);
        s.file = nullptr;  // the next line rotates the file
    }
}

LogScope::LogScope(std::wstring_view sender, std::wstring_view procedure)
    : sender_(sender), procedure_(procedure), active_(TDebugLog::Enabled(llInfo)) {
    if (active_) TDebugLog::Begin(sender_, procedure_);
}

LogScope::~LogScope() {
    if (active_) TDebugLog::End(sender_, procedure_);
}

}  // namespace vt
