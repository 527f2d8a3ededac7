// Firefox's compressed session files: the 8 bytes "mozLz40\0", the size of
// the decompressed data as 4 bytes little-endian, then one LZ4 block.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kxb {

// Largest decompressed size accepted (a session of thousands of tabs is tens
// of megabytes); a larger header is treated as damage.
constexpr std::uint32_t kMozLz4MaxSize = 256u << 20;

// Decodes one LZ4 block (the block format, no frame) into exactly
// outSize bytes. False when the block is malformed, reads or writes out of
// bounds, or does not fill the output exactly.
bool DecodeLz4Block(const std::uint8_t* in, std::size_t inSize, std::uint8_t* out, std::size_t outSize);

// The decompressed contents of a "mozLz40" file; empty optional when the
// header or the block is damaged.
std::optional<std::string> DecodeMozLz4(std::string_view file);

}  // namespace kxb
