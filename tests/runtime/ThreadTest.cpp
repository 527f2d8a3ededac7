#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "runtime/Exception.h"
#include "runtime/Thread.h"

namespace vt {
namespace {

using namespace std::chrono_literals;

// A worker whose Execute is a function of the test.
class TestThread : public TThread {
public:
    explicit TestThread(std::function<void(TestThread&)> body) : body_(std::move(body)) {}
    ~TestThread() override {
        Terminate();
        WaitFor();
    }
    using TThread::SleepByAndCheck;

    std::atomic<int> executed{0};

protected:
    void Execute() override {
        ++executed;
        body_(*this);
    }

private:
    std::function<void(TestThread&)> body_;
};

TEST(Thread, IsCreatedSuspendedAndRunsTheTerminateHandlerOnTheWorkerAfterExecute) {
    std::mutex lock;
    std::vector<std::string> events;
    std::thread::id handlerThread;
    TestThread worker([&](TestThread&) {
        std::lock_guard<std::mutex> guard(lock);
        events.push_back("execute");
    });
    worker.SetOnTerminate([&](TThread&) {
        std::lock_guard<std::mutex> guard(lock);
        events.push_back("terminate");
        handlerThread = std::this_thread::get_id();
    });
    std::this_thread::sleep_for(20ms);
    EXPECT_EQ(worker.executed.load(), 0);
    EXPECT_FALSE(worker.Started());

    worker.Start();
    worker.WaitFor();
    EXPECT_TRUE(worker.Finished());
    EXPECT_EQ(events, (std::vector<std::string>{"execute", "terminate"}));
    EXPECT_NE(handlerThread, std::this_thread::get_id());
    EXPECT_THROW(worker.Start(), Exception);
}

TEST(Thread, SleepByAndCheckEndsByTimeWakeOrTerminate) {
    struct Case {
        const char* name;
        std::uint32_t milliseconds;
        std::function<void(TestThread&)> fromOutside;  // applied while the worker sleeps
        TThread::SleepResult expected;
    };
    const Case cases[] = {
        {"time", 10, [](TestThread&) {}, TThread::SleepResult::TimedOut},
        {"wake", TThread::kInfinite, [](TestThread& t) { t.Wake(); }, TThread::SleepResult::Woken},
        {"terminate", TThread::kInfinite, [](TestThread& t) { t.Terminate(); }, TThread::SleepResult::Terminated},
        // Both signalled when the sleeper looks: Terminated wins. (The other
        // order would race: the sleeper may return Woken before Terminate.)
        {"terminate beats wake", TThread::kInfinite,
         [](TestThread& t) {
             t.Terminate();
             t.Wake();
         },
         TThread::SleepResult::Terminated},
    };
    for (const auto& c : cases) {
        std::atomic<bool> sleeping{false};
        std::atomic<TThread::SleepResult> result{TThread::SleepResult::TimedOut};
        TestThread worker([&](TestThread& self) {
            sleeping = true;
            result = self.SleepByAndCheck(c.milliseconds);
        });
        worker.Start();
        while (!sleeping) std::this_thread::yield();
        std::this_thread::sleep_for(5ms);  // let it reach the wait; a wake-up before it must also count
        c.fromOutside(worker);
        worker.WaitFor();
        EXPECT_EQ(result.load(), c.expected) << c.name;
    }
}

TEST(Thread, WakeStaysSignalledUntilReset) {
    std::vector<TThread::SleepResult> results;
    TestThread worker([&](TestThread& self) {
        results.push_back(self.SleepByAndCheck(TThread::kInfinite));
        results.push_back(self.SleepByAndCheck(TThread::kInfinite));
        self.ResetWake();
        results.push_back(self.SleepByAndCheck(1));
    });
    worker.Wake();  // before the start: the first sleeps must not block
    worker.Start();
    worker.WaitFor();
    EXPECT_EQ(results, (std::vector<TThread::SleepResult>{TThread::SleepResult::Woken, TThread::SleepResult::Woken,
                                                          TThread::SleepResult::TimedOut}));
}

TEST(Thread, FailuresInsideTheWorkerDoNotEscapeIt) {
    std::atomic<bool> handlerRan{false};
    bool waitForSelfThrew = false;
    TestThread worker([&](TestThread& self) {
        try {
            self.WaitFor();
        } catch (const Exception&) {
            waitForSelfThrew = true;
        }
        throw std::runtime_error("execute failed");
    });
    worker.SetOnTerminate([&](TThread&) { handlerRan = true; });
    worker.Start();
    worker.WaitFor();
    EXPECT_TRUE(waitForSelfThrew);
    EXPECT_TRUE(handlerRan);
}

TEST(Thread, DestructionEndsAnEndlessSleepAndNeedsNoStart) {
    { TestThread never([](TestThread&) {}); }
    std::atomic<bool> sleeping{false};
    {
        TestThread sleeper([&](TestThread& self) {
            sleeping = true;
            self.SleepByAndCheck(TThread::kInfinite);
        });
        sleeper.Start();
        while (!sleeping) std::this_thread::yield();
    }  // would hang here if the destructor did not wake the sleep
    SUCCEED();
}

}  // namespace
}  // namespace vt
