// TCryptedFile: the enciphered record container behind the user's ignore
// lists. The file is records back to back, with no file header:
//
//   offset 0   Id      int32 LE  record key (for ignore lists the category id)
//          4   CRC     uint32 LE CRC-32 of the Length text bytes, 0 when checksums are off
//          8   Flag    int32 LE  -1 when the stored list was sorted, 0 when not
//         12   Count   int32 LE  number of lines; a record with Count <= 0 is invalid
//         16   Length  int32 LE  byte length of the text (2 x its UTF-16 code units)
//         20   Text    UTF-16LE code units, enciphered, no terminator
//
// The cipher XORs the low byte of every code unit with (key unit + salt) mod
// 256, walking a repeating key; the salt is the low byte of the record's Id.
// Text appended to a record continues the key stream where the record's text
// ends, so a record always deciphers in one pass from key index 1.
//
// The file is open only between BeginUpdate and the matching EndUpdate; nested
// brackets share the one stream, and the first bracket's mode wins.
//
// Lifetime: a container must not go away inside an update bracket. Destroy()
// raises "Ignore List "update" counter is not nil!" in that case and changes
// nothing; owners call it before releasing the object. A destructor cannot
// throw, so the destructor itself only logs that error and closes the stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/Stream.h"
#include "runtime/StringList.h"

namespace vt {

// The fixed header in front of every record's text.
struct TCryptedRecordHeader {
    std::int32_t Id = 0;
    std::uint32_t CRC = 0;
    std::int32_t Flag = 0;
    std::int32_t Count = 0;
    std::int32_t Length = 0;
};

// Size of the header on disk.
constexpr std::size_t kCryptedRecordHeaderSize = 20;

// The key the ignore-list files are enciphered with. Files written with any
// other key cannot be read back, so it never changes.
inline constexpr char16_t kIgnoreListKeyText[] =
    u"\u043C\u05D5\u0E25\u3084\u05D7\x8B\x04\u03C3\u03AF\x13\u03A9\u4E5E\u3089\x04\u043C\u3085"
    u"\x1DV\x05\u042C\x1C\u0423\u05E2\x14\x1E\x16\u3072\x1B\u4EB8\x03\u4E60\u2541\u2501\u03C6"
    u"\u4E56\u0E11\x0F\u05D7\u4ED0\u3044\x15\u03AF\x7F\u305E\x93\x06\u0435\x1B\u0416\x06\u03BD"
    u"\x91\x10\u05E0\u03AE\x80\x1D\u3094\u041F\x85\x08\x9A\u4E70\u0E04\u03C0\u0432\u043F\x05\x0F"
    u"\u4E61\x03\u255C\u4EAE\u3067\u2508\u05E6\x05\u251D\x16\u05E1\x90\x04\x18\u4E7A\u3076\u0423"
    u"\u039C\x0DT\u2516\x09\x18\x0C\x0E\x19\u0395\x9C\x11\u03A2\u253F\x0A\x16\x1D\u2523\x11\x19"
    u"\x04\x89\x1C\u039C\x09\u03AF\u042F\u304B\u4EE1\u307A\u0E12\x03\u2500\u4E09\x1D\x08\x1E\x05"
    u"\x10\u044D\u041D\u043A\x8E\u0E20\u0442\x14\x17\u0392\x06\u3093\u2539\x9A\u2566\x8F\x8E\x87"
    u"\u0396\u03BD\x0D\u05E8\x0A\x10\u05DC\x15L\u2535\x17\x03\u0445\x95\u0E04\u251A\x09\u251C"
    u"\x07\x1F\u0439\x0C\x1A\u0438\u0445\u05E2\u05D6\x89\u03BD\x09\x16\x19\u3094\u05D0\x8D\x0B"
    u"\u0436\u03AF\u0E07\x1A\x12\u03BF\u041E\x1A\u0443\x07\x1F\u2500\u05D6\x18\x86\x01\x9A\x98"
    u"\x9A\x1E\x0D\x95\u0E13\x11\x0B";
inline constexpr std::u16string_view kIgnoreListKey(kIgnoreListKeyText, std::size(kIgnoreListKeyText) - 1);
static_assert(kIgnoreListKey.size() == 203, "the ignore-list key is 203 UTF-16 code units");

class TCryptedFile {
public:
    // The key length of the ignore-list files; appended text continues at
    // key index (L mod kKeyLength) + 1.
    static constexpr int kKeyLength = 203;

    // Keeps the path and the checksum choice; opens nothing.
    TCryptedFile(std::wstring APath, bool UseChecksum);
    // Closes a stream left open by unbalanced brackets after logging the
    // error Destroy() would raise; never throws.
    virtual ~TCryptedFile();
    TCryptedFile(const TCryptedFile&) = delete;
    TCryptedFile& operator=(const TCryptedFile&) = delete;

    // Raises the invalid-operation error "Ignore List "update" counter is not
    // nil!" while an update bracket is open (nothing changes); otherwise does
    // nothing, and the owner may release the object.
    void Destroy();

    // Opens the bracket; the first one opens the file: read-only or read-write
    // (both deny-write). A missing file is created empty, with its folder,
    // whatever AOnlyRead says. On failure the counter is unchanged and the
    // file error propagates.
    void BeginUpdate(bool AOnlyRead);
    // Closes the bracket; the last one closes the file. Raises the
    // invalid-operation error when no bracket is open.
    void EndUpdate();

