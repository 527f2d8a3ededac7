#include "services/ServiceControl.h"

#include <chrono>
#include <thread>

#include "runtime/DebugLog.h"
#include "runtime/Exception.h"

namespace vt {

namespace {

constexpr std::wstring_view kSender = L"TServiceControl";
constexpr std::uint32_t kPollMs = 50;
constexpr std::uint32_t kWaitLimitMs = 90000;
constexpr int kStartAttempts = 6;

bool IsPending(std::uint32_t state) noexcept {
    return state == ssStartPending || state == ssStopPending || state == ssContinuePending ||
           state == ssPausePending;
}

// Closes an opened service on every way out.
class ServiceScope {
public:
    ServiceScope(IServiceManager& manager, IServiceManager::Service service) : manager_(manager), service_(service) {}
    ~ServiceScope() {
        if (service_ != 0) manager_.Close(service_);
    }
    ServiceScope(const ServiceScope&) = delete;
    ServiceScope& operator=(const ServiceScope&) = delete;

private:
    IServiceManager& manager_;
    IServiceManager::Service service_;
};

}  // namespace

TServiceControl::TServiceControl()
    : TServiceControl(OpenLocalServiceManager(),
                      [](std::uint32_t ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }) {}

TServiceControl::TServiceControl(std::unique_ptr<IServiceManager> manager, std::function<void(std::uint32_t)> sleepMs)
    : FManager(std::move(manager)), FSleep(std::move(sleepMs)) {}

TServiceControl::~TServiceControl() {
    try {
        RestoreServiceStates();
    } catch (...) {
        TDebugLog::Log(llError, kSender, L"Restoring services failed while destroying the service control");
    }
}

IServiceManager::Service TServiceControl::OpenNamedService(const std::wstring& AName) {
    if (!FManager || !FManager->IsOpen()) ThrowGeneral(L"SCManager not assgined");
    return FManager->Open(AName);
}

std::uint32_t TServiceControl::WaitForChange(IServiceManager::Service AService, std::uint32_t ALeaveState) {
    TDebugLog::Log(llInfo, kSender, L"Start waiting for change status");
    std::uint32_t waited = 0;
    std::optional<std::uint32_t> state;
    for (;;) {
        state = FManager->QueryState(AService);
        if (!state || *state != ALeaveState) break;
        if (waited >= kWaitLimitMs) {
            TDebugLog::Log(llError, kSender, L"Wait timeout");
            return 0;
        }
        FSleep(kPollMs);
        waited += kPollMs;
    }
    if (!state) {
        TDebugLog::Log(llError, kSender, L"QueryServiceStatus() returns 0");
        return 0;
    }
    TDebugLog::Log(llInfo, kSender, L"CurrentState = %d", {static_cast<unsigned>(*state)});
    return *state;
}

std::uint32_t TServiceControl::SettledState(IServiceManager::Service AService) {
    const auto state = FManager->QueryState(AService);
    if (!state) {
        TDebugLog::Log(llError, kSender, L"QueryServiceStatus() returns 0");
        return 0;
    }
    return IsPending(*state) ? WaitForChange(AService, *state) : *state;
}

bool TServiceControl::StopService(const std::wstring& AName) {
    TDebugLog::Log(llInfo, kSender, L"Attempt to stop the service %s", {AName.c_str()});
    const auto service = OpenNamedService(AName);
    if (service == 0) {
        // An unknown service holds nothing: it counts as stopped.
        TDebugLog::Log(llInfo, kSender, L"Can't control the service or service unknown");
        return true;
    }
    ServiceScope scope(*FManager, service);
    const std::uint32_t state = SettledState(service);
    if (state != ssRunning && state != ssPaused) return true;
    if (!FManager->Control(service, IServiceManager::kControlStop)) {
        TDebugLog::Log(llError, kSender, L"Can't stop service %s", {AName.c_str()});
        return false;
    }
    if (!FStoppedServices) FStoppedServices = std::make_unique<StringList>();
    FStoppedServices->AddObject(AName, static_cast<std::intptr_t>(state));
    return WaitForChange(service, ssStopPending) != 0;
}

void TServiceControl::RestoreService(const std::wstring& AName, std::uint32_t APreviousState) {
    const auto service = FManager && FManager->IsOpen() ? FManager->Open(AName) : 0;
    if (service == 0) return;
    ServiceScope scope(*FManager, service);
    bool restored = SettledState(service) == APreviousState;
    if (!restored) {
        std::uint32_t delay = 100;
        bool started = false;
        for (int left = kStartAttempts - 1; left >= 0 && !started; --left) {
            started = FManager->Start(service);
            if (started) break;
            TDebugLog::Log(llWarning, kSender, L"Can't start the service %s. Delay %d ms. Attempts left: %d",
                           {AName.c_str(), static_cast<unsigned>(delay), left});
            FSleep(delay);
            delay *= 2;
        }
        if (started) {
            TDebugLog::Log(llWarning, kSender, L"Service %s command start accepted", {AName.c_str()});
            restored = true;
            if (APreviousState == ssPaused && WaitForChange(service, ssStartPending) != 0)
                FManager->Control(service, IServiceManager::kControlPause);
        }
    }
    if (!restored) TDebugLog::Log(llWarning, kSender, L"Can't restore service '%s' state ", {AName.c_str()});
}

void TServiceControl::RestoreServiceStates() {
    std::unique_ptr<StringList> stopped = std::move(FStoppedServices);
    if (!stopped) return;
    for (int i = 0; i < stopped->Count(); ++i)
        RestoreService(stopped->Get(i), static_cast<std::uint32_t>(stopped->Objects(i)));
}

}  // namespace vt
