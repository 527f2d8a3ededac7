// Our own readers of browser files: the LZ4 block decoder behind Firefox's
// "mozLz40" session files, and the INI reader of "profiles.ini".
#include <gtest/gtest.h>

#include "FirefoxStores.h"
#include "Ini.h"
#include "MozLz4.h"
#include "TestSupport.h"

namespace kxb::test {
namespace {

#include "SessionFixture.inc"

std::string Bytes(std::initializer_list<int> bytes) {
    std::string s;
    for (int b : bytes) s.push_back(static_cast<char>(b));
    return s;
}

std::string MozFile(std::uint32_t size, const std::string& block) {
    std::string file("mozLz40\0", 8);
    for (int i = 0; i < 4; ++i) file.push_back(static_cast<char>((size >> (8 * i)) & 0xFF));
    return file + block;
}

TEST(MozLz4, DecodesWhatTheReferenceCompressorWrote) {
    const std::string file(reinterpret_cast<const char*>(kSessionFixture), sizeof kSessionFixture);
    const auto json = DecodeMozLz4(file);
    ASSERT_TRUE(json);
    EXPECT_EQ(json->size(), 2263u);
    EXPECT_EQ(json->substr(0, 36), R"({"version":["sessionrestore",1],"win)");
    EXPECT_EQ(json->back(), '}');

    std::vector<std::pair<std::string, std::string>> tabs;
    ASSERT_TRUE(ReadSessionTabs(file, tabs));
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"https://www.mozilla.org/en-US/firefox/", "Firefox \xE2\x80\x93 Protect your life online with privacy-first products"},
        {"https://ru.wikipedia.org/wiki/%D0%A1%D0%BB%D0%BE%D0%BD",
         "\xD0\xA1\xD0\xBB\xD0\xBE\xD0\xBD \xE2\x80\x94 \xD0\x92\xD0\xB8\xD0\xBA\xD0\xB8\xD0\xBF\xD0\xB5\xD0\xB4\xD0\xB8\xD1\x8F"},
        {"https://developer.mozilla.org/en-US/docs/Web/HTTP/Cookies", "Using HTTP cookies - HTTP | MDN"},
    };
    EXPECT_EQ(tabs, expected);
}

TEST(MozLz4, DecodesBlocksByTheFormatsRules) {
    struct Case {
        const char* name;
        std::string block;
        std::uint32_t size;
        std::optional<std::string> expected;
    };
    const std::string long300(300, 'L');
    const Case cases[] = {
        {"empty block", Bytes({0x00}), 0, std::string()},
        {"overlapping match repeats", Bytes({0x35, 'a', 'b', 'c', 0x03, 0x00, 0x10, 'a'}), 13, "abcabcabcabca"},
        {"run of one byte", Bytes({0x1F, 'z', 0x01, 0x00, 0x05, 0x00}), 25, std::string(25, 'z')},
        {"literal length continued", Bytes({0xF0, 255, 30}) + long300, 300, long300},
        {"offset zero", Bytes({0x14, 'a', 0x00, 0x00, 0x10, 'b'}), 10, std::nullopt},
        {"offset before the start", Bytes({0x14, 'a', 0x05, 0x00, 0x10, 'b'}), 10, std::nullopt},
        {"literals past the input", Bytes({0x50, 'a', 'b'}), 5, std::nullopt},
        {"match past the output", Bytes({0x1F, 'z', 0x01, 0x00, 0x40}), 10, std::nullopt},
        {"offset cut off", Bytes({0x14, 'a', 0x01}), 9, std::nullopt},
        {"length continuation cut off", Bytes({0xF0, 255}), 300, std::nullopt},
        {"shorter than announced", Bytes({0x30, 'a', 'b', 'c'}), 4, std::nullopt},
        {"longer than announced", Bytes({0x30, 'a', 'b', 'c'}), 2, std::nullopt},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(DecodeMozLz4(MozFile(c.size, c.block)), c.expected) << c.name;
    }
    EXPECT_FALSE(DecodeMozLz4(MozFile(kMozLz4MaxSize + 1, Bytes({0x00}))));
    EXPECT_FALSE(DecodeMozLz4("mozLz40"));
    EXPECT_FALSE(DecodeMozLz4(std::string("mozLz41\0", 8) + Bytes({1, 0, 0, 0, 0x10, 'a'})));
}

TEST(ProfilesIni, ListsRelativeAndAbsoluteProfilesOnce) {
    const fs::path root = fs::path("ff");
    const std::string absolute = Utf8Path(fs::path("elsewhere") / PathFromUtf8("\xD0\x9B\xD0\xB8\xD1\x87\xD0\xBD\xD1\x8B\xD0\xB9"));
    const std::string ini =
        "\xEF\xBB\xBF[Install308046B0AF4A39CB]\r\nDefault=Profiles/abcd1234.default-release\r\nLocked=1\r\n\r\n"
        "[Profile1]\r\nName=default\r\nIsRelative=1\r\nPath=Profiles/wxyz9876.default\r\nDefault=1\r\n\r\n"
        "[Profile0]\r\nName=default-release\r\nIsRelative=1\r\nPath=Profiles/abcd1234.default-release\r\n\r\n"
        "; a comment\r\n[Profile2]\r\nName=\xD0\x9B\xD0\xB8\xD1\x87\xD0\xBD\xD1\x8B\xD0\xB9\r\nIsRelative=0\r\nPath=" +
        absolute +
        "\r\n\r\n[Profile3]\r\nName=copy\r\nIsRelative=1\r\nPath=Profiles\\wxyz9876.default\r\n"
        "[Profile4]\r\nName=no path\r\nIsRelative=1\r\n"
        "[General]\r\nStartWithLastProfile=1\r\nVersion=2\r\n";
    const auto profiles = ReadProfilesIni(ini, root);
    ASSERT_EQ(profiles.size(), 3u);
    EXPECT_EQ(profiles[0].folder, root / "Profiles" / "wxyz9876.default");
    EXPECT_EQ(profiles[1].folder, root / "Profiles" / "abcd1234.default-release");
    EXPECT_EQ(profiles[1].name, "default-release");
    EXPECT_EQ(profiles[2].folder, PathFromUtf8(absolute));

    const auto sections = ParseIni("Orphan=1\n[Compatibility]\nLastVersion = 120.0_20231129155341/20231129155341\n[Broken\nx=1");
    ASSERT_EQ(sections.size(), 1u);
    EXPECT_EQ(sections[0].Get("LastVersion"), "120.0_20231129155341/20231129155341");
    EXPECT_EQ(sections[0].Get("x"), "1");  // an unclosed header line is skipped, not a new section
}

}  // namespace
}  // namespace kxb::test
