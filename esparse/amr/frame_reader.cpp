// Walks from frame to frame using the sizes that their TOC bytes determine.
#include "esparse/amr/frame_reader.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace zdr::amrf {
namespace {

constexpr uint32_t kNarrowBandHeaderBytes = 6;  // "#!AMR\n"
// The largest start of the data to which a seek can return.
constexpr uint64_t kLastDataStart = std::numeric_limits<int32_t>::max();

}  // namespace

bool FrameReader::skip_header() {
  for (bool has_ended = false; !has_ended;) {
    const auto line = bytes_.available();
    if (line.empty()) return false;
    const void* const end = std::memchr(line.data(), '\n', line.size());
    has_ended = end != nullptr;
    const auto length = has_ended ? static_cast<const uint8_t*>(end) - line.data() + 1 : std::ssize(line);
    bytes_.skip(static_cast<uint32_t>(length));
    if (bytes_.position() > kLastDataStart) return false;
  }
  data_start_ = static_cast<uint32_t>(bytes_.position());
  // Kept: any other line means wide-band, even one for several channels or one that ends with CR LF.
  if (data_start_ != kNarrowBandHeaderBytes) {
    codec_ = AMRF_CODEC_WB;
    sizes_ = &kWideBandFrameSizes;
  }
  return true;
}

bool FrameReader::scan(AMRF_Info& info) {
  last_frame_ = 0;
  info = {0, 0, codec_};
  if (!bytes_.rewind(data_start_)) return false;
  count_whole_frames();
  info.frame_count = last_frame_;
  info.duration_ms = kFrameMs * last_frame_;
  return true;
}

void FrameReader::count_whole_frames() {
  for (;;) {
    const auto bytes = bytes_.available();
    if (bytes.empty()) return;
    uint32_t size = 0;
    size_t at = 0;
    for (; at < bytes.size(); at += size, ++last_frame_) {
      // Counting takes a frame of size 0 as one byte.
      size = std::max<uint32_t>(size_of(bytes[at]), 1);
      if (size > bytes.size() - at) break;
    }
    bytes_.skip(static_cast<uint32_t>(at));
    if (at == bytes.size()) continue;
    if (!bytes_.read(nullptr, size)) return;  // the last frame of a block may continue in the next
    ++last_frame_;
  }
}

int32_t FrameReader::read(AMRF_FrameRequest& request) {
  const bool follows = last_frame_ != 0 && request.number - 1 == last_frame_;
  // Unknown until the read has succeeded: a failure may leave the position within a frame.
  last_frame_ = 0;
  if (request.number == 0 || (!follows && !walk_to(request.number))) {
    request.size = 0;
    return AMRF_ERR_FAILED;
  }
  const int32_t status = read_here(request);
  if (status == AMRF_OK) last_frame_ = request.number;
  return status;
}

bool FrameReader::walk_to(uint32_t number) {
  if (!bytes_.rewind(data_start_)) return false;
  for (uint32_t left = number - 1; left > 0;) {
    const auto bytes = bytes_.available();
    if (bytes.empty()) return false;
    size_t at = 0;
    for (; left > 0 && at < bytes.size(); --left) {
      const uint32_t size = size_of(bytes[at]);
      // Kept: a step over a frame of size 0 does not move, so all further steps stay there.
      if (size == 0) left = 1;
      at += size;
    }
    bytes_.skip(static_cast<uint32_t>(at));
  }
  return true;
}

int32_t FrameReader::read_here(AMRF_FrameRequest& request) {
  uint8_t toc = 0;
  if (!bytes_.read(&toc, 1)) return AMRF_ERR_FAILED;
  request.buffer[0] = toc;
  const uint32_t size = size_of(toc);
  // Kept: a capacity of 0 means no limit.
  if (request.size != 0 && size > request.size) return AMRF_ERR_FRAME_SIZE;
  if (size > 1 && !bytes_.read(request.buffer + 1, size - 1)) return AMRF_ERR_FAILED;
  request.size = size > 1 ? size : 1;
  return AMRF_OK;
}

}  // namespace zdr::amrf
