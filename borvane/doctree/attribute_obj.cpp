#include "borvane/doctree/attribute_obj.h"

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/doctree/attributes.h"
#include "borvane/frame/class_table.h"

namespace borvane {

void AttributeObj::Describe(ClassBuilder<AttributeObj>& b) {
  b.Order(kOrderAttributeObj)
      .Ids(ClassId(kOrderAttributeObj), InterfaceId(kOrderAttributeObj))
      .Let("Name", &AttributeObj::SetName, {"Value"})
      .Get("Name", &AttributeObj::Name)
      .Let("Value", &AttributeObj::SetValue, {"Value"})
      .Get("Value", &AttributeObj::Value);
}

// Before the change: a change that fails half way leaves the list's text to be made again too.
void AttributeObj::Changed() {
  if (owner_) owner_->PairChanged();
}

void AttributeObj::SetName(String Value) {
  Changed();
  mstrName = std::move(Value);
}

void AttributeObj::SetValue(Variant Value) {
  Changed();
  if (Value.IsObject()) {
    mvntValue = DefaultValue(Value.ToObject());
  } else {
    mvntValue = std::move(Value);
  }
}

void AttributeObj::AppendAttributeText(std::u16string& out) const {
  PutAttributeText([&out](std::u16string_view text) { out += text; });
}

size_t AttributeObj::TextBound() const {
  size_t value = 0;
  switch (mvntValue.VarType()) {
    case vbString:
      value = mvntValue.StringRef().size() + 2;
      break;
    case vbBoolean:
      value = 5;
      break;
    case vbInteger:
    case vbLong:
      value = 11;
      break;
    case vbSingle:
    case vbDouble:
      value = 24;  // fifteen significant digits, a sign, a point and an exponent
      break;
    default:
      break;  // no text
  }
  return mstrName.size() + 1 + value;
}

String AttributeObj::ToAttributeText() const {
  std::u16string out;
  AppendAttributeText(out);
  return String(std::move(out));
}

void AttributeObj::FromAttributeText(String& Text) {
  FromAttributeText(Text.view());
}

bool PlainNumber(std::u16string_view text, char16_t decimal, double& out) {
  static constexpr double kPow10[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                      1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const char16_t* p = text.data();
  const char16_t* const end = p + text.size();
  const bool negative = p != end && *p == u'-';
  p += negative;
  // Digits past the fifteenth wrap the mantissa around; the text is refused then anyway.
  uint64_t mantissa = 0;
  auto digits = [&] {
    const char16_t* const first = p;
    for (; p != end && static_cast<unsigned>(*p - u'0') < 10; ++p)
      mantissa = mantissa * 10 + static_cast<unsigned>(*p - u'0');
    return static_cast<size_t>(p - first);
  };
  const size_t whole = digits();
  if (whole == 0) return false;
  size_t fraction = 0;
  if (p != end) {
    if (*p != u'.' || decimal != u'.') return false;
    ++p;
    fraction = digits();
    if (p != end || fraction == 0) return false;
  }
  if (whole + fraction > 15) return false;
  double value = static_cast<double>(mantissa);
  if (fraction > 0) value /= kPow10[fraction];
  out = (negative && value != 0) ? -value : value;
  return true;
}

bool IsPlainNumber(std::u16string_view text) {
  double ignored;
  return PlainNumber(text, ThreadLocale().decimal, ignored);
}

AttributePiece ReadAttributePiece(std::u16string_view text) {
  AttributePiece piece;
  size_t eq = text.find(u'=');
  if (eq == std::u16string_view::npos) return piece;
  piece.name = text.substr(0, eq);
  std::u16string_view value = text.substr(eq + 1);
  if (value == u"TRUE") {
    piece.kind = AttributePiece::kTrue;
  } else if (value == u"FALSE") {
    piece.kind = AttributePiece::kFalse;
  } else if (!value.empty() && value.front() == u'"' && value.back() == u'"') {
    // A lone quote asks for the text between the first and the last character.
    if (value.size() == 1) {
      piece.kind = AttributePiece::kLoneQuote;
    } else {
      piece.kind = AttributePiece::kText;
      piece.value = value.substr(1, value.size() - 2);
    }
  } else if (IsPlainNumber(value) || IsNumericText(value)) {
    piece.kind = AttributePiece::kText;  // a number stays text: it does not come back as one
    piece.value = value;
  } else {
    piece.kind = AttributePiece::kMissing;
  }
  return piece;
}

void AttributeObj::FromAttributeText(std::u16string_view text) {
  Changed();
  AttributePiece piece = ReadAttributePiece(text);
  switch (piece.kind) {
    case AttributePiece::kNoEquals:
      return;
    case AttributePiece::kLoneQuote:
      ThrowPlatformError(kErrInvalidCall);
    case AttributePiece::kTrue:
    case AttributePiece::kFalse:
      mvntValue = piece.kind == AttributePiece::kTrue;
      break;
    case AttributePiece::kText:
      mvntValue = String(piece.value);
      break;
    case AttributePiece::kMissing:
      break;
  }
  mstrName = String(piece.name);
}

BORVANE_REGISTER_CLASS(AttributeObj)

}  // namespace borvane
