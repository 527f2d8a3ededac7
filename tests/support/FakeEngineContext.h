// The engine context the model's tests hand to categories: it records what
// categories report and answers IsAborted from a script.
#pragma once

#include <cstdint>
#include <vector>

#include "model/CleanerOptions.h"
#include "model/VantrelShare.h"
#include "services/BVWrapper.h"

namespace vt::testing {

class FakeEngineContext final : public TVantrelShare {
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

}  // namespace vt::testing
