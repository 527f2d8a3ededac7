#include "categories/applications/PluginsFile.h"

#include <vector>

#include "runtime/Exception.h"
#include "runtime/OSInfo.h"
#include "runtime/Strings.h"
#include "runtime/Utf.h"
#include "services/EnvHelper.h"

namespace vt {

namespace {

// Windows 7 to 11 in the runtime's numbering: the systems on which the common
// application data folder is the all-users profile folder.
constexpr int kAllUsersIsCommonAppDataFrom = OSInfo::wvWin7;
constexpr int kAllUsersIsCommonAppDataTo = OSInfo::wvWin11;

}  // namespace

TPluginsFile::TPluginsFile(std::wstring AFileName, bool AOnlyRead) : TCryptedFile(std::move(AFileName), false) {
    BeginUpdate(AOnlyRead);
}

TPluginsFile::~TPluginsFile() {
    try {
        EndUpdate();
    } catch (...) {
        // The bracket opened by the constructor is the only one left; closing cannot fail otherwise.
    }
}

void TPluginsFile::EncodeHeader(const TPluginHeader& AHeader, std::uint8_t (&AOut)[kPluginHeaderSize]) {
    for (int i = 0; i < 4; ++i) {
        AOut[i] = static_cast<std::uint8_t>(AHeader.RecordNumber >> (8 * i));
        AOut[4 + i] = static_cast<std::uint8_t>(AHeader.PayloadLength >> (8 * i));
    }
    AOut[8] = AHeader.Reserved;
}

TPluginHeader TPluginsFile::DecodeHeader(const std::uint8_t (&AIn)[kPluginHeaderSize]) {
    TPluginHeader h;
    for (int i = 0; i < 4; ++i) {
        h.RecordNumber |= static_cast<std::uint32_t>(AIn[i]) << (8 * i);
        h.PayloadLength |= static_cast<std::uint32_t>(AIn[4 + i]) << (8 * i);
    }
    h.Reserved = AIn[8];
    return h;
}

bool TPluginsFile::FindRecord(std::uint32_t ANumber, std::int64_t APosition, TPluginHeader& AHeader) {
    Stream& s = FileBuf();
    const std::int64_t size = s.Size();
    if (size == 0 || APosition >= size) return false;
    std::int64_t position = s.Seek(APosition, SeekOrigin::Begin);
    for (;;) {
        if (size - position < static_cast<std::int64_t>(kPluginHeaderSize))
            ThrowCorrupt(L"record frame at offset " + std::to_wstring(position) + L" is cut short");
        std::uint8_t raw[kPluginHeaderSize];
        s.ReadBuffer(raw, sizeof raw);
        AHeader = DecodeHeader(raw);
        const std::int64_t payload = position + static_cast<std::int64_t>(kPluginHeaderSize);
        // A payload past the end is a file cut short; an odd length would put
        // every later frame one byte off. Both are corruption, not a gap.
        if (payload + AHeader.PayloadLength > size || AHeader.PayloadLength % 2 != 0)
            ThrowCorrupt(L"record at offset " + std::to_wstring(position) + L" has an invalid length " +
                         std::to_wstring(AHeader.PayloadLength));
        if (AHeader.RecordNumber == ANumber) return true;
        position = s.Seek(AHeader.PayloadLength, SeekOrigin::Current);
        if (position >= size) return false;
    }
}

bool TPluginsFile::GetNextRaw(TPluginRecord& ARecord, StringList& ALines, bool ARestart) {
    Stream& s = FileBuf();
    if (ARestart) {
        FCurrentRecord = 0;
        s.SetPosition(0);
    }
    TPluginHeader h;
    if (FCurrentRecord < 0 || !FindRecord(static_cast<std::uint32_t>(FCurrentRecord), s.Position(), h)) return false;

    std::vector<std::uint8_t> bytes(h.PayloadLength);
    s.ReadBuffer(bytes.data(), bytes.size());
    std::u16string units(bytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<char16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    CryptText(units, kPluginsKey, 1, static_cast<std::uint8_t>(h.RecordNumber));

    ALines.SetText(FromUtf16(units));
    // With a single line nothing is taken: it stays a definition line.
    if (ALines.Count() > 1) {
        ARecord.Name = ALines.Get(ALines.Count() - 1);
        ALines.Delete(ALines.Count() - 1);
        ARecord.Group = ALines.Get(ALines.Count() - 1);
        ALines.Delete(ALines.Count() - 1);
    }
    ++FCurrentRecord;
    return true;
}

bool TPluginsFile::GetNext(TPluginRecord& ARecord, StringList& ALines, bool ARestart) {
    if (!GetNextRaw(ARecord, ALines, ARestart)) return false;
    ApplyLineRules(ALines);
    return true;
}

void TPluginsFile::ApplyLineRules(StringList& ALines) {
    const bool rewriteCommonAppData = OSInfo::IsWindows(kAllUsersIsCommonAppDataFrom, kAllUsersIsCommonAppDataTo);
    for (int i = ALines.Count() - 1; i >= 0; --i) {
        std::wstring line = ALines.Get(i);
        if (line.size() < 4) {
            ALines.Delete(i);
            continue;
        }
        if (rewriteCommonAppData) {
            const std::wstring upper = UpperCase(line);
            // The whole line stays upper case: file paths do not care, and the
            // rewritten lines have always looked like this.
            if (upper.find(L"COMMONAPPDATA") != std::wstring::npos)
                line = ReplaceAll(upper, L"%COMMONAPPDATA%", L"%ALLUSERSPROFILE%");
        }
        ALines.Set(i, TEnvHelper::Expand(line));
    }
}

void TPluginsFile::AddToFile(const TPluginRecord& ARecord, TPluginHeader& AHeader, StringList& ALines) {
    ALines.Add(ARecord.Group);
    ALines.Add(ARecord.Name);
    std::u16string units = ToUtf16(ALines.Text());
    if (units.size() > 0x7FFFFFFFu / 2) ThrowInvalidOperation(L"Record text too long");
    CryptText(units, kPluginsKey, 1, static_cast<std::uint8_t>(AHeader.RecordNumber));
    AHeader.PayloadLength = static_cast<std::uint32_t>(units.size() * 2);
    std::vector<std::uint8_t> bytes(units.size() * 2);
    for (std::size_t i = 0; i < units.size(); ++i) {
        bytes[2 * i] = static_cast<std::uint8_t>(units[i]);
        bytes[2 * i + 1] = static_cast<std::uint8_t>(units[i] >> 8);
    }
    std::uint8_t raw[kPluginHeaderSize];
    EncodeHeader(AHeader, raw);
    AppendRecord(raw, sizeof raw, bytes.data(), bytes.size());
    FRecordCount = -1;
}

int TPluginsFile::GetCount() {
    if (FRecordCount != -1) return FRecordCount;
    CryptedFileUpdate update(*this, false);
    Stream& s = FileBuf();
    const std::int64_t keep = s.Position();
    int count = 0;
    std::int64_t offset = 0;
    TPluginHeader h;
    // The next search starts where the found record ends, as GetNext's does,
    // so both agree on a file whose records are out of order.
    while (FindRecord(static_cast<std::uint32_t>(count), offset, h)) {
        ++count;
        offset = s.Position() + h.PayloadLength;
    }
    s.SetPosition(keep);
    FRecordCount = count;
    return count;
}

}  // namespace vt
