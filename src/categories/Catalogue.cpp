// The one list of the product's categories, in creation order. A new category
// adds its row here, at its place in the order; the class's own header is
// included above the list.
#include "categories/Catalogue.h"

#include "categories/windows/FileCategories.h"
#include "categories/windows/SystemCategories.h"

namespace vt {

const TCategoryCatalogue& DefaultCatalogue() {
    static const TCategoryCatalogue catalogue = {
        // Windows and Explorer (identifiers 0..20), e.g.
        //     CategoryRow<TRecentDocsCategory>(),
        CategoryRow<TJumpListsRecent>(),      // 6
        CategoryRow<TJumpListsFrequent>(),    // 7
        CategoryRow<TDumpFilesCategory>(),    // 8
        CategoryRow<TChkFiles>(),             // 9
        CategoryRow<TPrinterRecentFiles>(),   // 11
        CategoryRow<TCDBurningFolder>(),      // 12
        CategoryRow<THibernateCategory>(),    // 13
        CategoryRow<TWinDebugHistory>(),      // 17
        CategoryRow<TClipboardCategory>(),    // 20
        CategoryRow<TUnreadMailCount>(),      // 21
        // Browsers, one group per browser (21..58), e.g.
        //     CategoryRow<TCookiesCategory>(kBrowserIE, S_BROWSER_IE),
        // Applications: one row that builds a category per definition.
    };
    return catalogue;
}

}  // namespace vt
