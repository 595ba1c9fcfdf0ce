#include "borvane/fonts/font_info.h"

namespace borvane {

const RecordDescription<FONTINFO, String, String, String>& RecordTraits<FONTINFO>::Description() {
  static const RecordDescription<FONTINFO, String, String, String> description(
      "FONTINFO", RecordField("FontName", &FONTINFO::FontName),
      RecordField("FontFamily", &FONTINFO::FontFamily),
      RecordField("FontStyle", &FONTINFO::FontStyle));
  return description;
}

}  // namespace borvane
