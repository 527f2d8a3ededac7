#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "search/ShellItemList.h"
#include "support/ByteBuilder.h"

namespace vt {
namespace {

using test::ByteBuilder;
using Bytes = std::vector<std::uint8_t>;

// Root folder items as Explorer writes them: size 0x14, 0x1F, sort index, class GUID.
const char kMyComputer[] = "14 00 1F 50 E0 4F D0 20 EA 3A 69 10 A2 D8 08 00 2B 30 30 9D";
const char kUsersFiles[] = "14 00 1F 44 47 1A 03 59 72 3F A7 44 89 C5 55 95 FE 6B 30 EE";
const char kNetwork[] = "14 00 1F 58 0D 1A 2C F0 21 BE 50 43 88 B0 73 67 FC 96 EF 3C";
const char kRecycleBin[] = "14 00 1F 60 40 F0 5F 64 81 50 1B 10 9F 08 00 AA 00 2F 95 4E";

// Volume item: size 0x19, 0x2F, the drive name in a 20-byte field, 2 unknown bytes.
Bytes Volume(const char* drive) {
    ByteBuilder b;
    b.U16(0x19).U8(0x2F);
    const std::size_t nameAt = b.Size();
    b.AsciiZ(drive).Zeros(20 - (b.Size() - nameAt)).Zeros(2);
    return b;
}

// A file entry item of Windows XP and later: size, class type, 0, file size,
// FAT modification time, attributes, primary (8.3) name 16-bit aligned, then
// the 0xBEEF0004 block: size, version, signature, FAT creation and access
// times, the long-name offset, [version 7 and up: 2 empty bytes, NTFS file
// reference, 8 unknown bytes], long string size, [version 9: 4 unknown],
// [version 8 and up: 4 unknown], the long name, the localized name when the
// long string size is not 0, and the block's offset in the item.
Bytes FileEntry(unsigned type, std::uint32_t fileSize, std::string_view shortName, unsigned version,
                std::u16string_view longName, std::u16string_view localized = {}) {
    ByteBuilder b;
    b.U16(0).U8(type).U8(0).U32(fileSize).U32(0x8A3B4F5Au).U16((type & 1) ? 0x10 : 0x20);
    b.AsciiZ(shortName).Align(2);
    const std::size_t blockAt = b.Size();
    const unsigned nameOffset = version >= 9 ? 46 : version == 8 ? 42 : version == 7 ? 38 : 20;
    b.U16(0).U16(version).U32(0xBEEF0004u).U32(0x8A3B4F5Au).U32(0x8A3C4F5Au).U16(nameOffset);
    if (version >= 7) b.U16(0).U64(0x0001000000029D15ull).Zeros(8);
    b.U16(localized.empty() ? 0 : static_cast<unsigned>(localized.size() + 1));
    if (version >= 9) b.U32(0);
    if (version >= 8) b.U32(0x002E6B7Bu);
    b.Utf16Z(longName);
    if (!localized.empty()) b.Utf16Z(localized);
    b.U16(static_cast<unsigned>(blockAt));
    b.PatchU16(blockAt, static_cast<unsigned>(b.Size() - blockAt));
    b.PatchU16(0, static_cast<unsigned>(b.Size()));
    return b;
}

// Windows 10 writes this for C:\Users\anna\Documents\Budget 2024.xlsx.
Bytes Windows10Budget() {
    return ByteBuilder()
        .Hex(kMyComputer)
        .Append(Volume("C:\\"))
        .Append(FileEntry(0x31, 0, "Users", 9, u"Users", u"@shell32.dll,-21813"))
        .Append(FileEntry(0x31, 0, "anna", 9, u"anna"))
        .Append(FileEntry(0x31, 0, "DOCUME~1", 9, u"Documents", u"@shell32.dll,-21770"))
        .Append(FileEntry(0x32, 17708, "BUDGET~1.XLS", 9, u"Budget 2024.xlsx"))
        .U16(0);
}

// The same item of Windows 7 under the user's profile, verbatim from a real
// list: a 0x74 delegate wrapping the "AppData" folder entry.
const char kDelegateAppData[] =
    "82 00 74 00 1c 00 43 46 53 46 16 00 31 00 00 00 00 00"
    "ae 46 24 b1 12 00 41 70 70 44 61 74 61 00 00 00"
    "74 1a 59 5e 96 df d3 48 8d 67 17 33 bc ee 28 ba"
    "c5 cd fa df 9f 67 56 41 89 47 c5 c7 6b c0 b6 7f"
    "40 00 09 00 04 00 ef be ae 46 24 b1 ae 46 24 b1"
    "2e 00 00 00 15 9d 02 00 00 00 01 00 00 00 00 00"
    "00 00 00 00 00 00 00 00 00 00 ee e3 73 00 41 00"
    "70 00 70 00 44 00 61 00 74 00 61 00 00 00 42 00";

// This PC\Desktop and This PC\Downloads items of Windows 10, verbatim.
const char kThisPcDesktop[] =
    "32 00 2e 80 3a cc bf b4 2c db 4c 42 b0 29 7f e9 9a 87 c6 41 1e 00 00 00 25 00 ef be 11 00 00 00"
    "fa 66 a2 86 36 74 cf 01 2d 81 fe bc ba 9b cf 01 14 00";
const char kThisPcDownloads[] =
    "32 00 2e 80 90 e2 4d 37 3f 12 65 45 91 64 39 c4 92 5e 46 7b 1e 00 00 00 25 00 ef be 11 00 00 00"
    "fa 66 a2 86 36 74 cf 01 33 cb 2c 72 3b 74 cf 01 14 00";

// A Windows 7 root item with an extension block ("Search Home"), verbatim.
const char kSearchHome[] =
    "5a 00 1f 80 2e 81 43 93 37 1c 49 4a a1 2e 4b 2d 81 0d 95 6b 46 00 01 00 17 00 ef be 00 00 00 00"
    "01 00 00 00 02 00 00 80 01 00 00 00 01 00 00 00 02 00 00 00 00 00 00 00 00 00 00 00 02 00 00 00"
    "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 14 00";

// Network location items: size, class type, unknown, flags, UNC text, 2 unknown bytes.
Bytes NetworkItem(unsigned type, const char* location) {
    ByteBuilder b;
    b.U16(0).U8(type).U8(1).U8(0x82).AsciiZ(location).U16(0);
    return b.PatchU16(0, static_cast<unsigned>(b.Size()));
}

// Old-style file entry without an extension block (Windows 2000).
Bytes ShortOnlyEntry(unsigned type, std::string_view shortName) {
    ByteBuilder b;
    b.U16(0).U8(type).U8(0).U32(0).U32(0x2E6B3F21u).U16(0x10).AsciiZ(shortName).AsciiZ("");
    return b.PatchU16(0, static_cast<unsigned>(b.Size()));
}

struct PathCase {
    const char* what;
    Bytes bytes;
    std::wstring path;
    bool complete;
    std::wstring baseFolder;
    std::wstring relative;
    bool truncated;
};

TEST(ShellItemList, PathsOfListsWindowsWrites) {
    const Bytes budget = Windows10Budget();
    const PathCase cases[] = {
        {"Windows 10, drive and long names (block version 9)", budget,
         L"C:\\Users\\anna\\Documents\\Budget 2024.xlsx", true, L"", L"", false},
        {"Windows 7 names (block version 8)",
         ByteBuilder().Hex(kMyComputer).Append(Volume("D:\\"))
             .Append(FileEntry(0x31, 0, "PROJEK~1", 8, u"Projekte Übersicht"))
             .Append(FileEntry(0x32, 4096, "NOTIZE~1.TXT", 8, u"Notizen März.txt")).U16(0),
         L"D:\\Projekte Übersicht\\Notizen März.txt", true, L"", L"", false},
        {"Vista names (block version 7)",
         ByteBuilder().Hex(kMyComputer).Append(Volume("C:\\"))
             .Append(FileEntry(0x31, 0, "PROGRA~1", 7, u"Program Files")).U16(0),
         L"C:\\Program Files", true, L"", L"", false},
        {"Windows XP names (block version 3)",
         ByteBuilder().Hex(kMyComputer).Append(Volume("C:\\"))
             .Append(FileEntry(0x31, 0, "DOKUME~1", 3, u"Dokumente und Einstellungen"))
             .Append(FileEntry(0x32, 120, "LIESMI~1.TXT", 3, u"liesmich zuerst.txt")).U16(0),
         L"C:\\Dokumente und Einstellungen\\liesmich zuerst.txt", true, L"", L"", false},
        {"entries without extension block keep their 8.3 names",
         ByteBuilder().Hex(kMyComputer).Append(Volume("C:\\")).Append(ShortOnlyEntry(0x31, "WINNT"))
             .Append(ShortOnlyEntry(0x32, "SETUPLOG.TXT")).U16(0),
         L"C:\\WINNT\\SETUPLOG.TXT", true, L"", L"", false},
        {"drive alone", ByteBuilder().Hex(kMyComputer).Append(Volume("E:\\")).U16(0), L"E:\\", true, L"", L"",
         false},
        {"UNC share below the network root",
         ByteBuilder().Hex(kNetwork).Append(NetworkItem(0x42, "\\\\FILESRV"))
             .Append(NetworkItem(0xC3, "\\\\FILESRV\\public"))
             .Append(FileEntry(0x32, 99, "REPORT~1.PDF", 9, u"report 2024.pdf")).U16(0),
         L"\\\\FILESRV\\public\\report 2024.pdf", true, L"", L"", false},
        {"profile folder through a delegate item",
         ByteBuilder().Hex(kUsersFiles).Hex(kDelegateAppData)
             .Append(FileEntry(0x31, 0, "Roaming", 9, u"Roaming")).U16(0),
         L"%USERPROFILE%\\AppData\\Roaming", false, L"{5E6C858F-0E22-4760-9AFE-EA3317B67173}",
         L"AppData\\Roaming", false},
        {"delegate whose inner size does not reach past its nested entry",
         ByteBuilder().Hex(kUsersFiles).Append(ByteBuilder().Hex(kDelegateAppData).PatchU16(4, 4)).U16(0),
         L"%USERPROFILE%\\...", false, L"", L"", false},
        {"This PC\\Downloads",
         ByteBuilder().Hex(kMyComputer).Hex(kThisPcDownloads)
             .Append(FileEntry(0x32, 2048, "SETUP_~1.EXE", 9, u"setup_x64.exe")).U16(0),
         L"Downloads\\setup_x64.exe", false, L"{374DE290-123F-4565-9164-39C4925E467B}", L"setup_x64.exe", false},
        {"This PC\\Desktop alone", ByteBuilder().Hex(kThisPcDesktop).U16(0), L"Desktop", false,
         L"{B4BFCC3A-DB2C-424C-B029-7FE99A87C641}", L"", false},
        {"empty list is the desktop", ByteBuilder().U16(0), L"Desktop", false,
         L"{B4BFCC3A-DB2C-424C-B029-7FE99A87C641}", L"", false},
        {"virtual folder", ByteBuilder().Hex(kRecycleBin).U16(0), L"Recycle Bin", false, L"", L"", false},
        {"folder GUID we cannot place",
         ByteBuilder().Hex(kSearchHome).Append(FileEntry(0x32, 1, "A.TXT", 9, u"a.txt")).U16(0),
         L"{9343812E-1C37-4A49-A12E-4B2D810D956B}\\a.txt", false, L"", L"", false},
        {"unknown item in the middle (a camera's storage item)",
         ByteBuilder().Hex(kMyComputer).Hex("16 00 00 00 0c 00 05 20 31 10 03 00 00 00 00 00 00 00 00 00 00 00")
             .Append(FileEntry(0x31, 0, "DCIM", 9, u"DCIM")).U16(0),
         L"...\\DCIM", false, L"", L"", false},
        {"cut in the middle of an item",
         Bytes(budget.begin(), budget.begin() + static_cast<long>(budget.size()) - 30),
         L"C:\\Users\\anna\\Documents", false, L"", L"", true},
        {"no terminator", Bytes(budget.begin(), budget.end() - 2), L"C:\\Users\\anna\\Documents\\Budget 2024.xlsx",
         false, L"", L"", true},
        {"size smaller than its own field", ByteBuilder().Hex(kMyComputer).U16(1).U16(0), L"", false, L"", L"",
         true},
    };
    for (const auto& c : cases) {
        const ShellItemPath result = DecodeShellItemList(c.bytes);
        EXPECT_EQ(result.Path, c.path) << c.what;
        EXPECT_EQ(result.Complete, c.complete) << c.what;
        EXPECT_EQ(result.BaseFolderId, c.baseFolder) << c.what;
        EXPECT_EQ(result.RelativePath, c.relative) << c.what;
        EXPECT_EQ(result.Truncated, c.truncated) << c.what;
    }
}

TEST(ShellItemList, ItemsCarryKindsAndBothNames) {
    const ShellItemPath result = DecodeShellItemList(Windows10Budget());
    ASSERT_EQ(result.Items.size(), 6u);
    const ShellItemKind kinds[] = {ShellItemKind::RootFolder, ShellItemKind::Volume, ShellItemKind::FileEntry,
                                   ShellItemKind::FileEntry, ShellItemKind::FileEntry, ShellItemKind::FileEntry};
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(result.Items[i].Kind, kinds[i]) << i;
    EXPECT_EQ(result.Items[0].ClassId, L"{20D04FE0-3AEA-1069-A2D8-08002B30309D}");
    EXPECT_EQ(result.Items[4].ShortName, L"DOCUME~1");
    EXPECT_EQ(result.Items[4].Name, L"Documents");
    EXPECT_TRUE(result.Items[4].IsDirectory);
    EXPECT_EQ(result.Items[5].ExtensionVersion, 9);
    EXPECT_FALSE(result.Items[5].IsDirectory);

    const ShellItemPath delegate =
        DecodeShellItemList(ByteBuilder().Hex(kUsersFiles).Hex(kDelegateAppData).U16(0).Bytes());
    ASSERT_EQ(delegate.Items.size(), 2u);
    EXPECT_EQ(delegate.Items[1].Kind, ShellItemKind::Delegate);
    EXPECT_EQ(delegate.Items[1].ShortName, L"AppData");
    EXPECT_EQ(delegate.Items[1].ClassId, L"{DFFACDC5-679F-4156-8947-C5C76BC0B67F}");

    // An inner size that ends before the nested entry's name leaves the item unread.
    const ShellItemPath lying = DecodeShellItemList(
        ByteBuilder().Hex(kUsersFiles).Append(ByteBuilder().Hex(kDelegateAppData).PatchU16(4, 4)).U16(0).Bytes());
    ASSERT_EQ(lying.Items.size(), 2u);
    EXPECT_EQ(lying.Items[1].Kind, ShellItemKind::Unknown);
}

TEST(ShellItemList, LastVisitedValueShowsProgramAndFolder) {
    struct Case {
        const char* what;
        Bytes bytes;
        std::wstring program;
        std::wstring folder;
        bool complete;
        std::wstring display;
    };
    const Bytes folderList = ByteBuilder().Hex(kMyComputer).Append(Volume("C:\\"))
                                 .Append(FileEntry(0x31, 0, "Users", 8, u"Users"))
                                 .Append(FileEntry(0x31, 0, "anna", 8, u"anna")).U16(0);
    const Case cases[] = {
        {"Windows 7 value", ByteBuilder().Utf16Z(u"notepad.exe").Append(folderList), L"notepad.exe",
         L"C:\\Users\\anna", true, L"notepad.exe - C:\\Users\\anna"},
        {"program with non-Latin name", ByteBuilder().Utf16Z(u"редактор.exe").Hex(kThisPcDesktop).U16(0),
         L"редактор.exe", L"Desktop", false, L"редактор.exe - Desktop"},
        {"nothing after the program", ByteBuilder().Utf16Z(u"mspaint.exe"), L"mspaint.exe", L"", false,
         L"mspaint.exe"},
        {"no NUL after the program", ByteBuilder().Utf16(u"winword.exe"), L"winword.exe", L"", false,
         L"winword.exe"},
    };
    for (const auto& c : cases) {
        const LastVisitedEntry entry = DecodeLastVisitedPidl(c.bytes);
        EXPECT_EQ(entry.Program, c.program) << c.what;
        EXPECT_EQ(entry.Folder.Path, c.folder) << c.what;
        EXPECT_EQ(entry.Folder.Complete, c.complete) << c.what;
        EXPECT_EQ(entry.DisplayText(), c.display) << c.what;
    }
}

}  // namespace
}  // namespace vt
