#include "System.h"

#include "platform/Win32.h"

#include <psapi.h>

namespace vt::bench {

namespace {

// The process's memory counters; all 0 when the system does not answer.
PROCESS_MEMORY_COUNTERS Counters() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    if (!GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters)) counters = {};
    return counters;
}

}  // namespace

std::uint64_t CurrentResidentBytes() { return Counters().WorkingSetSize; }

std::uint64_t PeakResidentBytes() { return Counters().PeakWorkingSetSize; }

bool ResetPeakResident() { return false; }

void ReturnFreedMemory() {}

Com<IStream> NewHGlobalStream() {
    Com<IStream> stream;
    if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, stream.Put()))) return nullptr;
    return stream;
}

}  // namespace vt::bench
