// Writes test data field by field, the way the documented Windows layouts put
// them on disk: little-endian numbers, NUL-terminated ASCII and UTF-16LE text,
// and raw hex copied from real dumps.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vt::test {

class ByteBuilder {
public:
    ByteBuilder& U8(unsigned v) {
        bytes_.push_back(static_cast<std::uint8_t>(v));
        return *this;
    }
    ByteBuilder& U16(unsigned v) { return U8(v & 0xFF).U8((v >> 8) & 0xFF); }
    ByteBuilder& U32(std::uint32_t v) { return U16(v & 0xFFFF).U16(v >> 16); }
    ByteBuilder& U64(std::uint64_t v) {
        return U32(static_cast<std::uint32_t>(v)).U32(static_cast<std::uint32_t>(v >> 32));
    }
    ByteBuilder& Zeros(std::size_t n) {
        bytes_.insert(bytes_.end(), n, 0);
        return *this;
    }
    // ASCII text and its NUL.
    ByteBuilder& AsciiZ(std::string_view s) {
        for (char c : s) U8(static_cast<unsigned char>(c));
        return U8(0);
    }
    // UTF-16LE text, without or with its NUL.
    ByteBuilder& Utf16(std::u16string_view s) {
        for (char16_t c : s) U16(c);
        return *this;
    }
    ByteBuilder& Utf16Z(std::u16string_view s) { return Utf16(s).U16(0); }
    // Bytes written as hex pairs; blanks and line breaks are ignored.
    ByteBuilder& Hex(std::string_view hex) {
        int high = -1;
        for (char c : hex) {
            int v = -1;
            if (c >= '0' && c <= '9') v = c - '0';
            else if (c >= 'a' && c <= 'f') v = c - 'a' + 10;
            else if (c >= 'A' && c <= 'F') v = c - 'A' + 10;
            if (v < 0) continue;
            if (high < 0) {
                high = v;
            } else {
                U8(static_cast<unsigned>(high * 16 + v));
                high = -1;
            }
        }
        return *this;
    }
    ByteBuilder& Append(const std::vector<std::uint8_t>& more) {
        bytes_.insert(bytes_.end(), more.begin(), more.end());
        return *this;
    }
    // Pads with zero bytes to a multiple of n.
    ByteBuilder& Align(std::size_t n) {
        while (bytes_.size() % n) bytes_.push_back(0);
        return *this;
    }
    // Overwrites a 16-bit or 32-bit field written earlier (sizes known only at the end).
    ByteBuilder& PatchU16(std::size_t at, unsigned v) {
        bytes_.at(at) = static_cast<std::uint8_t>(v & 0xFF);
        bytes_.at(at + 1) = static_cast<std::uint8_t>((v >> 8) & 0xFF);
        return *this;
    }
    ByteBuilder& PatchU32(std::size_t at, std::uint32_t v) {
        PatchU16(at, v & 0xFFFF);
        return PatchU16(at + 2, v >> 16);
    }

    std::size_t Size() const { return bytes_.size(); }
    const std::vector<std::uint8_t>& Bytes() const { return bytes_; }
    operator std::vector<std::uint8_t>() const { return bytes_; }

private:
    std::vector<std::uint8_t> bytes_;
};

}  // namespace vt::test
