#include "Store.h"

#include <chrono>

#include "Text.h"

namespace kxb {

bool DirectFiles::RemoveFile(const fs::path& file) {
    std::error_code ec;
    return fs::remove(file, ec) && !ec;
}

bool RemovalRun::BackupOnce(const fs::path& file) {
    if (done_.count(file)) return true;
    // The database's journal or write-ahead log belongs to its state: a
    // restore needs them together.
    for (const char* suffix : {"", "-wal", "-journal"}) {
        fs::path part = file;
        part += suffix;
        std::error_code ec;
        if (*suffix && !fs::exists(part, ec)) continue;
        if (!sink_.BackupFile(part)) return false;
    }
    done_.insert(file);
    return true;
}

SqlStore::~SqlStore() { Finish(); }

void SqlStore::Load(std::vector<Element>& out, std::uint32_t storeIndex) {
    Database db(File(), Database::Mode::Read);
    Statement select;
    for (const char* sql : layout_.selects)
        if ((select = db.TryPrepare(sql))) break;
    if (!select) throw StoreError(Utf8Path(File().filename()) + ": no table of the known layouts");
    const bool withValue = select.ColumnCount() >= 7;
    while (select.Step()) {
        Element& e = out.emplace_back();
        e.store = storeIndex;
        e.key = select.Int(0);
        for (int i = 0; i < 4; ++i) e.texts[i] = WideFromUtf8(select.Text(i + 1));
        if (withValue) e.values.push_back({WideFromUtf8(select.Text(5)), WideFromUtf8(select.Text(6))});
        if (layout_.reshape) layout_.reshape(e);
    }
}

bool SqlStore::OpenForWriting(RemovalRun& run) {
    if (writer_) return true;
    if (IsLocked()) {
        error_ = Utf8Path(File().filename()) + ": database is locked";
        return false;
    }
    if (!run.BackupOnce(File())) {
        error_ = Utf8Path(File().filename()) + ": the backup service did not take the file";
        return false;
    }
    try {
        Database db(File(), Database::Mode::Write);
        db.Exec("BEGIN IMMEDIATE");
        // A damaged database is never edited: a delete that happens to reach
        // only intact pages would still write into a broken file.
        Statement check = db.Prepare("PRAGMA quick_check(1)");
        if (!check.Step() || check.Text(0) != "ok") {
            check = Statement();
            db.Exec("ROLLBACK");
            throw StoreError(Utf8Path(File().filename()) + ": database disk image is malformed");
        }
        check = Statement();
        writer_ = std::move(db);
    } catch (const StoreError& e) {
        error_ = e.what();
        return false;
    }
    return true;
}

bool SqlStore::RunStatements(const std::vector<const char*>& sqls, const Element* element) {
    try {
        writer_.Exec("SAVEPOINT kxb_element");
    } catch (const StoreError& e) {
        error_ = e.what();
        return false;
    }
    try {
        if (element) {
            // The per-element statements are compiled once per run. A table a
            // store of an older layout lacks has nothing to delete (null).
            if (prepared_.empty())
                for (const char* sql : sqls) prepared_.push_back(writer_.TryPrepare(sql));
            for (Statement& s : prepared_) {
                if (!s) continue;
                s.Reset();
                s.Bind(1, element->key);
                s.Run();
            }
        } else {
            for (const char* sql : sqls)
                if (Statement s = writer_.TryPrepare(sql)) s.Run();
        }
        writer_.Exec("RELEASE kxb_element");
        return true;
    } catch (const StoreError& e) {
        error_ = e.what();
        try {
            writer_.Exec("ROLLBACK TO kxb_element");
            writer_.Exec("RELEASE kxb_element");
        } catch (const StoreError&) {
        }
        return false;
    }
}

bool SqlStore::Delete(const Element& element, RemovalRun& run) {
    return OpenForWriting(run) && RunStatements(layout_.deletes, &element);
}

bool SqlStore::DeleteAll(RemovalRun& run) {
    return OpenForWriting(run) && RunStatements(layout_.deleteAll, nullptr);
}

bool SqlStore::Finish() {
    if (!writer_) return true;
    bool ok = true;
    try {
        writer_.Exec("COMMIT");
    } catch (const StoreError& e) {
        error_ = e.what();
        ok = false;
        try {
            writer_.Exec("ROLLBACK");
        } catch (const StoreError&) {
        }
    }
    prepared_.clear();
    writer_.Close();
    return ok;
}

namespace {

std::wstring FileTimeText(const fs::path& file) {
    std::error_code ec;
    const auto written = fs::last_write_time(file, ec);
    if (ec) return {};
    const auto now = std::chrono::system_clock::now() +
                     std::chrono::duration_cast<std::chrono::system_clock::duration>(
                         written - fs::file_time_type::clock::now());
    return FormatUnixSeconds(
        std::chrono::duration_cast<std::chrono::seconds>(now.time_since_epoch()).count());
}

}  // namespace

void FileSetStore::Load(std::vector<Element>& out, std::uint32_t storeIndex) {
    std::int64_t position = 0;
    for (const fs::path& file : files_) {
        std::error_code ec;
        if (!fs::is_regular_file(file, ec)) continue;
        Element base;
        base.store = storeIndex;
        base.key = position++;
        base.texts[0] = FileTimeText(file);
        base.texts[3] = PathText(file);
        LoadFile(file, out, base);
    }
}

void FileSetStore::LoadFile(const fs::path& file, std::vector<Element>& out, const Element& base) {
    Element& e = out.emplace_back(base);
    e.texts[1] = PathText(file);
}

bool FileSetStore::DeleteAll(RemovalRun& run) {
    bool ok = true;
    for (const fs::path& file : files_) {
        std::error_code ec;
        if (!fs::exists(file, ec)) continue;
        if (!run.RemoveFile(file)) {
            error_ = Utf8Path(file.filename()) + ": could not be deleted";
            ok = false;
        }
    }
    return ok;
}

}  // namespace kxb
