// The registry store: its rules over both stores, the single-byte calls, and the real store's
// safety between processes and across crashes.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "borvane/platform/fonts/font_catalog.h"
#include "borvane/platform/registry/registry.h"
#include "borvane/platform/registry/registry_api.h"
#include "borvane/platform/registry/registry_sqlite.h"
#include "borvane/platform/testing/fonts.h"
#include "borvane/platform/testing/registry.h"
#include "tests/test_support.h"

namespace borvane::platform {
namespace {

namespace fs = std::filesystem;

using testing::ScratchFolder;

// Each behaviour test runs over the memory store and over a database of its own.
class RegistryRules : public ::testing::TestWithParam<bool> {
 protected:
  RegistryRules() {
    if (GetParam()) {
      store_ = std::make_unique<SqliteRegistry>((folder_ / "r.db").string());
    } else {
      store_ = std::make_unique<MemoryRegistry>();
    }
    scope_ = std::make_unique<ScopedService<RegistryStore>>(*store_);
  }
  ~RegistryRules() override {
    scope_.reset();
    store_.reset();
  }
  ScratchFolder folder_;
  std::unique_ptr<RegistryStore> store_;
  std::unique_ptr<ScopedService<RegistryStore>> scope_;
};

TEST_P(RegistryRules, ValuesKeepTheirOrderTypeAndFirstSpelling) {
  RegistryStore& r = *store_;
  const String key = "HKLM\\Software\\Test";
  ASSERT_EQ(r.Set(key, RegistryValue::Text("Zeta", "z")), 0);
  ASSERT_EQ(r.Set(key, RegistryValue::Dword("alpha", 7)), 0);
  ASSERT_EQ(r.Set(key, RegistryValue::Text("Mid", "a;b", REG_EXPAND_SZ)), 0);
  ASSERT_EQ(r.Set(key, RegistryValue::Text("ZETA", "again")), 0);  // keeps place and spelling
  std::vector<RegistryValue> values;
  ASSERT_EQ(r.Values("hkey_local_machine\\SOFTWARE\\test\\", values), 0);
  ASSERT_EQ(values.size(), 3u);
  EXPECT_EQ(values[0].name, String("Zeta"));
  EXPECT_EQ(values[0].AsText(), String("again"));
  EXPECT_EQ(values[1].type, REG_DWORD);
  EXPECT_EQ(values[2].type, REG_EXPAND_SZ);
  EXPECT_EQ(values[0].data.size(), 12u);  // five UTF-16 units and the closing NUL
  EXPECT_EQ(r.DeleteValue(key, "alpha"), 0);
  EXPECT_EQ(r.DeleteValue(key, "alpha"), 2);
  EXPECT_EQ(r.DeleteValue("HKLM\\Nowhere", "x"), 2);
  EXPECT_EQ(r.Set("NOROOT\\x", RegistryValue::Text("a", "b")), 87);
  EXPECT_TRUE(r.DeleteTree("HKLM\\Software"));
  EXPECT_FALSE(r.KeyExists(key));
  EXPECT_FALSE(r.DeleteTree("HKLM\\Software"));
}

TEST_P(RegistryRules, AwkwardNamesAndDeepKeysComeBack) {
  RegistryStore& r = *store_;
  String deep = "HKCU";
  for (int i = 0; i < 200; ++i) deep += String("\\level") + String(std::to_string(i).c_str());
  const String nul(std::u16string(u"a\0b", 3));
  const String long_text(std::u16string(10000, u'x'));
  const String names[] = {"a=b", nul, "line\nbreak", long_text, "", "[section]"};
  for (const String& n : names) ASSERT_EQ(r.Set(deep, RegistryValue::Text(n, n + "=v")), 0);
  for (const String& n : names) {
    RegistryValue v;
    ASSERT_EQ(r.Query(deep, n, v), 0);
    EXPECT_EQ(v.name, n);
    // Text ends at its first NUL, as the platform's text values do.
    EXPECT_EQ(v.AsText(), n == nul ? String("a") : n + String("=v"));
  }
  EXPECT_EQ(r.SubKeys("HKCU\\level0").size(), 1u);
  RegistryKeyInfo info;
  ASSERT_EQ(r.QueryInfo(deep, info), 0);
  EXPECT_EQ(info.values, 6u);
  EXPECT_EQ(info.longest_value_name, 10000u);
  EXPECT_EQ(info.longest_value_data, 2u * 10003u);
}

TEST_P(RegistryRules, ARootHoldsValuesAsAnyKeyDoes) {
  RegistryStore& r = *store_;
  ASSERT_EQ(r.Set("HKEY_USERS", RegistryValue::Text("on the root", "v")), 0);
  EXPECT_EQ(r.GetValue("HKU", "ON THE ROOT"), String("v"));
  std::vector<RegistryValue> values;
  ASSERT_EQ(r.Values("HKEY_USERS", values), 0);
  EXPECT_EQ(values.size(), 1u);
  // Through the single-byte calls on a root's handle too.
  ScopedService<RegistryStore> in_use(r);
  const char data[] = "d";
  EXPECT_EQ(RegSetValueExA(HKEY_CURRENT_USER, "root value", REG_SZ,
                           reinterpret_cast<const uint8_t*>(data), 1),
            0);
  EXPECT_EQ(r.GetValue("HKCU", "root value"), String("d"));
  EXPECT_TRUE(r.SubKeys("HKU").empty());  // no key came of it
}

TEST_P(RegistryRules, ClassesRootIsTheUsersKeyOverTheMachines) {
  RegistryStore& r = *store_;
  ASSERT_TRUE(r.SetValue("HKEY_CLASSES_ROOT\\Thing", "", "machine"));
  EXPECT_EQ(r.GetValue("HKLM\\Software\\Classes\\Thing", ""), String("machine"));
  ASSERT_TRUE(r.SetValue("HKCU\\Software\\Classes\\Thing", "", "user"));
  EXPECT_EQ(r.GetValue("HKCR\\thing", ""), String("user"));
  ASSERT_TRUE(r.SetValue("HKCR\\Thing", "more", "1"));  // the user's key exists: it gets it
  EXPECT_EQ(r.GetValue("HKCU\\Software\\Classes\\Thing", "more"), String("1"));
  ASSERT_TRUE(r.SetValue("HKLM\\Software\\Classes\\Other", "", "o"));
  auto keys = r.SubKeys("HKCR");
  EXPECT_EQ(keys.size(), 2u);
}

// A provider of one read-only key and one writable key with computed values.
class TwoKeys : public ComputedKeys {
 public:
  std::vector<RegistryValue> Values(const String& key) override {
    if (FoldRegistryName(key) == FoldRegistryName("HKEY_LOCAL_MACHINE\\Fixed"))
      return {RegistryValue::Text("", "computed")};
    if (FoldRegistryName(key) == FoldRegistryName("HKEY_LOCAL_MACHINE\\Mixed"))
      return {RegistryValue::Text("a", "computed a"), RegistryValue::Text("b", "computed b")};
    return {};
  }
  std::vector<String> SubKeys(const String&) override { return {}; }
  bool HasKey(const String& key) override { return !Values(key).empty(); }
  bool ReadOnly(const String& key) override {
    return FoldRegistryName(key) == FoldRegistryName("HKEY_LOCAL_MACHINE\\Fixed");
  }
};

TEST_P(RegistryRules, SingleByteCallsOverComputedAndReadOnlyKeys) {
  store_->AddComputedKeys(std::make_shared<TwoKeys>());
  HKEY key = 0;
  EXPECT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Fixed", 0, KEY_ALL_ACCESS, &key), 5);
  ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "Fixed", 0, KEY_READ, &key), 0);
  char text[64];
  uint32_t length = sizeof text, type = 0;
  ASSERT_EQ(RegQueryValueExA(key, "", &type, reinterpret_cast<uint8_t*>(text), &length), 0);
  EXPECT_EQ(length, 9u);  // "computed" and its NUL
  EXPECT_STREQ(text, "computed");
  EXPECT_EQ(RegSetValueExA(key, "x", REG_SZ, reinterpret_cast<const uint8_t*>("v"), 1), 5);
  RegCloseKey(key);

