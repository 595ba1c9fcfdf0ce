// HTMLHelp: the versions of the help control and of the browser component, their names in
// words, and the check against a minimum.
#include <cstdio>

#include "borvane/automation/text.h"
#include "borvane/htmlhelp/html_help.h"
#include "borvane/platform/files/file_system.h"
#include "borvane/platform/files/version_info.h"

namespace borvane {

namespace {

// One release: its constant's value, the minimum text it asks for, and the version text and
// name of the friendly lookup. The minimum and the version text differ in many rows; both are
// used as written.
struct Release {
  int32_t value;
  const char* minimum;
  const char* version;
  const char* friendly;
};

constexpr Release kHHReleases[] = {
    {HH_1_0, "4.72.7290", "4.72.7290.00", "1.0"},
    {HH_1_1, "4.72.7323", "4.72.7323.00", "1.1"},
    {HH_1_1A, "4.72.7325", "4.72.7325.00", "1.1a"},
    {HH_1_1B, "4.72.8164.0", "4.72.8164.00", "1.1b"},
    {HH_1_2, "4.73.8252", "4.73.8252.00", "1.2"},
    {HH_1_21, "4.73.8412", "4.73.8412.00", "1.21"},
    {HH_1_21A, "4.73.8474", "4.73.8474.00", "1.21a"},
    {HH_1_22, "4.73.8561", "4.73.8561.00", "1.22"},
    {HH_1_3_WIN2K_BETA, "4.74.8566", "4.74.8566.00", "1.3 Windows 2000 Beta"},
    {HH_1_3_IE5_5_BETA, "4.74.8637", "4.74.8637.00", "1.3 IE 5.5 Platform Preview Beta"},
    {HH_1_3, "4.74.8702", "4.74.8702.00", "1.3"},
};

constexpr Release kIEReleases[] = {
    {IE_3_0, "4.70.1155", "4.70.1155.0000", "3.0"},
    {IE_3_0_OSR2, "4.70.1158", "4.70.1158.0000", "3.0 OSR2"},
    {IE_3_01, "4.70.1215", "4.70.1215.0000", "3.02"},
    {IE_3_02, "4.70.1300", "4.70.1300.0000", "3.02"},
    {IE_4_0_PP2, "4.71.1008.3", "4.71.1008.3000", "4.0 PP2"},
    {IE_4_0, "4.71.1712.5", "4.71.1712.5000", "4.0"},
    {IE_4_01, "4.72.2106.7", "4.72.2106.7000", "4.01"},
    {IE_4_01_SP1, "4.72.3110.03", "4.72.3110.0300", "4.0 SP1"},
    {IE_4_01_SP2, "4.72.3612.1707", "4.72.3612.1707", "4.0 SP2"},
    {IE_5_0_Beta1, "5.00.0518.5", "5.00.0518.5000", "5.0 beta 1"},
    {IE_5_0_Beta2, "5.00.0910.1308", "5.00.0910.1308", "5.0 beta 2"},
    {IE_5_0, "5.00.2014.213", "5.00.2014.2130", "5.0"},
    {IE_5_0A, "5.00.2314.1000", "5.00.2314.1000", "5.0a (Office 2000)"},
    {IE_5_0B, "5.00.2614.3500", "5.00.2614.3500", "5.0b (Windows 98 SE)"},
    {IE_5_0C, "5.0.2717.2000", "5.00.2717.2000", "5.0c (Icon Security Issue Update)"},
    {IE_5_0D, "5.00.2721.1400", "5.00.2721.1400", "5.0d (ImportExport Favorites Issue Update)"},
    {IE_5_Win2K_RC1, "5.00.2919.800", "5.00.2919.800", "5.x (Windows 2000 RC1, build 5.00.2072)"},
    {IE_5_Win2K_RC2, "5.00.2919.3800", "5.00.2919.3800", "5.x (Windows 2000 RC2, build 5.00.2128)"},
    {IE_5_01, "5.00.2919.6307", "5.00.2919.6307", "5.01"},
    {IE_5_5_PLAT_PREV, "5.50.3825.1300", "5.50.3825.1300", "5.5 Platform Preview"},
};

// Where each component is registered, and what is said when it is not there.
struct Component {
  const char* key;
  const char* not_registered;
  const char* missing;
};

constexpr Component kControl = {
    "CLSID\\{4662DAB0-D393-11D0-9A56-00C04FB68B66}\\InprocServer32",
    "Hhctrl.ocx is not registered.  Please install HTML Help.",
    "Hhctrl.ocx is not in its registered location.  Please reinstall HTML Help."};
constexpr Component kBrowser = {
    "CLSID\\{0A89A860-D7B1-11CE-8350-444553540000}\\InProcServer32",
    "Shdocvw.dll is not registered.  Please install Internet Explorer.",
    "Internet Explorer is not in its registered location.  Please reinstall Internet Explorer."};

// Reads the component's version text into `text`; a message and no change when it is not there.
void ReadVersion(const Component& c, String& text) {
  RegValueEntry entry = HTMLHelp::QueryRegValue("HKCR", c.key, String());
  if (entry.Value.empty()) {
    HTMLHelp::ShowErrorMessage(String(c.not_registered));
    return;
  }
  String path(entry.Value.view().substr(1));
  path = HTMLHelp::GetLongFileName(HTMLHelp::StripNulls(path));
  if (platform::FindFirstFile(path).empty()) {
    HTMLHelp::ShowErrorMessage(String(c.missing));
    return;
  }
  text = HTMLHelp::GetFileVersionString(path);
}

template <size_t N>
String FriendlyName(const Release (&table)[N], const String& version) {
  String upper = UCase(version);
  for (const Release& r : table)
    if (upper == UCase(String(r.version))) return String(r.friendly);
  return String("unknown");
}

// Compares as text, not as numbers; a value outside the table sets the text to "unknown".
template <size_t N>
bool Passes(const Release (&table)[N], int32_t minimum, String& version) {
  for (const Release& r : table)
    if (r.value == minimum) return StrComp(version, String(r.minimum), vbTextCompare) >= 0;
  version = String("unknown");
  return false;
}

// The number in the format "00" (or "0000"): at least that many digits.
std::string Digits(int16_t n, int width) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, n < 0 ? "-%0*d" : "%0*d", width, n < 0 ? -n : n);
  return buffer;
}

}  // namespace

