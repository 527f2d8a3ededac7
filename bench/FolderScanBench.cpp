#include "FolderScanBench.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "System.h"
#include "categories/windows/FileCategories.h"
#include "model/CleanerOptions.h"
#include "model/VantrelShare.h"
#include "platform/NativePaths.h"
#include "runtime/FileSystem.h"
#include "runtime/RegistryReader.h"
#include "search/FoldersFileSearch.h"
#include "services/BVWrapper.h"
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
            if (file) {
                std::fputc(0x4D, file);  // one byte each: the sizes the category reports add up to kFiles
                std::fclose(file);
            }
        }
        folderCount_ = folders.size();
    }
    std::size_t FolderCount() const noexcept { return folderCount_; }

private:
    std::wstring host_;
    std::wstring root_;
    std::size_t folderCount_ = 0;
};

// The engine context a category scans with: nothing aborts, progress is dropped.
class BenchContext final : public TVantrelShare {
public:
    TBVWrapper& GetBVWrapper() override { return wrapper_; }
    void SetProgress(double) override {}
    void SetCurrentCategory(ICategory*) override {}
    void SetCurrentItem(IDetectedItem*, std::int32_t, std::int32_t) override {}
    void OnItemRemoved(IDetectedItem*) override {}
    void OnItemFailed(IDetectedItem*) override {}
    bool IsAborted() override { return false; }
    TCleanerOptions& Options() override { return *options_; }

private:
    TBVWrapper wrapper_;
    Com<TCleanerOptions> options_ = MakeCom<TCleanerOptions>();
};

// A machine whose CD-burning area is the scratch tree (no staging keys): the
// burning-area category then searches the whole tree, every file a trace.
class TreeSystem final : public IFileCategorySystem {
public:
    explicit TreeSystem(std::wstring root) : root_(std::move(root)) {}
    std::wstring WindowsDirectory() override { return {}; }
    std::wstring TempPath() override { return {}; }
    std::optional<std::wstring> ShellFolder(int csidl) override {
        if (csidl != 0x3B) return std::nullopt;
        return root_.substr(0, root_.size() - 1);
    }
    std::vector<std::wstring> LogicalDriveRoots() override { return {}; }
    std::uint32_t DriveType(const std::wstring&) override { return 0; }
    std::wstring FileSystemName(const std::wstring&) override { return {}; }
    int WindowsVersion() override { return 0; }
    std::wstring ExpandEnvironment(const std::wstring& text) override { return text; }
    const IRegistryReader& Registry() override { return registry_; }
    bool HibernationFilePresent() override { return false; }
    std::uint32_t ReserveHibernationFile(bool) override { return 1; }
    bool FileExists(const std::wstring&) override { return false; }
    void Sleep(std::uint32_t) override {}

private:
    std::wstring root_;
    MemoryRegistry registry_;
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
    std::int64_t reportedBytes = 0;
    BenchContext context;
    auto system = std::make_shared<TreeSystem>(tree.Root());
    const double search = Time(runs, [&] {
        // A whole category scan: the search, the found-item step, items with sizes.
        Com<TCDBurningFolder> category = TVTCategory::Create<TCDBurningFolder>(context, system);
        category->SearchIfInstalled();
        found = category->DetectedItems().Count();
        reportedBytes = 0;
        for (std::int32_t i = 0; i < found; ++i) reportedBytes += category->DetectedItems().Get(i)->FItemFileSize;
    });
    std::printf("folder scan, %d files in %zu folders:\n", kFiles, tree.FolderCount());
    std::printf("  raw walk (system listing calls)      %8.1f ms, %llu files\n", raw * 1000.0,
                static_cast<unsigned long long>(rawFiles));
    std::printf("  file category scan (TCDBurningFolder) %7.1f ms, %d items\n", search * 1000.0, found);
    std::printf("  ratio category / raw walk            %8.2f (target 1.20)\n", raw > 0 ? search / raw : 0.0);
    return found == kFiles && rawFiles == static_cast<std::uint64_t>(kFiles) && reportedBytes == kFiles;
}

}  // namespace vt::bench
