// A drive of its own for search tests: a scratch folder that drive paths
// ("C:\...") reach. Natively the drive letter is mapped to the folder; on
// Windows the folder is used through its own drive path. Natively each
// drive of a test needs its own letter.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>

#include "platform/NativePaths.h"
#include "runtime/FileSystem.h"
#include "services/TempFolder.h"

namespace vt::test {

class ScratchDrive {
public:
    explicit ScratchDrive(wchar_t letter = L'Q') : letter_(letter) {
#if defined(_WIN32)
        root_ = folder_.Root() + L"\\";
#else
        ForceDirectories(folder_.Root());
        platform::SetDriveRoot(letter_, folder_.Root());
        root_ = std::wstring(1, letter_) + L":\\";
#endif
        ForceDirectories(root_);
    }
    ~ScratchDrive() {
#if !defined(_WIN32)
        platform::SetDriveRoot(letter_, std::nullopt);
#endif
    }
    ScratchDrive(const ScratchDrive&) = delete;
    ScratchDrive& operator=(const ScratchDrive&) = delete;

    // The drive path of the scratch folder, ending in a backslash ("Q:\" natively).
    const std::wstring& Root() const noexcept { return root_; }
    std::wstring Path(const std::wstring& relative) const { return root_ + relative; }

    // Writes a file of the given size (folders created as needed).
    void File(const std::wstring& relative, std::size_t size = 16) const {
        const std::wstring path = Path(relative);
        ForceDirectories(path.substr(0, path.rfind(L'\\')));
        WriteWholeFile(path, std::vector<std::uint8_t>(size, 0x4D));
    }
    void Folder(const std::wstring& relative) const { ForceDirectories(Path(relative)); }
    // A symbolic link at relative pointing at target (a host path), made the Unix way.
    bool Link(const std::wstring& relative, const std::wstring& hostTarget) const {
        std::error_code ec;
        std::filesystem::create_directory_symlink(std::filesystem::path(NativePath(hostTarget)),
                                                  std::filesystem::path(NativePath(Path(relative))), ec);
        return !ec;
    }
    std::wstring HostPath(const std::wstring& relative) const { return NativePath(Path(relative)); }

private:
    wchar_t letter_;
    TempFolder folder_;
    std::wstring root_;
};

}  // namespace vt::test
