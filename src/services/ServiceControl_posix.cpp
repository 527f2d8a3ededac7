#include "services/ServiceControl.h"

namespace vt {

namespace {
// There is no service manager natively.
class NoServiceManager final : public IServiceManager {
public:
    bool IsOpen() const override { return false; }
    Service Open(const std::wstring&) override { return 0; }
    std::optional<std::uint32_t> QueryState(Service) override { return std::nullopt; }
    bool Control(Service, std::uint32_t) override { return false; }
    bool Start(Service) override { return false; }
    void Close(Service) override {}
};
}  // namespace

std::unique_ptr<IServiceManager> OpenLocalServiceManager() { return std::make_unique<NoServiceManager>(); }

}  // namespace vt
