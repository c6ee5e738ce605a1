// The state of a named object, in a file mapped by every process that has the object open.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "platform/win32/runtime/futex.h"

namespace zdr::platform {

enum class SharedKind : uint32_t { kEvent = 1, kSemaphore = 2, kMutex = 3 };

// One waiting thread of any process. It holds `life` while it waits, so that a killed waiter is known as dead
// (the kernel then marks the mutex) and no signal is handed to it.
struct SharedWaiter {
  static constexpr uint32_t kFree = 0;
  static constexpr uint32_t kWaiting = 1;
  static constexpr uint32_t kGranted = 2;

  FutexWord state;
  uint64_t ticket;  // order of arrival
  pthread_mutex_t life;
};

struct SharedPage {
  static constexpr uint32_t kMagic = 0x4A4F5A44;
  static constexpr uint32_t kVersion = 1;
  static constexpr size_t kNameBytes = 1280;
  static constexpr size_t kWaiters = 64;

  uint32_t magic;
  uint32_t version;
  SharedKind kind;
  uint32_t manual_reset;
  int32_t maximum;
  uint32_t name_length;
  char name[kNameBytes];  // session and name, against a clash of hashes

  // Robust. Guards what follows; for a mutex it is the mutex itself.
  pthread_mutex_t guard;
  std::atomic<int32_t> count;  // an event's state, a semaphore's count
  uint32_t abandoned;          // the mutex's last owner thread ended while its process went on
  // Counts state changes, for waits that involve several objects.
  FutexWord pulse;
  std::atomic<uint32_t> pulse_watchers;  // a killed watcher stays counted, which costs only spare wake-ups
  uint64_t next_ticket;
  SharedWaiter waiters[kWaiters];
};

}  // namespace zdr::platform
