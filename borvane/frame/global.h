// Global: the module variables that Doc and DocNode share on one thread.
#ifndef BORVANE_FRAME_GLOBAL_H_
#define BORVANE_FRAME_GLOBAL_H_

#include "borvane/automation/string.h"

namespace borvane {

// The text between node names in DocNode.Path; "//" until a Doc changes it. One value per
// thread, shared by every Doc and DocNode of that thread.
String& gstrPathSeparator();

}  // namespace borvane

#endif  // BORVANE_FRAME_GLOBAL_H_
