// Bounds-checked little-endian reading of outside bytes (registry values, log
// records). Every reader takes the whole buffer and an offset and answers a
// default when the field does not fit, so parsers of untrusted data never read
// past the end. Text is read as UTF-16 code units explicitly: wchar_t is
// 16-bit on Windows and 32-bit elsewhere.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "runtime/Utf.h"

namespace vt {

using ByteSpan = std::span<const std::uint8_t>;

// True when count bytes starting at offset lie inside bytes.
inline bool Fits(ByteSpan bytes, std::size_t offset, std::size_t count) noexcept {
    return offset <= bytes.size() && count <= bytes.size() - offset;
}

// Little-endian numbers; 0 when the field does not fit.
inline std::uint16_t ReadU16(ByteSpan bytes, std::size_t offset) noexcept {
    if (!Fits(bytes, offset, 2)) return 0;
    return static_cast<std::uint16_t>(bytes[offset] | (bytes[offset + 1] << 8));
}

inline std::uint32_t ReadU32(ByteSpan bytes, std::size_t offset) noexcept {
    if (!Fits(bytes, offset, 4)) return 0;
    return static_cast<std::uint32_t>(bytes[offset]) | (static_cast<std::uint32_t>(bytes[offset + 1]) << 8) |
           (static_cast<std::uint32_t>(bytes[offset + 2]) << 16) |
           (static_cast<std::uint32_t>(bytes[offset + 3]) << 24);
}

inline std::uint64_t ReadU64(ByteSpan bytes, std::size_t offset) noexcept {
    if (!Fits(bytes, offset, 8)) return 0;
    return static_cast<std::uint64_t>(ReadU32(bytes, offset)) |
           (static_cast<std::uint64_t>(ReadU32(bytes, offset + 4)) << 32);
}

// UTF-16LE text from offset up to its first zero code unit or to end (whichever
// comes first; an odd last byte is ignored). *next, when given, receives the
// offset just past the zero unit, or end when there was none.
inline std::wstring ReadUtf16Z(ByteSpan bytes, std::size_t offset, std::size_t end, std::size_t* next = nullptr) {
    if (end > bytes.size()) end = bytes.size();
    std::u16string units;
    std::size_t pos = offset;
    bool terminated = false;
    while (pos < end && end - pos >= 2) {
        const auto unit = static_cast<char16_t>(bytes[pos] | (bytes[pos + 1] << 8));
        pos += 2;
        if (unit == 0) {
            terminated = true;
            break;
        }
        units.push_back(unit);
    }
    if (next) *next = terminated ? pos : (offset > end ? offset : end);
    return FromUtf16(units);
}

// Single-byte text from offset up to its first zero byte or to end; each byte is
// taken as the code point of the same number (Latin-1). *next as for ReadUtf16Z.
inline std::wstring ReadAnsiZ(ByteSpan bytes, std::size_t offset, std::size_t end, std::size_t* next = nullptr) {
    if (end > bytes.size()) end = bytes.size();
    std::wstring text;
    std::size_t pos = offset;
    bool terminated = false;
    while (pos < end) {
        const std::uint8_t b = bytes[pos++];
        if (b == 0) {
            terminated = true;
            break;
        }
        text.push_back(static_cast<wchar_t>(b));
    }
    if (next) *next = terminated ? pos : (offset > end ? offset : end);
    return text;
}

}  // namespace vt
