#include "SessionWriter_win.h"

#include <cwchar>
#include <random>

#include "../common/SystemError_win.h"
#include "SystemState_win.h"
#include "runtime/Exception.h"

namespace vt::backvault {

using siblings::ThrowLastError;

std::unique_ptr<SessionWriter> SessionWriter::Begin(const std::wstring& sessionsFolder, const std::wstring& description) {
    CreateFolders(sessionsFolder);
    std::unique_ptr<SessionWriter> writer(new SessionWriter());
    const FileTime start = NowFileTime();
    SYSTEMTIME utc;
    const FILETIME ft{static_cast<DWORD>(start & 0xFFFFFFFF), static_cast<DWORD>(static_cast<std::uint64_t>(start) >> 32)};
    ::FileTimeToSystemTime(&ft, &utc);
    std::mt19937 random{std::random_device{}() ^ ::GetCurrentProcessId()};
    // The time makes identifiers sort in start order; the suffix tells apart
    // sessions begun in the same second.
    for (int attempt = 0;; ++attempt) {
        wchar_t id[40];
        std::swprintf(id, 40, L"%04u%02u%02u-%02u%02u%02u-%04x", utc.wYear, utc.wMonth, utc.wDay, utc.wHour,
                      utc.wMinute, utc.wSecond, static_cast<unsigned>(random() & 0xFFFF));
        const std::wstring folder = sessionsFolder + id;
        if (::CreateDirectoryW(folder.c_str(), nullptr)) {
            writer->id_ = id;
            writer->folder_ = folder + L"\\";
            break;
        }
        if (::GetLastError() != ERROR_ALREADY_EXISTS || attempt > 100)
            ThrowLastError(L"Cannot create the backup session folder \"" + folder + L"\"");
    }
    CreateFolders(writer->folder_ + kContentFolder);
    const std::wstring journal = writer->folder_ + kJournalName;
    writer->journal_.Reset(::CreateFileW(journal.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                                         FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!writer->journal_) ThrowLastError(L"Cannot create the backup journal \"" + journal + L"\"");
    writer->Append(SessionLine(writer->id_, description, start));
    return writer;
}

std::wstring SessionWriter::ContentName(std::int64_t seq) {
    return std::wstring(kContentFolder) + L"\\" + std::to_wstring(seq);
}

void SessionWriter::Append(const std::string& line) {
    const char* data = line.data();
    std::size_t left = line.size();
    while (left > 0) {
        DWORD written = 0;
        const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(left, 1u << 24));
        if (!::WriteFile(journal_.Get(), data, chunk, &written, nullptr) || written == 0)
            ThrowLastError(L"Cannot write the backup journal of session " + id_);
        data += written;
        left -= written;
    }
    // The change this line announces is made only once the line is on the disk.
    if (!::FlushFileBuffers(journal_.Get())) ThrowLastError(L"Cannot flush the backup journal of session " + id_);
}

void SessionWriter::End() {
    Append(EndLine(NowFileTime()));
    journal_.Reset();
}

bool IsSessionId(const std::wstring& text) {
    if (text.empty() || text.size() > 64) return false;
    for (wchar_t c : text)
        if (!((c >= L'0' && c <= L'9') || (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z') || c == L'-' || c == L'_'))
            return false;
    return true;
}

}  // namespace vt::backvault
