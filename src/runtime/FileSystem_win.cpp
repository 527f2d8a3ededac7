#include <cstdio>

#include "platform/Handles.h"
#include "runtime/FileSystem.h"
#include "runtime/Strings.h"

namespace vt {

std::wstring NativePath(const std::wstring& path) { return path; }

bool FileExists(const std::wstring& path) {
    const DWORD a = ::GetFileAttributesW(path.c_str());
    return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool DirectoryExists(const std::wstring& path) {
    const DWORD a = ::GetFileAttributesW(path.c_str());
    return a != INVALID_FILE_ATTRIBUTES && (a & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool ForceDirectories(const std::wstring& path) {
    const std::wstring dir = ExcludeTrailingPathDelimiter(path);
    if (dir.empty()) return false;
    if (DirectoryExists(dir)) return true;
    const std::wstring parent = ExtractFileDir(dir);
    // Stop at a drive root ("C:" or "C:\") or when the path has no parent.
    if (!parent.empty() && parent != dir && !(parent.size() <= 3 && parent.find(L':') != std::wstring::npos))
        ForceDirectories(parent);
    return ::CreateDirectoryW(dir.c_str(), nullptr) != 0 || ::GetLastError() == ERROR_ALREADY_EXISTS;
}

std::int64_t FileSizeOf(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return -1;
    if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) return -1;
    return (static_cast<std::int64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
}

bool RemoveFile(const std::wstring& path) { return ::DeleteFileW(path.c_str()) != 0; }
bool RemoveEmptyDirectory(const std::wstring& path) { return ::RemoveDirectoryW(path.c_str()) != 0; }
bool RenameFile(const std::wstring& from, const std::wstring& to) {
    return ::MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING) != 0;
}

bool CanOpenForDelete(const std::wstring& path) {
    platform::unique_hfile file(::CreateFileW(path.c_str(), DELETE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return file.IsValid();
}

std::FILE* OpenFileForAppend(const std::wstring& path) { return ::_wfopen(path.c_str(), L"ab"); }

bool WriteWholeFile(const std::wstring& path, const std::vector<std::uint8_t>& bytes) {
    platform::unique_hfile file(::CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                              FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return false;
    DWORD written = 0;
    return bytes.empty() ||
           (::WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) &&
            written == bytes.size());
}

std::vector<std::uint8_t> ReadWholeFile(const std::wstring& path) {
    std::vector<std::uint8_t> bytes;
    platform::unique_hfile file(::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                              nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) return bytes;
    std::uint8_t buf[65536];
    DWORD n = 0;
    while (::ReadFile(file.Get(), buf, sizeof buf, &n, nullptr) && n > 0) bytes.insert(bytes.end(), buf, buf + n);
    return bytes;
}

}  // namespace vt
