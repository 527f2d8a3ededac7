// Fuzz target: event-log read buffers from arbitrary bytes. Nothing crashes,
// every record read lies inside the buffer, and the walk accounts for the
// bytes it consumed.
#include <cstdint>
#include <cstdlib>

#include "categories/windows/EventLogRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const vt::ByteSpan bytes(data, size);
    const vt::EventLogRecords read = vt::ParseEventLogRecords(bytes);
    std::size_t total = 0;
    for (const auto& record : read.Records) {
        if (record.Length < vt::kEventLogRecordHeaderSize) std::abort();
        if (record.UserSid.size() > record.Length || record.Data.size() > record.Length) std::abort();
        total += record.Length;
        (void)vt::EventTypeToLogType(record.EventType);
        (void)vt::EventTimeToDateTime(record.TimeGenerated, static_cast<std::int32_t>(record.TimeWritten));
        (void)vt::IsLogClearedRecord(record.SourceName, record.EventID, (record.EventType & 1) != 0);
    }
    if (total != read.Consumed || read.Consumed > size || read.Clean != (read.Consumed == size)) std::abort();
    return 0;
}
