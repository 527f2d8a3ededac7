#include "services/IgnoreLists.h"

#include "runtime/Exception.h"

namespace vt {

TIgnoreListsManager::TIgnoreListsManager(std::wstring APath) : TCryptedFile(std::move(APath), false) {}

std::wstring TIgnoreListsManager::UserFilePath(const std::wstring& ADataFolder) {
    return ADataFolder + L"IgnoredLists\\VTL_User.igl";
}

bool TIgnoreListsManager::IgnoreListExists(int AId) {
    CryptedFileUpdate update(*this, true);
    TCryptedRecordHeader header;
    return FindRecord(AId, header);
}

void TIgnoreListsManager::AddIgnoreList(int AId, const StringList& AList) {
    if (AList.Count() == 0) return;
    CryptedFileUpdate update(*this, false);
    TCryptedRecordHeader header;
    if (FindRecord(AId, header)) {
        if (static_cast<long long>(header.Count) + AList.Count() > INT32_MAX)
            ThrowInvalidOperation(L"Too many lines in the ignore list");
        header.Count += AList.Count();
        AppendToRecord(header, AList.Text());
    } else {
        AddRecord(AId, AList);
    }
}

bool TIgnoreListsManager::LoadIgnoreList(int AId, std::unique_ptr<StringList>& AList) {
    return LoadRecord(AId, AList);
}

bool TIgnoreListsManager::LoadIgnoreList(int AId, StringList& AList) { return LoadRecord(AId, AList); }

void TIgnoreListsManager::ReplaceIgnoreList(int AId, const StringList& AList) {
    CryptedFileUpdate update(*this, false);
    DeleteCategory(AId);
    AddIgnoreList(AId, AList);
}

bool TIgnoreListsManager::DeleteCategory(int AId) {
    CryptedFileUpdate update(*this, false);
    TCryptedRecordHeader header;
    if (!FindRecord(AId, header)) return false;
    Stream& s = FileBuf();
    const std::int64_t textStart = s.Position();
    const std::int64_t recordStart = textStart - static_cast<std::int64_t>(kCryptedRecordHeaderSize);
    const std::int64_t recordEnd = textStart + header.Length;
    const std::int64_t size = s.Size();

    std::vector<std::uint8_t> kept(static_cast<std::size_t>(recordStart + (size - recordEnd)));
    s.SetPosition(0);
    s.ReadBuffer(kept.data(), static_cast<std::size_t>(recordStart));
    s.SetPosition(recordEnd);
    s.ReadBuffer(kept.data() + recordStart, static_cast<std::size_t>(size - recordEnd));
    RewriteFile(kept);
    return true;
}

}  // namespace vt
