#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "runtime/Exception.h"
#include "runtime/FileStream.h"
#include "runtime/FileSystem.h"
#include "runtime/Utf.h"
#include "vantrel/ComTypes.h"

namespace vt {

struct FileStream::Handle {
    int fd = -1;
    ~Handle() {
        if (fd >= 0) ::close(fd);
    }
};

namespace {

std::wstring Reason(int error) { return FromUtf8(std::strerror(error)); }

[[noreturn]] void ThrowFileError(HRESULT code, const wchar_t* what, const std::wstring& path, int error) {
    throw Exception(code, std::wstring(what) + L" \"" + path + L"\". " + Reason(error));
}

}  // namespace

FileStream::FileStream(const std::wstring& path, std::uint32_t mode) : path_(path), handle_(new Handle) {
    int flags = O_CLOEXEC;
    const bool create = (mode & fmCreate) == fmCreate;
    if (create) {
        flags |= O_RDWR | O_CREAT | O_TRUNC;
    } else {
        switch (mode & 0x0F) {
            case fmOpenRead: flags |= O_RDONLY; break;
            case fmOpenWrite: flags |= O_WRONLY; break;
            case fmOpenReadWrite: flags |= O_RDWR; break;
            default: ThrowInvalidOperation(L"Invalid file mode for \"" + path + L"\"");
        }
    }
    // The sharing bits have no POSIX counterpart (no mandatory locks); they are ignored.
    const std::string native = ToUtf8(NativePath(path));
    do {
        handle_->fd = ::open(native.c_str(), flags, 0644);
    } while (handle_->fd < 0 && errno == EINTR);
    if (handle_->fd < 0) {
        const int error = errno;
        ThrowFileError(E_FAIL, create ? L"Cannot create file" : L"Cannot open file", path, error);
    }
    // open() happily opens a folder read-only; a stream over one is useless.
    struct stat st{};
    if (::fstat(handle_->fd, &st) == 0 && S_ISDIR(st.st_mode))
        ThrowFileError(E_FAIL, L"Cannot open file", path, EISDIR);
}

FileStream::~FileStream() = default;

std::size_t FileStream::Read(void* buffer, std::size_t count) {
    auto* out = static_cast<std::uint8_t*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const std::size_t chunk = std::min<std::size_t>(count - done, 1u << 30);
        const ssize_t got = ::read(handle_->fd, out + done, chunk);
        if (got < 0) {
            if (errno == EINTR) continue;
            ThrowFileError(STG_E_READFAULT, L"Cannot read file", path_, errno);
        }
        if (got == 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

void FileStream::Write(const void* buffer, std::size_t count) {
    const auto* in = static_cast<const std::uint8_t*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const std::size_t chunk = std::min<std::size_t>(count - done, 1u << 30);
        const ssize_t put = ::write(handle_->fd, in + done, chunk);
        if (put < 0) {
            if (errno == EINTR) continue;
            ThrowFileError(STG_E_WRITEFAULT, L"Cannot write file", path_, errno);
        }
        if (put == 0) ThrowFileError(STG_E_WRITEFAULT, L"Cannot write file", path_, ENOSPC);
        done += static_cast<std::size_t>(put);
    }
}

std::int64_t FileStream::Seek(std::int64_t offset, SeekOrigin origin) {
    const int whence = origin == SeekOrigin::Begin ? SEEK_SET : origin == SeekOrigin::Current ? SEEK_CUR : SEEK_END;
    const off_t result = ::lseek(handle_->fd, static_cast<off_t>(offset), whence);
    if (result < 0) ThrowStreamSeek(E_INVALIDARG);
    return static_cast<std::int64_t>(result);
}

std::int64_t FileStream::Position() {
    const off_t result = ::lseek(handle_->fd, 0, SEEK_CUR);
    if (result < 0) ThrowStreamSeek(E_FAIL);
    return static_cast<std::int64_t>(result);
}

std::int64_t FileStream::Size() {
    struct stat st{};
    if (::fstat(handle_->fd, &st) != 0) ThrowFileError(STG_E_READFAULT, L"Cannot read file", path_, errno);
    return static_cast<std::int64_t>(st.st_size);
}

void FileStream::SetSize(std::int64_t size) {
    if (size < 0) ThrowStreamWrite();
    if (::ftruncate(handle_->fd, static_cast<off_t>(size)) != 0)
        ThrowFileError(STG_E_WRITEFAULT, L"Cannot write file", path_, errno);
}

}  // namespace vt
