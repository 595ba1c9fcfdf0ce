// Variant: the automation runtime's tagged value.
#ifndef BORVANE_AUTOMATION_VARIANT_H_
#define BORVANE_AUTOMATION_VARIANT_H_

#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <span>
#include <variant>
#include <vector>

#include "borvane/automation/object.h"
#include "borvane/automation/string.h"

namespace borvane {

// Variant type numbers, as the platform's VarType gives them.
enum VbVarType : int32_t {
  vbEmpty = 0,
  vbNull = 1,
  vbInteger = 2,
  vbLong = 3,
  vbSingle = 4,
  vbDouble = 5,
  vbCurrency = 6,
  vbDate = 7,
  vbString = 8,
  vbObject = 9,
  vbError = 10,
  vbBoolean = 11,
  vbVariant = 12,
  vbDataObject = 13,
  vbDecimal = 14,
  vbByte = 17,
  vbUserDefinedType = 36,
  vbArray = 8192,
};

// 64-bit fixed point with four decimals: `raw` is the value times 10000.
struct Currency {
  int64_t raw = 0;
  static constexpr int64_t kScale = 10000;
  static Currency FromRaw(int64_t raw) { return Currency{raw}; }
  // Rounds half to even at the fourth decimal; error 6 when out of range.
  static Currency FromDouble(double value);
  double ToDouble() const { return static_cast<double>(raw) / kScale; }
  friend bool operator==(Currency a, Currency b) { return a.raw == b.raw; }
};

// The platform's date: days since 30 December 1899, the fraction being the time of day.
struct Date {
  double value = 0;
  friend bool operator==(Date a, Date b) { return a.value == b.value; }
};

// An error value held in a Variant (VarType 10). The missing-argument marker is one of them.
struct ErrorValue {
  int32_t scode = 0;
  friend bool operator==(ErrorValue a, ErrorValue b) { return a.scode == b.scode; }
};
inline constexpr int32_t kParamNotFound = static_cast<int32_t>(0x80020004);

class Variant;
class Record;

// An array of one or more dimensions with its own bounds per dimension. Elements are stored as
// Variants of the element type, the first dimension varying fastest (the platform's order).
class Array {
 public:
  struct Bound {
    int32_t lower = 0;
    int32_t upper = -1;
    int64_t size() const { return static_cast<int64_t>(upper) - lower + 1; }
  };

  Array() = default;
  // An array of `element_type` (a VbVarType; vbVariant for an array of Variants) with the given
  // bounds; elements start as that type's zero value. Error 9 when upper < lower - 1.
  Array(int32_t element_type, std::vector<Bound> bounds);
  // A one-dimensional array with lower bound `lower` holding `items` (as the platform's Array()).
  static Array OfVariants(std::vector<Variant> items, int32_t lower = 0);

  int32_t ElementType() const { return element_type_; }
  int Dimensions() const { return static_cast<int>(bounds_.size()); }
  // Bounds of dimension `dim` (from 1); error 9 for a dimension that is not there.
  int32_t LBound(int dim = 1) const;
  int32_t UBound(int dim = 1) const;
  int64_t ElementCount() const;

  // The element at the given subscripts (one per dimension); error 9 when out of range.
  const Variant& At(const std::vector<int32_t>& subscripts) const;
  Variant& At(const std::vector<int32_t>& subscripts);
  // The same for subscripts written in place ({0, i}), without a vector made for them.
  const Variant& At(std::initializer_list<int32_t> subscripts) const;
  Variant& At(std::initializer_list<int32_t> subscripts);
  const Variant& operator[](int32_t index) const { return At({index}); }
  Variant& operator[](int32_t index) { return At({index}); }
  // Stores `value` converted to the element type.
  void Set(const std::vector<int32_t>& subscripts, const Variant& value);
  void Set(const std::vector<int32_t>& subscripts, Variant&& value);
  void Set(std::initializer_list<int32_t> subscripts, const Variant& value);
  void Set(std::initializer_list<int32_t> subscripts, Variant&& value);

  // ReDim Preserve: a new upper bound for the last dimension, keeping the content.
  void RedimPreserve(int32_t new_upper);

  const std::vector<Variant>& Items() const { return items_; }
  friend bool operator==(const Array& a, const Array& b);

 private:
  int64_t Offset(std::span<const int32_t> subscripts) const;
  int32_t element_type_ = vbVariant;
  std::vector<Bound> bounds_;
  std::vector<Variant> items_;
};

class Variant {
 public:
  struct EmptyTag {
    friend bool operator==(EmptyTag, EmptyTag) { return true; }
  };
  struct NullTag {
    friend bool operator==(NullTag, NullTag) { return true; }
  };

