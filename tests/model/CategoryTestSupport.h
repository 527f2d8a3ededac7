// An engine context that records what categories report, and a category
// whose behaviour each test sets, for tests of the category base and registry.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "engine/CleanerOptions.h"
#include "engine/VantrelShare.h"
#include "model/VTCategory.h"
#include "services/BVWrapper.h"

namespace vt::testing {

class RecordingVantrel final : public TVantrelShare {
public:
    TBVWrapper& GetBVWrapper() override { return wrapper; }
    void SetProgress(double p) override { progress.push_back(p); }
    void SetCurrentCategory(ICategory*) override {}
    void SetCurrentItem(IDetectedItem*, std::int32_t mass, std::int32_t scan) override {
        detected += mass;
        scanned += scan;
    }
    void OnItemRemoved(IDetectedItem*) override { ++removed; }
    void OnItemFailed(IDetectedItem*) override { ++failed; }
    bool IsAborted() override { return abortAfter >= 0 && ++abortCalls > abortAfter; }
    TCleanerOptions& Options() override { return *options; }

    TBVWrapper wrapper;
    Com<TCleanerOptions> options = MakeCom<TCleanerOptions>();
    std::vector<double> progress;
    int detected = 0, scanned = 0, removed = 0, failed = 0;
    int abortAfter = -1;  // IsAborted answers true after this many calls (-1: never)
    int abortCalls = 0;
};

class ScriptedCategory final : public TVTCategory {
public:
    // A task name given here is set by the constructor, as concrete categories do.
    ScriptedCategory(TVantrelShare& v, std::int32_t id, bool installed = true, const std::wstring& taskName = {},
                     bool disabledByDefault = false)
        : TVTCategory(v), installed_(installed), disabledByDefault_(disabledByDefault) {
        FId = id;
        fName = L"Scripted " + std::to_wstring(id);
        if (!taskName.empty()) SetTaskName(taskName);
    }

    bool RemoveItem(TDetectedItem& item) override {
        removedLocations.push_back(item.Location());
        return removeResult;
    }
    void Search() override {
        ++searches;
        if (onSearch) onSearch(*this);
    }
    bool CheckIfInstalled() override {
        ++installChecks;
        return installed_;
    }
    bool BeforeRemove() override { return beforeRemove; }
    bool IsDisabledByDefault() override { return disabledByDefault_; }
    std::int32_t GetPendingCount() override { return pending; }
    std::wstring ClassName() const override { return L"TScriptedCategory"; }

    // Adds a checked item with this location (and display name).
    void AddFound(const std::wstring& location) {
        Com<TDetectedItem> item = MakeCom<TDetectedItem>();
        item->SetItemName(location);
        item->SetLocation(location);
        FDetectedItems->AddItem(item, true);
    }
    void SetFireOnItem(std::int32_t n) { FFireOnItem = n; }
    void SetOneDetectedItemCategory(bool v) { FIsOneDetectedItemCategory = v; }

    std::function<void(ScriptedCategory&)> onSearch;
    std::vector<std::wstring> removedLocations;
    bool removeResult = true;
    bool beforeRemove = true;
    int searches = 0;
    int installChecks = 0;
    std::int32_t pending = 0;

private:
    bool installed_;
    bool disabledByDefault_;
};

}  // namespace vt::testing
