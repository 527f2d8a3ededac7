#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "runtime/Crc32.h"
#include "runtime/Exception.h"
#include "runtime/FileSystem.h"
#include "services/CryptedCRCFile.h"
#include "vantrel/ComTypes.h"
#include "TempFolder.h"

namespace vt {
namespace {

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
};

StringList Lines(std::initializer_list<const wchar_t*> lines, bool sorted = false) {
    StringList list;
    for (const auto* line : lines) list.Add(line);
    list.SetSorted(sorted);
    return list;
}

std::uint32_t Crc32(const Bytes& bytes) { return HashCRC32::FromBuffer(bytes.data(), bytes.size()); }

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

// The record tests below check every byte against Enciphered, which walks
// the real key (units above 255, sums past 255, the wrap after 203 units).
TEST(CryptedCRCFile, KeyNeverChangesAndKeyIndexesStayInRange) {
    // Files written with another key cannot be read back: pin the key's units.
    Bytes units;
    for (char16_t c : kIgnoreListKey) units.insert(units.end(), {std::uint8_t(c), std::uint8_t(c >> 8)});
    EXPECT_EQ(Crc32(units), 0x70B93524u);
    for (int bad : {0, 204}) {
        std::u16string text = u"x";
        EXPECT_THROW(TCryptedFile::CryptText(text, kIgnoreListKey, bad, 0), Exception) << bad;
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
        const std::uint32_t crc = c.checksum ? Crc32(text) : 0;
        EXPECT_EQ(ReadWholeFile(file.FilePath()), Record(c.id, crc, c.flag, c.list.Count(), text)) << c.name;
    }
}

TEST(CryptedCRCFile, AppendContinuesTheKeyStreamAndWrapsAfter203Units) {
    // Code units of the first text (CR LF included), and the key index the appended text starts at.
    const std::pair<int, int> cases[] = {{10, 11}, {202, 203}, {203, 1}, {204, 2}};
    for (const auto& [firstUnits, appendIndex] : cases) {
        test::TempFolder folder;
        RecordFile file(folder.Path(L"r.igl"), false);
        const std::wstring first(static_cast<std::size_t>(firstUnits - 2), L'q');
        file.Add(5, Lines({first.c_str()}));
        file.Append(5, L"xyz\r\n", 1);

        const std::u16string firstPlain = std::u16string(first.begin(), first.end()) + u"\r\n";
        const Bytes text = Concat({Enciphered(firstPlain, 1, 5), Enciphered(u"xyz\r\n", appendIndex, 5)});
        EXPECT_EQ(ReadWholeFile(file.FilePath()), Record(5, 0, 0, 2, text)) << firstUnits;
        StringList loaded;
        EXPECT_TRUE(file.LoadRecord(5, loaded));
        EXPECT_EQ(loaded.Text(), first + L"\r\nxyz\r\n") << firstUnits;
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
                                       Record(2, checksum ? Crc32(text) : 0, 0, 2, text),
                                       Bytes(before.begin() + firstSize + secondSize, before.end())});
        EXPECT_EQ(ReadWholeFile(file.FilePath()), expected) << "checksum " << checksum;

        StringList three;
        EXPECT_TRUE(file.LoadRecord(3, three));
        EXPECT_EQ(three.Text(), L"drei\r\nthree\r\n");  // stored unsorted: loads sorted
    }
}

TEST(CryptedCRCFile, LoadFollowsTheInvertedFlagAndChecksOnlyWhenAsked) {
    // The file holds "b", "a" in that order with Flag 0; a case flips the bits of
    // Flag (offset 8, to -1) or the lowest bit of the CRC (offset 4).
    const std::tuple<const char*, bool, std::size_t, bool, const wchar_t*> cases[] = {
        {"Flag -1 loads in stored order", false, 8, true, L"b\r\na\r\n"},
        {"checksum intact, Flag 0 loads sorted", true, 0, true, L"a\r\nb\r\n"},
        {"CRC changed: false, but the list is filled", true, 4, false, L"a\r\nb\r\n"},
        {"checksums off ignore the CRC field", false, 4, true, L"a\r\nb\r\n"},
    };
    for (const auto& [name, checksum, offset, result, text] : cases) {
        test::TempFolder folder;
        RecordFile file(folder.Path(L"r.igl"), checksum);
        file.Add(9, Lines({L"b", L"a"}));
        Bytes bytes = ReadWholeFile(file.FilePath());
        if (offset == 8) bytes[8] = bytes[9] = bytes[10] = bytes[11] = 0xFF;
        if (offset == 4) bytes[4] ^= 0x01;
        ASSERT_TRUE(WriteWholeFile(file.FilePath(), bytes));
        StringList loaded;
        EXPECT_EQ(file.LoadRecord(9, loaded), result) << name;
        EXPECT_EQ(loaded.Text(), text) << name;
        EXPECT_EQ(loaded.Sorted(), offset != 8) << name;
    }
}

