#include <chrono>
#include <thread>

#include "categories/windows/FileCategorySystem.h"
#include "runtime/FileSystem.h"
#include "runtime/FileUtils.h"
#include "runtime/OSInfo.h"
#include "runtime/RegistryReader.h"

namespace vt {

namespace {

// Natively: the Windows folder the runtime answers, the native registry, no
// drives, no shell folders and no hibernation.
class NativeFileCategorySystem final : public IFileCategorySystem {
public:
    std::wstring WindowsDirectory() override { return FileUtils::WindowsDirectory(); }
    std::wstring TempPath() override { return {}; }
    std::optional<std::wstring> ShellFolder(int) override { return std::nullopt; }
    std::vector<std::wstring> LogicalDriveRoots() override { return {}; }
    std::uint32_t DriveType(const std::wstring&) override { return 0; }
    std::wstring FileSystemName(const std::wstring&) override { return {}; }
    int WindowsVersion() override { return OSInfo::WindowsVersion(); }
    std::wstring ExpandEnvironment(const std::wstring& text) override { return FileUtils::ExpandEnvironment(text); }
    const IRegistryReader& Registry() override { return SystemRegistry(); }
    bool HibernationFilePresent() override { return false; }
    std::uint32_t ReserveHibernationFile(bool) override { return 0xC0000002u; }  // STATUS_NOT_IMPLEMENTED
    bool FileExists(const std::wstring& path) override { return vt::FileExists(path); }
    void Sleep(std::uint32_t ms) override { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }
};

}  // namespace

std::unique_ptr<IFileCategorySystem> MakeFileCategorySystem() { return std::make_unique<NativeFileCategorySystem>(); }

}  // namespace vt
