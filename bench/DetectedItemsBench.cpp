// Detected-items benchmarks: adding 100,000 and 1,000,000 items to a list that
// refuses duplicate locations, and saving and loading a million items through
// an IStream the way the engine saves scan results for its host.
//
//   vantrel_bench [--runs N] [--case NAME]...
//
// Cases: add-100k, add-1m; stream-100k, stream-1m (the portable memory
// IStream); on Windows stream-100k-hglobal, stream-200k-hglobal and, only when
// named, stream-1m-hglobal (CreateStreamOnHGlobal). Without --case the others
// run in that order. Natively each case's peak memory is its own (the peak is
// reset); on Windows it cannot be reset, so run one case per process for a
// case's own peak.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "Harness.h"
#include "HGlobalStream.h"
#include "ProcessMemory.h"
#include "model/DetectedItems.h"
#include "model/StreamWrapper.h"
#include "runtime/ComStream.h"
#include "runtime/DebugLog.h"
#include "runtime/Exception.h"

namespace vt::bench {
namespace {

constexpr double kMiB = 1024.0 * 1024.0;
constexpr double kMB = 1000.0 * 1000.0;

// What a scan offers a list, in a fixed pattern of 20: one item repeats the
// location of the item before it (refused), one is a group member (groups of
// about ten members share a name: the first becomes the head, the others are
// folded into it), the rest are distinct files and registry values. The
// pattern keeps the proportions the same at every size, so the cost per item
// can be compared between sizes.
enum class Offer { Distinct, Duplicate, Grouped };

Offer OfferAt(std::size_t i) {
    switch (i % 20) {
        case 7: return Offer::Duplicate;
        case 13: return Offer::Grouped;
        default: return Offer::Distinct;
    }
}

std::wstring Padded(std::size_t value, int width) {
    std::wstring text = std::to_wstring(value);
    if (static_cast<int>(text.size()) < width) text.insert(0, static_cast<std::size_t>(width) - text.size(), L'0');
    return text;
}

std::wstring LocationOf(std::size_t i) {
    if (i % 5 == 4)
        return L"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RecentDocs\\\\" +
               std::to_wstring(i);
    return L"C:\\Users\\root\\AppData\\Local\\Temp\\vantrel-bench\\dir" + Padded(i % 1000, 3) + L"\\file" +
           Padded(i, 7) + L".tmp";
}

Com<TDetectedItem> MakeOffer(std::size_t i) {
    const Offer offer = OfferAt(i);
    Com<TDetectedItem> item = MakeCom<TDetectedItem>(offer == Offer::Grouped);
    if (offer == Offer::Grouped) {
        item->SetItemName(L"Cookies of site " + std::to_wstring(i / 200));
        item->SetLocation(L"C:\\Users\\root\\AppData\\Roaming\\Cookies\\cookie" + Padded(i, 7) + L".txt");
    } else {
        // A duplicate repeats the location of the distinct item just before it.
        const std::size_t at = offer == Offer::Duplicate ? i - 1 : i;
        item->SetItemName(L"file" + Padded(at, 7) + L".tmp");
        item->SetLocation(LocationOf(at));
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

struct AddTally {
    std::size_t kept = 0;
    std::size_t refused = 0;
};

AddTally AddAll(TDetectedItems& list, std::vector<Com<TDetectedItem>>& items) {
    AddTally tally;
    for (auto& item : items) {
        if (list.AddItem(item, false))
            ++tally.kept;
        else
            ++tally.refused;
    }
    return tally;
}

struct MemoryFigures {
    std::uint64_t start = 0;  // resident when the case began
    std::uint64_t peak = 0;   // peak resident at its end
    bool ownPeak = false;     // the peak was reset at the start: it is this case's
    double PeakGrowthMiB() const { return peak > start ? static_cast<double>(peak - start) / kMiB : 0; }
};

class MemoryWatch {
public:
    MemoryWatch() {
        ReturnFreedMemory();
        figures_.ownPeak = ResetPeakResident();
        figures_.start = CurrentResidentBytes();
    }
    MemoryFigures Stop() {
        figures_.peak = PeakResidentBytes();
        return figures_;
    }

private:
    MemoryFigures figures_;
};

void PrintTimes(const char* label, const std::vector<double>& seconds) {
    std::printf("  %-22s median %9.4f s   min %9.4f s   max %9.4f s   (%zu runs)\n", label, Median(seconds),
                Min(seconds), Max(seconds), seconds.size());
}

void PrintMemory(const MemoryFigures& memory, std::size_t items) {
    std::printf("  memory: resident at start %.1f MiB, peak %.1f MiB, peak growth %.1f MiB (%.0f bytes/item)%s\n",
                static_cast<double>(memory.start) / kMiB, static_cast<double>(memory.peak) / kMiB,
                memory.PeakGrowthMiB(), memory.PeakGrowthMiB() * kMiB / static_cast<double>(items),
                memory.ownPeak ? "" : "\n          (the process's peak so far: run this case alone for its own)");
}

// Median nanoseconds per offered item, for the linearity line at the end.
std::vector<std::pair<std::size_t, double>> gAddCostPerItem;

bool RunAdd(std::size_t count, int runs) {
    std::printf("add %zu items (duplicates refused)\n", count);
    MemoryWatch watch;
    AddTally tally;
    struct State {
        Com<TDetectedItems> list;
        std::vector<Com<TDetectedItem>> items;
    };
    const auto seconds = TimeRuns(
        runs, [&] { return State{NewList(), MakeOffers(count)}; },
        [&](State& state) { tally = AddAll(*state.list, state.items); });
    const MemoryFigures memory = watch.Stop();
    PrintTimes("AddItem loop", seconds);
    const double nsPerItem = Median(seconds) * 1e9 / static_cast<double>(count);
    std::printf("  %.1f ns per offered item; %zu offered, %zu accepted (folded group members included), %zu refused\n",
                nsPerItem, count, tally.kept, tally.refused);
    PrintMemory(memory, count);
    gAddCostPerItem.emplace_back(count, nsPerItem);
    return tally.refused == count / 20;
}

std::uint64_t StreamSize(IStream* stream) {
    LARGE_INTEGER move;
    move.QuadPart = 0;
    ULARGE_INTEGER end;
    end.QuadPart = 0;
    if (FAILED(stream->Seek(move, STREAM_SEEK_END, &end))) return 0;
    return end.QuadPart;
}

// Saves the list as the engine saves scan results: from the stream's start,
// truncated first, flushed at the end.
void SaveTo(const TDetectedItems& list, IStream* stream) {
    ComStreamAdapter adapter(stream);
    adapter.SetPosition(0);
    adapter.SetSize(0);
    TStreamWrapper W(adapter);
    list.SaveToStream(W);
    adapter.Flush();
}

void LoadFrom(TDetectedItems& list, IStream* stream) {
    ComStreamAdapter adapter(stream);
    adapter.SetPosition(0);
    TStreamWrapper W(adapter);
    list.LoadFromStream(W);
}

bool RunStream(const char* kind, const std::function<Com<IStream>()>& newStream, std::size_t count, int runs) {
    std::printf("save and load %zu items through an IStream (%s)\n", count, kind);
    MemoryWatch watch;
    Com<TDetectedItems> source = NewList();
    {
        auto offers = MakeOffers(count);
        AddAll(*source, offers);
    }
    const std::int32_t saved = source->Count();

    Com<IStream> stream;
    const auto saveSeconds = TimeRuns(
        runs, [&] { return newStream(); },
        [&](Com<IStream>& fresh) {
            SaveTo(*source, fresh.Get());
            stream = fresh;
        });
    const std::uint64_t bytes = StreamSize(stream.Get());
    source.Reset();  // only the stream and the loaded list from here on

    std::int32_t loaded = -1;
    const auto loadSeconds = TimeRuns(
        runs, [&] { return NewList(); },
        [&](Com<TDetectedItems>& list) {
            LoadFrom(*list, stream.Get());
            loaded = list->Count();
        });
    const MemoryFigures memory = watch.Stop();

    std::printf("  %d list entries (heads carry their folded items), %.1f MB of stream\n", saved,
                static_cast<double>(bytes) / kMB);
    PrintTimes("save", saveSeconds);
    PrintTimes("load", loadSeconds);
    std::printf("  save %.1f MB/s, load %.1f MB/s (medians; MB = 10^6 bytes)\n",
                static_cast<double>(bytes) / kMB / Median(saveSeconds),
                static_cast<double>(bytes) / kMB / Median(loadSeconds));
    PrintMemory(memory, count);
    if (loaded != saved) std::printf("  ERROR: %d entries loaded back, %d saved\n", loaded, saved);
    return loaded == saved && bytes > 0;
}

struct Case {
    const char* name;
    bool byName;
    std::function<bool(int runs)> run;
};

int Main(int argc, char** argv) {
    // A log line per add would measure the log, not the list.
    TDebugLog::SetLevel(llNone);

    int runs = 5;
    std::vector<std::string> wanted;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--runs") == 0 && i + 1 < argc) {
            runs = std::atoi(argv[++i]);
        } else if (std::strcmp(argv[i], "--case") == 0 && i + 1 < argc) {
            wanted.emplace_back(argv[++i]);
        } else {
            std::fprintf(stderr,
                         "usage: vantrel_bench [--runs N] [--case NAME]...\n"
                         "cases: add-100k add-1m stream-100k stream-1m stream-100k-hglobal stream-200k-hglobal\n"
                         "       stream-1m-hglobal (only by name)\n");
            return 2;
        }
    }
    if (runs < 1) runs = 1;

    const auto memoryStream = [] { return Com<IStream>(MakeCom<TMemoryIStream>()); };
    const auto hglobal = [](std::size_t count, int n) {
        if (!NewHGlobalStream()) {
            std::printf("CreateStreamOnHGlobal is not available here: skipped\n");
            return true;
        }
        return RunStream("CreateStreamOnHGlobal", [] { return NewHGlobalStream(); }, count, n);
    };
    // Cases marked byName run only when asked for with --case.
    const std::vector<Case> cases = {
        {"add-100k", false, [](int n) { return RunAdd(100'000, n); }},
        {"add-1m", false, [](int n) { return RunAdd(1'000'000, n); }},
        {"stream-100k", false, [&](int n) { return RunStream("portable memory IStream", memoryStream, 100'000, n); }},
        {"stream-1m", false, [&](int n) { return RunStream("portable memory IStream", memoryStream, 1'000'000, n); }},
        {"stream-100k-hglobal", false, [&](int n) { return hglobal(100'000, n); }},
        {"stream-200k-hglobal", false, [&](int n) { return hglobal(200'000, n); }},
        // Under Wine 8 an HGLOBAL stream reallocates its whole block on every
        // write past its end: a million items take minutes (docs/benchmarks.md).
        {"stream-1m-hglobal", true, [&](int n) { return hglobal(1'000'000, n); }},
    };

    bool ok = true;
    std::size_t ran = 0;
    for (const Case& c : cases) {
        bool selected = wanted.empty() && !c.byName;
        for (const auto& name : wanted) selected = selected || name == c.name;
        if (!selected) continue;
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
