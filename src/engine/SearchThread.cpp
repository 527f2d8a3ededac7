#include "engine/SearchThread.h"

#include <chrono>
#include <exception>

#include "model/VTSections.h"
#include "runtime/DebugLog.h"
#include "runtime/Exception.h"
#include "runtime/Utf.h"

namespace vt {

namespace {
constexpr wchar_t kClassName[] = L"TVTProcessThread";
}

void TManualResetEvent::Set() {
    std::lock_guard<std::mutex> guard(lock_);
    set_ = true;
    signalled_.notify_all();
}

void TManualResetEvent::ResetEvent() {
    std::lock_guard<std::mutex> guard(lock_);
    set_ = false;
}

bool TManualResetEvent::WaitFor(std::uint32_t milliseconds) {
    std::unique_lock<std::mutex> guard(lock_);
    if (milliseconds == 0) return set_;
    return signalled_.wait_for(guard, std::chrono::milliseconds(milliseconds), [this] { return set_; });
}

TVTProcessThread::TVTProcessThread(TVTCategories& ACategories, TIsAbortedFunc AIsAbortedFunc,
                                   TProcessThreadMode AThreadMode)
    : fMode(AThreadMode), FVTCategories(ACategories), FIsAbortedFunc(std::move(AIsAbortedFunc)) {}

TVTProcessThread::~TVTProcessThread() {
    // Execute uses this object's members: stop it before they go.
    Terminate();
    WaitFor();
}

void TVTProcessThread::ResumeWork() {
    if (!Started()) Start();
    fSuspendEvent.ResetEvent();
    Wake();
}

void TVTProcessThread::SuspendWork() {
    fSuspendEvent.Set();
    ResetWake();
}

void TVTProcessThread::WaitWhileSuspended() {
    // ResumeWork clears the event before it wakes, so a wake-up that comes
    // between the test and the sleep is not lost: the sleep returns at once.
    while (IsSuspended() && !Terminated()) SleepByAndCheck(kInfinite);
}

bool TVTProcessThread::IsWorkerThread() const noexcept {
    return fWorkerId.load(std::memory_order_acquire) == std::this_thread::get_id();
}

void TVTProcessThread::Execute() {
    fWorkerId.store(std::this_thread::get_id(), std::memory_order_release);
    const auto stopRequested = [this] { return Terminated() || (FIsAbortedFunc && FIsAbortedFunc()); };
    try {
        const std::int32_t count = FVTCategories.Count();
        for (std::int32_t i = 0; i < count; ++i) {
            if (IsSuspended()) WaitWhileSuspended();
            TVTCategory& category = FVTCategories.GetItemObj(i);
            if (!category.Enabled()) continue;
            if (fMode == pmRemove && category.DetectedItems().Count() == 0) continue;
            if (stopRequested()) break;

            if (TDebugLog::Enabled(llInfo))
                TDebugLog::Log(llInfo, kClassName, L"Start scanning category %s (%s)",
                               {category.ClassName(), category.Name()});
            if (fOnNextCategory) fOnNextCategory(*this, static_cast<ICategory*>(&category));
            if (fMode == pmSearch)
                category.SearchIfInstalled();
            else
                category.RemoveIfDetected();
            if (fOnCategoryScanComplete) fOnCategoryScanComplete(*this);

            if (stopRequested()) break;
        }
    } catch (const Exception& e) {
        TDebugLog::Log(llInfo, kClassName, L"%s - Execute - %s", {std::wstring(kClassName), e.Message()});
    } catch (const std::exception& e) {
        TDebugLog::Log(llInfo, kClassName, L"%s - Execute - %s", {std::wstring(kClassName), FromUtf8(e.what())});
    } catch (...) {
        TDebugLog::Log(llInfo, kClassName, L"%s - Execute - %s", {std::wstring(kClassName), L"unknown exception"});
    }
}

}  // namespace vt
