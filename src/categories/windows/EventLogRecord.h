// EVENTLOGRECORD as ReadEventLogW returns it, read from bytes so the event-log
// reader can be tested and fuzzed without a real event log. One record:
//
//   0  Length               4  whole record, header to trailing length copy
//   4  Reserved             4  "LfLe" (0x654C664C)
//   8  RecordNumber         4
//  12  TimeGenerated        4  seconds since 1970-01-01 UTC
//  16  TimeWritten          4
//  20  EventID              4  with the qualifier bits in the high word
//  24  EventType            2  1 error, 2 warning, 4 information, 8/16 audit
//  26  NumStrings           2
//  28  EventCategory        2
//  30  ReservedFlags        2
//  32  ClosingRecordNumber  4
//  36  StringOffset         4  from the start of the record
//  40  UserSidLength        4
//  44  UserSidOffset        4
//  48  DataLength           4
//  52  DataOffset           4
//  56  SourceName, Computername (NUL-terminated UTF-16), padding, UserSid,
//      Strings, Data, padding, Length again (4 bytes).
//
// Records lie back to back in a read buffer. Lengths and offsets come from
// outside and are checked against the record and the buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/ByteView.h"

namespace vt {

enum class TEventLogType : std::uint8_t { etUnknown, etError, etWarning, etInformation };

inline constexpr std::uint32_t kEventLogRecordSignature = 0x654C664Cu;  // "LfLe"
inline constexpr std::size_t kEventLogRecordHeaderSize = 56;

struct EventLogRecord {
    std::uint32_t Length = 0;
    std::uint32_t RecordNumber = 0;
    std::uint32_t TimeGenerated = 0;
    std::uint32_t TimeWritten = 0;
    std::uint32_t EventID = 0;
    std::uint16_t EventType = 0;
    std::uint16_t NumStrings = 0;
    std::uint16_t EventCategory = 0;
    std::uint16_t ReservedFlags = 0;
    std::uint32_t ClosingRecordNumber = 0;
    std::uint32_t StringOffset = 0;
    std::uint32_t UserSidLength = 0;
    std::uint32_t UserSidOffset = 0;
    std::uint32_t DataLength = 0;
    std::uint32_t DataOffset = 0;
    std::wstring SourceName;
    std::wstring ComputerName;
    std::vector<std::wstring> Strings;    // the insertion strings that lie inside the record
    std::vector<std::uint8_t> UserSid;    // empty when absent or not inside the record
    std::vector<std::uint8_t> Data;       // the same
    // Every part the header declares lies inside the record, the strings are
    // all there and the trailing length copy matches.
    bool Complete = false;
};

// Reads the record at the start of bytes. False (out unspecified) when no
// record is there: fewer than 56 bytes, a Length below 56 or past the end of
// bytes, or a wrong signature. Parts that do not fit leave Complete false.
bool ParseEventLogRecord(ByteSpan bytes, EventLogRecord& out);

struct EventLogRecords {
    std::vector<EventLogRecord> Records;
    std::size_t Consumed = 0;  // bytes taken by the records read
    bool Clean = false;        // the records filled the buffer exactly
};

// Reads the records of a read buffer, back to back, stopping at the first one
// that ParseEventLogRecord refuses.
EventLogRecords ParseEventLogRecords(ByteSpan bytes);

// EventType 1 etError, 2 etWarning, 4 etInformation, anything else etUnknown.
TEventLogType EventTypeToLogType(std::uint16_t eventType) noexcept;

// The local offset in whole hours from a time-zone bias in minutes (UTC minus
// local time, as GetTimeZoneInformation gives it): the bias divided by 60,
// truncated, with the opposite sign. Minutes of a bias are deliberately lost.
int TimeZoneOffsetHours(std::int32_t biasMinutes) noexcept;

// A record time (seconds since 1970-01-01 UTC) as a local date-time (days
// since 1899-12-30): 1970-01-01 plus seconds / 86400 plus the whole-hour
// offset of the bias. The daylight bias is not applied.
double EventTimeToDateTime(std::uint32_t seconds, std::int32_t biasMinutes) noexcept;

// True for the record a log gets when it is cleared, which makes a log holding
// only that record count as empty: on older Windows event 517 from source
// "Security", on newer Windows (the in-house range 12 to 22) any record from
// "Microsoft-Windows-Eventlog" (sources compared without case).
bool IsLogClearedRecord(std::wstring_view sourceName, std::uint32_t eventId, bool newerWindows) noexcept;

}  // namespace vt
