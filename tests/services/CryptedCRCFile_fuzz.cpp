// Fuzz target: an ignore-list file of arbitrary bytes. Finding and loading a
// record may fail with vt::Exception, never crash. When the first record is
// valid, appending a line to it and then deleting it must change exactly that
// record: the bytes after it stay as they were, its header counts the added
// line and bytes, and the added text deciphers back.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "runtime/Exception.h"
#include "runtime/FileSystem.h"
#include "services/IgnoreLists.h"
#include "TempFolder.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
constexpr std::size_t kHead = vt::kCryptedRecordHeaderSize;

void Require(bool condition) {
    if (!condition) std::abort();
}

vt::TCryptedRecordHeader HeaderAt(const Bytes& bytes, std::size_t offset) {
    std::uint8_t raw[kHead];
    std::memcpy(raw, bytes.data() + offset, kHead);
    return vt::TCryptedFile::DecodeHeader(raw);
}

const std::wstring& FilePath() {
    static const vt::test::TempFolder folder;
    static const std::wstring path = [] {
        vt::ForceDirectories(folder.Root());
        return folder.Path(L"VTL_User.igl");
    }();
    return path;
}

// Appends one line to the first record (AHeader) and checks that only that
// record changed, then deletes it and checks that the rest is what followed it.
void AppendAndDelete(vt::TIgnoreListsManager& file, const vt::TCryptedRecordHeader& AHeader) {
    const Bytes before = vt::ReadWholeFile(file.FilePath());
    const auto length = static_cast<std::size_t>(AHeader.Length);
    const std::u16string line = u"fuzz\r\n";
    const std::size_t added = 2 * line.size(), end = kHead + length + added;
    vt::StringList list;
    list.Add(L"fuzz");
    try {
        file.AddIgnoreList(AHeader.Id, list);
    } catch (const vt::Exception&) {
        return;  // a Count or Length at the edge of its range is refused
    }
    const Bytes after = vt::ReadWholeFile(file.FilePath());
    Require(after.size() == before.size() + added);
    Require(std::memcmp(after.data() + kHead, before.data() + kHead, length) == 0);
    Require(std::memcmp(after.data() + end, before.data() + kHead + length, after.size() - end) == 0);
    const vt::TCryptedRecordHeader header = HeaderAt(after, 0);
    Require(header.Id == AHeader.Id && header.CRC == AHeader.CRC && header.Flag == 0);
    Require(header.Count == AHeader.Count + 1 && header.Length == AHeader.Length + static_cast<std::int32_t>(added));

    // The whole record deciphers in one pass from key index 1.
    std::u16string units(static_cast<std::size_t>(header.Length) / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<char16_t>(after[kHead + 2 * i] | after[kHead + 2 * i + 1] << 8);
    vt::TCryptedFile::CryptText(units, vt::kIgnoreListKey, 1, static_cast<std::uint8_t>(AHeader.Id));
    Require(units.ends_with(line));

    Require(file.DeleteCategory(AHeader.Id));
    Require(vt::ReadWholeFile(file.FilePath()) == Bytes(after.begin() + static_cast<std::ptrdiff_t>(end), after.end()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes(data, data + size);
    Require(vt::WriteWholeFile(FilePath(), bytes));
    vt::TIgnoreListsManager file(FilePath());

    // The first record's Id, so that the deeper checks below reach a record.
    const std::int32_t first = size < kHead ? 0 : HeaderAt(bytes, 0).Id;
    for (const std::int32_t id : {vt::kUserIgnoreListId, 0, 1, first}) {
        try {
            vt::StringList list;
            if (file.LoadIgnoreList(id, list)) Require(list.Count() > 0);
        } catch (const vt::Exception&) {
        }
    }
    bool found = false;
    try {
        found = file.IgnoreListExists(first);
    } catch (const vt::Exception&) {
    }
    Require(file.NowUpdating() == 0);
    // Found, the record with the first Id is the first one, at offset 0.
    if (found) AppendAndDelete(file, HeaderAt(bytes, 0));
    Require(file.NowUpdating() == 0);
    return 0;
}
