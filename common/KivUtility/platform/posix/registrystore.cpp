// The registry of a system that has none: one SQLite file, shared by any number of processes.
//
// The file is $KIV_REGISTRY, else /var/lib/kivutility/registry.db for the superuser and
// $XDG_STATE_HOME/kivutility/registry.db for anybody else. The first write makes it, with the folders it
// needs; a read never does. What is there already and is not such a store, or is a damaged one, is left
// alone.
#include "platform/registrystore.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <pwd.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The limits of the Windows registry, so that a tree made here can be carried there.
constexpr std::size_t kMaxKeyName   = 255;
constexpr std::size_t kMaxValueName = 16383;
constexpr int         kMaxDepth     = 512;

constexpr std::int64_t kApplicationId = 0x4B697652; // "KivR", where file(1) finds it too
constexpr std::int64_t kFormat        = 1;

// The schema keeps the rules by itself: a key with sub-keys is not deleted, values go with their key and
// cannot outlive it, and an id is never given out twice, so that a key which is open but deleted stays dead.
constexpr char kSchema[] = R"(
    CREATE TABLE key (
        id     INTEGER PRIMARY KEY AUTOINCREMENT,
        parent INTEGER REFERENCES key ON DELETE RESTRICT,
        name   TEXT NOT NULL COLLATE NOCASE,
        UNIQUE (parent, name)
    ) STRICT;
    CREATE TABLE value (
        key  INTEGER NOT NULL REFERENCES key ON DELETE CASCADE,
        name TEXT NOT NULL COLLATE NOCASE,
        type INTEGER NOT NULL CHECK (type IN (1, 3, 4)),
        data BLOB NOT NULL,
        PRIMARY KEY (key, name)
    ) STRICT, WITHOUT ROWID;
)";

struct Root {
    HKEY         key;
    std::int64_t id;
    const char*  name;
};

// The keys that nothing is above; they are there from the start and have the same ids in every store.
std::span<const Root> Roots() {
    static const Root roots[] = {{HKEY_CLASSES_ROOT, 1, "HKEY_CLASSES_ROOT"},
                                 {HKEY_CURRENT_USER, 2, "HKEY_CURRENT_USER"},
                                 {HKEY_LOCAL_MACHINE, 3, "HKEY_LOCAL_MACHINE"},
                                 {HKEY_USERS, 4, "HKEY_USERS"}};
    return roots;
}

// 0 for what is no root.
std::int64_t RootId(HKEY key) {
    for (const auto& root : Roots()) {
        if (root.key == key) return root.id;
    }
    return 0;
}

// Waits for another process's write to end, in short steps: in the growing ones that SQLite takes by itself a
// waiter sleeps through the gaps that a busy writer leaves. Gives up after half a minute or more, by when the
// other one must have been stopped in the middle.
int WaitForWriter(void*, int stepsBefore) {
    constexpr int        kSteps  = 30'000;
    constexpr useconds_t kStepUs = 1000;
    ::usleep(kStepUs);
    return stepsBefore < kSteps ? 1 : 0;
}

// One lock for everything below it: the list of stores and all that is done with SQLite. Threads seldom meet
// in a configuration, and a fork has to find SQLite at rest. A thread keeps it for as long as it has a
// transaction.
std::mutex g_lock;

// The transactions that this thread has within each other; above 0 it has the lock.
thread_local int t_transactions = 0;

std::unique_lock<std::mutex> Lock() {
    return t_transactions > 0 ? std::unique_lock<std::mutex>() : std::unique_lock(g_lock);
}

// One SQL statement with its parameters; what it borrows must outlive it.
class Statement {
public:
    template <class... Parameters> Statement(sqlite3* db, const char* sql, const Parameters&... parameters) {
        if (sqlite3_prepare_v2(db, sql, -1, &m_statement, nullptr) != SQLITE_OK) return;
        int index = 0;
        (Bind(++index, parameters), ...);
    }

    Statement(const Statement&)            = delete;
    Statement& operator=(const Statement&) = delete;

