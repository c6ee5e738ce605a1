// FaultAt: makes the Nth call at one fault point fail, during the life of the object.
#pragma once

#include <atomic>

#include "platform/win32/fault_injection.h"

namespace zdr::test {

class FaultAt {
 public:
  // `nth` counts from 1.
  FaultAt(zdr::platform::FaultPoint point, int nth) : point_(point), left_(nth) {
    zdr::platform::set_fault_hook(&FaultAt::decide, this);
  }
  ~FaultAt() { zdr::platform::set_fault_hook(nullptr, nullptr); }
  FaultAt(const FaultAt&) = delete;
  FaultAt& operator=(const FaultAt&) = delete;

  // True if the Nth call has been made.
  bool triggered() const { return left_ <= 0; }

 private:
  static bool decide(zdr::platform::FaultPoint point, void* self) {
    auto& fault = *static_cast<FaultAt*>(self);
    return point == fault.point_ && --fault.left_ == 0;
  }

  const zdr::platform::FaultPoint point_;
  std::atomic<int> left_;
};

}  // namespace zdr::test