  // Stored values come first and win over computed ones of the same name.
  ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "Mixed", 0, "1", 0, KEY_ALL_ACCESS, &key, nullptr),
            0);
  const char* v = "stored \xE9";  // ANSI text, with a character beyond ASCII
  ASSERT_EQ(RegSetValueExA(key, "B", REG_SZ, reinterpret_cast<const uint8_t*>(v), 8), 0);
  uint32_t values = 0, name_max = 0, data_max = 0;
  ASSERT_EQ(RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, &values, &name_max,
                             &data_max),
            0);
  EXPECT_EQ(values, 2u);
  EXPECT_EQ(name_max, 1u);
  EXPECT_EQ(data_max, 11u);
  std::vector<std::string> seen;
  for (uint32_t i = 0;; ++i) {
    char name[8];
    uint32_t name_length = 2, data_length = data_max;
    uint8_t data[16];
    int32_t r = RegEnumValueA(key, i, name, &name_length, &type, data, &data_length);
    if (r == 259) break;
    ASSERT_EQ(r, 0);
    seen.push_back(std::string(name) + "=" +
                   std::string(reinterpret_cast<char*>(data), data_length - 1));
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"B=stored \xE9", "a=computed a"}));
  // Sizes taken, then a value written: the enumeration that follows sees it.
  ASSERT_EQ(RegQueryInfoKeyA(key, nullptr, nullptr, nullptr, nullptr, nullptr, &values, &name_max,
                             &data_max),
            0);
  ASSERT_EQ(RegSetValueExA(key, "C", REG_SZ, reinterpret_cast<const uint8_t*>("c"), 1), 0);
  char after[8];
  uint32_t after_length = sizeof after;
  for (uint32_t i = 0; i < 2; ++i) {
    after_length = sizeof after;
    ASSERT_EQ(RegEnumValueA(key, i, after, &after_length, nullptr, nullptr, nullptr), 0);
  }
  EXPECT_STREQ(after, "C");
  uint32_t short_length = 3;
  EXPECT_EQ(RegQueryValueExA(key, "b", nullptr, reinterpret_cast<uint8_t*>(text), &short_length),
            234);
  EXPECT_EQ(short_length, 9u);
  EXPECT_EQ(RegDeleteValueA(key, "b"), 0);
  EXPECT_EQ(RegDeleteValueA(key, "b"), 2);
  EXPECT_EQ(RegCloseKey(key), 0);
  EXPECT_EQ(RegCloseKey(key), 6);
}

