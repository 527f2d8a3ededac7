// Undoing a session: entries newest first, each on its own, so one failure
// does not stop the rest. Every step checks what is there now, which makes a
// second restore, or a restore of a session whose process was killed, safe.
#include <cwchar>

#include "../common/SystemError_win.h"
#include "Backvault_win.h"
#include "SystemState_win.h"
#include "platform/Handles.h"
#include "runtime/ComBoundary.h"
#include "runtime/Strings.h"

namespace vt::backvault {

namespace {

using platform::unique_hkey;
using siblings::ThrowLastError;
using siblings::ThrowSystemError;

std::wstring Quoted(const std::wstring& path) { return L"\"" + path + L"\""; }

// "name (kept 20261123-152041).ext" beside path, not yet taken.
std::wstring KeptName(const std::wstring& path) {
    SYSTEMTIME now;
    ::GetLocalTime(&now);
    wchar_t stamp[32];
    std::swprintf(stamp, 32, L"%04u%02u%02u-%02u%02u%02u", now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute,
                  now.wSecond);
    const std::wstring ext = ExtractFileExt(path);
    const std::wstring stem = path.substr(0, path.size() - ext.size());
    for (int n = 1;; ++n) {
        std::wstring candidate = stem + L" (kept " + stamp + (n > 1 ? L" " + std::to_wstring(n) : L"") + L")" + ext;
        if (!Exists(candidate)) return candidate;
    }
}

enum class Outcome { Restored, InPlace, Kept };

Outcome RestoreFile(const Entry& e, const std::wstring& sessionFolder, std::vector<std::wstring>& lines) {
    const std::wstring content = sessionFolder + e.content;
    const bool link = e.attributes & FILE_ATTRIBUTE_REPARSE_POINT;
    const std::optional<FileFacts> there = FactsOf(e.path);
    if (!Exists(content)) {
        // No content: the process stopped before the file was taken (so it is
        // still in place), or the link already went back.
        if (there) return Outcome::InPlace;
        throw Exception(E_FAIL, L"the backed-up content " + e.content + L" is missing from the session");
    }
    Outcome outcome = Outcome::Restored;
    if (there) {
        if (!link && !(there->attributes & FILE_ATTRIBUTE_DIRECTORY) && SameContent(content, e.path)) {
            ApplyFacts(e.path, e.attributes, e.created, e.accessed, e.written);
            return Outcome::InPlace;
        }
        // Something else is at the path now: it is kept beside, never overwritten.
        const std::wstring kept = KeptName(e.path);
        if (!::MoveFileExW(e.path.c_str(), kept.c_str(), 0))
            ThrowLastError(L"cannot move the file that reappeared at " + Quoted(e.path) + L" aside");
        lines.push_back(L"Kept " + Quoted(e.path) + L", which had reappeared, as " + Quoted(kept));
        outcome = Outcome::Kept;
    }
    CreateFolders(ExtractFileDir(e.path));
    if (link) {
        // A link goes back as itself; copying would follow it.
        if (!::MoveFileExW(content.c_str(), e.path.c_str(), 0)) ThrowLastError(L"cannot put the link back");
        return outcome;
    }
    CopyFlushed(content, e.path);
    ApplyFacts(e.path, e.attributes, e.created, e.accessed, e.written);
    return outcome;
}

unique_hkey CreateKeyPath(const std::wstring& path) {
    const RootAndSubKey where = SplitKeyPath(path);
    unique_hkey key;
    // The recorded path is where the key really was: no 32-bit redirection.
    const LONG status = ::RegCreateKeyExW(where.root, where.subKey.c_str(), 0, nullptr, 0,
                                          KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, key.Put(), nullptr);
    if (status != ERROR_SUCCESS) ThrowSystemError(static_cast<DWORD>(status), L"cannot create the key");
    return key;
}

bool RestoreValue(const Entry& e) {
    const RootAndSubKey where = SplitKeyPath(e.key);
    if (!e.existed) {
        unique_hkey key;
        const LONG opened = ::RegOpenKeyExW(where.root, where.subKey.c_str(), 0, KEY_SET_VALUE | KEY_WOW64_64KEY, key.Put());
        if (opened == ERROR_FILE_NOT_FOUND) return false;
        if (opened != ERROR_SUCCESS) ThrowSystemError(static_cast<DWORD>(opened), L"cannot open the key");
        const LONG status = ::RegDeleteValueW(key.Get(), e.value.name.c_str());
        if (status == ERROR_FILE_NOT_FOUND) return false;
        if (status != ERROR_SUCCESS) ThrowSystemError(static_cast<DWORD>(status), L"cannot delete the value");
        return true;
    }
    unique_hkey key = CreateKeyPath(e.key);
    const std::optional<ValueImage> now = ReadValue(key.Get(), e.value.name);
    if (now && now->type == e.value.type && now->data == e.value.data) return false;
    const LONG status = ::RegSetValueExW(key.Get(), e.value.name.c_str(), 0, e.value.type,
                                         e.value.data.empty() ? nullptr : e.value.data.data(),
                                         static_cast<DWORD>(e.value.data.size()));
    if (status != ERROR_SUCCESS) ThrowSystemError(static_cast<DWORD>(status), L"cannot write the value");
    return true;
}

bool RemoveCreatedKey(const Entry& e) {
    const RootAndSubKey where = SplitKeyPath(e.key);
    unique_hkey key;
    if (::RegOpenKeyExW(where.root, where.subKey.c_str(), 0, KEY_READ | KEY_WOW64_64KEY, key.Put()) != ERROR_SUCCESS)
        return false;
    DWORD subKeys = 0, values = 0;
    if (::RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &subKeys, nullptr, nullptr, &values, nullptr, nullptr,
                           nullptr, nullptr) != ERROR_SUCCESS ||
        subKeys || values)
        return false;  // something lives in it now: it stays
    key.Reset();
    const LONG status = ::RegDeleteKeyExW(where.root, where.subKey.c_str(), KEY_WOW64_64KEY, 0);
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND)
        ThrowSystemError(static_cast<DWORD>(status), L"cannot delete the key the clean had created");
    return status == ERROR_SUCCESS;
}

}  // namespace

