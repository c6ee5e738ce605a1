// Reads a sequence parameter set (ISO/IEC 14496-10, 7.3.2.1.1) up to the colours in its VUI (annex E.1.1).
#include "host/inspect/iso/avc_sequence.h"

#include <algorithm>
#include <iterator>
#include <vector>

namespace zdr::host {
namespace {

constexpr uint64_t kMostListed = 255;  // a larger number is damage

// The bytes of a NAL unit after its header, without those that keep start codes out of it.
std::vector<uint8_t> payload_of(Bytes nal_unit) {
  std::vector<uint8_t> payload;
  size_t zeros = 0;
  for (const uint8_t byte : nal_unit.subspan(std::min<size_t>(1, nal_unit.size()))) {
    const bool is_inserted = zeros >= 2 && byte == 3;
    zeros = byte == 0 ? zeros + 1 : 0;
    if (!is_inserted) payload.push_back(byte);
  }
  return payload;
}

class SequenceReader {
 public:
  explicit SequenceReader(Bytes payload) : bits_(payload) {}

  void read(PictureFormat& format) {
    const uint64_t profile = bits_.take(8);
    bits_.skip(16);  // constraints, level
    number();
    read_samples(profile, format);
    number();  // size of frame numbers
    skip_picture_order();
    const uint64_t reference_frames = number();
    bits_.skip(1);
    number();  // width
    number();  // height
    const bool has_frames_only = flag();
    if (bits_.has_failed()) return;
    format.reference_frames = reference_frames;
    format.has_frames_only = has_frames_only;
    if (!has_frames_only) bits_.skip(1);
    bits_.skip(1);
    if (flag()) skip_numbers(4);  // cropping
    if (flag()) read_colours(format);
  }

 private:
  bool flag() { return bits_.take(1) != 0; }
  // An Exp-Golomb code (9.1). A signed one has the same length.
  uint64_t number() {
    size_t zeros = 0;
    while (zeros < 32 && !bits_.has_failed() && !flag()) ++zeros;
    return (uint64_t{1} << zeros) - 1 + bits_.take(zeros);
  }
  void skip_numbers(uint64_t count) {
    for (; count > 0 && !bits_.has_failed(); --count) number();
  }
  void read_samples(uint64_t profile, PictureFormat& format) {
    constexpr uint64_t kWithChroma[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134, 135};
    constexpr const char* kChroma[] = {"monochrome", "4:2:0", "4:2:2", "4:4:4"};
    uint64_t chroma = 1;
    uint64_t depth = 0;
    if (std::ranges::find(kWithChroma, profile) != std::end(kWithChroma)) {
      chroma = number();
      if (chroma == 3) bits_.skip(1);
      depth = number();
      number();  // depth of chroma
      bits_.skip(1);
      if (flag()) skip_scaling_lists(chroma == 3 ? 12 : 8);
    }
    if (bits_.has_failed() || chroma >= std::size(kChroma)) return;
    format.chroma = kChroma[chroma];
    format.bit_depth = 8 + depth;
  }
  void skip_scaling_lists(size_t lists) {
    for (size_t list = 0; list < lists && !bits_.has_failed(); ++list) {
      if (flag()) skip_scaling_list(list < 6 ? 16 : 64);
    }
  }
  // A step to 0 ends the list.
  void skip_scaling_list(size_t size) {
    uint64_t scale = 8;
    for (size_t i = 0; i < size && scale != 0 && !bits_.has_failed(); ++i) {
      const uint64_t code = number();
      const uint64_t step = code % 2 != 0 ? (code + 1) / 2 : 256 - code / 2 % 256;
      scale = (scale + step) % 256;
    }
  }
  void skip_picture_order() {
    const uint64_t type = number();
    if (type == 0) number();
    if (type != 1) return;
    bits_.skip(1);
    skip_numbers(2);
    skip_numbers(std::min(number(), kMostListed));
  }
  void read_colours(PictureFormat& format) {
    constexpr uint64_t kOtherAspect = 255;
    if (flag() && bits_.take(8) == kOtherAspect) bits_.skip(32);
    if (flag()) bits_.skip(1);  // overscan
    if (flag()) read_signal_type(bits_, format);
  }

  BitReader bits_;
};

}  // namespace

void read_signal_type(BitReader& bits, PictureFormat& format) {
  bits.skip(3);
  const bool is_full_range = bits.take(1) != 0;
  const bool has_colours = bits.take(1) != 0;
  if (bits.has_failed()) return;
  format.is_full_range = is_full_range;
  const uint64_t primaries = bits.take(8);
  const uint64_t transfer = bits.take(8);
  const uint64_t matrix = bits.take(8);
  if (!has_colours || bits.has_failed()) return;
  format.primaries = primaries;
  format.transfer = transfer;
  format.matrix = matrix;
}

void describe_avc_sequence(Bytes nal_unit, PictureFormat& format) {
  const std::vector<uint8_t> payload = payload_of(nal_unit);
  SequenceReader(payload).read(format);
}

}  // namespace zdr::host
