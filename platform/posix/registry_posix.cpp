// The registry substitute of the POSIX build: one SQLite database under the root.
//
// Keys form a tree in one table; names keep their spelling and are matched by a
// folded form, as the Windows registry matches them without regard to case.
// Writes go through SQLite transactions in WAL mode, so the store survives a
// killed process and can be shared by several processes at once.
#include "platform/case_folding.h"
#include "platform/posix/host.h"
#include "platform/posix/test_hooks.h"
#include "platform/registry.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cwchar>

#include <chrono>
#include <cstring>
#include <string>
#include <vector>

namespace platform::registry {

struct Key {
    sqlite3_int64 id;
};

namespace {

using posix::FromUtf8;
using posix::ToUtf8;

// Names compare as the registry compares them, in ASCII and the Latin-1 letters.
std::wstring Fold(const std::wstring& name) {
    return FoldCase(name, FoldedLetters::Latin1);
}

std::uint64_t NowAsFileTime() {
    using namespace std::chrono;
    const auto sinceEpoch =
        duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
    return static_cast<std::uint64_t>(sinceEpoch / 100) + 116444736000000000ULL;
}

class Statement {
public:
    // A statement that does not prepare (a broken or unreadable database) is
    // reported on the error stream and stays null: binding to it does nothing,
    // and stepping it yields no row and a failed run.
    Statement(sqlite3* db, const char* sql) {
        const int result = sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
        if (result != SQLITE_OK) {
            std::fprintf(stderr, "registry store: cannot prepare \"%s\": %s\n", sql,
                         db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(result));
            sqlite3_finalize(statement);
            statement = nullptr;
        }
    }
    ~Statement() { sqlite3_finalize(statement); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& Bind(int index, sqlite3_int64 value) {
        if (statement != nullptr)
            sqlite3_bind_int64(statement, index, value);
        return *this;
    }
    Statement& Bind(int index, const std::string& text) {
        if (statement != nullptr)
            sqlite3_bind_text(statement, index, text.c_str(), static_cast<int>(text.size()),
                              SQLITE_TRANSIENT);
        return *this;
    }
    Statement& BindBlob(int index, const std::uint8_t* data, std::uint32_t size) {
        static const std::uint8_t empty = 0;
        if (statement != nullptr)
            sqlite3_bind_blob(statement, index, data != nullptr ? data : &empty,
                              static_cast<int>(size), SQLITE_TRANSIENT);
        return *this;
    }
    bool Step() { return statement != nullptr && sqlite3_step(statement) == SQLITE_ROW; }
    bool Run() {
        if (statement == nullptr)
            return false;
        int result = sqlite3_step(statement);
        return result == SQLITE_DONE || result == SQLITE_ROW;
    }
    void Reset() {
        if (statement == nullptr)
            return;
        sqlite3_reset(statement);
        sqlite3_clear_bindings(statement);
    }
    sqlite3_int64 Int(int column) { return sqlite3_column_int64(statement, column); }
    std::string Text(int column) {
        const unsigned char* text = sqlite3_column_text(statement, column);
        return text != nullptr ? reinterpret_cast<const char*>(text) : std::string();
    }
    std::vector<std::uint8_t> Blob(int column) {
        const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement, column));
        const int size = sqlite3_column_bytes(statement, column);
        return data != nullptr ? std::vector<std::uint8_t>(data, data + size)
                               : std::vector<std::uint8_t>();
    }

private:
    sqlite3_stmt* statement = nullptr;
};

class Store {
public:
    static Store& Get() {
        static Store store;
        return store;
    }

    sqlite3* Db() {
        if (db == nullptr)
            OpenDatabase();
        return db;
    }

    void Close() {
        if (db != nullptr)
            sqlite3_close(db);
        db = nullptr;
    }

