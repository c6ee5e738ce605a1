// An open file behind a HANDLE: descriptor, rights, own position, share lease, read-ahead.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

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

// The members give Win32 error codes, NO_ERROR for success, and serialise themselves.
class FileObject final : public KernelObject {
 public:
  static constexpr ObjectKind kKind = ObjectKind::kFile;
  FileObject(Descriptor descriptor, FileRights rights, bool seekable, bool read_ahead,
             ShareLease lease) noexcept;

  // `at`: transfer from there instead of the position. The position ends behind the last byte moved either
  // way.
  DWORD read(void* buffer, DWORD count, std::optional<uint64_t> at, DWORD& got) noexcept;
  DWORD write(const void* buffer, DWORD count, std::optional<uint64_t> at, DWORD& put) noexcept;

  // Moves the position; `limit` is the largest position that the caller can express.
  DWORD seek(int64_t distance, DWORD method, uint64_t limit, uint64_t& position) noexcept;
  DWORD size(uint64_t& bytes) noexcept;
  DWORD cut_at_position() noexcept;
  DWORD flush() noexcept;

 private:
  DWORD read_direct(void* buffer, size_t count, uint64_t offset, size_t& got) noexcept;
  DWORD read_small(void* buffer, size_t count, uint64_t offset, size_t& got) noexcept;
  DWORD write_direct(const void* buffer, size_t count, uint64_t offset, size_t& put) noexcept;

  // The lease is released before the descriptor is closed: while that is open, no new file can get the number
  // under which the lease is known, here and in other processes.
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
