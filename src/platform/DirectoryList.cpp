#include "platform/DirectoryList.h"

namespace vt::platform {

bool ListDirectory(const std::wstring& folder, std::vector<DirEntry>& entries) {
    entries.clear();
    DirectoryReader reader;
    if (!reader.Open(folder)) return false;
    DirEntry entry;
    while (reader.Next(entry)) entries.push_back(std::move(entry));
    return true;
}

}  // namespace vt::platform
