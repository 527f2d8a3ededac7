#include "categories/windows/FileCategories.h"

namespace vt {

TCDBurningFolder::TCDBurningFolder(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem)
    : TGeneralFileSearchCategory(AVantrel,
                                 {.Id = ID_CD_BURNING_FOLDER,
                                  .NameLz = S_CD_BURNING_STORAGE_CATEGORY_NAME,
                                  .DescriptionLz = S_CD_BURNING_STORAGE_CATEGORY_DESCR,
                                  .ItemShortDescriptionLz = S_CD_BURNING_STORAGE_ITEM_SHORT_DESCR,
                                  .Severity = cslHigh,
                                  .ClassName = L"TCDBurningFolder"},
                                 std::move(ASystem)) {}

void TCDBurningFolder::InitFileSearch() { AddMasks(FileCategoryMasks::CDBurningStaging(System())); }

bool TCDBurningFolder::IsFileExcluded(const std::wstring& AFileName) { return IsBurningAreaFileExcluded(AFileName); }

}  // namespace vt
