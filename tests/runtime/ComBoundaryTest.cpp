#include <gtest/gtest.h>

#include "runtime/ComBoundary.h"
#include "runtime/Strings.h"

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

}  // namespace
}  // namespace vt
