// Replaces NAL unit lengths by start codes, and writes the configurations before the pictures.
#include "host/writers/video_writers.h"

#include <algorithm>
#include <iterator>

#include "host/formats/byte_order.h"
#include "host/formats/video_format.h"

namespace zdr::host {
namespace {

constexpr uint8_t kStartCode[] = {0, 0, 0, 1};
constexpr unsigned kParameterSetLengthSize = 2;

// Start codes that begin coded picture data: group of pictures and picture.
bool begins_picture(const uint8_t* code) {
  return code[0] == 0 && code[1] == 0 && code[2] == 1 && (code[3] == 0xB3 || code[3] == 0xB6);
}

// The extra bytes are the configuration and the first sample, so the configuration ends at the first picture.
// If that sample repeats the configuration, both copies are written, which decoders accept.
size_t configuration_length(Bytes extra) {
  for (size_t i = 0; i + 4 <= extra.size(); ++i) {
    if (begins_picture(extra.data() + i)) return i;
  }
  return extra.size();
}

}  // namespace

AnnexBWriter::AnnexBWriter(Bytes extra) {
  if (extra.size() < 2) return;
  length_size_ = nal_length_bytes(extra);
  convert(extra.subspan(2), kParameterSetLengthSize, "parameter sets cut off", [this](Bytes part) {
    parameter_sets_.insert(parameter_sets_.end(), part.begin(), part.end());
    return true;
  });
}

bool AnnexBWriter::begin(Output& output) {
  return output.write(parameter_sets_);
}

template <class Write>
bool AnnexBWriter::convert(Bytes run, unsigned length_size, const char* damage, const Write& write) {
  const auto note_cut = [&] {
    note_damage(damage);
    return true;
  };
  while (!run.empty()) {
    if (run.size() < length_size) return note_cut();
    const auto length = static_cast<size_t>(read_be(run.data(), length_size));
    run = run.subspan(length_size);
    const Bytes unit = run.first(std::min(length, run.size()));
    if (!write(kStartCode) || !write(unit)) return false;
    if (unit.size() < length) return note_cut();
    run = run.subspan(length);
  }
  return true;
}

bool AnnexBWriter::write(Output& output, Bytes sample) {
  return convert(sample, length_size_, "NAL unit extends past the end of its access unit",
                 [&output](Bytes part) { return output.write(part); });
}

Mpeg4VisualWriter::Mpeg4VisualWriter(Bytes extra)
    : configuration_(extra.begin(),
                     extra.begin() + static_cast<std::ptrdiff_t>(configuration_length(extra))) {}

bool Mpeg4VisualWriter::begin(Output& output) {
  return output.write(configuration_);
}

}  // namespace zdr::host
