// Portable decoder of shell item ID lists: the binary values Explorer's
// open/save dialogs keep under "OpenSavePidlMRU" and "LastVisitedPidlMRU".
// Those lists are written by real Windows 7, 10 and 11 machines, and Wine's
// shell does not understand all of them, so the dialog-history readers decode
// them here and fall back to the shell only when this decoder cannot build a
// whole path.
//
// An ID list is a run of items, each starting with a 16-bit little-endian size
// that counts itself, ended by a size of 0. The byte at offset 2 of an item
// tells its kind. Understood kinds:
//   0x1F            root folder (sort index, class GUID): This PC, Network,
//                   the user's profile folder, Documents, OneDrive, ...
//   0x20..0x2F      volume: with a name ("C:\") it is a drive; without one it
//                   carries a shell-folder GUID (This PC\Downloads and friends)
//   0x30..0x3F      file entry (folder or file): 8.3 name, and the long
//                   Unicode name from its 0xBEEF0004 extension block
//                   (versions 3, 7, 8 and 9 place the name at offsets 20, 38,
//                   42 and 46 of the block)
//   0x40..0x4F      network location: "\\server" and "\\server\share"
//   0x74 "CFSF"     delegate file entry (folders below the profile folder)
//   0x00 0x23FEBBEE users property view carrying a known-folder id
// Any other kind is reported as ShellItemKind::Unknown and shows as "..." in
// the path, which is then not complete.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "runtime/ByteView.h"

namespace vt {

enum class ShellItemKind {
    RootFolder,   // 0x1F
    Volume,       // 0x2x with a drive name
    ShellFolder,  // 0x2x with a shell-folder GUID
    FileEntry,    // 0x3x
    Network,      // 0x4x
    Delegate,     // 0x74 with a "CFSF" file entry inside
    KnownFolder,  // 0x00 users property view with a known-folder id
    Unknown,
};

struct ShellItem {
    ShellItemKind Kind = ShellItemKind::Unknown;
    std::uint8_t ClassType = 0;       // the byte at offset 2
    std::size_t Offset = 0;           // where the item starts in the list
    std::size_t Size = 0;             // its size field
    std::wstring Name;                // what the item adds to the path (the long name when known)
    std::wstring ShortName;           // file entries: the primary (usually 8.3) name
    std::wstring ClassId;             // folders: "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}"
    bool IsDirectory = false;         // file entries: class type flag 0x01
    std::uint16_t ExtensionVersion = 0;  // version of the 0xBEEF0004 block, 0 when none was found
};

struct ShellItemPath {
    // The text to show: a file-system path when Complete; otherwise what could
    // be read, with "..." for items not understood and a folder's display name
    // ("Documents", "%USERPROFILE%", "Recycle Bin") where the list starts at a
    // shell folder.
    std::wstring Path;
    // Path is an absolute file-system path (drive or UNC) built only from
    // understood items, and the list was whole.
    bool Complete = false;
    // When the list starts at a user folder (profile, Documents, Downloads,
    // ...), its KNOWNFOLDERID in braces, and the path below it; system code can
    // resolve the folder and append RelativePath. Empty otherwise.
    std::wstring BaseFolderId;
    std::wstring RelativePath;
    // The bytes ended before the terminating zero size, or an item's size ran
    // past the end; the items before that point are still decoded.
    bool Truncated = false;
    std::vector<ShellItem> Items;
};

// Decodes an ID list. Never throws on bad bytes: what cannot be read is
// reported through Truncated and Unknown items.
ShellItemPath DecodeShellItemList(ByteSpan bytes);

// A "LastVisitedPidlMRU" value: the program's file name as NUL-terminated
// UTF-16, then the ID list of the folder it last used.
struct LastVisitedEntry {
    std::wstring Program;
    ShellItemPath Folder;
    // "program - folder path", the text shown for the entry; the program alone
    // when the list is empty.
    std::wstring DisplayText() const;
};

// Splits and decodes a "LastVisitedPidlMRU" value. A value without a NUL after
// the program name has no list (Folder.Truncated is set).
LastVisitedEntry DecodeLastVisitedPidl(ByteSpan bytes);

// The GUID at offset in the registry's text form, upper case in braces; empty
// when 16 bytes do not fit.
std::wstring GuidToText(ByteSpan bytes, std::size_t offset);

}  // namespace vt
