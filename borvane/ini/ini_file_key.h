// IniFileKey: one name and value pair of an INI section.
#ifndef BORVANE_INI_INI_FILE_KEY_H_
#define BORVANE_INI_INI_FILE_KEY_H_

#include "borvane/automation/binding.h"

namespace borvane {

class IniFileKey : public Dispatchable<IniFileKey> {
 public:
  static constexpr const char* kClassName = "IniFileKey";
  static void Describe(ClassBuilder<IniFileKey>& b);

  // A free field for the caller; the library neither sets nor reads it.
  String Key;

  String GetKey() const { return Key; }
  void LetKey(const String& value) { Key = value; }
  // The name written to a file; the empty String until set. Changing it does not change the
  // collection key the pair was added under.
  String KeyName() const { return mvntKeyName.IsString() ? mvntKeyName.StringRef() : String(); }
  void LetKeyName(const String& value) { mvntKeyName = value; }
  // May be the null String, which a file write treats as "remove the key".
  String KeyValue() const { return mstrKeyValue; }
  void LetKeyValue(String value) { mstrKeyValue = std::move(value); }

 private:
  String mstrKeyValue;
  Variant mvntKeyName;
};

}  // namespace borvane

#endif  // BORVANE_INI_INI_FILE_KEY_H_
