// IBackvaultRegistry and IBackvaultFiles: each change is written to the
// current session's journal, flushed, and only then made. When recording
// fails the change is not made.
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

constexpr DWORD kProtectingAttributes = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

HRESULT FromStatus(LONG status) { return HRESULT_FROM_WIN32(static_cast<unsigned long>(status)); }
std::wstring Quoted(const std::wstring& path) { return L"\"" + path + L"\""; }

// Runs a registry operation whose result is a Win32 status: a recording
// failure becomes the HRESULT with its message, the status its HRESULT.
template <class Body>
HRESULT StatusGuarded(Body&& body) noexcept {
    LONG status = ERROR_SUCCESS;
    const HRESULT hr = Guarded([&] { status = body(); });
    return FAILED(hr) ? hr : FromStatus(status);
}

// The sub-key components of a path, without empty ones.
std::vector<std::wstring> Components(const std::wstring& subKey) {
    std::vector<std::wstring> parts;
    std::wstring part;
    for (wchar_t c : subKey) {
        if (c == L'\\') {
            if (!part.empty()) parts.push_back(std::move(part));
            part.clear();
        } else {
            part += c;
        }
    }
    if (!part.empty()) parts.push_back(std::move(part));
    return parts;
}

std::wstring Join(const std::vector<std::wstring>& parts, std::size_t count) {
    std::wstring path;
    for (std::size_t i = 0; i < count; ++i) path += (i ? L"\\" : L"") + parts[i];
    return path;
}

class TBackvaultRegistry final : public ComObject<IBackvaultRegistry> {
public:
    explicit TBackvaultRegistry(TBackvault* service) : service_(service) {}

    HRESULT STDMETHODCALLTYPE CreateKey(HKEY root, const wchar_t* subKey, DWORD reserved, wchar_t* keyClass,
                                        DWORD options, REGSAM access, SECURITY_ATTRIBUTES* security, HKEY* key,
                                        DWORD* disposition) override {
        if (key) *key = nullptr;
        return StatusGuarded([&] {
            Out(key);
            std::lock_guard<std::mutex> guard(service_->Lock());
            RecordKeysToBeCreated(root, subKey ? subKey : L"", access & (KEY_WOW64_32KEY | KEY_WOW64_64KEY));
            return ::RegCreateKeyExW(root, subKey, reserved, keyClass, options, access, security, key, disposition);
        });
    }

    HRESULT STDMETHODCALLTYPE OpenKey(HKEY root, const wchar_t* subKey, DWORD options, REGSAM access,
                                      HKEY* key) override {
        if (key) *key = nullptr;
        return StatusGuarded([&] { return ::RegOpenKeyExW(root, subKey, options, access, Out(key)); });
    }

    HRESULT STDMETHODCALLTYPE DeleteKey(HKEY root, const wchar_t* subKey) override {
        return StatusGuarded([&]() -> LONG {
            std::lock_guard<std::mutex> guard(service_->Lock());
            unique_hkey key;
            const LONG opened = ::RegOpenKeyExW(root, subKey, 0, KEY_READ, key.Put());
            if (opened != ERROR_SUCCESS) return opened;  // nothing there: nothing changes, nothing to record
            Entry entry;
            entry.kind = EntryKind::Key;
            entry.key = KeyPathOf(key.Get());
            entry.tree = ReadKeyTree(key.Get());
            key.Reset();
            SessionWriter& session = service_->Recording();
            entry.seq = session.NextSeq();
            session.Append(EntryLine(entry));
            // The whole key goes, sub-keys included. Even a partial failure
            // keeps the entry: restoring merges the recorded tree back.
            return ::RegDeleteTreeW(root, subKey);
        });
    }

    HRESULT STDMETHODCALLTYPE SetValue(HKEY key, const wchar_t* name, DWORD reserved, DWORD type, const BYTE* data,
                                       DWORD size) override {
        return StatusGuarded([&] {
            std::lock_guard<std::mutex> guard(service_->Lock());
            RecordValue(key, FromBstr(name), false);
            return ::RegSetValueExW(key, name, reserved, type, data, size);
        });
    }

    HRESULT STDMETHODCALLTYPE DeleteValue(HKEY key, const wchar_t* name) override {
        return StatusGuarded([&]() -> LONG {
            std::lock_guard<std::mutex> guard(service_->Lock());
            if (!RecordValue(key, FromBstr(name), true)) return ERROR_FILE_NOT_FOUND;
            return ::RegDeleteValueW(key, name);
        });
    }

    HRESULT STDMETHODCALLTYPE CloseKey(HKEY key) override { return FromStatus(::RegCloseKey(key)); }

#define VANTREL_REGISTRY_RESERVED(n) \
    HRESULT STDMETHODCALLTYPE Reserved##n() override { return Reserved(n); }
    VANTREL_REGISTRY_RESERVED(4) VANTREL_REGISTRY_RESERVED(7) VANTREL_REGISTRY_RESERVED(8)
    VANTREL_REGISTRY_RESERVED(9) VANTREL_REGISTRY_RESERVED(10) VANTREL_REGISTRY_RESERVED(11)
#undef VANTREL_REGISTRY_RESERVED

private:
    static HRESULT Reserved(int slot) noexcept {
        return Guarded([slot] {
            throw Exception(E_NOTIMPL, L"IBackvaultRegistry operation " + std::to_wstring(slot) + L" is reserved");
        });
    }

