#include "runtime/Stream.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "runtime/Exception.h"
#include "vantrel/ComTypes.h"

namespace vt {

void Stream::ReadBuffer(void* buffer, std::size_t count) {
    auto* out = static_cast<std::uint8_t*>(buffer);
    while (count > 0) {
        const std::size_t got = Read(out, count);
        if (got == 0) ThrowStreamRead();
        out += got;
        count -= got;
    }
}

void ThrowStreamSeek(std::int32_t code) {
    throw Exception(static_cast<HRESULT>(code), L"Stream seek error");
}

std::size_t MemoryStream::Read(void* buffer, std::size_t count) {
    const auto size = static_cast<std::int64_t>(bytes_.size());
    if (count == 0 || position_ >= size) return 0;
    const std::size_t n = std::min(count, static_cast<std::size_t>(size - position_));
    std::memcpy(buffer, bytes_.data() + position_, n);
    position_ += static_cast<std::int64_t>(n);
    return n;
}

void MemoryStream::Write(const void* buffer, std::size_t count) {
    if (count == 0) return;
    const auto end = static_cast<std::uint64_t>(position_) + count;
    if (end > std::numeric_limits<std::size_t>::max() / 2) ThrowStreamWrite();
    if (end > bytes_.size()) bytes_.resize(static_cast<std::size_t>(end));
    std::memcpy(bytes_.data() + position_, buffer, count);
    position_ = static_cast<std::int64_t>(end);
}

std::int64_t MemoryStream::Seek(std::int64_t offset, SeekOrigin origin) {
    std::int64_t base = 0;
    if (origin == SeekOrigin::Current) base = position_;
    if (origin == SeekOrigin::End) base = static_cast<std::int64_t>(bytes_.size());
    if ((offset < 0 && base + offset < 0) ||
        (offset > 0 && base > std::numeric_limits<std::int64_t>::max() - offset))
        ThrowStreamSeek(E_INVALIDARG);
    position_ = base + offset;
    return position_;
}

void MemoryStream::SetSize(std::int64_t size) {
    if (size < 0 || static_cast<std::uint64_t>(size) > std::numeric_limits<std::size_t>::max() / 2)
        ThrowStreamWrite();
    bytes_.resize(static_cast<std::size_t>(size));
}

}  // namespace vt
