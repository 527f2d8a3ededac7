// Telling a link from what it points to. GetFileAttributesW answers for the
// target on some systems (Wine reports a Unix symbolic link with its target's
// attributes there); the directory entry itself, read through FindFirstFileW,
// always carries FILE_ATTRIBUTE_REPARSE_POINT for a link or junction.
#pragma once

#include <string>

namespace vt::siblings {

// True when the entry at path is a reparse point (symbolic link, junction,
// mount point); false when it is not or nothing is there.
bool IsReparsePoint(const std::wstring& path);

}  // namespace vt::siblings
