// Helpers for the tests of our companion DLLs: load one from the test
// program's folder the way a host does (by path, through GetInstance), a
// scratch registry key of its own under HKEY_CURRENT_USER, and file helpers.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/Win32.h"
#include "runtime/ComObject.h"
#include "vantrel/Siblings.h"

namespace vt::test {

// The folder of the running test program, with a trailing backslash.
std::wstring ProgramFolder();

// The interface I from the DLL of that name beside the test program (the
// library stays loaded for the rest of the run); fails the test when it cannot.
template <class I>
Com<I> LoadCompanion(const wchar_t* dllName);

// The message the last failed call left through SetErrorInfo.
std::wstring LastErrorMessage();

// HKEY_CURRENT_USER\Software\VantrelTests\<unique>, deleted before and after.
class ScratchKey {
public:
    ScratchKey();
    ~ScratchKey();
    ScratchKey(const ScratchKey&) = delete;
    ScratchKey& operator=(const ScratchKey&) = delete;
    const std::wstring& SubKey() const { return subKey_; }  // relative to HKEY_CURRENT_USER

private:
    std::wstring subKey_;
};

// A key's whole content: "sub\\...\\\u2022value name" -> (type, data), sub-keys as "sub\\" entries.
using RegistryDump = std::map<std::wstring, std::pair<DWORD, std::vector<std::uint8_t>>>;
RegistryDump DumpKey(HKEY root, const std::wstring& subKey);  // empty when the key is missing
bool KeyExists(HKEY root, const std::wstring& subKey);
void SetRegistryValue(HKEY root, const std::wstring& subKey, const std::wstring& name, DWORD type,
                      const std::vector<std::uint8_t>& data);
std::vector<std::uint8_t> Utf16Z(const std::wstring& text);  // with the terminating null

void WriteBytes(const std::wstring& path, const std::vector<std::uint8_t>& bytes);
std::vector<std::uint8_t> ReadBytes(const std::wstring& path);
bool PathExists(const std::wstring& path);

// Attributes and times as the system reports them.
struct Stamp {
    DWORD attributes = 0;
    FILETIME created{}, accessed{}, written{};
};
Stamp StampOf(const std::wstring& path);
void SetTimes(const std::wstring& path, std::uint64_t created, std::uint64_t accessed, std::uint64_t written);
bool SameTimes(const Stamp& a, const Stamp& b);
// The file's identity on its volume (its index), to tell a moved file from a copy.
std::uint64_t FileIndexOf(const std::wstring& path);

// A deterministic pseudo-random content of the given size.
std::vector<std::uint8_t> Content(std::size_t size, unsigned seed);

}  // namespace vt::test
