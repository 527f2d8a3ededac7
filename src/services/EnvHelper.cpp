#include "services/EnvHelper.h"

#include <memory>
#include <mutex>

#include "runtime/FileUtils.h"
#include "runtime/Strings.h"

namespace vt {

const std::array<std::wstring_view, kEnvPlaceholderCount> kEnvPlaceholderNames = {
    L"%LOCALAPPDATA%",  L"%PROGRAMFILES%",    L"%APPDATA%",      L"%WINDIR%",
    L"%USERPROFILE%",   L"%COMMONAPPDATA%",   L"%MYDOCUMENTS%",  L"%PROGRAMDATA%",
    L"%ALLUSERSPROFILE%", L"%SYSTEMDRIVE%",   L"%LOCALLOWAPPDATA%",
};

namespace {

struct TestOverride {
    TEnvSystem System;
    TEnvPlaceholderTable Table;
};

std::unique_ptr<TestOverride>& Override() {
    static std::unique_ptr<TestOverride> value;
    return value;
}

}  // namespace

TEnvPlaceholderTable TEnvHelper::BuildTable(const TEnvSystem& ASystem) {
    const auto folder = [&](TEnvFolder f) { return ASystem.FolderPath ? ASystem.FolderPath(f) : std::wstring(); };
    const std::wstring windows = folder(efWindows);
    const std::wstring profile = folder(efProfile);
    const std::wstring commonAppData = folder(efCommonAppData);

    std::wstring allUsers;
    if (ASystem.ExpandEnvironment) {
        allUsers = ASystem.ExpandEnvironment(L"%ALLUSERSPROFILE%");
        // An environment without the variable hands the reference back.
        if (allUsers.find(L'%') != std::wstring::npos) allUsers.clear();
    }
    // The drive part of the Windows folder: its letter and colon.
    const std::wstring systemDrive =
        windows.size() >= 2 && windows[1] == L':' ? windows.substr(0, 2) : std::wstring();
    // The profile's LocalLow folder, whether or not it exists on this system.
    const std::wstring localLow = profile.empty() ? std::wstring() : profile + L"\\AppData\\LocalLow";

    const std::wstring values[kEnvPlaceholderCount] = {
        folder(efLocalAppData), folder(efProgramFiles), folder(efAppData), windows,
        profile,                commonAppData,          folder(efPersonal), commonAppData,
        allUsers,               systemDrive,            localLow,
    };
    TEnvPlaceholderTable table;
    for (std::size_t i = 0; i < kEnvPlaceholderCount; ++i)
        table[i] = TEnvPlaceholder{std::wstring(kEnvPlaceholderNames[i]), values[i]};
    return table;
}

const TEnvPlaceholderTable& TEnvHelper::Table() {
    if (Override()) return Override()->Table;
    static const TEnvPlaceholderTable table = BuildTable(SystemLookups());
    return table;
}

void TEnvHelper::SetSystemForTesting(std::optional<TEnvSystem> ASystem) {
    if (!ASystem) {
        Override().reset();
        return;
    }
    auto next = std::make_unique<TestOverride>();
    next->Table = BuildTable(*ASystem);
    next->System = std::move(*ASystem);
    Override() = std::move(next);
}

std::wstring TEnvHelper::ExpandLeadingPlaceholder(std::wstring_view AExpanded, const TEnvPlaceholderTable& ATable) {
    std::wstring result(AExpanded);
    if (result.empty() || result[0] != L'%') return result;
    const std::size_t close = result.find(L'%', 1);
    if (close == std::wstring::npos) return result;
    const std::wstring token = UpperCase(std::wstring_view(result).substr(0, close + 1));
    for (const TEnvPlaceholder& row : ATable) {
        if (token != UpperCase(row.Name)) continue;
        // A failed lookup leaves the placeholder: a path that is not a drive
        // path matches no file, where an empty value would leave a rooted path.
        if (row.Value.empty()) return result;
        return ReplaceFirst(result, row.Name, row.Value, /*ignoreCase=*/true);
    }
    return result;
}

void TEnvHelper::Expand(std::wstring_view APath, std::wstring& AResult) {
    const TestOverride* over = Override().get();
    const std::wstring expanded = over && over->System.ExpandEnvironment ? over->System.ExpandEnvironment(APath)
                                                                         : FileUtils::ExpandEnvironment(APath);
    AResult = ExpandLeadingPlaceholder(expanded, Table());
}

std::wstring TEnvHelper::Expand(std::wstring_view APath) {
    std::wstring result;
    Expand(APath, result);
    return result;
}

}  // namespace vt
