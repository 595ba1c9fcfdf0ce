// The INI tree: repeated names, lookups, failures, and value access by name.
#include <gtest/gtest.h>

#include "borvane/automation/dispatch.h"
#include "borvane/frame/error_handling.h"
#include "borvane/ini/inifile.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

using testing::CaughtError;
using testing::IsError;

TEST(IniTree, RepeatedNamesKeepFirstSpellingAndPlace) {
  auto keys = MakeRef<IniFileKeys>();
  Ref<IniFileKey> first = keys->Add("Name", "1");
  keys->Add("other", "x");
  Ref<IniFileKey> again = keys->Add("NAME", "2");
  EXPECT_EQ(first, again);
  EXPECT_EQ(keys->Count(), 2);
  EXPECT_EQ(first->KeyName(), String("Name"));
  EXPECT_EQ(first->KeyValue(), String("2"));
  // Renaming changes what a file gets, not the collection key.
  first->LetKeyName("Renamed");
  Variant by_old("name"), by_new("Renamed");
  EXPECT_EQ(keys->Item(by_old), first);
  EXPECT_FALSE(keys->Item(by_new));

  auto sections = MakeRef<IniFileSections>();
  String a = "Sec", b = "SEC", digits = "1";
  Ref<IniFileSection> s = sections->Add(a);
  EXPECT_EQ(sections->Add(b), s);
  EXPECT_EQ(s->SectionName(), String("Sec"));
  // A text of digits is a name for sections; for keys the number 1 is a position.
  EXPECT_FALSE(sections->Item(digits));
  Variant one_text("1"), one(int32_t{1});
  EXPECT_FALSE(keys->Item(one_text));
  EXPECT_EQ(keys->Item(one), first);
  // Keys are made on first use and stay the same object.
  Ref<IniFileKeys> k = s->Keys();
  EXPECT_EQ(k->Count(), 0);
  EXPECT_EQ(s->Keys(), k);
  s->SetKeys(nullptr);
  EXPECT_NE(s->Keys(), k);
}

TEST(IniTree, LookupFailuresAndTheirSources) {
  auto keys = MakeRef<IniFileKeys>();
  keys->Add("a", "1");
  Variant out_of_range(int32_t{5}), missing("zz");
  EXPECT_TRUE(IsError(CaughtError([&] { keys->Item(out_of_range); }), 9, "Key:Item (Get)"));
  Error e = CaughtError([&] { keys->Remove(missing); });
  EXPECT_EQ(e.Number(), 5);
  EXPECT_NE(e.Source(), String("Key:Item (Get)"));
  e = CaughtError([&] { keys->Remove(out_of_range); });
  EXPECT_EQ(e.Number(), 9);
  // A member held by the caller outlives the collection.
  Ref<IniFileKey> kept = keys->Add("b", "2");
  keys = nullptr;
  EXPECT_EQ(kept->KeyValue(), String("2"));

  Inifile ini;
  Ref<IniFileSections> tree = ini.Sections();
  EXPECT_EQ(ini.Sections(), tree);
  ini.SetSections(nullptr);
  EXPECT_NE(ini.Sections(), tree);
}

TEST(IniValues, KeysAndKeylessTextsAndTheirNumbering) {
  auto ini = MakeRef<Inifile>();
  String sec = "S", key = "k", v1 = "1", v2 = "2", missing = "none";
  Ref<IniFileKey> k = ini->WriteKey(sec, key, v1);
  EXPECT_EQ(ini->WriteKey(sec, key, v2), k);
  EXPECT_EQ(ini->GetKeyValue(sec, key), String("2"));
  EXPECT_EQ(ini->GetKeyValue(missing, key), String());
  EXPECT_EQ(ini->GetKeyValue(sec, missing), String());
  String crlf = "\r\n", comma = ",";
  bool keyed = false, keyless = true;
  EXPECT_EQ(ini->GetSection(missing, crlf, keyed), String());
  EXPECT_EQ(ini->Sections()->Count(), 1);  // lookups create nothing

  // Keyed: trimmed around, kept inside, numbered per name case-blind, cut at a second "=".
  String text = " a = x y ,A=2,c=3=4,last=5";
  Ref<IniFileSection> s = ini->WriteSection(sec, text, comma, keyed);
  EXPECT_EQ(ini->GetSection(sec, comma, keyed), String("a1=x y,A2=2,c1=3,last1=5"));
  EXPECT_EQ(ini->GetSection(sec, comma, keyless), String("x y,2,3,5"));
  EXPECT_EQ(ini->Sections()->Item(sec), s);
  // A final delimiter adds nothing; the section moves behind the others.
  String other = "T", pair = "z=1\r\n";
  ini->WriteSection(other, pair, crlf, keyed);
  ini->WriteSection(sec, pair, crlf, keyed);
  EXPECT_EQ(ini->Sections()->At(2).SectionName(), String("S"));
  EXPECT_EQ(ini->GetSection(sec, crlf, keyed), String("z1=1"));

  // Keyless: whole pieces under 1, 2, 3; an empty text gives an empty section.
  String values = "a=1,,b";
  ini->WriteSection(sec, values, comma, keyless);
  EXPECT_EQ(ini->GetSection(sec, comma, keyed), String("1=a=1,2=,3=b"));
  String empty = "";
  ini->WriteSection(sec, empty, comma, keyless);
  Error e = CaughtError([&] { ini->GetSection(sec, comma, keyless); });
  EXPECT_EQ(e.Number(), 9);
}

