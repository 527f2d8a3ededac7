#include "System.h"

#include "platform/Handles.h"
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

std::uint64_t RawWalkFileCount(const std::wstring& folder) {
    WIN32_FIND_DATAW data{};
    platform::unique_hfind find(FindFirstFileW((folder + L"*.*").c_str(), &data));
    if (!find) return 0;
    std::uint64_t files = 0;
    do {
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            if (data.cFileName[0] == L'.' && (data.cFileName[1] == 0 || (data.cFileName[1] == L'.' && data.cFileName[2] == 0)))
                continue;
            if (!(data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT))
                files += RawWalkFileCount(folder + data.cFileName + L"\\");
        } else {
            ++files;
        }
    } while (FindNextFileW(find.Get(), &data));
    return files;
}

}  // namespace vt::bench
