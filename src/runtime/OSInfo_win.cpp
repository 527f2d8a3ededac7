#include "platform/Win32.h"
#include "runtime/OSInfo.h"

namespace vt::OSInfo {

namespace {

using RtlGetVersionFn = LONG(WINAPI*)(OSVERSIONINFOEXW*);

// GetVersionExW lies to programs without a compatibility manifest (it reports
// 6.2 on everything from Windows 8 on); RtlGetVersion in ntdll does not.
bool QueryRtlVersion(OSVERSIONINFOEXW& info) {
    const HMODULE ntdll = ::GetModuleHandleW(L"ntdll.dll");  // always loaded: no reference to release
    if (ntdll == nullptr) return false;
    const auto rtlGetVersion =
        reinterpret_cast<RtlGetVersionFn>(reinterpret_cast<void*>(::GetProcAddress(ntdll, "RtlGetVersion")));
    return rtlGetVersion != nullptr && rtlGetVersion(&info) == 0;
}

}  // namespace

VersionFacts QuerySystemVersion() noexcept {
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof info;
    if (!QueryRtlVersion(info)) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
        if (!::GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&info))) return {};
#pragma GCC diagnostic pop
    }
    SYSTEM_INFO system{};
    ::GetNativeSystemInfo(&system);

    VersionFacts facts;
    facts.major = info.dwMajorVersion;
    facts.minor = info.dwMinorVersion;
    facts.build = info.dwBuildNumber;
    facts.isServer = info.wProductType != VER_NT_WORKSTATION;
    facts.isR2 = ::GetSystemMetrics(SM_SERVERR2) != 0;
    facts.is64bitXP = info.dwMajorVersion == 5 && info.dwMinorVersion == 2 && !facts.isServer &&
                      system.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64;
    return facts;
}

}  // namespace vt::OSInfo
