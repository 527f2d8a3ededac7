#include <dirent.h>
#include <sys/stat.h>

#include "platform/DirectoryList.h"
#include "platform/NativePaths.h"

namespace vt::platform {

namespace {

// Seconds and nanoseconds since 1970 as a FILETIME value.
std::uint64_t ToFileTime(const struct timespec& t) noexcept {
    constexpr std::uint64_t kEpochDifference = 116444736000000000ull;  // 1601 to 1970 in 100 ns
    if (t.tv_sec < 0) return 0;
    return kEpochDifference + static_cast<std::uint64_t>(t.tv_sec) * 10000000ull +
           static_cast<std::uint64_t>(t.tv_nsec) / 100;
}

struct DirCloser {
    void operator()(DIR* d) const noexcept { ::closedir(d); }
};

}  // namespace

struct DirectoryReader::State {
    std::unique_ptr<DIR, DirCloser> dir;
    std::string folder;  // native form, ending in '/'
    DirDetail detail = DirDetail::Full;
};

DirectoryReader::DirectoryReader() : state_(std::make_unique<State>()) {}
DirectoryReader::~DirectoryReader() = default;

bool DirectoryReader::Open(const std::wstring& folder, DirDetail detail) {
    Close();
    std::string native = HostBytes(HostPath(folder));
    if (native.empty()) return false;
    if (native.back() != '/') native += '/';
    state_->dir.reset(::opendir(native.c_str()));
    if (!state_->dir) return false;
    state_->folder = std::move(native);
    state_->detail = detail;
    return true;
}

bool DirectoryReader::Next(DirEntry& entry) {
    if (!state_->dir) return false;
    const dirent* d = ::readdir(state_->dir.get());
    if (d == nullptr) return false;
    entry.name = FromHostBytes(d->d_name);
    entry.size = 0;
    entry.creationTime = entry.lastAccessTime = entry.lastWriteTime = 0;
    const bool hidden = d->d_name[0] == '.' && d->d_name[1] != '\0' && !(d->d_name[1] == '.' && d->d_name[2] == '\0');
    if (state_->detail == DirDetail::NamesAndKinds && (d->d_type == DT_DIR || d->d_type == DT_REG)) {
        // The kind is in the directory entry itself: no stat needed.
        entry.attributes = (d->d_type == DT_DIR ? kAttrDirectory : kAttrArchive) | (hidden ? kAttrHidden : 0);
        return true;
    }
    const std::string full = state_->folder + d->d_name;
    struct stat st{};
    if (::lstat(full.c_str(), &st) != 0) {
        // Vanished between readdir and lstat: report the name as a plain file.
        entry.attributes = kAttrNormal;
        return true;
    }
    if (S_ISLNK(st.st_mode)) {
        entry.attributes = kAttrReparsePoint;
        struct stat target{};
        if (::stat(full.c_str(), &target) == 0 && S_ISDIR(target.st_mode)) entry.attributes |= kAttrDirectory;
    } else if (S_ISDIR(st.st_mode)) {
        entry.attributes = kAttrDirectory;
    } else {
        entry.attributes = kAttrArchive;
        entry.size = static_cast<std::uint64_t>(st.st_size);
    }
    if (hidden) entry.attributes |= kAttrHidden;
    entry.creationTime = ToFileTime(st.st_ctim);
    entry.lastAccessTime = ToFileTime(st.st_atim);
    entry.lastWriteTime = ToFileTime(st.st_mtim);
    return true;
}

void DirectoryReader::Close() noexcept { state_->dir.reset(); }

}  // namespace vt::platform