    // Records the value as it is now, or that it does not exist (unless
    // onlyExisting: then nothing is recorded); false when it does not exist.
    bool RecordValue(HKEY key, const std::wstring& name, bool onlyExisting) {
        Entry entry;
        entry.kind = EntryKind::Value;
        entry.key = KeyPathOf(key);
        std::optional<ValueImage> old = ReadValue(key, name);
        if (!old && onlyExisting) return false;
        entry.existed = old.has_value();
        entry.value = old ? std::move(*old) : ValueImage{name, 0, {}};
        SessionWriter& session = service_->Recording();
        entry.seq = session.NextSeq();
        session.Append(EntryLine(entry));
        return entry.existed;
    }

    // Records, outermost first, each key of root\subKey that does not exist yet,
    // named from its deepest existing ancestor so that the recorded path is
    // where the key will really be.
    void RecordKeysToBeCreated(HKEY root, const std::wstring& subKey, REGSAM view) {
        const std::vector<std::wstring> parts = Components(subKey);
        for (std::size_t depth = parts.size() + 1; depth-- > 0;) {
            unique_hkey ancestor;
            const std::wstring path = Join(parts, depth);
            const LONG status = ::RegOpenKeyExW(root, path.empty() ? nullptr : path.c_str(), 0, KEY_READ | view,
                                                ancestor.Put());
            if (status == ERROR_FILE_NOT_FOUND) continue;
            if (status != ERROR_SUCCESS) return;  // the creation itself will fail with the same reason
            if (depth == parts.size()) return;    // the key exists: nothing is created
            const std::wstring base = KeyPathOf(ancestor.Get());
            SessionWriter& session = service_->Recording();
            std::wstring created = base;
            for (std::size_t i = depth; i < parts.size(); ++i) {
                created += L"\\" + parts[i];
                Entry entry;
                entry.kind = EntryKind::CreatedKey;
                entry.key = created;
                entry.seq = session.NextSeq();
                session.Append(EntryLine(entry));
            }
            return;
        }
    }

    Com<TBackvault> service_;
};

class TBackvaultFiles final : public ComObject<IBackvaultFiles> {
public:
    explicit TBackvaultFiles(TBackvault* service) : service_(service) {}

    HRESULT STDMETHODCALLTYPE DeleteFile(const wchar_t* fileName) override {
        return Guarded([&] {
            const std::wstring path = FromBstr(fileName);
            std::lock_guard<std::mutex> guard(service_->Lock());
            const FileFacts facts = FactsOrThrow(path, L"delete");
            if (facts.attributes & FILE_ATTRIBUTE_DIRECTORY)
                throw Exception(HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED), Quoted(path) + L" is a folder, not a file");
            SessionWriter& session = service_->Recording();
            Entry entry = FileEntry(path, facts, session);
            const std::wstring content = session.ContentPath(entry.seq);
            const bool link = facts.attributes & FILE_ATTRIBUTE_REPARSE_POINT;
            session.Append(EntryLine(entry));
            // On one volume the file itself moves into the session: no byte is copied.
            if (::MoveFileExW(path.c_str(), content.c_str(), MOVEFILE_WRITE_THROUGH)) {
                ::SetFileAttributesW(content.c_str(), FILE_ATTRIBUTE_NORMAL);
                return;
            }
            const DWORD moveError = ::GetLastError();
            if (link) {
                Withdraw(session, entry.seq, moveError);
                throw Exception(HRESULT_FROM_WIN32(moveError),
                                Quoted(path) + L" is a reparse point (a link); it is not followed, and it could not be "
                                               L"moved into the backup: " + siblings::SystemMessage(moveError));
            }
            try {
                CopyIntoSession(path, content);
            } catch (...) {
                Withdraw(session, entry.seq, moveError);
                throw;
            }
            if (facts.attributes & kProtectingAttributes)
                ::SetFileAttributesW(path.c_str(), facts.attributes & ~kProtectingAttributes);
            if (!::DeleteFileW(path.c_str())) {
                const DWORD error = ::GetLastError();
                ::SetFileAttributesW(path.c_str(), facts.attributes);
                ::DeleteFileW(content.c_str());
                Withdraw(session, entry.seq, error);
                ThrowSystemError(error, L"Cannot delete " + Quoted(path));
            }
        });
    }

    HRESULT STDMETHODCALLTYPE RemoveDir(const wchar_t* path) override {
        return Guarded([&] {
            const std::wstring folder = ExcludeTrailingPathDelimiter(FromBstr(path));
            std::lock_guard<std::mutex> guard(service_->Lock());
            const FileFacts facts = FactsOrThrow(folder, L"remove");
            RefuseLink(folder, facts);
            SessionWriter& session = service_->Recording();
            Entry entry;
            entry.kind = EntryKind::Folder;
            entry.seq = session.NextSeq();
            entry.path = folder;
            entry.attributes = facts.attributes;
            entry.created = facts.created;
            entry.accessed = facts.accessed;
            entry.written = facts.written;
            session.Append(EntryLine(entry));
            if (facts.attributes & FILE_ATTRIBUTE_READONLY)
                ::SetFileAttributesW(folder.c_str(), facts.attributes & ~FILE_ATTRIBUTE_READONLY);
            if (!::RemoveDirectoryW(folder.c_str())) {
                const DWORD error = ::GetLastError();
                ::SetFileAttributesW(folder.c_str(), facts.attributes);
                Withdraw(session, entry.seq, error);
                ThrowSystemError(error, L"Cannot remove the folder " + Quoted(folder));
            }
        });
    }

    HRESULT STDMETHODCALLTYPE BackupFile(const wchar_t* fileName) override {
        return Guarded([&] {
            const std::wstring path = FromBstr(fileName);
            std::lock_guard<std::mutex> guard(service_->Lock());
            const FileFacts facts = FactsOrThrow(path, L"back up");
            RefuseLink(path, facts);
            SessionWriter& session = service_->Recording();
            Entry entry = FileEntry(path, facts, session);
            entry.method = L"copy";
            // The file stays where it is (the caller wipes it next), so the
            // session needs its own copy: a hard link would share the bytes
            // the wipe overwrites. The entry follows the finished copy.
            CopyIntoSession(path, session.ContentPath(entry.seq));
            session.Append(EntryLine(entry));
        });
    }

