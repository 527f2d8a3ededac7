#include "categories/windows/UserAssistRecord.h"

#include <bit>
#include <cstring>

#include "runtime/Strings.h"

namespace vt {

namespace {

constexpr const wchar_t* kNewerKeys[] = {
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\UserAssist\\{CEBFF5CD-ACE2-4F4F-9178-9926F41749EA}\\Count",
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\UserAssist\\{F4E57C4B-2036-45F0-A9AB-443BCFE33D9F}\\Count",
};
constexpr const wchar_t* kOlderKeys[] = {
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\UserAssist\\{5E6AB780-7743-11CF-A12B-00AA004AE837}\\Count",
    L"Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\UserAssist\\{75048700-EF1F-11D0-9888-006097DEACF9}\\Count",
};

constexpr std::uint64_t kTicksPerMs = 10000;
constexpr std::uint64_t kMsPerDay = 86400000;
// Days from 1601-01-01 to 1899-12-30, the date-time epoch.
constexpr std::int64_t kDaysFrom1601To1899 = 109205;
// The last FILETIME with a date up to 9999-12-31 23:59:59.999.
constexpr std::uint64_t kLastFileTimeOf9999 = 2650467743999999999ull;

}  // namespace

const wchar_t* UserAssistKey(bool newerLayout, int which) {
    const int i = which == 0 ? 0 : 1;
    return newerLayout ? kNewerKeys[i] : kOlderKeys[i];
}

std::wstring DecodeRot13(std::wstring_view name) {
    std::wstring out(name);
    for (wchar_t& c : out) {
        if (c >= L'A' && c <= L'Z') {
            c = static_cast<wchar_t>(L'A' + (c - L'A' + 13) % 26);
        } else if (c >= L'a' && c <= L'z') {
            c = static_cast<wchar_t>(L'a' + (c - L'a' + 13) % 26);
        }
    }
    return out;
}

TEntryType ClassifyUserAssistName(std::wstring_view decoded, bool newerLayout) {
    if (newerLayout) {
        if (StartsText(kUserAssistPrefixes[3], decoded) || StartsText(kUserAssistPrefixes[4], decoded)) {
            return TEntryType::etUnknown;
        }
        return EndsText(L".lnk", decoded) ? TEntryType::etStartMenu : TEntryType::etExeFiles;
    }
    if (decoded.find(L':') == std::wstring_view::npos) return TEntryType::etUnknown;
    if (StartsStr(kUserAssistPrefixes[0], decoded)) {
        if (decoded.find(L"l2%") != std::wstring_view::npos) return TEntryType::etStartMenu;
        if (decoded.find(L"l6%") != std::wstring_view::npos) return TEntryType::etFavorites;
        return TEntryType::etExeFiles;
    }
    if (StartsStr(kUserAssistPrefixes[1], decoded)) return TEntryType::etExeFiles;
    if (StartsStr(kUserAssistPrefixes[2], decoded)) return TEntryType::etControlPanelApplet;
    return TEntryType::etUnknown;
}

double FileTimeToDateTime(std::uint64_t fileTime, bool* ok) {
    if (ok) *ok = false;
    if (fileTime > kLastFileTimeOf9999) return 0;
    const std::uint64_t ms = fileTime / kTicksPerMs;
    const auto days = static_cast<std::int64_t>(ms / kMsPerDay) - kDaysFrom1601To1899;
    const double time = static_cast<double>(ms % kMsPerDay) / static_cast<double>(kMsPerDay);
    if (ok) *ok = true;
    // Before the epoch the date part is negative and the time counts away from
    // it, as the date-time encoding has it.
    return days >= 0 ? static_cast<double>(days) + time : static_cast<double>(days) - time;
}

bool ReadUserAssistData(ByteSpan value, UserAssistData& out) {
    UserAssistData data;
    if (value.size() == 16) {
        data.Session = ReadU32(value, 0);
        data.RunCount = static_cast<std::int32_t>(ReadU32(value, 4));
        data.LastRunFileTime = ReadU64(value, 8);
        data.LastRun = std::bit_cast<double>(data.LastRunFileTime);
    } else if (value.size() == 72) {
        data.Extended = true;
        data.Session = ReadU32(value, 0);
        data.RunCount = static_cast<std::int32_t>(ReadU32(value, 4));
        data.FocusCount = ReadU32(value, 8);
        data.FocusTimeMs = ReadU32(value, 12);
        data.LastRunFileTime = ReadU64(value, 60);
        data.LastRun = FileTimeToDateTime(data.LastRunFileTime);
    } else {
        return false;
    }
    out = data;
    return true;
}

}  // namespace vt
