// A source of bytes for each device type, and owning handles for contexts and streams.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fmgr/fmgr.h"
#include "mediakit/files/temp_folder.h"

namespace zdr::test {

inline constexpr uint32_t kOpenTypes[] = {FMGR_DEV_FILE, FMGR_DEV_FILE_W, FMGR_DEV_CALLBACK, FMGR_DEV_MEMORY,
                                          FMGR_DEV_FILE_ALT};

class Source {
 public:
  Source(uint32_t type, std::string content) : content_(std::move(content)) {
    descriptor_.type = type;
    if (type == FMGR_DEV_MEMORY) {
      descriptor_.source.memory = {content_.data(), static_cast<uint32_t>(content_.size())};
    } else if (type == FMGR_DEV_CALLBACK) {
      descriptor_.source.callback = {this, &read, &size};
    } else if (type == FMGR_DEV_CALLBACK_RW) {
      descriptor_.source.callback_rw = {this, &read, &write, &size};
    } else {
      folder_ = std::make_unique<TempFolder>();
      path_ = *folder_ / u"s\u00f6urce";
      write_file(path_, content_);
      wide_ = path_.u16string();
      if (type == FMGR_DEV_FILE_W) {
        descriptor_.source.wide_path = wide_.c_str();
      } else {
        descriptor_.source.path = path_.c_str();
      }
    }
  }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  FMGR_Descriptor& descriptor() { return descriptor_; }
  const FMGR_Descriptor& descriptor() const { return descriptor_; }
  const std::string& content() const { return content_; }
  const std::filesystem::path& path() const { return path_; }

  // The status that the callbacks return, and the bytes added to the count that they report.
  int32_t callback_status = 0;
  uint32_t callback_excess = 0;
  // All calls of the read callback, and the one that fails, counted from 1; 0: none.
  struct Read {
    uint64_t position;
    uint32_t count;
  };
  std::vector<Read> reads;
  size_t failing_read = 0;
  // The size that the callback reports; 0: the real one. Reads past the content return none.
  uint64_t claimed_size = 0;

 private:
  static int32_t read(void* caller, void* buffer, uint32_t count, uint32_t low, uint32_t high,
                      uint32_t* moved) {
    auto& self = *static_cast<Source*>(caller);
    const uint64_t position = uint64_t{high} << 32 | low;
    self.reads.push_back({position, count});
    if (self.reads.size() == self.failing_read) {
      std::memset(buffer, 0xEE, count);  // a failing read may leave anything in the buffer
      return FMGR_ERR_GENERIC;
    }
    const auto from = static_cast<size_t>(std::min<uint64_t>(position, self.content_.size()));
    *moved = static_cast<uint32_t>(self.content_.copy(static_cast<char*>(buffer), count, from));
    *moved += self.callback_excess;
    return self.callback_status;
  }
  static int32_t write(void* caller, const void* buffer, uint32_t count, uint32_t low, uint32_t,
                       uint32_t* moved) {
    auto& self = *static_cast<Source*>(caller);
    if (self.content_.size() < low + count) self.content_.resize(low + count);
    std::memcpy(self.content_.data() + low, buffer, count);
    *moved = count + self.callback_excess;
    return self.callback_status;
  }
  static int32_t size(void* caller, uint64_t* size) {
    const auto& self = *static_cast<Source*>(caller);
    *size = self.claimed_size != 0 ? self.claimed_size : self.content_.size();
    return self.callback_status;
  }

  std::string content_;
  std::unique_ptr<TempFolder> folder_;
  std::filesystem::path path_;
  std::u16string wide_;
  FMGR_Descriptor descriptor_{};
};

struct Releaser {
  void operator()(FMGR_Context* context) const { FMGR_Deinit(context); }
  void operator()(FMGR_Stream* stream) const { FMGR_FClose(stream); }
};
using Context = std::unique_ptr<FMGR_Context, Releaser>;
using Stream = std::unique_ptr<FMGR_Stream, Releaser>;

inline Context make_context(uint32_t read_buffer_size, uint32_t write_buffer_size) {
  const FMGR_Config config = {read_buffer_size, write_buffer_size};
  FMGR_Context* context = nullptr;
  FMGR_Init(&context, &config);
  return Context(context);
}

inline Stream open_stream(const Source& source, const char* mode, const Context& context) {
  return Stream(FMGR_FOpen(&source.descriptor(), mode, context.get()));
}

// Returns up to `count` bytes; empty after a failure.
inline std::string read_text(const Stream& stream, uint32_t count) {
  std::string text(count, '\0');
  const int32_t moved = FMGR_FRead(stream.get(), text.data(), count);
  text.resize(moved > 0 ? static_cast<size_t>(moved) : 0);
  return text;
}

inline uint64_t tell(const Stream& stream) {
  uint64_t position = ~uint64_t{0};
  FMGR_FTell(stream.get(), &position);
  return position;
}

inline int32_t seek64(const Stream& stream, int64_t offset, int32_t whence) {
  const auto words = static_cast<uint64_t>(offset);
  return FMGR_FSeek64(stream.get(), static_cast<uint32_t>(words), static_cast<uint32_t>(words >> 32), whence);
}

// Returns bytes in which no short stretch occurs twice.
inline std::string make_content(size_t size) {
  std::string content(size, '\0');
  uint32_t state = 1;
  for (char& c : content) c = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  return content;
}

}  // namespace zdr::test
