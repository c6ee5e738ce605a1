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
  FileObject(Descriptor descriptor, FileRights rights, bool seekable, bool read_ahead,
             ShareLease lease) noexcept;

  // Transfers at the position, which ends past the last byte moved.
  DWORD read(void* buffer, DWORD count, DWORD& got) noexcept;
  DWORD write(const void* buffer, DWORD count, DWORD& put) noexcept;

  // Moves the position; `limit` is the largest position that the caller can express.
  DWORD seek(int64_t distance, DWORD method, uint64_t limit, uint64_t& position) noexcept;
  DWORD size(uint64_t& bytes) noexcept;
  DWORD flush() noexcept;

 private:
  DWORD read_direct(void* buffer, size_t count, uint64_t offset, size_t& got) noexcept;
  DWORD read_small(void* buffer, size_t count, uint64_t offset, size_t& got) noexcept;
  DWORD write_direct(const void* buffer, size_t count, uint64_t offset, size_t& put) noexcept;

  // Declared first, so that it is closed after the lease is released: while it is open, no new file can get
  // the inode number that identifies the lease in this and other processes.
  const Descriptor descriptor_;
  ShareLease lease_;
  const FileRights rights_;
  const bool seekable_;
  const bool uses_read_ahead_;

  std::mutex mutex_;
  uint64_t position_ = 0;
  ReadAhead read_ahead_;
};

}  // namespace zdr::platform
