// Byte-level helpers of Explorer's most-recently-used lists, kept apart from
// the registry so they can be tested and fuzzed natively.
//
// "MRUListEx" (binary lists): 32-bit little-endian value numbers, most recent
// first, ended by 0xFFFFFFFF. "MRUList" (string lists): one letter per entry,
// most recent first.
//
// A "RecentDocs" entry (a binary value named by its number) holds the file's
// name as NUL-terminated UTF-16, followed by the shell item of the shortcut
// Explorer made for it in the Recent folder (its 8.3 name and, from Windows XP
// on, a 0xBEEF0004 block with the shortcut's long name), then a zero size.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/ByteView.h"
#include "search/ShellItemList.h"

namespace vt {

// The value numbers of an "MRUListEx" in order: the first size div 4 - 1
// numbers; the last whole number is taken to be the terminator and is never
// looked at. Empty when the value holds fewer than two whole numbers.
std::vector<std::uint32_t> ReadMRUListEx(ByteSpan value);

// Entry count of a key from its "MRUListEx": 0 for an empty value, otherwise
// size div 4 - 1 (so a value of 1 to 3 bytes counts -1, as the count rule is
// written; callers add these counts up as they stand).
int MRUListExEntryCount(ByteSpan value);

// The "MRUListEx" with every occurrence of number taken out, the other numbers
// (the terminator included) kept in order, 4 bytes each. A value of fewer than
// two whole numbers comes back unchanged; bytes after the last whole number
// are dropped.
std::vector<std::uint8_t> RemoveFromMRUListEx(ByteSpan value, std::uint32_t number);

// The "MRUList" order with every occurrence of letter taken out (case-sensitive).
std::wstring RemoveFromMRUList(std::wstring_view order, wchar_t letter);

// The text of a binary MRU value: its UTF-16 code units up to the first zero
// unit (empty for an empty value).
std::wstring MRUValueText(ByteSpan value);

// File name of the Recent folder shortcut that belongs to a "RecentDocs"
// value, found the way the cleaner always has: the UTF-16 text that starts 4
// bytes after the first byte 0x14 among offsets 0 to size - 6 (the
// long-name offset of a Windows XP extension block); failing that, the text
// that starts at the last position P <= size - 6 whose preceding 16-bit word is
// zero (the long name of later versions). Empty when neither is found.
std::wstring RecentDocsShortcutName(ByteSpan value);

struct RecentDocsEntry {
    std::wstring Text;          // what is shown: the document's name
    std::wstring ShortcutName;  // RecentDocsShortcutName of the value
    // The shell item list after the name, decoded: Items[0] is the shortcut
    // (ShortName its 8.3 name, Name its long name when the block is there).
    ShellItemPath ShellData;
};

RecentDocsEntry ParseRecentDocsEntry(ByteSpan value);

}  // namespace vt
