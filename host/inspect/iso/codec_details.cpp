// Reads the fields, and names their values as the standards do.
#include "host/inspect/iso/codec_details.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <string>
#include <string_view>

#include "host/inspect/iso/bit_reader.h"
#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

struct NamedValue {
  uint64_t value;
  std::string_view name;
};

std::string text_of(Bytes type) {
  return type_text({reinterpret_cast<const char*>(type.data()), type.size()});
}

// Passes on fields until the body ends.
class FieldReader {
 public:
  FieldReader(Bytes bytes, FieldSink& sink) : reader_(bytes), sink_(sink) {}

  BitReader& bits() { return reader_; }
  uint64_t number(const char* name, size_t bits, uint64_t bias = 0) {
    const uint64_t value = reader_.take(bits) + bias;
    add(name, value);
    return value;
  }
  // A number, and its name if it has one.
  uint64_t number(const char* name, size_t bits, const char* second_name, std::span<const NamedValue> names) {
    const uint64_t value = number(name, bits);
    const auto found = std::ranges::find(names, value, &NamedValue::value);
    if (found != names.end()) add(second_name, found->name);
    return value;
  }
  void add(const char* name, const FieldValue& value) {
    if (!reader_.has_failed()) sink_.add({name, value});
  }

 private:
  BitReader reader_;
  FieldSink& sink_;
};

// --- avcC ---

constexpr NamedValue kAvcProfiles[] = {{66, "Baseline"},
                                       {77, "Main"},
                                       {88, "Extended"},
                                       {100, "High"},
                                       {110, "High 10"},
                                       {122, "High 4:2:2"},
                                       {244, "High 4:4:4 Predictive"}};

void add_parameter_sets(FieldReader& fields, std::string_view kind, uint64_t count, FieldSink& sink) {
  for (; count > 0; --count) {
    const auto length = static_cast<size_t>(fields.bits().take(16));
    if (fields.bits().has_failed()) return;
    sink.begin_entry();
    fields.add("parameter_set", kind);
    fields.add("nal_unit", BytesView{fields.bits().take_bytes(length), length});
  }
}

// --- esds ---

constexpr NamedValue kObjectTypes[] = {
    {0x20, "MPEG-4 visual"}, {0x21, "AVC"},           {0x23, "HEVC"},          {0x40, "MPEG-4 audio"},
    {0x60, "MPEG-2 visual"}, {0x61, "MPEG-2 visual"}, {0x66, "MPEG-2 AAC"},    {0x67, "MPEG-2 AAC LC"},
    {0x68, "MPEG-2 AAC"},    {0x69, "MPEG-2 audio"},  {0x6A, "MPEG-1 visual"}, {0x6B, "MPEG-1 audio"},
    {0x6C, "JPEG"},          {0x6D, "PNG"},           {0xA5, "AC-3"},          {0xA6, "E-AC-3"},
    {0xDD, "Vorbis"},        {0xE1, "QCELP"}};
constexpr uint64_t kMpeg4Audio = 0x40;
constexpr uint64_t kSampleRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                     22050, 16000, 12000, 11025, 8000,  7350};

enum Tag : uint8_t { kEs = 3, kDecoderConfig = 4, kDecoderSpecificInfo = 5 };

// Skips the tag and the size of a descriptor, and returns the size; nothing if a descriptor with another tag
// follows.
std::optional<uint64_t> take_descriptor(BitReader& reader, Tag tag) {
  if (reader.take(8) != tag) return std::nullopt;
  uint64_t size = 0;
  for (int i = 0; i < 4; ++i) {
    const bool has_more = reader.take(1) != 0;
    size = size << 7 | reader.take(7);
    if (!has_more) break;
  }
  return reader.has_failed() ? std::nullopt : std::optional(size);
}

