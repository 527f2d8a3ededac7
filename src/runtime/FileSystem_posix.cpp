#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/NativePaths.h"
#include "runtime/FileSystem.h"
#include "runtime/Utf.h"

namespace vt {

std::wstring NativePath(const std::wstring& path) { return platform::HostPath(path); }

namespace {
std::string N(const std::wstring& path) { return ToUtf8(NativePath(path)); }
}  // namespace

bool FileExists(const std::wstring& path) {
    struct stat st{};
    return ::stat(N(path).c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool DirectoryExists(const std::wstring& path) {
    struct stat st{};
    return ::stat(N(path).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool ForceDirectories(const std::wstring& path) {
    std::string p = N(path);
    while (p.size() > 1 && p.back() == '/') p.pop_back();
    if (p.empty()) return false;
    for (std::size_t i = 1; i <= p.size(); ++i) {
        if (i == p.size() || p[i] == '/') {
            const std::string part = p.substr(0, i);
            if (::mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) return false;
        }
    }
    return DirectoryExists(path);
}

std::int64_t FileSizeOf(const std::wstring& path) {
    struct stat st{};
    if (::stat(N(path).c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
    return static_cast<std::int64_t>(st.st_size);
}

bool RemoveFile(const std::wstring& path) { return ::unlink(N(path).c_str()) == 0; }
bool RemoveEmptyDirectory(const std::wstring& path) { return ::rmdir(N(path).c_str()) == 0; }
bool RenameFile(const std::wstring& from, const std::wstring& to) {
    return std::rename(N(from).c_str(), N(to).c_str()) == 0;
}

bool CanOpenForDelete(const std::wstring& path) {
    // Deleting a file needs write access to its folder.
    if (!FileExists(path)) return false;
    std::string native = N(path);
    const auto slash = native.find_last_of('/');
    const std::string folder = slash == std::string::npos ? "." : (slash == 0 ? "/" : native.substr(0, slash));
    return ::access(folder.c_str(), W_OK) == 0;
}

std::FILE* OpenFileForAppend(const std::wstring& path) { return std::fopen(N(path).c_str(), "ab"); }

bool WriteWholeFile(const std::wstring& path, const std::vector<std::uint8_t>& bytes) {
    std::FILE* f = std::fopen(N(path).c_str(), "wb");
    if (!f) return false;
    const bool ok = bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return std::fclose(f) == 0 && ok;
}

std::vector<std::uint8_t> ReadWholeFile(const std::wstring& path) {
    std::vector<std::uint8_t> bytes;
    std::FILE* f = std::fopen(N(path).c_str(), "rb");
    if (!f) return bytes;
    std::uint8_t buf[65536];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) bytes.insert(bytes.end(), buf, buf + n);
    std::fclose(f);
    return bytes;
}

}  // namespace vt
