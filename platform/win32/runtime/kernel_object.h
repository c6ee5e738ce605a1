// Base of every object that a HANDLE names: its kind and an intrusive reference count.
// A slot of the handle table holds one reference, a running thread one to its own object.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

namespace zdr::platform {

enum class ObjectKind : uint8_t { kFile, kEvent, kMutex, kThread };

class KernelObject {
 public:
  KernelObject(const KernelObject&) = delete;
  KernelObject& operator=(const KernelObject&) = delete;

  ObjectKind kind() const noexcept { return kind_; }

  void add_reference() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

 protected:
  explicit KernelObject(ObjectKind kind) noexcept : kind_(kind) {}
  virtual ~KernelObject() = default;

 private:
  std::atomic<uint32_t> references_{1};
  const ObjectKind kind_;
};

// Owns one reference. Constructed from a raw pointer, it takes over the caller's reference.
template <class T>
class Ref {
 public:
  Ref() noexcept = default;
  explicit Ref(T* adopted) noexcept : object_(adopted) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ref& operator=(Ref&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (object_ != nullptr) object_->release();
  }

  static Ref share(T* object) noexcept {
    object->add_reference();
    return Ref(object);
  }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }
  T* detach() noexcept { return std::exchange(object_, nullptr); }

 private:
  T* object_ = nullptr;
};

}  // namespace zdr::platform
