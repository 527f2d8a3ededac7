// Stand-ins for the sibling libraries, for tests under Wine: a backup service
// (IBackvault with its registry and file interfaces) and a wipe helper. They
// do what the real ones do to the registry and the file system, record every
// call in one shared log, in order, and can be told to fail an operation.
//
// A call is recorded as "Operation(argument, ...)"; key handles appear under
// the name given with NameKey, or as "<parent name>\<sub-key>" for keys the
// service opened itself. Slots no caller of ours uses answer E_NOTIMPL and
// are recorded as "Reserved<slot>".
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "runtime/ComObject.h"
#include "vantrel/VantrelHelper.h"

namespace vt::test {

class SiblingCallLog {
public:
    // Every call so far, in order.
    const std::vector<std::wstring>& Calls() const noexcept { return calls_; }
    // The calls without those to the interface getters (GetRegistry, GetFiles).
    std::vector<std::wstring> Operations() const;
    void Clear() { calls_.clear(); }

    // From now on the operation is recorded and answers hr without doing
    // anything; a success code makes it claim success for work it skipped.
    void Fail(const std::wstring& operation, HRESULT hr = E_FAIL) { faults_[operation] = hr; }
    void Heal() { faults_.clear(); }
    void NameKey(HKEY key, std::wstring name) { keyNames_[key] = std::move(name); }

    // Registry and file interfaces handed out and not yet released, and keys
    // opened through the service and not yet closed.
    int liveInterfaces = 0;
    int openKeys = 0;
    // The attributes each file had when the service or the wipe helper took it.
    std::map<std::wstring, DWORD> recordedAttributes;

    // Used by the doubles: records the call; true when it is to be carried out,
    // otherwise hr holds the injected answer.
    bool Record(const std::wstring& operation, const std::vector<std::wstring>& arguments, HRESULT& hr);
    std::wstring KeyName(HKEY key) const;
    void KeyOpened(HKEY key, std::wstring name) { NameKey(key, std::move(name)); ++openKeys; }
    void KeyClosed(HKEY key) { keyNames_.erase(key); --openKeys; }

private:
    std::vector<std::wstring> calls_;
    std::map<std::wstring, HRESULT> faults_;
    std::map<HKEY, std::wstring> keyNames_;
};

// The backup service: GetRegistry and GetFiles hand out a fresh interface
// each time. Its operations are the registry and file functions themselves;
// BackupFile only checks that the file exists.
Com<IBackvault> MakeBackupService(std::shared_ptr<SiblingCallLog> log);

// The wipe helper: WipeFile overwrites the file with zeros and deletes it,
// answering the bytes overwritten; a missing file gives wiped = false.
Com<IDiskWipeHelper> MakeWipeHelper(std::shared_ptr<SiblingCallLog> log);

}  // namespace vt::test
