// Detected-items benchmarks: adding 100,000 and 1,000,000 items to a list that
// refuses duplicate locations, and saving and loading a million items through
// an IStream the way the engine saves scan results for its host.
//
//   vantrel_bench [--runs N] [--case NAME]...
//
// Cases: add-100k, add-1m; stream-100k, stream-1m (the portable memory
// IStream); on Windows stream-100k-hglobal, stream-200k-hglobal; scan-100k
// (the folder search against a raw walk, FolderScanBench.cpp); and, only when
// named, stream-1m-hglobal (CreateStreamOnHGlobal). Without --case the others
// run in that order. Natively each case's peak memory is its own (the peak is
// reset); on Windows it cannot be reset, so run one case per process for a
// case's own peak.
//
// Google Benchmark does not cross-build here, so each case times itself: every
// run prepares untimed, then times one call; the median of the runs is quoted.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "FolderScanBench.h"
#include "System.h"
#include "model/DetectedItems.h"
#include "model/StreamWrapper.h"
#include "runtime/ComStream.h"
#include "runtime/DebugLog.h"
#include "runtime/Exception.h"

namespace vt::bench {
namespace {

constexpr double kMiB = 1024.0 * 1024.0;
constexpr double kMB = 1000.0 * 1000.0;

// Seconds of each run, sorted. prepare() runs untimed before each run; what it
// returns is handed to the timed body.
template <class Prepare, class Body>
std::vector<double> TimeRuns(int runs, Prepare&& prepare, Body&& body) {
    std::vector<double> seconds;
    for (int i = 0; i < runs; ++i) {
        auto state = prepare();
        const auto start = std::chrono::steady_clock::now();
        body(state);
        seconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    std::sort(seconds.begin(), seconds.end());
    return seconds;
}

// The median of sorted run times (the mean of the middle two for an even count).
double Median(const std::vector<double>& sorted) {
    const std::size_t mid = sorted.size() / 2;
    return sorted.size() % 2 ? sorted[mid] : (sorted[mid - 1] + sorted[mid]) / 2;
}

void PrintTimes(const char* label, const std::vector<double>& sorted) {
    std::printf("  %-22s median %9.4f s   min %9.4f s   max %9.4f s   (%zu runs)\n", label, Median(sorted),
                sorted.front(), sorted.back(), sorted.size());
}

// Resident memory over one case, from its construction to Print.
struct MemoryWatch {
    MemoryWatch() : ownPeak_((ReturnFreedMemory(), ResetPeakResident())), start_(CurrentResidentBytes()) {}

    void Print(std::size_t items) const {
        const std::uint64_t peak = PeakResidentBytes();
        const double growth = peak > start_ ? static_cast<double>(peak - start_) / kMiB : 0;
        std::printf("  memory: resident at start %.1f MiB, peak %.1f MiB, peak growth %.1f MiB (%.0f bytes/item)%s\n",
                    static_cast<double>(start_) / kMiB, static_cast<double>(peak) / kMiB, growth,
                    growth * kMiB / static_cast<double>(items),
                    ownPeak_ ? "" : "\n          (the process's peak so far: run this case alone for its own)");
    }
    bool ownPeak_;  // the peak was reset at the start: it is this case's
    std::uint64_t start_;
};

std::wstring Padded(std::size_t value, std::size_t width) {
    const std::wstring text = std::to_wstring(value);
    return std::wstring(width > text.size() ? width - text.size() : 0, L'0') + text;
}

// What a scan offers a list, in a fixed pattern of 20: item 7 repeats the
// location of the item before it (refused), item 13 is a group member (groups
// of about ten members share a name: the first becomes the head, the others
// are folded into it), the rest are distinct files and registry values. The
// pattern keeps the proportions the same at every size, so the cost per item
// can be compared between sizes.
Com<TDetectedItem> MakeOffer(std::size_t i) {
    const bool grouped = i % 20 == 13;
    const std::size_t at = i % 20 == 7 ? i - 1 : i;
    Com<TDetectedItem> item = MakeCom<TDetectedItem>(grouped);
    if (grouped) {
        item->SetItemName(L"Cookies of site " + std::to_wstring(i / 200));
        item->SetLocation(L"C:\\Users\\root\\AppData\\Roaming\\Cookies\\cookie" + Padded(i, 7) + L".txt");
    } else {
        item->SetItemName(L"file" + Padded(at, 7) + L".tmp");
        item->SetLocation(at % 5 == 4 ? L"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\"
                                        L"RecentDocs\\\\" + std::to_wstring(at)
                                      : L"C:\\Users\\root\\AppData\\Local\\Temp\\vantrel-bench\\dir" +
                                            Padded(at % 1000, 3) + L"\\file" + Padded(at, 7) + L".tmp");
    }
    item->FItemText = L"Temporary file";
    item->FItemCanBeDeleted = true;
    item->FItemFileSize = static_cast<std::int64_t>(i % 4096);
    return item;
}

std::vector<Com<TDetectedItem>> MakeOffers(std::size_t count) {
    std::vector<Com<TDetectedItem>> items;
    items.reserve(count);
    for (std::size_t i = 0; i < count; ++i) items.push_back(MakeOffer(i));
    return items;
}

Com<TDetectedItems> NewList() {
    Com<TDetectedItems> list = MakeCom<TDetectedItems>(nullptr);
    list->FAllowDuplicates = false;
    return list;
}

// Offers every item to the list; returns how many it refused.
std::size_t AddAll(TDetectedItems& list, std::vector<Com<TDetectedItem>>& items) {
    std::size_t refused = 0;
    for (auto& item : items) refused += list.AddItem(item, false) ? 0 : 1;
    return refused;
}

// Median nanoseconds per offered item of each add case, for the linearity line at the end.
std::vector<std::pair<std::size_t, double>> gAddCostPerItem;

bool RunAdd(std::size_t count, int runs) {
    std::printf("add %zu items (duplicates refused)\n", count);
    const MemoryWatch memory;
    std::size_t refused = 0;
    const auto seconds = TimeRuns(
        runs, [&] { return std::pair(NewList(), MakeOffers(count)); },
        [&](auto& listAndOffers) { refused = AddAll(*listAndOffers.first, listAndOffers.second); });
    PrintTimes("AddItem loop", seconds);
    const double nsPerItem = Median(seconds) * 1e9 / static_cast<double>(count);
    std::printf("  %.1f ns per offered item; %zu offered, %zu accepted (folded group members included), %zu refused\n",
                nsPerItem, count, count - refused, refused);
    memory.Print(count);
    gAddCostPerItem.emplace_back(count, nsPerItem);
    return refused == count / 20;
}

// Saves the list as the engine saves scan results: from the stream's start,
// truncated first, flushed at the end. Returns the bytes written.
std::int64_t SaveTo(const TDetectedItems& list, IStream* stream) {
    ComStreamAdapter adapter(stream);
    adapter.SetPosition(0);
    adapter.SetSize(0);
    TStreamWrapper W(adapter);
    list.SaveToStream(W);
    adapter.Flush();
    return adapter.Position();
}

void LoadFrom(TDetectedItems& list, IStream* stream) {
    ComStreamAdapter adapter(stream);
    adapter.SetPosition(0);
    TStreamWrapper W(adapter);
    list.LoadFromStream(W);
}

bool RunStream(const char* kind, const std::function<Com<IStream>()>& newStream, std::size_t count, int runs) {
    std::printf("save and load %zu items through an IStream (%s)\n", count, kind);
    const MemoryWatch memory;
    Com<TDetectedItems> source = NewList();
    {
        auto offers = MakeOffers(count);
        AddAll(*source, offers);
    }
    const std::int32_t saved = source->Count();
    Com<IStream> stream;
    std::int64_t bytes = 0;
    const auto saveSeconds = TimeRuns(runs, newStream, [&](Com<IStream>& fresh) {
        bytes = SaveTo(*source, fresh.Get());
        stream = fresh;
    });
    source.Reset();  // only the stream and the loaded list from here on
    std::int32_t loaded = -1;
    const auto loadSeconds = TimeRuns(runs, NewList, [&](Com<TDetectedItems>& list) {
        LoadFrom(*list, stream.Get());
        loaded = list->Count();
    });

    const double megabytes = static_cast<double>(bytes) / kMB;
    std::printf("  %d list entries (heads carry their folded items), %.1f MB of stream\n", saved, megabytes);
    PrintTimes("save", saveSeconds);
    PrintTimes("load", loadSeconds);
    std::printf("  save %.1f MB/s, load %.1f MB/s (medians; MB = 10^6 bytes)\n", megabytes / Median(saveSeconds),
                megabytes / Median(loadSeconds));
    memory.Print(count);
    if (loaded != saved) std::printf("  ERROR: %d entries loaded back, %d saved\n", loaded, saved);
    return loaded == saved && bytes > 0;
}

int Main(int argc, char** argv) {
    // A log line per add would measure the log, not the list.
    TDebugLog::SetLevel(llNone);

    int runs = 5;
    std::vector<std::string> wanted;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--runs") == 0 && i + 1 < argc) {
            runs = std::max(1, std::atoi(argv[++i]));
        } else if (std::strcmp(argv[i], "--case") == 0 && i + 1 < argc) {
            wanted.emplace_back(argv[++i]);
        } else {
            std::fprintf(stderr,
                         "usage: vantrel_bench [--runs N] [--case NAME]...\n"
                         "cases: add-100k add-1m stream-100k stream-1m stream-100k-hglobal stream-200k-hglobal\n"
                         "       scan-100k; stream-1m-hglobal (only by name)\n");
            return 2;
        }
    }

