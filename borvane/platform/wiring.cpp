// Where the real services are put together. A service may stand only on the folders below its
// own (README.md), so a real service that needs one above it is assembled here: the registry
// store shows the installed fonts and the help keys, and the help control is the help viewer.
#include "borvane/platform/fonts/font_catalog.h"
#include "borvane/platform/help/help_control.h"
#include "borvane/platform/help/help_keys.h"
#include "borvane/platform/help/help_viewer.h"
#include "borvane/platform/registry/registry_sqlite.h"

namespace borvane::platform {

RegistryStore& RegistryStore::Real() {
  // Never destroyed: other services' static objects may still read it while the process ends.
  static SqliteRegistry* registry = [] {
    auto* r = new SqliteRegistry(RegistryDatabasePath(), EarlierRegistryTextPath());
    AddSystemComputedKeys(*r);
    AddHelpComputedKeys(*r);
    return r;
  }();
  return *registry;
}

HelpControl& HelpControl::Real() {
  static HelpViewer viewer;
  return viewer;
}

}  // namespace borvane::platform
