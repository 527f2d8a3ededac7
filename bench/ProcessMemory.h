// Resident memory of the benchmark process, in bytes. Natively from
// /proc/self/status (VmRSS, VmHWM); on Windows from GetProcessMemoryInfo
// (WorkingSetSize, PeakWorkingSetSize). 0 when the system does not say.
#pragma once

#include <cstdint>

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

}  // namespace vt::bench
