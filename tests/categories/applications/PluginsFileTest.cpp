#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "categories/applications/AppDefinition.h"
#include "categories/applications/PluginsFile.h"
#include "runtime/Exception.h"
#include "runtime/FileSystem.h"
#include "runtime/OSInfo.h"
#include "runtime/Strings.h"
#include "services/EnvHelper.h"
#include "services/TempFolder.h"

namespace vt {
namespace {

using Bytes = std::vector<std::uint8_t>;

// One record as a writer of the format lays it out, computed here from the
// key constant directly: frame (number, byte length, reserved byte), then the
// UTF-16LE text whose low bytes are XORed with key[i mod 239] + number.
Bytes Record(std::uint32_t number, const std::u16string& text, std::uint8_t reserved = 0) {
    Bytes out;
    const auto put32 = [&](std::uint32_t v) {
        for (int i = 0; i < 4; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
    };
    put32(number);
    put32(static_cast<std::uint32_t>(text.size() * 2));
    out.push_back(reserved);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto t = static_cast<std::uint8_t>((kPluginsKey[i % 239] & 0xFF) + number);
        out.push_back(static_cast<std::uint8_t>((text[i] & 0xFF) ^ t));
        out.push_back(static_cast<std::uint8_t>(text[i] >> 8));
    }
    return out;
}

Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& p : parts) all.insert(all.end(), p.begin(), p.end());
    return all;
}

std::vector<std::wstring> LinesOf(const StringList& list) {
    std::vector<std::wstring> out;
    for (int i = 0; i < list.Count(); ++i) out.push_back(list.Get(i));
    return out;
}

class PluginsFileTest : public ::testing::Test {
protected:
    void SetUp() override {
        ForceDirectories(folder_.Root());
        TEnvSystem system;
        system.FolderPath = [](TEnvFolder f) -> std::wstring {
            switch (f) {
                case efAppData: return L"C:\\Users\\anna\\AppData\\Roaming";
                case efProfile: return L"C:\\Users\\anna";
                case efCommonAppData: return L"C:\\ProgramData";
                default: return L"C:\\Elsewhere";
            }
        };
        system.ExpandEnvironment = [](std::wstring_view t) {
            return ReplaceAll(t, L"%ALLUSERSPROFILE%", L"C:\\ProgramData", true);
        };
        TEnvHelper::SetSystemForTesting(system);
    }
    void TearDown() override {
        TEnvHelper::SetSystemForTesting(std::nullopt);
        OSInfo::SetWindowsVersionForTesting(std::nullopt);
    }
    std::wstring Write(const Bytes& bytes) {
        const std::wstring path = folder_.Path(L"Applications.dat");
        EXPECT_TRUE(WriteWholeFile(path, bytes));
        return path;
    }
    test::TempFolder folder_;
};

TEST_F(PluginsFileTest, ReadsRecordsInRisingOrderAndStopsAtTheFirstGap) {
    const struct {
        const char* what;
        std::vector<std::uint32_t> numbers;
        std::vector<std::wstring> names;  // what GetNext hands out, in order
        int count;
    } cases[] = {
        {"0 1 2", {0, 1, 2}, {L"A0", L"A1", L"A2"}, 3},
        {"0 1 3: stops at the gap", {0, 1, 3}, {L"A0", L"A1"}, 2},
        {"starts at 1: nothing", {1, 2}, {}, 0},
        {"0 5 1: 1 is found past 5, then 2 is missing", {0, 5, 1}, {L"A0", L"A1"}, 2},
        {"1 0: 0 is found, 1 lies behind it", {1, 0}, {L"A0"}, 1},
        {"empty file", {}, {}, 0},
    };
    for (const auto& c : cases) {
        Bytes bytes;
        for (std::uint32_t n : c.numbers) {
            const std::u16string text = u"%APPDATA%\\App\\*.log\r\nGroup\r\nA" + std::u16string(1, u'0' + n) + u"\r\n";
            bytes = Join({bytes, Record(n, text, static_cast<std::uint8_t>(0xA5))});
        }
        TPluginsFile file(Write(bytes));
        std::vector<std::wstring> names;
        TPluginRecord record;
        StringList lines;
        for (bool first = true; file.GetNext(record, lines, first); first = false) {
            names.push_back(record.Name);
            EXPECT_EQ(LinesOf(lines), std::vector<std::wstring>{L"C:\\Users\\anna\\AppData\\Roaming\\App\\*.log"});
        }
        EXPECT_EQ(names, c.names) << c.what;
        EXPECT_EQ(file.GetCount(), c.count) << c.what;
        // Counting does not move the reader: a restart reads the first record again.
        if (!c.names.empty()) {
            ASSERT_TRUE(file.GetNext(record, lines, true)) << c.what;
            EXPECT_EQ(record.Name, c.names[0]) << c.what;
        }
    }
}

