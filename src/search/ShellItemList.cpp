#include "search/ShellItemList.h"

#include <algorithm>
#include <array>

#include "runtime/Strings.h"

namespace vt {

namespace {

constexpr std::uint32_t kFileEntryExtensionSignature = 0xBEEF0004u;
constexpr std::uint32_t kDelegateSignature = 0x46534643u;       // "CFSF"
constexpr std::uint32_t kKnownFolderViewSignature = 0x23FEBBEEu;
constexpr std::uint32_t kUsersViewSignature = 0x23A3DFD5u;       // 0x1F items that are not root folders
constexpr wchar_t kUnknownSegment[] = L"...";

// What a folder GUID means for the path.
enum class FolderRole {
    Transparent,  // a namespace node whose children carry their own root (This PC, Network)
    UserFolder,   // a file-system folder of the user, resolved through its known-folder id
    Virtual,      // a folder outside the file system (Recycle Bin, Control Panel, Libraries)
};

struct FolderInfo {
    const wchar_t* Guid;
    const wchar_t* DisplayName;
    FolderRole Role;
    const wchar_t* KnownFolderId;  // for UserFolder
};

constexpr wchar_t kFolderProfile[] = L"{5E6C858F-0E22-4760-9AFE-EA3317B67173}";
constexpr wchar_t kFolderDesktop[] = L"{B4BFCC3A-DB2C-424C-B029-7FE99A87C641}";
constexpr wchar_t kFolderDocuments[] = L"{FDD39AD0-238F-46AF-ADB4-6C85480369C7}";
constexpr wchar_t kFolderDownloads[] = L"{374DE290-123F-4565-9164-39C4925E467B}";
constexpr wchar_t kFolderMusic[] = L"{4BD8D571-6D19-48D3-BE97-422220080E43}";
constexpr wchar_t kFolderPictures[] = L"{33E28130-4E1E-4676-835A-98395C3BC3BB}";
constexpr wchar_t kFolderVideos[] = L"{18989B1D-99B5-455B-841C-AB7C74E4DDFC}";
constexpr wchar_t kFolderObjects3D[] = L"{31C0DD25-9439-4F12-BF41-7FF4EDA38722}";
constexpr wchar_t kFolderOneDrive[] = L"{A52BBA46-E9E1-435F-B3D9-28DAA648C0F6}";

// Class GUIDs of root and shell folders, and the known-folder ids themselves
// (users property view items carry those directly).
constexpr std::array<FolderInfo, 34> kFolders{{
    {L"{20D04FE0-3AEA-1069-A2D8-08002B30309D}", L"This PC", FolderRole::Transparent, nullptr},
    {L"{208D2C60-3AEA-1069-A2D7-08002B30309D}", L"My Network Places", FolderRole::Transparent, nullptr},
    {L"{F02C1A0D-BE21-4350-88B0-7367FC96EF3C}", L"Network", FolderRole::Transparent, nullptr},
    {L"{59031A47-3F72-44A7-89C5-5595FE6B30EE}", L"%USERPROFILE%", FolderRole::UserFolder, kFolderProfile},
    {L"{450D8FBA-AD25-11D0-98A8-0800361B1103}", L"Documents", FolderRole::UserFolder, kFolderDocuments},
    {L"{018D5C66-4533-4307-9B53-224DE2ED1FE6}", L"OneDrive", FolderRole::UserFolder, kFolderOneDrive},
    {L"{B4BFCC3A-DB2C-424C-B029-7FE99A87C641}", L"Desktop", FolderRole::UserFolder, kFolderDesktop},
    {L"{D3162B92-9365-467A-956B-92703ACA08AF}", L"Documents", FolderRole::UserFolder, kFolderDocuments},
    {L"{A8CDFF1C-4878-43BE-B5FD-F8091C1C60D0}", L"Documents", FolderRole::UserFolder, kFolderDocuments},
    {L"{088E3905-0323-4B02-9826-5D99428E115F}", L"Downloads", FolderRole::UserFolder, kFolderDownloads},
    {L"{3DFDF296-DBEC-4FB4-81D1-6A3438BCF4DE}", L"Music", FolderRole::UserFolder, kFolderMusic},
    {L"{1CF1260C-4DD0-4EBB-811F-33C572699FDE}", L"Music", FolderRole::UserFolder, kFolderMusic},
    {L"{24AD3AD4-A569-4530-98E1-AB02F9417AA8}", L"Pictures", FolderRole::UserFolder, kFolderPictures},
    {L"{3ADD1653-EB32-4CB0-BBD7-DFA0ABB5ACCA}", L"Pictures", FolderRole::UserFolder, kFolderPictures},
    {L"{F86FA3AB-70D2-4FC7-9C99-FCBF05467F3A}", L"Videos", FolderRole::UserFolder, kFolderVideos},
    {L"{A0953C92-50DC-43BF-BE83-3742FED03C9C}", L"Videos", FolderRole::UserFolder, kFolderVideos},
    {L"{0DB7E03F-FC29-4DC6-9020-FF41B59E513A}", L"3D Objects", FolderRole::UserFolder, kFolderObjects3D},
    {kFolderProfile, L"%USERPROFILE%", FolderRole::UserFolder, kFolderProfile},
    {kFolderDocuments, L"Documents", FolderRole::UserFolder, kFolderDocuments},
    {kFolderDownloads, L"Downloads", FolderRole::UserFolder, kFolderDownloads},
    {kFolderMusic, L"Music", FolderRole::UserFolder, kFolderMusic},
    {kFolderPictures, L"Pictures", FolderRole::UserFolder, kFolderPictures},
    {kFolderVideos, L"Videos", FolderRole::UserFolder, kFolderVideos},
    {kFolderObjects3D, L"3D Objects", FolderRole::UserFolder, kFolderObjects3D},
    {kFolderOneDrive, L"OneDrive", FolderRole::UserFolder, kFolderOneDrive},
    {L"{645FF040-5081-101B-9F08-00AA002F954E}", L"Recycle Bin", FolderRole::Virtual, nullptr},
    {L"{031E4825-7B94-4DC3-B131-E946B44C8DD5}", L"Libraries", FolderRole::Virtual, nullptr},
    {L"{21EC2020-3AEA-1069-A2DD-08002B30309D}", L"Control Panel", FolderRole::Virtual, nullptr},
    {L"{26EE0668-A00A-44D7-9371-BEB064C98683}", L"Control Panel", FolderRole::Virtual, nullptr},
    {L"{679F85CB-0220-4080-B29B-5540CC05AAB6}", L"Quick access", FolderRole::Virtual, nullptr},
    {L"{F874310E-B6B7-47DC-BC84-B9E6B38F5903}", L"Home", FolderRole::Virtual, nullptr},
    {L"{871C5380-42A0-1069-A2EA-08002B30309D}", L"Internet Explorer", FolderRole::Virtual, nullptr},
    {L"{ED228FDF-9EA8-4870-83B1-96B02CFE0D52}", L"Games", FolderRole::Virtual, nullptr},
    {L"{2227A280-3AEA-1069-A2DE-08002B30309D}", L"Printers", FolderRole::Virtual, nullptr},
}};

const FolderInfo* FindFolder(const std::wstring& guid) {
    for (const auto& f : kFolders) {
        if (guid == f.Guid) return &f;
    }
    return nullptr;
}

// Offset of the long name inside a 0xBEEF0004 block, by block version. Later
// versions added fields in front of it; the block's own word at offset 16
// holds the same number, which serves for versions not listed.
std::size_t LongNameOffset(ByteSpan block, std::uint16_t version) {
    switch (version) {
        case 3: return 20;   // Windows XP, 2003
        case 7: return 38;   // Vista: adds the NTFS file reference
        case 8: return 42;   // Windows 7
        case 9: return 46;   // Windows 8 and later
        default: break;
    }
    if (version > 9) {
        const std::size_t stated = ReadU16(block, 16);
        if (stated >= 20 && stated < block.size()) return stated;
    }
    return 0;
}

// Reads the 0xBEEF0004 block starting at offset of the item; fills the long
// name and version of the item when the block is there.
bool ReadFileEntryExtension(ByteSpan item, std::size_t offset, ShellItem& out) {
    if (!Fits(item, offset, 8) || ReadU32(item, offset + 4) != kFileEntryExtensionSignature) return false;
    std::size_t blockSize = ReadU16(item, offset);
    if (blockSize < 8 || !Fits(item, offset, blockSize)) return false;
    const ByteSpan block = item.subspan(offset, blockSize);
    const std::uint16_t version = ReadU16(block, 2);
    out.ExtensionVersion = version;
    const std::size_t nameAt = LongNameOffset(block, version);
    if (nameAt == 0 || nameAt >= block.size()) return true;
    std::wstring name = ReadUtf16Z(block, nameAt, block.size());
    if (!name.empty()) out.Name = std::move(name);
    return true;
}

// Primary name and extension block of a file entry whose class byte is at
// typeAt (2 in a plain item; inside a delegate item the file entry is nested).
void ReadFileEntry(ByteSpan item, std::size_t typeAt, ShellItem& out) {
    const std::uint8_t type = item[typeAt];
    out.Kind = ShellItemKind::FileEntry;
    out.IsDirectory = (type & 0x01) != 0;
    const std::size_t nameAt = typeAt + 12;
    std::size_t after = nameAt;
    out.ShortName = (type & 0x04) ? ReadUtf16Z(item, nameAt, item.size(), &after)
                                  : ReadAnsiZ(item, nameAt, item.size(), &after);
    out.Name = out.ShortName;
    if (typeAt != 2) return;  // a nested entry's extension follows the delegate's GUIDs
    // The extension block follows the name, 16-bit aligned; the item's last
    // word also points at it, which covers names padded in other ways.
    if (after % 2) ++after;
    if (ReadFileEntryExtension(item, after, out)) return;
    if (item.size() >= 4) {
        const std::size_t stated = ReadU16(item, item.size() - 2);
        if (stated >= 14 && stated < item.size() - 2) ReadFileEntryExtension(item, stated, out);
    }
}

void DecodeItem(ByteSpan item, ShellItem& out) {
    const std::uint8_t type = item.size() > 2 ? item[2] : 0;
    out.ClassType = type;
    if (item.size() < 3) return;

    if (type == 0x1F) {
        if (item.size() >= 20 && ReadU32(item, 6) != kUsersViewSignature) {
            out.Kind = ShellItemKind::RootFolder;
            out.ClassId = GuidToText(item, 4);
        }
        return;
    }
    if ((type & 0x70) == 0x20) {
        // A volume name is a drive letter and a colon; otherwise a GUID follows.
        if (item.size() >= 6 && item[4] == ':' && ((item[3] | 0x20) >= 'a' && (item[3] | 0x20) <= 'z')) {
            out.Kind = ShellItemKind::Volume;
            out.Name = ReadAnsiZ(item, 3, std::min<std::size_t>(item.size(), 23));
        } else if (item.size() >= 20) {
            out.Kind = ShellItemKind::ShellFolder;
            out.ClassId = GuidToText(item, 4);
        }
        return;
    }
    if ((type & 0x70) == 0x30) {
        if (item.size() >= 15) ReadFileEntry(item, 2, out);
        return;
    }
    if ((type & 0x70) == 0x40) {
        if (item.size() >= 6) {
            out.Kind = ShellItemKind::Network;
            out.Name = ReadAnsiZ(item, 5, item.size());
        }
        return;
    }
    if (type == 0x74 && ReadU32(item, 6) == kDelegateSignature) {
        // size, 0x74, 0, inner size (from offset 6 to the delegate GUID),
        // "CFSF", nested entry size, nested file entry, then the delegate GUID,
        // the item's class GUID and the 0xBEEF0004 block with the long name.
        const std::size_t guidAt = 6 + std::size_t{ReadU16(item, 4)};
        constexpr std::size_t kNestedNameAt = 24;
        if (guidAt <= kNestedNameAt || !Fits(item, guidAt, 32)) return;
        ReadFileEntry(item.first(guidAt), 12, out);
        out.Kind = ShellItemKind::Delegate;
        out.ClassId = GuidToText(item, guidAt + 16);
        ReadFileEntryExtension(item, guidAt + 32, out);
        return;
    }
    if (type == 0x00 && ReadU32(item, 6) == kKnownFolderViewSignature && ReadU16(item, 12) == 16 &&
        Fits(item, 14, 16)) {
        out.Kind = ShellItemKind::KnownFolder;
        out.ClassId = GuidToText(item, 14);
        return;
    }
}

// Builds the path from the decoded items.
class PathBuilder {
public:
    void Add(const ShellItem& item) {
        switch (item.Kind) {
            case ShellItemKind::RootFolder:
            case ShellItemKind::ShellFolder:
            case ShellItemKind::KnownFolder: AddFolder(item.ClassId); break;
            case ShellItemKind::Volume: {
                // The drive letter and colon; anything after "X:\" in the
                // 20-byte name field is not part of the path.
                Reset(Root::Drive, item.Name.substr(0, 2));
                break;
            }
            case ShellItemKind::Network:
                // Domain and "Entire Network" nodes add nothing; server and
                // share items carry the whole UNC text.
                if (item.Name.size() > 2 && item.Name[0] == L'\\' && item.Name[1] == L'\\') {
                    Reset(Root::Unc, item.Name);
                } else {
                    Reset(Root::None, {});
                }
                break;
            case ShellItemKind::FileEntry:
            case ShellItemKind::Delegate:
                if (item.Name.empty()) {
                    AddUnknown();
                } else {
                    segments_.push_back(item.Name);
                }
                break;
            case ShellItemKind::Unknown: AddUnknown(); break;
        }
    }

