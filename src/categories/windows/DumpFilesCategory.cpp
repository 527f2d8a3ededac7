#include "categories/windows/FileCategories.h"
#include "model/VantrelShare.h"
#include "services/BVWrapper.h"

namespace vt {

TDumpFilesCategory::TDumpFilesCategory(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem)
    : TGeneralFileSearchCategory(AVantrel,
                                 {.Id = ID_DUMP_FILES,
                                  .NameLz = S_MEMORY_DUMPS_CATEGORY_NAME,
                                  .DescriptionLz = S_MEMORY_DUMPS_CATEGORY_DESCR,
                                  .ItemShortDescriptionLz = S_MEMORY_DUMPS_CATEGORY_ITEM_SHORT_DESCR,
                                  .Severity = cslMedium,
                                  .FireOnItem = 10,
                                  .ClassName = L"TDumpFilesCategory"},
                                 std::move(ASystem)) {}

void TDumpFilesCategory::InitFileSearch() {
    GetFileSearch().SetDirLevel(0);
    AddMasks(FileCategoryMasks::MemoryDumps(System()));
}

std::int32_t TDumpFilesCategory::RemoveDetected() {
    TBVWrapper& wrapper = FVantrel.GetBVWrapper();
    const bool backingUp = wrapper.BVEnabled();
    wrapper.SetBVEnabled(false);
    struct Restore {
        TBVWrapper& w;
        bool v;
        ~Restore() { w.SetBVEnabled(v); }
    } restore{wrapper, backingUp};
    return TGeneralFileSearchCategory::RemoveDetected();
}

}  // namespace vt
