// A plain model of a stream (the content and a position), and a driver that runs scripted operations on the
// manager and on the model.
#pragma once

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "mediakit/files/sources.h"

namespace zdr::test {

class StreamModel {
 public:
  StreamModel(const Source& source, bool buffered) : source_(source), buffered_(buffered) {}

  uint64_t position() const { return position_; }

  // Returns a status or the count, and the bytes.
  int32_t read(uint32_t count, std::string& bytes) {
    const std::string& content = source_.content();
    const int32_t status = seek_status(content.size());
    if (status != FMGR_OK) return buffered_ ? 0 : status;
    if (position_ < content.size()) bytes = content.substr(static_cast<size_t>(position_), count);
    position_ += bytes.size();
    return static_cast<int32_t>(bytes.size());
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
      const auto [found, expected] = step(script.subspan(at, 4));
      if (found != expected)
        return "operation " + std::to_string(at / 4) + ": " + found + ", expected " + expected;
    }
    return std::nullopt;
  }

 private:
  static std::string outcome(int32_t status, const std::string& bytes, uint64_t position) {
    return std::to_string(status) + " \"" + bytes + "\" @" + std::to_string(position);
  }

  // Does an operation on a stream and on its model, and returns what each of them did.
  std::pair<std::string, std::string> step(std::span<const uint8_t> op) {
    Stream& stream = streams_[op[0] % 3];
    StreamModel& model = models_[op[0] % 3];
    const int32_t whence = op[1] % 4 == 3 ? static_cast<int8_t>(op[1]) / 4 : op[1] % 4;
    // Mostly near the content, sometimes far before or after it.
    const int32_t offset = static_cast<int8_t>(op[2]) * (op[3] % 16 == 0 ? 0x1000000 : 1 + op[3] % 4);
    const int64_t far = int64_t{offset} * (op[3] % 16 == 1 ? int64_t{1} << 33 : 1);
    int32_t status = FMGR_OK;
    int32_t expected = FMGR_OK;
    std::string bytes;
    std::string expected_bytes;
    const int kind = op[0] / 3 % 8;
    if (kind == 0) {
      stream = nullptr;
      stream = open_stream(source_, "rb", context_);
      model.seek(0, FMGR_SEEK_SET, true);
    } else if (kind == 1) {
      status = FMGR_FSeek(stream.get(), offset, whence);
      expected = model.seek(offset, whence, false);
    } else if (kind == 2) {
      status = seek64(stream, far, whence);
      expected = model.seek(far, whence, true);
    } else {
      const uint32_t count = 1u + op[1] % 64;
      bytes.resize(count);
      if (kind == 3) model.seek(offset, FMGR_SEEK_SET, true);
      status =
          kind == 3 ? read_at(stream.get(), offset, bytes) : FMGR_FRead(stream.get(), bytes.data(), count);
      bytes.resize(static_cast<size_t>(std::max(status, 0)));
      expected = model.read(count, expected_bytes);
    }
    return {outcome(status, bytes, tell(stream)), outcome(expected, expected_bytes, model.position())};
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
};

}  // namespace zdr::test