    ~Store() { Close(); }

private:
    void OpenDatabase() {
        const std::string root = posix::Root();
        posix::CreateHostFolders(root);
        const std::string file = root + "/registry.sqlite3";
        if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                            nullptr) != SQLITE_OK) {
            sqlite3_close(db);
            db = nullptr;
            return;
        }
        sqlite3_busy_timeout(db, 10000);
        // Key ids are never used twice, so that a handle on a deleted key stays
        // dead, as Windows' does, instead of reaching a key made later.
        sqlite3_exec(db,
                     "PRAGMA journal_mode=WAL;"
                     "PRAGMA synchronous=NORMAL;"
                     "CREATE TABLE IF NOT EXISTS keys("
                     "  id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL, name TEXT NOT NULL,"
                     "  fold TEXT NOT NULL, lastWrite INTEGER NOT NULL, UNIQUE(parent, fold));"
                     "CREATE TABLE IF NOT EXISTS vals("
                     "  key INTEGER NOT NULL, name TEXT NOT NULL, fold TEXT NOT NULL,"
                     "  type INTEGER NOT NULL, data BLOB NOT NULL, PRIMARY KEY(key, fold));"
                     "INSERT OR IGNORE INTO keys(id, parent, name, fold, lastWrite)"
                     "  VALUES (1, 0, 'HKEY_LOCAL_MACHINE', 'HKEY_LOCAL_MACHINE', 0),"
                     "         (2, 0, 'HKEY_CURRENT_USER', 'HKEY_CURRENT_USER', 0);",
                     nullptr, nullptr, nullptr);
    }

    sqlite3* db = nullptr;
};

sqlite3* Db() {
    return Store::Get().Db();
}

// Runs a group of statements as one write transaction.
class Transaction {
public:
    Transaction() { sqlite3_exec(Db(), "BEGIN IMMEDIATE", nullptr, nullptr, nullptr); }
    ~Transaction() {
        sqlite3_exec(Db(), committed ? "COMMIT" : "ROLLBACK", nullptr, nullptr, nullptr);
    }
    // A copy would end the same transaction a second time.
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void Commit() { committed = true; }

private:
    bool committed = false;
};

bool KeyAlive(sqlite3_int64 id) {
    Statement query(Db(), "SELECT 1 FROM keys WHERE id = ?");
    return query.Bind(1, id).Step();
}

void Touch(sqlite3_int64 id) {
    Statement update(Db(), "UPDATE keys SET lastWrite = ? WHERE id = ?");
    update.Bind(1, static_cast<sqlite3_int64>(NowAsFileTime())).Bind(2, id).Run();
}

std::vector<std::wstring> Components(const std::wstring& path) {
    std::vector<std::wstring> parts;
    std::wstring current;
    for (wchar_t c : path) {
        if (c == L'\\') {
            if (!current.empty())
                parts.push_back(current);
            current.clear();
        } else {
            current += c;
        }
    }
    if (!current.empty())
        parts.push_back(current);
    return parts;
}

sqlite3_int64 FindChild(sqlite3_int64 parent, const std::wstring& name) {
    Statement query(Db(), "SELECT id FROM keys WHERE parent = ? AND fold = ?");
    if (query.Bind(1, parent).Bind(2, ToUtf8(Fold(name))).Step())
        return query.Int(0);
    return 0;
}

sqlite3_int64 CreateChild(sqlite3_int64 parent, const std::wstring& name) {
    const auto now = static_cast<sqlite3_int64>(NowAsFileTime());
    Statement insert(Db(), "INSERT INTO keys(parent, name, fold, lastWrite) VALUES (?, ?, ?, ?)");
    if (!insert.Bind(1, parent)
             .Bind(2, ToUtf8(name))
             .Bind(3, ToUtf8(Fold(name)))
             .Bind(4, now)
             .Run())
        return 0;
    const sqlite3_int64 id = sqlite3_last_insert_rowid(Db());
    Touch(parent);
    return id;
}

// Walks (and with create, builds) a relative path below a key.
sqlite3_int64 Resolve(sqlite3_int64 start, const std::vector<std::wstring>& parts, bool create) {
    sqlite3_int64 current = start;
    for (const std::wstring& part : parts) {
        sqlite3_int64 next = FindChild(current, part);
        if (next == 0 && create)
            next = CreateChild(current, part);
        if (next == 0)
            return 0;
        current = next;
    }
    return current;
}

