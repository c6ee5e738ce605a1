// The fault seam: every point fails with its documented error, and the debug output keeps the last error.
#include "platform/win32/fault_injection.h"

#include <functional>

#include "platform/win32/debug_output.h"
#include "tests/platform/fault_at.h"
#include "win32_test_support.h"

namespace zdr::platform::test {

namespace {

using FaultInjectionTest = Win32Test;

struct FaultRow {
  FaultPoint point;
  DWORD error;
  std::function<bool()> succeeds;
};

TEST_F(FaultInjectionTest, EachPointFailsOnceWithItsError) {
  const std::string name = make_file("file");
  const ScopedHandle file = open_for(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
  char byte = 0;
  DWORD moved = 0;
  LARGE_INTEGER size;
  const auto valid = [](HANDLE handle) {
    const ScopedHandle scoped(handle);
    return handle != nullptr && handle != INVALID_HANDLE_VALUE;
  };
  const auto routine = [](LPVOID) -> DWORD { return 0; };
  const FaultRow rows[] = {
      {FaultPoint::kFileOpen, ERROR_IO_DEVICE, [&] { return valid(open_for(name, GENERIC_READ, 7)); }},
      {FaultPoint::kFileRead, ERROR_IO_DEVICE,
       [&] { return ReadFile(file, &byte, 1, &moved, nullptr) != 0; }},
      {FaultPoint::kFileWrite, ERROR_DISK_FULL,
       [&] { return WriteFile(file, "x", 1, &moved, nullptr) != 0; }},
      {FaultPoint::kFileSeek, ERROR_SEEK,
       [&] { return SetFilePointer(file, 1, nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER; }},
      {FaultPoint::kFileSize, ERROR_IO_DEVICE, [&] { return GetFileSizeEx(file, &size) != 0; }},
      {FaultPoint::kEventCreate, ERROR_NOT_ENOUGH_MEMORY,
       [&] { return valid(CreateEventW(nullptr, FALSE, FALSE, u"FaultEvent")); }},
      {FaultPoint::kMutexCreate, ERROR_NOT_ENOUGH_MEMORY,
       [&] { return valid(CreateMutexW(nullptr, FALSE, nullptr)); }},
      {FaultPoint::kSemaphoreCreate, ERROR_NOT_ENOUGH_MEMORY,
       [&] { return valid(CreateSemaphoreW(nullptr, 0, 1, nullptr)); }},
      {FaultPoint::kThreadCreate, ERROR_NOT_ENOUGH_MEMORY,
       [&] { return valid(CreateThread(nullptr, 0, routine, nullptr, 0, nullptr)); }},
  };
  for (const FaultRow& row : rows) {
    const FaultAt second(row.point, 2);
    const int number = static_cast<int>(row.point);
    EXPECT_TRUE(row.succeeds()) << number;
    SetLastError(kUntouched);
    EXPECT_FALSE(row.succeeds()) << number;
    EXPECT_EQ(GetLastError(), row.error) << number;
    EXPECT_TRUE(row.succeeds()) << number;
    EXPECT_EQ(fault_calls(row.point), 3u) << number;
  }
  EXPECT_FALSE(should_fail(FaultPoint::kFileOpen));
  EXPECT_EQ(fault_calls(FaultPoint::kFileOpen), 0u) << "counted without a hook";
}

TEST_F(FaultInjectionTest, DebugOutputGoesToItsHookAndKeepsTheLastError) {
  std::u16string seen;
  const auto hook = [](const WCHAR* text, void* context) {
    *static_cast<std::u16string*>(context) += text;
    SetLastError(1);
  };
  OutputDebugStringW(u"nobody listens");
  set_debug_output_hook(hook, &seen);
  OutputDebugStringW(u"one ");
  OutputDebugStringW(nullptr);
  OutputDebugStringW(u"two");
  set_debug_output_hook(nullptr, nullptr);
  OutputDebugStringW(u"three");
  EXPECT_EQ(seen, u"one two");
  EXPECT_EQ(GetLastError(), kUntouched);
}

}  // namespace

}  // namespace zdr::platform::test
