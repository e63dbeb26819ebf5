// The store is one SQLite table. A key exists when it has a row with the empty name; that row's text stays
// NULL until the key's unnamed value is set, so one table carries keys and values.
//
// The default journal with synchronous=FULL makes every statement durable. Several processes wait for each
// other, but not for long: one that stands still with the store locked, say in a debugger, must not hold up a
// render. Every write takes its lock before it reads (BEGIN IMMEDIATE), so two writers never deadlock.
#include "platform/registry.h"

#include "platform/environment.h"
#include "platform/files.h"
#include "platform/paths.h"

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

namespace kestrel::platform {

namespace {

using Clock = std::chrono::steady_clock;

/// How long one operation waits for others.
constexpr std::chrono::seconds kPatience{2};
/// How long a store for which that was not enough counts as unavailable.
constexpr std::chrono::seconds kRest{5};
constexpr std::chrono::milliseconds kBetweenTries{10};

constexpr std::string_view kDirectory = "kestrel";

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS registry ("
    " key TEXT NOT NULL COLLATE NOCASE, name TEXT NOT NULL COLLATE NOCASE, text TEXT,"
    " PRIMARY KEY (key, name)) WITHOUT ROWID";

struct ConnectionCloser {
    void operator()(sqlite3* db) const noexcept { sqlite3_close_v2(db); }
};
using Connection = std::unique_ptr<sqlite3, ConnectionCloser>;

/// One prepared statement with text parameters.
class Statement {
public:
    Statement() = default;
    Statement(sqlite3* db, const char* sql) {
        if (sqlite3_prepare_v2(db, sql, -1, &statement_, nullptr) != SQLITE_OK) statement_ = nullptr;
    }
    ~Statement() { sqlite3_finalize(statement_); }
    Statement& operator=(Statement&& other) noexcept {
        std::swap(statement_, other.statement_);
        return *this;
    }
    [[nodiscard]] explicit operator bool() const noexcept { return statement_ != nullptr; }
    /// Leaves it as it is: it belongs to another process.
    void forget() noexcept { statement_ = nullptr; }

    /// @param text  must outlive the statement
    void bind(int index, std::string_view text) {
        sqlite3_bind_text64(statement_, index, text.data() != nullptr ? text.data() : "", text.size(),
                            SQLITE_STATIC, SQLITE_UTF8);
    }
    /// @return SQLITE_ROW, SQLITE_DONE or an error code
    int step() { return statement_ != nullptr ? sqlite3_step(statement_) : SQLITE_ERROR; }
    void restart() {
        if (statement_ != nullptr) sqlite3_reset(statement_);
    }
    /// @return nothing for NULL
    [[nodiscard]] std::optional<std::string> text(int column) const {
        if (sqlite3_column_type(statement_, column) == SQLITE_NULL) return std::nullopt;
        const void* data = sqlite3_column_blob(statement_, column);
        const int size = sqlite3_column_bytes(statement_, column);
        return data != nullptr ? std::string(static_cast<const char*>(data), static_cast<std::size_t>(size))
                               : "";
    }

private:
    sqlite3_stmt* statement_ = nullptr;
};

bool execute(sqlite3* db, const char* sql) {
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

/// A write transaction; rolled back unless committed.
class Transaction {
public:
    explicit Transaction(sqlite3* db) : db_(db), open_(execute(db, "BEGIN IMMEDIATE")) {}
    ~Transaction() {
        if (open_) execute(db_, "ROLLBACK");
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    [[nodiscard]] bool isOpen() const noexcept { return open_; }
    bool commit() {
        if (!execute(db_, "COMMIT")) return false;
        open_ = false;
        return true;
    }

private:
    sqlite3* db_;
    bool open_;
};

std::string userDatabasePath() {
    std::string directory;
    if (const auto data = environment("XDG_DATA_HOME"); data && data->starts_with('/')) {
        directory = *data;
    } else if (const auto home = environment("HOME"); home && !home->empty()) {
        directory = *home + "/.local/share";
    } else {
        return "";
    }
    return directory.append("/").append(kDirectory).append("/registry.db");
}

std::string rootedKey(Hive hive, std::string_view key) {
    return std::string(hive == Hive::CurrentUser ? "HKEY_CURRENT_USER\\" : "HKEY_LOCAL_MACHINE\\")
        .append(key);
}

}  // namespace

struct Registry::Impl {
    explicit Impl(std::string databasePath) : path(std::move(databasePath)) {}
    ~Impl() { abandonAfterFork(); }

    std::string path;
    Connection connection;
    Statement row;            ///< the text by key and name; prepared once, since each opening asks
    std::uint32_t owner = 0;  ///< the process that opened the connection
    CancelFlag cancel = nullptr;
    Clock::time_point deadline;   ///< of the operation in progress
    Clock::time_point restUntil;  ///< the store counts as unavailable until then

    /// A connection must not be used, not even closed, by a child process: the child forgets it and opens its
    /// own.
    void abandonAfterFork() noexcept {
        if (connection == nullptr || owner == processId()) return;
        row.forget();
        static_cast<void>(connection.release());
    }

    /// Begins an operation.
    /// @return the open connection with the table in place, or null; a later call tries again
    sqlite3* database() {
        const Clock::time_point now = Clock::now();
        if (now < restUntil) return nullptr;
        deadline = now + kPatience;
        abandonAfterFork();
        if (connection == nullptr) open();
        return connection.get();
    }

    /// Calls found with the text of a row that is there; nothing for NULL. After database().
    template <class Found>
    void look(std::string_view key, std::string_view name, const Found& found) {
        struct LetGo {  // of the lock, too
            Statement& statement;
            ~LetGo() { statement.restart(); }
        } const after{row};
        row.bind(1, key);
        row.bind(2, name);
        if (row.step() == SQLITE_ROW) found(row.text(0));
    }
    [[nodiscard]] bool hasKey(std::string_view key) {
        bool exists = false;
        look(key, "", [&](const auto&) { exists = true; });
        return exists;
    }

private:
    /// SQLite asks when another process has the lock. @return 0 to give up
    static int waitForOthers(void* self, int) {
        auto& store = *static_cast<Impl*>(self);
        if (Clock::now() < store.deadline && pause(kBetweenTries, store.cancel)) return 1;
        store.restUntil = Clock::now() + kRest;
        return 0;
    }

    /// The store is its user's alone, whatever the file mode mask says. Its journal takes the file's mode.
    void makePrivate() const {
        namespace fs = std::filesystem;
        std::error_code ignored;
        const fs::path directory = fs::path(path).parent_path();
        // A directory that is not ours keeps its mode: somebody else's file may be named as the store.
        if (fs::create_directories(directory, ignored) || directory.filename() == kDirectory)
            fs::permissions(directory, fs::perms::owner_all, ignored);
        static_cast<void>(createFile(systemPath(path)));
        constexpr fs::perms kOthers = fs::perms::group_all | fs::perms::others_all;
        fs::permissions(path, kOthers, fs::perm_options::remove, ignored);
    }

    void open() {
        if (path.empty()) return;
        makePrivate();
        sqlite3* raw = nullptr;
        const int result =
            sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
        Connection opened(raw);
        if (result != SQLITE_OK) return;
        sqlite3_busy_handler(raw, waitForOthers, this);
        // A store that can only be read still answers when its table is there.
        constexpr const char* kRow = "SELECT text FROM registry WHERE key = ?1 AND name = ?2";
        Statement rows(raw, kRow);
        if (!rows && execute(raw, kSchema)) rows = Statement(raw, kRow);
        if (!rows) return;
        execute(raw, "PRAGMA synchronous=FULL");
        connection = std::move(opened);
        row = std::move(rows);
        owner = processId();
    }
};

Registry::Registry() : Registry(userDatabasePath()) {}

Registry::Registry(std::string databasePath) : impl_(std::make_unique<Impl>(std::move(databasePath))) {}

Registry::~Registry() = default;

void Registry::setCancel(CancelFlag requested) noexcept {
    impl_->cancel = requested;
}

bool Registry::createKey(Hive hive, std::string_view key) {
    sqlite3* db = impl_->database();
    if (db == nullptr) return false;
    if (keyExists(hive, key)) return true;
    const std::string full = rootedKey(hive, key);
    Transaction transaction(db);
    if (!transaction.isOpen()) return false;
    Statement insert(db, "INSERT OR IGNORE INTO registry (key, name, text) VALUES (?1, '', NULL)");
    // A key below missing keys brings them along.
    for (std::size_t end = full.find('\\'); end != std::string::npos;) {
        end = full.find('\\', end + 1);
        insert.bind(1, std::string_view(full).substr(0, end));
        if (insert.step() != SQLITE_DONE) return false;
        insert.restart();
    }
    return transaction.commit();
}

bool Registry::keyExists(Hive hive, std::string_view key) {
    return impl_->database() != nullptr && impl_->hasKey(rootedKey(hive, key));
}

bool Registry::setValue(Hive hive, std::string_view key, std::string_view name, std::string_view text) {
    sqlite3* db = impl_->database();
    const std::string full = rootedKey(hive, key);
    if (db == nullptr || !impl_->hasKey(full)) return false;
    Statement insert(db,
                     "INSERT INTO registry (key, name, text) VALUES (?1, ?2, ?3)"
                     " ON CONFLICT (key, name) DO UPDATE SET text = excluded.text");
    insert.bind(1, full);
    insert.bind(2, name);
    insert.bind(3, text);
    return insert.step() == SQLITE_DONE;
}

std::optional<std::string> Registry::value(Hive hive, std::string_view key, std::string_view name) {
    if (impl_->database() == nullptr) return std::nullopt;
    std::optional<std::string> value;
    impl_->look(rootedKey(hive, key), name,
                [&](std::optional<std::string> text) { value = std::move(text); });
    return value;
}

}  // namespace kestrel::platform