    int NowUpdating() const noexcept { return fNowUpdating; }
    const std::wstring& FilePath() const noexcept { return fFilePath; }
    bool UseBlockChecksum() const noexcept { return fUseBlockChecksum; }

    // Appends a header of AHeaderSize bytes and ATextSize text bytes at the end
    // of the file, inside its own bracket. File errors propagate.
    void AppendRecord(const void* AHeader, std::size_t AHeaderSize, const void* AText, std::size_t ATextSize);

    // Enciphers (or, the same, deciphers) count code units in place with key
    // starting at the 1-based AKeyIndex and salt ASalt; an index outside
    // 1..key length raises the invalid-operation error.
    static void CryptText(char16_t* AText, std::size_t ACount, std::u16string_view AKey, int AKeyIndex,
                          std::uint8_t ASalt);
    static void CryptText(std::u16string& AText, std::u16string_view AKey, int AKeyIndex, std::uint8_t ASalt) {
        CryptText(AText.data(), AText.size(), AKey, AKeyIndex, ASalt);
    }

    // CRC-32 of ACount bytes; a negative count raises "Range check error".
    static std::uint32_t CalcChecksum(const void* ABuffer, int ACount);

    // The header's 20 bytes on disk, and back.
    static void EncodeHeader(const TCryptedRecordHeader& AHeader, std::uint8_t (&AOut)[kCryptedRecordHeaderSize]);
    static TCryptedRecordHeader DecodeHeader(const std::uint8_t (&AIn)[kCryptedRecordHeaderSize]);

protected:
    // The open stream; the invalid-operation error outside an update bracket.
    Stream& FileBuf();

    // Looks for the record with Id AId from the start (the stream must be
    // open). Found: AHeader holds its header and the stream stands at its
    // text. A torn record (header cut short, or text running past the end:
    // a write that did not finish) ends the search as not found, whatever its
    // Id, and is logged. Raises the invalid-operation error (empty message)
    // for a found record with Count <= 0, and a corrupt-file error for a
    // negative Length or a found record with an odd one.
    bool FindRecord(std::int32_t AId, TCryptedRecordHeader& AHeader);

    // Appends a new record holding AList's text: Flag -1 when AList is sorted,
    // else 0; Count = its line count; CRC of the enciphered bytes or 0. A torn
    // record at the end is cut off first (logged), so the new one can be found.
    void AddRecord(std::int32_t AId, const StringList& AList);

    // Appends AText to the record FindRecord just found (the stream stands at
    // its text; the caller has already raised AHeader.Count). Later records
    // move back intact; Flag becomes 0; the header is rewritten.
    void AppendToRecord(TCryptedRecordHeader& AHeader, std::wstring_view AText);

    // Fills AList (created case-sensitive when null) from record AId, inside
    // its own read-write bracket. False when there is no such record (AList is
    // left as it was, or created empty) or when checksums are on and the CRC
    // differs (AList is still filled). Raises the invalid-operation error with
    // an empty message when the text yields no lines.
    bool LoadRecord(std::int32_t AId, std::unique_ptr<StringList>& AList);
    bool LoadRecord(std::int32_t AId, StringList& AList);

    // Replaces the open stream by a new empty file at the path (create mode,
    // no sharing restriction) and writes ABytes into it.
    void RewriteFile(const std::vector<std::uint8_t>& ABytes);

    // Turns text into the enciphered bytes of a record with salt ASalt, the
    // key stream starting at AKeyIndex.
    static std::vector<std::uint8_t> EncipherText(std::wstring_view AText, int AKeyIndex, std::uint8_t ASalt);

    // Raises the corrupt-file error for this file.
    [[noreturn]] void ThrowCorrupt(const std::wstring& AWhat) const;

private:
    // Reads the header at APosition; false (logged) when the record there is torn.
    bool ReadHeaderAt(std::int64_t APosition, std::int64_t ASize, TCryptedRecordHeader& AHeader);
    void LogTorn(std::int64_t APosition, const std::wstring& AWhat) const;
    // Truncates the file at the first torn record, if any.
    void CutTornTail();
    bool LoadInto(std::int32_t AId, StringList* AList, std::unique_ptr<StringList>* AOwned);
    void OpenStream(bool AOnlyRead);

    int fNowUpdating = 0;
    std::wstring fFilePath;
    bool fUseBlockChecksum = false;
    std::unique_ptr<Stream> fFileBuf;
};

// Opens an update bracket for a scope and closes it when the scope ends.
class CryptedFileUpdate {
public:
    CryptedFileUpdate(TCryptedFile& AFile, bool AOnlyRead) : file_(AFile) { file_.BeginUpdate(AOnlyRead); }
    ~CryptedFileUpdate() {
        try {
            file_.EndUpdate();
        } catch (...) {
            // Only an unbalanced EndUpdate elsewhere can land here; the bracket is gone either way.
        }
    }
    CryptedFileUpdate(const CryptedFileUpdate&) = delete;
    CryptedFileUpdate& operator=(const CryptedFileUpdate&) = delete;

private:
    TCryptedFile& file_;
};

}  // namespace vt
