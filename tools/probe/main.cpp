// vantrel-probe: loads VantrelHelper.dll from its own folder through
// GetInstance, the way a host does, and prints the library's version and the
// engine's state, categories and options; then runs one scan and one clean,
// polling the state as a console host does, and prints the report.
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "vantrel/Client.hpp"

namespace {

const wchar_t* StateName(TCleanerState s) {
    static const wchar_t* names[] = {L"csReady",    L"csScanning",   L"csScanPause", L"csScanned",
                                     L"csCleaning", L"csCleanPause", L"csCleaned"};
    return s <= csCleaned ? names[s] : L"(unknown)";
}

std::wstring OwnFolder() {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring p(path);
    return p.substr(0, p.find_last_of(L'\\') + 1);
}

std::wstring FileVersion(const std::wstring& file) {
    DWORD ignored = 0;
    const DWORD size = ::GetFileVersionInfoSizeW(file.c_str(), &ignored);
    if (size == 0) return L"(no version resource)";
    std::wstring block(size / sizeof(wchar_t) + 1, L'\0');
    if (!::GetFileVersionInfoW(file.c_str(), 0, size, block.data())) return L"(unreadable)";
    VS_FIXEDFILEINFO* info = nullptr;
    UINT len = 0;
    if (!::VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&info), &len) || !info) return L"(none)";
    return std::to_wstring(HIWORD(info->dwFileVersionMS)) + L"." + std::to_wstring(LOWORD(info->dwFileVersionMS)) +
           L"." + std::to_wstring(HIWORD(info->dwFileVersionLS));
}

// Polls until the engine reaches `wanted`, printing progress as it moves.
void WaitFor(ICleaner* cleaner, ICleanerStatistics* statistics, TCleanerState wanted) {
    using vantrel::client::Check;
    TCleanerState state{};
    double shown = -1;
    for (;;) {
        Check(cleaner->GetState(&state));
        double progress = 0;
        Check(statistics->GetProgress(&progress));
        if (progress >= shown + 10 || (state == wanted && progress != shown)) {
            wprintf(L"  %3.0f%%  %ls\n", progress, StateName(state));
            shown = progress;
        }
        if (state == wanted) return;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

}  // namespace

int wmain() {
    using namespace vantrel::client;
    const std::wstring dll = OwnFolder() + L"VantrelHelper.dll";
    try {
        Library library(dll);
        wprintf(L"VantrelHelper.dll %ls (%ls)\n", FileVersion(dll).c_str(), sizeof(void*) == 8 ? L"64-bit" : L"32-bit");
        Ptr<ICleaner> cleaner = library.CreateCleaner();
        TCleanerState state{};
        Check(cleaner->GetState(&state));
        wprintf(L"engine state: %ls\n", StateName(state));

        Ptr<ICleanerOptions> options;
        Check(cleaner->GetOptions(options.Put()));
        bool multi = true;
        Check(options->GetMultiCleanHiberFile(&multi));
        wprintf(L"option MultiCleanHiberFile: %ls\n", multi ? L"True" : L"False");

        Ptr<ICategories> categories;
        const HRESULT hr = cleaner->GetCategories(categories.Put());
        if (SUCCEEDED(hr)) {
            std::int32_t count = 0;
            Check(categories->GetCount(&count));
            wprintf(L"categories: %d\n", count);
        } else {
            wprintf(L"categories: not available (%ls)\n", LastErrorMessage().c_str());
        }

        Ptr<ICleanerStatistics> statistics;
        Check(cleaner->GetStatistics(statistics.Put()));
        const auto started = std::chrono::steady_clock::now();
        wprintf(L"scanning (no backup service attached: removals would go straight to Windows)\n");
        Check(cleaner->StartScanning(true));
        WaitFor(cleaner.Get(), statistics.Get(), csScanned);
        std::int32_t scanned = 0, detected = 0;
        Check(statistics->GetTotalScannedItems(&scanned));
        Check(statistics->GetTotalDetectedItems(&detected));
        wprintf(L"scan: %d units scanned, %d items found\n", scanned, detected);

        wprintf(L"cleaning\n");
        Check(cleaner->StartCleaning(true));
        WaitFor(cleaner.Get(), statistics.Get(), csCleaned);
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - started);

        Ptr<IVantrelReport> report = cleaner.As<IVantrelReport>();
        if (!report) throw Error(E_NOINTERFACE, L"the engine has no report");
        std::int32_t found = 0, removed = 0, failed = 0, ignored = 0;
        Check(report->GetFoundItems(&found));
        Check(report->GetRemovedItems(&removed));
        Check(report->GetFailedToRemove(&failed));
        Check(report->GetIgnoredItems(&ignored));
        wprintf(L"report: found %d, removed %d, failed %d, ignored %d (scan and clean took %lld ms)\n", found, removed,
                failed, ignored, static_cast<long long>(ms.count()));
        return 0;
    } catch (const Error& e) {
        fwprintf(stderr, L"vantrel-probe: %ls (0x%08lX)\n", e.Message().c_str(), static_cast<unsigned long>(e.Code()));
        return 1;
    }
}
