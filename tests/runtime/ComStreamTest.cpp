#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>

#include "model/StreamWrapper.h"
#include "runtime/ComStream.h"
#include "runtime/Exception.h"

namespace vt {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A memory IStream that counts calls and can be told to fail reads or writes.
class CountingIStream : public TMemoryIStream {
public:
    using TMemoryIStream::TMemoryIStream;
    std::map<std::string, int> calls;
    HRESULT failRead = S_OK;
    HRESULT failWrite = S_OK;

    HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* got) override {
        ++calls["Read"];
        return FAILED(failRead) ? failRead : TMemoryIStream::Read(pv, cb, got);
    }
    HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* put) override {
        ++calls["Write"];
        return FAILED(failWrite) ? failWrite : TMemoryIStream::Write(pv, cb, put);
    }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* pos) override {
        ++calls["Seek"];
        return TMemoryIStream::Seek(move, origin, pos);
    }
    // The IStream's own position, asked without counting.
    std::int64_t OwnPosition() {
        LARGE_INTEGER zero;
        zero.QuadPart = 0;
        ULARGE_INTEGER pos;
        TMemoryIStream::Seek(zero, STREAM_SEEK_CUR, &pos);
        return static_cast<std::int64_t>(pos.QuadPart);
    }
    int Total() const {
        int n = 0;
        for (const auto& [name, count] : calls) n += count;
        return n;
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
    EXPECT_EQ(host->Bytes()[4 * 99999], static_cast<std::uint8_t>(99999 * 7));
    EXPECT_LE(host->Total(), 10) << "writes cost " << host->Total() << " calls";

    host->calls.clear();
    ComStreamAdapter adapter(host.Get());
    adapter.SetPosition(0);
    TStreamWrapper w(adapter);
    for (std::int32_t i = 0; i < 100000; ++i) ASSERT_EQ(w.ReadInteger(), i * 7);
    EXPECT_LE(host->Total(), 12) << "reads cost " << host->Total() << " calls";
}

TEST(ComStream, HostPositionFollowsTheLogicalOneAfterFlush) {
    auto host = MakeCom<CountingIStream>(Bytes(100000, 0xAA));
    ComStreamAdapter adapter(host.Get());
    Bytes got(3);
    adapter.ReadBuffer(got.data(), 3);  // reads a whole block ahead
    adapter.Flush();
    EXPECT_EQ(host->OwnPosition(), 3);
    adapter.WriteBuffer("xy", 2);       // lands right after what was read
    EXPECT_EQ(adapter.Size(), 100000);  // flushes, keeps the position
    EXPECT_EQ(adapter.Position(), 5);
    EXPECT_EQ(host->OwnPosition(), 5);
    EXPECT_EQ(host->Bytes()[3], 'x');
    EXPECT_EQ(host->Bytes()[5], 0xAA);
    adapter.WriteBuffer("z", 1);
    adapter.SetSize(4);  // pending byte is written before the truncation
    EXPECT_EQ(host->Bytes(), (Bytes{0xAA, 0xAA, 0xAA, 'x'}));
    EXPECT_EQ(adapter.Seek(-1, SeekOrigin::End), 3);
    EXPECT_EQ(host->OwnPosition(), 3);
}

// The adapter must behave exactly like a plain memory stream, whatever the
// mix and size of operations (block edges, direct transfers, seeks).
TEST(ComStream, BehavesLikeAMemoryStreamUnderRandomOperations) {
    std::mt19937 rng(7);
    const std::size_t sizes[] = {1, 3, 4096, ComStreamAdapter::kBlockSize - 1, ComStreamAdapter::kBlockSize,
                                 ComStreamAdapter::kBlockSize + 5, 150000};
    auto host = MakeCom<TMemoryIStream>();
    ComStreamAdapter adapter(host.Get());
    MemoryStream model;
    for (int step = 0; step < 600; ++step) {
        const std::size_t n = sizes[rng() % std::size(sizes)];
        switch (rng() % 5) {
            case 0:
            case 1: {
                Bytes data(n);
                for (auto& b : data) b = static_cast<std::uint8_t>(rng());
                adapter.Write(data.data(), n);
                model.Write(data.data(), n);
                break;
            }
            case 2: {
                Bytes a(n), b(n);
                ASSERT_EQ(adapter.Read(a.data(), n), model.Read(b.data(), n)) << "step " << step;
                ASSERT_EQ(a, b) << "step " << step;
                break;
            }
            case 3: {
                const std::int64_t to = model.Size() ? static_cast<std::int64_t>(rng() % model.Size()) : 0;
                ASSERT_EQ(adapter.Seek(to, SeekOrigin::Begin), model.Seek(to, SeekOrigin::Begin));
                break;
            }
            default:
                if (rng() % 4 == 0) {
                    model.SetSize(model.Size() / 2);
                    adapter.SetSize(model.Size());
                }
                ASSERT_EQ(adapter.Size(), model.Size()) << "step " << step;
        }
        ASSERT_EQ(adapter.Position(), model.Position()) << "step " << step;
    }
    adapter.Flush();
    EXPECT_EQ(host->Bytes(), model.Bytes());
}

TEST(ComStream, FailuresRaiseTheStreamErrors) {
    auto host = MakeCom<CountingIStream>(Bytes{1, 2});
    ComStreamAdapter adapter(host.Get());
    Bytes four(4);
    EXPECT_EQ(ErrorOf([&] { adapter.ReadBuffer(four.data(), 4); }), L"Stream read error");

    auto failing = MakeCom<CountingIStream>(Bytes(10, 0));
    failing->failRead = STG_E_READFAULT;
    failing->failWrite = STG_E_WRITEFAULT;
    ComStreamAdapter broken(failing.Get());
    EXPECT_EQ(ErrorOf([&] { broken.ReadBuffer(four.data(), 1); }), L"Stream read error");
    broken.WriteBuffer("ab", 2);  // buffered: the failure shows on Flush
    EXPECT_EQ(ErrorOf([&] { broken.Flush(); }), L"Stream write error");
    EXPECT_EQ(ErrorOf([&] { broken.Seek(-1, SeekOrigin::Begin); }), L"Stream seek error");
    EXPECT_EQ(ErrorOf([] { ComStreamAdapter none(nullptr); }), L"Stream is not assigned");
}

}  // namespace
}  // namespace vt
