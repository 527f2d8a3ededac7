// Fuzz target: an ignore-list file of arbitrary bytes. Finding and loading a
// record may fail with vt::Exception, never crash. When a record can be found,
// appending a line to it and then deleting it must change exactly that
// record: the bytes before and after it stay as they were, its header counts
// the added line and bytes, and the added text deciphers back.
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

class FuzzedFile : public vt::TIgnoreListsManager {
public:
    using TIgnoreListsManager::TIgnoreListsManager;

    // The header of record AId and the offset of its text; false when absent.
    bool Locate(std::int32_t AId, vt::TCryptedRecordHeader& AHeader, std::int64_t& ATextStart) {
        vt::CryptedFileUpdate update(*this, true);
        if (!FindRecord(AId, AHeader)) return false;
        ATextStart = FileBuf().Position();
        return true;
    }
};

void Require(bool condition) {
    if (!condition) std::abort();
}

bool SameRange(const Bytes& a, std::size_t aFrom, const Bytes& b, std::size_t bFrom, std::size_t count) {
    return aFrom + count <= a.size() && bFrom + count <= b.size() &&
           (count == 0 || std::memcmp(a.data() + aFrom, b.data() + bFrom, count) == 0);
}

const std::wstring& FilePath() {
    static const vt::test::TempFolder folder;
    static const std::wstring path = [] {
        vt::ForceDirectories(folder.Root());
        return folder.Path(L"VTL_User.igl");
    }();
    return path;
}

// Appends one line to record AId (at ATextStart, AHeader as found) and checks
// that only that record changed, then deletes it and checks the rest again.
void AppendAndDelete(FuzzedFile& file, std::int32_t AId, const vt::TCryptedRecordHeader& AHeader,
                     std::int64_t ATextStart) {
    const Bytes before = vt::ReadWholeFile(file.FilePath());
    const auto text = static_cast<std::size_t>(ATextStart);
    const std::size_t head = text - vt::kCryptedRecordHeaderSize;
    const auto length = static_cast<std::size_t>(AHeader.Length);
    const std::u16string line = u"fuzz\r\n";
    const std::size_t added = 2 * line.size();

    vt::StringList list;
    list.Add(L"fuzz");
    try {
        file.AddIgnoreList(AId, list);
    } catch (const vt::Exception&) {
        return;  // a Count or Length at the edge of its range is refused
    }
    const Bytes after = vt::ReadWholeFile(file.FilePath());
    Require(after.size() == before.size() + added);
    Require(SameRange(after, 0, before, 0, head));
    Require(SameRange(after, text, before, text, length));
    Require(SameRange(after, text + length + added, before, text + length, before.size() - text - length));

    std::uint8_t raw[vt::kCryptedRecordHeaderSize];
    std::memcpy(raw, after.data() + head, sizeof raw);
    const vt::TCryptedRecordHeader header = vt::TCryptedFile::DecodeHeader(raw);
    Require(header.Id == AId && header.CRC == AHeader.CRC && header.Flag == 0);
    Require(header.Count == AHeader.Count + 1 && header.Length == AHeader.Length + static_cast<std::int32_t>(added));

    // The whole record deciphers in one pass from key index 1.
    std::u16string units(static_cast<std::size_t>(header.Length) / 2, u'\0');
    for (std::size_t i = 0; i < units.size(); ++i)
        units[i] = static_cast<char16_t>(after[text + 2 * i] | after[text + 2 * i + 1] << 8);
    vt::TCryptedFile::CryptText(units, vt::kIgnoreListKey, 1, static_cast<std::uint8_t>(AId));
    Require(units.ends_with(line));

    Require(file.DeleteCategory(AId));
    const Bytes gone = vt::ReadWholeFile(file.FilePath());
    const std::size_t end = text + length + added;
    Require(gone.size() == after.size() - (end - head));
    Require(SameRange(gone, 0, after, 0, head));
    Require(SameRange(gone, head, after, end, after.size() - end));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Require(vt::WriteWholeFile(FilePath(), Bytes(data, data + size)));
    FuzzedFile file(FilePath());

    // The first record's Id, so that the deeper checks below reach a record.
    const std::int32_t first =
        size < 4 ? 0 : static_cast<std::int32_t>(data[0] | data[1] << 8 | data[2] << 16 | std::uint32_t{data[3]} << 24);
    for (const std::int32_t id : {vt::kUserIgnoreListId, 0, 1, first}) {
        try {
            vt::StringList list;
            if (file.LoadIgnoreList(id, list)) Require(list.Count() > 0);
        } catch (const vt::Exception&) {
        }
    }
    Require(file.NowUpdating() == 0);

    vt::TCryptedRecordHeader header;
    std::int64_t textStart = 0;
    try {
        if (!file.Locate(first, header, textStart)) return 0;
    } catch (const vt::Exception&) {
        return 0;
    }
    AppendAndDelete(file, first, header, textStart);
    Require(file.NowUpdating() == 0);
    return 0;
}
