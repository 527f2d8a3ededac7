// The boundary's handlers when memory has run out: a bad_alloc thrown from a
// handler inside the noexcept Guarded would end the host's process. This test
// binary's operator new fails on demand to show that the handlers allocate
// nothing of their own.
#include <gtest/gtest.h>

#include <cstdlib>
#include <exception>
#include <functional>
#include <new>
#include <stdexcept>

#include "runtime/ComBoundary.h"
#include "runtime/Exception.h"

namespace {
thread_local bool tFailAllocations = false;
}  // namespace

namespace {
void* Allocate(std::size_t size) {
    if (tFailAllocations) throw std::bad_alloc();
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
}  // namespace

// Every form is replaced, so the sanitizers see one allocator throughout.
void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return tFailAllocations ? nullptr : std::malloc(size ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return tFailAllocations ? nullptr : std::malloc(size ? size : 1);
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }

namespace vt {
namespace {

TEST(ComBoundaryWithoutMemory, EveryHandlerAnswersWithoutAllocating) {
    // Made while memory is there; rethrowing them copies nothing.
    const std::exception_ptr ours = std::make_exception_ptr(
        Exception(static_cast<HRESULT>(0x80070005), L"Access denied: C:\\Windows\\Temp\\~DF1A2B.tmp"));
    const std::exception_ptr standard = std::make_exception_ptr(std::runtime_error("vector::_M_realloc_insert"));
    const struct {
        const char* name;
        std::function<void()> body;
        HRESULT expected;
    } cases[] = {
        {"our exception", [&] { std::rethrow_exception(ours); }, static_cast<HRESULT>(0x80070005)},
        {"bad_alloc", [] { throw std::bad_alloc(); }, E_OUTOFMEMORY},
        {"std::exception", [&] { std::rethrow_exception(standard); }, E_FAIL},
        {"anything else", [] { throw 42; }, E_FAIL},
    };
    for (const auto& c : cases) {
        tFailAllocations = true;
        const HRESULT hr = Guarded(c.body);
        tFailAllocations = false;
        EXPECT_EQ(hr, c.expected) << c.name;
        TakeErrorInfoMessage();  // whatever could be published
    }
    // With memory back, the message reaches the host again.
    EXPECT_EQ(Guarded([&] { std::rethrow_exception(standard); }), E_FAIL);
    EXPECT_EQ(TakeErrorInfoMessage(), L"vector::_M_realloc_insert");
}

}  // namespace
}  // namespace vt
