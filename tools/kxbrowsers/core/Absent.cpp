#include "Browser.h"

namespace kxb {

namespace {

class Absent final : public Browser {
public:
    explicit Absent(std::wstring name) : name_(std::move(name)) {}
    std::wstring DisplayName() const override { return name_; }
    std::wstring Version() const override { return {}; }
    bool IsInstalled() const override { return false; }
    bool IsDataLocked() const override { return false; }
    std::wstring ExePath() const override { return {}; }
    std::unique_ptr<ElementList> MakeList(Kind, SinkSource) const override { return nullptr; }
    std::wstring Root(Kind) const override { return {}; }

private:
    std::wstring name_;
};

}  // namespace

std::unique_ptr<Browser> MakeAbsent(std::wstring displayName) { return std::make_unique<Absent>(std::move(displayName)); }

}  // namespace kxb
