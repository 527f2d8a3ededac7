// The stop / wait / restore rules of the service control against a scripted
// service manager; ServiceControlTest_win.cpp runs the same dance against a
// real service under Wine.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "runtime/DebugLog.h"
#include "runtime/Exception.h"
#include "services/ServiceControl.h"

namespace vt::testing {
namespace {

struct ScriptedService {
    std::uint32_t state = ssRunning;
    int stopPendingPolls = 2;   // queries answering "stop pending" after a stop
    int startPendingPolls = 1;  // queries answering "start pending" after a start
    bool refuseStop = false;
    int startFailures = 0;
    int pollsLeft = 0;
};

class ScriptedManager final : public IServiceManager {
public:
    ScriptedManager(std::map<std::wstring, ScriptedService>& services, std::vector<std::wstring>& calls, int& closed)
        : services_(services), calls_(calls), closed_(closed) {}
    bool IsOpen() const override { return open; }
    Service Open(const std::wstring& name) override {
        const auto it = services_.find(name);
        if (it == services_.end()) return 0;
        return reinterpret_cast<Service>(&it->second);
    }
    std::optional<std::uint32_t> QueryState(Service s) override {
        ScriptedService& svc = Get(s);
        if (svc.state == ssStopPending || svc.state == ssStartPending) {
            if (svc.pollsLeft > 0) {
                --svc.pollsLeft;
                return svc.state;
            }
            svc.state = svc.state == ssStopPending ? ssStopped : ssRunning;
        }
        return svc.state;
    }
    bool Control(Service s, std::uint32_t code) override {
        ScriptedService& svc = Get(s);
        calls_.push_back(code == kControlStop ? L"stop" : L"pause");
        if (code == kControlStop) {
            if (svc.refuseStop) return false;
            svc.state = ssStopPending;
            svc.pollsLeft = svc.stopPendingPolls;
        } else {
            svc.state = ssPaused;
        }
        return true;
    }
    bool Start(Service s) override {
        ScriptedService& svc = Get(s);
        calls_.push_back(L"start");
        if (svc.startFailures > 0) {
            --svc.startFailures;
            return false;
        }
        svc.state = ssStartPending;
        svc.pollsLeft = svc.startPendingPolls;
        return true;
    }
    void Close(Service) override { ++closed_; }

    bool open = true;

private:
    static ScriptedService& Get(Service s) { return *reinterpret_cast<ScriptedService*>(s); }
    std::map<std::wstring, ScriptedService>& services_;
    std::vector<std::wstring>& calls_;
    int& closed_;
};

class ServiceControlTest : public ::testing::Test {
protected:
    void SetUp() override {
        TDebugLog::SetLevel(llInfo);
        TDebugLog::SetSink([this](const std::wstring& line) { log.push_back(line); });
    }
    void TearDown() override {
        TDebugLog::SetSink({});
        TDebugLog::SetLevel(llNone);
    }
    std::unique_ptr<TServiceControl> Make() {
        auto manager = std::make_unique<ScriptedManager>(services, calls, closed);
        scripted = manager.get();
        return std::make_unique<TServiceControl>(std::move(manager), [this](std::uint32_t ms) { sleeps.push_back(ms); });
    }
    bool Logged(const std::wstring& text) const {
        for (const auto& l : log)
            if (l.find(text) != std::wstring::npos) return true;
        return false;
    }

