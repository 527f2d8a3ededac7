// The service control against a real service inside the Wine prefix: the
// test installs the fixture service program under a name of its own, drives
// it through stop, restore and pause, and removes it again.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/Handles.h"
#include "platform/Win32.h"
#include "runtime/DebugLog.h"
#include "services/ServiceControl.h"

namespace vt::testing {
namespace {

using platform::unique_schandle;

std::wstring FixturePath() {
    wchar_t self[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring path = self;
    return path.substr(0, path.rfind(L'\\') + 1) + L"fixtures\\VtTestService.exe";
}

class RealServiceTest : public ::testing::Test {
protected:
    void SetUp() override {
        name = L"VtTestSvc" + std::to_wstring(::GetCurrentProcessId());
        manager.Reset(::OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS));
        ASSERT_TRUE(manager) << "service manager";
        const std::wstring command = L"\"" + FixturePath() + L"\"";
        service.Reset(::CreateServiceW(manager.Get(), name.c_str(), name.c_str(), SERVICE_ALL_ACCESS,
                                       SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START, SERVICE_ERROR_IGNORE,
                                       command.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
        ASSERT_TRUE(service) << "CreateServiceW failed: " << ::GetLastError();
        TDebugLog::SetLevel(llInfo);
        TDebugLog::SetSink([this](const std::wstring& line) { log.push_back(line); });
    }
    void TearDown() override {
        TDebugLog::SetSink({});
        TDebugLog::SetLevel(llNone);
        if (!service) return;
        SERVICE_STATUS status{};
        if (State() == SERVICE_PAUSED) ::ControlService(service.Get(), SERVICE_CONTROL_CONTINUE, &status);
        if (State() != SERVICE_STOPPED) {
            ::ControlService(service.Get(), SERVICE_CONTROL_STOP, &status);
            WaitFor(SERVICE_STOPPED);
        }
        ::DeleteService(service.Get());
    }

    DWORD State() {
        SERVICE_STATUS status{};
        return ::QueryServiceStatus(service.Get(), &status) ? status.dwCurrentState : 0;
    }
    // Waits up to 20 s for the state; returns the state reached.
    DWORD WaitFor(DWORD state) {
        for (int i = 0; i < 400 && State() != state; ++i) ::Sleep(50);
        return State();
    }
    void StartAndWait() {
        ASSERT_TRUE(::StartServiceW(service.Get(), 0, nullptr)) << ::GetLastError();
        ASSERT_EQ(WaitFor(SERVICE_RUNNING), static_cast<DWORD>(SERVICE_RUNNING));
    }
    bool Logged(const std::wstring& text) const {
        for (const auto& l : log)
            if (l.find(text) != std::wstring::npos) return true;
        return false;
    }

    std::wstring name;
    unique_schandle manager, service;
    std::vector<std::wstring> log;
};

TEST_F(RealServiceTest, StopsARunningServiceAndStartsItAgain) {
    StartAndWait();
    TServiceControl control;
    EXPECT_TRUE(control.StopService(name));
    EXPECT_EQ(State(), static_cast<DWORD>(SERVICE_STOPPED));
    EXPECT_TRUE(Logged(L"CurrentState = 1"));
    control.RestoreServiceStates();
    EXPECT_TRUE(Logged(L"Service " + name + L" command start accepted"));
    EXPECT_EQ(WaitFor(SERVICE_RUNNING), static_cast<DWORD>(SERVICE_RUNNING));
}

TEST_F(RealServiceTest, AlreadyStoppedAndUnknownServicesCountAsStopped) {
    TServiceControl control;
    EXPECT_TRUE(control.StopService(name));
    EXPECT_TRUE(control.StopService(name + L"Missing"));
    EXPECT_TRUE(Logged(L"Can't control the service or service unknown"));
    EXPECT_EQ(control.StoppedServices(), nullptr);
    control.RestoreServiceStates();
    ::Sleep(300);
    EXPECT_EQ(State(), static_cast<DWORD>(SERVICE_STOPPED));  // nothing was started
}

TEST_F(RealServiceTest, PausedServiceIsStartedAndPausedAgain) {
    StartAndWait();
    SERVICE_STATUS status{};
    ASSERT_TRUE(::ControlService(service.Get(), SERVICE_CONTROL_PAUSE, &status));
    ASSERT_EQ(WaitFor(SERVICE_PAUSED), static_cast<DWORD>(SERVICE_PAUSED));
    {
        TServiceControl control;
        EXPECT_TRUE(control.StopService(name));
        EXPECT_EQ(State(), static_cast<DWORD>(SERVICE_STOPPED));
        ASSERT_NE(control.StoppedServices(), nullptr);
        EXPECT_EQ(control.StoppedServices()->Objects(0), SERVICE_PAUSED);
    }  // restored by the destructor
    EXPECT_EQ(WaitFor(SERVICE_PAUSED), static_cast<DWORD>(SERVICE_PAUSED));
}

TEST_F(RealServiceTest, RestoreLeavesAServiceSomeoneElseRestarted) {
    StartAndWait();
    TServiceControl control;
    ASSERT_TRUE(control.StopService(name));
    StartAndWait();
    control.RestoreServiceStates();
    EXPECT_FALSE(Logged(L"command start accepted"));
    EXPECT_FALSE(Logged(L"Can't restore service"));
    EXPECT_EQ(State(), static_cast<DWORD>(SERVICE_RUNNING));
}

}  // namespace
}  // namespace vt::testing
