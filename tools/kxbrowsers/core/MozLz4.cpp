#include "MozLz4.h"

#include <cstring>

namespace kxb {

bool DecodeLz4Block(const std::uint8_t* in, std::size_t inSize, std::uint8_t* out, std::size_t outSize) {
    std::size_t ip = 0;
    std::size_t op = 0;
    // Reads a length continued by bytes of 255 (LZ4's variable-length form).
    auto extend = [&](std::size_t& length) {
        for (;;) {
            if (ip >= inSize) return false;
            const std::uint8_t b = in[ip++];
            length += b;
            if (length > outSize) return false;  // longer than the output can hold
            if (b != 255) return true;
        }
    };
    while (ip < inSize) {
        const std::uint8_t token = in[ip++];
        std::size_t literals = token >> 4;
        if (literals == 15 && !extend(literals)) return false;
        if (literals > inSize - ip || literals > outSize - op) return false;
        std::memcpy(out + op, in + ip, literals);
        ip += literals;
        op += literals;
        if (ip == inSize) break;  // the last sequence has literals only
        if (inSize - ip < 2) return false;
        const std::size_t offset = in[ip] | (static_cast<std::size_t>(in[ip + 1]) << 8);
        ip += 2;
        if (offset == 0 || offset > op) return false;
        std::size_t match = token & 15;
        if (match == 15 && !extend(match)) return false;
        match += 4;
        if (match > outSize - op) return false;
        // Byte by byte: a match may overlap the bytes it produces (runs).
        const std::uint8_t* from = out + op - offset;
        for (std::size_t k = 0; k < match; ++k) out[op + k] = from[k];
        op += match;
    }
    return op == outSize;
}

std::optional<std::string> DecodeMozLz4(std::string_view file) {
    static constexpr std::string_view kMagic("mozLz40\0", 8);
    if (file.size() < 12 || file.substr(0, 8) != kMagic) return std::nullopt;
    const auto* p = reinterpret_cast<const std::uint8_t*>(file.data());
    const std::uint32_t size = p[8] | (p[9] << 8) | (p[10] << 16) | (static_cast<std::uint32_t>(p[11]) << 24);
    if (size > kMozLz4MaxSize) return std::nullopt;
    std::string out(size, '\0');
    if (!DecodeLz4Block(p + 12, file.size() - 12, reinterpret_cast<std::uint8_t*>(out.data()), size))
        return std::nullopt;
    return out;
}

}  // namespace kxb
