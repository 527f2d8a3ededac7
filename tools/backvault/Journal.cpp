#include "Journal.h"

#include <nlohmann/json.hpp>

#include "runtime/Utf.h"

namespace vt::backvault {

namespace {

using nlohmann::json;

constexpr int kVersion = 1;
// A key tree nested deeper than this is not a registry the system could hold
// (its path limit is far below), so the parser stops there instead of recursing.
constexpr int kMaxKeyDepth = 512;

std::string U8(const std::wstring& text) { return ToUtf8(text); }

std::string Line(const json& object) {
    // Invalid UTF-8 cannot come from ToUtf8; replace keeps dump() from throwing anyway.
    return object.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

json ValueJson(const ValueImage& value) {
    return json{{"name", U8(value.name)}, {"type", value.type}, {"data", ToHex(value.data)}};
}

json KeyJson(const KeyImage& key, bool withName) {
    json values = json::array();
    for (const ValueImage& v : key.values) values.push_back(ValueJson(v));
    json keys = json::array();
    for (const KeyImage& k : key.keys) keys.push_back(KeyJson(k, true));
    json object{{"values", std::move(values)}, {"keys", std::move(keys)}};
    if (withName) object["name"] = U8(key.name);
    return object;
}

// Typed readers: a field of the wrong type makes the line unreadable.
struct BadLine {};

std::wstring Text(const json& object, const char* field) {
    const auto found = object.find(field);
    if (found == object.end() || !found->is_string()) throw BadLine{};
    return FromUtf8(found->get_ref<const std::string&>());
}

std::int64_t Integer(const json& object, const char* field) {
    const auto found = object.find(field);
    if (found == object.end() || !found->is_number_integer()) throw BadLine{};
    return found->get<std::int64_t>();
}

std::uint32_t Unsigned32(const json& object, const char* field) {
    const std::int64_t v = Integer(object, field);
    if (v < 0 || v > 0xFFFFFFFFLL) throw BadLine{};
    return static_cast<std::uint32_t>(v);
}

bool Boolean(const json& object, const char* field) {
    const auto found = object.find(field);
    if (found == object.end() || !found->is_boolean()) throw BadLine{};
    return found->get<bool>();
}

std::vector<std::uint8_t> Bytes(const json& object, const char* field) {
    const auto found = object.find(field);
    if (found == object.end() || !found->is_string()) throw BadLine{};
    auto bytes = FromHex(found->get_ref<const std::string&>());
    if (!bytes) throw BadLine{};
    return std::move(*bytes);
}

ValueImage ReadValue(const json& object) {
    if (!object.is_object()) throw BadLine{};
    return ValueImage{Text(object, "name"), Unsigned32(object, "type"), Bytes(object, "data")};
}

KeyImage ReadKey(const json& object, bool withName, int depth) {
    if (!object.is_object() || depth > kMaxKeyDepth) throw BadLine{};
    KeyImage key;
    if (withName) key.name = Text(object, "name");
    const auto values = object.find("values");
    const auto keys = object.find("keys");
    if (values == object.end() || !values->is_array() || keys == object.end() || !keys->is_array()) throw BadLine{};
    for (const json& v : *values) key.values.push_back(ReadValue(v));
    for (const json& k : *keys) key.keys.push_back(ReadKey(k, true, depth + 1));
    return key;
}

void ReadTimes(const json& object, Entry& entry) {
    entry.attributes = Unsigned32(object, "attributes");
    entry.created = Integer(object, "created");
    entry.accessed = Integer(object, "accessed");
    entry.written = Integer(object, "written");
}

// Applies one parsed line to the journal being read.
void Apply(const json& object, Journal& journal) {
    if (!object.is_object()) throw BadLine{};
    const std::wstring record = Text(object, "record");
    if (record == L"session") {
        journal.id = Text(object, "id");
        journal.description = Text(object, "description");
        journal.start = Integer(object, "time");
        return;
    }
    if (record == L"end") {
        journal.end = Integer(object, "time");
        return;
    }
    if (record == L"restored") {
        journal.restores.push_back(Restore{Integer(object, "time"), static_cast<std::int32_t>(Integer(object, "restored")),
                                           static_cast<std::int32_t>(Integer(object, "failed"))});
        return;
    }
    if (record == L"withdrawn") {
        const std::int64_t seq = Integer(object, "seq");
        std::erase_if(journal.entries, [seq](const Entry& e) { return e.seq == seq; });
        return;
    }
    Entry entry;
    if (record == L"file") {
        entry.kind = EntryKind::File;
        entry.path = Text(object, "path");
        entry.content = Text(object, "content");
        entry.method = Text(object, "method");
        ReadTimes(object, entry);
        entry.size = Integer(object, "size");
        if (entry.size < 0) throw BadLine{};
    } else if (record == L"folder") {
        entry.kind = EntryKind::Folder;
        entry.path = Text(object, "path");
        ReadTimes(object, entry);
    } else if (record == L"value") {
        entry.kind = EntryKind::Value;
        entry.key = Text(object, "key");
        entry.existed = Boolean(object, "existed");
        entry.value.name = Text(object, "name");
        if (entry.existed) {
            entry.value.type = Unsigned32(object, "type");
            entry.value.data = Bytes(object, "data");
        }
    } else if (record == L"key") {
        entry.kind = EntryKind::Key;
        entry.key = Text(object, "key");
        const auto tree = object.find("tree");
        if (tree == object.end()) throw BadLine{};
        entry.tree = ReadKey(*tree, false, 0);
    } else if (record == L"created-key") {
        entry.kind = EntryKind::CreatedKey;
        entry.key = Text(object, "key");
    } else {
        return;  // a record of a later version: not ours to undo
    }
    entry.seq = Integer(object, "seq");
    journal.entries.push_back(std::move(entry));
}

}  // namespace

std::wstring Entry::Location() const {
    switch (kind) {
        case EntryKind::File:
        case EntryKind::Folder: return path;
        case EntryKind::Value: return key + L"\\\\" + value.name;
        default: return key;
    }
}

int Journal::FileCount() const {
    int n = 0;
    for (const Entry& e : entries) n += e.kind == EntryKind::File || e.kind == EntryKind::Folder;
    return n;
}

int Journal::RegistryCount() const {
    return static_cast<int>(entries.size()) - FileCount();
}

std::int64_t Journal::Bytes() const {
    std::int64_t total = 0;
    for (const Entry& e : entries)
        if (e.kind == EntryKind::File) total += e.size;
    return total;
}

Journal ParseJournal(std::string_view text) {
    Journal journal;
    std::size_t pos = 0;
    while (pos < text.size()) {
        const std::size_t newline = text.find('\n', pos);
        const bool complete = newline != std::string_view::npos;
        const std::string_view line = text.substr(pos, complete ? newline - pos : std::string_view::npos);
        pos = complete ? newline + 1 : text.size();
        if (line.empty() || line == "\r") continue;
        try {
            Apply(json::parse(line), journal);
        } catch (...) {
            // A line cut short by a crash is the last one and has no newline:
            // the change it announced was never made, so it is not damage.
            if (complete) ++journal.damagedLines;
        }
    }
    return journal;
}

std::string SessionLine(const std::wstring& id, const std::wstring& description, FileTime start) {
    return Line(json{{"record", "session"}, {"version", kVersion}, {"id", U8(id)},
                     {"description", U8(description)}, {"time", start}});
}

std::string EntryLine(const Entry& e) {
    json object;
    switch (e.kind) {
        case EntryKind::File:
            object = json{{"record", "file"}, {"seq", e.seq}, {"path", U8(e.path)}, {"content", U8(e.content)},
                          {"method", U8(e.method)}, {"attributes", e.attributes}, {"created", e.created},
                          {"accessed", e.accessed}, {"written", e.written}, {"size", e.size}};
            break;
        case EntryKind::Folder:
            object = json{{"record", "folder"}, {"seq", e.seq}, {"path", U8(e.path)}, {"attributes", e.attributes},
                          {"created", e.created}, {"accessed", e.accessed}, {"written", e.written}};
            break;
        case EntryKind::Value:
            object = json{{"record", "value"}, {"seq", e.seq}, {"key", U8(e.key)}, {"name", U8(e.value.name)},
                          {"existed", e.existed}};
            if (e.existed) {
                object["type"] = e.value.type;
                object["data"] = ToHex(e.value.data);
            }
            break;
        case EntryKind::Key:
            object = json{{"record", "key"}, {"seq", e.seq}, {"key", U8(e.key)}, {"tree", KeyJson(e.tree, false)}};
            break;
        case EntryKind::CreatedKey:
            object = json{{"record", "created-key"}, {"seq", e.seq}, {"key", U8(e.key)}};
            break;
    }
    return Line(object);
}

std::string WithdrawnLine(std::int64_t seq, const std::wstring& reason) {
    return Line(json{{"record", "withdrawn"}, {"seq", seq}, {"reason", U8(reason)}});
}

std::string EndLine(FileTime time) { return Line(json{{"record", "end"}, {"time", time}}); }

std::string RestoredLine(const Restore& r) {
    return Line(json{{"record", "restored"}, {"time", r.time}, {"restored", r.restored}, {"failed", r.failed}});
}

std::string ToHex(const std::vector<std::uint8_t>& bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (std::uint8_t b : bytes) {
        out.push_back(digits[b >> 4]);
        out.push_back(digits[b & 15]);
    }
    return out;
}

std::optional<std::vector<std::uint8_t>> FromHex(std::string_view text) {
    if (text.size() % 2) return std::nullopt;
    auto digit = [](char c) -> int {
        if (c >= '0' && c <= '9') return c - '0';
        if (c >= 'a' && c <= 'f') return c - 'a' + 10;
        if (c >= 'A' && c <= 'F') return c - 'A' + 10;
        return -1;
    };
    std::vector<std::uint8_t> out;
    out.reserve(text.size() / 2);
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int hi = digit(text[i]), lo = digit(text[i + 1]);
        if (hi < 0 || lo < 0) return std::nullopt;
        out.push_back(static_cast<std::uint8_t>(hi * 16 + lo));
    }
    return out;
}

}  // namespace vt::backvault
