#include <cstdlib>

#include "runtime/FileUtils.h"
#include "runtime/RegistryReader.h"
#include "runtime/Utf.h"
#include "services/CriticalFolders.h"

namespace vt {

namespace {

// Natively there are no drives and no shell folders: nothing is restricted
// unless a test scripts its own answers.
class NativeSystem final : public ICriticalFoldersSystem {
public:
    std::uint32_t LogicalDrives() override { return 0; }
    std::uint32_t DriveType(const std::wstring&) override { return 0; }
    std::wstring NativeName(const std::wstring&) override { return {}; }
    std::optional<std::wstring> ShellFolder(int) override { return std::nullopt; }
    std::optional<std::wstring> KnownFolderPath(KnownFolder) override { return std::nullopt; }
    std::optional<std::wstring> ProfilesDirectory() override { return std::nullopt; }
    std::optional<std::wstring> AllUsersProfileDirectory() override { return std::nullopt; }
    std::optional<std::wstring> DefaultUserProfileDirectory() override { return std::nullopt; }
    std::wstring Environment(const std::wstring& name) override {
        const char* value = std::getenv(ToUtf8(name).c_str());
        return value ? FromUtf8(value) : std::wstring();
    }
    std::wstring LongPathName(const std::wstring& path) override { return path; }
    std::wstring ExpandEnvironment(const std::wstring& text) override { return FileUtils::ExpandEnvironment(text); }
    std::wstring UserName() override { return {}; }
    std::vector<std::uint8_t> AccountSid(const std::wstring&) override { return {}; }
    std::wstring UserSidText() override { return {}; }
    const IRegistryReader& Registry() override { return SystemRegistry(); }
};

}  // namespace

std::unique_ptr<ICriticalFoldersSystem> MakeSystemCriticalFoldersSystem() { return std::make_unique<NativeSystem>(); }

}  // namespace vt