// All keys of the subtree rooted at `id`, the root first.
std::vector<sqlite3_int64> Subtree(sqlite3_int64 id) {
    std::vector<sqlite3_int64> ids{id};
    Statement children(Db(), "SELECT id FROM keys WHERE parent = ?");
    for (std::size_t at = 0; at < ids.size(); ++at) {
        children.Reset();
        children.Bind(1, ids[at]);
        while (children.Step())
            ids.push_back(children.Int(0));
    }
    return ids;
}

void DeleteKeyRows(const std::vector<sqlite3_int64>& ids, bool keepFirst) {
    Statement values(Db(), "DELETE FROM vals WHERE key = ?");
    Statement keys(Db(), "DELETE FROM keys WHERE id = ?");
    for (std::size_t at = 0; at < ids.size(); ++at) {
        values.Reset();
        values.Bind(1, ids[at]).Run();
        if (at == 0 && keepFirst)
            continue;
        keys.Reset();
        keys.Bind(1, ids[at]).Run();
    }
}

void CopyValues(sqlite3_int64 from, sqlite3_int64 to) {
    Statement read(Db(), "SELECT name, fold, type, data FROM vals WHERE key = ?");
    Statement write(Db(), "INSERT OR REPLACE INTO vals(key, name, fold, type, data) "
                          "VALUES (?, ?, ?, ?, ?)");
    read.Bind(1, from);
    while (read.Step()) {
        const std::vector<std::uint8_t> data = read.Blob(3);
        write.Reset();
        write.Bind(1, to).Bind(2, read.Text(0)).Bind(3, read.Text(1)).Bind(4, read.Int(2));
        write.BindBlob(5, data.data(), static_cast<std::uint32_t>(data.size())).Run();
    }
}

void CopySubtree(sqlite3_int64 from, sqlite3_int64 to) {
    CopyValues(from, to);
    Touch(to);
    std::vector<std::pair<sqlite3_int64, std::wstring>> children;
    {
        Statement query(Db(), "SELECT id, name FROM keys WHERE parent = ? ORDER BY fold");
        query.Bind(1, from);
        while (query.Step())
            children.emplace_back(query.Int(0), FromUtf8(query.Text(1)));
    }
    for (const auto& [childId, childName] : children) {
        sqlite3_int64 target = FindChild(to, childName);
        if (target == 0)
            target = CreateChild(to, childName);
        if (target != 0 && target != from)
            CopySubtree(childId, target);
    }
}

} // namespace

KeyHandle OpenKey(Hive hive, const std::wstring& path, bool wow32, bool create, Status* status) {
    Status ignored = kSuccess;
    Status& result = status != nullptr ? *status : ignored;
    result = kAccessDenied;
    if (Db() == nullptr)
        return nullptr;
    std::vector<std::wstring> parts = Components(path);
    // A 32-bit program's view of HKLM\Software is the Wow6432Node key below it;
    // the rest of the registry is shared by both views.
    if (hive == Hive::LocalMachine && wow32 && !parts.empty() && Fold(parts[0]) == L"SOFTWARE" &&
        !(parts.size() > 1 && Fold(parts[1]) == L"WOW6432NODE"))
        parts.insert(parts.begin() + 1, L"Wow6432Node");
    const sqlite3_int64 hiveId = hive == Hive::LocalMachine ? 1 : 2;
    sqlite3_int64 id = 0;
    if (create) {
        if (Resolve(hiveId, parts, false) == 0 &&
            posix::CountChange("create key", ToUtf8(path)) != 0)
            return nullptr;
        Transaction transaction;
        id = Resolve(hiveId, parts, true);
        if (id != 0)
            transaction.Commit();
    } else {
        id = Resolve(hiveId, parts, false);
        if (id == 0)
            result = kFileNotFound;
    }
    if (id == 0)
        return nullptr;
    result = kSuccess;
    return new Key{id};
}

void CloseKey(KeyHandle key) {
    delete key;
}

