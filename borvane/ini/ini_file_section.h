// IniFileSection: one named section of an INI tree, owning its keys.
#ifndef BORVANE_INI_INI_FILE_SECTION_H_
#define BORVANE_INI_INI_FILE_SECTION_H_

#include "borvane/ini/ini_file_keys.h"

namespace borvane {

class IniFileSection : public Dispatchable<IniFileSection> {
 public:
  static constexpr const char* kClassName = "IniFileSection";
  static void Describe(ClassBuilder<IniFileSection>& b);

  // A free field for the caller; the library neither sets nor reads it.
  String Key;

  String GetKey() const { return Key; }
  void LetKey(const String& value) { Key = value; }
  // The name written to a file. Changing it does not change the collection key.
  String SectionName() const { return mstrSectionName; }
  void LetSectionName(const String& value) { mstrSectionName = value; }
  // The section's keys, made empty at the first read; the same object on every later read.
  // Any failure: 0x8004C3B5 with "IniFileSection:Keys Property Get".
  Ref<IniFileKeys> Keys();
  // Any failure: 0x8004C3B5 with "IniFileSection:Keys Property Set".
  void SetKeys(const Ref<IniFileKeys>& value);

 private:
  Ref<IniFileKeys> mobjKeys;
  String mstrSectionName;
};

}  // namespace borvane

#endif  // BORVANE_INI_INI_FILE_SECTION_H_
