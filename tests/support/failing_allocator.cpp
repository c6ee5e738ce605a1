// Global operator new and delete, with a switch for each thread.
#include "tests/support/failing_allocator.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace zdr::test {
namespace {

struct Watch {
  bool active = false;
  uint64_t failing = 0;
  uint64_t count = 0;
  size_t largest = 0;
};
thread_local Watch watch;

bool fails(size_t size) {
  if (!watch.active) return false;
  watch.largest = std::max(watch.largest, size);
  return ++watch.count == watch.failing;
}

void* allocate(size_t size) {
  return fails(size) ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* allocate_aligned(size_t size, std::align_val_t alignment) {
  const auto unit = static_cast<size_t>(alignment);
  return fails(size) ? nullptr : std::aligned_alloc(unit, (size + unit - 1) / unit * unit);
}

}  // namespace

FailingAllocator::FailingAllocator(uint64_t failing_allocation) {
  watch = {.active = true, .failing = failing_allocation, .count = 0, .largest = 0};
}
FailingAllocator::~FailingAllocator() {
  watch = {};
}
uint64_t FailingAllocator::count() const {
  return watch.count;
}
size_t FailingAllocator::largest() const {
  return watch.largest;
}
bool FailingAllocator::triggered() const {
  return watch.failing != 0 && watch.count >= watch.failing;
}

}  // namespace zdr::test

void* operator new(size_t size) {
  void* const memory = zdr::test::allocate(size);
  return memory != nullptr ? memory : throw std::bad_alloc();
}
void* operator new[](size_t size) {
  return ::operator new(size);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return zdr::test::allocate(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return zdr::test::allocate(size);
}
void* operator new(size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return zdr::test::allocate_aligned(size, alignment);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
