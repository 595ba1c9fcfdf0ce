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
    return mcolSections->Find(strSectionName)->ToObject().As<IniFileSection>();
  Ref<IniFileSection> section = MakeRef<IniFileSection>();
  section->LetSectionName(strSectionName);
  mcolSections->Add(Variant(section), Variant(strSectionName));
  return section;
}

Ref<IniFileSection> IniFileSections::Item(String& strSectionName) {
  try {
    return mcolSections->Item(Variant(strSectionName)).ToObject().As<IniFileSection>();
  } catch (const Error& e) {
    if (e.Number() == kErrInvalidCall) return Ref<IniFileSection>();
    throw Error(e.Number(), "Sections:Item (Get)", e.Description());
  }
}

IniFileSection& IniFileSections::At(int32_t position) const {
  return static_cast<IniFileSection&>(*mcolSections->At(position).ToObject());
}

BORVANE_REGISTER_CLASS(IniFileSections)

}  // namespace borvane
