#include "borvane/ini/ini_file_sections.h"

#include "borvane/frame/class_table.h"

namespace borvane {

void IniFileSections::Describe(ClassBuilder<IniFileSections>& b) {
  b.Creatable(false)
      .Order(kOrderIniFileSections)
      .Ids(ClassId(kOrderIniFileSections), InterfaceId(kOrderIniFileSections))
      .Method("Add", &IniFileSections::Add, {"strSectionName"})
      .Get("Item", &IniFileSections::Item, {"strSectionName"}, {.id = DISPID_VALUE})
      .Get("Count", &IniFileSections::Count)
      .Method("Remove", &IniFileSections::Remove, {"vntIndexKey"})
      .Method("NewEnum", &IniFileSections::NewEnum, {},
              {.id = DISPID_NEWENUM, .attributes = {"Hidden"}});
}

Ref<IniFileSection> IniFileSections::Add(String& strSectionName) {
  if (SectionExists(strSectionName))
    return Ref<IniFileSection>(static_cast<IniFileSection*>(mcolSections.Find(strSectionName)));
  Ref<IniFileSection> section = MakeRef<IniFileSection>();
  section->LetSectionName(strSectionName);
  mcolSections.Add(section, strSectionName);
  return section;
}

Ref<IniFileSection> IniFileSections::Item(String& strSectionName) {
  try {
    return Ref<IniFileSection>(
        static_cast<IniFileSection*>(mcolSections.Item(Variant(strSectionName)).Get()));
  } catch (const Error& e) {
    if (e.Number() == kErrInvalidCall) return Ref<IniFileSection>();
    throw Error(e.Number(), "Sections:Item (Get)", e.Description());
  }
}

BORVANE_REGISTER_CLASS(IniFileSections)

}  // namespace borvane
