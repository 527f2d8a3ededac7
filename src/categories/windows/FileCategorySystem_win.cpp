#include "categories/windows/FileCategorySystem.h"
#include "platform/Win32.h"
#include "runtime/FileSystem.h"
#include "runtime/FileUtils.h"
#include "runtime/OSInfo.h"
#include "runtime/RegistryReader.h"

#include <powrprof.h>

namespace vt {

namespace {

constexpr POWER_INFORMATION_LEVEL kSystemReserveHiberFile = static_cast<POWER_INFORMATION_LEVEL>(10);

class WindowsFileCategorySystem final : public IFileCategorySystem {
public:
    std::wstring WindowsDirectory() override { return FileUtils::WindowsDirectory(); }
    std::wstring TempPath() override {
        wchar_t path[MAX_PATH + 1] = {};
        const DWORD n = ::GetTempPathW(MAX_PATH + 1, path);
        return n == 0 || n > MAX_PATH ? std::wstring() : std::wstring(path, n);
    }
    std::optional<std::wstring> ShellFolder(int csidl) override {
        wchar_t path[MAX_PATH] = {};
        if (FAILED(::SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, path))) return std::nullopt;
        return std::wstring(path);
    }
    std::vector<std::wstring> LogicalDriveRoots() override {
        wchar_t buffer[256] = {};
        const DWORD n = ::GetLogicalDriveStringsW(256, buffer);
        std::vector<std::wstring> roots;
        for (DWORD i = 0; i < n && i < 256 && buffer[i] != 0;) {
            roots.emplace_back(buffer + i);
            i += static_cast<DWORD>(roots.back().size()) + 1;
        }
        return roots;
    }
    std::uint32_t DriveType(const std::wstring& root) override { return ::GetDriveTypeW(root.c_str()); }
    std::wstring FileSystemName(const std::wstring& root) override {
        wchar_t name[13] = {};
        if (!::GetVolumeInformationW(root.c_str(), nullptr, 0, nullptr, nullptr, nullptr, name, 13)) return {};
        return name;
    }
    int WindowsVersion() override { return OSInfo::WindowsVersion(); }
    std::wstring ExpandEnvironment(const std::wstring& text) override { return FileUtils::ExpandEnvironment(text); }
    const IRegistryReader& Registry() override { return SystemRegistry(); }
    bool HibernationFilePresent() override {
        SYSTEM_POWER_CAPABILITIES caps{};
        return ::GetPwrCapabilities(&caps) && caps.SystemS4 && caps.HiberFilePresent;
    }
    std::uint32_t ReserveHibernationFile(bool reserve) override {
        BOOLEAN value = reserve ? 0xFF : 0;
        return static_cast<std::uint32_t>(
            ::CallNtPowerInformation(kSystemReserveHiberFile, &value, sizeof value, nullptr, 0));
    }
    bool FileExists(const std::wstring& path) override { return vt::FileExists(path); }
    void Sleep(std::uint32_t ms) override { ::Sleep(ms); }
};

}  // namespace

std::unique_ptr<IFileCategorySystem> MakeFileCategorySystem() { return std::make_unique<WindowsFileCategorySystem>(); }

}  // namespace vt
