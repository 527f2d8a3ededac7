#include "runtime/ComStream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "runtime/Exception.h"

namespace vt {

namespace {

// IStream counts in ULONG; larger requests are cut into pieces of this size.
constexpr std::size_t kMaxCall = 1u << 30;

}  // namespace

ComStreamAdapter::ComStreamAdapter(IStream* stream) : stream_(stream) {
    if (!stream_) ThrowNullPointer(L"Stream is not assigned");
    SeekStream(0, STREAM_SEEK_CUR, &position_);
}

ComStreamAdapter::~ComStreamAdapter() {
    try {
        Flush();
    } catch (...) {
        // Nothing can report from a destructor; Flush is public for callers that care.
    }
}

void ComStreamAdapter::SeekStream(std::int64_t offset, DWORD origin, std::int64_t* newPosition) {
    LARGE_INTEGER move;
    move.QuadPart = offset;
    ULARGE_INTEGER reached;
    reached.QuadPart = 0;
    const HRESULT hr = stream_->Seek(move, origin, &reached);
    if (FAILED(hr)) ThrowStreamSeek(hr);
    if (reached.QuadPart > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        ThrowStreamSeek(E_UNEXPECTED);
    if (newPosition) *newPosition = static_cast<std::int64_t>(reached.QuadPart);
}

std::size_t ComStreamAdapter::ReadStream(std::uint8_t* buffer, std::size_t count) {
    std::size_t total = 0;
    while (total < count) {
        const auto piece = static_cast<ULONG>(std::min(count - total, kMaxCall));
        ULONG got = 0;
        if (FAILED(stream_->Read(buffer + total, piece, &got)) || got > piece) ThrowStreamRead();
        total += got;
        if (got < piece) break;  // the end of the stream
    }
    return total;
}

void ComStreamAdapter::GrowAhead(std::int64_t end, std::int64_t at) {
    if (growthRefused_) return;
    if (hostSize_ < 0) {
        SeekStream(0, STREAM_SEEK_END, &hostSize_);
        SeekStream(at, STREAM_SEEK_SET, nullptr);
    }
    if (end <= hostSize_) return;
    constexpr std::int64_t kLeastGrowth = 1 << 20;
    const std::int64_t size = std::max({end, 2 * hostSize_, kLeastGrowth});
    ULARGE_INTEGER newSize;
    newSize.QuadPart = static_cast<std::uint64_t>(size);
    if (FAILED(stream_->SetSize(newSize))) {
        growthRefused_ = true;  // the stream grows by its writes, as it would without us
        return;
    }
    if (!grown_) writtenEnd_ = hostSize_;  // not grown yet: the size is all real bytes
    hostSize_ = size;
    grown_ = true;
}

void ComStreamAdapter::TrimGrowth() {
    if (!grown_) return;
    grown_ = false;
    ULARGE_INTEGER newSize;
    newSize.QuadPart = static_cast<std::uint64_t>(writtenEnd_);
    if (FAILED(stream_->SetSize(newSize))) ThrowStreamWrite();
    hostSize_ = writtenEnd_;
}

void ComStreamAdapter::WriteStream(const std::uint8_t* buffer, std::size_t count, std::int64_t at) {
    const std::int64_t end = at + static_cast<std::int64_t>(count);
    GrowAhead(end, at);
    std::size_t total = 0;
    while (total < count) {
        const auto piece = static_cast<ULONG>(std::min(count - total, kMaxCall));
        ULONG written = 0;
        if (FAILED(stream_->Write(buffer + total, piece, &written)) || written != piece) ThrowStreamWrite();
        total += piece;
    }
    if (grown_) {
        writtenEnd_ = std::max(writtenEnd_, end);
    } else if (hostSize_ >= 0) {
        hostSize_ = std::max(hostSize_, end);
    }
}

void ComStreamAdapter::WritePending() {
    const Mode mode = std::exchange(mode_, Mode::Idle);
    const std::size_t filled = std::exchange(filled_, 0);
    if (mode == Mode::Writing && filled > 0) {
        WriteStream(buffer_.data(), filled, bufferStart_);
    } else if (mode == Mode::Reading && bufferStart_ + static_cast<std::int64_t>(filled) != position_) {
        // The IStream stands at the end of the block read ahead; put it back.
        SeekStream(position_, STREAM_SEEK_SET, nullptr);
    }
}

void ComStreamAdapter::Flush() {
    WritePending();
    TrimGrowth();
}

std::size_t ComStreamAdapter::Read(void* buffer, std::size_t count) {
    if (count == 0) return 0;
    if (mode_ == Mode::Writing || grown_) Flush();  // no reading of room grown ahead
    auto* out = static_cast<std::uint8_t*>(buffer);
    std::size_t done = 0;
    while (done < count) {
        if (mode_ == Mode::Reading) {
            const auto offset = static_cast<std::size_t>(position_ - bufferStart_);
            if (offset < filled_) {
                const std::size_t n = std::min(count - done, filled_ - offset);
                std::memcpy(out + done, buffer_.data() + offset, n);
                position_ += static_cast<std::int64_t>(n);
                done += n;
                continue;
            }
            if (filled_ < kBlockSize) break;  // the last block was short: the end
        }
        // The IStream stands at position_ here.
        const std::size_t want = count - done;
        if (want >= kBlockSize) {
            mode_ = Mode::Idle;
            filled_ = 0;
            const std::size_t got = ReadStream(out + done, want);
            position_ += static_cast<std::int64_t>(got);
            done += got;
            break;
        }
        buffer_.resize(kBlockSize);
        mode_ = Mode::Reading;
        bufferStart_ = position_;
        filled_ = ReadStream(buffer_.data(), kBlockSize);
        if (filled_ == 0) break;
    }
    return done;
}

void ComStreamAdapter::Write(const void* buffer, std::size_t count) {
    if (count == 0) return;
    if (mode_ == Mode::Reading) Flush();
    const auto* in = static_cast<const std::uint8_t*>(buffer);
    if (mode_ == Mode::Writing && filled_ + count > kBlockSize) WritePending();
    if (count >= kBlockSize) {
        WritePending();
        WriteStream(in, count, position_);
        position_ += static_cast<std::int64_t>(count);
        return;
    }
    if (mode_ == Mode::Idle) {
        buffer_.resize(kBlockSize);
        mode_ = Mode::Writing;
        bufferStart_ = position_;
        filled_ = 0;
    }
    std::memcpy(buffer_.data() + filled_, in, count);
    filled_ += count;
    position_ += static_cast<std::int64_t>(count);
}

std::int64_t ComStreamAdapter::Seek(std::int64_t offset, SeekOrigin origin) {
    if (origin == SeekOrigin::End) {
        Flush();
        SeekStream(offset, STREAM_SEEK_END, &position_);
        return position_;
    }
    const std::int64_t target = origin == SeekOrigin::Begin ? offset : position_ + offset;
    if (target < 0) ThrowStreamSeek(E_INVALIDARG);
    if (mode_ == Mode::Reading) {
        // No need to put the IStream back first: it is moved right after.
        mode_ = Mode::Idle;
        filled_ = 0;
        SeekStream(target, STREAM_SEEK_SET, &position_);
        return position_;
    }
    Flush();
    if (target != position_) SeekStream(target, STREAM_SEEK_SET, &position_);
    return position_;
}

std::int64_t ComStreamAdapter::Size() {
    Flush();
    std::int64_t end = 0;
    SeekStream(0, STREAM_SEEK_END, &end);
    if (end != position_) SeekStream(position_, STREAM_SEEK_SET, nullptr);
    return end;
}

void ComStreamAdapter::SetSize(std::int64_t size) {
    if (size < 0) ThrowStreamWrite();
    Flush();
    ULARGE_INTEGER newSize;
    newSize.QuadPart = static_cast<std::uint64_t>(size);
    if (FAILED(stream_->SetSize(newSize))) ThrowStreamWrite();
    hostSize_ = size;
}

// --- TMemoryIStream ---------------------------------------------------------

HRESULT STDMETHODCALLTYPE TMemoryIStream::Read(void* pv, ULONG cb, ULONG* pcbRead) {
    if (pcbRead) *pcbRead = 0;
    if (pv == nullptr && cb > 0) return E_POINTER;
    const std::size_t got = stream_.Read(pv, cb);
    if (pcbRead) *pcbRead = static_cast<ULONG>(got);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TMemoryIStream::Write(const void* pv, ULONG cb, ULONG* pcbWritten) {
    if (pcbWritten) *pcbWritten = 0;
    if (pv == nullptr && cb > 0) return E_POINTER;
    try {
        stream_.Write(pv, cb);
    } catch (...) {
        return E_OUTOFMEMORY;
    }
    if (pcbWritten) *pcbWritten = cb;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TMemoryIStream::Seek(LARGE_INTEGER move, DWORD origin, ULARGE_INTEGER* newPosition) {
    SeekOrigin from;
    switch (origin) {
        case STREAM_SEEK_SET: from = SeekOrigin::Begin; break;
        case STREAM_SEEK_CUR: from = SeekOrigin::Current; break;
        case STREAM_SEEK_END: from = SeekOrigin::End; break;
        default: return STG_E_INVALIDFUNCTION;
    }
    try {
        const std::int64_t reached = stream_.Seek(move.QuadPart, from);
        if (newPosition) newPosition->QuadPart = static_cast<std::uint64_t>(reached);
    } catch (const Exception&) {
        return STG_E_INVALIDFUNCTION;
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TMemoryIStream::SetSize(ULARGE_INTEGER newSize) {
    if (newSize.QuadPart > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        return E_OUTOFMEMORY;
    try {
        stream_.SetSize(static_cast<std::int64_t>(newSize.QuadPart));
    } catch (...) {
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

HRESULT STDMETHODCALLTYPE TMemoryIStream::CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) {
    return E_NOTIMPL;
}

HRESULT STDMETHODCALLTYPE TMemoryIStream::Commit(DWORD) { return S_OK; }

HRESULT STDMETHODCALLTYPE TMemoryIStream::Revert() { return S_OK; }

HRESULT STDMETHODCALLTYPE TMemoryIStream::LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    return STG_E_INVALIDFUNCTION;
}

HRESULT STDMETHODCALLTYPE TMemoryIStream::UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) {
    return STG_E_INVALIDFUNCTION;
}

HRESULT STDMETHODCALLTYPE TMemoryIStream::Stat(STATSTG*, DWORD) { return E_NOTIMPL; }

HRESULT STDMETHODCALLTYPE TMemoryIStream::Clone(IStream** clone) {
    if (clone) *clone = nullptr;
    return E_NOTIMPL;
}

bool TMemoryIStream::QueryExtra(REFIID riid, void** ppv) {
    if (!IsEqualGUID(riid, IidOf<ISequentialStream>())) return false;
    *ppv = static_cast<ISequentialStream*>(static_cast<IStream*>(this));
    AddRef();
    return true;
}

}  // namespace vt