Status QueryValue(KeyHandle key, const std::wstring& name, ValueType* type, std::uint8_t* data,
                  std::uint32_t* size) {
    if (key == nullptr)
        return kInvalidHandle;
    if (!KeyAlive(key->id))
        return kKeyDeleted;
    Statement query(Db(), "SELECT type, data FROM vals WHERE key = ? AND fold = ?");
    if (!query.Bind(1, key->id).Bind(2, ToUtf8(Fold(name))).Step())
        return kFileNotFound;
    const std::vector<std::uint8_t> stored = query.Blob(1);
    if (type != nullptr)
        *type = static_cast<ValueType>(query.Int(0));
    const auto needed = static_cast<std::uint32_t>(stored.size());
    if (data == nullptr) {
        if (size != nullptr)
            *size = needed;
        return kSuccess;
    }
    if (size == nullptr)
        return kInvalidParameter;
    if (*size < needed) {
        *size = needed;
        return kMoreData;
    }
    if (needed != 0)
        std::memcpy(data, stored.data(), needed);
    *size = needed;
    return kSuccess;
}

Status SetValue(KeyHandle key, const std::wstring& name, ValueType type, const std::uint8_t* data,
                std::uint32_t size) {
    if (key == nullptr)
        return kInvalidHandle;
    if (posix::CountChange("set value", ToUtf8(name)) != 0)
        return kAccessDenied;
    Transaction transaction;
    if (!KeyAlive(key->id))
        return kKeyDeleted;
    Statement write(Db(), "INSERT OR REPLACE INTO vals(key, name, fold, type, data) "
                          "VALUES (?, ?, ?, ?, ?)");
    write.Bind(1, key->id).Bind(2, ToUtf8(name)).Bind(3, ToUtf8(Fold(name)));
    write.Bind(4, static_cast<sqlite3_int64>(type)).BindBlob(5, data, size);
    if (!write.Run())
        return kInvalidParameter;
    Touch(key->id);
    transaction.Commit();
    return kSuccess;
}

Status DeleteValue(KeyHandle key, const std::wstring& name) {
    if (key == nullptr)
        return kInvalidHandle;
    if (posix::CountChange("delete value", ToUtf8(name)) != 0)
        return kAccessDenied;
    Transaction transaction;
    if (!KeyAlive(key->id))
        return kKeyDeleted;
    Statement erase(Db(), "DELETE FROM vals WHERE key = ? AND fold = ?");
    erase.Bind(1, key->id).Bind(2, ToUtf8(Fold(name))).Run();
    if (sqlite3_changes(Db()) == 0)
        return kFileNotFound;
    Touch(key->id);
    transaction.Commit();
    return kSuccess;
}

Status QueryInfo(KeyHandle key, std::uint32_t* subKeyCount, std::uint32_t* maxSubKeyLength,
                 std::uint64_t* lastWriteTime) {
    if (key == nullptr)
        return kInvalidHandle;
    Statement self(Db(), "SELECT lastWrite FROM keys WHERE id = ?");
    if (!self.Bind(1, key->id).Step())
        return kKeyDeleted;
    if (lastWriteTime != nullptr)
        *lastWriteTime = static_cast<std::uint64_t>(self.Int(0));
    std::uint32_t count = 0;
    std::size_t longest = 0;
    Statement children(Db(), "SELECT name FROM keys WHERE parent = ?");
    children.Bind(1, key->id);
    while (children.Step()) {
        ++count;
        longest = std::max(longest, FromUtf8(children.Text(0)).size());
    }
    if (subKeyCount != nullptr)
        *subKeyCount = count;
    if (maxSubKeyLength != nullptr)
        *maxSubKeyLength = static_cast<std::uint32_t>(longest);
    return kSuccess;
}

