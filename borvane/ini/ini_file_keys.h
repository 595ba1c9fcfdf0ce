// IniFileKeys: the keys of one INI section, by position (from 1) or by case-blind name.
//
// Unlike a plain Collection, Add of a known name updates that key's value, and Item of an
// unknown name gives Nothing instead of an error.
#ifndef BORVANE_INI_INI_FILE_KEYS_H_
#define BORVANE_INI_INI_FILE_KEYS_H_

#include "borvane/ini/ini_entries.h"
#include "borvane/ini/ini_file_key.h"

namespace borvane {

class IniFileKeys : public Dispatchable<IniFileKeys> {
 public:
  static constexpr const char* kClassName = "IniFileKeys";
  static void Describe(ClassBuilder<IniFileKeys>& b);

  // The key under sKeyName, its value set to sKeyValue; a new key at the end if there is none
  // (its KeyName then sKeyName). A known key keeps its name's spelling and its place.
  Ref<IniFileKey> Add(String sKeyName, String sKeyValue);
  // By position or name; Nothing for an unknown name. Other failures (9 for a position out of
  // range, 13 for an index of the wrong type) keep their Number and Description and get the
  // Source "Key:Item (Get)".
  Ref<IniFileKey> Item(Variant& vntIndexKey);
  int32_t Count() const { return mcolKeys.Count(); }
  // Collection removal by position or name; its errors (5, 9) pass unchanged.
  void Remove(Variant& vntIndexKey) { mcolKeys.Remove(vntIndexKey); }
  Ref<Enumerator> NewEnum() { return mcolKeys.NewEnum(Object(this)); }

  // Library-internal: room for `count` more keys whose names have `name_length` characters in
  // all, for a reader that knows what will come.
  void Reserve(size_t count, size_t name_length) { mcolKeys.Reserve(count, name_length); }
  // Library-internal: the key at `position` (1 to Count), unchecked.
  IniFileKey& At(int32_t position) const { return static_cast<IniFileKey&>(mcolKeys.At(position)); }

 private:
  bool KeyExists(const String& name) const { return mcolKeys.Find(name) != nullptr; }

  IniEntries mcolKeys;
};

}  // namespace borvane

#endif  // BORVANE_INI_INI_FILE_KEYS_H_
