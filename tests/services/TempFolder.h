// A scratch folder of its own for each test, removed with everything in it
// when the test ends. Paths are handed out the Windows way (backslashes);
// the native build maps them (vt::NativePath).
#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>

#include "runtime/FileSystem.h"

namespace vt::test {

class TempFolder {
public:
    TempFolder() {
        static std::atomic<int> serial{0};
        // Test programs run in parallel and share the temporary folder: the
        // random part keeps two processes started in the same tick apart.
        static const unsigned processTag = std::random_device{}();
        const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
        root_ = (std::filesystem::temp_directory_path() / "").wstring() + L"vt_records_" +
                std::to_wstring(processTag) + L"_" + std::to_wstring(stamp) + L"_" + std::to_wstring(++serial);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(std::filesystem::path(NativePath(root_)), ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    // The folder itself (it need not exist yet).
    const std::wstring& Root() const noexcept { return root_; }
    // A path below the folder; relative is written with backslashes.
    std::wstring Path(const std::wstring& relative) const { return root_ + L"\\" + relative; }

private:
    std::wstring root_;
};

}  // namespace vt::test
