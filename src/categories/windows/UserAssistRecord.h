// The bytes of Explorer's "UserAssist" records: value names ROT13-encoded,
// their classification in the two layouts Windows has used, and the data of
// each value (16 bytes before Windows 7, 72 bytes from Windows 7 on).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/ByteView.h"

namespace vt {

// What a UserAssist value records; ordinals are those of the saved form.
enum class TEntryType : std::uint8_t { etUnknown, etExeFiles, etStartMenu, etFavorites, etControlPanelApplet };

// The two "Count" keys below HKEY_CURRENT_USER, for the newer layout (the
// Windows versions in the in-house range 14 to 22) or the older one.
const wchar_t* UserAssistKey(bool newerLayout, int which);  // which: 0 or 1

// The name prefixes the classification looks at, in their fixed order.
inline constexpr const wchar_t* kUserAssistPrefixes[] = {L"UEME_RUNPIDL", L"UEME_RUNPATH", L"UEME_RUNCPL",
                                                         L"UEME_CTLSESSION", L"UEME_CTLCUACount:ctor"};

// Rotates every Latin letter A-Z and a-z by 13 places within its case; every
// other character (digits, punctuation, non-Latin letters) stays.
std::wstring DecodeRot13(std::wstring_view name);

// Classifies a decoded value name.
// Newer layout: "UEME_CTLSESSION..." and "UEME_CTLCUACount:ctor..." (any case)
// are etUnknown; a name ending in ".lnk" (any case) is etStartMenu; any other
// etExeFiles.
// Older layout: without ":" etUnknown; "UEME_RUNPIDL" names are etStartMenu
// when they contain "l2%", else etFavorites when they contain "l6%", else
// etExeFiles; "UEME_RUNPATH" etExeFiles; "UEME_RUNCPL" etControlPanelApplet;
// any other etUnknown (prefixes and markers compared case-sensitively).
TEntryType ClassifyUserAssistName(std::wstring_view decoded, bool newerLayout);

// The data of one value.
struct UserAssistData {
    std::uint32_t Session = 0;      // the first 32-bit field; read, not passed on
    std::int32_t RunCount = 0;      // offset 4 in both layouts, as stored
    std::uint32_t FocusCount = 0;   // 72-byte records: offset 8
    std::uint32_t FocusTimeMs = 0;  // 72-byte records: offset 12, milliseconds in focus
    std::uint64_t LastRunFileTime = 0;  // 72-byte: FILETIME at 60; 16-byte: the last 8 bytes
    // The last run as a date-time (days since 1899-12-30). 72-byte records:
    // the FILETIME through a system time (UTC, milliseconds kept); 0 when the
    // FILETIME has no such date. 16-byte records: the last 8 bytes taken as a
    // date-time value as they stand, without conversion.
    double LastRun = 0;
    bool Extended = false;  // a 72-byte record
};

// Reads a value's data; false (out unchanged) for any size other than 16 or 72.
bool ReadUserAssistData(ByteSpan value, UserAssistData& out);

// A FILETIME (100 ns units since 1601-01-01 UTC) as a date-time the way
// FileTimeToSystemTime and SystemTimeToDateTime give it: whole milliseconds;
// ok is false (result 0) when there is no such system time or the year is
// past 9999.
double FileTimeToDateTime(std::uint64_t fileTime, bool* ok = nullptr);

}  // namespace vt
