#include "runtime/DllRoutines.h"

#include <mutex>

namespace vt::DllRoutines {

HRESULT LoadAndGetInstance(const std::wstring& libraryName, REFIID riid, void** obj);

namespace {
std::mutex gResolverLock;
Resolver gResolver;
}  // namespace

HRESULT GetInstance(const std::wstring& libraryName, REFIID riid, void** obj) {
    if (obj == nullptr) return E_POINTER;
    *obj = nullptr;
    Resolver resolver;
    {
        std::lock_guard<std::mutex> guard(gResolverLock);
        resolver = gResolver;
    }
    if (resolver) return resolver(libraryName, riid, obj);
    return LoadAndGetInstance(libraryName, riid, obj);
}

void SetResolverForTesting(Resolver resolver) {
    std::lock_guard<std::mutex> guard(gResolverLock);
    gResolver = std::move(resolver);
}

}  // namespace vt::DllRoutines
