// IniFileSections: the sections of an INI tree, in the order of their first adding.
//
// Add of a known name (case-blind) gives the section that is there; Item looks up by name
// only and gives Nothing for an unknown one.
#ifndef BORVANE_INI_INI_FILE_SECTIONS_H_
#define BORVANE_INI_INI_FILE_SECTIONS_H_

#include "borvane/ini/ini_entries.h"
#include "borvane/ini/ini_file_section.h"

namespace borvane {

class IniFileSections : public Dispatchable<IniFileSections> {
 public:
  static constexpr const char* kClassName = "IniFileSections";
  static void Describe(ClassBuilder<IniFileSections>& b);

  // The section of that name, made empty at the end if there is none.
  Ref<IniFileSection> Add(String& strSectionName);
  // By name only (a text of digits is a name); Nothing for an unknown one. Other failures
  // keep their Number and Description and get the Source "Sections:Item (Get)".
  Ref<IniFileSection> Item(String& strSectionName);
  int32_t Count() const { return mcolSections.Count(); }
  // Collection removal by position or name; its errors (5, 9) pass unchanged.
  void Remove(Variant& vntIndexKey) { mcolSections.Remove(vntIndexKey); }
  Ref<Enumerator> NewEnum() { return mcolSections.NewEnum(Object(this)); }

  // Library-internal: the section at `position` (1 to Count), unchecked.
  IniFileSection& At(int32_t position) const {
    return static_cast<IniFileSection&>(mcolSections.At(position));
  }

 private:
  bool SectionExists(const String& name) const { return mcolSections.Find(name) != nullptr; }

  IniEntries mcolSections;
};

}  // namespace borvane

#endif  // BORVANE_INI_INI_FILE_SECTIONS_H_
