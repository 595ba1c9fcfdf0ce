// Arbitrary bytes as an INI file: the profile readers and writer, and Inifile reading and
// writing it, must neither crash nor leak.
#include <cstddef>
#include <cstdint>
#include <string>

#include "borvane/automation/error.h"
#include "borvane/ini/inifile.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/files/profile.h"
#include "borvane/platform/testing/files.h"

using namespace borvane;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
  platform::MemoryFileSystem fs;
  platform::ScopedService<platform::FileSystem> scope(fs);
  fs.Put("/f/a.ini", bytes);
  platform::FileProfile profile;
  platform::ScopedService<platform::PrivateProfile> profile_scope(profile);
  // A small buffer too, so that the cut lists are exercised.
  for (uint32_t buffer_size : {32767u, 7u, 2u, 1u}) {
    std::string buffer(buffer_size, '\0');
    profile.GetSectionNames(buffer.data(), buffer_size, "/f/a.ini");
    profile.GetSection(String::FromUtf8(bytes.substr(0, 8)), buffer.data(), buffer_size,
                       "/f/a.ini");
  }
  auto ini = MakeRef<Inifile>();
  String path = "/f/a.ini";
  try {
    ini->ReadIniFile(path);
  } catch (const Error&) {
    // A line without "=" stops the read with error 9; what came before stays.
  }
  try {
    ini->WriteIniFile(path);
    ini->ReadIniFile(path);
  } catch (const Error&) {
  }
  return 0;
}