  // Empty.
  Variant() = default;
  // Copies are deep, arrays included: a Variant is a value.
  Variant(const Variant& other);
  Variant(Variant&& other) noexcept = default;
  Variant& operator=(const Variant& other);
  Variant& operator=(Variant&& other) noexcept = default;
  ~Variant() = default;
  Variant(int16_t v) : v_(v) {}
  Variant(int32_t v) : v_(v) {}
  Variant(float v) : v_(v) {}
  Variant(double v) : v_(v) {}
  Variant(bool v) : v_(v) {}
  Variant(uint8_t v) : v_(v) {}
  Variant(Currency v) : v_(v) {}
  Variant(Date v) : v_(v) {}
  Variant(ErrorValue v) : v_(v) {}
  Variant(String v) : v_(std::move(v)) {}
  Variant(const char16_t* v) : v_(String(v)) {}
  Variant(const char* utf8) : v_(String(utf8)) {}
  Variant(Object v) : v_(std::move(v)) {}
  template <class T, class = std::enable_if_t<std::is_base_of_v<ObjectBase, T>>>
  Variant(const Ref<T>& v) : v_(Object(v)) {}
  Variant(Array v) : v_(std::make_shared<Array>(std::move(v))) {}
  // A record (VarType 36); copies of the Variant are deep, as for arrays.
  Variant(Record v);
  // No implicit conversion from other integer widths: say which automation type is meant.
  Variant(int64_t) = delete;
  Variant(uint32_t) = delete;
  Variant(long long) = delete;

  // Sets the value to `v`, as assigning Variant(v) would, without the temporary Variant: for
  // code that fills values by the thousand (a document being read).
  template <class T>
  void Emplace(T v) {
    v_.template emplace<T>(std::move(v));
  }
  // The same for a String made from `text` in place.
  void EmplaceString(std::u16string_view text) { v_.template emplace<String>(text); }

  static Variant Null() {
    Variant v;
    v.v_ = NullTag{};
    return v;
  }
  // The marker that an omitted optional argument holds.
  static Variant Missing() { return Variant(ErrorValue{kParamNotFound}); }
  static Variant Nothing() { return Variant(Object()); }
  // The value a new variable of VarType `type` holds: 0, "", False, Nothing, Empty for a
  // Variant. Error 13 for a type that has none (Null, arrays, records).
  static Variant ZeroOf(int32_t type);

  // The platform's VarType: the type number, with vbArray added for an array. Inline, as the
  // writers ask it of every value they write.
  int32_t VarType() const {
    constexpr int32_t kTypes[] = {vbEmpty,  vbNull,     vbInteger, vbLong,   vbSingle,
                                  vbDouble, vbCurrency, vbDate,    vbString, vbObject,
                                  vbError,  vbBoolean,  vbByte,    vbArray,  vbUserDefinedType};
    const size_t index = v_.index();
    return index < std::size(kTypes) && index != kArrayIndex ? kTypes[index] : ArrayVarType();
  }

  bool IsEmpty() const { return v_.index() == 0; }
  bool IsNull() const { return v_.index() == 1; }
  bool IsMissing() const {
    auto* e = std::get_if<ErrorValue>(&v_);
    return e && e->scode == kParamNotFound;
  }
  bool IsObject() const { return std::holds_alternative<Object>(v_); }
  bool IsArray() const { return std::holds_alternative<std::shared_ptr<Array>>(v_); }
  bool IsString() const { return std::holds_alternative<String>(v_); }
  // Integer, Long, Single, Double, Currency, Byte or Decimal content (not Boolean, not Date).
  bool IsNumber() const;

  // Typed access: the value when the Variant holds exactly that type, else nullptr.
  template <class T>
  const T* GetIf() const {
    if constexpr (std::is_same_v<T, Record>) {
      auto* r = std::get_if<std::shared_ptr<Record>>(&v_);
      return r ? r->get() : nullptr;
    } else {
      return std::get_if<T>(&v_);
    }
  }
  // The object held, or Nothing when the Variant holds none (whatever else it holds).
  Object ToObject() const;
  // The array held; error 13 when the Variant holds none.
  const Array& ToArray() const;
  Array& MutableArray();
  const String& StringRef() const { return std::get<String>(v_); }

  // Exact sameness: same type and same value (objects by identity, strings binary, null text
  // distinct from empty text). Not the platform's comparison operators.
  friend bool operator==(const Variant& a, const Variant& b);

 private:
  using Storage = std::variant<EmptyTag, NullTag, int16_t, int32_t, float, double, Currency, Date,
                               String, Object, ErrorValue, bool, uint8_t, std::shared_ptr<Array>,
                               std::shared_ptr<Record>>;
  // The index of the array alternative in Storage.
  static constexpr size_t kArrayIndex = 13;
  // VarType of an array: vbArray with its element type.
  int32_t ArrayVarType() const;
  static_assert(
      std::is_same_v<std::variant_alternative_t<kArrayIndex, Storage>, std::shared_ptr<Array>>);

  Storage v_;
};

// Defined once Variant is complete: clang does not accept the size of a vector of an incomplete
// type inside the class.
inline int64_t Array::ElementCount() const {
  return static_cast<int64_t>(items_.size());
}

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_VARIANT_H_
