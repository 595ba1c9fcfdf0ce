#include "borvane/frame/string_builder.h"

#include <cstring>

#include "borvane/frame/class_table.h"

namespace borvane {

namespace {

[[noreturn]] void Fail(const char* source, const char* description) {
  throw Error(kStringBuilderError, source, description);
}

// Byte size of `chars` characters as a Long; the platform's overflow when it does not fit.
int32_t BytesOf(int64_t chars) {
  int64_t bytes = chars * 2;
  if (bytes > INT32_MAX || bytes < INT32_MIN) ThrowPlatformError(kErrOverflow);
  return static_cast<int32_t>(bytes);
}

}  // namespace

void CStringBuilder::Describe(ClassBuilder<CStringBuilder>& b) {
  b.Creatable()
      .Order(kOrderCStringBuilder)
      .Ids(ClassId(kOrderCStringBuilder), InterfaceId(kOrderCStringBuilder))
      .Let("BufferBump", &CStringBuilder::SetBufferBump, {"RHS"})
      .Get("BufferBump", &CStringBuilder::BufferBump)
      .Let("Capacity", &CStringBuilder::SetCapacity, {"RHS"})
      .Get("Capacity", &CStringBuilder::Capacity)
      .Let("Chars", &CStringBuilder::SetChars, {Opt("Position", int32_t{0}), "RHS"})
      .Get("Chars", &CStringBuilder::Chars, {Opt("Position", int32_t{0})})
      .Let("Length", &CStringBuilder::SetLength, {"RHS"})
      .Get("Length", &CStringBuilder::Length)
      .Method("Append", &CStringBuilder::Append, {"NewText"})
      .Method("EnsureCapacity", &CStringBuilder::EnsureCapacity, {"NewVal"})
      .Method("Insert", &CStringBuilder::Insert, {"StartIndex", "NewText"})
      .Method("Remove", &CStringBuilder::Remove, {"StartIndex", Opt("Length", int32_t{1})})
      .Method("ToString", &CStringBuilder::ToString);
}

CStringBuilder::CStringBuilder() : mbytBuffer(2048), mbytScratch(2048) {}

void CStringBuilder::SetBufferBump(int32_t value) {
  if (value <= 0) return;
  if (value % 2 != 0) {
    if (value == INT32_MAX) ThrowPlatformError(kErrOverflow);
    ++value;
  }
  mlngBufferBump = value;
}

void CStringBuilder::SetCapacity(int32_t value) {
  if (value <= 0) return;
  int64_t steps = value / mlngBufferBump + (value % mlngBufferBump ? 1 : 0);
  int64_t size = steps * mlngBufferBump;
  if (size > INT32_MAX) ThrowPlatformError(kErrOverflow);
  if (size < mlngLength) mlngLength = static_cast<int32_t>(size);
  mbytBuffer.resize(static_cast<size_t>(size), 0);
  // The scratch buffer's content means nothing between calls: it is sized, not kept.
  std::vector<uint8_t>(static_cast<size_t>(size)).swap(mbytScratch);
  mlngCapacity = static_cast<int32_t>(size);
}

int32_t CStringBuilder::EnsureCapacity(int32_t NewVal) {
  if (NewVal > mlngCapacity) SetCapacity(NewVal);
  return mlngCapacity;
}

void CStringBuilder::SetChars(int32_t Position, String& NewChar) {
  if (Position < 0 || Position >= Length())
    Fail("CStringBuilder.Chars", "Tried assigning character past end of buffer.");
  if (NewChar.empty()) ThrowPlatformError(kErrInvalidCall);
  char16_t unit = NewChar[0];
  mbytBuffer[2 * static_cast<size_t>(Position)] = static_cast<uint8_t>(unit & 0xFF);
  mbytBuffer[2 * static_cast<size_t>(Position) + 1] = static_cast<uint8_t>(unit >> 8);
}

String CStringBuilder::Chars(int32_t Position) const {
  if (Position < 0 || Position >= Length())
    Fail("CStringBuilder.Chars", "Tried reading character past end of buffer.");
  size_t at = 2 * static_cast<size_t>(Position);
  char16_t unit = static_cast<char16_t>(mbytBuffer[at] | (mbytBuffer[at + 1] << 8));
  return String(std::u16string(1, unit));
}

void CStringBuilder::SetLength(int32_t value) {
  if (value < 0) return;
  int32_t bytes = BytesOf(value);
  if (bytes > mlngCapacity) SetCapacity(bytes);
  mlngLength = bytes;
}

void CStringBuilder::AppendText(std::u16string_view text) {
  if (text.empty()) return;
  int32_t bytes = BytesOf(static_cast<int64_t>(text.size()));
  if (static_cast<int64_t>(mlngLength) + bytes > INT32_MAX) ThrowPlatformError(kErrOverflow);
  EnsureCapacity(mlngLength + bytes);
  uint8_t* out = mbytBuffer.data() + mlngLength;
  for (char16_t unit : text) {
    *out++ = static_cast<uint8_t>(unit & 0xFF);
    *out++ = static_cast<uint8_t>(unit >> 8);
  }
  mlngLength += bytes;
}

Ref<CStringBuilder> CStringBuilder::Append(String& NewText) {
  AppendText(NewText.view());
  return Ref<CStringBuilder>(this);
}

Ref<CStringBuilder> CStringBuilder::Insert(int32_t StartIndex, String& NewText) {
  if (StartIndex < 0 || StartIndex > Length())
    Fail("CStringBuilder.Insert", "Argument(s) out of range.");
  if (NewText.empty()) return Ref<CStringBuilder>(this);
  int32_t bytes = BytesOf(NewText.Len());
  if (static_cast<int64_t>(mlngLength) + bytes > INT32_MAX) ThrowPlatformError(kErrOverflow);
  EnsureCapacity(mlngLength + bytes);
  size_t head = 2 * static_cast<size_t>(StartIndex);
  std::memcpy(mbytScratch.data(), mbytBuffer.data(), head);
  uint8_t* out = mbytScratch.data() + head;
  for (char16_t unit : NewText.view()) {
    *out++ = static_cast<uint8_t>(unit & 0xFF);
    *out++ = static_cast<uint8_t>(unit >> 8);
  }
  std::memcpy(out, mbytBuffer.data() + head, static_cast<size_t>(mlngLength) - head);
  SwapBuffers();
  mlngLength += bytes;
  return Ref<CStringBuilder>(this);
}

Ref<CStringBuilder> CStringBuilder::Remove(int32_t StartIndex, int32_t Length) {
  if (StartIndex < 0 || Length < 0 ||
      static_cast<int64_t>(StartIndex) + Length > static_cast<int64_t>(this->Length()))
    Fail("CStringBuilder.Remove", "Argument(s) out of range.");
  if (Length == 0) return Ref<CStringBuilder>(this);
  size_t from = 2 * (static_cast<size_t>(StartIndex) + static_cast<size_t>(Length));
  size_t to = 2 * static_cast<size_t>(StartIndex);
  std::memmove(mbytBuffer.data() + to, mbytBuffer.data() + from,
               static_cast<size_t>(mlngLength) - from);
  mlngLength -= 2 * Length;
  return Ref<CStringBuilder>(this);
}

String CStringBuilder::ToString() const {
  std::u16string text(static_cast<size_t>(mlngLength / 2), u'\0');
  for (size_t i = 0; i < text.size(); ++i)
    text[i] = static_cast<char16_t>(mbytBuffer[2 * i] | (mbytBuffer[2 * i + 1] << 8));
  return String(std::move(text));
}

BORVANE_REGISTER_CLASS(CStringBuilder)

}  // namespace borvane
