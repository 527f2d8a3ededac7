#include "Journal.h"

#include <gtest/gtest.h>

namespace vt::backvault {
namespace {

std::vector<std::uint8_t> Utf16Bytes(std::u16string_view text, bool terminated = true) {
    std::vector<std::uint8_t> bytes;
    for (char16_t c : text) {
        bytes.push_back(static_cast<std::uint8_t>(c & 0xFF));
        bytes.push_back(static_cast<std::uint8_t>(c >> 8));
    }
    if (terminated) bytes.insert(bytes.end(), {0, 0});
    return bytes;
}

// What a clean of Explorer traces records: a recent-items shortcut with a
// non-Latin name (read-only, hidden), its folder, a typed path (REG_SZ), an
// MRU order (REG_BINARY) and the whole RecentDocs key with a sub-key.
std::vector<Entry> CleanOfExplorerTraces() {
    Entry shortcut;
    shortcut.kind = EntryKind::File;
    shortcut.seq = 1;
    shortcut.path = L"C:\\users\\root\\AppData\\Roaming\\Microsoft\\Windows\\Recent\\\u041E\u0442\u0447\u0451\u0442 \u65E5\u672C.docx.lnk";
    shortcut.content = L"files\\1";
    shortcut.method = L"move";
    shortcut.attributes = 0x23;  // read-only, hidden, archive
    shortcut.created = 133449984000000000;
    shortcut.accessed = 133449984123456789;
    shortcut.written = 133449984000000001;
    shortcut.size = 1537;

    Entry folder;
    folder.kind = EntryKind::Folder;
    folder.seq = 2;
    folder.path = L"C:\\users\\root\\AppData\\Local\\Temp\\~DF3A21";
    folder.attributes = 0x10;
    folder.created = folder.accessed = folder.written = 133449984000000000;

    Entry typed;
    typed.kind = EntryKind::Value;
    typed.seq = 3;
    typed.key = L"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\TypedPaths";
    typed.existed = true;
    typed.value = ValueImage{L"url1", 1, Utf16Bytes(u"C:\\Users\\root\\Documents")};

    Entry absent;
    absent.kind = EntryKind::Value;
    absent.seq = 4;
    absent.key = typed.key;
    absent.existed = false;
    absent.value.name = L"url2";

    Entry recent;
    recent.kind = EntryKind::Key;
    recent.seq = 5;
    recent.key = L"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\RecentDocs";
    recent.tree.values = {ValueImage{L"MRUListEx", 3, {0x01, 0, 0, 0, 0x00, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}},
                          ValueImage{L"", 1, Utf16Bytes(u"")}};
    KeyImage docx;
    docx.name = L".docx";
    docx.values = {ValueImage{L"0", 3, Utf16Bytes(u"\u041E\u0442\u0447\u0451\u0442.docx")},
                   ValueImage{L"Count", 4, {0x02, 0, 0, 0}},
                   ValueImage{L"Last", 11, {0x10, 0x32, 0x54, 0x76, 0x98, 0xBA, 0xDC, 0xFE}},
                   ValueImage{L"Paths", 7, Utf16Bytes(u"C:\\a\0C:\\b\0", true)},
                   ValueImage{L"Home", 2, Utf16Bytes(u"%USERPROFILE%\\Documents")}};
    recent.tree.keys = {docx};

    Entry created;
    created.kind = EntryKind::CreatedKey;
    created.seq = 6;
    created.key = L"HKEY_CURRENT_USER\\Software\\Vantrel\\Test";
    return {shortcut, folder, typed, absent, recent, created};
}

void ExpectSameKey(const KeyImage& a, const KeyImage& b) {
    EXPECT_EQ(a.name, b.name);
    ASSERT_EQ(a.values.size(), b.values.size());
    for (std::size_t i = 0; i < a.values.size(); ++i) {
        EXPECT_EQ(a.values[i].name, b.values[i].name);
        EXPECT_EQ(a.values[i].type, b.values[i].type);
        EXPECT_EQ(a.values[i].data, b.values[i].data);
    }
    ASSERT_EQ(a.keys.size(), b.keys.size());
    for (std::size_t i = 0; i < a.keys.size(); ++i) ExpectSameKey(a.keys[i], b.keys[i]);
}

std::string Write(const std::vector<Entry>& entries) {
    std::string text = SessionLine(L"20261123-152041-1a2b", L"Clean of \u00E9t\u00E9 traces", 133449984000000000);
    for (const Entry& e : entries) text += EntryLine(e);
    return text;
}

TEST(Journal, EveryKindOfEntryReadsBackAsWritten) {
    const std::vector<Entry> entries = CleanOfExplorerTraces();
    const Journal journal = ParseJournal(Write(entries) + EndLine(133449985000000000));
    EXPECT_EQ(journal.id, L"20261123-152041-1a2b");
    EXPECT_EQ(journal.description, L"Clean of \u00E9t\u00E9 traces");
    EXPECT_EQ(journal.start, 133449984000000000);
    ASSERT_TRUE(journal.end.has_value());
    EXPECT_EQ(*journal.end, 133449985000000000);
    EXPECT_EQ(journal.damagedLines, 0);
    ASSERT_EQ(journal.entries.size(), entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const Entry &want = entries[i], &got = journal.entries[i];
        SCOPED_TRACE(i);
        EXPECT_EQ(got.kind, want.kind);
        EXPECT_EQ(got.seq, want.seq);
        EXPECT_EQ(got.path, want.path);
        EXPECT_EQ(got.content, want.content);
        EXPECT_EQ(got.method, want.method);
        EXPECT_EQ(got.attributes, want.attributes);
        EXPECT_EQ(got.created, want.created);
        EXPECT_EQ(got.accessed, want.accessed);
        EXPECT_EQ(got.written, want.written);
        EXPECT_EQ(got.size, want.size);
        EXPECT_EQ(got.key, want.key);
        EXPECT_EQ(got.existed, want.existed);
        EXPECT_EQ(got.value.name, want.value.name);
        EXPECT_EQ(got.value.type, want.value.type);
        EXPECT_EQ(got.value.data, want.value.data);
        ExpectSameKey(got.tree, want.tree);
    }
    EXPECT_EQ(journal.FileCount(), 2);
    EXPECT_EQ(journal.RegistryCount(), 4);
    EXPECT_EQ(journal.Bytes(), 1537);
    EXPECT_EQ(journal.entries[2].Location(),
              L"HKEY_CURRENT_USER\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\TypedPaths\\\\url1");
}

TEST(Journal, DamageAndInterruptionsAreToldApart) {
    const std::string whole = Write(CleanOfExplorerTraces());
    const std::string lastLine = EntryLine(CleanOfExplorerTraces()[0]);
    struct Case {
        const char* name;
        std::string text;
        std::size_t entries;
        int damaged;
        bool ended;
        std::size_t restores;
    } cases[] = {
        {"killed mid-session: no end", whole, 6, 0, false, 0},
        // A crash while a line was written leaves it torn and without its newline.
        {"torn last line", whole + lastLine.substr(0, lastLine.size() / 2), 6, 0, false, 0},
        {"damaged line inside", whole + "{\"record\":\"file\",\"seq\":7,\"path\":12}\n" + EndLine(1), 6, 1, true, 0},
        {"bad hex in a value", whole + "{\"record\":\"value\",\"seq\":8,\"key\":\"HKEY_USERS\\\\x\",\"name\":\"a\","
                                       "\"existed\":true,\"type\":3,\"data\":\"0g\"}\n", 6, 1, false, 0},
        {"withdrawn entry leaves the list", whole + WithdrawnLine(1, L"The process cannot access the file"), 5, 0, false, 0},
        {"record of a later version is skipped", whole + "{\"record\":\"snapshot\",\"seq\":9}\n", 6, 0, false, 0},
        {"restored twice", whole + EndLine(2) + RestoredLine({3, 6, 0}) + RestoredLine({4, 0, 0}), 6, 0, true, 2},
        {"Windows line ends", [&] {
             std::string crlf;
             for (char c : whole) crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
             return crlf;
         }(), 6, 0, false, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const Journal journal = ParseJournal(c.text);
        EXPECT_EQ(journal.entries.size(), c.entries);
        EXPECT_EQ(journal.damagedLines, c.damaged);
        EXPECT_EQ(journal.end.has_value(), c.ended);
        EXPECT_EQ(journal.restores.size(), c.restores);
        EXPECT_EQ(journal.id, L"20261123-152041-1a2b");
    }
    EXPECT_EQ(ParseJournal(whole + WithdrawnLine(1, L"locked")).Bytes(), 0);
}

TEST(Journal, HexRejectsWhatIsNotHex) {
    EXPECT_EQ(ToHex({0x00, 0xAB, 0xFF}), "00abff");
    EXPECT_EQ(FromHex("00ABff"), (std::vector<std::uint8_t>{0x00, 0xAB, 0xFF}));
    for (const char* bad : {"0", "0g", "zz", "0 "}) EXPECT_FALSE(FromHex(bad).has_value()) << bad;
}

}  // namespace
}  // namespace vt::backvault
