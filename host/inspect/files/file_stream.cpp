// Hides the two words of an offset.
#include "host/inspect/files/file_stream.h"

#include <algorithm>

namespace zdr::host {

FileStream::FileStream(const std::string& file)
    : file_(file), stream_(FMGR_FOpen(file_.descriptor(), "rb", file_.context())) {
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

std::span<const uint8_t> BlockReader::from(uint64_t offset, size_t count) {
  constexpr size_t kBlockBytes = 256 * 1024;
  if (offset < begin_ || offset + count > begin_ + bytes_.size()) {
    bytes_.resize(kBlockBytes);
    bytes_.resize(stream_.read_at(offset, bytes_));
    begin_ = offset;
  }
  return std::span(bytes_).subspan(static_cast<size_t>(std::min<uint64_t>(offset - begin_, bytes_.size())));
}

}  // namespace zdr::host