Status EnumKey(KeyHandle key, std::uint32_t index, wchar_t* name, std::uint32_t* length) {
    if (key == nullptr)
        return kInvalidHandle;
    if (name == nullptr || length == nullptr)
        return kInvalidParameter;
    if (!KeyAlive(key->id))
        return kKeyDeleted;
    Statement query(Db(), "SELECT name FROM keys WHERE parent = ? ORDER BY fold LIMIT 1 OFFSET ?");
    if (!query.Bind(1, key->id).Bind(2, static_cast<sqlite3_int64>(index)).Step())
        return kNoMoreItems;
    const std::wstring found = FromUtf8(query.Text(0));
    if (found.size() + 1 > *length)
        return kMoreData;
    std::wmemcpy(name, found.c_str(), found.size() + 1);
    *length = static_cast<std::uint32_t>(found.size());
    return kSuccess;
}

Status EnumValue(KeyHandle key, std::uint32_t index, wchar_t* name, std::uint32_t* nameLength,
                 ValueType* type, std::uint8_t* data, std::uint32_t* size) {
    if (key == nullptr)
        return kInvalidHandle;
    if (name == nullptr || nameLength == nullptr || (data != nullptr && size == nullptr))
        return kInvalidParameter;
    if (!KeyAlive(key->id))
        return kKeyDeleted;
    Statement query(Db(), "SELECT name, type, data FROM vals WHERE key = ? ORDER BY fold "
                          "LIMIT 1 OFFSET ?");
    if (!query.Bind(1, key->id).Bind(2, static_cast<sqlite3_int64>(index)).Step())
        return kNoMoreItems;
    const std::wstring found = FromUtf8(query.Text(0));
    const std::vector<std::uint8_t> stored = query.Blob(2);
    const auto needed = static_cast<std::uint32_t>(stored.size());
    if (found.size() + 1 > *nameLength)
        return kMoreData;
    std::wmemcpy(name, found.c_str(), found.size() + 1);
    *nameLength = static_cast<std::uint32_t>(found.size());
    if (type != nullptr)
        *type = static_cast<ValueType>(query.Int(1));
    if (data != nullptr && *size < needed) {
        *size = needed;
        return kMoreData;
    }
    if (data != nullptr && needed != 0)
        std::memcpy(data, stored.data(), needed);
    if (size != nullptr)
        *size = needed;
    return kSuccess;
}

Status CopyTree(KeyHandle source, const std::wstring& subKey, KeyHandle destination) {
    if (source == nullptr || destination == nullptr)
        return kInvalidHandle;
    if (posix::CountChange("copy key tree", ToUtf8(subKey)) != 0)
        return kAccessDenied;
    Transaction transaction;
    if (!KeyAlive(source->id) || !KeyAlive(destination->id))
        return kKeyDeleted;
    const sqlite3_int64 from = Resolve(source->id, Components(subKey), false);
    if (from == 0)
        return kFileNotFound;
    CopySubtree(from, destination->id);
    transaction.Commit();
    return kSuccess;
}

Status DeleteTree(KeyHandle key, const std::wstring& subKey) {
    if (key == nullptr)
        return kInvalidHandle;
    if (posix::CountChange("delete key tree", ToUtf8(subKey)) != 0)
        return kAccessDenied;
    Transaction transaction;
    if (!KeyAlive(key->id))
        return kKeyDeleted;
    const std::vector<std::wstring> parts = Components(subKey);
    const sqlite3_int64 top = Resolve(key->id, parts, false);
    if (top == 0)
        return kFileNotFound;
    DeleteKeyRows(Subtree(top), parts.empty());
    if (parts.empty()) {
        Touch(top);
    } else {
        const sqlite3_int64 above = Resolve(key->id, {parts.begin(), parts.end() - 1}, false);
        if (above != 0)
            Touch(above);
    }
    transaction.Commit();
    return kSuccess;
}

Status DeleteTreeBelowHive(Hive hive, const std::wstring& subKey) {
    if (Db() == nullptr)
        return kInvalidHandle;
    // The path is taken as it stands, without the Wow6432Node step of a 32-bit
    // open: the store's own view of the hive is the 64-bit one.
    Key root{hive == Hive::LocalMachine ? 1 : 2};
    return DeleteTree(&root, subKey);
}

} // namespace platform::registry

namespace platform::posix {
void CloseRegistryStore() {
    registry::Store::Get().Close();
}
} // namespace platform::posix
