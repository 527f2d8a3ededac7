#include "categories/windows/FileCategories.h"

namespace vt {

TChkFiles::TChkFiles(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem)
    : TGeneralFileSearchCategory(AVantrel,
                                 {.Id = ID_CHKDKS_FILES,
                                  .NameLz = S_CHKDSK_CATEGORY_NAME,
                                  .DescriptionLz = S_CHKDSK_CATEGORY_DESCR,
                                  .ItemShortDescriptionLz = S_CHKDSK_CATEGORY_ITEM_SHORT_DESCR,
                                  .Severity = cslMedium,
                                  .FireOnItem = 10,
                                  .ClassName = L"TChkFiles"},
                                 std::move(ASystem)) {}

void TChkFiles::InitFileSearch() {
    GetFileSearch().SetDirLevel(1);
    GetFileSearch().SetAllowRoots(true);
}

// Drives come and go: the list is rebuilt on every scan.
void TChkFiles::PrepareFileSearch() {
    GetFileSearch().SearchMasks().Clear();
    AddMasks(FileCategoryMasks::ChkdskFragments(System()));
}

}  // namespace vt
