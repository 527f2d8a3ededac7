// vt::FileStream: a vt::Stream over a file, opened with the Delphi-style mode
// word the record containers use: an access part (create, read-only,
// read-write) combined with a sharing part (deny-write and friends).
//
// On Windows the sharing part becomes CreateFileW's share mode. Natively the
// file is opened with plain POSIX open(); POSIX has no mandatory sharing
// modes, so the sharing part is accepted and ignored there.
//
// Paths are written the Windows way; the native build maps backslashes to
// slashes (vt::NativePath).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "runtime/Stream.h"

namespace vt {

// Access part of the mode word (low nibble, or the whole create value).
constexpr std::uint32_t fmCreate = 0xFF00;         // create or truncate, read-write
constexpr std::uint32_t fmOpenRead = 0x0000;       // existing file, read-only
constexpr std::uint32_t fmOpenWrite = 0x0001;      // existing file, write-only
constexpr std::uint32_t fmOpenReadWrite = 0x0002;  // existing file, read-write

// Sharing part (bits 4..7): what other openers may do while this one is open.
constexpr std::uint32_t fmShareCompat = 0x0000;     // no restriction stated: others may read and write
constexpr std::uint32_t fmShareExclusive = 0x0010;  // others may do nothing
constexpr std::uint32_t fmShareDenyWrite = 0x0020;  // others may read
constexpr std::uint32_t fmShareDenyRead = 0x0030;   // others may write
constexpr std::uint32_t fmShareDenyNone = 0x0040;   // others may read and write

class FileStream final : public Stream {
public:
    // Opens (or with fmCreate creates or truncates) the file. On failure raises
    // vt::Exception "Cannot create file "<path>". <reason>" or "Cannot open file
    // "<path>". <reason>" and no file handle is left open. An access part other
    // than the four above raises the invalid-operation error.
    FileStream(const std::wstring& path, std::uint32_t mode);
    ~FileStream() override;
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;

    // Stream's contract; a failing system call raises the stream's read, write
    // or seek error naming the file.
    std::size_t Read(void* buffer, std::size_t count) override;
    void Write(const void* buffer, std::size_t count) override;
    std::int64_t Seek(std::int64_t offset, SeekOrigin origin) override;
    std::int64_t Position() override;
    std::int64_t Size() override;
    void SetSize(std::int64_t size) override;

    // The path as given to the constructor.
    const std::wstring& Path() const noexcept { return path_; }

private:
    // The platform's open file (a HANDLE owner on Windows, a descriptor natively).
    struct Handle;

    std::wstring path_;
    std::unique_ptr<Handle> handle_;
};

}  // namespace vt
