// Critical sections: a recursive mutex inside the caller's opaque storage.
#include <pthread.h>

#include <new>

#include "platform/win32/win32_sync.h"

namespace {

static_assert(sizeof(pthread_mutex_t) <= sizeof(CRITICAL_SECTION));
static_assert(alignof(pthread_mutex_t) <= alignof(CRITICAL_SECTION));

pthread_mutex_t* mutex_of(LPCRITICAL_SECTION section) noexcept {
  return reinterpret_cast<pthread_mutex_t*>(section->opaque);
}

}  // namespace

void InitializeCriticalSection(LPCRITICAL_SECTION section) noexcept {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(mutex_of(section), &attributes);
  pthread_mutexattr_destroy(&attributes);
}

void EnterCriticalSection(LPCRITICAL_SECTION section) noexcept {
  pthread_mutex_lock(mutex_of(section));
}

void LeaveCriticalSection(LPCRITICAL_SECTION section) noexcept {
  pthread_mutex_unlock(mutex_of(section));
}

void DeleteCriticalSection(LPCRITICAL_SECTION section) noexcept {
  pthread_mutex_destroy(mutex_of(section));
}
