// Elements, stores and the backup road of the browser-data library.
//
// A store is one file of one profile that holds elements of one data kind
// (a table of a database, a JSON file, a set of session files). It loads its
// elements in one pass and deletes them one by one or as a whole. Every
// change goes through a BackupSink first: a file is handed to the backup
// service once per removal run before anything in it changes.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Sqlite.h"

namespace kxb {

namespace fs = std::filesystem;

struct Value {
    std::wstring name;
    std::wstring value;
};

// One entry of a data kind: up to four texts in the item's slot order, the
// list of values (forms and passwords), and where it lives.
struct Element {
    std::array<std::wstring, 4> texts;
    std::vector<Value> values;
    std::int64_t key = 0;       // row id, or position inside the store
    std::uint32_t store = 0;    // index of its store in the list
};

// Where changed and deleted files go before they change: the backup service,
// or straight to disk when none is attached.
class BackupSink {
public:
    virtual ~BackupSink() = default;
    // Records the file so that it can be restored; false: leave it untouched.
    virtual bool BackupFile(const fs::path& file) = 0;
    // Records the file and deletes it; false when it was not deleted.
    virtual bool RemoveFile(const fs::path& file) = 0;
};

// No backup service: nothing recorded, files deleted directly.
class DirectFiles final : public BackupSink {
public:
    bool BackupFile(const fs::path&) override { return true; }
    bool RemoveFile(const fs::path& file) override;
};

// One removal run: the sink, and the files already handed to it.
class RemovalRun {
public:
    explicit RemovalRun(BackupSink& sink) : sink_(sink) {}
    // Hands the file (and its -wal/-journal companions when present) to the
    // backup service once per run. False: the file must not be changed.
    bool BackupOnce(const fs::path& file);
    bool RemoveFile(const fs::path& file) { return sink_.RemoveFile(file); }

private:
    BackupSink& sink_;
    std::set<fs::path> done_;
};

class Store {
public:
    explicit Store(fs::path file) : file_(std::move(file)) {}
    virtual ~Store() = default;
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    const fs::path& File() const { return file_; }
    // True while the browser holds the store locked: nothing is read or written.
    virtual bool IsLocked() const { return false; }
    // Appends this store's elements (store index already set by the caller's
    // template). Throws StoreError when the store cannot be read.
    virtual void Load(std::vector<Element>& out, std::uint32_t storeIndex) = 0;
    // Deletes one element. Inside a run (Finish not yet called) writes may be
    // held in a transaction until Finish. False: the store is unchanged.
    virtual bool Delete(const Element& element, RemovalRun& run) = 0;
    // Deletes everything this store holds of its data kind.
    virtual bool DeleteAll(RemovalRun& run) = 0;
    // Ends a run: commits held writes. False when they could not be committed
    // (they are rolled back).
    virtual bool Finish() { return true; }
    const std::string& LastError() const { return error_; }

protected:
    std::string error_;

private:
    fs::path file_;
};

// A data kind kept in a table of an SQLite database. The select yields the
// key, the four texts, and optionally a value name and a value; each delete
// statement takes the key as ?1 and they run in order, all or none.
struct SqlLayout {
    // Alternatives for older and newer layouts: the first that compiles is used.
    std::vector<const char*> selects;
    std::vector<const char*> deletes;
    // Statements that delete every element (whole-store removal).
    std::vector<const char*> deleteAll;
    // Reshapes a loaded element's texts (null: taken as selected).
    void (*reshape)(Element&) = nullptr;
};

class SqlStore final : public Store {
public:
    SqlStore(fs::path file, const SqlLayout& layout) : Store(std::move(file)), layout_(layout) {}
    ~SqlStore() override;
    bool IsLocked() const override { return IsDatabaseLocked(File()); }
    void Load(std::vector<Element>& out, std::uint32_t storeIndex) override;
    bool Delete(const Element& element, RemovalRun& run) override;
    bool DeleteAll(RemovalRun& run) override;
    bool Finish() override;

private:
    bool OpenForWriting(RemovalRun& run);
    bool RunStatements(const std::vector<const char*>& sqls, const Element* element);

    const SqlLayout& layout_;
    Database writer_;
    std::vector<Statement> prepared_;
};

// A data kind kept as whole files (session files): one element per file, or
// several when the reader splits a file; deleted only as a whole.
class FileSetStore : public Store {
public:
    // folder: the profile; files: the store's files (absent ones are skipped).
    FileSetStore(fs::path folder, std::vector<fs::path> files)
        : Store(std::move(folder)), files_(std::move(files)) {}
    void Load(std::vector<Element>& out, std::uint32_t storeIndex) override;
    bool Delete(const Element&, RemovalRun&) override { return false; }
    bool DeleteAll(RemovalRun& run) override;

protected:
    // Elements of one file; the default gives one element naming the file.
    virtual void LoadFile(const fs::path& file, std::vector<Element>& out, const Element& base);

    std::vector<fs::path> files_;
};

}  // namespace kxb
