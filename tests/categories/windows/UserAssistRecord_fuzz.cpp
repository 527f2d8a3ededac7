// Fuzz target: UserAssist value names and data from arbitrary bytes. The bytes
// are taken as a UTF-16 name (decoded, re-encoded and classified in both
// layouts) and as a value's data. ROT13 applied twice gives the name back.
#include <cstdint>
#include <cstdlib>

#include "categories/windows/UserAssistRecord.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const vt::ByteSpan bytes(data, size);
    const std::wstring name = vt::ReadUtf16Z(bytes, 0, size);
    const std::wstring decoded = vt::DecodeRot13(name);
    if (vt::DecodeRot13(decoded) != name) std::abort();
    (void)vt::ClassifyUserAssistName(decoded, true);
    (void)vt::ClassifyUserAssistName(decoded, false);

    vt::UserAssistData record;
    const bool read = vt::ReadUserAssistData(bytes, record);
    if (read != (size == 16 || size == 72)) std::abort();
    if (size >= 8) {
        bool ok = false;
        const double when = vt::FileTimeToDateTime(vt::ReadU64(bytes, 0), &ok);
        if (ok && (when < -109206.0 || when > 2958466.0)) std::abort();
    }
    return 0;
}
