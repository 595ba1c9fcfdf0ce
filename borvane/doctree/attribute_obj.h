// AttributeObj: one name and value pair of a DocNode, and its text form in an opening tag.
#ifndef BORVANE_DOCTREE_ATTRIBUTE_OBJ_H_
#define BORVANE_DOCTREE_ATTRIBUTE_OBJ_H_

#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>

#include "borvane/automation/slab_pool.h"

#include "borvane/automation/binding.h"
#include "borvane/automation/convert.h"

namespace borvane {

class Attributes;

// What one "name=value" piece of an attribute list reads as, by the first "=": the value part
// TRUE or FALSE (with case), a quoted text (kText, without its quotes), a number the locale's
// numeric test accepts (kText, as it stands), or anything else (kMissing: the value stays as
// it was). A value part of one quote alone is kLoneQuote, which fails; without "=" the piece
// changes nothing.
struct AttributePiece {
  enum Kind : char16_t { kNoEquals, kMissing, kTrue, kFalse, kText, kLoneQuote };
  Kind kind = kNoEquals;
  std::u16string_view name;
  std::u16string_view value;  // for kText
};
AttributePiece ReadAttributePiece(std::u16string_view text);
// A number of the plain form -ddd or -ddd.ddd, with at most 15 digits: such a text passes the
// numeric test of any locale whose decimal point (`decimal`) is ".", and its value is exact as
// the quotient of two exact doubles, as the leading-number conversion gives it. False for any
// other text. The readers take it as a short way past the locale's numeric test.
bool PlainNumber(std::u16string_view text, char16_t decimal, double& out);
// The same test with the thread's decimal point, without the value.
bool IsPlainNumber(std::u16string_view text);

// Made with every node that has attributes: from the slab pool, like the nodes.
class AttributeObj : public Dispatchable<AttributeObj>, public Pooled {
 public:
  static constexpr const char* kClassName = "AttributeObj";
  static void Describe(ClassBuilder<AttributeObj>& b);

  // Provided, so that `new AttributeObj()` does not zero the object first (see DocNode).
  AttributeObj() {}

  // Stores the text as it is: names are not tested and need not be unique.
  void SetName(String Value);
  String Name() const { return mstrName; }
  // Stores a copy; an object is stored as the value of its default member.
  void SetValue(Variant Value);
  Variant Value() const { return mvntValue; }

  // Library-internal. "name=value", where the value's text depends on its type: numbers bare,
  // Strings in quotes (not escaped), Booleans TRUE/FALSE, anything else nothing.
  String ToAttributeText() const;
  // The same, appended to `out`.
  void AppendAttributeText(std::u16string& out) const;
  // The same text, given to put(std::u16string_view) in pieces without making a String: the
  // writer puts them straight into the text it writes.
  template <class Put>
  void PutAttributeText(Put&& put) const;
  // Characters of that text at most.
  size_t TextBound() const;
  // Library-internal. Reads one "name=value" piece in place; a piece without "=" changes
  // nothing. A value part that is a single double quote fails with error 5.
  void FromAttributeText(String& Text);
  void FromAttributeText(std::u16string_view text);

 private:
  friend class Attributes;
  // Tells the list that holds this pair, if any, that its text changed.
  void Changed();

  String mstrName;
  Variant mvntValue;
  // The list whose pair this is, which keeps its text (see Attributes); set and cleared by it.
  Attributes* owner_ = nullptr;
};

template <class Put>
void AttributeObj::PutAttributeText(Put&& put) const {
  put(mstrName.view());
  char16_t text[kNumberTextMax];
  text[0] = u'=';
  size_t size = 1;
  switch (mvntValue.VarType()) {
    case vbInteger:
    case vbLong: {
      // Decimal digits with a minus sign, as the platform's conversion gives them.
      char digits[16];
      const int32_t value = mvntValue.VarType() == vbLong
                                ? *mvntValue.GetIf<int32_t>()
                                : static_cast<int32_t>(*mvntValue.GetIf<int16_t>());
      const char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
      for (const char* d = digits; d != end; ++d) text[size++] = static_cast<char16_t>(*d);
      break;
    }
    case vbDouble:
      size += FormatDoubleInto(*mvntValue.GetIf<double>(), text + 1);
      break;
    case vbSingle:
      put(std::u16string_view(text, size));
      put(CStr(mvntValue).view());
      return;
    case vbString:
      // Quotes inside the text stay as they are: the attribute form has no escape.
      put(std::u16string_view(u"=\""));
      put(mvntValue.StringRef().view());
      put(std::u16string_view(u"\""));
      return;
    case vbBoolean:
      put(std::u16string_view(*mvntValue.GetIf<bool>() ? u"=TRUE" : u"=FALSE"));
      return;
    default:
      break;  // Empty, Null, Currency, Date, Byte, objects, the missing marker: no text
  }
  put(std::u16string_view(text, size));
}

}  // namespace borvane

#endif  // BORVANE_DOCTREE_ATTRIBUTE_OBJ_H_