String HTMLHelp::GetFileVersionString(const String& path) {
  uint32_t size = platform::Versions().BlockSize(path);
  if (size > 64000) size = 64000;
  std::string block;
  platform::VS_FIXEDFILEINFO fixed;
  if (size == 0 || !platform::Versions().Block(path, size, block) ||
      !platform::QueryFixedRecord(block, fixed))
    return String();
  auto a = static_cast<int16_t>(fixed.dwFileVersionMS >> 16);
  auto b = static_cast<int16_t>(fixed.dwFileVersionMS & 0xFFFF);
  auto c = static_cast<int16_t>(fixed.dwFileVersionLS >> 16);
  auto d = static_cast<int16_t>(fixed.dwFileVersionLS & 0xFFFF);
  std::string text = std::to_string(a) + "." + Digits(b, 2) + ".";
  text += c > 0 ? Digits(c, 2) + "." + Digits(d, 2) : Digits(d, 4);
  return String(text.c_str());
}

void HTMLHelp::ReadHHVersion() {
  ReadVersion(kControl, hh_version_);
}

void HTMLHelp::ReadIEVersion() {
  ReadVersion(kBrowser, ie_version_);
}

void HTMLHelp::ResolveHHFriendlyName() {
  if (hh_version_.empty()) ReadHHVersion();
  hh_friendly_ = FriendlyName(kHHReleases, hh_version_);
}

void HTMLHelp::ResolveIEFriendlyName() {
  if (ie_version_.empty()) ReadIEVersion();
  ie_friendly_ = FriendlyName(kIEReleases, ie_version_);
}

bool HTMLHelp::GetHHInstalled() {
  installed_ = RegKeyExists("SOFTWARE\\Classes\\TypeLib\\{ADB880A2-D8FF-11CF-9377-00AA003B7A11}");
  return installed_;
}

// The four reads let no failure out: the caller gets what is stored at that moment.
String HTMLHelp::GetHHVersion() {
  try {
    ReadHHVersion();
  } catch (...) {
  }
  return hh_version_;
}

String HTMLHelp::GetIEVersion() {
  try {
    ReadIEVersion();
  } catch (...) {
  }
  return ie_version_;
}

String HTMLHelp::GetHHFriendlyName() {
  try {
    ResolveHHFriendlyName();
  } catch (...) {
  }
  return hh_friendly_;
}

String HTMLHelp::GetIEFriendlyName() {
  try {
    ResolveIEFriendlyName();
  } catch (...) {
  }
  return ie_friendly_;
}

bool HTMLHelp::HHVerifyMinConfig(HHVersion& MinHHVersion, IEVersion& MinIEVersion) {
  ReadHHVersion();
  ReadIEVersion();
  bool hh = Passes(kHHReleases, MinHHVersion, hh_version_);
  bool ie = Passes(kIEReleases, MinIEVersion, ie_version_);
  ResolveHHFriendlyName();
  ResolveIEFriendlyName();
  return hh && ie;
}

}  // namespace borvane
