#include "search/FoldersFileSearch.h"

#include <optional>

#include "model/StreamWrapper.h"
#include "platform/DirectoryList.h"
#include "runtime/DebugLog.h"
#include "runtime/Exception.h"
#include "runtime/FileSystem.h"
#include "runtime/FileUtils.h"
#include "runtime/Masks.h"
#include "runtime/Strings.h"
#include "services/CriticalFolders.h"

namespace vt {

namespace {

constexpr std::wstring_view kSender = L"TFoldersFileSearch";

// Folder part (with its trailing backslash) and file-name part of a masked
// path, split at the last backslash.
std::pair<std::wstring, std::wstring> SplitMaskedPath(const std::wstring& path) {
    const auto slash = path.rfind(L'\\');
    if (slash == std::wstring::npos) return {std::wstring(), path};
    return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

// Sets a flag for the lifetime of the scope, whatever leaves it.
class FlagScope {
public:
    FlagScope(bool& flag, bool value) : flag_(flag), saved_(flag) { flag_ = value; }
    ~FlagScope() { flag_ = saved_; }
    FlagScope(const FlagScope&) = delete;
    FlagScope& operator=(const FlagScope&) = delete;

private:
    bool& flag_;
    bool saved_;
};

}  // namespace

// The mask of the entry being searched, parsed once on first use.
struct TFoldersFileSearch::MaskState {
    std::wstring text;
    std::optional<Mask> parsed;
};

TFoldersFileSearch::TFoldersFileSearch() : FSearchMasks(std::make_unique<StringList>(true, dupIgnore)) {}

TFoldersFileSearch::TFoldersFileSearch(TStreamWrapper& AStream) : TFoldersFileSearch() { LoadFromStream(AStream); }

TFoldersFileSearch::~TFoldersFileSearch() = default;

int TFoldersFileSearch::Count() {
    FlagScope counting(fGetCountOnly, true);
    return Enumerate();
}

int TFoldersFileSearch::Enumerate() {
    // The counting pass records its listings; the reporting pass right after
    // it replays them, then forgets them.
    FlagScope recording(fRecording, fGetCountOnly);
    FlagScope replaying(fReplaying, !fGetCountOnly && fListingsComplete);
    fListingsComplete = false;
    if (fRecording || !fReplaying) fListings.clear();

    int total = 0;
    try {
        for (int i = 0; i < FSearchMasks->Count(); ++i) {
            const std::wstring entry = FSearchMasks->Get(i);
            auto [folder, name] = SplitMaskedPath(entry);
            if (name.empty()) ThrowInvalidOperation(L"Must be masked path (filename).");
            if (!FileUtils::IsMaskedPath(entry)) {
                if (FileExists(entry)) {
                    Report(entry);
                    ++total;
                }
            } else {
                MaskState mask{name, std::nullopt};
                total += ScanFolder(folder, mask, 0);
            }
            if (fStop) break;
        }
    } catch (...) {
        fListings.clear();
        throw;
    }
    if (fRecording) {
        fListingsComplete = !fStop;
    } else {
        fListings.clear();
    }
    return total;
}

void TFoldersFileSearch::Report(const std::wstring& APath) {
    if (!fGetCountOnly && fOnFile) fOnFile(APath, fStop);
}

bool TFoldersFileSearch::IsSearchableFolder(const std::wstring& AFolder) const {
    if (AFolder.size() < 3 || AFolder[1] != L':' || AFolder[2] != L'\\') return false;
    // Asked so that a critical folder is logged; the answer does not change
    // the admission. A replayed folder was asked during the counting pass.
    if (!fReplaying) CriticalFolders().IsFolderCritical(AFolder, fAllowRoots);
    return true;
}

bool TFoldersFileSearch::FileMatches(const std::wstring& AName, MaskState& AMask) const {
    if (AMask.text == L"*.*") return true;  // every file, also one without a dot
    if (!AMask.parsed) AMask.parsed.emplace(AMask.text);
    return AMask.parsed->Matches(AName);
}

std::wstring TFoldersFileSearch::ListingKey(const std::wstring& AFolder, const std::wstring& AMask, int ALevel) const {
    return AFolder + L'|' + AMask + L'|' + std::to_wstring(ALevel) + (fEnumFolders ? L"|folders" : L"");
}

int TFoldersFileSearch::ScanFolder(const std::wstring& AFolder, MaskState& AMask, int ALevel) {
    if (!IsSearchableFolder(AFolder)) return 0;
    const std::wstring key = ListingKey(AFolder, AMask.text, ALevel);
    if (fReplaying) {
        const auto found = fListings.find(key);
        if (found != fListings.end()) return ReplayFolder(AFolder, AMask, ALevel, found->second);
    }

    platform::DirectoryReader reader;
    if (!reader.Open(AFolder, platform::DirDetail::NamesAndKinds)) return 0;
    Listing* record = fRecording ? &fListings[key] : nullptr;
    int total = 0;
    platform::DirEntry entry;
    while (reader.Next(entry)) {
        if (entry.IsDirectory()) {
            if (entry.name == L"." || entry.name == L"..") continue;
            if (entry.IsReparsePoint()) {
                TDebugLog::Log(llInfo, kSender, L"Link not followed: %s", {(AFolder + entry.name).c_str()});
                continue;
            }
            if (fEnumFolders && fList) fList->Add(AFolder + entry.name);
            const std::wstring subFolder = AFolder + entry.name + L"\\";
            if (record) record->push_back({std::move(entry.name), true});
            if (ALevel != FDirLevel) total += ScanFolder(subFolder, AMask, ALevel + 1);
        } else {
            if (fEnumFolders) continue;
            if (FileMatches(entry.name, AMask)) {
                if (!fGetCountOnly && fOnFile) Report(AFolder + entry.name);
                if (record) record->push_back({std::move(entry.name), false});
                ++total;
            }
        }
        if (fStop) return total;
    }
    return total;
}

int TFoldersFileSearch::ReplayFolder(const std::wstring& AFolder, MaskState& AMask, int ALevel,
                                     const Listing& AListing) {
    int total = 0;
    for (const auto& entry : AListing) {
        if (entry.isFolder) {
            if (fEnumFolders && fList) fList->Add(AFolder + entry.name);
            if (ALevel != FDirLevel) total += ScanFolder(AFolder + entry.name + L"\\", AMask, ALevel + 1);
        } else if (!fEnumFolders) {
            if (!fGetCountOnly && fOnFile) Report(AFolder + entry.name);
            ++total;
        }
        if (fStop) return total;
    }
    return total;
}

void TFoldersFileSearch::SaveToStream(TStreamWrapper& AStream) const { AStream.Write(FSearchMasks.get()); }

void TFoldersFileSearch::LoadFromStream(TStreamWrapper& AStream) {
    std::unique_ptr<StringList> loaded;
    AStream.Read(loaded);
    FSearchMasks->Clear();
    if (loaded)
        for (int i = 0; i < loaded->Count(); ++i) FSearchMasks->Add(loaded->Get(i));
}

}  // namespace vt
