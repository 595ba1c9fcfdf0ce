// FONTINFO: the three names of a font file, as the font name readers give them.
#ifndef BORVANE_FONTS_FONT_INFO_H_
#define BORVANE_FONTS_FONT_INFO_H_

#include "borvane/automation/binding.h"

namespace borvane {

struct FONTINFO {
  String FontName;
  String FontFamily;
  String FontStyle;
};

template <>
struct RecordTraits<FONTINFO> {
  static const RecordDescription<FONTINFO, String, String, String>& Description();
};

}  // namespace borvane

#endif  // BORVANE_FONTS_FONT_INFO_H_
