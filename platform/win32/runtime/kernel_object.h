// Base of everything behind a HANDLE: a kind and an intrusive reference count.
// A handle-table slot holds one reference; threads, owners and waiters hold their own where they need one.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

namespace zdr::platform {

enum class ObjectKind : uint8_t {
  kFile,
  // Waitable, process-local:
  kEvent,
  kMutex,
  kSemaphore,
  kThread,
  // Waitable, named, shared between processes:
  kSharedSignal,
  kSharedMutex,
};

class KernelObject {
 public:
  KernelObject(const KernelObject&) = delete;
  KernelObject& operator=(const KernelObject&) = delete;

  ObjectKind kind() const noexcept { return kind_; }

  void add_reference() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept {
    if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  // For tables that list objects without keeping them alive: false when the last reference is already gone.
  bool try_add_reference() noexcept {
    uint32_t count = references_.load(std::memory_order_relaxed);
    while (count != 0) {
      if (references_.compare_exchange_weak(count, count + 1, std::memory_order_acquire)) return true;
    }
    return false;
  }

 protected:
  explicit KernelObject(ObjectKind kind) noexcept : kind_(kind) {}
  virtual ~KernelObject() = default;

 private:
  std::atomic<uint32_t> references_{1};
  const ObjectKind kind_;
};

// Owns one reference. Constructed from a raw pointer it takes over the reference that the pointer stands for.
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
