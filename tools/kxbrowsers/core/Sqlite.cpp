#include "Sqlite.h"

#include <sqlite3.h>

#include <utility>

#include "Text.h"

namespace kxb {

namespace {

[[noreturn]] void Fail(sqlite3* db, const std::string& what) {
    throw StoreError(what + ": " + (db ? sqlite3_errmsg(db) : "out of memory"));
}

}  // namespace

Statement::Statement(Statement&& other) noexcept
    : db_(std::exchange(other.db_, nullptr)), stmt_(std::exchange(other.stmt_, nullptr)) {}

Statement& Statement::operator=(Statement&& other) noexcept {
    if (this != &other) {
        sqlite3_finalize(stmt_);
        db_ = std::exchange(other.db_, nullptr);
        stmt_ = std::exchange(other.stmt_, nullptr);
    }
    return *this;
}

Statement::~Statement() { sqlite3_finalize(stmt_); }

bool Statement::Step() {
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return true;
    if (rc == SQLITE_DONE) return false;
    Fail(db_, "query failed");
}

void Statement::Run() {
    while (Step()) {
    }
}

void Statement::Reset() {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
}

void Statement::Bind(int index, std::int64_t value) { sqlite3_bind_int64(stmt_, index, value); }

std::int64_t Statement::Int(int column) const { return sqlite3_column_int64(stmt_, column); }

std::string Statement::Text(int column) const {
    const auto* text = sqlite3_column_text(stmt_, column);
    if (!text) return {};
    return std::string(reinterpret_cast<const char*>(text),
                       static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column)));
}

int Statement::ColumnCount() const { return sqlite3_column_count(stmt_); }

Database::Database(const std::filesystem::path& file, Mode mode) : name_(Utf8Path(file.filename())) {
    const int flags = mode == Mode::Read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    const int rc = sqlite3_open_v2(Utf8Path(file).c_str(), &db_, flags, nullptr);
    if (rc != SQLITE_OK) {
        std::string message = db_ ? sqlite3_errmsg(db_) : "out of memory";
        Close();
        throw StoreError(name_ + ": " + message);
    }
    sqlite3_extended_result_codes(db_, 0);
    // Never wait for the browser's locks: a locked store is reported at once.
    sqlite3_busy_timeout(db_, 0);
}

Database::Database(Database&& other) noexcept
    : db_(std::exchange(other.db_, nullptr)), name_(std::move(other.name_)) {}

Database& Database::operator=(Database&& other) noexcept {
    if (this != &other) {
        Close();
        db_ = std::exchange(other.db_, nullptr);
        name_ = std::move(other.name_);
    }
    return *this;
}

Database::~Database() { Close(); }

void Database::Close() noexcept {
    if (db_) sqlite3_close_v2(db_);
    db_ = nullptr;
}

std::string Database::Message() const { return db_ ? sqlite3_errmsg(db_) : std::string(); }

void Database::Exec(const char* sql) {
    if (sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) Fail(db_, name_);
}

Statement Database::Prepare(const char* sql) {
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, sql, -1, &stmt, nullptr) != SQLITE_OK) Fail(db_, name_);
    return Statement(db_, stmt);
}

Statement Database::TryPrepare(const char* sql) {
    sqlite3_stmt* stmt = nullptr;
    const int rc = sqlite3_prepare_v2(db_, sql, -1, &stmt, nullptr);
    if (rc == SQLITE_OK) return Statement(db_, stmt);
    // SQLITE_ERROR is what an unknown table or column gives; a locked, corrupt
    // or foreign file gives its own code and is a failure of the store.
    if (rc == SQLITE_ERROR) return Statement();
    Fail(db_, name_);
}

bool Database::HasTable(const char* name) {
    sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(db_, "SELECT 1 FROM sqlite_master WHERE type='table' AND name=?1", -1, &raw,
                           nullptr) != SQLITE_OK)
        Fail(db_, name_);
    Statement owner(db_, raw);
    sqlite3_bind_text(raw, 1, name, -1, SQLITE_TRANSIENT);
    return owner.Step();
}

bool IsDatabaseLocked(const std::filesystem::path& file) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(file, ec)) return false;
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(Utf8Path(file).c_str(), &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
        sqlite3_close_v2(db);
        return false;
    }
    sqlite3_busy_timeout(db, 0);
    // Taking the write lock fails with SQLITE_BUSY while another connection
    // holds it, or holds the database in exclusive mode as a running browser does.
    const int rc = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    const bool locked = rc == SQLITE_BUSY || rc == SQLITE_LOCKED;
    if (rc == SQLITE_OK) sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    sqlite3_close_v2(db);
    return locked;
}

}  // namespace kxb
