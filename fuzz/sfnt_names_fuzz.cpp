// The font name reading over arbitrary font bytes, and the ".FOT" target reading over
// arbitrary bytes: no crash, and a font that reads gives a ".FOT" that scans back.
#include <cstdlib>
#include <string>
#include <vector>

#include "borvane/automation/codepage.h"
#include "borvane/fonts/font_readers.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/fonts/font_resource_file.h"
#include "borvane/platform/fonts/sfnt_names.h"
#include "borvane/platform/testing/files.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace borvane;
  std::string bytes(reinterpret_cast<const char*>(data), size);
  platform::FontResourceTarget(bytes);
  // Arbitrary bytes seldom pass the sfnt tag; let half the inputs start with one, of a single
  // font or of a collection.
  if (size > 0 && (data[0] & 1))
    bytes.replace(0, std::min<size_t>(4, size),
                  (data[0] & 2) ? "ttcf" : std::string("\0\1\0\0", 4));
  // Every font of a collection reads, or none does.
  std::vector<platform::SfntFace> faces;
  if (platform::ReadSfntFaces(bytes, faces) == 0 &&
      (faces.empty() || faces.size() != platform::SfntFaceCount(bytes)))
    std::abort();
  platform::SfntFace face;
  if (platform::ReadSfntFace(bytes, face) != 0) return 0;
  if (face.family.empty() || face.style.empty() || face.full_name.empty()) std::abort();
  platform::MemoryFileSystem files;
  platform::ScopedService<platform::FileSystem> scope(files);
  files.Put("/tmp/X.FOT", platform::BuildFontResourceFile(face, false, "x.ttf"));
  String family, style;
  ReadFotNames("/tmp/X.FOT", family, style);
  if (family != FromAnsi(ToAnsi(face.family)) || style != FromAnsi(ToAnsi(face.style)))
    std::abort();
  return 0;
}
