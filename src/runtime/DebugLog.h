// The debug log: levels llNone < llError < llWarning < llInfo. Each line names
// the class that wrote it; procedures are bracketed by begin and end lines and
// what is logged inside is indented one level deeper (per thread).
//
// Off by default. The level comes from the environment variable VANTREL_LOG
// ("error", "warning" or "info"; anything else is off) when the log is first
// used, and can be set by SetLevel. When a line's level is above the current
// one, nothing is formatted or written: a disabled log costs one atomic load.
//
// The file is "VantrelHelper.log" in the folder SetLogFolder names, or else in
// the one the folder provider gives when the first line is written (the engine
// provides its data folder's "Logs" folder); when it passes the size cap it is renamed to
// "VantrelHelper.old.log" and a new one is started.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

#include "runtime/Strings.h"

namespace vt {

enum TLogLevel : std::uint8_t { llNone, llError, llWarning, llInfo };

class TDebugLog {
public:
    static constexpr std::uint64_t kDefaultSizeCap = 4u * 1024u * 1024u;

    static bool Enabled(TLogLevel level) noexcept {
        int current = level_.load(std::memory_order_relaxed);
        if (current < 0) current = InitLevel();
        return level != llNone && static_cast<int>(level) <= current;
    }

    static void Log(TLogLevel level, std::wstring_view sender, std::wstring_view message);
    // Formats with Format's rules ("%s", "%0:s", "%d", ...) only when enabled.
    static void Log(TLogLevel level, std::wstring_view sender, std::wstring_view format,
                    std::initializer_list<FormatArg> args);

    // "Begin <procedure>" / "End <procedure>" at llInfo, nesting what is between.
    static void Begin(std::wstring_view sender, std::wstring_view procedure);
    static void End(std::wstring_view sender, std::wstring_view procedure);

    static void SetLevel(TLogLevel level) noexcept { level_.store(level, std::memory_order_relaxed); }
    static TLogLevel Level() noexcept;
    // Folder of the log file (with or without a trailing backslash); empty means
    // the provider's folder, asked on the first line written.
    static void SetLogFolder(std::wstring folder);
    static void SetFolderProvider(std::function<std::wstring()> provider);
    static void SetSizeCap(std::uint64_t bytes) noexcept;
    // Where lines go instead of the file (tests); an empty sink restores the file.
    static void SetSink(std::function<void(const std::wstring& line)> sink);
    // Closes the file (library unload).
    static void Shutdown() noexcept;

private:
    static int InitLevel() noexcept;
    static void Write(TLogLevel level, std::wstring_view sender, std::wstring_view message);
    static std::atomic<int> level_;
};

// Brackets a procedure with begin/end lines when info logging is on.
class LogScope {
public:
    LogScope(std::wstring_view sender, std::wstring_view procedure);
    ~LogScope();
    LogScope(const LogScope&) = delete;
    LogScope& operator=(const LogScope&) = delete;

private:
    std::wstring_view sender_;
    std::wstring_view procedure_;
    bool active_;
};

}  // namespace vt
