// QueryInterface on the library's objects: unknown identifiers are logged,
// each once per process.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "runtime/ComObject.h"
#include "runtime/DebugLog.h"

// An interface of the test's own, and an object that has nothing else.
struct IProbe : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Ping() = 0;
};
VANTREL_INTERFACE_ID(IProbe, 0x5e1a7c3d, 0x2b4f, 0x4c61, 0x9d, 0x0e, 0x7a, 0x31, 0xc4, 0x88, 0x15, 0xf2)

namespace vt {
namespace {

class Probe final : public ComObject<IProbe> {
public:
    HRESULT STDMETHODCALLTYPE Ping() override { return S_OK; }
};

TEST(ComObject, UnknownInterfacesAreRefusedAndLoggedOncePerIdentifier) {
    // What COM itself probes a host's objects for.
    const GUID IID_IMarshal = {0x00000003, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
    const GUID IID_IAgileObject = {0x94EA2B94, 0xE9CC, 0x49E0, {0xC0, 0xFF, 0xEE, 0x64, 0xCA, 0x8F, 0x5B, 0x90}};
    Com<Probe> object = MakeCom<Probe>();

    std::vector<std::wstring> logged;
    const TLogLevel saved = TDebugLog::Level();
    TDebugLog::SetSink([&](const std::wstring& line) { logged.push_back(line); });
    TDebugLog::SetLevel(llWarning);
    const GUID asked[] = {IID_IMarshal, IID_IAgileObject, IID_IMarshal, IidOf<IUnknown>(), IID_IAgileObject};
    for (const GUID& iid : asked) {
        void* out = reinterpret_cast<void*>(1);
        const HRESULT hr = object->QueryInterface(iid, &out);
        if (IsEqualGUID(iid, IidOf<IUnknown>())) {
            EXPECT_EQ(hr, S_OK);
            static_cast<IUnknown*>(out)->Release();
        } else {
            EXPECT_EQ(hr, E_NOINTERFACE);
            EXPECT_EQ(out, nullptr);
        }
    }
    TDebugLog::SetSink({});
    TDebugLog::SetLevel(saved);
    ASSERT_EQ(logged.size(), 2u);
    EXPECT_TRUE(logged[0].ends_with(L"ComObject: QueryInterface: unknown interface {00000003-0000-0000-C000-000000000046}"))
        << logged[0];
    EXPECT_TRUE(logged[1].ends_with(L"ComObject: QueryInterface: unknown interface {94EA2B94-E9CC-49E0-C0FF-EE64CA8F5B90}"))
        << logged[1];
}

}  // namespace
}  // namespace vt
