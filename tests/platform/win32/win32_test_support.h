// What several Win32 tests need.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <optional>
#include <string>
#include <thread>

#include "mediakit/files/temp_folder.h"

namespace zdr::platform::test {

// A value no function sets: shows whether a call touched the last error.
constexpr DWORD kUntouched = 0xABCD;

inline std::u16string wide(const std::string& ascii) {
  return {ascii.begin(), ascii.end()};
}

constexpr DWORD kNoFailure = 0xDCBA;

// The last error of a call that failed, to be used around the call itself.
inline DWORD failure(BOOL succeeded) {
  return succeeded ? kNoFailure : GetLastError();
}
inline DWORD failure(HANDLE made) {
  return made != nullptr ? kNoFailure : GetLastError();
}
// CreateFile fails with another value.
inline DWORD failed_open(HANDLE file) {
  return file != INVALID_HANDLE_VALUE ? kNoFailure : GetLastError();
}

// Closes its handle at the end of the scope.
class ScopedHandle {
 public:
  ScopedHandle(HANDLE handle = nullptr) : handle_(handle) {}  // NOLINT: stands in for a HANDLE
  ScopedHandle(ScopedHandle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  ScopedHandle& operator=(ScopedHandle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~ScopedHandle() { close(); }
  operator HANDLE() const { return handle_; }
  void close() {
    if (handle_ != nullptr && handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
    handle_ = nullptr;
  }

 private:
  HANDLE handle_;
};

inline HANDLE open_for(const std::string& path, DWORD access, DWORD share = FILE_SHARE_READ,
                       DWORD disposition = OPEN_EXISTING, DWORD flags = FILE_ATTRIBUTE_NORMAL) {
  return CreateFileA(path.c_str(), access, share, nullptr, disposition, flags, nullptr);
}

// Sets an environment variable (or removes it, for null) and puts the old value back at the end of the scope.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    set(value);
  }
  ~ScopedVariable() { set(old_ ? old_->c_str() : nullptr); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;
  void set(const char* value) { value == nullptr ? unsetenv(name_) : setenv(name_, value, 1); }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

// Returns once the thread sleeps inside the runtime's wait (a futex wait with an absolute deadline).
inline void await_sleep_in_wait(pid_t thread) {
  constexpr unsigned long kWaitBitset = 9;
  constexpr unsigned long kOperationMask = 0x7F;
  const std::string state = "/proc/" + std::to_string(thread) + "/syscall";
  for (;; std::this_thread::yield()) {
    std::ifstream file(state);
    std::string number;
    std::string word;
    std::string operation;
    file >> number >> word >> operation;
    if (number != std::to_string(SYS_futex)) continue;
    if ((std::stoul(operation, nullptr, 16) & kOperationMask) == kWaitBitset) return;
  }
}

// What a wait that sleeps stays below, also on a machine with much else to do; one that spins comes near 100.
constexpr int64_t kIdlePercent = 25;

// Waits in vain for all of the handles: how much of the time the waiting thread was busy, in percent, or 1000
// when the wait did not time out.
inline int64_t busy_percent_of_wait(std::initializer_list<HANDLE> handles) {
  constexpr DWORD kMilliseconds = 300;
  const auto busy_microseconds = [] {
    rusage usage;
    getrusage(RUSAGE_THREAD, &usage);
    return (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1'000'000 + usage.ru_utime.tv_usec +
           usage.ru_stime.tv_usec;
  };
  const int64_t before = busy_microseconds();
  const DWORD result =
      WaitForMultipleObjects(static_cast<DWORD>(handles.size()), handles.begin(), TRUE, kMilliseconds);
  return result == WAIT_TIMEOUT ? (busy_microseconds() - before) / (kMilliseconds * 10) : 1000;
}

// Every test starts with the mark in the last error.
class Win32Test : public testing::Test {
 protected:
  Win32Test() { SetLastError(kUntouched); }

  // A file of the test's own folder.
  std::string path(const std::string& name) const { return (folder_ / name).string(); }
  std::string make_file(const std::string& name, const std::string& content = "0123456789") const {
    zdr::tests::write_file(folder_ / name, content);
    return path(name);
  }

  zdr::tests::TempFolder folder_;
};

}  // namespace zdr::platform::test