    void Finish(ShellItemPath& out) const {
        std::wstring rest;
        for (std::size_t i = 0; i < segments_.size(); ++i) {
            if (i) rest += L'\\';
            rest += segments_[i];
        }
        switch (root_) {
            case Root::Drive:
            case Root::Unc:
                out.Path = rest.empty() ? rootText_ + L"\\" : rootText_ + L"\\" + rest;
                out.Complete = !unknown_ && !out.Truncated;
                break;
            case Root::UserFolder:
                out.Path = rest.empty() ? rootText_ : rootText_ + L"\\" + rest;
                out.BaseFolderId = baseId_;
                out.RelativePath = rest;
                break;
            case Root::Virtual: out.Path = rest.empty() ? rootText_ : rootText_ + L"\\" + rest; break;
            case Root::None: out.Path = rest; break;
        }
        if (root_ == Root::UserFolder && unknown_) {
            // Below an unknown item the relative part is not a path.
            out.BaseFolderId.clear();
            out.RelativePath.clear();
        }
    }

private:
    enum class Root { None, Drive, Unc, UserFolder, Virtual };

    void Reset(Root root, std::wstring text) {
        root_ = root;
        rootText_ = std::move(text);
        segments_.clear();
        unknown_ = false;
    }

    void AddUnknown() {
        unknown_ = true;
        if (segments_.empty() || segments_.back() != kUnknownSegment) segments_.push_back(kUnknownSegment);
    }

