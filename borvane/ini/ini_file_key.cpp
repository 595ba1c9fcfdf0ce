#include "borvane/ini/ini_file_key.h"

#include "borvane/frame/class_table.h"

namespace borvane {

void IniFileKey::Describe(ClassBuilder<IniFileKey>& b) {
  b.Creatable(false)
      .Order(kOrderIniFileKey)
      .Ids(ClassId(kOrderIniFileKey), InterfaceId(kOrderIniFileKey))
      .Get("Key", &IniFileKey::GetKey)
      .Let("Key", &IniFileKey::LetKey, {"Key"})
      .Let("KeyName", &IniFileKey::LetKeyName, {"vData"})
      .Get("KeyName", &IniFileKey::KeyName)
      .Let("KeyValue", &IniFileKey::LetKeyValue, {"vData"})
      .Get("KeyValue", &IniFileKey::KeyValue);
}

BORVANE_REGISTER_CLASS(IniFileKey)

}  // namespace borvane
