// The real registry store on SQLite (see registry_sqlite.cpp for why it is built so).
#ifndef BORVANE_PLATFORM_REGISTRY_REGISTRY_SQLITE_H_
#define BORVANE_PLATFORM_REGISTRY_REGISTRY_SQLITE_H_

#include <functional>
#include <map>
#include <mutex>
#include <string>

#include "borvane/platform/base/folder_watch.h"
#include "borvane/platform/registry/registry.h"

struct sqlite3;
struct sqlite3_stmt;

namespace borvane::platform {

// The prepared statements of one connection, kept by their text (a literal's address).
class StatementCache {
 public:
  void SetDatabase(sqlite3* db) { db_ = db; }
  // The statement, prepared on first use; nullptr when it cannot be prepared.
  sqlite3_stmt* Get(const char* sql);
  void Clear();

 private:
  sqlite3* db_ = nullptr;
  std::map<const char*, sqlite3_stmt*> statements_;
};

// Where the user's store lives: $BORVANE_REGISTRY, else $XDG_CONFIG_HOME/borvane/registry.db,
// else ~/.config/borvane/registry.db.
std::string RegistryDatabasePath();
// The text file of the library's earlier store, imported once into a new database.
std::string EarlierRegistryTextPath();

class SqliteRegistry : public RegistryStore {
 public:
  // Opens (or makes) the database at `path`. A file there that is not a database, or a damaged
  // one, is renamed aside with one line on standard error and a new one is made. The text store
  // at `import_path`, if any, is imported the first time the database is opened.
  explicit SqliteRegistry(std::string path, std::string import_path = {});
  ~SqliteRegistry() override;
  SqliteRegistry(const SqliteRegistry&) = delete;
  SqliteRegistry& operator=(const SqliteRegistry&) = delete;

  // False when no database could be opened at all (every read then finds nothing and every
  // write fails).
  bool IsOpen() const { return db_ != nullptr; }

 protected:
  bool StoredKeyExists(const String& key) override;
  bool StoredCreateKey(const String& key) override;
  bool StoredDeleteTree(const String& key) override;
  std::vector<String> StoredSubKeys(const String& key) override;
  std::vector<RegistryValue> StoredValues(const String& key) override;
  std::optional<RegistryValue> StoredValue(const String& key, const String& name) override;
  bool StoredSet(const String& key, const RegistryValue& value) override;
  bool StoredDeleteValue(const String& key, const String& name) override;
  // SQLite's data version, which moves on when another connection commits.
  uint64_t OutsideVersion() override;

 private:
  enum class OpenResult { kOpen, kDamaged, kFailed };
  OpenResult Open();
  void Close();
  bool Exec(const char* sql);
  void ImportOnce(const std::string& import_path);
  // One committed transaction around `body`, rolled back when it returns false.
  bool Transaction(const std::function<bool()>& body);
  bool CreateLocked(const String& key);
  bool SetLocked(const String& key, const RegistryValue& value);

  std::string path_;
  sqlite3* db_ = nullptr;
  StatementCache cache_;
  std::mutex mutex_;
  FolderWatch watch_;  // the database and its log, for OutsideVersion
  bool watched_ = false;
  uint64_t watch_version_ = 0;
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_REGISTRY_REGISTRY_SQLITE_H_
