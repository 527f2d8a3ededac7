// Streams at the COM boundary. ComStreamAdapter lets the engine read and write
// a host's IStream as a vt::Stream; TMemoryIStream is an IStream over memory
// for tests and tools.
#pragma once

#include <cstdint>
#include <vector>

#include "runtime/ComObject.h"
#include "runtime/Stream.h"
#include "vantrel/ComTypes.h"

namespace vt {

// A vt::Stream over a host's IStream, using only its Seek, SetSize, Read and
// Write. Reads and writes go through one block buffer, so small primitives
// (a million Integers) cost a COM call per block, not per value. After Flush
// the IStream's own position equals Position(). The IStream is not owned but
// holds a reference while the adapter lives.
//
// Writing past the IStream's end grows it ahead with SetSize, at least doubling
// it, and Flush cuts it back to what was written. Streams that reallocate on
// every growing Write (CreateStreamOnHGlobal) would otherwise copy their whole
// content once per block, which makes saving a large scan quadratic.
class ComStreamAdapter final : public Stream {
public:
    static constexpr std::size_t kBlockSize = 64 * 1024;

    // Adopts the IStream at its current position; a null stream raises
    // E_POINTER, a failing Seek the seek error.
    explicit ComStreamAdapter(IStream* stream);
    // Writes what is pending; errors here are lost, so callers that care call Flush first.
    ~ComStreamAdapter() override;
    ComStreamAdapter(const ComStreamAdapter&) = delete;
    ComStreamAdapter& operator=(const ComStreamAdapter&) = delete;

    using Stream::Seek;
    // A failed IStream Read raises the read error; fewer bytes only at the end.
    std::size_t Read(void* buffer, std::size_t count) override;
    // Raises the write error when the IStream fails or takes fewer bytes
    // (possibly only when the block is flushed later).
    void Write(const void* buffer, std::size_t count) override;
    // Flushes, then moves the IStream; failure raises the seek error.
    std::int64_t Seek(std::int64_t offset, SeekOrigin origin) override;
    // The logical position; costs no COM call.
    std::int64_t Position() override { return position_; }
    // Flushes and asks the IStream for its end; failure raises the seek error.
    std::int64_t Size() override;
    // Flushes and resizes the IStream; failure raises the write error.
    void SetSize(std::int64_t size) override;

    // Writes pending bytes, cuts off room grown ahead, and puts the IStream's
    // position at Position(); raises the write or seek error on failure (the
    // pending bytes are dropped).
    void Flush();

private:
    enum class Mode { Idle, Reading, Writing };

    void SeekStream(std::int64_t offset, DWORD origin, std::int64_t* newPosition);
    std::size_t ReadStream(std::uint8_t* buffer, std::size_t count);
    // Writes count bytes at offset at, where the IStream stands.
    void WriteStream(const std::uint8_t* buffer, std::size_t count, std::int64_t at);
    // Writes the pending block, leaving room grown ahead in place.
    void WritePending();
    // Grows the IStream ahead so that it holds at least end bytes; the IStream
    // stands at at and is put back there.
    void GrowAhead(std::int64_t end, std::int64_t at);
    // Cuts the IStream back to the bytes written when it was grown ahead.
    void TrimGrowth();

    Com<IStream> stream_;
    std::vector<std::uint8_t> buffer_;
    Mode mode_ = Mode::Idle;
    // Reading: buffer_[0, filled_) holds the bytes at [bufferStart_, bufferStart_ + filled_)
    // and the IStream stands at their end. Writing: buffer_[0, filled_) is pending
    // for bufferStart_, where the IStream stands.
    std::int64_t bufferStart_ = 0;
    std::size_t filled_ = 0;
    std::int64_t position_ = 0;
    // The IStream's size as last set or seen (-1 until needed), and while
    // grown_ the end of what was really written (the size Flush restores).
    std::int64_t hostSize_ = -1;
    std::int64_t writtenEnd_ = 0;
    bool grown_ = false;
    bool growthRefused_ = false;  // the IStream failed a SetSize: write plainly
};

// A portable IStream over a byte vector (tests and tools). Read, Write, Seek
// and SetSize work; Commit and Revert succeed with nothing to do; locking
// answers STG_E_INVALIDFUNCTION, CopyTo, Stat and Clone E_NOTIMPL. Also
// answers ISequentialStream.
class TMemoryIStream : public ComObject<IStream> {
public:
    TMemoryIStream() = default;
    // A stream holding the bytes, positioned at the start.
    explicit TMemoryIStream(std::vector<std::uint8_t> bytes) : stream_(std::move(bytes)) {}

    HRESULT STDMETHODCALLTYPE Read(void* pv, ULONG cb, ULONG* pcbRead) override;
    HRESULT STDMETHODCALLTYPE Write(const void* pv, ULONG cb, ULONG* pcbWritten) override;
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) override;
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER newSize) override;
    HRESULT STDMETHODCALLTYPE CopyTo(IStream* target, ULARGE_INTEGER cb, ULARGE_INTEGER* read,
                                     ULARGE_INTEGER* written) override;
    HRESULT STDMETHODCALLTYPE Commit(DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Revert() override;
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER cb, DWORD lockType) override;
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER offset, ULARGE_INTEGER cb, DWORD lockType) override;
    HRESULT STDMETHODCALLTYPE Stat(STATSTG* stat, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Clone(IStream** clone) override;

    // The whole content.
    const std::vector<std::uint8_t>& Bytes() const noexcept { return stream_.Bytes(); }

protected:
    bool QueryExtra(REFIID riid, void** ppv) override;

private:
    MemoryStream stream_;
};

}  // namespace vt
