// The portable file layer: what the engine's byte-level code needs of the file
// system. Paths are written the Windows way (backslashes); the native build
// maps backslashes to slashes, so the same code runs on Linux in tests.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace vt {

bool FileExists(const std::wstring& path);
bool DirectoryExists(const std::wstring& path);
// Creates the folder and every missing level above it; true when it exists afterwards.
bool ForceDirectories(const std::wstring& path);
// Size in bytes, or -1 when the file does not exist or cannot be queried.
std::int64_t FileSizeOf(const std::wstring& path);
bool RemoveFile(const std::wstring& path);
bool RemoveEmptyDirectory(const std::wstring& path);
bool RenameFile(const std::wstring& from, const std::wstring& to);
// A C stream opened for appending bytes (created when missing); null on failure.
std::FILE* OpenFileForAppend(const std::wstring& path);
// Whole-file helpers for tests and tools; false / empty on failure.
bool WriteWholeFile(const std::wstring& path, const std::vector<std::uint8_t>& bytes);
std::vector<std::uint8_t> ReadWholeFile(const std::wstring& path);
// True when the existing file can be opened for deletion right now (on
// Windows: opened with DELETE access, sharing read, write and delete).
bool CanOpenForDelete(const std::wstring& path);
// The platform form of a path (slashes for backslashes natively; as is on Windows).
std::wstring NativePath(const std::wstring& path);

}  // namespace vt
