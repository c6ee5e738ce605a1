// Shared by the Win32 tests: the fixture, handles that close themselves, failures as values.
#pragma once

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "mediakit/files/temp_folder.h"
#include "platform/win32/runtime/futex.h"

namespace zdr::test {

// A value that no function sets: shows whether a call changed the last error.
constexpr DWORD kUntouched = 0xABCD;

inline std::u16string wide(const std::string& utf8) {
  return std::filesystem::path(utf8).u16string();
}

constexpr DWORD kNoFailure = 0xDCBA;

// The last error of a call that failed; takes the result of the call.
inline DWORD failure(BOOL succeeded) {
  return succeeded ? kNoFailure : GetLastError();
}
inline DWORD failure(HANDLE made) {
  return made != nullptr ? kNoFailure : GetLastError();
}
// The same for CreateFile, whose failures have another value.
inline DWORD failed_open(HANDLE file) {
  return file != INVALID_HANDLE_VALUE ? kNoFailure : GetLastError();
}

// Closes its handle at the end of the scope.
class ScopedHandle {
 public:
  ScopedHandle(HANDLE handle = nullptr) : handle_(handle) {}  // NOLINT: used like a HANDLE
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
                       DWORD disposition = OPEN_EXISTING) {
  return CreateFileA(path.c_str(), access, share, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Waits for the object without blocking.
inline DWORD poll(HANDLE handle) {
  return WaitForSingleObject(handle, 0);
}

// Sets an environment variable (or removes it, for null) and restores the old value at the end of the scope.
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

// Returns once the thread sleeps inside a wait of the runtime.
inline void await_sleep_in_wait(pid_t thread) {
  for (;; std::this_thread::yield()) {
    std::ifstream file("/proc/" + std::to_string(thread) + "/syscall");
    std::string number, word, operation;
    file >> number >> word >> operation;
    constexpr unsigned long kWaitBitset = 9, kOperationMask = 0x7F;
    const bool waits = number == std::to_string(platform::kFutexCall) &&
                       (std::stoul(operation, nullptr, 16) & kOperationMask) == kWaitBitset;
    if (waits || number == std::to_string(SYS_futex_waitv)) return;
  }
}

// Every test starts with kUntouched as the last error, and has a folder of its own.
class Win32Test : public testing::Test {
 protected:
  Win32Test() { SetLastError(kUntouched); }

  std::string path(const std::string& name) const { return (folder_ / name).string(); }
  std::string make_file(const std::string& name, const std::string& content = "0123456789") const {
    write_file(folder_ / name, content);
    return path(name);
  }
  // An environment entry under which a child has a private runtime folder, but none for share modes.
  std::string without_side_files() const {
    std::filesystem::create_directories(path("runtime/zdr"));
    std::filesystem::permissions(path("runtime/zdr"), std::filesystem::perms::owner_all);
    std::filesystem::create_directory_symlink(folder_.path(), path("runtime/zdr/share"));
    return "XDG_RUNTIME_DIR=" + path("runtime");
  }

  TempFolder folder_;
};

}  // namespace zdr::test
