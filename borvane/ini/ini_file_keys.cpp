#include "borvane/ini/ini_file_keys.h"

#include "borvane/frame/class_table.h"

namespace borvane {

void IniFileKeys::Describe(ClassBuilder<IniFileKeys>& b) {
  b.Creatable(false)
      .Order(kOrderIniFileKeys)
      .Ids(ClassId(kOrderIniFileKeys), InterfaceId(kOrderIniFileKeys))
      .Method("Add", &IniFileKeys::Add, {"sKeyName", "sKeyValue"})
      .Get("Item", &IniFileKeys::Item, {"vntIndexKey"}, {.id = DISPID_VALUE})
      .Get("Count", &IniFileKeys::Count)
      .Method("Remove", &IniFileKeys::Remove, {"vntIndexKey"})
      .Method("NewEnum", &IniFileKeys::NewEnum, {},
              {.id = DISPID_NEWENUM, .attributes = {"Hidden"}});
}

Ref<IniFileKey> IniFileKeys::Add(String sKeyName, String sKeyValue) {
  if (KeyExists(sKeyName)) {
    Ref<IniFileKey> key(static_cast<IniFileKey*>(mcolKeys.Find(sKeyName)));
    key->LetKeyValue(std::move(sKeyValue));
    return key;
  }
  Ref<IniFileKey> key = MakeRef<IniFileKey>();
  key->LetKeyValue(std::move(sKeyValue));
  key->LetKeyName(sKeyName);
  mcolKeys.Add(key, sKeyName);
  return key;
}

Ref<IniFileKey> IniFileKeys::Item(Variant& vntIndexKey) {
  try {
    return Ref<IniFileKey>(static_cast<IniFileKey*>(mcolKeys.Item(vntIndexKey).Get()));
  } catch (const Error& e) {
    if (e.Number() == kErrInvalidCall) return Ref<IniFileKey>();
    throw Error(e.Number(), "Key:Item (Get)", e.Description());
  }
}

BORVANE_REGISTER_CLASS(IniFileKeys)

}  // namespace borvane
