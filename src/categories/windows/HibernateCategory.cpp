#include "categories/windows/SystemCategories.h"
#include "model/CleanerOptions.h"
#include "model/VantrelShare.h"

namespace vt {

THibernateCategory::THibernateCategory(TVantrelShare& AVantrel, std::shared_ptr<IFileCategorySystem> ASystem)
    : TVTCategory(AVantrel, {.Id = ID_HIBERNATE_FILE,
                             .NameLz = S_HIBERNATE_FILE_CATEGORY_NAME,
                             .DescriptionLz = S_HIBERNATE_FILE_CATEGORY_DESCR,
                             .ItemShortDescriptionLz = S_HIBERNATE_FILE_ITEM_SHORT_DESCR,
                             .Severity = cslMedium,
                             .ClassName = L"THibernateCategory"}),
      FSystem(ASystem ? std::move(ASystem) : MakeFileCategorySystem()) {}

void THibernateCategory::Search() {
    if (FIsFileCleaned && !FVantrel.Options().MultiCleanHiberFile()) return;
    const std::wstring path = HibernationFilePath(*FSystem);
    if (!path.empty() && FSystem->HibernationFilePresent() && !IsIgnored(path, L""))
        AddFoundItem({.Name = L"hiberfil.sys", .Location = path, .Icon = itOneElementCategory, .Grouped = true});
    ReportProgress(1);
}

bool THibernateCategory::RemoveItem(TDetectedItem& Item) {
    const bool removed = ReleaseHibernationFile(*FSystem, Item.Location());
    if (removed) FIsFileCleaned = true;
    return removed;
}

}  // namespace vt