    ~Statement() { sqlite3_finalize(m_statement); }

    // Moves to the next row; false after the last one and on an error.
    bool Next() { return sqlite3_step(m_statement) == SQLITE_ROW; }

    // Runs a statement without rows.
    bool Run() { return sqlite3_step(m_statement) == SQLITE_DONE; }

    std::int64_t Number(int column) const { return sqlite3_column_int64(m_statement, column); }

    std::span<const unsigned char> Bytes(int column) const {
        const auto* data = static_cast<const unsigned char*>(sqlite3_column_blob(m_statement, column));
        return {data, static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column))};
    }

    std::string Text(int column) const {
        const auto bytes = Bytes(column);
        return {bytes.begin(), bytes.end()};
    }

private:
    void Bind(int index, std::int64_t number) { sqlite3_bind_int64(m_statement, index, number); }

    void Bind(int index, std::string_view text) {
        sqlite3_bind_text64(m_statement, index, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
    }

    void Bind(int index, std::span<const unsigned char> bytes) {
        // A null address would bind NULL, which is no value, and not the empty one.
        const void* data = bytes.empty() ? static_cast<const void*>("") : bytes.data();
        sqlite3_bind_blob64(m_statement, index, data, bytes.size(), SQLITE_STATIC);
    }

    sqlite3_stmt* m_statement = nullptr; // null is refused by every step
};

