// A reference to a COM object that releases itself.
#pragma once

#include <objbase.h>

#include <utility>

template <class Interface>
class ComRef {
 public:
  ComRef() = default;
  // Takes over a reference that the caller has.
  explicit ComRef(Interface* owned) noexcept : object_(owned) {}
  ComRef(ComRef&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComRef& operator=(ComRef&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ComRef() { reset(); }

  void reset() noexcept {
    if (Interface* old = std::exchange(object_, nullptr)) old->Release();
  }
  Interface* get() const noexcept { return object_; }
  Interface* operator->() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  // For out-arguments; drops what was held.
  Interface** out() noexcept {
    reset();
    return &object_;
  }
  void** out_void() noexcept { return reinterpret_cast<void**>(out()); }

 private:
  Interface* object_ = nullptr;
};
