#include "borvane/ini/ini_file_section.h"

#include "borvane/frame/class_table.h"
#include "borvane/frame/error_handling.h"

namespace borvane {

void IniFileSection::Describe(ClassBuilder<IniFileSection>& b) {
  b.Creatable(false)
      .Order(kOrderIniFileSection)
      .Ids(ClassId(kOrderIniFileSection), InterfaceId(kOrderIniFileSection))
      .Get("Key", &IniFileSection::GetKey)
      .Let("Key", &IniFileSection::LetKey, {"Key"})
      .Let("SectionName", &IniFileSection::LetSectionName, {"vData"})
      .Get("SectionName", &IniFileSection::SectionName)
      .Get("Keys", &IniFileSection::Keys)
      .Set("Keys", &IniFileSection::SetKeys, {"vData"});
}

Ref<IniFileKeys> IniFileSection::Keys() {
  return Guarded("IniFileSection:Keys Property Get", [&] {
    if (!mobjKeys) mobjKeys = MakeRef<IniFileKeys>();
    return mobjKeys;
  });
}

void IniFileSection::SetKeys(const Ref<IniFileKeys>& value) {
  Guarded("IniFileSection:Keys Property Set", [&] { mobjKeys = value; });
}

BORVANE_REGISTER_CLASS(IniFileSection)

}  // namespace borvane
