#include "System.h"

#include <fstream>
#include <string>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace vt::bench {

namespace {

// A "Name:   1234 kB" line of /proc/self/status, in bytes; 0 when missing.
std::uint64_t StatusField(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.rfind(name + ":", 0) == 0) return std::stoull(line.substr(name.size() + 1)) * 1024;
    return 0;
}

}  // namespace

std::uint64_t CurrentResidentBytes() { return StatusField("VmRSS"); }

std::uint64_t PeakResidentBytes() { return StatusField("VmHWM"); }

bool ResetPeakResident() {
    // Writing 5 to clear_refs resets VmHWM to the current RSS (Linux 4.0+).
    std::ofstream clear("/proc/self/clear_refs");
    clear << "5" << std::flush;
    return static_cast<bool>(clear);
}

void ReturnFreedMemory() {
#if defined(__GLIBC__)
    malloc_trim(0);
#endif
}

Com<IStream> NewHGlobalStream() { return nullptr; }

}  // namespace vt::bench
