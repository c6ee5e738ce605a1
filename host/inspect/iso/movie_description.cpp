// Walks the boxes of the movie that describe it and its tracks, with the layouts of box_details.h.
#include "host/inspect/iso/movie_description.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <utility>

#include "host/formats/byte_order.h"
#include "host/inspect/iso/box_details.h"
#include "host/inspect/iso/box_headers.h"
#include "host/inspect/iso/box_layout.h"
#include "host/inspect/iso/codec_profile.h"
#include "host/text/decoded_text.h"

namespace zdr::host {
namespace {

constexpr size_t kMostTracks = 1000;  // a hostile file may have millions
constexpr size_t kMostBoxes = 100'000;
constexpr uint64_t kVersionAndFlags = 4;
constexpr std::string_view kEntry = "entry";  // stands for the type of any sample description

using Number = std::optional<uint64_t>;

// Where a field of a box is stored.
template <class Record>
struct NumberRow {
  std::string_view box;
  std::string_view field;
  Number Record::*target;
};

template <class Record>
struct TextRow {
  std::string_view box;
  std::string_view field;
  std::string Record::*target;
};

constexpr NumberRow<TrackDescription> kTrackNumbers[] = {
    {"tkhd", "track_id", &TrackDescription::id},
    {"tkhd", "rotation_degrees", &TrackDescription::rotation_degrees},
    {"mdhd", "time_scale", &TrackDescription::time_scale},
    {"mdhd", "duration", &TrackDescription::duration},
    {"stsz", "sample_count", &TrackDescription::samples},
    {"stz2", "sample_count", &TrackDescription::samples},
    {"stss", "entry_count", &TrackDescription::sync_samples},
    {kEntry, "width", &TrackDescription::width},
    {kEntry, "height", &TrackDescription::height},
    {kEntry, "channel_count", &TrackDescription::channels},
    {kEntry, "sample_rate", &TrackDescription::sample_rate},
    {"pasp", "h_spacing", &TrackDescription::h_spacing},
    {"pasp", "v_spacing", &TrackDescription::v_spacing}};

constexpr NumberRow<PictureFormat> kColourNumbers[] = {
    {"colr", "colour_primaries", &PictureFormat::primaries},
    {"colr", "transfer_characteristics", &PictureFormat::transfer},
    {"colr", "matrix_coefficients", &PictureFormat::matrix}};

constexpr NumberRow<CodecConfiguration> kCodecNumbers[] = {
    {"avcC", "profile", &CodecConfiguration::avc_profile},
    {"avcC", "profile_compatibility", &CodecConfiguration::avc_compatibility},
    {"avcC", "level", &CodecConfiguration::avc_level},
    {"hvcC", "profile", &CodecConfiguration::hevc_profile},
    {"hvcC", "tier", &CodecConfiguration::hevc_tier},
    {"hvcC", "level", &CodecConfiguration::hevc_level},
    {"hvcC", "chroma_format", &CodecConfiguration::hevc_chroma},
    {"hvcC", "bit_depth_luma", &CodecConfiguration::hevc_bit_depth},
    {"esds", "object_type", &CodecConfiguration::object_type},
    {"esds", "audio_object_type", &CodecConfiguration::audio_object_type},
    {"esds", "sampling_frequency", &CodecConfiguration::audio_rate},
    {"esds", "channel_configuration", &CodecConfiguration::audio_channels}};

constexpr TextRow<TrackDescription> kTrackTexts[] = {{"hdlr", "handler_type", &TrackDescription::handler},
                                                     {"mdhd", "language", &TrackDescription::language}};

constexpr TextRow<CodecConfiguration> kCodecTexts[] = {
    {"avcC", "profile_name", &CodecConfiguration::avc_profile_name},
    {"esds", "object_type_name", &CodecConfiguration::object_type_name}};

template <class Record>
void store(Record& record, std::span<const NumberRow<Record>> rows, std::string_view box,
           const Field& field) {
  const auto* const number = std::get_if<uint64_t>(&field.value);
  if (number == nullptr) return;
  for (const NumberRow<Record>& row : rows) {
    if (row.box == box && row.field == field.name) record.*row.target = *number;
  }
}

template <class Record>
void store(Record& record, std::span<const TextRow<Record>> rows, std::string_view box, const Field& field) {
  for (const TextRow<Record>& row : rows) {
    if (row.box != box || row.field != field.name) continue;
    if (const auto* text = std::get_if<std::string>(&field.value)) record.*row.target = *text;
    if (const auto* text = std::get_if<std::string_view>(&field.value)) record.*row.target = *text;
  }
}

// False for numbers, which QuickTime writers store in place of a code.
bool is_language(std::string_view text) {
  return !text.starts_with("0x");
}

// Each container only where it belongs: so a track box holds what is read as a part of a track, and boxes
// are nested no deeper than here.
bool is_walked(std::string_view type, std::string_view container) {
  struct Step {
    std::string_view container;
    std::string_view type;
  };
  constexpr Step kSteps[] = {{"", "moov"},     {"moov", "trak"}, {"trak", "edts"}, {"trak", "mdia"},
                             {"mdia", "minf"}, {"minf", "stbl"}, {"stbl", "stsd"}, {kEntry, "wave"},
                             {"moov", "udta"}, {"udta", "meta"}, {"meta", "ilst"}};
  const auto is_step = [&](const Step& step) { return step.container == container && step.type == type; };
  return container == "stsd" || std::ranges::any_of(kSteps, is_step);
}

// Reads the boxes in file order.
class MovieReader final : public FieldSink {
 public:
  MovieReader(FileStream& stream, MovieDescription& movie) : stream_(stream), movie_(movie) {}

