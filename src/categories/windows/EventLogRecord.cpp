#include "categories/windows/EventLogRecord.h"

#include "runtime/Strings.h"

namespace vt {

namespace {

constexpr double kUnixEpochDateTime = 25569.0;  // 1970-01-01 as a date-time

// The bytes [offset, offset + length) of the record, when they lie inside it.
bool ReadBlock(ByteSpan record, std::uint32_t offset, std::uint32_t length, std::vector<std::uint8_t>& out) {
    if (length == 0) return true;
    if (offset < kEventLogRecordHeaderSize || !Fits(record, offset, length)) return false;
    out.assign(record.begin() + offset, record.begin() + offset + length);
    return true;
}

}  // namespace

bool ParseEventLogRecord(ByteSpan bytes, EventLogRecord& out) {
    if (bytes.size() < kEventLogRecordHeaderSize) return false;
    const std::uint32_t length = ReadU32(bytes, 0);
    if (length < kEventLogRecordHeaderSize || length > bytes.size()) return false;
    if (ReadU32(bytes, 4) != kEventLogRecordSignature) return false;
    const ByteSpan record = bytes.first(length);

    EventLogRecord r;
    r.Length = length;
    r.RecordNumber = ReadU32(record, 8);
    r.TimeGenerated = ReadU32(record, 12);
    r.TimeWritten = ReadU32(record, 16);
    r.EventID = ReadU32(record, 20);
    r.EventType = ReadU16(record, 24);
    r.NumStrings = ReadU16(record, 26);
    r.EventCategory = ReadU16(record, 28);
    r.ReservedFlags = ReadU16(record, 30);
    r.ClosingRecordNumber = ReadU32(record, 32);
    r.StringOffset = ReadU32(record, 36);
    r.UserSidLength = ReadU32(record, 40);
    r.UserSidOffset = ReadU32(record, 44);
    r.DataLength = ReadU32(record, 48);
    r.DataOffset = ReadU32(record, 52);

    bool complete = true;
    std::size_t next = kEventLogRecordHeaderSize;
    r.SourceName = ReadUtf16Z(record, next, length, &next);
    r.ComputerName = ReadUtf16Z(record, next, length, &next);
    complete = complete && next <= length;

    complete = ReadBlock(record, r.UserSidOffset, r.UserSidLength, r.UserSid) && complete;
    complete = ReadBlock(record, r.DataOffset, r.DataLength, r.Data) && complete;

    if (r.NumStrings > 0) {
        if (r.StringOffset < kEventLogRecordHeaderSize || r.StringOffset >= length) {
            complete = false;
        } else {
            std::size_t pos = r.StringOffset;
            for (std::uint16_t i = 0; i < r.NumStrings; ++i) {
                // A string must end with its NUL inside the record.
                std::size_t after = pos;
                std::wstring text = ReadUtf16Z(record, pos, length, &after);
                if (after == length && (after < pos + 2 || ReadU16(record, after - 2) != 0)) {
                    complete = false;
                    break;
                }
                r.Strings.push_back(std::move(text));
                pos = after;
            }
        }
    }
    if (length < kEventLogRecordHeaderSize + 4 || ReadU32(record, length - 4) != length) complete = false;
    r.Complete = complete;
    out = std::move(r);
    return true;
}

EventLogRecords ParseEventLogRecords(ByteSpan bytes) {
    EventLogRecords result;
    std::size_t pos = 0;
    while (pos < bytes.size()) {
        EventLogRecord record;
        if (!ParseEventLogRecord(bytes.subspan(pos), record)) break;
        pos += record.Length;
        result.Records.push_back(std::move(record));
    }
    result.Consumed = pos;
    result.Clean = pos == bytes.size();
    return result;
}

TEventLogType EventTypeToLogType(std::uint16_t eventType) noexcept {
    switch (eventType) {
        case 1: return TEventLogType::etError;
        case 2: return TEventLogType::etWarning;
        case 4: return TEventLogType::etInformation;
        default: return TEventLogType::etUnknown;
    }
}

int TimeZoneOffsetHours(std::int32_t biasMinutes) noexcept { return -(biasMinutes / 60); }

double EventTimeToDateTime(std::uint32_t seconds, std::int32_t biasMinutes) noexcept {
    return kUnixEpochDateTime + static_cast<double>(seconds) / 86400.0 +
           static_cast<double>(TimeZoneOffsetHours(biasMinutes)) / 24.0;
}

bool IsLogClearedRecord(std::wstring_view sourceName, std::uint32_t eventId, bool newerWindows) noexcept {
    if (newerWindows) return SameText(sourceName, L"Microsoft-Windows-Eventlog");
    return SameText(sourceName, L"Security") && eventId == 517;
}

}  // namespace vt
