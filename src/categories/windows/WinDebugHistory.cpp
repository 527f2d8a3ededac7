#include "categories/windows/FileCategories.h"
#include "runtime/DebugLog.h"

namespace vt {

TWinDebugHistory::TWinDebugHistory(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem)
    : TGeneralFileSearchCategory(AVantrel,
                                 {.Id = ID_WIN_DEBUG_HISTORY,
                                  .NameLz = S_WIN_DEBUG_HISTORY_CATEGORY_NAME,
                                  .DescriptionLz = S_WIN_DEBUG_HISTORY_CATEGORY_DESCR,
                                  .ItemShortDescriptionLz = S_WIN_DEBUG_HISTORY_ITEM_SHORT_DESCR,
                                  .Severity = cslMedium,
                                  .ClassName = L"TWinDebugHistory"},
                                 std::move(ASystem)) {}

void TWinDebugHistory::InitFileSearch() { AddMasks(FileCategoryMasks::WindowsDebug(System())); }

bool TWinDebugHistory::IsIgnored(const std::wstring& Location, const std::wstring& Mask) {
    if (IsProtectedDebugLog(Location)) {
        TDebugLog::Log(llInfo, L"TWinDebugHistory", L"Ignored Location and mask: %s, %s", {Location, Mask});
        return true;
    }
    return TGeneralFileSearchCategory::IsIgnored(Location, Mask);
}

}  // namespace vt
