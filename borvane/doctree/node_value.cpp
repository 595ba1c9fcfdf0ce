#include "borvane/doctree/node_value.h"

#include <utility>

namespace borvane {

void NodeValue::Set(Variant value) {
  switch (value.VarType()) {
    case vbEmpty:
      Reset();
      return;
    case vbNull:
      SetScalar(uint8_t{0}, vbNull);
      return;
    case vbInteger:
      SetScalar(*value.GetIf<int16_t>(), vbInteger);
      return;
    case vbLong:
      SetScalar(*value.GetIf<int32_t>(), vbLong);
      return;
    case vbSingle:
      SetScalar(*value.GetIf<float>(), vbSingle);
      return;
    case vbDouble:
      SetScalar(*value.GetIf<double>(), vbDouble);
      return;
    case vbCurrency:
      SetScalar(*value.GetIf<Currency>(), vbCurrency);
      return;
    case vbDate:
      SetScalar(*value.GetIf<Date>(), vbDate);
      return;
    case vbError:
      SetScalar(*value.GetIf<ErrorValue>(), vbError);
      return;
    case vbBoolean:
      SetScalar(*value.GetIf<bool>(), vbBoolean);
      return;
    case vbByte:
      SetScalar(*value.GetIf<uint8_t>(), vbByte);
      return;
    case vbString:
      if (!value.StringRef().IsNull()) {
        const std::u16string_view text = value.StringRef().view();
        char16_t* block = text.empty() ? nullptr : new char16_t[text.size()];
        if (block) std::memcpy(block, text.data(), text.size() * sizeof(char16_t));
        Reset();
        word_ = reinterpret_cast<uintptr_t>(block);
        tag_ = kHeapText + text.size();
        return;
      }
      [[fallthrough]];
    default: {
      // Made before the old value goes, so that a failed allocation leaves it in place.
      auto* boxed = new Variant(std::move(value));
      Reset();
      word_ = reinterpret_cast<uintptr_t>(boxed);
      tag_ = kBoxed;
    }
  }
}

Variant NodeValue::Get() const {
  if (IsText()) {
    Variant text;
    text.EmplaceString(Text());
    return text;
  }
  if (const Variant* boxed = Boxed()) return *boxed;
  switch (static_cast<int32_t>(tag_ - kKindBase)) {
    case vbNull:
      return Variant::Null();
    case vbInteger:
      return Scalar<int16_t>();
    case vbLong:
      return Scalar<int32_t>();
    case vbSingle:
      return Scalar<float>();
    case vbDouble:
      return Scalar<double>();
    case vbCurrency:
      return Scalar<Currency>();
    case vbDate:
      return Scalar<Date>();
    case vbError:
      return Scalar<ErrorValue>();
    case vbBoolean:
      return Scalar<bool>();
    case vbByte:
      return Scalar<uint8_t>();
    default:
      return Variant();
  }
}

}  // namespace borvane
