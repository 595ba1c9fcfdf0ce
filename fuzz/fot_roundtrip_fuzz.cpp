// Writing a ".FOT" for random names and style values, then scanning it: the names and the
// font file come back, in either code page.
#include <cstdlib>
#include <string>
#include <vector>

#include "borvane/automation/codepage.h"
#include "borvane/fonts/font_readers.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/font_resource_file.h"
#include "borvane/platform/testing/files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace borvane;
  if (size < 12) return 0;
  SetAnsiCodePage(data[0] & 1 ? CodePage::kUtf8 : CodePage::kWindows1252);
  platform::SfntFace face;
  face.weight = static_cast<uint16_t>(data[1] | data[2] << 8);
  face.ascent = static_cast<uint16_t>(data[3] | data[4] << 8);
  face.avg_width = static_cast<uint16_t>(data[5] | data[6] << 8);
  face.max_width = static_cast<uint16_t>(data[7] | data[8] << 8);
  face.family_kind = data[9];
  face.italic = data[10] & 1, face.symbol = data[10] & 2, face.fixed_pitch = data[10] & 4;
  // Four texts separated by byte 0, as the code page reads them; a name holds no NUL.
  std::vector<String> texts;
  std::string_view rest(reinterpret_cast<const char*>(data) + 11, size - 11);
  for (int i = 0; i < 4; ++i) {
    size_t end = std::min(rest.find('\0'), rest.size());
    texts.push_back(FromAnsi(rest.substr(0, end)));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  face.full_name = texts[0], face.family = texts[1], face.style = texts[2];
  platform::MemoryFileSystem files;
  platform::ScopedService<platform::FileSystem> scope(files);
  std::string fot = platform::BuildFontResourceFile(face, data[10] & 8, texts[3]);
  files.Put("/tmp/X.FOT", fot);
  String family, style;
  String name = ReadFotNames("/tmp/X.FOT", family, style);
  // The module description holds at most 247 bytes of the full name.
  bool full_fits = ToAnsi(face.full_name).size() <= 247;
  if (full_fits ? name != face.full_name : face.full_name.view().find(name.view()) != 0)
    std::abort();
  if (family != face.family || style != face.style) std::abort();
  if (platform::FontResourceTarget(fot) != texts[3]) std::abort();
  SetAnsiCodePage(CodePage::kWindows1252);
  return 0;
}