  // The boxes of the file, up to the movie and the first media data.
  void read_file();

 private:
  void add(const Field& field) override;
  void begin_entry() override {}
  void leave_out(uint64_t /*entries*/) override {}

  void read_children(uint64_t begin, uint64_t end, std::string_view container);
  void read_box(const BoxHeader& box, std::string_view container);
  void read_track(const BoxHeader& box);
  void read_tool(const BoxHeader& box, bool is_item);
  // Reads the body, and passes its fields to add().
  void read_body(const BoxHeader& box, std::string_view container);
  void add_movie_field(const Field& field);
  void add_edit_field(const Field& field);

  FileStream& stream_;
  MovieDescription& movie_;
  CodecConfiguration configuration_;  // of the track being read
  TrackDescription* track_ = nullptr;
  std::string_view box_;                // kind of the box being read
  uint64_t segment_duration_ = 0;       // of the edit whose media time follows
  uint32_t entry_version_ = 0;          // of the sample entry being read
  bool has_versioned_entries_ = false;  // stsd is not of version 0
  uint32_t entries_ = 0;                // sample entries of the track so far
  size_t boxes_ = 0;
};

void MovieReader::read_file() {
  bool has_media = false;
  bool has_movie = false;
  movie_.size = stream_.size();
  const auto read_movie = [&](const BoxHeader& box) {
    has_movie = true;
    movie_.movie_offset = box.offset;
    movie_.movie_size = box.size;
    read_box(box, {});
  };
  const WalkEnd end = walk_box_headers(stream_, 0, stream_.size(), [&](const BoxHeader& box) {
    if (box.name() == "ftyp") read_body(box, {});
    if (box.name() == "mdat" && !has_media) {
      has_media = true;
      movie_.is_movie_first = has_movie;
    }
    if (box.name() == "moov" && !has_movie) read_movie(box);
    return ++boxes_ < kMostBoxes && !(has_movie && has_media);
  });
  if (has_movie || end.is_complete) return;
  // A movie box that is cut off is read as far as it is there.
  auto rest = read_box_header(stream_, end.offset, stream_.size());
  if (!rest || rest->name() != "moov") return;
  const uint64_t stated_size = std::exchange(rest->size, stream_.size() - rest->offset);
  read_movie(*rest);
  movie_.movie_size = stated_size;
}

// The value of an item is a data box, that of user data a text after its length and its language.
void MovieReader::read_tool(const BoxHeader& box, bool is_item) {
  const size_t before_text = is_item ? 16 : 4;
  constexpr uint64_t kMostBytes = 256;
  std::vector<uint8_t> bytes(static_cast<size_t>(std::min(box.size - box.header_size, kMostBytes)));
  bytes.resize(stream_.read_at(box.offset + box.header_size, bytes));
  if (bytes.size() <= before_text) return;
  const Bytes text = Bytes(bytes).subspan(before_text);
  const uint64_t length = is_item ? text.size() : std::min<uint64_t>(text.size(), read_be(bytes.data(), 2));
  movie_.tool.assign(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
}

void MovieReader::read_children(uint64_t begin, uint64_t end, std::string_view container) {
  const WalkEnd walk = walk_box_headers(stream_, begin, end, [&](const BoxHeader& box) {
    read_box(box, container);
    return ++boxes_ < kMostBoxes;
  });
  if (container != "moov" || walk.is_complete) return;
  const auto next = read_box_header(stream_, walk.offset, end);
  if (next && next->name() == "trak") movie_.is_complete = false;  // cut off
}

void MovieReader::read_box(const BoxHeader& box, std::string_view container) {
  if (container == "moov" && box.name() == "trak") return read_track(box);
  if (container == "ilst" && box.name() == "\xA9too") return read_tool(box, true);
  if (container == "udta" && box.name() == "\xA9swr") return read_tool(box, false);
  const bool is_entry = container == "stsd";
  if (is_entry && entries_++ != 0) return;
  if (is_entry) track_->entry_type = box.name();
  read_body(box, container);
  const std::optional<uint32_t> skipped = children_offset(box.name(), container);
  if (!skipped || !is_walked(box.name(), container)) return;
  const uint64_t more =
      is_entry && !has_versioned_entries_ ? quicktime_sound_bytes(box.name(), entry_version_) : 0;
  const uint64_t begin = box.offset + box.header_size + *skipped + more;
  if (begin < box.end()) read_children(begin, box.end(), is_entry ? kEntry : box.name());
}

void MovieReader::read_track(const BoxHeader& box) {
  if (movie_.tracks.size() == kMostTracks) {
    movie_.is_complete = false;
    return;
  }
  track_ = &movie_.tracks.emplace_back();
  track_->number = static_cast<uint32_t>(movie_.tracks.size());
  configuration_ = {};
  entries_ = 0;
  read_children(box.offset + box.header_size, box.end(), box.name());
  describe_codec(*track_, configuration_);
  track_ = nullptr;
}

void MovieReader::read_body(const BoxHeader& box, std::string_view container) {
  const EntryChoice edits{{}, kMostBoxes};
  constexpr uint64_t kMostBytes = 64;  // of a box without a layout
  constexpr size_t kEntryVersion = 8;  // offset in a sample entry
  const bool is_entry = container == "stsd";
  const bool is_raw = box.name() == "d263" || box.name() == "dac3" || box.name() == "dec3";
  const uint64_t wanted = is_raw ? kMostBytes : wanted_body_bytes(box.name(), container, edits);
  const uint64_t front = is_full_box(box.name(), container) ? kVersionAndFlags : 0;
  const uint64_t room = box.size - box.header_size;
  if (wanted == 0 || room <= front) return;
  std::vector<uint8_t> bytes(static_cast<size_t>(std::min(front + wanted, room)));
  bytes.resize(stream_.read_at(box.offset + box.header_size, bytes));
  if (bytes.size() <= front) return;
  const Bytes body = Bytes(bytes).subspan(static_cast<size_t>(front));
  if (box.name() == "stsd") has_versioned_entries_ = bytes[0] != 0;
  if (is_entry)
    entry_version_ =
        body.size() < kEntryVersion + 2 ? 0 : static_cast<uint32_t>(read_be(&body[kEntryVersion], 2));
  if (box.name() == "d263") configuration_.d263.assign(body.begin(), body.end());
  if (box.name() == "dac3") configuration_.dac3.assign(body.begin(), body.end());
  if (box.name() == "dec3") configuration_.dec3.assign(body.begin(), body.end());
  box_ = is_entry ? kEntry : box.name();
  const uint8_t version = front != 0 ? bytes[0] : uint8_t{0};
  describe_body({box.name(), container, version, body, room - front}, edits, *this);
}

void MovieReader::add(const Field& field) {
  if (track_ == nullptr) return add_movie_field(field);
  if (box_ == "elst") return add_edit_field(field);
  store<TrackDescription>(*track_, kTrackNumbers, box_, field);
  store<TrackDescription>(*track_, kTrackTexts, box_, field);
  store<PictureFormat>(track_->format, kColourNumbers, box_, field);
  if (!is_language(track_->language)) track_->language.clear();
  store<CodecConfiguration>(configuration_, kCodecNumbers, box_, field);
  store<CodecConfiguration>(configuration_, kCodecTexts, box_, field);
  const auto* const bytes = std::get_if<BytesView>(&field.value);
  if (box_ == "esds" && bytes != nullptr)
    configuration_.specific_info.assign(bytes->front.begin(), bytes->front.end());
  if (box_ == "avcC" && bytes != nullptr && configuration_.avc_sequence.empty())
    configuration_.avc_sequence.assign(bytes->front.begin(), bytes->front.end());
  if (const auto* number = std::get_if<uint64_t>(&field.value); field.name == std::string_view("full_range"))
    track_->format.is_full_range = *number != 0;
}

void MovieReader::add_movie_field(const Field& field) {
  const std::string_view name = field.name;
  const auto* const number = std::get_if<uint64_t>(&field.value);
  if (name == "major_brand") movie_.brand = std::get<std::string>(field.value);
  if (box_ != "mvhd" || number == nullptr) return;
  if (name == "creation_time") movie_.creation_time = *number;
  if (name == "time_scale") movie_.time_scale = *number;
  if (name == "duration") movie_.duration = *number;
}

void MovieReader::add_edit_field(const Field& field) {
  EditRecord& edits = track_->edits;
  if (const auto* number = std::get_if<uint64_t>(&field.value);
      field.name == std::string_view("segment_duration"))
    segment_duration_ = *number;
  const auto* const time = std::get_if<int64_t>(&field.value);
  if (time != nullptr) edits.add(segment_duration_, *time);
}

}  // namespace

MovieDescription describe_movie(FileStream& stream) {
  MovieDescription movie;
  MovieReader(stream, movie).read_file();
  return movie;
}

}  // namespace zdr::host
