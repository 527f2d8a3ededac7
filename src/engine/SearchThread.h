// TVTProcessThread: the worker that runs one scan or one clean over the
// registry's categories off the host's thread, so the host stays responsive
// and can pause, resume and abort. The engine creates a new worker per run.
//
// Pausing: the engine's IsAborted (called by categories on this thread) calls
// SuspendWork and then WaitWhileSuspended; ResumeWork from the host's thread
// releases it. Between categories the worker also stops while suspended.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

#include "runtime/Thread.h"
#include "vantrel/VantrelHelper.h"

namespace vt {

class TVTCategories;

enum TProcessThreadMode : std::uint8_t { pmSearch, pmRemove };

// A manual-reset event: once Set it stays signalled until ResetEvent.
class TManualResetEvent {
public:
    void Set();
    void ResetEvent();
    // True when signalled within milliseconds (0: tests the state without waiting).
    bool WaitFor(std::uint32_t milliseconds);

private:
    std::mutex lock_;
    std::condition_variable signalled_;
    bool set_ = false;
};

class TVTProcessThread final : public TThread {
public:
    using TIsAbortedFunc = std::function<bool()>;
    // Called on the worker before each category is processed.
    using TVTNextCategoryEvent = std::function<void(TVTProcessThread& ASender, ICategory* ACategory)>;
    // Called on the worker after each category is processed.
    using TCategoryScanCompleteEvent = std::function<void(TVTProcessThread& ASender)>;

    // Created suspended: nothing runs before ResumeWork (or Start). The
    // registry must outlive the thread.
    TVTProcessThread(TVTCategories& ACategories, TIsAbortedFunc AIsAbortedFunc, TProcessThreadMode AThreadMode);
    // Terminates the thread and waits for it.
    ~TVTProcessThread() override;

    TProcessThreadMode ProcessMode() const noexcept { return fMode; }
    // Set these before the thread starts.
    void SetOnNextCategory(TVTNextCategoryEvent AHandler) { fOnNextCategory = std::move(AHandler); }
    void SetOnCategoryScanComplete(TCategoryScanCompleteEvent AHandler) {
        fOnCategoryScanComplete = std::move(AHandler);
    }

    // Starts the thread when it has not been started; clears the suspension
    // and ends a pending wait.
    void ResumeWork();
    // Marks the worker suspended: its next wait point blocks until ResumeWork
    // or termination.
    void SuspendWork();
    bool IsSuspended() { return fSuspendEvent.WaitFor(0); }
    // Blocks while suspended (returns at once otherwise); termination ends it.
    // Only the worker itself calls this.
    void WaitWhileSuspended();
    // True when the caller is this worker's own thread.
    bool IsWorkerThread() const noexcept;

protected:
    void Execute() override;

private:
    TProcessThreadMode fMode;
    TVTCategories& FVTCategories;
    TIsAbortedFunc FIsAbortedFunc;
    TManualResetEvent fSuspendEvent;
    TVTNextCategoryEvent fOnNextCategory;
    TCategoryScanCompleteEvent fOnCategoryScanComplete;
    std::atomic<std::thread::id> fWorkerId{};
};

}  // namespace vt