RestoreOutcome RestoreEntries(const Journal& journal, const std::wstring& sessionFolder) {
    RestoreOutcome outcome;
    std::vector<const Entry*> folders;
    for (auto it = journal.entries.rbegin(); it != journal.entries.rend(); ++it) {
        const Entry& e = *it;
        try {
            switch (e.kind) {
                case EntryKind::File:
                    if (RestoreFile(e, sessionFolder, outcome.lines) == Outcome::InPlace)
                        outcome.lines.push_back(L"Already in place: " + Quoted(e.path));
                    break;
                case EntryKind::Folder:
                    CreateFolders(e.path);
                    folders.push_back(&e);  // its times are set once its files are back
                    break;
                case EntryKind::Value:
                    RestoreValue(e);
                    break;
                case EntryKind::Key: {
                    unique_hkey key = CreateKeyPath(e.key);
                    WriteKeyTree(key.Get(), e.tree);
                    break;
                }
                case EntryKind::CreatedKey:
                    RemoveCreatedKey(e);
                    break;
            }
            ++outcome.restored;
        } catch (const Exception& error) {
            ++outcome.failed;
            outcome.lines.push_back(L"Not restored: " + e.Location() + L": " + error.Message());
        } catch (const std::exception& error) {
            ++outcome.failed;
            outcome.lines.push_back(L"Not restored: " + e.Location() + L": " + WidenMessage(error.what()));
        }
    }
    for (const Entry* folder : folders) {
        try {
            ApplyFacts(folder->path, folder->attributes, folder->created, folder->accessed, folder->written);
        } catch (const Exception& error) {
            outcome.lines.push_back(L"Folder restored without its times: " + error.Message());
        }
    }
    return outcome;
}

}  // namespace vt::backvault
