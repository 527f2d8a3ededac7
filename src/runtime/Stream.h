// The engine's byte stream: what saved scan results and other byte formats are
// read from and written to. MemoryStream keeps the bytes in memory; a host's
// IStream is reached through ComStreamAdapter (ComStream.h).
//
// Positions may lie beyond the end: a read there yields nothing, a write there
// first fills the gap with zero bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vt {

enum class SeekOrigin { Begin, Current, End };

class Stream {
public:
    virtual ~Stream() = default;

    // Reads up to count bytes into buffer; returns how many were read, fewer
    // only at the end of the stream. A failure of the medium raises the read error.
    virtual std::size_t Read(void* buffer, std::size_t count) = 0;
    // Writes all count bytes at the position or raises the write error.
    virtual void Write(const void* buffer, std::size_t count) = 0;
    // Moves the position and returns the new one; a target before the start
    // raises the seek error and leaves the position unchanged.
    virtual std::int64_t Seek(std::int64_t offset, SeekOrigin origin) = 0;
    // The current position in bytes from the start.
    virtual std::int64_t Position() = 0;
    // The length in bytes.
    virtual std::int64_t Size() = 0;
    // Truncates or extends (with zero bytes) to size; the position is unchanged.
    virtual void SetSize(std::int64_t size) = 0;

    // Reads exactly count bytes or raises the read error ("Stream read error");
    // on error the bytes that were there have been consumed.
    void ReadBuffer(void* buffer, std::size_t count);
    // Writes exactly count bytes or raises the write error (same as Write).
    void WriteBuffer(const void* buffer, std::size_t count) { Write(buffer, count); }
    // Seek(position, SeekOrigin::Begin).
    void SetPosition(std::int64_t position) { Seek(position, SeekOrigin::Begin); }
    std::int64_t Seek(std::int64_t position) { return Seek(position, SeekOrigin::Begin); }
};

// Raises the seek error: "Stream seek error" with the given code.
[[noreturn]] void ThrowStreamSeek(std::int32_t code);

// A stream over a growable byte vector it owns.
class MemoryStream final : public Stream {
public:
    MemoryStream() = default;
    // A stream holding a copy of the bytes, positioned at the start.
    explicit MemoryStream(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}
    MemoryStream(const std::uint8_t* data, std::size_t size) : bytes_(data, data + size) {}

    using Stream::Seek;
    std::size_t Read(void* buffer, std::size_t count) override;
    void Write(const void* buffer, std::size_t count) override;
    std::int64_t Seek(std::int64_t offset, SeekOrigin origin) override;
    std::int64_t Position() override { return position_; }
    std::int64_t Size() override { return static_cast<std::int64_t>(bytes_.size()); }
    void SetSize(std::int64_t size) override;

    // The whole content.
    const std::vector<std::uint8_t>& Bytes() const noexcept { return bytes_; }

private:
    std::vector<std::uint8_t> bytes_;
    std::int64_t position_ = 0;
};

}  // namespace vt
