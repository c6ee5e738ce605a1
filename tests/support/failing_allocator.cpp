// Global operator new and delete, with a switch for each thread.
#include "tests/support/failing_allocator.h"

#include <cstdlib>
#include <new>

namespace zdr::test {
namespace {

void* allocate(size_t size) {
  return FailingAllocator::fails(size) ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* allocate_aligned(size_t size, std::align_val_t alignment) {
  const auto unit = static_cast<size_t>(alignment);
  return FailingAllocator::fails(size) ? nullptr : std::aligned_alloc(unit, (size + unit - 1) / unit * unit);
}

}  // namespace

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
