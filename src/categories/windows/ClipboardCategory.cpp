#include "categories/windows/ShellCalls.h"
#include "categories/windows/SystemCategories.h"

namespace vt {

namespace {
// The localized name of the one clipboard item.
constexpr TLocalizerStr kClipboardItemName = static_cast<TLocalizerStr>(10);
}  // namespace

TClipboardCategory::TClipboardCategory(TVantrelShare& AVantrel)
    : TVTCategory(AVantrel, {.Id = ID_CLIPBOARD,
                             .NameLz = S_CLIBOARD_CATEGORY_NAME,
                             .DescriptionLz = S_CLIBOARD_CATEGORY_CATEGORY_DESCR,
                             .Severity = cslHigh,
                             .OneDetectedItem = true,
                             .ClassName = L"TClipboardCategory"}) {}

void TClipboardCategory::Search() {
    if (!ClipboardHasContent()) return;
    AddFoundItem({.NameLz = kClipboardItemName, .NameFmtValue = -2, .Icon = itOneElementCategory});
    ReportProgress(1);
}

bool TClipboardCategory::RemoveItem(TDetectedItem&) { return EmptyClipboardContent(); }

}  // namespace vt
