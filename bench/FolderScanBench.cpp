#include "FolderScanBench.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "System.h"
#include "platform/NativePaths.h"
#include "runtime/FileSystem.h"
#include "search/FoldersFileSearch.h"
#include "services/CriticalFolders.h"

namespace vt::bench {

namespace {

constexpr int kFiles = 100'000;

// A scratch tree removed when the case ends.
class ScratchTree {
public:
    ScratchTree() {
        const auto base = std::filesystem::temp_directory_path() /
                          ("vt_scan_bench_" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()));
        host_ = base.wstring();
        ForceDirectories(host_);
#if defined(_WIN32)
        root_ = host_ + L"\\";
#else
        platform::SetDriveRoot(L'B', host_);
        root_ = L"B:\\";
#endif
    }
    ~ScratchTree() {
        std::error_code ignored;
        std::filesystem::remove_all(std::filesystem::path(host_), ignored);
#if !defined(_WIN32)
        platform::SetDriveRoot(L'B', std::nullopt);
#endif
    }
    const std::wstring& Root() const noexcept { return root_; }

    // 25 top folders, each with 4 sub-folders holding 3 more (400 folders,
    // depths 1 to 3), files spread over all of them and over the root.
    void Fill() {
        std::vector<std::wstring> folders{root_};
        for (int a = 0; a < 25; ++a) {
            const std::wstring top = root_ + L"Profile" + std::to_wstring(a) + L"\\";
            folders.push_back(top);
            for (int b = 0; b < 4; ++b) {
                const std::wstring mid = top + L"Cache" + std::to_wstring(b) + L"\\";
                folders.push_back(mid);
                for (int c = 0; c < 3; ++c) folders.push_back(mid + L"Entries" + std::to_wstring(c) + L"\\");
            }
        }
        for (const auto& f : folders) ForceDirectories(f);
        for (int i = 0; i < kFiles; ++i) {
            const std::wstring& folder = folders[static_cast<std::size_t>(i) % folders.size()];
            std::FILE* file = OpenFileForAppend(folder + L"f" + std::to_wstring(i) + (i % 3 ? L".tmp" : L".dat"));
            if (file) std::fclose(file);
        }
        folderCount_ = folders.size();
    }
    std::size_t FolderCount() const noexcept { return folderCount_; }

private:
    std::wstring host_;
    std::wstring root_;
    std::size_t folderCount_ = 0;
};

double MedianSeconds(std::vector<double> seconds) {
    std::sort(seconds.begin(), seconds.end());
    const std::size_t mid = seconds.size() / 2;
    return seconds.size() % 2 ? seconds[mid] : (seconds[mid - 1] + seconds[mid]) / 2;
}

template <class Body>
double Time(int runs, Body&& body) {
    std::vector<double> seconds;
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        body();
        seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return MedianSeconds(std::move(seconds));
}

}  // namespace

bool RunFolderScan(int runs) {
    ScratchTree tree;
    tree.Fill();
    // The critical-folder lists are built once per process, not per scan.
    CriticalFolders().IsFolderCritical(tree.Root(), false);

    std::uint64_t rawFiles = 0;
    const double raw = Time(runs, [&] { rawFiles = RawWalkFileCount(tree.Root()); });
    int found = 0;
    std::uint64_t reportedBytes = 0;
    const double search = Time(runs, [&] {
        TFoldersFileSearch scan;
        scan.SearchMasks().Add(tree.Root() + L"*.*");
        found = 0;
        reportedBytes = 0;
        scan.SetOnFile([&](const std::wstring& path, bool&) {
            ++found;
            reportedBytes += path.size();
        });
        if (scan.Count() > 0) scan.Enumerate();
    });
    std::printf("folder scan, %d files in %zu folders:\n", kFiles, tree.FolderCount());
    std::printf("  raw walk (system listing calls)      %8.1f ms, %llu files\n", raw * 1000.0,
                static_cast<unsigned long long>(rawFiles));
    std::printf("  folder search, Count + Enumerate     %8.1f ms, %d files\n", search * 1000.0, found);
    std::printf("  ratio search / raw walk              %8.2f (target 1.20)\n", raw > 0 ? search / raw : 0.0);
    return found == kFiles && rawFiles == static_cast<std::uint64_t>(kFiles) && reportedBytes > 0;
}

}  // namespace vt::bench
