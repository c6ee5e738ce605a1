// ComPtr: one reference on a COM interface, released when it leaves scope.
#pragma once

#include <utility>

#include "unknwn.h"

namespace zdr::com {

template <class Interface>
class ComPtr {
 public:
  ComPtr() noexcept = default;
  // Adds a reference; null is allowed.
  explicit ComPtr(Interface* pointer) : pointer_(pointer) {
    if (pointer_ != nullptr) pointer_->AddRef();
  }
  ComPtr(const ComPtr& other) : ComPtr(other.pointer_) {}
  ComPtr(ComPtr&& other) noexcept : pointer_(other.detach()) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }
  ~ComPtr() { reset(); }

  void reset() {
    if (Interface* old = detach(); old != nullptr) old->Release();
  }
  // Returns the pointer with its reference, which is now the caller's.
  [[nodiscard]] Interface* detach() noexcept { return std::exchange(pointer_, nullptr); }

  Interface* get() const noexcept { return pointer_; }
  Interface* operator->() const noexcept { return pointer_; }
  explicit operator bool() const noexcept { return pointer_ != nullptr; }

  // For functions that return a reference through an out-argument.
  Interface** out() {
    reset();
    return &pointer_;
  }
  void** out_void() { return reinterpret_cast<void**>(out()); }

 private:
  Interface* pointer_ = nullptr;
};

}  // namespace zdr::com
