// The session being recorded: its folder under the data folder and its
// journal, kept open for appending (shared for reading only, so another
// process can list it but not restore or delete it while it is written).
#pragma once

#include <memory>
#include <string>

#include "Journal.h"
#include "platform/Handles.h"

namespace vt::backvault {

class SessionWriter {
public:
    // Creates a new session folder under sessionsFolder and writes the journal's first line.
    static std::unique_ptr<SessionWriter> Begin(const std::wstring& sessionsFolder, const std::wstring& description);

    const std::wstring& Id() const { return id_; }
    const std::wstring& Folder() const { return folder_; }  // ends in a backslash
    std::int64_t NextSeq() { return ++seq_; }
    // Where the content of entry seq is kept, relative to Folder() and in full.
    static std::wstring ContentName(std::int64_t seq);
    std::wstring ContentPath(std::int64_t seq) const { return folder_ + ContentName(seq); }

    // Appends one line and flushes it to the disk before returning; throws when it cannot.
    void Append(const std::string& line);
    // Writes the closing line.
    void End();

private:
    SessionWriter() = default;
    std::wstring id_;
    std::wstring folder_;
    platform::unique_hfile journal_;
    std::int64_t seq_ = 0;
};

// The journal's file name inside a session folder, and the content folder's.
inline constexpr const wchar_t* kJournalName = L"journal.jsonl";
inline constexpr const wchar_t* kContentFolder = L"files";

// True for a text that can be a session identifier (no path separators, no dots).
bool IsSessionId(const std::wstring& text);

}  // namespace vt::backvault
