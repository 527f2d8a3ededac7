#include "runtime/Thread.h"

#include <chrono>
#include <exception>

#include "runtime/DebugLog.h"
#include "runtime/Exception.h"
#include "runtime/Utf.h"

namespace vt {

TThread::TThread() = default;

TThread::~TThread() {
    Terminate();
    // Destroying the object from its own worker (in the terminate handler)
    // is a misuse the thread cannot survive: WaitFor throws, and the throw
    // out of a destructor ends the process rather than leaving a thread
    // running on freed memory.
    WaitFor();
}

void TThread::Start() {
    std::lock_guard<std::mutex> guard(joinLock_);
    if (started_.exchange(true, std::memory_order_acq_rel)) ThrowInvalidOperation(L"Thread is already started");
    thread_ = std::thread([this] { Run(); });
}

void TThread::Terminate() {
    terminated_.store(true, std::memory_order_release);
    // Taking the lock orders the store before a sleeper's check, so the
    // notification cannot slip in between its check and its wait.
    std::lock_guard<std::mutex> guard(lock_);
    wakeup_.notify_all();
}

void TThread::WaitFor() {
    // Checked before taking the join lock: a host thread waiting in join()
    // holds that lock, and the worker asking to wait for itself must get the
    // error, not block behind it.
    if (workerId_.load(std::memory_order_acquire) == std::this_thread::get_id())
        ThrowInvalidOperation(L"A thread cannot wait for itself");
    std::lock_guard<std::mutex> guard(joinLock_);
    if (!thread_.joinable()) return;
    thread_.join();
}

void TThread::Wake() {
    std::lock_guard<std::mutex> guard(lock_);
    wake_ = true;
    wakeup_.notify_all();
}

void TThread::ResetWake() {
    std::lock_guard<std::mutex> guard(lock_);
    wake_ = false;
}

TThread::SleepResult TThread::SleepByAndCheck(std::uint32_t milliseconds) {
    std::unique_lock<std::mutex> guard(lock_);
    const auto done = [this] { return Terminated() || wake_; };
    if (milliseconds == kInfinite)
        wakeup_.wait(guard, done);
    else
        wakeup_.wait_for(guard, std::chrono::milliseconds(milliseconds), done);
    if (Terminated()) return SleepResult::Terminated;
    return wake_ ? SleepResult::Woken : SleepResult::TimedOut;
}

void TThread::Run() noexcept {
    workerId_.store(std::this_thread::get_id(), std::memory_order_release);
    const auto guarded = [](const wchar_t* what, const auto& body) {
        try {
            body();
        } catch (const Exception& e) {
            TDebugLog::Log(llError, L"TThread", L"%s - %s", {what, e.Message()});
        } catch (const std::exception& e) {
            TDebugLog::Log(llError, L"TThread", L"%s - %s", {what, FromUtf8(e.what())});
        } catch (...) {
            TDebugLog::Log(llError, L"TThread", L"%s - unknown exception", {what});
        }
    };
    guarded(L"Execute", [this] { Execute(); });
    if (onTerminate_) guarded(L"OnTerminate", [this] { onTerminate_(*this); });
    finished_.store(true, std::memory_order_release);
}

}  // namespace vt
