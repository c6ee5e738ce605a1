// An open file: descriptor, rights, position, share lease, read-ahead.
#pragma once

#include <cstdint>
#include <mutex>

#include "platform/win32/runtime/descriptor.h"
#include "platform/win32/runtime/files/read_ahead.h"
#include "platform/win32/runtime/files/share_modes.h"
#include "platform/win32/runtime/kernel_object.h"
#include "platform/win32/win32_files.h"

namespace zdr::platform {

struct FileRights {
  bool read = false;
  bool write = false;
};

// The members return Win32 error codes, NO_ERROR for success, and serialise themselves.
class FileObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::kFile;
  // `size` is that of the open file, 0 if it has none.
  FileObject(Descriptor descriptor, FileRights rights, uint64_t size, bool seekable, bool read_ahead,
             ShareLease lease) noexcept;

  // Transfers at the position, which ends past the last byte moved. A failed read, and one that ends inside
  // the size that the file had when it was opened, is logged (read_failures.h).
  DWORD read(void* buffer, DWORD count, DWORD& got) noexcept;
  DWORD write(const void* buffer, DWORD count, DWORD& put) noexcept;

  // Moves the position; `limit` is the largest position that the caller can express.
  DWORD seek(int64_t distance, DWORD method, uint64_t limit, uint64_t& position) noexcept;
  DWORD size(uint64_t& bytes) noexcept;
  DWORD flush() noexcept;

 private:
  // These return 0 or an errno.
  int read_direct(void* buffer, size_t count, uint64_t offset, size_t& got) noexcept;
  int read_small(void* buffer, size_t count, uint64_t offset, size_t& got) noexcept;
  int write_direct(const void* buffer, size_t count, uint64_t offset, size_t& put) noexcept;
  int get_size(uint64_t& bytes) const noexcept;
  void log_failure(uint64_t offset, int system_error) const noexcept;

  // Declared first, so that it is closed after the lease is released: while it is open, no new file can get
  // the inode number that identifies the lease in this and other processes.
  const Descriptor descriptor_;
  ShareLease lease_;
  const FileRights rights_;
  const uint64_t opened_size_;
  const bool seekable_;
  const bool uses_read_ahead_;

  std::mutex mutex_;
  uint64_t position_ = 0;
  ReadAhead read_ahead_;
};

}  // namespace zdr::platform
