// HTMLHelp: the front end to the HTML help viewer.
//
// Its help members (session settings, display calls, popups, registration and version
// detection) are not part of this library yet; the class is here so that the class table and
// the factory are complete.
#ifndef BORVANE_HTMLHELP_HTML_HELP_H_
#define BORVANE_HTMLHELP_HTML_HELP_H_

#include "borvane/automation/binding.h"

namespace borvane {

class HTMLHelp : public Dispatchable<HTMLHelp> {
 public:
  static constexpr const char* kClassName = "HTMLHelp";
  static void Describe(ClassBuilder<HTMLHelp>& b);
};

}  // namespace borvane

#endif  // BORVANE_HTMLHELP_HTML_HELP_H_