    void AddFolder(const std::wstring& guid) {
        const FolderInfo* folder = FindFolder(guid);
        if (!folder) {
            // A folder we cannot place: show its GUID, nothing below it is a path.
            Reset(Root::Virtual, guid);
            unknown_ = true;
            return;
        }
        switch (folder->Role) {
            case FolderRole::Transparent: Reset(Root::None, {}); break;
            case FolderRole::UserFolder:
                Reset(Root::UserFolder, folder->DisplayName);
                baseId_ = folder->KnownFolderId;
                break;
            case FolderRole::Virtual: Reset(Root::Virtual, folder->DisplayName); break;
        }
    }

    Root root_ = Root::None;
    std::wstring rootText_;
    std::wstring baseId_;
    std::vector<std::wstring> segments_;
    bool unknown_ = false;
};

}  // namespace

std::wstring GuidToText(ByteSpan bytes, std::size_t offset) {
    if (!Fits(bytes, offset, 16)) return {};
    static constexpr wchar_t kHex[] = L"0123456789ABCDEF";
    std::wstring text = L"{";
    auto hex = [&](std::uint64_t value, int digits) {
        for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) text += kHex[(value >> shift) & 0xF];
    };
    hex(ReadU32(bytes, offset), 8);
    text += L'-';
    hex(ReadU16(bytes, offset + 4), 4);
    text += L'-';
    hex(ReadU16(bytes, offset + 6), 4);
    text += L'-';
    for (std::size_t i = 8; i < 16; ++i) {
        if (i == 10) text += L'-';
        hex(bytes[offset + i], 2);
    }
    text += L'}';
    return text;
}

