// The journal of one backup session: one JSON object per line (UTF-8), each
// line written whole and flushed before the change it announces. This file is
// portable: it builds the lines and reads them back; writing them to disk is
// the service's business.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vt::backvault {

// Windows file time: 100 ns units since 1601-01-01 UTC.
using FileTime = std::int64_t;

enum class EntryKind : std::uint8_t { File = 0, Folder = 1, Value = 2, Key = 3, CreatedKey = 4 };

// One registry value as it was.
struct ValueImage {
    std::wstring name;
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
};

// A whole registry key as it was: its values and its sub-keys, recursively.
struct KeyImage {
    std::wstring name;  // empty for the recorded key itself
    std::vector<ValueImage> values;
    std::vector<KeyImage> keys;
};

// One recorded change.
struct Entry {
    EntryKind kind = EntryKind::File;
    std::int64_t seq = 0;
    // File and folder.
    std::wstring path;
    std::wstring content;  // file: the content's name relative to the session folder
    std::wstring method;   // file: "move" or "copy"
    std::uint32_t attributes = 0;
    FileTime created = 0, accessed = 0, written = 0;
    std::int64_t size = 0;
    // Registry: the key path ("HKEY_CURRENT_USER\\Software\\...").
    std::wstring key;
    // Value: its name, and what it was (existed false: it did not exist).
    bool existed = false;
    ValueImage value;
    // Key: the whole tree.
    KeyImage tree;

    // A text for listings: the path, the key path, or key path + "\\\\" + value name.
    std::wstring Location() const;
};

struct Restore {
    FileTime time = 0;
    std::int32_t restored = 0;
    std::int32_t failed = 0;
};

// What a journal says, read back.
struct Journal {
    std::wstring id;
    std::wstring description;
    FileTime start = 0;
    std::optional<FileTime> end;  // absent: never ended (open, or its process stopped)
    std::vector<Entry> entries;   // in journal order, withdrawn entries left out
    std::vector<Restore> restores;
    int damagedLines = 0;         // lines that did not parse (a torn last line is not counted)

    int FileCount() const;      // files and folders
    int RegistryCount() const;  // values, keys and created keys
    std::int64_t Bytes() const; // file content held
};

// Reads a journal. Never throws for bad input: unreadable lines are counted in
// damagedLines, unknown records ignored; a journal without its session line has
// an empty id.
Journal ParseJournal(std::string_view text);

// The lines (each ending in '\n') the service appends.
std::string SessionLine(const std::wstring& id, const std::wstring& description, FileTime start);
std::string EntryLine(const Entry& entry);
std::string WithdrawnLine(std::int64_t seq, const std::wstring& reason);
std::string EndLine(FileTime time);
std::string RestoredLine(const Restore& restore);

// Lowercase hex of bytes, and back (nullopt for odd length or a bad digit).
std::string ToHex(const std::vector<std::uint8_t>& bytes);
std::optional<std::vector<std::uint8_t>> FromHex(std::string_view text);

}  // namespace vt::backvault
