#include "WipeHelper_win.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "../common/Links_win.h"
#include "../common/SystemError_win.h"
#include "platform/Handles.h"
#include "runtime/ComBoundary.h"
#include "runtime/Strings.h"

namespace vt::wipe {

namespace {

using platform::unique_hfile;
using siblings::ThrowLastError;
using siblings::ThrowSystemError;

constexpr DWORD kProtectingAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;
constexpr std::size_t kBlock = 1 << 20;

std::wstring Quoted(const std::wstring& path) { return L"\"" + path + L"\""; }

// A name of 16 random hexadecimal digits in the folder of path, that does not exist yet.
std::wstring RandomNameBeside(const std::wstring& path, std::mt19937_64& random) {
    const std::wstring folder = ExtractFilePath(path);
    for (;;) {
        wchar_t name[17];
        std::uint64_t bits = random();
        for (int i = 0; i < 16; ++i, bits >>= 4) name[i] = L"0123456789abcdef"[bits & 15];
        name[16] = 0;
        std::wstring candidate = folder + name;
        if (::GetFileAttributesW(candidate.c_str()) == INVALID_FILE_ATTRIBUTES) return candidate;
    }
}

// One pass over the whole file: zeros, or random bytes; flushed to the disk.
void OverwritePass(HANDLE file, std::uint64_t size, bool randomData, std::mt19937_64& random,
                   const std::wstring& path) {
    std::vector<std::uint8_t> block(static_cast<std::size_t>(std::min<std::uint64_t>(size, kBlock)));
    LARGE_INTEGER start{};
    if (!::SetFilePointerEx(file, start, nullptr, FILE_BEGIN)) ThrowLastError(L"Cannot overwrite " + Quoted(path));
    for (std::uint64_t left = size; left > 0;) {
        const DWORD chunk = static_cast<DWORD>(std::min<std::uint64_t>(left, block.size()));
        if (randomData)
            for (std::size_t i = 0; i < chunk; i += 8) {
                const std::uint64_t bits = random();
                std::memcpy(block.data() + i, &bits, std::min<std::size_t>(8, chunk - i));
            }
        DWORD written = 0;
        if (!::WriteFile(file, block.data(), chunk, &written, nullptr) || written != chunk)
            ThrowLastError(L"Cannot overwrite " + Quoted(path));
        left -= chunk;
    }
    if (!::FlushFileBuffers(file)) ThrowLastError(L"Cannot flush " + Quoted(path) + L" to the disk");
}

}  // namespace

HRESULT TWipeHelper::Reserved(int slot) noexcept {
    return Guarded([slot] {
        throw Exception(E_NOTIMPL, L"IDiskWipeHelper operation " + std::to_wstring(slot) +
                                       L" is reserved and does nothing in this wipe helper");
    });
}

HRESULT TWipeHelper::SetPassCount(std::int32_t passes) {
    return Guarded([&] {
        if (passes < 1 || passes > kMaxPasses)
            throw Exception(E_INVALIDARG, L"The number of wipe passes must be between 1 and " +
                                              std::to_wstring(kMaxPasses) + L", not " + std::to_wstring(passes));
        passes_ = passes;
    });
}

HRESULT TWipeHelper::GetPassCount(std::int32_t* passes) {
    return Guarded([&] { *Out(passes) = passes_; });
}

HRESULT TWipeHelper::WipeFile(const wchar_t* fileName, std::uint64_t* wipedBytes, bool* wiped) {
    if (wipedBytes) *wipedBytes = 0;
    if (wiped) *wiped = false;
    return Guarded([&] {
        Out(wipedBytes);
        Out(wiped);
        const std::wstring path = FromBstr(fileName);
        if (path.empty()) throw Exception(E_INVALIDARG, L"WipeFile needs a file name");
        const DWORD attributes = ::GetFileAttributesW(path.c_str());
        if (attributes == INVALID_FILE_ATTRIBUTES) ThrowLastError(L"Cannot wipe " + Quoted(path));
        // A link is never opened: wiping through it would overwrite its target.
        if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) || siblings::IsReparsePoint(path))
            throw Exception(HRESULT_FROM_WIN32(ERROR_CANT_ACCESS_FILE),
                            Quoted(path) + L" is a reparse point (a symbolic link or junction); the wipe helper "
                                           L"does not follow it and leaves it in place");
        if (attributes & FILE_ATTRIBUTE_DIRECTORY)
            throw Exception(HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), Quoted(path) + L" is a folder, not a file");
        if (attributes & kProtectingAttributes) ::SetFileAttributesW(path.c_str(), attributes & ~kProtectingAttributes);

        unique_hfile file(::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_WRITE_THROUGH, nullptr));
        if (!file) {
            const DWORD error = ::GetLastError();
            if (attributes & kProtectingAttributes) ::SetFileAttributesW(path.c_str(), attributes);
            ThrowSystemError(error, L"Cannot open " + Quoted(path) + L" for writing");
        }
        LARGE_INTEGER size{};
        if (!::GetFileSizeEx(file.Get(), &size)) ThrowLastError(L"Cannot read the size of " + Quoted(path));
        const auto length = static_cast<std::uint64_t>(size.QuadPart);

        std::mt19937_64 random{std::random_device{}()};
        for (std::int32_t pass = 0; pass < passes_; ++pass) {
            // Several passes: random data, then zeros last, so the file ends blank.
            OverwritePass(file.Get(), length, pass + 1 < passes_, random, path);
            *wipedBytes += length;
        }
        LARGE_INTEGER start{};
        if (!::SetFilePointerEx(file.Get(), start, nullptr, FILE_BEGIN) || !::SetEndOfFile(file.Get()) ||
            !::FlushFileBuffers(file.Get()))
            ThrowLastError(L"Cannot truncate " + Quoted(path));
        file.Reset();

        // The random name hides the old one from the folder's records before the entry goes.
        std::wstring doomed = RandomNameBeside(path, random);
        if (!::MoveFileExW(path.c_str(), doomed.c_str(), MOVEFILE_WRITE_THROUGH)) doomed = path;
        if (!::DeleteFileW(doomed.c_str())) ThrowLastError(L"Cannot delete the wiped file " + Quoted(doomed));
        *wiped = true;
    });
}

}  // namespace vt::wipe
