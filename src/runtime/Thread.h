// The base of the engine's worker threads, in the shape the engine expects:
// created suspended, a virtual Execute, a Terminated flag, Start, and a
// cancellable sleep. Portable (std::thread).
//
// Wake-up works like a manual-reset event: Wake() signals it and it stays
// signalled, so every SleepByAndCheck returns at once, until ResetWake().
// Terminate() ends every sleep as well, now and later.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>

namespace vt {

class TThread {
public:
    // A sleep without time limit: it ends only by Wake() or Terminate().
    static constexpr std::uint32_t kInfinite = 0xFFFFFFFFu;

    enum class SleepResult { TimedOut, Woken, Terminated };

    // Runs on the worker after Execute has returned (or thrown). The engine
    // installs its scan/clean completion handlers here; they run on the worker
    // thread, not the host's, so they take the engine's own lock themselves.
    using TerminateHandler = std::function<void(TThread& sender)>;

    // The thread is created suspended: nothing runs before Start().
    TThread();
    // Terminates the thread and waits for it. A derived class whose Execute
    // uses its own members must call Terminate() and WaitFor() in its own
    // destructor, before those members are gone. Never destroy a thread from
    // its own terminate handler: that ends the process.
    virtual ~TThread();
    TThread(const TThread&) = delete;
    TThread& operator=(const TThread&) = delete;

    // Starts the thread; a second call throws the invalid-operation error.
    void Start();
    // True once Start() has been called.
    bool Started() const noexcept { return started_.load(std::memory_order_acquire); }
    // True once Execute and the terminate handler have returned.
    bool Finished() const noexcept { return finished_.load(std::memory_order_acquire); }

    // Asks Execute to stop (sets Terminated) and ends any pending sleep. Never blocks.
    void Terminate();
    // True once Terminate() was called; Execute polls it.
    bool Terminated() const noexcept { return terminated_.load(std::memory_order_acquire); }
    // Blocks until the thread has finished; returns at once when it was never
    // started. Called from the worker itself it throws the invalid-operation error.
    void WaitFor();

    // Signals the wake-up: pending and later sleeps return Woken until ResetWake().
    void Wake();
    // Clears the wake-up signal.
    void ResetWake();

    // The handler run on the worker after Execute; set it before Start().
    void SetOnTerminate(TerminateHandler handler) { onTerminate_ = std::move(handler); }

protected:
    // The thread's work. An exception escaping it is logged and ends the thread
    // normally; the terminate handler still runs.
    virtual void Execute() = 0;

    // Sleeps up to milliseconds (kInfinite: without limit). Terminated wins
    // over Woken when both hold; TimedOut when neither came in time.
    SleepResult SleepByAndCheck(std::uint32_t milliseconds);

private:
    void Run() noexcept;

    std::mutex lock_;  // guards wake_ and pairs with wakeup_
    std::condition_variable wakeup_;
    bool wake_ = false;
    std::atomic<bool> terminated_{false};
    std::atomic<bool> started_{false};
    std::atomic<bool> finished_{false};
    std::mutex joinLock_;  // serialises Start and concurrent WaitFor calls over thread_
    std::thread thread_;
    std::atomic<std::thread::id> workerId_{};  // set by the worker as it begins
    TerminateHandler onTerminate_;
};

}  // namespace vt