bool Execute(sqlite3* db, const char* sql) {
    return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

std::int64_t Number(sqlite3* db, const char* sql, std::int64_t onFailure) {
    Statement statement(db, sql);
    return statement.Next() ? statement.Number(0) : onFailure;
}

// A change of several statements: all of them or, unless it is committed, none. Within another one it is a
// part, which can be undone by itself.
class Transaction {
public:
    explicit Transaction(sqlite3* db, const char* begin = "BEGIN IMMEDIATE")
        : m_db(db),
          m_isPart(sqlite3_get_autocommit(db) == 0),
          m_open(Execute(db, m_isPart ? "SAVEPOINT part" : begin)) {}

    Transaction(const Transaction&)            = delete;
    Transaction& operator=(const Transaction&) = delete;

    ~Transaction() {
        if (m_open) Execute(m_db, m_isPart ? "ROLLBACK TO part; RELEASE part" : "ROLLBACK");
    }

    bool Open() const { return m_open; }

    bool Commit() {
        if (!Execute(m_db, m_isPart ? "RELEASE part" : "COMMIT")) return false;
        m_open = false;
        return true;
    }

private:
    sqlite3* m_db;
    bool     m_isPart;
    bool     m_open;
};

// Makes the folders above `file` that are missing, each for its owner alone and each safe from a power cut.
void MakeFolders(const std::string& file) {
    for (std::size_t slash = file.find('/', 1); slash != std::string::npos;
         slash             = file.find('/', slash + 1)) {
        const std::string folder = file.substr(0, slash);
        // Most are there already; anything worse shows when the file is opened.
        if (::mkdir(folder.c_str(), 0700) != 0) continue;
        const int parent = ::open((folder + "/..").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (parent < 0) continue;
        ::fsync(parent);
        ::close(parent);
    }
}

enum class State { Ready, Absent, Failed };
using Access = kiv::platform::RegistryUse;

bool MakeTables(sqlite3* db) {
    const auto marks = "PRAGMA application_id = " + std::to_string(kApplicationId)
                       + "; PRAGMA user_version = " + std::to_string(kFormat);
    if (!Execute(db, kSchema) || !Execute(db, marks.c_str())) return false;
    return std::ranges::all_of(Roots(), [db](const Root& root) {
        return Statement(db, "INSERT INTO key (id, name) VALUES (?, ?)", root.id, root.name).Run();
    });
}

// What a file name stands for at the moment.
struct FileFound {
    bool  blank; // missing, or without a byte
    dev_t device;
    ino_t number;

    bool operator==(const FileFound&) const = default;
};

// Nothing where that cannot be told.
std::optional<FileFound> Look(const std::string& file) {
    struct stat status {};

    if (::stat(file.c_str(), &status) == 0) {
        return FileFound{S_ISREG(status.st_mode) && status.st_size == 0, status.st_dev, status.st_ino};
    }
    return errno == ENOENT ? std::optional(FileFound{true, 0, 0}) : std::nullopt;
}

// One store and this process's connection to it, which all its keys share and which opens when it is needed.
class Store : public std::enable_shared_from_this<Store> {
public:
    explicit Store(std::string file) : m_file(std::move(file)) { m_next = std::exchange(s_first, this); }

    Store(const Store&)            = delete;
    Store& operator=(const Store&) = delete;

    ~Store() {
        Disconnect();
        Store** link = &s_first;
        while (*link != this) link = &(*link)->m_next;
        *link = m_next;
    }

    // The store in `file`, the same one for as long as any of its keys is open and the file is not replaced.
    static std::shared_ptr<Store> At(const std::string& file);

    // Sees to the connection.
    State Reach(Access access);

    // The connection; null unless Reach found the store ready.
    sqlite3* Db() const { return m_db; }

    // Begins a transaction of everything done here until Release(), for which the caller keeps the lock.
    bool Hold(Access access);

    // Ends it; true when what was done is kept.
    bool Release(bool keep);

private:
    void        Disconnect();
    static void DisconnectAll();

    static void Unlock() {
        if (t_transactions == 0) g_lock.unlock();
    }

    bool Connect(Access access);
    bool MayWrite();

    static Store* s_first; // of all stores in use, so that a fork can reach them

    std::string                m_file;
    std::optional<FileFound>   m_connected; // the file that the ids of our keys belong to, once we knew it
    bool                       m_lost     = false; // that file is no longer the one of this name
    sqlite3*                   m_db       = nullptr;
    bool                       m_mayWrite = false;
    bool                       m_isHeld   = false;
    std::optional<Transaction> m_transaction; // of a held store, unless the connection was lost meanwhile
    Store*                     m_next = nullptr;
};

Store* Store::s_first = nullptr;

std::shared_ptr<Store> Store::At(const std::string& file) {
    // SQLite does not survive a fork: the child would take the parent's locks for its own. So no connection
    // is open while a process forks; parent and child open theirs again when they need them.
    static const int registered = ::pthread_atfork(
        [] {
            Lock().release();
            DisconnectAll();
        },
        Unlock, Unlock);
    if (registered != 0) return nullptr;

    for (Store* store = s_first; store != nullptr; store = store->m_next) {
        // one that is held stays the only one, also when it failed
        if (store->m_file == file && (store->m_isHeld || store->Reach(Access::Read) != State::Failed))
            return store->shared_from_this();
    }
    return std::make_shared<Store>(file);
}

void Store::DisconnectAll() {
    for (Store* store = s_first; store != nullptr; store = store->m_next) store->Disconnect();
}

void Store::Disconnect() {
    m_transaction.reset();
    sqlite3_close(std::exchange(m_db, nullptr));
    m_mayWrite = false;
}

State Store::Reach(Access access) {
    const auto found = Look(m_file);
    if (!found || m_lost) return State::Failed;

    // Removed or replaced under us: nobody would read what is written now, and the ids of our keys mean
    // nothing in another file.
    if (m_connected && *found != *m_connected) {
        m_lost = true;
        Disconnect();
        return State::Failed;
    }
    if (found->blank && access != Access::Create) return State::Absent;
    if (m_db == nullptr && !Connect(access)) {
        Disconnect();
        return State::Failed;
    }
    // SQLite gives a transaction up by itself when, say, the disk is full: what follows must not stay.
    if (m_isHeld && (!m_transaction || sqlite3_get_autocommit(m_db) != 0)) return State::Failed;
    if (access != Access::Read && !MayWrite()) return State::Failed;
    return State::Ready;
}

bool Store::Hold(Access access) {
    const State state = Reach(access);
    if (state != State::Ready) return state == State::Absent; // there is nothing to hold
    m_transaction.emplace(m_db, access == Access::Read ? "BEGIN" : "BEGIN IMMEDIATE");
    m_isHeld = m_transaction->Open();
    if (!m_isHeld) m_transaction.reset();
    return m_isHeld;
}

bool Store::Release(bool keep) {
    const bool kept = !m_isHeld ? keep : keep && m_transaction && m_transaction->Commit();
    m_transaction.reset();
    m_isHeld = false;
    return kept;
}

bool Store::Connect(Access access) {
    if (access == Access::Create) MakeFolders(m_file);
    const int flags =
        SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | (access == Access::Create ? SQLITE_OPEN_CREATE : 0);
    if (sqlite3_open_v2(m_file.c_str(), &m_db, flags, nullptr) != SQLITE_OK) return false;
    // A key is opened for reading and writing, or not at all.
    if (sqlite3_db_readonly(m_db, "main") != 0) return false;
    sqlite3_busy_handler(m_db, WaitForWriter, nullptr);
    if (!Execute(m_db, "PRAGMA foreign_keys = ON; PRAGMA trusted_schema = OFF; PRAGMA synchronous = EXTRA"))
        return false;

    // SQLite takes a file of a few bytes for an empty one as well.
    if (access == Access::Create && Number(m_db, "PRAGMA page_count", -1) == 0
        && Look(m_file).value_or(FileFound{}).blank) {
        Transaction creation(m_db);
        if (!creation.Open()) return false;
        // The transaction gave the file its first page; whether somebody else was faster, the tables tell.
        const bool first = Number(m_db, "PRAGMA schema_version", -1) == 0;
        if (first && !(MakeTables(m_db) && creation.Commit())) return false;
    }
    if (Number(m_db, "PRAGMA application_id", 0) != kApplicationId) return false;
    if (Number(m_db, "PRAGMA user_version", 0) != kFormat) return false;

    m_connected = Look(m_file);
    return m_connected.has_value();
}

// Looks the store over, once a connection: a write into a damaged one would only spread the damage. After
// that readers and a writer need not wait for each other; where somebody is in the way of the change of
// journal, all works without it, and the next connection tries again.
bool Store::MayWrite() {
    if (m_mayWrite) return true;
    {
        Statement check(m_db, "PRAGMA quick_check(1)");
        if (!check.Next() || check.Text(0) != "ok") return false;
    }
    Execute(m_db, "PRAGMA journal_mode = WAL");
    return m_mayWrite = true;
}

std::string HomeFolder() {
    if (const char* home = ::secure_getenv("HOME"); home != nullptr && *home == '/') return home;

    struct passwd  entry {};
    struct passwd* found = nullptr;
    char           texts[4096];
    ::getpwuid_r(::geteuid(), &entry, texts, sizeof texts, &found);
    return found != nullptr ? found->pw_dir : "";
}

std::string StateFolder() {
    if (::geteuid() == 0) return "/var/lib";
    if (const char* state = ::secure_getenv("XDG_STATE_HOME"); state != nullptr && *state == '/')
        return state;
    return HomeFolder() + "/.local/state";
}

// Absolute, as the working directory may change while a key is open.
std::string StoreFile() {
    const char* named = ::secure_getenv("KIV_REGISTRY");
    if (named == nullptr || *named == '\0') return StateFolder() + "/kivutility/registry.db";
    return std::filesystem::absolute(named).string();
}

} // namespace

// An open key. The roots are no objects.
struct KivRegistryKey {
    std::shared_ptr<Store> store;
    std::int64_t           id;
};

namespace {

// The transaction of the thread that has the lock.
struct {
    std::shared_ptr<Store> store;
    bool                   doomed = false;
} g_transaction;

// Runs one operation of the seam under the lock; whatever it throws is a failure.
template <class Result, class Operation> Result Locked(Result onFailure, Operation operation) noexcept {
    try {
        const auto held = Lock();
        return operation();
    } catch (const std::exception&) {
        return onFailure;
    }
}

// Where an operation starts; nothing for a null key. The caller holds the lock for as long as it has the
// result.
std::optional<KivRegistryKey> PlaceOf(HKEY key) {
    if (key == nullptr) return std::nullopt;
    const std::int64_t root = RootId(key);
    if (root == 0) return *key;
    auto store = Store::At(StoreFile());
    if (store == nullptr) return std::nullopt;
    return KivRegistryKey{std::move(store), root};
}

HKEY NewKey(KivRegistryKey key) { return new KivRegistryKey(std::move(key)); }

// The connection for work in `key`; null when there is none to be had.
sqlite3* Reach(const std::optional<KivRegistryKey>& key, Access access) {
    return key && key->store->Reach(access) == State::Ready ? key->store->Db() : nullptr;
}

using Names = std::vector<std::string_view>;

// The names that a path is made of, none for the empty path; nothing for what is no path.
std::optional<Names> Split(const char* path) {
    if (path == nullptr || *path == '\\') return std::nullopt;
    Names names;
    for (std::string_view rest = path; !rest.empty();) {
        const auto name = rest.substr(0, rest.find('\\'));
        rest.remove_prefix(std::min(name.size() + 1, rest.size()));
        if (name.size() > kMaxKeyName) return std::nullopt;
        if (!name.empty()) names.push_back(name);
    }
    if (names.size() > kMaxDepth) return std::nullopt;
    return names;
}

std::optional<std::int64_t> FindChild(sqlite3* db, std::int64_t parent, std::string_view name) {
    Statement statement(db, "SELECT id FROM key WHERE parent = ? AND name = ?", parent, name);
    if (!statement.Next()) return std::nullopt;
    return statement.Number(0);
}

std::optional<std::int64_t> Find(sqlite3* db, std::int64_t key, const Names& names) {
    for (const auto name : names) {
        const auto child = FindChild(db, key, name);
        if (!child) return std::nullopt;
        key = *child;
    }
    return key;
}

std::optional<std::int64_t> FindOrMake(sqlite3* db, std::int64_t key, const Names& names) {
    Transaction all(db);
    if (!all.Open()) return std::nullopt;
    for (const auto name : names) {
        auto child = FindChild(db, key, name);
        if (!child) {
            if (!Statement(db, "INSERT INTO key (parent, name) VALUES (?, ?)", key, name).Run())
                return std::nullopt;
            child = sqlite3_last_insert_rowid(db);
        }
        key = *child;
    }
    return all.Commit() ? std::optional(key) : std::nullopt;
}

// Runs a change of one row; false when it failed or there was no such row.
template <class... Parameters> bool Change(sqlite3* db, const char* sql, const Parameters&... parameters) {
    return Statement(db, sql, parameters...).Run() && sqlite3_changes(db) == 1;
}

std::string_view ValueName(const char* name) { return name != nullptr ? name : ""; }

std::vector<std::string> NamesIn(HKEY key, const char* sql) noexcept {
    return Locked(std::vector<std::string>{}, [&] {
        std::vector<std::string> names;
        const auto               place = PlaceOf(key);
        if (sqlite3* db = Reach(place, Access::Read)) {
            Statement statement(db, sql, place->id);
            while (statement.Next()) names.push_back(statement.Text(0));
        }
        return names;
    });
}

} // namespace

namespace kiv::platform {

HKEY OpenKey(HKEY root, const char* path) noexcept {
    return Locked(HKEY{}, [&]() -> HKEY {
        const auto place = PlaceOf(root);
        const auto names = Split(path);
        if (!place || !names) return nullptr;
        const State state = place->store->Reach(Access::Read);
        // Where there is no store yet, a root is there and empty, as it is in a new store.
        if (state == State::Absent && names->empty()) return NewKey(*place);
        if (state != State::Ready) return nullptr;
        const auto id = Find(place->store->Db(), place->id, *names);
        return id ? NewKey({place->store, *id}) : nullptr;
    });
}

HKEY CreateKey(HKEY root, const char* path) noexcept {
    return Locked(HKEY{}, [&]() -> HKEY {
        const auto place = PlaceOf(root);
        const auto names = Split(path);
        sqlite3*   db    = names ? Reach(place, Access::Create) : nullptr;
        const auto id    = db != nullptr ? FindOrMake(db, place->id, *names) : std::nullopt;
        return id ? NewKey({place->store, *id}) : nullptr;
    });
}

bool CloseKey(HKEY key) noexcept {
    return Locked(false, [&] {
        if (key != nullptr && RootId(key) == 0) delete key;
        return key != nullptr;
    });
}

bool DeleteKey(HKEY parent, const char* path) noexcept {
    return Locked(false, [&] {
        const auto place = PlaceOf(parent);
        const auto names = Split(path);
        sqlite3*   db    = names ? Reach(place, Access::Change) : nullptr;
        const auto id    = db != nullptr ? Find(db, place->id, *names) : std::nullopt;
        return id && Change(db, "DELETE FROM key WHERE id = ? AND parent IS NOT NULL", *id);
    });
}

std::optional<RegistryValue> ReadValue(HKEY key, const char* name, std::span<unsigned char> out) noexcept {
    return Locked(std::optional<RegistryValue>{}, [&]() -> std::optional<RegistryValue> {
        const auto place = PlaceOf(key);
        sqlite3*   db    = Reach(place, Access::Read);
        if (db == nullptr) return std::nullopt;
        Statement statement(db, "SELECT type, data FROM value WHERE key = ? AND name = ?", place->id,
                            ValueName(name));
        if (!statement.Next()) return std::nullopt;
        const auto bytes = statement.Bytes(1);
        if (bytes.size() <= out.size()) std::copy(bytes.begin(), bytes.end(), out.begin());
        return RegistryValue{static_cast<std::uint32_t>(statement.Number(0)), bytes.size()};
    });
}

bool WriteValue(HKEY key, const char* name, RegistryType type,
                std::span<const unsigned char> bytes) noexcept {
    return Locked(false, [&] {
        const auto place = PlaceOf(key);
        sqlite3*   db    = ValueName(name).size() <= kMaxValueName ? Reach(place, Access::Create) : nullptr;
        return db != nullptr
               && Change(db,
                         "INSERT INTO value (key, name, type, data) VALUES (?, ?, ?, ?)"
                         " ON CONFLICT DO UPDATE SET type = excluded.type, data = excluded.data",
                         place->id, ValueName(name), std::int64_t{type}, bytes);
    });
}

bool DeleteValue(HKEY key, const char* name) noexcept {
    return Locked(false, [&] {
        const auto place = PlaceOf(key);
        sqlite3*   db    = Reach(place, Access::Change);
        return db != nullptr
               && Change(db, "DELETE FROM value WHERE key = ? AND name = ?", place->id, ValueName(name));
    });
}

std::vector<std::string> SubKeyNames(HKEY key) noexcept {
    return NamesIn(key, "SELECT name FROM key WHERE parent = ? ORDER BY name");
}

std::vector<std::string> ValueNames(HKEY key) noexcept {
    return NamesIn(key, "SELECT name FROM value WHERE key = ? ORDER BY name");
}

const bool kTransactionsUndo = true;

bool BeginTransaction(RegistryUse use) noexcept {
    auto lock = Lock();
    if (t_transactions == 0) {
        try {
            auto place = PlaceOf(HKEY_LOCAL_MACHINE); // all roots are in one store
            if (!place || !place->store->Hold(use)) return false;
            g_transaction.store  = std::move(place->store);
            g_transaction.doomed = false;
        } catch (const std::exception&) {
            return false;
        }
    }
    ++t_transactions;
    lock.release();
    return true;
}

bool EndTransaction(bool keep) noexcept {
    g_transaction.doomed |= !keep;
    if (--t_transactions > 0) return keep;
    const std::unique_lock lock(g_lock, std::adopt_lock);
    return std::exchange(g_transaction.store, nullptr)->Release(!g_transaction.doomed);
}

} // namespace kiv::platform
