// Makes calls of the platform fail: a hook that is called at every fault point, and FaultAt, which makes the
// Nth call at one point fail.
#pragma once

#include <atomic>

#include "platform/win32/fault_injection.h"

namespace zdr::test {

// Returns true to make the call fail.
using FaultHook = bool (*)(zdr::platform::FaultPoint point, void* context);

namespace detail {
inline std::atomic<FaultHook> fault_hook{nullptr};
inline std::atomic<void*> fault_context{nullptr};
}  // namespace detail

// Null removes the hook. No other thread may be inside the platform during the call.
inline void set_fault_hook(FaultHook hook, void* context) {
  detail::fault_context = context;
  detail::fault_hook = hook;
}

}  // namespace zdr::test

// Found by the platform library and by modules when they are loaded.
extern "C" [[gnu::used]] inline bool zdr_fault_hook(zdr::platform::FaultPoint point) noexcept {
  const zdr::test::FaultHook hook = zdr::test::detail::fault_hook;
  return hook != nullptr && hook(point, zdr::test::detail::fault_context);
}

namespace zdr::test {

// While it exists, the Nth call at the point fails.
class FaultAt {
 public:
  // `nth` counts from 1.
  FaultAt(zdr::platform::FaultPoint point, int nth) : point_(point), left_(nth) {
    set_fault_hook(&FaultAt::decide, this);
  }
  ~FaultAt() { set_fault_hook(nullptr, nullptr); }
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