TEST(CryptedCRCFile, AMissingFileIsCreatedEmptyWithItsFolderEvenByAReader) {
    test::TempFolder folder;
    RecordFile file(folder.Path(L"IgnoredLists\\deeper\\r.igl"), false);
    std::unique_ptr<StringList> list;
    EXPECT_FALSE(file.LoadRecord(1, list));
    ASSERT_NE(list, nullptr);
    EXPECT_TRUE(list->Count() == 0 && list->CaseSensitive());
    EXPECT_EQ(FileSizeOf(file.FilePath()), 0);
    RecordFile reader(folder.Path(L"other\\r.igl"), false);
    reader.BeginUpdate(true);
    reader.EndUpdate();
    EXPECT_EQ(FileSizeOf(reader.FilePath()), 0);
}

TEST(CryptedCRCFile, CorruptFilesFailWithAnException) {
    const Bytes a = Enciphered(u"a\r\n", 1, 1), good = Record(1, 0, 0, 1, a);
    Bytes negative = Record(2, 0, 0, 1, {});
    negative[16] = negative[17] = negative[18] = negative[19] = 0xFF;  // Length -1
    const std::tuple<const char*, Bytes, std::int32_t, HRESULT> cases[] = {
        {"header cut short", Concat({good, Bytes(7, 0)}), 5, E_FAIL},
        {"negative length", negative, 2, E_FAIL},
        {"negative length of a skipped record", Concat({negative, good}), 1, E_FAIL},
        {"length beyond the end", Bytes(good.begin(), good.end() - 1), 1, E_FAIL},
        {"skipped record beyond the end", Bytes(good.begin(), good.end() - 1), 9, E_FAIL},
        {"odd length", Record(1, 0, 0, 1, Bytes(3, 0)), 1, E_FAIL},
        {"count zero", Record(1, 0, 0, 0, a), 1, E_ILLEGAL_METHOD_CALL},
        {"count negative", Record(1, 0, 0, -3, a), 1, E_ILLEGAL_METHOD_CALL},
        {"text without lines", Record(1, 0, 0, 1, {}), 1, E_ILLEGAL_METHOD_CALL},
    };
    for (const auto& [name, bytes, id, code] : cases) {
        test::TempFolder folder;
        RecordFile file(folder.Path(L"r.igl"), false);
        ASSERT_TRUE(ForceDirectories(folder.Root()) && WriteWholeFile(file.FilePath(), bytes));
        StringList list;
        try {
            file.LoadRecord(id, list);
            ADD_FAILURE() << name << ": no exception";
        } catch (const Exception& e) {
            // A corrupt file is named in the message; a bad record raises with an empty one.
            EXPECT_EQ(e.Code(), code) << name;
            const std::wstring message = e.Message();
            EXPECT_TRUE(code == E_FAIL ? message.find(L"r.igl") != message.npos : message.empty()) << name;
        }
        EXPECT_EQ(file.NowUpdating(), 0) << name << ": the bracket is closed on failure";
    }
}

TEST(CryptedCRCFile, UpdateBracketsNestAndGuardDestruction) {
    test::TempFolder folder;
    RecordFile file(folder.Path(L"r.igl"), false);
    file.Add(1, Lines({L"x"}));

    // The first bracket's mode wins: inside a read-only bracket writing fails.
    file.BeginUpdate(true);
    EXPECT_THROW(file.Add(2, Lines({L"y"})), Exception);
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
    EXPECT_TRUE(file.LoadRecord(2, y));
    file.EndUpdate();
    EXPECT_EQ(y.Text(), L"y\r\n");

    // A destructor inside a bracket releases the stream: the file opens for writing again.
    { RecordFile(file.FilePath(), false).BeginUpdate(false); }
    EXPECT_NO_THROW(file.Add(3, Lines({L"z"})));
}

}  // namespace
}  // namespace vt
