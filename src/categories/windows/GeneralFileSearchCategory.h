// TGeneralFileSearchCategory: the base of the categories whose traces are
// plain files found by a folder search (memory dumps, CHKDSK fragments, spool
// files, the CD-burning area, jump lists, the debug folder).
//
// A file category states what it is in its TCategoryDescriptor and fills the
// search in InitFileSearch: the depth, whether drive roots are admitted and
// the masked paths (docs/search.md, "How a file category is built"). Masks
// known only at scan time go in PrepareFileSearch; IsFileExcluded keeps a
// found file out. Every found file becomes a groupable item named and located
// by its path and carrying its size. Removing one deletes the file through
// the backed-up removal wrapper and then its folder, when that folder is not
// one of the searched folders (an emptied sub-folder goes with its last file).
//
// What the categories ask of Windows goes through IFileCategorySystem, so
// the whole category runs natively against a scripted system.
#pragma once

#include <memory>
#include <string>

#include "categories/windows/FileCategorySystem.h"
#include "model/VTCategory.h"
#include "search/FoldersFileSearch.h"

namespace vt {

class TGeneralFileSearchCategory : public TVTCategory {
public:
    bool RemoveItem(TDetectedItem& Item) override;
    bool CheckIfInstalled() override { return true; }
    void Search() override;
    void SaveToStream(TStreamWrapper& W) override;
    void LoadFromStream(TStreamWrapper& W) override;

    // The search, created on first use (InitFileSearch runs then, once).
    TFoldersFileSearch& GetFileSearch();
    IFileCategorySystem& System() noexcept { return *FSystem; }

protected:
    // ASystem: what the category asks of Windows (the running system when null).
    TGeneralFileSearchCategory(TVantrelShare& AVantrel, const TCategoryDescriptor& ADescriptor,
                               std::shared_ptr<IFileCategorySystem> ASystem);

    // Once, right after the search is created: depth, roots and fixed masks.
    virtual void InitFileSearch() {}
    // At the start of every Search, before counting: masks known only now.
    virtual void PrepareFileSearch() {}
    // True keeps a found file out of the detected items.
    virtual bool IsFileExcluded(const std::wstring& AFileName) {
        (void)AFileName;
        return false;
    }

    // Adds masked paths to the search.
    void AddMasks(const std::vector<std::wstring>& AMasks);

    std::int32_t fTotalCount = 0;

private:
    void OnFile(const std::wstring& APath, bool& AStop);

    std::unique_ptr<TFoldersFileSearch> fFileSearch;
    std::shared_ptr<IFileCategorySystem> FSystem;
};

using TFileCategorySystemPtr = std::shared_ptr<IFileCategorySystem>;

}  // namespace vt