ShellItemPath DecodeShellItemList(ByteSpan bytes) {
    ShellItemPath result;
    PathBuilder builder;
    std::size_t pos = 0;
    bool terminated = false;
    while (Fits(bytes, pos, 2)) {
        const std::size_t size = ReadU16(bytes, pos);
        if (size == 0) {
            terminated = true;
            break;
        }
        if (size < 2 || !Fits(bytes, pos, size)) break;
        ShellItem item;
        item.Offset = pos;
        item.Size = size;
        DecodeItem(bytes.subspan(pos, size), item);
        builder.Add(item);
        result.Items.push_back(std::move(item));
        pos += size;
    }
    result.Truncated = !terminated;
    if (terminated && result.Items.empty()) {
        // The empty list is the desktop itself.
        result.Path = L"Desktop";
        result.BaseFolderId = kFolderDesktop;
        return result;
    }
    builder.Finish(result);
    return result;
}

std::wstring LastVisitedEntry::DisplayText() const {
    if (Folder.Path.empty()) return Program;
    return Program + L" - " + Folder.Path;
}

LastVisitedEntry DecodeLastVisitedPidl(ByteSpan bytes) {
    LastVisitedEntry entry;
    std::size_t pos = 0;
    while (Fits(bytes, pos, 2) && ReadU16(bytes, pos) != 0) pos += 2;
    entry.Program = ReadUtf16Z(bytes, 0, pos);
    if (!Fits(bytes, pos, 2)) {
        // No NUL after the name: there is no list.
        entry.Folder.Truncated = true;
        return entry;
    }
    entry.Folder = DecodeShellItemList(bytes.subspan(pos + 2));
    return entry;
}

}  // namespace vt
