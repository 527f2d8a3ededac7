// Directory listing behind one small interface: the Windows find calls
// (FindFirstFileW / FindNextFileW / FindClose, through the syscall table so
// tests can fail them) on Windows, POSIX opendir / readdir natively, so the
// file search and the file categories run natively under the sanitizers.
// Portable: no <windows.h> here.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vt::platform {

// File attribute bits as Windows reports them.
inline constexpr std::uint32_t kAttrReadOnly = 0x1;
inline constexpr std::uint32_t kAttrHidden = 0x2;
inline constexpr std::uint32_t kAttrSystem = 0x4;
inline constexpr std::uint32_t kAttrDirectory = 0x10;
inline constexpr std::uint32_t kAttrArchive = 0x20;
inline constexpr std::uint32_t kAttrNormal = 0x80;
inline constexpr std::uint32_t kAttrReparsePoint = 0x400;

// One entry of a listing. Times are FILETIME values (100 ns since 1601, UTC).
struct DirEntry {
    std::wstring name;  // file name only, no folder
    std::uint32_t attributes = 0;
    std::uint64_t size = 0;
    std::uint64_t creationTime = 0;
    std::uint64_t lastAccessTime = 0;
    std::uint64_t lastWriteTime = 0;

    bool IsDirectory() const noexcept { return (attributes & kAttrDirectory) != 0; }
    // Junctions and symbolic links (natively: every symbolic link).
    bool IsReparsePoint() const noexcept { return (attributes & kAttrReparsePoint) != 0; }
};

// How much a listing reports of each entry.
enum class DirDetail {
    Full,          // name, attributes, size and times
    NamesAndKinds  // name and attributes only (natively no per-entry stat for plain files and folders)
};

// Reads one folder's entries one at a time, in the order the file system
// gives them ("." and ".." included where the system lists them). Natively a
// symbolic link is reported with kAttrReparsePoint, plus kAttrDirectory when
// it points at a folder, as Windows shows a directory link.
class DirectoryReader {
public:
    DirectoryReader();
    ~DirectoryReader();
    DirectoryReader(const DirectoryReader&) = delete;
    DirectoryReader& operator=(const DirectoryReader&) = delete;

    // Starts listing folder (with or without a trailing backslash; Windows
    // form). False when it cannot be listed; any earlier listing is closed.
    bool Open(const std::wstring& folder, DirDetail detail = DirDetail::Full);
    // The next entry into entry; false at the end or on a read failure.
    bool Next(DirEntry& entry);
    // Ends the listing (also done by the destructor and by Open).
    void Close() noexcept;

private:
    struct State;
    std::unique_ptr<State> state_;
};

// The whole listing of folder into entries (replaced); false, with entries
// empty, when the folder cannot be listed.
bool ListDirectory(const std::wstring& folder, std::vector<DirEntry>& entries);

}  // namespace vt::platform
