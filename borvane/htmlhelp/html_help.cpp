#include "borvane/htmlhelp/html_help.h"

#include "borvane/frame/class_table.h"

namespace borvane {

void HTMLHelp::Describe(ClassBuilder<HTMLHelp>& b) {
  b.Creatable().Order(kOrderHTMLHelp).Ids(ClassId(kOrderHTMLHelp), InterfaceId(kOrderHTMLHelp));
}

BORVANE_REGISTER_CLASS(HTMLHelp)

}  // namespace borvane
