#include "runtime/Crc32.h"

#include <array>

#include "runtime/Exception.h"

namespace vt {

namespace {

constexpr std::array<std::uint32_t, 256> MakeTable() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t c = i;
        for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        table[i] = c;
    }
    return table;
}

constexpr std::array<std::uint32_t, 256> kTable = MakeTable();

}  // namespace

std::uint32_t HashCRC32::Update(std::uint32_t crc, const void* buffer, std::size_t count) {
    if (count == 0) return crc;
    if (buffer == nullptr) ThrowNullPointer();
    const auto* p = static_cast<const std::uint8_t*>(buffer);
    std::uint32_t c = crc ^ 0xFFFFFFFFu;
    for (std::size_t i = 0; i < count; ++i) c = kTable[(c ^ p[i]) & 0xFFu] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

std::uint32_t HashCRC32::FromBuffer(const void* buffer, std::size_t count) { return Update(0, buffer, count); }

std::uint32_t HashCRC32::FromBuffer(const void* buffer, int count) {
    if (count < 0) ThrowGeneral(L"Range check error");
    return Update(0, buffer, static_cast<std::size_t>(count));
}

}  // namespace vt
