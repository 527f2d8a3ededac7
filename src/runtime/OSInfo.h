// Which Windows the engine runs on, as one integer that grows with the
// release, so that categories can test ranges ("12 and above has Windows
// Search"). The numbering:
//
//     0  older than Windows XP, or not recognised
//     8  Windows XP                 9  Windows XP x64
//    10  Windows Server 2003       11  Windows Server 2003 R2
//    12  Windows Vista             13  Windows Server 2008
//    14  Windows Server 2008 R2    15  Windows 7
//    16  Windows 8                 17  Windows Server 2012
//    18  Windows 8.1               19  Windows Server 2012 R2
//    20  Windows 10                21  Windows Server 2016 and later
//    22  Windows 11 (build 22000 and later)
//
// Note the order is not strictly by age: Server 2008 R2 (14) comes before
// Windows 7 (15) although they share a kernel. Callers compare against these
// numbers, so they must never change.
#pragma once

#include <cstdint>
#include <optional>

namespace vt::OSInfo {

enum WindowsVersionNumber : int {
    wvUnknown = 0,
    wvWinXP = 8,
    wvWinXP64 = 9,
    wvWin2003 = 10,
    wvWin2003R2 = 11,
    wvVista = 12,
    wvWin2008 = 13,
    wvWin2008R2 = 14,
    wvWin7 = 15,
    wvWin8 = 16,
    wvWin2012 = 17,
    wvWin81 = 18,
    wvWin2012R2 = 19,
    wvWin10 = 20,
    wvWin2016 = 21,
    wvWin11 = 22,
};

// What the system reports about itself, the input of the numbering.
struct VersionFacts {
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t build = 0;
    bool isServer = false;   // product type is not a workstation
    bool isR2 = false;       // GetSystemMetrics(SM_SERVERR2) answered non-zero
    bool is64bitXP = false;  // a 5.2 workstation on an x64 processor
};

// The number of the release the facts describe (table above); wvUnknown for
// anything older than XP. Versions newer than the table maps to its newest entry.
int VersionNumberOf(const VersionFacts& facts) noexcept;

// The number of the running Windows (asked once, then cached); natively the
// test value, wvWin10 unless SetWindowsVersionForTesting set another.
int WindowsVersion() noexcept;

// True when WindowsVersion() lies in [from, to], both ends included.
bool IsWindows(int from, int to) noexcept;

// Makes WindowsVersion() answer the given number on either build; nullopt
// restores the real answer. For tests; not synchronised with running callers.
void SetWindowsVersionForTesting(std::optional<int> version) noexcept;

// What the running system reports (natively: a Windows 10 workstation).
VersionFacts QuerySystemVersion() noexcept;

}  // namespace vt::OSInfo
