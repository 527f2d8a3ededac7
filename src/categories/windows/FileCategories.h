// The file categories of the system section: each is a descriptor and an
// InitFileSearch (one .cpp per class), built on TGeneralFileSearchCategory.
// The system argument is for tests; the catalogue passes none.
#pragma once

#include <memory>

#include "categories/windows/GeneralFileSearchCategory.h"
#include "services/ServiceControl.h"

namespace vt {

class TJumpListsRecent final : public TGeneralFileSearchCategory {
public:
    explicit TJumpListsRecent(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem = {});
    // Tells the Start menu host to drop its cached recent lists.
    std::int32_t AfterRemove() override;

protected:
    void InitFileSearch() override;
};

class TJumpListsFrequent final : public TGeneralFileSearchCategory {
public:
    explicit TJumpListsFrequent(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem = {});

protected:
    void InitFileSearch() override;
};

class TDumpFilesCategory final : public TGeneralFileSearchCategory {
public:
    explicit TDumpFilesCategory(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem = {});
    // Memory dumps are deleted without a backup copy.
    std::int32_t RemoveDetected() override;

protected:
    void InitFileSearch() override;
};

class TChkFiles final : public TGeneralFileSearchCategory {
public:
    explicit TChkFiles(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem = {});

protected:
    void InitFileSearch() override;
    void PrepareFileSearch() override;
};

class TPrinterRecentFiles final : public TGeneralFileSearchCategory {
public:
    // AServiceControl: makes the control that stops the spooler (tests pass a scripted one).
    using ServiceControlFactory = std::function<std::unique_ptr<TServiceControl>()>;
    explicit TPrinterRecentFiles(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem = {},
                                 ServiceControlFactory AServiceControl = {});
    // Stops "Spooler"; false (nothing removed) when it does not stop.
    bool BeforeRemove() override;
    // Puts the spooler back as it was.
    std::int32_t AfterRemove() override;

protected:
    void InitFileSearch() override;

private:
    ServiceControlFactory FMakeServiceControl;
    std::unique_ptr<TServiceControl> FServiceControl;
};

class TCDBurningFolder final : public TGeneralFileSearchCategory {
public:
    explicit TCDBurningFolder(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem = {});

protected:
    void InitFileSearch() override;
    bool IsFileExcluded(const std::wstring& AFileName) override;
};

class TWinDebugHistory final : public TGeneralFileSearchCategory {
public:
    explicit TWinDebugHistory(TVantrelShare& AVantrel, TFileCategorySystemPtr ASystem = {});
    // "PASSWD.LOG" and "SAM.LOG" are never offered.
    bool IsIgnored(const std::wstring& Location, const std::wstring& Mask) override;

protected:
    void InitFileSearch() override;
};

}  // namespace vt
