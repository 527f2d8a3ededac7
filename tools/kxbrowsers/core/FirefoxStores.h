// Firefox's stores that are not SQLite tables: the saved logins
// ("logins.json") and the session files ("sessionstore.jsonlz4" and the
// copies in "sessionstore-backups").
#pragma once

#include <string_view>

#include "Store.h"

namespace kxb {

// One element per saved login: its host, the form it is submitted to, and
// as its one value the name of the user-name field. Firefox keeps the user
// name and the password encrypted; neither is read.
class LoginsStore final : public Store {
public:
    using Store::Store;
    void Load(std::vector<Element>& out, std::uint32_t storeIndex) override;
    // Rewrites the file without the login (replacing it in one rename).
    bool Delete(const Element& element, RemovalRun& run) override;
    bool DeleteAll(RemovalRun& run) override;

private:
    bool Rewrite(RemovalRun& run, std::int64_t key, bool all);
};

// One element per open or recently closed tab of every session file (its
// current page: address and title), or one naming the file when the file
// cannot be read. Deleted only as a whole.
class SessionStore final : public FileSetStore {
public:
    explicit SessionStore(const fs::path& profile);

protected:
    void LoadFile(const fs::path& file, std::vector<Element>& out, const Element& base) override;
};

// The tabs (address, title) of a session file's contents (plain JSON, or
// "mozLz40" compressed). False when it is neither.
bool ReadSessionTabs(std::string_view contents, std::vector<std::pair<std::string, std::string>>& tabs);

}  // namespace kxb
