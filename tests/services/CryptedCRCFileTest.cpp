#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/Exception.h"
#include "runtime/FileSystem.h"
#include "services/CryptedCRCFile.h"
#include "TempFolder.h"

namespace vt {
namespace {

using namespace std::string_literals;
using Bytes = std::vector<std::uint8_t>;

// Exposes the record operations the derived containers use.
class RecordFile : public TCryptedFile {
public:
    using TCryptedFile::TCryptedFile;
    using TCryptedFile::LoadRecord;

    void Add(std::int32_t id, const StringList& list) { AddRecord(id, list); }
    void Append(std::int32_t id, const std::wstring& text, int addedLines) {
        CryptedFileUpdate update(*this, false);
        TCryptedRecordHeader h;
        ASSERT_TRUE(FindRecord(id, h));
        h.Count += addedLines;
        AppendToRecord(h, text);
    }
    bool Load(std::int32_t id, StringList& list) { return LoadRecord(id, list); }
};

StringList Lines(std::initializer_list<const wchar_t*> lines, bool sorted = false) {
    StringList list;
    for (const auto* line : lines) list.Add(line);
    list.SetSorted(sorted);
    return list;
}

// CRC-32 bit by bit, independent of the runtime's table-driven one.
std::uint32_t BitwiseCrc32(const Bytes& bytes) {
    std::uint32_t crc = 0xFFFFFFFFu;
    for (std::uint8_t b : bytes) {
        crc ^= b;
        for (int i = 0; i < 8; ++i) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

// The enciphered bytes of UTF-16 text, computed from the key constant
// directly: the low byte of unit i is XORed with key[(start - 1 + i) mod 203] + salt.
Bytes Enciphered(const std::u16string& text, int startIndex, std::uint8_t salt) {
    Bytes out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char16_t key = kIgnoreListKey[(static_cast<std::size_t>(startIndex) - 1 + i) % 203];
        out.push_back(static_cast<std::uint8_t>((text[i] & 0xFF) ^ static_cast<std::uint8_t>((key & 0xFF) + salt)));
        out.push_back(static_cast<std::uint8_t>(text[i] >> 8));
    }
    return out;
}

Bytes Concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const auto& p : parts) out.insert(out.end(), p.begin(), p.end());
    return out;
}

// A record: five little-endian 32-bit header fields, then the text.
Bytes Record(std::int32_t id, std::uint32_t crc, std::int32_t flag, std::int32_t count, const Bytes& text) {
    Bytes out;
    for (std::uint32_t v : {static_cast<std::uint32_t>(id), crc, static_cast<std::uint32_t>(flag),
                            static_cast<std::uint32_t>(count), static_cast<std::uint32_t>(text.size())})
        for (int i = 0; i < 4; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
    return Concat({out, text});
}

TEST(CryptedCRCFile, KeyNeverChanges) {
    // Files written with another key cannot be read back: pin the key's units.
    Bytes units;
    for (char16_t c : kIgnoreListKey) units.insert(units.end(), {std::uint8_t(c), std::uint8_t(c >> 8)});
    EXPECT_EQ(units.size(), 2u * 203);
    EXPECT_EQ(BitwiseCrc32(units), 0x70B93524u);
}

TEST(CryptedCRCFile, CipherTable) {
    struct Case {
        const char* name;
        std::u16string key;
        int index;
        std::uint8_t salt;
        std::u16string text, expected;
    };
    const Case cases[] = {
        // (0x5E + 0xA2) mod 256 = 0: the unit is unchanged.
        {"unit above 255 adds its low byte only", u"\u4E5E"s, 1, 0xA2, u"A"s, u"A"s},
        {"sum wraps modulo 256", u"\u01F0"s, 1, 0x20, u"A"s, u"Q"s},
        {"high byte of the text never changes", u"\x0F"s, 1, 0x00, u"\x0416\xD834"s, u"\x0419\xD83B"s},
        {"index wraps to 1 after the last unit", u"\x01\x02\x03"s, 3, 0, u"\0\0\0\0"s, u"\x03\x01\x02\x03"s},
        {"salt applies to every unit", u"\x01\x02"s, 1, 0x10, u"\0\0\0"s, u"\x11\x12\x11"s},
        {"empty text", u"\x01"s, 1, 7, u""s, u""s},
    };
    for (const auto& c : cases) {
        std::u16string text = c.text;
        TCryptedFile::CryptText(text, c.key, c.index, c.salt);
        EXPECT_EQ(text, c.expected) << c.name;
        TCryptedFile::CryptText(text, c.key, c.index, c.salt);
        EXPECT_EQ(text, c.text) << c.name << ": enciphering twice restores the text";
    }
    for (int bad : {0, 4, -1}) {
        std::u16string text = u"x";
        EXPECT_THROW(TCryptedFile::CryptText(text, u"abc", bad, 0), Exception) << bad;
    }
}

TEST(CryptedCRCFile, RecordBytesAreExact) {
    struct Case {
        const char* name;
        std::int32_t id;
        StringList list;
        bool checksum;
        std::u16string plain;
        std::int32_t flag;
    };
    const Case cases[] = {
        {"user list, salt 0xFF", -1, Lines({L"C:\\Temp\\\\*.log"}), false, u"C:\\Temp\\\\*.log\r\n", 0},
        {"salt is the low byte of the id", 0x1234, Lines({L"b", L"\u0416"}), false, u"b\r\n\u0416\r\n", 0},
        {"sorted list writes Flag -1", 7, Lines({L"a", L"b"}, true), false, u"a\r\nb\r\n", -1},
        {"checksum of the enciphered bytes", 3, Lines({L"HKCU\\Software"}), true, u"HKCU\\Software\r\n", 0},
    };
    for (const auto& c : cases) {
        test::TempFolder folder;
        RecordFile file(folder.Path(L"r.igl"), c.checksum);
        file.Add(c.id, c.list);
        const Bytes text = Enciphered(c.plain, 1, static_cast<std::uint8_t>(c.id));
        const std::uint32_t crc = c.checksum ? BitwiseCrc32(text) : 0;
        EXPECT_EQ(ReadWholeFile(file.FilePath()), Record(c.id, crc, c.flag, c.list.Count(), text)) << c.name;
    }
}

TEST(CryptedCRCFile, AppendContinuesTheKeyStream) {
    struct Case {
        int firstUnits;  // code units of the first text, CR LF included
        int appendIndex;
    };
    const Case cases[] = {{203, 1}, {10, 11}, {202, 203}, {406, 1}, {204, 2}};
    for (const auto& c : cases) {
        test::TempFolder folder;
        RecordFile file(folder.Path(L"r.igl"), false);
        const std::wstring first(static_cast<std::size_t>(c.firstUnits - 2), L'q');
        file.Add(5, Lines({first.c_str()}));
        file.Append(5, L"xyz\r\n", 1);

        const std::u16string firstPlain = std::u16string(first.begin(), first.end()) + u"\r\n";
        const Bytes text = Concat({Enciphered(firstPlain, 1, 5), Enciphered(u"xyz\r\n", c.appendIndex, 5)});
        EXPECT_EQ(ReadWholeFile(file.FilePath()), Record(5, 0, 0, 2, text)) << c.firstUnits;
        StringList loaded;
        EXPECT_TRUE(file.Load(5, loaded));
        EXPECT_EQ(loaded.Text(), first + L"\r\nxyz\r\n") << c.firstUnits;
    }
}

TEST(CryptedCRCFile, AppendInTheMiddleMovesLaterRecordsIntact) {
    for (bool checksum : {false, true}) {
        test::TempFolder folder;
        RecordFile file(folder.Path(L"r.igl"), checksum);
        file.Add(1, Lines({L"one"}));
        file.Add(2, Lines({L"two"}, true));
        file.Add(3, Lines({L"three", L"drei"}));
        const Bytes before = ReadWholeFile(file.FilePath());
        const std::size_t firstSize = 20 + 10, secondSize = 20 + 10;

        file.Append(2, L"zwei\r\n", 1);
        const Bytes text = Concat({Enciphered(u"two\r\n", 1, 2), Enciphered(u"zwei\r\n", 6, 2)});
        const Bytes expected = Concat({Bytes(before.begin(), before.begin() + firstSize),
                                       Record(2, checksum ? BitwiseCrc32(text) : 0, 0, 2, text),
                                       Bytes(before.begin() + firstSize + secondSize, before.end())});
        EXPECT_EQ(ReadWholeFile(file.FilePath()), expected) << "checksum " << checksum;

        StringList three;
        EXPECT_TRUE(file.Load(3, three));
        EXPECT_EQ(three.Text(), L"drei\r\nthree\r\n");  // stored unsorted: loads sorted
    }
}

TEST(CryptedCRCFile, LoadFollowsTheInvertedFlagAndChecksOnlyWhenAsked) {
    // The file holds "b", "a" in that order (Flag 0); each case flips bits of one field.
    struct Case {
        const char* name;
        bool checksum;
        std::size_t offset, length;  // bytes XORed with 0xFF (flag) or 0x01
        bool result, loadsSorted;
    };
    const Case cases[] = {
        {"Flag 0 loads sorted", false, 0, 0, true, true},
        {"Flag -1 loads in stored order", false, 8, 4, true, false},
        {"checksum intact", true, 0, 0, true, true},
        {"CRC field changed", true, 4, 1, false, true},
        {"text byte changed", true, 21, 1, false, true},
        {"checksums off ignore the CRC field", false, 4, 1, true, true},
    };
    for (const auto& c : cases) {
        test::TempFolder folder;
        RecordFile file(folder.Path(L"r.igl"), c.checksum);
        file.Add(9, Lines({L"b", L"a"}));
        Bytes bytes = ReadWholeFile(file.FilePath());
        for (std::size_t i = c.offset; i < c.offset + c.length; ++i) bytes[i] ^= c.length == 4 ? 0xFF : 0x01;
        ASSERT_TRUE(WriteWholeFile(file.FilePath(), bytes));

        StringList loaded;
        EXPECT_EQ(file.Load(9, loaded), c.result) << c.name;
        EXPECT_EQ(loaded.Sorted(), c.loadsSorted) << c.name;
        EXPECT_EQ(loaded.Count(), 2) << c.name << ": the list is filled either way";
        if (c.offset != 21) {  // a changed text byte changes a line
            EXPECT_EQ(loaded.Text(), c.loadsSorted ? L"a\r\nb\r\n" : L"b\r\na\r\n") << c.name;
        }
    }
}

TEST(CryptedCRCFile, LoadFromMissingFileCreatesFolderAndEmptyFile) {
    test::TempFolder folder;
    const std::wstring path = folder.Path(L"IgnoredLists\\deeper\\r.igl");
    RecordFile file(path, false);
    std::unique_ptr<StringList> list;
    EXPECT_FALSE(file.LoadRecord(1, list));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->Count(), 0);
    EXPECT_TRUE(list->CaseSensitive());
    EXPECT_EQ(FileSizeOf(path), 0);
    EXPECT_EQ(file.NowUpdating(), 0);

    // Even a read-only bracket creates the file.
    RecordFile reader(folder.Path(L"other\\r.igl"), false);
    reader.BeginUpdate(true);
    reader.EndUpdate();
    EXPECT_EQ(FileSizeOf(folder.Path(L"other\\r.igl")), 0);
}

TEST(CryptedCRCFile, CorruptFilesFailWithAnException) {
    const Bytes good = Record(1, 0, 0, 1, Enciphered(u"a\r\n", 1, 1));
    Bytes negative = Record(2, 0, 0, 1, {});
    negative[16] = negative[17] = negative[18] = negative[19] = 0xFF;  // Length -1
    struct Case {
        const char* name;
        Bytes bytes;
        std::int32_t id;
        HRESULT code;
    };
    const Case cases[] = {
        {"header cut short", Concat({good, Bytes(7, 0)}), 5, E_FAIL},
        {"negative length", negative, 2, E_FAIL},
        {"negative length of a skipped record", Concat({negative, good}), 1, E_FAIL},
        {"length beyond the end", Bytes(good.begin(), good.end() - 1), 1, E_FAIL},
        {"skipped record beyond the end", Bytes(good.begin(), good.end() - 1), 9, E_FAIL},
        {"odd length", Record(1, 0, 0, 1, Bytes(3, 0)), 1, E_FAIL},
        {"count zero", Record(1, 0, 0, 0, Enciphered(u"a\r\n", 1, 1)), 1, E_ILLEGAL_METHOD_CALL},
        {"count negative", Record(1, 0, 0, -3, Enciphered(u"a\r\n", 1, 1)), 1, E_ILLEGAL_METHOD_CALL},
        {"text without lines", Record(1, 0, 0, 1, {}), 1, E_ILLEGAL_METHOD_CALL},
    };
    for (const auto& c : cases) {
        test::TempFolder folder;
        RecordFile file(folder.Path(L"r.igl"), false);
        ASSERT_TRUE(ForceDirectories(folder.Root()));
        ASSERT_TRUE(WriteWholeFile(file.FilePath(), c.bytes));
        StringList list;
        try {
            file.Load(c.id, list);
            ADD_FAILURE() << c.name << ": no exception";
        } catch (const Exception& e) {
            EXPECT_EQ(e.Code(), c.code) << c.name << ": " << e.what();
            const std::wstring message = e.Message();
            EXPECT_TRUE(c.code == E_FAIL ? message.find(L"r.igl") != message.npos : message.empty()) << c.name;
        }
        EXPECT_EQ(file.NowUpdating(), 0) << c.name << ": the bracket is closed on failure";
    }
}

TEST(CryptedCRCFile, UpdateBracketsNestAndGuardDestruction) {
    test::TempFolder folder;
    RecordFile file(folder.Path(L"r.igl"), false);
    file.Add(1, Lines({L"x"}));

    // The first bracket's mode wins: inside a read-only bracket writing fails.
    file.BeginUpdate(true);
    EXPECT_THROW(file.Add(2, Lines({L"y"})), Exception);
    EXPECT_EQ(file.NowUpdating(), 1);
    try {
        file.Destroy();
        ADD_FAILURE() << "Destroy inside a bracket must raise";
    } catch (const Exception& e) {
        EXPECT_EQ(e.Code(), E_ILLEGAL_METHOD_CALL);
        EXPECT_EQ(e.Message(), L"Ignore List \"update\" counter is not nil!");
    }
    file.EndUpdate();
    EXPECT_NO_THROW(file.Destroy());
    EXPECT_THROW(file.EndUpdate(), Exception);

    // A read-write bracket lets nested writers through.
    file.BeginUpdate(false);
    file.Add(2, Lines({L"y"}));
    StringList y;
    EXPECT_TRUE(file.Load(2, y));
    file.EndUpdate();
    EXPECT_EQ(y.Text(), L"y\r\n");

    // A destructor inside a bracket releases the stream: the file opens for writing again.
    { RecordFile(file.FilePath(), false).BeginUpdate(false); }
    EXPECT_NO_THROW(file.Add(3, Lines({L"z"})));
}

}  // namespace
}  // namespace vt
