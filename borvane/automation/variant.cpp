#include "borvane/automation/variant.h"

#include <cmath>
#include <limits>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/record.h"

namespace borvane {

Variant Variant::ZeroOf(int32_t type) {
  switch (type) {
    case vbVariant:
      return Variant();
    case vbInteger:
      return Variant(int16_t{0});
    case vbLong:
      return Variant(int32_t{0});
    case vbSingle:
      return Variant(0.0f);
    case vbDouble:
      return Variant(0.0);
    case vbCurrency:
      return Variant(Currency{});
    case vbDate:
      return Variant(Date{});
    case vbString:
      return Variant(String());
    case vbObject:
      return Variant::Nothing();
    case vbError:
      return Variant(ErrorValue{});
    case vbBoolean:
      return Variant(false);
    case vbByte:
      return Variant(uint8_t{0});
    default:
      ThrowPlatformError(kErrTypeMismatch);
  }
}

Currency Currency::FromDouble(double value) {
  // The default rounding mode rounds halves to even.
  double scaled = std::nearbyint(value * kScale);
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (!(scaled >= -kLimit && scaled < kLimit)) ThrowPlatformError(kErrOverflow);
  return FromRaw(static_cast<int64_t>(scaled));
}

// ---- Array ----

Array::Array(int32_t element_type, std::vector<Bound> bounds)
    : element_type_(element_type), bounds_(std::move(bounds)) {
  int64_t count = bounds_.empty() ? 0 : 1;
  for (const Bound& b : bounds_) {
    if (b.size() < 0) ThrowPlatformError(kErrSubscript);
    count *= b.size();
    if (count > std::numeric_limits<int32_t>::max()) ThrowPlatformError(kErrOutOfMemory);
  }
  items_.assign(static_cast<size_t>(count), Variant::ZeroOf(element_type_));
}

Array Array::OfVariants(std::vector<Variant> items, int32_t lower) {
  Array a;
  a.element_type_ = vbVariant;
  int64_t upper = static_cast<int64_t>(lower) + static_cast<int64_t>(items.size()) - 1;
  if (upper > std::numeric_limits<int32_t>::max()) ThrowPlatformError(kErrSubscript);
  a.bounds_ = {Bound{lower, static_cast<int32_t>(upper)}};
  a.items_ = std::move(items);
  return a;
}

int32_t Array::LBound(int dim) const {
  if (dim < 1 || dim > Dimensions()) ThrowPlatformError(kErrSubscript);
  return bounds_[dim - 1].lower;
}

int32_t Array::UBound(int dim) const {
  if (dim < 1 || dim > Dimensions()) ThrowPlatformError(kErrSubscript);
  return bounds_[dim - 1].upper;
}

int64_t Array::Offset(std::span<const int32_t> subscripts) const {
  if (subscripts.size() != bounds_.size() || bounds_.empty()) ThrowPlatformError(kErrSubscript);
  // The first dimension varies fastest.
  int64_t offset = 0;
  int64_t stride = 1;
  for (size_t i = 0; i < bounds_.size(); ++i) {
    const Bound& b = bounds_[i];
    if (subscripts[i] < b.lower || subscripts[i] > b.upper) ThrowPlatformError(kErrSubscript);
    offset += (static_cast<int64_t>(subscripts[i]) - b.lower) * stride;
    stride *= b.size();
  }
  return offset;
}

const Variant& Array::At(const std::vector<int32_t>& subscripts) const {
  return items_[static_cast<size_t>(Offset(subscripts))];
}

Variant& Array::At(const std::vector<int32_t>& subscripts) {
  return items_[static_cast<size_t>(Offset(subscripts))];
}

const Variant& Array::At(std::initializer_list<int32_t> subscripts) const {
  return items_[static_cast<size_t>(Offset(std::span(subscripts.begin(), subscripts.size())))];
}

Variant& Array::At(std::initializer_list<int32_t> subscripts) {
  return items_[static_cast<size_t>(Offset(std::span(subscripts.begin(), subscripts.size())))];
}

namespace {

// Stores `value` converted to the element type, moving it in when it is of that type.
void Store(Variant& slot, int32_t element_type, Variant&& value) {
  if (element_type == vbVariant || value.VarType() == element_type)
    slot = std::move(value);
  else
    slot = CVarType(value, element_type);
}

}  // namespace

void Array::Set(const std::vector<int32_t>& subscripts, const Variant& value) {
  Variant& slot = At(subscripts);
  slot = element_type_ == vbVariant ? value : CVarType(value, element_type_);
}

void Array::Set(const std::vector<int32_t>& subscripts, Variant&& value) {
  Store(At(subscripts), element_type_, std::move(value));
}

void Array::Set(std::initializer_list<int32_t> subscripts, const Variant& value) {
  Variant& slot = At(subscripts);
  slot = element_type_ == vbVariant ? value : CVarType(value, element_type_);
}

void Array::Set(std::initializer_list<int32_t> subscripts, Variant&& value) {
  Store(At(subscripts), element_type_, std::move(value));
}

void Array::RedimPreserve(int32_t new_upper) {
  if (bounds_.empty()) ThrowPlatformError(kErrSubscript);
  Bound& last = bounds_.back();
  Bound grown{last.lower, new_upper};
  if (grown.size() < 0) ThrowPlatformError(kErrSubscript);
  int64_t inner = 1;
  for (size_t i = 0; i + 1 < bounds_.size(); ++i) inner *= bounds_[i].size();
  // The last dimension varies slowest, so its growth only appends or drops whole slices.
  int64_t count = inner * grown.size();
  if (count > std::numeric_limits<int32_t>::max()) ThrowPlatformError(kErrOutOfMemory);
  items_.resize(static_cast<size_t>(count), Variant::ZeroOf(element_type_));
  last = grown;
}

bool operator==(const Array& a, const Array& b) {
  if (a.element_type_ != b.element_type_ || a.bounds_.size() != b.bounds_.size()) return false;
  for (size_t i = 0; i < a.bounds_.size(); ++i) {
    if (a.bounds_[i].lower != b.bounds_[i].lower || a.bounds_[i].upper != b.bounds_[i].upper) {
      return false;
    }
  }
  return a.items_ == b.items_;
}

// ---- Variant ----

Variant::Variant(const Variant& other) : v_(other.v_) {
  if (auto* arr = std::get_if<std::shared_ptr<Array>>(&v_); arr && *arr) {
    *arr = std::make_shared<Array>(**arr);
  } else if (auto* rec = std::get_if<std::shared_ptr<Record>>(&v_); rec && *rec) {
    *rec = std::make_shared<Record>(**rec);
  }
}

Variant::Variant(Record v) : v_(std::make_shared<Record>(std::move(v))) {}

Variant& Variant::operator=(const Variant& other) {
  if (this != &other) {
    Variant copy(other);
    v_ = std::move(copy.v_);
  }
  return *this;
}

int32_t Variant::ArrayVarType() const {
  const auto& arr = std::get<std::shared_ptr<Array>>(v_);  // throws when the Variant has no value
  return vbArray | (arr ? arr->ElementType() : vbVariant);
}

bool Variant::IsNumber() const {
  switch (VarType()) {
    case vbInteger:
    case vbLong:
    case vbSingle:
    case vbDouble:
    case vbCurrency:
    case vbByte:
    case vbDecimal:
      return true;
    default:
      return false;
  }
}

Object Variant::ToObject() const {
  if (auto* obj = std::get_if<Object>(&v_)) return *obj;
  return Object();
}

const Array& Variant::ToArray() const {
  auto* arr = std::get_if<std::shared_ptr<Array>>(&v_);
  if (!arr || !*arr) ThrowPlatformError(kErrTypeMismatch);
  return **arr;
}

Array& Variant::MutableArray() {
  auto* arr = std::get_if<std::shared_ptr<Array>>(&v_);
  if (!arr || !*arr) ThrowPlatformError(kErrTypeMismatch);
  return **arr;
}

bool operator==(const Variant& a, const Variant& b) {
  if (a.v_.index() != b.v_.index()) return false;
  if (auto* s = std::get_if<String>(&a.v_)) {
    const String& t = std::get<String>(b.v_);
    return s->IsNull() == t.IsNull() && *s == t;
  }
  if (auto* arr = std::get_if<std::shared_ptr<Array>>(&a.v_)) {
    const auto& other = std::get<std::shared_ptr<Array>>(b.v_);
    if (!*arr || !other) return !*arr && !other;
    return **arr == *other;
  }
  if (auto* rec = std::get_if<std::shared_ptr<Record>>(&a.v_)) {
    const auto& other = std::get<std::shared_ptr<Record>>(b.v_);
    if (!*rec || !other) return !*rec && !other;
    return **rec == *other;
  }
  return a.v_ == b.v_;
}

}  // namespace borvane

