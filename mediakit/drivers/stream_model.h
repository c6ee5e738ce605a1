// A plain model of a stream (the content and a position), and a driver that runs scripted operations on the
// manager and on the model.
#pragma once

#include <algorithm>
#include <optional>
#include <span>
#include <sstream>
#include <vector>

#include "mediakit/files/sources.h"

namespace zdr::test {

class StreamModel {
 public:
  StreamModel(const Source& source, bool buffered) : source_(source), buffered_(buffered) {}

  uint64_t position() const { return position_; }

  // Returns a status or the count; the bytes read are those at the position before the call.
  int32_t read(uint32_t count) {
    const uint64_t size = source_.content().size();
    const int32_t status = seek_status(size);
    if (status != FMGR_OK) return buffered_ ? 0 : status;
    if (position_ >= size) return 0;
    const auto moved = static_cast<uint32_t>(std::min<uint64_t>(count, size - position_));
    position_ += moved;
    return static_cast<int32_t>(moved);
  }

  int32_t seek(int64_t offset, int32_t whence, bool wide) {
    const auto distance = static_cast<uint64_t>(offset);
    const uint64_t size = source_.content().size();
    if (whence < FMGR_SEEK_SET || whence > FMGR_SEEK_END) return buffered_ ? FMGR_ERR_GENERIC : FMGR_OK;
    if (whence == FMGR_SEEK_SET) position_ = distance;
    if (whence == FMGR_SEEK_CURRENT) position_ += distance;
    if (whence == FMGR_SEEK_END) position_ = size + distance;
    // Without buffering, FMGR_FSeek from the end works in 32 bits.
    if (whence == FMGR_SEEK_END && !wide && !buffered_) position_ &= 0xFFFFFFFF;
    return FMGR_OK;
  }

 private:
  // The status of the device for a seek to the position.
  int32_t seek_status(uint64_t size) const {
    const bool negative = position_ >> 63 != 0;
    switch (source_.descriptor().type) {
      case FMGR_DEV_CALLBACK:
        return FMGR_OK;
      case FMGR_DEV_MEMORY:
        return negative || position_ > size ? FMGR_ERR_GENERIC : FMGR_OK;
      default:
        return negative ? FMGR_ERR_SEEK : FMGR_OK;
    }
  }

  const Source& source_;
  bool buffered_;
  uint64_t position_ = 0;
};

// Three sibling streams, driven by a script of four bytes per operation.
class ScriptedStreams {
 public:
  ScriptedStreams(uint32_t type, size_t content_size, uint32_t buffer_size)
      : source_(type, make_content(content_size)),
        context_(make_context(buffer_size, 1)),
        models_(3, StreamModel(source_, buffer_size != 0)) {
    for (int i = 0; i < 3; ++i) streams_.push_back(open_stream(source_, "rb", context_));
  }

  // Returns a description of the first disagreement.
  std::optional<std::string> run(std::span<const uint8_t> script) {
    for (size_t at = 0; at + 4 <= script.size(); at += 4) {
      if (!step(script.subspan(at, 4))) {
        std::ostringstream what;
        what << "operation " << at / 4 << ", stream " << script[at] % 3 << ": " << what_.str();
        return what.str();
      }
    }
    return std::nullopt;
  }

 private:
  bool agree(const char* call, int64_t argument, int64_t got, int64_t expected) {
    if (got != expected)
      what_ << call << "(" << argument << ") returned " << got << ", expected " << expected;
    return got == expected;
  }

  bool step(std::span<const uint8_t> op) {
    const size_t index = op[0] % 3;
    const int32_t whence = op[1] % 4 == 3 ? static_cast<int8_t>(op[1]) / 4 : op[1] % 4;
    // Mostly near the content, sometimes far before or after it.
    const int32_t offset = static_cast<int8_t>(op[2]) * (op[3] % 16 == 0 ? 0x1000000 : 1 + op[3] % 4);
    switch (op[0] / 3 % 8) {
      case 0:
        return reopen(index);
      case 1:
        return agree("seek", offset, FMGR_FSeek(streams_[index].get(), offset, whence),
                     models_[index].seek(offset, whence, false)) &&
               at_same_position(index);
      case 2: {
        const int64_t far = int64_t{offset} * (op[3] % 16 == 1 ? int64_t{1} << 33 : 1);
        return agree("seek64", far, seek64(streams_[index], far, whence),
                     models_[index].seek(far, whence, true)) &&
               at_same_position(index);
      }
      case 3:
        return read(index, 1u + op[1] % 64, offset);
      default:
        return read(index, 1u + op[1] % 64);
    }
  }

  bool reopen(size_t index) {
    streams_[index] = nullptr;
    streams_[index] = open_stream(source_, "rb", context_);
    models_[index].seek(0, FMGR_SEEK_SET, true);
    return at_same_position(index);
  }

  bool at_same_position(size_t index) {
    return agree("tell", 0, static_cast<int64_t>(tell(streams_[index])),
                 static_cast<int64_t>(models_[index].position()));
  }

  // Reads at `from`, or at the position of the stream.
  bool read(size_t index, uint32_t count, std::optional<int64_t> from = std::nullopt) {
    if (from) models_[index].seek(*from, FMGR_SEEK_SET, true);
    const uint64_t before = models_[index].position();
    std::string bytes(count, '\0');
    FMGR_Stream* const stream = streams_[index].get();
    const int32_t moved = from ? read_at(stream, *from, bytes) : FMGR_FRead(stream, bytes.data(), count);
    if (!agree("read", count, moved, models_[index].read(count))) return false;
    if (moved > 0 && source_.content().compare(before, static_cast<size_t>(moved), bytes, 0,
                                               static_cast<size_t>(moved)) != 0) {
      what_ << "read(" << count << ") at " << before << " returned other bytes";
      return false;
    }
    return at_same_position(index);
  }

  static int32_t read_at(FMGR_Stream* stream, int64_t offset, std::string& bytes) {
    const auto words = static_cast<uint64_t>(offset);
    int32_t moved = 0;
    const int32_t status =
        FMGR_FReadAt(stream, static_cast<uint32_t>(words), static_cast<uint32_t>(words >> 32), bytes.data(),
                     static_cast<uint32_t>(bytes.size()), &moved);
    return status == FMGR_OK ? moved : status;
  }

  Source source_;
  Context context_;
  std::vector<StreamModel> models_;
  std::vector<Stream> streams_;
  std::ostringstream what_;
};

}  // namespace zdr::test
