#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "model/StreamWrapper.h"
#include "runtime/Exception.h"

namespace vt {
namespace {

using Bytes = std::vector<std::uint8_t>;

// U+1F600 (a non-BMP character) in the platform's wide form.
std::wstring Grin() { return sizeof(wchar_t) == 2 ? std::wstring(L"\xD83D\xDE00") : std::wstring(1, wchar_t(0x1F600)); }

enum class Kind { Integer, Boolean, Word, String, Strings, Integers, Signature };

// Reads one primitive of this kind from r and writes what it read to w.
void Copy(Kind kind, TStreamWrapper& r, TStreamWrapper& w) {
    std::unique_ptr<StringList> strings;
    std::unique_ptr<std::vector<std::int32_t>> integers;
    char signature[7];
    switch (kind) {
        case Kind::Integer: return w.Write(r.ReadInteger());
        case Kind::Boolean: return w.Write(r.ReadBoolean());
        case Kind::Word: return w.Write(r.ReadWord());
        case Kind::String: return w.Write(r.ReadString());
        case Kind::Strings: return r.Read(strings), w.Write(strings);
        case Kind::Integers: return r.Read(integers), w.Write(integers);
        case Kind::Signature: return r.ReadBytes(signature, 7), w.WriteBytes(signature, 7);
    }
}

TEST(StreamWrapper, EachPrimitiveIsByteExactReadsBackAndRefusesEveryTruncation) {
    StringList two;
    two.Add(L"a");
    two.Add(Grin());
    struct Case {
        const char* what;
        Kind kind;
        std::function<void(TStreamWrapper&)> write;
        Bytes bytes;
    };
    const Case cases[] = {
        {"Integer", Kind::Integer, [](auto& w) { w.Write(std::int32_t(0x12345678)); }, {0x78, 0x56, 0x34, 0x12}},
        {"Word", Kind::Word, [](auto& w) { w.Write(std::uint16_t(0xBEEF)); }, {0xEF, 0xBE}},
        {"Boolean", Kind::Boolean, [](auto& w) { w.Write(true); }, {1}},
        {"3-char string", Kind::String, [](auto& w) { w.Write(L"abc"); }, {3, 0, 0, 0, 'a', 0, 'b', 0, 'c', 0}},
        {"non-BMP string", Kind::String, [](auto& w) { w.Write(Grin()); }, {2, 0, 0, 0, 0x3D, 0xD8, 0x00, 0xDE}},
        {"nil string list", Kind::Strings, [](auto& w) { w.Write(static_cast<const StringList*>(nullptr)); }, {0}},
        {"empty string list", Kind::Strings, [](auto& w) { w.Write(StringList()); }, {1, 0, 0, 0, 0}},
        {"string list", Kind::Strings, [&](auto& w) { w.Write(two); },
         {1, 2, 0, 0, 0, 1, 0, 0, 0, 'a', 0, 2, 0, 0, 0, 0x3D, 0xD8, 0x00, 0xDE}},
        {"nil Integer list", Kind::Integers, [](auto& w) { w.Write(std::unique_ptr<std::vector<std::int32_t>>()); }, {0}},
        {"Integer list", Kind::Integers, [](auto& w) { w.Write(std::vector<std::int32_t>{7, INT32_MIN}); },
         {1, 2, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 0x80}},
        {"raw signature", Kind::Signature, [](auto& w) { w.WriteBytes("VT_SCAN", 7); }, {'V', 'T', '_', 'S', 'C', 'A', 'N'}},
    };
    for (const auto& c : cases) {
        MemoryStream written, copied;
        TStreamWrapper w(written), again(copied);
        c.write(w);
        EXPECT_EQ(written.Bytes(), c.bytes) << c.what;
        // What is read back writes the same bytes again, having consumed them all.
        written.SetPosition(0);
        Copy(c.kind, w, again);
        EXPECT_EQ(copied.Bytes(), c.bytes) << c.what;
        EXPECT_EQ(written.Position(), written.Size()) << c.what;
        for (std::size_t cut = 0; cut < c.bytes.size(); ++cut) {
            MemoryStream shortStream(c.bytes.data(), cut);
            TStreamWrapper r(shortStream);
            try {
                Copy(c.kind, r, again);
                ADD_FAILURE() << c.what << ": no error at " << cut << " bytes";
            } catch (const Exception& e) {
                EXPECT_EQ(e.Message(), L"Stream read error") << c.what << " at " << cut;
            }
        }
    }
}

TEST(StreamWrapper, ListPresenceFlagDecidesTheTargetsFate) {
    // Flag False frees the list; flag True refills an existing one or creates one.
    MemoryStream stream(Bytes{0, 1, 1, 0, 0, 0, 1, 0, 0, 0, 'z', 0, 0, 1, 1, 0, 0, 0, 9, 0, 0, 0});
    TStreamWrapper w(stream);
    auto strings = std::make_unique<StringList>();
    w.Read(strings);
    EXPECT_FALSE(strings);
    strings = std::make_unique<StringList>();
    strings->Add(L"old");
    const StringList* before = strings.get();
    w.Read(strings);
    ASSERT_EQ(strings.get(), before);
    EXPECT_EQ(strings->Text(), L"z\r\n");

    auto ints = std::make_unique<std::vector<std::int32_t>>(3, 5);
    w.Read(ints);
    EXPECT_FALSE(ints);
    w.Read(ints);
    ASSERT_TRUE(ints);
    EXPECT_EQ(*ints, std::vector<std::int32_t>{9});
}

TEST(StreamWrapper, ReadsOddValuesLenientlyButNeverPastTheEnd) {
    MemoryStream stream(Bytes{2, 0xFF, 0xFF, 0xFF, 0xFF, 'n', 0});
    TStreamWrapper w(stream);
    EXPECT_TRUE(w.ReadBoolean());     // any non-zero byte is True
    EXPECT_EQ(w.ReadString(), L"");   // a negative count reads as empty ...
    EXPECT_EQ(stream.Position(), 5);  // ... and consumes nothing more
    // A count far beyond the data fails rather than reading or allocating it.
    MemoryStream huge(Bytes{0xFF, 0xFF, 0xFF, 0x7F, 'a', 0});
    TStreamWrapper h(huge);
    EXPECT_THROW(h.ReadString(), Exception);
}

}  // namespace
}  // namespace vt
