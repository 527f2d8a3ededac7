#include <algorithm>

#include "platform/Handles.h"
#include "platform/SysCalls.h"
#include "runtime/Exception.h"
#include "runtime/FileStream.h"

namespace vt {

struct FileStream::Handle {
    platform::unique_hfile file;
};

namespace {

// The system's text for an error code, without the trailing line break.
std::wstring Reason(DWORD error) {
    wchar_t* text = nullptr;
    const DWORD n = ::FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                         FORMAT_MESSAGE_IGNORE_INSERTS,
                                     nullptr, error, 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::wstring result = n && text ? std::wstring(text, n) : L"System error " + std::to_wstring(error) + L".";
    if (text) ::LocalFree(text);
    while (!result.empty() && (result.back() == L'\n' || result.back() == L'\r')) result.pop_back();
    return result;
}

[[noreturn]] void ThrowFileError(const wchar_t* what, const std::wstring& path, DWORD error) {
    throw Exception(HRESULT_FROM_WIN32(error), std::wstring(what) + L" \"" + path + L"\". " + Reason(error));
}

DWORD ShareModeOf(std::uint32_t mode) {
    switch (mode & 0xF0) {
        case fmShareExclusive: return 0;
        case fmShareDenyWrite: return FILE_SHARE_READ;
        case fmShareDenyRead: return FILE_SHARE_WRITE;
        default: return FILE_SHARE_READ | FILE_SHARE_WRITE;  // compat and deny-none
    }
}

}  // namespace

FileStream::FileStream(const std::wstring& path, std::uint32_t mode) : path_(path), handle_(new Handle) {
    const bool create = (mode & fmCreate) == fmCreate;
    DWORD access = GENERIC_READ | GENERIC_WRITE;
    if (!create) {
        switch (mode & 0x0F) {
            case fmOpenRead: access = GENERIC_READ; break;
            case fmOpenWrite: access = GENERIC_WRITE; break;
            case fmOpenReadWrite: access = GENERIC_READ | GENERIC_WRITE; break;
            default: ThrowInvalidOperation(L"Invalid file mode for \"" + path + L"\"");
        }
    }
    // fmCreate (0xFF00) leaves bits 4..7 free, so the sharing part reads the
    // same way for every access part.
    const DWORD share = ShareModeOf(mode);
    *handle_->file.Put() = platform::SysCalls().CreateFileW(path.c_str(), access, share, nullptr,
                                                            create ? CREATE_ALWAYS : OPEN_EXISTING,
                                                            FILE_ATTRIBUTE_NORMAL, nullptr);
    if (!handle_->file) ThrowFileError(create ? L"Cannot create file" : L"Cannot open file", path, ::GetLastError());
}

FileStream::~FileStream() = default;

std::size_t FileStream::Read(void* buffer, std::size_t count) {
    auto* out = static_cast<std::uint8_t*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(count - done, 1u << 30));
        DWORD got = 0;
        if (!::ReadFile(handle_->file.Get(), out + done, chunk, &got, nullptr))
            ThrowFileError(L"Cannot read file", path_, ::GetLastError());
        if (got == 0) break;
        done += got;
    }
    return done;
}

void FileStream::Write(const void* buffer, std::size_t count) {
    const auto* in = static_cast<const std::uint8_t*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(count - done, 1u << 30));
        DWORD put = 0;
        if (!::WriteFile(handle_->file.Get(), in + done, chunk, &put, nullptr))
            ThrowFileError(L"Cannot write file", path_, ::GetLastError());
        if (put == 0) ThrowFileError(L"Cannot write file", path_, ERROR_DISK_FULL);
        done += put;
    }
}

std::int64_t FileStream::Seek(std::int64_t offset, SeekOrigin origin) {
    const DWORD method = origin == SeekOrigin::Begin ? FILE_BEGIN : origin == SeekOrigin::Current ? FILE_CURRENT : FILE_END;
    LARGE_INTEGER move{};
    move.QuadPart = offset;
    LARGE_INTEGER result{};
    // A target before the start fails with ERROR_NEGATIVE_SEEK and leaves the position.
    if (!::SetFilePointerEx(handle_->file.Get(), move, &result, method)) ThrowStreamSeek(E_INVALIDARG);
    return result.QuadPart;
}

std::int64_t FileStream::Position() { return Seek(0, SeekOrigin::Current); }

std::int64_t FileStream::Size() {
    LARGE_INTEGER size{};
    if (!::GetFileSizeEx(handle_->file.Get(), &size)) ThrowFileError(L"Cannot read file", path_, ::GetLastError());
    return size.QuadPart;
}

void FileStream::SetSize(std::int64_t size) {
    if (size < 0) ThrowStreamWrite();
    // SetEndOfFile cuts at the position, so move there and come back.
    const std::int64_t position = Position();
    Seek(size, SeekOrigin::Begin);
    const BOOL ok = ::SetEndOfFile(handle_->file.Get());
    const DWORD error = ::GetLastError();
    Seek(position, SeekOrigin::Begin);
    if (!ok) ThrowFileError(L"Cannot write file", path_, error);
}

}  // namespace vt
