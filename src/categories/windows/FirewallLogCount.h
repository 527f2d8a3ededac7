// Entry counting of Windows Firewall log files ("pfirewall.log" and its
// ".old" companion), kept apart from the file system so the rule can be
// tested and fuzzed natively. A log starts with "#" header lines ("#Version",
// "#Software", "#Time Format", "#Fields"), often followed by a blank line,
// then one space-separated line per packet.
#pragma once

#include <string>
#include <vector>

#include "runtime/ByteView.h"

namespace vt {

// The file's text as the string list loads it: UTF-8, UTF-16LE or UTF-16BE by
// its byte-order mark (which is dropped); without a mark the bytes are taken
// one character each. The text ends at its first NUL character, as the string
// list's line splitting does.
std::wstring DecodeLogFileText(ByteSpan bytes);

// The lines of a text: CR, LF and CRLF each end a line; a last line without a
// break counts, a final break adds no empty line.
std::vector<std::wstring> SplitLogLines(const std::wstring& text);

// Number of entries in a firewall log's bytes. Empty lines are skipped. The
// leading lines that begin with "#" are the header; the first other line ends
// it, and when fewer than 3 header lines came before, the file is not a
// firewall log and counts 0. From there every line not beginning with "#" is
// one entry ("#" lines are ignored). A file of header lines only counts 0.
int CountFirewallLogEntries(ByteSpan bytes);

}  // namespace vt
