#include "platform/Handles.h"
#include "platform/SysCalls.h"
#include "platform/Win32.h"
#include "services/ServiceControl.h"

namespace vt {

namespace {

using platform::SysCalls;

// Access asked of each service: query status, start, stop, pause/continue.
constexpr DWORD kServiceAccess = SERVICE_QUERY_STATUS | SERVICE_START | SERVICE_STOP | SERVICE_PAUSE_CONTINUE;

void CloseThroughTable(SC_HANDLE h) noexcept { SysCalls().CloseServiceHandle(h); }
// A service-manager handle closed through the syscall table, so tests see the close.
using table_schandle = platform::UniqueHandle<SC_HANDLE, CloseThroughTable>;

class WindowsServiceManager final : public IServiceManager {
public:
    WindowsServiceManager() : manager_(SysCalls().OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS)) {}

    bool IsOpen() const override { return manager_.IsValid(); }
    Service Open(const std::wstring& name) override {
        return reinterpret_cast<Service>(SysCalls().OpenServiceW(manager_.Get(), name.c_str(), kServiceAccess));
    }
    std::optional<std::uint32_t> QueryState(Service service) override {
        SERVICE_STATUS status{};
        if (!SysCalls().QueryServiceStatus(Handle(service), &status)) return std::nullopt;
        return status.dwCurrentState;
    }
    bool Control(Service service, std::uint32_t code) override {
        SERVICE_STATUS status{};
        return SysCalls().ControlService(Handle(service), code, &status) != FALSE;
    }
    bool Start(Service service) override { return SysCalls().StartServiceW(Handle(service), 0, nullptr) != FALSE; }
    void Close(Service service) override { SysCalls().CloseServiceHandle(Handle(service)); }

private:
    static SC_HANDLE Handle(Service service) noexcept { return reinterpret_cast<SC_HANDLE>(service); }
    table_schandle manager_;
};

}  // namespace

std::unique_ptr<IServiceManager> OpenLocalServiceManager() { return std::make_unique<WindowsServiceManager>(); }

}  // namespace vt
