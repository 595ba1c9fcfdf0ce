// Inifile: an INI file held in memory as a tree of sections and keys, with reading and
// writing of the file and access to values by name.
//
// Files are read and written only through the platform's private profile functions, so what
// survives a round trip is what the tree holds: section and key order and the first spelling
// of each name; no comments, blank lines, repeated keys, or sections without keys. Text
// crosses in the file's own code page (platform/files/text_encoding.h), which a written file
// keeps, with its byte-order mark.
#ifndef BORVANE_INI_INIFILE_H_
#define BORVANE_INI_INIFILE_H_

#include "borvane/ini/ini_file_sections.h"

namespace borvane {

// Number of the errors Inifile raises on its own.
inline constexpr int32_t kIniErrorNumber = 30000;

class Inifile : public Dispatchable<Inifile> {
 public:
  static constexpr const char* kClassName = "Inifile";
  static void Describe(ClassBuilder<Inifile>& b);

  // The tree's root, made empty at the first read.
  Ref<IniFileSections> Sections();
  // Nothing makes the next read start a new, empty tree.
  void SetSections(const Ref<IniFileSections>& value) { mobjSections = value; }

  // Replaces the file at strPath by the tree. An existing file is first copied to a new
  // temporary file and deleted; on any failure that copy is copied back, and the error leaves
  // with its own Number and Description and the Source "Inifile:WriteInifile" (or, when the
  // copy back fails too, as that copy's own error). strPath comes back as the code page of
  // file names holds it (UTF-8: nothing is lost).
  void WriteIniFile(String& strPath);
  // Adds the file's content to the tree (known keys take the file's value). 30000 "File not
  // found" with "IniFile:ReadIniFile" when there is no normal file at strPath; 9 for a key
  // line without "=", with what was read before it left in the tree. The file's limits of
  // 32767 characters are in bytes of its code page.
  void ReadIniFile(String& strPath);

  // Sets a key in the tree, making its section and itself if needed.
  Ref<IniFileKey> WriteKey(String& Section, String& Key, String& Value);
  // The key's value; the empty String for a missing section or key.
  String GetKeyValue(String& Section, String& Key);
  // The section's keys joined by Delimiter: "name=value" each, or the values alone when
  // Keyless. The empty String for a missing section; 9 for a section without keys.
  String GetSection(String& Section, String& Delimiter, bool& Keyless);
  // Replaces the section by a new one at the end, filled from sKeys split at Delimiter. Each
  // key is stored under its name with a running number ("a1", "a2"; "1", "2" when Keyless).
  // Keyed pieces must hold "=" (30000 "No valid string" with "IniFile:WriteSection method"),
  // and names and values lose surrounding spaces.
  Ref<IniFileSection> WriteSection(String& Section, String& sKeys, String& Delimiter,
                                   bool& Keyless);

 private:
  String GetTempFolderPath();
  String GetTempFilePath();

  Ref<IniFileSections> mobjSections;
};

}  // namespace borvane

#endif  // BORVANE_INI_INIFILE_H_
