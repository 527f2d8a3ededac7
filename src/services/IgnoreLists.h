// TIgnoreListsManager: the user's ignore lists, one record per category in
// the enciphered record file "VTL_User.igl" of the data folder's
// "IgnoredLists" folder. A record's Id is the category id (the user's own list
// is kUserIgnoreListId) and its text is the list's lines. Checksums are off.
//
// Every operation brackets itself with BeginUpdate/EndUpdate, so the file is
// open only while an operation runs (or while a caller holds an outer bracket
// around several). File errors propagate to the caller.
#pragma once

#include <memory>
#include <string>

#include "runtime/StringList.h"
#include "services/CryptedCRCFile.h"

namespace vt {

// The record Id of the user's own ignore list.
constexpr int kUserIgnoreListId = -1;

class TIgnoreListsManager : public TCryptedFile {
public:
    // The file at APath; the engine's is UserFilePath of the product's data folder.
    explicit TIgnoreListsManager(std::wstring APath);

    // The user's file under ADataFolder (which ends in a backslash):
    // ADataFolder + "IgnoredLists\VTL_User.igl".
    static std::wstring UserFilePath(const std::wstring& ADataFolder);

    // True when a record with Id AId exists. Corrupt-file and file errors propagate.
    bool IgnoreListExists(int AId);
    // Adds AList's lines to category AId's record: appended to an existing
    // record (which will then load sorted), or a new record. An empty list
    // does nothing.
    void AddIgnoreList(int AId, const StringList& AList);
    // Fills AList (created case-sensitive when null) from the record. True when
    // a record was read; a missing record leaves AList empty (or as it was)
    // and gives false. A record without lines raises the invalid-operation error.
    bool LoadIgnoreList(int AId, std::unique_ptr<StringList>& AList);
    bool LoadIgnoreList(int AId, StringList& AList);
    // DeleteCategory then AddIgnoreList, in one read-write bracket.
    void ReplaceIgnoreList(int AId, const StringList& AList);
    // Removes the record of AId, the others keeping their bytes and order.
    // True when a record was removed.
    bool DeleteCategory(int AId);
};

}  // namespace vt
