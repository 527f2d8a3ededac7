#include <gtest/gtest.h>

#include "runtime/ComBoundary.h"
#include "runtime/Strings.h"
#include "vantrel/Client.hpp"

namespace vt {
namespace {

TEST(ComBoundary, ExceptionsBecomeHresultAndErrorInfo) {
    struct Case {
        std::function<void()> body;
        HRESULT code;
        std::wstring message;
    };
    const Case cases[] = {
        {[] { ThrowGeneral(L"TaskName can be assigned only once"); }, E_FAIL, L"TaskName can be assigned only once"},
        {[] { ThrowInvalidOperation(); }, E_ILLEGAL_METHOD_CALL, L""},
        {[] { ThrowListIndex(7); }, E_BOUNDS, L"List index out of bounds (7)"},
        {[] { ThrowNotImplemented(L"ICleaner.Pause"); }, E_NOTIMPL, L"ICleaner.Pause is not implemented yet"},
        {[] { throw std::runtime_error("plain std error"); }, E_FAIL, L"plain std error"},
        {[] { throw 42; }, E_FAIL, L"Unexpected internal error"},
        {[] { throw Exception(S_FALSE, L"thrown with a success code"); }, E_FAIL, L"thrown with a success code"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Guarded(c.body), c.code);
        EXPECT_EQ(TakeErrorInfoMessage(), c.message);
    }
    EXPECT_EQ(Guarded([] {}), S_OK);
}

TEST(ComBoundary, NullOutPointerFailsWithEPointer) {
    int* nothing = nullptr;
    EXPECT_EQ(Guarded([&] { *Out(nothing) = 1; }), E_POINTER);
}

TEST(ComBoundary, BstrRoundTripKeepsEmbeddedNulls) {
    const std::wstring text(L"a\0b", 3);
    BSTR b = AllocBstr(text);
    EXPECT_EQ(SysStringLen(b), 3u);
    EXPECT_EQ(FromBstrOwned(b), text);
}

// What the library publishes is what a C++ host using the client header sees.
TEST(ComBoundary, ClientCheckThrowsTheCodeAndThePublishedMessage) {
    namespace client = vantrel::client;
    try {
        client::Check(Guarded([] { ThrowGeneral(L"AStrings param not assigned"); }));
        FAIL() << "no exception";
    } catch (const client::Error& e) {
        EXPECT_EQ(e.Code(), E_FAIL);
        EXPECT_EQ(e.Message(), L"AStrings param not assigned");
    }
    // A failure that published nothing still names its code.
    try {
        client::Check(E_UNEXPECTED);
        FAIL() << "no exception";
    } catch (const client::Error& e) {
        EXPECT_EQ(e.Code(), E_UNEXPECTED);
        EXPECT_EQ(e.Message(), L"HRESULT 0x8000FFFF");
    }
    EXPECT_EQ(client::Check(S_FALSE), S_FALSE);
}

// The host's own list starts with the one reference its creator holds, so a
// callee's AddRef/Release pair leaves it alive and the last owner frees it.
TEST(ComBoundary, ClientStringListIsOwnedByItsCreator) {
    namespace client = vantrel::client;
    client::Ptr<client::StringList> list = client::StringList::Create();
    EXPECT_EQ(list->AddRef(), 2u);
    EXPECT_EQ(list->Release(), 1u);
    {
        client::Ptr<IUnknown> unknown = list.As<IUnknown>();
        ASSERT_TRUE(unknown);
    }
    std::int32_t index = -1;
    ASSERT_EQ(list->Add(L"S_A = x", &index), S_OK);
    EXPECT_EQ(index, 0);
    EXPECT_EQ(list->SetString(0, L"S_A=x"), S_OK);
    EXPECT_EQ(client::GetString(static_cast<IVTStringList*>(list.Get()), &IVTStringList::GetString, index),
              L"S_A=x");
    EXPECT_EQ(list->SetString(1, L"beyond"), E_BOUNDS);
    EXPECT_EQ(list->IndexOf(L"absent", &index), S_OK);
    EXPECT_EQ(index, -1);
}

}  // namespace
}  // namespace vt
