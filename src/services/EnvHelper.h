// TEnvHelper: turns a location written with placeholders into a real path.
// First the system's own environment expansion runs over the whole text; then,
// when the result still begins with "%", its leading token is looked up in a
// table of eleven placeholders of our own that name shell folders without an
// environment variable (or whose variable differs between Windows versions).
// Only that one leading placeholder is ever replaced: a placeholder further
// along the text stays as the system's expansion left it.
//
// The table is built once per process, on first use, from the system's folder
// lookups. The lookups sit behind TEnvSystem so that the expansion itself is
// portable and tests run it over a table of their choosing.
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vt {

// One row of the placeholder table: the placeholder with its percent signs,
// and the folder it stands for (no trailing backslash; empty when the lookup
// failed, and then the placeholder is left as written).
struct TEnvPlaceholder {
    std::wstring Name;
    std::wstring Value;
};

constexpr std::size_t kEnvPlaceholderCount = 11;
using TEnvPlaceholderTable = std::array<TEnvPlaceholder, kEnvPlaceholderCount>;

// The placeholders in table order; the order decides nothing but is kept.
extern const std::array<std::wstring_view, kEnvPlaceholderCount> kEnvPlaceholderNames;

// Shell folder identifiers the table asks for (the CSIDL values).
enum TEnvFolder : int {
    efPersonal = 0x05,
    efAppData = 0x1A,
    efLocalAppData = 0x1C,
    efCommonAppData = 0x23,
    efWindows = 0x24,
    efProgramFiles = 0x26,
    efProfile = 0x28,
};

// What the table needs of the system.
struct TEnvSystem {
    // The folder's current path without a trailing backslash; empty on failure.
    std::function<std::wstring(TEnvFolder)> FolderPath;
    // The system's environment expansion (unknown references stay as written).
    std::function<std::wstring(std::wstring_view)> ExpandEnvironment;
};

class TEnvHelper {
public:
    // AResult := APath expanded: the system's expansion, then the table's
    // leading placeholder. Never fails; what cannot be expanded stays as written.
    static void Expand(std::wstring_view APath, std::wstring& AResult);
    static std::wstring Expand(std::wstring_view APath);

    // The table step alone over text the system has already expanded.
    static std::wstring ExpandLeadingPlaceholder(std::wstring_view AExpanded, const TEnvPlaceholderTable& ATable);

    // Builds the eleven rows from the given system.
    static TEnvPlaceholderTable BuildTable(const TEnvSystem& ASystem);

    // The process's table, built on first use from the real system.
    static const TEnvPlaceholderTable& Table();

    // The real system's lookups (SHGetFolderPathW and ExpandEnvironmentStringsW
    // on Windows; natively, environment variables of the placeholders' names).
    static TEnvSystem SystemLookups();

    // Makes Expand use ASystem and a table built from it instead of the
    // process's own; nullopt restores them. For tests; not synchronised.
    static void SetSystemForTesting(std::optional<TEnvSystem> ASystem);
};

}  // namespace vt
