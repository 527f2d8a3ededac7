#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "categories/windows/UserAssistRecord.h"
#include "support/ByteBuilder.h"

namespace vt {
namespace {

using test::ByteBuilder;

TEST(UserAssist, NamesAsWindowsStoresThemDecodeAndClassify) {
    struct Case {
        const wchar_t* stored;  // the value name in the registry
        const wchar_t* decoded;
        bool newer;
        TEntryType type;
    };
    const Case cases[] = {
        // Windows 7 and later.
        {L"{1NP14R77-02R7-4R5Q-O744-2RO1NR5198O7}\\abgrcnq.rkr",
         L"{1AC14E77-02E7-4E5D-B744-2EB1AE5198B7}\\notepad.exe", true, TEntryType::etExeFiles},
        {L"{0139Q44R-6NSR-49S2-8690-3QNSPNR6SSO8}\\Npprffbevrf\\Cnvag.yax",
         L"{0139D44E-6AFE-49F2-8690-3DAFCAE6FFB8}\\Accessories\\Paint.lnk", true, TEntryType::etStartMenu},
        {L"{9R3995NO-1S9P-4S13-O827-48O24O6P7174}\\GnfxOne\\Svyr Rkcybere.YAX",
         L"{9E3995AB-1F9C-4F13-B827-48B24B6C7174}\\TaskBar\\File Explorer.LNK", true, TEntryType::etStartMenu},
        {L"Zvpebfbsg.Jvaqbjf.Rkcybere", L"Microsoft.Windows.Explorer", true, TEntryType::etExeFiles},
        {L"HRZR_PGYFRFFVBA", L"UEME_CTLSESSION", true, TEntryType::etUnknown},
        {L"hrzr_pgyfrffvba", L"ueme_ctlsession", true, TEntryType::etUnknown},
        {L"HRZR_PGYPHNPbhag:pgbe", L"UEME_CTLCUACount:ctor", true, TEntryType::etUnknown},
        // Windows XP and Vista.
        {L"HRZR_EHACVQY:%pfvqy2%\\Npprffbevrf\\Abgrcnq.yax", L"UEME_RUNPIDL:%csidl2%\\Accessories\\Notepad.lnk",
         false, TEntryType::etStartMenu},
        {L"HRZR_EHACVQY:%pfvqy6%\\Yvaxf\\Urvfr.hey", L"UEME_RUNPIDL:%csidl6%\\Links\\Heise.url", false,
         TEntryType::etFavorites},
        {L"HRZR_EHACVQY:P:\\Qbxhzragr\\k.yax", L"UEME_RUNPIDL:C:\\Dokumente\\x.lnk", false, TEntryType::etExeFiles},
        {L"HRZR_EHACNGU:P:\\Cebtenzzr\\Zbmvyyn Sversbk\\sversbk.rkr",
         L"UEME_RUNPATH:C:\\Programme\\Mozilla Firefox\\firefox.exe", false, TEntryType::etExeFiles},
        {L"HRZR_EHAPCY:\"P:\\JVAQBJF\\flfgrz32\\qrfx.pcy\",Namrvtr",
         L"UEME_RUNCPL:\"C:\\WINDOWS\\system32\\desk.cpl\",Anzeige", false, TEntryType::etControlPanelApplet},
        {L"HRZR_HVGBBYONE:0k1,120", L"UEME_UITOOLBAR:0x1,120", false, TEntryType::etUnknown},
        {L"HRZR_EHACNGU", L"UEME_RUNPATH", false, TEntryType::etUnknown},
        {L"HRZR_PGYFRFFVBA", L"UEME_CTLSESSION", false, TEntryType::etUnknown},
        {L"hrzr_ehacngu:p:\\n.rkr", L"ueme_runpath:c:\\a.exe", false, TEntryType::etUnknown},
        // Only Latin letters move.
        {L"Ärger-Привет_2.exe", L"Äetre-Привет_2.rkr", true, TEntryType::etExeFiles},
    };
    for (const auto& c : cases) {
        const std::wstring decoded = DecodeRot13(c.stored);
        EXPECT_EQ(decoded, c.decoded);
        EXPECT_EQ(ClassifyUserAssistName(decoded, c.newer), c.type) << ToUtf8(decoded);
    }
}

TEST(UserAssist, RecordsOfBothSizes) {
    // Windows 7 and later: session, run count, focus count, focus time (ms),
    // ten -1.0f slots, 0xFFFFFFFF, last run FILETIME, 0.
    ByteBuilder win7;
    win7.U32(0).U32(14).U32(3).U32(300000);
    for (int i = 0; i < 10; ++i) win7.Hex("00 00 80 BF");
    win7.U32(0xFFFFFFFFu).U64(0x01DA76BB6140CE90ull).U32(0);
    ASSERT_EQ(win7.Size(), 72u);

    UserAssistData data;
    ASSERT_TRUE(ReadUserAssistData(win7.Bytes(), data));
    EXPECT_TRUE(data.Extended);
    EXPECT_EQ(data.RunCount, 14);
    EXPECT_EQ(data.FocusCount, 3u);
    EXPECT_EQ(data.FocusTimeMs, 300000u);
    EXPECT_EQ(data.LastRunFileTime, 0x01DA76BB6140CE90ull);
    // 2024-03-15 09:30:12.345 UTC.
    EXPECT_NEAR(data.LastRun, 45366.39597621527, 1e-9);

    // Windows XP: session, run count, then the last 8 bytes kept as they are.
    const std::vector<std::uint8_t> xp = ByteBuilder().U32(2).U32(6).U64(0x01C9A1B2C3D4E5F6ull);
    ASSERT_TRUE(ReadUserAssistData(xp, data));
    EXPECT_FALSE(data.Extended);
    EXPECT_EQ(data.Session, 2u);
    EXPECT_EQ(data.RunCount, 6);
    EXPECT_EQ(data.FocusCount, 0u);
    double raw = 0;
    const std::uint64_t bits = 0x01C9A1B2C3D4E5F6ull;
    std::memcpy(&raw, &bits, sizeof raw);
    EXPECT_EQ(std::memcmp(&data.LastRun, &raw, sizeof raw), 0);

    // Other sizes (the 1612-byte "UEME_CTLSESSION" value, a cut record) are not read.
    for (std::size_t size : {0u, 15u, 17u, 68u, 71u, 73u, 1612u}) {
        UserAssistData untouched;
        untouched.RunCount = 99;
        EXPECT_FALSE(ReadUserAssistData(std::vector<std::uint8_t>(size, 0x11), untouched)) << size;
        EXPECT_EQ(untouched.RunCount, 99);
    }
}

TEST(UserAssist, FileTimeConversionEdges) {
    struct Case {
        std::uint64_t fileTime;
        double dateTime;
        bool ok;
    };
    const Case cases[] = {
        {0, -109205.0, true},                                   // 1601-01-01, never run
        {116444736000000000ull, 25569.0, true},                 // 1970-01-01
        {94353120000000000ull, 0.0, true},                      // 1899-12-30
        {94353120000000000ull + 432000000000ull, 0.5, true},    // 1899-12-30 12:00
        {94353120000000000ull - 432000000000ull, -1.5, true},   // 1899-12-29 12:00: day -1, time counted away
        {94353120000000000ull - 864000000000ull, -1.0, true},   // 1899-12-29
        {116444736000009999ull, 25569.0, true},                 // sub-millisecond ticks dropped
        {2650467743999999999ull, 2958465.99999998843, true},    // 9999-12-31 23:59:59.999
        {2650467744000000000ull, 0.0, false},                   // year 10000
        {0xFFFFFFFFFFFFFFFFull, 0.0, false},
    };
    for (const auto& c : cases) {
        bool ok = !c.ok;
        EXPECT_NEAR(FileTimeToDateTime(c.fileTime, &ok), c.dateTime, 1e-9) << c.fileTime;
        EXPECT_EQ(ok, c.ok) << c.fileTime;
    }
}

}  // namespace
}  // namespace vt
