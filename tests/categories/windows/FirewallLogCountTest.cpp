#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "categories/windows/FirewallLogCount.h"
#include "support/ByteBuilder.h"

namespace vt {
namespace {

using test::ByteBuilder;
using Bytes = std::vector<std::uint8_t>;

// The header Windows Firewall writes at the top of "pfirewall.log".
const std::string kHeader =
    "#Version: 1.5\r\n"
    "#Software: Microsoft Windows Firewall\r\n"
    "#Time Format: Local\r\n"
    "#Fields: date time action protocol src-ip dst-ip src-port dst-port size tcpflags tcpsyn tcpack tcpwin "
    "icmptype icmpcode info path pid\r\n";
const std::string kEntries =
    "2024-03-15 09:30:12 DROP UDP 192.168.178.20 239.255.255.250 54915 1900 0 - - - - - - - RECEIVE 4\r\n"
    "2024-03-15 09:30:14 ALLOW TCP 192.168.178.20 52.114.128.9 50233 443 0 - 0 0 0 - - - SEND 7712\r\n"
    "2024-03-15 09:30:15 ALLOW UDP 192.168.178.20 192.168.178.1 61022 53 0 - - - - - - - SEND 2308\r\n";

Bytes Ascii(const std::string& s) { return Bytes(s.begin(), s.end()); }

Bytes Utf16(const std::string& s, bool bigEndian) {
    ByteBuilder b;
    b.Hex(bigEndian ? "FE FF" : "FF FE");
    for (unsigned char c : s) bigEndian ? b.U8(0).U8(c) : b.U8(c).U8(0);
    return b;
}

std::string Replace(std::string s, const std::string& from, const std::string& to) {
    for (std::size_t at = s.find(from); at != std::string::npos; at = s.find(from, at + to.size())) {
        s.replace(at, from.size(), to);
    }
    return s;
}

TEST(FirewallLog, EntryCountsOfRealShapedFiles) {
    const std::string log = kHeader + "\r\n" + kEntries;
    const Bytes utf16le = Utf16(log, false);
    const struct {
        const char* what;
        Bytes bytes;
        int entries;
    } cases[] = {
        {"as Windows writes it, blank line after the header", Ascii(log), 3},
        {"no blank line after the header", Ascii(kHeader + kEntries), 3},
        {"UTF-8 with byte-order mark", ByteBuilder().Hex("EF BB BF").Append(Ascii(log)), 3},
        {"UTF-16LE with byte-order mark", Utf16(log, false), 3},
        {"UTF-16BE with byte-order mark", Utf16(log, true), 3},
        {"line feeds only", Ascii(Replace(log, "\r\n", "\n")), 3},
        {"carriage returns only", Ascii(Replace(log, "\r\n", "\r")), 3},
        {"last entry without a line break", Ascii(log.substr(0, log.size() - 2)), 3},
        {"a repeated header after entries is ignored", Ascii(log + kHeader + kEntries), 6},
        {"header only (fresh log)", Ascii(kHeader + "\r\n"), 0},
        {"three header lines are enough", Ascii("#Version: 1.5\r\n#Software: Microsoft Windows Firewall\r\n"
                                                "#Time Format: Local\r\n" + kEntries), 3},
        {"two header lines and entries: not a firewall log",
         Ascii("#Version: 1.5\r\n#Software: Microsoft Windows Firewall\r\n\r\n" + kEntries), 0},
        {"only two header lines", Ascii("#Version: 1.5\r\n#Software: Microsoft Windows Firewall\r\n"), 0},
        {"no header at all", Ascii(kEntries), 0},
        {"empty file", {}, 0},
        {"UTF-16LE without a mark stops at its first NUL", Bytes(utf16le.begin() + 2, utf16le.end()), 0},
        {"entries after a NUL are not read",
         ByteBuilder().Append(Ascii(kHeader + kEntries.substr(0, kEntries.find('\n') + 11))).U8(0)
             .Append(Ascii(kEntries)),
         2},
    };
    for (const auto& c : cases) EXPECT_EQ(CountFirewallLogEntries(c.bytes), c.entries) << c.what;
}

TEST(FirewallLog, TextAndLines) {
    EXPECT_EQ(DecodeLogFileText(ByteBuilder().Hex("EF BB BF 23 C3 A4 0D 0A").Bytes()), L"#\u00E4\r\n");
    EXPECT_EQ(DecodeLogFileText(ByteBuilder().Hex("FF FE 23 00 3A 04").Bytes()), L"#\u043A");
    EXPECT_EQ(DecodeLogFileText(ByteBuilder().Hex("FE FF 00 23 04 3A").Bytes()), L"#\u043A");
    EXPECT_EQ(DecodeLogFileText(ByteBuilder().Hex("23 E4").Bytes()), L"#\u00E4");
    const std::vector<std::wstring> lines = {L"a", L"", L"b", L"c", L""};
    EXPECT_EQ(SplitLogLines(L"a\r\n\r\nb\rc\n\n"), lines);
    EXPECT_TRUE(SplitLogLines(L"").empty());
}

}  // namespace
}  // namespace vt
