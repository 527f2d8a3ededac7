#include "ProcessMemory.h"

#include "platform/Win32.h"

#include <psapi.h>

namespace vt::bench {

namespace {

bool Counters(PROCESS_MEMORY_COUNTERS& counters) {
    counters = {};
    counters.cb = sizeof counters;
    return GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters) != 0;
}

}  // namespace

std::uint64_t CurrentResidentBytes() {
    PROCESS_MEMORY_COUNTERS counters;
    return Counters(counters) ? counters.WorkingSetSize : 0;
}

std::uint64_t PeakResidentBytes() {
    PROCESS_MEMORY_COUNTERS counters;
    return Counters(counters) ? counters.PeakWorkingSetSize : 0;
}

bool ResetPeakResident() { return false; }

void ReturnFreedMemory() {}

}  // namespace vt::bench
