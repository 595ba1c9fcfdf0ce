#include "borvane/ini/inifile.h"

#include <unordered_map>
#include <vector>

#include "borvane/automation/convert.h"
#include "borvane/automation/text.h"
#include "borvane/frame/class_table.h"

namespace borvane {

void Inifile::Describe(ClassBuilder<Inifile>& b) {
  b.Creatable()
      .Order(kOrderInifile)
      .Ids(ClassId(kOrderInifile), InterfaceId(kOrderInifile))
      .Get("Sections", &Inifile::Sections)
      .Set("Sections", &Inifile::SetSections, {"vData"})
      .Method("WriteIniFile", &Inifile::WriteIniFile, {"strPath"})
      .Method("ReadIniFile", &Inifile::ReadIniFile, {"strPath"})
      .Method("WriteKey", &Inifile::WriteKey, {"Section", "Key", "Value"})
      .Method("GetKeyValue", &Inifile::GetKeyValue, {"Section", "Key"})
      .Method("GetSection", &Inifile::GetSection,
              {"Section", Opt("Delimiter", String("\r\n")), Opt("Keyless", false)})
      .Method("WriteSection", &Inifile::WriteSection,
              {"Section", "sKeys", Opt("Delimiter", String("\r\n")), Opt("Keyless", false)});
}

Ref<IniFileSections> Inifile::Sections() {
  if (!mobjSections) mobjSections = MakeRef<IniFileSections>();
  return mobjSections;
}

Ref<IniFileKey> Inifile::WriteKey(String& Section, String& Key, String& Value) {
  return Sections()->Add(Section)->Keys()->Add(Key, Value);
}

String Inifile::GetKeyValue(String& Section, String& Key) {
  try {
    Ref<IniFileSection> section = Sections()->Item(Section);
    if (!section) return String();
    Variant index(Key);
    Ref<IniFileKey> key = section->Keys()->Item(index);
    return key ? key->KeyValue() : String();
  } catch (...) {
    return String();
  }
}

String Inifile::GetSection(String& Section, String& Delimiter, bool& Keyless) {
  Ref<IniFileSection> section;
  try {
    section = Sections()->Item(Section);
  } catch (...) {
  }
  if (!section) return String();
  Ref<IniFileKeys> keys = section->Keys();
  int32_t count = keys->Count();
  // The list is dimensioned 1 To Count: a section without keys cannot have one.
  if (count < 1) ThrowPlatformError(kErrSubscript);
  std::vector<String> entries;
  entries.reserve(static_cast<size_t>(count));
  for (int32_t i = 1; i <= count; ++i) {
    const IniFileKey& key = keys->At(i);
    entries.push_back(Keyless ? key.KeyValue() : key.KeyName() + String("=") + key.KeyValue());
  }
  return Join(entries, Delimiter);
}

Ref<IniFileSection> Inifile::WriteSection(String& Section, String& sKeys, String& Delimiter,
                                          bool& Keyless) {
  Ref<IniFileSections> sections = Sections();
  if (sections->Item(Section)) {
    Variant index(Section);
    sections->Remove(index);
  }
  Ref<IniFileSection> section = sections->Add(Section);
  std::vector<String> pieces = Split(sKeys, Delimiter);
  std::vector<String> names;
  if (!Keyless) {
    // A text that ends in the delimiter leaves an empty last piece: it holds no key, and is
    // dropped rather than failing. Every other piece, the last included, is split alike.
    if (pieces.size() > 1 && pieces.back().empty()) pieces.pop_back();
    if (pieces.empty()) ThrowPlatformError(kErrSubscript);
    names.resize(pieces.size());
    for (size_t i = 0; i < pieces.size(); ++i) {
      std::vector<String> parts = Split(pieces[i], "=");
      if (parts.size() == 1)
        throw Error(kIniErrorNumber, "IniFile:WriteSection method", "No valid string");
      if (parts.empty()) ThrowPlatformError(kErrSubscript);
      names[i] = Trim(parts[0]);
      pieces[i] = Trim(parts[1]);
    }
  }
  if (Keyless) names.resize(pieces.size());
  Ref<IniFileKeys> keys = section->Keys();
  // Keys are only added here, so a candidate once taken stays taken: each name's search goes
  // on where its last one ended, which gives the same keys as counting from 1 every time.
  std::unordered_map<std::u16string, int16_t> next_number;
  for (size_t i = 0; i < pieces.size(); ++i) {
    // The counter is a 16-bit Integer, as the platform's would be.
    int16_t& n = next_number.try_emplace(UCase(names[i]).str(), int16_t{1}).first->second;
    auto candidate = [&] {
      String number = FormatInteger(n);
      return Keyless ? number : names[i] + number;
    };
    String key = candidate();
    for (;;) {
      Variant index(key);
      if (!keys->Item(index)) break;
      if (n == INT16_MAX) ThrowPlatformError(kErrOverflow);
      ++n;
      key = candidate();
    }
    keys->Add(key, pieces[i]);
  }
  return section;
}

BORVANE_REGISTER_CLASS(Inifile)

}  // namespace borvane
