#include "categories/windows/FileCategories.h"
#include "categories/windows/ShellCalls.h"

namespace vt {

TJumpListsRecent::TJumpListsRecent(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem)
    : TGeneralFileSearchCategory(AVantrel,
                                 {.Id = ID_JUMP_LISTS_RECENT,
                                  .NameLz = S_JUMP_LIST_RECENT_CATEGORY_NAME,
                                  .DescriptionLz = S_JUMP_LIST_RECENT_CATEGORY_DESCR,
                                  .ItemShortDescriptionLz = S_JUMP_LIST_RECENT_ITEM_SHORT_DESCR,
                                  .Severity = cslHigh,
                                  .ClassName = L"TJumpListsRecent"},
                                 std::move(ASystem)) {}

void TJumpListsRecent::InitFileSearch() { AddMasks(FileCategoryMasks::JumpLists(System(), true)); }

std::int32_t TJumpListsRecent::AfterRemove() {
    NotifyStartMenuHost();
    return TGeneralFileSearchCategory::AfterRemove();
}

TJumpListsFrequent::TJumpListsFrequent(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem)
    : TGeneralFileSearchCategory(AVantrel,
                                 {.Id = ID_JUMP_LISTS_FREQUENT,
                                  .NameLz = S_JUMP_LIST_FREQUENT_CATEGORY_NAME,
                                  .DescriptionLz = S_JUMP_LIST_FREQUENT_CATEGORY_DESCR,
                                  .ItemShortDescriptionLz = S_JUMP_LIST_FREQUENT_ITEM_SHORT_DESCR,
                                  .Severity = cslHigh,
                                  .ClassName = L"TJumpListsFrequent"},
                                 std::move(ASystem)) {}

void TJumpListsFrequent::InitFileSearch() { AddMasks(FileCategoryMasks::JumpLists(System(), false)); }

}  // namespace vt
