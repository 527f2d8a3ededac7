#include "runtime/OSInfo.h"

#include <atomic>

namespace vt::OSInfo {

namespace {
// Negative: no override.
std::atomic<int> gOverride{-1};
}  // namespace

int VersionNumberOf(const VersionFacts& f) noexcept {
    const bool server = f.isServer;
    if (f.major == 5) {
        if (f.minor == 1) return wvWinXP;
        if (f.minor >= 2) {
            if (f.is64bitXP) return wvWinXP64;
            return f.isR2 ? wvWin2003R2 : wvWin2003;
        }
        return wvUnknown;  // 5.0, Windows 2000
    }
    if (f.major == 6) {
        switch (f.minor) {
            case 0: return server ? wvWin2008 : wvVista;
            case 1: return server ? wvWin2008R2 : wvWin7;
            case 2: return server ? wvWin2012 : wvWin8;
            case 3: return server ? wvWin2012R2 : wvWin81;
            default: return server ? wvWin2016 : wvWin10;  // 6.4: early Windows 10 previews
        }
    }
    if (f.major >= 10) {
        if (server) return wvWin2016;
        return f.major == 10 && f.build < 22000 ? wvWin10 : wvWin11;
    }
    return wvUnknown;
}

int WindowsVersion() noexcept {
    const int forced = gOverride.load(std::memory_order_relaxed);
    if (forced >= 0) return forced;
    // Function-local static: thread-safe once-only query; the answer cannot change while we run.
    static const int real = VersionNumberOf(QuerySystemVersion());
    return real;
}

bool IsWindows(int from, int to) noexcept {
    const int v = WindowsVersion();
    return v >= from && v <= to;
}

void SetWindowsVersionForTesting(std::optional<int> version) noexcept {
    gOverride.store(version ? *version : -1, std::memory_order_relaxed);
}

}  // namespace vt::OSInfo
