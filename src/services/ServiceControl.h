// TServiceControl: stops Windows services that hold traces (the print
// spooler, the indexing and firewall services) for the time of a removal and
// puts each back into the state it was in: on request, or when destroyed.
//
// The service manager is reached through IServiceManager, so the stop, wait
// and restore rules run natively against scripted answers; the Windows
// manager (through the syscall table) is the default. Portable header.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "runtime/StringList.h"

namespace vt {

// Service states as the service manager reports them.
enum TServiceState : std::uint32_t {
    ssStopped = 1,
    ssStartPending = 2,
    ssStopPending = 3,
    ssRunning = 4,
    ssContinuePending = 5,
    ssPausePending = 6,
    ssPaused = 7,
};

// The service-manager operations the control needs. Services are named by
// an opaque non-zero number that the manager hands out and takes back.
class IServiceManager {
public:
    using Service = std::uintptr_t;
    // Codes of ControlService.
    static constexpr std::uint32_t kControlStop = 1;
    static constexpr std::uint32_t kControlPause = 2;

    virtual ~IServiceManager() = default;
    // False when the manager itself could not be opened.
    virtual bool IsOpen() const = 0;
    // Opens a service for query, start, stop and pause; 0 when it cannot be opened.
    virtual Service Open(const std::wstring& name) = 0;
    // The current state; nullopt when the query fails.
    virtual std::optional<std::uint32_t> QueryState(Service service) = 0;
    virtual bool Control(Service service, std::uint32_t code) = 0;
    virtual bool Start(Service service) = 0;
    virtual void Close(Service service) = 0;
};

// The local machine's service manager, opened with full access (nothing open
// natively: every later open is refused).
std::unique_ptr<IServiceManager> OpenLocalServiceManager();

class TServiceControl {
public:
    // Opens the local service manager.
    TServiceControl();
    // Over the given manager, sleeping through sleepMs (tests pass a recorder).
    TServiceControl(std::unique_ptr<IServiceManager> manager, std::function<void(std::uint32_t)> sleepMs);
    // Restores every stopped service.
    ~TServiceControl();
    TServiceControl(const TServiceControl&) = delete;
    TServiceControl& operator=(const TServiceControl&) = delete;

    // Stops a running or paused service and records its state. True when it
    // is stopped now or was not running; an unknown service counts as stopped.
    // False when the stop is refused or the service stays stop-pending for 90 s
    // (it stays recorded). Throws "SCManager not assgined" without a manager.
    bool StopService(const std::wstring& AName);
    // Puts every recorded service back into its recorded state, then forgets
    // them; failures are logged.
    void RestoreServiceStates();

    // The recorded services (name, previous state in the object slot), in order of stopping.
    const StringList* StoppedServices() const noexcept { return FStoppedServices.get(); }

private:
    IServiceManager::Service OpenNamedService(const std::wstring& AName);
    std::uint32_t SettledState(IServiceManager::Service AService);
    std::uint32_t WaitForChange(IServiceManager::Service AService, std::uint32_t ALeaveState);
    void RestoreService(const std::wstring& AName, std::uint32_t APreviousState);

    std::unique_ptr<IServiceManager> FManager;
    std::function<void(std::uint32_t)> FSleep;
    std::unique_ptr<StringList> FStoppedServices;
};

}  // namespace vt
