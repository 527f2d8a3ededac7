// What the benchmark asks of the system: the resident memory of its process,
// in bytes (natively from /proc/self/status, VmRSS and VmHWM; on Windows from
// GetProcessMemoryInfo, WorkingSetSize and PeakWorkingSetSize; 0 when the
// system does not say), and the system's memory IStream.
#pragma once

#include <cstdint>
#include <string>

#include "runtime/ComObject.h"
#include "vantrel/ComTypes.h"

namespace vt::bench {

std::uint64_t CurrentResidentBytes();
std::uint64_t PeakResidentBytes();

// Lowers the recorded peak to the current figure so the next case's peak is
// its own. False when the system cannot (Windows): the peak then only grows,
// and a case's figure is exact only when no earlier case used more memory.
bool ResetPeakResident();

// Hands memory the allocator keeps after frees back to the system (glibc keeps
// a freed million items resident), so a case starts from what is really in
// use. Nothing to do on Windows, whose heap gives large frees back itself.
void ReturnFreedMemory();

// A new empty CreateStreamOnHGlobal stream (the kind a Windows host is likely
// to hand the engine) that frees its memory on release; null natively or when
// the system refuses.
Com<IStream> NewHGlobalStream();

// Files below the folder (a drive path ending in a backslash), counted by a
// plain recursive walk with the system's own calls (FindFirstFileW /
// FindNextFileW on Windows, readdir natively), links not followed.
std::uint64_t RawWalkFileCount(const std::wstring& folder);

}  // namespace vt::bench
