// Reference times: 100 ns units, and the constants that convert them.
#pragma once

#include <windows.h>

inline constexpr LONGLONG MILLISECONDS = 1000;        // per second
inline constexpr LONGLONG NANOSECONDS = 1000000000;   // per second
inline constexpr LONGLONG UNITS = NANOSECONDS / 100;  // reference time units per second
inline constexpr REFERENCE_TIME MAX_TIME = INT64_MAX;

// A reference time with conversions; the plain number is its only data.
class CRefTime {
 public:
  REFERENCE_TIME m_time = 0;

  constexpr CRefTime() noexcept = default;
  // From milliseconds: the 32-bit type tells the units apart.
  constexpr CRefTime(LONG milliseconds) noexcept : m_time(milliseconds * (UNITS / MILLISECONDS)) {}
  constexpr CRefTime(REFERENCE_TIME time) noexcept : m_time(time) {}

  constexpr operator REFERENCE_TIME() const noexcept { return m_time; }
  constexpr CRefTime& operator+=(const CRefTime& other) noexcept { return m_time += other.m_time, *this; }
  constexpr CRefTime& operator-=(const CRefTime& other) noexcept { return m_time -= other.m_time, *this; }

  constexpr LONG Millisecs() const noexcept { return static_cast<LONG>(m_time / (UNITS / MILLISECONDS)); }
  constexpr LONGLONG GetUnits() const noexcept { return m_time; }
};
