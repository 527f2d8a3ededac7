// TPluginsFile: the application definitions file ("Data\Applications.dat"
// beside the host's executable). Records lie back to back, each a 9-byte frame
// and an enciphered UTF-16LE payload:
//
//   offset 0  record number   uint32 LE  0 for the first record, then 1, 2, ...
//          4  payload length  uint32 LE  bytes; twice the payload's UTF-16 code units
//          8  reserved        1 byte     written as the caller sets it, never read
//          9  payload         the lines of the record joined by CR LF, enciphered
//
// The payload's last line is the application's Name, the one before it its
// Group; the lines before those are the definition (AppDefinition.h). The
// cipher is the container's repeating-key XOR with a key of 239 code units of
// this file's own and the record number's low byte as salt.
//
// Records are read in rising number order: GetNext looks for the next number
// from where the previous record ended, so the reading stops at the first
// number missing (records 0, 1, 3 give two definitions).
#pragma once

#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>

#include "categories/applications/AppDefinition.h"
#include "runtime/StringList.h"
#include "services/CryptedCRCFile.h"

namespace vt {

inline constexpr char16_t kPluginsKeyText[] =
    u"\u05D5\u304A\u001A\u0416\u0003Q\u0422\u2530\u0003\u252D\u4E64Z\u0415Z\u001A\u001F\u2542FW\u4E30\u009C"
    u"\u0399\u2565F\u0094\u255E\u0391\u0011\u0008\u009B\u0099\u05D9\u05E2\u250F\u000F\u3046\u05D7\u2508\u3087"
    u"\u0096\u0001\u304C\u4E08\u0011\u001B\u0087\u0410D\u0007\u304A\u0094C\u043C\u3058\u3096\u0090\u042D\u0087"
    u"X\u009A\u4EDE\u0410\u000D\u4E65\u253F\u0004\u05EA\u0086\u4E98\u2528\u4EBDF\u4EFC\u05E3\u4E42GL\u4E23"
    u"\u044A\u305A\u3094\u3054\u4EB7\u4ECD\u308A\u0440\u2506\u041D\u05DF\u000D\u009A\u008FO\u2501\u2550\u4E7AP"
    u"\u0011\u03B0\u05E0\u4EDB\u001D\u251A\u4ED5\u0015\u4E9F\u4E02\u305D\u05D8O\u4EAAR\u000C\u0394\u0012\u009F"
    u"\u041D\u000E\u4EA0\u3066\u000C\u305F\u009E\u305BAGK\u041F\u4E60\u009B\u05E6\u05E6\u3083\u254D\u2567"
    u"\u05DC\u2553\u0002\u0009\u4E98\u251A\u05D8\u0089\u0396\u0426\u0095R\u306FF\u0444\u0095\u041F\u0427X"
    u"\u254C\u03AD\u2527C\u3077\u000B\u307B\u05DA\u044A\u05D8\u05E6\u042A\u251BO\u2558\u05E2\u3052\u3045\u03C4"
    u"\u0084\u041E\u05E1\u05E3\u043A\u039F\u044D\u4E5C\u305E\u4E22\u03A5\u2549\u3088\u05D4\u4E3A\u05D3\u0081"
    u"\u4E63\u3083\u0421\u0004\u0008F\u3061\u000C\u0095\u3062\u250A\u2525\u0436C\u3080D\u03AF\u008B\u4E79"
    u"\u4E6D\u2553\u254F\u03B1\u0016\u0001\u4E2D\u4E52\u039C\u4E57\u041ER\u0426\u250AA\u05DF\u255F\u05EA\u009F"
    u"\u041CE\u4EE2\u008C\u05E7\u4E73\u0018\u0443\u0096\u03BF\u0433";
// Files written with any other key cannot be read, so it never changes.
inline constexpr std::u16string_view kPluginsKey(kPluginsKeyText, std::size(kPluginsKeyText) - 1);
static_assert(kPluginsKey.size() == 239, "the definitions key is 239 UTF-16 code units");

// The frame in front of every payload.
struct TPluginHeader {
    std::uint32_t RecordNumber = 0;
    std::uint32_t PayloadLength = 0;
    std::uint8_t Reserved = 0;
};
constexpr std::size_t kPluginHeaderSize = 9;

class TPluginsFile : public TCryptedFile {
public:
    // Opens the file for its whole life (a missing file is created empty, as
    // the container does). AOnlyRead false opens it for writing as well, which
    // AddToFile needs; the engine only reads. File errors propagate.
    explicit TPluginsFile(std::wstring AFileName, bool AOnlyRead = true);
    ~TPluginsFile() override;

    // Reads the next record: ARecord's Name and Group, ALines its definition
    // lines after the line rules (ApplyLineRules). ARestart starts again at
    // record 0 from the start of the file. False, with ARecord and ALines
    // unchanged, when the next number is not found. Raises the corrupt-file
    // error for a frame that runs past the end or has an odd length.
    bool GetNext(TPluginRecord& ARecord, StringList& ALines, bool ARestart);

    // GetNext without the line rules: every line exactly as stored (the
    // definitions tool decompiles with it).
    bool GetNextRaw(TPluginRecord& ARecord, StringList& ALines, bool ARestart);

    // Appends ALines + Group + Name as record AHeader.RecordNumber; sets
    // AHeader.PayloadLength. ALines gains the two lines. File errors propagate.
    void AddToFile(const TPluginRecord& ARecord, TPluginHeader& AHeader, StringList& ALines);

    // Number of consecutive records 0, 1, 2, ... (counted once, then kept).
    int GetCount();

    // The rules every definition line goes through, last line to first: a
    // line shorter than 4 characters is dropped; on Windows 7 to 11 a line
    // holding "COMMONAPPDATA" (any case) becomes upper case with
    // "%COMMONAPPDATA%" read as "%ALLUSERSPROFILE%"; then TEnvHelper.Expand.
    static void ApplyLineRules(StringList& ALines);

    // The frame's bytes, and back.
    static void EncodeHeader(const TPluginHeader& AHeader, std::uint8_t (&AOut)[kPluginHeaderSize]);
    static TPluginHeader DecodeHeader(const std::uint8_t (&AIn)[kPluginHeaderSize]);

    int CurrentRecord() const noexcept { return FCurrentRecord; }

private:
    // Looks for record ANumber from byte APosition on; found: AHeader is its
    // frame and the stream stands at its payload.
    bool FindRecord(std::uint32_t ANumber, std::int64_t APosition, TPluginHeader& AHeader);

    int FRecordCount = -1;
    int FCurrentRecord = 0;
};

}  // namespace vt
