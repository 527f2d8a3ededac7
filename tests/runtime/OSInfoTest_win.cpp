#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "platform/Handles.h"
#include "platform/Win32.h"
#include "runtime/OSInfo.h"

namespace vt::OSInfo {
namespace {

// Wine imitates the Windows release named by the string value "Version" of
// HKEY_CURRENT_USER\Software\Wine, read when a process starts. Setting it for
// this program only (AppDefaults\<exe name>) keeps other programs of the
// prefix, started meanwhile, on the prefix's own version.
class ScopedWineVersion {
public:
    explicit ScopedWineVersion(const std::wstring& exeName) {
        const std::wstring path = L"Software\\Wine\\AppDefaults\\" + exeName;
        ::RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key_.Put(),
                          nullptr);
        wchar_t old[64] = {};
        DWORD size = sizeof old - sizeof(wchar_t);
        DWORD type = 0;
        hadOld_ = ::RegQueryValueExW(key_.Get(), L"Version", nullptr, &type, reinterpret_cast<BYTE*>(old), &size) ==
                      ERROR_SUCCESS &&
                  type == REG_SZ;
        old_ = old;
    }
    ~ScopedWineVersion() {
        if (hadOld_)
            Set(old_);
        else
            ::RegDeleteValueW(key_.Get(), L"Version");
    }
    bool Set(const std::wstring& version) {
        return ::RegSetValueExW(key_.Get(), L"Version", 0, REG_SZ, reinterpret_cast<const BYTE*>(version.c_str()),
                                static_cast<DWORD>((version.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
    }

private:
    platform::unique_hkey key_;
    bool hadOld_ = false;
    std::wstring old_;
};

constexpr const wchar_t* kChildVariable = L"VANTREL_OSINFO_CHILD";

std::wstring OwnPath() {
    std::wstring path(32768, L'\0');
    path.resize(::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

// Starts this program again running only the child test below, and answers
// the child's exit code: the version number it saw, or -1 if it did not run.
int RunChild() {
    std::wstring commandLine = L"\"" + OwnPath() + L"\" --gtest_filter=OSInfoChild.ExitsWithTheWindowsVersion";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION info{};
    ::SetEnvironmentVariableW(kChildVariable, L"1");
    const BOOL started = ::CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                                          &startup, &info);
    ::SetEnvironmentVariableW(kChildVariable, nullptr);
    if (!started) return -1;
    const platform::unique_handle process(info.hProcess);
    const platform::unique_handle thread(info.hThread);
    if (::WaitForSingleObject(process.Get(), 60000) != WAIT_OBJECT_0) return -1;
    DWORD code = 0;
    ::GetExitCodeProcess(process.Get(), &code);
    return static_cast<int>(code);
}

TEST(OSInfoChild, ExitsWithTheWindowsVersion) {
    if (::GetEnvironmentVariableW(kChildVariable, nullptr, 0) == 0) GTEST_SKIP() << "runs only as a child process";
    ::ExitProcess(static_cast<UINT>(WindowsVersion()));
}

TEST(OSInfo, RecognisesTheReleasesWineImitates) {
    const std::wstring exeName = OwnPath().substr(OwnPath().find_last_of(L'\\') + 1);
    ScopedWineVersion version(exeName);
    // Wine 8 gives "win7" the server product type and "win2008r2" the
    // workstation one (measured: both report 6.1, with the types swapped), so
    // for those two only the version 6.1 family is checked here; the
    // workstation/server split of 6.1 is covered by the native facts table.
    const std::pair<const wchar_t*, int> cases[] = {
        {L"winxp", wvWinXP}, {L"winxp64", wvWinXP64}, {L"win2003", wvWin2003}, {L"vista", wvVista},
        {L"win2008", wvWin2008}, {L"win8", wvWin8}, {L"win81", wvWin81}, {L"win10", wvWin10},
    };
    for (const auto& [wineName, expected] : cases) {
        ASSERT_TRUE(version.Set(wineName));
        EXPECT_EQ(RunChild(), expected) << std::string(wineName, wineName + wcslen(wineName));
    }
    for (const wchar_t* sixOne : {L"win7", L"win2008r2"}) {
        ASSERT_TRUE(version.Set(sixOne));
        const int seen = RunChild();
        EXPECT_TRUE(seen == wvWin7 || seen == wvWin2008R2) << seen;
    }
}

}  // namespace
}  // namespace vt::OSInfo
