#include <exception>

#include "categories/windows/FileCategories.h"

#include "runtime/DebugLog.h"

namespace vt {

TPrinterRecentFiles::TPrinterRecentFiles(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem,
                                         ServiceControlFactory AServiceControl)
    : TGeneralFileSearchCategory(AVantrel,
                                 {.Id = ID_PRINTER_RECENT_FILES,
                                  .NameLz = S_PRINTER_RECENT_FILES_CATEGORY_NAME,
                                  .DescriptionLz = S_PRINTER_RECENT_FILES_CATEGORY_DESCR,
                                  .ItemShortDescriptionLz = S_PRINTER_RECENT_FILES_ITEM_SHORT_DESCR,
                                  .Severity = cslHigh,
                                  .ClassName = L"TPrinterRecentFiles"},
                                 std::move(ASystem)),
      FMakeServiceControl(AServiceControl ? std::move(AServiceControl)
                                          : ServiceControlFactory([] { return std::make_unique<TServiceControl>(); })) {}

void TPrinterRecentFiles::InitFileSearch() { AddMasks(FileCategoryMasks::PrinterSpool(System())); }

bool TPrinterRecentFiles::BeforeRemove() {
    if (FServiceControl) TDebugLog::Log(llWarning, L"TPrinterRecentFiles", L"Service control already assigned");
    else FServiceControl = FMakeServiceControl();
    bool stopped = false;
    try {
        stopped = FServiceControl->StopService(L"Spooler");
    } catch (const std::exception&) {
        // No service manager (the native build): nothing is removed.
        TDebugLog::Log(llError, L"TPrinterRecentFiles", L"Spooler not stopped: no service manager");
    }
    if (!stopped) FServiceControl.reset();  // restores whatever it recorded
    return stopped;
}

std::int32_t TPrinterRecentFiles::AfterRemove() {
    if (FServiceControl) {
        FServiceControl->RestoreServiceStates();
        FServiceControl.reset();
    }
    return TGeneralFileSearchCategory::AfterRemove();
}

}  // namespace vt
