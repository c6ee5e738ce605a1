// A file descriptor that closes itself.
#pragma once

#include <unistd.h>

#include <utility>

namespace zdr::platform {

class Descriptor {
 public:
  Descriptor() noexcept = default;
  explicit Descriptor(int number) noexcept : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }

  int get() const noexcept { return number_; }
  int release() noexcept { return std::exchange(number_, -1); }
  explicit operator bool() const noexcept { return number_ >= 0; }

 private:
  int number_ = -1;
};

}  // namespace zdr::platform
