#include "Backvault_win.h"

#include <algorithm>

#include "../common/SystemError_win.h"
#include "SystemState_win.h"
#include "platform/Handles.h"
#include "runtime/ComBoundary.h"
#include "runtime/Strings.h"

namespace vt::backvault {

using platform::unique_hfile;
using platform::unique_hfind;

namespace {

constexpr const wchar_t* kSessionsFolder = L"Backvault\\";

[[noreturn]] void ThrowOpenSession(const std::wstring& id, const wchar_t* action) {
    throw Exception(E_ILLEGAL_METHOD_CALL, L"Backup session " + id + L" is still being recorded; end it before " +
                                               action + L" it");
}

// Opens a session's journal for appending, exclusively; fails while another
// process still records into it.
unique_hfile ClaimJournal(const std::wstring& folder, const std::wstring& id) {
    const std::wstring path = folder + kJournalName;
    unique_hfile file(::CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        const DWORD error = ::GetLastError();
        if (error == ERROR_SHARING_VIOLATION)
            throw Exception(E_ILLEGAL_METHOD_CALL, L"Backup session " + id +
                                                       L" is being recorded by another program; try again when "
                                                       L"that clean has finished");
        if (error != ERROR_FILE_NOT_FOUND) siblings::ThrowSystemError(error, L"Cannot open the journal of session " + id);
    }
    return file;
}

// True while some program (another process, or another service object)
// still records into the session: its writer holds the journal without
// sharing it for writing.
bool HeldByAWriter(const std::wstring& folder) {
    const std::wstring path = folder + kJournalName;
    unique_hfile probe(::CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                     OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    return !probe && ::GetLastError() == ERROR_SHARING_VIOLATION;
}

}  // namespace

TBackvault::TBackvault(std::wstring defaultDataFolder) : defaultDataFolder_(std::move(defaultDataFolder)) {}

TBackvault::~TBackvault() {
    // A service released mid-session still closes its journal properly.
    try {
        if (current_) current_->End();
    } catch (...) {
    }
}

std::wstring TBackvault::DataFolderLocked() const {
    return IncludeTrailingPathDelimiter(dataFolder_.empty() ? defaultDataFolder_ : dataFolder_);
}

std::wstring TBackvault::SessionsFolderLocked() const { return DataFolderLocked() + kSessionsFolder; }

std::wstring TBackvault::SessionFolderLocked(const wchar_t* sessionId) const {
    const std::wstring id = FromBstr(sessionId);
    const std::wstring folder = SessionsFolderLocked() + id + L"\\";
    if (!IsSessionId(id) || !Exists(folder + kJournalName))
        throw Exception(E_INVALIDARG, L"Backup session '" + id + L"' does not exist in " + SessionsFolderLocked());
    return folder;
}

Journal TBackvault::ReadJournalLocked(const wchar_t* sessionId) const {
    return ParseJournal(ReadShared(SessionFolderLocked(sessionId) + kJournalName));
}

SessionWriter& TBackvault::Recording() {
    if (!current_) current_ = SessionWriter::Begin(SessionsFolderLocked(), L"");
    return *current_;
}

HRESULT TBackvault::GetRegistry(IBackvaultRegistry** registry) {
    return Guarded([&] { MakeRegistryRecorder(this).CopyTo(Out(registry)); });
}

HRESULT TBackvault::GetFiles(IBackvaultFiles** files) {
    return Guarded([&] { MakeFilesRecorder(this).CopyTo(Out(files)); });
}

HRESULT TBackvault::BeginSession(const wchar_t* description, BSTR* sessionId) {
    return Guarded([&] {
        Out(sessionId);
        std::lock_guard<std::mutex> guard(lock_);
        if (current_) ThrowOpenSession(current_->Id(), L"beginning another one after");
        current_ = SessionWriter::Begin(SessionsFolderLocked(), FromBstr(description));
        AssignBstr(sessionId, current_->Id());
    });
}

HRESULT TBackvault::EndSession() {
    bool ended = false;
    const HRESULT hr = Guarded([&] {
        std::lock_guard<std::mutex> guard(lock_);
        if (!current_) return;
        std::unique_ptr<SessionWriter> session = std::move(current_);
        session->End();
        ended = true;
    });
    return SUCCEEDED(hr) && !ended ? S_FALSE : hr;
}

HRESULT TBackvault::GetCurrentSession(BSTR* sessionId) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(lock_);
        AssignBstr(sessionId, current_ ? current_->Id() : std::wstring());
    });
}