#define VANTREL_FILES_RESERVED(n) \
    HRESULT STDMETHODCALLTYPE Reserved##n() override { return Reserved(n); }
    VANTREL_FILES_RESERVED(1) VANTREL_FILES_RESERVED(3) VANTREL_FILES_RESERVED(4)
    VANTREL_FILES_RESERVED(5) VANTREL_FILES_RESERVED(6) VANTREL_FILES_RESERVED(7)
#undef VANTREL_FILES_RESERVED

private:
    static HRESULT Reserved(int slot) noexcept {
        return Guarded([slot] {
            throw Exception(E_NOTIMPL, L"IBackvaultFiles operation " + std::to_wstring(slot) + L" is reserved");
        });
    }

    static FileFacts FactsOrThrow(const std::wstring& path, const wchar_t* action) {
        if (path.empty()) throw Exception(E_INVALIDARG, std::wstring(L"Nothing to ") + action + L": no path given");
        std::optional<FileFacts> facts = FactsOf(path);
        if (!facts)
            ThrowSystemError(ERROR_FILE_NOT_FOUND, std::wstring(L"Cannot ") + action + L" " + Quoted(path));
        return *facts;
    }

    static void RefuseLink(const std::wstring& path, const FileFacts& facts) {
        if (facts.attributes & FILE_ATTRIBUTE_REPARSE_POINT)
            throw Exception(HRESULT_FROM_WIN32(ERROR_CANT_ACCESS_FILE),
                            Quoted(path) + L" is a reparse point (a link); it is not followed");
    }

    Entry FileEntry(const std::wstring& path, const FileFacts& facts, SessionWriter& session) {
        Entry entry;
        entry.kind = EntryKind::File;
        entry.seq = session.NextSeq();
        entry.path = path;
        entry.content = SessionWriter::ContentName(entry.seq);
        const std::wstring volume = VolumeOf(path);
        entry.method = !volume.empty() && volume == VolumeOf(session.Folder()) ? L"move" : L"copy";
        entry.attributes = facts.attributes;
        entry.created = facts.created;
        entry.accessed = facts.accessed;
        entry.written = facts.written;
        entry.size = facts.size;
        return entry;
    }

    // Copies under a temporary name, flushed, then renamed: the content name
    // exists only once every byte is on the disk.
    static void CopyIntoSession(const std::wstring& path, const std::wstring& content) {
        const std::wstring partial = content + L".partial";
        ::DeleteFileW(partial.c_str());
        try {
            CopyFlushed(path, partial);
        } catch (...) {
            ::DeleteFileW(partial.c_str());
            throw;
        }
        if (!::MoveFileExW(partial.c_str(), content.c_str(), MOVEFILE_WRITE_THROUGH | MOVEFILE_REPLACE_EXISTING))
            ThrowLastError(L"Cannot keep the backup copy of " + Quoted(path));
    }

    static void Withdraw(SessionWriter& session, std::int64_t seq, DWORD error) {
        try {
            session.Append(WithdrawnLine(seq, siblings::SystemMessage(error)));
        } catch (...) {
            // The entry stays; restoring finds the file in place and skips it.
        }
    }

    Com<TBackvault> service_;
};

}  // namespace

Com<IBackvaultRegistry> MakeRegistryRecorder(TBackvault* service) { return MakeCom<TBackvaultRegistry>(service); }
Com<IBackvaultFiles> MakeFilesRecorder(TBackvault* service) { return MakeCom<TBackvaultFiles>(service); }

}  // namespace vt::backvault
