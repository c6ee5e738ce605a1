// Opens the file as the filter does, without a buffer.
#include "host/inspect/file_stream.h"

#include <new>

#include "host/wide_text.h"

namespace zdr::host {

FileStream::FileStream(const std::string& file) : path_(wide_file_name(file)) {
  const FMGR_Config unbuffered{0, 0};
  FMGR_Context* manager = nullptr;
  if (FMGR_Init(&manager, &unbuffered) != FMGR_OK) throw std::bad_alloc();
  context_.reset(manager);
  descriptor_.type = FMGR_DEV_FILE_W;
  descriptor_.source.wide_path = path_.c_str();
  stream_.reset(FMGR_FOpen(&descriptor_, "rb", manager));
  if (stream_ && FMGR_FSize64(stream_.get(), &size_) != FMGR_OK) size_ = 0;
}

size_t FileStream::read_at(uint64_t offset, std::span<uint8_t> buffer) {
  if (!stream_ || buffer.empty()) return 0;
  int32_t moved = 0;
  const int32_t status =
      FMGR_FReadAt(stream_.get(), static_cast<uint32_t>(offset), static_cast<uint32_t>(offset >> 32),
                   buffer.data(), static_cast<uint32_t>(buffer.size()), &moved);
  return status == FMGR_OK && moved > 0 ? static_cast<size_t>(moved) : 0;
}

}  // namespace zdr::host