HRESULT TBackvault::GetDataFolder(BSTR* folder) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(lock_);
        AssignBstr(folder, DataFolderLocked());
    });
}

HRESULT TBackvault::SetDataFolder(const wchar_t* folder) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(lock_);
        if (current_) ThrowOpenSession(current_->Id(), L"changing the data folder of");
        dataFolder_ = FromBstr(folder);
        listed_.clear();
    });
}

HRESULT TBackvault::GetSessionCount(std::int32_t* count) {
    return Guarded([&] {
        Out(count);
        std::lock_guard<std::mutex> guard(lock_);
        listed_.clear();
        const std::wstring folder = SessionsFolderLocked();
        WIN32_FIND_DATAW found;
        unique_hfind find(::FindFirstFileW((folder + L"*").c_str(), &found));
        if (find) {
            do {
                const std::wstring name = found.cFileName;
                if ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) && IsSessionId(name) &&
                    Exists(folder + name + L"\\" + kJournalName))
                    listed_.push_back(name);
            } while (::FindNextFileW(find.Get(), &found));
        }
        std::sort(listed_.begin(), listed_.end());
        *count = static_cast<std::int32_t>(listed_.size());
    });
}

HRESULT TBackvault::GetSessionId(std::int32_t index, BSTR* sessionId) {
    return Guarded([&] {
        Out(sessionId);
        std::lock_guard<std::mutex> guard(lock_);
        if (index < 0 || static_cast<std::size_t>(index) >= listed_.size()) ThrowListIndex(index);
        AssignBstr(sessionId, listed_[static_cast<std::size_t>(index)]);
    });
}

HRESULT TBackvault::GetSessionDescription(const wchar_t* sessionId, BSTR* description) {
    return Guarded([&] {
        Out(description);
        std::lock_guard<std::mutex> guard(lock_);
        AssignBstr(description, ReadJournalLocked(sessionId).description);
    });
}

HRESULT TBackvault::GetSessionStartTime(const wchar_t* sessionId, double* when) {
    return Guarded([&] {
        Out(when);
        std::lock_guard<std::mutex> guard(lock_);
        *when = FileTimeToOleLocal(ReadJournalLocked(sessionId).start);
    });
}

HRESULT TBackvault::GetSessionEndTime(const wchar_t* sessionId, double* when) {
    return Guarded([&] {
        Out(when);
        std::lock_guard<std::mutex> guard(lock_);
        const Journal journal = ReadJournalLocked(sessionId);
        *when = journal.end ? FileTimeToOleLocal(*journal.end) : 0.0;
    });
}

HRESULT TBackvault::GetSessionState(const wchar_t* sessionId, TBackvaultSessionState* state) {
    return Guarded([&] {
        Out(state);
        std::lock_guard<std::mutex> guard(lock_);
        const Journal journal = ReadJournalLocked(sessionId);
        if (IsOpenLocked(FromBstr(sessionId)) || (!journal.end && HeldByAWriter(SessionFolderLocked(sessionId))))
            *state = bssOpen;
        else if (!journal.restores.empty())
            *state = bssRestored;
        else
            *state = journal.end ? bssClosed : bssInterrupted;
    });
}

HRESULT TBackvault::GetSessionFileCount(const wchar_t* sessionId, std::int32_t* count) {
    return Guarded([&] {
        Out(count);
        std::lock_guard<std::mutex> guard(lock_);
        *count = ReadJournalLocked(sessionId).FileCount();
    });
}

HRESULT TBackvault::GetSessionRegistryCount(const wchar_t* sessionId, std::int32_t* count) {
    return Guarded([&] {
        Out(count);
        std::lock_guard<std::mutex> guard(lock_);
        *count = ReadJournalLocked(sessionId).RegistryCount();
    });
}

HRESULT TBackvault::GetSessionBytes(const wchar_t* sessionId, std::int64_t* bytes) {
    return Guarded([&] {
        Out(bytes);
        std::lock_guard<std::mutex> guard(lock_);
        *bytes = ReadJournalLocked(sessionId).Bytes();
    });
}

HRESULT TBackvault::GetSessionEntryCount(const wchar_t* sessionId, std::int32_t* count) {
    return Guarded([&] {
        Out(count);
        std::lock_guard<std::mutex> guard(lock_);
        *count = static_cast<std::int32_t>(ReadJournalLocked(sessionId).entries.size());
    });
}