TEST(IniValues, WriteSectionFailuresLeaveTheSectionEmpty) {
  auto ini = MakeRef<Inifile>();
  String sec = "S", key = "old", value = "1", comma = ",";
  bool keyed = false;
  struct Case {
    const char* text;
    int32_t number;
  } cases[] = {{"a=1,novalue", 30000}, {"a=1,,b=2", 9}, {"", 9}};
  for (const Case& c : cases) {
    ini->WriteKey(sec, key, value);
    String text = c.text;
    Error e = CaughtError([&] { ini->WriteSection(sec, text, comma, keyed); });
    EXPECT_EQ(e.Number(), c.number) << c.text;
    if (c.number == 30000) {
      EXPECT_TRUE(IsError(e, 30000, "IniFile:WriteSection method", "No valid string"));
    }
    EXPECT_EQ(ini->Sections()->Item(sec)->Keys()->Count(), 0) << c.text;
  }
}

TEST(IniValues, CounterOverflowsAtTheIntegerLimit) {
  auto ini = MakeRef<Inifile>();
  String sec = "S", sep = ",";
  bool keyless = true;
  std::u16string many;
  for (int i = 0; i < 32768; ++i) many += u"v,";
  many += u"v";
  String text(many);
  Error e = CaughtError([&] { ini->WriteSection(sec, text, sep, keyless); });
  EXPECT_EQ(e.Number(), 6);
  EXPECT_EQ(ini->Sections()->Item(sec)->Keys()->Count(), 32767);
}

TEST(IniLateBound, CreateObjectAndCallByName) {
  Object ini = CreateObject("Borvane.Inifile");
  ASSERT_TRUE(ini);
  Object key = CallByName(ini, "WriteKey", VbMethod, {"Sec", "Key", "Val"}).ToObject();
  EXPECT_EQ(CStr(CallByName(key, "KeyName", VbGet)), String("Key"));
  EXPECT_EQ(CStr(CallByName(ini, "GetSection", VbMethod, {"sec"})), String("Key=Val"));
  EXPECT_EQ(CStr(CallByName(ini, "GetSection", VbMethod, {"sec", ";", true})), String("Val"));
  Object sections = CallByName(ini, "Sections", VbGet).ToObject();
  Object section = CallByName(sections, "Item", VbGet, {"SEC"}).ToObject();
  EXPECT_EQ(CStr(CallByName(section, "SectionName", VbGet)), String("Sec"));
  Object keys = CallByName(section, "Keys", VbGet).ToObject();
  int count = 0;
  ForEach(keys, [&](const Variant&) { ++count; });
  EXPECT_EQ(count, 1);
  EXPECT_TRUE(CallByName(sections, "Item", VbGet, {"none"}).ToObject().IsNothing());
  // The tree's classes come only out of the tree.
  EXPECT_THROW(CreateObject("Borvane.IniFileKey"), Error);
  // A by-reference path comes back as the code page of file names, UTF-8, holds it.
  std::vector<Variant> args = {Variant(String(u"/nonexistent/\u263A.ini"))};
  CallByName(ini, "WriteIniFile", VbMethod, args);
  EXPECT_EQ(CStr(args[0]), String(u"/nonexistent/\u263A.ini"));
  EXPECT_TRUE(IsError(CaughtError([&] { CallByName(ini, "ReadIniFile", VbMethod, args); }), 30000,
                      "IniFile:ReadIniFile", "File not found"));
}

}  // namespace
}  // namespace borvane
