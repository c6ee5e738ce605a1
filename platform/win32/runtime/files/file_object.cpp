// Reading, writing and positioning of open files. The position is stored in the object and every transfer
// names its offset, so a seek followed by a read is one system call.
#include "platform/win32/runtime/files/file_object.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "platform/win32/fault_injection.h"
#include "platform/win32/runtime/errno_map.h"
#include "platform/win32/runtime/files/broken_pipe.h"
#include "platform/win32/runtime/files/read_failure_log.h"
#include "platform/win32/runtime/files/read_notice.h"
#include "platform/win32/runtime/system_calls.h"

namespace zdr::platform {

namespace {

constexpr uint64_t kLargestOffset = std::numeric_limits<int64_t>::max();

// Repeats `transfer(done)` until `count` bytes have moved or it moves none. Returns 0 or an errno.
template <class Transfer>
int transfer_all(size_t count, size_t& done, Transfer transfer) noexcept {
  done = 0;
  while (done < count) {
    const ssize_t moved = repeat_interrupted([&] { return transfer(done); });
    if (moved < 0) return errno;
    if (moved == 0) break;
    done += static_cast<size_t>(moved);
  }
  return 0;
}

ssize_t write_stream(int file, const std::byte* source, size_t count) noexcept {
  const BrokenPipeGuard guard;
  return ::write(file, source, count);
}

DWORD error_or_none(int error) noexcept {
  return error == 0 ? NO_ERROR : error_from_errno(error);
}

}  // namespace

FileObject::FileObject(Descriptor descriptor, FileRights rights, uint64_t size, bool seekable,
                       bool read_ahead, ShareLease lease) noexcept
    : KernelObject(kKind),
      descriptor_(std::move(descriptor)),
      lease_(std::move(lease)),
      rights_(rights),
      opened_size_(size),
      seekable_(seekable),
      uses_read_ahead_(read_ahead) {}

int FileObject::read_direct(void* buffer, size_t count, uint64_t offset, size_t& got) noexcept {
  return transfer_all(count, got, [&](size_t done) {
    std::byte* target = static_cast<std::byte*>(buffer) + done;
    return seekable_ ? pread(descriptor_.get(), target, count - done, static_cast<off_t>(offset + done))
                     : ::read(descriptor_.get(), target, count - done);
  });
}

int FileObject::read_small(void* buffer, size_t count, uint64_t offset, size_t& got) noexcept {
  if (count > ReadAhead::kLargestFill) return read_direct(buffer, count, offset, got);
  if (read_ahead_.serve(offset, buffer, count)) {
    got = count;
    return 0;
  }
  const size_t planned = read_ahead_.plan(offset, count);
  if (planned == 0) return read_direct(buffer, count, offset, got);
  const ssize_t filled = repeat_interrupted(
      [&] { return pread(descriptor_.get(), read_ahead_.target(), planned, static_cast<off_t>(offset)); });
  got = read_ahead_.fill(offset, filled < 0 ? 0 : static_cast<size_t>(filled), buffer, count);
  if (filled == 0 || got == count) return 0;
  // A short block does not mean the end of the file; only a read of no bytes does. After a failure, the
  // requested bytes may still be readable.
  size_t rest = 0;
  std::byte* const target = static_cast<std::byte*>(buffer) + got;
  const int error = read_direct(target, count - got, offset + got, rest);
  got += rest;
  return error;
}

DWORD FileObject::read(void* buffer, DWORD count, DWORD& got) noexcept {
  if (!rights_.read) return ERROR_ACCESS_DENIED;
  if (count == 0) return NO_ERROR;
  if (buffer == nullptr) return ERROR_NOACCESS;
  std::lock_guard lock(mutex_);
  const auto wanted = static_cast<size_t>(std::min<uint64_t>(count, kLargestOffset - position_));
  size_t moved = 0;
  int error = EIO;
  if (!should_fail(FaultPoint::kFileRead)) {
    error = uses_read_ahead_ ? read_small(buffer, wanted, position_, moved)
                             : read_direct(buffer, wanted, position_, moved);
  }
  if (!rights_.write) notice_read(position_, moved);
  position_ += moved;
  got = static_cast<DWORD>(moved);
  if (error != 0 || (moved < wanted && position_ < opened_size_)) log_failure(position_, error);
  return error_or_none(error);
}

// A program that writes the file itself knows how long it is.
void FileObject::log_failure(uint64_t offset, int system_error) const noexcept {
  if (!rights_.write) log_read_failure(offset, system_error);
}

int FileObject::write_direct(const void* buffer, size_t count, uint64_t offset, size_t& put) noexcept {
  return transfer_all(count, put, [&](size_t done) {
    const std::byte* source = static_cast<const std::byte*>(buffer) + done;
    return seekable_ ? pwrite(descriptor_.get(), source, count - done, static_cast<off_t>(offset + done))
                     : write_stream(descriptor_.get(), source, count - done);
  });
}

DWORD FileObject::write(const void* buffer, DWORD count, DWORD& put) noexcept {
  if (!rights_.write) return ERROR_ACCESS_DENIED;
  if (count == 0) return NO_ERROR;
  if (buffer == nullptr) return ERROR_NOACCESS;
  std::lock_guard lock(mutex_);
  size_t moved = 0;
  const int error = write_direct(buffer, count, position_, moved);
  position_ += moved;
  put = static_cast<DWORD>(moved);
  return error_or_none(error);
}

int FileObject::get_size(uint64_t& bytes) const noexcept {
  struct stat info;
  if (fstat(descriptor_.get(), &info) != 0) return errno;
  bytes = static_cast<uint64_t>(info.st_size);
  return 0;
}

DWORD FileObject::size(uint64_t& bytes) noexcept {
  const int error = get_size(bytes);
  if (error != 0 || bytes < opened_size_) log_failure(error == 0 ? bytes : 0, error);
  return error_or_none(error);
}

DWORD FileObject::seek(int64_t distance, DWORD method, uint64_t limit, uint64_t& position) noexcept {
  if (!seekable_) return ERROR_SEEK_ON_DEVICE;
  if (method > FILE_END) return ERROR_INVALID_PARAMETER;
  std::lock_guard lock(mutex_);
  uint64_t base = method == FILE_CURRENT ? position_ : 0;
  if (method == FILE_END) {
    if (const DWORD error = size(base); error != NO_ERROR) return error;
  }
  int64_t target;
  if (__builtin_add_overflow(static_cast<int64_t>(base), distance, &target)) return ERROR_INVALID_PARAMETER;
  if (target < 0) return ERROR_NEGATIVE_SEEK;
  if (static_cast<uint64_t>(target) > limit) return ERROR_INVALID_PARAMETER;
  position = position_ = static_cast<uint64_t>(target);
  return NO_ERROR;
}

DWORD FileObject::flush() noexcept {
  if (!rights_.write) return ERROR_ACCESS_DENIED;
  return error_or_none(fsync(descriptor_.get()) == 0 ? 0 : errno);
}

}  // namespace zdr::platform
