#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "model/StreamWrapper.h"
#include "runtime/Exception.h"

namespace vt {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Written(const std::function<void(TStreamWrapper&)>& write) {
    MemoryStream stream;
    TStreamWrapper w(stream);
    write(w);
    return stream.Bytes();
}

// U+1F600 (a non-BMP character) in the platform's wide form.
std::wstring Grin() { return sizeof(wchar_t) == 2 ? std::wstring(L"\xD83D\xDE00") : std::wstring(1, wchar_t(0x1F600)); }

TEST(StreamWrapper, WritesEachPrimitiveByteExact) {
    StringList one;
    one.Add(L"a");
    const std::vector<std::int32_t> ints{7, -1};
    struct Case {
        const char* what;
        std::function<void(TStreamWrapper&)> write;
        Bytes bytes;
    };
    const Case cases[] = {
        {"Integer", [](auto& w) { w.Write(std::int32_t(0x12345678)); }, {0x78, 0x56, 0x34, 0x12}},
        {"negative Integer", [](auto& w) { w.Write(std::int32_t(-2)); }, {0xFE, 0xFF, 0xFF, 0xFF}},
        {"Word", [](auto& w) { w.Write(std::uint16_t(0xBEEF)); }, {0xEF, 0xBE}},
        {"Booleans", [](auto& w) { w.Write(true), w.Write(false); }, {1, 0}},
        {"3-char string", [](auto& w) { w.Write(L"abc"); }, {3, 0, 0, 0, 'a', 0, 'b', 0, 'c', 0}},
        {"empty string", [](auto& w) { w.Write(std::wstring()); }, {0, 0, 0, 0}},
        {"non-BMP string", [](auto& w) { w.Write(Grin()); }, {2, 0, 0, 0, 0x3D, 0xD8, 0x00, 0xDE}},
        {"BMP non-ASCII", [](auto& w) { w.Write(L"\x00E9\x0416"); }, {2, 0, 0, 0, 0xE9, 0x00, 0x16, 0x04}},
        {"nil string list", [](auto& w) { w.Write(static_cast<const StringList*>(nullptr)); }, {0}},
        {"empty string list", [](auto& w) { w.Write(StringList()); }, {1, 0, 0, 0, 0}},
        {"string list", [&](auto& w) { w.Write(one); }, {1, 1, 0, 0, 0, 1, 0, 0, 0, 'a', 0}},
        {"nil Integer list", [](auto& w) { w.Write(std::unique_ptr<std::vector<std::int32_t>>()); }, {0}},
        {"Integer list", [&](auto& w) { w.Write(ints); }, {1, 2, 0, 0, 0, 7, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}},
        {"raw signature", [](auto& w) { w.WriteBytes("VT_SCAN", 7); }, {'V', 'T', '_', 'S', 'C', 'A', 'N'}},
    };
    for (const auto& c : cases) EXPECT_EQ(Written(c.write), c.bytes) << c.what;
}

TEST(StreamWrapper, ReadsBackWhatItWrote) {
    StringList names;
    for (const auto* s : {L"", L"C:\\Temp\\a.txt", L"HKEY_CURRENT_USER\\Software\\\\Value"}) names.Add(s);
    names.Add(Grin() + L"x");
    MemoryStream stream;
    TStreamWrapper w(stream);
    w.WriteBytes("VT_SCAN", 7);
    w.Write(std::int32_t(-123456));
    w.Write(std::uint16_t(65535));
    w.Write(true);
    w.Write(Grin());
    w.Write(names);
    w.Write(std::vector<std::int32_t>{0, INT32_MIN, INT32_MAX});

    stream.SetPosition(0);
    char signature[7];
    w.ReadBytes(signature, 7);
    EXPECT_EQ(std::string(signature, 7), "VT_SCAN");
    EXPECT_EQ(w.ReadInteger(), -123456);
    EXPECT_EQ(w.ReadWord(), 65535);
    EXPECT_TRUE(w.ReadBoolean());
    EXPECT_EQ(w.ReadString(), Grin());
    std::unique_ptr<StringList> list;
    w.Read(list);
    ASSERT_TRUE(list);
    ASSERT_EQ(list->Count(), names.Count());
    for (int i = 0; i < names.Count(); ++i) EXPECT_EQ(list->Get(i), names.Get(i));
    std::unique_ptr<std::vector<std::int32_t>> ints;
    w.Read(ints);
    ASSERT_TRUE(ints);
    EXPECT_EQ(*ints, (std::vector<std::int32_t>{0, INT32_MIN, INT32_MAX}));
    EXPECT_EQ(stream.Position(), stream.Size());
}

TEST(StreamWrapper, ListPresenceFlagDecidesTheTargetsFate) {
    // Flag False frees the list; flag True clears an existing one or creates one.
    MemoryStream stream(Bytes{0, 1, 1, 0, 0, 0, 1, 0, 0, 0, 'z', 0, 0, 1, 1, 0, 0, 0, 9, 0, 0, 0});
    TStreamWrapper w(stream);
    auto strings = std::make_unique<StringList>();
    strings->Add(L"old");
    w.Read(strings);
    EXPECT_FALSE(strings);

    strings = std::make_unique<StringList>();
    strings->Add(L"old");
    const StringList* before = strings.get();
    w.Read(strings);
    ASSERT_TRUE(strings);
    EXPECT_EQ(strings.get(), before);
    ASSERT_EQ(strings->Count(), 1);
    EXPECT_EQ(strings->Get(0), L"z");

    auto ints = std::make_unique<std::vector<std::int32_t>>(3, 5);
    w.Read(ints);
    EXPECT_FALSE(ints);
    w.Read(ints);
    ASSERT_TRUE(ints);
    EXPECT_EQ(*ints, std::vector<std::int32_t>{9});
}

TEST(StreamWrapper, LenientReadsOfOddValues) {
    MemoryStream stream(Bytes{2, 0xFF, 0xFF, 0xFF, 0xFF, 'n', 0});
    TStreamWrapper w(stream);
    EXPECT_TRUE(w.ReadBoolean());           // any non-zero byte is True
    EXPECT_EQ(w.ReadString(), L"");         // a negative count reads as empty ...
    EXPECT_EQ(stream.Position(), 5);        // ... and consumes nothing more
}

TEST(StreamWrapper, TruncatedInputRaisesTheReadError) {
    struct Case {
        const char* what;
        Bytes bytes;
        std::function<void(TStreamWrapper&)> read;
    };
    const Case cases[] = {
        {"empty Integer", {}, [](auto& w) { w.ReadInteger(); }},
        {"short Integer", {1, 2, 3}, [](auto& w) { w.ReadInteger(); }},
        {"short Word", {1}, [](auto& w) { w.ReadWord(); }},
        {"empty Boolean", {}, [](auto& w) { w.ReadBoolean(); }},
        {"string body", {3, 0, 0, 0, 'a', 0, 'b'}, [](auto& w) { w.ReadString(); }},
        {"huge count", {0xFF, 0xFF, 0xFF, 0x7F, 'a', 0}, [](auto& w) { w.ReadString(); }},
        {"list item", {1, 2, 0, 0, 0, 0, 0, 0, 0}, [](auto& w) { std::unique_ptr<StringList> l; w.Read(l); }},
        {"list count", {1, 2, 0}, [](auto& w) { std::unique_ptr<std::vector<std::int32_t>> l; w.Read(l); }},
        {"signature", {'V', 'T'}, [](auto& w) { char b[7]; w.ReadBytes(b, 7); }},
    };
    for (const auto& c : cases) {
        MemoryStream stream(c.bytes);
        TStreamWrapper w(stream);
        try {
            c.read(w);
            ADD_FAILURE() << c.what << ": no error";
        } catch (const Exception& e) {
            EXPECT_EQ(e.Message(), L"Stream read error") << c.what;
        }
    }
}

}  // namespace
}  // namespace vt
