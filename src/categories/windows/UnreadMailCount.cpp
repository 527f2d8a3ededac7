#include <cstdint>

#include "categories/windows/SystemCategories.h"
#include "model/VantrelShare.h"
#include "runtime/OSInfo.h"
#include "runtime/RegistryPath.h"
#include "runtime/RegistryReader.h"
#include "services/BVWrapper.h"

namespace vt {

namespace {

constexpr wchar_t kUnreadMailKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\UnreadMail\\";
constexpr wchar_t kMessageCount[] = L"MessageCount";

// HKEY_CURRENT_USER as a handle value (sign-extended, as Windows defines it).
HKEY CurrentUserKey() {
    return reinterpret_cast<HKEY>(static_cast<std::intptr_t>(static_cast<std::int32_t>(0x80000001u)));
}

}  // namespace

TUnreadMailCount::TUnreadMailCount(TVantrelShare& AVantrel)
    : TVTCategory(AVantrel, {.Id = ID_UNREAD_MAIL_COUNT,
                             .NameLz = S_UNREAD_MAIL_COUNT_CATEGORY_NAME,
                             .DescriptionLz = S_UNREAD_MAIL_COUNT_CATEGORY_DESCR,
                             .ItemShortDescriptionLz = S_UNREAD_MAIL_COUNT_ITEM_SHORT_DESCR,
                             .Severity = cslMedium,
                             .ClassName = L"TUnreadMailCount"}) {}

bool TUnreadMailCount::CheckIfInstalled() { return OSInfo::WindowsVersion() >= OSInfo::wvWinXP; }

void TUnreadMailCount::Search() {
    const IRegistryReader& registry = SystemRegistry();
    std::vector<std::wstring> accounts;
    if (auto key = registry.OpenKey(RegistryRoot::CurrentUser, kUnreadMailKey)) accounts = key->SubKeyNames();
    const auto total = static_cast<std::int32_t>(accounts.size());
    for (std::int32_t i = 0; i < total; ++i) {
        const std::wstring path = std::wstring(kUnreadMailKey) + accounts[i];
        auto account = registry.OpenKey(RegistryRoot::CurrentUser, path);
        // An account without a counter, or one that cannot be read, is skipped.
        if (!account || !account->HasValue(kMessageCount)) continue;
        const std::wstring location = RegistryKeyToStr(RegistryRoot::CurrentUser, path, kMessageCount);
        if (IsIgnored(location, L"")) continue;
        AddFoundItem({.Name = accounts[i], .Location = location, .Icon = itFileDefault, .SourceIndex = i});
        ReportProgress(total);
    }
}

bool TUnreadMailCount::RemoveItem(TDetectedItem& Item) {
    TBVWrapper& wrapper = FVantrel.GetBVWrapper();
    BVKey key = wrapper.RegKeyOpenWrite(CurrentUserKey(), kUnreadMailKey);
    if (!key) return false;
    // The account's whole counter key goes (backed up).
    return wrapper.RegKeyDeleteKey(key.Get(), Item.ItemName());
}

}  // namespace vt
