// A thin owner of SQLite connections and statements for the browser stores.
// Failures throw StoreError with SQLite's message and the file's name.
#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace kxb {

// A store that could not be read or changed; what() says why.
class StoreError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Statement {
public:
    Statement() = default;
    Statement(sqlite3* db, sqlite3_stmt* stmt) : db_(db), stmt_(stmt) {}
    Statement(Statement&& other) noexcept;
    Statement& operator=(Statement&& other) noexcept;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;
    ~Statement();

    explicit operator bool() const { return stmt_ != nullptr; }
    // True while a row is ready; throws on failure.
    bool Step();
    // Runs to completion (for statements without rows); throws on failure.
    void Run();
    void Reset();
    void Bind(int index, std::int64_t value);
    std::int64_t Int(int column) const;
    // UTF-8 text of a column; empty for NULL.
    std::string Text(int column) const;
    int ColumnCount() const;

private:
    sqlite3* db_ = nullptr;
    sqlite3_stmt* stmt_ = nullptr;
};

class Database {
public:
    enum class Mode { Read, Write };

    Database() = default;
    // Opens an existing database (never creates one). Throws StoreError.
    Database(const std::filesystem::path& file, Mode mode);
    Database(Database&& other) noexcept;
    Database& operator=(Database&& other) noexcept;
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    explicit operator bool() const { return db_ != nullptr; }
    void Exec(const char* sql);
    Statement Prepare(const char* sql);
    // Null statement when the SQL does not compile against this database
    // (an older or newer layout); throws for other failures.
    Statement TryPrepare(const char* sql);
    bool HasTable(const char* name);
    void Close() noexcept;
    std::string Message() const;

private:
    sqlite3* db_ = nullptr;
    std::string name_;
};

// True when another connection holds a lock that keeps us from writing (the
// browser keeps its databases locked while it runs). A missing or unreadable
// file is not locked.
bool IsDatabaseLocked(const std::filesystem::path& file);

}  // namespace kxb