INSTANTIATE_TEST_SUITE_P(Stores, RegistryRules, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Sqlite" : "Memory"; });

TEST(SqliteRegistryTest, TwoProcessesLoseNoValues) {
  ScratchFolder folder;
  std::string db = (folder / "r.db").string();
  pid_t writers[2];
  for (int w = 0; w < 2; ++w) {
    writers[w] = fork();
    if (writers[w] == 0) {
      SqliteRegistry r(db);
      bool ok = true;
      for (int i = 0; i < 1000; ++i)
        ok &= r.SetValue("HKCU\\Shared",
                         String(("w" + std::to_string(w) + "-" + std::to_string(i)).c_str()), "v");
      _exit(ok ? 0 : 1);
    }
  }
  for (pid_t p : writers) {
    int status = 0;
    waitpid(p, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  SqliteRegistry r(db);
  std::vector<RegistryValue> values;
  ASSERT_EQ(r.Values("HKCU\\Shared", values), 0);
  EXPECT_EQ(values.size(), 2000u);
}

TEST(SqliteRegistryTest, AWriterKilledMidWayLeavesTheLastCommittedState) {
  ScratchFolder folder;
  std::string db = (folder / "r.db").string();
  for (int trial = 0; trial < 5; ++trial) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    pid_t writer = fork();
    if (writer == 0) {
      SqliteRegistry r(db);
      // Large values, so that transactions are under way most of the time.
      const String big(std::u16string(20000, u'b'));
      for (int i = 0;; ++i) {
        r.SetValue("HKCU\\Crash", String(std::to_string(i).c_str()), big);
        if (i == 3) (void)!write(ready[1], "x", 1);
      }
    }
    char c;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    usleep(1000 * (trial + 1));
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
    close(ready[0]);
    close(ready[1]);
    SqliteRegistry r(db);
    ASSERT_TRUE(r.IsOpen());
    std::vector<RegistryValue> values;
    ASSERT_EQ(r.Values("HKCU\\Crash", values), 0);
    ASSERT_GE(values.size(), 4u);
    for (const RegistryValue& v : values) EXPECT_EQ(v.data.size(), 40002u);  // whole values
  }
}

TEST(SqliteRegistryTest, ADamagedFileIsSetAsideAndTheTextStoreImportedOnce) {
  ScratchFolder folder;
  std::string db = (folder / "r.db").string(), text = (folder / "registry").string();
  std::ofstream(db) << "this is no database, but somebody's file";
  std::ofstream(text) << "[HKEY_CLASSES_ROOT\\CLSID\\{1}]\n@=Doc\nThreadingModel=Apartment\n"
                         "[HKEY_CURRENT_USER\\A]\nnot a pair\nx=1=2\n";
  {
    ::testing::internal::CaptureStderr();
    SqliteRegistry r(db, text);
    EXPECT_NE(::testing::internal::GetCapturedStderr().find("damaged"), std::string::npos);
    EXPECT_EQ(r.GetValue("HKLM\\Software\\Classes\\CLSID\\{1}", ""), String("Doc"));
    EXPECT_EQ(r.GetValue("HKCR\\CLSID\\{1}", "threadingmodel"), String("Apartment"));
    EXPECT_EQ(r.GetValue("HKCU\\A", "x"), String("1=2"));
    r.DeleteValue("HKCU\\A", "x");
  }
  SqliteRegistry again(db, text);  // not imported a second time
  EXPECT_FALSE(again.GetValue("HKCU\\A", "x").has_value());
  int aside = 0;
  for (const auto& e : fs::directory_iterator(folder.path()))
    aside += e.path().filename().string().rfind("r.db.damaged-", 0) == 0;
  EXPECT_EQ(aside, 1);
  EXPECT_TRUE(fs::exists(text));
}

// Eight processes open one damaged store at once, twenty times over: every round keeps the
// damaged file under a name of its own, and every value whose write was acknowledged is there.
TEST(SqliteRegistryTest, ManyProcessesOpeningADamagedStoreLoseNothing) {
  ScratchFolder folder;
  const std::string db = (folder / "r.db").string();
  for (int round = 0; round < 20; ++round) {
    const std::string garbage = "not a database, round " + std::to_string(round);
    fs::remove(db + "-wal");
    fs::remove(db + "-shm");
    std::ofstream(db, std::ios::binary) << garbage;
    pid_t writers[8];
    for (int w = 0; w < 8; ++w) {
      writers[w] = fork();
      if (writers[w] == 0) {
        freopen("/dev/null", "w", stderr);
        SqliteRegistry r(db);
        _exit(r.SetValue("HKCU\\Round", String(std::to_string(w).c_str()), "v") ? 0 : 1);
      }
    }
    std::vector<int> acknowledged;
    for (int w = 0; w < 8; ++w) {
      int status = 0;
      waitpid(writers[w], &status, 0);
      if (WIFEXITED(status) && WEXITSTATUS(status) == 0) acknowledged.push_back(w);
    }
    EXPECT_EQ(acknowledged.size(), 8u) << "round " << round;
    SqliteRegistry r(db);
    for (int w : acknowledged)
      EXPECT_TRUE(r.GetValue("HKCU\\Round", String(std::to_string(w).c_str())))
          << "round " << round << ", writer " << w;
    int kept = 0;
    for (const auto& e : fs::directory_iterator(folder.path()))
      kept += e.path().filename().string().find(".damaged-") != std::string::npos &&
              testing::ReadWholeFile(e.path()) == garbage;
    EXPECT_EQ(kept, 1) << "round " << round;
  }
}

// A list read once is kept, and read again after a write through another connection, a write
// through this one, or a new version of the installed fonts.
TEST(SqliteRegistryTest, KeptListsFollowEveryChange) {
  ScratchFolder folder;
  const std::string db = (folder / "r.db").string();
  MemoryFontCatalog catalog;
  catalog.fonts = {{"A", "/f/a.ttf"}};
  catalog.version = 1;
  ScopedService<FontCatalog> catalog_scope(catalog);
  SqliteRegistry reader(db), writer(db);
  AddSystemComputedKeys(reader);
  const String fonts = "HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Fonts";
  auto names = [&] {
    RegistryStore::ValueSnapshot values;
    RegistryStore::SubKeySnapshot keys;
    EXPECT_EQ(reader.ValueList(fonts, values, &keys), 0);
    std::string out;
    for (const RegistryValue& v : *values) out += v.name.ToUtf8() + ";";
    for (const String& k : *keys) out += "[" + k.ToUtf8() + "]";
    return out;
  };
  EXPECT_EQ(names(), "A (TrueType);");
  writer.SetValue(fonts, "B (TrueType)", "b.ttf");
  EXPECT_EQ(names(), "B (TrueType);A (TrueType);");
  writer.SetValue(fonts + String("\\Sub"), "x", "y");
  EXPECT_EQ(names(), "B (TrueType);A (TrueType);[Sub]");
  catalog.fonts.push_back({"C", "/f/c.ttf"});
  catalog.version = 2;
  EXPECT_EQ(names(), "B (TrueType);A (TrueType);C (TrueType);[Sub]");
  EXPECT_EQ(reader.DeleteValue(fonts, "B (TrueType)"), 0);
  EXPECT_EQ(names(), "A (TrueType);C (TrueType);[Sub]");
  EXPECT_TRUE(reader.KeyExists(fonts + String("\\Sub")));
  EXPECT_TRUE(writer.DeleteTree(fonts + String("\\Sub")));
  EXPECT_FALSE(reader.KeyExists(fonts + String("\\Sub")));
}

TEST(SystemKeysTest, InstalledFontsAndTheUsersFontFolder) {
  MemoryFontCatalog catalog;
  catalog.fonts = {{"Sample Bold", "/usr/share/fonts/Sample-Bold.ttf"}};
  ScratchFolder folder;
  catalog.user_folder = (folder / "fonts").string();
  ScopedService<FontCatalog> catalog_scope(catalog);
  MemoryRegistry r;
  AddSystemComputedKeys(r);
  const String fonts = "HKLM\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Fonts";
  EXPECT_EQ(r.GetValue(fonts, "sample bold (truetype)"),
            String("\\usr\\share\\fonts\\Sample-Bold.ttf"));
  r.SetValue(fonts, "Sample Bold (TrueType)", "Sample-Bold.ttf");  // the library's own wins
  std::vector<RegistryValue> values;
  ASSERT_EQ(r.Values(fonts, values), 0);
  ASSERT_EQ(values.size(), 1u);
  EXPECT_EQ(values[0].AsText(), String("Sample-Bold.ttf"));
  const String shell =
      "HKCU\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
  EXPECT_FALSE(r.GetValue(shell, "Fonts").has_value());
  fs::create_directory(catalog.user_folder);
  EXPECT_EQ(r.GetValue(shell, "Fonts"), BackslashPath(catalog.user_folder));
}

}  // namespace
}  // namespace borvane::platform
