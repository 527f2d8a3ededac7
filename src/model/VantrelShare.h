// The narrow engine context every category receives: progress, statistics,
// removal outcomes, the abort question, the removal wrapper and the options,
// without depending on the engine class itself.
#pragma once

#include <cstdint>

#include "model/VTObject.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

class TBVWrapper;
class TCleanerOptions;

class TVantrelShare : public TVTObject {
public:
    // The backed-up removal wrapper (also holds the task list, the backup
    // service, the wipe helper and LastWipeSize).
    virtual TBVWrapper& GetBVWrapper() = 0;
    // Progress of the current category in percent (values above 100 count as 100).
    virtual void SetProgress(double ACategoryProgress) = 0;
    // The category being processed.
    virtual void SetCurrentCategory(ICategory* ACategory) = 0;
    // Adds AmassValue to the detected total and AMassScan to the scanned total;
    // AItem (may be null) becomes the current item.
    virtual void SetCurrentItem(IDetectedItem* AItem, std::int32_t AmassValue, std::int32_t AMassScan) = 0;
    // One item removed (counted when the item reports GetRemoved True).
    virtual void OnItemRemoved(IDetectedItem* AItem) = 0;
    // One item failed.
    virtual void OnItemFailed(IDetectedItem* AItem) = 0;
    // True when the run must stop; blocks while the run is paused (worker only).
    virtual bool IsAborted() = 0;
    virtual TCleanerOptions& Options() = 0;
};

}  // namespace vt
