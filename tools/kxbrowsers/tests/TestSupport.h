// Helpers of the browser-data library's tests: scratch folders, databases
// built from the browsers' layouts, and a backup sink that records.
#pragma once

#include <sqlite3.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Browser.h"
#include "Text.h"

namespace kxb::test {

namespace fs = std::filesystem;

// A scratch folder of its own, removed at the end. The name carries
// non-Latin letters so every path the library meets has them.
class TempDir {
public:
    TempDir() {
        static std::atomic<int> counter{0};
        const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
        path_ = fs::temp_directory_path() /
                PathFromUtf8("kxb-\xD1\x82\xD0\xB5\xD1\x81\xD1\x82-" + std::to_string(stamp) + "-" +
                             std::to_string(counter++));
        fs::create_directories(path_);
    }
    ~TempDir() {
        std::error_code ec;
        fs::remove_all(path_, ec);
    }
    const fs::path& Path() const { return path_; }

private:
    fs::path path_;
};

inline void RunSql(const fs::path& file, const std::string& sql) {
    fs::create_directories(file.parent_path());
    sqlite3* db = nullptr;
    sqlite3_open_v2(Utf8Path(file).c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    char* error = nullptr;
    // Building test data needs no durability; syncing would only slow the tests.
    sqlite3_exec(db, "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
    if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
        const std::string message = error ? error : sqlite3_errmsg(db);
        sqlite3_free(error);
        sqlite3_close(db);
        throw std::runtime_error("test SQL failed: " + message);
    }
    sqlite3_close(db);
}

inline std::int64_t QueryInt(const fs::path& file, const std::string& sql) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(Utf8Path(file).c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
    sqlite3_stmt* stmt = nullptr;
    std::int64_t value = -1;
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &stmt, nullptr) == SQLITE_OK && sqlite3_step(stmt) == SQLITE_ROW)
        value = sqlite3_column_int64(stmt, 0);
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return value;
}

inline std::string ReadBytes(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteBytes(const fs::path& file, const std::string& bytes) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
}

// Records what reaches the backup service, with a copy of each backed-up
// file as it was at that moment; deletes for real.
class RecordingSink final : public BackupSink {
public:
    struct Call {
        std::string kind;  // "backup" or "delete"
        fs::path file;
        std::string bytes;
    };
    bool refuse = false;

    bool BackupFile(const fs::path& file) override {
        calls.push_back({"backup", file, ReadBytes(file)});
        return !refuse;
    }
    bool RemoveFile(const fs::path& file) override {
        calls.push_back({"delete", file, ReadBytes(file)});
        if (refuse) return false;
        std::error_code ec;
        return fs::remove(file, ec);
    }
    int Count(const std::string& kind, const fs::path& file) const {
        int n = 0;
        for (const Call& c : calls) n += c.kind == kind && c.file == file;
        return n;
    }

    std::vector<Call> calls;
};

// What an enumeration reported: the statuses in order.
inline std::vector<int> Load(ElementList& list) {
    std::vector<int> statuses;
    list.Enumerate([&](EnumStatus status, int, int, int) {
        statuses.push_back(static_cast<int>(status));
        return false;
    });
    return statuses;
}

// The text at slot of every element, in order.
inline std::vector<std::wstring> Texts(const ElementList& list, int slot) {
    std::vector<std::wstring> out;
    for (int i = 0; i < list.Count(); ++i) out.push_back(list.At(i)->texts[slot]);
    return out;
}

}  // namespace kxb::test
