// Records: values of a described type with named, typed fields (the platform's user-defined
// types), which a Variant can hold and a member can take by reference.
//
// A C++ struct becomes a record type by a RecordTraits specialisation (binding.h) that lists its
// fields:
//
//     template <>
//     struct RecordTraits<FONTINFO> {
//       static const RecordDescription<FONTINFO, String, String, String>& Description();
//     };
//
// with Description() returning a static RecordDescription("FONTINFO", {"FontName",
// &FONTINFO::FontName}, ...). A member function that takes `FONTINFO&` then takes a record
// Variant (or Empty, read as a zeroed record) late-bound, and gives the filled record back.
#ifndef BORVANE_AUTOMATION_RECORD_H_
#define BORVANE_AUTOMATION_RECORD_H_

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "borvane/automation/string.h"
#include "borvane/automation/typeinfo.h"
#include "borvane/automation/variant.h"

namespace borvane {

// A record type: its name and its fields in order, each with a built-in Variant type.
class RecordType {
 public:
  struct Field {
    String name;
    int32_t vartype = vbVariant;
  };
  RecordType(String name, std::vector<Field> fields);
  RecordType(const RecordType&) = delete;
  RecordType& operator=(const RecordType&) = delete;

  const String& Name() const { return name_; }
  const std::vector<Field>& Fields() const { return fields_; }
  // The position of the field of that name (case-blind), or -1.
  int IndexOf(std::u16string_view name) const;
  // The type as type information shows it (kind TKIND_RECORD).
  const TypeDesc& AsType() const { return *desc_; }

 private:
  String name_;
  std::vector<Field> fields_;
  std::unique_ptr<TypeDesc> desc_;
};

// A record value: its type and one Variant per field, of the field's type.
class Record {
 public:
  // A record of `type` with every field at its type's zero value.
  explicit Record(const RecordType& type);

  const RecordType& Type() const { return *type_; }
  const std::vector<Variant>& Fields() const { return fields_; }
  // The field of that name (case-blind); error 438 when the type has none.
  const Variant& Field(std::u16string_view name) const;
  // Stores `value`, converted to the field's type (13 when it cannot be).
  void SetField(std::u16string_view name, const Variant& value);

  // Same type and equal fields.
  friend bool operator==(const Record& a, const Record& b);

 private:
  const RecordType* type_;
  std::vector<Variant> fields_;
};

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_RECORD_H_
