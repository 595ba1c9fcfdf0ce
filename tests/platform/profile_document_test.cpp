// The INI document behind the profile functions on its own: what it keeps of a file it did
// not change, and the edits that reach into the file's awkward corners.
#include "borvane/platform/files/profile_document.h"

#include <gtest/gtest.h>

#include <string>

namespace borvane::platform {
namespace {

using namespace std::string_literals;

std::string Names(const ProfileDocument& d) {
  char buffer[256];
  uint32_t n = d.SectionNames(buffer, sizeof buffer);
  std::string out(buffer, n);
  for (char& c : out)
    if (c == '\0') c = '|';
  return out;
}

std::string Section(const ProfileDocument& d, const char* name) {
  char buffer[256];
  uint32_t n = d.Section(name, buffer, sizeof buffer);
  std::string out(buffer, n);
  for (char& c : out)
    if (c == '\0') c = '|';
  return out;
}

TEST(ProfileDocument, AFileNotEditedComesBackByteForByte) {
  for (const std::string& file : {"[a]\r\nk=1\rj=2\n\n;c\r\n[b"s, "\xEF\xBB\xBF[s]\nk=\x00v\n"s,
                                  "no header\n=\n[]\n"s, std::string(100'000, 'x') + "\n[z]"}) {
    ProfileDocument d(file);
    EXPECT_FALSE(d.Modified());
    EXPECT_EQ(d.Serialize(), file);
  }
}

TEST(ProfileDocument, HeadersLinesAndRepeatedNames) {
  ProfileDocument d("top=1\n[ A ]x\nk = v \nbare line\n;k=comment\n[b]\n[a]\nk=second\n[c");
  // A header runs to its first "]", or to the end of its line; a later copy of a name reads
  // as its first.
  EXPECT_EQ(Names(d), "A|b|a|c|");
  EXPECT_EQ(Section(d, "a"), "k=v|bare line|");
  // An edit goes to the first copy, and the lines around it stay as they were.
  const std::string key = "K", value = "new";
  d.Write("a", &key, &value);
  EXPECT_EQ(d.Serialize(), "top=1\n[ A ]x\nk=new\nbare line\n;k=comment\n[b]\n[a]\nk=second\n[c");
  // Removing the first copy of a key lets nothing else answer in its section.
  d.Write("A", &key, nullptr);
  EXPECT_EQ(Section(d, "a"), "bare line|");
  // Removing a section removes its first copy; the next one then answers.
  d.Write("a", nullptr, nullptr);
  EXPECT_EQ(Names(d), "b|a|c|");
  EXPECT_EQ(Section(d, "a"), "k=second|");
  // A section that ends the file without a line end gets one before what is added behind it.
  const std::string j = "j";
  d.Write("c", &j, &value);
  EXPECT_EQ(d.Serialize(), "top=1\n[b]\n[a]\nk=second\n[c\nj=new\n");
}

}  // namespace
}  // namespace borvane::platform
