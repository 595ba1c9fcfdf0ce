#include "borvane/platform/testing/fonts.h"

#include "borvane/automation/error.h"
#include "borvane/platform/fonts/font_resource_file.h"

namespace borvane::platform {

int32_t RecordingFontLoader::AddFontResource(const String& path) {
  calls.push_back(String("+") + path);
  if (refuse_loads || refused.count(path.str())) return 0;
  loaded.insert(path.str());
  return 1;
}

int32_t RecordingFontLoader::RemoveFontResource(const String& path) {
  calls.push_back(String("-") + path);
  if (refused.count(path.str())) return 0;
  loaded.erase(path.str());
  return 1;
}

FontResourceResult FakeFontResource::CreateScalableFontResource(uint32_t hidden,
                                                                const String& fot_path,
                                                                const String& font_file,
                                                                const String& directory) {
  calls_.push_back({hidden, fot_path, font_file, directory});
  auto failure = failures_.find(static_cast<int>(calls_.size()));
  if (failure != failures_.end()) return {false, failure->second};
  std::string existing;
  if (Files().ReadFile(fot_path, existing) == 0) return {false, kWinFileExists};
  auto face = faces_.find(FontFilePath(font_file, directory).str());
  if (face == faces_.end()) return {false, kWinFileNotFound};
  const String description = SfntListName(face->second);
  std::string bytes = BuildFontResourceFile(face->second[0], hidden != 0, font_file, &description);
  if (int32_t e = Files().WriteFile(fot_path, bytes)) return {false, FromFileError(e)};
  return {true, 0};
}

uint32_t FakeFontResource::ReadFontResourceTarget(const String& fot_path, String& target) {
  std::string bytes;
  if (int32_t e = Files().ReadFile(fot_path, bytes)) return FromFileError(e);
  std::optional<String> t = FontResourceTarget(bytes);
  if (!t) return kWinInvalidData;
  target = *t;
  return 0;
}

uint32_t FakeFontResource::FaceCount(const String& font_path, uint32_t& count) {
  auto faces = faces_.find(font_path.str());
  if (faces == faces_.end()) return kWinFileNotFound;
  count = static_cast<uint32_t>(faces->second.size());
  return 0;
}

uint32_t FakeFontResource::FaceResourceBytes(const String& font_path, uint32_t face,
                                             std::string& bytes) {
  auto faces = faces_.find(font_path.str());
  if (faces == faces_.end()) return kWinFileNotFound;
  if (face >= faces->second.size()) return kWinInvalidData;
  bytes = BuildFontResourceFile(faces->second[face], false, font_path);
  return 0;
}

void FakeFontResource::SetFace(const String& font_path, const SfntFace& face) {
  faces_[font_path.str()] = {face};
}

void FakeFontResource::SetFaces(const String& font_path, const std::vector<SfntFace>& faces) {
  faces_[font_path.str()] = faces;
}

void FakeFontResource::SetNames(const String& font_path, const String& full_name,
                                const String& family, const String& style) {
  SfntFace face;
  face.full_name = full_name;
  face.family = family;
  face.style = style;
  SetFace(font_path, face);
}

void FakeFontResource::Fail(int call, uint32_t error) {
  failures_[static_cast<int>(calls_.size()) + call] = error;
}

}  // namespace borvane::platform
