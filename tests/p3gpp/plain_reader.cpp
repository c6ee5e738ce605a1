#include "plain_reader.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>

namespace zdr::test {
namespace {

struct Range {
  size_t begin;
  size_t end;
};

class Walker {
 public:
  explicit Walker(const Bytes& file) : file_(file) {}

  uint32_t word(size_t at) const { return load_be32(file_, at); }

  // Bodies of the boxes in `range`, by type; of several the first.
  std::map<std::string, Range> children(Range range) const {
    std::map<std::string, Range> found;
    for (const auto& [type, body] : list(range)) found.try_emplace(type, body);
    return found;
  }

  std::vector<std::pair<std::string, Range>> list(Range range) const {
    std::vector<std::pair<std::string, Range>> found;
    while (range.begin + 8 <= range.end) {
      uint64_t size = word(range.begin);
      size_t header = 8;
      if (size == 1) {
        size = uint64_t{word(range.begin + 8)} << 32 | word(range.begin + 12);
        header = 16;
      }
      if (size < header || size > range.end - range.begin) break;
      const auto* type = reinterpret_cast<const char*>(file_.data()) + range.begin + 4;
      found.emplace_back(std::string(type, 4), Range{range.begin + header, range.begin + size});
      range.begin += size;
    }
    return found;
  }

  // The words of a table behind version, flags and `skipped` words.
  std::vector<uint32_t> table(Range body, size_t skipped) const {
    std::vector<uint32_t> words;
    for (size_t at = body.begin + 4 + 4 * skipped; at + 4 <= body.end; at += 4) words.push_back(word(at));
    return words;
  }

 private:
  const Bytes& file_;
};

std::vector<uint32_t> expand_runs(const std::vector<uint32_t>& words) {
  std::vector<uint32_t> values;
  for (size_t i = 0; i + 1 < words.size(); i += 2) values.insert(values.end(), words[i], words[i + 1]);
  return values;
}

class TrackReader {
 public:
  TrackReader(const Walker& walker, Range trak) : walker_(walker), trak_(walker.children(trak)) {}

  PlainTrack read() {
    PlainTrack track;
    const Range tkhd = trak_.at("tkhd");
    track.id = walker_.word(tkhd.begin + (walker_.word(tkhd.begin) >> 24 == 1 ? 20 : 12));
    const auto mdia = walker_.children(trak_.at("mdia"));
    if (!mdia.contains("minf")) return track;
    const auto minf = walker_.children(mdia.at("minf"));
    if (!minf.contains("stbl")) return track;
    stbl_ = walker_.children(minf.at("stbl"));
    for (const char* needed : {"stts", "stsc", "stsz"}) {
      if (!stbl_.contains(needed)) return track;
    }
    place_samples(track);
    time_samples(track);
    return track;
  }

 private:
  std::vector<uint64_t> chunk_offsets() const {
    std::vector<uint64_t> offsets;
    if (stbl_.contains("stco")) {
      for (const uint32_t offset : walker_.table(stbl_.at("stco"), 1)) offsets.push_back(offset);
    } else if (stbl_.contains("co64")) {
      const auto words = walker_.table(stbl_.at("co64"), 1);
      for (size_t i = 0; i + 1 < words.size(); i += 2) {
        offsets.push_back(uint64_t{words[i]} << 32 | words[i + 1]);
      }
    }
    return offsets;
  }

  std::vector<uint32_t> sizes() const {
    const Range stsz = stbl_.at("stsz");
    const uint32_t default_size = walker_.word(stsz.begin + 4);
    if (default_size == 0) return walker_.table(stsz, 2);
    return std::vector<uint32_t>(walker_.word(stsz.begin + 8), default_size);
  }

  void place_samples(PlainTrack& track) const {
    const std::vector<uint64_t> offsets = chunk_offsets();
    const std::vector<uint32_t> all_sizes = sizes();
    const std::vector<uint32_t> runs = walker_.table(stbl_.at("stsc"), 1);
    size_t run = 0;
    for (size_t chunk = 0; chunk < offsets.size(); ++chunk) {
      const size_t number = runs.at(0) == 0 ? chunk : chunk + 1;  // some writers count from 0
      if (runs[0] > number) continue;
      while (3 * (run + 1) < runs.size() && runs[3 * (run + 1)] <= number) ++run;
      uint64_t offset = offsets[chunk];
      for (uint32_t k = 0; k < runs[3 * run + 1] && track.samples.size() < all_sizes.size(); ++k) {
        const uint32_t size = all_sizes[track.samples.size()];
        track.samples.push_back({offset, size, 0, 0, runs[3 * run + 2]});
        offset += size;
      }
    }
  }

  uint32_t initial_delay() const {
    if (!trak_.contains("edts")) return 0;
    const auto edts = walker_.children(trak_.at("edts"));
    if (!edts.contains("elst")) return 0;
    const std::vector<uint32_t> edits = walker_.table(edts.at("elst"), 1);
    for (size_t i = 0; edits.size() >= 6 && i + 2 < edits.size(); i += 3) {
      if (edits[i + 1] == 0xFFFFFFFF) return edits[i];
    }
    return 0;
  }

  void time_samples(PlainTrack& track) const {
    const auto durations = expand_runs(walker_.table(stbl_.at("stts"), 1));
    const bool has_offsets = stbl_.contains("ctts");
    const auto offsets = has_offsets ? expand_runs(walker_.table(stbl_.at("ctts"), 1)) : durations;
    track.samples.resize(std::min({track.samples.size(), durations.size(), offsets.size()}));
    const uint32_t delay = initial_delay();
    uint32_t time = 0;
    for (size_t i = 0; i < track.samples.size(); ++i) {
      track.samples[i].decoding_time = time + delay;
      track.samples[i].composition_time = time + (has_offsets ? offsets[i] : 0);
      time += durations[i];
    }
  }

  const Walker& walker_;
  std::map<std::string, Range> trak_;
  std::map<std::string, Range> stbl_;
};

}  // namespace

std::vector<PlainTrack> read_plainly(const Bytes& file) {
  const Walker walker(file);
  std::vector<PlainTrack> tracks;
  const auto top = walker.children({0, file.size()});
  if (!top.contains("moov")) return tracks;
  for (const auto& [type, body] : walker.list(top.at("moov"))) {
    if (type != "trak") continue;
    try {
      tracks.push_back(TrackReader(walker, body).read());
    } catch (const std::out_of_range&) {
      // A box is missing or cut short: nothing to compare with.
    }
  }
  return tracks;
}

}  // namespace zdr::test
