// What the backup service reads from and writes to the system: file facts,
// times, registry values and whole keys, and the names of open keys. Each
// function throws the runtime's exception with the system's message on failure
// unless it says otherwise.
#pragma once

#include <optional>
#include <string>

#include "Journal.h"
#include "platform/Win32.h"

namespace vt::backvault {

FileTime NowFileTime();
// A UTC file time as an OLE date in local time, and back.
double FileTimeToOleLocal(FileTime time);
FileTime OleLocalToFileTime(double when);

// Attributes, times and size of a path, read without opening it (a link's own
// facts, not its target's); nullopt when nothing is there.
struct FileFacts {
    DWORD attributes = 0;
    FileTime created = 0, accessed = 0, written = 0;
    std::int64_t size = 0;
};
std::optional<FileFacts> FactsOf(const std::wstring& path);
bool Exists(const std::wstring& path);
// Sets the three times (through a handle that does not follow links), then the attributes.
void ApplyFacts(const std::wstring& path, DWORD attributes, FileTime created, FileTime accessed, FileTime written);
// The root of the volume holding path ("C:\"), empty when unknown.
std::wstring VolumeOf(const std::wstring& path);
// Creates a folder and its missing parents.
void CreateFolders(const std::wstring& folder);
// Copies a file's bytes to a new file and flushes them to the disk; fails if target exists.
void CopyFlushed(const std::wstring& source, const std::wstring& target);
// True when the two files hold the same bytes.
bool SameContent(const std::wstring& a, const std::wstring& b);
// Deletes a folder with everything in it; links inside are removed, never followed.
void DeleteTree(const std::wstring& folder);
// The whole content of a file, shared with a writer that still appends to it.
std::string ReadShared(const std::wstring& path);

// The path of an open key, as "HKEY_CURRENT_USER\...", "HKEY_USERS\..." or
// "HKEY_LOCAL_MACHINE\...": where the key really is, whatever view opened it.
std::wstring KeyPathOf(HKEY key);
// The root and sub-key of such a path; throws for a root it does not know.
struct RootAndSubKey {
    HKEY root;
    std::wstring subKey;
};
RootAndSubKey SplitKeyPath(const std::wstring& path);
// A value as it is now; nullopt when the key has no such value.
std::optional<ValueImage> ReadValue(HKEY key, const std::wstring& name);
// Everything below an open key: values with types and data, sub-keys recursively.
KeyImage ReadKeyTree(HKEY key);
// Writes a tree's values and sub-keys into an open key (existing ones are overwritten).
void WriteKeyTree(HKEY key, const KeyImage& tree);

}  // namespace vt::backvault
