#include <gtest/gtest.h>

#include <string>

#include "runtime/Crc32.h"
#include "runtime/Exception.h"
#include "vantrel/ComTypes.h"

namespace vt {
namespace {

TEST(HashCRC32, KnownVectors) {
    const std::pair<std::string, std::uint32_t> cases[] = {
        {"", 0x00000000u},
        {"a", 0xE8B7BE43u},
        {"123456789", 0xCBF43926u},
        {"The quick brown fox jumps over the lazy dog", 0x414FA339u},
        {std::string(32, '\0'), 0x190A55ADu},
        {std::string(32, '\xFF'), 0xFF6CAB0Bu},
    };
    for (const auto& [bytes, crc] : cases) {
        EXPECT_EQ(HashCRC32::FromBuffer(bytes.data(), bytes.size()), crc) << bytes;
        EXPECT_EQ(HashCRC32::FromBuffer(bytes.data(), static_cast<int>(bytes.size())), crc) << bytes;
        // Fed in two pieces, the running form gives the same result.
        const std::size_t half = bytes.size() / 2;
        EXPECT_EQ(HashCRC32::Update(HashCRC32::Update(0, bytes.data(), half), bytes.data() + half, bytes.size() - half), crc);
    }
}

TEST(HashCRC32, BadArgumentsRaise) {
    const char byte = 0;
    try {
        HashCRC32::FromBuffer(&byte, -1);
        ADD_FAILURE() << "negative count accepted";
    } catch (const Exception& e) {
        EXPECT_EQ(e.Message(), L"Range check error");
    }
    EXPECT_EQ(HashCRC32::FromBuffer(nullptr, std::size_t{0}), 0u);
    try {
        HashCRC32::FromBuffer(nullptr, std::size_t{4});
        ADD_FAILURE() << "null buffer accepted";
    } catch (const Exception& e) {
        EXPECT_EQ(e.Code(), E_POINTER);
    }
}

}  // namespace
}  // namespace vt
