#include "platform/DirectoryList.h"

#include "platform/Handles.h"
#include "platform/SysCalls.h"
#include "platform/Win32.h"

namespace vt::platform {

namespace {

// A find handle closed through the syscall table, so tests can see (and fail) the close.
inline void CloseFindThroughTable(HANDLE h) noexcept { SysCalls().FindClose(h); }
using table_hfind = UniqueHandle<HANDLE, CloseFindThroughTable, -1>;

std::uint64_t Join(FILETIME t) noexcept {
    return (static_cast<std::uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime;
}

void Fill(const WIN32_FIND_DATAW& data, DirEntry& entry) {
    entry.name = data.cFileName;
    entry.attributes = data.dwFileAttributes;
    entry.size = (static_cast<std::uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow;
    entry.creationTime = Join(data.ftCreationTime);
    entry.lastAccessTime = Join(data.ftLastAccessTime);
    entry.lastWriteTime = Join(data.ftLastWriteTime);
}

}  // namespace

struct DirectoryReader::State {
    table_hfind find;
    WIN32_FIND_DATAW first{};
    bool firstPending = false;
};

DirectoryReader::DirectoryReader() : state_(std::make_unique<State>()) {}
DirectoryReader::~DirectoryReader() = default;

bool DirectoryReader::Open(const std::wstring& folder, DirDetail) {
    Close();
    std::wstring pattern = folder;
    if (pattern.empty() || pattern.back() != L'\\') pattern += L'\\';
    pattern += L"*.*";
    HANDLE h = SysCalls().FindFirstFileW(pattern.c_str(), &state_->first);
    if (h == INVALID_HANDLE_VALUE) return false;
    state_->find.Reset(h);
    state_->firstPending = true;
    return true;
}

bool DirectoryReader::Next(DirEntry& entry) {
    if (!state_->find) return false;
    if (state_->firstPending) {
        state_->firstPending = false;
        Fill(state_->first, entry);
        return true;
    }
    WIN32_FIND_DATAW data{};
    if (!SysCalls().FindNextFileW(state_->find.Get(), &data)) return false;
    Fill(data, entry);
    return true;
}

void DirectoryReader::Close() noexcept {
    state_->find.Reset();
    state_->firstPending = false;
}

}  // namespace vt::platform
