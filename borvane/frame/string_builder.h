// CStringBuilder: text collected in a growing byte buffer, so that many small appends cost a
// copy of the new text each and not a new String.
//
// Text is held as 16-bit code units, two bytes each, low byte first. Length, Chars, Insert and
// Remove count characters from 0; BufferBump, Capacity and EnsureCapacity count bytes. The
// capacity grows in fixed steps of BufferBump bytes, not by a factor.
#ifndef BORVANE_FRAME_STRING_BUILDER_H_
#define BORVANE_FRAME_STRING_BUILDER_H_

#include <cstdint>
#include <vector>

#include "borvane/automation/binding.h"

namespace borvane {

// Number of the builder's own errors: the object error base plus 512.
inline constexpr int32_t kStringBuilderError = static_cast<int32_t>(0x80040200);

class CStringBuilder : public Dispatchable<CStringBuilder> {
 public:
  static constexpr const char* kClassName = "CStringBuilder";
  static void Describe(ClassBuilder<CStringBuilder>& b);

  CStringBuilder();

  // A value of 0 or less is ignored; an odd value is raised by 1. Takes effect at the next
  // change of capacity.
  void SetBufferBump(int32_t value);
  int32_t BufferBump() const { return mlngBufferBump; }
  // Rounds up to a multiple of BufferBump and resizes the buffers, cutting the text if it no
  // longer fits. 0 or less is ignored.
  void SetCapacity(int32_t value);
  int32_t Capacity() const { return mlngCapacity; }
  // Stores the first code unit of `NewChar` at `Position`. Error 5 for an empty text.
  void SetChars(int32_t Position, String& NewChar);
  String Chars(int32_t Position) const;
  // Cuts or extends the text (an extension shows what the buffer holds there). Negative is
  // ignored.
  void SetLength(int32_t value);
  int32_t Length() const { return mlngLength / 2; }
  Ref<CStringBuilder> Append(String& NewText);
  int32_t EnsureCapacity(int32_t NewVal);
  Ref<CStringBuilder> Insert(int32_t StartIndex, String& NewText);
  Ref<CStringBuilder> Remove(int32_t StartIndex, int32_t Length);
  String ToString() const;

  // Appends without the by-reference argument, for library code.
  void AppendText(std::u16string_view text);

 private:
  void SwapBuffers() { mbytBuffer.swap(mbytScratch); }

  int32_t mlngBufferBump = 2048;
  int32_t mlngLength = 0;
  int32_t mlngCapacity = 2048;
  std::vector<uint8_t> mbytBuffer;
  std::vector<uint8_t> mbytScratch;
};

}  // namespace borvane

#endif  // BORVANE_FRAME_STRING_BUILDER_H_
