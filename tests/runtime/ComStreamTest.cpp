#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>

#include "model/StreamWrapper.h"
#include "runtime/ComStream.h"
#include "runtime/Exception.h"

namespace vt {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A memory IStream that counts calls and can be told to fail reads and writes.
class CountingIStream : public TMemoryIStream {
public:
    using TMemoryIStream::TMemoryIStream;
    int calls = 0;
    HRESULT failure = S_OK;  // what Read and Write answer when it is a failure

    HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* got) override {
        ++calls;
        return FAILED(failure) ? failure : TMemoryIStream::Read(pv, cb, got);
    }
    int growths = 0;               // times the stream's size went up, by Write or SetSize
    bool refuseSetSize = false;

    HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* put) override {
        ++calls;
        const std::size_t before = Bytes().size();
        const HRESULT hr = FAILED(failure) ? failure : TMemoryIStream::Write(pv, cb, put);
        growths += Bytes().size() > before;
        return hr;
    }
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER size) override {
        if (refuseSetSize) return E_NOTIMPL;
        growths += size.QuadPart > Bytes().size();
        return TMemoryIStream::SetSize(size);
    }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* pos) override {
        ++calls;
        return TMemoryIStream::Seek(move, origin, pos);
    }
};

std::wstring ErrorOf(const std::function<void()>& body) {
    try {
        body();
    } catch (const Exception& e) {
        return e.Message();
    }
    return L"(none)";
}

TEST(ComStream, HundredThousandIntegersCostFewComCalls) {
    auto host = MakeCom<CountingIStream>();
    {
        ComStreamAdapter adapter(host.Get());
        TStreamWrapper w(adapter);
        for (std::int32_t i = 0; i < 100000; ++i) w.Write(i * 7);
    }
    ASSERT_EQ(host->Bytes().size(), 400000u);
    EXPECT_LE(host->calls, 10) << "writes";

    host->calls = 0;
    ComStreamAdapter adapter(host.Get());
    adapter.SetPosition(0);
    TStreamWrapper w(adapter);
    for (std::int32_t i = 0; i < 100000; ++i) ASSERT_EQ(w.ReadInteger(), i * 7);
    EXPECT_LE(host->calls, 12) << "reads";
}

// A stream that reallocates whenever it grows must not grow once per block:
// the adapter grows it ahead and cuts it back to the bytes written on Flush.
// A stream that refuses SetSize simply grows by its writes.
TEST(ComStream, GrowsTheIStreamAheadAndCutsItBackOnFlush) {
    for (const bool refused : {false, true}) {
        auto host = MakeCom<CountingIStream>(Bytes{9, 9, 9});
        host->refuseSetSize = refused;
        Bytes expected{9, 9, 9};
        ComStreamAdapter adapter(host.Get());
        adapter.Seek(0, SeekOrigin::End);
        for (int i = 0; i < 8 * 1024; ++i) {
            const Bytes piece(1024, static_cast<std::uint8_t>(i));
            adapter.Write(piece.data(), piece.size());
            expected.insert(expected.end(), piece.begin(), piece.end());
        }
        adapter.Flush();
        EXPECT_EQ(host->Bytes(), expected) << refused;
        EXPECT_EQ(adapter.Size(), static_cast<std::int64_t>(expected.size()));
        if (!refused) {
            EXPECT_LE(host->growths, 6);
        }
    }
}

// The adapter must behave exactly like a plain memory stream, whatever the
// mix and size of operations (block edges, direct transfers, seeks), and
// leave the IStream at its own position whenever it flushes.
TEST(ComStream, BehavesLikeAMemoryStreamUnderRandomOperations) {
    std::mt19937 rng(7);
    const std::size_t sizes[] = {1, 3, 4096, ComStreamAdapter::kBlockSize - 1, ComStreamAdapter::kBlockSize,
                                 ComStreamAdapter::kBlockSize + 5, 150000};
    auto host = MakeCom<CountingIStream>();
    ComStreamAdapter adapter(host.Get());
    MemoryStream model;
    for (int step = 0; step < 800; ++step) {
        const std::size_t n = sizes[rng() % std::size(sizes)];
        Bytes a(n), b(n);
        const unsigned op = rng() % 5;
        if (op < 2) {
            for (auto& byte : a) byte = static_cast<std::uint8_t>(rng());
            adapter.Write(a.data(), n);
            model.Write(a.data(), n);
        } else if (op == 2) {
            ASSERT_EQ(adapter.Read(a.data(), n), model.Read(b.data(), n)) << "step " << step;
            ASSERT_EQ(a, b) << "step " << step;
        } else if (op == 3) {
            const auto origin = static_cast<SeekOrigin>(rng() % 3);
            const std::int64_t from[] = {0, model.Position(), model.Size()};
            const auto to = static_cast<std::int64_t>(model.Size() ? rng() % model.Size() : 0);
            const std::int64_t offset = to - from[static_cast<int>(origin)];
            ASSERT_EQ(adapter.Seek(offset, origin), model.Seek(offset, origin)) << "step " << step;
        } else {
            if (rng() % 4 == 0) {
                model.SetSize(model.Size() / 2);
                adapter.SetSize(model.Size());
            }
            if (rng() % 2)
                adapter.Flush();
            else
                ASSERT_EQ(adapter.Size(), model.Size()) << "step " << step;
            // A fresh adapter adopts the IStream's own position.
            ASSERT_EQ(ComStreamAdapter(host.Get()).Position(), model.Position()) << "step " << step;
        }
        ASSERT_EQ(adapter.Position(), model.Position()) << "step " << step;
    }
    adapter.Flush();
    EXPECT_EQ(host->Bytes(), model.Bytes());
}

TEST(ComStream, FailuresRaiseTheStreamErrors) {
    Bytes four(4);
    auto failing = MakeCom<CountingIStream>(Bytes(10, 0));
    failing->failure = STG_E_READFAULT;
    ComStreamAdapter broken(failing.Get());
    EXPECT_EQ(ErrorOf([&] { broken.ReadBuffer(four.data(), 1); }), L"Stream read error");
    broken.WriteBuffer("ab", 2);  // buffered: the failure shows on Flush
    EXPECT_EQ(ErrorOf([&] { broken.Flush(); }), L"Stream write error");
    EXPECT_EQ(ErrorOf([&] { broken.Seek(-1, SeekOrigin::Begin); }), L"Stream seek error");
    EXPECT_EQ(ErrorOf([] { ComStreamAdapter none(nullptr); }), L"Stream is not assigned");
}

}  // namespace
}  // namespace vt
