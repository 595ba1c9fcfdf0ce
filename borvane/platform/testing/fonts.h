// Doubles of the font services: a catalog in memory, a loader and resource files that record. For
// tests and benchmarks only: built as the borvane_testing library, never part of libborvane or its
// installed headers.
#ifndef BORVANE_PLATFORM_TESTING_FONTS_H_
#define BORVANE_PLATFORM_TESTING_FONTS_H_

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "borvane/platform/fonts/font_catalog.h"
#include "borvane/platform/fonts/font_loader.h"
#include "borvane/platform/fonts/font_resource.h"
#include "borvane/platform/testing/files.h"

namespace borvane::platform {

// A catalog held in memory, for tests.
class MemoryFontCatalog : public FontCatalog {
 public:
  std::vector<InstalledFont> Fonts() override { return fonts; }
  std::string UserFontFolder() override { return user_folder; }
  // 0 (unknown) unless set: a caller that changes `fonts` and sets a version moves it on too.
  uint64_t Version() override { return version; }
  std::vector<InstalledFont> fonts;
  uint64_t version = 0;
  std::string user_folder = "/home/user/.local/share/fonts";
};

// Records what the library loads and unloads, for tests; a path in `refused` fails, any other
// removal succeeds (as a font found in the user's folder does).
class RecordingFontLoader : public FontLoader {
 public:
  int32_t AddFontResource(const String& path) override;
  int32_t RemoveFontResource(const String& path) override;
  int32_t BroadcastFontChange() override { return ++broadcasts, broadcast_result; }
  bool CanRemoveFontResource(const String& path) override { return !refused.count(path.str()); }
  // A font unless it is in `refused` or `not_fonts`.
  bool IsFontFile(const String& path) override {
    return !refused.count(path.str()) && !not_fonts.count(path.str());
  }

  std::set<std::u16string> loaded;
  std::set<std::u16string> refused;
  std::set<std::u16string> not_fonts;
  bool refuse_loads = false;  // every AddFontResource fails
  std::vector<String> calls;  // "+path" and "-path" in order
  int broadcasts = 0;
  int32_t broadcast_result = 1;
};

// A double for tests. It writes and reads ".FOT" files through the current Files service
// (e.g. a MemoryFileSystem), in the same form as the real one, with the names that
// SetFace scripted for the font's path (FontFilePath); a font without scripted names gives
// 2. Fail(n, error) makes the n-th call from now on (1 = the next) fail with `error`, writing
// nothing.
class FakeFontResource : public FontResource {
 public:
  struct Call {
    uint32_t hidden;
    String fot_path, font_file, directory;
  };

  FontResourceResult CreateScalableFontResource(uint32_t hidden, const String& fot_path,
                                                const String& font_file,
                                                const String& directory) override;
  uint32_t ReadFontResourceTarget(const String& fot_path, String& target) override;
  uint32_t FaceCount(const String& font_path, uint32_t& count) override;
  uint32_t FaceResourceBytes(const String& font_path, uint32_t face, std::string& bytes) override;

  void SetFace(const String& font_path, const SfntFace& face);
  // The fonts of a collection.
  void SetFaces(const String& font_path, const std::vector<SfntFace>& faces);
  void SetNames(const String& font_path, const String& full_name, const String& family,
                const String& style);
  void Fail(int call, uint32_t error);
  const std::vector<Call>& Calls() const { return calls_; }

 private:
  std::map<std::u16string, std::vector<SfntFace>> faces_;
  std::map<int, uint32_t> failures_;  // call number -> error
  std::vector<Call> calls_;
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_TESTING_FONTS_H_