TEST_F(PluginsFileTest, LineRules) {
    const struct {
        const char* what;
        int windows;
        std::u16string text;
        std::vector<std::wstring> lines;
        std::wstring name, group;
    } cases[] = {
        {"name and group from the end; short lines dropped", OSInfo::wvWin10,
         u"detect=HKCU\\Software\\Foo\r\nab\r\nabc\r\nHKCU\\Software\\Foo|Recent\r\n\r\nTools\r\nFoo\r\n",
         {L"detect=HKCU\\Software\\Foo", L"HKCU\\Software\\Foo|Recent"}, L"Foo", L"Tools"},
        {"one line: no name, the line stays", OSInfo::wvWin10, u"%APPDATA%\\Foo\\x.log", {L"C:\\Users\\anna\\AppData\\Roaming\\Foo\\x.log"}, L"", L""},
        {"common application data on Windows 7: upper case, all-users profile", OSInfo::wvWin7,
         u"%commonappdata%\\Vendor\\Logs\\*.Log\r\nG\r\nN\r\n", {L"C:\\ProgramData\\VENDOR\\LOGS\\*.LOG"}, L"N", L"G"},
        {"and on Windows 11", OSInfo::wvWin11, u"exclude=%COMMONAPPDATA%\\Keep\r\nG\r\nN\r\n",
         {L"EXCLUDE=C:\\ProgramData\\KEEP"}, L"N", L"G"},
        {"before Windows 7 the line keeps its case and placeholder", OSInfo::wvVista,
         u"%commonappdata%\\Vendor\\Logs\\*.Log\r\nG\r\nN\r\n", {L"C:\\ProgramData\\Vendor\\Logs\\*.Log"}, L"N", L"G"},
    };
    for (const auto& c : cases) {
        OSInfo::SetWindowsVersionForTesting(c.windows);
        TPluginsFile file(Write(Record(0, c.text)));
        TPluginRecord record;
        StringList lines;
        ASSERT_TRUE(file.GetNext(record, lines, true)) << c.what;
        EXPECT_EQ(LinesOf(lines), c.lines) << c.what;
        EXPECT_EQ(record.Name, c.name) << c.what;
        EXPECT_EQ(record.Group, c.group) << c.what;
    }
}

TEST_F(PluginsFileTest, AddToFileWritesTheFrameAWriterOfTheFormatWrites) {
    const std::wstring path = folder_.Path(L"Data\\Applications.dat");
    {
        TPluginsFile file(path, /*AOnlyRead=*/false);
        for (std::uint32_t n : {0u, 1u}) {
            StringList lines;
            lines.Add(L"%APPDATA%\\App\\*.log");
            TPluginHeader header{.RecordNumber = n, .Reserved = 0x5A};
            file.AddToFile({L"A" + std::to_wstring(n), L"Group"}, header, lines);
            EXPECT_EQ(header.PayloadLength, 2u * (19 + 2 + 5 + 2 + 2 + 2));
        }
    }
    const std::u16string t0 = u"%APPDATA%\\App\\*.log\r\nGroup\r\nA0\r\n", t1 = u"%APPDATA%\\App\\*.log\r\nGroup\r\nA1\r\n";
    EXPECT_EQ(ReadWholeFile(path), Join({Record(0, t0, 0x5A), Record(1, t1, 0x5A)}));
}

TEST_F(PluginsFileTest, CorruptFramesRaise) {
    const Bytes good = Record(0, u"x\r\nG\r\nN\r\n");
    const struct {
        const char* what;
        Bytes bytes;
    } cases[] = {
        {"frame cut short", Bytes(good.begin(), good.begin() + 6)},
        {"payload past the end", Bytes(good.begin(), good.end() - 2)},
        {"odd length", [&] { Bytes b = good; b[4] = 3; return b; }()},
    };
    for (const auto& c : cases) {
        TPluginsFile file(Write(c.bytes));
        TPluginRecord record;
        StringList lines;
        EXPECT_THROW(file.GetNext(record, lines, true), Exception) << c.what;
    }
}

TEST(AppDefinitionTest, SortsLinesIntoTheirKinds) {
    StringList lines;
    for (const wchar_t* l : {L"DETECT=HKEY_CURRENT_USER\\Software\\First", L"C:\\Users\\anna\\x\\*.log",
                             L"exclude=C:\\Users\\anna\\x\\keep.log", L"detect=C:\\Second\\",
                             L"HKEY_CURRENT_USER\\Software\\X|Recent", L"Exclude=HKEY_CURRENT_USER\\Software\\X\\|Keep",
                             L"D:\\y.txt"})
        lines.Add(l);
    const TAppDefinition d = TAppDefinition::FromRecord({L"X", L"G"}, lines);
    EXPECT_EQ(d.DetectEntry, L"HKEY_CURRENT_USER\\Software\\First");
    EXPECT_EQ(d.Exclusions, (std::vector<std::wstring>{L"C:\\Users\\anna\\x\\keep.log",
                                                       L"HKEY_CURRENT_USER\\Software\\X\\\\Keep"}));
    EXPECT_EQ(d.FileRules, (std::vector<std::wstring>{L"C:\\Users\\anna\\x\\*.log", L"D:\\y.txt"}));
    EXPECT_EQ(d.RegistryRules, std::vector<std::wstring>{L"HKEY_CURRENT_USER\\Software\\X|Recent"});
}

}  // namespace
}  // namespace vt
