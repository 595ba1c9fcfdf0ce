// IStatusCallBack: an interface for reporting progress and messages, with a way to cancel.
// Both operations are empty here; a caller's own object may implement them. No code of the
// library calls it.
#ifndef BORVANE_FRAME_STATUS_CALLBACK_H_
#define BORVANE_FRAME_STATUS_CALLBACK_H_

#include "borvane/automation/binding.h"

namespace borvane {

class IStatusCallBack : public Dispatchable<IStatusCallBack> {
 public:
  static constexpr const char* kClassName = "IStatusCallBack";
  static void Describe(ClassBuilder<IStatusCallBack>& b);

  // Reports a percentage; the callee may set Cancel. RemainingTimeMSec defaults to -1.
  void Progress(int32_t Percentage, bool& Cancel, int32_t& RemainingTimeMSec) {
    (void)Percentage, (void)Cancel, (void)RemainingTimeMSec;
  }
  // Reports a line of text; the callee may set Cancel.
  void Message(String& Text, bool& Cancel) { (void)Text, (void)Cancel; }
};

}  // namespace borvane

#endif  // BORVANE_FRAME_STATUS_CALLBACK_H_