    const auto memoryStream = [] { return Com<IStream>(MakeCom<TMemoryIStream>()); };
    const auto hglobal = [](std::size_t count, int n) {
        if (!NewHGlobalStream()) {
            std::printf("CreateStreamOnHGlobal is not available here: skipped\n");
            return true;
        }
        return RunStream("CreateStreamOnHGlobal", NewHGlobalStream, count, n);
    };
    struct Case {
        const char* name;
        bool byName;  // runs only when named with --case
        std::function<bool(int runs)> run;
    };
    const Case cases[] = {
        {"add-100k", false, [](int n) { return RunAdd(100'000, n); }},
        {"add-1m", false, [](int n) { return RunAdd(1'000'000, n); }},
        {"stream-100k", false, [&](int n) { return RunStream("portable memory IStream", memoryStream, 100'000, n); }},
        {"stream-1m", false, [&](int n) { return RunStream("portable memory IStream", memoryStream, 1'000'000, n); }},
        {"stream-100k-hglobal", false, [&](int n) { return hglobal(100'000, n); }},
        {"stream-200k-hglobal", false, [&](int n) { return hglobal(200'000, n); }},
        // Under Wine 8 an HGLOBAL stream reallocates its whole block on every
        // write past its end: a million items take minutes.
        {"stream-1m-hglobal", true, [&](int n) { return hglobal(1'000'000, n); }},
        {"scan-100k", false, [](int n) { return RunFolderScan(n); }},
    };

    bool ok = true;
    std::size_t ran = 0;
    for (const Case& c : cases) {
        const bool named = std::find(wanted.begin(), wanted.end(), c.name) != wanted.end();
        if (!(named || (wanted.empty() && !c.byName))) continue;
        ++ran;
        try {
            ok = c.run(runs) && ok;
        } catch (const Exception& e) {
            std::printf("%s: failed with HRESULT 0x%08lx\n", c.name, static_cast<unsigned long>(e.Code()));
            ok = false;
        }
        std::fflush(stdout);
    }
    if (ran == 0) {
        std::fprintf(stderr, "no such case\n");
        return 2;
    }
    if (gAddCostPerItem.size() == 2) {
        std::printf("linearity: %.1f ns/item at %zu, %.1f ns/item at %zu, ratio %.2f\n", gAddCostPerItem[0].second,
                    gAddCostPerItem[0].first, gAddCostPerItem[1].second, gAddCostPerItem[1].first,
                    gAddCostPerItem[1].second / gAddCostPerItem[0].second);
    }
    return ok ? 0 : 1;
}

}  // namespace
}  // namespace vt::bench

int main(int argc, char** argv) { return vt::bench::Main(argc, argv); }
