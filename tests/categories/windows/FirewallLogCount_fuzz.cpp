// Fuzz target: firewall log files from arbitrary bytes. Nothing crashes and
// the count never exceeds the number of lines.
#include <cstdint>
#include <cstdlib>

#include "categories/windows/FirewallLogCount.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const vt::ByteSpan bytes(data, size);
    const int entries = vt::CountFirewallLogEntries(bytes);
    const auto lines = vt::SplitLogLines(vt::DecodeLogFileText(bytes));
    if (entries < 0 || static_cast<std::size_t>(entries) > lines.size()) std::abort();
    return 0;
}
