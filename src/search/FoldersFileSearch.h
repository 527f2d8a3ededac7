// TFoldersFileSearch: walks folders for the files that match a list of masked
// paths and reports each through OnFile; reading Count runs the same walk
// without reporting, so a category can size its progress first.
//
// Links are not followed: a directory entry carrying the reparse-point
// attribute (a junction or symbolic link) is neither descended into nor
// collected, and the skip is logged at llInfo. Following one can loop forever
// or reach files far outside the folder a category was asked to clean.
//
// The walk lists each folder once per Count + Enumerate pair: the counting
// pass keeps what it listed (the matching file names and the sub-folders, in
// file-system order) and the Enumerate that follows replays it instead of
// listing the folders again. A file that appears between the two passes is
// therefore not reported, and one that vanishes is still reported (its
// handler finds it gone), exactly as if both passes had run at the same moment.
//
// Not thread-safe: one owner at a time.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "runtime/StringList.h"

namespace vt {

class TStreamWrapper;

// Called once per matching file; set AStop to end the whole search.
using TOnFile = std::function<void(const std::wstring& APath, bool& AStop)>;

class TFoldersFileSearch {
public:
    TFoldersFileSearch();
    // A search whose masks are read from AStream (see LoadFromStream).
    explicit TFoldersFileSearch(TStreamWrapper& AStream);
    ~TFoldersFileSearch();
    TFoldersFileSearch(const TFoldersFileSearch&) = delete;
    TFoldersFileSearch& operator=(const TFoldersFileSearch&) = delete;

    // The masked paths searched, sorted, a repeated one held once: a folder,
    // a backslash and a file mask ("C:\Windows\*.dmp"), or one file's full path.
    StringList& SearchMasks() noexcept { return *FSearchMasks; }
    const StringList& SearchMasks() const noexcept { return *FSearchMasks; }

    void SetOnFile(TOnFile AOnFile) { fOnFile = std::move(AOnFile); }
    // Deepest level of sub-folders entered; 0 lists only the named folder, -1 has no limit.
    int DirLevel() const noexcept { return FDirLevel; }
    void SetDirLevel(int ALevel) noexcept { FDirLevel = ALevel; }
    // Handed to the critical-folder question for every folder listed.
    bool AllowRoots() const noexcept { return fAllowRoots; }
    void SetAllowRoots(bool AAllow) noexcept { fAllowRoots = AAllow; }
    // Folder-collecting mode: every sub-folder met is appended to AList (full
    // path, no trailing backslash) and files are ignored. AList is not owned.
    void SetEnumFolders(bool AEnum, StringList* AList) noexcept {
        fEnumFolders = AEnum;
        fList = AList;
    }
    // True once a handler has stopped the search; never reset by the search.
    bool Stopped() const noexcept { return fStop; }

    // The number of files Enumerate would report, without reporting them.
    // Throws the invalid-operation error "Must be masked path (filename)."
    // for a mask whose file-name part is empty.
    int Count();
    // Reports every matching file through OnFile; returns how many matched.
    // Same error as Count.
    int Enumerate();

    // The stream form: the mask list only.
    void SaveToStream(TStreamWrapper& AStream) const;
    void LoadFromStream(TStreamWrapper& AStream);

private:
    // One remembered entry of a folder listing: a matching file or a sub-folder.
    struct ListedEntry {
        std::wstring name;
        bool isFolder;
    };
    using Listing = std::vector<ListedEntry>;

    struct MaskState;
    int ScanFolder(const std::wstring& AFolder, MaskState& AMask, int ALevel);
    int ReplayFolder(const std::wstring& AFolder, MaskState& AMask, int ALevel, const Listing& AListing);
    bool IsSearchableFolder(const std::wstring& AFolder) const;
    bool FileMatches(const std::wstring& AName, MaskState& AMask) const;
    void Report(const std::wstring& APath);
    std::wstring ListingKey(const std::wstring& AFolder, const std::wstring& AMask, int ALevel) const;

    TOnFile fOnFile;
    bool fStop = false;
    bool fGetCountOnly = false;
    bool fEnumFolders = false;
    StringList* fList = nullptr;
    bool fAllowRoots = false;
    int FDirLevel = -1;
    std::unique_ptr<StringList> FSearchMasks;

    // Listings kept by the counting pass for the Enumerate that follows it.
    std::map<std::wstring, Listing> fListings;
    bool fListingsComplete = false;  // the last counting pass ran to its end
    bool fRecording = false;
    bool fReplaying = false;
};

}  // namespace vt