    std::map<std::wstring, ScriptedService> services;
    std::vector<std::wstring> calls, log;
    std::vector<std::uint32_t> sleeps;
    ScriptedManager* scripted = nullptr;
    int closed = 0;
};

TEST_F(ServiceControlTest, StopAndRestoreFollowThePreviousState) {
    struct Case {
        const char* what;
        ScriptedService service;
        bool stopResult;
        std::vector<std::wstring> callsAfterStop;
        std::uint32_t stateAfterRestore;
        std::vector<std::wstring> callsAfterRestore;
        const wchar_t* logged;
    } cases[] = {
        {"running: stopped, then started again", {ssRunning}, true, {L"stop"}, ssRunning, {L"stop", L"start"},
         L"Service Spooler command start accepted"},
        {"already stopped: nothing recorded, nothing started", {ssStopped}, true, {}, ssStopped, {}, nullptr},
        {"stop refused", {ssRunning, 2, 1, true}, false, {L"stop"}, ssRunning, {L"stop"}, L"Can't stop service Spooler"},
        {"paused: started and paused again", {ssPaused}, true, {L"stop"}, ssPaused, {L"stop", L"start", L"pause"},
         L"CurrentState = 4"},
        {"start pending at first: waited for, then stopped", {ssStartPending, 2, 0}, true, {L"stop"}, ssRunning,
         {L"stop", L"start"}, L"Start waiting for change status"},
        {"hangs in stop pending: false, but still restored", {ssRunning, 5000}, false, {L"stop"}, ssRunning,
         {L"stop", L"start"}, L"Wait timeout"},
    };
    for (const auto& c : cases) {
        services.clear();
        calls.clear();
        log.clear();
        sleeps.clear();
        services[L"Spooler"] = c.service;
        if (c.service.state == ssStartPending) services[L"Spooler"].pollsLeft = 3;
        auto control = Make();
        EXPECT_EQ(control->StopService(L"Spooler"), c.stopResult) << c.what;
        EXPECT_EQ(calls, c.callsAfterStop) << c.what;
        control->RestoreServiceStates();
        EXPECT_EQ(calls, c.callsAfterRestore) << c.what;
        EXPECT_EQ(services[L"Spooler"].state == ssStartPending ? ssRunning : services[L"Spooler"].state,
                  c.stateAfterRestore) << c.what;
        if (c.logged) EXPECT_TRUE(Logged(c.logged)) << c.what;
        EXPECT_TRUE(Logged(L"Attempt to stop the service Spooler")) << c.what;
    }
}

TEST_F(ServiceControlTest, WaitGivesUpAfterNinetySeconds) {
    services[L"Spooler"] = {ssRunning, 5000};
    auto control = Make();
    EXPECT_FALSE(control->StopService(L"Spooler"));
    EXPECT_EQ(sleeps.size(), 1800u);
    ASSERT_NE(control->StoppedServices(), nullptr);
    EXPECT_EQ(control->StoppedServices()->Count(), 1);
    EXPECT_EQ(control->StoppedServices()->Objects(0), ssRunning);
}

TEST_F(ServiceControlTest, UnknownServiceCountsAsStopped) {
    auto control = Make();
    EXPECT_TRUE(control->StopService(L"NoSuchSvc"));
    EXPECT_EQ(control->StoppedServices(), nullptr);
    EXPECT_TRUE(Logged(L"Can't control the service or service unknown"));
}

TEST_F(ServiceControlTest, RestoreAfterSomeoneElseRestartedItStartsNothing) {
    services[L"Spooler"] = {ssRunning};
    auto control = Make();
    ASSERT_TRUE(control->StopService(L"Spooler"));
    services[L"Spooler"].state = ssRunning;
    control->RestoreServiceStates();
    EXPECT_EQ(calls, (std::vector<std::wstring>{L"stop"}));
    EXPECT_EQ(control->StoppedServices(), nullptr);
    control->RestoreServiceStates();  // the records are gone: nothing more happens
    EXPECT_EQ(calls.size(), 1u);
}

TEST_F(ServiceControlTest, StartIsRetriedSixTimesWithDoublingDelays) {
    services[L"Spooler"] = {ssRunning, 0, 0, false, 6};
    {
        auto control = Make();
        ASSERT_TRUE(control->StopService(L"Spooler"));
    }  // the destructor restores
    EXPECT_EQ(std::count(calls.begin(), calls.end(), L"start"), 6);
    EXPECT_EQ(sleeps, (std::vector<std::uint32_t>{100, 200, 400, 800, 1600, 3200}));
    EXPECT_TRUE(Logged(L"Can't start the service Spooler. Delay 3200 ms. Attempts left: 0"));
    EXPECT_TRUE(Logged(L"Can't restore service 'Spooler' state "));
    EXPECT_EQ(services[L"Spooler"].state, ssStopped);
    EXPECT_EQ(closed, 2);  // one open per stop and per restore, each closed
}

TEST_F(ServiceControlTest, MissingManagerRaisesOnTheFirstStop) {
    auto control = Make();
    scripted->open = false;
    try {
        control->StopService(L"Spooler");
        FAIL() << "expected the general error";
    } catch (const Exception& e) {
        EXPECT_EQ(e.Message(), L"SCManager not assgined");
    }
}

}  // namespace
}  // namespace vt::testing
