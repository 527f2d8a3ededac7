#include "ProcessMemory.h"

#include <fstream>
#if defined(__GLIBC__)
#include <malloc.h>
#endif
#include <sstream>
#include <string>

namespace vt::bench {

namespace {

// A "Name:   1234 kB" line of /proc/self/status, in bytes; 0 when missing.
std::uint64_t StatusField(const std::string& name) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, name.size(), name) != 0 || line.size() <= name.size() || line[name.size()] != ':')
            continue;
        std::istringstream fields(line.substr(name.size() + 1));
        std::uint64_t kib = 0;
        fields >> kib;
        return kib * 1024;
    }
    return 0;
}

}  // namespace

std::uint64_t CurrentResidentBytes() { return StatusField("VmRSS"); }

std::uint64_t PeakResidentBytes() { return StatusField("VmHWM"); }

bool ResetPeakResident() {
    // Writing 5 to clear_refs resets VmHWM to the current RSS (Linux 4.0+).
    std::ofstream clear("/proc/self/clear_refs");
    clear << "5";
    clear.flush();
    return static_cast<bool>(clear);
}

void ReturnFreedMemory() {
#if defined(__GLIBC__)
    malloc_trim(0);
#endif
}

}  // namespace vt::bench
