#include "borvane/frame/status_callback.h"

#include "borvane/frame/class_table.h"

namespace borvane {

void IStatusCallBack::Describe(ClassBuilder<IStatusCallBack>& b) {
  b.Creatable()
      .Order(kOrderIStatusCallBack)
      .Ids("{B0A7A1E0-0000-4B00-8000-000000000012}", "{B0A7A1E1-0000-4B00-8000-000000000012}")
      .Method("Progress", &IStatusCallBack::Progress,
              {"Percentage", "Cancel", Opt("RemainingTimeMSec", int32_t{-1})})
      .Method("Message", &IStatusCallBack::Message, {"Text", "Cancel"});
}

BORVANE_REGISTER_CLASS(IStatusCallBack)

}  // namespace borvane
