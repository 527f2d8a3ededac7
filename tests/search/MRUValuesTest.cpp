#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "search/MRUValues.h"
#include "support/ByteBuilder.h"

namespace vt {
namespace {

using test::ByteBuilder;
using Bytes = std::vector<std::uint8_t>;

TEST(MRUListEx, ReadCountAndRemove) {
    struct Case {
        const char* what;
        Bytes value;
        std::vector<std::uint32_t> entries;
        int count;
        std::uint32_t removed;
        Bytes after;
    };
    const Case cases[] = {
        {"three entries, most recent 2", ByteBuilder().Hex("02000000 00000000 01000000 FFFFFFFF"), {2, 0, 1}, 3, 0,
         ByteBuilder().Hex("02000000 01000000 FFFFFFFF")},
        {"removing the most recent", ByteBuilder().Hex("02000000 00000000 01000000 FFFFFFFF"), {2, 0, 1}, 3, 2,
         ByteBuilder().Hex("00000000 01000000 FFFFFFFF")},
        {"number not in the list", ByteBuilder().Hex("0A000000 FFFFFFFF"), {10}, 1, 7,
         ByteBuilder().Hex("0A000000 FFFFFFFF")},
        {"only the terminator", ByteBuilder().Hex("FFFFFFFF"), {}, 0, 0, ByteBuilder().Hex("FFFFFFFF")},
        {"empty value", {}, {}, 0, 0, {}},
        {"stray bytes count as the rule is written", ByteBuilder().Hex("0000"), {}, -1, 0, ByteBuilder().Hex("0000")},
        {"last number is never looked at", ByteBuilder().Hex("05000000 06000000"), {5}, 1, 5,
         ByteBuilder().Hex("06000000")},
        {"bytes after the last whole number are dropped", ByteBuilder().Hex("01000000 FFFFFFFF 00"), {1}, 1, 1,
         ByteBuilder().Hex("FFFFFFFF")},
        {"duplicates all go", ByteBuilder().Hex("03000000 01000000 03000000 FFFFFFFF"), {3, 1, 3}, 3, 3,
         ByteBuilder().Hex("01000000 FFFFFFFF")},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(ReadMRUListEx(c.value), c.entries) << c.what;
        EXPECT_EQ(MRUListExEntryCount(c.value), c.count) << c.what;
        EXPECT_EQ(RemoveFromMRUListEx(c.value, c.removed), c.after) << c.what;
    }
    EXPECT_EQ(RemoveFromMRUList(L"cab", L'b'), L"ca");
    EXPECT_EQ(RemoveFromMRUList(L"aBba", L'b'), L"aBa");
}

// A "RecentDocs" value: the document's name, then the shortcut's file entry
// item (type 0x32; RecentDocs leaves size, times and attributes 0) with its
// 8.3 name and 0xBEEF0004 block, then the list's zero size.
Bytes RecentDocsValue(std::u16string_view name, std::string_view shortcut83, unsigned version,
                      std::u16string_view shortcutLong) {
    ByteBuilder b;
    b.Utf16Z(name);
    const std::size_t itemAt = b.Size();
    b.U16(0).U8(0x32).U8(0).U32(0).U32(0).U16(0).AsciiZ(shortcut83);
    if ((b.Size() - itemAt) % 2) b.U8(0);
    const std::size_t blockAt = b.Size();
    const unsigned longNameAt = version >= 9 ? 0x2E : version == 8 ? 0x2A : version == 7 ? 0x26 : 0x14;
    b.U16(0).U16(version).U32(0xBEEF0004u).U32(0).U32(0).U16(longNameAt);
    if (version >= 7) b.U16(0).U64(0).Zeros(8);
    b.U16(0);
    if (version >= 9) b.U32(0);
    if (version >= 8) b.U32(0);
    b.Utf16Z(shortcutLong).U16(static_cast<unsigned>(blockAt - itemAt));
    b.PatchU16(blockAt, static_cast<unsigned>(b.Size() - blockAt));
    b.PatchU16(itemAt, static_cast<unsigned>(b.Size() - itemAt));
    return b.U16(0);
}

TEST(RecentDocsEntry, TextAndShortcut) {
    struct Case {
        const char* what;
        Bytes value;
        std::wstring text;
        std::wstring shortcut;
        std::wstring shortcut83;
    };
    const Case cases[] = {
        {"Windows 10 document", RecentDocsValue(u"report.docx", "REPORT~1.LNK", 9, u"report.docx.lnk"), L"report.docx",
         L"report.docx.lnk", L"REPORT~1.LNK"},
        {"Windows 10 folder", RecentDocsValue(u"Downloads", "DOWNLO~1.LNK", 9, u"Downloads.lnk"), L"Downloads",
         L"Downloads.lnk", L"DOWNLO~1.LNK"},
        {"Windows 7 name outside Latin-1", RecentDocsValue(u"отчёт.xlsx", "9C0C~1.LNK", 8, u"отчёт.xlsx.lnk"),
         L"отчёт.xlsx", L"отчёт.xlsx.lnk", L"9C0C~1.LNK"},
        {"Windows XP document (block version 3)",
         RecentDocsValue(u"Lebenslauf.doc", "LEBENS~1.LNK", 3, u"Lebenslauf.doc.lnk"), L"Lebenslauf.doc",
         L"Lebenslauf.doc.lnk", L"LEBENS~1.LNK"},
        {"name only", ByteBuilder().Utf16Z(u"a.txt"), L"a.txt", L"", L""},
        {"too short for shell data", ByteBuilder().Hex("41 00"), L"A", L"", L""},
        {"empty value", {}, L"", L"", L""},
    };
    for (const auto& c : cases) {
        const RecentDocsEntry entry = ParseRecentDocsEntry(c.value);
        EXPECT_EQ(entry.Text, c.text) << c.what;
        EXPECT_EQ(MRUValueText(c.value), c.text) << c.what;
        EXPECT_EQ(entry.ShortcutName, c.shortcut) << c.what;
        if (!c.shortcut83.empty()) {
            ASSERT_EQ(entry.ShellData.Items.size(), 1u) << c.what;
            EXPECT_EQ(entry.ShellData.Items[0].ShortName, c.shortcut83) << c.what;
            // The decoded long name agrees with the scan the cleaner uses.
            EXPECT_EQ(entry.ShellData.Items[0].Name, c.shortcut) << c.what;
        }
    }
}

}  // namespace
}  // namespace vt