HRESULT TBackvault::GetSessionEntry(const wchar_t* sessionId, std::int32_t index, TBackvaultEntryKind* kind,
                                    BSTR* location) {
    return Guarded([&] {
        Out(kind);
        Out(location);
        std::lock_guard<std::mutex> guard(lock_);
        const Journal journal = ReadJournalLocked(sessionId);
        if (index < 0 || static_cast<std::size_t>(index) >= journal.entries.size()) ThrowListIndex(index);
        const Entry& entry = journal.entries[static_cast<std::size_t>(index)];
        *kind = static_cast<TBackvaultEntryKind>(entry.kind);
        AssignBstr(location, entry.Location());
    });
}

HRESULT TBackvault::RestoreSession(const wchar_t* sessionId, std::int32_t* restored, std::int32_t* failed) {
    return Guarded([&] {
        Out(restored);
        Out(failed);
        *restored = *failed = 0;
        std::lock_guard<std::mutex> guard(lock_);
        const std::wstring id = FromBstr(sessionId);
        const std::wstring folder = SessionFolderLocked(sessionId);
        if (IsOpenLocked(id)) ThrowOpenSession(id, L"restoring");
        unique_hfile claim = ClaimJournal(folder, id);
        const Journal journal = ParseJournal(ReadShared(folder + kJournalName));
        RestoreOutcome outcome = RestoreEntries(journal, folder);
        const std::string line = RestoredLine(Restore{NowFileTime(), outcome.restored, outcome.failed});
        DWORD written = 0;
        ::WriteFile(claim.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
        ::FlushFileBuffers(claim.Get());
        restoreReport_.clear();
        for (const std::wstring& text : outcome.lines) restoreReport_ += text + L"\r\n";
        if (journal.damagedLines > 0)
            restoreReport_ += L"The journal has " + std::to_wstring(journal.damagedLines) +
                              L" unreadable line(s); what they recorded was not restored\r\n";
        *restored = outcome.restored;
        *failed = outcome.failed + journal.damagedLines;
    });
}

HRESULT TBackvault::GetRestoreReport(BSTR* text) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(lock_);
        AssignBstr(text, restoreReport_);
    });
}

void TBackvault::DeleteSessionLocked(const std::wstring& id) {
    const std::wstring folder = SessionFolderLocked(id.c_str());
    if (IsOpenLocked(id)) ThrowOpenSession(id, L"deleting");
    {
        unique_hfile claim = ClaimJournal(folder, id);  // refuses a session another program records
    }
    DeleteTree(folder);
    std::erase(listed_, id);
}

HRESULT TBackvault::DeleteSession(const wchar_t* sessionId) {
    return Guarded([&] {
        std::lock_guard<std::mutex> guard(lock_);
        DeleteSessionLocked(FromBstr(sessionId));
    });
}

HRESULT TBackvault::GetSessionFolder(const wchar_t* sessionId, BSTR* folder) {
    return Guarded([&] {
        Out(folder);
        std::lock_guard<std::mutex> guard(lock_);
        AssignBstr(folder, SessionFolderLocked(sessionId));
    });
}

HRESULT TBackvault::DeleteSessionsBefore(double when, std::int32_t* deleted) {
    return Guarded([&] {
        Out(deleted);
        *deleted = 0;
        std::int32_t count = 0;
        if (FAILED(GetSessionCount(&count))) throw Exception(E_FAIL, TakeErrorInfoMessage());
        std::lock_guard<std::mutex> guard(lock_);
        const FileTime limit = OleLocalToFileTime(when);
        const std::vector<std::wstring> sessions = listed_;
        for (const std::wstring& id : sessions) {
            if (IsOpenLocked(id)) continue;
            const Journal journal = ReadJournalLocked(id.c_str());
            if (journal.start >= limit) continue;
            DeleteSessionLocked(id);
            ++*deleted;
        }
    });
}

HRESULT TBackvault::Reserved24() {
    return Guarded([] { throw Exception(E_NOTIMPL, L"IBackvault operation 24 is reserved and does nothing"); });
}

HRESULT TBackvault::Reserved25() {
    return Guarded([] { throw Exception(E_NOTIMPL, L"IBackvault operation 25 is reserved and does nothing"); });
}

}  // namespace vt::backvault
