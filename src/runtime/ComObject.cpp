#include "runtime/ComObject.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <set>
#include <tuple>

#include "runtime/DebugLog.h"

namespace vt {

namespace {

struct GuidLess {
    bool operator()(const GUID& a, const GUID& b) const noexcept {
        return std::tie(a.Data1, a.Data2, a.Data3) < std::tie(b.Data1, b.Data2, b.Data3) ||
               (std::tie(a.Data1, a.Data2, a.Data3) == std::tie(b.Data1, b.Data2, b.Data3) &&
                std::lexicographical_compare(a.Data4, a.Data4 + 8, b.Data4, b.Data4 + 8));
    }
};

}  // namespace

std::wstring GuidText(REFIID riid) {
    wchar_t text[40];
    std::swprintf(text, 40, L"{%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}",
                  static_cast<unsigned long>(riid.Data1), riid.Data2, riid.Data3, riid.Data4[0], riid.Data4[1],
                  riid.Data4[2], riid.Data4[3], riid.Data4[4], riid.Data4[5], riid.Data4[6], riid.Data4[7]);
    return text;
}

void LogUnknownInterface(REFIID riid) noexcept {
    // Hosts and COM itself probe for many identifiers (IMarshal, IAgileObject,
    // ...); each is worth one line, not one per call.
    static std::mutex lock;
    static std::set<GUID, GuidLess> seen;
    try {
        {
            std::lock_guard<std::mutex> guard(lock);
            if (!seen.insert(riid).second) return;
        }
        TDebugLog::Log(llWarning, L"ComObject", L"QueryInterface: unknown interface %s", {GuidText(riid)});
    } catch (...) {
        // Out of memory: the identifier goes unlogged; QueryInterface answers all the same.
    }
}

}  // namespace vt
