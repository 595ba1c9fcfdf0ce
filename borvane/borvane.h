// The public API of the Borvane library.
#ifndef BORVANE_BORVANE_H_
#define BORVANE_BORVANE_H_

#include "borvane/automation/binding.h"
#include "borvane/automation/codepage.h"
#include "borvane/automation/collection.h"
#include "borvane/automation/convert.h"
#include "borvane/automation/dispatch.h"
#include "borvane/automation/error.h"
#include "borvane/automation/object.h"
#include "borvane/automation/string.h"
#include "borvane/automation/text.h"
#include "borvane/automation/typeinfo.h"
#include "borvane/automation/variant.h"

#endif  // BORVANE_BORVANE_H_
