#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "categories/windows/EventLogRecord.h"
#include "support/ByteBuilder.h"

namespace vt {
namespace {

using test::ByteBuilder;
using Bytes = std::vector<std::uint8_t>;

// S-1-5-21-1004336348-1177238915-682003330-1001, as a binary SID.
const char kUserSid[] = "01 05 00 00 00 00 00 05 15 00 00 00 DC F4 DC 3B 83 3D 2B 46 82 8B A6 28 E9 03 00 00";

struct RecordFields {
    std::uint32_t number;
    std::uint32_t time;
    std::uint32_t eventId;
    std::uint16_t type;
    std::uint16_t category;
    std::u16string source;
    std::u16string computer;
    std::vector<std::u16string> strings;
    const char* sidHex;  // nullptr: no SID
    Bytes data;
};

// An EVENTLOGRECORD laid out as the event log service writes it: header,
// source and computer names, padding to 4 bytes, SID, strings, data, padding,
// and the length again.
Bytes Record(const RecordFields& s) {
    ByteBuilder b;
    b.U32(0).U32(0x654C664Cu).U32(s.number).U32(s.time).U32(s.time + 1).U32(s.eventId);
    b.U16(s.type).U16(static_cast<unsigned>(s.strings.size())).U16(s.category).U16(0).U32(0);
    const std::size_t offsetsAt = b.Size();
    b.Zeros(20);  // StringOffset, UserSidLength, UserSidOffset, DataLength, DataOffset
    b.Utf16Z(s.source).Utf16Z(s.computer).Align(4);
    if (s.sidHex) {
        const std::size_t sidAt = b.Size();
        b.Hex(s.sidHex);
        b.PatchU32(offsetsAt + 4, static_cast<std::uint32_t>(b.Size() - sidAt));
        b.PatchU32(offsetsAt + 8, static_cast<std::uint32_t>(sidAt));
    }
    b.PatchU32(offsetsAt, static_cast<std::uint32_t>(b.Size()));
    for (const auto& text : s.strings) b.Utf16Z(text);
    const std::size_t dataAt = b.Size();
    b.Append(s.data);
    b.PatchU32(offsetsAt + 12, static_cast<std::uint32_t>(s.data.size()));
    b.PatchU32(offsetsAt + 16, static_cast<std::uint32_t>(dataAt));
    b.Align(4);
    b.U32(static_cast<std::uint32_t>(b.Size() + 4));
    return b.PatchU32(0, static_cast<std::uint32_t>(b.Size()));
}

const RecordFields kMsiInstaller{1207, 1710495012, 11707, 4, 0, u"MsiInstaller", u"DESKTOP-7QK2M1L",
                               {u"Product: Contoso Viewer -- Installation completed successfully."}, kUserSid,
                               ByteBuilder().Hex("7B 43 35 31 45 34 7D 00")};
const RecordFields kEventLogStart{88, 1710490000, 0x80001775u, 4, 0, u"EventLog", u"DESKTOP-7QK2M1L", {}, nullptr,
                                ByteBuilder().Hex("E8 07 03 00 05 00 0F 00 08 00 1E 00 0C 00 59 01")};
const RecordFields kDiskError{89, 1710490100, 0xC0000007u, 1, 0, u"disk", u"DESKTOP-7QK2M1L",
                            {u"\\Device\\Harddisk1\\DR1"}, nullptr, Bytes(40, 0)};
const RecordFields kSecurityCleared{1, 1710480000, 517, 8, 1, u"Security", u"XP-OFFICE",
                                  {u"SYSTEM", u"NT AUTHORITY", u"(0x0,0x3E7)", u"anna", u"XP-OFFICE", u"(0x0,0x1C4B2)"},
                                  "01 01 00 00 00 00 00 05 12 00 00 00", {}};

TEST(EventLogRecord, RecordsOfOneReadBuffer) {
    const Bytes buffer = ByteBuilder().Append(Record(kMsiInstaller)).Append(Record(kEventLogStart))
                             .Append(Record(kDiskError)).Append(Record(kSecurityCleared));
    const EventLogRecords read = ParseEventLogRecords(buffer);
    EXPECT_TRUE(read.Clean);
    EXPECT_EQ(read.Consumed, buffer.size());
    ASSERT_EQ(read.Records.size(), 4u);

    struct Expected {
        const RecordFields& fields;
        TEventLogType type;
    };
    const Expected expected[] = {{kMsiInstaller, TEventLogType::etInformation},
                                 {kEventLogStart, TEventLogType::etInformation},
                                 {kDiskError, TEventLogType::etError},
                                 {kSecurityCleared, TEventLogType::etUnknown}};
    for (std::size_t i = 0; i < 4; ++i) {
        const EventLogRecord& r = read.Records[i];
        const RecordFields& s = expected[i].fields;
        EXPECT_TRUE(r.Complete) << i;
        EXPECT_EQ(r.Length % 4, 0u) << i;
        EXPECT_EQ(r.RecordNumber, s.number) << i;
        EXPECT_EQ(r.TimeGenerated, s.time) << i;
        EXPECT_EQ(r.TimeWritten, s.time + 1) << i;
        EXPECT_EQ(r.EventID, s.eventId) << i;
        EXPECT_EQ(r.EventCategory, s.category) << i;
        EXPECT_EQ(EventTypeToLogType(r.EventType), expected[i].type) << i;
        EXPECT_EQ(ToUtf16(r.SourceName), s.source) << i;
        EXPECT_EQ(ToUtf16(r.ComputerName), s.computer) << i;
        ASSERT_EQ(r.Strings.size(), s.strings.size()) << i;
        for (std::size_t k = 0; k < s.strings.size(); ++k) EXPECT_EQ(ToUtf16(r.Strings[k]), s.strings[k]) << i;
        EXPECT_EQ(r.UserSid, s.sidHex ? Bytes(ByteBuilder().Hex(s.sidHex)) : Bytes()) << i;
        EXPECT_EQ(r.Data, s.data) << i;
    }
    EXPECT_EQ(read.Records[0].UserSidLength, 28u);
}

TEST(EventLogRecord, TruncatedAndLyingBuffers) {
    const Bytes one = Record(kMsiInstaller);
    const Bytes two = ByteBuilder().Append(one).Append(Record(kDiskError));
    auto withU32 = [](Bytes b, std::size_t at, std::uint32_t v) {
        return Bytes(ByteBuilder().Append(b).PatchU32(at, v));
    };
    struct Case {
        const char* what;
        Bytes buffer;
        std::size_t records;
        bool clean;
        bool firstComplete;
    };
    const Case cases[] = {
        {"empty buffer", {}, 0, true, false},
        {"second record cut short", Bytes(two.begin(), two.end() - 10), 1, false, true},
        {"length past the buffer", withU32(one, 0, 100000), 0, false, false},
        {"length below the header", withU32(one, 0, 40), 0, false, false},
        {"length zero", withU32(one, 0, 0), 0, false, false},
        {"wrong signature", withU32(two, one.size() + 4, 0x4C664C65u), 1, false, true},
        {"header only", Bytes(one.begin(), one.begin() + 56), 0, false, false},
        {"string offset past the record", withU32(one, 36, 0x7FFFFFF0u), 1, true, false},
        {"more strings than present", withU32(one, 24, 0x00050004u), 1, true, false},
        {"SID offset inside the header", withU32(one, 44, 8), 1, true, false},
        {"data length past the record", withU32(one, 48, 0xFFFFFFFFu), 1, true, false},
        {"trailing length copy differs", withU32(one, one.size() - 4, 12), 1, true, false},
    };
    for (const auto& c : cases) {
        const EventLogRecords read = ParseEventLogRecords(c.buffer);
        EXPECT_EQ(read.Records.size(), c.records) << c.what;
        EXPECT_EQ(read.Clean, c.clean) << c.what;
        if (!read.Records.empty()) {
            EXPECT_EQ(read.Records[0].Complete, c.firstComplete) << c.what;
        }
    }
    // What still lies inside a damaged record is read.
    EventLogRecord damaged;
    ASSERT_TRUE(ParseEventLogRecord(withU32(one, 48, 0xFFFFFFFFu), damaged));
    EXPECT_EQ(damaged.SourceName, L"MsiInstaller");
    EXPECT_EQ(damaged.Strings.size(), 1u);
    EXPECT_TRUE(damaged.Data.empty());
}

TEST(EventLogRecord, TypeTimeAndClearingRules) {
    // Types 1, 4 and 8 are covered by the records above.
    EXPECT_EQ(EventTypeToLogType(2), TEventLogType::etWarning);
    EXPECT_EQ(EventTypeToLogType(16), TEventLogType::etUnknown);

    // 2024-03-15 09:30:12 UTC seen from several time zones.
    const struct {
        std::int32_t bias;
        int hours;
        double dateTime;
    } zones[] = {
        {0, 0, 45366.39597222222},     // UTC
        {-60, 1, 45366.437638888885},  // Berlin, winter
        {300, -5, 45366.187638888885}, // New York, winter
        {-330, 5, 45366.60430555556},  // India: the half hour is lost
        {30, 0, 45366.39597222222},    // under an hour rounds to nothing
        {-765, 12, 45366.89597222222}, // Chatham Islands
    };
    for (const auto& z : zones) {
        EXPECT_EQ(TimeZoneOffsetHours(z.bias), z.hours) << z.bias;
        EXPECT_NEAR(EventTimeToDateTime(1710495012u, z.bias), z.dateTime, 1e-9) << z.bias;
    }
    EXPECT_NEAR(EventTimeToDateTime(0, 0), 25569.0, 1e-12);
    EXPECT_NEAR(EventTimeToDateTime(0xFFFFFFFFu, 0), 25569.0 + 4294967295.0 / 86400.0, 1e-6);

    const struct {
        const wchar_t* source;
        std::uint32_t id;
        bool newer;
        bool cleared;
    } clearing[] = {
        {L"Security", 517, false, true},   {L"SECURITY", 517, false, true},
        {L"Security", 1102, false, false}, {L"EventLog", 517, false, false},
        {L"Microsoft-Windows-Eventlog", 1102, true, true}, {L"microsoft-windows-eventlog", 104, true, true},
        {L"Security", 517, true, false},   {L"Microsoft-Windows-Eventlog", 1102, false, false},
    };
    for (const auto& c : clearing) {
        EXPECT_EQ(IsLogClearedRecord(c.source, c.id, c.newer), c.cleared) << ToUtf8(c.source) << " " << c.id;
    }
}

}  // namespace
}  // namespace vt
