// Interlocked operations: sequentially consistent. Increment and Decrement give the new value, the others the
// old.
#pragma once

#include "win32_types.h"

static inline LONG InterlockedIncrement(volatile LONG* value) ZDR_NOEXCEPT {
  return __atomic_add_fetch(value, 1, __ATOMIC_SEQ_CST);
}
static inline LONG InterlockedDecrement(volatile LONG* value) ZDR_NOEXCEPT {
  return __atomic_sub_fetch(value, 1, __ATOMIC_SEQ_CST);
}
static inline LONG InterlockedExchange(volatile LONG* target, LONG value) ZDR_NOEXCEPT {
  return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}
static inline LONG InterlockedExchangeAdd(volatile LONG* target, LONG value) ZDR_NOEXCEPT {
  return __atomic_fetch_add(target, value, __ATOMIC_SEQ_CST);
}
static inline LONG InterlockedCompareExchange(volatile LONG* target, LONG value, LONG expected) ZDR_NOEXCEPT {
  __atomic_compare_exchange_n(target, &expected, value, 0, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return expected;
}
static inline LONGLONG InterlockedCompareExchange64(volatile LONGLONG* target, LONGLONG value,
                                                    LONGLONG expected) ZDR_NOEXCEPT {
  __atomic_compare_exchange_n(target, &expected, value, 0, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return expected;
}
static inline PVOID InterlockedExchangePointer(PVOID volatile* target, PVOID value) ZDR_NOEXCEPT {
  return __atomic_exchange_n(target, value, __ATOMIC_SEQ_CST);
}
static inline PVOID InterlockedCompareExchangePointer(PVOID volatile* target, PVOID value,
                                                      PVOID expected) ZDR_NOEXCEPT {
  __atomic_compare_exchange_n(target, &expected, value, 0, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
  return expected;
}
