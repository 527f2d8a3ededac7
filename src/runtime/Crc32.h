// CRC-32 as IEEE 802.3 defines it (reflected polynomial 0xEDB88320, initial
// value and final XOR 0xFFFFFFFF): the checksum of the enciphered record files.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vt {

class HashCRC32 {
public:
    // CRC-32 of count bytes at buffer; buffer may be null only when count is 0
    // (otherwise E_POINTER).
    static std::uint32_t FromBuffer(const void* buffer, std::size_t count);
    // The same for a signed count; a negative count raises the general error
    // "Range check error".
    static std::uint32_t FromBuffer(const void* buffer, int count);

    // Continues a running CRC: start from 0, feed the pieces in order, and the
    // result equals FromBuffer of the whole. Same null rule as FromBuffer.
    static std::uint32_t Update(std::uint32_t crc, const void* buffer, std::size_t count);
};

}  // namespace vt
