// The backup service behind VantrelBackvault.dll (IBackvault) and the two
// interfaces it hands out, through which every change is recorded in the
// current session's journal before it is made.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Journal.h"
#include "SessionWriter_win.h"
#include "runtime/ComObject.h"
#include "vantrel/Siblings.h"

namespace vt::backvault {

class TBackvault final : public ComObject<IBackvault> {
public:
    // defaultDataFolder: the folder used until SetDataFolder names another (ends in a backslash).
    explicit TBackvault(std::wstring defaultDataFolder);

    HRESULT STDMETHODCALLTYPE GetRegistry(IBackvaultRegistry** registry) override;
    HRESULT STDMETHODCALLTYPE GetFiles(IBackvaultFiles** files) override;
    HRESULT STDMETHODCALLTYPE BeginSession(const wchar_t* description, BSTR* sessionId) override;
    HRESULT STDMETHODCALLTYPE EndSession() override;
    HRESULT STDMETHODCALLTYPE GetCurrentSession(BSTR* sessionId) override;
    HRESULT STDMETHODCALLTYPE GetDataFolder(BSTR* folder) override;
    HRESULT STDMETHODCALLTYPE SetDataFolder(const wchar_t* folder) override;
    HRESULT STDMETHODCALLTYPE GetSessionCount(std::int32_t* count) override;
    HRESULT STDMETHODCALLTYPE GetSessionId(std::int32_t index, BSTR* sessionId) override;
    HRESULT STDMETHODCALLTYPE GetSessionDescription(const wchar_t* sessionId, BSTR* description) override;
    HRESULT STDMETHODCALLTYPE GetSessionStartTime(const wchar_t* sessionId, double* when) override;
    HRESULT STDMETHODCALLTYPE GetSessionEndTime(const wchar_t* sessionId, double* when) override;
    HRESULT STDMETHODCALLTYPE GetSessionState(const wchar_t* sessionId, TBackvaultSessionState* state) override;
    HRESULT STDMETHODCALLTYPE GetSessionFileCount(const wchar_t* sessionId, std::int32_t* count) override;
    HRESULT STDMETHODCALLTYPE GetSessionRegistryCount(const wchar_t* sessionId, std::int32_t* count) override;
    HRESULT STDMETHODCALLTYPE GetSessionBytes(const wchar_t* sessionId, std::int64_t* bytes) override;
    HRESULT STDMETHODCALLTYPE GetSessionEntryCount(const wchar_t* sessionId, std::int32_t* count) override;
    HRESULT STDMETHODCALLTYPE GetSessionEntry(const wchar_t* sessionId, std::int32_t index, TBackvaultEntryKind* kind,
                                              BSTR* location) override;
    HRESULT STDMETHODCALLTYPE RestoreSession(const wchar_t* sessionId, std::int32_t* restored,
                                             std::int32_t* failed) override;
    HRESULT STDMETHODCALLTYPE GetRestoreReport(BSTR* text) override;
    HRESULT STDMETHODCALLTYPE DeleteSession(const wchar_t* sessionId) override;
    HRESULT STDMETHODCALLTYPE GetSessionFolder(const wchar_t* sessionId, BSTR* folder) override;
    HRESULT STDMETHODCALLTYPE DeleteSessionsBefore(double when, std::int32_t* deleted) override;
    HRESULT STDMETHODCALLTYPE Reserved24() override;
    HRESULT STDMETHODCALLTYPE Reserved25() override;

    // For the recording interfaces: the lock that serialises every change, and
    // the session to record into (opened on first use). Call Recording() with
    // the lock held.
    std::mutex& Lock() { return lock_; }
    SessionWriter& Recording();

protected:
    ~TBackvault() override;

private:
    std::wstring DataFolderLocked() const;
    std::wstring SessionsFolderLocked() const;
    // The folder of an existing session (with a trailing backslash); E_INVALIDARG otherwise.
    std::wstring SessionFolderLocked(const wchar_t* sessionId) const;
    Journal ReadJournalLocked(const wchar_t* sessionId) const;
    bool IsOpenLocked(const std::wstring& id) const { return current_ && current_->Id() == id; }
    void DeleteSessionLocked(const std::wstring& id);

    mutable std::mutex lock_;
    std::wstring defaultDataFolder_;
    std::wstring dataFolder_;  // empty: the default
    std::unique_ptr<SessionWriter> current_;
    std::vector<std::wstring> listed_;
    std::wstring restoreReport_;
};

// What undoing a journal did.
struct RestoreOutcome {
    std::int32_t restored = 0;
    std::int32_t failed = 0;
    std::vector<std::wstring> lines;  // failures, entries already in place, reappeared files kept
};

// Undoes the entries of a journal, newest first; never throws for one entry.
RestoreOutcome RestoreEntries(const Journal& journal, const std::wstring& sessionFolder);

// The interfaces the engine removes through; each holds the service alive.
Com<IBackvaultRegistry> MakeRegistryRecorder(TBackvault* service);
Com<IBackvaultFiles> MakeFilesRecorder(TBackvault* service);

}  // namespace vt::backvault
