// The registry store against plain SQLite statements doing the same work on the same kind of
// database (WAL, synced commits): one committed value write, one read, and the enumeration of a
// key with 10,000 values, both as the store's own walk and through the single-byte calls.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "borvane/platform/registry/registry_api.h"
#include "borvane/platform/registry/registry_sqlite.h"

using namespace borvane;
using namespace borvane::platform;

namespace {

std::string Scratch(const char* name) {
  static std::string folder = [] {
    char pattern[] = "/tmp/borvane-registry-bench-XXXXXX";
    return std::string(mkdtemp(pattern));
  }();
  std::filesystem::remove(folder + "/" + name);
  return folder + "/" + name;
}

const String kKey = "HKCU\\Software\\Bench";

void Fill(RegistryStore& r, int n) {
  for (int i = 0; i < n; ++i)
    r.SetValue(String("HKCU\\Software\\Many"), String(("value" + std::to_string(i)).c_str()),
               "some text of a usual length, a path or a name");
}

// Plain SQLite with the store's schema and settings.
struct Plain {
  sqlite3* db = nullptr;
  explicit Plain(const std::string& path) {
    sqlite3_open(path.c_str(), &db);
    sqlite3_exec(db,
                 "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
                 "CREATE TABLE IF NOT EXISTS vals(key TEXT, fold TEXT, name TEXT, type INTEGER,"
                 " data BLOB, seq INTEGER, PRIMARY KEY(key, fold));",
                 nullptr, nullptr, nullptr);
  }
  ~Plain() { sqlite3_close(db); }
};

void BM_StoreWrite(benchmark::State& state) {
  SqliteRegistry r(Scratch("write.db"));
  int i = 0;
  for (auto _ : state) r.SetValue(kKey, "Value", String(std::to_string(i++).c_str()));
}
BENCHMARK(BM_StoreWrite);

void BM_PlainWrite(benchmark::State& state) {
  Plain p(Scratch("plain-write.db"));
  sqlite3_stmt* s = nullptr;
  sqlite3_prepare_v2(p.db,
                     "INSERT INTO vals VALUES('K', 'VALUE', 'Value', 1, ?1, 1)"
                     " ON CONFLICT(key, fold) DO UPDATE SET data=excluded.data",
                     -1, &s, nullptr);
  int i = 0;
  for (auto _ : state) {
    std::string v = std::to_string(i++);
    sqlite3_exec(p.db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    sqlite3_bind_blob(s, 1, v.data(), static_cast<int>(v.size()), SQLITE_TRANSIENT);
    sqlite3_step(s);
    sqlite3_reset(s);
    sqlite3_exec(p.db, "COMMIT", nullptr, nullptr, nullptr);
  }
  sqlite3_finalize(s);
}
BENCHMARK(BM_PlainWrite);

void BM_StoreRead(benchmark::State& state) {
  SqliteRegistry r(Scratch("read.db"));
  r.SetValue(kKey, "Value", "C:\\Program Files\\Something");
  for (auto _ : state) benchmark::DoNotOptimize(r.GetValue(kKey, "value"));
}
BENCHMARK(BM_StoreRead);

void BM_PlainRead(benchmark::State& state) {
  Plain p(Scratch("plain-read.db"));
  sqlite3_exec(p.db, "INSERT INTO vals VALUES('K', 'VALUE', 'Value', 1, 'x', 1)", nullptr, nullptr,
               nullptr);
  sqlite3_stmt* s = nullptr;
  sqlite3_prepare_v2(p.db, "SELECT name, type, data FROM vals WHERE key=?1 AND fold=?2", -1, &s,
                     nullptr);
  for (auto _ : state) {
    sqlite3_bind_text(s, 1, "K", 1, SQLITE_TRANSIENT);
    sqlite3_bind_text(s, 2, "VALUE", 5, SQLITE_TRANSIENT);
    sqlite3_step(s);
    benchmark::DoNotOptimize(sqlite3_column_blob(s, 2));
    sqlite3_reset(s);
  }
  sqlite3_finalize(s);
}
BENCHMARK(BM_PlainRead);

void BM_StoreEnumerate10000(benchmark::State& state) {
  static SqliteRegistry* r = [] {
    auto* store = new SqliteRegistry(Scratch("many.db"));
    Fill(*store, 10000);
    return store;
  }();
  std::vector<RegistryValue> values;
  for (auto _ : state) r->Values("HKCU\\Software\\Many", values);
}
BENCHMARK(BM_StoreEnumerate10000)->Unit(benchmark::kMillisecond);

void BM_SingleByteEnumerate10000(benchmark::State& state) {
  static SqliteRegistry* r = [] {
    auto* store = new SqliteRegistry(Scratch("many-api.db"));
    Fill(*store, 10000);
    return store;
  }();
  ScopedService<RegistryStore> scope(*r);
  for (auto _ : state) {
    HKEY key = 0;
    RegOpenKeyExA(HKEY_CURRENT_USER, "Software\\Many", 0, KEY_READ, &key);
    char name[64];
    uint8_t data[128];
    for (uint32_t i = 0;; ++i) {
      uint32_t name_length = sizeof name, data_length = sizeof data, type = 0;
      if (RegEnumValueA(key, i, name, &name_length, &type, data, &data_length) != 0) break;
    }
    RegCloseKey(key);
  }
}
BENCHMARK(BM_SingleByteEnumerate10000)->Unit(benchmark::kMillisecond);

void BM_PlainEnumerate10000(benchmark::State& state) {
  Plain p(Scratch("plain-many.db"));
  sqlite3_exec(p.db, "BEGIN", nullptr, nullptr, nullptr);
  for (int i = 0; i < 10000; ++i) {
    std::string sql = "INSERT INTO vals VALUES('K', 'VALUE" + std::to_string(i) + "', 'value" +
                      std::to_string(i) +
                      "', 1, 'some text of a usual length, a path or a name', " +
                      std::to_string(i) + ")";
    sqlite3_exec(p.db, sql.c_str(), nullptr, nullptr, nullptr);
  }
  sqlite3_exec(p.db, "COMMIT; CREATE INDEX IF NOT EXISTS o ON vals(key, seq)", nullptr, nullptr,
               nullptr);
  sqlite3_stmt* s = nullptr;
  sqlite3_prepare_v2(p.db, "SELECT name, type, data FROM vals WHERE key=?1 ORDER BY seq", -1, &s,
                     nullptr);
  for (auto _ : state) {
    sqlite3_bind_text(s, 1, "K", 1, SQLITE_TRANSIENT);
    while (sqlite3_step(s) == SQLITE_ROW) {
      benchmark::DoNotOptimize(sqlite3_column_text(s, 0));
      benchmark::DoNotOptimize(sqlite3_column_blob(s, 2));
    }
    sqlite3_reset(s);
  }
  sqlite3_finalize(s);
}
BENCHMARK(BM_PlainEnumerate10000)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
