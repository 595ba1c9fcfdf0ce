// The registry keys through which the help viewer built into the library stands as the
// installed help control and browser component: their classes' server files and the help
// control's type library, with the version records of those files.
#ifndef BORVANE_PLATFORM_HELP_HELP_KEYS_H_
#define BORVANE_PLATFORM_HELP_HELP_KEYS_H_

#include "borvane/platform/registry/registry.h"

namespace borvane::platform {

// Adds the keys to `store` (made when read, never stored) and gives the two files their
// version records. The help control's file is the library's own (version 4.74.8702.0); the
// browser component's is the help server program (5.50.3825.1300), which is missing only
// where the library was installed without it.
void AddHelpComputedKeys(RegistryStore& store);

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_HELP_HELP_KEYS_H_
