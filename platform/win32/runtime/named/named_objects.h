// Named objects of this process: name to object, and each object's tie to its files.
#pragma once

#include <string>

#include "platform/win32/runtime/kernel_object.h"
#include "platform/win32/runtime/named/life_line.h"
#include "platform/win32/runtime/named/shared_page.h"
#include "platform/win32/win32_types.h"

namespace zdr::platform {

// A mapped state page together with the life line that keeps it valid.
class SharedState {
 public:
  SharedState(SharedPage* page, LifeLine line) noexcept : page_(page), line_(std::move(line)) {}
  SharedState(SharedState&& other) noexcept
      : page_(std::exchange(other.page_, nullptr)), line_(std::move(other.line_)) {}
  SharedState& operator=(SharedState&&) = delete;
  ~SharedState();

  SharedPage& page() const noexcept { return *page_; }
  void join() noexcept { line_.join(); }

 private:
  SharedPage* page_;
  LifeLine line_;
};

struct NamedRequest {
  SharedKind kind;
  bool create;
  bool manual_reset = false;
  LONG initial = 0;  // event state, semaphore count
  LONG maximum = 1;
  bool owned = false;  // mutex: its creator owns it
};

// Finds, opens or makes the object. Error codes as CreateEventW; `existed` tells whether the creator's
// arguments were ignored. May throw bad_alloc.
DWORD open_named(LPCWSTR name, const NamedRequest& request, Ref<KernelObject>& object, bool& existed);

// Takes an object that is being destroyed off the list.
void forget_named(const std::string& key, const KernelObject* object) noexcept;

}  // namespace zdr::platform
