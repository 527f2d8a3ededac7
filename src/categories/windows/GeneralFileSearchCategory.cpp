#include "categories/windows/GeneralFileSearchCategory.h"

#include "model/StreamWrapper.h"
#include "model/VantrelShare.h"
#include "runtime/FileSystem.h"
#include "services/BVWrapper.h"

namespace vt {

namespace {

// The folder part of a path, without its trailing backslash.
std::wstring FolderOf(const std::wstring& APath) {
    const auto slash = APath.rfind(L'\\');
    return slash == std::wstring::npos ? std::wstring() : APath.substr(0, slash);
}

}  // namespace

TGeneralFileSearchCategory::TGeneralFileSearchCategory(TVantrelShare& AVantrel, const TCategoryDescriptor& ADescriptor,
                                                       std::shared_ptr<IFileCategorySystem> ASystem)
    : TVTCategory(AVantrel, ADescriptor), FSystem(ASystem ? std::move(ASystem) : MakeFileCategorySystem()) {
    FDetectedItems->FHasSize = true;
}

TFoldersFileSearch& TGeneralFileSearchCategory::GetFileSearch() {
    if (!fFileSearch) {
        fFileSearch = std::make_unique<TFoldersFileSearch>();
        InitFileSearch();
    }
    return *fFileSearch;
}

void TGeneralFileSearchCategory::AddMasks(const std::vector<std::wstring>& AMasks) {
    for (const auto& mask : AMasks) GetFileSearch().SearchMasks().Add(mask);
}

void TGeneralFileSearchCategory::Search() {
    TFoldersFileSearch& search = GetFileSearch();
    search.SetOnFile([this](const std::wstring& APath, bool& AStop) { OnFile(APath, AStop); });
    PrepareFileSearch();
    fTotalCount = search.Count();
    if (fTotalCount > 0) {
        search.Enumerate();
        ReportProgress(fTotalCount);
    }
}

void TGeneralFileSearchCategory::OnFile(const std::wstring& APath, bool& AStop) {
    if (!IsIgnored(APath, L"") && !IsFileExcluded(APath)) {
        TFoundItem found{.Name = APath, .Location = APath, .Icon = itFileDefault, .Grouped = true};
        // One question answers both "does it exist" and "how big" (-1: missing).
        if (const std::int64_t size = FileSizeOf(APath); size >= 0) found.Size = size;
        AddFoundItem(found);
    }
    EndFoundStep(fTotalCount, AStop);
}

bool TGeneralFileSearchCategory::RemoveItem(TDetectedItem& Item) {
    const std::wstring file = Item.Location();
    const std::wstring folder = FolderOf(file);
    TBVWrapper& wrapper = FVantrel.GetBVWrapper();
    const bool deleted = wrapper.DeleteFile(file, false);
    if (deleted && !folder.empty()) {
        bool searched = false;
        const StringList& masks = GetFileSearch().SearchMasks();
        for (int i = 0; i < masks.Count() && !searched; ++i) searched = FolderOf(masks.Get(i)) == folder;
        // A searched folder stays; a sub-folder the cleaning emptied goes (the
        // wrapper refuses a folder that still holds something).
        if (!searched) wrapper.RemoveDir(folder);
    }
    return deleted;
}

void TGeneralFileSearchCategory::SaveToStream(TStreamWrapper& W) {
    TVTCategory::SaveToStream(W);
    W.Write(fFileSearch != nullptr);
    if (fFileSearch) fFileSearch->SaveToStream(W);
}

void TGeneralFileSearchCategory::LoadFromStream(TStreamWrapper& W) {
    TVTCategory::LoadFromStream(W);
    fFileSearch.reset();
    // A loaded search keeps the saved masks and never runs InitFileSearch:
    // loaded results are for display and cleaning.
    if (W.ReadBoolean()) fFileSearch = std::make_unique<TFoldersFileSearch>(W);
}

}  // namespace vt
