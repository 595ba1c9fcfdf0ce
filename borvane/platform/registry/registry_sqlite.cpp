// The real registry store: one SQLite database per user.
//
// Linux has no registry, and no machine-wide store that a user may write, so every root lives
// in the user's database, HKEY_LOCAL_MACHINE included: installing a font or registering a help
// file must not need an administrator. The database is shared by every thread of the process
// (one connection behind the store's own lock, so SQLite needs none of its own) and by every
// process of the user (WAL, a busy timeout, one transaction per change, synced on commit), so no
// writer loses another's values and a crash leaves the last committed state.
#include "borvane/platform/registry/registry_sqlite.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>

#include "borvane/platform/base/process.h"
#include "borvane/platform/base/user_folders.h"

namespace borvane::platform {

sqlite3_stmt* StatementCache::Get(const char* sql) {
  auto it = statements_.find(sql);
  if (it != statements_.end()) return it->second;
  sqlite3_stmt* stmt = nullptr;
  if (!db_ ||
      sqlite3_prepare_v3(db_, sql, -1, SQLITE_PREPARE_PERSISTENT, &stmt, nullptr) != SQLITE_OK) {
    sqlite3_finalize(stmt);
    return nullptr;  // not kept: a later call tries again
  }
  statements_.emplace(sql, stmt);
  return stmt;
}

void StatementCache::Clear() {
  for (auto& [sql, stmt] : statements_) sqlite3_finalize(stmt);
  statements_.clear();
}

namespace {

std::string Env(const char* name) {
  const char* v = std::getenv(name);
  return v && *v ? std::string(v) : std::string();
}

std::string Utf8Fold(const String& s) {
  return String(FoldRegistryName(s)).ToUtf8();
}

// The parent of a canonical path ("" for a root).
String ParentOf(const String& key) {
  std::u16string_view v = key.view();
  size_t slash = v.rfind(u'\\');
  return slash == std::u16string_view::npos ? String() : String(v.substr(0, slash));
}

// A statement of the connection's cache, reset for the next use when the scope ends.
class Statement {
 public:
  Statement(StatementCache& cache, const char* sql) : stmt_(cache.Get(sql)) {}
  ~Statement() { Reset(); }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  Statement& Bind(int i, const std::string& text) {
    sqlite3_bind_text(stmt_, i, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
    return *this;
  }
  Statement& BindBlob(int i, const std::string& data) {
    sqlite3_bind_blob(stmt_, i, data.data(), static_cast<int>(data.size()), SQLITE_TRANSIENT);
    return *this;
  }
  Statement& Bind(int i, int64_t n) {
    sqlite3_bind_int64(stmt_, i, n);
    return *this;
  }
  // True while a row is there.
  bool Step() { return stmt_ && sqlite3_step(stmt_) == SQLITE_ROW; }
  // Runs a statement that gives no rows: true when it ran to its end.
  bool Done() { return stmt_ && sqlite3_step(stmt_) == SQLITE_DONE; }
  void Reset() {
    if (!stmt_) return;
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
  }
  std::string Text(int col) const {
    const unsigned char* t = sqlite3_column_text(stmt_, col);
    return t ? std::string(reinterpret_cast<const char*>(t),
                           static_cast<size_t>(sqlite3_column_bytes(stmt_, col)))
             : std::string();
  }
  std::string_view TextView(int col) const {
    const unsigned char* t = sqlite3_column_text(stmt_, col);
    return t ? std::string_view(reinterpret_cast<const char*>(t),
                                static_cast<size_t>(sqlite3_column_bytes(stmt_, col)))
             : std::string_view();
  }
  std::string Blob(int col) const {
    const void* b = sqlite3_column_blob(stmt_, col);
    return b ? std::string(static_cast<const char*>(b),
                           static_cast<size_t>(sqlite3_column_bytes(stmt_, col)))
             : std::string();
  }
  int64_t Int(int col) const { return sqlite3_column_int64(stmt_, col); }

 private:
  sqlite3_stmt* stmt_ = nullptr;
};

// A value from a row of "SELECT name, type, data".
void ReadValue(const Statement& q, RegistryValue& v) {
  v.name = String::FromUtf8(q.TextView(0));
  v.type = static_cast<uint32_t>(q.Int(1));
  v.data = q.Blob(2);
}

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS keys(fold TEXT PRIMARY KEY, path TEXT NOT NULL,"
    " parent TEXT NOT NULL);"
    "CREATE INDEX IF NOT EXISTS keys_parent ON keys(parent);"
    "CREATE TABLE IF NOT EXISTS vals(key TEXT NOT NULL, fold TEXT NOT NULL, name TEXT NOT NULL,"
    " type INTEGER NOT NULL, data BLOB NOT NULL, seq INTEGER NOT NULL,"
    " PRIMARY KEY(key, fold));"
    "CREATE INDEX IF NOT EXISTS vals_order ON vals(key, seq);"
    "CREATE TABLE IF NOT EXISTS meta(name TEXT PRIMARY KEY, value TEXT);";

}  // namespace

std::string RegistryDatabasePath() {
  std::string path = Env("BORVANE_REGISTRY");
  if (!path.empty()) return path;
  return XdgFolder("XDG_CONFIG_HOME", "/.config") + "/borvane/registry.db";
}

std::string EarlierRegistryTextPath() {
  return XdgFolder("XDG_DATA_HOME", "/.local/share") + "/borvane/registry";
}

namespace {

// Renames `from` to `to` unless `to` is there: false then, and when `from` is missing.
bool RenameNoReplace(const std::string& from, const std::string& to) {
  return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0;
}

// Sets the damaged store at `path` (and its log and index files) aside under a name no earlier
// store of that path has, and gives the name; empty when it could not be moved.
std::string SetAside(const std::string& path) {
  const std::string stamp = path + ".damaged-" + std::to_string(std::time(nullptr));
  for (int n = 0; n < 10'000; ++n) {
    std::string aside = n == 0 ? stamp : stamp + "-" + std::to_string(n);
    if (!RenameNoReplace(path, aside)) {
      if (errno == EEXIST) continue;
      return std::string();
    }
    for (const char* suffix : {"-wal", "-shm"}) RenameNoReplace(path + suffix, aside + suffix);
    return aside;
  }
  return std::string();
}

}  // namespace

SqliteRegistry::SqliteRegistry(std::string path, std::string import_path) : path_(std::move(path)) {
  // The folders on the way to the store's file, private to the user.
  if (size_t slash = path_.rfind('/'); slash != std::string::npos)
    MakeFolders(path_.substr(0, slash), 0700);
  // Opening, and setting a damaged store aside, is one step among the processes of the user:
  // the one that finds the damage moves the file and makes the new store while the others
  // wait, and they then open that new store, not the damaged one, nor a second new one.
  int lock = ::open((path_ + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (lock >= 0)
    while (::flock(lock, LOCK_EX) != 0 && errno == EINTR) {
    }
  OpenResult opened = Open();
  if (opened == OpenResult::kDamaged) {
    // Not a database, or a damaged one: set it aside, never delete it, and start afresh.
    Close();
    const std::string aside = SetAside(path_);
    if (!aside.empty()) {
      std::fprintf(stderr, "borvane: the registry store %s was damaged; kept as %s, started anew\n",
                   path_.c_str(), aside.c_str());
      opened = Open();
    }
  }
  if (lock >= 0) ::close(lock);
  if (opened != OpenResult::kOpen) {
    Close();
    std::fprintf(stderr, "borvane: the registry store %s cannot be opened: nothing is kept\n",
                 path_.c_str());
  }
  if (db_ && !import_path.empty()) ImportOnce(import_path);
}

SqliteRegistry::~SqliteRegistry() {
  Close();
}

namespace {

bool IsDamage(int rc) {
  rc &= 0xFF;
  return rc == SQLITE_NOTADB || rc == SQLITE_CORRUPT;
}

}  // namespace

SqliteRegistry::OpenResult SqliteRegistry::Open() {
  int rc =
      sqlite3_open_v2(path_.c_str(), &db_,
                      SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  if (rc != SQLITE_OK) return IsDamage(rc) ? OpenResult::kDamaged : OpenResult::kFailed;
  cache_.SetDatabase(db_);
  sqlite3_busy_timeout(db_, 10000);
  {
    Statement check(cache_, "PRAGMA quick_check");
    if (check.Step()) {
      if (check.Text(0) != "ok") return OpenResult::kDamaged;
    } else {
      // Only a file that is no database, or a damaged one, is set aside; a store that another
      // process holds is not.
      return IsDamage(sqlite3_errcode(db_)) ? OpenResult::kDamaged : OpenResult::kFailed;
    }
  }  // done reading before the journal mode may change
  // Two processes making the store at one moment may each find the other's lock.
  for (int attempt = 0; attempt < 100; ++attempt) {
    rc = sqlite3_exec(db_, "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;", nullptr, nullptr,
                      nullptr);
    if (rc == SQLITE_OK) rc = sqlite3_exec(db_, kSchema, nullptr, nullptr, nullptr);
    if (rc == SQLITE_OK) return OpenResult::kOpen;
    if (IsDamage(rc)) return OpenResult::kDamaged;
    if ((rc & 0xFF) != SQLITE_BUSY && (rc & 0xFF) != SQLITE_LOCKED) return OpenResult::kFailed;
    ::usleep(20000);
  }
  return OpenResult::kFailed;
}

void SqliteRegistry::Close() {
  cache_.Clear();
  if (db_) sqlite3_close_v2(db_);
  db_ = nullptr;
}

bool SqliteRegistry::Exec(const char* sql) {
  return db_ && sqlite3_exec(db_, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

void SqliteRegistry::ImportOnce(const std::string& import_path) {
  std::lock_guard<std::mutex> lock(mutex_);
  Statement done(cache_, "SELECT value FROM meta WHERE name='imported'");
  if (done.Step()) return;
  std::ifstream in(import_path, std::ios::binary);
  std::string text;
  if (in) {
    std::ostringstream ss;
    ss << in.rdbuf();
    text = ss.str();
  }
  // The earlier store kept HKEY_CLASSES_ROOT as a root of its own; its keys go where a write
  // through that view goes now. One transaction: the import happens whole or not at all.
  Transaction([&] {
    bool ok = true;
    ParseRegistryText(text, [&](const String& key, const String* name, const String* value) {
      String c = Canonical(key);
      if (c.empty()) return;
      if (c.view().substr(0, 17) == u"HKEY_CLASSES_ROOT")
        c = String(u"HKEY_LOCAL_MACHINE\\Software\\Classes" + std::u16string(c.view().substr(17)));
      ok = ok && CreateLocked(c) && (!name || SetLocked(c, RegistryValue::Text(*name, *value)));
    });
    Statement mark(cache_, "INSERT OR REPLACE INTO meta(name, value) VALUES('imported', ?1)");
    return ok && mark.Bind(1, import_path).Done();
  });
}

uint64_t SqliteRegistry::OutsideVersion() {
  std::lock_guard<std::mutex> lock(mutex_);
  if (!db_) return 0;
  // Another process's commit writes the database's log (or, at a checkpoint, the database):
  // while the watch on both saw nothing, nothing changed. Without a watch, SQLite's own count
  // is asked, which costs a read transaction.
  if (!watched_ || watch_.Changed()) {
    watched_ = watch_.WatchFile(path_) && watch_.WatchFile(path_ + "-wal");
    ++watch_version_;
  }
  if (watched_) return watch_version_ << 1;
  Statement q(cache_, "PRAGMA data_version");
  // Odd, and so never 0 nor a version of the watch.
  return q.Step() ? static_cast<uint64_t>(q.Int(0)) << 1 | 1 : 0;
}

bool SqliteRegistry::StoredKeyExists(const String& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  Statement q(cache_, "SELECT 1 FROM keys WHERE fold=?1");
  return q.Bind(1, Utf8Fold(key)).Step();
}

bool SqliteRegistry::CreateLocked(const String& key) {
  Statement insert(cache_, "INSERT OR IGNORE INTO keys(fold, path, parent) VALUES(?1, ?2, ?3)");
  for (String k = key; !ParentOf(k).empty(); k = ParentOf(k)) {
    insert.Bind(1, Utf8Fold(k)).Bind(2, k.ToUtf8()).Bind(3, Utf8Fold(ParentOf(k)));
    if (!insert.Done()) return false;
    bool made = sqlite3_changes(db_) > 0;
    insert.Reset();
    if (!made) break;  // the parents are there too
  }
  return true;
}

bool SqliteRegistry::StoredCreateKey(const String& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  return Transaction([&] { return CreateLocked(key); });
}

bool SqliteRegistry::StoredDeleteTree(const String& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  bool existed = false;
  Transaction([&] {
    std::string fold = Utf8Fold(key), below = fold + "\\";
    for (const char* sql : {"DELETE FROM vals WHERE key=?1 OR substr(key, 1, length(?2))=?2",
                            "DELETE FROM keys WHERE fold=?1 OR substr(fold, 1, length(?2))=?2"}) {
      Statement del(cache_, sql);
      if (!del.Bind(1, fold).Bind(2, below).Done()) return false;
      existed |= sqlite3_changes(db_) > 0;
    }
    return true;
  });
  return existed;
}

std::vector<String> SqliteRegistry::StoredSubKeys(const String& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<String> out;
  Statement q(cache_, "SELECT path FROM keys WHERE parent=?1 ORDER BY fold");
  q.Bind(1, Utf8Fold(key));
  while (q.Step()) {
    String path = String::FromUtf8(q.Text(0));
    out.push_back(String(path.view().substr(path.view().rfind(u'\\') + 1)));
  }
  return out;
}

std::vector<RegistryValue> SqliteRegistry::StoredValues(const String& key) {
  std::lock_guard<std::mutex> lock(mutex_);
  std::vector<RegistryValue> out;
  Statement q(cache_, "SELECT name, type, data FROM vals WHERE key=?1 ORDER BY seq");
  q.Bind(1, Utf8Fold(key));
  while (q.Step()) ReadValue(q, out.emplace_back());
  return out;
}

std::optional<RegistryValue> SqliteRegistry::StoredValue(const String& key, const String& name) {
  std::lock_guard<std::mutex> lock(mutex_);
  Statement q(cache_, "SELECT name, type, data FROM vals WHERE key=?1 AND fold=?2");
  if (!q.Bind(1, Utf8Fold(key)).Bind(2, Utf8Fold(name)).Step()) return std::nullopt;
  RegistryValue v;
  ReadValue(q, v);
  return v;
}

bool SqliteRegistry::SetLocked(const String& key, const RegistryValue& value) {
  // A value set again keeps its name's first spelling and its place in the order.
  Statement upsert(cache_,
                   "INSERT INTO vals(key, fold, name, type, data, seq) VALUES(?1, ?2, ?3, ?4, ?5,"
                   " (SELECT coalesce(max(seq), 0) + 1 FROM vals WHERE key=?1))"
                   " ON CONFLICT(key, fold) DO UPDATE SET type=excluded.type, data=excluded.data");
  upsert.Bind(1, Utf8Fold(key))
      .Bind(2, Utf8Fold(value.name))
      .Bind(3, value.name.ToUtf8())
      .Bind(4, static_cast<int64_t>(value.type))
      .BindBlob(5, value.data);
  return upsert.Done();
}

bool SqliteRegistry::StoredSet(const String& key, const RegistryValue& value) {
  std::lock_guard<std::mutex> lock(mutex_);
  return Transaction([&] { return CreateLocked(key) && SetLocked(key, value); });
}

bool SqliteRegistry::StoredDeleteValue(const String& key, const String& name) {
  std::lock_guard<std::mutex> lock(mutex_);
  bool deleted = false;
  Transaction([&] {
    Statement del(cache_, "DELETE FROM vals WHERE key=?1 AND fold=?2");
    if (!del.Bind(1, Utf8Fold(key)).Bind(2, Utf8Fold(name)).Done()) return false;
    deleted = sqlite3_changes(db_) > 0;
    return true;
  });
  return deleted;
}

bool SqliteRegistry::Transaction(const std::function<bool()>& body) {
  // IMMEDIATE takes the write lock at once, so that two processes never both read and then
  // both try to write (which one of them would have to give up).
  if (!Exec("BEGIN IMMEDIATE")) return false;
  if (body() && Exec("COMMIT")) return true;
  Exec("ROLLBACK");
  return false;
}

}  // namespace borvane::platform
