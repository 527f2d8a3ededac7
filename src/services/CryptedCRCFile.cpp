#include "services/CryptedCRCFile.h"

#include <algorithm>

#include "runtime/Crc32.h"
#include "runtime/DebugLog.h"
#include "runtime/Exception.h"
#include "runtime/FileStream.h"
#include "runtime/FileSystem.h"
#include "runtime/Utf.h"
#include "services/DLLStrings.h"
#include "vantrel/ComTypes.h"

namespace vt {

namespace {

constexpr wchar_t kSender[] = L"TCryptedFile";
constexpr wchar_t kCounterNotNil[] = L"Ignore List \"update\" counter is not nil!";

void PutInt32(std::uint8_t* out, std::uint32_t v) {
    out[0] = static_cast<std::uint8_t>(v);
    out[1] = static_cast<std::uint8_t>(v >> 8);
    out[2] = static_cast<std::uint8_t>(v >> 16);
    out[3] = static_cast<std::uint8_t>(v >> 24);
}

std::uint32_t GetInt32(const std::uint8_t* in) {
    return static_cast<std::uint32_t>(in[0]) | static_cast<std::uint32_t>(in[1]) << 8 |
           static_cast<std::uint32_t>(in[2]) << 16 | static_cast<std::uint32_t>(in[3]) << 24;
}

// The folder part of a path; both separators count, so native test paths work too.
std::wstring FolderOf(const std::wstring& path) {
    const std::size_t slash = path.find_last_of(L"\\/");
    if (slash == std::wstring::npos || slash == 0) return {};
    return path.substr(0, slash);
}

std::u16string UnitsFromBytes(const std::vector<std::uint8_t>& bytes) {
    std::u16string units(bytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<char16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    return units;
}

}  // namespace

TCryptedFile::TCryptedFile(std::wstring APath, bool UseChecksum)
    : fFilePath(std::move(APath)), fUseBlockChecksum(UseChecksum) {}

TCryptedFile::~TCryptedFile() {
    if (fNowUpdating != 0) {
        try {
            TDebugLog::Log(llError, kSender, kCounterNotNil);
        } catch (...) {
            // Logging is best effort here: the object goes away regardless.
        }
    }
    fFileBuf.reset();
}

void TCryptedFile::Destroy() {
    if (fNowUpdating != 0) ThrowInvalidOperation(kCounterNotNil);
}

void TCryptedFile::BeginUpdate(bool AOnlyRead) {
    if (!fFileBuf) OpenStream(AOnlyRead);
    ++fNowUpdating;
}

void TCryptedFile::EndUpdate() {
    if (fNowUpdating <= 0) ThrowInvalidOperation(L"EndUpdate without BeginUpdate");
    if (--fNowUpdating == 0) fFileBuf.reset();
}

void TCryptedFile::OpenStream(bool AOnlyRead) {
    if (!FileExists(fFilePath)) {
        // Even a reader creates the empty file (and its folder): later readers
        // and writers then always find one.
        const std::wstring folder = FolderOf(fFilePath);
        if (!folder.empty() && !DirectoryExists(folder)) ForceDirectories(folder);
        fFileBuf = std::make_unique<FileStream>(fFilePath, fmCreate | fmShareDenyWrite);
        return;
    }
    fFileBuf = std::make_unique<FileStream>(fFilePath, (AOnlyRead ? fmOpenRead : fmOpenReadWrite) | fmShareDenyWrite);
}

Stream& TCryptedFile::FileBuf() {
    if (!fFileBuf) ThrowInvalidOperation(L"The record file \"" + fFilePath + L"\" is not open");
    return *fFileBuf;
}

void TCryptedFile::ThrowCorrupt(const std::wstring& AWhat) const {
    throw Exception(E_FAIL, L"Corrupt record file \"" + fFilePath + L"\": " + AWhat);
}

void TCryptedFile::EncodeHeader(const TCryptedRecordHeader& AHeader, std::uint8_t (&AOut)[kCryptedRecordHeaderSize]) {
    PutInt32(AOut + 0, static_cast<std::uint32_t>(AHeader.Id));
    PutInt32(AOut + 4, AHeader.CRC);
    PutInt32(AOut + 8, static_cast<std::uint32_t>(AHeader.Flag));
    PutInt32(AOut + 12, static_cast<std::uint32_t>(AHeader.Count));
    PutInt32(AOut + 16, static_cast<std::uint32_t>(AHeader.Length));
}

TCryptedRecordHeader TCryptedFile::DecodeHeader(const std::uint8_t (&AIn)[kCryptedRecordHeaderSize]) {
    TCryptedRecordHeader h;
    h.Id = static_cast<std::int32_t>(GetInt32(AIn + 0));
    h.CRC = GetInt32(AIn + 4);
    h.Flag = static_cast<std::int32_t>(GetInt32(AIn + 8));
    h.Count = static_cast<std::int32_t>(GetInt32(AIn + 12));
    h.Length = static_cast<std::int32_t>(GetInt32(AIn + 16));
    return h;
}

void TCryptedFile::AppendRecord(const void* AHeader, std::size_t AHeaderSize, const void* AText, std::size_t ATextSize) {
    CryptedFileUpdate update(*this, false);
    Stream& s = FileBuf();
    s.Seek(0, SeekOrigin::End);
    s.WriteBuffer(AHeader, AHeaderSize);
    s.WriteBuffer(AText, ATextSize);
}

void TCryptedFile::CryptText(char16_t* AText, std::size_t ACount, std::u16string_view AKey, int AKeyIndex,
                             std::uint8_t ASalt) {
    if (AKey.empty() || AKeyIndex < 1 || static_cast<std::size_t>(AKeyIndex) > AKey.size())
        ThrowInvalidOperation(L"Key index out of range");
    std::size_t k = static_cast<std::size_t>(AKeyIndex) - 1;  // 0-based from here on
    for (std::size_t i = 0; i < ACount; ++i) {
        const auto t = static_cast<std::uint8_t>(AKey[k] + ASalt);
        AText[i] = static_cast<char16_t>(AText[i] ^ t);
        k = (k + 1 == AKey.size()) ? 0 : k + 1;
    }
}

std::uint32_t TCryptedFile::CalcChecksum(const void* ABuffer, int ACount) {
    return HashCRC32::FromBuffer(ABuffer, ACount);
}

std::vector<std::uint8_t> TCryptedFile::EncipherText(std::wstring_view AText, int AKeyIndex, std::uint8_t ASalt) {
    std::u16string units = ToUtf16(AText);
    CryptText(units, kIgnoreListKey, AKeyIndex, ASalt);
    std::vector<std::uint8_t> bytes(units.size() * 2);
    for (std::size_t i = 0; i < units.size(); ++i) {
        bytes[2 * i] = static_cast<std::uint8_t>(units[i]);
        bytes[2 * i + 1] = static_cast<std::uint8_t>(units[i] >> 8);
    }
    return bytes;
}

bool TCryptedFile::FindRecord(std::int32_t AId, TCryptedRecordHeader& AHeader) {
    Stream& s = FileBuf();
    const std::int64_t size = s.Size();
    if (size == 0) return false;
    std::int64_t position = s.Seek(0, SeekOrigin::Begin);
    for (;;) {
        if (size - position < static_cast<std::int64_t>(kCryptedRecordHeaderSize))
            ThrowCorrupt(L"record header at offset " + std::to_wstring(position) + L" is cut short");
        std::uint8_t raw[kCryptedRecordHeaderSize];
        s.ReadBuffer(raw, sizeof raw);
        AHeader = DecodeHeader(raw);
        const std::int64_t text = position + static_cast<std::int64_t>(kCryptedRecordHeaderSize);
        // A negative Length would walk backwards for ever; a text past the end
        // means the file was cut short. Both are corruption, not absence.
        if (AHeader.Length < 0 || text + AHeader.Length > size)
            ThrowCorrupt(L"record at offset " + std::to_wstring(position) + L" has an invalid length " +
                         std::to_wstring(AHeader.Length));
        if (AHeader.Id == AId) {
            if (AHeader.Length % 2 != 0)
                ThrowCorrupt(L"record at offset " + std::to_wstring(position) + L" has an odd length " +
                             std::to_wstring(AHeader.Length));
            if (AHeader.Count <= 0) ThrowInvalidOperation();
            return true;
        }
        position = s.Seek(AHeader.Length, SeekOrigin::Current);
        if (position >= size) return false;
    }
}

void TCryptedFile::AddRecord(std::int32_t AId, const StringList& AList) {
    const std::wstring text = AList.Text();
    if (Utf16Length(text) > static_cast<std::size_t>(INT32_MAX / 2)) ThrowInvalidOperation(L"Record text too long");
    const std::vector<std::uint8_t> bytes = EncipherText(text, 1, static_cast<std::uint8_t>(AId));
    TCryptedRecordHeader h;
    h.Id = AId;
    h.CRC = fUseBlockChecksum ? CalcChecksum(bytes.data(), static_cast<int>(bytes.size())) : 0;
    h.Flag = AList.Sorted() ? -1 : 0;
    h.Count = AList.Count();
    h.Length = static_cast<std::int32_t>(bytes.size());
    std::uint8_t raw[kCryptedRecordHeaderSize];
    EncodeHeader(h, raw);
    AppendRecord(raw, sizeof raw, bytes.data(), bytes.size());
}

void TCryptedFile::AppendToRecord(TCryptedRecordHeader& AHeader, std::wstring_view AText) {
    Stream& s = FileBuf();
    const std::int64_t textStart = s.Position();
    AHeader.Flag = 0;
    const int existingUnits = AHeader.Length / 2;
    const std::vector<std::uint8_t> added =
        EncipherText(AText, existingUnits % kKeyLength + 1, static_cast<std::uint8_t>(AHeader.Id));
    if (static_cast<std::int64_t>(AHeader.Length) + static_cast<std::int64_t>(added.size()) > INT32_MAX)
        ThrowInvalidOperation(L"Record text too long");

    const std::int64_t textEnd = textStart + AHeader.Length;
    const std::int64_t size = s.Size();
    if (textEnd == size) {
        s.Seek(0, SeekOrigin::End);
        s.WriteBuffer(added.data(), added.size());
    } else {
        // Later records move back by the added bytes, unchanged.
        std::vector<std::uint8_t> tail(static_cast<std::size_t>(size - textEnd));
        s.SetPosition(textEnd);
        s.ReadBuffer(tail.data(), tail.size());
        s.SetPosition(textEnd);
        s.WriteBuffer(added.data(), added.size());
        s.WriteBuffer(tail.data(), tail.size());
    }
    AHeader.Length += static_cast<std::int32_t>(added.size());

    if (fUseBlockChecksum) {
        std::vector<std::uint8_t> all(static_cast<std::size_t>(AHeader.Length));
        s.SetPosition(textStart);
        s.ReadBuffer(all.data(), all.size());
        AHeader.CRC = CalcChecksum(all.data(), static_cast<int>(all.size()));
    }
    std::uint8_t raw[kCryptedRecordHeaderSize];
    EncodeHeader(AHeader, raw);
    s.SetPosition(textStart - static_cast<std::int64_t>(kCryptedRecordHeaderSize));
    s.WriteBuffer(raw, sizeof raw);
}

bool TCryptedFile::LoadRecord(std::int32_t AId, std::unique_ptr<StringList>& AList) {
    return LoadInto(AId, AList.get(), &AList);
}

bool TCryptedFile::LoadRecord(std::int32_t AId, StringList& AList) { return LoadInto(AId, &AList, nullptr); }

bool TCryptedFile::LoadInto(std::int32_t AId, StringList* AList, std::unique_ptr<StringList>* AOwned) {
    const auto ensureList = [&]() -> StringList& {
        if (!AList) {
            *AOwned = std::make_unique<StringList>(false, dupIgnore, true);
            AList = AOwned->get();
        }
        return *AList;
    };

    CryptedFileUpdate update(*this, false);
    Stream& s = FileBuf();
    TCryptedRecordHeader h;
    if (s.Size() == 0 || !FindRecord(AId, h)) {
        ensureList();
        return false;
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(h.Length));
    s.ReadBuffer(bytes.data(), bytes.size());
    const bool result = !fUseBlockChecksum || CalcChecksum(bytes.data(), static_cast<int>(bytes.size())) == h.CRC;

    std::u16string units = UnitsFromBytes(bytes);
    CryptText(units, kIgnoreListKey, 1, static_cast<std::uint8_t>(AId));

    StringList& list = ensureList();
    // Flag 0 means "stored unsorted, or merged": such lists are sorted on
    // loading, while a list stored sorted keeps its file order.
    list.SetSorted(h.Flag == 0);
    // Count is only a reservation hint; a corrupt Count must not reserve
    // more entries than the text could hold.
    const int hint = static_cast<int>(std::min<std::int64_t>(h.Count, static_cast<std::int64_t>(units.size()) + 1));
    if (hint > list.Count()) list.SetCapacity(hint);
    list.SetText(Localizer::ReplaceIglTags(FromUtf16(units)));
    if (list.Count() == 0) ThrowInvalidOperation();
    return result;
}

void TCryptedFile::RewriteFile(const std::vector<std::uint8_t>& ABytes) {
    if (!fFileBuf) ThrowInvalidOperation(L"The record file \"" + fFilePath + L"\" is not open");
    fFileBuf.reset();
    fFileBuf = std::make_unique<FileStream>(fFilePath, fmCreate);
    fFileBuf->WriteBuffer(ABytes.data(), ABytes.size());
}

}  // namespace vt