void read_es_header(FieldReader& fields) {
  fields.number("es_id", 16);
  BitReader& bits = fields.bits();
  const bool has_dependency = bits.take(1) != 0;
  const bool has_url = bits.take(1) != 0;
  const bool has_clock = bits.take(1) != 0;
  bits.skip(5);
  if (has_dependency) bits.skip(16);
  if (has_url) bits.skip(8 * static_cast<size_t>(bits.take(8)));
  if (has_clock) bits.skip(16);
}

// ISO/IEC 14496-3, 1.6.2.1, as far as a description needs it.
void add_audio_config(Bytes bytes, FieldSink& sink) {
  FieldReader fields(bytes, sink);
  BitReader& bits = fields.bits();
  constexpr uint64_t kEscape = 31;
  const uint64_t object_type = bits.take(5);
  fields.add("audio_object_type", object_type == kEscape ? 32 + bits.take(6) : object_type);
  const uint64_t index = bits.take(4);
  const uint64_t listed = index < std::size(kSampleRates) ? kSampleRates[index] : 0;
  fields.add("sampling_frequency", index == 15 ? bits.take(24) : listed);
  fields.number("channel_configuration", 4);
}

}  // namespace

void describe_avcc(Bytes front, FieldSink& sink) {
  FieldReader fields(front, sink);
  fields.bits().skip(8);  // configuration version
  fields.number("profile", 8, "profile_name", kAvcProfiles);
  fields.number("profile_compatibility", 8);
  fields.number("level", 8);
  fields.bits().skip(6);
  fields.number("nal_length_size", 2, uint64_t{1});
  fields.bits().skip(3);
  add_parameter_sets(fields, "SPS", fields.bits().take(5), sink);
  add_parameter_sets(fields, "PPS", fields.bits().take(8), sink);
}

void describe_esds(Bytes front, FieldSink& sink) {
  FieldReader fields(front, sink);
  BitReader& bits = fields.bits();
  if (!take_descriptor(bits, kEs)) return;
  read_es_header(fields);
  if (!take_descriptor(bits, kDecoderConfig)) return;
  const uint64_t object_type = fields.number("object_type", 8, "object_type_name", kObjectTypes);
  fields.number("stream_type", 6);
  bits.skip(2);
  fields.number("buffer_size", 24);
  fields.number("max_bit_rate", 32);
  fields.number("average_bit_rate", 32);
  const std::optional<uint64_t> size = take_descriptor(bits, kDecoderSpecificInfo);
  if (!size) return;
  const Bytes info = bits.take_bytes(static_cast<size_t>(*size));
  if (object_type == kMpeg4Audio) add_audio_config(info, sink);
  fields.add("decoder_specific_info", BytesView{info, static_cast<size_t>(*size)});
}

void describe_colr(Bytes front, FieldSink& sink) {
  FieldReader fields(front, sink);
  const std::string type = text_of(fields.bits().take_bytes(4));
  fields.add("colour_type", type);
  if (type != "nclx" && type != "nclc") return;
  fields.number("colour_primaries", 16);
  fields.number("transfer_characteristics", 16);
  fields.number("matrix_coefficients", 16);
  if (type == "nclx") fields.number("full_range", 1);
}

void describe_dac3(Bytes front, FieldSink& sink) {
  constexpr uint64_t kRates[] = {48000, 44100, 32000, 0};
  constexpr uint64_t kChannels[] = {2, 1, 2, 3, 3, 4, 4, 5};  // by coding mode
  FieldReader fields(front, sink);
  BitReader& bits = fields.bits();
  fields.add("sample_rate", kRates[bits.take(2)]);
  bits.skip(8);
  const uint64_t channels = kChannels[bits.take(3)];
  fields.number("channels", 1, channels);  // plus 1 if there is an LFE channel
}

void describe_damr(Bytes front, FieldSink& sink) {
  FieldReader fields(front, sink);
  fields.add("vendor_name", text_of(fields.bits().take_bytes(4)));
  fields.bits().skip(8);
  fields.add("modes", ArrayView{fields.bits().take_bytes(2), ArrayView::Kind::kBits});
}

}  // namespace zdr::host
