// An ISO media file seen through the parser alone, for what the filter's interfaces do not tell: why a file
// was refused, what of it is left out, and what a played stream is missing.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "p3gpp/p3gpp.h"

namespace zdr::host {

constexpr uint32_t kTrackCacheBytes = 1024;

// By the extension, from the last "." of the whole path, as the filter takes it.
bool is_iso_media(const std::string& file);
bool is_speech_file(const std::string& file);
bool is_aac_file(const std::string& file);

class ParsedFile {
 public:
  // `visitor` is shown the boxes while the file is parsed.
  explicit ParsedFile(const std::string& file, const P3gppBoxVisitor* visitor = nullptr);
  ~ParsedFile();
  ParsedFile(const ParsedFile&) = delete;
  ParsedFile& operator=(const ParsedFile&) = delete;

  int32_t status() const { return status_; }  // of the open
  const P3gppOpenError& error() const { return error_; }
  P3gppFile* file() const { return file_; }
  P3gppTrackCounts counts() const;
  // IDs of the audio or the video tracks (P3GPP_TRACK_), in file order.
  std::vector<uint32_t> track_ids(uint32_t type) const;
  int32_t get_sample_count(uint32_t id, uint32_t& count) const;

 private:
  std::u16string path_;
  FMGR_Context* context_ = nullptr;
  FMGR_Descriptor descriptor_{};
  P3gppFile* file_ = nullptr;
  P3gppOpenError error_{};
  int32_t status_ = P3GPP_ERR_NO_MEMORY;
};

struct Shortfall {
  uint64_t delivered_units;
  uint32_t total_units;
  bool cut_off;  // the next access unit lies past the end of the file
};

// Asked now and then during a long walk over samples: false ends it.
using WalkWatcher = std::function<bool(uint32_t done, uint32_t total)>;

// How far `payload_bytes` reach into the first track of a type; nothing when they are all of it, and when
// `watch` has ended the walk.
std::optional<Shortfall> find_shortfall(const std::string& file, uint32_t track_type, uint64_t payload_bytes,
                                        const WalkWatcher& watch);

}  // namespace zdr::host