namespace borvane {

// ---- Records ----

RecordType::RecordType(String name, std::vector<Field> fields)
    : name_(std::move(name)), fields_(std::move(fields)), desc_(TypeDesc::Record(name_)) {}

int RecordType::IndexOf(std::u16string_view name) const {
  for (size_t i = 0; i < fields_.size(); ++i) {
    std::u16string_view f = fields_[i].name.view();
    if (f.size() != name.size()) continue;
    bool same = true;
    for (size_t k = 0; k < f.size() && same; ++k) {
      char16_t x = f[k], y = name[k];
      if (x >= u'a' && x <= u'z') x -= 32;
      if (y >= u'a' && y <= u'z') y -= 32;
      same = x == y;
    }
    if (same) return static_cast<int>(i);
  }
  return -1;
}

Record::Record(const RecordType& type) : type_(&type) {
  fields_.reserve(type.Fields().size());
  for (const RecordType::Field& f : type.Fields()) {
    fields_.push_back(f.vartype == vbVariant ? Variant() : Variant::ZeroOf(f.vartype));
  }
}

const Variant& Record::Field(std::u16string_view name) const {
  int i = type_->IndexOf(name);
  if (i < 0) ThrowPlatformError(kErrNoSuchMember);
  return fields_[static_cast<size_t>(i)];
}

void Record::SetField(std::u16string_view name, const Variant& value) {
  int i = type_->IndexOf(name);
  if (i < 0) ThrowPlatformError(kErrNoSuchMember);
  int32_t type = type_->Fields()[static_cast<size_t>(i)].vartype;
  fields_[static_cast<size_t>(i)] = type == vbVariant ? value : CVarType(value, type);
}

bool operator==(const Record& a, const Record& b) {
  return a.type_ == b.type_ && a.fields_ == b.fields_;
}

}  // namespace borvane
