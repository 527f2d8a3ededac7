#include "System.h"

#include <dirent.h>
#include <sys/stat.h>

#include <memory>

#include "platform/NativePaths.h"

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

namespace {

std::uint64_t WalkHost(const std::string& folder) {
    std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(folder.c_str()), &::closedir);
    if (!dir) return 0;
    std::uint64_t files = 0;
    while (const dirent* d = ::readdir(dir.get())) {
        const std::string name = d->d_name;
        if (name == "." || name == "..") continue;
        unsigned char type = d->d_type;
        if (type == DT_UNKNOWN) {
            struct stat st{};
            if (::lstat((folder + name).c_str(), &st) != 0) continue;
            type = S_ISDIR(st.st_mode) ? DT_DIR : S_ISLNK(st.st_mode) ? DT_LNK : DT_REG;
        }
        if (type == DT_DIR)
            files += WalkHost(folder + name + "/");
        else if (type != DT_LNK)
            ++files;
    }
    return files;
}

}  // namespace

std::uint64_t RawWalkFileCount(const std::wstring& folder) {
    return WalkHost(platform::HostBytes(platform::HostPath(folder)));
}

}  // namespace vt::bench
